#include "iau_function.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <type_traits>

#include "private/constants.h"
#include "private/numbers.h"
#include "private/nutation.h"
#include "private/recent.h"
#include "private/reduction.h"
#include "private/registers.h"

using namespace leopod;

constexpr NUT_COEF_XLS g_xls[] = {
#include "tables/nut00a_luni_solar.inc"
};
static_assert(std::size(g_xls) == 678);

constexpr NUT_COEF_XPL g_xpl[] = {
#include "tables/nut00a_planetary.inc"
};
static_assert(std::size(g_xpl) == 687);

namespace {

/// fmod(x, 1296000): the quotient times the turn is exact, and so is the difference.
double fmod_turn(double x) {
    constexpr double kLimit = 0x1p+32 * kArcsecInTurn;
    const double magnitude = std::fabs(x);
    if (!(magnitude < kLimit)) return std::fmod(x, kArcsecInTurn);
    const double rest =
        magnitude - static_cast<double>(static_cast<long long>(magnitude * (1.0 / kArcsecInTurn))) * kArcsecInTurn;
    const double above = rest < 0.0 ? rest + kArcsecInTurn : rest;  // the estimate is off by at most one
    return std::copysign(above >= kArcsecInTurn ? above - kArcsecInTurn : above, x);
}

}  // namespace

double leopod::fmod_two_pi(double x) {
    if (!(std::fabs(x) < kReductionLimit)) return std::fmod(x, kTwoPi);
    const double rest = nearest_remainder(std::fabs(x));
    return std::copysign(rest < 0.0 ? rest + kTwoPi : rest, x);  // this sum is exact too
}

double leopod::mean_anomaly_sun_mhb(double t) {
    constexpr double c[] = {1287104.79305, 129596581.0481, -0.5532, 0.000136, -0.00001149};
    return fmod_turn(horner(c, t)) * kArcsecToRad;
}

double leopod::mean_elongation_moon_mhb(double t) {
    constexpr double c[] = {1072260.70369, 1602961601.2090, -6.3706, 0.006593, -0.00003169};
    return fmod_turn(horner(c, t)) * kArcsecToRad;
}

double leopod::mean_obliquity_2006(double t) {
    constexpr double c[] = {84381.406, -46.836769, -0.0001831, 0.00200340, -0.000000576, -0.0000000434};
    return horner(c, t) * kArcsecToRad;
}

void leopod::cio_arguments(double t, double (&fa)[8]) {
    fa[0] = iauFal03(t);
    fa[1] = iauFalp03(t);
    fa[2] = iauFaf03(t);
    fa[3] = iauFad03(t);
    fa[4] = iauFaom03(t);
    fa[5] = iauFave03(t);
    fa[6] = iauFae03(t);
    fa[7] = iauFapa03(t);
}

double leopod::cio_term(const int (&n)[8], double s, double c, const double (&fa)[8]) {
    double a = 0.0;
    for (int i = 0; i < 8; ++i) a += static_cast<double>(n[i]) * fa[i];
    double sine, cosine;
    sine_cosine(a, sine, cosine);
    return s * sine + c * cosine;
}

namespace {

/// Term of the series for s: multipliers of the eight arguments, sine and cosine [arcsecond].
struct TERM {
    int nfa[8];
    double s, c;
};

/// Julian centuries since J2000.0 of a two-part Julian date.
double centuries(double date1, double date2) { return ((date1 - kJdJ2000) + date2) / kDaysInCentury; }

/// Delaunay argument: polynomial in arcseconds, reduced to a turn, in radians.
double delaunay(const double (&c)[5], double t) { return fmod_turn(horner(c, t)) * kArcsecToRad; }

/// w plus a series, summed from its last term to its first.
template <std::size_t N>
double add_series(double w, const TERM (&terms)[N], const double (&fa)[8]) {
    for (std::size_t i = N; i-- > 0;) w += cio_term(terms[i].nfa, terms[i].s, terms[i].c, fa);
    return w;
}

/// CIO locator s [rad] from a model's polynomial and series of s + XY/2.
double cio_locator(double t, double x, double y, const double (&sp)[6], const TERM (&s0)[33], const TERM (&s1)[3],
                   const TERM (&s2)[25], const TERM (&s3)[4], const TERM (&s4)[1]) {
    double fa[8];
    cio_arguments(t, fa);
    const double w[6] = {add_series(sp[0], s0, fa), add_series(sp[1], s1, fa), add_series(sp[2], s2, fa),
                         add_series(sp[3], s3, fa), add_series(sp[4], s4, fa), sp[5]};
    return horner(w, t) * kArcsecToRad - x * y / 2.0;
}

namespace s06 {
#include "tables/s06.inc"
static_assert(std::size(s0) + std::size(s1) + std::size(s2) + std::size(s3) + std::size(s4) == 66);
}  // namespace s06

/// The same terms by column, those of each power of t filled up to whole registers.
struct CioColumns {
    static constexpr std::size_t kPowers = 5;
    static constexpr std::size_t kRows = 36 + 4 + 28 + 4 + 4;
    double multiplier[8][kRows] = {}, sine[kRows] = {}, cosine[kRows] = {};
    std::size_t first[kPowers + 1] = {};  ///< row of a power

