// `leopod tide`: its displacements against published ones and direct calls of the library, and what it says to unusable input.
#include <array>

#include "common_function.h"
#include "host_support.h"
#include "iers_function.h"

#ifdef HAVE_ERFA
#include <erfa.h>
#endif

namespace {

using namespace support;

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
const std::string kSite = "--xyz 3370658.542 711877.138 5349786.949 ";

class HostTide : public HostTest {};

/// Three numbers of a row, such as the axes of a displacement.
std::array<double, 3> three(const Row& row, const std::string& source, const std::array<const char*, 3>& axes) {
    return {row.value(source + axes[0]), row.value(source + axes[1]), row.value(source + axes[2])};
}
constexpr std::array<const char*, 3> kXyz = {"_x_ecef_m", "_y_ecef_m", "_z_ecef_m"};
constexpr std::array<const char*, 3> kEnu = {"_east_m", "_north_m", "_up_m"};

TEST_F(HostTide, OceanLoadingIsThePublishedOne) {
    // up, south, west
    const double published[][3] = {{0.003094, -0.001538, -0.000895}, {0.001812, -0.000950, -0.000193},
                                   {0.000218, -0.000248, 0.000421},  {-0.001104, 0.000404, 0.000741},
                                   {-0.001668, 0.000863, 0.000646},  {-0.001209, 0.001042, 0.000137}};
    const std::string blq = write_temp("two.blq", kHead + kOther + kOnsala + "$$ END TABLE\n");
    const Outcome o =
        leopod_ok("tide " + kSite + "--from 2009-06-25T01:10:45 --to 2009-06-25T06:10:46 --time-scale utc --blq " +
                  blq + " --site onsala --out " + out("ocean.csv"));
    EXPECT_TRUE(holds(o.text, "site ONSALA 7213")) << o.text;
    const std::vector<Row> rows = read_csv(out("ocean.csv"));
    ASSERT_EQ(rows.size(), 6u);
    double high = -1.0, blh[3], site[3] = {3370658.542, 711877.138, 5349786.949};
    ecef2blh(site, blh, 6378137.0, 0.0033528106647474805);
    for (std::size_t i = 0; i < 6; ++i) {
        const Row& row = rows[i];
        EXPECT_NEAR(row.value("sod_gpst"), 4245.0 + 15.0 + 3600.0 * static_cast<double>(i), 1e-6);
        EXPECT_NEAR(row.value("ocean_up_m"), published[i][0], 6e-7);
        EXPECT_NEAR(row.value("ocean_north_m"), -published[i][1], 6e-7);
        EXPECT_NEAR(row.value("ocean_east_m"), -published[i][2], 6e-7);
        for (const std::string axis : kEnu)
            EXPECT_NEAR(row.value("total" + axis), row.value("solid" + axis) + row.value("ocean" + axis), 2e-7);
        for (const std::string source : {"solid", "ocean", "total"}) {
            double enu[3];
            xyz2enu(blh, three(row, source, kXyz).data(), enu);
            for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(three(row, source, kEnu)[k], enu[k], 2e-7) << source;
        }
        high = std::max(high, row.value("total_up_m"));
    }
    EXPECT_NEAR(number(o.text, "total [^$]*up +[-+0-9.]+ m at [^,]*, ([-+0-9.]+) m"), high, 6e-5) << o.text;
}

#ifdef HAVE_ERFA
TEST_F(HostTide, SolidTideWithSunMoonAndRotationOfErfa) {
    constexpr double kPi = 3.14159265358979323846, kAstronomicalUnit = 149597870700.0;
    double blh[3] = {-22.12 * kPi / 180.0, -46.3 * kPi / 180.0, 620.0}, site[3];
    blh2ecef(blh, site, 6378137.0, 0.0033528106647474805);
    // The hour before midnight UTC and the one behind it; then years outside the built-in record, which is good to arcseconds, and the
    // analytic series to a third of a degree.
    const auto jpl = data_path("jpl/de440_2018_2021.txt");
    std::vector<std::pair<std::string, double>> cases = {{"2021-01-17T23:00:18", 2e-5},
                                                         {"2035-06-20T23:00:18", 1.2e-3}};
    if (std::filesystem::exists(jpl)) cases.emplace_back("2019-07-01T23:00:18 --jpl " + jpl.string(), 2e-5);
    for (const auto& [epoch, tolerance] : cases) {
        leopod_ok("tide --blh -22.12 -46.3 620 --duration 7200 --interval 1800.5 --epoch " + epoch + " --out " +
                  out("solid.csv"));
        const std::vector<Row> rows = read_csv(out("solid.csv"));
        ASSERT_EQ(rows.size(), 4u);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            int year, month, day;
            ASSERT_EQ(std::sscanf(rows[i].at("epoch_gpst").c_str(), "%d-%d-%d", &year, &month, &day), 3);
            const double seconds = 23.0 * 3600.0 + 1800.5 * static_cast<double>(i);  // UTC, since the first day
            double j0, mjd, heliocentric[2][3], barycentric[2][3], geocentric[2][3], rotation[3][3];
            ASSERT_EQ(eraCal2jd(year, month, day, &j0, &mjd), 0);
            const double hour = std::fmod(seconds, 86400.0) / 3600.0;
            const double utc = mjd + hour / 24.0, tt = utc + 69.184 / 86400.0;
            eraEpv00(j0, tt, heliocentric, barycentric);
            eraMoon98(j0, tt, geocentric);
            eraC2t06a(j0, tt, j0, utc, 0.0, 0.0, rotation);
            double sun[3], moon[3], expected[3];
            for (double& v : heliocentric[0]) v *= -kAstronomicalUnit;
            for (double& v : geocentric[0]) v *= kAstronomicalUnit;
            eraRxp(rotation, heliocentric[0], sun);
            eraRxp(rotation, geocentric[0], moon);
            DEHANTTIDEINEL(site, year, month, day, hour, 37.0, sun, moon, expected);
            for (std::size_t k = 0; k < 3; ++k)
                EXPECT_NEAR(three(rows[i], "solid", kXyz)[k], expected[k], tolerance) << epoch << " " << i;
        }
    }
}
#endif

TEST_F(HostTide, PlanetsOfOtherYears) {
    const auto jpl = data_path("jpl/de440_2018_2021.txt");
    LEOPOD_REQUIRE_DATA(jpl);
    expect_refusals("tide", {{"--blh 10 100 0 --epoch 2009-07-02T00:00:00 --jpl " + jpl.string(),
                              "THE PLANETS COVER NOTHING OF THE ARC"}});
}

}  // namespace
