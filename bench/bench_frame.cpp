// Precession-nutation and the celestial-terrestrial transformation, beside ERFA, one call each. The exported routines give ERFA's bits.
#include <benchmark/benchmark.h>

#include "earth_rotation_param.h"
#include "iau_function.h"
#include "private/nutation.h"

#ifdef HAVE_ERFA
#include <erfa.h>
#endif

namespace {

constexpr double kMjd = 59232.0;
constexpr double kLeap = 37.0;  // TAI-UTC [s]

/// Fraction of a moving date, so that no call repeats the one before.
double next_day_fraction() {
    static int call = 0;
    call = (call + 1) % 65536;
    return call / 65536.0;
}

void iau_nut00a(benchmark::State& state) {
    double angles[2];
    for (auto _ : state) {
        iauNut00a(2400000.5 + kMjd, next_day_fraction(), &angles[0], &angles[1]);
        benchmark::DoNotOptimize(angles);
    }
}
BENCHMARK(iau_nut00a)->Name("nutation angles, published bits (iauNut00a)/leopod");

void iau_c2i06a(benchmark::State& state) {
    double rc2i[3][3];
    for (auto _ : state) {
        iauC2i06a(2400000.5 + kMjd, next_day_fraction(), rc2i);
        benchmark::DoNotOptimize(rc2i);
    }
}
BENCHMARK(iau_c2i06a)->Name("celestial-to-intermediate matrix, published bits (iauC2i06a)/leopod");

/// The same matrix as the frame conversion forms it.
void precession_nutation(benchmark::State& state) {
    double rc2i[3][3];
    for (auto _ : state) {
        leopod::fast_celestial_to_intermediate(2400000.5 + kMjd, next_day_fraction(), rc2i);
        benchmark::DoNotOptimize(rc2i);
    }
}
BENCHMARK(precession_nutation)->Name("precession-nutation of the frame conversion, against eraC2i06a/leopod");

/// Earth orientation of the built-in days, with its diurnal corrections, and both matrices.
void eci2ecf_matrix(benchmark::State& state) {
    EOPREC store[3] = {};
    initialize_global_earth_rotation_param();
    load_eops_default(store, 3);
    double position[9], velocity[9];
    for (auto _ : state) {
        compute_eci2ecf_matrix(kMjd + next_day_fraction(), kLeap, position, velocity);
        benchmark::DoNotOptimize(position);
        benchmark::DoNotOptimize(velocity);
    }
    initialize_global_earth_rotation_param();
}
BENCHMARK(eci2ecf_matrix)->Name("celestial-to-terrestrial matrix/leopod");

#ifdef HAVE_ERFA
void era_nut00a(benchmark::State& state) {
    double angles[2];
    for (auto _ : state) {
        eraNut00a(2400000.5 + kMjd, next_day_fraction(), &angles[0], &angles[1]);
        benchmark::DoNotOptimize(angles);
    }
}
BENCHMARK(era_nut00a)->Name("nutation angles, published bits (iauNut00a)/peer");

void era_c2i06a(benchmark::State& state) {
    double rc2i[3][3];
    for (auto _ : state) {
        eraC2i06a(2400000.5 + kMjd, next_day_fraction(), rc2i);
        benchmark::DoNotOptimize(rc2i);
    }
}
BENCHMARK(era_c2i06a)->Name("celestial-to-intermediate matrix, published bits (iauC2i06a)/peer");
BENCHMARK(era_c2i06a)->Name("precession-nutation of the frame conversion, against eraC2i06a/peer");

/// One matrix at given earth orientation.
void era_c2t06a(benchmark::State& state) {
    double rc2t[3][3];
    for (auto _ : state) {
        const double f = next_day_fraction();
        eraC2t06a(2400000.5 + kMjd, f + (kLeap + 32.184) / 86400.0, 2400000.5 + kMjd, f - 0.17 / 86400.0, 2.5e-7,
                  1.5e-6, rc2t);
        benchmark::DoNotOptimize(rc2t);
    }
}
BENCHMARK(era_c2t06a)->Name("celestial-to-terrestrial matrix/peer");
#endif

}  // namespace

BENCHMARK_MAIN();
