// Orbits in exchange formats: SP3 in any time system, CCSDS ephemerides and states, and the one rule of spans.
#include <nlohmann/json.hpp>
#include <random>
#include <set>

#include "host_support.h"

namespace {

using namespace support;

using State = std::array<double, 6>;  ///< [m, m/s]

class Exchange : public HostTest {};

std::string out(const std::string& name) { return (temp_dir() / name).string(); }

/// Seconds of 2021-01-18 as a text of that day.
std::string clock_text(double second, const char* form = "%02d:%02d:%09.6f") {
    const int minutes = static_cast<int>(second / 60.0);
    char text[64];
    std::snprintf(text, sizeof text, form, minutes / 60, minutes % 60, second - 60.0 * minutes);
    return text;
}

std::string numbers(const char* form, const State& s, double position_unit, double velocity_unit) {
    std::string text;
    for (std::size_t i = 0; i < 6; ++i) {
        char field[64];
        std::snprintf(field, sizeof field, form, s[i] * (i < 3 ? position_unit : velocity_unit));
        text += field;
    }
    return text;
}

/// A trajectory in both frames, by second of 2021-01-18.
struct Trajectory {
    std::map<double, State> fixed, inertial;
};

const std::string kDynamics = " --dynamics " + kExamples + "demo_orbit.cfg --eop " + kDemo + "eop.txt ";
const std::string kArc =
    "propagate --epoch 2021-01-18T06:00:00 --frame eci --state 6878137 0 0 0 1000 7500" + kDynamics;

Trajectory propagated(int duration, const std::string& options = "") {
    leopod_ok(kArc + "--duration " + std::to_string(duration) + " --out " + out("arc.csv") + options);
    Trajectory t;
    for (const Row& row : read_csv(out("arc.csv"))) {
        const double second = row.value("sod_gpst");
        const char* names[2][6] = {{"x_ecef_m", "y_ecef_m", "z_ecef_m", "vx_ecef_mps", "vy_ecef_mps", "vz_ecef_mps"},
                                   {"x_gcrs_m", "y_gcrs_m", "z_gcrs_m", "vx_gcrs_mps", "vy_gcrs_mps", "vz_gcrs_mps"}};
        for (std::size_t i = 0; i < 6; ++i) {
            t.fixed[second][i] = row.value(names[0][i]);
            t.inertial[second][i] = row.value(names[1][i]);
        }
    }
    return t;
}

// --- a reader of CCSDS ephemerides that takes nothing but what the format allows ------------------------------------------

struct OemBlock {
    std::map<std::string, std::string> meta;
    std::vector<std::string> times;
    std::vector<State> states;                              ///< [km, km/s]
    std::map<std::string, std::vector<double>> covariance;  ///< lower triangle by epoch
};

class StrictOem {
  public:
    explicit StrictOem(const std::string& file) : in_(read_file(file)) {
        EXPECT_FALSE(in_.str().empty()) << file;
        next(true);
        EXPECT_EQ(take("CCSDS_OEM_VERS"), "2.0");
        EXPECT_TRUE(is_time(take("CREATION_DATE")));
        EXPECT_FALSE(take("ORIGINATOR").empty());
        while (!line_.empty()) block();
    }
    std::vector<OemBlock> blocks;

