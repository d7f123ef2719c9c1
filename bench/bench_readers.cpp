// The readers against the least that reading can be: a loop of fgets over the same file, with the same processor time measured.
#include <benchmark/benchmark.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "attitude.h"
#include "gnss_observation.h"
#include "gnss_satposition.h"
#include "measure.h"
#ifdef HAVE_HOST
#include <fcntl.h>
#include <sys/stat.h>
#include <zlib.h>

#include "inputs/open.h"
#endif

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

/// The size of the file is part of the name.
void register_pair(const std::string& title, const std::string& name, const std::function<void(benchmark::State&)>& own,
                   const std::function<void(benchmark::State&)>& limit) {
    char size[32];
    std::snprintf(size, sizeof size, ", %.2g MB", 1e-6 * static_cast<double>(std::filesystem::file_size(name)));
    for (const auto& [kind, work] : {std::pair{"/leopod", own}, std::pair{"/limit", limit}}) {
        benchmark::RegisterBenchmark((title + size + kind).c_str(), work)
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
        title, name, [=](benchmark::State& state) { measure(state, prepare, [&] { return load(file->data()); }); },
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
        title, name,
        [=](benchmark::State& state) { measure_in_child(state, [&] { return load_ephemeris_brdc(file->data()); }); },
        [=](benchmark::State& state) { measure_in_child(state, [&] { return read_lines(*file); }); });
}

// Where the data sets are not there: files of the same columns with numbers of no meaning.

void write_header(std::FILE* file, const char* version, const char* label) {
    std::fprintf(file, "%-60sRINEX VERSION / TYPE\n", version);
    if (label[0] != 0) std::fprintf(file, "%s\n", label);
    std::fprintf(file, "%60sEND OF HEADER\n", "");
}

void write_observations_2(std::FILE* file) {
    write_header(file, "     2.20           OBSERVATION DATA    G (GPS)",
                 "     8    L1    L2    C1    P1    P2    LA    SA    S1      # / TYPES OF OBSERV");
    for (int i = 0; i < 4000; ++i) {
        std::fprintf(file, " 10  7 27 %2d %2d %10.7f  0  9", i / 360, i / 6 % 60, i % 6 * 10.0);
        for (int sat = 1; sat <= 9; ++sat) std::fprintf(file, "G%02d", 3 * sat);
        for (int sat = 1; sat <= 9; ++sat) {
            for (int k = 0; k < 8; ++k) {
                std::fprintf(file, "%s%14.3f  ", k % 5 == 0 ? "\n" : "", 2.1e7 + 1e3 * (i + sat) + 0.123 * k);
            }
        }
        std::fputc('\n', file);
    }
}

void write_clocks(std::FILE* file) {
    write_header(file, "     3.00           C", "");
    for (int i = 0; i < 2880; ++i) {
        for (int prn = 1; prn <= 32; ++prn) {
            std::fprintf(file, "AS G%02d  2020 06 25 %02d %02d %9.6f  2   %19.12E %19.12E\n", prn, i / 120, i / 2 % 60,
                         i % 2 * 30.0, 1e-5 * (prn - 16) + 1e-12 * i, 1e-11);
        }
    }
}

void write_navigation_2(std::FILE* file) {
    write_header(file, "     2.10           N: GPS NAV DATA", "");
    for (int i = 0; i < 224; ++i) {
        std::fprintf(file, "%2d 20  6 25 %2d  0  0.0", i % 32 + 1, i / 32 * 2);
        for (int k = 1; k < 32; ++k) {
            if (k % 4 == 0) std::fprintf(file, "\n   ");
            char number[32];
            std::snprintf(number, sizeof number, "%19.12E", k == 11 ? 5153.6 : 0.01 * k + 1e-5 * i);
            *std::strchr(number, 'E') = 'D';
            std::fputs(number, file);
        }
        std::fputc('\n', file);
    }
}

/// A file of the data sets, or one that is written where it is not there.
std::string data_or(const std::string& name, void (*write)(std::FILE*)) {
    const std::filesystem::path path = bench::data_dir() / name;
    if (std::filesystem::exists(path)) return path.string();
    const std::string own =
        (std::filesystem::temp_directory_path() / ("leopod_bench_" + path.filename().string())).string();
    std::FILE* const file = std::fopen(own.c_str(), "w");
    if (file == nullptr) std::abort();
    write(file);
    std::fclose(file);
    return own;
}

std::vector<std::string> copies;  ///< files that the benches made
void remove_copies() {
    for (const std::string& file : copies) std::filesystem::remove(file);
}

