/// \file simulate_files.h
/// Files of `leopod simulate`.
#ifndef LEOPOD_HOST_SIMULATE_FILES_H
#define LEOPOD_HOST_SIMULATE_FILES_H

#include "commands/simulate_arc.h"

namespace host {

/// RINEX 3.05. The library's writer is not used: it puts the date of the run into the header, so that no command would give the same file
/// twice, takes the types from one epoch, and writes signal-strength digits of 0.
void write_observations(const SimulateOptions& options, const Constellation& constellation, const Arc& arc);
/// Quaternions by the library's own writer, at whole multiples of their step beyond both ends of the arc, as far as the orbit goes.
std::size_t write_attitude(const SimulateOptions& options, const ReceiverOrbit& orbit, const Arc& arc);
void write_truth(const SimulateOptions& options, const Arc& arc);
void write_events(const SimulateOptions& options, const Arc& arc);

}  // namespace host

#endif
