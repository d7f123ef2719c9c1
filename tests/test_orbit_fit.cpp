/// Integrators, variational equations, interpolation of trajectories, orbit fit.
#include "orbit_fixture.h"
#ifdef HAVE_ODEINT
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
TEST(Integration, StepsEqualThoseOfAnIndependentFehlbergStepper) {
    using Stepper = boost::numeric::odeint::runge_kutta_fehlberg78<std::array<double, 4>>;
    const auto system = [](const std::array<double, 4>& y, std::array<double, 4>& dydx, double x) {
        auto copy = y;
        kepler(4, x, copy.data(), dydx.data());
    };
    Stepper stepper;
    for (double h : {0.3, -0.3}) {
        std::array<double, 4> peer = {1.0, 0.0, 0.1, 0.9}, y = peer, peer_error{}, error{};
        for (int i = 0; i < 10; ++i) {
            stepper.do_step(system, peer, i * h, h, peer_error);
            single_step_RungeKuttaFehlberg78(kepler, 4, i * h, y.data(), h, error.data());
            for (int k = 0; k < 4; ++k) {
                EXPECT_NEAR(y[k], peer[k], 1e-14 * norm(4, y.data()));
                EXPECT_NEAR(error[k], std::fabs(peer_error[k]), 1e-14);
                EXPECT_GT(error[k], 1e-14);
            }
        }
    }
}
#endif

TEST(Integration, OrdersAreEightAndFour) {
    const auto error = [](auto step, int steps) {
        double y[4] = {1.0, 0.0, 0.0, 1.1}, fine[4] = {1.0, 0.0, 0.0, 1.1};
        for (int i = 0; i < steps; ++i) step(kepler, 4, i * 3.0 / steps, y, 3.0 / steps, nullptr);
        for (int i = 0; i < 120; ++i) single_step_RungeKuttaFehlberg78(kepler, 4, i * 0.025, fine, 0.025, nullptr);
        for (int k = 0; k < 4; ++k) y[k] -= fine[k];
        return norm(4, y);
    };
    const double eight =
        std::log2(error(single_step_RungeKuttaFehlberg78, 8) / error(single_step_RungeKuttaFehlberg78, 16));
    const double four = std::log2(error(single_step_RungeKutta4, 80) / error(single_step_RungeKutta4, 160));
    EXPECT_NEAR(eight, 8.0, 0.5);
    EXPECT_NEAR(four, 4.0, 0.2);
}

