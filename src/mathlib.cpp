/// \file mathlib.cpp
/// Linear algebra on flat row-major arrays, least squares, sequential filters, interpolation, statistics, Helmert transformation.
#include "mathlib.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstddef>
#include <type_traits>

#include "private/estimation.h"
#include "private/memory.h"
#include "private/numbers.h"
#include "private/registers.h"
#include "private/report.h"
#include "ulog.h"

using namespace leopod;

namespace {

constexpr double kTiny = 1e-20;  ///< singularity bound of the decomposition and of its solution

/// y += factor * x, element by element; x and y do not overlap.
LEOPOD_KERNEL inline void add_scaled(int n, double factor, const double* __restrict x, double* __restrict y) {
    int i = 0;
    for (; i + kQuad <= n; i += kQuad) store(y + i, load(y + i) + factor * load(x + i));
    for (; i < n; ++i) y[i] += factor * x[i];
}

}  // namespace

// --- matrix kernel ---------------------------------------------------------------------------------------------------

namespace {

/// A tile of C = A B, `cols` registers wide, kept in registers over the sums; element by element they ascend in k.
template <typename T, int rows, int cols>
LEOPOD_KERNEL inline void product_tile(int cA, const double* A, int cB, const double* B, double* C) {
    constexpr int kWidth = kNumbersIn<T>;
    T sum[rows][cols] = {};
    for (int k = 0; k < cA; ++k, B += cB) {
        T b[cols];
        for (int c = 0; c < cols; ++c) b[c] = load_as<T>(B + c * kWidth);
        for (int r = 0; r < rows; ++r) {
            for (int c = 0; c < cols; ++c) sum[r][c] += A[r * cA + k] * b[c];
        }
    }
    for (int r = 0; r < rows; ++r) {
        for (int c = 0; c < cols; ++c) store(C + r * cB + c * kWidth, sum[r][c]);
    }
}

/// Some rows of C = A B.
template <typename T, int rows>
LEOPOD_KERNEL inline void product_rows(int cA, const double* A, int cB, const double* B, double* C) {
    constexpr int kWidth = kNumbersIn<T>;
    int j = 0;
    for (; j + 2 * kWidth <= cB; j += 2 * kWidth) product_tile<T, rows, 2>(cA, A, cB, B + j, C + j);
    for_all_elements(cB - j, [&](auto element, int k) LEOPOD_KERNEL {
        product_tile<decltype(element), rows, 1>(cA, A, cB, B + j + k, C + j + k);
    });
}

template <typename T>
LEOPOD_KERNEL inline void product(int rA, int cA, const double* A, int cB, const double* B, double* C) {
    int i = 0;
    for (; i + 4 <= rA; i += 4) product_rows<T, 4>(cA, A + i * cA, cB, B, C + i * cB);
    for (; i < rA; ++i) product_rows<T, 1>(cA, A + i * cA, cB, B, C + i * cB);
}

}  // namespace

void matrixMultiply(int rA, int cA, double* A, int cB, double* B, double* C) {
    if (cB < kQuad) return product<Pair>(rA, cA, A, cB, B, C);
    run_widest([=](auto wide) LEOPOD_KERNEL {
        product<std::conditional_t<decltype(wide)::value, Quad, Pair>>(rA, cA, A, cB, B, C);
    });
}

namespace {

/// Res(i,j) = sum over k of (sum over l of M1(i,l) * M2(l,k)) * M3(k,j); element (k,j) of M3 is M3[k * row3 + j * col3].
/// An inner sum serves a whole row of Res at once; no temporary matrix.
void triple_product(int r1, int r2, int r3, int c3, const double* M1, int stride1, const double* M2, int stride2,
                    const double* M3, int row3, int col3, double* Res, int stride_res) {
    for (int i = 0; i < r1; ++i) {
        double* row = Res + i * stride_res;
        for (int j = 0; j < c3; ++j) row[j] = 0.0;
        for (int k = 0; k < r3; ++k) {
            double sum = 0.0;
            for (int l = 0; l < r2; ++l) sum += M1[i * stride1 + l] * M2[l * stride2 + k];
            for (int j = 0; j < c3; ++j) row[j] += sum * M3[k * row3 + j * col3];
        }
    }
}

}  // namespace

void matrixMultiply3(int r1, int r2, int r3, int c3, double* M1, double* M2, double* M3, double* Res, int c1_max,
                     int c2_max, int c3_max) {
    triple_product(r1, r2, r3, c3, M1, c1_max, M2, c2_max, M3, c3_max, 1, Res, c3);
}

void matrixMultiply3_HPHT(int r1, int r2, int /*c2*/, double* M1, double* M2, double* Res, int c1_max, int c2_max,
                          int c_res_max) {
    triple_product(r1, r2, r2, r1, M1, c1_max, M2, c2_max, M1, 1, c1_max, Res, c_res_max);
}

void matrixTranspose(int r, int c, double* m, double* t) {
    for (int i = 0; i < r; ++i) {
        for (int j = 0; j < c; ++j) t[j * r + i] = m[i * c + j];
    }
}

void matrix_identical(int r, double* m) {
    for (int i = 0; i < r; ++i) {
        for (int j = 0; j < r; ++j) m[i * r + j] = i == j ? 1.0 : 0.0;
    }
}

void crossproduct(int m, int n, const double* A, const double* B, double* C) {
    if (m != 3 || n != 3) return;
    C[0] = A[1] * B[2] - A[2] * B[1];
    C[1] = A[2] * B[0] - A[0] * B[2];
    C[2] = A[0] * B[1] - A[1] * B[0];
}

void normalize_vector(int n, double* x) {
    if (x == nullptr) return;
    const double length = norm(n, x);
    if (std::fabs(length) < 1e-18) return;
    for (int i = 0; i < n; ++i) x[i] /= length;
}

