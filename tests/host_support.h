/// \file host_support.h
/// Shared by the tests that drive the program by its command line.
#ifndef LEOPOD_TESTS_HOST_SUPPORT_H
#define LEOPOD_TESTS_HOST_SUPPORT_H

#include <cmath>
#include <map>
#include <regex>

#include "shell.h"

namespace support {

inline const std::string kProgram = std::string(LEOPOD_BINARY_DIR) + "/host/leopod";

inline Outcome leopod(const std::string& arguments) { return capture(kProgram + " " + arguments); }

/// The first number captured by a pattern in the text; NaN without a match.
inline double number(const std::string& text, const std::string& pattern) {
    std::smatch match;
    return std::regex_search(text, match, std::regex(pattern)) ? std::stod(match[1]) : std::nan("");
}

/// Solved epochs of an output file: second of day to a row of named columns.
inline std::map<double, std::map<std::string, double>> read_rows(const std::string& file) {
    std::map<double, std::map<std::string, double>> rows;
    std::ifstream in(file);
    std::string line;
    std::vector<std::string> names;
    while (std::getline(in, line)) {
        std::vector<std::string> fields;
        std::stringstream stream(line);
        std::string field;
        while (std::getline(stream, field, ',')) fields.push_back(field);
        if (names.empty()) {
            names = fields;
            continue;
        }
        std::map<std::string, double> row;
        for (std::size_t i = 0; i < fields.size() && i < names.size(); ++i) {
            char* end = nullptr;
            const double value = std::strtod(fields[i].c_str(), &end);
            if (end != fields[i].c_str() && *end == '\0') row[names[i]] = value;
        }
        if (row.count("sod_gpst") != 0) {
            rows[row["sod_gpst"]] = row;
        } else if (!row.empty()) {
            rows[row[names[0]]] = row;
        }
    }
    return rows;
}

}  // namespace support

#endif
