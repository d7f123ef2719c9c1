/// \file ephemeris_fit.cpp
/// Broadcast-style orbit elements in a non-rotating frame: position and partial derivatives.
#include "ephemeris_fit.h"

#include <cmath>

namespace {

constexpr double kGm = 398600.4415;  // [km^3/s^2]
constexpr double kOmegaE = 0.0;      // rotation of the frame [rad/s]: none
constexpr int kMaxKepler = 100;  // far above the two steps that any e below 1 takes; ends what e of 1 and more begins

/// The orbit at one time, with the sines and cosines that position and partials share.
struct Orbit {
    double tk;  // time since toe [s]
    double sin_E, cos_E;
    double D;         // 1 - e cos E
    double root;      // sqrt(1 - e^2)
    double sin_2phi;  // phi: argument of latitude without its corrections
    double cos_2phi;
    double r;  // radius [km]
    double sin_u, cos_u, sin_i, cos_i, sin_OMEGA, cos_OMEGA;
    double X, Y;  // direction of the radius in the equator; the third component is sin_i * sin_u
};

double eccentric_anomaly(double e, double Mk) {
    double Ek = Mk;
    double d = 0.0;
    int steps = 0;
    do {
        d = (e * std::sin(Ek) + Mk - Ek) / (1.0 - e * std::cos(Ek));
        Ek += d;
    } while (d >= 1e-12 && ++steps < kMaxKepler);  // settled: no absolute value, a negative correction is the last
    return Ek;
}

Orbit evaluate(double t, const ephemeris_gps& eph) {
    Orbit o;
    o.tk = t - eph.toe;
    const double n = std::sqrt(kGm / eph.a / eph.a / eph.a);
    const double Mk = eph.M0 + (n + eph.dn) * o.tk;
    const double Ek = eccentric_anomaly(eph.e, Mk);
    o.sin_E = std::sin(Ek);
    o.cos_E = std::cos(Ek);
    o.D = 1.0 - eph.e * o.cos_E;
    o.root = std::sqrt(1.0 - eph.e * eph.e);
    // settled: within a quarter turn of perigee; the other half comes out shifted by pi
    const double alpha = std::atan(o.sin_E * o.root / (o.cos_E - eph.e));
    const double phi = alpha + eph.omega;
    o.sin_2phi = std::sin(2.0 * phi);
    o.cos_2phi = std::cos(2.0 * phi);
    const double du = eph.Cus * o.sin_2phi + eph.Cuc * o.cos_2phi;
    const double dr = eph.Crs * o.sin_2phi + eph.Crc * o.cos_2phi;
    const double di = eph.Cis * o.sin_2phi + eph.Cic * o.cos_2phi;
    const double u = phi + du;
    const double i = eph.i0 + eph.i_dot * o.tk + di;
    const double OMEGA = eph.OMEGA0 + (eph.OMEGA_dot - kOmegaE) * o.tk - kOmegaE * eph.toe;
    o.r = eph.a * o.D + dr;
    o.sin_u = std::sin(u);
    o.cos_u = std::cos(u);
    o.sin_i = std::sin(i);
    o.cos_i = std::cos(i);
    o.sin_OMEGA = std::sin(OMEGA);
    o.cos_OMEGA = std::cos(OMEGA);
    o.X = o.cos_OMEGA * o.cos_u - o.cos_i * o.sin_u * o.sin_OMEGA;
    o.Y = o.cos_OMEGA * o.cos_i * o.sin_u + o.sin_OMEGA * o.cos_u;
    return o;
}

}  // namespace

void ephemeris_gps_clear(ephemeris_gps* eph) { *eph = {}; }

void set_data(double t, double a_in, double e_in, double i0_in, double OMEGA0_in, double omega_in, double M0_in,
              double dn_in, double i_dot_in, double OMEGA_dot_in, double Cus_in, double Cuc_in, double Crs_in,
              double Crc_in, double Cis_in, double Cic_in, ephemeris_gps* eph) {
    *eph = {t,        a_in,         e_in,   i0_in,  OMEGA0_in, omega_in, M0_in,  dn_in,
            i_dot_in, OMEGA_dot_in, Cus_in, Cuc_in, Crs_in,    Crc_in,   Cis_in, Cic_in};
}

