/// \file planets.h
/// Planetary ephemerides in the library's store.
#ifndef LEOPOD_HOST_PLANETS_H
#define LEOPOD_HOST_PLANETS_H

#include <string>

#include "stores/environment.h"

namespace host {

/// Planetary ephemeris from a JPL ASCII file; with an empty name the built-in record where it covers the dates, else the library's analytic
/// series of Sun and Moon. Records that joined files hold twice are taken out. Throws InputError where records are missing.
void load_planets(const std::string& file, double mjd_first, double mjd_last, Environment& environment);

/// What the loaded ephemeris lacks of a span of dates, capitals first; empty where it lacks nothing or none is loaded.
/// Throws InputError where it serves none of them.
std::string planet_shortcoming(double mjd_first, double mjd_last);

/// Puts the analytic series of Sun and Moon into Chebyshev records of the dates: GCRS, kilometres and km/s, where the library's own fallback
/// has the mean equator and equinox of date, metres and no velocity. Does nothing where an ephemeris is loaded.
void tabulate_analytic_planets(double mjd_first, double mjd_last, Environment& environment);

}  // namespace host

#endif
