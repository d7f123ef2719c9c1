/// \file satellites.h
/// What an epoch of the runtime says about each satellite: direction, residuals, slips; written as CSV, one row a satellite and epoch.
#ifndef LEOPOD_HOST_SATELLITES_H
#define LEOPOD_HOST_SATELLITES_H

#include <string>
#include <vector>

#include "pod_embed.h"
#include "shared/console.h"
#include "shared/files.h"
#include "stores/slips.h"

namespace host {

class SatelliteTable {
  public:
    /// Opens the file and follows the library's reports of the filter's residuals. Throws InputError.
    SatelliteTable(const std::string& file, Console& console);

    /// Writes the satellites of the epoch that the runtime has just processed. Directions and residuals stand only where the point position
    /// was found (`solved`).
    void add(const RUNTIME_POD_EMBED& runtime, bool solved, const std::vector<SlipMark>& slips);
    void close() { out_.close(); }

  private:
    OutputFile out_;
    std::vector<double>
        residuals_;  ///< of the filter's update in this epoch: code and phase of each satellite in turn [m]
    Console::Subscription subscription_;
    bool seen_[MAXSAT_GNSS] = {};  ///< satellites that the filter has had before
};

constexpr int kFirstLeo = 95;  ///< index of a product's first low-earth-orbit satellite, which is no transmitter

/// Name such as G07.
std::string satellite_name(int satsys, int prn);

}  // namespace host

#endif
