/// Integrators, variational equations, interpolation of trajectories, orbit fit.
#include "orbit_fixture.h"
#ifdef HAVE_ODEINT
#include <boost/numeric/odeint/stepper/runge_kutta4_classic.hpp>
#include <boost/numeric/odeint/stepper/runge_kutta_fehlberg78.hpp>
#endif

namespace {

// --- integrators ---------------------------------------------------------------------------------------------------------

Values visited;  ///< abscissae of all derivative calls

/// An eccentric orbit with unit parameter, and a term in the abscissa that each node must hit.
void kepler(int, double x, double* y, double* dydx) {
    const double r3 = std::pow(y[0] * y[0] + y[1] * y[1], 1.5);
    dydx[0] = y[2];
    dydx[1] = y[3];
    dydx[2] = -y[0] / r3 + 1e-2 * std::sin(3.0 * x);
    dydx[3] = -y[1] / r3;
}

/// Pairs of elements that turn with 20 radians a unit.
void oscillation(int n, double x, double* y, double* dydx) {
    visited.push_back(x);
    for (int i = 0; i < n; ++i) dydx[i] = i % 2 == 1 ? -20.0 * y[i - 1] : 20.0 * y[std::min(i + 1, n - 1)];
}

#ifdef HAVE_ODEINT
TEST(Integration, StepsEqualThoseOfIndependentSteppers) {
    using State = std::array<double, 4>;
    const auto system = [](const State& y, State& dydx, double x) {
        State copy = y;
        kepler(4, x, copy.data(), dydx.data());
    };
    boost::numeric::odeint::runge_kutta_fehlberg78<State> eight;
    boost::numeric::odeint::runge_kutta4_classic<State> four;
    for (double h : {0.3, -0.3}) {
        State peer = {1.0, 0.0, 0.1, 0.9}, y = peer, peer4 = peer, y4 = peer, peer_error{}, error{};
        for (int i = 0; i < 10; ++i) {
            eight.do_step(system, peer, i * h, h, peer_error);
            single_step_RungeKuttaFehlberg78(kepler, 4, i * h, y.data(), h, error.data());
            four.do_step(system, peer4, i * h, h);
            single_step_RungeKutta4(kepler, 4, i * h, y4.data(), h, nullptr);
            for (int k = 0; k < 4; ++k) {
                EXPECT_NEAR(y[k], peer[k], 1e-14 * norm(4, y.data()));
                EXPECT_NEAR(y4[k], peer4[k], 1e-14 * norm(4, y.data()));
                EXPECT_NEAR(error[k], std::fabs(peer_error[k]), 1e-14);
                EXPECT_GT(error[k], 1e-14);
            }
        }
    }
}
#endif

TEST(Integration, StepRules) {
    double y = 1.0, step = 30.0;
    // Fixed steps with a short last one, either way; the step is left alone.
    for (const auto& [from, to] : {std::pair{0.0, 100.0}, {100.0, 0.0}, {0.0, 7.0}}) {
        visited.clear();
        IntegrateTo(oscillation, 1, from, &y, &step, to, nullptr);
        const double signed_step = to > from ? 30.0 : -30.0;
        const std::size_t steps = static_cast<std::size_t>(std::ceil((to - from) / signed_step));
        ASSERT_EQ(visited.size(), 13 * steps);
        for (std::size_t i = 0; i < steps; ++i) EXPECT_EQ(visited[13 * i], from + signed_step * static_cast<double>(i));
        EXPECT_EQ(visited.back(), to);
        EXPECT_EQ(step, 30.0);
    }
    // One rejection by the mean error of both elements; the smaller step stays.
    for (double sign : {1.0, -1.0}) {
        double trial[2] = {0.0, 1.0}, two[2] = {0.0, 1.0}, errors[2];
        single_step_RungeKuttaFehlberg78(oscillation, 2, 0.0, trial, sign * 0.2, errors);
        const double reduced = sign * 0.2 * 0.9 * std::pow(1e-12 / ((errors[0] + errors[1]) / 2), 0.125);
        step = 0.2;
        visited.clear();
        IntegrateTo(oscillation, 2, 0.0, two, &step, sign, errors);
        EXPECT_NEAR(visited[13 + 10], reduced, 1e-12);  // the node at the end of the retried step
        EXPECT_LE(std::fabs(step), std::fabs(reduced));
        EXPECT_GT(step * sign, 0.0);
        EXPECT_NEAR(visited.back(), sign, 1e-10);
        EXPECT_NEAR(two[0], sign * std::sin(20.0), 1e-9);
        const double kept = step;
        IntegrateTo(oscillation, 2, 0.0, two, &step, sign * 0.5 * std::fabs(kept), errors);
        EXPECT_EQ(step, kept);
    }
    // What a derivative leaves unwritten is no leftover of these runs.
    const Derivative first_alone = [](int, double, double*, double* dydx) { *dydx = 1.0; };
    double two[2] = {};
    IntegrateTo(first_alone, 2, 0.0, two, &step, 1.0, nullptr);
    EXPECT_EQ(two[1], 0.0);
}

TEST(Integration, LimitsEndARun) {
    LogRecorder log;
    Values y(NSTATE_MAX, 1.0), error(NSTATE_MAX);
    double step = 1.0;
    for (int n : {NSTATE_MAX + 0, NSTATE_MAX - 1}) {
        EXPECT_EQ(std::count(y.begin(), y.end(), 1.0), static_cast<long>(NSTATE_MAX));
        single_step_RungeKutta4(oscillation, n, 0.0, y.data(), -2e-3, nullptr);
        single_step_RungeKuttaFehlberg78(oscillation, n, 0.0, y.data(), 1e-3, nullptr);
        IntegrateTo(oscillation, n, 0.0, y.data(), &step, 1e-3, error.data());
    }
    EXPECT_NEAR(y[NSTATE_MAX - 2], 1.0, 1e-6);
    EXPECT_NE(y[NSTATE_MAX - 2], 1.0);
    EXPECT_EQ(y[NSTATE_MAX - 1], 1.0);
    // A derivative that no step satisfies, no step at all, and no end.
    const Derivative noise = [](int, double, double*, double* dydx) {
        static int calls = 0;
        *dydx = 1e9 * (++calls % 7);
    };
    for (double s : {1.0, 0.0, std::nan("")}) IntegrateTo(noise, 1, 0.0, y.data(), &s, 1.0, error.data());
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "is too small"), 3);
    IntegrateTo(oscillation, 1, 0.0, y.data(), &step, HUGE_VAL, nullptr);
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "cannot run"), 1);
}

