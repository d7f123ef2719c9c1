#include <algorithm>
#include <array>
#include <cmath>
#include <random>

#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "iers_function.h"
#include "support.h"
#ifdef HAVE_GEOGRAPHICLIB
#include <GeographicLib/SphericalHarmonic.hpp>
#endif

namespace {

int at(int n, int m) { return n * (n + 1) / 2 + m; }

/// Loads EGM2008 to degree 120; false where the data set is absent.
bool load_egm2008() {
    std::string name = support::data_path("gravity/EGM2008.txt").string();
    return std::filesystem::exists(name) && load_earth_coef_EGM(name.data());
}

std::array<double, 3> acceleration(int degree, const double* position) {
    double p[3] = {position[0], position[1], position[2]};
    std::array<double, 3> a;
    generateVW(degree, degree, p);
    compute_acc_earth_gravity(degree, degree, p, a.data());
    return a;
}

TEST(EarthGravity, BuiltinFieldHasTheModelsCoefficientsAndFactors) {
    initialize_global_earth_gravity();
    const struct {
        int n, m;
        double c, s;
    } entries[] = {{0, 0, 1.0, 0.0},
                   {2, 0, -0.0010826261738522225, 0.0},
                   {2, 1, -2.667394752374837e-10, 1.7872706485240434e-09},
                   {2, 2, 1.574615325722917e-06, -9.038727891965667e-07},
                   {30, 30, 3.134578048926262e-49, 1.0260842597684727e-48}};
    for (const auto& e : entries) {
        EXPECT_EQ(C[at(e.n, e.m)], e.c);
        EXPECT_EQ(S[at(e.n, e.m)], e.s);
    }
    EXPECT_EQ(o_C30, 2.532410518567722e-06);
    EXPECT_EQ(N[at(30, 30)], 1.2108559791536625e-40);
    const std::vector<double> builtin(N, N + NUM_GRAVITY_EMBED);
    computeNormalFactor();
    for (int n = 0; n <= 30; ++n) {
        for (int m = 0; m <= n; ++m) {
            EXPECT_EQ(N[at(n, m)], builtin[at(n, m)]);
            EXPECT_NEAR(N[at(n, m)] / normalFactor(n, m), 1.0, 1e-13);
            EXPECT_NEAR(legendrePoly(n, m, 0.3) / std::assoc_legendre(n, m, 0.3), 1.0, 1e-11);
        }
    }
    EXPECT_EQ(legendrePoly(2, 3, 0.3), 0.0);
}

#ifdef HAVE_GEOGRAPHICLIB
TEST(EarthGravity, AccelerationAgreesWithClenshawSummation) {
    for (const int degree : {30, 120}) {
        initialize_global_earth_gravity();
        if (degree == 120 && !load_egm2008()) GTEST_SKIP() << "data set not present: EGM2008.txt";
        const int top = degree - 1;  // the row above the degree is not generated
        std::vector<double> c, s;    // normalised, order by order
        for (int m = 0; m <= top; ++m) {
            for (int n = m; n <= top; ++n) {
                c.push_back(C[at(n, m)] / N[at(n, m)]);
                if (m > 0) s.push_back(S[at(n, m)] / N[at(n, m)]);
            }
        }
        const GeographicLib::SphericalHarmonic potential(c, s, top, Re);
        std::mt19937 generator(7);
        std::uniform_real_distribution<double> uniform(-1.0, 1.0);
        for (int i = 0; i < 20; ++i) {
            const double radius = 6678e3 + (42164e3 - 6678e3) * i / 19, sin_lat = uniform(generator);
            const double lon = 3.14 * uniform(generator), cos_lat = std::sqrt(1 - sin_lat * sin_lat);
            const double p[3] = {radius * cos_lat * std::cos(lon), radius * cos_lat * std::sin(lon), radius * sin_lat};
            double g[3];
            potential(p[0], p[1], p[2], g[0], g[1], g[2]);
            const auto a = acceleration(degree, p);
            for (int j = 0; j < 3; ++j) EXPECT_NEAR(a[j], GM / Re * g[j], 1e-12 * GM / radius / radius) << degree;
        }
    }
}
#endif

TEST(EarthGravity, LimitsOfDegreeAreKept) {
    initialize_global_earth_gravity();
    double p[3] = {5e6, -4e6, 3e6};
    const double r = std::sqrt(50e12);
    const auto a = acceleration(2, p);  // complete to degree 1: the point mass
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(a[j], -GM * p[j] / (r * r * r), 1e-15);
    EXPECT_EQ(acceleration(500, p), acceleration(120, p));
    double gradient[9];
    compute_dadr_earth_gravity(500, 500, p, gradient);  // reads rows 121 and 122, which are zero
    EXPECT_NEAR(gradient[8], GM / (r * r * r) * (3 * p[2] * p[2] / (r * r) - 1), 1e-8);
    for (int k = MAXSIZE_GRAVITY; k < MAXSIZE_GRAVITY_VW; ++k) EXPECT_EQ(V[k] + W[k], 0.0);
    generateVW(-5, -5, p);
    EXPECT_EQ(V[0], Re / r);
    EXPECT_EQ(acceleration(-5, p)[0], 0.0);
}

TEST(EarthGravity, GradientWeightsOfEachOrder) {
    double p[3] = {4.1e6, -4.9e6, 2.8e6};
    const int orders[][2] = {{3, 0}, {4, 1}, {4, 2}, {5, 5}, {6, 3}, {2, 1}};
    for (const auto& [n, m] : orders) {
        initialize_global_earth_gravity();
        std::fill_n(C, NUM_GRAVITY_EMBED, 0.0);
        std::fill_n(S, NUM_GRAVITY_EMBED, 0.0);
        C[at(n, m)] = 0.7;
        S[at(n, m)] = m > 0 ? -0.4 : 0.0;
        double difference[9], stated[9];
        for (int j = 0; j < 3; ++j) {
            constexpr double h = 100.0;
            double q[3] = {p[0], p[1], p[2]};
            q[j] = p[j] + h;
            const auto upper = acceleration(12, q);
            q[j] = p[j] - h;
            const auto lower = acceleration(12, q);
            for (int i = 0; i < 3; ++i) difference[3 * i + j] = (upper[i] - lower[i]) / (2 * h);
        }
        generateVW(12, 12, p);
        compute_dadr_earth_gravity(12, 0, p, stated);
        EXPECT_DOUBLE_EQ(stated[0] + stated[8], -stated[4]);
        // Tesseral xx and xy: all terms but the first carry four times their harmonic weight.
        const double scale = GM / (Re * Re * Re), weight = m > 0 ? 4.0 : 1.0, first = m > 0 ? 0.75 * scale : 0.0;
        const int k = at(n + 2, m + 2);
        const double xx = weight * difference[0] - first * (0.7 * V[k] - 0.4 * W[k]);
        const double xy = weight * difference[1] - first * (0.7 * W[k] + 0.4 * V[k]);
        const double xz = difference[2], yz = difference[5], zz = difference[8];
        const double expected[9] = {xx, xy, xz, xy, -xx - zz, yz, xz, yz, zz};
        const double tolerance = 1e-7 * (std::fabs(xx) + std::fabs(xy) + std::fabs(zz));
        for (int i = 0; i < 9; ++i) EXPECT_NEAR(stated[i], expected[i], tolerance) << n << ' ' << m << ' ' << i;
    }
}

TEST(EarthGravity, CoefficientFileWithFlawsAndItsSideFile) {
    support::LogRecorder log;
    std::filesystem::current_path(support::temp_dir());
    std::string name =
        support::write_temp("field.txt",
                            "a header line\n2 0\n2 0 -4.8e-4 0.0 1 1\n2 1 nonsense\n\n2 -1 9 9 1 1\n"
                            "2 3 9 9 1 1\n-4 -6 9 9 1 1\n3 3 7.2D-07 1.4D-06 1 1\n121 0 1 0 1 1\n4 0 9 9 1 1\n");
    EXPECT_TRUE(load_earth_coef_EGM(name.data()));
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "testdata/cs_file.txt"), 1);
    EXPECT_EQ(C[0], 1.0);
    EXPECT_EQ(o_C20, N[at(2, 0)] * -4.8e-4);
    EXPECT_EQ(o_C21, N[at(2, 1)] * -4.8e-4);  // degree and order were read, the rest is of the line before
    EXPECT_EQ(o_C33, N[at(3, 3)] * 7.2e-7);
    EXPECT_EQ(o_S33, N[at(3, 3)] * 1.4e-6);
    EXPECT_EQ(o_C40, 0.0);
    EXPECT_EQ(C[2], 0.0);

    std::filesystem::create_directory("testdata");
    EXPECT_TRUE(load_earth_coef_EGM(name.data()));
    std::string side = support::read_file("testdata/cs_file.txt");
    EXPECT_EQ(side.substr(0, 59), "static double N[]=\n{\n+1.0000000000000000000000000E+00,+1.73");
    EXPECT_NE(side.find(",\n};\n\nstatic double C[]=\n{\n"), std::string::npos);
    EXPECT_EQ(side.substr(side.size() - 5), ",\n};\n");
    std::replace(side.begin(), side.end(), ',', ' ');
    std::stringstream values(side.substr(side.find("C[]=\n{\n") + 7));
    double value;
    for (int k = 0; k < MAXSIZE_GRAVITY; ++k) ASSERT_TRUE(values >> value && value == C[k]) << k;

    std::string absent = "absent.txt";
    EXPECT_FALSE(load_earth_coef_EGM(absent.data()));
    EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, "load_earth_coef_EGM() open file failed!\n"));
}

