/// \file obs_processing.cpp
/// Light time, antenna and group-delay corrections, cycle slips and combinations, wind-up, troposphere and ionosphere.
#include "obs_processing.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "mathlib.h"
#include "private/constants.h"
#include "private/epoch.h"
#include "private/report.h"

using namespace leopod;

// --- signal propagation and geometry ---------------------------------------------------------------------------------

namespace {

double distance(const double* a, const double* b) {
    double d[3] = {a[0] - b[0], a[1] - b[1], a[2] - b[2]};
    return norm(3, d);
}

}  // namespace

double propagation_time_use_range(GTime obstime, int satindex, double range, double* station_pos, double* satposvel,
                                  double* satclk, double* tgd) {
    if (!compute_satposvel(obstime, satindex, satposvel, satclk, tgd)) return 0.0;  // for the satellite clock only
    const double ttx = range / kSpeedOfLight + satclk[0];
    const GTime transmission_time = gtimeAddSec(obstime, -ttx);
    if (!compute_satposvel(transmission_time, satindex, satposvel, satclk, tgd)) return 0.0;
    return signal_time(satposvel, station_pos);
}

double leopod::signal_time(const double* satpos, const double* station_pos) {
    return distance(satpos, station_pos) / kSpeedOfLight;
}

double propagation_time_iterate(GTime obstime, int satindex, double rcv_clock, double* station_pos, double* satposvel,
                                double* satclk, double* tgd) {
    constexpr double threshold_propagation_time = 1e-12;  // [s]
    constexpr int MAXNUM_ITER = 20;
    double propagation_time = 0.075;  // [s]
    for (int iter_num = 1;; ++iter_num) {
        const double ttx = rcv_clock / kSpeedOfLight + propagation_time;
        const GTime transmission_time = gtimeAddSec(obstime, -ttx);
        std::fill(satposvel, satposvel + 6, 0.0);
        if (!compute_satposvel(transmission_time, satindex, satposvel, satclk, tgd)) {
            sysGNSS sys = UKNSYS;
            int prn = -1;
            char time_text[100];
            satindex2sysprn(satindex, &sys, &prn);
            gtime2str(transmission_time, time_text);
            report(ULOG_WARNING_LEVEL,
                   "propagation_time_iterate()->compute_satposvel() return false for satindex %d, sys=%d,prn=%d at "
                   "transmission time %s",
                   satindex, sys, prn, time_text);
            return 0.0;
        }
        const double t0 = distance(satposvel, station_pos) / kSpeedOfLight;
        const double diff_t = propagation_time - t0;
        // settled: not t0 but the value that gave the satellite position in satposvel; no message at the limit
        if (std::fabs(diff_t) < threshold_propagation_time || iter_num > MAXNUM_ITER) return propagation_time;
        propagation_time = t0;
    }
}

double get_ant_pco_correction(ANT_INFO* antinfo, double mjd_now, OBSFREQ freq, double* ex_platform, double* ey_platform,
                              double*, double* signal_los, double* offset_in_platform) {
    if (antinfo == nullptr) return 0.0;
    if (!(mjd_now > antinfo->mjd_available[0] && mjd_now < antinfo->mjd_available[1])) return 0.0;
    int row = 0;
    while (row < MAXNUM_FREQ && antinfo->freqs[row] != freq) ++row;
    if (row == MAXNUM_FREQ) return 0.0;

    double pco_platform_my[3];
    matrixMultiply(3, 3, antinfo->installation_matrix, 1, antinfo->pco[row], pco_platform_my);
    if (offset_in_platform != nullptr) {
        for (int i = 0; i < 3; ++i) pco_platform_my[i] += offset_in_platform[i];
    }
    double pco_world[3];
    for (int i = 0; i < 3; ++i) {
        // settled: the third term takes ey as well
        pco_world[i] = pco_platform_my[0] * ex_platform[i] + pco_platform_my[1] * ey_platform[i] +
                       pco_platform_my[2] * ey_platform[i];
    }
    return dotproduct(3, 3, pco_world, signal_los);
}

