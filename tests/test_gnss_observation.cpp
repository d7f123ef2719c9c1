/// Epoch selection, combinations, RINEX observation files and the observation store.
#include <cmath>
#include <cstring>

#include "gnss_observation.h"
#include "support.h"

namespace {

using support::LogRecorder;
using support::write_temp;
using Texts = std::vector<std::string>;
using Numbers = std::vector<double>;
using Ints = std::vector<int>;

std::vector<OBSDATA_EPOCH> store;

/// Loads a file into a fresh store, or behind what it holds (capacity 0).
bool load(std::string path, std::size_t capacity, double rate = 0.0) {
    if (capacity != 0) {
        store.assign(capacity, OBSDATA_EPOCH{});
        g_num_obs_storage = 0;
    }
    g_obs_storage = store.data();
    return load_observation_rinex(path.data(), 7, rate);
}
bool load_text(const std::string& text, std::size_t capacity = 16, double rate = 0.0) {
    return load(write_temp("text.obs", text), capacity, rate);
}

std::string label(std::string line, const char* text) {
    line.resize(60, ' ');
    return line + text + "\n";
}
std::string header(const char* version, const Texts& types) {
    std::string text = std::string("     ") + version + "           OBSERVATION DATA\n";
    const char* name = version[0] == '2' ? "# / TYPES OF OBSERV" : "SYS / # / OBS TYPES";
    for (const std::string& line : types) text += label(line, name);
    return text + label("", "END OF HEADER");
}
std::string epoch3(const char* second, int flag, const Texts& sats) {
    char line[64];
    std::snprintf(line, sizeof line, "> 2020 06 25 00 00%11s  %d%3zu\n", second, flag, sats.size());
    std::string text = line;
    for (const std::string& sat : sats) text += sat + "\n";
    return text;
}
const std::string kSat3 = "  20000000.123 7 100000000.456 7  20000003.000 7  90000000.000 7";
const std::string kGps3 = "G    4 C1P L1P C2P L2P";
const std::string kEpoch2 = " 10 07 27 00 00 00.0000000  0  2G01G02\n";

Numbers values(const OBSDATA_SAT& sat) {
    Numbers list;
    for (int k = 0; k < sat.num_obs; ++k) list.push_back(sat.obsdata[k].value);
    return list;
}

GTime at(double sod) { return {{59025, sod}, tsGPST}; }

TEST(ObservationFiles, WrittenAndReadAgain) {
    ASSERT_TRUE(load(support::arc21("both.obs"), 25));
    const std::vector<OBSDATA_EPOCH> before = store;
    const support::CommaLocale comma;
    std::string copy = (support::temp_dir() / "copy.rnx").string();
    ASSERT_TRUE(write_rinex_observation(copy.data(), 7, 3.05, g_num_obs_storage, store.data()));
    ASSERT_TRUE(load(copy, 25));
    ASSERT_EQ(g_num_obs_storage, 24);
    EXPECT_EQ(std::memcmp(store.data(), before.data(), 25 * sizeof(OBSDATA_EPOCH)), 0);
}

TEST(ObservationFiles, ValuesOfAnyForm) {
    for (const char* field : {"  20000000.123", " -20000000.123", "-120000000.123", "        -1.500", "       -1.5   ",
                              "-12345678.9012", "      -    1.0", "           -12", "  1234567.1234", "        .12345",
                              "-        1.500", "   12 34567.12", "          -abc", "     -99999999"}) {
        ASSERT_TRUE(load_text(header("3.05", {"G    1 C1C"}) + epoch3("0.0000000", 0, {std::string("G01") + field})));
        EXPECT_EQ(values(store[0].satobs[0]), Numbers{std::strtod(field, nullptr)}) << field;
    }
}

TEST(ObservationFiles, Version2Oddities) {
    LogRecorder log;
    const std::string five = "         1.000 1         2.000           3.000           4.000           5.000\n";
    const std::string cut = "        11.000          12.0002 \n        16.000          17.000\n";
    ASSERT_TRUE(load_text(header("2.20", {"     7    L1    L2    C1    P1    P2    S1    S2"}) +
                          " 10 07 27 00 00 00.0000000  4  1\n" + label("", "COMMENT") +
                          " 10 07 27 00 00 30.0000000  0  0\n"
                          " 10 07 27 00 00 00.0000000  0  3G 5 12R 7\n" +
                          cut + cut + cut.substr(0, cut.size() - 1)));
    const OBSDATA_SAT* sat = store[0].satobs;
    const Ints found = {g_num_obs_storage, sat[0].satsys, sat[0].prn, sat[1].prn, sat[2].satsys, sat[2].prn};
    EXPECT_EQ(found, (Ints{1, GPS, 5, 12, GLO, 7}));  // flag 4 and no satellites are passed over
    // values 3 to 5 are cut off, so those of the rest line move up; the last one ends the file
    EXPECT_EQ(values(sat[2]), (Numbers{11, 12, 16, 17, 0, 0, 0}));
    EXPECT_EQ((Ints{sat[0].obsdata[0].LLI, sat[0].obsdata[1].LLI}), (Ints{0, 2}));
    EXPECT_EQ((Numbers{sat[0].obsdata[0].sigma, sat[0].obsdata[2].sigma, sat[0].obsdata[6].sigma}),
              (Numbers{0.002, 0.3, 0.0}));
    // epoch lines that keep the columns and such that don't
    for (auto line : {" 10  7 27  0  1 30.5000000  0  2 05G12", " 10 07 27 00 01 3.05e1      0 2  05G12",
                      " 10 7 27 00 01 30.5        0 02  05 12", "010 07 27 00 01 30.5        0  2  5G12"}) {
        ASSERT_TRUE(
            load_text(header("2.20", {"     1    L1"}) + line + "\n" + cut.substr(0, 22) + "\n        21.000\n"));
        EXPECT_TRUE(g_num_obs_storage == 1 && gtimeSubSec(store[0].epoch_time, {{55404, 90.5}, tsGPST}) == 0.0) << line;
        EXPECT_EQ((Ints{store[0].sat_num, sat[0].prn, sat[1].prn}), (Ints{2, 5, 12})) << line;
        EXPECT_EQ(values(sat[1]), (Numbers{21})) << line;
    }
    for (auto line : {" 10 07 27 00 01 30.5000000  0  0", " 10 07 27 00 01 30.5000000  1  2 05G12",
                      " 10 07 27 00 61 30.5000000  0  2 05G12", "x10 07 27 00 01 30.5000000  0  2 05G12"}) {
        ASSERT_TRUE(load_text(header("2.20", {"     1    L1"}) + line + "\n"));
        EXPECT_EQ(store[0].sat_num, 0) << line;  // an empty load claims an untouched record
    }
    // five types: each satellite consumes a line too many
    ASSERT_TRUE(load_text(header("2.20", {"     5    L1    L2    C1    P1    P2"}) + kEpoch2 + five + cut));
    EXPECT_EQ(values(sat[1]), (Numbers{16, 17, 0, 0, 0}));
    // twelve types: places ten to twelve lie in the label; ten values are kept and the lines stay in step
    const std::string types12 = "    12    L1    L2    C1    P1    P2    LA    SA    S1    S2";
    const std::string all5 = "         1.000           2.000           3.000           4.000           5.000 0\n";
    ASSERT_TRUE(load_text(header("2.20", {types12}) + kEpoch2 + all5 + all5 + five + all5 + all5 + five));
    EXPECT_TRUE(log.count(ULOG_WARNING_LEVEL, "more than 10 observation types") == 1 && sat[1].prn == 2);
    EXPECT_EQ(values(sat[1]), (Numbers{1, 2, 3, 4, 5, 1, 2, 3, 4, 5}));
    // sixteen satellites on two lines: the last one is dropped, and the next epoch stays in step
    std::string many = header("2.20", {"     1    L1"}) + " 10 07 27 00 00 00.0000000  0 16", numbers;
    for (int prn = 21; prn < 37; ++prn) {
        many += (prn == 33 ? "\n" + std::string(32, ' ') : "") + "G" + std::to_string(prn);
        numbers += "        " + std::to_string(prn) + ".000\n";
    }
    ASSERT_TRUE(load_text(many + "\n" + numbers + " 10 07 27 00 00 30.0000000  0  1G40\n        40.000\n"));
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "text.obs: more than 15 satellites in an epoch"), 1);
    EXPECT_EQ((Ints{g_num_obs_storage, store[0].sat_num, sat[14].prn, store[1].satobs[0].prn}), (Ints{2, 15, 35, 40}));
    EXPECT_EQ(values(sat[14]), Numbers{35});
}

