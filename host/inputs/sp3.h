/// \file sp3.h
/// SP3 orbit files, versions a to d: positions and velocities of one satellite.
#ifndef LEOPOD_HOST_INPUT_SP3_H
#define LEOPOD_HOST_INPUT_SP3_H

#include <string>

#include "inputs/positions.h"

namespace host {

/// True for the first line of an SP3 file.
bool is_sp3_head(const std::string& line);

/// Rows of the satellite asked for (`or_any`: if the file has it), else of the only one, else of the first low-earth-orbit satellite (L..).
/// Throws InputError.
PositionFile read_sp3(const std::string& file, const std::string& satellite, bool or_any = false);

}  // namespace host

#endif
