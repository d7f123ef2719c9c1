/// \file earth_gravity.cpp
/// Spherical-harmonic field of the Earth and its time-variable corrections.
///
/// Cunningham's harmonics: V(n,m) + i W(n,m) = (Re/r)^(n+1) P(n,m)(sin lat) exp(i m lon), in triangular tables. For NN = 3:
///
///     k     0      1      2      3      4      5      6      7      8      9
///     (n,m) (0,0)  (1,0)  (1,1)  (2,0)  (2,1)  (2,2)  (3,0)  (3,1)  (3,2)  (3,3)
///
/// so that (n+1,m) stands n + 1 entries behind (n,m), and the orders of one degree lie side by side.
#include "earth_gravity.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>

#include "earth_rotation_param.h"
#include "iers_function.h"
#include "mathlib.h"
#include "private/constants.h"
#include "private/lines.h"
#include "private/memory.h"
#include "private/print.h"
#include "private/registers.h"
#include "private/report.h"
#include "private/text.h"

using namespace leopod;

double N[MAXSIZE_GRAVITY];
double C[MAXSIZE_GRAVITY];
double S[MAXSIZE_GRAVITY];
double V[MAXSIZE_GRAVITY_VW];
double W[MAXSIZE_GRAVITY_VW];
double GM;
double Re;
double o_C20, o_C21, o_C22, o_C30, o_C31, o_C32, o_C33, o_C40, o_C41, o_C42;
double o_S20, o_S21, o_S22, o_S30, o_S31, o_S32, o_S33, o_S40, o_S41, o_S42;

