// What `run --satellites-out` says about each satellite.
#include <set>

#include "host_support.h"
#include "mathlib.h"

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

TEST_F(Satellites, DirectionsAndDilutionAreTheTrueOnes) {
    const auto mine = [](const std::string& obs) {
        leopod_ok("run --obs " + arc21(obs) + " --nav " + arc21("arc.nav") + " --att " + arc21("attitude.txt") +
                  " --atx " + arc21("zero.atx") + " --config " + arc21("gps.cfg") + " --satellites-out " +
                  out("dev21.csv") + " --out " + out("epochs.csv"));
        std::map<std::string, Row> rows;
        for (const Row& row : read_csv(out("dev21.csv"))) rows[row.at("sod_gpst") + row.at("satellite")] = row;
        return rows;
    };
    const std::vector<Row> truth = read_csv(arc21("truth_satellites.csv"));
    std::map<std::string, Row> found = mine("gps.obs"), receiver;
    int compared = 0;
    for (const Row& row : truth) {
        const Row& own = found[row.at("sod_tag") + row.at("sat")];
        if (own.empty() || own.at("azimuth_deg").empty()) continue;
        ++compared;
        const double elevation = row.value("el_deg");
        const double turn = std::remainder(own.value("azimuth_deg") - row.value("az_deg"), 360.0);
        EXPECT_NEAR(own.value("elevation_deg"), elevation, 0.002) << row.at("sod_tag") << row.at("sat");
        EXPECT_LT(std::fabs(turn) * std::cos(elevation * kPi / 180), 0.002) << row.at("sod_tag") << row.at("sat");
    }
    EXPECT_GT(compared, 30);

    // Of these satellites there is the truth for each that is used: two ranges of each have the variances of column gdop.
    found = mine("both.obs");
    for (const Row& row : read_csv(arc21("truth_epochs.csv"))) receiver[row.at("sod_tag")] = row;
    std::map<double, std::array<double, 16>> normals;
    for (const Row& row : truth) {
        const Row& own = found[row.at("sod_tag") + row.at("sat")];
        if (own.empty() || own.at("used_point") != "1") continue;
        double sight[4] = {0, 0, 0, 1};
        for (int k = 0; k < 3; ++k) {
            const std::string axis(1, "xyz"[k]);
            const double at = receiver[row.at("sod_tag")].value(axis + "_rx");
            sight[k] = (row.value(axis + "_tx") - at) / row.value("range_m");
        }
        for (std::size_t k = 0; k < 16; ++k) normals[row.value("sod_tag")][k] += 2.0 * sight[k / 4] * sight[k % 4];
    }
    const auto epochs = read_rows(out("epochs.csv"));
    EXPECT_EQ(normals.size(), 2u);
    for (auto& [sod, n] : normals) {
        ASSERT_EQ(matinv(n.data(), 4, 4), 0) << sod;
        EXPECT_NEAR(epochs.at(sod).at("gdop"), std::sqrt(n[0] * n[0] + n[5] * n[5] + n[10] * n[10]), 1e-3) << sod;
    }
}

}  // namespace
