// `leopod propagate`: a state in, a trajectory out.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/summaries.h"
#include "inputs/orbit_check.h"
#include "inputs/truth.h"
#include "outputs/ephemeris.h"
#include "shared/console.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/times.h"
#include "stores/dynamics.h"
#include "stores/environment.h"

namespace host {

namespace {

struct PropagateOptions {
    DynamicsOptions dynamics;
    std::string epoch, time_scale = "gpst", frame = "ecef";
    std::vector<std::string> state;  ///< position [m], velocity [m/s]; or a file
    double duration = 86400.0;       ///< [s]
    std::string to;                  ///< end of the arc, in its place
    double interval = 0.0;           ///< of the output [s]; 0: that of the configuration
    OrbitOutputs orbit;
    std::string out, rows_out, summary;
    double rows_interval = 0.02;  ///< of the rows of rows_out [s]
    std::string truth;
};

/// Rows of simulated motion: the layout of the orbit simulation, read by simulators of receivers. Derivatives are per unit of the
/// normalised abscissa of the interpolation, as in that layout. Returns their number.
long write_rows(const PropagateOptions& o, Dynamics& dynamics, const std::vector<TrajectoryPoint>& points) {
    constexpr std::size_t kMargin = 5;  // the ends of the interpolation are left out
    if (points.size() < 17) throw InputError("--rows-out: the trajectory is shorter than 17 output intervals");
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
    if (rows < 2) throw InputError("--rows-interval: longer than the trajectory without its ends");
    OutputFile out(o.rows_out);
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

FilePlan check_files(const PropagateOptions& o) {
    FilePlan plan;
    plan_dynamics(o.dynamics, plan);
    if (o.state.size() == 1) plan.in("--state", o.state.front());
    plan_orbit_outputs(o.orbit, plan);
    plan.in("--truth", o.truth).out("--out", o.out).out("--rows-out", o.rows_out).out("--summary", o.summary).check();
    return plan;
}

/// The epoch of the options; the second of a day is one of a file's first day.
std::optional<GTime> given_epoch(const PropagateOptions& o, const PositionRequest& request) {
    double second = 0;
    if (o.epoch.empty()) return std::nullopt;
    if (o.state.size() != 1 || !parse_number(o.epoch, second)) return parse_epoch(o.epoch, request.scale);
    const GTime first = read_state(o.state.front(), request, std::nullopt).rows.front().time;
    return ArcSpan({o.epoch, ""}, first, request.scale).begin();
}

/// The state of the options: six numbers, or one of a file.
PositionFile given_state(const PropagateOptions& o) {
    const bool inertial = is_inertial(o.frame);
    PositionRequest request;
    request.inertial = inertial;
    if (inertial) request.columns = inertial_columns();
    request.scale = time_system(o.time_scale);
    request.satellite = o.orbit.satellite;
    const std::optional<GTime> epoch = given_epoch(o, request);
    if (o.state.size() == 1) {
        if (epoch) request.day_mjd = gtimeChangeTimeSystem(*epoch, request.scale).time.mjd;
        return read_state(o.state.front(), request, epoch);
    }
    double values[6];
    bool good = o.state.size() == 6;
    for (std::size_t i = 0; i < 6 && good; ++i) good = parse_number(o.state[i], values[i]);
    if (!good) throw InputError("--state: six numbers, position in m and velocity in m/s, or a file is expected");
    if (!epoch) throw InputError("--epoch is required with a state of six numbers");
    PositionFile given;
    given.inertial = inertial;
    given.rows = {{*epoch, {values[0], values[1], values[2]}, Vector3{values[3], values[4], values[5]}}};
    return given;
}

void check_options(const PropagateOptions& o) {
    if (!(o.rows_interval > 0.0)) throw InputError("--rows-interval: a positive number of seconds is expected");
}

/// The options with the length of the arc from --to, where that is given.
PropagateOptions with_duration(PropagateOptions o, const GTime& epoch) {
    const bool to = !o.to.empty();
    if (to) o.duration = ArcSpan({"", o.to}, epoch, time_system(o.time_scale)).length_from(epoch);
    if (!(o.duration > 0.0) || o.duration > 400.0 * 86400.0)
        throw InputError(std::string(to ? "--to" : "--duration") + ": between 0 and 400 days in seconds is expected");
    return o;
}

/// Loads what the forces need and holds it against the arc. The parameters of empirical forces are zero: they are left out.
void prepare(const PropagateOptions& o, double mjd, const PositionFile& given, Dynamics& dynamics) {
    const Vector3& p = given.rows.front().position;
    const double radius = std::hypot(p[0], p[1], p[2]);
    if (const std::string fault = radius_fault(radius); !fault.empty()) throw InputError("--state: " + fault);
    const bool earth_fixed = !given.inertial || !o.truth.empty() || o.orbit.wanted() || !o.rows_out.empty();
    const double end = mjd + o.duration / 86400.0;
    prepare_dynamics(o.dynamics, mjd, end, earth_fixed, dynamics);
    ORBIT_DYN_CONFIG& config = *dynamics.config;
    if (o.interval > 0.0) config.output_interval = o.interval;
    check_steps(o.dynamics.dynamics, config, radius, o.duration);
    config.status_derivative = 0;
    config.emp_param_num_base = 0;
    produce_force_model_params(mjd, end, &config, dynamics.state.get());
}

/// The given state, inertial.
void inertial_state(PositionFile& given, double mjd, Vector3& pos, Vector3& vel) {
    TimedPosition& first = given.rows.front();
    pos = first.position;
    vel = *first.velocity;
    if (!given.inertial)
        ecf2eci(mjd, getLeapSecond(mjd), first.position.data(), first.velocity->data(), pos.data(), vel.data());
    check_orbit_state("--state", pos, vel);
}

void summarise(const PositionFile& given, const Dynamics& dynamics, const std::vector<TrajectoryPoint>& points,
               Summary& summary) {
    const TrajectoryPoint& last = points.back();
    const auto state = [&](const char* name, const double* position, const double* velocity) {
        summary.set("last_state/" + std::string(name) + "_position_m", std::vector<double>(position, position + 3));
        summary.set("last_state/" + std::string(name) + "_velocity_mps", std::vector<double>(velocity, velocity + 3));
    };
    summary.set("frame", "earth-fixed (ITRF) and GCRS");
    summary.set("time_scale", "GPST");
    summary.set_time("span/first", gtimeChangeTimeSystem(points.front().utc, tsGPST));
    summary.set_time("span/last", gtimeChangeTimeSystem(last.utc, tsGPST));
    summary.set("epochs/count", points.size());
    if (!given.form.empty()) summary.set("state_source", given.text());
    state("earth_fixed", last.pos_ecf, last.vel_ecf);
    state("gcrs", last.pos_eci, last.vel_eci);
    summarise_dynamics(dynamics, summary);
    summarise_environment(dynamics.environment, points.front().utc, summary);
}

void print_result(const PropagateOptions& o, const std::optional<Truth>& truth, const PositionFile& given,
                  const Dynamics& dynamics, const std::vector<TrajectoryPoint>& points, Summary& summary) {
    const GTime start = gtimeChangeTimeSystem(points.front().utc, tsGPST);
    const TrajectoryPoint& last = points.back();
    std::printf("leopod propagate: %s to %s GPST, %zu epochs\n", time_text(start).c_str(),
                time_text(gtimeChangeTimeSystem(last.utc, tsGPST)).c_str(), points.size());
    if (!given.form.empty()) std::printf("state: %s: %s\n", o.state.front().c_str(), given.text().c_str());
    print_dynamics(dynamics);
    std::printf("last state, earth-fixed: %.4f %.4f %.4f m, %.7f %.7f %.7f m/s\n", last.pos_ecf[0], last.pos_ecf[1],
                last.pos_ecf[2], last.vel_ecf[0], last.vel_ecf[1], last.vel_ecf[2]);
    if (!truth) return;
    std::vector<PositionError> errors;
    for (const TrajectoryPoint& p : points) {
        PositionError error{};
        if (truth->error_at(gtimeChangeTimeSystem(p.utc, tsGPST), p.pos_ecf, error)) errors.push_back(error);
    }
    const ErrorStatistics s = statistics(errors);
    summary.set("errors/reference", truth->source());
    summarise_errors("errors/orbit", s, false, summary);
    std::printf("errors against %s: epochs %zu, 3D rms %.4f, largest %.4f m\n", o.truth.c_str(), s.count, s.rms,
                s.largest);
}

void write_files(const PropagateOptions& o, Dynamics& dynamics, const std::vector<TrajectoryPoint>& points) {
    if (!o.out.empty()) write_trajectory(o.out, points);
    say_written("trajectory", o.out);
    if (o.orbit.wanted()) {
        write_orbit(o.orbit, ephemeris_of(at_whole_seconds(dynamics, points), dynamics.config->output_interval, "EXT",
                                          "ORBIT PROPAGATED FROM ONE STATE"));
    }
    if (!o.rows_out.empty()) {
        const long rows = write_rows(o, dynamics, points);
        say_written("rows", o.rows_out, " (" + std::to_string(rows) + ")");
    }
}

/// Propagates and returns the exit status 0. Throws InputError.
int propagate(const PropagateOptions& options) {
    const FilePlan plan = check_files(options);
    check_options(options);
    Console console(options.dynamics.log_level);
    PositionFile given = given_state(options);
    const PropagateOptions o = with_duration(options, given.rows.front().time);
    if (given.rows.front().time.time.mjd < 41684) throw InputError("--state: an epoch from 1973 on is expected");
    const GTime start = gtimeChangeTimeSystem(given.rows.front().time, tsUTC);
    const double mjd = gtime2mjd(start);
    Dynamics dynamics;
    prepare(o, mjd, given, dynamics);
    const GTime first = gtimeChangeTimeSystem(start, tsGPST);
    const std::optional<Truth> truth =
        Truth::of_arc(o.truth, first, first, gtimeAddSec(first, o.duration), o.orbit.satellite, given.inertial);
    Vector3 pos{}, vel{};
    inertial_state(given, mjd, pos, vel);
    print_shortcomings(dynamics);
    const std::vector<TrajectoryPoint> points = integrate(dynamics, start, pos.data(), vel.data(), o.duration);
    Summary summary = begin_summary("propagate", o.summary, plan);
    summarise(given, dynamics, points, summary);
    print_result(o, truth, given, dynamics, points, summary);
    write_files(o, dynamics, points);
    console.messages().print(stdout, {});
    summarise_messages(console.messages(), {}, summary);
    const bool whole = gtimeSubSec(points.back().utc, start) > o.duration - dynamics.config->output_interval - 1e-3;
    if (!whole) std::printf("THE ORBIT ENDS BEFORE THE ARC: it meets the ground or leaves the Earth\n");
    print_shortcomings(dynamics);
    const int status = whole && dynamics.shortcomings.empty() ? 0 : 1;
    summary.write(status);
    return status;
}

}  // namespace

void add_propagate(Command app, Action& action) {
    auto o = std::make_shared<PropagateOptions>();
    Command command = app.add_subcommand("propagate", "A state in, a trajectory out");
    command.add_option("--epoch,--from", o->epoch,
                       "epoch of the state, such as 2021-01-18T00:00:00, or second of a file's first day; without it "
                       "the first one of the file");
    add_time_scale(command, o->time_scale, "its time scale, and that of a CSV");
    command
        .add_option("--state", o->state, "x y z vx vy vz in m and m/s, or a file: CSV, SP3 or OEM with velocities, OPM")
        .expected(1, 6)
        .required();
    add_frame(command, o->frame, "its frame, and that of a CSV");
    const Option duration =
        command.add_option("--duration", o->duration, "length of the arc in seconds").capture_default_str();
    command
        .add_option(
            "--to", o->to,
            "instead: end of the arc, not in it: second of the first day, or a time such as 2021-01-18T00:00:00, in "
            "that time scale")
        .excludes(duration);
    command
        .add_option("--interval", o->interval,
                    "spacing of the trajectory in seconds; without it the configuration's output interval")
        .positive();
    add_dynamics(command, o->dynamics);
    add_truth(command, o->truth);
    command.add_option("--out", o->out, "CSV of the trajectory, both frames");
    add_orbit_outputs(command, o->orbit, "the trajectory", "a state in SP3 or OEM");
    add_summary(command, o->summary);
    command.add_option("--rows-out", o->rows_out, "rows of simulated motion (mot), without the ends of the arc");
    command.add_option("--rows-interval", o->rows_interval, "spacing of these rows in seconds").capture_default_str();
    command.callback([o, &action] { action = [o] { return propagate(*o); }; });
}

}  // namespace host
