#include "estimation/laser_ranges.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <set>
#include <tuple>

#include "common_function.h"
#include "earth_rotation_param.h"
#include "eph_planet.h"
#include "estimation/formal.h"
#include "iers_function.h"
#include "inputs/crd_records.h"
#include "inputs/laser_points.h"
#include "shared/earth.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/times.h"

namespace host {

namespace {

constexpr double kLowest = 5.0;  ///< nothing is ranged below; the mapping function holds from 3 degrees on [deg]

/// Why a point has no residual.
enum class Lack { kNone, kOutside, kLow, kWavelength, kWeather };
constexpr std::array<const char*, 5> kLackNames = {"", "outside the arc", "below 5 degrees of elevation",
                                                   "without a wavelength", "without meteorology"};

struct Residual {
    Lack lack = Lack::kNone;
    double azimuth = 0, elevation = 0;  ///< [deg]
    double troposphere = 0;             ///< one way, as applied [m]
    double computed = 0, residual = 0;  ///< one way [m]
};

using RowMatrix = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

/// The earth about the time of a point.
class Earth {
  public:
    explicit Earth(const GTime& utc) : utc_(utc), mjd_(gtime2mjd(utc)), leap_(getLeapSecond(mjd_)) {
        compute_eci2ecf_matrix(mjd_, leap_, to_fixed_.data(), rate_.data());
    }
    double mjd() const { return mjd_; }
    const RowMatrix& to_fixed() const { return to_fixed_; }
    /// Displacement of a site by the solid earth tide.
    Eigen::Vector3d tide(Eigen::Vector3d site) const {
        const TimeYMD date = date_of(utc_.time.mjd);
        Eigen::Vector3d sun = body(SUN), moon = body(MOON), shift;
        DEHANTTIDEINEL(site.data(), date.year, date.month, date.day, utc_.time.sod / 3600.0, leap_, sun.data(),
                       moon.data(), shift.data());
        return shift;
    }
    /// Position and velocity in GCRS of a point that rests on the earth.
    void inertial(const Eigen::Vector3d& site, Eigen::Vector3d& position, Eigen::Vector3d& velocity) const {
        position = to_fixed_.transpose() * site;
        velocity = rate_.transpose() * site;
    }

  private:
    Eigen::Vector3d body(PLANET_JPL which) const {
        const GTime tt = gtimeChangeTimeSystem(utc_, tsTT);
        double pv[6] = {};
        if (!compute_planet_pos_vel(static_cast<double>(tt.time.mjd) + tt.time.sod / 86400.0 + kMjdToJd, EARTH, which,
                                    pv))
            throw InputError("laser ranges: no Sun and Moon for " + time_text(utc_) + " UTC");
        return to_fixed_ * (1000.0 * Eigen::Vector3d(pv[0], pv[1], pv[2]));
    }
    GTime utc_;
    double mjd_, leap_;
    RowMatrix to_fixed_, rate_;
};

/// Water vapour pressure by the saturation over water and the enhancement factor (Giacomo 1982) [hPa].
double vapour_pressure(const Meteorology& m) {
    const double t = m.temperature, celsius = t - 273.15;
    const double saturation = 0.01 * std::exp(1.2378847e-5 * t * t - 1.9121316e-2 * t + 33.93711047 - 6.3431645e3 / t);
    const double enhancement = 1.00062 + 3.14e-6 * m.pressure + 5.6e-7 * celsius * celsius;
    return m.humidity / 100.0 * saturation * enhancement;
}

double troposphere(const Eigen::Vector3d& blh, const Meteorology& m, double wavelength, double elevation) {
    double total, dry, wet;
    FCULZD_HPA(blh[0] * kRadToDeg, blh[2], m.pressure, vapour_pressure(m), wavelength, &total, &dry, &wet);
    return total * FCUL_A(blh[0] * kRadToDeg, blh[2], m.temperature, elevation);
}

double shapiro(const Eigen::Vector3d& a, const Eigen::Vector3d& b) {
    const double sum = a.norm() + b.norm(), range = (a - b).norm();
    return 2.0 * kEarthGm / (kSpeedOfLight * kSpeedOfLight) * std::log((sum + range) / (sum - range));
}

/// The way of the light between a station and the reflector, about the epoch of a point.
class Path {
  public:
    Path(const GTime& utc, const Eigen::Vector3d& position, const Eigen::Vector3d& velocity, const OrbitAt& orbit,
         const Eigen::Vector3d& reflector)
        : gpst_(gtimeChangeTimeSystem(utc, tsGPST)),
          position_(position),
          velocity_(velocity),
          orbit_(orbit),
          reflector_(reflector) {}

