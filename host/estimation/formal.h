/// \file formal.h
/// Formal errors of an estimated orbit along it.
#ifndef LEOPOD_HOST_FORMAL_H
#define LEOPOD_HOST_FORMAL_H

#include "estimation/motion.h"
#include "estimation/observed_arc.h"
#include "shared/timed_position.h"

namespace host {

/// Standard deviations of a position: radial, along, cross [m].
using FormalError = Eigen::Vector3d;

/// Errors of the position at times in ascending order, by the covariance of the motion's parameters.
std::vector<FormalError> formal_errors(const Motion& motion, const Eigen::MatrixXd& covariance,
                                       const std::vector<double>& times);

/// Covariances of position and velocity, earth-fixed, at times in ascending order since the epoch of the motion.
std::vector<Covariance> state_covariances(const Motion& motion, const Eigen::MatrixXd& covariance,
                                          const GTime& utc_start, const std::vector<double>& times);

/// Residuals at equal spacing; NaN where there is none.
using Series = std::vector<double>;

/// What residuals that neighbours in time share do to a variance: 1 where they are independent, else the sum of the autocorrelation up to
/// where it has faded.
double correlation_factor(const std::vector<Series>& series, double interval);

/// The same of the used phases within their passes.
double correlation_factor(const ObservedArc& arc);

/// Rows of the radial, along and cross directions of a state.
Eigen::Matrix3d orbit_axes(const Eigen::Vector3d& position, const Eigen::Vector3d& velocity);

}  // namespace host

#endif
