/// \file estimation.h
/// Solvers that tell a lack of memory from a singular system.
#ifndef LEOPOD_PRIVATE_ESTIMATION_H
#define LEOPOD_PRIVATE_ESTIMATION_H

namespace leopod {

/// Result of the following where the memory is missing; the exported functions return -1 then, as for a singular system.
constexpr int kNoMemory = -2;

/// solve_lsq_normal.
int solve_normal(double* BTWB, double* BTWL, int n, double* x, double* Q);

/// kalman_filter.
int filter_active(double* x, double* P, double* H, double* v, double* R, int n, int m);

}  // namespace leopod

#endif
