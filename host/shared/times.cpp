#include "shared/times.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <string_view>

#include "shared/error.h"

namespace host {

namespace {

constexpr double kDay = 86400.0;
constexpr long kMjdOfUnixEpoch = 40587;
constexpr long kFirstLeapSecond = 41498;  ///< 1972-06-30

long long power_of_ten(int exponent) {
    long long power = 1;
    for (int i = 0; i < exponent; ++i) power *= 10;
    return power;
}

long floor_div(long a, long b) { return a / b - (a % b < 0 ? 1 : 0); }

/// A time tag in whole units of its last digit.
struct Ticks {
    long mjd;
    long long count;  ///< since midnight, less than a day
    long long unit;   ///< of a second
};

/// The digits are those of the decimal text of the number, so that all texts of one time agree.
Ticks ticks_of(const GTime& time, int decimals) {
    const double days = std::floor(time.time.sod / kDay);
    if (!(std::fabs(days) < 1e8)) return {time.time.mjd, 0, power_of_ten(decimals)};
    Ticks t{time.time.mjd + static_cast<long>(days), 0, power_of_ten(decimals)};
    char text[64];
    char* const end =
        std::to_chars(text, text + sizeof text, time.time.sod - days * kDay, std::chars_format::fixed, decimals).ptr;
    for (const char* c = text; c != end; ++c) {
        if (*c != '.') t.count = 10 * t.count + (*c - '0');
    }
    if (t.count >= 86400 * t.unit) {
        t.count -= 86400 * t.unit;
        ++t.mjd;
    }
    return t;
}

std::string fraction_text(long long count, long long unit) {
    return unit > 1 ? "." + std::to_string(unit + count % unit).substr(1) : "";
}

int days_in_month(long year, int month) {
    constexpr int kDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return month == 2 && leap ? 29 : kDays[month - 1];
}

bool ends_with_leap_second(long mjd) {
    if (mjd <= kFirstLeapSecond) return mjd == kFirstLeapSecond;
    // The library puts a step into force on the last day before it.
    return getLeapSecond(static_cast<double>(mjd)) > getLeapSecond(static_cast<double>(mjd - 1));
}

/// Reads a text from its front.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : text_(text) {}
    bool digits(std::size_t least, std::size_t most, int& value) {
        std::size_t n = 0;
        while (n < text_.size() && n < most && text_[n] >= '0' && text_[n] <= '9') ++n;
        if (n < least) return false;
        std::from_chars(text_.data(), text_.data() + n, value);
        text_.remove_prefix(n);
        return true;
    }
    bool second(double& value) {
        if (text_.empty() || text_[0] < '0' || text_[0] > '9') return false;
        const auto [end, error] =
            std::from_chars(text_.data(), text_.data() + text_.size(), value, std::chars_format::fixed);
        text_.remove_prefix(static_cast<std::size_t>(end - text_.data()));
        return error == std::errc();
    }
    bool take(char c) {
        if (text_.empty() || text_[0] != c) return false;
        text_.remove_prefix(1);
        return true;
    }
    bool any() {
        if (text_.empty()) return false;
        text_.remove_prefix(1);
        return true;
    }
    bool at_end() const { return text_.find_first_not_of(" \t\r") == std::string_view::npos; }
    std::size_t digits_ahead() const {
        const std::size_t n = text_.find_first_not_of("0123456789");
        return n == std::string_view::npos ? text_.size() : n;
    }

  private:
    std::string_view text_;
};

/// The fields of a text; false where it has another form.
bool scan(const std::string& text, TimeYMD& d, int& day_of_year) {
    Scanner in(text);
    while (in.take(' ')) {
    }
    if (!in.digits(4, 4, d.year) || !in.take('-')) return false;
    if (in.digits_ahead() == 3) {
        if (!in.digits(3, 3, day_of_year)) return false;
    } else if (!in.digits(1, 2, d.month) || !in.take('-') || !in.digits(1, 2, d.day)) {
        return false;
    }
    return in.any() && in.digits(1, 2, d.hour) && in.take(':') && in.digits(1, 2, d.minute) && in.take(':') &&
           in.second(d.second) && in.at_end();
}

/// Why the day of a date is none; empty where it is one.
std::string fault_of_day(const TimeYMD& d, int day_of_year) {
    static const char* const kNames[12] = {"January", "February", "March",     "April",   "May",      "June",
                                           "July",    "August",   "September", "October", "November", "December"};
    if (day_of_year >= 0) {
        const long days = mjd_of(d.year + 1, 1, 1) - mjd_of(d.year, 1, 1);
        if (day_of_year >= 1 && day_of_year <= days) return "";
        return "the year " + std::to_string(d.year) + " has " + std::to_string(days) + " days";
    }
    if (d.month < 1 || d.month > 12) return "there is no month " + std::to_string(d.month);
    if (is_date(d.year, d.month, d.day)) return "";
    return std::string(kNames[d.month - 1]) + " " + std::to_string(d.year) + " has " +
           std::to_string(days_in_month(d.year, d.month)) + " days";
}

/// Why the time of day is none; empty where it is one.
std::string fault_of_time(const TimeYMD& d, long mjd, TIMESYS system) {
    if (d.hour == 24 && d.minute == 0 && d.second == 0.0) return "";
    if (d.hour > 23) return "there is no hour " + std::to_string(d.hour);
    if (d.minute > 59) return "there is no minute " + std::to_string(d.minute);
    if (d.second < 60.0) return "";
    const bool leap = d.second < 61.0 && d.hour == 23 && d.minute == 59 && system == tsUTC;
    if (leap && ends_with_leap_second(mjd)) return "";
    return d.second < 61.0 ? "second 60 is the leap second that ends some days of UTC, and no other time"
                           : "a minute has 60 seconds";
}

}  // namespace

