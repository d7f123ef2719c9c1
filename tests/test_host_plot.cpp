// Pictures by the command line: what stands in the file is measured against the numbers that went in. Progress on terminals.
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <set>

#include "../host/console.cpp"
#include "host_support.h"

namespace {

using support::data_path;
using support::leopod;
using support::Outcome;

constexpr double kPi = 3.14159265358979323846;

struct Point {
    double x, y;
};

/// A panel, the sky or the map of an SVG file, read back: tick labels with their pixels, and the points of each series.
struct Picture {
    struct Series {
        std::string name;
        std::vector<std::vector<Point>> lines;
        std::vector<Point> dots;
    };
    struct Text {
        Point at;
        std::string text;
    };
    std::string title;
    std::vector<Text> x_texts, y_texts, texts;
    std::vector<Series> series;

    const Series& named(const std::string& name) const {
        for (const Series& s : series) {
            if (s.name == name) return s;
        }
        static const Series none;
        ADD_FAILURE() << "no series " << name << " in " << title;
        return none;
    }
    Point text(const std::string& wanted) const {
        for (const Text& t : texts) {
            if (t.text == wanted) return t.at;
        }
        ADD_FAILURE() << "no text " << wanted;
        return {};
    }
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

/// A number of a tick label, NaN for other texts.
double label_value(std::string text) {
    if (text.compare(0, 3, "\u2212") == 0) text = "-" + text.substr(3);
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    return end != text.c_str() && *end == '\0' ? value : std::nan("");
}

/// The drawings of a file: its panels, or one for the whole where it has none. Every group must be closed.
std::vector<Picture> read_svg(const std::string& file) {
    std::vector<Picture> pictures;
    Picture whole;
    std::vector<std::string> open;
    std::stringstream in(support::read_file(file));
    EXPECT_NE(in.str().find("</svg>"), std::string::npos) << file;
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, 9, "<g class=") == 0) {
            const std::string kind = attribute(line, "class");
            const std::string name = between(line, "<title>", "</title>");
            open.push_back(kind);
            if (kind == "panel") pictures.push_back({name, {}, {}, {}, {}});
            Picture& now = pictures.empty() ? whole : pictures.back();
            if (kind == "series") now.series.push_back({name, {}, {}});
        } else if (line == "</g>") {
            open.pop_back();
        } else if (line.compare(0, 5, "<text") == 0) {
            const double size = std::stod(attribute(line, "font-size"));
            const Picture::Text text{{std::stod(attribute(line, "x")), std::stod(attribute(line, "y")) - 0.36 * size},
                                     between(line, ">", "</text>")};
            whole.texts.push_back(text);
            if (open.empty() || pictures.empty()) continue;
            if (open.back() == "x-axis") pictures.back().x_texts.push_back(text);
            if (open.back() == "y-axis") pictures.back().y_texts.push_back(text);
        } else if (line.compare(0, 5, "<path") == 0 && !open.empty() && open.back() == "series") {
            Picture::Series& s = (pictures.empty() ? whole : pictures.back()).series.back();
            for (const std::vector<Point>& piece : points_of(attribute(line, "d"))) {
                if (line.find("stroke-linecap") != std::string::npos) {
                    s.dots.push_back(piece[0]);
                } else if (line.find("fill=\"none\"") != std::string::npos) {
                    s.lines.push_back(piece);
                }
            }
        }
    }
    EXPECT_TRUE(open.empty()) << file;
    if (pictures.empty()) pictures.push_back(whole);
    return pictures;
}

