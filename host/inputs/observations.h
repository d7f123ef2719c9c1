/// \file observations.h
/// RINEX observation files of version 2, 3 and 4, epoch by epoch, with all their systems and types: the library's own reader knows fewer.
#ifndef LEOPOD_HOST_OBSERVATIONS_H
#define LEOPOD_HOST_OBSERVATIONS_H

#include <array>
#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "gnss_config.h"
#include "gtime.h"
#include "inputs/spans.h"

namespace host {

constexpr std::size_t kFieldWidth = 16;  ///< of an observation: value, loss of lock, signal strength
constexpr std::size_t kMostTypes = 64;   ///< of a system; types behind them are left out

/// A satellite of an epoch. The fields stand one behind the other, 16 characters each; those at the end may be missing.
struct ObservedSatellite {
    char system = ' ';
    int prn = 0;
    std::string fields;

    std::string_view field(std::size_t type) const;
    /// One bit for each type that has a value.
    std::uint64_t mask(std::size_t types) const;
};

struct ObservedEpoch {
    GTime time{};
    std::string date;  ///< as version 3 has it, without ">"
    std::vector<ObservedSatellite> satellites;
    std::size_t count = 0;  ///< satellites in use
};

/// Reads a file. Epochs with an event are passed over and counted. Throws InputError for a file that is none.
class ObservationReader {
  public:
    explicit ObservationReader(const std::string& name);
    bool next(ObservedEpoch& epoch);
    /// Names of the types of each system as version 3 has them, such as C1C; version 2 has the same for all systems. Types that a header
    /// record between the epochs brings come last.
    const std::map<char, std::vector<std::string>>& types() const { return types_; }
    long events() const { return events_; }

  private:
    bool line();
    void read_header();
    void read_types_v2();
    void read_types_v3();
    void read_time_system();
    bool read_epoch_line(ObservedEpoch& epoch, int& flag, std::size_t& count);
    void read_names_v2(std::size_t count);
    void read_satellite_v2(const std::array<char, 3>& name, ObservedSatellite& satellite);
    bool read_satellite_v3(ObservedSatellite& satellite);
    void read_event(std::size_t lines);
    void put_in_place(ObservedSatellite& satellite) const;
    void set_time(const TimeYMD& date, std::string_view second, ObservedEpoch& epoch) const;

    std::string name_;
    std::ifstream in_;
    std::string line_;
    bool again_ = false;  ///< the line at hand is to be read once more
    double version_ = 0;
    std::string time_system_;
    std::map<char, std::vector<std::string>> types_;   ///< of the file
    std::map<char, std::vector<std::string>> layout_;  ///< in the lines at hand
    bool is_moved_ = false;                            ///< these differ
    char system_ = ' ';                                ///< of a list of types that goes on
    std::size_t types_left_ = 0;
    std::vector<std::string> types_v2_;
    std::vector<std::array<char, 3>> names_;  ///< of the satellites of an epoch of version 2
    long events_ = 0;
};

/// What a file holds.
struct ObservationScan {
    std::string name;
    FileSpan span;
    long epochs = 0, events = 0;
    bool in_order = true;
    std::map<char, std::vector<std::string>> types;
    std::map<char, std::map<std::uint64_t, long>> sets;  ///< satellites by their masks of types
};
ObservationScan scan_observations(const std::string& name);

}  // namespace host

#endif