  private:
    /// The next line that is not empty; comments only where they are allowed.
    void next(bool comments) {
        while (std::getline(in_, line_)) {
            EXPECT_LE(line_.size(), 254u);
            const bool comment = line_.compare(0, 8, "COMMENT ") == 0;
            EXPECT_TRUE(comments || !comment) << line_;
            if (!line_.empty() && !comment) return;
        }
        line_.clear();
    }
    std::string take(const std::string& key, bool required = true) {
        const std::string start = key + " = ";
        const bool here = line_.compare(0, start.size(), start) == 0;
        EXPECT_TRUE(here || !required) << key << " is expected: " << line_;
        if (!here) return "";
        const std::string value = line_.substr(start.size());
        next(key == "CCSDS_OEM_VERS");
        return value;
    }
    static bool is_time(const std::string& text) {
        return std::regex_match(text,
                                std::regex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}(\\.[0-9]+)?Z?"));
    }
    void block() {
        blocks.emplace_back();
        OemBlock& b = blocks.back();
        EXPECT_EQ(line_, "META_START");
        next(true);
        for (const char* key : {"OBJECT_NAME", "OBJECT_ID", "CENTER_NAME", "REF_FRAME", "TIME_SYSTEM", "START_TIME"})
            b.meta[key] = take(key);
        b.meta["STOP_TIME"] = take("STOP_TIME");
        if (!take("INTERPOLATION", false).empty()) {
            EXPECT_GT(std::stoi(take("INTERPOLATION_DEGREE")), 0);
        }
        EXPECT_EQ(line_, "META_STOP");
        next(true);
        EXPECT_EQ(b.meta["CENTER_NAME"], "EARTH");
        EXPECT_TRUE(std::regex_match(b.meta["REF_FRAME"], std::regex("GCRF|ITRF[0-9]{4}"))) << b.meta["REF_FRAME"];
        for (; !line_.empty() && line_ != "META_START" && line_ != "COVARIANCE_START"; next(false)) data(b);
        ASSERT_FALSE(b.times.empty());
        EXPECT_EQ(b.times.front(), b.meta["START_TIME"]);
        EXPECT_EQ(b.times.back(), b.meta["STOP_TIME"]);
        if (line_ == "COVARIANCE_START") covariances(b);
    }
    void covariances(OemBlock& b) {
        for (next(false); line_ != "COVARIANCE_STOP" && !line_.empty();) {
            std::vector<double>& matrix = b.covariance[take("EPOCH")];
            for (std::size_t row = 1; row <= 6; ++row, next(false)) {
                std::istringstream fields(line_);
                std::size_t count = 0;
                for (std::string field; fields >> field; ++count) matrix.push_back(to_number(field));
                EXPECT_EQ(count, row) << line_;
            }
        }
        EXPECT_EQ(line_, "COVARIANCE_STOP");
        next(true);
    }
    void data(OemBlock& b) {
        std::istringstream fields(line_);
        std::string time, field;
        fields >> time;
        EXPECT_TRUE(is_time(time) && (b.times.empty() || b.times.back() < time)) << line_;
        State s{};
        for (double& x : s) {
            fields >> field;
            EXPECT_LE(std::count_if(field.begin(), field.end(), isdigit), 16) << line_;
            x = to_number(field);
        }
        EXPECT_FALSE(fields >> field) << line_;
        b.times.push_back(time);
        b.states.push_back(s);
    }

