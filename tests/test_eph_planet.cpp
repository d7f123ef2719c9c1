#include <algorithm>
#include <cmath>
#include <cstring>

#include "eph_planet.h"
#include "support.h"
#ifdef HAVE_ERFA
#include <erfa.h>
#endif

namespace {

constexpr double kStart = 2459216.5, kEnd = 2459248.5;  // the built-in record

EPH_HEADER_JPL header;
std::vector<EPH_RECORD_JPL> records(MAXNUM_RECORD_JPLEPH + 1);

/// Loads a file, or the built-in record without a name.
bool load(std::string file = "") {
    initialize_global_eph_planet();
    std::memset(&header, 0, sizeof header);
    g_eph_header = &header;
    g_ephData_storage = records.data();
    if (file.empty()) return load_eph_storage_default(&header, records.data());
    return load_eph_storage_file(file.data(), &header, records.data());
}

// Mass of the Sun over that of the system, IAU; the Earth without the Moon; the Moon as part of the Earth.
TEST(EphPlanet, MassesOfThePlanets) {
    initialize_global_eph_planet();
    const std::pair<PLANET_JPL, double> ratios[] = {
        {MERCURY, 6023600}, {VENUS, 408523.71}, {EARTH, 332946.05},  {MARS, 3098708},    {JUPITER, 1047.3486},
        {SATURN, 3497.898}, {URANUS, 22902.98}, {NEPTUNE, 19412.24}, {PLUTO, 135836683}, {MOON, 332946.05 * 81.30057}};
    for (const auto& [body, ratio] : ratios) EXPECT_NEAR(PLANET_GM[SUN] / PLANET_GM[body] / ratio, 1.0, 5e-5) << body;
    EXPECT_NEAR(PLANET_GM[SUN], 1.32712440041e11, 1.0);
}

TEST(EphPlanet, LimitsOfDatesAndBodies) {
    ASSERT_TRUE(load());
    double pv[6] = {7, 7, 7, 7, 7, 7};
    const support::CommaLocale comma;
    const support::LogRecorder log;
    for (const double date : {std::nan(""), HUGE_VAL, -1e300, kEnd + 1e-6, kStart - 0.1}) {
        EXPECT_FALSE(compute_planet_pos_vel(date, EARTH, SUN, pv));
    }
    for (const PLANET_JPL centre : {SUN, TOTAL_PLANET}) EXPECT_FALSE(compute_planet_pos_vel(kStart, centre, SUN, pv));
    for (const PLANET_JPL body : {SOLAR_BARY, TTmTDB}) EXPECT_FALSE(compute_planet_pos_vel(kStart, EARTH, body, pv));
    EXPECT_FALSE(compute_planet_pos_vel(kStart, static_cast<PLANET_JPL>(-1), static_cast<PLANET_JPL>(1000), pv));
    EXPECT_EQ(std::count(pv, pv + 6, 7.0), 6);
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "JED (2459216.400000) not within ephemeris limits (2459216.500000 -- "), 1);
    EXPECT_TRUE(compute_planet_pos_vel(kStart, EARTH, SUN, pv));
    EXPECT_TRUE(compute_planet_pos_vel(kEnd, EARTH, SUN, pv));
    // Layouts that do not fit the record.
    const int layouts[][3] = {{1018, 13, 8}, {-5, 13, 8}, {441, 19, 1},   {441, 13, 1 << 30},
                              {3, 0, 0},     {3, 13, 0},  {1 << 30, 1, 1}};
    for (const auto& layout : layouts) {
        load();
        std::copy_n(layout, 3, header.ipt[MOON]);
        EXPECT_FALSE(compute_planet_pos_vel(kStart + 1, EARTH, SUN, pv));
    }
    for (const double length : {0.0, -32.0, 1e-9, std::nan("")}) {  // more records than a store may hold
        load();
        header.ss[2] = length;
        EXPECT_FALSE(compute_planet_pos_vel(kStart + 30, EARTH, SUN, pv));
    }
    // Three records and a count of 1: that it isn't 0 is all that is asked of it.
    load();
    records[2] = records[0];
    header.ss[1] = records[2].chebychev_coef[1] += 64.0;
    EXPECT_TRUE(compute_planet_pos_vel(kStart + 64, EARTH, SUN, pv));
}

// The positions are those of the oracle of the forces, which has the published record.
TEST(EphPlanet, VelocityIsTheRateOfThePosition) {
    ASSERT_TRUE(load());
    double pv[6], before[6], after[6], au[6];
    for (const PLANET_JPL centre : {EARTH, SOLAR_BARY}) {
        for (const PLANET_JPL body : {MERCURY, VENUS, MARS, PLUTO, SUN, MOON}) {
            ASSERT_TRUE(compute_planet_pos_vel(kStart + 15.3, centre, body, pv));
            ASSERT_TRUE(compute_planet_pos_vel(kStart + 15.3 - 1.0 / 1024, centre, body, before));
            ASSERT_TRUE(compute_planet_pos_vel(kStart + 15.3 + 1.0 / 1024, centre, body, after));
            for (int i = 0; i < 3; ++i) EXPECT_NEAR(pv[3 + i], (after[i] - before[i]) / 168.75, 1e-7) << body;
        }
    }
    g_unit_km = false;
    ASSERT_TRUE(compute_planet_pos_vel(kStart + 15.3, SOLAR_BARY, MOON, au));
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(au[i] * header.au / (i < 3 ? 1.0 : 86400.0), pv[i], 1e-6);
}