    template <std::size_t N>
    constexpr void add(std::size_t power, const TERM (&terms)[N]) {
        for (std::size_t i = 0, row = first[power]; i < N; ++i, ++row) {
            for (std::size_t k = 0; k < 8; ++k) multiplier[k][row] = terms[i].nfa[k];
            sine[row] = terms[i].s, cosine[row] = terms[i].c;
        }
        first[power + 1] = first[power] + (N + kQuad - 1) / kQuad * kQuad;
    }
};
constexpr auto kCio = [] {
    CioColumns columns;
    columns.add(0, s06::s0), columns.add(1, s06::s1), columns.add(2, s06::s2), columns.add(3, s06::s3);
    columns.add(4, s06::s4);
    return columns;
}();
static_assert(kCio.first[CioColumns::kPowers] == CioColumns::kRows);

/// iauS06 within kNearLocator of its value, in a fraction of its time; t within two centuries.
constexpr double kNearLocator = 1e-20;  // [rad]; sines are off by 3e-16, and their amplitudes sum up to 2e-8
double near_cio_locator(double t, double x, double y) {
    double fa[8], w[6];
    cio_arguments(t, fa);
    run_widest([&](auto wide) LEOPOD_KERNEL {
        using T = std::conditional_t<decltype(wide)::value, Quad, Pair>;
        for (std::size_t power = 0; power < CioColumns::kPowers; ++power) {
            T sum = {};
            for (std::size_t i = kCio.first[power]; i < kCio.first[power + 1]; i += kNumbersIn<T>) {
                T angle = load_as<T>(kCio.multiplier[0] + i) * fa[0];
                for (std::size_t k = 1; k < 8; ++k) angle += load_as<T>(kCio.multiplier[k] + i) * fa[k];
                T s, c;
                near_sine_cosine(angle, s, c);
                sum += load_as<T>(kCio.sine + i) * s + load_as<T>(kCio.cosine + i) * c;
            }
            w[power] = s06::sp[power] + sum[0] + sum[1];
            if constexpr (decltype(wide)::value) w[power] += sum[2] + sum[3];
        }
    });
    w[5] = s06::sp[5];
    return horner(w, t) * kArcsecToRad - x * y / 2.0;
}

/// e + iauS06, the same bits: from the near value wherever all that it stands for round to one sum.
double add_locator_06(double e, double date1, double date2, double x, double y) {
    const double t = centuries(date1, date2);
    if (std::fabs(t) < 2.0) {
        const double s = near_cio_locator(t, x, y);
        const double low = e + (s - kNearLocator), high = e + (s + kNearLocator);
        if (low == high) return low;
    }
    return e + iauS06(date1, date2, x, y);
}

/// Terms of either nutation series, the shorter one filled up with zeros.
constexpr std::size_t kTerms = std::max(std::size(g_xls), std::size(g_xpl));

/// Multipliers of K arguments for the terms of a nutation series, one column an argument. Their number fills vector registers.
template <std::size_t K>
struct Multipliers {
    static constexpr std::size_t kRows = (kTerms + kQuad - 1) / kQuad * kQuad;
    alignas(32) double column[K][kRows];
};

constexpr auto kLuniSolar = [] {
    Multipliers<5> m = {};
    for (std::size_t i = 0; i < std::size(g_xls); ++i) {
        const NUT_COEF_XLS& row = g_xls[i];
        const int n[] = {row.nl, row.nlp, row.nf, row.nd, row.nom};
        for (std::size_t k = 0; k < std::size(n); ++k) m.column[k][i] = n[k];
    }
    return m;
}();

constexpr auto kPlanetary = [] {
    Multipliers<13> m = {};
    for (std::size_t i = 0; i < std::size(g_xpl); ++i) {
        const NUT_COEF_XPL& row = g_xpl[i];
        const int n[] = {row.nl,  row.nf,  row.nd,  row.nom, row.nme, row.nve, row.nea,
                         row.nma, row.nju, row.nsa, row.nur, row.nne, row.npa};
        for (std::size_t k = 0; k < std::size(n); ++k) m.column[k][i] = n[k];
    }
    return m;
}();

/// Angles of all terms of a series: the arguments' combinations, summed in the order of the columns, reduced by 2 pi.
template <std::size_t K>
void term_angles(const Multipliers<K>& m, const double (&arguments)[K], double (&angle)[Multipliers<K>::kRows]) {
    constexpr std::size_t kRows = Multipliers<K>::kRows;
    constexpr double kLargestMultiplier = 32.0;
    double bound = 0.0;
    for (const double a : arguments) bound += kLargestMultiplier * std::fabs(a);
    const bool near = bound < kReductionLimit;  // far from the present epoch the precession is not
    run_widest([&](auto) LEOPOD_KERNEL {
        for (std::size_t i = 0; i < kRows; i += kQuad) {
            Quad sum = load(m.column[0] + i) * arguments[0];
            for (std::size_t k = 1; k < K; ++k) sum += load(m.column[k] + i) * arguments[k];
            store(angle + i, near ? reduced(sum) : sum);
        }
    });
    if (near) return;
    for (double& a : angle) a = fmod_two_pi(a);
}

// --- nutation series: terms from sine-cosine pairs, or from products -------------------------------------------------

/// Coefficients of term i of both series side by side: luni-solar longitude and obliquity, planetary longitude and obliquity [0.1 microarcsecond].
/// In phase are the sines of longitude and the cosines of obliquity, out of phase the others, which are small.
struct TermPair {
    alignas(32) double in_phase[kQuad], out_of_phase[kQuad];
};

constexpr auto kTermPairs = [] {
    std::array<TermPair, kTerms> terms = {};
    for (std::size_t i = 0; i < std::size(g_xls); ++i) {
        const NUT_COEF_XLS& row = g_xls[i];
        terms[i] = {{row.sp, row.ce}, {row.cp, row.se}};
    }
    for (std::size_t i = 0; i < std::size(g_xpl); ++i) {
        const NUT_COEF_XPL& row = g_xpl[i];
        terms[i].in_phase[2] = row.sp, terms[i].in_phase[3] = row.ce;
        terms[i].out_of_phase[2] = row.cp, terms[i].out_of_phase[3] = row.se;
    }
    return terms;
}();

/// Terms up to the last whose coefficients change with time.
constexpr std::size_t kChanging = [] {
    std::size_t n = std::size(g_xls);
    while (n > 0 && g_xls[n - 1].spt == 0.0 && g_xls[n - 1].cet == 0.0) --n;
    return n;
}();

/// Changes of the coefficients in phase in a century.
struct TermRate {
    alignas(32) double in_phase[kQuad];
};
constexpr auto kTermRates = [] {
    std::array<TermRate, kChanging> rates = {};
    for (std::size_t i = 0; i < kChanging; ++i) rates[i] = {{g_xls[i].spt, g_xls[i].cet}};
    return rates;
}();

/// (cos, sin) of term i of the luni-solar and of the planetary series: side by side in a wide register, or each in its own.
template <bool wide>
struct TermValues {
    Quad both;
    LEOPOD_KERNEL Quad value() const { return both; }
    LEOPOD_KERNEL Quad swapped() const { return LEOPOD_SHUFFLE(both, both, 1, 0, 3, 2); }
};
template <>
struct TermValues<false> {
    Pair luni_solar, planetary;
    LEOPOD_KERNEL Quad value() const { return Quad{luni_solar[0], luni_solar[1], planetary[0], planetary[1]}; }
    LEOPOD_KERNEL Quad swapped() const { return Quad{luni_solar[1], luni_solar[0], planetary[1], planetary[0]}; }
};

/// Both nutation angles [rad] from a function that gives the TermValues of i. Each series is summed from its last, small terms to its first.
template <bool wide, typename Term>
LEOPOD_KERNEL inline void sum_nutation(double t, const Term& term_at, double& dpsi, double& deps) {
    FourSums<wide> sums;
    const auto add = [&](std::size_t i, Quad in_phase) LEOPOD_KERNEL {
        const TermValues<wide> z = term_at(i);
        sums.add(in_phase * z.swapped() + load(kTermPairs[i].out_of_phase) * z.value());
    };
    for (std::size_t i = kTerms; i-- > kChanging;) add(i, load(kTermPairs[i].in_phase));
    for (std::size_t i = kChanging; i-- > 0;) add(i, load(kTermPairs[i].in_phase) + load(kTermRates[i].in_phase) * t);
    constexpr double kUnitToRad = kArcsecToRad / 1e7;  // 0.1 microarcsecond
    const Quad angles = sums.value() * kUnitToRad;
    dpsi = angles[0] + angles[2];
    deps = angles[1] + angles[3];
}

/// Arguments of the two series [rad].
struct NutationArguments {
    double luni_solar[5];  ///< l, l', F, D, Om
    double planetary[13];  ///< l, F, D, Om, Mercury to Neptune, pA

