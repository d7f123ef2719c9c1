#include "commands/run_summary.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "commands/summaries.h"
#include "estimation/signal_model.h"
#include "shared/times.h"
#include "stores/observation_stream.h"
#include "stores/satellites.h"

namespace host {

namespace {

constexpr long kFewEpochs = 10;
constexpr double kLongClockInterval = 120.0;  ///< straight lines between clocks leave more than a phase has [s]
constexpr double kClockSigma = 0.05;          ///< of a phase, with clocks a quarter of an hour apart [m]

std::string systems_text(const std::vector<double>& shares) {
    std::string text;
    for (int j = 0; j < std::min<int>(gnssconfig.num_sys, MAXNUM_SYS); ++j) {
        text += (j != 0 ? ", " : "") + system_name(j) + " (";
        for (int k = 0; k < std::min<int>(gnssconfig.num_obs_freq_code[j], MAXOBS_PER_SAT); ++k) {
            char code[8] = {};
            TYPE_FREQ_CODE_AsString(gnssconfig.obs_type_freq_code_used[j][k], code);
            text += (k != 0 ? " " : "") + std::string(code);
        }
        char share[48];
        std::snprintf(share, sizeof share, "), %.3g %% of its satellites", shares[static_cast<std::size_t>(j)]);
        text += share;
    }
    return text;
}

void print_inputs(const RunOptions& options, const Environment& environment, const Totals& totals) {
    std::printf("files:\n");
    print_files(environment);
    std::printf("span: %s to %s GPST\n", time_text(totals.first).c_str(), time_text(totals.last).c_str());
    if (environment.impossible > 0)
        std::printf("  %ld values that no satellite can have were set aside\n", environment.impossible);
    print_signals(environment);
    if (environment.stream != nullptr && environment.stream->satellites_dropped() > 0) {
        std::printf("  %ld satellites beyond %d an epoch were left out: the library holds no more\n",
                    environment.stream->satellites_dropped(), static_cast<int>(MAXSAT_EPOCH));
    }
    if (environment.stream != nullptr && environment.stream->repeated() > 0)
        std::printf("  %ld epochs stand twice in the files and are taken once\n", environment.stream->repeated());
    std::printf("sigmas: codes %g m, phases %g m\n", options.inputs.sigma_code, options.inputs.sigma_phase);
    // A clock wanders like a walk between two of the products.
    const double spacing = clock_interval();
    const double clock_sigma = kClockSigma * std::sqrt(spacing / 900.0);
    if (spacing >= kLongClockInterval && options.inputs.sigma_phase < 0.5 * clock_sigma && !totals.on_ground()) {
        std::printf(
            "note: clocks every %.0f s leave centimetres in the phases. For an orbit to be fitted --sigma-phase %.2f "
            "serves better.\n",
            spacing, clock_sigma);
    }
    std::printf("ephemerides: %s\n", g_eph_selection == EPHOPT_PREC ? "precise products" : "broadcast");
    std::printf("earth orientation: %s\n", environment.eop_source.c_str());
    std::printf("planets: %s\n", environment.planet_source.c_str());
    std::printf("TAI-UTC: %d s\n", getLeapSecond(gtime2mjd(gtimeChangeTimeSystem(totals.first, tsUTC))));
    const ANT_INFO& antenna = environment.runtime->ant_info_rcv;
    std::printf("receiver antenna: %s\n", !antenna.ant_ok           ? "none: along the platform's z axis, no offset"
                                          : options.inputs.embedded ? "built-in, along the platform's minus z axis"
                                                                    : antenna.ant_type);
    std::printf("attitude: %s", g_att_qua_storage.num_object > 0 ? "quaternions" : "none: local east, north, up axes");
    if (totals.without_attitude > 0)
        std::printf(", which do not serve %ld epochs: local axes there", totals.without_attitude);
    std::printf("\n");
}

/// Satellites that were set aside, by reason.
void print_guard(const Guard& guard) {
    std::map<Lack, std::pair<long, std::string>> reasons;
    for (const auto& [satellite, lacks] : guard.counts()) {
        for (const auto& [lack, count] : lacks) {
            auto& [sum, text] = reasons[lack];
            sum += count;
            text += " " + satellite_name(satellite.first, satellite.second) + " " + std::to_string(count);
        }
    }
    if (reasons.empty()) return;
    std::printf("satellites set aside (epochs):\n");
    for (const auto& [lack, entry] : reasons)
        std::printf("  %s, %ld:%s\n", lack_text(lack), entry.first, entry.second.c_str());
}

void print_epochs(const RunOptions& options, const Environment& environment, const Totals& totals) {
    std::printf("epochs: %ld, solved %ld", totals.epochs, totals.solved);
    for (const auto& [reason, count] : totals.failed) std::printf(", %s %ld", reason.c_str(), count);
    std::printf("\n");
    if (totals.solved > 0) {
        std::printf("satellites: %.1f an epoch in the point position\n",
                    static_cast<double>(totals.used_epochs) / static_cast<double>(totals.solved));
    }
    if (2 * totals.under_mask <= totals.epochs) return;
    std::printf("note: in %ld epochs satellites fell under the elevation mask, and none of these is solved. ",
                totals.under_mask);
    if (g_att_qua_storage.num_object == 0) {
        std::printf("No attitude is loaded (--att), and without it this antenna looks down.\n");
    } else {
        std::printf("By the attitude the antenna looks down: it points along the platform's %s.\n",
                    environment.runtime->ant_info_rcv.ant_ok && options.inputs.embedded
                        ? "minus z axis (built-in antenna)"
                        : "z axis");
    }
}

void print_filter(const Totals& totals) {
    if (totals.filter.empty()) return;
    const char* separator = "filter:";
    for (const auto& [status, count] : totals.filter) {
        std::printf("%s %s %ld", separator, status.c_str(), count);
        separator = ",";
    }
    std::printf("\n");
    const auto restarted = totals.filter.find("RESTARTED");
    if (totals.solved > kFewEpochs && restarted != totals.filter.end() && 10 * restarted->second > 9 * totals.solved) {
        std::printf(
            "note: no phase goes on from epoch to epoch. Phases in cycles, with the sign of the codes, of the bands "
            "that "
            "their types say? Epochs less than a minute apart?\n");
    }
    if (totals.on_ground()) {
        std::printf(
            "note: the receiver is in the atmosphere. The filter is made for orbits and has no troposphere: metres too "
            "high here. Use the point position.\n");
    }
}

void print_slips(const Totals& totals) {
    std::printf("slip marks: Melbourne-Wuebbena %ld, geometry-free %ld, both %ld, in %ld satellite epochs\n",
                totals.slips_mw, totals.slips_gf, totals.slips_both, totals.satellite_epochs);
    if (totals.slips.empty()) return;
    std::printf("  per satellite (MW/GF):");
    for (const auto& [satellite, count] : totals.slips)
        std::printf(" %s %ld/%ld", satellite_name(satellite.first, satellite.second).c_str(), count[0], count[1]);
    std::printf("\n");
}

}  // namespace

std::vector<Routine> routine_messages(const RunOptions& options) {
    std::vector<Routine> routine = {{"idx_amb_last==", "satellite new to the filter"},
                                    {"param name not supported", "satellite new to the filter"},
                                    {"get_gf_mw(): sys=", "satellite left out"},
                                    {"###T#:#:# satsys=# prn=# obs missing", "observable missing"},
                                    {"satindex=#, obs_epoch->satobs[i].num_obs_used", "satellite left out"},
                                    {"sat index: # is not healthy", "satellite not served"},
                                    {"gps brdc not found", "satellite not served"},
                                    {"BDS brdc ephemeris not found", "satellite not served"},
                                    {"choose_eph_", "satellite not served"},
                                    {"propagation_time_iterate()", "satellite not served"},
                                    {"SATPOS_ERROR", "satellite not served"},
                                    {"pseudorange_point_positioning failed", "epoch without a point position"},
                                    {"epoch ###T#:#:# lack of valid satellite", "epoch without a point position"}};
    if (options.inputs.eop.empty() && !options.inputs.embedded)
        routine.push_back({"earth_rotation_param:#:compute_eci#ecf_matrix()<eop_ok=false", "no earth orientation"});
    if (options.inputs.att.empty()) {
        for (const char* text : {"receiver attitude information", "pseudorange_point_positioning: receiver attitude",
                                 "attitude:#:attitude_platform()<attitude error>"})
            routine.push_back({text, "no attitude"});
    }
    if (options.inputs.atx.empty()) routine.push_back({"LEO satellite receiver antenna", "no receiver antenna"});
    return routine;
}

void print_signals(const Environment& environment) {
    std::printf("systems: %s\n", systems_text(environment.shares).c_str());
    if (!environment.other_signals.empty()) std::printf("also observed: %s\n", environment.other_signals.c_str());
    for (std::size_t j = 0; j < environment.shares.size(); ++j) {
        if (environment.shares[j] > 0.0) continue;
        const std::string& types = environment.observed_types[j];
        std::printf("note: no %s satellite has all of these; observed are: %s\n",
                    system_name(static_cast<int>(j)).c_str(), types.empty() ? "none" : types.c_str());
    }
}

void Totals::add(const RunEpoch& epoch) {
    if (epochs++ == 0) first = epoch.tag;
    without_attitude += epoch.without_attitude;
    last = epoch.tag;
    if (!epoch.solved) {
        ++failed[epoch.status];
        under_mask += epoch.under_mask;
        return;
    }
    ++solved;
    ++filter[epoch.filter_status];
    used_epochs += epoch.satellites;
    satellite_epochs += epoch.tracked;
    std::map<std::pair<int, int>, int> kinds;  ///< bit 0 Melbourne-Wuebbena, bit 1 geometry-free
    for (const SlipMark& slip : epoch.slips) kinds[{slip.satsys, slip.prn}] |= slip.melbourne_wuebbena ? 1 : 2;
    for (const auto& [satellite, kind] : kinds) {
        if ((kind & 1) != 0) ++slips[satellite][0];
        if ((kind & 2) != 0) ++slips[satellite][1];
        slips_mw += (kind & 1) != 0;
        slips_gf += (kind & 2) != 0;
        slips_both += kind == 3;
    }
}

void print_summary(const RunOptions& options, const Environment& environment, const Totals& totals, const Guard& guard,
                   const Console& console) {
    std::printf("leopod run: %s deployment\n", options.inputs.embedded ? "embedded" : "prepared");
    std::printf("frame: earth-fixed (ITRF realisation of the ephemerides), metres; time scale: GPST\n");
    print_inputs(options, environment, totals);
    print_epochs(options, environment, totals);
    print_guard(guard);
    print_filter(totals);
    print_slips(totals);
    console.messages().print(stdout, routine_messages(options));
    std::printf("time: %.2f s, %.1f microseconds an epoch\n", totals.seconds,
                1e6 * totals.seconds / static_cast<double>(totals.epochs));
}

}  // namespace host
