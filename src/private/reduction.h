/// \file reduction.h
/// Angles reduced by 2 pi, in vector registers too.
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

}  // namespace leopod

#endif