void negative_vector(int n, double* x) {
    if (x == nullptr) return;
    for (int i = 0; i < n; ++i) x[i] = -x[i];
}

double norm(int n, double* x) { return std::sqrt(norm2(n, x)); }

double norm2(int n, double* x) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum += x[i] * x[i];
    return sum;
}

double dotproduct(int m, int n, const double* A, const double* B) {
    if (m != n) {
        report(ULOG_ERROR_LEVEL, "dotproduct failed due to number of elements are not equal");
        return 0.0;
    }
    double sum = 0.0;
    for (int i = 0; i < m; ++i) sum += A[i] * B[i];
    return sum;
}

void ArrayAddition(int m, double* A1, double* A2, double* A3) {
    for (int i = 0; i < m; ++i) A3[i] = A1[i] + A2[i];
}

double Round(double a) { return a > 0 ? std::floor(a + 0.5) : std::ceil(a - 0.5); }

int nearest_integer(double x) {
    const double nearest = x < 0 ? -std::floor(0.5 - x) : std::floor(x + 0.5);
    return to_int(nearest);
}

namespace {

/// Work of ludcmp.
struct DecompositionWork {
    Work<double> scale;  ///< implicit scale of each row
    Work<double> sums;   ///< sums of products of the column in work

    DecompositionWork(Memory& memory, int nn, int n)
        : scale(memory, area(std::max(n, nn), 1)), sums(memory, scale.size()) {}
};

int decompose(double* A, int nn, int n, int* indx, double* d, const DecompositionWork& work) {
    const Work<double>& vv = work.scale;
    const Work<double>& sums = work.sums;
    *d = 1.0;
    for (int i = 0; i < nn; ++i) {
        double big = 0.0;
        for (int j = 0; j < nn; ++j) big = std::max(big, std::fabs(A[i + j * n]));
        if (big < kTiny) {
            report(ULOG_CRITICAL_LEVEL, "matrix singular!!");
            return -1;
        }
        vv[i] = 1.0 / big;
    }
    for (int j = 0; j < nn; ++j) {
        // Column j, for all rows at once: sums[i] gathers A(i,k) * A(k,j) in ascending k, as soon as A(k,j) is final.
        double* column = A + j * n;
        std::fill(sums.begin(), sums.end(), 0.0);
        run_widest([=, sum = sums.data()](auto) LEOPOD_KERNEL {
            for (int k = 0; k < j; ++k) {
                column[k] -= sum[k];
                add_scaled(nn - k - 1, column[k], A + k * n + k + 1, sum + k + 1);
            }
        });
        double big = 0.0;
        int imax = j;
        for (int i = j; i < nn; ++i) {
            column[i] -= sums[i];
            const double t = vv[i] * std::fabs(column[i]);
            if (t >= big) {  // settled: the last of equal candidates is the pivot
                big = t;
                imax = i;
            }
        }
        if (imax != j) {
            for (int k = 0; k < nn; ++k) std::swap(A[imax + k * n], A[j + k * n]);
            *d = -*d;
            vv[imax] = vv[j];
        }
        indx[j] = imax;
        if (std::fabs(column[j]) < kTiny) {
            column[j] = kTiny;
            return -1;  // settled: silently; the text "matrix dialog element %d < %lf" is not reported
        }
        if (j != n - 1) {
            const double factor = 1.0 / column[j];
            for (int i = j + 1; i < nn; ++i) column[i] *= factor;
        }
    }
    return 0;
}

}  // namespace

int ludcmp(double* A, int nn, const int n, int* indx, double* d) {
    Memory memory("ludcmp");
    const DecompositionWork work(memory, nn, n);
    return memory.missing() ? -1 : decompose(A, nn, n, indx, d, work);
}

namespace {

constexpr int kLines = 32;  ///< right-hand sides that are solved at once, at most

/// Solves with the factors of ludcmp, element (i,j) at rows[i * nn + j], for a few Quads of right-hand sides; element i of side r is
/// b[i * lines + r].
template <bool wide, int quads>
LEOPOD_KERNEL inline void substitute(const double* rows, int nn, const int* indx, double* b) {
    constexpr int lines = quads * kQuad;
    using Sums = std::array<FourSums<wide>, quads>;
    const auto load_line = [b](int i) LEOPOD_KERNEL {
        Sums sums;
        for (int q = 0; q < quads; ++q) sums[q].set(load(b + i * lines + q * kQuad));
        return sums;
    };
    const auto subtract = [b](Sums& sums, double a, int j) LEOPOD_KERNEL {
        for (int q = 0; q < quads; ++q) sums[q].add(-a * load(b + j * lines + q * kQuad));
    };
    int first = -1;  // row with a right-hand side above kTiny
    for (int i = 0; i < nn; ++i) {
        double* const target = b + i * lines;
        if (indx[i] != i) std::swap_ranges(target, target + lines, b + indx[i] * lines);
        if (first < 0 && std::any_of(target, target + lines, [](double x) { return std::fabs(x) > kTiny; })) first = i;
        if (first < 0) continue;
        Sums sums = load_line(i);
        for (int j = first; j < i; ++j) subtract(sums, rows[i * nn + j], j);
        for (int q = 0; q < quads; ++q) store(target + q * kQuad, sums[q].value());
    }
    for (int i = nn - 1; i >= 0; --i) {
        Sums sums = load_line(i);
        for (int j = i + 1; j < nn; ++j) subtract(sums, rows[i * nn + j], j);
        for (int q = 0; q < quads; ++q) store(b + i * lines + q * kQuad, sums[q].value() / rows[i * nn + i]);
    }
}

/// Stored lines of the inverse from `first` on, each the solution for a unit vector.
template <bool wide, int quads>
LEOPOD_KERNEL inline void inverse_lines(const double* rows, int nn, const int* indx, int first, double* b, double* A,
                                        int n) {
    constexpr int lines = quads * kQuad;
    const int width = std::min(lines, nn - first);
    std::fill_n(b, nn * lines, 0.0);
    for (int r = 0; r < width; ++r) b[(first + r) * lines + r] = 1.0;
    substitute<wide, quads>(rows, nn, indx, b);
    for (int r = 0; r < width; ++r) {
        for (int i = 0; i < nn; ++i) A[(first + r) * n + i] = b[i * lines + r];
    }
}

/// All of them. Many go at once; the zeros that a line then takes part in ahead of its own 1 change no bit of it.
template <bool wide>
LEOPOD_KERNEL inline void inverse_from_factors(const double* rows, int nn, const int* indx, double* b, double* A,
                                               int n) {
    for (int first = 0; first < nn;) {
        const int left = nn - first;
        if (left > 24 && wide) {
            inverse_lines<wide, 8>(rows, nn, indx, first, b, A, n), first += 32;
        } else if (left > 16 && wide) {
            inverse_lines<wide, 6>(rows, nn, indx, first, b, A, n), first += 24;
        } else if (left > 8) {
            inverse_lines<wide, 4>(rows, nn, indx, first, b, A, n), first += 16;
        } else if (left > 4) {
            inverse_lines<wide, 2>(rows, nn, indx, first, b, A, n), first += 8;
        } else {
            inverse_lines<wide, 1>(rows, nn, indx, first, b, A, n), first += 4;
        }
    }
}

}  // namespace

