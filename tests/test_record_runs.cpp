// What runs of the library leave in its stores and say, against a record of it (tests/record): epochs of receivers with their faults,
// positions of satellites, forces and fits, drivers. Recorded anew as test_record.
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>

#include "arc.h"
#include "common_function.h"
#include "fences.h"
#include "gnss_rtk.h"
#include "orbit_fixture.h"
#include "pod_embed.h"
#include "record.h"

namespace {

using support::epochs;
using support::Record;

#define R(function, ...) record(#function, function, __VA_ARGS__)

/// Faults of a receiver, another one each epoch: jumps of phase and code, lost satellites and records, nonsense.
void spoil(OBSDATA_EPOCH& epoch, int e) {
    OBSDATA_SAT& sat = epoch.satobs[e % 5];
    OBSREC& record = sat.obsdata[e % 4];
    const int fault = e % 12;
    for (OBSREC& each : sat.obsdata) each.value *= fault == 1 ? 0.0 : 1.0;
    if (fault == 3) std::swap(record, sat.obsdata[9]);
    record.value = fault == 5 ? 0.0
                              : record.value + (fault == 4             ? 1e5
                                                : fault != 2           ? 0.0
                                                : record.type == PHASE ? 3.0
                                                                       : 40.0);
    record.flag_obs = fault == 10 ? 1 : record.flag_obs;
    sat.prn = fault == 6 ? 77 : sat.prn;
    sat.num_obs = fault == 7 ? 1 : fault == 3 ? 10 : sat.num_obs;
    sat.satsys = fault == 8 ? GAL : sat.satsys;
    sat.flag_sat = fault == 11 ? LOW_ELE : sat.flag_sat;
    epoch.sat_num = fault == 9 ? e % 24 == 9 ? 3 : epoch.sat_num - 3 : epoch.sat_num;
}

void epochs_of(const std::string& kind) {
    const std::string data = kind.substr(0, kind.find('_')), part = kind.substr(kind.find('_') + 1);
    Record record("run_" + kind + ".txt");
    record.skipped = {
        "brdc_storage", "prec_storage", "DX_dyn", "chebychev_coef", "con_name", "con_val", "param_names_force_models",
        "param_name"};
    const auto pod = std::make_unique<RUNTIME_POD_EMBED>();
    runtime_rtk = {};
    std::fill(std::begin(epochs), std::end(epochs), OBSDATA_EPOCH{});
    support::start_arc(pod.get());
    record.record("pod", "RUNTIME_POD_EMBED", pod.get());
    support::load_arc(pod.get(), data, part == "part" ? "gps" : data);
    const LogRecorder log;
    if (part == "faults") gnssconfig.ele_cutoff = 0.2;
    for (int e = 0; e < std::min(36, g_num_obs_storage - 12); ++e) {
        if (part == "faults") spoil(epochs[e], e);
        if (e == 3) std::fill_n(pod->DX + 38 * 39, 39, 1.0);  // left over
        run_single_pod_embed(&epochs[e], pod.get());
        record.record("pod", "RUNTIME_POD_EMBED", pod.get());
        std::string text(20000, '\0');
        output_observation_embed(&epochs[e], text.data());
        record.text("text", text.c_str());
    }
    for (auto* transfer : {get_initial_ambiguity_test, get_initial_ambiguity, get_initial_ambiguity_nomemory}) {
        transfer(pod.get());
        record.record("pod", "RUNTIME_POD_EMBED", pod.get());
    }
    for (const int count : {-1, 6}) {  // as no run leaves them
        pod->num_orb_store = pod->num_clk_store = count;
        pod->X[0] = count, pod->X[6] = count;
        store_data_orbit(pod.get()), store_data_clock(pod.get());
        record.record("stored", "DATA_ORBIT", pod->dataset_orbit, 5),
            record.record("stored", "DATA_CLK", pod->dataset_clk, 5);
    }
    const int places[] = {-1, 15, 0, 1}, indices[] = {0, 1, -1, 97};  // as no run lists them
    std::copy_n(places, 4, pod->satlist_used_in_obsepoch);
    std::copy_n(indices, 4, pod->satlist_satindex_now);
    Values H(30 * 39), weights(900), residuals(30);
    record.number("rows",
                  update_measurement_clock_solution(pod.get(), H.data(), weights.data(), residuals.data(), 30, 39));
    record.record("residuals", "double", residuals.data(), 30);
    // Both receivers of a baseline, one of them late.
    rtk_init();
    for (long e = 0; e + 2 < g_num_obs_storage; e += 5) {
        SOLUTION solution{};
        choose_observation(&epochs[e]), choose_observation(&epochs[e + 1 + e % 2]);
        record.number("answer", relative_positioning(&epochs[e], &epochs[e + 1 + e % 2], &solution));
        record.record("rtk", "RUNTIME_RTK", &runtime_rtk);
        record.record("rtk", "SOLUTION", &solution);
    }
    record.messages();
    free_att_quaternion_store();
    record.compare(part == "faults" ? 1e-6 : 2e-8);  // a filter that has just begun amplifies rounding
    if (kind != "both") return;
    Record satellites("satellites.txt");
    for (int index = 0; index < 97; ++index)
        for (int k = -3; k < 24; ++k) {
            const GTime when = {{59232, 1000.0 * k}, tsGPST};
            satellites("satellite", compute_satposvel, when, index, Values(6), Values(3), Values(3));
        }
    satellites.messages();
    satellites.compare(1e-13);
}

/// Each range of an epoch once far off, with ever higher limits of what is.
TEST(Recorded, RangesThatStandOut) {
    Record record("point.txt");
    const auto pod = std::make_unique<RUNTIME_POD_EMBED>();
    support::start_arc(pod.get());
    support::load_arc(pod.get(), "both", "both");
    const LogRecorder log;
    for (long e = 0; e < g_num_obs_storage; ++e) {
        gnssconfig.huber_param_spp[0] = 0.4 * std::pow(1.1, static_cast<double>(e));
        for (int k = 0; k < epochs[e].sat_num; ++k) {
            auto epoch = std::make_unique<OBSDATA_EPOCH>(epochs[e]);
            for (OBSREC& range : epoch->satobs[k].obsdata)
                if (range.type == RANGE) range.value += 3e4;
            SOLUTION solution{};
            choose_observation(epoch.get());
            record.number("answer", pseudorange_point_positioning(epoch.get(), nullptr, &solution));
            record.record("solution", "SOLUTION", &solution), record.record("epoch", "OBSDATA_EPOCH", epoch.get());
        }
    }
    free_att_quaternion_store();
    record.compare(1e-9);
}

TEST(Recorded, Epochs) {
    for (const char* kind : {"gps", "both", "gps_faults", "both_faults", "both_part"}) epochs_of(kind);
}

TEST_F(Dynamics, RecordedForces) {
    Record record("forces.txt");
    record.skipped = {"S", "dS"};
    const LogRecorder log;
    const std::string kinds[] = {"A0", "C0", "R0", "AC", "AS", "CC", "CS", "RC", "RS"};
    for (const ForceModel fm : {FM_SRP, FM_ERP, FM_Drag}) request(fm, "C0", 1800.0);
    prepare({std::begin(kinds), std::end(kinds)}, 1800.0, 5400.0);
    for (int i = 0; i < emp.num; ++i) emp.param[i] = 30.0 + 7.0 * i;
    const ForceModel forces[] = {FM_EarthGravity, FM_SRP,  FM_ThirdBody, FM_Relativity,
                                 FM_EMP,          FM_Drag, FM_ERP,       FM_ECOM};
    std::copy(std::begin(forces), std::end(forces), config->force_model_used);
    PARAM_FM& ecom_of_run = config->force_model_parameters[FM_ECOM];
    ecom_of_run.mode = 1, ecom_of_run.num = 5;
    for (int i = 0; i < 5; ++i) ecom_of_run.param[i] = 3.0 - i, ecom_of_run.idx_global[i] = 2 * i;
    config->time_vary_gravity = config->solid_earth_tide = config->ocean_tide = config->pole_tide = true;
    for (int k = 0; k < 30; ++k) {
        Values v = {std::sin(k), std::cos(2.0 * k), std::sin(3.0 * k + 1.0)}, sun(3), moon(3);
        const double r = 6.45e6 + 2e4 * k;
        for (double& x : v) x *= r / norm(3, v.data());
        std::copy_n(v.data(), 3, state->pos_eci);
        state->sec_since_start = 200.0 * k;
        config->status_derivative = k % 3;
        config->num_force_models = k < 24 ? 7 : 8;
        compute_acc_all(config.get(), state.get());
        record.record("state", "STATE_SPACECRAFT", state.get());
        Values y(static_cast<std::size_t>(config->nstate));
        convert_struct2ystate(config->nstate, config.get(), state.get(), y.data());
        R(orbit_derivative, config->nstate, 100.0 * k, y, y);
        R(atm_density_Harris_Priester, mjd + k, v), R(compute_pos_sun_moon_eci, mjd + k, sun, moon);
        compute_pos_sun_moon_eci(mjd + k, sun.data(), moon.data());
        R(shadow_factor_SECM, sun, v, k % 2 == 1);
        PARAM_FM ecom = {};
        ecom.mode = k % 3, ecom.num = 7;
        for (int i = 0; i < 7; ++i) ecom.param[i] = 10.0 * i + k;
        R(compute_acc_ECOM, mjd, ecom, sun, v, Values{3e3, 5e3, 4e3}, 0.3, Values(3), Values(21));
        for (PLANET_JPL body : {MOON, SUN, MARS, MERCURY, SOLAR_BARY, EM_BARY, EARTH_NUTATION})
            R(compute_planet_pos_vel, mjd + 2400000.5 + k, EARTH, body, Values(6));
    }
    record.record("config", "ORBIT_DYN_CONFIG", config.get());
    record.messages();
    record.compare(1e-13);
}

TEST_F(Dynamics, RecordedFit) {
    Record record("fit.txt");
    const LogRecorder log;
    // An arc, and a fit of it from a start aside.
    config->norder_gravity = 12;
    config->output_interval = 40.0;
    prepare({"A0", "CS"}, 86400.0, 1600.0);
    std::vector<GTime> when;
    std::vector<std::array<double, 3>> where;
    Values y(6), x(8);
    extract_state_force_param(config.get(), state.get(), x.data());
    for (const double t : {0.0, 60.0, 320.0, 505.0, 822.0, 1200.0, 1540.0, 1600.0}) {
        config->status_derivative = 0;
        state->sec_since_start = 0.0;
        convert_struct2ystate(6, config.get(), state.get(), y.data());
        double step = 30.0;
        IntegrateTo(orbit_derivative, 6, 0.0, y.data(), &step, t, nullptr);
        when.push_back(gtimeAddSec(mjd2GTime(tsUTC, mjd), t));
        where.push_back({y[0] + 3.0 * std::sin(t), y[1], y[2] - 2.0 * std::cos(t)});
    }
    x[0] += 5.0;
    set_state_force_param(config.get(), state.get(), x.data());
    state->sec_since_start = 0.0;
    config->status_derivative = 2;
    Values omc(24), arc(24);
    std::vector<STATE_SPACECRAFT> history(41);
    SOLUTION_ORBITFIT solution{{}, omc.data(), arc.data(), 0, history.data(), 41};
    record.number("fit", orbit_fit(config.get(), state.get(), when.back(), 8, when.data(),
                                   reinterpret_cast<double(*)[3]>(where.data()), &solution));
    record.record("solution", "SOLUTION_ORBITFIT", &solution);
    record.record("residuals", "double", omc.data(), 24), record.record("along", "double", arc.data(), 24);
    record.record("fitted", "STATE_SPACECRAFT", history.data(), 41);
    orbit_integrate(config.get(), state.get(), 600.0, 30.0);
    record.record("integrated", "STATE_SPACECRAFT", state.get());
    record.messages();
    record.compare(1e-9);
}

TEST(Recorded, RowsOfTheSimulation) {
    Record record("simulation.txt");
    std::filesystem::current_path(support::temp_dir());
    const std::string text =
        "+Force_Models\nEarth_Gravity = YES 8\nGeneral_Relativity = YES\nEmpirical_Force = "
        "YES\n-Force_Models\n+GENERAL_CONFIG\n"
        "Integration_Step_Size = 20\nspacecraft_state_mode = 2\nIntegration_Output_Interval = 900\n-GENERAL_CONFIG\n";
    const std::string config = support::write_temp("simulation.cfg", text);
    const pid_t child = fork();
    if (child == 0) {
        const rlimit limit = {40000, 40000}, no_core = {0, 0};
        setrlimit(RLIMIT_CORE, &no_core), setrlimit(RLIMIT_FSIZE, &limit);
        if (std::freopen("printed.txt", "w", stdout) == nullptr) _exit(2);
        std::setvbuf(stdout, nullptr, _IONBF, 0);
        test_orbit_simulation(std::string(config).data(), std::string("orbit.txt").data());
        _exit(1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGXFSZ);
    record.text("printed", support::read_file("printed.txt"));
    std::ifstream rows("orbit.txt");
    std::string line;
    for (int k = 0; k < 100 && std::getline(rows, line); ++k) {
        std::replace(line.begin(), line.end(), ',', ' ');
        std::stringstream words(line.erase(7, 11));
        double value;
        for (int column = 0; words >> value; ++column) record.number("column " + std::to_string(column), value);
    }
    record.compare(1e-9);
}

TEST(Recorded, DynamicFilter) {
    Record record("dynamic_filter.txt");
    const auto pod = std::make_unique<RUNTIME_POD_EMBED>();
    STATE_SPACECRAFT& state = pod->state_satellite;
    state.sec_since_start = 420.0;
    for (int i = 0; i < 3; ++i) {
        state.pos_eci[i] = 4e6 + 1e6 * i, state.vel_eci[i] = 4e3 - 2e3 * i;
        for (int k = 0; k < 3; ++k) pod->DX[39 * i + k] = i == k ? 4.0 + i : 0.5;
        for (int k = 0; k < 40; ++k) state.S[900 * i + k] = std::sin(3.0 * i + k);
    }
    for (int i = 0; i < 30; ++i) {
        pod->X_dyn[i] = 10.0 + i;
        for (int k = 0; k < 30; ++k) pod->DX_dyn[906 * i + k] = i == k ? 30.0 + i : std::cos(i * k);
    }
    for (int pass = 0; pass < 2; ++pass) {
        record.number("answer", orbit_dynamic_filter(pod.get()));
        record.record("X_dyn", "double", pod->X_dyn, 906);
        for (int i = 0; i < 32; ++i) record.record("DX_dyn", "double", pod->DX_dyn + 906 * i, 32);
    }
    record.compare(1e-12);
}

/// The drivers without their files: what they say, and where the field was asked for last.
TEST(Recorded, Drivers) {
    Record record("drivers.txt");
    const LogRecorder log;
    std::filesystem::current_path(support::temp_dir());
    initialize_global_earth_gravity();
    for (auto* const driver : {test_orbit_integrate, test_orbit_integrate_embed}) {
        driver();
        record.record("V", "double", V, 300);
        record.record("W", "double", W, 300);
        record.messages();
    }
    record.compare(1e-9);
}

}  // namespace
