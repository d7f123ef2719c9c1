// ulog, common_function and gtime.
#include <cmath>
#include <cstring>
#include <limits>

#include "common_function.h"
#include "gtime.h"
#include "support.h"
#include "tle.h"
#ifdef HAVE_ERFA
#include <erfa.h>
#endif
#ifdef HAVE_GEOGRAPHICLIB
#include <GeographicLib/Geocentric.hpp>
#endif

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kRe = 6378137.0;
constexpr double kFe = 1 / 298.257223563;

std::string s_calls;
template <char name>
void sub(ulog_level_t, char* msg) {
    s_calls += std::strlen(msg) == 2047 ? name : '?';
}

std::string calls_for(int level) {
    s_calls.clear();
    ulog_message(static_cast<ulog_level_t>(level), "%s", std::string(2048, 'x').c_str());
    return s_calls;
}

bool is(const GTime& t, long mjd, double sod, TIMESYS sys) {
    return t.time.mjd == mjd && t.time.sod == sod && t.sys == sys;
}

}  // namespace

TEST(Ulog, SlotsThresholdsAndOrder) {
    ulog_subscribe(sub<'a'>, ULOG_WARNING_LEVEL);
    ulog_subscribe(sub<'b'>, ULOG_INFO_LEVEL);
    ulog_subscribe(sub<'c'>, ULOG_TRACE_LEVEL);
    EXPECT_EQ(calls_for(103), "cba");  // newest first
    EXPECT_EQ(calls_for(102), "cb");
    for (auto fn : {sub<'d'>, sub<'e'>, sub<'f'>}) EXPECT_EQ(ulog_subscribe(fn, ULOG_TRACE_LEVEL), ULOG_ERR_NONE);
    EXPECT_EQ(ulog_subscribe(sub<'g'>, ULOG_TRACE_LEVEL), ULOG_ERR_SUBSCRIBERS_EXCEEDED);
    for (auto fn : {sub<'c'>, sub<'e'>}) EXPECT_EQ(ulog_unsubscribe(fn), ULOG_ERR_NONE);
    ulog_subscribe(sub<'g'>, ULOG_TRACE_LEVEL);  // takes the highest free slot, that of c
    EXPECT_EQ(calls_for(106), "fdgba");
    EXPECT_EQ(ulog_subscribe(sub<'a'>, ULOG_CRITICAL_LEVEL), ULOG_ERR_NONE);  // only another threshold
    EXPECT_TRUE(calls_for(103) == "fdgb" && calls_for(105) == "fdgba");
    ulog_init();
}

TEST(Text, Split) {
    static char rows[4][1024];
    char line[] = "  a  b,\nc", seps[] = " ,";
    EXPECT_EQ(string_split(line, seps, rows), 2);
    EXPECT_EQ(std::string(rows[0]) + rows[1] + line, "ab  a  b,\nc");
}

TEST(Text, HelpGoesToStandardError) {
    char first[] = "usage", second[] = "options %s";
    char* lines[] = {first, second, nullptr};
    testing::internal::CaptureStderr();
    print_help(lines);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "usage\noptions %s\n");
}

TEST(Text, NumbersHaveTheBitsOfStrtod) {
    const std::string digits = "98765432109876543210";
    const char* const exponents[] = {"", "e", "e5", "E-7", "e+16", "e-22", "e22", "e23", "e0015", "e-320", "e308"};
    for (std::size_t n = 1; n <= digits.size(); ++n) {
        for (std::size_t point = 0; point <= n; ++point) {
            for (const char* exponent : exponents) {
                const std::string text = digits.substr(0, n).insert(point, ".") + exponent;
                for (const std::string& field : {text, "-" + text, "+" + text}) {
                    const int length = static_cast<int>(field.size());
                    const double value = std::strtod(field.c_str(), nullptr);
                    ASSERT_EQ(str2num(field.c_str(), 0, length), value) << field;
                    const std::string line = field + " and more text than a number has";  // read in whole words
                    ASSERT_EQ(str2num(line.c_str(), 0, static_cast<int>(line.size())), value) << field;
                }
            }
        }
    }
}

TEST(Text, HexadecimalBytes) {
    char text[] = "a9F03c1";
    unsigned char bytes[4];
    hex_str_to_byte(text, 7, bytes);
    EXPECT_TRUE(bytes[0] == 0xa9 && bytes[1] == 0xf0 && bytes[2] == 0x3c && bytes[3] == 0x10);
}

