#include "pictures/figure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "shared/error.h"
#include "shared/printable.h"
#include "shared/times.h"

namespace host {

void Span::add(const std::vector<double>& seconds) {
    for (double s : seconds) {
        first = std::min(first, s);
        last = std::max(last, s);
    }
    longest = std::max(longest, seconds.size());
}

const AxisName* error_axes(bool at_rest) {
    static constexpr AxisName axes[2][3] = {
        {{"radial", "Radial"}, {"along-track", "Along-track"}, {"cross-track", "Cross-track"}},
        {{"east", "East"}, {"north", "North"}, {"up", "Up"}}};
    return axes[at_rest ? 1 : 0];
}

std::string span_text(double first, double last, long day_mjd) {
    if (!(first <= last)) return "no epochs";
    const auto time_of = [&](double seconds, bool with_date) {
        const double whole = std::round(seconds);
        const double day = day_mjd != 0 ? std::floor(whole / 86400.0) : 0.0;
        const long s = std::lround(whole - day * 86400.0);
        char text[96];
        std::snprintf(text, sizeof text, "%02ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
        if (!with_date || day_mjd == 0) return std::string(text);
        return date_text(day_mjd + static_cast<long>(day)) + " " + text;
    };
    const bool one_day = std::floor(std::round(first) / 86400.0) == std::floor(std::round(last) / 86400.0);
    return time_of(first, true) + " to " + time_of(last, !one_day) + " GPST";
}

std::string title_or(const FigureOptions& options, const std::string& usual) {
    return options.title.empty() ? usual : options.title;
}

Axis time_axis(const FigureOptions& options) {
    Axis axis;
    axis.kind = Axis::Kind::time;
    axis.day_mjd = options.day_mjd;
    return axis;
}

double rms(const std::vector<double>& values) {
    double sum = 0;
    std::size_t n = 0;
    for (double v : values) {
        if (!std::isfinite(v)) continue;
        sum += v * v;
        ++n;
    }
    return n > 0 ? std::sqrt(sum / static_cast<double>(n)) : std::nan("");
}

Unit unit_for(const std::vector<const std::vector<double>*>& lists) {
    std::vector<double> values;
    for (const auto* list : lists) {
        for (double v : *list) {
            if (std::isfinite(v)) values.push_back(std::fabs(v));
        }
    }
    if (values.empty()) return {1.0, "m"};
    const auto high = values.begin() + static_cast<std::ptrdiff_t>(0.98 * static_cast<double>(values.size() - 1));
    std::nth_element(values.begin(), high, values.end());
    return *high < 0.2 ? Unit{1000.0, "mm"} : Unit{1.0, "m"};
}

std::vector<double> scaled(std::vector<double> values, const Unit& unit) {
    for (double& v : values) v *= unit.factor;
    return values;
}

std::string length_text(double metres, const Unit& unit) {
    if (!std::isfinite(metres)) return "no data";
    const double value = metres * unit.factor;
    char text[400];
    std::snprintf(text, sizeof text,
                  value < 0.00995  ? "%.4f %s"
                  : value < 0.0995 ? "%.3f %s"
                  : value < 9.995  ? "%.2f %s"
                                   : "%.1f %s",
                  value, unit.name);
    return text;
}

std::string rms_note(const std::vector<double>& values, const Unit& unit) {
    return "rms " + length_text(rms(values), unit);
}

Axis length_axis(const std::string& label, double limit, const Unit& unit) {
    Axis axis;
    axis.label = label + " [" + unit.name + "]";
    axis.with_zero = true;
    if (limit > 0.0) {
        axis.from = -limit * unit.factor;
        axis.to = limit * unit.factor;
    }
    return axis;
}

double line_size(std::size_t points) { return points > 2000 ? 0.9 : points > 600 ? 1.2 : 1.5; }

std::size_t beyond(const std::vector<double>& values, double limit) {
    return static_cast<std::size_t>(
        std::count_if(values.begin(), values.end(), [limit](double v) { return std::fabs(v) > limit; }));
}

std::string beyond_note(std::size_t count, double limit, const Unit& unit) {
    if (count == 0) return "";
    char text[96];
    std::snprintf(text, sizeof text, "\n%zu %s beyond the axis of %g %s.", count,
                  count == 1 ? "value lies" : "values lie", limit * unit.factor, unit.name);
    return text;
}

bool report_picture(const std::string& file, const std::function<Canvas()>& draw) {
    try {
        draw().save(file);
        std::printf("plot: %s\n", file.c_str());
        return true;
    } catch (const InputError& e) {
        std::printf("plot: skipped, %s\n", printable(e.what()).c_str());
        return false;
    }
}

}  // namespace host
