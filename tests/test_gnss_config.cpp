// Satellite identifiers, observation codes, frequencies and the configuration file.
#include <cstring>

#include "gnss_config.h"
#include "support.h"

namespace {

constexpr double kDegree = 0.017453292519943295;

void read_config(const std::string& content) {
    std::string path = support::write_temp("gnss.cfg", content);
    set_gnssconfig_from_file(path.data());
}

}  // namespace

TEST(Identifiers, IndexBothWays) {
    support::LogRecorder log;
    const int forward[][3] = {{GPS, 33, 32}, {BDS, 64, 95}, {STA, 3, 104}, {GAL, 5, -1},   {GLO, 5, -1},  {GEO, 5, -1},
                              {GPS, 0, -1},  {GPS, -9, -1}, {BDS, -31, 0}, {BDS, -32, -1}, {LEO, 12, 106}};
    for (auto& f : forward) EXPECT_EQ(satsysprn2index(static_cast<sysGNSS>(f[0]), f[1]), f[2]) << f[0] << ' ' << f[1];
    sysGNSS sys = GEO;
    int prn = 77;
    for (int index : {-1, -5}) EXPECT_FALSE(satindex2sysprn(index, &sys, &prn));
    EXPECT_TRUE(sys == GEO && prn == 77);
    for (int index = 0; index < MAXSAT_GNSS; ++index) {
        EXPECT_TRUE(satindex2sysprn(index, &sys, &prn));
        EXPECT_EQ(sys, index < 32 ? GPS : index < 95 ? BDS : LEO);
        EXPECT_EQ(satsysprn2index(sys, prn), index);
    }
    EXPECT_TRUE(log.messages().empty());
    EXPECT_FALSE(satindex2sysprn(104, &sys, &prn));
    EXPECT_TRUE(sys == UKNSYS && prn == -1);
    EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, "satindex2sysprn(): satindex[104] > MAXSAT_GNSS[97]"));
    EXPECT_EQ(satsysprn2index(BDS, 76), -1);
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "(): index[107] > MAXSAT_GNSS + MAXNUM_STATION, sys=107, prn=2"), 1);
    EXPECT_EQ(satsysprn2index(LEO, 2147483647), -1);
}

TEST(Identifiers, Texts) {
    const struct {
        const char* text;
        sysGNSS sys;
        int prn;
    } cases[] = {{"G07", GPS, 7}, {"G-3", GPS, 0}, {" 07", UKNSYS, 7}, {"C 5", BDS, 5}, {"E", GAL, 0},
                 {"Rxx", GLO, 0}, {"L02", LEO, 2}, {"T1", STA, 1},     {"", UKNSYS, 0}};
    for (auto& c : cases) {
        int prn = 99;
        EXPECT_EQ(string2satsysprn(std::string(c.text).data(), &prn), c.sys) << c.text;
        EXPECT_EQ(prn, c.prn) << c.text;
    }
    const char* texts[] = {"G07", "G07", "C07", "E07", "R07", "G07", "L07", "G07"};
    const char* names[] = {"UKNSYS", "GPS", "BDS", "GAL", "GLO", "GEO", "LEO", "UKNSYS"};
    char text[4], name[7];
    for (int i = UKNSYS; i <= STA; ++i) {
        satsysprn2string(static_cast<sysGNSS>(i), 7, text);
        EXPECT_STREQ(text, texts[i]);
        sysGNSSAsString(static_cast<sysGNSS>(i), name);
        EXPECT_STREQ(name, names[i]);
    }
    satsysprn2string(GPS, -2147483647 - 1, text);  // stays in 4 characters
}

