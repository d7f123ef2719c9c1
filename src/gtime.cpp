/// \file gtime.cpp
/// Time records, arithmetic, calendar and week forms, and conversion between time systems.
#include "gtime.h"

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "private/constants.h"
#include "private/instants.h"
#include "private/numbers.h"
#include "private/print.h"
#include "private/report.h"
#include "private/text.h"

using namespace leopod;

namespace {

constexpr double kHalfDay = 43200.0;    ///< [s]
constexpr std::size_t kTextSize = 100;  ///< caller's text buffers

/// Truncation toward zero into [-limit, limit]; 0 for not-a-number.
long int truncate(double x, long int limit) {
    const double bound = static_cast<double>(limit);
    if (x >= bound) return limit;
    if (x <= -bound) return -limit;
    return x == x ? static_cast<long int>(x) : 0;
}
long int to_day(double x) { return truncate(x, LONG_MAX / 2); }

}  // namespace

// --- normalisation and arithmetic ------------------------------------------------------------------------------------

namespace {

[[noreturn]] void stop(const char* text) {
    report(ULOG_ERROR_LEVEL, "%s", text);
    std::exit(1);
}

}  // namespace

void timeMjd_negative(TimeMJD* mjdtime) {
    mjdtime->mjd = negated(mjdtime->mjd);
    mjdtime->sod = -mjdtime->sod;
}

void TimeMjd_normalise(TimeMJD* mjdtime) { normalise(mjdtime->mjd, mjdtime->sod); }

void TimeJD_normalise(TimeJD* jdtime) { normalise(jdtime->jd, jdtime->sod); }

TimeMJD mjd2TimeMJD(double mjd) {
    TimeMJD t{};
    t.mjd = to_day(mjd);
    t.sod = kDay * (mjd - static_cast<double>(t.mjd));
    return t;
}

TimeMJD timeMjdAddSec(TimeMJD mjdtime, double seconds) {
    mjdtime.sod += seconds;
    TimeMjd_normalise(&mjdtime);
    return mjdtime;
}

TimeMJD timeMjdAdd(TimeMJD mjdtime1, TimeMJD mjdtime2) {
    TimeMJD sum{add_days(mjdtime1.mjd, mjdtime2.mjd), mjdtime1.sod + mjdtime2.sod};
    TimeMjd_normalise(&sum);
    return sum;
}

TimeMJD timeMjdSub(TimeMJD mjdtime1, TimeMJD mjdtime2) {
    TimeMJD difference{add_days(mjdtime1.mjd, negated(mjdtime2.mjd)), mjdtime1.sod - mjdtime2.sod};
    TimeMjd_normalise(&difference);
    return difference;
}

GTime gtimeAddSec(GTime gtime, double seconds) {
    gtime.time = timeMjdAddSec(gtime.time, seconds);
    return gtime;
}

GTime gtimeAdd(GTime gtime1, GTime gtime2) {
    if (gtime1.sys != gtime2.sys) stop("GTime structs have different time systems, cannot be added!\n");
    return GTime{timeMjdAdd(gtime1.time, gtime2.time), gtime1.sys};
}

GTime gtimeSub(GTime gtime1, GTime gtime2) {
    if (gtime1.sys != gtime2.sys) stop("Time systems not the same, cannot be Substract!\n");
    return GTime{timeMjdSub(gtime1.time, gtime2.time), gtime1.sys};
}

double gtimeSubSec(GTime gtime1, GTime gtime2) {
    if (gtime1.sys != gtime2.sys) stop("Time system not the same, cannot be SubSec!\n");
    return seconds_between(gtime1, gtime2);
}

// settled: the guards of the three comparisons differ
bool gtime_equal(GTime a, GTime b) { return std::fabs(seconds_of(gtimeSub(a, b).time)) <= kTimeTolerance; }

bool gtime_greater(GTime a, GTime b) {
    if (a.sys != b.sys || a.sys == UKNTS) return false;
    return seconds_between(a, b) >= kTimeTolerance;
}

bool gtime_less(GTime a, GTime b) {
    if (a.sys != b.sys) return false;
    return seconds_between(a, b) <= -kTimeTolerance;
}

// --- calendar, day and week forms ------------------------------------------------------------------------------------

namespace {

bool is_leap_year(int year) { return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0); }

