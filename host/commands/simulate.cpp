// `leopod simulate`: an orbit in, the observations of a receiver on it out, with everything that was put in.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/summaries.h"
#include "model/random.h"
#include "model/signal.h"
#include "outputs/ephemeris.h"
#include "shared/console.h"
#include "shared/earth.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/times.h"
#include "stores/environment.h"
#include "stores/loading.h"

namespace host {

namespace {

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

constexpr double kEarthRadius = 6371000.0;  ///< below the shell of the ionosphere [m]
constexpr double kTagSlack = 1e-6;          ///< [s]
constexpr double kMaxClock = 0.1;           ///< [s]
constexpr long kMaxEpochs = 500000;         ///< bounds the memory of a run
constexpr long kAmbiguity = 1000000;        ///< largest, of a pass [cycle]
constexpr double kAttitudeStep = 30.0;      ///< of the quaternions [s]
constexpr int kAttitudeMargin = 6;          ///< quaternions beyond the ends of the arc, as far as the orbit goes
constexpr std::size_t kMaxBands = 3;        ///< of a system
constexpr std::size_t kObservables = MAXOBS_PER_SAT;

/// Streams of random numbers: each cause has its own, and noise and slips one a satellite, so that a change of one option leaves all other
/// numbers as they were.
enum Stream : std::uint64_t { kClockStream = 1, kAmbiguityStream = 1000, kSlipStream = 2000, kNoiseStream = 3000 };

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

GTime time_at(long mjd_day, double seconds) { return gtimeAddSec({{mjd_day, 0.0}, tsGPST}, seconds); }

/// Calendar date of a tag, to the digits of RINEX.
TimeYMD rinex_date(long mjd_day, double seconds) { return calendar(time_at(mjd_day, seconds), 7); }

void require(bool condition, const std::string& text) {
    if (!condition) throw InputError(text);
}

void check_options(const SimulateOptions& o) {
    // Comparisons that a number which is none fails as well.
    require(o.duration >= 0.0, "--duration: a positive number of seconds is expected");
    require(o.interval >= 0.01 && o.interval <= 86400.0, "--interval: 0.01 to 86400 seconds are expected");
    require(o.code_noise >= 0.0 && o.code_noise <= 1000.0, "--code-noise: 0 to 1000 m are expected");
    require(o.phase_noise >= 0.0 && o.phase_noise <= 10.0, "--phase-noise: 0 to 10 m are expected");
    require(std::fabs(o.clock_offset) <= kMaxClock, "--clock-offset: at most 0.1 s of either sign are expected");
    require(std::fabs(o.clock_drift) <= 1e-4, "--clock-drift: at most 1e-4 of either sign is expected");
    require(o.clock_walk >= 0.0 && o.clock_walk <= 1e-4, "--clock-walk: 0 to 1e-4 s are expected");
    require(o.slip_rate >= 0.0 && o.slip_rate <= 1000.0, "--slip-rate: 0 to 1000 an hour are expected");
    require(o.slip_size >= 1 && o.slip_size <= kAmbiguity, "--slip-size: 1 to 1000000 cycles are expected");
    require(o.tec >= 0.0 && o.tec <= 1000.0, "--tec: 0 to 1000 TECU are expected");
    require(o.shell_height > 0.0 && o.shell_height <= 20000.0, "--shell-height: up to 20000 km are expected");
    require(o.mask >= 0.0 && o.mask < 90.0, "--mask: 0 to 90 degrees are expected");
    require(o.channels >= 1 && o.channels <= MAXSAT_EPOCH,
            "--channels: 1 to 15 are expected, the satellites that an epoch of the library holds");
    require(o.platform_z == "down" || o.platform_z == "up",
            "--platform-z " + o.platform_z + ": down or up is expected");
    require(std::fabs(o.yaw) <= 360.0, "--yaw: at most 360 degrees of either sign are expected");
    require(!o.nav.empty() || !o.sp3.empty(), "no ephemeris file is given (--nav or --sp3)");
    require(o.clk.empty() || !o.sp3.empty(), "--clk: clocks go with orbits of --sp3");
    require(o.systems.find_first_not_of("GC") == std::string::npos,
            "--systems " + o.systems + ": G, C or GC is expected");
}

GTime parse_time(const std::string& option, const std::string& text) {
    return parse_date(option, text, tsGPST, 1981, 2099);
}

/// Which observables the configuration asks for, of the systems with satellites.
std::map<sysGNSS, Signals> choose_signals(const SimulateOptions& o, const Constellation& constellation,
                                          Environment& environment) {
    std::vector<sysGNSS> systems;
    for (sysGNSS system : {GPS, BDS}) {
        const char letter = system == GPS ? 'G' : 'C';
        const bool wanted = o.systems.empty() || o.systems.find(letter) != std::string::npos;
        const bool there = std::any_of(constellation.satellites().begin(), constellation.satellites().end(),
                                       [&](const Satellite& s) { return s.system == system; });
        if (wanted && there) systems.push_back(system);
    }
    require(!systems.empty(), (o.sp3.empty() ? o.nav : o.sp3).front() + ": no satellite of " +
                                  (o.systems.empty() ? "GPS or BDS" : "--systems " + o.systems) +
                                  " has ephemerides with healthy orbits and clocks");
    if (o.config.empty()) {
        set_gnssconfig_system(&gnssconfig, static_cast<int>(systems.size()), systems.data());
    } else {
        load_configuration(o.config, environment);
    }
    std::map<sysGNSS, Signals> signals;
    for (int j = 0; j < gnssconfig.num_sys; ++j) {
        const sysGNSS system = gnssconfig.sys_used[j];
        if (std::find(systems.begin(), systems.end(), system) == systems.end()) continue;
        Signals s{system == GPS ? 'G' : 'C', {}, {}, {}};
        for (int k = 0; k < gnssconfig.num_obs_freq_code[j]; ++k) {
            const TYPE_FREQ_CODE& used = gnssconfig.obs_type_freq_code_used[j][k];
            char text[4] = {};
            TYPE_FREQ_CODE_AsString(used, text);
            const double frequency = carrier_frequency(system, used.freq);
            require((used.type == RANGE || used.type == PHASE) && frequency > 0.0,
                    o.config + ": " + text + ": codes and phases on bands of the system are simulated, nothing else");
            const auto band = std::find(s.bands.begin(), s.bands.end(), static_cast<int>(used.freq));
            const std::size_t place = static_cast<std::size_t>(band - s.bands.begin());
            if (band == s.bands.end()) {
                require(place < kMaxBands, o.config + ": more than three bands of a system");
                s.bands.push_back(used.freq);
                s.frequency.push_back(frequency);
            }
            s.observables.push_back({text, used.type == PHASE, place});
        }
        signals[system] = s;
    }
    require(!signals.empty(), o.config + ": no system of this configuration has satellites to simulate");
    return signals;
}

/// SATELLITE,TIME,BAND,CYCLES with the time as text or in seconds of the arc.
Slip parse_slip(const std::string& text, const Constellation& constellation, const Arc& arc, double start) {
    const std::string what = "--slip " + text + ": ";
    const std::vector<std::string_view> parts = csv_fields(text);
    const std::vector<std::string> fields(parts.begin(), parts.end());
    require(fields.size() == 4, what + "satellite, time, band and cycles are expected, such as C21,1800,L1,5");
    Slip slip{text, 0, 0.0, 0, 0.0};
    const std::vector<Satellite>& all = constellation.satellites();
    const auto satellite =
        std::find_if(all.begin(), all.end(), [&](const Satellite& s) { return s.name() == fields[0]; });
    require(satellite != all.end() && arc.signals.count(satellite->system) != 0,
            what + fields[0] + " is no satellite of this simulation");
    slip.satellite = static_cast<std::size_t>(satellite - all.begin());
    if (fields[1].find(':') != std::string::npos) {
        slip.time = gtimeSubSec(parse_time("--slip", fields[1]), time_at(arc.mjd_day, 0.0));
    } else {
        require(parse_number(fields[1], slip.time), what + "the time cannot be read");
        slip.time += start;
    }
    const std::vector<int>& bands = arc.signals.at(satellite->system).bands;
    const auto band =
        std::find_if(bands.begin(), bands.end(), [&](int b) { return fields[2] == "L" + std::to_string(b); });
    require(band != bands.end(), what + fields[2] + " is not observed of this system");
    slip.band = static_cast<std::size_t>(band - bands.begin());
    require(parse_number(fields[3], slip.cycles) && slip.cycles == std::round(slip.cycles) && slip.cycles != 0.0 &&
                std::fabs(slip.cycles) <= kAmbiguity,
            what + "a whole number of cycles other than 0 is expected");
    return slip;
}

/// Offset, drift and random walk of the receiver clock, kept within half a millisecond where it jumps.
class ReceiverClock {
  public:
    explicit ReceiverClock(const SimulateOptions& o) : options_(o), random_(o.seed, kClockStream) {}

