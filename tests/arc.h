/// \file arc.h
/// The simulated arc behind the epoch loop: this executable's stores, filled from its files.
#ifndef LEOPOD_TESTS_ARC_H
#define LEOPOD_TESTS_ARC_H

#include "pod_embed.h"
#include "support.h"

namespace support {

inline EPHBRDC_STORE brdc;
inline ANT_INFO_STORE antennas;
inline OBSDATA_EPOCH epochs[512];

/// GPS and broadcast ephemerides, without antennas: what a test begins with.
inline void set_gps_alone() {
    g_eph_selection = EPHOPT_BRDC;
    g_antenna_info_store = nullptr;
    sysGNSS systems[1] = {GPS};
    set_gnssconfig_system(&gnssconfig, 1, systems);
}

/// A started record and the files that all arcs share, which are read once a process.
inline void start_arc(RUNTIME_POD_EMBED* pod) {
    set_gps_alone();
    startup_pod_embed(pod, false);
    g_brdc_storage = &brdc;
    static const bool loaded =
        load_ephemeris_brdc(arc21("arc.nav").data()) && load_antenna_storage(arc21("zero.atx").data(), &antennas);
    ASSERT_TRUE(loaded);
    g_antenna_info_store = &antennas;
    ASSERT_TRUE(load_attitude_quaternion(0, arc21("attitude.txt").data()));
}

/// Its epochs: observations of `data` under the configuration of that name.
inline void load_arc(RUNTIME_POD_EMBED* pod, const std::string& data, const std::string& configuration) {
    set_gnssconfig_from_file(arc21(configuration + ".cfg").data());
    startup_pod_embed(pod, true);
    g_obs_storage = epochs;
    g_num_obs_storage = 0;
    ASSERT_TRUE(load_observation_rinex(arc21(data + ".obs").data(), 0, 0.0));
}

}  // namespace support

#endif
