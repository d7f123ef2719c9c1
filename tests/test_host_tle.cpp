// `leopod tle` run as its users run it: element sets in, states out, in a file or down a pipe.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>

#include "host_support.h"
#include "tle.h"

namespace {

using support::leopod;
using support::number;
using support::Outcome;

const std::string kSets = support::test_file("tle.tle").string();
const std::string kNames = support::test_file("tle_names.txt").string();

using Row = std::map<std::string, std::string>;

/// Rows of a CSV by the names of its columns.
std::vector<Row> rows_of(const std::string& text) {
    const auto split = [](const std::string& line) {
        std::vector<std::string> fields;
        std::istringstream in(line);
        for (std::string field; std::getline(in, field, ',');) fields.push_back(field);
        return fields;
    };
    std::vector<Row> rows;
    std::istringstream in(text);
    std::string line;
    std::getline(in, line);
    const std::vector<std::string> names = split(line);
    while (std::getline(in, line)) {
        const std::vector<std::string> fields = split(line);
        EXPECT_EQ(fields.size(), names.size()) << line;
        Row row;
        for (std::size_t i = 0; i < std::min(names.size(), fields.size()); ++i) row[names[i]] = fields[i];
        rows.push_back(row);
    }
    return rows;
}

double value(const Row& row, const std::string& column) { return std::atof(row.at(column).c_str()); }

class HostTle : public testing::Test {
  protected:
    void SetUp() override {
        if (!std::filesystem::exists(support::kProgram)) GTEST_SKIP() << "the host program is not built";
    }
    const std::string out = (support::temp_dir() / "states.csv").string();
    std::vector<Row> rows() const { return rows_of(support::read_file(out)); }
};

TEST_F(HostTle, InputsThatCannotBeUsed) {
    const std::string text = support::write_temp("text.txt", "no elements of any kind\n");
    const std::string all = kSets + " --all ";
    const std::pair<std::string, std::string> cases[] = {{"%absent", "%absent: cannot open"},
                                                         {support::temp_dir().string(), "is a directory"},
                                                         {text, "text.txt: holds no element set"},
                                                         {kSets, "13 objects were read"},
                                                         {kSets + " --satno 95 4711", "--satno 4711"},
                                                         {kSets + " --name POLAR MISSING", "--name MISSING"},
                                                         {all + "--names %absent", "%absent"},
                                                         {all + "--eop %absent", "%absent"},
                                                         {all + "--eop-format c05 --eop " + text, "c05"},
                                                         {all + "--start tomorrow", "--start tomorrow"},
                                                         {all + "--start 2021-13-01T00:00:00", "--start 2021"},
                                                         {all + "--duration -1", "--duration"},
                                                         {all + "--step 0", "--step"},
                                                         {all + "--step 0.001 --duration 1e8", "--step"},
                                                         {all + "--out /nowhere/x.csv", "/nowhere/x.csv"}};
    for (const auto& [arguments, expected] : cases) {
        const Outcome o = leopod("tle --tle " + arguments);
        EXPECT_EQ(o.status, 2) << arguments << "\n" << o.text;
        EXPECT_NE(o.text.find(expected), std::string::npos) << arguments << "\n" << o.text;
        EXPECT_EQ(std::count(o.text.begin(), o.text.end(), '\n'), 1) << o.text;
    }
}

TEST_F(HostTle, AllObjectsFromTheirEpochs) {
    const Outcome o = leopod("tle --tle " + kSets + " --all --duration 7200 --step 300 --out " + out);
    ASSERT_EQ(o.status, 0) << o.text;
    EXPECT_NE(o.text.find("earth orientation: none: UT1 = UTC, no polar motion"), std::string::npos) << o.text;
    EXPECT_EQ(number(o.text, "([0-9]+) with a period above 225 min"), 2);
    EXPECT_EQ(number(o.text, "([0-9]+) with a perigee below 220 km"), 3);
    EXPECT_EQ(number(o.text, "STANDSTILL[^\\n]*\\n +period ([0-9.]+)"), 1436.12);
    EXPECT_NEAR(number(o.text, "STANDSTILL[^\\n]*\\n[^\\n]*perigee ([0-9.]+)"), 42164.8 * 0.9998 - 6378.1, 10.0);
    const std::vector<Row> states = rows();
    ASSERT_EQ(states.size(), 13u * 25u);
    double complete = 0.0;
    for (const Row& row : states) {
        EXPECT_EQ(row.at("x_teme_m").empty(), row.at("vz_ecef_mps").empty());
        if (row.at("x_teme_m").empty()) continue;
        ++complete;
        const auto radius = [&](const std::string& axes) {
            return std::hypot(value(row, "x_" + axes), value(row, "y_" + axes), value(row, "z_" + axes));
        };
        EXPECT_NEAR(radius("teme_m"), radius("ecef_m"), 1e-3);
        if (row.at("satno") != "90013") continue;
        EXPECT_LT(std::fabs(value(row, "vx_ecef_mps")), 10.0);  // it stands still on the earth, and moves in TEME
    }
    EXPECT_LT(complete, 13 * 25);  // the orbit of 90 km comes down
    EXPECT_EQ(number(o.text, "states: ([0-9]+) of 325"), complete) << o.text;
    EXPECT_GT(number(o.text, "([0-9]+) states lie inside the earth"), 0.0);
}

TEST_F(HostTle, ChosenObjectsWithNamesAndEarthOrientation) {
    const auto eop = support::data_path("eop/finals.data.iau2000.txt");
    LEOPOD_REQUIRE_DATA(eop);
    // A second, later set of an object, whose name holds a comma, and a line with a wrong checksum.
    const std::string later =
        support::write_temp("later.tle",
                            "LATER, STILL\n"
                            "1 90001U 21900A   21028.50000000  .00001264  00000-0  38792-4 0    10\n"
                            "2 90001  97.4217  98.1234 0012345 211.5678 148.4321 15.21345678  1011\n"
                            "1 90006U 21900F   20366.99999999  .00000200  00000-0  30000-3 0    60\n");
    const std::string files = "tle --tle " + kSets + " " + later + " --eop " + eop.string() +
                              " --eop-format rapid --duration 600 --out " + out + " ";
    const Outcome o = leopod(files + "--names " + kNames +
                             " --satno 00095 90001 --name 'made-up*' renamed-polar --start 2021-01-21T06:00:00");
    ASSERT_EQ(o.status, 0) << o.text;
    EXPECT_NE(o.text.find("leopod tle: 14 element sets, 3 objects chosen"), std::string::npos) << o.text;
    EXPECT_EQ(number(o.text, "names .*: ([0-9]+) without an element set"), 1);
    EXPECT_EQ(number(o.text, "([0-9]+) element lines with a wrong checksum"), 1);
    EXPECT_EQ(number(o.text, "90001 MADE-UP A .*age ([-0-9.]+) to"), 2.75);  // the set that is nearest to the start
    const std::vector<Row> states = rows();
    ASSERT_EQ(states.size(), 3u * 11u);

    // The states are those of the library with the earth orientation that the row names.
    tle_t sets{};
    ASSERT_EQ(tle_read(kSets.c_str(), &sets), 1);
    for (const Row& row : states) {
        double rs[6] = {}, ecf[6];
        for (int i = 0; i < sets.n; ++i) {
            if (std::strstr(sets.data[i].satno, row.at("satno").c_str()) != nullptr)
                SGP4_STR3(value(row, "minutes"), &sets.data[i], rs);
        }
        teme2ecef(value(row, "mjd_utc") + value(row, "sod_utc") / 86400.0, 37.0, value(row, "ut1_utc_s"),
                  value(row, "pm_x_arcsec"), value(row, "pm_y_arcsec"), value(row, "lod_s"), 0.0, rs, rs + 3, ecf,
                  ecf + 3);
        EXPECT_NEAR(value(row, "z_teme_m"), rs[2], 2e-3);
        EXPECT_NEAR(value(row, "x_ecef_m"), ecf[0], 0.03);
        EXPECT_NEAR(value(row, "vy_ecef_mps"), ecf[4], 1e-4);
        EXPECT_NEAR(value(row, "pm_y_arcsec"), 0.32, 0.01);
        EXPECT_NEAR(value(row, "ut1_utc_s"), -0.171, 0.002);
    }
    std::free(sets.data);

    // Without a start the newest set of the object; outside the dates of the file no orientation, and the summary says so.
    const Outcome newest = leopod(files + "--satno 90001");
    EXPECT_NE(newest.text.find("epoch 2021-01-28T12:00:00.000, age 0.00"), std::string::npos) << newest.text;
    EXPECT_NE(support::read_file(out).find(",\"LATER, STILL\"\n"), std::string::npos);
    const Outcome outside = leopod(files + "--satno 90002 --start 2022-03-01T00:00:00");
    EXPECT_EQ(number(outside.text, "([0-9]+) epochs outside the earth orientation"), 11) << outside.text;
    EXPECT_NE(outside.text.find("1 asked for more than 14 days from the epoch"), std::string::npos);
    EXPECT_EQ(rows()[0].at("ut1_utc_s"), "0.0000000");
}

TEST_F(HostTle, PipedResultHoldsNothingElse) {
    const auto run = [&](const std::string& redirection) {
        const std::string seen = (support::temp_dir() / "seen.txt").string();
        const std::string command =
            support::kProgram + " tle --tle " + kSets + " --satno 90002 --duration 120 --out - ";
        EXPECT_EQ(std::system((command + redirection + " '" + seen + "'").c_str()), 0);
        return support::read_file(seen);
    };
    const std::vector<Row> states = rows_of(run("2> /dev/null >"));
    ASSERT_EQ(states.size(), 3u);
    EXPECT_EQ(states[2].at("name"), "MADE-UP B");
    EXPECT_EQ(value(states[2], "minutes"), 2.0);
    const std::string summary = run("> /dev/null 2>");
    EXPECT_EQ(summary.find("leopod tle: 13 element sets, 1 objects chosen"), 0u) << summary;
    EXPECT_EQ(summary.find("epoch_utc"), std::string::npos);
}

TEST_F(HostTle, SetsOfDamagedLinesAreSetAside) {
    // An epoch that is no date, and an orbit that leaves no state.
    std::string bad = "1 90001U 21900A   21nan           .00001264  00000-0  38792-4 0    1_";
    std::string gone = "1 90009U 21900J   21018.00000000  .20000000  90000-4  99999+9 0    9_";
    for (std::string* line : {&bad, &gone}) {
        for ((*line)[68] = '0'; checksum(line->c_str()) == 0; ++(*line)[68]) {
        }
    }
    bad += "\n2 90001  97.4217  88.1234 0012345 211.5678 148.4321 15.21345678  1010\n";
    gone += "\n2 90009  42.0000 222.0000 0700000 190.0000  45.0000 15.20000000  9094\n";
    EXPECT_EQ(leopod("tle --all --tle " + support::write_temp("bad.tle", bad)).status, 2);
    const Outcome o =
        leopod("tle --all --start 2021-01-19T00:00:00 --tle " + support::write_temp("both.tle", bad + gone));
    EXPECT_EQ(o.status, 1) << o.text;
    EXPECT_EQ(number(o.text, "([0-9]+) sets that stand for no orbit"), 1);
    EXPECT_EQ(number(o.text, "states: ([0-9]+) of 1441"), 0);
}

}  // namespace
