// Diurnal and tidal corrections and sidereal angles: the published test cases, and ERFA for the sidereal time.
#include <cmath>

#include "iers_function.h"
#include "support.h"

#ifdef HAVE_ERFA
#include <erfa.h>
#endif

namespace {

constexpr double kPi = 3.14159265358979323846;

TEST(Iers, PublishedTidalCorrections) {
    double eop[3] = {1.0, 2.0, 3.0};  // onto what the caller gives
    ORTHO_EOP(47100.0, eop);
    EXPECT_NEAR(eop[0], 1.0 - 162.8386373279636530, 1e-11);
    EXPECT_NEAR(eop[1], 2.0 + 117.7907525842668974, 1e-11);
    EXPECT_NEAR(eop[2], 3.0 - 23.39092370609808214, 1e-11);

    // 5e-7: the published programs hold these amplitudes in single precision; 1e-10: the same with double literals
    double pm[2] = {7.0, 7.0}, dut1 = 7.0, dlod = 7.0;
    PMSDNUT2(54335.0, pm);
    EXPECT_NEAR(pm[0], 24.83144238273364834, 5e-7);
    EXPECT_NEAR(pm[0], 24.831442515608938, 1e-10);
    EXPECT_NEAR(pm[1], -14.09240736459809, 1e-10);
    UTLIBR(44239.1, &dut1, &dlod);
    EXPECT_NEAR(dut1, 2.441143834386761746, 5e-7);
    EXPECT_NEAR(dut1, 2.4411438481444496, 1e-10);
    EXPECT_NEAR(dlod, -14.789712237215797, 1e-10);

    double ut = 7.0, lod = 7.0, omega = 7.0;
    RG_ZONT2(0.07995893223819302, &ut, &lod, &omega);
    EXPECT_NEAR(ut, 7.983287678576557467e-2, 1e-15);
    EXPECT_NEAR(lod, 5.035331113978199288e-5, 1e-18);
    EXPECT_NEAR(omega, -4.249711616463017e-14, 1e-27);
}

TEST(Iers, PublishedArguments) {
    double f[5];
    FUNDARG(0.07995893223819302, &f[0], &f[1], &f[2], &f[3], &f[4]);
    const double expected[] = {2.291187512612069099, 6.212931111003726414, 3.658025792050572989, 4.554139562402433228,
                               -0.5167379217231804489};
    for (int i = 0; i < 5; ++i) EXPECT_NEAR(f[i], expected[i], 2e-11);

    support::LogRecorder log;
    double angle[11];
    ARG2(2008, 311.5, angle);
    const double tides[] = {2.849663065753787805, 6.28318080000000023,   4.926040134021299366, 1.608450491115348768,
                            2.375021572352622456, 0.4746414933980958040, 3.908159227647345801, 2.551018561669245344,
                            5.041990012540757959, 4.206816878908014701,  1.608463638294885811};
    for (int i = 0; i < 11; ++i) EXPECT_NEAR(angle[i], tides[i], 1e-11);
    EXPECT_TRUE(log.messages().empty());
    ARG2(1973, 311.5, angle);
    EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, "ARG2(): ERROR: IYEAR must be larger than 1974\n"));
    EXPECT_NEAR(angle[1], tides[1], 1e-11);  // reported, and computed all the same
}

TEST(Iers, SiderealAngles) {
    EXPECT_DOUBLE_EQ(normalizeAngle(3.5), 3.5 - 2 * kPi);
    EXPECT_DOUBLE_EQ(normalizeAngle(-3.5), -3.5 + 2 * kPi);
    // Doodson arguments: tau + s is the local sidereal angle, and the mean longitudes follow from the Delaunay ones.
    double fnut[5], beta[6], f[5];
    DOODSONARG(2451545.0, 7687.1, 2459232.1, fnut, beta);
    FUNDARG((2459232.1 - 2451545.0) / 36525.0, &f[0], &f[1], &f[2], &f[3], &f[4]);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(fnut[i], f[i]);
    EXPECT_NEAR(std::sin(beta[0] + beta[1] - kPi), std::sin(getGMST(2451545.0, 7687.1, 2459232.1)), 1e-14);
    const double delaunay[] = {beta[1] - beta[3], beta[2] - beta[5], beta[1] + beta[4], beta[1] - beta[2], -beta[4]};
    for (int i = 0; i < 5; ++i) EXPECT_NEAR(delaunay[i], fnut[i], 1e-14);
}

#ifdef HAVE_ERFA
TEST(Iers, SiderealAnglesAgainstErfa) {
    for (double century : {-100.0, -30.0, 0.0, 100.0}) {  // the turn of one day
        const double noon = 2451545.0 + 36525.0 * century, turn = eraGmst82(noon, 0.5) - eraGmst82(noon, -0.5);
        EXPECT_NEAR(getEarthRotationAngleRate(century) * 86400.0, 2 * kPi + std::remainder(turn, 2 * kPi), 5e-11);
    }
    for (double day = -18000.0; day < 36500.0; day += 777.7) {
        const double t = day / 36525.0, dpsi = 1e-5;
        EXPECT_EQ(getEarthRotationAngle(2451545.0, day), eraEra00(2451545.0, day));
        // the sidereal time counts from the date it is given, so relative to J2000.0 it is the published one
        EXPECT_NEAR(normalizeAngle(getGMST(2451545.0, day, day) - eraGmst00(2451545.0, day, 2451545.0, day)), 0.0,
                    1e-12);
        EXPECT_EQ(getEECT(t), eraEect00(2451545.0, day));
        EXPECT_EQ(getMeanObliquity(t), eraObl06(2451545.0, day));
        EXPECT_EQ(getEE2000(t, dpsi), eraEe00(2451545.0, day, eraObl06(2451545.0, day), dpsi));
        const double sidereal = getGMST(2451545.0, day, 2451545.0 + day) + getEE2000(t, dpsi);
        EXPECT_NEAR(std::remainder(getGAST(2451545.0, day, 2451545.0 + day, dpsi) - sidereal, 2 * kPi), 0.0, 1e-12);
        EXPECT_NEAR(normalizeAngle(gstime_iau82(2451545.0 + day) - eraGmst82(2451545.0, day)), 0.0, 1e-8);
    }
}
#endif

}  // namespace
