/// \file orientation.h
/// Earth orientation from a file into the library's store.
#ifndef LEOPOD_HOST_ORIENTATION_H
#define LEOPOD_HOST_ORIENTATION_H

#include <string>

#include "stores/environment.h"

namespace host {

/// Earth orientation from a file of the given format ("c04", "rapid", "keyword") into the environment and the library's store.
void load_earth_orientation(const std::string& file, const std::string& format, Environment& environment);

}  // namespace host

#endif
