/// \file run_summary.h
/// What `leopod run` counts over its epochs, and the summary that it prints.
#ifndef LEOPOD_HOST_RUN_SUMMARY_H
#define LEOPOD_HOST_RUN_SUMMARY_H

#include <map>
#include <string>
#include <utility>

#include "commands/run.h"
#include "commands/run_epoch.h"
#include "shared/console.h"
#include "stores/environment.h"

namespace host {

struct Totals {
    GTime first{}, last{};  ///< tags
    long epochs = 0, solved = 0, under_mask = 0, satellite_epochs = 0, used_epochs = 0, without_attitude = 0;
    std::map<std::string, long> failed;  ///< by status
    std::map<std::string, long> filter;  ///< by filter status
    long slips_mw = 0, slips_gf = 0, slips_both = 0;
    std::map<std::pair<int, int>, std::array<long, 2>> slips;  ///< per satellite: Melbourne-Wuebbena, geometry-free
    double seconds = 0;

    void add(const RunEpoch& epoch);
    /// True if the receiver was in the atmosphere, where the filter is not to be used.
    bool on_ground() const { return filter.count("NOT_FOR_GROUND") != 0; }
};

/// What the library reports though nothing is wrong, or what stands in the summary already.
std::vector<Routine> routine_messages(const RunOptions& options);

/// The systems and observables that are taken, and what else was observed.
void print_signals(const Environment& environment);

void print_summary(const RunOptions& options, const Environment& environment, const Totals& totals, const Guard& guard,
                   const Console& console);

}  // namespace host

#endif
