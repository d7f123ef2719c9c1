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

/// Angle with its sine and cosine.
struct Angle {
    double sine, cosine;
    explicit Angle(double a) : sine(std::sin(a)), cosine(std::cos(a)) {}
};

/// The same functions with what lies between them, each angle from those before it: the formulas for one record that is known, `tk` seconds
/// behind its TOE.
void formulas(const EPHREC_GPS& r, double tk, double* posvel, double* clk) {
    constexpr double kRotation = 7.2921151467e-05;
    const double A = r.sqrt_A * r.sqrt_A;
    const double n = r.Delta_n + std::sqrt(3.986005e14) / A / r.sqrt_A;
    const double M = n * tk + r.M0;
    double E = M, last = 0.0;
    Angle e(E);
    for (int pass = 0; std::fabs(E - last) > 1e-13 && pass < 20; ++pass) {
        last = E;
        e = Angle(E);
        E -= (E - r.e * e.sine - M) / (1.0 - r.e * e.cosine);
    }
    const double w = 1.0 - r.e * e.cosine, root = std::sqrt(1.0 - r.e * r.e), rate = n / w;
    const double anomaly = std::atan2(root * e.sine, e.cosine - r.e);
    const Angle v(anomaly), twice(2.0 * (anomaly + r.omega));
    const double v_dot = (1.0 + r.e * v.cosine) * e.sine * rate / (v.sine * w);
    const double u = anomaly + r.omega + r.Cuc * twice.cosine + r.Cus * twice.sine;
    const double radius = A * w + r.Crc * twice.cosine + r.Crs * twice.sine;
    const Angle uk(u), q(2.0 * u);
    const Angle i(r.i0 + r.i_dot * tk + r.Cic * twice.cosine + r.Cis * twice.sine);
    const double u_dot = v_dot + 2.0 * (r.Cus * q.cosine - r.Cuc * q.sine) * v_dot;
    const double r_dot = A * r.e * e.sine * n / w + 2.0 * (r.Crs * q.cosine - r.Crc * q.sine) * v_dot;
    const double i_dot = r.i_dot + 2.0 * (r.Cis * q.cosine - r.Cic * q.sine) * v_dot;
    const double x = radius * uk.cosine, y = radius * uk.sine;
    const double x_dot = r_dot * uk.cosine - y * u_dot, y_dot = r_dot * uk.sine + x * u_dot;
    const double node_dot = r.OMEGA_dot - kRotation;
    const Angle node(node_dot * tk + r.OMEGA0 - kRotation * r.TOE);
    const double a = x_dot - i.cosine * y * node_dot;
    const double b = i.cosine * y_dot + x * node_dot - i.sine * y * i_dot;
    posvel[0] = node.cosine * x - i.cosine * y * node.sine;
    posvel[1] = node.sine * x + node.cosine * i.cosine * y;
    posvel[2] = i.sine * y;
    posvel[3] = node.cosine * a - node.sine * b;
    posvel[4] = node.sine * a + node.cosine * b;
    posvel[5] = i.cosine * y * i_dot + i.sine * y_dot;
    const double F = -4.442807633e-10 * r.e * r.sqrt_A;
    clk[0] = r.sv_clock_bias + r.sv_clock_drift * tk + F * e.sine;
    clk[1] = r.sv_clock_drift + F * e.cosine * rate;
}

void broadcast_gps_formulas(benchmark::State& state) {
    const EPHREC_GPS record = gps_record();
    double tk = 1.0;
    for (auto _ : state) {
        double posvel[6], clk[2];
        formulas(record, tk, posvel, clk);
        benchmark::DoNotOptimize(posvel);
        benchmark::DoNotOptimize(clk);
        tk = tk > 3600.0 ? -3600.5 : tk + 1.0;
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

BENCHMARK(broadcast_gps)->Name("satellite position, broadcast/leopod");
BENCHMARK(broadcast_gps_limit)->Name("satellite position, broadcast/limit");
BENCHMARK(broadcast_gps)->Name("satellite position from broadcast, formulas in sequence/leopod");
BENCHMARK(broadcast_gps_formulas)->Name("satellite position from broadcast, formulas in sequence/limit");
BENCHMARK(precise_gps)->Name("satellite position, precise/leopod");
BENCHMARK(precise_gps_limit)->Name("satellite position, precise/limit");

}  // namespace

BENCHMARK_MAIN();
