#include "commands/run_json.h"

#include <algorithm>

#include "commands/run_summary.h"
#include "commands/summaries.h"
#include "stores/observation_stream.h"
#include "stores/satellites.h"

namespace host {

namespace {

void summarise_systems(Summary& summary) {
    for (int j = 0; j < std::min<int>(gnssconfig.num_sys, MAXNUM_SYS); ++j) {
        const std::string path = "systems/" + system_name(j) + "/signals/";
        for (int k = 0; k < std::min<int>(gnssconfig.num_obs_freq_code[j], MAXOBS_PER_SAT); ++k) {
            char code[8] = {};
            TYPE_FREQ_CODE_AsString(gnssconfig.obs_type_freq_code_used[j][k], code);
            summary.set(path + std::to_string(k), code);
        }
    }
}

/// Satellite epochs that were set aside, by reason and satellite.
void summarise_guard(const Guard& guard, Summary& summary) {
    std::map<std::string, std::map<std::string, long>> reasons;
    for (const auto& [satellite, lacks] : guard.counts()) {
        for (const auto& [lack, count] : lacks)
            reasons[lack_text(lack)][satellite_name(satellite.first, satellite.second)] += count;
    }
    std::size_t place = 0;
    for (const auto& [reason, satellites] : reasons) {
        const std::string path = "satellites/set_aside/" + std::to_string(place++);
        summary.set(path + "/reason", reason);
        summary.set(path + "/epochs", satellites);
    }
}

void summarise_slips(const Totals& totals, Summary& summary) {
    summary.set("slips/melbourne_wuebbena", totals.slips_mw);
    summary.set("slips/geometry_free", totals.slips_gf);
    summary.set("slips/both", totals.slips_both);
    summary.set("slips/satellite_epochs", totals.satellite_epochs);
    for (const auto& [satellite, count] : totals.slips) {
        const std::string path = "slips/satellites/" + satellite_name(satellite.first, satellite.second);
        summary.set(path + "/melbourne_wuebbena", count[0]);
        summary.set(path + "/geometry_free", count[1]);
    }
}

}  // namespace

void summarise(const RunOptions& options, const Environment& environment, const Totals& totals, const Guard& guard,
               const Console& console, Summary& summary) {
    summary.set("deployment", options.inputs.embedded ? "embedded" : "prepared");
    summary.set("frame", "earth-fixed (ITRF realisation of the ephemerides)");
    summary.set("time_scale", "GPST");
    summary.set_time("span/first", totals.first);
    summary.set_time("span/last", totals.last);
    summarise_systems(summary);
    for (std::size_t j = 0; j < environment.shares.size(); ++j)
        summary.set("systems/" + system_name(static_cast<int>(j)) + "/complete_percent", environment.shares[j]);
    summary.set("also_observed", environment.other_signals);
    summary.set("satellites/beyond_limit",
                environment.stream != nullptr ? environment.stream->satellites_dropped() : 0L);
    summary.set("epochs/repeated", environment.stream != nullptr ? environment.stream->repeated() : 0L);
    summary.set("sigma_code_m", options.inputs.sigma_code);
    summary.set("sigma_phase_m", options.inputs.sigma_phase);
    summary.set("epochs_without_attitude", totals.without_attitude);
    summary.set("ephemerides", g_eph_selection == EPHOPT_PREC ? "precise products" : "broadcast");
    summarise_environment(environment, totals.first, summary);
    const ANT_INFO& antenna = environment.runtime->ant_info_rcv;
    summary.set("receiver_antenna", !antenna.ant_ok ? "none" : options.inputs.embedded ? "built-in" : antenna.ant_type);
    summary.set("attitude/source", g_att_qua_storage.num_object > 0 ? "quaternions" : "none");
    summary.set("attitude/epochs_without", totals.without_attitude);
    summary.set("epochs/count", totals.epochs);
    summary.set("epochs/solved", totals.solved);
    summary.set("epochs/failed", totals.failed);
    summary.set("epochs/filter", totals.filter);
    if (totals.solved > 0)
        summary.set("satellites/mean", static_cast<double>(totals.used_epochs) / static_cast<double>(totals.solved));
    summarise_guard(guard, summary);
    summary.set("receiver_on_ground", totals.on_ground());
    summarise_slips(totals, summary);
    summarise_messages(console.messages(), routine_messages(options), summary);
    summary.set("time/total_s", totals.seconds);
}

}  // namespace host
