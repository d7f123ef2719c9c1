#include "iers_function.h"

#include <cmath>
#include <iterator>

#include "iau_function.h"
#include "internal.h"

using leopod::fmod_two_pi;
using leopod::horner;
using leopod::kArcsecToRad;
using leopod::kDaysInCentury;
using leopod::kJdJ2000;
using leopod::kPi;
using leopod::kTwoPi;
using leopod::report;

namespace {

constexpr double kMjdJ2000 = 51544.5;

double positive_turn(double a) { return a < 0.0 ? a + kTwoPi : a; }

/// Argument vector of the subdiurnal series at an MJD: GMST + pi, L, LP, F, D, OM [rad].
void subdiurnal_arguments(double RMJD, double (&ARG)[6]) {
    constexpr double RAD2SEC = 86400.0 / kTwoPi;
    constexpr double kGmst[] = {67310.54841, 3164400184.812866, 0.093104, -6.2e-06};
    const double T = (RMJD - kMjdJ2000) / kDaysInCentury;
    const double GMST = std::fmod(horner(kGmst, T), 86400.0);  // [s]
    ARG[0] = fmod_two_pi(GMST / RAD2SEC + kPi);
    FUNDARG(T, &ARG[1], &ARG[2], &ARG[3], &ARG[4], &ARG[5]);
}

/// Sum of multipliers times arguments, reduced by 2 pi.
template <int N>
double term_angle(const int (&multipliers)[N], const double (&arguments)[N]) {
    double angle = 0.0;
    for (int i = 0; i < N; ++i) angle += multipliers[i] * arguments[i];
    return fmod_two_pi(angle);
}

/// Subdiurnal term: sine and cosine amplitudes of two quantities. The period is a label.
struct SubdiurnalTerm {
    int IARG[6];
    double PER;
    double s1, c1, s2, c2;
};

void add_term(const SubdiurnalTerm& term, const double (&ARG)[6], double* first, double* second) {
    const double ANGLE = term_angle(term.IARG, ARG);
    const double s = std::sin(ANGLE);
    const double c = std::cos(ANGLE);
    *first += term.s1 * s + term.c1 * c;
    *second += term.s2 * s + term.c2 * c;
}

}  // namespace

// --- arguments -------------------------------------------------------------------------------------------------------

void FUNDARG(double T, double* L, double* LP, double* F, double* D, double* OM) {
    *L = iauFal03(T);
    *LP = leopod::mean_anomaly_sun_mhb(T);  // five decimals, unlike iauFalp03 and iauFad03
    *F = iauFaf03(T);
    *D = leopod::mean_elongation_moon_mhb(T);
    *OM = iauFaom03(T);
}

void DOODSONARG(double JD_UT1_I, double JD_UT1_F, double JD_TT, double* FNUT, double* BETA) {
    FUNDARG((JD_TT - kJdJ2000) / kDaysInCentury, &FNUT[0], &FNUT[1], &FNUT[2], &FNUT[3], &FNUT[4]);
    // settled: the sidereal time takes the date as it comes, without removal of J2000.0
    const double GMST = getGMST(JD_UT1_I, JD_UT1_F, JD_TT);
    const double s = FNUT[2] + FNUT[4];
    BETA[0] = GMST + kPi - s;
    BETA[1] = s;
    BETA[2] = s - FNUT[3];
    BETA[3] = s - FNUT[0];
    BETA[4] = -FNUT[4];
    BETA[5] = s - FNUT[3] - FNUT[1];
}

// --- corrections to earth orientation --------------------------------------------------------------------------------

