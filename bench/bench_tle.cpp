// SGP4 against a straight transcription of the routine of Spacetrack Report No. 3, compiled the same way.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "tle.h"

namespace {

// --- the routine of the Report, statement by statement; its COMMON blocks are statics ---

constexpr double CK2 = 5.413080e-4, CK4 = .62098875e-6, E6A = 1e-6, QOMS2T = 1.88027916e-9, S = 1.01222928,
                 TOTHRD = .66666667, XJ3 = -.253881e-5, XKE = .743669161e-1, XKMPER = 6378.135, AE = 1., XMNPDA = 1440.;
constexpr double PI = 3.14159265, TWOPI = 6.2831853, PIO2 = 1.57079633, X3PIO2 = 4.71238898, DE2RA = .174532925e-1;
double XMO, XNODEO, OMEGAO, EO, XINCL, XNO, BSTAR, X, Y, Z, XDOT, YDOT, ZDOT;

double power(double x, int n) { return n == 3 ? x * x * x : (x * x) * (x * x); }

double FMOD2P(double x) {
    double r = x - static_cast<int>(x / TWOPI) * TWOPI;
    if (r < 0) r += TWOPI;
    return r;
}

double ACTAN(double sinx, double cosx) {
    if (cosx == 0.) return sinx == 0. ? 0. : sinx > 0. ? PIO2 : X3PIO2;
    double a = 0.;
    if (cosx > 0.) {
        if (sinx == 0.) return 0.;
        if (sinx < 0.) a = TWOPI;
    } else {
        a = PI;
    }
    return a + std::atan(sinx / cosx);
}

void SGP4(int& IFLAG, double TSINCE) {
    static int ISIMP;
    static double COSIO, X3THM1, XNODP, AODP, ETA, SINIO, X1MTH2, C1, C4, C5, D2, D3, D4, XMDOT, OMGDOT, XNODOT, OMGCOF,
        XMCOF, XNODCF, T2COF, T3COF, T4COF, T5COF, XLCOF, AYCOF, DELMO, SINMO, X7THM1;
    if (IFLAG != 0) {
        const double A1 = std::pow(XKE / XNO, TOTHRD);
        COSIO = std::cos(XINCL);
        const double THETA2 = COSIO * COSIO;
        X3THM1 = 3. * THETA2 - 1.;
        const double EOSQ = EO * EO;
        const double BETAO2 = 1. - EOSQ;
        const double BETAO = std::sqrt(BETAO2);
        const double DEL1 = 1.5 * CK2 * X3THM1 / (A1 * A1 * BETAO * BETAO2);
        const double AO = A1 * (1. - DEL1 * (.5 * TOTHRD + DEL1 * (1. + 134. / 81. * DEL1)));
        const double DELO = 1.5 * CK2 * X3THM1 / (AO * AO * BETAO * BETAO2);
        XNODP = XNO / (1. + DELO);
        AODP = AO / (1. - DELO);
        ISIMP = 0;
        if ((AODP * (1. - EO) / AE) < (220. / XKMPER + AE)) ISIMP = 1;
        double S4 = S;
        double QOMS24 = QOMS2T;
        const double PERIGE = (AODP * (1. - EO) - AE) * XKMPER;
        if (PERIGE < 156.) {
            S4 = PERIGE - 78.;
            if (PERIGE <= 98.) S4 = 20.;
            QOMS24 = power((120. - S4) * AE / XKMPER, 4);
            S4 = S4 / XKMPER + AE;
        }
        const double PINVSQ = 1. / (AODP * AODP * BETAO2 * BETAO2);
        const double TSI = 1. / (AODP - S4);
        ETA = AODP * EO * TSI;
        const double ETASQ = ETA * ETA;
        const double EETA = EO * ETA;
        const double PSISQ = std::fabs(1. - ETASQ);
        const double COEF = QOMS24 * power(TSI, 4);
        const double COEF1 = COEF / std::pow(PSISQ, 3.5);
        const double C2 = COEF1 * XNODP *
                          (AODP * (1. + 1.5 * ETASQ + EETA * (4. + ETASQ)) +
                           .75 * CK2 * TSI / PSISQ * X3THM1 * (8. + 3. * ETASQ * (8. + ETASQ)));
        C1 = BSTAR * C2;
        SINIO = std::sin(XINCL);
        const double A3OVK2 = -XJ3 / CK2 * AE * AE * AE;
        const double C3 = COEF * TSI * A3OVK2 * XNODP * AE * SINIO / EO;
        X1MTH2 = 1. - THETA2;
        C4 = 2. * XNODP * COEF1 * AODP * BETAO2 *
             (ETA * (2. + .5 * ETASQ) + EO * (.5 + 2. * ETASQ) -
              2. * CK2 * TSI / (AODP * PSISQ) *
                  (-3. * X3THM1 * (1. - 2. * EETA + ETASQ * (1.5 - .5 * EETA)) +
                   .75 * X1MTH2 * (2. * ETASQ - EETA * (1. + ETASQ)) * std::cos(2. * OMEGAO)));
        C5 = 2. * COEF1 * AODP * BETAO2 * (1. + 2.75 * (ETASQ + EETA) + EETA * ETASQ);
        const double THETA4 = THETA2 * THETA2;
        const double TEMP1 = 3. * CK2 * PINVSQ * XNODP;
        const double TEMP2 = TEMP1 * CK2 * PINVSQ;
        const double TEMP3 = 1.25 * CK4 * PINVSQ * PINVSQ * XNODP;
        XMDOT = XNODP + .5 * TEMP1 * BETAO * X3THM1 + .0625 * TEMP2 * BETAO * (13. - 78. * THETA2 + 137. * THETA4);
        const double X1M5TH = 1. - 5. * THETA2;
        OMGDOT = -.5 * TEMP1 * X1M5TH + .0625 * TEMP2 * (7. - 114. * THETA2 + 395. * THETA4) +
                 TEMP3 * (3. - 36. * THETA2 + 49. * THETA4);
        const double XHDOT1 = -TEMP1 * COSIO;
        XNODOT = XHDOT1 + (.5 * TEMP2 * (4. - 19. * THETA2) + 2. * TEMP3 * (3. - 7. * THETA2)) * COSIO;
        OMGCOF = BSTAR * C3 * std::cos(OMEGAO);
        XMCOF = -TOTHRD * COEF * BSTAR * AE / EETA;
        XNODCF = 3.5 * BETAO2 * XHDOT1 * C1;
        T2COF = 1.5 * C1;
        XLCOF = .125 * A3OVK2 * SINIO * (3. + 5. * COSIO) / (1. + COSIO);
        AYCOF = .25 * A3OVK2 * SINIO;
        DELMO = power(1. + ETA * std::cos(XMO), 3);
        SINMO = std::sin(XMO);
        X7THM1 = 7. * THETA2 - 1.;
        if (ISIMP != 1) {
            const double C1SQ = C1 * C1;
            D2 = 4. * AODP * TSI * C1SQ;
            const double TEMP = D2 * TSI * C1 / 3.;
            D3 = (17. * AODP + S4) * TEMP;
            D4 = .5 * TEMP * AODP * TSI * (221. * AODP + 31. * S4) * C1;
            T3COF = D2 + 2. * C1SQ;
            T4COF = .25 * (3. * D3 + C1 * (12. * D2 + 10. * C1SQ));
            T5COF = .2 * (3. * D4 + 12. * C1 * D3 + 6. * D2 * D2 + 15. * C1SQ * (2. * D2 + C1SQ));
        }
        IFLAG = 0;
    }
    // Update for secular gravity and atmospheric drag
    const double XMDF = XMO + XMDOT * TSINCE;
    const double OMGADF = OMEGAO + OMGDOT * TSINCE;
    const double XNODDF = XNODEO + XNODOT * TSINCE;
    double OMEGA = OMGADF;
    double XMP = XMDF;
    const double TSQ = TSINCE * TSINCE;
    const double XNODE = XNODDF + XNODCF * TSQ;
    double TEMPA = 1. - C1 * TSINCE;
    double TEMPE = BSTAR * C4 * TSINCE;
    double TEMPL = T2COF * TSQ;
    if (ISIMP != 1) {
        const double DELOMG = OMGCOF * TSINCE;
        const double DELM = XMCOF * (power(1. + ETA * std::cos(XMDF), 3) - DELMO);
        const double TEMP = DELOMG + DELM;
        XMP = XMDF + TEMP;
        OMEGA = OMGADF - TEMP;
        const double TCUBE = TSQ * TSINCE;
        const double TFOUR = TSINCE * TCUBE;
        TEMPA = TEMPA - D2 * TSQ - D3 * TCUBE - D4 * TFOUR;
        TEMPE = TEMPE + BSTAR * C5 * (std::sin(XMP) - SINMO);
        TEMPL = TEMPL + T3COF * TCUBE + TFOUR * (T4COF + TSINCE * T5COF);
    }
    const double A = AODP * (TEMPA * TEMPA);
    const double E = EO - TEMPE;
    const double XL = XMP + OMEGA + XNODE + XNODP * TEMPL;
    const double BETA = std::sqrt(1. - E * E);
    const double XN = XKE / std::pow(A, 1.5);
    // Long period periodics
    const double AXN = E * std::cos(OMEGA);
    double TEMP = 1. / (A * BETA * BETA);
    const double XLL = TEMP * XLCOF * AXN;
    const double AYNL = TEMP * AYCOF;
    const double XLT = XL + XLL;
    const double AYN = E * std::sin(OMEGA) + AYNL;
    // Solve Kepler's equation
    const double CAPU = FMOD2P(XLT - XNODE);
    double TEMP2 = CAPU;
    double SINEPW = 0., COSEPW = 0., TEMP3 = 0., TEMP4 = 0., TEMP5 = 0., TEMP6 = 0.;
    for (int I = 1; I <= 10; ++I) {
        SINEPW = std::sin(TEMP2);
        COSEPW = std::cos(TEMP2);
        TEMP3 = AXN * SINEPW;
        TEMP4 = AYN * COSEPW;
        TEMP5 = AXN * COSEPW;
        TEMP6 = AYN * SINEPW;
        const double EPW = (CAPU - TEMP4 + TEMP3 - TEMP2) / (1. - TEMP5 - TEMP6) + TEMP2;
        if (std::fabs(EPW - TEMP2) <= E6A) break;
        TEMP2 = EPW;
    }
    // Short period preliminary quantities
    const double ECOSE = TEMP5 + TEMP6;
    const double ESINE = TEMP3 - TEMP4;
    const double ELSQ = AXN * AXN + AYN * AYN;
    TEMP = 1. - ELSQ;
    const double PL = A * TEMP;
    const double R = A * (1. - ECOSE);
    double TEMP1 = 1. / R;
    const double RDOT = XKE * std::sqrt(A) * ESINE * TEMP1;
    const double RFDOT = XKE * std::sqrt(PL) * TEMP1;
    TEMP2 = A * TEMP1;
    const double BETAL = std::sqrt(TEMP);
    TEMP3 = 1. / (1. + BETAL);
    const double COSU = TEMP2 * (COSEPW - AXN + AYN * ESINE * TEMP3);
    const double SINU = TEMP2 * (SINEPW - AYN - AXN * ESINE * TEMP3);
    const double U = ACTAN(SINU, COSU);
    const double SIN2U = 2. * SINU * COSU;
    const double COS2U = 2. * COSU * COSU - 1.;
    TEMP = 1. / PL;
    TEMP1 = CK2 * TEMP;
    TEMP2 = TEMP1 * TEMP;
    // Update for short periodics
    const double RK = R * (1. - 1.5 * TEMP2 * BETAL * X3THM1) + .5 * TEMP1 * X1MTH2 * COS2U;
    const double UK = U - .25 * TEMP2 * X7THM1 * SIN2U;
    const double XNODEK = XNODE + 1.5 * TEMP2 * COSIO * SIN2U;
    const double XINCK = XINCL + 1.5 * TEMP2 * COSIO * SINIO * COS2U;
    const double RDOTK = RDOT - XN * TEMP1 * X1MTH2 * SIN2U;
    const double RFDOTK = RFDOT + XN * TEMP1 * (X1MTH2 * COS2U + 1.5 * X3THM1);
    // Orientation vectors
    const double SINUK = std::sin(UK);
    const double COSUK = std::cos(UK);
    const double SINIK = std::sin(XINCK);
    const double COSIK = std::cos(XINCK);
    const double SINNOK = std::sin(XNODEK);
    const double COSNOK = std::cos(XNODEK);
    const double XMX = -SINNOK * COSIK;
    const double XMY = COSNOK * COSIK;
    const double UX = XMX * SINUK + COSNOK * COSUK;
    const double UY = XMY * SINUK + SINNOK * COSUK;
    const double UZ = SINIK * SINUK;
    const double VX = XMX * COSUK - COSNOK * SINUK;
    const double VY = XMY * COSUK - SINNOK * SINUK;
    const double VZ = SINIK * COSUK;
    // Position and velocity
    X = RK * UX;
    Y = RK * UY;
    Z = RK * UZ;
    XDOT = RDOTK * UX + RFDOTK * VX;
    YDOT = RDOTK * UY + RFDOTK * VY;
    ZDOT = RDOTK * UZ + RFDOTK * VZ;
}

void set_elements(const tled_t& data) {
    XMO = data.M * DE2RA;
    XNODEO = data.OMG * DE2RA;
    OMEGAO = data.omg * DE2RA;
    XINCL = data.inc * DE2RA;
    XNO = data.n * (TWOPI / XMNPDA);
    EO = data.ecc;
    BSTAR = data.bstar / AE;
}

void results(double* rs) {
    const double position[3] = {X, Y, Z}, velocity[3] = {XDOT, YDOT, ZDOT};
    for (int i = 0; i < 3; ++i) {
        rs[i] = position[i] * XKMPER / AE * 1e3;
        rs[3 + i] = velocity[i] * XKMPER / AE * XMNPDA / 86400. * 1e3;
    }
}

// --- cases ---

/// The example of the Report, satellite 88888, with another mean anomaly for each number.
tled_t element_set(int i) {
    tled_t data{};
    data.inc = 72.8435;
    data.OMG = 115.9689;
    data.ecc = .0086731;
    data.omg = 52.6988;
    data.M = std::fmod(110.5714 + 7.3001 * i, 360.0);
    data.n = 16.05824518;
    data.bstar = .66816e-4;
    return data;
}

constexpr int kSets = 64;
constexpr int kManySets = 4096;  ///< more than the library keeps models of

/// \param sets        element sets that take turns
/// \param initialise  the peer's preparation: at each call, or once for a set
template <typename Propagate>
void run_case(benchmark::State& state, int sets, Propagate propagate) {
    static std::vector<tled_t> data;
    for (int i = static_cast<int>(data.size()); i < kManySets; ++i) data.push_back(element_set(i));
    int i = 0;
    double tsince = 0.0;
    for (auto _ : state) {
        double rs[6];
        propagate(tsince, data[static_cast<std::size_t>(i)], rs);
        benchmark::DoNotOptimize(rs);
        i = i + 1 == sets ? 0 : i + 1;
        tsince = tsince > 1440.0 ? 0.0 : tsince + 1.7;
    }
}

void own(double tsince, const tled_t& data, double* rs) { SGP4_STR3(tsince, &data, rs); }

void peer(double tsince, const tled_t& data, double* rs) {
    int first = 1;
    set_elements(data);
    SGP4(first, tsince);
    results(rs);
}

int g_flag = 1;
void peer_prepared(double tsince, const tled_t& data, double* rs) {
    if (g_flag != 0) set_elements(data);
    SGP4(g_flag, tsince);
    results(rs);
}

void check() {
    for (int i = 0; i < kSets; ++i) {
        double a[6], b[6];
        own(22.5 * i, element_set(i), a);
        peer(22.5 * i, element_set(i), b);
        for (int k = 0; k < 3; ++k) {
            // the Report has eight digits of pi and stops Kepler's equation at 1e-6
            if (std::fabs(a[k] - b[k]) > 20.0)
                std::fprintf(stderr, "SGP4 and its transcription differ by %g m\n", a[k] - b[k]);
        }
    }
}

void add(const char* name, int sets, void (*other)(double, const tled_t&, double*)) {
    const std::string title = name;
    benchmark::RegisterBenchmark((title + "/leopod").c_str(),
                                 [sets](benchmark::State& state) { run_case(state, sets, own); });
    benchmark::RegisterBenchmark((title + "/peer").c_str(), [=](benchmark::State& state) {
        g_flag = 1;
        run_case(state, sets, other);
    });
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    check();
    add("SGP4, one set, the Report's routine prepares at each call", 1, peer);
    add("SGP4, one set, the Report's routine prepares once", 1, peer_prepared);
    add("SGP4, another of 64 sets at each call", kSets, peer);
    add("SGP4, another of 4096 sets at each call", kManySets, peer);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
