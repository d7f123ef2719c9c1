// Matrix kernel, filter and least squares against Eigen on the same input.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "mathlib.h"

#ifdef HAVE_EIGEN
#include <Eigen/Dense>
#endif

namespace {

using Array = std::vector<double>;

Array random_array(int count, unsigned seed) {
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    Array values(count);
    for (double& value : values) value = uniform(generator);
    return values;
}

/// A A^T + n I of a random A: a well-conditioned covariance or normal matrix.
Array random_spd(int n, unsigned seed) {
    Array a = random_array(n * n, seed), t(n * n), spd(n * n);
    matrixTranspose(n, n, a.data(), t.data());
    matrixMultiply(n, n, a.data(), n, t.data(), spd.data());
    for (int i = 0; i < n; ++i) spd[i * n + i] += n;
    return spd;
}

struct Update {
    static constexpr int n = 39, m = 30;
    Array x = random_array(n, 1), P = random_spd(n, 2), H = random_array(m * n, 3), v = random_array(m, 4),
          R = random_spd(m, 5), xp = Array(n), Pp = Array(n * n);
};

template <int n>
void inversion_leopod(benchmark::State& state) {
    const Array given = random_spd(n, 6);
    Array a(given.size());
    for (auto _ : state) {
        a = given;
        benchmark::DoNotOptimize(matinv(a.data(), n, n));
        benchmark::DoNotOptimize(a.data());
    }
}

void filter_leopod(benchmark::State& state) {
    Update u;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            filter_(u.x.data(), u.P.data(), u.H.data(), u.v.data(), u.R.data(), u.n, u.m, u.xp.data(), u.Pp.data()));
        benchmark::ClobberMemory();
    }
}

template <int n>
void normal_leopod(benchmark::State& state) {
    Array N = random_spd(n, 7), rhs = random_array(n, 8), x(n), Q(n * n);
    for (auto _ : state) {
        benchmark::DoNotOptimize(solve_lsq_normal(N.data(), rhs.data(), n, x.data(), Q.data()));
        benchmark::ClobberMemory();
    }
}

BENCHMARK_TEMPLATE(inversion_leopod, 39)->Name("inversion of 39 x 39/leopod");
BENCHMARK(filter_leopod)->Name("sequential filter 39 x 30/leopod");
BENCHMARK_TEMPLATE(normal_leopod, 12)->Name("normal equations of 12/leopod");
BENCHMARK_TEMPLATE(normal_leopod, 510)->Name("normal equations of 510/leopod")->Unit(benchmark::kMillisecond);

#ifdef HAVE_EIGEN
using Matrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

Matrix as_matrix(const Array& values, int rows) {
    return Eigen::Map<const Matrix>(values.data(), rows, static_cast<Eigen::Index>(values.size()) / rows);
}

template <int n>
void inversion_peer(benchmark::State& state) {
    const Matrix given = as_matrix(random_spd(n, 6), n);
    Matrix a;
    for (auto _ : state) {
        a = given.inverse();
        benchmark::DoNotOptimize(a.data());
    }
}

void filter_peer(benchmark::State& state) {
    const Update u;
    const Matrix x = as_matrix(u.x, u.n), P = as_matrix(u.P, u.n), H = as_matrix(u.H, u.m), v = as_matrix(u.v, u.m),
                 R = as_matrix(u.R, u.m);
    Matrix xp, Pp;
    for (auto _ : state) {
        const Matrix K = P * H.transpose() * (R + H * P * H.transpose()).inverse();
        xp = x + K * v;
        Pp = (Matrix::Identity(u.n, u.n) - K * H) * P;
        benchmark::DoNotOptimize(xp.data());
        benchmark::DoNotOptimize(Pp.data());
    }
}

/// The same results as the library: the inverse of the normal matrix and the solution from it.
template <int n>
void normal_peer(benchmark::State& state) {
    const Matrix N = as_matrix(random_spd(n, 7), n), rhs = as_matrix(random_array(n, 8), n);
    Matrix x, Q;
    for (auto _ : state) {
        Q = N.inverse();
        x = Q * rhs;
        benchmark::DoNotOptimize(Q.data());
        benchmark::DoNotOptimize(x.data());
    }
}

BENCHMARK_TEMPLATE(inversion_peer, 39)->Name("inversion of 39 x 39/peer");
BENCHMARK(filter_peer)->Name("sequential filter 39 x 30/peer");
BENCHMARK_TEMPLATE(normal_peer, 12)->Name("normal equations of 12/peer");
BENCHMARK_TEMPLATE(normal_peer, 510)->Name("normal equations of 510/peer")->Unit(benchmark::kMillisecond);
#endif

}  // namespace

BENCHMARK_MAIN();
