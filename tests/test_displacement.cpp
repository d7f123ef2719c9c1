// Site displacements and optical ranging: the published test cases, scipy for the ocean loading of whole days, calendars, splines.
#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include "gtime.h"
#include "iers_function.h"
#include "support.h"

namespace {

constexpr double kPi = 3.14159265358979323846;
using Triple = std::array<double, 3>;

/// A published case of three values, 1e-12 relative to the vector's length.
void expect_vector(const double* value, const Triple& expected) {
    const double tolerance = 1e-12 * std::hypot(expected[0], expected[1], expected[2]);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(value[i], expected[i], tolerance) << i;
}

struct TideCase {
    Triple site, sun, moon;
    int year, month, day;
    double leap;
    Triple expected;
};

const TideCase kTides[] = {{{4075578.385, 931852.890, 4801570.154},
                            {137859926952.015, 54228127881.4350, 23509422341.6960},
                            {-179996231.920342, -312468450.131567, -169288918.592160},
                            2009,
                            4,
                            13,
                            34.0,
                            {0.7700420357108125891e-1, 0.6304056321824967613e-1, 0.5516568152597246810e-1}},
                           {{1112189.660, -4842955.026, 3985352.284},
                            {-54537460436.2357, 130244288385.279, 56463429031.5996},
                            {300396716.912, 243238281.451, 120548075.939},
                            2012,
                            7,
                            13,
                            35.0,
                            {-0.2036831479592075833e-1, 0.5658254776225972449e-1, -0.7597679676871742227e-1}},
                           {{1112200.5696, -4842957.8511, 3985345.9122},
                            {100210282451.6279, 103055630398.3160, 56855096480.4475},
                            {369817604.4348, 1897917.5258, 120804980.8284},
                            2015,
                            7,
                            15,
                            36.0,
                            {0.00509570869172363845, 0.0828663025983528700, -0.0636634925404189617}}};

Triple tide(TideCase c, double hour = 0.0) {
    Triple out{9.0, 9.0, 9.0};
    DEHANTTIDEINEL(c.site.data(), c.year, c.month, c.day, hour, c.leap, c.sun.data(), c.moon.data(), out.data());
    return out;
}

TEST(Displacement, PublishedSolidTide) {
    for (const TideCase& c : kTides) expect_vector(tide(c).data(), c.expected);

    TideCase c = kTides[0];
    const auto correction = [&c](auto routine, const Triple& expected) {
        Triple out{9.0, 9.0, 9.0};  // assigned, not added to
        routine(c.site.data(), c.sun.data(), c.moon.data(), 0.163271964478954, 0.321989090026845, out.data());
        expect_vector(out.data(), expected);
    };
    correction(ST1IDIU, {-0.2836337012840008001e-3, 0.1125342324347507444e-3, -0.2471186224343683169e-3});
    correction(ST1ISEM, {-0.2801334805106874015e-3, 0.2939522229284325029e-4, -0.6051677912316721561e-4});
    correction(ST1L1, {0.2367189532359759044e-3, 0.5181609907284959182e-3, -0.3014881422940427977e-3});
    Triple out{9.0, 9.0, 9.0};
    STEP2DIU(c.site.data(), 0.0, 0.1059411362080767, out.data());
    expect_vector(out.data(), {0.4193085327321284701e-2, 0.1456681241014607395e-2, 0.5123366597450316508e-2});
    STEP2LON(c.site.data(), 0.1059411362080767, out.data());
    expect_vector(out.data(), {-0.9780962849562107762e-4, -0.2236349699932734273e-4, 0.3561945821351565926e-3});
}

TEST(Displacement, DateActsThroughTheFrequencyDependentPartAlone) {
    TideCase first = kTides[0];
    first.month = 12;
    first.day = 31;
    TideCase second = first;
    second.year = 2010;
    second.month = second.day = 1;
    const Triple a = tide(first, 24.0), b = tide(second, 0.0);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(a[i], b[i], 1e-14);  // hour 24 is hour 0 of the next day

    const Triple later = tide(second, 7.5);
    const auto step2 = [&](double hour) {
        const double t = (2455197.5 - 2451545.0 + hour / 24.0 + 66.184 / 86400.0) / 36525.0;  // 2010-01-01
        Triple diurnal{}, slow{};
        STEP2DIU(second.site.data(), hour, t, diurnal.data());
        STEP2LON(second.site.data(), t, slow.data());
        return Triple{diurnal[0] + slow[0], diurnal[1] + slow[1], diurnal[2] + slow[2]};
    };
    const Triple at0 = step2(0.0), at7 = step2(7.5);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(later[i] - b[i], at7[i] - at0[i], 1e-13);
        EXPECT_GT(std::fabs(later[i] - b[i]), 1e-4);
    }
}

