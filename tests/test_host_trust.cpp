// What the program calls OK is right: ordinary mistakes, each with the status, the words and the figures that are to come of it.
#include <functional>

#include "host_support.h"

namespace {

using namespace support;

/// In `options`: %T directory of the test, %A the simulated arc, %E examples/, %D data sets, %G the GRACE-B half day, %S a station.
struct Trial {
    const char* name;
    std::string options;
    int status;
    std::vector<std::string> words;  ///< all of them are told
    std::string figure;              ///< a number of the text, by a pattern...
    double most = 0;                 ///< ... that is not to exceed this
    std::string files;               ///< names of files and their contents: NAME<text>, one behind the other
    std::string make{};              ///< shell commands that make further files in the directory of the test
    double filter = 0;               ///< largest error of the filter in the rows that say OK [m]; 0: not asked for
};

void PrintTo(const Trial& c, std::ostream* out) { *out << c.name; }

/// Largest error of a solution, in the summary of a run with a reference.
std::string largest(const std::string& solution) { return solution + " +epochs .*largest ([0-9.]+)"; }

std::string replace_all(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

std::string resolve(std::string text) {
    text = replace_all(text, "%T", temp_dir().string());
    text = replace_all(text, "%A", std::string(LEOPOD_SOURCE_DIR) + "/tests/arc21");
    text = replace_all(text, "%E", std::string(LEOPOD_SOURCE_DIR) + "/examples");
    text = replace_all(text, "%G", "%D/grace_b_2010208");
    text = replace_all(text, "%S", "%D/gnss/ground_esbc_2020177");
    return replace_all(text, "%D", std::string(LEOPOD_DATA_DIR));
}

bool needs_data(const Trial& c) {
    const std::string all = c.options + c.make;
    return holds(all, "%D") || holds(all, "%G") || holds(all, "%S");
}

class Trust : public HostTest, public testing::WithParamInterface<Trial> {};

void try_out(const Trial& c) {
    for (std::size_t at = 0; at < c.files.size();) {
        const std::size_t open = c.files.find('<', at), close = c.files.find('>', open);
        write_temp(c.files.substr(at, open - at), c.files.substr(open + 1, close - open - 1));
        at = close + 1;
    }
    ASSERT_EQ(shell(resolve(c.make)).status, 0);
    const Outcome o = leopod(resolve(c.options));
    EXPECT_EQ(o.status, c.status) << o.text;
    for (const std::string& word : c.words) EXPECT_TRUE(holds(o.text, word)) << word << "\n" << o.text;
    EXPECT_FALSE(holds(o.text, "ended by the library")) << o.text;
    if (!c.figure.empty()) {
        EXPECT_LE(number(o.text, c.figure), c.most) << o.text;
    }
    if (c.filter > 0.0) {
        EXPECT_LE(number(o.text, largest("filter")), c.filter) << o.text;
    }
}

TEST_P(Trust, TellsWhatIsWrong) { try_out(GetParam()); }

/// The trials for which there are data; a test that skips says where there are none.
template <typename... Trials>
auto possible(const Trials&... trials) {
    std::vector<Trial> list{trials...};
    const auto absent = [](const Trial& c) { return needs_data(c) && !std::filesystem::exists(LEOPOD_DATA_DIR); };
    list.erase(std::remove_if(list.begin(), list.end(), absent), list.end());
    return testing::ValuesIn(list);
}

std::string name_of(const testing::TestParamInfo<Trial>& info) { return info.param.name; }

// --- settings -----------------------------------------------------------------------------------------------------

const std::string kSettings =
    "+GENERAL_CONFIG\nIntegration_Step_Size = 30\nIntegration_Output_Interval = 60\n-GENERAL_CONFIG\n";
const std::string kPropagate =
    "propagate --epoch 2021-01-18T00:00:00 --state 6878137 0 0 0 7000 3000 --frame eci --duration 2000 --dynamics ";

// --- ephemerides of a run --------------------------------------------------------------------------------------------

/// The place of the station ESBC.
const std::string kSite = "site.csv<mjd_gpst,x_m,y_m,z_m\n59025,3582104.768,532590.174,5232755.144\n>";

/// A run against a reference: good, with no larger error of the point position than `point`, or refused where that is zero.
Trial against_reference(const char* name, const std::string& options, const std::vector<std::string>& words,
                        double point, const std::string& files, const std::string& make, double filter = 0) {
    return {name, options, point > 0.0 ? 0 : 2, words, point > 0.0 ? largest("point position") : "", point, files,
            make, filter};
}

/// GRACE-B with the orbits of three days, that of the middle one made by commands from $today into made.eph.
Trial grace(const char* name, const std::string& make, const std::vector<std::string>& words, double point,
            double filter, const std::string& orbits = "%G/COD15941.EPH %T/made.eph %G/COD15943.EPH") {
    return against_reference(name, "run --obs %G/grcb2080_00h12h.10o --truth %G/truth_00h12h.csv --sp3 " + orbits,
                             words, point, "", "today=%G/COD15942.EPH\n" + make, filter);
}

/// Puts an expression of awk into a field (1 to 3 position, 4 clock) of G05's lines, at some epochs.
std::string change(int field, const std::string& expression, const std::string& when = "1") {
    const std::string at = std::to_string(5 + 14 * (field - 1));
    return "awk '/^[*]/{e=(" + when + ")} e&&/^PG05/{v=substr($0," + at + ",14);$0=substr($0,1," + at +
           "-1) sprintf(\"%14.6f\"," + expression + ") substr($0," + at + "+14)} {print}' $today > made.eph\n";
}

const std::string kNoClocks = "sed -E 's/^(P.{45}).{14}/\\1 999999.999999/' ";

/// Six hours of a station.
Trial station(const char* name, const std::string& make, const std::string& ephemerides,
              const std::vector<std::string>& words) {
    return against_reference(
        name,
        "run --obs %S/ESBC00DNK_R_20201770000_06H_30S_GO_trim.rnx --config %T/w.cfg --truth %T/site.csv " + ephemerides,
        words, 25,
        "w.cfg<+GNSS_SYS\nGPS 4 C1W L1C C2W L2W IF 0 2 1 3\n-GNSS_SYS\n+GENERAL_CONFIG\nELE_CUTOFF 10.0\n"
        "-GENERAL_CONFIG\n>" +
            kSite,
        "orbits='%S/GRG0MGXFIN_20201760000_01D_15M_ORB.SP3 %S/GRG0MGXFIN_20201770000_01D_15M_ORB.SP3'\n"
        "clocks=%S/GRG0MGXFIN_20201770000_01D_30S_CLK_gps.CLK\nnav=%S/ESBC00DNK_R_20201770000_01D_MN.rnx\n" +
            make);
}

INSTANTIATE_TEST_SUITE_P(
    Ephemerides, Trust,
    possible(
        grace("OrbitsOfTheDayAlone", "",
              {"solved 4317, LACK_OF_SATELLITES 2, TOO_FEW_SERVED 1",
               "orbit doesn't surround the time, 9:", "3D median 2.577, rms 4.237", "3D median 0.719, rms 0.903",
               "messages of the library: 0 that can touch results"},
              22.65, 3.9, "%G/COD15942.EPH"),
        grace("SatelliteWithoutClocks",
              change(4, "999999.999999") + "for d in 1 3; do today=%G/COD1594$d.EPH\n" + change(4, "999999.999999") +
                  "mv made.eph $d.eph; done\ntoday=%G/COD15942.EPH\n" + change(4, "999999.999999"),
              {"no precise clock, 1334: G05 1334", "median 0.758, rms 0.990"}, 53, 3.9,
              "%T/1.eph %T/made.eph %T/3.eph"),
        grace("TwoHoursMissing", "awk '/^[*]/{s=($5>=3&&$5<5)} !s' $today > made.eph",
              {"TOO_FEW_SERVED 810", "orbit doesn't surround", "clock missing around"}, 22.7, 4.0),
        grace("ClockOffOnce", change(4, "v+1000", "$5==4&&$6==0"),
              {"all others, 6: G05 6", "before, 120: G05 120", "solved 4318"}, 23, 3.9),
        grace("ClockOffByAMicrosecond", change(4, "v+1"), {"all others shortly before, 1311", "solved 4318"}, 53, 3.9),
        grace("OrbitOffBy100Metres", change(1, "v+0.1"), {"all others shortly before, 10", "POOR_FIT 5"}, 57, 19.1),
        grace("OrbitOffBy100Kilometres", change(1, "v+100"), {"all others shortly before, 1311", "solved 4318"}, 53,
              3.9),
        Trial{"OrbitsOfYesterdayUnderTheDateOfToday",
              "run --obs %G/grcb2080_00h12h.10o --sp3 %T/made.eph",
              1,
              {"solved 0", "POOR_FIT 42"},
              "",
              0,
              "",
              "sed -E 's/^([*]  2010  7) 26/\\1 27/' %G/COD15941.EPH > made.eph"},
        station("ClocksThatEnd",
                "for f in $orbits; do " + kNoClocks +
                    "$f | grep -v EOF; done > a.eph; awk '/^AS/&&$6>=2{next} {print}' $clocks > a.clk",
                "--sp3 %T/a.eph --clk %T/a.clk", {"solved 239, TOO_FEW_SERVED 481", "clock missing around the time"}),
        station("OldBroadcastRecords", "awk '/^[GC][0-9]/{s=($5>=2)} /^[REJSI][0-9]/{s=1} !s' $nav > a.nav",
                "--nav %T/a.nav", {"TOO_FEW_SERVED ", "broadcast record too old, "}),
        station("FilterWithoutTroposphere", "cat $orbits | grep -v EOF > a.eph", "--sp3 %T/a.eph",
                {"NOT_FOR_GROUND 720", "has no troposphere"}),
        grace("OrbitsOfTheNextDay", "", {"COD15943.EPH", "none of the arc; the arc is 2010-07-27T00:00:00"}, 0, 0,
              "%G/COD15943.EPH"),
        grace("OrbitsInTai", "sed 's/^%c M  cc GPS/%c M  cc TAI/' $today > made.eph", {"made.eph", "has times in TAI"},
              0, 0, "%T/made.eph"),
        Trial{"ReferenceOfOtherTimes",
              "run " + kDemoRun + kDemoAttitude + " --truth %T/other.csv",
              2,
              {"other.csv: covers no epoch of the arc from 2021-01-18T00:00:00"},
              "",
              0,
              "other.csv<mjd_gpst,sod_gpst,x_m,y_m,z_m\n59233,0,1e6,6e6,0\n59233,60,1e6,6e6,0\n>"},
        Trial{"TagsThatAreLate",
              "run --embedded --obs %T/late.obs --nav %E/data/demo_bds.nav" + kDemoAttitude,
              1,
              {"late.obs: the ranges of 105 of 121 epochs fit no position", "solved 3, POOR_FIT 105"},
              "",
              0,
              "",
              "sed -E 's/^(> .{16} *[0-9]+)[.]0/\\1.3/' %E/data/demo_bds.obs > late.obs"},
        Trial{"ReferenceOfAnotherDayByItsColumn",
              "run " + kDemoRun + kDemoAttitude + " --truth %T/other.csv",
              2,
              {"other.csv: covers no epoch of the arc from 2021-01-18T00:00:00"},
              "",
              0,
              "",
              "awk -F, -v OFS=, 'NR==1{print \"sod_gpst_2021_01_17,x_m,y_m,z_m\"; next} {print $5,$6,$7,$8}' " + kDemo +
                  "truth.csv > other.csv"},
        Trial{"OrbitsShiftedForOneEpoch",
              "run --obs %E/data/grace_b/grcb2080_01h05h.10d.gz --sp3 %T/shifted.sp3 --truth "
              "%E/data/grace_b/reference_orbit.csv.gz",
              0,
              {"32 positions left out that lie off the curve", "2010-07-27T03:15:00, 30 m", "solved 1439"},
              largest("filter after 20 epochs"),
              4.0,
              "",
              "gzip -dc %E/data/grace_b/cod15942_excerpt.sp3.gz | awk '/^[*]/{on=/ 27  3 15 /} "
              "on&&/^PG/{$0=substr($0,1,4) "
              "sprintf(\"%14.6f\",substr($0,5,14)+0.03) substr($0,19)} 1' > shifted.sp3"},
        Trial{"AntennasOfOtherYears",
              "run --obs %E/data/demo_bds.obs --nav %E/data/demo_bds.nav --atx %T/old.atx",
              2,
              {"old.atx: none of the antennas", "valid on 2021-01-18"},
              "",
              0,
              "",
              "sed 's/^ *[0-9].*VALID UNTIL/  2019     1     1     0     0    0.0000000                 VALID UNTIL/' "
              "%D/gnss/antex/igs14_small.atx | awk '/START OF ANT/{b=\"\"} {b=b $0 \"\\n\"} /VALID UNTIL/{u=1} /END OF "
              "HEADER/{printf \"%s\",b; b=\"\"} /END OF ANT/{if(u)printf \"%s\",b; b=\"\"; u=0}' > old.atx"},
        Trial{"AttitudeThatEnds",
              "run " + kDemoRun + " --att %T/half.txt --truth " + kDemo + "truth.csv",
              0,
              {"44.2 % of the arc; the arc is", "NO_ATTITUDE 67"},
              largest("point position"),
              1.5,
              "",
              "head -60 %E/data/demo_att_zdown.txt > half.txt"},
        Trial{"AttitudeOfAnotherDay",
              "run " + kDemoRun + " --att %T/other.txt",
              2,
              {"other.txt: attitude: ", "none of the arc"},
              "",
              0,
              "",
              "sed 's/^ 5923/ 5913/' %E/data/demo_att_zdown.txt > other.txt"},
        Trial{"OtherSolutionOfFourRanges",
              "run --obs %T/four.obs --nav %E/data/demo_bds.nav --att %T/four.att --truth %T/four.csv",
              0,
              {"IMPLAUSIBLE 6", "UNVERIFIED "},
              largest("point position"),
              20,
              "",
              "'" + kProgram +
                  "' propagate --epoch 2021-01-17T23:50:00 --frame eci --state 6890000 0 0 0 -980 7543 --duration 4800 "
                  "--dynamics %E/demo_orbit.cfg --out orbit.csv\n'" +
                  kProgram +
                  "' simulate --orbit orbit.csv --nav %E/data/demo_bds.nav --start 2021-01-18T00:00:00 --duration 3600 "
                  "--channels 4 --platform-z up --obs-out four.obs --att-out four.att --truth-out four.csv\n",
              30}),
    name_of);

// --- what the observation files hold -----------------------------------------------------------------------------------

/// A station's file without a configuration.
Trial taken(const char* name, const std::string& options, const std::vector<std::string>& words, double point,
            const std::string& make = "") {
    return against_reference(name,
                             "run --nav %S/ESBC00DNK_R_20201770000_01D_MN.rnx --truth %T/site.csv --obs " + options,
                             words, point, kSite, make);
}

const std::string kAsIs = "%D/gnss/limits/ESBC00DNK_R_20201770000_01H_30S_MO_asis.rnx";
const std::string kTrim = "%S/ESBC00DNK_R_20201770000_06H_30S_GO_trim.rnx";

void same_epochs_however_the_files_hold_them();

TEST_F(HostTest, WhatObservationFilesHoldIsTakenAndTold) {
    LEOPOD_REQUIRE_DATA(std::filesystem::path(LEOPOD_DATA_DIR));
    same_epochs_however_the_files_hold_them();
    const Trial trials[] = {
        taken("Version3", kTrim, {"GPS (C1C L1C C2W L2W), 98.1 %", "also observed: GPS C1W L1C C2W L2W"}, 6),
        taken(
            "TypesThatMove", "%T/moved.rnx", {"720 epochs, 1 with an event left out", "solved 720"}, 6,
            "awk '/^>/ && ++n == 300 {print \">                              4  1\\n\" types} /OBS TYPES/ {types = "
            "substr($0, 1, 6) \" L1C C1C\" substr($0, 15)} n >= 300 && /^G/ {$0 = substr($0, 1, 3) substr($0, 20, 16) "
            "substr($0, 4, 16) substr($0, 36)} {print}' " +
                kTrim + " > moved.rnx"),
        taken("Version2", "%D/gnss/rinex2/esbc1770_06h.20o", {"GPS (C1P L1P C2P L2P)", "solved 720"}, 6),
        taken("TwoSystems", "%S/ESBC00DNK_R_20201771400_04H_30S_MO_trim.rnx",
              {"GPS (C1C L1C C2W L2W), 100 %", "BDS (C2I L2I C6I L6I), 100 %", "solved 480"}, 6),
        taken("ManySystemsAndTypes", kAsIs,
              {"Galileo (not processed)", "satellites beyond 15 an epoch were left out", "solved 120"}, 8),
        taken("ByHand", kAsIs + " --systems 'gps' --codes 'g: c1c,l1c,c5q,l5q'",
              {"systems: GPS (C1C L1C C5Q L5Q), 41.8 %"}, 100),
        taken("CodesOfOneBand", kAsIs + " --codes GPS:C1C,L1C,C1W,L1W", {"code and phase of another"}, 0),
        taken("CodesOfNoSatellite", kTrim + " --codes GPS:C1X,L1X,C2X,L2X",
              {"no satellite has all of them; observed are GPS C1C L1C C2W L2W"}, 0),
        taken("CodesOfAnotherSystem", kTrim + " --systems GPS --codes BDS:C2I,L2I,C6I,L6I",
              {"--systems GPS leaves this system out"}, 0),
        taken("SystemWithoutData", kTrim + " --systems BDS", {"no satellite of one of them"}, 0),
        taken("AnotherYear", "%D/archives/KMS300DNK_R_20221591000_01H_30S_MO.rnx",
              {"GPS (C1C L1C C2W L2W)", "BDS (C2I L2I C6I L6I)", "BDS C1P L1P C5P L5P", "none of the arc"}, 0),
        taken("TimesInUtc", "%T/utc.rnx", {"utc.rnx: ", "has times in UTC"}, 0,
              "sed 's/GPS         TIME OF FIRST/GLO         TIME OF FIRST/' " + kTrim + " > utc.rnx")};
    for (const Trial& trial : trials) {
        SCOPED_TRACE(trial.name);
        try_out(trial);
    }
}

/// Files of a run that don't go together, with the simulated arc (%A).
Trial together(const char* name, const std::string& options, int status, const std::vector<std::string>& words,
               const std::string& make = "") {
    return {name, "run --nav %A/arc.nav.gz " + options, status, words, "", 0, "", make};
}

INSTANTIATE_TEST_SUITE_P(
    FilesOfARun, Trust,
    possible(
        together("TwoReceivers", "--obs %A/both.obs.gz %E/data/demo_bds.obs", 2,
                 {"both.obs.gz and ", "demo_bds.obs: C1P of C", "two receivers"}),
        together("TwoReceiversOfDifferentSystems", "--obs %A/gps.obs.gz %E/data/demo_bds.obs", 2,
                 {"no satellite in common", "two receivers"}),
        together("OneSystemOfTwoFiles", "--systems GPS --obs %A/gps.obs.gz %E/data/demo_bds.obs", 0,
                 {"GPS (C1P L1P C2P L2P)"}),
        together("ClocksWithoutOrbits", "--obs %A/gps.obs.gz --clk %T/a.clk", 2, {"--clk", "--sp3"},
                 "printf '     3.00           CLOCK DATA                              RINEX VERSION / TYPE\n' > a.clk"),
        together("HeaderOfNavigationAlone", "--obs %A/gps.obs.gz --nav %T/a.nav", 2,
                 {"a.nav: navigation: nothing that could serve"},
                 "zcat %A/arc.nav.gz | sed '/END OF HEADER/q' > a.nav"),
        together("OneOutputByTwoNames", "--obs %A/gps.obs.gz --out o.csv --satellites-out ./o.csv", 2,
                 {"./o.csv: this is the file of --out o.csv"}),
        together("ReferenceOfAnotherSatellite", "--obs %A/gps.obs.gz --truth %E/data/demo_truth.csv", 0,
                 {"of another satellite"}),
        together("AttitudeOfNoRotation", "--obs %A/gps.obs.gz --att %T/a.txt", 2,
                 {"none of these quaternions is a rotation"},
                 "zcat %A/attitude.txt.gz | awk '/^ *5/{print $1,2*$2,2*$3,2*$4,2*$5}' > a.txt"),
        together("TwoAttitudes", "--obs %A/gps.obs.gz --att %A/attitude.txt.gz %E/data/demo_att_zdown.txt", 2,
                 {"two attitudes at "}),
        together("AttitudeBackwards", "--obs %A/gps.obs.gz --att %T/a.txt", 0, {"attitude: quaternions\nepochs: 121"},
                 "zcat %A/attitude.txt.gz | grep '^ *5' | tac > a.txt"),
        together("PhasesInMetres", "--obs %T/a.obs", 0, {"RESTARTED 121", "Phases in cycles"},
                 "zcat %A/gps.obs.gz | awk '/^G/&&h{$0=substr($0,1,19) sprintf(\"%14.3f\",substr($0,20,14)*0.1903) "
                 "substr($0,34)} /END OF HEADER/{h=1} {print}' > a.obs"),
        together("OrientationOfOtherYears", "--obs %A/gps.obs.gz --eop %E/data/grace_b/finals_2010_07.txt.gz", 2,
                 {"THE EARTH ORIENTATION COVERS NOTHING OF THE ARC"}),
        together("PlanetsOfOtherYears",
                 "--obs %G/grcb2080_00h12h.10o --sp3 %G/COD15942.EPH --jpl %D/jpl/de438r_2016_2021.txt", 2,
                 {"THE PLANETS COVER NOTHING OF THE ARC: 2016-01-05 to 2021-04-08"}),
        Trial{"OrbitWithOrientationOfOtherYears",
              "orbit --obs %A/gps.obs.gz --nav %A/arc.nav.gz --eop %E/data/grace_b/finals_2010_07.txt.gz",
              2,
              {"THE EARTH ORIENTATION COVERS NOTHING OF THE ARC"},
              "",
              0,
              ""},
        Trial{"TideWithOrientationThatEnds",
              "tide --blh 57 11 45 --epoch 2010-08-01T00:00:00 --duration 2e6 --interval 1e5 --eop "
              "%E/data/grace_b/finals_2010_07.txt.gz",
              0,
              {"note: THE EARTH ORIENTATION COVERS PART"},
              "",
              0,
              ""},
        together("ReceiverBelowZero", "--obs %A/gps.obs.gz --receiver -1", 2, {"--receiver: a number from 0 on"}),
        together("OneEpochInTwentyMinutes", "--obs %A/gps.obs.gz --interval 1200", 0, {"epochs: 4, "}),
        together("NoOrbitForTheFile",
                 "--nav %S/ESBC00DNK_R_20201770000_01D_MN.rnx --obs " + kTrim + " --sp3-out %T/o.sp3", 1,
                 {"orbit not written"})),
    name_of);

/// A file as it is, its trim, one cut short beside it, and one in pieces give the same rows.
void same_epochs_however_the_files_hold_them() {
    const std::string run = "run --nav %S/ESBC00DNK_R_20201770000_01D_MN.rnx --systems GPS --to 3600 --out ";
    ASSERT_EQ(
        shell(resolve("head -c 500000 " + kTrim +
                      " > cut.rnx\nawk '/END OF HEADER/{print > \"a.rnx\"; print > "
                      "\"b.rnx\"; h=1; next} /^>/{n++} !h{print > \"a.rnx\"; print > \"b.rnx\"; next} n<=60{print > "
                      "\"b.rnx\"; next} n<=200{print > \"a.rnx\"}' " +
                      kTrim))
            .status,
        0);
    leopod_ok(resolve(run + out("whole.csv") + " --obs " + kTrim));
    const std::string whole = read_file(out("whole.csv"));
    EXPECT_EQ(std::count(whole.begin(), whole.end(), '\n'), 121);
    for (const std::string& obs : {kAsIs, "%T/cut.rnx " + kTrim, std::string("%T/a.rnx %T/b.rnx")}) {
        leopod_ok(resolve(run + out("other.csv") + " --obs " + obs));
        EXPECT_TRUE(read_file(out("other.csv")) == whole) << obs;
    }
}

// --- fits and propagations -------------------------------------------------------------------------------------------

/// The truth of the demo, an hour of earth-fixed positions, with a change to its x, y, z; fitted with earth orientation and further options.
Trial fit(const char* name, const std::function<void(std::size_t row, double* xyz)>& change, const std::string& options,
          int status, const std::vector<std::string>& words, const std::string& figure = "", double most = 0,
          const std::string& more_files = "", const std::string& pieces = "A0:3600 AC:3600 AS:3600") {
    std::string table = "mjd_gpst,sod_gpst,x_m,y_m,z_m\n";
    const std::vector<Row> truth = read_csv(kDemo + "truth.csv");
    for (std::size_t i = 1; i < truth.size(); ++i) {
        double xyz[3] = {truth[i].value("x_tag"), truth[i].value("y_tag"), truth[i].value("z_tag")};
        change(i, xyz);
        char line[200];
        std::snprintf(line, sizeof line, "59232,%.3f,%.12g,%.12g,%.12g\n", truth[i].value("sod_tag"), xyz[0], xyz[1],
                      xyz[2]);
        table += line;
    }
    const std::string forces =
        "f.cfg<+Force_Models\nEarth_Gravity = YES 30\nThird_Body_Gravity = YES SUN MOON\nGeneral_Relativity = YES\n"
        "Empirical_Force = YES " +
        pieces + "\n-Force_Models\n" + kSettings + ">";
    return {name,
            "fit --dynamics %T/f.cfg " + options + (holds(options, "--positions") ? "" : " --positions %T/p.csv"),
            status,
            words,
            figure,
            most,
            forces + "p.csv<" + table + ">" + more_files};
}
const auto kUnchanged = [](std::size_t, double*) {};
const std::string kOrientation = "--eop %E/data/demo_eop.txt ";

/// Changes one coordinate of the thirtieth position.
auto one_at(double value) {
    return [value](std::size_t row, double* xyz) {
        if (row == 30) xyz[0] = value;
    };
}
void in_kilometres(std::size_t, double* xyz) {
    for (int i = 0; i < 3; ++i) xyz[i] *= 1e-3;
}
/// Earth-fixed to a frame that doesn't turn: the rotation alone, enough to be taken for inertial.
void unturned(std::size_t row, double* xyz) {
    const double angle = 7.2921151467e-5 * 30.0 * static_cast<double>(row), x = xyz[0];
    xyz[0] = std::cos(angle) * x - std::sin(angle) * xyz[1];
    xyz[1] = std::sin(angle) * x + std::cos(angle) * xyz[1];
}

INSTANTIATE_TEST_SUITE_P(
    Fits, Trust,
    possible(
        fit("Good", kUnchanged, kOrientation, 0, {"converged after"}, "residuals: rms along ([0-9.]+)", 0.01),
        fit("Kilometres", in_kilometres, kOrientation, 2, {"position 1 of", "kilometres?"}),
        fit("OnePositionFarOff", one_at(7e9), kOrientation, 2, {"position 30 of", "00:15:00.000", "7000000000.000 m"}),
        fit("OnePositionFartherOff", one_at(7e12), kOrientation, 2, {"position 30 of", "7.000e+12 m"}),
        fit("OnePositionOffTheOrbit", one_at(7e7), kOrientation, 0,
            {"positions used: 119 of 120", "left out as outlier 1"}, "residuals: rms along ([0-9.]+)", 0.01),
        fit("OnePositionOffTheOrbitAllAlike", one_at(7e7), kOrientation + "--weights unit", 1,
            {"NOT CONVERGED", "outliers"}),
        Trial{"RealOrbit",
              "fit --positions %D/gnss/leo_truth_2018364/sentinel3a_2018363_365_TAI_asL01.sp3 --to 2018-12-29T14:00:01 "
              "--dynamics "
              "%T/s.cfg "
              "--gravity %D/gravity/EGM2008.txt --eop %D/eop/eopc04_IAU2000.62-now --jpl %D/jpl/de438r_2016_2021.txt",
              0,
              {"times TAI", "c04 file", "converged after"},
              "residuals: rms along ([0-9.]+)",
              0.015,
              "s.cfg<+Force_Models\nEarth_Gravity = YES 70\nThird_Body_Gravity = YES SUN MOON "
              "JUPITER\nGeneral_Relativity = YES\n"
              "Empirical_Force = YES A0:1200 C0:1200 R0:1200\n-Force_Models\n" +
                  kSettings + ">"},
        fit("KilometresByTheName", kUnchanged, kOrientation + "--positions %T/km.csv", 2, {"x_km: metres"}, "", 0,
            "km.csv<mjd_gpst,sod_gpst,x_km,y_km,z_km\n59232,0,7000,0,0\n>"),
        fit("RowCutShort", kUnchanged, kOrientation + "--positions %T/cut.csv", 2, {"cut.csv", "line 3, 59232,60,70"},
            "", 0, "cut.csv<mjd_gpst,sod_gpst,x_m,y_m,z_m\n59232,0,7e6,0,0\n59232,60,70>"),
        fit("TwoSatellitesInOneFile", kUnchanged, kOrientation + "--positions %T/two.csv", 2, {"several positions at"},
            "", 0, "two.csv<mjd_gpst,sod_gpst,x_m,y_m,z_m\n59232,0,7e6,0,0\n59232,0,0,7e6,0\n>"),
        fit("NotANumber", one_at(std::nan("")), kOrientation, 2, {"p.csv", "line 31"}),
        fit("EarthFixedAsInertial", kUnchanged, kOrientation + "--frame eci", 1, {"NOT CONVERGED", "--frame ecef?"}),
        fit("InertialAsEarthFixed", unturned, kOrientation, 1, {"NOT CONVERGED", "--frame eci?"}),
        fit("NoOrientation", kUnchanged, "", 1, {"NO EARTH ORIENTATION"}),
        fit("OrientationOfOtherYears", kUnchanged, "--eop %D/grace_b_2010208/finals_iau2000_2010_07_08.txt", 2,
            {"COVERS NOTHING OF THE ARC", "2010-07-10 to 2010-08-13", "2021-01-18"}),
        fit("OrientationOfAnotherFormat", kUnchanged, kOrientation + "--eop-format c04", 2, {"format rapid, not c04"}),
        fit("FieldOfLowerDegree", kUnchanged, kOrientation + "--gravity %T/g.txt", 2, {"complete to degree 2"}, "", 0,
            "g.txt<2 0 -4.8e-4 0\n2 1 0 0\n2 2 2.4e-6 -1.4e-6\n3 0 9.5e-7 0\n>"),
        fit("MorePiecesThanTheLibraryHolds", kUnchanged, kOrientation, 2, {"3571 pieces", "longer pieces"}, "", 0, "",
            "A0:1"),
        Trial{
            "ReferenceWithoutDatesOfAnArcAHairBeforeMidnight",
            "fit --positions %T/hair.csv --dynamics %E/demo_orbit.cfg --eop %E/data/demo_eop.txt --truth %T/plain.csv",
            0,
            {},
            "fitted orbit +epochs 101.*largest ([0-9.]+)",
            0.01,
            "",
            "'" + kProgram +
                "' propagate --epoch 2021-01-18T00:00:00 --frame eci --state 6878137 0 0 0 7000 3000 --duration 6000 "
                "--dynamics %E/demo_orbit.cfg --eop %E/data/demo_eop.txt --out orbit.csv\n"
                "awk -F, -v OFS=, 'NR==1{print \"sod_gpst,x_m,y_m,z_m\"; next} {print $3,$4,$5,$6}' orbit.csv > "
                "plain.csv\n"
                "awk -F, 'NR==1{print \"mjd_gpst,sod_gpst,x_m,y_m,z_m\"; next} {s=$3-5e-4; m=$2; if(s<0){s+=86400; "
                "m--} "
                "printf \"%d,%.4f,%.6f,%.6f,%.6f\\n\",m,s,$4-5e-4*$7,$5-5e-4*$8,$6-5e-4*$9}' orbit.csv > hair.csv"},
        Trial{"PositionsWithoutDates",
              "fit --positions %T/p.csv --dynamics %E/demo_orbit.cfg",
              2,
              {"no dates"},
              "",
              0,
              "p.csv<sod,x_m,y_m,z_m\n" +
                  [] {
                      std::string rows;
                      for (int i = 0; i < 60; ++i) rows += std::to_string(30 * i) + ",7000000,0,0\n";
                      return rows;
                  }() +
                  ">"}),
    name_of);

Trial propagation(const char* name, const std::string& options, int status, const std::vector<std::string>& words,
                  const std::string& files = "") {
    return {name,
            "propagate --epoch 2021-01-18T00:00:00 --dynamics %T/c.cfg " + options,
            status,
            words,
            "",
            0,
            "c.cfg<+Force_Models\nEarth_Gravity = YES 30\nEmpirical_Force = YES A0:60\n-Force_Models\n" + kSettings +
                ">" + files};
}
const std::string kState = "--frame eci --state 6878137 0 0 0 7000 3000 ";

INSTANTIATE_TEST_SUITE_P(
    Propagations, Trust,
    possible(
        propagation("Good", kState + "--duration 6000", 0, {"101 epochs"}),
        propagation("MorePiecesThanTheLibraryHoldsAtZero", kState + "--duration 54000", 0, {"901 epochs"}),
        propagation("ReferenceOfAnotherDay", kState + "--duration 6000 --eop %E/data/demo_eop.txt --truth %T/t.csv", 2,
                    {"t.csv: covers no epoch of the arc"},
                    "t.csv<sod_gpst_2021_01_20,x_m,y_m,z_m\n0,1e6,6e6,0\n60,2e6,6e6,0\n>"),
        propagation("StateInKilometres", "--frame eci --state 6878 0 0 0 7.0 3.0", 2, {"kilometres?"}),
        propagation("VelocityInKilometres", "--frame eci --state 6878137 0 0 0 7.0 3.0", 2, {"lowest point", "units"}),
        propagation("IntoTheGround", "--frame eci --state 6878137 0 0 0 6000 3000 --duration 6000", 1,
                    {"ORBIT ENDS BEFORE THE ARC"}),
        propagation("TooFast", "--frame eci --state 6878137 0 0 0 7000 9000", 2, {"for good"}),
        propagation("NotANumber", "--frame eci --state nan 0 0 0 7000 3000", 2, {"six numbers"}),
        propagation("EarthFixedWithoutOrientation", "--state 6878137 0 0 0 6500 3000 --duration 600", 1,
                    {"NO EARTH ORIENTATION"}),
        propagation("OrientationThatEnds", "--state 6878137 0 0 0 6500 3000 --duration 200000 " + kOrientation, 1,
                    {"COVERS PART OF THE ARC", "2021-01-17 to 2021-01-19"}),
        propagation("UnknownOption", kState + "--duraton=600", 2, {"did you mean --duration?"}),
        propagation("NumberOutOfRange", kState + "--duration 1e999", 2, {"--duration", "a number is expected"}),
        Trial{"PlanetsWithARepeatedRecord",
              "propagate --epoch 2021-01-18T00:00:00 " + kState +
                  "--duration 3000 --eop %E/data/demo_eop.txt --dynamics %E/demo_orbit.cfg --jpl %T/j.txt --truth "
                  "%T/ref.csv",
              0,
              {"without 1 repeated records"},
              "largest ([0-9.]+)",
              0.0005,
              "",
              "jpl=%D/jpl/de440_2018_2021.txt\nn=$(grep -n '^ *15 *1018' $jpl | cut -d: -f1)\n{ head -$((n+340)) $jpl; "
              "tail -n +$n $jpl; } > j.txt\n'" +
                  kProgram + "' propagate --epoch 2021-01-18T00:00:00 " + kState +
                  "--duration 3000 --eop %E/data/demo_eop.txt --dynamics %E/demo_orbit.cfg --jpl $jpl --out ref.csv"},
        Trial{"UnknownCommand", "propagte", 2, {"propagte is no command", "did you mean propagate?"}, "", 0, ""},
        Trial{"TodaysC04",
              "propagate --epoch 2010-07-27T00:00:00 --state 6878137 0 0 0 6500 3000 --duration 600 --dynamics "
              "%E/demo_orbit.cfg --eop %T/eopc04.txt",
              0,
              {"c04 file", "2010-07-26 to 2010-07-29"},
              "",
              0,
              "eopc04.txt<# YR  MM  DD  HH       MJD        x(\")        y(\")  UT1-UTC(s)       dX(\")      dY(\")\n"
              "2010   7  26   0  55403.00    0.130912    0.475531  -0.0478617   -0.000045   -0.000035    0.002751   "
              "-0.000966   0.0002262"
              "    0.000035    0.000041   0.0000059    0.000053    0.000058    0.000050    0.000051   0.0000101\n"
              "2010   7  27   0  55404.00    0.133654    0.474457  -0.0480843   -0.000064   -0.000043    0.002716   "
              "-0.001134   0.0001899"
              "    0.000035    0.000041   0.0000059    0.000053    0.000058    0.000050    0.000051   0.0000101\n"
              "2010   7  28   0  55405.00    0.136323    0.473229  -0.0482270   -0.000084   -0.000051    0.002624   "
              "-0.001279   0.0001036"
              "    0.000035    0.000041   0.0000059    0.000053    0.000058    0.000050    0.000051   0.0000101\n"
              "2010   7  29   0  55406.00    0.138923    0.471929  -0.0482570   -0.000104   -0.000059    0.002576   "
              "-0.001328  -0.0000446"
              "    0.000035    0.000041   0.0000059    0.000053    0.000058    0.000050    0.000051   0.0000101\n>"}),
    name_of);

}  // namespace