TEST(EarthGravity, DriftMeanPoleAndPoleTide) {
    initialize_global_earth_gravity();
    double c20, c30, c40, c21, s21;
    correct_CS_TimeVarying(51544.5, &c20, &c30, &c40, &c21, &s21);
    for (const double zonal : {c20, c30, c40}) EXPECT_EQ(zonal, 0.0);
    // The model's own values belong to a slightly different mean pole.
    EXPECT_NEAR((o_C21 + c21) / N[at(2, 1)], -2.066e-10, 3e-11);
    EXPECT_NEAR((o_S21 + s21) / N[at(2, 1)], 1.3844e-9, 3e-11);
    correct_CS_TimeVarying(51544.5 + 3652.5, &c20, &c30, &c40, &c21, &s21);
    EXPECT_NEAR(c20 / std::sqrt(5.0), 1.16e-10, 1e-22);
    EXPECT_NEAR(c30 / std::sqrt(7.0), 4.9e-11, 1e-22);
    EXPECT_NEAR(c40 / 3.0, 4.7e-11, 1e-22);
    double pole[2], dC21, dS21;
    mean_polar_motion(58000.0, pole);
    correct_PoleTide(58000.0, pole[0] + 1.0, pole[1], &dC21, &dS21);
    EXPECT_NEAR(dC21, -1.333e-9 - 2.1778e-10, 1e-20);
    EXPECT_NEAR(dS21, 1.333e-9 * 0.0115 + 1.7232e-10 * 0.03365, 1e-20);
    correct_PoleTide(58000.0, pole[0], pole[1] - 1.0, &dC21, &dS21);
    EXPECT_NEAR(dS21, -1.333e-9 - 1.7232e-10, 1e-20);
}

