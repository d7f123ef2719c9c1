#include "pictures/chart.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <limits>

#include "gtime.h"
#include "pictures/canvas.h"

namespace host {

namespace {

constexpr int kWidth = 1000;
constexpr double kLeft = 70.0, kRight = 22.0, kColumnGap = 34.0;
constexpr double kPanelTitle = 22.0, kRowGap = 16.0;
constexpr double kSwatch = 18.0;      ///< room of a legend's sign
constexpr double kNameWidth = 180.0;  ///< of a legend's text, at most
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kRadian = 3.14159265358979323846 / 180.0;
const char* const kText = "#222222";
const char* const kSoft = "#5f6670";
const char* const kFrame = "#a7adb5";
const char* const kGrid = "#e4e7eb";
const char* const kZero = "#8f969f";

struct Box {
    double left, top, right, bottom;
};

struct Range {
    double from, to;
};

/// From values of an axis to pixels.
struct Scale {
    Range values;
    Range pixels;
    bool log;
    double operator()(double value) const {
        const double a = log ? std::log10(values.from) : values.from;
        const double b = log ? std::log10(values.to) : values.to;
        return pixels.from + ((log ? std::log10(value) : value) - a) / (b - a) * (pixels.to - pixels.from);
    }
};

struct Tick {
    double value;
    std::string label, second;  ///< below the label
};

// --- texts ---------------------------------------------------------------------------------------------------------------

/// A number with decimals and a true minus sign.
std::string decimal(double value, int decimals) {
    char text[48];
    std::snprintf(text, sizeof text, "%.*f", decimals, value == 0.0 ? 0.0 : std::fabs(value));
    return (value < 0.0 ? "\u2212" : "") + std::string(text);
}

std::string date_text(long mjd) {
    const TimeYMD d = GTime2YMD(mjd2GTime(tsGPST, static_cast<double>(mjd)));
    char text[48];
    std::snprintf(text, sizeof text, "%04d-%02d-%02d", d.year, d.month, d.day);
    return text;
}

std::vector<std::string> split_lines(const std::string& text) {
    std::vector<std::string> result;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        result.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return result;
}

double caption_height(const Heading& heading) {
    return 16.0 * static_cast<double>(split_lines(heading.caption).size()) + 16.0;
}

/// Title above, caption below; returns where the chart may begin.
double draw_heading(Canvas& canvas, const Heading& heading, double height) {
    canvas.text({20, 24}, shortened(heading.title, 18, 0.85 * kWidth), {18, kText, Anchor::start, true, false});
    canvas.text({20, 46}, shortened(heading.subtitle, 12.5, 0.95 * kWidth), {12.5, kSoft, Anchor::start, false, false});
    double y = height - caption_height(heading) + 12.0;
    for (const std::string& line : split_lines(heading.caption)) {
        canvas.text({20, y}, line, {11, kSoft, Anchor::start, false, false});
        y += 16.0;
    }
    return 64.0;
}

void draw_frame(Canvas& canvas, const Box& b) {
    canvas.line({{b.left, b.top}, {b.right, b.top}, {b.right, b.bottom}, {b.left, b.bottom}, {b.left, b.top}}, kFrame,
                1.0);
}

// --- axes ----------------------------------------------------------------------------------------------------------------

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

/// Ends of an axis for values of several series.
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
        const double margin = std::pow(r.to / r.from, 0.04) * 1.05;
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

// --- series --------------------------------------------------------------------------------------------------------------

/// Abscissa steps beyond which a line is interrupted: well above the usual one.
double gap_of(const std::vector<double>& x) {
    std::vector<double> steps;
    for (std::size_t i = 1; i < x.size(); ++i) {
        if (x[i] > x[i - 1]) steps.push_back(x[i] - x[i - 1]);
    }
    if (steps.empty()) return kInfinity;
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    return 2.5 * *middle;
}

/// The part of a segment inside a box; false without one.
bool clip(const Box& box, Pixel& a, Pixel& b) {
    const double dx = b.x - a.x;
    const double dy = b.y - a.y;
    double first = 0.0;
    double last = 1.0;
    for (const auto& [p, q] : {std::pair{-dx, a.x - box.left}, std::pair{dx, box.right - a.x},
                               std::pair{-dy, a.y - box.top}, std::pair{dy, box.bottom - a.y}}) {
        if (p == 0.0) {
            if (q < 0.0) return false;
        } else if (p < 0.0) {
            first = std::max(first, q / p);
        } else {
            last = std::min(last, q / p);
        }
    }
    if (first > last) return false;
    const Pixel start = a;
    a = {start.x + first * dx, start.y + first * dy};
    b = {start.x + last * dx, start.y + last * dy};
    return true;
}

/// Of the points in one column of pixels the first, the lowest, the highest and the last are kept: the picture stays the same.
std::vector<Pixel> thin_columns(const std::vector<Pixel>& points) {
    std::vector<Pixel> kept;
    for (std::size_t i = 0; i < points.size();) {
        std::size_t end = i;
        std::size_t low = i;
        std::size_t high = i;
        const double column = std::floor(points[i].x);
        for (; end < points.size() && std::floor(points[end].x) == column; ++end) {
            if (points[end].y < points[low].y) low = end;
            if (points[end].y > points[high].y) high = end;
        }
        std::array<std::size_t, 4> order = {i, std::min(low, high), std::max(low, high), end - 1};
        for (std::size_t k = 0; k < order.size(); ++k) {
            if (k == 0 || order[k] != order[k - 1]) kept.push_back(points[order[k]]);
        }
        i = end;
    }
    return kept;
}

/// Points that lie at least a pixel from the last one kept; the ends stay.
std::vector<Pixel> thin_distance(const std::vector<Pixel>& points) {
    std::vector<Pixel> kept;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const bool end = i + 1 == points.size();
        if (kept.empty() || end || std::hypot(points[i].x - kept.back().x, points[i].y - kept.back().y) >= 1.0)
            kept.push_back(points[i]);
    }
    return kept;
}

/// Pieces of a line inside a box; a piece of one point goes to `single`.
void clip_line(const Box& box, const std::vector<Pixel>& points, std::vector<std::vector<Pixel>>& pieces,
               std::vector<Pixel>& single) {
    if (points.size() == 1) {
        Pixel a = points[0];
        Pixel b = a;
        if (clip(box, a, b)) single.push_back(a);
        return;
    }
    bool open = false;
    for (std::size_t i = 1; i < points.size(); ++i) {
        Pixel a = points[i - 1];
        Pixel b = points[i];
        if (!clip(box, a, b)) {
            open = false;
            continue;
        }
        if (!open || a.x != pieces.back().back().x || a.y != pieces.back().back().y) pieces.push_back({a});
        pieces.back().push_back(b);
        open = true;
    }
}

void draw_lines(Canvas& canvas, const Series& s, const Scale& sx, const Scale& sy, const Box& box) {
    std::vector<std::vector<Pixel>> pieces;
    std::vector<Pixel> single;
    std::vector<Pixel> run;
    const auto flush = [&] {
        if (!run.empty()) clip_line(box, thin_columns(run), pieces, single);
        run.clear();
    };
    const double gap = s.whole ? kInfinity : gap_of(s.x);
    double last_x = 0;
    for (std::size_t i = 0; i < s.x.size(); ++i) {
        const bool drawable = std::isfinite(s.x[i]) && std::isfinite(s.y[i]) && !(sy.log && s.y[i] <= 0.0);
        if (!drawable || (!run.empty() && std::fabs(s.x[i] - last_x) > gap)) flush();
        if (!drawable) continue;
        const Pixel p{sx(s.x[i]), sy(s.y[i])};
        if (s.style == Series::Style::steps && !run.empty()) run.push_back({p.x, run.back().y});
        run.push_back(p);
        last_x = s.x[i];
    }
    flush();
    canvas.lines(std::move(pieces), s.colour, s.size);
    canvas.dots(std::move(single), 0.6 * s.size + 0.4, s.colour);
}

/// Dots of all series of a panel. Of those that fall on one pixel only the last one would be seen.
std::vector<std::vector<Pixel>> visible_dots(const Panel& panel, const Scale& sx, const Scale& sy, const Box& box) {
    const std::size_t wide = static_cast<std::size_t>(box.right - box.left) + 2;
    const std::size_t high = static_cast<std::size_t>(box.bottom - box.top) + 2;
    std::vector<bool> taken(wide * high);
    std::vector<std::vector<Pixel>> dots(panel.series.size());
    for (std::size_t k = panel.series.size(); k-- > 0;) {
        const Series& s = panel.series[k];
        for (std::size_t i = 0; s.style == Series::Style::dots && i < s.x.size(); ++i) {
            if (!std::isfinite(s.x[i]) || !std::isfinite(s.y[i]) || (sy.log && s.y[i] <= 0.0)) continue;
            const Pixel p{sx(s.x[i]), sy(s.y[i])};
            if (p.x < box.left - 0.5 || p.x > box.right + 0.5 || p.y < box.top - 0.5 || p.y > box.bottom + 0.5)
                continue;
            const auto nearest = [](double x) { return static_cast<std::size_t>(std::floor(x + 0.5)); };
            const std::size_t place = nearest(p.x - box.left) + wide * nearest(p.y - box.top);
            if (taken[place]) continue;
            taken[place] = true;
            dots[k].push_back(p);
        }
    }
    return dots;
}

// --- legends -------------------------------------------------------------------------------------------------------------

double legend_width(const std::vector<LegendEntry>& entries) {
    double width = 0;
    for (const LegendEntry& e : entries) width = std::max({width, text_width(e.name, 12.0), text_width(e.note, 11.0)});
    return entries.empty() ? 0.0 : kSwatch + 6.0 + width;
}

void draw_entry(Canvas& canvas, double x, double y, const LegendEntry& e, bool below) {
    if (e.dot) {
        canvas.dots({{x + 0.5 * kSwatch, y}}, 3.5, e.colour);
    } else {
        canvas.line({{x, y}, {x + kSwatch, y}}, e.colour, 3.5);
    }
    canvas.text({x + kSwatch + 6, y}, e.name, {12, kText, Anchor::start, false, false});
    const double name = below ? 0.0 : text_width(e.name, 12.0) + 6.0;
    if (!e.note.empty()) {
        canvas.text({x + kSwatch + 6 + name, y + (below ? 15.0 : 0.0)}, e.note,
                    {11, kSoft, Anchor::start, false, false});
    }
}

void draw_legend(Canvas& canvas, double x, double y, const std::vector<LegendEntry>& entries) {
    if (entries.empty()) return;
    canvas.begin("legend", "legend");
    for (const LegendEntry& e : entries) {
        draw_entry(canvas, x, y, e, true);
        y += e.note.empty() ? 19.0 : 35.0;
    }
    canvas.end();
}

std::vector<LegendEntry> entries_of(const Panel& panel) {
    std::vector<LegendEntry> entries;
    for (const Series& s : panel.series) {
        if (panel.legend && !s.name.empty())
            entries.push_back({shortened(s.name, 12.0, kNameWidth), s.note, s.colour, s.style == Series::Style::dots});
    }
    return entries;
}

// --- panels --------------------------------------------------------------------------------------------------------------

/// Which labels a panel shows.
struct Labels {
    bool left, below;
};

void draw_panel(Canvas& canvas, const Panel& panel, const Box& box, const Range& rx, const Range& ry,
                const Labels& labels) {
    const Scale sx{rx, {box.left, box.right}, panel.x.log};
    const Scale sy{ry, {box.bottom, box.top}, panel.y.log};
    canvas.begin("panel", panel.title);
    if (!panel.title.empty())
        canvas.text({box.left, box.top - 11}, panel.title, {13, kText, Anchor::start, true, false});

    canvas.begin("x-axis", label_of(panel.x, rx));
    std::vector<std::vector<Pixel>> grid;
    double second = 0;
    for (const Tick& tick : ticks_of(panel.x, rx, 60.0, box.right - box.left)) {
        const double x = sx(tick.value);
        grid.push_back({{x, box.top}, {x, box.bottom}});
        if (!labels.below) continue;
        canvas.text({x, box.bottom + 13}, tick.label, {11.5, kText, Anchor::middle, false, false});
        if (tick.second.empty()) continue;
        canvas.text({x, box.bottom + 28}, tick.second, {11.5, kText, Anchor::middle, false, false});
        second = 14.0;
    }
    if (labels.below) {
        canvas.text({0.5 * (box.left + box.right), box.bottom + 33 + second}, label_of(panel.x, rx),
                    {12.5, kText, Anchor::middle, false, false});
    }
    canvas.end();
    canvas.begin("y-axis", panel.y.label);
    const double size = panel.y.kind == Axis::Kind::names ? 10.0 : 11.5;
    for (const Tick& tick : ticks_of(panel.y, ry, 27.0, box.bottom - box.top)) {
        const double y = sy(tick.value);
        grid.push_back({{box.left, y}, {box.right, y}});
        if (labels.left) canvas.text({box.left - 7, y}, tick.label, {size, kText, Anchor::end, false, false});
    }
    if (labels.left) {
        canvas.text({20, 0.5 * (box.top + box.bottom)}, panel.y.label, {12.5, kText, Anchor::middle, false, true});
    }
    canvas.end();
    canvas.lines(std::move(grid), kGrid, 1.0);
    if (!panel.y.log && panel.y.kind != Axis::Kind::names && ry.from < 0.0 && ry.to > 0.0)
        canvas.line({{box.left, sy(0.0)}, {box.right, sy(0.0)}}, kZero, 1.0);

    bool empty = true;
    std::vector<std::vector<Pixel>> dots = visible_dots(panel, sx, sy, box);
    for (std::size_t k = 0; k < panel.series.size(); ++k) {
        const Series& s = panel.series[k];
        canvas.begin("series", s.name);
        if (s.style == Series::Style::dots) {
            canvas.dots(std::move(dots[k]), s.size, s.colour);
        } else {
            draw_lines(canvas, s, sx, sy, box);
        }
        canvas.end();
        empty = empty && s.x.empty();
    }
    if (empty) {
        canvas.text({0.5 * (box.left + box.right), 0.5 * (box.top + box.bottom)}, "no data",
                    {13, kSoft, Anchor::middle, false, false});
    }
    draw_frame(canvas, box);
    canvas.end();
}

}  // namespace