    explicit NutationArguments(double t)
        // l' and D have the MHB2000 constants, not those of iauFalp03 and iauFad03; the planetary l, F, D, Om and Neptune have the linear
        // forms of MHB2000.
        : luni_solar{iauFal03(t), mean_anomaly_sun_mhb(t), iauFaf03(t), mean_elongation_moon_mhb(t), iauFaom03(t)},
          planetary{fmod_two_pi(2.35555598 + 8328.6914269554 * t),
                    fmod_two_pi(1.627905234 + 8433.466158131 * t),
                    fmod_two_pi(5.198466741 + 7771.3771468121 * t),
                    fmod_two_pi(2.18243920 - 33.757045 * t),
                    iauFame03(t),
                    iauFave03(t),
                    iauFae03(t),
                    iauFama03(t),
                    iauFaju03(t),
                    iauFasa03(t),
                    iauFaur03(t),
                    fmod_two_pi(5.321159000 + 3.8127774000 * t),
                    iauFapa03(t)} {}
};

/// One sine-cosine pair a term: the bits of the published routine.
void published_nutation(double t, double& dpsi, double& deps) {
    const NutationArguments arguments(t);
    double luni_solar_angle[decltype(kLuniSolar)::kRows], planetary_angle[decltype(kPlanetary)::kRows];
    term_angles(kLuniSolar, arguments.luni_solar, luni_solar_angle);
    term_angles(kPlanetary, arguments.planetary, planetary_angle);
    const auto pair_of = [](double angle) {
        double s = 0.0, c = 0.0;
        sine_cosine(angle, s, c);
        return Pair{c, s};
    };
    sum_nutation<false>(
        t,
        [&](std::size_t i) LEOPOD_KERNEL {
            return TermValues<false>{pair_of(luni_solar_angle[i]), pair_of(planetary_angle[i])};
        },
        dpsi, deps);
}

// The same from products. A term's exp(i a) is the product of exp(i n x) of its arguments x with their multipliers n. The arguments fall
// into two groups; each group's combinations are formed once, from shorter ones, and a term is the product of one of each group:
//
//     term (l,l',F,D,Om) = (1,0,2,-2,1)   first group: l   second group: F^2, F^2 D^-2, F^2 D^-2 Om   term: l * (F^2 D^-2 Om)
//
// A unit complex number (c, s) is kept as one of the two factors of a product, "first" (c, c, s, s) or "second" (c, s, -s, c): the halves of
// their product elementwise add up to the complex product.

/// The product; in a wide register it fills both halves.
template <bool wide>
LEOPOD_KERNEL inline auto product(const double* first, const double* second) {
    if constexpr (wide) {
        const Quad parts = load(first) * load(second);
        return parts + LEOPOD_SHUFFLE(parts, parts, 2, 3, 0, 1);
    } else {
        return load_as<Pair>(first) * load_as<Pair>(second) + load_as<Pair>(first + 2) * load_as<Pair>(second + 2);
    }
}
[[maybe_unused]] LEOPOD_KERNEL inline void store_first(double* p, Quad z) {
    store(p, LEOPOD_SHUFFLE(z, z, 0, 0, 3, 3));
}
LEOPOD_KERNEL inline void store_first(double* p, Pair z) {
    store(p, Pair{z[0], z[0]});
    store(p + 2, Pair{z[1], z[1]});
}
[[maybe_unused]] LEOPOD_KERNEL inline void store_second(double* p, Quad z) {
    constexpr long long kSign = std::numeric_limits<long long>::min();
    const QuadBits turned = reinterpret_cast<QuadBits>(LEOPOD_SHUFFLE(z, z, 0, 1, 3, 2));
    store(p, reinterpret_cast<Quad>(turned ^ QuadBits{0, 0, kSign, 0}));
}
LEOPOD_KERNEL inline void store_second(double* p, Pair z) {
    store(p, z);
    store(p + 2, Pair{-z[1], z[0]});
}
[[maybe_unused]] LEOPOD_KERNEL inline Quad conjugate(Quad z) {
    constexpr long long kSign = std::numeric_limits<long long>::min();
    return reinterpret_cast<Quad>(reinterpret_cast<QuadBits>(z) ^ QuadBits{0, kSign, 0, kSign});
}
LEOPOD_KERNEL inline Pair conjugate(Pair z) { return Pair{z[0], -z[1]}; }
template <bool wide>
LEOPOD_KERNEL inline auto unit(double c, double s) {
    if constexpr (wide) {
        return Quad{c, s, c, s};
    } else {
        return Pair{c, s};
    }
}

/// How the combinations of one group of arguments form: combination k > 0 is that at parent[k] times the multiple of one argument at
/// power[k]; combination 0 is 1. Term i uses the one at of_term[i]; terms beyond the series use 1. Places are in numbers, kQuad for each.
template <std::size_t Arguments>
struct Combinations {
    static constexpr std::size_t kCapacity = 512;
    std::size_t count = 1;
    std::uint16_t parent[kCapacity] = {}, power[kCapacity] = {}, of_term[kTerms] = {};
    int largest[Arguments] = {};  ///< multiplier of each argument
    std::size_t offset[Arguments + 1] =
        {};  ///< of an argument's multiples, from -largest to largest; the last is their number

