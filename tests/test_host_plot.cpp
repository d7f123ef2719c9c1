// Pictures by the command line: what stands in the file is measured against the numbers that went in. Progress on terminals.
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <set>

#include "../host/console.cpp"
#include "common_function.h"
#include "host_support.h"

namespace {

using namespace support;

constexpr double kPi = 3.14159265358979323846;

struct Point {
    double x, y;
};

/// A panel, the sky or the map of an SVG file, read back: texts with their pixels, and the points of each series.
struct Picture {
    struct Series {
        std::vector<std::vector<Point>> lines;
        std::vector<Point> dots;
    };
    std::map<std::string, Series> series;
    std::map<std::string, Point> texts;                   ///< the first of equal ones
    std::vector<std::string> x_texts;                     ///< tick labels and what is measured
    std::vector<std::pair<std::string, double>> y_texts;  ///< with their heights
};

/// Points of a path of absolute M, relative l, m and zero-length h.
std::vector<std::vector<Point>> points_of(const std::string& d) {
    std::vector<std::vector<Point>> pieces;
    Point at{0, 0};
    char command = 'M';
    const char* p = d.c_str();
    while (*p != '\0') {
        if (std::isalpha(static_cast<unsigned char>(*p)) != 0) command = *p++;
        char* end = nullptr;
        const double a = std::strtod(p, &end);
        if (end == p) break;
        p = end;
        if (command == 'h') continue;
        const double b = std::strtod(p, &end);
        p = end;
        at = command == 'M' ? Point{a, b} : Point{at.x + a, at.y + b};
        if (command != 'l') pieces.emplace_back();
        pieces.back().push_back(at);
    }
    return pieces;
}

/// What stands between two texts of a line; empty without them.
std::string between(const std::string& line, const std::string& before, const std::string& behind) {
    const std::size_t at = line.find(before);
    if (at == std::string::npos) return "";
    const std::size_t start = at + before.size();
    return line.substr(start, line.find(behind, start) - start);
}

std::string attribute(const std::string& line, const std::string& name) {
    return between(line, " " + name + "=\"", "\"");
}

/// The drawings of a file: its panels, or one for the whole where it has none. Every group must be closed.
std::vector<Picture> read_svg(const std::string& file) {
    std::vector<Picture> pictures(1);
    std::vector<std::string> open = {""};
    Picture::Series* series = nullptr;
    std::stringstream in(read_file(file));
    EXPECT_TRUE(holds(in.str(), "</svg>")) << file;
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, 9, "<g class=") == 0) {
            open.push_back(attribute(line, "class"));
            if (open.back() == "panel") pictures.emplace_back();
            if (open.back() == "series") series = &pictures.back().series[between(line, "<title>", "</title>")];
        } else if (line == "</g>") {
            open.pop_back();
        } else if (line.compare(0, 5, "<text") == 0) {
            const double y = std::stod(attribute(line, "y")) - 0.36 * std::stod(attribute(line, "font-size"));
            const std::string text = std::regex_replace(between(line, ">", "</text>"), std::regex("\u2212"), "-");
            pictures.back().texts.insert({text, {std::stod(attribute(line, "x")), y}});
            if (open.back() == "x-axis") pictures.back().x_texts.push_back(text);
            if (open.back() == "y-axis") pictures.back().y_texts.emplace_back(text, y);
        } else if (line.compare(0, 5, "<path") == 0 && open.back() == "series") {
            for (const std::vector<Point>& piece : points_of(attribute(line, "d"))) {
                if (holds(line, "stroke-linecap"))
                    series->dots.push_back(piece[0]);
                else if (holds(line, "fill=\"none\""))
                    series->lines.push_back(piece);
            }
        }
    }
    EXPECT_EQ(open.size(), 1u) << file;
    if (pictures.size() > 1) pictures.erase(pictures.begin());
    return pictures;
}

/// The value at a height of a panel, by two of its tick labels.
double value_at(const Picture& panel, double y, bool log = false) {
    std::vector<std::pair<double, double>> ticks;
    for (const auto& [text, height] : panel.y_texts) {
        const double v = to_number(text);
        if (!std::isnan(v)) ticks.emplace_back(height, log ? std::log10(v) : v);
    }
    if (ticks.size() < 2) return std::nan("");
    const auto& [y0, v0] = ticks.front();
    const auto& [y1, v1] = ticks.back();
    const double v = v0 + (y - y0) / (y1 - y0) * (v1 - v0);
    return log ? std::pow(10.0, v) : v;
}

