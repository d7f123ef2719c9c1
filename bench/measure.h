/// \file measure.h
/// Shared by the benches and by tests of growth: stores off the stack, processor time and memory of this process.
#ifndef LEOPOD_BENCH_MEASURE_H
#define LEOPOD_BENCH_MEASURE_H

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

namespace bench {

struct Free {
    void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using Owned = std::unique_ptr<T, Free>;

/// Zeroed memory, as every store of the library needs it.
template <typename T>
Owned<T> make_zeroed(std::size_t count = 1) {
    void* const memory = std::calloc(count, sizeof(T));
    if (memory == nullptr) std::abort();
    return Owned<T>(static_cast<T*>(memory));
}

/// Processor time of the process [s]: other processes of a busy machine don't count.
inline double processor_time() {
    std::timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + 1e-9 * static_cast<double>(t.tv_nsec);
}

/// A line of /proc/self/status, such as "VmRSS:" [kB].
inline long memory(const char* name) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind(name, 0) == 0) return std::atol(line.c_str() + std::strlen(name));
    }
    return 0;
}

#ifdef LEOPOD_SOURCE_DIR
/// The data sets beside the tree, or where LEOPOD_DATA points.
inline std::filesystem::path data_dir() {
    const char* dir = std::getenv("LEOPOD_DATA");
    return dir != nullptr ? dir : LEOPOD_DATA_DIR;
}

/// Expands a file of the repository, named without ".gz", among the temporary files.
inline std::string expanded(const std::string& name) {
    const std::filesystem::path packed = std::filesystem::path(LEOPOD_SOURCE_DIR) / (name + ".gz");
    const std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("leopod_bench_" + packed.stem().string());
    if (std::system(("gzip -dc '" + packed.string() + "' >'" + path.string() + "'").c_str()) != 0) std::abort();
    return path.string();
}

/// A file of the data sets, or one of the repository where they are not there.
inline std::string file_or(const std::string& name, const std::string& of_repository) {
    const std::filesystem::path path = data_dir() / name;
    return std::filesystem::exists(path) ? path.string() : expanded(of_repository);
}
#endif

}  // namespace bench

#endif