    constexpr explicit Combinations(const int (&n)[kTerms][Arguments]) {
        for (std::size_t k = 0; k < Arguments; ++k) {
            for (const auto& row : n) largest[k] = std::max({largest[k], row[k], -row[k]});
            offset[k + 1] = offset[k] + 2 * static_cast<std::size_t>(largest[k]) + 1;
        }
        std::uint16_t slots[2 * kCapacity] = {};  // open addressing by parent and power
        for (std::size_t i = 0; i < kTerms; ++i) {
            std::size_t at = 0;
            for (std::size_t k = 0; k < Arguments; ++k) {
                if (n[i][k] == 0) continue;
                const std::size_t p = offset[k] + static_cast<std::size_t>(n[i][k] + largest[k]);
                std::size_t slot = (at * 211 + p * 17) % (2 * kCapacity);
                while (slots[slot] != 0 && (parent[slots[slot]] != at * kQuad || power[slots[slot]] != p * kQuad)) {
                    slot = (slot + 1) % (2 * kCapacity);
                }
                if (slots[slot] == 0) {
                    parent[count] = static_cast<std::uint16_t>(at * kQuad);
                    power[count] = static_cast<std::uint16_t>(p * kQuad);
                    slots[slot] = static_cast<std::uint16_t>(count++);
                }
                at = slots[slot];
            }
            of_term[i] = static_cast<std::uint16_t>(at * kQuad);
        }
    }
};

/// Cosines and sines of a group's arguments.
template <std::size_t Arguments>
struct UnitNumbers {
    double c[Arguments], s[Arguments];

