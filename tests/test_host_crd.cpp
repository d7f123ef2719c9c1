// `leopod crd` run as its users run it: laser ranging files in, summary and tables out.
#include "host_support.h"

namespace {

using namespace support;
using Texts = std::vector<std::string>;

const std::string kHeaders = "H1 CRD 2 2021 01 27 09\nH2 TEST 7000 34 02 4 NET\nH3 ball 7603901 1155 8820 0 1 1\n";
const std::string kTables = out("crd/");

/// A column of a table.
Texts column(const std::string& table, const std::string& name) {
    Texts values;
    for (const Row& row : read_csv(table)) values.push_back(row.count(name) != 0 ? row.at(name) : "no such column");
    return values;
}

class HostCrd : public HostTest {
  protected:
    /// Runs the command on a file of this content and keeps its tables.
    static Outcome run(const std::string& content, const std::string& options = "") {
        std::filesystem::remove_all(kTables);
        return leopod("crd " + write_temp("made.crd", content) + " --out " + kTables + " " + options);
    }
};

TEST_F(HostCrd, FilesOfBothVersionsInOneRun) {
    const std::string files =
        "crd " + test_file("laser_ranging2.crd").string() + " " + test_file("laser_ranging1.crd").string() + " --out ";
    const Outcome o = leopod_ok(files + kTables);
    for (const char* text : {"files 2, sessions 3, lines 54", "records without a date: 0\n",
                             "session 1: TEST 7000, system 34, occupancy 2, NET, time scale 4",
                             "full rate, two-way, 2021-01-26T23:55:51 to 2021-01-27T00:34:18 (UTC), release 0",
                             "blank lines 1, user-defined records 1, unknown records XX 1",
                             "\nfailed fields: 2\n"})  // a letter, and "-na"
        EXPECT_TRUE(holds(o.text, text)) << text << "\n" << o.text;
    // Date over midnight, all digits of the file, empty fields for "na" and for what failed; calibration and meteorology
    // around the session, and before midnight of one that begins after it; texts with commas and quotation marks.
    const std::tuple<const char*, const char*, Texts> columns[] = {
        {"10",
         "epoch_utc",
         {"2021-01-26T23:59:59.999999999999", "2021-01-27T00:00:00.250000000001", "2021-01-27T00:16:43.245563627690",
          "2017-09-26T04:01:27.343206247217"}},
        {"10", "sec_of_day", {"86399.999999999999", "0.250000000001", "1003.24556362769", "14487.343206247217"}},
        {"10", "xmt_amp", {"-1", "", "", ""}},
        {"10", "failed_fields", {"0", "0", "1", "0"}},
        {"10", "station", {"TEST", "TEST", "TEST", "TEST"}},
        {"20", "mjd_utc", {"59240", "59241", "59272", "58022"}},
        {"C4", "est_xponder_utc_offset", {"1234567890123456.789"}},
        {"C0", "config_ids", {"std las det tim", "std2", "IDAA IDAB"}},
        {"C5", "tracking_software", {"a,b"}},
        {"sessions", "ranges", {"4", "1", "2"}},
        {"sessions", "end_utc", {"2021-01-27T00:34:18", "", "2017-09-26T04:04:48"}}};
    for (const auto& [table, name, values] : columns)
        EXPECT_EQ(column(kTables + table + ".csv", name), values) << table << " " << name;
    EXPECT_TRUE(holds(read_file(kTables + "00.csv"), "1,1,\"made by hand: a pass"));

    // The span cuts over midnight, in UTC, from the first session's day on; what has no time of its own stays.
    for (const auto& [span, ranges, config] :
         {std::tuple("--from 86399 --to 86400.2", 1u, 1u), std::tuple("--from 86399 --to 86401", 2u, 1u),
          std::tuple("--from 2021-01-27T00:00:00.2 --to 2021-01-28T00:00:00", 2u, 1u)}) {
        const std::string cut = leopod_ok(files + out("cut/") + " " + span).text;
        EXPECT_EQ(column(out("cut/10.csv"), "sec_of_day").size(), ranges) << cut;
        EXPECT_EQ(column(out("cut/C4.csv"), "session").size(), config) << cut;
        EXPECT_GT(number(cut, "outside the span: ([0-9]+)"), 10.0) << cut;
    }
    leopod_ok(files + out("chosen") + " --records 11,c0");
    for (const char* name : {"10.csv", "11.csv", "C0.csv"})
        EXPECT_EQ(std::filesystem::exists(out("chosen/") + name), name != std::string("10.csv")) << name;
}

TEST_F(HostCrd, DatesGoOnOverMidnight) {
    /// Epochs of meteorological records at some seconds of day, whole seconds without decimals.
    const auto epochs = [](const std::string& start, const std::string& end, const Texts& seconds) {
        std::string content = kHeaders + "H4 0 " + start + " " + end + " 0 0 0 0 1 0 2 0\n";
        for (const std::string& s : seconds) {
            // A record of another kind out of order does not lead those that follow.
            content += "20 " + s + " 1 2 3 0\n40 82000 0 s 1 1 na na 0 0 0 0 0 0 0 0 na na\n";
        }
        const Outcome o = run(content + "H8\nH9\n");
        EXPECT_EQ(o.status, 0) << o.text;
        Texts all = column(kTables + "20.csv", "epoch_utc");
        for (std::string& text : all) text = std::regex_replace(text, std::regex("[.]0*$"), "");
        return all;
    };
    // Two days and a half: the second of day falls back twice, once by less than half a day.
    EXPECT_EQ(epochs("2020 02 28 10 00 00", "2020 03 01 22 00 00",
                     {"36000.5", "80000", "10000", "50000", "49900", "20000", "79000"}),
              Texts({"2020-02-28T10:00:00.500000000000", "2020-02-28T22:13:20", "2020-02-29T02:46:40",
                     "2020-02-29T13:53:20", "2020-02-29T13:51:40", "2020-03-01T05:33:20", "2020-03-01T21:56:40"}));
    // Without an end, or with one that can't be, the records of each kind lead over midnight, and back where a second
    // colour begins anew.
    for (const char* end : {"na na na na na na", "0 0 0 0 0 0", "2019 12 31 22 0 0", "x x x x x x", "2098 1 1 0 0 0"}) {
        EXPECT_EQ(epochs("2019 12 31 23 00 00", end, {"83000", "600", "30000", "70000", "82000", "900", "85000"}),
                  Texts({"2019-12-31T23:03:20", "2020-01-01T00:10:00", "2020-01-01T08:20:00", "2020-01-01T19:26:40",
                         "2020-01-01T22:46:40", "2020-01-02T00:15:00", "2020-01-01T23:36:40"}))
            << end;
    }
    // A leap second, the last instant before it, and seconds that no day has.
    EXPECT_EQ(epochs("2016 12 31 23 50 00", "2017 01 01 00 10 00",
                     {"86399.9999999999999", "86400.5", "0", "86401", "-1", "na", "x", "inf", "1e4900"}),
              Texts({"2017-01-01T00:00:00", "2016-12-31T23:59:60.500000000000", "2017-01-01T00:00:00", "", "", "", "",
                     "", ""}));
    // A header without a date.
    EXPECT_EQ(epochs("2016 13 31 23 50 00", "2017 01 01 00 10 00", {"5"}), Texts({""}));
}

TEST_F(HostCrd, SessionsFollowTheirHeaders) {
    const std::string h4 = "H4 0 2021 01 26 10 00 00 2021 01 26 10 30 00 0 0 0 0 1 0 2 0\n";
    const std::string range = "10 36100.5 0.05 std 2 2 0 0 0 0\n";
    // No H8 between sessions; a new target; a record behind the end of its session; a new station behind H9; a version
    // nobody knows.
    const Outcome o = run("20 1 2 3 4 5\n" + kHeaders + h4 + range + h4 + range + range + "H3 cube 11 12 13 0 1 1\n" +
                          h4 + range + "H8\n" + range + "H9\n\nH1 CRD 0 2021 01 27 09\nH2 OTHER      7111 34 02  4\n" +
                          "H3 ball       7603901 1155     8820 0 1\n" + h4 + range + "H8\nH1 CRD 3 2021 01 27 09\n" +
                          h4 + range + "H8\nH9\n");
    ASSERT_EQ(o.status, 0) << o.text;
    EXPECT_EQ(column(kTables + "10.csv", "session"), Texts({"1", "2", "2", "3", "4", "5"}));
    EXPECT_EQ(column(kTables + "10.csv", "target"), Texts({"ball", "ball", "ball", "cube", "cube", "ball"}));
    EXPECT_EQ(column(kTables + "sessions.csv", "pad_id"), Texts({"7000", "7000", "7000", "7000", "7111"}));
    EXPECT_EQ(column(kTables + "10.csv", "epoch_utc")[4], "");
    EXPECT_TRUE(holds(o.text, "without H4: its records have no date")) << o.text;
    EXPECT_TRUE(holds(o.text, "line 23 is not of version 1 or 2")) << o.text;
}

TEST_F(HostCrd, LinesOfVersion1ThatItsReaderCannotTake) {
    // Header lines out of their columns and "na" in a scan are read by tokens; carriage returns, tabs and leading
    // blanks are no matter.
    const Outcome o =
        run("H1 CRD 1 2008 5 8 19\r\nh2 MDOL 7080 24 19 4 NASA\r\n h3 giovea 505101 7001 28922 0 1\r\n"
            "h4 1 2008 5 8 9 40 23 2008 5 8 9 50 45 0 0 0 0 1 0 2 0\r\n"
            "11\t34945.620986680762 0.167738944021 std 2 300 116 193.3 na NA na 3.87 0\r\n12 34945.6 std 1 2 3 x\r\n"
            " \r\n\r\nh8\r\n");
    ASSERT_EQ(o.status, 0) << o.text;
    for (const char* text : {"session 1: MDOL 7080, system 24, occupancy 19, NASA, time scale 4",
                             "target: giovea, ILRS 505101, SIC 7001, NORAD 28922", "read by tokens: 3\n",
                             "\nfailed fields: 1\n", "blank lines 2,"})
        EXPECT_TRUE(holds(o.text, text)) << text << "\n" << o.text;
    EXPECT_EQ(column(kTables + "11.csv", "return_rate"), Texts({"3.87"}));
}

TEST_F(HostCrd, FilesWithoutData) {
    EXPECT_EQ(run(kHeaders).status, 1);  // no data
    // Bytes of no text: counted and printed as what can be printed.
    const Outcome o =
        run(kHeaders + std::string("\x1b[31m\0\xff z\n", 10) + "20 1 2 3 4 5\n" + std::string(5000, 'q') + "\n");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.text.find('\x1b'), std::string::npos);
    EXPECT_TRUE(holds(o.text, "?[31M 1")) << o.text;
}

TEST_F(HostCrd, RealFiles) {
    const auto dir = data_path("gnss/crd");
    LEOPOD_REQUIRE_DATA(dir);
    // Of the last one two numbers are "-na", one is missing, and headers of version 1 are not in its columns.
    for (const auto& [name, records, failed] : {std::tuple{"lageos1_20210126_grzl_v2_trunc.frd", "10 7, 20 2", "0"},
                                                {"champ_20170926_stl3_v1.frd", "10 4, 20 1, 30 4", "0"},
                                                {"llr_apollo15_grsm_20150429_v1_excerpt.npt", "20 1, 40 1", "1"},
                                                {"crd_v201_samples.txt", "10 11, 11 25, 12 4", "3"}}) {
        const Outcome o = leopod_ok("crd " + (dir / name).string());
        EXPECT_TRUE(holds(o.text, records)) << o.text;
        EXPECT_TRUE(holds(o.text, std::string("\nfailed fields: ") + failed + "\nrecords without a date: 0")) << o.text;
    }
}

}  // namespace
