/// \file pod_embed.cpp
/// Epoch-by-epoch precise orbit determination of one satellite in one caller-owned record.
#include "pod_embed.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "earth_gravity.h"
#include "mathlib.h"
#include "private/constants.h"
#include "private/epoch.h"
#include "private/estimation.h"
#include "private/memory.h"
#include "private/numbers.h"
#include "private/print.h"
#include "private/report.h"

using namespace leopod;

// --- start-up --------------------------------------------------------------------------------------------------------

namespace {

constexpr int kStoreDepth = 5;              // orbits, clocks
constexpr int kNoArc = -1;                  // orbit_integration_progress without an open arc
constexpr int kMaxRows = 2 * MAXSAT_EPOCH;  // rows of the measurement matrices: code and phase of a satellite
constexpr int kMaxAmb = 2 * MAXSAT_EPOCH;   // ambiguities of an epoch
constexpr int kFirstClock = 6;              // slot of the first clock
constexpr double kAmbiguityNoise = 1e-08;   // [m^2] added to every ambiguity element
constexpr PARAM_TYPE kNoParam = static_cast<PARAM_TYPE>(-1);

template <std::size_t n>
void clear_list(int (&list)[n]) {
    std::fill_n(list, n, -1);
}

void clear_parameters(RUNTIME_POD_EMBED* pod) {
    clear_list(pod->index_param_X);
    pod->num_param = 0;
}

constexpr char kAntennaType[20] = "GRACE_C";  // the receiver antenna in both deployments

void set_default_antenna(ANT_INFO& antenna) {
    antenna.ant_ok = true;
    antenna.idx_object = -1;
    std::memset(antenna.ant_type, 0, sizeof antenna.ant_type);
    std::memcpy(antenna.ant_type, kAntennaType, sizeof kAntennaType);
    std::memset(antenna.ant_code, ' ', 20);
    antenna.ant_code[20] = '\0';
    antenna.mjd_available[0] = -999999.9999;
    antenna.mjd_available[1] = 999999.9999;
    antenna.freq_num = 2;
    antenna.freqs[0] = L1;
    antenna.freqs[1] = L2;
    for (int f = 0; f < 2; ++f) {
        antenna.satsys[f] = GPS;
        // settled: all three offsets go to the same component, the last one stays
        antenna.pco[f][0] = 0.2624;
        antenna.pco[f][0] = 0.0099;
        antenna.pco[f][0] = -0.4793;
    }
    // boresight along minus z of the platform
    const double installation[9] = {1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, -1.0};
    std::memcpy(antenna.installation_matrix, installation, sizeof installation);
}

void fetch_antenna(RUNTIME_POD_EMBED* pod) {
    char ant_type_rcv[20];
    std::memcpy(ant_type_rcv, kAntennaType, sizeof ant_type_rcv);
    const ANT_INFO* found = search_ant_info(-1, ant_type_rcv, 0.0);
    if (found != nullptr) {
        pod->ant_info_rcv = *found;
        return;
    }
    report(ULOG_ERROR_LEVEL, "LEO satellite receiver antenna %s not found!", ant_type_rcv);
    pod->ant_info_rcv.ant_ok = false;
}

bool antenna_store_empty() {
    return g_antenna_info_store == nullptr || g_antenna_info_store->antenna_info_storage == nullptr ||
           g_antenna_info_store->num_antenna_info == 0;
}

void set_up_models(RUNTIME_POD_EMBED* pod) {
    report(ULOG_INFO_LEVEL, "startup the pod_embed from embed version!");
    initialize_global_eph_planet();
    initialize_global_earth_rotation_param();
    initialize_global_earth_gravity();
    sysGNSS systems[1] = {BDS};
    set_gnssconfig_system(&gnssconfig, 1, systems);
    g_brdc_storage = &pod->brdc_storage;
    g_eph_selection = EPHOPT_BRDC;
    // settled: the built-in antenna keeps GPS bands, though BDS alone is processed
    if (antenna_store_empty()) set_default_antenna(pod->ant_info_rcv);
    load_eph_storage_default(&pod->jpl_header, pod->jpl_eph_data);
    g_eph_header = &pod->jpl_header;
    g_ephData_storage = pod->jpl_eph_data;
    load_eops_default(pod->eop_storage, 3);
}

}  // namespace

void startup_pod_embed(RUNTIME_POD_EMBED* runtime_pod, bool test_env_initialized) {
    report(ULOG_INFO_LEVEL, "pod_embed startup");
    runtime_pod->index_object = 0;
    runtime_pod->num_orb_store = 0;
    runtime_pod->num_clk_store = 0;
    runtime_pod->obs_num = 0;
    clear_parameters(runtime_pod);
    runtime_pod->nsat_used = 0;
    clear_list(runtime_pod->satlist_satindex_now);
    clear_list(runtime_pod->satlist_used_in_obsepoch);
    runtime_pod->nsat_used_last = 0;
    clear_list(runtime_pod->satlist_satindex_last);
    clear_list(runtime_pod->satlist_used_in_obsepoch_last);
    std::memset(runtime_pod->X, 0, sizeof runtime_pod->X);
    std::memset(runtime_pod->DX, 0, sizeof runtime_pod->DX);
    runtime_pod->orbit_integration_progress = kNoArc;
    initialize_orbit_conifig_embed(&runtime_pod->orbit_dyn_config);
    initialize_state_spacecraft_embed(&runtime_pod->orbit_dyn_config, &runtime_pod->state_satellite);
    runtime_pod->sln_orbit_interval = 300.0;
    for (SAT_STATE& state : runtime_pod->state_sat_all) {
        state.flag_slip[0] = 2;
        state.flag_slip[1] = 2;
    }
    if (test_env_initialized) {
        fetch_antenna(runtime_pod);
    } else {
        set_up_models(runtime_pod);
    }
}

