#include "shared/span.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "shared/error.h"
#include "shared/times.h"

namespace host {

namespace {

constexpr double kSlack = 0.05;            ///< less than the spacing of any receiver's epochs [s]
constexpr double kShareOfInterval = 0.01;  ///< that a time may lie beside a multiple
constexpr double kFirstDay = 1.0;          ///< this close to midnight an arc begins on the next day [s]

}  // namespace

bool on_grid(double seconds, double interval) {
    return !(interval > 0.0) ||
           std::fabs(std::remainder(seconds, interval)) <= std::min(kShareOfInterval * interval, kSlack);
}

ArcSpan::ArcSpan(const SpanOptions& options, const GTime& first, TIMESYS scale)
    : scale_(scale), interval_(options.interval) {
    GTime day = gtimeAddSec(gtimeChangeTimeSystem(first, scale), kFirstDay);
    day.time.sod = 0.0;
    day_ = gtimeChangeTimeSystem(day, tsGPST);
    from_ = limit("--from", options.from, -HUGE_VAL);
    to_ = limit("--to", options.to, HUGE_VAL);
    if (from_ >= to_)
        throw InputError("--from " + options.from + " --to " + options.to + ": nothing lies between them");
}

double ArcSpan::limit(const char* option, const std::string& text, double otherwise) const {
    if (text.empty()) return otherwise;
    double second = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), second);
    if (error == std::errc() && end == text.data() + text.size() && std::isfinite(second)) return second;
    if (text.find('-', 1) == std::string::npos)
        throw InputError(std::string(option) + " " + text +
                         ": a second of the day or a time such as 2021-01-18T00:00:00 is expected");
    return seconds(parse_date(option, text, scale_, 1973, 2099));
}

double ArcSpan::seconds(const GTime& time) const {
    const GTime gpst = gtimeChangeTimeSystem(time, tsGPST);
    return static_cast<double>(gpst.time.mjd - day_.time.mjd) * 86400.0 + (gpst.time.sod - day_.time.sod);
}

GTime ArcSpan::begin() const { return gtimeAddSec(day_, from_); }

double ArcSpan::length_from(const GTime& start) const {
    if (over(start)) throw InputError("--to: the span ends before it begins, at " + time_text(start));
    return to_ - kSlack - seconds(start);
}

bool ArcSpan::within(const GTime& time) const { return seconds(time) >= from_ - kSlack && !over(time); }

bool ArcSpan::over(const GTime& time) const { return seconds(time) >= to_ - kSlack; }

bool ArcSpan::has(const GTime& time) const { return on_grid(seconds(time), interval_) && within(time); }

bool in_span(const SpanOptions& options, const GTime& time, long day) {
    return !options.given() || ArcSpan(options, {{day, 0.0}, tsGPST}, tsGPST).has(time);
}

}  // namespace host
