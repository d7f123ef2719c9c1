/// \file orbit_dynamics.cpp
/// Orbit dynamics: configuration and parameter registry, spacecraft state with variational equations, force models,
/// numerical integration, orbit fit, configuration file and drivers.
///
/// The flat state vector y of the integrators, np force parameters:
///
///     0..2 position   3..5 velocity   6..41 PHI, row-major 6x6   42.. S, row-major 6 x np
///
/// The record STATE_SPACECRAFT keeps S with a row stride of 900; column c of S belongs to name c + 6 of the registry.
#include "orbit_dynamics.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <utility>

#include "attitude.h"
#include "common_function.h"
#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "mathlib.h"
#include "private/constants.h"
#include "private/earth_rotation.h"
#include "private/estimation.h"
#include "private/lines.h"
#include "private/memory.h"
#include "private/numbers.h"
#include "private/nutation.h"
#include "private/print.h"
#include "private/registers.h"
#include "private/report.h"
#include "private/text.h"

using namespace leopod;

ORBIT_DYN_CONFIG* g_orbitdyn_config = nullptr;
STATE_SPACECRAFT* g_satellite_state = nullptr;
char name_emp_param_all[24][20] = {"D0",  "Y0", "B0", "DC", "DS", "DC2", "DS2", "YC", "YS", "BC", "BS", "BC2",
                                   "BS2", "A0", "C0", "R0", "AS", "CS",  "RS",  "AC", "CC", "RC", "Cd", "Cr"};

namespace {

constexpr const char* kModule = "orbit_dynamics";
constexpr int kStateNames = 6;                                  ///< PX to VZ
constexpr int kMaxNames = MAXNUM_FM_PARAM_TOTAL + kStateNames;  ///< settled: the registry's test counts the state too
constexpr int kColumns = MAXNUM_FM_PARAM_TOTAL;                 ///< row stride of S, dS, dadp
constexpr int kMotion = 42;                                     ///< position, velocity, PHI in a flat vector
constexpr int kMaxIntervalNumber = 999;                         ///< three digits in a name
constexpr double kAstronomicalUnit = 149597870000.0;            ///< [m]
constexpr double kEmpiricalUnit = 1e-9;                         ///< unit of the estimated accelerations [m/s^2]

[[noreturn]] void stop() { std::exit(EXIT_FAILURE); }

// The loaders take writable names but only read them.
char* name_of(const char* text) { return const_cast<char*>(text); }

int force_count(const ORBIT_DYN_CONFIG* config) { return std::clamp(config->num_force_models, 0, 11); }

bool has_record(ForceModel fm) { return fm > FM_UKN && fm < FM_TOTAL; }

/// Parameters of one active force, whichever record holds them.
struct Parameters {
    int num;
    double* value;
    const double (*life)[2];
    const int* idx_global;
};

Parameters parameters_of(ORBIT_DYN_CONFIG* config, ForceModel fm) {
    if (fm == FM_EMP) {
        PARAM_FM_EMP& p = config->force_model_emp_parameters;
        return {std::clamp<int>(p.num, 0, MAXNUM_FM_PARM_EMP), p.param, p.param_life, p.idx_global};
    }
    if (!has_record(fm)) return {0, nullptr, nullptr, nullptr};
    PARAM_FM& p = config->force_model_parameters[fm];
    return {std::clamp<int>(p.num, 0, MAXNUM_FM_PARM), p.param, p.param_life, p.idx_global};
}

/// Column of a registry index in S and dadp; -1 for one of the state or one that the table does not hold.
int column_of(int idx_global) {
    const int column = idx_global - kStateNames;
    return column >= 0 && column < kColumns ? column : -1;
}

/// Position, velocity and matrices at rest, the six names of the state registered.
void reset_state(ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state) {
    state->sec_since_start = 0.0;
    state->shadow_factor = 1.0;
    std::fill_n(state->pos_eci, 3, 0.0);
    std::fill_n(state->vel_eci, 3, 0.0);
    std::fill_n(state->acc_eci, 3, 0.0);
    for (const char* name : {"PX", "PY", "PZ", "VX", "VY", "VZ"}) {
        get_parameter_index_global(&config->num_param_total, config->param_names_force_models, name_of(name));
    }
    matrix_identical(6, state->PHI);
    std::fill_n(state->S, std::size(state->S), 0.0);
}

/// Length of the flat state by the mode; without force parameters mode 2 falls back to 1.
void set_state_length(ORBIT_DYN_CONFIG* config) {
    config->nstate = 6;
    if (config->status_derivative == 2 && config->num_param_forcemodel == 0) config->status_derivative = 1;
    if (config->status_derivative == 1) config->nstate = 42;
    if (config->status_derivative == 2) config->nstate = 42 + 6 * config->num_param_forcemodel;
}

/// Adds a parameter of value 0 to the end of a force's record, which has room for it.
template <typename Force>
void append_parameter(ORBIT_DYN_CONFIG* config, Force& force, const char* name, double start, double end) {
    const int k = force.num++;
    copy_field(name, 0, sizeof force.param_name[k] - 1, force.param_name[k]);
    force.idx_global[k] =
        get_parameter_index_global(&config->num_param_total, config->param_names_force_models, force.param_name[k]);
    force.param[k] = 0.0;
    force.param_life[k][0] = start;
    force.param_life[k][1] = end;
}

/// Appends the pieces of one kind; ends the process where the record is full.
/// \param name  buffer of the parameter's name; kept from the kind before where the force has no tag
template <typename Force>
void append_pieces(ORBIT_DYN_CONFIG* config, Force& force, int limit, const EMP_PARAM_BASE& kind, const char* tag,
                   double mjd_s, double mjd_e, int n, char (&name)[20]) {
    const auto stop_if_full = [&] {
        if (force.num < limit) return;
        report(ULOG_ERROR_LEVEL, "force[FM=%d] params num(%d) > MAXNUM_FM_PARM(%d)", static_cast<int>(kind.fm),
               force.num, limit);
        stop();
    };
    for (int j = 0; j < n; ++j) {
        if (j > kMaxIntervalNumber) {
            report(ULOG_ERROR_LEVEL, "Number of intervals for force[%d] parameters(%s) are too large!\nStopping\n",
                   static_cast<int>(kind.fm), kind.name_param);
            stop();
        }
        stop_if_full();
        if (tag != nullptr) std::snprintf(name, sizeof name, "%3s_%03d_%.10s", tag, j, kind.name_param);
        append_parameter(config, force, name, mjd_s + j * kind.interval / kDay,
                         std::min(mjd_s + (j + 1) * kind.interval / kDay, mjd_e));
    }
    stop_if_full();
}

}  // namespace

// --- configuration and parameter registry ----------------------------------------------------------------------------

namespace {

template <std::size_t planets>
void set_defaults(ORBIT_DYN_CONFIG* config, int degree, const PLANET_JPL (&bodies)[planets], double step) {
    constexpr ForceModel kForces[] = {FM_EarthGravity, FM_ThirdBody, FM_Relativity, FM_EMP};
    config->satindex = 0;
    config->norder_gravity = degree;
    config->num_planets = static_cast<int>(planets);
    std::copy_n(bodies, planets, config->planets);
    config->num_force_models = 4;
    std::copy_n(kForces, 4, config->force_model_used);
    config->step_size = step;
    config->output_interval = 60.0;
    config->status_derivative = 2;
}

}  // namespace

void initialize_orbit_conifig_embed(ORBIT_DYN_CONFIG* ptr_orb_config) {
    constexpr PLANET_JPL kBodies[] = {SUN, MOON, JUPITER};
    set_defaults(ptr_orb_config, 30, kBodies, 30.0);
    ptr_orb_config->opt_emp = 4;
    ptr_orb_config->force_model_emp_parameters.mode = 4;
    // settled: by place in the list, so this is relativity's row
    ptr_orb_config->force_model_parameters[3].mode = 4;
}

void initialize_orbit_config(ORBIT_DYN_CONFIG* ptr_orb_config) {
    constexpr PLANET_JPL kBodies[] = {SUN, MOON, JUPITER, VENUS, MERCURY, MARS, SATURN, URANUS, NEPTUNE, PLUTO};
    set_defaults(ptr_orb_config, 100, kBodies, 20.0);
}

int get_parameter_index_global(int* num_current, char (*param_names_force_models)[20], char* param_name) {
    if (*num_current >= kMaxNames) {
        report_at(ULOG_CRITICAL_LEVEL, kModule, __LINE__, __func__,
                  "total number of parameters(%d) is larger than MAXNUM_FM_PARAM_TOTAL(%d)", *num_current,
                  static_cast<int>(MAXNUM_FM_PARAM_TOTAL));
        return -1;
    }
    const int stored = std::min<int>(*num_current, MAXNUM_FM_PARAM_TOTAL);
    for (int i = 0; i < stored; ++i) {
        if (std::strcmp(param_names_force_models[i], param_name) == 0) return i;
    }
    const int index = (*num_current)++;
    if (index < MAXNUM_FM_PARAM_TOTAL) {
        copy_field(param_name, 0, 19, param_names_force_models[index]);
    } else if (index == MAXNUM_FM_PARAM_TOTAL) {
        report(ULOG_CRITICAL_LEVEL, "parameter %s does not fit the registry of %d names", param_name,
               static_cast<int>(MAXNUM_FM_PARAM_TOTAL));
    }
    return index;
}

void produce_force_model_params(double mjd_utc_s, double mjd_utc_e, ORBIT_DYN_CONFIG* ptr_orbit_dyn_config,
                                STATE_SPACECRAFT* state_spacecraft) {
    ORBIT_DYN_CONFIG* const config = ptr_orbit_dyn_config;
    reset_state(config, state_spacecraft);
    const double length = kDay * (mjd_utc_e - mjd_utc_s);
    int total = 0;
    char name[20] = {};
    for (int i = 0; i < std::clamp(config->emp_param_num_base, 0, 20); ++i) {
        const EMP_PARAM_BASE& kind = config->emp_params_base[i];
        if (!has_record(kind.fm) || !(kind.interval > 0.0) || !(length >= 0.0)) {
            report(ULOG_ERROR_LEVEL, "parameter %.19s: no pieces for a span of %.3f s and an interval of %.3f s",
                   kind.name_param, length, kind.interval);
            continue;
        }
        // settled: one piece more than in generate_param_empirical; the second condition never holds
        int n = std::min(to_int(length / kind.interval), kMaxIntervalNumber + 1) + 1;
        if (length - n * kind.interval > 0.5 * kind.interval && n <= kMaxIntervalNumber) ++n;
        if (kind.fm == FM_EMP) {
            append_pieces(config, config->force_model_emp_parameters, MAXNUM_FM_PARM_EMP, kind, "EMP", mjd_utc_s,
                          mjd_utc_e, n, name);
            total += n;
        } else {
            PARAM_FM& force = config->force_model_parameters[kind.fm];
            const char* const tag = kind.fm == FM_SRP ? "SRP" : kind.fm == FM_Drag ? "DRAG" : nullptr;
            append_pieces(config, force, MAXNUM_FM_PARM, kind, tag, mjd_utc_s, mjd_utc_e, n, name);
            total += force.num;  // settled: the running number, so a second kind of a force counts the first again
        }
    }
    config->num_param_forcemodel = total;
    set_state_length(config);
}