#ifdef HAVE_HOST
/// Compact RINEX in gzip, opened by the program and read by the library, against what its twin costs at least: gzip and the reading of the
/// plain file.
void add_compact(const std::string& title, const std::string& packed) {
    const std::filesystem::path folder = std::filesystem::temp_directory_path();
    const std::string copy =
        (folder / ("leopod_bench_" + std::to_string(getpid()) + "_" + std::filesystem::path(packed).stem().string()))
            .string();
    const std::string plain = copy + ".obs";
    std::filesystem::copy_file(packed, copy);
    std::filesystem::copy_file(host::InputFile::of(packed).path(), plain);
    copies.insert(copies.end(), {copy, plain, plain + ".gz"});
    if (std::system(("gzip -k " + plain).c_str()) != 0) return;
    register_pair(
        title, packed,
        [copy](benchmark::State& state) {
            measure(
                state,
                [&copy] {  // a file that has changed is opened anew
                    g_num_obs_storage = 0;
                    utimensat(AT_FDCWD, copy.c_str(), nullptr, 0);
                },
                [&copy] { return load_observation_rinex(host::loadable(copy), 0, 0.0); });
        },
        [plain](benchmark::State& state) {
            measure(
                state, [] { g_num_obs_storage = 0; },
                [&plain] {
                    static char block[1U << 18U];
                    gzFile file = gzopen((plain + ".gz").c_str(), "rb");
                    while (gzread(file, block, sizeof block) > 0) benchmark::DoNotOptimize(block);
                    gzclose(file);
                    return load_observation_rinex(std::string(plain).data(), 0, 0.0);
                });
        });
}
#endif

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    g_obs_storage = epochs.get();
#ifdef HAVE_HOST
    add_compact("reading Compact RINEX in gzip", LEOPOD_SOURCE_DIR "/examples/data/grace_b/grcb2080_01h05h.10d.gz");
    const std::filesystem::path station = bench::data_dir() / "archives/ESBC00DNK_R_20201770000_01D_30S_MO.crx.gz";
    if (std::filesystem::exists(station)) add_compact("reading Compact RINEX in gzip", station.string());
#endif
    g_prec_storage = precise.get();
    void* shared = mmap(nullptr, sizeof(EPHBRDC_STORE), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) return 1;
    broadcast = static_cast<EPHBRDC_STORE*>(shared);
    g_brdc_storage = broadcast;
    g_antenna_info_store = &antennas;

    using bench::file_or;
    const auto no_epochs = [] { g_num_obs_storage = 0; };
    const auto load_observations = [](char* name) { return load_observation_rinex(name, 0, 0.0); };
    const auto no_orbits = [] {
        for (int& count : precise->idx_eph) count = 0;
        for (int& count : precise->idx_clk) count = 0;
    };
    add("reading observations, RINEX 2", data_or("grace_b_2010208/grcb2080_00h12h.10o", write_observations_2),
        no_epochs, load_observations);
    add("reading observations, RINEX 3",
        file_or("gnss/ground_esbc_2020177/ESBC00DNK_R_20201770000_06H_30S_GO_trim.rnx", "tests/arc21/gps.obs"),
        no_epochs, load_observations);
    add("reading SP3",
        file_or("gnss/leo_truth_2018364/COD0MGXFIN_20183640000_01D_05M_ORB.SP3",
                "examples/data/grace_b/cod15942_excerpt.sp3"),
        no_orbits, load_ephemris_prec);
    add("reading clocks", data_or("gnss/ground_esbc_2020177/GRG0MGXFIN_20201770000_01D_30S_CLK_gps.CLK", write_clocks),
        no_orbits, [](char* name) { return load_clock_prec(name, precise.get()); });
    add(
        "reading ANTEX", file_or("gnss/antex/igs14_small.atx", "examples/data/grace_b/gps_satellites_2010208.atx"),
        [] { antennas.num_antenna_info = 0; }, [](char* name) { return load_antenna_storage(name, &antennas); });
    // The room of an object is allocated once, by the first load.
    add(
        "reading quaternions", file_or("leo_sim/dev21_att_zup.txt", "tests/arc21/attitude.txt"),
        [] { g_att_qua_storage.qua_num[0] = 0; }, [](char* name) { return load_attitude_quaternion(0, name); });
    add_navigation("reading navigation, RINEX 2", data_or("gnss/rinex2/esbc1770.20n", write_navigation_2));
    add_navigation("reading navigation, RINEX 3",
                   file_or("gnss/ground_esbc_2020177/ESBC00DNK_R_20201770000_01D_MN.rnx", "tests/arc21/arc.nav"));
    benchmark::RunSpecifiedBenchmarks();
    std::free(antennas.antenna_info_storage);
    remove_copies();
    return 0;
}
