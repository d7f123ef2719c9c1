/// \file pod_embed.h
/// Epoch-by-epoch precise orbit determination of one satellite in one caller-owned record.
#ifndef LEOPOD_POD_EMBED_H
#define LEOPOD_POD_EMBED_H

#include "attitude.h"
#include "earth_rotation_param.h"
#include "eph_planet.h"
#include "gnss_config.h"
#include "gnss_observation.h"
#include "gnss_ppp.h"
#include "gnss_satposition.h"
#include "gtime.h"
#include "leopod_api.h"
#include "obs_processing.h"
#include "orbit_dynamics.h"

LEOPOD_BEGIN_DECLS

enum {
    MAXNUM_X = 39,      ///< epoch-wise parameters: 6 position and velocity, 3 clocks, 2 ambiguities of 15 satellites
    MAXNUM_DYN_X = 906  ///< state of the dynamic filter
};

/// One stored orbit solution.
typedef struct DATA_ORBIT {
    GTime epoch_gpst;
    double pos_ecf[3];  ///< [m]
    double vel_ecf[3];  ///< [m/s]
    double var_pos[3];  ///< never assigned
} DATA_ORBIT;

/// One stored clock solution.
typedef struct DATA_CLK {
    GTime epoch_gpst;
    double clk_offset[3];  ///< [s], by system index
} DATA_CLK;

/// All state of one satellite. Very large (about 172 MB): static or heap memory, never the stack. Owns no heap memory.
typedef struct RUNTIME_POD_EMBED {
    int index_object;                       ///< object number of the platform: key of the attitude store
    GTime time_now;                         ///< true receive time of the epoch, GPST
    OBSDATA_EPOCH obs_epoch[2];             ///< [0] newest epoch, [1] the one before
    int obs_num;                            ///< filled entries of obs_epoch
    EPHBRDC_STORE brdc_storage;             ///< broadcast store of the embedded deployment, fed by the caller
    EPHPREC_STORE prec_storage;             ///< room for precise products
    FILE* pf_output;                        ///< reserved
    char filename_output[1024];             ///< reserved
    EOPREC eop_storage[3];                  ///< earth orientation of the embedded deployment
    DATA_ORBIT dataset_orbit[5];            ///< orbit solutions, newest first
    DATA_CLK dataset_clk[5];                ///< clock solutions, newest first
    int num_orb_store;                      ///< 0 to 5
    int num_clk_store;                      ///< 0 to 5
    int satlist_used_in_obsepoch[15];       ///< chosen satellites as positions in obs_epoch[0].satobs; -1 free
    int nsat_used;                          ///< chosen satellites of this epoch
    int satlist_satindex_now[15];           ///< chosen satellites as satindex; this order fixes the ambiguity slots
    SOLUTION sln_kine;                      ///< point position of this epoch
    int satlist_used_in_obsepoch_last[15];  ///< list of the previous completed epoch
    int nsat_used_last;                     ///< its count; 0: no completed epoch yet
    int satlist_satindex_last[15];          ///< its satindex list
    SAT_STATE state_sat_all[97];            ///< tracking state by satindex
    ANT_INFO ant_info_rcv;                  ///< receiver antenna
    ATT_QUATERNION att_rcv;                 ///< platform attitude of the epoch
    EPH_HEADER_JPL jpl_header;              ///< planetary header of the embedded deployment
    EPH_RECORD_JPL jpl_eph_data[1];         ///< its record
    PARAM_TYPE param_list[39];              ///< active parameters in order of activation
    int index_param_X[39];                  ///< their slots in X; -1 free
    int num_param;                          ///< active parameters
    double DX[1521];                        ///< covariance of X, row-major 39x39
    double X[39];                           ///< position, velocity [m, m/s], clocks [m], ambiguities [m]
    ORBIT_DYN_CONFIG orbit_dyn_config;      ///< dynamics configuration
    STATE_SPACECRAFT state_satellite;       ///< dynamics state: initial condition of the arc
    int orbit_integration_progress;         ///< -1 no arc open; 0 to 10 epochs counted in the open arc
    double sln_orbit_interval;              ///< nominal orbit solution interval [s]
    double X_dyn[906];                      ///< state of the dynamic filter
    double DX_dyn[820836];                  ///< its covariance, row-major 906x906
} RUNTIME_POD_EMBED;

