// What the program reads and writes, whatever the command: times, outputs, inputs in every wrapping and under every option.
#include <cmath>
#include <ctime>
#include <set>

#include "host_support.h"

namespace {

using namespace support;

/// Seconds since 1970 of an ISO text, exact to 1e-12 s.
long double instant(const std::string& text) {
    std::tm t{};
    EXPECT_NE(strptime(text.substr(0, 19).c_str(), "%Y-%m-%dT%H:%M:%S", &t), nullptr) << text;
    EXPECT_LT(t.tm_sec, 60) << text;
    return static_cast<long double>(timegm(&t)) + std::strtold(("0" + text.substr(19)).c_str(), nullptr);
}

long double instant(const std::string& mjd, const std::string& sod) {
    return (std::stol(mjd) - 40587) * 86400.0L + std::strtold(sod.c_str(), nullptr);
}

class HostInputs : public HostTest {};

// The date of a receive time within 20 us before midnight was that of the next day.
TEST_F(HostInputs, TimesOverMidnightAreWrittenAndReadBack) {
    const std::string config =
        write_temp("fit.cfg",
                   "+Force_Models\nEarth_Gravity = YES 10\n-Force_Models\n+GENERAL_CONFIG\n"
                   "Integration_Step_Size = 1\nIntegration_Output_Interval = 2\n-GENERAL_CONFIG\n");
    const std::string orbit = (temp_dir() / "orbit.csv").string();
    leopod_ok(
        "propagate --epoch 2021-01-17T23:50:00 --frame eci --state 6890000 0 0 0 -980 7543 --duration 1200 "
        "--dynamics " +
        kExamples + "demo_orbit.cfg --out " + orbit);
    for (const char* clock : {"0", "1e-8", "-1e-8", "1e-6", "-1e-6", "1.5e-5", "-1.5e-5", "9e-4", "-9e-4"}) {
        const std::string base = (temp_dir() / clock).string();
        leopod_ok("simulate --orbit " + orbit + " --nav " + kDemo +
                  "bds.nav --start 2021-01-17T23:59:30 --duration 60 --interval 2 " +
                  "--code-noise 0 --phase-noise 0 --clock-offset " + clock + " --obs-out " + base +
                  ".obs --truth-out " + base + ".truth --platform-z up");
        leopod_ok("run --obs " + base + ".obs --nav " + kDemo + "bds.nav --truth " + base + ".truth --out " + base +
                  ".csv --sp3-out " + base + ".sp3");
        const long double offset = std::strtold(clock, nullptr);
        const std::vector<Row> rows = read_csv(base + ".csv");
        ASSERT_EQ(rows.size(), 31U) << clock;
        long double tag = instant("2021-01-17T23:59:30");
        std::vector<long double> received;
        for (const Row& row : rows) {
            EXPECT_EQ(instant(row.at("epoch_gpst")), tag) << clock;
            EXPECT_EQ(instant(row.at("mjd_gpst"), row.at("sod_gpst")), tag) << clock;
            received.push_back(instant(row.at("receive_gpst")));
            EXPECT_NEAR(static_cast<double>(received.back() - tag), static_cast<double>(-offset), 9e-9) << clock;
            EXPECT_NEAR(static_cast<double>(instant(row.at("mjd_gpst"), row.at("receive_sod_gpst")) - received.back()),
                        0.0, 1e-10);
            EXPECT_EQ(row.at("stored_gpst"), row.at("receive_gpst"));
            tag += 2;
        }
        // The simulated truth counts from the day of its tags as well.
        tag = instant("2021-01-17T23:59:30");
        for (const Row& row : read_csv(base + ".truth")) {
            EXPECT_NEAR(static_cast<double>(instant(row.at("mjd_gpst"), row.at("sod_rx")) - tag),
                        static_cast<double>(-offset), 1e-9);
            tag += 2;
        }
        std::stringstream sp3(read_file(base + ".sp3"));
        std::vector<long double> epochs;
        for (std::string line; std::getline(sp3, line);) {
            if (line[0] == '*' || line.compare(0, 3, "#cV") == 0) {
                char text[64];
                int f[5];
                double second = 0;
                ASSERT_EQ(std::sscanf(line.c_str() + 3, "%d %d %d %d %d %lf", f, f + 1, f + 2, f + 3, f + 4, &second),
                          6);
                std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%011.8f", f[0], f[1], f[2], f[3], f[4],
                              second);
                epochs.push_back(instant(text));
            } else if (line.compare(0, 2, "##") == 0) {
                double week = 0, sow = 0, step = 0, mjd = 0, fraction = 0;
                ASSERT_EQ(std::sscanf(line.c_str(), "## %lf %lf %lf %lf %lf", &week, &sow, &step, &mjd, &fraction), 5);
                EXPECT_NEAR(static_cast<double>((44244 - 40587 + 7 * week) * 86400.0L + sow - epochs[0]), 0.0, 1e-9)
                    << line;
                EXPECT_NEAR(
                    static_cast<double>((mjd - 40587 + static_cast<long double>(fraction)) * 86400.0L - epochs[0]), 0.0,
                    1e-8)
                    << line;
                EXPECT_TRUE(fraction < 1.0 && step == 2.0) << line;
            }
        }
        ASSERT_EQ(epochs.size(), 32U) << clock;
        for (std::size_t i = 0; i < received.size(); ++i)
            EXPECT_NEAR(static_cast<double>(epochs[i + 1] - received[i]), 0.0, 5.1e-9) << clock;
        // Read back: the fit says of each position when it was.
        if (std::fabs(static_cast<double>(offset)) < 1e-5) continue;
        for (const char* file : {".csv", ".sp3"}) {
            leopod("fit --positions " + base + file + " --dynamics " + config + " --residuals " + base + ".res");
            const std::vector<Row> read = read_csv(base + ".res");
            ASSERT_EQ(read.size(), received.size()) << clock << file;
            for (std::size_t i = 0; i < read.size(); ++i)
                EXPECT_NEAR(static_cast<double>(instant(read[i].at("epoch_gpst")) - received[i]), 0.0, 5.1e-7)
                    << clock << file;
        }
    }
}