/// The value at a height of a panel, by two of its tick labels.
double value_at(const Picture& panel, double y, bool log = false) {
    std::vector<std::pair<double, double>> ticks;
    for (const Picture::Text& t : panel.y_texts) {
        const double v = label_value(t.text);
        if (std::isfinite(v)) ticks.emplace_back(t.at.y, log ? std::log10(v) : v);
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

/// A circular orbit in the equator as CSV, with an error in its own axes that may depend on the epoch.
template <typename Error>
std::string orbit(const std::string& name, int rows, double step, Error error,
                  const std::string& header = "mjd_gpst,sod_gpst,x_ecef_m,y_ecef_m,z_ecef_m") {
    std::string text = header + "\n";
    for (int i = 0; i < rows; ++i) {
        const double angle = 2.0 * kPi * i * step / 5600.0;
        const auto [radial, along, cross] = error(i);
        char line[160];
        const double r = 6.9e6 + radial;
        std::snprintf(line, sizeof line, "59232,%.3f,%.4f,%.4f,%.4f\n", i * step,
                      r * std::cos(angle) - along * std::sin(angle), r * std::sin(angle) + along * std::cos(angle),
                      cross);
        text += line;
    }
    return support::write_temp(name, text);
}

using Triple = std::tuple<double, double, double>;
Triple exact(int) { return {0, 0, 0}; }

class Plot : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!std::filesystem::exists(support::kProgram)) GTEST_SKIP() << "the host program is not built";
    }
    static std::string out(const std::string& name) { return (support::temp_dir() / name).string(); }
    /// The demo arc, run once: epochs.csv, satellites.csv, errors.svg.
    static const Outcome& demo() {
        static const Outcome outcome = [] {
            const std::string dir = (std::filesystem::path(LEOPOD_SOURCE_DIR) / "examples/data/").string();
            return leopod("run --embedded --obs " + dir + "demo_bds.obs --nav " + dir + "demo_bds.nav --att " + dir +
                          "demo_att_zdown.txt --truth " + dir + "demo_truth.csv --out " + out("epochs.csv") +
                          " --satellites-out " + out("satellites.csv") + " --plot " + out("errors.svg"));
        }();
        return outcome;
    }
    static void expect_drawn(const std::string& arguments) {
        const Outcome o = leopod("plot " + arguments);
        ASSERT_EQ(o.status, 0) << arguments << "\n" << o.text;
    }
};

TEST_F(Plot, ErrorsStandWhereTheAxesSay) {
    const std::string truth = orbit("truth.csv", 121, 60.0, exact);
    const std::string a = orbit("a.csv", 121, 60.0, [](int) { return Triple{2.0, -1.0, 0.5}; });
    const std::string b = orbit("b.csv", 121, 60.0, [](int i) { return Triple{0.1 * i, 0.0, 0.0}; });
    const std::string common = "errors --truth " + truth + " --in '" + a + "=steady <&>' --in " + b + " --out ";
    expect_drawn(common + out("e.svg"));
    const std::vector<Picture> panels = read_svg(out("e.svg"));
    ASSERT_EQ(panels.size(), 3u);
    const double expected[3] = {2.0, -1.0, 0.5};
    for (std::size_t k = 0; k < 3; ++k) {
        ASSERT_EQ(panels[k].series.size(), 2u);
        const Picture::Series& steady = panels[k].named("steady &lt;&amp;&gt;");
        ASSERT_EQ(steady.lines.size(), 1u);
        EXPECT_GE(steady.lines[0].size(), 2u);
        for (const Point& p : steady.lines[0]) EXPECT_NEAR(value_at(panels[k], p.y), expected[k], 0.02) << k;
    }
    // The rising error ends at the last epoch, two hours after the first tick; only the lowest panel has times.
    const std::vector<Point>& rising = panels[0].named("b").lines.at(0);
    EXPECT_NEAR(value_at(panels[0], rising.back().y), 12.0, 0.05);
    const auto& times = panels[2].x_texts;
    ASSERT_GE(times.size(), 3u);
    EXPECT_EQ(times.front().text, "00:00");
    EXPECT_EQ(times[times.size() - 2].text, "02:00");
    EXPECT_EQ(times.back().text, "GPST on 2021-01-18");
    EXPECT_NEAR(times.front().at.x, rising.front().x, 0.11);
    EXPECT_NEAR(times[times.size() - 2].at.x, rising.back().x, 0.11);
    EXPECT_TRUE(panels[0].x_texts.empty());
    const std::string svg = support::read_file(out("e.svg"));
    for (const char* text : {"rms 2.00 m", "rms 0.50 m", "2021-01-18 00:00:00 to 02:00:00 GPST", "error [m]"})
        EXPECT_NE(svg.find(text), std::string::npos) << text;

    expect_drawn(common + out("log.svg") + " --layout total,solutions --log");
    const std::vector<Picture> logs = read_svg(out("log.svg"));
    ASSERT_EQ(logs.size(), 3u);
    EXPECT_NEAR(value_at(logs[0], logs[0].series[0].lines[0][0].y, true), std::sqrt(5.25), 0.05);
    EXPECT_NEAR(value_at(logs[1], logs[1].named("along-track").lines[0][0].y, true), 1.0, 0.03);

    // Beyond a limit lines end at the frame, and the caption counts what is not seen.
    expect_drawn(common + out("limit.svg") + " --limit 6.05");
    const Picture limited = read_svg(out("limit.svg"))[0];
    for (const auto& line : limited.named("b").lines) {
        for (const Point& p : line) EXPECT_LT(value_at(limited, p.y), 6.1);
    }
    EXPECT_NE(support::read_file(out("limit.svg")).find("60 values lie beyond the axis of 6.05 m"), std::string::npos);
}

