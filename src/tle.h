/// \file tle.h
/// Two-line element sets: files, name lists, propagation with the near-earth SGP4 model, and its frames.
#ifndef LEOPOD_TLE_H
#define LEOPOD_TLE_H

#include "gtime.h"
#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

/// One element set.
typedef struct tled_t {
    char name[32];        ///< common name, from a name line or from tle_name_read
    char alias[32];       ///< second name; no reader sets it
    char satno[16];       ///< catalogue number, as text with its leading blanks
    char satclass;        ///< classification letter
    char desig[16];       ///< international designator
    GTime epoch_mjd_utc;  ///< element epoch, tsUTC
    double ndot;          ///< first derivative of the mean motion over 2, as in the file [rev/day^2]
    double nddot;         ///< second derivative over 6, as in the file [rev/day^3]
    double bstar;         ///< drag term [1/Earth radius]
    int etype;            ///< ephemeris type
    int eleno;            ///< element set number
    double inc;           ///< inclination [degree]
    double OMG;           ///< right ascension of the ascending node [degree]
    double ecc;           ///< eccentricity
    double omg;           ///< argument of perigee [degree]
    double M;             ///< mean anomaly [degree]
    double n;             ///< mean motion [rev/day]
    int rev;              ///< revolution number at epoch
} tled_t;

/// A growing array of element sets. Zeroed before its first use by the caller, who frees data.
typedef struct tle_t {
    int n;         ///< records in use
    int nmax;      ///< capacity
    tled_t* data;  ///< records, from the heap
} tle_t;

// --- files -----------------------------------------------------------------------------------------------------------

/// Removes trailing blanks, carriage returns and newlines, in place.
/// \param buff  the text
void chop(char* buff);

/// Number in fixed columns of a text; "D" and "d" serve as exponent letters.
/// \param s  the text
/// \param i  first column, counted from 0
/// \param n  width; below 256
/// \return   the number at the start of the columns, as far as the text has them; 0 for none, and for i or n outside
double str2num(const char* s, int i, int n);

/// Tests the checksum of an element line: digits of columns 0 to 67 count their value, each "-" counts 1.
/// \param buff  the line; below 69 characters it fails
/// \return      1 if the digit in column 68 is the sum modulo 10, else 0
int checksum(const char* buff);

/// Decodes line 1 and clears the fields of line 2; names stay. Years are 1957 to 2056. Integers saturate, and fields that
/// the line lacks are empty or 0.
/// \param buff  the line; its checksum is not tested
/// \param data  [in,out] the set
/// \return      1
int decode_line1(const char* buff, tled_t* data);

/// Decodes line 2 into a set that holds its line 1.
/// \param buff  the line; its checksum is not tested
/// \param data  [in,out] the set
/// \return      1; 0 for another catalogue number than that of line 1 (the set stays as it was), for a mean motion that is
///              not positive and for a negative eccentricity
/// Logged at error level: "tle satno mismatch: %s %s" (line 1, line 2), "tle data error: %s" (number).
int decode_line2(const char* buff, tled_t* data);

/// Appends a copy of a set. The array starts with room for 1024 and doubles.
/// \param tle   [in,out] the array
/// \param data  the set
/// \return      1; 0 without memory: the array is freed then and empty
/// Logged: "tle malloc error", at error level.
int add_data(tle_t* tle, const tled_t* data);

/// Order of two sets for qsort: by name, as strcmp.
/// \param p1,p2  two tled_t
/// \return       negative, 0 or positive
int cmp_tle_data(const void* p1, const void* p2);

/// Reads a file of element sets behind those that the array holds, then sorts the whole array by name. Duplicates stay.
/// A line is cut at "#" and then at 255 characters. A line that is neither a good line 1 nor a good line 2 behind it is a
/// name line: its first 31 characters, up to "(", name the next set. So does an element line with a wrong checksum.
/// \param file  path
/// \param tle   [in,out] the array
/// \return      1; 0 for a file that does not open, and without memory
/// Logged: an unopenable file and cut lines at warning level; as by decode_line2 and add_data. A bad pair is skipped.
int tle_read(const char* file, tle_t* tle);

