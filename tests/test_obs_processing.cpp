// Corrections, slip logic, wind-up and atmosphere models.
#include <cmath>
#include <tuple>

#include "obs_processing.h"
#include "support.h"

namespace {

constexpr double kC = 299792458.0, kPi = 3.14159265358979323846, kDeg = kPi / 180;
constexpr double kF1 = 1575.42e6, kF2 = 1227.6e6;
double kUp[2] = {0.3, kPi / 2};  // zenith

/// One epoch of GPS 5 with a range, an ionosphere and ambiguities; its record order is not the configured one.
OBSDATA_EPOCH gps_epoch(double range, double iono, double n1, double n2) {
    const double iono2 = iono * kF1 * kF1 / kF2 / kF2;
    OBSDATA_EPOCH epoch = {{{59232, 30.0}, tsGPST}, 0, OBS_OK, 1, {}};
    OBSDATA_SAT& sat = epoch.satobs[0];
    sat.prn = 5, sat.satsys = GPS, sat.num_obs = 4;
    sat.obsdata[0] = {0, L2, PHASE, aP, 0, (range - iono2) * kF2 / kC + n2, 0, 0};
    sat.obsdata[1] = {0, L2, RANGE, aP, 0, range + iono2, 0, 0};
    sat.obsdata[2] = {0, L1, PHASE, aP, 0, (range - iono) * kF1 / kC + n1, 0, 0};
    sat.obsdata[3] = {0, L1, RANGE, aP, 0, range + iono, 0, 0};
    choose_observation(&epoch);
    return epoch;
}

class Phases : public testing::Test {
  protected:
    void SetUp() override {
        sysGNSS systems[1] = {GPS};
        set_gnssconfig_system(&gnssconfig, 1, systems);
        s.flag_slip[0] = s.flag_slip[1] = 2;
    }
    int slip(OBSDATA_EPOCH epoch) {
        get_gf_mw(&epoch, &gnssconfig, states);
        return s.flag_slip[0];
    }
    SAT_STATE states[110] = {};
    SAT_STATE& s = states[4];
    support::LogRecorder log;
};

}  // namespace

TEST(Corrections, AntennaOffset) {
    ANT_INFO ant = {true, -1, "", "", {0, 100}, 2, {{}, {0.1, 0.2, 0.3}}, {L1, L5}, {}, {0, -1, 0, 1, 0, 0, 0, 0, 1}};
    double x[3] = {1, 0, 0}, y[3] = {0, 1, 0}, z[3] = {0, 0, 1}, los[3] = {0.6, 0.8, 0.0}, extra[3] = {1, 2, 3};
    auto correction = [&](double mjd, OBSFREQ freq, double* to, double* more) {
        return get_ant_pco_correction(&ant, mjd, freq, x, y, z, to, more);
    };
    EXPECT_NEAR(correction(50, L5, los, nullptr), 0.6 * -0.2 + 0.8 * (0.1 + 0.3), 1e-15);
    EXPECT_NEAR(correction(50, L5, los, extra), 0.6 * 0.8 + 0.8 * 5.4, 1e-15);
    EXPECT_EQ(correction(0, L5, los, extra) + correction(100, L5, los, extra) + correction(50, L2, los, extra), 0.0);
}

TEST(Corrections, GroupDelay) {
    static EPHREC_GPS gps = {};
    static EPHREC_BDS bds = {};
    gps.TGD = 1e-9, bds.TGD_B1_B3 = 2e-9, bds.TGD_B2_B3 = 3e-9, bds.ISC_B1Cd = 5e-9;
    g_eph_brdc_now.eph_brdc_gps_now[31] = &gps;
    g_eph_brdc_now.eph_brdc_bds_now[62] = &bds;
    const std::tuple<sysGNSS, int, OBSFREQ, OBSCODE, double> cases[] = {
        {GPS, 32, L1, aC, 1}, {GPS, 32, L2, aP, 0}, {GPS, 34, L1, aC, 0}, {GPS, 0, L1, aC, 0},
        {BDS, 63, L2, aI, 2}, {BDS, 63, L1, aP, 2}, {BDS, 63, L1, aD, 7}, {BDS, 63, L1, aX, 0},
        {BDS, 63, L5, aP, 3}, {BDS, 63, L6, aI, 0}, {BDS, 65, L2, aI, 0}, {GAL, 1, L1, aC, 0}};
    for (const auto& [sys, prn, band, code, ns] : cases)
        EXPECT_NEAR(get_tgd(sys, prn, band, code), ns * 1e-9 * kC, 1e-12) << sys << prn << band << code;
}

