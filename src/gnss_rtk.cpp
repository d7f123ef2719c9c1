/// \file gnss_rtk.cpp
/// Relative positioning of a rover against a base: preprocessing and set-up of the state.
#include "gnss_rtk.h"

#include <algorithm>
#include <cmath>

#include "mathlib.h"
#include "private/constants.h"
#include "private/numbers.h"
#include "private/report.h"

using namespace leopod;

int NPOS = 3;
int NAMB = 30;
RUNTIME_RTK runtime_rtk = {};

bool rtk_init(void) {
    runtime_rtk.idx_xs_pos = 0;
    runtime_rtk.nx_pos = NPOS;
    runtime_rtk.idx_xs_vel = -1;
    runtime_rtk.nx_vel = 0;
    runtime_rtk.idx_xs_clk = -1;
    runtime_rtk.nx_clk = 0;
    runtime_rtk.idx_xs_trop = NPOS;
    runtime_rtk.nx_trop = 1;
    runtime_rtk.idx_xs_iono = -1;
    runtime_rtk.nx_iono = 0;
    runtime_rtk.idx_xs_amb = NPOS + 1;
    runtime_rtk.nx_amb = NAMB;
    runtime_rtk.nx = NPOS + 1 + NAMB;
    return true;
}

namespace {

/// System index of a satellite, -1 for a system that is not processed.
int system_index(const OBSDATA_SAT& sat) {
    const int idx_sys = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
    return idx_sys < MAXNUM_SYS ? idx_sys : -1;
}

}  // namespace

int choose_common_satellite(OBSDATA_EPOCH* obsepoch_ref, OBSDATA_EPOCH* obsepoch_rov, int* satlist_common_ref,
                            int* satlist_common_rov, int* index_refsat) {
    int satlist_ref[MAXSAT_EPOCH];
    int satlist_rov[MAXSAT_EPOCH];
    int satindex_ref[MAXSAT_EPOCH];
    int satindex_rov[MAXSAT_EPOCH];
    const int nsat_ref = choose_satellite(obsepoch_ref, satlist_ref, satindex_ref);
    const int nsat_rov = choose_satellite(obsepoch_rov, satlist_rov, satindex_rov);

    int nsat = 0;
    for (int i = 0; i < nsat_ref; ++i) {
        for (int j = 0; j < nsat_rov; ++j) {
            const int position = satlist_rov[j];
            // settled: the system of the rover's record, the number of the reference's record at the same position
            const int satindex =
                satsysprn2index(obsepoch_rov->satobs[position].satsys, obsepoch_ref->satobs[position].prn);
            if (satindex_ref[i] != satindex) continue;
            satlist_common_ref[nsat] = satlist_ref[i];
            satlist_common_rov[nsat] = position;
            ++nsat;
            break;
        }
    }
    std::fill_n(index_refsat, static_cast<int>(MAXNUM_SYS), -1);
    if (nsat == 0) {
        report(ULOG_ERROR_LEVEL, "ERROR: choose_common_satellite() found %d common sat!\n", nsat);
        return -1;
    }

    double highest[MAXNUM_SYS] = {};
    for (int i = 0; i < nsat; ++i) {
        const OBSDATA_SAT& sat = obsepoch_ref->satobs[satlist_common_ref[i]];
        const int idx_sys = system_index(sat);
        if (idx_sys == -1 || !(sat.sat_azel[1] >= highest[idx_sys])) continue;
        highest[idx_sys] = sat.sat_azel[1];
        index_refsat[idx_sys] = i;
    }
    return nsat;
}

void preprocess_rtk(OBSDATA_EPOCH* obsepoch_ref, OBSDATA_EPOCH* obsepoch_rov) {
    pseudorange_point_positioning(obsepoch_ref, nullptr, &runtime_rtk.sln_ref);
    pseudorange_point_positioning(obsepoch_rov, nullptr, &runtime_rtk.sln_rov);
    get_gf_mw(obsepoch_ref, &gnssconfig, runtime_rtk.runtime_state_ref);
    get_gf_mw(obsepoch_rov, &gnssconfig, runtime_rtk.runtime_state_rov);
    runtime_rtk.nsat_used = choose_common_satellite(obsepoch_ref, obsepoch_rov, runtime_rtk.satlist_used_ref,
                                                    runtime_rtk.satlist_used_rov, runtime_rtk.index_refsat);
}

namespace {

constexpr int kStates = static_cast<int>(sizeof(RUNTIME_RTK::X) / sizeof(double));
constexpr int kRows = static_cast<int>(sizeof(RUNTIME_RTK::L) / sizeof(double));
constexpr int kPointSlots = static_cast<int>(sizeof(SOLUTION::pos_vel_clk) / sizeof(double));
constexpr int kMaxBias = 2 * MAXSAT_EPOCH;
constexpr double kMissing = 0.001;  // observations below are absent [m or cycle]

double& variance(RUNTIME_RTK* rtk, int slot) { return rtk->P[slot * kStates + slot]; }

}  // namespace

