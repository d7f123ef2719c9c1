/// \file ephemerides.h
/// The transmitters' ephemerides: navigation files, or precise orbits and clocks.
#ifndef LEOPOD_HOST_EPHEMERIDES_H
#define LEOPOD_HOST_EPHEMERIDES_H

#include "stores/environment.h"
#include "stores/loading.h"

namespace host {

/// Throws InputError where the options name no ephemerides, or files of another kind.
void check_ephemerides(const InputOptions& options);

/// Loads them into the record of the environment, which becomes the library's.
void load_ephemerides(const InputOptions& options, Environment& environment);

/// Sets aside values that no satellite can have, and positions off their orbit.
void check_ephemeris_values(Environment& environment);

/// True if ephemerides of a system are loaded.
bool has_ephemerides(sysGNSS system, const RUNTIME_POD_EMBED& runtime);

}  // namespace host

#endif
