/// \file mathlib.h
/// Linear algebra on flat row-major arrays, least squares, sequential filters, interpolation, statistics, Helmert transformation.
/// An element stands at row * stride + column; arguments named ..._max are strides of larger fixed arrays. A routine without
/// a stride argument takes dense matrices. Results go to the caller's arrays and must not overlap the inputs, unless a block
/// says that it works in place. A dimension of zero or less is an empty matrix.
#ifndef LEOPOD_MATHLIB_H
#define LEOPOD_MATHLIB_H

#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

// --- matrix kernel ---------------------------------------------------------------------------------------------------

/// Matrix product C = A * B.
/// \param rA,cA  rows and columns of A
/// \param A      rA x cA
/// \param cB     columns of B
/// \param B      cA x cB
/// \param C      [out] rA x cB, cleared first
void matrixMultiply(int rA, int cA, double* A, int cB, double* B, double* C);

/// Triple product Res = M1 * M2 * M3, without a temporary matrix:
/// Res(i,j) = sum over k of (sum over l of M1(i,l) * M2(l,k)) * M3(k,j).
/// \param r1,r2,r3,c3           M1 is r1 x r2, M2 is r2 x r3, M3 is r3 x c3
/// \param M1,M2,M3              factors with strides c1_max, c2_max, c3_max
/// \param Res                   [out] r1 x c3, dense
/// \param c1_max,c2_max,c3_max  strides of M1, M2, M3
void matrixMultiply3(int r1, int r2, int r3, int c3, double* M1, double* M2, double* M3, double* Res, int c1_max,
                     int c2_max, int c3_max);

/// Triple product Res = M1 * M2 * M1 transposed, without a temporary matrix.
/// \param r1,r2          M1 is r1 x r2, M2 is r2 x r2
/// \param c2             not used
/// \param M1,M2          factors with strides c1_max, c2_max
/// \param Res            [out] r1 x r1 with stride c_res_max; the rest of a wider array stays as it was
/// \param c1_max,c2_max  strides of M1 and M2
/// \param c_res_max      stride of Res
void matrixMultiply3_HPHT(int r1, int r2, int c2, double* M1, double* M2, double* Res, int c1_max, int c2_max,
                          int c_res_max);

/// Transpose of a matrix.
/// \param r,c  rows and columns of m
/// \param m    r x c
/// \param t    [out] c x r
void matrixTranspose(int r, int c, double* m, double* t);

/// Identity matrix.
/// \param r  order
/// \param m  [out] r x r
void matrix_identical(int r, double* m);

/// Right-handed vector product C = A x B of three-vectors; other lengths leave C as it was, without a report.
/// \param m,n  lengths of A and B; both must be 3
/// \param A,B  factors
/// \param C    [out] three elements
void crossproduct(int m, int n, const double* A, const double* B, double* C);

/// Scales a vector to unit length in place; a null pointer or a length below 1e-18 changes nothing.
/// \param n  number of elements
/// \param x  [in,out] vector
void normalize_vector(int n, double* x);

/// Changes the sign of a vector in place; a null pointer is ignored.
/// \param n  number of elements
/// \param x  [in,out] vector
void negative_vector(int n, double* x);

/// Euclidean length.
/// \param n  number of elements
/// \param x  vector
/// \return the length
double norm(int n, double* x);

/// Sum of squares: the squared Euclidean length, without the root.
/// \param n  number of elements
/// \param x  vector
/// \return the sum
double norm2(int n, double* x);

/// Scalar product.
/// \param m,n  lengths of A and B
/// \param A,B  vectors
/// \return the product; 0 for unequal lengths.
/// Logs at error level when the lengths differ.
double dotproduct(int m, int n, const double* A, const double* B);

/// Sum of two vectors, A3 = A1 + A2; A3 may be one of them.
/// \param m      number of elements
/// \param A1,A2  summands
/// \param A3     [out] sum
void ArrayAddition(int m, double* A1, double* A2, double* A3);