/// Starts a record; to be called once before the first epoch, and again only to restart from nothing. Allocates nothing and
/// touches no file. Epochs, stores, tracking values, antenna offsets of two components and the dynamic filter keep their content.
/// \param runtime_pod           the record
/// \param test_env_initialized  true: files are loaded and globals set by the host, only the receiver antenna GRACE_C is fetched from
///                              the antenna store. False: the global stores are reset and pointed into the record, BDS alone is
///                              configured, antenna, planets and earth orientation come from built-in values
/// Logs at info level: the start; at error level: the antenna is not in the store (ant_ok is then false).
void startup_pod_embed(RUNTIME_POD_EMBED* runtime_pod, bool test_env_initialized);

/// Shifts the two-epoch buffer and copies an epoch to its front; counts beyond the limits of the record are cut with a warning.
/// \param obs_data     the epoch, not changed
/// \param runtime_pod  the record; an obs_num other than 0, 1, 2 copies nothing
/// \return true in all cases
bool update_gnss_observation(const OBSDATA_EPOCH* obs_data, RUNTIME_POD_EMBED* runtime_pod);

/// Reserved hook for ephemerides at run time; does nothing.
/// \param ephbrdc_gps_storage  not used
/// \return true
bool update_gnss_ephemeris_gps(EPHREC_GPS* ephbrdc_gps_storage);

/// Reserved hook for ephemerides at run time; does nothing.
/// \param ephbrdc_glo_storage  not used
/// \return true
bool update_gnss_ephemeris_glo(EPHREC_GLO* ephbrdc_glo_storage);

/// Reserved hook for ephemerides at run time; does nothing.
/// \param ephbrdc_glo_storage  not used
/// \return true
bool update_gnss_ephemeris_pre(EPHREC_GLO* ephbrdc_glo_storage);

/// One epoch: buffer, choice of observables and satellites, point position, receive time, slips, carrier-phase filter, start of an
/// orbit arc, stores. Results stay in the record: sln_kine, X, dataset_orbit, dataset_clk, state_satellite. An epoch without a point
/// position leaves all of them but sln_kine as they were.
/// \param obs_data     observations of the epoch, copied
/// \param runtime_pod  a started record
/// Logs at info level: the epoch, its satellites, "spp:" and "ppp:" positions, the start of an arc; at warning level: missing
/// attitude, a failed point position.
/// Ends the process: no usable satellite in the epoch; the structural faults of update_temperal_clock_solution.
void run_single_pod_embed(OBSDATA_EPOCH* obs_data, RUNTIME_POD_EMBED* runtime_pod);

/// Pushes time_now, position [m] and velocity [m/s] of X to the front of dataset_orbit. While fewer than five are stored one entry
/// fewer is moved than is held, so the first orbit ever stored is lost.
/// \param runtime_pod  the record
void store_data_orbit(RUNTIME_POD_EMBED* runtime_pod);

/// Pushes time_now and the clocks of X, in seconds, to the front of dataset_clk, by the rule of store_data_orbit.
/// \param runtime_pod  the record
void store_data_clock(RUNTIME_POD_EMBED* runtime_pod);

/// Seeds position, velocity and clocks of X and the diagonal of DX from the point position, and registers the parameters. Off-diagonal
/// elements stay. Were time_now between the stored orbits, they would be interpolated instead.
/// \param pod_runtime  the record
/// \return false, with nothing registered and an error logged, when the point position is not SOL_OK
bool get_initial_pos_vel_clk(RUNTIME_POD_EMBED* pod_runtime);

/// Attaches the transmitter antenna of the date to each usable satellite's tracking state; null where there is none.
/// \param obs_epoch      the epoch; does nothing when it is null or flagged
/// \param gnsscfg        systems in use
/// \param runtime_state  [out] 97 tracking states by satindex
/// Logs at warning level: satellites that are flagged or of other systems.
void fill_ant_info_gnss(OBSDATA_EPOCH* obs_epoch, GNSSCONFIG* gnsscfg, SAT_STATE* runtime_state);