namespace {

constexpr double kModelGM = 398600441500000.0;  // [m^3/s^2]
constexpr double kModelRe = 6378136.3;          // [m]

constexpr double kBuiltinN[] = {
#include "tables/gravity_egm2008_n.inc"
};
constexpr double kBuiltinC[] = {
#include "tables/gravity_egm2008_c.inc"
};
constexpr double kBuiltinS[] = {
#include "tables/gravity_egm2008_s.inc"
};
static_assert(std::size(kBuiltinN) == NUM_GRAVITY_EMBED);
static_assert(std::size(kBuiltinC) == NUM_GRAVITY_EMBED);
static_assert(std::size(kBuiltinS) == NUM_GRAVITY_EMBED);

// Columns: in-phase and out-of-phase amplitude [1e-12]; multipliers of l, l', F, D, Om (not read); of tau, s, h, p, N', ps.
constexpr int kTideColumns = 13;
constexpr int kDoodsonColumn = 7;
constexpr double Argu_C20[][kTideColumns] = {
#include "tables/gravity_tide_6_5b.inc"
};
constexpr double Argu_C21[][kTideColumns] = {
#include "tables/gravity_tide_6_5a.inc"
};
constexpr double Argu_C22[][kTideColumns] = {
#include "tables/gravity_tide_6_5c.inc"
};
static_assert(std::size(Argu_C20) == 21);
static_assert(std::size(Argu_C21) == 48);
static_assert(std::size(Argu_C22) == 2);

// Love numbers, IERS Conventions (2010), table 6.3: elastic k, k+ (read); anelastic Re k, Im k, k+ (settled: not used).
constexpr double kLove[7][5] = {
    {0.29525, -0.00087, 0.3019, -0.0, -0.00089},      // (2,0)
    {0.2947, -0.00079, 0.2983, -0.00144, -0.0008},    // (2,1)
    {0.29801, -0.00057, 0.30102, -0.0013, -0.00057},  // (2,2)
    {0.093, 0.0, 0.0, 0.0, 0.0},                      // (3,0)
    {0.093, 0.0, 0.0, 0.0, 0.0},                      // (3,1)
    {0.093, 0.0, 0.0, 0.0, 0.0},                      // (3,2)
    {0.094, 0.0, 0.0, 0.0, 0.0},                      // (3,3)
};

// The corrected coefficients: (2,0) to (4,2), ten in a row of the triangular tables.
constexpr int kCorrected = 10;
constexpr int kFirstCorrected = 3;

double* const kStaticC[kCorrected] = {&o_C20, &o_C21, &o_C22, &o_C30, &o_C31, &o_C32, &o_C33, &o_C40, &o_C41, &o_C42};
double* const kStaticS[kCorrected] = {&o_S20, &o_S21, &o_S22, &o_S30, &o_S31, &o_S32, &o_S33, &o_S40, &o_S41, &o_S42};

/// Triangular index of degree n, order m.
constexpr int index_of(int n, int m) { return n * (n + 1) / 2 + m; }

constexpr int within_table(int degree) { return std::min(degree, static_cast<int>(MAXDEGREE_GRAVITY)); }

void keep_static_values() {
    for (int i = 0; i < kCorrected; ++i) {
        *kStaticC[i] = C[kFirstCorrected + i];
        *kStaticS[i] = S[kFirstCorrected + i];
    }
}

/// Reads degree, order, Cbar, Sbar and two unused sigmas a line. Stops at the first line above the table's degree.
void read_coefficients(LineReader& reader, double* Cn, double* Sn) {
    char line[kLineSize];
    int degree = 0, order = 0;
    double cbar = 0.0, sbar = 0.0, sigma_c = 0.0, sigma_s = 0.0;
    bool any_good = false;
    while (read_line(reader, line)) {
        replace_char(line, 'D', 'E');
        // settled: a number that cannot be read keeps its value of the line before
        const int read = scan(line, "%d %d %lf %lf %lf %lf\n", &degree, &order, &cbar, &sbar, &sigma_c, &sigma_s);
        any_good = any_good || read >= 4;
        if (!any_good) continue;
        if (degree > MAXDEGREE_GRAVITY || order > MAXDEGREE_GRAVITY) return;
        if (order < 0 || order > degree) continue;
        Cn[index_of(degree, order)] = cbar;
        Sn[index_of(degree, order)] = sbar;
    }
}

void write_table(std::FILE* file, char name, const double* table) {
    print(file, "static double %c[]=\n{\n", name);
    for (int k = 0; k < MAXSIZE_GRAVITY; ++k) {
        print(file, "%+#30.25E,", table[k]);
        if (k % 20 == 19) std::fputc('\n', file);
    }
    std::fputs("\n};\n", file);
}

/// Writes the tables as source text, in the form of the built-in field.
void write_side_file() {
    constexpr const char* kSideFile = "testdata/cs_file.txt";
    const File file = create_text(kSideFile);
    if (file == nullptr) {
        report(ULOG_ERROR_LEVEL, "load_earth_coef_EGM() cannot write %s", kSideFile);
        return;
    }
    write_table(file.get(), 'N', N);
    std::fputc('\n', file.get());
    write_table(file.get(), 'C', C);
    std::fputc('\n', file.get());
    write_table(file.get(), 'S', S);
}

/// Tide of one body: adds k f exp(i m lon) to the degrees 2 and 3, and by k+ to degree 4 (IERS Conventions 2010, 6.6 and 6.7).
void add_body_tide(double gm_body, double* pos_ecef, double* dC, double* dS) {
    constexpr double kTideRe = kWgs84SemiMajor;  // settled: not the field's Re
    const double r = norm(3, pos_ecef);
    const double sin_lat = std::sin(std::asin(pos_ecef[2] / r));
    const double lon = std::atan2(pos_ecef[1], pos_ecef[0]);
    int i = 0;
    for (int n = 2; n <= 3; ++n) {
        for (int m = 0; m <= n; ++m, ++i) {
            const double f = (1.0 / (2 * n + 1)) * (gm_body / kModelGM) * std::pow(kTideRe / r, n + 1) *
                             N[index_of(n, m)] * legendrePoly(n, m, sin_lat);
            const double cos_mlon = std::cos(m * lon), sin_mlon = std::sin(m * lon);
            dC[i] += kLove[i][0] * f * cos_mlon;
            dS[i] += kLove[i][0] * f * sin_mlon;
            if (n == 2) {
                dC[7 + m] += kLove[i][1] * f * cos_mlon;
                dS[7 + m] += kLove[i][1] * f * sin_mlon;
            }
        }
    }
}

struct TideTerm {
    double in_phase, out_of_phase, sine, cosine;
};

TideTerm tide_term(const double (&row)[kTideColumns], const double* doodson) {
    double theta = 0.0;
    for (int j = 0; j < 6; ++j) theta += row[kDoodsonColumn + j] * doodson[j];
    return {row[0], row[1], std::sin(theta), std::cos(theta)};
}

/// Frequency dependence of the Love numbers, IERS Conventions (2010), tables 6.5a to 6.5c.
void add_frequency_dependence(const double* doodson, double* dC, double* dS) {
    for (const auto& row : Argu_C20) {
        const TideTerm t = tide_term(row, doodson);
        dC[0] += (t.in_phase * t.cosine - t.out_of_phase * t.sine) * 1e-12;
    }
    for (const auto& row : Argu_C21) {
        const TideTerm t = tide_term(row, doodson);
        dC[1] += (t.in_phase * t.sine + t.out_of_phase * t.cosine) * 1e-12;
        dS[1] += (t.in_phase * t.cosine - t.out_of_phase * t.sine) * 1e-12;
    }
    for (const auto& row : Argu_C22) {
        const TideTerm t = tide_term(row, doodson);
        dC[2] += t.in_phase * t.cosine * 1e-12;
        dS[2] -= t.in_phase * t.sine * 1e-12;
    }
}

}  // namespace

