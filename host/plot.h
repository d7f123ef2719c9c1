/// \file plot.h
/// Line plots by gnuplot: panels of series over a common abscissa, written as SVG or PNG by the file's ending.
#ifndef LEOPOD_HOST_PLOT_H
#define LEOPOD_HOST_PLOT_H

#include <string>
#include <vector>

namespace host {

struct Series {
    std::string name;
    std::vector<double> x, y;
};

struct Panel {
    std::string title, x_label, y_label;
    std::vector<Series> series;
};

/// Writes the panels below each other. False where gnuplot is missing or fails.
bool plot(const std::string& file, const std::vector<Panel>& panels);

}  // namespace host

#endif
