// Laser ranging records: lines of every kind in both versions, faulty lines, and real files.
#include <strings.h>  // the C library's function of the same name stays usable beside ours

#include <climits>
#include <cmath>
#include <cstring>
#include <map>
#include <random>

#include "observation_laser_ranging.h"
#include "support.h"

namespace {

/// Calls a reader with a private copy of the line.
template <typename Record>
int feed(int (*read)(char*, Record*), std::string line, Record& record) {
    return read(line.data(), &record);
}

int integer(std::string text, int& value) { return readi(text.data(), &value); }
int real(std::string text, double& value) { return readd(text.data(), &value); }
int extended(std::string text, long double& value) { return readld(text.data(), &value); }

std::string cleaned(std::string text, int length) {
    remove_blanks(text.data(), length);
    return text.c_str();
}

int compared(std::string a, std::string b) { return strcasecmp(a.data(), b.data()); }

class Crd : public testing::Test {
  protected:
    void SetUp() override { format_version = 2; }
};

}  // namespace

TEST_F(Crd, NumbersAreScannedAndNaIsNoFailure) {
    int i = 5;
    EXPECT_EQ(integer("  -12x", i), 1);
    EXPECT_EQ(i, -12);
    EXPECT_EQ(integer("35.7", i), 1);
    EXPECT_EQ(i, 35);
    for (const char* bad : {"x", "", "-na", "nan", "nax", "n", "-", "  "}) {
        EXPECT_EQ(integer(bad, i), -1) << bad;
        EXPECT_EQ(i, 35) << bad;
    }
    EXPECT_EQ(integer("99999999999999999999", i), 1);
    EXPECT_EQ(i, INT_MAX);
    EXPECT_EQ(integer("-99999999999999999999", i), 1);
    EXPECT_EQ(i, INT_MIN);
    double d = 5;
    long double ld = 5;
    EXPECT_EQ(real("-na", d), -1);
    EXPECT_EQ(extended("fog", ld), -1);
    EXPECT_EQ(d + static_cast<double>(ld), 10);
    for (const char* na : {"na", "NA", "nA", "Na"}) {
        i = 0;
        d = 0;
        ld = 0;
        EXPECT_EQ(integer(na, i) + real(na, d) + extended(na, ld), 0) << na;
        EXPECT_EQ(i, -10000000);
        EXPECT_EQ(d, -1e+30);
        EXPECT_EQ(ld, -1e+30);
    }
    EXPECT_EQ(real("0.0136e1D3", d), 1);
    EXPECT_EQ(d, 0.136);
}

TEST_F(Crd, ExtendedPrecisionIsKeptToTheLastBit) {
    long double value = 0;
    EXPECT_EQ(extended("86399.999999999999", value), 1);
    EXPECT_EQ(value, 86399.999999999999L);
    // strtold as the oracle, away from hexadecimal and subnormal numbers
    std::vector<std::string> texts = {"1",
                                      "-0",
                                      "+1.5",
                                      ".5",
                                      "5.",
                                      "5.e3",
                                      "1e-4000",
                                      "1.1e4932",
                                      "1e+2",
                                      "1e5x",
                                      "\t\r 12.25",
                                      "-inf",
                                      "1e-99999",
                                      "-1e99999",
                                      "0.1e",
                                      "1e+",
                                      "007",
                                      "+.5e1",
                                      "123456789012345678901234567890"};
    std::mt19937 random(11);
    for (int k = 0; k < 2000; ++k) {
        std::string text = k % 3 == 0 ? "-" : "";
        for (std::size_t n = 1 + random() % 18; n > 0; --n) text += static_cast<char>('0' + random() % 10);
        text += '.';
        for (std::size_t n = random() % 22; n > 0; --n) text += static_cast<char>('0' + random() % 10);
        if (k % 5 == 0) text += "e" + std::to_string(static_cast<int>(random() % 9000) - 4500);
        texts.push_back(text);
    }
    for (const std::string& text : texts) {
        EXPECT_EQ(extended(text, value), 1) << text;
        EXPECT_EQ(value, std::strtold(text.c_str(), nullptr)) << text;
        EXPECT_EQ(std::signbit(value), text.find('-') == 0) << text;
    }
    for (const char* bad : {".", "-", "e5", "+-1", "- 1", "--1"}) EXPECT_EQ(extended(bad, value), -1) << bad;
}