// --- tables ----------------------------------------------------------------------------------------------------------

void initialize_global_earth_gravity(void) {
    GM = kModelGM;
    Re = kModelRe;
    for (int i = 0; i < kCorrected; ++i) *kStaticC[i] = *kStaticS[i] = 0.0;
    std::copy(std::begin(kBuiltinN), std::end(kBuiltinN), N);
    std::copy(std::begin(kBuiltinC), std::end(kBuiltinC), C);
    std::copy(std::begin(kBuiltinS), std::end(kBuiltinS), S);
    std::fill(std::begin(V), std::end(V), 0.0);
    std::fill(std::begin(W), std::end(W), 0.0);
    keep_static_values();
}

bool load_earth_coef_EGM(char* filename) {
    const File file = open_text(filename);
    if (file == nullptr) {
        report(ULOG_ERROR_LEVEL, "load_earth_coef_EGM() open file failed!\n");
        return false;
    }
    LineReader reader{file.get(), filename};
    Memory memory("load_earth_coef_EGM");
    const Work<double> Cn(memory, MAXSIZE_GRAVITY), Sn(memory, MAXSIZE_GRAVITY);
    if (memory.missing()) return false;
    Re = kModelRe;
    GM = kModelGM;
    Cn[0] = 1.0;
    read_coefficients(reader, Cn.data(), Sn.data());
    denormaliseCS(MAXSIZE_GRAVITY, Cn.data(), Sn.data());
    keep_static_values();
    write_side_file();
    return true;
}

void computeNormalFactor(void) {
    N[0] = 1.0;
    for (int n = 1; n <= MAXDEGREE_GRAVITY; ++n) {
        N[index_of(n, 0)] = N[index_of(n - 1, 0)] * std::sqrt((2.0 * n + 1) / (2 * n - 1));
    }
    for (int m = 1; m <= MAXDEGREE_GRAVITY; ++m) {
        N[index_of(m, m)] = N[index_of(m - 1, m - 1)] * std::sqrt((2.0 * m + 1) / (2 * m - 1) / (2 * m - 1) / (2 * m));
        for (int n = m + 1; n <= MAXDEGREE_GRAVITY; ++n) {
            N[index_of(n, m)] = N[index_of(n - 1, m)] * std::sqrt((2.0 * n + 1) * (n - m) / (2 * n - 1) / (n + m));
        }
    }
    // The recurrence above runs on the values without the factor of the orders above zero.
    for (int m = 1; m <= MAXDEGREE_GRAVITY; ++m) {
        for (int n = m; n <= MAXDEGREE_GRAVITY; ++n) N[index_of(n, m)] *= 1.4142135623730951;
    }
}