/// Nearest integer as a double, halves away from zero.
/// \param a  any number
/// \return the integer; -0 for 0
double Round(double a);

/// Nearest integer, halves away from zero.
/// \param x  any number
/// \return the integer, at the limits of int beyond them; 0 for a NaN
int nearest_integer(double x);

/// LU decomposition in place by Crout's method with implicit scaled partial pivoting. The element of row i and column j
/// stands at i + j * n: in terms of row-major storage the transpose is decomposed.
/// \param A     [in,out] active block nn x nn in an array of stride n; the two factors on return
/// \param nn    active order
/// \param n     stride
/// \param indx  [out] nn pivot rows
/// \param d     [out] +1 or -1: sign of the row permutation
/// \return 0, or -1 for a singular matrix (bound 1e-20), A then partly decomposed, or without memory.
/// Logs at critical level when a row is null, at error level without memory; a pivot that vanishes later is silent.
/// Source: Press et al., Numerical Recipes, section 2.3.
int ludcmp(double* A, int nn, const int n, int* indx, double* d);

/// Solves a linear system with the factors from ludcmp, in the same addressing.
/// \param A     factors, active block nn x nn in an array of stride n
/// \param nn    active order
/// \param n     stride
/// \param indx  nn pivot rows from ludcmp
/// \param b     [in,out] nn elements: right-hand side, then the solution
/// Source: Press et al., Numerical Recipes, section 2.3.
void lubksb(const double* A, int nn, int n, const int* indx, double* b);

/// Looks for null rows of a matrix.
/// \param A  n x N
/// \param n  rows
/// \param N  columns, and stride
/// \return number of rows whose Euclidean length is above 1e-13: n when no row is null
int matrix_zero_check(double* A, int n, int N);

/// Inverse of a matrix in place; nothing outside the active block changes.
/// \param A   [in,out] active block nn x nn in an array of stride n
/// \param nn  active order, at most n
/// \param n   stride
/// \return 0 (also for an empty block), or -1 for a singular matrix or without memory, A then untouched.
/// Logs at warning level a singular matrix, besides what ludcmp logs; at error level missing memory.
int matinv(double* A, int nn, const int n);

// --- least squares ---------------------------------------------------------------------------------------------------

/// Unweighted least squares, min ||A x - y||. Parameters whose column of A sums to 1e-14 or less in magnitude take no part:
/// their elements of x and Q stay as the caller left them.
/// \param A  design matrix, n x m
/// \param y  n observations
/// \param n  observations
/// \param m  parameters
/// \param x  [out] m parameters; may be null
/// \param Q  [out] m x m cofactors, the inverse of the normal matrix; may be null
/// \return the number of parameters that took part, or -1 for n < m, a singular system or missing memory, x and Q then
///         unwritten.
/// Logs at error level when it fails.
int solve_lsq(double* A, double* y, const int n, const int m, double* x, double* Q);

/// Least squares from normal equations. Parameters whose row of BTWB sums to less than 1e-14 in magnitude take no part: their
/// elements of x and Q come out as zeros.
/// \param BTWB  normal matrix, n x n
/// \param BTWL  right-hand side, n
/// \param n     parameters
/// \param x     [out] n parameters; may be null
/// \param Q     [out] n x n cofactors; may be null
/// \return the number of parameters that took part, or -1 for a singular system or missing memory, x and Q then unwritten.
/// Logs at error level when it fails.
int solve_lsq_normal(double* BTWB, double* BTWL, int n, double* x, double* Q);

// --- sequential filters ----------------------------------------------------------------------------------------------

/// Measurement update of a Kalman filter in the short form Pp = (I - K H) P; everything dense.
/// \param x   state, n
/// \param P   covariance, n x n
/// \param H   design matrix, m x n
/// \param v   innovations, m
/// \param R   measurement covariance, m x m
/// \param n   states
/// \param m   measurements
/// \param xp  [out] updated state, n; x if the update fails (without memory unwritten)
/// \param Pp  [out] updated covariance, n x n; unwritten if the update fails
/// \return 0, or -1 when the innovation covariance is singular, or without memory (logged at error level).
int filter_(double* x, double* P, double* H, double* v, double* R, int n, int m, double* xp, double* Pp);

