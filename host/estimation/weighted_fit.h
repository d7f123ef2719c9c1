/// \file weighted_fit.h
/// A dynamic orbit through positions by least squares with their covariances, robust against those that don't belong to it.
#ifndef LEOPOD_HOST_WEIGHTED_FIT_H
#define LEOPOD_HOST_WEIGHTED_FIT_H

#include "estimation/position_fit.h"

namespace host {

/// Gauss-Newton over the library's forces and variational equations. The weight of a position is the inverse of its covariance (where there is
/// none, equal ones) plus the square of a floor, divided by the number of positions that share their errors with it, less by Huber's function
/// where its residual is large, and none where it is an outlier. Throws InputError where the configuration can't serve these positions.
FitResult fit_with_weights(const FitPositions& positions, Dynamics& dynamics);

}  // namespace host

#endif
