/// \file fit.h
/// `leopod fit`: a dynamic orbit through a list of positions.
#ifndef LEOPOD_HOST_FIT_H
#define LEOPOD_HOST_FIT_H

#include <string>
#include <vector>

#include "estimation/antenna_offset.h"
#include "estimation/laser_ranges.h"
#include "outputs/ephemeris.h"
#include "shared/span.h"
#include "stores/dynamics.h"

namespace host {

struct FitOptions {
    DynamicsOptions dynamics;
    std::string positions, frame = "ecef", time_scale = "gpst", solution = "filter", weights = "robust";
    AntennaOptions antenna;
    LaserOptions laser;
    std::vector<std::string> att;
    SpanOptions span;
    std::string truth;
    OrbitOutputs orbit;  ///< its satellite is that of the positions as well
    std::string summary, out, residuals, parameters, history, plot;
};

/// Fits and returns the exit status: 0 when the fit converged, 1 when it did not or earth orientation does not cover the arc. Throws
/// InputError.
int fit(const FitOptions& options);

}  // namespace host

#endif
