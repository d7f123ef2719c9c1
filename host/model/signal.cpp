#include "model/signal.h"

#include <algorithm>
#include <cstdio>
#include <type_traits>

#include "shared/error.h"
#include "shared/times.h"
#include "stores/satellites.h"

namespace host {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kDegree = kPi / 180.0;
constexpr double kArcsecond = kDegree / 3600.0;
constexpr double kDaySeconds = 86400.0;
constexpr double kWeekSeconds = 7.0 * kDaySeconds;
constexpr double kEarthRate = 7.2921151467e-5;  ///< [rad/s]
constexpr long kWeekOrigin = 44244;             ///< MJD of a day on which the weeks of GPS and of BDS begin
constexpr double kBdsBehindGps = 14.0;          ///< BDS time is this much less than GPS time [s]

constexpr std::size_t kOrbitPoints = 12;  ///< of an interpolation
constexpr double kMaxGap = 3600.0;        ///< of precise products [s]

// User algorithms of the interface documents: IS-GPS-200, table 20-IV; BDS-SIS-ICD (B1I), 5.2.4.
constexpr double kGpsMu = 3.986005e14;
constexpr double kBdsMu = 3.986004418e14;
constexpr double kGpsEarthRate = 7.2921151467e-5;
constexpr double kBdsEarthRate = 7.2921150e-5;
constexpr double kGpsMaxAge = 7200.0;  ///< of a record, from its reference time [s]
constexpr double kBdsMaxAge = 3600.0;

/// Start of the week that holds a day, as seconds since the start of the caller's day.
double week_start(long mjd, long mjd_day) {
    const long week = (mjd - kWeekOrigin) / 7;
    return static_cast<double>(kWeekOrigin + 7 * week - mjd_day) * kDaySeconds;
}

/// First of `count` neighbouring places of a sorted list around a value.
std::size_t window_start(const std::vector<double>& sorted, std::size_t count, double value) {
    const auto above = std::upper_bound(sorted.begin(), sorted.end(), value);
    const std::size_t place = static_cast<std::size_t>(above - sorted.begin());
    const std::size_t half = count / 2;
    return std::min(place > half ? place - half : 0, sorted.size() - count);
}

}  // namespace

// --- interpolation -------------------------------------------------------------------------------------------------------

Vector3 neville(const double* time, const Vector3* value, std::size_t count, double at) {
    std::array<Vector3, 16> p;
    std::copy_n(value, count, p.begin());
    for (std::size_t level = 1; level < count; ++level) {
        for (std::size_t i = 0; i + level < count; ++i) {
            const double weight = (at - time[i]) / (time[i + level] - time[i]);
            p[i] = p[i] + weight * (p[i + 1] - p[i]);
        }
    }
    return p[0];
}

ReceiverOrbit::ReceiverOrbit(const std::vector<TimedPosition>& rows, long mjd_day, const std::string& file) {
    for (const TimedPosition& row : rows) {
        const double t = static_cast<double>(row.time.time.mjd - mjd_day) * kDaySeconds + row.time.time.sod;
        if (!time_.empty() && !(t > time_.back())) throw InputError(file + ": the times of the positions do not rise");
        if (!time_.empty() && t - time_.back() > kMaxStep) {
            throw InputError(file + ": the positions have a gap of " + std::to_string(std::lround(t - time_.back())) +
                             " s; up to " + std::to_string(std::lround(kMaxStep)) + " s can be interpolated");
        }
        time_.push_back(t);
        position_.push_back(row.position);
    }
    if (time_.size() < kOrbitPoints) {
        throw InputError(file + ": " + std::to_string(time_.size()) + " positions; an orbit needs at least " +
                         std::to_string(kOrbitPoints));
    }
}

Vector3 ReceiverOrbit::position(double t) const {
    const std::size_t first = window_start(time_, kOrbitPoints, t);
    return neville(&time_[first], &position_[first], kOrbitPoints, t);
}

