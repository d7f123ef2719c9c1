/// \file plot.h
/// `leopod plot`: pictures of the CSV files that the other commands write.
#ifndef LEOPOD_HOST_PLOT_H
#define LEOPOD_HOST_PLOT_H

#include <string>
#include <vector>

namespace host {

struct PlotOptions {
    std::vector<std::string> in;
    std::string out, title, truth;
    std::string layout = "components", frame = "horizon", quantity = "filter";
    double from = -1e18, to = 1e18;       ///< seconds of the first day
    double limit = 0.0, limit_phase = 0;  ///< ends of the axes [m]; 0: those of the data
    bool log = false;
};

void plot_errors(const PlotOptions& options);
void plot_residuals(const PlotOptions& options);
void plot_satellites(const PlotOptions& options);
void plot_sky(const PlotOptions& options);
void plot_track(const PlotOptions& options);

}  // namespace host

#endif
