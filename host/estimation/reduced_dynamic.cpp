#include "estimation/reduced_dynamic.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "estimation/failure.h"
#include "estimation/first_orbit.h"
#include "estimation/formal.h"

namespace host {

namespace {

/// Sets the receiver clock of an epoch by the median of its codes, for each system.
/// Returns the largest change [m].
double clocks_by_codes(ObservedArc& arc, ArcEpoch& epoch) {
    double change = 0.0;
    for (int system = 0; system < arc.systems; ++system) {
        std::vector<double> values;
        for (std::size_t i = epoch.first; i < epoch.first + epoch.count; ++i) {
            const Link& link = arc.links[i];
            if (link.system == system && link.code_edit == Edit::kUsed) values.push_back(link.code_omc);
        }
        if (values.empty()) continue;
        std::sort(values.begin(), values.end());
        const std::size_t n = values.size();
        const double median = 0.5 * (values[(n - 1) / 2] + values[n / 2]);
        double& clock = epoch.clock[static_cast<std::size_t>(system)];
        change = std::max(change, std::fabs(median - clock));
        clock = median;
    }
    return change;
}

void set_noise(Link& link, const NoiseOptions& noise) {
    const double factor = noise.by_elevation ? 1.0 / std::max(0.2, std::sin(link.elevation)) : 1.0;
    link.code_sigma = noise.code * link.code_noise * factor;
    // A clock between two tabulated ones wanders like a walk that is held at both ends.
    const double part = link.clock_gap > 0.0 ? 4.0 * link.clock_age * (link.clock_gap - link.clock_age) /
                                                   (link.clock_gap * link.clock_gap)
                                             : 0.0;
    const double clock = noise.clock * std::sqrt(part);
    link.phase_sigma = std::hypot(noise.phase * link.phase_noise * factor, clock, noise.broadcast_phase);
    link.code_sigma = std::hypot(link.code_sigma, clock, noise.broadcast_code);
}

/// Observed less computed of one epoch.
void compute_epoch(ObservedArc& arc, ArcEpoch& epoch, const Motion& motion, const SignalModel& model,
                   const EstimationOptions& options, std::vector<double>& wind_up) {
    Eigen::Vector3d position, velocity;
    motion.state_at(epoch.received(), position, velocity);
    const ReceiverFrame frame = model.frame(epoch.received(), position, velocity);
    for (std::size_t i = epoch.first; i < epoch.first + epoch.count; ++i) {
        Link& link = arc.links[i];
        link.wind_up = wind_up[static_cast<std::size_t>(link.satindex)];
        if (!frame.position.allFinite() || !model.predict(epoch.received(), frame, link, true)) {
            link.code_edit = link.phase_edit = Edit::kNoEphemeris;
        } else if (link.elevation < options.noise.elevation_mask) {
            link.code_edit = link.phase_edit = Edit::kLowElevation;
        } else {
            wind_up[static_cast<std::size_t>(link.satindex)] = link.wind_up;
            set_noise(link, options.noise);
        }
    }
}

/// Observed less computed of the whole arc along the motion. `find_clocks`: the receiver clocks by the codes.
void compute_links(ObservedArc& arc, const Motion& motion, const SignalModel& model, const EstimationOptions& options,
                   bool find_clocks) {
    std::vector<double> wind_up(MAXSAT_GNSS, 0.0);
    std::array<double, 3> last{};
    for (ArcEpoch& epoch : arc.epochs) {
        if (find_clocks) epoch.clock = last;
        compute_epoch(arc, epoch, motion, model, options, wind_up);
        // A receiver clock moves the instant of reception.
        for (int i = 0; find_clocks && i < 3 && clocks_by_codes(arc, epoch) > 1.0; ++i)
            compute_epoch(arc, epoch, motion, model, options, wind_up);
        last = epoch.clock;
        for (std::size_t i = epoch.first; i < epoch.first + epoch.count; ++i) {
            Link& link = arc.links[i];
            link.code_omc -= epoch.clock[static_cast<std::size_t>(link.system)];
            link.phase_omc -= epoch.clock[static_cast<std::size_t>(link.system)];
        }
    }
}

/// Codes far from the others of their epoch.
void mark_gross_codes(ObservedArc& arc, double bound) {
    for (Link& link : arc.links) {
        if (link.code_edit == Edit::kUsed && std::fabs(link.code_omc) > bound) link.code_edit = Edit::kOutlier;
    }
}

double rms(double squares, long count) { return count > 0 ? std::sqrt(squares / static_cast<double>(count)) : 0.0; }

IterationReport report_of(const std::string& what, const ObservedArc& arc, const BatchSolution& solution,
                          double shift) {
    double code = 0.0, phases = 0.0;
    for (const Link& link : arc.links) {
        if (link.code_edit == Edit::kUsed && std::isfinite(link.code_residual))
            code += link.code_residual * link.code_residual;
        if (link.phase_edit == Edit::kUsed && std::isfinite(link.phase_residual))
            phases += link.phase_residual * link.phase_residual;
    }
    return {what,
            rms(code, solution.code_count),
            rms(phases, solution.phase_count),
            solution.code_count,
            solution.phase_count,
            shift};
}

/// Largest change of a position by a correction, looked at every segment.
double largest_shift(const Motion& motion, const Eigen::VectorXd& correction) {
    double largest = 0.0;
    for (std::size_t s = 0; s < motion.segments(); ++s) {
        const Eigen::VectorXd local = motion.chain(s) * correction.head(motion.begun(s));
        largest = std::max(largest, local.head<3>().norm());
    }
    return largest;
}

/// Root mean square of the phase residuals in their sigmas.
double phase_weight(const ObservedArc& arc) {
    double squares = 0.0;
    long count = 0;
    for (const Link& link : arc.links) {
        if (link.phase_edit != Edit::kUsed || !std::isfinite(link.phase_residual)) continue;
        squares += std::pow(link.phase_residual / link.phase_sigma, 2);
        ++count;
    }
    return rms(squares, count);
}

/// In pieces that an a-priori sigma holds.
bool is_held(const EmpiricalTerm& term) { return term.interval > 0.0 && term.sigma > 0.0; }

/// Accelerations in pieces in their a-priori sigmas, root mean square of the term where it is largest.
double strain_of(const Motion& motion) {
    std::vector<double> squares(motion.terms().size(), 0.0), counts(motion.terms().size(), 0.0);
    for (std::size_t i = 0; i < motion.empirical().size(); ++i) {
        const std::size_t term = motion.empirical()[i].term;
        if (!is_held(motion.terms()[term])) continue;
        const double value = motion.parameters()[static_cast<Eigen::Index>(6 + i)];
        squares[term] += std::pow(value / motion.terms()[term].sigma, 2);
        counts[term] += 1.0;
    }
    double largest = 0.0;
    for (std::size_t k = 0; k < squares.size(); ++k) {
        if (counts[k] > 0.0) largest = std::max(largest, std::sqrt(squares[k] / counts[k]));
    }
    return largest;
}

/// Multiplies the a-priori sigmas of the accelerations in pieces.
void loosen(Motion& motion, double factor) {
    for (std::size_t k = 0; k < motion.terms().size(); ++k) {
        if (is_held(motion.terms()[k])) motion.set_sigma(k, factor * motion.terms()[k].sigma);
    }
}

class Estimation {
  public:
    Estimation(Motion& motion, ObservedArc& arc, const EstimationOptions& options)
        : motion_(motion), arc_(arc), options_(options), model_(arc.start, options.signal) {}

