/// \file guard.h
/// What the host looks at before it hands an epoch to the library: which satellites the loaded ephemerides serve at that time.
#ifndef LEOPOD_HOST_GUARD_H
#define LEOPOD_HOST_GUARD_H

#include <array>
#include <map>
#include <utility>

#include "pod_embed.h"

namespace host {

/// Why a satellite is set aside: mostly since the ephemerides don't serve it at a time.
enum class Lack {
    kNone,
    kNoOrbit,
    kOrbitWindow,
    kNoClock,
    kClockGap,
    kNoRecord,
    kUnhealthy,
    kOldRecord,
    kMisfit,
    kSuspect
};
const char* lack_text(Lack lack);

/// Limits of what serves.
constexpr double kOrbitErrorLimit = 0.05;  ///< of the interpolated orbit, by the bound of its polynomial [m]
constexpr double kClockGapLimit = 2.05;    ///< between the neighbours of a clock, in intervals of the coarsest product
constexpr double kSignalTime = 0.15;  ///< longest way of a signal; the transmission lies that far before the tag [s]
constexpr double kAgeGps = 7201, kAgeBds = 3601;  ///< of a broadcast record, those of the library [s]

/// Satellites of an epoch that take part, and how many the guard has set aside.
struct Served {
    int usable = 0;  ///< left: number and system known, all configured observables there, served
    int aside = 0;
};

/// Precise products do not extrapolate, and their failure reaches nobody in the library: the position stays at zero, the clock is left
/// out. So each satellite whose orbit or clock doesn't serve the transmission is flagged before the epoch is handed in. Broadcast records
/// are judged by the library itself, with the same limits; here they are counted.
class Guard {
  public:
    /// Lengthens the early end of the precise orbits where the arc begins there: the library takes 11 records, but fewer in front of the
    /// sixth, with metres of error. Five records by the polynomial of the first eleven give it the others.
    /// \param clock_interval  spacing of the coarsest product that has clocks [s]
    Guard(EPHPREC_STORE& store, const GTime& arc_start, double clock_interval);

    /// Flags satellites without a number (SAT_UKN) and those that are not served (SATPOS_ERROR).
    Served set_aside(OBSDATA_EPOCH& epoch);

    /// Counts a satellite that was set aside for another reason.
    void count(const OBSDATA_SAT& sat, Lack lack) { ++counts_[{sat.satsys, sat.prn}][lack]; }

    /// Epochs by satellite (system, number) and reason.
    const std::map<std::pair<int, int>, std::map<Lack, long>>& counts() const { return counts_; }

  private:
    Lack lack_of(const GTime& tag, int satindex) const;
    static void lengthen(EPHPREC_STORE& store, int satindex, const GTime& arc_start);

    double clock_gap_;                              ///< [s]
    std::array<GTime, MAXSAT_GNSS> orbit_start_{};  ///< first record of the product
    std::map<std::pair<int, int>, std::map<Lack, long>> counts_;
};

}  // namespace host

#endif
