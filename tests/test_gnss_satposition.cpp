/// \file test_gnss_satposition.cpp
/// Navigation, SP3, clock and ANTEX readers, and satellite states against simulated truth.
#include <cmath>
#include <memory>

#include "gnss_satposition.h"
#include "host_support.h"

namespace {

using support::write_temp;

constexpr double kSpeedOfLight = 299792458.0;

std::string data(const std::string& name) { return support::data_path(name).string(); }
bool load_nav(const std::string& text) { return load_ephemeris_brdc(write_temp("nav", text).data()); }
bool load_sp3(const std::string& text) { return load_ephemris_prec(write_temp("sp3", text).data()); }
bool load_atx(const std::string& t) { return load_antenna_storage(write_temp("atx", t).data(), g_antenna_info_store); }
bool load_clk(const std::string& text) { return load_clock_prec(write_temp("clk", text).data(), g_prec_storage); }

GTime gpst(double mjd, double sod) { return gtimeAddSec(mjd2GTime(tsGPST, mjd), sod); }
GTime at(double sow, TIMESYS ts = tsGPST) { return SOW2GTime({2000, sow}, ts); }

double distance(const double* a, const double* b) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); }

/// Zeroed stores. The row counters of the navigation readers outlive each of them.
class SatPosition : public testing::Test {
  protected:
    SatPosition() {
        g_brdc_storage = brdc.get();
        g_prec_storage = prec.get();
        g_antenna_info_store = &antennas;
        g_eph_brdc_now = {};
        g_eph_selection = EPHOPT_BRDC;
    }
    ~SatPosition() override { std::free(antennas.antenna_info_storage); }
    ANT_INFO_STORE antennas = {};
    std::unique_ptr<EPHBRDC_STORE> brdc = std::make_unique<EPHBRDC_STORE>();
    std::unique_ptr<EPHPREC_STORE> prec = std::make_unique<EPHPREC_STORE>();
};

/// Largest differences allowed from the rows of simulated truth.
void expect_truth(const std::string& file, int least, double position, double velocity, double clock_m) {
    const std::vector<support::Row> rows = support::read_csv(file);
    EXPECT_GT(static_cast<int>(rows.size()), least);
    for (const support::Row& row : rows) {
        double truth[6], state[6], clock[2];
        for (int c = 0; c < 6; ++c) truth[c] = row.value(std::string(c < 3 ? "" : "v") + "xyz"[c % 3] + "_tx");
        int prn = 0;
        const sysGNSS sys = string2satsysprn(std::string(row.at("sat")).data(), &prn);
        const GTime time = gpst(row.value("mjd_gpst"), row.value("sod_tx"));
        ASSERT_TRUE(compute_satposvel(time, satsysprn2index(sys, prn), state, clock, nullptr)) << prn;
        ASSERT_LT(distance(state, truth), position) << prn;
        ASSERT_LT(distance(state + 3, truth + 3), velocity) << prn;
        ASSERT_LT(std::fabs(clock[0] - row.value("clk_s")) * kSpeedOfLight, clock_m) << prn;
    }
}

TEST_F(SatPosition, BroadcastMeetsSimulatedTruth) {  // GPS and BDS
    ASSERT_TRUE(load_ephemeris_brdc(support::arc21("arc.nav").data()));
    expect_truth(support::arc21("truth_satellites.csv"), 100, 2e-4, 1e-5, 1e-6);
}

TEST_F(SatPosition, PreciseMeetsSimulatedTruth) {
    LEOPOD_REQUIRE_DATA(support::data_path("leo_sim"));
    ASSERT_TRUE(load_ephemeris_brdc(data("leo_sim/dev19.nav").data()));
    ASSERT_TRUE(load_ephemris_prec(data("leo_sim/dev19.sp3").data()));
    ASSERT_TRUE(load_clock_prec(data("leo_sim/dev19.clk").data(), g_prec_storage));
    expect_truth(data("leo_sim/dev19_gps_truth_sats.csv"), 130, 1e-3, 1e-5, 5e-4);
}