TEST(Arrays, SearchAndOutliers) {
    double a[] = {1, 2, 2, 3};
    EXPECT_TRUE(binsearch_array(a, 0, 4, 2) == 1 && binsearch_array(a, 0, 4, 9) == 4);
    double data[10] = {0, .1, .2, .3, 0, .1, .2, .3, 0, 100}, seven[10] = {5, 5, 5};
    int states[10] = {0, 7};
    detect_outlier(10, seven, states, 1.0);  // exactly 70 percent lie farther: not enough
    EXPECT_EQ(states[0], 0);
    detect_outlier(10, data, states, 1.0);
    EXPECT_TRUE(states[0] == 0 && states[1] == 7 && states[9] == 1);
    data[9] = 2.0;  // farther than the threshold from all others, from some by less than twice as much
    states[9] = 0;
    detect_outlier(10, data, states, 1.0);
    EXPECT_EQ(states[9], 1);
}

TEST(Geometry, GeodeticCoordinates) {
    double blh[3], centre[3] = {0, 0, 0}, pole[3] = {0, 0, 7e6};
    ecef2blh(centre, blh, kRe, kFe);
    EXPECT_TRUE(blh[0] == -1.5707963267948966 && blh[1] == 0.0 && blh[2] == -kRe);
    ecef2blh(pole, blh, kRe, kFe);
    EXPECT_TRUE(blh[0] == 1.5707963267948966 && blh[1] == 0.0);
    EXPECT_NEAR(blh[2], 7e6 - kRe * (1 - kFe), 1e-4);
    for (double bad : {std::nan(""), HUGE_VAL, 1e300}) {  // the iteration ends
        double p[3] = {bad, 1.0, bad};
        ecef2blh(p, blh, kRe, kFe);
    }
#ifdef HAVE_GEOGRAPHICLIB
    for (double lat = -89.5; lat < 90; lat += 8.3) {
        for (double h : {-5000.0, 300.0, 7e5, 3.6e7}) {
            const double lon = std::remainder(lat * 7, 360);
            double p[3], q[3], given[3] = {lat * kPi / 180, lon * kPi / 180, h};
            GeographicLib::Geocentric::WGS84().Forward(lat, lon, h, p[0], p[1], p[2]);
            ecef2blh(p, blh, kRe, kFe);
            blh2ecef(given, q, kRe, kFe);
            // the iteration stops at 1e-4 m in Z, where the next step would be 1/150 of the last
            EXPECT_NEAR(blh[0], given[0], 2e-13);
            EXPECT_NEAR(blh[1], given[1], 1e-14);
            EXPECT_NEAR(blh[2], h, 1e-5);
            for (int i = 0; i < 3; ++i) EXPECT_NEAR(q[i], p[i], 2e-8);
        }
    }
#endif
}

TEST(Geometry, HorizonAndOrbitFrames) {
    double blh[3] = {0.7, -1.9, 100.0}, north[3] = {0, 1, 0}, west_up[3] = {-1, 0, 1}, dxyz[3], enu[3], ae[2];
    double p[3], moved[3];
    enu2xyz(blh, north, dxyz);
    xyz2enu(blh, dxyz, enu);
    blh2ecef(blh, p, kRe, kFe);
    for (int i = 0; i < 3; ++i) {
        EXPECT_NEAR(enu[i], north[i], 1e-15);
        p[i] += 100 * dxyz[i];
    }
    ecef2blh(p, moved, kRe, kFe);
    EXPECT_NEAR(moved[0] - blh[0], 100 / 6.362e6, 1e-8);  // over the meridian's radius of curvature
    enu2xyz(blh, west_up, dxyz);
    azel(blh, dxyz, ae);
    EXPECT_NEAR(ae[0], 1.5 * kPi, 1e-15);
    EXPECT_NEAR(ae[1], kPi / 4, 1e-15);
    double turn[9] = {0, -1, 0, 1, 0, 0, 0, 0, 1};  // antenna x is platform y, antenna y is platform -x
    double along_y[3] = {-2, 0, 2};
    get_azel_signal(turn, along_y, ae);
    EXPECT_EQ(ae[0], 6.283185307179586);
    EXPECT_NEAR(ae[1], kPi / 4, 1e-15);
    double pos[3] = {7e6, 0, 0}, vel[3] = {0, 7500, 0}, R[3], T[3], N[3];
    eci2rtn(pos, vel, R, T, N);
    EXPECT_TRUE(R[0] == -1.0 && T[1] == -1.0 && N[2] == 1.0);
}

TEST(Time, NormalisationAndDifferences) {
    const TimeMJD cases[][2] = {{{51544, 86400.5}, {51545, 0.5}}, {{5, -1.0}, {4, 86399.0}},
                                {{-5, 1.0}, {-4, -86399.0}},      {{0, -1.0}, {0, -1.0}},
                                {{0, -86400.0}, {0, -86400.0}},   {{2, -200000.0}, {0, -27200.0}},
                                {{51544, 86400.0}, {51545, 0.0}}};
    for (auto& c : cases) EXPECT_TRUE(is({timeMjdAddSec(c[0], 0.0), tsTT}, c[1].mjd, c[1].sod, tsTT)) << c[0].sod;
    const GTime a{{51544, 86399.5}, tsGPST}, b{{51545, 0.5}, tsGPST};
    EXPECT_TRUE(is(gtimeSub(a, b), 0, -1.0, tsGPST) && gtimeSubSec(a, b) == -1.0);
    const long last = std::numeric_limits<long>::max();
    EXPECT_EQ(timeMjdAddSec({last, 1e300}, 1e300).mjd, last);
}

