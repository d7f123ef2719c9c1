/// \file times.h
/// Time tags as texts, and texts as time tags.
#ifndef LEOPOD_HOST_TIMES_H
#define LEOPOD_HOST_TIMES_H

#include <string>

#include "gtime.h"

namespace host {

/// ISO text of a time tag.
std::string time_text(const GTime& time, int decimals = 3);

/// Dates of a span in UTC: "2021-01-17 to 2021-01-19".
std::string date_span_text(double mjd_first, double mjd_last);

/// Reads a text such as 2021-01-18T00:00:00, with any one character before the hour. False where it is none.
bool scan_date(const std::string& text, TimeYMD& date);

/// Reads a date of an option; throws InputError where it is none within the years.
GTime parse_date(const std::string& option, const std::string& text, TIMESYS system, int first_year, int last_year);

}  // namespace host

#endif
