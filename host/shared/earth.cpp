#include "shared/earth.h"

#include <Eigen/Core>
#include <cmath>

#include "common_function.h"

namespace host {

std::array<double, 3> flattened_pull(const double* position) {
    constexpr double kRadius = 6378136.3;  // [m]
    constexpr double kJ2 = 1.0826e-3;
    const Eigen::Map<const Eigen::Vector3d> r(position);
    const double s = r.z() * r.z() / r.squaredNorm();
    const double f = 1.5 * kJ2 * kRadius * kRadius / r.squaredNorm();
    const Eigen::Vector3d scale(1.0 + f * (1.0 - 5.0 * s), 1.0 + f * (1.0 - 5.0 * s), 1.0 + f * (3.0 - 5.0 * s));
    const Eigen::Vector3d pull = (-kEarthGm / std::pow(r.norm(), 3) * r).cwiseProduct(scale);
    return {pull.x(), pull.y(), pull.z()};
}

std::array<double, 3> geodetic(const double* position) {
    double xyz[3] = {position[0], position[1], position[2]};
    std::array<double, 3> blh{};
    ecef2blh(xyz, blh.data(), kSemiMajor, kFlattening);
    return blh;
}

}  // namespace host
