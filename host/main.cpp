/// \file main.cpp
/// The host program `leopod`: loads files, calls the library, writes results.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "error.h"
#include "fit.h"
#include "propagate.h"
#include "run.h"

namespace {

void add_run(CLI::App& app, host::RunOptions& o) {
    CLI::App* run = app.add_subcommand("run", "Observation files in, an orbit out, epoch by epoch (earth-fixed, GPST)");
    run->add_option("--obs", o.inputs.obs, "RINEX observation file, version 2 or 3; may be repeated")->required();
    run->add_option("--nav", o.inputs.nav, "RINEX navigation file; may be repeated");
    run->add_option("--sp3", o.inputs.sp3, "SP3 orbit file; may be repeated");
    run->add_option("--clk", o.inputs.clk, "RINEX clock file; may be repeated");
    run->add_option("--atx", o.inputs.atx, "ANTEX antenna file; may be repeated");
    run->add_option("--att", o.inputs.att,
                    "attitude quaternion file, the library's columns or the mission product; may be repeated");
    run->add_option("--eop", o.inputs.eop, "earth orientation file");
    run->add_option("--eop-format", o.inputs.eop_format, "its format: c04, rapid or keyword")->capture_default_str();
    run->add_option("--jpl", o.inputs.jpl, "JPL ephemeris, ASCII header and records in one file");
    run->add_option("--config", o.inputs.config, "GNSS configuration file");
    run->add_option("--receiver", o.inputs.receiver, "receiver number of the observations")->capture_default_str();
    run->add_option("--interval", o.inputs.interval, "sampling of the epochs in seconds; 0 takes all")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    run->add_flag("--embedded", o.inputs.embedded, "the embedded deployment: built-in tables, BeiDou alone");
    run->add_option("--truth", o.truth,
                    "CSV to compare with: GPST, x, y, z in metres, earth-fixed; one row for a site at rest");
    run->add_option("--out", o.out, "CSV, one row per epoch");
    run->add_option("--sp3-out", o.sp3_out, "SP3-c file of the filtered positions");
    run->add_option("--plot", o.plot, "SVG or PNG of the errors, or of the satellites without --truth");
    run->add_option("--log-level", o.log_level,
                    "library messages from this level on: trace, debug, info, warning, error, critical, off")
        ->capture_default_str();
}

void add_dynamics(CLI::App* command, host::DynamicsOptions& o) {
    command->add_option("--dynamics", o.dynamics, "configuration file of the force models")->required();
    command->add_option("--gravity", o.gravity,
                        "gravity coefficient file (degree, order, C, S); without it the built-in field of degree 30");
    command->add_option("--eop", o.eop, "earth orientation file");
    command->add_option("--eop-format", o.eop_format, "its format: c04, rapid or keyword")->capture_default_str();
    command->add_option("--jpl", o.jpl, "JPL ephemeris, ASCII header and records in one file");
    command->add_option("--log-level", o.log_level, "library messages from this level on")->capture_default_str();
}

CLI::App* add_fit(CLI::App& app, host::FitOptions& o) {
    CLI::App* fit = app.add_subcommand("fit", "A dynamic orbit through a list of positions");
    fit->add_option("--positions", o.positions,
                    "CSV (time, x, y, z in metres; also the output of run) or SP3 file (ending .sp3)")
        ->required();
    fit->add_option("--frame", o.frame, "frame of the positions: ecef or eci (GCRS)")->capture_default_str();
    fit->add_option("--time-scale", o.time_scale, "time scale of their tags: gpst, utc, tai or tt")
        ->capture_default_str();
    fit->add_option("--satellite", o.satellite, "satellite of the SP3 file, such as L01");
    fit->add_option("--solution", o.solution, "columns of a file of run: filter or point")
        ->check(CLI::IsMember({"filter", "point"}))
        ->capture_default_str();
    fit->add_option("--interval", o.interval, "thinning of the positions in seconds; 0 takes all")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    fit->add_option("--from", o.from, "first second of the first day");
    fit->add_option("--to", o.to, "last second, counted from the first day");
    add_dynamics(fit, o.dynamics);
    fit->add_option("--truth", o.truth, "CSV to compare with: GPST, x, y, z in metres, earth-fixed");
    fit->add_option("--out", o.out, "CSV of the fitted trajectory, both frames");
    fit->add_option("--sp3-out", o.sp3_out, "SP3-c file of the fitted trajectory");
    fit->add_option("--residuals", o.residuals, "CSV of the residuals along, radial, cross");
    fit->add_option("--parameters", o.parameters, "CSV of the estimated parameters with their names");
    fit->add_option("--history", o.history, "CSV of the iterations");
    fit->add_option("--plot", o.plot, "SVG or PNG of the residuals");
    return fit;
}

CLI::App* add_propagate(CLI::App& app, host::PropagateOptions& o) {
    CLI::App* propagate = app.add_subcommand("propagate", "A state in, a trajectory out");
    propagate->add_option("--epoch", o.epoch, "epoch of the state, such as 2021-01-18T00:00:00")->required();
    propagate->add_option("--time-scale", o.time_scale, "its time scale: gpst, utc, tai or tt")->capture_default_str();
    propagate->add_option("--state", o.state, "x y z vx vy vz in m and m/s")->expected(6)->required();
    propagate->add_option("--frame", o.frame, "its frame: ecef or eci (GCRS)")->capture_default_str();
    propagate->add_option("--duration", o.duration, "length of the arc in seconds")->capture_default_str();
    add_dynamics(propagate, o.dynamics);
    propagate->add_option("--truth", o.truth, "CSV to compare with: GPST, x, y, z in metres, earth-fixed");
    propagate->add_option("--out", o.out, "CSV of the trajectory, both frames");
    propagate->add_option("--sp3-out", o.sp3_out, "SP3-c file of the trajectory");
    propagate->add_option("--rows-out", o.rows_out, "rows of simulated motion (mot), without the ends of the arc");
    propagate->add_option("--rows-interval", o.rows_interval, "spacing of these rows in seconds")
        ->capture_default_str();
    return propagate;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"leopod: satellite orbit determination from GNSS measurements"};
    app.require_subcommand(1);
    host::RunOptions run_options;
    host::FitOptions fit_options;
    host::PropagateOptions propagate_options;
    add_run(app, run_options);
    const CLI::App* fit = add_fit(app, fit_options);
    const CLI::App* propagate = add_propagate(app, propagate_options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }
    try {
        if (fit->parsed()) return host::fit(fit_options);
        if (propagate->parsed()) return host::propagate(propagate_options);
        return host::run(run_options);
    } catch (const host::InputError& e) {
        std::fprintf(stderr, "leopod: %s\n", e.what());
        return 2;
    }
}