double get_tgd(sysGNSS satsys, int prn, OBSFREQ band, OBSCODE code) {
    if (satsys == GPS) {
        if (prn < 1 || prn > 33 || g_eph_brdc_now.eph_brdc_gps_now[prn - 1] == nullptr) return 0.0;
        return band == L1 ? kSpeedOfLight * g_eph_brdc_now.eph_brdc_gps_now[prn - 1]->TGD : 0.0;
    }
    if (satsys == BDS) {
        if (prn < 1 || prn > 64 || g_eph_brdc_now.eph_brdc_bds_now[prn - 1] == nullptr) return 0.0;
        const EPHREC_BDS& eph = *g_eph_brdc_now.eph_brdc_bds_now[prn - 1];
        if (band == L2 || (band == L1 && code == aP)) return kSpeedOfLight * eph.TGD_B1_B3;
        if (band == L1 && code == aD) return kSpeedOfLight * (eph.TGD_B1_B3 + eph.ISC_B1Cd);
        if (band == L5) return kSpeedOfLight * eph.TGD_B2_B3;
        return 0.0;  // L6 is the reference band of the clock
    }
    if (satsys == GAL) report(ULOG_ERROR_LEVEL, "get_tgd() not support Galileo for now!");
    return 0.0;
}

void compute_obs_redundancy(int, int, double*, double*, double*) {}

// --- cycle slips, ambiguities, wind-up -------------------------------------------------------------------------------

