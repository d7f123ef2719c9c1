#include "commands/orbit.h"

#include <cstdio>
#include <optional>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/orbit_files.h"
#include "commands/orbit_summary.h"
#include "commands/summaries.h"
#include "estimation/failure.h"
#include "shared/console.h"
#include "shared/error.h"
#include "shared/times.h"

namespace host {

namespace {

/// Errors of the orbit at all epochs of the observations.
void print_truth(const OrbitOptions& o, const Truth& truth, const OrbitJob& job, const Motion& motion,
                 Summary& summary) {
    std::vector<PositionError> errors;
    for (const ArcEpoch& epoch : job.arc.epochs) {
        PositionError error{};
        const TrajectoryPoint p = point_at(motion, job.arc.start, epoch.time);
        if (truth.error_at(epoch.tag, p.pos_ecf, error)) errors.push_back(error);
    }
    std::printf("errors against %s:\n", o.truth.c_str());
    print_errors("orbit", errors);
    summary.set("errors/reference", truth.source());
    summarise_errors("errors/orbit", statistics(errors), false, summary);
}

void check_laser(const OrbitOptions& o, const OrbitJob& job, const Motion& motion, Summary& summary) {
    if (o.laser.crd.empty()) return;
    const auto state = [&](const GTime& gpst, Eigen::Vector3d& position, Eigen::Vector3d& velocity) {
        const double t = gtimeSubSec(gpst, job.arc.start);
        if (t < motion.first() || t > motion.last()) return false;
        motion.state_at(t, position, velocity);
        return true;
    };
    summarise_laser(check_against_laser(o.laser, state), summary);
}

/// Agreement of two orbits where both have rows.
int compare_orbits(const std::string& first, const std::string& second) {
    PositionFile file = read_positions(first, {});
    make_earth_fixed(first, file);
    const std::vector<TimedPosition>& rows = file.rows;
    const Truth other = Truth::load(second, rows.front().time);
    std::vector<PositionError> errors;
    GTime from{}, to{};
    for (const TimedPosition& row : rows) {
        PositionError error{};
        if (!other.error_at(row.time, row.position.data(), error)) continue;
        if (errors.empty()) from = row.time;
        to = row.time;
        errors.push_back(error);
    }
    if (errors.empty()) {
        std::fprintf(stderr, "leopod: %s and %s do not overlap\n", first.c_str(), second.c_str());
        return 1;
    }
    std::printf("leopod orbit: %s less %s\n", first.c_str(), second.c_str());
    const bool dated = rows.front().time.time.mjd > 1;  // else both have seconds of a day that they don't name
    const auto text = [&](const GTime& t) {
        return dated ? time_text(t) : seconds_text(t, rows.front().time.time.mjd, 3);
    };
    std::printf("overlap: %s to %s %s, %.3f h\n", text(from).c_str(), text(to).c_str(), dated ? "GPST" : "s of the day",
                gtimeSubSec(to, from) / 3600.0);
    print_errors("difference", errors);
    return 0;
}

int estimate(const OrbitOptions& o, const FilePlan& plan) {
    Console console(o.log_level);
    OrbitJob job;
    load(o, job);
    const std::optional<Truth> truth =
        Truth::of_arc(o.truth, job.arc.start, job.arc.epochs.front().tag, job.arc.epochs.back().tag);
    Motion motion(job.dynamics, gtimeChangeTimeSystem(job.arc.start, tsUTC), 0.0, job.arc.epochs.back().time,
                  empirical_terms(o, *job.dynamics.config));
    print_input(job);
    print_shortcomings(job.dynamics);
    EstimationReport report;
    try {
        Progress progress("estimating");
        report = estimate_orbit(motion, job.arc, job.estimation,
                                [&progress](const std::string& what) { progress.rename(what); });
    } catch (const EstimationFailure& e) {
        std::fprintf(stderr, "leopod: %s: no orbit: %s\n", o.inputs.obs.front().c_str(), e.what());
        return 1;
    }
    std::vector<double> times;
    for (const ArcEpoch& epoch : job.arc.epochs) times.push_back(epoch.time);
    const std::vector<FormalError> formal = formal_errors(motion, report.solution.covariance, times);
    const EditCounts counts = count_observations(job.arc);
    print_report(job, motion, report, counts, formal);
    Summary summary = begin_summary("orbit", o.summary, plan);
    summarise(job, motion, report, counts, formal, summary);
    if (truth) print_truth(o, *truth, job, motion, summary);
    check_laser(o, job, motion, summary);
    write_results(o, job, motion, report);
    const std::string fault = fault_of(report, counts, formal);
    if (!fault.empty()) std::fprintf(stderr, "leopod: %s: %s\n", o.inputs.obs.front().c_str(), fault.c_str());
    if (!job.dynamics.shortcomings.empty()) print_shortcomings(job.dynamics);
    console.messages().print(stdout, {{"LEO satellite receiver antenna", "no receiver antenna"}});
    const int status = fault.empty() && job.dynamics.shortcomings.empty() ? 0 : 1;
    summary.set("fault", fault);
    summary.write(status);
    return status;
}

FilePlan check_files(const OrbitOptions& o) {
    FilePlan plan;
    plan_arc_inputs(o.inputs, plan);
    plan.in("--truth", o.truth);
    plan_dynamics(o.dynamics, plan);
    plan.in("--sp3-antenna", o.sp3_antenna);
    plan_orbit_outputs(o.orbit, plan);
    plan_laser(o.laser, plan);
    plan.in("--compare", o.compare).out("--out", o.out).out("--formal-out", o.formal_out);
    plan.out("--satellites-out", o.satellites_out).out("--edits-out", o.edits_out);
    plan.out("--parameters", o.parameters).out("--summary", o.summary).check();
    return plan;
}

}  // namespace

int orbit(const OrbitOptions& o) {
    const FilePlan plan = check_files(o);
    if (!o.compare.empty()) return compare_orbits(o.compare[0], o.compare[1]);
    if (o.output_interval <= 0.0) throw InputError("--output-interval must be positive");
    check_laser_options(o.laser);
    return estimate(o, plan);
}

void add_orbit(Command app, Action& action) {
    auto o = std::make_shared<OrbitOptions>();
    Command command =
        app.add_subcommand("orbit", "Observation files in, one reduced-dynamic orbit of the whole arc out");
    add_arc_inputs(command, o->inputs);
    command.add_option("--interval", o->inputs.interval, "sampling of the epochs in seconds; 0 takes all")
        .non_negative()
        .capture_default_str();
    add_span(command, o->span);
    add_forces(command, o->dynamics);
    add_sp3_antenna(command, o->sp3_antenna);
    add_antenna(command, o->antenna, true);
    add_sigmas(command, o->sigma_code, o->sigma_phase);
    command.add_option("--sigma-clock", o->sigma_clock,
                       "error of a satellite clock half-way between two of the products in metres, without it by their "
                       "interval; with broadcast ephemerides: theirs in the phases, without it 0.1");
    command.add_option("--weights", o->weights, "of the observations: equal, or by elevation")
        .one_of({"equal", "elevation"})
        .capture_default_str();
    command.add_option("--elevation-mask", o->elevation_mask, "above the local horizon, degrees").capture_default_str();
    command.add_option(
        "--empirical", o->empirical,
        "acceleration KIND:PIECE:SIGMA:CORRELATION (R0 A0 C0 RC RS AC AS CC CS, s, nm/s2, s; a piece of 0 "
        "is the whole arc, a sigma of 0 free); may be repeated, replaces the built-in list");
    command.add_flag("!--no-adapt", o->adapt,
                     "holds the a-priori sigmas of the accelerations; else they grow to what the observations ask for");
    command.add_flag("!--no-wind-up", o->wind_up, "the phases are free of wind-up, as some simulated ones");
    command.add_option("--output-interval", o->output_interval, "of the orbit, seconds").capture_default_str();
    add_truth(command, o->truth);
    add_laser(command, o->laser);
    command.add_option("--out", o->out, "CSV of the orbit, both frames");
    add_orbit_outputs(command, o->orbit, "the orbit");
    add_summary(command, o->summary);
    command.add_option("--formal-out", o->formal_out, "CSV of the formal errors");
    command.add_option("--satellites-out", o->satellites_out, "CSV, one row per epoch and satellite: residuals, slips");
    command.add_option("--edits-out", o->edits_out, "CSV of what was left out and why");
    command.add_option("--parameters", o->parameters, "CSV of the estimated parameters");
    command
        .add_option("--compare", o->compare, "two orbits (CSV, SP3 or OEM): prints how they agree where they overlap")
        .expected(2);
    add_log_level(command, o->log_level);
    command.callback([o, &action] { action = [o] { return orbit(*o); }; });
}

}  // namespace host
