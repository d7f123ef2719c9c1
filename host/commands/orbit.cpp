#include "commands/orbit.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/summaries.h"
#include "estimation/failure.h"
#include "estimation/tables.h"
#include "inputs/config_check.h"
#include "inputs/truth.h"
#include "shared/console.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/times.h"
#include "stores/planets.h"
#include "stores/satellite_antenna.h"

namespace host {

namespace {

constexpr double kDegree = 180.0 / M_PI;
constexpr int kGoodDegree = 60;  ///< a field of this degree leaves little at 500 km

/// "A0:360:10:1800" to a term: kind, length of a piece, a-priori sigma, correlation time.
EmpiricalTerm parse_term(const std::string& text) {
    static const char* const kinds[] = {"R0", "A0", "C0", "RC", "RS", "AC", "AS", "CC", "CS"};
    std::vector<std::string> parts;
    std::size_t from = 0;
    for (std::size_t at; (at = text.find(':', from)) != std::string::npos; from = at + 1)
        parts.push_back(text.substr(from, at - from));
    parts.push_back(text.substr(from));
    EmpiricalTerm term;
    term.kind = parts[0];
    double* const values[] = {&term.interval, &term.sigma, &term.correlation};
    bool good = std::find(std::begin(kinds), std::end(kinds), term.kind) != std::end(kinds) && parts.size() <= 4;
    for (std::size_t i = 1; good && i < parts.size(); ++i)
        good = parse_number(parts[i], *values[i - 1]) && *values[i - 1] >= 0.0;
    if (!good || (term.interval > 0.0 && term.interval < 30.0)) {
        throw InputError(
            "--empirical " + text +
            ": expected is KIND:PIECE:SIGMA:CORRELATION, a kind out of R0 A0 C0 RC RS AC AS CC CS, pieces of "
            "30 s and more");
    }
    return term;
}

std::vector<EmpiricalTerm> empirical_terms(const OrbitOptions& o, const ORBIT_DYN_CONFIG& config) {
    std::vector<EmpiricalTerm> terms;
    for (const std::string& text : o.empirical) terms.push_back(parse_term(text));
    if (!terms.empty()) return terms;
    for (int i = 0; i < std::min(config.emp_param_num_base, 20); ++i) {
        const EMP_PARAM_BASE& kind = config.emp_params_base[i];
        if (kind.fm == FM_EMP) terms.push_back({kind.name_param, kind.interval, 0.0, 0.0});
    }
    if (!terms.empty()) return terms;
    for (const char* text : {"A0:0:1000", "C0:0:100", "AC:0:100", "AS:0:100", "CC:0:100", "CS:0:100"})
        terms.push_back(parse_term(text));
    // A field of a low degree leaves more, and faster.
    const bool coarse = config.norder_gravity < kGoodDegree;
    for (const char* text :
         {coarse ? "R0:120:300" : "R0:360:5", coarse ? "A0:120:300" : "A0:360:10", coarse ? "C0:120:300" : "C0:360:10"})
        terms.push_back(parse_term(text));
    return terms;
}

void prepare_forces(const OrbitOptions& o, double mjd_first, double mjd_last, Dynamics& dynamics,
                    Environment& environment) {
    ORBIT_DYN_CONFIG& config = *dynamics.config;
    load_gravity_field(o.dynamics.gravity, dynamics);
    tabulate_analytic_planets(mjd_first, mjd_last, environment);
    dynamics.environment.eop_source = environment.eop_source;
    dynamics.environment.planet_source = environment.planet_source;
    if (o.dynamics.dynamics.empty()) {
        initialize_orbit_config(&config);
        config.norder_gravity = o.dynamics.gravity.empty() ? 30 : 100;
        config.step_size = 30.0;
    } else {
        read_force_models(o.dynamics, dynamics);
    }
    config.output_interval = o.output_interval;
}

/// Statistics of all errors, nothing trimmed, with the rms of each component.
void print_errors(const char* name, const std::vector<PositionError>& errors) {
    print_statistics(name, 12, statistics(errors), false);
    double squares[3] = {};
    for (const PositionError& e : errors) {
        for (std::size_t k = 0; k < 3; ++k) squares[k] += e.component[k] * e.component[k];
    }
    const double n = std::max(1.0, static_cast<double>(errors.size()));
    std::printf("  %-12s rms radial %.4f, along %.4f, cross %.4f m\n", "", std::sqrt(squares[0] / n),
                std::sqrt(squares[1] / n), std::sqrt(squares[2] / n));
}

/// Takes the epochs outside the span from the store.
void cut_observations(const OrbitOptions& o) {
    const ArcSpan span(o.span, g_obs_storage[0].epoch_time, tsGPST);
    const auto outside = [&](const OBSDATA_EPOCH& e) { return !span.within(e.epoch_time); };
    OBSDATA_EPOCH* end = std::remove_if(g_obs_storage, g_obs_storage + g_num_obs_storage, outside);
    g_num_obs_storage = static_cast<int>(end - g_obs_storage);
    if (g_num_obs_storage < 20) throw InputError(o.inputs.obs.front() + ": fewer than 20 epochs in the span");
}

TrajectoryPoint point_at(const Motion& motion, const GTime& start, double t) {
    Eigen::Vector3d r, v;
    motion.state_at(t, r, v);
    TrajectoryPoint p{};
    p.utc = gtimeChangeTimeSystem(gtimeAddSec(start, t), tsUTC);
    std::copy_n(r.data(), 3, p.pos_eci);
    std::copy_n(v.data(), 3, p.vel_eci);
    const double mjd = gtime2mjd(p.utc);
    eci2ecf(mjd, getLeapSecond(mjd), p.pos_eci, p.vel_eci, p.pos_ecf, p.vel_ecf);
    return p;
}

/// Everything that an estimation works on.
struct Job {
    Environment environment;
    Dynamics dynamics;
    ObservedArc arc;
    EstimationOptions estimation;
    GTime last{};  ///< last epoch
};

void load(const OrbitOptions& o, Job& job) {
    const Progress progress("reading files");
    if (!o.sp3_antenna.empty() && o.inputs.sp3.empty()) throw InputError("--sp3-antenna needs precise orbits (--sp3)");
    if (!o.dynamics.dynamics.empty()) check_dynamics_config(o.dynamics.dynamics);
    if (o.antenna_axes == "platform" && o.inputs.att.empty())
        throw InputError("--antenna-axes platform needs the attitude of the platform (--att)");
    prepare(o.inputs, job.environment);
    cut_observations(o);
    const GTime first = g_obs_storage[0].epoch_time;
    job.last = g_obs_storage[g_num_obs_storage - 1].epoch_time;
    prepare_forces(o, gtime2mjd(first), gtime2mjd(job.last), job.dynamics, job.environment);
    if (!o.sp3_antenna.empty()) move_to_phase_centers(o.sp3_antenna, job.environment);
    Guard guard(job.environment.runtime->prec_storage, first, job.environment.clock_interval);
    job.arc = collect_observations(o.inputs.obs.front(), guard);
}

void set_estimation(const OrbitOptions& o, const ObservedArc& arc, int degree, EstimationOptions& e) {
    for (std::size_t i = 0; i < o.antenna_offset.size(); ++i)
        e.signal.antenna[static_cast<long>(i)] = o.antenna_offset[i];
    e.signal.wind_up = o.wind_up;
    e.adapt = o.adapt;
    e.signal.antenna_in_platform = o.antenna_axes == "platform";
    // A given offset holds unless its error is given too. Only a good motion over some revolutions tells it from the orbit's height.
    const bool tells = degree >= kGoodDegree && arc.epochs.back().time > 10000.0;
    e.antenna_sigma = o.antenna_sigma >= 0.0 ? o.antenna_sigma : o.antenna_offset.empty() && tells ? 0.5 : 0.0;
    e.noise.code = o.sigma_code;
    e.noise.phase = o.sigma_phase;
    e.noise.elevation_mask = o.elevation_mask / kDegree;
    e.noise.by_elevation = o.weights == "elevation";
    const double spacing = clock_interval();
    if (spacing > 0.0) {
        // A satellite clock wanders like a random walk: by 4 cm in the middle of a quarter of an hour.
        e.noise.clock = o.sigma_clock >= 0.0 ? o.sigma_clock : 0.04 * std::sqrt(spacing / 900.0);
        e.screening.jump = spacing > 60.0 ? 0.10 : 0.06;
    } else {
        e.noise.broadcast_phase = o.sigma_clock >= 0.0 ? o.sigma_clock : 0.1;
        e.noise.broadcast_code = 10.0 * e.noise.broadcast_phase;
        e.screening.jump = 0.06;
    }
}

/// Shares and counts of the observations.
struct Counts {
    long edits[2][kEdits] = {};  ///< code, phase
    long used(int kind) const { return edits[kind][0]; }
    long all() const { return used_sum(0); }
    long used_sum(int kind) const {
        long sum = 0;
        for (long n : edits[kind]) sum += n;
        return sum;
    }
    double share(int kind) const {
        return all() > 0 ? static_cast<double>(used(kind)) / static_cast<double>(all()) : 0;
    }
};

Counts count_observations(const ObservedArc& arc) {
    Counts counts;
    for (const Link& link : arc.links) {
        ++counts.edits[0][static_cast<int>(link.code_edit)];
        ++counts.edits[1][static_cast<int>(link.phase_edit)];
    }
    return counts;
}

/// Why a result is not worth it; empty for a good one.
std::string fault_of(const EstimationReport& report, const Counts& counts, const std::vector<FormalError>& formal) {
    constexpr double kMostUnitWeight = 4.0, kLeastShare = 0.6, kMostFormal = 1.0, kMostShift = 20.0;
    const BatchSolution& s = report.solution;
    char text[200] = {};
    double largest = 0.0;
    for (const FormalError& f : formal) largest = std::max(largest, f.norm());
    if (!report.converged || report.iterations.back().shift > kMostShift) {
        std::snprintf(text, sizeof text, "not converged: the last solution still moved by %.3f m or its edits changed",
                      report.iterations.back().shift);
    } else if (s.redundancy() < 0.5 * static_cast<double>(s.unknowns)) {
        std::snprintf(text, sizeof text, "too few observations: %ld for %ld unknowns", s.code_count + s.phase_count,
                      s.unknowns);
    } else if (counts.share(0) < kLeastShare || counts.share(1) < kLeastShare) {
        std::snprintf(text, sizeof text,
                      "too many observations left out: %.0f %% of the codes and %.0f %% of the phases serve",
                      100 * counts.share(0), 100 * counts.share(1));
    } else if (s.unit_weight() > kMostUnitWeight) {
        std::snprintf(text, sizeof text,
                      "the residuals are %.1f times what the sigmas say: not this orbit, wrong forces or orientation, "
                      "or sigmas far too small",
                      s.unit_weight());
    } else if (report.loosened > 1) {
        std::snprintf(
            text, sizeof text,
            "the motion asks for accelerations far above their a-priori sigmas: wrong or missing forces, earth "
            "orientation or antenna offset; --empirical sets others");
    } else if (!(largest < kMostFormal)) {
        std::snprintf(text, sizeof text, "the observations determine parts of the arc to %.1f m only", largest);
    }
    return text;
}

void print_files(const Job& job) {
    std::printf("leopod orbit: reduced-dynamic orbit from code and phase\n");
    std::printf("frame: earth-fixed (ITRF realisation of the ephemerides), metres; time scale: GPST\n");
    std::printf("files:\n");
    for (const FileReport& file : job.environment.files)
        std::printf("  %-18s %s: %s\n", file.kind.c_str(), file.name.c_str(), file.content.c_str());
    std::printf("arc: %s to %s GPST, %.3f h, %zu epochs, %zu satellite epochs\n", time_text(job.arc.start).c_str(),
                time_text(job.last).c_str(), job.arc.epochs.back().time / 3600.0, job.arc.epochs.size(),
                job.arc.links.size());
    if (job.arc.not_served > 0)
        std::printf("not taken: %ld satellite epochs without an orbit or clock that serves\n", job.arc.not_served);
    if (job.arc.incomplete > 0)
        std::printf("not taken: %ld satellite epochs without code and phase on both bands\n", job.arc.incomplete);
    if (g_eph_selection == EPHOPT_PREC) {
        std::printf("ephemerides: precise products, clocks every %g s\n", clock_interval());
    } else {
        std::printf("ephemerides: broadcast\n");
    }
    print_dynamics(job.dynamics);
}

void print_noise(const EstimationOptions& e) {
    std::printf("sigmas of an observation: code %g m, phase %g m", e.noise.code, e.noise.phase);
    if (g_eph_selection != EPHOPT_PREC) {
        std::printf(", broadcast ephemerides %g and %g m", e.noise.broadcast_code, e.noise.broadcast_phase);
    } else {
        std::printf(", satellite clock half-way between two %g m", e.noise.clock);
    }
    std::printf("\nantenna: %.3f, %.3f, %.3f m from the centre of mass (%s)%s\n", e.signal.antenna[0],
                e.signal.antenna[1], e.signal.antenna[2],
                e.signal.antenna_in_platform ? "platform axes" : "radial, along, cross",
                e.antenna_sigma > 0.0 ? ", radial part estimated" : "");
}

void print_report(const Job& job, const Motion& motion, const EstimationReport& report, const Counts& counts,
                  const std::vector<FormalError>& formal) {
    const BatchSolution& s = report.solution;
    std::printf("parameters: 6 of the state, %zu accelerations, %ld ambiguities and clocks\n",
                motion.empirical().size(), s.unknowns - static_cast<long>(motion.size()));
    std::printf("solution          codes   rms [m]   phases   rms [m]   largest change [m]\n");
    for (const IterationReport& i : report.iterations) {
        std::printf("  %-14s %6ld %9.4f %8ld %9.4f %14.4f\n", i.what.c_str(), i.code_count, i.code_rms, i.phase_count,
                    i.phase_rms, i.shift);
    }
    std::printf("left out:");
    for (int k = 1; k < kEdits; ++k) {
        if (counts.edits[0][k] + counts.edits[1][k] > 0)
            std::printf(" %s %ld codes %ld phases;", edit_name(static_cast<Edit>(k)), counts.edits[0][k],
                        counts.edits[1][k]);
    }
    std::printf(" used: %.1f %% of the codes, %.1f %% of the phases\n", 100 * counts.share(0), 100 * counts.share(1));
    std::printf("ambiguities begun by:");
    for (const auto& [why, count] : report.screening.passes) std::printf(" %s %ld;", why.c_str(), count);
    std::printf(" %zu in all\n", job.arc.passes.size());
    if (s.antenna_deviation > 0.0)
        std::printf("antenna: estimated %+.4f +- %.4f m further out\n", report.antenna, s.antenna_deviation);
    Eigen::Vector3d squares = Eigen::Vector3d::Zero();
    for (const FormalError& f : formal) squares += f.cwiseAbs2();
    squares = (squares / static_cast<double>(formal.size())).cwiseSqrt();
    std::printf("accelerations in pieces, a-priori sigma:");
    for (const EmpiricalTerm& term : motion.terms()) {
        if (term.interval > 0.0) std::printf(" %s %g s %.3g nm/s2;", term.kind.c_str(), term.interval, term.sigma);
    }
    std::printf("\n");
    std::printf("formal errors: rms radial %.4f, along %.4f, cross %.4f m; unit weight %.2f\n", squares[0], squares[1],
                squares[2], s.unit_weight());
}

/// Errors of the orbit at all epochs of the observations.
void print_truth(const OrbitOptions& o, const Job& job, const Motion& motion, Summary& summary) {
    const Truth truth = Truth::load(o.truth, job.arc.start);
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

void check_laser(const OrbitOptions& o, const Job& job, const Motion& motion, Summary& summary) {
    if (o.laser.crd.empty()) return;
    const auto state = [&](const GTime& gpst, Eigen::Vector3d& position, Eigen::Vector3d& velocity) {
        const double t = gtimeSubSec(gpst, job.arc.start);
        if (t < motion.first() || t > motion.last()) return false;
        motion.state_at(t, position, velocity);
        return true;
    };
    const LaserResult result = check_against_laser(o.laser, state);
    summary.set("laser/points", result.count);
    if (result.count == 0) return;
    summary.set("laser/mean_m", result.mean());
    summary.set("laser/rms_m", result.rms());
}

/// The orbit at whole seconds, with the formal errors of its positions.
void write_orbit_files(const OrbitOptions& o, const Job& job, const Motion& motion, const EstimationReport& report) {
    const double second = gtimeChangeTimeSystem(job.arc.start, tsGPST).time.sod;
    std::vector<double> times;
    std::vector<TrajectoryPoint> points;
    for (double t = std::ceil(second - 1e-6) - second; t <= motion.last() + 1e-6; t += o.output_interval) {
        times.push_back(std::max(0.0, t));
        points.push_back(point_at(motion, job.arc.start, times.back()));
    }
    Ephemeris e = ephemeris_of(points, o.output_interval, "FIT", "REDUCED-DYNAMIC ORBIT FROM CODE AND CARRIER PHASE");
    e.data = "u+U";
    const std::vector<FormalError> formal = formal_errors(motion, report.solution.covariance, times);
    for (std::size_t i = 0; i < points.size(); ++i) {
        const TrajectoryPoint& p = points[i];
        const Eigen::Vector3d position(p.pos_ecf[0], p.pos_ecf[1], p.pos_ecf[2]);
        const Eigen::Vector3d velocity(p.vel_ecf[0], p.vel_ecf[1], p.vel_ecf[2]);
        const Eigen::Matrix3d axes = orbit_axes(position, velocity);
        const Eigen::Matrix3d c = axes.transpose() * formal[i].cwiseAbs2().asDiagonal() * axes;
        Covariance covariance{};
        for (int k = 0; k < 9; ++k)
            covariance[static_cast<std::size_t>(k / 3)][static_cast<std::size_t>(k % 3)] = c(k / 3, k % 3);
        e.fixed[i].covariance = covariance;
    }
    write_orbit(o.orbit, e);
}

void write_results(const OrbitOptions& o, const Job& job, const Motion& motion, const EstimationReport& report) {
    const auto wrote = [](const char* what, const std::string& file) {
        std::printf("%s written: %s\n", what, file.c_str());
    };
    std::vector<double> times;
    std::vector<TrajectoryPoint> points;
    for (double t = 0.0; t <= motion.last() + 1e-6; t += o.output_interval) {
        times.push_back(t);
        points.push_back(point_at(motion, job.arc.start, t));
    }
    if (!o.out.empty()) {
        write_trajectory(o.out, points);
        wrote("trajectory", o.out);
    }
    if (o.orbit.wanted()) write_orbit_files(o, job, motion, report);
    if (!o.formal_out.empty()) {
        write_formal_errors(o.formal_out, job.arc.start, times,
                            formal_errors(motion, report.solution.covariance, times));
        wrote("formal errors", o.formal_out);
    }
    if (!o.satellites_out.empty()) {
        write_satellites(o.satellites_out, job.arc);
        wrote("satellites", o.satellites_out);
    }
    if (!o.edits_out.empty()) {
        write_edits(o.edits_out, job.arc);
        wrote("edits", o.edits_out);
    }
    if (!o.parameters.empty()) {
        write_orbit_parameters(o.parameters, motion, gtimeChangeTimeSystem(job.arc.start, tsUTC), report);
        wrote("parameters", o.parameters);
    }
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
    std::printf("overlap: %s to %s GPST, %.3f h\n", time_text(from).c_str(), time_text(to).c_str(),
                gtimeSubSec(to, from) / 3600.0);
    print_errors("difference", errors);
    return 0;
}

void summarise(const Job& job, const Motion& motion, const EstimationReport& report, const Counts& counts,
               const std::vector<FormalError>& formal, Summary& summary) {
    summary.set("frame", "earth-fixed (ITRF) and GCRS");
    summary.set("time_scale", "GPST");
    summary.set_time("span/first", job.arc.start);
    summary.set_time("span/last", job.last);
    summary.set("epochs/count", job.arc.epochs.size());
    summarise_dynamics(job.dynamics, summary);
    summarise_environment(job.environment, job.arc.start, summary);
    summary.set("parameters/state", 6);
    summary.set("parameters/accelerations", motion.empirical().size());
    summary.set("parameters/ambiguities_and_clocks", report.solution.unknowns - static_cast<long>(motion.size()));
    for (std::size_t i = 0; i < report.iterations.size(); ++i) {
        const IterationReport& r = report.iterations[i];
        const std::string path = "solutions/" + std::to_string(i);
        summary.set(path + "/what", r.what);
        summary.set(path + "/codes", r.code_count);
        summary.set(path + "/code_rms_m", r.code_rms);
        summary.set(path + "/phases", r.phase_count);
        summary.set(path + "/phase_rms_m", r.phase_rms);
        summary.set(path + "/largest_change_m", r.shift);
    }
    for (int k = 1; k < kEdits; ++k) {
        const std::string path = std::string("left_out/") + edit_name(static_cast<Edit>(k));
        if (counts.edits[0][k] > 0) summary.set(path + "/codes", counts.edits[0][k]);
        if (counts.edits[1][k] > 0) summary.set(path + "/phases", counts.edits[1][k]);
    }
    summary.set("used/codes_share", counts.share(0));
    summary.set("used/phases_share", counts.share(1));
    if (report.solution.antenna_deviation > 0.0) {
        summary.set("antenna/further_out_m", report.antenna);
        summary.set("antenna/sigma_m", report.solution.antenna_deviation);
    }
    Eigen::Vector3d squares = Eigen::Vector3d::Zero();
    for (const FormalError& f : formal) squares += f.cwiseAbs2();
    squares = (squares / static_cast<double>(formal.size())).cwiseSqrt();
    summary.set("formal_errors/rms_radial_m", squares[0]);
    summary.set("formal_errors/rms_along_m", squares[1]);
    summary.set("formal_errors/rms_cross_m", squares[2]);
    summary.set("unit_weight", report.solution.unit_weight());
}

int estimate(const OrbitOptions& o, const FilePlan& plan) {
    Console console(o.log_level);
    Job job;
    load(o, job);
    set_estimation(o, job.arc, job.dynamics.config->norder_gravity, job.estimation);
    Motion motion(job.dynamics, gtimeChangeTimeSystem(job.arc.start, tsUTC), 0.0, job.arc.epochs.back().time,
                  empirical_terms(o, *job.dynamics.config));
    print_files(job);
    print_noise(job.estimation);
    std::fflush(stdout);
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
    const Counts counts = count_observations(job.arc);
    print_report(job, motion, report, counts, formal);
    Summary summary = begin_summary("orbit", o.summary, plan);
    summarise(job, motion, report, counts, formal, summary);
    if (!o.truth.empty()) print_truth(o, job, motion, summary);
    check_laser(o, job, motion, summary);
    write_results(o, job, motion, report);
    const std::string fault = fault_of(report, counts, formal);
    if (!fault.empty()) std::fprintf(stderr, "leopod: %s: %s\n", o.inputs.obs.front().c_str(), fault.c_str());
    const int status = fault.empty() ? 0 : 1;
    summary.set("fault", fault);
    summary.write(status);
    return status;
}

FilePlan check_files(const OrbitOptions& o) {
    FilePlan plan;
    const InputOptions& in = o.inputs;
    plan.in("--obs", in.obs).in("--nav", in.nav).in("--sp3", in.sp3).in("--clk", in.clk).in("--att", in.att);
    plan.in("--eop", in.eop).in("--jpl", in.jpl).in("--config", in.config).in("--truth", o.truth);
    plan.in("--dynamics", o.dynamics.dynamics).in("--gravity", o.dynamics.gravity).in("--sp3-antenna", o.sp3_antenna);
    plan_orbit_outputs(o.orbit, plan);
    plan.in("--crd", o.laser.crd).in("--stations", o.laser.stations).out("--crd-out", o.laser.out);
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
    command.add_option("--obs", o->inputs.obs, "RINEX observation file, version 2 or 3; may be repeated");
    command.add_option("--nav", o->inputs.nav, "RINEX navigation file; may be repeated");
    command.add_option("--sp3", o->inputs.sp3, "SP3 orbit file; may be repeated");
    command.add_option("--clk", o->inputs.clk, "RINEX clock file; may be repeated");
    command.add_option("--att", o->inputs.att,
                       "attitude quaternion file, the library's columns or the mission product; may be repeated");
    command.add_option("--eop", o->inputs.eop, "earth orientation file");
    command.add_option("--eop-format", o->inputs.eop_format, "its format: c04, rapid or keyword").capture_default_str();
    command.add_option("--jpl", o->inputs.jpl, "JPL ephemeris, ASCII header and records in one file");
    command.add_option("--config", o->inputs.config, "GNSS configuration file");
    command.add_option("--interval", o->inputs.interval, "sampling of the epochs in seconds; 0 takes all")
        .non_negative()
        .capture_default_str();
    add_span(command, o->span);
    command.add_option("--dynamics", o->dynamics.dynamics, "configuration file of the force models");
    command.add_option("--gravity", o->dynamics.gravity,
                       "gravity coefficient file (degree, order, C, S); without it the built-in field of degree 30");
    command.add_option("--sp3-antenna", o->sp3_antenna,
                       "ANTEX file: moves precise orbits to the phase centres of the satellites' antennas");
    command
        .add_option("--antenna-offset", o->antenna_offset,
                    "x,y,z from the centre of mass to the antenna in metres; without it the radial part is estimated")
        .expected(3)
        .delimiter(',');
    command.add_option("--antenna-axes", o->antenna_axes, "axes of that: orbit (radial, along, cross) or platform")
        .one_of({"orbit", "platform"})
        .capture_default_str();
    command.add_option("--antenna-sigma", o->antenna_sigma,
                       "a-priori error of the antenna's radial offset in metres; 0 holds it (as a given offset does)");
    command.add_option("--sigma-code", o->sigma_code, "standard deviation of a code on one band, metres")
        .positive()
        .capture_default_str();
    command.add_option("--sigma-phase", o->sigma_phase, "standard deviation of a phase on one band, metres")
        .positive()
        .capture_default_str();
    command.add_option("--sigma-clock", o->sigma_clock,
                       "error of a satellite clock half-way between two of the products, metres, by their interval "
                       "unless given; of broadcast ephemerides in the phases, 0.1 unless given");
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
    command.add_option("--truth", o->truth,
                       "file to compare with: CSV (GPST, x, y, z in metres, earth-fixed), SP3 or OEM");
    command.add_option("--crd", o->laser.crd,
                       "laser ranging file (CRD): residuals of its normal points to the orbit; may be repeated");
    command.add_option("--stations", o->laser.stations,
                       "CSV of the laser stations: cdp or name, x_m, y_m, z_m, vx_mpy, vy_mpy, vz_mpy, epoch");
    command.add_option("--crd-target", o->laser.target, "name, ILRS or NORAD number, where the files have several");
    command
        .add_option("--reflector-offset", o->laser.reflector,
                    "radial,along,cross from the centre of mass to the laser reflector in metres")
        .expected(3)
        .delimiter(',');
    command.add_option("--crd-out", o->laser.out, "CSV of the laser residuals");
    command.add_option("--out", o->out, "CSV of the orbit, both frames");
    add_orbit_outputs(command, o->orbit, "the orbit");
    command.add_option("--satellite", o->orbit.satellite, "satellite of the SP3 file, such as L01");
    add_summary(command, o->summary);
    command.add_option("--formal-out", o->formal_out, "CSV of the formal errors");
    command.add_option("--satellites-out", o->satellites_out, "CSV, one row per epoch and satellite: residuals, slips");
    command.add_option("--edits-out", o->edits_out, "CSV of what was left out and why");
    command.add_option("--parameters", o->parameters, "CSV of the estimated parameters");
    command
        .add_option("--compare", o->compare, "two orbits (CSV, SP3 or OEM): prints how they agree where they overlap")
        .expected(2);
    command
        .add_option("--log-level", o->log_level,
                    "library messages from this level on: trace, debug, info, warning, error, critical, off")
        .capture_default_str();
    command.callback([o, &action] { action = [o] { return orbit(*o); }; });
}

}  // namespace host
