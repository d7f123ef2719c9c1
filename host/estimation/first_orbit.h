/// \file first_orbit.h
/// A first orbit for a batch estimation: positions from the codes of each epoch, then a dynamic orbit through them.
#ifndef LEOPOD_HOST_FIRST_ORBIT_H
#define LEOPOD_HOST_FIRST_ORBIT_H

#include "estimation/motion.h"
#include "estimation/observed_arc.h"
#include "estimation/signal_model.h"

namespace host {

/// A position from the codes of one epoch.
struct EpochPosition {
    std::size_t epoch;
    Eigen::Vector3d position;  ///< GCRS [m]
};

/// Solves every epoch by its codes, sets its receiver clocks, and marks codes that contradict the others. `every`: one epoch in so many.
std::vector<EpochPosition> solve_points(ObservedArc& arc, const SignalModel& model, std::size_t every);

/// Integrates the motion such that it follows the positions. Throws EstimationFailure where no orbit does.
void fit_first_orbit(Motion& motion, const ObservedArc& arc, const std::vector<EpochPosition>& points);

}  // namespace host

#endif
