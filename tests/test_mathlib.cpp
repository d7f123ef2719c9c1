// Matrix kernel, least squares, filters, interpolation, statistics and the Helmert transformation.
#include <cfloat>
#include <climits>
#include <cmath>
#include <random>

#include "keplerian_element.h"
#include "mathlib.h"
#include "support.h"

namespace {

using Array = std::vector<double>;

Array random_array(int count, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    Array values(count);
    for (double& value : values) value = uniform(generator);
    return values;
}

Array product(int r, int c, Array a, int c2, Array b) {
    Array result(r * c2, 7.0);
    matrixMultiply(r, c, a.data(), c2, b.data(), result.data());
    return result;
}

Array transposed(int r, int c, Array a) {
    Array t(a.size());
    matrixTranspose(r, c, a.data(), t.data());
    return t;
}

Array inverse(int n, Array a) {
    EXPECT_EQ(matinv(a.data(), n, n), 0);
    return a;
}

Array identity(int n) {
    Array m(n * n, 7.0);
    matrix_identical(n, m.data());
    return m;
}

/// A A^T + I of a random A.
Array random_spd(int n, unsigned seed) {
    Array a = random_array(n * n, seed), spd = product(n, n, a, n, transposed(n, n, a)), one = identity(n);
    ArrayAddition(n * n, spd.data(), one.data(), spd.data());
    return spd;
}

void expect_near(const Array& a, const Array& b, double tolerance) {
    ASSERT_EQ(a.size(), b.size());
    for (std::size_t i = 0; i < a.size(); ++i) EXPECT_NEAR(a[i], b[i], tolerance) << "element " << i;
}

using Places = std::vector<int>;
const Places kOne = {0};

Places first(int n) {
    Places places;
    for (int i = 0; i < n; ++i) places.push_back(i);
    return places;
}

/// A dense block spread over the given rows and columns of a larger matrix (r x c) filled with `fill`.
Array spread(const Array& block, const Places& rows, const Places& cols, int r, int c, double fill) {
    Array wide(r * c, fill);
    for (std::size_t i = 0; i < block.size(); ++i) wide[rows[i / cols.size()] * c + cols[i % cols.size()]] = block[i];
    return wide;
}

/// A measurement update with its solution by batch least squares: prior and measurements as one normal system.
struct Update {
    static constexpr int n = 4, m = 3;
    Array x = {1.5, -2.0, 0.3, 40.0}, P = random_spd(n, 1), H = random_array(m * n, 2), v = random_array(m, 3),
          R = random_spd(m, 4), x_batch = x, P_batch;
    Update() {
        const Array HtW = product(n, m, transposed(m, n, H), m, inverse(m, R));
        Array N = product(n, m, HtW, n, H), prior = inverse(n, P);
        ArrayAddition(n * n, N.data(), prior.data(), N.data());
        P_batch = inverse(n, N);
        Array dx = product(n, n, P_batch, 1, product(n, m, HtW, 1, v));
        ArrayAddition(n, x.data(), dx.data(), x_batch.data());
    }
    int run(int (*filter)(double*, double*, double*, double*, double*, int, int), int states, int measurements) {
        return filter(x.data(), P.data(), H.data(), v.data(), R.data(), states, measurements);
    }
};

}  // namespace

TEST(Matrix, InverseAndSolutionInsideALargerArray) {
    for (const int nn : {2, 7, 8, 9, 39}) {
        const int n = nn + 3;
        Array block = random_array(nn * nn, nn);
        block[0] = 0.0;  // a pivot must be searched for
        const Array given = spread(block, first(nn), first(nn), n, n, 5.0);
        Array a = given, inv(nn * nn);
        ASSERT_EQ(matinv(a.data(), nn, n), 0);
        for (int i = 0; i < nn * nn; ++i) inv[i] = a[i / nn * n + i % nn];
        expect_near(product(nn, nn, block, nn, inv), identity(nn), 1e-11);
        EXPECT_EQ(spread(inv, first(nn), first(nn), n, n, 5.0), a);  // nothing outside the block has changed

        Array lu = given, solution = random_array(nn, 9);
        std::vector<int> indx(nn);
        double sign = 0.0;
        ASSERT_EQ(ludcmp(lu.data(), nn, n, indx.data(), &sign), 0);
        Array b = product(1, nn, solution, nn, block);  // the factors are those of the transpose
        lubksb(lu.data(), nn, n, indx.data(), b.data());
        expect_near(b, solution, 1e-11);
    }
}

