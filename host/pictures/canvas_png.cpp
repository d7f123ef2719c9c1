// The pictures as PNG, drawn by gnuplot.
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#include "pictures/canvas.h"
#include "shared/error.h"
#include "shared/files.h"

namespace host {

namespace {

constexpr double kPngScale = 2.0;  ///< pixels of the PNG file for a pixel of the canvas

/// A text for gnuplot in single quotes.
std::string quoted(const std::string& text) {
    std::string out = "'";
    for (char c : text) out += c == '\'' ? std::string("''") : std::string(1, c);
    return out + "'";
}

/// A label in gnuplot's words. Sizes are points of 96 to the inch.
std::string label_of(const Pixel& p, const std::string& text, const Type& type) {
    char place[64];
    std::snprintf(place, sizeof place, "%.2f,%.2f", p.x, p.y);
    char size[32];
    std::snprintf(size, sizeof size, "%.2f", 0.72 * kPngScale * type.size);
    const char* anchor = type.anchor == Anchor::middle ? "center" : type.anchor == Anchor::end ? "right" : "left";
    return "set label " + quoted(text) + " at first " + place + " " + anchor +
           (type.upright ? " rotate by 90" : " norotate") + " font 'Sans" + (type.bold ? ":Bold" : "") + "," + size +
           "' textcolor rgb '" + type.colour + "' front noenhanced\n";
}

/// How gnuplot draws points as signs.
std::string style_of(Sign sign, double radius) {
    // Its types of points, in the order of the signs; circles have a style of their own.
    static constexpr int kTypes[kSigns] = {7, 5, 9, 13, 1, 2, 6, 11};
    char style[96];
    if (sign == Sign::circle) {
        std::snprintf(style, sizeof style, "using 1:2:(%.2f) with circles fill solid noborder", radius);
    } else {
        std::snprintf(style, sizeof style, "with points pt %d ps %.2f lw %.2f", kTypes[static_cast<std::size_t>(sign)],
                      0.42 * radius, 0.6 * kPngScale * radius);
    }
    return style;
}

/// True for a PNG file that goes to its end.
bool is_whole_png(const std::string& file) {
    std::ifstream in(file, std::ios::binary);
    char end[12]{};
    return in.seekg(-static_cast<long>(sizeof end), std::ios::end) && in.read(end, sizeof end) &&
           std::string(end + 4, 4) == "IEND";
}

}  // namespace

void Canvas::write_gnuplot(std::FILE* pipe, const std::string& file) const {
    std::fprintf(pipe,
                 "set encoding utf8\nset terminal pngcairo size %.0f,%.0f font 'Sans,10' rounded background '#ffffff'\n"
                 "set output %s\nunset border\nunset tics\nunset key\nset lmargin 0\nset rmargin 0\nset tmargin 0\n"
                 "set bmargin 0\nset xrange [0:%d]\nset yrange [%d:0]\n",
                 kPngScale * width_, kPngScale * height_, quoted(file).c_str(), width_, height_);
    std::string plot;
    int block = 0;
    for (const Shape& s : shapes_) {
        if (s.kind == Kind::text) std::fputs(label_of(s.pieces[0][0], s.text, s.type).c_str(), pipe);
        if (s.kind == Kind::text || s.kind == Kind::begin || s.kind == Kind::end) continue;
        std::fprintf(pipe, "$d%d << EOD\n", block);
        for (const std::vector<Pixel>& piece : s.pieces) {
            for (const Pixel& p : piece) std::fprintf(pipe, "%.2f %.2f\n", p.x, p.y);
            std::fprintf(pipe, "\n");
        }
        std::fprintf(pipe, "EOD\n");
        char lines[64];
        std::snprintf(lines, sizeof lines, "with lines lw %.2f", kPngScale * s.size);
        const std::string style = s.kind == Kind::lines  ? std::string(lines)
                                  : s.kind == Kind::fill ? "with filledcurves closed"
                                                         : style_of(s.sign, s.size);
        plot +=
            (plot.empty() ? "plot $d" : ", $d") + std::to_string(block++) + " " + style + " lc rgb '" + s.colour + "'";
    }
    std::fprintf(pipe, "%s\nunset output\n", plot.c_str());
}

void Canvas::save_png(const std::string& file) const {
    if (std::system("command -v gnuplot >/dev/null 2>&1") != 0) {
        throw InputError(file + ": PNG pictures are drawn by gnuplot, which is not installed (Debian: gnuplot-nox); " +
                         "a name that ends in .svg needs no other program");
    }
    write_by_name(file, [this](const std::string& place) {
        const auto previous = std::signal(SIGPIPE, SIG_IGN);
        FILE* pipe = popen("gnuplot >/dev/null 2>&1", "w");
        if (pipe != nullptr) write_gnuplot(pipe, place);
        const bool drawn = pipe != nullptr && pclose(pipe) == 0 && is_whole_png(place);
        std::signal(SIGPIPE, previous);
        if (!drawn) throw InputError("gnuplot could not draw this picture");
        return true;
    });
}

}  // namespace host
