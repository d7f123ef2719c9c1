// The readers against the least that reading can be: a loop of fgets over the same file, with the same processor time measured.
#include <benchmark/benchmark.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "attitude.h"
#include "gnss_observation.h"
#include "gnss_satposition.h"
#include "measure.h"

namespace {

using bench::make_zeroed;
using bench::Owned;
using bench::processor_time;

constexpr std::size_t kEpochs = 5000;
Owned<OBSDATA_EPOCH> epochs = make_zeroed<OBSDATA_EPOCH>(kEpochs);
Owned<EPHPREC_STORE> precise = make_zeroed<EPHPREC_STORE>();
EPHBRDC_STORE* broadcast = nullptr;  ///< in memory shared with children
ANT_INFO_STORE antennas{};

void measure(benchmark::State& state, const std::function<void()>& prepare, const std::function<bool()>& work) {
    prepare();
    if (!work()) state.SkipWithError("the file could not be read");
    for (auto _ : state) {
        prepare();
        const double start = processor_time();
        benchmark::DoNotOptimize(work());
        state.SetIterationTime(processor_time() - start);
    }
}

bool read_lines(const std::string& name) {
    std::FILE* file = std::fopen(name.c_str(), "r");
    if (file == nullptr) return false;
    char line[1024];
    while (std::fgets(line, sizeof line, file) != nullptr) benchmark::DoNotOptimize(line);
    std::fclose(file);
    return true;
}

/// Time of one call in a process of its own, so that what it leaves behind is gone.
double time_in_child(const std::function<bool()>& work) {
    int ends[2];
    if (pipe(ends) != 0) return 0.0;
    const pid_t child = fork();
    if (child == 0) {
        // the store is shared memory: its pages are mapped before the clock starts
        const auto* bytes = reinterpret_cast<const volatile char*>(broadcast);
        for (std::size_t i = 0; i < sizeof *broadcast; i += 4096) benchmark::DoNotOptimize(bytes[i]);
        const double start = processor_time();
        const bool ok = work();
        const double seconds = ok ? processor_time() - start : 0.0;
        _exit(write(ends[1], &seconds, sizeof seconds) == sizeof seconds ? 0 : 1);
    }
    double seconds = 0.0;
    if (read(ends[0], &seconds, sizeof seconds) != sizeof seconds) seconds = 0.0;
    int status = 0;
    waitpid(child, &status, 0);
    close(ends[0]);
    close(ends[1]);
    return seconds;
}

void register_pair(const std::string& title, const std::function<void(benchmark::State&)>& own,
                   const std::function<void(benchmark::State&)>& limit) {
    for (const auto& [kind, work] : {std::pair{"/leopod", own}, std::pair{"/limit", limit}}) {
        benchmark::RegisterBenchmark((title + kind).c_str(), work)
            ->UseManualTime()
            ->MinTime(0.1)
            ->Unit(benchmark::kMicrosecond);
    }
}

/// A reader that starts afresh with each load.
void add(const std::string& title, const std::string& name, const std::function<void()>& prepare,
         const std::function<bool(char*)>& load) {
    const auto file = std::make_shared<std::string>(name);
    register_pair(
        title, [=](benchmark::State& state) { measure(state, prepare, [&] { return load(file->data()); }); },
        [=](benchmark::State& state) {
            measure(
                state, [] {}, [&] { return read_lines(*file); });
        });
}

/// The navigation reader, each load in a process of its own: the places of its records count on for the whole process, and full rows would
/// be passed over.
void add_navigation(const std::string& title, const std::string& name) {
    const auto file = std::make_shared<std::string>(name);
    const auto measure_in_child = [](benchmark::State& state, const std::function<bool()>& work) {
        for (auto _ : state) {
            const double seconds = time_in_child(work);
            if (seconds == 0.0) state.SkipWithError("the file could not be read");
            state.SetIterationTime(seconds);
        }
    };
    register_pair(
        title,
        [=](benchmark::State& state) { measure_in_child(state, [&] { return load_ephemeris_brdc(file->data()); }); },
        [=](benchmark::State& state) { measure_in_child(state, [&] { return read_lines(*file); }); });
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const char* dir = std::getenv("LEOPOD_DATA");
    const std::filesystem::path data = dir != nullptr ? dir : LEOPOD_DATA_DIR;
    const auto path = [&](const char* name) { return (data / name).string(); };
    if (!std::filesystem::exists(path("grace_b_2010208"))) {
        std::fprintf(stderr, "the data sets are not there: the bench of the readers is skipped\n");
        return 0;
    }
    g_obs_storage = epochs.get();
    g_prec_storage = precise.get();
    void* shared = mmap(nullptr, sizeof(EPHBRDC_STORE), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) return 1;
    broadcast = static_cast<EPHBRDC_STORE*>(shared);
    g_brdc_storage = broadcast;
    g_antenna_info_store = &antennas;

    const auto no_epochs = [] { g_num_obs_storage = 0; };
    const auto load_observations = [](char* name) { return load_observation_rinex(name, 0, 0.0); };
    const auto no_orbits = [] {
        for (int& count : precise->idx_eph) count = 0;
        for (int& count : precise->idx_clk) count = 0;
    };
    add("reading observations, RINEX 2, 5 MB", path("grace_b_2010208/grcb2080_00h12h.10o"), no_epochs,
        load_observations);
    add("reading observations, RINEX 3, 1.3 MB",
        path("gnss/ground_esbc_2020177/ESBC00DNK_R_20201770000_06H_30S_GO_trim.rnx"), no_epochs, load_observations);
    add("reading SP3, 1.6 MB", path("gnss/leo_truth_2018364/COD0MGXFIN_20183640000_01D_05M_ORB.SP3"), no_orbits,
        load_ephemris_prec);
    add("reading clocks, 7 MB", path("gnss/ground_esbc_2020177/GRG0MGXFIN_20201770000_01D_30S_CLK_gps.CLK"), no_orbits,
        [](char* name) { return load_clock_prec(name, precise.get()); });
    add(
        "reading ANTEX, 0.1 MB", path("gnss/antex/igs14_small.atx"), [] { antennas.num_antenna_info = 0; },
        [](char* name) { return load_antenna_storage(name, &antennas); });
    // The room of an object is allocated once, by the first load.
    add(
        "reading quaternions, 35 kB", path("leo_sim/dev21_att_zup.txt"), [] { g_att_qua_storage.qua_num[0] = 0; },
        [](char* name) { return load_attitude_quaternion(0, name); });
    add_navigation("reading navigation, RINEX 2, 0.15 MB", path("gnss/rinex2/esbc1770.20n"));
    add_navigation("reading navigation, RINEX 3, 2.4 MB",
                   path("gnss/ground_esbc_2020177/ESBC00DNK_R_20201770000_01D_MN.rnx"));
    benchmark::RunSpecifiedBenchmarks();
    std::free(antennas.antenna_info_storage);
    return 0;
}
