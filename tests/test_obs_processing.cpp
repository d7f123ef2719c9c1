// Light time against the simulator's truth, corrections, slip logic, wind-up and atmosphere models.
#include <cmath>
#include <memory>

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
        EXPECT_EQ(s.flag_slip[0], s.flag_slip[1]);
        return s.flag_slip[0];
    }
    SAT_STATE states[97] = {};
    SAT_STATE& s = states[4];
    support::LogRecorder log;
};

}  // namespace

TEST(LightTime, AgreesWithTheSimulatedTruth) {
    const auto nav = support::data_path("leo_sim/dev21_tgd0.nav");
    LEOPOD_REQUIRE_DATA(nav);
    const auto store = std::make_unique<EPHBRDC_STORE>();
    g_brdc_storage = store.get();
    ASSERT_TRUE(load_ephemeris_brdc(const_cast<char*>(nav.string().c_str())));
    std::ifstream epochs(nav.parent_path() / "dev21_truth_epochs.csv"),
        sats(nav.parent_path() / "dev21_truth_sats.csv");
    std::string line, epoch_line;
    std::getline(epochs, epoch_line);
    std::getline(sats, line);
    double tag = -1, sod, rcv_clk = 0, clk, range, pos[3] = {}, sat[6], satclk[2], tgd, worst = 0, worst_clk = 0;
    int n = 0, prn;
    for (char sys; std::getline(sats, line); ++n) {
        std::sscanf(line.c_str(), "%*f,%lf,%c%d,%*f,%*f,%*f,%*f,%*f,%*f,%*f,%*f,%lf,%lf", &sod, &sys, &prn, &clk,
                    &range);
        while (tag < sod && std::getline(epochs, epoch_line)) {
            std::sscanf(epoch_line.c_str(), "%*f,%lf,%lf,%*f,%lf,%lf,%lf", &tag, &rcv_clk, pos, pos + 1, pos + 2);
        }
        const GTime time = {{59232, sod}, tsGPST};
        const int index = satsysprn2index(sys == 'G' ? GPS : BDS, prn);
        const double direct =
            propagation_time_use_range(time, index, range + rcv_clk - kC * clk, pos, sat, satclk, &tgd);
        const double iterated = propagation_time_iterate(time, index, rcv_clk, pos, sat, satclk, &tgd);
        const double rotation = 7.2921151467e-05 * (sat[0] * pos[1] - sat[1] * pos[0]) / kC;
        worst =
            std::max({worst, std::fabs(iterated * kC + rotation - range), std::fabs(direct * kC + rotation - range)});
        worst_clk = std::max(worst_clk, std::fabs(satclk[0] - clk) * kC);
    }
    EXPECT_EQ(n, 285);
    EXPECT_LT(worst, 5e-4);  // earth rotation to first order only
    EXPECT_LT(worst_clk, 1e-6);

    support::LogRecorder log;
    EXPECT_EQ(propagation_time_iterate({{60000, 0.0}, tsGPST}, 0, 0, pos, sat, satclk, &tgd), 0.0);
    EXPECT_EQ(propagation_time_use_range({{60000, 0.0}, tsGPST}, 0, 2e7, pos, sat, satclk, &tgd), 0.0);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "satindex 0, sys=1,prn=1 at transmission time 2023-02-24T23:59:59.925"), 1);
    g_brdc_storage = nullptr;
    g_eph_brdc_now = {};
}

TEST(Corrections, AntennaOffset) {
    ANT_INFO ant = {true, -1, "", "", {0, 100}, 2, {{}, {0.1, 0.2, 0.3}}, {L1, L5}, {}, {0, -1, 0, 1, 0, 0, 0, 0, 1}};
    double x[3] = {1, 0, 0}, y[3] = {0, 1, 0}, z[3] = {0, 0, 1}, los[3] = {0.6, 0.8, 0.0}, extra[3] = {1, 2, 3};
    auto correction = [&](double mjd, OBSFREQ freq, double* to, double* more) {
        return get_ant_pco_correction(&ant, mjd, freq, x, y, z, to, more);
    };
    EXPECT_NEAR(correction(50, L5, los, nullptr), 0.6 * -0.2 + 0.8 * (0.1 + 0.3), 1e-15);
    EXPECT_NEAR(correction(50, L5, los, extra), 0.6 * 0.8 + 0.8 * 5.4, 1e-15);
    EXPECT_EQ(correction(50, L5, z, extra), 0.0);  // the third axis is not read
    EXPECT_EQ(correction(0, L5, los, extra) + correction(100, L5, los, extra) + correction(50, L2, los, extra), 0.0);
}

