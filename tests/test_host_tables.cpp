// The rows that `run` and `fit` write, against what was put into a simulated arc; and options that name the same input in another way.
#include <functional>
#include <set>

#include "host_support.h"

namespace {

using namespace support;

const std::string kForces = " --dynamics " + kExamples + "demo_orbit.cfg ";
const std::string kOrientation = kForces + "--eop " + kDemo + "eop.txt ";

class Tables : public HostTest {
  protected:
    /// Half an hour of a receiver with quiet codes and known slips; the antenna looks up.
    static void simulate() {
        leopod_ok(
            "propagate --epoch 2021-01-18T00:00:00 --frame eci --state 6890000 0 0 0 -980 7543 --duration 3000 --out " +
            out("orbit.csv") + kOrientation);
        std::string slips;
        for (const char* slip :
             {"C25,2021-01-18T00:10:00,L1,4", "C25,2021-01-18T00:10:00,L5,3", "C27,2021-01-18T00:12:00,L1,-5",
              "C20,2021-01-18T00:15:00,L1,2", "C20,2021-01-18T00:15:00,L5,2"})
            slips += std::string(" ") + slip;
        leopod_ok("simulate --orbit " + out("orbit.csv") + " --nav " + kDemo +
                  "bds.nav --start 2021-01-18T00:05:00 --duration 1800 --code-noise 0.02 --no-group-delays "
                  "--clock-offset 1e-5 --platform-z up --att-out " +
                  out("arc.att") + " --obs-out " + out("arc.obs") + " --truth-out " + out("truth.csv") + " --slip" +
                  slips);
    }
    /// The arc's files, with observations of another name.
    static std::string arc(const std::string& obs) {
        return "run --obs " + out(obs) + " --nav " + out("arc.nav") + " --att " + out("arc.att") + " ";
    }
};

/// Copies observations; `change` takes the second of the arc's day and a satellite's line.
void edit(const std::string& from, const std::string& to, const std::function<void(int, std::string&)>& change) {
    std::stringstream in(read_file(from));
    std::string text;
    int second = -1, hour = 0, minute = 0, whole = 0;
    for (std::string line; std::getline(in, line); text += line + "\n") {
        if (std::sscanf(line.c_str(), "> %*d %*d %*d %d %d %d", &hour, &minute, &whole) == 3) {
            second = 3600 * hour + 60 * minute + whole;
        } else if (second >= 0) {
            change(second, line);
        }
    }
    write_temp(to, text);
}

/// Puts a code into the first or second pair of observations of a line.
void put_code(std::string& line, std::size_t pair, double code) {
    char field[32];
    std::snprintf(field, sizeof field, "%14.3f", code);
    line.replace(3 + 32 * pair, 14, field);
}

TEST_F(Tables, RowsOfARunSayWhatWasPutIn) {
    simulate();
    // C21 has no record; codes of some epochs are wrong or missing.
    std::istringstream nav(read_file(kDemo + "bds.nav"));
    std::string others, record;
    for (std::string line; std::getline(nav, line);) {
        if (line[0] != ' ' || others.find("END OF HEADER") == std::string::npos) record = line.substr(0, 3);
        if (record != "C21") others += line + "\n";
    }
    write_temp("arc.nav", others);
    edit(out("arc.obs"), "changed.obs", [](int second, std::string& line) {
        const std::string satellite = line.substr(0, 3);
        const double code = std::stod(line.substr(3, 14)), number = std::stod(satellite.substr(1));
        if (second == 300 && satellite == "C20") put_code(line, 0, code - 2e7);
        if (second == 1200) line.resize(32);
        if (second == 1320 && satellite == "C25") put_code(line, 0, 1.02e9);  // nothing is so far
        if (second == 1440) {
            for (const std::size_t pair : {0U, 1U}) put_code(line, pair, 1e7 * (std::fmod(number, 5) + 2.1));
        }
    });
    const std::string config =
        write_temp("arc.cfg",
                   "+GNSS_SYS\nBDS 4 C1P L1P C5P L5P IF 0 2 1 3\n-GNSS_SYS\n+GENERAL_CONFIG\nELE_CUTOFF 15\n"
                   "THRES_MW_SLIP 0.3\nTHRES_GF_SLIP 0.05\nHUBER_COEF 1.5\n-GENERAL_CONFIG\n");
    leopod_ok(arc("changed.obs") + "--config " + config + " --out " + out("epochs.csv") + " --satellites-out " +
              out("satellites.csv"));

    std::map<double, std::vector<double>> residuals;
    std::set<std::string> gross, marks, lacking;
    for (const Row& row : read_csv(out("satellites.csv"))) {
        const std::string place = row.at("sod_gpst") + row.at("satellite");
        const std::string& status = row.at("status");
        if (status == "GROSS_ERROR") gross.insert(place);
        if (status == "NO_EPHEMERIS") lacking.insert(row.at("satellite"));
        if (row.at("slip") != "" && row.at("slip") != "NEW") marks.insert(place + row.at("slip"));
        const bool solved = row.value("sod_gpst") != 300.0 && row.value("sod_gpst") != 1440.0;
        EXPECT_TRUE(solved || row.at("used_point") == "0") << place;
        const double elevation = row.value("antenna_elevation_deg");
        if (!std::isnan(elevation)) {
            EXPECT_EQ(status == "LOW_ELEVATION", elevation < 15.0) << place;
        }
        for (const char* range : {"range1_residual_m", "range2_residual_m"}) {
            EXPECT_EQ(std::isnan(row.value(range)),
                      row.at("used_point") == "0" || (place == "1320.000C25" && range[5] == '1'))
                << place;
            if (row.at(range) != "") residuals[row.value("sod_gpst")].push_back(row.value(range));
        }
    }
    // A slip shows in the wide lane unless both bands slip alike, and in the geometry unless they move it by nothing.
    EXPECT_EQ(marks, (std::set<std::string>{"600.000C25MW", "720.000C27MW+GF", "900.000C20GF"}));
    EXPECT_EQ(gross, std::set<std::string>{"300.000C20"});
    EXPECT_EQ(lacking, std::set<std::string>{"C21"});

    const std::map<double, std::string> failed{
        {300, "NO_CONVERGENCE"}, {1200, "NO_USABLE_SATELLITE"}, {1440, "TOO_FEW_SERVED"}};
    const std::map<double, std::string> slips{{600, "C25:MW"}, {720, "C27:MW C27:GF"}, {900, "C20:GF"}};
    const auto truth = read_rows(out("truth.csv"));
    for (const Row& row : read_csv(out("epochs.csv"))) {
        const double second = row.value("sod_gpst");
        EXPECT_EQ(row.at("status"), failed.count(second) != 0 ? failed.at(second) : "OK") << second;
        if (row.at("status") != "OK") continue;
        EXPECT_EQ(row.at("slips"), slips.count(second) != 0 ? slips.at(second) : "") << second;
        EXPECT_NEAR(row.value("clock_BDS_m"), truth.at(second).at("clock_m"), 2.5) << second;
        EXPECT_NEAR(row.value("filter_clock_BDS_m"), truth.at(second).at("clock_m"), 0.3) << second;
        // Its sigma is that of the residuals; the solution that is stored is the filter's.
        double squares = 0;
        for (const double r : residuals[second]) squares += r * r;
        EXPECT_NEAR(row.value("sigma_m"), std::sqrt(squares / (static_cast<double>(residuals[second].size()) - 4)),
                    3e-4);
        EXPECT_EQ(row.at("stored_gpst"), row.at("receive_gpst"));
        for (const std::string axis : {"x", "y", "z"})
            EXPECT_EQ(row.at("stored_" + axis + "_ecef_m"), row.at("filter_" + axis + "_ecef_m"));
    }
    // The number of the receiver changes nothing: quaternions serve it all the same. Nor do pieces of a file, in whatever order.
    const std::string whole = read_file(out("changed.obs"));
    const std::size_t head = whole.find("> 2021"), half = whole.find("> 2021 01 18 00 20");
    write_temp("late.obs", whole.substr(0, head) + whole.substr(half));
    write_temp("early.obs", whole.substr(0, half));
    leopod_ok(arc("late.obs") + "--obs " + out("early.obs") + " --config " + config + " --receiver 3 --out " +
              out("third.csv"));
    EXPECT_EQ(read_file(out("third.csv")), read_file(out("epochs.csv")));
    // Messages from a level on.
    const std::string run = "{ " + kProgram + " " + arc("changed.obs") + "--config " + config + " --log-level ";
    for (const auto& [level, errors, warnings] :
         {std::tuple{"critical", false, false}, {"error", true, false}, {"warning", true, true}}) {
        const std::string said = capture(run + level + " > /dev/null; }").text;
        EXPECT_EQ(holds(said, "ERROR: "), errors) << level;
        EXPECT_EQ(holds(said, "WARNING: "), warnings) << level;
        EXPECT_FALSE(holds(said, "INFO: ")) << level;
    }
    // The library reports the same slips in the same order.
    const std::regex mark("\\[cycle slip\\((..)\\)\\] satsys=[0-9]+,prn=([0-9]+)");
    const std::string said = capture(run + "trace > /dev/null; }").text;
    std::string reported, marked;
    for (std::sregex_iterator m(said.begin(), said.end(), mark), end; m != end; ++m)
        reported += " C" + (*m)[2].str() + ":" + (*m)[1].str();
    for (const auto& [second, marks] : slips) marked += " " + marks;
    EXPECT_EQ(reported, marked);
}

// Three satellites that go on are fewer than the unknowns, four suffice; a restarted filter settles for twenty epochs.
TEST_F(Tables, FilterRestartsWhereTooFewSatellitesGoOn) {
    simulate();
    std::map<int, int> seen;
    edit(out("arc.obs"), "few.obs", [&seen](int second, std::string& line) {
        const int n = seen[second]++;
        const bool away = second == 900 || second == 1530 ? n >= 5
                          : second == 930                 ? n == 3 || n == 4
                                                          : second == 1560 && n == 4;
        if (away) line.resize(3);
    });
    leopod_ok("run --obs " + out("few.obs") + " --nav " + kDemo + "bds.nav --att " + out("arc.att") + " --out " +
              out("few.csv"));
    for (const Row& row : read_csv(out("few.csv"))) {
        const double second = row.value("sod_gpst"), since = second - (second < 930.0 ? 300.0 : 930.0);
        EXPECT_EQ(row.at("filter_status"), since == 0.0 ? "RESTARTED" : since < 600.0 ? "SETTLING" : "OK") << second;
    }
}

TEST_F(Tables, RowsOfAFitSayWhatWasPutIn) {
    simulate();
    // One position is off by 3 m up, -5 m along, 8 m across.
    std::string table = "epoch_tai,x_m,y_m,z_m\n", off;
    const std::vector<Row> orbit = read_csv(out("orbit.csv"));
    const char* const fixed[] = {"x_gcrs_m", "y_gcrs_m", "z_gcrs_m", "vx_gcrs_mps", "vy_gcrs_mps", "vz_gcrs_mps"};
    for (std::size_t n = 0; n < orbit.size(); ++n) {
        std::array<double, 6> s{};
        for (std::size_t i = 0; i < 6; ++i) s[i] = orbit[n].value(fixed[i]);
        const double r = std::hypot(s[0], s[1], s[2]), v = std::hypot(s[3], s[4], s[5]);
        const double normal[3] = {s[1] * s[5] - s[2] * s[4], s[2] * s[3] - s[0] * s[5], s[0] * s[4] - s[1] * s[3]};
        const double length = std::hypot(normal[0], normal[1], normal[2]);
        const bool shifted = n == 20;
        char line[200];
        double p[3];
        for (std::size_t i = 0; i < 3; ++i)
            p[i] = s[i] + (shifted ? 3 * s[i] / r - 5 * s[3 + i] / v + 8 * normal[i] / length : 0.0);
        std::snprintf(line, sizeof line, "2021-01-18T00:%02zu:19.000,%.5f,%.5f,%.5f\n", n, p[0], p[1], p[2]);
        if (shifted) off = orbit[n].at("epoch_gpst");
        table += line;
    }
    const std::string config = write_temp(
        "forces.cfg",
        "+Force_Models\nEarth_Gravity = YES 30 solid_earth_tide polar_tide\nThird_Body_Gravity = YES SUN MOON\n"
        "General_Relativity = YES\nEmpirical_Force = YES A0:1500 RS:3000\n-Force_Models\n+GENERAL_CONFIG\n"
        "Integration_Step_Size = 20\nIntegration_Output_Interval = 60\n-GENERAL_CONFIG\n");
    const std::string fit = "fit --frame eci --eop " + kDemo + "eop.txt --dynamics " + config + " --positions ";
    const Outcome o = leopod_ok(fit + write_temp("tai.csv", table) + " --residuals " + out("residuals.csv") +
                                " --parameters " + out("parameters.csv") + " --history " + out("history.csv"));
    std::array<double, 3> squares{};
    double used = 0;
    for (const Row& row : read_csv(out("residuals.csv"))) {
        const bool shifted = row.at("epoch_gpst") == off;
        EXPECT_EQ(row.at("left_out"), shifted ? "outlier" : "") << row.at("epoch_gpst");
        EXPECT_EQ(row.value("weight") > 0.0, !shifted);
        const double put[3] = {-5, 3, 8},
                     residual[3] = {row.value("along_m"), row.value("radial_m"), row.value("cross_m")};
        for (std::size_t k = 0; k < 3; ++k) {
            EXPECT_NEAR(residual[k], shifted ? put[k] : 0.0, 0.01) << row.at("epoch_gpst") << k;
            if (!shifted) squares[k] += residual[k] * residual[k];
        }
        used += !shifted;
    }
    EXPECT_EQ(used, 50.0);
    const std::vector<Row> parameters = read_csv(out("parameters.csv"));
    const char* const names[] = {"PX", "PY", "PZ", "VX", "VY", "VZ", "EMP_000_A0", "EMP_000_RS", "EMP_001_A0"};
    ASSERT_EQ(parameters.size(), 9U);
    for (std::size_t i = 0; i < 9; ++i) {
        const Row& p = parameters[i];
        EXPECT_EQ(p.at("name"), names[i]);
        EXPECT_NEAR(p.value("value"), i < 6 ? orbit[0].value(fixed[i]) : 0.0, i < 3 ? 0.01 : i < 6 ? 1e-5 : 20.0) << i;
        const double begin = 86400 * (p.value("start_mjd_utc") - 59232) + 18,
                     end = 86400 * (p.value("end_mjd_utc") - 59232) + 18;
        EXPECT_NEAR(begin, i == 8 ? 1500.0 : 0.0, 0.01) << i;
        if (i == 6) {
            EXPECT_NEAR(end, 1500.0, 0.01);
        }
    }
    const std::vector<Row> history = read_csv(out("history.csv"));
    for (std::size_t i = 0; i < history.size(); ++i) EXPECT_EQ(history[i].value("iteration"), static_cast<double>(i));
    const char* const rms[] = {"rms_along_m", "rms_radial_m", "rms_cross_m"};
    const char* const said[] = {"along", "[^\n]*radial", "[^\n]*cross"};
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_NEAR(history.back().value(rms[k]), std::sqrt(squares[k] / used), 2e-5) << k;
        const double printed =
            number(o.text, std::string("\nresiduals: rms ") + (k == 0 ? "" : "along") + said[k] + " ([0-9.]+)");
        EXPECT_NEAR(printed, std::sqrt(squares[k] / used), 6e-5) << k;
    }
    EXPECT_TRUE(holds(o.text,
                      "positions used: 50 of 51 (98.0 %), left out as outlier 1\n  outliers: 2021-01-18T00:20:00 to "
                      "2021-01-18T00:20:00 GPST, 1, off by 9.9 m at most\n"))
        << o.text;
    EXPECT_LT(history.back().value("rms_correction"), 1e-3 * history.front().value("rms_correction"));
}

