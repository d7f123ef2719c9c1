// `leopod orbit`: a real arc against its reference orbit, a simulated one against its truth, and input that gives no orbit.
#include <array>
#include <set>

#include "host_support.h"

namespace {

using namespace support;

std::string out(const std::string& name) { return (temp_dir() / name).string(); }

class HostOrbit : public HostTest {};

/// 3D rms and the rms of radial, along and cross that a name in the output has.
struct Rms {
    double total, radial, along, cross;
};
Rms rms_of(const std::string& text, const std::string& name) {
    const std::string rest = text.substr(std::min(text.size(), text.find("  " + name + " ")));
    return {number(rest, "rms ([0-9.]+)"), number(rest, "rms radial ([0-9.]+)"),
            number(rest, ", along ([0-9.]+), cross"), number(rest, "rms radial.*cross ([0-9.]+)")};
}

/// The steps of README.md on the repository's excerpt.
TEST_F(HostOrbit, FourStepsFromAReceiversFile) {
    const std::string at = kExamples + "data/grace_b/";
    const std::string eop = " --eop " + at + "finals_2010_07.txt.gz",
                      truth = " --truth " + at + "reference_orbit.csv.gz";
    const std::string gravity = " --gravity " + at + "egm2008_degree90.txt.gz";
    const std::string input = " --obs " + at + "grcb2080_01h05h.10d.gz --sp3 " + at +
                              "cod15942_excerpt.sp3.gz --sp3-antenna " + at + "gps_satellites_2010208.atx.gz" + eop;
    leopod_ok("run" + input + " --sigma-phase 0.05 --out " + out("epochs.csv"));
    const Outcome fit = leopod_ok("fit --positions " + out("epochs.csv") + " --dynamics " + kExamples + "fit_leo.cfg" +
                                  gravity + eop + truth);
    EXPECT_LT(number(fit.text, "fitted orbit.* rms ([0-9.]+)"), 0.15) << fit.text;
    EXPECT_NEAR(number(fit.text, "positions stand \\+([0-9.]+)"), 0.45, 0.1) << fit.text;
    const Outcome orbit = leopod_ok("orbit" + input + gravity + truth + " --interval 30");
    const Rms error = rms_of(orbit.text, "orbit");
    EXPECT_LT(error.total, 0.08) << orbit.text;
    EXPECT_LT(error.radial, 0.05) << orbit.text;
    // Clocks that err for minutes at a time: the formal errors know.
    EXPECT_LT(error.along, 2.0 * number(orbit.text, "formal errors:.*along ([0-9.]+)")) << orbit.text;
}

TEST_F(HostOrbit, ARealArcAgainstItsReference) {
    const auto data = data_path("grace_b_2010208/grcb2080_00h12h.10o").parent_path();
    const auto gravity = data.parent_path() / "gravity/EGM2008.txt";
    LEOPOD_REQUIRE_DATA(data / "grcb2080_00h12h.10o");
    LEOPOD_REQUIRE_DATA(gravity);
    const std::string at = data.string() + "/";
    const std::string common = "orbit --obs " + at + "grcb2080_00h12h.10o --sp3 " + at + "COD15941.EPH --sp3 " + at +
                               "COD15942.EPH --sp3 " + at + "COD15943.EPH --sp3-antenna " + at +
                               "gps_satellites_2010208.atx --eop " + at +
                               "finals_iau2000_2010_07_08.txt --eop-format rapid --truth " + at +
                               "truth_00h12h.csv --interval 30 --gravity " + gravity.string();
    const Outcome whole =
        leopod_ok(common + " --edits-out " + out("edits.csv") + " --satellites-out " + out("sat.csv"));
    const Rms error = rms_of(whole.text, "orbit");
    EXPECT_LT(error.total, 0.10) << whole.text;
    EXPECT_LT(error.radial, 0.05) << whole.text;
    EXPECT_EQ(number(whole.text, "orbit +epochs ([0-9]+)"), 1440);
    // Where the antenna stands, by the observations: 0.4 m up.
    EXPECT_NEAR(number(whole.text, "antenna: estimated \\+([0-9.]+)"), 0.41, 0.03);
    // The code of G32 is off by 13 m and more for half an hour, its phase is good.
    long faulty = 0;
    for (const Row& row : read_csv(out("edits.csv"))) {
        if (row.at("satellite") == "G32" && row.at("observation") == "code" && row.value("largest_residual_m") > 10.0)
            faulty += static_cast<long>(row.value("epochs"));
    }
    EXPECT_GT(faulty, 50);
    long phases = 0;
    for (const Row& row : read_csv(out("sat.csv"))) {
        const double sod = row.value("sod_gpst");
        phases += row.at("satellite") == "G32" && sod > 37430 && sod < 39430 && row.at("used_filter") == "1";
    }
    EXPECT_GT(phases, 50);

    leopod_ok(common + " --to 27000 --out " + out("a.csv"));
    leopod_ok(common + " --from 16200 --out " + out("b.csv"));
    const Outcome overlap = leopod_ok("orbit --compare " + out("a.csv") + " " + out("b.csv"));
    EXPECT_EQ(number(overlap.text, "epochs ([0-9]+)"), 360);
    EXPECT_LT(rms_of(overlap.text, "difference").total, 0.05) << overlap.text;

    // Without orientation the forces turn with a wrong earth: that is no orbit to rely on.
    const Outcome turned = leopod(std::regex_replace(common, std::regex("--eop .* --truth"), "--to 20000 --truth"));
    EXPECT_EQ(turned.status, 1) << turned.text;
    EXPECT_TRUE(holds(turned.text, "orientation")) << turned.text;
}

/// Slips of a simulated arc by satellite and time: seconds of day of the first epoch behind them.
std::set<std::pair<std::string, std::string>> slips_of(const std::string& events) {
    std::set<std::pair<std::string, std::string>> slips;
    std::stringstream in(read_file(events));
    for (std::string line; std::getline(in, line);) {
        const auto fields = csv_fields(line);
        if (fields[0] == "slip") slips.insert({fields[4], fields[1]});
    }
    return slips;
}

/// Laser ranges to an orbit that is known by its rows: light there and back between straight lines in the frame of the reflection.
class Ranges {
  public:
    using Vector = std::array<double, 3>;
    static constexpr double kLight = 299792458.0;
    Vector station{};
    double middle;  ///< of the pass [s of the day, GPST]

