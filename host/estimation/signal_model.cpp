#include "estimation/signal_model.h"

#include <algorithm>
#include <cmath>

#include "attitude.h"
#include "common_function.h"
#include "earth_rotation_param.h"
#include "eph_planet.h"
#include "shared/earth.h"

namespace host {

namespace {

constexpr double kNominalRate = 7.292115e-5;  ///< [rad/s]

Eigen::Matrix3d celestial_to_fixed(const GTime& gpst) {
    const double mjd = gtime2mjd(gtimeChangeTimeSystem(gpst, tsUTC));
    Eigen::Matrix<double, 3, 3, Eigen::RowMajor> r, rate;
    compute_eci2ecf_matrix(mjd, getLeapSecond(mjd), r.data(), rate.data());
    return r;
}

/// The Sun in GCRS [m].
Eigen::Vector3d sun_position(const GTime& gpst) {
    const GTime tt = gtimeChangeTimeSystem(gpst, tsTT);
    double state[6] = {};
    compute_planet_pos_vel(static_cast<double>(tt.time.mjd) + tt.time.sod / 86400.0 + kMjdToJd, EARTH, SUN, state);
    return 1000.0 * Eigen::Vector3d(state[0], state[1], state[2]);
}

/// Extra path by the earth's field of gravity.
double shapiro(const Eigen::Vector3d& receiver, const Eigen::Vector3d& satellite, double range) {
    if (receiver.norm() < 1e6) return 0.0;  // a first guess
    const double sum = receiver.norm() + satellite.norm();
    return 2.0 * kEarthGm / (kSpeedOfLight * kSpeedOfLight) * std::log((sum + range) / (sum - range));
}

/// Azimuth and elevation at the local horizon.
void local_direction(Eigen::Vector3d receiver, Eigen::Vector3d sight, Link& link) {
    double blh[3], direction[2];
    ecef2blh(receiver.data(), blh, kSemiMajor, kFlattening);
    azel(blh, sight.data(), direction);
    link.azimuth = direction[0];
    link.elevation = direction[1];
}

/// The tabulated clock of a satellite along a straight line between its neighbours [s].
bool tabulated_clock(const GTime& time, int satindex, double& clock, double& age, double& gap) {
    const CLKREC_PRE* rows = g_prec_storage->clk_pre_all[satindex];
    const int count = std::min<int>(g_prec_storage->idx_clk[satindex], MAXEPOCH_CLK_PRE);
    if (count < 2) return false;
    const CLKREC_PRE* after = std::upper_bound(
        rows, rows + count, time, [](const GTime& t, const CLKREC_PRE& row) { return gtimeSubSec(t, row.time) < 0.0; });
    if (after == rows || after == rows + count) return false;
    const CLKREC_PRE* before = after - 1;
    if (!before->ok || !after->ok) return false;
    gap = gtimeSubSec(after->time, before->time);
    const double from = gtimeSubSec(time, before->time);
    clock = before->clk_offset + (after->clk_offset - before->clk_offset) * from / gap;
    age = std::min(from, gap - from);
    return true;
}

}  // namespace

double clock_interval() {
    static const auto spacing = [](int sat) {
        std::vector<double> steps;
        const CLKREC_PRE* rows = g_prec_storage->clk_pre_all[sat];
        for (int i = 1; i < std::min<int>(g_prec_storage->idx_clk[sat], MAXEPOCH_CLK_PRE); ++i)
            steps.push_back(gtimeSubSec(rows[i].time, rows[i - 1].time));
        if (steps.empty()) return 0.0;
        std::nth_element(steps.begin(), steps.begin() + static_cast<long>(steps.size() / 2), steps.end());
        return steps[steps.size() / 2];
    };
    if (g_prec_storage == nullptr || g_eph_selection != EPHOPT_PREC) return 0.0;
    double shortest = 0.0;
    for (int sat = 0; sat < MAXSAT_GNSS; ++sat) {
        const double s = spacing(sat);
        if (s > 0.0 && (shortest == 0.0 || s < shortest)) shortest = s;
    }
    return shortest;
}

Eigen::Vector3d SignalModel::antenna_offset(double t, const Eigen::Vector3d& position,
                                            const Eigen::Vector3d& velocity) const {
    return options_.antenna.celestial(gtimeAddSec(start_, t), position, velocity) + raised_ * position.normalized();
}

ReceiverFrame SignalModel::frame(double t, const Eigen::Vector3d& position, const Eigen::Vector3d& velocity) const {
    const GTime time = gtimeAddSec(start_, t);
    ReceiverFrame f;
    f.to_fixed = celestial_to_fixed(time);
    f.position = f.to_fixed * (position + antenna_offset(t, position, velocity));
    const Eigen::Vector3d spin(0.0, 0.0, kNominalRate);
    f.velocity = f.to_fixed * velocity - spin.cross(f.position);
    // The antenna looks away from the earth; its turn about that is common to all satellites and part of the clock.
    f.ez = f.position.normalized();
    const Eigen::Vector3d flight = f.to_fixed * velocity;
    f.ey = f.ez.cross(flight).normalized();
    f.ex = f.ey.cross(f.ez);
    constexpr double kStretch = 600.0;  // the Sun moves by 25 arcseconds in it
    const long key = static_cast<long>(std::floor(t / kStretch));
    const auto found = sun_.find(key);
    const Eigen::Vector3d sun = found != sun_.end() ? found->second.second : sun_position(time);
    if (found == sun_.end()) sun_[key] = {t, sun};
    f.sun = f.to_fixed * sun;
    return f;
}

ReceiverFrame frame_of_point(const Eigen::Vector3d& position) {
    ReceiverFrame f{};
    f.to_fixed.setIdentity();
    f.position = position;
    return f;
}

bool SignalModel::satellite(double t, const Link& link, double* position_velocity, double& clock, double& age,
                            double& gap) const {
    const GTime time = gtimeAddSec(start_, t);
    double clock_drift[2] = {}, tgd = 0.0;
    std::fill_n(position_velocity, 6, 0.0);
    if (!compute_satposvel(time, link.satindex, position_velocity, clock_drift, &tgd)) return false;
    const Eigen::Map<const Eigen::Vector3d> r(position_velocity), v(position_velocity + 3);
    if (!(r.norm() > 1e7 && r.norm() < 1e8)) return false;
    if (g_eph_selection != EPHOPT_PREC) {
        clock = clock_drift[0];
        return true;
    }
    if (!tabulated_clock(time, link.satindex, clock, age, gap)) return false;
    clock -= 2.0 * r.dot(v) / (kSpeedOfLight * kSpeedOfLight);
    return true;
}

bool SignalModel::predict(double t, const ReceiverFrame& receiver, Link& link, bool with_phase) const {
    double light_time = 0.075;
    double state[6];
    double clock = 0.0;
    Eigen::Vector3d position, velocity;
    double range = 0.0;
    for (int i = 0; i < 4; ++i) {
        if (!satellite(t - light_time, link, state, clock, link.clock_age, link.clock_gap)) return false;
        // In the earth-fixed axes of the reception.
        const double angle = kNominalRate * light_time;
        const Eigen::AngleAxisd turn(-angle, Eigen::Vector3d::UnitZ());
        position = turn * Eigen::Map<const Eigen::Vector3d>(state);
        velocity = turn * Eigen::Map<const Eigen::Vector3d>(state + 3);
        range = (position - receiver.position).norm();
        const double change = range / kSpeedOfLight - light_time;
        light_time += change;
        if (std::fabs(change) < 1e-10) break;
    }
    const Eigen::Vector3d sight = (position - receiver.position) / range;
    const double computed = range + shapiro(receiver.position, position, range) - kSpeedOfLight * clock;
    link.code_omc = link.code - computed;
    link.sight = receiver.to_fixed.transpose() * sight;
    if (!with_phase) return true;
    link.antenna_elevation = std::asin(std::clamp(sight.dot(receiver.ez), -1.0, 1.0));
    link.antenna_azimuth = std::atan2(-sight.dot(receiver.ey), sight.dot(receiver.ex));
    if (link.antenna_azimuth < 0.0) link.antenna_azimuth += 2.0 * M_PI;
    local_direction(receiver.position, sight, link);
    double ex[3], ey[3], ez[3], ep[3];
    Eigen::Vector3d sun = receiver.sun, los = sight, rx = receiver.ex, ry = receiver.ey;
    gnss_sat_attitude(link.satindex, position.data(), velocity.data(), sun.data(), ex, ey, ez, ep);
    if (options_.wind_up) model_phase_windup(ex, ey, los.data(), rx.data(), ry.data(), &link.wind_up);
    link.phase_omc = link.phase - computed - link.combined_wavelength * link.wind_up;
    return true;
}

}  // namespace host
