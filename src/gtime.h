/// \file gtime.h
/// Time records, arithmetic, calendar and week forms, and conversion between time systems. Plain values, no state.
#ifndef LEOPOD_GTIME_H
#define LEOPOD_GTIME_H

#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

/// Time systems.
typedef enum TIMESYS LEOPOD_ENUM_BASE {
    UKNTS = 0,   ///< unknown
    tsGPST = 1,  ///< GPS time
    tsGALT = 2,  ///< Galileo system time
    tsBDST = 3,  ///< BeiDou time
    tsUTC = 4,   ///< Coordinated Universal Time
    tsTAI = 5,   ///< International Atomic Time
    tsTT = 6     ///< Terrestrial Time
} TIMESYS;

/// Calendar date and time of day.
typedef struct TimeYMD {
    int year, month, day, hour, minute;
    double second;
} TimeYMD;

/// Day of year; 1 January is 1, the time of day is the fraction.
typedef struct TimeDOY {
    int year;
    double doy;
} TimeDOY;

/// Week and second of week.
typedef struct TimeGNSS {
    int week;
    double sow;
} TimeGNSS;

/// Modified Julian Day and second of day. Normalised: no opposite signs, |sod| < 86400 (or sod = -86400 with mjd <= 0).
typedef struct TimeMJD {
    long int mjd;
    double sod;
} TimeMJD;

/// Julian Day and seconds after the noon that starts it.
typedef struct TimeJD {
    long int jd;
    double sod;
} TimeJD;

/// A time tag: day, second of day and the time system in which both count.
typedef struct GTime {
    TimeMJD time;
    TIMESYS sys;
} GTime;

/// Negates both fields, in place.
/// \param mjdtime  a time or difference of times
void timeMjd_negative(TimeMJD* mjdtime);

/// Moves whole days from the second of day to the day number and removes opposite signs, in place. On day 0 the sign of
/// the seconds is left alone: that is how a small negative difference looks. Exactly -86400 s on a day <= 0 stays.
/// \param mjdtime  a time or difference of times
void TimeMjd_normalise(TimeMJD* mjdtime);

/// The same for a Julian Day.
/// \param jdtime  Julian Day and seconds after noon
void TimeJD_normalise(TimeJD* jdtime);

/// Modified Julian Day as one number to day and second of day: truncated toward zero, not normalised.
/// \param mjd  Modified Julian Day [day]
/// \return day and second of day
TimeMJD mjd2TimeMJD(double mjd);

/// Adds seconds to a time.
/// \param mjdtime  the time
/// \param seconds  [s], either sign
/// \return the sum, normalised
TimeMJD timeMjdAddSec(TimeMJD mjdtime, double seconds);

/// Sum of two times, field by field.
/// \param mjdtime1,mjdtime2  the summands
/// \return the sum, normalised
TimeMJD timeMjdAdd(TimeMJD mjdtime1, TimeMJD mjdtime2);

/// Difference of two times, field by field.
/// \param mjdtime1,mjdtime2  minuend and subtrahend
/// \return the difference, normalised; may be negative
TimeMJD timeMjdSub(TimeMJD mjdtime1, TimeMJD mjdtime2);

/// Adds seconds to a time tag, in whatever system it is.
/// \param gtime    the time tag
/// \param seconds  [s], either sign
/// \return the later time, normalised, in the same system
GTime gtimeAddSec(GTime gtime, double seconds);

/// Sum of two time tags of one system.
/// Different systems: logs "GTime structs have different time systems, cannot be added!\n" (error) and ends the
/// process.
/// \param gtime1,gtime2  the summands
/// \return the sum, normalised, in the same system
GTime gtimeAdd(GTime gtime1, GTime gtime2);

/// Difference of two time tags of one system.
/// Different systems: logs "Time systems not the same, cannot be Substract!\n" (error) and ends the process.
/// \param gtime1,gtime2  minuend and subtrahend
/// \return the difference, normalised, in the same system; may be negative
GTime gtimeSub(GTime gtime1, GTime gtime2);

/// Difference of two time tags of one system in seconds.
/// Different systems: logs "Time system not the same, cannot be SubSec!\n" (error) and ends the process.
/// \param gtime1,gtime2  minuend and subtrahend
/// \return gtime1 - gtime2 [s]
double gtimeSubSec(GTime gtime1, GTime gtime2);

/// Compares two time tags. Ends the process as gtimeSub when the systems differ.
/// \param a,b  time tags of one system
/// \return true if they differ by at most 1e-10 s
bool gtime_equal(GTime a, GTime b);

/// Compares two time tags.
/// \param a,b  time tags
/// \return true if a is at least 1e-10 s later than b; false, without a report, when the systems differ or are unknown
bool gtime_greater(GTime a, GTime b);

/// Compares two time tags.
/// \param a,b  time tags
/// \return true if a is at least 1e-10 s earlier than b; false, without a report, when the systems differ; unknown systems do
///         compare
bool gtime_less(GTime a, GTime b);

/// Calendar date to Julian Day. No Gregorian century rule: right from March 1900 to February 2100 only.
/// Minutes and seconds past their range carry over.
/// \param ct  date and time of day
/// \return Julian Day and seconds after noon, normalised
TimeJD YMDtoJD(TimeYMD ct);

