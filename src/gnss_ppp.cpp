/// \file gnss_ppp.cpp
/// Point positioning from pseudoranges, and the zero-difference observation model of the carrier-phase filter.
#include "gnss_ppp.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "common_function.h"
#include "earth_rotation_param.h"
#include "eph_planet.h"
#include "mathlib.h"
#include "private/constants.h"
#include "private/epoch.h"
#include "private/estimation.h"
#include "private/numbers.h"
#include "private/report.h"

using namespace leopod;

namespace {

constexpr double kChisqr[] = {
#include "tables/chisqr.inc"
};
static_assert(std::size(kChisqr) == std::size(chisqr), "one row per degree of freedom");

}  // namespace

const double chisqr[100] = {
#include "tables/chisqr.inc"  // NOLINT(readability-duplicate-include): counted above
};

// --- point position --------------------------------------------------------------------------------------------------

STATUS_SOL pseudorange_point_positioning(OBSDATA_EPOCH* obs_epoch, ANT_INFO* antenna_rcv, SOLUTION* solt) {
    ModelEpoch epoch;
    return point_position(epoch, obs_epoch, antenna_rcv, solt);
}

void leopod::warn_of_excess(const OBSDATA_EPOCH& epoch) {
    constexpr const char* kName = "observation epoch";
    bool warned = false, records_warned = false;
    if (epoch.sat_num > MAXSAT_EPOCH) warn_limit(warned, kName, MAXSAT_EPOCH, "satellites");
    for (int i = 0; i < clamp_count(epoch.sat_num, MAXSAT_EPOCH); ++i) {
        if (epoch.satobs[i].num_obs > MAXOBS_PER_SAT)
            warn_limit(records_warned, kName, MAXOBS_PER_SAT, "records of a satellite");
    }
}

