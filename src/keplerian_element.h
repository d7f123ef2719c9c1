/// \file keplerian_element.h
/// Elementary rotations, quaternions and two-body orbit elements.
#ifndef LEOPOD_KEPLERIAN_ELEMENT_H
#define LEOPOD_KEPLERIAN_ELEMENT_H

#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

typedef struct QUATERNION {
    double r;     ///< scalar part
    double v[3];  ///< vector part
} QUATERNION;

/// Orbit elements; angles in radians.
typedef struct keplerian_elements {
    double m_sma;   ///< semi-major axis [m]
    double m_ecc;   ///< eccentricity
    double m_inc;   ///< inclination
    double m_argp;  ///< argument of perigee
    double m_raan;  ///< right ascension of the ascending node
    double m_tran;  ///< true anomaly
    double m_ecan;  ///< eccentric anomaly
    double m_mean;  ///< mean anomaly
} keplerian_elements;

// --- rotations and quaternions ---------------------------------------------------------------------------------------

/// Rotation of the axes about x: v_new = R * v_old.
/// \param phi  angle [rad]
/// \param R    [out] 3x3, row-major: (1, 0, 0), (0, c, s), (0, -s, c)
void Rx(double phi, double* R);

/// Rotation of the axes about y: v_new = R * v_old.
/// \param phi  angle [rad]
/// \param R    [out] 3x3, row-major: (c, 0, -s), (0, 1, 0), (s, 0, c)
void Ry(double phi, double* R);

/// Rotation of the axes about z: v_new = R * v_old.
/// \param phi  angle [rad]
/// \param R    [out] 3x3, row-major: (c, s, 0), (-s, c, 0), (0, 0, 1)
void Rz(double phi, double* R);

/// Rotation matrix of a unit quaternion.
/// \param q  unit quaternion
/// \param R  [out] 3x3, row-major
void quaternion2rotation(QUATERNION q, double* R);

/// Quaternion of a rotation matrix, the inverse of quaternion2rotation. One branch only: near 180 degrees the scalar part
/// vanishes and the result degrades to non-finite numbers.
/// \param rotationMatrix  3x3, row-major
/// \param q               [out] quaternion with a scalar part of 0 or more
void quaternion_from_rotation(double* rotationMatrix, QUATERNION* q);

/// Scales a quaternion to unit length in place; no guard for a null quaternion.
/// \param q  [in,out] quaternion
void quaternion_normalise(QUATERNION* q);

/// Negates all four components in place, the scalar part too: the result stands for the same rotation.
/// \param q  [in,out] quaternion
void quaternion_conjugate(QUATERNION* q);

// --- anomalies -------------------------------------------------------------------------------------------------------

/// Eccentric anomaly from the true anomaly. The order of the arguments is the reverse of its siblings'.
/// \param ecc   eccentricity, below 1
/// \param tran  true anomaly [rad]
/// \return the eccentric anomaly, 0 to 2 pi [rad].
double get_ecan_from_tran(double ecc, double tran);

/// True anomaly from the eccentric anomaly.
/// \param ecan  eccentric anomaly [rad]
/// \param ecc   eccentricity, below 1
/// \return the true anomaly, 0 to 2 pi [rad].
double get_tran_from_ecan(double ecan, double ecc);

/// Mean anomaly from the eccentric anomaly: Kepler's equation.
/// \param ecan  eccentric anomaly [rad]
/// \param ecc   eccentricity
/// \return the mean anomaly [rad].
double get_mean_from_ecan(double ecan, double ecc);

/// Eccentric anomaly from the mean anomaly by Newton's method, to 1e-12 rad. A solution that needs more than five steps goes
/// on for 100000 passes and is reported.
/// \param mean  mean anomaly [rad]
/// \param ecc   eccentricity, below 1
/// \return the eccentric anomaly, not reduced to one revolution [rad].
/// Logs at warning level when more than five steps were needed.
double get_ecan_from_mean(double mean, double ecc);

// --- elements and Cartesian states -----------------------------------------------------------------------------------

/// Position and velocity from elements with the true anomaly, for GM = 3.986004415e14 m^3/s^2.
/// \param kpe  [in,out] elements of an elliptic orbit; m_ecan is set, m_mean is neither read nor set
/// \param pos  [out] inertial position, 3 [m]
/// \param vel  [out] inertial velocity, 3 [m/s]
/// Source: Montenbruck and Gill (2000), Satellite Orbits, section 2.2.3.
void kpe2xyz(keplerian_elements* kpe, double* pos, double* vel);

/// Elements from position and velocity, for GM = 3.986004415e14 m^3/s^2. An equatorial orbit gets node and perigee 0; the
/// anomalies of a circular one are not defined.
/// \param pos  inertial position, 3 [m]
/// \param vel  inertial velocity, 3 [m/s]
/// \param kpe  [out] all elements
/// Source: Montenbruck and Gill (2000), Satellite Orbits, section 2.2.4.
void xyz2kpe(double* pos, double* vel, keplerian_elements* kpe);

/// Two-body propagation of elements with the true anomaly, in place.
/// \param kpe        [in,out] elements of an elliptic orbit; m_tran and m_ecan move on, m_mean stays as it was
/// \param sec_since  time to propagate [s]
/// Logs as get_ecan_from_mean does.
void update_kpe(keplerian_elements* kpe, double sec_since);

LEOPOD_END_DECLS
#endif
