/// \file bench_satposition.cpp
/// Satellite states from broadcast elements and from precise products. The limit of a case is the plain arithmetic that it
/// cannot do without, measured in the same run.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdlib>

#include "gnss_satposition.h"
#include "mathlib.h"

namespace {

EPHREC_GPS gps_record() {
    EPHREC_GPS r = {};
    r.prn = 1;
    r.TOC = {2018, 5, 6, 2, 0, 0.0};
    r.sqrt_A = 5153.6;
    r.e = 0.012;
    r.i0 = 0.96;
    r.omega = 0.7;
    r.M0 = 1.3;
    r.Cus = 8e-6;
    r.Crc = 200.0;
    r.TOE = 7200.0;
    r.Week = 2000;
    r.ok = true;
    return r;
}

/// A circular orbit, 96 records 900 s apart.
void fill_precise(EPHPREC_STORE& store) {
    for (int i = 0; i < 96; ++i) {
        const double angle = 1.458e-4 * 900.0 * i;
        const GTime t = gtimeAddSec(mjd2GTime(tsGPST, 58244.0), 900.0 * i);
        store.eph_pre_all[0][i] = {t, GPS, 1, {2.6e7 * std::cos(angle), 2.6e7 * std::sin(angle), 1e6}, {}, {}, true};
        store.clk_pre_all[0][i] = {t, GPS, 1, 1e-4 + 1e-9 * i, 0.0, true};
    }
    store.idx_eph[0] = store.idx_clk[0] = 96;
}

void broadcast_gps(benchmark::State& state) {
    static EPHBRDC_STORE store = {};
    for (int i = 0; i < 12; ++i) {
        store.eph_brdc_gps_all[0][i] = gps_record();
        store.eph_brdc_gps_all[0][i].TOE = 7200.0 * i;
    }
    g_brdc_storage = &store;
    g_eph_selection = EPHOPT_BRDC;
    double sow = 7201.0;
    for (auto _ : state) {
        double posvel[6], clk[2];
        benchmark::DoNotOptimize(compute_satposvel(SOW2GTime({2000, sow}, tsGPST), 0, posvel, clk, nullptr));
        benchmark::DoNotOptimize(posvel);
        sow += 1.0;
        if (sow > 80000.0) sow = 7201.0;
    }
}

/// Limit of the broadcast case: the elementary functions of one evaluation, three Kepler passes included.
void broadcast_gps_limit(benchmark::State& state) {
    double x = 0.7;
    for (auto _ : state) {
        double sum = std::atan2(x, 0.3) + std::sqrt(x);
        for (int i = 0; i < 11; ++i) sum += std::sin(x + i) + std::cos(x + i);
        benchmark::DoNotOptimize(sum);
        x += 1e-6;
    }
}

void precise_gps(benchmark::State& state) {
    static EPHPREC_STORE* store = static_cast<EPHPREC_STORE*>(std::calloc(1, sizeof(EPHPREC_STORE)));
    fill_precise(*store);
    g_prec_storage = store;
    g_eph_selection = EPHOPT_PREC;
    double sod = 10000.0;
    for (auto _ : state) {
        double posvel[6] = {}, clk[2];
        benchmark::DoNotOptimize(
            compute_satposvel(gtimeAddSec(mjd2GTime(tsGPST, 58244.0), sod), 0, posvel, clk, nullptr));
        benchmark::DoNotOptimize(posvel);
        sod += 1.0;
        if (sod > 80000.0) sod = 10000.0;
    }
}

/// Limit of the precise case: the four interpolations alone.
void precise_gps_limit(benchmark::State& state) {
    double x[11], y[11], result[2];
    for (int i = 0; i < 11; ++i) {
        x[i] = 900.0 * (i - 5);
        y[i] = std::cos(0.13 * i);
    }
    for (auto _ : state) {
        for (int k = 0; k < 3; ++k)
            benchmark::DoNotOptimize(interpolation_Lagrange_Barycentric(x, y, 11, 17.0 + k, result));
        benchmark::DoNotOptimize(interpolation_Lagrange_Barycentric(x + 3, y, 5, 17.0, result));
    }
}

BENCHMARK(broadcast_gps)->Name("satposition_broadcast/leopod");
BENCHMARK(broadcast_gps_limit)->Name("satposition_broadcast/limit");
BENCHMARK(precise_gps)->Name("satposition_precise/leopod");
BENCHMARK(precise_gps_limit)->Name("satposition_precise/limit");

}  // namespace

BENCHMARK_MAIN();