void denormaliseCS(int nsize, double* Cn, double* Sn) {
    computeNormalFactor();
    const int count = std::min(nsize, static_cast<int>(MAXSIZE_GRAVITY));
    for (int k = 0; k < count; ++k) {
        C[k] = N[k] * Cn[k];
        S[k] = N[k] * Sn[k];
    }
}

double normalFactor(int n, int m) {
    const double degree = n;
    const long long top = static_cast<long long>(n) + m;
    double product = 1.0;
    for (long long i = top - 2LL * m + 1; i <= top; ++i) product *= static_cast<double>(i);
    return std::sqrt((m == 0 ? 1.0 : 2.0) * (2 * degree + 1) / product);
}

double legendrePoly(int n, int m, double u) {
    if (m < 0 || m > n) return 0.0;
    double below = 1.0;  // P(m,m), from P(0,0) = 1
    for (int i = 1; i <= m; ++i) below = std::sqrt(1 - u * u) * (2.0 * i - 1) * below;
    if (n == m) return below;
    double value = (2.0 * m + 1) * u * below;  // P(m+1,m)
    for (int i = m + 2; i <= n; ++i) {
        const double next = ((2.0 * i - 1) * u * value - (static_cast<double>(i) + m - 1) * below) / (i - m);
        below = value;
        value = next;
    }
    return value;
}

// --- harmonics, acceleration, gradient -------------------------------------------------------------------------------

namespace {

/// Calls body(m) for the first elements of blocks of four that cover [0, count); the last block may overlap the one before. False, and
/// nothing done, where there are fewer than four elements.
template <typename Body>
LEOPOD_KERNEL inline bool for_each_quad(int count, const Body& body) {
    if (count < kQuad) return false;
    int m = 0;
    for (; m + kQuad <= count; m += kQuad) body(m);
    if (m < count) body(count - kQuad);
    return true;
}

constexpr Quad kLanes = {0.0, 1.0, 2.0, 3.0};

}  // namespace

void generateVW(int NN, int MM, double* pos_ecef) {
    const double x = pos_ecef[0], y = pos_ecef[1], z = pos_ecef[2];
    const double r2 = x * x + y * y + z * z;
    const double r = std::sqrt(r2);
    const double x0 = Re * x / r2, y0 = Re * y / r2, z0 = Re * z / r2;
    const double rho = Re * Re / r2;
    const int top = within_table(NN);
    const int top_order = std::min(MM, top);
    V[0] = Re / r;
    W[0] = 0.0;
    // settled: rows above `top` are not generated and keep what they hold, zero unless an earlier call went higher.
    run_widest([=](auto) LEOPOD_KERNEL {
        for (int n = 1; n <= top; ++n) {
            double* const v = V + index_of(n, 0);
            double* const w = W + index_of(n, 0);
            const double* const v1 = V + index_of(n - 1, 0);
            const double* const w1 = W + index_of(n - 1, 0);
            const double* const v2 = V + index_of(n - 2, 0);  // for n = 1 at (0,0), with the factor 0
            const double* const w2 = W + index_of(n - 2, 0);
            // Degree by degree: the orders of one degree lie side by side and do not depend on each other.
            const double along = (2 * n - 1) * z0;
            const int count = std::max(0, std::min(n - 2, top_order)) + 1;
            const bool done = for_each_quad(count, [=](int m) LEOPOD_KERNEL {
                const Quad order = kLanes + m;
                const Quad back = (order + (n - 1)) * rho, divisor = n - order;
                const Quad vm = (along * load(v1 + m) - back * load(v2 + m)) / divisor;
                const Quad wm = (along * load(w1 + m) - back * load(w2 + m)) / divisor;
                store(v + m, vm);
                store(w + m, wm);
            });
            for (int m = 0; m < count && !done; ++m) {
                v[m] = (along * v1[m] - (n + m - 1) * rho * v2[m]) / (n - m);
                w[m] = (along * w1[m] - (n + m - 1) * rho * w2[m]) / (n - m);
            }
            w[0] = 0.0;
            if (n >= 2 && n - 1 <= top_order) {
                v[n - 1] = along * v1[n - 1];
                w[n - 1] = along * w1[n - 1];
            }
            if (n <= top_order) {
                v[n] = (2 * n - 1) * (x0 * v1[n - 1] - y0 * w1[n - 1]);
                w[n] = (2 * n - 1) * (y0 * v1[n - 1] + x0 * w1[n - 1]);
            }
        }
    });
}

