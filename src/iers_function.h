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

// --- solid-Earth tide ------------------------------------------------------------------------------------------------
// On the polar axis, where the published routines divide by zero, the longitude counts as 0.

/// Solid-Earth tide displacement of a site; the permanent tide stays in.
/// \param XSTA      3, site, ITRS [m]
/// \param YR,MONTH,DAY  UTC date; one that CAL2JD does not compute leaves the frequency-dependent part without meaning
/// \param FHR       hour of the day with its fraction, UTC [h]
/// \param leapsec   TAI-UTC [s]
/// \param XSUN      3, geocentric Sun, ITRS [m]
/// \param XMON      3, geocentric Moon, ITRS [m]
/// \param DXTIDE    [out] 3, displacement, ITRS [m]
/// Source: IERS Conventions (2010), section 7.1.1; DEHANTTIDEINEL of the software collection, with TAI-UTC as an argument.
void DEHANTTIDEINEL(double* XSTA, int YR, int MONTH, int DAY, double FHR, double leapsec, double* XSUN, double* XMON,
                    double* DXTIDE);

/// Out-of-phase part of the diurnal Love numbers (mantle inelasticity).
/// \param XSTA             3, site, ITRS [m]
/// \param XSUN,XMON        3 each, geocentric Sun and Moon, ITRS [m]
/// \param FAC2SUN,FAC2MON  degree 2 factors: mass ratio to the Earth times RE (RE / distance)^3 [m]
/// \param XCORSTA          [out] 3, correction, ITRS [m]; assigned, the caller adds it to its total
/// Source: IERS Conventions (2010), eq. 7.10; ST1IDIU of the software collection.
void ST1IDIU(double* XSTA, double* XSUN, double* XMON, double FAC2SUN, double FAC2MON, double* XCORSTA);

/// Out-of-phase part of the semidiurnal Love numbers.
/// \param XSTA,XSUN,XMON,FAC2SUN,FAC2MON,XCORSTA  as in ST1IDIU
/// Source: IERS Conventions (2010), eq. 7.11; ST1ISEM of the software collection.
void ST1ISEM(double* XSTA, double* XSUN, double* XMON, double FAC2SUN, double FAC2MON, double* XCORSTA);

/// Latitude dependence of the Love numbers, diurnal and semidiurnal.
/// \param XSTA,XSUN,XMON,FAC2SUN,FAC2MON,XCORSTA  as in ST1IDIU
/// Source: IERS Conventions (2010), eqs. 7.8 and 7.9; ST1L1 of the software collection.
void ST1L1(double* XSTA, double* XSUN, double* XMON, double FAC2SUN, double FAC2MON, double* XCORSTA);

/// Frequency dependence of the diurnal Love numbers, 31 lines.
/// \param XSTA     3, site, ITRS [m]
/// \param FHR      hour of the day with its fraction, UTC [h]
/// \param T        Julian centuries of TT since J2000.0
/// \param XCORSTA  [out] 3, correction, ITRS [m]; assigned
/// Source: IERS Conventions (2010), eq. 7.12 and table 7.3a; STEP2DIU of the software collection.
void STEP2DIU(double* XSTA, double FHR, double T, double* XCORSTA);

/// Frequency dependence of the long-period Love numbers, 5 lines.
/// \param XSTA     3, site, ITRS [m]
/// \param T        Julian centuries of TT since J2000.0
/// \param XCORSTA  [out] 3, correction, ITRS [m]; assigned
/// Source: IERS Conventions (2010), eq. 7.13 and table 7.3b; STEP2LON of the software collection.
void STEP2LON(double* XSTA, double T, double* XCORSTA);

/// Gregorian date to a two-part Julian date.
/// \param IY,IM,ID  year, month, day
/// \param DJM0      [out] 2400000.5
/// \param DJM       [out] MJD at 0h [day]
/// \return 0; -1 for a year before -4799 and -2 for a month outside 1 to 12, nothing written; -3 for a day outside the month,
///         computed all the same
/// Source: IAU SOFA collection, cal2jd.
int CAL2JD(int IY, int IM, int ID, double* DJM0, double* DJM);

// --- dates -----------------------------------------------------------------------------------------------------------
// Dates for which a result would leave the range of int give its limit.

/// Ephemeris time less UTC; before 1972 less UT.
/// \param year  year with fraction
/// \return ET-UTC [s]: from tables to the leap second of 2017.0, and its last value from then on; not-a-number for a year that is none
/// Source: IERS Conventions (2010) software collection, ETUTC, edition of December 2016.
double etutc(const double year);

/// Julian day number of a Gregorian date, that is its Julian date at noon.
/// \param it  3: year, month, day
/// \return the day number
/// Source: Fliegel and Van Flandern (1968).
int juldat(const int* it);

/// Day of the year to calendar date.
/// \param IT1  2: year, day of the year
/// \param IT2  [out] 3: year, month, day
/// Source: IERS Conventions (2010) software collection, TOYMD.
void TOYMD(int* IT1, int* IT2);

/// Leap years of the Gregorian calendar.
/// \param iy  year
/// \return 1 for a leap year, else 0
/// Source: IERS Conventions (2010) software collection, LEAP.
int LEAP(int iy);

/// Days of the year before a month.
/// \param iy,im  year, month
/// \return days before the first of the month
/// Source: IERS Conventions (2010) software collection, MDAY.
int MDAY(int iy, int im);

// --- ocean loading ---------------------------------------------------------------------------------------------------

