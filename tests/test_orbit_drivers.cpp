/// Drivers of simulation and fit, run in a prepared directory.
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

/// Runs the simulation with a small field.
void simulate(const std::string& text) {
    ulog_subscribe(&support::log_to_stderr, ULOG_ERROR_LEVEL);
    test_orbit_simulation(support::write_temp("simulation.cfg", text).data(), std::string("orbit.txt").data());
    std::exit(no_store_is_left() ? 0 : 3);
}

void simulation_says_what_it_cannot_do() {
    const std::string forces =
        "+Force_Models\nEarth_Gravity = YES 4\nEmpirical_Force = YES\n-Force_Models\n+GENERAL_CONFIG\n"
        "Integration_Step_Size = 20\nspacecraft_state_mode = 2\nIntegration_Output_Interval = ";
    EXPECT_EXIT(simulate(forces + "0"), testing::ExitedWithCode(1), "eop.* open failed.*memory allocation error!");
    EXPECT_EXIT(simulate(forces + "9000"), testing::ExitedWithCode(0), "needs 17 epochs, 11 are given");
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
    simulation_says_what_it_cannot_do();
    fit_of_the_builtin_positions();
    integrations_leave_their_stores_as_stated();
}

}  // namespace