TEST(ObservationFiles, Version3Oddities) {
    LogRecorder log;
    ASSERT_TRUE(load_text(
        header("3.05", {"J    1 C1C", kGps3, "E    1 C1C", "C    1 C2I"}) + epoch3("29.6000000", 0, {"G01" + kSat3}) +
            epoch3("29.8000000", 0, {"E03" + kSat3, "G01" + kSat3, "C05" + kSat3, "G02", "R01" + kSat3}) +
            epoch3("30.0000000", 1, {"G01" + kSat3}) + "> 2020 06 25 00 01  0.0000000  0\n",
        16, 30.0));
    const OBSDATA_SAT* sat = store[0].satobs;
    EXPECT_EQ((Ints{g_num_obs_storage, store[0].sat_num}), (Ints{1, 5}));  // others: out of step, flag, no count
    EXPECT_EQ(values(sat[0]), (Numbers{20000000.123, 100000000.456, 20000003.0, 90000000.0}));
    EXPECT_EQ(values(sat[1]), (Numbers{0, 0, 0, 0}));  // G02, blank

    // dropped systems use up no slot; a continuation line of types is consumed; a fourth system is dropped
    Texts sats(10, "E01" + kSat3);
    for (int prn = 10; prn < 30; ++prn) sats.push_back("G" + std::to_string(prn) + kSat3);
    const std::string types14 = "G   14 C1P L1P C2P L2P S1P S2P D1P D2P C5Q L5Q S5Q D5Q C1C";
    ASSERT_TRUE(load_text(header("3.05", {types14, "       L1C", "C    1 C2I", kGps3, kGps3}) +
                          epoch3("0.0000000", 0, sats) + epoch3("30.0000000", 0, {"G01" + kSat3})));
    for (auto limit : {"3 systems", "15 satellites", "10 observation types"})
        EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, std::string("text.obs: more than ") + limit), 1) << limit;
    EXPECT_EQ((Ints{sat[14].prn, sat[14].num_obs, store[1].satobs[0].prn}), (Ints{24, 10, 1}));
    log.clear();
    sats.resize(25);  // ten of them dropped anyway, so that all others stay
    ASSERT_TRUE(load_text(header("3.05", {kGps3}) + epoch3("0.0000000", 0, sats)));
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "satellites in an epoch"), 0);
}

