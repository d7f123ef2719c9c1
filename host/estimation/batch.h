/// \file batch.h
/// Least squares over a whole arc: motion, ambiguities by pass, and one receiver clock an epoch and system, eliminated epoch by epoch.
#ifndef LEOPOD_HOST_BATCH_H
#define LEOPOD_HOST_BATCH_H

#include "estimation/motion.h"
#include "estimation/observed_arc.h"

namespace host {

constexpr int kMostParameters = 6000;  ///< of a system: 290 MB

struct BatchOptions {
    bool phase = true;        ///< phases take part
    bool covariance = false;  ///< of all parameters
    double antenna_sigma =
        0;  ///< a-priori standard deviation of the radial offset of the antenna [m]; 0: it is not estimated
    double antenna_offset = 0;  ///< the one at hand [m]
};

/// Corrections to the parameters at hand, and what they leave.
struct BatchSolution {
    Eigen::VectorXd motion;  ///< corrections
    double antenna = 0,
           antenna_deviation = 0;   ///< correction of the radial offset of the antenna, its standard deviation [m]
    std::vector<double> ambiguity;  ///< by pass [m]; NaN without one
    Eigen::MatrixXd covariance;     ///< of the motion
    double weighted_squares = 0;    ///< of the observations
    long code_count = 0, phase_count = 0, unknowns = 0;
    double redundancy() const { return static_cast<double>(code_count + phase_count - unknowns); }
    double unit_weight() const { return redundancy() > 0 ? std::sqrt(weighted_squares / redundancy()) : 0.0; }
};

/// Solves the linear system of the links that are in use, and fills their residuals (also of those that are not) and the receiver clocks.
/// Throws EstimationFailure where the system has no solution.
BatchSolution solve_batch(const Motion& motion, ObservedArc& arc, const BatchOptions& options);

/// Adds the corrections of the receiver clocks, found with the residuals, to the epochs. The links are to be computed anew.
void apply_clocks(ObservedArc& arc);

}  // namespace host

#endif
