/* Runs the library's own orbit drivers, which read their files by fixed relative paths: start it in a directory that
 * scripts/driver_directory has prepared.
 *
 *   orbit_drivers fit                      the built-in list of positions, fitted
 *   orbit_drivers simulate CONFIG OUTPUT   a dense trajectory: 50 rows per second of orbit
 *   orbit_drivers integrate                five minutes of a high orbit
 *   orbit_drivers tle                      the built-in element set, propagated by three days */
#include <stdio.h>
#include <string.h>

#include "orbit_dynamics.h"
#include "tle.h"
#include "ulog.h"

static void print(ulog_level_t level, char* text) {
    (void)level;
    puts(text);
}

int main(int argc, char** argv) {
    ulog_subscribe(print, ULOG_INFO_LEVEL);
    if (argc == 2 && strcmp(argv[1], "fit") == 0) {
        test_orbit_fit();
    } else if (argc == 4 && strcmp(argv[1], "simulate") == 0) {
        test_orbit_simulation(argv[2], argv[3]);
    } else if (argc == 2 && strcmp(argv[1], "integrate") == 0) {
        test_orbit_integrate();
    } else if (argc == 2 && strcmp(argv[1], "tle") == 0) {
        tle_test();
    } else {
        fprintf(stderr, "usage: %s fit | simulate CONFIG OUTPUT | integrate | tle\n", argv[0]);
        return 2;
    }
    return 0;
}
