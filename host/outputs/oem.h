/// \file oem.h
/// CCSDS orbit ephemeris messages, keyword form, version 2.0.
#ifndef LEOPOD_HOST_OEM_H
#define LEOPOD_HOST_OEM_H

#include <string>

#include "outputs/ephemeris.h"

namespace host {

/// REF_FRAME of a choice: itrf, gcrf or a realisation such as ITRF2008. Throws InputError for others.
std::string oem_frame(const std::string& choice);

/// Writes the states, a block for each stretch without a gap; those without a velocity are left out, and counted in the result. Throws
/// InputError when the file cannot be written, and where inertial states need earth orientation that isn't loaded.
std::size_t write_oem(const std::string& file, const OrbitOutputs& options, const Ephemeris& ephemeris);

}  // namespace host

#endif