TEST_F(HostInputs, DatesThatNoCalendarHasAreRefused) {
    const std::string site = "--blh 10 100 0 --epoch ";
    // Each month ends where the C library's calendar says.
    for (int month = 0; month < 12; ++month) {
        std::tm first{};
        first.tm_year = 121;
        first.tm_mon = month + 1;
        first.tm_mday = 1;
        const std::time_t end = timegm(&first) - 86400;
        char last[32], beyond[32];
        std::strftime(last, sizeof last, "%Y-%m-%dT00:00:00", std::gmtime(&end));
        std::snprintf(beyond, sizeof beyond, "%.8s%02dT00:00:00", last, std::stoi(last + 8) + 1);
        EXPECT_TRUE(holds(leopod_ok("tide " + site + last).text, std::string("leopod tide: ") + last)) << last;
        expect_refusals("tide", {{site + beyond, "2021"}});
    }
    const std::pair<const char*, const char*> same[] = {
        {"2020-02-29T24:00:00", "2020-03-01T00:00:00.000"},
        {"2020-060T12:00:00.25", "2020-02-29T12:00:00.250"},
        {"2016-12-31T23:59:60 --time-scale utc", "2017-01-01T00:00:18.000"}};
    for (const auto& [given, shown] : same)
        EXPECT_TRUE(holds(leopod_ok("tide " + site + given).text, std::string("leopod tide: ") + shown)) << given;
    EXPECT_TRUE(holds(leopod_ok("--version").text, LEOPOD_VERSION));
}

const std::string kTide = "tide --blh 10 100 0 --epoch 2021-01-18T00:00:00 ";

/// Names of the files in a folder, hidden ones too.
std::set<std::string> listing(const std::filesystem::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        names.insert(entry.path().filename().string());
    return names;
}