    /// Seconds from the epoch to the reflection. False where the orbit does not reach.
    bool reflect(int event) {
        bounce_ = 0.0;
        if (!place()) return false;
        // Up behind the transmission, down before the reception.
        const double sign = event == 2 ? 1.0 : event == 0 ? -1.0 : 0.0;
        for (int i = 0; i < 5 && sign != 0.0; ++i) {
            bounce_ = sign * leg(0.0) / kSpeedOfLight;
            if (!place()) return false;
        }
        return true;
    }
    /// Half the way up and down, in vacuum with the delay by gravity [m].
    double half() const {
        double up = leg(bounce_), down = up;
        for (int i = 0; i < 4; ++i) {
            up = leg(bounce_ - up / kSpeedOfLight);
            down = leg(bounce_ + down / kSpeedOfLight);
        }
        return 0.5 * (up + down);
    }
    /// From the station to the reflector at the reflection, GCRS.
    Eigen::Vector3d sight() const { return satellite_ - station(bounce_); }

  private:
    /// Over hundredths of a second the earth's turning is straight to some micrometres.
    Eigen::Vector3d station(double t) const { return position_ + t * velocity_; }
    double leg(double t) const { return (satellite_ - station(t)).norm() + shapiro(station(t), satellite_); }
    bool place() {
        Eigen::Vector3d velocity;
        if (!orbit_(gtimeAddSec(gpst_, bounce_), satellite_, velocity)) return false;
        satellite_ += orbit_axes(satellite_, velocity).transpose() * reflector_;
        return true;
    }
    GTime gpst_;
    Eigen::Vector3d position_, velocity_;
    const OrbitAt& orbit_;
    Eigen::Vector3d reflector_, satellite_;
    double bounce_ = 0.0;
};

Residual residual_of(const LaserSession& s, const NormalPoint& point, const LaserStation& station, const OrbitAt& orbit,
                     const Eigen::Vector3d& reflector) {
    const Earth earth(point.time);
    Eigen::Vector3d site = station.at(earth.mjd());
    site += earth.tide(site);
    Eigen::Vector3d position, velocity;
    earth.inertial(site, position, velocity);
    const bool at_reflector = s.session.header->CofM_app_ind == 1;
    Path path(point.time, position, velocity, orbit, at_reflector ? Eigen::Vector3d::Zero() : reflector);
    Residual r;
    if (!path.reflect(point.event)) {
        r.lack = Lack::kOutside;
        return r;
    }
    Eigen::Vector3d blh, sight = earth.to_fixed() * path.sight();
    ecef2blh(site.data(), blh.data(), kSemiMajor, kFlattening);
    double direction[2];
    azel(blh.data(), sight.data(), direction);
    r.azimuth = direction[0] * kRadToDeg;
    r.elevation = direction[1] * kRadToDeg;
    const std::optional<Meteorology> weather = s.weather(point.time);
    const bool corrected = s.session.header->refraction_app_ind == 1;
    if (r.elevation < kLowest) {
        r.lack = Lack::kLow;
    } else if (!corrected && point.wavelength < 0.2) {
        r.lack = Lack::kWavelength;
    } else if (!corrected && !weather) {
        r.lack = Lack::kWeather;
    } else {
        if (!corrected) r.troposphere = troposphere(blh, *weather, point.wavelength, r.elevation);
        r.computed = path.half() + r.troposphere;
        r.residual = 0.5 * kSpeedOfLight * point.time_of_flight - r.computed;
    }
    return r;
}

void print(const LaserResult& r) { std::printf(" %6ld %9.4f %9.4f\n", r.count, r.mean(), r.rms()); }

/// Why no point of a session can serve; empty for one that can.
std::string fault_of(const LaserSession& s, const LaserStation* station) {
    if (station == nullptr) return "the station is not in the list";
    if (!s.session.header || !s.session.start) return "without a date (H4)";
    const rh4& h = *s.session.header;
    if (h.range_type_ind != 2) return "its ranges are not two-way";
    if (h.data_qual_alert_ind == 2) return "the station marks it as not to be used";
    if (h.stn_sysdelay_app_ind == 0) return "the delay of the station is not applied";
    return "";
}

class Table {
  public:
    explicit Table(const std::string& file) {
        if (file.empty()) return;
        out_ = std::make_unique<OutputFile>(file);
        std::fprintf(*out_,
                     "session,station,pad_id,target,epoch_utc,azimuth_deg,elevation_deg,observed_m,computed_m,"
                     "troposphere_m,residual_m\n");
    }
    void put(const LaserSession& s, const NormalPoint& p, const Residual& r) {
        if (!out_) return;
        std::fprintf(*out_, "%zu,%s,%s,%s,%s,%.4f,%.4f,%.4f,%.4f,%.4f,%.4f\n", s.number,
                     csv_text(s.session.station.stn_name).c_str(), csv_text(s.session.station.cdp_pad_id).c_str(),
                     csv_text(s.session.target.target_name).c_str(), epoch_text(p.epoch, 12).c_str(), r.azimuth,
                     r.elevation, 0.5 * kSpeedOfLight * p.time_of_flight, r.computed, r.troposphere, r.residual);
    }
    void close() {
        if (out_) out_->close();
    }