Vector3 ReceiverOrbit::velocity(double t) const {
    // Central difference of one polynomial: the window is that of the instant itself.
    constexpr double kStep = 0.5;
    const std::size_t first = window_start(time_, kOrbitPoints, t);
    const Vector3 after = neville(&time_[first], &position_[first], kOrbitPoints, t + kStep);
    const Vector3 before = neville(&time_[first], &position_[first], kOrbitPoints, t - kStep);
    return 0.5 / kStep * (after - before);
}

// --- transmitters --------------------------------------------------------------------------------------------------------

std::string Satellite::name() const { return satellite_name(system, prn); }

bool is_beidou_geostationary(const Satellite& s) { return s.system == BDS && (s.prn <= 5 || s.prn >= 59); }

double carrier_frequency(sysGNSS system, int band) {
    constexpr double kUnit = 10.23e6;  // of both systems; B1I alone lies beside its multiples
    if (band == 1) return 154.0 * kUnit;
    if (band == 5) return 115.0 * kUnit;
    if (system == GPS) return band == 2 ? 120.0 * kUnit : 0.0;
    switch (band) {
        case 2:
            return 1561.098e6;
        case 6:
            return 124.0 * kUnit;
        case 7:
            return 118.0 * kUnit;
        case 8:
            return 116.5 * kUnit;
        default:
            return 0.0;
    }
}

double code_group_delay(sysGNSS system, int band, const std::array<double, 2>& group_delay) {
    if (system == GPS) {
        // IS-GPS-200, 20.3.3.3.3.2: the clock is that of the ionosphere-free pair of L1 and L2.
        if (band == 1) return group_delay[0];
        return band == 2 ? 154.0 * 154.0 / (120.0 * 120.0) * group_delay[0] : 0.0;
    }
    // BDS-SIS-ICD, 5.2.4.10: the clock is that of B3I.
    if (band == 1 || band == 2) return group_delay[0];
    return band == 5 || band == 7 ? group_delay[1] : 0.0;
}

template <typename Record>
void Constellation::add_broadcast(const Record& r, const Satellite& satellite, long mjd_day) {
    const bool gps = satellite.system == GPS;
    Element e{};
    e.geostationary = is_beidou_geostationary(satellite);
    e.mu = gps ? kGpsMu : kBdsMu;
    e.earth_rate = gps ? kGpsEarthRate : kBdsEarthRate;
    const double to_gps = gps ? 0.0 : kBdsBehindGps;
    // The calendar date says which week it is: the week number of a record may be counted in several ways.
    const GTime toc = time_of(r.TOC, gps ? tsGPST : tsBDST);
    e.toc = static_cast<double>(toc.time.mjd - mjd_day) * kDaySeconds + toc.time.sod + to_gps;
    e.toe_of_week = r.TOE;
    e.toe = week_start(toc.time.mjd, mjd_day) + r.TOE + to_gps;
    e.toe -= kWeekSeconds * std::round((e.toe - e.toc) / kWeekSeconds);
    e.a0 = r.sv_clock_bias;
    e.a1 = r.sv_clock_drift;
    e.a2 = r.sv_clock_drift_rate;
    e.root_a = r.sqrt_A;
    e.e = r.e;
    e.m0 = r.M0;
    e.delta_n = r.Delta_n;
    e.omega = r.omega;
    e.node = r.OMEGA0;
    e.node_rate = r.OMEGA_dot;
    e.i0 = r.i0;
    e.i_rate = r.i_dot;
    e.cuc = r.Cuc;
    e.cus = r.Cus;
    e.crc = r.Crc;
    e.crs = r.Crs;
    e.cic = r.Cic;
    e.cis = r.Cis;
    if constexpr (std::is_same_v<Record, EPHREC_GPS>) {
        e.group_delay = {r.TGD, 0.0};
    } else {
        e.group_delay = {r.TGD_B1_B3, r.TGD_B2_B3};
    }
    elements_.back().push_back(e);
}

