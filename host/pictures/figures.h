/// \file figures.h
/// The pictures of this field from plain numbers: orbit errors, residuals, satellites, sky, ground track.
#ifndef LEOPOD_HOST_FIGURES_H
#define LEOPOD_HOST_FIGURES_H

#include <array>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace host {

/// What all pictures share. Seconds count from the start of day_mjd in GPST; 0: the day is not known.
struct FigureOptions {
    std::string file, title;  ///< an empty title stands for the usual one
    long day_mjd = 0;
};

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

/// Rows of one satellite; values that are missing are not finite.
struct SatelliteRows {
    std::vector<double> seconds, azimuth, elevation;  ///< [degree]
    std::vector<double> code, phase, range1, range2;  ///< residuals [m]
    std::vector<bool> used, slip;
};

struct SatelliteFigure {
    FigureOptions options;
    std::string source;                             ///< files that the numbers come from
    std::vector<double> seconds, count, dilution;   ///< of the epochs; may be empty
    std::map<std::string, SatelliteRows> tracking;  ///< by name; may be empty
};

struct ResidualFigure {
    FigureOptions options;
    std::string source;
    std::map<std::string, SatelliteRows> satellites;
    bool point = false;                      ///< the ranges of the point position instead of the filter's combinations
    std::string elevation_note;              ///< in which frame
    double limit_code = 0, limit_phase = 0;  ///< ends of the axes [m]; 0: those of the data
};

/// Residuals of positions against a fitted orbit.
struct FitResidualFigure {
    FigureOptions options;
    std::string source;
    std::vector<double> seconds;
    std::array<std::vector<double>, 3> radial_along_cross;
    double limit = 0;
};

/// Colour and place of a satellite in all pictures.
std::size_t satellite_colour(const std::string& name);

void draw_errors(const ErrorFigure& figure);
void draw_satellites(const SatelliteFigure& figure);
void draw_residuals(const ResidualFigure& figure);
void draw_fit_residuals(const FitResidualFigure& figure);

/// Draws a picture that goes beside the results of a command, and prints its name, or why there is none.
void report_picture(const std::string& file, const std::function<void()>& draw);

/// "2010-07-27 00:00:00 to 12:00:00 GPST", or without a known day the times alone.
std::string span_text(double first, double last, long day_mjd);

}  // namespace host

#endif