TEST(Corrections, GroupDelay) {
    support::LogRecorder log;
    EPHREC_GPS gps = {};
    EPHREC_BDS bds = {};
    gps.TGD = 1e-9, bds.TGD_B1_B3 = 2e-9, bds.TGD_B2_B3 = 3e-9, bds.ISC_B1Cd = 5e-9;
    g_eph_brdc_now.eph_brdc_gps_now[31] = &gps;
    g_eph_brdc_now.eph_brdc_bds_now[62] = &bds;
    const struct {
        sysGNSS sys;
        int prn;
        OBSFREQ band;
        OBSCODE code;
        double ns;
    } cases[] = {{GPS, 32, L1, aC, 1}, {GPS, 32, L2, aP, 0}, {GPS, 34, L1, aC, 0}, {GPS, 0, L1, aC, 0},
                 {GPS, 1, L1, aC, 0},  {BDS, 63, L2, aI, 2}, {BDS, 63, L1, aP, 2}, {BDS, 63, L1, aD, 7},
                 {BDS, 63, L1, aX, 0}, {BDS, 63, L5, aP, 3}, {BDS, 63, L6, aI, 0}, {BDS, 65, L2, aI, 0},
                 {BDS, -9, L2, aI, 0}, {GLO, 1, L1, aC, 0},  {GAL, 1, L1, aC, 0}};
    for (const auto& c : cases)
        EXPECT_NEAR(get_tgd(c.sys, c.prn, c.band, c.code), c.ns * 1e-9 * kC, 1e-12) << c.sys << c.band;
    EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, "get_tgd() not support Galileo for now!"));
    g_eph_brdc_now = {};
}

TEST_F(Phases, CombinationsAndSlips) {
    EXPECT_EQ(slip(gps_epoch(2.1e7, 3.0, 120, 20)), 1);  // first seen
    EXPECT_EQ(log.count(ULOG_TRACE_LEVEL, "cycle slip"), 0);
    EXPECT_NEAR(s.mw[0], 100, 1e-6);  // free of range and ionosphere: the wide-lane ambiguity
    EXPECT_NEAR(s.gf_range[0], 3.0 * (1 - kF1 * kF1 / kF2 / kF2), 1e-6);
    EXPECT_NEAR(s.if_code[0], 2.1e7, 1e-6);
    const double multipath = s.mpc[0];
    EXPECT_EQ(slip(gps_epoch(2.15e7, 3.04, 120, 20)), 0);
    EXPECT_NEAR(s.mpc[0], multipath, 1e-5);

    EXPECT_EQ(slip(gps_epoch(2.15e7, 3.04, 121, 20)), 1);  // one cycle on one band: both tests
    EXPECT_TRUE(log.has(ULOG_TRACE_LEVEL,
                        "2021-01-18T00:00:30.000000000 [cycle slip(MW)] satsys=1,prn=05,MW= 100.000 ->  101.000"));
    EXPECT_EQ(log.count(ULOG_TRACE_LEVEL, "[cycle slip(GF)] satsys=1,prn=05"), 1);
    EXPECT_EQ(slip(gps_epoch(2.15e7, 3.04, 122, 21)), 0);  // one cycle on both: half of 0.054 m
    EXPECT_EQ(slip(gps_epoch(2.15e7, 3.04, 124, 23)), 1);  // two on both: geometry-free only
    EXPECT_EQ(log.count(ULOG_TRACE_LEVEL, "cycle slip(MW)"), 1);
    s.mw[0] = s.gf_phase[0] = 0.0;
    EXPECT_EQ(slip(gps_epoch(2.15e7, 9.0, 900, 23)), 0);  // nothing to compare with
}

