// `leopod crd` run as its users run it: laser ranging files in, summary and tables out.
#include "host_support.h"

namespace {

using support::leopod;
using support::number;
using support::Outcome;

/// A table as rows of texts by column name; no quoted fields.
std::vector<std::map<std::string, std::string>> table(const std::string& file) {
    std::vector<std::map<std::string, std::string>> rows;
    std::ifstream in(file);
    std::string line;
    std::vector<std::string> names;
    while (std::getline(in, line)) {
        std::vector<std::string> fields;
        std::stringstream stream(line + ",");
        for (std::string field; std::getline(stream, field, ',');) fields.push_back(field);
        if (names.empty()) {
            names = fields;
            continue;
        }
        EXPECT_EQ(fields.size(), names.size()) << file << ": " << line;
        std::map<std::string, std::string> row;
        for (std::size_t i = 0; i < fields.size() && i < names.size(); ++i) row[names[i]] = fields[i];
        rows.push_back(row);
    }
    return rows;
}

/// A column of a table.
std::vector<std::string> column(const std::string& file, const std::string& name) {
    std::vector<std::string> values;
    for (const auto& row : table(file)) values.push_back(row.count(name) != 0 ? row.at(name) : "no such column");
    return values;
}

using Texts = std::vector<std::string>;

const std::string kHeaders = "H1 CRD 2 2021 01 27 09\nH2 TEST 7000 34 02 4 NET\nH3 ball 7603901 1155 8820 0 1 1\n";

class HostCrd : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!std::filesystem::exists(support::kProgram)) GTEST_SKIP() << "the host program is not built";
    }
    /// Runs the command on a file of this content and keeps its tables in out().
    static Outcome run(const std::string& content, const std::string& options = "") {
        std::filesystem::remove_all(out());
        return leopod("crd " + support::write_temp("made.crd", content) + " --out " + out() + " " + options);
    }
    static std::string out(const std::string& name = "") { return (support::temp_dir() / "crd" / name).string(); }
};

}  // namespace