/// A medium-orbit record of GPS week 2000 for edge cases; no reader involved.
template <class Record>
Record typical_record(int prn) {
    Record r = {};
    r.prn = prn, r.Week = 2000, r.TOE = 7200.0, r.TOC = {2018, 5, 6, 2, 0, 0.0}, r.ok = true;
    r.sv_clock_bias = 1e-4, r.sv_clock_drift = 1e-11;
    r.sqrt_A = 5153.6, r.e = 0.012, r.i0 = 0.96, r.omega = 0.7, r.M0 = 1.3, r.OMEGA0 = -2.0;
    r.OMEGA_dot = -8e-9, r.i_dot = 3e-10;
    r.Cus = 8e-6, r.Cuc = -3e-6, r.Crs = 90.0, r.Crc = 200.0, r.Cic = 1e-7, r.Cis = -1e-7;
    return r;
}

TEST_F(SatPosition, ChoiceOfRecordKeepsItsBounds) {
    EPHREC_GPS* gps = brdc->eph_brdc_gps_all[2];
    gps[7] = typical_record<EPHREC_GPS>(3);
    const auto chosen = [](double sow) {
        const bool found = choose_eph_gps_brdc(at(sow), 2);
        EXPECT_EQ(found, g_eph_brdc_now.eph_brdc_gps_now[2] != nullptr);
        return g_eph_brdc_now.eph_brdc_gps_now[2];
    };
    EXPECT_EQ(chosen(7200.0 + 7200.5), gps + 7);
    support::LogRecorder log;
    EXPECT_EQ(chosen(7200.0 + 7201.0), nullptr);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "gps brdc not found, satindex=2 dt_min=7201.000000 index_eph=7 i=100"), 1);
    EXPECT_EQ(chosen(7200.0), nullptr);  // exactly at TOE
    gps[3] = gps[7];
    EXPECT_EQ(chosen(7300.0), gps + 3);  // a tie goes to the earlier slot
    for (double issue : {-1.0, 1024.0, 1023.0}) {
        gps[3].IODE = issue;
        EXPECT_EQ(chosen(7300.0), issue == 1023.0 ? gps + 3 : gps + 7);
    }
    gps[3].sv_health = 1;
    EXPECT_EQ(chosen(7300.0), gps + 7);
    for (double sqrt_A : {2530.0, 5153.6}) {  // rejected for good
        gps[7].sqrt_A = sqrt_A;
        EXPECT_EQ(chosen(7300.0), nullptr);
    }
    EPHREC_BDS* bds = brdc->eph_brdc_bds_all[5];
    bds[0] = bds[1] = typical_record<EPHREC_BDS>(6);
    for (double dt : {0.0, -3600.5, -3601.0}) {
        EXPECT_EQ(choose_eph_bds_brdc(at(7200.0 + dt, tsBDST), 37), dt > -3601.0);
        EXPECT_EQ(g_eph_brdc_now.eph_brdc_bds_now[5], dt > -3601.0 ? bds + 1 : nullptr);  // here to the later one
    }
    // week crossing, and a state that runs on smoothly over it
    gps[9] = typical_record<EPHREC_GPS>(3);
    gps[9].TOE = 604000.0;
    double before[6], after[6];
    EXPECT_TRUE(compute_satposvel(at(604799.5), 2, before, nullptr, nullptr));
    EXPECT_TRUE(compute_satposvel(at(604800.5), 2, after, nullptr, nullptr));
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(after[i] - before[i], 0.5 * (before[3 + i] + after[3 + i]), 1e-4);
    EXPECT_FALSE(choose_eph_gps_brdc(at(7300.0), 90));  // PRN 59: behind the rows
}

