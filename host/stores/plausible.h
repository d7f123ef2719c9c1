/// \file plausible.h
/// Values that no satellite can have.
#ifndef LEOPOD_HOST_PLAUSIBLE_H
#define LEOPOD_HOST_PLAUSIBLE_H

#include "stores/environment.h"

namespace host {

/// Takes out ephemerides that no satellite can have, as a damaged file brings them: from ranges or clocks of 1e30 m the library would solve a
/// receive time outside its calendar, and end.
void set_aside_impossible_values(Environment& environment);

/// Likewise for the observations in the library's store.
void set_aside_impossible_observations(Environment& environment);

}  // namespace host

#endif