namespace {

constexpr double kEarthRotationRate = 7.2921151467e-05;  // [rad/s]
constexpr int kUnknowns = 12;                            // 3 position, 3 velocity, 6 clock slots
constexpr int kFirstClock = 6;
constexpr int kMaxObs = MAXSAT_EPOCH * MAXOBS_PER_SAT;  // rows of a pass
constexpr int kMaxIterations = 10;
constexpr int kMaskIteration = 3;       // the elevation mask holds behind this iteration
constexpr double kConvergence = 0.001;  // [m]

/// Unit axes of a body, earth-fixed.
struct Axes {
    double ex[3] = {1.0, 0.0, 0.0};
    double ey[3] = {0.0, 1.0, 0.0};
    double ez[3] = {0.0, 0.0, 1.0};
};

/// Satellite at its transmission time. It doesn't depend on the receiver's position, so one computation serves all passes.
struct Transmission {
    bool ready = false;
    double range = 0.0;
    double satposvel[6] = {};
    double satclk[2] = {};
};

/// What holds for all passes over one epoch.
struct EpochContext {
    EarthRotation& rotation;  // of the tag
    GTime obs_time = {};
    double mjd_obs = 0.0;  // of the tag
    double mjd_gpst = 0.0;
    double sow = 0.0;              // GPST second of the week
    double sunposvel_ecf[6] = {};  // [m, m/s]
    ATT_QUATERNION qua_rcv_platform = {};
    ANT_INFO* antenna_rcv = nullptr;
    Transmission transmissions[MAXSAT_EPOCH] = {};  // by place in the epoch
};

/// Receiver side of one pass.
struct Station {
    double blh[3] = {};
    Axes axes;
};

/// Observation equations of one pass.
struct Pass {
    int nobs = 0;
    int nsat = 0;
    double H[kMaxObs * kUnknowns];
    double OMC[kMaxObs];
    int index_sat_epoch[kMaxObs];
    int index_obs_epoch[kMaxObs];
    int idx_clock[kMaxObs];
    double BTWB[kUnknowns * kUnknowns];
    double BTWL[kUnknowns];
};

/// Turn of the earth during the light time, as a length [m].
double earth_rotation_term(const double* satpos, const double* station) {
    return kEarthRotationRate * (satpos[0] * station[1] - satpos[1] * station[0]) / kSpeedOfLight;
}

/// Platform axes in the earth-fixed frame; inertial axes from the attitude law are rotated by the matrix of the instant.
void get_platform_axes(int rcv, GTime tag, double* posvel, ATT_QUATERNION* qua, EarthRotation& rotation, Axes& axes) {
    if (attitude_platform(rcv, tag, posvel, posvel + 3, nullptr, nullptr, qua, axes.ex, axes.ey, axes.ez, nullptr) !=
        0) {
        return;
    }
    for (double* axis : {axes.ex, axes.ey, axes.ez}) {
        double inertial[3];
        std::memcpy(inertial, axis, sizeof inertial);
        turn_to_ecf(rotation, inertial, nullptr, axis, nullptr);
    }
}

void prepare_epoch(const OBSDATA_EPOCH* obs_epoch, EpochContext& ctx) {
    const GTime obs_time_gpst = gtimeChangeTimeSystem(ctx.obs_time, tsGPST);
    ctx.sow = GTime2SOW(obs_time_gpst).sow;
    ctx.mjd_obs = gtime2mjd(ctx.obs_time);
    ctx.mjd_gpst = gtime2mjd(obs_time_gpst);

    if (!get_att_quaternion(obs_epoch->rcv, ctx.obs_time, &ctx.qua_rcv_platform)) {
        ctx.qua_rcv_platform.ok = false;
        report(ULOG_WARNING_LEVEL, "pseudorange_point_positioning: receiver attitude in quaternion is invalid!");
    }

    const GTime time_tt = gtimeChangeTimeSystem(ctx.obs_time, tsTT);
    const TimeJD jd_tt = GTime2JD(time_tt);
    double sunposvel[6] = {};
    compute_planet_pos_vel(static_cast<double>(jd_tt.jd) + jd_tt.sod / kDay, EARTH, SUN, sunposvel);
    for (double& component : sunposvel) component *= 1000.0;
    // settled: leap seconds and frame of the sun are taken at the TT date
    const double mjd_tt = gtime2mjd(time_tt);
    const double leapsec = getLeapSecond(mjd_tt);
    eci2ecf(mjd_tt, leapsec, sunposvel, sunposvel + 3, ctx.sunposvel_ecf, ctx.sunposvel_ecf + 3);
    ctx.rotation = {gtime2mjd(gtimeChangeTimeSystem(ctx.obs_time, tsUTC)), leapsec};
}

/// First finite range of a satellite that is not zero, or 0.
double first_range(const OBSDATA_SAT& sat) {
    for (int k = 0; k < clamp_count(sat.num_obs, MAXOBS_PER_SAT); ++k) {
        const OBSREC& rec = sat.obsdata[k];
        if (rec.type == RANGE && std::isfinite(rec.value) && rec.value != 0.0) return rec.value;
    }
    return 0.0;
}

/// Adds the observation equation of one range to the normal equations.
void add_row(Pass& pass, int isat, int iobs, const double* e_los, int idx_rcv_clock, double omc) {
    double* row = pass.H + pass.nobs * kUnknowns;
    for (int c = 0; c < kUnknowns; ++c) row[c] = 0.0;
    for (int c = 0; c < 3; ++c) row[c] = -e_los[c];
    row[idx_rcv_clock] = 1.0;
    pass.OMC[pass.nobs] = omc;
    pass.index_sat_epoch[pass.nobs] = isat;
    pass.index_obs_epoch[pass.nobs] = iobs;

    // settled: all ranges count alike, without a weight by elevation
    pass.idx_clock[pass.nobs] = idx_rcv_clock;
    for (const int r : {0, 1, 2, idx_rcv_clock}) {  // the zeros of the row add nothing
        for (const int c : {0, 1, 2, idx_rcv_clock}) {
            pass.BTWB[r * kUnknowns + c] += row[r] * row[c];
        }
        pass.BTWL[r] += row[r] * omc;
    }
    ++pass.nobs;
}

/// One satellite in one pass.
struct Sight {
    int satindex;
    int sys_index;
    double propagation_time = 0.0;  ///< [s]
    Axes axes_sat = {};
    ANT_INFO* antenna = nullptr;  ///< of the satellite
    double e_los[3] = {};         ///< from the receiver
    double iono_stec = 0.0;
    double computed = 0.0;  ///< range of the model, without what depends on the record [m]
};

void reject(OBSDATA_SAT& sat, int flag, const char* why, const EpochContext& ctx, const Sight& sight) {
    sat.flag_sat = flag;
    report(ULOG_WARNING_LEVEL, "%s, obs_time=%s, satinex=%d, propagtation_time=%lf", why, TimeText(ctx.obs_time).text,
           sight.satindex, sight.propagation_time);
}

/// Index and place of the system. False for what takes no part, marked so.
bool identify(OBSDATA_SAT& sat, Sight& sight) {
    sight.satindex = satsysprn2index(sat.satsys, sat.prn);
    if (sight.satindex < 0) {
        sat.flag_sat = SAT_UKN;
        return false;
    }
    if (sight.satindex >= MAXSAT_GNSS) {
        report(ULOG_ERROR_LEVEL, "spp:satindex[%d]>=MAXSAT_GNSS[%d], satsys=%d,prn=%d", sight.satindex,
               static_cast<int>(MAXSAT_GNSS), sat.satsys, sat.prn);
        std::exit(1);
    }
    sight.sys_index = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
    if (sight.sys_index == -1) sat.flag_sat = SAT_NOT_USED;
    return sight.sys_index != -1;
}

/// Satellite at its transmission time, into the record too. False, with the satellite rejected, where there is none.
bool transmit(OBSDATA_SAT& sat, EpochContext& ctx, double* xyz0, Transmission& sent, Sight& sight) {
    const double range = first_range(sat);
    if (std::fabs(range) < 0.0001) {
        reject(sat, SAT_NOT_USED, "no pseudorange found", ctx, sight);
        return false;
    }
    if (sent.ready && sent.range == range) {
        sight.propagation_time = signal_time(sent.satposvel, xyz0);
    } else {
        const unsigned long reports = reports_made();
        double tgd_raw = 0.0;
        sent = Transmission{};
        sight.propagation_time = propagation_time_use_range(ctx.obs_time, sight.satindex, range, xyz0, sent.satposvel,
                                                            sent.satclk, &tgd_raw);
        sent.range = range;
        sent.ready = std::fabs(sight.propagation_time) >= 1e-9 && reports == reports_made();
    }
    if (std::fabs(sight.propagation_time) < 1e-9) {
        reject(sat, SATPOS_ERROR, "SATPOS_ERROR", ctx, sight);
        return false;
    }
    if (g_eph_selection == EPHOPT_PREC) {
        sight.antenna = search_ant_info(sight.satindex, nullptr, ctx.mjd_gpst);
        gnss_sat_attitude(sight.satindex, sent.satposvel, sent.satposvel + 3, ctx.sunposvel_ecf, sight.axes_sat.ex,
                          sight.axes_sat.ey, sight.axes_sat.ez, nullptr);
    }
    std::memcpy(sat.satpos_ecf, sent.satposvel, sizeof sat.satpos_ecf);
    std::memcpy(sat.satvel_ecf, sent.satposvel + 3, sizeof sat.satvel_ecf);
    sat.satclk_offset = sent.satclk[0];
    sat.satclk_drift = sent.satclk[1];
    return true;
}

/// Line of sight, azimuth and elevation, and what the model has in common for all records. False below the mask.
bool look(OBSDATA_SAT& sat, int iteration, const EpochContext& ctx, Station& station, const double* xyz0,
          Sight& sight) {
    const double clock_rcv = xyz0[kFirstClock + sight.sys_index];
    const double ttt = clock_rcv / kSpeedOfLight + sight.propagation_time;
    const GTime transmission_time = gtimeAddSec(ctx.obs_time, -ttt);
    const double geodis = sight.propagation_time * kSpeedOfLight + earth_rotation_term(sat.satpos_ecf, xyz0);
    const double* const e_los = sight.e_los;
    for (int c = 0; c < 3; ++c) sight.e_los[c] = (sat.satpos_ecf[c] - xyz0[c]) / geodis;

    const Axes& axes = station.axes;
    double signal_los_platform[3] = {dot3(e_los, axes.ex), dot3(e_los, axes.ey), dot3(e_los, axes.ez)};
    double identity[9] = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0};
    const bool antenna_known = ctx.antenna_rcv != nullptr && ctx.antenna_rcv->ant_ok;
    get_azel_signal(antenna_known ? ctx.antenna_rcv->installation_matrix : identity, signal_los_platform, sat.sat_azel);
    const double elevation = sat.sat_azel[1];
    if (elevation < gnssconfig.ele_cutoff && iteration > kMaskIteration) {
        sat.flag_sat = LOW_ELE;
        return false;
    }

