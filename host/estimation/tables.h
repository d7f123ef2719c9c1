/// \file tables.h
/// What an estimation says beside the orbit, as CSV. All throw InputError where a file cannot be written.
#ifndef LEOPOD_HOST_TABLES_H
#define LEOPOD_HOST_TABLES_H

#include "estimation/formal.h"
#include "estimation/reduced_dynamic.h"

namespace host {

/// One row an epoch and satellite, in the columns of `leopod run`.
void write_satellites(const std::string& file, const ObservedArc& arc);

/// What took no part and why, in stretches; and what began each ambiguity.
void write_edits(const std::string& file, const ObservedArc& arc);

/// The parameters of the motion with their standard deviations.
void write_orbit_parameters(const std::string& file, const Motion& motion, const GTime& start,
                            const EstimationReport& report);

/// Formal errors, radial, along and cross.
void write_formal_errors(const std::string& file, const GTime& start, const std::vector<double>& times,
                         const std::vector<FormalError>& errors);

}  // namespace host

#endif