/// Julian Day to calendar date, Gregorian. Within 2e-5 s before midnight the date is that of the next day.
/// \param jdt  Julian Day and seconds after noon, normalised
/// \return date and time of day
/// Source: Fliegel and Van Flandern (1968), Communications of the ACM 11(10), p. 657.
TimeYMD JD2YMD(TimeJD jdt);

/// Time tag to Julian Day, in the tag's own system.
/// \param gt  the time tag
/// \return Julian Day and seconds after noon, normalised
TimeJD GTime2JD(GTime gt);

/// Julian Day to time tag.
/// \param ts   time system of both
/// \param jdt  Julian Day and seconds after noon, normalised
/// \return the time tag
GTime JD2GTime(TIMESYS ts, TimeJD jdt);

/// Time tag to calendar date, in the tag's own system.
/// \param gt  the time tag
/// \return date and time of day
TimeYMD GTime2YMD(GTime gt);

/// Calendar date to time tag, March 1900 to February 2100.
/// \param ymdtime  date and time of day
/// \param ts       time system of both
/// \return the time tag
GTime YMD2GTime(TimeYMD ymdtime, TIMESYS ts);

/// Modified Julian Day as one number to time tag.
/// \param ts   time system of both
/// \param mjd  Modified Julian Day [day]
/// \return the time tag
GTime mjd2GTime(TIMESYS ts, double mjd);

/// Time tag to Modified Julian Day as one number.
/// \param gtime  the time tag
/// \return Modified Julian Day in the tag's own system [day]
double gtime2mjd(GTime gtime);

/// Day of year to calendar date. A day past the end of the year gives month 12 and day 0.
/// \param doytime  year and day of year, 1 January = 1, time of day as fraction
/// \return date and time of day
TimeYMD DOY2YMD(TimeDOY doytime);

/// Calendar date to day of year.
/// \param ymdtime  date and time of day
/// \return year and day of year, 1 January = 1, time of day as fraction
TimeDOY YMD2DOY(TimeYMD ymdtime);

/// Time tag to week and second of week of its system (GPST, GALT, BDST). Before the system's origin week and second are
/// non-positive. Another system logs "Warning: GTime::toSOW() unkown time system! \n" (warning) and counts from MJD 0.
/// \param gtime  the time tag
/// \return week and second of week [s]
TimeGNSS GTime2SOW(GTime gtime);

/// Week and second of week to time tag. Second 0 of a week gives second 86400 of the day before; for GALT the result
/// lies one day low. Another system logs "GTime::toSOW() unkown time system! " (error) and counts from MJD 0.
/// \param timesow  week and second of week [s], any finite value
/// \param ts       time system
/// \return the time tag, second of day in (0, 86400]. A second that is not finite is logged (error) and gives a zero
///         time of unknown system
GTime SOW2GTime(TimeGNSS timesow, TIMESYS ts);

/// Date as text, "%04d-%02d-%02d".
/// \param ymdtime   the date
/// \param time_str  [out] 100 characters
void timeymd2str(TimeYMD ymdtime, char* time_str);

/// Time tag as text, "%04d-%02d-%02dT%02d:%02d:%012.9lf" in its own system. Rounding may print a second of sixty.
/// \param gtime     the time tag
/// \param time_str  [out] 100 characters
void gtime2str(GTime gtime, char* time_str);

/// Text "YYYY-MM-DDThh:mm:ss.sss" to time tag. The text is not checked; fields that it lacks count as 0.
/// \param time_str  the text
/// \param ts        time system of the text
/// \return the time tag
GTime str2gtime(char* time_str, TIMESYS ts);

/// Wall clock in local time as text, "%04d-%02d-%02dT%02d:%02d:%02d".
/// \param timestr  [out] 100 characters
void get_time_now(char* timestr);

/// TAI-UTC from the table of leap seconds, 1972 on. Each value comes into force one day before its step, and the last
/// one holds for ever.
/// Before MJD 41498: logs "current time (mjd_utc) %lf exceed the limits of Leap second table[%d--%d]!\n" (error) and
/// ends the process.
/// \param mjd_utc  UTC as Modified Julian Day [day]
/// \return TAI-UTC [s]; 0 for not-a-number
/// Source: IERS Bulletin C.
int getLeapSecond(double mjd_utc);

/// TAI-UTC at a UTC epoch, as getLeapSecond.
/// Not UTC: logs "current time is not in UTC when getting leap second!\n" (warning) and ends the process.
/// \param utct  UTC time tag
/// \return TAI-UTC [s]
double TAImUTC(GTime utct);

/// TAI to UTC. The input's system is not examined and the result keeps it: gtimeChangeTimeSystem sets the right tag.
/// Ends the process before the table of leap seconds.
/// \param gtime_tai  TAI clock reading
/// \return the UTC clock reading
GTime TAI2UTC(GTime gtime_tai);

/// Converts a time tag to another time system; the only conversion between time scales. TAI - GPST = 19 s, GALT = GPST,
/// GPST - BDST = 14 s, TT - TAI = 32.184 s; UTC by the table of leap seconds, and the process ends before its start.
/// \param gtime  the time tag
/// \param ts     system wanted
/// \return the time tag in system `ts`; unchanged when it is in `ts` already or either system is unknown
GTime gtimeChangeTimeSystem(GTime gtime, TIMESYS ts);

LEOPOD_END_DECLS
#endif
