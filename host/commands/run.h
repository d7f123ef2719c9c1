/// \file run.h
/// `leopod run`: observation files in, an orbit out, epoch by epoch.
#ifndef LEOPOD_HOST_RUN_H
#define LEOPOD_HOST_RUN_H

#include <string>

#include "estimation/antenna_offset.h"
#include "outputs/ephemeris.h"
#include "shared/span.h"
#include "stores/loading.h"

namespace host {

struct RunOptions {
    InputOptions inputs;
    std::string truth, out, satellites_out, plot, summary, sp3_antenna;
    AntennaOptions antenna;
    SpanOptions span;  ///< as the options give it; the inputs have it
    OrbitOutputs orbit;
    bool round = false;  ///< the orbit at whole seconds
    std::string log_level = "critical";
};

/// Runs and returns the exit status: 0 with at least one epoch solved, 1 with none. Throws InputError.
int run(const RunOptions& options);

}  // namespace host

#endif
