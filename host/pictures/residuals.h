/// \file residuals.h
/// Residuals: of a run by satellite, over time and elevation; of a fit over time.
#ifndef LEOPOD_HOST_RESIDUALS_H
#define LEOPOD_HOST_RESIDUALS_H

#include <array>
#include <string>
#include <vector>

#include "inputs/satellite_rows.h"
#include "pictures/canvas.h"
#include "pictures/figure.h"

namespace host {

struct ResidualFigure {
    FigureOptions options;
    std::string source;
    SatelliteRowsByName satellites;
    bool point = false;                      ///< the ranges of the point position instead of the filter's combinations
    std::string elevation_note;              ///< in which frame
    double limit_code = 0, limit_phase = 0;  ///< ends of the axes [m]; 0: those of the data
};

/// Residuals of positions against a fitted orbit.
struct FitResidualFigure {
    FigureOptions options;
    std::string source;
    std::vector<double> seconds;
    std::vector<bool> used;  ///< false where a position was left out; empty: all were used
    std::array<std::vector<double>, 3> radial_along_cross;
    double limit = 0;
};

Canvas draw_residuals(const ResidualFigure& figure);
Canvas draw_fit_residuals(const FitResidualFigure& figure);

}  // namespace host

#endif
