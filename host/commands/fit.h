/// \file fit.h
/// `leopod fit`: a dynamic orbit through a list of positions.
#ifndef LEOPOD_HOST_FIT_H
#define LEOPOD_HOST_FIT_H

#include <string>

#include "stores/dynamics.h"

namespace host {

struct FitOptions {
    DynamicsOptions dynamics;
    std::string positions, frame = "ecef", time_scale = "gpst", satellite, solution = "filter";
    double interval = 0.0;           ///< thinning [s]; 0 takes all
    double from = -1e18, to = 1e18;  ///< seconds of the first day
    std::string truth;
    std::string out, sp3_out, residuals, parameters, history, plot;
};

/// Fits and returns the exit status: 0 when the fit converged, 1 when it did not. Throws InputError.
int fit(const FitOptions& options);

}  // namespace host

#endif