    /// A station on the ellipsoid beneath a row of the orbit, which it passes at a distance.
    Ranges(const std::string& orbit, std::size_t overhead) : rows_(read_csv(orbit)) {
        middle = rows_[overhead].value("sod_gpst");
        const Vector up = at(middle);
        const double longitude = std::atan2(up[1], up[0]) + 0.03,
                     latitude = std::atan2(up[2], std::hypot(up[0], up[1]));
        const double squeeze = 1.0 - 0.0066943799901413165 * std::cos(latitude) * std::cos(latitude);
        const double radius = 6378137.0 * std::sqrt((1.0 - 0.0066943799901413165) / squeeze);
        station = {radius * std::cos(latitude) * std::cos(longitude), radius * std::cos(latitude) * std::sin(longitude),
                   radius * std::sin(latitude)};
        sin_latitude_ = std::sin(latitude);
    }
    /// A range: the times of transmission and reception about a reflection.
    struct Range {
        double up, down, sin_elevation;
    };
    /// The reflector stands further out than the orbit, the station is displaced.
    Range range(double reflection, double out, const Vector& displaced) const {
        Vector satellite = at(reflection), place{};
        const double radius = length(satellite);
        for (double& x : satellite) x *= 1.0 + out / radius;
        for (std::size_t k = 0; k < 3; ++k) place[k] = station[k] + displaced[k];
        Range r{0.0, 0.0, 0.0};
        for (int i = 0; i < 5; ++i) {
            r.up = leg(satellite, turned(place, -r.up)) / kLight;
            r.down = leg(satellite, turned(place, r.down)) / kLight;
        }
        const Vector up = {place[0], place[1],
                           place[2] / (1.0 - 0.0066943799901413165)};  // along the ellipsoid's normal
        for (std::size_t k = 0; k < 3; ++k)
            r.sin_elevation += (satellite[k] - place[k]) * up[k] / length(up) / (kLight * r.up);
        return r;
    }
    /// One way through the air in green light (Marini and Murray 1973).
    double air(double sin_elevation, double pressure, double kelvin, double vapour) const {
        const double cos_2 = 1.0 - 2.0 * sin_latitude_ * sin_latitude_;
        const double k = 1.163 - 0.00968 * cos_2 - 0.00104 * kelvin + 0.00001435 * pressure;
        const double a = 0.002357 * pressure + 0.000141 * vapour;
        const double b =
            1.084e-8 * pressure * kelvin * k + 4.734e-8 * pressure * pressure / kelvin * 2.0 / (3.0 - 1.0 / k);
        const double micron = 0.532, colour = 0.9650 + 0.0164 / (micron * micron) + 0.000228 / std::pow(micron, 4);
        return colour / (1.0 - 0.0026 * cos_2) * (a + b) / (sin_elevation + b / (a + b) / (sin_elevation + 0.01));
    }

