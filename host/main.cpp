/// \file main.cpp
/// The host program `leopod`: loads files, calls the library, writes results.
#include <cstdio>

#include "command.h"
#include "error.h"

int main(int argc, char** argv) {
    host::CommandLine line("leopod: satellite orbit determination from GNSS measurements");
    host::Action action;
    host::add_run(line.root(), action);
    host::add_fit(line.root(), action);
    host::add_propagate(line.root(), action);
    host::add_tide(line.root(), action);
    host::add_tle(line.root(), action);
    host::add_crd(line.root(), action);
    host::add_plot(line.root(), action);
    host::add_simulate(line.root(), action);
    int status = 0;
    if (!line.parse(argc, argv, status)) return status;
    try {
        return action();
    } catch (const host::InputError& e) {
        std::fprintf(stderr, "leopod: %s\n", e.what());
        return 2;
    }
}
