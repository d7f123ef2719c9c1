// Earth orientation store and readers; celestial-terrestrial transformation against ERFA and a simulated orbit.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "earth_rotation_param.h"
#include "iers_function.h"
#include "support.h"

#ifdef HAVE_ERFA
#include <erfa.h>
#endif

namespace {

constexpr double kLeap = 37.0;  // TAI-UTC in 2021 [s]

/// A fresh store of exactly the room that the loaders may use, so that the sanitizer sees a step beyond it.
class EarthRotation : public ::testing::Test {
  protected:
    void SetUp() override {
        initialize_global_earth_rotation_param();
        store_.assign(MAXSIZE_EOP + 1, EOPREC{});
        g_eop_storage = store_.data();
    }
    void TearDown() override { initialize_global_earth_rotation_param(); }
    bool load(bool (*reader)(char*), std::string path) {
        SetUp();
        return reader(path.data());
    }
    std::vector<EOPREC> store_;
};

TEST_F(EarthRotation, DefaultsAndTheirSpan) {
    support::LogRecorder log;
    load_eops_default(store_.data(), 3);
    EXPECT_EQ(store_[1].type, 'F');
    EXPECT_NEAR(store_[1].LOD, -0.1813e-3, 1e-18);  // no tail of the field before
    EXPECT_EQ(store_[2].UT1mUTC, -0.1714154);
    EXPECT_NEAR(store_[2].dY, 0.132e-3, 1e-18);
    for (const auto& [mjd, index] : {std::pair{59231.0, 0}, {59232.0, 0}, {59232.001, 1}, {59233.0, 1}}) {
        EXPECT_EQ(search_eop_index(mjd), index);
    }
    EOPREC eop;
    EXPECT_TRUE(compute_eop(59231.5, &eop) && eop.ok && eop.type == 'C');
    EXPECT_FALSE(compute_eop(std::numeric_limits<double>::quiet_NaN(), &eop) || eop.ok);
    EXPECT_FALSE(compute_eop(1e300, &eop) || compute_eop(59230.0, &eop) || compute_eop(59234.0, &eop));
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "is less than the lower time 59231.000000"), 1);
    EXPECT_TRUE(log.has(
        ULOG_WARNING_LEVEL,
        "Warning: search_eop: current time 59234.000000 is larger than the upper time 59233.000000 in EOP storage!\n"));
    load_eops_default(store_.data(), MAXSIZE_EOP + 1);
    EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, "eop size[30001] is > MAXSIZE_EOP[30000]"));
    EXPECT_EQ(g_eop_storage_size, 3);
}

// A line is met exactly, the tides stand on top, and an index from a larger store does not lead beyond a smaller one.
TEST_F(EarthRotation, LineFitAndStaleIndex) {
    EOPREC eop;
    for (int i = 0; i < 5; ++i) store_[i].mjd_utc = 59000.0 + i;
    g_eop_storage_size = 5;
    ASSERT_TRUE(compute_eop(59003.5, &eop));  // leaves the index 3
    store_.assign(3, EOPREC{});
    for (int i = 0; i < 3; ++i) store_[i].mjd_utc = 59000.0 + i, store_[i].pmX = 0.1 + 0.01 * i, store_[i].dX = i;
    store_.shrink_to_fit();
    g_eop_storage = store_.data();
    g_eop_storage_size = 3;
    for (double t : {2.0, 0.01, 0.5, 1.7, 0.0}) {
        ASSERT_TRUE(compute_eop(59000.0 + t, &eop));
        double tide[3] = {}, libration[2];
        ORTHO_EOP(59000.0 + t, tide);
        PMSDNUT2(59000.0 + t, libration);
        EXPECT_NEAR(eop.pmX, 0.1 + 0.01 * t + (tide[0] + libration[0]) * 1e-6, 1e-12);
        EXPECT_NEAR(eop.dX, t, 1e-9);
    }
    g_eop_storage_size = 2;
    EXPECT_FALSE(compute_eop(59000.5, &eop));
    g_eop_storage_size = 0;
    EXPECT_EQ(search_eop_index(59000.5), -1);
}