TEST_F(SatPosition, EvaluatorsAgreeWithEachOther) {
    EPHREC_GPS gps = typical_record<EPHREC_GPS>(1);
    EPHREC_BDS bds = typical_record<EPHREC_BDS>(6), renewed = bds;
    EPHREC_GAL gal = typical_record<EPHREC_GAL>(1);
    renewed.sat_type = 3;
    renewed.delta_A = bds.sqrt_A * bds.sqrt_A - 27906100.0;
    gps.TGD = 1.0;
    gal.BGD_E5a_E1 = 2.0;
    bds.TGD_B1_B3 = renewed.TGD_B1_B3 = 3.0;
    g_eph_brdc_now.eph_brdc_gps_now[0] = &gps;
    g_eph_brdc_now.eph_brdc_gal_now[0] = &gal;
    g_eph_brdc_now.eph_brdc_bds_now[5] = &bds;
    g_eph_brdc_now.eph_brdc_bds_now[6] = &renewed;
    const std::tuple<double (*)(int, GTime, double*, double*), int, TIMESYS> kinds[] = {
        {compute_satposvelclk_gps_brdc, 1, tsGPST},
        {compute_satposvelclk_bds_brdc, 6, tsBDST},
        {compute_satposvelclk_gal_brdc, 1, tsGALT},
        {compute_satposvelclk_bds_brdc_v3, 7, tsBDST}};
    for (const auto& [evaluate, prn, ts] : kinds) {
        for (double sow = 100.0; sow < 14000.0; sow += 1700.0) {
            double s[3][6];
            for (int k = 0; k < 3; ++k) evaluate(prn, at(sow + 0.5 * k, ts), s[k], nullptr);
            for (int i = 0; i < 3; ++i) EXPECT_NEAR(s[1][3 + i], s[2][i] - s[0][i], 2e-4) << prn << ' ' << sow;
        }
    }

    double a[6], b[6], ca[2], cb[2];
    EXPECT_EQ(compute_satposvelclk_bds_brdc(6, at(9000.0, tsBDST), a, ca), 3.0);
    EXPECT_EQ(compute_satposvelclk_bds_brdc_v3(7, at(9000.0, tsBDST), b, cb), 3.0);
    EXPECT_LT(distance(a, b), 1e-6);
    EXPECT_TRUE(ca[1] == 1e-11 && cb[1] == 1e-11);  // no relativistic drift

    GTime t = at(9000.0);
    EXPECT_EQ(compute_satposvelclk_gps_brdc(1, t, a, ca), 1.0);
    t.sys = tsGALT;
    gal.TOE = 7200.0 + GTime2SOW(t).sow - 9000.0;  // the week of Galileo starts 13 s off
    gal.OMEGA0 += 7.2921151467e-05 * (gal.TOE - 7200.0);
    EXPECT_EQ(compute_satposvelclk_gal_brdc(1, t, b, cb), 2.0);
    EXPECT_LT(distance(a, b), 1e-4);
    EXPECT_NEAR(ca[1], cb[1], 1e-18);
    // the periodic term is -2 r.v/c^2 of the elements' motion: 23 ns at this eccentricity, none without an orbit
    compute_satposvelclk_gps_brdc(1, at(9000.0), nullptr, cb);
    const double rel = -2.0 * (a[0] * a[3] + a[1] * a[4] + a[2] * a[5]) / kSpeedOfLight / kSpeedOfLight;
    EXPECT_NEAR(ca[0] - cb[0], rel, 1e-10);
    compute_satposvelclk_gps_brdc(1, at(8990.0), a, ca);
    compute_satposvelclk_gps_brdc(1, at(9010.0), a, cb);
    const double rate = (cb[0] - ca[0]) / 20.0;
    EXPECT_NEAR((ca[1] + cb[1]) / 2.0, rate, 1e-15);

    // half a week from TOE: GPS turns over at the bound, BDS behind it
    for (const auto& [evaluate, prn, ts] : {kinds[0], kinds[1]}) {
        evaluate(prn, at(309600.0, ts), a, nullptr);
        evaluate(prn, at(309600.5, ts), b, nullptr);
        EXPECT_EQ(distance(a, b) < 3e3, ts == tsGPST);
    }
    // elements out of reason end as well; absent records
    for (double e : {1.0, 5.0, std::nan(""), 1e300}) {
        gps.e = gal.e = bds.e = renewed.e = e;
        for (const auto& [evaluate, prn, ts] : kinds) evaluate(prn, t, a, ca);
    }
    for (int absent : {-5, 0, 2, 65}) {
        for (const auto& [evaluate, prn, ts] : kinds) EXPECT_EQ(evaluate(absent, t, a, ca), 0.0);
    }
    EXPECT_TRUE(compute_satposvel(t, 95, nullptr, nullptr, nullptr));  // a low orbiter has no broadcast data
}

