// The host program run as its users run it: files in, status, summary and CSV out.
#include <array>
#include <cmath>
#include <map>
#include <regex>

#include "host_support.h"

namespace {

using support::data_path;
using support::kProgram;
using support::leopod;
using support::number;
using support::Outcome;
using support::read_rows;

double rms_of(const std::string& text, const std::string& name) {
    return number(text, name + " +epochs .*rms ([0-9.]+)");
}

class Host : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!std::filesystem::exists(kProgram)) GTEST_SKIP() << "the host program is not built";
    }
    static std::string out(const std::string& name) { return (support::temp_dir() / name).string(); }
    static std::string sim(const std::string& name) { return data_path("leo_sim/" + name).string(); }
    /// What belongs to the arc of 18 January 2021, z-up axes and an antenna without offset.
    static std::string arc21() {
        return " --nav " + sim("dev21_tgd0.nav") + " --att " + sim("dev21_att_zup.txt") + " --atx " + sim("zero.atx") +
               " --eop " + data_path("eop/finals.data.iau2000.txt").string() + " --eop-format rapid --truth " +
               sim("dev21_truth_epochs.csv");
    }
    /// Each epoch of sim.csv against an independent rendering of the same rules.
    static void expect_close(const std::string& predicted, double point, double filter) {
        const auto ours = read_rows(out("sim.csv"));
        const auto theirs = read_rows(predicted);
        ASSERT_EQ(ours.size(), theirs.size());
        for (const auto& [sod, row] : theirs) {
            for (const std::string axis : {"x", "y", "z"}) {
                EXPECT_NEAR(ours.at(sod).at(axis + "_ecef_m"), row.at("spp_" + axis), point) << predicted << " " << sod;
                EXPECT_NEAR(ours.at(sod).at("filter_" + axis + "_ecef_m"), row.at("flt_" + axis), filter)
                    << predicted << " " << sod;
            }
        }
    }
};

TEST_F(Host, UnusableFilesEndWithStatusTwoAndTheirName) {
    const std::string data = (std::filesystem::path(LEOPOD_SOURCE_DIR) / "examples/data/").string();
    const std::string obs = data + "demo_bds.obs --nav " + data + "demo_bds.nav";
    const std::string text = support::write_temp("text.txt", "no data of any kind\nat all\n");
    const std::string clock =
        support::write_temp("three.clk",
                            "     3.00           CLOCK DATA                              RINEX VERSION / TYPE\n"
                            "                                                            END OF HEADER\n"
                            "AS G01  2020 06 25 00 00  0.000000  3    1.0E-05 1.0E-11 1.0E-12\n");
    const std::array<std::string, 11> options = {
        "--nav " + data + "demo_bds.nav --obs " + text,
        "--nav " + data + "demo_bds.nav --obs %absent",
        "--obs " + obs + " --nav " + text,
        "--obs " + obs + " --sp3 %absent",
        "--obs " + obs + " --clk " + clock,
        "--obs " + obs + " --atx " + text,
        "--obs " + obs + " --att " + text,
        "--obs " + obs + " --eop " + text,
        "--obs " + obs + " --jpl " + text,
        "--obs " + obs + " --config %absent",
        "--nav " + data + "demo_bds.nav --obs " + support::temp_dir().string()};
    for (const std::string& option : options) {
        const Outcome outcome = leopod("run " + option);
        EXPECT_EQ(outcome.status, 2) << option << "\n" << outcome.text;
        const std::string file = option.substr(option.rfind(' ') + 1);
        EXPECT_NE(outcome.text.find(file), std::string::npos) << outcome.text;
        EXPECT_EQ(std::count(outcome.text.begin(), outcome.text.end(), '\n'), 1) << outcome.text;
    }
}

