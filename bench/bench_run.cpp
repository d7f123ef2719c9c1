// leopod run over twelve hours of a real receiver, from the start of the program to the written file, against the time that its loop over the
// epochs takes by its own report.
#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <filesystem>
#include <initializer_list>
#include <string>

#include "measure.h"

namespace {

struct Run {
    double whole = 0.0, loop = 0.0;  ///< [s]
    bool ok = false;
};

Run run_program(const std::string& command) {
    Run run;
    const auto start = std::chrono::steady_clock::now();
    std::FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return run;
    long epochs = 0;
    double microseconds = 0.0;
    std::array<char, 1024> line{};
    while (std::fgets(line.data(), static_cast<int>(line.size()), pipe) != nullptr) {
        double seconds = 0.0;
        std::sscanf(line.data(), "epochs: %ld", &epochs);
        std::sscanf(line.data(), "time: %lf s, %lf microseconds", &seconds, &microseconds);
    }
    run.ok = pclose(pipe) == 0 && epochs > 0 && microseconds > 0.0;
    run.whole = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    run.loop = 1e-6 * microseconds * static_cast<double>(epochs);
    return run;
}

/// A part of a run. Both parts of a pair are taken from the same runs, which each of them starts where it is ahead of the other.
double part_of_run(const std::string& command, bool whole) {
    static std::deque<double> waiting[2];
    if (waiting[whole].empty()) {
        const Run run = run_program(command);
        if (!run.ok) return 0.0;
        waiting[false].push_back(run.loop);
        waiting[true].push_back(run.whole);
    }
    const double seconds = waiting[whole].front();
    waiting[whole].pop_front();
    return seconds;
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const std::filesystem::path out = std::filesystem::temp_directory_path() / "leopod_bench_run.csv";
    const std::filesystem::path data = bench::data_dir() / "grace_b_2010208";
    const bool whole_arc = std::filesystem::exists(data);
    const auto from = [](const std::filesystem::path& dir, std::initializer_list<const char*> options) {
        std::string text;
        for (const char* option : options) {
            text += std::string(" ") + (option[0] == '-' ? option : "'" + (dir / option).string() + "'");
        }
        return text;
    };
    const std::string inputs = whole_arc
                                   ? from(data, {"--obs", "grcb2080_00h12h.10o", "--sp3", "COD15941.EPH", "--sp3",
                                                 "COD15942.EPH", "--sp3", "COD15943.EPH"})
                                   : from(std::filesystem::path(LEOPOD_SOURCE_DIR) / "examples/data/grace_b",
                                          {"--obs", "grcb2080_01h05h.10d.gz", "--sp3", "cod15942_excerpt.sp3.gz"});
    const std::string command = "'" LEOPOD_PROGRAM "' run --interval 10" + inputs + " --out '" + out.string() + "'";
    for (const bool whole : {true, false}) {
        const std::string name =
            std::string("leopod run, ") + (whole_arc ? "12 h" : "4 h, packed,") + " of GRACE-B, against its loop alone";
        benchmark::RegisterBenchmark((name + (whole ? "/leopod" : "/limit")).c_str(),
                                     [=](benchmark::State& state) {
                                         for (auto _ : state) {
                                             const double seconds = part_of_run(command, whole);
                                             if (seconds == 0.0) state.SkipWithError("the program failed");
                                             state.SetIterationTime(seconds);
                                         }
                                     })
            ->UseManualTime()
            ->Iterations(1)
            ->Unit(benchmark::kMillisecond);
    }
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove(out);
    return 0;
}
