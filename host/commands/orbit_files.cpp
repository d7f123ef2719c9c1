#include "commands/orbit_files.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "estimation/formal.h"
#include "estimation/tables.h"
#include "shared/files.h"

namespace host {

namespace {

/// The orbit at whole seconds, with its formal covariances.
void write_orbit_files(const OrbitOptions& o, const OrbitJob& job, const Motion& motion,
                       const EstimationReport& report) {
    const double second = gtimeChangeTimeSystem(job.arc.start, tsGPST).time.sod;
    std::vector<double> times;
    std::vector<TrajectoryPoint> points;
    double t = std::ceil(second - 1e-6) - second;
    while (t <= motion.last() + 1e-6) {
        times.push_back(std::max(0.0, t));
        points.push_back(point_at(motion, job.arc.start, times.back()));
        t += o.output_interval;
    }
    const std::vector<Covariance> covariances =
        state_covariances(motion, report.solution.covariance, gtimeChangeTimeSystem(job.arc.start, tsUTC), times);
    Ephemeris e = ephemeris_of(points, o.output_interval, "FIT", "REDUCED-DYNAMIC ORBIT FROM CODE AND CARRIER PHASE",
                               covariances);
    e.data = "u+U";
    if (!job.estimation.signal.antenna.is_zero()) e.add_comment(job.estimation.signal.antenna.comment());
    if (report.solution.antenna_deviation > 0.0) {
        char text[60];
        std::snprintf(text, sizeof text, "CENTRE OF MASS, ANTENNA ESTIMATED %+.3f M FURTHER OUT", report.antenna);
        e.add_comment(text);
    }
    write_orbit(o.orbit, e);
}

}  // namespace

void write_results(const OrbitOptions& o, const OrbitJob& job, const Motion& motion, const EstimationReport& report) {
    std::vector<double> times;
    std::vector<TrajectoryPoint> points;
    double t = 0.0;
    while (t <= motion.last() + 1e-6) {
        times.push_back(t);
        points.push_back(point_at(motion, job.arc.start, t));
        t += o.output_interval;
    }
    if (!o.out.empty()) {
        write_trajectory(o.out, points);
        say_written("trajectory", o.out);
    }
    if (o.orbit.wanted()) write_orbit_files(o, job, motion, report);
    if (!o.formal_out.empty()) {
        write_formal_errors(o.formal_out, job.arc.start, times,
                            formal_errors(motion, report.solution.covariance, times));
        say_written("formal errors", o.formal_out);
    }
    if (!o.satellites_out.empty()) {
        write_satellites(o.satellites_out, job.arc);
        say_written("satellites", o.satellites_out);
    }
    if (!o.edits_out.empty()) {
        write_edits(o.edits_out, job.arc);
        say_written("edits", o.edits_out);
    }
    if (!o.parameters.empty()) {
        write_orbit_parameters(o.parameters, motion, gtimeChangeTimeSystem(job.arc.start, tsUTC), report);
        say_written("parameters", o.parameters);
    }
}

}  // namespace host
