/// \file simulate_arc.h
/// The arc of `leopod simulate`: what is observed of whom, and all that is put in.
#ifndef LEOPOD_HOST_SIMULATE_ARC_H
#define LEOPOD_HOST_SIMULATE_ARC_H

#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <vector>

#include "model/signal.h"
#include "outputs/ephemeris.h"
#include "shared/span.h"
#include "stores/environment.h"

namespace host {

struct SimulateOptions {
    std::string orbit, satellite;
    std::vector<std::string> nav, sp3, clk;
    std::string config, systems;
    std::string start;
    SpanOptions span;                                           ///< in place of start and duration
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

constexpr double kEarthRadius = 6371000.0;  ///< below the shell of the ionosphere [m]
constexpr double kTagSlack = 1e-6;          ///< [s]
constexpr double kMaxClock = 0.1;           ///< [s]
constexpr long kAmbiguity = 1000000;        ///< largest, of a pass [cycle]
constexpr std::size_t kMaxBands = 3;        ///< of a system
constexpr std::size_t kObservables = MAXOBS_PER_SAT;

/// One observable of a system.
struct Observable {
    std::string code;  ///< such as C1P
    bool phase;
    std::size_t band;  ///< position in the system's bands
};

/// What is observed of a system.
struct Signals {
    char letter;
    std::vector<Observable> observables;
    std::vector<int> bands;  ///< of RINEX
    std::vector<double> frequency;
};

/// A slip to be put in at the first epoch from a time on.
struct Slip {
    std::string text;  ///< as given
    std::size_t satellite;
    double time;
    std::size_t band;
    double cycles;
    bool done = false;
};

/// Something that was put in.
struct Event {
    const char* kind;
    double tag;
    std::string satellite;  ///< empty for the clock
    int band;
    double value;  ///< cycles, or seconds for the clock
};

/// One satellite of one epoch.
struct Measured {
    std::size_t satellite;
    std::array<double, kObservables> value;
};

/// One epoch: times are seconds since the start of the first day.
struct SimulatedEpoch {
    double tag, clock;  ///< receiver clock [s]
    double received;    ///< true receive time
    Vector3 position, velocity, position_at_tag;
    std::vector<Measured> satellites;
};

/// What is followed of a satellite from epoch to epoch.
struct Track {
    long last_epoch = -2;
    std::array<double, kMaxBands> cycles{};  ///< ambiguity and slips since
    double wind_up = 0;
    int passes = 0;
};

/// The whole of a simulation.
struct Arc {
    long mjd_day = 0;
    std::vector<SimulatedEpoch> epochs;
    std::vector<Event> events;
    std::vector<Track> tracks;
    std::map<sysGNSS, Signals> signals;
};

GTime time_at(long mjd_day, double seconds);
/// A time of an option, GPST.
GTime parse_time(const std::string& option, const std::string& text);
/// Throws InputError with the text where the condition doesn't hold.
void require(bool condition, const std::string& text);

/// Which observables the configuration asks for, of the systems with satellites.
std::map<sysGNSS, Signals> choose_signals(const SimulateOptions& options, const Constellation& constellation,
                                          Environment& environment);
/// SATELLITE,TIME,BAND,CYCLES with the time as text or in seconds of the arc.
Slip parse_slip(const std::string& text, const Constellation& constellation, const Arc& arc, double start);
/// All epochs of the arc.
void observe(const SimulateOptions& options, const ReceiverOrbit& orbit, const Constellation& constellation,
             double start, long count, Arc& arc, std::vector<Slip>& slips);

}  // namespace host

#endif