/// Measurement update in place of the states and measurements in use. A state takes part when |x| > 1e-14 and its variance
/// is positive (an estimate of exactly zero does not), a measurement when its variance is positive. Entries that take no
/// part keep their values.
/// \param x  [in,out] state, n
/// \param P  [in,out] covariance, n x n
/// \param H  design matrix, m x n
/// \param v  innovations, m
/// \param R  measurement covariance, m x m
/// \param n  states
/// \param m  measurements
/// \return 0, or -1 when the innovation covariance is singular: x is then unchanged and P is to be discarded; -1 also without
///         memory (logged at error level): both are then unchanged.
int kalman_filter(double* x, double* P, double* H, double* v, double* R, int n, int m);

/// The update of filter_ in place, with strides and without a gain matrix kept whole. All of P outside the n x n block
/// becomes zero.
/// \param x      [in,out] state, n
/// \param P      [in,out] covariance, n x n in an array of max_n x max_n
/// \param H      design matrix, m x n with stride max_n
/// \param v      innovations, m
/// \param R      measurement covariance, m x m with stride max_m
/// \param n,m    states and measurements; nothing happens when one is above its limit
/// \param max_n  stride of P and H
/// \param max_m  stride of R
/// \return 0: a singular innovation covariance is used as if it were its own inverse; -1, and nothing is changed, without
///         memory (logged at error level).
int filter_embed(double* x, double* P, double* H, double* v, double* R, int n, int m, int max_n, int max_m);

/// Measurement update of the states and measurements in use, compacted in place. A state takes part when |x| > 1e-16 and
/// its variance is positive, a measurement when its variance is positive. States that take no part come back as zeros, with
/// null rows and columns of P; such measurements get v = 0. H and R are consumed: they stay compacted.
/// \param x  [in,out] state, n
/// \param P  [in,out] covariance, n x n
/// \param H  [in,out] design matrix, m x n
/// \param v  [in,out] innovations, m
/// \param R  [in,out] measurement covariance, m x m
/// \param n  states
/// \param m  measurements
/// \return 0, as filter_embed; -1, and nothing is changed, without memory (logged at error level).
int kalman_filter_embed(double* x, double* P, double* H, double* v, double* R, int n, int m);

/// Merges a forward and a backward solution, each weighted by its inverse covariance.
/// \param xf,Qf  forward state, n, and covariance, n x n
/// \param xb,Qb  backward state and covariance
/// \param n      states
/// \param xs     [out] merged state, n
/// \param Qs     [out] merged covariance, n x n
/// \return 0, or -1 when a covariance or the summed information is singular; xs is then unwritten. Also -1, and Qs
///         unwritten too, without memory (logged at error level).
/// Source: Fraser and Potter (1969), The optimum linear smoother as a combination of two optimum linear filters.
int smoother(double* xf, double* Qf, double* xb, double* Qb, int n, double* xs, double* Qs);

// --- interpolation and fits ------------------------------------------------------------------------------------------

/// Polynomial interpolation by Neville's scheme.
/// \param n   points
/// \param x   abscissae, n
/// \param y   [in,out] ordinates, n; overwritten, so hand in a scratch copy
/// \param xt  wanted abscissa
/// \return the value; 0 without points.
double interpolation_Neville(int n, double* x, double* y, double xt);

/// Polynomial interpolation by the direct Lagrange sum; no range check.
/// \param x   abscissae, n
/// \param y   ordinates, n
/// \param n   points
/// \param xt  wanted abscissa
/// \return the value.
double interpolation_Lagrange(double* x, double* y, int n, double xt);