TEST(ObservationCodes, Conversion) {
    support::LogRecorder log;
    TYPE_FREQ_CODE tfc{};
    char text[4] = "???";
    TYPE_FREQ_CODE_AsString(tfc, text);
    EXPECT_STREQ(text, "UuU");
    for (char t : std::string("CLDS")) {
        for (char b : std::string("123456789abcdefgh")) {
            for (char c : std::string("ABCDEILMNPQSWXYZ")) {
                char code[4] = {t, b, c, '\0'};
                obscode_conversion_v3(code, &tfc.type, &tfc.freq, &tfc.code);
                TYPE_FREQ_CODE_AsString(tfc, text);
                EXPECT_STREQ(text, code);
            }
        }
    }
    const auto is = [&](OBSTYPE t, OBSFREQ b, OBSCODE c) { return tfc.type == t && tfc.freq == b && tfc.code == c; };
    EXPECT_TRUE(is(SIGNAL, K5, aZ) && log.messages().empty());
    const struct {
        const char* code;
        TYPE_FREQ_CODE tfc;
    } cases[] = {{"C1", {RANGE, L1, aC}},  {"P2", {RANGE, L2, aP}},  {"LA", {PHASE, L1, aC}}, {"Sh", {SIGNAL, K5, aP}},
                 {"X9", {SIGNAL, L9, aP}}, {"D0", {DOPPLER, L9, aP}}};  // bad characters leave what was there
    for (auto& c : cases) {
        obscode_conversion_v2(std::string(c.code).data(), &tfc.type, &tfc.freq, &tfc.code);
        EXPECT_TRUE(is(c.tfc.type, c.tfc.freq, c.tfc.code)) << c.code;
    }
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "Warning: unkonwn obs type: X in obscode_conversion_v2()\n"));
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "WARNING: UNKNOWN gnss obs frequency D0\n"));
    for (const char* code : {"C1 ", "%A?", ""}) {
        obscode_conversion_v3(std::string(code).data(), &tfc.type, &tfc.freq, &tfc.code);
        EXPECT_TRUE(is(RANGE, L1, aX));
    }
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "WARNING: UNKNOWN gnss obs type %A?\n"));
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "WARNING: UNKNOWN gnss obs code %A?\n"));
    EXPECT_EQ(log.messages().size(), 8u);
}

TEST(ObservationCodes, Frequencies) {
    support::LogRecorder log;
    EXPECT_EQ(get_obs_frequency(GLO, L1, -7), 1591.5);
    // multiples of the 10.23 MHz standard, from the signals' interface documents
    EXPECT_NEAR(get_obs_frequency(GPS, L2, 1), 120 * 10.23, 1e-9);
    EXPECT_NEAR(get_obs_frequency(BDS, L2, 1), 152.6 * 10.23, 1e-9);
    EXPECT_NEAR(get_obs_frequency(BDS, L6, 1), 124 * 10.23, 1e-9);
    EXPECT_NEAR(get_obs_frequency(GAL, L6, 1), 125 * 10.23, 1e-9);
    EXPECT_NEAR(get_obs_frequency(GAL, L8, 1), 116.5 * 10.23, 1e-9);
    EXPECT_EQ(get_obs_frequency(LEO, K5, 1), 70000.0);
    EXPECT_TRUE(log.messages().empty());
    const int filled[] = {0, 3, 6, 5, 3, 0, 8, 0};  // bands by system
    for (int sys = UKNSYS; sys <= STA; ++sys) {
        for (int band = -1; band <= K5 + 1; ++band) {
            get_obs_frequency(static_cast<sysGNSS>(sys), static_cast<OBSFREQ>(band), 1);
        }
        EXPECT_EQ(log.messages().size(), 20u - filled[sys]);
        log.clear();
    }
    EXPECT_EQ(get_obs_frequency(GAL, L2, 1), 0.0);
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "GPS01 band 2 can not find frequency value.\n"));
    EXPECT_EQ(get_obs_frequency(STA, L1, 1), 0.0);
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "Unrecognised satellite system: 7\n"));
}

TEST(Configuration, Defaults) {
    support::LogRecorder log;
    GNSSCONFIG config{};
    sysGNSS systems[] = {BDS, GLO, GAL, GPS};
    set_gnssconfig_system(&config, 4, systems);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "more than 3 systems"), 1);
    EXPECT_TRUE(config.num_sys == 3 && config.num_obs_freq_code[1] == 0 && config.ele_cutoff == 5 * kDegree);
    EXPECT_EQ(get_gnssconfig_sys_index(GAL, &config), 2);
    EXPECT_EQ(get_gnssconfig_sys_index(GPS, &config), -1);
    const TYPE_FREQ_CODE& last = config.obs_type_freq_code_used[2][config.obs_index_IF_phase[2][1]];
    EXPECT_TRUE(last.type == PHASE && last.freq == L5 && last.code == aC);
}