    /// Clock at the next epoch, `elapsed` seconds into the arc [s].
    double next(double elapsed, double tag, std::vector<Event>& events) {
        const double step = elapsed - last_;
        last_ = elapsed;
        walk_ += options_.clock_walk * std::sqrt(step) * random_.normal();
        const double free = options_.clock_offset + options_.clock_drift * elapsed + walk_;
        if (options_.clock_jumps) {
            const double jumps = -1e-3 * std::round((free + jumps_) * 1e3);
            if (jumps != 0.0) events.push_back({"clock_jump", tag, "", 0, jumps});
            jumps_ += jumps;
        }
        return free + jumps_;
    }

  private:
    const SimulateOptions& options_;
    Random random_;
    double last_ = 0, walk_ = 0, jumps_ = 0;
};

/// A satellite in view.
struct InView {
    std::size_t satellite;
    Path path;
};

/// The satellites above the mask, the highest ones where they are more than the channels, in the order of the constellation.
std::vector<InView> satellites_in_view(const SimulateOptions& o, const Constellation& constellation, const Arc& arc,
                                       double received, const Vector3& position) {
    std::vector<InView> seen;
    for (std::size_t i = 0; i < constellation.satellites().size(); ++i) {
        if (arc.signals.count(constellation.satellites()[i].system) == 0) continue;
        InView view{i, {}};
        if (trace(constellation, i, received, position, view.path) && view.path.elevation >= o.mask * kDegToRad)
            seen.push_back(view);
    }
    const std::size_t channels = static_cast<std::size_t>(o.channels);
    if (seen.size() > channels) {
        std::stable_sort(seen.begin(), seen.end(),
                         [](const InView& a, const InView& b) { return a.path.elevation > b.path.elevation; });
        seen.resize(channels);
        std::sort(seen.begin(), seen.end(), [](const InView& a, const InView& b) { return a.satellite < b.satellite; });
    }
    return seen;
}

/// All epochs of the arc.
void observe(const SimulateOptions& o, const ReceiverOrbit& orbit, const Constellation& constellation, double start,
             long count, Arc& arc, std::vector<Slip>& slips) {
    const std::vector<Satellite>& all = constellation.satellites();
    ReceiverClock clock(o);
    std::vector<Random> noise;
    std::vector<Random> slip_random;
    std::vector<Random> ambiguity;
    for (const Satellite& s : all) {
        const std::uint64_t number = 100 * static_cast<std::uint64_t>(s.system) + static_cast<std::uint64_t>(s.prn);
        noise.emplace_back(o.seed, kNoiseStream + number);
        slip_random.emplace_back(o.seed, kSlipStream + number);
        ambiguity.emplace_back(o.seed, kAmbiguityStream + number);
    }
    arc.tracks.resize(all.size());
    const double slip_chance = 1.0 - std::exp(-o.slip_rate * o.interval / 3600.0);

    Progress progress("simulating epochs", static_cast<double>(count));
    for (long n = 0; n < count; ++n) {
        progress.done(static_cast<double>(n));
        SimulatedEpoch epoch{};
        const double elapsed = static_cast<double>(n) * o.interval;
        epoch.tag = start + elapsed;
        epoch.clock = clock.next(elapsed, epoch.tag, arc.events);
        require(std::fabs(epoch.clock) <= kMaxClock, "the receiver clock leaves the range of 0.1 s at " +
                                                         time_text(time_at(arc.mjd_day, epoch.tag)) +
                                                         ": a smaller --clock-drift or --clock-jumps keeps it");
        epoch.received = epoch.tag - epoch.clock;
        epoch.position = orbit.position(epoch.received);
        epoch.velocity = orbit.velocity(epoch.received);
        epoch.position_at_tag = orbit.position(epoch.tag);
        const double mjd_utc = gtime2mjd(gtimeChangeTimeSystem(time_at(arc.mjd_day, epoch.received), tsUTC));
        const Vector3 sun = sun_direction(mjd_utc);
        // The antenna looks up whichever side of the platform it is on.
        const BodyAxes antenna = platform_axes(epoch.position, epoch.velocity, false, o.yaw * kDegToRad);
        const double shell = kEarthRadius + o.shell_height * 1e3;
        require(o.tec == 0.0 || length(epoch.position) < shell,
                "--shell-height: the receiver is above this shell, at " +
                    std::to_string(std::lround((length(epoch.position) - kEarthRadius) * 1e-3)) + " km");

        std::vector<std::array<double, 4>> dice(all.size());
        std::vector<std::array<double, kObservables>> error(all.size());
        for (std::size_t i = 0; i < all.size(); ++i) {
            for (double& value : error[i]) value = noise[i].normal();
            dice[i] = {slip_random[i].uniform(), slip_random[i].uniform(), slip_random[i].whole(o.slip_size),
                       slip_random[i].whole(o.slip_size)};
        }

        for (const InView& view : satellites_in_view(o, constellation, arc, epoch.received, epoch.position)) {
            const std::size_t i = view.satellite;
            const Path& path = view.path;
            const Signals& signals = arc.signals.at(all[i].system);
            Track& track = arc.tracks[i];
            const bool first = track.last_epoch != n - 1;
            const auto put_in = [&](const char* kind, std::size_t band, double cycles) {
                track.cycles[band] += cycles;
                arc.events.push_back({kind, epoch.tag, all[i].name(), signals.bands[band], cycles});
            };
            if (first) {
                ++track.passes;
                track.cycles = {};
                track.wind_up = 0.0;
                for (std::size_t b = 0; b < signals.bands.size(); ++b)
                    put_in("pass", b, ambiguity[i].whole(kAmbiguity));
            } else if (dice[i][0] < slip_chance) {
                // On one band, the first or second, or on both.
                const int where = static_cast<int>(3.0 * dice[i][1]);
                for (std::size_t b = 0; b < std::min<std::size_t>(signals.bands.size(), 2); ++b) {
                    if (where == 2 || where == static_cast<int>(b) || signals.bands.size() == 1)
                        put_in("slip", b, dice[i][2 + b]);
                }
            }
            for (Slip& slip : slips) {
                if (slip.done || slip.satellite != i || epoch.tag < slip.time - kTagSlack) continue;
                require(!first && epoch.tag < slip.time + o.interval - kTagSlack,
                        "--slip " + slip.text + ": the satellite is not tracked at this time and the epoch before");
                put_in("slip", slip.band, slip.cycles);
                slip.done = true;
            }
            track.last_epoch = n;
            if (o.wind_up) {
                track.wind_up =
                    wind_up(transmitter_axes(all[i], path.satellite, sun), antenna, path.to_satellite, track.wind_up);
            }

            Measured measured{i, {}};
            const double distance = kLight * (path.light_time + epoch.clock - path.transmission.clock);
            const double content =
                o.tec > 0.0 ? o.tec * shell_factor(length(epoch.position), shell, path.elevation) : 0.0;
            for (std::size_t k = 0; k < signals.observables.size(); ++k) {
                const Observable& observable = signals.observables[k];
                const double frequency = signals.frequency[observable.band];
                const double delay = ionospheric_delay(content, frequency);
                if (observable.phase) {
                    measured.value[k] = (distance - delay + o.phase_noise * error[i][k]) * frequency / kLight +
                                        track.cycles[observable.band] + track.wind_up;
                } else {
                    const double group = o.group_delays
                                             ? code_group_delay(all[i].system, signals.bands[observable.band],
                                                                path.transmission.group_delay)
                                             : 0.0;
                    measured.value[k] = distance + delay + kLight * group + o.code_noise * error[i][k];
                }
            }
            epoch.satellites.push_back(measured);
        }
        arc.epochs.push_back(std::move(epoch));
    }
    for (const Slip& slip : slips)
        require(slip.done, "--slip " + slip.text + ": the satellite is not tracked at this time");
}

// --- files ---------------------------------------------------------------------------------------------------------------

/// RINEX 3.05. The library's writer is not used: it puts the date of the run into the header, so that no command would give the same file
/// twice, takes the types from one epoch, and writes signal-strength digits of 0.
void write_observations(const SimulateOptions& o, const Constellation& constellation, const Arc& arc) {
    OutputFile out(o.obs_out);
    const auto line = [&out](const std::string& content, const char* label) {
        std::fprintf(out, "%-60.60s%-20s\n", content.c_str(), label);
    };
    const auto time = [&arc](double tag) {
        const TimeYMD d = rinex_date(arc.mjd_day, tag);
        char text[64];
        std::snprintf(text, sizeof text, "%6d%6d%6d%6d%6d%13.7f     GPS", d.year, d.month, d.day, d.hour, d.minute,
                      d.second);
        return std::string(text);
    };
    line("     3.05           OBSERVATION DATA    M", "RINEX VERSION / TYPE");
    line("leopod simulate", "PGM / RUN BY / DATE");
    line("simulated: nothing in this file was measured", "COMMENT");
    line("SIMULATED", "MARKER NAME");
    line("SPACEBORNE", "MARKER TYPE");
    for (const auto& [system, signals] : arc.signals) {
        char text[16];
        std::snprintf(text, sizeof text, "%c  %3zu", signals.letter, signals.observables.size());
        std::string types = text;
        for (const Observable& observable : signals.observables) types += " " + observable.code;
        line(types, "SYS / # / OBS TYPES");
    }
    char interval[16];
    std::snprintf(interval, sizeof interval, "%10.3f", o.interval);
    line(interval, "INTERVAL");
    line(time(arc.epochs.front().tag), "TIME OF FIRST OBS");
    line(time(arc.epochs.back().tag), "TIME OF LAST OBS");
    line("", "END OF HEADER");
    for (const SimulatedEpoch& epoch : arc.epochs) {
        if (epoch.satellites.empty()) continue;
        const TimeYMD d = rinex_date(arc.mjd_day, epoch.tag);
        std::fprintf(out, "> %04d %02d %02d %02d %02d%11.7f  0%3zu\n", d.year, d.month, d.day, d.hour, d.minute,
                     d.second, epoch.satellites.size());
        for (const Measured& measured : epoch.satellites) {
            const Satellite& satellite = constellation.satellites()[measured.satellite];
            std::fprintf(out, "%s", satellite.name().c_str());
            const std::size_t count = arc.signals.at(satellite.system).observables.size();
            for (std::size_t k = 0; k < count; ++k)
                std::fprintf(out, k + 1 < count ? "%14.3f  " : "%14.3f", measured.value[k]);
            std::fprintf(out, "\n");
        }
    }
    out.close();
}

/// Quaternions by the library's own writer, at whole multiples of their step beyond both ends of the arc, as far as the orbit goes.
std::size_t write_attitude(const SimulateOptions& o, const ReceiverOrbit& orbit, const Arc& arc) {
    const double first = arc.epochs.front().tag;
    const double last = arc.epochs.back().tag;
    std::vector<double> times;
    const double begin = kAttitudeStep * (std::floor(first / kAttitudeStep) - kAttitudeMargin);
    const double end = last + (kAttitudeMargin + 1) * kAttitudeStep;
    for (int step = 0; begin + step * kAttitudeStep < end; ++step) {
        const double t = begin + step * kAttitudeStep;
        if (t >= orbit.first() - kTagSlack && t <= orbit.last() + kTagSlack) times.push_back(t);
    }
    times.push_back(first);
    times.push_back(last);
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end(), [](double a, double b) { return b - a < 1e-3; }), times.end());
    require(times.size() <= MAXSIZE_ATT_QUA, o.att_out + ": the arc is too long for one file of quaternions");