  private:
    static double length(const Vector& v) { return std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]); }
    static Vector turned(const Vector& v, double seconds) {
        const double angle = 7.292115e-5 * seconds, c = std::cos(angle), s = std::sin(angle);
        return {c * v[0] - s * v[1], s * v[0] + c * v[1], v[2]};
    }
    /// With the delay by gravity, 8.87 mm at the scale of the logarithm.
    static double leg(const Vector& a, const Vector& b) {
        const double range = length({a[0] - b[0], a[1] - b[1], a[2] - b[2]}), sum = length(a) + length(b);
        return range + 0.00887 * std::log((sum + range) / (sum - range));
    }
    /// Through ten rows.
    Vector at(double sod) const {
        const double place = (sod - rows_[0].value("sod_gpst")) / 30.0;
        const std::size_t first = static_cast<std::size_t>(place) - 4;
        Vector sum{};
        for (std::size_t i = first; i < first + 10; ++i) {
            double weight = 1.0;
            for (std::size_t j = first; j < first + 10; ++j) {
                if (j != i)
                    weight *= (place - static_cast<double>(j)) / (static_cast<double>(i) - static_cast<double>(j));
            }
            sum[0] += weight * rows_[i].value("x_ecef_m");
            sum[1] += weight * rows_[i].value("y_ecef_m");
            sum[2] += weight * rows_[i].value("z_ecef_m");
        }
        return sum;
    }
    std::vector<Row> rows_;
    double sin_latitude_ = 0;
};

std::string formatted(const char* form, double a, double b, double c) {
    char text[200];
    std::snprintf(text, sizeof text, form, a, b, c);
    return text;
}

/// Mean radial, along and cross error that a name in the output has.
std::array<double, 3> mean_of(const std::string& text, const std::string& name) {
    const std::string rest = text.substr(std::min(text.size(), text.find("  " + name + " ")));
    return {number(rest, "radial ([-+0-9.]+)"), number(rest, "along ([-+0-9.]+)"), number(rest, "cross ([-+0-9.]+)")};
}

/// An antenna's offset in both kinds of axes (the platform flies along x and looks up along z), taken off by a run and by a fit.
void expect_antenna_offset(const std::string& inputs, const std::string& eop) {
    const std::string orbit = " --antenna-offset 0.5,0.2,0.1", attitude = " --att " + out("attitude.txt");
    const std::string platform = " --antenna-offset 0.2,0.1,0.5 --antenna-axes platform" + attitude;
    const std::string run = "run --obs " + out("arc.obs") + inputs + eop;
    const std::string truth = " --truth " + out("truth.csv");
    const std::string fit =
        "fit --positions " + out("at_antenna.csv") + " --dynamics " + out("forces.cfg") + eop + truth;
    const auto antenna = mean_of(leopod_ok(run + attitude + truth + " --out " + out("at_antenna.csv")).text, "filter");
    const auto held = mean_of(leopod_ok(fit).text, "positions fitted to");
    const std::array<double, 3> offset = {0.5, 0.2, 0.1};
    for (const std::string& axes : {orbit + attitude, platform}) {
        const Outcome moved = leopod_ok(run + axes + truth + " --sp3-out " + out("moved.sp3"));
        EXPECT_TRUE(holds(read_file(out("moved.sp3")), "CENTRE OF MASS, ANTENNA")) << axes;
        const auto mass = mean_of(moved.text, "filter");
        for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(antenna[k] - mass[k], offset[k], 0.002) << moved.text;
    }
    for (const std::string& axes : {orbit, platform}) {
        const auto mass = mean_of(leopod_ok(fit + axes).text, "positions fitted to");
        for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(held[k] - mass[k], offset[k], 0.002) << axes;
    }
    expect_refusals(fit, {{"--antenna-offset 0,0,1 --antenna-axes platform", "--att"}, {attitude, "--antenna-axes"}});
}

