// The pictures as SVG.
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "pictures/canvas.h"

namespace host {

namespace {

std::string xml(const std::string& text) {
    std::string out;
    for (char c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

/// A coordinate in tenths of a pixel, in the shortest form.
std::string tenths(long value) {
    std::string text = value < 0 ? "-" : "";
    value = std::labs(value);
    if (value >= 10 || value == 0) text += std::to_string(value / 10);
    if (value % 10 != 0) text += "." + std::to_string(value % 10);
    return text;
}

long to_tenths(double pixels) { return std::lround(10.0 * pixels); }

/// A step between two points, in tenths of a pixel.
std::string step(long dx, long dy) {
    const std::string y = tenths(dy);
    return tenths(dx) + (y[0] == '-' ? "" : " ") + y;
}

/// Path of an outline or line: one absolute point, the others relative.
std::string path_of(const std::vector<Pixel>& points) {
    std::string d;
    long x = 0;
    long y = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const long nx = to_tenths(points[i].x);
        const long ny = to_tenths(points[i].y);
        if (i == 0) {
            d += "M" + tenths(nx) + " " + tenths(ny);
        } else {
            d += (i == 1 ? "l" : " ") + step(nx - x, ny - y);
        }
        x = nx;
        y = ny;
    }
    return d;
}

std::string number(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", value);
    return text;
}

/// A sign as a path that begins where `from` leads to from its centre.
struct Outline {
    double from_x, from_y;
    std::string path;
    bool filled;
};

Outline outline_of(Sign sign, double radius) {
    const auto way = [radius](std::initializer_list<std::pair<double, double>> points) {
        std::string d = "l";
        for (const auto& [x, y] : points)
            d += (d.size() > 1 ? " " : "") + step(to_tenths(radius * x), to_tenths(radius * y));
        return d;
    };
    const double r = radius;
    switch (sign) {
        case Sign::triangle:
            return {0, -1.3 * r, way({{1.2, 2.1}, {-2.4, 0}}) + "z", true};
        case Sign::wedge:
            return {0, 1.3 * r, way({{1.2, -2.1}, {-2.4, 0}}) + "z", true};
        case Sign::diamond:
            return {0, -1.4 * r, way({{1.4, 1.4}, {-1.4, 1.4}, {-1.4, -1.4}}) + "z", true};
        case Sign::plus:
            return {-1.3 * r, 0,
                    "h" + tenths(to_tenths(2.6 * r)) + "m" + step(to_tenths(-1.3 * r), to_tenths(-1.3 * r)) + "v" +
                        tenths(to_tenths(2.6 * r)),
                    false};
        case Sign::cross:
            return {-r, -r, way({{2, 2}}) + "m" + step(0, to_tenths(-2 * r)) + way({{-2, 2}}), false};
        case Sign::ring:
            return {-r, 0,
                    "a" + number(r) + " " + number(r) + " 0 1 0 " + tenths(to_tenths(2 * r)) + " 0a" + number(r) + " " +
                        number(r) + " 0 1 0 " + tenths(to_tenths(-2 * r)) + " 0",
                    false};
        case Sign::circle:
        case Sign::square:
            break;
    }
    return {0, 0, "h0", false};
}

/// Points as signs. Circles and squares are lines of no length with round or square ends.
std::string marks_of(const std::vector<Pixel>& points, double radius, const Mark& mark) {
    const Outline outline = outline_of(mark.sign, radius);
    const bool caps = mark.sign == Sign::circle || mark.sign == Sign::square;
    std::string d;
    long x = 0;
    long y = 0;
    for (const Pixel& p : points) {
        const long nx = to_tenths(p.x + outline.from_x);
        const long ny = to_tenths(p.y + outline.from_y);
        // Signs that do not end where they begin are placed anew.
        d += caps || outline.filled ? "m" + step(nx - x, ny - y) : "M" + step(nx, ny);
        d += outline.path;
        x = nx;
        y = ny;
    }
    if (outline.filled)
        return R"(<path fill=")" + mark.colour + R"(" d=")" + d +
               R"("/>)"
               "\n";
    const std::string ends = mark.sign == Sign::circle   ? R"( stroke-linecap="round")"
                             : mark.sign == Sign::square ? R"( stroke-linecap="square")"
                                                         : R"( fill="none")";
    const double width = mark.sign == Sign::circle   ? 2.0 * radius
                         : mark.sign == Sign::square ? 1.8 * radius
                                                     : 0.7 * radius;
    return R"(<path stroke=")" + mark.colour + R"(" stroke-width=")" + number(width) + R"(")" + ends + R"( d=")" + d +
           R"("/>)"
           "\n";
}

/// The anchor point lies at half the height of the capitals, which are 0.72 of the size.
std::string text_of(const Pixel& p, const std::string& text, const Type& type) {
    const double down = 0.36 * type.size;
    const std::string x = tenths(to_tenths(p.x + (type.upright ? down : 0.0)));
    const std::string y = tenths(to_tenths(p.y + (type.upright ? 0.0 : down)));
    std::string line = R"(<text x=")" + x + R"(" y=")" + y + R"(" font-size=")" + number(type.size) + R"(" fill=")" +
                       type.colour + R"(")";
    if (type.anchor == Anchor::middle) line += R"( text-anchor="middle")";
    if (type.anchor == Anchor::end) line += R"( text-anchor="end")";
    if (type.bold) line += R"( font-weight="bold")";
    if (type.upright) line += " transform=\"rotate(-90 " + x + " " + y + ")\"";
    return line + ">" + xml(text) + "</text>\n";
}

}  // namespace

std::string Canvas::svg() const {
    const std::string size = std::to_string(width_) + R"(" height=")" + std::to_string(height_) + R"(")";
    std::string out =
        R"(<svg xmlns="http://www.w3.org/2000/svg" width=")" + size + R"( viewBox="0 0 )" + std::to_string(width_) +
        " " + std::to_string(height_) +
        "\" role=\"img\" font-family=\"Helvetica,Arial,'Liberation Sans','DejaVu Sans',sans-serif\">\n<title>" +
        xml(title_) + "</title>\n<rect width=\"" + size +
        R"( fill="#ffffff"/>)"
        "\n";
    for (const Shape& s : shapes_) {
        switch (s.kind) {
            case Kind::lines:
                out += R"(<path fill="none" stroke=")" + s.colour + R"(" stroke-width=")" + number(s.size) +
                       R"(" stroke-linejoin="round" d=")";
                for (const std::vector<Pixel>& piece : s.pieces) out += path_of(piece);
                out += R"("/>)"
                       "\n";
                break;
            case Kind::fill:
                out += R"(<path fill=")" + s.colour + R"(" d=")" + path_of(s.pieces[0]) +
                       R"(z"/>)"
                       "\n";
                break;
            case Kind::dots:
                out += marks_of(s.pieces[0], s.size, {s.colour, s.sign});
                break;
            case Kind::text:
                out += text_of(s.pieces[0][0], s.text, s.type);
                break;
            case Kind::begin:
                out += R"(<g class=")" + s.text + R"("><title>)" + xml(s.name) + "</title>\n";
                break;
            case Kind::end:
                out += "</g>\n";
                break;
        }
    }
    return out + "</svg>\n";
}

}  // namespace host