TEST(EarthGravity, SolidTideFromClosedFormsAndDelaunayArguments) {
    // clang-format off
    constexpr double table_20[][13] = {
#include "../src/tables/gravity_tide_6_5b.inc"
    }, table_21[][13] = {
#include "../src/tables/gravity_tide_6_5a.inc"
    }, table_22[][13] = {
#include "../src/tables/gravity_tide_6_5c.inc"
    };
    // clang-format on
    initialize_global_earth_gravity();
    double bodies[2][3] = {{1.1e11, -0.8e11, 0.5e11}, {-2.5e8, 2.6e8, -1.2e8}};
    const double gm[2] = {1.327124400419394e+20, 4902789000000.0};
    double dC[10] = {}, dS[10] = {};
    correct_CS_solidEarthTide(2458000.0, 0.3, 2458000.3008, bodies[0], bodies[1], dC, dS);

    double c20 = 0, c21 = 0, s21 = 0, c22 = 0, s22 = 0, s33 = 0, c42 = 0;
    for (int b = 0; b < 2; ++b) {
        const auto [x, y, z] = bodies[b];
        const double r = std::hypot(x, y, z), ratio = 6378137.0 / r;
        const double f2 = gm[b] / GM * std::pow(ratio, 3) / 5 / (r * r),
                     f3 = gm[b] / GM * std::pow(ratio, 4) / 7 / (r * r * r);
        c20 += 0.29525 * f2 * std::sqrt(5.0) / 2 * (2 * z * z - x * x - y * y);
        c21 += 0.2947 * f2 * std::sqrt(15.0) * x * z;
        s21 += 0.2947 * f2 * std::sqrt(15.0) * y * z;
        c22 += 0.29801 * f2 * std::sqrt(15.0) / 2 * (x * x - y * y);
        s22 += 0.29801 * f2 * std::sqrt(15.0) * x * y;
        c42 += -0.00057 * f2 * std::sqrt(15.0) / 2 * (x * x - y * y);
        s33 += 0.094 * f3 * std::sqrt(70.0) / 4 * (3 * x * x - y * y) * y;
    }
    double delaunay[5], doodson[6];
    DOODSONARG(2458000.0, 0.3, 2458000.3008, delaunay, doodson);
    const auto theta = [&](int m, const double* row) {
        double sum = m * (doodson[0] + doodson[1]);  // sidereal time + pi
        for (int j = 0; j < 5; ++j) sum -= row[2 + j] * delaunay[j];
        return sum;
    };
    const auto in_phase = [&](int m, const double* row) {
        return 1e-12 * (row[0] * std::cos(theta(m, row)) - row[1] * std::sin(theta(m, row)));
    };
    const auto quadrature = [&](int m, const double* row) {
        return 1e-12 * (row[0] * std::sin(theta(m, row)) + row[1] * std::cos(theta(m, row)));
    };
    for (const auto& row : table_20) c20 += in_phase(0, row);
    for (const auto& row : table_21) c21 += quadrature(1, row), s21 += in_phase(1, row);
    for (const auto& row : table_22) c22 += in_phase(2, row), s22 -= quadrature(2, row);
    const double computed[] = {dC[0], dC[1], dS[1], dC[2], dS[2], dS[6], dC[9]};
    const double expected[] = {c20, c21, s21, c22, s22, s33, c42};
    for (int i = 0; i < 7; ++i) EXPECT_NEAR(computed[i], expected[i], 1e-20) << i;
}

