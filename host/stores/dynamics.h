/// \file dynamics.h
/// Set-up that `leopod fit` and `leopod propagate` share: force models from files, frames, trajectories and their output.
#ifndef LEOPOD_HOST_DYNAMICS_H
#define LEOPOD_HOST_DYNAMICS_H

#include <string>
#include <vector>

#include "inputs/positions.h"
#include "orbit_dynamics.h"
#include "outputs/ephemeris.h"
#include "stores/environment.h"

namespace host {

struct DynamicsOptions {
    std::string dynamics;  ///< configuration file of the force models
    std::string gravity;   ///< coefficient file; empty: the built-in field of degree 30
    std::string eop, eop_format = "auto", jpl;
    std::string log_level = "critical";
};

/// The library's dynamics records and stores, owned here.
struct Dynamics {
    Environment environment;
    Owned<ORBIT_DYN_CONFIG> config = make_zeroed<ORBIT_DYN_CONFIG>();
    Owned<STATE_SPACECRAFT> state = make_zeroed<STATE_SPACECRAFT>();
    std::string gravity_source;
    long gravity_degree = 30;               ///< of the loaded field
    std::vector<std::string> shortcomings;  ///< what makes a result not worth its name, capitals first
    std::vector<std::string> notes;         ///< what is left out without much of an effect
};

/// Field of the Earth from a coefficient file; with an empty name the built-in one. Throws InputError.
void load_gravity_field(const std::string& file, Dynamics& dynamics);
/// Reads the configuration of the forces, which the loaded field has to serve. Throws InputError.
void read_force_models(const DynamicsOptions& options, Dynamics& dynamics);
/// Loads all files for an arc between two dates (MJD) and reads the configuration. Throws InputError.
/// \param earth_fixed  positions go in or out earth-fixed, so that earth orientation that is absent makes them wrong
void prepare_dynamics(const DynamicsOptions& options, double mjd_first, double mjd_last, bool earth_fixed,
                      Dynamics& dynamics);

/// Holds earth orientation and planets against the arc; what is absent becomes a shortcoming or a note. Throws InputError where they serve nothing
/// of it.
void hold_tables(double mjd_first, double mjd_last, bool earth_fixed, bool planets_from_file, Dynamics& dynamics);

/// Parameters that the configuration asks for over a span [s]. Throws InputError where the library has no room for them, or no model.
void check_parameters(const std::string& file, const ORBIT_DYN_CONFIG& config, double span);
/// Throws InputError where the integration's step is too long for an orbit of that radius, or the output has too many epochs.
void check_steps(const std::string& file, const ORBIT_DYN_CONFIG& config, double radius, double span);

/// Time system of a name (gpst, utc, tai, tt). Throws InputError.
TIMESYS time_system(const std::string& name);
/// The epoch of option --epoch, a date from 1973 to 2099. Throws InputError.
GTime parse_epoch(const std::string& text, TIMESYS system);
/// True for "eci", false for "ecef". Throws InputError.
bool is_inertial(const std::string& frame);

/// Position and velocity in both frames at one epoch.
struct TrajectoryPoint {
    GTime utc;
    double pos_eci[3], vel_eci[3], acc_eci[3];
    double pos_ecf[3], vel_ecf[3];
};

/// Integrates the configuration's forces from a state at `start` over a duration, in steps of the configuration's output interval; less
/// where the orbit meets the ground or leaves the Earth.
std::vector<TrajectoryPoint> integrate(Dynamics& dynamics, const GTime& start, const double* pos_eci,
                                       const double* vel_eci, double duration);

/// CSV: GPST, both frames. Throws InputError when the file cannot be written.
void write_trajectory(const std::string& file, const std::vector<TrajectoryPoint>& points);
/// The trajectory at whole seconds of GPST: itself where it has them, else integrated anew from the first multiple of the output interval.
std::vector<TrajectoryPoint> at_whole_seconds(Dynamics& dynamics, std::vector<TrajectoryPoint> points);
/// For the files of orbits: `type` as SP3 names it, what was done in the comment; covariances earth-fixed, one a point or none.
Ephemeris ephemeris_of(const std::vector<TrajectoryPoint>& points, double interval, const std::string& type,
                       const std::string& comment, const std::vector<Covariance>& covariances = {});

/// Position and velocity of a time between two points of a trajectory, earth-fixed. False outside.
bool interpolate_ecf(const std::vector<TrajectoryPoint>& points, const GTime& utc, double* position);
/// The same in GCRS, with the velocity.
bool interpolate_eci(const std::vector<TrajectoryPoint>& points, const GTime& utc, double* position, double* velocity);

void print_dynamics(const Dynamics& dynamics);
/// Prints what the arc lacks, capitals first.
void print_shortcomings(const Dynamics& dynamics);

}  // namespace host

#endif
