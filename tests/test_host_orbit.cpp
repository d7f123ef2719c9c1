// `leopod orbit`: a real arc against its reference orbit, a simulated one against its truth, and input that gives no orbit.
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
        "--clock-drift 1e-9 --platform-z up --seed 3 --slip-rate 0.3 --slip-size 3 --obs-out " +
        out("arc.obs") + " --truth-out " + out("truth.csv") + " --events-out " + out("events.csv"));
    const std::string command = "orbit --obs " + out("arc.obs") + " --nav " + kDemo + "bds.nav" + eop +
                                "--sigma-clock 0 --truth " + out("truth.csv");
    const Outcome o = leopod_ok(command + " --edits-out " + out("edits.csv") + " --formal-out " + out("formal.csv") +
                                " --out " + out("fitted.csv") + " --sp3-out " + out("fitted.sp3"));
    const Rms error = rms_of(o.text, "orbit");
    EXPECT_LT(error.total, 0.03) << o.text;
    const double formal[3] = {number(o.text, "formal errors: rms radial ([0-9.]+)"),
                              number(o.text, "formal errors:.*along ([0-9.]+)"),
                              number(o.text, "formal errors:.*cross ([0-9.]+)")};
    const double said = std::sqrt(formal[0] * formal[0] + formal[1] * formal[1] + formal[2] * formal[2]);
    EXPECT_GT(error.total, said / 2) << o.text;
    EXPECT_LT(error.total, said * 2) << o.text;
    EXPECT_EQ(read_csv(out("formal.csv")).size(), 361u);

    // Every slip begins an ambiguity, and nothing else does within a pass.
    std::set<std::pair<std::string, std::string>> found;
    for (const Row& row : read_csv(out("edits.csv"))) {
        if (row.at("observation") == "ambiguity") found.insert({row.at("satellite"), row.at("from_gpst")});
    }
    const auto slips = slips_of(out("events.csv"));
    EXPECT_GE(slips.size(), 5u);
    EXPECT_EQ(found, slips);

    // The orbit that is written, SP3 and CSV, is the one that was compared.
    const Outcome again = leopod_ok("orbit --compare " + out("fitted.csv") + " " + out("orbit.csv"));
    EXPECT_NEAR(rms_of(again.text, "difference").total, error.total, 0.002) << again.text;
    EXPECT_TRUE(holds(read_file(out("fitted.sp3")), "*  2021  1 18  3 10  0.0")) << o.text;

    // Sigmas that are far too small are not believed.
    const Outcome proud = leopod(command + " --no-adapt --sigma-phase 0.0003 --sigma-code 0.03");
    EXPECT_EQ(proud.status, 1) << proud.text;
    const Outcome sparse = leopod(command + " --interval 600 --from 600");
    EXPECT_EQ(sparse.status, 2) << sparse.text;
    EXPECT_TRUE(holds(sparse.text, "epochs")) << sparse.text;

    const std::string obs = "--obs " + out("arc.obs");
    expect_refusals("orbit", {{"", "no observation file"},
                              {obs, "no ephemeris file"},
                              {obs + " --nav " + kDemo + "bds.nav --sp3-antenna " + kDemo + "bds.nav", "--sp3"},
                              {obs + " --nav " + kDemo + "bds.nav --antenna-axes platform", "--att"},
                              {obs + " --nav " + kDemo + "bds.nav --empirical Q0:360", "Q0:360"},
                              {obs + " --nav " + kDemo + "bds.nav --gravity " + out("truth.csv"), "gravity"},
                              {obs + " --nav " + kDemo + "bds.nav --from 86000", "20 epochs"}});
}

}  // namespace
