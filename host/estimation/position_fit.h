/// \file position_fit.h
/// A dynamic orbit through positions by least squares.
#ifndef LEOPOD_HOST_POSITION_FIT_H
#define LEOPOD_HOST_POSITION_FIT_H

#include <functional>
#include <string>
#include <vector>

#include "inputs/positions.h"
#include "shared/console.h"
#include "stores/dynamics.h"

namespace host {

constexpr std::size_t kFewestPositions = 20;  ///< that make an orbit

/// Positions to be fitted, inertial, in time order.
struct FitPositions {
    std::vector<GTime> utc;
    std::vector<Vector3> eci;                       ///< [m]
    std::vector<std::array<double, 9>> covariance;  ///< row-major [m^2]; empty: none is known
    std::vector<std::string> aside;                 ///< why a position is left out; empty, or all empty: none is
    double offset_sigma =
        0;  ///< a-priori deviation of their radial offset from the orbit, the antenna's height [m]; 0: there is none
    double seconds(std::size_t i) const { return gtimeSubSec(utc[i], utc.front()); }
    double span() const { return seconds(utc.size() - 1); }
};

/// One iteration.
struct FitIteration {
    int number = 0;
    double rms[3]{}, test = 0;  ///< along, radial, cross [m]; root mean square of the corrections
};

/// Residual of one position against the fitted orbit.
struct FitResidual {
    GTime utc;
    double seconds;
    double along, radial, cross;  ///< [m]
    double weight = 1.0;          ///< 0: left out
    std::string reason;           ///< why it was left out
    double length() const;
};

/// An estimated parameter of the forces.
struct FitParameter {
    std::string name;
    double value;       ///< [nm/s^2]
    double start, end;  ///< [MJD, UTC]
};

struct FitResult {
    std::vector<FitIteration> iterations;
    std::string failure;  ///< why there is no orbit; empty where there is one
    std::vector<FitResidual> residuals;
    std::vector<FitParameter> parameters;
    std::vector<TrajectoryPoint> orbit;  ///< at the output epochs of the configuration
    double rms[3]{};                     ///< along, radial, cross [m]
    double offset = 0,
           offset_deviation = 0;  ///< radial, of the positions from the orbit [m]; 0 where it isn't estimated
    /// Covariances of position and velocity at points of the orbit, earth-fixed; empty where they are not known.
    std::function<std::vector<Covariance>(const std::vector<TrajectoryPoint>&)> covariances;
};

constexpr int kFitIterations = 8;  ///< at most

/// Fits with equal weights, by the library. Throws InputError where the configuration can't serve these positions.
FitResult fit_with_unit_weights(const std::string& source, const FitPositions& positions, Dynamics& dynamics,
                                Console& console);

/// Why the result isn't an orbit through these positions, in one line; empty where it is one: numbers are finite, the corrections ended below
/// the limit, positions enough are in use, and the residuals are those of an orbit.
std::string doubt_about(const FitResult& result, const FitPositions& positions);

}  // namespace host

#endif