TEST_F(Plot, LongDataAreThinnedWithoutLosingTheirExtremes) {
    const auto noisy = [](int i) {
        return Triple{i == 50000 ? 40.0 : std::sin(12.9898 * i), std::cos(78.233 * i), 0.0};
    };
    const std::string truth = orbit("day_truth.csv", 86400, 1.0, exact);
    // An hour is missing.
    const std::string day = orbit("day.csv", 86400, 1.0, noisy);
    {
        std::ifstream in(day);
        std::ofstream kept(out("day_gap.csv"));
        int i = -1;
        for (std::string line; std::getline(in, line); ++i) {
            if (i < 20000 || i >= 23600) kept << line << "\n";
        }
    }
    expect_drawn("errors --truth " + truth + " --in " + out("day_gap.csv") + " --out " + out("day.svg"));
    EXPECT_LT(std::filesystem::file_size(out("day.svg")), 150000u);
    const Picture radial = read_svg(out("day.svg"))[0];
    const Picture::Series& s = radial.named("day_gap");
    double top = -1e9;
    for (const auto& line : s.lines) {
        for (const Point& p : line) top = std::max(top, value_at(radial, p.y));
    }
    EXPECT_NEAR(top, 40.0, 0.3);
    EXPECT_GT(count_points(s), 1500u);
    ASSERT_EQ(s.lines.size(), 2u);
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
    return support::write_temp(name, text);
}

TEST_F(Plot, SkyHasSatellitesInTheirDirections) {
    const std::string table =
        satellite_table("sky.csv", {"0,G01,45,30,225,60,OK,1,,,1,,,", "0,G02,90,60,90,60,OK,1,,,1,,,",
                                    "0,G03,180,0,180,0,OK,1,,,1,,,", "0,G04,,,,,NO_EPHEMERIS,0,,,0,,,"});
    expect_drawn("sky --in " + table + " --out " + out("sky.svg"));
    const Picture sky = read_svg(out("sky.svg"))[0];
    EXPECT_EQ(sky.series.size(), 3u);
    const Point centre{sky.text("N").x, sky.text("E").y};
    const double radius = sky.named("G03").dots.at(0).y - centre.y;
    EXPECT_GT(radius, 200.0);
    const Point north_east = sky.named("G01").dots.at(0);
    EXPECT_NEAR(north_east.x - centre.x, radius * 2.0 / 3.0 * std::sqrt(0.5), 0.2);
    EXPECT_NEAR(centre.y - north_east.y, radius * 2.0 / 3.0 * std::sqrt(0.5), 0.2);
    EXPECT_NEAR(sky.named("G02").dots.at(0).x - centre.x, radius / 3.0, 0.2);
    expect_drawn("sky --frame antenna --in " + table + " --out " + out("antenna.svg"));
    const Picture antenna = read_svg(out("antenna.svg"))[0];
    const Point other = antenna.named("G01").dots.at(0);
    EXPECT_LT(other.x, centre.x);
    EXPECT_GT(other.y, centre.y);
    // A pass is a line, cut where the satellite was away; over the north it does not go the long way round.
    std::vector<std::string> pass;
    for (int i = 0; i < 20; ++i)
        pass.push_back(std::to_string((i < 10 ? 0 : 3000) + 30 * i) + ",G07," + std::to_string((355 + i) % 360) +
                       ",20,1,20,OK,1,,,1,,,");
    expect_drawn("sky --in " + satellite_table("pass.csv", pass) + " --out " + out("pass.svg"));
    const Picture two = read_svg(out("pass.svg"))[0];
    ASSERT_EQ(two.named("G07").lines.size(), 2u);
    for (const Point& p : two.named("G07").lines[0]) EXPECT_LT(p.y, centre.y - 100.0);
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
    expect_drawn("sky --in " + satellite_table("high.csv", high) + " --out " + out("high.svg"));
    const Picture straight = read_svg(out("high.svg")).at(0);
    for (const Point& p : straight.named("G08").lines.at(0)) EXPECT_NEAR(p.y, centre.y - 4.0, 0.2);
}

