#include "pictures/panels.h"

#include <algorithm>
#include <cmath>

namespace host {

namespace {

constexpr double kLeft = 70.0, kColumnGap = 34.0;
constexpr double kPanelTitle = 22.0, kRowGap = 16.0;

// --- layout --------------------------------------------------------------------------------------------------------------

/// A legend beside all panels, in as many columns as the height asks for. More entries than three columns hold are left out.
struct CommonLegend {
    std::size_t listed = 0, per_column = 1;
    double entry_width = 0, entry_height = 0, width = 0;
};

/// Where everything of a chart stands.
struct Layout {
    std::vector<Range> rows, columns;  ///< in pixels
    std::vector<Range> rx, ry;         ///< ends of the axes, by column and by row
    std::vector<std::size_t> lowest;   ///< row that has the labels of a column
    CommonLegend legend;
    double right = 0, height = 0;
};

std::vector<LegendEntry> entries_of(const Panel& panel) {
    std::vector<LegendEntry> entries;
    for (const Series& s : panel.series) {
        if (panel.legend && !s.name.empty())
            entries.push_back(
                {shortened(s.name, 12.0, kNameWidth), s.note, s.colour, s.style == Series::Style::dots, s.sign});
    }
    return entries;
}

std::vector<Range> place_rows(const Chart& chart) {
    std::vector<bool> titled(chart.rows.size(), false);
    for (const Panel& panel : chart.panels) {
        if (!panel.title.empty()) titled[panel.row] = true;
    }
    std::vector<Range> rows;
    double y = kTop;
    for (std::size_t r = 0; r < chart.rows.size(); ++r) {
        y += (titled[r] ? kPanelTitle : 0.0) + (r != 0 ? kRowGap : 0.0);
        rows.push_back({y, y + chart.rows[r]});
        y += chart.rows[r];
    }
    return rows;
}

CommonLegend place_legend(const Chart& chart, double room) {
    CommonLegend legend;
    if (chart.legend.empty()) {
        for (const Panel& panel : chart.panels) legend.width = std::max(legend.width, legend_width(entries_of(panel)));
        return legend;
    }
    constexpr std::size_t kMostColumns = 3;
    const std::size_t most = std::max<std::size_t>(1, static_cast<std::size_t>(room / 13.5));
    legend.listed = std::min(chart.legend.size(), kMostColumns * most);
    const std::size_t columns = (legend.listed + most - 1) / most;
    legend.per_column = (legend.listed + columns - 1) / columns;
    legend.entry_height = std::min(17.0, room / static_cast<double>(legend.per_column));
    for (const LegendEntry& e : chart.legend)
        legend.entry_width =
            std::max(legend.entry_width, kSwatch + 18 + text_width(e.name, 12.0) + text_width(e.note, 11.0));
    legend.width = legend.entry_width * static_cast<double>(columns);
    return legend;
}

std::vector<Range> place_columns(const Chart& chart, double right) {
    double shares = 0;
    for (double share : chart.columns) shares += share;
    const double wide = right - kLeft - kColumnGap * static_cast<double>(chart.columns.size() - 1);
    std::vector<Range> columns;
    double left = kLeft;
    for (double share : chart.columns) {
        columns.push_back({left, left + wide * share / shares});
        left = columns.back().to + kColumnGap;
    }
    return columns;
}

/// Ends of the axis that the panels of one row or column have in common.
Range common_range(const Chart& chart, std::size_t Panel::*line, std::size_t which, Axis Panel::*axis,
                   std::vector<double> Series::*values) {
    std::vector<const std::vector<double>*> lists;
    const Axis* common = nullptr;
    for (const Panel& p : chart.panels) {
        if (p.*line != which) continue;
        common = &(p.*axis);
        for (const Series& s : p.series) lists.push_back(&(s.*values));
    }
    return common != nullptr ? range_of(*common, lists) : Range{};
}

Layout layout_of(const Chart& chart) {
    Layout layout;
    layout.rows = place_rows(chart);
    layout.legend = place_legend(chart, layout.rows.back().to - layout.rows.front().from);
    layout.right = kWidth - kRight - (layout.legend.width > 0.0 ? layout.legend.width + 14.0 : 0.0);
    layout.columns = place_columns(chart, layout.right);
    for (std::size_t c = 0; c < chart.columns.size(); ++c)
        layout.rx.push_back(common_range(chart, &Panel::column, c, &Panel::x, &Series::x));
    for (std::size_t r = 0; r < chart.rows.size(); ++r)
        layout.ry.push_back(common_range(chart, &Panel::row, r, &Panel::y, &Series::y));
    layout.lowest.assign(chart.columns.size(), 0);
    bool dated = false;
    for (const Panel& p : chart.panels) {
        layout.lowest[p.column] = std::max(layout.lowest[p.column], p.row);
        dated |= has_dates(p.x, layout.rx[p.column]);
    }
    layout.height = layout.rows.back().to + 48.0 + (dated ? 14.0 : 0.0) + caption_height(chart.heading);
    return layout;
}

// --- drawing -------------------------------------------------------------------------------------------------------------

/// Where one panel stands, what its axes reach, and which of their labels it shows.
struct Place {
    Box box;
    Range rx, ry;
    bool left, below;
};

/// Ticks below a panel; returns their lines of the grid.
std::vector<std::vector<Pixel>> draw_x_axis(Canvas& canvas, const Axis& axis, const Place& at, const Scale& sx) {
    const Box& box = at.box;
    canvas.begin("x-axis", label_of(axis, at.rx));
    std::vector<std::vector<Pixel>> grid;
    double second = 0;
    for (const Tick& tick : ticks_of(axis, at.rx, 60.0, box.right - box.left)) {
        const double x = sx(tick.value);
        grid.push_back({{x, box.top}, {x, box.bottom}});
        if (!at.below) continue;
        canvas.text({x, box.bottom + 13}, tick.label, {11.5, ink::text, Anchor::middle, false, false});
        if (tick.second.empty()) continue;
        canvas.text({x, box.bottom + 28}, tick.second, {11.5, ink::text, Anchor::middle, false, false});
        second = 14.0;
    }
    if (at.below) {
        canvas.text({0.5 * (box.left + box.right), box.bottom + 33 + second}, label_of(axis, at.rx),
                    {12.5, ink::text, Anchor::middle, false, false});
    }
    canvas.end();
    return grid;
}

/// Likewise at the left.
std::vector<std::vector<Pixel>> draw_y_axis(Canvas& canvas, const Axis& axis, const Place& at, const Scale& sy) {
    const Box& box = at.box;
    canvas.begin("y-axis", axis.label);
    std::vector<std::vector<Pixel>> grid;
    const double size = axis.kind == Axis::Kind::names ? 10.0 : 11.5;
    for (const Tick& tick : ticks_of(axis, at.ry, 27.0, box.bottom - box.top)) {
        const double y = sy(tick.value);
        grid.push_back({{box.left, y}, {box.right, y}});
        if (at.left && !tick.label.empty())
            canvas.text({box.left - 7, y}, tick.label, {size, ink::text, Anchor::end, false, false});
    }
    if (at.left && !axis.label.empty())
        canvas.text({20, 0.5 * (box.top + box.bottom)}, axis.label, {12.5, ink::text, Anchor::middle, false, true});
    canvas.end();
    return grid;
}

void draw_series(Canvas& canvas, const Panel& panel, const Box& box, const Scale& sx, const Scale& sy) {
    bool empty = true;
    std::vector<std::vector<Pixel>> dots = visible_dots(panel.series, sx, sy, box);
    for (std::size_t k = 0; k < panel.series.size(); ++k) {
        const Series& s = panel.series[k];
        canvas.begin("series", s.name);
        if (s.style == Series::Style::dots) {
            canvas.marks(std::move(dots[k]), s.size, {s.colour, s.sign});
        } else {
            draw_lines(canvas, s, sx, sy, box);
        }
        canvas.end();
        empty = empty && s.x.empty();
    }
    if (empty) {
        canvas.text({0.5 * (box.left + box.right), 0.5 * (box.top + box.bottom)}, "no data",
                    {13, ink::soft, Anchor::middle, false, false});
    }
}

void draw_panel(Canvas& canvas, const Panel& panel, const Place& at) {
    const Box& box = at.box;
    const Scale sx{at.rx, {box.left, box.right}, panel.x.log};
    const Scale sy{at.ry, {box.bottom, box.top}, panel.y.log};
    canvas.begin("panel", panel.title);
    if (!panel.title.empty())
        canvas.text({box.left, box.top - 11}, panel.title, {13, ink::text, Anchor::start, true, false});
    std::vector<std::vector<Pixel>> grid = draw_x_axis(canvas, panel.x, at, sx);
    std::vector<std::vector<Pixel>> across = draw_y_axis(canvas, panel.y, at, sy);
    grid.insert(grid.end(), across.begin(), across.end());
    canvas.lines(std::move(grid), ink::grid, 1.0);
    if (!panel.y.log && panel.y.kind != Axis::Kind::names && at.ry.from < 0.0 && at.ry.to > 0.0)
        canvas.line({{box.left, sy(0.0)}, {box.right, sy(0.0)}}, ink::zero, 1.0);
    draw_series(canvas, panel, box, sx, sy);
    draw_frame(canvas, box);
    canvas.end();
}

void draw_common_legend(Canvas& canvas, const Chart& chart, const Layout& layout) {
    const CommonLegend& legend = layout.legend;
    canvas.begin("legend", "legend");
    for (std::size_t i = 0; i < legend.listed; ++i) {
        const std::size_t column = i / legend.per_column;
        draw_entry(canvas, layout.right + 14 + legend.entry_width * static_cast<double>(column),
                   layout.rows.front().from + 7 + legend.entry_height * static_cast<double>(i % legend.per_column),
                   chart.legend[i], false);
    }
    canvas.end();
}

}  // namespace

void add_panel(Chart& chart, Panel panel, double height) {
    panel.row = chart.rows.size();
    chart.rows.push_back(height);
    chart.panels.push_back(std::move(panel));
}

void share_scales(Chart& chart, std::size_t first_row) {
    constexpr double kFlattened = 6.0;
    Range all{0, 0};
    double smallest = 0;
    for (std::size_t r = first_row; r < chart.rows.size(); ++r) {
        const Range range = common_range(chart, &Panel::row, r, &Panel::y, &Series::y);
        const double span = range.to - range.from;
        const bool first = r == first_row;
        all = first ? range : Range{std::min(all.from, range.from), std::max(all.to, range.to)};
        smallest = first ? span : std::min(smallest, span);
    }
    const auto is_of_rows = [first_row](const Panel& panel) { return panel.row >= first_row; };
    const auto some = std::find_if(chart.panels.begin(), chart.panels.end(), is_of_rows);
    if (some == chart.panels.end() || first_row + 1 >= chart.rows.size()) return;
    if (!some->y.log && all.to - all.from > kFlattened * smallest) {
        chart.heading.caption += "\nEach panel has a scale of its own.";
        return;
    }
    for (Panel& panel : chart.panels) {
        if (!is_of_rows(panel)) continue;
        panel.y.from = all.from;
        panel.y.to = all.to;
    }
}

Canvas draw_chart(const Chart& chart) {
    const Layout layout = layout_of(chart);
    Canvas canvas(kWidth, static_cast<int>(std::lround(layout.height)));
    draw_heading(canvas, chart.heading, layout.height);
    for (const Panel& p : chart.panels) {
        const Range& x = layout.columns[p.column];
        const Range& y = layout.rows[p.row];
        const Box box{x.from, y.from, x.to, y.to};
        draw_panel(canvas, p,
                   {box, layout.rx[p.column], layout.ry[p.row], p.column == 0, p.row == layout.lowest[p.column]});
        if (chart.legend.empty() && p.column + 1 == chart.columns.size())
            draw_legend(canvas, layout.right + 14, box.top + 9, entries_of(p));
    }
    if (!chart.legend.empty()) draw_common_legend(canvas, chart, layout);
    return canvas;
}

}  // namespace host