void initx(RUNTIME_RTK* runtime_rtk, int idx, double xi, double var) {
    if (idx < 0 || idx >= kStates) {
        report(ULOG_WARNING_LEVEL, "initx(): no slot %d in a state of %d", idx, kStates);
        return;
    }
    runtime_rtk->X[idx] = xi;
    for (int j = 0; j < kStates; ++j) {
        runtime_rtk->P[idx * kStates + j] = 0.0;
        runtime_rtk->P[j * kStates + idx] = 0.0;
    }
    variance(runtime_rtk, idx) = var;
}

int index_x(RUNTIME_RTK* runtime_rtk, PARAM_TYPE param_type, int, int) {
    switch (param_type) {
        case param_RX_POS_X:
            return runtime_rtk->idx_xs_pos;
        case param_RX_POS_Y:
            return runtime_rtk->idx_xs_pos + 1;
        case param_RX_POS_Z:
            return runtime_rtk->idx_xs_pos + 2;
        // settled: a missing block, -1, is counted from as well
        case param_RX_GPS_CLK:
            return runtime_rtk->idx_xs_clk;
        case param_RX_BDS_CLK:
            return runtime_rtk->idx_xs_clk + 1;
        case param_RX_GAL_CLK:
            return runtime_rtk->idx_xs_clk + 2;
        case param_ZWD:
            return runtime_rtk->idx_xs_trop;
        default:
            return -1;
    }
}

namespace {

/// Slots from `begin` to below `end`.
struct Slots {
    int begin;
    int end;
};

/// The part of a run of slots that exists; the rest is dropped with a warning.
Slots existing_slots(const char* function, int begin, int end, int limit) {
    if (begin < end && (begin < 0 || end > limit)) {
        report(ULOG_WARNING_LEVEL, "%s: slots %d to below %d, those outside 0 to %d are dropped", function, begin, end,
               limit - 1);
    }
    return {std::max(begin, 0), std::min(end, limit)};
}

}  // namespace

void update_position(RUNTIME_RTK* runtime_rtk) {
    const Slots slots = existing_slots("update_position()", runtime_rtk->idx_xs_pos, runtime_rtk->nx_pos, kPointSlots);
    const auto start = [&] {
        for (int i = slots.begin; i < slots.end; ++i) {
            initx(runtime_rtk, i, runtime_rtk->sln_rov.pos_vel_clk[i], gnssconfig.var_pos);
        }
    };
    if (norm(3, runtime_rtk->X) < 0.001) start();
    start();  // settled: at every epoch, so that the variance below is that of the set-up

    double var = 0.0;
    for (int i = slots.begin; i < slots.end; ++i) var += variance(runtime_rtk, i);
    var /= slots.end;
    if (var > gnssconfig.var_pos) {
        report(ULOG_WARNING_LEVEL,
               "WARNING: update_position(), var=%lf > gnssconfig.var_pos=%lf\n, reset rtk position due to large "
               "variance\n",
               var, gnssconfig.var_pos);
        start();
    }
}

void update_trop(RUNTIME_RTK* runtime_rtk, double tt) {
    report(ULOG_TRACE_LEVEL, "TRACE: update_trop()\n");
    // settled: to below the count, not first slot plus count; with the blocks of rtk_init there is no round
    const Slots slots = existing_slots("update_trop()", runtime_rtk->idx_xs_trop, runtime_rtk->nx_trop, kStates);
    for (int i = slots.begin; i < slots.end; ++i) {
        if (std::fabs(runtime_rtk->X[i]) >= 0.0001) {
            variance(runtime_rtk, i) += gnssconfig.var_ztd * tt;
        } else {
            initx(runtime_rtk, i, 0.15, gnssconfig.var_ztd);
        }
    }
}

