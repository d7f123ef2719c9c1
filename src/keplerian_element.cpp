/// \file keplerian_element.cpp
/// Elementary rotations, quaternions and two-body orbit elements.
#include "keplerian_element.h"

#include <algorithm>
#include <cmath>

#include "mathlib.h"
#include "private/constants.h"
#include "private/report.h"
#include "ulog.h"

using namespace leopod;

namespace {

constexpr double kGm = 398600441500000.0;  ///< [m^3/s^2]
constexpr double kTwoPi = 2.0 * kPi;

void set_rows(double* R, double r0, double r1, double r2, double r3, double r4, double r5, double r6, double r7,
              double r8) {
    const double rows[9] = {r0, r1, r2, r3, r4, r5, r6, r7, r8};
    std::copy_n(rows, 9, R);
}

/// atan2, raised by 2 pi when negative.
double positive_atan2(double y, double x) {
    const double angle = std::atan2(y, x);
    return angle < 0 ? angle + kTwoPi : angle;
}

/// acos of a clamped cosine, in the second half of the circle when asked for.
double full_circle_acos(double cosine, bool second_half) {
    const double angle = std::acos(std::clamp(cosine, -1.0, 1.0));
    return second_half ? kTwoPi - angle : angle;
}

}  // namespace

// --- rotations and quaternions ---------------------------------------------------------------------------------------

void Rx(double phi, double* R) {
    const double c = std::cos(phi), s = std::sin(phi);
    set_rows(R, 1.0, 0.0, 0.0, 0.0, c, s, 0.0, -s, c);
}

void Ry(double phi, double* R) {
    const double c = std::cos(phi), s = std::sin(phi);
    set_rows(R, c, 0.0, -s, 0.0, 1.0, 0.0, s, 0.0, c);
}

void Rz(double phi, double* R) {
    const double c = std::cos(phi), s = std::sin(phi);
    set_rows(R, c, s, 0.0, -s, c, 0.0, 0.0, 0.0, 1.0);
}

void quaternion2rotation(QUATERNION q, double* R) {
    const double w = q.r, x = q.v[0], y = q.v[1], z = q.v[2];
    set_rows(R, 2 * (w * w + x * x) - 1, 2 * (x * y - w * z), 2 * (w * y + x * z),  //
             2 * (w * z + x * y), 2 * (w * w + y * y) - 1, 2 * (y * z - w * x),     //
             2 * (x * z - w * y), 2 * (w * x + y * z), 2 * (w * w + z * z) - 1);
}

void quaternion_from_rotation(double* rotationMatrix, QUATERNION* q) {
    const double* R = rotationMatrix;
    q->r = std::sqrt(R[0] + 1 + R[4] + R[8]) / 2;  // settled: one branch only; r near 0 (180 degrees) is not treated
    q->v[0] = -(R[5] - R[7]) / 4 / q->r;
    q->v[1] = -(R[6] - R[2]) / 4 / q->r;
    q->v[2] = -(R[1] - R[3]) / 4 / q->r;
}

void quaternion_normalise(QUATERNION* q) {
    const double length = std::sqrt(q->r * q->r + q->v[0] * q->v[0] + q->v[1] * q->v[1] + q->v[2] * q->v[2]);
    q->r /= length;
    for (double& component : q->v) component /= length;
}

void quaternion_conjugate(QUATERNION* q) {
    q->r = -q->r;  // settled: the scalar part is negated too, so the rotation stays the same
    negative_vector(3, q->v);
}

// --- anomalies -------------------------------------------------------------------------------------------------------

double get_ecan_from_tran(double ecc, double tran) {
    return positive_atan2(std::sqrt(1 - ecc * ecc) * std::sin(tran), std::cos(tran) + ecc);
}

double get_tran_from_ecan(double ecan, double ecc) {
    return positive_atan2(std::sqrt(1 - ecc * ecc) * std::sin(ecan), std::cos(ecan) - ecc);
}

double get_mean_from_ecan(double ecan, double ecc) { return ecan - ecc * std::sin(ecan); }