TEST_F(Host, EmbeddedDemoArc) {
    const std::string dir = (std::filesystem::path(LEOPOD_SOURCE_DIR) / "examples/data/").string();
    const std::string files =
        "run --embedded --obs " + dir + "demo_bds.obs --nav " + dir + "demo_bds.nav --truth " + dir + "demo_truth.csv";
    const Outcome good = leopod(files + " --att " + dir + "demo_att_zdown.txt --out " + out("demo.csv") +
                                " --sp3-out " + out("demo.sp3"));
    EXPECT_EQ(good.status, 0) << good.text;
    EXPECT_EQ(number(good.text, "epochs: 121, solved ([0-9]+)"), 121) << good.text;
    EXPECT_LT(rms_of(good.text, "point position"), 4.0);
    EXPECT_EQ(read_rows(out("demo.csv")).size(), 121u);
    // The built-in antenna looks along minus z: without attitude that is down, and the summary says why nothing is solved.
    const Outcome blind = leopod(files);
    EXPECT_EQ(blind.status, 1);
    EXPECT_NE(blind.text.find("No attitude is loaded"), std::string::npos) << blind.text;
}

TEST_F(Host, RealReceiverWithPreciseProducts) {
    const auto obs = data_path("grace_b_2010208/grcb2080_00h12h.10o");
    LEOPOD_REQUIRE_DATA(obs);
    const std::string dir = data_path("grace_b_2010208/").string();
    const Outcome o =
        leopod("run --obs " + obs.string() + " --sp3 " + dir + "COD15941.EPH --sp3 " + dir + "COD15942.EPH --sp3 " +
               dir + "COD15943.EPH --interval 10 --truth " + dir + "truth_00h12h.csv --out " + out("grace.csv"));
    ASSERT_EQ(o.status, 0) << o.text;
    EXPECT_EQ(number(o.text, "epochs: 4320, solved ([0-9]+)"), 4318) << o.text;
    EXPECT_EQ(number(o.text, "LACK_OF_SATELLITES ([0-9]+)"), 2);
    EXPECT_NEAR(number(o.text, "point position +epochs .*3D median ([0-9.]+)"), 2.57, 0.05);
    EXPECT_NEAR(rms_of(o.text, "point position"), 4.24, 0.05);
    EXPECT_NEAR(number(o.text, "point position +epochs .*largest ([0-9.]+)"), 22.6, 0.3);
    const std::string filter = "filter after 20 epochs";
    EXPECT_NEAR(rms_of(o.text, filter), 0.89, 0.045);
    EXPECT_NEAR(number(o.text, filter + " +epochs .*largest ([0-9.]+)"), 3.80, 0.2);
    EXPECT_NEAR(number(o.text, "Melbourne-Wuebbena ([0-9]+)"), 699, 35);
    EXPECT_NEAR(number(o.text, "geometry-free ([0-9]+)"), 365, 18);
    EXPECT_NEAR(number(o.text, "both ([0-9]+)"), 211, 10);
    EXPECT_EQ(number(o.text, "in ([0-9]+) satellite epochs"), 32615);
    // Per epoch against an independent rendering of the same rules.
    const auto ours = read_rows(out("grace.csv"));
    const auto theirs = read_rows(dir + "predicted_00h12h.csv");
    std::size_t compared = 0;
    std::size_t close = 0;
    for (const auto& [sod, row] : theirs) {
        const auto mine = ours.find(sod);
        if (row.count("spp_x") == 0 || mine == ours.end() || mine->second.count("x_ecef_m") == 0) continue;
        const double d =
            std::hypot(mine->second.at("x_ecef_m") - row.at("spp_x"), mine->second.at("y_ecef_m") - row.at("spp_y"),
                       mine->second.at("z_ecef_m") - row.at("spp_z"));
        ++compared;
        close += d < 0.01;
    }
    EXPECT_GE(compared, 4300u);
    EXPECT_GE(static_cast<double>(close), 0.99 * static_cast<double>(compared));
}

