// The smallest host of the prepared environment: files are loaded first, then one call per epoch.
//
//   ground_host OBSERVATION EPHEMERIDES [GNSS_CONFIGURATION]
//
// OBSERVATION is a RINEX observation file, EPHEMERIDES an SP3 orbit file or a RINEX navigation file. Without a
// configuration the systems of the data are processed, GPS and BDS, with their default observables. No antenna and no
// attitude are loaded: the antenna looks along the local vertical.
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "earth_gravity.h"
#include "pod_embed.h"
#include "ulog.h"

namespace {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};

/// Zeroed memory off the stack, as every store of the library needs it. The system hands it out page by page.
template <typename T>
std::unique_ptr<T, Free> zeroed(std::size_t count = 1) {
    void* memory = std::calloc(count, sizeof(T));
    if (memory == nullptr) std::abort();
    return std::unique_ptr<T, Free>(static_cast<T*>(memory));
}

void on_message(ulog_level_t level, char* text) { std::fprintf(stderr, "%s: %s\n", ulog_level_name(level), text); }

/// First line of a file; empty where it cannot be read. Some loaders end the process on a missing file: look first.
std::string first_line(const char* name) {
    std::ifstream file(name);
    std::string line;
    std::getline(file, line);
    return line;
}

/// Upper bound of the epochs of a RINEX file. The reader knows no bound, so the array must be long enough.
std::size_t count_epochs(const char* name) {
    std::ifstream file(name);
    std::string line;
    std::size_t count = 0;
    bool version3 = false;
    for (bool first = true; std::getline(file, line); first = false) {
        if (first) version3 = std::atof(line.c_str()) >= 3.0;
        count += version3 ? line[0] == '>' : line.size() > 3 && line[3] == ' ';
    }
    return count + 2;
}

/// GPS and BDS, as far as the loaded epochs hold them.
std::vector<sysGNSS> systems_of_data() {
    std::vector<sysGNSS> systems;
    for (sysGNSS system : {GPS, BDS}) {
        bool found = false;
        for (int i = 0; i < g_num_obs_storage; ++i) {
            for (const OBSDATA_SAT& sat : g_obs_storage[i].satobs) found = found || sat.satsys == system;
        }
        if (found) systems.push_back(system);
    }
    return systems;
}

/// True if the precise products surround the signal's way to an epoch. They do not extrapolate, and outside of them, in a gap, or without a
/// clock the library goes on with zeros; broadcast records that are too old or unhealthy it refuses by itself.
bool served(int index, const GTime& tag) {
    constexpr double kLongestWindow = 10000.0, kLongestGap = 1900.0;  // products of 15 minutes [s]
    if (g_eph_selection != EPHOPT_PREC) return true;
    EPHREC_PRE* orbits = g_prec_storage->eph_pre_all[index];
    CLKREC_PRE* clocks = g_prec_storage->clk_pre_all[index];
    const int num_orbits = g_prec_storage->idx_eph[index], num_clocks = g_prec_storage->idx_clk[index];
    for (const GTime& time : {tag, gtimeAddSec(tag, -0.15)}) {
        const int i = find_closest_eph_prec(orbits, num_orbits, time);
        int k = find_closest_clk_prec(clocks, num_clocks, time);
        if (i < 5 || i + 5 >= num_orbits || k < 0) return false;  // the polynomial takes eleven records
        if (gtimeSubSec(orbits[i + 5].time, orbits[i - 5].time) > kLongestWindow) return false;
        if (gtime_less(time, clocks[k].time)) --k;
        if (k < 0 || k + 1 >= num_clocks || gtimeSubSec(clocks[k + 1].time, clocks[k].time) > kLongestGap) return false;
    }
    return true;
}

/// True if the library would keep a satellite of the epoch; it ends the process on an epoch without one. Flags those that it must not use.
bool usable(OBSDATA_EPOCH& epoch) {
    bool found = false;
    choose_observation(&epoch);
    for (int i = 0; i < epoch.sat_num; ++i) {
        OBSDATA_SAT& sat = epoch.satobs[i];
        const int index = satsysprn2index(sat.satsys, sat.prn);
        const int system = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
        if (index >= MAXSAT_GNSS) sat.flag_sat = SAT_UKN;  // a number that no system has ends the process too
        if (index >= 0 && index < MAXSAT_GNSS && !served(index, epoch.epoch_time)) sat.flag_sat = SATPOS_ERROR;
        found = found || (sat.flag_sat == OBS_OK && index >= 0 && system >= 0 &&
                          sat.num_obs_used == gnssconfig.num_obs_freq_code[system]);
    }
    return found;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3 || argc > 4) {
        std::fprintf(stderr, "usage: %s OBSERVATION EPHEMERIDES [GNSS_CONFIGURATION]\n", argv[0]);
        return 2;
    }
    for (int i = 1; i < argc; ++i) {
        if (!first_line(argv[i]).empty()) continue;
        std::fprintf(stderr, "cannot read %s\n", argv[i]);
        return 2;
    }
    ulog_subscribe(on_message, ULOG_CRITICAL_LEVEL);  // lower it to see more

    // Stores first: no loader allocates them.
    const auto pod = zeroed<RUNTIME_POD_EMBED>();
    const auto epochs = zeroed<OBSDATA_EPOCH>(count_epochs(argv[1]));
    g_brdc_storage = &pod->brdc_storage;
    g_prec_storage = &pod->prec_storage;
    g_obs_storage = epochs.get();

    // Models. With nothing loaded behind them: UT1 = UTC without polar motion, Sun and Moon from analytic series.
    initialize_global_earth_gravity();
    initialize_global_earth_rotation_param();
    initialize_global_eph_planet();

    // The files, then what is processed. The first system's clock sets the receive time: name only systems of the data.
    const bool is_sp3 = first_line(argv[2])[0] == '#';
    if (!(is_sp3 ? load_ephemris_prec(argv[2]) : load_ephemeris_brdc(argv[2]))) return 1;
    if (!load_observation_rinex(argv[1], 0, 0.0)) return 1;
    if (argc == 4) {
        set_gnssconfig_system(&gnssconfig, 0, nullptr);  // for the values that a configuration file may leave out
        set_gnssconfig_from_file(argv[3]);
    } else {
        std::vector<sysGNSS> systems = systems_of_data();
        set_gnssconfig_system(&gnssconfig, static_cast<int>(systems.size()), systems.data());
    }

    startup_pod_embed(pod.get(), true);
    std::printf("# GPST of reception, earth-fixed x, y, z [m], satellites\n");
    int solved = 0;
    for (int i = 0; i < g_num_obs_storage; ++i) {
        if (epochs.get()[i].epoch_time.sys == UKNTS || !usable(epochs.get()[i])) continue;
        run_single_pod_embed(&epochs.get()[i], pod.get());
        if (pod->sln_kine.status != SOL_OK) continue;
        char time[100];
        gtime2str(pod->time_now, time);
        std::printf("%s %14.4f %14.4f %14.4f %2d\n", time, pod->X[0], pod->X[1], pod->X[2], pod->nsat_used_last);
        ++solved;
    }
    return solved > 0 ? 0 : 1;
}
