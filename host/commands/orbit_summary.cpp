#include "commands/orbit_summary.h"

#include <cmath>
#include <cstdio>

#include "commands/summaries.h"
#include "shared/times.h"

namespace host {

namespace {

FormalError rms_of(const std::vector<FormalError>& formal) {
    Eigen::Vector3d squares = Eigen::Vector3d::Zero();
    for (const FormalError& f : formal) squares += f.cwiseAbs2();
    return (squares / static_cast<double>(formal.size())).cwiseSqrt();
}

void print_observations(const OrbitJob& job) {
    std::printf("leopod orbit: reduced-dynamic orbit from code and phase\n");
    std::printf("frame: earth-fixed (ITRF realisation of the ephemerides), metres; time scale: GPST\n");
    std::printf("files:\n");
    print_files(job.environment);
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
        std::printf(", satellite clock half-way between two %.3g m", e.noise.clock);
    }
    std::printf("\nantenna: %s%s\n", e.signal.antenna.text().c_str(),
                e.antenna_sigma > 0.0        ? ", radial part estimated"
                : e.signal.antenna.is_zero() ? ", held: the orbit is that of the antenna"
                                             : "");
}

void print_solutions(const BatchSolution& s, const EstimationReport& report, const Motion& motion) {
    std::printf("parameters: 6 of the state, %zu accelerations, %ld ambiguities and clocks\n",
                motion.empirical().size(), s.unknowns - static_cast<long>(motion.size()));
    std::printf("solution          codes   rms [m]   phases   rms [m]   largest change [m]\n");
    for (const IterationReport& i : report.iterations) {
        std::printf("  %-14s %6ld %9.4f %8ld %9.4f %14.4f\n", i.what.c_str(), i.code_count, i.code_rms, i.phase_count,
                    i.phase_rms, i.shift);
    }
}

void print_edits(const OrbitJob& job, const EstimationReport& report, const EditCounts& counts) {
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
}

void print_accelerations(const Motion& motion, const EstimationReport& report) {
    std::string text;
    for (const EmpiricalTerm& term : motion.terms()) {
        char piece[80];
        if (!(term.interval > 0.0)) continue;
        std::snprintf(piece, sizeof piece, term.sigma > 0.0 ? " %s %g s %.3g nm/s2;" : " %s %g s free;",
                      term.kind.c_str(), term.interval, term.sigma);
        text += piece;
    }
    std::printf("accelerations in pieces, a-priori sigma:%s%s\n", text.empty() ? " none" : text.c_str(),
                report.loosened > 1.0 ? " (loosened)" : "");
}

void summarise_solutions(const EstimationReport& report, Summary& summary) {
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
}

void summarise_edits(const EditCounts& counts, Summary& summary) {
    for (int k = 1; k < kEdits; ++k) {
        const std::string path = std::string("left_out/") + edit_name(static_cast<Edit>(k));
        if (counts.edits[0][k] > 0) summary.set(path + "/codes", counts.edits[0][k]);
        if (counts.edits[1][k] > 0) summary.set(path + "/phases", counts.edits[1][k]);
    }
    summary.set("used/codes_share", counts.share(0));
    summary.set("used/phases_share", counts.share(1));
}

}  // namespace

EditCounts count_observations(const ObservedArc& arc) {
    EditCounts counts;
    for (const Link& link : arc.links) {
        ++counts.edits[0][static_cast<int>(link.code_edit)];
        ++counts.edits[1][static_cast<int>(link.phase_edit)];
    }
    return counts;
}

std::string fault_of(const EstimationReport& report, const EditCounts& counts, const std::vector<FormalError>& formal) {
    constexpr double kMostUnitWeight = 4.0, kLeastShare = 0.6, kMostFormal = 1.0, kMostShift = 20.0, kMostStrain = 20.0;
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
    } else if (report.strain > kMostStrain) {
        std::snprintf(
            text, sizeof text,
            "the motion asks for accelerations far above their a-priori sigmas: wrong or missing forces, earth "
            "orientation or antenna offset; --empirical sets others");
    } else if (!(largest < kMostFormal)) {
        std::snprintf(text, sizeof text, "the observations determine parts of the arc to %.1f m only", largest);
    }
    return text;
}

void print_input(const OrbitJob& job) {
    print_observations(job);
    print_noise(job.estimation);
    std::fflush(stdout);
}

void print_report(const OrbitJob& job, const Motion& motion, const EstimationReport& report, const EditCounts& counts,
                  const std::vector<FormalError>& formal) {
    const BatchSolution& s = report.solution;
    print_solutions(s, report, motion);
    print_edits(job, report, counts);
    if (s.antenna_deviation > 0.0)
        std::printf("antenna: estimated %+.4f +- %.4f m further out\n", report.antenna, s.antenna_deviation);
    print_accelerations(motion, report);
    const FormalError squares = rms_of(formal);
    std::printf("formal errors: rms radial %.4f, along %.4f, cross %.4f m; unit weight %.2f, raised %.1f times\n",
                squares[0], squares[1], squares[2], s.unit_weight(), std::sqrt(report.variance_factor));
}

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

void summarise(const OrbitJob& job, const Motion& motion, const EstimationReport& report, const EditCounts& counts,
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
    summarise_solutions(report, summary);
    summarise_edits(counts, summary);
    summary.set("antenna/offset", job.estimation.signal.antenna.text());
    if (report.solution.antenna_deviation > 0.0) {
        summary.set("antenna/further_out_m", report.antenna);
        summary.set("antenna/sigma_m", report.solution.antenna_deviation);
    }
    const FormalError squares = rms_of(formal);
    summary.set("formal_errors/rms_radial_m", squares[0]);
    summary.set("formal_errors/rms_along_m", squares[1]);
    summary.set("formal_errors/rms_cross_m", squares[2]);
    summary.set("accelerations/loosened", report.loosened);
    summary.set("accelerations/strain", report.strain);
    summary.set("formal_errors/raised", std::sqrt(report.variance_factor));
    summary.set("unit_weight", report.solution.unit_weight());
}

}  // namespace host