bool update_gnss_observation(const OBSDATA_EPOCH* obs_data, RUNTIME_POD_EMBED* runtime_pod) {
    if (runtime_pod->obs_num < 0 || runtime_pod->obs_num > 2) return true;
    if (runtime_pod->obs_num > 0) runtime_pod->obs_epoch[1] = runtime_pod->obs_epoch[0];
    OBSDATA_EPOCH& newest = runtime_pod->obs_epoch[0];
    newest = *obs_data;
    if (runtime_pod->obs_num < 2) ++runtime_pod->obs_num;

    warn_of_excess(newest);
    newest.sat_num = clamp_count(newest.sat_num, MAXSAT_EPOCH);
    for (OBSDATA_SAT& sat : newest.satobs) sat.num_obs = clamp_count(sat.num_obs, MAXOBS_PER_SAT);
    return true;
}

bool update_gnss_ephemeris_gps(EPHREC_GPS*) { return true; }

bool update_gnss_ephemeris_glo(EPHREC_GLO*) { return true; }

bool update_gnss_ephemeris_pre(EPHREC_GLO*) { return true; }

// --- stages of the epoch ---------------------------------------------------------------------------------------------

namespace {

/// True if a tag lies within a hundredth of the interval of one of its multiples.
bool aligned_to_interval(double sod, double interval) {
    if (!(std::fabs(interval) > 1e-6)) return true;
    const double remainder = std::fmod(sod, interval);
    return std::fabs(remainder) < 0.01 * interval || std::fabs(remainder - interval) < 0.01 * interval;
}

/// Initial condition of an arc from the two newest stored positions.
void start_arc(RUNTIME_POD_EMBED* pod) {
    const GTime utc_now = gtimeChangeTimeSystem(pod->dataset_orbit[0].epoch_gpst, tsUTC);
    const GTime utc_pre = gtimeChangeTimeSystem(pod->dataset_orbit[1].epoch_gpst, tsUTC);
    const double mjd_utc_now = gtime2mjd(utc_now);
    const double mjd_utc_pre = gtime2mjd(utc_pre);
    const double leapsec_now = getLeapSecond(mjd_utc_now);
    [[maybe_unused]] const double leapsec_pre =
        getLeapSecond(mjd_utc_pre);  // settled: the earlier leap second is read by nobody
    double pos_eci_now[3] = {};
    double pos_eci_pre[3] = {};
    ecf2eci(mjd_utc_now, leapsec_now, pod->dataset_orbit[0].pos_ecf, nullptr, pos_eci_now, nullptr);
    // settled: the arc start uses one leap-second value
    ecf2eci(mjd_utc_pre, leapsec_now, pod->dataset_orbit[1].pos_ecf, nullptr, pos_eci_pre, nullptr);

    STATE_SPACECRAFT& state = pod->state_satellite;
    state.utc_start = utc_now;
    state.sec_since_start = 0.0;
    for (int c = 0; c < 3; ++c) {
        state.pos_eci[c] = pos_eci_now[c];
        state.vel_eci[c] = (pos_eci_now[c] - pos_eci_pre[c]) / (mjd_utc_now - mjd_utc_pre) / kDay;
    }
    pod->orbit_integration_progress = 0;
    report(ULOG_INFO_LEVEL,
           "set the initial condition for orbit integration. "
           "utc=%s, x_eci=%14.3lf,y_eci=%14.3lf,z_eci=%14.3lf,vx=%14.8lf,vy=%14.8lf,vz=%14.8lf",
           TimeText(utc_now).text, state.pos_eci[0], state.pos_eci[1], state.pos_eci[2], state.vel_eci[0],
           state.vel_eci[1], state.vel_eci[2]);
}

/// Counts the epochs of the open arc. Nothing is integrated.
void count_arc(RUNTIME_POD_EMBED* pod) {
    bool integrate_check = false;
    if (pod->orbit_integration_progress >= 0 && pod->orbit_integration_progress <= 9) {
        integrate_check = true;
        ++pod->orbit_integration_progress;
    }
    if (pod->orbit_integration_progress > 9 && !integrate_check) {
        [[maybe_unused]] const double pos_obs[3] = {};  // settled: a position that is read by nobody
        pod->orbit_integration_progress = kNoArc;
    }
}

void zero_row_and_column(double* matrix, int i) {
    for (int j = 0; j < MAXNUM_X; ++j) {
        matrix[i * MAXNUM_X + j] = 0.0;
        matrix[j * MAXNUM_X + i] = 0.0;
    }
}

/// A parameter that took no part in this epoch carries no state into the next one.
void clean_up_inactive(RUNTIME_POD_EMBED* pod) {
    const int* end = pod->index_param_X + clamp_count(pod->num_param, MAXNUM_X);
    for (int i = 0; i < MAXNUM_X; ++i) {
        if (std::find(static_cast<const int*>(pod->index_param_X), end, i) != end) continue;
        pod->X[i] = 0.0;
        zero_row_and_column(pod->DX, i);
    }
}

void roll_lists(RUNTIME_POD_EMBED* pod) {
    std::copy_n(pod->satlist_used_in_obsepoch, MAXSAT_EPOCH, pod->satlist_used_in_obsepoch_last);
    pod->nsat_used_last = pod->nsat_used;
    std::copy_n(pod->satlist_satindex_now, MAXSAT_EPOCH, pod->satlist_satindex_last);
    clear_list(pod->satlist_satindex_now);
    clear_list(pod->satlist_used_in_obsepoch);
    std::fill_n(pod->param_list, MAXNUM_X, kNoParam);
    clear_parameters(pod);
}

/// Sun at the receive time, earth-fixed.
void sun_position(const RUNTIME_POD_EMBED* pod, ModelEpoch& epoch) {
    if (epoch.sun_known) return use_rotation(epoch.sun_rotation);
    const GTime tt = gtimeChangeTimeSystem(pod->time_now, tsTT);
    const double mjd_utc = gtime2mjd(gtimeChangeTimeSystem(pod->time_now, tsUTC));
    double sunposvel_eci[6] = {};
    epoch.sun_known = compute_planet_pos_vel(static_cast<double>(tt.time.mjd) + tt.time.sod / kDay + kMjdToJd, EARTH,
                                             SUN, sunposvel_eci);
    for (int c = 0; c < 3; ++c) sunposvel_eci[c] *= 1000.0;  // settled: the velocity stays in km/s; nothing reads it
    if (!epoch.sun_rotation.ready) epoch.sun_rotation = {mjd_utc, static_cast<double>(getLeapSecond(mjd_utc))};
    turn_to_ecf(epoch.sun_rotation, sunposvel_eci, sunposvel_eci + 3, epoch.sunposvel_ecf, epoch.sunposvel_ecf + 3);
}

/// One evaluation of the measurement model at the present state.
int update_measurement(RUNTIME_POD_EMBED* pod, ModelEpoch& epoch, double* H, double* R, double* V, int max_nobs,
                       int max_nx) {
    sun_position(pod, epoch);
    return model_zd_gnss(
        epoch, {pod->nsat_used, pod->satlist_used_in_obsepoch, pod->satlist_satindex_now, &pod->obs_epoch[0],
                epoch.sunposvel_ecf, &pod->att_rcv, &pod->ant_info_rcv, pod->num_param, pod->param_list,
                pod->index_param_X, get_index_param_pod_embed, pod->X, pod->state_sat_all, max_nobs, max_nx, H, V, R});
}

/// Appends printed text to a buffer, as far as it fits.
template <std::size_t size, typename... Args>
void append_text(char (&text)[size], std::size_t& used, const char* format, Args... args) {
    const int n = print(text + used, size - used, format, args...);
    if (n > 0) used = std::min(used + static_cast<std::size_t>(n), size - 1);
}

void report_residuals(int iteration, int nobs, const double* V) {
    if (!heard(ULOG_DEBUG_LEVEL)) return;
    char text[2048];
    std::size_t used = 0;
    append_text(text, used, "residual[iter=%d]:\n", iteration);
    for (int i = 0; i < nobs; ++i) append_text(text, used, "%18.5lf", V[i]);
    report(ULOG_DEBUG_LEVEL, "%s", text);
}

/// The filter's part of an epoch.
bool solve_clk_offset(RUNTIME_POD_EMBED* pod, ModelEpoch& epoch) {
    double H[kMaxRows * MAXNUM_X] = {};
    double R[kMaxRows * kMaxRows] = {};
    double V[kMaxRows] = {};
    update_temperal_clock_solution(pod);
    update_measurement(pod, epoch, H, R, V, kMaxRows, MAXNUM_X);
    // the outcome is not examined, but for missing memory, which leaves X and DX as predicted
    const bool filtered = filter_active(pod->X, pod->DX, H, V, R, MAXNUM_X, kMaxRows) != kNoMemory;
    constexpr int iteration = 1;
    const int nobs = update_measurement(pod, epoch, H, R, V, kMaxRows, MAXNUM_X);
    report_residuals(iteration, nobs, V);
    return filtered;
}

}  // namespace

