/// \file earth_gravity.h
/// Spherical-harmonic field of the Earth: tables, Cunningham recursion, acceleration, gradient, time-variable corrections.
/// Tables are triangular: degree n, order m stands at n(n+1)/2 + m.
#ifndef LEOPOD_EARTH_GRAVITY_H
#define LEOPOD_EARTH_GRAVITY_H

#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

enum {
    MAXDEGREE_GRAVITY = 120,    ///< highest degree and order
    MAXSIZE_GRAVITY = 7381,     ///< entries of a triangular table up to degree 120
    MAXSIZE_GRAVITY_VW = 7626,  ///< entries of V and W: degree 122, the rows above 120 stay zero
    NUM_GRAVITY_EMBED = 496     ///< entries of the built-in field of degree 30
};

extern double N[MAXSIZE_GRAVITY];     ///< normalisation factors: unnormalised = N * normalised
extern double C[MAXSIZE_GRAVITY];     ///< unnormalised cosine coefficients
extern double S[MAXSIZE_GRAVITY];     ///< unnormalised sine coefficients
extern double V[MAXSIZE_GRAVITY_VW];  ///< harmonics of the last position, cosine part
extern double W[MAXSIZE_GRAVITY_VW];  ///< harmonics of the last position, sine part
extern double GM;                     ///< gravitational parameter [m^3/s^2]
extern double Re;                     ///< reference radius [m]
/// Static values of the first ten coefficients from degree 2 on, from which each evaluation rebuilds C and S.
extern double o_C20, o_C21, o_C22, o_C30, o_C31, o_C32, o_C33, o_C40, o_C41, o_C42;
extern double o_S20, o_S21, o_S22, o_S30, o_S31, o_S32, o_S33, o_S40, o_S41, o_S42;

/// Built-in field: EGM2008 to degree and order 30, without file access. Sets GM and Re, the first 496 entries of N, C, S, and
/// the static values; zeroes V and W. Must run (or load_earth_coef_EGM) before any evaluation.
/// Source: Pavlis, Holmes, Kenyon, Factor (2008), EGM2008.
void initialize_global_earth_gravity(void);

/// Replaces the field by one of a text file with lines "degree order Cbar Sbar sigmaC sigmaS", fully normalised, sorted by
/// degree; entries that the file does not hold are zero. Reading stops at the first line of a degree or order above 120; lines
/// before the first complete one and lines with an impossible order are skipped. Also writes the tables N, C, S as source text
/// to "testdata/cs_file.txt" below the working directory.
/// \param filename  path of the coefficient file
/// \return false if the file cannot be opened or without memory (logged as error; the tables stay as they were), else true. A side file that
///         cannot be written is logged as error and changes nothing else.
bool load_earth_coef_EGM(char* filename);

/// Fills N for all degrees and orders to 120, by recurrence, so that no factorial overflows.
void computeNormalFactor(void);

/// Fills N, and C = N Cn, S = N Sn for the first entries.
/// \param nsize  number of entries, at most 7381 are taken
/// \param Cn,Sn  fully normalised coefficients, triangular tables of nsize entries
void denormaliseCS(int nsize, double* Cn, double* Sn);

/// Normalisation factor in closed form, sqrt((2 - delta(0,m)) (2n+1) (n-m)!/(n+m)!). Infinite products are not avoided.
/// \param n,m  degree and order
/// \return the factor by which the fully normalised coefficient is multiplied
double normalFactor(int n, int m);

/// Associated Legendre function P(n,m)(u), unnormalised, without the Condon-Shortley phase.
/// \param n,m  degree and order
/// \param u    argument, -1 to 1
/// \return the function; 0 for m outside 0 to n
double legendrePoly(int n, int m, double u);

/// Harmonics V and W of a position, to degree NN and order MM. Rows above NN and columns above MM keep what they hold.
/// \param NN,MM     degree and order; values above 120 act as 120, orders above NN as NN
/// \param pos_ecef  position, Earth-fixed, 3 values [m]; the geocentre gives non-finite harmonics
/// Source: Cunningham (1970); Montenbruck and Gill, Satellite Orbits (2000), section 3.2.4.
void generateVW(int NN, int MM, double* pos_ecef);

