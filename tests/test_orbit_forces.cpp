/// Parameter registry, dynamics configuration, state vectors and force models.
#include <iterator>

#include "attitude.h"
#include "common_function.h"
#include "orbit_fixture.h"

namespace {

// --- registry and parameters ---------------------------------------------------------------------------------------------

TEST_F(Dynamics, RegistryHoldsEachNameOnceAndAdmits906) {
    const auto index_of = [&](std::string name) {
        return get_parameter_index_global(&config->num_param_total, config->param_names_force_models, name.data());
    };
    for (int i = 0; i < 906; ++i) EXPECT_EQ(index_of("N" + std::to_string(i)), i);
    EXPECT_EQ(index_of("N899"), -1);  // full before it is searched
    config->num_param_total = 900;
    EXPECT_EQ(index_of("N899"), 899);
}

TEST_F(Dynamics, PiecesOfASpan) {
    const double s = 59232.0, piece = 1200.0;
    const auto generate = [&](double intervals, double interval) {
        config->num_param_total = 0;
        generate_param_empirical(s, s + intervals * piece / 86400.0, interval, &emp, config.get(), state.get());
        return emp.num / 7;
    };
    EXPECT_EQ(generate(2.4, piece), 2);
    EXPECT_EQ(emp.param_life[1][1], s + 2 * piece / 86400.0);  // the remainder stays outside
    EXPECT_EQ(generate(2.6, piece), 3);
    EXPECT_EQ(emp.param_life[2][1], s + 2.6 * piece / 86400.0);
    EXPECT_EQ(emp.param_life[2][0], emp.param_life[1][1]);
    EXPECT_STREQ(emp.param_name[20], "EMP_002_CS");
    EXPECT_EQ(generate(114.0, piece), 114);
    EXPECT_EQ(generate(1.0, 0.0) + generate(-1.0, piece) + generate(1.0, std::nan("")), 0);
    *config = {};
    initialize_orbit_config(config.get());
    EXPECT_TRUE(config->step_size == 20.0 && config->norder_gravity == 100);
    initialize_state_spacecraft(config.get(), state.get());
    EXPECT_EQ(config->nstate, 42 + 6 * 504);
    EXPECT_NEAR(emp.param_life[0][0], 58498.0 + 86382.0 / 86400.0, 1e-11);
    EXPECT_NEAR(emp.param_life[71][1], 58499.0 + 86322.0 / 86400.0, 1e-11);  // the 72nd piece, cut 60 s short
    EXPECT_STOP(generate(115.0, piece), "empirical force params num.805. > MAXNUM_FM_PARM.800.");
    EXPECT_STOP(generate(1.0, 1e-300), "MAXNUM_FM_PARM.800.");
}

TEST_F(Dynamics, RequestedParametersGetOnePieceMore) {
    const double s = 59232.0, e = s + 5400.0 / 86400.0;  // exact
    request(FM_Drag, "Cd", 1800.0);
    request(FM_ERP, "Cr", 6000.0);  // no tag: the name of the kind before stays
    request(FM_EMP, "A0", 1800.0);
    request(FM_EMP, "AS", 5400.0 / 2.3);
    request(FM_EMP, "C0", 0.0);  // none
    produce_force_model_params(s, e, config.get(), state.get());
    const PARAM_FM& drag = config->force_model_parameters[FM_Drag];
    ASSERT_EQ(drag.num, 4);
    EXPECT_STREQ(drag.param_name[3], "DRAG_003_Cd");
    EXPECT_EQ(std::count(drag.param_life[3], drag.param_life[3] + 2, e), 2);  // an empty span at the end
    EXPECT_EQ(config->force_model_parameters[FM_ERP].idx_global[0], drag.idx_global[3]);
    EXPECT_EQ(emp.num, 7);
    EXPECT_EQ(config->nstate, 42 + 6 * 12);
    // The flat state takes the parameters force by force.
    const ForceModel used[] = {FM_Drag, FM_EMP};
    std::copy_n(used, 2, config->force_model_used);
    config->num_force_models = 2;
    Values y(6 + 4 + 7);
    std::iota(y.begin(), y.end(), 1.0);
    set_state_force_param(config.get(), state.get(), y.data());
    EXPECT_TRUE(state->vel_eci[2] == 6.0 && drag.param[0] == 7.0 && emp.param[0] == 11.0 && emp.param[6] == 17.0);
    Values back(y.size());
    extract_state_force_param(config.get(), state.get(), back.data());
    EXPECT_EQ(back, y);
    for (const auto& [fm, interval] : {std::pair{FM_SRP, 5400.0 / 49.5}, {FM_SRP, 1e-9}, {FM_EMP, 1.0}}) {
        config->emp_param_num_base = 0;
        request(fm, "A0", interval);
        EXPECT_STOP(produce_force_model_params(s, e, config.get(), state.get()),
                    fm == FM_SRP ? "force.FM=6. params num.50. > MAXNUM" : "force.FM=10. params num.800. > MAXNUM");
    }
}

// --- state ---------------------------------------------------------------------------------------------------------------

TEST_F(Dynamics, FlatDerivativeRepacksTheColumns) {
    start_orbit();
    const int n = config->nstate;
    ASSERT_EQ(n, 42 + 6 * 3);
    std::iota(state->S, state->S + 5400, 1.0);
    std::iota(state->dS, state->dS + 5400, 20000.0);
    Values dy(n), shorter(59, -7.0);
    convert_struct2dydx(n, config.get(), state.get(), dy.data());
    std::fill_n(state->dS, 5400, -1.0);
    convert_dydx2struct(n, dy.data(), config.get(), state.get());
    for (int k : {0, 2, 3, 899, 4 * 900 + 2, 5 * 900 + 3}) {
        EXPECT_EQ(state->dS[k], k % 900 < 3 ? 20000.0 + k : -1.0);
    }
    convert_struct2ystate(59, config.get(), state.get(), shorter.data());  // too short for S
    EXPECT_TRUE(shorter[41] == 1.0 && shorter[42] == -7.0);
    // All 900 columns of S enter dS, the partials the first three.
    Values y(n);
    convert_struct2ystate(n, config.get(), state.get(), y.data());
    orbit_derivative(n, 0.0, y.data(), dy.data());
    for (int k : {0, 2, 3, 4, 899}) {
        for (int i = 0; i < 3; ++i) {
            const double* const column = state->S + k;
            const double* const dadr = state->dadr + 3 * i;
            EXPECT_EQ(state->dS[900 * i + k], column[900 * (3 + i)]);
            EXPECT_DOUBLE_EQ(state->dS[900 * (3 + i) + k], dadr[0] * column[0] + dadr[1] * column[900] +
                                                               dadr[2] * column[1800] + state->dadp[900 * i + k]);
        }
    }
}

// --- configuration file --------------------------------------------------------------------------------------------------

TEST_F(Dynamics, ConfigurationFile) {
    const auto read = [&](const std::string& text) {
        readfile_orbitdynamics_config(support::write_temp("dynamics.cfg", text).data(), config.get());
    };
    LogRecorder log(ULOG_INFO_LEVEL);
    read(
        "Earth_Gravity = YES 7\n"  // outside the sections
        "+Force_Models\n"
        "Earth_Gravity = YES 100 time_varying_gravity  no_ocean_tide solid_earth_tide // polar_tide\n"
        "Third_Body_Gravity = YES SUN MOON JUPITER\r\n"
        "Solar_Radiation_Pressure = YES Cr:86400\n"  // a model word is missing
        "Atmosphere_Drag = SPHERE Cd:43200\n*General_Relativity = YES\n  My_General_Relativity_Too = YES\n"
        "Empirical_Force = YES A0:1200 X0:5 AS :7\n"
        "-Force_Models\n+GENERAL_CONFIG\nIntegration_Step_Size = 12.5\nIntegration_Output_Interval = 6D1\n"
        "spacecraft_state_mode = 1e400\n-GENERAL_CONFIG\nIntegration_Step_Size = 99\n");
    const ForceModel forces[] = {FM_EarthGravity, FM_ThirdBody, FM_Drag, FM_Relativity, FM_EMP};
    ASSERT_EQ(config->num_force_models, 5);
    EXPECT_TRUE(log.has(ULOG_INFO_LEVEL, "Earth Gravity,Third body,Drag,Relativity,Empirical force,"));
    EXPECT_TRUE(std::equal(forces, forces + 5, config->force_model_used));
    EXPECT_EQ(config->norder_gravity, 100);
    EXPECT_TRUE(config->time_vary_gravity && config->solid_earth_tide && !config->ocean_tide && !config->pole_tide);
    EXPECT_EQ(config->num_planets, 3);
    EXPECT_EQ(config->opt_drag, 2);
    ASSERT_EQ(config->emp_param_num_base, 3);
    EXPECT_EQ(config->emp_params_base[1].interval, 1200.0);
    EXPECT_STREQ(config->emp_params_base[2].name_param, "AS");
    EXPECT_EQ(config->emp_params_base[2].interval, 0.0);
    EXPECT_EQ(config->step_size, 12.5);
    EXPECT_EQ(config->output_interval, 6.0);
    EXPECT_EQ(config->status_derivative, 2147483647);

    read("+Force_Models\nEarth_Gravity = NO 50 ocean_tide\nThird_Body_Gravity = NO MARS\n");
    EXPECT_EQ(config->num_force_models, 0);
    EXPECT_EQ(config->norder_gravity, 100);
    EXPECT_TRUE(config->ocean_tide);
    config->emp_param_num_base = 0;
    read("+Force_Models\nSolar_Radiation_Pressure = BOXW Cr:900\nAtmosphere_Drag = GRID\n");
    EXPECT_TRUE(config->force_model_used[0] == FM_SRP && config->opt_srp == 1 &&
                config->force_model_used[1] == FM_Drag);
    EXPECT_TRUE(config->emp_param_num_base == 1 && config->emp_params_base[0].interval == 900.0);
    EXPECT_STOP(readfile_orbitdynamics_config(std::string("absent").data(), config.get()), "config file open failed");

    // Beyond the tables.
    std::string planets = "+Force_Models\nThird_Body_Gravity = YES", kinds = "\nEmpirical_Force = YES", more;
    for (int i = 0; i < 30; ++i) {
        planets += " MOON";
        kinds += " A0:" + std::to_string(i + 1);
        more += "\nGeneral_Relativity = YES";
    }
    log.clear();
    read(planets + kinds + more);
    EXPECT_EQ(config->num_force_models, 11);
    EXPECT_EQ(config->num_planets, 17);
    EXPECT_EQ(config->emp_param_num_base, 20);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, ""), 3);
}

