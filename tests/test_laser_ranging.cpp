// Laser ranging records: lines of every kind in both versions, and faulty lines.
#include <strings.h>  // the C library's function of the same name stays usable beside ours

#include <climits>
#include <cmath>
#include <cstring>
#include <map>
#include <random>

#include "crd_readers.h"
#include "inputs/crd_records.h"
#include "support.h"

namespace {

int integer(std::string text, int& value) { return readi(text.data(), &value); }
int real(std::string text, double& value) { return readd(text.data(), &value); }
int extended(std::string text, long double& value) { return readld(text.data(), &value); }

std::string cleaned(std::string text, int length) {
    remove_blanks(text.data(), length);
    return text.c_str();
}

int compared(std::string a, std::string b) { return strcasecmp(a.data(), b.data()); }

TEST(Crd, NumbersAreScannedAndNaIsNoFailure) {
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

TEST(Crd, ExtendedPrecisionIsKeptToTheLastBit) {
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
        text += std::to_string(random() >> random() % 32) + std::to_string(random() % 1000000000) + ".";
        text += std::to_string(random()) + std::to_string(random() >> random() % 32);
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

TEST(Crd, NamesAreCutAtTheFirstBlank) {
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

TEST(Crd, ComparisonIgnoresCaseAtAnyLength) {
    EXPECT_EQ(compared("LaGeOs1", "lAgEoS1"), 0);
    EXPECT_LT(compared("a", "B"), 0);
    EXPECT_GT(compared("ab", "A"), 0);
    EXPECT_LT(compared("[", "a"), 0);
    EXPECT_GT(compared("\xe4", "z"), 0);  // as strcmp: bytes count as unsigned
    // Beside the C library's function, which takes two constant texts, no call is ambiguous.
    char name[] = "NA";
    const char* constant = name;
    EXPECT_EQ(strcasecmp(name, "na") + strcasecmp("na", name) + strcasecmp(constant, name) + strcasecmp(name, constant),
              0);
}

TEST(Crd, TokensFillATableThatIsNeverOverrun) {
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
    support::LogRecorder log;
    EXPECT_EQ(split("a b c d", 4, 5) + split("a b c d e", 4, 5), -2);
    EXPECT_STREQ(table[3], "d");
    EXPECT_EQ(split("a b", 0, 5) + split("a b", -3, 5), -2);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "Too many tokens for array! Quitting!\n"), 4);
    for (int cols : {0, -1}) EXPECT_EQ(split("a b", 4, cols) * 1000 + table[0][0], 2000 + '#');
    EXPECT_EQ(split("abc b", 4, 1) * 1000 + table[0][0] + table[0][1] + table[0][2], 2000 + '#');
    char line[] = "ab  cd";
    EXPECT_EQ(tokenize(line, separators, 4, 5, table[0]), 2);
    EXPECT_STREQ(line, "ab");  // cut up in place
    char none[] = "";
    char whole[] = " a b";
    EXPECT_EQ(tokenize(whole, none, 4, 5, table[0]), 1);
}

/// A field as text: "?" where the reader left it alone, "na" for a missing number.
template <typename Field>
std::string text_of(const Field& field) {
    if constexpr (std::is_arithmetic_v<Field>) {
        return host::marked(field) ? "?" : host::given(field) ? host::csv_text(field) : "na";
    } else if constexpr (std::rank_v<Field> == 2) {
        std::string all = field[0];
        for (int i = 1; i < 20; ++i) all += std::string("+") + field[i];
        return all;
    } else {
        return field;
    }
}

/// Numbers have their mark from unread().
template <typename Field>
void leave_mark(Field& field) {
    if constexpr (std::rank_v<Field> == 1) std::strcpy(field, "?");
    if constexpr (std::rank_v<Field> == 2) {
        for (auto& text : field) std::strcpy(text, "?");
    }
}

/// A token that belongs into a field, different from those of the others.
template <typename Field>
std::string token_of(const Field&, std::size_t k) {
    if (std::is_same_v<Field, double>) return std::to_string(k) + ".25";
    if (std::is_same_v<Field, long double>) return std::to_string(1000 + k) + ".123456789012345";
    return std::is_same_v<Field, int> ? std::to_string(1000 + k) : "t" + std::to_string(k);
}

/// Result of a reader, and the fields of its record.
using Read = std::pair<int, std::string>;

struct Kind {
    Read (*read)(std::string line);
    /// Tokens for all fields of a version; "?" for those of another one.
    std::vector<std::string> (*tokens)(int version);
};
template <typename Reader>
constexpr Kind kKind = {[](std::string line) {
                            auto record = host::unread<typename Reader::Record>();
                            host::fields(record, [](const char*, auto& value, int) { leave_mark(value); });
                            const int result = Reader::read(line.data(), &record);
                            std::string all;
                            host::fields(record, [&](const char*, auto& value, int) { all += text_of(value) + " "; });
                            return Read(result, all.substr(0, all.size() - 1));
                        },
                        [](int version) {
                            std::vector<std::string> all;
                            typename Reader::Record record{};
                            host::fields(record, [&](const char*, auto& value, int of_version) {
                                const bool has = version == 0 || of_version == 0 || of_version == version;
                                all.push_back(has ? token_of(value, all.size()) : "?");
                            });
                            return all;
                        }};

const std::map<std::string, Kind> kKinds = [] {
    std::map<std::string, Kind> all;
    support::each_crd_reader([&all](const char* id, auto reader) { all[id] = kKind<decltype(reader)>; });
    return all;
}();

Read read_line(int version, const std::string& line) {
    format_version = version;
    std::string id = line.substr(0, 2);
    id[0] = static_cast<char>(std::toupper(id[0]));
    return kKinds.at(id).read(line);
}

TEST(Crd, EachFieldHoldsItsOwnTokenInItsVersions) {
    for (const auto& [id, kind] : kKinds) {
        const bool is_scan = id == "10" || id == "11" || id == "12" || id == "21" || id == "30";
        const bool by_columns = id == "H2" || id == "H3";
        for (const int version : {1, 2, 3}) {
            if (id == "00" || (version != 2 && by_columns) || (version == 3 && is_scan)) continue;
            std::string line = id, fields;
            for (const std::string& token : kind.tokens(id == "41" ? 0 : version)) {
                fields += (fields.empty() ? "" : " ") + token;
                if (token != "?") line += " " + token;
            }
            if (id == "C0") fields += "++++++++++?+?+?+?+?+?+?+?+?+?";  // settled: ten of the twenty rows are cleared
            // The result counts the identifier and one more; scans and the second header are one short of that.
            const auto tokens = static_cast<int>(std::count(line.begin(), line.end(), ' '));
            const bool less = id == "60" || id == "H2" || (is_scan && version == 1);
            EXPECT_EQ(read_line(version, line), Read(tokens + (less ? 1 : 2), fields))
                << line << ", version " << version;
        }
    }
}

TEST(Crd, LinesThatAreNotAsTheyShouldBe) {
    const std::string long_text(300, 'n'), cut(40, 'n'), none = "? ? ? ? ? ? ? ? ?";
    const struct {
        int version;
        std::string line;
        int result;
        std::string fields;
    } cases[] = {
        // A failed number lowers the result and keeps its field, a missing token is one; missing texts are empty.
        {2, "20 x 10 y 30 z", 4, "? 10 ? 30 ?"},
        {2, "20 7", 3 - 4, "7 ? ? ? ?"},
        {2, "42 1 2 std", 5 - 9, "1 2 std  ? ? ? ? ? ? ? ? ?"},
        {2, "50 std 86.0 na -na na 4\n", 7, "std 86 na ? na 4"},
        {2, "H2 GRZL 7839 34 02  4", 6, "GRZL 7839 34 2 4 "},
        {2, "60 std x", 2, "std ? ?"},
        {2, "20 1 2 3 4 5 6 7", 9, "1 2 3 4 5"},  // further tokens count
        // Only blanks and newlines separate: a carriage return belongs to the last token, a tab to its own.
        {2, "20 1 2 3 4 na\r\n", 6, "1 2 3 4 ?"},
        {2, "20 1\t9 2 3 4 5\n", 7, "1 2 3 4 5"},
        // Long texts are cut to their fields, and tokens to 255 characters.
        {2, "h1 CRDX 2 2007 3 20 14\n", 8, "CRD 2 2007 3 20 14"},
        {2, "h2 ZIMMERWALD99 7810 68 1 7 EUROLASEXTRA\n", 7, "ZIMMERWALD 7810 68 1 7 EUROLASEXT"},
        {2, "50 " + long_text + " 1 2 3 " + std::string(300, '0') + "4 5", 8, cut + " 1 2 3 0 5"},
        {2, "00 a comment of % words\r\n", 1, "a comment of % words"},
        {2, "00 " + long_text + "\n", 1, cut + cut},
        {2, "00\n", 1, ""},
        // Names in fixed columns, numbers behind them; a lunar target without a catalogue number moves the later ones up.
        {1, "H2 STL3       7825 90 01  4\r\n", 6, "STL3 7825 90 1 4 ?"},
        {1, "H2 Mt Stromlo 7825 90 01", 5, "Mt 7825 90 1 ? ?"},
        {1, "H2", 1, " ? ? ? ? ?"},
        {1, "H3 champ       0003902 8002   026405 0 1\n", 7, "champ 3902 8002 26405 0 1 ? ?"},
        {1, "h3 apollo15        103  103          0 2", 6, "apollo15 103 103 0 2 ? ? ?"},
        // A scan ends at the first field that fails, "na" too.
        {1, "10 14.5   0.25  IDAA 1 2 7 8     9\n", 9, "14.5 0.25 IDAA 1 2 7 8 9 ?"},
        {1, "11 2.5 0.25 XY 1 na 43", 5, "2.5 0.25 XY 1 " + none},
        {1, "10", 0, none},
        {1, "10 3.5 x NEW 1", 2, "3.5 ? ? ? ? ? ? ? ?"},
        {1, "21 1 2 3 " + std::string(5000, 'n'), 5,
         "1 2 3 " + std::string(sizeof(rd21::weather_conditions) - 1, 'n') + " ? ? ? ? ?"},
        // Neither version: nothing is read.
        {0, "10 7.5 0.5 AB 3 3 3 3 3 3", 1, none},
        {3, "10 7.5 0.5 AB 3 3 3 3 3 3", 1, none},
        {-10000000, "H2 STL3       7825 90 01  4", 0, "? ? ? ? ? ?"},
        {3, "H3 a 1 2 3 4 5 6", 0, "? ? ? ? ? ? ? ?"}};
    for (const auto& c : cases)
        EXPECT_EQ(read_line(c.version, c.line), Read(c.result, c.fields)) << c.line << ", version " << c.version;
    // Nothing is read of these.
    char line[] = "93 3309.2 std 0.000";
    rd9x u{'u'};
    EXPECT_EQ(read_h8(line) + read_h9(line) + read_9x(line, &u), 0);
    EXPECT_EQ(u.reserved, 'u');
}

TEST(Crd, VersionComesFromTheLatestFirstHeader) {
    EXPECT_EQ(nstat, 0);
    // Line by line in one record: a version that can't be read leaves the record's, and that becomes the global one.
    rh1 h1{};
    h1.format_version = 5;
    for (const auto& [text, result, version] :
         {std::tuple{"x", 7, 5}, {"0", 8, 1}, {"7", 8, 7}, {"na", 8, -10000000}, {"2", 8, 2}}) {
        std::string line = std::string("H1 CRD ") + text + " 2017 09 26 04";
        EXPECT_EQ(read_h1(line.data(), &h1), result) << text;
        EXPECT_TRUE(format_version == version && h1.format_version == version) << text;
    }
}

TEST(Crd, LinesOfManyTokens) {
    const auto line = [](const std::string& start, int tokens) {
        std::string text = start;
        for (auto n = std::count(start.begin(), start.end(), ' ') + 1; n < tokens; ++n) text += " " + std::to_string(n);
        return text;
    };
    support::LogRecorder log;
    EXPECT_EQ(read_line(2, line("20", 99)).first, 100);
    EXPECT_TRUE(log.messages().empty());
    for (int tokens : {100, 101, 5000}) {
        EXPECT_EQ(read_line(2, line("20", tokens)), Read(0, "1 2 3 4 5"));
        EXPECT_EQ(read_line(2, line("20 x", tokens)).first, -1);
    }
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "Too many tokens for array! Quitting!\n"), 6);
    // Twenty identifiers have room, also of a line that is cut.
    log.clear();
    const std::string twenty = "0 532 3+4+5+6+7+8+9+10+11+12+13+14+15+16+17+18+19+20+21+22";
    EXPECT_EQ(read_line(2, line("C0 0 532.0", 23)), Read(24, twenty));
    EXPECT_TRUE(log.messages().empty());
    for (const auto& [tokens, result] : {std::pair{24, 25}, {120, 0}})
        EXPECT_EQ(read_line(2, line("C0 0 532.0", tokens)), Read(result, twenty));
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "C0 record: more than 20 configuration identifiers, the excess is dropped"),
              2);
}

}  // namespace
