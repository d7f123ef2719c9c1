/// \file tide.h
/// `leopod tide`: tidal displacement of a site.
#ifndef LEOPOD_HOST_TIDE_H
#define LEOPOD_HOST_TIDE_H

#include <string>
#include <vector>

namespace host {

struct TideOptions {
    std::vector<double> blh;  ///< geodetic latitude and longitude [degree], ellipsoidal height [m]
    std::vector<double> xyz;  ///< earth-fixed position [m]; one of the two is given
    std::string epoch, time_scale = "gpst";
    double duration = 0.0;   ///< [s]
    double interval = 3600;  ///< [s]
    std::string blq, site;   ///< ocean loading file, and name of the site in it
    std::string eop, eop_format = "auto", jpl;
    std::string out, summary;
    std::string log_level = "critical";
};

/// Computes the displacements and returns the exit status 0. Throws InputError.
int tide(const TideOptions& options);

}  // namespace host

#endif