TEST_F(Plot, GroundTrackLiesOnTheMap) {
    // From 170 degrees east over the edge of the map to 130 degrees west; and a point on the northern hemisphere.
    std::string text = "mjd_gpst,sod_gpst,x_m,y_m,z_m\n";
    for (int i = 0; i <= 60; ++i) {
        const double lon = (170.0 + i) * kPi / 180.0;
        text += "59232," + std::to_string(10 * i) + "," + std::to_string(7e6 * std::cos(lon)) + "," +
                std::to_string(7e6 * std::sin(lon)) + ",0\n";
    }
    const std::string track = support::write_temp("track.csv", text);
    const std::string site = support::write_temp("site.csv", "59232,4517590.879,0.0,4487348.409\n");
    expect_drawn("track --in " + track + " --in " + site + "=site --out " + out("track.svg"));
    const Picture map = read_svg(out("track.svg"))[0];
    const double east = map.text("120\u00b0 E").x;
    const double degree = (east - map.text("0\u00b0").x) / 120.0;
    const double equator = map.text("30\u00b0 N").y + 30.0 * degree;
    const auto& lines = map.named("track").lines;
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_NEAR(lines[0].front().x, east + 50 * degree, 0.2);
    EXPECT_NEAR(lines[1].back().x, east - 250 * degree, 0.2);
    EXPECT_NEAR(lines[0].back().x - lines[1].front().x, 360 * degree, 0.2);
    for (const auto& line : lines) {
        for (const Point& p : line) EXPECT_NEAR(p.y, equator, 0.2);
    }
    EXPECT_NEAR(map.named("site").dots.at(0).y, equator - 45 * degree, 0.2);
}

TEST_F(Plot, RunWritesEachSatelliteAndKeepsItsResults) {
    ASSERT_EQ(demo().status, 0) << demo().text;
    const std::string dir = (std::filesystem::path(LEOPOD_SOURCE_DIR) / "examples/data/").string();
    ASSERT_EQ(leopod("run --embedded --obs " + dir + "demo_bds.obs --nav " + dir + "demo_bds.nav --att " + dir +
                     "demo_att_zdown.txt --out " + out("plain.csv"))
                  .status,
              0);
    EXPECT_EQ(support::read_file(out("plain.csv")), support::read_file(out("epochs.csv")));

    const auto epochs = support::read_rows(out("epochs.csv"));
    std::ifstream in(out("satellites.csv"));
    std::string line;
    std::getline(in, line);
    std::map<std::string, std::size_t> column;
    std::stringstream names(line);
    for (std::string name; std::getline(names, name, ',');) column.emplace(name, column.size());
    std::map<double, int> used;
    std::set<std::string> seen;
    std::map<std::string, std::pair<double, double>> last;  // epoch and residue of a satellite
    double squares = 0;
    int pairs = 0;
    double phase = 0;
    while (std::getline(in, line)) {
        std::vector<std::string> f;
        std::stringstream stream(line);
        for (std::string field; std::getline(stream, field, ',');) f.push_back(field);
        ASSERT_EQ(f.size(), column.size()) << line;
        const auto value = [&](const char* name) { return std::stod(f[column.at(name)]); };
        if (f[column.at("used_filter")] != "1") continue;
        ++used[value("sod_gpst")];
        EXPECT_EQ(f[column.at("slip")] == "NEW", seen.insert(f[column.at("satellite")]).second) << line;
        // The platform looks down by less than a tenth of a degree from the vertical, the antenna up; its y axis lies across.
        EXPECT_NEAR(value("elevation_deg"), value("antenna_elevation_deg"), 0.3) << line;
        EXPECT_GT(value("antenna_elevation_deg"), 5.0 - 1e-4);
        phase = std::max(phase, std::fabs(value("phase_if_residual_m")));
        // The filter's code residual is that of the ranges (B1 and B5 with their ionosphere-free factors), moved by the difference of both
        // solutions along the line of sight; what remains are corrections of the range model, which change slowly while the noise does not.
        constexpr double kSquare = (1575.42 * 1575.42) / (1176.45 * 1176.45);
        const double factor = kSquare / (kSquare - 1.0);
        const double ranges = factor * value("range1_residual_m") + (1.0 - factor) * value("range2_residual_m");
        const auto& epoch = epochs.at(value("sod_gpst"));
        const auto at = [&](const std::string& name) { return epoch.at(name + "_ecef_m"); };
        const double lon = std::atan2(at("y"), at("x"));
        const double lat = std::atan2(at("z"), std::hypot(at("x"), at("y")));
        const double d[3] = {at("filter_x") - at("x"), at("filter_y") - at("y"), at("filter_z") - at("z")};
        const double east = -std::sin(lon) * d[0] + std::cos(lon) * d[1];
        const double outward = std::cos(lon) * d[0] + std::sin(lon) * d[1];
        const double north = -std::sin(lat) * outward + std::cos(lat) * d[2];
        const double up = std::cos(lat) * outward + std::sin(lat) * d[2];
        const double az = value("azimuth_deg") * kPi / 180.0;
        const double el = value("elevation_deg") * kPi / 180.0;
        const double moved = std::cos(el) * (std::sin(az) * east + std::cos(az) * north) + std::sin(el) * up -
                             (epoch.at("filter_clock_BDS_m") - epoch.at("clock_BDS_m"));
        const double residue = value("code_if_residual_m") - ranges - moved;
        const auto before = last.find(f[column.at("satellite")]);
        if (before != last.end() && value("sod_gpst") - before->second.first < 31.0) {
            squares += std::pow(residue - before->second.second, 2);
            ++pairs;
        }
        last[f[column.at("satellite")]] = {value("sod_gpst"), residue};
    }
    ASSERT_EQ(used.size(), epochs.size());
    for (const auto& [sod, row] : epochs) EXPECT_EQ(used[sod], row.at("ambiguities")) << sod;
    EXPECT_GT(pairs, 900);
    EXPECT_LT(std::sqrt(squares / pairs), 0.05);
    EXPECT_LT(phase, 0.05);
}