TEST_F(Crd, NamesAreCutAtTheFirstBlank) {
    EXPECT_EQ(cleaned("STL3      ", 10), "STL3");
    EXPECT_EQ(cleaned("MT STROMLO", 10), "MT");
    EXPECT_EQ(cleaned("a", 1), "a");
    // Not a letter or digit at the start: leading blanks go, trailing ones stay.
    EXPECT_EQ(cleaned("  AB C  xy", 8), "AB C  ");
    EXPECT_EQ(cleaned("_a b", 4), "_a b");
    EXPECT_EQ(cleaned("    ", 4), "");
    // Lengths that are not the text's own.
    for (int length : {0, -1, INT_MIN}) EXPECT_EQ(cleaned(" a b", length), " a b");
    EXPECT_EQ(cleaned("a b", INT_MAX), "a");
    EXPECT_EQ(cleaned(" a b", INT_MAX), "a b");
    EXPECT_EQ(cleaned("", 10), "");
}

TEST_F(Crd, ComparisonIgnoresCaseAtAnyLength) {
    EXPECT_EQ(compared("LaGeOs1", "lAgEoS1"), 0);
    EXPECT_LT(compared("a", "B"), 0);
    EXPECT_GT(compared("ab", "A"), 0);
    EXPECT_LT(compared("[", "a"), 0);
    EXPECT_GT(compared("\xe4", "z"), 0);  // as strcmp: bytes count as unsigned
    const std::string head(5000, 'x');
    EXPECT_EQ(compared(head + "Q", head + "q"), 0);
    EXPECT_LT(compared(head + "P", head + "q"), 0);
    // Beside the C library's function, which takes two constant texts, no call is ambiguous.
    char name[] = "NA";
    const char* constant = name;
    EXPECT_EQ(strcasecmp("na", "NA") + strcasecmp(name, "na") + strcasecmp("na", name) + strcasecmp(name, name), 0);
    EXPECT_EQ(strcasecmp(constant, name) + strcasecmp(name, constant) + strcasecmp(constant, "na"), 0);
}

TEST_F(Crd, TokensFillATableThatIsNeverOverrun) {
    char separators[] = " \n";
    char table[4][5];
    const auto split = [&](std::string line, int rows, int cols) {
        std::memset(table, '#', sizeof table);
        return tokenize(line.data(), separators, rows, cols, table[0]);
    };
    EXPECT_EQ(split("  ab\n\n cdefgh 1\n", 4, 5), 3);
    EXPECT_EQ(std::string(table[0]) + "|" + table[1] + "|" + table[2], "ab|cdef|1");
    EXPECT_EQ(table[0][4], '\0');
    EXPECT_EQ(table[3][0], '#');
    EXPECT_EQ(split(" \n ", 4, 5), 0);
    {
        support::LogRecorder log;
        EXPECT_EQ(split("a b c d", 4, 5), -1);
        EXPECT_EQ(split("a b c d e", 4, 5), -1);
        EXPECT_STREQ(table[3], "d");
        EXPECT_EQ(split("a b", 0, 5), -1);
        EXPECT_EQ(split("a b", -3, 5), -1);
        EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, ""), 4);
        EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "Too many tokens for array! Quitting!\n"));
    }
    for (int cols : {0, -1}) {
        EXPECT_EQ(split("a b", 4, cols), 2);
        EXPECT_EQ(table[0][0], '#');
    }
    EXPECT_EQ(split("abc b", 4, 1), 2);
    EXPECT_EQ(table[0][0] + table[0][1] + table[0][2], '#');
    char line[] = "ab  cd";
    EXPECT_EQ(tokenize(line, separators, 4, 5, table[0]), 2);
    EXPECT_STREQ(line, "ab");  // cut up in place
    char none[] = "";
    char whole[] = " a b";
    EXPECT_EQ(tokenize(whole, none, 4, 5, table[0]), 1);
}