/// Names the sets of an array from a list, then sorts the array by name. A line has name, catalogue number and designator
/// (may be absent) between blanks, and is cut as in tle_read. The first set with that number, its first 5 characters compared
/// as text, or with that designator takes the first 31 characters of the name.
/// \param file  path
/// \param tle   [in,out] the array
/// \return      1; 0 for a file that does not open
/// Logged at warning level: an unopenable file, cut lines, "no tle data: satno=%s desig=%s" for a line without a set.
int tle_name_read(const char* file, tle_t* tle);

// --- propagation -----------------------------------------------------------------------------------------------------

/// State of an element set by SGP4, the near-earth model in double precision. Periods above 225 minutes run through the same
/// model, which has no deep-space terms; decay is not examined. A decayed orbit, an eccentricity of 1 or more and an
/// inclination of exactly 180 degrees may give not-a-number. At an eccentricity of 0 the terms that divide by it are left out.
/// \param tsince  time since the element epoch, either sign [minute]
/// \param data    the set
/// \param rs      [out] 6: position [m] and velocity [m/s], TEME
/// Source: Hoots and Roehrich (1980), Spacetrack Report No. 3, SGP4; constants of WGS-72.
void SGP4_STR3(double tsince, const tled_t* data, double* rs);

/// State of an element set at an epoch, by SGP4_STR3, which prints nothing: this one prints its state to standard output
/// with each call, headed "rv_TEME:".
/// \param tledata       the set
/// \param time_utc      epoch, tsUTC; another time system ends the process (gtimeSub)
/// \param pos_vel_teme  [out] 6: position [m] and velocity [m/s], TEME
/// \return              no meaning
int tle2xyz(const tled_t* tledata, GTime time_utc, double* pos_vel_teme);

// --- frames ----------------------------------------------------------------------------------------------------------

/// Polar-motion matrix with the TIO locator s' of a given date.
/// \param xp,yp  coordinates of the pole [rad]
/// \param jc_tt  TT, Julian centuries since J2000.0
/// \param pm     [out] three rows of 3: v_ecef = pm * v_pef
/// Source: IERS Conventions (2003), chapter 5.
void polarm(double xp, double yp, double jc_tt, double** pm);

/// Polar-motion matrix of a UTC date, the orientation of polarm.
/// \param mjd_utc  UTC MJD
/// \param leapsec  TAI-UTC [s]
/// \param ut1mutc  not used
/// \param pmx,pmy  coordinates of the pole [arcsecond]
/// \param Rm       [out] 3x3, row-major: v_ecef = Rm * v_pef
/// Source: IERS Conventions (2003), chapter 5.
void rotation_ecef2pef(double mjd_utc, double leapsec, double ut1mutc, double pmx, double pmy, double* Rm);

/// State from TEME to the Earth-fixed frame, through the pseudo Earth-fixed frame: mean sidereal time of 1982, polar motion
/// without s'.
/// \param mjd_utc            UTC MJD
/// \param leapsec            not used
/// \param ut1mutc            UT1-UTC [s]
/// \param pmx,pmy            coordinates of the pole [arcsecond]
/// \param lod                excess length of day [s]
/// \param dOMEGA             not used
/// \param xyz_teme,vel_teme  3 each [m, m/s]
/// \param xyz_ecf,vel_ecf    [out] 3 each [m, m/s]
/// Source: Vallado et al. (2006), Revisiting Spacetrack Report #3.
void teme2ecef(double mjd_utc, double leapsec, double ut1mutc, double pmx, double pmy, double lod, double dOMEGA,
               double* xyz_teme, double* vel_teme, double* xyz_ecf, double* vel_ecf);

/// Propagates a built-in element set of satellite 00005 by three days, converts it and prints the states: TEME, Earth-fixed,
/// GCRS, and Earth-fixed again. Reads testdata/finals.data.iau2000.txt, a rapid file of earth orientation; outside its dates
/// UT1 = UTC and no polar motion. Uses the global store of earth orientation and leaves it empty.
/// Logged at error level: an absent file, missing memory; nothing is printed then.
void tle_test(void);

LEOPOD_END_DECLS
#endif