    std::stringstream in_;
    std::string line_;
};

/// The 22 lines of the head and more comments, each in the form that versions c and d give it.
void expect_sp3_head(std::stringstream& in, const std::string& file) {
    const std::string zeros = "(  0){16}", integers = "%i(    0){4}(      0){4}         0";
    std::vector<std::string> forms{
        "#[cd]V[0-9]{4}( [ 0-5][0-9]){4} [ 0-5][0-9]\\.[0-9]{8} [ 0-9]{7} (  u\\+U|ORBIT) ITRF  "
        "(KIN|FIT|EXT) LEOP",
        "## [0-9]{4} [ 0-9]{6}\\.[0-9]{8} [ 0-9]{5}\\.[0-9]{8} [0-9]{5} 0\\.[0-9]{13}", "\\+    1   L[0-9]{2}" + zeros};
    for (int i = 0; i < 4; ++i) forms.push_back("\\+          0" + zeros);
    forms.push_back("\\+\\+       [ 0-9]{3}" + zeros);
    for (int i = 0; i < 4; ++i) forms.push_back("\\+\\+         0" + zeros);
    forms.emplace_back("%c L  cc GPS ccc( cccc){4}( ccccc){4}");
    forms.emplace_back("%c cc cc ccc ccc( cccc){4}( ccccc){4}");
    forms.emplace_back("%f  (0\\.0000000  0\\.00|1\\.2500000  1\\.02)[05]000000  0\\.00000000000  0\\.000000000000000");
    forms.emplace_back("%f  0\\.0000000  0\\.000000000  0\\.00000000000  0\\.000000000000000");
    for (int i = 0; i < 2; ++i) forms.push_back(integers);
    for (int i = 0; i < 4; ++i) forms.emplace_back("/\\* [ -~]{57}");
    std::string line;
    for (std::size_t i = 0; i < forms.size() || in.peek() == '/'; ++i) {
        std::getline(in, line);
        EXPECT_TRUE(std::regex_match(line, std::regex(forms[std::min(i, forms.size() - 1)]))) << file << "\n" << line;
    }
}

/// Epoch texts and values of an SP3 file of one satellite [m, m/s].
std::vector<std::pair<std::string, State>> read_sp3(const std::string& file, std::string& head) {
    std::vector<std::pair<std::string, State>> rows;
    std::stringstream in(read_file(file));
    expect_sp3_head(in, file);
    in.seekg(0);
    std::getline(in, head);
    std::string last;
    for (std::string line; std::getline(in, line); last = line) {
        EXPECT_LE(line.size(), 80u);
        if (line[0] == '*') rows.push_back({line.substr(3), {}});
        for (std::size_t k = 0; k < 3 && (line[0] == 'P' || line[0] == 'V'); ++k)
            rows.back().second[k + (line[0] == 'V' ? 3 : 0)] =
                std::stod(line.substr(4 + 14 * k, 14)) * (line[0] == 'V' ? 0.1 : 1e3);
    }
    EXPECT_EQ(last, "EOF");
    EXPECT_EQ(std::stoul(head.substr(32, 7)), rows.size());
    return rows;
}

// --- tests ----------------------------------------------------------------------------------------------------------------

/// Files of one state, or of two, in all formats, scales and frames: each starts the same motion.
std::vector<std::pair<std::string, std::string>> states_in_all_forms(const Trajectory& t) {
    const double gpst = 6 * 3600.0;
    std::vector<std::pair<std::string, std::string>> files;
    const auto sp3 = [&](const std::string& name, double offset, const std::string& file) {
        std::string text = "#cV2021  1 18  6  0  0.00000000       2 ORBIT ITRF  FIT TEST\n";
        text += "## 2141 108000.00000000    60.00000000 59232 0.2500000000000\n+    1   L74\n";
        text += "%c L  cc " + name + " ccc cccc cccc cccc cccc ccccc ccccc ccccc ccccc\n";
        for (const double second : {gpst, gpst + 60.0}) {
            text += "*  2021  1 18 " + clock_text(second + offset, "%2d %2d %11.8f") + "\n";
            const std::string n = numbers("%14.6f", t.fixed.at(second), 1e-3, 10.0);
            text += "PL74" + n.substr(0, 42) + " 999999.999999\nVL74" + n.substr(42) + "\n";
        }
        files.emplace_back(write_temp(file, text + "EOF\n"), "");
    };
    sp3("GPS", 0, "gps.dat");
    sp3("ccc", 0, "none.dat");
    sp3("TAI", 19, "tai.dat");
    sp3("UTC", -18, "utc.dat");
    sp3("GLO", -18, "glo.dat");
    sp3("BDT", -14, "bdt.dat");
    const auto message = [&](const std::string& kind, const std::string& frame, const std::string& scale, double offset,
                             const State& s, const std::string& file) {
        const std::string meta = "OBJECT_NAME = A B\nOBJECT_ID = 2002-012B\nCENTER_NAME = EARTH\nREF_FRAME = " + frame +
                                 "\nTIME_SYSTEM = " + scale + "\n";
        const std::string time = "2021-018T" + clock_text(gpst + offset);
        std::string text = "CCSDS_" + kind + "_VERS = 2.0\nCREATION_DATE = 2021-01-18T00:00:00\nORIGINATOR = TEST\n";
        if (kind == "OPM") {
            text += meta + "EPOCH = " + time + "Z\n";
            const char* keys[6] = {"X", "Y", "Z", "X_DOT", "Y_DOT", "Z_DOT"};
            std::istringstream values(numbers("%.12f ", s, 1e-3, 1e-3));
            std::string value;
            for (const char* key : keys) {
                values >> value;
                text += std::string(key) + " = " + value + (key[1] == '\0' ? " [km]\n" : " [km/s]\n");
            }
        } else {
            text += "\nMETA_START\nCOMMENT one state\n" + meta + "START_TIME = " + time + "\nSTOP_TIME = " + time +
                    "\nMETA_STOP\n" + time + " " + numbers("%.12f ", s, 1e-3, 1e-3) + "\n";
        }
        files.emplace_back(write_temp(file, text), "");
    };
    const State& inertial = t.inertial.at(gpst);
    // The published frame bias (IAU 2000) leads from GCRS to the mean equator and equinox of J2000.
    const double bias[3][3] = {{0.9999999999999942498, -0.7078279744199196626e-7, 0.8056217146976134152e-7},
                               {0.7078279477857337206e-7, 0.9999999999999969484, 0.3306041454222136517e-7},
                               {-0.8056217380986972157e-7, -0.3306040883980552500e-7, 0.9999999999999962084}};
    State j2000{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t k = 0; k < 3; ++k) {
            j2000[i] += bias[i][k] * inertial[k];
            j2000[i + 3] += bias[i][k] * inertial[k + 3];
        }
    }
    message("OEM", "ITRF2014", "GPS", 0, t.fixed.at(gpst), "fixed.oem");
    message("OEM", "GCRF", "UTC", -18, inertial, "gcrf.oem");
    message("OEM", "EME2000", "TT", 51.184, j2000, "j2000.oem");
    message("OPM", "ITRF-97", "TAI", 19, t.fixed.at(gpst), "fixed.opm");
    message("OPM", "ICRF", "UTC", -18, inertial, "icrf.opm");
    files.emplace_back(
        write_temp("state_utc.csv", "epoch_utc,x_m,y_m,z_m,vx_mps,vy_mps,vz_mps\n2021-01-18T" + clock_text(gpst - 18) +
                                        numbers(",%.6f", t.fixed.at(gpst), 1, 1)),
        "");
    files.emplace_back(out("arc.csv"), "--frame eci");
    files.emplace_back(out("arc.csv"), "--epoch 2021-01-18T06:00:00 --frame ecef");
    return files;
}

