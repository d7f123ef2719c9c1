/// \file attitude.h
/// Attitude laws of transmitters and platforms, and the store of platform quaternions with its files.
#ifndef LEOPOD_ATTITUDE_H
#define LEOPOD_ATTITUDE_H

#include "gtime.h"
#include "keplerian_element.h"
#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

enum {
    MAXSIZE_ATT_OBJ = 3,      ///< objects of the store
    MAXSIZE_ATT_QUA = 172802  ///< records of an object
};

/// One attitude record: platform to inertial axes.
typedef struct ATT_QUATERNION {
    GTime time;
    QUATERNION qua;
    bool ok;
} ATT_QUATERNION;

/// Attitude store; records of an object in ascending time order.
typedef struct ATT_QUERION_STORE {
    bool updated;                ///< reserved
    ATT_QUATERNION* qua_all[3];  ///< one heap array of MAXSIZE_ATT_QUA records per object
    int num_object;              ///< objects held
    int idx_object[3];           ///< object number of each slot; -1: free, after free_att_quaternion_store
    int qua_num[3];              ///< records per slot
} ATT_QUERION_STORE;

extern ATT_QUERION_STORE g_att_qua_storage;

// --- attitude laws ---------------------------------------------------------------------------------------------------

/// Body axes of a transmitter under nominal yaw steering: z to the earth's centre, y across the plane of sun and earth.
/// \param satpos  satellite position, 3 numbers
/// \param satvel  not read
/// \param sunpos  position of the sun, 3 numbers, in the frame and unit of satpos
/// \param ex,ey,ez  [out] unit axes in that frame
/// \param ep  [out] unit vector from the satellite to the sun; may be null
/// Source: O. Montenbruck et al., GNSS satellite geometry and attitude models, Adv. Space Res. 56, 2015.
void attitude_yaw_steering(double* satpos, double* satvel, double* sunpos, double* ex, double* ey, double* ez,
                           double* ep);

/// Attitude of a GNSS satellite by its index: yaw steering, except for BDS below number 6 (geostationary), whose outputs
/// stay as they are.
/// \param satindex  satellite index
/// \param satpos,satvel,sunpos,ex,ey,ez,ep  as in attitude_yaw_steering
/// Logs at warning level: a geostationary satellite; what satindex2sysprn logs for an index out of range.
void gnss_sat_attitude(int satindex, double* satpos, double* satvel, double* sunpos, double* ex, double* ey, double* ez,
                       double* ep);

/// Nominal yaw angle.
/// \param beta  elevation of the sun above the orbit plane [rad]
/// \param mu  orbit angle from midnight [rad]
/// \return yaw angle [rad], pi where both angles are below 1e-12
/// Source: Y. E. Bar-Sever, A new model for GPS yaw attitude, J. Geodesy 70, 1996.
double yaw_nominal_gps(double beta, double mu);

/// Axes of the receiving platform: a measured quaternion, else east, north, up at the earth-fixed position, else the orbit frame
/// of the inertial state (z to the earth's centre, x against the flight, y along the orbit normal), else the unit matrix.
/// An earth-fixed position, also a zero one, overrides the inertial state.
/// \param index_object  not read
/// \param time_utc  epoch, for the report only
/// \param position_platform_ecf  earth-fixed position [m], 3 numbers; may be null
/// \param velocity_platform_ecf  not read
/// \param position_platform_eci,velocity_platform_eci  inertial state [m, m/s], 3 numbers each; either may be null
/// \param att_qua  quaternion, used when ok and not zero; may be null
/// \param ex,ey,ez  [out] unit axes
/// \param ep  not written
/// \return frame of the axes: 0 inertial, 1 earth-fixed, -1 unit matrix for want of an attitude
/// Logs at warning level: the result -1.
int attitude_platform(int index_object, GTime time_utc, double* position_platform_ecf, double* velocity_platform_ecf,
                      double* position_platform_eci, double* velocity_platform_eci, ATT_QUATERNION* att_qua, double* ex,
                      double* ey, double* ez, double* ep);

