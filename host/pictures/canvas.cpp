#include "pictures/canvas.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "shared/error.h"
#include "shared/files.h"

namespace host {

namespace {

constexpr double kPngScale = 2.0;  ///< pixels of the PNG file for a pixel of the canvas

bool ends_with(const std::string& text, const char* ending) {
    const std::size_t n = std::strlen(ending);
    return text.size() > n && text.compare(text.size() - n, n, ending) == 0;
}

/// Length of the UTF-8 character at a place; 0 where there is none.
std::size_t character_length(const std::string& text, std::size_t at) {
    const unsigned char c = static_cast<unsigned char>(text[at]);
    const std::size_t n = c < 0x80                ? 1
                          : c >= 0xF0 && c < 0xF5 ? 4
                          : c >= 0xE0 && c < 0xF0 ? 3
                          : c >= 0xC2 && c < 0xE0 ? 2
                                                  : 0;
    if (n == 0 || at + n > text.size()) return 0;
    for (std::size_t i = 1; i < n; ++i) {
        if ((static_cast<unsigned char>(text[at + i]) & 0xC0) != 0x80) return 0;
    }
    return n;
}

/// Text without control characters and broken UTF-8: labels may come from file names.
std::string clean(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t n = character_length(text, i);
        if (n == 0 || (n == 1 && (static_cast<unsigned char>(text[i]) < 0x20 || text[i] == 0x7F))) {
            out += '?';
            ++i;
        } else {
            out.append(text, i, n);
            i += n;
        }
    }
    return out;
}

std::string xml(const std::string& text) {
    std::string out;
    for (char c : clean(text)) {
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

/// A text for gnuplot in single quotes.
std::string quoted(const std::string& text) {
    std::string out = "'";
    for (char c : text) out += c == '\'' ? std::string("''") : std::string(1, c);
    return out + "'";
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

double text_width(const std::string& text, double size, bool bold) {
    double width = 0;
    for (const char c : text) {
        if ((static_cast<unsigned char>(c) & 0xC0) == 0x80) continue;  // inside a character
        if (std::strchr("ijl.,:;'| ", c) != nullptr) {
            width += 0.33;
        } else if (std::strchr("ftr()[]I/-", c) != nullptr) {
            width += 0.41;
        } else if (std::strchr("mwMW@%", c) != nullptr) {
            width += 0.93;
        } else if (c >= 'A' && c <= 'Z') {
            width += 0.70;
        } else {
            width += 0.62;
        }
    }
    return width * size * (bold ? 1.1 : 1.0);
}

std::string shortened(const std::string& text, double size, double width) {
    if (text_width(text, size) <= width) return text;
    std::string kept;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t n = std::max<std::size_t>(1, character_length(text, i));
        if (text_width(kept + text.substr(i, n), size) > width - size) break;
        kept += text.substr(i, n);
        i += n;
    }
    return kept + "\u2026";
}

void check_picture_name(const std::string& option, const std::string& file) {
    if (!ends_with(file, ".svg") && !ends_with(file, ".png"))
        throw InputError(option + " " + file + ": a name that ends in .svg or .png is expected");
}

void Canvas::line(std::vector<Pixel> points, const std::string& colour, double width) {
    std::vector<std::vector<Pixel>> pieces;
    pieces.push_back(std::move(points));
    lines(std::move(pieces), colour, width);
}

void Canvas::lines(std::vector<std::vector<Pixel>> pieces, const std::string& colour, double width) {
    if (!pieces.empty()) shapes_.push_back({Kind::lines, std::move(pieces), colour, width, {}, {}, {}});
}

void Canvas::fill(std::vector<Pixel> outline, const std::string& colour) {
    shapes_.push_back({Kind::fill, {std::move(outline)}, colour, 0, {}, {}, {}});
}

void Canvas::dots(std::vector<Pixel> centres, double radius, const std::string& colour) {
    if (!centres.empty()) shapes_.push_back({Kind::dots, {std::move(centres)}, colour, radius, {}, {}, {}});
}

void Canvas::text(const Pixel& at, const std::string& text, const Type& type) {
    shapes_.push_back({Kind::text, {{at}}, type.colour, type.size, text, {}, type});
}

void Canvas::begin(const std::string& kind, const std::string& name) {
    shapes_.push_back({Kind::begin, {}, {}, 0, kind, name, {}});
}

void Canvas::end() { shapes_.push_back({Kind::end, {}, {}, 0, {}, {}, {}}); }

void Canvas::save(const std::string& file, const std::string& title) const {
    check_picture_name("picture", file);
    if (ends_with(file, ".png")) {
        save_png(file);
    } else {
        save_svg(file, title);
    }
}

void Canvas::save_svg(const std::string& file, const std::string& title) const {
    OutputFile out(file);
    std::fprintf(
        out,
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" viewBox=\"0 0 %d %d\" role=\"img\" "
        "font-family=\"Helvetica,Arial,'Liberation Sans','DejaVu Sans',sans-serif\">\n<title>%s</title>\n"
        "<rect width=\"%d\" height=\"%d\" fill=\"#ffffff\"/>\n",
        width_, height_, width_, height_, xml(title).c_str(), width_, height_);
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

void Canvas::save_png(const std::string& file) const {
    if (std::system("command -v gnuplot >/dev/null 2>&1") != 0) {
        throw InputError(file + ": PNG pictures are drawn by gnuplot, which is not installed (Debian: gnuplot-nox); " +
                         "a name that ends in .svg needs no other program");
    }
    OutputFile(file).close();  // says so where it cannot be written
    const auto previous = std::signal(SIGPIPE, SIG_IGN);
    FILE* pipe = popen("gnuplot >/dev/null 2>&1", "w");
    if (pipe == nullptr) throw InputError(file + ": gnuplot could not be started");
    std::fprintf(pipe,
                 "set encoding utf8\nset terminal pngcairo size %.0f,%.0f font 'Sans,10' rounded background '#ffffff'\n"
                 "set output %s\nunset border\nunset tics\nunset key\nset lmargin 0\nset rmargin 0\nset tmargin 0\n"
                 "set bmargin 0\nset xrange [0:%d]\nset yrange [%d:0]\n",
                 kPngScale * width_, kPngScale * height_, quoted(file).c_str(), width_, height_);
    std::string plot;
    int block = 0;
    for (const Shape& s : shapes_) {
        if (s.kind == Kind::text) {
            const Pixel& p = s.pieces[0][0];
            // Sizes are points of 96 to the inch.
            std::fprintf(
                pipe, "set label %s at first %.2f,%.2f %s %s font 'Sans%s,%.2f' textcolor rgb '%s' front noenhanced\n",
                quoted(clean(s.text)).c_str(), p.x, p.y,
                s.type.anchor == Anchor::middle ? "center"
                : s.type.anchor == Anchor::end  ? "right"
                                                : "left",
                s.type.upright ? "rotate by 90" : "norotate", s.type.bold ? ":Bold" : "", 0.72 * kPngScale * s.size,
                s.colour.c_str());
            continue;
        }
        if (s.kind == Kind::begin || s.kind == Kind::end) continue;
        std::fprintf(pipe, "$d%d << EOD\n", block);
        for (const std::vector<Pixel>& piece : s.pieces) {
            for (const Pixel& p : piece) std::fprintf(pipe, "%.2f %.2f\n", p.x, p.y);
            std::fprintf(pipe, "\n");
        }
        std::fprintf(pipe, "EOD\n");
        char style[128];
        if (s.kind == Kind::lines) {
            std::snprintf(style, sizeof style, "with lines lw %.2f", kPngScale * s.size);
        } else if (s.kind == Kind::fill) {
            std::snprintf(style, sizeof style, "with filledcurves closed");
        } else {
            std::snprintf(style, sizeof style, "using 1:2:(%.2f) with circles fill solid noborder", s.size);
        }
        plot +=
            (plot.empty() ? "plot $d" : ", $d") + std::to_string(block++) + " " + style + " lc rgb '" + s.colour + "'";
    }
    std::fprintf(pipe, "%s\nunset output\n", plot.c_str());
    const bool ok = pclose(pipe) == 0;
    std::signal(SIGPIPE, previous);
    if (!ok) {
        std::remove(file.c_str());
        throw InputError(file + ": gnuplot could not draw this picture");
    }
}

}  // namespace host
