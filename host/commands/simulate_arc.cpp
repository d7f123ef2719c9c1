#include "commands/simulate_arc.h"

#include <algorithm>
#include <cmath>

#include "inputs/csv.h"
#include "model/random.h"
#include "shared/console.h"
#include "shared/earth.h"
#include "shared/error.h"
#include "shared/times.h"
#include "stores/loading.h"

namespace host {

namespace {

/// Streams of random numbers: each cause has its own, and noise and slips one a satellite, so that a change of one option leaves all other
/// numbers as they were.
enum Stream : std::uint64_t { kClockStream = 1, kAmbiguityStream = 1000, kSlipStream = 2000, kNoiseStream = 3000 };

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

/// Follows the satellites from epoch to epoch and observes them.
class Observer {
  public:
    Observer(const SimulateOptions& o, const ReceiverOrbit& orbit, const Constellation& constellation, double start,
             Arc& arc, std::vector<Slip>& slips)
        : o_(o),
          orbit_(orbit),
          constellation_(constellation),
          all_(constellation.satellites()),
          start_(start),
          arc_(arc),
          slips_(slips),
          clock_(o),
          dice_(all_.size()),
          error_(all_.size()) {
        for (const Satellite& s : all_) {
            const std::uint64_t number = 100 * static_cast<std::uint64_t>(s.system) + static_cast<std::uint64_t>(s.prn);
            noise_.emplace_back(o.seed, kNoiseStream + number);
            slip_random_.emplace_back(o.seed, kSlipStream + number);
            ambiguity_.emplace_back(o.seed, kAmbiguityStream + number);
        }
        arc_.tracks.resize(all_.size());
    }

    void observe(long n) {
        SimulatedEpoch epoch = receiver_at(static_cast<double>(n) * o_.interval);
        const double mjd_utc = gtime2mjd(gtimeChangeTimeSystem(time_at(arc_.mjd_day, epoch.received), tsUTC));
        const Vector3 sun = sun_direction(mjd_utc);
        // The antenna looks up whichever side of the platform it is on.
        const BodyAxes antenna = platform_axes(epoch.position, epoch.velocity, false, o_.yaw * kDegToRad);
        draw();
        for (const InView& view : satellites_in_view(o_, constellation_, arc_, epoch.received, epoch.position)) {
            follow(view.satellite, n, epoch.tag);
            Track& track = arc_.tracks[view.satellite];
            if (o_.wind_up) {
                track.wind_up = wind_up(transmitter_axes(all_[view.satellite], view.path.satellite, sun), antenna,
                                        view.path.to_satellite, track.wind_up);
            }
            epoch.satellites.push_back(measure(view, epoch));
        }
        arc_.epochs.push_back(std::move(epoch));
    }

  private:
    double shell() const { return kEarthRadius + o_.shell_height * 1e3; }

    /// Clock and motion of the receiver, some seconds into the arc.
    SimulatedEpoch receiver_at(double elapsed) {
        SimulatedEpoch epoch{};
        epoch.tag = start_ + elapsed;
        epoch.clock = clock_.next(elapsed, epoch.tag, arc_.events);
        require(std::fabs(epoch.clock) <= kMaxClock, "the receiver clock leaves the range of 0.1 s at " +
                                                         time_text(time_at(arc_.mjd_day, epoch.tag)) +
                                                         ": a smaller --clock-drift or --clock-jumps keeps it");
        epoch.received = epoch.tag - epoch.clock;
        epoch.position = orbit_.position(epoch.received);
        epoch.velocity = orbit_.velocity(epoch.received);
        epoch.position_at_tag = orbit_.position(epoch.tag);
        require(o_.tec == 0.0 || length(epoch.position) < shell(),
                "--shell-height: the receiver is above this shell, at " +
                    std::to_string(std::lround((length(epoch.position) - kEarthRadius) * 1e-3)) + " km");
        return epoch;
    }

    /// Random numbers of an epoch, of all satellites whether they are seen or not.
    void draw() {
        for (std::size_t i = 0; i < all_.size(); ++i) {
            for (double& value : error_[i]) value = noise_[i].normal();
            dice_[i] = {slip_random_[i].uniform(), slip_random_[i].uniform(), slip_random_[i].whole(o_.slip_size),
                        slip_random_[i].whole(o_.slip_size)};
        }
    }

    void put_in(const char* kind, std::size_t i, double tag, std::size_t band, double cycles) {
        arc_.tracks[i].cycles[band] += cycles;
        arc_.events.push_back({kind, tag, all_[i].name(), arc_.signals.at(all_[i].system).bands[band], cycles});
    }