TEST(ObservationFiles, FailuresAndEmptyLoads) {
    EXPECT_FALSE(load("no%s.obs", 1) || load_text("") || load_text("     3.05           NAVIGATION DATA\n"));
    // an unknown version: one untouched record is claimed, and goes to the front
    EXPECT_TRUE(load_text(header("1.00", {})) && g_num_obs_storage == 1);
    const std::string good = header("3.05", {kGps3}) + epoch3("0.0000000", 0, {"G01" + kSat3});
    LogRecorder log;
    for (const char* second : {"nan", "1e300", "-5.0000000"}) {  // no dates
        EXPECT_TRUE(load_text(good + epoch3(second, 0, {}) + epoch3("x", 0, {}), 0) && g_num_obs_storage == 2)
            << second;
        EXPECT_EQ(store[0].epoch_time.sys, UKNTS);
    }
    const std::string bad2 =
        " 10 13 27 00 01 30.5000000  0  1G05\n        21.000\n 1x 12 27 00 01 30.5000000  0  1G05\n";
    EXPECT_TRUE(load_text(header("2.20", {"     1    L1"}) + bad2 + bad2.substr(0, 44)));
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "text.obs: epochs whose fields are no date are dropped"), 4);
}

TEST(EpochSelection, ObservablesAndSatellites) {
    sysGNSS systems[] = {GPS, BDS};
    set_gnssconfig_system(&gnssconfig, 2, systems);
    gnssconfig.obs_type_freq_code_used[0][4] = gnssconfig.obs_type_freq_code_used[0][0];  // behind the four in use
    const Texts sats = {"G01" + kSat3 + "         2.000", "G02" + kSat3, "C06" + kSat3, "C07" + kSat3, "E03"};
    ASSERT_TRUE(load_text(header("3.05", {"G    5 C1P L1P C2P L2P L1P", "C    4 C1P L1P C5P L5P"}) +
                          epoch3("0.0000000", 0, sats)));
    OBSDATA_EPOCH& epoch = store[0];
    epoch.satobs[1].obsdata[1].code = aC;       // the other phase of the band is blank
    epoch.satobs[2].obsdata[0].value = 0.0005;  // absent
    epoch.satobs[3].obsdata[0].value = -0.002;  // present
    epoch.satobs[4] = epoch.satobs[0];
    for (int k : {0, 2}) epoch.satobs[4].obsdata[k].value = k == 0 ? HUGE_VAL : NAN;
    choose_observation(&epoch);
    EXPECT_EQ(epoch.satobs[0].obs_index_used[1], 4);  // the later of two
    EXPECT_EQ(epoch.satobs[0].num_obs_used, 4);
    EXPECT_EQ((Ints{epoch.satobs[4].obs_index_used[0], epoch.satobs[4].obs_index_used[2]}), (Ints{-1, -1}));
    int in_epoch[MAXSAT_EPOCH], satindex[MAXSAT_EPOCH];
    ASSERT_EQ(choose_satellite(&epoch, in_epoch, satindex), 2);
    EXPECT_EQ((Ints{in_epoch[0], satindex[0], in_epoch[1], satindex[1]}), (Ints{0, 0, 3, 38}));
    epoch = OBSDATA_EPOCH{};
    epoch.sat_num = 1000000;  // a caller's count beyond the array
    EXPECT_STOP(choose_satellite(&epoch, in_epoch, satindex), "available satellite number is 0! stopping!");
}

