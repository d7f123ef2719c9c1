#include "commands/fit_report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>

#include "commands/summaries.h"
#include "inputs/truth.h"
#include "pictures/canvas.h"
#include "pictures/residuals.h"
#include "shared/files.h"
#include "shared/times.h"

namespace host {

namespace {

/// True if a position lies more than a millisecond beside the output epochs of the arc.
bool off_output_epochs(const FitPositions& positions, double interval) {
    for (std::size_t i = 0; i < positions.utc.size(); ++i) {
        if (std::fabs(std::remainder(positions.seconds(i), interval)) > 1e-3) return true;
    }
    return false;
}

void write_parameters(const std::string& file, const FitResult& result) {
    static const char* const names[] = {"PX", "PY", "PZ", "VX", "VY", "VZ"};
    OutputFile out(file);
    std::fprintf(out, "name,value,unit,start_mjd_utc,end_mjd_utc\n");
    const TrajectoryPoint& first = result.orbit.front();
    const double mjd = gtime2mjd(first.utc);
    for (int i = 0; i < 6; ++i) {
        std::fprintf(out, "%s,%.9f,%s,%.9f,%.9f\n", names[i], i < 3 ? first.pos_eci[i] : first.vel_eci[i - 3],
                     i < 3 ? "m (GCRS)" : "m/s (GCRS)", mjd, mjd);
    }
    for (const FitParameter& p : result.parameters)
        std::fprintf(out, "%s,%.9f,1e-9 m/s^2,%.9f,%.9f\n", p.name.c_str(), p.value, p.start, p.end);
    out.close();
}

void write_residuals(const std::string& file, const std::vector<FitResidual>& residuals) {
    OutputFile out(file);
    std::fprintf(out, "epoch_gpst,seconds,along_m,radial_m,cross_m,weight,left_out\n");
    for (const FitResidual& r : residuals) {
        std::fprintf(out, "%s,%.6f,%.5f,%.5f,%.5f,%.3f,%s\n",
                     time_text(gtimeChangeTimeSystem(r.utc, tsGPST), 6).c_str(), r.seconds, r.along, r.radial, r.cross,
                     r.weight, r.reason.c_str());
    }
    out.close();
}

void write_history(const std::string& file, const std::vector<FitIteration>& history) {
    OutputFile out(file);
    std::fprintf(out, "iteration,rms_along_m,rms_radial_m,rms_cross_m,rms_correction\n");
    for (const FitIteration& i : history)
        std::fprintf(out, "%d,%.6f,%.6f,%.6f,%.6e\n", i.number, i.rms[0], i.rms[1], i.rms[2], i.test);
    out.close();
}

bool plot_residuals(const std::string& file, const std::vector<FitResidual>& residuals, const std::string& source) {
    FitResidualFigure figure;
    figure.source = "positions of " + source;
    figure.options.day_mjd = gtimeChangeTimeSystem(residuals.front().utc, tsGPST).time.mjd;
    for (const FitResidual& r : residuals) {
        const GTime gpst = gtimeChangeTimeSystem(r.utc, tsGPST);
        figure.seconds.push_back(static_cast<double>(gpst.time.mjd - figure.options.day_mjd) * 86400.0 + gpst.time.sod);
        figure.used.push_back(r.weight > 0.0);
        figure.radial_along_cross[0].push_back(r.radial);
        figure.radial_along_cross[1].push_back(r.along);
        figure.radial_along_cross[2].push_back(r.cross);
    }
    return report_picture(file, [&] { return draw_fit_residuals(figure); });
}

/// Positions by the reason why they were left out; without one those that were used.
std::map<std::string, long> use_of(const std::vector<FitResidual>& residuals) {
    std::map<std::string, long> reasons{{"", 0}};
    for (const FitResidual& r : residuals) ++reasons[r.weight > 0.0 ? "" : r.reason];
    return reasons;
}

/// How many positions were used, and which were left out why: outliers by their stretches.
void print_use(const std::vector<FitResidual>& residuals) {
    constexpr std::size_t kStretches = 10;
    std::map<std::string, long> reasons = use_of(residuals);
    std::printf("positions used: %ld of %zu (%.1f %%)", reasons[""], residuals.size(),
                100.0 * static_cast<double>(reasons[""]) / static_cast<double>(residuals.size()));
    reasons.erase("");
    for (const auto& [reason, count] : reasons) std::printf(", left out as %s %ld", reason.c_str(), count);
    std::printf("\n");
    std::size_t stretches = 0;
    for (std::size_t i = 0; i < residuals.size(); ++i) {
        if (residuals[i].reason != "outlier") continue;
        std::size_t end = i;
        double largest = 0;
        for (; end < residuals.size() && residuals[end].reason == "outlier"; ++end)
            largest = std::max(largest, residuals[end].length());
        if (++stretches <= kStretches)
            std::printf("  outliers: %s to %s GPST, %zu, off by %.3g m at most\n",
                        time_text(gtimeChangeTimeSystem(residuals[i].utc, tsGPST), 0).c_str(),
                        time_text(gtimeChangeTimeSystem(residuals[end - 1].utc, tsGPST), 0).c_str(), end - i, largest);
        i = end;
    }
    if (stretches > kStretches)
        std::printf("  and %zu more stretches of outliers (--residuals lists all)\n", stretches - kStretches);
}

}  // namespace

void print_fit_input(const FitOptions& o, const PositionFile& file, const FitPositions& positions,
                     const AntennaOffset& antenna, const Dynamics& dynamics) {
    const double interval = dynamics.config->output_interval;
    std::printf("leopod fit: %zu positions from %s, %s, %s\n", positions.utc.size(), o.positions.c_str(),
                file.inertial ? "inertial (GCRS)" : "earth-fixed (ITRF)", file.scale_name.c_str());
    std::printf("positions: %s\n", file.text().c_str());
    std::printf("arc: %s to %s GPST, %.3f h\n", time_text(gtimeChangeTimeSystem(positions.utc.front(), tsGPST)).c_str(),
                time_text(gtimeChangeTimeSystem(positions.utc.back(), tsGPST)).c_str(), positions.span() / 3600.0);
    print_dynamics(dynamics);
    if (!antenna.is_zero()) std::printf("antenna: %s, taken off\n", antenna.text().c_str());
    if (o.weights == "unit" && interval > 30.0 && off_output_epochs(positions, interval)) {
        std::printf(
            "note: positions lie between the output epochs; near the ends of the arc their interpolation is good to "
            "decimetres only.\n"
            "      An Integration_Output_Interval of 30 s or less avoids that.\n");
    }
    print_shortcomings(dynamics);
    std::fflush(stdout);
}

void print_fit_result(const FitResult& result, const std::string& doubt) {
    std::printf("parameters: 6 of the initial state, %zu of the forces\n", result.parameters.size());
    std::printf("iteration   rms along    radial     cross [m]   rms of the corrections\n");
    for (const FitIteration& i : result.iterations)
        std::printf("%9d %11.4f %9.4f %9.4f %15.3e\n", i.number, i.rms[0], i.rms[1], i.rms[2], i.test);
    std::printf("%s after %zu of at most %d iterations\n", doubt.empty() ? "converged" : "NOT CONVERGED",
                result.iterations.size(), kFitIterations);
    if (!doubt.empty()) std::printf("reason: %s\n", doubt.c_str());
    if (result.orbit.empty()) return;
    print_use(result.residuals);
    if (result.offset_deviation > 0.0)
        std::printf("antenna: the positions stand %+.3f +- %.3f m further out than the orbit\n", result.offset,
                    result.offset_deviation);
    std::printf("residuals: rms along %.4f, radial %.4f, cross %.4f m\n", result.rms[0], result.rms[1], result.rms[2]);
}

void print_fit_errors(const FitOptions& o, const Truth& truth, const FitResult& result, const PositionFile& file,
                      Summary& summary) {
    std::vector<PositionError> errors[2];
    for (const TimedPosition& row : file.rows) {
        double fitted[3];
        PositionError error{};
        const GTime gpst = gtimeChangeTimeSystem(row.time, tsGPST);
        if (interpolate_ecf(result.orbit, row.time, fitted) && truth.error_at(gpst, fitted, error))
            errors[0].push_back(error);
        if (!file.inertial && truth.error_at(gpst, row.position.data(), error)) errors[1].push_back(error);
    }
    const char* names[2] = {"fitted orbit", "positions fitted to"};
    summary.set("errors/reference", truth.source());
    std::printf("errors against %s:\n", o.truth.c_str());
    for (int i = 0; i < 2; ++i) {
        const ErrorStatistics s = statistics(errors[i]);
        if (s.count == 0 && i == 0) std::printf("  none of the positions lies within its times\n");
        if (s.count == 0) continue;
        print_statistics(names[i], 20, s, false);
        summarise_errors(i == 0 ? "errors/fitted_orbit" : "errors/positions", s, false, summary);
    }
}

void summarise_fit(const PositionFile& file, const AntennaOffset& antenna, const Dynamics& dynamics,
                   const FitResult& result, const std::string& doubt, Summary& summary) {
    const GTime first = file.rows.front().time;
    const GTime last = file.rows.back().time;
    summary.set("frame", file.inertial ? "inertial (GCRS)" : "earth-fixed (ITRF)");
    summary.set("time_scale", file.scale_name);
    summary.set("positions/source", file.text());
    summary.set("positions/count", file.rows.size());
    std::map<std::string, long> reasons = use_of(result.residuals);
    summary.set("positions/used", reasons[""]);
    reasons.erase("");
    summary.set("positions/left_out", reasons);
    summary.set_time("span/first", gtimeChangeTimeSystem(first, tsGPST));
    summary.set_time("span/last", gtimeChangeTimeSystem(last, tsGPST));
    summary.set("span/length_s", gtimeSubSec(last, first));
    summarise_dynamics(dynamics, summary);
    summarise_environment(dynamics.environment, first, summary);
    summary.set("parameters/state", 6);
    summary.set("parameters/forces", result.parameters.size());
    for (std::size_t i = 0; i < result.iterations.size(); ++i) {
        const std::string path = "iterations/" + std::to_string(i);
        summary.set(path + "/rms_along_m", result.iterations[i].rms[0]);
        summary.set(path + "/rms_radial_m", result.iterations[i].rms[1]);
        summary.set(path + "/rms_cross_m", result.iterations[i].rms[2]);
        summary.set(path + "/rms_correction", result.iterations[i].test);
    }
    summary.set("converged", doubt.empty());
    if (!doubt.empty()) summary.set("reason", doubt);
    if (!antenna.is_zero()) summary.set("antenna/offset", antenna.text());
    if (result.offset_deviation > 0.0) {
        summary.set("antenna/further_out_m", result.offset);
        summary.set("antenna/sigma_m", result.offset_deviation);
    }
    summary.set("residuals/rms_along_m", result.rms[0]);
    summary.set("residuals/rms_radial_m", result.rms[1]);
    summary.set("residuals/rms_cross_m", result.rms[2]);
}

bool write_fit(const FitOptions& o, const FitResult& result, const PositionFile& file, const AntennaOffset& antenna,
               Dynamics& dynamics) {
    if (!o.out.empty()) write_trajectory(o.out, result.orbit);
    say_written("trajectory", o.out);
    if (o.orbit.wanted()) {
        OrbitOutputs outputs = o.orbit;
        if (outputs.satellite.empty() && file.form == "SP3") outputs.satellite = file.satellite;
        const std::vector<TrajectoryPoint> points = at_whole_seconds(dynamics, result.orbit);
        Ephemeris orbit = ephemeris_of(points, dynamics.config->output_interval, "FIT", "ORBIT FITTED TO POSITIONS",
                                       result.covariances ? result.covariances(points) : std::vector<Covariance>{});
        if (!antenna.is_zero()) orbit.add_comment(antenna.comment());
        write_orbit(outputs, orbit);
    }
    if (!o.residuals.empty()) write_residuals(o.residuals, result.residuals);
    say_written("residuals", o.residuals);
    if (!o.parameters.empty()) write_parameters(o.parameters, result);
    say_written("parameters", o.parameters);
    if (!o.history.empty()) write_history(o.history, result.iterations);
    say_written("history", o.history);
    return o.plot.empty() ||
           plot_residuals(o.plot, result.residuals, std::filesystem::path(o.positions).filename().string());
}

}  // namespace host