TEST_F(Plot, DirectionsOfSatellitesAreTheTrueOnes) {
    const auto truth = data_path("leo_sim/dev21_truth_sats.csv");
    LEOPOD_REQUIRE_DATA(truth);
    const std::string dir = data_path("leo_sim/").string();
    const Outcome o = leopod("run --obs " + dir + "dev21_gps_clean.obs --nav " + dir + "dev21_tgd0.nav --att " + dir +
                             "dev21_att_zup.txt --atx " + dir + "zero.atx --config " + dir +
                             "config_gps.txt --satellites-out " + out("dev21.csv"));
    ASSERT_EQ(o.status, 0) << o.text;
    std::map<std::string, std::pair<double, double>> mine;
    const auto fields = [](const std::string& text) {
        std::vector<std::string> f;
        std::stringstream stream(text);
        for (std::string field; std::getline(stream, field, ',');) f.push_back(field);
        return f;
    };
    std::ifstream in(out("dev21.csv"));
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
        const auto f = fields(line);
        if (!f[4].empty()) mine[f[2] + f[3]] = {std::stod(f[4]), std::stod(f[5])};
    }
    std::ifstream other(truth);
    std::getline(other, line);
    int compared = 0;
    while (std::getline(other, line)) {
        const auto f = fields(line);
        const auto found = mine.find(f[1] + f[2]);
        if (found == mine.end()) continue;
        ++compared;
        EXPECT_NEAR(found->second.second, std::stod(f[14]), 0.002) << line;
        EXPECT_LT(std::fabs(std::remainder(found->second.first - std::stod(f[13]), 360.0)) *
                      std::cos(std::stod(f[14]) * kPi / 180),
                  0.002)
            << line;
    }
    EXPECT_GT(compared, 30);
}

