// Results of the library on fixed inputs as the bits of their numbers, one a line: "group hexadecimal". Two builds agree where the lines do:
// scripts/measure/bits_arm64 compares x86-64 with arm64. With OWN_MATH sines and the like come from this file instead of the C library, so that only
// the library's arithmetic is left to differ.
//
//   bits DIRECTORY    examples/data of the tree
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "attitude.h"
#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "eph_planet.h"
#include "gnss_satposition.h"
#include "iau_function.h"
#include "iers_function.h"
#include "keplerian_element.h"
#include "measure.h"
#include "orbit_dynamics.h"
#include "pod_embed.h"
#include "tle.h"

#ifdef OWN_MATH
// Series and Newton steps in double, good to some 1e-15: enough to run the models, and the same everywhere.
namespace {

constexpr double kQuarter = 1.5707963267948966;

/// Sine or cosine, by the quarter that the argument lies in.
double wave(double x, long quarter) {
    const double n = std::rint(x / kQuarter);
    const double r = std::remainder(x, kQuarter), z = -r * r;
    quarter = (static_cast<long>(std::fmod(n, 4.0)) + 4 + quarter) % 4;
    double sum = 0.0;
    for (int k = 24; k >= 2; k -= 2) sum = (1.0 + sum) * z / (k * (quarter % 2 == 0 ? k + 1.0 : k - 1.0));
    const double value = quarter % 2 == 0 ? r * (1.0 + sum) : 1.0 + sum;
    return quarter < 2 ? value : -value;
}

/// Logarithm of a positive number.
double logarithm(double x) {
    int e = 0;
    const double m = std::frexp(x, &e), s = (m - 0.75) / (m + 0.75), z = s * s;
    double sum = 0.0;
    for (int k = 41; k >= 3; k -= 2) sum = (sum + 1.0 / k) * z;
    return 2.0 * s * (1.0 + sum) - 0.28768207245178093 + e * 0.6931471805599453;
}

double exponential(double x) {
    const double n = std::rint(x / 0.6931471805599453), r = x - n * 0.6931471805599453;
    double sum = 0.0;
    for (int k = 24; k >= 1; --k) sum = (1.0 + sum) * r / k;
    return std::ldexp(1.0 + sum, static_cast<int>(n));
}

double arc(double x) {  // of a tangent
    if (std::fabs(x) > 1.0) return (x > 0.0 ? kQuarter : -kQuarter) - arc(1.0 / x);
    double y = x * (0.9724 - 0.1919 * x * x);
    for (int k = 0; k < 4; ++k) {
        const double t = wave(y, 0) / wave(y, 1);
        y -= (t - x) / (1.0 + t * t);
    }
    return y;
}

}  // namespace

extern "C" {
double sin(double x) { return wave(x, 0); }
double cos(double x) { return wave(x, 1); }
void sincos(double x, double* s, double* c) { *s = wave(x, 0), *c = wave(x, 1); }
void sincosl(long double x, long double* s, long double* c) {
    *s = wave(static_cast<double>(x), 0), *c = wave(static_cast<double>(x), 1);
}
double tan(double x) { return wave(x, 0) / wave(x, 1); }
double atan(double x) { return arc(x); }
double atan2(double y, double x) {
    if (x == 0.0) return y > 0.0 ? kQuarter : y < 0.0 ? -kQuarter : 0.0;
    return arc(y / x) + (x > 0.0 ? 0.0 : y >= 0.0 ? 2.0 * kQuarter : -2.0 * kQuarter);
}
double asin(double x) { return atan2(x, std::sqrt((1.0 - x) * (1.0 + x))); }
double acos(double x) { return kQuarter - asin(x); }
double log(double x) { return logarithm(x); }
double exp(double x) { return exponential(x); }
double pow(double x, double y) {
    double product = 1.0;
    if (y >= 0.0 && y <= 64.0 && y == std::rint(y)) {
        for (int k = 0; k < static_cast<int>(y); ++k) product *= x;
        return product;
    }
    return x > 0.0 ? exponential(y * logarithm(x)) : 0.0;
}
}
#endif

