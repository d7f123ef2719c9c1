/// \file reduction.h
/// Angles reduced by 2 pi, and their sines, in vector registers too.
#ifndef LEOPOD_PRIVATE_REDUCTION_H
#define LEOPOD_PRIVATE_REDUCTION_H

#include <limits>

#include "private/constants.h"
#include "private/registers.h"

namespace leopod {

/// Magnitudes below it reduce as here.
constexpr double kReductionLimit = 0x1p+20 * kTwoPi;

/// fmod(x, 2 pi) of one or four magnitudes below the limit, as the exact remainder of the nearest quotient.
template <typename T>
LEOPOD_KERNEL inline T nearest_remainder(T magnitude) {
    // 2 pi (the double) split after its 33rd bit. For a quotient q up to 2^20 both products are exact, and so are the two
    // differences, which are multiples of the last bit of x or of 2 pi and below 4.
    constexpr double kHigh = 0x1.921fb544p+2;
    constexpr double kLow = kTwoPi - kHigh;
    constexpr double kWhole = 0x1.8p+52;  // adding it rounds to an integer
    const T q = (magnitude * (1.0 / kTwoPi) + kWhole) - kWhole;
    return (magnitude - q * kHigh) - q * kLow;
}

/// fmod(x, 2 pi) of four magnitudes below the limit.
LEOPOD_KERNEL inline Quad reduced(Quad x) {
    const QuadBits bits = reinterpret_cast<QuadBits>(x);
    const QuadBits sign = bits & std::numeric_limits<long long>::min();
    const Quad magnitude = reinterpret_cast<Quad>(bits ^ sign);
    const Quad rest = nearest_remainder(magnitude);
    const QuadBits turn = (rest < 0.0) & reinterpret_cast<QuadBits>(quad(kTwoPi));
    return reinterpret_cast<Quad>(reinterpret_cast<QuadBits>(rest + reinterpret_cast<Quad>(turn)) | sign);
}

/// Sines and cosines of a register of angles below 2^20 quarter turns, within 3e-16. Not the C library's last bits.
template <typename T>
LEOPOD_KERNEL inline void near_sine_cosine(T angle, T& s, T& c) {
    using Bits [[gnu::vector_size(sizeof(T))]] = long long;
    // pi/2 in two parts; the first has 33 bits, so that its product with a whole number of quarters is exact
    constexpr double kHigh = 0x1.921fb544p+0, kLow = 0x1.0b4611a626331p-34;
    constexpr double kWhole = 0x1.8p+52;  // adding it rounds to an integer, whose last bits it shows
    constexpr double kOdd[] = {-1.0 / 6,        1.0 / 120,        -1.0 / 5040,         1.0 / 362880,
                               -1.0 / 39916800, 1.0 / 6227020800, -1.0 / 1307674368000};
    constexpr double kEven[] = {-1.0 / 2,       1.0 / 24,        -1.0 / 720,         1.0 / 40320,
                                -1.0 / 3628800, 1.0 / 479001600, -1.0 / 87178291200, 1.0 / 20922789888000};
    const T shifted = angle * (1.0 / kHalfPi) + kWhole;
    const T quarter = shifted - kWhole;
    const T r = (angle - quarter * kHigh) - quarter * kLow, z = r * r;
    T odd = z * kOdd[6] + kOdd[5], even = z * kEven[7] + kEven[6];
    for (int i = 5; i-- > 0;) odd = odd * z + kOdd[i];
    for (int i = 6; i-- > 0;) even = even * z + kEven[i];
    const Bits sine = reinterpret_cast<Bits>(r + r * z * odd);
    const Bits cosine = reinterpret_cast<Bits>(1.0 + z * even);

    const Bits n = reinterpret_cast<Bits>(shifted);
    const Bits odd_quarter = -(n & 1);
    const Bits s_bits = (sine & ~odd_quarter) | (cosine & odd_quarter);
    const Bits c_bits = (cosine & ~odd_quarter) | (sine & odd_quarter);
    s = reinterpret_cast<T>(s_bits ^ ((n & 2) << 62));
    c = reinterpret_cast<T>(c_bits ^ (((n + 1) & 2) << 62));
}

}  // namespace leopod

#endif
