#include "commands/options.h"

namespace host {

void plan_dynamics(const DynamicsOptions& o, FilePlan& plan) {
    plan.in("--dynamics", o.dynamics).in("--gravity", o.gravity).in("--eop", o.eop).in("--jpl", o.jpl);
}

Option add_forces(Command command, DynamicsOptions& o) {
    const Option dynamics = command.add_option("--dynamics", o.dynamics, "configuration file of the force models");
    command.add_option("--gravity", o.gravity,
                       "gravity coefficient file (degree, order, C, S); without it the built-in field of degree 30");
    return dynamics;
}

void add_dynamics(Command command, DynamicsOptions& o) {
    add_forces(command, o).required();
    add_earth_orientation(command, o.eop, o.eop_format);
    add_planets(command, o.jpl);
    add_log_level(command, o.log_level);
}

Option add_arc_inputs(Command command, InputOptions& o) {
    const Option obs = command.add_option("--obs", o.obs, "RINEX observation file, version 2, 3 or 4; may be repeated");
    command.add_option("--nav", o.nav, "RINEX navigation file; may be repeated");
    command.add_option("--sp3", o.sp3, "SP3 orbit file; may be repeated");
    command.add_option("--clk", o.clk, "RINEX clock file; may be repeated");
    command.add_option("--att", o.att,
                       "attitude quaternion file, the library's columns or the mission product; may be repeated");
    add_earth_orientation(command, o.eop, o.eop_format);
    add_planets(command, o.jpl);
    command.add_option("--config", o.config, "GNSS configuration file");
    return obs;
}

void plan_arc_inputs(const InputOptions& o, FilePlan& plan) {
    plan.in("--obs", o.obs).in("--nav", o.nav).in("--sp3", o.sp3).in("--clk", o.clk).in("--atx", o.atx);
    plan.in("--att", o.att).in("--eop", o.eop).in("--jpl", o.jpl).in("--config", o.config);
}

void add_sp3_antenna(Command command, std::string& file) {
    command.add_option("--sp3-antenna", file,
                       "ANTEX file: moves precise orbits to the phase centres of the satellites' antennas");
}

void add_sigmas(Command command, double& code, double& phase) {
    command.add_option("--sigma-code", code, "standard deviation of a code on one band, metres")
        .positive()
        .capture_default_str();
    command.add_option("--sigma-phase", phase, "standard deviation of a phase on one band, metres")
        .positive()
        .capture_default_str();
}

void add_earth_orientation(Command command, std::string& file, std::string& format, const std::string& help) {
    command.add_option("--eop", file, help);
    command.add_option("--eop-format", format, "its format, told by the content: auto, c04, rapid or keyword")
        .capture_default_str();
}

void add_planets(Command command, std::string& file) {
    command.add_option("--jpl", file, "JPL ephemeris, ASCII header and records in one file");
}

void add_truth(Command command, std::string& file, const std::string& more) {
    command.add_option("--truth", file,
                       "file to compare with: CSV (GPST, x, y, z in metres, earth-fixed), SP3 or OEM" + more);
}

void add_log_level(Command command, std::string& level) {
    command
        .add_option("--log-level", level,
                    "library messages from this level on: trace, debug, info, warning, error, critical, off")
        .capture_default_str();
}

void add_time_scale(Command command, std::string& scale, const std::string& whose) {
    command.add_option("--time-scale", scale, whose + ": gpst, utc, tai or tt").capture_default_str();
}

void add_frame(Command command, std::string& frame, const std::string& whose) {
    command.add_option("--frame", frame, whose + ": ecef or eci (GCRS)").capture_default_str();
}

void add_span(Command command, SpanOptions& o, const std::string& thinned) {
    const std::string form = "second of the first day, or a time such as 2021-01-18T00:00:00, in the file's time scale";
    command.add_option("--from", o.from, "begin of the span: " + form);
    command.add_option("--to", o.to, "end of the span, not in it: likewise");
    if (thinned.empty()) return;
    command.add_option("--interval", o.interval, "spacing of the " + thinned + " in seconds; 0 takes all")
        .non_negative()
        .capture_default_str();
}

void add_made_span(Command command, SpanOptions& o, const std::string& scale, const Option& start,
                   const Option& duration) {
    command.add_option("--from", o.from, "instead: begin of the span, in " + scale).excludes(start).excludes(duration);
    command.add_option("--to", o.to, "end of the span, not in it: a time, or the second of the first day")
        .excludes(duration);
}

void add_orbit_outputs(Command command, OrbitOutputs& o, const std::string& what, const std::string& read) {
    command.add_option("--sp3-out", o.sp3_out, "SP3 file of " + what);
    command.add_option("--sp3-version", o.sp3_version, "its version: c or d").one_of({"c", "d"}).capture_default_str();
    command.add_option(
        "--satellite", o.satellite,
        (read.empty() ? "its satellite" : "satellite of " + read + ", and of the SP3 file") + ", such as L01");
    add_oem_output(command, o, what);
}

void add_oem_output(Command command, OrbitOutputs& o, const std::string& what) {
    command.add_option("--oem-out", o.oem_out, "CCSDS ephemeris (OEM) of " + what);
    command.add_option("--oem-frame", o.oem_frame, "its frame: itrf, a realisation such as ITRF2014, or gcrf")
        .capture_default_str();
    command.add_option("--oem-time", o.oem_time, "its time system: gps or utc")
        .one_of({"gps", "utc"})
        .capture_default_str();
    command.add_option("--object-name", o.object_name, "name of the satellite in it, such as GRACE-B");
    command.add_option("--object-id", o.object_id, "its international designator in it, such as 2002-012B");
}

void add_antenna(Command command, AntennaOptions& o, bool sigma) {
    command
        .add_option(
            "--antenna-offset", o.offset,
            std::string("x,y,z from the centre of mass to the antenna in metres") +
                (sigma ? "; without it the radial part is estimated" : ": positions are those of the centre of mass"))
        .expected(3)
        .delimiter(',');
    command.add_option("--antenna-axes", o.axes, "its axes: orbit (radial, along, cross) or platform")
        .one_of({"orbit", "platform"})
        .capture_default_str();
    if (!sigma) return;
    command.add_option("--antenna-sigma", o.sigma,
                       "a-priori error of the antenna's radial offset in metres; 0 holds it (as a given offset does)");
}

void add_laser(Command command, LaserOptions& o) {
    command.add_option("--crd", o.crd,
                       "laser ranging file (CRD): residuals of its normal points to the orbit; may be repeated");
    command.add_option("--stations", o.stations,
                       "CSV of the laser stations: cdp or name, x_m, y_m, z_m, vx_mpy, vy_mpy, vz_mpy, epoch");
    command.add_option("--crd-target", o.target,
                       "name, ILRS or NORAD number of the target, where the files have several");
    command
        .add_option("--reflector-offset", o.reflector,
                    "radial,along,cross from the centre of mass to the laser reflector in metres")
        .expected(3)
        .delimiter(',');
    command.add_option("--crd-out", o.out, "CSV of the laser residuals");
}

void plan_laser(const LaserOptions& o, FilePlan& plan) {
    plan.in("--crd", o.crd).in("--stations", o.stations).out("--crd-out", o.out);
}

}  // namespace host
