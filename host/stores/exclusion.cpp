#include "stores/exclusion.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "gnss_ppp.h"

namespace host {

namespace {

/// The parts of the record that an epoch changes and the next one builds on.
constexpr std::pair<std::size_t, std::size_t> kParts[] = {
    {offsetof(RUNTIME_POD_EMBED, time_now), offsetof(RUNTIME_POD_EMBED, obs_epoch)},
    {offsetof(RUNTIME_POD_EMBED, dataset_orbit), offsetof(RUNTIME_POD_EMBED, ant_info_rcv)},
    {offsetof(RUNTIME_POD_EMBED, param_list), offsetof(RUNTIME_POD_EMBED, orbit_dyn_config)}};

constexpr double kHold = 60.0;    ///< a suspect stays out for each time it was found [s]
constexpr double kClearly = 2.0;  ///< the next best satellite to leave out leaves residuals larger by this

}  // namespace

void FilterState::save(const RUNTIME_POD_EMBED& runtime) {
    bytes_.clear();
    const auto* record = reinterpret_cast<const unsigned char*>(&runtime);
    for (const auto& [first, end] : kParts) bytes_.insert(bytes_.end(), record + first, record + end);
}

void FilterState::restore(RUNTIME_POD_EMBED& runtime) const {
    auto* record = reinterpret_cast<unsigned char*>(&runtime);
    const unsigned char* from = bytes_.data();
    for (const auto& [first, end] : kParts) {
        std::memcpy(record + first, from, end - first);
        from += end - first;
    }
}

int find_misfit(const OBSDATA_EPOCH& epoch, const ANT_INFO& antenna, double usual_sigma) {
    static OBSDATA_EPOCH copy;
    ANT_INFO ant = antenna;
    int best = -1;
    double smallest = 0, next = 0;
    for (int i = 0; i < std::min<int>(epoch.sat_num, MAXSAT_EPOCH); ++i) {
        if (epoch.satobs[i].flag_sat != OBS_OK) continue;
        copy = epoch;
        copy.satobs[i].flag_sat = SAT_NOT_USED;
        choose_observation(&copy);
        SOLUTION solution{};
        if (pseudorange_point_positioning(&copy, &ant, &solution) != SOL_OK) continue;
        if (solution.nsat < 4 + std::max(1, static_cast<int>(gnssconfig.num_sys))) continue;
        if (best < 0 || solution.sigma < smallest) {
            next = smallest;
            smallest = solution.sigma;
            best = i;
        } else if (next == 0.0 || solution.sigma < next) {
            next = solution.sigma;
        }
    }
    const bool clear = best >= 0 && smallest <= usual_sigma && (next == 0.0 || next > kClearly * smallest);
    return clear ? best : -1;
}

void Suspects::add(const OBSDATA_SAT& sat, const GTime& tag) {
    Record& record = records_[{sat.satsys, sat.prn}];
    ++record.times;
    record.last = tag;
}

bool Suspects::holds(const OBSDATA_SAT& sat, const GTime& tag) const {
    const auto found = records_.find({sat.satsys, sat.prn});
    return found != records_.end() && gtimeSubSec(tag, found->second.last) < kHold * found->second.times;
}

}  // namespace host