/// Residuals to the orbit in fitted.csv, which the command makes.
void expect_laser_ranges(const std::string& command, const std::string& eop) {
    const Ranges ranges(out("fitted.csv"), 100);
    const auto& x = ranges.station;
    const double begin = ranges.middle - 120.0;
    leopod_ok("tide --xyz " + formatted("%.4f %.4f %.4f", x[0], x[1], x[2]) + eop + " --epoch 2021-01-18T" +
              formatted("%02.0f:%02.0f:%02.0f", std::floor(begin / 3600), std::floor(std::fmod(begin, 3600) / 60),
                        std::fmod(begin, 60)) +
              " --duration 240 --interval 20 --out " + out("tide.csv"));
    // Vacuum and the centre of mass not applied, by transmission and reception; through the air to the centre of mass, by reflection.
    std::string vacuum, air;
    double second = begin;
    for (const Row& tide : read_csv(out("tide.csv"))) {
        const Ranges::Vector shift = {tide.value("solid_x_ecef_m"), tide.value("solid_y_ecef_m"),
                                      tide.value("solid_z_ecef_m")};
        const auto a = ranges.range(second, 0.5, shift), b = ranges.range(second, 0.0, shift);
        const bool by_reception = std::fmod(second - begin, 40.0) < 10.0;
        vacuum += formatted(by_reception ? "11 %.12f %.12f std 0 5 10 60 na na na na 0 na\n"
                                         : "11 %.12f %.12f std 2 5 10 60 na na na na 0 na\n",
                            second - 18.0 + (by_reception ? a.down : -a.up), a.up + a.down, 0);
        const double u = (second - begin) / 240.0;
        const double delay = ranges.air(b.sin_elevation, 1000.0 + 10.0 * u, 290.0, 0.0);
        air += formatted("11 %.12f %.12f std 1 5 10 60 na na na na 0 na\n", second - 18.0,
                         b.up + b.down + 2.0 * delay / Ranges::kLight, 0);
        second += 20.0;
    }
    const std::string weather =
        formatted("20 %.3f 1000.0 290.0 0 0\n20 %.3f 1010.0 290.0 0 0\n", begin - 18.0, begin + 222.0, 0);
    const auto session = [](const std::string& station, const std::string& day, const std::string& flags) {
        return "H2 " + station + " 34 02 4 NET\nH3 made 1 2 3 0 1 1\nH4 1 2021 01 " + day + " 00 00 00 2021 01 " + day +
               " 04 00 00 0 " + flags + " 1 1 0 2 0\nC0 0 532.0 std\n";
    };
    write_temp("made.crd", "H1 CRD 2 2021 01 19 00\n" + session("TEST 7777", "18", "1 0") + vacuum + "H8\n" +
                               session("TEST 7777", "18", "0 1") + weather + air + "H8\n" +
                               session("NOWHERE 1111", "18", "1 0") + vacuum + "H8\n" +
                               session("TEST 7777", "19", "1 0") + vacuum + "H8\nH9\n");
    write_temp("stations.csv", "cdp,name,x_m,y_m,z_m,vx_mpy,vy_mpy,vz_mpy,epoch\n7777,TEST," +
                                   formatted("%.4f,%.4f,%.4f", x[0] - 0.21047, x[1], x[2]) + ",0.02,0,0,2010.524\n");
    const std::string given = command + " --crd " + out("made.crd");
    const Outcome o = leopod_ok(given + " --stations " + out("stations.csv") +
                                " --reflector-offset 0.5,0,0 --crd-out " + out("laser.csv"));
    const auto rows = read_csv(out("laser.csv"));
    ASSERT_EQ(rows.size(), 26u) << o.text;
    for (const Row& row : rows)
        EXPECT_LT(std::fabs(row.value("residual_m")), row.at("session") == "1" ? 0.001 : 0.01) << row.at("epoch_utc");
    EXPECT_LT(number(o.text, "  all +26 +[-0-9.]+ +([0-9.]+)"), 0.01) << o.text;
    const Outcome fit =
        leopod_ok("fit --positions " + out("fitted.csv") + " --dynamics " + out("forces.cfg") + eop + " --crd " +
                  out("made.crd") + " --stations " + out("stations.csv") + " --reflector-offset 0.5,0,0");
    EXPECT_LT(number(fit.text, "  all +26 +[-0-9.]+ +([0-9.]+)"), 0.05) << fit.text;
    EXPECT_TRUE(holds(o.text, "(NOWHERE 1111")) << o.text;
    EXPECT_TRUE(holds(o.text, "13 points outside the arc")) << o.text;
    expect_refusals(given, {{"", "--stations"}, {"--stations " + out("fitted.csv"), "fitted.csv"}});
}

