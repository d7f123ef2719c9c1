/// \file sky.h
/// The sky in polar coordinates: zenith in the middle, azimuth clockwise.
#ifndef LEOPOD_HOST_SKY_H
#define LEOPOD_HOST_SKY_H

#include <string>

#include "inputs/satellite_rows.h"
#include "pictures/canvas.h"
#include "pictures/figure.h"

namespace host {

/// Tracks have a colour for each satellite. Where they are many they become a tangle: then the density of the epochs tells more.
enum class SkyStyle { by_span, tracks, density };

struct SkyFigure {
    FigureOptions options;
    std::string source;  ///< files that the directions come from
    SatelliteRowsByName satellites;
    bool antenna = false;                ///< directions in the frame of the antenna; else azimuth 0 is north
    SkyStyle style = SkyStyle::by_span;  ///< tracks up to two hours, density beyond
};

/// Throws InputError without any direction.
Canvas draw_sky(const SkyFigure& figure);

}  // namespace host

#endif
