/// \file ephemeris.h
/// The orbit that a command found, as it goes into SP3 and OEM files.
#ifndef LEOPOD_HOST_EPHEMERIS_H
#define LEOPOD_HOST_EPHEMERIS_H

#include <string>
#include <vector>

#include "shared/files.h"
#include "shared/timed_position.h"

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
    std::vector<TimedPosition> fixed;       ///< earth-fixed, GPST
    std::vector<TimedPosition> inertial;    ///< the same in GCRS; empty: made of the others where a file needs it
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

/// Writes the files that are asked for and says so. Throws InputError.
void write_orbit(const OrbitOutputs& options, const Ephemeris& ephemeris);

/// Positions found epoch by epoch get velocities: those of a polynomial through their neighbours. A gap, longer than one and a half
/// intervals, is not bridged; where fewer than five neighbours remain there is no velocity. With `round` the same polynomial moves each
/// position to the nearest whole second (or multiple of a shorter interval); those without neighbours are left out.
std::vector<TimedPosition> kinematic_states(const std::vector<TimedPosition>& points, double interval, bool round);

/// Frame name of an OEM for the frame that SP3 files name: "IGS14" gives "ITRF2014"; empty where it tells no realisation.
std::string itrf_name(const std::string& frame);

}  // namespace host

#endif
