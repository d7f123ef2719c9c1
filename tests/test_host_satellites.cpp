// What `run --satellites-out` says about each satellite.
#include <set>

#include "host_support.h"

namespace {

using namespace support;

constexpr double kPi = 3.14159265358979323846;

class Satellites : public HostTest {};

TEST_F(Satellites, RunWritesEachSatelliteAndKeepsItsResults) {
    const std::string run = "run " + kDemoRun + kDemoAttitude + " --out ";
    leopod_ok(run + out("epochs.csv") + " --satellites-out " + out("satellites.csv"));
    leopod_ok(run + out("plain.csv"));
    EXPECT_EQ(read_file(out("plain.csv")), read_file(out("epochs.csv")));

    std::map<double, int> used;
    std::set<std::string> seen;
    double xx = 0, xy = 0, yy = 0;
    for (const Row& row : read_csv(out("satellites.csv"))) {
        if (row.at("used_filter") != "1") continue;
        const std::string& satellite = row.at("satellite");
        ++used[row.value("sod_gpst")];
        EXPECT_EQ(row.at("slip") == "NEW", seen.insert(satellite).second) << satellite << " " << row.at("sod_gpst");
        // The platform looks down by less than a tenth of a degree from the vertical, the antenna up; its y axis lies across.
        EXPECT_NEAR(row.value("elevation_deg"), row.value("antenna_elevation_deg"), 0.3) << satellite;
        EXPECT_NE(row.at("azimuth_deg"), row.at("antenna_azimuth_deg"));
        EXPECT_LT(std::fabs(row.value("phase_if_residual_m")), 0.05);
        // Both solutions see the same noise of the code (B1 and B5 with their ionosphere-free factors).
        constexpr double kSquare = (1575.42 * 1575.42) / (1176.45 * 1176.45), kFactor = kSquare / (kSquare - 1.0);
        const double code = row.value("code_if_residual_m");
        const double range =
            kFactor * row.value("range1_residual_m") + (1.0 - kFactor) * row.value("range2_residual_m");
        xx += code * code;
        xy += code * range;
        yy += range * range;
    }
    EXPECT_GT(xy / std::sqrt(xx * yy), 0.5);
    const auto epochs = read_rows(out("epochs.csv"));
    ASSERT_EQ(used.size(), epochs.size());
    for (const auto& [sod, row] : epochs) EXPECT_EQ(used[sod], row.at("ambiguities")) << sod;
}

TEST_F(Satellites, DirectionsOfSatellitesAreTheTrueOnes) {
    leopod_ok("run --obs " + arc21("gps.obs") + " --nav " + arc21("arc.nav") + " --att " + arc21("attitude.txt") +
              " --atx " + arc21("zero.atx") + " --config " + arc21("gps.cfg") + " --satellites-out " +
              out("dev21.csv"));
    std::map<std::string, Row> mine;
    for (const Row& row : read_csv(out("dev21.csv"))) mine[row.at("sod_gpst") + row.at("satellite")] = row;
    int compared = 0;
    for (const Row& row : read_csv(arc21("truth_satellites.csv"))) {
        const Row& found = mine[row.at("sod_tag") + row.at("sat")];
        if (found.empty() || found.at("azimuth_deg").empty()) continue;
        ++compared;
        const double elevation = row.value("el_deg");
        const double turn = std::remainder(found.value("azimuth_deg") - row.value("az_deg"), 360.0);
        EXPECT_NEAR(found.value("elevation_deg"), elevation, 0.002) << row.at("sod_tag") << row.at("sat");
        EXPECT_LT(std::fabs(turn) * std::cos(elevation * kPi / 180), 0.002) << row.at("sod_tag") << row.at("sat");
    }
    EXPECT_GT(compared, 30);
}

}  // namespace
