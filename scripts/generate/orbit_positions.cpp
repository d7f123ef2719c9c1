// Writes src/tables/orbit_positions_2019016.inc: one day of a low orbit, 1440 positions, between two given points.
//
// The motion is the library's own: EGM2008 to degree 100 with tides, ten bodies, relativity. The velocity at the first point
// is solved for, so that the orbit meets the last one.
//
// Build and run from the root of the checkout, with the library built in build/release:
//     c++ -std=c++17 -O2 -Isrc scripts/generate/orbit_positions.cpp -Lbuild/release -lleopod -o orbit_positions
//     LD_LIBRARY_PATH=build/release ./orbit_positions ../shared/data > orbit_positions_2019016.inc
// then move the file to src/tables.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "mathlib.h"
#include "orbit_dynamics.h"

namespace {

constexpr int kRows = 1440;
constexpr double kFirstSecond = 600868800.0;  // since 2000-01-01 12:00:00 GPST
constexpr double kInterval = 60.0;
constexpr double kTolerance = 2e-5;  // of the last point [m]
double first_ecf[3] = {-234976.985789, 6814349.857247, -905238.402899};
double last_ecf[3] = {-162490.743901, 2257103.217158, 6467807.431445};
double velocity[3] = {-799.5501204406756, -561.8395018813569, 7549.745796520129};  // inertial, to start from [m/s]

using Point = std::vector<double>;

GTime utc_at(double seconds) {
    const GTime base = YMD2GTime({2000, 1, 1, 12, 0, 0.0}, tsGPST);
    return gtimeChangeTimeSystem(gtimeAddSec(base, kFirstSecond + seconds), tsUTC);
}

void turn(double seconds, bool to_inertial, double* from, double* to) {
    const double mjd = gtime2mjd(utc_at(seconds));
    const auto rotate = to_inertial ? ecf2eci : eci2ecf;
    rotate(mjd, getLeapSecond(mjd), from, nullptr, to, nullptr);
}

/// Flat states at all rows, with the transition matrix.
std::vector<Point> integrate(const double* position) {
    static ORBIT_DYN_CONFIG config;
    static STATE_SPACECRAFT state;
    config = {};
    initialize_orbit_config(&config);
    config.num_force_models = 3;  // no empirical accelerations
    initialize_state_spacecraft(&config, &state);
    g_orbitdyn_config = &config;
    g_satellite_state = &state;
    state.utc_start = utc_at(0.0);
    std::copy_n(position, 3, state.pos_eci);
    std::copy_n(velocity, 3, state.vel_eci);
    Point y(static_cast<std::size_t>(config.nstate));
    convert_struct2ystate(config.nstate, &config, &state, y.data());
    std::vector<Point> rows{y};
    double step = config.step_size;
    for (int k = 1; k < kRows; ++k) {
        IntegrateTo(orbit_derivative, config.nstate, (k - 1) * kInterval, y.data(), &step, k * kInterval, nullptr);
        rows.push_back(y);
    }
    return rows;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string data = argc > 1 ? argv[1] : "../shared/data";
    const auto eop = std::make_unique<EOPREC[]>(MAXSIZE_EOP + 1);
    const auto header = std::make_unique<EPH_HEADER_JPL>();
    const auto records = std::make_unique<EPH_RECORD_JPL[]>(MAXNUM_RECORD_JPLEPH);
    initialize_global_eph_planet();
    g_eop_storage = eop.get();
    g_eph_header = header.get();
    g_ephData_storage = records.get();
    std::string eop_file = data + "/eop/eopc04_IAU2000.62-now", field_file = data + "/gravity/EGM2008.txt",
                planet_file = data + "/jpl/de438r_2016_2021.txt";
    if (!load_eop_storage(eop_file.data()) || !load_earth_coef_EGM(field_file.data()) ||
        !load_eph_storage_file(planet_file.data(), header.get(), records.get())) {
        std::fprintf(stderr, "cannot read the data sets below %s\n", data.c_str());
        return 1;
    }
    double first[3], last[3], miss[3];
    turn(0.0, true, first_ecf, first);
    turn((kRows - 1) * kInterval, true, last_ecf, last);
    std::vector<Point> orbit;
    for (int iteration = 0; iteration < 8; ++iteration) {
        orbit = integrate(first);
        const Point& end = orbit.back();
        double by_velocity[9], correction[3];
        for (int i = 0; i < 3; ++i) {
            miss[i] = last[i] - end[i];
            for (int j = 0; j < 3; ++j) by_velocity[3 * i + j] = end[6 + 6 * i + 3 + j];
        }
        std::fprintf(stderr, "iteration %d: the last point is missed by %.6f m\n", iteration, norm(3, miss));
        if (norm(3, miss) < kTolerance) break;
        if (matinv(by_velocity, 3, 3) != 0) return 1;
        matrixMultiply(3, 3, by_velocity, 1, miss, correction);
        for (int i = 0; i < 3; ++i) velocity[i] += correction[i];
    }
    if (!(norm(3, miss) < kTolerance)) return 1;

    std::printf(
        "// One day of a low orbit at 490 km, 2019-01-16 (GPST), 60 s apart: an integration with EGM2008 to degree "
        "100,\n"
        "// tides, ten bodies of DE438, relativity, between the first and the last point. 1440 rows.\n"
        "// Columns: seconds since 2000-01-01 12:00:00 GPST; X, Y, Z Earth-fixed [m]. Written by\n"
        "// scripts/generate/orbit_positions.cpp.\n");
    for (int k = 0; k < kRows; ++k) {
        double ecf[3];
        turn(k * kInterval, false, orbit[static_cast<std::size_t>(k)].data(), ecf);
        const double* const row = k == 0 ? first_ecf : k == kRows - 1 ? last_ecf : ecf;  // the ends as given
        std::printf("{%.1f, {%.6f, %.6f, %.6f}},\n", kFirstSecond + k * kInterval, row[0], row[1], row[2]);
    }
}
