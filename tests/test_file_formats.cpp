// The examples of docs/file_formats.md: each block is loaded by the reader of its format, or compared with what the
// program writes.
#include <algorithm>
#include <functional>
#include <map>
#include <memory>

#include "attitude.h"
#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "eph_planet.h"
#include "gnss_observation.h"
#include "gnss_satposition.h"
#include "host_support.h"
#include "observation_laser_ranging.h"
#include "orbit_dynamics.h"
#include "tle.h"

namespace {

using Path = std::filesystem::path;
const Path kSource = LEOPOD_SOURCE_DIR;

/// Labelled blocks of the page, by label.
std::map<std::string, std::string> blocks() {
    std::map<std::string, std::string> all;
    std::ifstream in(kSource / "docs/file_formats.md");
    std::string line, label;
    while (std::getline(in, line)) {
        if (line.rfind("```", 0) == 0) {
            label = label.empty() ? line.substr(3) : "";
            EXPECT_EQ(all.count(label), 0u) << label;
        } else if (!label.empty()) {
            all[label] += line + "\n";
        }
    }
    return all;
}

/// Zeroed memory of a store.
template <typename T>
std::unique_ptr<T[], void (*)(void*)> zeroed(std::size_t count = 1) {
    return {static_cast<T*>(std::calloc(count, sizeof(T))), std::free};
}

void load_rinex_observation(char* file, double first_value, sysGNSS second_system) {
    const auto store = zeroed<OBSDATA_EPOCH>(3);
    g_obs_storage = store.get();
    g_num_obs_storage = 0;
    EXPECT_TRUE(load_observation_rinex(file, 0, 0.0));
    ASSERT_EQ(g_num_obs_storage, 1);
    EXPECT_EQ(store[0].sat_num, 2);
    EXPECT_EQ(store[0].satobs[0].obsdata[0].value, first_value);
    EXPECT_EQ(store[0].satobs[1].satsys, second_system);
    EXPECT_GT(store[0].satobs[1].obsdata[3].value, 9e7);
}

void load_navigation(char* file, bool beidou) {
    const auto store = zeroed<EPHBRDC_STORE>();
    g_brdc_storage = store.get();
    EXPECT_TRUE(load_ephemeris_brdc(file));
    EXPECT_TRUE(store[0].eph_brdc_gps_all[4][0].ok);
    EXPECT_NEAR(store[0].eph_brdc_gps_all[4][0].sqrt_A, 5153.6, 0.1);
    EXPECT_EQ(store[0].eph_brdc_bds_all[8][0].ok, beidou);
    EXPECT_EQ(iono_brdc_GPS_A[0], 1.0245e-08);
}

void load_products(char* file, bool sp3) {
    const auto store = zeroed<EPHPREC_STORE>();
    g_prec_storage = store.get();
    EXPECT_TRUE(sp3 ? load_ephemris_prec(file) : load_clock_prec(file, store.get()));
    const int leo = satsysprn2index(LEO, 1), g05 = 4;
    EXPECT_EQ(store[0].idx_eph[g05], sp3 ? 2 : 0);
    EXPECT_EQ(store[0].idx_clk[g05], 2);
    EXPECT_DOUBLE_EQ(store[0].clk_pre_all[g05][0].clk_offset, 1e-4);
    EXPECT_EQ(store[0].idx_eph[leo], sp3 ? 2 : 0);
    EXPECT_EQ(store[0].idx_clk[leo], 0);
}

void load_antennas(char* file) {
    ANT_INFO_STORE store = {};
    EXPECT_TRUE(load_antenna_storage(file, &store));
    ASSERT_EQ(store.num_antenna_info, 2);
    EXPECT_EQ(store.antenna_info_storage[0].idx_object, 4);
    EXPECT_DOUBLE_EQ(store.antenna_info_storage[0].pco[0][2], 1.56);
    EXPECT_EQ(store.antenna_info_storage[1].mjd_available[0], 0.0);
    std::free(store.antenna_info_storage);
}

void load_orientation(char* file, bool (*load)(char*), const std::string& types) {
    const auto store = zeroed<EOPREC>(MAXSIZE_EOP + 1);
    initialize_global_earth_rotation_param();
    g_eop_storage = store.get();
    EXPECT_TRUE(load(file));
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(store[i].ok, i < 3) << i;
        EXPECT_EQ(store[i].type, i < 3 ? types[i] : 0) << i;
    }
    EXPECT_NEAR(store[1].UT1mUTC, -0.1753, 2e-4);
    EXPECT_NEAR(store[1].LOD, 2.15e-4, 1e-5);
    initialize_global_earth_rotation_param();
}

