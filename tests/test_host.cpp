// The host program run as its users run it: files in, status, summary and CSV out.
#include "host_support.h"

namespace {

using namespace support;
using Rows = std::map<double, std::map<std::string, double>>;

double rms_of(const std::string& text, const std::string& name) {
    return number(text, name + " +epochs .*rms ([0-9.]+)");
}

/// Sorted distances of two solutions at the epochs that both have solved; "%" in the names of their columns stands for the axis.
std::vector<double> distances(const Rows& a, const std::string& of_a, const Rows& b, const std::string& of_b) {
    std::vector<double> all;
    for (const auto& [sod, row] : a) {
        double squares = 0.0;
        for (const std::string axis : {"x", "y", "z"}) {
            const std::string name_a = std::regex_replace(of_a, std::regex("%"), axis);
            const std::string name_b = std::regex_replace(of_b, std::regex("%"), axis);
            const bool both = row.count(name_a) != 0 && b.count(sod) != 0 && b.at(sod).count(name_b) != 0;
            squares += both ? std::pow(row.at(name_a) - b.at(sod).at(name_b), 2) : std::nan("");
        }
        if (!std::isnan(squares)) all.push_back(std::sqrt(squares));
    }
    std::sort(all.begin(), all.end());
    return all;
}

class Host : public HostTest {
  protected:
    static std::string sim(const std::string& name) { return data_path("leo_sim/" + name).string(); }
    /// What belongs to the arc of 18 January 2021, z-up axes and an antenna without offset.
    static std::string with_arc21() {
        return " --nav " + sim("dev21_tgd0.nav") + " --att " + sim("dev21_att_zup.txt") + " --atx " + sim("zero.atx") +
               " --eop " + data_path("eop/finals.data.iau2000.txt").string() + " --eop-format rapid --truth " +
               sim("dev21_truth_epochs.csv");
    }
};

TEST_F(Host, UnusableFilesEndWithStatusTwoAndTheirName) {
    const std::string obs = "--obs " + kDemo + "bds.obs", nav = " --nav " + kDemo + "bds.nav",
                      sp3 = " --sp3 " + kExamples + "data/grace_b/cod15942_excerpt.sp3.gz";
    const std::string text = write_temp("text.txt", "no data of any kind\nat all\n"), dir = temp_dir().string();
    const std::string clock =
        write_temp("three.clk",
                   "     3.00           CLOCK DATA                              RINEX VERSION / TYPE\n"
                   "                                                            END OF HEADER\n"
                   "AS G01  2020 06 25 00 00  0.000000  3    1.0E-05 1.0E-11 1.0E-12\n");
    expect_refusals("run", {{nav + " --obs " + text, text},
                            {nav + " --obs %absent", "%absent"},
                            {nav + " --obs " + dir, dir},
                            {obs + " --nav " + text, text},
                            {obs + nav + " --sp3 " + text, text},
                            {obs + sp3 + " --clk " + clock, clock},
                            {obs + nav + " --atx " + text, text},
                            {obs + nav + " --att " + text, text},
                            {obs + nav + " --eop " + text, text},
                            {obs + nav + " --jpl " + text, text},
                            {obs + nav + " --config %absent", "%absent"}});
    expect_refusals("fit", {{"--positions %absent --dynamics %none", "%absent"}});
    expect_refusals("propagate", {{"--epoch 2021-01-18 --state 1 2 3 4 5 6 --dynamics " + text, "2021-01-18"}});
}

TEST_F(Host, EmbeddedDemoArc) {
    const std::string run = "run " + kDemoRun + " --truth " + kDemo + "truth.csv";
    const Outcome good = leopod_ok(run + kDemoAttitude + " --out " + out("demo.csv") + " --sp3-out " + out("demo.sp3"));
    EXPECT_EQ(number(good.text, "epochs: 121, solved ([0-9]+)"), 121) << good.text;
    EXPECT_LT(rms_of(good.text, "point position"), 4.0);
    const std::vector<Row> rows = read_csv(out("demo.csv"));
    // The orbit file holds the filter's positions at the true receive times.
    std::stringstream sp3(read_file(out("demo.sp3")));
    std::string line, epoch;
    for (const Row& row : rows) {
        while (std::getline(sp3, line) && line.compare(0, 4, "PL01") != 0) epoch = line;
        ASSERT_GT(line.size(), 46u);
        EXPECT_NEAR(std::remainder(row.value("receive_sod_gpst") - std::stod(epoch.substr(20)), 60.0), 0.0, 2e-8);
        for (std::size_t k = 0; k < 3; ++k)
            EXPECT_NEAR(std::stod(line.substr(4 + 14 * k, 14)) * 1e3,
                        row.value(std::string("filter_") + "xyz"[k] + "_ecef_m"), 1e-3);
    }
    // The built-in antenna looks along minus z: without attitude that is down, and the summary says why nothing is solved.
    const Outcome blind = leopod(run);
    EXPECT_EQ(blind.status, 1);
    EXPECT_TRUE(holds(blind.text, "No attitude is loaded")) << blind.text;
}

TEST_F(Host, RealReceiverWithPreciseProducts) {
    const std::string dir = kExamples + "data/grace_b/";  // packed as the files are
    const std::string run = "run --obs " + dir + "grcb2080_01h05h.10d.gz --truth " + dir +
                            "reference_orbit.csv.gz --out " + out("grace.csv") + " --sp3 ";
    const std::string excerpt_run = run + dir + "cod15942_excerpt.sp3.gz";
    const std::string filter = "filter after 20 epochs";
    // The antennas of the GPS satellites lie up to 2.6 m nearer to the earth than their orbits.
    const Outcome moved = leopod_ok(excerpt_run + " --sp3-antenna " + dir + "gps_satellites_2010208.atx.gz");
    EXPECT_NEAR(rms_of(moved.text, filter), 0.727, 0.01) << moved.text;
    const Outcome o = leopod_ok(excerpt_run);
    EXPECT_EQ(number(o.text, "epochs: 1441, solved ([0-9]+)"), 1439) << o.text;
    EXPECT_EQ(number(o.text, "LACK_OF_SATELLITES ([0-9]+)"), 2);
    EXPECT_NEAR(number(o.text, "point position +epochs .*3D median ([0-9.]+)"), 2.767, 0.01);
    EXPECT_NEAR(rms_of(o.text, "point position"), 3.23, 0.02);
    EXPECT_NEAR(number(o.text, "point position +epochs .*largest ([0-9.]+)"), 11.9, 0.3);
    EXPECT_NEAR(rms_of(o.text, filter), 0.968, 0.01);
    EXPECT_NEAR(number(o.text, filter + " +epochs .*largest ([0-9.]+)"), 3.92, 0.02);
    EXPECT_EQ(number(o.text, "Melbourne-Wuebbena ([0-9]+)"), 230);
    EXPECT_EQ(number(o.text, "geometry-free ([0-9]+)"), 79);
    EXPECT_EQ(number(o.text, "both ([0-9]+)"), 61);
    EXPECT_EQ(number(o.text, "in ([0-9]+) satellite epochs"), 10696);
    // Per epoch against an independent rendering of the same rules, which had the orbits of three whole days.
    const std::string full = data_path("grace_b_2010208").string() + "/";
    const std::string predicted = full + "predicted_00h12h.csv";
    if (!std::filesystem::exists(predicted)) return;
    leopod_ok(run + full + "COD15941.EPH " + full + "COD15942.EPH " + full + "COD15943.EPH");
    const auto d = distances(read_rows(out("grace.csv")), "%_ecef_m", read_rows(predicted), "spp_%");
    ASSERT_GE(d.size(), 1430u);
    EXPECT_LT(d[d.size() * 99 / 100], 0.01);
}

TEST_F(Host, GroundStationInBothFormatsAndWithBothEphemerides) {
    const auto obs = data_path("gnss/ground_esbc_2020177/ESBC00DNK_R_20201770000_06H_30S_GO_trim.rnx");
    LEOPOD_REQUIRE_DATA(obs);
    const std::string dir = obs.parent_path().string() + "/", old = data_path("gnss/rinex2/").string();
    const auto config = [](const std::string& name, const std::string& systems) {
        return " --config " + write_temp(name, "+GNSS_SYS\n" + systems +
                                                   "-GNSS_SYS\n+GENERAL_CONFIG\nELE_CUTOFF 10.0\n"
                                                   "THRES_MW_SLIP 0.3\nTHRES_GF_SLIP 0.05\nHUBER_POWER 3.5\n"
                                                   "HUBER_COEF 2.5\nVAR_POS 900.0\nVAR_CLK 900.0\n"
                                                   "-GENERAL_CONFIG\n");
    };
    const std::string gps = "GPS 4 C1W L1C C2W L2W IF 0 2 1 3\n", nav = "ESBC00DNK_R_20201770000_01D_MN.rnx ";
    const std::string truth =
        " --truth " + write_temp("esbc.csv", "mjd_gpst,x_m,y_m,z_m\n59025,3582104.768,532590.174,5232755.144\n");
    const std::string runs[] = {
        obs.string() + " --nav " + dir + nav + config("gps.cfg", gps) + " --out " + out("v3.csv"),
        obs.string() + " --sp3 " + dir + "GRG0MGXFIN_20201760000_01D_15M_ORB.SP3 --sp3 " + dir +
            "GRG0MGXFIN_20201770000_01D_15M_ORB.SP3 --clk " + dir + "GRG0MGXFIN_20201770000_01D_30S_CLK_gps.CLK" +
            config("gps.cfg", gps),
        dir + "ESBC00DNK_R_20201771400_04H_30S_MO_trim.rnx --nav " + dir + nav +
            config("both.cfg", "GPS 4 C1C L1C C2W L2W IF 0 2 1 3\nBDS 4 C2I L2I C6I L6I IF 0 2 1 3\n")};
    for (const std::string& run : runs) {
        const Outcome o = leopod_ok("run --obs " + run + truth);
        const double east = number(o.text, "point position[^\\n]*\\n +east ([-+0-9.]+)");
        const double north = number(o.text, "point position[^\\n]*\\n[^\\n]*north ([-+0-9.]+)");
        EXPECT_LT(std::hypot(east, north), 3.0) << o.text;
    }
    // The version 2 form of the same data: P1 and P2 are the default observables. 34 of its epochs hold a line that is cut off
    // behind its last value: the values behind it move up there.
    leopod_ok("run --obs " + old + "esbc1770_06h.20o --nav " + old + "esbc1770.20n" +
              config("old.cfg", "GPS 4 C1P L1P C2P L2P IF 0 2 1 3\n") + " --out " + out("v2.csv"));
    const auto d = distances(read_rows(out("v3.csv")), "%_ecef_m", read_rows(out("v2.csv")), "%_ecef_m");
    ASSERT_GE(d.size(), 686u);
    EXPECT_LT(d.back(), 1e-3);
}

TEST_F(Host, SimulatedArcsAgreeWithAnIndependentRendering) {
    LEOPOD_REQUIRE_DATA(data_path("leo_sim/zero.atx"));
    struct Case {
        std::string name, config;
        double point, filter, slack;  ///< 3D rms [m]; filter: after the first 20 epochs
        double difference;            ///< of the filter, largest [m]
    };
    const Case cases[] = {{"dev21_gps_clean_slips", "gps", 1.52, 0.142, 0.003, 1e-3},
                          {"dev21_bds_clean", "bds", 1.59, 0.018, 0.003, 1e-3},
                          {"dev21_gc_clean", "gc", 1.38, 0.012, 0.003, 2e-3},
                          {"dev21_gps_clean_windup", "gps", 1.52, 0.001, 0.003, 1e-3},
                          {"dev21_gps", "gps", 1.57, 0.07, 0.035, 0.01},
                          {"dev21_bds", "bds", 1.61, 0.15, 0.075, 0.01},
                          {"dev21_gc", "gc", 1.43, 0.06, 0.03, 0.015}};
    for (const Case& c : cases) {
        const Outcome o = leopod_ok("run --obs " + sim(c.name + ".obs") + " --config " +
                                    sim("config_" + c.config + ".txt") + with_arc21() + " --out " + out("sim.csv"));
        EXPECT_NEAR(rms_of(o.text, "point position"), c.point, 0.01) << c.name << o.text;
        EXPECT_NEAR(rms_of(o.text, "filter after 20 epochs"), c.filter, c.slack) << c.name << o.text;
        const Rows ours = read_rows(out("sim.csv")), theirs = read_rows(sim("predicted/" + c.name + "_zup_id.csv"));
        ASSERT_EQ(ours.size(), theirs.size());
        for (const auto& predicted_row : theirs) {
            const auto sod = predicted_row.first;
            const auto& row = predicted_row.second;
            const auto& own = ours.at(sod);
            const auto expect = [&](const std::string& column, const std::string& predicted, double tolerance) {
                EXPECT_NEAR(own.at(column), row.at("spp_" + predicted), 1e-3) << c.name << ' ' << sod << column;
                EXPECT_NEAR(own.at("filter_" + column), row.at("flt_" + predicted), tolerance) << c.name << ' ' << sod;
            };
            for (const std::string axis : {"x", "y", "z"}) expect(axis + "_ecef_m", axis, c.difference);
            expect(c.config == "bds" ? "clock_BDS_m" : "clock_GPS_m", "clk0", c.difference);
            if (c.config == "gc") expect("clock_BDS_m", "clk1", c.difference);
            EXPECT_NEAR(own.at("receive_sod_gpst"), sod - row.at("spp_clk0") / 299792458.0, 2e-9) << c.name << sod;
        }
    }
}

TEST_F(Host, PropagationDiffersFromATidelessTruthByTheTide) {
    // The truth holds the field to degree 30 and no tides; a request of degree 31 is complete to 30. The solid tide moves the orbit by 1 m
    // in an hour.
    const std::string config =
        write_temp("dynamics.cfg",
                   "+Force_Models\nEarth_Gravity = YES 31\nThird_Body_Gravity = YES SUN MOON\nGeneral_Relativity = "
                   "YES\n-Force_Models\n"
                   "+GENERAL_CONFIG\nIntegration_Step_Size = 20\nIntegration_Output_Interval = 60\n-GENERAL_CONFIG\n");
    const Outcome o = leopod_ok(
        "propagate --epoch 2021-01-18T00:00:00 --frame eci --state -72253.79737 95689.39756 6864898.05298 "
        "-6246.92258015 -4374.19320167 -2.38965452 --duration 3600 --rows-out " +
        out("rows.csv") + " --rows-interval 10 --gravity " + excerpt("egm2008_degree90.txt") + " --dynamics " + config +
        " --eop " + kDemo + "eop.txt --eop-format rapid --truth " + arc21("truth_gcrs.csv"));
    EXPECT_NEAR(number(o.text, "largest ([0-9.]+) m"), 1.0, 0.15) << o.text;
    const std::string rows = read_file(out("rows.csv"));
    EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), 306);  // from 310 s to 3360 s
}

