/// \file antenna_offset.h
/// From the centre of mass of a satellite to the antenna of its receiver: in the axes of the orbit, or of the platform by its attitude.
#ifndef LEOPOD_HOST_ANTENNA_OFFSET_H
#define LEOPOD_HOST_ANTENNA_OFFSET_H

#include <Eigen/Dense>
#include <optional>
#include <string>
#include <vector>

#include "inputs/positions.h"
#include "stores/coverage.h"

namespace host {

struct AntennaOptions {
    std::vector<double> offset;  ///< [m]; empty: none is given
    std::string axes = "orbit";  ///< of that: orbit (radial, along, cross) or platform
    double sigma = -1;  ///< a-priori error of its radial part, which is then estimated [m]; negative: not given
};

/// Refuses what lacks something. `attitude`: quaternions are given. Throws InputError.
void check_antenna(const AntennaOptions& options, bool attitude);

class AntennaOffset {
  public:
    AntennaOffset() = default;
    /// The quaternions are loaded by then.
    explicit AntennaOffset(const AntennaOptions& options);

    bool is_zero() const { return offset_.isZero(0.0); }
    bool in_platform() const { return attitude_.has_value(); }
    /// It asks for the direction of flight.
    bool needs_direction() const { return !in_platform() && (offset_[1] != 0.0 || offset_[2] != 0.0); }

    /// In GCRS at a time (GPST). `forward`: velocity, or any vector in the plane of the orbit that points forward; where there is no need of a
    /// direction, any. NaN where no quaternion serves the time.
    Eigen::Vector3d celestial(const GTime& gpst, const Eigen::Vector3d& position, const Eigen::Vector3d& forward) const;

    std::string text() const;     ///< "0.450, 0.000, 0.000 m from the centre of mass (radial, along, cross)"
    std::string comment() const;  ///< for files of orbits

  private:
    Eigen::Vector3d offset_ = Eigen::Vector3d::Zero();
    std::optional<AttitudeGuard> attitude_;  ///< of the platform, where its axes count
};

/// Longest time between two positions that tell the direction of flight [s].
constexpr double kLongestDirection = 1200.0;

/// Moves positions of an antenna to the centre of mass. Those that it can't be done for get a status that says why.
void move_to_centre_of_mass(const AntennaOffset& antenna, PositionFile& positions);

/// The same for one earth-fixed position, whose neighbour stands `step` later (negative: earlier). False where the attitude does not serve it.
bool move_to_centre_of_mass(const AntennaOffset& antenna, const GTime& gpst, const Eigen::Vector3d& neighbour,
                            double step, double* position);

}  // namespace host

#endif