std::size_t count_points(const Picture::Series& s) {
    std::size_t n = 0;
    for (const auto& line : s.lines) n += line.size();
    return n;
}

/// Rows of a circular orbit in the equator as CSV, with an error in its own axes that may depend on the epoch; an hour may be missing.
template <typename Error>
std::string orbit(const std::string& name, int rows, double step, Error error, int gap = -1) {
    std::string text = "mjd_gpst,sod_gpst,x_ecef_m,y_ecef_m,z_ecef_m\n";
    for (int i = 0; i < rows; ++i) {
        if (gap >= 0 && i >= gap && i < gap + 3600) continue;
        const double angle = 2.0 * kPi * i * step / 5600.0;
        const auto [radial, along, cross] = error(i);
        char line[160];
        const double r = 6.9e6 + radial;
        std::snprintf(line, sizeof line, "59232,%.3f,%.4f,%.4f,%.4f\n", i * step,
                      r * std::cos(angle) - along * std::sin(angle), r * std::sin(angle) + along * std::cos(angle),
                      cross);
        text += line;
    }
    return write_temp(name, text);
}

using Triple = std::tuple<double, double, double>;
Triple exact(int) { return {0, 0, 0}; }

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
    const std::string a = orbit("a.csv", 121, 60.0, [](int) { return Triple{2.0, -1.0, 0.5}; });
    const std::string b = orbit("b.csv", 121, 60.0, [](int i) { return Triple{0.1 * i, 0.0, 0.0}; });
    const std::string common = "errors --truth " + truth + " --in '" + a + "=steady <&>' --in " + b;
    const std::vector<Picture> panels = drawn(common);
    ASSERT_EQ(panels.size(), 3u);
    const double expected[3] = {2.0, -1.0, 0.5};
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_EQ(panels[k].series.size(), 2u);
        const Picture::Series& steady = panels[k].series.at("steady &lt;&amp;&gt;");
        ASSERT_EQ(steady.lines.size(), 1u);
        EXPECT_GE(steady.lines[0].size(), 2u);
        for (const Point& p : steady.lines[0]) EXPECT_NEAR(value_at(panels[k], p.y), expected[k], 0.02) << k;
    }
    // The rising error ends at the last epoch, two hours after the first tick; only the lowest panel has times.
    const std::vector<Point>& rising = panels[0].series.at("b").lines.at(0);
    EXPECT_NEAR(value_at(panels[0], rising.back().y), 12.0, 0.05);
    EXPECT_NEAR(panels[2].texts.at("00:00").x, rising.front().x, 0.11);
    EXPECT_NEAR(panels[2].texts.at("02:00").x, rising.back().x, 0.11);
    EXPECT_EQ(panels[2].x_texts.back(), "GPST on 2021-01-18");
    EXPECT_TRUE(panels[0].x_texts.empty());
    const std::string svg = read_file(out("drawn.svg"));
    for (const char* text : {"rms 2.00 m", "rms 0.50 m", "2021-01-18 00:00:00 to 02:00:00 GPST", "error [m]"})
        EXPECT_TRUE(holds(svg, text)) << text;

    const std::vector<Picture> logs = drawn(common + " --layout total,solutions --log");
    ASSERT_EQ(logs.size(), 3u);
    EXPECT_NEAR(value_at(logs[0], logs[0].series.at("steady &lt;&amp;&gt;").lines[0][0].y, true), std::sqrt(5.25),
                0.05);
    EXPECT_NEAR(value_at(logs[1], logs[1].series.at("along-track").lines[0][0].y, true), 1.0, 0.03);

    // Beyond a limit lines end at the frame, and the caption counts what is not seen.
    const Picture limited = drawn(common + " --limit 6.05")[0];
    for (const auto& line : limited.series.at("b").lines) {
        for (const Point& p : line) EXPECT_LT(value_at(limited, p.y), 6.1);
    }
    EXPECT_TRUE(holds(read_file(out("drawn.svg")), "60 values lie beyond the axis of 6.05 m"));
}