void generate_param_empirical(double mjd_utc_s, double mjd_utc_e, double interval_sec, PARAM_FM_EMP* params,
                              ORBIT_DYN_CONFIG* ptr_orbit_dyn_config, STATE_SPACECRAFT* /*state_spacecraft*/) {
    constexpr const char* kKinds[] = {"A0", "C0", "R0", "AC", "AS", "CC", "CS"};
    constexpr int kNumKinds = static_cast<int>(std::size(kKinds));
    const double length = kDay * (mjd_utc_e - mjd_utc_s);
    params->mode = ptr_orbit_dyn_config->opt_emp;
    params->fm = FM_EMP;
    params->num = 0;
    if (!(interval_sec > 0.0) || !(length > 0.0)) {
        report(ULOG_ERROR_LEVEL, "no empirical parameters for a span of %.3f s and an interval of %.3f s", length,
               interval_sec);
        return;
    }
    int n = std::min(to_int(length / interval_sec), INT_MAX / kNumKinds - 1);
    if (std::fabs(length - n * interval_sec) > 0.5 * interval_sec) n += 1;
    if (kNumKinds * n >= MAXNUM_FM_PARM_EMP) {
        report(ULOG_ERROR_LEVEL, "empirical force params num(%d) > MAXNUM_FM_PARM(%d)", kNumKinds * n,
               static_cast<int>(MAXNUM_FM_PARM_EMP));
        stop();
    }
    for (const char* kind : kKinds) {
        for (int j = 0; j < n; ++j) {
            if (j > kMaxIntervalNumber) {
                report(ULOG_ERROR_LEVEL,
                       "Number of intervals for empirical force parameters are too large!\nStopping\n");
                stop();
            }
            char name[20];
            std::snprintf(name, sizeof name, "%3s_%03d_%s", "EMP", j, kind);
            append_parameter(ptr_orbit_dyn_config, *params, name, mjd_utc_s + j * interval_sec / kDay,
                             std::min(mjd_utc_s + (j + 1) * interval_sec / kDay, mjd_utc_e));
        }
    }
}

int emp_param_name_check(char* emp_param_name) {
    for (int i = 0; i < static_cast<int>(std::size(name_emp_param_all)); ++i) {
        if (std::strstr(name_emp_param_all[i], emp_param_name) != nullptr) return i;
    }
    return -1;
}

// --- spacecraft state and variational equations ----------------------------------------------------------------------

namespace {

/// Marks the listed forces' records; the modelled forces start without parameters. `set_empirical` fills those of FM_EMP.
template <typename SetEmpirical>
void prepare_forces(ORBIT_DYN_CONFIG* config, SetEmpirical set_empirical) {
    for (int i = 0; i < force_count(config); ++i) {
        const ForceModel fm = config->force_model_used[i];
        if (fm == FM_EMP) {
            config->force_model_emp_parameters.fm = fm;
            set_empirical(config->force_model_emp_parameters);
        } else if (has_record(fm)) {
            PARAM_FM& force = config->force_model_parameters[fm];
            force.fm = fm;
            if (fm != FM_EarthGravity && fm != FM_ThirdBody && fm != FM_Relativity && fm != FM_SRP && fm != FM_ERP &&
                fm != FM_Drag) {
                continue;
            }
            force.mode = 0;
            force.num = 0;
        }
    }
}

/// The four blocks of a flat vector in the record: state and matrices, or their derivatives.
struct Blocks {
    double *first, *second, *matrix6, *sensitivity;
};

Blocks state_blocks(STATE_SPACECRAFT* s) { return {s->pos_eci, s->vel_eci, s->PHI, s->S}; }
Blocks derivative_blocks(STATE_SPACECRAFT* s) { return {s->vel_eci, s->acc_eci, s->dPHI, s->dS}; }

/// Calls copy(record, flat, count) for each piece of the flat vector that its length and the mode give.
template <typename Copy>
void for_each_block(int nstate, const ORBIT_DYN_CONFIG* config, const Blocks& b, double* y, Copy copy) {
    const int np = config->num_param_forcemodel;
    copy(b.first, y, 3);
    copy(b.second, y + 3, 3);
    if (nstate >= 42 && config->status_derivative >= 1) copy(b.matrix6, y + 6, 36);
    if (np >= 1 && np <= kColumns && nstate >= 42 + 6 * np && config->status_derivative == 2) {
        for (int i = 0; i < 6; ++i) copy(b.sensitivity + i * kColumns, y + 42 + i * np, np);
    }
}

void to_flat(const double* record, double* flat, int count) { std::copy_n(record, count, flat); }
void to_record(double* record, const double* flat, int count) { std::copy_n(flat, count, record); }

/// Columns [first, end) of dM = A M for two 6-row matrices of equal stride, A = (0 I; dadr 0): no force has a velocity partial. The rows of
/// `partials` (3 rows of stride kColumns, may be null) are added to the last three.
LEOPOD_KERNEL inline void multiply_columns(const double* dadr, const double* M, int first, int end, int stride,
                                           const double* partials, double* dM) {
    for_all_elements(end - first, [=](auto type, int column) LEOPOD_KERNEL {
        using T = decltype(type);
        const double* const m = M + first + column;
        double* const out = dM + first + column;
        const T x = load_as<T>(m), y = load_as<T>(m + stride), z = load_as<T>(m + 2 * stride);
        for (int i = 0; i < 3; ++i) {
            store(out + i * stride, T{} + load_as<T>(m + (3 + i) * stride));
            T sum = T{} + dadr[3 * i] * x;
            sum += dadr[3 * i + 1] * y;
            sum += dadr[3 * i + 2] * z;
            if (partials != nullptr) sum += load_as<T>(partials + i * kColumns + first + column);
            store(out + (3 + i) * stride, sum);
        }
    });
}

}  // namespace

void initialize_state_spacecraft_embed(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft) {
    ORBIT_DYN_CONFIG* const config = ptr_orb_config;
    reset_state(config, state_spacecraft);
    prepare_forces(config, [config](PARAM_FM_EMP& emp) {
        emp.mode = 0;
        emp.num = 0;
        for (const char* name : {"EMP_000_A0", "EMP_001_C0", "EMP_002_R0"}) {  // settled: the running number
            append_parameter(config, emp, name, -9999999.9, 99999999.9);
        }
    });
    int total = 0;
    for (int i = 0; i < force_count(config); ++i) total += parameters_of(config, config->force_model_used[i]).num;
    config->num_param_forcemodel = total;
    set_state_length(config);
}

void initialize_state_spacecraft(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft) {
    ORBIT_DYN_CONFIG* const config = ptr_orb_config;
    reset_state(config, state_spacecraft);
    prepare_forces(config, [config, state_spacecraft](PARAM_FM_EMP& emp) {
        // settled: the span of the built-in positions, UTC
        const double start = gtime2mjd(YMD2GTime({2019, 1, 15, 23, 59, 42.0}, tsUTC));
        const double end = gtime2mjd(YMD2GTime({2019, 1, 16, 23, 58, 42.0}, tsUTC));
        generate_param_empirical(start, end, 1200.0, &emp, config, state_spacecraft);
    });
    config->num_param_forcemodel = config->num_param_total - kStateNames;
    set_state_length(config);
}

void extract_state_force_param(ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, double* y_param_force) {
    double* out = std::copy_n(state->pos_eci, 3, y_param_force);
    out = std::copy_n(state->vel_eci, 3, out);
    for (int i = 0; i < force_count(config); ++i) {
        const Parameters p = parameters_of(config, config->force_model_used[i]);
        out = std::copy_n(p.value, p.num, out);
    }
}

void set_state_force_param(ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, double* y_param_force) {
    std::copy_n(y_param_force, 3, state->pos_eci);
    std::copy_n(y_param_force + 3, 3, state->vel_eci);
    const double* in = y_param_force + 6;
    for (int i = 0; i < force_count(config); ++i) {
        const Parameters p = parameters_of(config, config->force_model_used[i]);
        std::copy_n(in, p.num, p.value);
        in += p.num;
    }
}

void convert_struct2ystate(int nstate, ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, double* y) {
    for_each_block(nstate, config, state_blocks(state), y, to_flat);
}

void convert_ystate2struct(int nstate, double* y, ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state) {
    for_each_block(nstate, config, state_blocks(state), y, to_record);
}

void convert_struct2dydx(int nstate, ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, double* dydx) {
    for_each_block(nstate, config, derivative_blocks(state), dydx, to_flat);
}

void convert_dydx2struct(int nstate, double* dydx, ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state) {
    for_each_block(nstate, config, derivative_blocks(state), dydx, to_record);
}

void orbit_derivative(int nstate, double sec_since_start, double* y, double* dydx) {
    ORBIT_DYN_CONFIG* const config = g_orbitdyn_config;
    STATE_SPACECRAFT* const state = g_satellite_state;
    const int mode = config->status_derivative;
    state->sec_since_start = sec_since_start;
    convert_ystate2struct(nstate, y, config, state);
    compute_acc_all(config, state);

    const double* const dadr = state->dadr;
    const int np = std::clamp(config->num_param_forcemodel, 0, kColumns);
    run_widest([=](auto) LEOPOD_KERNEL {
        if (mode == 1 || mode == 2) multiply_columns(dadr, state->PHI, 0, 6, 6, nullptr, state->dPHI);
        if (mode != 2) return;
        multiply_columns(dadr, state->S, 0, np, kColumns, state->dadp, state->dS);
        multiply_columns(dadr, state->S, np, kColumns, kColumns, nullptr, state->dS);
    });
    convert_struct2dydx(nstate, config, state, dydx);
}

// --- force models: gravity, third body, relativity -------------------------------------------------------------------

