// Pictures by the command line: what stands in the file is measured against the numbers that went in.
#include <set>

#include "host_support.h"
#include "svg_pictures.h"

namespace {

using namespace support;

constexpr double kPi = 3.14159265358979323846;

/// Rows of a circular orbit in the equator as CSV with an error: radial, minus half of it along and a quarter of it across the
/// track. An hour may be missing.
std::string orbit(const std::string& name, int rows, double step, double (*error)(int), int gap = -1) {
    std::string text = "mjd_gpst,sod_gpst,x_ecef_m,y_ecef_m,z_ecef_m\n";
    for (int i = 0; i < rows; ++i) {
        if (gap >= 0 && i >= gap && i < gap + 3600) continue;
        const double angle = 2.0 * kPi * i * step / 5600.0, e = error(i), r = 6.9e6 + e;
        char line[160];
        std::snprintf(line, sizeof line, "59232,%.3f,%.4f,%.4f,%.4f\n", i * step,
                      r * std::cos(angle) + 0.5 * e * std::sin(angle), r * std::sin(angle) - 0.5 * e * std::cos(angle),
                      0.25 * e);
        text += line;
    }
    return write_temp(name, text);
}

double exact(int) { return 0.0; }

class Plot : public HostTest {
  protected:
    /// The demo arc, run once: epochs.csv, satellites.csv, errors.svg.
    static void run_demo() {
        static const Outcome once =
            leopod_ok("run " + kDemoRun + kDemoAttitude + " --truth " + kDemo + "truth.csv --out " + out("epochs.csv") +
                      " --satellites-out " + out("satellites.csv") + " --plot " + out("errors.svg"));
    }
    /// Draws and reads the picture back.
    static std::vector<Picture> drawn(const std::string& arguments) {
        leopod_ok("plot " + arguments + " --out " + out("drawn.svg"));
        return read_svg(out("drawn.svg"));
    }
};

TEST_F(Plot, ErrorsStandWhereTheAxesSay) {
    const std::string truth = orbit("truth.csv", 121, 60.0, exact);
    const std::string a = orbit("a.csv", 121, 60.0, [](int) { return 2.0; });
    const std::string b = orbit("b.csv", 121, 60.0, [](int i) { return 0.1 * i; });
    const std::string common = "errors --truth " + truth + " --in '" + a + "=steady <&>' --in " + b;
    const std::vector<Picture> panels = drawn(common);
    ASSERT_EQ(panels.size(), 3u);
    const double expected[3] = {2.0, -1.0, 0.5};
    for (std::size_t k = 0; k < 3; ++k) {
        for (const Point& p : panels[k].series.at("steady &lt;&amp;&gt;").at(0))
            EXPECT_NEAR(value_at(panels[k], p.y), expected[k], 0.02) << k;
    }
    // The rising error ends at the last epoch, two hours after the first tick; only the lowest panel has times. One scale for all.
    const std::vector<Point>& rising = panels[0].series.at("b").at(0);
    EXPECT_NEAR(value_at(panels[0], rising.back().y), 12.0, 0.05);
    EXPECT_NEAR(panels[2].texts.at("00:00").x, rising.front().x, 0.11);
    EXPECT_NEAR(panels[2].texts.at("02:00").x, rising.back().x, 0.11);
    EXPECT_EQ(panels[0].texts.count("00:00"), 0u);
    for (std::size_t k : {0, 1})
        EXPECT_NEAR(panels[k].texts.at("10").y - panels[k].texts.at("0").y,
                    panels[2].texts.at("10").y - panels[2].texts.at("0").y, 0.11);
    const std::string svg = read_file(out("drawn.svg"));
    for (const char* text : {"rms 2.00 m", "rms 0.50 m", "2021-01-18 00:00:00 to 02:00:00 GPST", "error [m]"})
        EXPECT_TRUE(holds(svg, text)) << text;

    // Millimetres on the axes and in the legend. A scale that would flatten a panel is not shared, and the caption says so.
    const std::string small = orbit("small.csv", 121, 60.0, [](int) { return 0.004; });
    const Picture fine = drawn("errors --truth " + truth + " --in " + small)[0];
    EXPECT_NEAR(value_at(fine, fine.series.at("small").at(0)[0].y), 4.0, 0.05);
    drawn("errors --truth " + truth + " --in " + a + " --in " + small + " --layout solutions");
    const std::string own = read_file(out("drawn.svg"));
    for (const char* text : {"rms 0.0046 m", "a scale of its own"}) EXPECT_TRUE(holds(own, text)) << text;

    // On both sides of zero.
    const std::string around = orbit("around.csv", 121, 60.0, [](int i) { return 0.016 * (i - 60); });
    const Picture signs = drawn("errors --truth " + truth + " --in " + around)[0];
    const double up = signs.texts.at("0.5").y, zero = signs.texts.at("0.0").y;
    EXPECT_NEAR(signs.texts.at("-0.5").y - zero, zero - up, 0.11);
    EXPECT_NEAR(value_at(signs, signs.series.at("around").at(0)[0].y), -0.96, 0.01);

    // By solution on logarithmic axes, on which 1 m lies half way between 0.5 m and 2 m.
    const std::vector<Picture> logs = drawn(common + " --layout total,solutions --log");
    const auto height = [&](const char* name) { return logs.at(1).series.at(name).at(0)[0].y; };
    EXPECT_NEAR(2.0 * height("along-track"), height("radial") + height("cross-track"), 0.3);

    // Beyond a limit lines end at the frame, and the caption counts what is not seen.
    const Picture limited = drawn(common + " --limit 6.05")[0];
    for (const auto& line : limited.series.at("b")) {
        for (const Point& p : line) EXPECT_LT(value_at(limited, p.y), 6.1);
    }
    EXPECT_TRUE(holds(read_file(out("drawn.svg")), "60 values lie beyond the axis of 6.05 m"));
}

TEST_F(Plot, LongDataAreThinnedWithoutLosingTheirExtremes) {
    const std::string truth = orbit("day_truth.csv", 86400, 1.0, exact);
    const std::string day = orbit(
        "day.csv", 86400, 1.0, [](int i) { return i == 50000 ? 40.0 : std::sin(12.9898 * i); }, 20000);
    const Picture radial = drawn("errors --truth " + truth + " --in " + day)[0];
    EXPECT_LT(std::filesystem::file_size(out("drawn.svg")), 150000u);
    const auto& lines = radial.series.at("day");
    ASSERT_EQ(lines.size(), 2u);  // an hour is missing
    double top = -1e9;
    for (const Point& p : lines[1]) top = std::max(top, value_at(radial, p.y));
    EXPECT_NEAR(top, 40.0, 0.3);
    EXPECT_NEAR((lines[1].front().x - lines[0].back().x) / (lines[1].back().x - lines[0].front().x), 1.0 / 24, 0.003);
}

/// A table as `leopod run --satellites-out` writes it.
std::string satellite_table(const std::string& name, const std::vector<std::string>& rows) {
    std::string text =
        "epoch_gpst,mjd_gpst,sod_gpst,satellite,azimuth_deg,elevation_deg,antenna_azimuth_deg,antenna_elevation_deg,"
        "status,used_point,range1_residual_m,range2_residual_m,used_filter,slip,code_if_residual_m,phase_if_residual_"
        "m\n";
    for (const std::string& row : rows) text += "x,59232," + row + "\n";
    return write_temp(name, text);
}

TEST_F(Plot, SkyHasSatellitesInTheirDirections) {
    const std::string used = ",1,20,OK,1,,,1,,,";
    const std::string table = satellite_table(
        "sky.csv", {"0,G01,45,30,225,60,OK,1,,,1,,,", "0,G03,180,0" + used, "0,G04,,,,,NO_EPHEMERIS,0,,,0,,,",
                    "0,G07,350,20" + used, "30,G07,10,20" + used, "60,G07,11,20" + used, "3060,G07,20,20" + used,
                    "3090,G07,21,20" + used, "0,G08,80,87" + used, "30,G08,280,87" + used});
    const Picture sky = drawn("sky --in " + table)[0];
    EXPECT_EQ(sky.series.size(), 4u);
    const Point centre{sky.texts.at("N").x, sky.texts.at("E").y};
    const double radius = sky.series.at("G03").at(0)[0].y - centre.y;
    const Point north_east = sky.series.at("G01").at(0)[0];
    EXPECT_NEAR(north_east.x - centre.x, radius * 2.0 / 3.0 * std::sqrt(0.5), 0.2);
    EXPECT_NEAR(centre.y - north_east.y, radius * 2.0 / 3.0 * std::sqrt(0.5), 0.2);
    // A pass is a line, cut where the satellite was away; over the north it does not go the long way round.
    const auto& pass = sky.series.at("G07");
    ASSERT_EQ(pass.size(), 4u) << "two lines and their ends";
    EXPECT_GT(pass[0].size(), 4u);
    for (const Point& p : pass[0]) EXPECT_LT(p.y, centre.y - 100.0);
    // Across the zenith, where the azimuth turns by much, it stays straight.
    for (const Point& p : sky.series.at("G08").at(0))
        EXPECT_NEAR(p.y, centre.y - radius / 30.0 * std::cos(80.0 * kPi / 180.0), 0.2);
    const Point other = drawn("sky --frame antenna --in " + table)[0].series.at("G01").at(0)[0];
    EXPECT_LT(other.x, centre.x);
    EXPECT_GT(other.y, centre.y);
    // Over many hours the sky shows where satellites stood how often, in the shades of its key.
    std::vector<std::string> day;
    for (int i = 0; i < 300; ++i) {
        day.push_back(std::to_string(30 * i) + ",G01,90,45" + used);
        if (i % 50 == 0) day.push_back(std::to_string(30 * i) + ",G02,270,45" + used);
    }
    drawn("sky --in " + satellite_table("day.csv", day));
    const std::string svg = read_file(out("drawn.svg")), density = between(svg, "class=\"density\"", "</g>");
    EXPECT_TRUE(holds(svg, "294 and more epochs in a cell")) << "of two cells with 300 and 6, the 98th percentile";
    for (const char* shade : {"#083f72", "#dcebf5"}) EXPECT_TRUE(holds(density, shade)) << shade;
    EXPECT_TRUE(drawn("sky --style tracks --in " + out("day.csv"))[0].series.count("G02") == 1u);
}

TEST_F(Plot, GroundTrackLiesOnTheMap) {
    // Along the equator from 170 degrees east over the edge of the map to 130 degrees west; and a point on the northern hemisphere.
    std::string text = "mjd_gpst,sod_gpst,x_m,y_m,z_m\n";
    for (int i = 0; i <= 60; ++i) {
        const double lon = (170.0 + i) * kPi / 180.0;
        text += "59232," + std::to_string(10 * i) + "," + std::to_string(7e6 * std::cos(lon)) + "," +
                std::to_string(7e6 * std::sin(lon)) + ",0\n";
    }
    const std::string track = write_temp("track.csv", text);
    const std::string site = write_temp("site.csv", "59232,4517590.879,0.0,4487348.409\n");
    const Picture map = drawn("track --in " + track + " --in " + site + "=site")[0];
    const double east = map.texts.at("120\u00b0 E").x;
    const double degree = (east - map.texts.at("0\u00b0").x) / 120.0;
    const double equator = map.texts.at("30\u00b0 N").y + 30.0 * degree;
    const auto distance = [&](const Point& p, double lon, double lat) {
        return std::hypot((p.x - east) / degree + 120 - lon, (p.y - equator) / degree + lat);
    };
    const auto& lines = map.series.at("track");
    for (const auto& [p, lon] : {std::pair{lines.at(0).front(), 170.0},
                                 {lines[0].back(), 180.0},
                                 {lines.at(1).front(), -180.0},
                                 {lines[1].back(), -130.0}})
        EXPECT_LT(distance(p, lon, 0.0), 0.1) << lon;
    EXPECT_LT(distance(map.series.at("site").at(0)[0], 0.0, 45.0), 0.1);
    // Meridians and parallels every 30 degrees, but for the edges and those in the middle.
    const auto& grid = map.series.at("graticule");
    for (std::size_t k = 0; k < 10; ++k) {
        const double lon = -150.0 + 30.0 * static_cast<double>(k < 5 ? k : k + 1);
        EXPECT_LT(distance(grid.at(k)[0], lon, 90.0) + distance(grid[k].at(1), lon, -90.0), 0.2) << k;
    }
    // The south and the horn of Africa, the east of Brazil and of Iceland.
    for (const auto& [lon, lat] : {std::pair{20.0, -34.8}, {51.3, 11.8}, {-35.0, -7.5}, {-13.6, 65.0}}) {
        double nearest = 1e9;
        for (const auto& line : map.series.at("coastlines")) {
            for (const Point& p : line) nearest = std::min(nearest, distance(p, lon, lat));
        }
        EXPECT_LT(nearest, 1.5) << lon;
    }
}

TEST_F(Plot, GeometryIsThatOfTheDirections) {
    // One satellite in the zenith and three around the horizon: variances 2/3, 2/3, 4/3, of the clock 1/3. A fifth one is not used.
    std::vector<std::string> rows = {"0,G05,10,10,1,1,OK,0,,,0,,,"};
    for (const char* at : {"0,G01,0,90", "0,G02,0,0", "0,G03,120,0", "0,G04,240,0"})
        rows.push_back(at + std::string(",1,1,OK,1,,,1,,,"));
    const std::string table = satellite_table("geometry.csv", rows);
    const Picture gdop = drawn("satellites --in " + table)[0];
    EXPECT_NEAR(value_at(gdop, gdop.series.at("GDOP").at(0)[0].y), std::sqrt(3.0), 0.01);
}

TEST_F(Plot, PicturesOfARun) {
    run_demo();
    const std::string epochs = out("epochs.csv"), table = out("satellites.csv");
    EXPECT_EQ(read_svg(out("errors.svg")).at(1).series.size(), 3u);
    // Each satellite has a mark of its own.
    drawn("residuals --in " + table);
    std::stringstream legend(between(read_file(out("drawn.svg")), "class=\"legend\"", "</g>"));
    std::set<std::string> marks;
    for (std::string line; std::getline(legend, line);) {
        if (line[1] == 'p') marks.insert(std::regex_replace(line, std::regex("d=\"[mM][-0-9. ]*"), ""));
    }
    EXPECT_EQ(marks.size(), 24u);

    const std::vector<Picture> satellites = drawn("satellites --in " + epochs + " --in " + table);
    const Point last = satellites[0].series.at("satellites").at(0).back();
    EXPECT_NEAR(value_at(satellites[0], last.y), read_csv(epochs).back().value("satellites"), 0.05);
    const std::size_t bars = satellites.at(3).series.at("in the filter").size();
    EXPECT_TRUE(bars >= 24u && bars < 100u) << bars;  // passes, not epochs

    // Residuals of a fit, in the order of its file along, radial, cross.
    const std::vector<Picture> fitted =
        drawn("residuals --in " +
              write_temp("fit.csv",
                         "epoch_gpst,seconds,along_m,radial_m,cross_m,weight,left_out\n"
                         "2010-07-26T23:59:59.999990,0,1,2,3,1,\n2010-07-27T00:01:00.000000,60,-1,-2,-3,0.5,\n"
                         "2010-07-27T00:02:00.000000,60,9,9,9,0,outlier\n"));
    EXPECT_EQ(fitted.at(0).texts.count("Radial, rms 2.00 m"), 1u);
    EXPECT_EQ(fitted.at(0).series.count("left out"), 1u);
    EXPECT_NEAR(value_at(fitted.at(0), fitted[0].series.at("radial").at(0)[0].y), 2.0, 0.05);
    EXPECT_NEAR(value_at(fitted.at(1), fitted[1].series.at("along-track").at(0)[0].y), 1.0, 0.05);
    EXPECT_EQ(fitted.at(2).texts.count("GPST on 2010-07-27"), 1u);

    // A picture that could not be made costs the exit status, not the results.
    leopod_ok("fit --positions " + epochs + " --dynamics " + kExamples + "demo_orbit.cfg --eop " + kDemo +
              "eop.txt --plot " + out("fit.svg"));
    const Outcome o =
        capture("PATH=/nowhere " + kProgram + " run " + kDemoRun + kDemoAttitude + " --plot " + out("none.png"));
    EXPECT_EQ(o.status, 1) << o.text;
    EXPECT_TRUE(holds(o.text, "plot: skipped")) << o.text;
}

TEST_F(Plot, WildInputsGiveAPicture) {
    const std::string truth = orbit("truth.csv", 121, 60.0, exact);
    // Whatever stands in a name or a cell, the picture stays one: long labels, huge numbers, many satellites.
    std::vector<std::string> rows = {"1e300,G01,45,30,45,30,OK,1,,,1,,,",
                                     "0,G02,1e300,-1e300,nan,inf,OK,1,,,1,,1e300,-1e300",
                                     "86400000,G03,45,30,45,30,OK,1,,,1,,,", "0,G9,1,1,1,1,OK,1,,,1,,,"};
    for (int i = 100; i < 1000; ++i) rows.push_back("0," + std::to_string(i) + ",10,-80,10,10,OK,1,1,1,1,MW,0.1,0.2");
    const std::string wild = satellite_table("wild.csv", rows);
    for (const char* kind : {"sky", "residuals", "satellites"}) drawn(std::string(kind) + " --in " + wild);
    const Picture panel =
        drawn("errors --truth " + truth + " --in '" + truth + "=" + std::string(500, 'W') + "\x01\xff'")[0];
    const std::vector<Point>& long_name = panel.series.begin()->second.at(0);
    EXPECT_GT(long_name.back().x - long_name.front().x, 500.0);
}

TEST_F(Plot, PngByGnuplotAndWithoutIt) {
    const std::string arguments = " plot track --in " + orbit("truth.csv", 121, 60.0, exact) + " --out " + out("t.png");
    // Without gnuplot, and with one that writes nothing and says that all is well, as on a full disk.
    const std::string fake = write_temp("gnuplot", "#!/bin/sh\ncat > /dev/null\n");
    std::filesystem::permissions(fake, std::filesystem::perms::owner_all);
    for (const auto& [path, text] : {std::pair{std::string("/nowhere"), "gnuplot, which is not installed"},
                                     {std::filesystem::path(fake).parent_path().string() + ":/bin:/usr/bin",
                                      "gnuplot could not draw this picture"}}) {
        const Outcome o = capture("PATH=" + path + " " + kProgram + arguments);
        EXPECT_EQ(o.status, 2) << o.text;
        EXPECT_TRUE(holds(o.text, text)) << o.text;
        EXPECT_FALSE(std::filesystem::exists(out("t.png")));
    }
    if (!has_command("gnuplot")) GTEST_SKIP() << "gnuplot is not installed";
    leopod_ok(arguments);
    const std::string png = read_file(out("t.png"));
    EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(png.substr(png.size() - 8, 4), "IEND");
}

}  // namespace