namespace {

double wavelength(double freq_mhz) { return kSpeedOfLight / freq_mhz * 1e-06; }

/// True if the index addresses a SAT_STATE.
bool has_state(int satindex) { return satindex >= 0 && satindex < MAXSAT_GNSS; }

/// Satellites of an epoch, within its array.
int num_sat(const OBSDATA_EPOCH& epoch) { return std::min<int>(epoch.sat_num, MAXSAT_EPOCH); }

/// The satellite's record of configured observable `slot`, or null where there is none.
const OBSREC* used_record(const OBSDATA_SAT& sat, int slot) {
    if (slot < 0 || slot >= MAXOBS_PER_SAT) return nullptr;
    const int position = sat.obs_index_used[slot];
    if (position < 0 || position >= std::min<int>(sat.num_obs, MAXOBS_PER_SAT)) return nullptr;
    return &sat.obsdata[position];
}

/// Code and phase of both frequencies of a satellite.
struct DualFrequency {
    double range[2];   ///< [m]
    double cycles[2];  ///< [cycle]
    double freq_mhz[2];
    double lambda[2];  ///< [m]
};

/// Collects the four records of a satellite. A missing one is reported, and the result is false.
bool get_dual_frequency(const OBSDATA_SAT& sat, const GNSSCONFIG& config, int idx_sys, const GTime& time,
                        DualFrequency& obs) {
    for (int j = 0; j < 2; ++j) {
        const OBSREC* code = used_record(sat, config.obs_index_IF_code[idx_sys][j]);
        const OBSREC* phase = used_record(sat, config.obs_index_IF_phase[idx_sys][j]);
        if (code == nullptr) {
            report(ULOG_WARNING_LEVEL, "%s satsys=%d prn=%d %s", TimeText(time).text, sat.satsys, sat.prn,
                   j == 0 ? "obs missing on range at freq1" : "obs missing on range at freq2");
        }
        if (phase == nullptr) {
            report(ULOG_WARNING_LEVEL, "%s satsys=%d prn=%d %s", TimeText(time).text, sat.satsys, sat.prn,
                   j == 0 ? "obs missing on phase at freq1" : "obs missing on phase at freq2");
        }
        if (code == nullptr || phase == nullptr) return false;
        obs.range[j] = code->value;
        obs.cycles[j] = phase->value;
        obs.freq_mhz[j] = get_obs_frequency(sat.satsys, phase->freq, sat.prn);
        obs.lambda[j] = wavelength(obs.freq_mhz[j]);
    }
    return true;
}

/// Half the jump from the previous value against the threshold; a previous value of 0 makes no test.
/// settled: the last value only, no running mean
bool jumps(double previous, double now, double threshold) {
    return std::fabs(previous) > 1e-08 && std::fabs((now + previous) / 2 - now) > threshold;
}

/// Combinations and slip marks of one satellite.
void update_sat_state(const OBSDATA_SAT& sat, const DualFrequency& obs, const GNSSCONFIG& config, const GTime& time,
                      SAT_STATE& state) {
    const double* P = obs.range;
    const double* L = obs.cycles;
    const double* f = obs.freq_mhz;
    double range[2] = {P[0], P[1]};
    double phase_m[2] = {L[0] * obs.lambda[0], L[1] * obs.lambda[1]};
    double freq_hz[2] = {f[0] * 1e06, f[1] * 1e06};

    const double L_GF = phase_m[0] - phase_m[1];
    const double P_GF = P[0] - P[1];
    double mpc[2] = {};
    double if_combination[2] = {};
    get_multipath_combination(phase_m, range, freq_hz, mpc);
    get_ionosphere_free_combination(phase_m, range, freq_hz, if_combination, nullptr);
    const double MW = (L[0] - L[1]) - (P[1] / obs.lambda[1] + P[0] / obs.lambda[0]) * (f[0] - f[1]) / (f[0] + f[1]);

    const double mw0 = state.mw[0];
    const double gf0 = state.gf_phase[0];
    state.satsys = sat.satsys;
    state.prn = sat.prn;
    state.mw[0] = MW;
    state.gf_phase[0] = L_GF;
    state.gf_range[0] = P_GF;
    state.mpc[0] = mpc[0];
    state.mpc[1] = mpc[1];
    state.if_code[0] = if_combination[0];
    state.if_phase[0] = if_combination[1];

    bool cycle_slip_mw = jumps(mw0, MW, config.thres_slip_mw);
    if (cycle_slip_mw) {
        report(ULOG_TRACE_LEVEL, "%s [cycle slip(MW)] satsys=%d,prn=%02d,MW=%8.3f -> %8.3f",
               TimeText(time, heard(ULOG_TRACE_LEVEL)).text, sat.satsys, sat.prn, mw0, MW);
    }
    bool cycle_slip_gf = jumps(gf0, L_GF, config.thres_slip_gf);
    if (cycle_slip_gf) {
        report(ULOG_TRACE_LEVEL, "%s [cycle slip(GF)] satsys=%d,prn=%02d,GF=%8.3f -> %8.3f, %16.4f, %16.4f",
               TimeText(time, heard(ULOG_TRACE_LEVEL)).text, sat.satsys, sat.prn, gf0, L_GF, phase_m[0], phase_m[1]);
    }
    for (int& flag : state.flag_slip) {
        if (flag == 2) {  // first appearance
            flag = 1;
            cycle_slip_mw = true;
            cycle_slip_gf = true;
        }
    }
    for (int& flag : state.flag_slip) flag = cycle_slip_mw || cycle_slip_gf ? 1 : 0;
}

/// Frequency of a configured phase observable [MHz]: the band of the record, or the configured one where it is missing.
double phase_frequency(const OBSDATA_SAT& sat, const OBSREC* phase, int idx_sys, int slot) {
    if (phase != nullptr) return get_obs_frequency(sat.satsys, phase->freq, sat.prn);
    if (slot < 0 || slot >= MAXOBS_PER_SAT) return 0.0;
    return get_obs_frequency(sat.satsys, gnssconfig.obs_type_freq_code_used[idx_sys][slot].freq, sat.prn);
}

}  // namespace