void load_planets(char* file) {
    const auto header = zeroed<EPH_HEADER_JPL>();
    const auto records = zeroed<EPH_RECORD_JPL>(3);
    initialize_global_eph_planet();
    EXPECT_TRUE(load_eph_storage_file(file, header.get(), records.get()));
    EXPECT_EQ(header[0].au, 149597870.691);
    EXPECT_EQ(header[0].ss[1], 2459264.5);
    EXPECT_EQ(records[1].index, 2);
    initialize_global_eph_planet();
}

void load_field(char* file) {
    const Path here = std::filesystem::current_path();
    std::filesystem::create_directory(support::temp_dir() / "testdata");
    std::filesystem::current_path(support::temp_dir());  // for the listing that the reader writes
    EXPECT_TRUE(load_earth_coef_EGM(file));
    std::filesystem::current_path(here);
    EXPECT_NEAR(C[3], -4.841651437908150e-04 * std::sqrt(5.0), 1e-18);
    initialize_global_earth_gravity();
}

void load_quaternions(char* file, bool (*load)(int, char*)) {
    EXPECT_TRUE(load(0, file));
    EXPECT_EQ(g_att_qua_storage.qua_num[0], 3);
    EXPECT_NEAR(g_att_qua_storage.qua_all[0][2].qua.r, 0.996, 0.005);
    EXPECT_EQ(g_att_qua_storage.qua_all[0][0].time.time.mjd, 59232);
    free_att_quaternion_store();
}

void load_laser_ranging(const std::string& text, int version, int ranges) {
    std::stringstream lines(text);
    std::string line;
    rh1 h1 = {};
    rh2 h2 = {};
    rd10 r10 = {};
    rd11 r11 = {};
    int complete = 0;
    while (std::getline(lines, line)) {
        const std::string kind = line.substr(0, 2);
        if (kind == "H1") complete += read_h1(line.data(), &h1) == 8;
        if (kind == "H2") read_h2(line.data(), &h2);
        if (kind == "10") complete += read_10(line.data(), &r10) == 11;
        if (kind == "11") complete += read_11(line.data(), &r11) == (version == 2 ? 15 : 13);
    }
    EXPECT_EQ(h1.format_version, version);
    EXPECT_STREQ(h2.stn_name, "TEST");
    EXPECT_EQ(complete, 1 + ranges);
}

TEST(FileFormats, ReadersLoadTheirExamples) {
    const auto page = blocks();
    const std::map<std::string, std::function<void(char*)>> readers = {
        {"rinex-obs-2", [](char* f) { load_rinex_observation(f, 23147882.376, GPS); }},
        {"rinex-obs-3", [](char* f) { load_rinex_observation(f, 23245803.390, BDS); }},
        {"rinex-nav-2", [](char* f) { load_navigation(f, false); }},
        {"rinex-nav-3", [](char* f) { load_navigation(f, true); }},
        {"sp3", [](char* f) { load_products(f, true); }},
        {"rinex-clk", [](char* f) { load_products(f, false); }},
        {"antex", load_antennas},
        {"eop-c04", [](char* f) { load_orientation(f, load_eop_storage, "FFF"); }},
        {"eop-rapid", [](char* f) { load_orientation(f, load_eop_storage_rapid, "FFP"); }},
        {"eop-keyword", [](char* f) { load_orientation(f, load_eop_storage_celestrack, "FFF"); }},
        {"jpl", load_planets},
        {"gravity", load_field},
        {"quaternions", [](char* f) { load_quaternions(f, load_attitude_quaternion); }},
        {"quaternions-mission", [](char* f) { load_quaternions(f, load_sca_grace); }},
        {"gnss-config",
         [](char* f) {
             set_gnssconfig_from_file(f);
             EXPECT_EQ(gnssconfig.num_sys, 2);
             EXPECT_EQ(gnssconfig.opt_IF[1], 1);
             EXPECT_EQ(gnssconfig.thres_slip_mw, 0.4);
         }},
        {"dynamics-config",
         [](char* f) {
             const auto config = zeroed<ORBIT_DYN_CONFIG>();
             readfile_orbitdynamics_config(f, config.get());
             EXPECT_EQ(config[0].num_force_models, 4);
             EXPECT_EQ(config[0].norder_gravity, 100);
             EXPECT_EQ(config[0].emp_param_num_base, 3);
             EXPECT_EQ(config[0].output_interval, 60.0);
         }},
        {"tle",
         [&page](char* f) {
             tle_t sets{};
             EXPECT_EQ(tle_read(f, &sets), 1);
             EXPECT_EQ(tle_name_read(support::write_temp("names", page.at("tle-names")).c_str(), &sets), 1);
             ASSERT_EQ(sets.n, 2);
             EXPECT_STREQ(sets.data[1].name, "RENAMED-A");
             EXPECT_EQ(sets.data[1].n, 15.21345678);
             std::free(sets.data);
         }},
        {"crd-1", [&page](char*) { load_laser_ranging(page.at("crd-1"), 1, 1); }},
        {"crd-2", [&page](char*) { load_laser_ranging(page.at("crd-2"), 2, 2); }},
    };
    for (const auto& [label, load] : readers) {
        SCOPED_TRACE(label);
        ASSERT_EQ(page.count(label), 1u) << "no example on the page";
        support::LogRecorder log(ULOG_WARNING_LEVEL);
        load(support::write_temp(label, page.at(label)).data());
        for (const support::Message& message : log.messages()) ADD_FAILURE() << message.text;
    }
}