    explicit UnitNumbers(const double (&arguments)[Arguments]) {
        for (std::size_t k = 0; k < Arguments; ++k) sine_cosine(arguments[k], s[k], c[k]);
    }
};

/// All combinations of a group at given arguments, as first or as second factors.
template <bool wide, const auto& plan, bool as_first, std::size_t Arguments>
struct Evaluated {
    static constexpr std::size_t kMultiples = plan.offset[Arguments] * kQuad;
    alignas(32) double combination[plan.count * kQuad];

    LEOPOD_KERNEL inline explicit Evaluated(const UnitNumbers<Arguments>& arguments) {
        // of the arguments' multiples; what a combination is multiplied with is the other factor
        alignas(32) double own[kMultiples], other[kMultiples];
        for (std::size_t k = 0; k < Arguments; ++k) {
            const std::ptrdiff_t zero = (static_cast<std::ptrdiff_t>(plan.offset[k]) + plan.largest[k]) * kQuad;
            const auto keep_multiple = [&](std::ptrdiff_t n, auto z) LEOPOD_KERNEL {
                keep(own + zero + n * kQuad, z), keep_other(other + zero + n * kQuad, z);
                const auto opposite = conjugate(z);
                keep(own + zero - n * kQuad, opposite), keep_other(other + zero - n * kQuad, opposite);
            };
            keep_multiple(1, unit<wide>(arguments.c[k], arguments.s[k]));
            for (std::ptrdiff_t n = 2; n <= plan.largest[k]; ++n) {
                const double* const half = own + zero + n / 2 * kQuad;
                keep_multiple(n, multiply(half, other + zero + (n - n / 2) * kQuad));
            }
        }
        keep(combination, unit<wide>(1.0, 0.0));
        for (std::size_t k = 1; k < plan.count; ++k)
            keep(combination + k * kQuad, multiply(combination + plan.parent[k], other + plan.power[k]));
    }
    LEOPOD_KERNEL static inline auto multiply(const double* a, const double* b) {
        return as_first ? product<wide>(a, b) : product<wide>(b, a);
    }
    template <typename Z>
    LEOPOD_KERNEL static inline void keep(double* p, Z z) {
        as_first ? store_first(p, z) : store_second(p, z);
    }
    template <typename Z>
    LEOPOD_KERNEL static inline void keep_other(double* p, Z z) {
        as_first ? store_second(p, z) : store_first(p, z);
    }
    LEOPOD_KERNEL inline const double* of_term(std::size_t i) const { return combination + plan.of_term[i]; }
};

// Groups and the order of arguments within them are those with the fewest combinations. The larger group of a term holds the first factors,
// which form in a step less.
constexpr auto kMoonSun = [] {
    int n[kTerms][2] = {};
    for (std::size_t i = 0; i < std::size(g_xls); ++i) n[i][0] = g_xls[i].nl, n[i][1] = g_xls[i].nlp;
    return Combinations(n);
}();
constexpr auto kNode = [] {
    int n[kTerms][3] = {};
    for (std::size_t i = 0; i < std::size(g_xls); ++i)
        n[i][0] = g_xls[i].nf, n[i][1] = g_xls[i].nom, n[i][2] = g_xls[i].nd;
    return Combinations(n);
}();

constexpr auto kLunarNode = [] {
    int n[kTerms][5] = {};
    for (std::size_t i = 0; i < std::size(g_xpl); ++i) {
        const NUT_COEF_XPL& row = g_xpl[i];
        n[i][0] = row.nom, n[i][1] = row.nd, n[i][2] = row.nf, n[i][3] = row.nl, n[i][4] = row.npa;
    }
    return Combinations(n);
}();
constexpr auto kPlanets = [] {
    int n[kTerms][8] = {};
    for (std::size_t i = 0; i < std::size(g_xpl); ++i) {
        const NUT_COEF_XPL& row = g_xpl[i];
        n[i][0] = row.nme, n[i][1] = row.nve, n[i][2] = row.nea, n[i][3] = row.nma;
        n[i][4] = row.nju, n[i][5] = row.nsa, n[i][6] = row.nur, n[i][7] = row.nne;
    }
    return Combinations(n);
}();

void product_nutation(double t, double& dpsi, double& deps) {
    const NutationArguments arguments(t);
    const double(&ls)[5] = arguments.luni_solar;
    const double(&pl)[13] = arguments.planetary;
    const UnitNumbers<2> of_moon_sun({ls[0], ls[1]});
    const UnitNumbers<3> of_node({ls[2], ls[4], ls[3]});
    const UnitNumbers<5> of_lunar_node({pl[3], pl[2], pl[1], pl[0], pl[12]});
    const UnitNumbers<8> of_planets({pl[4], pl[5], pl[6], pl[7], pl[8], pl[9], pl[10], pl[11]});
    run_widest([&](auto is_wide) LEOPOD_KERNEL {
        constexpr bool wide = decltype(is_wide)::value;
        const Evaluated<wide, kMoonSun, false, 2> moon_sun(of_moon_sun);
        const Evaluated<wide, kNode, true, 3> node(of_node);
        const Evaluated<wide, kLunarNode, false, 5> lunar_node(of_lunar_node);
        const Evaluated<wide, kPlanets, true, 8> planets(of_planets);
        const auto term_at = [&](std::size_t i) LEOPOD_KERNEL -> TermValues<wide> {
            if constexpr (wide) {
                const Quad a = load(node.of_term(i)) * load(moon_sun.of_term(i));
                const Quad b = load(planets.of_term(i)) * load(lunar_node.of_term(i));
                return {LEOPOD_SHUFFLE(a, b, 0, 1, 4, 5) + LEOPOD_SHUFFLE(a, b, 2, 3, 6, 7)};
            } else {
                return {product<wide>(node.of_term(i), moon_sun.of_term(i)),
                        product<wide>(planets.of_term(i), lunar_node.of_term(i))};
            }
        };
        sum_nutation<wide>(t, term_at, dpsi, deps);
    });
}

/// Adaptation of the nutation angles of IAU 2000A to the precession of IAU 2006.
void adapt_to_2006(double t, double& dpsi, double& deps) {
    const double fj2 = -2.7774e-6 * t;  // secular change of the dynamical form factor J2
    dpsi = dpsi + dpsi * (0.4697e-6 + fj2);
    deps = deps + deps * fj2;
}

/// Bias-precession-nutation matrix with the given nutation angles of IAU 2000A.
void bias_precession_nutation(double date1, double date2, double dpsi, double deps, double rbpn[3][3]) {
    double gamb = 0.0, phib = 0.0, psib = 0.0, epsa = 0.0;
    iauPfw06(date1, date2, &gamb, &phib, &psib, &epsa);
    adapt_to_2006(centuries(date1, date2), dpsi, deps);
    iauFw2m(gamb, phib, psib + dpsi, epsa + deps, rbpn);
}

/// Rotation in place of the rows i and j: ri' = c ri + s rj; rj' = -s ri + c rj.
void rotate_rows(double angle, double (&ri)[3], double (&rj)[3]) {
    double s = 0.0, c = 0.0;
    sine_cosine(angle, s, c);
    for (int k = 0; k < 3; ++k) {
        const double a = c * ri[k] + s * rj[k];
        const double b = -s * ri[k] + c * rj[k];
        ri[k] = a;
        rj[k] = b;
    }
}

/// Direction of the pole: right ascension and distance from the celestial pole [rad].
struct PoleDirection {
    double e, d;
    PoleDirection(double x, double y) {
        const double r2 = x * x + y * y;
        e = r2 > 0.0 ? std::atan2(y, x) : 0.0;
        d = std::atan(std::sqrt(r2 / (1.0 - r2)));
    }
};

/// Celestial-to-intermediate matrix from the pole and e + s.
void pole_matrix(const PoleDirection& pole, double e_plus_s, double rc2i[3][3]) {
    iauIr(rc2i);
    iauRz(pole.e, rc2i);
    iauRy(pole.d, rc2i);
    iauRz(-e_plus_s, rc2i);
}

/// The same from the bias-precession-nutation matrix.
void intermediate_matrix(double date1, double date2, double rbpn[3][3], double rc2i[3][3]) {
    double x = 0.0, y = 0.0;
    iauBpn2xy(rbpn, &x, &y);
    const PoleDirection pole(x, y);
    pole_matrix(pole, add_locator_06(pole.e, date1, date2, x, y), rc2i);
}

}  // namespace

