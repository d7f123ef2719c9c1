/// \file orbit_fixture.h
/// Shared by the tests of orbit dynamics: records and built-in stores, a low orbit on 2021-01-18.
#ifndef LEOPOD_TESTS_ORBIT_FIXTURE_H
#define LEOPOD_TESTS_ORBIT_FIXTURE_H

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <numeric>

#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "mathlib.h"
#include "orbit_dynamics.h"
#include "support.h"

using support::LogRecorder;
using Values = std::vector<double>;

/// The configuration of the on-board path on the built-in stores; the globals of the derivative point at the records.
struct Dynamics : testing::Test {
    std::unique_ptr<ORBIT_DYN_CONFIG> config = std::make_unique<ORBIT_DYN_CONFIG>();
    std::unique_ptr<STATE_SPACECRAFT> state = std::make_unique<STATE_SPACECRAFT>();
    std::vector<EOPREC> eop = std::vector<EOPREC>(MAXSIZE_EOP + 1);
    std::unique_ptr<EPH_HEADER_JPL> header = std::make_unique<EPH_HEADER_JPL>();
    std::vector<EPH_RECORD_JPL> records = std::vector<EPH_RECORD_JPL>(100);
    PARAM_FM_EMP& emp = config->force_model_emp_parameters;
    double mjd = 59232.25;

    Dynamics() {
        initialize_global_earth_gravity();
        initialize_global_eph_planet();
        load_eops_default(eop.data(), 3);
        load_eph_storage_default(header.get(), records.data());
        g_eph_header = header.get();
        g_ephData_storage = records.data();
        g_orbitdyn_config = config.get();
        g_satellite_state = state.get();
        initialize_orbit_conifig_embed(config.get());
    }
    void request(ForceModel fm, const std::string& name, double interval) {
        EMP_PARAM_BASE& kind = config->emp_params_base[config->emp_param_num_base++];
        kind.fm = fm;
        std::strcpy(kind.name_param, name.c_str());
        kind.interval = interval;
    }
    void place_orbit() {
        const double position[3] = {4123456.5, -4987654.25, 2345678.125}, velocity[3] = {3115.0, 5270.5, 4012.25};
        state->utc_start = mjd2GTime(tsUTC, mjd);
        std::copy_n(position, 3, state->pos_eci);
        std::copy_n(velocity, 3, state->vel_eci);
    }
    /// Three constant accelerations.
    void start_orbit() {
        initialize_state_spacecraft_embed(config.get(), state.get());
        place_orbit();
    }
    /// Accelerations of the kinds for a span, in pieces.
    void prepare(const std::vector<std::string>& kinds, double interval, double span) {
        for (const std::string& kind : kinds) request(FM_EMP, kind, interval);
        produce_force_model_params(mjd, mjd + span / 86400.0, config.get(), state.get());
        place_orbit();
    }
};

#endif