void run_single_pod_embed(OBSDATA_EPOCH* obs_data, RUNTIME_POD_EMBED* runtime_pod) {
    if (!update_gnss_observation(obs_data, runtime_pod)) {
        report(ULOG_ERROR_LEVEL, "update_gnss_observation return false");
        return;
    }
    OBSDATA_EPOCH* obs_now = &runtime_pod->obs_epoch[0];
    const GTime ct_gps = obs_now->epoch_time;
    // settled: the day number of the tag is read by nobody
    [[maybe_unused]] const double mjd_tag = static_cast<double>(ct_gps.time.mjd) + ct_gps.time.sod / kDay;
    const TimeText tag(ct_gps, heard(ULOG_INFO_LEVEL));
    report(ULOG_INFO_LEVEL, "run_single_pod() at epoch: %s", tag.text);
    // settled: the alignment gates no stage, every epoch runs the full pipeline
    [[maybe_unused]] const bool solve_orbit = aligned_to_interval(ct_gps.time.sod, runtime_pod->sln_orbit_interval);

    choose_observation(obs_now);
    runtime_pod->nsat_used =
        choose_satellite(obs_now, runtime_pod->satlist_used_in_obsepoch, runtime_pod->satlist_satindex_now);
    report(ULOG_INFO_LEVEL, "epoch: %s,nsat_used=%d", tag.text, runtime_pod->nsat_used);
    for (int i = 0; i < clamp_count(runtime_pod->nsat_used, MAXSAT_EPOCH); ++i) {
        const int satindex = runtime_pod->satlist_satindex_now[i];
        sysGNSS satsys = UKNSYS;
        int prn = -1;
        satindex2sysprn(satindex, &satsys, &prn);
        report(ULOG_INFO_LEVEL, "satindex=%d, sys=%d, prn=%d", satindex, satsys, prn);
    }

    if (!get_att_quaternion(runtime_pod->index_object, ct_gps, &runtime_pod->att_rcv)) {
        report(ULOG_WARNING_LEVEL, "receiver attitude information is invalid!");
    }
    const SOLUTION& sln = runtime_pod->sln_kine;
    ModelEpoch model_epoch;
    const STATUS_SOL status = point_position(model_epoch, obs_now, &runtime_pod->ant_info_rcv, &runtime_pod->sln_kine);
    if (status != SOL_OK) {
        report(ULOG_WARNING_LEVEL, "pseudorange_point_positioning failed [%d]", status);
        return;
    }
    report(ULOG_INFO_LEVEL, "spp: %s %14.4f %14.4f %14.4f %14.4f", tag.text, sln.pos_vel_clk[0], sln.pos_vel_clk[1],
           sln.pos_vel_clk[2], sln.pos_vel_clk[6]);

    // settled: the first system's clock defines receive time for all systems
    const int sys_index = get_gnssconfig_sys_index(gnssconfig.sys_used[0], &gnssconfig);
    const double rcv_clock_offset = sln.pos_vel_clk[kFirstClock + sys_index] / kSpeedOfLight;
    runtime_pod->time_now = gtimeChangeTimeSystem(gtimeAddSec(ct_gps, -rcv_clock_offset), tsGPST);

    get_gf_mw(obs_now, &gnssconfig, runtime_pod->state_sat_all);
    if (g_eph_selection == EPHOPT_PREC) fill_ant_info_gnss(obs_now, &gnssconfig, runtime_pod->state_sat_all);
    solve_clk_offset(runtime_pod, model_epoch);
    report(ULOG_INFO_LEVEL, "ppp: %s %14.4f %14.4f %14.4f %14.4f", tag.text, runtime_pod->X[0], runtime_pod->X[1],
           runtime_pod->X[2], runtime_pod->X[kFirstClock]);

    if (runtime_pod->num_orb_store > 2 && runtime_pod->orbit_integration_progress == kNoArc) start_arc(runtime_pod);
    count_arc(runtime_pod);
    clean_up_inactive(runtime_pod);
    store_data_orbit(runtime_pod);
    store_data_clock(runtime_pod);
    roll_lists(runtime_pod);
}

