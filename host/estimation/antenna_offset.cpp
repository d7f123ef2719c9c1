#include "estimation/antenna_offset.h"

#include <cmath>
#include <cstdio>

#include "attitude.h"
#include "common_function.h"
#include "earth_rotation_param.h"
#include "shared/earth.h"
#include "shared/error.h"

namespace host {

namespace {

using RowMajor = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

RowMajor celestial_to_fixed(const GTime& gpst) {
    const double mjd = gtime2mjd(gtimeChangeTimeSystem(gpst, tsUTC));
    RowMajor r, rate;
    compute_eci2ecf_matrix(mjd, getLeapSecond(mjd), r.data(), rate.data());
    return r;
}

/// A neighbour in the order of the rows that tells the direction of flight; the row itself without one.
std::size_t neighbour_of(const std::vector<TimedPosition>& rows, std::size_t i) {
    const auto near = [&](std::size_t k) {
        const double step = std::fabs(gtimeSubSec(rows[k].time, rows[i].time));
        return step > 0.0 && step <= kLongestDirection;
    };
    if (i + 1 < rows.size() && near(i + 1)) return i + 1;
    return i > 0 && near(i - 1) ? i - 1 : i;
}

}  // namespace

void check_antenna(const AntennaOptions& o, bool attitude) {
    for (const double x : o.offset) {
        if (!(std::fabs(x) <= 1000.0)) throw InputError("--antenna-offset: metres, up to 1000");
    }
    if (o.axes != "platform") return;
    if (!attitude) throw InputError("--antenna-axes platform needs the attitude of the platform (--att)");
    if (o.offset.empty()) throw InputError("--antenna-axes platform says what axes an --antenna-offset has");
}

AntennaOffset::AntennaOffset(const AntennaOptions& o) {
    if (!o.offset.empty()) offset_ = Eigen::Map<const Eigen::Vector3d>(o.offset.data());
    if (o.axes == "platform") attitude_.emplace(0);
}

Eigen::Vector3d AntennaOffset::celestial(const GTime& gpst, const Eigen::Vector3d& position,
                                         const Eigen::Vector3d& forward) const {
    if (is_zero()) return Eigen::Vector3d::Zero();
    if (in_platform()) {
        ATT_QUATERNION q{};
        double ex[3], ey[3], ez[3];
        if (!attitude_->serves(gpst) || !get_att_quaternion(0, gpst, &q) || !q.ok)
            return Eigen::Vector3d::Constant(std::nan(""));
        attitude_platform(0, gpst, nullptr, nullptr, nullptr, nullptr, &q, ex, ey, ez, nullptr);
        return offset_[0] * Eigen::Map<Eigen::Vector3d>(ex) + offset_[1] * Eigen::Map<Eigen::Vector3d>(ey) +
               offset_[2] * Eigen::Map<Eigen::Vector3d>(ez);
    }
    const Eigen::Vector3d radial = position.normalized();
    if (!needs_direction()) return offset_[0] * radial;
    const Eigen::Vector3d cross = position.cross(forward).normalized();
    return offset_[0] * radial + offset_[1] * cross.cross(radial) + offset_[2] * cross;
}

std::string AntennaOffset::text() const {
    char text[120];
    std::snprintf(text, sizeof text, "%.3f, %.3f, %.3f m from the centre of mass (%s)", offset_[0], offset_[1],
                  offset_[2], in_platform() ? "platform axes" : "radial, along, cross");
    return text;
}

std::string AntennaOffset::comment() const {
    char text[80];
    std::snprintf(text, sizeof text, "CENTRE OF MASS, ANTENNA %s %.3f %.3f %.3f M", in_platform() ? "XYZ" : "RAC",
                  offset_[0], offset_[1], offset_[2]);
    return text;
}

void move_to_centre_of_mass(const AntennaOffset& antenna, PositionFile& positions) {
    if (antenna.is_zero()) return;
    std::vector<TimedPosition>& rows = positions.rows;
    std::vector<Eigen::Vector3d> inertial;
    std::vector<RowMajor> turns;
    for (const TimedPosition& row : rows) {
        turns.push_back(positions.inertial ? RowMajor(RowMajor::Identity())
                                           : celestial_to_fixed(gtimeChangeTimeSystem(row.time, tsGPST)));
        inertial.emplace_back(turns.back().transpose() *
                              Eigen::Vector3d(row.position[0], row.position[1], row.position[2]));
    }
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const std::size_t other = antenna.needs_direction() ? neighbour_of(rows, i) : i;
        if (antenna.needs_direction() && other == i) {
            rows[i].status = "NO_DIRECTION";
            continue;
        }
        const Eigen::Vector3d forward =
            other < i ? Eigen::Vector3d(inertial[i] - inertial[other]) : Eigen::Vector3d(inertial[other] - inertial[i]);
        const Eigen::Vector3d offset =
            turns[i] * antenna.celestial(gtimeChangeTimeSystem(rows[i].time, tsGPST), inertial[i], forward);
        if (!offset.allFinite()) {
            rows[i].status = "NO_ATTITUDE";
            continue;
        }
        for (std::size_t k = 0; k < 3; ++k) rows[i].position[k] -= offset[static_cast<Eigen::Index>(k)];
    }
}

bool move_to_centre_of_mass(const AntennaOffset& antenna, const GTime& gpst, const Eigen::Vector3d& neighbour,
                            double step, double* position) {
    // Orbit axes need no more of the celestial frame than that the earth turns under the neighbour.
    const Eigen::Map<Eigen::Vector3d> here(position);
    RowMajor turn = RowMajor::Identity();
    if (antenna.in_platform()) turn = celestial_to_fixed(gpst);
    const Eigen::Vector3d there = Eigen::AngleAxisd(kEarthRate * step, Eigen::Vector3d::UnitZ()) * neighbour;
    const Eigen::Vector3d forward = step > 0.0 ? Eigen::Vector3d(there - here) : Eigen::Vector3d(here - there);
    const Eigen::Vector3d offset = turn * antenna.celestial(gpst, here, forward);
    if (!offset.allFinite()) return false;
    for (int k = 0; k < 3; ++k) position[k] -= offset[k];
    return true;
}

}  // namespace host
