/// Drivers of simulation and fit, run in a prepared directory.
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstring>
#include <memory>

#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "orbit_dynamics.h"
#include "support.h"

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define __SANITIZE_ADDRESS__ 1
#endif
#endif
#ifdef __SANITIZE_ADDRESS__
constexpr bool kSlow = true;  // the fit stops after its first iteration
#else
constexpr bool kSlow = false;
#endif

namespace {

namespace fs = std::filesystem;

/// The working directory of the drivers: example/ and testdata/ with links to the data sets. False where one is absent.
bool prepare_directory() {
    const fs::path planets = support::data_path("jpl/de438r_2016_2021.txt"),
                   field = support::data_path("gravity/EGM2008.txt"),
                   eop = support::data_path("eop/eopc04_IAU2000.62-now"),
                   finals = support::data_path("eop/finals.data.iau2000.txt");
    for (const fs::path& path : {planets, field, eop, finals}) {
        if (!fs::exists(path)) return false;
    }
    fs::current_path(support::temp_dir());
    std::error_code present;
    for (const char* directory : {"example", "testdata"}) {
        fs::create_directory(directory);
        fs::create_symlink(fs::absolute(planets), fs::path(directory) / "ascp1950_438.data", present);
        fs::create_symlink(fs::absolute(field), fs::path(directory) / "EGM2008.txt", present);
    }
    // In the place of the side listing that the field's reader would write.
    fs::create_directory("testdata/cs_file.txt", present);
    fs::create_symlink(fs::absolute(eop), "example/eopc04_IAU2000.1962-now", present);
    fs::create_symlink(fs::absolute(finals), "testdata/finals.data.iau2000.txt", present);
    return true;
}

#define REQUIRE_DRIVER_DATA() \
    if (!prepare_directory()) GTEST_SKIP() << "data sets not present"

bool no_store_is_left() {
    return g_eop_storage == nullptr && g_eph_header == nullptr && g_ephData_storage == nullptr &&
           g_orbitdyn_config == nullptr && g_satellite_state == nullptr;
}

TEST(Drivers, BuiltinPositionsAreASmoothLowOrbit) {
    initialize_global_earth_rotation_param();
    std::vector<GTime> epochs(1500);
    const auto eci = std::make_unique<double[][3]>(1500);
    ASSERT_EQ(test_orbit_fit_data(epochs.data(), eci.get()), 1440);
    EXPECT_EQ(gtime2mjd(epochs[0]), 58498.0 + 86382.0 / 86400.0);
    EXPECT_NEAR(gtimeSubSec(epochs[1439], epochs[0]), 86340.0, 1e-9);
    const double first[3] = {-234976.985789, 6814349.857247, -905238.402899},
                 last[3] = {-162490.743901, 2257103.217158, 6467807.431445};
    for (const auto& [k, ends] : {std::pair{0, first}, {1439, last}}) {
        double ecf[3];
        eci2ecf(gtime2mjd(epochs[k]), 37.0, eci[k], nullptr, ecf, nullptr);
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(ecf[i], ends[i], 1e-8);
    }
    for (int k = 0; k < 1440; ++k) {
        const double r = std::hypot(eci[k][0], eci[k][1], eci[k][2]);
        EXPECT_NEAR(r, 6.868e6, 3e4) << k;
        // Sixth differences: 0.6 m of the motion itself, and twenty times the error of a row.
        for (int i = 0; k >= 6 && i < 3; ++i) {
            const double d6 = eci[k][i] - 6 * eci[k - 1][i] + 15 * eci[k - 2][i] - 20 * eci[k - 3][i] +
                              15 * eci[k - 4][i] - 6 * eci[k - 5][i] + eci[k - 6][i];
            EXPECT_NEAR(d6, 0.0, 1.5) << k;
        }
    }
}

TEST(Drivers, IntegrationsLeaveTheirStoresAsStated) {
    REQUIRE_DRIVER_DATA();
    test_orbit_integrate();
    EXPECT_TRUE(no_store_is_left());
    test_orbit_integrate_embed();
    ASSERT_NE(g_eph_header, nullptr);
    double pv[6];
    EXPECT_TRUE(compute_planet_pos_vel(2459232.5, EARTH, MOON, pv));
    EOPREC eop;
    EXPECT_TRUE(compute_eop(59232.0, &eop));
    orbit_prediction_pos_vel(GTime{}, nullptr, nullptr, 0.0, nullptr);
}

/// Runs the simulation with a small field until the file reaches a size, where the system ends the process.
void simulate(const char* text, rlim_t size) {
    const rlimit limit = {size, size}, no_core = {0, 0};
    std::string config = support::write_temp("simulation.cfg", text);
    setrlimit(RLIMIT_CORE, &no_core);
    if (size > 0) setrlimit(RLIMIT_FSIZE, &limit);
    char output[] = "orbit.txt";
    ulog_subscribe(&support::log_to_stderr, ULOG_ERROR_LEVEL);
    test_orbit_simulation(config.data(), output);
    std::exit(no_store_is_left() ? 0 : 3);
}

TEST(Drivers, SimulationWritesRowsOfAnEarthFixedOrbit) {
    REQUIRE_DRIVER_DATA();
    const std::string forces =
        "+Force_Models\nEarth_Gravity = YES 4\nEmpirical_Force = YES\n-Force_Models\n+GENERAL_CONFIG\n"
        "Integration_Step_Size = 20\nspacecraft_state_mode = 2\nIntegration_Output_Interval = ";
    EXPECT_EXIT(simulate((forces + "0").c_str(), 0), testing::ExitedWithCode(1),
                "orbit intergation state memory allocation error!");
    EXPECT_EXIT(simulate((forces + "9000").c_str(), 0), testing::ExitedWithCode(0), "needs 17 epochs, 11 are given");
    EXPECT_EXIT(simulate((forces + "200").c_str(), 100000), testing::KilledBySignal(SIGXFSZ), "");
    std::ifstream in("orbit.txt");
    double before[13] = {}, now[13];
    int rows = 0;
    for (std::string line; std::getline(in, line) && rows < 300; ++rows) {
        ASSERT_EQ(std::count(line.begin(), line.end(), ','), 23);
        int read = 0;
        ASSERT_EQ(std::sscanf(line.c_str(), "%lf,mot,v1_m1,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf,%lf%n", now,
                              now + 1, now + 2, now + 3, now + 4, now + 5, now + 6, now + 7, now + 8, now + 9, now + 10,
                              now + 11, now + 12, &read),
                  13);
        EXPECT_EQ(line.substr(static_cast<std::size_t>(read), 22), ",  0.0000,  0.0000,  0");
        EXPECT_NEAR(now[0], 1000.0 + 0.02 * (rows + 1), 1e-9);
        const double r = std::hypot(now[1], now[2], now[3]);
        EXPECT_NEAR(std::hypot(now[7], now[8], now[9]) * r * r / 3.986e14, 1.0, 3e-3);
        for (int i = 1; rows > 0 && i <= 3; ++i) {
            EXPECT_NEAR((now[i] - before[i]) / 0.02, (now[3 + i] + before[3 + i]) / 2.0, 1e-2);
            // The last column group is the jerk times the last abscissa of its window (3200 s), turned as the acceleration.
            const double spin = i == 3 ? 0.0 : 8.0 * 7.3e-5;
            EXPECT_NEAR((now[6 + i] - before[6 + i]) / 0.02, now[9 + i] / 3200.0, spin + 1e-6);
        }
        std::copy_n(now, 13, before);
    }
    EXPECT_EQ(rows, 300);
    char nowhere[] = "no directory/orbit.txt";
    support::LogRecorder log;
    test_orbit_simulation(nowhere, nowhere);
    EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, "output orbit file (no directory/orbit.txt) open failed!"));
}

