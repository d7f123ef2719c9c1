/// \file ccsds.h
/// CCSDS orbit messages in keyword form: ephemerides (OEM) and single states (OPM).
#ifndef LEOPOD_HOST_CCSDS_H
#define LEOPOD_HOST_CCSDS_H

#include <string>

#include "inputs/positions.h"

namespace host {

/// Kind of message that a line begins: "OEM", "OPM", another three letters; empty for other lines.
std::string ccsds_kind(const std::string& line);

/// All blocks of one object: that whose name or designator is given (`or_any`: if the file has it), else the first. Throws InputError.
PositionFile read_oem(const std::string& file, const std::string& object, bool or_any = false);

/// A message with one state: one row. Throws InputError.
PositionFile read_opm(const std::string& file);

}  // namespace host

#endif
