#include "inputs/sp3.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <sstream>

#include "inputs/open.h"
#include "shared/error.h"
#include "shared/printable.h"
#include "shared/times.h"

namespace host {

namespace {

constexpr double kAbsent = 999999.0;  ///< values from here on stand for none
constexpr std::size_t kWidth = 14;    ///< of a coordinate

[[noreturn]] void fail(const std::string& file, long line, const std::string& what) {
    throw InputError(file + ": line " + std::to_string(line) + " of this SP3 file: " + what);
}

TIMESYS scale_of(const std::string& file, const std::string& name) {
    static const std::map<std::string, TIMESYS> scales = {
        {"GPS", tsGPST}, {"ccc", tsGPST}, {"", tsGPST},   {"QZS", tsGPST}, {"IRN", tsGPST}, {"GAL", tsGALT},
        {"BDT", tsBDST}, {"BDS", tsBDST}, {"UTC", tsUTC}, {"GLO", tsUTC},  {"TAI", tsTAI}};
    const auto found = scales.find(name);
    if (found == scales.end()) throw InputError(file + ": the time system " + name + " of this SP3 file is not known");
    return found->second;
}

std::string trimmed(std::string text) {
    text.erase(text.find_last_not_of(" \r") + 1);
    text.erase(0, text.find_first_not_of(' '));
    return text;
}

std::string column(const std::string& line, std::size_t first, std::size_t count) {
    return first < line.size() ? trimmed(line.substr(first, count)) : "";
}

/// "*  2018 12 29 12  0  0.00000000"
bool read_epoch(const std::string& line, TIMESYS scale, GTime& time) {
    std::istringstream in(line.substr(1));
    std::string field[6];
    double value[6];
    for (int i = 0; i < 6; ++i) {
        if (!(in >> field[i]) || !parse_number(field[i], value[i]) || std::fabs(value[i]) > 1e4) return false;
    }
    char text[64];
    std::snprintf(text, sizeof text, "%04.0f-%02.0f-%02.0fT%02.0f:%02.0f:", value[0], value[1], value[2], value[3],
                  value[4]);
    return read_time(text + field[5], scale, time);
}

/// Three coordinates of a P or V line. False where one is no number; absent where the format's marks stand.
bool read_vector(const std::string& line, Vector3& vector, bool& absent) {
    absent = true;
    for (std::size_t k = 0; k < 3; ++k) {
        if (!parse_number(column(line, 4 + kWidth * k, kWidth), vector[k])) return false;
        absent = absent && vector[k] == 0.0;
    }
    for (double v : vector) absent = absent || std::fabs(v) >= kAbsent;
    return true;
}

/// All rows by satellite, as they come.
struct Reader {
    std::string file;
    PositionFile result{};
    std::map<std::string, std::vector<TimedPosition>> rows{};
    GTime epoch{};
    long line_number = 0, absent = 0, behind = 0;
    bool ended = false, named = false;

    void head(const std::string& line) {
        if (!is_sp3_head(line)) throw InputError(file + ": is not an SP3 file");
        result.form = "SP3";
        result.frame = column(line, 46, 5);
        if (result.frame.empty()) result.frame = "earth-fixed";
    }
    void time_system(const std::string& line) {
        if (named) return;  // of two lines the first one says it
        named = true;
        result.scale_name = column(line, 9, 3);
        result.scale = scale_of(file, result.scale_name);
        if (result.scale_name == "ccc" || result.scale_name.empty()) result.scale_name = "GPS";
    }
    void position(const std::string& line) {
        if (epoch.sys == UKNTS) fail(file, line_number, "a position stands before the first epoch");
        TimedPosition row{epoch, {}};
        bool none = false;
        if (!read_vector(line, row.position, none)) fail(file, line_number, "a position cannot be read");
        std::vector<TimedPosition>& list = rows[column(line, 1, 3)];
        absent += none;
        if (none) return;
        for (double& x : row.position) x *= 1000.0;
        list.push_back(row);
    }
    void velocity(const std::string& line) {
        Vector3 v{};
        bool none = false;
        if (!read_vector(line, v, none)) fail(file, line_number, "a velocity cannot be read");
        std::vector<TimedPosition>& list = rows[column(line, 1, 3)];
        if (none || list.empty() || epoch.sys == UKNTS || !gtime_equal(list.back().time, epoch)) return;
        for (double& x : v) x *= 0.1;
        list.back().velocity = v;
    }
    /// Another file stands behind this one.
    void join() {
        ended = named = false;
        epoch = {};
    }
    void line(const std::string& text) {
        if (text.compare(0, 3, "EOF") == 0) ended = true;
        if (ended && is_sp3_head(text)) join();
        behind += ended && text[0] == 'P';
        if (text.empty() || ended) return;
        if (text.compare(0, 2, "%c") == 0) time_system(text);
        if (text[0] == '*') {
            GTime read{};
            if (!read_epoch(text, result.scale, read) || !make_gpst(read))
                fail(file, line_number, "an epoch cannot be read: " + text);
            epoch = read;
        }
        if (text[0] == 'P') position(text);
        if (text[0] == 'V') velocity(text);
    }
};

std::string names_of(const std::map<std::string, std::vector<TimedPosition>>& rows) {
    std::string names;
    for (const auto& [name, list] : rows) add_part(names, name);
    return names.size() > 200 ? names.substr(0, 200) + " ..." : names;
}

std::string choose(const Reader& reader, const std::string& wanted, bool or_any) {
    if (reader.rows.empty()) throw InputError(reader.file + ": holds no position");
    if (reader.rows.count(wanted) != 0) return wanted;
    if (!wanted.empty() && !or_any) {
        throw InputError(reader.file + ": no position of satellite " + wanted + " in this SP3 file, it has " +
                         names_of(reader.rows));
    }
    if (reader.rows.size() == 1) return reader.rows.begin()->first;
    const auto leo = reader.rows.lower_bound("L");
    if (leo != reader.rows.end() && leo->first[0] == 'L') return leo->first;
    throw InputError(reader.file + ": which satellite of this SP3 file? (" + names_of(reader.rows) + ")");
}

}  // namespace

bool is_sp3_head(const std::string& line) {
    return line.size() > 3 && line[0] == '#' && line[1] >= 'a' && line[1] <= 'd' && (line[2] == 'P' || line[2] == 'V');
}

PositionFile read_sp3(const std::string& file, const std::string& satellite, bool or_any) {
    std::ifstream in = open_input(file, "SP3 file");
    Reader reader{file};
    std::string line;
    while (std::getline(in, line)) {
        ++reader.line_number;
        reader.line_number == 1 ? reader.head(line) : reader.line(line);
    }
    if (reader.line_number == 0) throw InputError(file + ": is empty or cannot be read");
    const std::string chosen = choose(reader, satellite, or_any);
    PositionFile result = std::move(reader.result);
    result.satellite = chosen;
    result.rows = std::move(reader.rows[chosen]);
    if (result.scale_name.empty()) result.scale_name = "GPS";
    if (result.rows.empty()) throw InputError(file + ": no position of satellite " + chosen + " in this SP3 file");
    if (!reader.ended) result.notes.emplace_back("the file ends without EOF");
    if (reader.behind > 0) result.notes.push_back(std::to_string(reader.behind) + " positions behind EOF are not read");
    if (reader.absent > 0) result.notes.push_back(std::to_string(reader.absent) + " positions are marked as absent");
    return result;
}

}  // namespace host