// --- trajectories --------------------------------------------------------------------------------------------------------

TEST(Interpolation, ValuesDerivativesAndEnds) {
    const int count = 40;
    std::vector<STATE_SPACECRAFT> records(count);
    Values t(count);
    for (std::size_t i = 0; i < records.size(); ++i) {
        t[i] = 60.0 * static_cast<double>(i);
        for (int k = 0; k < 3; ++k) {
            records[i].pos_eci[k] = 7e6 * std::cos(1.1e-3 * t[i] + k);
            records[i].acc_eci[k] = 8.0 * std::cos(1.1e-3 * t[i] + k);
        }
    }
    double y[9], dy[9];
    for (double x : {0.0, 31.0, 480.0, 1111.1, 2340.0}) {
        interpolate_pos_vel_acc(nullptr, records.data(), t.data(), count, x, y, dy);
        // Derivatives are scaled with the last abscissa of the window.
        const double last = std::clamp(60.0 * (std::ceil(x / 60.0) + 8.0), 960.0, 2340.0);
        for (int k = 0; k < 3; ++k) {
            EXPECT_NEAR(y[k], 7e6 * std::cos(1.1e-3 * x + k), 1e-6);
            EXPECT_NEAR(y[6 + k], 8.0 * std::cos(1.1e-3 * x + k), 1e-12);
            EXPECT_NEAR(dy[6 + k] / last, -8.8e-3 * std::sin(1.1e-3 * x + k), 1e-12);
        }
    }
    for (const auto& [x, n] : {std::pair{-1.0, count}, {2341.0, count}, {100.0, 16}}) {
        y[0] = dy[0] = 7.0;
        interpolate_pos_vel_acc(nullptr, records.data(), t.data(), n, x, y, dy);
        EXPECT_TRUE(y[0] == 0.0 && dy[0] == 0.0) << x;
    }
}

TEST_F(Dynamics, SensitivityOfParametersThatHaveBegun) {
    start_orbit();
    emp.param_life[0][1] = mjd + 100.0 / 86400.0;  // past its span a column lives on
    emp.param_life[1][0] = mjd + 600.0 / 86400.0;
    const int n = config->nstate, count = 20;
    Values t(count), table(static_cast<std::size_t>(n) * count), y(n, -1.0);
    for (int i = 0; i < count; ++i) {
        t[i] = 60.0 * i;
        for (int j = 0; j < n; ++j) table[i * n + j] = j + std::sin(1e-3 * t[i]);
    }
    for (double x : {301.0, 600.0, 650.0}) {
        get_state_interpolated(config.get(), state.get(), n, count, t.data(), table.data(), x, y.data());
        for (int j = 0; j < n; ++j) {
            const bool waiting = j >= 42 && j % 3 == 1 && x < 600.0;
            EXPECT_NEAR(y[j], waiting ? 0.0 : j + std::sin(1e-3 * x), 1e-11) << j;
        }
    }
}

