// `leopod simulate`: what it makes is processed by `leopod run`, whose models it doesn't share, and compared with arcs made elsewhere.
#include <array>
#include <set>

#include "attitude.h"
#include "earth_rotation_param.h"
#include "gnss_config.h"
#include "gtime.h"
#include "host_support.h"

namespace {

using namespace support;

constexpr double kLight = 299792458.0;
const double kLambda[2] = {kLight / 1575.42e6, kLight / 1176.45e6};

std::string sim(const std::string& name) { return data_path("leo_sim/" + name).string(); }

/// Values of an observation file by second of day and satellite: code and phase of the first band, of the second.
using Observations = std::map<std::pair<double, std::string>, std::vector<double>>;

Observations read_observations(const std::string& file) {
    Observations values;
    std::stringstream in(read_file(file));
    std::string line;
    while (std::getline(in, line) && !holds(line, "END OF HEADER")) continue;
    double sod = 0;
    while (std::getline(in, line)) {
        if (line[0] == '>') {
            sod = 3600.0 * std::stod(line.substr(13, 2)) + 60.0 * std::stod(line.substr(16, 2)) +
                  std::stod(line.substr(18, 11));
            continue;
        }
        for (std::size_t k = 3; k + 14 <= line.size(); k += 16)
            values[{sod, line.substr(0, 3)}].push_back(std::stod(line.substr(k, 14)));
    }
    return values;
}

class Simulate : public HostTest {
  protected:
    static void SetUpTestSuite() {
        if (!std::filesystem::exists(kProgram)) return;
        propagate("2021-01-17T23:50:00", 4800, eop() + "--out " + out("orbit.csv") + " --sp3-out " + out("orbit.sp3"));
    }
    static void propagate(const std::string& epoch, int duration, const std::string& options) {
        leopod_ok("propagate --epoch " + epoch + " --frame eci --state 6890000 0 0 0 -980 7543 --duration " +
                  std::to_string(duration) + " --dynamics " + kExamples + "demo_orbit.cfg " + options);
    }
    /// Simulates an hour, or another time in the options, into NAME.obs, .att, .csv and .ev.
    static Outcome simulate(const std::string& name, const std::string& options) {
        const std::string duration = holds(options, "--duration") || holds(options, "--to ") ? "" : "--duration 3600 ";
        return leopod_ok("simulate " + duration + "--obs-out " + out(name + ".obs") + " --att-out " +
                         out(name + ".att") + " --truth-out " + out(name + ".csv") + " --events-out " +
                         out(name + ".ev") + " " + options);
    }
    static Observations observations(const std::string& name, const std::string& options) {
        simulate(name, options);
        return read_observations(out(name + ".obs"));
    }
    /// Processes the files of that name.
    static Outcome process(const std::string& name, const std::string& options) {
        return leopod_ok("run --obs " + out(name + ".obs") + " --att " + out(name + ".att") + " --truth " +
                         out(name + ".csv") + " --out " + out(name + ".out") + " " + options);
    }
    /// Options of an hour of the demo's orbit, z up as for an antenna without a type, in place of the usual ones where given.
    static std::string quiet(const std::string& clock = "--clock-drift 1e-8", const std::string& z = "--platform-z up",
                             const std::string& noise = "--code-noise 0 --phase-noise 0",
                             const std::string& orbit = "orbit.csv") {
        return "--start 2021-01-18T00:00:00 --clock-offset 3e-5 " + clock + " " + z + " " + noise + " --orbit " +
               out(orbit) + " ";
    }
    static std::string nav() { return "--nav " + kDemo + "bds.nav "; }
    static std::string eop() { return "--eop " + kDemo + "eop.txt --eop-format rapid "; }