    Owned<ATT_QUATERNION> records = make_zeroed<ATT_QUATERNION>(times.size());
    std::array<double, 4> before{1.0, 0.0, 0.0, 0.0};
    for (std::size_t n = 0; n < times.size(); ++n) {
        const GTime gpst = time_at(arc.mjd_day, times[n]);
        const double mjd_utc = gtime2mjd(gtimeChangeTimeSystem(gpst, tsUTC));
        const std::array<Vector3, 3> rows = celestial_from_earth_fixed(mjd_utc, 32.184 + getLeapSecond(mjd_utc));
        const BodyAxes fixed = platform_axes(orbit.position(times[n]), orbit.velocity(times[n]), o.platform_z == "down",
                                             o.yaw * kDegToRad);
        const auto turn = [&rows](const Vector3& v) {
            return Vector3{dot(rows[0], v), dot(rows[1], v), dot(rows[2], v)};
        };
        std::array<double, 4> q = quaternion_of({turn(fixed.x), turn(fixed.y), turn(fixed.z)});
        // Of the two signs the one near the last record: readers interpolate the numbers.
        if (q[0] * before[0] + q[1] * before[1] + q[2] * before[2] + q[3] * before[3] < 0.0) {
            for (double& component : q) component = -component;
        }
        before = q;
        records.get()[n] = {gpst, {q[0], {q[1], q[2], q[3]}}, true};
    }
    write_by_name(o.att_out, [&](const std::string& file) {
        return write_att_quaternion_velmra(writable(file), records.get(), static_cast<int>(times.size()));
    });
    return times.size();
}

