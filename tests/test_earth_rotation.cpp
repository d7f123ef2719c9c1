// Earth orientation store and readers; celestial-terrestrial transformation against ERFA and a simulated orbit.
#include <algorithm>
#include <cmath>

#include "earth_rotation_param.h"
#include "iers_function.h"
#include "support.h"

#ifdef HAVE_ERFA
#include <erfa.h>
#endif

namespace {

constexpr double kLeap = 37.0;  // TAI-UTC in 2021 [s]

/// A fresh store of exactly the room that the loaders may use, so that the sanitizer sees a step beyond it.
struct EarthRotation : testing::Test {
    std::vector<EOPREC> store;
    void SetUp() override {
        initialize_global_earth_rotation_param();
        store.assign(MAXSIZE_EOP + 1, EOPREC{});
        g_eop_storage = store.data();
    }
    bool load(bool (*reader)(char*), std::string path) {
        SetUp();
        return reader(path.data());
    }
};

TEST_F(EarthRotation, DefaultsAndTheirSpan) {
    load_eops_default(store.data(), 3);
    EXPECT_NEAR(store[1].LOD, -0.1813e-3, 1e-18);  // no tail of the field before
    EOPREC eop;
    EXPECT_FALSE(compute_eop(59230.99, &eop));  // the first look-up goes by the span alone
    EXPECT_EQ(store[2].UT1mUTC, -0.1714154);
    EXPECT_NEAR(store[2].dY, 0.132e-3, 1e-18);
    for (const auto& [mjd, index] : {std::pair{59231.0, 0}, {59232.0, 0}, {59232.001, 1}, {59233.0, 1}}) {
        EXPECT_EQ(search_eop_index(mjd), index);
    }
    for (double mjd : {std::nan(""), 1e300, 59230.0, 59234.0}) EXPECT_FALSE(compute_eop(mjd, &eop) || eop.ok) << mjd;
    double M[9], V[9];
    EXPECT_TRUE(compute_eci2ecf_matrix(1e300, kLeap, M, V));  // no value, and no trap
}

// A line is met exactly, the tides stand on top, and an index from a larger store does not lead beyond a smaller one.
TEST_F(EarthRotation, LineFitAndStaleIndex) {
    EOPREC eop;
    for (int i = 0; i < 5; ++i) {
        store[i].mjd_utc = 59000.0 + i;
        store[i].pmX = 0.1 + 0.01 * i;
    }
    for (int size : {5, 3}) {
        store.resize(size);
        store.shrink_to_fit();
        g_eop_storage = store.data();
        g_eop_storage_size = size;
        ASSERT_TRUE(compute_eop(58998.5 + size, &eop));  // leaves the index 3, which is beyond the smaller store
    }
    for (double t : {2.0, 0.01, 0.5, 1.7, 0.0}) {
        ASSERT_TRUE(compute_eop(59000.0 + t, &eop));
        double tide[3] = {}, libration[2];
        ORTHO_EOP(59000.0 + t, tide);
        PMSDNUT2(59000.0 + t, libration);
        EXPECT_NEAR(eop.pmX, 0.1 + 0.01 * t + (tide[0] + libration[0]) * 1e-6, 1e-12);
    }
}

TEST_F(EarthRotation, FlawedFiles) {
    EXPECT_FALSE(load(load_eop_storage, "/nowhere/%s%n"));
    {  // no store
        const support::LogRecorder log;
        initialize_global_earth_rotation_param();
        std::string some = support::write_temp("some.txt", "");
        EXPECT_FALSE(load_eop_storage(some.data()) || load_eop_storage_rapid(some.data()) ||
                     load_eop_storage_celestrack(some.data()));
        load_eops_default(nullptr, 3);
        EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "no earth orientation storage to read into"), 4);
    }
    // Digits beyond the range of a double, with an exponent that doesn't bring them back, read as C reads them.
    const std::string zeros(400, '0'), line = "2015 01 01 57023 ";
    ASSERT_TRUE(load(
        load_eop_storage_celestrack,
        support::write_temp("huge.txt", "BEGIN OBSERVED\n" + line + "1" + zeros + "e-10 0." + zeros + "1e+10 3 4 5\n" +
                                            line + "1" + zeros + "E-400 -1" + zeros + " 3 4 5\n")));
    EXPECT_TRUE(store[0].pmX == HUGE_VAL && store[0].pmY == 0.0 && store[0].UT1mUTC == 3.0);
    EXPECT_TRUE(store[1].pmX == 1.0 && store[1].pmY == -HUGE_VAL);
    const std::string header(14, '\n');
    const std::string row =
        "26 622 61213.00 I  0.197577 0.000020  0.397321 0.000015  I 0.0113318 0.0000143  0.2690 0.01";
    const auto c04 = [](int mjd) {
        return "2015   1   1  " + std::to_string(mjd) +
               " 0.030695   0.280799  -0.4599543   0.0009615  -0.000101   0.000013\n";
    };
    const std::string text = header + c04(57023) + c04(57024).substr(0, 60) + "\n\n" + c04(57025) +
                             std::string(80, 'x') + "\n" + std::string(3000, ' ') + "\n" + c04(57026);
    ASSERT_TRUE(load(load_eop_storage, support::write_temp("short.c04", text)));
    ASSERT_EQ(g_eop_storage_size, 3);  // short, broken and blank lines are not counted
    EXPECT_EQ(store[2].dY, 0.000013);
    for (std::size_t n = 0; n <= row.size(); ++n) {  // a row cut at any byte
        EXPECT_TRUE(load(load_eop_storage_rapid, support::write_temp("cut.txt", row.substr(0, n))));
        EXPECT_EQ(g_eop_storage_size, n >= 30 ? 1 : 0);
    }
    // More records than the store holds.
    std::string full = header, framed = "BEGIN OBSERVED\n", rapid;
    for (int mjd = 40000; mjd < 40000 + MAXSIZE_EOP + 5; ++mjd) {
        full += c04(mjd);
        framed += "2015 01 01 " + std::to_string(mjd) + " 1 2 3 4 5 6 7 8 35\n";
        rapid += row + "\n";
    }
    EXPECT_TRUE(load(load_eop_storage, support::write_temp("full.c04", full)));
    EXPECT_EQ(g_eop_storage_size, MAXSIZE_EOP + 1);
    EXPECT_TRUE(load(load_eop_storage_rapid, support::write_temp("full.txt", rapid)));
    EXPECT_EQ(g_eop_storage_size, MAXSIZE_EOP + 1);
    EXPECT_TRUE(load(load_eop_storage_celestrack, support::write_temp("framed.txt", framed)));
    EXPECT_EQ(store[MAXSIZE_EOP - 1].mjd_utc, 69999.0);
    EXPECT_EQ(g_eop_storage_size, 0);
}

