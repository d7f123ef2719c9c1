/// \file positions.h
/// Tables of time-tagged positions: CSV files, among them those of the other commands, SP3 files and CCSDS ephemerides (OEM).
#ifndef LEOPOD_HOST_POSITIONS_H
#define LEOPOD_HOST_POSITIONS_H

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "gtime.h"
#include "inputs/csv.h"
#include "shared/timed_position.h"

namespace host {

/// What a CSV is read for: the names of its columns in the order of preference.
struct CsvColumns {
    std::vector<std::string> time;                 ///< second-of-day columns that come before any other sod...
    std::array<std::vector<std::string>, 3> axis;  ///< x, y, z
};

/// Columns of reference positions: x_rx, x_m, x, else the first that begins with x_.
CsvColumns reference_columns();
/// Columns of solved positions: "filter" or "point" of an output of `leopod run`, or any plain table.
CsvColumns solution_columns(const std::string& solution);
/// Columns of inertial positions.
CsvColumns inertial_columns();

/// What a file of positions is read for.
struct PositionRequest {
    CsvColumns columns = reference_columns();
    bool inertial = false;   ///< frame of a CSV whose columns don't name one
    TIMESYS scale = tsGPST;  ///< time scale of a CSV whose columns don't name one
    long day_mjd = 0;        ///< day of a CSV that has seconds of day alone
    std::string satellite;   ///< of an SP3 file ("L01") or an OEM (name or designator); empty: see read_positions
    bool satellite_or_any = false;  ///< a file that hasn't got that satellite is read as without one
};

/// Positions of one satellite, with GPST tags, in time order, without duplicates.
struct PositionFile {
    std::string form;                ///< CSV, SP3 or OEM
    std::string satellite;           ///< as the file names it
    TIMESYS scale = tsGPST;          ///< time scale of the file
    std::string scale_name;          ///< as the file names it
    bool inertial = false;           ///< GCRS, else earth-fixed
    std::string frame;               ///< as the file names it
    std::vector<std::string> notes;  ///< what of the file was not used
    std::vector<TimedPosition> rows;

    /// "SP3, satellite L74, times TAI, frame ITRF".
    std::string text() const;
};

/// Reads a file of positions; its kind is told by its content.
/// CSV: with a header line or without (time, x, y, z). Time: a column of ISO texts; or a column named mjd... with a column named sod... or
/// receive_sod...; or a single column of seconds of day, their date at the end of its name (sod_gpst_2010_07_27), else that of the
/// request; or of MJD where its name begins with mjd. Names that end in _utc, _tai, _tt or _gpst before a date name the scale, names with
/// ecef, itrs or gcrs the frame. Rows with empty positions are left out.
/// SP3: the satellite asked for; else the only one, or the first low-earth-orbit satellite. OEM: all blocks of the satellite asked for, else
/// of the first. Throws InputError.
PositionFile read_positions(const std::string& file, const PositionRequest& request);

/// One state with its velocity: that of an OPM, or of the row of any other file at the given epoch, else of the first row. Throws InputError.
PositionFile read_state(const std::string& file, const PositionRequest& request, const std::optional<GTime>& epoch);

/// Turns inertial positions into earth-fixed ones with the earth orientation that is loaded. Throws InputError where that doesn't cover a
/// position, unless `any` says that what they are compared with was turned in the same way.
void make_earth_fixed(const std::string& file, PositionFile& positions, bool any = false);

}  // namespace host

#endif
