#include "outputs/sp3.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "shared/files.h"
#include "shared/times.h"

namespace host {

namespace {

constexpr double kUnknown = 999999.999999;  ///< clock or its rate
constexpr double kBase = 1.25;              ///< of the accuracies of positions
constexpr double kClockBase = 1.025;
constexpr int kDecimals = 8;  ///< of a second
constexpr int kLeastComments = 4;

/// Rms of the standard deviations of a position's axes [mm]; 0 where none is known.
double deviation_mm(const TimedPosition& p) {
    double sum = 0;
    for (std::size_t k = 0; k < 3 && p.covariance; ++k) sum += (*p.covariance)[k][k];
    return 1e3 * std::sqrt(sum / 3.0);
}

/// What the header says of all states.
struct Whole {
    bool velocities = false;
    double squares = 0;     ///< of the known deviations [mm^2]
    std::size_t known = 0;  ///< of these

    explicit Whole(const States& states) {
        states.each([this](const TimedPosition& p) {
            velocities = velocities || p.velocity.has_value();
            const double mm = deviation_mm(p);
            if (!(mm > 0.0)) return;
            squares += mm * mm;
            ++known;
        });
    }
    /// Exponent of 2 mm nearest to the rms of the standard deviations; 0 stands for unknown.
    int accuracy_code() const {
        if (known == 0) return 0;
        const double rms = std::sqrt(squares / static_cast<double>(known));
        return std::clamp(static_cast<int>(std::lround(std::log2(rms))), 1, 99);
    }
};

std::string epoch_text(const GTime& time) {
    const TimeYMD t = calendar(time, kDecimals);
    char text[80];
    std::snprintf(text, sizeof text, "%4d %2d %2d %2d %2d %11.8f", t.year, t.month, t.day, t.hour, t.minute, t.second);
    return text;
}

void write_head(std::FILE* out, const OrbitOutputs& o, const Ephemeris& e, const Whole& whole) {
    const GTime given = e.fixed.empty() ? GTime{{51544, 0.0}, tsGPST} : e.fixed.at(0).time;
    const GTime first = time_of(calendar(given, kDecimals), tsGPST);
    const long days = first.time.mjd - 44244;  // since week 0 began
    std::fprintf(out, "#%c%c%s %7zu %5s ITRF  %3s LEOP\n", o.sp3_version[0], whole.velocities ? 'V' : 'P',
                 epoch_text(given).c_str(), e.fixed.size(), e.data.c_str(), e.type.c_str());
    std::fprintf(out, "## %4ld %15.8f %14.8f %5ld %15.13f\n", days / 7,
                 static_cast<double>(days % 7) * 86400.0 + first.time.sod, e.interval, first.time.mjd,
                 first.time.sod / 86400.0);
    const auto row = [&](const char* head, int code) {
        std::fprintf(out, "%s%3d", head, code);
        for (int i = 1; i < 17; ++i) std::fprintf(out, "  0");
        std::fprintf(out, "\n");
    };
    std::fprintf(out, "+    1   %s", o.satellite.empty() ? "L01" : o.satellite.c_str());
    for (int i = 1; i < 17; ++i) std::fprintf(out, "  0");
    std::fprintf(out, "\n");
    for (int i = 0; i < 4; ++i) row("+        ", 0);
    for (int i = 0; i < 5; ++i) row("++       ", i == 0 ? whole.accuracy_code() : 0);
    std::fprintf(out, "%%c L  cc GPS ccc cccc cccc cccc cccc ccccc ccccc ccccc ccccc\n");
    std::fprintf(out, "%%c cc cc ccc ccc cccc cccc cccc cccc ccccc ccccc ccccc ccccc\n");
    std::fprintf(out, "%%f %10.7f %12.9f  0.00000000000  0.000000000000000\n", whole.known > 0 ? kBase : 0.0,
                 whole.known > 0 ? kClockBase : 0.0);
    std::fprintf(out, "%%f  0.0000000  0.000000000  0.00000000000  0.000000000000000\n");
    for (int i = 0; i < 2; ++i) std::fprintf(out, "%%i    0    0    0    0      0      0      0      0         0\n");
    for (int i = 0; i < std::max<int>(kLeastComments, static_cast<int>(e.comments.size())); ++i) {
        const std::size_t at = static_cast<std::size_t>(i);
        if (at >= kLeastComments && o.sp3_version == "c") break;  // has four
        std::fprintf(out, "/* %-57.57s\n", at < e.comments.size() ? e.comments[at].c_str() : "");
    }
}

}  // namespace

void write_sp3(const std::string& file, const OrbitOutputs& o, const Ephemeris& e) {
    OutputFile out(file);
    const Whole whole(e.fixed);
    write_head(out, o, e, whole);
    const std::string name = o.satellite.empty() ? "L01" : o.satellite;
    const auto row = [&](char kind, const Vector3& v, double unit) {
        std::fprintf(out, "%c%s%14.6f%14.6f%14.6f%14.6f", kind, name.c_str(), v[0] * unit, v[1] * unit, v[2] * unit,
                     kUnknown);
    };
    e.fixed.each([&](const TimedPosition& p) {
        std::fprintf(out, "*  %s\n", epoch_text(p.time).c_str());
        row('P', p.position, 1e-3);
        for (std::size_t k = 0; k < 3 && deviation_mm(p) > 0.0; ++k) {
            const double mm = 1e3 * std::sqrt(std::max((*p.covariance)[k][k], 1e-6));
            std::fprintf(out, " %2ld", std::clamp(std::lround(std::log(mm) / std::log(kBase)), 0L, 99L));
        }
        std::fprintf(out, "\n");
        if (!whole.velocities) return;
        row('V', p.velocity.value_or(Vector3{}), 10.0);
        std::fprintf(out, "\n");
    });
    std::fprintf(out, "EOF\n");
    out.close();
}

}  // namespace host