TEST_F(Crd, HeaderRecordsByTokens) {
    rh1 h1{};
    EXPECT_EQ(feed(read_h1, "H1 CRDX 2 2007 3 20 14\n", h1), 8);
    EXPECT_STREQ(h1.crd_literal, "CRD");
    EXPECT_EQ(h1.prod_year * 1000000 + h1.prod_mon * 10000 + h1.prod_day * 100 + h1.prod_hour, 2007032014);
    EXPECT_EQ(format_version, 2);
    rh2 h2{};
    EXPECT_EQ(feed(read_h2, "h2 ZIMMERWALD99 7810 68 1 7 EUROLASEXTRA\n", h2), 7);
    EXPECT_STREQ(h2.stn_name, "ZIMMERWALD");
    EXPECT_STREQ(h2.stn_network, "EUROLASEXT");
    EXPECT_EQ(h2.cdp_pad_id * 10000 + h2.cdp_sys_num * 100 + h2.cdp_occ_num * 10 + h2.stn_timescale, 78106817);
    rh3 h3{};
    h3.target_type = 77;
    EXPECT_EQ(feed(read_h3, "H3 LAGEOS2 9207002 5986 22195 0 1 -1\n", h3), 9);
    EXPECT_STREQ(h3.target_name, "LAGEOS2");
    EXPECT_TRUE(h3.ilrs_id == 9207002 && h3.sic == 5986 && h3.norad == 22195 && h3.SC_timescale == 0);
    EXPECT_TRUE(h3.target_class == 1 && h3.target_loc == -1 && h3.target_type == 77);
    rh4 h4{};
    EXPECT_EQ(feed(read_h4, "H4 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20 21\n", h4), 23);
    const int* values = &h4.data_type;
    for (int k = 0; k < 21; ++k) EXPECT_EQ(values[k], k + 1);  // 21 numbers in order
    EXPECT_TRUE(h4.start_sec == 7 && h4.end_sec == 13 && h4.CofM_app_ind == 16 && h4.data_qual_alert_ind == 21);
    rh5 h5{};
    EXPECT_EQ(feed(read_h5, "h5 1 08 0325001234567 esaesaesaesa 8401", h5), 7);
    EXPECT_STREQ(h5.date_and_time, "032500123456");
    EXPECT_STREQ(h5.prediction_provider, "esaesaesae");
    EXPECT_TRUE(h5.prediction_type == 1 && h5.year_of_century == 8 && h5.sequence_number == 8401);
    char end[] = "H8\n";
    EXPECT_EQ(read_h8(end) + read_h9(end), 0);
}

TEST_F(Crd, VersionComesFromTheLatestFirstHeader) {
    EXPECT_EQ(nstat, 0);
    rh1 h1{};
    feed(read_h1, "H1 CRD 0 2017 09 26 04", h1);
    EXPECT_EQ(h1.format_version * 10 + format_version, 11);
    feed(read_h1, "H1 CRD 7 2017 09 26 04", h1);
    EXPECT_EQ(format_version, 7);
    // A version that can't be read leaves the record's, and that becomes the global one.
    format_version = 2;
    h1.format_version = 5;
    EXPECT_EQ(feed(read_h1, "H1 CRD x 2017 09 26 04", h1), 7);
    EXPECT_EQ(format_version, 5);
    EXPECT_EQ(feed(read_h1, "H1 CRD na 2017 09 26 04", h1), 8);
    EXPECT_EQ(format_version, -10000000);
}

TEST_F(Crd, HeaderRecordsInFixedColumns) {
    format_version = 1;
    rh2 h2{};
    std::strcpy(h2.stn_network, "kept");
    EXPECT_EQ(feed(read_h2, "H2 STL3       7825 90 01  4\r\n", h2), 6);
    EXPECT_STREQ(h2.stn_name, "STL3");
    EXPECT_TRUE(h2.cdp_pad_id == 7825 && h2.cdp_sys_num == 90 && h2.cdp_occ_num == 1 && h2.stn_timescale == 4);
    EXPECT_STREQ(h2.stn_network, "kept");
    EXPECT_EQ(feed(read_h2, "H2 Mt Stromlo 7825 90 01", h2), 5);
    EXPECT_STREQ(h2.stn_name, "Mt");
    EXPECT_EQ(feed(read_h2, "H2 Mt Stromlo x", h2), 2);
    EXPECT_EQ(feed(read_h2, "H2 AB", h2), 1);
    EXPECT_STREQ(h2.stn_name, "AB");
    EXPECT_EQ(feed(read_h2, "H", h2), 1);
    EXPECT_STREQ(h2.stn_name, "");
    EXPECT_EQ(h2.cdp_pad_id, 7825);
    rh3 h3{};
    h3.target_class = 7;
    EXPECT_EQ(feed(read_h3, "H3 champ       0003902 8002   026405 0 1\n", h3), 7);
    EXPECT_STREQ(h3.target_name, "champ");
    EXPECT_TRUE(h3.ilrs_id == 3902 && h3.sic == 8002 && h3.norad == 26405 && h3.SC_timescale == 0);
    EXPECT_TRUE(h3.target_type == 1 && h3.target_class == 7);
    // A lunar target without a catalogue number: the later columns move up, and one field is missing.
    EXPECT_EQ(feed(read_h3, "h3 apollo15        103  103          0 2", h3), 6);
    EXPECT_TRUE(h3.ilrs_id == 103 && h3.norad == 0 && h3.SC_timescale == 2 && h3.target_type == 1);
    EXPECT_EQ(feed(read_h3, "h3 moon", h3), 1);
}

