#include "pictures/geometry.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string>

#include "shared/earth.h"

namespace host {

namespace {

constexpr std::size_t kMost = 9;  ///< unknowns: position, and the clocks of up to six systems

/// The normal matrix of an epoch.
struct Normals {
    std::string systems;  ///< letters, in the order of their clocks
    std::array<std::array<double, kMost>, kMost> n{};

    void add(char system, double azimuth, double elevation) {
        std::size_t clock = systems.find(system);
        if (clock == std::string::npos) {
            if (3 + systems.size() == kMost) return;
            clock = systems.size();
            systems += system;
        }
        const double cosine = std::cos(elevation * kDegToRad);
        std::array<double, kMost> row{};
        row[0] = cosine * std::sin(azimuth * kDegToRad);
        row[1] = cosine * std::cos(azimuth * kDegToRad);
        row[2] = std::sin(elevation * kDegToRad);
        row[3 + clock] = 1.0;
        for (std::size_t i = 0; i < kMost; ++i) {
            for (std::size_t j = 0; j < kMost; ++j) n[i][j] += row[i] * row[j];
        }
    }

    /// Root of the trace of the inverse; not finite where there is none. By Cholesky's factor L: the sum of the squares of its inverse.
    double gdop() const {
        const std::size_t size = 3 + systems.size();
        std::array<std::array<double, kMost>, kMost> l{}, inverse{};
        double sum = 0;
        for (std::size_t j = 0; j < size; ++j) {
            for (std::size_t i = j; i < size; ++i) {
                double value = n[i][j];
                for (std::size_t k = 0; k < j; ++k) value -= l[i][k] * l[j][k];
                if (i == j && value < 1e-9) return std::nan("");
                l[i][j] = i == j ? std::sqrt(value) : value / l[j][j];
            }
        }
        for (std::size_t j = 0; j < size; ++j) {
            for (std::size_t i = j; i < size; ++i) {
                double value = i == j ? 1.0 : 0.0;
                for (std::size_t k = j; k < i; ++k) value -= l[i][k] * inverse[k][j];
                inverse[i][j] = value / l[i][i];
                sum += inverse[i][j] * inverse[i][j];
            }
        }
        return std::sqrt(sum);
    }
};

}  // namespace

Geometry geometry_of(const SatelliteRowsByName& satellites) {
    std::map<double, Normals> epochs;
    for (const auto& [name, rows] : satellites) {
        for (std::size_t i = 0; i < rows.seconds.size(); ++i) {
            if (rows.in_point[i] && std::isfinite(rows.azimuth[i]) && std::isfinite(rows.elevation[i]))
                epochs[rows.seconds[i]].add(name[0], rows.azimuth[i], rows.elevation[i]);
        }
    }
    Geometry geometry;
    for (const auto& [seconds, normals] : epochs) {
        const double gdop = normals.gdop();
        if (!std::isfinite(gdop)) continue;
        geometry.seconds.push_back(seconds);
        geometry.gdop.push_back(gdop);
    }
    return geometry;
}

bool is_wide(const std::vector<double>& figures) {
    double low = std::numeric_limits<double>::infinity();
    double high = 0;
    for (double v : figures) {
        if (std::isfinite(v) && v > 0.0) low = std::min(low, v);
        if (std::isfinite(v)) high = std::max(high, v);
    }
    return high > 20.0 * low;
}

}  // namespace host
