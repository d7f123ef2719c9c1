/// \file random.h
/// Random numbers that are the same everywhere: the engine's output is fixed by the C++ standard, the distributions are formed here, since
/// those of the standard library differ between its makers.
#ifndef LEOPOD_HOST_RANDOM_H
#define LEOPOD_HOST_RANDOM_H

#include <cmath>
#include <cstdint>
#include <random>

namespace host {

/// One stream of numbers; streams of one seed don't depend on each other.
class Random {
  public:
    Random(std::uint64_t seed, std::uint64_t stream) : engine_(mix(mix(seed) + stream)) {}

    /// At least 0 and below 1.
    double uniform() { return static_cast<double>(engine_() >> 11) * 0x1p-53; }
    /// Mean 0, standard deviation 1 (Box and Muller).
    double normal() {
        if (has_spare_) {
            has_spare_ = false;
            return spare_;
        }
        const double radius = std::sqrt(-2.0 * std::log(1.0 - uniform()));
        const double angle = 6.283185307179586 * uniform();
        spare_ = radius * std::sin(angle);
        has_spare_ = true;
        return radius * std::cos(angle);
    }
    /// A whole number from 1 to `largest` with either sign.
    double whole(long largest) {
        const double size = 1.0 + std::floor(uniform() * static_cast<double>(largest));
        return uniform() < 0.5 ? -size : size;
    }

  private:
    /// Finalising steps of SplitMix64: seeds that are neighbours give streams that are not.
    static std::uint64_t mix(std::uint64_t x) {
        x += 0x9e3779b97f4a7c15u;
        x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9u;
        x = (x ^ (x >> 27)) * 0x94d049bb133111ebu;
        return x ^ (x >> 31);
    }

    std::mt19937_64 engine_;
    double spare_ = 0;
    bool has_spare_ = false;
};

}  // namespace host

#endif
