#include "pictures/axis.h"

#include <algorithm>
#include <cstdio>
#include <limits>

#include "shared/times.h"

namespace host {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// A number with decimals and a true minus sign.
std::string decimal(double value, int decimals) {
    char text[48];
    std::snprintf(text, sizeof text, "%.*f", decimals, value == 0.0 ? 0.0 : std::fabs(value));
    return (value < 0.0 ? "\u2212" : "") + std::string(text);
}

/// The smallest step of 1, 2 or 5 and zeros that cuts a span into at most so many parts.
double nice_step(double span, double most) {
    const double raw = span / std::max(most, 1.0);
    const double unit = std::pow(10.0, std::floor(std::log10(raw)));
    for (double factor : {1.0, 2.0, 5.0}) {
        if (factor * unit >= raw * 0.999) return factor * unit;
    }
    return 10.0 * unit;
}

std::vector<Tick> number_ticks(const Range& range, double pixels_each, double pixels, Axis::Kind kind) {
    const double low = std::min(range.from, range.to);
    const double high = std::max(range.from, range.to);
    double step = nice_step(high - low, pixels / pixels_each);
    if (kind == Axis::Kind::count) step = std::max(step, 1.0);
    if (kind == Axis::Kind::degree) step = step <= 15.0 ? 15.0 : 30.0;
    const int decimals = std::min(std::max(0, static_cast<int>(-std::floor(std::log10(step) + 1e-9))), 9);
    std::vector<Tick> ticks;
    for (double n = std::ceil(low / step - 1e-9); n * step <= high + 1e-9 * step; n += 1.0)
        ticks.push_back({n * step, decimal(n * step, decimals), {}});
    return ticks;
}

/// Decades with labels, and without labels what lies between.
std::vector<Tick> log_ticks(const Range& range) {
    std::vector<Tick> ticks;
    const double decades = std::log10(range.to / range.from);
    for (int e = static_cast<int>(std::floor(std::log10(range.from))); std::pow(10.0, e) <= range.to; ++e) {
        for (int m = 1; m < 10; ++m) {
            const double value = m * std::pow(10.0, e);
            if (value < range.from * (1 - 1e-9) || value > range.to * (1 + 1e-9)) continue;
            const bool named = m == 1 || (decades < 2.0 && (m == 2 || m == 5));
            ticks.push_back({value, named ? decimal(value, std::max(0, -e)) : "", {}});
        }
    }
    return ticks;
}

/// Time between the ticks of an axis.
double time_step(const Range& range, double pixels) {
    constexpr double kDay = 86400.0;
    constexpr double kSteps[] = {1.,        2.,        5.,         10.,        15.,       30.,      60.,
                                 120.,      300.,      600.,       900.,       1800.,     3600.,    7200.,
                                 10800.,    21600.,    43200.,     kDay,       2 * kDay,  5 * kDay, 10 * kDay,
                                 20 * kDay, 50 * kDay, 100 * kDay, 200 * kDay, 500 * kDay};
    for (double step : kSteps) {
        if ((range.to - range.from) / step <= pixels / 75.0) return step;
    }
    return 500 * kDay * std::ceil((range.to - range.from) / (500 * kDay));
}

std::vector<Tick> time_ticks(const Range& range, double pixels, long day_mjd) {
    constexpr double kDay = 86400.0;
    const double step = time_step(range, pixels);
    const bool several_days = std::floor(range.from / kDay) != std::floor((range.to - 1e-3) / kDay);
    std::vector<Tick> ticks;
    for (double n = std::ceil(range.from / step - 1e-9); n * step <= range.to + 1e-6; n += 1.0) {
        const double t = n * step;
        const double day = std::floor(t / kDay + 1e-9);
        const long second = std::lround(day_mjd != 0 ? t - day * kDay : t);
        Tick tick{t, {}, {}};
        char text[48];
        if (step < 60.0) {
            std::snprintf(text, sizeof text, "%02ld:%02ld:%02ld", second / 3600, second / 60 % 60, second % 60);
        } else {
            std::snprintf(text, sizeof text, "%02ld:%02ld", second / 3600, second / 60 % 60);
        }
        tick.label = text;
        const bool dated = ticks.empty() || second == 0;
        if (day_mjd != 0 && several_days && dated) tick.second = date_text(day_mjd + static_cast<long>(day));
        if (step >= kDay && day_mjd != 0) tick = {t, tick.second, {}};
        ticks.push_back(tick);
    }
    return ticks;
}

}  // namespace