namespace {

using bench::make_zeroed;
using bench::Owned;

void print(const char* group, const double* values, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        std::uint64_t bits;
        std::memcpy(&bits, values + i, sizeof bits);
        std::printf("%s %016llx\n", group, static_cast<unsigned long long>(bits));
    }
}
void print(const char* group, double value) { print(group, &value, 1); }

/// The C library alone, at arguments as the models have them.
void functions() {
    for (int i = 0; i < 20000; ++i) {
        const double x = 0.00037 * i * (i % 3 - 1) + (i % 7 == 0 ? 1e3 * i : 0.0);
        const double unit = std::remainder(x, 2.0) * 0.5, positive = 1e-6 + 0.01 * i;
        print("libm_sin", std::sin(x));
        print("libm_cos", std::cos(x));
        print("libm_tan", std::tan(x));
        print("libm_asin", std::asin(unit));
        print("libm_acos", std::acos(unit));
        print("libm_atan2", std::atan2(x, 3.0 - unit));
        print("libm_exp", std::exp(-positive));
        print("libm_log", std::log(positive));
        print("libm_pow", std::pow(positive, 0.3));
    }
}

void frames() {
    for (int i = 0; i < 200; ++i) {
        double angles[2], R[9], dR[9], c2i[3][3];
        iauNut00a(2451545.0, 61.3 * i, &angles[0], &angles[1]);
        iauC2i06a(2451545.0, 61.3 * i, c2i);
        compute_eci2ecf_rotation_precise(51544.3 + 61.3 * i, 37.0, 0.1, 0.3, -0.2, 1e-3, 0.0, R, dR);
        print("frames", angles, 2);
        print("frames", c2i[0], 9);
        print("frames", R, 9);
        print("frames", dR, 9);
    }
}

struct Dynamics {
    Owned<ORBIT_DYN_CONFIG> config = make_zeroed<ORBIT_DYN_CONFIG>();
    Owned<STATE_SPACECRAFT> state = make_zeroed<STATE_SPACECRAFT>();
};

constexpr double kMjd = 59232.25;

/// A low orbit in a field of degree 120, with the built-in tables; with parameters of empirical forces and their variational equations.
void start(Dynamics& d, bool empirical) {
    static EOPREC eop[3];
    static Owned<EPH_HEADER_JPL> header = make_zeroed<EPH_HEADER_JPL>();
    static Owned<EPH_RECORD_JPL> record = make_zeroed<EPH_RECORD_JPL>();
    initialize_global_earth_gravity();
    initialize_global_earth_rotation_param();
    initialize_global_eph_planet();
    computeNormalFactor();
    for (int k = NUM_GRAVITY_EMBED; k < MAXSIZE_GRAVITY; ++k) {
        C[k] = N[k] * 1e-9 * std::remainder(1.7 * k, 2.0);
        S[k] = N[k] * 1e-9 * std::remainder(2.3 * k, 2.0);
    }
    g_eop_storage = eop;
    load_eops_default(eop, 3);
    g_eop_storage_size = 3;
    load_eph_storage_default(header.get(), record.get());
    g_eph_header = header.get();
    g_ephData_storage = record.get();
    initialize_orbit_conifig_embed(d.config.get());
    d.config->norder_gravity = 120;
    d.config->status_derivative = empirical ? 2 : 0;
    for (const char* kind : {"A0", "C0", "R0", "AC", "AS"}) {
        if (!empirical) break;
        EMP_PARAM_BASE& base = d.config->emp_params_base[d.config->emp_param_num_base++];
        base.fm = FM_EMP;
        std::strcpy(base.name_param, kind);
        base.interval = 3600.0;
    }
    produce_force_model_params(kMjd, kMjd + 7199.0 / 86400.0, d.config.get(), d.state.get());
    for (int k = 0; k < d.config->force_model_emp_parameters.num; ++k)
        d.config->force_model_emp_parameters.param[k] = 3.0 + k;
    const double pos[3] = {4123456.5, -4987654.25, 2345678.125}, vel[3] = {3115.0, 5270.5, 4012.25};
    d.state->utc_start = mjd2GTime(tsUTC, kMjd);
    for (int k = 0; k < 3; ++k) d.state->pos_eci[k] = pos[k], d.state->vel_eci[k] = vel[k];
}