TEST_F(Plot, LongDataAreThinnedWithoutLosingTheirExtremes) {
    const auto noisy = [](int i) {
        return Triple{i == 50000 ? 40.0 : std::sin(12.9898 * i), std::cos(78.233 * i), 0.0};
    };
    const std::string truth = orbit("day_truth.csv", 86400, 1.0, exact);
    const Picture radial = drawn("errors --truth " + truth + " --in " + orbit("day.csv", 86400, 1.0, noisy, 20000))[0];
    EXPECT_LT(std::filesystem::file_size(out("drawn.svg")), 150000u);
    const Picture::Series& s = radial.series.at("day");
    double top = -1e9;
    for (const auto& line : s.lines) {
        for (const Point& p : line) top = std::max(top, value_at(radial, p.y));
    }
    EXPECT_NEAR(top, 40.0, 0.3);
    EXPECT_GT(count_points(s), 1500u);
    ASSERT_EQ(s.lines.size(), 2u);  // an hour is missing
    EXPECT_NEAR((s.lines[1].front().x - s.lines[0].back().x) / (s.lines[1].back().x - s.lines[0].front().x), 1.0 / 24,
                0.003);
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
    const std::string table =
        satellite_table("sky.csv", {"0,G01,45,30,225,60,OK,1,,,1,,,", "0,G02,90,60,90,60,OK,1,,,1,,,",
                                    "0,G03,180,0,180,0,OK,1,,,1,,,", "0,G04,,,,,NO_EPHEMERIS,0,,,0,,,"});
    const Picture sky = drawn("sky --in " + table)[0];
    EXPECT_EQ(sky.series.size(), 3u);
    const Point centre{sky.texts.at("N").x, sky.texts.at("E").y};
    const double radius = sky.series.at("G03").dots.at(0).y - centre.y;
    EXPECT_GT(radius, 200.0);
    const Point north_east = sky.series.at("G01").dots.at(0);
    EXPECT_NEAR(north_east.x - centre.x, radius * 2.0 / 3.0 * std::sqrt(0.5), 0.2);
    EXPECT_NEAR(centre.y - north_east.y, radius * 2.0 / 3.0 * std::sqrt(0.5), 0.2);
    EXPECT_NEAR(sky.series.at("G02").dots.at(0).x - centre.x, radius / 3.0, 0.2);
    const Picture antenna = drawn("sky --frame antenna --in " + table)[0];
    const Point other = antenna.series.at("G01").dots.at(0);
    EXPECT_LT(other.x, centre.x);
    EXPECT_GT(other.y, centre.y);
    // A pass is a line, cut where the satellite was away; over the north it does not go the long way round.
    std::vector<std::string> pass;
    for (int i = 0; i < 20; ++i)
        pass.push_back(std::to_string((i < 10 ? 0 : 3000) + 30 * i) + ",G07," + std::to_string((355 + i) % 360) +
                       ",20,1,20,OK,1,,,1,,,");
    const Picture two = drawn("sky --in " + satellite_table("pass.csv", pass))[0];
    ASSERT_EQ(two.series.at("G07").lines.size(), 2u);
    for (const Point& p : two.series.at("G07").lines[0]) EXPECT_LT(p.y, centre.y - 100.0);
    // Across the zenith, where the azimuth turns by much, it stays straight.
    std::vector<std::string> high;
    for (int i = 0; i < 9; ++i) {
        const double east = -80.0 + 20.0 * i;
        char row[96];
        std::snprintf(row, sizeof row, "%d,G08,%.4f,%.4f,1,20,OK,1,,,1,,,", 30 * i,
                      std::fmod(std::atan2(east, 4.0) * 180.0 / kPi + 360.0, 360.0),
                      90.0 * (1.0 - std::hypot(east, 4.0) / radius));
        high.push_back(row);
    }
    const Picture straight = drawn("sky --in " + satellite_table("high.csv", high))[0];
    for (const Point& p : straight.series.at("G08").lines.at(0)) EXPECT_NEAR(p.y, centre.y - 4.0, 0.2);
}

TEST_F(Plot, GroundTrackLiesOnTheMap) {
    // From 170 degrees east over the edge of the map to 130 degrees west; and a point on the northern hemisphere.
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
    const auto& lines = map.series.at("track").lines;
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NEAR(lines[0].front().x, east + 50 * degree, 0.2);
    EXPECT_NEAR(lines[1].back().x, east - 250 * degree, 0.2);
    EXPECT_NEAR(lines[0].back().x - lines[1].front().x, 360 * degree, 0.2);
    for (const auto& line : lines) {
        for (const Point& p : line) EXPECT_NEAR(p.y, equator, 0.2);
    }
    EXPECT_NEAR(map.series.at("site").dots.at(0).y, equator - 45 * degree, 0.2);
}

