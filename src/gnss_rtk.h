/// \file gnss_rtk.h
/// Relative positioning of a rover against a base: preprocessing and set-up of the state. A skeleton: the measurement update
/// is not part of it, and no solution is written.
#ifndef LEOPOD_GNSS_RTK_H
#define LEOPOD_GNSS_RTK_H

#include "gnss_ppp.h"

LEOPOD_BEGIN_DECLS

extern int NPOS;  ///< position slots: 3
extern int NAMB;  ///< ambiguity slots: 30

/// All state of a pair of receivers. A block of the state has a first slot and a count; -1 and 0: no such block.
typedef struct RUNTIME_RTK {
    GTime obstime_rov;         ///< epoch of the rover; never assigned
    GTime obstime_ref;         ///< epoch of the reference; never assigned
    int satlist_used_rov[15];  ///< common satellites as positions in the rover's satobs
    int satlist_used_ref[15];  ///< common satellites as positions in the reference's satobs
    int nsat_used;             ///< common satellites; -1 without one
    int index_refsat[3];       ///< per system index, position of the reference satellite in the common list, or -1
    SOLUTION sln_ref;          ///< point position of the reference
    SOLUTION sln_rov;          ///< point position of the rover
    SAT_STATE runtime_state_ref[97];  ///< tracking state of the reference by satindex
    SAT_STATE runtime_state_rov[97];  ///< tracking state of the rover by satindex
    double interval_sec;              ///< epoch interval [s], set by the host
    bool IF_combination;              ///< ionosphere-free form, set by the host
    int idx_xs_pos;                   ///< position
    int nx_pos;
    int idx_xs_vel;  ///< velocity
    int nx_vel;
    int idx_xs_clk;  ///< clocks
    int nx_clk;
    int idx_xs_trop;  ///< zenith delay
    int nx_trop;
    int idx_xs_iono;  ///< ionosphere
    int nx_iono;
    int idx_xs_amb;  ///< ambiguities
    int nx_amb;
    int nx;                      ///< total size of the state
    PARAM_TYPE param_types[41];  ///< parameter kinds; never assigned
    double X[41];                ///< state: position [m, ECEF], zenith delay [m], ambiguities
    double P[1681];              ///< its covariance, row-major 41x41
    double H[6150];              ///< design rows, 150x41; never assigned
    double L[150];               ///< observations; never assigned
    int satindex[15];            ///< satellite indices of the list; never assigned
} RUNTIME_RTK;

extern RUNTIME_RTK runtime_rtk;  ///< the pair in use, zero at load

/// Sets the blocks of runtime_rtk: position slots 0 to 2, zenith delay 3, ambiguities 4 to 33, no velocity, clocks and
/// ionosphere; nx 34. State, covariance, tracking states and options stay. To be called before the first epoch.
/// \return true
bool rtk_init(void);

/// Satellites that both receivers use, and the reference satellite of each system: the highest at the reference receiver, of
/// equal ones the last, none at or below the horizon but one at exactly 0.
/// A satellite of the rover takes its system from the rover's record and its number from the reference's record at the same
/// position in satobs: both epochs should list their satellites in the same order.
/// \param obsepoch_ref,obsepoch_rov                  the epochs, behind choose_observation
/// \param satlist_common_ref,satlist_common_rov      [out] room for 15: positions in the satobs of either epoch
/// \param index_refsat                               [out] 3 positions in the common list by system index; -1 for none
/// \return number of common satellites; -1 without one, logged at error level
/// Logs and ends the process as choose_satellite does, for either epoch.
int choose_common_satellite(OBSDATA_EPOCH* obsepoch_ref, OBSDATA_EPOCH* obsepoch_rov, int* satlist_common_ref,
                            int* satlist_common_rov, int* index_refsat);

