// Rotations, quaternions and two-body elements.
#include <cmath>

#include "keplerian_element.h"
#include "mathlib.h"
#include "support.h"

namespace {

constexpr double kGm = 398600441500000.0;

/// An inclined ellipse with the anomalies still to be set.
keplerian_elements ellipse(double ecc, double tran) { return {8.0e6, ecc, 1.1, 4.0, 5.5, tran, 0.0, 9.0}; }

void expect_near(const double* a, const double* b, int n, double tolerance) {
    for (int k = 0; k < n; ++k) EXPECT_NEAR(a[k], b[k], tolerance) << "element " << k;
}

}  // namespace

TEST(Quaternion, MatrixRoundTripAndNegation) {
    QUATERNION q = {2.0, {-0.8, 1.2, 0.4}}, back;
    quaternion_normalise(&q);
    double R[9], about_z[9], axis[3];
    quaternion2rotation(q, R);
    matrixMultiply(3, 3, R, 1, q.v, axis);  // the vector part is the axis
    expect_near(axis, q.v, 3, 1e-15);
    quaternion_from_rotation(R, &back);
    EXPECT_NEAR(back.r, q.r, 1e-15);
    expect_near(back.v, q.v, 3, 1e-15);
    quaternion_conjugate(&back);  // all four: the same rotation
    EXPECT_TRUE(back.r < 0 && back.v[0] > 0 && back.v[1] < 0 && back.v[2] < 0);
    quaternion2rotation({std::cos(0.25), {0.0, 0.0, std::sin(0.25)}}, R);
    Rz(-0.5, about_z);  // a quaternion turns vectors, a rotation matrix the axes
    EXPECT_NEAR(about_z[3], std::sin(0.5), 1e-16);
    expect_near(R, about_z, 9, 1e-15);
}

TEST(Kepler, AnomaliesInvertAndSlowSolutionsEnd) {
    support::LogRecorder log;
    for (double tran = 0.05; tran < 6.28; tran += 0.3) {
        const double ecan = get_ecan_from_tran(0.2, tran);
        EXPECT_NEAR(get_tran_from_ecan(ecan, 0.2), tran, 1e-14);
        EXPECT_NEAR(get_ecan_from_mean(get_mean_from_ecan(ecan, 0.2), 0.2), ecan, 1e-14);
    }
    EXPECT_TRUE(support::LogRecorder::messages().empty());
    EXPECT_NEAR(get_mean_from_ecan(get_ecan_from_mean(0.3, 0.95), 0.95), 0.3, 1e-14);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "warning from GKeplerianElement::get_ecan_from_mean. E1-E2 ("), 1);
}

TEST(Kepler, ElementsAndStatesInvert) {
    for (const double tran : {0.4, 2.0, 3.5, 6.0}) {
        const double ecc = 0.05 * tran;
        keplerian_elements given = ellipse(ecc, tran), back;
        double pos[3], vel[3], h[3];
        kpe2xyz(&given, pos, vel);
        EXPECT_NEAR(norm(3, pos), 8.0e6 * (1 - ecc * ecc) / (1 + ecc * std::cos(tran)), 1e-6);
        EXPECT_NEAR(norm2(3, vel), kGm * (2 / norm(3, pos) - 1 / 8.0e6), 1e-7);  // vis viva
        crossproduct(3, 3, pos, vel, h);
        EXPECT_NEAR(std::atan2(h[0], -h[1]), given.m_raan - 2 * M_PI, 1e-13);
        xyz2kpe(pos, vel, &back);
        EXPECT_NEAR(back.m_sma, given.m_sma, 1e-6);
        EXPECT_NEAR(back.m_mean, get_mean_from_ecan(given.m_ecan, ecc), 1e-11);
        EXPECT_NEAR(back.m_ecc, ecc, 1e-13);
        EXPECT_NEAR(back.m_inc, given.m_inc, 1e-13);
        EXPECT_NEAR(back.m_argp, given.m_argp, 1e-11);
        EXPECT_NEAR(back.m_raan, given.m_raan, 1e-13);
        EXPECT_NEAR(back.m_tran, tran, 1e-11);
    }
    double pos[] = {7e6, 0, 0}, vel[] = {0, 8000, 0};  // equatorial: no node, perigee 0
    keplerian_elements flat;
    xyz2kpe(pos, vel, &flat);
    EXPECT_TRUE(flat.m_raan == 0.0 && flat.m_argp == 0.0 && flat.m_inc == 0.0);
}

TEST(Kepler, PropagationByWholeAndQuarterRevolutions) {
    const double period = 2 * M_PI * std::sqrt(8.0e6 * 8.0e6 * 8.0e6 / kGm);
    keplerian_elements orbit = ellipse(0.1, 1.0), perigee = ellipse(0.1, 0.0);
    update_kpe(&orbit, period);
    update_kpe(&perigee, period / 4);
    EXPECT_NEAR(orbit.m_tran, 1.0, 1e-13);
    EXPECT_NEAR(get_mean_from_ecan(perigee.m_ecan, 0.1), M_PI / 2, 1e-13);
    EXPECT_EQ(orbit.m_mean, 9.0);  // not part of the update
}