  private:
    std::unique_ptr<OutputFile> out_;
};

std::string name_of(const LaserSession& s) {
    return "session " + std::to_string(s.number) + " (" + s.station() + ", " + s.session.file + " line " +
           std::to_string(s.session.line) + ")";
}

/// Points in use, by station of the list, epoch and time of flight. A file given twice, or a day within its month, has them again.
using UsedPoints = std::set<std::tuple<const LaserStation*, Epoch, double>>;

/// Residuals of a session: a line of its figures, and what was left out.
void check_session(const LaserSession& s, const LaserStation& station, const OrbitAt& orbit,
                   const Eigen::Vector3d& reflector, UsedPoints& used, Table& table, LaserResult& all,
                   std::vector<std::string>& notes) {
    LaserResult sums;
    std::map<Lack, long> lacks;
    long repeated = 0;
    const NormalPoint *first = nullptr, *last = nullptr;
    for (const NormalPoint& point : s.points) {
        const Residual r = residual_of(s, point, station, orbit, reflector);
        if (r.lack != Lack::kNone) {
            ++lacks[r.lack];
            continue;
        }
        if (!used.emplace(&station, point.epoch, point.time_of_flight).second) {
            ++repeated;
            continue;
        }
        if (first == nullptr || point.epoch < first->epoch) first = &point;
        if (last == nullptr || last->epoch < point.epoch) last = &point;
        sums.add(r.residual);
        all.add(r.residual);
        table.put(s, point, r);
    }
    for (const auto& [lack, count] : lacks)
        notes.push_back(name_of(s) + ": " + std::to_string(count) + " points " +
                        kLackNames[static_cast<std::size_t>(lack)]);
    if (s.unread > 0)
        notes.push_back(name_of(s) + ": " + std::to_string(s.unread) +
                        " points without a date, a time of flight or an epoch event of 0 to 2");
    if (repeated > 0)
        notes.push_back(name_of(s) + ": " + std::to_string(repeated) + " points that a session before has as well");
    if (sums.count == 0) return;
    std::printf("  %7zu %-16s %s  %s", s.number, s.station().c_str(), epoch_text(first->epoch, 0).c_str(),
                epoch_text(last->epoch, 0).c_str());
    print(sums);
}

}  // namespace

void LaserResult::add(double residual) {
    ++count;
    sum += residual;
    squares += residual * residual;
}
double LaserResult::mean() const { return sum / static_cast<double>(count); }
double LaserResult::rms() const { return std::sqrt(squares / static_cast<double>(count)); }

void check_laser_options(const LaserOptions& o) {
    if (o.crd.empty()) {
        if (!o.stations.empty() || !o.out.empty() || !o.reflector.empty() || !o.target.empty())
            throw InputError("--stations, --reflector-offset, --crd-target and --crd-out need laser ranges (--crd)");
        return;
    }
    if (o.stations.empty()) throw InputError("--crd needs the positions of the stations (--stations)");
    const LaserStations stations{o.stations};
    read_laser_sessions(o.crd, o.target);
}

LaserResult check_against_laser(const LaserOptions& o, const OrbitAt& orbit) {
    const LaserStations stations(o.stations);
    const std::vector<LaserSession> sessions = read_laser_sessions(o.crd, o.target);
    const Eigen::Vector3d reflector = o.reflector.empty()
                                          ? Eigen::Vector3d::Zero()
                                          : Eigen::Vector3d(Eigen::Map<const Eigen::Vector3d>(o.reflector.data()));
    std::printf(
        "laser ranges to %s, observed less computed, one way; reflector %.3f, %.3f, %.3f m (radial, along, cross)\n",
        sessions.front().target().c_str(), reflector[0], reflector[1], reflector[2]);
    std::printf("  session station          from (UTC)           to                   points  mean [m]   rms [m]\n");
    Table table(o.out);
    UsedPoints used;
    LaserResult all;
    std::vector<std::string> notes;
    for (const LaserSession& s : sessions) {
        const LaserStation* station = stations.find(s.session.station);
        const std::string fault = fault_of(s, station);
        if (fault.empty()) {
            check_session(s, *station, orbit, reflector, used, table, all, notes);
        } else {
            notes.push_back(name_of(s) + ": " + fault);
        }
    }
    if (all.count > 0) {
        std::printf("  %-66s", "all");
        print(all);
    } else {
        std::printf("  none: no session serves\n");
    }
    for (const std::string& note : notes) std::printf("  not used: %s\n", note.c_str());
    table.close();
    say_written("laser residuals", o.out);
    return all;
}

}  // namespace host