TEST_F(SatPosition, OrbitsKnownWithoutEvaluation) {
    // settled: the rate of the argument of latitude takes the corrected angle; a flat circle shows it
    EPHREC_GPS flat = {};
    flat.sqrt_A = 5153.6, flat.Cus = flat.Cuc = 0.01, flat.OMEGA_dot = 7.2921151467e-05;
    flat.TOE = 7200.0, flat.OMEGA0 = flat.OMEGA_dot * flat.TOE;
    g_eph_brdc_now.eph_brdc_gps_now[0] = &flat;
    double a[6], b[6];
    for (double sow : {7200.0, 9200.0}) {  // at the perigee the velocity is finite
        compute_satposvelclk_gps_brdc(1, at(sow), a, nullptr);
        const double u2 = 2.0 * std::atan2(a[1], a[0]);
        const double u_rate = 1.0 + 2.0 * 0.01 * (std::cos(u2) - std::sin(u2));
        EXPECT_NEAR(std::hypot(a[3], a[4], a[5]), std::sqrt(3.986005e14) / 5153.6 * u_rate, 1e-8);
    }

    // a geostationary satellite: the plane tilted by 5 degrees is the equator, the position stands still
    EPHREC_BDS geo = {};
    geo.prn = 5, geo.TOE = 7200.0, geo.M0 = 0.4, geo.i0 = std::acos(-1.0) / 36.0;
    geo.sqrt_A = std::sqrt(std::cbrt(3.986004418e14 / 7.292115e-05 / 7.292115e-05));
    geo.OMEGA0 = std::acos(-1.0) + 7.292115e-05 * 7200.0;
    g_eph_brdc_now.eph_brdc_bds_now[4] = &geo;
    compute_satposvelclk_bds_brdc(5, at(5400.0, tsBDST), a, nullptr);
    compute_satposvelclk_bds_brdc(5, at(9000.0, tsBDST), b, nullptr);
    EXPECT_LT(distance(a, b), 1e-4);
    EXPECT_NEAR(a[2], 0.0, 1e-6);
    EXPECT_EQ(std::hypot(b[3], b[4], b[5]), 0.0);
}

/// Header line of a navigation file, then one record with PRN `sat`, all orbit fields different.
std::string navigation_text(bool v3, const std::string& sat, const char* last_line) {
    std::string text = v3 ? "     3              N: GNSS NAV DATA    M                   RINEX VERSION / TYPE\n"
                            "GPSA   1.1000D-08  1.4901D-08 -5.9605D-08 -1.1921D-07       IONOSPHERIC CORR\n"
                            "GAL    2.8250D+01  1.0000D+00  1.0000D+00                  IONOSPHERIC CORR\n"
                            "BDSA   1.1000D-08  1.4901D-08 -5.9605D-08 -1.1921D-07       IONOSPHERIC CORR\n"
                          : "     2              N: GPS NAV DATA                         RINEX VERSION / TYPE\n";
    text += "                                                            END OF HEADER\n";
    text += v3 ? sat + " 2018 05 06 02 00 59" : sat + " 99  5  6  2  0 59.5";
    text += " 1.000000000000D-04 2.000000000000D-11-3.000000000000D-20\n";
    for (int row = 0; row < 6; ++row) {
        text += v3 ? "    " : "   ";
        for (int k = 0; k < 4; ++k) text += " " + std::to_string(1.0 + 0.1 * row + 0.01 * k) + "000000D+02";
        text += "\n";
    }
    return text + last_line;
}
const char kLongLine[] = "     4.000000000000D+00 6.000000000000D+00\n";

