#include "estimation/first_state.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>

#include "mathlib.h"
#include "shared/earth.h"

namespace host {

namespace {

using Eigen::Vector3d;

Vector3d central(const Vector3d& r) { return -kEarthGm / std::pow(r.norm(), 3) * r; }

Vector3d vector_of(const Vector3& p) { return {p[0], p[1], p[2]}; }

Vector3d acceleration(const Vector3d& r) { return vector_of(flattened_pull(r.data())); }

/// Runge-Kutta steps of the fourth order over a time of either sign.
void carry(double seconds, Vector3d& r, Vector3d& v) {
    const int steps = static_cast<int>(std::ceil(std::fabs(seconds) / 10.0));
    const double h = seconds / std::max(steps, 1);
    for (int i = 0; i < steps; ++i) {
        const Vector3d a1 = acceleration(r), v2 = v + 0.5 * h * a1;
        const Vector3d a2 = acceleration(r + 0.5 * h * v), v3 = v + 0.5 * h * a2;
        const Vector3d a3 = acceleration(r + 0.5 * h * v2), v4 = v + h * a3;
        const Vector3d a4 = acceleration(r + h * v3);
        r += h / 6.0 * (v + 2.0 * v2 + 2.0 * v3 + v4);
        v += h / 6.0 * (a1 + 2.0 * a2 + 2.0 * a3 + a4);
    }
}

}  // namespace

void first_velocity(const FitPositions& positions, double* velocity) {
    constexpr int kPoints = 8;
    double t[kPoints];
    double x[kPoints];
    for (std::size_t k = 0; k < 3; ++k) {
        for (int i = 0; i < kPoints; ++i) {
            t[i] = positions.seconds(static_cast<std::size_t>(i));
            x[i] = positions.eci[static_cast<std::size_t>(i)][k];
        }
        double value_and_rate[2] = {};
        interpolation_Lagrange_Barycentric(t, x, kPoints, 0.0, value_and_rate);
        velocity[k] = value_and_rate[1];
    }
}

bool first_state(const FitPositions& positions, double* position, double* velocity) {
    constexpr double kApart = 100.0, kFarthest = 700.0;  // [s]
    constexpr double kMisfit = 0.05;                     // of the central acceleration
    const std::size_t n = positions.utc.size();
    for (std::size_t i = 0; i < n; ++i) {
        if (!positions.aside.empty() && !positions.aside[i].empty()) continue;
        std::size_t middle = i;
        while (middle < n && positions.seconds(middle) - positions.seconds(i) < kApart) ++middle;
        std::size_t last = middle;
        while (last < n && positions.seconds(last) - positions.seconds(middle) < kApart) ++last;
        if (last >= n) return false;
        const double before = positions.seconds(middle) - positions.seconds(i);
        const double behind = positions.seconds(last) - positions.seconds(middle);
        if (before > kFarthest || std::fabs(behind - before) > 0.01 * before) continue;
        const Vector3d a = vector_of(positions.eci[i]), c = vector_of(positions.eci[last]);
        Vector3d r = vector_of(positions.eci[middle]);
        const Vector3d shown = ((c - r) / behind - (r - a) / before) / (0.5 * (before + behind));
        if ((shown - central(r)).norm() > kMisfit * central(r).norm()) continue;
        // The chord lacks the third derivative.
        const Vector3d chord = (c - a) / (before + behind);
        Vector3d v = chord;
        for (int k = 0; k < 3; ++k) {
            const double r2 = r.squaredNorm();
            v = chord + before * behind / 6.0 * kEarthGm / (r2 * std::sqrt(r2)) * (v - 3.0 * r.dot(v) / r2 * r);
        }
        carry(-positions.seconds(middle), r, v);
        Eigen::Map<Vector3d>(position, 3) = r;
        Eigen::Map<Vector3d>(velocity, 3) = v;
        return true;
    }
    return false;
}

}  // namespace host
