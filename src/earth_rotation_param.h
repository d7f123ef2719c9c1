/// \file earth_rotation_param.h
/// Earth orientation store with its readers, and the celestial-terrestrial transformation.
#ifndef LEOPOD_EARTH_ROTATION_PARAM_H
#define LEOPOD_EARTH_ROTATION_PARAM_H

#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

enum { MAXSIZE_EOP = 30000 /**< highest record index of the store: room for MAXSIZE_EOP + 1 records */ };

/// One daily record of earth orientation.
typedef struct EOPREC {
    char type;              ///< 'F' final or observed, 'P' predicted, 'C' computed
    bool ok;                ///< record valid
    double mjd_utc;         ///< UTC MJD
    double pmX, pmY;        ///< polar motion [arcsecond]
    double UT1mUTC;         ///< UT1-UTC [s]
    double LOD;             ///< excess length of day [s]
    double dX, dY;          ///< celestial pole offsets [arcsecond]
    double dPsi, dEpsilon;  ///< nutation offsets [arcsecond]
    double dOMEGA;          ///< correction to the rotation rate [rad/s]; no reader fills it
} EOPREC;

extern EOPREC* g_eop_storage;        ///< records in ascending date, owned by the host
extern long int g_eop_storage_size;  ///< number of records

/// Empties the store: size 0, pointer null, no index in use. Precedes every first use of a new store.
void initialize_global_earth_rotation_param(void);

/// Fills a store from the three built-in lines, 17 to 19 January 2021. No file access, no allocation.
/// \param ptr_eop_store  the host's array of at least 3 records; becomes the global store
/// \param nsize          becomes the size of the store; 3 fits the built-in lines
/// Logs at error level: an nsize above MAXSIZE_EOP, a null store; nothing is done then.
/// Source: IERS Rapid Service, finals (IAU 2000).
void load_eops_default(EOPREC* ptr_eop_store, int nsize);

/// Reads an IERS rapid file (fixed columns, IAU 2000) into the store.
/// Given before: g_eop_storage, zeroed, with room for MAXSIZE_EOP + 1 records.
/// \param eopfilename  path
/// \return             false when the file does not open; true otherwise, also for an empty file
/// Lines of fewer than 30 characters are dropped; a line without polar motion ends the reading. LOD of predicted rows has no meaning.
/// Logs at info level: the number of records; at error level: a failed open, a null store; at warning level: an exceeded limit.
/// Source: IERS Rapid Service, finals (IAU 2000).
bool load_eop_storage_rapid(char* eopfilename);

/// Reads an IERS C04 file (old layout, 14 header lines) into the store.
/// Given before: g_eop_storage, zeroed, with room for MAXSIZE_EOP + 1 records.
/// \param eopfilename  path
/// \return             false when the file does not open; true otherwise, also for an empty file
/// Lines of fewer than 70 characters, and lines that do not give the date and five values, are dropped.
/// Logs at info level: the number of records; at warning level: a failed open, an exceeded limit; at error level: a null store.
/// Source: IERS EOP 14 C04 (IAU 2000A).
bool load_eop_storage(char* eopfilename);

/// Reads a keyword-framed earth orientation file into the store. The caller sets g_eop_storage_size.
/// Given before: g_eop_storage, zeroed, with room for MAXSIZE_EOP + 1 records.
/// \param eopall_filename  path
/// \return                 false when the file does not open; true otherwise, also for an empty file
/// Lines outside a frame, and lines that do not give the date and five values, are dropped.
/// Logs at error level: a failed open, a null store; at warning level: an exceeded limit.
/// Source: Space Data format of the earth orientation parameters, version 1.1.
bool load_eop_storage_celestrack(char* eopall_filename);

/// Index of the record before the first record at or after a date; 0 for the first one.
/// \param mjd_utc  UTC MJD
/// \return         index, or -1 for an empty store and outside its dates
/// Logs at warning level: a date above or below the store.
int search_eop_index(double mjd_utc);

/// Earth orientation at any epoch: a straight line through three daily records, plus the diurnal and subdiurnal corrections.
/// \param mjd_utc  UTC MJD
/// \param eop      [out] the values, type 'C'; on failure only ok is written
/// \return         false for fewer than three records, outside the store's dates, and for a date that is not finite
/// Logs at warning level: a date outside the store.
/// Source: IERS Conventions (2010), chapters 5 and 8.
bool compute_eop(double mjd_utc, EOPREC* eop);