TEST_F(SatPosition, NavigationReadersKeepTheirLimits) {
    ASSERT_TRUE(load_nav(navigation_text(true, "G33", kLongLine) + "E05 2018 05 06 02 00 59\n"));
    const EPHREC_GPS& g = brdc->eph_brdc_gps_all[32][0];
    EXPECT_TRUE(g.ok && g.L2_code && g.L2_P && g.TOC.second == 59.0 && g.Week == 142);
    EXPECT_DOUBLE_EQ(g.IODE, 100.0);
    EXPECT_DOUBLE_EQ(g.IODC, 153.0);
    EXPECT_DOUBLE_EQ(iono_brdc_GPS_A[0], 1.1e-08);
    EXPECT_EQ(iono_brdc_GAL_I[0], 28.25);
    EXPECT_EQ(iono_brdc_BDS_A[0], 0.0);

    // the version 2 reader counts on its own and starts at the first slot again; three characters of 59.5
    ASSERT_TRUE(load_nav(navigation_text(false, "33", "    4.000000000000d+00\n \n")));
    EXPECT_TRUE(g.TOC.year == 99 && g.TOC.second == 59.0 && g.transmission_msg_time == 4.0 && g.Fit_interval == 6.0);
    EXPECT_FALSE(brdc->eph_brdc_gps_all[32][1].ok);  // the blank last line made no record

    std::string small = navigation_text(false, "32", kLongLine);  // the first line takes the capital letter alone
    std::replace(small.begin() + static_cast<long>(small.find("HEADER\n") + 7), small.end(), 'D', 'd');
    ASSERT_TRUE(load_nav(small));
    EXPECT_TRUE(brdc->eph_brdc_gps_all[31][0].sv_clock_bias == 1.0 && brdc->eph_brdc_gps_all[31][0].Crs == 101.0);

    // numbers outside the rows, then a hundred records too many
    for (auto sat : {"G34", "G00", "G-1", "C64", "R01"}) EXPECT_TRUE(load_nav(navigation_text(true, sat, kLongLine)));
    std::string many = navigation_text(true, "C63", kLongLine);
    for (int i = 0; i < 7; ++i) many += many.substr(many.find("C63"));
    support::LogRecorder log;
    ASSERT_TRUE(load_nav(many));
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "more than 100 records of a satellite"), 1);
    EXPECT_TRUE(brdc->eph_brdc_bds_all[62][99].ok && !brdc->eph_brdc_bds_all[63][0].ok);
    EXPECT_DOUBLE_EQ(brdc->eph_brdc_bds_all[62][99].TGD_B2_B3, 153.0);
    std::string dense = navigation_text(true, "C62", kLongLine);  // widths, not blanks, part the fields
    ASSERT_TRUE(load_nav(dense.replace(dense.find("C62"), 23, "C6220180506020059      ")));
    const EPHREC_BDS& bds = brdc->eph_brdc_bds_all[61][0];
    EXPECT_EQ(bds.AODC, 6.0);
    const TimeYMD toc = bds.TOC;
    EXPECT_TRUE(toc.year == 2018 && toc.month == 5 && toc.day == 6 && toc.hour == 2 && toc.second == 59.0);
    EXPECT_FALSE(load_nav("") || load_nav("     2.01           G: GLONASS NAV DATA\n"));
}