namespace {

/// One satellite of the common list at either receiver.
struct CommonSatellite {
    const OBSDATA_SAT& ref;
    const OBSDATA_SAT& rov;
    int idx_sys;
};

/// Value of a configured observable, 0 where there is none.
double observation(const OBSDATA_SAT& sat, int slot) {
    if (slot < 0 || slot >= MAXOBS_PER_SAT) return 0.0;
    const int position = sat.obs_index_used[slot];
    return position < 0 || position >= MAXOBS_PER_SAT ? 0.0 : sat.obsdata[position].value;
}

double phase(const OBSDATA_SAT& sat, int idx_sys, int j) {
    return observation(sat, gnssconfig.obs_index_IF_phase[idx_sys][j]);
}

double code(const OBSDATA_SAT& sat, int idx_sys, int j) {
    return observation(sat, gnssconfig.obs_index_IF_code[idx_sys][j]);
}

/// Wavelength of a configured phase [m].
double wavelength(const OBSDATA_SAT& sat, int idx_sys, int j) {
    const int slot = clamp_count(gnssconfig.obs_index_IF_phase[idx_sys][j], MAXOBS_PER_SAT - 1);
    const OBSFREQ band = gnssconfig.obs_type_freq_code_used[idx_sys][slot].freq;
    return kSpeedOfLight / get_obs_frequency(sat.satsys, band, sat.prn) * 1e-06;
}

/// True if a station has all four observations; reported otherwise.
bool has_pair(const char* station, const OBSDATA_SAT& sat, int idx_sys) {
    const double L[2] = {phase(sat, idx_sys, 0), phase(sat, idx_sys, 1)};
    const double P[2] = {code(sat, idx_sys, 0), code(sat, idx_sys, 1)};
    for (int j = 0; j < 2; ++j) {
        if (std::fabs(L[j]) < kMissing || std::fabs(P[j]) < kMissing) {
            report(ULOG_TRACE_LEVEL, "TRACE: %s station obs missing, satsys=%d prn=%d, L1=%lf L2=%lf P1=%lf P2=%lf\n",
                   station, sat.satsys, sat.prn, L[0], L[1], P[0], P[1]);
            return false;
        }
    }
    return true;
}

double phase_difference(const CommonSatellite& sat, int j) {
    return phase(sat.rov, sat.idx_sys, j) - phase(sat.ref, sat.idx_sys, j);
}

double code_difference(const CommonSatellite& sat, int j) {
    return code(sat.rov, sat.idx_sys, j) - code(sat.ref, sat.idx_sys, j);
}

/// Phase minus code of one frequency, rover minus reference [m].
double bias_of_frequency(const CommonSatellite& sat, int j) {
    return phase_difference(sat, j) * wavelength(sat.ref, sat.idx_sys, j) - code_difference(sat, j);
}

/// The same of the ionosphere-free combination [m].
double bias_ionosphere_free(const CommonSatellite& sat) {
    const double lambda[2] = {wavelength(sat.ref, sat.idx_sys, 0), wavelength(sat.ref, sat.idx_sys, 1)};
    const double denominator = lambda[1] * lambda[1] - lambda[0] * lambda[0];
    const double c1 = lambda[1] * lambda[1] / denominator;
    const double c2 = -(lambda[0] * lambda[0]) / denominator;
    return c1 * lambda[0] * phase_difference(sat, 0) + c2 * lambda[1] * phase_difference(sat, 1) -
           (c1 * code_difference(sat, 0) + c2 * code_difference(sat, 1));
}

}  // namespace

void update_ambiguity(RUNTIME_RTK* runtime_rtk, OBSDATA_EPOCH* obsepoch_ref, OBSDATA_EPOCH* obsepoch_rov) {
    report(ULOG_TRACE_LEVEL, "TRACE: update_ambiguity()\n");
    bool warned = false;
    const auto within = [&warned](int count, int limit, const char* what) {
        if (count > limit) warn_limit(warned, "update_ambiguity()", limit, what);
        return clamp_count(count, limit);
    };
    // settled: the biases go nowhere
    [[maybe_unused]] double bias[kMaxBias] = {};
    int nb = 0;
    const int nsat = within(runtime_rtk->nsat_used, MAXSAT_EPOCH, "satellites");
    for (int i = 0; i < nsat; ++i) {
        const int iref = runtime_rtk->satlist_used_ref[i];
        const int irov = runtime_rtk->satlist_used_rov[i];
        if (clamp_count(iref, MAXSAT_EPOCH - 1) != iref || clamp_count(irov, MAXSAT_EPOCH - 1) != irov) {
            warn_limit(warned, "update_ambiguity()", MAXSAT_EPOCH, "positions in an epoch");
            continue;
        }
        const CommonSatellite sat = {obsepoch_ref->satobs[iref], obsepoch_rov->satobs[irov],
                                     system_index(obsepoch_ref->satobs[iref])};
        if (sat.idx_sys == -1) continue;
        if (runtime_rtk->IF_combination) {
            if (!has_pair("reference", sat.ref, sat.idx_sys) || !has_pair("rover", sat.rov, sat.idx_sys)) continue;
            bias[nb++] = bias_ionosphere_free(sat);
        } else {
            const int nfreq = within(gnssconfig.num_freq[sat.idx_sys], 2, "frequencies");
            for (int j = 0; j < nfreq; ++j) bias[nb++] = bias_of_frequency(sat, j);
        }
    }
}

namespace {

/// Working arrays of a measurement update that does not follow.
struct Measurement {
    double H[kRows * kStates];
    double L[kRows];
    double R[kRows * kRows];
};

}  // namespace

void compute_omc_sd_station(OBSDATA_EPOCH*, OBSDATA_EPOCH*) {
    [[maybe_unused]] const Measurement cleared = {};  // settled: no measurement is formed
}

STATUS_SOL relative_positioning(OBSDATA_EPOCH* obsepoch_ref, OBSDATA_EPOCH* obsepoch_rov, SOLUTION*) {
    if (obsepoch_ref->flag_epoch != OBS_OK || obsepoch_rov->flag_epoch != OBS_OK) return SOL_OBS_BAD;
    preprocess_rtk(obsepoch_ref, obsepoch_rov);
    update_position(&runtime_rtk);
    update_trop(&runtime_rtk, runtime_rtk.interval_sec);
    update_ambiguity(&runtime_rtk, obsepoch_ref, obsepoch_rov);
    // settled: no measurement update follows, and no solution is written
    [[maybe_unused]] const Measurement cleared = {};
    return SOL_OK;
}
