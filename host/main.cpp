/// \file main.cpp
/// The host program `leopod`: loads files, calls the library, writes results.
#include <CLI/CLI.hpp>
#include <cstdio>

#include "command.h"
#include "error.h"

int main(int argc, char** argv) {
    CLI::App app{"leopod: satellite orbit determination from GNSS measurements"};
    app.require_subcommand(1);
    host::Action action;
    host::add_run(app, action);
    host::add_fit(app, action);
    host::add_propagate(app, action);
    host::add_tide(app, action);
    host::add_crd(app, action);
    host::add_plot(app, action);
    host::add_simulate(app, action);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }
    try {
        return action();
    } catch (const host::InputError& e) {
        std::fprintf(stderr, "leopod: %s\n", e.what());
        return 2;
    }
}
