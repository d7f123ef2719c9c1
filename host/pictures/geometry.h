/// \file geometry.h
/// The geometry of a position from the directions of its satellites.
#ifndef LEOPOD_HOST_GEOMETRY_H
#define LEOPOD_HOST_GEOMETRY_H

#include <vector>

#include "inputs/satellite_rows.h"

namespace host {

struct Geometry {
    std::vector<double> seconds, gdop;
};

/// Geometric dilution of precision, epoch by epoch: root of the trace of the cofactors of position and clocks (one a system), from the
/// satellites in the point position, each weighed alike. Epochs whose satellites do not give a position are left out.
Geometry geometry_of(const SatelliteRowsByName& satellites);

/// True where figures of dilution have a long upper tail, which takes a logarithmic axis.
bool is_wide(const std::vector<double>& figures);

}  // namespace host

#endif