TEST_F(HostCrd, FilesOfBothVersionsInOneRun) {
    const Outcome o = leopod("crd " + support::test_file("laser_ranging2.crd").string() + " " +
                             support::test_file("laser_ranging1.crd").string() + " --out " + out());
    ASSERT_EQ(o.status, 0) << o.text;
    EXPECT_NE(o.text.find("files 2, sessions 3"), std::string::npos) << o.text;
    EXPECT_NE(o.text.find("session 1: TEST 7000, system 34, occupancy 2, NET, time scale 4"), std::string::npos);
    EXPECT_NE(o.text.find("target: cube, ILRS 103, SIC 103, NORAD na"), std::string::npos) << o.text;
    EXPECT_NE(o.text.find("full rate, two-way, 2021-01-26T23:55:51 to 2021-01-27T00:34:18 (UTC), release 0"),
              std::string::npos);
    EXPECT_NE(o.text.find("blank lines 1, user-defined records 1, unknown records XX 1"), std::string::npos) << o.text;
    EXPECT_EQ(number(o.text, "\nfailed fields: ([0-9]+)"), 2);  // a letter, and "-na"
    EXPECT_EQ(number(o.text, "\nrecords without a date: ([0-9]+)"), 0);
    // Ranges: date over midnight, all digits of the file, empty fields for "na" and for what failed.
    const auto rows = table(out("10.csv"));
    ASSERT_EQ(rows.size(), 4u);
    EXPECT_EQ(column(out("10.csv"), "epoch_utc"),
              Texts({"2021-01-26T23:59:59.999999999999", "2021-01-27T00:00:00.250000000001",
                     "2021-01-27T00:16:43.245563627690", "2017-09-26T04:01:27.343206247217"}));
    EXPECT_EQ(column(out("10.csv"), "mjd_utc"), Texts({"59240", "59241", "59241", "58022"}));
    EXPECT_EQ(column(out("10.csv"), "sec_of_day"),
              Texts({"86399.999999999999", "0.250000000001", "1003.24556362769", "14487.343206247217"}));
    EXPECT_EQ(column(out("10.csv"), "xmt_amp"), Texts({"-1", "", "", ""}));
    EXPECT_EQ(column(out("10.csv"), "filter_flag"), Texts({"2", "2", "", "2"}));
    EXPECT_EQ(column(out("10.csv"), "failed_fields"), Texts({"0", "0", "1", "0"}));
    EXPECT_EQ(rows[3].at("station") + rows[3].at("pad_id") + rows[3].at("target") + rows[3].at("ilrs_id"),
              "TEST7825sat3902");
    EXPECT_EQ(rows[3].at("session") + "/" + rows[3].at("line"), "3/9");
    // Calibration and meteorology around the session, and before midnight of one that begins after it.
    EXPECT_EQ(column(out("41.csv"), "epoch_utc"), Texts({"2021-01-26T23:53:30.000000000000"}));
    EXPECT_EQ(column(out("20.csv"), "mjd_utc"), Texts({"59240", "59241", "59272", "58022"}));
    EXPECT_EQ(column(out("C4.csv"), "est_xponder_utc_offset"), Texts({"1234567890123456.789"}));
    EXPECT_EQ(column(out("C0.csv"), "config_ids"), Texts({"std las det tim", "std2", "IDAA IDAB"}));
    EXPECT_EQ(column(out("sessions.csv"), "ranges"), Texts({"4", "1", "2"}));
    EXPECT_EQ(column(out("sessions.csv"), "end_utc"), Texts({"2021-01-27T00:34:18", "", "2017-09-26T04:04:48"}));
    EXPECT_NE(support::read_file(out("C5.csv")).find(",\"a,b\",\"1.0,2.0\",c,"), std::string::npos);
    EXPECT_NE(support::read_file(out("00.csv")).find("1,1,\"made by hand: a pass"), std::string::npos);
}

TEST_F(HostCrd, ChosenRecordsAlone) {
    EXPECT_EQ(run(support::read_file(support::test_file("laser_ranging2.crd")), "--records 11,c0").status, 0);
    Texts names;
    for (const auto& entry : std::filesystem::directory_iterator(out())) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, Texts({"11.csv", "C0.csv", "sessions.csv"}));
}