void lubksb(const double* A, int nn, int n, const int* indx, double* b) {
    int first = -1;  // row with a right-hand side above kTiny
    for (int i = 0; i < nn; ++i) {
        std::swap(b[i], b[indx[i]]);
        if (first < 0 && std::fabs(b[i]) > kTiny) first = i;
        if (first < 0) continue;
        for (int j = first; j < i; ++j) b[i] -= A[i + j * n] * b[j];
    }
    for (int i = nn - 1; i >= 0; --i) {
        for (int j = i + 1; j < nn; ++j) b[i] -= A[i + j * n] * b[j];
        b[i] /= A[i + i * n];
    }
}

int matrix_zero_check(double* A, int n, int N) {
    static const double threshold = 1e-13;
    int count = 0;
    for (int i = 0; i < n; ++i) {
        if (std::fabs(norm(N, A + i * N)) > threshold) ++count;
    }
    return count;
}

namespace {

/// Work of matinv.
struct InverseWork {
    Work<double> B;  ///< copy of the block with the stride of the matrix
    Work<int> indx;
    DecompositionWork decomposition;
    Work<double> lines, rows;

    InverseWork(Memory& memory, int nn, int n)
        : B(memory, area(n, n), kUnset),
          indx(memory, area(n, 1)),
          decomposition(memory, nn, n),
          lines(memory, area(nn, kLines), kUnset),
          rows(memory, area(nn, nn), kUnset) {}
};

int invert(double* A, int nn, int n, const InverseWork& work) {
    if (nn <= 0 || nn > n) return 0;
    const Work<double>& B = work.B;
    const Work<double>& lines = work.lines;
    const Work<double>& rows = work.rows;
    const int* const indx = work.indx.data();
    for (int i = 0; i < nn; ++i) std::copy_n(A + i * n, nn, B.data() + i * n);

    double d = 0.0;
    const int info = decompose(B.data(), nn, n, work.indx.data(), &d, work.decomposition);
    if (info != 0) {
        report(ULOG_WARNING_LEVEL, "ludcmp return %d\n", info);
        return info;
    }
    for (int i = 0; i < nn; ++i) {
        for (int j = 0; j < nn; ++j) rows[i * nn + j] = B[i + j * n];
    }
    run_widest([&, row = rows.data(), line = lines.data()](auto wide)
                   LEOPOD_KERNEL { inverse_from_factors<decltype(wide)::value>(row, nn, indx, line, A, n); });
    return 0;
}

}  // namespace

int matinv(double* A, int nn, const int n) {
    if (nn <= 0 || nn > n) return 0;
    Memory memory("matinv");
    const InverseWork work(memory, nn, n);
    return memory.missing() ? -1 : invert(A, nn, n, work);
}

// --- least squares ---------------------------------------------------------------------------------------------------

namespace {

constexpr double kThresholdNonZero = 1e-14;  ///< on the sum of magnitudes of a column or row

/// Solves the reduced normal equations N (s x s) dx = rhs; N becomes its inverse. Returns 0 or -1.
int solve_reduced(const Work<double>& N, const Work<double>& rhs, int s, const Work<double>& dx,
                  const InverseWork& work, const char* failure) {
    const int info = invert(N.data(), s, s, work);
    if (info != 0) {
        report(ULOG_ERROR_LEVEL, "%s", failure);
        return info;
    }
    matrixMultiply(s, s, N.data(), 1, rhs.data(), dx.data());
    return 0;
}

/// Writes the reduced solution and its inverse to the places of the active parameters; x and Q (stride) may be null.
void scatter(const int* idx, int s, int stride, const Work<double>& dx, const Work<double>& inverse, double* x,
             double* Q) {
    for (int i = 0; i < s; ++i) {
        if (x != nullptr) x[idx[i]] = dx[i];
        for (int j = 0; Q != nullptr && j < s; ++j) Q[idx[i] * stride + idx[j]] = inverse[i * s + j];
    }
}

}  // namespace

