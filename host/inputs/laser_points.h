/// \file laser_points.h
/// Normal points of laser ranging files, and the stations that measured them.
#ifndef LEOPOD_HOST_LASER_POINTS_H
#define LEOPOD_HOST_LASER_POINTS_H

#include <Eigen/Dense>
#include <optional>
#include <string>
#include <vector>

#include "gtime.h"
#include "inputs/crd_session.h"

namespace host {

struct Meteorology {
    GTime time;                              ///< UTC
    double pressure, temperature, humidity;  ///< [hPa], [K], [%]
};

struct NormalPoint {
    Epoch epoch;            ///< UTC, as the file has it
    GTime time;             ///< the same
    int event;              ///< of the epoch: 0 reception, 1 reflection, 2 transmission
    double time_of_flight;  ///< there and back [s]
    double wavelength;      ///< [um]; 0: not known
};

/// A session with its normal points.
struct LaserSession {
    std::size_t number;  ///< over all files
    Session session;
    std::vector<NormalPoint> points;
    std::vector<Meteorology> meteorology;  ///< in order of time
    long unread = 0;                       ///< normal points without a date, time of flight or event

    std::string station() const;  ///< name and pad, printable
    std::string target() const;   ///< likewise
    /// The weather at a time: straight lines between the records, the nearest one outside of them. Nothing without records.
    std::optional<Meteorology> weather(const GTime& time) const;
};

/// The sessions of all files that have normal points. With a target (its name, ILRS or NORAD number) those of that one alone; without it all must be
/// of one target. Throws InputError.
std::vector<LaserSession> read_laser_sessions(const std::vector<std::string>& files, const std::string& target);

/// A station at a time, in the earth-fixed frame.
struct LaserStation {
    int pad = -1;  ///< -1: not given
    std::string name;
    Eigen::Vector3d position, velocity;  ///< [m], [m/year]
    double epoch = 0;                    ///< of the position, decimal year; 0: at all times

    Eigen::Vector3d at(double mjd) const;
};

class LaserStations {
  public:
    /// CSV with cdp or name or both, x_m, y_m, z_m, and vx_mpy, vy_mpy, vz_mpy with epoch. Throws InputError.
    explicit LaserStations(const std::string& file);
    /// The station of a session by its pad, else by its name; nullptr where it is not listed.
    const LaserStation* find(const rh2& station) const;

  private:
    void check(const std::string& where, const LaserStation& station) const;
    std::vector<LaserStation> stations_;
};

}  // namespace host

#endif