TEST_F(HostCrd, DatesGoOnOverMidnight) {
    const auto epochs = [](const std::string& start, const std::string& end, const std::string& records) {
        const Outcome o = run(kHeaders + "H4 0 " + start + " " + end + " 0 0 0 0 1 0 2 0\n" + records + "H8\nH9\n");
        EXPECT_EQ(o.status, 0) << o.text;
        return column(out("20.csv"), "epoch_utc");
    };
    // Two days and a half: the second of day falls back twice, once by less than half a day.
    EXPECT_EQ(epochs("2020 02 28 10 00 00", "2020 03 01 22 00 00",
                     "20 36000.5 1 2 3 0\n20 80000 1 2 3 0\n20 10000 1 2 3 0\n20 50000 1 2 3 0\n"
                     "20 49900 1 2 3 0\n20 20000 1 2 3 0\n20 79000 1 2 3 0\n"),
              Texts({"2020-02-28T10:00:00.500000000000", "2020-02-28T22:13:20.000000000000",
                     "2020-02-29T02:46:40.000000000000", "2020-02-29T13:53:20.000000000000",
                     "2020-02-29T13:51:40.000000000000", "2020-03-01T05:33:20.000000000000",
                     "2020-03-01T21:56:40.000000000000"}));
    // Without an end, or with one that can't be, the records of each kind lead over midnight, and back where a second
    // colour begins anew.
    for (const char* end : {"na na na na na na", "0 0 0 0 0 0", "2019 12 31 22 0 0", "x x x x x x"}) {
        EXPECT_EQ(epochs("2019 12 31 23 00 00", end,
                         "20 83000 1 2 3 0\n40 82000 0 s 1 1 na na 0 0 0 0 0 0 0 0 na na\n20 600 1 2 3 0\n"
                         "20 30000 1 2 3 0\n20 70000 1 2 3 0\n20 82000 1 2 3 0\n20 900 1 2 3 0\n20 85000 1 2 3 0\n"),
                  Texts({"2019-12-31T23:03:20.000000000000", "2020-01-01T00:10:00.000000000000",
                         "2020-01-01T08:20:00.000000000000", "2020-01-01T19:26:40.000000000000",
                         "2020-01-01T22:46:40.000000000000", "2020-01-02T00:15:00.000000000000",
                         "2020-01-01T23:36:40.000000000000"}))
            << end;
    }
    // A leap second, the last instant before it, and seconds that no day has.
    EXPECT_EQ(
        epochs("2016 12 31 23 50 00", "2017 01 01 00 10 00",
               "20 86399.9999999999999 1 2 3 0\n20 86400.5 1 2 3 0\n20 0 1 2 3 0\n20 86401 1 2 3 0\n20 -1 1 2 3 0\n"
               "20 na 1 2 3 0\n20 x 1 2 3 0\n20 inf 1 2 3 0\n20 1e4900 1 2 3 0\n"),
        Texts({"2017-01-01T00:00:00.000000000000", "2016-12-31T23:59:60.500000000000",
               "2017-01-01T00:00:00.000000000000", "", "", "", "", "", ""}));
    // A header without a date, and an end a lifetime away.
    EXPECT_EQ(epochs("2016 13 31 23 50 00", "2017 01 01 00 10 00", "20 5 1 2 3 0\n"), Texts({""}));
    EXPECT_EQ(epochs("2017 01 01 00 00 00", "2098 01 01 00 00 00", "20 5 1 2 3 0\n"),
              Texts({"2017-01-01T00:00:05.000000000000"}));
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
    EXPECT_EQ(column(out("10.csv"), "session"), Texts({"1", "2", "2", "3", "4", "5"}));
    EXPECT_EQ(column(out("10.csv"), "target"), Texts({"ball", "ball", "ball", "cube", "cube", "ball"}));
    EXPECT_EQ(column(out("sessions.csv"), "pad_id"), Texts({"7000", "7000", "7000", "7000", "7111"}));
    EXPECT_EQ(column(out("sessions.csv"), "version"), Texts({"2", "2", "2", "2", "1"}));
    EXPECT_EQ(table(out("10.csv"))[4].at("epoch_utc"), "");
    EXPECT_NE(o.text.find("without H4: its records have no date"), std::string::npos) << o.text;
    EXPECT_EQ(number(o.text, "lines outside versions 1 and 2: ([0-9]+)"), 5) << o.text;
    EXPECT_NE(o.text.find("line 23 is not of version 1 or 2"), std::string::npos) << o.text;
}

TEST_F(HostCrd, LinesOfVersion1ThatItsReaderCannotTake) {
    // Header lines out of their columns and "na" in a scan are read by tokens; carriage returns, tabs and leading
    // blanks are no matter.
    const Outcome o =
        run("H1 CRD 1 2008 5 8 19\r\nh2 MDOL 7080 24 19 4 NASA\r\n h3 giovea 505101 7001 28922 0 1\r\n"
            "h4 1 2008 5 8 9 40 23 2008 5 8 9 50 45 0 0 0 0 1 0 2 0\r\n11\t34945.620986680762 0.167738944021 std 2 300 "
            "116 193.3 "
            "na NA na 3.87 0\r\n12 34945.6 std 1 2 3 x\r\n \r\n\r\nh8\r\n");
    ASSERT_EQ(o.status, 0) << o.text;
    EXPECT_NE(o.text.find("session 1: MDOL 7080, system 24, occupancy 19, NASA, time scale 4"), std::string::npos)
        << o.text;
    EXPECT_NE(o.text.find("target: giovea, ILRS 505101, SIC 7001, NORAD 28922"), std::string::npos) << o.text;
    EXPECT_EQ(table(out("H3.csv"))[0].at("target_type"), "1");
    EXPECT_EQ(table(out("11.csv"))[0].at("return_rate"), "3.87");
    EXPECT_EQ(number(o.text, "read by tokens: ([0-9]+)"), 3);
    EXPECT_EQ(number(o.text, "\nfailed fields: ([0-9]+)"), 1);
    EXPECT_EQ(number(o.text, "blank lines ([0-9]+)"), 2);
}

