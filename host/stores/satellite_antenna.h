/// \file satellite_antenna.h
/// Precise orbits moved from the centre of mass of the navigation satellites to the phase centre of their antennas.
#ifndef LEOPOD_HOST_SATELLITE_ANTENNA_H
#define LEOPOD_HOST_SATELLITE_ANTENNA_H

#include <string>
#include <vector>

#include "stores/environment.h"

namespace host {

/// What was moved.
struct AntennaShift {
    long positions = 0;
    std::vector<std::string> moved;    ///< satellites
    std::vector<std::string> without;  ///< satellites with orbits that the file lacks, whose orbits are set aside
};

/// Moves the loaded precise positions of GPS and BDS to the ionosphere-free phase centre of the two configured bands, by an ANTEX file and the
/// nominal yaw-steering attitude. Once a run: a second call would move them again. Earth orientation and planets are loaded before.
/// Throws InputError for a file that cannot be used.
AntennaShift move_to_phase_centers(const std::string& antex, EPHPREC_STORE& store);

}  // namespace host

#endif
