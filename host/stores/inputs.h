/// \file inputs.h
/// Input files of a run: each is checked before the library reads it, since some loaders end the process on a bad file.
#ifndef LEOPOD_HOST_INPUTS_H
#define LEOPOD_HOST_INPUTS_H

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "inputs/positions.h"
#include "pod_embed.h"

namespace host {

/// Options that name files and say how they are read.
struct InputOptions {
    std::vector<std::string> obs, nav, sp3, clk, atx, att;
    std::string eop, eop_format = "c04", jpl, config;
    int receiver = 0;
    double interval = 0.0;  ///< [s]; 0 takes every epoch
    bool embedded = false;
};

/// A file that was read and what it brought.
struct FileReport {
    std::string kind, name, content;
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
    Owned<OBSDATA_EPOCH> observations;
    Owned<EOPREC> eop;
    Owned<EPH_HEADER_JPL> jpl_header;
    Owned<EPH_RECORD_JPL> jpl_records;
    ANT_INFO_STORE antennas{};
    std::vector<FileReport> files;
    std::string eop_source;     ///< earth orientation in words, with its span
    std::string planet_source;  ///< planets in words, with their span

    Environment() = default;
    ~Environment();
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;
};

/// Earth orientation from a file of the given format ("c04", "rapid", "keyword") into the environment and the library's store.
void load_earth_orientation(const std::string& file, const std::string& format, Environment& environment);

/// Planetary ephemeris from a JPL ASCII file; with an empty name the built-in record where it covers the dates, else the library's analytic
/// series of Sun and Moon.
void load_planets(const std::string& file, double mjd_first, double mjd_last, Environment& environment);

/// Puts the analytic series of Sun and Moon into Chebyshev records of the dates: GCRS, kilometres and km/s, where the library's own fallback
/// has the mean equator and equinox of date, metres and no velocity. Does nothing where an ephemeris is loaded.
void tabulate_analytic_planets(double mjd_first, double mjd_last, Environment& environment);

/// Checks and loads the navigation, SP3 and clock files alone. Throws InputError for a file that cannot be used, or without any.
void load_transmitters(const InputOptions& options, Environment& environment);

/// A GNSS configuration file into the library's configuration. Throws InputError.
void load_configuration(const std::string& file, Environment& environment);

/// Loads all files and starts the runtime in the chosen deployment. Throws InputError for a file that cannot be used.
void prepare(const InputOptions& options, Environment& environment);

/// True if the epoch has a satellite that the runtime would keep; an epoch without one would end the process.
bool has_usable_satellite(const OBSDATA_EPOCH& epoch);

/// ISO text of a time tag.
std::string time_text(const GTime& time, int decimals = 3);

}  // namespace host

#endif