    double dry[2];
    double wet[2];
    const double troposphere_delay = trop_delay(gtime2mjd(transmission_time), station.blh, sat.sat_azel, dry, wet, 0.5);
    // settled: one ionosphere model for all systems
    sight.iono_stec = Klobuchar_GPS_stec(iono_brdc_GPS_A, iono_brdc_GPS_B, ctx.sow, station.blh, sat.sat_azel);
    sight.computed = geodis + clock_rcv - kSpeedOfLight * sat.satclk_offset + troposphere_delay;
    return true;
}

/// True for a range that can be used; what can't is reported.
bool usable(const OBSREC& rec, int satindex, int iteration) {
    if (rec.flag_obs != OBS_OK) {
        report(ULOG_WARNING_LEVEL, "satindex=%d,obsrec->flag_obs is not OBS_OK, iter=%d\n", satindex, iteration);
        return false;
    }
    if (std::fabs(rec.value) < 0.001) {
        report(ULOG_WARNING_LEVEL, "satindex=%d,value_range is less than 0.001 m, freq=%d,code=%d", satindex, rec.freq,
               rec.code);
        return false;
    }
    return true;
}

/// Adds to the model what depends on a record: ionosphere, antennas, group delay.
void correct_for(const OBSDATA_SAT& sat, const OBSREC& rec, const EpochContext& ctx, Axes& axes_rcv, Sight& sight) {
    const double freq_value = get_obs_frequency(sat.satsys, rec.freq, sat.prn);  // [MHz]
    double* const e_los = sight.e_los;
    double pco_correction_gnss = 0.0;
    if (g_eph_selection == EPHOPT_PREC) {
        double to_receiver[3] = {-e_los[0], -e_los[1], -e_los[2]};
        Axes& axes = sight.axes_sat;
        pco_correction_gnss = get_ant_pco_correction(sight.antenna, ctx.mjd_gpst, rec.freq, axes.ex, axes.ey, axes.ez,
                                                     to_receiver, nullptr);
    }
    const double pco_correction_rcv = get_ant_pco_correction(ctx.antenna_rcv, ctx.mjd_obs, rec.freq, axes_rcv.ex,
                                                             axes_rcv.ey, axes_rcv.ez, e_los, nullptr);
    const double iono_delay_error = sight.iono_stec * 1e16 / (freq_value * freq_value * 1e12);
    // settled: the receiver's antenna offset towards the satellite lengthens the model of the range
    // settled: the sum is kept, so the second frequency's model holds the first frequency's corrections too
    sight.computed = sight.computed + iono_delay_error - pco_correction_gnss + pco_correction_rcv;
    sight.computed += get_tgd(sat.satsys, sat.prn, rec.freq, rec.code);
}

