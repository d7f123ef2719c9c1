/// \file epoch.h
/// What the stages of an epoch share: signals, point position, observation model.
#ifndef LEOPOD_PRIVATE_EPOCH_H
#define LEOPOD_PRIVATE_EPOCH_H

#include "gnss_ppp.h"
#include "private/constants.h"
#include "private/earth_rotation.h"

namespace leopod {

/// Text of a time, for a message; empty where it isn't wanted.
struct TimeText {
    char text[kTimeText] = {};
    explicit TimeText(GTime time, bool wanted = true) {
        if (wanted) gtime2str(time, text);
    }
};

/// Travel time of a signal between two positions, without the turn of the earth [s].
double signal_time(const double* satpos, const double* station_pos);

/// What the point position and the evaluations of the measurement model over one epoch have in common, formed by the first that needs it. The
/// messages of each stay as they are.
struct ModelEpoch {
    EarthRotation rotation;  ///< at the tag
    bool sun_known = false;
    double sunposvel_ecf[6] = {};  ///< Sun, earth-fixed [m], velocity as update_measurement_clock_solution forms it
    EarthRotation sun_rotation;    ///< at the receive time
};

/// Warns, once a limit, where an epoch that a host hands in has more satellites or records than it can hold.
void warn_of_excess(const OBSDATA_EPOCH& epoch);

/// pseudorange_point_positioning with what it has in common with the model.
STATUS_SOL point_position(ModelEpoch& epoch, OBSDATA_EPOCH* obs_epoch, ANT_INFO* antenna_rcv, SOLUTION* solt);

/// Arguments of compute_omc_zd_gnss.
struct ModelArguments {
    int nsat;
    int* satidx_in_obs_epoch;
    int* satlist_satindex;
    OBSDATA_EPOCH* obs_epoch;
    double* sunposvel_ecf;
    ATT_QUATERNION* att_rcv;
    ANT_INFO* ant_rcv;
    int nx;
    PARAM_TYPE* param_types;
    int* index_paramX;
    index_param_func idxfunc;
    double* X;
    SAT_STATE* sat_state;
    int nobs_max, nx_max;
    double *h, *v, *r;
};

/// compute_omc_zd_gnss with what the evaluations of an epoch have in common.
int model_zd_gnss(ModelEpoch& epoch, const ModelArguments& a);

}  // namespace leopod

#endif