// --- stored results, and the seed of position, velocity and clocks ---------------------------------------------------

namespace {

/// Slots of position and velocity.
void state_slots(RUNTIME_POD_EMBED* pod, int (&slots)[6]) {
    for (int i = 0; i < 6; ++i) {
        slots[i] = get_index_param_pod_embed(static_cast<PARAM_TYPE>(param_RX_POS_X + i), UKNSYS, -1, 0,
                                             pod->satlist_satindex_now);
    }
}

/// Puts an entry at the front of a store of five.
template <typename Entry>
void push_front(Entry (&store)[kStoreDepth], int& n, const Entry& entry) {
    if (n < 0 || n > kStoreDepth) return;
    // settled: below a full store one entry fewer moves than is held, so the very first entry is lost
    for (int j = n - 1; j >= 1; --j) store[j] = store[j - 1];
    store[0] = entry;
    if (n < kStoreDepth) ++n;
}

}  // namespace

void store_data_orbit(RUNTIME_POD_EMBED* runtime_pod) {
    int slots[6];
    state_slots(runtime_pod, slots);
    DATA_ORBIT entry = {};
    entry.epoch_gpst = runtime_pod->time_now;
    for (int c = 0; c < 3; ++c) {
        entry.pos_ecf[c] = runtime_pod->X[slots[c]];
        entry.vel_ecf[c] = runtime_pod->X[slots[3 + c]];
    }
    push_front(runtime_pod->dataset_orbit, runtime_pod->num_orb_store, entry);
}

namespace {

/// Clock parameter of a system; false for a system without one.
bool clock_parameter(sysGNSS satsys, PARAM_TYPE& type) {
    switch (satsys) {
        case GPS:
            type = param_RX_GPS_CLK;
            return true;
        case BDS:
            type = param_RX_BDS_CLK;
            return true;
        case GAL:
            type = param_RX_GAL_CLK;
            return true;
        default:
            return false;
    }
}

int clock_slot(RUNTIME_POD_EMBED* pod, int j, PARAM_TYPE& type) {
    const sysGNSS satsys = gnssconfig.sys_used[j];
    return clock_parameter(satsys, type) ? get_index_param_pod_embed(type, satsys, -1, 0, pod->satlist_satindex_now)
                                         : -1;
}

}  // namespace

void store_data_clock(RUNTIME_POD_EMBED* runtime_pod) {
    DATA_CLK entry = {};
    entry.epoch_gpst = runtime_pod->time_now;
    int slot = -1;
    for (int j = 0; j < clamp_count(gnssconfig.num_sys, MAXNUM_SYS); ++j) {
        PARAM_TYPE type = kNoParam;
        // settled: a system without a clock parameter takes the slot of the one before it
        if (clock_parameter(gnssconfig.sys_used[j], type)) slot = clock_slot(runtime_pod, j, type);
        entry.clk_offset[j] = slot < 0 ? 0.0 : runtime_pod->X[slot] / kSpeedOfLight;
    }
    push_front(runtime_pod->dataset_clk, runtime_pod->num_clk_store, entry);
}