    static void expect_filter(const Outcome& o, double rms, double largest) {
        const std::string name = "filter after 20 epochs +epochs .*";
        EXPECT_LT(number(o.text, name + "rms ([0-9.]+)"), rms) << o.text;
        EXPECT_LT(number(o.text, name + "largest ([0-9.]+)"), largest) << o.text;
    }
    /// The point position of noise-free ranges lies low by the night value of its ionosphere, and nowhere else.
    static void expect_point(const Outcome& o, double radial) {
        const std::string axes = "point position[^\\n]*\\n +radial ";
        EXPECT_NEAR(number(o.text, axes + "([-+0-9.]+)"), radial, 0.01) << o.text;
        EXPECT_NEAR(number(o.text, axes + ".* along ([-+0-9.]+)"), 0.0, 0.03) << o.text;
        EXPECT_NEAR(number(o.text, axes + ".* cross ([-+0-9.]+)"), 0.0, 0.03) << o.text;
    }
};

TEST_F(Simulate, BeidouByBroadcastComesBackToTheMillimetre) {
    simulate("bds", quiet() + nav());
    const Outcome still = process("bds", nav() + eop());
    expect_filter(still, 0.002, 0.004);
    expect_point(still, -1.54);
    // Neither the ionosphere nor a clock that walks and jumps reaches the filter.
    const Outcome made = simulate(
        "bds", quiet("--tec 20 --shell-height 1200 --clock-drift 1e-6 --clock-walk 2e-8 --clock-jumps") + nav());
    EXPECT_GE(number(made.text, "([0-9]+) clock jumps"), 3) << made.text;
    const Outcome moving = process("bds", nav() + eop());
    expect_filter(moving, 0.002, 0.004);
    EXPECT_EQ(number(moving.text, "Melbourne-Wuebbena ([0-9]+)"), number(still.text, "Melbourne-Wuebbena ([0-9]+)"));
}

TEST_F(Simulate, PreciseSimulatedIsBroadcastProcessed) {
    LEOPOD_REQUIRE_DATA(data_path("leo_sim/dev19.sp3"));
    // Two descriptions of one constellation, made elsewhere: one serves the simulation, the other one the processing.
    const std::string nav = "--nav " + sim("dev19.nav"),
                      sp3 = "--sp3 " + sim("dev19.sp3") + " --clk " + sim("dev19.clk");
    for (const auto& [here, there] : {std::pair{nav, sp3}, {sp3, nav}}) {
        simulate("mixed",
                 "--start 2019-01-16T00:00:00 --interval 10 --code-noise 0 --phase-noise 0 --clock-offset -3e-5 "
                 "--platform-z up --orbit " +
                     sim("dev19_truth_gcrs.csv") + " " + here);
        expect_filter(process("mixed", there + " --eop " + data_path("eop/eopc04_IAU2000.62-now").string()), 0.004,
                      0.008);
    }
}

TEST_F(Simulate, ObservationsAgreeWithArcsMadeElsewhere) {
    // Those arcs have a receiver clock of their own. Observations are straight lines in the clock over some 50 microseconds, so that two
    // constant ones give those of any third.
    const std::pair<const char*, const char*> cases[] = {{"both.obs", "--no-wind-up --no-group-delays"},
                                                         {"gps.obs", "--systems G --no-wind-up"}};
    std::map<double, double> clock;
    for (const Row& row : read_csv(arc21("truth_epochs.csv")))
        clock[row.value("sod_tag")] = row.value("rcv_clk_m") / kLight;
    const double clocks[2] = {30e-6, 75e-6};
    for (const auto& [file, options] : cases) {
        Observations made[2];
        for (int k = 0; k < 2; ++k) {
            made[k] = observations("c", "--start 2021-01-18T00:00:00 --code-noise 0 --phase-noise 0 --orbit " +
                                            arc21("truth_gcrs.csv") + " --nav " + arc21("arc.nav") +
                                            " --clock-offset " + std::to_string(clocks[k]) + " " + options);
        }
        int compared[2] = {};  // codes and phases
        std::map<std::tuple<double, std::string, std::size_t>, double> differences;
        for (const auto& [key, theirs] : read_observations(arc21(file))) {
            // Where two satellites are equally high the choice of fifteen may differ.
            if (made[0].count(key) == 0 || made[1].count(key) == 0) continue;
            const double part = (clock[key.first] - clocks[0]) / (clocks[1] - clocks[0]);
            for (std::size_t j = 0; j < 4; ++j) {
                const double ours = made[0].at(key)[j] + part * (made[1].at(key)[j] - made[0].at(key)[j]);
                const double difference = ours - theirs[j];
                // Of a phase, the ambiguities differ; what remains between two epochs is their rounding.
                const auto before = differences.find({key.first - 30.0, key.second, j});
                differences[{key.first, key.second, j}] = difference;
                if (j % 2 == 1 && before == differences.end()) continue;
                EXPECT_NEAR(difference, j % 2 == 1 ? before->second : 0.0, j % 2 == 1 ? 0.004 : 0.0016)
                    << file << " " << key.second << " " << key.first;
                ++compared[j % 2];
            }
        }
        EXPECT_TRUE(compared[0] > 700 && compared[1] > 650) << file << compared[0] << ' ' << compared[1];
    }
}

TEST_F(Simulate, SlipsAreDetectedWhereTheyWerePutIn) {
    simulate("slips", quiet() + nav() +
                          "--seed 7 --slip-rate 2 --slip-size 30 --slip C23,1500,L1,1 --slip "
                          "C10,2021-01-18T00:40:00,L5,-1 --slip C06,2400,L1,1 --slip C06,2400,L5,1");
    process("slips", nav() + eop());
    // Half the jump of either combination against its threshold; all satellites and bands alike.
    std::map<std::pair<double, std::string>, std::array<double, 2>> cycles;
    std::set<std::string> seen;
    std::set<std::pair<double, std::string>> expected, marked;
    for (const Row& e : read_csv(out("slips.ev"))) {
        const std::pair<double, std::string> place{e.value("sod_gpst"), e.at("satellite")};
        if (e.at("event") == "slip") cycles[place][e.at("band") == "L1" ? 0 : 1] += e.value("cycles");
        // A satellite that comes back has new ambiguities.
        if (e.at("event") == "pass" && e.at("band") == "L1" && !seen.insert(place.second).second)
            expected.insert(place);
    }
    std::size_t hidden = 0;
    for (const auto& [key, n] : cycles) {
        const double mw = std::fabs(n[0] - n[1]) / 2.0;
        const double gf = std::fabs(n[0] * kLambda[0] - n[1] * kLambda[1]) / 2.0;
        mw > 0.3 || gf > 0.05 ? static_cast<void>(expected.insert(key)) : static_cast<void>(++hidden);
    }
    for (const Row& row : read_csv(out("slips.out"))) {
        std::stringstream marks(row.at("slips"));
        for (std::string mark; marks >> mark;) marked.insert({row.value("sod_gpst"), mark.substr(0, 3)});
    }
    EXPECT_EQ(marked, expected);
    EXPECT_GT(expected.size(), 12u);
    EXPECT_EQ(hidden, 1u);  // one cycle on both bands is below both thresholds
}

TEST_F(Simulate, NoiseIsNormalAndOfTheSizeAskedFor) {
    const Observations none = observations("none", quiet() + nav());
    const std::string whole = quiet(),
                      span = "--from 86400 --to 2021-01-18T01:00:01" + whole.substr(whole.find(" --clock"));
    EXPECT_EQ(observations("span", span + nav()), none);
    const Observations noise = observations(
        "noise", quiet("", "", "--code-noise 0.5 --phase-noise 0.004 --seed 3 --clock-drift 1e-8") + nav());
    ASSERT_EQ(none.size(), noise.size());
    // Errors in standard deviations. Ambiguities differ with the seed: what counts are the steps from epoch to epoch.
    std::map<std::string, std::array<double, 4>> last;
    std::array<double, 4> neighbour{};  // steps of another satellite
    double sum[4] = {}, products[4][5] = {}, beyond[4] = {}, n = 0;
    for (const auto& [key, values] : noise) {
        if (key.second == "C29") continue;  // two passes
        std::array<double, 4> error{}, step{};
        for (std::size_t j = 0; j < 4; ++j)
            error[j] = (values[j] - none.at(key)[j]) * (j % 2 == 1 ? kLambda[j / 2] / 0.004 : 1.0 / 0.5);
        const auto [before, first] = last.insert({key.second, error});
        for (std::size_t j = 0; j < 4; ++j) step[j] = (error[j] - before->second[j]) / std::sqrt(2.0);
        before->second = error;
        if (first) continue;
        for (std::size_t j = 0; j < 4; ++j) {
            for (std::size_t k = 0; k < 4; ++k) products[j][k] += step[j] * step[k];
            products[j][4] += step[j] * neighbour[j];
            beyond[j] += std::fabs(step[j]) > 2.0;
            sum[j] += j % 2 == 0 ? error[j] : 0.0;
        }
        neighbour = step;
        ++n;
    }
    for (std::size_t j = 0; j < 4; ++j) {
        EXPECT_NEAR(std::sqrt(products[j][j] / n), 1.0, 0.08) << j;
        EXPECT_NEAR(sum[j] / n, 0.0, 0.15) << j;
        EXPECT_NEAR(beyond[j] / n, 0.0455, 0.025) << j;  // of a normal distribution
        // Nothing in one observable tells about another one, or one satellite about the next.
        for (std::size_t k = j + 1; k < 5; ++k) EXPECT_NEAR(products[j][k] / n, 0.0, 0.15) << j << k;
    }
}

TEST_F(Simulate, WhatIsPutInIsWhatWasAskedFor) {
    const Observations none = observations("none", quiet() + nav());
    // An orbit from an SP3 file, rounded to a millimetre there, is the same orbit.
    for (const auto& [key, values] :
         observations("sp3", quiet("--clock-drift 1e-8", "", "--code-noise 0", "orbit.sp3") + nav()))
        EXPECT_NEAR(values[0], none.at(key)[0], 0.004) << key.second << " " << key.first;
    // An ionosphere delays codes and advances phases, with the square of the wavelength, and changes nothing else.
    double least = 1e9;
    for (const auto& [key, values] : observations("iono", quiet() + nav() + "--tec 10")) {
        const double delay = values[0] - none.at(key)[0];
        least = std::min(least, delay);
        EXPECT_NEAR((values[2] - none.at(key)[2]) / delay, std::pow(1575.42 / 1176.45, 2), 0.002);
        EXPECT_NEAR((values[1] - none.at(key)[1]) * kLambda[0], -delay, 0.0016);
        EXPECT_NEAR((values[3] - none.at(key)[3]) * kLambda[1], -(values[2] - none.at(key)[2]), 0.0016);
    }
    EXPECT_NEAR(least, 40.3e17 / 1575.42e6 / 1575.42e6, 0.05);  // near the zenith
    // Ambiguities are whole cycles: wind-up apart, phase minus code in cycles is one, to the rounding of the code.
    for (const auto& [key, values] : observations("plain", quiet() + nav() + "--no-wind-up")) {
        for (std::size_t b = 0; b < 2; ++b) {
            const double cycles = values[2 * b + 1] - values[2 * b] / kLambda[b];
            EXPECT_NEAR(cycles, std::round(cycles), 0.006) << key.second << " " << key.first;
        }
    }
    // Fewer channels keep the highest satellites: where five or fewer are above a mask, all of them.
    std::map<double, std::set<std::string>> few, high;
    for (const auto& [key, values] : observations("few", quiet() + nav() + "--channels 5"))
        few[key.first].insert(key.second);
    for (const auto& [key, values] : observations("high", quiet() + nav() + "--mask 40"))
        high[key.first].insert(key.second);
    EXPECT_EQ(few.size(), 121u);
    for (const auto& [sod, chosen] : few) {
        EXPECT_EQ(chosen.size(), 5u);
        EXPECT_TRUE(high[sod].size() > 5 ||
                    std::includes(chosen.begin(), chosen.end(), high[sod].begin(), high[sod].end()))
            << sod;
    }
}

TEST_F(Simulate, AttitudePointsWhereItWasAskedTo) {
    for (const std::string side : {"down", "up"}) {
        simulate("att", quiet("", "--yaw 30 --platform-z " + side) + nav());
        initialize_global_earth_rotation_param();
        ASSERT_TRUE(load_attitude_quaternion(0, out("att.att").data()));
        for (const Row& row : read_csv(out("att.csv"))) {
            double state[6] = {row.value("x_rx"),  row.value("y_rx"),  row.value("z_rx"),
                               row.value("vx_rx"), row.value("vy_rx"), row.value("vz_rx")};
            const GTime time = gtimeAddSec({{std::stol(row.at("mjd_gpst")), 0.0}, tsGPST}, row.value("sod_tag"));
            ATT_QUATERNION q{};
            ASSERT_TRUE(get_att_quaternion(0, time, &q));
            double matrix[9], r[3], v[3];
            quaternion2rotation(q.qua, matrix);
            const double mjd = gtime2mjd(gtimeChangeTimeSystem(time, tsUTC));
            ecf2eci(mjd, getLeapSecond(mjd), state, state + 3, r, v);
            // cosine between an axis of the platform and a vector
            const auto along = [&matrix](int axis, const double* u) {
                return (matrix[axis] * u[0] + matrix[axis + 3] * u[1] + matrix[axis + 6] * u[2]) /
                       std::hypot(u[0], u[1], u[2]);
            };
            EXPECT_NEAR(along(2, r), side == "down" ? -1.0 : 1.0, 1e-8);
            EXPECT_NEAR(along(0, v), std::cos(M_PI / 6.0), 1e-4);
            EXPECT_NEAR(along(1, v), -std::sin(M_PI / 6.0), 1e-4);
        }
        free_att_quaternion_store();
    }
}

TEST_F(Simulate, AHostStreamsALongArcInLittleMemoryAndPastTheProductsEnd) {
    if (std::string(LEOPOD_SANITIZE) != "") GTEST_SKIP() << "an instrumented host needs room of its own";
    const std::string hosts = LEOPOD_BINARY_DIR "/examples/", sp3 = excerpt("cod15942_excerpt.sp3");
    const std::string eop = "--eop " + excerpt("finals_2010_07.txt") + " ";
    propagate("2010-07-27T01:30:00", 10000, eop + "--out " + out("long_orbit.csv"));
    simulate("long", "--platform-z up --interval 1 --duration 9900 --orbit " + out("long_orbit.csv") + " --sp3 " + sp3);
    // Without the records from 05:00 on the last one with five behind it stands at 03:30: what follows is set aside, not solved with zeros.
    const std::string all = read_file(sp3);
    const std::string files =
        out("long.obs") + " " + write_temp("short.sp3", all.substr(0, all.find("*  2010  7 27  5")));
    const Outcome whole = capture(hosts + "ground_host " + files);
    const std::string limit = "ulimit -v 240000; ";  // kB: the record, and observations of an hour
    const Outcome streamed = capture(limit + hosts + "stream_host " + files);
    EXPECT_EQ(std::count(whole.text.begin(), whole.text.end(), '\n'), 1 + 7201);
    EXPECT_EQ(streamed.status, 0);
    EXPECT_TRUE(streamed.text == whole.text);
    EXPECT_NE(capture(limit + hosts + "ground_host " + files).status, 0) << "the limit is none";
    EXPECT_EQ(capture(hosts + "stream_host " + sp3 + " " + sp3).status, 2);
    // Long intervals took the neighbours of each multiple as well.
    const Outcome thinned = leopod("run --interval 300 --sp3 " + sp3 + " --obs " + out("long.obs"));
    EXPECT_TRUE(holds(thinned.text, "\nepochs: 34, ")) << thinned.text;
}

TEST_F(Simulate, TheDemoIsWhatItsCommandMakes) {
    const Outcome made =
        capture(LEOPOD_SOURCE_DIR "/scripts/generate/demo_data " + kProgram + " " + temp_dir().string());
    ASSERT_EQ(made.status, 0) << made.text;
    const auto words = [](const std::string& text) {
        const std::regex separator("[ ,\n]");
        return std::vector<std::string>(std::sregex_token_iterator(text.begin(), text.end(), separator, -1), {});
    };
    for (const std::string name : {"bds.obs", "att_zdown.txt", "truth.csv", "events.csv"}) {
        const auto now = words(read_file(out("demo_" + name))), kept = words(read_file(kDemo + name));
        ASSERT_EQ(now.size(), kept.size()) << name;
        // The mathematics library rounds a sine otherwise on another processor: a last digit may differ here and there.
        std::size_t different = 0;
        for (std::size_t i = 0; i < now.size(); ++i) {
            if (now[i] == kept[i]) continue;
            ++different;
            const double decimals = static_cast<double>(now[i].size() - now[i].find('.') - 1);
            EXPECT_NEAR(std::stod(now[i]), std::stod(kept[i]), 1.5 * std::pow(10.0, -decimals)) << name;
        }
        EXPECT_LT(different, now.size() / 20) << name;
    }
}

}  // namespace
