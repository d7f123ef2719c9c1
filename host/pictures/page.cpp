#include "pictures/page.h"

#include <algorithm>
#include <array>

namespace host {

namespace {

std::vector<std::string> split_lines(const std::string& text) {
    std::vector<std::string> result;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        result.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return result;
}

}  // namespace

const std::string& colour(std::size_t index) {
    static const std::array<std::string, 8> colours = {"#0072b2", "#d55e00", "#009e73", "#cc79a7",
                                                       "#e69f00", "#56b4e9", "#4d4d4d", "#8c6bb1"};
    return colours[index % colours.size()];
}

Mark mark(std::size_t index) { return {colour(index), static_cast<Sign>(index / 8 % kSigns)}; }

const std::string& colour_of_layer(std::size_t index, std::size_t count) {
    static const std::array<std::string, 6> layers = {"#56b4e9", "#d55e00", "#1f2a36", "#009e73", "#cc79a7", "#e69f00"};
    if (count < 2) return colour(0);
    return layers[index % layers.size()];
}

double caption_height(const Heading& heading) {
    return 16.0 * static_cast<double>(split_lines(heading.caption).size()) + 16.0;
}

void draw_heading(Canvas& canvas, const Heading& heading, double height) {
    canvas.set_title(heading.title + ". " + heading.subtitle);
    canvas.text({20, 24}, shortened(heading.title, 18, 0.85 * kWidth), {18, ink::text, Anchor::start, true, false});
    canvas.text({20, 46}, shortened(heading.subtitle, 12.5, 0.95 * kWidth),
                {12.5, ink::soft, Anchor::start, false, false});
    double y = height - caption_height(heading) + 12.0;
    for (const std::string& line : split_lines(heading.caption)) {
        canvas.text({20, y}, line, {11, ink::soft, Anchor::start, false, false});
        y += 16.0;
    }
}

void draw_frame(Canvas& canvas, const Box& b) {
    canvas.line({{b.left, b.top}, {b.right, b.top}, {b.right, b.bottom}, {b.left, b.bottom}, {b.left, b.top}},
                ink::frame, 1.0);
}

double legend_width(const std::vector<LegendEntry>& entries) {
    double width = 0;
    for (const LegendEntry& e : entries) width = std::max({width, text_width(e.name, 12.0), text_width(e.note, 11.0)});
    return entries.empty() ? 0.0 : kSwatch + 6.0 + width;
}

void draw_entry(Canvas& canvas, double x, double y, const LegendEntry& e, bool below) {
    if (e.dot) {
        canvas.marks({{x + 0.5 * kSwatch, y}}, 3.5, {e.colour, e.sign});
    } else {
        canvas.line({{x, y}, {x + kSwatch, y}}, e.colour, 3.5);
    }
    canvas.text({x + kSwatch + 6, y}, e.name, {12, ink::text, Anchor::start, false, false});
    const double name = below ? 0.0 : text_width(e.name, 12.0) + 6.0;
    if (!e.note.empty()) {
        canvas.text({x + kSwatch + 6 + name, y + (below ? 15.0 : 0.0)}, e.note,
                    {11, ink::soft, Anchor::start, false, false});
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

}  // namespace host