namespace {

/// Activates a parameter of this epoch.
void append_parameter(RUNTIME_POD_EMBED* pod, PARAM_TYPE type, int slot) {
    if (pod->num_param < 0 || pod->num_param >= MAXNUM_X) return;
    pod->param_list[pod->num_param] = type;
    pod->index_param_X[pod->num_param] = slot;
    ++pod->num_param;
}

void seed(RUNTIME_POD_EMBED* pod, PARAM_TYPE type, int slot, double value, double variance) {
    if (slot < 0 || slot >= MAXNUM_X) return;
    pod->X[slot] = value;
    pod->DX[slot * MAXNUM_X + slot] = variance;
    append_parameter(pod, type, slot);
}

bool seed_from_point_position(RUNTIME_POD_EMBED* pod, const int (&slots)[6]) {
    const SOLUTION& sln = pod->sln_kine;
    if (sln.status != SOL_OK) {
        report(ULOG_ERROR_LEVEL, "kinematic solution status = %d)", sln.status);
        return false;
    }
    for (int i = 0; i < 6; ++i) {  // settled: the velocity of a point position is 0
        seed(pod, static_cast<PARAM_TYPE>(param_RX_POS_X + i), slots[i], sln.pos_vel_clk[i],
             i < 3 ? gnssconfig.var_pos : gnssconfig.var_vel);
    }
    for (int j = 0; j < clamp_count(gnssconfig.num_sys, MAXNUM_SYS); ++j) {
        PARAM_TYPE type = kNoParam;
        const int slot = clock_slot(pod, j, type);
        seed(pod, type, slot, sln.pos_vel_clk[kFirstClock + j], gnssconfig.var_clk);
    }
    return true;
}

/// Value and rate at ct out of a store of five; zero where it can't be interpolated.
template <typename Entry, typename Value>
void interpolate_store(Entry (&store)[kStoreDepth], GTime ct, Value value_of, double (&value_and_rate)[2]) {
    double time_sec[kStoreDepth];
    double values[kStoreDepth];
    int count = 0;
    for (const Entry& entry : store) {
        if (entry.epoch_gpst.sys == UKNTS) continue;
        time_sec[count] = gtimeSubSec(entry.epoch_gpst, ct);
        values[count++] = value_of(entry);
    }
    value_and_rate[0] = value_and_rate[1] = 0.0;
    if (count > 1) interpolation_Lagrange_Barycentric(time_sec, values, count, 0.0, value_and_rate);
}

bool seed_from_stores(RUNTIME_POD_EMBED* pod, GTime ct, const int (&slots)[6]) {
    report(ULOG_INFO_LEVEL, "get_initial_pos_vel_clk(): use the interpolated position and velocity!");
    double axis[3][2];
    for (int c = 0; c < 3; ++c) {
        interpolate_store(
            pod->dataset_orbit, ct, [c](const DATA_ORBIT& entry) { return entry.pos_ecf[c]; }, axis[c]);
    }
    for (int i = 0; i < 6; ++i) {
        seed(pod, static_cast<PARAM_TYPE>(param_RX_POS_X + i), slots[i], axis[i % 3][i / 3], i < 3 ? 0.01 : 0.0001);
    }
    for (int j = 0; j < clamp_count(gnssconfig.num_sys, MAXNUM_SYS); ++j) {
        double clock[2];
        interpolate_store(
            pod->dataset_clk, ct, [j](const DATA_CLK& entry) { return entry.clk_offset[j]; }, clock);
        PARAM_TYPE type = kNoParam;
        const int slot = clock_slot(pod, j, type);
        // settled: the seconds of the store are not scaled back to metres
        seed(pod, type, slot, clock[0], gnssconfig.var_clk);
    }
    return true;
}

/// Entries of the orbit store that carry a time.
int usable_orbits(const RUNTIME_POD_EMBED* pod) {
    return static_cast<int>(std::count_if(std::begin(pod->dataset_orbit), std::end(pod->dataset_orbit),
                                          [](const DATA_ORBIT& entry) { return entry.epoch_gpst.sys != UKNTS; }));
}

}  // namespace

bool get_initial_pos_vel_clk(RUNTIME_POD_EMBED* pod_runtime) {
    const GTime ct = pod_runtime->time_now;
    int slots[6];
    state_slots(pod_runtime, slots);
    // settled: a store in time order never has its newest entry before ct and its oldest behind, so the stores are not used
    const bool interpolate = gtime_less(pod_runtime->dataset_orbit[0].epoch_gpst, ct) &&
                             gtime_greater(pod_runtime->dataset_orbit[kStoreDepth - 1].epoch_gpst, ct) &&
                             usable_orbits(pod_runtime) > 1;
    return interpolate ? seed_from_stores(pod_runtime, ct, slots) : seed_from_point_position(pod_runtime, slots);
}

namespace {

bool valid_satindex(int satindex) { return satindex >= 0 && satindex < MAXSAT_GNSS; }

}  // namespace

void fill_ant_info_gnss(OBSDATA_EPOCH* obs_epoch, GNSSCONFIG* gnsscfg, SAT_STATE* runtime_state) {
    if (obs_epoch == nullptr || obs_epoch->flag_epoch != OBS_OK) return;
    const double mjd = gtime2mjd(obs_epoch->epoch_time);
    for (int i = 0; i < clamp_count(obs_epoch->sat_num, MAXSAT_EPOCH); ++i) {
        const OBSDATA_SAT& sat = obs_epoch->satobs[i];
        const int satindex = satsysprn2index(sat.satsys, sat.prn);
        // settled: both texts carry the name of the slip detection
        if (sat.flag_sat != OBS_OK) {
            report(ULOG_WARNING_LEVEL, "get_gf_mw(): sys=%d,prn=%d,satindex=%d, flag_sat[%d]!=OBS_OK", sat.satsys,
                   sat.prn, satindex, sat.flag_sat);
        } else if (get_gnssconfig_sys_index(sat.satsys, gnsscfg) == -1) {
            report(ULOG_WARNING_LEVEL, "get_gf_mw(): sys=%d,prn=%d,satindex=%d, satsys(%d) not in gnssconfig",
                   sat.satsys, sat.prn, satindex, sat.satsys);
        } else if (valid_satindex(satindex)) {
            runtime_state[satindex].ant_info = search_ant_info(satindex, nullptr, mjd);
        }
    }
}

int get_index_param_pod_embed(PARAM_TYPE pt, sysGNSS satsys, int prn, int ifreq, int* satlist_satindex) {
    const int num_sys = clamp_count(gnssconfig.num_sys, MAXNUM_SYS);
    switch (pt) {
        case param_RX_POS_X:
        case param_RX_POS_Y:
        case param_RX_POS_Z:
        case param_RX_VEL_X:
        case param_RX_VEL_Y:
        case param_RX_VEL_Z:
            return pt - param_RX_POS_X;
        case param_RX_GPS_CLK:
        case param_RX_BDS_CLK:
        case param_RX_GAL_CLK: {
            const sysGNSS clock_system = pt == param_RX_GPS_CLK ? GPS : pt == param_RX_BDS_CLK ? BDS : GAL;
            const int sys_index = get_gnssconfig_sys_index(clock_system, &gnssconfig);
            return sys_index == -1 ? -1 : kFirstClock + sys_index;
        }
        case param_ZWD:
            return kFirstClock + num_sys;  // settled: shared with the first ambiguity; not used in this pipeline
        case param_AMB: {
            const int satindex = satsysprn2index(satsys, prn);
            for (int j = 0; satlist_satindex != nullptr && satindex >= 0 && j < MAXSAT_EPOCH; ++j) {
                if (satlist_satindex[j] == satindex) return kFirstClock + num_sys + 2 * j + ifreq;
            }
            break;
        }
        default:
            break;
    }
    report(ULOG_ERROR_LEVEL, "param name not supported!");
    return -1;
}

bool pod_embed_solve_clk_offset(OBSDATA_EPOCH*, RUNTIME_POD_EMBED* runtime_pod) {
    ModelEpoch epoch;
    return solve_clk_offset(runtime_pod, epoch);
}

