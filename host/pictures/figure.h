/// \file figure.h
/// What the pictures of this field share: their options, satellites by name, spans of time, lengths in words.
#ifndef LEOPOD_HOST_FIGURE_H
#define LEOPOD_HOST_FIGURE_H

#include <functional>
#include <limits>
#include <string>
#include <vector>

#include "pictures/axis.h"
#include "pictures/canvas.h"

namespace host {

/// What all pictures share. Seconds count from the start of day_mjd in GPST; 0: the day is not known.
struct FigureOptions {
    std::string title;  ///< empty: the usual one
    long day_mjd = 0;
};

/// First and last second of lists of seconds.
struct Span {
    double first = std::numeric_limits<double>::infinity(), last = -std::numeric_limits<double>::infinity();
    std::size_t longest = 0;
    void add(const std::vector<double>& seconds);
};

/// Names of the components of an error or residual: in orbit radial, along, cross; at rest east, north, up.
struct AxisName {
    const char* name;
    const char* title;
};
const AxisName* error_axes(bool at_rest);

/// "2010-07-27 00:00:00 to 12:00:00 GPST", or without a known day the times alone.
std::string span_text(double first, double last, long day_mjd);

std::string title_or(const FigureOptions& options, const std::string& usual);

Axis time_axis(const FigureOptions& options);

/// Root of the mean square of what is finite.
double rms(const std::vector<double>& values);

/// Unit of an axis and of the numbers beside it: metres, or millimetres where nearly all values are small.
struct Unit {
    double factor;
    const char* name;
};
Unit unit_for(const std::vector<const std::vector<double>*>& lists);

std::vector<double> scaled(std::vector<double> values, const Unit& unit);

/// Two or three digits of a length in metres.
std::string length_text(double metres, const Unit& unit);

std::string rms_note(const std::vector<double>& values, const Unit& unit);

/// An axis of lengths around zero; it ends at the limit where there is one [m].
Axis length_axis(const std::string& label, double limit, const Unit& unit);

/// Lines of many points are thin.
double line_size(std::size_t points);

/// How many values lie beyond a limit, and a line that says so.
std::size_t beyond(const std::vector<double>& values, double limit);
std::string beyond_note(std::size_t count, double limit, const Unit& unit);

/// Draws a picture that goes beside the results of a command, and prints its name, or why there is none. False without a picture.
bool report_picture(const std::string& file, const std::function<Canvas()>& draw);

}  // namespace host

#endif
