/// \file sp3.h
/// Positions of one satellite written as an SP3-c file.
#ifndef LEOPOD_HOST_SP3_H
#define LEOPOD_HOST_SP3_H

#include <string>
#include <vector>

#include "gtime.h"

namespace host {

struct Sp3Point {
    GTime time;          ///< GPST
    double position[3];  ///< earth-fixed [m]
};

/// Writes the points under satellite L01; clocks are marked unknown. Throws InputError when the file cannot be written.
void write_sp3(const std::string& file, const std::vector<Sp3Point>& points, double interval);

}  // namespace host

#endif