namespace {

/// Geocentric state of a body [m, m/s]; zero where the ephemeris does not give it.
struct BodyState {
    double pv[6];
    bool known;
};

BodyState geocentric_state(double jd_tt, PLANET_JPL body) {
    BodyState s{};
    s.known = compute_planet_pos_vel(jd_tt, EARTH, body, s.pv);
    for (double& value : s.pv) value *= 1000.0;  // settled: on the assumption of kilometres
    return s;
}

double julian_date_tt(double mjd_utc, double leap) { return (leap + kTtMinusTai) / kDay + mjd_utc + kMjdToJd; }

/// Point-mass attraction of the listed bodies. `sun` and `moon`, where given, are their states at this instant.
void add_third_bodies(double jd_tt, int nbody, const PLANET_JPL* bodies, const double* r, double* acc, double* dadr,
                      const BodyState* sun, const BodyState* moon) {
    for (int i = 0; i < nbody; ++i) {
        const PLANET_JPL body = bodies[i];
        const BodyState* const given = body == SUN ? sun : body == MOON ? moon : nullptr;
        // What is not known is looked up, and reported, once more.
        const BodyState state = given != nullptr && given->known ? *given : geocentric_state(jd_tt, body);
        if (!state.known || body < 0 || body > TOTAL_PLANET) continue;
        const double gm = PLANET_GM[body] * 1e9;
        const double* const s = state.pv;
        double d[3] = {s[0] - r[0], s[1] - r[1], s[2] - r[2]};
        double origin[3] = {s[0], s[1], s[2]};
        const double nd = norm(3, d), ns = norm(3, origin);
        const double direct = gm / (nd * nd * nd), indirect = gm / (ns * ns * ns);
        for (int k = 0; k < 3; ++k) acc[k] += direct * d[k] - indirect * s[k];
        if (dadr == nullptr) continue;
        const double x[3] = {r[0] - s[0], r[1] - s[1], r[2] - s[2]};
        const double outer = 3.0 * gm / (nd * nd * nd * nd * nd);
        for (int k = 0; k < 3; ++k) {
            for (int l = 0; l < 3; ++l) dadr[3 * k + l] += outer * x[k] * x[l] - (k == l ? direct : 0.0);
        }
    }
}

void add(int n, const double* term, double* sum) {
    for (int i = 0; i < n; ++i) sum[i] += term[i];
}

double asin_clamped(double x) { return std::asin(std::clamp(x, -1.0, 1.0)); }
double acos_clamped(double x) { return std::acos(std::clamp(x, -1.0, 1.0)); }

/// Instant, rotation and bodies of one force evaluation.
struct Instant {
    double mjd_utc, leap, jd_tt;
    EarthRotation rotation;  ///< ECI to ECF
    double RT[9];            ///< and back
    BodyState sun, moon;
};

/// Earth's field: evaluated Earth-fixed, turned to ECI. All positions turn with the one matrix of the instant.
void add_earth_gravity(const ORBIT_DYN_CONFIG* config, Instant& now, STATE_SPACECRAFT* state, bool gradient) {
    double sat[3], sun[3], moon[3], acc_ecf[3] = {}, acc[3], dadr_ecf[9] = {};
    double* const R = now.rotation.matrix;
    matrixMultiply(3, 3, R, 1, state->pos_eci, sat);
    matrixMultiply(3, 3, R, 1, now.sun.pv, sun);
    matrixMultiply(3, 3, R, 1, now.moon.pv, moon);
    compute_acc_dadr_earth_gravity(config->norder_gravity, config->norder_gravity, now.mjd_utc, now.leap, sat, sun,
                                   moon, acc_ecf, gradient ? dadr_ecf : nullptr);
    matrixMultiply(3, 3, now.RT, 1, acc_ecf, acc);
    add(3, acc, state->acc_eci);
    if (!gradient) return;
    double turned[9], dadr[9];
    matrixMultiply(3, 3, now.RT, 3, dadr_ecf, turned);
    matrixMultiply(3, 3, turned, 3, R, dadr);
    add(9, dadr, state->dadr);
}

/// Adds the partials of one parameter, column c of a 3 x n matrix, to its column of dadp.
void add_partials(const double* partials, int n, int c, int idx_global, STATE_SPACECRAFT* state) {
    const int column = column_of(idx_global);
    if (column < 0) return;
    for (int i = 0; i < 3; ++i) state->dadp[i * kColumns + column] += partials[i * n + c];
}

void add_ecom(ORBIT_DYN_CONFIG* config, Instant& now, STATE_SPACECRAFT* state) {
    PARAM_FM& force = config->force_model_parameters[FM_ECOM];
    const int n = std::clamp<int>(force.num, 0, MAXNUM_FM_PARM);
    double acc[3] = {}, partials[3 * MAXNUM_FM_PARM] = {};
    compute_acc_ECOM(now.mjd_utc, &force, now.sun.pv, state->pos_eci, state->vel_eci, state->beta, acc, partials);
    add(3, acc, state->acc_eci);
    for (int k = 0; k < n; ++k) add_partials(partials, n, k, force.idx_global[k], state);
}

void add_empirical(ORBIT_DYN_CONFIG* config, const Instant& now, STATE_SPACECRAFT* state) {
    PARAM_FM_EMP& force = config->force_model_emp_parameters;
    int active[MAXNUM_FM_PARM_EMP] = {-1};
    double acc[3] = {}, partials[3 * MAXNUM_FM_PARM_EMP];
    const int n = compute_acc_Empirical(now.mjd_utc, active, &force, state->pos_eci, state->vel_eci, acc, partials);
    add(3, acc, state->acc_eci);
    for (int i = 0; i < n; ++i) add_partials(partials, n, i, force.idx_global[active[i]], state);
}

}  // namespace

void compute_acc_all(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft) {
    ORBIT_DYN_CONFIG* const config = ptr_orb_config;
    STATE_SPACECRAFT* const state = state_spacecraft;
    const bool gradient = config->status_derivative != 0;

    Instant now;
    const GTime time = gtimeAddSec(state->utc_start, state->sec_since_start);
    now.mjd_utc = gtime2mjd(time);
    now.leap = getLeapSecond(now.mjd_utc);
    now.jd_tt = julian_date_tt(now.mjd_utc, now.leap);
    now.rotation = {now.mjd_utc, now.leap};
    use_rotation(now.rotation);
    matrixTranspose(3, 3, now.rotation.matrix, now.RT);
    use_rotation(now.rotation);  // for the satellite
    now.sun = geocentric_state(now.jd_tt, SUN);
    now.moon = geocentric_state(now.jd_tt, MOON);
    for (int i = 0; i < 2; ++i) use_rotation(now.rotation);  // for the Sun and the Moon

    std::fill_n(state->acc_eci, 3, 0.0);
    std::fill_n(state->dadr, 9, 0.0);
    std::fill_n(state->dadv, 9, 0.0);  // no force has a velocity partial
    std::fill_n(state->dadp, std::size(state->dadp), 0.0);
    eci2rtn(state->pos_eci, state->vel_eci, state->orbit_raidal, state->orbit_along, state->orbit_cross);
    double to_sun[3];
    for (int i = 0; i < 3; ++i) to_sun[i] = now.sun.pv[i] - state->pos_eci[i];
    normalize_vector(3, to_sun);
    state->shadow_factor = shadow_factor_SECM(now.sun.pv, state->pos_eci, false);
    state->beta = asin_clamped(dotproduct(3, 3, to_sun, state->orbit_cross));
    state->eps = acos_clamped(dotproduct(3, 3, state->orbit_raidal, to_sun));
    get_att_quaternion(static_cast<int>(state->satindex), time, nullptr);  // settled: for its message alone

    double acc[3], dadr[9];
    for (int i = 0; i < force_count(config); ++i) {
        switch (config->force_model_used[i]) {
            case FM_EarthGravity:
                add_earth_gravity(config, now, state, gradient);
                break;
            case FM_ThirdBody:
                std::fill_n(acc, 3, 0.0);
                std::fill_n(dadr, 9, 0.0);
                add_third_bodies(now.jd_tt, std::clamp(config->num_planets, 0, 17), config->planets, state->pos_eci,
                                 acc, gradient ? dadr : nullptr, &now.sun, &now.moon);
                add(3, acc, state->acc_eci);
                add(9, dadr, state->dadr);
                break;
            case FM_Relativity:
                compute_acc_relativity(state->pos_eci, state->vel_eci, now.sun.pv, now.sun.pv + 3, acc);
                add(3, acc, state->acc_eci);
                break;
            case FM_ECOM:
                add_ecom(config, now, state);
                break;
            case FM_EMP:
                add_empirical(config, now, state);
                break;
            default:
                break;  // settled: the other forces, radiation pressure and drag among them, have no effect
        }
    }
}

bool compute_acc_thirdbody(double mjd_utc, int nbody, PLANET_JPL* bodies, double* satpos_eci, double* acc,
                           double* dadr) {
    if (acc == nullptr && dadr == nullptr) return false;
    double unused[3];
    if (acc == nullptr) acc = unused;
    std::fill_n(acc, 3, 0.0);
    if (dadr != nullptr) std::fill_n(dadr, 9, 0.0);
    add_third_bodies(julian_date_tt(mjd_utc, getLeapSecond(mjd_utc)), nbody, bodies, satpos_eci, acc, dadr, nullptr,
                     nullptr);
    return true;
}

bool compute_acc_relativity(double* satpos, double* satvel, double* sunpos, double* sunvel, double* acc) {
    constexpr double c = kSpeedOfLight;
    constexpr double GM_earth = 398600441500000.0;
    constexpr double GM_sun = 1.327124400419394e+20;
    constexpr double C2 = c * c;
    constexpr double GMc2 = GM_earth / C2;
    constexpr double b = 1.0, g = 1.0;
    std::fill_n(acc, 3, 0.0);
    const double* const r = satpos;
    const double* const v = satvel;
    const double r2 = norm2(3, satpos), v2 = norm2(3, satvel), rn = std::sqrt(r2);
    double R[3], Vs[3];  // the Earth relative to the Sun
    for (int i = 0; i < 3; ++i) {
        R[i] = -sunpos[i];
        Vs[i] = -sunvel[i];
    }
    const double R2 = norm2(3, R);
    if (R2 < 1e-18) {
        report(ULOG_WARNING_LEVEL, "compute_acc_relativity(): sunpos is all zero!");
        return false;
    }
    const double J[3] = {0.0, 0.0, 980000000.0000001};  // angular momentum per unit mass [m^2/s]
    const double rv = dotproduct(3, 3, r, v), rJ = dotproduct(3, 3, r, J);
    double vxJ[3], rxv[3], w[3], Vxw[3], geodetic[3];
    crossproduct(3, 3, v, J, vxJ);
    crossproduct(3, 3, r, v, rxv);
    for (int i = 0; i < 3; ++i) w[i] = (-GM_sun / C2 / R2) * (R[i] / std::sqrt(R2));
    crossproduct(3, 3, Vs, w, Vxw);
    crossproduct(3, 3, Vxw, v, geodetic);
    for (int i = 0; i < 3; ++i) {  // IERS Conventions (2010), equation 10.12: Schwarzschild, Lense-Thirring, de Sitter
        acc[i] += ((2 * (b + g) * GM_earth / rn - g * v2) * r[i] + 2 * (1 + g) * rv * v[i]) * (GMc2 / r2 / rn);
        acc[i] += (1 + g) * (GMc2 / r2 / rn) * (vxJ[i] + (3 * rJ / r2) * rxv[i]);
        acc[i] += (1 + 2 * g) * geodetic[i];
    }
    return true;
}

// --- force models: surface forces and empirical accelerations --------------------------------------------------------

namespace {

/// Third token of a parameter's name, tokens separated by runs of "_"; empty where there is none.
void base_of_name(const char (&name)[20], char (&base)[20]) {
    char text[20];
    std::memcpy(text, name, sizeof text);
    text[sizeof text - 1] = '\0';
    const char* p = text + std::strspn(text, "_");
    for (int skipped = 0; skipped < 2; ++skipped) {
        p += std::strcspn(p, "_");
        p += std::strspn(p, "_");
    }
    copy_field(p, 0, std::strcspn(p, "_"), base);
}

enum Axis { kRadial, kAlong, kCross, kNoAxis };
enum Phase { kConstant, kSine, kCosine };

struct EmpiricalKind {
    const char* base;
    Axis axis;
    Phase phase;
};

/// Kinds in the order of the test; null for a name that holds none of them.
const EmpiricalKind* find_kind(const char (&name)[20]) {
    static constexpr EmpiricalKind kKinds[] = {
        {"R0", kRadial, kConstant}, {"A0", kAlong, kConstant}, {"C0", kCross, kConstant}, {"AS", kAlong, kSine},
        {"AC", kAlong, kCosine},    {"RS", kRadial, kSine},    {"RC", kRadial, kCosine},  {"CS", kCross, kSine},
        {"CC", kCross, kCosine},    {"D0", kNoAxis, kConstant}};
    char base[20];
    base_of_name(name, base);
    for (const EmpiricalKind& kind : kKinds) {
        if (std::strstr(base, kind.base) != nullptr) return &kind;
    }
    return nullptr;
}

/// Angle from the start of the parameters with the present mean motion, a substitute for the argument of latitude [rad].
double orbit_phase(double seconds, double* satpos, double* satvel) {
    constexpr long double mu = 398600441500000.0L;
    const long double rn = norm(3, satpos), v2 = norm2(3, satvel);
    const long double a = mu * rn / (2 * mu - v2 * rn);  // vis-viva
    const double n = static_cast<double>(std::sqrt(mu / a) / a);
    return fmod_two_pi(n * seconds);
}

void cross_unit(const double* a, const double* b, double* c) {
    crossproduct(3, 3, a, b, c);
    normalize_vector(3, c);
}

/// Angle of `direction` from `node`, positive about N; folded to plus or minus 90 degrees.
double folded_angle(const double* node, const double* direction, const double* N) {
    double c[3];
    crossproduct(3, 3, node, direction, c);
    double sine = norm(3, c);
    if (dotproduct(3, 3, c, N) <= 0.0) sine = -sine;
    return asin_clamped(sine);  // settled: the cosine is not used
}

struct DensityRow {
    double height_km, minimum, maximum;  // [g/km^3]
};
constexpr DensityRow kHarrisPriester[] = {
#include "tables/harris_priester.inc"
};
static_assert(std::size(kHarrisPriester) == 50);

double shadow_radius(const double* sat, const double* d) {
    // Where the line to the Sun meets the ellipsoid. settled: the whole vector to the Sun is added, not its part t, so the
    // point lies near the Sun's distance and half of the sky counts as the Earth.
    constexpr double p = kWgs84SemiMajor, q = 6356752.3142;
    constexpr double a2 = p * p, b2 = q * q, e = q * q / (p * p);
    double c[3];
    crossproduct(3, 3, sat, d, c);
    const double z = sat[2], w2 = sat[0] * sat[0] + sat[1] * sat[1];
    const double t = std::sqrt((z * z * a2 + (w2 - a2) * b2) / (c[2] * c[2] * e + c[0] * c[0] + c[1] * c[1]));
    const double k = (b2 - (d[2] * z + (d[0] * sat[0] + d[1] * sat[1]) * e) * t) / (w2 * e + z * z) - 1;
    double point[3];
    for (int i = 0; i < 3; ++i) point[i] = sat[i] + d[i] + k * sat[i];
    return norm(3, point);
}

}  // namespace

