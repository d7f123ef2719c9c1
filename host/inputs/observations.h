/// \file observations.h
/// RINEX observation files of version 2, 3 and 4, epoch by epoch, with all their systems and types: the library's own reader knows fewer.
#ifndef LEOPOD_HOST_OBSERVATIONS_H
#define LEOPOD_HOST_OBSERVATIONS_H

#include <array>
#include <cstdint>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "gtime.h"
#include "inputs/observation_layout.h"
#include "inputs/spans.h"

namespace host {

struct ObservedEpoch {
    GTime time{};
    std::string date;  ///< as version 3 has it, without ">"
    std::vector<ObservedSatellite> satellites;
    std::size_t count = 0;  ///< satellites in use
};

/// What of a file is passed over.
struct PassedOver {
    long events = 0;      ///< epochs with an event
    long lines = 0;       ///< that neither open an epoch nor belong to one
    long satellites = 0;  ///< that an epoch counts and does not have
    bool is_cut = false;  ///< the file ends within an epoch
    /// In words; empty where there is nothing.
    std::string text() const;
};

/// Reads a file. Throws InputError for a file that is none.
class ObservationReader {
  public:
    explicit ObservationReader(const std::string& name);
    bool next(ObservedEpoch& epoch);
    /// Types that a header record between the epochs brings come last.
    const std::map<char, std::vector<std::string>>& types() const { return layout_.types(); }
    const PassedOver& passed_over() const { return passed_; }

  private:
    bool line();
    void read_version();
    void read_header();
    void read_time_system();
    bool read_epoch_line(ObservedEpoch& epoch, int& flag, std::size_t& count);
    bool read_date(ObservedEpoch& epoch);
    void read_names_v2(std::size_t count);
    bool read_satellite_v2(const std::array<char, 3>& name, ObservedSatellite& satellite);
    bool read_satellite_v3(ObservedSatellite& satellite);
    void read_satellites(std::size_t count, ObservedEpoch& epoch);
    bool is_whole() const;
    void read_event(std::size_t lines);
    void pass_over();
    void set_time(const TimeYMD& date, std::string_view second, ObservedEpoch& epoch) const;

    std::string name_;
    std::vector<char> buffer_;
    std::ifstream in_;
    std::string line_;
    bool again_ = false;  ///< the line at hand is to be read once more
    double version_ = 0;
    char system_ = ' ';  ///< of the file; M for several
    std::string time_system_;
    ObservationLayout layout_;
    std::vector<std::array<char, 3>> names_;  ///< of the satellites of an epoch of version 2
    PassedOver passed_;
};

/// What a file holds.
struct ObservationScan {
    std::string name;
    FileSpan span;
    long epochs = 0;
    PassedOver passed_over;
    bool in_order = true;
    std::map<char, std::vector<std::string>> types;
    std::map<char, std::map<std::uint64_t, long>> sets;  ///< satellites by their masks of types
};
ObservationScan scan_observations(const std::string& name);

}  // namespace host

#endif