TEST_F(Crd, ConfigurationRecords) {
    rc0 c0{};
    for (auto& id : c0.config_ids) std::strcpy(id, "old");
    EXPECT_EQ(feed(read_c0, "C0 0 532.000 std ml1 mcp\n", c0), 7);
    EXPECT_EQ(c0.xmit_wavelength, 532.0);
    EXPECT_STREQ(c0.config_ids[2], "mcp");
    EXPECT_STREQ(c0.config_ids[9], "");
    EXPECT_STREQ(c0.config_ids[10], "old");  // settled: the rows behind the first ten are not cleared
    rc1 c1{};
    EXPECT_EQ(feed(read_c1, "c1 0 ml1 Nd-Yag 1064.00 10.00 100.00 200.0 NA 1\n", c1), 11);
    EXPECT_STREQ(c1.laser_type, "Nd-Yag");
    EXPECT_TRUE(c1.pulse_energy == 100 && c1.pulse_width == 200 && c1.beam_div == -1e+30 &&
                c1.pulses_in_semitrain == 1);
    rc3 c3{};
    EXPECT_EQ(feed(read_c3, "c3 0 mt1 TAC XO TMRB na 445.9", c3), 9);
    EXPECT_STREQ(c3.freq_source, "XO");
    EXPECT_STREQ(c3.timer_serial_num, "na");  // a text is a text
    EXPECT_EQ(c3.epoch_delay_corr, 445.9);
    rc4 c4{};
    EXPECT_EQ(feed(read_c4, "c4 0 mc1 0.125 0.25 1234567890123456.789 0.5 0.000000000001 1 2 3", c4), 12);
    EXPECT_EQ(c4.est_stn_utc_offset, 0.125L);
    EXPECT_EQ(c4.est_xponder_utc_offset, 1234567890123456.789L);
    EXPECT_EQ(c4.xponder_clock_ref_time, 0.000000000001L);
    EXPECT_TRUE(c4.est_stn_osc_drift == 0.25 && c4.est_xponder_osc_drift == 0.5 && c4.SC_time_simplified_ind == 3);
    rc5 c5{};
    EXPECT_EQ(feed(read_c5, "c5 0 swv Monitor,Sattrk 2.0,2.1 conpro 2.4a", c5), 8);
    EXPECT_STREQ(c5.tracking_software_versions, "2.0,2.1");
    EXPECT_STREQ(c5.processing_software_versions, "2.4a");
    rc6 c6{};
    EXPECT_EQ(feed(read_c6, "c6 0 met p1 p2 p3 t1 t2 t3 h1 h2 h3", c6), 13);
    EXPECT_STREQ(c6.temperature_sensor_manufacturer, "t1");
    EXPECT_STREQ(c6.humidity_sensor_serial_num, "h3");
    rc7 c7{};
    EXPECT_EQ(feed(read_c7, "c7 0 spi SpiderCCR na 1.5 -2 80 crdcal 1.7", c7), 11);
    EXPECT_TRUE(c7.surveyed_target_dist == -1e+30 && c7.survey_error == 1.5 && c7.other_fixed_delays == -2);
    EXPECT_STREQ(c7.processing_software_version, "1.7");
    // The amplifier belongs to version 2.
    const std::string line = "c2 0 mcp det 532.000 -1.00 3800.0 0.5 ECL na 0.25 na 0.75 none 5 10 1\n";
    for (int version : {2, 1, 3}) {
        format_version = version;
        rc2 c2{};
        EXPECT_EQ(feed(read_c2, line, c2), 18) << version;
        EXPECT_TRUE(c2.qe == -1 && c2.voltage == 3800 && c2.output_pulse_width == -1e+30 && c2.spatial_filter == 0.75);
        EXPECT_STREQ(c2.output_pulse_type, "ECL");
        EXPECT_STREQ(c2.signal_proc, "none");
        EXPECT_EQ(c2.amp_gain + c2.amp_bandwidth + c2.amp_in_use, version == 2 ? 16 : 0);
    }
    rc2 c2{};
    EXPECT_EQ(feed(read_c2, "C2 0 IDAJ CSPAD 532.00 20.00 11.0 100.0 ECL 12.0 2.00 90.0 12.0 Manual\n", c2), 15);
}

