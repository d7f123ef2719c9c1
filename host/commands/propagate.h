/// \file propagate.h
/// `leopod propagate`: a state in, a trajectory out.
#ifndef LEOPOD_HOST_PROPAGATE_H
#define LEOPOD_HOST_PROPAGATE_H

#include <string>
#include <vector>

#include "outputs/ephemeris.h"
#include "stores/dynamics.h"

namespace host {

struct PropagateOptions {
    DynamicsOptions dynamics;
    std::string epoch, time_scale = "gpst", frame = "ecef";
    std::vector<std::string> state;  ///< position [m], velocity [m/s]; or a file
    double duration = 86400.0;       ///< [s]
    OrbitOutputs orbit;
    std::string out, rows_out, summary;
    double rows_interval = 0.02;  ///< of the rows of rows_out [s]
    std::string truth;
};

/// Propagates and returns the exit status 0. Throws InputError.
int propagate(const PropagateOptions& options);

}  // namespace host

#endif
