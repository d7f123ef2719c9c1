#include "pictures/errors.h"

#include <cmath>

#include "pictures/page.h"
#include "pictures/panels.h"

namespace host {

namespace {

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

}  // namespace

Canvas draw_errors(const ErrorFigure& f) {
    const AxisName* axes = error_axes(f.at_rest);
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
    return draw_chart(chart);
}

}  // namespace host
