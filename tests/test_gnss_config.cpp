// Satellite identifiers, observation codes, frequencies and the configuration file.
#include <tuple>

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
    const int forward[][3] = {{GPS, 33, 32}, {BDS, 64, 95}, {BDS, 76, -1},  {STA, 3, 104},  {GAL, 5, -1},
                              {GPS, -9, -1}, {BDS, -31, 0}, {BDS, -32, -1}, {LEO, 12, 106}, {LEO, 2147483647, -1}};
    support::LogRecorder log;
    for (auto& f : forward) EXPECT_EQ(satsysprn2index(static_cast<sysGNSS>(f[0]), f[1]), f[2]) << f[0] << ' ' << f[1];
    for (auto text : {"index[107] > MAXSAT_GNSS + MAXNUM_STATION, sys=107, prn=2", "index[2147483647] > MAXSAT_GNSS"})
        EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, std::string("satsysprn2index(): ") + text), 1);
    sysGNSS sys = GEO;
    int prn = 77;
    EXPECT_TRUE(!satindex2sysprn(-1, &sys, &prn) && sys == GEO && prn == 77);
    for (int index = 0; index < MAXSAT_GNSS; ++index) {
        EXPECT_TRUE(satindex2sysprn(index, &sys, &prn));
        EXPECT_EQ(sys, index < 32 ? GPS : index < 95 ? BDS : LEO);
        EXPECT_EQ(satsysprn2index(sys, prn), index);
    }
    EXPECT_TRUE(!satindex2sysprn(104, &sys, &prn) && sys == UKNSYS && prn == -1);
}

TEST(Identifiers, Texts) {
    const std::tuple<std::string, sysGNSS, int> cases[] = {{"G07", GPS, 7}, {"G-3", GPS, 0}, {" 07", UKNSYS, 7},
                                                           {"C 5", BDS, 5}, {"E", GAL, 0},   {"Rxx", GLO, 0},
                                                           {"L02", LEO, 2}, {"T1", STA, 1},  {"", UKNSYS, 0}};
    for (auto [text, sys, number] : cases) {
        int prn = 99;
        EXPECT_EQ(string2satsysprn(text.data(), &prn), sys) << text;
        EXPECT_EQ(prn, number) << text;
    }
    char text[4];
    satsysprn2string(GAL, 7, text);
    EXPECT_STREQ(text, "E07");
    char name[8];
    const std::pair<int, const char*> names[] = {{-1, "UKNSYS"}, {0, "UKNSYS"}, {GPS, "GPS"},
                                                 {BDS, "BDS"},   {GAL, "GAL"},  {GLO, "GLO"},
                                                 {GEO, "GEO"},   {LEO, "LEO"},  {STA, "UKNSYS"}};
    for (const auto& [sys, wanted] : names) {
        sysGNSSAsString(static_cast<sysGNSS>(sys), name);
        EXPECT_STREQ(name, wanted);
    }
    satsysprn2string(GPS, -2147483647 - 1, text);  // stays in 4 characters
}

TEST(ObservationCodes, Conversion) {
    TYPE_FREQ_CODE tfc{};
    char text[4] = "???";
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
    EXPECT_TRUE(is(SIGNAL, K5, aZ));
    // bad characters leave what was there
    const std::pair<std::string, TYPE_FREQ_CODE> cases[] = {{"C1", {RANGE, L1, aC}},  {"P2", {RANGE, L2, aP}},
                                                            {"LA", {PHASE, L1, aC}},  {"Sh", {SIGNAL, K5, aP}},
                                                            {"X9", {SIGNAL, L9, aP}}, {"D0", {DOPPLER, L9, aP}}};
    for (auto [code, wanted] : cases) {
        obscode_conversion_v2(code.data(), &tfc.type, &tfc.freq, &tfc.code);
        EXPECT_TRUE(is(wanted.type, wanted.freq, wanted.code)) << code;
    }
    for (std::string code : {"C1 ", "%A?", ""}) {
        obscode_conversion_v3(code.data(), &tfc.type, &tfc.freq, &tfc.code);
        EXPECT_TRUE(is(RANGE, L1, aX)) << code;
    }
}

