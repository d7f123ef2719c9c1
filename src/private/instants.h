/// \file instants.h
/// Times and their differences, inline for searches over many of them. gtime.h states what they do.
#ifndef LEOPOD_PRIVATE_INSTANTS_H
#define LEOPOD_PRIVATE_INSTANTS_H

#include <climits>
#include <cmath>

#include "gtime.h"
#include "private/constants.h"
#include "private/numbers.h"

namespace leopod {

constexpr double kTimeTolerance = 1e-10;  ///< of the comparisons [s]

/// Day numbers saturate, so that no time of a hostile file overflows.
inline long int add_days(long int a, long int b) {
    long int sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) return a < 0 ? LONG_MIN : LONG_MAX;
    return sum;
}
inline long int negated(long int a) { return a == LONG_MIN ? LONG_MAX : -a; }

/// Moves whole days from the seconds to the day number, then removes opposite signs.
inline void normalise(long int& day, double& sod) {
    if (sod >= kDay) {
        const int k = to_int(sod / kDay);
        day = add_days(day, k);
        sod -= k * kDay;
    } else if (sod < -kDay) {  // settled: exactly -86400 s stays as it is on a day <= 0
        const int k = to_int(-sod / kDay);
        day = add_days(day, -k);
        sod += k * kDay;
    }
    if (day > 0 && sod < 0) {
        day -= 1;
        sod += kDay;
    }
    if (day < 0 && sod > 0) {
        day += 1;
        sod -= kDay;
    }
}

inline double seconds_of(const TimeMJD& t) { return t.sod + static_cast<double>(t.mjd) * kDay; }

/// a - b in seconds, whatever their systems.
inline double seconds_between(const GTime& a, const GTime& b) {
    TimeMJD difference{add_days(a.time.mjd, negated(b.time.mjd)), a.time.sod - b.time.sod};
    normalise(difference.mjd, difference.sod);
    return seconds_of(difference);
}

/// gtimeSubSec
inline double subtracted(const GTime& a, const GTime& b) {
    return a.sys == b.sys ? seconds_between(a, b) : gtimeSubSec(a, b);
}

/// The same time of one system; other than gtime_equal, times of two systems are different.
inline bool same_time(const GTime& a, const GTime& b) {
    return a.sys == b.sys && std::fabs(seconds_between(a, b)) <= kTimeTolerance;
}

/// gtimeChangeTimeSystem
inline GTime in_system(const GTime& t, TIMESYS sys) { return t.sys == sys ? t : gtimeChangeTimeSystem(t, sys); }

/// GTime2SOW; whole days behind the origins of GPST and BDST are counted in integers.
inline TimeGNSS week_time(const GTime& t) {
    if (t.sys == tsGPST || t.sys == tsBDST) {
        const long int origin = t.sys == tsGPST ? 44244 : 53736;
        if (t.time.mjd >= origin && t.time.mjd <= INT_MAX) {
            const int day = static_cast<int>(t.time.mjd - origin);
            return {day / 7, t.time.sod + day % 7 * kDay};
        }
    }
    return GTime2SOW(t);
}

}  // namespace leopod

#endif
