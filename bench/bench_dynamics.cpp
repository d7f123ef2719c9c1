// Force evaluation against its parts, Fehlberg steps against their memory traffic and against Boost.odeint's, propagation, variational
// equations, an iteration of the built-in fit against its force evaluations.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <memory>
#include <utility>
#include <vector>

#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "mathlib.h"
#include "measure.h"
#include "orbit_dynamics.h"
#include "ulog.h"

#ifdef HAVE_ODEINT
#include <boost/numeric/odeint/stepper/runge_kutta_fehlberg78.hpp>
#endif

namespace {

using bench::processor_time;

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
#define BENCHMARK_PARTS(part, text)  \
    BENCHMARK_PART(part, 30, text);  \
    BENCHMARK_PART(part, 100, text); \
    BENCHMARK_PART(part, 120, text)

template <int degree>
void part_frame(benchmark::State& bench) {
    Dynamics d(30);
    double R[9], dR[9];
    for (auto _ : bench) {
        compute_eci2ecf_matrix(kMjd, kLeap, R, dR);
        benchmark::DoNotOptimize(R);
    }
}
BENCHMARK_PARTS(part_frame, "frame");

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
BENCHMARK_PARTS(part_field, "field");

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
BENCHMARK_PARTS(part_planets, "planets");

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
BENCHMARK_PARTS(part_tides, "tides");

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

// --- one force evaluation against the calls that it cannot do without --------------------------------------------------

/// Ground defaults: degree 100, ten bodies, relativity; with the gradient.
void force_ten_bodies(benchmark::State& bench) {
    Dynamics d(100);
    initialize_orbit_config(d.config.get());
    d.config->status_derivative = 1;
    for (auto _ : bench) {
        compute_acc_all(d.config.get(), d.state.get());
        benchmark::DoNotOptimize(d.state->acc_eci);
    }
}
BENCHMARK(force_ten_bodies)->Name("force evaluation, degree 100, ten bodies, relativity, gradient/leopod");

/// One frame, the field with its gradient, each of the ten bodies once.
void force_parts(benchmark::State& bench) {
    Dynamics d(100);
    initialize_orbit_config(d.config.get());
    double R[9], dR[9], acc[3], dadr[9], pv[6];
    for (auto _ : bench) {
        compute_eci2ecf_matrix(kMjd, kLeap, R, dR);
        benchmark::DoNotOptimize(R);
        benchmark::DoNotOptimize(position);
        generateVW(100, 100, position);
        compute_acc_earth_gravity(100, 100, position, acc);
        compute_dadr_earth_gravity(100, 100, position, dadr);
        benchmark::DoNotOptimize(acc);
        benchmark::DoNotOptimize(dadr);
        for (int i = 0; i < d.config->num_planets; ++i) {
            compute_planet_pos_vel(kMjd + 2400000.5, EARTH, d.config->planets[i], pv);
            benchmark::DoNotOptimize(pv);
        }
    }
}
BENCHMARK(force_parts)->Name("force evaluation, degree 100, ten bodies, relativity, gradient/limit");

// --- Fehlberg steps against the derivative's calls and the memory traffic of the stage sums ----------------------------

void no_derivative(int, double, double*, double*) {}

template <int n>
void step_with_empty_derivative(benchmark::State& bench) {
    std::vector<double> y(n, 1.0), error(n);
    for (auto _ : bench) {
        single_step_RungeKuttaFehlberg78(no_derivative, n, 0.0, y.data(), 1e-3, error.data());
        benchmark::DoNotOptimize(y.data());
    }
}

// The stage derivatives that enter the sums of stages 1 to 12, and those of the two solutions together: nonzero coefficients, bit k for
// stage k.
constexpr unsigned kOperands[] = {0x1, 0x3, 0x5, 0xd, 0x19, 0x39, 0x71, 0xf9, 0x1f9, 0x3f9, 0x3e1, 0xbf9, 0x1fe1};
constexpr std::size_t kSums = std::size(kOperands);

struct One {
    using type = double;
};
struct Four {
    using type [[gnu::vector_size(32), gnu::aligned(8)]] = double;
};

/// The memory traffic of sum i over elements j: each operand is loaded once, with one addition a load and nothing else, and the sum is
/// stored, for the solutions the errors too.
template <std::size_t i, typename Width, std::size_t... k>
[[gnu::always_inline]] inline void move(double* y, double* K, int stride, int j, double* stage, double* error,
                                        std::index_sequence<k...>) {
    using T = typename Width::type;
    T sum = *reinterpret_cast<T*>(y + j);
    ((kOperands[i] >> k & 1 ? void(sum += *reinterpret_cast<T*>(K + k * stride + j)) : void()), ...);
    *reinterpret_cast<T*>((i + 1 < kSums ? stage : y) + j) = sum;
    if (i + 1 == kSums) *reinterpret_cast<T*>(error + j) = sum;
}

/// Rows begin at cache lines, and not all in the same place of a page.
constexpr int stride_of(int n) { return (n + 7) / 8 * 8 + 8; }

template <std::size_t i>
[[gnu::always_inline]] inline void move_all(double* y, double* K, int n, double* stage, double* error) {
    constexpr auto operands = std::make_index_sequence<i + 1>{};
    int j = 0;
    for (; j + 4 <= n; j += 4) move<i, Four>(y, K, stride_of(n), j, stage, error, operands);
    for (; j < n; ++j) move<i, One>(y, K, stride_of(n), j, stage, error, operands);
}

template <std::size_t... i>
[[gnu::always_inline]] inline void traffic(double* y, double* K, int n, double* stage, double* error, Derivative f,
                                           std::index_sequence<i...>) {
    ((f(n, 0.0, stage, K + i * stride_of(n)), move_all<i>(y, K, n, stage, error)), ...);
}

void traffic_plain(double* y, double* K, int n, double* stage, double* error, Derivative f) {
    traffic(y, K, n, stage, error, f, std::make_index_sequence<kSums>{});
}
#if defined(__x86_64__)
[[gnu::target("avx2")]] void traffic_avx2(double* y, double* K, int n, double* stage, double* error, Derivative f) {
    traffic(y, K, n, stage, error, f, std::make_index_sequence<kSums>{});
}
#endif

/// Thirteen calls of the empty derivative and the traffic of the sums, in the widest registers that the library takes too.
template <int n>
void step_limit(benchmark::State& bench) {
    constexpr int kRow = stride_of(n);
    alignas(64) static double rows[(kSums + 3) * kRow];
    double *const y = rows, *const stage = y + kRow, *const error = stage + kRow, *const K = error + kRow;
    auto* run = traffic_plain;
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) run = traffic_avx2;
#endif
    Derivative f = no_derivative;
    benchmark::DoNotOptimize(f);
    for (auto _ : bench) {
        run(y, K, n, stage, error, f);
        benchmark::DoNotOptimize(rows);
    }
}
#define BENCHMARK_STEP(n)                                                                           \
    BENCHMARK_TEMPLATE(step_with_empty_derivative, n)->Name("Fehlberg step, " #n " states/leopod"); \
    BENCHMARK_TEMPLATE(step_limit, n)->Name("Fehlberg step, " #n " states/limit")
BENCHMARK_STEP(42);
BENCHMARK_STEP(3066);

// --- an iteration of the built-in fit against its force evaluations ----------------------------------------------------

/// The built-in positions with the ground defaults: a day, degree 100, ten bodies, 504 parameters, step 20 s. The files of the gravity
/// field, earth orientation and planets are loaded where they are there; else the noise field, no orientation and the analytic series.
struct Fit {
    std::unique_ptr<ORBIT_DYN_CONFIG> config = std::make_unique<ORBIT_DYN_CONFIG>();
    std::unique_ptr<STATE_SPACECRAFT> state = std::make_unique<STATE_SPACECRAFT>();
    std::vector<EOPREC> eop = std::vector<EOPREC>(MAXSIZE_EOP + 1);
    std::unique_ptr<EPH_HEADER_JPL> header = std::make_unique<EPH_HEADER_JPL>();
    std::vector<EPH_RECORD_JPL> records = std::vector<EPH_RECORD_JPL>(MAXNUM_RECORD_JPLEPH + 1);
    std::vector<GTime> epochs = std::vector<GTime>(1440);
    std::unique_ptr<double[][3]> positions = std::make_unique<double[][3]>(1440);

    Fit() {
        const Dynamics field(100);
        initialize_global_earth_rotation_param();
        g_eop_storage = eop.data();
        const auto file = [](const char* name) { return (bench::data_dir() / name).string(); };
        load_eop_storage(file("eop/eopc04_IAU2000.62-now").data());
        initialize_global_eph_planet();
        if (load_eph_storage_file(file("jpl/de438r_2016_2021.txt").data(), header.get(), records.data())) {
            g_eph_header = header.get();
            g_ephData_storage = records.data();
        }
        if (std::filesystem::exists(file("gravity/EGM2008.txt")))
            load_earth_coef_EGM(file("gravity/EGM2008.txt").data());
        test_orbit_fit_data(epochs.data(), positions.get());
    }
    /// State at the first position from the polynomial through eight of them.
    void start() {
        config = std::make_unique<ORBIT_DYN_CONFIG>();
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
        g_orbitdyn_config = config.get();
        g_satellite_state = state.get();
    }
};

int iterations = 0;
void count_iterations(ulog_level_t, char* text) { iterations += std::strncmp(text, "iteration number", 16) == 0; }

void fit_iteration(benchmark::State& bench) {
    Fit fit;
    for (auto _ : bench) {
        fit.start();
        iterations = 0;
        ulog_subscribe(count_iterations, ULOG_INFO_LEVEL);
        const double start = processor_time();
        orbit_fit(fit.config.get(), fit.state.get(), fit.epochs.back(), static_cast<int>(fit.epochs.size()),
                  fit.epochs.data(), fit.positions.get(), nullptr);
        const double end = processor_time();
        ulog_unsubscribe(count_iterations);
        bench.SetIterationTime((end - start) / std::max(iterations, 1));
    }
}

/// Instant and motion of one force evaluation.
struct Evaluation {
    double seconds, motion[6];
};
std::vector<Evaluation> evaluations;

void recording_derivative(int n, double x, double* y, double* dydx) {
    Evaluation e{x, {}};
    std::copy_n(y, 6, e.motion);
    evaluations.push_back(e);
    orbit_derivative(n, x, y, dydx);
}

/// Every force evaluation that an iteration makes, once more at the same instants and places, and nothing else.
void fit_forces(benchmark::State& bench) {
    Fit fit;
    fit.start();
    evaluations.clear();
    const int n = fit.config->nstate;
    std::vector<double> y(n), error(n);
    convert_struct2ystate(n, fit.config.get(), fit.state.get(), y.data());
    double step = fit.config->step_size;
    for (int i = 0; i + 1 < static_cast<int>(fit.epochs.size()); ++i)
        IntegrateTo(recording_derivative, n, 60.0 * i, y.data(), &step, 60.0 * (i + 1), error.data());
    for (auto _ : bench) {
        const double start = processor_time();
        for (const Evaluation& e : evaluations) {
            fit.state->sec_since_start = e.seconds;
            std::copy_n(e.motion, 3, fit.state->pos_eci);
            std::copy_n(e.motion + 3, 3, fit.state->vel_eci);
            compute_acc_all(fit.config.get(), fit.state.get());
            benchmark::DoNotOptimize(fit.state->acc_eci);
        }
        const double end = processor_time();
        bench.SetIterationTime(end - start);
    }
}
#define BENCHMARK_ONCE(function, name) \
    BENCHMARK(function)->Name(name)->UseManualTime()->Iterations(1)->Repetitions(3)->Unit(benchmark::kMillisecond)
BENCHMARK_ONCE(fit_iteration, "iteration of the built-in fit, 504 parameters/leopod");
BENCHMARK_ONCE(fit_forces, "iteration of the built-in fit, 504 parameters/limit");

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
BENCHMARK(step_leopod)->Name("Fehlberg step, 6 states, with its derivative/leopod");

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
BENCHMARK(step_peer)->Name("Fehlberg step, 6 states, with its derivative/peer");
#endif

}  // namespace

BENCHMARK_MAIN();
