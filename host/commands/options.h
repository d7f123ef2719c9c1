/// \file options.h
/// Options that several commands share, each registered in one place.
#ifndef LEOPOD_HOST_OPTIONS_H
#define LEOPOD_HOST_OPTIONS_H

#include "commands/command.h"
#include "estimation/antenna_offset.h"
#include "estimation/laser_ranges.h"
#include "outputs/ephemeris.h"
#include "shared/files.h"
#include "shared/span.h"
#include "stores/dynamics.h"
#include "stores/loading.h"

namespace host {

/// The files among them.
void plan_dynamics(const DynamicsOptions& options, FilePlan& plan);
/// --dynamics and --gravity. Returns --dynamics.
Option add_forces(Command command, DynamicsOptions& options);
/// Force models, gravity, earth orientation, planets, level of messages.
void add_dynamics(Command command, DynamicsOptions& options);

/// The files of an arc: --obs, ephemerides, attitude, earth orientation, planets, configuration. Returns --obs.
Option add_arc_inputs(Command command, InputOptions& options);
/// The files among them, and --atx.
void plan_arc_inputs(const InputOptions& options, FilePlan& plan);
/// --sp3-antenna of precise orbits.
void add_sp3_antenna(Command command, std::string& file);
/// --sigma-code and --sigma-phase.
void add_sigmas(Command command, double& code, double& phase);
/// --eop and --eop-format.
void add_earth_orientation(Command command, std::string& file, std::string& format,
                           const std::string& help = "earth orientation file");
void add_planets(Command command, std::string& file);
/// --truth: positions of an arc; `more` goes behind the help.
void add_truth(Command command, std::string& file, const std::string& more = "");
void add_log_level(Command command, std::string& level);
/// --time-scale and --frame; `whose` says of what ("its time scale").
void add_time_scale(Command command, std::string& scale, const std::string& whose);
void add_frame(Command command, std::string& frame, const std::string& whose);

/// --from and --to; --interval where `thinned` says of what ("positions").
void add_span(Command command, SpanOptions& options, const std::string& thinned = "");

/// --from and --to of what a command makes, in place of the options of its start and length.
void add_made_span(Command command, SpanOptions& options, const std::string& scale, const Option& start,
                   const Option& duration);

/// The OEM of an orbit. `what` is what it holds ("the fitted trajectory").
void add_oem_output(Command command, OrbitOutputs& options, const std::string& what);
/// That, its SP3 file and --satellite, which chooses of `read` as well ("an SP3 or OEM file"), where there is such a file.
void add_orbit_outputs(Command command, OrbitOutputs& options, const std::string& what, const std::string& read = "");

/// Offset of the receiver's antenna and its axes; `sigma`: and how well it is known.
void add_antenna(Command command, AntennaOptions& options, bool sigma);

/// Laser ranges that are held against an orbit.
void add_laser(Command command, LaserOptions& options);
/// The files among them.
void plan_laser(const LaserOptions& options, FilePlan& plan);

}  // namespace host

#endif