TEST(Integration, StepRules) {
    double y = 1.0, step = 30.0, error = 0.0;
    visited.clear();
    IntegrateTo(oscillation, 1, 5.0, &y, &step, 5.0, &error);
    EXPECT_TRUE(visited.empty());
    EXPECT_EQ(y, 1.0);
    // Fixed steps with a short last one, either way; the step is left alone.
    for (const auto& [from, to] : {std::pair{0.0, 100.0}, {100.0, 0.0}, {0.0, 7.0}}) {
        visited.clear();
        IntegrateTo(oscillation, 1, from, &y, &step, to, nullptr);
        const double sign = to > from ? 1.0 : -1.0, length = std::fabs(to - from);
        const std::size_t steps = static_cast<std::size_t>(std::ceil(length / 30.0));
        ASSERT_EQ(visited.size(), 13 * steps);
        for (std::size_t i = 0; i < steps; ++i) EXPECT_EQ(visited[13 * i], from + sign * 30.0 * static_cast<double>(i));
        EXPECT_EQ(visited.back(), to);
        EXPECT_EQ(step, 30.0);
    }
    // One rejection by the mean error of both elements; the smaller step stays.
    for (double sign : {1.0, -1.0}) {
        double two[2] = {0.0, 1.0}, errors[2];
        single_step_RungeKuttaFehlberg78(oscillation, 2, 0.0, two, sign * 0.2, errors);
        const double reduced = sign * 0.2 * 0.9 * std::pow(1e-12 / ((errors[0] + errors[1]) / 2), 0.125);
        step = 0.2;
        two[0] = 0.0;
        two[1] = 1.0;
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
}

TEST(Integration, LimitsEndARun) {
    LogRecorder log;
    Values y(NSTATE_MAX, 1.0), error(NSTATE_MAX);
    double step = 1.0;
    single_step_RungeKutta4(oscillation, NSTATE_MAX, 0.0, y.data(), 1.0, nullptr);
    single_step_RungeKuttaFehlberg78(oscillation, NSTATE_MAX, 0.0, y.data(), 1.0, nullptr);
    IntegrateTo(oscillation, NSTATE_MAX, 0.0, y.data(), &step, 1.0, nullptr);
    EXPECT_EQ(std::count(y.begin(), y.end(), 1.0), static_cast<long>(NSTATE_MAX));
    EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, "nstate[5442] > NSTATE_MAX[5442]"));
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "FATAL ERROR: nstate(5442) > NSTATE_MAX (5442), single_step_"), 1);
    EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, "state num[5442] exceed NSATE_MAX[5442]!"));
    IntegrateTo(oscillation, NSTATE_MAX - 1, 0.0, y.data(), &step, 1e-3, error.data());
    single_step_RungeKutta4(oscillation, NSTATE_MAX - 1, 1e-3, y.data(), -1e-3, nullptr);
    EXPECT_NEAR(y[NSTATE_MAX - 2], 1.0, 1e-6);
    EXPECT_NE(y[NSTATE_MAX - 2], 1.0);
    EXPECT_EQ(y[NSTATE_MAX - 1], 1.0);
    // A derivative that no step satisfies, no step at all, and no end.
    const Derivative noise = [](int, double, double*, double* dydx) {
        static int calls = 0;
        *dydx = 1e9 * (++calls % 7);
    };
    for (double s : {1.0, 0.0, std::nan("")}) {
        double start = 0.0, trial = s;
        log.clear();
        IntegrateTo(noise, 1, 0.0, &start, &trial, 1.0, error.data());
        EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "is too small"), 1) << s;
    }
    IntegrateTo(oscillation, 1, 0.0, y.data(), &step, HUGE_VAL, nullptr);
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "cannot run"), 1);
}

// --- trajectories --------------------------------------------------------------------------------------------------------

TEST(Interpolation, ValuesDerivativesAndEnds) {
    const int count = 40;
    const std::size_t rows = 40;
    std::vector<STATE_SPACECRAFT> records(rows);
    Values t(rows);
    for (int i = 0; i < count; ++i) {
        t[i] = 60.0 * i;
        for (int k = 0; k < 3; ++k) {
            records[i].pos_eci[k] = 7e6 * std::cos(1.1e-3 * t[i] + k);
            records[i].vel_eci[k] = 8e3 * std::sin(1.1e-3 * t[i] + k);
            records[i].acc_eci[k] = 8.0 * std::cos(1.1e-3 * t[i] + k);
        }
    }
    double y[9], dy[9];
    for (double x : {0.0, 31.0, 480.0, 1111.1, 2340.0}) {
        interpolate_pos_vel_acc(nullptr, records.data(), t.data(), count, x, y, dy);
        for (int k = 0; k < 3; ++k) {
            EXPECT_NEAR(y[k], 7e6 * std::cos(1.1e-3 * x + k), 1e-6);
            EXPECT_NEAR(y[6 + k], 8.0 * std::cos(1.1e-3 * x + k), 1e-12);
            // Derivatives are scaled with the last abscissa of the window.
            const double last = std::clamp(60.0 * (std::ceil(x / 60.0) + 8.0), 960.0, 2340.0);
            EXPECT_NEAR(dy[6 + k] / last, -8.8e-3 * std::sin(1.1e-3 * x + k), 1e-12);
        }
        double alone[9];
        interpolate_pos_vel_acc(nullptr, records.data(), t.data(), count, x, alone, nullptr);
        EXPECT_TRUE(std::equal(y, y + 9, alone));
    }
    LogRecorder log;
    for (const auto& [x, n] : {std::pair{-1.0, count}, {2341.0, count}, {100.0, 16}}) {
        y[0] = dy[0] = 7.0;
        interpolate_pos_vel_acc(nullptr, records.data(), t.data(), n, x, y, dy);
        EXPECT_EQ(y[0], 0.0);
        EXPECT_EQ(dy[0], 0.0);
    }
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "needs 17 epochs, 16 are given"), 1);
    interpolate_pos_vel_acc(nullptr, records.data(), t.data(), count, 0.0, nullptr, dy);
    EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, "yt_pos_vel_acc=NULL, yt_acc_derivative!=NULL"));
}

