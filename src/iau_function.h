/// \file iau_function.h
/// Precession, nutation, CIO and Earth rotation after the IAU 2006/2000A resolutions, with the published names, units
/// (radians, two-part Julian Dates) and arithmetic. Matrices are double[3][3].
#ifndef LEOPOD_IAU_FUNCTION_H
#define LEOPOD_IAU_FUNCTION_H

#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

/// Luni-solar nutation term: multipliers of l, l', F, D, Om; coefficients in 0.1 microarcsecond.
typedef struct NUT_COEF_XLS {
    int nl, nlp, nf, nd, nom;
    double sp, spt, cp;  ///< longitude: sine, sine times t, cosine
    double ce, cet, se;  ///< obliquity: cosine, cosine times t, sine
} NUT_COEF_XLS;

/// Planetary nutation term: multipliers of l, F, D, Om, Mercury to Neptune, pA; coefficients in 0.1 microarcsecond.
typedef struct NUT_COEF_XPL {
    int nl, nf, nd, nom, nme, nve, nea, nma, nju, nsa, nur, nne, npa;
    int sp, cp;  ///< longitude: sine, cosine
    int se, ce;  ///< obliquity: sine, cosine
} NUT_COEF_XPL;

/// Luni-solar terms of the IAU 2000A nutation, largest first.
/// Source: MHB2000, Mathews, Herring and Buffett (2002).
extern const NUT_COEF_XLS g_xls[678];

/// Planetary terms of the IAU 2000A nutation.
/// Source: MHB2000, Mathews, Herring and Buffett (2002).
extern const NUT_COEF_XPL g_xpl[687];

/// Mean anomaly of the Moon, l.
/// \param t  Julian centuries of TDB (TT serves) since J2000.0
/// \return   the argument [rad], reduced by fmod: the sign is that of the unreduced argument
/// Source: IERS Conventions (2003), chapter 5; Simon et al. (1994).
double iauFal03(double t);

/// Mean anomaly of the Sun, l'.
/// \param t  Julian centuries of TDB (TT serves) since J2000.0
/// \return   the argument [rad], reduced by fmod: the sign is that of the unreduced argument
/// Source: IERS Conventions (2003), chapter 5; Simon et al. (1994).
double iauFalp03(double t);

/// Mean argument of the latitude of the Moon, F.
/// \param t  Julian centuries of TDB (TT serves) since J2000.0
/// \return   the argument [rad], reduced by fmod: the sign is that of the unreduced argument
/// Source: IERS Conventions (2003), chapter 5; Simon et al. (1994).
double iauFaf03(double t);

/// Mean elongation of the Moon from the Sun, D.
/// \param t  Julian centuries of TDB (TT serves) since J2000.0
/// \return   the argument [rad], reduced by fmod: the sign is that of the unreduced argument
/// Source: IERS Conventions (2003), chapter 5; Simon et al. (1994).
double iauFad03(double t);

/// Mean longitude of the Moon's ascending node, Om.
/// \param t  Julian centuries of TDB (TT serves) since J2000.0
/// \return   the argument [rad], reduced by fmod: the sign is that of the unreduced argument
/// Source: IERS Conventions (2003), chapter 5; Simon et al. (1994).
double iauFaom03(double t);

/// Mean longitude of Mercury.
/// \param t  Julian centuries of TDB (TT serves) since J2000.0
/// \return   the argument [rad], reduced by fmod: the sign is that of the unreduced argument
/// Source: IERS Conventions (2003), chapter 5; Souchay et al. (1999).
double iauFame03(double t);

/// Mean longitude of Venus.
/// \param t  Julian centuries of TDB (TT serves) since J2000.0
/// \return   the argument [rad], reduced by fmod: the sign is that of the unreduced argument
/// Source: IERS Conventions (2003), chapter 5; Souchay et al. (1999).
double iauFave03(double t);

/// Mean longitude of the Earth.
/// \param t  Julian centuries of TDB (TT serves) since J2000.0
/// \return   the argument [rad], reduced by fmod: the sign is that of the unreduced argument
/// Source: IERS Conventions (2003), chapter 5; Souchay et al. (1999).
double iauFae03(double t);

/// Mean longitude of Mars.
/// \param t  Julian centuries of TDB (TT serves) since J2000.0
/// \return   the argument [rad], reduced by fmod: the sign is that of the unreduced argument
/// Source: IERS Conventions (2003), chapter 5; Souchay et al. (1999).
double iauFama03(double t);

/// Mean longitude of Jupiter.
/// \param t  Julian centuries of TDB (TT serves) since J2000.0
/// \return   the argument [rad], reduced by fmod: the sign is that of the unreduced argument
/// Source: IERS Conventions (2003), chapter 5; Souchay et al. (1999).
double iauFaju03(double t);

