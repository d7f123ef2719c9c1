/// \file timed_position.h
/// A position with its time: what files of orbits are read into and written from.
#ifndef LEOPOD_HOST_TIMED_POSITION_H
#define LEOPOD_HOST_TIMED_POSITION_H

#include <array>
#include <optional>
#include <string>

#include "gtime.h"

namespace host {

using Vector3 = std::array<double, 3>;
using Covariance = std::array<std::array<double, 6>, 6>;  ///< of position and velocity, symmetric [m^2, m^2/s, m^2/s^2]

struct TimedPosition {
    GTime time;
    Vector3 position;                           ///< [m]
    std::optional<Vector3> velocity = {};       ///< [m/s]
    std::optional<Covariance> covariance = {};  ///< in the frame of the position
    std::string status = {};                    ///< of a file of `leopod run`, what the position is worth; else empty
};

}  // namespace host

#endif