TEST_F(HostCrd, UnusableFilesAndOptions) {
    const std::string good = support::test_file("laser_ranging1.crd").string();
    const Texts faults = {support::write_temp("text.txt", "no records\n10 1 2 3\n"),
                          support::write_temp("cpf.txt", "H1 CPF 2 abc 2021 01 27 09\n"),
                          support::write_temp("version.txt", "H1 CRD 3 2021 01 27 09\n"),
                          support::write_temp("empty.txt", ""),
                          support::temp_dir().string(),
                          "%absent",
                          good + " --records 10",
                          good + " --records 10,zz --out " + out(),
                          good + " --out " + good};
    for (const std::string& fault : faults) {
        const Outcome o = leopod("crd " + good + " " + fault);
        EXPECT_EQ(o.status, 2) << fault << o.text;
        EXPECT_EQ(std::count(o.text.begin(), o.text.end(), '\n'), 1) << o.text;
    }
    EXPECT_EQ(leopod("crd").status, 2);
    EXPECT_EQ(run(kHeaders).status, 1);  // no data
    // Bytes of no text: counted and printed as what can be printed.
    const Outcome o =
        run(kHeaders + std::string("\x1b[31m\0\xff z\n", 10) + "20 1 2 3 4 5\n" + std::string(5000, 'q') + "\n");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.text.find('\x1b'), std::string::npos);
    EXPECT_NE(o.text.find("?[31M 1"), std::string::npos) << o.text;
}

TEST_F(HostCrd, RealFiles) {
    const auto dir = support::data_path("gnss/crd");
    LEOPOD_REQUIRE_DATA(dir);
    struct Case {
        const char* name;
        int sessions, failed, by_tokens;
    };
    for (const Case& c : {Case{"champ_20170926_stl3_v1.frd", 1, 0, 0}, Case{"crd_v201_samples.txt", 8, 3, 4},
                          Case{"lageos1_20210126_grzl_v2_trunc.frd", 1, 0, 0},
                          Case{"llr_apollo15_grsm_20150429_v1_excerpt.npt", 1, 1, 0}}) {
        const Outcome o = leopod("crd " + (dir / c.name).string() + " --out " + out(c.name));
        EXPECT_EQ(o.status, 0) << o.text;
        EXPECT_EQ(number(o.text, "sessions ([0-9]+)"), c.sessions) << o.text;
        EXPECT_EQ(number(o.text, "\nfailed fields: ([0-9]+)"), c.failed) << o.text;
        EXPECT_EQ(number(o.text, "\nrecords without a date: ([0-9]+)"), 0) << o.text;
        const double by_tokens = number(o.text, "read by tokens: ([0-9]+)");
        EXPECT_EQ(std::isnan(by_tokens) ? 0 : by_tokens, c.by_tokens) << o.text;
    }
    const std::string graz = out("lageos1_20210126_grzl_v2_trunc.frd/");
    EXPECT_EQ(column(graz + "20.csv", "mjd_utc"), Texts({"59240", "59241"}));
    EXPECT_EQ(column(graz + "10.csv", "mjd_utc"),
              Texts({"59240", "59240", "59240", "59240", "59241", "59241", "59241"}));
    EXPECT_EQ(table(graz + "10.csv")[6].at("epoch_utc"), "2021-01-27T00:16:47.946763625370");
}