TEST_F(Plot, RunWritesEachSatelliteAndKeepsItsResults) {
    run_demo();
    leopod_ok("run " + kDemoRun + kDemoAttitude + " --out " + out("plain.csv"));
    EXPECT_EQ(read_file(out("plain.csv")), read_file(out("epochs.csv")));

    const auto epochs = read_rows(out("epochs.csv"));
    std::map<double, int> used;
    std::set<std::string> seen;
    std::map<std::string, std::pair<double, double>> last;  // epoch and residue of a satellite
    double squares = 0;
    int pairs = 0;
    for (const Row& row : read_csv(out("satellites.csv"))) {
        if (row.at("used_filter") != "1") continue;
        const std::string& satellite = row.at("satellite");
        const double sod = row.value("sod_gpst");
        ++used[sod];
        EXPECT_EQ(row.at("slip") == "NEW", seen.insert(satellite).second) << satellite << " " << sod;
        // The platform looks down by less than a tenth of a degree from the vertical, the antenna up; its y axis lies across.
        EXPECT_NEAR(row.value("elevation_deg"), row.value("antenna_elevation_deg"), 0.3) << satellite << " " << sod;
        EXPECT_NE(row.at("azimuth_deg"), row.at("antenna_azimuth_deg"));
        EXPECT_GT(row.value("antenna_elevation_deg"), 5.0 - 1e-4);
        EXPECT_LT(std::fabs(row.value("phase_if_residual_m")), 0.05);
        // The filter's code residual is that of the ranges (B1 and B5 with their ionosphere-free factors), moved by the difference of both
        // solutions along the line of sight; what remains are corrections of the range model, which change slowly while the noise does not.
        constexpr double kSquare = (1575.42 * 1575.42) / (1176.45 * 1176.45);
        const double factor = kSquare / (kSquare - 1.0);
        const double ranges = factor * row.value("range1_residual_m") + (1.0 - factor) * row.value("range2_residual_m");
        const auto& epoch = epochs.at(sod);
        double position[3], difference[3], blh[3], enu[3];
        for (std::size_t k = 0; k < 3; ++k) {
            const std::string axis = std::string(1, "xyz"[k]) + "_ecef_m";
            position[k] = epoch.at(axis);
            difference[k] = epoch.at("filter_" + axis) - epoch.at(axis);
        }
        ecef2blh(position, blh, 6378137.0, 0.0033528106647474805);
        xyz2enu(blh, difference, enu);
        const double az = row.value("azimuth_deg") * kPi / 180.0;
        const double el = row.value("elevation_deg") * kPi / 180.0;
        const double moved = std::cos(el) * (std::sin(az) * enu[0] + std::cos(az) * enu[1]) + std::sin(el) * enu[2] -
                             (epoch.at("filter_clock_BDS_m") - epoch.at("clock_BDS_m"));
        const double residue = row.value("code_if_residual_m") - ranges - moved;
        const auto before = last.find(satellite);
        if (before != last.end() && sod - before->second.first < 31.0) {
            squares += std::pow(residue - before->second.second, 2);
            ++pairs;
        }
        last[satellite] = {sod, residue};
    }
    ASSERT_EQ(used.size(), epochs.size());
    for (const auto& [sod, row] : epochs) EXPECT_EQ(used[sod], row.at("ambiguities")) << sod;
    EXPECT_GT(pairs, 900);
    EXPECT_LT(std::sqrt(squares / pairs), 0.05);
}