TEST_F(HostInputs, OutputsInTheWrongPlaceAreRefusedBeforeTheWork) {
    shell("mkdir -p w; cd w; ln -sf ../blq blq_link; ln -sf nowhere a; ln -sf nowhere b; mkdir -p folder; : > plain");
    const std::string w = (temp_dir() / "w/").string();
    const std::string blq =
        write_temp("blq", read_file(std::string(LEOPOD_SOURCE_DIR) + "/tests/data/ocean_loading.blq"));
    std::error_code there;
    std::filesystem::create_hard_link(blq, w + "blq_hard", there);
    const std::string in = kTide + "--site ONSALA --blq " + blq + " --out ";
    const std::string fit = "fit --positions x --dynamics x --out ";
    const std::pair<std::string, const char*> cases[] = {
        {in + blq, "this is the file of --blq"},
        {in + w + "../blq", "this is the file of --blq"},
        {in + w + "blq_link", "this is the file of --blq"},
        {in + w + "blq_hard", "this is the file of --blq"},
        {in + "- >> " + blq, "this is the file of --blq"},
        {kTide + "--blq " + blq + " >> " + blq, "standard output is written into this file"},
        {fit + w + "new --residuals " + w + "folder/../new", "this is the file of --out"},
        {fit + w + "a --residuals " + w + "b", "this is the file of --out"},
        {fit + "- --residuals /dev/stdout", "standard output is that of --out already"},
        {"fit --positions - --dynamics /dev/stdin", "standard input is read for --positions already"},
        {kTide + "--out " + w + "folder", "Is a directory"},
        {kTide + "--out " + w + "plain/x", "Not a directory"},
        {kTide + "--out /proc/x.csv", "cannot be written: "},
        {kTide + "--out /dev/full", "/dev/full: could not be written to its end: No space left on device"},
        {kTide + "> /dev/full", "standard output: could not be written to its end: No space left on device"},
        {"--version > /dev/full", "standard output: could not be written to its end"},
        {"crd " + w + "C0.csv --out " + w, "this is the file of files"},
    };
    shell(": > w/C0.csv");
    const std::string before = read_file(blq);
    const std::set<std::string> files = listing(w);
    for (const auto& [arguments, text] : cases) {
        const Outcome o = capture("{ " + kProgram + " " + arguments + "; }");
        const std::string said = holds(arguments, ">> ") ? read_file(blq) + o.text : o.text;
        EXPECT_EQ(o.status, 2) << arguments << "\n" << said;
        EXPECT_TRUE(holds(said, text)) << arguments << "\n" << said;
        EXPECT_EQ(read_file(blq), before) << arguments;
    }
    EXPECT_EQ(listing(w), files);
}

TEST_F(HostInputs, OutputsTakeTheirPlaceWhenTheyAreComplete) {
    const std::string series = kTide + "--duration 86400 --interval 60 --out ";
    const auto run = [](const std::string& commands) { return shell("rm -rf o; mkdir o; cd o\n" + commands); };
    const auto folder = [] { return listing(temp_dir() / "o"); };
    // A disk that is full: the old file stays, nothing else does.
    const Outcome full =
        run("echo old > a.csv; ulimit -f 2; " + kProgram + " " + series + "a.csv || echo status $?; cat a.csv");
    EXPECT_TRUE(holds(full.text, "a.csv: could not be written to its end: File too large") &&
                holds(full.text, "status 2\nold\n"))
        << full.text;
    EXPECT_EQ(folder(), std::set<std::string>{"a.csv"});
    // The end by a signal.
    const Outcome killed = run("timeout -s TERM 1 " + kProgram + " " + kTide +
                               "--duration 3e7 --interval 31 --out b.csv > /dev/null || echo $?");
    EXPECT_TRUE(holds(killed.text, "124")) << killed.text;
    EXPECT_EQ(folder(), std::set<std::string>{});
    // Folders are made; a link stays one, and a file keeps its permissions.
    EXPECT_EQ(run(kProgram + " " + series + "new/deep/c.csv; echo > d; chmod 640 d; ln -s d e; " + kProgram + " " +
                  series + "e; cmp d new/deep/c.csv; test -L e; test $(stat -c %a d) = 640")
                  .status,
              0);
    // Standard output has the data alone, wherever it leads; the summary goes to standard error.
    EXPECT_EQ(run(kProgram + " " + series + "x.csv > summary; " + kProgram + " " + series + "- 2> err | cmp - x.csv; " +
                  kProgram + " " + series + "/dev/stdout > y.csv 2> err; cmp y.csv x.csv; " + kProgram + " " + series +
                  "/dev/fd/3 3> z.csv > summary; cmp z.csv x.csv; mkfifo p; cmp p x.csv & " + kProgram + " " + series +
                  "p > summary; wait $!; sed 's/- *$/x/; s/written: .*//' err > e1; sed 's/written: .*//' summary > "
                  "e2; cmp e1 e2")
                  .status,
              0);
    EXPECT_EQ(folder().count(".leopod"), 0U);
}

const std::string kData = std::string(LEOPOD_SOURCE_DIR) + "/tests/data/";

