#include "pictures/residuals.h"

#include <algorithm>
#include <cmath>

#include "pictures/page.h"
#include "pictures/panels.h"

namespace host {

namespace {

/// One kind of residual: a row of panels.
struct Quantity {
    const char* title;
    std::vector<double> SatelliteRows::*values;
    double limit;
};

std::array<Quantity, 2> quantities_of(const ResidualFigure& f) {
    if (f.point) {
        return {Quantity{"Range on the first frequency", &SatelliteRows::range1, f.limit_code},
                Quantity{"Range on the second frequency", &SatelliteRows::range2, f.limit_code}};
    }
    return {Quantity{"Carrier phase, ionosphere-free", &SatelliteRows::phase, f.limit_phase},
            Quantity{"Code, ionosphere-free", &SatelliteRows::code, f.limit_code}};
}

std::vector<double> all_of(const SatelliteRowsByName& satellites, const Quantity& quantity) {
    std::vector<double> all;
    for (const auto& [name, rows] : satellites) {
        const std::vector<double>& values = rows.*quantity.values;
        all.insert(all.end(), values.begin(), values.end());
    }
    return all;
}

/// From 0, or from the lowest elevation that has a residual.
Axis elevation_axis(const SatelliteRowsByName& satellites, const Quantity& quantity) {
    double low = 0;
    for (const auto& [name, rows] : satellites) {
        const std::vector<double>& values = rows.*quantity.values;
        for (std::size_t i = 0; i < values.size(); ++i) {
            if (std::isfinite(values[i]) && std::isfinite(rows.elevation[i])) low = std::min(low, rows.elevation[i]);
        }
    }
    Axis axis;
    axis.label = "elevation [\u00b0]";
    axis.kind = Axis::Kind::degree;
    axis.from = 10.0 * std::floor(low / 10.0);
    axis.to = 90.0;
    return axis;
}

/// Size of the marks; signs other than dots are lost where they are too small.
double mark_size(const SatelliteRowsByName& satellites) {
    std::size_t points = 0;
    for (const auto& [name, rows] : satellites) points += rows.seconds.size();
    const double size = points > 20000 ? 0.8 : points > 3000 ? 1.1 : 1.5;
    return satellites.size() > 8 ? std::max(1.4, size) : size;
}

/// A quantity over time and over elevation.
void add_row(Chart& chart, const ResidualFigure& f, const Quantity& quantity, const Unit& unit) {
    const std::vector<double> all = all_of(f.satellites, quantity);
    Panel over_time{quantity.title + std::string(", ") + rms_note(all, unit),
                    chart.rows.size(),
                    0,
                    time_axis(f.options),
                    length_axis("residual", quantity.limit, unit),
                    {},
                    false};
    Panel over_elevation = over_time;
    over_elevation.title.clear();
    over_elevation.column = 1;
    over_elevation.x = elevation_axis(f.satellites, quantity);
    const double size = mark_size(f.satellites);
    std::size_t index = 0;
    for (const auto& [name, rows] : f.satellites) {
        const Mark sign = mark(index++);
        Series s{
            name,  "",       sign.colour, Series::Style::dots, size, rows.seconds, scaled(rows.*quantity.values, unit),
            false, sign.sign};
        over_time.series.push_back(s);
        s.x = rows.elevation;
        over_elevation.series.push_back(std::move(s));
    }
    chart.rows.push_back(210);
    chart.panels.push_back(std::move(over_time));
    chart.panels.push_back(std::move(over_elevation));
}

Unit unit_of(const SatelliteRowsByName& satellites, const std::vector<Quantity>& quantities) {
    std::vector<const std::vector<double>*> lists;
    for (const Quantity& quantity : quantities) {
        for (const auto& [name, rows] : satellites) lists.push_back(&(rows.*quantity.values));
    }
    return unit_for(lists);
}

/// The residuals of positions that were used, or of the others, on the axis of time; the rest are gaps.
std::vector<double> chosen(const FitResidualFigure& f, std::size_t component, bool used) {
    std::vector<double> values = f.radial_along_cross[component];
    for (std::size_t i = 0; i < values.size(); ++i) {
        if ((f.used.empty() || f.used[i]) != used) values[i] = std::nan("");
    }
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
    chart.heading.caption =
        (f.point
             ? std::string("Observed minus computed in the last pass; the model of the second range holds the "
                           "corrections of the first one as well. Beside the satellites: rms on the first frequency.")
             : std::string("Observed minus computed after the update; the ambiguities take up what is constant over a "
                           "pass. Beside the satellites: rms of the phase.")) +
        "\n" + f.elevation_note;
    if (!f.point) chart.heading.caption += " Phase and code have scales of their own.";
    chart.columns = {2.1, 1.0};
    const std::array<Quantity, 2> quantities = quantities_of(f);
    std::array<Unit, 2> units{unit_of(f.satellites, {quantities[0]}), unit_of(f.satellites, {quantities[1]})};
    if (f.point) units.fill(unit_of(f.satellites, {quantities[0], quantities[1]}));
    for (std::size_t q = 0; q < 2; ++q) add_row(chart, f, quantities[q], units[q]);
    if (f.point && f.limit_code <= 0.0) share_scales(chart, 0);
    for (std::size_t q = 0; q < 2; ++q) {
        const double limit = quantities[q].limit;
        if (limit > 0.0)
            chart.heading.caption += beyond_note(beyond(all_of(f.satellites, quantities[q]), limit), limit, units[q]);
    }
    std::size_t index = 0;
    for (const auto& [name, rows] : f.satellites) {
        const Mark sign = mark(index++);
        const double value = rms(rows.*quantities[0].values);
        if (std::isfinite(value))
            chart.legend.push_back({name, length_text(value, units[0]), sign.colour, true, sign.sign});
    }
    return draw_chart(chart);
}

Canvas draw_fit_residuals(const FitResidualFigure& f) {
    Span span;
    span.add(f.seconds);
    Chart chart;
    chart.heading.title = title_or(f.options, "Residuals of the positions against the fitted orbit");
    chart.heading.subtitle = span_text(span.first, span.last, f.options.day_mjd) + "; " + f.source;
    const bool all = std::find(f.used.begin(), f.used.end(), false) == f.used.end();
    chart.heading.caption = all ? "Observed minus computed."
                                : "Observed minus computed. Rms of the positions used; those left out are grey.";
    const auto& components = f.radial_along_cross;
    std::vector<const std::vector<double>*> lists;
    lists.reserve(components.size());
    for (const std::vector<double>& component : components) lists.push_back(&component);
    const Unit unit = unit_for(lists);
    const AxisName* axes = error_axes(false);
    std::size_t count = 0;
    for (std::size_t k = 0; k < 3; ++k) {
        Panel panel{std::string(axes[k].title) + ", " + rms_note(chosen(f, k, true), unit),
                    0,
                    0,
                    time_axis(f.options),
                    length_axis("residual", f.limit, unit),
                    {},
                    false};
        const double size = f.seconds.size() > 2000 ? 0.9 : 1.6;
        for (const bool used : {false, true}) {
            if (used || !all)
                panel.series.push_back({used ? axes[k].name : "left out", "", used ? colour(k) : "#9aa6b2",
                                        Series::Style::dots, size, f.seconds, scaled(chosen(f, k, used), unit)});
        }
        count += f.limit > 0.0 ? beyond(components[k], f.limit) : 0;
        add_panel(chart, std::move(panel), 140);
    }
    if (f.limit <= 0.0) share_scales(chart, 0);
    chart.heading.caption += beyond_note(count, f.limit, unit);
    return draw_chart(chart);
}

}  // namespace host