int compute_acc_Empirical(double mjd_utc, int* idx_param_current, PARAM_FM_EMP* fm_param, double* satpos,
                          double* satvel, double* acc, double* dadp_eci) {
    const int num = std::clamp<int>(fm_param->num, 0, MAXNUM_FM_PARM_EMP);
    if (acc != nullptr) std::fill_n(acc, 3, 0.0);
    int n = 0;
    for (int k = 0; k < num; ++k) {  // settled: both ends included, so neighbours are both active at their boundary
        if (fm_param->param_life[k][0] <= mjd_utc && mjd_utc <= fm_param->param_life[k][1]) idx_param_current[n++] = k;
    }
    if (n == 0) return 0;

    const double phase = orbit_phase((mjd_utc - fm_param->param_life[0][0]) * kDay, satpos, satvel);
    const double factors[3] = {1.0, std::sin(phase), std::cos(phase)};
    double axes[3][3];
    eci2rtn(satpos, satvel, axes[kRadial], axes[kAlong], axes[kCross]);
    double sum[3] = {};
    for (int i = 0; i < n; ++i) {
        const int k = idx_param_current[i];
        const EmpiricalKind* const kind = find_kind(fm_param->param_name[k]);
        if (kind == nullptr) {
            report(ULOG_ERROR_LEVEL, "Unknown force model parameters [%.19s].\n Stopping", fm_param->param_name[k]);
            stop();
        }
        for (int j = 0; j < 3; ++j) {
            const double direction = kind->axis == kNoAxis ? 0.0 : axes[kind->axis][j] * factors[kind->phase];
            sum[j] += direction * fm_param->param[k] * kEmpiricalUnit;
            if (dadp_eci != nullptr) dadp_eci[j * n + i] = direction * kEmpiricalUnit;
        }
    }
    if (acc != nullptr) std::copy_n(sum, 3, acc);
    return n;
}

bool compute_acc_ECOM(double /*mjd_utc*/, PARAM_FM* fm_param, double* sunpos, double* satpos_eci, double* satvel_eci,
                      double beta, double* acc, double* dadp) {
    const int num = std::clamp<int>(fm_param->num, 0, MAXNUM_FM_PARM);
    const int mode = fm_param->mode;
    if (mode != 0 && mode != 1) return false;
    double R[3], T[3], N[3], frame[3][3];  // rows D, Y, B
    eci2rtn(satpos_eci, satvel_eci, R, T, N);
    for (int i = 0; i < 3; ++i) frame[0][i] = sunpos[i] - satpos_eci[i];
    normalize_vector(3, frame[0]);
    cross_unit(frame[0], R, frame[1]);
    cross_unit(frame[0], frame[1], frame[2]);

    double w[3] = {sunpos[0], sunpos[1], sunpos[2]};  // the Sun in the orbital plane
    normalize_vector(3, w);
    for (int i = 0; i < 3; ++i) w[i] -= N[i] * std::sin(beta);
    normalize_vector(3, w);
    const double pole[3] = {0.0, 0.0, 1.0}, up[3] = {-R[0], -R[1], -R[2]};
    double node[3];
    cross_unit(pole, N, node);
    const double du = folded_angle(node, up, N) - folded_angle(node, w, N);

    // Coefficient of each positional parameter and its axis.
    const double five[5] = {1.0, 1.0, 1.0, std::cos(du), std::sin(du)};
    const double seven[7] = {1.0, std::cos(2 * du), std::sin(2 * du), 1.0, 1.0, std::cos(du), std::sin(du)};
    constexpr int kAxisOfFive[5] = {0, 1, 2, 2, 2}, kAxisOfSeven[7] = {0, 0, 0, 1, 2, 2, 2};
    const double* const coefficient = mode == 0 ? five : seven;
    const int* const axis = mode == 0 ? kAxisOfFive : kAxisOfSeven;
    const int terms = mode == 0 ? 5 : 7;
    double a[3] = {};  // along D, Y, B
    for (int k = 0; k < terms; ++k) a[axis[k]] += fm_param->param[k] * coefficient[k];
    for (int i = 0; i < 3; ++i) {
        acc[i] = (frame[0][i] * a[0] + frame[1][i] * a[1] + frame[2][i] * a[2]) * kEmpiricalUnit;
        for (int k = 0; k < num; ++k) {
            dadp[i * num + k] = k < terms ? frame[axis[k]][i] * coefficient[k] * kEmpiricalUnit : 0.0;
        }
    }
    return true;
}

double shadow_factor_SECM(double* pos_sun, double* pos_sat, bool modified) {
    double d[3];
    for (int i = 0; i < 3; ++i) d[i] = pos_sun[i] - pos_sat[i];
    const double earth_radius = modified ? shadow_radius(pos_sat, d) : 6371000.0;
    const double nd = norm(3, d), nsat = norm(3, pos_sat);
    const double a_s = asin_clamped(695700000.0 / nd);
    const double a_e = asin_clamped(earth_radius / nsat);
    double cosine = 0.0;
    for (int i = 0; i < 3; ++i) cosine += (pos_sat[i] / nsat) * (d[i] / nd);
    const double theta = acos_clamped(-cosine);
    if (theta >= a_s + a_e) return 1.0;
    if (a_e > theta + a_s) return 0.0;
    const double x = (theta * theta + a_s * a_s - a_e * a_e) / (2 * theta);
    const double y = std::sqrt(std::max(0.0, a_s * a_s - x * x));
    const double A1 = acos_clamped(x / a_s);
    const double A2 = acos_clamped((theta - x) / a_e);
    return 1.0 - (A2 * a_e * a_e + A1 * a_s * a_s - theta * y) / (kPi * a_s * a_s);
}

bool compute_acc_srp(double /*mjd_utc*/, PARAM_FM* /*param_fm*/, double* satpos, double* /*satvel*/,
                     double shadowfactor, double* sunpos, double* /*acc*/) {
    double d[3];
    for (int i = 0; i < 3; ++i) d[i] = sunpos[i] - satpos[i];
    const double ratio = kAstronomicalUnit / norm(3, d);
    [[maybe_unused]] const double flux = ratio * ratio * shadowfactor * 1361.0;  // [W/m^2]; settled: no model uses it
    return false;
}

bool compute_acc_erp(int /*np*/, double* /*param*/, int /*mode*/, double /*mjd_utc*/, double* /*satpos*/,
                     double* /*satvel*/, double* /*acc*/) {
    return false;
}

bool compute_acc_drag(int /*np*/, double* /*param*/, int /*mode*/, double /*mjd_utc*/, double* /*satpos*/,
                      double* /*satvel*/, double* acc) {
    constexpr double kVelocity[3] = {7000.0, 0.0, 0.0};  // a placeholder with fixed numbers
    for (int i = 0; i < 3; ++i) acc[i] = 2.2 * (kVelocity[i] * (-1e-13) / 1000.0);
    return false;
}

double atm_density_Harris_Priester(double mjd_tt, double* Pos) {
    constexpr double kLag = 0.523599;  // of the bulge behind the Sun [rad]
    double blh[3];
    ecef2blh(Pos, blh, kWgs84SemiMajor, kWgs84Flattening);
    const double height = blh[2] / 1000.0;
    if (!(height > 100.0 && height < 1000.0)) return 0.0;
    double sun[3];
    compute_pos_sun_moon_eci(mjd_tt, sun, nullptr);
    const double ra = std::atan2(sun[1], sun[0]);
    const double dec = std::atan2(sun[2], std::sqrt(sun[0] * sun[0] + sun[1] * sun[1]));
    const double bulge[3] = {std::cos(dec) * std::cos(ra + kLag), std::cos(dec) * std::sin(ra + kLag), std::sin(dec)};

    const DensityRow* low = kHarrisPriester;
    while (height >= low[1].height_km) ++low;  // ends before the last row, whose height is 1000
    const double step = low[0].height_km - low[1].height_km;
    const double H_min = step / std::log(low[1].minimum / low[0].minimum);
    const double H_max = step / std::log(low[1].maximum / low[0].maximum);
    const double d_min = low[0].minimum * std::exp((low[0].height_km - height) / H_min);
    const double d_max = low[0].maximum * std::exp((low[0].height_km - height) / H_max);
    // settled: an Earth-fixed position with an inertial bulge
    const double c = 0.5 + 0.5 * dotproduct(3, 3, Pos, bulge) / norm(3, Pos);
    return (d_min + (d_max - d_min) * c * c * c) * 1e-12;  // exponent 6 of the cosine of the half angle
}

// --- numerical integration -------------------------------------------------------------------------------------------

namespace {

struct TableauRow {
    double node;
    double a[12];
};
constexpr TableauRow kStages[] = {
#include "tables/rkf78.inc"
};
constexpr int kNumStages = static_cast<int>(std::size(kStages));
static_assert(kNumStages == 13);

// Weights of the solutions of order 7 and 8.
constexpr double kWeights7[kNumStages] = {41.0 / 840, 0.0,       0.0,       0.0,        0.0, 34.0 / 105, 9.0 / 35,
                                          9.0 / 35,   9.0 / 280, 9.0 / 280, 41.0 / 840, 0.0, 0.0};
constexpr double kWeights8[kNumStages] = {0.0,      0.0,       0.0,       0.0, 0.0,        34.0 / 105, 9.0 / 35,
                                          9.0 / 35, 9.0 / 280, 9.0 / 280, 0.0, 41.0 / 840, 41.0 / 840};
constexpr int kOrder7 = kNumStages, kOrder8 = kNumStages + 1;  ///< rows behind the stages

constexpr double weight(int row, int k) {
    return row == kOrder7 ? kWeights7[k] : row == kOrder8 ? kWeights8[k] : kStages[row].a[k];
}

/// Stage whose sum first takes K(k), or kOrder7 for the solutions; and the last one.
constexpr int first_use(int k) {
    int row = k + 1;
    while (row < kOrder7 && weight(row, k) == 0.0) ++row;
    return row;
}
constexpr int last_use(int k) {
    if (kWeights7[k] != 0.0 || kWeights8[k] != 0.0) return kOrder7;
    int row = kNumStages - 1;
    while (weight(row, k) == 0.0) --row;
    return row;
}

// Workspace of the integrators, off the stack; one integration at a time. Rows begin at cache lines, and not all in the same place of
// a page.
constexpr int row_length(int n) { return (n + 7) / 8 * 8 + 8; }
alignas(64) double stage_derivatives[kNumStages * row_length(NSTATE_MAX)];
alignas(64) double stage_vector[NSTATE_MAX];
double saved_state[NSTATE_MAX];

/// Elements j of the stage derivatives, one, two or four at a time. The sum that first takes K(k) scales it by the step: K = h f.
template <typename T>
struct Elements {
    double h;
    int stride, j;