// --- fundamental arguments, IERS Conventions (2003) ------------------------------------------------------------------

double iauFal03(double t) { return delaunay({485868.249036, 1717915923.2178, 31.8792, 0.051635, -0.00024470}, t); }

double iauFalp03(double t) { return delaunay({1287104.793048, 129596581.0481, -0.5532, 0.000136, -0.00001149}, t); }

double iauFaf03(double t) { return delaunay({335779.526232, 1739527262.8478, -12.7512, -0.001037, 0.00000417}, t); }

double iauFad03(double t) { return delaunay({1072260.703692, 1602961601.2090, -6.3706, 0.006593, -0.00003169}, t); }

double iauFaom03(double t) { return delaunay({450160.398036, -6962890.5431, 7.4722, 0.007702, -0.00005939}, t); }

double iauFame03(double t) { return fmod_two_pi(4.402608842 + 2608.7903141574 * t); }

double iauFave03(double t) { return fmod_two_pi(3.176146697 + 1021.3285546211 * t); }

double iauFae03(double t) { return fmod_two_pi(1.753470314 + 628.3075849991 * t); }

double iauFama03(double t) { return fmod_two_pi(6.203480913 + 334.0612426700 * t); }

double iauFaju03(double t) { return fmod_two_pi(0.599546497 + 52.9690962641 * t); }

