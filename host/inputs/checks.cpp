#include "inputs/checks.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include "gtime.h"
#include "inputs/config_check.h"
#include "inputs/csv.h"
#include "inputs/kinds.h"
#include "inputs/open.h"
#include "shared/error.h"
#include "shared/printable.h"

namespace host {

/// Calls a function with each line of a file until it returns false. Throws when the file cannot be read.
/// \param complete_only  leaves out a last line without a newline
void each_line(const std::string& name, const std::string& kind, const std::function<bool(const std::string&)>& use,
               bool complete_only) {
    std::ifstream in = open_input(name, kind);
    std::string line;
    while (std::getline(in, line)) {
        if (complete_only && in.eof()) return;
        if (!use(line)) return;
    }
}

namespace {

bool holds(const std::string& line, const char* text, std::size_t from = 0) {
    return from <= line.size() && line.find(text, from) != std::string::npos;
}

char char_at(const std::string& line, std::size_t position) { return position < line.size() ? line[position] : '\0'; }

std::string first_line(const std::string& name, const std::string& kind) {
    std::string first;
    each_line(name, kind, [&](const std::string& line) {
        first = line;
        return false;
    });
    return first;
}

}  // namespace

void check_navigation(const std::string& name) {
    if (char_at(first_line(name, "RINEX navigation file"), 20) != 'N') wrong_kind(name, "RINEX navigation file");
}

void check_sp3(const std::string& name) {
    const std::string first = first_line(name, "SP3 file");
    if (char_at(first, 0) != '#' || char_at(first, 1) < 'a' || char_at(first, 1) > 'd') wrong_kind(name, "SP3 file");
}

void check_clock(const std::string& name) {
    const std::string kind = "RINEX clock file";
    bool first = true;
    bool in_data = false;
    bool any = false;
    long number = 0;
    each_line(
        name, kind,
        [&](const std::string& line) {
            ++number;
            if (first && char_at(line, 20) != 'C') wrong_kind(name, kind);
            first = false;
            in_data = in_data || holds(line, "END OF HEADER");
            if (in_data && line.compare(0, 2, "AS") == 0) {
                char satellite[8] = {}, value[40] = {};
                int values = 0;
                const int n =
                    std::sscanf(line.c_str(), "%*s %7s %*s %*s %*s %*s %*s %*s %d %39s", satellite, &values, value);
                const bool stored = satellite[0] != '\0' &&
                                    std::strchr("GCL", satellite[0]) != nullptr;  // the library passes over the others
                any = any || (stored && satellite[0] != 'L');
                const std::string where = name + ": line " + std::to_string(number) + " of this " + kind;
                if (stored && (n < 2 || values < 1 || values > 2))
                    throw InputError(where + " has neither one nor two values");
                double clock = 0.0;
                if (stored && !parse_number(value, clock))
                    throw InputError(where + " has a clock that is no number: " + printable(value));
            }
            return true;
        },
        true);
    if (first) wrong_kind(name, kind);
    if (!any) throw InputError(name + ": this " + kind + " has no clocks of GPS or BDS satellites");
}

void check_antex(const std::string& name) {
    const std::string kind = "ANTEX file";
    bool first = true;
    each_line(name, kind, [&](const std::string& line) {
        if (first && !holds(line, "ANTEX VERSION", 60)) wrong_kind(name, kind);
        first = false;
        if (holds(line, "VALID FROM", 60) || holds(line, "VALID UNTIL", 60)) {
            TimeYMD date{};
            const int n = std::sscanf(line.substr(0, 43).c_str(), "%d %d %d %d %d %lf", &date.year, &date.month,
                                      &date.day, &date.hour, &date.minute, &date.second);
            if (n < 3 || date.year < 1970 || date.year > 9999)
                throw InputError(name + ": a validity date of this " + kind + " cannot be read");
        }
        double offset[3];
        if (holds(line, "NORTH / EAST / UP", 60) &&
            std::sscanf(line.substr(0, 60).c_str(), "%lf %lf %lf", offset, offset + 1, offset + 2) != 3)
            throw InputError(name + ": an offset of this " + kind + " cannot be read");
        return true;
    });
    if (first) wrong_kind(name, kind);
}

/// True for the mission's format, false for the library's own; throws for neither.
bool check_attitude(const std::string& name) {
    const std::string kind = "attitude quaternion file";
    check_kind(name, kind, {Kind::attitude, Kind::attitude_mission});
    bool mission = false;
    bool found = false;
    each_line(name, kind, [&](const std::string& line) {
        if (holds(line, "# End of YAML header")) mission = true;
        if (line.empty() || line[0] == '#') return true;
        double v[7];
        const int n =
            std::sscanf(line.c_str(), "%lf %lf %lf %lf %lf %lf %lf", v, v + 1, v + 2, v + 3, v + 4, v + 5, v + 6);
        if (mission) {
            char text[2][64];
            found = std::sscanf(line.c_str(), "%lf %63s %63s %lf %lf %lf %lf", v, text[0], text[1], v + 1, v + 2, v + 3,
                                v + 4) == 7;
            return false;
        }
        found = n == 5;
        return !found && n != 5 && line.find(':') != std::string::npos;  // header lines of a YAML head may stand first
    });
    if (!found) wrong_kind(name, kind, mission ? Kind::attitude_mission : Kind::attitude);
    return mission;
}

/// Checks that a file holds a text which every file of its kind has.
void check_holds(const std::string& name, const std::string& kind, Kind own, const char* text,
                 const std::string& missing) {
    bool found = false;
    each_line(name, kind, [&](const std::string& line) {
        found = holds(line, text);
        return !found;
    });
    if (!found) wrong_kind(name, kind + missing, own);
}

void check_config(const std::string& name) { check_gnss_config(name); }

}  // namespace host