TEST_F(Host, GroundStationInBothFormatsAndWithBothEphemerides) {
    const auto obs = data_path("gnss/ground_esbc_2020177/ESBC00DNK_R_20201770000_06H_30S_GO_trim.rnx");
    LEOPOD_REQUIRE_DATA(obs);
    const std::string dir = data_path("gnss/ground_esbc_2020177/").string();
    const std::string gps = support::write_temp(
        "gps.cfg",
        "+GNSS_SYS\nGPS 4 C1W L1C C2W L2W IF 0 2 1 3\n-GNSS_SYS\n+GENERAL_CONFIG\nELE_CUTOFF 10.0\n"
        "THRES_MW_SLIP 0.3\nTHRES_GF_SLIP 0.05\nHUBER_POWER 3.5\nHUBER_COEF 2.5\nVAR_POS 900.0\nVAR_CLK 900.0\n"
        "-GENERAL_CONFIG\n");
    const std::string both =
        support::write_temp("both.cfg",
                            "+GNSS_SYS\nGPS 4 C1C L1C C2W L2W IF 0 2 1 3\nBDS 4 C2I L2I C6I L6I IF 0 2 1 3\n-GNSS_SYS\n"
                            "+GENERAL_CONFIG\nELE_CUTOFF 10.0\nTHRES_MW_SLIP 0.3\nTHRES_GF_SLIP 0.05\nHUBER_POWER 3.5\n"
                            "HUBER_COEF 2.5\nVAR_POS 900.0\nVAR_CLK 900.0\n-GENERAL_CONFIG\n");
    const std::string truth =
        support::write_temp("esbc.csv", "mjd_gpst,x_m,y_m,z_m\n59025,3582104.768,532590.174,5232755.144\n");
    const std::string nav = " --nav " + dir + "ESBC00DNK_R_20201770000_01D_MN.rnx";
    const auto horizontal = [](const std::string& text) {
        std::smatch m;
        const std::regex pattern("point position[^\\n]*\\n +east ([-+0-9.]+) [^\\n]*north ([-+0-9.]+)");
        return std::regex_search(text, m, pattern) ? std::hypot(std::stod(m[1]), std::stod(m[2])) : std::nan("");
    };
    const Outcome v3 = leopod("run --obs " + obs.string() + nav + " --config " + gps + " --truth " + truth + " --out " +
                              out("v3.csv"));
    ASSERT_EQ(v3.status, 0) << v3.text;
    EXPECT_LT(horizontal(v3.text), 3.0) << v3.text;
    // The version 2 form of the same data: P1 and P2 are the default observables; only the mask differs.
    const std::string p_codes = support::write_temp(
        "p.cfg",
        "+GNSS_SYS\nGPS 4 C1P L1P C2P L2P IF 0 2 1 3\n-GNSS_SYS\n+GENERAL_CONFIG\nELE_CUTOFF 10.0\n"
        "THRES_MW_SLIP 0.3\nTHRES_GF_SLIP 0.05\nHUBER_POWER 3.5\nHUBER_COEF 2.5\nVAR_POS 900.0\nVAR_CLK 900.0\n"
        "-GENERAL_CONFIG\n");
    const std::string old = data_path("gnss/rinex2/").string();
    const Outcome v2 = leopod("run --obs " + old + "esbc1770_06h.20o --nav " + old + "esbc1770.20n --config " +
                              p_codes + " --out " + out("v2.csv"));
    ASSERT_EQ(v2.status, 0) << v2.text;
    const auto a = read_rows(out("v3.csv"));
    const auto b = read_rows(out("v2.csv"));
    ASSERT_GT(a.size(), 700u);
    std::size_t common = 0;
    for (const auto& [sod, row] : a) {
        const auto other = b.find(sod);
        if (other == b.end() || row.count("x_ecef_m") == 0 || other->second.count("x_ecef_m") == 0) continue;
        ++common;
        for (const char* axis : {"x_ecef_m", "y_ecef_m", "z_ecef_m"})
            EXPECT_NEAR(row.at(axis), other->second.at(axis), 1e-3) << sod;
    }
    // 34 epochs of the version 2 form hold a line that is cut off behind its last value: the values behind it move up there.
    EXPECT_GE(common, 686u);

    const Outcome precise =
        leopod("run --obs " + obs.string() + " --sp3 " + dir + "GRG0MGXFIN_20201760000_01D_15M_ORB.SP3 --sp3 " + dir +
               "GRG0MGXFIN_20201770000_01D_15M_ORB.SP3 --clk " + dir +
               "GRG0MGXFIN_20201770000_01D_30S_CLK_gps.CLK --config " + gps + " --truth " + truth);
    ASSERT_EQ(precise.status, 0) << precise.text;
    EXPECT_LT(horizontal(precise.text), 3.0) << precise.text;
    const Outcome mixed = leopod("run --obs " + dir + "ESBC00DNK_R_20201771400_04H_30S_MO_trim.rnx" + nav +
                                 " --config " + both + " --truth " + truth);
    ASSERT_EQ(mixed.status, 0) << mixed.text;
    EXPECT_LT(horizontal(mixed.text), 3.0) << mixed.text;
}