TEST_F(Exchange, AStateStartsTheSameMotionWhateverItsFormat) {
    const Trajectory t = propagated(600);
    const State& last = t.fixed.rbegin()->second;
    for (const auto& [file, options] : states_in_all_forms(t)) {
        const Outcome o = leopod_ok("propagate --duration 600 --state " + file + " " + options + kDynamics +
                                    " --truth " + out("arc.csv"));
        EXPECT_TRUE(holds(o.text, "2021-01-18T06:00:00.000 to 2021-01-18T06:10:00.000 GPST")) << file << o.text;
        const std::string pattern = "last state, earth-fixed: ([-0-9.]+) ";
        EXPECT_NEAR(number(o.text, pattern), last[0], 2e-3) << file;  // velocities of an SP3 file have 1e-7 m/s
        EXPECT_LT(number(o.text, "largest ([0-9.]+) m"), 2e-3) << file << o.text;
    }
}

TEST_F(Exchange, WrittenFilesAreStrictAndReadBackToTheDigit) {
    const std::string names =
        " --object-name GRACE-B --object-id 2002-012B --satellite L09 --sp3-version d --sp3-out " + out("arc.sp3") +
        " --oem-out ";
    for (const auto& [frame, scale] : {std::pair{"itrf", "gps"}, {"gcrf", "utc"}, {"ITRF2008", "utc"}}) {
        const std::string file = out(std::string(frame) + scale + ".oem");
        const Trajectory t = propagated(5400, names + file + " --oem-frame " + frame + " --oem-time " + scale);
        const bool inertial = frame[0] == 'g';
        const double offset = scale[0] == 'u' ? -18.0 : 0.0;
        const std::vector<OemBlock> blocks = StrictOem(file).blocks;
        ASSERT_EQ(blocks.size(), 1u);
        EXPECT_EQ(blocks[0].meta.at("OBJECT_NAME") + blocks[0].meta.at("OBJECT_ID"), "GRACE-B2002-012B");
        EXPECT_EQ(blocks[0].meta.at("TIME_SYSTEM"), scale[0] == 'u' ? "UTC" : "GPS");
        ASSERT_EQ(blocks[0].states.size(), t.fixed.size());
        std::size_t n = 0;
        for (const auto& [second, state] : inertial ? t.inertial : t.fixed) {
            EXPECT_EQ(blocks[0].times[n], "2021-01-18T" + clock_text(second + offset, "%02d:%02d:%06.3f"));
            for (std::size_t i = 0; i < 6; ++i)
                EXPECT_NEAR(1e3 * blocks[0].states[n][i], state[i], i < 3 ? 6e-6 : 2e-8) << n << " " << i;
            ++n;
        }
        // Read back, the file is the orbit itself, and starts it again from any of its epochs.
        const Outcome again = leopod_ok(kArc + "--to 2021-01-18T07:30:01 --truth " + file);
        EXPECT_EQ(number(again.text, ": epochs ([0-9]+), 3D"), 91.0) << again.text;
        EXPECT_EQ(number(again.text, "largest ([0-9.]+) m"), 0.0) << again.text;
        const Outcome later =
            leopod_ok("propagate --epoch 2021-01-18T07:00:00 --duration 1800 --interval 300 --state " + file +
                      kDynamics + "--truth " + file);
        EXPECT_LT(number(later.text, "largest ([0-9.]+) m"), 1e-3) << later.text;
        EXPECT_EQ(number(later.text, ": epochs ([0-9]+), 3D"), 7.0) << later.text;
    }
    std::string head;
    const auto rows = read_sp3(out("arc.sp3"), head);
    const Trajectory t = propagated(5400);
    EXPECT_TRUE(holds(head, "#dV2021  1 18  6  0  0.00000000") && holds(head, "ITRF  EXT LEOP")) << head;
    ASSERT_EQ(rows.size(), t.fixed.size());
    EXPECT_EQ(rows[1].first, "2021  1 18  6  1  0.00000000");
    for (std::size_t i = 0; i < 6; ++i)
        EXPECT_NEAR(rows[1].second[i], t.fixed.at(21660.0)[i], i < 3 ? 6e-4 : 6e-8) << i;
    // An orbit that starts beside a whole second is written at full minutes.
    for (const auto& [epoch, first] :
         {std::pair{"06:00:00.0004", "6  0"}, {"05:59:59.9996", "6  0"}, {"06:00:00.4", "6  1"}}) {
        const std::string beside = std::regex_replace(kArc, std::regex("06:00:00"), epoch) + "--duration 1200 ";
        leopod_ok(beside + "--sp3-out " + out("beside.sp3"));
        const auto whole = read_sp3(out("beside.sp3"), head);
        EXPECT_EQ(whole[0].first, std::string("2021  1 18  ") + first + "  0.00000000") << epoch;
        for (const auto& row : whole) EXPECT_EQ(row.first.substr(17), " 0.00000000") << epoch;
        const Outcome again = leopod_ok(beside + "--truth " + out("beside.sp3"));
        EXPECT_GE(number(again.text, ": epochs ([0-9]+), 3D"), 18.0) << again.text;
        EXPECT_LT(number(again.text, "largest ([0-9.]+) m"), 2e-3) << epoch << again.text;
    }
}