/// Mean longitude of Saturn.
/// \param t  Julian centuries of TDB (TT serves) since J2000.0
/// \return   the argument [rad], reduced by fmod: the sign is that of the unreduced argument
/// Source: IERS Conventions (2003), chapter 5; Souchay et al. (1999).
double iauFasa03(double t);

/// Mean longitude of Uranus.
/// \param t  Julian centuries of TDB (TT serves) since J2000.0
/// \return   the argument [rad], reduced by fmod: the sign is that of the unreduced argument
/// Source: IERS Conventions (2003), chapter 5; Souchay et al. (1999).
double iauFaur03(double t);

/// General accumulated precession in longitude.
/// \param t  Julian centuries of TDB (TT serves) since J2000.0
/// \return   pA [rad], not reduced
/// Source: IERS Conventions (2003), chapter 5; Kinoshita and Souchay (1990).
double iauFapa03(double t);

/// Mean obliquity of the ecliptic, IAU 2006.
/// \param date1,date2  TT as a two-part Julian date, any split [day]
/// \return             obliquity [rad]
/// Source: Hilton et al. (2006).
double iauObl06(double date1, double date2);

/// Fukushima-Williams precession angles with frame bias, IAU 2006.
/// \param date1,date2  TT as a two-part Julian date, any split [day]
/// \param gamb,phib    [out] bearing and inclination of the mean ecliptic of date against the GCRS [rad]
/// \param psib,epsa    [out] precession along the ecliptic of date, mean obliquity [rad]
/// Source: Hilton et al. (2006).
void iauPfw06(double date1, double date2, double* gamb, double* phib, double* psib, double* epsa);

/// Rotation matrix of Fukushima-Williams angles, R1(-eps) R3(-psi) R1(phib) R3(gamb).
/// \param gamb,phib,psi,eps  angles [rad]; with nutation in psi and eps the matrix holds nutation
/// \param r                  [out] 3x3: v_of_date = r * v_gcrs
/// Source: Hilton et al. (2006).
void iauFw2m(double gamb, double phib, double psi, double eps, double r[3][3]);

/// Nutation, IAU 2000A: 678 luni-solar and 687 planetary terms, free core nutation left out.
/// \param date1,date2  TT as a two-part Julian date, any split [day]
/// \param dpsi,deps    [out] nutation in longitude and obliquity [rad]
/// Source: Mathews, Herring and Buffett (2002); IERS Conventions (2003), chapter 5.
void iauNut00a(double date1, double date2, double* dpsi, double* deps);

/// Nutation, IAU 2000A adjusted to the IAU 2006 precession.
/// \param date1,date2  TT as a two-part Julian date, any split [day]
/// \param dpsi,deps    [out] nutation in longitude and obliquity [rad]
/// Source: Wallace and Capitaine (2006), eq. 5.
void iauNut06a(double date1, double date2, double* dpsi, double* deps);

/// Bias-precession-nutation matrix, IAU 2006/2000A.
/// \param date1,date2  TT as a two-part Julian date, any split [day]
/// \param rbpn         [out] 3x3: v_true_of_date = rbpn * v_gcrs
/// Source: Capitaine and Wallace (2006).
void iauPnm06a(double date1, double date2, double rbpn[3][3]);

/// Coordinates of the celestial intermediate pole, the bottom row of a bias-precession-nutation matrix.
/// \param rbpn  3x3, GCRS to true of date
/// \param x,y   [out] components of the pole's unit vector in the GCRS
/// Source: IERS Conventions (2003), chapter 5.
void iauBpn2xy(double rbpn[3][3], double* x, double* y);

/// CIO locator s, IAU 2006/2000A.
/// \param date1,date2  TT as a two-part Julian date, any split [day]
/// \param x,y          coordinates of the celestial intermediate pole
/// \return             s [rad]
/// Source: Capitaine and Wallace (2006); IERS Conventions (2010), table 5.2d.
double iauS06(double date1, double date2, double x, double y);

/// CIO locator s, IAU 2000A.
/// \param date1,date2  TT as a two-part Julian date, any split [day]
/// \param x,y          coordinates of the celestial intermediate pole
/// \return             s [rad]
/// Source: Capitaine et al. (2003); IERS Conventions (2003), chapter 5.
double iauS00(double date1, double date2, double x, double y);

/// Celestial-to-intermediate matrix from pole and locator.
/// \param x,y   coordinates of the celestial intermediate pole
/// \param s     CIO locator [rad]
/// \param rc2i  [out] 3x3: v_intermediate = rc2i * v_gcrs
/// Source: IERS Conventions (2003), chapter 5.
void iauC2ixys(double x, double y, double s, double rc2i[3][3]);

