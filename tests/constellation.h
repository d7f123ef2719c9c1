/// \file constellation.h
/// A made-up GPS constellation as a RINEX navigation file, for arcs of any date and length: 24 satellites in six planes, one record every two
/// hours. Records of a satellite describe the same orbit and clock, so that nothing jumps where one follows another.
#ifndef LEOPOD_TESTS_CONSTELLATION_H
#define LEOPOD_TESTS_CONSTELLATION_H

#include <cmath>
#include <cstdio>
#include <string>

#include "gtime.h"

namespace support {

/// Records from a whole hour on; `hours` are covered, with a margin of two on both sides.
inline std::string constellation(GTime start, int hours) {
    constexpr double kPi = 3.14159265358979323846, kGm = 3.986005e14, kEarthRate = 7.2921151467e-5;
    constexpr double kRootAxis = 5153.7, kInclination = 55.0 * kPi / 180.0, kNodeRate = -8.0e-9;
    constexpr int kStep = 7200;
    const double motion = std::sqrt(kGm) / (kRootAxis * kRootAxis * kRootAxis);
    std::string text =
        "     3.05           N: GNSS NAV DATA    G: GPS              RINEX VERSION / TYPE\n"
        "                                                            END OF HEADER\n";
    const auto angle = [](double x) { return std::remainder(x, 2.0 * kPi); };
    for (int second = -kStep; second <= hours * 3600 + kStep; second += kStep) {
        const GTime time = gtimeAddSec(start, second);
        const TimeYMD date = GTime2YMD(gtimeAddSec(time, 1e-3));
        const long days = time.time.mjd - 44244;  // since the first day of GPS weeks
        const double of_week = static_cast<double>(days % 7) * 86400.0 + time.time.sod;
        for (int i = 0; i < 24; ++i) {
            const double bias = 1e-5 * (i - 12), drift = 1e-12 * (i % 5 - 2);
            const double node = i / 4 * kPi / 3.0 + (kNodeRate - kEarthRate) * second + kEarthRate * of_week;
            const double anomaly = i % 4 * kPi / 2.0 + i / 4 * kPi / 12.0 + motion * second;
            const double lines[7][4] = {{second / kStep + 1.0, 0, 0, angle(anomaly)},
                                        {0, 0.001 * (1 + i % 7), 0, kRootAxis},
                                        {of_week, 0, angle(node), 0},
                                        {kInclination, 0, angle(0.3 * i), kNodeRate},
                                        {0, 1, static_cast<double>(days / 7), 0},
                                        {2, 0, 0, second / kStep + 1.0},
                                        {of_week, 4, 0, 0}};
            char line[128];
            std::snprintf(line, sizeof line, "G%02d %04d %02d %02d %02d %02d %02d%19.12E%19.12E%19.12E\n", i + 1,
                          date.year, date.month, date.day, date.hour, date.minute, static_cast<int>(date.second),
                          bias + drift * second, drift, 0.0);
            text += line;
            for (const auto& v : lines) {
                std::snprintf(line, sizeof line, "    %19.12E%19.12E%19.12E%19.12E\n", v[0], v[1], v[2], v[3]);
                text += line;
            }
        }
    }
    return text;
}

}  // namespace support

#endif