namespace {

/// x, y, z terms of four neighbouring orders of the acceleration, order after order, each from its own degree to the highest.
struct Columns {
    double xyz[kQuad * kQuad * (MAXDEGREE_GRAVITY + 1)];

    static int count(int m, int top) { return kQuad * (top - m + 1) - 6; }
};

template <bool wide>
LEOPOD_KERNEL inline void add_terms(const double* first, int count, FourSums<wide>& sum) {
    for (int i = 0; i < count; ++i) sum.add(load(first + kQuad * i));
}

/// Stores x, y, z, 0 of four orders at their places and moves on to the next degree's.
template <bool wide>
LEOPOD_KERNEL inline void store_columns(Quad x, Quad y, Quad z, double* (&column)[kQuad]) {
    Quad term[kQuad];
    if constexpr (wide) transpose(x, y, z, Quad{}, term);
    for (int j = 0; j < kQuad; ++j) {
        if constexpr (wide) {
            store(column[j], term[j]);
        } else {
            store(column[j], Pair{x[j], y[j]});
            store(column[j] + 2, Pair{z[j], 0.0});
        }
        column[j] += kQuad;
    }
}

/// Forms the terms of the orders m to m + 3. While those of a degree form, four of the orders before are added, if there are any: two
/// chains of work that do not wait for each other.
template <bool any_before, bool wide>
LEOPOD_KERNEL inline void form_columns(int m, int top, Columns& columns, const Columns& before, FourSums<wide>& total) {
    const int length = top - m + 1;
    double* column
        [kQuad];  // where the term of degree m would stand: above the diagonal, in a place that a later term takes
    for (int j = 0, start = 0; j < kQuad; start += length - j, ++j) column[j] = columns.xyz + kQuad * (start - j);
    const double* pending = before.xyz;
    const double* c = C + index_of(m, m);
    const double* s = S + index_of(m, m);
    const double* v = V + index_of(m + 1, m);
    const double* w = W + index_of(m + 1, m);
    FourSums<wide> sum = total;
    for (int n = m; n <= top; ++n) {
        const Quad cn = load(c), sn = load(s), d = (n - m + 1) - kLanes, f = (d + 1.0) * d;
        const Quad x = 0.5 * (-cn * load(v + 1) - sn * load(w + 1) + f * (cn * load(v - 1) + sn * load(w - 1)));
        const Quad y = 0.5 * (-cn * load(w + 1) + sn * load(v + 1) + f * (-cn * load(w - 1) + sn * load(v - 1)));
        const Quad z = d * (-cn * load(v) - sn * load(w));
        store_columns<wide>(x, y, z, column);
        if (any_before) add_terms(pending, kQuad, sum);
        pending += kQuad * kQuad;
        c += n + 1;
        s += n + 1;
        v += n + 2;
        w += n + 2;
    }
    if (any_before) add_terms(pending, Columns::count(m - kQuad, top) - kQuad * length, sum);
    total = sum;
}

}  // namespace

