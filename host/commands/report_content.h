/// \file report_content.h
/// What a report is made of: positions, epochs, residuals and errors, read from the files of the other commands.
#ifndef LEOPOD_HOST_REPORT_CONTENT_H
#define LEOPOD_HOST_REPORT_CONTENT_H

#include <array>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "commands/report.h"
#include "inputs/satellite_rows.h"
#include "pictures/errors.h"
#include "shared/timed_position.h"

namespace host {

/// Positions of one solution.
struct Solution {
    std::string name;
    std::vector<TimedPosition> rows;
};

/// Columns of `run --out` over time, and its epochs by status.
struct Epochs {
    std::vector<double> seconds, satellites, dilution;
    std::vector<std::pair<std::string, std::vector<double>>> clocks;  ///< by column
    std::map<std::string, long> status, filter;                       ///< epochs by status, and those of the filter
};

/// What a page is made of.
struct Content {
    long day = 0;
    std::vector<Solution> solutions;
    Epochs epochs;
    SatelliteRowsByName satellites;
    std::map<std::string, long> satellite_status;
    std::vector<double> fit_seconds;
    std::vector<bool> fit_used;                        ///< false where a position was left out
    std::array<std::vector<double>, 3> fit_residuals;  ///< radial, along, cross
    ErrorFigure errors;                                ///< empty without a reference
    std::string errors_title;
};
Content read_content(const ReportOptions& options);

nlohmann::ordered_json read_summary(const std::string& file);
std::vector<std::string> read_lines(const std::string& file);

/// Seconds of a time since the begin of a day.
double seconds_of(const GTime& time, long day);

}  // namespace host

#endif