/// Celestial-to-intermediate matrix, IAU 2006/2000A.
/// \param date1,date2  TT as a two-part Julian date, any split [day]
/// \param rc2i         [out] 3x3: v_intermediate = rc2i * v_gcrs
/// Source: IERS Conventions (2010), chapter 5.
void iauC2i06a(double date1, double date2, double rc2i[3][3]);

/// Celestial-to-intermediate matrix from a given pole, with s of IAU 2000.
/// \param date1,date2  TT as a two-part Julian date, any split [day]
/// \param x,y          coordinates of the celestial intermediate pole
/// \param rc2i         [out] 3x3: v_intermediate = rc2i * v_gcrs
/// Source: IERS Conventions (2003), chapter 5.
void iauC2ixy(double date1, double date2, double x, double y, double rc2i[3][3]);

/// Earth rotation angle, IAU 2000.
/// \param dj1,dj2  UT1 as a two-part Julian date, any split and order [day]
/// \return         angle from 0 to 2 pi [rad]
/// Source: Capitaine, Guinot and McCarthy (2000).
double iauEra00(double dj1, double dj2);

/// TIO locator s'.
/// \param date1,date2  TT as a two-part Julian date, any split [day]
/// \return             s' [rad]
/// Source: IERS Conventions (2003), chapter 5.
double iauSp00(double date1, double date2);

/// Polar-motion matrix.
/// \param xp,yp  coordinates of the pole [rad]
/// \param sp     TIO locator s' [rad]
/// \param rpom   [out] 3x3: v_itrs = rpom * v_tirs
/// Source: IERS Conventions (2003), chapter 5.
void iauPom00(double xp, double yp, double sp, double rpom[3][3]);

/// Celestial-to-terrestrial matrix, IAU 2006/2000A, CIO based.
/// \param tta,ttb  TT as a two-part Julian date [day]
/// \param uta,utb  UT1 as a two-part Julian date [day]
/// \param xp,yp    coordinates of the pole [rad]
/// \param rc2t     [out] 3x3: v_itrs = rc2t * v_gcrs
/// Source: IERS Conventions (2010), chapter 5.
void iauC2t06a(double tta, double ttb, double uta, double utb, double xp, double yp, double rc2t[3][3]);

/// Celestial-to-terrestrial matrix from its parts, rpom * R3(era) * rc2i.
/// \param rc2i  3x3, celestial to intermediate
/// \param era   Earth rotation angle [rad]
/// \param rpom  3x3, polar motion
/// \param rc2t  [out] 3x3: v_itrs = rc2t * v_gcrs
/// Source: IERS Conventions (2003), chapter 5.
void iauC2tcio(double rc2i[3][3], double era, double rpom[3][3], double rc2t[3][3]);

/// Unit matrix.
/// \param r  [out] 3x3
/// Source: IAU SOFA collection in its ERFA form.
void iauIr(double r[3][3]);

/// Rotates a matrix about the x axis, in place: r = R1(phi) * r.
/// \param phi  angle [rad]
/// \param r    [in,out] 3x3
/// Source: IAU SOFA collection in its ERFA form.
void iauRx(double phi, double r[3][3]);

/// Rotates a matrix about the y axis, in place: r = R2(theta) * r.
/// \param theta  angle [rad]
/// \param r      [in,out] 3x3
/// Source: IAU SOFA collection in its ERFA form.
void iauRy(double theta, double r[3][3]);

/// Rotates a matrix about the z axis, in place: r = R3(psi) * r.
/// \param psi  angle [rad]
/// \param r    [in,out] 3x3
/// Source: IAU SOFA collection in its ERFA form.
void iauRz(double psi, double r[3][3]);

/// Product of two matrices, a * b.
/// \param a,b  3x3
/// \param atb  [out] 3x3; may be a or b
/// Source: IAU SOFA collection in its ERFA form.
void iauRxr(double a[3][3], double b[3][3], double atb[3][3]);

/// Copies a matrix.
/// \param r  3x3
/// \param c  [out] 3x3
/// Source: IAU SOFA collection in its ERFA form.
void iauCr(double r[3][3], double c[3][3]);

/// Copies a vector.
/// \param p  3 components
/// \param c  [out] 3 components
/// Source: IAU SOFA collection in its ERFA form.
void iauCp(double p[3], double c[3]);

/// Angle in the range from 0 to 2 pi.
/// \param a  angle [rad]
/// \return   the same angle, 0 <= result < 2 pi [rad]
/// Source: IAU SOFA collection in its ERFA form.
double iauAnp(double a);

LEOPOD_END_DECLS
#endif