TEST_F(Tables, OtherWordsForTheSameInputGiveTheSameOrbit) {
    const std::string state = " --state 6878137 0 0 0 6500 3000 --duration 1800 --out ";
    const auto propagated = [&](const std::string& options) {
        leopod_ok("propagate " + options + state + out("other.csv"));
        return out("other.csv");
    };
    const std::string first = "--epoch 2021-01-18T06:00:00 ";
    leopod_ok("propagate " + first + kOrientation + state + out("first.csv"));
    // The days around in the layout that counts in seconds.
    std::string keyword = "VERSION 1.1\nNUM_OBSERVED_POINTS 3\nBEGIN OBSERVED\n";
    std::istringstream rapid(read_file(kDemo + "eop.txt"));
    for (std::string line; std::getline(rapid, line);) {
        const auto field = [&](std::size_t at, std::size_t size) { return line.substr(at - 1, size); };
        char row[160];
        std::snprintf(row, sizeof row, "2021 01 18 %s %s %s %s %10.7f 0.0 0.0 %9.6f %9.6f 37\n", field(8, 5).c_str(),
                      field(19, 9).c_str(), field(38, 9).c_str(), field(59, 10).c_str(), 1e-3 * std::stod(field(80, 7)),
                      1e-3 * std::stod(field(98, 9)), 1e-3 * std::stod(field(117, 9)));
        keyword += row;
    }
    const std::string in_seconds = write_temp("keyword.txt", keyword + "END OBSERVED\n");
    const std::string ways[] = {"--epoch 2021-01-18T05:59:42 --time-scale utc" + kOrientation,
                                "--epoch 2021-01-18T06:00:19 --time-scale tai" + kOrientation,
                                "--epoch 2021-01-18T06:00:51.184 --time-scale tt" + kOrientation,
                                first + kForces + "--eop " + in_seconds,
                                first + kForces + "--eop-format keyword --eop " + in_seconds};
    const auto expected = read_rows(out("first.csv"));
    for (const std::string& way : ways) {
        const auto rows = read_rows(propagated(way));
        ASSERT_EQ(rows.size(), expected.size()) << way;
        for (const auto& [name, value] : rows.rbegin()->second)
            EXPECT_NEAR(value, expected.rbegin()->second.at(name), 1e-3) << way << name;
    }
    // Positions of a fit whose times are UTC by an option; and those of the point position, by an option or alone.
    std::string utc = "mjd,sod,x_m,y_m,z_m\n", point = "receive_gpst,x_m,y_m,z_m,status\n";
    for (const Row& row : read_csv(out("first.csv"))) {
        utc += row.at("mjd_gpst") + "," + std::to_string(row.value("sod_gpst") - 18.0);
        for (const char* axis : {"x_ecef_m", "y_ecef_m", "z_ecef_m"}) utc += "," + row.at(axis);
        utc += "\n";
    }
    leopod_ok("run " + kDemoRun + kDemoAttitude + " --out " + out("epochs.csv"));
    for (const Row& row : read_csv(out("epochs.csv"))) {
        point += row.at("receive_gpst");
        for (const char* axis : {"x_ecef_m", "y_ecef_m", "z_ecef_m"}) point += "," + row.at(axis);
        point += ",OK\n";
    }
    const std::string fit = "fit" + kOrientation + "--out " + out("fit.csv") + " --positions ";
    const auto fitted = [&](const std::string& positions) {
        leopod_ok(fit + positions);
        return read_file(out("fit.csv"));
    };
    const Outcome late = leopod_ok(fit + write_temp("utc.csv", utc) + " --time-scale utc --truth " + out("first.csv"));
    EXPECT_LT(number(late.text, "fitted orbit +.*largest ([0-9.]+)"), 0.01) << late.text;
    EXPECT_EQ(fitted(out("epochs.csv") + " --solution point --weights unit"),
              fitted(write_temp("point.csv", point) + " --weights unit"));
}