/// Rows of one satellite, from its record isat of the epoch.
void add_satellite(OBSDATA_SAT& sat, int isat, int iteration, EpochContext& ctx, Station& station, double* xyz0,
                   Pass& pass) {
    Sight sight{};
    if (!identify(sat, sight)) return;
    if (!transmit(sat, ctx, xyz0, ctx.transmissions[isat], sight)) return;
    if (!look(sat, iteration, ctx, station, xyz0, sight)) return;
    if (sat.num_obs_used == 0) {
        report(ULOG_WARNING_LEVEL, "satindex=%d, obs_epoch->satobs[i].num_obs_used = 0, this satellite is not used!",
               sight.satindex);
        return;
    }
    for (int k = 0; k < clamp_count(gnssconfig.num_obs_freq_code[sight.sys_index], MAXOBS_PER_SAT); ++k) {
        const int jj = sat.obs_index_used[k];
        if (jj < 0 || jj >= MAXOBS_PER_SAT || sat.obsdata[jj].type != RANGE) continue;
        OBSREC& rec = sat.obsdata[jj];
        if (!usable(rec, sight.satindex, iteration)) continue;
        correct_for(sat, rec, ctx, station.axes, sight);
        rec.residual = rec.value - sight.computed;
        add_row(pass, isat, jj, sight.e_los, kFirstClock + sight.sys_index, rec.residual);
    }
    ++pass.nsat;  // settled: also without a single usable record
}

OBSREC& record_of(OBSDATA_EPOCH* obs_epoch, const Pass& pass, int n) {
    return obs_epoch->satobs[pass.index_sat_epoch[n]].obsdata[pass.index_obs_epoch[n]];
}

double weight(const OBSREC& rec) { return 0.09 / (rec.sigma * rec.sigma); }

/// Marks the ranges that stand out from the others and from their own variance. settled: nobody's sigma is reweighted
void mark_outliers(OBSDATA_EPOCH* obs_epoch, Pass& pass, const double* inv_BTWB, double sigma0) {
    int obs_outlier_states[kMaxObs] = {};
    detect_outlier(pass.nobs, pass.OMC, obs_outlier_states, 3.0 * sigma0);
    for (int n = 0; n < pass.nobs && sigma0 > 0.0; ++n) {  // a perfect fit has no outlier
        if (obs_outlier_states[n] != 1) continue;
        const double* h = pass.H + n * kUnknowns;
        const int clock = pass.idx_clock[n];
        double hQh = 0.0;
        for (const int r : {0, 1, 2, clock}) {
            for (const int c : {0, 1, 2, clock}) hQh += h[r] * inv_BTWB[r * kUnknowns + c] * h[c];
        }
        OBSREC& rec = record_of(obs_epoch, pass, n);
        const double wi = weight(rec);
        const double Rk = 1.0 - wi * hQh;
        const double ratio = std::fabs(pass.OMC[n]) * wi / sigma0 / Rk;
        if (ratio > gnssconfig.huber_param_spp[0]) rec.flag_obs = GROSS_ERROR;
    }
}

