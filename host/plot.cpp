#include "plot.h"

#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace host {

namespace {

/// A text for gnuplot in single quotes.
std::string quoted(const std::string& text) {
    std::string out = "'";
    for (char c : text) out += c == '\'' ? std::string("''") : std::string(1, c);
    return out + "'";
}

}  // namespace

bool plot(const std::string& file, const std::vector<Panel>& panels) {
    if (std::system("command -v gnuplot >/dev/null 2>&1") != 0) return false;
    const auto previous = std::signal(SIGPIPE, SIG_IGN);
    FILE* pipe = popen("gnuplot 2>/dev/null", "w");
    if (pipe == nullptr) return false;
    const bool png = file.size() > 4 && file.compare(file.size() - 4, 4, ".png") == 0;
    const int height = 330 * static_cast<int>(panels.size());
    std::fprintf(pipe, "set terminal %s size 1100,%d %s\n", png ? "png" : "svg", height,
                 png ? "" : "font 'sans,13' background 'white'");
    std::fprintf(pipe, "set output %s\nset grid lc rgb '#d0d0d0'\nset key outside right\n", quoted(file).c_str());
    std::fprintf(pipe, "set multiplot layout %zu,1\n", panels.size());
    static const char* colours[] = {"#0a2f80", "#e06000", "#2ca02c", "#cc79a7", "#555555"};
    int block = 0;
    for (const Panel& panel : panels) {
        const int first = block;
        for (const Series& series : panel.series) {
            std::fprintf(pipe, "$data%d << EOD\n", block++);
            for (std::size_t i = 0; i < series.x.size(); ++i) {
                if (std::isfinite(series.y[i])) std::fprintf(pipe, "%.9g %.9g\n", series.x[i], series.y[i]);
            }
            std::fprintf(pipe, "EOD\n");
        }
        std::fprintf(pipe, "set title %s noenhanced\nset xlabel %s noenhanced\nset ylabel %s noenhanced\nplot ",
                     quoted(panel.title).c_str(), quoted(panel.x_label).c_str(), quoted(panel.y_label).c_str());
        for (std::size_t k = 0; k < panel.series.size(); ++k) {
            std::fprintf(pipe, "%s$data%d using 1:2 with lines lw 1.4 lc rgb '%s' title %s noenhanced",
                         k != 0 ? ", " : "", first + static_cast<int>(k), colours[k % 5],
                         quoted(panel.series[k].name).c_str());
        }
        std::fprintf(pipe, "\n");
    }
    std::fprintf(pipe, "unset multiplot\nunset output\n");
    const bool ok = pclose(pipe) == 0;
    std::signal(SIGPIPE, previous);
    return ok;
}

}  // namespace host