// --- store and files -------------------------------------------------------------------------------------------------

/// Record near a time by binary search: the first or last one outside the records, else the equal one or where the search ends.
/// \param time_target  time; taken into the time system of the first record
/// \param nsize  records
/// \param quaternion_all  records of one time system in ascending time order
/// \return index; -1 for a null or empty array, or where a time system is unknown
/// Ends the process: what gtimeChangeTimeSystem ends it for; a record of another time system than the first one.
int find_closest_att_quaternion(GTime time_target, int nsize, ATT_QUATERNION* quaternion_all);

/// Attitude of an object at a time, interpolated (Lagrange) over up to 11 usable records of the store around it; a record is
/// usable if the norm of its vector part is above 0.001. The result is not renormalised. Outside the records its numbers are 0.
/// \param idx_sat  object number
/// \param time_target  time, in any known time system
/// \param qua_att  [out] quaternion, tagged with time_target; may be null. Not written when false
/// \return false for the number -1, an empty store, an object without records, an unknown time system, fewer than two
/// usable records
/// Logs at error level: an object not in the store; a time outside the records.
/// Ends the process: as find_closest_att_quaternion.
bool get_att_quaternion(int idx_sat, GTime time_target, ATT_QUATERNION* qua_att);

/// Writes the records that are ok as text: Modified Julian Date in GPS time, scalar part, vector part.
/// \param quaternion_att_filename  file, replaced if it exists
/// \param qua_store  records, any time system
/// \param num_qua  their number
/// \return false for a null or empty name, a failed open, or no records (the file is then empty)
/// Logs at error level: a failed open, no records; at info level: the end.
bool write_att_quaternion_velmra(char* quaternion_att_filename, ATT_QUATERNION* qua_store, int num_qua);

/// Reads a file as write_att_quaternion_velmra writes it; empty lines and lines that begin with '#' are skipped, and lines whose
/// date no day has. Numbers that are missing or wrong are 0.
/// \param quaternion_att_filename  file
/// \param qua_store  [out] array of MAXSIZE_ATT_QUA records
/// \param record_start  where the first record goes, not negative
/// \return records read; 0 for a null or empty name or a failed open
/// Logs at error level: a failed open; at warning level: a full array (the rest of the file is dropped); at info level: the
/// end.
int read_att_quaternion_velmar(char* quaternion_att_filename, ATT_QUATERNION* qua_store, int record_start);

/// Reads a mission's star camera product: data lines behind the header's end or the first line that begins with '#', with seconds
/// since 2000-01-01 12:00:00 GPS time in field 0, scalar part in field 3, vector part in fields 4 to 6.
/// \param quaternion_att_filename,qua_store,record_start  as in read_att_quaternion_velmar
/// \return as read_att_quaternion_velmar, whose reports hold too; a null name is a failed open
int read_att_quaternion_gfo(char* quaternion_att_filename, ATT_QUATERNION* qua_store, int record_start);

/// Loads a mission file into the store.
/// \param satindex,quaternion_att_filename  as in load_attitude_quaternion
/// \return as load_attitude_quaternion
bool load_sca_grace(int satindex, char* quaternion_att_filename);

/// Loads a file of the library's own format into the store: appended to an object that is held, else into a new slot of
/// MAXSIZE_ATT_QUA records from the heap. A file without records, or that cannot be opened, still takes the slot.
/// \param satindex  object number
/// \param quaternion_att_filename  file
/// \return false for a null name, a store that holds three objects (also for one of these), or no memory
/// Logs at warning level: the first two; at error level: the last; what the reader logs; at info level: the end (not by
/// load_sca_grace).
bool load_attitude_quaternion(int satindex, char* quaternion_att_filename);

/// Frees all records of the store and marks its slots free.
void free_att_quaternion_store(void);

LEOPOD_END_DECLS
#endif