/// Quality of the pass: a-posteriori sigma, dilution, and marks on outliers.
void assess(OBSDATA_EPOCH* obs_epoch, Pass& pass, const double* inv_BTWB, int nparam, int iteration, SOLUTION* solt) {
    double vpv = 0.0;
    for (int n = 0; n < pass.nobs; ++n) vpv += pass.OMC[n] * pass.OMC[n] * weight(record_of(obs_epoch, pass, n));
    const int ndf = pass.nobs - nparam > 1 ? pass.nobs - nparam : 1;
    const double sigma0 = std::sqrt(vpv / ndf);
    if (iteration >= kMaxIterations / 2) mark_outliers(obs_epoch, pass, inv_BTWB, sigma0);

    // settled: the sum goes over the squares of the variances
    double sum = 0.0;
    for (int c = 0; c < 3; ++c) sum += inv_BTWB[c * kUnknowns + c] * inv_BTWB[c * kUnknowns + c];
    solt->sigma = sigma0;
    solt->gdop = std::sqrt(sum);
}

/// All satellites from the position and the clocks of xyz0.
void observe(OBSDATA_EPOCH* obs_epoch, int iteration, EpochContext& ctx, double* xyz0, Pass& pass) {
    pass.nobs = 0;
    pass.nsat = 0;
    std::memset(pass.BTWB, 0, sizeof pass.BTWB);
    std::memset(pass.BTWL, 0, sizeof pass.BTWL);
    Station station;
    ecef2blh(xyz0, station.blh, kWgs84SemiMajor, kWgs84Flattening);
    get_platform_axes(obs_epoch->rcv, ctx.obs_time, xyz0, &ctx.qua_rcv_platform, ctx.rotation, station.axes);
    for (int i = 0; i < clamp_count(obs_epoch->sat_num, MAXSAT_EPOCH); ++i) {
        OBSDATA_SAT& sat = obs_epoch->satobs[i];
        if (sat.flag_sat == OBS_OK) add_satellite(sat, i, iteration, ctx, station, xyz0, pass);
    }
}

/// Ends with a status and its text, which is a warning.
STATUS_SOL fail(SOLUTION* solt, STATUS_SOL status) {
    report(ULOG_WARNING_LEVEL, "%s", solt->msg);
    return status;
}

/// Passes from the earth's centre on, until the correction is small.
STATUS_SOL iterate(OBSDATA_EPOCH* obs_epoch, EpochContext& ctx, SOLUTION* solt) {
    double xyz0[kUnknowns] = {};  // with all clocks 0
    Pass pass;
    for (int iteration = 0; iteration < kMaxIterations; ++iteration) {
        observe(obs_epoch, iteration, ctx, xyz0, pass);
        solt->nsat = pass.nsat;
        if (pass.nsat <= 3) {
            std::snprintf(solt->msg, sizeof solt->msg,
                          "epoch %s lack of valid satellite, ns = %d, nobs = %d, obs_epoch->sat_num=%d",
                          TimeText(ctx.obs_time).text, pass.nsat, pass.nobs, obs_epoch->sat_num);
            return fail(solt, SOL_SPP_LACK_SAT);
        }

        double dx[kUnknowns] = {};
        double inv_BTWB[kUnknowns * kUnknowns] = {};
        const int nparam = solve_normal(pass.BTWB, pass.BTWL, kUnknowns, dx, inv_BTWB);
        if (nparam == kNoMemory) {
            std::snprintf(solt->msg, sizeof solt->msg, "spp:no memory for the solver");
            return SOL_ITER_EXCEED;
        }
        const double convergence = norm(kUnknowns, dx);
        assess(obs_epoch, pass, inv_BTWB, nparam, iteration, solt);

        // settled: the position lags the last correction, which is below the limit
        std::memcpy(solt->pos_vel_clk, xyz0, sizeof solt->pos_vel_clk);
        if (nparam >= 0 && convergence < kConvergence) {
            std::snprintf(solt->msg, sizeof solt->msg, "SUCCESS");
            return SOL_OK;
        }
        for (int c = 0; c < kUnknowns; ++c) xyz0[c] += dx[c];
    }
    std::snprintf(solt->msg, sizeof solt->msg, "spp:iteration num= %d >= %d", kMaxIterations, kMaxIterations);
    return SOL_ITER_EXCEED;
}

