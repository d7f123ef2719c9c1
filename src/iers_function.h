/// \file iers_function.h
/// Routines of the IERS Conventions (2010): tidal corrections to earth orientation, sidereal angles, site displacements.
#ifndef LEOPOD_IERS_FUNCTION_H
#define LEOPOD_IERS_FUNCTION_H

#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

/// The five Delaunay arguments.
/// \param T            Julian centuries of TT since J2000.0
/// \param L,LP,F,D,OM  [out] mean anomalies of Moon and Sun, F, elongation, node [rad]
/// Source: IERS Conventions (2010) software collection, FUNDARG.
void FUNDARG(double T, double* L, double* LP, double* F, double* D, double* OM);

/// Delaunay and Doodson arguments.
/// \param JD_UT1_I,JD_UT1_F  UT1 as a two-part Julian date [day]
/// \param JD_TT              TT as a Julian date [day]; also handed to getGMST as it is
/// \param FNUT               [out] 5: L, LP, F, D, OM [rad]
/// \param BETA               [out] 6: tau, s, h, p, N', ps, not reduced [rad]
/// Source: IERS Conventions (2010), chapter 6.
void DOODSONARG(double JD_UT1_I, double JD_UT1_F, double JD_TT, double* FNUT, double* BETA);

/// Partials of the tidal potential for the diurnal and semidiurnal orthoweights, 71 spectral lines.
/// \param MJD_TT  TT as a modified Julian date [day]
/// \param H       [out] 12: P0, Q0, P1, Q1, P2, Q2 of order 1, then of order 2
/// Source: IERS Conventions (2010) software collection, CNMTX.
void CNMTX(double MJD_TT, double* H);

/// Diurnal and semidiurnal ocean-tide corrections to earth orientation.
/// \param MJD_TT          TT as a modified Julian date [day]
/// \param EOP_correction  [in,out] 3: x, y [microarcsecond], UT1 [microsecond]; added to what the caller cleared
/// Source: IERS Conventions (2010) software collection, ORTHO_EOP.
void ORTHO_EOP(double MJD_TT, double* EOP_correction);

/// Diurnal polar motion from the tidal gravitation on the triaxial Earth; quasi-diurnal terms alone, no secular rate.
/// \param RMJD  TT as a modified Julian date [day]
/// \param pm    [out] 2: x, y [microarcsecond]
/// Source: IERS Conventions (2010) software collection, PMSDNUT2 with IBAND = 1.
void PMSDNUT2(double RMJD, double* pm);

/// Subdiurnal libration in the Earth's rotation.
/// \param RMJD  TT as a modified Julian date [day]
/// \param dut1  [out] UT1 [microsecond]
/// \param dlod  [out] LOD [microsecond/day]
/// Source: IERS Conventions (2010) software collection, UTLIBR.
void UTLIBR(double RMJD, double* dut1, double* dlod);

/// Effects of the zonal tides on the Earth's rotation.
/// \param JC_TT   Julian centuries of TT since J2000.0
/// \param DUT     [out] UT1 [s]
/// \param DLOD    [out] LOD [s/day]
/// \param DOMEGA  [out] rotation rate [rad/s]
/// Source: IERS Conventions (2010) software collection, RG_ZONT2.
void RG_ZONT2(double JC_TT, double* DUT, double* DLOD, double* DOMEGA);

/// Earth rotation angle, IAU 2000.
/// \param JD_UT1_I,JD_UT1_F  UT1 as a two-part Julian date [day]
/// \return                   angle from 0 to 2 pi [rad]
/// Source: IERS Conventions (2010), eq. 5.15.
double getEarthRotationAngle(double JD_UT1_I, double JD_UT1_F);

/// Rate of the Earth's rotation against the mean equinox.
/// \param JC_TT  Julian centuries of TT since J2000.0
/// \return       rate [rad/s of UT1]
/// Source: Aoki et al. (1982).
double getEarthRotationAngleRate(double JC_TT);

/// Greenwich mean sidereal time.
/// \param JD_UT1_I,JD_UT1_F  UT1 as a two-part Julian date [day]
/// \param JD_TT              TT in days since J2000.0: no 2451545.0 is removed here [day]
/// \return                   angle from 0 to 2 pi [rad]
/// Source: IERS Conventions (2003), chapter 5.
double getGMST(double JD_UT1_I, double JD_UT1_F, double JD_TT);

/// Greenwich apparent sidereal time: getGMST plus getEE2000.
/// \param JD_UT1_I,JD_UT1_F  UT1 as a two-part Julian date [day]
/// \param JD_TT              TT as a Julian date [day]; also handed to getGMST as it is
/// \param dpsi               nutation in longitude [rad]
/// \return                   angle from 0 to 2 pi [rad]
/// Source: IERS Conventions (2003), chapter 5.
double getGAST(double JD_UT1_I, double JD_UT1_F, double JD_TT, double dpsi);

/// Mean obliquity of the ecliptic, IAU 2006.
/// \param JC_TT  Julian centuries of TT since J2000.0
/// \return       obliquity [rad]
/// Source: Hilton et al. (2006).
double getMeanObliquity(double JC_TT);

/// Complementary terms of the equation of the equinoxes, IAU 2000.
/// \param JC_TT  Julian centuries of TT since J2000.0
/// \return       complementary terms [rad]
/// Source: IERS Conventions (2003), chapter 5; 33 + 1 terms.
double getEECT(double JC_TT);

/// Equation of the equinoxes, IAU 2000: dpsi * cos(mean obliquity) plus complementary terms.
/// \param JC_TT  Julian centuries of TT since J2000.0
/// \param dpsi   nutation in longitude [rad]
/// \return       equation of the equinoxes [rad]
/// Source: IERS Conventions (2003), chapter 5.
double getEE2000(double JC_TT, double dpsi);

/// Angle in the range from -pi to pi.
/// \param a  angle [rad]
/// \return   the same angle, below pi in magnitude [rad]
/// Source: IAU SOFA collection, anpm.
double normalizeAngle(double a);

/// Greenwich mean sidereal time, IAU 1982.
/// \param jdut1  UT1 as a Julian date [day]
/// \return       angle from 0 to 2 pi [rad]
/// Source: Aoki et al. (1982).
double gstime_iau82(double jdut1);

/// Arguments of the 11 principal tidal constituents M2, S2, N2, K2, K1, O1, P1, Q1, Mf, Mm, Ssa.
/// \param IYEAR  year; one before 1974 is reported at error level and computed all the same
/// \param DAY    day of the year with fraction, 1.0 at January 1, 0h [day]
/// \param ANGLE  [out] 11 arguments from 0 to 2 pi [rad]
/// Source: IERS Conventions (2010) software collection, ARG2.
void ARG2(int IYEAR, double DAY, double* ANGLE);

LEOPOD_END_DECLS
#endif
