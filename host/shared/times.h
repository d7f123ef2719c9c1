/// \file times.h
/// Time tags as texts, and texts as time tags, exact to the printed digit: whole days, whole units of the last digit, no second of sixty.
/// The library's calendar takes another way, whose date is that of the next day in the last 20 microseconds before midnight.
#ifndef LEOPOD_HOST_TIMES_H
#define LEOPOD_HOST_TIMES_H

#include <string>

#include "gtime.h"

namespace host {

/// Gregorian calendar to Modified Julian Day, and back with the time of day left at zero.
long mjd_of(long year, int month, int day);
TimeYMD date_of(long mjd);
/// Year of one of two digits as RINEX 2 has it, 1980 to 2079; others stay.
int full_year(int year);
/// True for a day that the calendar has.
bool is_date(long year, int month, int day);

/// Date and time of day, rounded to the given decimals of a second before the date is formed.
TimeYMD calendar(const GTime& time, int decimals);
/// Date and time of day to a time tag. The fields are those of a date and a time of day; seconds from 60 on carry over.
GTime time_of(const TimeYMD& date, TIMESYS system);

/// ISO text of a time tag.
std::string time_text(const GTime& time, int decimals = 3);
/// Day and second of day as two fields of a CSV: "55403,86399.990".
std::string mjd_sod_text(const GTime& time, int decimals);
/// Day that a time tag has in these texts.
long rounded_mjd(const GTime& time, int decimals);
/// Seconds since the start of a day, which may lie before it or behind its end.
std::string seconds_text(const GTime& time, long day_mjd, int decimals);
/// ISO text of a day.
std::string date_text(long mjd);
/// Dates of a span in UTC: "2021-01-17 to 2021-01-19".
std::string date_span_text(double mjd_first, double mjd_last);

/// Reads a text such as 2021-01-18T00:00:00 or 2021-018T00:00:00.5, with any one character before the hour. 24:00:00 is the next midnight.
/// Second 60 is taken in UTC at the end of a day that has a leap second, and stands for the next midnight. False, with a reason, for
/// other texts and for days that no calendar has.
bool read_time(const std::string& text, TIMESYS system, GTime& time, std::string* reason = nullptr);

/// Turns a time into GPST. False for UTC from before its leap seconds are known, in 1972.
bool make_gpst(GTime& time);

/// Reads a date of an option; throws InputError where it is none within the years.
GTime parse_date(const std::string& option, const std::string& text, TIMESYS system, int first_year, int last_year);

}  // namespace host

#endif