Range range_of(const Axis& axis, const std::vector<const std::vector<double>*>& values) {
    Range r{kInfinity, -kInfinity};
    for (const std::vector<double>* list : values) {
        for (double v : *list) {
            if (!std::isfinite(v) || (axis.log && v <= 0.0)) continue;
            r.from = std::min(r.from, v);
            r.to = std::max(r.to, v);
        }
    }
    if (r.from > r.to) r = axis.log ? Range{0.1, 1.0} : Range{0.0, 1.0};
    if (axis.with_zero && !axis.log) r = {std::min(r.from, 0.0), std::max(r.to, 0.0)};
    if (axis.log) {
        // Between 2 and 5 times a power of ten there is no label: the ends lie that far apart.
        const double margin = std::max(std::pow(r.to / r.from, 0.04) * 1.05, std::sqrt(2.5 * r.from / r.to));
        r = {r.from / margin, r.to * margin};
    } else if (axis.kind == Axis::Kind::time) {
        if (r.to - r.from < 1.0) r = {r.from - 30.0, r.to + 30.0};
        // To the tick that data end just before, as a day of epochs does.
        // Nor does a receive time a hair before midnight begin the day before.
        const double step = time_step(r, 700.0);
        const double slack = 0.01 * (r.to - r.from);
        const double first = std::round(r.from / step) * step;
        const double last = std::round(r.to / step) * step;
        if (std::fabs(r.from - first) < (first < r.from ? slack : 0.1)) r.from = first;
        if (std::fabs(r.to - last) < (last > r.to ? slack : 0.1)) r.to = last;
    } else {
        const double span = r.to - r.from;
        const double margin = span > 0.0 ? 0.06 * span : std::max(1e-3, 0.1 * std::fabs(r.to));
        // Zero as the lower end of what is never negative stays the end.
        if (!(axis.with_zero && r.from == 0.0)) r.from -= margin;
        r.to += margin;
    }
    if (std::isfinite(axis.from)) r.from = axis.from;
    if (std::isfinite(axis.to)) r.to = axis.to;
    // An end that was asked for may lie before all data.
    if (axis.kind != Axis::Kind::names && r.from >= r.to) r.from = axis.log ? 0.1 * r.to : r.to - 1.0;
    return r;
}

std::vector<Tick> ticks_of(const Axis& axis, const Range& range, double pixels_each, double pixels) {
    if (axis.kind == Axis::Kind::names) {
        std::vector<Tick> ticks;
        for (std::size_t i = 0; i < axis.names.size(); ++i)
            ticks.push_back({static_cast<double>(i), axis.names[i], {}});
        return ticks;
    }
    if (axis.kind == Axis::Kind::time) return time_ticks(range, pixels, axis.day_mjd);
    if (axis.log) return log_ticks(range);
    return number_ticks(range, pixels_each, pixels, axis.kind);
}

std::string label_of(const Axis& axis, const Range& range) {
    if (axis.kind != Axis::Kind::time || !axis.label.empty()) return axis.label;
    const double day = std::floor(range.from / 86400.0);
    if (axis.day_mjd == 0 || std::floor((range.to - 1e-3) / 86400.0) != day) return "GPST";
    return "GPST on " + date_text(axis.day_mjd + static_cast<long>(day));
}

bool has_dates(const Axis& axis, const Range& range) {
    return axis.kind == Axis::Kind::time && axis.day_mjd != 0 &&
           std::floor(range.from / 86400.0) != std::floor((range.to - 1e-3) / 86400.0);
}

}  // namespace host