/// What is the same in all axes: the variances of position and of velocity along the radius, their sums, and the sum of the squares of
/// the position's elements.
using Spread = std::array<double, 5>;
Spread spread_of(const State& s, const std::vector<double>& triangle) {
    const auto c = [&](std::size_t i, std::size_t j) {
        return triangle[std::max(i, j) * (std::max(i, j) + 1) / 2 + std::min(i, j)];
    };
    const double r = std::hypot(s[0], s[1], s[2]);
    Spread spread{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            spread[0] += s[i] * c(i, j) * s[j] / r / r;
            spread[3] += c(i, j) * c(i, j);
            spread[4] += s[i] * c(i + 3, j + 3) * s[j] / r / r;
        }
        spread[1] += c(i, i);
        spread[2] += c(i + 3, i + 3);
    }
    return spread;
}

TEST_F(Exchange, OrbitsOfTheReceiverAtWholeSeconds) {
    // The receiver's clock is off by some microseconds: positions lie beside the whole seconds, what is written does not.
    const std::string run = "run " + kDemoRun + kDemoAttitude + " --out " + out("demo.csv") + " --sp3-out ";
    leopod_ok(run + out("received.sp3") + " --oem-out " + out("received.oem"));
    std::size_t known = 0;
    const OemBlock block = StrictOem(out("received.oem")).blocks.at(0);
    for (const Row& row : read_csv(out("demo.csv"))) {
        const auto found = block.covariance.find(row.at("receive_gpst"));
        if (found == block.covariance.end()) continue;
        const std::pair<const char*, std::size_t> elements[] = {{"xx", 0}, {"xy", 1}, {"yy", 2},
                                                                {"xz", 3}, {"yz", 4}, {"zz", 5}};
        for (const auto& [name, place] : elements) {
            const double m2 = to_number(row.at(std::string("filter_cov_") + name + "_m2"));
            EXPECT_NEAR(1e6 * found->second[place], m2, 1e-4 * std::fabs(m2)) << name;
        }
        for (const std::size_t variance : {9u, 14u, 20u}) EXPECT_GT(found->second[variance], 0.0);
        ++known;
    }
    EXPECT_GT(known, 100u);
    // In the frame that doesn't turn the errors are the same.
    leopod_ok(run + out("received.sp3") + " --oem-frame gcrf --oem-out " + out("inertial.oem"));
    const OemBlock inertial = StrictOem(out("inertial.oem")).blocks.at(0);
    ASSERT_EQ(inertial.covariance.size(), block.covariance.size());
    for (std::size_t n = 0; n < block.states.size(); ++n) {
        const auto a = block.covariance.find(block.times[n]), b = inertial.covariance.find(inertial.times.at(n));
        ASSERT_EQ(a == block.covariance.end(), b == inertial.covariance.end());
        if (a == block.covariance.end()) continue;
        const Spread fixed = spread_of(block.states[n], a->second), turned = spread_of(inertial.states[n], b->second);
        for (std::size_t k = 0; k < fixed.size(); ++k) EXPECT_NEAR(turned[k] / fixed[k], 1.0, 1e-3) << n << " " << k;
    }
    leopod_ok(run + out("round.sp3") + " --round --oem-out " + out("round.oem"));
    std::string head;
    const auto received = read_sp3(out("received.sp3"), head);
    EXPECT_TRUE(holds(head, "u+U ITRF  KIN")) << head;
    const auto round = read_sp3(out("round.sp3"), head);
    ASSERT_EQ(round.size(), received.size());
    std::size_t moved = 0;
    for (std::size_t i = 0; i < round.size(); ++i) {
        const double second = std::stod(round[i].first.substr(17));
        const double shift = std::remainder(second - std::stod(received[i].first.substr(17)), 60.0);
        EXPECT_EQ(std::remainder(second, 1.0), 0.0);
        moved += std::fabs(shift) > 1e-6;
        for (std::size_t k = 0; k < 3; ++k)
            EXPECT_NEAR(round[i].second[k], received[i].second[k] + shift * received[i].second[k + 3], 2e-3) << i;
    }
    EXPECT_GT(moved, round.size() / 2);
    EXPECT_EQ(StrictOem(out("round.oem")).blocks.at(0).states.size(), round.size());

    const std::string fit = "fit --positions " + out("demo.csv") + kDynamics;
    leopod_ok(fit + "--satellite L47 --sp3-out " + out("fit.sp3"));
    const auto fitted = read_sp3(out("fit.sp3"), head);
    EXPECT_TRUE(holds(head, "ORBIT ITRF  FIT")) << head;
    for (const auto& [epoch, state] : fitted) EXPECT_EQ(epoch.substr(18), "0.00000000");
    // It is the fitted orbit: the same fit finds no difference.
    const Outcome again = leopod_ok(fit + "--truth " + out("fit.sp3"));
    EXPECT_LE(number(again.text, "fitted orbit .*rms ([0-9.]+)"), 1e-3) << again.text;
    // Four epochs lead to no whole second: a file without epochs is not written.
    const Outcome few = leopod(run + out("few.sp3") + " --round --to 120");
    EXPECT_TRUE(few.status == 1 && holds(few.text, "orbit not written: no position has neighbours")) << few.text;
    EXPECT_FALSE(std::filesystem::exists(out("few.sp3")));
}

