// Force evaluation with its parts beside the whole, propagation, variational equations, an iteration of the built-in fit; one Fehlberg step
// against Boost.odeint's.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "mathlib.h"
#include "orbit_dynamics.h"
#include "ulog.h"

#ifdef HAVE_ODEINT
#include <boost/numeric/odeint/stepper/runge_kutta_fehlberg78.hpp>
#endif

namespace {

constexpr double kMjd = 59232.25, kLeap = 37.0;
double position[3] = {4123456.5, -4987654.25, 2345678.125}, velocity[3] = {3115.0, 5270.5, 4012.25};

/// The built-in stores, a field to degree 120 that goes on as noise above 30, a low orbit.
struct Dynamics {
    std::unique_ptr<ORBIT_DYN_CONFIG> config = std::make_unique<ORBIT_DYN_CONFIG>();
    std::unique_ptr<STATE_SPACECRAFT> state = std::make_unique<STATE_SPACECRAFT>();
    EOPREC eop[3] = {};
    std::unique_ptr<EPH_HEADER_JPL> header = std::make_unique<EPH_HEADER_JPL>();
    std::unique_ptr<EPH_RECORD_JPL> record = std::make_unique<EPH_RECORD_JPL>();

    explicit Dynamics(int degree, int mode = 0, int pieces = 0) {
        initialize_global_earth_gravity();
        computeNormalFactor();
        for (int n = 31; n <= MAXDEGREE_GRAVITY; ++n) {
            for (int m = 0; m <= n; ++m) {
                const int k = n * (n + 1) / 2 + m;
                C[k] = N[k] * 1e-5 / (n * n) * std::sin(1.0 + k);
                S[k] = m == 0 ? 0.0 : N[k] * 1e-5 / (n * n) * std::cos(1.0 + k);
            }
        }
        initialize_global_eph_planet();
        load_eops_default(eop, 3);
        g_eop_storage_size = 3;
        load_eph_storage_default(header.get(), record.get());
        g_eph_header = header.get();
        g_ephData_storage = record.get();
        g_orbitdyn_config = config.get();
        g_satellite_state = state.get();
        initialize_orbit_conifig_embed(config.get());
        config->norder_gravity = degree;
        config->status_derivative = mode;
        const char* kinds[] = {"A0", "C0", "R0", "AC", "AS", "CC", "CS"};
        for (int i = 0; i < 7 && pieces > 0; ++i) {
            EMP_PARAM_BASE& kind = config->emp_params_base[config->emp_param_num_base++];
            kind.fm = FM_EMP;
            std::strcpy(kind.name_param, kinds[i]);
            kind.interval = 1200.0;
        }
        produce_force_model_params(kMjd, kMjd + (1200.0 * pieces - 1.0) / 86400.0, config.get(), state.get());
        state->utc_start = mjd2GTime(tsUTC, kMjd);
        std::copy_n(position, 3, state->pos_eci);
        std::copy_n(velocity, 3, state->vel_eci);
    }
    std::vector<double> flat() {
        std::vector<double> y(config->nstate);
        convert_struct2ystate(config->nstate, config.get(), state.get(), y.data());
        return y;
    }
};

template <int degree, int mode>
void force_evaluation(benchmark::State& bench) {
    Dynamics d(degree, mode);
    for (auto _ : bench) {
        compute_acc_all(d.config.get(), d.state.get());
        benchmark::DoNotOptimize(d.state->acc_eci);
    }
}
BENCHMARK_TEMPLATE(force_evaluation, 30, 0)->Name("force of degree 30/leopod");
BENCHMARK_TEMPLATE(force_evaluation, 100, 0)->Name("force of degree 100/leopod");
BENCHMARK_TEMPLATE(force_evaluation, 120, 0)->Name("force of degree 120/leopod");
BENCHMARK_TEMPLATE(force_evaluation, 100, 1)->Name("force of degree 100 with gradient/leopod");

/// A part of the force evaluation beside the whole of the same degree: the ratio is its share.
#define BENCHMARK_PART(part, degree, text)                                                  \
    BENCHMARK_TEMPLATE(part, degree)->Name("force of degree " #degree ", " text "/leopod"); \
    BENCHMARK_TEMPLATE(force_evaluation, degree, 0)->Name("force of degree " #degree ", " text "/whole")

template <int degree>
void part_frame(benchmark::State& bench) {
    Dynamics d(30);
    double R[9], dR[9];
    for (auto _ : bench) {
        compute_eci2ecf_matrix(kMjd, kLeap, R, dR);
        benchmark::DoNotOptimize(R);
    }
}
BENCHMARK_PART(part_frame, 30, "frame");
BENCHMARK_PART(part_frame, 100, "frame");
BENCHMARK_PART(part_frame, 120, "frame");

template <int degree>
void part_field(benchmark::State& bench) {
    Dynamics d(degree);
    double acc[3];
    for (auto _ : bench) {
        benchmark::DoNotOptimize(position);
        generateVW(degree, degree, position);
        compute_acc_earth_gravity(degree, degree, position, acc);
        benchmark::DoNotOptimize(acc);
    }
}
BENCHMARK_PART(part_field, 30, "field");
BENCHMARK_PART(part_field, 100, "field");
BENCHMARK_PART(part_field, 120, "field");

template <int degree>
void part_planets(benchmark::State& bench) {
    Dynamics d(30);
    PLANET_JPL bodies[] = {SUN, MOON, JUPITER};
    double acc[3];
    for (auto _ : bench) {
        compute_acc_thirdbody(kMjd, 3, bodies, position, acc, nullptr);
        benchmark::DoNotOptimize(acc);
    }
}
BENCHMARK_PART(part_planets, 30, "planets");
BENCHMARK_PART(part_planets, 100, "planets");
BENCHMARK_PART(part_planets, 120, "planets");

template <int degree>
void part_tides(benchmark::State& bench) {
    Dynamics d(30);
    double sun[3] = {6.68e10, -1.2e11, -5.2e10}, moon[3] = {-2.3e8, 2.9e8, 1.0e8}, dC[10], dS[10];
    for (auto _ : bench) {
        std::fill_n(dC, 10, 0.0);
        std::fill_n(dS, 10, 0.0);
        correct_CS_solidEarthTide(2459232.0, 0.75, 2459232.7508, sun, moon, dC, dS);
        benchmark::DoNotOptimize(dC);
    }
}
BENCHMARK_PART(part_tides, 30, "tides");
BENCHMARK_PART(part_tides, 100, "tides");
BENCHMARK_PART(part_tides, 120, "tides");

/// A day's propagation with fixed steps of 30 s; the plain one stands beside those with variational equations.
template <int mode, int pieces>
void propagation(benchmark::State& bench) {
    Dynamics d(30, mode, pieces);
    const std::vector<double> start = d.flat();
    for (auto _ : bench) {
        std::vector<double> y = start;
        double step = 30.0;
        IntegrateTo(orbit_derivative, d.config->nstate, 0.0, y.data(), &step, 86400.0, nullptr);
        benchmark::DoNotOptimize(y);
    }
}
#define BENCHMARK_DAY(mode, pieces, text)            \
    BENCHMARK_TEMPLATE(propagation, mode, pieces)    \
        ->Name("day's propagation, " text "/leopod") \
        ->Unit(benchmark::kMillisecond);             \
    BENCHMARK_TEMPLATE(propagation, 0, 0)->Name("day's propagation, " text "/limit")->Unit(benchmark::kMillisecond)
BENCHMARK_DAY(1, 0, "transition matrix, against the motion alone");
BENCHMARK_DAY(2, 3, "21 parameters, against the motion alone");

void derivative_504(benchmark::State& bench) {
    Dynamics d(30, 2, 72);
    std::vector<double> y = d.flat(), dydx(y.size());
    for (auto _ : bench) {
        orbit_derivative(d.config->nstate, 600.0, y.data(), dydx.data());
        benchmark::DoNotOptimize(dydx);
    }
}
BENCHMARK(derivative_504)->Name("derivative with 504 parameters/leopod");

int iterations = 0;
void count_iterations(ulog_level_t, char* text) { iterations += std::strncmp(text, "iteration number", 16) == 0; }

/// One iteration of the fit of the built-in positions: a day, degree 100, 504 parameters.
void fit_iteration(benchmark::State& bench) {
    Dynamics d(100);
    auto config = std::make_unique<ORBIT_DYN_CONFIG>();
    auto state = std::make_unique<STATE_SPACECRAFT>();
    std::vector<GTime> epochs(1440);
    const auto positions = std::make_unique<double[][3]>(1440);
    const int n = test_orbit_fit_data(epochs.data(), positions.get());
    for (auto _ : bench) {
        initialize_orbit_config(config.get());
        initialize_state_spacecraft(config.get(), state.get());
        state->utc_start = epochs[0];
        for (int i = 0; i < 3; ++i) {
            double t[8], x[8], value_and_rate[2];
            for (int k = 0; k < 8; ++k) {
                t[k] = 60.0 * k;
                x[k] = positions[k][i];
            }
            interpolation_Lagrange_Barycentric(t, x, 8, 0.0, value_and_rate);
            state->pos_eci[i] = value_and_rate[0];
            state->vel_eci[i] = value_and_rate[1];
        }
        iterations = 0;
        ulog_subscribe(count_iterations, ULOG_INFO_LEVEL);
        const auto start = std::chrono::steady_clock::now();
        orbit_fit(config.get(), state.get(), epochs[static_cast<std::size_t>(n) - 1], n, epochs.data(), positions.get(),
                  nullptr);
        bench.SetIterationTime(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() /
                               std::max(iterations, 1));
        ulog_unsubscribe(count_iterations);
    }
}
BENCHMARK(fit_iteration)
    ->Name("iteration of the built-in fit/leopod")
    ->UseManualTime()
    ->Iterations(1)
    ->Repetitions(1)
    ->Unit(benchmark::kMillisecond);

void kepler(int, double, double* y, double* dydx) {
    const double r2 = y[0] * y[0] + y[1] * y[1] + y[2] * y[2];
    const double f = -1.0 / (r2 * std::sqrt(r2));
    for (int i = 0; i < 3; ++i) {
        dydx[i] = y[3 + i];
        dydx[3 + i] = f * y[i];
    }
}

void step_leopod(benchmark::State& bench) {
    double y[6] = {1.0, 0.0, 0.0, 0.0, 0.9, 0.3}, error[6];
    for (auto _ : bench) {
        single_step_RungeKuttaFehlberg78(kepler, 6, 0.0, y, 0.01, error);
        benchmark::DoNotOptimize(y);
    }
}
BENCHMARK(step_leopod)->Name("fehlberg_step/leopod");

#ifdef HAVE_ODEINT
void step_peer(benchmark::State& bench) {
    using Vector = std::array<double, 6>;
    boost::numeric::odeint::runge_kutta_fehlberg78<Vector> stepper;
    const auto system = [](const Vector& y, Vector& dydx, double x) {
        kepler(6, x, const_cast<double*>(y.data()), dydx.data());
    };
    Vector y = {1.0, 0.0, 0.0, 0.0, 0.9, 0.3}, error;
    for (auto _ : bench) {
        stepper.do_step(system, y, 0.0, 0.01, error);
        benchmark::DoNotOptimize(y);
    }
}
BENCHMARK(step_peer)->Name("fehlberg_step/peer");
#endif

}  // namespace

BENCHMARK_MAIN();
