/// \file satellites.h
/// Satellites of a run over time: their number, their geometry, and how each was tracked.
#ifndef LEOPOD_HOST_PICTURES_SATELLITES_H
#define LEOPOD_HOST_PICTURES_SATELLITES_H

#include <string>
#include <vector>

#include "inputs/satellite_rows.h"
#include "pictures/canvas.h"
#include "pictures/figure.h"

namespace host {

struct SatelliteFigure {
    FigureOptions options;
    std::string source;                            ///< files that the numbers come from
    std::vector<double> seconds, count, dilution;  ///< of the epochs; may be empty
    SatelliteRowsByName tracking;                  ///< by name; may be empty
};

Canvas draw_satellites(const SatelliteFigure& figure);

}  // namespace host

#endif