/// Point positions, cycle slips and common satellites of a pair of epochs, into runtime_rtk: sln_ref, sln_rov,
/// runtime_state_ref, runtime_state_rov, nsat_used, satlist_used_ref, satlist_used_rov, index_refsat. The statuses of the point
/// positions are not looked at.
/// \param obsepoch_ref,obsepoch_rov  [in,out] the epochs, behind choose_observation; marked by the point position
/// Logs and ends the process as pseudorange_point_positioning, get_gf_mw and choose_common_satellite do.
void preprocess_rtk(OBSDATA_EPOCH* obsepoch_ref, OBSDATA_EPOCH* obsepoch_rov);

/// Starts one slot of the state: value and variance, no covariance with any other slot.
/// \param runtime_rtk  [in,out] the record
/// \param idx          slot, 0 to 40; another one is reported at warning level and changes nothing
/// \param xi           value
/// \param var          variance
void initx(RUNTIME_RTK* runtime_rtk, int idx, double xi, double var);

/// Slot of a parameter of the rover: positions, clocks and zenith delay, each counted from the first slot of its block (a missing
/// block, -1, included: without clocks GPS has -1, BDS 0, GAL 1).
/// \param runtime_rtk                  the record
/// \param param_type                   parameter
/// \param isat_in_satlist,freq_idx     not read
/// \return the slot; -1 for every other parameter, ambiguities among them
int index_x(RUNTIME_RTK* runtime_rtk, PARAM_TYPE param_type, int isat_in_satlist, int freq_idx);

/// Starts the position from the rover's point position with the variance gnssconfig.var_pos, at every epoch.
/// \param runtime_rtk  [in,out] the record; slots from idx_xs_pos to below nx_pos
/// Logs at warning level: a mean variance above gnssconfig.var_pos (only by rounding, the slots have just been set); slots
/// beyond the twelve of a point position, which are dropped.
void update_position(RUNTIME_RTK* runtime_rtk);

/// Random walk of the zenith delay: a delay of 0.0001 m or more grows in variance by gnssconfig.var_ztd a second, another one
/// starts with 0.15 m and that variance. The slots are idx_xs_trop to below nx_trop, the count: with those of rtk_init none.
/// \param runtime_rtk  [in,out] the record
/// \param tt           time step [s]
/// Logs at trace level: "TRACE: update_trop()\n"; at warning level: slots beyond the state, which are dropped.
void update_trop(RUNTIME_RTK* runtime_rtk, double tt);

/// Phase minus code of the common satellites, rover minus reference, per frequency or ionosphere-free. The values stay in the
/// function: no state changes.
/// \param runtime_rtk                the record; its list of common satellites and IF_combination are read
/// \param obsepoch_ref,obsepoch_rov  the epochs, behind choose_observation
/// Logs at trace level: "TRACE: update_ambiguity()\n" and, for the ionosphere-free form, a station with a missing observation; at
/// warning level: satellites and frequencies beyond the limits, which are dropped.
void update_ambiguity(RUNTIME_RTK* runtime_rtk, OBSDATA_EPOCH* obsepoch_ref, OBSDATA_EPOCH* obsepoch_rov);

/// Changes nothing: it clears arrays of its own.
/// \param obsepoch_ref,obsepoch_rov  not used
void compute_omc_sd_station(OBSDATA_EPOCH* obsepoch_ref, OBSDATA_EPOCH* obsepoch_rov);

/// One pair of epochs: preprocess_rtk, update_position, update_trop over interval_sec, update_ambiguity on runtime_rtk. Results
/// stand there; no relative solution is formed.
/// \param obsepoch_ref,obsepoch_rov  [in,out] the epochs, behind choose_observation
/// \param solt                       not written
/// \return SOL_OK; SOL_OBS_BAD, with nothing done, for a flag_epoch other than 0
/// Logs and ends the process as its stages do.
STATUS_SOL relative_positioning(OBSDATA_EPOCH* obsepoch_ref, OBSDATA_EPOCH* obsepoch_rov, SOLUTION* solt);

LEOPOD_END_DECLS
#endif