// Ranges and phases of one distance with an ionospheric delay that goes with 1/f^2.
TEST(Combinations, RemoveTheIonosphere) {
    const double rho = 21000000.0, multipath[] = {0.7, -1.3};
    double freq[] = {1575.42, 1227.6}, range[2], phase[2], mp[2], combined[2], factor[2];
    for (int i = 0; i < 2; ++i) {
        const double delay = 12.0 * (freq[0] * freq[0]) / (freq[i] * freq[i]);
        range[i] = rho + delay + multipath[i];
        phase[i] = rho - delay;
    }
    get_multipath_combination(phase, range, freq, mp);
    get_ionosphere_free_combination(phase, range, freq, combined, factor);
    for (int i = 0; i < 2; ++i) EXPECT_NEAR(mp[i], multipath[i], 1e-7);
    EXPECT_NEAR(combined[0], rho + factor[0] * multipath[0] + factor[1] * multipath[1], 1e-7);
    EXPECT_NEAR(combined[1], rho, 1e-7);
}

TEST(ObservationStore, SortAndMatch) {
    std::vector<OBSDATA_EPOCH> list(6);
    const GTime times[] = {at(60), at(30), at(60), {}, at(0), at(30)};
    for (int i = 0; i < 6; ++i) list[i].epoch_time = times[i], list[i].rcv = i;
    ASSERT_EQ(remove_duplicate_gnss_observation(6, list.data()), 4);
    // the first of equal times
    EXPECT_EQ((Ints{list[0].rcv, list[1].rcv, list[2].rcv, list[3].rcv}), (Ints{3, 4, 1, 0}));

    g_obs_storage = list.data();
    g_num_obs_storage = 3;
    EXPECT_TRUE(get_obs_epoch(0, 3) == &list[0] && get_obs_epoch(3, 0) == &list[3]);  // one past the last is in reach
    EXPECT_TRUE(!get_obs_epoch(0, 4) && !get_obs_epoch(-1, 3) && !get_obs_epoch(4, list[4].rcv));
    g_obs_storage = nullptr;

    const double cases[][3] = {{-3600, 0.001, 0}, {3600, 0.001, 2}, {29.5, 1, 1}, {45, 1, -1}, {45, NAN, -1}};
    for (const auto& c : cases) EXPECT_EQ(match_observation_storage(&list[1], 3, at(c[0]), c[1]), c[2]);
}

TEST(ObservationStore, WrittenHeader) {
    OBSDATA_EPOCH epoch;
    initialize_obsdata_epoch(&epoch);
    epoch.epoch_time = at(30);
    epoch.flag_epoch = OBS_OK;
    epoch.sat_num = 3;
    OBSDATA_SAT* sat = epoch.satobs;  // GPS, BDS with more types than the line has room for, and GLO, which has no row
    for (int i = 0; i < 3; ++i) sat[i].num_obs = 13 + i, sat[i].satsys = static_cast<sysGNSS>(1 << i);
    sat[0].obsdata[1] = {0, L2, PHASE, aW, 0, 0.0, 0.0, 0.0};
    std::vector<char> text(10240);
    generate_rinex_header(2.0, 3, 1, &epoch, text.data());
    const std::string types = "\nG  13  UuU L2W UuU UuU UuU UuU UuU UuU UuU UuU UuU UuU UuU  SYS / # / OBS TYPES\n";
    const std::string time = label("  2020     6    25     0     0   30.0000000     GPS", "TIME OF FIRST OBS ");
    EXPECT_NE(std::string(text.data()).find(types + time), std::string::npos) << text.data();
    std::string name = (support::temp_dir() / "header.rnx").string();
    EXPECT_TRUE(write_rinex_observation(name.data(), 7, 3.05, 5, nullptr));  // no store: no epochs
    EXPECT_EQ(support::read_file(name).find('>'), std::string::npos);
}

}  // namespace
