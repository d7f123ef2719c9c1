/// \file laser_ranges.h
/// Laser ranges held against an orbit: residuals of normal points, a check that owes nothing to the observations of the orbit.
#ifndef LEOPOD_HOST_LASER_RANGES_H
#define LEOPOD_HOST_LASER_RANGES_H

#include <Eigen/Dense>
#include <functional>
#include <string>
#include <vector>

#include "gtime.h"

namespace host {

struct LaserOptions {
    std::vector<std::string> crd;
    std::string stations, target, out;
    std::vector<double> reflector;  ///< from the centre of mass, radial, along, cross [m]; empty: zero
};

/// Position and velocity (GCRS) at a time (GPST) of the arc; false outside of it.
using OrbitAt = std::function<bool(const GTime& gpst, Eigen::Vector3d& position, Eigen::Vector3d& velocity)>;

/// Refuses options without the others that they need, and files that can't be read; for the time before the work. Throws InputError.
void check_laser_options(const LaserOptions& options);

/// One-way residuals.
struct LaserResult {
    long count = 0;
    double sum = 0, squares = 0;  ///< [m], [m^2]
    void add(double residual);
    double mean() const;
    double rms() const;
};

/// Prints the residuals by session and over all, what was not used and why, and writes them.
LaserResult check_against_laser(const LaserOptions& options, const OrbitAt& orbit);

}  // namespace host

#endif