long mjd_of(long year, int month, int day) {
    // Years from March on, so that the day that comes and goes is the last one.
    const long y = month > 2 ? year : year - 1;
    const long era = floor_div(y, 400);
    const long year_of_era = y - 400 * era;
    const long day_of_year = (153L * (month + (month > 2 ? -3L : 9L)) + 2) / 5 + day - 1;
    const long day_of_era = 365 * year_of_era + year_of_era / 4 - year_of_era / 100 + day_of_year;
    return 146097 * era + day_of_era - 719468 + kMjdOfUnixEpoch;
}

TimeYMD date_of(long mjd) {
    const long days = mjd - kMjdOfUnixEpoch + 719468;
    const long era = floor_div(days, 146097);
    const long day_of_era = days - 146097 * era;
    const long year_of_era = (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
    const long day_of_year = day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
    const long m = (5 * day_of_year + 2) / 153;
    TimeYMD d{};
    d.month = static_cast<int>(m < 10 ? m + 3 : m - 9);
    d.day = static_cast<int>(day_of_year - (153 * m + 2) / 5 + 1);
    d.year = static_cast<int>(year_of_era + 400 * era + (d.month <= 2 ? 1 : 0));
    return d;
}

int full_year(int year) { return year + (year < 80 ? 2000 : year < 100 ? 1900 : 0); }

bool is_date(long year, int month, int day) {
    return month >= 1 && month <= 12 && day >= 1 && day <= days_in_month(year, month);
}

TimeYMD calendar(const GTime& time, int decimals) {
    const Ticks t = ticks_of(time, decimals);
    TimeYMD d = date_of(t.mjd);
    const long long minutes = t.count / (60 * t.unit);
    d.hour = static_cast<int>(minutes / 60);
    d.minute = static_cast<int>(minutes % 60);
    d.second = static_cast<double>(t.count % (60 * t.unit)) / static_cast<double>(t.unit);
    return d;
}

GTime time_of(const TimeYMD& date, TIMESYS system) {
    GTime time{{mjd_of(date.year, date.month, date.day), 3600.0 * date.hour + 60.0 * date.minute + date.second},
               system};
    TimeMjd_normalise(&time.time);
    return time;
}

std::string time_text(const GTime& time, int decimals) {
    const Ticks t = ticks_of(time, decimals);
    const TimeYMD d = date_of(t.mjd);
    const long long seconds = t.count / t.unit;
    char text[96];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02lld:%02lld:%02lld", d.year, d.month, d.day, seconds / 3600,
                  seconds / 60 % 60, seconds % 60);
    return text + fraction_text(t.count, t.unit);
}

std::string mjd_sod_text(const GTime& time, int decimals) {
    const Ticks t = ticks_of(time, decimals);
    return std::to_string(t.mjd) + "," + std::to_string(t.count / t.unit) + fraction_text(t.count, t.unit);
}

long rounded_mjd(const GTime& time, int decimals) { return ticks_of(time, decimals).mjd; }

std::string seconds_text(const GTime& time, long day_mjd, int decimals) {
    const Ticks t = ticks_of(time, decimals);
    const long long count = (t.mjd - day_mjd) * 86400LL * t.unit + t.count;
    const long long size = std::abs(count);
    return (count < 0 ? "-" : "") + std::to_string(size / t.unit) + fraction_text(size, t.unit);
}

std::string date_text(long mjd) {
    const TimeYMD d = date_of(mjd);
    char text[64];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", d.year, d.month, d.day);
    return text;
}

std::string date_span_text(double mjd_first, double mjd_last) {
    return date_text(static_cast<long>(std::floor(mjd_first))) + " to " +
           date_text(static_cast<long>(std::floor(mjd_last)));
}

bool read_time(const std::string& text, TIMESYS system, GTime& time, std::string* reason) {
    TimeYMD d{};
    int day_of_year = -1;
    std::string fault;
    if (!scan(text, d, day_of_year)) {
        fault = "this is no date and time";
    } else {
        fault = fault_of_day(d, day_of_year);
    }
    if (fault.empty()) {
        if (day_of_year >= 0) {
            const TimeYMD date = date_of(mjd_of(d.year, 1, 1) + day_of_year - 1);
            d.month = date.month;
            d.day = date.day;
        }
        fault = fault_of_time(d, mjd_of(d.year, d.month, d.day), system);
    }
    if (reason != nullptr) *reason = fault;
    if (!fault.empty()) return false;
    time = time_of(d, system);
    return true;
}

bool make_gpst(GTime& time) {
    if (time.sys == tsUTC && gtime2mjd(time) < kFirstLeapSecond + 1) return false;
    time = gtimeChangeTimeSystem(time, tsGPST);
    return true;
}

GTime parse_date(const std::string& option, const std::string& text, TIMESYS system, int first_year, int last_year) {
    GTime time{};
    std::string reason;
    const bool read = read_time(text, system, time, &reason);
    if (read && (date_of(time.time.mjd).year < first_year || date_of(time.time.mjd).year > last_year))
        reason = "the year is out of range";
    if (!reason.empty())
        throw InputError(option + " " + text + ": " + reason + "; a text such as 2021-01-18T00:00:00 from " +
                         std::to_string(first_year) + " to " + std::to_string(last_year) + " is expected");
    return time;
}

}  // namespace host