/// Acceleration from the present V, W, C, S; call generateVW with the same degree and order first. The row above NN is not
/// generated, so the field is complete to degree NN - 1.
/// \param NN,MM     degree and order; values above 120 act as 120
/// \param pos_ecef  not read
/// \param a_ecef    [out] acceleration, Earth-fixed, 3 values [m/s^2]
/// Source: Montenbruck and Gill, Satellite Orbits (2000), equation 3.33.
void compute_acc_earth_gravity(int NN, int MM, double* pos_ecef, double* a_ecef);

/// Gradient of the acceleration from the present V, W, C, S; call generateVW first. Symmetric, with zero trace; complete to degree
/// NN - 2. The second and later terms of the tesseral xx and xy sums carry four times their harmonic weight.
/// \param NN        degree; values above 120 act as 120
/// \param MM        not read: all orders to the degree are summed
/// \param pos_ecef  not read
/// \param dadr_ecf  [out] 3x3, row-major, Earth-fixed [1/s^2]
void compute_dadr_earth_gravity(int NN, int MM, double* pos_ecef, double* dadr_ecf);

/// Acceleration and gradient of the Earth's field at an epoch. Rebuilds C and S from degree 2, order 0, to degree 4, order 2,
/// from the static values with drift and mean pole (degree 4 and more), solid-Earth tide (degree 4 and more, if neither body's
/// position is zero) and pole tide (degree 2 and more).
/// \param NN,MM        degree and order; values above 120 act as 120
/// \param mjd_utc      UTC [MJD]
/// \param leap_sec     TAI-UTC [s]
/// \param satpos_ecef  satellite, Earth-fixed, 3 values [m]
/// \param sunpos_ecf   Sun, Earth-fixed, 3 values [m]; not null
/// \param moonpos_ecf  Moon, Earth-fixed, 3 values [m]; not null
/// \param acc_ecf      [out] acceleration, Earth-fixed, 3 values [m/s^2]; may be null
/// \param dadr_ecf     [out] gradient, 3x3, row-major, Earth-fixed [1/s^2]; may be null
/// Source: IERS Conventions (2010), chapter 6.
void compute_acc_dadr_earth_gravity(int NN, int MM, double mjd_utc, double leap_sec, double* satpos_ecef,
                                    double* sunpos_ecf, double* moonpos_ecf, double* acc_ecf, double* dadr_ecf);

/// Secular drift of the zonal coefficients and the part of degree 2, order 1, that follows the mean pole.
/// \param mjd_utc  date [MJD]; the evaluation of the field passes TT
/// \param c_C20,c_C30,c_C40,c_C21,c_S21  [out] corrections of the unnormalised coefficients
/// Source: IERS Conventions (2010), section 6.1, equation 6.5.
void correct_CS_TimeVarying(double mjd_utc, double* c_C20, double* c_C30, double* c_C40, double* c_C21, double* c_S21);

/// Solid-Earth tide of Sun and Moon with its frequency dependence. Vectors of ten entries, (2,0) (2,1) (2,2) (3,0) ... (4,2).
/// \param JD_UT1_I,JD_UT1_F  UT1 as Julian date, whole part and remainder [day]
/// \param JD_TT              TT as Julian date [day]
/// \param sunpos_ecef        Sun, Earth-fixed, 3 values [m]
/// \param moonpos_ecef       Moon, Earth-fixed, 3 values [m]
/// \param dC,dS              [in,out] corrections of the normalised coefficients are added; zeroed by the caller
/// Source: IERS Conventions (2010), section 6.2, tables 6.3 (elastic) and 6.5a to 6.5c.
void correct_CS_solidEarthTide(double JD_UT1_I, double JD_UT1_F, double JD_TT, double* sunpos_ecef,
                               double* moonpos_ecef, double* dC, double* dS);

/// Solid-Earth and ocean pole tide.
/// \param mjd_utc    UTC [MJD], for the mean pole
/// \param xp,yp      pole coordinates [arcsecond]
/// \param dC21,dS21  [out] corrections of the normalised coefficients
/// Source: IERS Conventions (2010), sections 6.4 and 6.5.
void correct_PoleTide(double mjd_utc, double xp, double yp, double* dC21, double* dS21);

LEOPOD_END_DECLS
#endif