/// Days of a month, 1 to 12.
int month_length(int year, int month) {
    constexpr int kLength[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && is_leap_year(year) ? 29 : kLength[month - 1];
}

/// MJD at which week 0 of a system starts; false and 0 for a system without weeks.
bool week_origin(TIMESYS sys, double& mjd0) {
    switch (sys) {
        case tsGPST:
            mjd0 = 44244.0;
            return true;
        case tsGALT:
            mjd0 = 51411.99984953704;  // 22 August 1999 less 13 s, as one double
            return true;
        case tsBDST:
            mjd0 = 53736.0;
            return true;
        default:
            mjd0 = 0.0;
            return false;
    }
}

}  // namespace

TimeJD YMDtoJD(TimeYMD ct) {
    // settled: no Gregorian century term, right from March 1900 to February 2100
    long int y = ct.year;
    long int m = ct.month;
    if (m <= 2) {
        y -= 1;
        m += 12;
    }
    // Only whole hours can move the day over noon here. Minutes and seconds count in sod alone: a second of 60 carries
    // through the normalisation once, also at 11:59:60.
    TimeJD t{};
    if (y >= 0 && m >= 3 && m <= 14 && ct.day >= 0 && ct.hour >= 0 && ct.hour < 24) {
        // Dates as calendars have them, in integers: for each such month the product below lies between two whole numbers.
        t.jd = 1720981L + ct.day + 1461 * y / 4 + 306001 * (m + 1) / 10000 + (ct.hour >= 12 ? 1 : 0);
    } else {
        const double hours = ct.hour;
        const long double sum = 1720981.5L + static_cast<long double>(hours / 24) + ct.day +
                                std::trunc(static_cast<double>(y) * 365.25) +
                                std::trunc(static_cast<double>(m + 1) * 30.6001);
        t.jd = static_cast<long int>(sum);
    }
    t.sod = static_cast<double>((ct.hour + 12L) % 24 * 3600 + ct.minute * 60L) + ct.second;
    TimeJD_normalise(&t);
    return t;
}

/// Source: Fliegel and Van Flandern (1968), Communications of the ACM 11(10), p. 657.
TimeYMD JD2YMD(TimeJD jdt) {
    constexpr long int kMaxDay = 500000000000;  // the year fits an int
    double s = jdt.sod - kHalfDay;
    long int j = jdt.jd;
    if (jdt.sod < kHalfDay) {
        s = jdt.sod + kHalfDay;
        j = add_days(j, -1);
    }
    // settled: this sum in double rounds up to the next day within 2e-5 s before midnight
    long int L = truncate(std::floor(static_cast<double>(j) + s / kDay), kMaxDay) + 68570;
    const long int N = 4 * L / 146097;
    L -= (146097 * N + 3) / 4;
    const long int I = 4000 * (L + 1) / 1461001;
    L = L - 1461 * I / 4 + 31;
    const long int J = 80 * L / 2447;
    TimeYMD t{};
    t.day = static_cast<int>(L - 2447 * J / 80);
    L = J / 11;
    t.month = static_cast<int>(J + 2 - 12 * L);
    t.year = static_cast<int>(100 * (N - 49) + I + L);
    t.hour = to_int(std::floor(s / 3600.0));
    t.minute = to_int(std::floor((s - t.hour * 3600.0) / 60.0));
    t.second = s - t.hour * 3600.0 - t.minute * 60.0;
    return t;
}

TimeJD GTime2JD(GTime gt) {
    const double mjd = static_cast<double>(gt.time.mjd);
    TimeJD t{};
    if (gt.time.sod < kHalfDay) {
        t.jd = to_day(mjd + kMjdToJd - 0.5);
        t.sod = gt.time.sod + kHalfDay;
    } else {
        t.jd = to_day(mjd + kMjdToJd + 0.5);
        t.sod = gt.time.sod - kHalfDay;
    }
    TimeJD_normalise(&t);
    return t;
}

GTime JD2GTime(TIMESYS ts, TimeJD jdt) {
    GTime gt{{0, 0.0}, ts};
    long int j = jdt.jd;
    if (jdt.sod < kHalfDay) {
        j = add_days(j, -1);
        gt.time.sod = jdt.sod + kHalfDay;
    } else {
        gt.time.sod = jdt.sod - kHalfDay;
    }
    gt.time.mjd = to_day(static_cast<double>(j) - kMjdToJd + 0.5);
    return gt;
}

TimeYMD GTime2YMD(GTime gt) { return JD2YMD(GTime2JD(gt)); }

GTime YMD2GTime(TimeYMD ymdtime, TIMESYS ts) { return JD2GTime(ts, YMDtoJD(ymdtime)); }