TEST_F(Crd, RangesInBothVersions) {
    rd10 a{};
    EXPECT_EQ(feed(read_10, "10 2726.697640514675 0.013737698432 std 2 1 3 4 5 6\n", a), 11);
    EXPECT_EQ(a.sec_of_day, 2726.697640514675L);
    EXPECT_EQ(a.time_of_flight, 0.013737698432L);
    EXPECT_STREQ(a.sysconfig_id, "std");
    EXPECT_TRUE(a.epoch_event == 2 && a.filter_flag == 1 && a.detector_channel == 3 && a.stop_number == 4);
    EXPECT_TRUE(a.xcv_amp == 5 && a.xmt_amp == 6);
    rd11 b{};
    EXPECT_EQ(feed(read_11, "11 55504.97 0.04 std 2 120 18 94.0 na NA nA 0.5 0 20.7", b), 15);
    EXPECT_TRUE(b.np_window_length == 120 && b.num_ranges == 18 && b.bin_rms == 94 && b.bin_skew == -1e+30);
    EXPECT_TRUE(b.bin_PmM == -1e+30 && b.return_rate == 0.5 && b.detector_channel == 0 && b.signal_to_noise == 20.7);
    rd12 c{};
    EXPECT_EQ(feed(read_12, "12 55432.0414338 std 20735.0 1601.0 0.25 0.5 -0.125", c), 9);
    EXPECT_TRUE(c.sec_of_day == 55432.0414338L && c.refraction_corr == 20735 && c.range_rate == -0.125);
    rd21 e{};
    EXPECT_EQ(feed(read_21, "21 2716.0 3.1 45 fog 20 na 3 10 300.12", e), 11);
    EXPECT_STREQ(e.weather_conditions, "fog");
    EXPECT_TRUE(e.visibility == 20 && e.sky_clarity == -1e+30 && e.cloud_cover == 10 && e.sky_temperature == 300.12);
    rd30 f{};
    EXPECT_EQ(feed(read_30, "30 297.5 326.25 32.5 1 2 3 0.5 na", f), 10);
    EXPECT_TRUE(f.azimuth == 326.25 && f.elevation == 32.5 && f.direction_ind == 1 && f.angle_origin_ind == 2);
    EXPECT_TRUE(f.refraction_corr_ind == 3 && f.azimuth_rate == 0.5 && f.elevation_rate == -1e+30);

    format_version = 1;
    EXPECT_EQ(feed(read_10, "10 14487.343206247217   0.003603959600  IDAA 1 2 7 8     9\n", a), 9);
    EXPECT_EQ(a.sec_of_day, 14487.343206247217L);
    EXPECT_EQ(a.time_of_flight, 0.0036039596L);
    EXPECT_STREQ(a.sysconfig_id, "IDAA");
    EXPECT_TRUE(a.epoch_event == 1 && a.stop_number == 8 && a.xcv_amp == 9 && a.xmt_amp == 6);
    EXPECT_EQ(feed(read_11, "11 1.5 0.5 ES 2 30.5 42 217.0 1 2 3 5.4 7 99", b), 13);
    EXPECT_TRUE(b.np_window_length == 30.5 && b.bin_kurtosis == 2 && b.detector_channel == 7 &&
                b.signal_to_noise == 20.7);
    EXPECT_EQ(feed(read_12, "12 9.5 std 1 2 3 4 5", c), 7);
    EXPECT_TRUE(c.nd_value == 3 && c.time_bias == 4 && c.range_rate == -0.125);
    EXPECT_EQ(feed(read_21, "21 9.5 1 2 haze 3 4.5 5 6 7", e), 9);
    EXPECT_STREQ(e.weather_conditions, "haze");
    EXPECT_TRUE(e.visibility == 3 && e.sky_clarity == 4.5 && e.cloud_cover == 6 && e.sky_temperature == 300.12);
    EXPECT_EQ(feed(read_30, "30 14343.574333 215.000000 15.000010 0  2 1\n", f), 7);
    EXPECT_TRUE(f.azimuth == 215 && f.direction_ind == 0 && f.angle_origin_ind == 2 && f.azimuth_rate == 0.5);
    // The scan ends at the first field that fails, "na" too; the rest is kept.
    EXPECT_EQ(feed(read_11, "11 2.5 0.25 XY 1 na 43", b), 5);
    EXPECT_TRUE(b.sec_of_day == 2.5L && b.epoch_event == 1 && b.np_window_length == 30.5 && b.num_ranges == 42);
    EXPECT_EQ(feed(read_10, "10 3.5 x NEW 1", a), 2);
    EXPECT_STREQ(a.sysconfig_id, "IDAA");
    EXPECT_EQ(feed(read_10, "10 x", a), 1);
    EXPECT_EQ(feed(read_10, "10", a), 0);
    EXPECT_EQ(feed(read_10, "10 5.5 0.5 " + std::string(300, 'i') + " 3", a), 5);
    EXPECT_STREQ(a.sysconfig_id, std::string(40, 'i').c_str());
    EXPECT_EQ(a.epoch_event, 3);  // a long text doesn't spill into the next field
    EXPECT_EQ(feed(read_21, "21 1 2 3 " + std::string(5000, 'w'), e), 5);

    // Neither version: nothing is read.
    for (int version : {0, 3, -10000000}) {
        format_version = version;
        EXPECT_EQ(feed(read_10, "10 7.5 0.5 AB 3 3 3 3 3 3", a), 1) << version;
        EXPECT_EQ(a.sec_of_day, 5.5L);
        rh2 h2{};
        rh3 h3{};
        EXPECT_EQ(feed(read_h2, "H2 STL3       7825 90 01  4", h2) + feed(read_h3, "H3 a 1 2 3 4 5 6", h3), 0);
        EXPECT_EQ(h2.cdp_pad_id + h3.sic + h2.stn_name[0] + h3.target_name[0], 0);
    }
}

