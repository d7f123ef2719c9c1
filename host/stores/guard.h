/// \file guard.h
/// What the host looks at before it hands an epoch to the library.
#ifndef LEOPOD_HOST_GUARD_H
#define LEOPOD_HOST_GUARD_H

#include "pod_embed.h"

namespace host {

/// True if the epoch has a satellite that the runtime would keep; an epoch without one would end the process.
bool has_usable_satellite(const OBSDATA_EPOCH& epoch);

}  // namespace host

#endif
