#include "stores/dynamics.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <utility>

#include "earth_gravity.h"
#include "inputs/config_check.h"
#include "inputs/kinds.h"
#include "inputs/open.h"
#include "mathlib.h"
#include "shared/console.h"
#include "shared/earth.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/times.h"
#include "stores/orientation.h"
#include "stores/planets.h"

namespace host {

namespace {

constexpr double kGround = 6.35e6, kFarthest = 2e9;  ///< an orbit ends there [m]

/// Looks through a coefficient file as far as the library reads it; returns the degree to which it is complete.
long check_gravity(const std::string& file) {
    check_kind(file, "gravity coefficient file", {Kind::gravity});
    std::ifstream in = open_input(file, "gravity coefficient file");
    std::vector<bool> given(MAXSIZE_GRAVITY, false);
    std::string line;
    bool found = false;
    for (int i = 0; (found || i < 100) && std::getline(in, line); ++i) {
        int n = 0, m = 0;
        double c = 0;
        if (std::sscanf(line.c_str(), "%d %d %lf", &n, &m, &c) != 3) continue;
        found = true;
        if (n > MAXDEGREE_GRAVITY || m > MAXDEGREE_GRAVITY) break;
        if (n >= 0 && m >= 0 && m <= n)
            given[static_cast<std::size_t>(n) * static_cast<std::size_t>(n + 1) / 2 + static_cast<std::size_t>(m)] =
                true;
    }
    if (!found) throw InputError(file + ": is not a gravity coefficient file (degree, order, C, S)");
    long degree = 2;
    while (degree <= MAXDEGREE_GRAVITY) {
        const auto first = given.begin() + degree * (degree + 1) / 2;
        if (!std::all_of(first, first + degree + 1, [](bool there) { return there; })) break;
        ++degree;
    }
    return degree - 1;
}

/// The reader of coefficients also writes a listing under testdata/ of the working directory; it runs in a scratch directory so that
/// nothing is left behind.
void load_gravity(const std::string& file) {
    const std::string absolute = std::filesystem::absolute(loadable(file)).string();
    const std::filesystem::path here = std::filesystem::current_path();
    std::string pattern = (std::filesystem::temp_directory_path() / "leopod_XXXXXX").string();
    const char* scratch = mkdtemp(pattern.data());
    std::error_code ignored;
    if (scratch != nullptr) {
        std::filesystem::create_directory(std::filesystem::path(scratch) / "testdata", ignored);
        std::filesystem::current_path(scratch, ignored);
    }
    const bool ok = load_earth_coef_EGM(writable(absolute));
    std::filesystem::current_path(here, ignored);
    if (scratch != nullptr) std::filesystem::remove_all(scratch, ignored);
    if (!ok) throw InputError(file + ": this gravity coefficient file could not be read");
}

/// Earth orientation against the arc. One that serves nothing of it is refused.
void hold_orientation(double mjd_first, double mjd_last, bool earth_fixed, Dynamics& dynamics) {
    const std::string lacking = orientation_shortcoming(mjd_first, mjd_last, dynamics.environment);
    if (!lacking.empty()) (earth_fixed ? dynamics.shortcomings : dynamics.notes).push_back(lacking);
}

/// Planets against the arc and the bodies that are asked for.
void hold_planets(double mjd_first, double mjd_last, bool from_file, Dynamics& dynamics) {
    const ORBIT_DYN_CONFIG& config = *dynamics.config;
    const auto uses = [&config](ForceModel force) {
        return std::find(config.force_model_used, config.force_model_used + config.num_force_models, force) !=
               config.force_model_used + config.num_force_models;
    };
    const std::string lacking = planet_shortcoming(mjd_first, mjd_last);
    if (!lacking.empty()) dynamics.shortcomings.push_back(lacking);
    if (from_file || !uses(FM_ThirdBody) || dynamics.environment.planet_source.find("analytic") == std::string::npos)
        return;
    const long others = std::count_if(config.planets, config.planets + config.num_planets,
                                      [](PLANET_JPL body) { return body != SUN && body != MOON; });
    if (others > 0)
        dynamics.notes.push_back("no ephemeris of " + std::to_string(others) +
                                 " of the bodies (--jpl): left out, of Sun and Moon alone there are series");
}

}  // namespace

void load_gravity_field(const std::string& file, Dynamics& dynamics) {
    initialize_global_earth_gravity();
    dynamics.gravity_source = "built-in field of degree 30";
    dynamics.gravity_degree = 30;
    if (file.empty()) return;
    dynamics.gravity_degree = check_gravity(file);
    load_gravity(file);
    dynamics.gravity_source = "file " + file;
}

void read_force_models(const DynamicsOptions& options, Dynamics& dynamics) {
    const std::string& file = options.dynamics;
    check_dynamics_config(file);
    ORBIT_DYN_CONFIG& config = *dynamics.config;
    readfile_orbitdynamics_config(loadable(file), &config);
    if (config.norder_gravity > dynamics.gravity_degree) {
        throw InputError(file + ": asks for degree " + std::to_string(config.norder_gravity) + ", the " +
                         dynamics.gravity_source + " is complete to degree " + std::to_string(dynamics.gravity_degree) +
                         (dynamics.gravity_degree == 30 ? "; a coefficient file is needed (--gravity)" : ""));
    }
}

void prepare_dynamics(const DynamicsOptions& options, double mjd_first, double mjd_last, bool earth_fixed,
                      Dynamics& dynamics) {
    if (options.dynamics.empty()) throw InputError("no dynamics configuration file is given (--dynamics)");
    load_gravity_field(options.gravity, dynamics);
    read_force_models(options, dynamics);
    load_earth_orientation(options.eop, options.eop_format, dynamics.environment);
    load_planets(options.jpl, mjd_first, mjd_last, dynamics.environment);
    tabulate_analytic_planets(mjd_first, mjd_last, dynamics.environment);
    hold_tables(mjd_first, mjd_last, earth_fixed, !options.jpl.empty(), dynamics);
}

void hold_tables(double mjd_first, double mjd_last, bool earth_fixed, bool planets_from_file, Dynamics& dynamics) {
    hold_orientation(mjd_first, mjd_last, earth_fixed, dynamics);
    hold_planets(mjd_first, mjd_last, planets_from_file, dynamics);
}

void check_parameters(const std::string& file, const ORBIT_DYN_CONFIG& config, double span) {
    double pieces = 0;
    for (int i = 0; i < config.emp_param_num_base; ++i) {
        const EMP_PARAM_BASE& kind = config.emp_params_base[i];
        if (kind.fm != FM_EMP)
            throw InputError(file + ": " + kind.name_param +
                             " belongs to a force without a model and can't be estimated");
        pieces += std::floor(span / kind.interval) + 1.0;
    }
    if (!(pieces < static_cast<int>(MAXNUM_FM_PARM_EMP))) {
        char text[160];
        std::snprintf(text, sizeof text,
                      ": %.0f pieces of empirical accelerations over %.0f s, fewer than %d are possible", pieces, span,
                      static_cast<int>(MAXNUM_FM_PARM_EMP));
        throw InputError(file + text + "; longer pieces are needed (NAME:SECONDS)");
    }
}

void check_steps(const std::string& file, const ORBIT_DYN_CONFIG& config, double radius, double span) {
    constexpr double kMostEpochs = 1e7;
    const double longest = 2.0 * M_PI * std::sqrt(radius * radius * radius / kEarthGm) / 18.0;
    char text[160];
    if (config.step_size > longest) {
        std::snprintf(text, sizeof text,
                      ": an Integration_Step_Size of %g s is too long for an orbit at %.0f km, at most %.0f s",
                      config.step_size, 1e-3 * radius, longest);
        throw InputError(file + text);
    }
    if (span / config.output_interval > kMostEpochs || span / config.step_size > kMostEpochs) {
        std::snprintf(text, sizeof text, ": %.0f s in steps of %g s, output every %g s: more than 10 million epochs",
                      span, config.step_size, config.output_interval);
        throw InputError(file + text);
    }
}

TIMESYS time_system(const std::string& name) {
    if (name == "gpst") return tsGPST;
    if (name == "utc") return tsUTC;
    if (name == "tai") return tsTAI;
    if (name == "tt") return tsTT;
    throw InputError("time scale " + name + ": one of gpst, utc, tai, tt is expected");
}

GTime parse_epoch(const std::string& text, TIMESYS system) { return parse_date("--epoch", text, system, 1973, 2099); }

bool is_inertial(const std::string& frame) {
    if (frame == "eci") return true;
    if (frame == "ecef") return false;
    throw InputError("frame " + frame + ": ecef or eci is expected");
}

std::vector<TrajectoryPoint> integrate(Dynamics& dynamics, const GTime& start, const double* pos_eci,
                                       const double* vel_eci, double duration) {
    ORBIT_DYN_CONFIG& config = *dynamics.config;
    STATE_SPACECRAFT& state = *dynamics.state;
    const int status = config.status_derivative;
    const int nstate = config.nstate;
    config.status_derivative = 0;  // the motion alone
    config.nstate = 6;
    g_orbitdyn_config = &config;
    g_satellite_state = &state;
    state.utc_start = start;
    state.sec_since_start = 0.0;
    std::copy_n(pos_eci, 3, state.pos_eci);
    std::copy_n(vel_eci, 3, state.vel_eci);
    const double interval = config.output_interval;
    const long count = static_cast<long>(std::floor(duration / interval + 1e-9)) + 1;
    std::vector<TrajectoryPoint> points;
    double y[6];
    double step = config.step_size;
    convert_struct2ystate(6, &config, &state, y);
    Progress progress("integrating", static_cast<double>(count));
    for (long i = 0; i < count; ++i) {
        progress.done(static_cast<double>(i));
        const double t = static_cast<double>(i) * interval;
        if (i > 0) IntegrateTo(orbit_derivative, 6, t - interval, y, &step, t, nullptr);  // fixed step
        convert_ystate2struct(6, y, &config, &state);
        state.sec_since_start = t;
        compute_acc_all(&config, &state);
        TrajectoryPoint point{};
        point.utc = gtimeAddSec(start, t);
        std::copy_n(state.pos_eci, 3, point.pos_eci);
        std::copy_n(state.vel_eci, 3, point.vel_eci);
        std::copy_n(state.acc_eci, 3, point.acc_eci);
        const double mjd = gtime2mjd(point.utc);
        eci2ecf(mjd, getLeapSecond(mjd), point.pos_eci, point.vel_eci, point.pos_ecf, point.vel_ecf);
        points.push_back(point);
        // In the depth of the Earth's point mass the steps would become ever shorter.
        const double radius = std::hypot(state.pos_eci[0], state.pos_eci[1], state.pos_eci[2]);
        if (!(radius > kGround && radius < kFarthest)) break;
    }
    config.status_derivative = status;
    config.nstate = nstate;
    return points;
}

void write_trajectory(const std::string& file, const std::vector<TrajectoryPoint>& points) {
    OutputFile out(file);
    std::fprintf(out,
                 "epoch_gpst,mjd_gpst,sod_gpst,x_ecef_m,y_ecef_m,z_ecef_m,vx_ecef_mps,vy_ecef_mps,vz_ecef_mps,"
                 "x_gcrs_m,y_gcrs_m,z_gcrs_m,vx_gcrs_mps,vy_gcrs_mps,vz_gcrs_mps\n");
    for (const TrajectoryPoint& p : points) {
        const GTime gpst = gtimeChangeTimeSystem(p.utc, tsGPST);
        std::fprintf(out, "%s,%s", time_text(gpst, 6).c_str(), mjd_sod_text(gpst, 9).c_str());
        for (double v : p.pos_ecf) std::fprintf(out, ",%.5f", v);
        for (double v : p.vel_ecf) std::fprintf(out, ",%.8f", v);
        for (double v : p.pos_eci) std::fprintf(out, ",%.5f", v);
        for (double v : p.vel_eci) std::fprintf(out, ",%.8f", v);
        std::fprintf(out, "\n");
    }
    out.close();
}

std::vector<TrajectoryPoint> at_whole_seconds(Dynamics& dynamics, std::vector<TrajectoryPoint> points) {
    constexpr double kNear = 1e-3;  ///< over such a time a state is carried by its derivatives [s]
    TrajectoryPoint first = points.front();
    const double second = gtimeChangeTimeSystem(first.utc, tsGPST).time.sod;
    if (std::fabs(std::remainder(second, 1.0)) < 1e-9) return points;
    double& interval = dynamics.config->output_interval;
    const double duration = gtimeSubSec(points.back().utc, first.utc);
    double shift = -std::remainder(second, interval);
    if (std::fabs(shift) <= kNear) {
        for (std::size_t k = 0; k < 3; ++k) {
            first.pos_eci[k] += shift * (first.vel_eci[k] + 0.5 * shift * first.acc_eci[k]);
            first.vel_eci[k] += shift * first.acc_eci[k];
        }
    } else {
        if (shift < 0.0) shift += interval;
        const double given = std::exchange(interval, shift);
        const TrajectoryPoint moved = integrate(dynamics, first.utc, first.pos_eci, first.vel_eci, shift).back();
        interval = given;
        first = moved;
    }
    GTime start = gtimeChangeTimeSystem(points.front().utc, tsGPST);
    start.time.sod = std::round(second + shift);
    TimeMjd_normalise(&start.time);
    return integrate(dynamics, gtimeChangeTimeSystem(start, tsUTC), first.pos_eci, first.vel_eci,
                     std::max(0.0, duration - shift));
}

Ephemeris ephemeris_of(const std::vector<TrajectoryPoint>& points, double interval, const std::string& type,
                       const std::string& comment, const std::vector<Covariance>& covariances) {
    Ephemeris e;
    e.interval = interval;
    e.type = type;
    e.comments = {comment, "BY A DYNAMIC MODEL. EARTH-FIXED POSITIONS, TIMES IN GPST."};
    e.oem_comments = {comment, "BY A DYNAMIC MODEL."};
    if (!covariances.empty())
        e.oem_comments.emplace_back("COVARIANCES FORMAL, WITH WHAT RESIDUALS SHARE WITH THEIR NEIGHBOURS.");
    for (const TrajectoryPoint& p : points) {
        const GTime gpst = gtimeChangeTimeSystem(p.utc, tsGPST);
        const auto vector = [](const double* v) { return Vector3{v[0], v[1], v[2]}; };
        TimedPosition fixed{gpst, vector(p.pos_ecf), vector(p.vel_ecf)};
        if (e.fixed.size() < covariances.size()) fixed.covariance = covariances[e.fixed.size()];
        e.fixed.add(fixed);
        e.inertial.add({gpst, vector(p.pos_eci), vector(p.vel_eci)});
    }
    return e;
}

namespace {

using Axes = double (TrajectoryPoint::*)[3];

/// Three components of a trajectory at a time, by a polynomial through twelve points. False outside.
bool interpolate(const std::vector<TrajectoryPoint>& points, const GTime& utc, Axes axes, double* values) {
    constexpr std::size_t kWindow = 12;
    const std::size_t n = points.size();
    if (n < kWindow) return false;
    const double t = gtimeSubSec(utc, points.front().utc);
    const double interval = gtimeSubSec(points[1].utc, points.front().utc);
    if (t < -1e-6 || t > interval * static_cast<double>(n - 1) + 1e-6) return false;
    const std::size_t below = static_cast<std::size_t>(std::max(0.0, t / interval));
    const std::size_t first = std::min(below > kWindow / 2 ? below - kWindow / 2 : 0, n - kWindow);
    double x[kWindow];
    double y[kWindow];
    for (std::size_t k = 0; k < 3; ++k) {
        for (std::size_t i = 0; i < kWindow; ++i) {
            x[i] = interval * static_cast<double>(first + i) - t;
            y[i] = (points[first + i].*axes)[k];
        }
        values[k] = interpolation_Lagrange(x, y, static_cast<int>(kWindow), 0.0);
    }
    return true;
}

}  // namespace

bool interpolate_ecf(const std::vector<TrajectoryPoint>& points, const GTime& utc, double* position) {
    return interpolate(points, utc, &TrajectoryPoint::pos_ecf, position);
}

bool interpolate_eci(const std::vector<TrajectoryPoint>& points, const GTime& utc, double* position, double* velocity) {
    return interpolate(points, utc, &TrajectoryPoint::pos_eci, position) &&
           interpolate(points, utc, &TrajectoryPoint::vel_eci, velocity);
}

void print_dynamics(const Dynamics& dynamics) {
    const ORBIT_DYN_CONFIG& config = *dynamics.config;
    static const char* names[] = {"",         "earth gravity",   "third bodies",    "relativity", "",
                                  "",         "solar radiation", "earth radiation", "drag",       "ECOM",
                                  "empirical"};
    std::printf("forces:");
    for (int i = 0; i < config.num_force_models; ++i) {
        const int fm = config.force_model_used[i];
        std::printf("%s %s", i != 0 ? "," : "", fm > 0 && fm <= FM_EMP ? names[fm] : "unknown");
        if (fm == FM_EarthGravity)
            std::printf(" (degree %d, %s%s)", config.norder_gravity, dynamics.gravity_source.c_str(),
                        config.ocean_tide ? "; ocean tide listed, no model: no effect" : "");
        if (fm == FM_ThirdBody) std::printf(" (%d)", config.num_planets);
        if (fm == FM_SRP || fm == FM_ERP || fm == FM_Drag) std::printf(" (listed, no model: no effect)");
    }
    std::printf("\nearth orientation: %s\nplanets: %s\n", dynamics.environment.eop_source.c_str(),
                dynamics.environment.planet_source.c_str());
    std::printf("integration: step %g s, output every %g s\n", config.step_size, config.output_interval);
}

void print_shortcomings(const Dynamics& dynamics) {
    for (const std::string& text : dynamics.shortcomings) std::printf("%s\n", text.c_str());
    for (const std::string& text : dynamics.notes) std::printf("note: %s\n", text.c_str());
}

}  // namespace host