TEST_F(Crd, OtherDataRecords) {
    rd20 m{};
    EXPECT_EQ(feed(read_20, "20  2716.000  801.73 286.76  35. 1\n", m), 7);
    EXPECT_TRUE(m.sec_of_day == 2716 && m.pressure == 801.73 && m.temperature == 286.76 && m.humidity == 35);
    EXPECT_EQ(m.value_origin, 1);
    const std::string line = " 19185.120 1 ES 67 58 122.977 105423.9 0.5 35.4 0.2 2.8 0.25 2 3 4 5 14.5\n";
    for (int version : {1, 2, 3}) {
        format_version = version;
        for (const bool single : {false, true}) {
            rd40 r{};
            EXPECT_EQ(feed(single ? read_41 : read_40, (single ? "41" : "40") + line, r), 19);
            EXPECT_TRUE(r.sec_of_day == 19185.12L && r.type_of_data == 1 && r.num_points_recorded == 67);
            EXPECT_TRUE(r.num_points_used == 58 && r.one_way_target_dist == 122.977 && r.cal_sys_delay == 105423.9);
            EXPECT_TRUE(r.cal_delay_shift == 0.5 && r.cal_rms == 35.4 && r.cal_skew == 0.2 && r.cal_kurtosis == 2.8);
            EXPECT_TRUE(r.cal_PmM == 0.25 && r.cal_type_ind == 2 && r.cal_shift_type_ind == 3 &&
                        r.detector_channel == 4);
            // Span and return rate: in version 2, and in a record 41 always.
            const bool all = single || version == 2;
            EXPECT_TRUE(r.cal_span == (all ? 5 : 0) && r.cal_return_rate == (all ? 14.5 : 0)) << version << single;
        }
    }
    rd42 s{};
    EXPECT_EQ(feed(read_42, "42  1006.1000000 -0.000000000780 std spi 18.612 1 2 3 4 5 6 7 na\n", s), 15);
    EXPECT_EQ(s.time_of_flight, -0.00000000078L);
    EXPECT_STREQ(s.calconfig_id, "spi");
    EXPECT_TRUE(s.other_variable_delays == 18.612 && s.type_of_data == 1 && s.cal_type_ind == 2 && s.filter_flag == 3);
    EXPECT_TRUE(s.detector_channel == 4 && s.stop_number == 5 && s.cal_span == 6 && s.xcv_amp == 7);
    EXPECT_EQ(s.xmt_amp, -10000000);
    rd50 q{};
    q.sess_kurtosis = 7;
    EXPECT_EQ(feed(read_50, "50 std 86.0 na -na na 4\n", q), 7);  // "-na" is neither a number nor missing
    EXPECT_TRUE(q.sess_rms == 86 && q.sess_skew == -1e+30 && q.sess_kurtosis == 7 && q.data_qual_ind == 4);
    rd60 o{};
    EXPECT_EQ(feed(read_60, "60 " + std::string(50, 'x') + " 3 4\n", o), 4);
    EXPECT_STREQ(o.sysconfig_id, std::string(40, 'x').c_str());
    EXPECT_TRUE(o.sys_change_ind == 3 && o.sys_config_ind == 4);
    EXPECT_EQ(feed(read_60, "60 std x", o), 2);
    EXPECT_EQ(feed(read_60, "60", o), 0);
    EXPECT_EQ(o.sys_change_ind, 3);
    rd9x u{'u'};
    EXPECT_EQ(feed(read_9x, "93 3309.2 std 0.000", u), 0);
    EXPECT_EQ(u.reserved, 'u');
    rd00 z{};
    EXPECT_EQ(feed(read_00, "00 a comment of % words\r\n", z), 1);
    EXPECT_STREQ(z.comment, "a comment of % words");
    EXPECT_EQ(feed(read_00, "00 " + std::string(90, 'c') + "\n", z), 1);
    EXPECT_STREQ(z.comment, std::string(80, 'c').c_str());
    for (const char* empty : {"00", "00\n", "0", ""}) {
        EXPECT_EQ(feed(read_00, empty, z), 1);
        EXPECT_STREQ(z.comment, "") << empty;
    }
}

