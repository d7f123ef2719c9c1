// Acceleration of the Earth's field at one position, and its gradient: harmonics and sums, against GeographicLib's Clenshaw summation,
// which gives the acceleration alone.
#include <benchmark/benchmark.h>

#include <random>
#include <vector>

#include "earth_gravity.h"

#ifdef HAVE_GEOGRAPHICLIB
#include <GeographicLib/SphericalHarmonic.hpp>
#endif

namespace {

double position[3] = {4.1e6, -4.9e6, 2.8e6};

/// A random field to degree 120 whose coefficients fall with the square of the degree.
struct Field {
    std::vector<double> c = std::vector<double>(MAXSIZE_GRAVITY), s = c;
    Field() {
        std::mt19937 generator(1);
        std::uniform_real_distribution<double> uniform(-1e-5, 1e-5);
        c[0] = 1.0;
        for (int n = 2; n <= MAXDEGREE_GRAVITY; ++n) {
            for (int m = 0; m <= n; ++m) {
                c[n * (n + 1) / 2 + m] = uniform(generator) / (n * n);
                s[n * (n + 1) / 2 + m] = m == 0 ? 0.0 : uniform(generator) / (n * n);
            }
        }
        initialize_global_earth_gravity();
        denormaliseCS(MAXSIZE_GRAVITY, c.data(), s.data());
    }
};

template <int degree, bool gradient>
void leopod_field(benchmark::State& state) {
    const Field field;
    double acceleration[3], dadr[9];
    for (auto _ : state) {
        benchmark::DoNotOptimize(position);
        generateVW(degree, degree, position);
        compute_acc_earth_gravity(degree, degree, position, acceleration);
        benchmark::DoNotOptimize(acceleration);
        if (!gradient) continue;
        compute_dadr_earth_gravity(degree, degree, position, dadr);
        benchmark::DoNotOptimize(dadr);
    }
}

BENCHMARK_TEMPLATE(leopod_field, 30, false)->Name("acceleration of the field, degree 30/leopod");
BENCHMARK_TEMPLATE(leopod_field, 120, false)->Name("acceleration of the field, degree 120/leopod");
BENCHMARK_TEMPLATE(leopod_field, 120, true)->Name("acceleration and gradient of the field, degree 120/leopod");

#ifdef HAVE_GEOGRAPHICLIB
template <int degree>
void peer_acceleration(benchmark::State& state) {
    const Field field;
    std::vector<double> c, s;  // order by order
    for (int m = 0; m <= degree; ++m) {
        for (int n = m; n <= degree; ++n) {
            c.push_back(field.c[n * (n + 1) / 2 + m]);
            if (m > 0) s.push_back(field.s[n * (n + 1) / 2 + m]);
        }
    }
    const GeographicLib::SphericalHarmonic potential(c, s, degree, Re);
    double acceleration[3];
    for (auto _ : state) {
        benchmark::DoNotOptimize(position);
        benchmark::DoNotOptimize(
            potential(position[0], position[1], position[2], acceleration[0], acceleration[1], acceleration[2]));
        for (double& a : acceleration) a *= GM / Re;
        benchmark::DoNotOptimize(acceleration);
    }
}

BENCHMARK_TEMPLATE(peer_acceleration, 30)->Name("acceleration of the field, degree 30/peer");
BENCHMARK_TEMPLATE(peer_acceleration, 120)->Name("acceleration of the field, degree 120/peer");
BENCHMARK_TEMPLATE(peer_acceleration, 120)->Name("acceleration and gradient of the field, degree 120/peer");
#endif

}  // namespace

BENCHMARK_MAIN();