/// SP3 text with epochs 300 s apart from 2021-01-18 00:00 on: G01 moves straight, position `gap` is zero, clock `gap` is bad.
std::string sp3_text(int first, int n, int gap = -1) {
    std::string text = "#cP2021  1 18  0  0  0.00000000\n+    1   G01\n%c G  cc GPS\n/* comment\n";
    for (int i = first; i < first + n; ++i) {
        const bool ok = i != gap;
        char line[300];
        std::snprintf(line, sizeof line, "*  2021  1 18 %d %d  0.0\nPG01 %f %f %f %f\n", i / 12, i % 12 * 5,
                      ok ? 20000.0 + i : 0.0, ok ? 1000.0 - 2 * i : 0.0, ok ? 3.0 : 0.0, ok ? 10.0 + i : 999999.999999);
        text +=
            line + std::string("PE01 1.0 2.0 3.0 4.0\nPL08 1.0 2.0 3.0 4.0\nVG01 1.0 2.0 3.0 4.0\nPC99 1 2 3 4\nP\n");
    }
    return text;
}

TEST_F(SatPosition, PreciseOrbitFileAndInterpolation) {
    double state[6], clk[2];
    const GTime t0 = gpst(59232, 0.0);
    EXPECT_FALSE(compute_satposvel_prec(t0, 0, state) || compute_satclk_prec(t0, 0, clk));  // empty rows
    ASSERT_TRUE(load_sp3(sp3_text(12, 12, 15) + "EOF\n" + sp3_text(50, 1)));
    // no end marker here, and an unfinished last line that must not count; overlaps the file before
    support::LogRecorder log;
    ASSERT_TRUE(load_sp3(sp3_text(0, 14) + "PG01 1.0 1.0 1.0 1.0"));
    EXPECT_TRUE(prec->idx_eph[0] == 24 && prec->idx_clk[0] == 23);  // the bad clock left a gap
    for (int i = 1; i < 98; ++i) EXPECT_EQ(prec->idx_eph[i] + prec->idx_clk[i], 0);

    for (double t : {0.0, 1.0 / 300, 1.4575, 15.0, 15.0 + 1.0 / 300, 22.9, 23.0}) {
        const GTime time = gpst(59232, 300.0 * t);
        ASSERT_TRUE(compute_satposvel_prec(time, 0, state) && compute_satclk_prec(time, 0, clk)) << t;
        const double truth[6] = {20000e3 + 1e3 * t, 1000e3 - 2e3 * t, 3e3, 1e3 / 300, -2e3 / 300, 0.0};
        EXPECT_LT(distance(state, truth), 1e-5) << t;
        EXPECT_LT(distance(state + 3, truth + 3), 1e-7) << t;
        EXPECT_NEAR(clk[0], (10.0 + t) * 1e-6, 1e-15);
        EXPECT_NEAR(clk[1], 1e-6 / 300, 1e-17);
    }
    for (double sod : {-1.0, 300.0 * 23 + 1.0}) {
        const GTime t = gpst(59232, sod);
        EXPECT_FALSE(compute_satposvel_prec(t, 0, state) || compute_satclk_prec(t, 0, clk) || clk[0] != 0.0);
        double delay = 9.0;
        EXPECT_TRUE(compute_satposvel(t, 0, state, clk, &delay) && delay == 0.0);  // does not surface
    }
    for (int satindex : {-1, 96, 98, 104}) EXPECT_FALSE(compute_satposvel_prec(t0, satindex, state));

    // the window is 11 points wide: a kink outside leaves the result alone
    EPHREC_PRE* row = prec->eph_pre_all[0];
    row[0].pos_ecf[0] += 1e6;
    EXPECT_TRUE(compute_satposvel_prec(gpst(59232, 300.0 * 6 + 1.0), 0, state));
    EXPECT_NEAR(state[0], 20000e3 + 1e3 * (6 + 1 / 300.0), 1e-5);
    // the last element looked at, not the nearer 11
    EXPECT_EQ(find_closest_eph_prec(row, 24, gpst(59232, 300.0 * 11.1)), 12);

    ASSERT_TRUE(
        load_sp3("*  2021  1 18 5 0 12.5\nPG02 1.0 1.0 1.0 1.0\n*  2021  1 18 5 1 0\nPG02 1.0 1.0 1.0 99999.0\nEOF\n"));
    EXPECT_TRUE(prec->eph_pre_all[1][0].time.time.sod == 18012.5 && prec->idx_eph[1] == 2 && prec->idx_clk[1] == 1);
    EXPECT_EQ(log.count(ULOG_INFO_LEVEL, "load_ephemeris_prec["), 2);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "more than 98 satellites in the index"), 1);  // C99 and L08, once a file
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "satsysprn2index()"), 0);

    // many gaps and an unusable middle record stay inside the buffers
    for (int i = 0; i < 24; ++i) row[i].pos_ecf[0] = row[i].pos_ecf[1] = row[i].pos_ecf[2] = i % 3 == 0 ? 0.0 : 0.001;
    for (double sod = 0.0; sod < 6900.0; sod += 150.0) compute_satposvel_prec(gpst(59232, sod), 0, state);
}