void compute_acc_earth_gravity(int NN, int MM, double* /*pos_ecef*/, double* a_ecef) {
    const int top = within_table(NN), top_order = std::min(within_table(MM), top);
    double total[kQuad] = {};
    run_widest([=, &total](auto wide) LEOPOD_KERNEL {
        // The sums run over all degrees of one order before the next order.
        FourSums<wide> sum;
        for (int n = 0; n <= top && top_order >= 0; ++n) {
            const int k = index_of(n, 0), up = index_of(n + 1, 0);
            sum.add(Quad{-C[k] * V[up + 1], -C[k] * W[up + 1], (n + 1) * (-C[k] * V[up] - S[k] * W[up]), 0.0});
        }
        Columns columns[2];
        int m = 1, block = 0;
        for (; m + kQuad - 1 <= top_order; m += kQuad, ++block) {
            Columns &now = columns[block % 2], &before = columns[(block + 1) % 2];
            if (block == 0) {
                form_columns<false>(m, top, now, before, sum);
            } else {
                form_columns<true>(m, top, now, before, sum);
            }
        }
        if (block > 0) add_terms(columns[(block + 1) % 2].xyz, Columns::count(m - kQuad, top), sum);
        for (; m <= top_order; ++m) {
            for (int n = m; n <= top; ++n) {
                const int k = index_of(n, m), up = index_of(n + 1, m);
                const double c = C[k], s = S[k], f = (n - m + 2) * (n - m + 1);
                sum.add(Quad{0.5 * (-c * V[up + 1] - s * W[up + 1] + f * (c * V[up - 1] + s * W[up - 1])),
                             0.5 * (-c * W[up + 1] + s * V[up + 1] + f * (-c * W[up - 1] + s * V[up - 1])),
                             (n - m + 1) * (-c * V[up] - s * W[up]), 0.0});
            }
        }
        store(total, sum.value());
    });
    for (int i = 0; i < 3; ++i) a_ecef[i] = total[i] * (GM / Re / Re);
}

namespace {

/// Factors of the gradient's terms by d = n - m, from the largest d down, as they stand along a degree; behind d = 0 for the reading of
/// four orders.
struct GradientFactors {
    static constexpr int kSize = MAXDEGREE_GRAVITY + kQuad;
    double half_d1[kSize] = {}, d12[kSize] = {}, twice_d12[kSize] = {}, g[kSize] = {}, h[kSize] = {};

    constexpr GradientFactors() {
        for (int i = 0; i <= MAXDEGREE_GRAVITY; ++i) {
            const double d = MAXDEGREE_GRAVITY - i;
            half_d1[i] = 0.5 * (d + 1);
            d12[i] = (d + 1) * (d + 2);
            twice_d12[i] = 2 * (d + 2) * (d + 1);
            g[i] = 0.5 * (d + 3) * (d + 2) * (d + 1);
            h[i] = (d + 1) * (d + 2) * (d + 3) * (d + 4);
        }
    }
};
constexpr GradientFactors kGradient;

/// Sums of the gradient: xx, xy, xz, yz, and zz.
template <bool wide>
struct GradientSums {
    FourSums<wide> four;
    double zz = 0.0;
};

/// Adds the terms of degree n and of the orders m + count - 1 down to m, m at least 2; the tables are read at four orders.
template <bool wide>
LEOPOD_KERNEL inline void add_gradient_terms(int n, int m, int count, GradientSums<wide>& sum) {
    const double* const v = V + index_of(n + 2, m);
    const double* const w = W + index_of(n + 2, m);
    const Quad c = load(C + index_of(n, m)), s = load(S + index_of(n, m));
    const auto A = [&](int j) LEOPOD_KERNEL { return c * load(v + j) + s * load(w + j); };
    const auto B = [&](int j) LEOPOD_KERNEL { return c * load(w + j) - s * load(v + j); };
    const int i = MAXDEGREE_GRAVITY - n + m;
    const Quad half_d1 = load(kGradient.half_d1 + i), g = load(kGradient.g + i), h = load(kGradient.h + i);
    // settled: the factor 0.25 applies to the first term only
    const Quad xx = 0.25 * A(2) - load(kGradient.twice_d12 + i) * A(0) + h * A(-2);
    const Quad xy = 0.25 * B(2) - h * B(-2);
    const Quad xz = half_d1 * A(1) - g * A(-1);
    const Quad yz = half_d1 * B(1) + g * B(-1);
    const Quad zz = load(kGradient.d12 + i) * A(0);
    Quad term[kQuad];
    transpose(xx, xy, xz, yz, term);
    for (int j = kQuad; j-- > 0;) {
        if (j >= count) continue;
        sum.four.add(term[j]);
        sum.zz += zz[j];
    }
}

/// Adds the terms of degree n and order 1, then 0.
template <bool wide>
LEOPOD_KERNEL inline void add_low_gradient_terms(int n, GradientSums<wide>& sum) {
    const double* const v = V + index_of(n + 2, 0);
    const double* const w = W + index_of(n + 2, 0);
    if (n >= 1) {
        const double c = C[index_of(n, 1)], s = S[index_of(n, 1)], d = n - 1, g = 0.5 * (d + 3) * (d + 2) * (d + 1);
        const auto A = [=](int j) LEOPOD_KERNEL { return c * v[j] + s * w[j]; };
        const auto B = [=](int j) LEOPOD_KERNEL { return c * w[j] - s * v[j]; };
        // settled: the factor 0.25 applies to the first term only
        sum.four.add(Quad{0.25 * A(3) - n * (n + 1) * (3 * c * v[1] + s * w[1]),
                          0.25 * B(3) - n * (n + 1) * (s * v[1] + c * w[1]), 0.5 * (d + 1) * A(2) - g * A(0),
                          0.5 * (d + 1) * B(2) + g * B(0)});
        sum.zz += (d + 1) * (d + 2) * A(1);
    }
    const double c = C[index_of(n, 0)], s = S[index_of(n, 0)];
    sum.four.add(
        Quad{0.5 * (c * v[2] - (n + 1) * (n + 2) * c * v[0]), 0.5 * c * w[2], (n + 1) * c * v[1], (n + 1) * c * w[1]});
    sum.zz += (n + 1.0) * (n + 2.0) * (c * v[0] + s * w[0]);
}

}  // namespace