void get_gf_mw(OBSDATA_EPOCH* obs_epoch, GNSSCONFIG* gnsscfg, SAT_STATE* runtime_state) {
    if (obs_epoch == nullptr || obs_epoch->flag_epoch != 0) return;
    const GTime& time = obs_epoch->epoch_time;
    for (int i = 0; i < num_sat(*obs_epoch); ++i) {
        const OBSDATA_SAT& sat = obs_epoch->satobs[i];
        const int satindex = satsysprn2index(sat.satsys, sat.prn);
        if (sat.flag_sat != OBS_OK) {
            report(ULOG_WARNING_LEVEL, "get_gf_mw(): sys=%d,prn=%d,satindex=%d, flag_sat[%d]!=OBS_OK", sat.satsys,
                   sat.prn, satindex, sat.flag_sat);
            continue;
        }
        const int idx_sys = get_gnssconfig_sys_index(sat.satsys, gnsscfg);
        if (idx_sys == -1) {
            report(ULOG_WARNING_LEVEL, "get_gf_mw(): sys=%d,prn=%d,satindex=%d, satsys(%d) not in gnssconfig",
                   sat.satsys, sat.prn, satindex, sat.satsys);
            continue;
        }
        DualFrequency obs;
        if (!has_state(satindex) || !get_dual_frequency(sat, *gnsscfg, idx_sys, time, obs)) continue;
        update_sat_state(sat, obs, *gnsscfg, time, runtime_state[satindex]);
    }
}

void get_amb_from_pseudorange(OBSDATA_EPOCH* obsepoch, SAT_STATE* sat_state_all) {
    for (int i = 0; i < num_sat(*obsepoch); ++i) {
        const OBSDATA_SAT& sat = obsepoch->satobs[i];
        const int satindex = satsysprn2index(sat.satsys, sat.prn);
        const int idx_sys = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
        if (sat.flag_sat != OBS_OK || !has_state(satindex) || idx_sys == -1) continue;
        SAT_STATE& state = sat_state_all[satindex];
        const int nfreq = std::min(gnssconfig.num_freq[idx_sys], 2);
        double freqs[2] = {};
        double amb[2] = {};
        for (int j = 0; j < nfreq; ++j) {
            const int slot_phase = gnssconfig.obs_index_IF_phase[idx_sys][j];
            const OBSREC* phase = used_record(sat, slot_phase);
            const OBSREC* code = used_record(sat, gnssconfig.obs_index_IF_code[idx_sys][j]);
            const double obs_phase = phase != nullptr ? phase->value : 0.0;
            const double obs_code = code != nullptr ? code->value : 0.0;
            freqs[j] = phase_frequency(sat, phase, idx_sys, slot_phase);
            const bool missing = std::fabs(obs_phase) < 0.001 || std::fabs(obs_code) < 0.001;
            amb[j] = missing ? 0.0 : obs_phase * wavelength(freqs[j]) - obs_code;
            state.amb_float[j] = amb[j];
            state.amb_sigma[j] = 0.3;
        }
        if (gnssconfig.opt_IF[idx_sys] != 1) continue;
        double factor[2] = {};
        get_ionosphere_free_combination(nullptr, nullptr, freqs, nullptr, factor);
        state.amb_float[0] = factor[0] * amb[0] + factor[1] * amb[1];
        state.amb_sigma[0] = std::sqrt((factor[0] * factor[0] + factor[1] * factor[1]) * 0.09);
        for (int j = 1; j < nfreq; ++j) {
            state.amb_float[j] = 0.0;
            state.amb_sigma[j] = 0.0;
        }
    }
}

void model_phase_windup(double* exs, double* eys, double* ek, double* exr, double* eyr, double* phw) {
    if (std::fabs(norm(3, exs) * norm(3, eys) * norm(3, ek) * norm(3, exr) * norm(3, eyr)) < 1e-15) {
        *phw = 0.0;
        return;
    }
    double eks[3];
    double ekr[3];
    crossproduct(3, 3, ek, eys, eks);
    crossproduct(3, 3, ek, eyr, ekr);
    const double ek_exs = dotproduct(3, 3, ek, exs);
    const double ek_exr = dotproduct(3, 3, ek, exr);
    double ds[3];  // effective dipoles of transmitter and receiver
    double dr[3];
    for (int i = 0; i < 3; ++i) {
        ds[i] = exs[i] - ek[i] * ek_exs - eks[i];
        dr[i] = exr[i] - ek[i] * ek_exr + ekr[i];
    }
    double cosp = dotproduct(3, 3, ds, dr) / norm(3, ds) / norm(3, dr);
    if (cosp > 1.0) cosp = 1.0;
    if (cosp < -1.0) cosp = -1.0;
    double ph = std::acos(cosp) / (2.0 * kPi);
    double drs[3];
    crossproduct(3, 3, ds, dr, drs);
    if (dotproduct(3, 3, ek, drs) < 0.0) ph = -ph;
    *phw = ph + std::floor(*phw - ph + 0.5);  // the branch nearest to the last value
}