int solve_lsq(double* A, double* y, const int n, const int m, double* x, double* Q) {
    if (n < m) {
        report(ULOG_ERROR_LEVEL, "matrix is rank defeat in solve_lsq!");
        return -1;
    }
    Memory memory("solve_lsq");
    const Work<int> idx(memory, area(m, 1));
    if (memory.missing()) return -1;
    int s = 0;
    for (int j = 0; j < m; ++j) {
        double sum = 0.0;
        for (int i = 0; i < n; ++i) sum += std::fabs(A[i * m + j]);
        if (sum > kThresholdNonZero) idx[s++] = j;
    }

    const Work<double> B(memory, area(n, s)), BT(memory, area(s, n)), BTB(memory, area(s, s));
    const Work<double> BTy(memory, area(s, 1)), dx(memory, area(s, 1));
    const InverseWork inverse(memory, s, s);
    if (memory.missing()) return -1;
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < s; ++j) B[i * s + j] = A[i * m + idx[j]];
    }
    matrixTranspose(n, s, B.data(), BT.data());
    matrixMultiply(s, n, BT.data(), s, B.data(), BTB.data());
    matrixMultiply(s, n, BT.data(), 1, y, BTy.data());

    const int info = solve_reduced(BTB, BTy, s, dx, inverse, "matrix inversion error in solve_lsq()");
    if (info != 0) return info;
    scatter(idx.data(), s, m, dx, BTB, x, Q);  // settled: inactive parameters keep what the caller had there
    return s;
}

int solve_lsq_normal(double* BTWB, double* BTWL, int n, double* x, double* Q) {
    return std::max(solve_normal(BTWB, BTWL, n, x, Q), -1);
}

int leopod::solve_normal(double* BTWB, double* BTWL, int n, double* x, double* Q) {
    Memory memory("solve_lsq_normal");
    const Work<int> idx(memory, area(n, 1));
    if (memory.missing()) return kNoMemory;
    int s = 0;
    for (int i = 0; i < n; ++i) {
        double sum = 0.0;
        for (int j = 0; j < n; ++j) sum += std::fabs(BTWB[i * n + j]);
        if (sum >= kThresholdNonZero) idx[s++] = i;  // settled: at the threshold, unlike solve_lsq
    }

    const Work<double> N(memory, area(s, s), kUnset), rhs(memory, area(s, 1), kUnset), dx(memory, area(s, 1));
    const InverseWork inverse(memory, s, s);
    if (memory.missing()) return kNoMemory;
    for (int i = 0; i < s; ++i) {
        for (int j = 0; j < s; ++j) N[i * s + j] = BTWB[idx[i] * n + idx[j]];
        rhs[i] = BTWL[idx[i]];
    }

    if (solve_reduced(N, rhs, s, dx, inverse, "matrix inversion error in solve_lsq_normal!") != 0) return -1;
    if (x != nullptr) std::fill_n(x, area(n, 1), 0.0);
    if (Q != nullptr) std::fill_n(Q, area(n, n), 0.0);
    scatter(idx.data(), s, n, dx, N, x, Q);
    return s;
}

// --- sequential filters ----------------------------------------------------------------------------------------------

namespace {

/// Work of filter_.
struct FilterWork {
    Work<double> Q, HT, PHT, K, Kv, I_KH;
    InverseWork inverse;

    FilterWork(Memory& memory, int n, int m)
        : Q(memory, area(m, m), kUnset),
          HT(memory, area(n, m), kUnset),
          PHT(memory, area(n, m), kUnset),
          K(memory, area(n, m), kUnset),
          Kv(memory, area(n, 1), kUnset),
          I_KH(memory, area(n, n), kUnset),
          inverse(memory, m, m) {}
};

int update(double* x, double* P, double* H, double* v, double* R, int n, int m, double* xp, double* Pp,
           const FilterWork& w) {
    std::copy_n(x, area(n, 1), xp);

    matrixTranspose(m, n, H, w.HT.data());
    double* const HP = w.K.data();  // until the gain takes its place
    matrixMultiply(m, n, H, n, P, HP);
    matrixMultiply(m, n, HP, m, w.HT.data(), w.Q.data());
    for (std::size_t i = 0; i < w.Q.size(); ++i) w.Q[i] = R[i] + w.Q[i];
    const int info = invert(w.Q.data(), m, m, w.inverse);
    if (info != 0) return info;

    matrixMultiply(n, n, P, m, w.HT.data(), w.PHT.data());
    matrixMultiply(n, m, w.PHT.data(), m, w.Q.data(), w.K.data());
    matrixMultiply(n, m, w.K.data(), 1, v, w.Kv.data());
    ArrayAddition(n, x, w.Kv.data(), xp);

    matrixMultiply(n, m, w.K.data(), n, H, w.I_KH.data());
    for (int i = 0; i < n; ++i) {
        for (int j = 0; j < n; ++j) w.I_KH[i * n + j] = (i == j ? 1.0 : 0.0) - w.I_KH[i * n + j];
    }
    matrixMultiply(n, n, w.I_KH.data(), n, P, Pp);
    return 0;
}

}  // namespace

int filter_(double* x, double* P, double* H, double* v, double* R, int n, int m, double* xp, double* Pp) {
    Memory memory("filter_");
    const FilterWork work(memory, n, m);
    return memory.missing() ? -1 : update(x, P, H, v, R, n, m, xp, Pp, work);
}

namespace {

/// The indices of some rows or columns, ascending.
struct Indices {
    const int* at;
    int count;
    const int* begin() const { return at; }
    const int* end() const { return at + count; }
};
constexpr int kFirst = 0;
constexpr Indices kSingle = {&kFirst, 1};  ///< the column of a vector

/// Which states and measurements take part in an update: flags of all of them, and the indices of the active ones.
struct Selection {
    Work<char> ix_non_zero, jx_non_zero;
    Work<int> ix_all, jx_all;
    int nn = 0, mm = 0;