TEST_F(Plot, PicturesOfARun) {
    ASSERT_EQ(demo().status, 0) << demo().text;
    const std::vector<Picture> errors = read_svg(out("errors.svg"));
    ASSERT_EQ(errors.size(), 2u);
    for (const Picture& panel : errors) EXPECT_EQ(panel.series.size(), 3u);

    expect_drawn("residuals --in " + out("satellites.csv") + " --out " + out("res.svg"));
    const std::vector<Picture> residuals = read_svg(out("res.svg"));
    ASSERT_EQ(residuals.size(), 4u);  // phase and code, over time and over elevation
    for (const Picture& panel : residuals) {
        EXPECT_EQ(panel.series.size(), 24u);
        for (const Picture::Series& s : panel.series) EXPECT_GT(s.dots.size(), 0u) << s.name;
    }
    expect_drawn("satellites --in " + out("epochs.csv") + " --in " + out("satellites.csv") + " --out " +
                 out("sat.svg"));
    const std::vector<Picture> satellites = read_svg(out("sat.svg"));
    ASSERT_EQ(satellites.size(), 3u);
    const auto epochs = support::read_rows(out("epochs.csv"));
    const Picture::Series& count = satellites[0].named("satellites");
    EXPECT_NEAR(value_at(satellites[0], count.lines.at(0).front().y), epochs.begin()->second.at("satellites"), 0.05);
    EXPECT_NEAR(value_at(satellites[0], count.lines.at(0).back().y), epochs.rbegin()->second.at("satellites"), 0.05);
    EXPECT_EQ(satellites[2].y_texts.size(), 25u);  // names and the empty label
    EXPECT_GE(satellites[2].named("in the filter").lines.size(), 24u);

    // A fit draws its own residuals, and from their file the same picture is made.
    const std::string config = support::write_temp(
        "fit.cfg",
        "+Force_Models\nEarth_Gravity = YES 30\nEmpirical_Force = YES A0:3600 C0:3600 R0:3600\n-Force_Models\n"
        "+GENERAL_CONFIG\nIntegration_Step_Size = 30.0\nIntegration_Output_Interval = 30.0\nspacecraft_state_mode = 2\n"
        "-GENERAL_CONFIG\n");
    const Outcome o = leopod("fit --positions " + out("epochs.csv") + " --dynamics " + config + " --residuals " +
                             out("fit_res.csv") + " --out " + out("orbit.csv") + " --plot " + out("fit1.svg"));
    ASSERT_EQ(o.status, 0) << o.text;
    expect_drawn("residuals --in " + out("fit_res.csv") + " --out " + out("fit2.svg"));
    const std::vector<Picture> direct = read_svg(out("fit1.svg"));
    const std::vector<Picture> again = read_svg(out("fit2.svg"));
    ASSERT_EQ(direct.size(), 3u);
    for (std::size_t k = 0; k < 3; ++k) {
        const auto& dots = direct[k].series.at(0).dots;
        ASSERT_EQ(dots.size(), 121u);
        for (std::size_t i = 0; i < dots.size(); ++i)
            EXPECT_NEAR(dots[i].y, again.at(k).series.at(0).dots.at(i).y, 0.2);
    }
    // Point position, filter and fitted orbit over each other.
    expect_drawn("errors --truth " +
                 (std::filesystem::path(LEOPOD_SOURCE_DIR) / "examples/data/demo_truth.csv").string() + " --in " +
                 out("epochs.csv") + ":point --in " + out("epochs.csv") + ":filter --in '" + out("orbit.csv") +
                 "=fitted orbit' --layout total,components --out " + out("three.svg"));
    const std::vector<Picture> three = read_svg(out("three.svg"));
    ASSERT_EQ(three.size(), 4u);
    for (const char* name : {"point position", "filter", "fitted orbit"})
        EXPECT_GT(count_points(three[0].named(name)), 100u);

    // Residuals of a fit, in the order of its file along, radial, cross.
    const std::string fit =
        support::write_temp("fit.csv",
                            "epoch_gpst,seconds,along_m,radial_m,cross_m\n"
                            "2010-07-26T23:59:59.999990,0,1,2,3\n2010-07-27T00:01:00.000000,60,-1,-2,-3\n");
    expect_drawn("residuals --in " + fit + " --out " + out("fit.svg"));
    const std::vector<Picture> fitted = read_svg(out("fit.svg"));
    ASSERT_EQ(fitted.size(), 3u);
    const char* names[3] = {"radial", "along-track", "cross-track"};
    const double expected[3] = {2, 1, 3};
    for (std::size_t k = 0; k < 3; ++k)
        EXPECT_NEAR(value_at(fitted[k], fitted[k].named(names[k]).dots.at(0).y), expected[k], 0.05) << k;
    EXPECT_EQ(fitted[2].x_texts.back().text, "GPST on 2010-07-27");
}