double ambfix_nearest_integer(double amb_float, double sigma_amb) {
    const int amb_int = nearest_integer(amb_float);
    const double B_I = amb_float - amb_int;
    const double factor = std::sqrt(2.0) * (std::fabs(sigma_amb) < 0.001 ? std::fabs(B_I / 2) : sigma_amb);
    double sum = 0.0;
    for (int n = 1; n <= 6; ++n) sum += std::erfc((n - B_I) / factor) - std::erfc((n + B_I) / factor);
    return 1.0 - sum;
}

void clear_sat_state(SAT_STATE*) {}

// --- troposphere -----------------------------------------------------------------------------------------------------

namespace {

/// Height range of the standard atmosphere [m].
bool in_standard_atmosphere(double height) { return !(height < -100.0 || height > 10000.0); }

/// Niell mapping functions; a, b, c of each group, by latitude.
constexpr double kNmf[][5] = {
#include "tables/nmf.inc"
};
static_assert(sizeof kNmf / sizeof kNmf[0] == 9, "9 rows of coefficients");
enum NmfGroup { kAverageHydrostatic = 0, kAmplitudeHydrostatic = 3, kWet = 6 };

}  // namespace

void standard_pres_temp(double* blh, double* pres, double* temp) {
    if (!in_standard_atmosphere(blh[2])) {
        *pres = 0.0;
        *temp = -273.15;
        return;
    }
    const double h = blh[2] < 0.0 ? 0.0 : blh[2];
    *pres = 1013.25 * std::pow(1.0 - 2.2557e-05 * h, 5.2568);
    *temp = 15.0 - 0.0065 * h + 273.15;
}

double saastamonien(double* blh, double temp, double pres, double humi, double* zhd_zwd) {
    if (!in_standard_atmosphere(blh[2])) {
        zhd_zwd[0] = 0.0;
        zhd_zwd[1] = 0.0;
        return 0.0;
    }
    const double h = blh[2] < 0.0 ? 0.0 : blh[2];
    const double e = 6.108 * humi * std::exp((17.15 * temp - 4684.0) / (temp - 38.45));  // water vapour pressure [hPa]
    zhd_zwd[0] = 0.0022768 * pres / (1.0 - 0.00266 * std::cos(2.0 * blh[0]) - 0.00028 * h / 1000.0);
    zhd_zwd[1] = 0.002277 * (1255.0 / temp + 0.05) * e;
    return zhd_zwd[0] + zhd_zwd[1];
}

double MappingFunction_simple(double el, double* map_dry_wet) {
    const double map = std::fabs(el) >= 1e-06 ? 1.0 / std::cos(kHalfPi - el) : 0.0;
    map_dry_wet[0] = map;
    map_dry_wet[1] = map;
    return (map_dry_wet[0] + map_dry_wet[1]) / 2.0;
}

double interp_function(const double* coef, double lat) {
    const double x = lat / 15.0;
    if (!(x >= 1.0)) return coef[0];
    if (x >= 5.0) return coef[4];
    const int i = static_cast<int>(x);
    return coef[i - 1] * (1.0 - (x - i)) + coef[i] * (x - i);
}

double mapf(double el, double a, double b, double c) {
    const double sin_el = std::sin(el);
    return (1.0 + a / (1.0 + b / (1.0 + c))) / (sin_el + a / (sin_el + b / (sin_el + c)));
}