double get_ecan_from_mean(double mean, double ecc) {
    constexpr int kMaxPasses = 100000;
    long double E1 = 0.0L;
    long double E2 = mean;
    int count = 0;
    // settled: past five steps the loop goes on after convergence; it ends at a fixed number of passes
    do {
        E1 = E2;
        E2 = E1 - (E1 - ecc * std::sin(E1) - mean) / (1 - ecc * std::cos(E1));
        ++count;
    } while ((std::fabs(E2 - E1) > 1e-12L || count > 5) && count < kMaxPasses);
    if (count > 5) {
        report(ULOG_WARNING_LEVEL,
               "warning from GKeplerianElement::get_ecan_from_mean. E1-E2 (%lf) does not converge!\n",
               static_cast<double>(E1 - E2));
    }
    return static_cast<double>(E2);
}

// --- elements and Cartesian states -----------------------------------------------------------------------------------

void kpe2xyz(keplerian_elements* kpe, double* pos, double* vel) {
    const double e = kpe->m_ecc;
    kpe->m_ecan = get_ecan_from_tran(e, kpe->m_tran);
    const double cw = std::cos(kpe->m_argp), sw = std::sin(kpe->m_argp);
    const double cO = std::cos(kpe->m_raan), sO = std::sin(kpe->m_raan);
    const double ci = std::cos(kpe->m_inc), si = std::sin(kpe->m_inc);
    const double cE = std::cos(kpe->m_ecan), sE = std::sin(kpe->m_ecan);
    const double P[3] = {cw * cO - sw * sO * ci, sw * cO * ci + cw * sO, sw * si};
    const double Q[3] = {-sw * cO - cw * sO * ci, cw * cO * ci - sw * sO, cw * si};
    const double b = kpe->m_sma * std::sqrt(1 - e * e);
    const double n = std::sqrt(kGm / kpe->m_sma) / (1 - e * cE);
    for (int k = 0; k < 3; ++k) {
        pos[k] = Q[k] * b * sE + P[k] * (cE - e) * kpe->m_sma;
        vel[k] = Q[k] * cE * std::sqrt(1 - e * e) * n - P[k] * sE * n;
    }
}

void xyz2kpe(double* pos, double* vel, keplerian_elements* kpe) {
    const double r = norm(3, pos);
    const double v2 = norm2(3, vel);
    const double rdotv = dotproduct(3, 3, pos, vel);
    kpe->m_sma = r * kGm / (2 * kGm - v2 * r);

    double h[3], e[3];
    crossproduct(3, 3, pos, vel, h);
    const double h_mag = norm(3, h);
    const double hx2hy2 = h[0] * h[0] + h[1] * h[1];
    const double n[2] = {-h[1], h[0]};
    const double n_mag = std::sqrt(hx2hy2);
    for (int k = 0; k < 3; ++k) e[k] = pos[k] * (v2 / kGm - 1 / r) - vel[k] * (rdotv / kGm);
    const double e2 = norm2(3, e);
    kpe->m_ecc = std::sqrt(e2);
    kpe->m_inc = std::acos(h[2] / h_mag);

    const double ne = std::sqrt(hx2hy2 * e2);
    kpe->m_argp = ne <= 0 ? 0.0 : full_circle_acos((n[0] * e[0] + n[1] * e[1]) / ne, e[2] < 0);
    kpe->m_raan = n_mag <= 0 ? 0.0 : full_circle_acos(n[0] / n_mag, n[1] < 0);
    // settled: 0 / 0 for a circular orbit
    kpe->m_tran = full_circle_acos(dotproduct(3, 3, pos, e) / (kpe->m_ecc * r), rdotv < 0);
    kpe->m_ecan = get_ecan_from_tran(kpe->m_ecc, kpe->m_tran);
    kpe->m_mean = get_mean_from_ecan(kpe->m_ecan, kpe->m_ecc);
}

void update_kpe(keplerian_elements* kpe, double sec_since) {
    const double n = std::sqrt(kGm / kpe->m_sma) / kpe->m_sma;  // mean motion [rad/s]
    kpe->m_ecan = get_ecan_from_tran(kpe->m_ecc, kpe->m_tran);
    const double M = get_mean_from_ecan(kpe->m_ecan, kpe->m_ecc) + n * sec_since;
    kpe->m_ecan = get_ecan_from_mean(M, kpe->m_ecc);
    kpe->m_tran = get_tran_from_ecan(kpe->m_ecan, kpe->m_ecc);
}
