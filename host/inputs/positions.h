/// \file positions.h
/// Tables of time-tagged positions: CSV files, among them those of `leopod run`, and SP3 files.
#ifndef LEOPOD_HOST_POSITIONS_H
#define LEOPOD_HOST_POSITIONS_H

#include <array>
#include <string>
#include <vector>

#include "gtime.h"

namespace host {

using Vector3 = std::array<double, 3>;

struct TimedPosition {
    GTime time;
    Vector3 position;  ///< [m]
};

/// What a CSV is read for: the names of its columns in the order of preference.
struct CsvColumns {
    std::vector<std::string> time;                 ///< second-of-day columns that come before any other sod...
    std::array<std::vector<std::string>, 3> axis;  ///< x, y, z
};

/// Columns of reference positions: x_rx, x_m, x, else the first that begins with x_.
CsvColumns reference_columns();
/// Columns of solved positions: "filter" or "point" of an output of `leopod run`, or any plain table.
CsvColumns solution_columns(const std::string& solution);

/// Reads a text that is a finite number and nothing else. False where it is none.
bool parse_number(const std::string& text, double& value);

/// True for a name that ends in .sp3, in letters of any size.
bool is_sp3(const std::string& file);

/// Fields of a line between commas, without blanks around them.
std::vector<std::string> fields_of(const std::string& line);

/// CSV with a header line. Time: a column of ISO texts; or a column named mjd... with a column named sod... or receive_sod...; or a single
/// column of seconds of day (of day_mjd), or of MJD where its name begins with mjd. Rows with empty positions are left out. In time order,
/// without duplicates. Times are tagged with the given system. Throws InputError.
std::vector<TimedPosition> read_position_csv(const std::string& file, const CsvColumns& columns, long day_mjd,
                                             TIMESYS system);

/// Positions of one satellite ("L01"; empty: the first low-earth-orbit satellite) of an SP3 file, with times tagged as given. Throws InputError.
std::vector<TimedPosition> read_position_sp3(const std::string& file, const std::string& satellite, TIMESYS system);

}  // namespace host

#endif