/// First line of a text, and the rest by lines.
std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> all;
    std::stringstream in(text);
    for (std::string line; std::getline(in, line);) all.push_back(line);
    return all;
}

TEST(FileFormats, TheProgramReadsAndWritesItsExamples) {
    if (!std::filesystem::exists(support::kProgram)) GTEST_SKIP() << "the host program is not built";
    const auto page = blocks();
    const std::string dir = support::temp_dir().string() + "/", data = (kSource / "examples/data/").string();
    for (const char* label : {"blq", "csv-truth", "csv-site"}) support::write_temp(label, page.at(label));
    const std::string dynamics = support::write_temp(
        "dynamics.cfg",
        "+Force_Models\nEarth_Gravity = YES 4\nEmpirical_Force = YES A0:3600\n-Force_Models\n+GENERAL_CONFIG\n"
        "Integration_Step_Size = 30\nIntegration_Output_Interval = 60\n-GENERAL_CONFIG\n");
    const std::string run = "run --embedded --obs " + data + "demo_bds.obs --nav " + data + "demo_bds.nav --att " +
                            data + "demo_att_zdown.txt ";
    for (const std::string& command :
         {run + "--out " + dir + "epochs.csv --satellites-out " + dir + "satellites.csv --truth " + dir + "csv-site",
          "propagate --epoch 2021-01-18T00:00:00 --state -2970772.9 -4569798.7 4211847.6 1000 5000 5500 --duration "
          "1800 "
          "--dynamics " +
              dynamics + " --out " + dir + "trajectory.csv --rows-out " + dir + "rows.csv --rows-interval 1",
          "fit --positions " + data + "demo_truth.csv --dynamics " + dynamics + " --residuals " + dir +
              "residuals.csv --parameters " + dir + "parameters.csv --history " + dir + "history.csv",
          "tide --blh 57.4 11.9 45 --epoch 2021-01-18T00:00:00 --blq " + dir + "blq --out " + dir + "tide.csv",
          "crd " + (kSource / "tests/data/laser_ranging2.crd").string() + " --out " + dir + "crd",
          "tle --all --tle " + (kSource / "tests/data/tle.tle").string() + " --out " + dir + "states.csv",
          "simulate --orbit " + dir + "trajectory.csv --nav " + data + "demo_bds.nav --obs-out " + dir +
              "simulated.obs --truth-out " + dir + "truth.csv --events-out " + dir + "events.csv",
          "plot track --in " + dir + "csv-truth --out " + dir + "track.svg"}) {
        const support::Outcome outcome = support::leopod(command);
        EXPECT_EQ(outcome.status, 0) << command << "\n" << outcome.text;
    }
    const std::map<std::string, std::string> written = {{"csv-epochs", "epochs.csv"},
                                                        {"csv-satellites", "satellites.csv"},
                                                        {"csv-trajectory", "trajectory.csv"},
                                                        {"csv-residuals", "residuals.csv"},
                                                        {"csv-parameters", "parameters.csv"},
                                                        {"csv-history", "history.csv"},
                                                        {"csv-rows", "rows.csv"},
                                                        {"csv-tide", "tide.csv"},
                                                        {"csv-crd-10", "crd/10.csv"},
                                                        {"csv-tle", "states.csv"},
                                                        {"csv-crd-sessions", "crd/sessions.csv"},
                                                        {"csv-simulate-truth", "truth.csv"},
                                                        {"csv-simulate-events", "events.csv"}};
    const auto fields = [](const std::string& line) { return std::count(line.begin(), line.end(), ','); };
    for (const auto& [label, file] : written) {
        SCOPED_TRACE(label);
        ASSERT_EQ(page.count(label), 1u) << "no example on the page";
        const auto example = lines_of(page.at(label)), now = lines_of(support::read_file(dir + file));
        ASSERT_FALSE(now.empty());
        const bool has_header = label != "csv-rows";
        EXPECT_TRUE(!has_header || example[0] == now[0]) << now[0];
        for (const std::string& line : example) EXPECT_EQ(fields(line), fields(now.back())) << line;
    }
}

}  // namespace