std::string clock_text(const std::string& values) {
    const std::string date = " 2021 01 18 00 10  7.500000 ";
    return "AS G09" + date + "1 1.0\n     END OF HEADER\n\nAR ABCD" + date + "7 1.0\nAS G01" + date + values +
           "\nAS E01" + date + "9 1.0\nAS C99" + date + "1 1.0\n";
}

TEST_F(SatPosition, ClockFileValuesAndFatalLines) {
    EXPECT_TRUE(load_clk(clock_text(" 2  99998.0 -7.0")));
    EXPECT_TRUE(load_clk(clock_text(" 1  99999.0")));
    EXPECT_TRUE(prec->idx_clk[0] == 1 && prec->idx_clk[8] == 0);
    EXPECT_TRUE(prec->clk_pre_all[0][0].clk_offset == 99998.0 && prec->clk_pre_all[0][0].clk_drift == -7.0);
    EXPECT_EQ(prec->clk_pre_all[0][0].time.time.sod, 607.5);
    EXPECT_STOP(load_clk(clock_text(" 3  1.0 2.0 3.0")), "nn=3, format error for this clk file .*stopping");
    EXPECT_STOP(load_ephemris_prec(data("no.sp3").data()), "^sp3 file .*no.sp3 open failed!\n");

    // settled: a record counts in the global store, whichever receives it
    const auto other = std::make_unique<EPHPREC_STORE>();
    EXPECT_TRUE(load_clock_prec(write_temp("clk", clock_text(" 1  3.0")).data(), other.get()));
    EXPECT_TRUE(prec->idx_clk[0] == 2 && other->idx_clk[0] == 0 && other->clk_pre_all[0][1].clk_offset == 3.0);

    // a full row ends the reading, with a warning
    prec->idx_clk[0] = MAXEPOCH_CLK_PRE;
    support::LogRecorder log;
    EXPECT_TRUE(load_clk(clock_text(" 1  1.0")));
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "clk record number(8640) is larger than MAXEPOCH_CLK_PRE(8640)\n"));
}

std::string label(std::string line, const char* name) {
    line.resize(60, ' ');
    return line + name + "\n";
}

std::string antenna_text(const std::string& type, const std::vector<std::string>& codes,
                         const std::string& from = "  2015 1 1 0 0 0.0") {
    std::string text = label("", "START OF ANTENNA") + label(type, "TYPE / SERIAL NO") + label(from, "VALID FROM");
    int up = 100;
    for (const std::string& code : codes) {
        const std::string offset = "      1.00     -2.00    " + std::to_string(up += 10) + ".00";
        text += label("   " + code, "START OF FREQUENCY") + label(offset, "NORTH / EAST / UP") +
                "   NOAZI    0.00    1.00\n" + label("   " + code, "END OF FREQUENCY");
    }
    return text + label("", "END OF ANTENNA");
}

