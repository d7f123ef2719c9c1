/// \file gnss_simulator.h
/// Entry points of a simulation stage that is reserved by name: each is an empty function.
#ifndef LEOPOD_GNSS_SIMULATOR_H
#define LEOPOD_GNSS_SIMULATOR_H

#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

/// Reserved; does nothing.
void simulate(void);
/// Reserved; does nothing.
void read_waypoints(void);
/// Reserved; does nothing.
void write_waypoints(void);

LEOPOD_END_DECLS
#endif
