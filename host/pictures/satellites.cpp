#include "pictures/satellites.h"

#include <algorithm>
#include <cmath>

#include "pictures/geometry.h"
#include "pictures/page.h"
#include "pictures/panels.h"

namespace host {

namespace {

constexpr double kHeight = 150.0;

void add_count(Chart& chart, const SatelliteFigure& f, const Axis& time) {
    Axis count;
    count.label = "satellites";
    count.kind = Axis::Kind::count;
    count.with_zero = true;
    add_panel(chart,
              {"Satellites in the point position",
               0,
               0,
               time,
               count,
               {{"satellites", "", colour(0), Series::Style::steps, line_size(f.seconds.size()), f.seconds, f.count}},
               false},
              kHeight);
}

/// A figure of dilution; `log` where one has a long upper tail.
void add_dilution(Chart& chart, const char* title, const char* label, const Axis& time, bool log, std::size_t shade,
                  const std::vector<double>& seconds, const std::vector<double>& values) {
    Axis axis;
    axis.label = label;
    axis.with_zero = true;
    axis.log = log;
    axis.kind = axis.log ? Axis::Kind::count : Axis::Kind::number;
    add_panel(chart,
              {title,
               0,
               0,
               time,
               axis,
               {{label, "", colour(shade), Series::Style::line, line_size(seconds.size()), seconds, values}},
               false},
              kHeight);
}

/// The shortest time between two epochs of any satellite.
double shortest_step(const SatelliteRowsByName& tracking) {
    std::vector<double> all;
    for (const auto& [name, rows] : tracking) all.insert(all.end(), rows.seconds.begin(), rows.seconds.end());
    std::sort(all.begin(), all.end());
    all.erase(std::unique(all.begin(), all.end()), all.end());
    double step = all.size() > 1 ? all[1] - all[0] : 30.0;
    for (std::size_t i = 1; i < all.size(); ++i) step = std::min(step, all[i] - all[i - 1]);
    return step;
}

/// Bars of tracking on one line. An epoch stands for the time to the next one.
void add_bars(const SatelliteRows& rows, double line, double step, Series& used, Series& idle, Series& slips) {
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
        if (!rows.slip[i]) continue;
        slips.x.push_back(t);
        slips.y.push_back(line);
    }
}

void add_tracking(Chart& chart, const SatelliteRowsByName& tracking, const Axis& time) {
    Panel panel{"Tracking", 0, 0, time, {}, {}, true};
    panel.y.kind = Axis::Kind::names;
    Series slips{"cycle slip or start", "", ink::text, Series::Style::dots, 1.6, {}, {}};
    Series used{"in the filter", "", colour(0), Series::Style::line, 5.0, {}, {}, true};
    Series idle{"not in the filter", "", "#c3c8ce", Series::Style::line, 5.0, {}, {}, true};
    const double step = shortest_step(tracking);
    for (const auto& [name, rows] : tracking) {
        add_bars(rows, static_cast<double>(panel.y.names.size()), step, used, idle, slips);
        panel.y.names.push_back(name);
    }
    const double n = static_cast<double>(panel.y.names.size());
    panel.y.from = n - 0.4;
    panel.y.to = -0.6;
    for (Series* s : {&idle, &used, &slips}) {
        if (!s->x.empty()) panel.series.push_back(std::move(*s));
    }
    add_panel(chart, std::move(panel), std::max(60.0, 13.0 * n));
}

}  // namespace

Canvas draw_satellites(const SatelliteFigure& f) {
    Span span;
    span.add(f.seconds);
    for (const auto& [name, rows] : f.tracking) span.add(rows.seconds);
    Chart chart;
    chart.heading.title = title_or(f.options, "Satellites and geometry");
    chart.heading.subtitle = span_text(span.first, span.last, f.options.day_mjd) + "; from " + f.source;
    const Axis time = time_axis(f.options);
    if (!f.seconds.empty()) add_count(chart, f, time);
    const Geometry geometry = geometry_of(f.tracking);
    const std::size_t first_dilution = chart.rows.size();
    const bool log = is_wide(geometry.gdop) || is_wide(f.dilution);
    if (!geometry.seconds.empty()) {
        add_dilution(chart, "Geometric dilution of precision of the point position", "GDOP", time, log, 2,
                     geometry.seconds, geometry.gdop);
        chart.heading.caption =
            "GDOP: of position and clocks, from the directions of the satellites, each weighed alike.\n";
    }
    if (!f.seconds.empty()) {
        add_dilution(chart, "Norm of the variances of the point position (column gdop)", "norm of variances", time, log,
                     1, f.seconds, f.dilution);
        chart.heading.caption +=
            "Column gdop: root of the summed squares of the three variances of position, for ranges of variance 1; it "
            "is not the usual GDOP.";
    }
    share_scales(chart, first_dilution);
    if (!f.tracking.empty()) add_tracking(chart, f.tracking, time);
    return draw_chart(chart);
}

}  // namespace host