void CNMTX(double MJD_TT, double* H) {
    struct SpectralLine {
        int degree, order;
        double HS, phase, freq, doodson;
    };
    static constexpr SpectralLine kLines[] = {
#include "tables/cnmtx.inc"
    };
    static_assert(std::size(kLines) == 71);
    static constexpr double SP[2][6] = {{0.0298, 0.1408, 0.0805, 0.6002, 0.3025, 0.1517},
                                        {0.0200, 0.0905, 0.0638, 0.3476, 0.1645, 0.0923}};
    constexpr double kReferenceMjd = 37076.5;
    constexpr double DT = 2.0;  // [day]

    double A[2][3] = {};  // by order - 1 and by step k + 1
    double B[2][3] = {};
    for (int k = -1; k <= 1; ++k) {
        const double dt60 = (MJD_TT - k * DT) - kReferenceMjd;
        for (const SpectralLine& line : kLines) {
            const int m = line.order - 1;
            const double pinm = ((line.degree + line.order) % 2) * kTwoPi / 4.0;
            const double alpha = fmod_two_pi(line.phase - pinm) + fmod_two_pi(line.freq * dt60);
            A[m][k + 1] += line.HS * std::cos(alpha);
            B[m][k + 1] -= line.HS * std::sin(alpha);
        }
    }
    for (int m = 0; m < 2; ++m) {
        const double* w = SP[m];
        const double AP = A[m][2] + A[m][0];
        const double AM = A[m][2] - A[m][0];
        const double BP = B[m][2] + B[m][0];
        const double BM = B[m][2] - B[m][0];
        double* h = H + 6 * m;
        h[0] = w[0] * A[m][1];
        h[1] = w[0] * B[m][1];
        h[2] = w[1] * A[m][1] - w[2] * AP;
        h[3] = w[1] * B[m][1] - w[2] * BP;
        h[4] = w[3] * A[m][1] - w[4] * AP + w[5] * BM;
        h[5] = w[3] * B[m][1] - w[4] * BP - w[5] * AM;
    }
}

void ORTHO_EOP(double MJD_TT, double* EOP_correction) {
    static constexpr double ORTHOW[][12] = {
#include "tables/orthow.inc"
    };
    static_assert(std::size(ORTHOW) == 3);
    double H[12];
    CNMTX(MJD_TT, H);
    for (int k = 0; k < 3; ++k) {
        for (int j = 0; j < 12; ++j) EOP_correction[k] += ORTHOW[k][j] * H[j];  // settled: the caller clears
    }
}

void PMSDNUT2(double RMJD, double* pm) {
    static constexpr SubdiurnalTerm kTerms[] = {
#include "tables/pmsdnut2.inc"
    };
    static_assert(std::size(kTerms) == 25);
    constexpr int IBAND = 1;                         // settled: the quasi-diurnal band alone
    constexpr int JSTART = IBAND == 1 ? 16 : 1;      // counted from 1
    [[maybe_unused]] constexpr double XRATE = -3.8;  // secular rates [microarcsecond/year], not applied in this band
    [[maybe_unused]] constexpr double YRATE = -4.3;
    double ARG[6];
    subdiurnal_arguments(RMJD, ARG);
    pm[0] = 0.0;
    pm[1] = 0.0;
    for (std::size_t j = JSTART - 1; j < std::size(kTerms); ++j) add_term(kTerms[j], ARG, &pm[0], &pm[1]);
}

void UTLIBR(double RMJD, double* dut1, double* dlod) {
    static constexpr SubdiurnalTerm kTerms[] = {
#include "tables/utlibr.inc"
    };
    static_assert(std::size(kTerms) == 11);
    double ARG[6];
    subdiurnal_arguments(RMJD, ARG);
    *dut1 = 0.0;
    *dlod = 0.0;
    for (const SubdiurnalTerm& term : kTerms) add_term(term, ARG, dut1, dlod);
}

void RG_ZONT2(double JC_TT, double* DUT, double* DLOD, double* DOMEGA) {
    struct ZonalTerm {
        int n[5];
        double ut_s, ut_c, lod_c, lod_s, rate_c, rate_s;
    };
    static constexpr ZonalTerm kTerms[] = {
#include "tables/rg_zont2.inc"
    };
    static_assert(std::size(kTerms) == 62);
    double fundamental[5];
    FUNDARG(JC_TT, &fundamental[0], &fundamental[1], &fundamental[2], &fundamental[3], &fundamental[4]);
    *DUT = 0.0;
    *DLOD = 0.0;
    *DOMEGA = 0.0;
    for (const ZonalTerm& term : kTerms) {
        const double arg = positive_turn(term_angle(term.n, fundamental));
        const double s = std::sin(arg);
        const double c = std::cos(arg);
        *DUT += term.ut_s * s + term.ut_c * c;
        *DLOD += term.lod_c * c + term.lod_s * s;
        *DOMEGA += term.rate_c * c + term.rate_s * s;
    }
    *DUT *= 1e-4;
    *DLOD *= 1e-5;
    *DOMEGA *= 1e-14;
}

// --- Earth rotation and sidereal time --------------------------------------------------------------------------------

