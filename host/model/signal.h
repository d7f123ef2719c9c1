/// \file signal.h
/// What a GNSS receiver in orbit measures, for `leopod simulate`. Formulas and constants of its own throughout, from the interface
/// documents and textbooks: nothing here calls a model of the library's processing, so that a simulated arc that is processed shows the
/// errors of either side.
///
/// Times are seconds of GPS time since the start of a day that the caller chooses. Positions are earth-fixed, in metres, in the axes of
/// the instant they belong to.
#ifndef LEOPOD_HOST_SIGNAL_H
#define LEOPOD_HOST_SIGNAL_H

#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "gnss_satposition.h"
#include "inputs/positions.h"

namespace host {

constexpr double kLight = 299792458.0;  ///< [m/s]

// --- vectors -------------------------------------------------------------------------------------------------------------

inline Vector3 operator+(const Vector3& a, const Vector3& b) { return {a[0] + b[0], a[1] + b[1], a[2] + b[2]}; }
inline Vector3 operator-(const Vector3& a, const Vector3& b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }
inline Vector3 operator*(double s, const Vector3& a) { return {s * a[0], s * a[1], s * a[2]}; }
inline double dot(const Vector3& a, const Vector3& b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }
inline double length(const Vector3& a) { return std::sqrt(dot(a, a)); }
inline Vector3 unit(const Vector3& a) { return 1.0 / length(a) * a; }
inline Vector3 cross(const Vector3& a, const Vector3& b) {
    return {a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]};
}
/// The vector in axes that are turned about z by an angle.
inline Vector3 in_turned_axes(const Vector3& a, double angle) {
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    return {c * a[0] + s * a[1], c * a[1] - s * a[0], a[2]};
}

/// Unit axes of a body.
struct BodyAxes {
    Vector3 x, y, z;
};

// --- interpolation -------------------------------------------------------------------------------------------------------

/// Polynomial through all points by Neville's scheme. The points need not be evenly spaced; their count is at most 16.
Vector3 neville(const double* time, const Vector3* value, std::size_t count, double at);

/// A list of positions as a function of time.
class ReceiverOrbit {
  public:
    /// Positions in order of time, as seconds since the start of day `mjd_day`. Throws InputError, with the name of the file, for fewer
    /// than 12, for times that don't rise and for a gap of more than `kMaxStep`.
    ReceiverOrbit(const std::vector<TimedPosition>& rows, long mjd_day, const std::string& file);
    static constexpr double kMaxStep = 300.0;  ///< [s]

    double first() const { return time_.front(); }
    double last() const { return time_.back(); }
    std::size_t size() const { return time_.size(); }
    Vector3 position(double t) const;
    Vector3 velocity(double t) const;

  private:
    std::vector<double> time_;
    std::vector<Vector3> position_;
};

// --- transmitters --------------------------------------------------------------------------------------------------------

struct Satellite {
    sysGNSS system;
    int prn;
    std::string name() const;  ///< such as C21
};
inline bool operator==(const Satellite& a, const Satellite& b) { return a.system == b.system && a.prn == b.prn; }

/// Geostationary BeiDou satellites by the numbers that the interface document sets aside for them.
bool is_beidou_geostationary(const Satellite& satellite);

/// Carrier frequency of a band of RINEX 3 [Hz]; 0 for a band that the system doesn't have.
double carrier_frequency(sysGNSS system, int band);

/// A transmitter at one instant.
struct Transmission {
    Vector3 position;                     ///< [m]
    double clock = 0;                     ///< offset from GPS time, relativistic term included [s]
    std::array<double, 2> group_delay{};  ///< of the record: TGD and 0 (GPS), TGD1 and TGD2 (BDS) [s]
};

/// All transmitters of the loaded files. Precise products serve alone where there are any, else broadcast records.
class Constellation {
  public:
    Constellation(const EPHBRDC_STORE& broadcast, const EPHPREC_STORE& precise, bool use_precise, long mjd_day);