TEST(EarthGravity, DriverAppliesEachCorrectionFromItsDegreeOn) {
    initialize_global_earth_gravity();
    const std::vector<double> initial(C, C + 13);
    double p[3] = {5e6, -4e6, 3e6}, sun[3] = {1.1e11, -0.8e11, 0.5e11}, moon[3] = {-2.5e8, 2.6e8, -1.2e8}, none[3] = {};
    double a[3], b[3], gradient[9];
    compute_acc_dadr_earth_gravity(1, 1, 58000, 37, p, sun, moon, a, nullptr);
    EXPECT_EQ(std::vector<double>(C, C + 13), initial);
    compute_acc_dadr_earth_gravity(3, 3, 58000, 37, p, sun, moon, nullptr, gradient);
    EXPECT_EQ(C[at(2, 0)], o_C20);
    EXPECT_NE(C[at(2, 1)], o_C21);
    compute_acc_dadr_earth_gravity(4, 4, 58000, 37, p, none, moon, nullptr, nullptr);
    EXPECT_EQ(C[at(2, 2)], o_C22);  // no tide
    EXPECT_NE(C[at(2, 0)], o_C20);  // drift
    compute_acc_dadr_earth_gravity(500, 500, 58000, 37, p, sun, moon, a, gradient);
    EXPECT_NEAR(C[at(2, 2)], o_C22, 1e-8);
    EXPECT_NE(C[at(2, 2)], o_C22);
    compute_acc_dadr_earth_gravity(120, 120, 59000, 37, p, sun, moon, b, nullptr);
    compute_acc_dadr_earth_gravity(120, 120, 58000, 37, p, sun, moon, b, nullptr);
    for (int j = 0; j < 3; ++j) EXPECT_EQ(a[j], b[j]);
}

}  // namespace
