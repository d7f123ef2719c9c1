/// \file chart.h
/// Charts on a canvas: panels with axes over time or numbers, a sky in polar coordinates, a map of the earth.
#ifndef LEOPOD_HOST_CHART_H
#define LEOPOD_HOST_CHART_H

#include <cmath>
#include <string>
#include <vector>

namespace host {

/// Colours that keep apart for all kinds of colour vision (Okabe and Ito, 2008), in the order of their use.
const std::string& colour(std::size_t index);
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
    bool dot = false;  ///< the sign is a dot, else a line
};

struct Series {
    enum class Style { line, steps, dots };
    std::string name, note, colour;
    Style style = Style::line;
    double size = 1.4;  ///< width of a line, radius of dots [pixel]
    std::vector<double> x, y;
    bool whole = false;  ///< interrupted only at values that are not finite, not at large steps of x
};

struct Axis {
    enum class Kind { number, count, time, degree, names };
    std::string label;
    Kind kind = Kind::number;
    bool log = false;
    /// Ends of the axis; without them those of the data.
    double from = std::nan(""), to = std::nan("");
    bool with_zero = false;          ///< zero belongs to the axis
    long day_mjd = 0;                ///< day whose seconds an axis of time counts; 0: not known
    std::vector<std::string> names;  ///< of the values 0, 1, ...
};

/// Axes with series. Panels of one column share the axis below them; those of the first column have the labels of the left axes.
struct Panel {
    std::string title;
    std::size_t row = 0, column = 0;
    Axis x, y;
    std::vector<Series> series;
    bool legend = true;
};

struct Chart {
    Heading heading;
    std::vector<double> rows;           ///< heights of the rows [pixel]
    std::vector<double> columns = {1};  ///< shares of the columns in the width
    std::vector<Panel> panels;
    std::vector<LegendEntry> legend;  ///< beside all panels, in columns; with it the panels have none
};

/// Draws into a file (.svg or .png). Lines are interrupted where their data are, and points that cannot be told apart are drawn once.
/// Throws InputError.
void draw(const Chart& chart, const std::string& file);

/// A way over the sky or the earth, in pieces between its gaps.
struct Track {
    std::string name, colour;
    struct Place {
        double a, b;  ///< azimuth and elevation, or longitude and latitude [degree]
    };
    std::vector<std::vector<Place>> pieces;
};

/// The sky in polar coordinates: zenith in the middle, azimuth clockwise. `compass`: azimuth 0 is north.
void draw_sky(const Heading& heading, const std::vector<Track>& tracks, bool compass, const std::string& file);

/// The earth with longitude to the right and latitude upwards, graticule of 30 degrees; starts and ends of tracks are marked.
void draw_map(const Heading& heading, const std::vector<Track>& tracks, const std::string& file);

}  // namespace host

#endif
