#include "pictures/residuals.h"

#include <algorithm>
#include <cmath>

#include "pictures/page.h"
#include "pictures/panels.h"

namespace host {

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

Canvas draw_residuals(const ResidualFigure& f) {
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
    return draw_chart(chart);
}

Canvas draw_fit_residuals(const FitResidualFigure& f) {
    Span span;
    span.add(f.seconds);
    Chart chart;
    chart.heading.title = title_or(f.options, "Residuals of the positions against the fitted orbit");
    chart.heading.subtitle = span_text(span.first, span.last, f.options.day_mjd) + "; " + f.source;
    chart.heading.caption = "Observed minus computed.";
    std::size_t count = 0;
    const AxisName* axes = error_axes(false);
    for (std::size_t k = 0; k < 3; ++k) {
        const std::vector<double>& values = f.radial_along_cross[k];
        Panel panel{std::string(axes[k].title) + ", " + rms_note(values),
                    0,
                    0,
                    time_axis(f.options),
                    length_axis("residual [m]", f.limit),
                    {},
                    false};
        panel.series.push_back(
            {axes[k].name, "", colour(k), Series::Style::dots, f.seconds.size() > 2000 ? 0.9 : 1.6, f.seconds, values});
        count += f.limit > 0.0 ? beyond(values, f.limit) : 0;
        add_panel(chart, std::move(panel), 140);
    }
    chart.heading.caption += beyond_note(count, f.limit);
    return draw_chart(chart);
}

}  // namespace host
