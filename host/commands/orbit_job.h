/// \file orbit_job.h
/// What `leopod orbit` works on: the loaded files, the observations of the arc, and the settings by the options.
#ifndef LEOPOD_HOST_ORBIT_JOB_H
#define LEOPOD_HOST_ORBIT_JOB_H

#include "commands/orbit.h"

namespace host {

struct OrbitJob {
    Environment environment;
    Dynamics dynamics;
    ObservedArc arc;
    EstimationOptions estimation;
    GTime last{};  ///< last epoch
};

/// Loads the files and collects the observations of the span. Throws InputError.
void load(const OrbitOptions& options, OrbitJob& job);

/// Accelerations by the options, the configuration, or built in.
std::vector<EmpiricalTerm> empirical_terms(const OrbitOptions& options, const ORBIT_DYN_CONFIG& config);

/// State of the motion at a time since the start of the arc, both frames.
TrajectoryPoint point_at(const Motion& motion, const GTime& start, double t);

}  // namespace host

#endif
