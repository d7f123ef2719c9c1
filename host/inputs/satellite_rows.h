/// \file satellite_rows.h
/// The files of `leopod run --satellites-out`: what each epoch says about each satellite.
#ifndef LEOPOD_HOST_SATELLITE_ROWS_H
#define LEOPOD_HOST_SATELLITE_ROWS_H

#include <map>
#include <string>
#include <vector>

#include "inputs/csv.h"
#include "shared/span.h"

namespace host {

/// Rows of one satellite; values that are missing are not finite.
struct SatelliteRows {
    std::vector<double> seconds, azimuth, elevation;  ///< [degree]
    std::vector<double> code, phase, range1, range2;  ///< residuals [m]
    std::vector<bool> in_point, used, slip;           ///< in the point position, in the filter, with a slip or start
};

using SatelliteRowsByName = std::map<std::string, SatelliteRows>;

/// Time of a row in seconds since the start of `day`, which the first row sets where it is 0. False where the row has none, or outside the
/// span.
bool row_seconds(const SpanOptions& span, const CsvReader& in, int mjd, int sod, long& day, double& seconds);

/// Rows by satellite, with directions in the frame of the antenna or at the horizon. Throws InputError.
SatelliteRowsByName read_satellite_rows(const std::vector<std::string>& files, bool antenna, const SpanOptions& span,
                                        long& day);

}  // namespace host

#endif