TEST_F(Phases, CombinationsAndSlips) {
    EXPECT_EQ(slip(gps_epoch(2.1e7, 3.0, 120, 20)), 1);  // first seen
    EXPECT_NEAR(s.mw[0], 100, 1e-6);                     // free of range and ionosphere: the wide-lane ambiguity
    EXPECT_NEAR(s.if_code[0], 2.1e7, 1e-6);
    EXPECT_EQ(slip(gps_epoch(2.15e7, 3.04, 120, 20)), 0);

    EXPECT_EQ(slip(gps_epoch(2.15e7, 3.04, 121, 20)), 1);  // one cycle on one band
    EXPECT_EQ(log.count(ULOG_TRACE_LEVEL, "[cycle slip(MW)] satsys=1,prn=05,MW= 100.000 ->  101.000"), 1);
    EXPECT_EQ(slip(gps_epoch(2.15e7, 3.04, 122, 21)), 0);  // one cycle on both: half of 0.054 m
    EXPECT_EQ(slip(gps_epoch(2.15e7, 3.04, 124, 23)), 1);  // two on both: geometry-free only
    EXPECT_EQ(log.count(ULOG_TRACE_LEVEL, "cycle slip(MW)"), 1);
}

TEST_F(Phases, WhatIsLeftOutKeepsItsState) {
    OBSDATA_EPOCH epoch = gps_epoch(2.1e7, 0, 7, 3);
    OBSDATA_SAT& sat = epoch.satobs[0];
    for (int missing = 0; missing < 8; ++missing) {
        sat.obs_index_used[missing / 2] = missing % 2 == 0 ? -1 : 10;
        EXPECT_EQ(slip(epoch), 2);
        epoch = gps_epoch(2.1e7, 0, 7, 3);
    }
    for (const char* which : {"range at freq1", "range at freq2", "phase at freq1", "phase at freq2"})
        EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, std::string("satsys=1 prn=5 obs missing on ") + which), 2);
    sat.flag_sat = LOW_ELE;
    EXPECT_EQ(slip(epoch), 2);
    sat.flag_sat = OBS_OK;
    sat.satsys = BDS;
    EXPECT_EQ(slip(epoch), 2);
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "get_gf_mw(): sys=2,prn=5,satindex=36, satsys(2) not in gnssconfig"));
    sat.prn = 70;
    epoch.sat_num = 1000;
    for (sysGNSS system : {GAL, BDS}) {  // no index; an index that has no state
        sat.satsys = gnssconfig.sys_used[0] = system;
        EXPECT_EQ(slip(epoch), 2);
        get_amb_from_pseudorange(&epoch, states);
        EXPECT_TRUE(states[101].prn == 0 && states[101].amb_sigma[0] == 0.0);
    }
}

TEST_F(Phases, AmbiguitiesFromCode) {
    OBSDATA_EPOCH epoch = gps_epoch(2.1e7, 0, 7, 3);
    const double amb1 = 7 * kC / kF1, amb2 = 3 * kC / kF2, k = kF1 * kF1 / (kF1 * kF1 - kF2 * kF2);
    get_amb_from_pseudorange(&epoch, states);
    EXPECT_NEAR(s.amb_float[0], k * amb1 + (1 - k) * amb2, 1e-6);
    gnssconfig.opt_IF[0] = 0;
    epoch.satobs[0].obsdata[2].value = 0.0005;  // no phase worth the name
    get_amb_from_pseudorange(&epoch, states);
    EXPECT_EQ(s.amb_float[0], 0.0);
    EXPECT_NEAR(s.amb_float[1], amb2, 1e-6);
}

TEST(WindUp, CountsTheTurnsOfTheReceiver) {
    double ek[3] = {0, 0, 1}, xs[3] = {0.48, 0.6, 0.64}, ys[3] = {-0.8, 0, 0.6}, phw = 0;
    for (int step = 0; step <= 100; ++step) {  // right-handed about the line of sight, 20 degrees a step
        const double c = std::cos(20 * kDeg * step), s = std::sin(20 * kDeg * step);
        double xr[3] = {0.8 * c, 0.8 * s, 0.6}, yr[3] = {s, -c, 0};
        model_phase_windup(xs, ys, ek, xr, yr, &phw);
        EXPECT_NEAR(phw, step * 20.0 / 360 - std::atan2(1.4, 0.48) / (2 * kPi), 1e-9);
    }
}