// One arc with its inputs packed in every way gives the bytes that the plain files give.
TEST_F(HostInputs, WhateverTheWrappingTheResultIsTheSame) {
    const std::string data = kExamples + "data/grace_b/";
    const std::string work =
        "rm -rf p; mkdir p; cd p; P=" + kProgram + "; D=" + data + "; T=" + kData + "; E=" + kExamples + "\n" +
        "zcat $D/grcb2080_01h05h.10d.gz > o.crx; zcat $D/cod15942_excerpt.sp3.gz > s.sp3; zcat "
        "$D/reference_orbit.csv.gz > r.csv\n"
        "zcat $D/egm2008_degree90.txt.gz > g; cp $E/data/demo_eop.txt e\n"
        "run() { $P run \"$@\" > log || test $? = 1; }\n"
        "run --sp3 s.sp3 --obs o.crx --out plain.csv; test $(wc -l < plain.csv) -gt 700\n"
        "for c in 'gzip -c' 'bzip2 -c' 'xz -c' 'zstd -qc'; do command -v ${c%% *} > log || continue; $c o.crx > o; $c "
        "s.sp3 > s\n"
        "  run --sp3 <(cat s) --obs - --out o.csv < o; cmp o.csv plain.csv; done\n"
        "(printf '\\357\\273\\277'; cat o.crx) > o; (printf '\\357\\273\\277'; cat s.sp3) > s; run --sp3 s --obs o "
        "--out o.csv; cmp "
        "o.csv plain.csv\n"
        "(sed '/^\\*  2010  7 27  3/,$d' s.sp3; echo EOF; cat s.sp3) | sed 's/^#c/#a/; s/^PG0/P  /; s/^PG/P /' > s; "
        "run --sp3 s --obs o.crx --out o.csv; cmp o.csv plain.csv\n"
        // Six days of clocks are more than a row of the library takes: those of the arc have their place.
        "awk 'BEGIN {printf \"%-20sC%39sRINEX VERSION / TYPE\\n%60sEND OF HEADER\\n\", \"     3.00\", \"\", \"\"; for "
        "(d = 22; d < 28; ++d) "
        "for (t = 0; t < 86400; t += 30) printf \"AS G11  2010 07 %02d %02d %02d %9.6f  1    1.000000000000E-05\\n\", "
        "d, t / "
        "3600, t % 3600 / 60, t % 60}' > k; run --sp3 s.sp3 --obs o.crx --clk k; grep -q 'k: 9.. clocks, 1.... left "
        "out: a "
        "satellite.s row holds 8640' log\n"
        "! command -v zip > log || { zip -q o.zip o.crx; run --sp3 s.sp3 --obs o.zip --out o.csv; cmp o.csv plain.csv; "
        "}\n"
        // An epoch that is cut is left out, and no other.
        "head -c -100 o.crx > c.crx; run --sp3 s.sp3 --obs c.crx --out o.csv; head -n -1 plain.csv | cmp - o.csv\n"
        // What was read from a pipe was lost to the loader: positions, gravity, attitude, clocks, antennas.
        "F=\"$P fit --dynamics $E/demo_orbit.cfg --eop-format rapid\"; T=$E/data/demo_truth.csv\n"
        "$F --positions <(cat $T) --gravity <(cat g) --eop <(bzip2 -c e) --out a.csv > log || test $? = 1\n"
        "$F --positions $T --gravity g --eop e --out b.csv > log || test $? = 1; cmp a.csv b.csv; T=" +
        kData + "\n" + "A=\"--embedded --nav " + kDemo + "bds.nav --obs " + kDemo +
        "bds.obs\"\n"
        "run $A --att <(cat " +
        kDemo + "att_zdown.txt) --truth <(gzip -c " + kDemo +
        "truth.csv) --out a.csv\n"
        "run $A --att " +
        kDemo + "att_zdown.txt --truth " + kDemo +
        "truth.csv --out b.csv; cmp a.csv b.csv\n"
        "$P tle --all --tle <(xz -c $T/tle.tle) --names <(cat $T/tle_names.txt) --out a.csv > log\n"
        "$P tle --all --tle $T/tle.tle --names $T/tle_names.txt --out b.csv > log; cmp a.csv b.csv\n"
        "$P crd --out c1 <(cat $T/laser_ranging2.crd) > log; $P crd --out c2 $T/laser_ranging2.crd > log; cmp "
        "c1/11.csv c2/11.csv\n"
        "$P plot track --in <(gzip -c r.csv) --out t.svg > log; cat log\n";
    const Outcome o = shell(work);
    EXPECT_EQ(o.status, 0) << o.text;
}

