#include "inputs/solutions.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "inputs/csv.h"
#include "shared/error.h"
#include "shared/printable.h"

namespace host {

namespace {

/// Columns of positions in everything that the other commands write, and of the reference positions that they read.
CsvColumns position_columns(const std::string& solution) {
    CsvColumns columns = solution_columns(solution);
    const CsvColumns reference = reference_columns();
    for (std::size_t k = 0; k < 3; ++k)
        columns.axis[k].insert(columns.axis[k].end(), reference.axis[k].begin(), reference.axis[k].end());
    columns.time.insert(columns.time.end(), reference.time.begin(), reference.time.end());
    return columns;
}

}  // namespace

Source parse_source(const std::string& text) {
    Source s{text, "", ""};
    const auto exists = [](const std::string& name) {
        std::error_code too_long;
        return std::filesystem::exists(name, too_long);
    };
    const std::size_t equals = text.find('=', text.find_last_of('/') == std::string::npos ? 0 : text.find_last_of('/'));
    if (!exists(text) && equals != std::string::npos) {
        s.file = text.substr(0, equals);
        s.label = text.substr(equals + 1);
    }
    for (const char* solution : {"filter", "point"}) {
        const std::string ending = std::string(":") + solution;
        if (exists(s.file) || s.file.size() <= ending.size() ||
            s.file.compare(s.file.size() - ending.size(), ending.size(), ending) != 0)
            continue;
        s.file.resize(s.file.size() - ending.size());
        s.solution = solution;
        break;
    }
    if (s.label.empty()) {
        s.label = s.solution == "filter"  ? "filter"
                  : s.solution == "point" ? "point position"
                                          : std::filesystem::path(s.file).stem().string();
    }
    return s;
}

std::vector<TimedPosition> read_positions(const Source& source, long day) {
    PositionRequest request;
    request.columns = position_columns(source.solution == "point" ? "point" : "filter");
    request.day_mjd = day;
    // A file without a header has time, x, y, z; other formats begin with no letter or have no commas.
    const CsvReader header(source.file, CsvReader::NAMES_OR_NUMBERS);
    if (header.names().size() > 1 && std::isalpha(static_cast<unsigned char>(header.names().front()[0])) != 0) {
        const CsvColumns& columns = request.columns;
        const bool positions = std::any_of(header.names().begin(), header.names().end(), [&](const std::string& name) {
            return name.compare(0, 2, "x_") == 0 || name == "x" || name == columns.axis[0][0];
        });
        if (source.solution == "filter")
            header.require("filter_x_ecef_m", "the epochs of leopod run have it (run --out)");
        if (!positions) header.require("x_ecef_m", "positions are written by run --out, fit --out and propagate --out");
    }
    PositionFile positions = read_positions(source.file, request);
    make_earth_fixed(source.file, positions);
    return positions.rows;
}

long first_day(const std::vector<TimedPosition>& rows) { return gtimeAddSec(rows.front().time, 1.0).time.mjd; }

std::string base_name(const std::string& file) { return std::filesystem::path(file).filename().string(); }

std::string base_names(const std::vector<std::string>& files) {
    std::string text;
    for (const std::string& file : files) add_part(text, base_name(file));
    return text;
}

}  // namespace host