namespace {

[[noreturn]] void stop() { std::exit(1); }

}  // namespace

void update_temperal_clock_solution(RUNTIME_POD_EMBED* runtime_pod) {
    get_initial_pos_vel_clk(runtime_pod);
    get_initial_ambiguity_test(runtime_pod);
    if (runtime_pod->num_param == 0) {
        report(ULOG_ERROR_LEVEL, "runtime_pod->num_param=0");
        stop();
    }
}

int update_measurement_clock_solution(RUNTIME_POD_EMBED* runtime_pod, double* H, double* R, double* V, int max_nobs,
                                      int max_nx) {
    ModelEpoch epoch;
    return update_measurement(runtime_pod, epoch, H, R, V, max_nobs, max_nx);
}

// --- ambiguities -----------------------------------------------------------------------------------------------------

namespace {

/// What the transfer of ambiguities collects over the chosen satellites.
struct Transfer {
    int idx_amb_in_last_epoch[kMaxAmb] = {};
    int idx_amb_in_current_epoch[kMaxAmb] = {};
    int idx_cycle_slip[kMaxAmb] = {};
    int num = 0;
    int idx_amb0_now = 0;  // first ambiguity slot
};

/// Texts in which the three transfers differ.
struct TransferNames {
    const char* first_epoch;
    const char* slip;
};

/// A chosen satellite of this epoch; null when its position is not one of the epoch or it is not usable.
const OBSDATA_SAT* chosen_satellite(const RUNTIME_POD_EMBED* pod, int i) {
    const int isat = pod->satlist_used_in_obsepoch[i];
    if (isat < 0 || isat >= MAXSAT_EPOCH) return nullptr;
    const OBSDATA_SAT* sat = &pod->obs_epoch[0].satobs[isat];
    return sat->flag_sat == OBS_OK ? sat : nullptr;
}

/// Ambiguities of a satellite: one per frequency, or one of the ionosphere-free combination.
int ambiguities_of(sysGNSS satsys) {
    const int isys = get_gnssconfig_sys_index(satsys, &gnssconfig);
    if (isys < 0) return 0;
    return gnssconfig.opt_IF[isys] == 1 ? 1 : clamp_count(gnssconfig.num_freq[isys], 2);
}

double code_ambiguity(const RUNTIME_POD_EMBED* pod, int satindex, int k) {
    return valid_satindex(satindex) ? pod->state_sat_all[satindex].amb_float[k] : 0.0;
}

void set_ambiguities_first_epoch(RUNTIME_POD_EMBED* pod, const TransferNames& names) {
    report(ULOG_INFO_LEVEL, "set ambiguity at the first epoch. runtime_pod->nsat_used_last=%d", pod->nsat_used_last);
    for (int i = 0; i < clamp_count(pod->nsat_used, MAXSAT_EPOCH); ++i) {
        const OBSDATA_SAT* sat = chosen_satellite(pod, i);
        if (sat == nullptr) continue;
        const int satindex = pod->satlist_satindex_now[i];
        if (satindex == -1) {
            report(ULOG_WARNING_LEVEL, "get_initial_ambiguity(): satidx = %d , sys = %d, prn = %d", satindex,
                   sat->satsys, sat->prn);
        }
        for (int k = 0; k < ambiguities_of(sat->satsys); ++k) {
            const int idx_amb =
                get_index_param_pod_embed(param_AMB, sat->satsys, sat->prn, k, pod->satlist_satindex_now);
            if (idx_amb < 0 || idx_amb >= MAXNUM_X) {
                report(ULOG_ERROR_LEVEL, "%s idx_amb=-1, sys=%d, prn=%%,satindex=%d", names.first_epoch, sat->satsys,
                       satindex);
                stop();
            }
            zero_row_and_column(pod->DX, idx_amb);
            seed(pod, param_AMB, idx_amb, code_ambiguity(pod, satindex, k), gnssconfig.var_bias);
        }
    }
}

/// First ambiguity slot of a list, by its first satellite.
int first_ambiguity_slot(int* satlist) {
    sysGNSS satsys = UKNSYS;
    int prn = -1;
    satindex2sysprn(satlist[0], &satsys, &prn);
    return get_index_param_pod_embed(param_AMB, satsys, prn, 0, satlist);
}

/// Slot of an ambiguity at the last epoch, -1 for a new one. A satellite that was in the list without taking part (its slot was
/// cleaned up, state and variance exactly zero) is new as well: it would enter with a frozen zero otherwise.
int last_slot(RUNTIME_POD_EMBED* pod, const OBSDATA_SAT& sat, int satindex, int k) {
    const int idx = get_index_param_pod_embed(param_AMB, sat.satsys, sat.prn, k, pod->satlist_satindex_last);
    if (idx >= MAXNUM_X) {
        report(ULOG_ERROR_LEVEL,
               "update_temperal_clock_solution(): idx_amb_last[%d] > MAXNUM_X[%d], prn=%d, satindex=%d", idx,
               static_cast<int>(MAXNUM_X), sat.prn, satindex);
        stop();
    }
    const bool cleaned_up = idx >= 0 && pod->X[idx] == 0.0 && pod->DX[idx * MAXNUM_X + idx] == 0.0;
    if (idx >= 0 && !cleaned_up) return idx;
    report(ULOG_WARNING_LEVEL, "idx_amb_last==-1,satsys=%d,prn=%d", sat.satsys, sat.prn);
    return -1;
}

/// Moves the states to their slots of this epoch, registers the ambiguities, and keeps which slot came from where.
void transfer_state(RUNTIME_POD_EMBED* pod, const TransferNames& names, Transfer& transfer) {
    double x_temp[MAXNUM_X] = {};
    transfer.idx_amb0_now = clamp_count(first_ambiguity_slot(pod->satlist_satindex_now), MAXNUM_X);
    // settled: the first slot of the last list is read by nobody
    [[maybe_unused]] const int idx_amb0_last = first_ambiguity_slot(pod->satlist_satindex_last);
    std::copy_n(pod->X, transfer.idx_amb0_now, x_temp);

    int& num = transfer.num;
    for (int i = 0; i < clamp_count(pod->nsat_used, MAXSAT_EPOCH); ++i) {
        const OBSDATA_SAT* sat = chosen_satellite(pod, i);
        if (sat == nullptr) continue;
        const int satindex = pod->satlist_satindex_now[i];
        for (int k = 0; k < ambiguities_of(sat->satsys); ++k) {
            const int idx_amb =
                get_index_param_pod_embed(param_AMB, sat->satsys, sat->prn, k, pod->satlist_satindex_now);
            if (idx_amb == -1 || !valid_satindex(satindex)) {
                report(ULOG_ERROR_LEVEL,
                       "update_temperal_clock_solution(): idx_amb=-1, sys=%d, prn=%%,satindex=%d, stopping!",
                       sat->satsys, satindex);
                stop();
            }
            if (idx_amb >= MAXNUM_X) {
                report(ULOG_ERROR_LEVEL, "update_temperal_clock_solution(): idx_amb > MAXNUM_X");
                stop();
            }
            const int idx_amb_last = last_slot(pod, *sat, satindex, k);
            const double amb_float = code_ambiguity(pod, satindex, k);
            if (pod->state_sat_all[satindex].flag_slip[k] == 0) {
                x_temp[idx_amb] = idx_amb_last == -1 ? amb_float : pod->X[idx_amb_last];
            } else {
                x_temp[idx_amb] = amb_float;
                transfer.idx_cycle_slip[num] = 1;
                report(ULOG_DEBUG_LEVEL,
                       "%s found cycle slip, reset ambiguity, satidx=%d,idx_amb=%d,num=%d, sys=%d, prn=%d, amb=%lf",
                       names.slip, satindex, idx_amb, num, sat->satsys, sat->prn, x_temp[idx_amb]);
            }
            transfer.idx_amb_in_current_epoch[num] = idx_amb;
            transfer.idx_amb_in_last_epoch[num] = idx_amb_last;
            ++num;
            append_parameter(pod, param_AMB, idx_amb);
        }
    }
    std::copy_n(x_temp, MAXNUM_X, pod->X);
    if (num > kMaxAmb - 1) report(ULOG_ERROR_LEVEL, "num=%d,maxsize=%d", num, kMaxAmb);
}

double& element(double* matrix, int row, int column) { return matrix[row * MAXNUM_X + column]; }

void check_row(int idx_now_row) {
    if (idx_now_row != -1) return;
    report(ULOG_ERROR_LEVEL, "get_initial_ambiguity(): idx_now_row=%d", idx_now_row);
    stop();
}

/// Common frame of the three transfers; move_covariance is where they differ.
template <typename MoveCovariance>
void set_ambiguities(RUNTIME_POD_EMBED* pod, const TransferNames& names, MoveCovariance move_covariance) {
    get_amb_from_pseudorange(&pod->obs_epoch[0], pod->state_sat_all);
    if (pod->nsat_used_last == 0) {
        set_ambiguities_first_epoch(pod, names);
        return;
    }
    Transfer transfer;
    transfer_state(pod, names, transfer);
    move_covariance(pod->DX, transfer);
}

/// Covariance of the transfer in use: through a second matrix, both triangles, with process noise.
void move_covariance_test(double* DX, const Transfer& t) {
    double dx_temp[MAXNUM_X * MAXNUM_X] = {};
    bool idx_amb_new_sat_tag[kMaxAmb] = {};
    for (int r = 0; r < t.idx_amb0_now; ++r) {
        for (int c = 0; c < t.idx_amb0_now; ++c) element(dx_temp, r, c) = element(DX, r, c);
    }
    for (int i = 0; i < t.num; ++i) {
        const int idx_now_row = t.idx_amb_in_current_epoch[i];
        const int idx_last_row = t.idx_amb_in_last_epoch[i];
        check_row(idx_now_row);
        if (idx_last_row == -1) {
            element(dx_temp, idx_now_row, idx_now_row) = gnssconfig.var_bias;
        } else {
            for (int j = 0; j < t.idx_amb0_now; ++j) {
                element(dx_temp, idx_now_row, j) = element(DX, idx_last_row, j);
                element(dx_temp, j, idx_now_row) = element(DX, idx_last_row, j);
            }
            for (int k = 0; k < t.num; ++k) {
                const int idx_now_col = t.idx_amb_in_current_epoch[k];
                const int idx_last_col = t.idx_amb_in_last_epoch[k];
                if (idx_last_col == -1) {
                    if (!idx_amb_new_sat_tag[k]) element(dx_temp, idx_now_col, idx_now_col) = gnssconfig.var_bias;
                    idx_amb_new_sat_tag[k] = true;
                    continue;
                }
                // settled: diagonal and off-diagonal elements alike; the only process noise of the filter
                const double value = element(DX, idx_last_row, idx_last_col) + kAmbiguityNoise;
                element(dx_temp, idx_now_row, idx_now_col) = value;
                element(dx_temp, idx_now_col, idx_now_row) = value;
            }
        }
        // settled: a slip resets the variance alone, the cross-covariances stay
        if (t.idx_cycle_slip[i] == 1 && idx_last_row != -1)
            element(dx_temp, idx_now_row, idx_now_row) = gnssconfig.var_bias;
    }
    std::memcpy(DX, dx_temp, sizeof dx_temp);
}

}  // namespace

