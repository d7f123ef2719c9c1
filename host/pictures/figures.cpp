#include "pictures/figures.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>

#include "gtime.h"
#include "pictures/chart.h"
#include "shared/error.h"

namespace host {

namespace {

struct AxisName {
    const char* name;
    const char* title;
};

/// Components of an error, in orbit and at rest.
constexpr AxisName kAxes[2][3] = {
    {{"radial", "Radial"}, {"along-track", "Along-track"}, {"cross-track", "Cross-track"}},
    {{"east", "East"}, {"north", "North"}, {"up", "Up"}}};

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

/// Two or three digits of a length.
std::string metres(double value) {
    if (!std::isfinite(value)) return "no data";
    char text[48];
    if (value < 0.00995) {
        std::snprintf(text, sizeof text, "%.1f mm", 1000.0 * value);
    } else {
        std::snprintf(text, sizeof text, value < 0.0995 ? "%.3f m" : value < 9.995 ? "%.2f m" : "%.1f m", value);
    }
    return text;
}

std::string rms_note(const std::vector<double>& values) { return "rms " + metres(rms(values)); }

/// First and last second of lists of seconds.
struct Span {
    double first = std::numeric_limits<double>::infinity(), last = -std::numeric_limits<double>::infinity();
    std::size_t longest = 0;
    void add(const std::vector<double>& seconds) {
        for (double s : seconds) {
            first = std::min(first, s);
            last = std::max(last, s);
        }
        longest = std::max(longest, seconds.size());
    }
};

Axis time_axis(const FigureOptions& options) {
    Axis axis;
    axis.kind = Axis::Kind::time;
    axis.day_mjd = options.day_mjd;
    return axis;
}

Axis length_axis(const std::string& label, double limit) {
    Axis axis;
    axis.label = label;
    axis.with_zero = true;
    if (limit > 0.0) {
        axis.from = -limit;
        axis.to = limit;
    }
    return axis;
}

/// Lines of many points are thin.
double line_size(std::size_t points) { return points > 2000 ? 0.9 : points > 600 ? 1.2 : 1.5; }

std::size_t beyond(const std::vector<double>& values, double limit) {
    return static_cast<std::size_t>(
        std::count_if(values.begin(), values.end(), [limit](double v) { return std::fabs(v) > limit; }));
}

std::string beyond_note(std::size_t count, double limit) {
    if (count == 0) return "";
    char text[96];
    std::snprintf(text, sizeof text, "\n%zu %s beyond the axis of %g m.", count,
                  count == 1 ? "value lies" : "values lie", limit);
    return text;
}

std::string title_or(const FigureOptions& options, const std::string& usual) {
    return options.title.empty() ? usual : options.title;
}

std::vector<double> totals(const SolutionErrors& s) {
    std::vector<double> result;
    for (std::size_t i = 0; i < s.seconds.size(); ++i)
        result.push_back(std::hypot(s.component[0][i], s.component[1][i], s.component[2][i]));
    return result;
}

std::vector<double> sizes(std::vector<double> values) {
    for (double& v : values) v = std::fabs(v);
    return values;
}

void add_panel(Chart& chart, Panel panel, double height) {
    panel.row = chart.rows.size();
    chart.rows.push_back(height);
    chart.panels.push_back(std::move(panel));
}

}  // namespace

std::size_t satellite_colour(const std::string& name) {
    std::size_t number = 0;
    for (char c : name) {
        if (c >= '0' && c <= '9') number = 10 * number + static_cast<std::size_t>(c - '0');
    }
    return number + 7;  // the first satellite has the last colour, the eighth begins anew
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
        const TimeYMD d = GTime2YMD(mjd2GTime(tsGPST, static_cast<double>(day_mjd) + day));
        char date[64];
        std::snprintf(date, sizeof date, "%04d-%02d-%02d ", d.year, d.month, d.day);
        return date + std::string(text);
    };
    const bool one_day = std::floor(std::round(first) / 86400.0) == std::floor(std::round(last) / 86400.0);
    return time_of(first, true) + " to " + time_of(last, !one_day) + " GPST";
}

void report_picture(const std::string& file, const std::function<void()>& draw) {
    try {
        draw();
        std::printf("plot: %s\n", file.c_str());
    } catch (const InputError& e) {
        std::printf("plot: skipped, %s\n", e.what());
    }
}

