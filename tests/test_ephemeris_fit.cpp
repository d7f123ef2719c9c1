// Broadcast-style elements: position against a textbook orbit, partial derivatives against central differences.
#include <array>
#include <cmath>
#include <cstring>
#include <functional>

#include "ephemeris_fit.h"
#include "support.h"

namespace {

using Vector = std::array<double, 3>;

constexpr double kGm = 398600.4415, kPi = 3.14159265358979323846, kToe = 86400.0, kStep = 1234.5;

/// A GPS-like orbit whose mean anomaly, kStep after toe, is M.
ephemeris_gps make_orbit(double e, double M) {
    const double a = 26560.0, dn = 4.5e-9;
    ephemeris_gps orbit;
    set_data(kToe, a, e, 0.96, 1.1, 0.7, M - (std::sqrt(kGm / a / a / a) + dn) * kStep, dn, 3e-10, -8e-9, 8e-6, -5e-6,
             0.1, 0.2, 1e-7, -2e-7, &orbit);
    return orbit;
}

Vector position(double t, ephemeris_gps orbit) {
    Vector pos;
    double vel[3] = {1.0, 2.0, 3.0};
    compute_position_velocity(t, &orbit, pos.data(), vel);
    EXPECT_TRUE(vel[0] == 1.0 && vel[1] == 2.0 && vel[2] == 3.0);  // not written
    return pos;
}

double length(const Vector& v) { return std::hypot(v[0], v[1], v[2]); }

double distance(const Vector& a, const Vector& b) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); }

/// The orbit as textbooks have it: a point of the ellipse, corrected, and turned into the frame.
Vector textbook(const ephemeris_gps& o, double tk, double E) {
    const double x = o.a * (std::cos(E) - o.e), y = o.a * std::sqrt(1.0 - o.e * o.e) * std::sin(E);
    const double phi = std::atan2(y, x) + o.omega, s = std::sin(2.0 * phi), c = std::cos(2.0 * phi);
    const double u = phi + o.Cus * s + o.Cuc * c, r = std::hypot(x, y) + o.Crs * s + o.Crc * c;
    const double i = o.i0 + o.i_dot * tk + o.Cis * s + o.Cic * c, node = o.OMEGA0 + o.OMEGA_dot * tk;
    const double in_plane[2] = {r * std::cos(u), r * std::sin(u)};
    const Vector to_node = {std::cos(node), std::sin(node), 0.0};
    const Vector ahead = {-std::cos(i) * std::sin(node), std::cos(i) * std::cos(node), std::sin(i)};
    Vector pos;
    for (int k = 0; k < 3; ++k) pos[k] = in_plane[0] * to_node[k] + in_plane[1] * ahead[k];
    return pos;
}

/// Column of the Jacobian, and its central difference.
std::pair<Vector, Vector> column(double t, const ephemeris_gps& orbit, int q) {
    const double steps[15] = {1e-2, 1e-6, 1e-5, 1e-5, 1e-5, 1e-5, 1e-9, 1e-9, 1e-9, 1e-5, 1e-5, 1e-2, 1e-2, 1e-5, 1e-5};
    double H[3][15];
    ephemeris_gps now = orbit, plus = orbit, minus = orbit;
    partial_xyz_partial_eph(t, &now, H);
    (&plus.a)[q] += steps[q];
    (&minus.a)[q] -= steps[q];
    const Vector p = position(t, plus), m = position(t, minus);
    const double width = (&plus.a)[q] - (&minus.a)[q];
    std::pair<Vector, Vector> both;
    for (int k = 0; k < 3; ++k) {
        both.first[k] = H[k][q];
        both.second[k] = (p[k] - m[k]) / width;
    }
    return both;
}

}  // namespace

TEST(EphemerisFit, PositionIsATextbookOrbitOnOneHalfAndItsOppositeOnTheOther) {
    for (const double e : {0.0, 0.001, 0.01}) {
        double worst[2] = {};  // by half of the mean anomaly
        for (int k = 0; k < 360; ++k) {
            const double E = (k - 179.5) * kPi / 180.0, M = E - e * std::sin(E);
            const ephemeris_gps orbit = make_orbit(e, M);
            Vector want = textbook(orbit, kStep, E);
            if (std::cos(E) < e) {
                for (double& w : want) w = -w;
            }
            double& error = worst[M > 0.0 ? 0 : 1];
            error = std::max(error, distance(position(kToe + kStep, orbit), want));
        }
        EXPECT_LT(worst[0], 1e-8) << e;
        // one step of Newton where the first correction is negative: e^3/2 of the axis
        EXPECT_NEAR(worst[1] / 26560.0, e * e * e / 2.0, 1e-12 + 1e-4 * e * e * e) << e;
    }
}