void write_truth(const SimulateOptions& o, const Arc& arc) {
    OutputFile out(o.truth_out);
    std::fprintf(out,
                 "epoch_gpst,mjd_gpst,sod_tag,clock_m,sod_rx,x_rx,y_rx,z_rx,vx_rx,vy_rx,vz_rx,x_tag,y_tag,z_tag,"
                 "satellites\n");
    for (const SimulatedEpoch& e : arc.epochs) {
        const GTime tag = time_at(arc.mjd_day, e.tag);
        std::fprintf(out, "%s,%s,%.4f,%s", time_text(tag).c_str(), mjd_sod_text(tag, 3).c_str(), kLight * e.clock,
                     seconds_text(gtimeAddSec(tag, -e.clock), rounded_mjd(tag, 3), 9).c_str());
        for (double x : e.position) std::fprintf(out, ",%.4f", x);
        for (double v : e.velocity) std::fprintf(out, ",%.6f", v);
        for (double x : e.position_at_tag) std::fprintf(out, ",%.4f", x);
        std::fprintf(out, ",%zu\n", e.satellites.size());
    }
    out.close();
}

void write_events(const SimulateOptions& o, const Arc& arc) {
    OutputFile out(o.events_out);
    std::fprintf(out, "event,epoch_gpst,mjd_gpst,sod_gpst,satellite,band,cycles,clock_s\n");
    for (const Event& e : arc.events) {
        const GTime tag = time_at(arc.mjd_day, e.tag);
        std::fprintf(out, "%s,%s,%s,", e.kind, time_text(tag).c_str(), mjd_sod_text(tag, 3).c_str());
        if (e.satellite.empty()) {
            std::fprintf(out, ",,,%.3f\n", e.value);
        } else {
            std::fprintf(out, "%s,L%d,%.0f,\n", e.satellite.c_str(), e.band, e.value);
        }
    }
    out.close();
}