void draw_errors(const ErrorFigure& f) {
    const AxisName* axes = kAxes[f.at_rest ? 1 : 0];
    Span span;
    for (const SolutionErrors& s : f.solutions) span.add(s.seconds);
    const double size = line_size(span.longest);
    Chart chart;
    chart.heading.title = title_or(f.options, f.at_rest ? "Position errors" : "Orbit errors");
    chart.heading.subtitle = span_text(span.first, span.last, f.options.day_mjd) + "; reference: " + f.reference;
    chart.heading.caption = f.at_rest
                                ? "Error: solution minus reference, in local axes."
                                : "Error: solution minus reference. Radial: away from the earth's centre; cross-track: "
                                  "along the orbit normal; along-track: completes them, in the sense of flight.";
    const Axis time = time_axis(f.options);
    const auto value_axis = [&](const std::string& label) {
        Axis axis = length_axis(label, f.log ? 0.0 : f.limit);
        axis.log = f.log;
        if (f.log && f.limit > 0.0) axis.to = f.limit;
        return axis;
    };
    std::size_t count = 0;
    const std::string sign = f.log ? "size of error [m]" : "error [m]";
    for (const std::string& kind : f.layout) {
        const double height = 150.0;
        if (kind == "total") {
            Panel panel{"3D position error", 0, 0, time, value_axis("3D error [m]"), {}, true};
            if (!f.log && f.limit > 0.0) panel.y.from = 0.0;
            if (!f.log) panel.y.kind = Axis::Kind::number;
            for (std::size_t i = 0; i < f.solutions.size(); ++i) {
                const SolutionErrors& s = f.solutions[i];
                const std::vector<double> total = totals(s);
                count += f.limit > 0.0 ? beyond(total, f.limit) : 0;
                panel.series.push_back({s.name, rms_note(total), colour_of_layer(i, f.solutions.size()),
                                        Series::Style::line, size, s.seconds, total});
            }
            add_panel(chart, std::move(panel), 1.4 * height);
        } else if (kind == "solutions") {
            for (const SolutionErrors& s : f.solutions) {
                Panel panel{s.name + ", 3D " + rms_note(totals(s)), 0, 0, time, value_axis(sign), {}, true};
                for (std::size_t k = 0; k < 3; ++k) {
                    count += f.limit > 0.0 ? beyond(s.component[k], f.limit) : 0;
                    panel.series.push_back({axes[k].name, rms_note(s.component[k]), colour(k), Series::Style::line,
                                            size, s.seconds, f.log ? sizes(s.component[k]) : s.component[k]});
                }
                add_panel(chart, std::move(panel), 1.3 * height);
            }
        } else {
            for (std::size_t k = 0; k < 3; ++k) {
                Panel panel{axes[k].title, 0, 0, time, value_axis(sign), {}, true};
                for (std::size_t i = 0; i < f.solutions.size(); ++i) {
                    const SolutionErrors& s = f.solutions[i];
                    count += f.limit > 0.0 ? beyond(s.component[k], f.limit) : 0;
                    panel.series.push_back({s.name, rms_note(s.component[k]), colour_of_layer(i, f.solutions.size()),
                                            Series::Style::line, size, s.seconds,
                                            f.log ? sizes(s.component[k]) : s.component[k]});
                }
                add_panel(chart, std::move(panel), height);
            }
        }
    }
    chart.heading.caption += beyond_note(count, f.limit);
    draw(chart, f.options.file);
}