// --- variational equations -----------------------------------------------------------------------------------------------

struct Observations {
    std::vector<GTime> epoch;
    std::vector<std::array<double, 3>> position;
    void add(GTime utc, const double* p) {
        epoch.push_back(utc);
        position.push_back({p[0], p[1], p[2]});
    }
};

struct Orbit : Dynamics {
    Orbit() { config->norder_gravity = 20; }
    Values parameters() {
        Values x(6 + static_cast<std::size_t>(config->num_param_forcemodel));
        extract_state_force_param(config.get(), state.get(), x.data());
        return x;
    }
    /// Flat state after a duration from the parameters x; with the matrices in mode 2.
    Values propagate(Values x, double duration, int mode) {
        config->status_derivative = mode;
        set_state_force_param(config.get(), state.get(), x.data());
        state->sec_since_start = 0.0;
        matrix_identical(6, state->PHI);
        std::fill_n(state->S, 5400, 0.0);
        const int n = mode == 0 ? 6 : config->nstate;
        Values y(n);
        convert_struct2ystate(n, config.get(), state.get(), y.data());
        double step = 30.0;
        IntegrateTo(orbit_derivative, n, 0.0, y.data(), &step, duration, nullptr);
        return y;
    }
    /// Column k of the matrices in y against differences of the orbit, position and velocity relative to theirs.
    double column_error(const Values& x, const Values& y, std::size_t k, double duration) {
        const double delta = k < 3 ? 50.0 : k < 6 ? 0.05 : 2e4;
        Values up = x, down = x;
        up[k] += delta;
        down[k] -= delta;
        up = propagate(up, duration, 0);
        down = propagate(down, duration, 0);
        double expected[6], error[6];
        for (std::size_t i = 0; i < 6; ++i) {
            expected[i] = (up[i] - down[i]) / (2.0 * delta);
            error[i] = y[k < 6 ? 6 + 6 * i + k : 42 + i * (x.size() - 6) + k - 6] - expected[i];
        }
        return std::max(norm(3, error) / norm(3, expected), norm(3, error + 3) / norm(3, expected + 3));
    }
    bool fit(const Values& start, Observations& obs, SOLUTION_ORBITFIT* solution) {
        Values x = start;
        config->status_derivative = 2;
        set_state_force_param(config.get(), state.get(), x.data());
        state->sec_since_start = 0.0;
        state->utc_start = obs.epoch[0];
        return orbit_fit(config.get(), state.get(), gtimeAddSec(obs.epoch.back(), 1e-6),
                         static_cast<int>(obs.epoch.size()), obs.epoch.data(),
                         reinterpret_cast<double(*)[3]>(obs.position.data()), solution);
    }
};

TEST_F(Orbit, VariationalEquationsAgreeWithDifferencesOfTheOrbit) {
    const double revolution = 5670.0;
    prepare({"A0", "C0", "R0", "AS", "AC", "CS", "CC", "RS", "RC"}, 2850.0, revolution);
    ASSERT_EQ(config->num_param_forcemodel, 18);
    const Values x = parameters();
    // The full field is limited by the weights of its gradient alone.
    const Values full = propagate(x, revolution, 2);
    double limited = 0.0;
    for (std::size_t k = 0; k < 6; ++k) limited = std::max(limited, column_error(x, full, k, revolution));
    EXPECT_TRUE(limited > 1e-6 && limited < 1e-2) << limited;
    // Leaves the zonal field, to the degree that acceleration and gradient share.
    for (int n = 2, k = 3; n <= 20; ++n) {
        for (int m = 0; m <= n; ++m, ++k) {
            if (m > 0 || n > 18) C[k] = S[k] = 0.0;
            if (m > 0) N[k] = 1e-30;  // and their tides
        }
    }
    o_C21 = o_C22 = o_C31 = o_C32 = o_C33 = o_C41 = o_C42 = 0.0;
    o_S21 = o_S22 = o_S31 = o_S32 = o_S33 = o_S41 = o_S42 = 0.0;
    const Values y = propagate(x, revolution, 2);
    for (std::size_t k = 0; k < x.size(); ++k) {
        EXPECT_LT(column_error(x, y, k, revolution), 1e-6) << config->param_names_force_models[k];
    }
}