TEST(Displacement, PolesAndHostileArgumentsGiveNumbersOrNan) {
    for (const double z : {6356752.0, -6356752.0}) {
        TideCase at = kTides[1];
        at.site = {0.0, 0.0, z};
        const Triple pole = tide(at, 3.0);
        for (const double angle : {0.0, 1.0, 4.0}) {
            at.site = {1e-2 * std::cos(angle), 1e-2 * std::sin(angle), z};
            const Triple near = tide(at, 3.0);
            for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(near[i], pole[i], 1e-9) << z << " " << angle;
        }
    }
    for (const int year : {std::numeric_limits<int>::min(), -4799, 0, std::numeric_limits<int>::max()}) {
        TideCase odd = kTides[0];
        odd.year = year;
        odd.month = 13;
        EXPECT_TRUE(std::isfinite(tide(odd)[0])) << year;
    }
    EXPECT_TRUE(std::isnan(tide(kTides[0], std::nan(""))[0]));
}

TEST(Displacement, OceanLoadingAgainstScipy) {
    std::ifstream in(std::filesystem::path(LEOPOD_SOURCE_DIR) / "tests" / "oracles" / "ocean_loading.csv");
    std::string line;
    std::size_t rows = 0;
    while (std::getline(in, line)) {
        if (line[0] == '#') continue;
        std::replace(line.begin(), line.end(), ',', ' ');
        std::stringstream stream(line);
        double olc[6][11], time[5];
        Triple expected{}, got{9.0, 9.0, 9.0};
        for (auto& row : olc) {
            for (double& value : row) stream >> value;
        }
        for (double& value : time) stream >> value;
        ASSERT_TRUE(stream >> expected[0] >> expected[1] >> expected[2]);
        HARDISP(olc, time[0], time[1], time[2], time[3], time[4], got.data());
        for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(got[i], expected[i], 3e-12) << line;
        ++rows;
    }
    EXPECT_EQ(rows, 28u);
}

// The constituents of the loading table are those of the oracle above; here one is unknown, and the species are not complete.
TEST(Displacement, OtherConstituents) {
    const int m2[6] = {2, 0, 0, 0, 0, 0}, midnight[5] = {2009, 176, 0, 0, 0};
    const int constituents[][6] = {{2, 2, -2, 0, 0, 0}, {9, 9, 9, 9, 9, 9}, {1, 1, 0, 0, 0, 0}, {2, 0, 0, 0, 0, 0}};
    const double amplitudes[] = {0.3, 7.0, 0.2, 0.4}, phases[] = {10, 0, -20, -170};
    double amp[342], f[342], p[342], frequency = 0.0, phase = 0.0;
    int n = 0;
    admint(amplitudes, constituents, phases, amp, f, p, 4, &n, midnight);
    ASSERT_EQ(n, 263);  // no long-period constituent: none of their 79 lines
    tdfrph(m2, midnight, &frequency, &phase);
    // A constituent's line has the constituent's amplitude, and its own phase added to the line's.
    const auto k = std::find(f, f + n, frequency) - f;
    ASSERT_LT(k, n);
    EXPECT_NEAR(std::fabs(amp[k]), 0.4, 1e-12);
    EXPECT_NEAR(std::remainder(p[k] - phase + 170.0, 360.0), 0.0, 1e-6);
    EXPECT_LE(*std::max_element(p, p + n), 180.0 + 1e-9);
}