// --- forces --------------------------------------------------------------------------------------------------------------

/// Largest difference of a block, relative to the largest element of the expected one.
double difference(const double* computed, const double* expected, int n) {
    double largest = 0.0, scale = 0.0;
    for (int i = 0; i < n; ++i) {
        largest = std::max(largest, std::fabs(computed[i] - expected[i]));
        scale = std::max(scale, std::fabs(expected[i]));
    }
    return largest / scale;
}

TEST_F(Dynamics, ForcesAgreeWithHighPrecisionEvaluation) {
    std::ifstream in(std::filesystem::path(LEOPOD_SOURCE_DIR) / "tests" / "oracles" / "dynamics.csv");
    int rows = 0;
    for (std::string line, kind; std::getline(in, line);) {
        if (line[0] == '#') continue;
        std::replace(line.begin(), line.end(), ',', ' ');
        std::stringstream fields(line);
        fields >> kind;
        SCOPED_TRACE(kind + " row " + std::to_string(rows++));
        Values row{std::istream_iterator<double>(fields), {}};
        double* const v = row.data();
        double acc[3] = {}, partials[3 * 50] = {};
        if (kind == "thirdbody") {
            PLANET_JPL bodies[] = {SUN, MOON, JUPITER};
            ASSERT_TRUE(compute_acc_thirdbody(v[0], 3, bodies, v + 1, acc, partials));
            EXPECT_LT(difference(acc, v + 4, 3), 3e-11);  // two nearly equal attractions
            EXPECT_LT(difference(partials, v + 7, 9), 1e-13);
        } else if (kind == "relativity") {
            ASSERT_TRUE(compute_acc_relativity(v, v + 3, v + 6, v + 9, acc));
            EXPECT_LT(difference(acc, v + 12, 3), 2e-15);
            EXPECT_FALSE(compute_acc_relativity(v, v + 3, partials, v + 9, acc));  // no Sun
        } else if (kind == "empirical") {
            const char* kinds[] = {"A0", "C0", "R0", "AC", "AS", "CC", "CS", "RC", "RS", "D0"};
            emp.num = 10;
            for (int k = 0; k < 10; ++k) {
                std::snprintf(emp.param_name[k], 20, "EMP_%03d_%s", k, kinds[k]);
                emp.param[k] = v[8 + k];
                emp.param_life[k][0] = v[1];
                emp.param_life[k][1] = v[0];  // the end belongs to the span
            }
            int active[800];
            ASSERT_EQ(compute_acc_Empirical(v[0], active, &emp, v + 2, v + 5, acc, partials), 10);
            EXPECT_LT(difference(acc, v + 18, 3), 1e-13);
            EXPECT_LT(difference(partials, v + 21, 30), 1e-13);
        } else if (kind == "ecom") {
            PARAM_FM force = {};
            force.mode = static_cast<int>(v[0]);
            force.num = 7;
            std::copy_n(v + 11, 7, force.param);
            ASSERT_TRUE(compute_acc_ECOM(0.0, &force, v + 8, v + 2, v + 5, v[1], acc, partials));
            EXPECT_LT(difference(acc, v + 18, 3), 1e-12);
            EXPECT_LT(difference(partials, v + 21, 21), 1e-12);
        } else {
            compute_acc_dadr_earth_gravity(9, 9, v[0], v[1], v + 2, v + 5, v + 8, acc, nullptr);
            EXPECT_LT(difference(acc, v + 11, 3), 2e-15);
            EXPECT_GT(v[14] / norm(3, acc), 1e-9);  // the variable part stands far above that
        }
    }
    EXPECT_EQ(rows, 18);
}