TEST_F(EarthRotation, SeriesAgree) {
    const auto c04 = support::data_path("eop/eopc04_IAU2000.62-now");
    LEOPOD_REQUIRE_DATA(c04);
    ASSERT_TRUE(load(load_eop_storage, c04));
    const std::vector<EOPREC> reference(store.begin(), store.begin() + 2860);
    const auto expect_rms = [&](const std::vector<double>& expected) {
        auto value = expected.begin();
        for (auto field : {&EOPREC::pmX, &EOPREC::pmY, &EOPREC::UT1mUTC, &EOPREC::LOD, &EOPREC::dX, &EOPREC::dY}) {
            double sum = 0.0, common = 0.0;
            for (const EOPREC& record : store) {
                if (!record.ok || record.mjd_utc > 59882.0) continue;
                sum += std::pow(1e6 * (record.*field - reference[static_cast<int>(record.mjd_utc) - 57023].*field), 2);
                common += 1.0;
            }
            EXPECT_NEAR(std::sqrt(sum / common), *value++, 0.6);
        }
    };
    ASSERT_TRUE(load(load_eop_storage_rapid, support::data_path("eop/finals.data.iau2000.txt")));
    expect_rms({63, 46, 19, 17, 59, 60});
    EXPECT_NEAR(store[59232 - 57388].LOD, -0.1813870e-3, 1e-18);  // the last digits of UT1-UTC behind it
    ASSERT_TRUE(load(load_eop_storage_celestrack, support::data_path("eop/EOP-All.txt")));
    expect_rms({76, 53, 25, 21, 68, 64});
    EXPECT_TRUE(store[3162].type == 'F' && store[3163].type == 'P' && store[3343].ok && !store[3344].ok);

    // predictions: flags, LOD of rows that have none, and the end at rows with nothing but a date
    ASSERT_TRUE(load(load_eop_storage_rapid, support::data_path("eop/finals_prediction_tail.txt")));
    EXPECT_EQ(std::count_if(store.begin(), store.end(), [](const EOPREC& r) { return r.ok && r.type == 0; }), 16);
    EXPECT_EQ(std::count_if(store.begin(), store.end(), [](const EOPREC& r) { return r.type == 'P'; }), 373);
    EXPECT_NEAR(store[100].LOD, std::fmod(std::round(std::fabs(store[100].UT1mUTC) * 1e7), 1000.0) * 1e-3, 1e-12);
}

