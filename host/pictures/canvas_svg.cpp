// The pictures as SVG.
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "pictures/canvas.h"
#include "shared/files.h"

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
    if (value >= 10 || value % 10 == 0) text += std::to_string(value / 10);
    if (value % 10 != 0) text += "." + std::to_string(value % 10);
    return text;
}

long to_tenths(double pixels) { return std::lround(10.0 * pixels); }

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
            const std::string dy = tenths(ny - y);
            d += (i == 1 ? "l" : " ") + tenths(nx - x) + (dy[0] == '-' ? "" : " ") + dy;
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

}  // namespace

void Canvas::save_svg(const std::string& file) const {
    OutputFile out(file);
    std::fprintf(
        out,
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\" role=\"img\" "
        "font-family=\"Helvetica,Arial,'Liberation Sans','DejaVu Sans',sans-serif\">\n<title>%s</title>\n"
        "<rect width=\"%d\" height=\"%d\" fill=\"#ffffff\"/>\n",
        width_, height_, width_, height_, xml(title_).c_str(), width_, height_);
    for (const Shape& s : shapes_) {
        const char* colour = s.colour.c_str();
        switch (s.kind) {
            case Kind::lines: {
                std::string d;
                for (const std::vector<Pixel>& piece : s.pieces) d += path_of(piece);
                std::fprintf(
                    out, "<path fill=\"none\" stroke=\"%s\" stroke-width=\"%s\" stroke-linejoin=\"round\" d=\"%s\"/>\n",
                    colour, number(s.size).c_str(), d.c_str());
                break;
            }
            case Kind::fill:
                std::fprintf(out, "<path fill=\"%s\" d=\"%sz\"/>\n", colour, path_of(s.pieces[0]).c_str());
                break;
            case Kind::dots: {
                std::string d;
                long x = 0;
                long y = 0;
                for (const Pixel& p : s.pieces[0]) {
                    const std::string dy = tenths(to_tenths(p.y) - y);
                    d += "m" + tenths(to_tenths(p.x) - x) + (dy[0] == '-' ? "" : " ") + dy + "h0";
                    x = to_tenths(p.x);
                    y = to_tenths(p.y);
                }
                std::fprintf(out, "<path stroke=\"%s\" stroke-width=\"%s\" stroke-linecap=\"round\" d=\"%s\"/>\n",
                             colour, number(2.0 * s.size).c_str(), d.c_str());
                break;
            }
            case Kind::text: {
                // The anchor point at half the height of the capitals, which are 0.72 of the size.
                const Pixel& p = s.pieces[0][0];
                const double down = 0.36 * s.size;
                const std::string x = tenths(to_tenths(p.x + (s.type.upright ? down : 0.0)));
                const std::string y = tenths(to_tenths(p.y + (s.type.upright ? 0.0 : down)));
                const std::string turn =
                    s.type.upright ? " transform=\"rotate(-90 " + x + " " + y + ")\"" : std::string();
                std::fprintf(out, "<text x=\"%s\" y=\"%s\" font-size=\"%s\" fill=\"%s\"%s%s%s>%s</text>\n", x.c_str(),
                             y.c_str(), number(s.size).c_str(), colour,
                             s.type.anchor == Anchor::middle ? " text-anchor=\"middle\""
                             : s.type.anchor == Anchor::end  ? " text-anchor=\"end\""
                                                             : "",
                             s.type.bold ? " font-weight=\"bold\"" : "", turn.c_str(), xml(s.text).c_str());
                break;
            }
            case Kind::begin:
                std::fprintf(out, "<g class=\"%s\"><title>%s</title>\n", s.text.c_str(), xml(s.name).c_str());
                break;
            case Kind::end:
                std::fprintf(out, "</g>\n");
                break;
        }
    }
    std::fprintf(out, "</svg>\n");
    out.close();
}

}  // namespace host
