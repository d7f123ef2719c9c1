// The pictures as PNG, drawn by gnuplot.
#include <csignal>
#include <cstdio>
#include <cstdlib>

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

}  // namespace

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
                quoted(s.text).c_str(), p.x, p.y,
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
