#include "estimation/position_fit.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "estimation/first_state.h"
#include "shared/error.h"
#include "shared/times.h"

namespace host {

double FitResidual::length() const { return std::sqrt(along * along + radial * radial + cross * cross); }

namespace {

/// State at the start of the arc.
struct FirstState {
    double pos[3], vel[3];  ///< inertial [m, m/s]
};

/// What the library ends the process for, told by the message before.
struct NoSolution {
    std::string reason;
};

/// The iterations of the fit and the state that the last one starts from, by its messages. The library would keep a record for each output
/// epoch, 110 kB each, of which the first one alone is wanted.
Console::Subscription collect_history(Console& console, const STATE_SPACECRAFT& state,
                                      std::vector<FitIteration>& history, FirstState& first, Progress& progress) {
    return console.subscribe(ULOG_INFO_LEVEL, [&state, &history, &first, &progress](ulog_level_t, const char* text) {
        FitMessage message;
        if (!read_fit(text, message)) return;
        if (message.kind == FitMessage::kNoSolution) throw NoSolution{"the equations have no solution"};
        if (message.kind == FitMessage::kStart) {
            std::copy_n(state.pos_eci, 3, first.pos);
            std::copy_n(state.vel_eci, 3, first.vel);
        }
        if (message.kind == FitMessage::kIteration) {
            history.emplace_back();
            history.back().number = message.number;
            progress.rename("fitting, iteration " + std::to_string(message.number + 1) + " of at most " +
                            std::to_string(kFitIterations));
        }
        if (history.empty()) return;
        if (message.kind == FitMessage::kRms) std::copy_n(message.rms, 3, history.back().rms);
        if (message.kind == FitMessage::kTest) history.back().test = message.test;
    });
}

/// Parameters and initial state of the arc in the library's records.
void set_up(const FitPositions& positions, Dynamics& dynamics) {
    ORBIT_DYN_CONFIG& config = *dynamics.config;
    STATE_SPACECRAFT& state = *dynamics.state;
    const GTime start = positions.utc.front();
    config.status_derivative = 2;
    // A hair short of the last epoch, so that a span of whole pieces makes no piece of length zero.
    produce_force_model_params(gtime2mjd(start), gtime2mjd(start) + (positions.span() - 1e-3) / 86400.0, &config,
                               &state);
    state.utc_start = start;
    state.sec_since_start = 0.0;
    std::copy(positions.eci[0].begin(), positions.eci[0].end(), state.pos_eci);
    first_velocity(positions, state.vel_eci);
}

std::vector<FitParameter> parameters_of(const PARAM_FM_EMP& forces) {
    std::vector<FitParameter> parameters;
    parameters.reserve(static_cast<std::size_t>(std::max(forces.num, 0)));
    for (int k = 0; k < forces.num; ++k)
        parameters.push_back({forces.param_name[k], forces.param[k], forces.param_life[k][0], forces.param_life[k][1]});
    return parameters;
}

/// Median of the lengths of the residuals.
double typical_residual(const std::vector<FitResidual>& residuals) {
    std::vector<double> lengths;
    for (const FitResidual& r : residuals) {
        if (r.weight > 0.0) lengths.push_back(r.length());
    }
    const auto middle = lengths.begin() + static_cast<std::ptrdiff_t>(lengths.size() / 2);
    std::nth_element(lengths.begin(), middle, lengths.end());
    return *middle;
}

/// Root mean square of the distances from the mean position.
double spread_of(const std::vector<Vector3>& positions) {
    const double n = static_cast<double>(positions.size());
    double sum = 0;
    for (std::size_t k = 0; k < 3; ++k) {
        double mean = 0;
        for (const Vector3& p : positions) mean += p[k] / n;
        for (const Vector3& p : positions) sum += (p[k] - mean) * (p[k] - mean);
    }
    return std::sqrt(sum / n);
}

/// The longest stretch in which every position is an outlier [s].
double longest_stretch_of_outliers(const std::vector<FitResidual>& residuals) {
    double longest = 0.0, begin = -1.0;
    for (const FitResidual& r : residuals) {
        if (r.weight > 0.0) begin = -1.0;
        if (r.reason != "outlier") continue;
        if (begin < 0.0) begin = r.seconds;
        longest = std::max(longest, r.seconds - begin);
    }
    return longest;
}

bool is_finite(const FitResult& result) {
    bool finite = true;
    for (const FitResidual& r : result.residuals) finite = finite && std::isfinite(r.length());
    for (const FitParameter& p : result.parameters) finite = finite && std::isfinite(p.value);
    for (const FitIteration& i : result.iterations) finite = finite && std::isfinite(i.test);
    for (const TrajectoryPoint& p : result.orbit) finite = finite && std::isfinite(p.pos_eci[0] + p.vel_eci[0]);
    return finite;
}

}  // namespace

FitResult fit_with_unit_weights(const std::string& source, const FitPositions& positions, Dynamics& dynamics,
                                Console& console) {
    ORBIT_DYN_CONFIG& config = *dynamics.config;
    STATE_SPACECRAFT& state = *dynamics.state;
    const double interval = config.output_interval;
    const GTime start = positions.utc.front();
    // The arc ends on the output epoch at or behind the last position.
    const GTime end = gtimeAddSec(start, std::ceil(positions.span() / interval - 1e-9) * interval + 1e-6);
    set_up(positions, dynamics);

    std::vector<GTime> epochs = positions.utc;
    std::vector<Vector3> eci = positions.eci;
    std::vector<double> omc_eci(3 * epochs.size());
    std::vector<double> omc_arc(3 * epochs.size());
    SOLUTION_ORBITFIT solution{};
    solution.omc_eci = omc_eci.data();
    solution.omc_ARC = omc_arc.data();
    solution.nepochs = static_cast<int>(epochs.size());
    solution.num_output = static_cast<int>(gtimeSubSec(end, start) / interval) + 1;

    FitResult result;
    FirstState first{};
    try {
        Progress progress("fitting");
        const auto subscription = collect_history(console, state, result.iterations, first, progress);
        const bool done = orbit_fit(&config, &state, end, solution.nepochs, epochs.data(),
                                    reinterpret_cast<double(*)[3]>(eci.data()), &solution);
        if (!done) throw InputError(source + ": these positions cannot be fitted");
    } catch (const NoSolution& none) {
        result.failure = none.reason;
        return result;
    }
    std::copy_n(solution.rms_acr, 3, result.rms);
    for (std::size_t i = 0; i < epochs.size(); ++i)
        result.residuals.push_back(
            {epochs[i], positions.seconds(i), omc_arc[3 * i], omc_arc[3 * i + 1], omc_arc[3 * i + 2], 1.0, ""});
    result.parameters = parameters_of(config.force_model_emp_parameters);
    // The fitted orbit once more by itself, from the solution of the last iteration.
    result.orbit = integrate(dynamics, start, first.pos, first.vel, gtimeSubSec(end, start));
    return result;
}

std::string doubt_about(const FitResult& result, const FitPositions& positions) {
    constexpr double kCorrection = 0.001;  // limit of the library's fit
    constexpr double kOfSpread = 1e-4;     // residuals of an orbit: 700 m where positions spread by 7000 km
    constexpr double kAcceleration = 1e6;  // no force without a model is as strong [nm/s^2]
    constexpr double kStretch = 5400.0;    // in longer ones the orbit rests on the forces alone [s]
    if (!result.failure.empty()) return result.failure;
    if (!is_finite(result)) return "the numbers left the finite range; outliers, units, frame or forces?";
    if (result.iterations.empty() || !(result.iterations.back().test < kCorrection))
        return "the corrections did not end below the limit; outliers, or forces that don't follow the positions?";
    char text[200] = "";
    const long used = std::count_if(result.residuals.begin(), result.residuals.end(),
                                    [](const FitResidual& r) { return r.weight > 0.0; });
    const long left_out = std::count_if(result.residuals.begin(), result.residuals.end(),
                                        [](const FitResidual& r) { return r.reason == "outlier"; });
    if (used < static_cast<long>(kFewestPositions)) {
        std::snprintf(text, sizeof text, "%ld of the positions are in use, at least %zu make an orbit", used,
                      kFewestPositions);
        return text;
    }
    if (left_out > used) return "more positions are outliers than belong to the orbit; positions or forces?";
    const double stretch = longest_stretch_of_outliers(result.residuals);
    if (stretch > kStretch) {
        std::snprintf(text, sizeof text,
                      "all positions of %.1f h are outliers, where the orbit rests on the forces alone; positions or "
                      "forces?",
                      stretch / 3600.0);
        return text;
    }
    const double typical = typical_residual(result.residuals);
    const auto strongest = std::max_element(
        result.parameters.begin(), result.parameters.end(),
        [](const FitParameter& a, const FitParameter& b) { return std::fabs(a.value) < std::fabs(b.value); });
    if (typical > kOfSpread * spread_of(positions.eci)) {
        std::snprintf(text, sizeof text,
                      "half of the residuals exceed %.3g m, no orbit leaves as much; forces or outliers?", typical);
    } else if (strongest != result.parameters.end() && std::fabs(strongest->value) > kAcceleration) {
        std::snprintf(text, sizeof text,
                      "the acceleration %s is %.3g m/s^2, no force without a model is as strong; frame or forces?",
                      strongest->name.c_str(), 1e-9 * strongest->value);
    }
    return text;
}

}  // namespace host