double iauFasa03(double t) { return fmod_two_pi(0.874016757 + 21.3299104960 * t); }

double iauFaur03(double t) { return fmod_two_pi(5.481293872 + 7.4781598567 * t); }

double iauFapa03(double t) { return (0.024381750 + 0.00000538691 * t) * t; }

// --- precession and nutation -----------------------------------------------------------------------------------------

double iauObl06(double date1, double date2) { return mean_obliquity_2006(centuries(date1, date2)); }

void iauPfw06(double date1, double date2, double* gamb, double* phib, double* psib, double* epsa) {
    constexpr double kGamb[] = {-0.052928, 10.556378, 0.4932044, -0.00031238, -0.000002788, 0.0000000260};
    constexpr double kPhib[] = {84381.412819, -46.811016, 0.0511268, 0.00053289, -0.000000440, -0.0000000176};
    constexpr double kPsib[] = {-0.041775, 5038.481484, 1.5584175, -0.00018522, -0.000026452, -0.0000000148};
    const double t = centuries(date1, date2);
    *gamb = horner(kGamb, t) * kArcsecToRad;
    *phib = horner(kPhib, t) * kArcsecToRad;
    *psib = horner(kPsib, t) * kArcsecToRad;
    *epsa = iauObl06(date1, date2);
}

void iauFw2m(double gamb, double phib, double psi, double eps, double r[3][3]) {
    iauIr(r);
    iauRz(gamb, r);
    iauRx(phib, r);
    iauRz(-psi, r);
    iauRx(-eps, r);
}

void iauNut00a(double date1, double date2, double* dpsi, double* deps) {
    published_nutation(centuries(date1, date2), *dpsi, *deps);
}

void iauNut06a(double date1, double date2, double* dpsi, double* deps) {
    iauNut00a(date1, date2, dpsi, deps);
    adapt_to_2006(centuries(date1, date2), *dpsi, *deps);
}

void iauPnm06a(double date1, double date2, double rbpn[3][3]) {
    double dp = 0.0, de = 0.0;
    iauNut00a(date1, date2, &dp, &de);
    bias_precession_nutation(date1, date2, dp, de, rbpn);
}

// --- celestial intermediate pole and origin --------------------------------------------------------------------------

void iauBpn2xy(double rbpn[3][3], double* x, double* y) {
    *x = rbpn[2][0];
    *y = rbpn[2][1];
}

