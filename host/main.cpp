/// \file main.cpp
/// The host program `leopod`: loads files, calls the library, writes results.
#include <malloc.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <new>
#include <sstream>
#include <string>

#include "commands/command.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/names.h"
#include "shared/printable.h"
#include "shared/version.h"
#include "ulog.h"

namespace {

bool returned = false;   ///< main has its result: what ends the process is not the library
char last_text[2048]{};  ///< the library's last text at warning level or above

void keep_text(ulog_level_t, char* text) { std::snprintf(last_text, sizeof last_text, "%s", text); }

/// The library ends the process where it finds a fault that no check has foreseen. Its reason is told.
void tell_why_it_ended() {
    if (returned) return;
    for (char& c : last_text) c = c == '\n' ? ' ' : c;
    host::OutputFile::remove_unfinished();
    std::fflush(nullptr);
    std::fprintf(stderr, "leopod: ended by the library: %s\n",
                 host::printable(host::with_shown_names(last_text)).c_str());
    _exit(2);
}

int finish(int status) {
    returned = true;
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    mallopt(M_MMAP_THRESHOLD, 4 << 20);  // arrays of long arcs go back to the system as soon as they are freed
    host::CommandLine line("leopod: satellite orbit determination from GNSS measurements", host::version().text());
    host::Action action;
    host::add_run(line.root(), action);
    host::add_fit(line.root(), action);
    host::add_orbit(line.root(), action);
    host::add_propagate(line.root(), action);
    host::add_tide(line.root(), action);
    host::add_tle(line.root(), action);
    host::add_crd(line.root(), action);
    host::add_plot(line.root(), action);
    host::add_report(line.root(), action);
    host::add_simulate(line.root(), action);
    host::add_examples(line.root());
    int status = 0;
    if (!line.parse(argc, argv, status)) action = [status] { return status; };
    std::atexit(tell_why_it_ended);
    ulog_subscribe(keep_text, ULOG_WARNING_LEVEL);
    try {
        status = action();
        host::close_standard_output();
        return finish(status);
    } catch (const host::InputError& e) {
        std::istringstream faults(e.what());
        for (std::string fault; std::getline(faults, fault);)
            std::fprintf(stderr, "leopod: %s\n", host::printable(fault).c_str());
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "leopod: not enough memory\n");
    }
    return finish(2);
}