TEST_F(Plot, DirectionsOfSatellitesAreTheTrueOnes) {
    const auto truth = data_path("leo_sim/dev21_truth_sats.csv");
    LEOPOD_REQUIRE_DATA(truth);
    const std::string dir = truth.parent_path().string() + "/";
    leopod_ok("run --obs " + dir + "dev21_gps_clean.obs --nav " + dir + "dev21_tgd0.nav --att " + dir +
              "dev21_att_zup.txt --atx " + dir + "zero.atx --config " + dir + "config_gps.txt --satellites-out " +
              out("dev21.csv"));
    std::map<std::string, Row> mine;
    for (const Row& row : read_csv(out("dev21.csv"))) mine[row.at("sod_gpst") + row.at("satellite")] = row;
    int compared = 0;
    for (const Row& row : read_csv(truth.string())) {
        const auto found = mine.find(row.at("sod_tag") + row.at("sat"));
        if (found == mine.end() || found->second.at("azimuth_deg").empty()) continue;
        ++compared;
        const double elevation = row.value("el_deg"),
                     turn = std::remainder(found->second.value("azimuth_deg") - row.value("az_deg"), 360.0);
        EXPECT_NEAR(found->second.value("elevation_deg"), elevation, 0.002) << found->first;
        EXPECT_LT(std::fabs(turn) * std::cos(elevation * kPi / 180), 0.002) << found->first;
    }
    EXPECT_GT(compared, 30);
}

TEST_F(Plot, PicturesOfARun) {
    run_demo();
    const std::string epochs = out("epochs.csv"), table = out("satellites.csv");
    const std::vector<Picture> errors = read_svg(out("errors.svg"));
    ASSERT_EQ(errors.size(), 2u);
    for (const Picture& panel : errors) EXPECT_EQ(panel.series.size(), 3u);

    const std::vector<Picture> residuals = drawn("residuals --in " + table);
    ASSERT_EQ(residuals.size(), 4u);  // phase and code, over time and over elevation
    for (const Picture& panel : residuals) {
        EXPECT_EQ(panel.series.size(), 24u);
        for (const auto& [name, s] : panel.series) EXPECT_GT(s.dots.size(), 0u) << name;
    }
    const std::vector<Picture> satellites = drawn("satellites --in " + epochs + " --in " + table);
    ASSERT_EQ(satellites.size(), 3u);
    const std::vector<Row> rows = read_csv(epochs);
    const std::vector<Point>& count = satellites[0].series.at("satellites").lines.at(0);
    EXPECT_NEAR(value_at(satellites[0], count.front().y), rows.front().value("satellites"), 0.05);
    EXPECT_NEAR(value_at(satellites[0], count.back().y), rows.back().value("satellites"), 0.05);
    EXPECT_EQ(satellites[2].y_texts.size(), 25u);  // names and the empty label
    const std::size_t bars = satellites[2].series.at("in the filter").lines.size();
    EXPECT_TRUE(bars >= 24u && bars < 100u) << bars;  // passes, not epochs

    // A fit draws its own residuals, and from their file the same picture is made.
    const std::string config = write_temp(
        "fit.cfg",
        "+Force_Models\nEarth_Gravity = YES 30\nEmpirical_Force = YES A0:3600 C0:3600 R0:3600\n-Force_Models\n"
        "+GENERAL_CONFIG\nIntegration_Step_Size = 30.0\nIntegration_Output_Interval = 30.0\nspacecraft_state_mode = 2\n"
        "-GENERAL_CONFIG\n");
    leopod_ok("fit --positions " + epochs + " --dynamics " + config + " --residuals " + out("fit_res.csv") + " --out " +
              out("orbit.csv") + " --plot " + out("fit.svg"));
    const std::vector<Picture> direct = read_svg(out("fit.svg"));
    const std::vector<Picture> again = drawn("residuals --in " + out("fit_res.csv"));
    ASSERT_TRUE(direct.size() == 3u && again.size() == 3u);
    for (std::size_t k = 0; k < 3; ++k) {
        const std::vector<Point>&dots = direct[k].series.begin()->second.dots,
              &same = again[k].series.begin()->second.dots;
        ASSERT_TRUE(dots.size() == 121u && same.size() == 121u);
        for (std::size_t i = 0; i < dots.size(); ++i) EXPECT_NEAR(dots[i].y, same[i].y, 0.2);
    }
    // Point position, filter and fitted orbit over each other.
    const std::vector<Picture> three =
        drawn("errors --truth " + kDemo + "truth.csv --in " + epochs + ":point --in " + epochs + ":filter --in '" +
              out("orbit.csv") + "=fitted orbit' --layout total,components");
    ASSERT_EQ(three.size(), 4u);
    for (const char* name : {"point position", "filter", "fitted orbit"})
        EXPECT_GT(count_points(three[0].series.at(name)), 100u);

    // Residuals of a fit, in the order of its file along, radial, cross.
    const std::vector<Picture> fitted = drawn(
        "residuals --in " + write_temp("fit.csv",
                                       "epoch_gpst,seconds,along_m,radial_m,cross_m\n"
                                       "2010-07-26T23:59:59.999990,0,1,2,3\n2010-07-27T00:01:00.000000,60,-1,-2,-3\n"));
    ASSERT_EQ(fitted.size(), 3u);
    const std::pair<const char*, double> expected[3] = {{"radial", 2}, {"along-track", 1}, {"cross-track", 3}};
    for (std::size_t k = 0; k < 3; ++k) {
        const auto& [name, value] = expected[k];
        EXPECT_NEAR(value_at(fitted[k], fitted[k].series.at(name).dots.at(0).y), value, 0.05) << k;
    }
    EXPECT_EQ(fitted[2].x_texts.back(), "GPST on 2010-07-27");
}

