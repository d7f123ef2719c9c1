#include "shared/times.h"

#include <cmath>
#include <cstdio>

#include "shared/error.h"

namespace host {

std::string time_text(const GTime& time, int decimals) {
    // Rounded first, so that no text ever shows a second of sixty.
    const double unit = std::pow(10.0, decimals);
    GTime rounded = time;
    rounded.time.sod = 0.0;
    rounded = gtimeAddSec(rounded, std::round(time.time.sod * unit) / unit);
    const TimeYMD d = GTime2YMD(rounded);
    char text[96];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%0*.*f", d.year, d.month, d.day, d.hour, d.minute,
                  decimals > 0 ? decimals + 3 : 2, decimals, d.second);
    return text;
}

std::string date_span_text(double mjd_first, double mjd_last) {
    const auto date = [](double mjd) {
        char text[32];
        const TimeYMD d = GTime2YMD(mjd2GTime(tsUTC, mjd));
        std::snprintf(text, sizeof text, "%04d-%02d-%02d", d.year, d.month, d.day);
        return std::string(text);
    };
    return date(mjd_first) + " to " + date(mjd_last);
}

bool scan_date(const std::string& text, TimeYMD& date) {
    return std::sscanf(text.c_str(), "%d-%d-%d%*c%d:%d:%lf", &date.year, &date.month, &date.day, &date.hour,
                       &date.minute, &date.second) == 6;
}

GTime parse_date(const std::string& option, const std::string& text, TIMESYS system, int first_year, int last_year) {
    TimeYMD d{};
    const bool valid = scan_date(text, d) && d.year >= first_year && d.year <= last_year && d.month >= 1 &&
                       d.month <= 12 && d.day >= 1 && d.day <= 31 && d.hour >= 0 && d.hour <= 24 && d.minute >= 0 &&
                       d.minute <= 59 && d.second >= 0.0 && d.second < 61.0;
    if (!valid)
        throw InputError(option + " " + text + ": a text such as 2021-01-18T00:00:00 from " +
                         std::to_string(first_year) + " to " + std::to_string(last_year) + " is expected");
    return YMD2GTime(d, system);
}

}  // namespace host
