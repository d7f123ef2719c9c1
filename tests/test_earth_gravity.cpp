#include <algorithm>
#include <array>
#include <cmath>

#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "support.h"
#ifdef HAVE_GEOGRAPHICLIB
#include <GeographicLib/SphericalHarmonic.hpp>
#endif

namespace {

int at(int n, int m) { return n * (n + 1) / 2 + m; }

using Vector = std::array<double, 3>;

Vector acceleration(int degree, Vector p) {
    Vector a;
    generateVW(degree, degree, p.data());
    compute_acc_earth_gravity(degree, degree, p.data(), a.data());
    return a;
}

struct EarthGravity : testing::Test {
    EarthGravity() { initialize_global_earth_gravity(); }
};

TEST_F(EarthGravity, BuiltinFieldHasTheModelsCoefficientsAndFactors) {
    EXPECT_EQ(S[at(30, 30)], 1.0260842597684727e-48);
    const std::vector<double> builtin(N, N + NUM_GRAVITY_EMBED);
    computeNormalFactor();
    for (int n = 0; n <= 30; ++n) {
        for (int m = 0; m <= n; ++m) {
            EXPECT_EQ(N[at(n, m)], builtin[at(n, m)]);
            EXPECT_NEAR(N[at(n, m)] / normalFactor(n, m), 1.0, 1e-13);
            EXPECT_NEAR(legendrePoly(n, m, 0.3) / std::assoc_legendre(n, m, 0.3), 1.0, 1e-11);
        }
    }
}

#ifdef HAVE_GEOGRAPHICLIB
TEST_F(EarthGravity, AccelerationAgreesWithClenshawSummation) {
    for (const int degree : {30, 91}) {
        if (degree > 30) {
            ASSERT_TRUE(load_earth_coef_EGM(support::excerpt("egm2008_degree90.txt").data()));
        }
        const int top = degree - 1;  // the row above the degree is not generated
        std::vector<double> c, s;    // normalised, order by order
        for (int m = 0; m <= top; ++m) {
            for (int n = m; n <= top; ++n) {
                c.push_back(C[at(n, m)] / N[at(n, m)]);
                if (m > 0) s.push_back(S[at(n, m)] / N[at(n, m)]);
            }
        }
        const GeographicLib::SphericalHarmonic potential(c, s, top, Re);
        for (int i = 0; i < 20; ++i) {
            const double radius = 6678e3 + (42164e3 - 6678e3) * i / 19, lat = 1.5 * std::sin(2.3 * i), lon = 1.7 * i;
            const Vector p = {radius * std::cos(lat) * std::cos(lon), radius * std::cos(lat) * std::sin(lon),
                              radius * std::sin(lat)};
            double g[3];
            potential(p[0], p[1], p[2], g[0], g[1], g[2]);
            const auto a = acceleration(degree, p);
            for (int j = 0; j < 3; ++j) EXPECT_NEAR(a[j], GM / Re * g[j], 1e-12 * GM / radius / radius) << degree;
        }
    }
}
#endif

TEST_F(EarthGravity, LimitsOfDegreeAreKept) {
    Vector p = {5e6, -4e6, 3e6};
    const double r = std::sqrt(50e12);
    // Complete to degree 1: the point mass.
    for (int j = 0; j < 3; ++j) EXPECT_NEAR(acceleration(2, p)[j], -GM * p[j] / (r * r * r), 1e-15);
    EXPECT_EQ(acceleration(500, p), acceleration(120, p));
    double gradient[9];
    compute_dadr_earth_gravity(500, 500, p.data(), gradient);  // reads rows 121 and 122, which are zero
    EXPECT_NEAR(gradient[8], GM / (r * r * r) * (3 * p[2] * p[2] / (r * r) - 1), 1e-8);
    EXPECT_EQ(acceleration(-5, p)[0], 0.0);
}

TEST_F(EarthGravity, GradientWeightsOfEachOrder) {
    Vector p = {4.1e6, -4.9e6, 2.8e6};
    for (const auto& [n, m] : {std::pair{3, 0}, {4, 1}, {4, 2}, {5, 5}, {6, 3}, {2, 1}}) {
        std::fill_n(C, NUM_GRAVITY_EMBED, 0.0);
        std::fill_n(S, NUM_GRAVITY_EMBED, 0.0);
        C[at(n, m)] = 0.7;
        S[at(n, m)] = m > 0 ? -0.4 : 0.0;
        double d[9], stated[9];  // by differences, and of the library
        for (std::size_t j = 0; j < 3; ++j) {
            Vector up = p, down = p;
            up[j] += 100.0;
            down[j] -= 100.0;
            const Vector upper = acceleration(12, up), lower = acceleration(12, down);
            for (std::size_t i = 0; i < 3; ++i) d[3 * i + j] = (upper[i] - lower[i]) / 200.0;
        }
        generateVW(12, 12, p.data());
        compute_dadr_earth_gravity(12, 0, p.data(), stated);
        // Tesseral xx and xy: all terms but the first carry four times their harmonic weight.
        const double weight = m > 0 ? 4.0 : 1.0, first = m > 0 ? 0.75 * GM / (Re * Re * Re) : 0.0;
        const int k = at(n + 2, m + 2);
        const double xx = weight * d[0] - first * (0.7 * V[k] - 0.4 * W[k]);
        const double xy = weight * d[1] - first * (0.7 * W[k] + 0.4 * V[k]);
        const double expected[9] = {xx, xy, d[2], xy, -xx - d[8], d[5], d[2], d[5], d[8]};
        const double tolerance = 1e-7 * (std::fabs(xx) + std::fabs(xy) + std::fabs(d[8]));
        for (int i = 0; i < 9; ++i) EXPECT_NEAR(stated[i], expected[i], tolerance) << n << ' ' << m << ' ' << i;
    }
}

// Orders are taken some at a time. What stops at a degree and an order is what coefficients of zero beyond them leave.
TEST_F(EarthGravity, SumsStopAtTheirDegreeAndOrder) {
    const Vector p = {4.1e6, -4.9e6, 2.8e6};
    computeNormalFactor();
    generateVW(MAXDEGREE_GRAVITY, MAXDEGREE_GRAVITY, Vector(p).data());
    for (int degree = 0; degree <= 31; ++degree) {
        for (const int order : {degree, degree / 2}) {
            double acc[2][3], dadr[2][9];
            for (int rest = 1; rest >= 0; --rest) {
                for (int n = 0; n <= MAXDEGREE_GRAVITY; ++n) {
                    for (int m = 0; m <= n; ++m) {
                        const double size = rest == 1 || (n <= degree && m <= order) ? 1e-6 * N[at(n, m)] : 0.0;
                        C[at(n, m)] = size * std::sin(at(n, m)), S[at(n, m)] = size * std::cos(at(n, m));
                    }
                }
                const int top = rest == 1 ? degree : MAXDEGREE_GRAVITY;
                compute_acc_earth_gravity(top, rest == 1 ? order : top, nullptr, acc[rest]);
                compute_dadr_earth_gravity(top, rest == 1 ? order : top, nullptr, dadr[rest]);
            }
            for (int i = 0; i < 3; ++i) EXPECT_NEAR(acc[0][i], acc[1][i], 1e-20) << degree << ' ' << order;
            if (order < degree) continue;  // the gradient has all orders
            for (int i = 0; i < 9; ++i) EXPECT_NEAR(dadr[0][i], dadr[1][i], 1e-26) << degree;
        }
    }
}

TEST_F(EarthGravity, CoefficientFileWithFlawsAndItsSideFile) {
    std::filesystem::current_path(support::temp_dir());
    std::filesystem::create_directory("testdata");
    std::string name =
        support::write_temp("field.txt",
                            "a header line\n2 0\n2 0 -4.8e-4 0.0 1 1\n2 1 nonsense\n\n2 -1 9 9 1 1\n"
                            "2 3 9 9 1 1\n-4 -6 9 9 1 1\n3 3 7.2D-07 1.4D-06 1 1\n121 0 1 0 1 1\n4 0 9 9 1 1\n");
    const support::CommaLocale comma;
    EXPECT_TRUE(load_earth_coef_EGM(name.data()));
    EXPECT_EQ(o_C20, N[at(2, 0)] * -4.8e-4);
    EXPECT_EQ(o_C21, N[at(2, 1)] * -4.8e-4);  // degree and order were read, the rest is of the line before
    EXPECT_EQ(o_C33, N[at(3, 3)] * 7.2e-7);
    EXPECT_EQ(o_C40, 0.0);
    EXPECT_EQ(C[2], 0.0);
    // The side file holds the coefficients.
    std::string side = support::read_file("testdata/cs_file.txt");
    std::replace(side.begin(), side.end(), ',', ' ');
    std::stringstream values(side.substr(side.find("C[]=\n{\n") + 7));
    double value;
    for (int k = 0; k < MAXSIZE_GRAVITY; ++k) ASSERT_TRUE(values >> value && value == C[k]) << k;
}

// The drift, the mean pole and the tides are those of the oracle of the forces; there the pole itself is at zero.
TEST_F(EarthGravity, PoleTideOfAPoleAwayFromItsMean) {
    double pole[2], dC21, dS21;
    mean_polar_motion(58000.0, pole);
    correct_PoleTide(58000.0, pole[0] + 1.0, pole[1] - 1.0, &dC21, &dS21);
    EXPECT_NEAR(dC21, -1.333e-9 * 1.0115 - 2.1778e-10 * (1.0 - 0.01724), 1e-20);
    EXPECT_NEAR(dS21, -1.333e-9 * 0.9885 - 1.7232e-10 * (1.0 - 0.03365), 1e-20);
}

TEST_F(EarthGravity, DriverAppliesEachCorrectionFromItsDegreeOn) {
    double p[3] = {5e6, -4e6, 3e6}, sun[3] = {1.1e11, -0.8e11, 0.5e11}, moon[3] = {-2.5e8, 2.6e8, -1.2e8}, none[3] = {};
    double a[3], b[3];
    compute_acc_dadr_earth_gravity(1, 1, 58000, 37, p, sun, moon, a, nullptr);
    EXPECT_EQ(C[at(2, 1)], o_C21);
    compute_acc_dadr_earth_gravity(3, 3, 58000, 37, p, sun, moon, nullptr, nullptr);
    EXPECT_EQ(C[at(2, 0)], o_C20);
    EXPECT_NE(C[at(2, 1)], o_C21);
    compute_acc_dadr_earth_gravity(4, 4, 58000, 37, p, none, moon, nullptr, nullptr);
    EXPECT_EQ(C[at(2, 2)], o_C22);  // no tide
    EXPECT_NE(C[at(2, 0)], o_C20);  // drift
    compute_acc_dadr_earth_gravity(500, 500, 58000, 37, p, sun, moon, a, nullptr);
    EXPECT_NE(C[at(2, 2)], o_C22);
    compute_acc_dadr_earth_gravity(120, 120, 59000, 37, p, sun, moon, b, nullptr);
    compute_acc_dadr_earth_gravity(120, 120, 58000, 37, p, sun, moon, b, nullptr);
    for (int j = 0; j < 3; ++j) EXPECT_EQ(a[j], b[j]);
}

}  // namespace