    Selection(Memory& memory, int n, int m)
        : ix_non_zero(memory, area(n, 1)),
          jx_non_zero(memory, area(m, 1)),
          ix_all(memory, area(n, 1)),
          jx_all(memory, area(m, 1)) {}
    Indices ix() const { return {ix_all.data(), nn}; }
    Indices jx() const { return {jx_all.data(), mm}; }
};

/// A state is active when |x| is above the threshold and its variance positive, a measurement when its variance is positive.
void select_active(const double* x, const double* P, const double* R, int n, int m, double threshold,
                   Selection& active) {
    for (int i = 0; i < n; ++i) {
        active.ix_non_zero[i] = std::fabs(x[i]) > threshold && P[i * n + i] > 0.0;
        if (active.ix_non_zero[i]) active.ix_all[active.nn++] = i;
    }
    for (int j = 0; j < m; ++j) {
        active.jx_non_zero[j] = R[j * m + j] > 0.0;
        if (active.jx_non_zero[j]) active.jx_all[active.mm++] = j;
    }
}

/// Copy of the rows and columns of a matrix that are listed; dense.
void gather(const double* M, int stride, Indices rows, Indices cols, const Work<double>& block) {
    double* out = block.data();
    for (const int i : rows) {
        for (const int j : cols) *out++ = M[i * stride + j];
    }
}

}  // namespace

int kalman_filter(double* x, double* P, double* H, double* v, double* R, int n, int m) {
    return std::max(filter_active(x, P, H, v, R, n, m), -1);
}

int leopod::filter_active(double* x, double* P, double* H, double* v, double* R, int n, int m) {
    Memory memory("kalman_filter");
    Selection active(memory, n, m);
    if (memory.missing()) return kNoMemory;
    select_active(x, P, R, n, m, 1e-14, active);
    const int nn = active.nn, mm = active.mm;
    const Work<double> x_(memory, area(nn, 1), kUnset), P_(memory, area(nn, nn), kUnset);
    const Work<double> H_(memory, area(mm, nn), kUnset), v_(memory, area(mm, 1), kUnset),
        R_(memory, area(mm, mm), kUnset);
    const Work<double> xp_(memory, area(nn, 1)), Pp_(memory, area(nn, nn));
    const FilterWork work(memory, nn, mm);
    if (memory.missing()) return kNoMemory;
    gather(x, 1, active.ix(), kSingle, x_);
    gather(P, n, active.ix(), active.ix(), P_);
    gather(H, n, active.jx(), active.ix(), H_);
    gather(v, 1, active.jx(), kSingle, v_);
    gather(R, m, active.jx(), active.jx(), R_);

    const int info =
        update(x_.data(), P_.data(), H_.data(), v_.data(), R_.data(), nn, mm, xp_.data(), Pp_.data(), work);

    // settled: written back whatever the outcome; after a failure the active block of P is void (zeros).
    scatter(active.ix_all.data(), nn, n, xp_, Pp_, x, P);
    return info;
}

namespace {

/// Work of filter_embed.
struct EmbedWork {
    Work<double> HPHT_R, K_row, Pp, I_KH;
    InverseWork inverse;

    EmbedWork(Memory& memory, int n, int m)
        : HPHT_R(memory, area(m, m)),
          K_row(memory, area(m, 1)),
          Pp(memory, area(n, n)),
          I_KH(memory, area(n, 1)),
          inverse(memory, m, m) {}
};

void update_embed(double* x, double* P, double* H, double* v, double* R, int n, int m, int max_n, int max_m,
                  const EmbedWork& work) {
    const Work<double>& HPHT_R = work.HPHT_R;
    const Work<double>& K_row = work.K_row;
    const Work<double>& Pp = work.Pp;
    const Work<double>& I_KH = work.I_KH;
    matrixMultiply3_HPHT(m, n, n, H, P, HPHT_R.data(), max_n, max_n, m);
    for (int i = 0; i < m; ++i) {
        for (int j = 0; j < m; ++j) HPHT_R[i * m + j] += R[i * max_m + j];
    }
    // settled: the outcome is not examined; a singular matrix is used as it is
    invert(HPHT_R.data(), m, m, work.inverse);

    for (int i = 0; i < n; ++i) {
        std::fill(K_row.begin(), K_row.end(), 0.0);
        for (int l = 0; l < m; ++l) {
            double sum = 0.0;
            for (int k = 0; k < n; ++k) sum += H[l * max_n + k] * P[i * max_n + k];
            for (int j = 0; j < m; ++j) K_row[j] += sum * HPHT_R[j * m + l];
        }
        double correction = 0.0;
        for (int j = 0; j < m; ++j) correction += K_row[j] * v[j];
        x[i] += correction;

        std::fill(I_KH.begin(), I_KH.end(), 0.0);
        for (int l = 0; l < m; ++l) add_scaled(n, K_row[l], H + l * max_n, I_KH.data());
        for (int j = 0; j < n; ++j) I_KH[j] = (i == j ? 1.0 : 0.0) - I_KH[j];
        for (int k = 0; k < n; ++k) add_scaled(n, I_KH[k], P + k * max_n, Pp.data() + i * n);
    }

    std::fill_n(P, area(max_n, max_n), 0.0);
    for (int i = 0; i < n; ++i) std::copy_n(Pp.data() + i * n, n, P + i * max_n);
}

}  // namespace

int filter_embed(double* x, double* P, double* H, double* v, double* R, int n, int m, int max_n, int max_m) {
    if (n > max_n || m > max_m) return 0;
    Memory memory("filter_embed");
    const EmbedWork work(memory, n, m);
    if (memory.missing()) return -1;
    update_embed(x, P, H, v, R, n, m, max_n, max_m, work);
    return 0;
}

