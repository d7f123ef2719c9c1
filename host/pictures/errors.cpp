#include "pictures/errors.h"

#include <cmath>
#include <utility>

#include "pictures/page.h"
#include "pictures/panels.h"

namespace host {

namespace {

constexpr double kHeight = 150.0;

std::vector<double> totals(const SolutionErrors& s) {
    std::vector<double> result;
    for (std::size_t i = 0; i < s.seconds.size(); ++i)
        result.push_back(std::hypot(s.component[0][i], s.component[1][i], s.component[2][i]));
    return result;
}

/// The panels of a figure, all in one unit.
class Panels {
  public:
    Panels(ErrorFigure& figure, Chart& chart)
        : f_(figure), chart_(chart), axes_(error_axes(figure.at_rest)), time_(time_axis(figure.options)) {
        std::vector<const std::vector<double>*> lists;
        Span span;
        for (const SolutionErrors& s : f_.solutions) {
            span.add(s.seconds);
            for (const std::vector<double>& component : s.component) lists.push_back(&component);
        }
        unit_ = unit_for(lists);
        size_ = line_size(span.longest);
    }

    void add_total() {
        Panel panel{"3D position error", 0, 0, time_, axis("3D error"), {}, true};
        if (!f_.log && f_.limit > 0.0) panel.y.from = 0.0;
        for (std::size_t i = 0; i < f_.solutions.size(); ++i)
            add(panel, f_.solutions[i], totals(f_.solutions[i]), f_.solutions[i].name,
                colour_of_layer(i, f_.solutions.size()));
        add_panel(chart_, std::move(panel), 1.4 * kHeight);
    }

    /// One panel a solution, with all components, which the last kind of panels takes with it.
    void add_solutions(bool last) {
        for (SolutionErrors& s : f_.solutions) {
            Panel panel{s.name + ", 3D " + rms_note(totals(s), unit_), 0, 0, time_, axis(label()), {}, true};
            for (std::size_t k = 0; k < 3; ++k)
                add(panel, s, last ? std::move(s.component[k]) : s.component[k], axes_[k].name, colour(k));
            add_panel(chart_, std::move(panel), 1.3 * kHeight);
        }
    }

    /// One panel a component, with all solutions.
    void add_components() {
        for (std::size_t k = 0; k < 3; ++k) {
            Panel panel{axes_[k].title, 0, 0, time_, axis(label()), {}, true};
            for (std::size_t i = 0; i < f_.solutions.size(); ++i) {
                const SolutionErrors& s = f_.solutions[i];
                add(panel, s, s.component[k], s.name, colour_of_layer(i, f_.solutions.size()));
            }
            add_panel(chart_, std::move(panel), kHeight);
        }
    }

    /// A line that counts what the axes do not show.
    std::string note() const { return beyond_note(beyond_, f_.limit, unit_); }

  private:
    std::string label() const { return f_.log ? "size of error" : "error"; }

    Axis axis(const std::string& label) const {
        Axis axis = length_axis(label, f_.log ? 0.0 : f_.limit, unit_);
        axis.log = f_.log;
        if (f_.log && f_.limit > 0.0) axis.to = f_.limit * unit_.factor;
        return axis;
    }

    void add(Panel& panel, const SolutionErrors& s, std::vector<double> values, const std::string& name,
             const std::string& colour) {
        if (f_.limit > 0.0) beyond_ += beyond(values, f_.limit);
        const std::string note = rms_note(values, unit_);
        std::vector<double> shown = scaled(std::move(values), unit_);
        for (double& v : shown) v = f_.log ? std::fabs(v) : v;
        panel.series.push_back({name, note, colour, Series::Style::line, size_, s.seconds, std::move(shown)});
    }

    ErrorFigure& f_;
    Chart& chart_;
    const AxisName* axes_;
    Axis time_;
    Unit unit_{1.0, "m"};
    double size_ = 1.0;
    std::size_t beyond_ = 0;
};

}  // namespace

Canvas draw_errors(ErrorFigure f) {
    Span span;
    for (const SolutionErrors& s : f.solutions) span.add(s.seconds);
    Chart chart;
    chart.heading.title = title_or(f.options, f.at_rest ? "Position errors" : "Orbit errors");
    chart.heading.subtitle = span_text(span.first, span.last, f.options.day_mjd) + "; reference: " + f.reference;
    chart.heading.caption = f.at_rest
                                ? "Error: solution minus reference, in local axes."
                                : "Error: solution minus reference. Radial: away from the earth's centre; cross-track: "
                                  "along the orbit normal; along-track: completes them, in the sense of flight.";
    Panels panels(f, chart);
    for (const std::string& kind : f.layout) {
        const bool last = &kind == &f.layout.back();
        const std::size_t first = chart.rows.size();
        if (kind == "total") panels.add_total();
        if (kind == "solutions") panels.add_solutions(last);
        if (kind == "components") panels.add_components();
        if (f.limit <= 0.0) share_scales(chart, first);
    }
    chart.heading.caption += panels.note();
    return draw_chart(chart);
}

}  // namespace host
