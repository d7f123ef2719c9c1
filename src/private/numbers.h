/// \file numbers.h
/// Bounds, polynomials and angles.
#ifndef LEOPOD_PRIVATE_NUMBERS_H
#define LEOPOD_PRIVATE_NUMBERS_H

#include <cmath>
#include <cstddef>

namespace leopod {

/// Number of entries that a fixed array of `limit` really holds.
constexpr int clamp_count(int value, int limit) { return value < 0 ? 0 : (value > limit ? limit : value); }

/// Value of a polynomial by Horner's rule; c[0] is the constant.
template <std::size_t N>
constexpr double horner(const double (&c)[N], double t) {
    double sum = c[N - 1];
    for (std::size_t i = N - 1; i-- > 0;) sum = c[i] + t * sum;
    return sum;
}

/// std::sin and std::cos of one angle, the same bits, with one reduction where the C library offers it.
inline void sine_cosine(double angle, double& s, double& c) {
#if defined(__GLIBC__)
    ::sincos(angle, &s, &c);
#else
    s = std::sin(angle);
    c = std::cos(angle);
#endif
}

}  // namespace leopod

#endif