/// The true orbit at the tags.
Ephemeris true_orbit(const SimulateOptions& o, const ReceiverOrbit& orbit, const Arc& arc) {
    Ephemeris e;
    e.interval = o.interval;
    e.comments = {"TRUE ORBIT OF A SIMULATION AT THE TAGS OF ITS EPOCHS."};
    for (const SimulatedEpoch& epoch : arc.epochs)
        e.fixed.push_back({time_at(arc.mjd_day, epoch.tag), epoch.position_at_tag, orbit.velocity(epoch.tag)});
    return e;
}

// --- summary -------------------------------------------------------------------------------------------------------------

/// What the arc is like.
struct ArcStatistics {
    double low_km = 1e18, high_km = 0;
    std::size_t few = 0, sum = 0, least = 0, most = 0;
    int passes = 0, used = 0;
    std::map<std::string, long> events;

    explicit ArcStatistics(const Arc& arc) : least(arc.epochs.front().satellites.size()) {
        for (const SimulatedEpoch& e : arc.epochs) {
            const double height = (length(e.position) - kEarthRadius) * 1e-3;
            low_km = std::min(low_km, height);
            high_km = std::max(high_km, height);
            few += e.satellites.size() < 4;
            sum += e.satellites.size();
            least = std::min(least, e.satellites.size());
            most = std::max(most, e.satellites.size());
        }
        for (const Track& track : arc.tracks) {
            passes += track.passes;
            used += track.passes > 0;
        }
        for (const Event& e : arc.events) ++events[e.kind];
    }
    double mean(const Arc& arc) const { return static_cast<double>(sum) / static_cast<double>(arc.epochs.size()); }
    long count(const char* kind) const { return events.count(kind) != 0 ? events.at(kind) : 0; }
};