namespace {

/// Moves the listed rows and columns of a matrix of row_count rows to its top left, stride kept; the rest becomes zero.
void compact(double* M, int row_count, int stride, Indices rows, Indices cols) {
    for (int i = 0; i < row_count; ++i) {
        double* row = M + i * stride;
        const int kept = i < rows.count ? cols.count : 0;
        for (int j = 0; j < kept; ++j) row[j] = M[rows.at[i] * stride + cols.at[j]];
        std::fill(row + kept, row + stride, 0.0);
    }
}

/// Moves a compacted vector back to the places flagged as active, from the end so that nothing is overwritten early;
/// `count` is the number of active places. Other places become zero.
void expand_row(const double* from, double* to, const Work<char>& flags, int count) {
    for (std::size_t j = flags.size(); j-- > 0;) to[j] = flags[j] ? from[--count] : 0.0;
}

}  // namespace

int kalman_filter_embed(double* x, double* P, double* H, double* v, double* R, int n, int m) {
    Memory memory("kalman_filter_embed");
    Selection active(memory, n, m);
    if (memory.missing()) return -1;
    select_active(x, P, R, n, m, 1e-16, active);
    const int nn = active.nn, mm = active.mm;
    const EmbedWork work(memory, nn, mm);
    if (memory.missing()) return -1;
    compact(x, n, 1, active.ix(), kSingle);
    compact(v, m, 1, active.jx(), kSingle);
    compact(P, n, n, active.ix(), active.ix());
    compact(H, m, n, active.jx(), active.ix());
    compact(R, m, m, active.jx(), active.jx());

    update_embed(x, P, H, v, R, nn, mm, n, m, work);

    // settled: inactive entries come back as zeros; H and R stay compacted
    expand_row(x, x, active.ix_non_zero, nn);
    expand_row(v, v, active.jx_non_zero, mm);
    int compacted = nn;
    for (int i = n - 1; i >= 0; --i) {
        if (active.ix_non_zero[i]) {
            --compacted;
            expand_row(P + compacted * n, P + i * n, active.ix_non_zero, nn);
        } else {
            std::fill_n(P + i * n, n, 0.0);
        }
    }
    return 0;
}

int smoother(double* xf, double* Qf, double* xb, double* Qb, int n, double* xs, double* Qs) {
    Memory memory("smoother");
    const Work<double> invQf(memory, area(n, n)), invQb(memory, area(n, n));
    const Work<double> weighted(memory, area(n, 1)), weighted_b(memory, area(n, 1));
    const InverseWork work(memory, n, n);
    if (memory.missing()) return -1;
    std::copy_n(Qf, invQf.size(), invQf.data());
    std::copy_n(Qb, invQb.size(), invQb.data());
    const int info_f = invert(invQf.data(), n, n, work);
    const int info_b = invert(invQb.data(), n, n, work);
    if (info_f != 0 || info_b != 0) return -1;

    for (std::size_t i = 0; i < invQf.size(); ++i) Qs[i] = invQf[i] + invQb[i];
    const int info = invert(Qs, n, n, work);
    if (info != 0) return info;

    matrixMultiply(n, n, invQf.data(), 1, xf, weighted.data());
    matrixMultiply(n, n, invQb.data(), 1, xb, weighted_b.data());
    ArrayAddition(n, weighted.data(), weighted_b.data(), weighted.data());
    matrixMultiply(n, n, Qs, 1, weighted.data(), xs);
    return 0;
}

// --- interpolation and fits ------------------------------------------------------------------------------------------

namespace {

constexpr int kLocalSize = 64;  ///< interpolation works on the stack up to this many points, on the heap beyond

std::size_t heap_size(int n) { return n > kLocalSize ? area(n, 1) : 0; }

}  // namespace

double interpolation_Neville(int n, double* x, double* y, double xt) {
    if (n <= 0) return 0.0;
    for (int i = 1; i < n; ++i) {
        for (int j = 0; j < n - i; ++j) {
            y[j] = (y[j + 1] * (xt - x[j]) - y[j] * (xt - x[i + j])) / (x[i + j] - x[j]);
        }
    }
    return y[0];
}

double interpolation_Lagrange(double* x, double* y, int n, double xt) {
    double sum = 0.0;
    for (int i = 0; i < n; ++i) {
        double product = 1.0;
        for (int j = 0; j < n; ++j) {
            if (j != i) product *= (xt - x[j]) / (x[i] - x[j]);
        }
        sum += y[i] * product;
    }
    return sum;
}

namespace {

constexpr double kNode = 1e-12;  ///< abscissae this close are the same

/// Gate of the barycentric form: no extrapolation.
bool within_abscissae(const double* x, int n, double xt) {
    constexpr const char* kName = "interpolation_Lagrange_Barycentric";
    if (n <= 0) return false;
    if (xt - x[0] < -kNode) {
        report_at(ULOG_ERROR_LEVEL, "mathlib", __LINE__, kName,
                  "interpolation_Lagrange_Barycentric() %lf is less than the begining(%lf) of dataset\n", xt, x[0]);
        return false;
    }
    if (xt - x[n - 1] > kNode) {
        report_at(ULOG_ERROR_LEVEL, "mathlib", __LINE__, kName,
                  "interpolation_Lagrange_Barycentric() %lf is greater than the end(%lf) of dataset!\n", xt, x[n - 1]);
        return false;
    }
    return true;
}

void barycentric_weights(const double* x, int n, double* w) {
    for (int i = 0; i < n; ++i) {
        double product = 1.0;
        for (int j = 0; j < n; ++j) {
            if (j != i) product *= x[i] - x[j];
        }
        w[i] = 1.0 / product;
    }
}

/// Value and derivative at xt with the weights of the abscissae; element i of y stands at y[i * stride].
void barycentric_value(const double* x, const double* w, int n, const double* y, int stride, double xt, double* yt) {
    double sum1 = 0.0;
    double sum2 = 0.0;
    for (int i = 0; i < n; ++i) {
        const double yi = y[i * stride];
        if (std::fabs(xt - x[i]) < kNode) {
            double sum = 0.0;
            for (int j = 0; j < n; ++j) {
                if (j != i) sum += (y[j * stride] - yi) * w[j] / (x[j] - x[i]);
            }
            yt[0] = yi;
            yt[1] = -sum / w[i];
            return;
        }
        sum1 += yi * w[i] / (xt - x[i]);
        sum2 += w[i] / (xt - x[i]);
    }
    const double value = sum1 / sum2;
    double sum = 0.0;
    for (int i = 0; i < n; ++i) sum += (value - y[i * stride]) * (w[i] / (xt - x[i])) / (xt - x[i]);
    yt[0] = value;
    yt[1] = sum / sum2;
}

}  // namespace