TEST_F(HostOrbit, ASimulatedArcAgainstItsTruth) {
    write_temp("forces.cfg",
               "+Force_Models\nEarth_Gravity = YES 30 time_varying_gravity solid_earth_tide polar_tide\n"
               "Third_Body_Gravity = YES SUN MOON\nGeneral_Relativity = YES\n-Force_Models\n+GENERAL_CONFIG\n"
               "Integration_Step_Size = 30.0\nIntegration_Output_Interval = 30.0\nspacecraft_state_mode = 0\n"
               "-GENERAL_CONFIG\n");
    const std::string eop = " --eop " + kDemo + "eop.txt --eop-format rapid ";
    leopod_ok(
        "propagate --epoch 2021-01-18T00:00:00 --frame eci --state 6890000 0 0 0 -980 7543 --duration 12600 "
        "--dynamics " +
        out("forces.cfg") + eop + "--out " + out("orbit.csv"));
    leopod_ok(
        "simulate --orbit " + out("orbit.csv") + " --nav " + kDemo +
        "bds.nav --systems C --start 2021-01-18T00:10:00 --duration 10800 --phase-noise 0.003 --clock-offset 2e-5 "
        "--clock-drift 1e-9 --platform-z up --seed 3 --slip-rate 0.3 --slip-size 3 --att-out " +
        out("attitude.txt") + " --obs-out " + out("arc.obs") + " --truth-out " + out("truth.csv") + " --events-out " +
        out("events.csv"));
    const std::string command = "orbit --obs " + out("arc.obs") + " --nav " + kDemo + "bds.nav" + eop +
                                "--sigma-clock 0 --truth " + out("truth.csv");
    const Outcome o =
        leopod_ok(command + " --edits-out " + out("edits.csv") + " --formal-out " + out("formal.csv") + " --out " +
                  out("fitted.csv") + " --sp3-out " + out("fitted.sp3") + " --summary " + out("summary.json"));
    const Rms error = rms_of(o.text, "orbit");
    EXPECT_LT(error.total, 0.03) << o.text;
    EXPECT_TRUE(holds(o.text, "errors against " + out("truth.csv"))) << o.text;
    const double formal[3] = {number(o.text, "formal errors: rms radial ([0-9.]+)"),
                              number(o.text, "formal errors:.*along ([0-9.]+)"),
                              number(o.text, "formal errors:.*cross ([0-9.]+)")};
    const double said = std::sqrt(formal[0] * formal[0] + formal[1] * formal[1] + formal[2] * formal[2]);
    EXPECT_GT(error.total, said / 2) << o.text;
    EXPECT_LT(error.total, said * 2) << o.text;
    // In the orbit file the same errors stand as powers of 1.25 mm by axis.
    const std::vector<Row> errors = read_csv(out("formal.csv"));
    ASSERT_EQ(errors.size(), 361u);
    std::stringstream sp3(read_file(out("fitted.sp3")));
    std::string line;
    std::array<double, 3> squares_of{};
    const char* const names[3] = {"radial", "along", "cross"};
    for (const Row& row : errors) {
        for (std::size_t k = 0; k < 3; ++k)
            squares_of[k] += std::pow(row.value(std::string(names[k]) + "_sigma_m"), 2) / 361.0;
        while (std::getline(sp3, line) && line[0] != 'P') {
        }
        ASSERT_GE(line.size(), 69u);
        double squares = 0;
        for (std::size_t k = 0; k < 3; ++k) squares += std::pow(1.25, 2.0 * std::stod(line.substr(60 + 3 * k, 3)));
        const double expected =
            std::hypot(row.value("radial_sigma_m"), row.value("along_sigma_m"), row.value("cross_sigma_m"));
        EXPECT_NEAR(1e-3 * std::sqrt(squares) / expected, 1.0, 0.12) << line;
    }
    const std::string summary = read_file(out("summary.json"));
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_NEAR(formal[k], std::sqrt(squares_of[k]), 1e-4) << names[k];
        EXPECT_NEAR(number(summary, std::string("\"rms_") + names[k] + "_m\": ([-0-9.e]+)"), std::sqrt(squares_of[k]),
                    1e-5)
            << names[k];
    }

    // Every slip begins an ambiguity, and nothing else does within a pass.
    std::set<std::pair<std::string, std::string>> found;
    for (const Row& row : read_csv(out("edits.csv"))) {
        if (row.at("observation") == "ambiguity") found.insert({row.at("satellite"), row.at("from_gpst")});
    }
    const auto slips = slips_of(out("events.csv"));
    EXPECT_GE(slips.size(), 5u);
    EXPECT_EQ(found, slips);

    // Terms of the configuration are those of the option.
    const std::string forces = read_file(out("forces.cfg"));
    const std::size_t place = forces.find("-Force");
    write_temp("terms.cfg", forces.substr(0, place) + "Empirical_Force = YES A0:3600 RS:5400\n" + forces.substr(place));
    leopod(command + " --dynamics " + out("terms.cfg") + " --out " + out("by_file.csv"));
    const Outcome by_option = leopod(command + " --dynamics " + out("forces.cfg") + " --out " + out("by_option.csv") +
                                     " --empirical A0:3600 RS:5400");
    EXPECT_TRUE(holds(by_option.text, "accelerations")) << by_option.text;
    EXPECT_EQ(read_file(out("by_file.csv")), read_file(out("by_option.csv")));
    EXPECT_NE(read_file(out("by_file.csv")), read_file(out("fitted.csv")));

    // The orbit that is written, SP3 and CSV, is the one that was compared.
    const Outcome again = leopod_ok("orbit --compare " + out("fitted.csv") + " " + out("orbit.csv"));
    EXPECT_NEAR(rms_of(again.text, "difference").total, error.total, 0.002) << again.text;
    EXPECT_TRUE(holds(read_file(out("fitted.sp3")), "*  2021  1 18  3 10  0.0")) << o.text;

    expect_laser_ranges(command, eop);
    expect_antenna_offset(" --nav " + kDemo + "bds.nav", eop);

    // Sigmas that are far too small are not believed.
    const Outcome proud = leopod(command + " --no-adapt --sigma-phase 0.0003 --sigma-code 0.03");
    EXPECT_EQ(proud.status, 1) << proud.text;
    const Outcome sparse = leopod(command + " --interval 600 --from 600");
    EXPECT_EQ(sparse.status, 2) << sparse.text;
    EXPECT_TRUE(holds(sparse.text, "epochs")) << sparse.text;

    // A field that this satellite did not fly in.
    const std::string grace = kExamples + "data/grace_b/";
    const Outcome wrong = leopod(command + " --gravity " + grace + "egm2008_degree90.txt.gz");
    EXPECT_EQ(wrong.status, 1) << wrong.text;
    EXPECT_TRUE(holds(wrong.text, "wrong or missing forces")) << wrong.text;
}

// Two systems, of which now one, now the other is away for minutes: each epoch has its position, each system its clock.
TEST_F(HostOrbit, ASystemThatIsAwayForMinutes) {
    std::istringstream in(read_file(arc21("both.obs")));
    std::string text, minute = "header";
    for (std::string line; std::getline(in, line);) {
        if (line[0] == '>') minute = line.substr(16, 2);
        if (line[0] == (minute < "02" ? 'C' : minute == "10" || minute == "11" ? 'G' : '\0')) line.resize(3);
        text += line + "\n";
    }
    const Outcome o =
        leopod_ok("orbit --obs " + write_temp("away.obs", text) + " --nav " + arc21("arc.nav") + " --eop " + kDemo +
                  "eop.txt --config " + arc21("both.cfg") + " --truth " + arc21("truth_epochs.csv"));
    EXPECT_EQ(number(o.text, "\n  orbit +epochs ([0-9]+)"), 24) << o.text;
    EXPECT_LT(number(o.text, "\n  orbit .*largest ([0-9.]+)"), 0.02) << o.text;
}

}  // namespace