    /// K(k) for the sum of a row.
    template <int row, int k>
    LEOPOD_KERNEL T scaled() const {
        double* const K = stage_derivatives + k * stride + j;
        if constexpr (first_use(k) < row) return load_as<T>(K);
        const T value = h * load_as<T>(K);
        if constexpr (last_use(k) > row) store(K, value);
        return value;
    }
    /// Sum over k of weight(row, k) * K(k) in ascending k; zero weights leave no code.
    template <int row, int... k>
    LEOPOD_KERNEL T stage_sum(std::integer_sequence<int, k...>) const {
        T sum = {};
        (add_term<row, k>(sum), ...);
        return sum;
    }
    /// Both solutions' sums.
    template <int... k>
    LEOPOD_KERNEL void solution_sums(T& sum7, T& sum8, std::integer_sequence<int, k...>) const {
        sum7 = sum8 = T{};
        (add_terms<k>(sum7, sum8), ...);
    }

  private:
    template <int row, int k>
    LEOPOD_KERNEL void add_term(T& sum) const {
        constexpr double w = weight(row, k);
        if constexpr (w != 0.0) sum += w * scaled<row, k>();
    }
    template <int k>
    LEOPOD_KERNEL void add_terms(T& sum7, T& sum8) const {
        constexpr double w7 = kWeights7[k], w8 = kWeights8[k];
        if constexpr (w7 == 0.0 && w8 == 0.0) return;
        const T value = scaled<kOrder7, k>();
        if constexpr (w7 != 0.0) sum7 += w7 * value;
        if constexpr (w8 != 0.0) sum8 += w8 * value;
    }
};

/// Stage i: K(i) = f(x + c(i) h, y + sum of a(i,k) K(k)), to be scaled.
template <int i>
LEOPOD_KERNEL inline void evaluate_stage(Derivative f, int n, double x, const double* y, double h) {
    const int stride = row_length(n);
    for_all_elements(n, [=](auto type, int j) LEOPOD_KERNEL {
        using T = decltype(type);
        const T sum = Elements<T>{h, stride, j}.template stage_sum<i>(std::make_integer_sequence<int, i>{});
        store(stage_vector + j, load_as<T>(y + j) + sum);
    });
    f(n, x + kStages[i].node * h, stage_vector, stage_derivatives + i * stride);
}

template <int... i>
LEOPOD_KERNEL inline void evaluate_stages(Derivative f, int n, double x, const double* y, double h,
                                          std::integer_sequence<int, i...>) {
    (evaluate_stage<i>(f, n, x, y, h), ...);
}

// Window of the interpolators.
constexpr int kWindow = 17;
constexpr int kHalfWindow = 8;

struct Window {
    int first;
    double u[kWindow];  ///< normalised abscissae
    double ut;
};

/// False, logged, for a trajectory that is shorter than a window.
bool has_window(int count) {
    if (count >= kWindow) return true;
    report(ULOG_ERROR_LEVEL, "interpolation of a trajectory needs %d epochs, %d are given", kWindow, count);
    return false;
}

/// Window about xt; false where the trajectory is shorter.
bool choose_window(double* xx_all, int count, double xt, Window& window) {
    if (!has_window(count)) return false;
    const int centre = binsearch_array(xx_all, 0, count - 1, xt);
    int lo = centre - kHalfWindow, hi = centre + kHalfWindow;
    if (lo < 0) {
        lo = 0;
        hi = kWindow - 1;
    }
    if (hi >= count) {
        hi = count - 1;
        lo = count - kWindow;
    }
    window.first = lo;
    // settled: divided by the last abscissa itself, so derivatives carry the factor xx_all[hi]
    for (int i = 0; i < kWindow; ++i) window.u[i] = (xx_all[lo + i] - xx_all[lo]) / xx_all[hi];
    window.ut = (xt - xx_all[lo]) / xx_all[hi];
    return true;
}

/// Columns of S of the parameters that have begun; the end of a span is not tested. Returns their number.
int begun_columns(ORBIT_DYN_CONFIG* config, double mjd_utc, int np, int (&columns)[kColumns]) {
    int m = 0;
    for (int i = 0; i < force_count(config); ++i) {
        const Parameters p = parameters_of(config, config->force_model_used[i]);
        for (int k = 0; k < p.num && m < kColumns; ++k) {
            const int column = column_of(p.idx_global[k]);
            if (p.life[k][0] <= mjd_utc && column >= 0 && column < np) columns[m++] = column;
        }
    }
    return m;
}

}  // namespace

void single_step_RungeKutta4(Derivative dydxFun, int nstate, double x0, double* y0, double h, double* /*yerr*/) {
    if (nstate >= NSTATE_MAX) {
        report(ULOG_ERROR_LEVEL, "nstate[%d] > NSTATE_MAX[%d]", nstate, static_cast<int>(NSTATE_MAX));
        return;
    }
    constexpr double kNodes[4] = {0.0, 0.5, 0.5, 1.0};
    constexpr double kWeights[4] = {1.0 / 6, 2.0 / 6, 2.0 / 6, 1.0 / 6};
    double* const k = stage_derivatives;             // of the present stage
    double* const sum = stage_derivatives + nstate;  // weighted, of all stages
    std::fill_n(stage_derivatives, 2 * std::max(nstate, 0), 0.0);
    for (int stage = 0; stage < 4; ++stage) {
        for (int j = 0; j < nstate; ++j) stage_vector[j] = y0[j] + kNodes[stage] * h * k[j];
        dydxFun(nstate, x0 + kNodes[stage] * h, stage_vector, k);
        for (int j = 0; j < nstate; ++j) sum[j] += kWeights[stage] * k[j];
    }
    for (int j = 0; j < nstate; ++j) y0[j] += h * sum[j];
}

void single_step_RungeKuttaFehlberg78(Derivative dydxFun, int nstate, double x0, double* y0, double h, double* yerr) {
    if (nstate >= NSTATE_MAX) {
        report(ULOG_ERROR_LEVEL,
               "FATAL ERROR: nstate(%d) > NSTATE_MAX (%d), single_step_RungeKuttaFehlberg78() cannot work!\n", nstate,
               static_cast<int>(NSTATE_MAX));
        return;
    }
    run_widest([=](auto) LEOPOD_KERNEL {
        constexpr auto all = std::make_integer_sequence<int, kNumStages>{};
        evaluate_stages(dydxFun, nstate, x0, y0, h, all);
        for_all_elements(nstate, [=](auto type, int j) LEOPOD_KERNEL {
            using T = decltype(type);
            T sum7, sum8;
            Elements<T>{h, row_length(nstate), j}.solution_sums(sum7, sum8, all);
            if (yerr != nullptr) store(yerr + j, magnitude(sum8 - sum7));
            store(y0 + j, load_as<T>(y0 + j) + sum8);
        });
    });
}

namespace {

/// A derivative may leave elements unwritten: they are zero, not what an earlier run has left.
void clear_stages(int n) {
    if (n > 0) std::fill_n(stage_derivatives, kNumStages * row_length(n), 0.0);
}

/// IntegrateTo behind clear_stages.
void integrate_to(Derivative dydxFun, int n, double x0, double* y0, double* step_sec, double xt, double* yerr) {
    constexpr double kDone = 1e-10;       // [s]
    constexpr double kTolerance = 1e-12;  // absolute, whatever the unit of an element
    constexpr double kSmallest = 1e-9;    // [s] settled: a step below it is refused
    double x = x0;
    double remaining = xt - x0;
    if (!std::isfinite(remaining)) {
        report(ULOG_ERROR_LEVEL, "IntegrateTo() cannot run from %g to %g", x0, xt);
        return;
    }
    // Magnitudes are compared, so that a backward run ends on the target too; the sign of h is that of the run.
    double mag = std::fabs(*step_sec);
    double h = remaining < 0.0 ? -mag : mag;
    while (std::fabs(remaining) > kDone) {
        if (!(mag >= kSmallest)) {
            report(ULOG_ERROR_LEVEL, "IntegrateTo() stops at %.6f: a step of %g s is too small", x, h);
            return;
        }
        if (mag > std::fabs(remaining)) h = remaining;
        std::copy_n(y0, std::max(n, 0), saved_state);
        for (;;) {
            single_step_RungeKuttaFehlberg78(dydxFun, n, x, y0, h, yerr);
            double err = 0.0, scale = 1.0;
            if (yerr != nullptr) {
                for (int i = 0; i < n; ++i) err += std::fabs(yerr[i]);
                err /= n;
                if (std::fabs(err) > 1e-18) scale = 0.9 * std::pow(kTolerance / err, 0.125);
            }
            if (!(err > kTolerance)) break;  // settled: an accepted step never grows
            std::copy_n(saved_state, std::max(n, 0), y0);
            h = scale * h;
            *step_sec = h;
            mag = std::fabs(h);
            if (!(mag >= kSmallest)) {
                report(ULOG_ERROR_LEVEL, "IntegrateTo() stops at %.6f: a step of %g s is too small", x, h);
                return;
            }
        }
        x += h;
        remaining -= h;
    }
}

}  // namespace

void IntegrateTo(Derivative dydxFun, int n, double x0, double* y0, double* step_sec, double xt, double* yerr) {
    if (n >= NSTATE_MAX) {
        report(ULOG_ERROR_LEVEL, "state num[%d] exceed NSATE_MAX[%d]!", n, static_cast<int>(NSTATE_MAX));
        return;
    }
    clear_stages(n);
    integrate_to(dydxFun, n, x0, y0, step_sec, xt, yerr);
}

bool orbit_integrate(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft, double duration_sec,
                     double step_size) {
    static double y[NSTATE_MAX];
    g_orbitdyn_config = ptr_orb_config;
    g_satellite_state = state_spacecraft;
    const int nstate = ptr_orb_config->nstate;
    report(ULOG_DEBUG_LEVEL, "nstate=%d np=%d status_derivative=%d\n", nstate, ptr_orb_config->num_param_forcemodel,
           ptr_orb_config->status_derivative);
    std::fill_n(y, std::size(y), 0.0);
    convert_struct2ystate(nstate, ptr_orb_config, state_spacecraft, y);
    // settled: the target is the duration itself, not the start plus the duration
    IntegrateTo(orbit_derivative, nstate, state_spacecraft->sec_since_start, y, &step_size, duration_sec, nullptr);
    convert_ystate2struct(nstate, y, ptr_orb_config, state_spacecraft);
    // settled: the last derivative has left the end there already, so that a run from 0 ends at twice the duration
    state_spacecraft->sec_since_start += duration_sec;
    return true;
}

void interpolate_pos_vel_acc(ORBIT_DYN_CONFIG* /*myconfig*/, STATE_SPACECRAFT* mystate, double* xx_all, int num_total,
                             double xt, double* yt_pos_vel_acc, double* yt_acc_derivative) {
    constexpr int kValues = 9;
    if (yt_pos_vel_acc == nullptr) {
        if (yt_acc_derivative != nullptr) {
            report(ULOG_ERROR_LEVEL, "yt_pos_vel_acc=NULL, yt_acc_derivative!=NULL");
        }
        return;
    }
    std::fill_n(yt_pos_vel_acc, kValues, 0.0);
    if (yt_acc_derivative != nullptr) std::fill_n(yt_acc_derivative, kValues, 0.0);
    Window window;
    if (!choose_window(xx_all, num_total, xt, window)) return;
    double table[kWindow * kValues];
    for (int i = 0; i < kWindow; ++i) {
        const STATE_SPACECRAFT& record = mystate[window.first + i];
        double* const row = table + i * kValues;
        std::copy_n(record.pos_eci, 3, row);
        std::copy_n(record.vel_eci, 3, row + 3);
        std::copy_n(record.acc_eci, 3, row + 6);
    }
    interpolation_multip_dimension(kWindow, kValues, window.u, table, window.ut, yt_pos_vel_acc, yt_acc_derivative);
}