// Observation and navigation files as receivers, archives, editors and joins leave them: the rows of the demo arc, and words where
// something is wanting. A navigation file of version 4 has messages that the library would misread.
TEST_F(HostInputs, RinexFilesOfAnyMakeGiveTheirEpochsOrWords) {
    const std::string swapped =
        R"(awk '/OBS TYPES/ {$0 = "C    4 L5P C5P L1P C1P" substr($0, 23)} /^C[0-9]/ {printf "%s", substr($0, 1, 3)
            for (k = 3; k >= 0; --k) printf "%-16s", substr($0, 4 + 16 * k, 16); print ""; next} {print}')";
    const std::string scaled =
        R"(awk '/END OF HEADER/ {printf "%-60s%s\n", "C   10   2 C1P C5P", "SYS / SCALE FACTOR"} /^C[0-9]/ {
            printf "%s%14.3f  %s%14.3f  %s\n", substr($0, 1, 3), 10 * substr($0, 4, 14), substr($0, 20, 16),
                10 * substr($0, 36, 14), substr($0, 52); next} {print}')";
    const struct {
        std::string
            make;  ///< writes the file from "plain", or from its halves "first" and "later"; may make o.nav from plain.nav
        int rows;  ///< that are those of the plain file; 0 where the file is of no use
        const char* text;
    } cases[] = {
        {"cat first; " + swapped + " later", 121, ": 121 epochs, 2021"},
        {"cat plain later", 121, "  61 epochs stand twice in the files and are taken once"},
        {scaled + " plain", 121, ": 121 epochs, 2021"},
        {"head -c -9 plain", 120, ": 121 epochs, cut within its last epoch, 2021"},
        {"head -n -3 plain", 120, ": 121 epochs, cut within its last epoch, 2021"},
        {"sed '11s/8$/9/' plain", 121, ": 121 epochs, 1 satellite fewer than its epochs count, 2021"},
        {"sed '11s/8$/9/; 11aC64  25572406.710   134356178.429    25572407.819   100847474.739' plain; echo", 121,
         ": 121 epochs, 1 satellite fewer than its epochs count, 2021"},
        {"sed '20i G07 ? 21' plain; echo", 121, ": 121 epochs, 1 line that can't be read left out, 2021"},
        {"sed '/OBS TYPES/s/P C5P L5P/P S1P D1P/' plain", 0,
         "no BDS satellite has all of these; observed are: C1P D1P L1P S1P"},
        {"cat plain; head -n -2 plain.nav | sed 's/D+/d+/; s/D-/d-/g' > o.nav", 121,
         ": 0 GPS and 95 BDS records, 1 cut or damaged left out, 2021"},
        {"cat plain; sed '767,$s/D-/X-/' plain.nav > o.nav", 121,
         ": 0 GPS and 95 BDS records, 1 cut or damaged left out"},
        {"cat plain; head -n 4 plain.nav | sed 's/3.04/4.00/' > o.nav; for m in CNV1:4 D1:3; do echo '> STO C06 D1' >> "
         "o.nav; "
         "tail -n +5 plain.nav | sed \"s/^\\(C..\\).*/> EPH \\1 ${m%:*}\\n&/; s/D+03$/D+0${m#*:}/\" >> o.nav; "
         "done",
         121, ": 0 GPS and 96 BDS records, 96 of message CNV1 not read, 2021"},
        {"cat plain; head -n 4 plain.nav > o.nav; for k in {1..101}; do grep -A7 '^C.. 2021 01 18 00' plain.nav | "
         "sed "
         "\"s/2021 01 18/2020 01 18/\" | grep -v -e -- >> o.nav; done; cp plain.nav o.nav2",
         121, "far from the arc left out, 2020-01-18"},
        {"cat plain; sed '/ION [AB]/d; s/ 21  1 18/ 99  1 18/' " + kData + "navigation2.nav > o.nav2", 121,
         " GPS and 0 BDS records, 1999-01-18"},
        {"sed '/FIRST OBS/s/GPS/XYZ/' plain", 0, "the time system XYZ of this RINEX observation file is not known"},
    };
    for (const auto& c : cases) {
        const Outcome o =
            shell("rm -rf m; mkdir m; cd m; cp " + kDemo + "bds.obs plain; cp " + kDemo +
                  "bds.nav plain.nav; cp plain.nav o.nav\n" +
                  "awk '/2021 01 18 00 30  0/ {later = 1} {print > (later ? \"later\" : \"first\")}' plain\n" +
                  "(head -n 10 plain; cat later) > l; mv l later; { " + c.make + "; } > o\n" + "for f in plain o; do " +
                  kProgram + " run --nav $f.nav* --obs $f --out $f.csv || echo status $?; done\n" +
                  (c.rows > 0 ? "cmp <(head -n " + std::to_string(c.rows + 1) + " plain.csv) <(head -n " +
                                    std::to_string(c.rows + 1) + " o.csv)\n"
                              : ""));
        EXPECT_EQ(o.status, 0) << c.make << "\n" << o.text;
        EXPECT_TRUE(holds(o.text, c.text)) << c.make << "\n" << o.text;
        EXPECT_EQ(holds(o.text, "status"), c.rows == 0) << c.make << "\n" << o.text;
    }
}