TEST_F(Plot, UnusableInputsAreNamed) {
    const std::string truth = orbit("truth.csv", 121, 60.0, exact);
    const std::string table = satellite_table("one.csv", {"0,G01,45,30,45,30,OK,1,,,1,,,"});
    const std::string late =
        orbit("late.csv", 30, 60.0, exact, "mjd_gpst,sod_gpst,x_ecef_m,y_ecef_m,z_ecef_m\n59240,0,6.9e6,0,0");
    const std::string svg = " --out " + out("bad.svg");
    const std::string empty = support::write_temp("empty.csv", "");
    const std::string bytes = support::write_temp("bytes.csv", std::string("\x89PNG\0\r\n\x1a,,\0,", 12));
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"sky --in " + truth + svg, "no column satellite"},
        {"sky --in " + table + " --from 100" + svg, "one.csv: has no rows"},
        {"sky --in " + table + " --out " + out("a.pdf"), ".svg or .png"},
        {"sky --in " + table + " --out " + out("none/a.svg"), "cannot be written"},
        {"sky --in " + table + " --out " + out("none/a.png"), "a.png"},
        {"residuals --in " + truth + svg, "no column satellite"},
        {"satellites --in " + truth + svg, "no column satellites"},
        {"errors --in " + table + " --truth " + truth + svg, "no column x_ecef_m"},
        {"errors --in " + truth + ":filter --truth " + truth + svg, "no column filter_x_ecef_m"},
        {"errors --in " + truth + " --truth " + truth + " --from 1e6" + svg, "no position lies within"},
        {"errors --in " + truth + " --truth " + truth + " --layout pie" + svg, "--layout pie"},
        {"errors --in " + truth + svg, "--truth is required"},
        {"track --in " + empty + svg, "empty.csv"},
        {"satellites --in " + bytes + svg, "bytes.csv"},
        {"track --in " + support::temp_dir().string() + svg, support::temp_dir().string()},
        {"track --in " + out("nothing.csv") + "=label" + svg, "nothing.csv"},
        {"", "subcommand is required"}};
    for (const auto& [arguments, text] : cases) {
        const Outcome o = leopod("plot " + arguments);
        EXPECT_EQ(o.status, 2) << arguments << "\n" << o.text;
        EXPECT_NE(o.text.find(text), std::string::npos) << arguments << "\n" << o.text;
    }
    EXPECT_FALSE(std::filesystem::exists(out("bad.svg")));
    EXPECT_EQ(leopod("run --plot x.jpg --obs a --nav b").status, 2);
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
    for (const char* kind : {"sky", "residuals", "satellites"}) {
        expect_drawn(std::string(kind) + " --in " + wild + " --out " + out("wild.svg"));
        read_svg(out("wild.svg"));
    }
    expect_drawn("errors --truth " + truth + " --in '" + truth + "=" + std::string(500, 'W') + "\x01\xff' --out " +
                 out("long.svg"));
    const Picture panel = read_svg(out("long.svg"))[0];
    EXPECT_GT(panel.series[0].lines[0].back().x - panel.series[0].lines[0].front().x, 500.0);
}

TEST_F(Plot, PngByGnuplotAndWithoutIt) {
    const std::string truth = orbit("truth.csv", 121, 60.0, exact);
    const std::string arguments = "plot track --in " + truth + " --out " + out("t.png");
    std::filesystem::create_directories(out("nowhere"));
    Outcome o;
    {
        FILE* pipe =
            popen(("PATH=" + out("nowhere") + " " + support::kProgram + " " + arguments + " 2>&1").c_str(), "r");
        char line[1024];
        while (std::fgets(line, sizeof line, pipe) != nullptr) o.text += line;
        o.status = WEXITSTATUS(pclose(pipe));
    }
    EXPECT_EQ(o.status, 2) << o.text;
    EXPECT_NE(o.text.find("gnuplot, which is not installed"), std::string::npos) << o.text;
    EXPECT_FALSE(std::filesystem::exists(out("t.png")));
    if (std::system("command -v gnuplot >/dev/null 2>&1") != 0) GTEST_SKIP() << "gnuplot is not installed";
    const Outcome drawn = leopod(arguments);
    ASSERT_EQ(drawn.status, 0) << drawn.text;
    const std::string png = support::read_file(out("t.png"));
    ASSERT_GT(png.size(), 5000u);
    EXPECT_EQ(png.substr(0, 8), "\x89PNG\r\n\x1a\n");
    const auto size = [&](std::size_t at) {
        return (static_cast<unsigned char>(png[at + 2]) << 8) + static_cast<unsigned char>(png[at + 3]);
    };
    EXPECT_EQ(size(16), 2000);
    EXPECT_GT(size(20), 800);
    EXPECT_EQ(png.substr(png.size() - 8, 4), "IEND");
}

// --- progress ------------------------------------------------------------------------------------------------------------

/// What a child wrote to standard error, with the seconds of its writing.
struct Written {
    double seconds;
    std::string text;
};