void draw_satellites(const SatelliteFigure& f) {
    Span span;
    span.add(f.seconds);
    for (const auto& [name, rows] : f.tracking) span.add(rows.seconds);
    Chart chart;
    chart.heading.title = title_or(f.options, "Satellites and geometry");
    chart.heading.subtitle = span_text(span.first, span.last, f.options.day_mjd) + "; from " + f.source;
    const Axis time = time_axis(f.options);
    if (!f.seconds.empty()) {
        Axis count;
        count.label = "satellites";
        count.kind = Axis::Kind::count;
        count.with_zero = true;
        const double size = line_size(f.seconds.size());
        add_panel(chart,
                  {"Satellites in the point position",
                   0,
                   0,
                   time,
                   count,
                   {{"satellites", "", colour(0), Series::Style::steps, size, f.seconds, f.count}},
                   false},
                  150);
        Axis dilution;
        dilution.label = "gdop";
        dilution.with_zero = true;
        dilution.kind = Axis::Kind::count;
        // A figure of dilution has a long upper tail: a logarithmic axis where it is wide.
        double low = std::numeric_limits<double>::infinity();
        double high = 0;
        for (double v : f.dilution) {
            if (std::isfinite(v) && v > 0.0) low = std::min(low, v);
            if (std::isfinite(v)) high = std::max(high, v);
        }
        dilution.log = high > 20.0 * low;
        if (!dilution.log) dilution.kind = Axis::Kind::number;
        add_panel(chart,
                  {"Dilution figure of the point position (gdop)",
                   0,
                   0,
                   time,
                   dilution,
                   {{"dilution", "", colour(1), Series::Style::line, size, f.seconds, f.dilution}},
                   false},
                  150);
        chart.heading.caption =
            "Dilution figure: root of the summed squares of the three variances of position, for ranges of variance 1.";
    }
    if (!f.tracking.empty()) {
        Panel panel{"Tracking", 0, 0, time, {}, {}, true};
        panel.y.kind = Axis::Kind::names;
        Series slips{"cycle slip or start", "", "#222222", Series::Style::dots, 1.6, {}, {}};
        Series used{"in the filter", "", colour(0), Series::Style::line, 5.0, {}, {}, true};
        Series idle{"not in the filter", "", "#c3c8ce", Series::Style::line, 5.0, {}, {}, true};
        std::vector<double> all;
        for (const auto& [name, rows] : f.tracking) all.insert(all.end(), rows.seconds.begin(), rows.seconds.end());
        std::sort(all.begin(), all.end());
        all.erase(std::unique(all.begin(), all.end()), all.end());
        double step = all.size() > 1 ? all[1] - all[0] : 30.0;
        for (std::size_t i = 1; i < all.size(); ++i) step = std::min(step, all[i] - all[i - 1]);
        for (const auto& [name, rows] : f.tracking) {
            const double line = static_cast<double>(panel.y.names.size());
            panel.y.names.push_back(name);
            // An epoch stands for the time to the next one.
            for (std::size_t i = 0; i < rows.seconds.size(); ++i) {
                Series& s = rows.used[i] ? used : idle;
                const double t = rows.seconds[i];
                const bool goes_on = !s.x.empty() && s.y.back() == line && std::fabs(s.x.back() - t) < 0.01 * step;
                if (goes_on) {
                    s.x.back() = t + step;
                } else {
                    s.x.insert(s.x.end(), {std::nan(""), t, t + step});
                    s.y.insert(s.y.end(), {std::nan(""), line, line});
                }
                if (rows.slip[i]) {
                    slips.x.push_back(t);
                    slips.y.push_back(line);
                }
            }
        }
        const double n = static_cast<double>(panel.y.names.size());
        panel.y.from = n - 0.4;
        panel.y.to = -0.6;
        for (Series* s : {&idle, &used, &slips}) {
            if (!s->x.empty()) panel.series.push_back(std::move(*s));
        }
        add_panel(chart, std::move(panel), std::max(60.0, 13.0 * n));
    }
    draw(chart, f.options.file);
}

namespace {

/// A size for axes and numbers: metres, or millimetres where values are small.
struct Unit {
    double factor;
    const char* name;
};

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

std::vector<double> scaled(std::vector<double> values, double factor) {
    for (double& v : values) v *= factor;
    return values;
}

}  // namespace