GTime mjd2GTime(TIMESYS ts, double mjd) { return GTime{mjd2TimeMJD(mjd), ts}; }

double gtime2mjd(GTime gtime) { return gtime.time.sod / kDay + static_cast<double>(gtime.time.mjd); }

TimeYMD DOY2YMD(TimeDOY doytime) {
    long int d = to_int(doytime.doy);
    const double f = doytime.doy - static_cast<double>(d);
    TimeYMD t{};
    t.year = doytime.year;
    for (int month = 1; month <= 12; ++month) {
        const int length = month_length(t.year, month);
        d -= length;
        t.month = month;
        if (d < 1) {
            t.day = static_cast<int>(d + length);
            break;
        }
    }
    // settled: a day of year past the end leaves month 12, day 0
    t.hour = to_int(f * 24);
    t.minute = to_int((f * 24 - t.hour) * 60);
    t.second = f * 24 * 60 * 60 - t.hour * 3600.0 - t.minute * 60.0;
    return t;
}

TimeDOY YMD2DOY(TimeYMD ymdtime) {
    long int days = 0;
    for (int month = 1; month < ymdtime.month && month <= 12; ++month) days += month_length(ymdtime.year, month);
    return TimeDOY{ymdtime.year, static_cast<double>(days + ymdtime.day) + ymdtime.hour / 24.0 +
                                     (ymdtime.minute / 60.0) / 24.0 + ymdtime.second / kDay};
}

TimeGNSS GTime2SOW(GTime gtime) {
    double mjd0 = 0.0;
    if (!week_origin(gtime.sys, mjd0)) {
        report(ULOG_WARNING_LEVEL, "Warning: GTime::toSOW() unkown time system! \n");
    }
    const double t = static_cast<double>(gtime.time.mjd) - mjd0;
    // The fraction in the origin of GALT lands in sow, as 13 s.
    return TimeGNSS{to_int(t / 7.0), gtime.time.sod + std::fmod(t, 7.0) * kDay};
}

GTime SOW2GTime(TimeGNSS timesow, TIMESYS ts) {
    if (!std::isfinite(timesow.sow)) {
        report(ULOG_ERROR_LEVEL, "SOW2GTime(): second of week is not finite");
        return GTime{{0, 0.0}, UKNTS};
    }
    double mjd0 = 0.0;
    if (!week_origin(ts, mjd0)) report(ULOG_ERROR_LEVEL, "GTime::toSOW() unkown time system! ");
    // Whole days leave sow one by one without rounding, so the exact remainder gives the same bits at any size.
    double sow = std::fmod(timesow.sow, kDay);
    long int days = to_day((timesow.sow - sow) / kDay);
    if (sow <= 0) {  // settled: second 0 of a week is second 86400 of the day before
        sow += kDay;
        days = add_days(days, -1);
    }
    // settled: the truncated origin of GALT puts the result one day low
    const long int mjd = to_day(static_cast<double>(add_days(timesow.week * 7L, days)) + mjd0);
    return GTime{{mjd, sow}, ts};
}

// --- texts -----------------------------------------------------------------------------------------------------------

void timeymd2str(TimeYMD ymdtime, char* time_str) {
    std::snprintf(time_str, kTextSize, "%04d-%02d-%02d", ymdtime.year, ymdtime.month, ymdtime.day);
}

void gtime2str(GTime gtime, char* time_str) {
    const TimeYMD t = GTime2YMD(gtime);
    // settled: the rounding of the format may print a second of sixty
    print(time_str, kTextSize, "%04d-%02d-%02dT%02d:%02d:%012.9lf", t.year, t.month, t.day, t.hour, t.minute, t.second);
}

GTime str2gtime(char* time_str, TIMESYS ts) {
    TimeYMD t{};
    scan(time_str, "%4d-%2d-%2dT%2d:%2d:%12lf", &t.year, &t.month, &t.day, &t.hour, &t.minute, &t.second);
    return YMD2GTime(t, ts);
}

void get_time_now(char* timestr) {
    const std::time_t now = std::time(nullptr);
    std::tm t{};
    if (const std::tm* local = std::localtime(&now); local != nullptr) t = *local;
    std::snprintf(timestr, kTextSize, "%04d-%02d-%02dT%02d:%02d:%02d", t.tm_year + 1900, t.tm_mon + 1, t.tm_mday,
                  t.tm_hour, t.tm_min, t.tm_sec);
}

// --- time systems ----------------------------------------------------------------------------------------------------