/// Square of an error in units of its covariance, which is given by its lower triangle.
double normalised_square(std::vector<double> c, State error) {
    const auto at = [&](std::size_t row, std::size_t k) -> double& { return c[row * (row + 1) / 2 + k]; };
    double sum = 0;
    for (std::size_t i = 0; i < 6; ++i) {
        for (std::size_t k = 0; k <= i; ++k) {
            for (std::size_t j = 0; j < k; ++j) at(i, k) -= at(i, j) * at(k, j);
            at(i, k) = k == i ? std::sqrt(at(i, i)) : at(i, k) / at(k, k);
            if (k < i) error[i] -= at(i, k) * error[k];
        }
        error[i] /= at(i, i);
        sum += error[i] * error[i];
    }
    return sum;
}

// Errors of orbits through noisy positions are as large, and go together, as the covariances say.
TEST_F(Exchange, CovariancesOfAFitAreTheSpreadOfItsOrbits) {
    const Trajectory t = propagated(5400);
    constexpr int kArcs = 16;
    const struct {
        double second;
        const std::map<double, State>& truth;
    } kept[] = {{22500, t.fixed}, {26400, t.inertial}};
    double sum[2]{};
    std::mt19937 random(7);
    for (int arc = 0; arc < kArcs; ++arc) {
        std::normal_distribution<double> metres(0.0, 2.0);
        std::string rows = "epoch_gpst,x_ecef_m,y_ecef_m,z_ecef_m\n";
        for (const auto& [second, state] : t.fixed) {
            rows += "2021-01-18T" + clock_text(second);
            for (std::size_t k = 0; k < 3; ++k) rows += "," + std::to_string(state[k] + metres(random));
            rows += "\n";
        }
        const bool inertial = arc % 2 != 0;
        leopod_ok("fit --positions " + write_temp("noisy.csv", rows) + kDynamics + "--oem-out " + out("noisy.oem") +
                  " --sp3-out " + out("noisy.sp3") + (inertial ? " --oem-frame gcrf" : ""));
        const OemBlock block = StrictOem(out("noisy.oem")).blocks.at(0);
        ASSERT_EQ(block.covariance.size(), t.fixed.size());
        const auto& [second, truth] = kept[inertial];
        const std::string time = "2021-01-18T" + clock_text(second, "%02d:%02d:%06.3f");
        const auto place = std::find(block.times.begin(), block.times.end(), time) - block.times.begin();
        State error = block.states.at(static_cast<std::size_t>(place));
        for (std::size_t i = 0; i < 6; ++i) error[i] -= 1e-3 * truth.at(second)[i];
        sum[inertial] += normalised_square(block.covariance.at(time), error);
        double variances = 0;
        for (const auto& [epoch, c] : block.covariance) variances += (c[0] + c[2] + c[5]) / 3e-12;
        const double rms_mm = std::sqrt(variances / static_cast<double>(block.covariance.size()));
        EXPECT_EQ(number(read_file(out("noisy.sp3")), "\n\\+\\+ +([0-9]+)"), std::round(std::log2(rms_mm)));
    }
    for (double squares : sum) EXPECT_NEAR(squares / (6.0 * kArcs / 2), 1.0, 0.6);
}