Constellation::Constellation(const EPHBRDC_STORE& broadcast, const EPHPREC_STORE& precise, bool use_precise,
                             long mjd_day)
    : precise_(use_precise) {
    constexpr int kGps = 32;
    constexpr int kBds = 63;
    for (int k = 0; k < kGps + kBds; ++k) {
        const Satellite satellite = k < kGps ? Satellite{GPS, k + 1} : Satellite{BDS, k - kGps + 1};
        if (precise_) {
            Row row;
            for (int i = 0; i < precise.idx_eph[k]; ++i) {
                const EPHREC_PRE& record = precise.eph_pre_all[k][i];
                const Vector3 position{record.pos_ecf[0], record.pos_ecf[1], record.pos_ecf[2]};
                if (length(position) < 1.0) continue;  // a gap of the product
                row.time.push_back(static_cast<double>(record.time.time.mjd - mjd_day) * kDaySeconds +
                                   record.time.time.sod);
                row.position.push_back(position);
            }
            for (int i = 0; i < precise.idx_clk[k]; ++i) {
                const CLKREC_PRE& record = precise.clk_pre_all[k][i];
                if (!record.ok) continue;
                row.clock_time.push_back(static_cast<double>(record.time.time.mjd - mjd_day) * kDaySeconds +
                                         record.time.time.sod);
                row.clock.push_back(record.clk_offset);
            }
            if (row.time.size() < kOrbitPoints || row.clock.size() < 2) continue;
            satellites_.push_back(satellite);
            rows_.push_back(std::move(row));
        } else {
            elements_.emplace_back();
            const auto take = [&](const auto& records) {
                for (const auto& record : records) {
                    if (record.ok && record.sv_health == 0) add_broadcast(record, satellite, mjd_day);
                }
            };
            if (k < kGps) {
                take(broadcast.eph_brdc_gps_all[k]);
            } else {
                take(broadcast.eph_brdc_bds_all[k - kGps]);
            }
            if (elements_.back().empty()) {
                elements_.pop_back();
            } else {
                satellites_.push_back(satellite);
            }
        }
    }
}

bool Constellation::at(std::size_t index, double t, Transmission& transmission) const {
    if (precise_) return precise_at(rows_[index], t, transmission);
    const std::vector<Element>& records = elements_[index];
    const auto nearest = std::min_element(records.begin(), records.end(), [t](const Element& a, const Element& b) {
        return std::fabs(t - a.toe) < std::fabs(t - b.toe);
    });
    const double age = satellites_[index].system == GPS ? kGpsMaxAge : kBdsMaxAge;
    return std::fabs(t - nearest->toe) <= age && broadcast_at(*nearest, t, transmission);
}

bool Constellation::broadcast_at(const Element& r, double t, Transmission& out) {
    const double tk = t - r.toe;
    const double a = r.root_a * r.root_a;
    const double mean = r.m0 + (std::sqrt(r.mu / (a * a * a)) + r.delta_n) * tk;
    // Kepler's equation by its contraction: e is small.
    double anomaly = mean;
    for (int i = 0; i < 100; ++i) {
        const double next = mean + r.e * std::sin(anomaly);
        const bool done = std::fabs(next - anomaly) < 1e-15 * (1.0 + std::fabs(mean));
        anomaly = next;
        if (done) break;
    }
    // True anomaly by the half-angle formula, argument of latitude with the second harmonics.
    const double true_anomaly = 2.0 * std::atan2(std::sqrt(1.0 + r.e) * std::sin(0.5 * anomaly),
                                                 std::sqrt(1.0 - r.e) * std::cos(0.5 * anomaly));
    const double phi = true_anomaly + r.omega;
    const double c2 = std::cos(2.0 * phi);
    const double s2 = std::sin(2.0 * phi);
    const double u = phi + r.cus * s2 + r.cuc * c2;
    const double radius = a * (1.0 - r.e * std::cos(anomaly)) + r.crs * s2 + r.crc * c2;
    const double incl = r.i0 + r.i_rate * tk + r.cis * s2 + r.cic * c2;
    // In the plane, tilted about the node line: axes x to the node, z to the north.
    const Vector3 plane{radius * std::cos(u), radius * std::sin(u) * std::cos(incl),
                        radius * std::sin(u) * std::sin(incl)};
    if (r.geostationary) {
        // The elements count in axes that rest and lean by -5 degrees; the rotation of the earth comes last.
        const double node = r.node + r.node_rate * tk - r.earth_rate * r.toe_of_week;
        const Vector3 resting = in_turned_axes(plane, -node);
        const double c = std::cos(-5.0 * kDegree);
        const double s = std::sin(-5.0 * kDegree);
        const Vector3 upright{resting[0], c * resting[1] + s * resting[2], c * resting[2] - s * resting[1]};
        out.position = in_turned_axes(upright, r.earth_rate * tk);
    } else {
        const double node = r.node + (r.node_rate - r.earth_rate) * tk - r.earth_rate * r.toe_of_week;
        out.position = in_turned_axes(plane, -node);
    }
    const double dt = t - r.toc;
    const double relativity = -2.0 * std::sqrt(r.mu) / (kLight * kLight) * r.e * r.root_a * std::sin(anomaly);
    out.clock = r.a0 + dt * (r.a1 + dt * r.a2) + relativity;
    out.group_delay = r.group_delay;
    return true;
}