TEST_F(Dynamics, ForcesOnAndOff) {
    start_orbit();
    ORBIT_DYN_CONFIG& c = *config;
    STATE_SPACECRAFT& s = *state;
    emp.param[0] = 40.0;
    const ForceModel forces[] = {FM_EarthGravity, FM_SRP, FM_ThirdBody, FM_Relativity, FM_EMP};
    double sum[3] = {}, term[3], partials[9], body[6];
    c.num_force_models = 1;
    for (const ForceModel force : forces) {
        c.force_model_used[0] = force;
        compute_acc_all(&c, &s);
        ArrayAddition(3, sum, s.acc_eci, sum);
        if (force == FM_ThirdBody) {
            compute_acc_thirdbody(mjd, c.num_planets, c.planets, s.pos_eci, term, nullptr);
            EXPECT_TRUE(std::equal(term, term + 3, s.acc_eci));
        }
    }
    std::copy_n(forces, 5, c.force_model_used);
    c.num_force_models = 5;
    compute_acc_all(&c, &s);
    EXPECT_TRUE(std::equal(sum, sum + 3, s.acc_eci));
    int active[800];
    const auto empirical = [&](double at) {
        return compute_acc_Empirical(at, active, &emp, s.pos_eci, s.vel_eci, term, partials);
    };
    compute_planet_pos_vel((37.0 + 32.184) / 86400.0 + mjd + 2400000.5, EARTH, SUN, body);
    double d[3] = {1e3 * body[0] - s.pos_eci[0], 1e3 * body[1] - s.pos_eci[1], 1e3 * body[2] - s.pos_eci[2]};
    EXPECT_NEAR(std::sin(s.beta), dotproduct(3, 3, d, s.orbit_cross) / norm(3, d), 1e-15);
    EXPECT_NEAR(std::cos(s.eps), dotproduct(3, 3, d, s.orbit_raidal) / norm(3, d), 1e-15);
    // A parameter out of its span or without a column leaves no trace; mode 0, no gradient.
    emp.param_life[0][1] = mjd - 1e-9;
    emp.idx_global[1] = -1;
    emp.idx_global[2] = 906;
    c.status_derivative = 0;
    compute_acc_all(&c, &s);
    EXPECT_EQ(std::count(s.dadp, s.dadp + 2700, 0.0) + std::count(s.dadr, s.dadr + 9, 0.0), 2709);
    // Neighbours are both active at their common boundary, and only one beside it.
    emp.param_life[0][1] = emp.param_life[1][0] = mjd;
    EXPECT_EQ(empirical(mjd), 3);
    EXPECT_EQ(empirical(mjd + 0.1), 2);
    EXPECT_FALSE(compute_acc_drag(0, nullptr, 0, mjd, s.pos_eci, s.vel_eci, term));  // a placeholder
    EXPECT_TRUE(std::fabs(term[0] / -1.54e-12 - 1.0) < 1e-15 && term[1] == 0.0 && term[2] == 0.0);
    // Without orientation, planets and attitude: a message for each conversion and each look-up.
    g_eop_storage_size = 0;
    header->ss[1] = 0.0;
    g_att_qua_storage.num_object = 1;
    s.satindex = 7;
    LogRecorder log;
    compute_acc_all(&c, &s);
    g_att_qua_storage.num_object = 0;
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "eop_ok=false, using ZERO eop!"), 4);
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "Requested JED"), 5);
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "object index=7 is not in g_att_qua_storage!"), 1);
    std::strcpy(emp.param_name[1], "EMP_000_A");
    EXPECT_STOP(empirical(mjd), "Unknown force model parameters .EMP_000_A.");
}

