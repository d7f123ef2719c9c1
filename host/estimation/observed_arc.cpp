#include "estimation/observed_arc.h"

#include <algorithm>
#include <cmath>

#include "shared/error.h"

namespace host {

namespace {

/// The record of a configured observable; null where there is none.
const OBSREC* record(const OBSDATA_SAT& sat, int slot) {
    if (slot < 0 || slot >= MAXOBS_PER_SAT) return nullptr;
    const int place = sat.obs_index_used[slot];
    return place < 0 || place >= std::min<int>(sat.num_obs, MAXOBS_PER_SAT) ? nullptr : &sat.obsdata[place];
}

/// Fills the combinations of a satellite. False where an observable or a frequency is missing.
bool combine(const OBSDATA_SAT& sat, int system, Link& link) {
    double code[2], cycles[2], f[2];
    for (int k = 0; k < 2; ++k) {
        const OBSREC* range = record(sat, gnssconfig.obs_index_IF_code[system][k]);
        const OBSREC* phase = record(sat, gnssconfig.obs_index_IF_phase[system][k]);
        if (range == nullptr || phase == nullptr || range->value == 0.0 || phase->value == 0.0) return false;
        f[k] = 1e6 * get_obs_frequency(sat.satsys, phase->freq, sat.prn);
        if (!(f[k] > 0.0)) return false;
        code[k] = range->value - get_tgd(sat.satsys, sat.prn, range->freq, range->code);
        cycles[k] = phase->value;
    }
    if (f[0] == f[1]) return false;
    const double a = f[0] * f[0] / (f[0] * f[0] - f[1] * f[1]);
    const double b = 1.0 - a;
    const double wave[2] = {kSpeedOfLight / f[0], kSpeedOfLight / f[1]};
    link.code = a * code[0] + b * code[1];
    link.phase = a * cycles[0] * wave[0] + b * cycles[1] * wave[1];
    link.wide_lane = cycles[0] - cycles[1] - (code[0] / wave[0] + code[1] / wave[1]) * (f[0] - f[1]) / (f[0] + f[1]);
    link.geometry_free = cycles[0] * wave[0] - cycles[1] * wave[1];
    link.code_noise = link.phase_noise = std::hypot(a, b);
    link.combined_wavelength = a * wave[0] + b * wave[1];
    return true;
}

double usual_spacing(const std::vector<ArcEpoch>& epochs) {
    std::vector<double> steps;
    for (std::size_t i = 1; i < epochs.size(); ++i) steps.push_back(epochs[i].time - epochs[i - 1].time);
    if (steps.empty()) return 0.0;
    std::nth_element(steps.begin(), steps.begin() + static_cast<long>(steps.size() / 2), steps.end());
    return steps[steps.size() / 2];
}

}  // namespace

const char* edit_name(Edit edit) {
    static const char* const names[kEdits] = {"used",       "no ephemeris",       "low elevation", "few satellites",
                                              "short pass", "code against phase", "outlier"};
    return names[static_cast<int>(edit)];
}

ObservedArc collect_observations(const std::string& file, Guard& guard) {
    ObservedArc arc;
    arc.start = g_obs_storage[0].epoch_time;
    arc.systems = std::min<int>(gnssconfig.num_sys, MAXNUM_SYS);
    for (int i = 0; i < g_num_obs_storage; ++i) {
        OBSDATA_EPOCH& epoch = g_obs_storage[i];
        ArcEpoch e{};
        e.tag = epoch.epoch_time;
        e.time = gtimeSubSec(e.tag, arc.start);
        e.first = arc.links.size();
        if (epoch.flag_epoch == OBS_OK) {
            guard.set_aside(epoch);
            choose_observation(&epoch);
            for (int k = 0; k < std::min<int>(epoch.sat_num, MAXSAT_EPOCH); ++k) {
                const OBSDATA_SAT& sat = epoch.satobs[k];
                if (sat.flag_sat != OBS_OK) {
                    arc.not_served += sat.flag_sat == SATPOS_ERROR;
                    continue;
                }
                Link link{};
                link.satindex = satsysprn2index(sat.satsys, sat.prn);
                link.system = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
                if (link.system < 0 || link.system >= arc.systems || link.satindex < 0 || link.satindex >= MAXSAT_GNSS)
                    continue;
                link.epoch = arc.epochs.size();
                link.prn = sat.prn;
                link.satsys = sat.satsys;
                if (combine(sat, link.system, link)) {
                    arc.links.push_back(link);
                } else {
                    ++arc.incomplete;
                }
            }
        }
        e.count = arc.links.size() - e.first;
        arc.epochs.push_back(e);
    }
    if (arc.links.empty()) {
        throw InputError(file + (arc.not_served > 0 ? ": no orbit or clock of the ephemerides serves a satellite of it"
                                                    : ": no satellite has code and phase of the configured signals on "
                                                      "both bands"));
    }
    arc.interval = usual_spacing(arc.epochs);
    return arc;
}

}  // namespace host
