// `leopod tide`: its displacements against published ones and direct calls of the library, and what it says to unusable input.
#include <algorithm>

#include "common_function.h"
#include "host_support.h"
#include "iers_function.h"

#ifdef HAVE_ERFA
#include <erfa.h>
#endif

namespace {

using support::data_path;
using support::leopod;
using support::number;
using support::Outcome;
using support::read_rows;

const char* const kHead =
    "$$ Ocean loading displacement\n$$\n$$ COLUMN ORDER:  M2  S2  N2  K2  K1  O1  P1  Q1  MF  MM SSA\n$$\n";
const std::string kOnsala =
    "  ONSALA 7213\n$$ lon/lat:   11.9264   57.3958\n"
    "  .00352 .00123 .00080 .00032 .00187 .00112 .00063 .00003 .00082 .00044 .00037\n"
    "  .00144 .00035 .00035 .00008 .00053 .00049 .00018 .00009 .00012 .00005 .00006\n"
    "  .00086 .00023 .00023 .00006 .00029 .00028 .00010 .00007 .00004 .00002 .00001\n"
    "$$ phases\n\n"
    "   -64.7  -52.0  -96.2  -55.2  -58.8 -151.4  -65.6 -138.1    8.4    5.2    2.1\r\n"
    "    85.5  114.5   56.5  113.6   99.4   19.1   94.1  -10.4 -167.4 -170.0 -177.7\n"
    "   109.5  147.0   92.7  148.8   50.5  -55.1   36.4 -170.4  -15.0    2.3    5.2\n";
const std::string kRow = " 1 2 3 4 5 6 7 8 9 10 11\n";
const std::string kOther = "  OTHER\n" + kRow + kRow + kRow + kRow + kRow + kRow;
const std::string kSite = "tide --xyz 3370658.542 711877.138 5349786.949 ";

class HostTide : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!std::filesystem::exists(support::kProgram)) GTEST_SKIP() << "the host program is not built";
    }
    static std::string out(const std::string& name) { return (support::temp_dir() / name).string(); }
};

TEST_F(HostTide, OceanLoadingIsThePublishedOne) {
    const double published[][3] = {{0.003094, -0.001538, -0.000895}, {0.001812, -0.000950, -0.000193},
                                   {0.000218, -0.000248, 0.000421},  {-0.001104, 0.000404, 0.000741},
                                   {-0.001668, 0.000863, 0.000646},  {-0.001209, 0.001042, 0.000137}};
    const std::string blq = support::write_temp("two.blq", kHead + kOther + kOnsala + "$$ END TABLE\n");
    const Outcome o = leopod(kSite + "--epoch 2009-06-25T01:10:45 --time-scale utc --duration 18000 --blq " + blq +
                             " --site onsala --out " + out("ocean.csv"));
    ASSERT_EQ(o.status, 0) << o.text;
    EXPECT_NE(o.text.find("site ONSALA 7213"), std::string::npos) << o.text;
    const auto rows = read_rows(out("ocean.csv"));
    ASSERT_EQ(rows.size(), 6u);
    std::size_t i = 0;
    double low = 1.0, high = -1.0;
    for (const auto& [sod, row] : rows) {
        EXPECT_NEAR(sod, 4245.0 + 15.0 + 3600.0 * static_cast<double>(i), 1e-6);  // GPS time
        EXPECT_NEAR(row.at("ocean_up_m"), published[i][0], 6e-7);
        EXPECT_NEAR(row.at("ocean_north_m"), -published[i][1], 6e-7);
        EXPECT_NEAR(row.at("ocean_east_m"), -published[i][2], 6e-7);
        for (const std::string axis : {"x_ecef", "y_ecef", "z_ecef", "north", "east", "up"}) {
            EXPECT_NEAR(row.at("total_" + axis + "_m"), row.at("solid_" + axis + "_m") + row.at("ocean_" + axis + "_m"),
                        2e-7);
        }
        for (const std::string source : {"solid", "ocean", "total"}) {
            double xyz[3], enu[3], site[3] = {3370658.542, 711877.138, 5349786.949}, blh[3];
            ecef2blh(site, blh, 6378137.0, 0.0033528106647474805);
            const char* axes[] = {"_x_ecef_m", "_y_ecef_m", "_z_ecef_m"};
            for (int k = 0; k < 3; ++k) xyz[k] = row.at(source + axes[k]);
            xyz2enu(blh, xyz, enu);
            EXPECT_NEAR(row.at(source + "_east_m"), enu[0], 2e-7);
            EXPECT_NEAR(row.at(source + "_north_m"), enu[1], 2e-7);
            EXPECT_NEAR(row.at(source + "_up_m"), enu[2], 2e-7);
        }
        low = std::min(low, row.at("total_up_m"));
        high = std::max(high, row.at("total_up_m"));
        ++i;
    }
    EXPECT_NEAR(number(o.text, "total [^$]*up +([-+0-9.]+) m at"), low, 6e-5) << o.text;
    EXPECT_NEAR(number(o.text, "total [^$]*up +[-+0-9.]+ m at [^,]*, ([-+0-9.]+) m"), high, 6e-5) << o.text;
}