// settled: vel is not written
void compute_position_velocity(double t, ephemeris_gps* eph, double* pos, double*) {
    const Orbit o = evaluate(t, *eph);
    pos[0] = o.r * o.X;
    pos[1] = o.r * o.Y;
    pos[2] = o.r * o.sin_i * o.sin_u;
}

void partial_xyz_partial_eph(double t, ephemeris_gps* eph, double (*H)[15]) {
    enum Column { kA, kE, kI0, kOMEGA0, kOmega, kM0, kDn, kIDot, kOMEGADot, kCus, kCuc, kCrs, kCrc, kCis, kCic };
    const Orbit o = evaluate(t, *eph);
    const double a = eph->a;
    const double e = eph->e;
    const double V = -o.cos_OMEGA * o.sin_u - o.cos_i * o.cos_u * o.sin_OMEGA;
    const double W = o.cos_OMEGA * o.cos_i * o.cos_u - o.sin_OMEGA * o.sin_u;

    const double pM_pa = -1.5 * std::sqrt(kGm / (a * a * a * a * a)) * o.tk;
    const double pE_pM = 1.0 / o.D;
    const double pE_pe = o.sin_E / o.D;
    const double pE_pDn = o.tk / o.D;
    const double palpha_pE = o.root / o.D;

    const double pphi_pa = palpha_pE * pE_pM * pM_pa;
    const double pphi_pM0 = palpha_pE * pE_pM;
    const double pphi_pDn = palpha_pE * pE_pDn;
    // settled: the derivative of tan(alpha); that of alpha would have a factor cos^2(alpha)
    const double pphi_pe =
        (o.cos_E * pE_pe + (o.sin_E * pE_pe + 1.0) * o.sin_E / (o.cos_E - e) - e * o.sin_E / (1.0 - e * e)) * o.root /
        (o.cos_E - e);

    const double cu = 2.0 * (eph->Cus * o.cos_2phi - eph->Cuc * o.sin_2phi) + 1.0;
    const double cr = 2.0 * (eph->Crs * o.cos_2phi - eph->Crc * o.sin_2phi);
    const double ci = 2.0 * (eph->Cis * o.cos_2phi - eph->Cic * o.sin_2phi);

    // from the derivatives of radius, argument of latitude and inclination to those of the position
    const auto chain = [&](Column column, double pr, double pu, double pi) {
        H[0][column] = o.X * pr + o.r * (V * pu + o.sin_OMEGA * o.sin_i * o.sin_u * pi);
        H[1][column] = o.Y * pr + o.r * (W * pu - o.cos_OMEGA * o.sin_i * o.sin_u * pi);
        H[2][column] = o.sin_i * o.sin_u * pr + o.r * (o.sin_i * o.cos_u * pu + o.cos_i * o.sin_u * pi);
    };
    // elements that act through phi, and directly on the radius
    const auto through_phi = [&](Column column, double pphi, double direct) {
        chain(column, cr * pphi + direct, cu * pphi, ci * pphi);
    };
    through_phi(kA, pphi_pa, a * e * o.sin_E * pE_pM * pM_pa + o.D);
    through_phi(kE, pphi_pe, a * (e * o.sin_E * pE_pe - o.cos_E));
    through_phi(kOmega, 1.0, 0.0);
    through_phi(kM0, pphi_pM0, a * e * o.sin_E * pE_pM);
    through_phi(kDn, pphi_pDn, a * e * o.sin_E * pE_pDn);
    chain(kI0, 0.0, 0.0, 1.0);
    chain(kIDot, 0.0, 0.0, o.tk);
    chain(kCus, 0.0, o.sin_2phi, 0.0);
    chain(kCuc, 0.0, o.cos_2phi, 0.0);
    chain(kCrs, o.sin_2phi, 0.0, 0.0);
    chain(kCrc, o.cos_2phi, 0.0, 0.0);
    chain(kCis, 0.0, 0.0, o.sin_2phi);
    chain(kCic, 0.0, 0.0, o.cos_2phi);
    const double node[3] = {-o.r * o.Y, o.r * o.X, 0.0};
    for (int row = 0; row < 3; ++row) {
        H[row][kOMEGA0] = node[row];
        H[row][kOMEGADot] = node[row] * o.tk;
    }
}