void draw_residuals(const ResidualFigure& f) {
    Span span;
    for (const auto& [name, rows] : f.satellites) span.add(rows.seconds);
    Chart chart;
    chart.heading.title =
        title_or(f.options, f.point ? "Residuals of the point position" : "Residuals of the carrier-phase filter");
    chart.heading.subtitle = span_text(span.first, span.last, f.options.day_mjd) + "; from " + f.source;
    chart.columns = {2.1, 1.0};
    struct Quantity {
        const char* title;
        const char* label;
        std::vector<double> SatelliteRows::*values;
        double limit;
    };
    const Quantity quantities[2] = {
        f.point ? Quantity{"Range on the first frequency", "residual", &SatelliteRows::range1, f.limit_code}
                : Quantity{"Carrier phase, ionosphere-free", "residual", &SatelliteRows::phase, f.limit_phase},
        f.point ? Quantity{"Range on the second frequency", "residual", &SatelliteRows::range2, f.limit_code}
                : Quantity{"Code, ionosphere-free", "residual", &SatelliteRows::code, f.limit_code}};
    std::string notes;
    for (std::size_t q = 0; q < 2; ++q) {
        const Quantity& quantity = quantities[q];
        std::vector<const std::vector<double>*> lists;
        std::vector<double> all;
        for (const auto& [name, rows] : f.satellites) {
            lists.push_back(&(rows.*quantity.values));
            all.insert(all.end(), lists.back()->begin(), lists.back()->end());
        }
        const Unit unit = unit_for(lists);
        Panel over_time{quantity.title + std::string(", ") + rms_note(all),
                        q,
                        0,
                        time_axis(f.options),
                        length_axis(quantity.label + std::string(" [") + unit.name + "]", quantity.limit * unit.factor),
                        {},
                        false};
        Panel over_elevation = over_time;
        over_elevation.title.clear();
        over_elevation.column = 1;
        over_elevation.x = Axis{};
        over_elevation.x.label = "elevation [\u00b0]";
        over_elevation.x.kind = Axis::Kind::degree;
        double low = 0;
        std::size_t points = 0;
        for (const auto& [name, rows] : f.satellites) {
            for (double e : rows.elevation) low = std::isfinite(e) ? std::min(low, e) : low;
            points += rows.seconds.size();
        }
        over_elevation.x.from = 10.0 * std::floor(low / 10.0);
        over_elevation.x.to = 90.0;
        const double size = points > 20000 ? 0.8 : points > 3000 ? 1.1 : 1.5;
        for (const auto& [name, rows] : f.satellites) {
            Series s{name,
                     "",
                     colour(satellite_colour(name)),
                     Series::Style::dots,
                     size,
                     rows.seconds,
                     scaled(rows.*quantity.values, unit.factor)};
            over_time.series.push_back(s);
            s.x = rows.elevation;
            over_elevation.series.push_back(std::move(s));
        }
        if (quantity.limit > 0.0) notes += beyond_note(beyond(all, quantity.limit), quantity.limit);
        chart.rows.push_back(210);
        chart.panels.push_back(std::move(over_time));
        chart.panels.push_back(std::move(over_elevation));
    }
    for (const auto& [name, rows] : f.satellites) {
        const std::vector<double>& values = rows.*quantities[0].values;
        if (std::isfinite(rms(values)))
            chart.legend.push_back({name, metres(rms(values)), colour(satellite_colour(name)), true});
    }
    chart.heading.caption =
        (f.point
             ? std::string("Observed minus computed in the last pass; the model of the second range holds the "
                           "corrections of the first one as well. Beside the satellites: rms on the first frequency.")
             : std::string("Observed minus computed after the update; the ambiguities take up what is constant over a "
                           "pass. Beside the satellites: rms of the phase.")) +
        "\n" + f.elevation_note + notes;
    draw(chart, f.options.file);
}

void draw_fit_residuals(const FitResidualFigure& f) {
    Span span;
    span.add(f.seconds);
    Chart chart;
    chart.heading.title = title_or(f.options, "Residuals of the positions against the fitted orbit");
    chart.heading.subtitle = span_text(span.first, span.last, f.options.day_mjd) + "; " + f.source;
    chart.heading.caption = "Observed minus computed.";
    std::size_t count = 0;
    for (std::size_t k = 0; k < 3; ++k) {
        const std::vector<double>& values = f.radial_along_cross[k];
        Panel panel{std::string(kAxes[0][k].title) + ", " + rms_note(values),
                    0,
                    0,
                    time_axis(f.options),
                    length_axis("residual [m]", f.limit),
                    {},
                    false};
        panel.series.push_back({kAxes[0][k].name, "", colour(k), Series::Style::dots,
                                f.seconds.size() > 2000 ? 0.9 : 1.6, f.seconds, values});
        count += f.limit > 0.0 ? beyond(values, f.limit) : 0;
        add_panel(chart, std::move(panel), 140);
    }
    chart.heading.caption += beyond_note(count, f.limit);
    draw(chart, f.options.file);
}

}  // namespace host
