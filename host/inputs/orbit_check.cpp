#include "inputs/orbit_check.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "shared/earth.h"
#include "shared/error.h"
#include "shared/times.h"

namespace host {

namespace {

constexpr double kLowest = 6.4e6;    // less than any orbit outside of the atmosphere [m]
constexpr double kHighest = 1e9;     // behind it the Sun rules
constexpr double kSurface = 6.35e6;  // below every point of the ground

double dot(const Vector3& a, const Vector3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

std::string metres(double value) {
    char text[48];
    std::snprintf(text, sizeof text, std::fabs(value) < 1e10 ? "%.3f m" : "%.3e m", value);
    return text;
}

}  // namespace

std::string radius_fault(double radius) {
    if (radius >= kLowest && radius <= kHighest) return "";
    return metres(radius) + " from the Earth's centre, not the 6400 to 1000000 km of an orbit" +
           (radius > 6400.0 && radius < 1e5      ? " (kilometres? metres are expected)"
            : radius > 6.3e6 && radius < kLowest ? " (on the ground?)"
                                                 : "");
}

void check_orbit_positions(const std::string& file, const std::vector<TimedPosition>& rows) {
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const Vector3& p = rows[i].position;
        const std::string fault = radius_fault(std::sqrt(dot(p, p)));
        if (fault.empty()) continue;
        throw InputError(file + ": position " + std::to_string(i + 1) + " of the span, " +
                         time_text(gtimeChangeTimeSystem(rows[i].time, tsGPST)) + " (" + metres(p[0]) + ", " +
                         metres(p[1]) + ", " + metres(p[2]) + "): " + fault);
    }
}

void check_orbit_state(const std::string& what, const Vector3& position, const Vector3& velocity) {
    const double radius = std::sqrt(dot(position, position));
    const double speed2 = dot(velocity, velocity);
    const double energy = 0.5 * speed2 - kEarthGm / radius;
    if (!(energy < 0.0))
        throw InputError(what + ": with " + std::to_string(std::sqrt(speed2)) +
                         " m/s the satellite leaves the Earth for good; units?");
    const double axis = -0.5 * kEarthGm / energy;
    const double along = dot(position, velocity);
    const double angular2 = radius * radius * speed2 - along * along;
    const double perigee = axis * (1.0 - std::sqrt(std::max(0.0, 1.0 - angular2 / (kEarthGm * axis))));
    // A flight that ends on the ground is one; that of a velocity in other units ends at the centre.
    if (!(perigee >= 0.5 * kSurface))
        throw InputError(what + ": with this velocity the lowest point of the orbit lies " + metres(perigee) +
                         " from the Earth's centre; units?");
}

double gravity_misfit(const std::vector<GTime>& times, const std::vector<Vector3>& inertial) {
    constexpr double kShortest = 100.0,
                     kLongest =
                         700.0;  // noise counts by the square of the shorter, the curve by that of the longer [s]
    std::vector<double> misfits;
    std::size_t before = 0, behind = 0;
    for (std::size_t i = 0; i < times.size(); ++i) {
        while (before + 1 < i && gtimeSubSec(times[i], times[before + 1]) >= kShortest) ++before;
        while (behind < times.size() && gtimeSubSec(times[behind], times[i]) < kShortest) ++behind;
        if (behind == times.size()) break;
        const double past = gtimeSubSec(times[i], times[before]), next = gtimeSubSec(times[behind], times[i]);
        if (past < kShortest || past > kLongest || std::fabs(next - past) > 0.01 * past) continue;
        const double radius = std::sqrt(dot(inertial[i], inertial[i]));
        Vector3 misfit{};
        for (std::size_t k = 0; k < 3; ++k) {
            const double rate =
                (inertial[behind][k] - inertial[i][k]) / next - (inertial[i][k] - inertial[before][k]) / past;
            misfit[k] = rate / (0.5 * (past + next)) + kEarthGm * inertial[i][k] / (radius * radius * radius);
        }
        misfits.push_back(std::sqrt(dot(misfit, misfit)) * radius * radius / kEarthGm);
    }
    if (misfits.size() < 5) return std::nan("");
    const auto middle = misfits.begin() + static_cast<std::ptrdiff_t>(misfits.size() / 2);
    std::nth_element(misfits.begin(), middle, misfits.end());
    return *middle;
}

std::string doubt_about_motion(const std::vector<GTime>& times, const std::vector<Vector3>& inertial,
                               const std::vector<Vector3>& other_frame, bool is_inertial) {
    constexpr double kMost = 0.05;  // the wrong frame shows 0.08 and more, positions good to 300 m less than this
    const double given = gravity_misfit(times, inertial);
    if (!(given > kMost)) return "";
    if (gravity_misfit(times, other_frame) < 0.3 * given)
        return std::string("the positions don't move as a satellite does in this frame; they do as ") +
               (is_inertial ? "earth-fixed ones (--frame ecef?)" : "inertial ones (--frame eci?)");
    return "the positions don't move as a satellite does; units, times or outliers?";
}

}  // namespace host