bool Constellation::precise_position(const Row& row, double t, Vector3& position) {
    const auto after = std::lower_bound(row.time.begin(), row.time.end(), t);
    if (after == row.time.end() || (after == row.time.begin() && *after != t)) return false;
    if (after != row.time.begin() && *after - *(after - 1) > kMaxGap) return false;
    const std::size_t first = window_start(row.time, kOrbitPoints, t);
    // The earth-fixed curve is turned into axes that rest at the instant: there it is an ellipse, and smooth.
    std::array<Vector3, kOrbitPoints> resting;
    for (std::size_t i = 0; i < kOrbitPoints; ++i)
        resting[i] = in_turned_axes(row.position[first + i], -kEarthRate * (row.time[first + i] - t));
    position = neville(&row.time[first], resting.data(), kOrbitPoints, t);
    return true;
}

bool Constellation::precise_at(const Row& row, double t, Transmission& out) {
    constexpr double kStep = 0.5;
    const auto after = std::upper_bound(row.clock_time.begin(), row.clock_time.end(), t);
    if (after == row.clock_time.begin() || after == row.clock_time.end() || *after - *(after - 1) > kMaxGap)
        return false;
    Vector3 behind{};
    Vector3 ahead{};
    if (!precise_position(row, t, out.position) || !precise_position(row, t - kStep, behind) ||
        !precise_position(row, t + kStep, ahead))
        return false;
    // Straight line between the two clocks; products leave the periodic relativistic term to the user.
    const std::size_t i = static_cast<std::size_t>(after - row.clock_time.begin());
    const double part = (t - row.clock_time[i - 1]) / (row.clock_time[i] - row.clock_time[i - 1]);
    const Vector3 velocity = 0.5 / kStep * (ahead - behind);
    out.clock = row.clock[i - 1] + part * (row.clock[i] - row.clock[i - 1]) -
                2.0 * dot(out.position, velocity) / (kLight * kLight);
    out.group_delay = {};
    return true;
}

// --- propagation ---------------------------------------------------------------------------------------------------------

bool trace(const Constellation& constellation, std::size_t index, double t, const Vector3& receiver, Path& path) {
    const double rate = constellation.satellites()[index].system == BDS ? kBdsEarthRate : kGpsEarthRate;
    double tau = 0.08;
    for (int i = 0; i < 12; ++i) {
        if (!constellation.at(index, t - tau, path.transmission)) return false;
        path.satellite = in_turned_axes(path.transmission.position, rate * tau);
        const double next = length(path.satellite - receiver) / kLight;
        const bool done = std::fabs(next - tau) < 1e-14;
        tau = next;
        if (done) break;
    }
    path.light_time = tau;
    path.to_satellite = unit(path.satellite - receiver);
    path.elevation = std::asin(dot(path.to_satellite, unit(receiver)));
    return true;
}

