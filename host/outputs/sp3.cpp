#include "outputs/sp3.h"

#include <cstdio>

#include "shared/files.h"
#include "shared/times.h"

namespace host {

namespace {

constexpr long kFirstGpsDay = 44244;  ///< MJD of 1980-01-06

}  // namespace

void write_sp3(const std::string& file, const std::vector<Sp3Point>& points, double interval) {
    OutputFile out(file);
    constexpr int kDecimals = 8;  ///< of the format's seconds
    const GTime first = points.empty() ? GTime{{51544, 0.0}, tsGPST} : points.front().time;
    const TimeYMD d = calendar(first, kDecimals);
    const long mjd = rounded_mjd(first, kDecimals);
    const double sod = 3600.0 * d.hour + 60.0 * d.minute + d.second;
    const long days = mjd - kFirstGpsDay;
    std::fprintf(out, "#cP%4d %2d %2d %2d %2d %11.8f %7zu     u ITRF  KIN LEOP\n", d.year, d.month, d.day, d.hour,
                 d.minute, d.second, points.size());
    std::fprintf(out, "## %4ld %15.8f %14.8f %5ld %15.13f\n", days / 7, static_cast<double>(days % 7) * 86400.0 + sod,
                 interval, mjd, sod / 86400.0);
    std::fprintf(out, "+    1   L01");
    for (int i = 0; i < 16; ++i) std::fprintf(out, "  0");
    std::fprintf(out, "\n");
    const auto rows = [&](const char* head, int count) {
        for (int row = 0; row < count; ++row) {
            std::fprintf(out, "%s", head);
            for (int i = 0; i < 17; ++i) std::fprintf(out, "  0");
            std::fprintf(out, "\n");
        }
    };
    rows("+        ", 4);
    rows("++       ", 5);
    std::fprintf(out, "%%c L  cc GPS ccc cccc cccc cccc cccc ccccc ccccc ccccc ccccc\n");
    std::fprintf(out, "%%c cc cc ccc ccc cccc cccc cccc cccc ccccc ccccc ccccc ccccc\n");
    for (int i = 0; i < 2; ++i) std::fprintf(out, "%%f  0.0000000  0.000000000  0.00000000000  0.000000000000000\n");
    for (int i = 0; i < 2; ++i) std::fprintf(out, "%%i    0    0    0    0      0      0      0      0         0\n");
    std::fprintf(out, "/* EARTH-FIXED POSITIONS OF A LOW-EARTH-ORBIT SATELLITE    \n");
    std::fprintf(out, "/* FROM CODE AND CARRIER PHASE, EPOCH BY EPOCH. TIME GPST. \n");
    for (int i = 0; i < 2; ++i) std::fprintf(out, "/*                                                         \n");
    for (const Sp3Point& point : points) {
        const TimeYMD t = calendar(point.time, kDecimals);
        std::fprintf(out, "*  %4d %2d %2d %2d %2d %11.8f\n", t.year, t.month, t.day, t.hour, t.minute, t.second);
        std::fprintf(out, "PL01%14.6f%14.6f%14.6f%14.6f\n", point.position[0] * 1e-3, point.position[1] * 1e-3,
                     point.position[2] * 1e-3, 999999.999999);
    }
    std::fprintf(out, "EOF\n");
    out.close();
}

}  // namespace host
