/// \file orientation.h
/// Earth orientation from a file into the library's store.
#ifndef LEOPOD_HOST_ORIENTATION_H
#define LEOPOD_HOST_ORIENTATION_H

#include <string>

#include "stores/environment.h"

namespace host {

/// Earth orientation from a file into the environment and the library's store. The format ("c04", "rapid", "keyword") is told by the content;
/// one that is asked for ("auto" asks for none) has to be it. C04 files with a column of hours are put into the older layout. Throws InputError
/// for files of another kind and for dates that don't follow each other.
void load_earth_orientation(const std::string& file, const std::string& format, Environment& environment);

/// What the loaded earth orientation lacks of a span of dates (UTC), capitals first ("NO EARTH ORIENTATION: ..."); empty where it lacks nothing.
/// Throws InputError where it serves none of them.
std::string orientation_shortcoming(double mjd_first, double mjd_last, const Environment& environment);

}  // namespace host

#endif