double iauS06(double date1, double date2, double x, double y) {
    return cio_locator(centuries(date1, date2), x, y, s06::sp, s06::s0, s06::s1, s06::s2, s06::s3, s06::s4);
}

double iauS00(double date1, double date2, double x, double y) {
#include "tables/s00.inc"
    static_assert(std::size(s0) + std::size(s1) + std::size(s2) + std::size(s3) + std::size(s4) == 66);
    return cio_locator(centuries(date1, date2), x, y, sp, s0, s1, s2, s3, s4);
}

void iauC2ixys(double x, double y, double s, double rc2i[3][3]) {
    const PoleDirection pole(x, y);
    pole_matrix(pole, pole.e + s, rc2i);
}

void iauC2i06a(double date1, double date2, double rc2i[3][3]) {
    double rbpn[3][3];
    iauPnm06a(date1, date2, rbpn);
    intermediate_matrix(date1, date2, rbpn, rc2i);
}

void leopod::fast_nutation(double date1, double date2, double& dpsi, double& deps) {
    product_nutation(centuries(date1, date2), dpsi, deps);
}

void leopod::fast_celestial_to_intermediate(double date1, double date2, double rc2i[3][3]) {
    struct Matrix {
        double r[3][3];
    };
    static thread_local Recent<Matrix> recent;
    const Matrix& matrix = recent.of(date1, date2, [&](Matrix& formed) {
        double rbpn[3][3], dpsi = 0.0, deps = 0.0;
        fast_nutation(date1, date2, dpsi, deps);
        bias_precession_nutation(date1, date2, dpsi, deps, rbpn);
        intermediate_matrix(date1, date2, rbpn, formed.r);
    });
    std::copy_n(matrix.r[0], 9, rc2i[0]);
}

void iauC2ixy(double date1, double date2, double x, double y, double rc2i[3][3]) {
    iauC2ixys(x, y, iauS00(date1, date2, x, y), rc2i);
}

// --- Earth rotation and polar motion ---------------------------------------------------------------------------------

double iauEra00(double dj1, double dj2) {
    const double d1 = dj1 < dj2 ? dj1 : dj2;
    const double d2 = dj1 < dj2 ? dj2 : dj1;
    const double t = d1 + (d2 - kJdJ2000);
    const double f = std::fmod(d1, 1.0) + std::fmod(d2, 1.0);  // part of the day, without loss of digits
    return iauAnp(kTwoPi * (f + 0.7790572732640 + 0.00273781191135448 * t));
}

double iauSp00(double date1, double date2) { return -47e-6 * centuries(date1, date2) * kArcsecToRad; }

void iauPom00(double xp, double yp, double sp, double rpom[3][3]) {
    iauIr(rpom);
    iauRz(sp, rpom);
    iauRy(-xp, rpom);
    iauRx(-yp, rpom);
}

// --- celestial to terrestrial ----------------------------------------------------------------------------------------

void iauC2t06a(double tta, double ttb, double uta, double utb, double xp, double yp, double rc2t[3][3]) {
    double rc2i[3][3];
    double rpom[3][3];
    iauC2i06a(tta, ttb, rc2i);
    iauPom00(xp, yp, iauSp00(tta, ttb), rpom);
    iauC2tcio(rc2i, iauEra00(uta, utb), rpom, rc2t);
}

void iauC2tcio(double rc2i[3][3], double era, double rpom[3][3], double rc2t[3][3]) {
    double r[3][3];
    iauCr(rc2i, r);
    iauRz(era, r);
    iauRxr(rpom, r, rc2t);
}

// --- vectors and matrices --------------------------------------------------------------------------------------------

void iauIr(double r[3][3]) {
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) r[i][j] = i == j ? 1.0 : 0.0;
    }
}

void iauRx(double phi, double r[3][3]) { rotate_rows(phi, r[1], r[2]); }

void iauRy(double theta, double r[3][3]) { rotate_rows(theta, r[2], r[0]); }

void iauRz(double psi, double r[3][3]) { rotate_rows(psi, r[0], r[1]); }

void iauRxr(double a[3][3], double b[3][3], double atb[3][3]) {
    double product[3][3];  // atb may be a or b
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < 3; ++j) {
            double w = 0.0;
            for (int k = 0; k < 3; ++k) w += a[i][k] * b[k][j];
            product[i][j] = w;
        }
    }
    iauCr(product, atb);
}

void iauCr(double r[3][3], double c[3][3]) {
    for (int i = 0; i < 3; ++i) iauCp(r[i], c[i]);
}

void iauCp(double p[3], double c[3]) {
    for (int i = 0; i < 3; ++i) c[i] = p[i];
}

double iauAnp(double a) { return positive_turn(fmod_two_pi(a)); }
