/// \file axis.h
/// Axes of numbers and times: their ends, their ticks, and the way from values to pixels.
#ifndef LEOPOD_HOST_AXIS_H
#define LEOPOD_HOST_AXIS_H

#include <cmath>
#include <string>
#include <vector>

namespace host {

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

/// Ends of an axis for values of several series.
Range range_of(const Axis& axis, const std::vector<const std::vector<double>*>& values);

/// Ticks of an axis that is so many pixels long, with room of pixels_each for a label.
std::vector<Tick> ticks_of(const Axis& axis, const Range& range, double pixels_each, double pixels);

/// Words beside an axis; of times they name the day.
std::string label_of(const Axis& axis, const Range& range);

/// True where an axis of times goes beyond one day, so that its ticks have dates.
bool has_dates(const Axis& axis, const Range& range);

}  // namespace host

#endif