TEST(Shadow, AgreesWithTheAreaOfTheDiscs) {
    double sun[3] = {1.496e11, 0.0, 0.0};
    const double full = 1.0 - std::pow(std::asin(6371000.0 / 3e9) / std::asin(695700000.0 / (1.496e11 + 3e9)), 2);
    const std::tuple<double, double, bool, double> cases[] = {
        {7e6, 0.0, false, 1.0},  {-7e6, 0.0, false, 0.0}, {-3e6, 0.0, false, 0.0},
        {-1e6, 7e6, false, 1.0}, {-1e6, 7e6, true, 0.0},  // the other radius darkens half of the sky
        {-3e9, 0.0, false, full}};
    for (const auto& [x, y, modified, expected] : cases) {
        double sat[3] = {x, y, 0.0};
        EXPECT_NEAR(shadow_factor_SECM(sun, sat, modified), expected, x == -3e9 ? 1e-12 : 0.0) << x;
    }
    for (double angle = 1.9945; angle < 2.002; angle += 0.001) {  // through the penumbra
        double sat[3] = {7e6 * std::cos(angle), 7e6 * std::sin(angle), 0.0};
        double d[3] = {sun[0] - sat[0], sun[1] - sat[1], 0.0};
        const double a_s = std::asin(695700000.0 / norm(3, d)), a_e = std::asin(6371000.0 / 7e6);
        const double theta = std::acos(-dotproduct(3, 3, sat, d) / (7e6 * norm(3, d)));
        const int strips = 20000;  // of the disc, across the line of centres
        double visible = 0.0, all = 0.0;
        for (int i = 0; i < strips; ++i) {
            const double x = a_s * (2.0 * (i + 0.5) / strips - 1.0);
            const double own = std::sqrt(a_s * a_s - x * x), other = a_e * a_e - (theta + x) * (theta + x);
            visible += own - std::min(own, std::sqrt(std::max(other, 0.0)));
            all += own;
        }
        EXPECT_TRUE(visible > 0.0 && visible < all) << angle;
        EXPECT_NEAR(shadow_factor_SECM(sun, sat, false), visible / all, 1e-5) << angle;
    }
}

