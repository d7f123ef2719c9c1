// Precession-nutation set: bit for bit against ERFA, and the published check values.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "iau_function.h"
#include "private/nutation.h"
#include "support.h"

#ifdef HAVE_ERFA
#include <erfa.h>
#endif

namespace {

using Matrix = double[3][3];

void expect_matrix(const Matrix& r, const Matrix& expected, double tolerance) {
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(r[i / 3][i % 3], expected[i / 3][i % 3], tolerance) << "element " << i;
}

#ifdef HAVE_ERFA
/// Days from J2000.0 between 1950 and 2100, spread without a pattern.
double spread_day(int i) { return -18262.0 + std::fmod(i * 54787.0 * 0.6180339887498949, 54787.0); }

bool same_bits(const Matrix& a, const Matrix& b) { return std::memcmp(a, b, sizeof(Matrix)) == 0; }

TEST(Iau, BitForBitAgainstErfa) {
    for (int i = 0; i < 400; ++i) {
        const double day = spread_day(i);
        const double splits[4][2] = {
            {2451545.0, day}, {2400000.5, day + 51544.5}, {day + 2451545.0, 0.0}, {2451545.0 + std::floor(day), 0.3}};
        for (const auto& date : splits) {
            SCOPED_TRACE(::testing::Message() << std::hexfloat << date[0] << " " << date[1]);
            const double d1 = date[0], d2 = date[1], t = ((d1 - 2451545.0) + d2) / 36525.0;
            const double arguments[][2] = {
                {iauFal03(t), eraFal03(t)},   {iauFalp03(t), eraFalp03(t)}, {iauFaf03(t), eraFaf03(t)},
                {iauFad03(t), eraFad03(t)},   {iauFaom03(t), eraFaom03(t)}, {iauFame03(t), eraFame03(t)},
                {iauFave03(t), eraFave03(t)}, {iauFae03(t), eraFae03(t)},   {iauFama03(t), eraFama03(t)},
                {iauFaju03(t), eraFaju03(t)}, {iauFasa03(t), eraFasa03(t)}, {iauFaur03(t), eraFaur03(t)},
                {iauFapa03(t), eraFapa03(t)}};
            for (const auto& pair : arguments) ASSERT_EQ(pair[0], pair[1]);

            double a[2], b[2];
            iauNut06a(d1, d2, &a[0], &a[1]);
            eraNut06a(d1, d2, &b[0], &b[1]);
            ASSERT_TRUE(a[0] == b[0] && a[1] == b[1]);
            const double x = 5e-7 * day / 3.0, y = 1e-9 * day;
            ASSERT_EQ(iauS06(d1, d2, x, y), eraS06(d1, d2, x, y));
            ASSERT_EQ(iauS00(d1, d2, x, y), eraS00(d1, d2, x, y));
            ASSERT_EQ(iauEra00(d1, d2), eraEra00(d1, d2));
            ASSERT_EQ(iauEra00(d2, d1), eraEra00(d1, d2));

            Matrix r, e;
            iauPnm06a(d1, d2, r), eraPnm06a(d1, d2, e);
            ASSERT_TRUE(same_bits(r, e));
            iauC2i06a(d1, d2, r), eraC2i06a(d1, d2, e);
            ASSERT_TRUE(same_bits(r, e));
            iauC2ixy(d1, d2, x, y, r), eraC2ixy(d1, d2, x, y, e);
            ASSERT_TRUE(same_bits(r, e));
            iauC2t06a(d1, d2, d1, d2 - 8e-4, 2e-6 * t, 1e-6, r), eraC2t06a(d1, d2, d1, d2 - 8e-4, 2e-6 * t, 1e-6, e);
            ASSERT_TRUE(same_bits(r, e));
        }
    }
}

// Reduction at its borders: multiples of 2 pi and their neighbours, large values, signed zero.
TEST(Iau, AngleReductionBitForBitAgainstErfa) {
    const double turn = 6.283185307179586476925287;
    for (double k : {0.0, 1.0, 2.0, 3.0, 63.0, 1023.0, 524287.0, 1048575.0, 1048576.0, 1e9, 1e15, 1e300}) {
        for (double x : {std::nextafter(k * turn, -1.0), k * turn, std::nextafter(k * turn, 1e308), k * turn + 1.0}) {
            for (double a : {x, -x}) ASSERT_EQ(iauAnp(a), eraAnp(a)) << std::hexfloat << a;
        }
    }
    EXPECT_TRUE(std::isnan(iauAnp(INFINITY)));
    for (double t : {0.0, 1e-9, 0.7, 33.3, 1e4, 1e6, 3.3e6, 1e9, 1e15, 1e60}) {  // reduction by a turn of arcseconds
        for (double a : {t, -t}) {
            ASSERT_EQ(iauFaom03(a), eraFaom03(a)) << a;
            ASSERT_EQ(iauFad03(a), eraFad03(a)) << a;
        }
    }
}
#endif

// The frame conversion's series by products, through a century, against the published form.
TEST(Iau, NutationByProductsStaysWithTheSeries) {
    double largest = 0.0, largest_element = 0.0;
    for (int i = 0; i < 12175; ++i) {
        const double day = 3.0 * i + std::fmod(i * 0.6180339887498949, 1.0);
        double dpsi, deps, fast_dpsi, fast_deps;
        iauNut00a(2451545.0, day, &dpsi, &deps);
        leopod::fast_nutation(2451545.0, day, fast_dpsi, fast_deps);
        largest = std::max({largest, std::fabs(fast_dpsi - dpsi), std::fabs(fast_deps - deps)});
        if (i % 10 != 0) continue;
        Matrix r, fast;
        iauC2i06a(2451545.0, day, r);
        leopod::fast_celestial_to_intermediate(2451545.0, day, fast);
        for (int k = 0; k < 9; ++k)
            largest_element = std::max(largest_element, std::fabs(fast[k / 3][k % 3] - r[k / 3][k % 3]));
    }
    EXPECT_LE(largest, 5e-20);            // rad; the last bit of the longitude is 1.4e-20
    EXPECT_LE(largest_element, 2.3e-16);  // the last bit of an element near 1
}

// The product may overwrite either factor.
TEST(Iau, ProductInPlace) {
    Matrix a, b, product;
    iauIr(a), iauRx(0.3, a), iauRy(-0.7, a);
    iauIr(b), iauRz(1.1, b);
    iauRxr(b, a, product), iauRz(1.1, a);
    expect_matrix(a, product, 1e-16);
    iauRxr(a, b, product), iauRxr(a, b, b);
    expect_matrix(b, product, 0.0);
}

}  // namespace