/// A position error, radial, along and cross.
using Error = std::array<double, 3>;

/// The errors of columns "%_ecef_m" against the simulated truth at the receive time.
std::vector<Error> errors_of(const std::vector<Row>& rows, const std::vector<Row>& truth, const std::string& prefix) {
    std::vector<Error> errors;
    for (std::size_t n = 0; n < rows.size(); ++n) {
        if (rows[n].at("status") != "OK") continue;
        double p[3], v[3], d[3];
        for (std::size_t k = 0; k < 3; ++k) {
            const std::string axis(1, "xyz"[k]);
            p[k] = truth[n].value(axis + "_rx");
            v[k] = truth[n].value("v" + axis + "_rx");
            d[k] = rows[n].value(prefix + axis + "_ecef_m") - p[k];
        }
        v[0] -= 7.2921151467e-5 * p[1];  // along by the inertial velocity
        v[1] += 7.2921151467e-5 * p[0];
        const double normal[3] = {p[1] * v[2] - p[2] * v[1], p[2] * v[0] - p[0] * v[2], p[0] * v[1] - p[1] * v[0]};
        const double r = std::hypot(p[0], p[1], p[2]), length = std::hypot(normal[0], normal[1], normal[2]);
        const double along[3] = {normal[1] * p[2] - normal[2] * p[1], normal[2] * p[0] - normal[0] * p[2],
                                 normal[0] * p[1] - normal[1] * p[0]};
        Error e{};
        for (std::size_t k = 0; k < 3; ++k) {
            e[0] += d[k] * p[k] / r;
            e[1] += d[k] * along[k] / length / r;
            e[2] += d[k] * normal[k] / length;
        }
        errors.push_back(e);
    }
    return errors;
}