/// Polynomial interpolation with derivative by the barycentric formula; no extrapolation beyond 1e-12.
/// \param x   abscissae, n, ascending
/// \param y   ordinates, n
/// \param n   points
/// \param xt  wanted abscissa
/// \param yt  [out] value and derivative
/// \return false, yt unwritten, when xt is out of range, there are no points, or no memory for more than 64 weights.
/// Logs at error level when xt is out of range, and missing memory.
/// Source: Berrut and Trefethen (2004), Barycentric Lagrange interpolation, SIAM Review 46, sections 4 and 9.3.
bool interpolation_Lagrange_Barycentric(double* x, double* y, const int n, double xt, double* yt);

/// Barycentric interpolation of each column of a table; zeros come out when xt is out of range.
/// \param n              points
/// \param m              columns
/// \param x              abscissae, n, ascending
/// \param y              table, n x m
/// \param xt             wanted abscissa
/// \param yt             [out] m values
/// \param yt_derivative  [out] m derivatives; may be null
/// Logs at error level when yt is null, for each column when xt is out of range, and missing memory for more than 64 weights, when
/// nothing is written.
void interpolation_multip_dimension(const int n, const int m, double* x, double* y, double xt, double* yt,
                                    double* yt_derivative);

/// Straight line through points by least squares; no guard against coinciding abscissae.
/// \param x      abscissae, np
/// \param y      ordinates, np
/// \param np     points
/// \param param  [out] slope and intercept
void linear_fit(double* x, double* y, int np, double* param);

/// Real roots of x^2 + ce[0] x + ce[1] = 0.
/// \param ce     two coefficients
/// \param roots  [out] two roots, the larger first; unwritten without real roots
/// \return the number of real roots, 0 or 2 (a double root counts twice).
unsigned int quadraticSolver(double* ce, double* roots);

// --- statistics ------------------------------------------------------------------------------------------------------

/// Largest element of magnitude strictly below the gate.
/// \param x          data, n
/// \param n          elements
/// \param threshold  gate on the magnitude
/// \return the element; 2.2250738585072014e-308, where the search starts, when no gated element is larger (all of them
///         negative, for instance)
double get_max(double* x, const int n, double threshold);

/// Smallest element of magnitude up to the gate.
/// \param x          data, n
/// \param n          elements
/// \param threshold  gate on the magnitude, included
/// \return the element; 1.7976931348623157e+308 without any
double get_min(double* x, const int n, double threshold);

/// Mean of the elements of magnitude up to the gate.
/// \param x          data, n
/// \param n          elements
/// \param threshold  gate on the magnitude, included
/// \return the mean; 0 without any
double get_mean(double* x, const int n, double threshold);

/// Standard deviation about get_mean of the elements of magnitude up to the gate, divided by their number.
/// \param x          data, n
/// \param n          elements
/// \param threshold  gate on the magnitude, included
/// \return the standard deviation; 0 without any
double get_std(double* x, const int n, double threshold);

/// Root mean square of the elements of magnitude up to the gate.
/// \param x          data, n
/// \param n          elements
/// \param threshold  gate on the magnitude, included
/// \return the root mean square; 0 without any
double get_rms(double* x, const int n, double threshold);

// --- similarity transformation ---------------------------------------------------------------------------------------

/// Similarity transformation q = (1 + k) R p + t, with full rotations.
/// \param p      point [m]
/// \param param  tx, ty, tz [m], scale offset k, angles a, b, c [rad]
/// \param q      [out] transformed point [m]; may be p
void HelmertTransform_3D(double* p, double* param, double* q);

/// Estimates the seven parameters of HelmertTransform_3D from point pairs by Gauss-Newton, at most 21 passes. A last
/// correction below 1e-4 in length is not applied.
/// \param npoints  pairs
/// \param q        transformed points [m]
/// \param p        points [m]
/// \param param    [out] tx, ty, tz [m], k, a, b, c [rad]; unwritten when a pass fails or without memory; null: nothing happens
/// Logs the root mean square misclosure by axis at info level, 20 or more passes at warning level, a pass that cannot be
/// solved and missing memory at error level.
void HelmertParameter_3D(int npoints, double (*q)[3], double (*p)[3], double* param);

LEOPOD_END_DECLS
#endif