void get_initial_ambiguity_test(RUNTIME_POD_EMBED* runtime_pod) {
    set_ambiguities(runtime_pod, {"get_initial_ambiguity_test():", "get_initial_ambiguity_test():"},
                    move_covariance_test);
}

namespace {

/// Row of a transferred ambiguity in the two alternatives: no mirror element, no process noise.
void fill_row(double* row, double* DX, const Transfer& t, int i) {
    const int idx_now_row = t.idx_amb_in_current_epoch[i];
    const int idx_last_row = t.idx_amb_in_last_epoch[i];
    if (idx_last_row == -1) {
        row[idx_now_row] = gnssconfig.var_bias;
    } else {
        for (int j = 0; j < t.idx_amb0_now; ++j) row[j] = element(DX, idx_last_row, j);
        for (int k = 0; k < t.num; ++k) {
            const int idx_last_col = t.idx_amb_in_last_epoch[k];
            row[t.idx_amb_in_current_epoch[k]] =
                idx_last_col == -1 ? gnssconfig.var_bias : element(DX, idx_last_row, idx_last_col);
        }
    }
    if (t.idx_cycle_slip[i] == 1) row[idx_now_row] = gnssconfig.var_bias;
}

/// Covariance of the first alternative: through a full copy, cleaned up at the end.
void move_covariance_copy(double* DX, const Transfer& t) {
    double dx_temp[MAXNUM_X * MAXNUM_X];
    std::memcpy(dx_temp, DX, sizeof dx_temp);
    int last_used = t.idx_amb0_now - 1;
    for (int i = 0; i < t.num; ++i) {
        const int idx_now_row = t.idx_amb_in_current_epoch[i];
        check_row(idx_now_row);
        fill_row(dx_temp + idx_now_row * MAXNUM_X, DX, t, i);
        last_used = std::max(last_used, idx_now_row);
    }
    for (int i = 0; i < t.num; ++i) {
        if (t.idx_amb_in_last_epoch[i] != -1) continue;
        const int idx_new = t.idx_amb_in_current_epoch[i];
        zero_row_and_column(dx_temp, idx_new);
        element(dx_temp, idx_new, idx_new) = gnssconfig.var_bias;
    }
    for (int slot = last_used + 1; slot < MAXNUM_X; ++slot) zero_row_and_column(dx_temp, slot);
    std::memcpy(DX, dx_temp, sizeof dx_temp);
}

}  // namespace