TEST_F(Plot, UnusableInputsAreNamed) {
    const std::string truth = orbit("truth.csv", 121, 60.0, exact);
    const std::string table = satellite_table("one.csv", {"0,G01,45,30,45,30,OK,1,,,1,,,"});
    const std::string svg = " --out " + out("bad.svg");
    const std::string empty = write_temp("empty.csv", "");
    const std::string bytes = write_temp("bytes.csv", std::string("\x89PNG\0\r\n\x1a,,\0,", 12));
    expect_refusals("plot",
                    {{"sky --in " + truth + svg, "no column satellite"},
                     {"sky --in " + table + " --from 100" + svg, "one.csv: has no rows"},
                     {"sky --in " + table + " --out " + out("a.pdf"), ".svg or .png"},
                     {"sky --in " + table + " --out " + out("none/a.svg"), "cannot be written"},
                     {"sky --in " + table + " --out " + out("none/a.png"), "a.png"},
                     {"errors --in " + table + " --truth " + truth + svg, "no column x_ecef_m"},
                     {"errors --in " + truth + ":filter --truth " + truth + svg, "no column filter_x_ecef_m"},
                     {"errors --in " + truth + " --truth " + truth + " --from 1e6" + svg, "no position lies within"},
                     {"errors --in " + truth + " --truth " + truth + " --layout pie" + svg, "--layout pie"},
                     {"errors --in " + truth + svg, "--truth is required"},
                     {"track --in " + empty + svg, "empty.csv"},
                     {"satellites --in " + bytes + svg, "bytes.csv"},
                     {"track --in " + temp_dir().string() + svg, temp_dir().string()},
                     {"track --in " + out("nothing.csv") + "=label" + svg, "nothing.csv"},
                     {"", "subcommand is required"}});
    EXPECT_FALSE(std::filesystem::exists(out("bad.svg")));
    expect_refusals("run", {{"--plot x.jpg --obs a --nav b", "x.jpg"}});
    // Whatever stands in a name or a cell, the picture stays one: long labels, huge numbers, many satellites.
    std::vector<std::string> rows = {"1e300,G01,45,30,45,30,OK,1,,,1,,,",
                                     "0,G02,1e300,-1e300,nan,inf,OK,1,,,1,,1e300,-1e300",
                                     "86400000,G03,45,30,45,30,OK,1,,,1,,,", "0,G9,1,1,1,1,OK,1,,,1,,,"};
    for (int i = 0; i < 900; ++i) {
        char row[80];
        std::snprintf(row, sizeof row, "0,%c%02d,10,-80,10,10,OK,1,1,1,1,MW,0.1,0.2", 'A' + i / 100, i % 100);
        rows.push_back(row);
    }
    const std::string wild = satellite_table("wild.csv", rows);
    for (const char* kind : {"sky", "residuals", "satellites"}) drawn(std::string(kind) + " --in " + wild);
    const Picture panel =
        drawn("errors --truth " + truth + " --in '" + truth + "=" + std::string(500, 'W') + "\x01\xff'")[0];
    const std::vector<Point>& long_name = panel.series.begin()->second.lines[0];
    EXPECT_GT(long_name.back().x - long_name.front().x, 500.0);
}