const std::string& colour(std::size_t index) {
    static const std::array<std::string, 8> colours = {"#0072b2", "#d55e00", "#009e73", "#cc79a7",
                                                       "#e69f00", "#56b4e9", "#4d4d4d", "#8c6bb1"};
    return colours[index % colours.size()];
}

const std::string& colour_of_layer(std::size_t index, std::size_t count) {
    static const std::array<std::string, 6> layers = {"#56b4e9", "#d55e00", "#1f2a36", "#009e73", "#cc79a7", "#e69f00"};
    if (count < 2) return colour(0);
    return layers[index % layers.size()];
}

void draw(const Chart& chart, const std::string& file) {
    check_picture_name("picture", file);
    const std::size_t num_rows = chart.rows.size();
    const std::size_t num_columns = chart.columns.size();

    double legend = legend_width(chart.legend);
    std::vector<bool> titled(num_rows, false);
    for (const Panel& panel : chart.panels) {
        if (chart.legend.empty()) legend = std::max(legend, legend_width(entries_of(panel)));
        if (!panel.title.empty()) titled[panel.row] = true;
    }
    double height = 64.0;
    std::vector<Range> rows;
    for (std::size_t r = 0; r < num_rows; ++r) {
        height += (titled[r] ? kPanelTitle : 0.0) + (r != 0 ? kRowGap : 0.0);
        rows.push_back({height, height + chart.rows[r]});
        height += chart.rows[r];
    }
    // A common legend beside the panels, in as many columns as the height asks for.
    constexpr std::size_t kMostColumns = 3;
    const double room = rows.back().to - rows.front().from;
    const std::size_t most = std::max<std::size_t>(1, static_cast<std::size_t>(room / 13.5));
    // More entries than three columns hold are left out.
    const std::size_t listed = std::min(chart.legend.size(), kMostColumns * most);
    const std::size_t legend_columns = (listed + most - 1) / most;
    const std::size_t per_column = legend_columns > 0 ? (listed + legend_columns - 1) / legend_columns : 1;
    const double entry_height = std::min(17.0, room / static_cast<double>(per_column));
    double entry_width = 0;
    for (const LegendEntry& e : chart.legend)
        entry_width = std::max(entry_width, kSwatch + 18 + text_width(e.name, 12.0) + text_width(e.note, 11.0));
    if (!chart.legend.empty()) legend = entry_width * static_cast<double>(legend_columns);

    const double right = kWidth - kRight - (legend > 0.0 ? legend + 14.0 : 0.0);
    double shares = 0;
    for (double share : chart.columns) shares += share;
    const double wide = right - kLeft - kColumnGap * static_cast<double>(num_columns - 1);
    std::vector<Range> columns;
    double left = kLeft;
    for (double share : chart.columns) {
        columns.push_back({left, left + wide * share / shares});
        left = columns.back().to + kColumnGap;
    }

    // Axes belong to columns and rows.
    std::vector<Range> rx(num_columns), ry(num_rows);
    bool several_days = false;
    std::vector<std::size_t> lowest(num_columns, 0);
    for (std::size_t c = 0; c < num_columns; ++c) {
        std::vector<const std::vector<double>*> values;
        const Axis* axis = nullptr;
        for (const Panel& p : chart.panels) {
            if (p.column != c) continue;
            axis = &p.x;
            lowest[c] = std::max(lowest[c], p.row);
            for (const Series& s : p.series) values.push_back(&s.x);
        }
        if (axis == nullptr) continue;
        rx[c] = range_of(*axis, values);
        if (axis->kind == Axis::Kind::time && axis->day_mjd != 0)
            several_days |= std::floor(rx[c].from / 86400.0) != std::floor((rx[c].to - 1e-3) / 86400.0);
    }
    for (std::size_t r = 0; r < num_rows; ++r) {
        std::vector<const std::vector<double>*> values;
        const Axis* axis = nullptr;
        for (const Panel& p : chart.panels) {
            if (p.row != r) continue;
            axis = &p.y;
            for (const Series& s : p.series) values.push_back(&s.y);
        }
        if (axis != nullptr) ry[r] = range_of(*axis, values);
    }
    height += 48.0 + (several_days ? 14.0 : 0.0) + caption_height(chart.heading);

    Canvas canvas(kWidth, static_cast<int>(std::lround(height)));
    draw_heading(canvas, chart.heading, height);
    for (const Panel& p : chart.panels) {
        const Box box{columns[p.column].from, rows[p.row].from, columns[p.column].to, rows[p.row].to};
        draw_panel(canvas, p, box, rx[p.column], ry[p.row], {p.column == 0, p.row == lowest[p.column]});
        if (chart.legend.empty() && p.column + 1 == num_columns)
            draw_legend(canvas, right + 14, box.top + 9, entries_of(p));
    }
    if (!chart.legend.empty()) {
        canvas.begin("legend", "legend");
        for (std::size_t i = 0; i < listed; ++i) {
            const std::size_t column = i / per_column;
            draw_entry(canvas, right + 14 + entry_width * static_cast<double>(column),
                       rows.front().from + 7 + entry_height * static_cast<double>(i % per_column), chart.legend[i],
                       false);
        }
        canvas.end();
    }
    canvas.save(file, chart.heading.title + ". " + chart.heading.subtitle);
}

