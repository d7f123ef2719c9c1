/// \file page.h
/// What pictures have in common: sizes, colours, the words around them, legends.
#ifndef LEOPOD_HOST_PAGE_H
#define LEOPOD_HOST_PAGE_H

#include <string>
#include <vector>

#include "pictures/canvas.h"

namespace host {

constexpr int kWidth = 1000;
constexpr double kTop = 64.0;  ///< below the heading
constexpr double kRight = 22.0;
constexpr double kSwatch = 18.0;      ///< room of a legend's sign
constexpr double kNameWidth = 180.0;  ///< of a legend's text, at most

namespace ink {
constexpr const char* text = "#222222";
constexpr const char* soft = "#5f6670";
constexpr const char* frame = "#a7adb5";
constexpr const char* grid = "#e4e7eb";
constexpr const char* zero = "#8f969f";
constexpr const char* coast = "#9aa6b2";
constexpr const char* paper = "#ffffff";
}  // namespace ink

struct Box {
    double left, top, right, bottom;
};

/// Colours that keep apart for all kinds of colour vision (Okabe and Ito, 2008), in the order of their use.
const std::string& colour(std::size_t index);
/// Marks that keep apart: eight colours with one sign, then with the next one.
Mark mark(std::size_t index);
/// Colours of solutions that lie over each other in one panel, the first one lightest, so that the later ones stand out.
const std::string& colour_of_layer(std::size_t index, std::size_t count);

/// Words around a chart.
struct Heading {
    std::string title, subtitle;
    std::string caption;  ///< below the chart; lines end with newlines
};

/// An entry of a legend: a name and, below it, what else is to be said.
struct LegendEntry {
    std::string name, note, colour;
    bool dot = false;  ///< a dot or another sign, else a line
    Sign sign = Sign::circle;
};

double caption_height(const Heading& heading);

/// Title above, caption at the end of a picture of this height.
void draw_heading(Canvas& canvas, const Heading& heading, double height);

void draw_frame(Canvas& canvas, const Box& box);

/// Width of a legend whose notes stand below the names.
double legend_width(const std::vector<LegendEntry>& entries);

/// One entry, its note below the name or beside it.
void draw_entry(Canvas& canvas, double x, double y, const LegendEntry& entry, bool below);

void draw_legend(Canvas& canvas, double x, double y, const std::vector<LegendEntry>& entries);

}  // namespace host

#endif