double shell_factor(double receiver_radius, double shell_radius, double elevation) {
    const double s = receiver_radius / shell_radius * std::cos(elevation);
    return 1.0 / std::sqrt(1.0 - s * s);
}

double ionospheric_delay(double slant_tecu, double frequency) { return 40.3e16 * slant_tecu / (frequency * frequency); }

// --- orientation ---------------------------------------------------------------------------------------------------------

namespace {

/// Greenwich mean sidereal angle: earth rotation angle and precession, UT1 taken as UTC. Capitaine et al. (2003).
double mean_sidereal_angle(double mjd_utc, double centuries) {
    const double days = mjd_utc - 51544.5;
    const double rotation = 2.0 * kPi * (0.7790572732640 + 0.00273781191135448 * days + std::fmod(days, 1.0));
    return rotation + (0.014506 + centuries * (4612.156534 + centuries * 1.3915817)) * kArcsecond;
}

}  // namespace

Vector3 sun_direction(double mjd_utc) {
    // Low-precision formulas of the Astronomical Almanac.
    const double n = mjd_utc - 51544.5;
    const double mean = (280.460 + 0.9856474 * n) * kDegree;
    const double anomaly = (357.528 + 0.9856003 * n) * kDegree;
    const double longitude = mean + (1.915 * std::sin(anomaly) + 0.020 * std::sin(2.0 * anomaly)) * kDegree;
    const double obliquity = (23.439 - 4e-7 * n) * kDegree;
    const Vector3 direction{std::cos(longitude), std::cos(obliquity) * std::sin(longitude),
                            std::sin(obliquity) * std::sin(longitude)};
    return in_turned_axes(direction, mean_sidereal_angle(mjd_utc, n / 36525.0));
}

std::array<Vector3, 3> celestial_from_earth_fixed(double mjd_utc, double tt_minus_utc) {
    const double t = (mjd_utc + tt_minus_utc / kDaySeconds - 51544.5) / 36525.0;
    // The four largest terms of nutation, 0.5 arcseconds in all without the rest.
    const double node = (125.04452 - 1934.136261 * t) * kDegree;
    const double sun = (280.4665 + 36000.7698 * t) * kDegree;
    const double moon = (218.3165 + 481267.8813 * t) * kDegree;
    const double dpsi = (-17.20 * std::sin(node) - 1.32 * std::sin(2.0 * sun) - 0.23 * std::sin(2.0 * moon) +
                         0.21 * std::sin(2.0 * node)) *
                        kArcsecond;
    const double deps = (9.20 * std::cos(node) + 0.57 * std::cos(2.0 * sun) + 0.10 * std::cos(2.0 * moon) -
                         0.09 * std::cos(2.0 * node)) *
                        kArcsecond;
    const double eps = (84381.406 - 46.836769 * t) * kArcsecond;
    // Equatorial precession angles, IAU 2006.
    const double zeta = (2.650545 + t * (2306.083227 + t * (0.2988499 + t * 0.01801828))) * kArcsecond;
    const double z = (-2.650545 + t * (2306.077181 + t * (1.0927348 + t * 0.01826837))) * kArcsecond;
    const double theta = t * (2004.191903 - t * (0.4294934 + t * 0.04182264)) * kArcsecond;
    const double sidereal = mean_sidereal_angle(mjd_utc, t) + dpsi * std::cos(eps);

    const auto about_x = [](const Vector3& v, double angle) {
        const Vector3 turned = in_turned_axes({v[1], v[2], v[0]}, angle);
        return Vector3{turned[2], turned[0], turned[1]};
    };
    const auto about_y = [](const Vector3& v, double angle) {
        const Vector3 turned = in_turned_axes({v[2], v[0], v[1]}, angle);
        return Vector3{turned[1], turned[2], turned[0]};
    };
    // Each earth-fixed axis goes back through sidereal rotation, nutation and precession.
    std::array<Vector3, 3> columns;
    for (std::size_t k = 0; k < 3; ++k) {
        Vector3 v{};
        v[k] = 1.0;
        v = in_turned_axes(v, -sidereal);
        v = about_x(v, eps + deps);
        v = in_turned_axes(v, dpsi);
        v = about_x(v, -eps);
        v = in_turned_axes(v, z);
        v = about_y(v, -theta);
        columns[k] = in_turned_axes(v, zeta);
    }
    std::array<Vector3, 3> rows;
    for (std::size_t i = 0; i < 3; ++i) rows[i] = {columns[0][i], columns[1][i], columns[2][i]};
    return rows;
}