void compute_dadr_earth_gravity(int NN, int /*MM*/, double* /*pos_ecef*/, double* dadr_ecf) {
    double four[kQuad] = {}, zz = 0.0;
    run_widest([NN, &four, &zz](auto wide) LEOPOD_KERNEL {
        // The sums run from the highest degree down, and within it from the highest order.
        GradientSums<wide> sum;
        for (int n = within_table(NN); n >= 0; --n) {
            int m = n - kQuad + 1;
            for (; m >= 2; m -= kQuad) add_gradient_terms(n, m, kQuad, sum);
            if (const int left = m + kQuad - 2; left > 0) add_gradient_terms(n, 2, left, sum);
            add_low_gradient_terms(n, sum);
        }
        store(four, sum.four.value());
        zz = sum.zz;
    });
    const double xx = four[0], xy = four[1], xz = four[2], yz = four[3];
    const double scale = GM / (Re * Re * Re);
    dadr_ecf[0] = xx * scale;
    dadr_ecf[1] = dadr_ecf[3] = xy * scale;
    dadr_ecf[2] = dadr_ecf[6] = xz * scale;
    dadr_ecf[4] = (-xx - zz) * scale;  // Laplace
    dadr_ecf[5] = dadr_ecf[7] = yz * scale;
    dadr_ecf[8] = zz * scale;
}

// --- time-variable field ---------------------------------------------------------------------------------------------

