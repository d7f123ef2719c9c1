/// \file gnss_ppp.h
/// Point positioning from pseudoranges, and the zero-difference observation model of the carrier-phase filter.
#ifndef LEOPOD_GNSS_PPP_H
#define LEOPOD_GNSS_PPP_H

#include "attitude.h"
#include "leopod_api.h"
#include "obs_processing.h"

LEOPOD_BEGIN_DECLS

extern const double chisqr[100];  ///< 99.9 percent quantiles of chi-square by degrees of freedom, 1 to 100

/// Point position: earth-fixed position and one clock per system from the ranges of one epoch, by iterated least squares from
/// the earth's centre. Made for a receiver in low orbit: elevations are those in the antenna frame, all ranges weigh alike, the
/// mask holds from the fifth pass on, gross errors are marked from the sixth.
/// \param obs_epoch    an epoch behind choose_observation; null is reported. Written: per satellite flag_sat, position [m], velocity
///                     [m/s], clock [s] and drift, sat_azel [rad]; per range residual [m], and flag_obs of gross errors
/// \param antenna_rcv  receiver antenna; null or ant_ok false: boresight along the platform's z axis
/// \param solt         [out] solution, always written; position [m, ECEF] lags the last correction (below 1 mm); clocks [m] from
///                     element 6 on by system index; velocity 0
/// \return status of the solution: SOL_OK, SOL_SPP_LACK_SAT (3 satellites or fewer in a pass), SOL_ITER_EXCEED (10 updates, or a solver
///         without memory), SOL_OBS_BAD (null epoch, or flag_epoch not 0)
/// Logs at warning level: SOL_SPP_LACK_SAT and SOL_OBS_BAD (the text stands in solt->msg, as that of SOL_ITER_EXCEED, which is not
/// logged), missing attitude, missing earth orientation for each conversion, satellites and records left out, more than 15 satellites
/// or 10 records of one; at error level: a Sun that the ephemeris does not give, missing memory.
/// Ends the process: a satellite index above 96.
/// The sign and scale of the ionosphere follow Klobuchar_GPS_stec; the Sagnac term is added to the light time here.
STATUS_SOL pseudorange_point_positioning(OBSDATA_EPOCH* obs_epoch, ANT_INFO* antenna_rcv, SOLUTION* solt);

/// Does nothing.
/// \param obsepoch,solt  not used
/// \return SOL_OK, without a meaning
STATUS_SOL precise_point_positioning(OBSDATA_EPOCH* obsepoch, SOLUTION* solt);

/// Zero-difference model: observed minus computed, design rows and variances of the ionosphere-free code and phase of each
/// satellite, at the current state. Frequency-by-frequency processing (opt_IF other than 1) gives no rows.
/// \param nsat                 satellites, at most 15
/// \param satidx_in_obs_epoch  nsat positions in obs_epoch->satobs
/// \param satlist_satindex     15 satellite indices in the same order, handed on to idxfunc
/// \param obs_epoch            the epoch, with satellite positions, clocks and directions of the point position
/// \param sunposvel_ecf        sun, earth-fixed: position [m]; the velocity is not read
/// \param att_rcv              platform attitude; ok false: local frame at the station
/// \param ant_rcv              receiver antenna; has no effect on the residuals
/// \param nx                   active parameters
/// \param param_types          their nx types
/// \param index_paramX         their nx slots in X; negative slots are ignored
/// \param idxfunc              maps a parameter to its slot
/// \param X                    state: position [m], velocity [m/s], clocks [m], ambiguities [m]
/// \param sat_state            97 tracking states by satindex; their wind-up phw advances with every call
/// \param nobs_max             room for rows, and row stride of r
/// \param nx_max               row stride of h
/// \param h                    [out] nobs_max x nx_max, written at the slots concerned; to be zeroed before
/// \param v                    [out] residuals [m]
/// \param r                    [out] nobs_max x nobs_max, diagonal written: variances [m^2]
/// \return rows written, two a satellite, code first; 0 with nothing written when the position is zero
/// Logs at warning level: a flagged record where frequencies are processed one by one; missing earth orientation, once for each of the
/// receiver's three axes.
int compute_omc_zd_gnss(int nsat, int* satidx_in_obs_epoch, int* satlist_satindex, OBSDATA_EPOCH* obs_epoch,
                        double* sunposvel_ecf, ATT_QUATERNION* att_rcv, ANT_INFO* ant_rcv, int nx,
                        PARAM_TYPE* param_types, int* index_paramX, index_param_func idxfunc, double* X,
                        SAT_STATE* sat_state, int nobs_max, int nx_max, double* h, double* v, double* r);

LEOPOD_END_DECLS
#endif