void get_state_interpolated(ORBIT_DYN_CONFIG* myconfig, STATE_SPACECRAFT* mystate, int nstate, int num_output,
                            double* xx_all, double* ystate_integrate, double xt, double* yt_computed) {
    static double table[kWindow * 6 * kColumns];
    static double values[6 * kColumns];
    if (nstate < kMotion) {
        report(ULOG_ERROR_LEVEL, "get_state_interpolated() is used for interpolation of pos+vel+PHI+S, nstate=%d",
               nstate);
        return;
    }
    std::fill_n(yt_computed, nstate, 0.0);
    Window window;
    if (!choose_window(xx_all, num_output, xt, window)) return;
    const auto row_of = [&](int i) {
        return ystate_integrate + static_cast<std::size_t>(window.first + i) * static_cast<std::size_t>(nstate);
    };
    for (int i = 0; i < kWindow; ++i) std::copy_n(row_of(i), kMotion, table + i * kMotion);
    interpolation_multip_dimension(kWindow, kMotion, window.u, table, window.ut, values, nullptr);
    std::copy_n(values, kMotion, yt_computed);

    const int np = myconfig->num_param_forcemodel;
    if (np < 1 || np > kColumns || nstate < kMotion + 6 * np) return;
    int columns[kColumns];
    const int m = begun_columns(myconfig, gtime2mjd(gtimeAddSec(mystate->utc_start, xt)), np, columns);
    for (int i = 0; i < kWindow; ++i) {
        const double* const S = row_of(i) + kMotion;
        double* out = table + i * 6 * m;
        for (int r = 0; r < 6; ++r) {
            for (int c = 0; c < m; ++c) *out++ = S[r * np + columns[c]];
        }
    }
    interpolation_multip_dimension(kWindow, 6 * m, window.u, table, window.ut, values, nullptr);
    for (int r = 0; r < 6; ++r) {
        for (int c = 0; c < m; ++c) yt_computed[kMotion + r * np + columns[c]] = values[r * m + c];
    }
}

// --- orbit fit -------------------------------------------------------------------------------------------------------

namespace {

struct FitSize {
    int nstate = 0, np = 0, NP = 0, num_output = 0, nepochs = 0;
};

/// Sizes of a fit from its configuration. False, with a message, where they don't go together.
bool fit_size(ORBIT_DYN_CONFIG* config, double span, int nepochs, FitSize& size) {
    size.nstate = config->nstate;
    size.np = config->num_param_forcemodel;
    size.NP = 6 + size.np;
    size.nepochs = nepochs;
    size.num_output = std::min(to_int(span / config->output_interval), INT_MAX - 1) + 1;
    int values = 6;
    for (int i = 0; i < force_count(config); ++i) values += parameters_of(config, config->force_model_used[i]).num;
    if (!(config->output_interval > 0.0) || size.num_output < kWindow) {
        report(ULOG_ERROR_LEVEL, "orbit_fit(): an arc of %g s with an output interval of %g s is too short", span,
               config->output_interval);
        return false;
    }
    if (size.np < 0 || values > size.NP || size.nstate != 42 + 6 * size.np || size.nstate >= NSTATE_MAX) {
        report(ULOG_ERROR_LEVEL, "orbit_fit(): nstate=%d does not fit %d force parameters", size.nstate, size.np);
        return false;
    }
    return true;
}

/// Buffers of one fit. N is NP x NP of which only the upper triangle is summed; H is 3 x NP.
struct FitWork : FitSize {
    Work<double> x, dx, N, b, H, y, err, yt;
    Work<double> abscissa, table;  ///< the trajectory: num_output rows of nstate
    Work<double> omc_eci, omc_arc, column;

    FitWork(const FitSize& s, Memory& memory)
        : FitSize(s),
          x(memory, area(NP, 1)),
          dx(memory, area(NP, 1)),
          N(memory, area(NP, NP)),
          b(memory, area(NP, 1)),
          H(memory, area(3, NP)),
          y(memory, area(nstate, 1)),
          err(memory, area(nstate, 1)),
          yt(memory, area(nstate, 1)),
          abscissa(memory, area(num_output, 1)),
          table(memory, area(num_output, nstate)),
          omc_eci(memory, area(3, nepochs)),
          omc_arc(memory, area(3, nepochs)),
          column(memory, area(nepochs, 1)) {}
};

/// The last stage is ahead of the record: its sensitivities stand in the flat vectors alone.
bool record_is_behind = false;

/// orbit_derivative for a fit: sensitivities go from one flat vector to the other, past the record, which gets them by keep_sensitivities.
void fit_derivative(int nstate, double sec_since_start, double* y, double* dydx) {
    ORBIT_DYN_CONFIG* const config = g_orbitdyn_config;
    STATE_SPACECRAFT* const state = g_satellite_state;
    const int np = config->num_param_forcemodel;
    if (config->status_derivative != 2 || np < 1 || np > kColumns || nstate < kMotion + 6 * np) {
        orbit_derivative(nstate, sec_since_start, y, dydx);
        return;
    }
    state->sec_since_start = sec_since_start;
    convert_ystate2struct(kMotion, y, config, state);
    compute_acc_all(config, state);
    const double *const dadr = state->dadr, *const dadp = state->dadp;
    run_widest([=](auto) LEOPOD_KERNEL {
        multiply_columns(dadr, state->PHI, 0, 6, 6, nullptr, state->dPHI);
        multiply_columns(dadr, y + kMotion, 0, np, np, dadp, dydx + kMotion);
    });
    convert_struct2dydx(kMotion, config, state, dydx);
    record_is_behind = true;
}

/// Sensitivities of the last stage into the record.
void keep_sensitivities(int nstate, ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state) {
    if (!record_is_behind) return;
    record_is_behind = false;
    const int np = config->num_param_forcemodel;
    const double* const derivative = stage_derivatives + (kNumStages - 1) * row_length(nstate);
    for (int i = 0; i < 6; ++i) {
        std::copy_n(stage_vector + kMotion + i * np, np, state->S + i * kColumns);
        std::copy_n(derivative + kMotion + i * np, np, state->dS + i * kColumns);
    }
    run_widest([=](auto) LEOPOD_KERNEL {
        multiply_columns(state->dadr, state->S, np, kColumns, kColumns, nullptr, state->dS);
    });
}

/// Integrates the arc from the parameters x and fills the table.
void integrate_arc(ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, GTime t0, FitWork& w, double* step,
                   SOLUTION_ORBITFIT* sln) {
    STATE_SPACECRAFT* const history = sln != nullptr ? sln->state_all : nullptr;
    state->utc_start = t0;
    state->sec_since_start = 0.0;
    set_state_force_param(config, state, w.x.data());
    matrix_identical(6, state->PHI);
    std::fill_n(state->S, std::size(state->S), 0.0);
    compute_acc_all(config, state);
    convert_struct2ystate(w.nstate, config, state, w.y.data());
    std::copy_n(w.y.data(), w.nstate, w.table.data());
    if (history != nullptr) history[0] = *state;
    w.abscissa[0] = 0.0;
    report(ULOG_INFO_LEVEL, "start orbit integration.");
    clear_stages(w.nstate);
    double t = 0.0;
    for (int i = 1; i < w.num_output; ++i) {
        const double next = t + config->output_interval;
        integrate_to(fit_derivative, w.nstate, t, w.y.data(), step, next, w.err.data());
        std::copy_n(w.y.data(), w.nstate, w.table.data() + static_cast<std::size_t>(i) * w.nstate);
        if (history != nullptr || i + 1 == w.num_output) keep_sensitivities(w.nstate, config, g_satellite_state);
        if (history != nullptr) history[i] = *g_satellite_state;  // settled: the values of the last derivative
        w.abscissa[i] = next;
        t = next;
    }
}

/// N += H^T H and b += H^T d. Products commute, so the upper triangle gives the same bits as the whole; a zero column adds nothing.
void add_normal_equations(FitWork& w, const double (&d)[3]) {
    const double* const h0 = w.H.data();
    const double* const h1 = h0 + w.NP;
    const double* const h2 = h1 + w.NP;
    for (int i = 0; i < w.NP; ++i) {
        const double a = h0[i], b = h1[i], c = h2[i];
        if (a == 0.0 && b == 0.0 && c == 0.0) continue;
        double* const row = w.N.data() + static_cast<std::size_t>(i) * w.NP;
        run_widest([=, n = w.NP](auto) LEOPOD_KERNEL {
            int j = i;
            for (; j + kQuad <= n; j += kQuad)
                store(row + j, load(row + j) + (a * load(h0 + j) + b * load(h1 + j) + c * load(h2 + j)));
            for (; j < n; ++j) row[j] += a * h0[j] + b * h1[j] + c * h2[j];
        });
        w.b[i] += a * d[0] + b * d[1] + c * d[2];
    }
}

void mirror_normal_matrix(FitWork& w) {
    for (int i = 0; i < w.NP; ++i) {
        for (int j = 0; j < i; ++j)
            w.N[static_cast<std::size_t>(i) * w.NP + j] = w.N[static_cast<std::size_t>(j) * w.NP + i];
    }
}

/// Residuals and normal equations of all observations.
void form_equations(ORBIT_DYN_CONFIG* config, STATE_SPACECRAFT* state, GTime t0, const GTime* epochs,
                    const double (*positions)[3], FitWork& w) {
    std::fill_n(w.N.data(), static_cast<std::size_t>(w.NP) * w.NP, 0.0);
    std::fill_n(w.b.data(), w.NP, 0.0);
    report(ULOG_INFO_LEVEL, "start looping over all the orbit positions in eci.");
    double* const yt = w.yt.data();
    for (int k = 0; k < w.nepochs; ++k) {
        get_state_interpolated(config, state, w.nstate, w.num_output, w.abscissa.data(), w.table.data(),
                               gtimeSubSec(epochs[k], t0), yt);
        double d[3], R[3], T[3], N[3];
        for (int i = 0; i < 3; ++i) d[i] = positions[k][i] - yt[i];
        eci2rtn(yt, yt + 3, R, T, N);
        std::copy_n(d, 3, w.omc_eci.data() + 3 * static_cast<std::size_t>(k));
        double* const arc = w.omc_arc.data() + 3 * static_cast<std::size_t>(k);
        arc[0] = dotproduct(3, 3, d, T);
        arc[1] = dotproduct(3, 3, d, R);
        arc[2] = dotproduct(3, 3, d, N);
        for (int i = 0; i < 3; ++i) {
            double* const row = w.H.data() + i * w.NP;
            std::copy_n(yt + 6 + 6 * i, 6, row);
            std::copy_n(yt + 42 + i * w.np, w.np, row + 6);
        }
        add_normal_equations(w, d);
    }
    mirror_normal_matrix(w);
}

/// Logs mean, scatter and rms of the residuals along, radial, cross; the rms go to the solution.
void report_residuals(const FitWork& w, SOLUTION_ORBITFIT* sln) {
    constexpr double kOutlier = 1000000.0;  // [m]
    double* const column = w.column.data();
    double rms[3], scatter[3], mean[3];
    for (int c = 0; c < 3; ++c) {
        for (std::size_t k = 0; k < w.column.size(); ++k) column[k] = w.omc_arc[3 * k + static_cast<std::size_t>(c)];
        rms[c] = get_rms(column, w.nepochs, kOutlier);
        scatter[c] = get_std(column, w.nepochs, kOutlier);
        mean[c] = get_mean(column, w.nepochs, kOutlier);
    }
    if (sln != nullptr) std::copy_n(rms, 3, sln->rms_acr);
    report(ULOG_INFO_LEVEL, "fit RMS[ARC] = %12.6lf %12.6lf %12.6lf", rms[0], rms[1], rms[2]);
    report(ULOG_INFO_LEVEL, "fit STD[ARC] = %12.6lf %12.6lf %12.6lf", scatter[0], scatter[1], scatter[2]);
    report(ULOG_INFO_LEVEL, "fit AVG[ARC] = %12.6lf %12.6lf %12.6lf", mean[0], mean[1], mean[2]);
}

}  // namespace

