/// \file ephemeris_fit.h
/// Broadcast-style orbit elements in a non-rotating frame: the position that they give and its partial derivatives, the kernel of
/// a least-squares fit of elements to an orbit. Lengths are in kilometres (GM = 398600.4415 km^3/s^2).
#ifndef LEOPOD_EPHEMERIS_FIT_H
#define LEOPOD_EPHEMERIS_FIT_H

#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

/// Sixteen orbit elements. The semi-major axis stands itself, not its root.
typedef struct ephemeris_gps {
    double toe;        ///< reference time [s], on the scale of the time of evaluation
    double a;          ///< semi-major axis [km]
    double e;          ///< eccentricity, below 1
    double i0;         ///< inclination at toe [rad]
    double OMEGA0;     ///< right ascension of the node at toe [rad]
    double omega;      ///< argument of perigee [rad]
    double M0;         ///< mean anomaly at toe [rad]
    double dn;         ///< correction of the mean motion [rad/s]
    double i_dot;      ///< rate of inclination [rad/s]
    double OMEGA_dot;  ///< rate of the node [rad/s]
    double Cus;        ///< argument of latitude, sine term [rad]
    double Cuc;        ///< argument of latitude, cosine term [rad]
    double Crs;        ///< radius, sine term [km]
    double Crc;        ///< radius, cosine term [km]
    double Cis;        ///< inclination, sine term [rad]
    double Cic;        ///< inclination, cosine term [rad]
} ephemeris_gps;

/// Sets all elements to 0.
/// \param eph  [out] the elements
void ephemeris_gps_clear(ephemeris_gps* eph);

/// Fills a set of elements, in the order of its fields.
/// \param t  reference time toe [s]
/// \param a_in,e_in,i0_in,OMEGA0_in,omega_in,M0_in,dn_in  Kepler elements
/// \param i_dot_in,OMEGA_dot_in  rates
/// \param Cus_in,Cuc_in,Crs_in,Crc_in,Cis_in,Cic_in  harmonic corrections
/// \param eph  [out] the elements
void set_data(double t, double a_in, double e_in, double i0_in, double OMEGA0_in, double omega_in, double M0_in,
              double dn_in, double i_dot_in, double OMEGA_dot_in, double Cus_in, double Cuc_in, double Crs_in,
              double Crc_in, double Cis_in, double Cic_in, ephemeris_gps* eph);

/// Position of a set of elements. Beyond a true anomaly of 90 degrees (cos E < e) the anomaly comes out shifted by pi, and the
/// position is that of the opposite side (all three components change sign). Kepler's equation is solved by Newton's steps up to the
/// first one that is not positive: the second step for mean anomalies below half a turn, the first above, where the position is off by
/// about a e^3 / 2 (13 m for a GPS orbit of e = 0.01).
/// \param t    time [s]
/// \param eph  the elements; e above 1 and a of 0 give non-finite numbers
/// \param pos  [out] position in the frame of the elements [km]
/// \param vel  not written
/// Source: IS-GPS-200, table 20-IV, with an earth that does not rotate.
void compute_position_velocity(double t, ephemeris_gps* eph, double* pos, double* vel);

/// Partial derivatives of the position by the elements.
/// \param t    time [s]
/// \param eph  the elements; e of 1 or more and a of 0 give non-finite numbers
/// \param H    [out] 3 rows X, Y, Z of 15 columns: a, e, i0, OMEGA0, omega, M0, dn, i_dot, OMEGA_dot, Cus, Cuc, Crs, Crc, Cis,
///             Cic [km per unit of the element]. In column e the derivative of the anomaly is that of its tangent: too large by
///             1/cos^2 of the anomaly, and right at perigee and apogee only. Fits take this column from differences.
void partial_xyz_partial_eph(double t, ephemeris_gps* eph, double (*H)[15]);

LEOPOD_END_DECLS
#endif
