#include "inputs/crd_session.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "inputs/crd_lines.h"
#include "shared/times.h"

namespace host {

namespace {

constexpr long double kDay = 86400.0L;
constexpr long double kLastSecond = 86401.0L;   ///< end of a day with a leap second
constexpr long double kDisorder = 600.0L;       ///< records of a kind may be this much out of order [s]
constexpr long double kLongest = 32.0L * kDay;  ///< a header with a longer session is not believed

}  // namespace

bool operator<(const Epoch& a, const Epoch& b) { return a.mjd != b.mjd ? a.mjd < b.mjd : a.sec_of_day < b.sec_of_day; }

std::string epoch_text(const Epoch& epoch, int decimals) {
    long long unit = 1;
    for (int i = 0; i < decimals; ++i) unit *= 10;
    long long ticks = std::llround(epoch.sec_of_day * static_cast<long double>(unit));
    long mjd = epoch.mjd;
    if (epoch.sec_of_day < kDay && ticks >= 86400 * unit) {
        ticks = 0;
        ++mjd;
    }
    const long long seconds = ticks / unit;
    const long long minutes = std::min(seconds / 60, 1439LL);
    char text[64];
    std::snprintf(text, sizeof text, "T%02lld:%02lld:%02lld", minutes / 60, minutes % 60, seconds - 60 * minutes);
    std::string result = date_text(mjd) + text;
    if (decimals > 0) {
        const std::string fraction = std::to_string(ticks % unit);
        result += "." + std::string(static_cast<std::size_t>(decimals) - fraction.size(), '0') + fraction;
    }
    return result;
}

std::optional<Epoch> epoch_of(int year, int month, int day, int hour, int minute, int second) {
    const int last_second = hour == 23 && minute == 59 ? 60 : 59;  // a leap second
    const bool good = year >= 1950 && year <= 2099 && is_date(year, month, day) && hour >= 0 && hour <= 23 &&
                      minute >= 0 && minute <= 59 && second >= 0 && second <= last_second;
    if (!good) return std::nullopt;
    return Epoch{mjd_of(year, month, day), static_cast<long double>(3600 * hour + 60 * minute + second)};
}

void Session::set_header(const rh4& r) {
    header = r;
    start = epoch_of(r.start_year, r.start_mon, r.start_day, r.start_hour, r.start_min, r.start_sec);
    end = epoch_of(r.end_year, r.end_mon, r.end_day, r.end_hour, r.end_min, r.end_sec);
}

std::optional<Epoch> Session::date(const std::string& kind, long double sec_of_day) {
    if (!start || !(sec_of_day >= 0.0L && sec_of_day < kLastSecond)) return std::nullopt;
    // The span in which the record should lie. Without an end that can be believed the records of its kind lead on.
    const auto previous = previous_.find(kind);
    long double from = start->sec_of_day;
    long double to = std::max(from, latest_);
    const long double stated = end ? static_cast<long double>(end->mjd - start->mjd) * kDay + end->sec_of_day : -kDay;
    if (stated >= from && stated - from <= kLongest) {
        to = stated;
    } else if (previous != previous_.end()) {
        from = to = previous->second;
    }
    const long double goes_on_from = (previous != previous_.end() ? previous->second : from) - kDisorder;
    long best = static_cast<long>(std::floor(from / kDay)) - 1;
    long double best_distance = std::numeric_limits<long double>::infinity();
    for (long day = best; static_cast<long double>(day - 1) * kDay <= to; ++day) {
        const long double t = static_cast<long double>(day) * kDay + sec_of_day;
        const long double distance = t < from ? from - t : t > to ? t - to : 0.0L;
        const bool best_is_passed = static_cast<long double>(best) * kDay + sec_of_day < goes_on_from;
        if (distance < best_distance || (distance == 0.0L && best_distance == 0.0L && best_is_passed)) {
            best = day;
            best_distance = distance;
        }
    }
    const long double t = static_cast<long double>(best) * kDay + sec_of_day;
    previous_[kind] = t;
    latest_ = std::max(latest_, t);
    return Epoch{start->mjd + best, sec_of_day};
}

bool is_supported(const rh1& r) {
    return crd_upper(r.crd_literal) == "CRD" && (r.format_version == 1 || r.format_version == 2);
}

Session session_behind(const rh1& r, const std::string& file) {
    Session next;
    next.station = unread<rh2>();
    next.target = unread<rh3>();
    next.file = file;
    next.version = r.format_version;
    return next;
}

}  // namespace host