// --- the sky -------------------------------------------------------------------------------------------------------------

void draw_sky(const Heading& heading, const std::vector<Track>& tracks, bool compass, const std::string& file) {
    check_picture_name("picture", file);
    constexpr double kRadius = 310.0;
    constexpr int kSkyWidth = 760;
    // The rim lies at the horizon, or below it where a track goes there.
    double lowest = 0;
    for (const Track& track : tracks) {
        for (const auto& piece : track.pieces) {
            for (const Track::Place& place : piece) lowest = std::min(lowest, place.b);
        }
    }
    const double rim = 10.0 * std::floor(lowest / 10.0);
    const double height = 64.0 + 2 * kRadius + 60.0 + caption_height(heading);
    Canvas canvas(kSkyWidth, static_cast<int>(std::lround(height)));
    draw_heading(canvas, heading, height);
    const Pixel centre{0.5 * kSkyWidth, 64.0 + 32.0 + kRadius};
    const auto at = [&](double azimuth, double elevation) {
        const double r = kRadius * (90.0 - elevation) / (90.0 - rim);
        return Pixel{centre.x + r * std::sin(azimuth * kRadian), centre.y - r * std::cos(azimuth * kRadian)};
    };
    const auto ring = [&](double elevation) {
        std::vector<Pixel> points;
        for (int a = 0; a <= 360; a += 4) points.push_back(at(a, elevation));
        return points;
    };
    canvas.begin("sky", "sky");
    if (rim < 0.0) canvas.line(ring(rim), kFrame, 1.2);
    for (int e = 0; e < 90; e += 15) canvas.line(ring(e), e == 0 ? kFrame : kGrid, e == 0 ? 1.2 : 1.0);
    std::vector<std::vector<Pixel>> spokes;
    for (int a = 0; a < 180; a += 30) spokes.push_back({at(a, rim), at(a + 180, rim)});
    canvas.lines(std::move(spokes), kGrid, 1.0);
    std::vector<Box> labels;
    const auto is_free = [&](const Box& box) {
        return std::none_of(labels.begin(), labels.end(), [&](const Box& other) {
            return box.left < other.right && other.left < box.right && box.top < other.bottom && other.top < box.bottom;
        });
    };
    const auto label_box = [](const Pixel& p, const std::string& name) {
        const double half = 0.5 * text_width(name, 11.0, true) + 1.0;
        return Box{p.x - half, p.y - 7.0, p.x + half, p.y + 7.0};
    };
    for (int e = 30; e < 90; e += 30) labels.push_back(label_box(at(15, e), "60"));
    for (int a = 0; a < 360; a += 30) {
        const Pixel p{centre.x + (kRadius + 19) * std::sin(a * kRadian),
                      centre.y - (kRadius + 15) * std::cos(a * kRadian)};
        static const char* points[] = {"N", "E", "S", "W"};
        const bool main = compass && a % 90 == 0;
        labels.push_back(label_box(p, "360"));
        canvas.text(p, main ? points[a / 90] : std::to_string(a) + "\u00b0",
                    {main ? 15.0 : 12.0, main ? kText : kSoft, Anchor::middle, main, false});
    }
    canvas.end();
    struct Name {
        Pixel at;
        std::string text, colour;
    };
    std::vector<Name> names;
    for (const Track& track : tracks) {
        canvas.begin("series", track.name);
        std::vector<std::vector<Pixel>> pieces;
        std::vector<Pixel> ends;
        std::vector<Pixel> longest;
        for (const auto& piece : track.pieces) {
            std::vector<Pixel> points;
            for (std::size_t i = 0; i < piece.size(); ++i) {
                // Where the axes turn far between two epochs, as over a pole, the way is an arc. Near the zenith it is not, though the
                // azimuth turns there too.
                constexpr double kFar = 25.0;
                const Pixel here = at(piece[i].a, piece[i].b);
                const Pixel last = i > 0 ? at(piece[i - 1].a, piece[i - 1].b) : here;
                const double turn = i > 0 ? std::remainder(piece[i].a - piece[i - 1].a, 360.0) : 0.0;
                const bool arc = std::hypot(here.x - last.x, here.y - last.y) > kFar;
                const int parts = arc ? std::max(1, static_cast<int>(std::fabs(turn) / 3.0)) : 1;
                for (int k = 1; k < parts; ++k) {
                    const double share = static_cast<double>(k) / parts;
                    points.push_back(
                        at(piece[i - 1].a + share * turn, piece[i - 1].b + share * (piece[i].b - piece[i - 1].b)));
                }
                points.push_back(here);
            }
            points = thin_distance(points);
            if (points.empty()) continue;
            ends.push_back(points.back());
            if (points.size() > longest.size()) longest = points;
            if (points.size() > 1) pieces.push_back(std::move(points));
        }
        canvas.lines(std::move(pieces), track.colour, 1.6);
        canvas.dots(std::move(ends), 2.8, track.colour);
        canvas.end();
        if (longest.empty()) continue;
        // The name stands beside the end of the longest piece, or where there is room along it.
        Pixel best = longest.back();
        for (double share : {1.0, 0.0, 0.5, 0.75, 0.25, 0.9, 0.1, 0.62, 0.38}) {
            const std::size_t i = static_cast<std::size_t>(share * static_cast<double>(longest.size() - 1));
            const bool inner = share > 0.0 && share < 1.0;
            Pixel p = longest[i];
            if (!inner) {
                // Beyond the end, along the way.
                const std::size_t k = share > 0.5 ? (longest.size() > 6 ? longest.size() - 6 : 0)
                                                  : std::min<std::size_t>(5, longest.size() - 1);
                const double dx = p.x - longest[k].x;
                const double dy = p.y - longest[k].y;
                const double length = std::hypot(dx, dy);
                p = length > 0.0 ? Pixel{p.x + 17.0 * dx / length, p.y + 12.0 * dy / length} : Pixel{p.x + 17.0, p.y};
            }
            if (!is_free(label_box(p, track.name))) continue;
            best = p;
            break;
        }
        labels.push_back(label_box(best, track.name));
        names.push_back({best, track.name, track.colour});
    }
    for (int e = 30; e < 90; e += 30)
        canvas.text(at(15, e), std::to_string(e) + "\u00b0", {11, kSoft, Anchor::middle, false, false});
    for (const Name& name : names) {
        const Box b = label_box(name.at, name.text);
        canvas.fill({{b.left, b.top}, {b.right, b.top}, {b.right, b.bottom}, {b.left, b.bottom}}, "#ffffff");
        canvas.text(name.at, name.text, {11, name.colour, Anchor::middle, true, false});
    }
    canvas.save(file, heading.title + ". " + heading.subtitle);
}

