/// \file orbit_summary.h
/// What `leopod orbit` says of its result: printed, as a summary for programs, and whether it is worth it.
#ifndef LEOPOD_HOST_ORBIT_SUMMARY_H
#define LEOPOD_HOST_ORBIT_SUMMARY_H

#include "commands/orbit_job.h"
#include "estimation/formal.h"
#include "inputs/truth.h"
#include "outputs/summary.h"

namespace host {

/// Shares and counts of the observations.
struct EditCounts {
    long edits[2][kEdits] = {};  ///< code, phase
    long used(int kind) const { return edits[kind][0]; }
    long all() const { return used_sum(0); }
    long used_sum(int kind) const {
        long sum = 0;
        for (long n : edits[kind]) sum += n;
        return sum;
    }
    double share(int kind) const {
        return all() > 0 ? static_cast<double>(used(kind)) / static_cast<double>(all()) : 0;
    }
};

EditCounts count_observations(const ObservedArc& arc);

/// Why a result is not worth it; empty for a good one.
std::string fault_of(const EstimationReport& report, const EditCounts& counts, const std::vector<FormalError>& formal);

/// Files, forces and sigmas, before the work.
void print_input(const OrbitJob& job);

/// Solutions, edits, and what was estimated.
void print_report(const OrbitJob& job, const Motion& motion, const EstimationReport& report, const EditCounts& counts,
                  const std::vector<FormalError>& formal);

/// Statistics of all errors, nothing trimmed, with the rms of each component.
void print_errors(const char* name, const std::vector<PositionError>& errors);

void summarise(const OrbitJob& job, const Motion& motion, const EstimationReport& report, const EditCounts& counts,
               const std::vector<FormalError>& formal, Summary& summary);

}  // namespace host

#endif