TEST(Time, ComparisonGuardsDiffer) {
    const GTime gps{{58000, 10.0}, tsGPST}, later{{58000, 11.0}, tsGPST}, utc{{58000, 9.0}, tsUTC};
    const GTime unknown{{58000, 10.0}, UKNTS}, unknown_later{{58000, 11.0}, UKNTS};
    EXPECT_TRUE(gtime_greater(later, gps) && gtime_less(gps, later) && gtime_equal(gps, gtimeAddSec(gps, 5e-11)));
    EXPECT_FALSE(gtime_greater(gps, utc) || gtime_less(utc, gps) || gtime_greater(unknown_later, unknown));
    EXPECT_TRUE(gtime_less(unknown, unknown_later));
    EXPECT_STOP(gtime_equal(gps, utc), "^Time systems not the same, cannot be Substract!\n");
    EXPECT_STOP(gtimeSubSec(gps, utc), "^Time system not the same, cannot be SubSec!\n");
    EXPECT_STOP(gtimeAdd(gps, utc), "^GTime structs have different time systems, cannot be added!\n");
}

TEST(Time, Calendar) {
#ifdef HAVE_ERFA
    for (int mjd = 15079; mjd < 88127; mjd += 17) {  // March 1900 to February 2100
        for (double sod : {0.0, 43199.999999999, 43200.0, 86399.9999}) {
            int year, month, day;
            double fraction;
            eraJd2cal(2400000.5, mjd, &year, &month, &day, &fraction);
            const TimeYMD t = GTime2YMD({{mjd, sod}, tsTT});
            ASSERT_TRUE(t.year == year && t.month == month && t.day == day) << mjd;
            const GTime back = YMD2GTime(t, tsTT);
            EXPECT_NEAR(gtimeSubSec(back, {{mjd, sod}, tsTT}), 0.0, 1e-10);
            EXPECT_NEAR(gtimeSubSec(YMD2GTime(DOY2YMD(YMD2DOY(t)), tsTT), back), 0.0, 1e-5);
        }
    }
#endif
    // within 2e-5 s before midnight the day of the calendar date rounds up
    EXPECT_EQ(GTime2YMD({{51544, 86399.99999}, tsTT}).day, 2);
    // a second of 60 was counted twice at noon: once in the fraction of the day, once in the seconds
    for (int hour = 0; hour < 24; ++hour) {
        EXPECT_EQ(gtime2mjd(YMD2GTime({2016, 12, 31, hour, 59, 60.0}, tsUTC)), 57753 + (hour + 1) / 24.0);
    }
    // an hour of the next day
    EXPECT_NEAR(gtime2mjd(YMD2GTime({2021, 1, 18, 25, 0, 0.0}, tsUTC)), 59233 + 1.0 / 24.0, 1e-9);
    const TimeYMD past = DOY2YMD({2019, 366.53125});
    EXPECT_TRUE(past.month == 12 && past.day == 0 && past.hour == 12 && past.minute == 45 && past.second == 0.0);
    EXPECT_TRUE(DOY2YMD({2000, 60.0}).day == 29 && DOY2YMD({1900, 60.0}).day == 1);
    // hostile numbers only have to come back
    constexpr int kLow = std::numeric_limits<int>::min(), kHigh = std::numeric_limits<int>::max();
    for (double x : {1e300, -1e300, HUGE_VAL, std::nan("")}) {
        GTime2YMD(mjd2GTime(tsUTC, x));
        GTime2SOW(mjd2GTime(tsGPST, x));
        DOY2YMD({kLow, x});
        YMD2GTime({kHigh, kHigh, kLow, kHigh, kLow, x}, tsUTC);
    }
}