// --- the earth -----------------------------------------------------------------------------------------------------------

void draw_map(const Heading& heading, const std::vector<Track>& tracks, const std::string& file) {
    check_picture_name("picture", file);
    std::vector<LegendEntry> entries;
    for (const Track& track : tracks) {
        if (tracks.size() > 1) entries.push_back({shortened(track.name, 12.0, kNameWidth), {}, track.colour});
    }
    const double legend = legend_width(entries);
    const double wide = kWidth - 60.0 - kRight - (legend > 0.0 ? legend + 14.0 : 0.0);
    constexpr double kTop = 72.0;
    const double height = kTop + 0.5 * wide + 30.0 + caption_height(heading);
    Canvas canvas(kWidth, static_cast<int>(std::lround(height)));
    draw_heading(canvas, heading, height);
    const Box box{60.0, kTop, 60.0 + wide, kTop + 0.5 * wide};
    const auto at = [&](double longitude, double latitude) {
        return Pixel{box.left + (longitude + 180.0) / 360.0 * wide, box.top + (90.0 - latitude) / 360.0 * wide};
    };
    canvas.begin("graticule", "graticule");
    std::vector<std::vector<Pixel>> grid;
    for (int lon = -180; lon <= 180; lon += 30) {
        if (lon % 180 != 0) grid.push_back({at(lon, 90), at(lon, -90)});
        if (lon % 60 != 0) continue;
        const std::string text = std::to_string(std::abs(lon)) + "\u00b0" +
                                 (lon % 180 == 0 ? ""
                                  : lon < 0      ? " W"
                                                 : " E");
        canvas.text({at(lon, -90).x, box.bottom + 13}, text, {11.5, kText, Anchor::middle, false, false});
    }
    for (int lat = -90; lat <= 90; lat += 30) {
        if (std::abs(lat) < 90) grid.push_back({at(-180, lat), at(180, lat)});
        const std::string text = std::to_string(std::abs(lat)) + "\u00b0" + (lat == 0 ? "" : lat < 0 ? " S" : " N");
        canvas.text({box.left - 7, at(0, lat).y}, text, {11.5, kText, Anchor::end, false, false});
    }
    canvas.lines(std::move(grid), kGrid, 1.0);
    canvas.lines({{at(-180, 0), at(180, 0)}, {at(0, 90), at(0, -90)}}, kFrame, 1.0);
    canvas.end();

    for (const Track& track : tracks) {
        canvas.begin("series", track.name);
        std::vector<std::vector<Pixel>> pieces;
        for (const auto& piece : track.pieces) {
            std::vector<Pixel> points;
            for (std::size_t i = 0; i < piece.size(); ++i) {
                const Track::Place& here = piece[i];
                if (i > 0 && std::fabs(here.a - piece[i - 1].a) > 180.0) {
                    // Over the edge of the map: to one side, and on from the other.
                    const Track::Place& last = piece[i - 1];
                    const double side = last.a > 0.0 ? 180.0 : -180.0;
                    const double way = here.a + 2.0 * side - last.a;
                    const double lat = way == 0.0 ? here.b : last.b + (here.b - last.b) * (side - last.a) / way;
                    points.push_back(at(side, lat));
                    pieces.push_back(thin_distance(points));
                    points = {at(-side, lat)};
                }
                points.push_back(at(here.a, here.b));
            }
            pieces.push_back(thin_distance(points));
        }
        pieces.erase(std::remove_if(pieces.begin(), pieces.end(), [](const auto& p) { return p.empty(); }),
                     pieces.end());
        if (pieces.empty()) {
            canvas.end();
            continue;
        }
        const Pixel start = pieces.front().front();
        const Pixel end = pieces.back().back();
        double length = 0;
        for (const auto& piece : pieces) {
            for (std::size_t i = 1; i < piece.size(); ++i)
                length += std::hypot(piece[i].x - piece[i - 1].x, piece[i].y - piece[i - 1].y);
        }
        // Arrows along the way.
        constexpr int kArrows = 7;
        std::vector<std::vector<Pixel>> arrows;
        double way = 0;
        double next = length / (2.0 * kArrows);
        for (const auto& piece : pieces) {
            for (std::size_t i = 1; i < piece.size(); ++i) {
                const double dx = piece[i].x - piece[i - 1].x;
                const double dy = piece[i].y - piece[i - 1].y;
                const double step = std::hypot(dx, dy);
                way += step;
                const bool inside = piece[i].x > box.left + 8 && piece[i].x < box.right - 8;
                if (way < next || step == 0.0 || length < 60.0 || !inside) continue;
                const double ux = dx / step;
                const double uy = dy / step;
                const Pixel& tip = piece[i];
                arrows.push_back({{tip.x + 5 * ux, tip.y + 5 * uy},
                                  {tip.x - 4 * ux + 4.5 * uy, tip.y - 4 * uy - 4.5 * ux},
                                  {tip.x - 4 * ux - 4.5 * uy, tip.y - 4 * uy + 4.5 * ux}});
                next += length / kArrows;
            }
        }
        pieces.erase(std::remove_if(pieces.begin(), pieces.end(), [](const auto& p) { return p.size() < 2; }),
                     pieces.end());
        canvas.lines(std::move(pieces), track.colour, 1.5);
        for (auto& arrow : arrows) canvas.fill(std::move(arrow), track.colour);
        canvas.dots({end}, 5.5, track.colour);
        canvas.dots({start}, 5.5, track.colour);
        canvas.dots({start}, 3.2, "#ffffff");
        canvas.end();
    }
    draw_frame(canvas, box);
    draw_legend(canvas, box.right + 14, box.top + 9, entries);
    canvas.save(file, heading.title + ". " + heading.subtitle);
}

}  // namespace host