TEST_F(EarthRotation, FlawedFiles) {
    support::LogRecorder log;
    EXPECT_FALSE(load(load_eop_storage, "/nowhere/%s%n"));
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "load_eop_storage() eopfilename /nowhere/%s%n open failed"));

    const std::string header(14, '\n'),
        c04_rest = " 0.030695   0.280799  -0.4599543   0.0009615  -0.000101   0.000013\n";
    const auto c04 = [&](int mjd) { return "2015   1   1  " + std::to_string(mjd) + c04_rest; };
    const std::string text = header + c04(57023) + c04(57024).substr(0, 60) + "\n\n" + c04(57025) +
                             std::string(80, 'x') + "\n" + std::string(3000, ' ') + "\n" + c04(57026);
    ASSERT_TRUE(load(load_eop_storage, support::write_temp("short.c04", text)));
    ASSERT_EQ(g_eop_storage_size, 3);  // short, broken and blank lines are not counted
    EXPECT_EQ(store_[1].mjd_utc, 57025.0);
    EXPECT_EQ(store_[2].dY, 0.000013);

    // a row cut at any byte
    const std::string row =
        "26 622 61213.00 I  0.197577 0.000020  0.397321 0.000015  I 0.0113318 0.0000143  0.2690 0.01";
    for (std::size_t n = 0; n <= row.size(); ++n) {
        EXPECT_TRUE(load(load_eop_storage_rapid, support::write_temp("cut.txt", row.substr(0, n))));
        EXPECT_EQ(g_eop_storage_size, n >= 30 ? 1 : 0);
    }

    // more records than the store holds
    std::string full = header, framed = "BEGIN OBSERVED\n", rapid;
    for (int mjd = 40000; mjd < 40000 + MAXSIZE_EOP + 5; ++mjd) {
        full += c04(mjd);
        framed += "2015 01 01 " + std::to_string(mjd) + " 1 2 3 4 5 6 7 8 35\n";
        rapid += row + "\n";
    }
    EXPECT_TRUE(load(load_eop_storage, support::write_temp("full.c04", full)));
    EXPECT_EQ(g_eop_storage_size, MAXSIZE_EOP + 1);
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "WARNING: load_eop_storage(): irec (30001) > MAXSIZE_EOP"));
    EXPECT_TRUE(load(load_eop_storage_rapid, support::write_temp("full.txt", rapid)));
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, ":load_eop_storage_rapid()<irec[30001] > MAXSIZE_EOP[30000]>"), 1);
    EXPECT_TRUE(load(load_eop_storage_celestrack, support::write_temp("framed.txt", framed)));
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "load_eop_storage_celestrack(): irec[30000] > MAXSIZE_EOP[30000]"));
    EXPECT_EQ(store_[MAXSIZE_EOP - 1].mjd_utc, 69999.0);
    EXPECT_EQ(g_eop_storage_size, 0);
}

// The three formats against each other: the known rms between the published series, in microarcseconds and microseconds.
TEST_F(EarthRotation, SeriesAgree) {
    const auto c04 = support::data_path("eop/eopc04_IAU2000.62-now");
    LEOPOD_REQUIRE_DATA(c04);
    ASSERT_TRUE(load(load_eop_storage, c04));
    ASSERT_EQ(g_eop_storage_size, 2860);
    const std::vector<EOPREC> reference(store_.begin(), store_.begin() + 2860);
    const auto expect_rms = [&](const double(&expected)[6]) {
        int i = 0;
        for (auto field : {&EOPREC::pmX, &EOPREC::pmY, &EOPREC::UT1mUTC, &EOPREC::LOD, &EOPREC::dX, &EOPREC::dY}) {
            double sum = 0.0, common = 0.0;
            for (const EOPREC& record : store_) {
                if (!record.ok || record.mjd_utc > 59882.0) continue;
                sum += std::pow(1e6 * (record.*field - reference[static_cast<int>(record.mjd_utc) - 57023].*field), 2);
                common += 1.0;
            }
            EXPECT_NEAR(std::sqrt(sum / common), expected[i], 0.6) << i;
            ++i;
        }
    };
    ASSERT_TRUE(load(load_eop_storage_rapid, support::data_path("eop/finals.data.iau2000.txt")));
    EXPECT_EQ(g_eop_storage_size, 2192);
    expect_rms({63, 46, 19, 17, 59, 60});
    EXPECT_NEAR(store_[59232 - 57388].LOD, -0.1813870e-3, 1e-18);  // the last digits of UT1-UTC behind it
    ASSERT_TRUE(load(load_eop_storage_celestrack, support::data_path("eop/EOP-All.txt")));
    expect_rms({76, 53, 25, 21, 68, 64});
    EXPECT_EQ(store_[0].dPsi, -0.088102);
    EXPECT_TRUE(store_[3162].type == 'F' && store_[3163].type == 'P' && store_[3343].ok && !store_[3344].ok);

    // predictions: flags, LOD of rows that have none, and the end at rows with nothing but a date
    ASSERT_TRUE(load(load_eop_storage_rapid, support::data_path("eop/finals_prediction_tail.txt")));
    EXPECT_EQ(g_eop_storage_size, 433);
    int types[128] = {};
    for (int i = 0; i < 433; ++i) ++types[static_cast<int>(store_[i].type)];
    EXPECT_TRUE(types['F'] == 44 && types[0] == 16 && types['P'] == 373);
    EXPECT_NEAR(store_[100].LOD, std::fmod(std::round(std::fabs(store_[100].UT1mUTC) * 1e7), 1000.0) * 1e-3, 1e-12);
    EXPECT_TRUE(store_[433].mjd_utc == 61646.0 && !store_[433].ok);
}

