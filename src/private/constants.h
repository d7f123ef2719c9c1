/// \file constants.h
/// Constants that several modules share. C++ only, as all headers here.
#ifndef LEOPOD_PRIVATE_CONSTANTS_H
#define LEOPOD_PRIVATE_CONSTANTS_H

#include <cstddef>

namespace leopod {

constexpr double kSpeedOfLight = 299792458.0;  ///< [m/s]
constexpr double kWgs84SemiMajor = 6378137.0;  ///< [m]
constexpr double kWgs84Flattening = 0.0033528106647474805;
constexpr double kPi = 3.14159265358979323846;
constexpr double kHalfPi = kPi / 2.0;
constexpr double kTwoPi = 6.283185307179586476925287;
constexpr double kDegToRad = kPi / 180.0;
constexpr double kArcsecToRad = 4.848136811095359935899141e-6;
constexpr double kArcsecInTurn = 1296000.0;
constexpr double kDay = 86400.0;        ///< [s]
constexpr double kMjdToJd = 2400000.5;  ///< Julian date of MJD 0
constexpr double kJdJ2000 = 2451545.0;  ///< Julian date of J2000.0
constexpr double kDaysInCentury = 36525.0;
constexpr double kTtMinusTai = 32.184;  ///< [s]
constexpr std::size_t kTimeText = 100;  ///< room for the text of a time tag; gtime2str never needs more

}  // namespace leopod

#endif