TEST_F(Crd, FaultyLinesLowerTheResultAndKeepTheField) {
    rd20 r{1.5L, 2.5, 3.5, 4.5, 5};
    EXPECT_EQ(feed(read_20, "20 x 10 y 30 z", r), 4);
    EXPECT_TRUE(r.sec_of_day == 1.5L && r.pressure == 10 && r.temperature == 3.5 && r.humidity == 30);
    EXPECT_EQ(r.value_origin, 5);
    // Missing tokens are failed numbers, missing texts are empty.
    EXPECT_EQ(feed(read_20, "20 7", r), 3 - 4);
    EXPECT_EQ(r.sec_of_day, 7);
    rd42 s{};
    std::strcpy(s.calconfig_id, "old");
    EXPECT_EQ(feed(read_42, "42 1 2 std", s), 5 - 9);
    EXPECT_STREQ(s.calconfig_id, "");
    EXPECT_EQ(feed(read_20, "", r), 1 - 5);
    EXPECT_EQ(feed(read_20, "20 1 2 3 4 5 6 7", r), 9);  // further tokens count
    // Only blanks and newlines separate: a carriage return belongs to the last token, a tab to its own.
    EXPECT_EQ(feed(read_20, "20 1 2 3 4 5\r\n", r), 7);
    EXPECT_EQ(feed(read_20, "20 1 2 3 4 na\r\n", r), 6);
    EXPECT_EQ(feed(read_20, "20 1\t9 2 3 4 5\n", r), 7);
    rh2 h2{};
    EXPECT_EQ(feed(read_h2, "H2 GRZL 7839 34 02  4 NASA\r\n", h2), 7);
    EXPECT_STREQ(h2.stn_network, "NASA\r");
    EXPECT_EQ(feed(read_h2, "H2 GRZL 7839 34 02  4", h2), 6);  // without network, and no number failed
    EXPECT_STREQ(h2.stn_network, "");
    // A token of 300 characters.
    rd50 q{};
    EXPECT_EQ(feed(read_50, "50 " + std::string(300, 'n') + " 1 2 3 " + std::string(300, '0') + "4 5", q), 8);
    EXPECT_STREQ(q.sysconfig_id, std::string(40, 'n').c_str());
    EXPECT_TRUE(q.sess_PmM == 0 && q.data_qual_ind == 5);  // 255 characters of it are read
}

TEST_F(Crd, LinesOfManyTokens) {
    const auto line = [](const std::string& start, int tokens) {
        std::string text = start;
        for (int n = static_cast<int>(std::count(start.begin(), start.end(), ' ')) + 1; n < tokens; ++n)
            text += " " + std::to_string(n);
        return text;
    };
    support::LogRecorder log;
    rd20 r{};
    EXPECT_EQ(feed(read_20, line("20", 99), r), 100);
    EXPECT_TRUE(log.messages().empty());
    for (int tokens : {100, 101, 5000}) {
        r = {};
        EXPECT_EQ(feed(read_20, line("20", tokens), r), 0);
        EXPECT_TRUE(r.sec_of_day == 1 && r.value_origin == 5);
        EXPECT_EQ(feed(read_20, line("20 x", tokens), r), -1);
    }
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "Too many tokens for array! Quitting!\n"), 6);
    // Twenty identifiers have room, also of a line that is cut.
    log.clear();
    rc0 c{};
    EXPECT_EQ(feed(read_c0, line("C0 0 532.0", 23), c), 24);
    EXPECT_TRUE(log.messages().empty());
    EXPECT_STREQ(c.config_ids[19], "22");
    struct {
        rc0 record;
        char guard[41];
    } bounded{};
    EXPECT_EQ(feed(read_c0, line("C0 0 532.0", 24), bounded.record), 25);
    EXPECT_EQ(feed(read_c0, line("C0 0 532.0", 120), bounded.record), 0);
    EXPECT_STREQ(bounded.record.config_ids[19], "22");
    EXPECT_EQ(bounded.guard[0], '\0');
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "C0 record: more than 20 configuration identifiers, the excess is dropped"),
              2);
}

