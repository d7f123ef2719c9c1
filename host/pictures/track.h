/// \file track.h
/// Ways over the sky or the earth, in pieces between their gaps.
#ifndef LEOPOD_HOST_TRACK_H
#define LEOPOD_HOST_TRACK_H

#include <string>
#include <vector>

#include "pictures/canvas.h"

namespace host {

struct Trail {
    std::string name, colour;
    struct Place {
        double a, b;  ///< azimuth and elevation, or longitude and latitude [degree]
    };
    std::vector<std::vector<Place>> pieces;
};

/// Pieces of a list of places, cut where time goes on by more than the gap.
std::vector<std::vector<Trail::Place>> cut(const std::vector<double>& seconds, const std::vector<Trail::Place>& places,
                                           double gap);

/// The step that most epochs have.
double usual_step(std::vector<double> seconds);

/// Points that lie at least a pixel from the last one kept; the ends stay.
std::vector<Pixel> thin_distance(const std::vector<Pixel>& points);

}  // namespace host

#endif
