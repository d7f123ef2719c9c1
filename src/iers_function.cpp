#include "iers_function.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <limits>

#include "iau_function.h"
#include "private/constants.h"
#include "private/earth_rotation.h"
#include "private/numbers.h"
#include "private/nutation.h"
#include "private/reduction.h"
#include "private/report.h"

using namespace leopod;

namespace {

constexpr double kMjdJ2000 = 51544.5;

/// Argument vector of the subdiurnal series at an MJD: GMST + pi, L, LP, F, D, OM [rad].
void subdiurnal_arguments(double RMJD, double (&ARG)[6]) {
    constexpr double RAD2SEC = kDay / kTwoPi;
    constexpr double kGmst[] = {67310.54841, 3164400184.812866, 0.093104, -6.2e-06};
    const double T = (RMJD - kMjdJ2000) / kDaysInCentury;
    const double GMST = std::fmod(horner(kGmst, T), kDay);  // [s]
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

/// Multipliers of a table of them by column, filled up to whole registers.
template <std::size_t N>
struct SubdiurnalColumns {
    static constexpr std::size_t kRows = (N + kQuad - 1) / kQuad * kQuad;
    double multiplier[6][kRows] = {};

    constexpr explicit SubdiurnalColumns(const SubdiurnalTerm (&terms)[N]) {
        for (std::size_t i = 0; i < N; ++i) {
            for (std::size_t k = 0; k < 6; ++k) multiplier[k][i] = terms[i].IARG[k];
        }
    }
};

/// Adds the terms from `first` on, one after the other.
template <std::size_t N>
void add_terms(const SubdiurnalTerm (&terms)[N], const SubdiurnalColumns<N>& columns, std::size_t first,
               const double (&ARG)[6], double* sum1, double* sum2) {
    double angle[SubdiurnalColumns<N>::kRows];
    run_widest([&](auto) LEOPOD_KERNEL {
        for (std::size_t i = first / kQuad * kQuad; i < N; i += kQuad) {
            Quad sum = {};
            for (std::size_t k = 0; k < 6; ++k) sum += load(columns.multiplier[k] + i) * ARG[k];
            store(angle + i, reduced(sum));
        }
    });
    for (std::size_t i = first; i < N; ++i) {
        double s = 0.0, c = 0.0;
        sine_cosine(angle[i], s, c);
        *sum1 += terms[i].s1 * s + terms[i].c1 * c;
        *sum2 += terms[i].s2 * s + terms[i].c2 * c;
    }
}

}  // namespace

// --- arguments -------------------------------------------------------------------------------------------------------

void FUNDARG(double T, double* L, double* LP, double* F, double* D, double* OM) {
    *L = iauFal03(T);
    *LP = mean_anomaly_sun_mhb(T);  // five decimals, unlike iauFalp03 and iauFad03
    *F = iauFaf03(T);
    *D = mean_elongation_moon_mhb(T);
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

namespace {

/// Line of the tidal spectrum. The Doodson number is a label.
struct SpectralLine {
    int degree, order;
    double HS, phase, freq, doodson;
};
constexpr SpectralLine kSpectralLines[] = {
#include "tables/cnmtx.inc"
};
static_assert(std::size(kSpectralLines) == 71);

/// Columns of the lines, filled up to whole registers. Phases are less by a quarter turn where degree and order add up to odd, and reduced by 2 pi.
struct SpectralColumns {
    static constexpr std::size_t kRows = (std::size(kSpectralLines) + kQuad - 1) / kQuad * kQuad;
    double phase[kRows] = {}, freq[kRows] = {};
    double fastest = 0.0;

    constexpr SpectralColumns() {
        for (std::size_t i = 0; i < std::size(kSpectralLines); ++i) {
            const SpectralLine& line = kSpectralLines[i];
            const double x = line.phase - ((line.degree + line.order) % 2) * kTwoPi / 4.0;
            const double two = x >= 2.0 * kTwoPi ? x - 2.0 * kTwoPi : x;  // all differences are exact below four turns
            phase[i] = two >= kTwoPi ? two - kTwoPi : two;
            freq[i] = line.freq;
            fastest = std::max(fastest, line.freq);
        }
    }
};
constexpr SpectralColumns kSpectrum;
static_assert([] {
    for (const double phase : kSpectrum.phase) {
        if (phase <= -kTwoPi || phase >= kTwoPi) return false;
    }
    return true;
}());

/// Angles of all lines so many days from the reference.
void spectral_angles(double days, double (&alpha)[SpectralColumns::kRows]) {
    constexpr std::size_t kRows = SpectralColumns::kRows;
    if (kSpectrum.fastest * std::fabs(days) < kReductionLimit) {
        run_widest([&](auto) LEOPOD_KERNEL {
            for (std::size_t i = 0; i < kRows; i += kQuad)
                store(alpha + i, load(kSpectrum.phase + i) + reduced(load(kSpectrum.freq + i) * days));
        });
    } else {
        for (std::size_t i = 0; i < kRows; ++i) alpha[i] = kSpectrum.phase[i] + fmod_two_pi(kSpectrum.freq[i] * days);
    }
}

}  // namespace

void CNMTX(double MJD_TT, double* H) {
    static constexpr double SP[2][6] = {{0.0298, 0.1408, 0.0805, 0.6002, 0.3025, 0.1517},
                                        {0.0200, 0.0905, 0.0638, 0.3476, 0.1645, 0.0923}};
    constexpr double kReferenceMjd = 37076.5;
    constexpr double DT = 2.0;  // [day]

    double A[2][3] = {};  // by order - 1 and by step k + 1
    double B[2][3] = {};
    for (int k = -1; k <= 1; ++k) {
        double alpha[SpectralColumns::kRows];
        spectral_angles((MJD_TT - k * DT) - kReferenceMjd, alpha);
        for (std::size_t i = 0; i < std::size(kSpectralLines); ++i) {
            const SpectralLine& line = kSpectralLines[i];
            double s = 0.0, c = 0.0;
            sine_cosine(alpha[i], s, c);
            A[line.order - 1][k + 1] += line.HS * c;
            B[line.order - 1][k + 1] -= line.HS * s;
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

namespace {

void polar_libration(const double (&ARG)[6], double* pm) {
    static constexpr SubdiurnalTerm kTerms[] = {
#include "tables/pmsdnut2.inc"
    };
    static_assert(std::size(kTerms) == 25);
    constexpr int IBAND = 1;                         // settled: the quasi-diurnal band alone
    constexpr int JSTART = IBAND == 1 ? 16 : 1;      // counted from 1
    [[maybe_unused]] constexpr double XRATE = -3.8;  // settled: secular rates, not applied [microarcsecond/year]
    [[maybe_unused]] constexpr double YRATE = -4.3;
    static constexpr SubdiurnalColumns kColumns(kTerms);
    pm[0] = 0.0;
    pm[1] = 0.0;
    add_terms(kTerms, kColumns, JSTART - 1, ARG, &pm[0], &pm[1]);
}

void axial_libration(const double (&ARG)[6], double* dut1, double* dlod) {
    static constexpr SubdiurnalTerm kTerms[] = {
#include "tables/utlibr.inc"
    };
    static_assert(std::size(kTerms) == 11);
    static constexpr SubdiurnalColumns kColumns(kTerms);
    *dut1 = 0.0;
    *dlod = 0.0;
    add_terms(kTerms, kColumns, 0, ARG, dut1, dlod);
}

}  // namespace

void PMSDNUT2(double RMJD, double* pm) {
    double ARG[6];
    subdiurnal_arguments(RMJD, ARG);
    polar_libration(ARG, pm);
}

void UTLIBR(double RMJD, double* dut1, double* dlod) {
    double ARG[6];
    subdiurnal_arguments(RMJD, ARG);
    axial_libration(ARG, dut1, dlod);
}

void leopod::libration(double mjd, double (&pm)[2], double& dut1, double& dlod) {
    double ARG[6];
    subdiurnal_arguments(mjd, ARG);
    polar_libration(ARG, pm);
    axial_libration(ARG, &dut1, &dlod);
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
    return (1.002737909350795 + 5.9006e-11 * t - 5.9e-15 * t * t) * kTwoPi / kDay;
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

double getMeanObliquity(double JC_TT) { return mean_obliquity_2006(JC_TT); }

double getEECT(double JC_TT) {
#include "tables/eect00.inc"
    static_assert(std::size(KE0) == 33 && std::size(SE0) == 33 && std::size(KE1) == 1 && std::size(SE1) == 1);
    double fa[8];
    cio_arguments(JC_TT, fa);
    double s0 = 0.0;
    double s1 = 0.0;
    for (std::size_t i = std::size(KE0); i-- > 0;) s0 += cio_term(KE0[i], SE0[i][0], SE0[i][1], fa);
    for (std::size_t i = std::size(KE1); i-- > 0;) s1 += cio_term(KE1[i], SE1[i][0], SE1[i][1], fa);
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
    return positive_turn(fmod_two_pi(seconds * kDegToRad / 240.0));
}

// --- tidal arguments -------------------------------------------------------------------------------------------------

void ARG2(int IYEAR, double DAY, double* ANGLE) {
#include "tables/arg2.inc"
    static_assert(std::size(SPEED) == 11 && std::size(ANGFAC) == 11);
    constexpr double DTR = 0.0174532925199;  // twelve digits as published
    if (IYEAR < 1974) report(ULOG_ERROR_LEVEL, "ARG2(): ERROR: IYEAR must be larger than 1974\n");

    const double id = std::trunc(DAY);
    const double fday = (DAY - id) * kDay;
    const long long year = IYEAR;
    const long long leap_days = (year - 1973) / 4;
    const double icapd = id + static_cast<double>(365 * (year - 1975) + leap_days);  // days from 1975.0
    const double t = (27392.500528 + 1.000000035 * icapd) / kDaysInCentury;
    const double h0 = (279.69668 + (36000.768930485 + 3.03e-4 * t) * t) * DTR;
    const double s0 = (((1.9e-6 * t - 0.001133) * t + 481267.88314137) * t + 270.434358) * DTR;
    const double p0 = (((-1.2e-5 * t - 0.010325) * t + 4069.0340329577) * t + 334.329653) * DTR;
    for (std::size_t k = 0; k < std::size(SPEED); ++k) {
        const double* f = ANGFAC[k];
        ANGLE[k] = positive_turn(fmod_two_pi(SPEED[k] * fday + f[0] * h0 + f[1] * s0 + f[2] * p0 + f[3] * kTwoPi));
    }
}

// --- solid-Earth tide ------------------------------------------------------------------------------------------------

namespace {

/// Geocentric direction of a site.
struct SiteDirection {
    double radius, sin_phi, cos_phi, sin_la, cos_la;
};

SiteDirection direction_of(const double* XSTA) {
    const double radius = std::sqrt(dot3(XSTA, XSTA));
    const double axis_distance = std::sqrt(XSTA[0] * XSTA[0] + XSTA[1] * XSTA[1]);
    const bool on_axis = axis_distance == 0.0;  // any longitude serves there
    return {radius, XSTA[2] / radius, axis_distance / radius, on_axis ? 0.0 : XSTA[1] / axis_distance,
            on_axis ? 1.0 : XSTA[0] / axis_distance};
}

/// Adds a displacement given radial, north and east to an earth-fixed one.
void add_local(const SiteDirection& site, double dr, double dn, double de, double* xyz) {
    xyz[0] += dr * site.cos_la * site.cos_phi - de * site.sin_la - dn * site.sin_phi * site.cos_la;
    xyz[1] += dr * site.sin_la * site.cos_phi + de * site.cos_la - dn * site.sin_phi * site.sin_la;
    xyz[2] += dr * site.sin_phi + dn * site.cos_phi;
}

/// Products of the degree 2 potential of Sun and Moon, summed over both: with the hour angle of the body, and with twice it.
struct BandSums {
    double sin1, cos1;  ///< diurnal
    double sin2, cos2;  ///< semidiurnal
};

BandSums band_sums(const SiteDirection& site, const double* XSUN, const double* XMON, double FAC2SUN, double FAC2MON) {
    const double sin_2la = 2.0 * site.cos_la * site.sin_la;
    const double cos_2la = site.cos_la * site.cos_la - site.sin_la * site.sin_la;
    const double* const bodies[] = {XSUN, XMON};
    const double factors[] = {FAC2SUN, FAC2MON};
    BandSums sums{};
    for (int i = 0; i < 2; ++i) {
        const double* B = bodies[i];
        const double f = factors[i] / dot3(B, B);
        const double q = B[0] * B[0] - B[1] * B[1];
        const double w = 2.0 * B[0] * B[1];
        sums.sin1 += f * B[2] * (B[0] * site.sin_la - B[1] * site.cos_la);
        sums.cos1 += f * B[2] * (B[0] * site.cos_la + B[1] * site.sin_la);
        sums.sin2 += f * (q * sin_2la - w * cos_2la);
        sums.cos2 += f * (q * cos_2la + w * sin_2la);
    }
    return sums;
}

constexpr double kTideDegToRad = kTwoPi / 360.0;

/// Arguments of the frequency-dependent part: s with the precession added, h, p, N' (of the sign of the published table), ps, and the
/// s without precession that tau asks for [degree].
struct StepTwoArguments {
    double n[5];
    double s_tau;
};

StepTwoArguments step_two_arguments(double T) {
    constexpr double kS[] = {218.31664563, 481267.88194, -0.0014663889, 0.00000185139};
    constexpr double kPr[] = {0.0, 1.396971278, 0.000308889, 0.000000021, 0.000000007};
    constexpr double kH[] = {280.46645, 36000.7697489, 0.00030322222, 0.000000020, -0.00000000654};
    constexpr double kP[] = {83.35324312, 4069.01363525, -0.01032172222, -0.0000124991, 0.00000005263};
    constexpr double kZns[] = {234.95544499, 1934.13626197, -0.00207561111, -0.00000213944, 0.00000001650};
    constexpr double kPs[] = {282.93734098, 1.71945766667, 0.00045688889, -0.00000001778, -0.00000000334};
    const double s = horner(kS, T);
    return {{std::fmod(s + horner(kPr, T), 360.0), std::fmod(horner(kH, T), 360.0), std::fmod(horner(kP, T), 360.0),
             std::fmod(horner(kZns, T), 360.0), std::fmod(horner(kPs, T), 360.0)},
            s};
}

double step_two_angle(double tau, const int (&multipliers)[5], const StepTwoArguments& arguments) {
    double angle = tau;
    for (int i = 0; i < 5; ++i) angle += multipliers[i] * arguments.n[i];
    return angle * kTideDegToRad;
}

}  // namespace

void DEHANTTIDEINEL(double* XSTA, int YR, int MONTH, int DAY, double FHR, double leapsec, double* XSUN, double* XMON,
                    double* DXTIDE) {
    constexpr double MASS_RATIO_SUN = 332946.0482;
    constexpr double MASS_RATIO_MOON = 0.0123000371;
    constexpr double RE = 6378136.6;
    constexpr double H20 = 0.6078;
    constexpr double L20 = 0.0847;
    constexpr double H3 = 0.292;
    constexpr double L3 = 0.015;
    const SiteDirection site = direction_of(XSTA);
    const double latitude_term = 1.0 - 1.5 * site.cos_phi * site.cos_phi;
    const double H2 = H20 - 0.0006 * latitude_term;
    const double L2 = L20 + 0.0002 * latitude_term;

    // In phase, degrees 2 and 3: eqs. 7.5 and 7.6.
    const double* const bodies[] = {XSUN, XMON};
    const double mass_ratios[] = {MASS_RATIO_SUN, MASS_RATIO_MOON};
    double FAC2[2];
    DXTIDE[0] = DXTIDE[1] = DXTIDE[2] = 0.0;
    for (int i = 0; i < 2; ++i) {
        const double* B = bodies[i];
        const double distance = std::sqrt(dot3(B, B));
        const double c = dot3(XSTA, B) / (site.radius * distance);
        const double parallax = RE / distance;
        FAC2[i] = mass_ratios[i] * RE * parallax * parallax * parallax;
        const double FAC3 = FAC2[i] * parallax;
        const double P2 = 3.0 * (H2 / 2.0 - L2) * c * c - H2 / 2.0;
        const double P3 = 2.5 * (H3 - 3.0 * L3) * c * c * c + 1.5 * (L3 - H3) * c;
        const double X2 = 3.0 * L2 * c;
        const double X3 = 1.5 * L3 * (5.0 * c * c - 1.0);
        const double along_body = (FAC2[i] * X2 + FAC3 * X3) / distance;
        const double along_site = (FAC2[i] * P2 + FAC3 * P3) / site.radius;
        for (int k = 0; k < 3; ++k) DXTIDE[k] += along_body * B[k] + along_site * XSTA[k];
    }

    double XCORSTA[3] = {};
    const auto add_correction = [&] {
        for (int k = 0; k < 3; ++k) DXTIDE[k] += XCORSTA[k];
    };
    ST1IDIU(XSTA, XSUN, XMON, FAC2[0], FAC2[1], XCORSTA);
    add_correction();
    ST1ISEM(XSTA, XSUN, XMON, FAC2[0], FAC2[1], XCORSTA);
    add_correction();
    ST1L1(XSTA, XSUN, XMON, FAC2[0], FAC2[1], XCORSTA);
    add_correction();

    double DJM0 = 0.0;
    double DJM = 0.0;
    CAL2JD(YR, MONTH, DAY, &DJM0, &DJM);
    const double T = ((DJM0 - kJdJ2000) + DJM + FHR / 24.0) / kDaysInCentury + (leapsec + kTtMinusTai) / 3155760000.0;
    STEP2DIU(XSTA, FHR, T, XCORSTA);  // hours here
    add_correction();
    STEP2LON(XSTA, T, XCORSTA);
    add_correction();
    // settled: the permanent tide is not taken out
}

void ST1IDIU(double* XSTA, double* XSUN, double* XMON, double FAC2SUN, double FAC2MON, double* XCORSTA) {
    constexpr double DH = -0.0025;
    constexpr double DL = -0.0007;
    const SiteDirection site = direction_of(XSTA);
    const BandSums sums = band_sums(site, XSUN, XMON, FAC2SUN, FAC2MON);
    const double cos_2phi = site.cos_phi * site.cos_phi - site.sin_phi * site.sin_phi;
    XCORSTA[0] = XCORSTA[1] = XCORSTA[2] = 0.0;
    add_local(site, -3.0 * DH * site.sin_phi * site.cos_phi * sums.sin1, -3.0 * DL * cos_2phi * sums.sin1,
              -3.0 * DL * site.sin_phi * sums.cos1, XCORSTA);
}

void ST1ISEM(double* XSTA, double* XSUN, double* XMON, double FAC2SUN, double FAC2MON, double* XCORSTA) {
    constexpr double DH = -0.0022;
    constexpr double DL = -0.0007;
    const SiteDirection site = direction_of(XSTA);
    const BandSums sums = band_sums(site, XSUN, XMON, FAC2SUN, FAC2MON);
    XCORSTA[0] = XCORSTA[1] = XCORSTA[2] = 0.0;
    add_local(site, -0.75 * DH * site.cos_phi * site.cos_phi * sums.sin2,
              1.5 * DL * site.sin_phi * site.cos_phi * sums.sin2, -1.5 * DL * site.cos_phi * sums.cos2, XCORSTA);
}

void ST1L1(double* XSTA, double* XSUN, double* XMON, double FAC2SUN, double FAC2MON, double* XCORSTA) {
    constexpr double L1_DIURNAL = 0.0012;
    constexpr double L1_SEMIDIURNAL = 0.0024;
    const SiteDirection site = direction_of(XSTA);
    const BandSums sums = band_sums(site, XSUN, XMON, FAC2SUN, FAC2MON);
    const double sin2_phi = site.sin_phi * site.sin_phi;
    const double cos_2phi = site.cos_phi * site.cos_phi - sin2_phi;
    const double dn =
        -L1_DIURNAL * sin2_phi * sums.cos1 - L1_SEMIDIURNAL / 2.0 * site.sin_phi * site.cos_phi * sums.cos2;
    const double de =
        L1_DIURNAL * site.sin_phi * cos_2phi * sums.sin1 - L1_SEMIDIURNAL / 2.0 * sin2_phi * site.cos_phi * sums.sin2;
    XCORSTA[0] = XCORSTA[1] = XCORSTA[2] = 0.0;
    add_local(site, 0.0, 3.0 * dn, 3.0 * de, XCORSTA);
}

void STEP2DIU(double* XSTA, double FHR, double T, double* XCORSTA) {
    struct DiurnalLine {
        int n[5];
        double r_in, r_out, t_in, t_out;  // [mm]
    };
    // settled: row 25 (0, 1, 0, 1, -1) and the -0.07 of row 16 (P1) as published
    static constexpr DiurnalLine kLines[] = {
#include "tables/step2diu.inc"
    };
    static_assert(std::size(kLines) == 31);
    constexpr double kSidereal[] = {280.4606184, 36000.7700536, 0.00038793, -0.0000000258};
    const SiteDirection site = direction_of(XSTA);
    const StepTwoArguments arguments = step_two_arguments(T);
    const double tau = std::fmod(FHR * 15.0 + horner(kSidereal, T) - arguments.s_tau, 360.0);
    const double la = std::atan2(XSTA[1], XSTA[0]);
    const double sin_2phi = 2.0 * site.sin_phi * site.cos_phi;
    const double cos_2phi = site.cos_phi * site.cos_phi - site.sin_phi * site.sin_phi;
    XCORSTA[0] = XCORSTA[1] = XCORSTA[2] = 0.0;
    for (const DiurnalLine& line : kLines) {
        const double angle = step_two_angle(tau, line.n, arguments) + la;
        const double s = std::sin(angle);
        const double c = std::cos(angle);
        add_local(site, sin_2phi * (line.r_in * s + line.r_out * c), cos_2phi * (line.t_in * s + line.t_out * c),
                  site.sin_phi * (line.t_in * c - line.t_out * s), XCORSTA);
    }
    for (int k = 0; k < 3; ++k) XCORSTA[k] /= 1000.0;
}

void STEP2LON(double* XSTA, double T, double* XCORSTA) {
    struct LongPeriodLine {
        int n[5];
        double r_in, t_in, r_out, t_out;  // [mm]
    };
    static constexpr LongPeriodLine kLines[] = {
#include "tables/step2lon.inc"
    };
    static_assert(std::size(kLines) == 5);
    const SiteDirection site = direction_of(XSTA);
    const StepTwoArguments arguments = step_two_arguments(T);
    const double radial = (3.0 * site.sin_phi * site.sin_phi - 1.0) / 2.0;
    const double north = 2.0 * site.cos_phi * site.sin_phi;
    XCORSTA[0] = XCORSTA[1] = XCORSTA[2] = 0.0;
    for (const LongPeriodLine& line : kLines) {
        const double angle = step_two_angle(0.0, line.n, arguments);
        const double s = std::sin(angle);
        const double c = std::cos(angle);
        add_local(site, radial * (line.r_in * c + line.r_out * s), north * (line.t_in * c + line.t_out * s), 0.0,
                  XCORSTA);
    }
    for (int k = 0; k < 3; ++k) XCORSTA[k] /= 1000.0;
}

// --- dates -----------------------------------------------------------------------------------------------------------

namespace {

int bounded(long long value) {
    return static_cast<int>(
        std::clamp<long long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

/// Years to be added so that January and February count to the year before: -1 for them, 0 for the others.
long long year_shift(long long month) { return (month - 14) / 12; }

/// Days from March to a month of the year that begins in March, in the terms of the day number below.
long long month_days(long long month) { return (367 * (month - 2 - 12 * year_shift(month))) / 12; }

long long julian_day_number(long long year, long long month, long long day) {
    const long long y = year + year_shift(month);
    return (1461 * (y + 4800)) / 4 + month_days(month) - (3 * ((y + 4900) / 100)) / 4 + day - 32075;
}

long long days_before_month(int year, long long month) {
    return (month_days(month) + 29) % 365 + LEAP(year) * ((9 + month) / 12);
}

}  // namespace

int CAL2JD(int IY, int IM, int ID, double* DJM0, double* DJM) {
    if (IY < -4799) return -1;
    if (IM < 1 || IM > 12) return -2;
    static constexpr int kLength[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const int length = kLength[IM - 1] + (IM == 2 && IY % 4 == 0 && (IY % 100 != 0 || IY % 400 == 0));
    *DJM0 = kMjdToJd;
    *DJM = static_cast<double>(julian_day_number(IY, IM, ID) - 2400001);
    return ID < 1 || ID > length ? -3 : 0;
}

double etutc(const double year) {
#include "tables/etutc.inc"
    static_assert(std::size(kYearly) == 142 && std::size(kPairs) == 39 && std::size(kSteps) == 27);
    if (std::isnan(year)) return year;
    if (year < 1700.0) return 0.0;
    if (year < 1785.0) return (year - 1750.0) / 5.0;
    if (year < 1820.5) return 6.0;
    if (year < 1961.5) {
        const int n = static_cast<int>(year - 1819.5);  // 1 to 141
        return kYearly[n - 1] + (kYearly[n] - kYearly[n - 1]) * (year - (1819.5 + n));
    }
    if (year < 1972.0) {
        const double y = year - 1900.0;
        std::size_t k = 1;
        while (k + 1 < std::size(kPairs) && kPairs[k][0] < y) ++k;
        const double* below = kPairs[k - 1];
        const double* above = kPairs[k];
        return y == above[0] ? above[1] : below[1] + (above[1] - below[1]) * (y - below[0]) / (above[0] - below[0]);
    }
    double delta = 42.184;
    for (double step : kSteps) delta += year >= step ? 1.0 : 0.0;
    return delta;
}

int juldat(const int* it) { return bounded(julian_day_number(it[0], it[1], it[2])); }

void TOYMD(int* IT1, int* IT2) {
    const int year = IT1[0];
    const long long doy = IT1[1];
    const long long month = (12 * (doy - 29 - LEAP(year))) / 367 + 2 + (doy - 200) / 169;
    IT2[0] = year;
    IT2[1] = bounded(month);
    IT2[2] = bounded(doy - days_before_month(year, month));
}

int LEAP(int iy) {
    if (iy % 100 == 0 && iy % 400 != 0) return 0;
    return 1 - (iy % 4 + 3) / 4;
}

int MDAY(int iy, int im) { return bounded(days_before_month(iy, im)); }

// --- ocean loading ---------------------------------------------------------------------------------------------------

namespace {

constexpr int kTidalLines = 342;
constexpr int kMaxConstituents = 20;
constexpr double kPublishedDegToRad = 0.01745329252;  // eleven digits as published

/// Doodson arguments at a time [degree] and their rates [cycles/day].
struct DoodsonClock {
    double d[6];
    double dd[6];
};

DoodsonClock doodson_clock(const int* itm) {
    constexpr double kF1[] = {134.9634025100, 477198.8675605000, 0.0088553333, 0.0000143431, -0.0000000680};
    constexpr double kF2[] = {357.5291091806, 35999.0502911389, -0.0001536667, 0.0000000378, -0.0000000032};
    constexpr double kF3[] = {93.2720906200, 483202.0174577222, -0.0035420000, -0.0000002881, 0.0000000012};
    constexpr double kF4[] = {297.8501954694, 445267.1114469445, -0.0017696111, 0.0000018314, -0.0000000088};
    constexpr double kF5[] = {125.0445550100, -1934.1362619722, 0.0020756111, 0.0000021394, -0.0000000165};
    int day_of_year[] = {itm[0], itm[1]};
    int date[3];
    TOYMD(day_of_year, date);
    const double day_fraction = itm[2] / 24.0 + itm[3] / 1440.0 + itm[4] / kDay;
    const double year = itm[0] + (itm[1] + day_fraction) / (365.0 + LEAP(itm[0]));
    const double julian_date = juldat(date) - 0.5 + day_fraction;
    const double T = (julian_date - kJdJ2000 + etutc(year) / kDay) / kDaysInCentury;

    const double F1 = horner(kF1, T);
    const double F2 = horner(kF2, T);
    const double F3 = horner(kF3, T);
    const double F4 = horner(kF4, T);
    const double F5 = horner(kF5, T);
    const double g1 = 0.0362916471 + 0.0000000013 * T;
    const double g2 = 0.0027377786;
    const double g3 = 0.0367481951 - 0.0000000005 * T;
    const double g4 = 0.0338631920 - 0.0000000003 * T;
    const double g5 = -0.0001470938 + 0.0000000003 * T;
    const double d2 = F3 + F5;
    const double d3 = d2 - F4;
    const double dd2 = g3 + g5;
    const double dd3 = dd2 - g4;
    return {{360.0 * day_fraction - F4, d2, d3, d2 - F1, -F5, d3 - F2}, {1.0 - g4, dd2, dd3, dd2 - g1, -g5, dd3 - g2}};
}

/// Frequency [cycles/day] and phase [degree] of a line.
void frequency_and_phase(const DoodsonClock& clock, const int* multipliers, double* freq, double* phase) {
    double cycles = 0.0;
    double angle = 0.0;
    for (int i = 0; i < 6; ++i) {
        cycles += multipliers[i] * clock.dd[i];
        angle += multipliers[i] * clock.d[i];
    }
    *freq = cycles;
    angle = std::fmod(angle, 360.0);
    *phase = angle < 0.0 ? angle + 360.0 : angle;
}

struct TidalLine {
    int n[6];  // species first
    double amplitude;
};

constexpr TidalLine kLines[] = {
#include "tables/hardisp_lines.inc"
};
static_assert(std::size(kLines) == kTidalLines);

const TidalLine* find_line(const int* multipliers) {
    const TidalLine* line = std::find_if(std::begin(kLines), std::end(kLines), [&](const TidalLine& candidate) {
        return std::equal(std::begin(candidate.n), std::end(candidate.n), multipliers);
    });
    return line != std::end(kLines) ? line : nullptr;
}

/// Admittance of one species over frequency, with the second derivatives of its spline.
struct Admittance {
    int count;
    double frequency[kMaxConstituents];
    double re[kMaxConstituents], im[kMaxConstituents];
    double re_dd[kMaxConstituents], im_dd[kMaxConstituents];
};

/// Species of a frequency [cycles/day]: 0 long-period, 1 diurnal, 2 semidiurnal; -1 for another.
int species_of(double frequency) { return frequency < 0.5 ? 0 : frequency < 1.5 ? 1 : frequency < 2.5 ? 2 : -1; }

}  // namespace

void HARDISP(double (*olc)[11], double iyear, double idoy, double ihour, double iminute, double isec, double* dxtide) {
    constexpr int kColumns = 11;
    static constexpr int kConstituents[][6] = {
#include "tables/hardisp_constituents.inc"
    };
    static_assert(std::size(kConstituents) == kColumns);
    const int itm[] = {to_int(iyear), to_int(idoy), to_int(ihour), to_int(iminute), to_int(isec)};
    constexpr int kPlaceInOutput[] = {0, 2, 1};  // the table has radial, west, south
    for (int component = 0; component < 3; ++component) {
        double phin[kColumns];
        for (int i = 0; i < kColumns; ++i) phin[i] = -olc[3 + component][i];  // from lags to leads
        double amp[kTidalLines];
        double f[kTidalLines];
        double p[kTidalLines];
        int lines = 0;
        admint(olc[component], kConstituents, phin, amp, f, p, kColumns, &lines, itm);
        double hc[2 * kTidalLines];
        double step[kTidalLines];  // of one second [rad]; without effect on the first sample
        for (int i = 0; i < lines; ++i) {
            hc[2 * i] = amp[i] * std::cos(kPublishedDegToRad * p[i]);
            hc[2 * i + 1] = -amp[i] * std::sin(kPublishedDegToRad * p[i]);
            step[i] = kPi * f[i] / 43200.0;
        }
        double scr[3 * kTidalLines];
        recurs(&dxtide[kPlaceInOutput[component]], 1, hc, lines, step, scr);
    }
}

void admint(const double* ampin, const int (*idtin)[6], const double* phin, double* amp, double* f, double* p,
            const int nin, int* nout, const int* itm) {
    const DoodsonClock clock = doodson_clock(itm);
    double frequency[kMaxConstituents];
    double re[kMaxConstituents];
    double im[kMaxConstituents];
    int key[kMaxConstituents];
    int count = 0;
    for (int i = 0; i < nin; ++i) {
        const TidalLine* line = find_line(idtin[i]);
        if (line == nullptr) continue;
        if (count == kMaxConstituents) {
            bool warned = false;
            warn_limit(warned, "admint", kMaxConstituents, "constituents");
            break;
        }
        double phase;
        frequency_and_phase(clock, line->n, &frequency[count], &phase);
        const double amplitude = ampin[i] / std::fabs(line->amplitude);
        re[count] = amplitude * std::cos(kPublishedDegToRad * phin[i]);
        im[count] = amplitude * std::sin(kPublishedDegToRad * phin[i]);
        ++count;
    }
    shells(frequency, key, count);

    Admittance species[3];
    for (Admittance& band : species) band.count = 0;
    for (int i = 0; i < count; ++i) {
        const int s = species_of(frequency[i]);
        if (s < 0) continue;
        Admittance& band = species[s];
        band.frequency[band.count] = frequency[i];
        band.re[band.count] = re[key[i] - 1];
        band.im[band.count] = im[key[i] - 1];
        ++band.count;
    }
    for (Admittance& band : species) {
        double scratch[kMaxConstituents];
        spline(band.count, band.frequency, band.re, band.re_dd, scratch);
        spline(band.count, band.frequency, band.im, band.im_dd, scratch);
    }

    constexpr double kSpeciesPhase[] = {180.0, 90.0, 0.0};
    int n = 0;
    for (const TidalLine& line : kLines) {
        const Admittance& band = species[line.n[0]];
        if (line.n[0] == 0 && band.count == 0) continue;
        frequency_and_phase(clock, line.n, &f[n], &p[n]);
        const double real = eval(f[n], band.count, band.frequency, band.re, band.re_dd);
        const double imaginary = eval(f[n], band.count, band.frequency, band.im, band.im_dd);
        amp[n] = line.amplitude * std::sqrt(real * real + imaginary * imaginary);
        p[n] += kSpeciesPhase[line.n[0]];
        p[n] += std::atan2(imaginary, real) / kPublishedDegToRad;
        if (p[n] > 180.0) p[n] -= 360.0;
        ++n;
    }
    *nout = n;
}

void spline(int nn, const double* x, const double* u, double* s, double* a) {
    const std::size_t n = static_cast<std::size_t>(std::abs(static_cast<long long>(nn)));
    if (n <= 3) {
        std::fill_n(s, n, 0.0);
        return;
    }
    double q1;
    double qn;
    if (nn > 0) {
        q1 = qfunc(u[1] - u[0], x[1] - x[0], u[2] - u[0], x[2] - x[0]);
        qn = qfunc(u[n - 2] - u[n - 1], x[n - 2] - x[n - 1], u[n - 3] - u[n - 1], x[n - 3] - x[n - 1]);
    } else {
        q1 = s[0];
        qn = s[1];
    }
    // Right-hand side of the tridiagonal system, then its elimination downwards and back.
    const auto h = [x](std::size_t i) { return x[i] - x[i - 1]; };
    s[0] = 6.0 * ((u[1] - u[0]) / h(1) - q1);
    for (std::size_t i = 1; i < n - 1; ++i) {
        s[i] = 6.0 * (u[i - 1] / h(i) - u[i] * (1.0 / h(i) + 1.0 / h(i + 1)) + u[i + 1] / h(i + 1));
    }
    s[n - 1] = 6.0 * (qn + (u[n - 2] - u[n - 1]) / h(n - 1));
    a[0] = 2.0 * h(1);
    a[1] = 1.5 * h(1) + 2.0 * h(2);
    s[1] -= 0.5 * s[0];
    for (std::size_t i = 2; i < n - 1; ++i) {
        const double c = h(i) / a[i - 1];
        a[i] = 2.0 * (x[i + 1] - x[i - 1]) - c * h(i);
        s[i] -= c * s[i - 1];
    }
    const double c = h(n - 1) / a[n - 2];
    a[n - 1] = (2.0 - c) * h(n - 1);
    s[n - 1] -= c * s[n - 2];
    s[n - 1] /= a[n - 1];
    for (std::size_t i = n - 1; i-- > 0;) s[i] = (s[i] - h(i + 1) * s[i + 1]) / a[i];
}

double eval(double y, int nn, const double* x, const double* u, const double* s) {
    const std::size_t n = static_cast<std::size_t>(std::abs(static_cast<long long>(nn)));
    if (n == 0) return 0.0;
    if (y <= x[0]) return u[0];
    if (y >= x[n - 1]) return u[n - 1];
    std::size_t k = 1;
    while (k < n && !(x[k - 1] < y && y <= x[k])) ++k;
    if (k == n) return std::numeric_limits<double>::quiet_NaN();
    const double dy = x[k] - y;
    const double d1 = y - x[k - 1];
    const double dk = x[k] - x[k - 1];
    return (s[k - 1] * dy * dy * dy + s[k] * d1 * d1 * d1) / (6.0 * dk) + d1 * (u[k] / dk - s[k] * dk / 6.0) +
           dy * (u[k - 1] / dk - s[k - 1] * dk / 6.0);
}

double qfunc(double u1, double x1, double u2, double x2) {
    return (u1 / (x1 * x1) - u2 / (x2 * x2)) / (1.0 / x1 - 1.0 / x2);
}

void shells(double* x, int* k, int n) {
    for (int i = 0; i < n; ++i) k[i] = i + 1;
    for (int gap = n / 2; gap > 0; gap /= 2) {
        for (int i = gap; i < n; ++i) {
            const double value = x[i];
            const int key = k[i];
            int j = i;
            for (; j >= gap && (x[j - gap] > value || (x[j - gap] == value && k[j - gap] > key)); j -= gap) {
                x[j] = x[j - gap];
                k[j] = k[j - gap];
            }
            x[j] = value;
            k[j] = key;
        }
    }
}

void recurs(double* x, int n, const double* hc, int nf, const double* om, double* scr) {
    for (int i = 0; i < nf; ++i) {
        scr[3 * i] = hc[2 * i];
        scr[3 * i + 1] = hc[2 * i] * std::cos(om[i]) - hc[2 * i + 1] * std::sin(om[i]);
        scr[3 * i + 2] = 2.0 * std::cos(om[i]);
    }
    for (int sample = 0; sample < n; ++sample) {
        x[sample] = 0.0;
        for (int i = 0; i < nf; ++i) {
            double* state = &scr[3 * i];  // this sample, the one before, 2 cos(om)
            const double now = state[0];
            x[sample] += now;
            state[0] = state[2] * now - state[1];
            state[1] = now;
        }
    }
}

void tdfrph(const int* idood, const int* itm, double* freq, double* phase) {
    frequency_and_phase(doodson_clock(itm), idood, freq, phase);
}

// --- optical ranging -------------------------------------------------------------------------------------------------

void FCULZD_HPA(double latitude, double ellip_ht, double pressure, double wvp, double lambda_um, double* fcul_ztd,
                double* fcul_zhd, double* fcul_zwd) {
    constexpr double XC = 375.0;  // CO2 content [ppm]
    constexpr double k0 = 238.0185;
    constexpr double k1 = 19990.975;
    constexpr double k2 = 57.362;
    constexpr double k3 = 579.55174;
    constexpr double w0 = 295.235;
    constexpr double w1 = 2.6422;
    constexpr double w2 = -0.032380;
    constexpr double w3 = 0.004028;
    const double sigma2 = 1.0 / (lambda_um * lambda_um);  // squared wave number [1/micrometre^2]
    const double f = 1.0 - 0.00266 * std::cos(2.0 * latitude * kTideDegToRad) - 0.00028e-3 * ellip_ht;
    const double corr = 1.0 + 0.534e-6 * (XC - 450.0);
    const double fh =
        0.01 * corr *
        (k1 * (k0 + sigma2) / ((k0 - sigma2) * (k0 - sigma2)) + k3 * (k2 + sigma2) / ((k2 - sigma2) * (k2 - sigma2)));
    const double fnh = 0.003101 * (w0 + sigma2 * (3.0 * w1 + sigma2 * (5.0 * w2 + sigma2 * 7.0 * w3)));
    *fcul_zhd = 2.416579e-3 * fh * pressure / f;
    *fcul_zwd = 1.0e-4 * (5.316 * fnh - 3.759 * fh) * wvp / f;
    *fcul_ztd = *fcul_zhd + *fcul_zwd;
}

double FCUL_A(double LATITUDE, double HEIGHT_M, double T_K, double ELEV_DEG) {
    const double t = T_K - 273.15;
    const double c = std::cos(LATITUDE * kTideDegToRad);
    const double e = std::sin(ELEV_DEG * kTideDegToRad);
    const double a1 = 0.121008e-2 + 0.17295e-5 * t + 0.3191e-4 * c - 0.18478e-7 * HEIGHT_M;
    const double a2 = 0.304965e-2 + 0.2346e-5 * t - 0.1035e-3 * c - 0.1856e-7 * HEIGHT_M;
    const double a3 = 0.68777e-1 + 0.1972e-4 * t - 0.3458e-2 * c + 0.1060e-6 * HEIGHT_M;
    return (1.0 + a1 / (1.0 + a2 / (1.0 + a3))) / (e + a1 / (e + a2 / (e + a3)));
}