TEST_F(Dynamics, DensityAtTheBulgeAndOppositeIsThatOfTheTable) {
    double sun[3];
    compute_pos_sun_moon_eci(mjd, sun, nullptr);
    const double ra = std::atan2(sun[1], sun[0]) + 0.523599, dec = std::asin(sun[2] / norm(3, sun));
    const auto density = [&](double height_km, double side) {
        double blh[3], pos[3] = {std::cos(dec) * std::cos(ra), std::cos(dec) * std::sin(ra), std::sin(dec)};
        for (double& x : pos) x *= 6.9e6 * side;
        for (int k = 0; k < 20; ++k) {  // to the height along the direction
            ecef2blh(pos, blh, 6378137.0, 0.0033528106647474805);
            const double scale = 1.0 + (height_km * 1000.0 - blh[2]) / norm(3, pos);
            for (double& x : pos) x *= scale;
        }
        return atm_density_Harris_Priester(mjd, pos);
    };
    EXPECT_NEAR(density(520, -1.0) / 0.2819e-12, 1.0, 1e-6);
    EXPECT_NEAR(density(520, 1.0) / 1.605e-12, 1.0, 1e-6);
    EXPECT_NEAR(density(410, -1.0) / (std::sqrt(2.249 * 1.558) * 1e-12), 1.0, 1e-6);  // exponential between rows
    EXPECT_EQ(density(1000.001, 1.0) + density(99.999, 1.0), 0.0);
}

}  // namespace
