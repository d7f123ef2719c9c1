/// \file registers.h
/// Kernels in vector registers.
#ifndef LEOPOD_PRIVATE_REGISTERS_H
#define LEOPOD_PRIVATE_REGISTERS_H

#include <cmath>
#include <limits>
#include <type_traits>

namespace leopod {

// A kernel is a lambda marked LEOPOD_KERNEL that works on Quads, four independent elements at a time. It is compiled for the baseline
// and, on x86-64, for AVX2 as well, and the processor chooses. All give the same bits: every element sees the same operations in the
// same order, and none is contracted.

using Quad [[gnu::vector_size(32)]] = double;
using QuadBits [[gnu::vector_size(32)]] = long long;
constexpr int kQuad = 4;

#define LEOPOD_KERNEL __attribute__((always_inline))

/// A Quad anywhere in an array of numbers.
struct [[gnu::packed, gnu::may_alias]] QuadInArray {
    Quad value;
};
LEOPOD_KERNEL inline Quad load(const double* p) { return reinterpret_cast<const QuadInArray*>(p)->value; }
LEOPOD_KERNEL inline void store(double* p, Quad value) { reinterpret_cast<QuadInArray*>(p)->value = value; }
LEOPOD_KERNEL inline Quad quad(double x) { return Quad{x, x, x, x}; }

#if defined(__clang__)
#define LEOPOD_SHUFFLE(a, b, i, j, k, l) __builtin_shufflevector(a, b, i, j, k, l)
#else
#define LEOPOD_SHUFFLE(a, b, i, j, k, l) __builtin_shuffle(a, b, QuadBits{i, j, k, l})
#endif

/// Columns of a 4 x 4 matrix from its rows.
LEOPOD_KERNEL inline void transpose(Quad a, Quad b, Quad c, Quad d, Quad (&column)[kQuad]) {
    const Quad ab02 = LEOPOD_SHUFFLE(a, b, 0, 4, 2, 6), ab13 = LEOPOD_SHUFFLE(a, b, 1, 5, 3, 7);
    const Quad cd02 = LEOPOD_SHUFFLE(c, d, 0, 4, 2, 6), cd13 = LEOPOD_SHUFFLE(c, d, 1, 5, 3, 7);
    column[0] = LEOPOD_SHUFFLE(ab02, cd02, 0, 1, 4, 5);
    column[1] = LEOPOD_SHUFFLE(ab13, cd13, 0, 1, 4, 5);
    column[2] = LEOPOD_SHUFFLE(ab02, cd02, 2, 3, 6, 7);
    column[3] = LEOPOD_SHUFFLE(ab13, cd13, 2, 3, 6, 7);
}

using Pair [[gnu::vector_size(16)]] = double;

struct [[gnu::packed, gnu::may_alias]] PairInArray {
    Pair value;
};
LEOPOD_KERNEL inline void store(double* p, Pair value) { reinterpret_cast<PairInArray*>(p)->value = value; }
LEOPOD_KERNEL inline void store(double* p, double value) { *p = value; }

LEOPOD_KERNEL inline double magnitude(double x) { return std::fabs(x); }
template <typename T>
LEOPOD_KERNEL inline T magnitude(T x) {
    using Bits [[gnu::vector_size(sizeof(T))]] = long long;
    return reinterpret_cast<T>(reinterpret_cast<Bits>(x) & std::numeric_limits<long long>::max());
}

/// Numbers in a double, a Pair or a Quad.
template <typename T>
constexpr int kNumbersIn = std::is_same_v<T, Quad>   ? kQuad
                           : std::is_same_v<T, Pair> ? 2
                                                     : 1;

/// One, two or four elements from p on.
template <typename T>
LEOPOD_KERNEL inline T load_as(const double* p) {
    if constexpr (std::is_same_v<T, Quad>) {
        return load(p);
    } else if constexpr (std::is_same_v<T, Pair>) {
        return reinterpret_cast<const PairInArray*>(p)->value;
    } else {
        return *p;
    }
}

/// Calls body(T{}, j) for all j below n, T being Quad, then Pair, then double.
template <typename Body>
LEOPOD_KERNEL inline void for_all_elements(int n, const Body& body) {
    int j = 0;
    for (; j + kQuad <= n; j += kQuad) body(Quad{}, j);
    for (; j + 2 <= n; j += 2) body(Pair{}, j);
    for (; j < n; ++j) body(0.0, j);
}

/// Four sums that a loop carries along: in one wide register, or in two, where a Quad would go through memory from pass to pass.
template <bool wide>
struct FourSums {
    Quad sum = {};
    LEOPOD_KERNEL void set(Quad x) { sum = x; }
    LEOPOD_KERNEL void add(Quad x) { sum += x; }
    LEOPOD_KERNEL Quad value() const { return sum; }
};
template <>
struct FourSums<false> {
    Pair low = {}, high = {};
    LEOPOD_KERNEL void set(Quad x) {
        low = Pair{x[0], x[1]};
        high = Pair{x[2], x[3]};
    }
    LEOPOD_KERNEL void add(Quad x) {
        low += Pair{x[0], x[1]};
        high += Pair{x[2], x[3]};
    }
    LEOPOD_KERNEL Quad value() const { return Quad{low[0], low[1], high[0], high[1]}; }
};

#if defined(__x86_64__) && !defined(LEOPOD_BASELINE)
template <typename Kernel>
[[gnu::target("avx2"), gnu::noinline]] void run_avx2(const Kernel& kernel) {
    kernel(std::true_type{});
}
#endif

/// Runs a kernel; its argument, std::true_type or std::false_type, tells whether the registers are wide.
template <typename Kernel>
void run_widest(const Kernel& kernel) {
#if defined(__x86_64__) && !defined(LEOPOD_BASELINE)
    if (__builtin_cpu_supports("avx2")) return run_avx2(kernel);
#endif
    kernel(std::false_type{});
}

}  // namespace leopod

#endif