TEST_F(SatPosition, AntennaBlocksFrequenciesAndSearch) {
    char block[] = "BLOCK IIF", receiver[] = "ASH701945E_M";
    ASSERT_TRUE(load_atx(antenna_text("BLOCK IIF           C06", {"S01", "C07", "G05", "C02"}) +
                         antenna_text("BLOCK IIF           G01", {"G01", "G02"}, "  2010 1 1 0 0 0.0") +
                         antenna_text("ASH701945E_M    NONE123", {"G01"}) +
                         antenna_text("NOTHING KNOWN       G02", {"J01"}) +
                         antenna_text("GALILEO-2           E04", {"E06"})));
    ASSERT_EQ(antennas.num_antenna_info, 4);
    const ANT_INFO* a = antennas.antenna_info_storage;
    EXPECT_TRUE(a[0].freqs[0] == L2 && a[0].satsys[0] == BDS && a[0].freqs[1] == L5 && a[0].satsys[1] == GPS);
    EXPECT_DOUBLE_EQ(a[0].pco[0][2], 0.12);  // the second block of the file: the first has no known code
    EXPECT_TRUE(a[0].mjd_available[0] == 57023.0 && a[0].mjd_available[1] == 9999999.0);
    EXPECT_TRUE(a[0].idx_object == 37 && a[2].idx_object == -1 && a[3].idx_object == -1 && a[3].freqs[0] == L2);
    EXPECT_EQ(search_ant_info(0, block, 57023.0), a);  // the first of the type, whatever its satellite
    EXPECT_EQ(search_ant_info(0, block, 57022.9), a + 1);
    EXPECT_EQ(search_ant_info(-1, receiver, 58000.0), a + 2);
    EXPECT_EQ(search_ant_info(37, nullptr, 57023.0), a);
    EXPECT_EQ(search_ant_info(37, nullptr, 57022.9), nullptr);
    for (int i = 0; i < 40; ++i) ASSERT_TRUE(add_antenna_into_storage(&antennas.antenna_info_storage[1], &antennas));
    EXPECT_EQ(antennas.antenna_info_storage[43].idx_object, 0);
}

TEST_F(SatPosition, RealAntennasAndABlockWithoutEnd) {
    ASSERT_TRUE(load_antenna_storage(support::excerpt("gps_satellites_2010208.atx").data(), &antennas));
    ASSERT_EQ(antennas.num_antenna_info, 31);  // G01 was not in service
    const ANT_INFO* a = search_ant_info(2, nullptr, 55404.0);
    ASSERT_TRUE(a != nullptr && a->mjd_available[0] == 50170.0);
    EXPECT_NEAR(std::hypot(a->pco[0][0] - 0.279, a->pco[1][2] - 2.7926), 0.0, 1e-12);
    EXPECT_EQ(search_ant_info(2, nullptr, 50169.9), nullptr);
    EXPECT_EQ(search_ant_info(0, nullptr, 55404.0), nullptr);
    // A block without end goes on in the next one, which has no date of its own.
    const std::string unended = antenna_text("GALILEO-2           E04", {"E01"}), end = label("", "END OF ANTENNA");
    std::string dateless = antenna_text("JPSLEGANT_E     NONE", {"G01", "G02"});
    dateless.erase(dateless.find("  2015"), 71);
    ASSERT_TRUE(load_atx(unended.substr(0, unended.size() - end.size()) + dateless + dateless));
    ASSERT_EQ(antennas.num_antenna_info, 33);
    a = antennas.antenna_info_storage + 31;
    EXPECT_TRUE(a[0].mjd_available[0] == 57023.0 && a[1].mjd_available[0] == 0.0);
    EXPECT_DOUBLE_EQ(a[1].pco[1][2], 0.12);
}

}  // namespace