void summarise(const SimulateOptions& o, const Environment& environment, const PositionFile& positions, const Arc& arc,
               Summary& summary) {
    const ArcStatistics s(arc);
    const GTime first = time_at(arc.mjd_day, arc.epochs.front().tag);
    summary.set("frame", "earth-fixed (ITRF)");
    summary.set("time_scale", "GPST");
    summary.set_time("span/first", first);
    summary.set_time("span/last", time_at(arc.mjd_day, arc.epochs.back().tag));
    summary.set("epochs/count", arc.epochs.size());
    summary.set("epochs/fewer_than_four_satellites", s.few);
    summary.set("orbit/source", positions.text());
    summary.set("orbit/positions", positions.rows.size());
    summary.set("orbit/lowest_km", s.low_km);
    summary.set("orbit/highest_km", s.high_km);
    for (const auto& [system, signals] : arc.signals) {
        for (std::size_t k = 0; k < signals.observables.size(); ++k)
            summary.set(std::string("signals/") + (system == GPS ? "GPS/" : "BDS/") + std::to_string(k),
                        signals.observables[k].code);
    }
    summary.set("satellites/mean", s.mean(arc));
    summary.set("satellites/least", s.least);
    summary.set("satellites/most", s.most);
    summary.set("satellites/used", s.used);
    summary.set("satellites/passes", s.passes);
    summary.set("put_in/ambiguities", s.count("pass"));
    summary.set("put_in/slips", s.count("slip"));
    summary.set("put_in/clock_jumps", s.count("clock_jump"));
    summary.set("noise/code_m", o.code_noise);
    summary.set("noise/phase_m", o.phase_noise);
    summarise_environment(environment, first, summary);
}

void print_summary(const SimulateOptions& o, const Environment& environment, const Constellation& constellation,
                   const ReceiverOrbit& orbit, const Arc& arc) {
    std::printf("leopod simulate: %s to %s GPST, %zu epochs every %g s, seed %llu\n",
                time_text(time_at(arc.mjd_day, arc.epochs.front().tag)).c_str(),
                time_text(time_at(arc.mjd_day, arc.epochs.back().tag)).c_str(), arc.epochs.size(), o.interval,
                static_cast<unsigned long long>(o.seed));
    const ArcStatistics s(arc);
    std::printf("orbit: %s, %zu positions, %.0f to %.0f km above the mean radius\n", o.orbit.c_str(), orbit.size(),
                s.low_km, s.high_km);
    for (const FileReport& file : environment.files)
        std::printf("%s: %s: %s\n", file.kind.c_str(), file.name.c_str(), file.content.c_str());
    std::printf("signals:");
    for (const auto& [system, signals] : arc.signals) {
        std::printf("%s %s (", system == arc.signals.begin()->first ? "" : ",", system == GPS ? "GPS" : "BDS");
        for (std::size_t k = 0; k < signals.observables.size(); ++k)
            std::printf("%s%s", k != 0 ? " " : "", signals.observables[k].code.c_str());
        std::printf(")");
    }
    std::printf("\nsatellites: %.1f an epoch (%zu to %zu) above %g degrees, %d of %zu in %d passes\n", s.mean(arc),
                s.least, s.most, o.mask, s.used, constellation.satellites().size(), s.passes);
    if (s.few > 0) std::printf("note: %zu epochs have fewer than four satellites\n", s.few);
    std::printf("noise: code %g m, phase %g m\n", o.code_noise, o.phase_noise);
    std::printf("receiver clock: offset %g s, drift %g, random walk %g s in a root second, jumps %s\n", o.clock_offset,
                o.clock_drift, o.clock_walk, o.clock_jumps ? "of a millisecond" : "none");
    if (o.tec > 0.0) {
        std::printf("ionosphere: %g TECU vertical, shell at %g km\n", o.tec, o.shell_height);
    } else {
        std::printf("ionosphere: none\n");
    }
    std::printf("wind-up: %s; group delays: %s\n", o.wind_up ? "on" : "off",
                !o.group_delays  ? "none"
                : !o.sp3.empty() ? "none, precise products have none"
                                 : "those of the broadcast records, on the codes");
    std::printf("put in: %ld ambiguities, %ld slips, %ld clock jumps\n", s.count("pass"), s.count("slip"),
                s.count("clock_jump"));
    std::printf("attitude: platform's z axis %s, yaw %g degrees\n", o.platform_z.c_str(), o.yaw);
}

