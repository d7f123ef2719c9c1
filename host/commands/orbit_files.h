/// \file orbit_files.h
/// The files of `leopod orbit`.
#ifndef LEOPOD_HOST_ORBIT_FILES_H
#define LEOPOD_HOST_ORBIT_FILES_H

#include "commands/orbit_job.h"

namespace host {

/// Writes what the options ask for and says so. Throws InputError.
void write_results(const OrbitOptions& options, const OrbitJob& job, const Motion& motion,
                   const EstimationReport& report);

}  // namespace host

#endif
