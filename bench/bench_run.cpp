// leopod run over twelve hours of a real receiver, from the start of the program to the written file, against the time that its loop over the
// epochs takes by its own report.
#include <benchmark/benchmark.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

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

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    const char* dir = std::getenv("LEOPOD_DATA");
    const std::filesystem::path data =
        std::filesystem::path(dir != nullptr ? dir : LEOPOD_DATA_DIR) / "grace_b_2010208";
    if (!std::filesystem::exists(data)) {
        std::fprintf(stderr, "the real arc is not there: the bench of the program is skipped\n");
        return 0;
    }
    const auto quoted = [&](const char* name) { return " '" + (data / name).string() + "'"; };
    const std::filesystem::path out = std::filesystem::temp_directory_path() / "leopod_bench_run.csv";
    const std::string command = "'" LEOPOD_PROGRAM "' run --interval 10 --obs" + quoted("grcb2080_00h12h.10o") +
                                " --sp3" + quoted("COD15941.EPH") + " --sp3" + quoted("COD15942.EPH") + " --sp3" +
                                quoted("COD15943.EPH") + " --out '" + out.string() + "'";
    // The parts of the pair take turns.
    for (const bool whole : {true, false}) {
        const std::string name = "leopod run, 12 h of GRACE-B, against its loop alone";
        benchmark::RegisterBenchmark((name + (whole ? "/leopod" : "/limit")).c_str(),
                                     [=](benchmark::State& state) {
                                         for (auto _ : state) {
                                             const Run run = run_program(command);
                                             if (!run.ok) state.SkipWithError("the program failed");
                                             state.SetIterationTime(whole ? run.whole : run.loop);
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
