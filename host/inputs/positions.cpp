#include "inputs/positions.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <sstream>

#include "shared/error.h"
#include "shared/files.h"
#include "shared/times.h"

namespace host {

namespace {

bool starts_with(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

/// First column with exactly one of the names, else the first one that begins with the prefix; -1 without.
int find_column(const std::vector<std::string>& names, const std::vector<std::string>& exact,
                const std::string& prefix) {
    for (const std::string& wanted : exact) {
        const auto found = std::find(names.begin(), names.end(), wanted);
        if (found != names.end()) return static_cast<int>(found - names.begin());
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (!prefix.empty() && starts_with(names[i], prefix)) return static_cast<int>(i);
    }
    return -1;
}

/// Places of the values in a row.
struct Places {
    int time = 0, mjd = -1;
    std::array<int, 3> axis{1, 2, 3};
    bool time_is_mjd = false;
};

Places places_of(const std::vector<std::string>& names, const CsvColumns& columns) {
    Places places;
    const char* prefixes[3] = {"x_", "y_", "z_"};
    for (std::size_t k = 0; k < 3; ++k) {
        const int found = find_column(names, columns.axis[k], prefixes[k]);
        if (found >= 0) places.axis[k] = found;
    }
    places.mjd = find_column(names, {}, "mjd");
    const int sod = find_column(names, columns.time, "sod");
    if (sod >= 0) {
        places.time = sod;
    } else if (places.mjd >= 0) {
        places.time = places.mjd;
        places.mjd = -1;
        places.time_is_mjd = true;
    }
    return places;
}

bool parse_time(const std::vector<std::string>& fields, const Places& places, long day_mjd, GTime& time) {
    const std::string& text = fields[static_cast<std::size_t>(places.time)];
    if (text.find(':') != std::string::npos) return read_time(text, time.sys, time);
    double value = 0;
    if (!parse_number(text, value) || std::fabs(value) > 1e9) return false;
    if (places.time_is_mjd) {
        time.time = mjd2TimeMJD(value);
        return true;
    }
    double mjd = static_cast<double>(day_mjd);
    if (places.mjd >= 0 && (!parse_number(fields[static_cast<std::size_t>(places.mjd)], mjd) || std::fabs(mjd) > 1e7))
        return false;
    time.time = timeMjdAddSec(mjd2TimeMJD(mjd), value);
    return true;
}

}  // namespace

std::vector<std::string> fields_of(const std::string& line) {
    std::vector<std::string> fields;
    std::stringstream stream(line);
    std::string field;
    while (std::getline(stream, field, ',')) {
        field.erase(0, field.find_first_not_of(" \t\r"));
        field.erase(field.find_last_not_of(" \t\r") + 1);
        fields.push_back(field);
    }
    return fields;
}

bool parse_number(const std::string& text, double& value) {
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data() + (text[0] == '+' && text[1] != '-' ? 1 : 0), last, value);
    return error == std::errc() && end == last && std::isfinite(value);
}

bool is_sp3(const std::string& file) {
    static const std::string ending = ".sp3";
    return file.size() >= ending.size() &&
           std::equal(ending.begin(), ending.end(), file.end() - static_cast<std::ptrdiff_t>(ending.size()),
                      [](char a, char b) { return a == std::tolower(static_cast<unsigned char>(b)); });
}

CsvColumns reference_columns() {
    CsvColumns c{{"sod_rx"}, {}};
    const char* names[3] = {"x", "y", "z"};
    for (std::size_t k = 0; k < 3; ++k)
        c.axis[k] = {std::string(names[k]) + "_rx", std::string(names[k]) + "_itrs", std::string(names[k]) + "_ecef_m",
                     std::string(names[k]) + "_m", names[k]};
    return c;
}

CsvColumns solution_columns(const std::string& solution) {
    CsvColumns c{{"receive_sod_gpst"}, {}};
    const char* names[3] = {"x", "y", "z"};
    for (std::size_t k = 0; k < 3; ++k) {
        const std::string plain = std::string(names[k]) + "_ecef_m";
        c.axis[k] =
            solution == "point" ? std::vector<std::string>{plain} : std::vector<std::string>{"filter_" + plain, plain};
        c.axis[k].push_back(std::string(names[k]) + "_m");
        c.axis[k].push_back(names[k]);
    }
    return c;
}

std::vector<TimedPosition> read_position_csv(const std::string& file, const CsvColumns& columns, long day_mjd,
                                             TIMESYS system) {
    std::ifstream in = open_input(file, "file of positions");
    std::vector<TimedPosition> rows;
    Places places;
    bool head = true;
    std::string line;
    while (std::getline(in, line)) {
        const std::vector<std::string> fields = fields_of(line);
        if (fields.empty() || fields[0].empty() || fields[0][0] == '#') continue;
        const int needed = std::max({places.time, places.mjd, places.axis[0], places.axis[1], places.axis[2]});
        const bool complete = fields.size() > static_cast<std::size_t>(needed);
        TimedPosition row{};
        row.time.sys = system;
        bool ok = complete && parse_time(fields, places, day_mjd, row.time);
        bool empty = !complete;
        for (std::size_t k = 0; k < 3 && complete; ++k) {
            const std::string& text = fields[static_cast<std::size_t>(places.axis[k])];
            empty = empty || text.empty();
            ok = ok && parse_number(text, row.position[k]);
        }
        if (ok) {
            rows.push_back(row);
        } else if (head) {
            places = places_of(fields, columns);
        } else if (!empty) {
            throw InputError(file + ": a row of this file of positions cannot be read: " + line);
        }
        head = false;
    }
    if (rows.empty()) throw InputError(file + ": is not a file of positions (CSV: time, x, y, z in metres)");
    std::stable_sort(rows.begin(), rows.end(),
                     [](const TimedPosition& a, const TimedPosition& b) { return gtime_less(a.time, b.time); });
    rows.erase(std::unique(rows.begin(), rows.end(),
                           [](const TimedPosition& a, const TimedPosition& b) { return gtime_equal(a.time, b.time); }),
               rows.end());
    return rows;
}

std::vector<TimedPosition> read_position_sp3(const std::string& file, const std::string& satellite, TIMESYS system) {
    std::ifstream in = open_input(file, "SP3 file");
    std::vector<TimedPosition> rows;
    std::string chosen = satellite;
    std::string line;
    GTime time{};
    bool first = true;
    while (std::getline(in, line)) {
        if (first && (line.size() < 2 || line[0] != '#')) throw InputError(file + ": is not a SP3 file");
        first = false;
        if (line.compare(0, 3, "EOF") == 0) break;
        if (line[0] == '*') {
            TimeYMD d{};
            if (std::sscanf(line.c_str(), "* %d %d %d %d %d %lf", &d.year, &d.month, &d.day, &d.hour, &d.minute,
                            &d.second) != 6)
                continue;
            if (!is_date(d.year, d.month, d.day))
                throw InputError(file + ": this SP3 file has an epoch that is no date: " + line);
            time = time_of(d, system);
        } else if (line[0] == 'P' && line.size() > 46 && time.sys != UKNTS) {
            const std::string name = line.substr(1, 3);
            if (chosen.empty() && name[0] == 'L') chosen = name;
            TimedPosition row{time, {}};
            if (name != chosen || std::sscanf(line.c_str() + 4, "%lf %lf %lf", row.position.data(), &row.position[1],
                                              &row.position[2]) != 3)
                continue;
            for (double& component : row.position) component *= 1000.0;
            if (std::hypot(row.position[0], row.position[1], row.position[2]) > 1.0) rows.push_back(row);
        }
    }
    if (rows.empty())
        throw InputError(file + ": no position of satellite " + (chosen.empty() ? "L.." : chosen) +
                         " in this SP3 file");
    return rows;
}

}  // namespace host