TEST_F(Exchange, SpansAreHalfOpen) {
    propagated(5400);  // 06:00 to 07:30 by 60 s
    const std::string fit = "fit --positions " + out("arc.csv") + kDynamics;
    for (const auto& [options, count] :
         std::vector<std::pair<std::string, double>>{{"", 91},
                                                     {"--from 23400 --to 25200", 30},
                                                     {"--from 2021-01-18T06:30:00 --to 2021-01-18T07:00:00", 30},
                                                     {"--from 23400.04 --to 25200.06", 31},
                                                     {"--interval 120", 46},
                                                     {"--to 25200 --interval 180", 20}}) {
        const Outcome o = leopod_ok(fit + options);
        EXPECT_EQ(number(o.text, "leopod fit: ([0-9]+) positions"), count) << options << o.text;
    }
    for (const char* from : {"25200", "2021-01-18T07:00:00"}) {
        const std::string o =
            leopod_ok("propagate --state " + out("arc.csv") + kDynamics + "--to 25500 --from " + from).text;
        EXPECT_TRUE(holds(o, "propagate: 2021-01-18T07:00:00.000 to 2021-01-18T07:04:00.000 GPST, 5 epochs")) << o;
    }
    expect_refusals("fit", {{"--positions " + out("arc.csv") + kDynamics + "--from noon", "--from noon"},
                            {"--positions " + out("arc.csv") + kDynamics + "--from 5 --to 5", "nothing lies between"}});
}

/// Holds the numbers and times of a summary against those that were printed, both ways; without what a pattern has, or a name.
void expect_same_numbers(const nlohmann::json& summary, const std::string& printed, const std::string& beside) {
    const std::regex number_or_time(
        "[CL][0-9][A-Z]|[0-9]{4}-[0-9]{2}-[0-9]{2}[T0-9:.]*|[-+]?[0-9]+(\\.([0-9]+))?(e[-+][0-9]+)?");
    const std::string text = std::regex_replace(
        printed, std::regex(beside + "|\\S*/[A-Za-z_]\\S*|\\b(?![CL][0-9][A-Z]\\b)[A-Za-z_]\\w+"), " ");
    const nlohmann::json flat = summary.flatten();
    std::set<std::string> found;
    for (std::sregex_iterator it(text.begin(), text.end(), number_or_time), none; it != none; ++it) {
        const double value = to_number(it->str()),
                     half = 0.51 * std::pow(0.1, static_cast<double>((*it)[2].length())) * to_number("1" + it->str(3));
        bool known = false;
        for (const auto& [place, leaf] : flat.items()) {
            const bool same = leaf.is_number()   ? std::fabs(leaf.get<double>() - value) <= half
                              : leaf.is_string() ? holds(leaf.get<std::string>(), it->str())
                                                 : false;
            known = known || same;
            if (same) found.insert(place);
        }
        EXPECT_TRUE(known) << it->str() << " is not in the summary: " << printed;
    }
    const std::regex unsaid(
        "/(inputs|settings|program)/.*|.*(version|status|gcrs_.*|tai_minus_utc_s|length_s|warnings|errors|records/"
        "data)");
    for (const auto& [place, leaf] : flat.items()) {
        if (leaf.is_number() && leaf != 0 && !std::regex_search(place, unsaid)) {
            EXPECT_EQ(found.count(place), 1u) << place << " is not printed: " << printed;
        }
    }
}