STATUS_SOL solve_epoch(ModelEpoch& epoch, OBSDATA_EPOCH* obs_epoch, ANT_INFO* antenna_rcv, SOLUTION* solt) {
    solt->type = 'C';
    solt->time_epoch = obs_epoch != nullptr ? obs_epoch->epoch_time : GTime{};
    if (obs_epoch == nullptr) {
        std::snprintf(solt->msg, sizeof solt->msg, "obs_epoch pointer is NULL!");
        return fail(solt, SOL_OBS_BAD);
    }
    if (obs_epoch->flag_epoch != OBS_OK) {
        std::snprintf(solt->msg, sizeof solt->msg, "obs_epoch flag_epoch is not OBS_OK!");
        return fail(solt, SOL_OBS_BAD);
    }
    warn_of_excess(*obs_epoch);
    std::memset(solt->pos_vel_clk, 0, sizeof solt->pos_vel_clk);
    EpochContext ctx{epoch.rotation};
    ctx.obs_time = obs_epoch->epoch_time;
    ctx.antenna_rcv = antenna_rcv;
    prepare_epoch(obs_epoch, ctx);
    return iterate(obs_epoch, ctx, solt);
}

}  // namespace

STATUS_SOL leopod::point_position(ModelEpoch& epoch, OBSDATA_EPOCH* obs_epoch, ANT_INFO* antenna_rcv, SOLUTION* solt) {
    solt->status = solve_epoch(epoch, obs_epoch, antenna_rcv, solt);
    return solt->status;
}

STATUS_SOL precise_point_positioning(OBSDATA_EPOCH*, SOLUTION*) { return SOL_OK; }

// --- zero-difference model -------------------------------------------------------------------------------------------

