/// \file solutions.h
/// Positions that the commands wrote, as they are named on the command line of those that show them.
#ifndef LEOPOD_HOST_SOLUTIONS_H
#define LEOPOD_HOST_SOLUTIONS_H

#include <string>
#include <vector>

#include "inputs/positions.h"

namespace host {

/// An input as it is written on the command line: FILE, FILE:filter, FILE:point, each with =LABEL behind it or not.
struct Source {
    std::string file, solution, label;
};

Source parse_source(const std::string& text);

/// Earth-fixed positions of an input, with GPST tags. Files without a date count as of MJD `day`. Throws InputError.
std::vector<TimedPosition> read_positions(const Source& source, long day);

/// Day to which the first position belongs; a receive time a hair before midnight belongs to the day that begins.
long first_day(const std::vector<TimedPosition>& rows);

/// Names of files without their directories, with commas between them.
std::string base_name(const std::string& file);
std::string base_names(const std::vector<std::string>& files);

}  // namespace host

#endif