FilePlan check_files(const SimulateOptions& o) {
    FilePlan plan;
    plan.in("--orbit", o.orbit).in("--nav", o.nav).in("--sp3", o.sp3).in("--clk", o.clk).in("--config", o.config);
    plan.out("--obs-out", o.obs_out).out("--att-out", o.att_out).out("--truth-out", o.truth_out);
    plan_orbit_outputs(o.ephemeris, plan);
    plan.out("--events-out", o.events_out).out("--summary", o.summary).check();
    return plan;
}

/// An earth-fixed orbit of a day that the tags can name.
PositionFile load_orbit(const SimulateOptions& o) {
    PositionRequest request;
    request.satellite = o.satellite;
    PositionFile positions = read_positions(o.orbit, request);
    require(!positions.inertial, o.orbit + ": an earth-fixed orbit is expected, this one is in " + positions.frame);
    const std::vector<TimedPosition>& rows = positions.rows;
    require(rows.front().time.time.mjd >= 44244 && rows.back().time.time.mjd < 73050,
            o.orbit + ": the dates of this orbit are not between 1980 and 2058; does it tell the day?");
    return positions;
}

/// First epoch as seconds of the arc's day, which it sets.
double start_of(const SimulateOptions& o, const PositionFile& positions, Arc& arc) {
    const GTime first = positions.rows.front().time;
    const GTime given = o.start.empty() ? first : parse_time("--start", o.start);
    arc.mjd_day = given.time.mjd;
    return o.start.empty() ? o.interval * std::ceil(first.time.sod / o.interval - kTagSlack) : given.time.sod;
}

/// Number of the epochs, which the orbit must cover.
long epochs_of(const SimulateOptions& o, const PositionFile& positions, const ReceiverOrbit& orbit, double start) {
    const double duration = std::isinf(o.duration) ? orbit.last() - start : o.duration;
    require(duration >= 0.0 && start >= orbit.first() - kTagSlack && start + duration <= orbit.last() + kTagSlack,
            o.orbit + ": this orbit, " + time_text(positions.rows.front().time) + " to " +
                time_text(positions.rows.back().time) + " GPST, does not cover the span from --start over --duration");
    const double steps = std::floor(duration / o.interval + kTagSlack) + 1.0;
    require(steps <= kMaxEpochs, "the span has more than 500000 epochs: a longer --interval or a shorter --duration");
    return static_cast<long>(steps);
}

Constellation load_constellation(const SimulateOptions& o, const Arc& arc, Environment& environment) {
    InputOptions inputs;
    inputs.nav = o.nav;
    inputs.sp3 = o.sp3;
    inputs.clk = o.clk;
    load_transmitters(inputs, environment);
    return Constellation(environment.runtime->brdc_storage, environment.runtime->prec_storage, !o.sp3.empty(),
                         arc.mjd_day);
}

void write_files(const SimulateOptions& o, const PositionFile& positions, const ReceiverOrbit& orbit,
                 const Constellation& constellation, const Arc& arc) {
    write_observations(o, constellation, arc);
    say_written("observations", o.obs_out);
    if (!o.att_out.empty()) {
        const std::size_t count = write_attitude(o, orbit, arc);
        say_written("attitude", o.att_out, " (" + std::to_string(count) + " quaternions)");
    }
    if (!o.truth_out.empty()) write_truth(o, arc);
    say_written("truth", o.truth_out);
    if (!o.events_out.empty()) write_events(o, arc);
    say_written("events", o.events_out, " (" + std::to_string(arc.events.size()) + ")");
    if (!o.ephemeris.wanted()) return;
    OrbitOutputs outputs = o.ephemeris;
    if (outputs.object_name.empty()) outputs.object_name = positions.satellite;
    write_orbit(outputs, true_orbit(o, orbit, arc));
}

