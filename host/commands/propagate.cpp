#include "commands/propagate.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

#include "commands/command.h"
#include "commands/options.h"
#include "inputs/truth.h"
#include "shared/console.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/times.h"
#include "stores/environment.h"

namespace host {

namespace {

/// Rows of simulated motion: the layout of the orbit simulation, read by simulators of receivers. Derivatives are per unit of the
/// normalised abscissa of the interpolation, as in that layout. Returns their number.
long write_rows(const PropagateOptions& o, Dynamics& dynamics, const std::vector<TrajectoryPoint>& points) {
    constexpr std::size_t kMargin = 5;  // the ends of the interpolation are left out
    if (points.size() < 17) throw InputError("--rows-out: the trajectory is shorter than 17 output intervals");
    OutputFile out(o.rows_out);
    Owned<STATE_SPACECRAFT> states = make_zeroed<STATE_SPACECRAFT>(points.size());
    std::vector<double> seconds;
    for (std::size_t i = 0; i < points.size(); ++i) {
        STATE_SPACECRAFT& s = states.get()[i];
        std::copy_n(points[i].pos_eci, 3, s.pos_eci);
        std::copy_n(points[i].vel_eci, 3, s.vel_eci);
        std::copy_n(points[i].acc_eci, 3, s.acc_eci);
        seconds.push_back(gtimeSubSec(points[i].utc, points.front().utc));
    }
    const double first = seconds[kMargin];
    const double range = seconds[points.size() - kMargin] - first;
    const long rows = static_cast<long>(range / o.rows_interval + 1e-9) + 1;
    Progress progress("writing rows", static_cast<double>(rows));
    for (long i = 1; i < rows; ++i) {
        progress.done(static_cast<double>(i));
        const double x = first + static_cast<double>(i) * o.rows_interval;
        double y[9] = {};
        double dy[9] = {};
        interpolate_pos_vel_acc(dynamics.config.get(), states.get(), seconds.data(), static_cast<int>(seconds.size()),
                                x, y, dy);
        const double mjd = gtime2mjd(gtimeAddSec(points.front().utc, x));
        const double leap = getLeapSecond(mjd);
        double pos[3];
        double vel[3];
        double acc[3];
        double jerk[3];
        eci2ecf(mjd, leap, y, y + 3, pos, vel);
        eci2ecf(mjd, leap, y + 6, nullptr, acc, nullptr);
        eci2ecf(mjd, leap, dy + 6, nullptr, jerk, nullptr);
        std::fprintf(out,
                     "%.2lf,mot,v1_m1,%16.4lf,%16.4lf,%16.4lf,%8.4lf,%8.4lf,%8.4lf,%16.12lf,%16.12lf,%16.12lf,%16.12lf,"
                     "%16.12lf,%16.12lf,"
                     "%8.4lf,%8.4lf,%8.4lf,%8.4lf,%8.4lf,%8.4lf,%8.4lf,%8.4lf,%8.4lf\n",
                     x, pos[0], pos[1], pos[2], vel[0], vel[1], vel[2], acc[0], acc[1], acc[2], jerk[0], jerk[1],
                     jerk[2], 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0);
    }
    out.close();
    return rows - 1;
}

void check_files(const PropagateOptions& o) {
    FilePlan plan;
    plan_dynamics(o.dynamics, plan);
    plan.in("--truth", o.truth).out("--out", o.out).out("--sp3-out", o.sp3_out).out("--rows-out", o.rows_out).check();
}

}  // namespace

int propagate(const PropagateOptions& o) {
    check_files(o);
    Console console(o.dynamics.log_level);
    if (o.state.size() != 6) throw InputError("--state: six numbers are expected, position in m and velocity in m/s");
    if (!(o.duration > 0.0) || o.duration > 400.0 * 86400.0)
        throw InputError("--duration: between 0 and 400 days in seconds is expected");
    if (!(o.rows_interval > 0.0)) throw InputError("--rows-interval: a positive number of seconds is expected");
    const GTime start = gtimeChangeTimeSystem(parse_epoch(o.epoch, time_system(o.time_scale)), tsUTC);
    Dynamics dynamics;
    const double mjd = gtime2mjd(start);
    prepare_dynamics(o.dynamics, mjd, mjd + o.duration / 86400.0, dynamics);
    // Forces with their parameters at zero; the motion alone is integrated.
    dynamics.config->status_derivative = 0;
    produce_force_model_params(mjd, mjd + o.duration / 86400.0, dynamics.config.get(), dynamics.state.get());

    double pos[3];
    double vel[3];
    std::vector<double> given = o.state;
    if (is_inertial(o.frame)) {
        std::copy_n(given.data(), 3, pos);
        std::copy_n(given.data() + 3, 3, vel);
    } else {
        ecf2eci(mjd, getLeapSecond(mjd), given.data(), given.data() + 3, pos, vel);
    }
    const std::vector<TrajectoryPoint> points = integrate(dynamics, start, pos, vel, o.duration);
    const TrajectoryPoint& last = points.back();
    std::printf("leopod propagate: %s to %s GPST, %zu epochs\n",
                time_text(gtimeChangeTimeSystem(start, tsGPST)).c_str(),
                time_text(gtimeChangeTimeSystem(last.utc, tsGPST)).c_str(), points.size());
    print_dynamics(dynamics);
    std::printf("last state, earth-fixed: %.4f %.4f %.4f m, %.7f %.7f %.7f m/s\n", last.pos_ecf[0], last.pos_ecf[1],
                last.pos_ecf[2], last.vel_ecf[0], last.vel_ecf[1], last.vel_ecf[2]);
    if (!o.truth.empty()) {
        const Truth truth = Truth::load(o.truth, gtimeChangeTimeSystem(start, tsGPST));
        std::vector<PositionError> errors;
        for (const TrajectoryPoint& p : points) {
            PositionError error{};
            if (truth.error_at(gtimeChangeTimeSystem(p.utc, tsGPST), p.pos_ecf, error)) errors.push_back(error);
        }
        const ErrorStatistics s = statistics(errors);
        std::printf("errors against %s: epochs %zu, 3D rms %.4f, largest %.4f m\n", o.truth.c_str(), s.count, s.rms,
                    s.largest);
    }
    if (!o.out.empty()) {
        write_trajectory(o.out, points);
        std::printf("trajectory written: %s\n", o.out.c_str());
    }
    if (!o.sp3_out.empty()) {
        write_trajectory_sp3(o.sp3_out, points, dynamics.config->output_interval);
        std::printf("orbit written: %s\n", o.sp3_out.c_str());
    }
    if (!o.rows_out.empty()) {
        const long rows = write_rows(o, dynamics, points);
        std::printf("rows written: %s (%ld)\n", o.rows_out.c_str(), rows);
    }
    return 0;
}

void add_propagate(Command app, Action& action) {
    auto o = std::make_shared<PropagateOptions>();
    Command command = app.add_subcommand("propagate", "A state in, a trajectory out");
    command.add_option("--epoch", o->epoch, "epoch of the state, such as 2021-01-18T00:00:00").required();
    command.add_option("--time-scale", o->time_scale, "its time scale: gpst, utc, tai or tt").capture_default_str();
    command.add_option("--state", o->state, "x y z vx vy vz in m and m/s").expected(6).required();
    command.add_option("--frame", o->frame, "its frame: ecef or eci (GCRS)").capture_default_str();
    command.add_option("--duration", o->duration, "length of the arc in seconds").capture_default_str();
    add_dynamics(command, o->dynamics);
    command.add_option("--truth", o->truth, "CSV to compare with: GPST, x, y, z in metres, earth-fixed");
    command.add_option("--out", o->out, "CSV of the trajectory, both frames");
    command.add_option("--sp3-out", o->sp3_out, "SP3-c file of the trajectory");
    command.add_option("--rows-out", o->rows_out, "rows of simulated motion (mot), without the ends of the arc");
    command.add_option("--rows-interval", o->rows_interval, "spacing of these rows in seconds").capture_default_str();
    command.callback([o, &action] { action = [o] { return propagate(*o); }; });
}

}  // namespace host