double NMF(double doy, double* pos_lat_lon_hgt, double* azel, double* map_dry_wet) {
    const double el = azel[1];
    if (std::fabs(el) < 1e-06) {
        if (map_dry_wet != nullptr) {
            map_dry_wet[0] = 0.0;
            map_dry_wet[1] = 0.0;
        }
        return 0.0;
    }
    const double lat = pos_lat_lon_hgt[0] * 180.0 / kPi;
    const double height_km = pos_lat_lon_hgt[2] / 1000.0;
    // settled: one day is added to the day of the year
    const double season = std::cos(2.0 * kPi * ((doy + 1.0 - 28.0) / 365.25 + (lat < 0.0 ? 0.5 : 0.0)));
    double hydrostatic[3];
    double wet[3];
    for (std::size_t i = 0; i < 3; ++i) {
        hydrostatic[i] = interp_function(kNmf[kAverageHydrostatic + i], std::fabs(lat)) -
                         interp_function(kNmf[kAmplitudeHydrostatic + i], std::fabs(lat)) * season;
        wet[i] = interp_function(kNmf[kWet + i], std::fabs(lat));
    }
    if (map_dry_wet == nullptr) return 0.0;
    const double height_map = 1.0 / std::sin(el) - mapf(el, 2.53e-05, 0.00549, 0.00114);  // per kilometre
    map_dry_wet[0] = mapf(el, hydrostatic[0], hydrostatic[1], hydrostatic[2]) + height_map * height_km;
    map_dry_wet[1] = mapf(el, wet[0], wet[1], wet[2]);
    return (map_dry_wet[0] + map_dry_wet[1]) / 2.0;
}

double trop_delay(double mjd_gpst, double* blh, double* azel, double* dry, double* wet, double humi) {
    double zhd_zwd[2] = {};
    double map_dry_wet[2] = {};
    const bool above = blh[2] > 50000.0;
    if (!above) {
        double pres = 0.0;
        double temp = 0.0;
        standard_pres_temp(blh, &pres, &temp);
        NMF(mjd_gpst, blh, azel, map_dry_wet);  // settled: the Modified Julian Date goes in as the day of the year
        saastamonien(blh, temp, pres, humi, zhd_zwd);
    }
    if (dry != nullptr) {
        dry[0] = zhd_zwd[0];
        dry[1] = map_dry_wet[0];
    }
    if (wet != nullptr) {
        wet[0] = zhd_zwd[1];
        wet[1] = map_dry_wet[1];
    }
    return above ? 0.0 : zhd_zwd[0] * map_dry_wet[0] + zhd_zwd[1] * map_dry_wet[1];
}

// --- ionosphere ------------------------------------------------------------------------------------------------------

namespace {

constexpr double kKlobucharNight = 5e-09;     ///< delay at night [s]
constexpr double kKlobucharPeak = 50400.0;    ///< local time of the maximum [s]
constexpr double kKlobucharPeriod = 72000.0;  ///< shortest period [s]

/// Cubic polynomial of the broadcast coefficients.
double cubic(const double* c, double x) { return c[0] + x * (c[1] + x * (c[2] + x * c[3])); }

/// What a delay on a carrier is divided by for the scaled slant content.
/// settled: 4.03e17 over the squared frequency in MHz, over 1e13; the callers scale back without the 40.3
double freq_factor(double freq_mhz) { return 4.03e+17 / (freq_mhz * freq_mhz) / 1e13; }

}  // namespace

double iono_map_FK_LEO(double* blh, double* azel) {
    const double r = (kWgs84SemiMajor + 2500000.0) / blh[2];  // settled: over the height, not over the radius
    const double z = kHalfPi - azel[1];
    return (r + 1.0) / (std::cos(z) + std::sqrt(r * r - std::sin(z) * std::sin(z)));
}

double iono_map_single_layer(double* blh, double* azel) {
    if (blh[2] >= 350000.0) return 1.0;
    return 1.0 /
           std::cos(std::asin(std::sin(kHalfPi - azel[1]) * (blh[2] + kWgs84SemiMajor) / (kWgs84SemiMajor + 350000.0)));
}

double iono_map_BDGIM(double* azel) {
    const double s = 6378000.0 / (6378000.0 + 400000.0) * std::cos(azel[1]);
    return 1.0 / std::sqrt(1.0 - s * s);
}

