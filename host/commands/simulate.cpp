// `leopod simulate`: an orbit in, the observations of a receiver on it out, with everything that was put in.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/simulate_arc.h"
#include "commands/simulate_files.h"
#include "commands/summaries.h"
#include "shared/console.h"
#include "shared/files.h"
#include "shared/times.h"
#include "stores/loading.h"

namespace host {

namespace {

constexpr long kMaxEpochs = 1000000;  ///< bounds the memory of a run

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

/// The true orbit at the tags.
Ephemeris true_orbit(const SimulateOptions& o, const ReceiverOrbit& orbit, const Arc& arc) {
    Ephemeris e;
    e.interval = o.interval;
    e.comments = {"TRUE ORBIT OF A SIMULATION AT THE TAGS OF ITS EPOCHS."};
    for (const SimulatedEpoch& epoch : arc.epochs)
        e.fixed.add({time_at(arc.mjd_day, epoch.tag), epoch.position_at_tag, orbit.velocity(epoch.tag)});
    return e;
}

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

/// Part of the orbit that --from and --to ask for.
ArcSpan part_of(const SimulateOptions& o, const PositionFile& positions) {
    return {o.span, positions.rows.front().time, positions.scale};
}

/// First epoch as seconds of the arc's day, which it sets.
double start_of(const SimulateOptions& o, const PositionFile& positions, Arc& arc) {
    const GTime first = positions.rows.front().time;
    const bool chosen = !o.start.empty() || !o.span.from.empty();
    const GTime given = !o.start.empty() ? parse_time("--start", o.start)
                        : chosen         ? part_of(o, positions).begin()
                                         : first;
    arc.mjd_day = given.time.mjd;
    return !chosen ? o.interval * std::ceil(first.time.sod / o.interval - kTagSlack) : given.time.sod;
}

/// From the first epoch to the last one that is asked for [s].
double duration_of(const SimulateOptions& o, const PositionFile& positions, const ReceiverOrbit& orbit,
                   const GTime& first, double start) {
    if (o.span.to.empty()) return std::isinf(o.duration) ? orbit.last() - start : o.duration;
    return o.interval * std::floor(part_of(o, positions).length_from(first) / o.interval);
}

/// Number of the epochs, which the orbit must cover.
long epochs_of(const SimulateOptions& o, const PositionFile& positions, const ReceiverOrbit& orbit, const Arc& arc,
               double start) {
    const double duration = duration_of(o, positions, orbit, time_at(arc.mjd_day, start), start);
    require(duration >= 0.0 && start >= orbit.first() - kTagSlack && start + duration <= orbit.last() + kTagSlack,
            o.orbit + ": this orbit, " + time_text(positions.rows.front().time) + " to " +
                time_text(positions.rows.back().time) + " GPST, does not cover the span that is asked for");
    const double steps = std::floor(duration / o.interval + kTagSlack) + 1.0;
    require(steps <= kMaxEpochs, "the span has more than 1000000 epochs: a longer --interval or a shorter span");
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
    const long epochs = epochs_of(o, positions, orbit, arc, start);
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
    const Option start = command.add_option("--start", o->start,
                                            "first epoch, such as 2021-01-18T00:00:00, GPST; without it the orbit's");
    const Option duration =
        command.add_option("--duration", o->duration, "length of the arc in seconds; without it to the orbit's end");
    add_made_span(command, o->span, "the orbit's time scale", start, duration);
    command.add_option("--interval", o->interval, "between epochs in seconds").capture_default_str();
    command.add_option("--seed", o->seed, "of the random numbers").non_negative().capture_default_str();
    command.add_option("--code-noise", o->code_noise, "standard deviation of the codes in m").capture_default_str();
    command.add_option("--phase-noise", o->phase_noise, "standard deviation of the phases in m").capture_default_str();
    command.add_option("--clock-offset", o->clock_offset, "offset of the receiver's clock in s").capture_default_str();
    command.add_option("--clock-drift", o->clock_drift, "its drift in s/s").capture_default_str();
    command.add_option("--clock-walk", o->clock_walk, "its random walk in s after one second").capture_default_str();
    command.add_flag("--clock-jumps", o->clock_jumps, "jumps of a millisecond keep the clock within half of one");
    command.add_option("--slip", o->slips, "cycle slip SATELLITE,TIME,BAND,CYCLES; may be repeated");
    command.add_option("--slip-rate", o->slip_rate, "random slips per hour and satellite").capture_default_str();
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
    add_oem_output(command, o->ephemeris, "the true orbit at the tags");
    add_summary(command, o->summary);
    add_log_level(command, o->log_level);
    command.callback([o, &action] { action = [o] { return simulate(*o); }; });
}

}  // namespace host
