// What the library computes and says, against a record of it (tests/record): routines at many places and times, files and what their
// readers say of flaws, runs. Users' results depend on these numbers to the last digits. A change that is meant is recorded anew:
// LEOPOD_RECORD=1 build/release/tests/test_record.
#include <sys/mman.h>
#include <sys/wait.h>

#include <regex>

#include "attitude.h"
#include "common_function.h"
#include "crd_readers.h"
#include "ephemeris_fit.h"
#include "fences.h"
#include "gnss_config.h"
#include "iau_function.h"
#include "iers_function.h"
#include "keplerian_element.h"
#include "mathlib.h"
#include "obs_processing.h"
#include "orbit_fixture.h"
#include "pod_embed.h"
#include "readers.h"
#include "record.h"
#include "tle.h"

namespace {

using support::Integers;
using support::Record;

/// Numbers between two limits, the same in each run; where edges are asked for, often 0 or a limit, and vectors along an axis.
struct Draw {
    bool edges = false;
    unsigned long state = 20210118;
    double operator()(double low, double high) {
        state = state * 6364136223846793005UL + 1442695040888963407UL;
        const double part = static_cast<double>(state >> 11) / 9007199254740992.0;
        if (edges && part < 0.3) return part > 0.2 ? low : part > 0.1 || low > 0.0 ? high : 0.0;
        return low + (high - low) * part;
    }
    Values many(std::size_t n, double low, double high) {
        Values all(n);
        for (double& x : all) x = (*this)(low, high);
        return all;
    }
    /// A direction of some length.
    Values vector(double length) {
        Values v = many(3, -1.0, 1.0);
        for (double& x : v) x *= length / std::hypot(1e-300, v[0], std::hypot(v[1], v[2]));
        return v;
    }
    /// Symmetric, positive definite.
    Values covariance(std::size_t n) {
        Values all(n * n);
        const Values a = many(n * n, -1.0, 1.0);
        for (std::size_t i = 0; i < n * n; ++i)
            for (std::size_t k = 0; k < n; ++k)
                all[i] += a[i / n * n + k] * a[i % n * n + k] + (i / n == i % n ? 1.0 : 0.0);
        return all;
    }
};

#define R(function, ...) record(#function, function, __VA_ARGS__)

void times_and_axes(Record& record, Draw& draw) {
    const double mjd = draw(44000.0, 62000.0), t = (mjd - 51544.5) / 36525.0, day = std::floor(mjd), part = mjd - day;
    const Values none(1), matrix(9), three = draw.vector(1.0);
    const double jd = 2400000.5, a = draw(-7.0, 7.0), b = draw(-1e-6, 1e-6);
    const GTime gps = mjd2GTime(tsGPST, mjd);
    R(mjd2GTime, tsGPST, mjd);
    for (const TIMESYS ts : {tsGPST, tsGALT, tsBDST, tsUTC, tsTAI, tsTT}) R(gtimeChangeTimeSystem, gps, ts);
    R(gtimeAddSec, gps, draw(-1e6, 1e6));
    R(gtimeSub, gps, mjd2GTime(tsGPST, 51544.5));
    R(GTime2YMD, gps), R(GTime2SOW, gps), R(GTime2JD, gps), R(gtime2mjd, gps), R(YMD2DOY, GTime2YMD(gps));
    R(gtime2str, gps, std::string(100, ' ')), R(timeymd2str, GTime2YMD(gps), std::string(100, ' '));
    R(getLeapSecond, mjd), R(TAImUTC, mjd2GTime(tsUTC, mjd)), R(YMDtoJD, GTime2YMD(gps));
    R(FUNDARG, t, none, none, none, none, none), R(CNMTX, mjd, Values(12)), R(ORTHO_EOP, mjd, Values(3));
    R(DOODSONARG, jd + day, part, jd + mjd + 8e-4, Values(5), Values(6)), R(PMSDNUT2, mjd, Values(2));
    R(UTLIBR, mjd, none, none), R(RG_ZONT2, t, none, none, none),
        R(ARG2, 2000 + static_cast<int>(30.0 * part), 366.0 * part, Values(11));
    R(getEE2000, t, b), R(getEECT, t), R(getEarthRotationAngle, jd + day, part), R(getEarthRotationAngleRate, t);
    R(getGAST, jd + day, part, jd + mjd, b), R(getGMST, jd + day, part, jd + mjd), R(getMeanObliquity, t);
    R(gstime_iau82, jd + mjd), R(normalizeAngle, 3.0 * a), R(etutc, 1960.0 + 60.0 * part);
    R(correction_PoleTide_gravity, mjd, 0.1 * a, 0.1 * three[0], none, none), R(mean_polar_motion, mjd, Values(2));
    R(correct_PoleTide, mjd, 0.1 * a, 0.1 * three[0], none, none);
    R(correction_PoleTide_position, mjd, draw.many(2, -0.5, 0.5), draw.vector(6.37e6), Values(3));
    const double ut1 = draw(-0.9, 0.9), x = draw(-0.5, 0.5), y = draw(-0.5, 0.5), lod = draw(-4e-3, 4e-3);
    R(compute_eci2ecf_rotation_precise, mjd, 37.0, x, y, ut1, lod, 1e-15, matrix, matrix);
    R(teme2ecef, mjd, 37.0, ut1, x, y, lod, 1e-15, draw.vector(7e6), draw.vector(7e3), Values(3), Values(3));
    R(rotation_ecef2pef, mjd, 37.0, ut1, x, y, matrix);
}

void places_and_orbits(Record& record, Draw& draw) {
    Values blh = {draw(-1.57, 1.57), draw(-3.2, 6.4), draw(-400.0, 9e5)};
    const Values r = draw.vector(draw(6.5e6, 5e7)), v = draw.vector(draw(3e3, 7.5e3)), three(3),
                 sun = draw.vector(1.5e11), moon = draw.vector(3.8e8);
    const Values azel_ = {draw(0.0, 6.28), draw(0.02, 1.57)}, matrix(9);
    const double semi = 6378137.0, flat = 0.0033528106647474805, mjd = draw(51544.0, 60000.0), el = azel_[1];
    R(azel, blh, r, Values(2)), R(blh2ecef, blh, three, semi, flat), R(ecef2blh, r, three, semi, flat),
        R(eci2rtn, r, v, three, three, three);
    R(enu2xyz, blh, v, three), R(xyz2enu, blh, v, three), R(xyz2enu_matrix, blh, matrix),
        R(geocentric, r, Values(1), Values(1));
    R(get_azel_signal, matrix, draw.vector(1.0), Values(2)),
        R(attitude_yaw_steering, r, v, sun, three, three, three, three);
    for (const int index : {3, 32, 40, 96}) R(gnss_sat_attitude, index, r, v, sun, three, three, three, three);
    R(yaw_nominal_gps, draw(-1.5, 1.5), draw(-3.0, 3.0));
    R(standard_pres_temp, blh, Values(1), Values(1)),
        R(trop_delay, mjd, blh, azel_, Values(2), Values(2), draw(0.0, 1.0));
    R(saastamonien, blh, draw(230.0, 310.0), draw(500.0, 1030.0), draw(0.0, 1.0), Values(2)),
        R(MappingFunction_simple, el, Values(2));
    R(NMF, draw(0.0, 366.0), blh, azel_, Values(2)), R(mapf, el, 1e-3, 3e-3, 6e-2);
    const Values a = {draw(0.0, 3e-8), draw(-2e-8, 2e-8), draw(-6e-8, 6e-8), draw(-1e-7, 1e-7)};
    const Values b = {draw(7e4, 1.4e5), draw(-1e5, 1e5), draw(-2e5, 2e5), draw(-4e5, 4e5)};
    for (const auto& [name, model] : {std::pair{"gps", Klobuchar_GPS},
                                      {"bds", Klobuchar_BDS},
                                      {"gps stec", Klobuchar_GPS_stec},
                                      {"bds stec", Klobuchar_BDS_stec}})
        record(name, model, a, b, draw(0.0, 604800.0), blh, azel_);
    R(iono_map_BDGIM, azel_), R(iono_map_FK_LEO, blh, azel_), R(iono_map_single_layer, blh, azel_);
    R(iono_pierce_point, blh, azel_, 6371e3, 4e5, three);
    R(model_phase_windup, draw.vector(1.0), draw.vector(1.0), draw.vector(1.0), draw.vector(1.0), draw.vector(1.0),
      Values(1, 0.7));
    R(ambfix_nearest_integer, draw(-9.0, 9.0), 0.1);
    const double ecc = draw(0.0, 0.9), angle = draw(-7.0, 7.0);
    QUATERNION q = {draw(-1.0, 1.0), {draw(-1.0, 1.0), draw(-1.0, 1.0), draw(-1.0, 1.0)}};
    R(quaternion_normalise, q), R(quaternion_conjugate, q), R(quaternion2rotation, q, matrix),
        R(quaternion_from_rotation, draw.many(9, -1.0, 1.0), QUATERNION{});
    keplerian_elements k = {draw(6.6e6, 5e7), ecc, draw(0.0, 3.1), draw(0.0, 6.2), draw(0.0, 6.2), angle, 0.0, 0.0};
    R(kpe2xyz, k, three, three), R(update_kpe, k, draw(-9e4, 9e4)), R(xyz2kpe, r, v, keplerian_elements{});
    ephemeris_gps e;
    const Values s = draw.many(16, -1.0, 1.0);
    set_data(0.0, 26560.0 + 900.0 * s[0], 0.02 * std::fabs(s[1]), 0.96 + 0.1 * s[2], 3.0 * s[3], 3.0 * s[4], 3.0 * s[5],
             5e-9 * s[6], 1e-10 * s[7], 8e-9 * s[8], 8e-6 * s[9], 8e-6 * s[10], 0.1 * s[11], 0.2 * s[12], 1e-7 * s[13],
             1e-7 * s[14], &e);
    R(compute_position_velocity, 7200.0 * s[15], e, three, three),
        R(partial_xyz_partial_eph, 7200.0 * s[15], e, Values(45));
    // Displacements, refraction of light.
    const Values site = draw.vector(6.37e6);
    R(DEHANTTIDEINEL, site, 2000 + static_cast<int>(20.0 * ecc), 1 + static_cast<int>(12.0 * ecc), 17, 24.0 * ecc, 37.0,
      sun, moon, three);
    R(ST1IDIU, site, sun, moon, 1e-2, 2e-2, three), R(ST1ISEM, site, sun, moon, 1e-2, 2e-2, three),
        R(ST1L1, site, sun, moon, 1e-2, 2e-2, three);
    R(STEP2DIU, site, 24.0 * ecc, 0.2 * angle, three), R(STEP2LON, site, 0.2 * angle, three);
    R(FCULZD_HPA, 57.0 * angle, blh[2] / 300.0, 990.0, 14.0, 0.5 + ecc, Values(1), Values(1), Values(1)),
        R(FCUL_A, 9.0 * angle, blh[2] / 300.0, 290.0, 57.0 * el);
    Values loading = draw.many(66, 0.0, 0.02);
    for (std::size_t i = 33; i < 66; ++i) loading[i] = draw(-180.0, 180.0);
    R(HARDISP, loading, 1990.0 + 40.0 * ecc, 1.0 + 364.0 * ecc, 23.0 * ecc, 7.0, 11.0, three);
    // Element sets: heights of perigee on both sides of 98, 156 and 220 km, much drag, all eccentricities.
    tled_t set{};
    set.inc = draw(0.0, 179.0), set.OMG = draw(0.0, 360.0), set.omg = draw(0.0, 360.0), set.M = draw(0.0, 360.0);
    set.bstar = draw(-1e-4, 1e-3), set.ecc = draw(0.0, 0.02) * draw(0.0, 1.0), set.n = draw(12.0, 16.4);
    for (const double minutes : {-700.0, 0.0, 100.0, 1440.0, 4000.0}) R(SGP4_STR3, minutes, set, Values(6));
}

void arithmetic(Record& record, Draw& draw) {
    const int n = 5, m = 3;
    const std::size_t nn = 25;
    const Values P = draw.covariance(n), H = draw.many(n * m, -1.0, 1.0), W = draw.covariance(m),
                 x = draw.many(n, -9.0, 9.0), v = draw.many(m, -1.0, 1.0);
    Values xs = draw.many(n, -1.0, 0.0), ys = draw.many(n, -1.0, 1.0), gap = x, P0 = P, H0 = H, R0 = W;
    for (int i = 0; i < n; ++i) xs[i] += i;
    const double at = draw(0.5, 2.5), angle = draw(-3.0, 3.0);
    R(filter_, x, P, H, v, W, n, m, Values(n), Values(nn)), R(kalman_filter, x, P, H, v, W, n, m);
    gap[2] = 0.0, R0[4] = 0.0;
    R(kalman_filter_embed, gap, P, H, v, R0, n, m), R(filter_embed, x, P, H, v, W, n, m, n, m),
        R(filter_embed, x, P, H, v, W, n - 2, m - 1, n, m);
    R(smoother, x, P, ys, draw.covariance(n), n, Values(n), Values(nn)),
        R(solve_lsq, draw.many(40, -1.0, 1.0), draw.many(8, -1.0, 1.0), 8, n, Values(n), Values(nn));
    R(solve_lsq_normal, P, x, n, Values(n), Values(nn)), R(matinv, P, n, n), R(ludcmp, P, n, n, Integers(n), Values(1)),
        R(ludcmp, P, m, n, Integers(n), Values(1));
    R(matrixMultiply, m, n, H, n, P, Values(15)), R(matrixMultiply3, m, n, n, n, H, P, P, Values(15), n, n, n);
    R(matrixMultiply3_HPHT, m, n, n, H, P, Values(12, 3.0), n, n, 4), R(matrixTranspose, m, n, H, Values(15)),
        R(matrix_zero_check, H, m, n), R(matrix_identical, n, P);
    R(crossproduct, 3, 3, x, ys, Values(3)), R(dotproduct, n, n, x, ys), R(norm, n, x), R(norm2, n, x),
        R(normalize_vector, n, x), R(negative_vector, n, x);
    for (auto* const statistic : {get_max, get_mean, get_min, get_rms, get_std})
        record("statistic", statistic, x, n, 7.0);
    R(interpolation_Lagrange, xs, ys, n, at), R(interpolation_Lagrange_Barycentric, xs, ys, n, at, Values(2)),
        R(interpolation_Neville, n, xs, ys, at);
    R(interpolation_multip_dimension, n, 4, xs, draw.many(20, -1.0, 1.0), at, Values(4), Values(4)),
        R(linear_fit, xs, ys, n, Values(2));
    R(quadraticSolver, Values{angle, at - 2.0}, Values(2)), R(Round, 3.0 * angle), R(nearest_integer, 3.0 * angle),
        R(ArrayAddition, n, x, ys, Values(n));
    const Values moved = {7.0 * angle, -3.0, at, 1e-6 * angle, 1e-5, -2e-5 * at, 3e-5};
    Values p = draw.many(12, -6e6, 6e6), q(12);
    for (std::size_t i = 0; i < 12; i += 3) HelmertTransform_3D(&p[i], Values(moved).data(), &q[i]);
    R(HelmertTransform_3D, x, moved, Values(3)), R(HelmertParameter_3D, 4, q, p, Values(7));
    R(detect_outlier, n, x, Integers(n), 5.0), R(search_max_array, x, 0, n - 1), R(binsearch_array, xs, 0, n - 1, at);
    R(get_ionosphere_free_combination, ys, x, Values{1575.42, 1227.6}, Values(2), Values(2)),
        R(get_multipath_combination, ys, x, Values{1575.42, 1227.6}, Values(2));
    const Derivative wave = [](int k, double t, double* y, double* dydx) {
        for (int i = 0; i < k; ++i) dydx[i] = std::cos(t) - 0.3 * y[(7 * i + 3) % k];
    };
    R(single_step_RungeKutta4, wave, n, at, x, 0.2, Values(n)),
        R(single_step_RungeKuttaFehlberg78, wave, n, at, x, 0.2, Values(n)),
        R(IntegrateTo, wave, n, 0.0, x, Values(1, 0.5), at, Values(n));
}

/// Where formulas have their branches: places on axes, nothing to turn by, bodies without a series.
void branches(Record& record) {
    Values axes[7], three(3), up = {0.0, 0.0, 100.0};
    for (std::size_t i = 0; i < 7; ++i) {
        axes[i] = three;
        if (i < 6) axes[i][i / 2] = i % 2 == 0 ? 7e6 : -7e6;
    }
    for (const Values& r : axes) {
        R(azel, up, r, Values(2)), R(get_azel_signal, Values{1, 0, 0, 0, 1, 0, 0, 0, 1}, r, Values(2)),
            R(ecef2blh, r, three, 6378137.0, 3.4e-3);
        R(geocentric, r, Values(1), Values(1)), R(STEP2DIU, r, 3.0, 0.1, three),
            R(ST1L1, r, Values{1e11, 2e10, 3e9}, Values{3e8, 2e8, 1e7}, 0.01, 0.02, three);
        for (const Values& v : axes) {
            ATT_QUATERNION q = {{{59232, 0.0}, tsUTC}, {r[0] / 7e6, {0.6, 0.0, v[1] / 9e6}}, r[0] > 0.0};
            R(attitude_platform, 0, q.time, r, v, v, r, q, three, three, three, three),
                R(attitude_yaw_steering, r, v, up, three, three, three, three);
            R(eci2rtn, r, v, three, three, three), R(xyz2kpe, r, v, keplerian_elements{}),
                R(crossproduct, 3, 3, r, v, three);
        }
    }
    for (const double year : {1699.0, 1700.0, 1785.0, 1820.5, 1961.5, 1972.0, 1973.25}) R(etutc, year);
    R(ecef2blh, Values{1e-5, 0.0, 0.0}, three, 6378137.0, 3.4e-3);
    for (const char* other : {"@AZ[`az{", "@az[`AZ{", "@aZ[`b", "@az[`az", ""})
        record.number("letters", strcasecmp(std::string("@AZ[`az{").data(), other));
    initialize_global_eph_planet();
    for (int center = 0; center < 18; ++center)
        for (int target = 0; target < 18; ++target)
            R(compute_planet_pos_vel, 2459232.5, static_cast<PLANET_JPL>(center), static_cast<PLANET_JPL>(target),
              Values(6, 3.0));
}

/// Searches in lists of no, one and some entries, each time at, beside and between them.
void lists(Record& record) {
    for (const int n : {0, 1, 2, 5})
        for (double t = -15.0; t < 150.0; t += 7.5) {
            const GTime when = {{59232, t}, tsGPST};
            std::vector<EPHREC_PRE> orbits(5);
            std::vector<CLKREC_PRE> clocks(5);
            std::vector<ATT_QUATERNION> attitudes(5);
            std::vector<OBSDATA_EPOCH> rows(5);
            Values times(5);
            for (std::size_t i = 0; i < 5; ++i) {
                times[i] = 30.0 * static_cast<double>(i);
                orbits[i].time = clocks[i].time = attitudes[i].time = rows[i].epoch_time = {{59232, times[i]}, tsGPST};
            }
            for (std::size_t i = 0; i < 5; ++i)
                attitudes[i].qua = {std::cos(0.1 * i), {std::sin(0.1 * i), 0.0, 0.0}}, attitudes[i].ok = true;
            g_att_qua_storage = {true, {attitudes.data()}, 1, {0}, {n}};
            R(get_att_quaternion, 0, when, ATT_QUATERNION{});
            g_att_qua_storage = {};
            const auto size = static_cast<std::size_t>(n);
            record.number("orbit", find_closest_eph_prec(orbits.data(), n, when)),
                record.number("clock", find_closest_clk_prec(clocks.data(), n, when));
            record.number("attitude", find_closest_att_quaternion(when, n, attitudes.data())),
                record.number("bound", binsearch_array(times.data(), 0, n, t));
            if (n > 0)
                record.number("epoch", match_observation_storage(rows.data(), size, when, 5.0)),
                    record.number("largest", search_max_array(times.data(), n / 2, n - 1));
            if (n > 1) rows[1].epoch_time = when;
            record.number("left", remove_duplicate_gnss_observation(n, rows.data()));
            record.record("rows", "GTime", &rows[0].epoch_time), record.record("rows", "GTime", &rows[4].epoch_time);
            for (auto* const statistic : {get_max, get_mean, get_min, get_rms, get_std})
                record("statistic", statistic, times, n, t);
        }
}

/// A message for each store that isn't there, each file and each name that can't be.
TEST(Recorded, NothingLoaded) {
    Record record("nothing.txt");
    const LogRecorder log;
    g_brdc_storage = nullptr, g_prec_storage = nullptr, g_obs_storage = nullptr, g_eop_storage = nullptr,
    g_eop_storage_size = 0;
    g_eph_header = nullptr, g_ephData_storage = nullptr, g_antenna_info_store = nullptr;
    for (const std::string& file : {std::string("/nowhere/a"), std::string("/nowhere/") + std::string(2100, '%'),
                                    support::test_file("tle.tle").string()}) {
        std::filesystem::current_path(support::temp_dir());
        std::string name = file;
        if (file[1] != 'n') std::filesystem::copy_file(file, name = "some");
        const auto header = std::make_unique<EPH_HEADER_JPL>();
        std::vector<EPH_RECORD_JPL> records(3);
        ANT_INFO_STORE store{};
        tle_t sets{};
        record.number("loaded", load_observation_rinex(name.data(), 0, 0.0) + 2 * load_ephemeris_brdc(name.data()));
        record.number("loaded", load_eop_storage(name.data()) + 2 * load_eop_storage_rapid(name.data()) +
                                    4 * load_eop_storage_celestrack(name.data()));
        record.number("loaded", load_eph_storage_file(name.data(), header.get(), records.data()) +
                                    2 * load_antenna_storage(name.data(), &store));
        record.number("loaded", load_attitude_quaternion(0, name.data()) + 2 * load_sca_grace(0, name.data()) +
                                    4 * load_earth_coef_EGM(name.data()));
        if (file[1] == 'n')
            record.number("loaded", tle_read(name.c_str(), &sets) + 2 * tle_name_read(name.c_str(), &sets));
        std::free(store.antenna_info_storage);
        std::free(sets.data);
    }
    const GTime when = {{59232, 300.0}, tsGPST};
    for (const int index : {0, 40, 96, 97, -1}) {
        for (const EPHOPT kind : {EPHOPT_BRDC, EPHOPT_PREC, EPHOPT_RTCM}) {
            g_eph_selection = kind;
            R(compute_satposvel, when, index, Values(6), Values(3), Values(3));
        }
        ATT_QUATERNION q{};
        R(compute_satposvel_prec, when, index, Values(6)), R(compute_satclk_prec, when, index, Values(3)),
            R(get_att_quaternion, index, when, q);
        R(choose_eph_gps_brdc, when, index), R(choose_eph_bds_brdc, when, index),
            R(satindex2sysprn, index, Integers(1), Integers(1));
    }
    for (const auto evaluate : {compute_satposvelclk_gps_brdc, compute_satposvelclk_bds_brdc,
                                compute_satposvelclk_bds_brdc_v3, compute_satposvelclk_gal_brdc})
        for (const int number : {0, 1, 33, 64}) record("evaluate", evaluate, number, when, Values(6), Values(3));
    R(compute_eop, 59232.0, EOPREC{}), R(search_eop_index, 59232.0),
        R(compute_eci2ecf_matrix, 59232.0, 37.0, Values(9), Values(9));
    record.messages();
    free_att_quaternion_store();
    record.compare(1e-13);
}

/// What runs seldom or never reach: absent arguments, other systems, marks, stubs.
TEST(Recorded, SeldomReached) {
    Record record("seldom.txt");
    const LogRecorder log;
    for (int level = 99; level < 108; ++level) record.text("level", ulog_level_name(static_cast<ulog_level_t>(level)));
    for (const TIMESYS system : {UKNTS, tsGPST, tsGALT, tsBDST, tsUTC, tsTT}) {
        const GTime t = {{59232, -4e5}, system};
        R(GTime2SOW, t), R(SOW2GTime, TimeGNSS{2140, 345.5}, system), R(gtimeAdd, t, t), R(gtime2mjd, t);
    }
    R(timeMjdAdd, TimeMJD{1, 86000.0}, TimeMJD{2, 900.0}), R(timeMjd_negative, TimeMJD{4, 0.25});
    for (const double x : {-3.25, -3.0, 2.5}) R(split_double, x, Values(2));
    for (const double el : {0.0, 1e-7, -1e-5}) R(NMF, 12.0, Values{0.3, 0.2, 100.0}, Values{0.1, el}, Values(2, 3.0));
    R(load_eops_default, EOPREC{}, MAXSIZE_EOP + 1);
    for (const int mark : {0, 1, 2, 3})
        for (int i = -1; i < 2; ++i)
            for (int k = -1; k < 2; ++k) {
                const auto epoch = std::make_unique<OBSDATA_EPOCH>();
                epoch->flag_epoch = mark == 1 ? LOW_ELE : OBS_OK, epoch->sat_num = 1, epoch->satobs[0].num_obs = 1;
                epoch->satobs[0].flag_sat = mark == 2 ? LOW_ELE : OBS_OK;
                epoch->satobs[0].obsdata[0].flag_obs = mark == 3 ? LOW_ELE : OBS_OK;
                record.number("usable", get_obs_record(i, k, epoch.get(), nullptr));
            }
    sysGNSS systems[] = {BDS, GAL};
    set_gnssconfig_system(&gnssconfig, 2, systems);
    int indices[MAXSAT_EPOCH] = {4, 70, 40};
    for (int kind = -1; kind < 40; ++kind)
        for (const sysGNSS system : {GPS, BDS, GAL})
            record.number("index", get_index_param_pod_embed(static_cast<PARAM_TYPE>(kind), system, 5, 1, indices));
    for (const double span : {1000.0, 1400.0, 1500.0, 1600.0, 2000.0, 0.0}) {
        const auto config = std::make_unique<ORBIT_DYN_CONFIG>();
        const auto emp = std::make_unique<PARAM_FM_EMP>();
        generate_param_empirical(59232.0, 59232.0 + span / 86400.0, 1000.0, emp.get(), config.get(), nullptr);
        record.record("pieces", "PARAM_FM_EMP", emp.get());
    }
    record.number("written", write_att_quaternion_velmra(std::string("/nowhere/a").data(), nullptr, 0));
    record.number("written", write_att_quaternion_velmra((support::temp_dir() / "none").string().data(), nullptr, 0));
    record.number("read", load_attitude_quaternion(0, nullptr) + read_atx(std::string("none").data(), nullptr) +
                              load_antenna_storage(nullptr, nullptr));
    for (int given = 0; given < 8; ++given) {  // without some of the receiver's state
        Values r = {7e6, 1e5, 3e5}, v = {1e2, 7e3, -2e3}, axes(9);
        const auto or_none = [given](int bit, Values& values) { return (given & bit) != 0 ? values.data() : nullptr; };
        record.number("frame", attitude_platform(0, mjd2GTime(tsGPST, 59232.0), or_none(1, r), nullptr, or_none(2, r),
                                                 or_none(4, v), nullptr, &axes[0], &axes[3], &axes[6], nullptr));
        record.record("axes", "double", axes.data(), 9);
    }
    EphTest(std::string("/nowhere/a").data());
    interpolate_pos_vel_acc(nullptr, nullptr, nullptr, 0, 0.0, nullptr, Values(9).data());
    sort_observation_storage(nullptr, 3), get_ionosphere_free_combination(nullptr, nullptr, nullptr, nullptr, nullptr);
    record.messages();
    record.compare(1e-13);
}

TEST(Recorded, Routines) {
    Record record("routines.txt");
    const LogRecorder log(ULOG_INFO_LEVEL);
    Draw draw;
    for (int k = 0; k < 120; ++k) {
        draw.edges = k >= 40;
        times_and_axes(record, draw);
        places_and_orbits(record, draw);
        arithmetic(record, draw);
    }
    branches(record);
    lists(record);
    for (int index = -1; index < 100; ++index) {
        sysGNSS system = UKNSYS;
        int number = -1;
        record.number("index", satindex2sysprn(index, &system, &number) ? 100.0 * system + number : -1.0);
        for (int sys = 0; sys < 8; ++sys) {
            const auto of = static_cast<sysGNSS>(sys);
            R(satsysprn2index, of, index), R(satsysprn2string, of, index, std::string(40, '\0'));
            for (int band = 0; band < 18; ++band) R(get_obs_frequency, of, static_cast<OBSFREQ>(band), index);
        }
    }
    record.messages();
    record.compare(1e-13);
}

// --- files, whole and with flaws ---------------------------------------------------------------------------------------

template <class T>
void products(Record& record, const char* type, const T (&rows)[98][8640], const int (&counts)[98]) {
    for (int i = 0; i < 98; ++i) record.record(type, type, rows[i], static_cast<std::size_t>(counts[i]));
}

void observation(Record& record, char* name) {
    support::load_observation(name);
    record.record("OBSDATA_EPOCH", "OBSDATA_EPOCH", g_obs_storage, static_cast<std::size_t>(g_num_obs_storage));
    if (g_num_obs_storage == 0) return;
    std::string header(20000, '\0'), written = "written.rnx";
    generate_rinex_header(3.0, 1, g_num_obs_storage, g_obs_storage, header.data());
    record.text("header", header.substr(std::min(header.find("DATE"), header.size())).c_str());
    write_rinex_observation(written.data(), 1, 3.0, g_num_obs_storage, g_obs_storage);
    const std::string text = support::read_file(written);
    record.text("rows", text.substr(std::min(text.find("END OF HEADER"), text.size())));
    for (int i = 0; i < g_num_obs_storage; ++i) {
        choose_observation(&g_obs_storage[i]);
        record.record("chosen", "OBSDATA_EPOCH", &g_obs_storage[i]);
    }
}

void navigation(Record& record, char* name) {
    support::load_navigation(name);
    for (const auto& row : g_brdc_storage->eph_brdc_gps_all)
        for (const EPHREC_GPS& e : row)
            if (e.prn != 0) record.record("EPHREC_GPS", "EPHREC_GPS", &e);
    for (const auto& row : g_brdc_storage->eph_brdc_bds_all)
        for (const EPHREC_BDS& e : row)
            if (e.prn != 0) record.record("EPHREC_BDS", "EPHREC_BDS", &e);
    for (const double* model : {iono_brdc_GPS_A, iono_brdc_GPS_B, iono_brdc_BDS_A, iono_brdc_BDS_B, iono_brdc_QZS_A})
        record.record("ionosphere", "double", model, 4);
    record.record("galileo", "double", iono_brdc_GAL_I, 3);
    g_eph_selection = EPHOPT_BRDC;
    const struct {
        int type, first;  // of the BDS satellites, and from which satellite on
        long day;
        double step;
    } passes[] = {{0, 0, 59232, 13500.0}, {1, 32, 59232, 40500.0}, {2, 32, 59239, 40500.0}};
    for (const auto& pass : passes) {
        for (auto& row : g_brdc_storage->eph_brdc_bds_all)
            for (EPHREC_BDS& e : row) {
                e.sat_type = pass.type;
                if (pass.type == 2 && e.prn % 2 == 0) e.sv_health = 1;
            }
        for (int index = pass.first; index < 97; ++index)
            for (double t = -9000.0; t < 99000.0; t += pass.step)
                R(compute_satposvel, GTime{{pass.day, t}, tsGPST}, index, Values(6), Values(3), Values(3));
    }
}

template <bool clocks>
void precise(Record& record, char* name) {
    support::load_products<clocks>(name);
    products(record, "EPHREC_PRE", g_prec_storage->eph_pre_all, g_prec_storage->idx_eph);
    products(record, "CLKREC_PRE", g_prec_storage->clk_pre_all, g_prec_storage->idx_clk);
    g_eph_selection = EPHOPT_PREC;
    for (const int index : {2, 4, 34, 97})
        for (double t = -3000.0; t < 15000.0; t += 437.5) {
            const GTime when = {{59232, t}, tsGPST};
            R(compute_satposvel_prec, when, index, Values(6)), R(compute_satclk_prec, when, index, Values(3));
        }
}

void antennas(Record& record, char* name) {
    ANT_INFO_STORE store{};
    record.number("answer", load_antenna_storage(name, &store));
    record.record("ANT_INFO", "ANT_INFO", store.antenna_info_storage, static_cast<std::size_t>(store.num_antenna_info));
    std::free(store.antenna_info_storage);
}

void receiver(Record& record, char* name) {
    support::load_gnss(name);
    record.record("GNSSCONFIG", "GNSSCONFIG", &gnssconfig);
}

void dynamics(Record& record, char* name) {
    static const auto config = std::make_unique<ORBIT_DYN_CONFIG>();
    *config = ORBIT_DYN_CONFIG{};
    readfile_orbitdynamics_config(name, config.get());
    record.record("ORBIT_DYN_CONFIG", "ORBIT_DYN_CONFIG", config.get());
}

template <bool (*Load)(char*)>
void orientation(Record& record, char* name) {
    support::load_orientation<Load>(name);
    record.record("EOPREC", "EOPREC", g_eop_storage, 20);
    for (double mjd = 59229.6; mjd < 59236.0; mjd += 0.61) {
        R(compute_eci2ecf_matrix, mjd, 37.0, Values(9), Values(9)), R(search_eop_index, mjd),
            R(compute_eop, mjd, EOPREC{});
        R(eci2ecf, mjd, 37.0, Values{7e6, 1e6, -3e5}, Values{1e3, 2e3, 7e3}, Values(3), Values(3));
        R(ecf2eci, mjd, 37.0, Values{7e6, 1e6, -3e5}, Values{1e3, 2e3, 7e3}, Values(3), Values(3));
    }
}

void planets(Record& record, char* name) {
    support::load_ephemeris(name);
    record.record("EPH_HEADER_JPL", "EPH_HEADER_JPL", g_eph_header);
    record.record("EPH_RECORD_JPL", "EPH_RECORD_JPL", g_ephData_storage, 3);
    for (int k = 0; k < 40; ++k) {
        const double tt = g_eph_header->ss[0] - 3.0 + 2.1 * k;
        R(compute_planet_pos_vel, tt, EARTH, static_cast<PLANET_JPL>(1 + k % 17), Values(6));
    }
    for (const int coefficients : {0, 1, 2, 18, 19})
        for (const int pieces : {0, 1, 4, 1018}) {
            g_eph_header->ipt[MARS][1] = coefficients, g_eph_header->ipt[MARS][2] = pieces;
            for (const double t : {-0.1, 0.0, 0.3, 1.0, 1.1})
                R(interp, MARS, Values(g_ephData_storage->chebychev_coef, g_ephData_storage->chebychev_coef + 1018),
                  Values{t, 32.0}, 3, 2, Values(9));
        }
}

void field(Record& record, char* name) {
    support::load_gravity(name);
    for (const double* table : {C, S, N}) record.record("field", "double", table, 600);
    for (const int degree : {2, 5, 30}) {
        Values sun = {1.4e11, 2e10, 1e10}, moon = {3.6e8, 1e8, 2e7}, site = {6.8e6, 1e6, 1e5};
        R(compute_acc_dadr_earth_gravity, degree, degree, 59232.5, 37.0, site, sun, moon, Values(3), Values(9));
        R(compute_acc_earth_gravity, degree, degree, site, Values(3)),
            R(compute_dadr_earth_gravity, degree, degree, site, Values(9));
        R(correct_CS_solidEarthTide, 2459232.5, 0.3, 2459232.801, sun, moon, Values(12), Values(12));
        R(correct_CS_TimeVarying, 59232.5, Values(1), Values(1), Values(1), Values(1), Values(1));
    }
}

template <int (*Read)(char*, ATT_QUATERNION*, int)>
void quaternions(Record& record, char* name) {
    static std::vector<ATT_QUATERNION> records(MAXSIZE_ATT_QUA);
    record.record("ATT_QUATERNION", "ATT_QUATERNION", records.data(),
                  static_cast<std::size_t>(Read(name, records.data(), 0)));
    std::string written = "written.txt";
    write_att_quaternion_velmra(written.data(), records.data(), 3);
    record.text("rows", support::read_file(written));
}

void elements(Record& record, char* name) {
    tle_t sets{};
    record.number("answer", tle_read(name, &sets));
    tle_name_read(support::test_file("tle_names.txt").c_str(), &sets);
    record.record("tled_t", "tled_t", sets.data, static_cast<std::size_t>(sets.n));
    std::free(sets.data);
}

void ranging(Record& record, char* name) {
    std::ifstream file(name);
    format_version = nstat = 0;
    for (std::string line; std::getline(file, line);)
        support::each_crd_reader([&](const std::string& id, auto reader) {
            if (line.compare(0, 2, id) != 0) return;
            typename decltype(reader)::Record r;
            std::memset(&r, 0, sizeof r);
            std::string copy = line;
            record.number(id, reader.read(copy.data(), &r));
            record.record(id, Record::type_of(r), &r);
        });
}

const struct {
    const char* file;
    void (*load)(Record& record, char* name);
} kFiles[] = {{"observation2.obs", observation},
              {"observation3.rnx", observation},
              {"navigation2.nav", navigation},
              {"navigation3.rnx", navigation},
              {"sp3.sp3", precise<false>},
              {"clock.clk", precise<true>},
              {"antex.atx", antennas},
              {"gnss_config.cfg", receiver},
              {"dynamics_config.cfg", dynamics},
              {"eop_c04.txt", orientation<load_eop_storage>},
              {"eop_rapid.txt", orientation<load_eop_storage_rapid>},
              {"eop_keyword.txt", orientation<load_eop_storage_celestrack>},
              {"ephemeris.405", planets},
              {"gravity.txt", field},
              {"quaternion.txt", quaternions<read_att_quaternion_velmar>},
              {"quaternion_mission.txt", quaternions<read_att_quaternion_gfo>},
              {"tle.tle", elements},
              {"laser_ranging1.crd", ranging},
              {"laser_ranging2.crd", ranging}};

/// The file with each of the flaws in one of its lines.
std::vector<std::string> flawed(const std::string& good, std::size_t at) {
    const std::size_t end = std::min(good.find('\n', at), good.size() - 1) + 1, length = end - at;
    const std::string line = good.substr(at, length), text = line.substr(0, length - 1);
    std::vector<std::string> lines;
    for (const char* by : {"x", "00", "9999", "nan", "-1", "1e400"}) {
        const std::size_t digit = line.find_first_of("0123456789", length * (lines.size() % 4) / 4);
        lines.push_back(digit == line.npos ? line : std::string(line).replace(digit, std::strlen(by), by));
    }
    std::string many, words = line;
    for (int i = 0; i < 130; ++i) many += line;
    words.insert(std::min(line.find_last_of(":,= ", length - 2), length - 1), 40, 'x');  // a long one
    lines.insert(lines.end(),
                 {"", line + line, many, text.substr(0, length / 2) + "\n", text + std::string(3000, ' ') + "1\n",
                  text + " 1 x 2\n", text.substr(0, length - 2) + "\n", words, "#" + line, "*" + line, " " + line});
    for (std::string& bad : lines) bad = std::string(good).replace(at, length, bad);
    return lines;
}

/// What a file leaves and what is said of it, one number each. A reader may end the process: it works in a child.
struct Left {
    double stores = -1.0, words = 0.0;
};
Left* left = nullptr;

void hear(ulog_level_t level, char* text) {
    left->words = std::fmod(left->words * 31.0 + level, 1e9 + 7.0);
    const char* const behind = std::strstr(text, "()<");  // the line of the source
    for (const char* c = behind != nullptr ? behind : text; *c != '\0'; ++c)
        left->words = std::fmod(left->words * 31.0 + *c, 1e9 + 7.0);
}

class RecordedFile : public testing::TestWithParam<int> {};

TEST_P(RecordedFile, WholeAndFlawed) {
    const auto& [file, load] = kFiles[GetParam()];
    Record record(file);
    std::filesystem::create_directory(support::temp_dir() / "testdata");
    std::filesystem::current_path(support::temp_dir());  // messages name files
    std::string name = file;
    const std::string good = support::read_file(support::test_file(file));
    Record empty = record;
    support::write_temp(name, good);
    load(record, name.data());

    std::vector<std::string> cases = {good + good,
                                      "\n\n" + good,
                                      good + std::string(3, '\0'),
                                      good.substr(0, good.size() - 1),
                                      std::regex_replace(good, std::regex("\n"), "\r\n"),
                                      std::regex_replace(good, std::regex(" "), "  ")};
    for (const char* others : {"I", "S", "E", "R", "J"})  // years of the last century, other systems
        cases.push_back(std::regex_replace(std::regex_replace(good, std::regex(" 21 "), " 98 "), std::regex("[GC]0"),
                                           others + std::string("0")));
    std::string wide = std::regex_replace(good, std::regex("\n"), std::string(1500, ' ') + "\n"), long_file = good;
    while (long_file.size() < 150000) long_file += wide;  // cut lines, some at the end of a block
    cases.push_back(long_file);
    std::size_t lines = static_cast<std::size_t>(std::count(good.begin(), good.end(), '\n'));
    std::size_t k = 0, flaws = 1;
    for (std::size_t at = 0; at < good.size(); at = good.find('\n', at) + 1, ++k) {
        if (k % (lines / 25 + 1) != 0) continue;
        const std::vector<std::string> bad = flawed(good, at);
        cases.insert(cases.end(), bad.begin(), bad.end());
        flaws = bad.size();
    }
    auto* const all = static_cast<Left*>(
        mmap(nullptr, (1 + cases.size()) * sizeof(Left), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    for (std::size_t i = 0; i < cases.size(); ++i) all[i] = Left{};
    for (std::size_t next = 0; next < cases.size();) {
        if (fork() == 0) {
            ulog_subscribe(hear, ULOG_TRACE_LEVEL);
            for (; next < cases.size(); ++next) {
                left = all + next;
                support::write_temp(name, cases[next]);
                Record r = empty;
                alarm(20);
                load(r, name.data());
                left->stores = r.total();
            }
            _exit(0);
        }
        wait(nullptr);
        while (next < cases.size() && all[next].stores != -1.0) ++next;
        ++next;
    }
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const std::string flaw = " flaw " + std::to_string(i % flaws);
        record.number("stores" + flaw, all[i].stores), record.number("words" + flaw, all[i].words);
    }
    munmap(all, (1 + cases.size()) * sizeof(Left));
    record.compare(1e-13);
}

INSTANTIATE_TEST_SUITE_P(Files, RecordedFile, testing::Range(0, static_cast<int>(std::size(kFiles))));

}  // namespace