TEST(Drivers, FitOfTheBuiltinPositions) {
    REQUIRE_DRIVER_DATA();
    static double rms[3];
    const auto watch = [](ulog_level_t, char* text) {
        std::sscanf(text, "fit RMS[ARC] = %lf %lf %lf", rms, rms + 1, rms + 2);
        if (std::strncmp(text, "eop_ok=", 7) == 0 && std::strcmp(text, "eop_ok=1 egm_ok=1 jpleph_ok=1\n") != 0)
            _exit(2);
        if (kSlow && std::strncmp(text, "fit RMS", 7) == 0) _exit(std::hypot(rms[0], rms[1], rms[2]) < 50.0 ? 0 : 3);
        if (std::strncmp(text, "orbit fit ends", 14) == 0) std::fprintf(stderr, "%s, rms %.6f\n", text, rms[0]);
    };
    // From the interpolated start the corrections fall below the threshold, with residuals far below a millimetre.
    EXPECT_EXIT(
        {
            ulog_subscribe(watch, ULOG_INFO_LEVEL);
            test_orbit_fit();
            _exit(no_store_is_left() && std::hypot(rms[0], rms[1], rms[2]) < 1e-4 ? 0 : 4);
        },
        testing::ExitedWithCode(0), kSlow ? "" : "orbit fit ends");
}

}  // namespace
