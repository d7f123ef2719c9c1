// Laser ranging records: lines of every kind in both versions, and faulty lines.
#include <strings.h>  // the C library's function of the same name stays usable beside ours

#include <climits>
#include <cmath>
#include <cstring>
#include <random>

#include "../host/crd_records.h"
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
    for (const auto& [text, value] : {std::pair{"  -12x", -12},
                                      {"99999999999999999999", INT_MAX},
                                      {"-99999999999999999999", INT_MIN},
                                      {"35.7", 35}}) {
        EXPECT_EQ(integer(text, i), 1) << text;
        EXPECT_EQ(i, value);
    }
    double d = 5;
    long double ld = 5;
    for (const char* bad : {"x", "", "-na", "nan", "nax", "n", "-", "  "}) {
        EXPECT_EQ(integer(bad, i), -1) << bad;
        EXPECT_EQ(i, 35) << bad;
    }
    EXPECT_EQ(real("-na", d) + extended("fog", ld), -2);
    EXPECT_EQ(d + static_cast<double>(ld), 10);
    for (const char* na : {"na", "NA", "nA", "Na"}) {
        i = 0;
        d = 0;
        ld = 0;
        EXPECT_EQ(integer(na, i) + real(na, d) + extended(na, ld), 0) << na;
        EXPECT_TRUE(i == -10000000 && d == -1e+30 && ld == -1e+30) << na;
    }
    EXPECT_EQ(real("0.0136e1D3", d), 1);
    EXPECT_EQ(d, 0.136);
}