TEST_F(Phases, WhatIsLeftOutKeepsItsState) {
    OBSDATA_EPOCH epoch = gps_epoch(2.1e7, 0, 7, 3);
    OBSDATA_SAT& sat = epoch.satobs[0];
    sat.obs_index_used[3] = -1;
    EXPECT_EQ(slip(epoch), 2);
    EXPECT_TRUE(
        log.has(ULOG_WARNING_LEVEL, "2021-01-18T00:00:30.000000000 satsys=1 prn=5 obs missing on phase at freq2"));
    sat.obs_index_used[0] = sat.obs_index_used[1] = 10;  // not in the array
    EXPECT_EQ(slip(epoch), 2);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "at freq1"), 2);
    sat.flag_sat = LOW_ELE;
    EXPECT_EQ(slip(epoch), 2);
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "get_gf_mw(): sys=1,prn=5,satindex=4, flag_sat[1]!=OBS_OK"));
    epoch = gps_epoch(2.1e7, 0, 7, 3);
    sat.satsys = GAL;
    for (sysGNSS configured :
         {GAL, BDS}) {  // no index; an index that has no state, in an epoch that claims 1000 satellites
        sat.satsys = gnssconfig.sys_used[0] = configured;
        EXPECT_EQ(slip(epoch), 2);
        get_amb_from_pseudorange(&epoch, states);
        sat.prn = 70;
        epoch.sat_num = 1000;
    }
}

TEST_F(Phases, AmbiguitiesFromCode) {
    OBSDATA_EPOCH epoch = gps_epoch(2.1e7, 0, 7, 3);
    const double amb1 = 7 * kC / kF1, amb2 = 3 * kC / kF2, k = kF1 * kF1 / (kF1 * kF1 - kF2 * kF2);
    get_amb_from_pseudorange(&epoch, states);
    EXPECT_NEAR(s.amb_float[0], k * amb1 + (1 - k) * amb2, 1e-6);
    EXPECT_NEAR(s.amb_sigma[0], 0.3 * std::hypot(k, 1 - k), 1e-12);
    EXPECT_EQ(s.amb_float[1], 0.0);
    gnssconfig.opt_IF[0] = 0;
    epoch.satobs[0].obsdata[2].value = 0.0005;  // no phase worth the name
    get_amb_from_pseudorange(&epoch, states);
    EXPECT_EQ(s.amb_float[0], 0.0);
    EXPECT_NEAR(s.amb_float[1], amb2, 1e-6);
    EXPECT_TRUE(s.amb_sigma[0] == 0.3 && s.amb_sigma[1] == 0.3);
    epoch.satobs[0].obs_index_used[3] = -1;
    get_amb_from_pseudorange(&epoch, states);
    EXPECT_EQ(s.amb_float[1], 0.0);
    EXPECT_GT(ambfix_nearest_integer(5.1, 0.1), ambfix_nearest_integer(5.3, 0.1));
    EXPECT_EQ(ambfix_nearest_integer(4.0, 0.0), 1.0);
}

TEST(WindUp, CountsTheTurnsOfTheReceiver) {
    double ek[3] = {0.36, 0.48, 0.8}, xs[3] = {0.8, 0.6, 0}, ys[3] = {0.6, -0.8, 0}, xr[3], yr[3], zero[3] = {};
    const double cross_x[3] = {0, ek[2], -ek[1]}, cross_y[3] = {-ek[2], 0, ek[0]};
    double phw = 0, first = 0;
    for (int step = 0; step <= 100; ++step) {  // right-handed about the line of sight, 20 degrees a step
        const double c = std::cos(20 * kDeg * step), s = std::sin(20 * kDeg * step);
        for (int i = 0; i < 3; ++i) {  // Rodrigues on the x and y unit vectors
            xr[i] = (i == 0) * c + cross_x[i] * s + ek[i] * ek[0] * (1 - c);
            yr[i] = (i == 1) * c + cross_y[i] * s + ek[i] * ek[1] * (1 - c);
        }
        model_phase_windup(xs, ys, ek, xr, yr, &phw);
        if (step == 0) first = phw;
        EXPECT_NEAR(phw - first, step * 20.0 / 360, 1e-9);
    }
    model_phase_windup(xs, zero, ek, xr, yr, &phw);
    EXPECT_EQ(phw, 0.0);
}