    EstimationReport run(const std::function<void(const std::string&)>& note) {
        note("first orbit from the codes of each epoch");
        first_orbit();
        note("orbit from the codes");
        compute_links(arc_, motion_, model_, options_, true);
        mark_gross_codes(arc_, 100.0);
        settle(false, "codes", 6);
        accept(false);
        renew();
        note("orbit from codes and phases");
        // The codes' orbit is smooth: between epochs it drifts by millimetres.
        report_.screening = find_passes(arc_, options_.screening);
        settle(true, "code and phase", 12);
        if (options_.adapt && std::any_of(motion_.terms().begin(), motion_.terms().end(), is_held)) adapt();
        accept(true);
        renew();
        report_.screening = find_passes(arc_, options_.screening);
        report_.converged = settle(true, "screened again", 20);
        accept(true);
        scale_covariance();
        report_.strain = report_.loosened * strain_of(motion_);
        return std::move(report_);
    }

  private:
    /// Too stiff a motion leaves residuals that the noise does not explain, or that a loose one would not leave. The sigmas of the noise may be
    /// generous, so that the second tells more.
    void adapt() {
        constexpr double kExplained = 1.5, kLeft = 1.25, kStep = 3.0;
        constexpr int kMost = 5;
        const double loose = kLeft * loosest_weight(std::pow(kStep, kMost));
        for (int i = 0; i < kMost && phase_weight(arc_) > std::min(kExplained, loose); ++i) {
            loosen(motion_, kStep);
            report_.loosened *= kStep;
            settle(true, "looser motion", 6);
        }
    }