/// What a line of statistics says of these errors.
void expect_statistics(const std::string& text, const std::string& name, const std::vector<Error>& errors) {
    const std::string line = "\n  " + name + " +epochs " + std::to_string(errors.size()) + ", 3D ";
    std::vector<double> size;
    double squares = 0;
    for (const Error& e : errors) {
        size.push_back(std::hypot(e[0], e[1], e[2]));
        squares += size.back() * size.back();
    }
    std::sort(size.begin(), size.end());
    const auto n = static_cast<double>(size.size());
    const auto share = [&](double part) {  // between its neighbours
        const double at = part * (n - 1);
        const auto k = static_cast<std::size_t>(at);
        return size[k] + (at - std::floor(at)) * (size[std::min(k + 1, size.size() - 1)] - size[k]);
    };
    EXPECT_NEAR(number(text, line + "median ([0-9.]+)"), share(0.5), 6e-4) << text;
    EXPECT_NEAR(number(text, line + "[^\n]* 95 % ([0-9.]+)"), share(0.95), 6e-4) << text;
    EXPECT_NEAR(number(text, line + "[^\n]* rms ([0-9.]+)"), std::sqrt(squares / n), 6e-4) << text;
    EXPECT_NEAR(number(text, line + "[^\n]* largest ([0-9.]+)"), size.back(), 6e-4) << text;
    const char* const axes[3] = {"radial", "along", "cross"};
    for (std::size_t k = 0; k < 3; ++k) {
        double mean = 0, spread = 0;
        for (const Error& e : errors) mean += e[k] / n;
        for (const Error& e : errors) spread += (e[k] - mean) * (e[k] - mean) / n;
        const std::string axis = line + "[^\n]*\n[^\n]*" + axes[k];
        EXPECT_NEAR(number(text, axis + " ([-+0-9.]+)"), mean, 6e-4) << text;
        EXPECT_NEAR(number(text, axis + " [-+0-9.]+ \\+- ([0-9.]+)"), std::sqrt(spread), 6e-4) << text;
    }
}