// What a summary says is what was printed; inputs have the digests that another program finds.
TEST_F(Exchange, SummariesSayWhatIsPrinted) {
    using nlohmann::json;
    const std::string file = out("summary.json");
    const auto summary_of = [&](const std::string& arguments, std::string& printed) {
        std::filesystem::remove(file);
        printed = leopod_ok(arguments + " --summary " + file).text;
        const json j = json::parse(read_file(file), nullptr, false);
        EXPECT_TRUE(j.is_object()) << arguments;
        EXPECT_EQ(j.value("command", ""), arguments.substr(0, arguments.find(' ')));
        EXPECT_EQ(shell("echo " + j.value("command_line", "")).text,
                  shell("echo leopod " + arguments + " --summary " + file).text);
        EXPECT_TRUE(j.value("layout_version", 0) > 0 && j.contains("settings") && j.contains("program"));
        for (const json& input : j.value("inputs", json::array())) {
            const std::string name = input.at("file");
            EXPECT_EQ(shell("sha256sum < '" + name + "'").text, input.at("sha256").get<std::string>() + "  -\n");
            EXPECT_EQ(std::filesystem::file_size(name), input.at("expanded_bytes").get<std::size_t>());
        }
        return j;
    };
    const std::string orbit = out("arc.csv"), elements = test_file("tle.tle").string();
    propagated(5400);
    const struct {
        std::string arguments;
        std::vector<std::pair<const char*, const char*>> numbers;  ///< place in the summary, pattern of what is printed
        const char* beside = "time: .*";                           ///< pattern of what the summary has in other terms
    } cases[] = {{"run " + kDemoRun + kDemoAttitude + " --truth " + kDemo + "truth.csv",
                  {{"/epochs/solved", "solved ([0-9]+)"},
                   {"/satellites/mean", "satellites: ([0-9.]+) an epoch"},
                   {"/slips/melbourne_wuebbena", "Melbourne-Wuebbena ([0-9]+)"},
                   {"/tai_minus_utc_s", "TAI-UTC: ([0-9]+)"},
                   {"/errors/filter/rms_m", "\n  filter  .*rms ([0-9.]+)"}}},
                 {"fit --positions " + orbit + kDynamics,
                  {{"/positions/count", "leopod fit: ([0-9]+)"},
                   {"/positions/used", "positions used: ([0-9]+)"},
                   {"/residuals/rms_cross_m", "residuals: .*cross ([0-9.]+)"},
                   {"/integration/step_s", "step ([0-9]+) s"}},
                  "[0-9.]+ h\\b|\\([0-9.]+ %\\)"},
                 {"propagate --duration 600 --state " + orbit + kDynamics + "--truth " + orbit,
                  {{"/last_state/earth_fixed_position_m/2", "earth-fixed: [-0-9.]+ [-0-9.]+ ([-0-9.]+) m"},
                   {"/errors/orbit/epochs", "epochs ([0-9]+), 3D"}}},
                 {"tide --blh 57 12 45 --epoch 2021-01-18T00:00:00 --duration 7200",
                  {{"/displacements/solid_tide/up/largest_m", "up  .*, ([-+0-9.]+) m at"},
                   {"/site/position_m/1", "site: [-0-9.]+ ([-0-9.]+)"}}},
                 {"tle --tle " + elements + " --all --start 2021-01-18T00:00:00 --duration 600",
                  {{"/states/count", "states: ([0-9]+)"}, {"/objects/0/period_min", "period ([0-9.]+) min"}},
                  "[0-9]+ with a .*"},
                 {"crd " + write_temp("crd-2", fenced_blocks(LEOPOD_SOURCE_DIR "/docs/file_formats.md").at("crd-2")),
                  {{"/sessions/0/ranges", "ranges: ([0-9]+)"}, {"/records/failed_fields", "\nfailed fields: ([0-9]+)"}},
                  "(records|target): .*"},
                 {"simulate --orbit " + kDemo + "truth.csv --nav " + kDemo +
                      "bds.nav --start 2021-01-18T00:10:00 --duration 600 --obs-out " + out("a.obs"),
                  {{"/epochs/count", "GPST, ([0-9]+) epochs"}, {"/put_in/ambiguities", "put in: ([0-9]+)"}},
                  "above 5 degrees|of [0-9]+ in"},
                 {"orbit --obs " + kDemo + "bds.obs --nav " + kDemo + "bds.nav" + kDemoAttitude + " --eop " + kDemo +
                      "eop.txt --truth " + kDemo + "truth.csv",
                  {{"/errors/orbit/rms_m", "\n  orbit .* rms ([0-9.]+)"}},
                  "a-priori sigma.*|[0-9.]+ % of|and 0.1 m|\n +rms radial.*"}};
    for (const auto& c : cases) {
        std::string printed;
        const json j = summary_of(c.arguments, printed);
        for (const auto& [place, pattern] : c.numbers) {
            const json::json_pointer pointer(place);
            ASSERT_TRUE(j.contains(pointer)) << place << j.dump(1);
            EXPECT_NEAR(j.at(pointer).get<double>(), number(printed, pattern), 0.06) << place << printed;
        }
        expect_same_numbers(j, printed, c.beside);
    }
}

}  // namespace