/// Simulates and returns the exit status 0. Throws InputError.
int simulate(const SimulateOptions& o) {
    const FilePlan plan = check_files(o);
    Console console(o.log_level);
    check_options(o);
    const PositionFile positions = load_orbit(o);
    Arc arc;
    const double start = start_of(o, positions, arc);
    const ReceiverOrbit orbit(positions.rows, arc.mjd_day, o.orbit);
    const long epochs = epochs_of(o, positions, orbit, start);
    Environment environment;
    const Constellation constellation = load_constellation(o, arc, environment);
    arc.signals = choose_signals(o, constellation, environment);
    std::vector<Slip> slips;
    for (const std::string& text : o.slips) slips.push_back(parse_slip(text, constellation, arc, start));
    observe(o, orbit, constellation, start, epochs, arc, slips);
    require(std::any_of(arc.epochs.begin(), arc.epochs.end(),
                        [](const SimulatedEpoch& e) { return !e.satellites.empty(); }),
            (o.sp3.empty() ? o.nav : o.sp3).front() + ": the ephemerides give no satellite above the mask in the span");
    print_summary(o, environment, constellation, orbit, arc);
    write_files(o, positions, orbit, constellation, arc);
    Summary summary = begin_summary("simulate", o.summary, plan);
    summarise(o, environment, positions, arc, summary);
    summary.write(0);
    return 0;
}

}  // namespace

void add_simulate(Command app, Action& action) {
    auto o = std::make_shared<SimulateOptions>();
    Command command = app.add_subcommand("simulate", "An orbit in, the observations of a receiver on it out");
    command.add_option("--orbit", o->orbit, "orbit: CSV of `leopod propagate` (GPST, earth-fixed), SP3 or OEM")
        .required();
    command.add_option("--satellite", o->satellite, "satellite of an SP3 or OEM orbit, such as L01");
    command.add_option("--nav", o->nav, "RINEX navigation file of the transmitters; may be repeated");
    command.add_option("--sp3", o->sp3, "SP3 file of the transmitters, instead; may be repeated");
    command.add_option("--clk", o->clk, "RINEX clock file that goes with it; may be repeated");
    command.add_option("--systems", o->systems, "G, C or GC; without it all that have ephemerides");
    command.add_option("--config", o->config, "GNSS configuration file: what is observed");
    command.add_option("--start", o->start, "first epoch, such as 2021-01-18T00:00:00, GPST; without it the orbit's");
    command.add_option("--duration", o->duration, "length of the arc in seconds; without it to the orbit's end");
    command.add_option("--interval", o->interval, "between epochs in seconds").capture_default_str();
    command.add_option("--seed", o->seed, "of the random numbers").non_negative().capture_default_str();
    command.add_option("--code-noise", o->code_noise, "standard deviation in m").capture_default_str();
    command.add_option("--phase-noise", o->phase_noise, "standard deviation in m").capture_default_str();
    command.add_option("--clock-offset", o->clock_offset, "of the receiver in s").capture_default_str();
    command.add_option("--clock-drift", o->clock_drift, "in s/s").capture_default_str();
    command.add_option("--clock-walk", o->clock_walk, "random walk in s after one second").capture_default_str();
    command.add_flag("--clock-jumps", o->clock_jumps, "jumps of a millisecond keep the clock within half of one");
    command.add_option("--slip", o->slips, "cycle slip SATELLITE,TIME,BAND,CYCLES; may be repeated");
    command.add_option("--slip-rate", o->slip_rate, "slips at random, an hour and satellite").capture_default_str();
    command.add_option("--slip-size", o->slip_size, "largest of these in cycles").capture_default_str();
    command.add_option("--tec", o->tec, "ionosphere: vertical content above the receiver in TECU; 0 is none")
        .capture_default_str();
    command.add_option("--shell-height", o->shell_height, "height of its shell in km").capture_default_str();
    command.add_flag("!--no-wind-up", o->wind_up, "leaves out the phase wind-up");
    command.add_flag("!--no-group-delays", o->group_delays, "leaves out the group delays of the satellites");
    command.add_option("--mask", o->mask, "lowest elevation in degrees").capture_default_str();
    command.add_option("--channels", o->channels, "most satellites of an epoch, the highest ones")
        .capture_default_str();
    command.add_option("--platform-z", o->platform_z, "z axis of the platform: down or up").capture_default_str();
    command.add_option("--yaw", o->yaw, "of the platform's x axis from the flight direction, about z, in degrees")
        .capture_default_str();
    command.add_option("--obs-out", o->obs_out, "RINEX 3 observation file to be written").required();
    command.add_option("--att-out", o->att_out, "attitude quaternions to be written");
    command.add_option("--truth-out", o->truth_out, "CSV of true positions and clocks to be written");
    command.add_option("--events-out", o->events_out, "CSV of ambiguities, slips and clock jumps to be written");
    add_orbit_outputs(command, o->ephemeris, "the true orbit at the tags", false);
    add_summary(command, o->summary);
    add_log_level(command, o->log_level);
    command.callback([o, &action] { action = [o] { return simulate(*o); }; });
}

}  // namespace host
