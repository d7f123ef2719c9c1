/// \file plot.h
/// `leopod plot`: pictures of the CSV files that the other commands write.
#ifndef LEOPOD_HOST_PLOT_H
#define LEOPOD_HOST_PLOT_H

#include <string>
#include <vector>

#include "inputs/satellite_rows.h"
#include "pictures/canvas.h"
#include "shared/span.h"

namespace host {

struct PlotOptions {
    std::vector<std::string> in;
    std::string out, title, truth;
    std::string layout = "components", frame = "horizon", quantity = "filter", style = "auto";
    SpanOptions span;
    double limit = 0.0, limit_phase = 0;  ///< ends of the axes [m]; 0: those of the data
    bool log = false;
};

Canvas plot_errors(const PlotOptions& options);
Canvas plot_residuals(const PlotOptions& options);
Canvas plot_satellites(const PlotOptions& options);
Canvas plot_sky(const PlotOptions& options);
Canvas plot_track(const PlotOptions& options);

}  // namespace host

#endif
