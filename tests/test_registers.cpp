// The code for wide registers and that of the baseline give the same bits. Both libraries are loaded side by side; where the processor has no
// wide registers, both run the baseline.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "earth_gravity.h"
#include "iau_function.h"
#include "mathlib.h"
#include "orbit_dynamics.h"

namespace {

using Values = std::vector<double>;

// A function or an array of a library, by its name.
#define FUNCTION(name) const auto name = reinterpret_cast<decltype(&::name)>(dlsym(library, #name))
#define ARRAY(name) double* const name = static_cast<double*>(dlsym(library, #name))

Values numbers(std::size_t count, double seed) {
    Values values(count);
    for (std::size_t i = 0; i < count; ++i) values[i] = std::sin(seed + 1.7 * static_cast<double>(i * i % 997));
    return values;
}

void append(Values& all, const double* first, std::size_t count) { all.insert(all.end(), first, first + count); }

Values nutation(void* library) {
    FUNCTION(iauNut00a);
    Values all;
    for (int i = 0; i < 60; ++i) {
        double angles[2];
        iauNut00a(2451545.0, 601.3 * i, &angles[0], &angles[1]);
        append(all, angles, 2);
    }
    return all;
}

Values field(void* library) {
    FUNCTION(initialize_global_earth_gravity);
    FUNCTION(computeNormalFactor);
    FUNCTION(generateVW);
    FUNCTION(compute_acc_earth_gravity);
    FUNCTION(compute_dadr_earth_gravity);
    ARRAY(N);
    ARRAY(C);
    ARRAY(S);
    initialize_global_earth_gravity();
    computeNormalFactor();
    for (int k = NUM_GRAVITY_EMBED; k < MAXSIZE_GRAVITY; ++k) {
        C[k] = N[k] * 1e-7 * std::sin(k);
        S[k] = N[k] * 1e-7 * std::cos(k);
    }
    double places[][3] = {{4.1e6, -4.9e6, 2.8e6}, {0.0, 0.0, 7e6}, {7e6, 0.0, 0.0}};
    Values all;
    for (auto& p : places) {
        for (int degree : {120, 100, 63, 30, 9, 5, 4, 2, 0}) {
            double a[3], g[9];
            generateVW(degree, degree, p);
            compute_acc_earth_gravity(degree, degree, p, a);
            compute_dadr_earth_gravity(degree, degree, p, g);
            append(all, a, 3), append(all, g, 9);
        }
    }
    return all;
}

void coupled(int n, double x, double* y, double* dydx) {
    for (int i = 0; i < n; ++i) dydx[i] = std::cos(x) - 0.3 * y[(7 * i + 3) % n];
}

Values steps(void* library) {
    FUNCTION(single_step_RungeKuttaFehlberg78);
    Values all;
    for (int n : {1, 2, 3, 4, 5, 6, 7, 42, 43, 3066}) {
        Values y = numbers(n, n), error(n);
        for (double h : {0.7, -0.3}) {
            single_step_RungeKuttaFehlberg78(coupled, n, 0.2, y.data(), h, error.data());
            append(all, y.data(), n), append(all, error.data(), n);
        }
    }
    return all;
}

Values algebra(void* library) {
    FUNCTION(matinv);
    FUNCTION(matrixMultiply);
    FUNCTION(interpolation_multip_dimension);
    Values all;
    for (int n : {1, 3, 4, 7, 16, 39, 101}) {
        Values a = numbers(n * n, n), b = a, product(n * n);
        EXPECT_EQ(matinv(a.data(), n, n), 0);
        matrixMultiply(n, n, a.data(), n, b.data(), product.data());
        append(all, a.data(), a.size()), append(all, product.data(), product.size());
    }
    for (int columns : {1, 5, 42, 303}) {
        Values x(17), table = numbers(17 * columns, columns), value(columns);
        for (int i = 0; i < 17; ++i) x[i] = 0.1 * i;
        for (double t : {0.0, 0.73, 1.6, 1.2345}) {
            interpolation_multip_dimension(17, columns, x.data(), table.data(), t, value.data(), nullptr);
            append(all, value.data(), columns);
        }
    }
    return all;
}

TEST(Registers, WideAndBaselineGiveTheSameBits) {
    void* const wide = dlopen(LEOPOD_WIDE, RTLD_NOW | RTLD_LOCAL);
    void* const plain = dlopen(LEOPOD_PLAIN, RTLD_NOW | RTLD_LOCAL);
    ASSERT_TRUE(wide != nullptr && plain != nullptr) << dlerror();
    ASSERT_NE(dlsym(wide, "V"), dlsym(plain, "V"));  // two stores, so two libraries
    for (const auto compute : {nutation, field, steps, algebra}) {
        const Values a = compute(wide), b = compute(plain);
        ASSERT_EQ(a.size(), b.size());
        EXPECT_EQ(std::memcmp(a.data(), b.data(), a.size() * sizeof(double)), 0)
            << "first difference at " << std::mismatch(a.begin(), a.end(), b.begin()).first - a.begin();
    }
}

}  // namespace
