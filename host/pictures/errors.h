/// \file errors.h
/// Errors of solutions against a reference, over time.
#ifndef LEOPOD_HOST_ERRORS_H
#define LEOPOD_HOST_ERRORS_H

#include <array>
#include <string>
#include <vector>

#include "pictures/canvas.h"
#include "pictures/figure.h"

namespace host {

/// A solution's errors against the reference: radial, along, cross, or east, north, up [m].
struct SolutionErrors {
    std::string name;
    std::vector<double> seconds;
    std::array<std::vector<double>, 3> component;
};

struct ErrorFigure {
    FigureOptions options;
    std::vector<SolutionErrors> solutions;
    std::string reference;  ///< name of the truth
    bool at_rest = false;
    /// Panels from above: "components" (one for each, all solutions), "solutions" (one for each, all components), "total" (3D).
    std::vector<std::string> layout;
    bool log = false;  ///< logarithmic, the components by their size
    double limit = 0;  ///< end of the axes [m]; 0: that of the data
};

/// Takes the figure by value: errors of a long arc are not held twice.
Canvas draw_errors(ErrorFigure figure);

}  // namespace host

#endif