BodyAxes platform_axes(const Vector3& position, const Vector3& velocity, bool z_down, double yaw) {
    const Vector3 inertial = velocity + cross({0.0, 0.0, kEarthRate}, position);
    BodyAxes axes;
    const Vector3 normal = unit(cross(position, inertial));
    axes.z = z_down ? -1.0 * unit(position) : unit(position);
    axes.y = z_down ? -1.0 * normal : normal;
    axes.x = cross(axes.y, axes.z);
    const Vector3 x = axes.x;
    axes.x = std::cos(yaw) * x + std::sin(yaw) * axes.y;
    axes.y = std::cos(yaw) * axes.y - std::sin(yaw) * x;
    return axes;
}

std::array<double, 4> quaternion_of(const BodyAxes& b) {
    // Shepperd (1978): the largest of the four components first. The axes are the columns of the matrix.
    const double m[3][3] = {{b.x[0], b.y[0], b.z[0]}, {b.x[1], b.y[1], b.z[1]}, {b.x[2], b.y[2], b.z[2]}};
    const double trace = m[0][0] + m[1][1] + m[2][2];
    std::array<double, 4> q{};
    const double size[4] = {trace, m[0][0], m[1][1], m[2][2]};
    const std::size_t largest = static_cast<std::size_t>(std::max_element(size, size + 4) - size);
    if (largest == 0) {
        q = {1.0 + trace, m[2][1] - m[1][2], m[0][2] - m[2][0], m[1][0] - m[0][1]};
    } else {
        const std::size_t i = largest - 1;
        const std::size_t j = (i + 1) % 3;
        const std::size_t k = (i + 2) % 3;
        q[0] = m[k][j] - m[j][k];
        q[1 + i] = 1.0 + m[i][i] - m[j][j] - m[k][k];
        q[1 + j] = m[j][i] + m[i][j];
        q[1 + k] = m[k][i] + m[i][k];
    }
    const double norm = std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]);
    for (double& component : q) component /= norm;
    return q;
}

BodyAxes transmitter_axes(const Satellite& satellite, const Vector3& position, const Vector3& sun) {
    BodyAxes axes;
    axes.z = -1.0 * unit(position);
    // Yaw steering: the panels' axis y is across the Sun. A geostationary satellite keeps it across its orbit.
    axes.y = is_beidou_geostationary(satellite) ? Vector3{0.0, 0.0, -1.0} : unit(cross(axes.z, sun));
    axes.x = unit(cross(axes.y, axes.z));
    axes.y = cross(axes.z, axes.x);
    return axes;
}

double wind_up(const BodyAxes& transmitter, const BodyAxes& receiver, const Vector3& to_satellite, double former) {
    // A right-handed antenna sends the field x - j y (time factor exp(+j w t)) as seen across the line of sight, and by reciprocity weighs
    // an arriving field with its own x - j y. The phase of that product leads, and a phase measurement counts what lags.
    const auto across = [&](const Vector3& a, const Vector3& b) {
        return dot(a, b) - dot(a, to_satellite) * dot(b, to_satellite);
    };
    const double real = across(receiver.x, transmitter.x) - across(receiver.y, transmitter.y);
    const double imaginary = across(receiver.x, transmitter.y) + across(receiver.y, transmitter.x);
    const double cycles = std::atan2(imaginary, real) / (2.0 * kPi);
    return cycles + std::round(former - cycles);
}

}  // namespace host