TEST_F(Dynamics, SensitivityOfParametersThatHaveBegun) {
    start_orbit();
    emp.param_life[0][1] = mjd + 100.0 / 86400.0;  // past its span a column lives on
    emp.param_life[1][0] = mjd + 600.0 / 86400.0;
    const int n = config->nstate, count = 20;
    Values t(count), table(static_cast<std::size_t>(n) * count), y(n);
    for (int i = 0; i < count; ++i) {
        t[i] = 60.0 * i;
        for (int j = 0; j < n; ++j) table[i * n + j] = j + std::sin(1e-3 * t[i]);
    }
    const auto at = [&](double x) {
        std::fill(y.begin(), y.end(), -1.0);
        get_state_interpolated(config.get(), state.get(), n, count, t.data(), table.data(), x, y.data());
    };
    for (double x : {301.0, 650.0}) {
        at(x);
        for (int j = 0; j < n; ++j) {
            const bool waiting = j >= 42 && j % 3 == 1 && x < 600.0;
            EXPECT_NEAR(y[j], waiting ? 0.0 : j + std::sin(1e-3 * x), 1e-11) << j;
            EXPECT_EQ(y[j] == 0.0, waiting || j + std::sin(1e-3 * x) == 0.0);
        }
    }
    LogRecorder log;
    get_state_interpolated(config.get(), state.get(), 41, count, t.data(), table.data(), 1.0, y.data());
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "pos+vel+PHI+S, nstate=41"), 1);
    get_state_interpolated(config.get(), state.get(), n, 16, t.data(), table.data(), 1.0, y.data());
    EXPECT_EQ(std::count(y.begin(), y.end(), 0.0), n);
}

// --- variational equations -----------------------------------------------------------------------------------------------

struct Orbit : Dynamics {
    Orbit() { config->norder_gravity = 20; }
    Values parameters() {
        Values x(6 + static_cast<std::size_t>(config->num_param_forcemodel));
        extract_state_force_param(config.get(), state.get(), x.data());
        return x;
    }
    /// Flat state after a duration from the parameters x; with the matrices in mode 2.
    Values propagate(Values x, double duration, int mode) {
        const int np = config->num_param_forcemodel, kept[2] = {config->status_derivative, config->nstate};
        config->status_derivative = mode;
        config->nstate = mode == 0 ? 6 : 42 + 6 * np;
        set_state_force_param(config.get(), state.get(), x.data());
        state->sec_since_start = 0.0;
        matrix_identical(6, state->PHI);
        std::fill_n(state->S, 5400, 0.0);
        Values y(config->nstate);
        convert_struct2ystate(config->nstate, config.get(), state.get(), y.data());
        double step = 30.0;
        IntegrateTo(orbit_derivative, config->nstate, 0.0, y.data(), &step, duration, nullptr);
        config->status_derivative = kept[0];
        config->nstate = kept[1];
        return y;
    }
    /// Column of a parameter by central differences of the integrated orbit.
    Values numerical_column(const Values& x, std::size_t k, double duration) {
        const double delta = k < 3 ? 50.0 : k < 6 ? 0.05 : 2e4;
        Values up = x, down = x;
        up[k] += delta;
        down[k] -= delta;
        up = propagate(up, duration, 0);
        down = propagate(down, duration, 0);
        for (std::size_t i = 0; i < 6; ++i) up[i] = (up[i] - down[i]) / (2.0 * delta);
        return up;
    }
};