// What can't be expanded, and what stands under the wrong option, is named for what it is.
TEST_F(HostInputs, UnusableInputsAreNamedForWhatTheyAre) {
    const Outcome made = shell(
        "rm -rf u; mkdir u; cd u; D=" + kData +
        "\ncp -r $D/* .; sed '/^AS G/s/E-/D-/' clock.clk > clock_d.clk; gzip -k crinex3.crx sp3.sp3; n=$(stat -c %s "
        "sp3.sp3.gz)\n"
        "head -c $((n - 9)) sp3.sp3.gz > cut.gz; cp sp3.sp3.gz sum.gz; printf XYZ | dd of=sum.gz bs=1 seek=$((n - 8)) "
        "conv=notrunc 2> log\n"
        "gzip -c sp3.sp3.gz > nested; bzip2 -c sp3.sp3.gz > nested2; xz -c sp3.sp3 | head -c 300 > cut.xz; bzip2 -c "
        "sp3.sp3 | head -c 300 > cut.bz2\n"
        "yes aaaa | head -c 100000000 | gzip > yes.gz; head -c 100000000 /dev/zero | gzip > zero.gz; : > empty\n"
        "printf '\\037\\235\\220' > bare.Z; printf '\\037\\235\\220\\141\\304\\000' > cut.Z; tar cf tar sp3.sp3; tar "
        "czf tar.gz sp3.sp3; head -c 1500 crinex3.crx > cut.crx; sed '12s/3&/3x/' crinex3.crx > "
        "damaged.crx; sed '1s/^3/7/' crinex3.crx > v7.crx\n"
        "printf 'CCSDS_OEM_VERS = 2.0\\nCREATION_DATE = 2010-07-28T06:00:00\\n' > orbit.oem; printf '<oem "
        "id=\"x\">\\n' > orbit.xml\n");
    ASSERT_EQ(made.status, 0) << made.text;
    const std::string u = (temp_dir() / "u/").string();
    const std::string run = "run --obs " + u + "observation3.rnx --nav ";
    const std::string obs = "run --nav " + u + "navigation3.rnx --obs ";
    const std::string sp3 = "run --obs " + u + "observation3.rnx --sp3 ";
    const std::string fit = "fit --dynamics " + kExamples + "fit_leo.cfg --positions ";
    const std::pair<std::string, const char*> cases[] = {
        {sp3 + u + "cut.gz", "cut.gz: the gzip data are cut"},
        {sp3 + u + "sum.gz", "sum.gz: the gzip data are damaged: incorrect data check"},
        {sp3 + u + "cut.xz", "cut.xz: the xz data are damaged or cut"},
        {sp3 + u + "cut.bz2", "cut.bz2: the bzip2 data are damaged or cut"},
        {sp3 + u + "nested", "nested: holds one compression inside another"},
        {sp3 + u + "nested2", "nested2: holds one compression inside another"},
        {sp3 + u + "yes.gz", "yes.gz: expands to more than 250 times its size"},
        {sp3 + u + "zero.gz", "zero.gz: is a binary file, not an SP3 file"},
        {sp3 + "/dev/zero", "/dev/zero: is a binary file, not an SP3 file"},
        {sp3 + "/dev/urandom", "/dev/urandom: is a binary file, not an SP3 file"},
        {sp3 + u + "empty", "empty: is not an SP3 file; this is an empty file"},
        {sp3 + u + "bare.Z", "the Unix compress data are damaged or cut"},
        {sp3 + u + "cut.Z", "the Unix compress data end within a line"},
        {sp3 + u + "tar", "tar: is a tar archive, not an SP3 file"},
        {run + u + "tar.gz", "tar.gz: is a tar archive, not a RINEX navigation file"},
        {sp3 + u, "is a directory, not an SP3 file"},
        {sp3 + u + "absent", "absent: cannot open this SP3 file: No such file or directory"},
        {obs + u + "v7.crx", "v7.crx: version of this Compact RINEX file is not 1.0 or 3.0"},
        {obs + u + "navigation2.nav", "this is a RINEX navigation file: --nav"},
        {run + u + "crinex3.crx.gz", "this is a RINEX observation file: --obs"},
        {run + u + "sp3.sp3.gz", "this is an SP3 file: --sp3"},
        {sp3 + u + "clock.clk", "this is a RINEX clock file: --clk"},
        {sp3 + u + "orbit.oem", "this is an ephemeris message (OEM)"},
        {sp3 + u + "orbit.xml", "this is an orbit message in XML"},
        {sp3 + u + "sp3.sp3 --clk " + u + "antex.atx", "this is an ANTEX file: --atx"},
        {sp3 + u + "sp3.sp3 --clk " + u + "clock_d.clk",
         "clock_d.clk: line 4 of this RINEX clock file has a clock that is no number: "},
        {sp3 + u + "sp3.sp3 --att " + u + "eop_c04.txt", "this is an earth orientation file: --eop"},
        {sp3 + u + "sp3.sp3 --eop-format c04 --eop " + u + "eop_rapid.txt", "of format rapid, not c04"},
        {sp3 + u + "sp3.sp3 --eop " + u + "quaternion.txt", "this is an attitude quaternion file: --att"},
        {sp3 + u + "sp3.sp3 --jpl " + u + "gravity.txt", "this is a gravity coefficient file: --gravity"},
        {fit + u + "tle.tle", "this is a file of two-line element sets: leopod tle"},
        {fit + u + "laser_ranging1.crd", "this is a laser ranging file: leopod crd"},
        {fit + u + "host_csv.csv --gravity " + u + "ephemeris.405", "this is a JPL ephemeris: --jpl"},
        {fit + u + "host_csv.csv --gravity " + u + "eop_keyword.txt", "this is an earth orientation file: --eop"},
        {"tide --blh 0 0 0 --epoch 2021-01-18T00:00:00 --blq " + u + "host_csv.csv", "this is a CSV file"},
        {"tle --all --tle " + u + "ocean_loading.blq", "this is an ocean loading file: leopod tide --blq"},
        {"crd " + u + "quaternion_mission.txt", "this is an attitude quaternion file: --att"},
        {"tle --all --tle " + u + "tle.tle --names " + u + "tle.tle", "this is a file of two-line element sets"},
        {"plot sky --out x.svg --in " + u + "sp3.sp3", "sp3.sp3: is not a CSV file; this is an SP3 file"},
        {sp3 + u + "sp3.sp3 --config " + u + "dynamics_config.cfg",
         "this is a dynamics configuration file: --dynamics"},
        {sp3 + u + "gnss_config.cfg", "this is a GNSS configuration file: --config"},
        {sp3 + u + "dynamics_config.cfg", "this is a dynamics configuration file: --dynamics"},
    };
    for (const auto& [arguments, text] : cases) {
        const Outcome o = leopod(arguments);
        EXPECT_EQ(o.status, 2) << arguments << "\n" << o.text;
        EXPECT_TRUE(holds(o.text, text)) << arguments << "\n" << o.text;
        EXPECT_FALSE(holds(o.text, "/proc/")) << o.text;
    }
    // What of a Compact RINEX file is left out is told, and the library's messages name the user's file.
    EXPECT_TRUE(holds(leopod(obs + u + "cut.crx").text,
                      "cut.crx: this Compact RINEX file ends within an epoch, which is left out"));
    EXPECT_TRUE(holds(leopod(obs + u + "damaged.crx").text, "damaged.crx: line 12 of this Compact RINEX file: "));
    const Outcome messages =
        leopod("run --log-level trace --nav " + u + "navigation3.rnx --obs " + u + "crinex3.crx.gz");
    EXPECT_FALSE(holds(messages.text, "/proc/self/fd")) << messages.text;
}

}  // namespace
