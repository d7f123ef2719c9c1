#include "outputs/ephemeris.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>

#include "outputs/oem.h"
#include "outputs/sp3.h"
#include "shared/error.h"
#include "shared/files.h"

namespace host {

namespace {

constexpr std::size_t kLeastNeighbours = 5;

/// Points of the polynomial: few, since a derivative at an end makes noise larger, and as many as the curvature asks for.
std::size_t window_of(double interval) { return interval <= 15.0 ? 5 : interval <= 60.0 ? 7 : 9; }

/// Value and derivative at time 0 of the polynomial through some points.
void neville(std::vector<double> t, std::vector<double> p, double& value, double& rate) {
    std::vector<double> d(p.size(), 0.0);
    for (std::size_t level = 1; level < p.size(); ++level) {
        for (std::size_t i = 0; i + level < p.size(); ++i) {
            const double slope = 1.0 / (t[i + level] - t[i]);
            const double weight = -t[i] * slope;
            d[i] += slope * (p[i + 1] - p[i]) + weight * (d[i + 1] - d[i]);
            p[i] += weight * (p[i + 1] - p[i]);
        }
    }
    value = p[0];
    rate = d[0];
}

/// Covariance of such a value and rate, from those of the positions, whose errors are taken as independent.
Covariance covariance_of(const std::vector<TimedPosition>& points, std::size_t first, const std::vector<double>& t) {
    Covariance c{};
    for (std::size_t i = 0; i < t.size(); ++i) {
        std::vector<double> unit(t.size(), 0.0);
        unit[i] = 1.0;
        std::array<double, 2> weight{};
        neville(t, unit, weight[0], weight[1]);
        const Covariance& own = *points[first + i].covariance;
        for (std::size_t row = 0; row < 6; ++row) {
            for (std::size_t k = 0; k < 6; ++k) c[row][k] += weight[row / 3] * weight[k / 3] * own[row % 3][k % 3];
        }
    }
    return c;
}

/// The point at its own or at another time by its neighbours from `first` on.
TimedPosition state_at(const std::vector<TimedPosition>& points, std::size_t first, std::size_t count,
                       const TimedPosition& point, const GTime& time) {
    TimedPosition state = point;
    state.time = time;
    state.velocity = Vector3{};
    std::vector<double> t(count);
    std::vector<double> p(count);
    for (std::size_t k = 0; k < 3; ++k) {
        for (std::size_t i = 0; i < count; ++i) {
            t[i] = gtimeSubSec(points[first + i].time, time);
            p[i] = points[first + i].position[k];
        }
        neville(t, p, state.position[k], (*state.velocity)[k]);
    }
    const auto begin = points.begin() + static_cast<long>(first);
    if (std::all_of(begin, begin + static_cast<long>(count), [](const auto& q) { return q.covariance.has_value(); }))
        state.covariance = covariance_of(points, first, t);
    return state;
}

GTime rounded(const GTime& time, double interval) {
    const double unit = interval > 0.0 && interval < 1.0 ? interval : 1.0;
    GTime result = time;
    result.time.sod = std::round(time.time.sod / unit) * unit;
    TimeMjd_normalise(&result.time);
    return result;
}

void require_designator(const std::string& id) {
    const auto digit = [&](std::size_t i) { return i < id.size() && id[i] >= '0' && id[i] <= '9'; };
    const auto capital = [](char c) { return c >= 'A' && c <= 'Z'; };
    bool good = id.size() >= 9 && id.size() <= 11 && id[4] == '-';
    for (const std::size_t i : {0, 1, 2, 3, 5, 6, 7}) good = good && digit(i);
    good = good && std::all_of(id.begin() + 8, id.end(), capital);
    if (!good) throw InputError("--object-id " + id + ": an international designator such as 2002-012B is expected");
}

}  // namespace

void plan_orbit_outputs(const OrbitOutputs& o, FilePlan& plan) {
    plan.out("--sp3-out", o.sp3_out).out("--oem-out", o.oem_out);
    const std::string& s = o.satellite;
    if (!o.sp3_out.empty() && !s.empty()) {
        const bool good =
            s.size() == 3 && s[0] >= 'A' && s[0] <= 'Z' && s.find_first_not_of("0123456789", 1) == std::string::npos;
        if (!good) throw InputError("--satellite " + s + ": a letter and two digits such as L01 are expected");
    }
    if (o.oem_out.empty()) return;
    if (!o.object_id.empty()) require_designator(o.object_id);
    for (const char c : o.object_name) {
        if (c < ' ' || c > '~') throw InputError("--object-name: plain characters are expected");
    }
    oem_frame(o.oem_frame);
}

void write_orbit(const OrbitOutputs& o, const Ephemeris& ephemeris) {
    if (!o.sp3_out.empty()) {
        write_sp3(o.sp3_out, o, ephemeris);
        say_written("orbit", o.sp3_out);
    }
    if (!o.oem_out.empty()) {
        const std::size_t left_out = write_oem(o.oem_out, o, ephemeris);
        say_written("ephemeris", o.oem_out);
        if (left_out > 0)
            std::printf("note: %zu positions have no neighbours for a velocity and are not in the ephemeris\n",
                        left_out);
    }
}

std::vector<TimedPosition> kinematic_states(const std::vector<TimedPosition>& points, double interval, bool round) {
    std::vector<TimedPosition> states;
    const auto gap = [&](std::size_t i) { return gtimeSubSec(points[i].time, points[i - 1].time) > 1.5 * interval; };
    for (std::size_t begin = 0, end = 0; begin < points.size(); begin = end) {
        for (end = begin + 1; end < points.size() && !gap(end);) ++end;
        const std::size_t count = std::min(window_of(interval), end - begin);
        for (std::size_t i = begin; i < end; ++i) {
            const GTime time = round ? rounded(points[i].time, interval) : points[i].time;
            const std::size_t half = count / 2;
            const std::size_t first = std::min(std::max(i, begin + half) - half, end - count);
            const bool enough = count >= kLeastNeighbours;
            if (enough) states.push_back(state_at(points, first, count, points[i], time));
            if (enough && !round) states.back().position = points[i].position;  // to the last bit
            if (!enough && !round) states.push_back(points[i]);
        }
    }
    return states;
}

std::string itrf_name(const std::string& frame) {
    static const std::map<std::string, const char*> names = {
        {"05", "ITRF2005"}, {"08", "ITRF2008"}, {"14", "ITRF2014"}, {"20", "ITRF2020"}, {"00", "ITRF2000"}};
    const bool known = frame.size() == 5 && (frame.compare(0, 2, "IG") == 0 || frame.compare(0, 3, "ITR") == 0);
    const auto found = known ? names.find(frame.substr(3)) : names.end();
    if (found != names.end()) return found->second;
    return frame.size() == 8 && frame.compare(0, 4, "ITRF") == 0 ? frame : "";
}

}  // namespace host