TEST(Displacement, AdmittanceKeepsTwentyAndSurvivesAnything) {
    int many[30][6] = {};
    double ones[30], zeros[30] = {};
    for (int i = 0; i < 30; ++i) {
        many[i][0] = i < 25 ? 2 : 1;  // M2 over and over, then K1
        many[i][1] = i < 25 ? 0 : 1;
        ones[i] = 1.0;
    }
    const int midnight[5] = {2009, 176, 0, 0, 0};
    double amp[342], f[342], p[342];
    int n = 0;
    support::LogRecorder log;
    admint(ones, many, zeros, amp, f, p, 30, &n, midnight);
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "admint: more than 20 constituents, the excess is dropped"));
    EXPECT_EQ(log.messages().size(), 1u);
    EXPECT_EQ(amp[109], 0.0);  // K1 came behind the limit
    admint(ones, many, zeros, amp, f, p, 20, &n, midnight);
    admint(ones, many, zeros, amp, f, p, -1, &n, midnight);
    EXPECT_EQ(n, 263);
    EXPECT_EQ(*std::max_element(amp, amp + n), 0.0);
    EXPECT_EQ(log.messages().size(), 1u);

    double olc[6][11] = {};
    const double odd[] = {std::nan(""), 1e300, -1e300, std::numeric_limits<double>::infinity(), -4800.0};
    for (const double value : odd) {
        Triple out{9.0, 9.0, 9.0};
        HARDISP(olc, value, value, value, value, value, out.data());
        for (const double component : out) EXPECT_EQ(component, 0.0) << value;
    }
    // Fractions are cut off: the published program has whole numbers.
    olc[0][0] = 0.01;
    Triple whole{}, fraction{};
    HARDISP(olc, 2009, 176, 1, 10, 45, whole.data());
    HARDISP(olc, 2009.9, 176.9, 1.9, 10.9, 45.9, fraction.data());
    EXPECT_EQ(whole, fraction);
}

// Estimated end slopes belong to the oracle of the ocean loading; with the slopes given, a cubic comes back exactly.
TEST(Displacement, SplineReproducesCubicsAndEndsFlat) {
    double x[9], u[9], s[9], a[9];
    const auto cubic = [](double t) { return 1.0 + t * (-2.0 + t * (0.5 + t * 0.25)); };
    const auto slope = [](double t) { return -2.0 + t * (1.0 + t * 0.75); };
    for (int i = 0; i < 9; ++i) {
        x[i] = i + 0.3 * std::sin(i);
        u[i] = cubic(x[i]);
    }
    s[0] = slope(x[0]);
    s[1] = slope(x[8]);
    spline(-9, x, u, s, a);
    for (double y = x[0]; y < x[8]; y += 0.37) EXPECT_NEAR(eval(y, 9, x, u, s), cubic(y), 1e-11) << y;
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(s[i], 1.0 + 1.5 * x[i], 1e-11);
    EXPECT_EQ(eval(x[0] - 5.0, 9, x, u, s), u[0]);
    EXPECT_EQ(eval(x[8] + 5.0, -9, x, u, s), u[8]);
    EXPECT_TRUE(std::isnan(eval(std::nan(""), 9, x, u, s)));
    EXPECT_EQ(eval(1.0, 0, x, u, s), 0.0);
    spline(3, x, u, s, a);
    const double between = 0.25 * x[0] + 0.75 * x[1];
    EXPECT_NEAR(eval(between, 3, x, u, s), 0.25 * u[0] + 0.75 * u[1], 1e-12);  // three points: straight lines
    EXPECT_DOUBLE_EQ(qfunc(5.0 * 2 - 3.0 * 4, 2.0, 5.0 * 7 - 3.0 * 49, 7.0), 5.0);
}

TEST(Displacement, SortAndRecursion) {
    double x[] = {3.0, -1.0, 3.0, 0.5, 3.0, -1.0, 8.0, 0.0};
    const double before[] = {3.0, -1.0, 3.0, 0.5, 3.0, -1.0, 8.0, 0.0};
    int key[8];
    shells(x, key, 8);
    const int expected[] = {2, 6, 8, 4, 1, 3, 5, 7};  // counted from 1, equal ones in their order
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(key[i], expected[i]);
        EXPECT_EQ(x[i], before[key[i] - 1]);
    }
    const double hc[] = {1.5, -0.5, 0.25, 2.0}, om[] = {0.1, 1.3};
    double sums[50], scratch[6];
    recurs(sums, 50, hc, 2, om, scratch);
    for (int i = 0; i < 50; ++i) {
        double sum = 0.0;
        for (int k = 0; k < 2; ++k) sum += hc[2 * k] * std::cos(i * om[k]) + hc[2 * k + 1] * std::sin(i * om[k]);
        EXPECT_NEAR(sums[i], sum, 1e-12) << i;
    }
}