void dynamics() {
    for (const bool empirical : {false, true}) {
        Dynamics d;
        start(d, empirical);
        double position[3] = {4123456.5, -4987654.25, 2345678.125}, acc[3], gradient[9];
        for (const int degree : {2, 30, 100, 120}) {
            generateVW(degree, degree, position);
            compute_acc_earth_gravity(degree, degree, position, acc);
            compute_dadr_earth_gravity(degree, degree, position, gradient);
            if (!empirical) print("field", acc, 3), print("field", gradient, 9);
        }
        compute_acc_all(d.config.get(), d.state.get());
        print(empirical ? "forces_empirical" : "forces", d.state->acc_eci, 3);
        print(empirical ? "forces_empirical" : "forces", d.state->dadr, 9);
        orbit_integrate(d.config.get(), d.state.get(), 7200.0, 20.0);
        print(empirical ? "propagation_empirical" : "propagation", d.state->pos_eci, 3);
        print(empirical ? "propagation_empirical" : "propagation", d.state->vel_eci, 3);
        if (empirical)
            print("propagation_empirical", d.state->PHI, 36), print("propagation_empirical", d.state->S, 900);
    }
}

void elements() {
    for (int i = 0; i < 2000; ++i) print("kepler_extended", get_ecan_from_mean(0.003 * i, 0.0004 * (i % 1000)));
    tled_t set = {};
    for (int i = 0; i < 50; ++i) {
        set.inc = 10.0 + 3.0 * i, set.OMG = 7.0 * i, set.ecc = 0.001 * (1 + i), set.omg = 11.0 * i, set.M = 13.0 * i;
        set.n = 15.5 - 0.05 * i, set.bstar = 1e-5 * i;
        for (const double t : {0.0, 100.0, 1440.0, 7200.0}) {
            double rs[6];
            SGP4_STR3(t, &set, rs);
            print("sgp4", rs, 6);
        }
    }
}

/// The embedded deployment on the demo's epochs: point positions and the filter.
void epochs(const std::string& dir) {
    const auto pod = make_zeroed<RUNTIME_POD_EMBED>();
    startup_pod_embed(pod.get(), false);
    std::string navigation = dir + "/demo_bds.nav", attitude = dir + "/demo_att_zdown.txt",
                observations = dir + "/demo_bds.obs";
    const auto store = make_zeroed<OBSDATA_EPOCH>(200);
    g_obs_storage = store.get();
    if (!load_ephemeris_brdc(navigation.data()) || !load_attitude_quaternion(0, attitude.data()) ||
        !load_observation_rinex(observations.data(), 0, 30.0)) {
        std::exit(1);
    }
    for (int i = 0; i < g_num_obs_storage; ++i) {
        for (const OBSDATA_SAT& sat : store.get()[i].satobs) {
            for (int k = 0; k < sat.num_obs; ++k) print("observations", sat.obsdata[k].value);
        }
        run_single_pod_embed(&store.get()[i], pod.get());
        for (int k = 0; k < pod->obs_epoch[0].sat_num; ++k)
            print("satellites", pod->obs_epoch[0].satobs[k].satpos_ecf, 3);
        print("point_position", pod->sln_kine.pos_vel_clk, 9);
        print("filter", pod->X, 39);
        print("filter", pod->DX, 39 * 39);
    }
    free_att_quaternion_store();
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    functions();
    frames();
    dynamics();
    elements();
    epochs(argv[1]);
    return 0;
}
