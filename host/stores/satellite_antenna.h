/// \file satellite_antenna.h
/// Precise orbits moved from the centre of mass of the navigation satellites to the phase centre of their antennas.
#ifndef LEOPOD_HOST_SATELLITE_ANTENNA_H
#define LEOPOD_HOST_SATELLITE_ANTENNA_H

#include <string>
#include <vector>

#include "stores/environment.h"

namespace host {

/// Moves the loaded precise positions of GPS and BDS to the ionosphere-free phase centre of the two configured bands, by an ANTEX file and the
/// nominal yaw-steering attitude, and reports it among the files. Once a run: a second call would move them again. Earth orientation,
/// planets and the configuration are loaded before. Orbits of satellites that the file lacks are set aside. Throws InputError for a file
/// that cannot be used.
void move_to_phase_centers(const std::string& antex, Environment& environment);

}  // namespace host

#endif
