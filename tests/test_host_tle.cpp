// `leopod tle` run as its users run it: element sets in, states out, in a file or down a pipe.
#include <cstring>

#include "host_support.h"
#include "tle.h"

namespace {

using namespace support;

const std::string kSets = test_file("tle.tle").string();
const std::string kStates = out("states.csv");

class HostTle : public HostTest {};

TEST_F(HostTle, AllObjectsFromTheirEpochs) {
    const Outcome o = leopod_ok("tle --tle " + kSets + " --all --duration 7200 --step 300 --out " + kStates);
    EXPECT_TRUE(holds(o.text, "earth orientation: none: UT1 = UTC, no polar motion")) << o.text;
    EXPECT_EQ(number(o.text, "([0-9]+) with a period above 225 min"), 2);
    EXPECT_EQ(number(o.text, "([0-9]+) with a perigee below 220 km"), 3);
    EXPECT_EQ(number(o.text, "STANDSTILL[^\\n]*\\n +period ([0-9.]+)"), 1436.12);
    const std::vector<Row> states = read_csv(kStates);
    ASSERT_EQ(states.size(), 13u * 25u);
    double complete = 0.0;
    for (const Row& row : states) {
        if (row.at("x_teme_m").empty()) continue;
        ++complete;
        // This one stands still on the earth, and moves in TEME.
        EXPECT_TRUE(row.at("satno") != "90013" || std::fabs(row.value("vx_ecef_mps")) < 10.0);
    }
    EXPECT_LT(complete, 13 * 25);  // the orbit of 90 km comes down
    EXPECT_EQ(number(o.text, "states: ([0-9]+) of 325"), complete) << o.text;
    EXPECT_GT(number(o.text, "([0-9]+) states lie inside the earth"), 0.0);
}

TEST_F(HostTle, ChosenObjectsWithNamesAndEarthOrientation) {
    // A second, later set of an object, whose name holds a comma, and a line with a wrong checksum.
    const std::string later = write_temp("later.tle",
                                         "LATER, STILL\n"
                                         "1 90001U 21900A   21028.50000000  .00001264  00000-0  38792-4 0    10\n"
                                         "2 90001  97.4217  98.1234 0012345 211.5678 148.4321 15.21345678  1011\n"
                                         "1 90006U 21900F   20366.99999999  .00000200  00000-0  30000-3 0    60\n");
    const std::string files = "tle --tle " + kSets + " " + later + " --eop " + test_file("eop_rapid.txt").string() +
                              " --eop-format rapid --duration 600 --out " + kStates + " ";
    const Outcome o = leopod_ok(files + "--names " + test_file("tle_names.txt").string() +
                                " --satno 00095 90001 --name 'made-up*' renamed-polar --start 2021-01-20T06:00:00");
    EXPECT_TRUE(holds(o.text, "leopod tle: 14 element sets, 3 objects chosen")) << o.text;
    EXPECT_EQ(number(o.text, "names .*: ([0-9]+) without an element set"), 1);
    EXPECT_EQ(number(o.text, "([0-9]+) element lines with a wrong checksum"), 1);
    EXPECT_EQ(number(o.text, "90001 MADE-UP A .*age ([-0-9.]+) to"), 1.75);  // the set that is nearest to the start
    const std::vector<Row> states = read_csv(kStates);
    ASSERT_EQ(states.size(), 3u * 11u);

    // The states are those of the library with the earth orientation that the row names.
    tle_t sets{};
    ASSERT_EQ(tle_read(kSets.c_str(), &sets), 1);
    for (const Row& row : states) {
        double rs[6] = {}, ecf[6];
        for (int i = 0; i < sets.n; ++i) {
            if (std::strstr(sets.data[i].satno, row.at("satno").c_str()) != nullptr)
                SGP4_STR3(row.value("minutes"), &sets.data[i], rs);
        }
        teme2ecef(row.value("mjd_utc") + row.value("sod_utc") / 86400.0, 37.0, row.value("ut1_utc_s"),
                  row.value("pm_x_arcsec"), row.value("pm_y_arcsec"), row.value("lod_s"), 0.0, rs, rs + 3, ecf,
                  ecf + 3);
        EXPECT_NEAR(row.value("z_teme_m"), rs[2], 2e-3);
        EXPECT_NEAR(row.value("x_ecef_m"), ecf[0], 0.03);
        EXPECT_NEAR(row.value("vy_ecef_mps"), ecf[4], 1e-4);
        EXPECT_NEAR(row.value("ut1_utc_s"), -0.1758, 2e-4);
    }
    std::free(sets.data);

    // Without a start the newest set of the object; outside the dates of the file no orientation, and the summary says so.
    const Outcome newest = leopod(files + "--satno 90001");
    EXPECT_TRUE(holds(newest.text, "epoch 2021-01-28T12:00:00.000, age 0.00")) << newest.text;
    const Outcome outside = leopod(files + "--satno 90002 --start 2022-03-01T00:00:00");
    EXPECT_EQ(number(outside.text, "([0-9]+) epochs outside the earth orientation"), 11) << outside.text;
    EXPECT_TRUE(holds(outside.text, "1 asked for more than 14 days from the epoch"));
    EXPECT_EQ(read_csv(kStates)[0].at("ut1_utc_s"), "0.0000000");
}

TEST_F(HostTle, PipedResultHoldsNothingElse) {
    const std::string command = "{ " + kProgram + " tle --tle " + kSets + " --satno 90002 --duration 120 --out - 2> ";
    const std::vector<Row> states = parse_csv(capture(command + out("summary") + "; }").text);
    ASSERT_EQ(states.size(), 3u);
    EXPECT_EQ(states[2].value("minutes"), 2.0);
    EXPECT_EQ(read_file(out("summary")).find("leopod tle: 13 element sets, 1 objects chosen"), 0u);
}

TEST_F(HostTle, ASpanIsAStartAndADuration) {
    std::string states[2];
    const char* spans[2] = {"--start 2021-01-18T23:50:00 --duration 1200", "--from 2021-01-18T23:50:00 --to 87001"};
    for (int k = 0; k < 2; ++k) {
        leopod_ok("tle --tle " + kSets + " --satno 90002 " + spans[k] + " --interval 300 --out " + kStates);
        states[k] = read_file(kStates);
    }
    EXPECT_EQ(parse_csv(states[0]).size(), 5u);
    EXPECT_EQ(states[0], states[1]);
}

TEST_F(HostTle, SetsOfDamagedLinesAreSetAside) {
    // An epoch that is no date, and an orbit that leaves no state.
    const std::string bad =
        "1 90001U 21900A   21nan           .00001264  00000-0  38792-4 0    15\n"
        "2 90001  97.4217  88.1234 0012345 211.5678 148.4321 15.21345678  1010\n";
    const std::string gone =
        "1 90009U 21900J   21018.00000000  .20000000  90000-4  99999+9 0    92\n"
        "2 90009  42.0000 222.0000 0700000 190.0000  45.0000 15.20000000  9094\n";
    EXPECT_EQ(leopod("tle --all --tle " + write_temp("bad.tle", bad)).status, 2);
    const Outcome o = leopod("tle --all --start 2021-01-19T00:00:00 --tle " + write_temp("both.tle", bad + gone));
    EXPECT_EQ(o.status, 1) << o.text;
    EXPECT_EQ(number(o.text, "([0-9]+) sets that don't describe an orbit"), 1);
    EXPECT_EQ(number(o.text, "states: ([0-9]+) of 1441"), 0);
}

}  // namespace