double getEarthRotationAngle(double JD_UT1_I, double JD_UT1_F) { return iauEra00(JD_UT1_I, JD_UT1_F); }

double getEarthRotationAngleRate(double JC_TT) {
    const double t = JC_TT;
    return (1.002737909350795 + 5.9006e-11 * t - 5.9e-15 * t * t) * kTwoPi / 86400.0;
}

double getGMST(double JD_UT1_I, double JD_UT1_F, double JD_TT) {
    constexpr double kPrecession[] = {0.014506, 4612.15739966, 1.39667721, -9.344e-05, 1.882e-05};
    const double t = JD_TT / kDaysInCentury;  // settled: no 2451545.0 removed, the caller gives days since J2000.0
    const double gmst = fmod_two_pi(getEarthRotationAngle(JD_UT1_I, JD_UT1_F) + horner(kPrecession, t) * kArcsecToRad);
    return positive_turn(gmst);
}

double getGAST(double JD_UT1_I, double JD_UT1_F, double JD_TT, double dpsi) {
    const double JC_TT = (JD_TT - kJdJ2000) / kDaysInCentury;
    // settled: getGMST takes the date as it comes, without removal of J2000.0
    return iauAnp(getGMST(JD_UT1_I, JD_UT1_F, JD_TT) + getEE2000(JC_TT, dpsi));
}

double getMeanObliquity(double JC_TT) { return leopod::mean_obliquity_2006(JC_TT); }

double getEECT(double JC_TT) {
#include "tables/eect00.inc"
    static_assert(std::size(KE0) == 33 && std::size(SE0) == 33 && std::size(KE1) == 1 && std::size(SE1) == 1);
    double fa[8];
    leopod::cio_arguments(JC_TT, fa);
    double s0 = 0.0;
    double s1 = 0.0;
    for (std::size_t i = std::size(KE0); i-- > 0;) s0 += leopod::cio_term(KE0[i], SE0[i][0], SE0[i][1], fa);
    for (std::size_t i = std::size(KE1); i-- > 0;) s1 += leopod::cio_term(KE1[i], SE1[i][0], SE1[i][1], fa);
    return (s0 + s1 * JC_TT) * kArcsecToRad;
}

double getEE2000(double JC_TT, double dpsi) { return dpsi * std::cos(getMeanObliquity(JC_TT)) + getEECT(JC_TT); }

double normalizeAngle(double a) {
    const double w = fmod_two_pi(a);
    return std::fabs(w) >= kPi ? w - std::copysign(kTwoPi, a) : w;
}

double gstime_iau82(double jdut1) {
    const double t = (jdut1 - kJdJ2000) / kDaysInCentury;
    const double seconds = 67310.54841 + 3164400184.812866 * t + 0.093104 * t * t - 6.2e-6 * t * t * t;
    return positive_turn(fmod_two_pi(seconds * 0.017453292519943295 / 240.0));
}

// --- tidal arguments -------------------------------------------------------------------------------------------------

void ARG2(int IYEAR, double DAY, double* ANGLE) {
#include "tables/arg2.inc"
    static_assert(std::size(SPEED) == 11 && std::size(ANGFAC) == 11);
    constexpr double DTR = 0.0174532925199;  // twelve digits as published
    if (IYEAR < 1974) report(ULOG_ERROR_LEVEL, "ARG2(): ERROR: IYEAR must be larger than 1974\n");

    const double id = std::trunc(DAY);
    const double fday = (DAY - id) * 86400.0;
    const long long year = IYEAR;
    const double icapd = id + static_cast<double>(365 * (year - 1975) + (year - 1973) / 4);  // days from 1975.0
    const double t = (27392.500528 + 1.000000035 * icapd) / kDaysInCentury;
    const double h0 = (279.69668 + (36000.768930485 + 3.03e-4 * t) * t) * DTR;
    const double s0 = (((1.9e-6 * t - 0.001133) * t + 481267.88314137) * t + 270.434358) * DTR;
    const double p0 = (((-1.2e-5 * t - 0.010325) * t + 4069.0340329577) * t + 334.329653) * DTR;
    for (std::size_t k = 0; k < std::size(SPEED); ++k) {
        const double* f = ANGFAC[k];
        ANGLE[k] = positive_turn(fmod_two_pi(SPEED[k] * fday + f[0] * h0 + f[1] * s0 + f[2] * p0 + f[3] * kTwoPi));
    }
}
