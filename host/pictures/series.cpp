#include "pictures/series.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace host {

namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

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
    const auto lower = [](const Pixel& a, const Pixel& b) { return a.y < b.y; };
    for (auto first = points.begin(); first != points.end();) {
        const auto end =
            std::find_if(first, points.end(), [&](const Pixel& p) { return std::floor(p.x) != std::floor(first->x); });
        const auto low = std::min_element(first, end, lower), high = std::max_element(first, end, lower);
        const std::array order = {first, std::min(low, high), std::max(low, high), end - 1};
        for (std::size_t k = 0; k < order.size(); ++k) {
            if (k == 0 || order[k] != order[k - 1]) kept.push_back(*order[k]);
        }
        first = end;
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

}  // namespace

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

std::vector<std::vector<Pixel>> visible_dots(const std::vector<Series>& series, const Scale& sx, const Scale& sy,
                                             const Box& box) {
    // Signs need more room than dots to be told apart.
    const bool signs =
        std::any_of(series.begin(), series.end(), [](const Series& s) { return s.sign != Sign::circle; });
    const double room = signs ? 2.0 : 1.0;
    const std::size_t wide = static_cast<std::size_t>((box.right - box.left) / room) + 2;
    const std::size_t high = static_cast<std::size_t>((box.bottom - box.top) / room) + 2;
    const auto nearest = [room](double x) { return static_cast<std::size_t>(std::floor(x / room + 0.5)); };
    std::vector<bool> taken(wide * high);
    std::vector<std::vector<Pixel>> dots(series.size());
    for (std::size_t k = series.size(); k-- > 0;) {
        const Series& s = series[k];
        for (std::size_t i = 0; s.style == Series::Style::dots && i < s.x.size(); ++i) {
            if (!std::isfinite(s.x[i]) || !std::isfinite(s.y[i]) || (sy.log && s.y[i] <= 0.0)) continue;
            const Pixel p{sx(s.x[i]), sy(s.y[i])};
            if (p.x < box.left - 0.5 || p.x > box.right + 0.5 || p.y < box.top - 0.5 || p.y > box.bottom + 0.5)
                continue;
            const std::size_t place = nearest(p.x - box.left) + wide * nearest(p.y - box.top);
            if (taken[place]) continue;
            taken[place] = true;
            dots[k].push_back(p);
        }
    }
    return dots;
}

}  // namespace host
