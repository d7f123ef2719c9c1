/// \file simulate.h
/// `leopod simulate`: an orbit in, the observations of a receiver on it out, with everything that was put in.
#ifndef LEOPOD_HOST_SIMULATE_H
#define LEOPOD_HOST_SIMULATE_H

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "outputs/ephemeris.h"

namespace host {

struct SimulateOptions {
    std::string orbit, satellite;
    std::vector<std::string> nav, sp3, clk;
    std::string config, systems;
    std::string start;
    double duration = std::numeric_limits<double>::infinity();  ///< [s]; infinite: to the end of the orbit
    double interval = 30.0;                                     ///< [s]
    std::uint64_t seed = 1;

    double code_noise = 0.3, phase_noise = 0.002;                    ///< standard deviations [m]
    double clock_offset = 0.0, clock_drift = 0.0, clock_walk = 0.0;  ///< [s], [s/s], [s] in a root second
    bool clock_jumps = false;
    std::vector<std::string> slips;  ///< satellite, time, band, cycles
    double slip_rate = 0.0;          ///< at random, an hour and satellite
    long slip_size = 20;             ///< largest of them [cycle]
    double tec = 0.0;                ///< vertical content above the receiver [TECU]
    double shell_height = 850.0;     ///< [km]
    bool wind_up = true, group_delays = true;
    double mask = 5.0;  ///< [degree]
    int channels = 15;
    std::string platform_z = "down";
    double yaw = 0.0;  ///< [degree]

    OrbitOutputs ephemeris;
    std::string summary;
    std::string obs_out, att_out, truth_out, events_out;
    std::string log_level = "critical";
};

/// Simulates and returns the exit status 0. Throws InputError.
int simulate(const SimulateOptions& options);

}  // namespace host

#endif