    const std::vector<Satellite>& satellites() const { return satellites_; }
    /// State at an instant. False where no healthy record is near enough, or the products have no rows on both sides.
    bool at(std::size_t index, double t, Transmission& transmission) const;

  private:
    struct Element;
    struct Row;
    static bool broadcast_at(const Element& element, double t, Transmission& transmission);
    static bool precise_at(const Row& row, double t, Transmission& transmission);
    static bool precise_position(const Row& row, double t, Vector3& position);

    /// A broadcast record, its reference times in the scale of this file.
    struct Element {
        bool geostationary;
        double mu, earth_rate;  ///< of the interface document [m^3/s^2], [rad/s]
        double toe, toe_of_week, toc;
        double a0, a1, a2;
        double root_a, e, m0, delta_n, omega, node, node_rate, i0, i_rate;
        double cuc, cus, crc, crs, cic, cis;
        std::array<double, 2> group_delay;
    };
    /// Rows of a precise product.
    struct Row {
        std::vector<double> time, clock_time, clock;
        std::vector<Vector3> position;
    };
    template <typename Record>
    void add_broadcast(const Record& record, const Satellite& satellite, long mjd_day);

    bool precise_;
    std::vector<Satellite> satellites_;
    std::vector<std::vector<Element>> elements_;  ///< by satellite, broadcast
    std::vector<Row> rows_;                       ///< by satellite, precise
};

/// Delay of a code on a band behind the clock of the ephemerides [s]: by the interface documents, GPS L1 TGD, L2 TGD (f1/f2)^2; BDS bands 1
/// and 2 TGD1, 5 and 7 TGD2, 6 none.
double code_group_delay(sysGNSS system, int band, const std::array<double, 2>& group_delay);

// --- propagation ---------------------------------------------------------------------------------------------------------

/// A signal from the transmitter to the receiver.
struct Path {
    Transmission transmission;
    Vector3 satellite;       ///< position at transmission in the earth-fixed axes of the reception [m]
    double light_time = 0;   ///< [s]
    Vector3 to_satellite{};  ///< unit vector from the receiver
    double elevation = 0;    ///< above the plane across the receiver's geocentric vertical [rad]
};

/// Follows the signal that arrives at a position at an instant back to its transmitter. False where the transmitter has no state.
bool trace(const Constellation& constellation, std::size_t index, double t, const Vector3& receiver, Path& path);

/// Slant over vertical content of a thin shell of electrons around the earth, above a receiver below it.
double shell_factor(double receiver_radius, double shell_radius, double elevation);

/// Ionospheric delay of a code, and advance of a phase, for a slant content [TECU] [m].
double ionospheric_delay(double slant_tecu, double frequency);

// --- orientation ---------------------------------------------------------------------------------------------------------

/// Direction of the Sun, earth-fixed, for a UTC date (MJD). Good to 0.02 degrees.
Vector3 sun_direction(double mjd_utc);

/// Axes of the celestial frame (GCRS) as columns of rows: multiplied with an earth-fixed vector they give it in the celestial frame. UT1 is
/// taken as UTC, the pole as that of the rotation: good to 15 arcseconds.
std::array<Vector3, 3> celestial_from_earth_fixed(double mjd_utc, double tt_minus_utc);

/// Axes of a platform that points to the earth's centre: x along the flight, z down or up, turned about z by the yaw angle [rad].
BodyAxes platform_axes(const Vector3& position, const Vector3& velocity, bool z_down, double yaw);

/// Quaternion (scalar part first) of the rotation from body axes to the frame in which they are given.
std::array<double, 4> quaternion_of(const BodyAxes& axes);

/// Axes of a transmitter: yaw steering with the Sun, and along the orbit for a geostationary BeiDou satellite.
BodyAxes transmitter_axes(const Satellite& satellite, const Vector3& position, const Vector3& sun);

/// Phase that right-handed circular polarisation gains by the orientation of both antennas [cycle], as a phase measurement counts it: a
/// value within half a cycle of the former one. Both antennas look along their z axes.
double wind_up(const BodyAxes& transmitter, const BodyAxes& receiver, const Vector3& to_satellite, double former);

}  // namespace host

#endif