TEST(EphemerisFit, ColumnsAreTheDerivativesOfThePosition) {
    const double a = 26560.0, rate = a * kStep;
    const double scale[15] = {1.0, a, a, a, a, a, rate, rate, rate, a, a, 1.0, 1.0, a, a};
    for (const double e : {0.001, 0.01, 0.1}) {
        for (int k = 0; k < 72; ++k) {
            const double E = (k - 35.7) * kPi / 36.0, M = E - e * std::sin(E);
            if (std::fabs(std::cos(E) - e) < 0.02) continue;  // where the anomaly jumps
            for (int q = 0; q < 15; ++q) {
                const auto [ours, difference] = column(kToe + kStep, make_orbit(e, M), q);
                if (q == 1) continue;
                // the single step of Newton has a derivative of its own
                const double tolerance = (1e-8 + (M > 0.0 ? 0.01 : 1.0) * e * e * e) * (scale[q] + length(difference));
                EXPECT_LT(distance(ours, difference), tolerance) << "e " << e << " M " << M << " column " << q;
            }
        }
    }
    const auto at_toe = [](int q) { return length(column(kToe, make_orbit(0.01, 0.5), q).first); };
    for (const int q : {6, 7, 8}) EXPECT_EQ(at_toe(q), 0.0) << q;
    EXPECT_GT(at_toe(5), 0.0);
}

// The column takes the derivative of the tangent of the anomaly for that of the anomaly.
TEST(EphemerisFit, ColumnOfTheEccentricityIsRightAtTheApsidesOnly) {
    const double e = 0.01;
    for (const double degrees : {0.0, 5.0, 45.0, 75.0, 120.0, 180.0}) {
        const double E = degrees * kPi / 180.0, D = 1.0 - e * std::cos(E), root = std::sqrt(1.0 - e * e);
        ephemeris_gps orbit = make_orbit(e, E - e * std::sin(E));
        orbit.Cus = orbit.Cuc = orbit.Crs = orbit.Crc = orbit.Cis = orbit.Cic = 0.0;
        const auto [ours, difference] = column(kToe + kStep, orbit, 1);
        const Vector along = column(kToe + kStep, orbit, 4).first;  // radius times the direction of growing phi
        const double tangent = std::sin(E) * root / (std::cos(E) - e);
        const double derivative =
            std::sin(E) * (2.0 - e * e - e * std::cos(E)) / (root * D * D);  // of the true anomaly
        Vector excess;
        for (int k = 0; k < 3; ++k) excess[k] = tangent * tangent * derivative * along[k];
        for (int k = 0; k < 3; ++k) EXPECT_NEAR(ours[k] - difference[k], excess[k], 0.02 + 1e-6 * length(excess)) << E;
    }
}

TEST(EphemerisFit, FieldsAndOddValues) {
    ephemeris_gps orbit;
    std::memset(&orbit, 0xff, sizeof orbit);
    ephemeris_gps_clear(&orbit);
    const std::array<double, 16> none = {};
    EXPECT_EQ(std::memcmp(&orbit, none.data(), sizeof orbit), 0);
    set_data(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, &orbit);
    const double in_order[16] = {orbit.toe, orbit.a,   orbit.e,     orbit.i0,        orbit.OMEGA0, orbit.omega,
                                 orbit.M0,  orbit.dn,  orbit.i_dot, orbit.OMEGA_dot, orbit.Cus,    orbit.Cuc,
                                 orbit.Crs, orbit.Crc, orbit.Cis,   orbit.Cic};
    for (int i = 0; i < 16; ++i) EXPECT_EQ(in_order[i], i + 1.0);

    // Values that no orbit has end as numbers that are none; the last ones would keep Kepler's equation busy for ever.
    const double e_and_M[][2] = {
        {1.5, 0.5}, {NAN, 1.0}, {0.1, INFINITY}, {1e300, 2.0}, {1.5, 69964999999999.992}, {-3.0, 69208999999999.992}};
    for (const auto& [e, M] : e_and_M) {
        set_data(0, 26560, e, 1, 1, 1, M, 0, 0, 0, 0, 0, 0, 0, 0, 0, &orbit);
        EXPECT_TRUE(std::isnan(length(position(0.0, orbit)))) << e << " " << M;
    }
    ephemeris_gps_clear(&orbit);
    EXPECT_TRUE(std::isnan(length(position(1.0, orbit))));
}