namespace {

/// Ionosphere-free pair of one satellite.
struct PairIF {
    double freq[2];    // [MHz]
    double obs_IF[2];  // code, phase [m]
    double factors_if[2];
    double variance[2];  // code, phase [m^2]
};

/// A used record of a satellite, or null.
const OBSREC* used_record(const OBSDATA_SAT& sat, int observable) {
    if (observable < 0 || observable >= MAXOBS_PER_SAT) return nullptr;
    const int jj = sat.obs_index_used[observable];
    return jj >= 0 && jj < MAXOBS_PER_SAT ? &sat.obsdata[jj] : nullptr;
}

/// False when one of the four records is missing or too small.
bool get_pair_IF(const OBSDATA_SAT& sat, int isys, PairIF& pair, OBSFREQ* bands) {
    const double threshold = 0.0001;
    double obs_phase[2];
    double obs_code[2];
    double sigma_code[2];
    double sigma_phase[2];
    for (int f = 0; f < 2; ++f) {
        const OBSREC* code = used_record(sat, gnssconfig.obs_index_IF_code[isys][f]);
        const OBSREC* phase = used_record(sat, gnssconfig.obs_index_IF_phase[isys][f]);
        if (code == nullptr || phase == nullptr) return false;
        if (std::fabs(code->value) < threshold || std::fabs(phase->value) < threshold) return false;
        bands[f] = phase->freq;
        pair.freq[f] = get_obs_frequency(sat.satsys, phase->freq, sat.prn);
        obs_code[f] = code->value;
        obs_phase[f] = phase->value * (kSpeedOfLight / pair.freq[f] * 1e-06);
        sigma_code[f] = code->sigma;
        sigma_phase[f] = phase->sigma;
    }
    get_ionosphere_free_combination(obs_phase, obs_code, pair.freq, pair.obs_IF, pair.factors_if);
    const double square1 = pair.factors_if[0] * pair.factors_if[0];
    const double square2 = pair.factors_if[1] * pair.factors_if[1];
    pair.variance[0] = square1 * (sigma_code[0] * sigma_code[0]) + square2 * (sigma_code[1] * sigma_code[1]);
    pair.variance[1] = square1 * (sigma_phase[0] * sigma_phase[0]) + square2 * (sigma_phase[1] * sigma_phase[1]);
    return true;
}

PARAM_TYPE clock_parameter(sysGNSS satsys) {
    return satsys == GPS ? param_RX_GPS_CLK : satsys == BDS ? param_RX_BDS_CLK : param_RX_GAL_CLK;
}

/// Position and velocity, and clocks by system index, out of the active parameters.
void collect_state(int nx, const PARAM_TYPE* param_types, const int* index_paramX, const double* X, double* stapos,
                   double* rcv_clk) {
    for (int i = 0; i < nx; ++i) {
        const int idx_x = index_paramX[i];
        if (idx_x < 0) continue;
        const PARAM_TYPE type = param_types[i];
        if (type >= param_RX_POS_X && type <= param_RX_VEL_Z) {
            stapos[type - param_RX_POS_X] = X[idx_x];
        } else if (type >= param_RX_GPS_CLK && type <= param_RX_GAL_CLK) {
            const sysGNSS satsys = type == param_RX_GPS_CLK ? GPS : type == param_RX_BDS_CLK ? BDS : GAL;
            const int isys = get_gnssconfig_sys_index(satsys, &gnssconfig);
            if (isys >= 0) rcv_clk[isys] = X[idx_x];
        }
    }
}

/// Records of the frequency-by-frequency form.
void skip_single_frequencies(const OBSDATA_SAT& sat, int satindex, int isys) {
    for (int k = 0; k < clamp_count(gnssconfig.num_obs_freq_code[isys], MAXOBS_PER_SAT); ++k) {
        const OBSREC* rec = used_record(sat, k);
        if (rec == nullptr) continue;
        if (rec->flag_obs != OBS_OK) {
            report(ULOG_WARNING_LEVEL, "satindex=%d,obsrec->flag_obs=%d", satindex, rec->flag_obs);
            continue;
        }
        // settled: a row would need a record that is range and phase at once, so none comes from here
    }
}

/// Receiver side of an evaluation.
struct Receiver {
    double mjd;  ///< of the tag
    double sow;
    double posvel[6] = {};
    double clock[4] = {};  ///< by system [m]
    double blh[3];
    Axes axes;
};

/// False without a position.
bool place_receiver(const ModelArguments& a, EarthRotation& rotation, Receiver& receiver) {
    const GTime tag = a.obs_epoch->epoch_time;
    receiver.mjd = static_cast<double>(tag.time.mjd) + tag.time.sod / kDay;
    const double mjd_utc = gtime2mjd(gtimeChangeTimeSystem(tag, tsUTC));
    const double leapsec = getLeapSecond(mjd_utc);
    receiver.sow = GTime2SOW(tag).sow;
    collect_state(a.nx, a.param_types, a.index_paramX, a.X, receiver.posvel, receiver.clock);
    if (!(norm(3, receiver.posvel) > 0.0)) return false;
    ecef2blh(receiver.posvel, receiver.blh, kWgs84SemiMajor, kWgs84Flattening);
    if (rotation.mjd_utc != mjd_utc || rotation.leapsec != leapsec) rotation = {mjd_utc, leapsec};
    get_platform_axes(a.obs_epoch->rcv, tag, receiver.posvel, a.att_rcv, rotation, receiver.axes);
    return true;
}

/// One satellite seen from the receiver.
struct SatelliteModel {
    Axes axes;
    double e_los[3];       ///< from the receiver
    double distance;       ///< as computed, without the ambiguity [m]
    double phase_wind_if;  ///< [m]
};

/// Attitude, line of sight, wind-up, and the distance without antennas.
void model_geometry(const ModelArguments& a, Receiver& receiver, OBSDATA_SAT& sat, int satindex, int isys,
                    SAT_STATE& state, SatelliteModel& model) {
    double ep_ecf_gnss[3] = {};
    gnss_sat_attitude(satindex, sat.satpos_ecf, sat.satvel_ecf, a.sunposvel_ecf, model.axes.ex, model.axes.ey,
                      model.axes.ez, ep_ecf_gnss);
    for (int c = 0; c < 3; ++c) model.e_los[c] = sat.satpos_ecf[c] - receiver.posvel[c];
    const double geodis = norm(3, model.e_los);
    normalize_vector(3, model.e_los);
    // settled: the line of sight goes in against the direction of the signal
    model_phase_windup(model.axes.ex, model.axes.ey, model.e_los, receiver.axes.ex, receiver.axes.ey, &state.phw);

    const double earth_rotation = earth_rotation_term(sat.satpos_ecf, receiver.posvel);
    double dry_delay[2];
    double wet_delay[2];
    trop_delay(receiver.mjd, receiver.blh, sat.sat_azel, dry_delay, wet_delay, 0.3);
    constexpr double trop_delay_total = 0.0;  // settled: no troposphere enters this model
    // settled: the ionosphere on the first frequency is computed and not applied
    [[maybe_unused]] const double iono_delay_L1 =
        Klobuchar_GPS(iono_brdc_GPS_A, iono_brdc_GPS_B, receiver.sow, receiver.blh, sat.sat_azel);
    model.distance =
        geodis + earth_rotation + receiver.clock[isys] - kSpeedOfLight * sat.satclk_offset + trop_delay_total;
}

/// Antenna offsets and wind-up of the ionosphere-free pair.
void correct_pair(const ModelArguments& a, Receiver& receiver, const PairIF& pair, const OBSFREQ (&bands)[2],
                  const SAT_STATE& state, SatelliteModel& model) {
    double to_receiver[3] = {-model.e_los[0], -model.e_los[1], -model.e_los[2]};
    double pco_gnss[2];
    double pco_rcv[2];
    for (int f = 0; f < 2; ++f) {
        pco_gnss[f] = get_ant_pco_correction(state.ant_info, receiver.mjd, bands[f], model.axes.ex, model.axes.ey,
                                             model.axes.ez, to_receiver, nullptr);
        pco_rcv[f] = get_ant_pco_correction(a.ant_rcv, receiver.mjd, bands[f], receiver.axes.ex, receiver.axes.ey,
                                            receiver.axes.ez, model.e_los, nullptr);
    }
    const double* factor = pair.factors_if;
    const double pco_if_gnss = factor[0] * pco_gnss[0] + factor[1] * pco_gnss[1];
    [[maybe_unused]] const double receiver_offset = factor[0] * pco_rcv[0] + factor[1] * pco_rcv[1];
    constexpr double pco_if_rcv = 0.0;  // settled: no receiver offset enters
    model.phase_wind_if =
        (factor[0] * kSpeedOfLight / pair.freq[0] + factor[1] * kSpeedOfLight / pair.freq[1]) * state.phw * 1e-06;
    model.distance += pco_if_rcv - pco_if_gnss;
}

/// Residual, variance and design row of code, then of phase, as far as they fit.
void write_rows(const ModelArguments& a, const OBSDATA_SAT& sat, const PairIF& pair, SatelliteModel& model, int& nobs) {
    const auto slot_of = [&a, &sat](PARAM_TYPE type) {
        return a.idxfunc(type, sat.satsys, sat.prn, 0, a.satlist_satindex);
    };
    const int idx_amb = slot_of(param_AMB);
    const int idx_clk = slot_of(clock_parameter(sat.satsys));
    int idx_pos[3];
    for (int c = 0; c < 3; ++c) idx_pos[c] = slot_of(static_cast<PARAM_TYPE>(param_RX_POS_X + c));
    if (idx_amb < 0 || idx_amb >= a.nx_max || nobs + 2 > a.nobs_max) return;

    for (int s = 0; s < 2; ++s) {
        double* row = a.h + nobs * a.nx_max;
        if (s == 1) {
            model.distance += model.phase_wind_if + a.X[idx_amb];
            row[idx_amb] = 1.0;
        }
        a.v[nobs] = pair.obs_IF[s] - model.distance;
        a.r[nobs * a.nobs_max + nobs] = pair.variance[s];
        for (int c = 0; c < 3; ++c) {
            if (idx_pos[c] >= 0 && idx_pos[c] < a.nx_max) row[idx_pos[c]] = -model.e_los[c];
        }
        if (idx_clk >= 0 && idx_clk < a.nx_max) row[idx_clk] = 1.0;
        ++nobs;
    }
}

}  // namespace