/// Largest difference of two columns of six, position and velocity each relative to its length.
double column_error(Values a, Values b) {
    double worst = 0.0;
    for (int half : {0, 3}) {
        const double scale = norm(3, b.data() + half);
        for (int i = half; i < half + 3; ++i) worst = std::max(worst, std::fabs(a[i] - b[i]) / scale);
    }
    return worst;
}

Values column_of(const Values& y, int np, std::size_t k) {
    Values column(6);
    for (std::size_t i = 0; i < 6; ++i) {
        column[i] = k < 6 ? y[6 + 6 * i + k] : y[42 + i * static_cast<std::size_t>(np) + k - 6];
    }
    return column;
}

/// Leaves the zonal field, to the degree that acceleration and gradient share.
void keep_zonals(int degree) {
    for (int n = 2; n <= degree; ++n) {
        for (int m = 0; m <= n; ++m) {
            const int k = n * (n + 1) / 2 + m;
            if (m > 0 || n > degree - 2) C[k] = S[k] = 0.0;
            if (m > 0) N[k] = 1e-30;  // and their tides
        }
    }
    o_C21 = o_C22 = o_C31 = o_C32 = o_C33 = o_C41 = o_C42 = 0.0;
    o_S21 = o_S22 = o_S31 = o_S32 = o_S33 = o_S41 = o_S42 = 0.0;
}

/// Motion with a transition matrix from a gradient by central differences of the acceleration itself.
void derivative_with_numerical_gradient(int, double x, double* y, double* dydx) {
    const auto acceleration = [&](double* at, double* acc) {
        orbit_derivative(6, x, at, dydx);
        std::copy_n(dydx + 3, 3, acc);
    };
    double A[36] = {}, base[3];
    for (int j = 0; j < 3; ++j) {
        double up[6], down[6], a_up[3], a_down[3];
        std::copy_n(y, 6, up);
        std::copy_n(y, 6, down);
        up[j] += 20.0;
        down[j] -= 20.0;
        acceleration(up, a_up);
        acceleration(down, a_down);
        A[6 * j + 3 + j] = 1.0;
        for (int i = 0; i < 3; ++i) A[6 * (3 + i) + j] = (a_up[i] - a_down[i]) / 40.0;
    }
    acceleration(y, base);
    matrixMultiply(6, 6, A, 6, y + 6, dydx + 6);
}

TEST_F(Orbit, VariationalEquationsAgreeWithDifferencesOfTheOrbit) {
    const double revolution = 5670.0;
    keep_zonals(20);
    prepare({"A0", "C0", "R0", "AS", "AC", "CS", "CC", "RS", "RC"}, 2850.0, revolution);
    const int np = config->num_param_forcemodel;
    ASSERT_EQ(np, 18);
    const Values x = parameters();
    const Values y = propagate(x, revolution, 2);
    double worst = 0.0;
    for (std::size_t k = 0; k < x.size(); ++k) {
        const double error = column_error(column_of(y, np, k), numerical_column(x, k, revolution));
        EXPECT_LT(error, 1e-6) << config->param_names_force_models[k];
        worst = std::max(worst, error);
    }
    std::printf("zonal field: largest relative difference of a column %.1e\n", worst);
}