TEST_F(Host, SimulatedArcsAgreeWithAnIndependentRendering) {
    LEOPOD_REQUIRE_DATA(data_path("leo_sim/zero.atx"));
    struct Case {
        std::string name, config;
        double point, filter, slack;  ///< 3D rms [m]; filter: after the first 20 epochs
    };
    const std::vector<Case> cases = {{"dev21_gps_clean", "gps", 1.52, 0.008, 0.003},
                                     {"dev21_bds_clean", "bds", 1.59, 0.018, 0.003},
                                     {"dev21_gc_clean", "gc", 1.38, 0.012, 0.003},
                                     {"dev21_gps_clean_windup", "gps", 1.52, 0.001, 0.003},
                                     {"dev21_gps", "gps", 1.57, 0.07, 0.035},
                                     {"dev21_bds", "bds", 1.61, 0.15, 0.075},
                                     {"dev21_gc", "gc", 1.43, 0.06, 0.03}};
    for (const Case& c : cases) {
        const Outcome o = leopod("run --obs " + sim(c.name + ".obs") + " --config " +
                                 sim("config_" + c.config + ".txt") + arc21() + " --out " + out("sim.csv"));
        ASSERT_EQ(o.status, 0) << o.text;
        EXPECT_NEAR(rms_of(o.text, "point position"), c.point, 0.01) << c.name << o.text;
        EXPECT_NEAR(rms_of(o.text, "filter after 20 epochs"), c.filter, c.slack) << c.name << o.text;
        expect_close(sim("predicted/" + c.name + "_zup_id.csv"), 0.001, 0.01);
    }
}

TEST_F(Host, PreciseProductsGiveTheBroadcastOrbit) {
    LEOPOD_REQUIRE_DATA(data_path("leo_sim/dev19.sp3"));
    const std::string common = "run --obs " + sim("dev19_gps.obs") + " --config " + sim("config_gps.txt") + " --att " +
                               sim("dev19_att_zup.txt") + " --atx " + sim("zero.atx") + " --eop " +
                               data_path("eop/eopc04_IAU2000.62-now").string() + " --truth " +
                               sim("dev19_gps_truth_epochs.csv") + " --out ";
    const Outcome broadcast = leopod(common + out("b.csv") + " --nav " + sim("dev19.nav"));
    const Outcome precise = leopod(common + out("p.csv") + " --sp3 " + sim("dev19.sp3") + " --clk " + sim("dev19.clk") +
                                   " --sp3-out " + out("p.sp3"));
    ASSERT_EQ(broadcast.status + precise.status, 0) << precise.text;
    const auto b = read_rows(out("b.csv"));
    const auto p = read_rows(out("p.csv"));
    ASSERT_EQ(b.size(), 721u);
    for (const auto& [sod, row] : b) {
        for (const char* axis : {"filter_x_ecef_m", "filter_y_ecef_m", "filter_z_ecef_m"})
            EXPECT_NEAR(row.at(axis), p.at(sod).at(axis), 0.02) << sod;
    }
    // The orbit file holds the filter's positions at the true receive times.
    std::ifstream sp3(out("p.sp3"));
    std::string line;
    std::size_t points = 0;
    while (std::getline(sp3, line)) {
        if (line.compare(0, 4, "PL01") != 0) continue;
        if (points == 0) {
            EXPECT_NEAR(std::stod(line.substr(4, 14)) * 1000.0, p.begin()->second.at("filter_x_ecef_m"), 1e-3);
        }
        ++points;
    }
    EXPECT_EQ(points, 721u);
}

