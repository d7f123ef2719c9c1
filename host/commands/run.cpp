#include "commands/run.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>

#include "commands/command.h"
#include "inputs/truth.h"
#include "outputs/sp3.h"
#include "pictures/canvas.h"
#include "pictures/errors.h"
#include "pictures/satellites.h"
#include "shared/console.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/times.h"
#include "stores/guard.h"
#include "stores/satellites.h"

namespace host {

namespace {

constexpr std::size_t kSettling = 20;  ///< solved epochs after which the filter's ambiguities have settled

/// What one epoch brought.
struct Epoch {
    GTime tag{};
    const char* status = "";
    bool processed = false;  ///< handed to the library
    bool solved = false;
    bool under_mask = false;  ///< failed with satellites set aside as below the elevation mask
    int satellites = 0;
    double sigma = 0, gdop = 0;
    GTime received{};
    double point[3]{}, point_clock[3]{};    ///< [m]
    double filter[3]{}, filter_clock[3]{};  ///< [m]
    int ambiguities = 0;
    int tracked = 0;  ///< satellites whose phase was followed
    std::vector<SlipMark> slips;
    bool has_orbit = false;
    DATA_ORBIT newest{};
};

struct Totals {
    std::map<std::string, long> failed;
    long solved = 0, under_mask = 0, satellite_epochs = 0, used_epochs = 0;
    long slips_mw = 0, slips_gf = 0, slips_both = 0;
    std::map<std::pair<int, int>, std::array<long, 2>> slips;  ///< per satellite: Melbourne-Wuebbena, geometry-free
    double seconds = 0;
};

const char* status_name(STATUS_SOL status) {
    switch (status) {
        case SOL_OK:
            return "OK";
        case SOL_SPP_LACK_SAT:
            return "LACK_OF_SATELLITES";
        case SOL_ITER_EXCEED:
            return "NO_CONVERGENCE";
        case SOL_OBS_BAD:
            return "BAD_EPOCH";
        default:
            return "FAILED";
    }
}

std::string system_name(int index) {
    char name[16] = {};
    sysGNSSAsString(gnssconfig.sys_used[index], name);
    return name;
}

/// Hands one epoch to the library and reads the results from the record.
Epoch process(OBSDATA_EPOCH& observations, RUNTIME_POD_EMBED& runtime, Console& console) {
    Epoch epoch;
    epoch.tag = observations.epoch_time;
    if (observations.flag_epoch != OBS_OK) {
        epoch.status = "BAD_EPOCH";
        return epoch;
    }
    // Indices outside the satellites (stations, numbers that no system has) are nothing to position with.
    for (int i = 0; i < std::min<int>(observations.sat_num, MAXSAT_EPOCH); ++i) {
        OBSDATA_SAT& sat = observations.satobs[i];
        if (satsysprn2index(sat.satsys, sat.prn) >= MAXSAT_GNSS) sat.flag_sat = SAT_UKN;
    }
    if (!has_usable_satellite(observations)) {
        epoch.status = "NO_USABLE_SATELLITE";
        return epoch;
    }
    run_single_pod_embed(&observations, &runtime);
    epoch.processed = true;
    const SOLUTION& point = runtime.sln_kine;
    epoch.slips = console.take_slips();
    epoch.status = status_name(point.status);
    epoch.satellites = point.nsat;
    epoch.solved = point.status == SOL_OK;
    // With every range flagged the solver has nothing to correct and stays where it starts.
    if (epoch.solved && std::hypot(point.pos_vel_clk[0], point.pos_vel_clk[1], point.pos_vel_clk[2]) < 1000.0) {
        epoch.solved = false;
        epoch.status = "NO_POSITION";
    }
    if (!epoch.solved) {
        const OBSDATA_EPOCH& seen = runtime.obs_epoch[0];
        for (int i = 0; i < std::min<int>(seen.sat_num, MAXSAT_EPOCH); ++i)
            epoch.under_mask |= seen.satobs[i].flag_sat == LOW_ELE;
        return epoch;
    }
    epoch.sigma = point.sigma;
    epoch.gdop = point.gdop;
    epoch.received = runtime.time_now;
    std::copy_n(point.pos_vel_clk, 3, epoch.point);
    std::copy_n(runtime.X, 3, epoch.filter);
    const int systems = std::min<int>(gnssconfig.num_sys, MAXNUM_SYS);
    std::copy_n(point.pos_vel_clk + 6, systems, epoch.point_clock);
    std::copy_n(runtime.X + 6, systems, epoch.filter_clock);
    for (int i = 6 + systems; i < MAXNUM_X; ++i) epoch.ambiguities += runtime.DX[i * MAXNUM_X + i] > 0.0;
    for (int i = 0; i < std::min<int>(runtime.nsat_used_last, MAXSAT_EPOCH); ++i) {
        const int index = runtime.satlist_used_in_obsepoch_last[i];
        epoch.tracked += index >= 0 && index < MAXSAT_EPOCH && runtime.obs_epoch[0].satobs[index].flag_sat == OBS_OK;
    }
    epoch.has_orbit = runtime.num_orb_store > 0;
    if (epoch.has_orbit) epoch.newest = runtime.dataset_orbit[0];
    return epoch;
}

void add_slips(const Epoch& epoch, Totals& totals) {
    std::map<std::pair<int, int>, int> kinds;  ///< bit 0 Melbourne-Wuebbena, bit 1 geometry-free
    for (const SlipMark& slip : epoch.slips) kinds[{slip.satsys, slip.prn}] |= slip.melbourne_wuebbena ? 1 : 2;
    for (const auto& [satellite, kind] : kinds) {
        if ((kind & 1) != 0) ++totals.slips[satellite][0];
        if ((kind & 2) != 0) ++totals.slips[satellite][1];
        totals.slips_mw += (kind & 1) != 0;
        totals.slips_gf += (kind & 2) != 0;
        totals.slips_both += kind == 3;
    }
}

/// One row an epoch; empty fields where an epoch was not solved. Frame and time scale stand in the column names.
void write_csv(const std::string& file, const std::vector<Epoch>& epochs) {
    OutputFile out(file);
    const int systems = std::min<int>(gnssconfig.num_sys, MAXNUM_SYS);
    std::fprintf(out, "epoch_gpst,mjd_gpst,sod_gpst,status,x_ecef_m,y_ecef_m,z_ecef_m");
    for (int j = 0; j < systems; ++j) std::fprintf(out, ",clock_%s_m", system_name(j).c_str());
    std::fprintf(
        out, ",satellites,sigma_m,gdop,receive_gpst,receive_sod_gpst,filter_x_ecef_m,filter_y_ecef_m,filter_z_ecef_m");
    for (int j = 0; j < systems; ++j) std::fprintf(out, ",filter_clock_%s_m", system_name(j).c_str());
    std::fprintf(out, ",ambiguities,slips,stored_gpst,stored_x_ecef_m,stored_y_ecef_m,stored_z_ecef_m\n");
    for (const Epoch& e : epochs) {
        std::fprintf(out, "%s,%ld,%.3f,%s", time_text(e.tag).c_str(), e.tag.time.mjd, e.tag.time.sod, e.status);
        if (e.solved) {
            std::fprintf(out, ",%.4f,%.4f,%.4f", e.point[0], e.point[1], e.point[2]);
            for (int j = 0; j < systems; ++j) std::fprintf(out, ",%.4f", e.point_clock[j]);
            std::fprintf(out, ",%d,%.4f,%.4f,%s,%.9f", e.satellites, e.sigma, e.gdop, time_text(e.received, 9).c_str(),
                         static_cast<double>(e.received.time.mjd - e.tag.time.mjd) * 86400.0 + e.received.time.sod);
            std::fprintf(out, ",%.4f,%.4f,%.4f", e.filter[0], e.filter[1], e.filter[2]);
            for (int j = 0; j < systems; ++j) std::fprintf(out, ",%.4f", e.filter_clock[j]);
            std::fprintf(out, ",%d,", e.ambiguities);
            for (std::size_t i = 0; i < e.slips.size(); ++i) {
                std::fprintf(out, "%s%s:%s", i != 0 ? " " : "",
                             satellite_name(e.slips[i].satsys, e.slips[i].prn).c_str(),
                             e.slips[i].melbourne_wuebbena ? "MW" : "GF");
            }
            if (e.has_orbit) {
                std::fprintf(out, ",%s,%.4f,%.4f,%.4f", time_text(e.newest.epoch_gpst, 9).c_str(), e.newest.pos_ecf[0],
                             e.newest.pos_ecf[1], e.newest.pos_ecf[2]);
            } else {
                std::fprintf(out, ",,,,");
            }
        } else {
            for (int j = 0; j < 3 + systems; ++j) std::fprintf(out, ",");
            std::fprintf(out, ",%d", e.satellites);
            for (int j = 0; j < 4 + 3 + systems + 6; ++j) std::fprintf(out, ",");
        }
        std::fprintf(out, "\n");
    }
    out.close();
}

struct Errors {
    std::vector<PositionError> point, filter;
};

Errors compare(const std::vector<Epoch>& epochs, const Truth& truth) {
    Errors errors;
    const GTime& first = epochs.front().tag;
    for (const Epoch& e : epochs) {
        if (!e.solved) continue;
        PositionError error{};
        error.seconds = gtimeSubSec(e.tag, first);
        // Both solutions are the position at the true receive time.
        if (!truth.error_at(e.received, e.point, error)) continue;
        errors.point.push_back(error);
        truth.error_at(e.received, e.filter, error);
        errors.filter.push_back(error);
    }
    return errors;
}

std::string systems_text() {
    std::string text;
    for (int j = 0; j < std::min<int>(gnssconfig.num_sys, MAXNUM_SYS); ++j) {
        text += (j != 0 ? ", " : "") + system_name(j) + " (";
        for (int k = 0; k < std::min<int>(gnssconfig.num_obs_freq_code[j], MAXOBS_PER_SAT); ++k) {
            char code[8] = {};
            TYPE_FREQ_CODE_AsString(gnssconfig.obs_type_freq_code_used[j][k], code);
            text += (k != 0 ? " " : "") + std::string(code);
        }
        text += ")";
    }
    return text;
}

void print_summary(const RunOptions& options, const Environment& environment, const std::vector<Epoch>& epochs,
                   const Totals& totals, const Console& console) {
    const Epoch& first = epochs.front();
    const Epoch& last = epochs.back();
    std::printf("leopod run: %s deployment\n", options.inputs.embedded ? "embedded" : "prepared");
    std::printf("frame: earth-fixed (ITRF realisation of the ephemerides), metres; time scale: GPST\n");
    std::printf("files:\n");
    for (const FileReport& file : environment.files)
        std::printf("  %-18s %s: %s\n", file.kind.c_str(), file.name.c_str(), file.content.c_str());
    std::printf("span: %s to %s GPST\n", time_text(first.tag).c_str(), time_text(last.tag).c_str());
    std::printf("systems: %s\n", systems_text().c_str());
    std::printf("ephemerides: %s\n", g_eph_selection == EPHOPT_PREC ? "precise products" : "broadcast");
    std::printf("earth orientation: %s\n", environment.eop_source.c_str());
    std::printf("planets: %s\n", environment.planet_source.c_str());
    std::printf("TAI-UTC: %d s\n", getLeapSecond(gtime2mjd(gtimeChangeTimeSystem(first.tag, tsUTC))));
    const ANT_INFO& antenna = environment.runtime->ant_info_rcv;
    std::printf("receiver antenna: %s\n", !antenna.ant_ok           ? "none: along the platform's z axis, no offset"
                                          : options.inputs.embedded ? "built-in, along the platform's minus z axis"
                                                                    : antenna.ant_type);
    std::printf("attitude: %s\n",
                g_att_qua_storage.num_object > 0 ? "quaternions" : "none: local east, north, up axes");
    std::printf("epochs: %zu, solved %ld", epochs.size(), totals.solved);
    for (const auto& [reason, count] : totals.failed) std::printf(", %s %ld", reason.c_str(), count);
    std::printf("\n");
    if (totals.solved > 0) {
        std::printf("satellites: %.1f an epoch in the point position\n",
                    static_cast<double>(totals.used_epochs) / static_cast<double>(totals.solved));
    }
    if (totals.solved == 0 && totals.under_mask > 0 && g_att_qua_storage.num_object == 0) {
        std::printf(
            "note: all satellites fell under the elevation mask. No attitude is loaded (--att), and without it this "
            "antenna looks down.\n");
    }
    std::printf("slip marks: Melbourne-Wuebbena %ld, geometry-free %ld, both %ld, in %ld satellite epochs\n",
                totals.slips_mw, totals.slips_gf, totals.slips_both, totals.satellite_epochs);
    if (!totals.slips.empty()) {
        std::printf("  per satellite (MW/GF):");
        for (const auto& [satellite, count] : totals.slips) {
            std::printf(" %s %ld/%ld", satellite_name(satellite.first, satellite.second).c_str(), count[0], count[1]);
        }
        std::printf("\n");
    }
    std::printf("messages: %ld warnings, %ld errors (--log-level warning shows them)\n",
                console.count(ULOG_WARNING_LEVEL),
                console.count(ULOG_ERROR_LEVEL) + console.count(ULOG_CRITICAL_LEVEL));
    std::printf("time: %.2f s, %.1f microseconds an epoch\n", totals.seconds,
                1e6 * totals.seconds / static_cast<double>(epochs.size()));
}

/// The picture of a run. False where there is none.
bool write_plot(const std::string& file, const std::vector<Epoch>& epochs, const Errors& errors,
                const RunOptions& options, bool at_rest) {
    const GTime& first = epochs.front().tag;
    if (!options.truth.empty()) {
        ErrorFigure figure;
        figure.options = {"", first.time.mjd};
        figure.reference = std::filesystem::path(options.truth).filename().string();
        figure.at_rest = at_rest;
        figure.layout = {"solutions"};
        for (const auto& [name, list] : {std::pair{"Point position from pseudoranges", &errors.point},
                                         std::pair{"Carrier-phase filter", &errors.filter}}) {
            SolutionErrors s{name, {}, {}};
            for (const PositionError& e : *list) {
                s.seconds.push_back(first.time.sod + e.seconds);
                for (std::size_t k = 0; k < 3; ++k) s.component[k].push_back(e.component[k]);
            }
            figure.solutions.push_back(std::move(s));
        }
        return report_picture(file, [&] {
            if (errors.point.empty()) throw InputError(options.truth + ": covers no epoch that was solved");
            return draw_errors(figure);
        });
    }
    SatelliteFigure figure;
    figure.options = {"", first.time.mjd};
    figure.source = std::filesystem::path(options.inputs.obs.front()).filename().string() +
                    (options.inputs.obs.size() > 1 ? ", ..." : "");
    for (const Epoch& e : epochs) {
        figure.seconds.push_back(first.time.sod + gtimeSubSec(e.tag, first));
        figure.count.push_back(e.satellites);
        figure.dilution.push_back(e.solved ? e.gdop : std::nan(""));
    }
    return report_picture(file, [&] { return draw_satellites(figure); });
}

}  // namespace

int run(const RunOptions& options) {
    if (!options.plot.empty()) check_picture_name("--plot", options.plot);
    Console console(options.log_level);
    Environment environment;
    {
        const Progress progress("reading files");
        prepare(options.inputs, environment);
    }
    std::unique_ptr<Truth> truth;
    if (!options.truth.empty())
        truth = std::make_unique<Truth>(Truth::load(options.truth, g_obs_storage[0].epoch_time));

    std::unique_ptr<SatelliteTable> satellites;
    if (!options.satellites_out.empty()) satellites = std::make_unique<SatelliteTable>(options.satellites_out, console);

    RUNTIME_POD_EMBED& runtime = *environment.runtime;
    std::vector<Epoch> epochs;
    epochs.reserve(static_cast<std::size_t>(g_num_obs_storage));
    Totals totals;
    const auto start = std::chrono::steady_clock::now();
    auto progress = std::make_unique<Progress>("processing epochs", g_num_obs_storage);
    for (int i = 0; i < g_num_obs_storage; ++i) {
        epochs.push_back(process(g_obs_storage[i], runtime, console));
        const Epoch& epoch = epochs.back();
        if (satellites != nullptr && epoch.processed) satellites->add(runtime, epoch.solved, epoch.slips);
        if (epoch.solved) {
            ++totals.solved;
            totals.used_epochs += epoch.satellites;
            totals.satellite_epochs += epoch.tracked;
            add_slips(epoch, totals);
        } else {
            ++totals.failed[epoch.status];
            totals.under_mask += epoch.under_mask;
        }
        progress->done(i + 1);
    }
    progress.reset();
    if (satellites != nullptr) satellites->close();
    console.listen(nullptr);
    totals.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

    print_summary(options, environment, epochs, totals, console);
    Errors errors;
    if (truth != nullptr) {
        constexpr int kNameWidth = 36;
        errors = compare(epochs, *truth);
        std::printf("errors against %s (%zu rows):\n", options.truth.c_str(), truth->size());
        print_statistics("point position", kNameWidth, statistics(errors.point), truth->at_rest());
        print_statistics("filter", kNameWidth, statistics(errors.filter), truth->at_rest());
        print_statistics("filter after 20 epochs", kNameWidth, statistics(errors.filter, kSettling), truth->at_rest());
    }
    if (!options.out.empty()) {
        write_csv(options.out, epochs);
        std::printf("epochs written: %s\n", options.out.c_str());
    }
    if (satellites != nullptr) std::printf("satellites written: %s\n", options.satellites_out.c_str());
    if (!options.sp3_out.empty()) {
        std::vector<Sp3Point> points;
        for (const Epoch& e : epochs) {
            if (e.solved) points.push_back({e.received, {e.filter[0], e.filter[1], e.filter[2]}});
        }
        const double interval = epochs.size() > 1 ? gtimeSubSec(epochs[1].tag, epochs[0].tag) : 0.0;
        write_sp3(options.sp3_out, points, interval);
        std::printf("orbit written: %s\n", options.sp3_out.c_str());
    }
    const bool drawn =
        options.plot.empty() || write_plot(options.plot, epochs, errors, options, truth != nullptr && truth->at_rest());
    return totals.solved > 0 && drawn ? 0 : 1;
}

void add_run(Command app, Action& action) {
    auto o = std::make_shared<RunOptions>();
    Command command =
        app.add_subcommand("run", "Observation files in, an orbit out, epoch by epoch (earth-fixed, GPST)");
    command.add_option("--obs", o->inputs.obs, "RINEX observation file, version 2 or 3; may be repeated").required();
    command.add_option("--nav", o->inputs.nav, "RINEX navigation file; may be repeated");
    command.add_option("--sp3", o->inputs.sp3, "SP3 orbit file; may be repeated");
    command.add_option("--clk", o->inputs.clk, "RINEX clock file; may be repeated");
    command.add_option("--atx", o->inputs.atx, "ANTEX antenna file; may be repeated");
    command.add_option("--att", o->inputs.att,
                       "attitude quaternion file, the library's columns or the mission product; may be repeated");
    command.add_option("--eop", o->inputs.eop, "earth orientation file");
    command.add_option("--eop-format", o->inputs.eop_format, "its format: c04, rapid or keyword").capture_default_str();
    command.add_option("--jpl", o->inputs.jpl, "JPL ephemeris, ASCII header and records in one file");
    command.add_option("--config", o->inputs.config, "GNSS configuration file");
    command.add_option("--receiver", o->inputs.receiver, "receiver number of the observations").capture_default_str();
    command.add_option("--interval", o->inputs.interval, "sampling of the epochs in seconds; 0 takes all")
        .non_negative()
        .capture_default_str();
    command.add_flag("--embedded", o->inputs.embedded, "the embedded deployment: built-in tables, BeiDou alone");
    command.add_option("--truth", o->truth,
                       "CSV to compare with: GPST, x, y, z in metres, earth-fixed; one row for a site at rest");
    command.add_option("--out", o->out, "CSV, one row per epoch");
    command.add_option("--satellites-out", o->satellites_out,
                       "CSV, one row per epoch and satellite: directions, residuals, slips");
    command.add_option("--sp3-out", o->sp3_out, "SP3-c file of the filtered positions");
    command.add_option("--plot", o->plot, "SVG or PNG of the errors, or of the satellites without --truth");
    command
        .add_option("--log-level", o->log_level,
                    "library messages from this level on: trace, debug, info, warning, error, critical, off")
        .capture_default_str();
    command.callback([o, &action] { action = [o] { return run(*o); }; });
}

}  // namespace host
