/// \file panels.h
/// Charts: panels in rows and columns with axes over time or numbers.
#ifndef LEOPOD_HOST_PANELS_H
#define LEOPOD_HOST_PANELS_H

#include <string>
#include <vector>

#include "pictures/axis.h"
#include "pictures/canvas.h"
#include "pictures/page.h"
#include "pictures/series.h"

namespace host {

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

/// A panel in a row of its own below the others.
void add_panel(Chart& chart, Panel panel, double height);

/// Gives the left axes of the rows from one on the same ends, so that their panels can be compared. Where one of them would be flattened by
/// that, nothing is changed and the caption says so.
void share_scales(Chart& chart, std::size_t first_row);

/// Lines are interrupted where their data are, and points that cannot be told apart are drawn once.
Canvas draw_chart(const Chart& chart);

}  // namespace host

#endif
