/// \file series.h
/// Lines, steps and dots of a panel, thinned to what can be seen.
#ifndef LEOPOD_HOST_SERIES_H
#define LEOPOD_HOST_SERIES_H

#include <string>
#include <vector>

#include "pictures/axis.h"
#include "pictures/canvas.h"
#include "pictures/page.h"

namespace host {

struct Series {
    enum class Style { line, steps, dots };
    std::string name, note, colour;
    Style style = Style::line;
    double size = 1.4;  ///< width of a line, radius of dots [pixel]
    std::vector<double> x, y;
    bool whole = false;        ///< interrupted only at values that are not finite, not at large steps of x
    Sign sign = Sign::circle;  ///< of dots
};

/// A series of lines or steps, interrupted where its data are.
void draw_lines(Canvas& canvas, const Series& series, const Scale& sx, const Scale& sy, const Box& box);

/// Dots of each series of a panel. Of those that fall on one place only the last one would be seen.
std::vector<std::vector<Pixel>> visible_dots(const std::vector<Series>& series, const Scale& sx, const Scale& sy,
                                             const Box& box);

}  // namespace host

#endif
