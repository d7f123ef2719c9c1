/// Drivers of simulation and fit, run in a prepared directory.
#include <sys/resource.h>

#include <csignal>

#include "orbit_fixture.h"

namespace {

/// The working directory of the drivers: example/ and testdata/ with links to the data sets.
struct Drivers : testing::Test {
    void SetUp() override {
        const std::pair<const char*, const char*> links[] = {
            {"jpl/de438r_2016_2021.txt", "example/ascp1950_438.data"},
            {"jpl/de438r_2016_2021.txt", "testdata/ascp1950_438.data"},
            {"gravity/EGM2008.txt", "example/EGM2008.txt"},
            {"gravity/EGM2008.txt", "testdata/EGM2008.txt"},
            {"eop/eopc04_IAU2000.62-now", "example/eopc04_IAU2000.1962-now"},
            {"eop/finals.data.iau2000.txt", "testdata/finals.data.iau2000.txt"}};
        std::filesystem::current_path(support::temp_dir());
        std::filesystem::create_directory("example");
        std::filesystem::create_directories("testdata/cs_file.txt");  // where the field's reader would list it
        for (const auto& [source, link] : links) {
            std::error_code present;
            LEOPOD_REQUIRE_DATA(support::data_path(source));
            std::filesystem::create_symlink(support::data_path(source), link, present);
        }
    }
};

bool no_store_is_left() {
    return g_eop_storage == nullptr && g_eph_header == nullptr && g_ephData_storage == nullptr &&
           g_orbitdyn_config == nullptr && g_satellite_state == nullptr;
}

TEST(BuiltinData, EndsOfThePositions) {
    initialize_global_earth_rotation_param();
    std::vector<GTime> epochs(1500);
    const auto eci = std::make_unique<double[][3]>(1500);
    ASSERT_EQ(test_orbit_fit_data(epochs.data(), eci.get()), 1440);
    EXPECT_EQ(gtime2mjd(epochs[0]), 58498.0 + 86382.0 / 86400.0);
    const double first[3] = {-234976.985789, 6814349.857247, -905238.402899},
                 last[3] = {-162490.743901, 2257103.217158, 6467807.431445};
    for (const auto& [k, ends] : {std::pair{0, first}, {1439, last}}) {
        double ecf[3];
        eci2ecf(gtime2mjd(epochs[k]), 37.0, eci[k], nullptr, ecf, nullptr);
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(ecf[i], ends[i], 1e-8);
    }
}

void integrations_leave_their_stores_as_stated() {
    test_orbit_integrate();
    EXPECT_TRUE(no_store_is_left());
    test_orbit_integrate_embed();
    double pv[6];
    EXPECT_TRUE(compute_planet_pos_vel(2459232.5, EARTH, MOON, pv));
}

/// Runs the simulation with a small field until the file reaches a size, where the system ends the process.
void simulate(const std::string& text, rlim_t size) {
    const rlimit limit = {size, size}, no_core = {0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    if (size > 0) setrlimit(RLIMIT_FSIZE, &limit);
    ulog_subscribe(&support::log_to_stderr, ULOG_ERROR_LEVEL);
    test_orbit_simulation(support::write_temp("simulation.cfg", text).data(), std::string("orbit.txt").data());
    std::exit(no_store_is_left() ? 0 : 3);
}

/// Motion about an oblate earth, in axes of date as far as J2 is concerned.
void oblate(int, double, double* y, double* dydx) {
    const double r2 = y[0] * y[0] + y[1] * y[1] + y[2] * y[2], gm_r3 = 3.986004418e14 / (r2 * std::sqrt(r2));
    const double k = 1.5 * 1.0826359e-3 * 6378137.0 * 6378137.0 / r2, s = 5.0 * y[2] * y[2] / r2;
    for (int i = 0; i < 3; ++i) {
        dydx[i] = y[3 + i];
        dydx[3 + i] = -gm_r3 * y[i] * (1.0 + k * ((i == 2 ? 3.0 : 1.0) - s));
    }
}

void simulation_writes_rows_of_an_earth_fixed_orbit() {
    const std::string forces =
        "+Force_Models\nEarth_Gravity = YES 4\nEmpirical_Force = YES\n-Force_Models\n+GENERAL_CONFIG\n"
        "Integration_Step_Size = 20\nspacecraft_state_mode = 2\nIntegration_Output_Interval = ";
    EXPECT_EXIT(simulate(forces + "0", 0), testing::ExitedWithCode(1), "eop.* open failed.*memory allocation error!");
    EXPECT_EXIT(simulate(forces + "9000", 0), testing::ExitedWithCode(0), "needs 17 epochs, 11 are given");
    const support::CommaLocale comma;
    EXPECT_EXIT(simulate(forces + "200", 100000), testing::KilledBySignal(SIGXFSZ), "");
    std::ifstream in("orbit.txt");
    double before[22] = {}, now[22];
    int rows = 0;
    for (std::string line; std::getline(in, line) && rows < 300; ++rows) {
        ASSERT_EQ(std::count(line.begin(), line.end(), ','), 23);
        ASSERT_EQ(line.find(",mot,v1_m1,"), 7u);
        EXPECT_EQ(line.substr(line.size() - 17), "  0.0000,  0.0000");
        line.replace(7, 11, " ");
        std::replace(line.begin(), line.end(), ',', ' ');
        std::stringstream fields(line);
        for (double& value : now) ASSERT_TRUE(fields >> value);
        EXPECT_EQ(norm(9, now + 13), 0.0);
        EXPECT_NEAR(now[0], 1000.0 + 0.02 * (rows + 1), 1e-9);
        if (rows == 0) {  // the orientation, by an orbit from the same start; other forces make 90 m in this time
            double y[6] = {-6087601.409276824, -3074325.849287398, -894239.5546354894,
                           -799.5501204406756, -561.8395018813569, 7549.745796520129},
                   error[6], ecf[3], step = 20.0;
            IntegrateTo(oblate, 6, 0.0, y, &step, now[0], error);
            eci2ecf(58498.0 + (86382.0 + now[0]) / 86400.0, 37.0, y, nullptr, ecf, nullptr);
            for (int i = 0; i < 3; ++i) EXPECT_NEAR(now[1 + i], ecf[i], 200.0) << i;
        }
        const double r = std::hypot(now[1], now[2], now[3]);
        EXPECT_NEAR(std::hypot(now[7], now[8], now[9]) * r * r / 3.986e14, 1.0, 3e-3);
        for (int i = 1; rows > 0 && i <= 3; ++i) {
            EXPECT_NEAR((now[i] - before[i]) / 0.02, (now[3 + i] + before[3 + i]) / 2.0, 1e-2);
            // The last column group is the jerk times the last abscissa of its window (3200 s), turned as the acceleration.
            const double spin = i == 3 ? 0.0 : 8.0 * 7.3e-5;
            EXPECT_NEAR((now[6 + i] - before[6 + i]) / 0.02, now[9 + i] / 3200.0, spin + 1e-6);
        }
        std::copy_n(now, 22, before);
    }
    EXPECT_EQ(rows, 300);
}

void fit_of_the_builtin_positions() {
    static double rms[3];
    static bool ended = false;
    const auto watch = [](ulog_level_t, char* text) {
        std::sscanf(text, "fit RMS[ARC] = %lf %lf %lf", rms, rms + 1, rms + 2);
        ended = ended || std::strncmp(text, "orbit fit ends", 14) == 0;
#ifdef __SANITIZE_ADDRESS__  // slow: the fit stops after its first iteration
        if (rms[0] > 0.0) _exit(norm(3, rms) < 50.0 ? 0 : 3);
#endif
    };
    // From the interpolated start the corrections fall below the threshold, with residuals far below a millimetre.
    EXPECT_EXIT(
        {
            ulog_subscribe(watch, ULOG_INFO_LEVEL);
            test_orbit_fit();
            _exit(ended && no_store_is_left() && norm(3, rms) < 1e-4 ? 0 : 4);
        },
        testing::ExitedWithCode(0), "");
}

TEST_F(Drivers, SimulateFitAndIntegrate) {
    simulation_writes_rows_of_an_earth_fixed_orbit();
    fit_of_the_builtin_positions();
    integrations_leave_their_stores_as_stated();
}

}  // namespace
