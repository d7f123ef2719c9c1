/// \file environment.h
/// Everything the library points at while a command works, and the files that it came from.
#ifndef LEOPOD_HOST_ENVIRONMENT_H
#define LEOPOD_HOST_ENVIRONMENT_H

#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "inputs/spans.h"
#include "pod_embed.h"

namespace host {

/// A file that was read and what it brought.
struct FileReport {
    std::string kind, name, content;
    FileSpan span{};  ///< where the file has one
};

class ObservationStream;

/// Time and number of the epochs of the observation files.
struct ArcOfEpochs {
    GTime first{}, last{};
    double interval = 0;  ///< [s]
    long epochs = 0;
};

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};
template <typename T>
using Owned = std::unique_ptr<T, FreeDeleter>;

/// Zeroed memory that is taken from the system page by page as it is touched; ends with an InputError when there is none.
void* zeroed(std::size_t count, std::size_t size);
template <typename T>
Owned<T> make_zeroed(std::size_t count = 1) {
    return Owned<T>(static_cast<T*>(zeroed(count, sizeof(T))));
}

/// A file name as the loaders take it: writable, though they only read it.
inline char* writable(const std::string& text) { return const_cast<char*>(text.c_str()); }

/// Everything the library points at during a run; owned here, allocated once, off the stack.
struct Environment {
    Owned<RUNTIME_POD_EMBED> runtime;
    Owned<OBSDATA_EPOCH> observations;  ///< all of them, where they are not streamed
    std::unique_ptr<ObservationStream> stream;
    ArcOfEpochs arc;
    std::vector<double> shares;  ///< by configured system: how many of its satellites have all observables [%]
    std::vector<std::string> observed_types;  ///< likewise, in the observation files
    std::string other_signals;                ///< what the observation files hold beside what is taken
    long impossible = 0;                      ///< values that no satellite can have, set aside
    Owned<EOPREC> eop;
    Owned<EPH_HEADER_JPL> jpl_header;
    Owned<EPH_RECORD_JPL> jpl_records;
    ANT_INFO_STORE antennas{};
    std::vector<FileReport> files;
    double clock_interval = 0;  ///< spacing of the coarsest precise product that has clocks [s]
    std::string eop_source;     ///< earth orientation in words, with its span
    std::string planet_source;  ///< planets in words, with their span

    Environment();
    ~Environment();
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;
};

}  // namespace host

#endif