TEST_F(Crd, ExtendedPrecisionIsKeptToTheLastBit) {
    long double value = 0;
    EXPECT_EQ(extended("86399.999999999999", value), 1);
    EXPECT_EQ(value, 86399.999999999999L);
    // strtold as the oracle, away from hexadecimal and subnormal numbers
    std::vector<std::string> texts = {"\t\r 12.25"};
    std::istringstream more(
        "1 -0 +1.5 .5 5. 5.e3 1e-4000 1.1e4932 1e+2 1e5x -inf 1e-99999 -1e99999 0.1e 1e+ 007 +.5e1 "
        "123456789012345678901234567890");
    for (std::string text; more >> text;) texts.push_back(text);
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

namespace {

std::string token_of(const int&, int k) { return std::to_string(1000 + k); }
std::string token_of(const double&, int k) { return std::to_string(k) + ".25"; }
std::string token_of(const long double&, int k) { return std::to_string(1000 + k) + ".123456789012345"; }
template <std::size_t N>
std::string token_of(const char (&)[N], int k) {
    return "t" + std::to_string(k);
}
std::string token_of(const char (&)[20][41], int) { return "id1 id2 id3"; }

template <typename Number>
std::string text_of(Number value) {
    return host::csv_text(value);
}
template <std::size_t N>
std::string text_of(const char (&text)[N]) {
    return text;
}
std::string text_of(const char (&texts)[20][41]) {
    return std::string(texts[0]) + " " + texts[1] + " " + texts[2] + texts[3];
}

/// Reads a line whose tokens all differ in each version: every field of the version holds its own token, the others stay.
template <typename Record>
void expect_fields(const std::string& id, int (*read)(char*, Record*)) {
    const bool is_scan = id == "10" || id == "11" || id == "12" || id == "21" || id == "30";
    for (const int version : {1, 2, 3}) {
        const bool by_columns = id == "H2" || id == "H3";
        if (version != 2 && (by_columns || (is_scan && version == 3))) continue;
        format_version = version;
        Record record = host::unread<Record>();
        std::string line = id;
        std::vector<std::string> tokens;
        host::fields(record, [&](const char*, auto& value, int of_version) {
            const bool has = of_version == 0 || of_version == version || id == "41";
            tokens.push_back(has ? token_of(value, static_cast<int>(tokens.size())) : "");
            if (has) line += " " + tokens.back();
        });
        // The result counts the identifier and one more; a scan and the second header are one short of that.
        const auto read_tokens = std::count(line.begin(), line.end(), ' ');
        const bool short_count = id == "60" || id == "H2" || (is_scan && version == 1);
        EXPECT_EQ(feed(read, line, record), read_tokens + (short_count ? 1 : 2)) << line;
        std::size_t k = 0;
        host::fields(record, [&](const char* name, auto& value, int) {
            EXPECT_EQ(text_of(value), tokens[k++]) << id << " " << name << ", version " << version;
        });
    }
}

}  // namespace

TEST_F(Crd, EachFieldHoldsItsOwnTokenInItsVersions) {
    expect_fields("H1", read_h1);
    expect_fields("H2", read_h2);
    expect_fields("H3", read_h3);
    expect_fields("H4", read_h4);
    expect_fields("H5", read_h5);
    expect_fields("C0", read_c0);
    expect_fields("C1", read_c1);
    expect_fields("C2", read_c2);
    expect_fields("C3", read_c3);
    expect_fields("C4", read_c4);
    expect_fields("C5", read_c5);
    expect_fields("C6", read_c6);
    expect_fields("C7", read_c7);
    expect_fields("10", read_10);
    expect_fields("11", read_11);
    expect_fields("12", read_12);
    expect_fields("20", read_20);
    expect_fields("21", read_21);
    expect_fields("30", read_30);
    expect_fields("40", read_40);
    expect_fields("41", read_41);
    expect_fields("42", read_42);
    expect_fields("50", read_50);
    expect_fields("60", read_60);
}

TEST_F(Crd, LongTextsAreCutToTheirFields) {
    rh1 h1{};
    EXPECT_EQ(feed(read_h1, "h1 CRDX 2 2007 3 20 14\n", h1), 8);
    EXPECT_STREQ(h1.crd_literal, "CRD");
    rh2 h2{};
    EXPECT_EQ(feed(read_h2, "h2 ZIMMERWALD99 7810 68 1 7 EUROLASEXTRA\n", h2), 7);
    EXPECT_EQ(std::string(h2.stn_name) + h2.stn_network, "ZIMMERWALDEUROLASEXT");
    rh5 h5{};
    EXPECT_EQ(feed(read_h5, "h5 1 08 0325001234567 esaesaesaesa 8401", h5), 7);
    EXPECT_EQ(std::string(h5.date_and_time) + h5.prediction_provider, "032500123456esaesaesae");
    rd60 o{};
    EXPECT_EQ(feed(read_60, "60 " + std::string(50, 'x') + " 3 4\n", o), 4);
    EXPECT_EQ(o.sysconfig_id + std::to_string(o.sys_change_ind), std::string(40, 'x') + "3");
    EXPECT_EQ(feed(read_60, "60 std x", o) + feed(read_60, "60", o), 2);
    EXPECT_EQ(o.sys_change_ind, 3);
    rd00 z{};
    for (const auto& [line, comment] :
         {std::pair<std::string, std::string>{"00 a comment of % words\r\n", "a comment of % words"},
          {"00 " + std::string(90, 'c') + "\n", std::string(80, 'c')},
          {"00", ""},
          {"00\n", ""},
          {"0", ""},
          {"", ""}}) {
        EXPECT_EQ(feed(read_00, line, z), 1);
        EXPECT_EQ(z.comment, comment);
    }
    // Nothing is read of these.
    char end[] = "H8\n";
    rd9x u{'u'};
    EXPECT_EQ(read_h8(end) + read_h9(end) + feed(read_9x, "93 3309.2 std 0.000", u), 0);
    EXPECT_EQ(u.reserved, 'u');
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

TEST_F(Crd, ScansOfVersion1EndAtTheFirstFieldThatFails) {
    format_version = 1;
    rd10 a{};
    EXPECT_EQ(feed(read_10, "10 14487.343206247217   0.003603959600  IDAA 1 2 7 8     9\n", a), 9);
    rd11 b{};
    EXPECT_EQ(feed(read_11, "11 2.5 0.25 XY 1 na 43", b), 5);  // "na" is no number here
    EXPECT_TRUE(b.sec_of_day == 2.5L && b.epoch_event == 1 && b.np_window_length == 0 && b.num_ranges == 0);
    EXPECT_EQ(feed(read_10, "10 3.5 x NEW 1", a), 2);
    EXPECT_STREQ(a.sysconfig_id, "IDAA");
    EXPECT_EQ(feed(read_10, "10 x", a) * 10 + feed(read_10, "10", a), 10);
    EXPECT_EQ(feed(read_10, "10 5.5 0.5 " + std::string(300, 'i') + " 3", a), 5);
    EXPECT_STREQ(a.sysconfig_id, std::string(40, 'i').c_str());
    EXPECT_EQ(a.epoch_event, 3);  // a long text doesn't spill into the next field
    rd21 e{};
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
    std::strcpy(c.config_ids[9], "old");
    std::strcpy(c.config_ids[10], "old");
    EXPECT_EQ(feed(read_c0, "C0 0 532.000 std ml1 mcp\n", c), 7);
    EXPECT_EQ(c.config_ids[9] + std::string(c.config_ids[10]), "old");  // settled: ten of the twenty rows are cleared
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