#ifdef HAVE_ERFA
TEST_F(HostTide, SolidTideWithSunMoonAndRotationOfErfa) {
    struct Run {
        const char* options;
        double tolerance;  ///< the built-in record is good to arcseconds, the analytic series to a third of a degree
    };
    constexpr double kPi = 3.14159265358979323846, kAstronomicalUnit = 149597870700.0;
    // The hour before midnight UTC and the one behind it; then years outside the built-in record
    const Run runs[] = {{"--epoch 2021-01-17T23:00:18", 2e-5}, {"--epoch 2035-06-20T23:00:18", 1.2e-3}};
    double blh[3] = {-22.12 * kPi / 180.0, -46.3 * kPi / 180.0, 620.0}, site[3];
    blh2ecef(blh, site, 6378137.0, 0.0033528106647474805);
    for (const Run& run : runs) {
        const Outcome o = leopod("tide --blh -22.12 -46.3 620 --duration 7200 --interval 1800.5 " +
                                 std::string(run.options) + " --out " + out("solid.csv"));
        ASSERT_EQ(o.status, 0) << o.text;
        std::ifstream in(out("solid.csv"));
        std::string line;
        std::getline(in, line);
        for (int i = 0; i < 4; ++i) {
            ASSERT_TRUE(std::getline(in, line));
            int year, month, day;
            ASSERT_EQ(std::sscanf(line.c_str(), "%d-%d-%d", &year, &month, &day), 3);
            const double seconds = 23.0 * 3600.0 + 1800.5 * i;  // UTC, since the day of the first epoch
            double j0, mjd, heliocentric[2][3], barycentric[2][3], geocentric[2][3], rotation[3][3];
            ASSERT_EQ(eraCal2jd(year, month, day, &j0, &mjd), 0);
            const double hour = std::fmod(seconds, 86400.0) / 3600.0;
            const double utc = mjd + hour / 24.0, tt = utc + 69.184 / 86400.0;
            eraEpv00(j0, tt, heliocentric, barycentric);
            eraMoon98(j0, tt, geocentric);
            eraC2t06a(j0, tt, j0, utc, 0.0, 0.0, rotation);
            double sun[3], moon[3], expected[3], value[3];
            for (double& v : heliocentric[0]) v *= -kAstronomicalUnit;
            for (double& v : geocentric[0]) v *= kAstronomicalUnit;
            eraRxp(rotation, heliocentric[0], sun);
            eraRxp(rotation, geocentric[0], moon);
            DEHANTTIDEINEL(site, year, month, day, hour, 37.0, sun, moon, expected);
            ASSERT_EQ(std::sscanf(line.c_str(), "%*[^,],%*d,%*f,%lf,%lf,%lf", &value[0], &value[1], &value[2]), 3);
            for (int k = 0; k < 3; ++k) EXPECT_NEAR(value[k], expected[k], run.tolerance) << line;
        }
        EXPECT_FALSE(std::getline(in, line)) << line;
    }
}
#endif