bool orbit_fit(ORBIT_DYN_CONFIG* ptr_orb_config, STATE_SPACECRAFT* state_spacecraft, GTime epoch_end, int nepochs,
               GTime* epoch_utc, double (*orb_posvel_eci)[3], SOLUTION_ORBITFIT* sln_fit) {
    constexpr int kMaxIterations = 8;
    constexpr double kThreshold = 0.001;
    if (nepochs < 1 || epoch_utc == nullptr) return false;
    ORBIT_DYN_CONFIG* const config = ptr_orb_config;
    STATE_SPACECRAFT* const state = state_spacecraft;
    g_orbitdyn_config = config;
    g_satellite_state = state;

    const double span = gtimeSubSec(epoch_end, state->utc_start);
    FitSize size;
    if (!fit_size(config, span, nepochs, size)) return false;
    Memory memory("orbit_fit");
    FitWork w(size, memory);
    if (!memory.complete()) {
        report(ULOG_ERROR_LEVEL, "orbit_fit(): no memory for %d epochs of %d values", w.num_output, w.nstate);
        return false;
    }
    extract_state_force_param(config, state, w.x.data());
    const GTime t0 = gtimeAddSec(state->utc_start, state->sec_since_start);
    double step = config->step_size;  // settled: a step reduced by a rejection stays so for the iterations that follow

    for (int iteration = 0; iteration < kMaxIterations; ++iteration) {
        report(ULOG_INFO_LEVEL, "iteration number: %d", iteration);
        integrate_arc(config, state, t0, w, &step, sln_fit);
        form_equations(config, state, t0, epoch_utc, orb_posvel_eci, w);
        report(ULOG_INFO_LEVEL,
               "lsq solution to the corrections of initial position, velocity and empirical force parameters");
        const int solved = solve_normal(w.N.data(), w.b.data(), w.NP, w.dx.data(), nullptr);
        if (solved == kNoMemory) return false;
        if (solved == -1) {
            report(ULOG_ERROR_LEVEL, "solve_lsq_normal_equation error! \n stopping!");
            stop();
        }
        report_residuals(w, sln_fit);
        const double test = std::sqrt(norm2(w.NP, w.dx.data()) / w.NP);
        report(ULOG_INFO_LEVEL, "test_convergence[loss function]=%8.6E,threshold=%8.6E", test, kThreshold);
        if (test < kThreshold) {  // settled: the last correction is not applied
            report(ULOG_INFO_LEVEL, "orbit fit ends (iter = %d, max_iter_threshold=%d)", iteration, kMaxIterations);
            break;
        }
        ArrayAddition(w.NP, w.x.data(), w.dx.data(), w.x.data());
    }

    if (sln_fit != nullptr && sln_fit->omc_eci != nullptr && sln_fit->omc_ARC != nullptr) {
        std::copy_n(w.omc_eci.data(), 3 * static_cast<std::size_t>(nepochs), sln_fit->omc_eci);
        std::copy_n(w.omc_arc.data(), 3 * static_cast<std::size_t>(nepochs), sln_fit->omc_ARC);
    }
    return true;
}

// --- dynamics configuration file -------------------------------------------------------------------------------------

namespace {

/// Reading of one configuration file. A table's excess is dropped with one warning.
struct ConfigReading {
    LineReader lines;
    ORBIT_DYN_CONFIG* config;
    int num_forces;
    bool full_forces, full_kinds, full_planets;
};

void add_force(ConfigReading& r, ForceModel fm) {
    constexpr int kMax = 11;
    if (r.num_forces == kMax) {
        warn_limit(r.full_forces, r.lines.name, kMax, "force models");
        return;
    }
    r.config->force_model_used[r.num_forces++] = fm;
}

/// One parameter request NAME:INTERVAL; one with an unknown name is ignored.
void add_request(ConfigReading& r, ForceModel fm, const char* text) {
    constexpr int kMax = 20;
    Tokens parts;
    split(text, ":", parts);
    if (parts.count == 0 || emp_param_name_check(parts.token[0]) == -1) return;
    if (r.config->emp_param_num_base == kMax) {
        warn_limit(r.full_kinds, r.lines.name, kMax, "parameter requests");
        return;
    }
    EMP_PARAM_BASE& kind = r.config->emp_params_base[r.config->emp_param_num_base++];
    kind.fm = fm;
    copy_field(parts.token[0], 0, sizeof kind.name_param - 1, kind.name_param);
    kind.interval = to_double(parts.token[1]);
}

void read_earth_gravity(ConfigReading& r, const Tokens& t, bool yes) {
    ORBIT_DYN_CONFIG* const config = r.config;
    if (yes) {
        add_force(r, FM_EarthGravity);
        config->norder_gravity = to_int(t.token[3]);
    }
    for (int i = 4; i < t.count; ++i) {
        const auto is = [&](const char* word) { return std::strcmp(t.token[i], word) == 0; };
        if (is("time_varying_gravity")) config->time_vary_gravity = true;
        if (is("solid_earth_tide")) config->solid_earth_tide = true;
        if (is("ocean_tide")) config->ocean_tide = true;
        if (is("polar_tide")) config->pole_tide = true;
    }
}

void read_third_bodies(ConfigReading& r, const Tokens& t) {
    static constexpr struct {
        const char* word;
        PLANET_JPL body;
    } kBodies[] = {{"MOON", MOON}, {"SUN", SUN},     {"JUPI", JUPITER}, {"VENU", VENUS},   {"MERC", MERCURY},
                   {"MARS", MARS}, {"SATU", SATURN}, {"URAN", URANUS},  {"NEPT", NEPTUNE}, {"PLUT", PLUTO}};
    constexpr int kMax = 17;
    add_force(r, FM_ThirdBody);
    int n = 0;
    for (int i = 3; i < t.count; ++i) {
        for (const auto& entry : kBodies) {
            if (!contains(t.token[i], entry.word)) continue;
            if (n == kMax) {
                warn_limit(r.full_planets, r.lines.name, kMax, "planets");
            } else {
                r.config->planets[n++] = entry.body;
            }
        }
    }
    r.config->num_planets = n;
}

/// Line of a surface force: one entry for each model word found. True if there was one.
bool read_surface_force(ConfigReading& r, const Tokens& t, ForceModel fm, int* option) {
    constexpr const char* kModels[] = {"GRID", "BOXW", "SPHERE"};
    bool found = false;
    for (int i = 0; i < 3; ++i) {
        if (!contains(t.token[2], kModels[i])) continue;
        add_force(r, fm);
        *option = i;
        found = true;
    }
    return found;
}

void read_force_line(ConfigReading& r, const Tokens& t) {
    const auto keyword = [&](const char* word) { return contains(t.token[0], word); };
    const bool yes = contains(t.token[2], "YES");
    if (keyword("Earth_Gravity")) read_earth_gravity(r, t, yes);
    if (keyword("Third_Body_Gravity") && yes) read_third_bodies(r, t);
    if (keyword("General_Relativity") && yes) add_force(r, FM_Relativity);
    if (keyword("Solar_Radiation_Pressure") && read_surface_force(r, t, FM_SRP, &r.config->opt_srp) && t.count > 3) {
        add_request(r, FM_SRP, t.token[3]);
    }
    if (keyword("Earth_Radiation_Pressure")) read_surface_force(r, t, FM_ERP, &r.config->opt_erp);
    if (keyword("Atmosphere_Drag") && read_surface_force(r, t, FM_Drag, &r.config->opt_drag) && t.count > 3) {
        add_request(r, FM_Drag, t.token[3]);
    }
    if (keyword("Empirical_Force") && yes) {
        add_force(r, FM_EMP);
        for (int i = 3; i < t.count; ++i) add_request(r, FM_EMP, t.token[i]);
    }
}

void read_general_line(ConfigReading& r, const Tokens& t) {
    const double value = to_double(t.token[2]);
    if (contains(t.token[0], "Integration_Step_Size")) {
        r.config->step_size = value;
    } else if (contains(t.token[0], "Integration_Output_Interval")) {
        r.config->output_interval = value;
    } else if (contains(t.token[0], "spacecraft_state_mode")) {
        r.config->status_derivative = to_int(value);
    }
}

void log_forces(const ConfigReading& r) {
    constexpr const char* kWords[FM_TOTAL] = {"",    "Earth Gravity", "Third body", "Relativity",     "", "", "SRP",
                                              "ERP", "Drag",          "",           "Empirical force"};
    report(ULOG_INFO_LEVEL, "force model used[num=%d]: ", r.num_forces);
    char text[256] = {};
    for (int i = 0; i < r.num_forces; ++i) {
        const std::size_t used = std::strlen(text);
        std::snprintf(text + used, sizeof text - used, "%s,", kWords[r.config->force_model_used[i]]);
    }
    report(ULOG_INFO_LEVEL, "%s", text);
}

}  // namespace

void readfile_orbitdynamics_config(char* orbitdynamic_config_filename, ORBIT_DYN_CONFIG* ptr_orb_config) {
    const File file = open_text(orbitdynamic_config_filename);
    if (file == nullptr) {
        report_at(ULOG_ERROR_LEVEL, kModule, __LINE__, __func__, "config file open failed, stopping\n");
        stop();
    }
    ConfigReading r{};
    r.lines.file = file.get();
    r.lines.name = orbitdynamic_config_filename;
    r.config = ptr_orb_config;
    r.config->emp_param_num_base = 0;
    bool in_forces = false, in_general = false;
    char line[kLineSize];
    while (read_line(r.lines, line)) {
        if (line[0] == '*') continue;
        if (char* const comment = std::strstr(line, "//")) *comment = '\0';
        if (contains(line, "+Force_Models")) in_forces = true;
        if (contains(line, "-Force_Models")) in_forces = false;
        if (contains(line, "+GENERAL_CONFIG")) in_general = true;
        if (contains(line, "-GENERAL_CONFIG")) in_general = false;
        if (!in_forces && !in_general) continue;
        Tokens tokens;
        split(line, " \t\r", tokens, kMaxTokens, &r.lines);
        if (in_forces) read_force_line(r, tokens);
        if (in_general) read_general_line(r, tokens);
    }
    r.config->num_force_models = r.num_forces;
    log_forces(r);
}

// --- orbit simulation and fit drivers --------------------------------------------------------------------------------

namespace {

struct OrbitRow {
    double seconds;  // since 2000-01-01 12:00:00 GPST
    double ecf[3];   // [m]
};
constexpr OrbitRow kOrbitPositions[] = {
#include "tables/orbit_positions_2019016.inc"
};
static_assert(std::size(kOrbitPositions) == 1440);

/// A GPST of the list, as UTC.
GTime utc_of_list(double seconds) {
    const GTime base = YMD2GTime({2000, 1, 1, 12, 0, 0.0}, tsGPST);
    return gtimeChangeTimeSystem(gtimeAddSec(base, seconds), tsUTC);
}

/// What a driver allocates first. The library's globals point into it from lend() until release().
struct DriverStores {
    static constexpr int kNumRecords = 5000;
    Work<EOPREC> eop;
    Work<EPH_HEADER_JPL> header;
    Work<EPH_RECORD_JPL> records;
    Work<ORBIT_DYN_CONFIG> config;
    Work<STATE_SPACECRAFT> state;