// The reference orbit of a real satellite: Earth's field, tides, Sun, Moon and small accelerations follow it to half a centimetre.
TEST_F(Host, FitOfARealOrbit) {
    std::string rows = read_file(excerpt("reference_orbit.csv"));
    rows = std::regex_replace(rows.substr(rows.find('\n')), std::regex("\n(?=.)"), "\n55404,");
    const std::string config =
        write_temp("fit.cfg",
                   "+Force_Models\nEarth_Gravity = YES 70 time_varying_gravity solid_earth_tide polar_tide\n"
                   "Third_Body_Gravity = YES SUN MOON\nGeneral_Relativity = YES\n"
                   "Empirical_Force = YES A0:1200 C0:1200 R0:1200\n-Force_Models\n+GENERAL_CONFIG\n"
                   "Integration_Step_Size = 30\nIntegration_Output_Interval = 30\n-GENERAL_CONFIG\n");
    const std::string fit = "fit --positions " + write_temp("orbit.csv", "mjd_gpst,sod_gpst,x_m,y_m,z_m" + rows) +
                            " --interval 60 --from 3600 --to 10800 --dynamics " + config + " --gravity " +
                            excerpt("egm2008_degree90.txt") + " --eop " + excerpt("finals_2010_07.txt") +
                            " --eop-format rapid --truth " + excerpt("reference_orbit.csv");
    const Outcome o = leopod_ok(fit);
    EXPECT_EQ(number(o.text, "fitted orbit +epochs ([0-9]+)"), 120) << o.text;
    EXPECT_LT(number(o.text, "fitted orbit +.*rms ([0-9.]+)"), 0.02) << o.text;
    EXPECT_GT(number(o.text, "residuals: rms along ([0-9.]+)"), 1e-4) << o.text;
}

}  // namespace
