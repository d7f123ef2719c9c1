/// \file common_function.h
/// Text helpers of the line readers, small searches over arrays, and local geometry.
#ifndef LEOPOD_COMMON_FUNCTION_H
#define LEOPOD_COMMON_FUNCTION_H

#include "leopod_api.h"
#include "mathlib.h"
#include "ulog.h"

LEOPOD_BEGIN_DECLS

/// Writes texts to standard error, one a line.
/// \param help_str  array of texts, ended by a null pointer
void print_help(char** help_str);

/// Cuts trailing blanks, in place. Leading blanks stay, tabs don't count, and a text of blanks only stays as it is.
/// \param s  text with its terminator
void string_trim(char* s);

/// Splits a line at separators. Runs of separators count as one; text behind the first newline is ignored.
/// \param string_raw  the line, not changed
/// \param seps        the separator characters
/// \param outstr      [out] one row of 1024 characters for each token. Neither the number of tokens nor their length is
///                    bounded: the caller's array must fit the line
/// \return the number of tokens
int string_split(char* string_raw, char* seps, char (*outstr)[1024]);

/// Hexadecimal text to bytes, without validation.
/// \param in   `len` characters, first the high half of each byte; either case
/// \param len  number of characters
/// \param out  [out] len / 2 bytes; with an odd `len` one more, whose low half is 0
void hex_str_to_byte(char* in, int len, unsigned char* out);

/// Largest element of a closed index range.
/// \param arr         the array
/// \param left,right  first and last index
/// \return the maximum; -1.0 for a null array
double search_max_array(double* arr, int left, int right);

/// Lower bound in an ascending array, over the indices s to e - 1.
/// \param A      the array, ascending
/// \param s,e    first index, and the index behind the last
/// \param value  value searched for
/// \return the first index whose element is not below `value`; e if all are
int binsearch_array(double* A, int s, int e, double value);

/// Marks elements that lie farther than a threshold from more than 70 percent of all elements.
/// \param num            number of elements
/// \param dataset        the elements, any unit
/// \param states         [in,out] `num` flags: 1 for an outlier; others are left as they are
/// \param threshold_max  largest distance, in the unit of `dataset`
void detect_outlier(const int num, double* dataset, int* states, double threshold_max);

/// Cartesian to geodetic coordinates, by fixed-point iteration on the Z component to 1e-4 m.
/// The Earth's centre gives latitude -pi/2, longitude 0 and height -re_wgs84; a point on the axis gets longitude 0.
/// \param ecef      Earth-fixed position [m]
/// \param blh       [out] latitude [rad], longitude [rad], ellipsoidal height [m]
/// \param re_wgs84  semi-major axis of the ellipsoid [m]
/// \param fe_wgs84  flattening
void ecef2blh(double* ecef, double* blh, double re_wgs84, double fe_wgs84);

/// Geodetic to Cartesian coordinates.
/// \param blh       latitude [rad], longitude [rad], ellipsoidal height [m]
/// \param ecef      [out] Earth-fixed position [m]
/// \param re_wgs84  semi-major axis of the ellipsoid [m]
/// \param fe_wgs84  flattening
void blh2ecef(double* blh, double* ecef, double re_wgs84, double fe_wgs84);

/// Rotation from the Earth-fixed frame to local east, north, up.
/// \param blh  geodetic coordinates of the origin [rad, rad, m]; the height is not used
/// \param E    [out] 3x3, row-major, its rows the unit vectors east, north, up: enu = E * dxyz
void xyz2enu_matrix(double* blh, double* E);

/// Earth-fixed difference vector to local east, north, up.
/// \param blh   geodetic coordinates of the origin [rad, rad, m]
/// \param dxyz  Earth-fixed difference [m]
/// \param enu   [out] east, north, up [m]; must not overlap `dxyz`
void xyz2enu(double* blh, double* dxyz, double* enu);

/// Local east, north, up to an Earth-fixed difference vector.
/// \param blh   geodetic coordinates of the origin [rad, rad, m]
/// \param enu   east, north, up [m]
/// \param dxyz  [out] Earth-fixed difference [m]; must not overlap `enu`
void enu2xyz(double* blh, double* enu, double* dxyz);

/// Unit vectors of the orbit frame. R points to the Earth's centre, N = position x velocity is the orbit normal, and
/// T = N x R points against the flight on a circular orbit: not the usual radial, along-track, cross-track triad.
/// \param satpos  inertial position [m]
/// \param satvel  inertial velocity [m/s]
/// \param R,T,N   [out] unit vectors in the frame of the inputs, right-handed
void eci2rtn(double* satpos, double* satvel, double* R, double* T, double* N);

/// Azimuth and elevation of a signal in antenna coordinates. An azimuth of 0 comes out as 2 pi.
/// \param installation_matrix  3x3, row-major, antenna frame to platform frame
/// \param signal_los_platform  line of sight in the platform frame, any length
/// \param azel                 [out] azimuth from the antenna's y axis towards x in (0, 2 pi], elevation above its
///                             xy plane [rad]; may be null
void get_azel_signal(double* installation_matrix, double* signal_los_platform, double* azel);

/// Azimuth and elevation of a line of sight at a ground or orbit point.
/// A point at or below -6378137 m height gets azimuth 0 and elevation pi/2.
/// \param blh   geodetic coordinates of the point [rad, rad, m]
/// \param dxyz  Earth-fixed line of sight from the point [m]
/// \param azel  [out] azimuth from north towards east in [0, 2 pi), elevation [rad]; may be null
void azel(double* blh, double* dxyz, double* azel);

LEOPOD_END_DECLS
#endif