TEST(Configuration, File) {
    support::LogRecorder log;
    gnssconfig.thres_slip_gf = 0.07;
    read_config(
        "* a header\n//+GNSS_SYS\nGAL 1 C1C\n  +GNSS_SYS\n"
        "BDS 4 C1P L1P C5P L5P IF 0 2 1 3\nGPS 3 C1W L1W D2 // IF\n-GNSS_SYS\n"
        "+GENERAL_CONFIG\nELE_CUTOFF   10.0 // VAR_POS\nTHRES_MW_SLIP 0.4\nHUBER_COEF 1.5\nHUBER_POWER 2.5\n"
        "VAR_CLK 7e2\nVAR_VEL\n-GENERAL_CONFIG\nVAR_ACC 5.0");
    const GNSSCONFIG& c = gnssconfig;
    EXPECT_TRUE(c.num_sys == 2 && c.sys_used[0] == BDS && c.sys_used[1] == GPS);
    EXPECT_TRUE(c.opt_IF[0] == 1 && c.obs_index_IF_code[0][0] == 0 && c.obs_index_IF_code[0][1] == 2 &&
                c.obs_index_IF_phase[0][0] == 1 && c.obs_index_IF_phase[0][1] == 3 && c.opt_IF[1] == 0);
    EXPECT_TRUE(c.num_freq[0] == 2 && c.num_freq[1] == 2 && c.num_obs_freq_code[1] == 3);
    EXPECT_EQ(c.obs_type_freq_code_used[0][2].freq, L5);
    EXPECT_TRUE(c.ele_cutoff == 10 * kDegree && c.thres_slip_mw == 0.4 && c.thres_slip_gf == 0.07);
    EXPECT_TRUE(c.huber_param_spp[0] == 1.5 && c.huber_param_spp[1] == 2.5);
    EXPECT_EQ(c.var_pos, 100.0);  // the key stood in a comment
    EXPECT_EQ(c.var_vel, 700.0);  // no field: that of the line before
    EXPECT_EQ(c.var_acc, 100.0);  // outside the section
    EXPECT_EQ(log.count(ULOG_INFO_LEVEL, "Reading gnssconfig="), 1);
    EXPECT_EQ(log.messages().size(), 2u);  // and a warning: D2 has no third character
    // the tail of a longer line stays in the buffer behind a shorter one, and is searched for keys
    read_config("+GENERAL_CONFIG\nunknown 1.0   VAR_ACC\nb 42\n-GENERAL_CONFIG\n");
    EXPECT_TRUE(c.var_acc == 42.0 && c.num_sys == 0);
    // a blank line adds a system, with the fields of the line before
    read_config("+GNSS_SYS\n\nGPS 1 C1C\n\n");
    EXPECT_TRUE(c.num_sys == 3 && c.sys_used[0] == UKNSYS && c.sys_used[2] == GPS);
}

TEST(Configuration, ExcessIsDroppedWithOneWarning) {
    support::LogRecorder log;
    std::string fields;
    for (int i = 0; i < 40; ++i) fields += " C1C";
    read_config("+GNSS_SYS\nGPS 12 C1C C2W C5X C7X C1P C1X C1S C1L C1Y C1M C1N C6X IF 0 1 2 3\nBDS 2147483647" +
                fields + "\nGAL 4 C1C L1C C5X L5X IF 0 -2 1 99\n\nGPS 0\n-GNSS_SYS\n");
    const GNSSCONFIG& c = gnssconfig;
    EXPECT_TRUE(c.num_sys == 3 && c.num_obs_freq_code[0] == 10 && c.num_freq[0] == 3 && c.num_obs_freq_code[1] == 10);
    EXPECT_EQ(c.obs_type_freq_code_used[0][9].code, aM);
    EXPECT_TRUE(c.opt_IF[0] == 1 && c.obs_index_IF_phase[0][1] == 3 && c.opt_IF[2] == 0);
    for (const char* limit : {"more than 3 systems", "more than 10 observables", "more than 3 bands",
                              "more than 30 fields", "IF position outside 0 to 9"}) {
        EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, limit), 1) << limit;
    }
}

TEST(Configuration, MissingFile) {
    support::LogRecorder log;
    gnssconfig.num_sys = 2;
    set_gnssconfig_from_file(nullptr);
    EXPECT_EQ(gnssconfig.num_sys, 2);
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, ":set_gnssconfig_from_file()<gnss config file is empty, stopping>"), 1);
    ulog_subscribe(support::log_to_stderr, ULOG_ERROR_LEVEL);
    char missing[] = "/nowhere/%s%n.cfg";
    EXPECT_EXIT(set_gnssconfig_from_file(missing), testing::ExitedWithCode(1),
                "^gnssconfig file open failed, stopping\n");
    ulog_unsubscribe(support::log_to_stderr);
}
