/// \file observed_arc.h
/// The observations of an arc as a batch estimation takes them: ionosphere-free code and phase of every satellite and epoch, the
/// combinations that show slips, and the passes that the phases belong to.
#ifndef LEOPOD_HOST_OBSERVED_ARC_H
#define LEOPOD_HOST_OBSERVED_ARC_H

#include <Eigen/Dense>
#include <array>
#include <string>
#include <vector>

#include "pod_embed.h"
#include "shared/earth.h"
#include "stores/guard.h"

namespace host {

/// Why an observation takes no part.
enum class Edit : unsigned char {
    kUsed,
    kNoEphemeris,    ///< no position or clock of the satellite
    kLowElevation,   ///< under the mask
    kFewSatellites,  ///< the epoch does not determine more than its clock
    kShortPass,      ///< phase of a pass that is too short to serve
    kCodePhase,      ///< code against phase, within a pass
    kOutlier         ///< residual beyond the bound
};
constexpr int kEdits = 7;
const char* edit_name(Edit edit);

/// Code and phase of one satellite in one epoch.
struct Link {
    std::size_t epoch;
    int satindex, prn, system;  ///< system: its place in the configuration
    sysGNSS satsys;
    double code, phase;              ///< ionosphere-free [m]
    double wide_lane;                ///< Melbourne-Wuebbena [cycle]
    double geometry_free;            ///< phase, band 1 less band 2 [m]
    double code_noise, phase_noise;  ///< of the ionosphere-free combination, in those of a single band
    double combined_wavelength;      ///< ionosphere-free phase by a cycle on both bands [m]
    int pass = -1;

    // By the model, along the orbit at hand:
    Eigen::Vector3d sight = Eigen::Vector3d::Zero();    ///< from the receiver to the satellite, GCRS
    double elevation = 0, azimuth = 0;                  ///< at the local horizon [rad]
    double antenna_elevation = 0, antenna_azimuth = 0;  ///< at the antenna, from the flight direction [rad]
    double code_omc = 0, phase_omc = 0;   ///< observed less computed, the receiver clock at hand taken off [m]
    double clock_age = 0, clock_gap = 0;  ///< of the satellite clock: from the nearest tabulated one, between both [s]
    double wind_up = 0;                   ///< [cycle]

    double code_sigma = 0, phase_sigma = 0;  ///< [m]
    double code_residual = 0, phase_residual = 0;
    Edit code_edit = Edit::kUsed, phase_edit = Edit::kUsed;
};

/// One epoch: its links lie side by side.
struct ArcEpoch {
    GTime tag;
    double time;                               ///< of the tag, since the start of the arc [s]
    std::size_t first, count;                  ///< links
    std::array<double, 3> clock{};             ///< receiver clock by system [m]
    std::array<double, 3> clock_correction{};  ///< by the last solution [m]; NaN without one
    double received() const { return time - clock[0] / kSpeedOfLight; }
};

/// Phases of a satellite that share an ambiguity.
struct Pass {
    int satindex, prn;
    sysGNSS satsys;
    std::size_t first_epoch, last_epoch;
    std::size_t count = 0;  ///< phases
    const char* why;        ///< what began it
};

struct ObservedArc {
    GTime start;  ///< of the first epoch, GPST
    std::vector<ArcEpoch> epochs;
    std::vector<Link> links;
    std::vector<Pass> passes;
    int systems = 0;
    double interval = 0;  ///< usual spacing of the epochs [s]
    long not_served = 0;  ///< satellites without an ephemeris that serves
    long incomplete = 0;  ///< satellites without one of the four observables
};

/// Takes the epochs of the loaded store, without what the guard sets aside. Throws InputError where no satellite has code and phase on both
/// bands.
ObservedArc collect_observations(const std::string& file, Guard& guard);

}  // namespace host

#endif