TEST_F(Orbit, FullFieldIsLimitedByTheWeightsOfTheGradientAlone) {
    const double revolution = 5670.0;
    prepare({"A0"}, 86400.0, revolution);
    const Values x = parameters();
    const Values y = propagate(x, revolution, 2);
    Values own(42);
    std::copy_n(x.begin(), 6, own.begin());
    matrix_identical(6, own.data() + 6);
    config->status_derivative = 0;
    double step = 30.0;
    IntegrateTo(derivative_with_numerical_gradient, 42, 0.0, own.data(), &step, revolution, nullptr);
    double with_analytic = 0.0, with_numerical = 0.0;
    for (std::size_t k = 0; k < 6; ++k) {
        const Values expected = numerical_column(x, k, revolution);
        with_analytic = std::max(with_analytic, column_error(column_of(y, 1, k), expected));
        with_numerical = std::max(with_numerical, column_error(column_of(own, 0, k), expected));
    }
    std::printf("full field: largest relative difference of a column %.1e, with a numerical gradient %.1e\n",
                with_analytic, with_numerical);
    EXPECT_GT(with_analytic, 1e-6);
    EXPECT_LT(with_analytic, 1e-2);
    EXPECT_LT(with_numerical, 1e-6);
}

TEST_F(Orbit, FirstDerivativeOfTheTransitionMatrixIsTheSystemMatrix) {
    prepare({}, 1.0, 60.0);
    ASSERT_EQ(config->nstate, 42);
    LogRecorder log(ULOG_DEBUG_LEVEL);
    Values y(42), dydx(42);
    convert_struct2ystate(42, config.get(), state.get(), y.data());
    orbit_derivative(42, 10.0, y.data(), dydx.data());
    EXPECT_EQ(state->sec_since_start, 10.0);
    EXPECT_EQ(dydx[6 + 3], 1.0);
    EXPECT_EQ(dydx[0], y[3]);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(dydx[3 + i], state->acc_eci[i]);
        for (int j = 0; j < 3; ++j) EXPECT_EQ(dydx[6 + 6 * (3 + i) + j], state->dadr[3 * i + j]);
    }
    // The record's run is that of the flat vector; its time label ends at twice the duration.
    state->sec_since_start = 0.0;
    double step = 20.0;
    IntegrateTo(orbit_derivative, 42, 0.0, y.data(), &step, 50.0, nullptr);
    prepare({}, 1.0, 60.0);
    EXPECT_TRUE(orbit_integrate(config.get(), state.get(), 50.0, 20.0));
    EXPECT_EQ(state->sec_since_start, 100.0);
    EXPECT_TRUE(std::equal(y.begin(), y.begin() + 3, state->pos_eci));
    EXPECT_TRUE(std::equal(y.begin() + 6, y.end(), state->PHI));
    EXPECT_TRUE(log.has(ULOG_DEBUG_LEVEL, "nstate=42 np=0 status_derivative=1\n"));
}

// --- fit -----------------------------------------------------------------------------------------------------------------

struct Observations {
    std::vector<GTime> epoch;
    std::vector<std::array<double, 3>> position;
    GTime end() const { return gtimeAddSec(epoch.back(), 1e-6); }
    double (*rows())[3] { return reinterpret_cast<double(*)[3]>(position.data()); }
    int count() const { return static_cast<int>(epoch.size()); }
};

