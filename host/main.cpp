/// \file main.cpp
/// The host program `leopod`: loads files, calls the library, writes results.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "error.h"
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

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"leopod: satellite orbit determination from GNSS measurements"};
    app.require_subcommand(1);
    host::RunOptions run_options;
    add_run(app, run_options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }
    try {
        return host::run(run_options);
    } catch (const host::InputError& e) {
        std::fprintf(stderr, "leopod: %s\n", e.what());
        return 2;
    }
}