double iono_pierce_point(double* blh, double* azel, double RE, double hion, double* pblh) {
    constexpr double kPolar = 1.2217304763960306;  // 70 degrees
    const double rp = RE / (RE + hion) * std::cos(azel[1]);
    const double ap = kHalfPi - azel[1] - std::asin(rp);
    const double sin_ap = std::sin(ap);
    const double cos_az = std::cos(azel[0]);
    pblh[0] = std::asin(std::sin(blh[0]) * std::cos(ap) + std::cos(blh[0]) * sin_ap * cos_az);
    const double tan_term = std::tan(ap) * cos_az;
    const double dlon = std::asin(sin_ap * std::sin(azel[0]) / std::cos(pblh[0]));
    const bool over_pole = (blh[0] > kPolar && tan_term > std::tan(kHalfPi - blh[0])) ||
                           (blh[0] < -kPolar && -tan_term > std::tan(kHalfPi + blh[0]));
    pblh[1] = over_pole ? blh[1] + kPi - dlon : blh[1] + dlon;
    pblh[2] = hion;
    return 1.0 / std::sqrt(1.0 - rp * rp);
}

double Nequick_GAL(double*, double*, double*, double, int) { return 0.0; }

double Klobuchar_GPS(double* a, double* b, double tE, double* user_geo, double* azel) {
    // IS-GPS-200, 20.3.3.5.2.5; angles in semicircles
    const double el = azel[1] / kPi;
    const double psi = 0.0137 / (el + 0.11) - 0.022;
    double phi = user_geo[0] / kPi + psi * std::cos(azel[0]);
    if (phi > 0.416) phi = 0.416;
    if (phi < -0.416) phi = -0.416;
    const double lambda = user_geo[1] / kPi + psi * std::sin(azel[0]) / std::cos(phi * kPi);
    const double phi_m = phi + 0.064 * std::cos((lambda - 1.617) * kPi);
    double t = 43200.0 * lambda + tE;
    t -= std::floor(t / kDay) * kDay;
    const double slant = 1.0 + 16.0 * std::pow(0.53 - el, 3.0);
    double amplitude = cubic(a, phi_m);
    double period = cubic(b, phi_m);
    if (amplitude < 0.0) amplitude = 0.0;
    if (period < kKlobucharPeriod) period = kKlobucharPeriod;
    const double x = 2.0 * kPi * (t - kKlobucharPeak) / period;
    double delay = kKlobucharNight;
    if (std::fabs(x) < 1.57) delay += amplitude * (1.0 - x * x / 2.0 + x * x * x * x / 24.0);
    return slant * delay * kSpeedOfLight;
}

double Klobuchar_BDS(double* a, double* b, double tE, double* user_geo, double* azel) {
    const double s = 6378.0 / (6378.0 + 375.0) * std::cos(azel[1]);
    const double psi = kHalfPi - azel[1] - std::asin(s);
    const double phi =
        std::asin(std::sin(user_geo[0]) * std::cos(psi) + std::cos(user_geo[0]) * std::sin(psi) * std::cos(azel[0]));
    const double offset = std::asin(std::sin(azel[0]) * std::sin(psi) / std::cos(phi));
    const double x = std::fabs(phi) / kPi;
    double A2 = cubic(a, x);
    double A4 = cubic(b, x);
    if (A2 < 0.0) A2 = 0.0;
    if (A4 < kKlobucharPeriod) A4 = kKlobucharPeriod;
    if (A4 >= 172800.0) A4 = 172800.0;
    const double t = std::fmod((offset + user_geo[1]) * 43200.0 / kPi + tE, kDay);
    double delay = kKlobucharNight;
    if (std::fabs(t - kKlobucharPeak) < A4 / 4.0) delay += A2 * std::cos(2.0 * kPi * (t - kKlobucharPeak) / A4);
    return delay / std::sqrt(1.0 - s * s) * kSpeedOfLight;
}

double Klobuchar_GPS_stec(double* a, double* b, double tE, double* user_geo, double* azel) {
    return Klobuchar_GPS(a, b, tE, user_geo, azel) / freq_factor(1575.42);
}

double Klobuchar_BDS_stec(double* a, double* b, double tE, double* user_geo, double* azel) {
    return Klobuchar_BDS(a, b, tE, user_geo, azel) / freq_factor(1561.098);
}
