// `leopod tle` run as its users run it: element sets in, states out, in a file or down a pipe.
#include <cstring>
#include <map>

#include "earth_rotation_param.h"
#include "host_support.h"
#include "tle.h"

namespace {

using support::leopod;
using support::number;
using support::Outcome;

const std::string kSets = support::test_file("made_up.tle").string();
const std::string kNames = support::test_file("made_up_names.txt").string();

using Row = std::map<std::string, std::string>;

/// Rows of a CSV by the names of its columns; a quoted name may hold commas.
std::vector<Row> read_rows(std::istream& in) {
    std::vector<Row> rows;
    std::vector<std::string> names;
    for (std::string line; std::getline(in, line);) {
        std::vector<std::string> fields(1);
        bool quoted = false;
        for (const char c : line) {
            if (c == '"') quoted = !quoted;
            if (c == ',' && !quoted) {
                fields.emplace_back();
            } else {
                fields.back() += c;
            }
        }
        if (names.empty()) {
            names = fields;
            continue;
        }
        Row row;
        EXPECT_EQ(fields.size(), names.size()) << line;
        for (std::size_t i = 0; i < names.size() && i < fields.size(); ++i) row[names[i]] = fields[i];
        rows.push_back(row);
    }
    return rows;
}

std::vector<Row> read_file(const std::string& name) {
    std::ifstream in(name);
    return read_rows(in);
}

double value(const Row& row, const std::string& column) { return std::atof(row.at(column).c_str()); }

class HostTle : public testing::Test {
  protected:
    void SetUp() override {
        if (!std::filesystem::exists(support::kProgram)) GTEST_SKIP() << "the host program is not built";
    }
    static std::string out(const std::string& name) { return (support::temp_dir() / name).string(); }
};

TEST_F(HostTle, InputsThatCannotBeUsed) {
    const std::string text = support::write_temp("text.txt", "no elements of any kind\n");
    const std::pair<std::string, std::string> cases[] = {
        {"--tle %absent", "%absent"},
        {"--tle " + support::temp_dir().string(), "is a directory"},
        {"--tle " + text, "text.txt: holds no element set"},
        {"--tle " + kSets, "13 objects were read"},
        {"--tle " + kSets + " --satno 95 4711", "--satno 4711"},
        {"--tle " + kSets + " --name POLAR MISSING", "--name MISSING"},
        {"--tle " + kSets + " --all --names %absent", "%absent"},
        {"--tle " + kSets + " --all --eop %absent", "%absent"},
        {"--tle " + kSets + " --all --eop-format c05 --eop " + text, "c05"},
        {"--tle " + kSets + " --all --start tomorrow", "--start tomorrow"},
        {"--tle " + kSets + " --all --start 2021-13-01T00:00:00", "--start 2021"},
        {"--tle " + kSets + " --all --duration -1", "--duration"},
        {"--tle " + kSets + " --all --step 0", "--step"},
        {"--tle " + kSets + " --all --step 0.001 --duration 1e8", "--step"},
        {"--tle " + kSets + " --all --out /nowhere/x.csv", "/nowhere/x.csv"}};
    for (const auto& [arguments, expected] : cases) {
        const Outcome o = leopod("tle " + arguments);
        EXPECT_EQ(o.status, 2) << arguments << "\n" << o.text;
        EXPECT_NE(o.text.find(expected), std::string::npos) << arguments << "\n" << o.text;
        EXPECT_EQ(std::count(o.text.begin(), o.text.end(), '\n'), 1) << o.text;
    }
    EXPECT_EQ(leopod("tle").status, 2);
}

TEST_F(HostTle, AllObjectsFromTheirEpochs) {
    const Outcome o = leopod("tle --tle " + kSets + " --all --duration 7200 --step 300 --out " + out("all.csv"));
    ASSERT_EQ(o.status, 0) << o.text;
    EXPECT_NE(o.text.find("earth orientation: none: UT1 = UTC, no polar motion"), std::string::npos) << o.text;
    EXPECT_EQ(number(o.text, "([0-9]+) with a period above 225 min"), 2);
    EXPECT_EQ(number(o.text, "([0-9]+) with a perigee below 220 km"), 3);
    EXPECT_EQ(number(o.text, "STANDSTILL[^\\n]*\\n +period ([0-9.]+)"), 1436.12);
    EXPECT_NEAR(number(o.text, "STANDSTILL[^\\n]*\\n[^\\n]*perigee ([0-9.]+)"), 42164.8 * 0.9998 - 6378.1, 10.0);
    EXPECT_EQ(number(o.text, "states: [0-9]+ of ([0-9]+)"), 13 * 25);
    const std::vector<Row> rows = read_file(out("all.csv"));
    ASSERT_EQ(rows.size(), 13u * 25u);
    EXPECT_EQ(rows[0].at("epoch_utc"), "2021-01-18T00:00:00.000000");
    long empty = 0;
    for (const Row& row : rows) {
        if (row.at("x_teme_m").empty()) {
            ++empty;
            EXPECT_TRUE(row.at("x_ecef_m").empty() && row.at("vz_ecef_mps").empty());
            continue;
        }
        // The same distance in both frames; the velocities differ by the rotation of the earth.
        double teme = 0.0, ecf = 0.0;
        for (const char* axis : {"x_", "y_", "z_"}) {
            teme = std::hypot(teme, value(row, axis + std::string("teme_m")));
            ecf = std::hypot(ecf, value(row, axis + std::string("ecef_m")));
        }
        EXPECT_NEAR(teme, ecf, 1e-3);
        EXPECT_TRUE(row.at("satno") != "90013" || std::fabs(value(row, "vx_ecef_mps")) < 10.0);  // stands still
    }
    EXPECT_EQ(static_cast<double>(13 * 25 - empty), number(o.text, "states: ([0-9]+) of"));
    EXPECT_GT(empty, 0);  // the orbit of 90 km
    EXPECT_GT(number(o.text, "([0-9]+) states lie inside the earth"), 0.0);
}

TEST_F(HostTle, ChosenObjectsWithNamesAndEarthOrientation) {
    const auto eop = support::data_path("eop/finals.data.iau2000.txt");
    LEOPOD_REQUIRE_DATA(eop);
    // A second, later set of an object, whose name holds a comma; the set that is nearest to the start is taken. The name list
    // renames the first set of the object in the order of the names, which is the later one.
    const std::string later =
        support::write_temp("later.tle",
                            "LATER, STILL\n"
                            "1 90001U 21900A   21028.50000000  .00001264  00000-0  38792-4 0    10\n"
                            "2 90001  97.4217  98.1234 0012345 211.5678 148.4321 15.21345678  1011\n"
                            "1 90006U 21900F   20366.99999999  .00000200  00000-0  30000-3 0    60\n");
    const std::string files = "tle --tle " + kSets + " " + later + " --eop " + eop.string() +
                              " --eop-format rapid --duration 600 --out " + out("chosen.csv");
    const Outcome o = leopod(files + " --names " + kNames +
                             " --satno 00095 90001 --name 'made-up*' 'renamed-polar' --start 2021-01-21T06:00:00");
    ASSERT_EQ(o.status, 0) << o.text;
    EXPECT_NE(o.text.find("leopod tle: 14 element sets, 3 objects chosen"), std::string::npos) << o.text;
    EXPECT_EQ(number(o.text, "names .*: ([0-9]+) without an element set"), 1);
    EXPECT_EQ(number(o.text, "([0-9]+) element lines with a wrong checksum"), 1);
    EXPECT_EQ(number(o.text, "90001 MADE-UP A .*age ([-0-9.]+) to"), 2.75);
    const std::vector<Row> rows = read_file(out("chosen.csv"));
    ASSERT_EQ(rows.size(), 3u * 11u);

    // The states are those of the library with the earth orientation that the row names.
    tle_t sets{};
    ASSERT_EQ(tle_read(kSets.c_str(), &sets), 1);
    for (const Row& row : rows) {
        double rs[6] = {}, ecf[6];
        for (int i = 0; i < sets.n; ++i) {
            if (std::strstr(sets.data[i].satno, row.at("satno").c_str()) != nullptr)
                SGP4_STR3(value(row, "minutes"), &sets.data[i], rs);
        }
        const double mjd = value(row, "mjd_utc") + value(row, "sod_utc") / 86400.0;
        teme2ecef(mjd, 37.0, value(row, "ut1_utc_s"), value(row, "pm_x_arcsec"), value(row, "pm_y_arcsec"),
                  value(row, "lod_s"), 0.0, rs, rs + 3, ecf, ecf + 3);
        EXPECT_NEAR(value(row, "z_teme_m"), rs[2], 2e-3);
        EXPECT_NEAR(value(row, "x_ecef_m"), ecf[0], 0.03);
        EXPECT_NEAR(value(row, "vy_ecef_mps"), ecf[4], 1e-4);
        EXPECT_NEAR(value(row, "pm_y_arcsec"), 0.32, 0.01);
        EXPECT_NEAR(value(row, "ut1_utc_s"), -0.171, 0.002);
    }
    std::free(sets.data);

    // Without a start the newest set of the object; outside the dates of the file no orientation, and the summary says so.
    const Outcome newest = leopod(files + " --satno 90001");
    EXPECT_NE(newest.text.find("epoch 2021-01-28T12:00:00.000, age 0.00"), std::string::npos) << newest.text;
    EXPECT_NE(support::read_file(out("chosen.csv")).find(",\"LATER, STILL\"\n"), std::string::npos);
    const Outcome outside = leopod(files + " --satno 90001 --start 2022-03-01T00:00:00");
    EXPECT_EQ(number(outside.text, "([0-9]+) epochs outside the earth orientation"), 11) << outside.text;
    EXPECT_NE(outside.text.find("1 asked for more than 14 days from the epoch"), std::string::npos);
    EXPECT_EQ(read_file(out("chosen.csv"))[0].at("ut1_utc_s"), "0.0000000");
}

TEST_F(HostTle, PipedResultHoldsNothingElse) {
    const std::string arguments = " tle --tle " + kSets + " --satno 90002 --duration 120 --out - ";
    const auto run = [&](const std::string& redirection) {
        std::string text;
        FILE* pipe = popen((support::kProgram + arguments + redirection).c_str(), "r");
        for (int c = std::getc(pipe); c != EOF; c = std::getc(pipe)) text += static_cast<char>(c);
        EXPECT_EQ(pclose(pipe), 0);
        return text;
    };
    std::istringstream result(run("2> /dev/null"));
    const std::vector<Row> rows = read_rows(result);
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[2].at("name"), "MADE-UP B");
    EXPECT_EQ(value(rows[2], "minutes"), 2.0);
    const std::string summary = run("2>&1 > /dev/null");
    EXPECT_EQ(summary.find("leopod tle: 13 element sets, 1 objects chosen"), 0u) << summary;
    EXPECT_EQ(summary.find("epoch_utc"), std::string::npos);
}

