/// \file host_support.h
/// Shared by the tests that drive the program by its command line.
#ifndef LEOPOD_TESTS_HOST_SUPPORT_H
#define LEOPOD_TESTS_HOST_SUPPORT_H

#include <algorithm>
#include <cmath>
#include <map>
#include <regex>

#include "shell.h"

namespace support {

/// The program of the build, or the one that LEOPOD_PROGRAM names.
inline const std::string kProgram =
    std::getenv("LEOPOD_PROGRAM") != nullptr ? std::getenv("LEOPOD_PROGRAM") : LEOPOD_BINARY_DIR "/host/leopod";
inline const std::string kExamples = std::string(LEOPOD_SOURCE_DIR) + "/examples/";
inline const std::string kDemo = kExamples + "data/demo_";
/// Options of `run` for the demo arc, whose platform looks down.
inline const std::string kDemoRun = "--embedded --obs " + kDemo + "bds.obs --nav " + kDemo + "bds.nav";
inline const std::string kDemoAttitude = " --att " + kDemo + "att_zdown.txt";

/// A test of the program; without it the test is skipped.
class HostTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!std::filesystem::exists(kProgram)) GTEST_SKIP() << "the host program is not built";
    }
};

inline Outcome leopod(const std::string& arguments) { return capture(kProgram + " " + arguments); }

/// Runs the program on input that it can use.
inline Outcome leopod_ok(const std::string& arguments) {
    const Outcome o = leopod(arguments);
    EXPECT_EQ(o.status, 0) << arguments << "\n" << o.text;
    return o;
}

/// Runs a subcommand on input that it cannot use: each time it ends with status 2 and one line on standard error that holds a text.
inline void expect_refusals(const std::string& subcommand,
                            const std::vector<std::pair<std::string, std::string>>& options_and_text) {
    for (const auto& [options, text] : options_and_text) {
        const Outcome o = capture("{ " + kProgram + " " + subcommand + " " + options + " >/dev/null; }");
        EXPECT_EQ(o.status, 2) << options << "\n" << o.text;
        EXPECT_NE(o.text.find(text), std::string::npos) << options << "\n" << o.text;
        const std::string said = o.text.substr(0, o.text.find("Run with --help"));
        EXPECT_EQ(std::count(said.begin(), said.end(), '\n'), 1) << options << "\n" << o.text;
    }
}

inline bool holds(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

/// The first number captured by a pattern in the text; NaN without a match.
inline double number(const std::string& text, const std::string& pattern) {
    std::smatch match;
    return std::regex_search(text, match, std::regex(pattern)) ? std::stod(match[1]) : std::nan("");
}

/// The number that a text is; NaN for other texts.
inline double to_number(const std::string& text) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    return end != text.c_str() && *end == '\0' ? value : std::nan("");
}

/// A row of a CSV by the names of its columns.
struct Row : std::map<std::string, std::string> {
    double value(const std::string& column) const { return to_number(at(column)); }
};

inline std::vector<std::string> csv_fields(const std::string& line) {
    std::vector<std::string> fields{""};
    bool quoted = false;
    for (const char c : line) {
        if (c == '"') {
            quoted = !quoted;
        } else if (c == ',' && !quoted) {
            fields.emplace_back();
        } else {
            fields.back() += c;
        }
    }
    return fields;
}

/// Rows of a CSV with a header; each must have all columns, unless the file comes from elsewhere.
inline std::vector<Row> parse_csv(const std::string& text, bool complete = true) {
    std::vector<Row> rows;
    std::stringstream in(text);
    std::string line;
    std::getline(in, line);
    const std::vector<std::string> names = csv_fields(line);
    while (std::getline(in, line)) {
        const std::vector<std::string> fields = csv_fields(line);
        EXPECT_TRUE(!complete || fields.size() == names.size()) << line;
        rows.emplace_back();
        for (std::size_t i = 0; i < std::min(fields.size(), names.size()); ++i) rows.back()[names[i]] = fields[i];
    }
    return rows;
}
inline std::vector<Row> read_csv(const std::string& file) { return parse_csv(read_file(file)); }

/// Numbers of a CSV: second of day (or the first column) to the columns that have one there.
inline std::map<double, std::map<std::string, double>> read_rows(const std::string& file) {
    std::map<double, std::map<std::string, double>> rows;
    const std::string text = read_file(file);
    const std::string first = text.substr(0, text.find_first_of(",\n"));
    for (const Row& row : parse_csv(text, false)) {
        const double key = row.value(row.count("sod_gpst") != 0 ? "sod_gpst" : first);
        for (const auto& [name, field] : row) {
            if (const double v = row.value(name); !std::isnan(v)) rows[key][name] = v;
        }
    }
    return rows;
}

}  // namespace support

#endif
