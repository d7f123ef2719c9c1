/// \file numbers.h
/// Bounds, polynomials and angles.
#ifndef LEOPOD_PRIVATE_NUMBERS_H
#define LEOPOD_PRIVATE_NUMBERS_H

#include <climits>
#include <cmath>
#include <cstddef>

#include "private/constants.h"

namespace leopod {

/// Number of entries that a fixed array of `limit` really holds.
constexpr int clamp_count(int value, int limit) { return value < 0 ? 0 : (value > limit ? limit : value); }

/// Truncation toward zero, saturating at the limits of int; 0 for not-a-number.
constexpr int to_int(double x) {
    if (x >= INT_MAX) return INT_MAX;
    if (x <= INT_MIN) return INT_MIN;
    return x == x ? static_cast<int>(x) : 0;
}

constexpr double dot3(const double* a, const double* b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

/// An angle between -2 pi and 2 pi as one from 0 on.
constexpr double positive_turn(double a) { return a < 0.0 ? a + kTwoPi : a; }

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