TEST(Matrix, SingularInputStaysUntouchedAndIsReported) {
    support::LogRecorder log;
    for (const Array& given :
         {Array{1, 2, 3, 0, 0, 0, 4, 5, 7}, {1, 0, 3, 4, 0, 6, 7, 0, 9}, {1, 2, 3, 1, 2, 3, 1, 2, 3}}) {
        Array a = given;
        EXPECT_EQ(matinv(a.data(), 3, 3), -1);
        EXPECT_EQ(a, given);
    }
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "ludcmp return -1\n"), 3);
    EXPECT_TRUE(log.has(ULOG_CRITICAL_LEVEL, "matrix singular!!"));
}

TEST(Matrix, VectorsAndRounding) {
    support::LogRecorder log;
    double ex[] = {1, 0, 0}, ey[] = {0, 1, 0}, out[] = {0, 0, 0}, rows[] = {3, 4, 1e-14, 0, 0, 2};
    crossproduct(3, 4, ex, ey, out);
    normalize_vector(3, out);
    EXPECT_EQ(norm(3, out), 0.0);  // neither has changed the null vector
    crossproduct(3, 3, ex, ey, out);
    EXPECT_EQ(out[2], 1.0);
    EXPECT_EQ(dotproduct(3, 2, ex, ex), 0.0);
    EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, "dotproduct failed due to number of elements are not equal"));
    EXPECT_EQ(matrix_zero_check(rows, 3, 2), 2);
    EXPECT_TRUE(std::signbit(Round(0.0)));
    EXPECT_TRUE(nearest_integer(-2.5) == -3 && nearest_integer(2.5) == 3 && nearest_integer(1e300) == INT_MAX);
}

TEST(LeastSquares, NullParametersDropOut) {
    const int n = 12, m = 4;
    Array A = random_array(n * m, 5), y = random_array(n, 6), x(m, 9.0), Q(m * m, 9.0), x_normal = x, Q_normal = Q;
    for (int i = 0; i < n; ++i) A[i * m + 2] = 0.0;
    const Array At = transposed(n, m, A);
    Array N = product(m, n, At, m, A), rhs = product(m, n, At, 1, y), projector = identity(m);
    ASSERT_EQ(solve_lsq(A.data(), y.data(), n, m, x.data(), Q.data()), m - 1);
    EXPECT_TRUE(x[2] == 9.0 && Q[2 * m + 2] == 9.0 && Q[2] == 9.0 && Q[2 * m] == 9.0);
    expect_near(product(m, n, At, 1, product(n, m, A, 1, x)), rhs, 1e-13);  // residuals orthogonal to the columns

    ASSERT_EQ(solve_lsq_normal(N.data(), rhs.data(), m, x_normal.data(), Q_normal.data()), m - 1);
    x[2] = projector[2 * m + 2] = 0.0;
    EXPECT_EQ(x_normal, x);
    expect_near(product(m, m, N, m, Q_normal), projector, 1e-12);
}

TEST(LeastSquares, FailuresLeaveTheResultsAlone) {
    support::LogRecorder log;
    Array A = {1, 1, 2, 2, 3, 3}, y = {1, 2, 3}, N = {1, 1, 1, 1}, zeros(6), x(2, 9.0);
    EXPECT_EQ(solve_lsq(A.data(), y.data(), 1, 2, x.data(), nullptr), -1);
    EXPECT_EQ(solve_lsq(A.data(), y.data(), 3, 2, x.data(), nullptr), -1);
    EXPECT_EQ(solve_lsq_normal(N.data(), y.data(), 2, x.data(), nullptr), -1);
    for (const char* text : {"matrix is rank defeat in solve_lsq!", "matrix inversion error in solve_lsq()",
                             "matrix inversion error in solve_lsq_normal!"}) {
        EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, text)) << text;
    }
    EXPECT_EQ(solve_lsq(zeros.data(), y.data(), 3, 2, x.data(), nullptr), 0);
    EXPECT_EQ(x, Array(2, 9.0));
}

