#include "commands/fit.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/summaries.h"
#include "inputs/truth.h"
#include "mathlib.h"
#include "pictures/canvas.h"
#include "pictures/residuals.h"
#include "shared/console.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/times.h"

namespace host {

namespace {

constexpr std::size_t kMinPositions = 20;
constexpr int kIterations = 8;  ///< at most, of the fit

/// One iteration as the library reports it.
struct Iteration {
    int number = 0;
    double rms[3]{}, test = 0;  ///< along, radial, cross [m]; root mean square of the corrections
};

/// Residuals of one position against the fitted orbit.
struct Residual {
    GTime utc;
    double seconds;
    double along, radial, cross;  ///< [m]
};

/// The file, and its positions in UTC, cut to the span and thinned.
PositionFile load_positions(const FitOptions& o) {
    PositionRequest request;
    request.inertial = is_inertial(o.frame);
    request.columns = request.inertial ? inertial_columns() : solution_columns(o.solution);
    request.scale = time_system(o.time_scale);
    request.satellite = o.orbit.satellite;
    PositionFile file = read_positions(o.positions, request);
    std::vector<TimedPosition>& all = file.rows;
    const ArcSpan span(o.span, all.front().time, file.scale);
    std::vector<TimedPosition> kept;
    for (TimedPosition& row : all) {
        if (!span.has(row.time)) continue;
        row.time = gtimeChangeTimeSystem(row.time, tsUTC);
        kept.push_back(row);
    }
    if (kept.size() < kMinPositions) {
        throw InputError(o.positions + ": " + std::to_string(kept.size()) + " positions in the span, at least " +
                         std::to_string(kMinPositions) + " are needed");
    }
    if (gtime2mjd(kept.front().time) < 41500.0)
        throw InputError(o.positions + ": dates before 1972 cannot be processed (no leap seconds)");
    file.rows = std::move(kept);
    return file;
}

/// Velocity at the first position: the derivative of the polynomial through the first ones.
void first_velocity(const std::vector<GTime>& epochs, const std::vector<Vector3>& eci, double* velocity) {
    constexpr int kPoints = 8;
    double t[kPoints];
    double x[kPoints];
    for (std::size_t k = 0; k < 3; ++k) {
        for (int i = 0; i < kPoints; ++i) {
            t[i] = gtimeSubSec(epochs[static_cast<std::size_t>(i)], epochs[0]);
            x[i] = eci[static_cast<std::size_t>(i)][k];
        }
        double value_and_rate[2] = {};
        interpolation_Lagrange_Barycentric(t, x, kPoints, 0.0, value_and_rate);
        velocity[k] = value_and_rate[1];
    }
}

/// True if a position lies more than a millisecond beside the output epochs of the arc.
bool off_output_epochs(const std::vector<GTime>& epochs, double interval) {
    return std::any_of(epochs.begin(), epochs.end(), [&](const GTime& t) {
        return std::fabs(std::remainder(gtimeSubSec(t, epochs.front()), interval)) > 1e-3;
    });
}

/// State at the start of the arc.
struct FirstState {
    double pos[3], vel[3];  ///< inertial [m, m/s]
};

/// The iterations of the fit and the state that the last one starts from, by its messages. The library would keep a record for each output
/// epoch, 110 kB each, of which the first one alone is wanted.
void collect_history(Console& console, const STATE_SPACECRAFT& state, std::vector<Iteration>& history,
                     FirstState& first, Progress& progress) {
    console.listen([&state, &history, &first, &progress](ulog_level_t, const char* text) {
        if (std::strcmp(text, "start orbit integration.") == 0) {
            std::copy_n(state.pos_eci, 3, first.pos);
            std::copy_n(state.vel_eci, 3, first.vel);
        }
        Iteration next;
        if (std::sscanf(text, "iteration number: %d", &next.number) == 1) {
            history.push_back(next);
            progress.rename("fitting, iteration " + std::to_string(next.number + 1) + " of at most " +
                            std::to_string(kIterations));
        }
        if (history.empty()) return;
        Iteration& now = history.back();
        std::sscanf(text, "fit RMS[ARC] = %lf %lf %lf", &now.rms[0], &now.rms[1], &now.rms[2]);
        std::sscanf(text, "test_convergence[loss function]=%lf", &now.test);
    });
}

void write_parameters(const std::string& file, const Dynamics& dynamics, const GTime& start,
                      const TrajectoryPoint& first) {
    OutputFile out(file);
    const ORBIT_DYN_CONFIG& config = *dynamics.config;
    std::fprintf(out, "name,value,unit,start_mjd_utc,end_mjd_utc\n");
    const double mjd = gtime2mjd(start);
    for (int i = 0; i < 6; ++i) {
        std::fprintf(out, "%s,%.9f,%s,%.9f,%.9f\n", config.param_names_force_models[i],
                     i < 3 ? first.pos_eci[i] : first.vel_eci[i - 3], i < 3 ? "m (GCRS)" : "m/s (GCRS)", mjd, mjd);
    }
    const PARAM_FM_EMP& emp = config.force_model_emp_parameters;
    for (int k = 0; k < emp.num; ++k) {
        std::fprintf(out, "%s,%.9f,1e-9 m/s^2,%.9f,%.9f\n", emp.param_name[k], emp.param[k], emp.param_life[k][0],
                     emp.param_life[k][1]);
    }
    out.close();
}

void write_residuals(const std::string& file, const std::vector<Residual>& residuals) {
    OutputFile out(file);
    std::fprintf(out, "epoch_gpst,seconds,along_m,radial_m,cross_m\n");
    for (const Residual& r : residuals) {
        std::fprintf(out, "%s,%.6f,%.5f,%.5f,%.5f\n", time_text(gtimeChangeTimeSystem(r.utc, tsGPST), 6).c_str(),
                     r.seconds, r.along, r.radial, r.cross);
    }
    out.close();
}

void write_history(const std::string& file, const std::vector<Iteration>& history) {
    OutputFile out(file);
    std::fprintf(out, "iteration,rms_along_m,rms_radial_m,rms_cross_m,rms_correction\n");
    for (const Iteration& i : history)
        std::fprintf(out, "%d,%.6f,%.6f,%.6f,%.6e\n", i.number, i.rms[0], i.rms[1], i.rms[2], i.test);
    out.close();
}

bool plot_residuals(const std::string& file, const std::vector<Residual>& residuals, const std::string& source) {
    FitResidualFigure figure;
    figure.source = "positions of " + source;
    figure.options.day_mjd = gtimeChangeTimeSystem(residuals.front().utc, tsGPST).time.mjd;
    for (const Residual& r : residuals) {
        const GTime gpst = gtimeChangeTimeSystem(r.utc, tsGPST);
        figure.seconds.push_back(static_cast<double>(gpst.time.mjd - figure.options.day_mjd) * 86400.0 + gpst.time.sod);
        figure.radial_along_cross[0].push_back(r.radial);
        figure.radial_along_cross[1].push_back(r.along);
        figure.radial_along_cross[2].push_back(r.cross);
    }
    return report_picture(file, [&] { return draw_fit_residuals(figure); });
}

void compare(const FitOptions& o, const std::vector<TrajectoryPoint>& orbit, const std::vector<TimedPosition>& observed,
             bool inertial, Summary& summary) {
    // A receive time a hair before midnight belongs to the day that begins.
    const GTime first = gtimeAddSec(gtimeChangeTimeSystem(observed.front().time, tsGPST), 1.0);
    const Truth truth = Truth::load(o.truth, first, o.orbit.satellite, inertial);
    std::vector<PositionError> errors[2];
    for (const TimedPosition& row : observed) {
        double fitted[3];
        PositionError error{};
        const GTime gpst = gtimeChangeTimeSystem(row.time, tsGPST);
        if (interpolate_ecf(orbit, row.time, fitted) && truth.error_at(gpst, fitted, error)) errors[0].push_back(error);
        if (!inertial && truth.error_at(gpst, row.position.data(), error)) errors[1].push_back(error);
    }
    summary.set("errors/reference", truth.source());
    const char* names[2] = {"fitted orbit", "positions fitted to"};
    std::printf("errors against %s:\n", o.truth.c_str());
    for (int i = 0; i < 2; ++i) {
        const ErrorStatistics s = statistics(errors[i]);
        if (s.count == 0 && i == 0) std::printf("  none of the positions lies within its times\n");
        summarise_errors(i == 0 ? "errors/fitted_orbit" : "errors/positions", s, false, summary);
        if (s.count == 0) continue;
        print_statistics(names[i], 20, s, false);
    }
}

bool has_converged(const std::vector<Iteration>& history) { return !history.empty() && history.back().test < 0.001; }

void summarise(const PositionFile& file, const Dynamics& dynamics, const std::vector<Iteration>& history,
               const SOLUTION_ORBITFIT& solution, Summary& summary) {
    const GTime first = file.rows.front().time;
    const GTime last = file.rows.back().time;
    summary.set("frame", file.inertial ? "inertial (GCRS)" : "earth-fixed (ITRF)");
    summary.set("time_scale", file.scale_name);
    summary.set("positions/source", file.text());
    summary.set("positions/count", file.rows.size());
    summary.set_time("span/first", gtimeChangeTimeSystem(first, tsGPST));
    summary.set_time("span/last", gtimeChangeTimeSystem(last, tsGPST));
    summary.set("span/length_s", gtimeSubSec(last, first));
    summarise_dynamics(dynamics, summary);
    summarise_environment(dynamics.environment, first, summary);
    summary.set("parameters/state", 6);
    summary.set("parameters/forces", dynamics.config->num_param_forcemodel);
    for (std::size_t i = 0; i < history.size(); ++i) {
        const std::string path = "iterations/" + std::to_string(i);
        summary.set(path + "/rms_along_m", history[i].rms[0]);
        summary.set(path + "/rms_radial_m", history[i].rms[1]);
        summary.set(path + "/rms_cross_m", history[i].rms[2]);
        summary.set(path + "/rms_correction", history[i].test);
    }
    summary.set("converged", has_converged(history));
    summary.set("residuals/rms_along_m", solution.rms_acr[0]);
    summary.set("residuals/rms_radial_m", solution.rms_acr[1]);
    summary.set("residuals/rms_cross_m", solution.rms_acr[2]);
}

FilePlan check_files(const FitOptions& o) {
    FilePlan plan;
    plan.in("--positions", o.positions).in("--truth", o.truth);
    plan_orbit_outputs(o.orbit, plan);
    plan_dynamics(o.dynamics, plan);
    plan.out("--out", o.out).out("--residuals", o.residuals);
    plan.out("--parameters", o.parameters)
        .out("--history", o.history)
        .out("--plot", o.plot)
        .out("--summary", o.summary)
        .check();
    return plan;
}

}  // namespace

int fit(const FitOptions& o) {
    const FilePlan plan = check_files(o);
    if (!o.plot.empty()) check_picture_name("--plot", o.plot);
    Console console(o.dynamics.log_level);
    const PositionFile file = load_positions(o);
    const std::vector<TimedPosition>& observed = file.rows;
    const bool inertial = file.inertial;
    const GTime start = observed.front().time;
    const double span = gtimeSubSec(observed.back().time, start);

    Dynamics dynamics;
    prepare_dynamics(o.dynamics, gtime2mjd(start), gtime2mjd(observed.back().time), dynamics);
    ORBIT_DYN_CONFIG& config = *dynamics.config;
    STATE_SPACECRAFT& state = *dynamics.state;
    const double interval = config.output_interval;
    if (span < 17.0 * interval)
        throw InputError(o.positions + ": the span of the positions is shorter than 17 output intervals");
    // The arc ends on the output epoch at or behind the last position.
    const GTime end = gtimeAddSec(start, std::ceil(span / interval - 1e-9) * interval + 1e-6);

    std::vector<GTime> epochs;
    std::vector<Vector3> eci;
    for (const TimedPosition& row : observed) {
        epochs.push_back(row.time);
        Vector3 position = row.position;
        if (!inertial) {
            const double mjd = gtime2mjd(row.time);
            Vector3 fixed = row.position;
            ecf2eci(mjd, getLeapSecond(mjd), fixed.data(), nullptr, position.data(), nullptr);
        }
        eci.push_back(position);
    }

    config.status_derivative = 2;
    // A hair short of the last epoch, so that a span of whole pieces makes no piece of length zero.
    produce_force_model_params(gtime2mjd(start), gtime2mjd(start) + (span - 1e-3) / 86400.0, &config, &state);
    if (config.nstate >= NSTATE_MAX) throw InputError(o.dynamics.dynamics + ": too many parameters for this span");
    state.utc_start = start;
    state.sec_since_start = 0.0;
    std::copy(eci[0].begin(), eci[0].end(), state.pos_eci);
    first_velocity(epochs, eci, state.vel_eci);

    const std::size_t num_output = static_cast<std::size_t>(gtimeSubSec(end, start) / interval) + 1;
    std::vector<double> omc_eci(3 * epochs.size());
    std::vector<double> omc_arc(3 * epochs.size());
    SOLUTION_ORBITFIT solution{};
    solution.omc_eci = omc_eci.data();
    solution.omc_ARC = omc_arc.data();
    solution.nepochs = static_cast<int>(epochs.size());
    solution.num_output = static_cast<int>(num_output);

    std::vector<Iteration> history;
    FirstState first{};
    const bool done = [&] {
        Progress progress("fitting");
        collect_history(console, state, history, first, progress);
        const bool fitted = orbit_fit(&config, &state, end, static_cast<int>(epochs.size()), epochs.data(),
                                      reinterpret_cast<double(*)[3]>(eci.data()), &solution);
        console.listen(nullptr);
        return fitted;
    }();
    if (!done) throw InputError(o.positions + ": these positions cannot be fitted with " + o.dynamics.dynamics);
    const bool converged = has_converged(history);

    std::printf("leopod fit: %zu positions from %s, %s, %s\n", epochs.size(), o.positions.c_str(),
                inertial ? "inertial (GCRS)" : "earth-fixed (ITRF)", file.scale_name.c_str());
    std::printf("positions: %s\n", file.text().c_str());
    std::printf("arc: %s to %s GPST, %.3f h\n", time_text(gtimeChangeTimeSystem(start, tsGPST)).c_str(),
                time_text(gtimeChangeTimeSystem(observed.back().time, tsGPST)).c_str(), span / 3600.0);
    print_dynamics(dynamics);
    if (interval > 30.0 && off_output_epochs(epochs, interval)) {
        std::printf(
            "note: positions lie between the output epochs; near the ends of the arc their interpolation is good to "
            "decimetres only.\n"
            "      An Integration_Output_Interval of 30 s or less avoids that.\n");
    }
    std::printf("parameters: 6 of the initial state, %d of the forces\n", config.num_param_forcemodel);
    std::printf("iteration   rms along    radial     cross [m]   rms of the corrections\n");
    for (const Iteration& i : history)
        std::printf("%9d %11.4f %9.4f %9.4f %15.3e\n", i.number, i.rms[0], i.rms[1], i.rms[2], i.test);
    std::printf("%s after %zu of at most %d iterations\n", converged ? "converged" : "not converged", history.size(),
                kIterations);
    std::printf("residuals: rms along %.4f, radial %.4f, cross %.4f m\n", solution.rms_acr[0], solution.rms_acr[1],
                solution.rms_acr[2]);

    // The fitted orbit once more by itself, from the solution of the last iteration.
    const std::vector<TrajectoryPoint> orbit =
        integrate(dynamics, start, first.pos, first.vel, gtimeSubSec(end, start));
    std::vector<Residual> residuals;
    for (std::size_t i = 0; i < epochs.size(); ++i) {
        residuals.push_back(
            {epochs[i], gtimeSubSec(epochs[i], start), omc_arc[3 * i], omc_arc[3 * i + 1], omc_arc[3 * i + 2]});
    }
    Summary summary = begin_summary("fit", o.summary, plan);
    summarise(file, dynamics, history, solution, summary);
    if (!o.truth.empty()) compare(o, orbit, observed, inertial, summary);
    const auto wrote = [](const char* what, const std::string& file) {
        std::printf("%s written: %s\n", what, file.c_str());
    };
    if (!o.out.empty()) {
        write_trajectory(o.out, orbit);
        wrote("trajectory", o.out);
    }
    if (o.orbit.wanted()) {
        OrbitOutputs outputs = o.orbit;
        if (outputs.satellite.empty() && file.form == "SP3") outputs.satellite = file.satellite;
        write_orbit(outputs,
                    ephemeris_of(at_whole_seconds(dynamics, orbit), interval, "FIT", "ORBIT FITTED TO POSITIONS"));
    }
    if (!o.residuals.empty()) {
        write_residuals(o.residuals, residuals);
        wrote("residuals", o.residuals);
    }
    if (!o.parameters.empty()) {
        write_parameters(o.parameters, dynamics, start, orbit.front());
        wrote("parameters", o.parameters);
    }
    if (!o.history.empty()) {
        write_history(o.history, history);
        wrote("history", o.history);
    }
    const bool drawn =
        o.plot.empty() || plot_residuals(o.plot, residuals, std::filesystem::path(o.positions).filename().string());
    const int status = converged && drawn ? 0 : 1;
    summary.write(status);
    return status;
}

void add_fit(Command app, Action& action) {
    auto o = std::make_shared<FitOptions>();
    Command command = app.add_subcommand("fit", "A dynamic orbit through a list of positions");
    command
        .add_option("--positions", o->positions,
                    "CSV (time, x, y, z in metres; also the output of run), SP3 or OEM file")
        .required();
    command.add_option("--frame", o->frame, "frame of the positions of a CSV: ecef or eci (GCRS)")
        .capture_default_str();
    command
        .add_option("--time-scale", o->time_scale,
                    "time scale of a CSV whose columns don't name one: gpst, utc, tai or tt")
        .capture_default_str();
    command.add_option("--satellite", o->orbit.satellite,
                       "satellite of an SP3 or OEM file, such as L01, and of the SP3 file that is written");
    command.add_option("--solution", o->solution, "columns of a file of run: filter or point")
        .one_of({"filter", "point"})
        .capture_default_str();
    add_span(command, o->span, "positions");
    add_dynamics(command, o->dynamics);
    command.add_option("--truth", o->truth,
                       "file to compare with: CSV (GPST, x, y, z in metres, earth-fixed), SP3 or OEM");
    command.add_option("--out", o->out, "CSV of the fitted trajectory, both frames");
    add_summary(command, o->summary);
    add_orbit_outputs(command, o->orbit, "the fitted trajectory");
    command.add_option("--residuals", o->residuals, "CSV of the residuals along, radial, cross");
    command.add_option("--parameters", o->parameters, "CSV of the estimated parameters with their names");
    command.add_option("--history", o->history, "CSV of the iterations");
    command.add_option("--plot", o->plot, "SVG or PNG of the residuals");
    command.callback([o, &action] { action = [o] { return fit(*o); }; });
}

}  // namespace host