bool interpolation_Lagrange_Barycentric(double* x, double* y, const int n, double xt, double* yt) {
    if (!within_abscissae(x, n, xt)) return false;
    Memory memory("interpolation_Lagrange_Barycentric");
    const Work<double> heap(memory, heap_size(n));
    if (memory.missing()) return false;
    double local[kLocalSize];
    double* const w = heap.size() == 0 ? local : heap.data();
    barycentric_weights(x, n, w);
    barycentric_value(x, w, n, y, 1, xt, yt);
    return true;
}

namespace {

/// Index of the first abscissa at xt; -1 where there is none.
int node_at(const double* x, int n, double xt) {
    for (int i = 0; i < n; ++i) {
        if (std::fabs(xt - x[i]) < kNode) return i;
    }
    return -1;
}

/// Values, and rates unless null, of all columns of a table of n x m between the abscissae, four columns at a time, as barycentric_value
/// gives them.
void barycentric_values(const double* x, const double* w, int n, int m, const double* y, double xt, double* yt,
                        double* rate) {
    double sum2 = 0.0;
    for (int i = 0; i < n; ++i) sum2 += w[i] / (xt - x[i]);
    run_widest([=](auto wide) LEOPOD_KERNEL {
        int j = 0;
        for (; j + kQuad <= m; j += kQuad) {
            FourSums<wide> sum1;
            for (int i = 0; i < n; ++i) sum1.add(load(y + i * m + j) * w[i] / (xt - x[i]));
            const Quad value = sum1.value() / sum2;
            store(yt + j, value);
            if (rate == nullptr) continue;
            FourSums<wide> sum;
            for (int i = 0; i < n; ++i) {
                sum.add((value - load(y + i * m + j)) * (w[i] / (xt - x[i])) / (xt - x[i]));
            }
            store(rate + j, sum.value() / sum2);
        }
        for (; j < m; ++j) {
            double sum1 = 0.0;
            for (int i = 0; i < n; ++i) sum1 += y[i * m + j] * w[i] / (xt - x[i]);
            yt[j] = sum1 / sum2;
            if (rate == nullptr) continue;
            double sum = 0.0;
            for (int i = 0; i < n; ++i) sum += (yt[j] - y[i * m + j]) * (w[i] / (xt - x[i])) / (xt - x[i]);
            rate[j] = sum / sum2;
        }
    });
}

}  // namespace

void interpolation_multip_dimension(const int n, const int m, double* x, double* y, double xt, double* yt,
                                    double* yt_derivative) {
    if (yt == nullptr) {
        report(ULOG_ERROR_LEVEL, "interpolation_multip_dimension() error!");
        return;
    }
    Memory memory("interpolation_multip_dimension");
    const Work<double> heap(memory, heap_size(n));
    if (memory.missing()) return;
    double local[kLocalSize];
    double* const w = heap.size() == 0 ? local : heap.data();
    barycentric_weights(x, n, w);  // the same for all columns
    const bool within = m < 1 || within_abscissae(x, n, xt);
    for (int j = 1; j < m && !within; ++j) within_abscissae(x, n, xt);  // logs once a column
    const int node = within ? node_at(x, n, xt) : -1;
    if (within && node < 0) return barycentric_values(x, w, n, m, y, xt, yt, yt_derivative);
    if (within && yt_derivative == nullptr) {
        std::copy_n(y + node * m, area(m, 1), yt);
        return;
    }
    for (int j = 0; j < m; ++j) {
        double result[2] = {0.0, 0.0};  // settled: stays zero when xt is out of range; the outcome is not examined
        if (within) barycentric_value(x, w, n, y + j, m, xt, result);
        yt[j] = result[0];
        if (yt_derivative != nullptr) yt_derivative[j] = result[1];
    }
}

void linear_fit(double* x, double* y, int np, double* param) {
    double S = 0.0, Sxx = 0.0, Sy = 0.0, Sxy = 0.0;
    for (int i = 0; i < np; ++i) {
        S += x[i];
        Sxx += x[i] * x[i];
        Sy += y[i];
        Sxy += x[i] * y[i];
    }
    const double det = np * Sxx - S * S;
    param[0] = (np * Sxy - S * Sy) / det;
    param[1] = (Sxx * Sy - S * Sxy) / det;
}

unsigned int quadraticSolver(double* ce, double* roots) {
    const double d = ce[0] * ce[0] / 4 - ce[1];
    if (d < 0) return 0;
    roots[0] = -ce[0] / 2 + std::sqrt(d);
    roots[1] = -ce[0] - roots[0];
    return 2;
}

// --- statistics ------------------------------------------------------------------------------------------------------

double get_max(double* x, const int n, double threshold) {
    double max = DBL_MIN;  // settled: the smallest normal double, so all-negative data yields it
    for (int i = 0; i < n; ++i) {
        if (std::fabs(x[i]) < threshold && x[i] > max)
            max = x[i];  // settled: strictly under the gate, unlike the others
    }
    return max;
}

double get_min(double* x, const int n, double threshold) {
    double min = DBL_MAX;
    for (int i = 0; i < n; ++i) {
        if (std::fabs(x[i]) <= threshold && x[i] < min) min = x[i];
    }
    return min;
}