TEST(Troposphere, ZenithDelaysAndMapping) {
    double blh[3] = {45 * kDeg, 0, 5500}, el5[2] = {0, 5 * kDeg}, pres, temp, z[2], map[2];
    standard_pres_temp(blh, &pres, &temp);
    EXPECT_NEAR(pres, 505.1, 1.0);  // standard atmosphere, 5.5 km
    blh[2] = 0;
    standard_pres_temp(blh, &pres, &temp);
    saastamonien(blh, temp, pres, 0.5, z);
    EXPECT_NEAR(z[0], 2.307, 1e-3);
    EXPECT_NEAR(z[1], 0.086, 0.005);  // 8.5 hPa of vapour

    const double north = NMF(118.3, blh, el5, map);  // between the seasons
    EXPECT_NEAR(map[0], 10.15, 0.05);                // known values at 5 degrees
    EXPECT_NEAR(map[1], 10.75, 0.05);
    double high[3] = {blh[0], blh[1], 2000.0}, raised[2];
    NMF(118.3, high, el5, raised);
    EXPECT_NEAR(raised[0] - map[0], 2 * 0.0219, 2e-4);  // the hydrostatic part grows with the height
    EXPECT_EQ(raised[1], map[1]);
    blh[0] = -blh[0];
    EXPECT_NEAR(NMF(118.3 + 365.25 / 2, blh, el5, map), north, 1e-12);  // the south half a year later
    EXPECT_GT(std::fabs(NMF(27, blh, el5, map) - NMF(27 + 182, blh, el5, map)), 1e-3);
    const double row[5] = {1, 2, 4, 8, 16}, lat[5] = {-1e300, std::nan(""), 15.0, 37.5, 1e300},
                 at[5] = {1, 1, 1, 3, 16};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(interp_function(row, lat[i]), at[i]) << lat[i];

    blh[0] = 10 * kDeg;
    EXPECT_NEAR(trop_delay(59232, blh, el5, nullptr, nullptr, 0.5), 24.4, 0.5);
    EXPECT_EQ(trop_delay(59232 + 180, blh, el5, z, map, 0.5), trop_delay(59232, blh, el5, z, map, 0.5));  // tropics
    blh[2] = 20000;
    EXPECT_EQ(trop_delay(59232, blh, el5, nullptr, nullptr, 0.5), 0.0);
}

TEST(Ionosphere, BroadcastModels) {
    // The example that accompanies J. Klobuchar's published program.
    double klo_a[4] = {3.82e-8, 1.49e-8, -1.79e-7, 0}, klo_b[4] = {1.43e5, 0, -3.28e5, 1.13e5};
    double user[3] = {40 * kDeg, 260 * kDeg, 0}, azel[2] = {210 * kDeg, 20 * kDeg}, equator[3] = {};
    EXPECT_NEAR(Klobuchar_GPS(klo_a, klo_b, 593100, user, azel), 23.784, 1e-3);

    double a[4] = {2e-8, 0, 0, 0}, b[4] = {9e4, 0, 0, 0}, negative[4] = {-1, 0, 0, 0};
    for (auto model : {Klobuchar_GPS, Klobuchar_BDS}) {
        const double ns = 1e-9 * kC * (model == Klobuchar_GPS ? 1 + 16 * std::pow(0.03, 3) : 1.0);
        EXPECT_NEAR(model(a, b, 50400, equator, kUp), 25 * ns, 2e-5);          // two in the afternoon
        EXPECT_NEAR(model(a, b, 50400 + 30000, equator, kUp), 5 * ns, 1e-12);  // night
        EXPECT_NEAR(model(negative, b, 50400, equator, kUp), 5 * ns, 1e-12);
        EXPECT_GT(model(a, negative, 50400 + 17900, equator, kUp), 5.1 * ns);  // shortest period: 72000 s
        EXPECT_NEAR(model(a, negative, 50400 + 18500, equator, kUp), 5 * ns, 1e-12);
    }
    EXPECT_NEAR(Klobuchar_GPS_stec(a, b, 50400, equator, azel) * 1e16 / (kF1 * kF1),
                Klobuchar_GPS(a, b, 50400, equator, azel) / 4.03, 1e-9);
}

TEST(Ionosphere, PiercePointIsWhereTheRayMeetsTheSphere) {
    const double RE = 6371e3, h = 450e3;
    for (double lat : {-85.0, -20.0, 48.0, 84.0}) {  // also over the poles
        for (double az : {10.0, 130.0, 185.0, 300.0}) {
            double blh[3] = {lat * kDeg, 1.0, 0}, azel[2] = {az * kDeg, 12 * kDeg}, p[3];
            const double factor = iono_pierce_point(blh, azel, RE, h, p);
            const double rise = RE * std::sin(azel[1]), t = -rise + std::sqrt(rise * rise + 2 * RE * h + h * h);
            const double flat = t * std::cos(azel[1]), north = flat * std::cos(azel[0]);
            const double up = RE + t * std::sin(azel[1]), out = up * std::cos(blh[0]) - north * std::sin(blh[0]);
            EXPECT_NEAR(p[0], std::asin((up * std::sin(blh[0]) + north * std::cos(blh[0])) / (RE + h)), 1e-12);
            EXPECT_NEAR(std::remainder(p[1] - 1.0 - std::atan2(flat * std::sin(azel[0]), out), 2 * kPi), 0.0, 1e-9);
            EXPECT_NEAR(factor, (RE + h) / (t + rise), 1e-12);
        }
    }
}