TEST_F(Host, SlipsAboveTheThresholdsAreMarked) {
    LEOPOD_REQUIRE_DATA(data_path("leo_sim/dev21_gps_clean_slips.obs"));
    const Outcome o = leopod("run --obs " + sim("dev21_gps_clean_slips.obs") + " --config " + sim("config_gps.txt") +
                             arc21() + " --out " + out("slips.csv"));
    ASSERT_EQ(o.status, 0) << o.text;
    std::map<std::string, std::string> marks;  // time of day to satellite
    std::ifstream in(out("slips.csv"));
    std::string line;
    while (std::getline(in, line)) {
        const std::size_t mark = line.find_first_of(":", line.find(",G"));
        if (line.find(":MW") != std::string::npos || line.find(":GF") != std::string::npos)
            marks[line.substr(11, 8)] = line.substr(mark - 3, 3);
    }
    // A sixth slip, of one cycle on both bands, stays below both thresholds.
    const std::map<std::string, std::string> expected = {
        {"00:16:30", "G07"}, {"00:17:00", "G31"}, {"00:31:00", "G20"}, {"00:40:30", "G28"}, {"00:48:30", "G23"}};
    EXPECT_EQ(marks, expected);
}

/// A dynamics configuration with the given degree and empirical request.
std::string dynamics(const std::string& name, int degree, const std::string& empirical, double step) {
    return support::write_temp(
        name, "+Force_Models\nEarth_Gravity = YES " + std::to_string(degree) +
                  "\nThird_Body_Gravity = YES SUN MOON\nGeneral_Relativity = YES\n" +
                  (empirical.empty() ? "" : "Empirical_Force = YES " + empirical + "\n") +
                  "-Force_Models\n+GENERAL_CONFIG\nIntegration_Step_Size = " + std::to_string(step) +
                  "\nIntegration_Output_Interval = 60.0\nspacecraft_state_mode = 2\n-GENERAL_CONFIG\n");
}

TEST_F(Host, PropagationDiffersFromATidelessTruthByTheTide) {
    const auto truth = data_path("leo_sim/dev21_truth_gcrs.csv");
    LEOPOD_REQUIRE_DATA(truth);
    // The truth holds the field to degree 30 and no tides; a request of degree 31 is complete to 30. The solid tide moves the orbit by 1 m
    // in an hour.
    const std::string arguments =
        " --dynamics " + dynamics("p.cfg", 31, "", 20.0) + " --gravity " + data_path("gravity/EGM2008.txt").string() +
        " --eop " + data_path("eop/finals.data.iau2000.txt").string() + " --eop-format rapid --truth " + truth.string();
    const Outcome o = leopod(
        "propagate --epoch 2021-01-18T00:00:00 --frame eci --state -72253.79737 95689.39756 6864898.05298 "
        "-6246.92258015 "
        "-4374.19320167 -2.38965452 --duration 3600 --rows-out " +
        out("rows.csv") + " --rows-interval 10" + arguments);
    ASSERT_EQ(o.status, 0) << o.text;
    EXPECT_NEAR(number(o.text, "largest ([0-9.]+) m"), 1.0, 0.15) << o.text;
    const auto rows = support::read_file(out("rows.csv"));
    EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), 306);  // from 310 s to 3360 s
    EXPECT_EQ(leopod("propagate --epoch 2021-01-18 --state 1 2 3 4 5 6" + arguments).status, 2);
}

