/// \file earth.h
/// Numbers that the rooms share, the pull of a flattened Earth, and places on the ellipsoid. The model of the simulator has its own: it shares none with the processing.
#ifndef LEOPOD_HOST_EARTH_H
#define LEOPOD_HOST_EARTH_H

#include <array>

namespace host {

constexpr double kDegToRad = 3.14159265358979323846 / 180.0;
constexpr double kRadToDeg = 180.0 / 3.14159265358979323846;
constexpr double kSpeedOfLight = 299792458.0;          ///< [m/s]
constexpr double kEarthGm = 3.986004415e14;            ///< [m^3/s^2]
constexpr double kEarthRate = 7.2921151467e-05;        ///< [rad/s]
constexpr double kSemiMajor = 6378137.0;               ///< of the ellipsoid (GRS80) [m]
constexpr double kFlattening = 0.0033528106647474805;  ///< of the ellipsoid
constexpr double kMjdToJd = 2400000.5;                 ///< [day]

/// Acceleration by the Earth and its flattening at a position, along the axes of the position [m, m/s^2].
std::array<double, 3> flattened_pull(const double* position);

/// Latitude and longitude [rad] and height above the ellipsoid [m] of an earth-fixed position [m].
std::array<double, 3> geodetic(const double* position);

}  // namespace host

#endif