/// Runs a child with its standard error on a terminal of so many columns, or on a pipe (0), until `enough`, and ends it.
template <typename Child, typename Enough>
std::vector<Written> watch(unsigned short columns, Child child, Enough enough, double most) {
    int ends[2] = {-1, -1};
    if (columns > 0) {
        ends[0] = posix_openpt(O_RDWR | O_NOCTTY);
        EXPECT_EQ(grantpt(ends[0]) + unlockpt(ends[0]), 0);
        ends[1] = open(ptsname(ends[0]), O_RDWR | O_NOCTTY);
        winsize size{24, columns, 0, 0};
        ioctl(ends[1], TIOCSWINSZ, &size);
    } else {
        EXPECT_EQ(pipe(ends), 0);
    }
    const auto start = std::chrono::steady_clock::now();
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(ends[1], STDERR_FILENO);
        close(ends[0]);
        child();
        _exit(0);
    }
    close(ends[1]);
    std::vector<Written> all;
    std::string text;
    const auto now = [&] { return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(); };
    while (now() < most && !enough(text)) {
        pollfd wait{ends[0], POLLIN, 0};
        if (poll(&wait, 1, 100) <= 0) continue;
        char buffer[512];
        const ssize_t n = read(ends[0], buffer, sizeof buffer);
        if (n <= 0) break;  // the child is gone
        all.push_back({now(), std::string(buffer, static_cast<std::size_t>(n))});
        text += all.back().text;
    }
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
    close(ends[0]);
    return all;
}

std::string joined(const std::vector<Written>& all) {
    std::string text;
    for (const Written& w : all) text += w.text;
    return text;
}

TEST(Progress, LineOnATerminalAndNothingOnAPipe) {
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
    const auto never = [](const std::string&) { return false; };
    EXPECT_TRUE(watch(0, work(10.0), never, 10.0).empty());
    EXPECT_TRUE(watch(
                    80, [] { host::Progress progress("short work", 1.0); }, never, 10.0)
                    .empty());
    for (unsigned short columns : {80, 22}) {
        const std::vector<Written> all = watch(columns, work(10.0), never, 10.0);
        ASSERT_FALSE(all.empty());
        EXPECT_GT(all.front().seconds, 1.9);
        const std::string text = joined(all);
        EXPECT_EQ(text.find('\033'), std::string::npos);
        EXPECT_EQ(text.find("inner"), std::string::npos);
        if (columns == 80) {
            EXPECT_TRUE(std::regex_search(text, std::regex("counting to ten  [78]\\d %, 0:0\\d left"))) << text;
        }
        // As the terminal shows it: within its width, and blank at the end.
        std::string shown;
        std::size_t at = 0;
        std::size_t longest = 0;
        for (char c : text) {
            if (c == '\r') {
                at = 0;
                continue;
            }
            if (at == shown.size()) shown += ' ';
            shown[at++] = c;
            longest = std::max(longest, at);
        }
        EXPECT_LT(longest, columns);
        EXPECT_EQ(shown.find_first_not_of(' '), std::string::npos) << shown;
        EXPECT_EQ(at, 0u);
    }
    const std::string unknown = joined(watch(80, work(0.0), never, 10.0));
    EXPECT_TRUE(std::regex_search(unknown, std::regex("counting to ten, 0:02"))) << unknown;
}

TEST(Progress, OfTheProgram) {
    if (!std::filesystem::exists(support::kProgram)) GTEST_SKIP() << "the host program is not built";
    const std::string config =
        support::write_temp("long.cfg",
                            "+Force_Models\nEarth_Gravity = YES 30\n-Force_Models\n+GENERAL_CONFIG\n"
                            "Integration_Step_Size = 10.0\nIntegration_Output_Interval = 60.0\n"
                            "spacecraft_state_mode = 0\n-GENERAL_CONFIG\n");
    const auto propagate = [&] {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, STDOUT_FILENO);
        execl(support::kProgram.c_str(), "leopod", "propagate", "--epoch", "2021-01-18T00:00:00", "--frame", "eci",
              "--state", "-72253.8", "95689.4", "6864898.1", "-6246.9", "-4374.2", "-2.4", "--duration", "34000000",
              "--dynamics", config.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    };
    const auto left = [](const std::string& text) { return text.find(" left") != std::string::npos; };
    const std::string text = joined(watch(80, propagate, left, 30.0));
    EXPECT_TRUE(std::regex_search(text, std::regex("integrating +\\d+ %, [0-9:]+ left"))) << text;
    EXPECT_TRUE(watch(0, propagate, left, 4.0).empty());
}

}  // namespace