void get_initial_ambiguity(RUNTIME_POD_EMBED* runtime_pod) {
    set_ambiguities(runtime_pod, {"get_initial_ambiguity():", "get_initial_ambiguity():"}, move_covariance_copy);
}

namespace {

/// Covariance of the second alternative: row by row in place.
void move_covariance_in_place(double* DX, const Transfer& t) {
    for (int i = 0; i < t.num; ++i) {
        const int idx_now_row = t.idx_amb_in_current_epoch[i];
        check_row(idx_now_row);
        double dx_temp[MAXNUM_X] = {};
        fill_row(dx_temp, DX, t, i);
        for (int r = 0; r < MAXNUM_X; ++r) element(DX, r, idx_now_row) = 0.0;
        std::copy_n(dx_temp, MAXNUM_X, DX + idx_now_row * MAXNUM_X);
    }
}

}  // namespace

void get_initial_ambiguity_nomemory(RUNTIME_POD_EMBED* runtime_pod) {
    set_ambiguities(runtime_pod, {"update_temperal_clock_solution():", "get_initial_ambiguity_nomemory():"},
                    move_covariance_in_place);
}

bool pod_embed_solve_orbit(OBSDATA_EPOCH*, RUNTIME_POD_EMBED*) { return false; }

void update_tempral_orbit_solution(void) {}

void update_measurement_orbit_solution(void) {}

bool orbit_dynamic_filter(RUNTIME_POD_EMBED* runtime_pod) {
    const double cor_time = 600.0;  // [s]
    Memory memory("orbit_dynamic_filter");
    const Work<double> H(memory, 3 * MAXNUM_DYN_X), X_dyn(memory, MAXNUM_DYN_X);
    if (memory.missing()) return false;
    std::copy_n(runtime_pod->X_dyn, MAXNUM_DYN_X, X_dyn.data());
    STATE_SPACECRAFT& state = runtime_pod->state_satellite;
    const double duration_dynamic_filter = state.sec_since_start;
    double obs_pos[3];
    for (int c = 0; c < 3; ++c) {
        obs_pos[c] = -state.pos_eci[c];
        X_dyn[c] = state.pos_eci[c];
        X_dyn[3 + c] = state.vel_eci[c];
        X_dyn[6 + c] *= std::exp(-std::fabs(duration_dynamic_filter) / cor_time);
    }
    double R_obs[9] = {};
    for (int r = 0; r < 3; ++r) {
        R_obs[r * 3 + r] = runtime_pod->DX[r * MAXNUM_X + r];
        H[r * MAXNUM_DYN_X + r] = 1.0;  // settled: rows as long as the filter's state, of which 806 are filled
        const double* partials = state.S + r * MAXNUM_FM_PARAM_TOTAL;  // position by parameters
        for (int c = 0; c < MAXNUM_FM_PARM_EMP; ++c) H[r * MAXNUM_DYN_X + 6 + c] = partials[c] * 1000.0;
    }
    if (kalman_filter_embed(X_dyn.data(), runtime_pod->DX_dyn, H.data(), obs_pos, R_obs, MAXNUM_DYN_X, 3) != 0)
        return false;
    std::copy_n(X_dyn.data(), MAXNUM_DYN_X, runtime_pod->X_dyn);
    return true;
}

void output_observation_embed(OBSDATA_EPOCH* obsdata, char* outputstr) {
    const int sat_num = clamp_count(obsdata->sat_num, MAXSAT_EPOCH);
    char* out = outputstr + std::sprintf(outputstr, ">>%s %d\n", TimeText(obsdata->epoch_time).text, sat_num);
    for (int i = 0; i < sat_num; ++i) {
        const OBSDATA_SAT& sat = obsdata->satobs[i];
        char name[16];
        satsysprn2string(sat.satsys, sat.prn, name);
        char line[1024];
        std::size_t used = 0;
        append_text(line, used, "%s ", name);
        for (int k = 0; k < clamp_count(sat.num_obs, MAXOBS_PER_SAT); ++k)
            append_text(line, used, "%14.3f ", sat.obsdata[k].value);
        out += std::sprintf(out, "%s\n", line);
    }
}