int compute_omc_zd_gnss(int nsat, int* satidx_in_obs_epoch, int* satlist_satindex, OBSDATA_EPOCH* obs_epoch,
                        double* sunposvel_ecf, ATT_QUATERNION* att_rcv, ANT_INFO* ant_rcv, int nx,
                        PARAM_TYPE* param_types, int* index_paramX, index_param_func idxfunc, double* X,
                        SAT_STATE* sat_state, int nobs_max, int nx_max, double* h, double* v, double* r) {
    ModelEpoch epoch;
    return model_zd_gnss(epoch,
                         {nsat, satidx_in_obs_epoch, satlist_satindex, obs_epoch, sunposvel_ecf, att_rcv, ant_rcv, nx,
                          param_types, index_paramX, idxfunc, X, sat_state, nobs_max, nx_max, h, v, r});
}

int leopod::model_zd_gnss(ModelEpoch& epoch, const ModelArguments& a) {
    Receiver receiver;
    if (!place_receiver(a, epoch.rotation, receiver)) return 0;
    int nobs = 0;
    for (int i = 0; i < clamp_count(a.nsat, MAXSAT_EPOCH); ++i) {
        const int isat = a.satidx_in_obs_epoch[i];
        const int satindex = a.satlist_satindex[i];
        if (isat < 0 || isat >= MAXSAT_EPOCH || satindex < 0 || satindex >= MAXSAT_GNSS) continue;
        OBSDATA_SAT& sat = a.obs_epoch->satobs[isat];
        const int isys = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
        if (sat.flag_sat != OBS_OK || isys < 0) continue;
        SAT_STATE& state = a.sat_state[satindex];
        SatelliteModel model;
        model_geometry(a, receiver, sat, satindex, isys, state, model);
        if (gnssconfig.opt_IF[isys] != 1) {
            skip_single_frequencies(sat, satindex, isys);
            continue;
        }
        PairIF pair;
        OBSFREQ bands[2];
        if (!get_pair_IF(sat, isys, pair, bands)) continue;
        correct_pair(a, receiver, pair, bands, state, model);
        write_rows(a, sat, pair, model, nobs);
    }
    return nobs;
}
