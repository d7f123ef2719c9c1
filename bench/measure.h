/// \file measure.h
/// Shared by the benches and by tests of growth: stores off the stack, processor time and memory of this process.
#ifndef LEOPOD_BENCH_MEASURE_H
#define LEOPOD_BENCH_MEASURE_H

#include <cstdlib>
#include <cstring>
#include <ctime>
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

}  // namespace bench

#endif