TEST_F(Orbit, FitRecoversAnArcWithoutNoise) {
    const double span = 5400.0;
    config->output_interval = 30.0;
    prepare({"A0", "C0", "AS", "CS"}, 86400.0, span);
    const std::size_t np = 4;
    ASSERT_EQ(config->num_param_forcemodel, 4);
    Values truth = parameters();
    for (std::size_t k = 0; k < np; ++k) truth[6 + k] = 50.0 - 13.0 * static_cast<double>(k);
    Observations obs;
    for (int i = 0; i <= 72; ++i) {
        // Every second one between the output epochs, away from the ends of the interpolation.
        const double t = 75.0 * i;
        if (i % 2 == 1 && (t < 600.0 || t > span - 600.0)) continue;
        const Values y = propagate(truth, t, 0);
        obs.epoch.push_back(gtimeAddSec(state->utc_start, t));
        obs.position.push_back({y[0], y[1], y[2]});
    }
    Values start = truth;
    for (std::size_t k = 0; k < start.size(); ++k) start[k] = k < 6 ? start[k] + (k < 3 ? 5.0 : -0.005) : 0.0;

    Values omc(3 * obs.epoch.size()), arc(omc.size());
    std::vector<STATE_SPACECRAFT> history(181);
    SOLUTION_ORBITFIT solution{{}, omc.data(), arc.data(), obs.count(), history.data(), 181};
    const auto fit = [&](const Values& x, SOLUTION_ORBITFIT* sln) {
        Values copy = x;
        set_state_force_param(config.get(), state.get(), copy.data());
        state->sec_since_start = 0.0;
        state->utc_start = obs.epoch[0];
        return orbit_fit(config.get(), state.get(), obs.end(), obs.count(), obs.epoch.data(), obs.rows(), sln);
    };
    LogRecorder log(ULOG_INFO_LEVEL);
    ASSERT_TRUE(fit(start, &solution));
    EXPECT_EQ(log.count(ULOG_INFO_LEVEL, "orbit fit ends (iter = "), 1);
    double worst[3] = {};
    Values found = parameters();
    std::copy_n(history[0].pos_eci, 3, found.begin());
    std::copy_n(history[0].vel_eci, 3, found.begin() + 3);
    for (std::size_t k = 0; k < found.size(); ++k) {
        double& w = worst[k < 3 ? 0 : k < 6 ? 1 : 2];
        w = std::max(w, std::fabs(found[k] - truth[k]));
    }
    std::printf("errors of the fit: position %.1e m, velocity %.1e m/s, parameters %.1e nm/s^2, rms %.1e %.1e %.1e m\n",
                worst[0], worst[1], worst[2], solution.rms_acr[0], solution.rms_acr[1], solution.rms_acr[2]);
    EXPECT_LT(worst[0], 1e-5);
    EXPECT_LT(worst[1], 1e-8);
    EXPECT_LT(worst[2], 1e-2);
    EXPECT_LT(norm(3, solution.rms_acr), 5e-5);  // corrections below the threshold are not applied
    // The residual's two forms have one length.
    for (std::size_t i = 0; i < obs.epoch.size(); ++i) {
        EXPECT_NEAR(norm(3, omc.data() + 3 * i), norm(3, arc.data() + 3 * i), 1e-12);
    }
    const Values end = parameters();

    // Once more without a record of the solution: the same end. From the truth: done at once, nothing moves.
    ASSERT_TRUE(fit(start, nullptr));
    EXPECT_EQ(parameters(), end);
    log.clear();
    ASSERT_TRUE(fit(truth, &solution));
    EXPECT_TRUE(log.has(ULOG_INFO_LEVEL, "orbit fit ends (iter = 0, max_iter_threshold=8)"));
    EXPECT_LT(norm(3, solution.rms_acr), 1e-5);
    EXPECT_TRUE(std::equal(truth.begin(), truth.begin() + 3, history[0].pos_eci));
    EXPECT_TRUE(std::equal(truth.begin() + 6, truth.end(), emp.param));

    EXPECT_FALSE(orbit_fit(config.get(), state.get(), obs.end(), 0, obs.epoch.data(), obs.rows(), nullptr));
    EXPECT_FALSE(orbit_fit(config.get(), state.get(), obs.end(), 1, nullptr, obs.rows(), nullptr));
    config->output_interval = 500.0;
    EXPECT_FALSE(fit(truth, nullptr));  // fewer than 17 output epochs
    config->output_interval = 30.0;
    config->nstate = 42;
    EXPECT_FALSE(fit(truth, nullptr));
    // Two parameters with one effect.
    *config = ORBIT_DYN_CONFIG{};
    initialize_orbit_conifig_embed(config.get());
    prepare({"A0", "A0x"}, 86400.0, span);
    std::copy_n(truth.begin(), 3, state->pos_eci);
    EXPECT_STOP(orbit_fit(config.get(), state.get(), obs.epoch[20], 10, obs.epoch.data(), obs.rows(), nullptr),
                "solve_lsq_normal_equation error!");
}