TEST_F(EarthRotation, MeanPoleAndPoleTide) {
    double pole[2], site[3] = {0.0, -4e6, 4e6}, c21, s21, shift[3];
    correction_PoleTide_gravity(51544.5, 0.155974, 0.146346, &c21, &s21);  // m1 = 0.1, m2 = 0.2
    EXPECT_NEAR(c21, -1.5739300e-10, 1e-16);
    EXPECT_NEAR(s21, -2.9895121e-10, 1e-16);
    mean_polar_motion(51544.5, pole);
    correction_PoleTide_position(51544.5, pole, site, shift);  // the constant term is left
    EXPECT_NEAR(std::hypot(shift[0] - 9e-3 * std::sqrt(0.5), shift[1], shift[2]), 0.0, 1e-12);
    double moved[2] = {pole[0] + 0.1, pole[1] - 0.2}, equator[3] = {7e6, 0.0, 0.0};  // m1 = 0.1, m2 = 0.2
    correction_PoleTide_position(51544.5, moved, site, shift);
    const double up = 33e-3 * 0.2 * std::sqrt(0.5), east = 9e-3 * std::sqrt(0.5) * std::cos(0.1);
    EXPECT_NEAR(std::hypot(shift[0] - east, shift[1] + up, shift[2] - up), 0.0, 1e-12);
    correction_PoleTide_position(51544.5, moved, equator, shift);
    EXPECT_NEAR(std::hypot(shift[0] - 9e-3 * 0.1, shift[1], shift[2]), 0.0, 1e-12);
    const double half = std::acos(0.0);
    // x, y, z, lat, lon
    const double points[][5] = {{0, 0, 0, 0, 0},
                                {0, 0, 0.5, half, 0},
                                {0, 0, -7, -half, 0},
                                {0, -7, 0, half, 3 * half},
                                {7, 7, 0, half, half / 2}};
    for (const auto& p : points) {
        double xyz[3] = {p[0], p[1], p[2]}, lat = 9.0, lon = 9.0;
        geocentric(xyz, &lat, &lon);
        EXPECT_NEAR(std::hypot(lat - p[3], lon - p[4]), 0.0, 1e-15) << p[1] << ' ' << p[2];
    }
}

#ifdef HAVE_ERFA
TEST_F(EarthRotation, TransformationAgainstErfa) {
    load_eops_default(store.data(), 3);
    const double arcsec = 4.848136811095359935899141e-6;
    for (double mjd = 59231.0; mjd <= 59233.0; mjd += 0.0137) {
        EOPREC eop;
        ASSERT_TRUE(compute_eop(mjd, &eop));
        double M[9], V[9], expected[3][3];
        EXPECT_TRUE(compute_eci2ecf_matrix(mjd, kLeap, M, V));
        const double day = 2400000.5 + std::floor(mjd), f = mjd - std::floor(mjd);
        eraC2t06a(day, (kLeap + 32.184) / 86400.0 + f, day, eop.UT1mUTC / 86400.0 + f, eop.pmX * arcsec,
                  eop.pmY * arcsec, expected);
        for (int i = 0; i < 9; ++i) ASSERT_NEAR(M[i], expected[i / 3][i % 3], 4e-16);  // products in another order
    }
}
#endif

// States of a simulated orbit in both frames. Its model has no diurnal terms, which are worth up to 3 cm.
TEST_F(EarthRotation, SimulatedOrbit) {
    load_eops_default(store.data(), 3);
    std::ifstream in(support::arc21("truth_gcrs.csv"));
    std::string row;
    std::getline(in, row);
    int rows = 0;
    for (; std::getline(in, row); ++rows) {
        double v[14], pos[3], vel[3], back[6];
        std::replace(row.begin(), row.end(), ',', ' ');
        std::stringstream text(row);
        for (double& value : v) text >> value;
        eci2ecf(v[0] + (v[1] - 18.0) / 86400.0, kLeap, v + 2, v + 5, pos, vel);
        EXPECT_LT(std::hypot(pos[0] - v[8], pos[1] - v[9], pos[2] - v[10]), 0.03);
        EXPECT_LT(std::hypot(vel[0] - v[11], vel[1] - v[12], vel[2] - v[13]), 5e-5);
        ecf2eci(v[0] + (v[1] - 18.0) / 86400.0, kLeap, pos, vel, back, back + 3);
        for (int i = 0; i < 6; ++i) EXPECT_NEAR(back[i], v[2 + i], i < 3 ? 1e-8 : 1e-11);
    }
    EXPECT_EQ(rows, 81);
}

}  // namespace
