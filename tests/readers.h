/// \file readers.h
/// Every reader of the library behind one signature, for tests that go through all formats.
#ifndef LEOPOD_TESTS_READERS_H
#define LEOPOD_TESTS_READERS_H

#include <memory>

#include "attitude.h"
#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "eph_planet.h"
#include "gnss_observation.h"
#include "gnss_satposition.h"
#include "orbit_dynamics.h"
#include "support.h"
#include "tle.h"

namespace support {

/// What a reader kept of a file: a record count, and a sum over numbers of the records.
struct Kept {
    int records = 0;
    double sum = 0.0;
};

inline Kept load_observation(char* name) {
    static std::vector<OBSDATA_EPOCH> store(20000);
    std::fill_n(store.begin(), 20, OBSDATA_EPOCH{});
    g_obs_storage = store.data();
    g_num_obs_storage = 0;
    load_observation_rinex(name, 1, 0.0);
    Kept kept;
    for (long i = 0; i < g_num_obs_storage; ++i) {
        const OBSDATA_EPOCH& epoch = store[static_cast<std::size_t>(i)];
        kept.records += epoch.sat_num;
        for (int s = 0; s < epoch.sat_num; ++s) kept.sum += epoch.satobs[s].obsdata[0].value;
    }
    return kept;
}

inline Kept load_navigation(char* name) {
    static const auto store = std::make_unique<EPHBRDC_STORE>();
    *store = EPHBRDC_STORE{};
    g_brdc_storage = store.get();
    load_ephemeris_brdc(name);
    Kept kept;
    const auto count = [&kept](const auto& records) {
        for (const auto& row : records)
            for (const auto& record : row) kept.records += record.prn != 0, kept.sum += record.sqrt_A;
    };
    count(store->eph_brdc_gps_all);
    count(store->eph_brdc_bds_all);
    return kept;
}

template <bool clocks>
Kept load_products(char* name) {
    static EPHPREC_STORE* store = static_cast<EPHPREC_STORE*>(std::calloc(1, sizeof(EPHPREC_STORE)));
    std::fill_n(store->idx_eph, 98, 0);
    std::fill_n(store->idx_clk, 98, 0);
    g_prec_storage = store;
    clocks ? load_clock_prec(name, store) : load_ephemris_prec(name);
    Kept kept;
    for (int i = 0; i < 98; ++i) kept.records += std::max(store->idx_eph[i], store->idx_clk[i]);
    double posvel[6] = {};
    if (store->idx_eph[4] > 9 && compute_satposvel_prec(mjd2GTime(tsGPST, 59232.05), 4, posvel)) kept.sum = posvel[0];
    return kept;
}

inline Kept load_antex(char* name) {
    ANT_INFO_STORE antennas{};
    load_antenna_storage(name, &antennas);
    Kept kept{antennas.num_antenna_info, 0.0};
    std::free(antennas.antenna_info_storage);
    return kept;
}

inline Kept load_gnss(char* name) {
    gnssconfig = GNSSCONFIG{};
    set_gnssconfig_from_file(name);
    return {gnssconfig.num_sys, gnssconfig.var_pos};
}

inline Kept load_dynamics(char* name) {
    static const auto config = std::make_unique<ORBIT_DYN_CONFIG>();
    *config = ORBIT_DYN_CONFIG{};
    readfile_orbitdynamics_config(name, config.get());
    return {config->emp_param_num_base, config->output_interval};
}

template <bool (*Load)(char*)>
inline Kept load_orientation(char* name) {
    static std::vector<EOPREC> store(MAXSIZE_EOP + 1);
    std::fill_n(store.begin(), 100, EOPREC{});
    initialize_global_earth_rotation_param();
    g_eop_storage = store.data();
    Load(name);
    Kept kept;
    for (int i = 0; i < 100; ++i) {
        const EOPREC& day = store[static_cast<std::size_t>(i)];
        kept.records += day.ok;
        if (day.ok) kept.sum += day.UT1mUTC;
    }
    return kept;
}

inline Kept load_ephemeris(char* name) {
    static const auto header = std::make_unique<EPH_HEADER_JPL>();
    static std::vector<EPH_RECORD_JPL> records(MAXNUM_RECORD_JPLEPH + 1);
    initialize_global_eph_planet();
    *header = EPH_HEADER_JPL{};
    std::fill_n(records.begin(), 4, EPH_RECORD_JPL{});
    g_eph_header = header.get();
    g_ephData_storage = records.data();
    load_eph_storage_file(name, header.get(), records.data());
    double pv[6] = {};
    compute_planet_pos_vel(header->ss[0] + 10.0, EARTH, SUN, pv);
    return {g_num_eph_record, pv[0]};
}

inline Kept load_gravity(char* name) {
    initialize_global_earth_gravity();
    load_earth_coef_EGM(name);
    double position[3] = {6.8e6, 1e6, 1e5}, sun[3] = {1.4e11, 2e10, 1e10}, moon[3] = {3.6e8, 1e8, 2e7};
    double acceleration[3], gradient[9];
    compute_acc_dadr_earth_gravity(6, 6, 59232.5, 37.0, position, sun, moon, acceleration, gradient);
    return {1, acceleration[0]};
}

template <int (*Read)(char*, ATT_QUATERNION*, int)>
inline Kept load_quaternion(char* name) {
    static std::vector<ATT_QUATERNION> records(MAXSIZE_ATT_QUA);
    const int count = Read(name, records.data(), 0);
    return {count, count > 0 ? records[0].qua.r : 0.0};
}

inline Kept load_elements(char* name) {
    tle_t sets{};
    tle_read(name, &sets);
    Kept kept{sets.n, 0.0};
    for (int i = 0; i < sets.n; ++i) kept.sum += sets.data[i].n;
    std::free(sets.data);
    return kept;
}

inline Kept load_element_names(char* name) {
    tle_t sets{};
    static const std::string file = test_file("tle.tle").string();
    tle_read(file.c_str(), &sets);
    tle_name_read(name, &sets);
    Kept kept;
    for (int i = 0; i < sets.n; ++i) kept.records += std::string(sets.data[i].name).find("RENAMED") == 0;
    std::free(sets.data);
    return kept;
}

/// A small good file of each format.
struct Format {
    const char* file;  ///< under tests/data
    int records;       ///< of the good file
    int shared;        ///< records that one line may take with it
    bool may_stop;     ///< damage may end the process, as documented
    Kept (*load)(char* name);
    bool waits = false;  ///< for the writer of a pipe
};

inline void PrintTo(const Format& format, std::ostream* out) { *out << format.file; }

inline const Format kFormats[] = {
    {"observation2.obs", 12, 12, false, load_observation},
    {"observation3.rnx", 15, 15, false, load_observation},
    {"navigation2.nav", 3, 3, false, load_navigation},
    {"navigation3.rnx", 5, 5, false, load_navigation},
    {"sp3.sp3", 48, 4, true, load_products<false>},
    {"clock.clk", 24, 24, true, load_products<true>},
    {"antex.atx", 3, 3, true, load_antex},
    {"gnss_config.cfg", 2, 2, true, load_gnss},
    {"dynamics_config.cfg", 5, 5, true, load_dynamics},
    {"eop_c04.txt", 6, 1, false, load_orientation<load_eop_storage>},
    {"eop_rapid.txt", 6, 1, false, load_orientation<load_eop_storage_rapid>},
    {"eop_keyword.txt", 6, 6, false, load_orientation<load_eop_storage_celestrack>},
    {"ephemeris.405", 2, 2, false, load_ephemeris},
    {"gravity.txt", 1, 1, false, load_gravity},
    {"quaternion.txt", 8, 1, false, load_quaternion<read_att_quaternion_velmar>},
    {"quaternion_mission.txt", 8, 8, false, load_quaternion<read_att_quaternion_gfo>},
    {"tle.tle", 13, 1, false, load_elements},
    {"tle_names.txt", 2, 1, false, load_element_names},
};

}  // namespace support

#endif