    /// Ambiguities of a new pass; slips of one that goes on.
    void follow(std::size_t i, long n, double tag) {
        const std::size_t bands = arc_.signals.at(all_[i].system).bands.size();
        Track& track = arc_.tracks[i];
        const bool first = track.last_epoch != n - 1;
        track.last_epoch = n;
        if (first) {
            ++track.passes;
            track.cycles = {};
            track.wind_up = 0.0;
            for (std::size_t b = 0; b < bands; ++b) put_in("pass", i, tag, b, ambiguity_[i].whole(kAmbiguity));
        } else if (dice_[i][0] < 1.0 - std::exp(-o_.slip_rate * o_.interval / 3600.0)) {
            // On one band, the first or second, or on both.
            const int where = static_cast<int>(3.0 * dice_[i][1]);
            for (std::size_t b = 0; b < std::min<std::size_t>(bands, 2); ++b) {
                if (where == 2 || where == static_cast<int>(b) || bands == 1)
                    put_in("slip", i, tag, b, dice_[i][2 + b]);
            }
        }
        for (Slip& slip : slips_) {
            if (slip.done || slip.satellite != i || tag < slip.time - kTagSlack) continue;
            require(!first && tag < slip.time + o_.interval - kTagSlack,
                    "--slip " + slip.text + ": the satellite is not tracked at this time and the epoch before");
            put_in("slip", i, tag, slip.band, slip.cycles);
            slip.done = true;
        }
    }

    Measured measure(const InView& view, const SimulatedEpoch& epoch) const {
        const std::size_t i = view.satellite;
        const Path& path = view.path;
        const Track& track = arc_.tracks[i];
        const Signals& signals = arc_.signals.at(all_[i].system);
        Measured measured{i, {}};
        const double distance = kLight * (path.light_time + epoch.clock - path.transmission.clock);
        const double content =
            o_.tec > 0.0 ? o_.tec * shell_factor(length(epoch.position), shell(), path.elevation) : 0.0;
        for (std::size_t k = 0; k < signals.observables.size(); ++k) {
            const Observable& observable = signals.observables[k];
            const double frequency = signals.frequency[observable.band];
            const double delay = ionospheric_delay(content, frequency);
            if (observable.phase) {
                measured.value[k] = (distance - delay + o_.phase_noise * error_[i][k]) * frequency / kLight +
                                    track.cycles[observable.band] + track.wind_up;
            } else {
                const double group = o_.group_delays ? code_group_delay(all_[i].system, signals.bands[observable.band],
                                                                        path.transmission.group_delay)
                                                     : 0.0;
                measured.value[k] = distance + delay + kLight * group + o_.code_noise * error_[i][k];
            }
        }
        return measured;
    }

    const SimulateOptions& o_;
    const ReceiverOrbit& orbit_;
    const Constellation& constellation_;
    const std::vector<Satellite>& all_;
    double start_;
    Arc& arc_;
    std::vector<Slip>& slips_;
    ReceiverClock clock_;
    std::vector<Random> noise_, slip_random_, ambiguity_;
    std::vector<std::array<double, 4>> dice_;
    std::vector<std::array<double, kObservables>> error_;
};

}  // namespace

GTime time_at(long mjd_day, double seconds) { return gtimeAddSec({{mjd_day, 0.0}, tsGPST}, seconds); }

GTime parse_time(const std::string& option, const std::string& text) {
    return parse_date(option, text, tsGPST, 1981, 2099);
}

void require(bool condition, const std::string& text) {
    if (!condition) throw InputError(text);
}

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

Slip parse_slip(const std::string& text, const Constellation& constellation, const Arc& arc, double start) {
    const std::string what = "--slip " + text + ": ";
    const std::vector<std::string_view> parts = csv_fields(text);
    const std::vector<std::string> fields(parts.begin(), parts.end());
    require(fields.size() == 4, what + "satellite, time, band and cycles are expected, such as C21,1800,L1,5");
    Slip slip{};
    slip.text = text;
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

void observe(const SimulateOptions& o, const ReceiverOrbit& orbit, const Constellation& constellation, double start,
             long count, Arc& arc, std::vector<Slip>& slips) {
    Observer observer(o, orbit, constellation, start, arc, slips);
    Progress progress("simulating epochs", static_cast<double>(count));
    for (long n = 0; n < count; ++n) {
        progress.done(static_cast<double>(n));
        observer.observe(n);
    }
    for (const Slip& slip : slips)
        require(slip.done, "--slip " + slip.text + ": the satellite is not tracked at this time");
}

}  // namespace host
