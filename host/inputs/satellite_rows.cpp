#include "inputs/satellite_rows.h"

#include <cmath>

#include "shared/error.h"

namespace host {

namespace {

const char* const kSatelliteHint = "the file of leopod run --satellites-out is expected";

}  // namespace

bool row_seconds(const SpanOptions& span, const CsvReader& in, int mjd, int sod, long& day, double& seconds) {
    const double row_day = in.number(mjd);
    const double row_second = in.number(sod);
    if (!(std::fabs(row_day) < 1e5 && std::fabs(row_second) < 1e6)) return false;
    if (day == 0) day = std::lround(row_day);
    seconds = (row_day - static_cast<double>(day)) * 86400.0 + row_second;
    return in_span(span, {{std::lround(row_day), row_second}, tsGPST}, day);
}

SatelliteRowsByName read_satellite_rows(const std::vector<std::string>& files, bool antenna, const SpanOptions& span,
                                        long& day) {
    const std::string prefix = antenna ? "antenna_" : "";
    SatelliteRowsByName satellites;
    for (const std::string& file : files) {
        CsvReader in(file);
        const int name = in.require("satellite", kSatelliteHint);
        const int mjd = in.require("mjd_gpst", kSatelliteHint);
        const int sod = in.require("sod_gpst", kSatelliteHint);
        const int azimuth = in.require(prefix + "azimuth_deg", kSatelliteHint);
        const int elevation = in.require(prefix + "elevation_deg", kSatelliteHint);
        const int in_point = in.require("used_point", kSatelliteHint);
        const int used = in.require("used_filter", kSatelliteHint);
        const int slip = in.require("slip", kSatelliteHint);
        const int code = in.require("code_if_residual_m", kSatelliteHint);
        const int phase = in.require("phase_if_residual_m", kSatelliteHint);
        const int range1 = in.require("range1_residual_m", kSatelliteHint);
        const int range2 = in.require("range2_residual_m", kSatelliteHint);
        while (in.next()) {
            double seconds = 0;
            const std::string satellite(in.text(name));
            if (satellite.size() != 3 || !row_seconds(span, in, mjd, sod, day, seconds)) continue;
            SatelliteRows& rows = satellites[satellite];
            rows.seconds.push_back(seconds);
            const bool directed = std::fabs(in.number(azimuth)) <= 360.0 && std::fabs(in.number(elevation)) <= 90.0;
            rows.azimuth.push_back(directed ? in.number(azimuth) : std::nan(""));
            rows.elevation.push_back(directed ? in.number(elevation) : std::nan(""));
            rows.code.push_back(in.number(code));
            rows.phase.push_back(in.number(phase));
            rows.range1.push_back(in.number(range1));
            rows.range2.push_back(in.number(range2));
            rows.in_point.push_back(in.text(in_point) == "1");
            rows.used.push_back(in.text(used) == "1");
            rows.slip.push_back(!in.text(slip).empty());
        }
    }
    if (satellites.empty()) throw InputError(files.front() + ": has no rows in the span asked for");
    return satellites;
}

}  // namespace host
