#include "pictures/satellites.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "pictures/page.h"
#include "pictures/panels.h"

namespace host {

Canvas draw_satellites(const SatelliteFigure& f) {
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
    return draw_chart(chart);
}

}  // namespace host
