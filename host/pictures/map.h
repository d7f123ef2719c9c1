/// \file map.h
/// The earth with longitude to the right and latitude upwards, graticule of 30 degrees; starts and ends of tracks are marked.
#ifndef LEOPOD_HOST_MAP_H
#define LEOPOD_HOST_MAP_H

#include <string>
#include <vector>

#include "inputs/positions.h"
#include "pictures/canvas.h"
#include "pictures/figure.h"

namespace host {

struct GroundTrack {
    std::string name;
    std::vector<double> seconds, longitude, latitude;  ///< [degree]
};

/// Adds an earth-fixed position to a track.
void add_position(GroundTrack& track, double seconds, const Vector3& position);

struct MapFigure {
    FigureOptions options;
    std::string source;  ///< files that the positions come from
    std::vector<GroundTrack> tracks;
};

Canvas draw_map(const MapFigure& figure);

}  // namespace host

#endif