TEST_F(EarthRotation, MeanPoleDirectionsAndPoleTide) {
    for (const auto& [mjd, x, y] : {std::array{51544.5, 55.974, 346.346}, {58849.5, 175.795, 346.317}}) {
        double pole[2];
        mean_polar_motion(mjd, pole);
        EXPECT_NEAR(pole[0], 1e-3 * x, 1e-6);
        EXPECT_NEAR(pole[1], 1e-3 * y, 1e-6);
    }
    const double pi = std::acos(-1.0);
    double axis[3] = {0.0, 0.0, -3.0}, site[3] = {0.0, -4e6, 4e6}, lat, lon, c21, s21, shift[3];
    geocentric(axis, &lat, &lon);
    EXPECT_TRUE(lat == -pi / 2 && lon == 0.0);
    geocentric(site, &lat, &lon);
    EXPECT_NEAR(std::hypot(lat - pi / 4, lon - 1.5 * pi), 0.0, 1e-15);
    correction_PoleTide_gravity(51544.5, 0.155974, 0.146346, &c21, &s21);  // m1 = 0.1, m2 = 0.2
    EXPECT_NEAR(c21, -1.5739300e-10, 1e-16);
    EXPECT_NEAR(s21, -2.9895121e-10, 1e-16);
    double mean_pole[2] = {0.055974, 0.346346};
    correction_PoleTide_position(51544.5, mean_pole, site, shift);  // the constant term is left
    EXPECT_NEAR(std::hypot(shift[0] - 9e-3 * std::sqrt(0.5), shift[1], shift[2]), 0.0, 1e-12);
}

TEST_F(EarthRotation, TransformationWithoutEarthOrientation) {
    support::LogRecorder log;
    double pos[3] = {3421749.8, 2511197.8, 5403552.0}, vel[3] = {-4968.5, -3379.4, 4693.0};
    double pos_ecf[3], vel_ecf[3] = {9, 9, 9}, back[3], vel_back[3];
    eci2ecf(59232.3, kLeap, pos, nullptr, pos_ecf, vel_ecf);
    EXPECT_EQ(vel_ecf[2], 9.0);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, ":compute_eci2ecf_matrix()<eop_ok=false, using ZERO eop!>"), 1);
    eci2ecf(59232.3, kLeap, nullptr, vel, nullptr, nullptr);
    eci2ecf(59232.3, kLeap, pos, vel, pos_ecf, vel_ecf);
    ecf2eci(59232.3, kLeap, pos_ecf, vel_ecf, back, vel_back);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], pos[i], 1e-8) << vel_back[i];
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(vel_back[i], vel[i], 1e-11);

    // the second matrix is the derivative of the first, but for precession and nutation
    double M[9], V[9], before[9], after[9], unused[9];
    const double step = 0x1p-15;  // [day]
    compute_eci2ecf_rotation_precise(59232.25, kLeap, 0.05, 0.3, -0.17, 0.0, 0.0, M, V);
    compute_eci2ecf_rotation_precise(59232.25 - step, kLeap, 0.05, 0.3, -0.17, 0.0, 0.0, before, unused);
    compute_eci2ecf_rotation_precise(59232.25 + step, kLeap, 0.05, 0.3, -0.17, 0.0, 0.0, after, unused);
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(V[i], (after[i] - before[i]) / (2 * step * 86400.0), 2e-11) << i;
    compute_eci2ecf_rotation_precise(1e300, kLeap, 0.05, 0.3, -0.17, 0.0, 0.0, M, V);  // no value, and no trap
}

#ifdef HAVE_ERFA
TEST_F(EarthRotation, TransformationAgainstErfa) {
    load_eops_default(store_.data(), 3);
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
    const auto truth = support::data_path("leo_sim/dev21_truth_gcrs.csv");
    LEOPOD_REQUIRE_DATA(truth);
    load_eops_default(store_.data(), 3);
    std::ifstream in(truth);
    std::string row;
    std::getline(in, row);
    int rows = 0;
    for (; std::getline(in, row); ++rows) {
        double v[14], pos[3], vel[3];
        std::replace(row.begin(), row.end(), ',', ' ');
        std::stringstream text(row);
        for (double& value : v) text >> value;
        eci2ecf(v[0] + (v[1] - 18.0) / 86400.0, kLeap, v + 2, v + 5, pos, vel);
        EXPECT_LT(std::hypot(pos[0] - v[8], pos[1] - v[9], pos[2] - v[10]), 0.03);
        EXPECT_LT(std::hypot(vel[0] - v[11], vel[1] - v[12], vel[2] - v[13]), 5e-5);
    }
    EXPECT_EQ(rows, 201);
}

}  // namespace