TEST_F(Plot, PngByGnuplotAndWithoutIt) {
    const std::string arguments = " plot track --in " + orbit("truth.csv", 121, 60.0, exact) + " --out " + out("t.png");
    const Outcome without = capture("PATH=/nowhere " + kProgram + arguments);
    EXPECT_EQ(without.status, 2) << without.text;
    EXPECT_TRUE(holds(without.text, "gnuplot, which is not installed")) << without.text;
    EXPECT_FALSE(std::filesystem::exists(out("t.png")));
    if (!has_command("gnuplot")) GTEST_SKIP() << "gnuplot is not installed";
    leopod_ok(arguments);
    const std::string png = read_file(out("t.png"));
    ASSERT_GT(png.size(), 5000u);
    EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1a\n");
    EXPECT_EQ(png.substr(16, 4), std::string("\0\0\x07\xd0", 4));  // 2000 pixels wide
    EXPECT_EQ(png.substr(png.size() - 8, 4), "IEND");
}

// --- progress ------------------------------------------------------------------------------------------------------------

/// What a child wrote to its terminal, and the second of its first writing.
struct Written {
    std::string text;
    double first = 0.0;
};

/// Runs a child on a terminal of so many columns to its end, or until the text holds `enough`, 30 s at most.
template <typename Child>
Written watch(unsigned short columns, Child child, const std::string& enough = "\n") {
    const auto start = std::chrono::steady_clock::now();
    const auto now = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
    winsize size{24, columns, 0, 0};
    int terminal = -1;
    const pid_t pid = forkpty(&terminal, nullptr, nullptr, &size);
    if (pid == 0) {
        child();
        _exit(0);
    }
    Written all;
    while (now() < 30.0 && !holds(all.text, enough)) {
        pollfd wait{terminal, POLLIN, 0};
        if (poll(&wait, 1, 100) <= 0) continue;
        char buffer[512];
        const ssize_t n = read(terminal, buffer, sizeof buffer);
        if (n <= 0) break;  // the child is gone
        if (all.text.empty()) all.first = now();
        all.text.append(buffer, static_cast<std::size_t>(n));
    }
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    close(terminal);
    return all;
}

TEST(Progress, LineOnATerminalAndNothingElsewhere) {
    const auto work = [](double total) {
        return [total] {
            host::Progress progress("counting to ten", total);
            host::Progress inner("inner");  // silent
            for (int i = 0; i < 27; ++i) {
                progress.done(10.0 * i / 27.0);
                usleep(100000);
            }
        };
    };
    const std::string file = write_temp("error.txt", "");
    EXPECT_EQ(watch(80, [&] { work(std::freopen(file.c_str(), "w", stderr) != nullptr ? 10.0 : 0.0)(); }).text, "");
    EXPECT_EQ(read_file(file), "");
    EXPECT_EQ(watch(80, [] { host::Progress progress("short work", 1.0); }).text, "");
    for (unsigned short columns : {80, 22}) {
        const auto [text, first] = watch(columns, work(10.0));
        EXPECT_GT(first, 1.9);
        EXPECT_FALSE(text.empty() || holds(text, "\033") || holds(text, "inner")) << text;
        EXPECT_TRUE(columns < 80 || std::regex_search(text, std::regex("counting to ten  [78]\\d %, 0:0\\d left")))
            << text;
        // Each line within the terminal's width, and blanks over the last one.
        std::istringstream lines(text);
        std::string last, blank;
        for (std::string line; std::getline(lines, line, '\r'); blank = line) {
            EXPECT_LT(line.size(), columns) << line;
            last = blank;
        }
        EXPECT_EQ(blank, std::string(last.size(), ' ')) << text;
        EXPECT_EQ(text.back(), '\r');
    }
    const std::string unknown = watch(80, work(0.0)).text;
    EXPECT_TRUE(std::regex_search(unknown, std::regex("counting to ten, 0:02"))) << unknown;
}

TEST_F(Plot, ProgressOfTheProgram) {
    const std::string propagate =
        "exec timeout 4 " + kProgram +
        " propagate --epoch 2021-01-18T00:00:00 --frame eci --state -72253.8 95689.4 6864898.1 "
        "-6246.9 -4374.2 -2.4 --duration 34000000 --dynamics " +
        kExamples + "demo_orbit.cfg";
    const std::string text =
        watch(
            80, [&] { execl("/bin/sh", "sh", "-c", propagate.c_str(), static_cast<char*>(nullptr)); }, " left")
            .text;
    EXPECT_TRUE(std::regex_search(text, std::regex("integrating +\\d+ %, [0-9:]+ left"))) << text;
    EXPECT_EQ(capture(propagate).text, "");
}

}  // namespace
