/// \file formal.h
/// Formal errors of an estimated orbit along it.
#ifndef LEOPOD_HOST_FORMAL_H
#define LEOPOD_HOST_FORMAL_H

#include "estimation/motion.h"

namespace host {

/// Standard deviations of a position: radial, along, cross [m].
using FormalError = Eigen::Vector3d;

/// Errors of the position at times in ascending order, by the covariance of the motion's parameters.
std::vector<FormalError> formal_errors(const Motion& motion, const Eigen::MatrixXd& covariance,
                                       const std::vector<double>& times);

/// Rows of the radial, along and cross directions of a state.
Eigen::Matrix3d orbit_axes(const Eigen::Vector3d& position, const Eigen::Vector3d& velocity);

}  // namespace host

#endif