/// Slot of a parameter in X: position and velocity 0 to 5, clocks from 6 by system index, then two ambiguities a satellite in the order
/// of the list.
/// \param pt                parameter
/// \param satsys,prn,ifreq  satellite and frequency index, for ambiguities
/// \param satlist_satindex  15 satellite indices
/// \return the slot; -1 for the clock of a system that is not configured, and, logged at error level, for a satellite outside the
///         list and any other parameter
int get_index_param_pod_embed(PARAM_TYPE pt, sysGNSS satsys, int prn, int ifreq, int* satlist_satindex);

/// Carrier-phase stage: state set-up, one measurement update, post-fit residuals. Its solver allocates for the call.
/// \param obsdata      not read; the epoch of the record counts
/// \param runtime_pod  the record; X and DX are updated
/// \return true, the outcome of the filter is not examined; false without memory for the filter, X and DX then as predicted
/// Logs at debug level: the residuals [m]; at error level: missing memory. Ends the process as update_temperal_clock_solution does.
bool pod_embed_solve_clk_offset(OBSDATA_EPOCH* obsdata, RUNTIME_POD_EMBED* runtime_pod);

/// State set-up of the carrier-phase stage: get_initial_pos_vel_clk, then get_initial_ambiguity_test.
/// \param runtime_pod  the record
/// Ends the process, logged at error level: no parameter registered, an ambiguity without a slot.
void update_temperal_clock_solution(RUNTIME_POD_EMBED* runtime_pod);

/// Measurement build of the carrier-phase stage: the sun at time_now, then compute_omc_zd_gnss at the current state.
/// \param runtime_pod      the record
/// \param H                [out] max_nobs x max_nx
/// \param R                [out] max_nobs x max_nobs
/// \param V                [out] max_nobs residuals [m]
/// \param max_nobs,max_nx  rows, and columns of H
/// \return rows written
int update_measurement_clock_solution(RUNTIME_POD_EMBED* runtime_pod, double* H, double* R, double* V, int max_nobs,
                                      int max_nx);

/// Transfer of the ambiguities to the slots of this epoch's satellite list, state and covariance. Continuous satellites keep theirs,
/// with 1e-08 m^2 added to every element; new ones, also those whose slot was cleaned up, start from the code with variance var_bias;
/// slips restart likewise but keep their cross-covariances.
/// \param runtime_pod  the record; ambiguities are registered in param_list
/// Logs at debug level: slips; at warning level: new satellites. Ends the process: an ambiguity without a slot.
void get_initial_ambiguity_test(RUNTIME_POD_EMBED* runtime_pod);

/// Alternative of get_initial_ambiguity_test through a full copy of DX: rows only, no process noise, new satellites' rows and columns
/// and the slots behind the last ambiguity cleaned up. Not called by the library.
/// \param runtime_pod  as in get_initial_ambiguity_test
void get_initial_ambiguity(RUNTIME_POD_EMBED* runtime_pod);

/// Alternative of get_initial_ambiguity_test in place, row by row, without process noise. Not called by the library.
/// \param runtime_pod  as in get_initial_ambiguity_test
void get_initial_ambiguity_nomemory(RUNTIME_POD_EMBED* runtime_pod);

/// Does nothing.
/// \param obsdata,runtime_pod  not used
/// \return false
bool pod_embed_solve_orbit(OBSDATA_EPOCH* obsdata, RUNTIME_POD_EMBED* runtime_pod);

/// Does nothing.
void update_tempral_orbit_solution(void);

/// Does nothing.
void update_measurement_orbit_solution(void);

/// Measurement update of the dynamic filter X_dyn, DX_dyn with the arc's state; the first three empirical terms decay with a correlation
/// time of 600 s. Unfinished, not called by the library.
/// \param runtime_pod  the record
/// \return true if the filter reports success; false without memory (logged as error), the record then as it was
bool orbit_dynamic_filter(RUNTIME_POD_EMBED* runtime_pod);

/// Prints an epoch as text: a head line ">>time satellites", then one line a satellite with its name and the values of all its records.
/// \param obsdata    the epoch
/// \param outputstr  [out] text; up to 1024 characters a satellite and 120 for the head line
void output_observation_embed(OBSDATA_EPOCH* obsdata, char* outputstr);

LEOPOD_END_DECLS
#endif