TEST(EphPlanet, FileAgainstItsTestValues) {
    const auto file = support::data_path("jpl/de438r_2016_2021.txt");
    LEOPOD_REQUIRE_DATA(file);
    support::LogRecorder log;
    ASSERT_TRUE(load(file.string()));
    EXPECT_EQ(g_num_eph_record, 59);
    EXPECT_EQ(header.au, 149597870.7);
    EXPECT_EQ(header.emrat, 81.3005683381650925);
    EXPECT_EQ(records[0].chebychev_coef[0], 2457392.5);  // the padding of a record belongs to no coefficient
    double lower[6], upper[6];
    ASSERT_TRUE(compute_planet_pos_vel(2457424.5 - 1e-6, EARTH, SUN, lower));
    ASSERT_TRUE(compute_planet_pos_vel(2457424.5, EARTH, SUN, upper));  // the later record at its start
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(lower[i] + upper[3 + i] * 0.0864, upper[i], 1e-2);

    log.clear();
    EphTest(support::data_path("jpl/testpo_438r_generated.txt").string().data());
    EXPECT_EQ(log.messages().size(), 1u + 3u);  // 304 lines: every hundredth, and none for a difference of 1e-13
    log.clear();
    EphTest(support::write_temp("odd_test.txt",
                                "EOT\n438\n\n438  2018.01.01 2458119.5 -7 99  9 0.5\n"
                                "438  2018.01.01 2458119.5 -7 99  1 0.5\n438  2018.01.01 2458119.5 3\n")
                .data());
    EXPECT_EQ(log.count(ULOG_DEBUG_LEVEL, "*****  warning : next difference >= 1.0E-13  *****"), 1);
}

TEST(EphPlanet, FilesWithFlaws) {
    EXPECT_FALSE(load("absent.405"));
    EXPECT_FALSE(load(support::write_temp("none.405", "GROUP   1070\n  0.1D+01  0.2D+01\n")));
    EXPECT_EQ(g_num_eph_record, 0);
    load();  // its layout, and a record length that asks for records behind the last one
    EXPECT_TRUE(load_eph_storage_file(support::write_temp("short.405",
                                                          "GROUP   1030\n1.0 3.0 0.1\nGROUP   1070\n"
                                                          "1 3\n0.15D+01 0.25D+01 0.0D+00\n"
                                                          "2 3\n0.25D+01 0.35D+01 0.0D+00\n")
                                          .data(),
                                      &header, records.data()));
    double pv[6];
    EXPECT_TRUE(compute_planet_pos_vel(1.5, EARTH, SUN, pv));
    EXPECT_FALSE(compute_planet_pos_vel(2.6, EARTH, SUN, pv));

    std::string text = "GROUP   1030\n \n  1.0 2.0 32.\nGROUP   1040\n  1200\n";
    for (int i = 0; i < 1200; ++i) text += i % 10 == 9 ? " A_name_of_thirty_characters____\n" : " AU";
    text += "GROUP   1050\n";
    for (int i = 0; i < 120; ++i) text += i % 40 == 39 ? " 99999999999\n" : " 99999999999";
    text += "GROUP   1070\n";
    for (int i = 1; i <= MAXNUM_RECORD_JPLEPH + 3; ++i)
        text += std::to_string(i) + "  4000\n  0.1D+01  0.2D+01  0.3D+01\n";
    for (const std::size_t length : {std::size_t{9000}, text.size() - 70000, text.size() / 2, text.size()}) {
        load(support::write_temp("flawed.405", text.substr(0, length)));
        EXPECT_FALSE(compute_planet_pos_vel(1.5, MARS, SUN, pv));
        EXPECT_LE(header.con_num, MAXNUM_CONSTANT_JPLEPH);
    }
    EXPECT_EQ(g_num_eph_record, MAXNUM_RECORD_JPLEPH);
    EXPECT_EQ(records[MAXNUM_RECORD_JPLEPH].coef_num, NUM_COEF_JPLEPH);
    EXPECT_STREQ(header.con_name[9], "A_name_of_thirty_ch");
}

TEST(EphPlanet, AnalyticFallback) {
    initialize_global_eph_planet();
    double pv[6], expected[6];
    EXPECT_FALSE(compute_planet_pos_vel(kStart, SUN, EARTH, pv));
    EXPECT_FALSE(compute_planet_pos_vel(std::nan(""), EARTH, SUN, pv));
    // Mean equator of date against J2000, and the series' own accuracy.
    for (const auto& [body, tolerance] : {std::pair{SUN, 0.006 * 1.5e8}, {MOON, 0.01 * 3.8e5}}) {
        initialize_global_eph_planet();
        ASSERT_TRUE(compute_planet_pos_vel(kStart + 5, EARTH, body, pv));
        load();
        ASSERT_TRUE(compute_planet_pos_vel(kStart + 5, EARTH, body, expected));
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(pv[i] / 1000, expected[i], tolerance);
    }
#ifdef HAVE_ERFA
    const double t = 0.21;
    double f[5];
    ast_args(t, f);
    const double peer[4] = {eraFal03(t), eraFalp03(t), eraFaf03(t), eraFad03(t)};
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(f[i], peer[i], 1e-11);
    EXPECT_NEAR(f[4], eraFaom03(t), 3e-7);  // an older rate of the node
#endif
}

}  // namespace