/// Positions of an SP3 file stamped in TAI, turned to inertial; loads the data sets that this takes.
Observations read_precise_orbit(const std::string& path, double span) {
    Observations obs;
    std::ifstream in(path);
    GTime utc{};
    for (std::string line; std::getline(in, line);) {
        TimeYMD d{};
        double p[3], eci[3];
        if (std::sscanf(line.c_str(), "* %d %d %d %d %d %lf", &d.year, &d.month, &d.day, &d.hour, &d.minute,
                        &d.second) == 6) {
            utc = gtimeChangeTimeSystem(YMD2GTime(d, tsTAI), tsUTC);
        } else if (std::sscanf(line.c_str(), "PL01 %lf %lf %lf", p, p + 1, p + 2) == 3) {
            if (!obs.epoch.empty() && gtimeSubSec(utc, obs.epoch[0]) > span) break;
            for (double& v : p) v *= 1000.0;
            const double at = gtime2mjd(utc);
            ecf2eci(at, getLeapSecond(at), p, nullptr, eci, nullptr);
            obs.epoch.push_back(utc);
            obs.position.push_back({eci[0], eci[1], eci[2]});
        }
    }
    return obs;
}

TEST_F(Orbit, FitOfARealOrbit) {
    const auto orbit_file = support::data_path("gnss/leo_truth_2018364/sentinel3a_2018363_365_TAI_asL01.sp3");
    std::string planets = support::data_path("jpl/de438r_2016_2021.txt").string();
    std::string orientation = support::data_path("eop/eopc04_IAU2000.62-now").string();
    std::string field = support::data_path("gravity/EGM2008.txt").string();
    LEOPOD_REQUIRE_DATA(orbit_file);
    LEOPOD_REQUIRE_DATA(std::filesystem::path(planets));
    g_eop_storage_size = 0;
    ASSERT_TRUE(load_eph_storage_file(planets.data(), header.get(), records.data()));
    ASSERT_TRUE(load_eop_storage(orientation.data()));
    ASSERT_TRUE(load_earth_coef_EGM(field.data()));
    const double span = 7200.0;
    Observations obs = read_precise_orbit(orbit_file.string(), span);
    ASSERT_EQ(obs.count(), 121);
    mjd = gtime2mjd(obs.epoch[0]);
    config->norder_gravity = 70;
    prepare({"A0", "C0", "R0"}, 1200.5, span);
    state->utc_start = obs.epoch[0];
    double t[8], x[8], value_and_rate[2];
    for (int axis = 0; axis < 3; ++axis) {
        for (int i = 0; i < 8; ++i) {
            t[i] = gtimeSubSec(obs.epoch[i], obs.epoch[0]);
            x[i] = obs.position[i][axis];
        }
        interpolation_Lagrange_Barycentric(t, x, 8, 0.0, value_and_rate);
        state->pos_eci[axis] = value_and_rate[0];
        state->vel_eci[axis] = value_and_rate[1];
    }
    std::vector<STATE_SPACECRAFT> history(121);
    SOLUTION_ORBITFIT solution{{}, nullptr, nullptr, 121, history.data(), 121};
    ASSERT_TRUE(orbit_fit(config.get(), state.get(), obs.end(), 121, obs.epoch.data(), obs.rows(), &solution));
    std::printf("precise orbit, 2 h: rms along %.4f, radial %.4f, cross %.4f m\n", solution.rms_acr[0],
                solution.rms_acr[1], solution.rms_acr[2]);
    EXPECT_GT(norm(3, solution.rms_acr), 1e-4);
    EXPECT_LT(norm(3, solution.rms_acr), 0.02);
}

}  // namespace
