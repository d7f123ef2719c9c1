#include "stores/guard.h"

#include <algorithm>

#include "gnss_config.h"

namespace host {

bool has_usable_satellite(const OBSDATA_EPOCH& epoch) {
    static OBSDATA_EPOCH copy;
    copy = epoch;
    choose_observation(&copy);
    for (int i = 0; i < std::min<int>(copy.sat_num, MAXSAT_EPOCH); ++i) {
        const OBSDATA_SAT& sat = copy.satobs[i];
        const int index = satsysprn2index(sat.satsys, sat.prn);
        const int system = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
        if (sat.flag_sat == OBS_OK && index >= 0 && index < MAXSAT_GNSS && system >= 0 &&
            sat.num_obs_used == gnssconfig.num_obs_freq_code[system]) {
            return true;
        }
    }
    return false;
}

}  // namespace host