TEST_F(Tables, SummaryOfARunFollowsFromItsRows) {
    const Outcome o = leopod_ok("run " + kDemoRun + kDemoAttitude + " --truth " + kDemo + "truth.csv --out " +
                                out("epochs.csv") + " --satellites-out " + out("satellites.csv"));
    const std::vector<Row> rows = read_csv(out("epochs.csv")), truth = read_csv(kDemo + "truth.csv");
    ASSERT_EQ(rows.size(), truth.size());
    const std::vector<Error> point = errors_of(rows, truth, ""), filter = errors_of(rows, truth, "filter_");
    expect_statistics(o.text, "point position", point);
    expect_statistics(o.text, "filter", filter);
    expect_statistics(o.text, "filter after 20 epochs", {filter.begin() + 20, filter.end()});
    std::map<std::string, int> states;
    double satellites = 0;
    for (const Row& row : rows) {
        ++states[row.at("filter_status")];
        satellites += row.value("satellites") / static_cast<double>(rows.size());
    }
    std::string said = "\nfilter:";
    for (const auto& [state, count] : states)
        said += (said.back() == ':' ? " " : ", ") + state + " " + std::to_string(count);
    EXPECT_TRUE(holds(o.text, said + "\n")) << said << o.text;
    EXPECT_NEAR(number(o.text, "\nsatellites: ([0-9.]+) an epoch"), satellites, 0.051);
    int both = 0, wide = 0, geometry = 0, used = 0;
    std::map<std::string, std::array<int, 2>> marks;
    for (const Row& row : read_csv(out("satellites.csv"))) {
        const std::string& slip = row.at("slip");
        const bool mw = holds(slip, "MW"), gf = holds(slip, "GF");
        used += row.at("used_filter") == "1";
        wide += mw;
        geometry += gf;
        both += mw && gf;
        if (mw || gf) {
            marks[row.at("satellite")][0] += mw;
            marks[row.at("satellite")][1] += gf;
        }
    }
    said = "\nslip marks: Melbourne-Wuebbena " + std::to_string(wide) + ", geometry-free " + std::to_string(geometry) +
           ", both " + std::to_string(both) + ", in " + std::to_string(used) +
           " satellite epochs\n  per satellite (MW/GF):";
    for (const auto& [satellite, count] : marks)
        said += " " + satellite + " " + std::to_string(count[0]) + "/" + std::to_string(count[1]);
    EXPECT_TRUE(holds(o.text, said + "\n")) << said << o.text;
}

