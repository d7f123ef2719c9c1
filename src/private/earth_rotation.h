/// \file earth_rotation.h
/// Inertial to earth-fixed rotation of one instant for several conversions, and what earth orientation takes together.
#ifndef LEOPOD_PRIVATE_EARTH_ROTATION_H
#define LEOPOD_PRIVATE_EARTH_ROTATION_H

namespace leopod {

/// Formed by the first conversion that needs it.
struct EarthRotation {
    double mjd_utc = 0.0;
    double leapsec = 0.0;
    bool ready = false;
    bool oriented = false;  ///< the earth orientation was there
    double matrix[9] = {};
    double rate[9] = {};
};

/// One conversion, as eci2ecf makes it: forms the matrices where they are missing. A missing earth orientation is reported each time.
void use_rotation(EarthRotation& rotation);

/// eci2ecf by the rotation.
void turn_to_ecf(EarthRotation& rotation, double* pos_eci, double* vel_eci, double* pos_ecf, double* vel_ecf);

/// PMSDNUT2 and UTLIBR at one date.
void libration(double mjd, double (&pm)[2], double& dut1, double& dlod);

}  // namespace leopod

#endif