TEST(ObservationCodes, Frequencies) {
    // multiples of the 10.23 MHz standard, from the signals' interface documents
    const std::tuple<sysGNSS, OBSFREQ, double> published[] = {
        {GPS, L2, 120}, {GPS, L5, 115}, {BDS, L2, 152.6}, {BDS, L5, 115}, {BDS, L6, 124},
        {BDS, L7, 118}, {GAL, L5, 115}, {GAL, L6, 125},   {GAL, L7, 118}, {GAL, L8, 116.5}};
    for (auto [sys, band, n] : published) EXPECT_NEAR(get_obs_frequency(sys, band, 1), n * 10.23, 1e-9) << sys << band;
    EXPECT_TRUE(get_obs_frequency(GLO, L1, -7) == 1591.5 && get_obs_frequency(GLO, L2, -6) == 1239.0);
    EXPECT_EQ(get_obs_frequency(LEO, K5, 1), 70000.0);
    EXPECT_EQ(get_obs_frequency(GAL, L2, 1) + get_obs_frequency(STA, L1, 1), 0.0);
}

TEST(Configuration, Defaults) {
    GNSSCONFIG config{};
    sysGNSS systems[] = {BDS, GLO, GAL, GPS};
    set_gnssconfig_system(&config, 4, systems);
    EXPECT_TRUE(config.num_sys == 3 && config.num_obs_freq_code[1] == 0 && config.ele_cutoff == 5 * kDegree);
    EXPECT_TRUE(get_gnssconfig_sys_index(GAL, &config) == 2 && get_gnssconfig_sys_index(GPS, &config) == -1);
    const TYPE_FREQ_CODE& last = config.obs_type_freq_code_used[2][config.obs_index_IF_phase[2][1]];
    EXPECT_TRUE(last.type == PHASE && last.freq == L5 && last.code == aC);
}

TEST(Configuration, File) {
    read_config(
        "* a header\n//+GNSS_SYS\nGAL 1 C1C\n  +GNSS_SYS\n"
        "BDS 4 C1P L1P C5P L5P IF 0 2 1 3\nGPS 3 C1W L1W D2 // IF\n-GNSS_SYS\n"
        "+GENERAL_CONFIG\nELE_CUTOFF   10.0 // VAR_POS\nTHRES_MW_SLIP 0.4\nTHRES_GF_SLIP 0.06\nHUBER_COEF "
        "1.5\nHUBER_POWER 2.5\n"
        "VAR_CLK 7e2\nVAR_VEL\n-GENERAL_CONFIG\nVAR_ACC 5.0");
    const GNSSCONFIG& c = gnssconfig;
    EXPECT_TRUE(c.num_sys == 2 && c.sys_used[0] == BDS && c.sys_used[1] == GPS);
    EXPECT_TRUE(c.opt_IF[0] == 1 && c.obs_index_IF_code[0][0] == 0 && c.obs_index_IF_code[0][1] == 2 &&
                c.obs_index_IF_phase[0][0] == 1 && c.obs_index_IF_phase[0][1] == 3 && c.opt_IF[1] == 0);
    EXPECT_TRUE(c.num_freq[0] == 2 && c.num_freq[1] == 2 && c.num_obs_freq_code[1] == 3);
    EXPECT_EQ(c.obs_type_freq_code_used[0][2].freq, L5);
    EXPECT_TRUE(c.ele_cutoff == 10 * kDegree && c.thres_slip_mw == 0.4 && c.thres_slip_gf == 0.06);
    EXPECT_TRUE(c.huber_param_spp[0] == 1.5 && c.huber_param_spp[1] == 2.5);
    EXPECT_EQ(c.var_pos, 100.0);  // the key stood in a comment
    EXPECT_EQ(c.var_vel, 700.0);  // no field: that of the line before
    EXPECT_EQ(c.var_acc, 100.0);  // outside the section
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
    read_config("+GNSS_SYS\nGPS 23" + fields.substr(0, 4 * 23) + " IF 0 1 2 3\n");  // the pair in the last of 30 fields
    EXPECT_TRUE(c.opt_IF[0] == 1 && c.obs_index_IF_phase[0][1] == 3);
}

TEST(Configuration, MissingFile) {
    set_gnssconfig_from_file(nullptr);  // does nothing
    EXPECT_STOP(set_gnssconfig_from_file(std::string("/no/%s%n.cfg").data()),
                "^gnssconfig file open failed, stopping\n");
}