TEST(Filter, AllFormsAgreeWithBatchLeastSquares) {
    const Update u;
    const Places ix = {0, 2, 3, 5}, jx = {1, 2, 4};  // places in a wide problem
    const int n = 6, m = 5;
    const auto wide = [&](double x_idle) {
        Update w;
        w.x = spread(u.x, ix, kOne, n, 1, x_idle);
        w.P = spread(u.P, ix, ix, n, n, 0.25);
        w.H = spread(u.H, jx, ix, m, n, 3.0);
        w.v = spread(u.v, jx, kOne, m, 1, 8.0);
        w.R = spread(u.R, jx, jx, m, m, 0.0);
        return w;
    };
    Update kept = wide(1e-15), zeroed = wide(1e-17), between = wide(1e-15);
    ASSERT_EQ(kept.run(kalman_filter, n, m), 0);
    expect_near(kept.x, spread(u.x_batch, ix, kOne, n, 1, 1e-15), 1e-12);
    EXPECT_EQ(kept.x[1], 1e-15);
    expect_near(kept.P, spread(u.P_batch, ix, ix, n, n, 0.25), 1e-12);

    ASSERT_EQ(zeroed.run(kalman_filter_embed, n, m), 0);
    expect_near(zeroed.x, spread(u.x_batch, ix, kOne, n, 1, 0.0), 1e-12);
    expect_near(zeroed.P, spread(u.P_batch, ix, ix, n, n, 0.0), 1e-12);
    EXPECT_EQ(zeroed.v, spread(u.v, jx, kOne, m, 1, 0.0));
    EXPECT_EQ(zeroed.H, spread(u.H, first(3), first(4), m, n, 0.0));  // consumed
    between.run(kalman_filter_embed, n, m);
    EXPECT_NE(between.P[1 * n + 1], 0.0);  // 1e-15 lies between the two thresholds
}

TEST(Filter, DegenerateUpdates) {
    const Update given;
    Update u, doubled;
    u.R = Array(9);
    EXPECT_EQ(u.run(kalman_filter, 4, 3), 0);  // no measurement left
    EXPECT_TRUE(u.x == given.x && u.P == given.P);

    doubled.H = {1, 0, 0, 0, 1, 0, 0, 0};  // one measurement entered twice
    doubled.R = {1, 1, 1, 1};
    EXPECT_NE(doubled.run(kalman_filter, 4, 2), 0);
    EXPECT_EQ(doubled.x, given.x);
    // P = 1, H = (1, 1), R of ones: the singular innovation matrix of twos stands in for its inverse, K = (4, 4)
    double x[] = {2, 0}, P[] = {1, 6, 6, 6}, H[] = {1, 0, 1, 0}, v[] = {1, 1};
    EXPECT_EQ(filter_embed(x, P, H, v, doubled.R.data(), 1, 2, 2, 2), 0);
    EXPECT_EQ(x[0], 10.0);
    EXPECT_EQ(Array(P, P + 4), Array({-7, 0, 0, 0}));  // the rest of the array is cleared

    double xf[] = {0.0}, xb[] = {10.0}, one[] = {1.0}, four[] = {4.0}, none[] = {0.0}, merged = 0.0, variance = 0.0;
    ASSERT_EQ(smoother(xf, one, xb, four, 1, &merged, &variance), 0);
    EXPECT_NEAR(merged, 2.0, 1e-15);
    EXPECT_NEAR(variance, 0.8, 1e-15);
    EXPECT_EQ(smoother(xf, one, xb, none, 1, &merged, &variance), -1);
}

TEST(Interpolation, PolynomialAndDerivativeBetweenAndAtNodes) {
    const auto f = [](double t) { return ((0.5 * t - 2.0) * t + 3.0) * t - 1.0; };
    const auto df = [](double t) { return (1.5 * t - 4.0) * t + 3.0; };
    for (const int n : {4, 70}) {  // within and beyond the local work array
        Array x(n), y(n);
        for (int i = 0; i < n; ++i) {
            x[i] = -2.0 * std::cos(M_PI * (i + 0.5) / n);
            y[i] = f(x[i]);
        }
        for (const double t : {x[0] - 1e-13, x[2], -0.3, 1.1, x[n - 1]}) {
            double yt[2];
            Array scratch = y;
            ASSERT_TRUE(interpolation_Lagrange_Barycentric(x.data(), y.data(), n, t, yt));
            EXPECT_NEAR(yt[0], f(t), 1e-10);
            EXPECT_NEAR(yt[1], df(t), 1e-8);
            EXPECT_NEAR(interpolation_Lagrange(x.data(), y.data(), n, t), f(t), 1e-10);
            EXPECT_NEAR(interpolation_Neville(n, x.data(), scratch.data(), t), f(t), 1e-10);
        }
    }
}

