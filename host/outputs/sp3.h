/// \file sp3.h
/// Positions and velocities of one satellite written as an SP3 file, version c or d.
#ifndef LEOPOD_HOST_SP3_H
#define LEOPOD_HOST_SP3_H

#include <string>

#include "outputs/ephemeris.h"

namespace host {

/// Writes the earth-fixed states with GPS time tags; clocks are marked unknown, velocities that are not known as absent. Accuracies stand
/// in the header and behind the positions where covariances are known. Throws InputError when the file cannot be written.
void write_sp3(const std::string& file, const OrbitOutputs& options, const Ephemeris& ephemeris);

}  // namespace host

#endif