TEST(Time, Weeks) {
    const TimeGNSS w = GTime2SOW({{58000, 100.0}, tsGPST});  // a Monday
    EXPECT_TRUE(w.week == 1965 && w.sow == 86400.0 + 100.0);
    // GALT: 13 s come in by the origin, and the way back ends one day low
    const TimeGNSS g = GTime2SOW({{58000, 100.0}, tsGALT});
    EXPECT_NEAR(g.sow, 86400.0 + 113.0, 1e-5);
    EXPECT_EQ(SOW2GTime(g, tsGALT).time.mjd, 57999);
    EXPECT_TRUE(is(SOW2GTime({1965, 0.0}, tsGPST), 57998, 86400.0, tsGPST));
    for (double sow = -2.5e6; sow < 2.5e6; sow += 1234.1) {  // the remainder has the bits of day-by-day reduction
        double s = sow;
        int days = 0;
        for (; s >= 86400; s -= 86400) ++days;
        for (; s <= 0; s += 86400) --days;
        ASSERT_TRUE(is(SOW2GTime({1965, sow}, tsGPST), 57999 + days, s, tsGPST)) << sow;
    }
    EXPECT_EQ(SOW2GTime({0, 1e300}, tsGPST).sys, tsGPST);  // at once
    EXPECT_TRUE(is(SOW2GTime({5, HUGE_VAL}, tsGPST), 0, 0.0, UKNTS));
}

TEST(Time, Texts) {
    char text[100], bad[] = "2020-0x";
    const GTime t{{58849, 3723.123456789}, tsGPST};
    const support::CommaLocale comma;
    gtime2str(t, text);
    EXPECT_STREQ(text, "2020-01-01T01:02:03.123456789");
    EXPECT_EQ(uselocale(nullptr), LC_GLOBAL_LOCALE);  // of the caller again
    EXPECT_NEAR(gtimeSubSec(str2gtime(text, tsGPST), t), 0.0, 1e-9);
    gtime2str({{58849, 59.9999999999}, tsGPST}, text);
    EXPECT_STREQ(text, "2020-01-01T00:00:60.000000000");
    gtime2str({{58849, 1e300}, tsGPST}, text);  // stays in the 100 characters
    str2gtime(bad, tsUTC);
}

TEST(TimeSystems, LeapSeconds) {
    EXPECT_TRUE(getLeapSecond(41498.0) == 11 && getLeapSecond(57752.9) == 36 && getLeapSecond(70000.0) == 37);
#ifdef HAVE_ERFA
    for (int mjd = 41498; mjd < 60000; ++mjd) {  // one day early against the true steps
        int year, month, day;
        double fraction, dat;
        eraJd2cal(2400000.5, mjd + 1, &year, &month, &day, &fraction);
        eraDat(year, month, day, 0.0, &dat);
        ASSERT_EQ(getLeapSecond(mjd), dat) << mjd;
    }
#endif
    EXPECT_STOP(getLeapSecond(41497.999),
                "^current time \\(mjd_utc\\) 41497.999000 exceed the limits of Leap second table\\[41498--47160\\]!\n");
    EXPECT_STOP(TAImUTC({{58000, 0.0}, tsTAI}), "^current time is not in UTC when getting leap second!\n");
}

TEST(TimeSystems, Conversions) {
    const GTime early{{30000, 5.0}, tsGPST}, tai{{58000, 1000.0}, tsTAI};
    EXPECT_TRUE(is(gtimeChangeTimeSystem(early, tsTT), 30000, 5.0 + 51.184, tsTT));
    EXPECT_TRUE(is(gtimeChangeTimeSystem({{58000, 17.0}, tsGPST}, tsUTC), 57999, 86399.0, tsUTC));
    for (TIMESYS bad : {UKNTS, static_cast<TIMESYS>(7), static_cast<TIMESYS>(-1)}) {
        EXPECT_TRUE(is(gtimeChangeTimeSystem(early, bad), 30000, 5.0, tsGPST));
        EXPECT_TRUE(is(gtimeChangeTimeSystem({{58000, 1.0}, bad}, tsTT), 58000, 1.0, bad));
    }
    const double reading[] = {0, 981, 981, 967, 963, 1000, 1032.184};  // by TIMESYS
    for (int from = tsGPST; from <= tsTT; ++from) {
        const GTime a = gtimeChangeTimeSystem(tai, static_cast<TIMESYS>(from));
        for (int to = tsGPST; to <= tsTT; ++to) {
            const GTime b = gtimeChangeTimeSystem(a, static_cast<TIMESYS>(to));
            EXPECT_NEAR(gtimeSubSec(b, {{58000, reading[to]}, b.sys}), 0.0, 1e-10) << from << ' ' << to;
            EXPECT_EQ(b.sys, to);
        }
    }
    const GTime midnight{{57752, 86364.0}, tsUTC};  // of TAI, before the step
    EXPECT_NEAR(gtimeSubSec(gtimeChangeTimeSystem(gtimeChangeTimeSystem(midnight, tsTT), tsUTC), midnight), -1.0, 1e-6);
    for (long mjd = 57751; mjd < 57756; ++mjd) {  // round trips on both sides of a step
        for (double sod : {1.0, 40.0, 86399.0}) {
            const GTime t{{mjd, sod}, tsTT};
            EXPECT_NEAR(gtimeSubSec(gtimeChangeTimeSystem(gtimeChangeTimeSystem(t, tsUTC), tsTT), t), 0.0, 1e-10);
        }
    }
}