TEST(Troposphere, ZenithDelaysAndMapping) {
    double blh[3] = {45 * kDeg, 0, 5500}, el5[2] = {0, 5 * kDeg}, pres, temp, z[2], map[2], dry[2], wet[2];
    standard_pres_temp(blh, &pres, &temp);
    EXPECT_NEAR(pres, 505.1, 1.0);  // standard atmosphere, 5.5 km
    blh[2] = 0;
    standard_pres_temp(blh, &pres, &temp);
    saastamonien(blh, temp, pres, 0.5, z);
    EXPECT_NEAR(z[0], 2.307, 1e-3);
    EXPECT_NEAR(z[1], 0.086, 0.005);  // 8.5 hPa of vapour

    EXPECT_NEAR(NMF(27, blh, kUp, map), 1.0, 1e-15);
    const double north = NMF(118.3, blh, el5, map);  // between the seasons
    EXPECT_NEAR(map[0], 10.15, 0.05);                // known values at 5 degrees
    EXPECT_NEAR(map[1], 10.75, 0.05);
    blh[0] = -blh[0];
    EXPECT_NEAR(NMF(118.3 + 365.25 / 2, blh, el5, map), north, 1e-12);  // the south half a year later
    EXPECT_GT(std::fabs(NMF(27, blh, el5, map) - NMF(27 + 182, blh, el5, map)), 1e-3);
    blh[0] = 10 * kDeg;
    EXPECT_EQ(NMF(27, blh, el5, map), NMF(200, blh, el5, map));  // no season in the tropics
    const double row[5] = {1, 2, 4, 8, 16};
    for (double low : {-1e300, 0.0, 15.0, std::nan("")}) EXPECT_EQ(interp_function(row, low), 1.0);
    EXPECT_EQ(interp_function(row, 37.5), 3.0);
    EXPECT_EQ(interp_function(row, 1e300), 16.0);

    EXPECT_NEAR(trop_delay(59232, blh, el5, dry, wet, 0.5), 24.4, 0.5);
    blh[2] = 20000;
    EXPECT_EQ(trop_delay(59232, blh, el5, dry, wet, 0.5), 0.0);
    EXPECT_TRUE(dry[0] == 0 && wet[0] == 0 && dry[1] > 9 && wet[1] > 9);
    blh[2] = 60000;
    EXPECT_EQ(trop_delay(59232, blh, el5, dry, wet, 0.5), 0.0);
    EXPECT_TRUE(dry[1] == 0 && wet[1] == 0);
    double flat[2] = {};
    EXPECT_EQ(NMF(27, blh, flat, map) + map[0] + map[1], 0.0);
    EXPECT_NEAR(MappingFunction_simple(30 * kDeg, map), 2.0, 1e-12);
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
    EXPECT_NEAR(Klobuchar_BDS_stec(a, b, 50400, equator, azel) * 1e4 / (1561.098 * 1561.098),
                Klobuchar_BDS(a, b, 50400, equator, azel) / 4.03, 1e-9);
}

TEST(Ionosphere, PiercePointAndMappings) {
    const double RE = 6371e3, h = 450e3;
    for (double lat :
         {-85.0, -20.0, 48.0, 84.0}) {  // against the intersection of the ray with the sphere, also over the poles
        for (double az : {10.0, 130.0, 185.0, 300.0}) {
            double blh[3] = {lat * kDeg, 1.0, 0}, azel[2] = {az * kDeg, 12 * kDeg}, p[3];
            const double factor = iono_pierce_point(blh, azel, RE, h, p);
            const double sin_el = std::sin(azel[1]),
                         t = -RE * sin_el + std::sqrt(RE * RE * sin_el * sin_el + 2 * RE * h + h * h);
            const double east = t * std::cos(azel[1]) * std::sin(azel[0]),
                         north = t * std::cos(azel[1]) * std::cos(azel[0]);
            const double up = RE + t * sin_el, out = up * std::cos(blh[0]) - north * std::sin(blh[0]);
            EXPECT_NEAR(p[0], std::asin((up * std::sin(blh[0]) + north * std::cos(blh[0])) / (RE + h)), 1e-12);
            EXPECT_NEAR(std::remainder(p[1] - 1.0 - std::atan2(east, out), 2 * kPi), 0.0, 1e-9);
            EXPECT_NEAR(factor, (RE + h) / (t + RE * sin_el), 1e-12);
        }
    }
    double leo[3] = {0, 0, 350000.0}, ground[3] = {}, azel[2] = {0, 20 * kDeg}, p[3];
    EXPECT_EQ(iono_map_single_layer(leo, azel), 1.0);
    EXPECT_NEAR(iono_map_single_layer(ground, azel), iono_pierce_point(ground, azel, 6378137, 350000, p), 1e-12);
    EXPECT_NEAR(iono_map_BDGIM(azel), iono_pierce_point(ground, azel, 6378000, 400000, p), 1e-12);
    EXPECT_NEAR(iono_map_FK_LEO(leo, kUp), 1.0, 1e-12);
}