namespace {

/// Mean of f(x) over the elements within the gate; 0 without any.
template <typename F>
double gated_mean(const double* x, int n, double threshold, F f) {
    double sum = 0.0;
    int count = 0;
    for (int i = 0; i < n; ++i) {
        if (std::fabs(x[i]) <= threshold) {
            sum += f(x[i]);
            ++count;
        }
    }
    return count > 0 ? sum / count : 0.0;
}

}  // namespace

double get_mean(double* x, const int n, double threshold) {
    return gated_mean(x, n, threshold, [](double value) { return value; });
}

double get_std(double* x, const int n, double threshold) {
    const double mean = get_mean(x, n, threshold);
    return std::sqrt(gated_mean(x, n, threshold, [mean](double value) { return (value - mean) * (value - mean); }));
}

double get_rms(double* x, const int n, double threshold) {
    return std::sqrt(gated_mean(x, n, threshold, [](double value) { return value * value; }));
}

// --- Helmert transformation ------------------------------------------------------------------------------------------

namespace {

/// Rotation of the similarity transformation (row-major) and, where asked for, its derivatives by the three angles.
void helmert_rotation(const double* angles, double* R, double* dR_a = nullptr, double* dR_b = nullptr,
                      double* dR_c = nullptr) {
    const double sa = std::sin(angles[0]), ca = std::cos(angles[0]);
    const double sb = std::sin(angles[1]), cb = std::cos(angles[1]);
    const double sc = std::sin(angles[2]), cc = std::cos(angles[2]);
    const auto set = [](double* M, const std::array<double, 9>& rows) {
        if (M != nullptr) std::copy(rows.begin(), rows.end(), M);
    };
    set(R, {ca * cb, -sa * cc - ca * sb * sc, sa * sc - ca * sb * cc,  //
            sa * cb, ca * cc - sa * sb * sc, -ca * sc - sa * sb * cc,  //
            sb, cb * sc, cb * cc});
    set(dR_a, {-sa * cb, -ca * cc + sa * sb * sc, ca * sc + sa * sb * cc,  //
               ca * cb, -sa * cc - ca * sb * sc, sa * sc - ca * sb * cc,   //
               0.0, 0.0, 0.0});
    set(dR_b, {-ca * sb, -ca * cb * sc, -ca * cb * cc,  //
               -sa * sb, -sa * cb * sc, -sa * cb * cc,  //
               cb, -sb * sc, -sb * cc});
    set(dR_c, {0.0, sa * sc - ca * sb * cc, sa * cc + ca * sb * sc,    //
               0.0, -ca * sc - sa * sb * cc, -ca * cc + sa * sb * sc,  //
               0.0, cb * cc, -cb * sc});
}

}  // namespace

void HelmertTransform_3D(double* p, double* param, double* q) {
    double R[9], Rp[3];
    helmert_rotation(param + 4, R);
    matrixMultiply(3, 3, R, 1, p, Rp);
    for (int k = 0; k < 3; ++k) q[k] = (1.0 + param[3]) * Rp[k] + param[k];
}

void HelmertParameter_3D(int npoints, double (*q)[3], double (*p)[3], double* param) {
    if (param == nullptr) return;
    constexpr int nparam = 7;
    constexpr int iter_num_max = 20;
    const int points = std::clamp(npoints, 0, INT_MAX / 3);
    Memory memory("HelmertParameter_3D");
    const Work<double> B(memory, area(3 * points, nparam)), L(memory, area(3 * points, 1));
    if (memory.missing()) return;
    double state[nparam] = {0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0};  // tx, ty, tz, scale factor, a, b, c
    double test_convergency = 0.0;
    int iter_num = 0;
    for (;;) {
        double R[9], dR[3][9];
        helmert_rotation(state + 4, R, dR[0], dR[1], dR[2]);
        const double scale = state[3];
        for (int i = 0; i < points; ++i) {
            double Rp[3], dRp[3][3];
            matrixMultiply(3, 3, R, 1, p[i], Rp);
            for (int angle = 0; angle < 3; ++angle) matrixMultiply(3, 3, dR[angle], 1, p[i], dRp[angle]);
            for (int k = 0; k < 3; ++k) {
                double* row = B.data() + (3 * i + k) * nparam;
                for (int t = 0; t < 3; ++t) row[t] = t == k ? 1.0 : 0.0;
                row[3] = Rp[k];
                for (int angle = 0; angle < 3; ++angle) row[4 + angle] = scale * dRp[angle][k];
                L[3 * i + k] = q[i][k] - (scale * Rp[k] + state[k]);
            }
        }
        double X[nparam] = {};
        if (solve_lsq(B.data(), L.data(), 3 * points, nparam, X, nullptr) == -1) {
            report(ULOG_ERROR_LEVEL, "HelmertParameter_3D(), solve_lsq() return false!");
            return;
        }
        ++iter_num;
        test_convergency = norm(nparam, X);
        if (test_convergency < 1e-4 || iter_num > iter_num_max) break;  // settled: the last X is not applied
        ArrayAddition(nparam, state, X, state);
    }
    if (iter_num >= iter_num_max) {
        report(ULOG_WARNING_LEVEL, "HelmertParameter_3D(), iter_num[%d]>iter_num_max! test_convergency=%12.10lf",
               iter_num, test_convergency);
    }
    std::copy_n(state, nparam, param);
    param[3] = state[3] - 1.0;

    double rms[3] = {0.0, 0.0, 0.0};
    for (int i = 0; i < points; ++i) {
        for (int k = 0; k < 3; ++k) rms[k] += L[3 * i + k] * L[3 * i + k];
    }
    for (double& axis : rms) axis = std::sqrt(axis / points);
    report(ULOG_INFO_LEVEL, "HelmertParameter_3D(): Fit RMS: x=%10.8lf, y=%10.8lf, z=%10.8lf", rms[0], rms[1], rms[2]);
}