TEST_F(HostTle, SetsOfDamagedLinesAreSetAside) {
    // An epoch that is no date, and an orbit that leaves no state.
    tled_t d{};
    std::string bad = "1 90001U 21900A   21nan           .00001264  00000-0  38792-4 0    19";
    std::string gone = "1 90009U 21900J   21018.00000000  .20000000  90000-4  99999+9 0    93";
    for (std::string* line : {&bad, &gone}) {
        for ((*line)[68] = '0'; checksum(line->c_str()) == 0; ++(*line)[68]) {
        }
        decode_line1(line->c_str(), &d);
    }
    const std::string first = "\n2 90001  97.4217  88.1234 0012345 211.5678 148.4321 15.21345678  1010\n";
    const std::string second = "\n2 90009  42.0000 222.0000 0700000 190.0000  45.0000 15.20000000  9094\n";
    const Outcome nothing = leopod("tle --all --tle " + support::write_temp("bad.tle", bad + first));
    EXPECT_EQ(nothing.status, 2) << nothing.text;
    const Outcome o = leopod("tle --all --start 2021-01-19T00:00:00 --tle " +
                             support::write_temp("both.tle", bad + first + gone + second));
    EXPECT_EQ(o.status, 1) << o.text;
    EXPECT_EQ(number(o.text, "([0-9]+) sets that stand for no orbit"), 1);
    EXPECT_EQ(number(o.text, "states: ([0-9]+) of 1441"), 0);
}

}  // namespace