/// Conventional mean pole.
/// \param mjd_UTC  UTC MJD
/// \param pm_xy    [out] 2: x, y [arcsecond]
/// Source: IERS Conventions (2010), table 7.7.
void mean_polar_motion(double mjd_UTC, double* pm_xy);

/// Direction of a geocentric vector.
/// \param xyz  3 components [m]
/// \param lat  [out] colatitude [rad]; on the polar axis the latitude, +-pi/2; 0 for a null vector
/// \param lon  [out] longitude from 0 to 2 pi [rad]; 0 on the polar axis
void geocentric(double* xyz, double* lat, double* lon);

/// Transformation GCRS to ITRS with the earth orientation of the store. Without one: UT1 = UTC and no polar motion.
/// \param mjd_utc      UTC MJD
/// \param leap_sec     TAI-UTC [s]
/// \param pos_eci2ecf  [out] 3x3, row-major: pos_ecf = pos_eci2ecf * pos_eci
/// \param vel_eci2ecf  [out] 3x3, row-major, its time derivative by the Earth's spin [1/s]
/// \return             true
/// Logs at warning level: missing earth orientation.
/// Source: IERS Conventions (2010), chapter 5, IAU 2006/2000A, CIO based.
bool compute_eci2ecf_matrix(double mjd_utc, double leap_sec, double* pos_eci2ecf, double* vel_eci2ecf);

/// The same with given earth orientation.
/// \param mjd_utc      UTC MJD
/// \param leapsec      TAI-UTC [s]
/// \param pmx,pmy      polar motion [arcsecond]
/// \param ut1mutc      UT1-UTC [s]
/// \param lod          excess length of day [s]
/// \param dOMEGA       correction to the rotation rate [rad/s]
/// \param pos_eci2ecf  [out] 3x3, row-major: pos_ecf = pos_eci2ecf * pos_eci
/// \param vel_eci2ecf  [out] 3x3, row-major, its time derivative by the Earth's spin [1/s]
/// Source: IERS Conventions (2010), chapter 5, IAU 2006/2000A, CIO based.
void compute_eci2ecf_rotation_precise(double mjd_utc, double leapsec, double pmx, double pmy, double ut1mutc,
                                      double lod, double dOMEGA, double* pos_eci2ecf, double* vel_eci2ecf);

/// State from GCRS to ITRS.
/// \param mjd_utc          UTC MJD
/// \param leap_sec         TAI-UTC [s]
/// \param pos_eci,vel_eci  3 each, GCRS [m, m/s]; either may be null
/// \param pos_ecf,vel_ecf  [out] 3 each, ITRS [m, m/s]; pos_ecf may be null, vel_ecf may be null when vel_eci is
/// Logs at warning level: missing earth orientation.
/// Source: compute_eci2ecf_matrix.
void eci2ecf(double mjd_utc, double leap_sec, double* pos_eci, double* vel_eci, double* pos_ecf, double* vel_ecf);

/// State from ITRS to GCRS, the inverse of eci2ecf.
/// \param mjd_utc          UTC MJD
/// \param leap_sec         TAI-UTC [s]
/// \param pos_ecf,vel_ecf  3 each, ITRS [m, m/s]; either may be null
/// \param pos_eci,vel_eci  [out] 3 each, GCRS [m, m/s]; pos_eci may be null, vel_eci may be null when vel_ecf is
/// Logs at warning level: missing earth orientation.
/// Source: compute_eci2ecf_matrix.
void ecf2eci(double mjd_utc, double leap_sec, double* pos_ecf, double* vel_ecf, double* pos_eci, double* vel_eci);

/// Solid-Earth and ocean pole tide in the gravity coefficients of degree 2, order 1.
/// \param mjd_utc          UTC MJD
/// \param eop_pmx,eop_pmy  polar motion [arcsecond]
/// \param dC21,dS21        [out] corrections of the normalised coefficients
/// Source: IERS Conventions (2010), sections 6.4 and 6.5.
void correction_PoleTide_gravity(double mjd_utc, double eop_pmx, double eop_pmy, double* dC21, double* dS21);

/// Pole-tide displacement of a site.
/// \param mjd_utc    UTC MJD
/// \param eop_pmxy   2: polar motion [arcsecond]
/// \param xyz_ecf    3, site, ITRS [m]
/// \param disp_ecf   [out] 3, displacement [m]
/// Source: IERS Conventions (2010), section 7.1.4.
void correction_PoleTide_position(double mjd_utc, double* eop_pmxy, double* xyz_ecf, double* disp_ecf);

LEOPOD_END_DECLS
#endif