TEST(Interpolation, RangeGateAndColumns) {
    Array x = {0, 1, 2}, y = {0, 5, 1, 6, 4, 7};  // columns t^2 and t + 5
    double yt[4] = {9, 9}, rate[2];
    support::LogRecorder log;
    EXPECT_FALSE(interpolation_Lagrange_Barycentric(x.data(), y.data(), 3, -1e-11, yt));
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "is less than the begining(0.000000) of dataset\n>"), 1);
    EXPECT_EQ(yt[0], 9.0);
    interpolation_multip_dimension(3, 2, x.data(), y.data(), 1.5, yt, nullptr);
    interpolation_multip_dimension(3, 2, x.data(), y.data(), 1.0, yt + 2, rate);
    expect_near(Array(yt, yt + 4), {2.25, 6.5, 1.0, 6.0}, 1e-14);
    expect_near(Array(rate, rate + 2), {2.0, 1.0}, 1e-14);
    interpolation_multip_dimension(3, 2, x.data(), y.data(), 2.5, yt, rate);
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "2.500000 is greater than the end(2.000000) of dataset!\n>"), 2);
    EXPECT_TRUE(yt[0] == 0 && yt[1] == 0 && rate[0] == 0 && rate[1] == 0);
    interpolation_multip_dimension(3, 2, x.data(), y.data(), 1.0, nullptr, rate);
    EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, "interpolation_multip_dimension() error!"));
}

TEST(Statistics, FitsAndGates) {
    double t[] = {0, 1, 2}, y[] = {1, 3, 5}, param[2], roots[2] = {9, 9}, none[] = {0, 1}, two[] = {1, -6};
    linear_fit(t, y, 3, param);
    EXPECT_TRUE(param[0] == 2.0 && param[1] == 1.0);
    EXPECT_TRUE(quadraticSolver(none, roots) == 0 && roots[0] == 9.0);
    EXPECT_TRUE(quadraticSolver(two, roots) == 2 && roots[0] == 2.0 && roots[1] == -3.0);

    double x[] = {1, 3, -100, 5, NAN}, negative[] = {-1, -2};  // the gate of 5 takes the 5 in, save for the maximum
    EXPECT_TRUE(get_max(x, 5, 5.0) == 3.0 && get_max(x, 5, 3.5) == 3.0);
    EXPECT_EQ(get_min(x, 5, 1.0), 1.0);
    EXPECT_EQ(get_mean(x, 5, 5.0), 3.0);
    EXPECT_DOUBLE_EQ(get_std(x, 5, 5.0), std::sqrt(8.0 / 3.0));
    EXPECT_DOUBLE_EQ(get_rms(x, 5, 5.0), std::sqrt(35.0 / 3.0));
    EXPECT_EQ(get_max(negative, 2, 5.0), DBL_MIN);
    EXPECT_TRUE(get_min(x, 5, 0.5) == DBL_MAX && get_mean(x, 5, 0.5) == 0 && get_std(x, 5, 0.5) == 0);
}

TEST(Helmert, RecoversLargeRotations) {
    double truth[] = {10.0, -20.0, 5.0, 0.05, 0.6, -0.4, 0.8}, estimate[7], p[6][3], q[6][3];
    const Array points = random_array(18, 8);
    for (int i = 0; i < 18; ++i) p[i / 3][i % 3] = 3.0 * points[i];
    for (int i = 0; i < 6; ++i) HelmertTransform_3D(p[i], truth, q[i]);
    // The rotation is one about each axis in turn; the middle factor lies in a wider array.
    double rz[9], ry[9], rx[9], wide[3 * 4], R[9], image[3];
    Rz(-truth[4], rz), Ry(truth[5], ry), Rx(-truth[6], rx);
    for (int i = 0; i < 9; ++i) wide[i / 3 * 4 + i % 3] = ry[i];
    matrixMultiply3(3, 3, 3, 3, rz, wide, rx, R, 3, 4, 3);
    matrixMultiply(3, 3, R, 1, p[0], image);
    for (int k = 0; k < 3; ++k) EXPECT_NEAR(q[0][k], 1.05 * image[k] + truth[k], 1e-14);

    support::LogRecorder log;
    HelmertParameter_3D(6, q, p, estimate);
    expect_near(Array(estimate, estimate + 7), Array(truth, truth + 7), 1e-4);  // the bound of the last correction
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, ""), 0);
    EXPECT_EQ(log.count(ULOG_INFO_LEVEL, "HelmertParameter_3D(): Fit RMS: x=0.0000"), 1);
    HelmertParameter_3D(2, p, q, estimate);
    EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, "HelmertParameter_3D(), solve_lsq() return false!"));
    EXPECT_NEAR(estimate[0], truth[0], 1e-4);  // as it was
    HelmertParameter_3D(6, p, p, estimate);
    EXPECT_EQ(Array(estimate, estimate + 7), Array(7));
}