TEST_F(Host, FilterPositionsOfARealReceiverIntoADynamicOrbit) {
    const auto obs = data_path("grace_b_2010208/grcb2080_00h12h.10o");
    LEOPOD_REQUIRE_DATA(obs);
    const std::string dir = data_path("grace_b_2010208/").string();
    const Outcome run = leopod("run --obs " + obs.string() + " --sp3 " + dir + "COD15941.EPH --sp3 " + dir +
                               "COD15942.EPH --interval 60 --out " + out("kin.csv"));
    ASSERT_EQ(run.status, 0) << run.text;
    const Outcome fit =
        leopod("fit --positions " + out("kin.csv") + " --from 3600 --to 10800 --dynamics " +
               dynamics("f.cfg", 70, "A0:7200 C0:7200 R0:7200 AC:7200 AS:7200 CC:7200 CS:7200", 60.0) + " --gravity " +
               data_path("gravity/EGM2008.txt").string() + " --truth " + dir + "truth_00h12h.csv --out " +
               out("fit.csv") + " --parameters " + out("par.csv") + " --residuals " + out("res.csv") + " --history " +
               out("his.csv") + " --sp3-out " + out("fit.sp3"));
    ASSERT_EQ(fit.status, 0) << fit.text;
    const double before = rms_of(fit.text, "positions fitted to");
    const double after = rms_of(fit.text, "fitted orbit");
    EXPECT_LT(after, 0.8 * before) << fit.text;
    EXPECT_EQ(read_rows(out("fit.csv")).size(), 121u);
    const std::string parameters = support::read_file(out("par.csv"));
    EXPECT_NE(parameters.find("EMP_000_CS,"), std::string::npos);
    EXPECT_NE(parameters.find("PX,"), std::string::npos);
    // The fitted orbit as an SP3 file fits again, to the millimetre of its digits.
    const Outcome again =
        leopod("fit --positions " + out("fit.sp3") + " --dynamics " +
               dynamics("f.cfg", 70, "A0:7200 C0:7200 R0:7200 AC:7200 AS:7200 CC:7200 CS:7200", 60.0) + " --gravity " +
               data_path("gravity/EGM2008.txt").string());
    EXPECT_EQ(again.status, 0) << again.text;
    EXPECT_LT(number(again.text, "residuals: rms along ([0-9.]+)"), 0.001) << again.text;
    EXPECT_EQ(leopod("fit --positions " + out("nothing.csv") + " --dynamics " + out("nothing.cfg")).status, 2);
}

TEST_F(Host, FilesBeyondTheReadersLimitsAreProcessed) {
    const auto dir = data_path("gnss/limits");
    LEOPOD_REQUIRE_DATA(dir);
    for (const char* name : {"ESBC00DNK_R_20201770000_01H_30S_MO_asis.rnx", "delf0010_asis.21o"}) {
        const Outcome o = leopod("run --log-level warning --obs " + (dir / name).string() + " --nav " +
                                 data_path("gnss/rinex2/cbw10010.21n").string());
        EXPECT_LE(o.status, 1) << o.text;
        EXPECT_NE(o.text.find("the excess is dropped"), std::string::npos) << o.text.substr(0, 2000);
    }
    const Outcome sp3 =
        leopod("run --log-level warning --obs " + data_path("gnss/rinex2/delf0010_gps_trim.21o").string() + " --sp3 " +
               (dir / "sentinel3a_L74_asis.sp3").string());
    EXPECT_LE(sp3.status, 1) << sp3.text;
}

}  // namespace
