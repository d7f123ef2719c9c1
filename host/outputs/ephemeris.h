/// \file ephemeris.h
/// The orbit that a command found, as it goes into SP3 and OEM files.
#ifndef LEOPOD_HOST_EPHEMERIS_H
#define LEOPOD_HOST_EPHEMERIS_H

#include <string>
#include <vector>

#include "outputs/states.h"
#include "shared/files.h"

namespace host {

/// Options of the files of an orbit.
struct OrbitOutputs {
    std::string sp3_out, sp3_version = "c";
    std::string satellite;  ///< SP3 name; empty: L01
    std::string oem_out, oem_frame = "itrf", oem_time = "gps";
    std::string object_name, object_id;
    bool wanted() const { return !sp3_out.empty() || !oem_out.empty(); }
};

struct Ephemeris {
    States fixed;                           ///< earth-fixed, GPST
    States inertial;                        ///< the same in GCRS; empty: made of the others where a file needs it
    double interval = 0;                    ///< [s]
    std::string type = "FIT";               ///< of the orbit, as SP3 names it: FIT, EXT (propagated), KIN
    std::string data = "ORBIT";             ///< what it was made of, as SP3 names it
    std::vector<std::string> comments;      ///< capitals, up to 57 characters
    std::vector<std::string> oem_comments;  ///< of an OEM, in whatever frame and time system; empty: the same
    void add_comment(const std::string& comment) {
        comments.push_back(comment);
        if (!oem_comments.empty()) oem_comments.push_back(comment);
    }
};

/// Checks names and choices of the options, and adds the files to those of the command. Throws InputError.
void plan_orbit_outputs(const OrbitOutputs& options, FilePlan& plan);

/// Writes the files that are asked for and says so; the count of states without a velocity, which an OEM can't hold. Throws InputError.
std::size_t write_orbit(const OrbitOutputs& options, const Ephemeris& ephemeris);

}  // namespace host

#endif
