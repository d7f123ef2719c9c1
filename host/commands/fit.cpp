#include "commands/fit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <memory>
#include <optional>

#include "commands/command.h"
#include "commands/fit_report.h"
#include "commands/options.h"
#include "commands/summaries.h"
#include "estimation/position_fit.h"
#include "estimation/weighted_fit.h"
#include "inputs/orbit_check.h"
#include "inputs/truth.h"
#include "pictures/canvas.h"
#include "shared/console.h"
#include "shared/error.h"
#include "stores/loading.h"

namespace host {

namespace {

/// Before the first leap second there is no UTC to convert to; a table without dates counts from MJD 0.
void check_date(const std::string& file, const GTime& time) {
    if (time.time.mjd >= 41500) return;
    throw InputError(file +
                     (time.time.mjd < 400
                          ? ": the positions have no dates: a column of times such as 2021-01-18T00:00:00, or columns "
                            "mjd and sod, are needed"
                          : ": dates before 1972 cannot be processed (no leap seconds)"));
}

/// The file, and its positions in UTC, cut to the span and thinned.
PositionFile load_positions(const FitOptions& o) {
    PositionRequest request;
    request.inertial = is_inertial(o.frame);
    request.columns = request.inertial ? inertial_columns() : solution_columns(o.solution);
    request.scale = time_system(o.time_scale);
    request.satellite = o.orbit.satellite;
    PositionFile file = read_positions(o.positions, request);
    std::vector<TimedPosition>& all = file.rows;
    const ArcSpan span(o.span, all.front().time, file.scale);
    std::vector<TimedPosition> kept;
    for (TimedPosition& row : all) {
        if (!span.has(row.time)) continue;
        check_date(o.positions, row.time);
        row.time = gtimeChangeTimeSystem(row.time, tsUTC);
        kept.push_back(row);
    }
    if (kept.size() < kFewestPositions) {
        throw InputError(o.positions + ": " + std::to_string(kept.size()) + " positions in the span, at least " +
                         std::to_string(kFewestPositions) + " are needed");
    }
    check_orbit_positions(o.positions, kept);
    file.rows = std::move(kept);
    return file;
}

/// Positions in the inertial frame; `as_inertial` takes them as such whatever the file says.
std::vector<Vector3> inertial_positions(const std::vector<TimedPosition>& rows, bool as_inertial) {
    std::vector<Vector3> eci;
    for (const TimedPosition& row : rows) {
        Vector3 position = row.position;
        if (!as_inertial) {
            const double mjd = gtime2mjd(row.time);
            Vector3 fixed = row.position;
            ecf2eci(mjd, getLeapSecond(mjd), fixed.data(), nullptr, position.data(), nullptr);
        }
        eci.push_back(position);
    }
    return eci;
}

/// Covariance of a position in the inertial frame; zero where the file has none.
std::array<double, 9> inertial_covariance(const TimedPosition& row, bool inertial) {
    std::array<double, 9> result{};
    if (!row.covariance) return result;
    double turn[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};  // rows: the axes of the file
    const double mjd = gtime2mjd(row.time);
    for (auto& axis : turn) {
        double fixed[3] = {axis[0], axis[1], axis[2]};
        if (!inertial) ecf2eci(mjd, getLeapSecond(mjd), fixed, nullptr, axis, nullptr);
    }
    for (std::size_t i = 0; i < 9; ++i) {
        for (std::size_t k = 0; k < 3; ++k) {
            for (std::size_t l = 0; l < 3; ++l) result[i] += turn[k][i / 3] * (*row.covariance)[k][l] * turn[l][i % 3];
        }
    }
    return result;
}

/// A-priori deviation of the radial offset that is estimated with the orbit [m]; 0 where none is: positions of a receiver are those of its
/// antenna, whose height only a good motion over some revolutions tells from the orbit's.
double offset_sigma(const AntennaOptions& antenna, const PositionFile& file, double span,
                    const ORBIT_DYN_CONFIG& config) {
    constexpr int kGoodDegree = 60;
    constexpr double kLongEnough = 10000.0, kSigma = 0.5;
    bool radial = false;
    for (int i = 0; i < config.emp_param_num_base; ++i)
        radial = radial || std::string(config.emp_params_base[i].name_param) == "R0";
    if (antenna.sigma >= 0.0 || !antenna.offset.empty()) return std::max(antenna.sigma, 0.0);
    const bool of_receiver = !file.rows.front().status.empty();
    return of_receiver && !radial && config.norder_gravity >= kGoodDegree && span > kLongEnough ? kSigma : 0.0;
}

/// Positions with what the file says about their worth.
FitPositions make_positions(const PositionFile& file, const AntennaOptions& antenna, const ORBIT_DYN_CONFIG& config) {
    FitPositions positions;
    for (const TimedPosition& row : file.rows) {
        positions.utc.push_back(row.time);
        positions.covariance.push_back(inertial_covariance(row, file.inertial));
        positions.aside.push_back(row.status == "OK" ? "" : row.status);
    }
    positions.eci = inertial_positions(file.rows, file.inertial);
    positions.offset_sigma = offset_sigma(antenna, file, positions.span(), config);
    return positions;
}

/// Loads what the forces need and holds it against the arc.
void prepare(const FitOptions& o, const PositionFile& file, Dynamics& dynamics) {
    const GTime start = file.rows.front().time, end = file.rows.back().time;
    const bool earth_fixed = !file.inertial || !o.truth.empty() || o.orbit.wanted() || !o.laser.crd.empty();
    prepare_dynamics(o.dynamics, gtime2mjd(start), gtime2mjd(end), earth_fixed, dynamics);
    const ORBIT_DYN_CONFIG& config = *dynamics.config;
    const double span = gtimeSubSec(end, start);
    if (span < 17.0 * config.output_interval)
        throw InputError(o.positions + ": the span of the positions is shorter than 17 output intervals");
    const Vector3& p = file.rows.front().position;
    check_steps(o.dynamics.dynamics, config, std::hypot(p[0], p[1], p[2]), span);
    check_parameters(o.dynamics.dynamics, config, span);
}

std::optional<Truth> load_truth(const FitOptions& o, const PositionFile& file) {
    // A receive time a hair before midnight belongs to the day that begins.
    const GTime day = gtimeAddSec(gtimeChangeTimeSystem(file.rows.front().time, tsGPST), 1.0);
    return Truth::of_arc(o.truth, day, file.rows.front().time, file.rows.back().time, o.orbit.satellite, file.inertial);
}

/// The offset of the receiver's antenna, with the attitude that it may need.
AntennaOffset load_antenna(const FitOptions& o, Dynamics& dynamics) {
    InputOptions inputs;
    inputs.att = o.att;
    load_attitude(inputs, dynamics.environment);
    return AntennaOffset(o.antenna);
}

/// Laser ranges against the fitted orbit.
void check_laser(const FitOptions& o, const FitResult& result, Summary& summary) {
    if (o.laser.crd.empty()) return;
    const auto state = [&](const GTime& gpst, Eigen::Vector3d& position, Eigen::Vector3d& velocity) {
        return interpolate_eci(result.orbit, gtimeChangeTimeSystem(gpst, tsUTC), position.data(), velocity.data());
    };
    summarise_laser(check_against_laser(o.laser, state), summary);
}

FilePlan check_files(const FitOptions& o) {
    check_antenna(o.antenna, !o.att.empty());
    if (!o.att.empty() && o.antenna.axes != "platform")
        throw InputError("--att serves an --antenna-offset in platform axes (--antenna-axes platform)");
    FilePlan plan;
    plan.in("--positions", o.positions).in("--truth", o.truth).in("--att", o.att);
    plan_orbit_outputs(o.orbit, plan);
    plan_dynamics(o.dynamics, plan);
    plan_laser(o.laser, plan);
    plan.out("--out", o.out).out("--residuals", o.residuals);
    plan.out("--parameters", o.parameters)
        .out("--history", o.history)
        .out("--plot", o.plot)
        .out("--summary", o.summary)
        .check();
    return plan;
}

}  // namespace

int fit(const FitOptions& o) {
    const FilePlan plan = check_files(o);
    if (!o.plot.empty()) check_picture_name("--plot", o.plot);
    check_laser_options(o.laser);
    Console console(o.dynamics.log_level);
    PositionFile file = load_positions(o);
    Dynamics dynamics;
    prepare(o, file, dynamics);
    const std::optional<Truth> truth = load_truth(o, file);
    const AntennaOffset antenna = load_antenna(o, dynamics);
    move_to_centre_of_mass(antenna, file);
    const FitPositions positions = make_positions(file, o.antenna, *dynamics.config);
    print_fit_input(o, file, positions, antenna, dynamics);

    FitResult result;
    result.failure =
        doubt_about_motion(positions.utc, positions.eci, inertial_positions(file.rows, !file.inertial), file.inertial);
    if (result.failure.empty()) {
        result = o.weights == "unit" ? fit_with_unit_weights(o.positions, positions, dynamics, console)
                                     : fit_with_weights(positions, dynamics);
    }
    const std::string doubt = doubt_about(result, positions);
    print_fit_result(result, doubt);
    Summary summary = begin_summary("fit", o.summary, plan);
    summarise_fit(file, antenna, dynamics, result, doubt, summary);
    bool complete = true;
    if (!result.orbit.empty()) {
        if (truth) print_fit_errors(o, *truth, result, file, summary);
        check_laser(o, result, summary);
        complete = write_fit(o, result, file, antenna, dynamics);
    }
    console.messages().print(stdout, {});
    summarise_messages(console.messages(), {}, summary);
    print_shortcomings(dynamics);
    const int status = doubt.empty() && dynamics.shortcomings.empty() && complete ? 0 : 1;
    summary.write(status);
    return status;
}

void add_fit(Command app, Action& action) {
    auto o = std::make_shared<FitOptions>();
    Command command = app.add_subcommand("fit", "A dynamic orbit through a list of positions");
    command
        .add_option("--positions", o->positions,
                    "CSV (time, x, y, z in metres; also the output of run), SP3 or OEM file")
        .required();
    add_frame(command, o->frame, "frame of the positions of a CSV");
    add_time_scale(command, o->time_scale, "time scale of a CSV whose columns don't name one");
    command.add_option("--solution", o->solution, "columns of a file of run: filter or point")
        .one_of({"filter", "point"})
        .capture_default_str();
    command
        .add_option("--weights", o->weights,
                    "robust: covariances where the file has them, outliers and restarts left out; unit: all alike")
        .one_of({"robust", "unit"})
        .capture_default_str();
    add_span(command, o->span, "positions");
    add_dynamics(command, o->dynamics);
    add_antenna(command, o->antenna, true);
    command.add_option("--att", o->att, "attitude quaternion file for an offset in platform axes; may be repeated");
    add_truth(command, o->truth);
    add_laser(command, o->laser);
    command.add_option("--out", o->out, "CSV of the fitted trajectory, both frames");
    add_summary(command, o->summary);
    add_orbit_outputs(command, o->orbit, "the fitted trajectory", "positions in SP3 or OEM");
    command.add_option("--residuals", o->residuals, "CSV of the residuals along, radial, cross");
    command.add_option("--parameters", o->parameters, "CSV of the estimated parameters with their names");
    command.add_option("--history", o->history, "CSV of the iterations");
    command.add_option("--plot", o->plot, "SVG or PNG of the residuals");
    command.callback([o, &action] { action = [o] { return fit(*o); }; });
}

}  // namespace host