/// Ocean-loading displacement of a site at one epoch, from the usual table of 11 constituents, spread to 342 tidal lines.
/// \param olc  6 rows of M2, S2, N2, K2, K1, O1, P1, Q1, Mf, Mm, Ssa: amplitudes radial, west, south [m], then their phases [degree],
///             Greenwich lags positive
/// \param iyear,idoy,ihour,iminute,isec  UTC: year, day of the year, hour, minute, second; fractions are cut off
/// \param dxtide                         [out] 3: radial, south, west [m]
/// Source: IERS Conventions (2010), section 7.1.2; HARDISP of the software collection.
void HARDISP(double (*olc)[11], double iyear, double idoy, double ihour, double iminute, double isec, double* dxtide);

/// Spreads constituents to the 342 lines of the tidal potential through their admittance: splines over frequency in the diurnal
/// and the semidiurnal band and, with the usual three constituents, straight lines in the long-period band.
/// \param ampin  nin amplitudes, any unit
/// \param idtin  nin rows of Doodson multipliers, species first; a constituent that is not among the lines is ignored, and of those
///               that are the first 20 are kept
/// \param phin   nin phases, leads positive [degree]
/// \param amp    [out] room for 342: amplitudes, signed, in the unit of ampin; 0 in a diurnal or semidiurnal band without constituents
/// \param f      [out] room for 342: frequencies [cycles/day]
/// \param p      [out] room for 342: phases at the epoch [degree]
/// \param nin    number of constituents
/// \param nout   [out] number of lines written: 342, or 263 without long-period constituents
/// \param itm    5: year, day of the year, hour, minute, second, UTC
/// Logs at warning level: more than 20 constituents.
/// Source: IERS Conventions (2010) software collection, ADMINT.
void admint(const double* ampin, const int (*idtin)[6], const double* phin, double* amp, double* f, double* p,
            const int nin, int* nout, const int* itm);

/// Second derivatives of a cubic spline.
/// \param nn  number of points; positive: end slopes from parabolas through the three outermost points; negative: -nn points, end
///            slopes given in s[0] and s[1]
/// \param x   |nn| abscissae, ascending
/// \param u   |nn| values
/// \param s   [out] |nn| second derivatives; all 0 for three points and fewer, which makes the interpolation linear
/// \param a   scratch, |nn|
/// Source: IERS Conventions (2010) software collection, SPLINE.
void spline(int nn, const double* x, const double* u, double* s, double* a);

/// Value of a cubic spline; constant outside the points.
/// \param y   abscissa
/// \param nn  number of points; its sign is not read
/// \param x   |nn| abscissae, ascending
/// \param u   |nn| values
/// \param s   |nn| second derivatives, from spline
/// \return the value; 0 without points, not-a-number for an abscissa that is none
/// Source: IERS Conventions (2010) software collection, EVAL.
double eval(double y, int nn, const double* x, const double* u, const double* s);

/// Slope at the origin of the parabola through the origin and two points.
/// \param u1,x1  value and abscissa of the first point
/// \param u2,x2  of the second
/// \return the slope
/// Source: IERS Conventions (2010) software collection, SPLINE.
double qfunc(double u1, double x1, double u2, double x2);

/// Sorts ascending and keeps track of the places; equal elements stay in their order.
/// \param x  [in,out] n elements
/// \param k  [out] n: the place, counted from 1 as in the publication, that each element had before
/// \param n  number of elements
/// Source: IERS Conventions (2010) software collection, SHELLS.
void shells(double* x, int* k, int n);

/// Sum of harmonics at equidistant samples by recursion.
/// \param x    [out] n sums; the first sample is at phase 0 of every harmonic
/// \param n    number of samples
/// \param hc   2 nf: coefficient of the cosine and of the sine of each harmonic
/// \param nf   number of harmonics
/// \param om   nf: phase step of each harmonic [rad per sample]
/// \param scr  scratch, 3 nf
/// Source: IERS Conventions (2010) software collection, RECURS.
void recurs(double* x, int n, const double* hc, int nf, const double* om, double* scr);

/// Frequency and phase of a tidal line.
/// \param idood  6: Doodson multipliers, species first
/// \param itm    5: year, day of the year, hour, minute, second, UTC
/// \param freq   [out] frequency [cycles/day]
/// \param phase  [out] phase from 0 to 360 [degree]
/// Source: IERS Conventions (2010) software collection, TDFRPH, edition with 86400 s a day.
void tdfrph(const int* idood, const int* itm, double* freq, double* phase);

// --- optical ranging -------------------------------------------------------------------------------------------------

/// Zenith delay of optical ranging.
/// \param latitude   geodetic latitude [degree]
/// \param ellip_ht   ellipsoidal height [m]
/// \param pressure   [hPa]
/// \param wvp        water vapour pressure [hPa]
/// \param lambda_um  wavelength [micrometre]
/// \param fcul_ztd,fcul_zhd,fcul_zwd  [out] total, hydrostatic and wet delay [m]
/// Source: Mendes and Pavlis (2004); IERS Conventions (2010), section 9.1.1, for 375 ppm of CO2.
void FCULZD_HPA(double latitude, double ellip_ht, double pressure, double wvp, double lambda_um, double* fcul_ztd,
                double* fcul_zhd, double* fcul_zwd);

/// Mapping function of optical ranging, version a (with temperature).
/// \param LATITUDE  geodetic latitude [degree]
/// \param HEIGHT_M  height above sea level [m]
/// \param T_K       temperature [K]
/// \param ELEV_DEG  elevation [degree]
/// \return factor to the zenith delay
/// Source: Mendes et al. (2002); IERS Conventions (2010), section 9.1.2.
double FCUL_A(double LATITUDE, double HEIGHT_M, double T_K, double ELEV_DEG);

LEOPOD_END_DECLS
#endif