TEST_F(HostTide, AnalyticSeriesStaysWithinMillimetresOfTheEphemeris) {
    const auto jpl = data_path("jpl/de440_2018_2021.txt");
    LEOPOD_REQUIRE_DATA(jpl);
    const std::string day = "tide --blh 10 100 0 --epoch 2019-07-02T00:00:00 --duration 86000 --interval 500";
    const Outcome o = leopod(day + " --jpl " + jpl.string() + " --out " + out("jpl.csv"));
    ASSERT_EQ(o.status, 0) << o.text;
    ASSERT_EQ(leopod(day + " --out " + out("analytic.csv")).status, 0);
    const auto good = read_rows(out("jpl.csv")), coarse = read_rows(out("analytic.csv"));
    ASSERT_EQ(good.size(), 173u);
    std::vector<double> up;
    for (const auto& [sod, row] : good) {
        for (const std::string name : {"solid_north_m", "solid_east_m", "solid_up_m"})
            EXPECT_NEAR(row.at(name), coarse.at(sod).at(name), 1.2e-3) << sod;
        up.push_back(row.at("solid_up_m"));
    }
    // New Moon on this day: two high tides of more than 15 cm
    int peaks = 0;
    for (std::size_t i = 1; i + 1 < up.size(); ++i) peaks += up[i] > up[i - 1] && up[i] > up[i + 1] && up[i] > 0.15;
    EXPECT_EQ(peaks, 2);

    const Outcome outside = leopod("tide --blh 10 100 0 --epoch 2009-07-02T00:00:00 --jpl " + jpl.string());
    EXPECT_EQ(outside.status, 2);
    EXPECT_NE(outside.text.find("no Sun and Moon for 2009-07-01T23:59:45"), std::string::npos) << outside.text;
}

TEST_F(HostTide, UnusableInputEndsWithStatusTwoAndAReason) {
    struct Case {
        std::string blq, options, reason;
    };
    const std::string lost = kOnsala.substr(0, kOnsala.rfind("   109.5"));
    const std::string site = kSite + "--epoch 2021-01-18T00:00:00";
    const Case cases[] = {
        {kHead + kOther + kOnsala, site + " --site KOOTWIJK", "has no site KOOTWIJK, only OTHER, ONSALA 7213"},
        {kHead + kOther + kOnsala, site, "--site must name one of its sites: OTHER, ONSALA 7213"},
        {kHead + lost, site, "ends behind 5 of the 6 rows of site ONSALA 7213"},
        {kHead + lost + kOther, site, "row 6 of site ONSALA 7213 has 1 values where 11 are expected"},
        {"SHORT\n" + kRow + " 1 2 3\n", site, "line 3 of this ocean loading file: row 2 of site SHORT has 3 values"},
        {"LONG\n 0" + kRow, site, "row 1 of site LONG has 12 values"},
        {"BAD\n 1 2 3 4 5 .00x5 7 8 9 10 11\n", site, "row 1 of site BAD: .00x5 is not a number"},
        {"BAD\n 1 2 3 4 5 nan 7 8 9 10 11\n", site, "row 1 of site BAD: nan is not a number"},
        {kHead + kOther + kRow, site, "line 12 of this ocean loading file: the name of a site is expected"},
        {kHead, site, "is not an ocean loading file (no site)"},
        {"", site + " --blq %absent", "%absent: cannot open this ocean loading file"},
        {"", site + " --site ONSALA", "--site names a site of an ocean loading file"},
        {"", "tide --epoch 2021-01-18T00:00:00", "either by --blh or by --xyz"},
        {"", site + " --blh 1 2 3", "either by --blh or by --xyz"},
        {"", "tide --blh 91 0 0 --epoch 2021-01-18T00:00:00", "--blh: latitude"},
        {"", "tide --blh 50 0 20200000 --epoch 2021-01-18T00:00:00", "km from the earth's centre"},
        {"", "tide --xyz 0 0 0 --epoch 2021-01-18T00:00:00", "km from the earth's centre"},
        {"", kSite + "--epoch 2021-13-18T00:00:00", "--epoch 2021-13-18T00:00:00"},
        {"", site + " --duration -1", "--duration"},
        {"", site + " --duration 86400 --interval 1e-5", "--interval"},
        {"", site + " --interval 0", "--interval"},
        {"", site + " --out /absent/x.csv", "/absent/x.csv: cannot be written"},
    };
    for (const Case& c : cases) {
        const std::string blq = c.blq.empty() ? "" : " --blq " + support::write_temp("case.blq", c.blq);
        const Outcome outcome = leopod(c.options + blq);
        EXPECT_EQ(outcome.status, 2) << c.reason << "\n" << outcome.text;
        EXPECT_NE(outcome.text.find(c.reason), std::string::npos) << c.reason << "\n" << outcome.text;
    }
}

}  // namespace
