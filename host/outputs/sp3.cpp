#include "outputs/sp3.h"

#include <cmath>
#include <cstdio>

#include "shared/files.h"

namespace host {

void write_sp3(const std::string& file, const std::vector<Sp3Point>& points, double interval) {
    OutputFile out(file);
    const auto epoch = [](const GTime& time) {
        // To 1e-8 s, the last digit of the format, before the date is formed.
        GTime rounded = time;
        rounded.time.sod = 0.0;
        rounded = gtimeAddSec(rounded, std::round(time.time.sod * 1e8) / 1e8);
        return GTime2YMD(rounded);
    };
    const GTime first = points.empty() ? GTime{{51544, 0.0}, tsGPST} : points.front().time;
    const TimeYMD d = epoch(first);
    const TimeGNSS week = GTime2SOW(first);
    std::fprintf(out, "#cP%4d %2d %2d %2d %2d %11.8f %7zu     u ITRF  KIN LEOP\n", d.year, d.month, d.day, d.hour,
                 d.minute, d.second, points.size());
    std::fprintf(out, "## %4d %15.8f %14.8f %5ld %15.13f\n", week.week, week.sow, interval, first.time.mjd,
                 first.time.sod / 86400.0);
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
        const TimeYMD t = epoch(point.time);
        std::fprintf(out, "*  %4d %2d %2d %2d %2d %11.8f\n", t.year, t.month, t.day, t.hour, t.minute, t.second);
        std::fprintf(out, "PL01%14.6f%14.6f%14.6f%14.6f\n", point.position[0] * 1e-3, point.position[1] * 1e-3,
                     point.position[2] * 1e-3, 999999.999999);
    }
    std::fprintf(out, "EOF\n");
    out.close();
}

}  // namespace host