// Quaternions that end after minutes make the library say much: what it says and what the summary counts is the same.
TEST_F(Tables, MessagesAreCountedByTheirTexts) {
    const std::string all = read_file(kDemo + "att_zdown.txt");
    std::size_t end = 0;
    for (int i = 0; i < 12; ++i) end = all.find('\n', end) + 1;
    const std::string run = kProgram + " run " + kDemoRun + " --att " + write_temp("short.att", all.substr(0, end));
    std::istringstream said(capture("{ " + run + " --log-level warning > " + out("summary.txt") + "; }").text);
    const auto folded = [](const std::string& text) {
        return std::regex_replace(text, std::regex("[-+]?[0-9]+(\\.[0-9]+)*"), "#");
    };
    std::map<std::string, int> counts;
    int total = 0;
    for (std::string line; std::getline(said, line);) {
        const bool message = holds(line, "WARNING: ") || holds(line, "ERROR: ");
        total += message;
        counts[folded(line)] += message;
    }
    const std::string summary = read_file(out("summary.txt"));
    const std::regex form("\n  ([0-9]+) ([A-Z]+)s, such as \"(.*)\"");
    int touching = 0, groups = 0, before = total;
    for (std::sregex_iterator it(summary.begin(), summary.end(), form), none; it != none; ++it, ++groups) {
        const int count = std::stoi((*it)[1]);
        EXPECT_EQ(counts[folded((*it)[2].str() + ": " + (*it)[3].str())], count) << summary;
        EXPECT_LE(count, before) << summary;
        touching += before = count;
    }
    EXPECT_EQ(groups, 3) << summary;
    EXPECT_EQ(number(summary, "library: ([0-9]+) that can touch results"), touching);
    EXPECT_EQ(number(summary, "touch results, ([0-9]+) routine"), total - touching);
}

}  // namespace
