/// \file screening.h
/// Passes, slips and outliers of the phases and codes of an arc.
#ifndef LEOPOD_HOST_SCREENING_H
#define LEOPOD_HOST_SCREENING_H

#include <map>

#include "estimation/motion.h"
#include "estimation/observed_arc.h"

namespace host {

struct ScreeningOptions {
    double longest_gap = 90.0;     ///< within a pass [s]
    double shortest_pass = 240.0;  ///< [s]
    double jump = 0.05;            ///< of a phase against the orbit between epochs [m]
    double bound = 4.5;            ///< of a residual, in its standard deviation
};

/// What the screening did.
struct ScreeningReport {
    std::map<std::string, long> passes;  ///< by what began them
};

/// Splits the phases into passes: by gaps, the two slip combinations, and jumps of the phases against the orbit at hand (code_omc,
/// phase_omc of all links) from epoch to epoch. Marks the short ones.
ScreeningReport find_passes(ObservedArc& arc, const ScreeningOptions& options);

/// Marks residuals beyond the bound and admits those that have come back. Returns the number of changes.
long edit_residuals(ObservedArc& arc, const ScreeningOptions& options, bool phase);

}  // namespace host

#endif
