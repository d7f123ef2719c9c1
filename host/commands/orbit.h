/// \file orbit.h
/// `leopod orbit`: a reduced-dynamic orbit from the code and phase of a whole arc.
#ifndef LEOPOD_HOST_ORBIT_H
#define LEOPOD_HOST_ORBIT_H

#include <string>
#include <vector>

#include "estimation/antenna_offset.h"
#include "estimation/laser_ranges.h"
#include "estimation/reduced_dynamic.h"
#include "outputs/ephemeris.h"
#include "shared/span.h"
#include "stores/dynamics.h"
#include "stores/loading.h"

namespace host {

struct OrbitOptions {
    InputOptions inputs;
    DynamicsOptions dynamics;
    std::string sp3_antenna;
    AntennaOptions antenna;
    std::vector<std::string> empirical;
    double sigma_code = 0.3, sigma_phase = 0.003;  ///< of one observation on one band [m]
    double sigma_clock = -1;                       ///< [m]; negative: not given
    double elevation_mask = 0;                     ///< [deg]
    std::string weights = "equal";
    bool wind_up = true, adapt = true;
    SpanOptions span;
    double output_interval = 30;  ///< [s]
    std::string truth;
    OrbitOutputs orbit;
    std::string summary, out, formal_out, satellites_out, edits_out, parameters;
    LaserOptions laser;
    std::string log_level = "critical";
    std::vector<std::string> compare;
};

/// Estimates, or compares two results, and returns the exit status: 0 for a good orbit, 1 otherwise. Throws InputError.
int orbit(const OrbitOptions& options);

}  // namespace host

#endif