TEST(Displacement, CalendarOfEveryDay) {
    for (int year = 1901; year < 2100; ++year) {  // where the time tags have the same calendar
        const int days = 365 + LEAP(year);
        EXPECT_EQ(MDAY(year, 12) + 31, days);
        for (int doy = 1; doy <= days; ++doy) {
            int in[2] = {year, doy}, date[3] = {};
            TOYMD(in, date);
            const TimeYMD ymd{date[0], date[1], date[2], 0, 0, 0.0};
            const double mjd = gtime2mjd(YMD2GTime(ymd, tsTAI));
            double djm0 = 0.0, djm = 0.0;
            ASSERT_EQ(CAL2JD(date[0], date[1], date[2], &djm0, &djm), 0) << year << " " << doy;
            ASSERT_EQ(djm0, 2400000.5);
            ASSERT_EQ(djm, mjd);
            ASSERT_EQ(juldat(date), 2400001 + static_cast<int>(mjd));
            ASSERT_EQ(MDAY(date[0], date[1]) + date[2], doy);
        }
    }
    EXPECT_EQ(LEAP(1900), 0);
    double djm0 = 7.0, djm = 7.0;
    EXPECT_EQ(CAL2JD(-4800, 1, 1, &djm0, &djm), -1);
    EXPECT_EQ(CAL2JD(2003, 13, 1, &djm0, &djm), -2);
    EXPECT_EQ(djm, 7.0);
    EXPECT_EQ(CAL2JD(1900, 2, 29, &djm0, &djm), -3);
    EXPECT_EQ(djm, 15079.0);  // computed all the same, as the first of March
    constexpr int kMost = std::numeric_limits<int>::max(), kLeast = std::numeric_limits<int>::min();
    for (int year : {kMost, kLeast}) {
        int in[2] = {year, kLeast}, date[3] = {};
        TOYMD(in, date);
        EXPECT_LT(date[2], kLeast / 2);
        const int far[3] = {year, year, year};
        EXPECT_EQ(juldat(far), year);
        EXPECT_GE(MDAY(year, kMost), 0);
    }
}

TEST(Displacement, EphemerisTime) {
    const double cases[][2] = {{-1e300, 0.0},     {1699.9, 0.0},      {1760.0, 2.0},       {1800.0, 6.0},
                               {1820.5, 5.15},    {1821.0, 4.895},    {1961.0, 33.375},    {1961.5, 33.59},
                               {1961.75, 33.811}, {1962.0, 34.032},   {1971.9995, 42.184}, {1972.0, 42.184},
                               {1972.5, 43.184},  {2016.999, 68.184}, {2017.0, 69.184},    {1e300, 69.184}};
    for (const auto& c : cases) EXPECT_NEAR(etutc(c[0]), c[1], 1e-10) << c[0];
    EXPECT_TRUE(std::isnan(etutc(std::nan(""))));
    double last = etutc(1820.5);
    for (double year = 1820.5; year < 1972.0; year += 0.001) {  // continuous between the tables
        EXPECT_LT(std::fabs(etutc(year) - last), 0.05) << year;
        last = etutc(year);
    }
    // TT-UTC of the time tags since the first whole second, away from the days of the steps
    for (double year = 1973.1; year < 2030.0; year += 0.25)
        EXPECT_NEAR(etutc(year), getLeapSecond(41317.0 + (year - 1972.0) * 365.25) + 32.184, 1e-10) << year;
}

TEST(Displacement, OpticalRanging) {
    double total = 0.0, hydrostatic = 0.0, wet = 0.0;
    FCULZD_HPA(30.67166667, 2010.344, 798.4188, 14.322, 0.532, &total, &hydrostatic, &wet);
    EXPECT_NEAR(total, 1.9352297249679733, 1e-12);
    EXPECT_NEAR(hydrostatic, 1.9329959722362897, 1e-12);
    EXPECT_NEAR(wet, 0.0022337527316835825, 1e-12);
    EXPECT_NEAR(FCUL_A(30.67166667, 2075.0, 300.15, 15.0), 3.800243667312344087, 1e-12);
    EXPECT_DOUBLE_EQ(FCUL_A(-45.0, 100.0, 280.0, 90.0), 1.0);
    // near the zenith the layer is flat
    EXPECT_NEAR(FCUL_A(50.0, 0.0, 288.0, 70.0) * std::sin(70.0 * kPi / 180.0), 1.0, 1e-3);
}

}  // namespace