namespace {

/// TAI-UTC [s] from each date on. The dates are the last UTC day before a step.
/// settled: a value thus comes into force one day before the step.
constexpr int kNumLeapSeconds = 27;
constexpr int LeapSecondTable[kNumLeapSeconds][2] = {
    {41498, 11},  // 1972-06-30
    {41682, 12},  // 1972-12-31
    {42047, 13},  // 1973-12-31
    {42412, 14},  // 1974-12-31
    {42777, 15},  // 1975-12-31
    {43143, 16},  // 1976-12-31
    {43508, 17},  // 1977-12-31
    {43873, 18},  // 1978-12-31
    {44238, 19},  // 1979-12-31
    {44785, 20},  // 1981-06-30
    {45150, 21},  // 1982-06-30
    {45515, 22},  // 1983-06-30
    {46246, 23},  // 1985-06-30
    {47160, 24},  // 1987-12-31
    {47891, 25},  // 1989-12-31
    {48256, 26},  // 1990-12-31
    {48803, 27},  // 1992-06-30
    {49168, 28},  // 1993-06-30
    {49533, 29},  // 1994-06-30
    {50082, 30},  // 1995-12-31
    {50629, 31},  // 1997-06-30
    {51178, 32},  // 1998-12-31
    {53735, 33},  // 2005-12-31
    {54831, 34},  // 2008-12-31
    {56108, 35},  // 2012-06-30
    {57203, 36},  // 2015-06-30
    {57753, 37},  // 2016-12-31
};

/// Seconds to add from the row's system to the column's, in the order of TIMESYS. The column of UTC leads to TAI, the
/// row of UTC comes on top of TAI-UTC.
constexpr double kOffset[7][7] = {
    //         GPST     GALT     BDST     UTC      TAI      TT
    {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0},
    {0.0, 0.0, 0.0, -14.0, 19.0, 19.0, 51.184},              // GPST
    {0.0, 0.0, 0.0, -14.0, 19.0, 19.0, 51.184},              // GALT
    {0.0, 14.0, 14.0, 0.0, 33.0, 33.0, 65.184},              // BDST
    {0.0, -19.0, -19.0, -19.0 - 14.0, 0.0, 0.0, 32.184},     // UTC, plus leap
    {0.0, -19.0, -19.0, -33.0, 0.0, 0.0, 32.184},            // TAI
    {0.0, -51.184, -51.184, -65.184, -32.184, -32.184, 0.0}  // TT
};

}  // namespace

int getLeapSecond(double mjd_utc) {
    if (mjd_utc < LeapSecondTable[0][0]) {
        // settled: the upper limit in the text is the date of row 14
        report(ULOG_ERROR_LEVEL, "current time (mjd_utc) %lf exceed the limits of Leap second table[%d--%d]!\n",
               mjd_utc, LeapSecondTable[0][0], LeapSecondTable[13][0]);
        std::exit(1);
    }
    for (int i = kNumLeapSeconds - 1; i >= 0; --i) {
        if (LeapSecondTable[i][0] <= mjd_utc) return LeapSecondTable[i][1];
    }
    return 0;  // not a number
}

double TAImUTC(GTime utct) {
    if (utct.sys != tsUTC) {
        report(ULOG_WARNING_LEVEL, "current time is not in UTC when getting leap second!\n");
        std::exit(1);
    }
    return getLeapSecond(gtime2mjd(utct));
}

GTime TAI2UTC(GTime gtime_tai) {
    GTime utc = gtime_tai;
    utc.sys = tsUTC;
    double leap =
        TAImUTC(utc);  // settled: midnight that rounding puts at second 86400 of the day before counts as the step date
    if (leap > utc.time.sod) {  // the UTC epoch still lies on the day before
        utc.time.mjd = add_days(utc.time.mjd, -1);
        leap = TAImUTC(utc);
    }
    return gtimeAddSec(gtime_tai, -leap);
}

GTime gtimeChangeTimeSystem(GTime gtime, TIMESYS ts) {
    const auto known = [](TIMESYS sys) { return sys > UKNTS && sys <= tsTT; };
    if (ts == gtime.sys || !known(ts) || !known(gtime.sys)) return gtime;
    double offset = kOffset[gtime.sys][ts];
    if (gtime.sys == tsUTC) offset += TAImUTC(gtime);
    gtime = gtimeAddSec(gtime, offset);
    if (ts == tsUTC) gtime = TAI2UTC(gtime);
    gtime.sys = ts;
    return gtime;
}
