/// \file orbit_check.h
/// Positions and states that can't be those of an Earth satellite, told before they are used.
#ifndef LEOPOD_HOST_ORBIT_CHECK_H
#define LEOPOD_HOST_ORBIT_CHECK_H

#include <string>
#include <vector>

#include "inputs/positions.h"

namespace host {

/// Why a distance from the Earth's centre is none of an orbit; empty where it is one.
std::string radius_fault(double radius);

/// Throws InputError, with row and value, for a position whose distance from the Earth's centre is not that of an orbit.
void check_orbit_positions(const std::string& file, const std::vector<TimedPosition>& rows);

/// Throws InputError where an inertial state is none of a closed orbit outside of the Earth.
/// \param what  names the state in the message
void check_orbit_state(const std::string& what, const Vector3& position, const Vector3& velocity);

/// How far positions move otherwise than the Earth's gravity asks for: the median over the positions of the acceleration that their
/// neighbours show less the central one, as a part of that one. NaN where they lie too far apart to tell.
double gravity_misfit(const std::vector<GTime>& times, const std::vector<Vector3>& inertial);

/// Why positions can't be those of a satellite, in one line; empty where they can.
/// \param other_frame  the same, taken as positions of the other frame
/// \param is_inertial  whether they were given as inertial
std::string doubt_about_motion(const std::vector<GTime>& times, const std::vector<Vector3>& inertial,
                               const std::vector<Vector3>& other_frame, bool is_inertial);

}  // namespace host

#endif