void compute_acc_dadr_earth_gravity(int NN, int MM, double mjd_utc, double leap_sec, double* satpos_ecef,
                                    double* sunpos_ecf, double* moonpos_ecf, double* acc_ecf, double* dadr_ecf) {
    NN = within_table(NN);
    MM = within_table(MM);
    double delta_C[kCorrected] = {}, delta_S[kCorrected] = {};
    const double mjd_tt = mjd_utc + (leap_sec + kTtMinusTai) / kDay;
    const double jd_ut1 = mjd_utc + kMjdToJd;  // settled: UT1-UTC taken as zero
    const double jd_tt = mjd_tt + kMjdToJd;
    const bool sun_ok = norm(3, sunpos_ecf) > 1e-12;
    const bool moon_ok = norm(3, moonpos_ecf) > 1e-12;
    if (NN >= 4) {
        double c20 = 0.0, c30 = 0.0, c40 = 0.0, c21 = 0.0, s21 = 0.0;
        correct_CS_TimeVarying(mjd_tt, &c20, &c30, &c40, &c21, &s21);
        delta_C[0] += c20;
        delta_C[3] += c30;
        delta_C[7] += c40;
        delta_C[1] += c21;
        delta_S[1] += s21;
    }
    if (sun_ok && moon_ok && NN >= 4) {
        double dC[kCorrected] = {}, dS[kCorrected] = {};
        const double jd_ut1_whole = std::trunc(jd_ut1);
        correct_CS_solidEarthTide(jd_ut1_whole, jd_ut1 - jd_ut1_whole, jd_tt, sunpos_ecf, moonpos_ecf, dC, dS);
        for (int i = 0; i < kCorrected; ++i) {
            delta_C[i] += dC[i] * N[kFirstCorrected + i];
            delta_S[i] += dS[i] * N[kFirstCorrected + i];
        }
    }
    if (NN >= 2) {
        // settled: the instantaneous pole is passed as zero, the term holds the mean pole alone
        double dC21 = 0.0, dS21 = 0.0;
        correct_PoleTide(mjd_utc, 0, 0, &dC21, &dS21);
        delta_C[1] += dC21 * N[index_of(2, 1)];
        delta_S[1] += dS21 * N[index_of(2, 1)];
    }
    if (NN > 1) {
        for (int i = 0; i < kCorrected; ++i) {
            C[kFirstCorrected + i] = *kStaticC[i] + delta_C[i];
            S[kFirstCorrected + i] = *kStaticS[i] + delta_S[i];
        }
    }
    generateVW(NN, MM, satpos_ecef);
    if (acc_ecf != nullptr) compute_acc_earth_gravity(NN, MM, satpos_ecef, acc_ecf);
    if (dadr_ecf != nullptr) compute_dadr_earth_gravity(NN, MM, satpos_ecef, dadr_ecf);
}

void correct_CS_TimeVarying(double mjd_utc, double* c_C20, double* c_C30, double* c_C40, double* c_C21, double* c_S21) {
    const double t = (mjd_utc - 51544.5) / 365.25;
    *c_C20 = N[index_of(2, 0)] * t * 1.16e-11;
    *c_C30 = N[index_of(3, 0)] * t * 4.9e-12;
    *c_C40 = N[index_of(4, 0)] * t * 4.7e-12;

    double pole[2] = {};
    mean_polar_motion(mjd_utc, pole);
    const double x = pole[0] * (kPi / 648000), y = pole[1] * (kPi / 648000);
    const double C20n = o_C20 / N[index_of(2, 0)];
    const double C22n = o_C22 / N[index_of(2, 2)];
    const double S22n = o_S22 / N[index_of(2, 2)];
    constexpr double s3 = 1.7320508075688772;
    // IERS Conventions (2010), equation 6.5. The static term is subtracted, so that it is replaced by the bracket.
    *c_C21 = (s3 * x * C20n - x * C22n + y * S22n) * N[index_of(2, 1)] - o_C21;
    *c_S21 = (-s3 * y * C20n - y * C22n - x * S22n) * N[index_of(2, 1)] - o_S21;
}

void correct_CS_solidEarthTide(double JD_UT1_I, double JD_UT1_F, double JD_TT, double* sunpos_ecef,
                               double* moonpos_ecef, double* dC, double* dS) {
    // settled: these parameters are separate from those of the planetary ephemeris
    add_body_tide(1.327124400419394e+20, sunpos_ecef, dC, dS);
    add_body_tide(4902789000000.0, moonpos_ecef, dC, dS);
    double delaunay[5], doodson[6];
    DOODSONARG(JD_UT1_I, JD_UT1_F, JD_TT, delaunay, doodson);
    add_frequency_dependence(doodson, dC, dS);
}

void correct_PoleTide(double mjd_utc, double xp, double yp, double* dC21, double* dS21) {
    double mean[2] = {};
    mean_polar_motion(mjd_utc, mean);
    const double m1 = xp - mean[0], m2 = mean[1] - yp;  // [arcsecond]
    // Solid Earth and ocean pole tide, IERS Conventions (2010), sections 6.4 and 6.5.
    *dC21 = -1.333e-9 * (m1 + 0.0115 * m2);
    *dS21 = -1.333e-9 * (m2 - 0.0115 * m1);
    *dC21 += -2.1778e-10 * (m1 - 0.01724 * m2);
    *dS21 += -1.7232e-10 * (m2 - 0.03365 * m1);
}
