#include "stores/slips.h"

#include <algorithm>
#include <cmath>

namespace host {

namespace {

/// As the library tests a combination: half the jump counts, and a value of 0 is none.
bool jumps(double previous, double now, double threshold) {
    return std::fabs(previous) > 1e-08 && std::fabs((now + previous) / 2 - now) > threshold;
}

}  // namespace

SlipWatch::SlipWatch(const RUNTIME_POD_EMBED& runtime) {
    for (std::size_t i = 0; i < before_.size(); ++i)
        before_[i] = {runtime.state_sat_all[i].mw[0], runtime.state_sat_all[i].gf_phase[0]};
}

std::vector<SlipMark> SlipWatch::marks(const RUNTIME_POD_EMBED& runtime) const {
    std::vector<SlipMark> marks;
    const OBSDATA_EPOCH& epoch = runtime.obs_epoch[0];
    for (int i = 0; i < std::min<int>(epoch.sat_num, MAXSAT_EPOCH); ++i) {
        const OBSDATA_SAT& sat = epoch.satobs[i];
        const int index = satsysprn2index(sat.satsys, sat.prn);
        if (index < 0 || index >= MAXSAT_GNSS) continue;
        const SAT_STATE& now = runtime.state_sat_all[index];
        const Combinations& before = before_[static_cast<std::size_t>(index)];
        if (jumps(before.wide_lane, now.mw[0], gnssconfig.thres_slip_mw)) marks.push_back({sat.satsys, sat.prn, true});
        if (jumps(before.geometry_free, now.gf_phase[0], gnssconfig.thres_slip_gf))
            marks.push_back({sat.satsys, sat.prn, false});
    }
    return marks;
}

}  // namespace host
