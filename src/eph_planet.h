/// \file eph_planet.h
/// Sun, Moon and planets from Chebyshev records in the layout of the JPL Development Ephemerides, with an analytic fallback.
#ifndef LEOPOD_EPH_PLANET_H
#define LEOPOD_EPH_PLANET_H

#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

/// Bodies; also the row index of all tables here.
typedef enum PLANET_JPL LEOPOD_ENUM_BASE {
    EARTH = 0,
    MERCURY = 1,
    VENUS = 2,
    EM_BARY = 3,
    MARS = 4,
    JUPITER = 5,
    SATURN = 6,
    URANUS = 7,
    NEPTUNE = 8,
    PLUTO = 9,
    MOON = 10,
    SUN = 11,
    EARTH_NUTATION = 12,
    LUNAR_LIBRATION = 13,
    LUNAR_ANGULAR_VEL = 14,
    TTmTDB = 15,
    SOLAR_BARY = 16,
    TOTAL_PLANET = 17
} PLANET_JPL;

enum {
    NUM_COEF_JPLEPH = 1018,         ///< coefficients of a record
    MAXNUM_RECORD_JPLEPH = 2048,    ///< records of a store
    MAXNUM_CONSTANT_JPLEPH = 1000,  ///< named constants of a header
    MAXNUM_CHEBYSHEV_JPLEPH = 18    ///< coefficients of a series
};

typedef struct EPH_HEADER_JPL {
    int con_num;     ///< number of named constants
    int ipt[17][3];  ///< per body: 1-based position of the first coefficient, coefficients per component, sub-intervals
    double au;       ///< kilometres per astronomical unit
    double emrat;    ///< Earth/Moon mass ratio
    char con_name[1000][20];  ///< names of the constants
    double con_val[1000];     ///< their values
    double ss[3];             ///< first and last Julian date covered, length of a record [day]
} EPH_HEADER_JPL;

typedef struct EPH_RECORD_JPL {
    int index;                    ///< record number of the file
    int coef_num;                 ///< coefficients of the record
    double chebychev_coef[1018];  ///< start and end Julian date, then the series
} EPH_RECORD_JPL;

extern EPH_HEADER_JPL* g_eph_header;       ///< header in use, owned by the host
extern EPH_RECORD_JPL* g_ephData_storage;  ///< records in use, owned by the host
extern int g_num_eph_record;               ///< 0: nothing loaded, analytic fallback; its size is not asked
extern bool g_unit_km;                     ///< true: km and km/s; false: AU and AU/day
extern double PLANET_GM[18];               ///< gravitational parameters [km^3/s^2]
extern double pos_coef_chebyshev[17][18];  ///< scratch: Chebyshev polynomials per body
extern double vel_coef_chebyshev[17][18];  ///< scratch: their derivatives

/// Unloads everything: null pointers, no record, kilometres; fills PLANET_GM and the starting values of the scratch tables.
void initialize_global_eph_planet(void);

/// Layout of the built-in record: au, emrat, ss, ipt. No file access; the row of SOLAR_BARY is not touched.
/// \param eph_header  [out] header
/// \return true; false for a null pointer
bool load_eph_header_default(EPH_HEADER_JPL* eph_header);

/// Built-in header and record, Julian dates 2459216.5 to 2459248.5. Sets g_num_eph_record to 1; the caller points the globals at
/// the two objects.
/// \param eph_header   [out] header
/// \param eph_storage  [out] room for at least one record
/// \return true; false for a null pointer
bool load_eph_storage_default(EPH_HEADER_JPL* eph_header, EPH_RECORD_JPL* eph_storage);

/// Reads an ASCII ephemeris, header with the data blocks behind it. Sets g_num_eph_record to the number of the last record, that is
/// the number of records less one: a file with one record alone selects the analytic fallback. The caller points the globals at
/// the two objects. Constants, columns of the index table and coefficients above the fixed limits are dropped with one warning each.
/// \param eph_filename  path of the file
/// \param eph_header    [out] header; what the file does not give stays as it is
/// \param eph_data      [out] records, room for MAXNUM_RECORD_JPLEPH + 1
/// \return false if the file cannot be opened (logged as critical), holds no record (logged as error) or a pointer is null; else
///         true, logged at info level
/// Source: JPL Planetary and Lunar Ephemerides, ASCII format.
bool load_eph_storage_file(char* eph_filename, EPH_HEADER_JPL* eph_header, EPH_RECORD_JPL* eph_data);

/// State of a body relative to another, or the nutations or librations. Without any record: geocentric Sun and Moon from
/// compute_pos_sun_moon_eci, position only and in metres whatever g_unit_km says.
/// \param tt_jd  TT as Julian date [day]
/// \param ncent  centre; SOLAR_BARY for barycentric states; not read for nutations and librations
/// \param ntarg  target
/// \param pv     [out] position and velocity, ICRF, 6 values [km, km/s] or [AU, AU/day] by g_unit_km; nutations: two angles and two
///               rates; librations: three and three [rad, rad/s or rad/day]
/// \return false, pv untouched, for equal bodies, a date that is not finite or not covered (the latter logged as error), a body
///         without series, a series that does not fit the record, or missing data
/// Source: JPL Development Ephemerides.
bool compute_planet_pos_vel(double tt_jd, PLANET_JPL ncent, PLANET_JPL ntarg, double* pv);

/// Evaluates the Chebyshev series of one body with the layout of g_eph_header. Nothing is written for a body without series, a series
/// that does not fit the record, or a time outside it.
/// \param planet       body, row of the index table
/// \param coef_record  coefficients of the record, 1018 values
/// \param t            fraction of the record [0, 1]; length of the record in the velocity's unit of time
/// \param ncm          components of the series
/// \param ifl          1: position; 2: position and velocity
/// \param posvel       [out] ncm or 2 ncm values
void interp(PLANET_JPL planet, double* coef_record, double* t, int ncm, int ifl, double* posvel);

/// Whole part and fraction of a number; the fraction of a negative number is raised into [0, 1).
/// \param tt  number
/// \param fr  [out] whole part, fraction
void split_double(double tt, double* fr);

/// Delaunay arguments l, l', F, D, Omega.
/// \param t  centuries from J2000.0
/// \param f  [out] 5 values [rad], within a turn, with the sign of the polynomial
/// Source: IERS Conventions (2010), equation 5.43.
void ast_args(double t, double* f);

/// Sun and Moon from short analytic series, in a mean equatorial frame.
/// \param mjd_ut1    UT1 [MJD]
/// \param rsun_eci   [out] geocentric Sun, 3 values [m]; may be null
/// \param rmoon_eci  [out] geocentric Moon, 3 values [m]; may be null
void compute_pos_sun_moon_eci(double mjd_ut1, double* rsun_eci, double* rmoon_eci);

/// Compares the loaded ephemeris with a JPL test file and logs the differences at debug level. Leaves g_unit_km false.
/// \param testfilename  path of the test file; one that cannot be opened is logged as warning
void EphTest(char* testfilename);

LEOPOD_END_DECLS
#endif