    /// What the phases would leave of a motion with sigmas so many times as large, beyond what its freedom takes of them.
    double loosest_weight(double factor) {
        loosen(motion_, factor);
        const BatchSolution solution = solve_batch(motion_, arc_, batch(true));
        const double weight = phase_weight(arc_);
        loosen(motion_, 1.0 / factor);
        report_.solution = solve_batch(motion_, arc_, batch(true));
        const double accelerations = static_cast<double>(motion_.empirical().size());
        const double left = static_cast<double>(solution.phase_count - solution.unknowns) /
                            (static_cast<double>(solution.phase_count - solution.unknowns) + accelerations);
        return left > 0.0 ? weight / std::sqrt(left) : std::numeric_limits<double>::infinity();
    }

    void first_orbit() {
        const std::size_t every =
            static_cast<std::size_t>(std::max(1.0, std::round(60.0 / std::max(arc_.interval, 1e-3))));
        const std::vector<EpochPosition> points = solve_points(arc_, model_, every);
        report_.points = points.size();
        fit_first_orbit(motion_, arc_, points);
    }

    /// Computes the links along the motion at hand, which is integrated anew where its partials no longer carry it to a tenth of a millimetre.
    void renew() {
        constexpr double kLinear = 10.0;  // [m]
        if (largest_shift(motion_, motion_.correction()) > kLinear)
            motion_.integrate(motion_.parameters(), motion_.last());
        apply_clocks(arc_);
        compute_links(arc_, motion_, model_, options_, false);
    }

    BatchOptions batch(bool phase) const {
        BatchOptions b;
        b.phase = phase;
        b.antenna_sigma = phase ? options_.antenna_sigma : 0.0;  // the codes alone hardly see it
        b.antenna_offset = report_.antenna;
        return b;
    }

    /// Solves and edits until nothing changes. True if it ended so.
    bool settle(bool phase, const std::string& what, int most) {
        bool settled = false;
        for (int i = 0; i < most && !settled; ++i) {
            report_.solution = solve_batch(motion_, arc_, batch(phase));
            const long changes = edit_residuals(arc_, options_.screening, phase);
            report_.iterations.push_back(
                report_of(what, arc_, report_.solution, largest_shift(motion_, report_.solution.motion)));
            settled = changes <= static_cast<long>(arc_.links.size() / 2000);
        }
        return settled;
    }

    /// Solves with the edits at hand and moves to the solution.
    void accept(bool phase) {
        BatchOptions options = batch(phase);
        options.covariance = phase;
        report_.solution = solve_batch(motion_, arc_, options);
        motion_.move(report_.solution.motion);
        report_.antenna += report_.solution.antenna;
        model_.raise_antenna(report_.solution.antenna);
    }

    /// The sigmas stand for independent errors; what the residuals say of them counts.
    void scale_covariance() {
        BatchSolution& s = report_.solution;
        report_.variance_factor = std::pow(s.unit_weight(), 2) * correlation_factor(arc_);
        s.covariance *= report_.variance_factor;
        s.antenna_deviation *= std::sqrt(report_.variance_factor);
    }

    Motion& motion_;
    ObservedArc& arc_;
    const EstimationOptions& options_;
    SignalModel model_;
    EstimationReport report_;
};

}  // namespace

EstimationReport estimate_orbit(Motion& motion, ObservedArc& arc, const EstimationOptions& options,
                                const std::function<void(const std::string&)>& note) {
    return Estimation(motion, arc, options).run(note);
}

}  // namespace host