    explicit DriverStores(Memory& memory)
        : eop(memory, MAXSIZE_EOP + 1),
          header(memory, 1),
          records(memory, kNumRecords),
          config(memory, 1),
          state(memory, 1) {}
};

/// Points the globals at the stores that are read from files.
void lend(const DriverStores& s) {
    initialize_global_earth_rotation_param();
    initialize_global_eph_planet();
    g_eop_storage = s.eop.data();
    g_eph_header = s.header.data();
    g_ephData_storage = s.records.data();
}

bool load_planets(const char* filename, const DriverStores& s) {
    return load_eph_storage_file(name_of(filename), s.header.data(), s.records.data());
}

/// No global points into the stores afterwards.
void release() {
    initialize_global_earth_rotation_param();
    initialize_global_eph_planet();
    g_orbitdyn_config = nullptr;
    g_satellite_state = nullptr;
}

/// Integrated records with their abscissae.
struct Trajectory {
    int count;
    Work<STATE_SPACECRAFT> states;
    Work<double> abscissa;

    Trajectory(Memory& memory, int n)
        : count(n), states(memory, static_cast<std::size_t>(n)), abscissa(memory, static_cast<std::size_t>(n)) {}
};

/// Records of an arc, output epochs at both ends included. Ends the process where there is no memory.
Trajectory make_trajectory(Memory& memory, double arc, double interval) {
    constexpr double kMaxCount = 1e7;
    const double count = std::trunc(arc / interval) + 1.0;
    const bool possible = count >= 1.0 && count <= kMaxCount;
    Trajectory out(memory, possible ? static_cast<int>(count) : 0);
    if (!possible || !memory.complete()) {
        report(ULOG_ERROR_LEVEL, "orbit intergation state memory allocation error!");
        stop();
    }
    return out;
}

/// Integrates from the driver's state and fills the records.
void integrate_trajectory(const DriverStores& s, Trajectory& out) {
    ORBIT_DYN_CONFIG* const config = s.config.data();
    STATE_SPACECRAFT* const state = s.state.data();
    static double y[NSTATE_MAX], err[NSTATE_MAX];
    const int nstate = config->nstate;
    double step = config->step_size;
    double t = 0.0;
    convert_struct2ystate(nstate, config, state, y);
    out.states[0] = *state;
    for (int i = 1; i < out.count; ++i) {
        const double next = t + config->output_interval;
        IntegrateTo(orbit_derivative, nstate, t, y, &step, next, err);
        convert_ystate2struct(nstate, y, config, state);
        out.states[i] = *state;
        out.abscissa[i] = next;
        t = next;
    }
}

/// One row of the trajectory file.
void write_row(std::FILE* file, double x, GTime start, double* y, double* dy) {
    const double mjd = gtime2mjd(gtimeAddSec(start, x));
    const double leap = getLeapSecond(mjd);
    double pos[3], vel[3], acc[3], jerk[3];
    eci2ecf(mjd, leap, y, y + 3, pos, vel);
    eci2ecf(mjd, leap, y + 6, nullptr, acc, nullptr);
    eci2ecf(mjd, leap, dy + 6, nullptr, jerk, nullptr);  // settled: per unit of the normalised abscissa
    print(file,
          "%.2lf,mot,v1_m1,%16.4lf,%16.4lf,%16.4lf,%8.4lf,%8.4lf,%8.4lf,%16.12lf,%16.12lf,%16.12lf,"
          "%16.12lf,%16.12lf,%16.12lf,%8.4lf,%8.4lf,%8.4lf,%8.4lf,%8.4lf,%8.4lf,%8.4lf,%8.4lf,%8.4lf\n",
          x, pos[0], pos[1], pos[2], vel[0], vel[1], vel[2], acc[0], acc[1], acc[2], jerk[0], jerk[1], jerk[2], 0.0,
          0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0);
}

void write_trajectory(std::FILE* file, const DriverStores& s, Trajectory& trajectory) {
    constexpr int kMargin = 5;  // the ends of the interpolation are left out
    constexpr double kStep = 0.02;
    double* const xx = trajectory.abscissa.data();
    const int first = kMargin, last = trajectory.count - kMargin;
    const int rows = to_int((xx[last] - xx[first]) / kStep) + 1;
    print(stdout, "num_total_integration=%d, num_total_output=%d , idx_s=%d, idx_e=%d , xx_all[idx_s]=%.8lf \n",
          trajectory.count, rows, first, last, xx[first]);
    for (int i = 1; i < rows; ++i) {  // settled: row 0 is not written
        const double x = xx[first] + i * kStep;
        double y[9], dy[9];
        interpolate_pos_vel_acc(s.config.data(), trajectory.states.data(), xx, trajectory.count, x, y, dy);
        write_row(file, x, s.state[0].utc_start, y, dy);
    }
}

}  // namespace

void test_orbit_simulation(char* orbit_dynamics_config_filename, char* output_orb_filename) {
    constexpr double kArc = 90000.0;  // [s]
    Memory memory("test_orbit_simulation");
    const DriverStores s(memory);
    if (memory.missing()) return;
    const File file = create_text(output_orb_filename);
    if (file == nullptr) {
        report(ULOG_ERROR_LEVEL, "output orbit file (%s) open failed!",
               output_orb_filename != nullptr ? output_orb_filename : "");
        return;
    }
    lend(s);
    initialize_global_earth_gravity();
    load_eop_storage_rapid(name_of(""));  // settled: no name, so the orientation stays zero
    load_earth_coef_EGM(name_of("testdata/EGM2008.txt"));
    load_planets("testdata/ascp1950_438.data", s);
    readfile_orbitdynamics_config(orbit_dynamics_config_filename, s.config.data());
    initialize_state_spacecraft(s.config.data(), s.state.data());
    g_orbitdyn_config = s.config.data();
    g_satellite_state = s.state.data();

    constexpr double kPosition[3] = {-6087601.409276824, -3074325.849287398, -894239.5546354894};
    constexpr double kVelocity[3] = {-799.5501204406756, -561.8395018813569, 7549.745796520129};
    s.state[0].utc_start = utc_of_list(600868800.0);
    s.state[0].sec_since_start = 0.0;
    std::copy_n(kPosition, 3, s.state[0].pos_eci);
    std::copy_n(kVelocity, 3, s.state[0].vel_eci);
    compute_acc_all(s.config.data(), s.state.data());
    Memory records("test_orbit_simulation");
    Trajectory trajectory = make_trajectory(records, kArc, s.config[0].output_interval);
    if (has_window(trajectory.count)) {
        integrate_trajectory(s, trajectory);
        write_trajectory(file.get(), s, trajectory);
    }
    release();
}

int test_orbit_fit_data(GTime* epochs_utc, double (*pos_eci)[3]) {
    int n = 0;
    for (const OrbitRow& row : kOrbitPositions) {
        const GTime t = utc_of_list(row.seconds);
        const double mjd = gtime2mjd(t);
        double ecf[3] = {row.ecf[0], row.ecf[1], row.ecf[2]};
        epochs_utc[n] = t;
        ecf2eci(mjd, getLeapSecond(mjd), ecf, nullptr, pos_eci[n], nullptr);
        ++n;
    }
    return n;
}

void test_orbit_fit(void) {
    constexpr int kRoom = 1500, kStartRows = 8;
    Memory memory("test_orbit_fit");
    const Work<GTime> epochs(memory, kRoom);
    const Work<double[3]> positions(memory, kRoom);
    const DriverStores s(memory);
    if (memory.missing()) return;
    lend(s);
    initialize_global_earth_gravity();
    const bool eop_ok = load_eop_storage(name_of("example/eopc04_IAU2000.1962-now"));
    const bool jpleph_ok = load_planets("example/ascp1950_438.data", s);
    const bool egm_ok = load_earth_coef_EGM(name_of("example/EGM2008.txt"));
    report(ULOG_INFO_LEVEL, "eop_ok=%d egm_ok=%d jpleph_ok=%d\n", eop_ok, egm_ok, jpleph_ok);
    initialize_orbit_config(s.config.data());
    initialize_state_spacecraft(s.config.data(), s.state.data());

    const int n = test_orbit_fit_data(epochs.data(), positions.data());
    STATE_SPACECRAFT* const state = s.state.data();
    for (int axis = 0; axis < 3; ++axis) {
        double t[kStartRows], x[kStartRows], value_and_rate[2] = {};
        for (int i = 0; i < kStartRows; ++i) {
            t[i] = gtimeSubSec(epochs[i], epochs[0]);
            x[i] = positions[i][axis];
        }
        interpolation_Lagrange_Barycentric(t, x, kStartRows, 0.0, value_and_rate);
        state->pos_eci[axis] = value_and_rate[0];
        state->vel_eci[axis] = value_and_rate[1];
    }
    state->satindex = 0;
    state->utc_start = epochs[0];
    print(stdout, "%ld %14.8f %18.12f %18.12f %18.12f %18.14f %18.14f %18.14f\n", state->utc_start.time.mjd,
          state->utc_start.time.sod, state->pos_eci[0], state->pos_eci[1], state->pos_eci[2], state->vel_eci[0],
          state->vel_eci[1], state->vel_eci[2]);
    orbit_fit(s.config.data(), state, epochs[n - 1], n, epochs.data(), positions.data(), nullptr);
    release();
}

void test_orbit_integrate(void) {
    Memory memory("test_orbit_integrate");
    const DriverStores s(memory);
    if (memory.missing()) return;
    lend(s);
    load_eop_storage_rapid(name_of("testdata/finals.data.iau2000.txt"));
    load_planets("testdata/ascp1950_438.data", s);
    initialize_orbit_config(s.config.data());
    initialize_state_spacecraft(s.config.data(), s.state.data());
    constexpr double kPosition[3] = {13153735.676988928, -16188453.132377332, -20998245.257834096};
    constexpr double kVelocity[3] = {1328.7321063596385, 3060.7259101726518, -1527.978362402242};
    STATE_SPACECRAFT* const state = s.state.data();
    state->utc_start = mjd2GTime(tsUTC, 57454.24980324074);
    state->sec_since_start = 0.0;
    std::copy_n(kPosition, 3, state->pos_eci);
    std::copy_n(kVelocity, 3, state->vel_eci);
    char before[100] = {}, after[100] = {};  // labels for a debugger; nothing is printed
    gtime2str(state->utc_start, before);
    orbit_integrate(s.config.data(), state, 300.0, 20.0);
    gtime2str(gtimeAddSec(state->utc_start, state->sec_since_start), after);
    release();
}

void test_orbit_integrate_embed(void) {
    // Static, so that the globals stay valid after the return.
    static EOPREC eop[3];
    static EPH_HEADER_JPL header;
    static EPH_RECORD_JPL record[1];
    static ORBIT_DYN_CONFIG config;
    static STATE_SPACECRAFT state;
    std::memset(&config, 0, sizeof config);
    std::memset(&state, 0, sizeof state);
    load_eops_default(eop, 3);
    g_eop_storage_size = 3;
    load_eph_storage_default(&header, record);
    g_eph_header = &header;
    g_ephData_storage = record;
    g_num_eph_record = 1;
    initialize_orbit_conifig_embed(&config);
    initialize_state_spacecraft_embed(&config, &state);  // settled: stops before integrating
}

void orbit_prediction_pos_vel(GTime /*ts_utc*/, double* /*satpos*/, double* /*satvel*/, double /*duration*/,
                              ORBIT_DYN_CONFIG* /*ptr_orbit_config*/) {
    // A stub, kept in the interface.
}