TEST_F(Orbit, RunOfTheRecordIsThatOfTheFlatVector) {
    prepare({}, 1.0, 60.0);
    ASSERT_EQ(config->nstate, 42);
    const Values y = propagate(parameters(), 50.0, 1);
    prepare({}, 1.0, 60.0);
    EXPECT_TRUE(orbit_integrate(config.get(), state.get(), 50.0, 30.0));
    EXPECT_EQ(state->sec_since_start, 100.0);  // its time label ends at twice the duration
    EXPECT_TRUE(std::equal(y.begin(), y.begin() + 3, state->pos_eci));
    EXPECT_TRUE(std::equal(y.begin() + 6, y.end(), state->PHI));
}

// --- fit -----------------------------------------------------------------------------------------------------------------

TEST_F(Orbit, FitRecoversAnArcWithoutNoise) {
    const double span = 5400.0;
    config->output_interval = 30.0;
    prepare({"A0", "C0", "AS", "CS"}, 86400.0, span);
    ASSERT_EQ(config->num_param_forcemodel, 4);
    Values truth = parameters();
    for (std::size_t k = 6; k < 10; ++k) truth[k] = 128.0 - 13.0 * static_cast<double>(k);
    Observations obs;
    for (double t = 0.0; t <= span; t += 75.0) {
        // Every second one between the output epochs, away from the ends of the interpolation.
        if (std::fmod(t, 30.0) != 0.0 && (t < 600.0 || t > span - 600.0)) continue;
        obs.add(gtimeAddSec(state->utc_start, t), propagate(truth, t, 0).data());
    }
    Values start(10);
    for (std::size_t k = 0; k < 6; ++k) start[k] = truth[k] + (k < 3 ? 5.0 : -0.005);
    Values omc(3 * obs.epoch.size()), arc(omc.size());
    std::vector<STATE_SPACECRAFT> history(181);
    SOLUTION_ORBITFIT solution{{}, omc.data(), arc.data(), 0, history.data(), 181};
    LogRecorder log(ULOG_INFO_LEVEL);
    ASSERT_TRUE(fit(start, obs, &solution));
    EXPECT_EQ(log.count(ULOG_INFO_LEVEL, "orbit fit ends (iter = "), 1);
    const Values end = parameters();
    for (std::size_t k = 0; k < 3; ++k) {
        EXPECT_NEAR(history[0].pos_eci[k], truth[k], 1e-5);
        EXPECT_NEAR(history[0].vel_eci[k], truth[3 + k], 1e-8);
    }
    for (std::size_t k = 6; k < 10; ++k) EXPECT_NEAR(end[k], truth[k], 1e-2);
    EXPECT_LT(norm(3, solution.rms_acr), 5e-5);        // corrections below the threshold are not applied
    for (std::size_t i = 0; i < omc.size(); i += 3) {  // the residual's two forms have one length
        EXPECT_NEAR(norm(3, &omc[i]), norm(3, &arc[i]), 1e-12);
    }
    // Once more without a record of the solution: the same end. From the truth: done at once, nothing moves.
    ASSERT_TRUE(fit(start, obs, nullptr));
    EXPECT_EQ(parameters(), end);
    ASSERT_TRUE(fit(truth, obs, &solution));
    EXPECT_TRUE(log.has(ULOG_INFO_LEVEL, "orbit fit ends (iter = 0, max_iter_threshold=8)"));
    EXPECT_LT(norm(3, solution.rms_acr), 1e-5);
    EXPECT_TRUE(std::equal(truth.begin(), truth.begin() + 3, history[0].pos_eci));

    EXPECT_FALSE(orbit_fit(config.get(), state.get(), obs.epoch[20], 0, obs.epoch.data(), nullptr, nullptr));
    config->output_interval = 500.0;
    EXPECT_FALSE(fit(truth, obs, nullptr));  // fewer than 17 output epochs
    config->output_interval = 30.0;
    config->nstate = 42;
    EXPECT_FALSE(fit(truth, obs, nullptr));
    // Two parameters with one effect.
    *config = ORBIT_DYN_CONFIG{};
    initialize_orbit_conifig_embed(config.get());
    prepare({"A0", "A0x"}, 86400.0, span);
    EXPECT_STOP(fit(truth, obs, nullptr), "solve_lsq_normal_equation error!");
}

}  // namespace