namespace {

/// The record that was read last.
template <typename Record>
Record& last() {
    static Record record{};
    return record;
}
template <auto read, typename Record>
int into_last(char* line) {
    return read(line, &last<Record>());
}

/// Reads a line by its identifier; how far the result is below that of a complete line with as many tokens.
int shortfall(const std::string& line) {
    static const std::map<std::string, int (*)(char*)> readers = {
        {"H1", into_last<read_h1, rh1>},  {"H2", into_last<read_h2, rh2>},  {"H3", into_last<read_h3, rh3>},
        {"H4", into_last<read_h4, rh4>},  {"H5", into_last<read_h5, rh5>},  {"C0", into_last<read_c0, rc0>},
        {"C1", into_last<read_c1, rc1>},  {"C2", into_last<read_c2, rc2>},  {"C3", into_last<read_c3, rc3>},
        {"C4", into_last<read_c4, rc4>},  {"C5", into_last<read_c5, rc5>},  {"C6", into_last<read_c6, rc6>},
        {"C7", into_last<read_c7, rc7>},  {"10", into_last<read_10, rd10>}, {"11", into_last<read_11, rd11>},
        {"12", into_last<read_12, rd12>}, {"20", into_last<read_20, rd20>}, {"21", into_last<read_21, rd21>},
        {"30", into_last<read_30, rd30>}, {"40", into_last<read_40, rd40>}, {"41", into_last<read_41, rd40>},
        {"42", into_last<read_42, rd42>}, {"50", into_last<read_50, rd50>}};
    static const std::map<std::string, int> complete_version_1 = {
        {"H2", 6}, {"H3", 7}, {"10", 9}, {"11", 13}, {"30", 7}};
    std::string id = line.substr(0, 2);
    for (char& c : id) c = static_cast<char>(std::toupper(c));
    if (readers.count(id) == 0) return 0;
    std::istringstream stream(line);
    int complete = id == "H2" ? 0 : 1;
    for (std::string token; stream >> token;) ++complete;
    if (format_version == 1 && complete_version_1.count(id) != 0) complete = complete_version_1.at(id);
    std::string copy = line + "\n";
    return complete - readers.at(id)(copy.data());
}

/// Lines of a file with failed numbers.
std::vector<std::string> faults(const std::filesystem::path& file) {
    std::vector<std::string> found;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (const int failed = shortfall(line); failed != 0) found.push_back(std::to_string(failed) + ": " + line);
    }
    return found;
}

}  // namespace

TEST_F(Crd, RealFiles) {
    const auto dir = support::data_path("gnss/crd");
    LEOPOD_REQUIRE_DATA(dir);
    using Faults = std::vector<std::string>;
    EXPECT_EQ(faults(dir / "lageos1_20210126_grzl_v2_trunc.frd"), Faults());
    EXPECT_TRUE(last<rh2>().cdp_pad_id == 7839 && last<rh3>().ilrs_id == 7603901 && last<rh3>().target_loc == 1);
    EXPECT_TRUE(last<rh4>().end_min == 34 && last<rc2>().amp_in_use == -1 && last<rc3>().epoch_delay_corr == 0.077);
    EXPECT_EQ(last<rd10>().sec_of_day, 1007.946763625370L);
    EXPECT_EQ(last<rd10>().time_of_flight, 0.045566238343L);
    EXPECT_EQ(last<rd10>().xmt_amp, -1);
    EXPECT_EQ(faults(dir / "champ_20170926_stl3_v1.frd"), Faults());
    EXPECT_EQ(format_version, 1);
    EXPECT_TRUE(last<rh2>().cdp_pad_id == 7825 && last<rh3>().norad == 26405 && last<rh4>().start_sec == 41);
    EXPECT_EQ(last<rd10>().sec_of_day, 14488.359872846821L);
    EXPECT_EQ(last<rd30>().elevation, 12.928101);
    EXPECT_EQ(last<rd40>().cal_sys_delay, 160524.4);
    EXPECT_EQ(faults(dir / "llr_apollo15_grsm_20150429_v1_excerpt.npt"),
              Faults({"1: h3 apollo15        103  103          0 2"}));
    EXPECT_STREQ(last<rh2>().stn_name, "GRSM");
    EXPECT_EQ(last<rd20>().sec_of_day, 79114);
    // Two numbers "-na", a missing one, and headers of version 1 that are not in its columns.
    EXPECT_EQ(faults(dir / "crd_v201_samples.txt"),
              Faults({"1: 50 std1 86.0 na -na na 0",
                      "1: 40 2716.0000000 0 std 67 58 -na -883.3 0.0 96.4 0.718 -0.126 364.4 3 3 0 3 14.5",
                      "1: 21 3309.000 2 80 fog 20 na 3 10", "1: h2 MDOL 7080 24 19 4 NASA",
                      "1: H2 HERL 7840 35 01 04 EUROLAS"}));
    EXPECT_EQ(last<rd42>().other_variable_delays, 18.609);
    EXPECT_EQ(last<rc4>().est_xponder_utc_offset, 1234567890123456.789L);
}
