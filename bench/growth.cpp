// What scripts/measure/growth and scripts/measure/long_run need beside the program's command line. Each call is one case in a process of its own, and prints
// CSV: sizes, processor time [s], memory [kB].
//   growth constellation EPOCH HOURS            a navigation file on standard output
//   growth command PROGRAM [ARGUMENTS]          processor time and peak memory of a command
//   growth files NAVIGATION N OBSERVATIONS...   N files in turn, from the list again and again, each through the loop over its epochs
//   growth blocks NAVIGATION SECONDS OBSERVATIONS   the loop over one file: time and memory by blocks of epochs
//   growth solve N                              one solution of normal equations of N parameters
//   growth derivative N                         a thousand derivatives with N force parameters
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "../tests/constellation.h"
#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "eph_planet.h"
#include "mathlib.h"
#include "measure.h"
#include "orbit_dynamics.h"
#include "pod_embed.h"

namespace {

using bench::make_zeroed;
using bench::memory;
using bench::Owned;
using bench::processor_time;

int run_command(char** argv) {
    const pid_t child = fork();
    if (child == 0) {
        const int nothing = open("/dev/null", O_WRONLY);
        dup2(nothing, STDOUT_FILENO);
        execv(argv[0], argv);
        _exit(127);
    }
    int status = 0;
    rusage used{};
    if (wait4(child, &status, 0, &used) != child) return 1;
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + 1e-6 * static_cast<double>(t.tv_usec);
    };
    std::printf("%.4f,%ld\n", seconds(used.ru_utime) + seconds(used.ru_stime), used.ru_maxrss);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

/// The prepared environment with GPS broadcast records.
Owned<RUNTIME_POD_EMBED> start(char* navigation) {
    auto pod = make_zeroed<RUNTIME_POD_EMBED>();
    g_brdc_storage = &pod->brdc_storage;
    g_prec_storage = &pod->prec_storage;
    initialize_global_earth_gravity();
    initialize_global_earth_rotation_param();
    initialize_global_eph_planet();
    if (!load_ephemeris_brdc(navigation)) std::exit(1);
    sysGNSS gps = GPS;
    set_gnssconfig_system(&gnssconfig, 1, &gps);
    startup_pod_embed(pod.get(), true);
    return pod;
}

std::size_t epochs_in(const char* name) {
    std::ifstream file(name);
    std::size_t count = 2;
    for (std::string line; std::getline(file, line);) count += line[0] == '>';
    return count;
}

/// Loads a file into the store from its first record on.
void load(char* name) {
    g_num_obs_storage = 0;
    if (!load_observation_rinex(name, 0, 0.0)) std::exit(1);
}

int run_files(char* navigation, int count, char** names, int num_names) {
    const auto pod = start(navigation);
    std::size_t room = 0;
    for (int i = 0; i < num_names; ++i) room = std::max(room, epochs_in(names[i]));
    const auto store = make_zeroed<OBSDATA_EPOCH>(room);
    g_obs_storage = store.get();
    const double begin = processor_time();
    long solved = 0;
    for (int i = 0; i < count; ++i) {
        load(names[i % num_names]);
        for (int k = 0; k < g_num_obs_storage; ++k) {
            run_single_pod_embed(&g_obs_storage[k], pod.get());
            solved += pod->sln_kine.status == SOL_OK;
        }
    }
    std::printf("%d,%.4f,%ld,%ld\n", count, processor_time() - begin, memory("VmHWM:"), solved);
    return 0;
}

int run_blocks(char* navigation, double seconds, char* name) {
    const auto pod = start(navigation);
    const auto store = make_zeroed<OBSDATA_EPOCH>(epochs_in(name));
    g_obs_storage = store.get();
    double begin = processor_time();
    load(name);
    std::fprintf(stderr, "loaded %d epochs in %.2f s\n", g_num_obs_storage, processor_time() - begin);
    std::printf("hours,epochs,solved,satellites,microseconds_an_epoch,resident_kb\n");
    const GTime first = g_obs_storage[0].epoch_time;
    long block = 0, epochs = 0, solved = 0, satellites = 0;
    begin = processor_time();
    const auto finish = [&](double hours) {
        const double time = processor_time() - begin;
        std::printf("%.3f,%ld,%ld,%.2f,%.2f,%ld\n", hours, epochs, solved,
                    static_cast<double>(satellites) / static_cast<double>(std::max(1L, solved)),
                    1e6 * time / static_cast<double>(epochs), memory("VmRSS:"));
        epochs = solved = satellites = 0;
        begin = processor_time();
    };
    for (int k = 0; k < g_num_obs_storage; ++k) {
        const double t = gtimeSubSec(g_obs_storage[k].epoch_time, first);
        if (const long now = std::lround(std::floor(t / seconds)); now != block) {
            finish(static_cast<double>(now) * seconds / 3600.0);
            block = now;
        }
        run_single_pod_embed(&g_obs_storage[k], pod.get());
        ++epochs;
        if (pod->sln_kine.status != SOL_OK) continue;
        ++solved;
        satellites += pod->sln_kine.nsat;
    }
    finish((static_cast<double>(block) + 1.0) * seconds / 3600.0);
    return 0;
}

/// Normal equations with a strong diagonal.
int run_solve(int n) {
    const std::size_t size = static_cast<std::size_t>(n);
    std::vector<double> matrix(size * size), right(size, 1.0), x(size);
    for (std::size_t i = 0; i < size; ++i) {
        for (std::size_t j = 0; j < size; ++j)
            matrix[i * size + j] = (i == j ? n : 0.0) + std::cos(0.1 * static_cast<double>(i + j));
    }
    double best = 1e9;
    for (int i = 0; i < 3; ++i) {
        std::vector<double> copy = matrix, b = right;
        const double begin = processor_time();
        if (solve_lsq_normal(copy.data(), b.data(), n, x.data(), nullptr) != n) return 1;
        best = std::min(best, processor_time() - begin);
    }
    std::printf("%d,%.6f,%ld\n", n, best, memory("VmHWM:"));
    return 0;
}

int run_derivative(int n) {
    constexpr double kMjd = 59232.25;
    const auto config = make_zeroed<ORBIT_DYN_CONFIG>();
    const auto state = make_zeroed<STATE_SPACECRAFT>();
    initialize_global_earth_gravity();
    initialize_global_earth_rotation_param();
    initialize_global_eph_planet();
    initialize_orbit_conifig_embed(config.get());
    g_orbitdyn_config = config.get();
    g_satellite_state = state.get();
    EMP_PARAM_BASE& kind = config->emp_params_base[config->emp_param_num_base++];
    kind.fm = FM_EMP;
    std::strcpy(kind.name_param, "A0");
    kind.interval = 100.0;
    produce_force_model_params(kMjd, kMjd + (100.0 * n - 1.0) / 86400.0, config.get(), state.get());
    if (config->num_param_forcemodel != n) return 1;
    state->utc_start = mjd2GTime(tsUTC, kMjd);
    const double start[6] = {6890000, 0, 0, 0, -980, 7543};
    std::copy_n(start, 3, state->pos_eci);
    std::copy_n(start + 3, 3, state->vel_eci);
    const int nstate = config->nstate;
    std::vector<double> y(static_cast<std::size_t>(nstate)), dydx(y.size());
    convert_struct2ystate(nstate, config.get(), state.get(), y.data());
    for (std::size_t i = 42; i < y.size(); ++i) y[i] = 1e-3 * static_cast<double>(i);
    const double begin = processor_time();
    for (int i = 0; i < 1000; ++i) orbit_derivative(nstate, 0.01 * i, y.data(), dydx.data());
    std::printf("%d,%.6f,%ld\n", n, processor_time() - begin, memory("VmHWM:"));
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string what = argc > 2 ? argv[1] : "";
    if (what == "command") return run_command(argv + 2);
    if (what == "solve") return run_solve(std::atoi(argv[2]));
    if (what == "derivative") return run_derivative(std::atoi(argv[2]));
    if (what == "constellation" && argc == 4) {
        std::fputs(support::constellation(str2gtime(argv[2], tsGPST), std::atoi(argv[3])).c_str(), stdout);
        return 0;
    }
    if (what == "files" && argc > 4) return run_files(argv[2], std::atoi(argv[3]), argv + 4, argc - 4);
    if (what == "blocks" && argc == 5) return run_blocks(argv[2], std::atof(argv[3]), argv[4]);
    std::fprintf(stderr, "usage: growth constellation|command|files|blocks|solve|derivative ...\n");
    return 2;
}
