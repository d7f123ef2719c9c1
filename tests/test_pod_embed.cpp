/// Epoch driver: runs against known truth and an independent rendering of the processing, stores, ambiguity transfer, exits.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <memory>
#include <numeric>

#include "allocations.h"
#include "pod_embed.h"
#include "support.h"

// Every allocation of the process is counted, those of the library included.
static long allocations = 0;
static bool allow_allocation() {
    ++allocations;
    return true;
}

namespace {

using Row = std::vector<double>;
using Table = std::map<double, Row>;  // by second of the day

EPHBRDC_STORE brdc;
ANT_INFO_STORE antennas;
OBSDATA_EPOCH epochs[4400];

std::string leo(const std::string& name) { return support::data_path("leo_sim/" + name).string(); }

/// Rows of a table of numbers by one of their columns.
Table read_csv(const std::string& path, size_t key = 0) {
    Table table;
    std::ifstream in(path);
    std::string line;
    std::getline(in, line);
    while (std::getline(in, line)) {
        Row row;
        std::stringstream fields(line);
        for (std::string field; std::getline(fields, field, ',');) row.push_back(std::atof(field.c_str()));
        table[row.at(key)] = row;
    }
    return table;
}

double distance(const double* a, const double* b) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); }

double rms(const Row& values) {
    const double sum = std::inner_product(values.begin(), values.end(), values.begin(), 0.0);
    return std::sqrt(sum / static_cast<double>(values.size()));
}

class PodEmbed : public testing::Test {
  protected:
    void SetUp() override {
        g_eph_selection = EPHOPT_BRDC;
        g_antenna_info_store = nullptr;
        sysGNSS systems[1] = {GPS};
        set_gnssconfig_system(&gnssconfig, 1, systems);
    }
    void TearDown() override { free_att_quaternion_store(); }
    void load_epochs(const std::string& path) {
        g_obs_storage = epochs;
        g_num_obs_storage = 0;
        ASSERT_TRUE(load_observation_rinex(const_cast<char*>(path.c_str()), 0, 0.0));
    }
    void run(int index) { run_single_pod_embed(&epochs[index], pod.get()); }

    std::unique_ptr<RUNTIME_POD_EMBED> pod = std::make_unique<RUNTIME_POD_EMBED>();
};

/// Prepared environment of the simulated data: files are read once a process, the navigation file among them.
class PodEmbedSimulated : public PodEmbed {
  protected:
    void SetUp() override {
        LEOPOD_REQUIRE_DATA(support::data_path("leo_sim/dev21_tgd0.nav"));
        PodEmbed::SetUp();
        startup_pod_embed(pod.get(), false);
        g_brdc_storage = &brdc;
        static const bool loaded = load_ephemeris_brdc(leo("dev21_tgd0.nav").data()) &&
                                   load_antenna_storage(leo("zero.atx").data(), &antennas);
        ASSERT_TRUE(loaded);
        g_antenna_info_store = &antennas;
        ASSERT_TRUE(load_attitude_quaternion(0, leo("dev21_att_zup.txt").data()));
    }
    void prepare(const char* config, const std::string& data) {
        set_gnssconfig_from_file(leo(config).data());
        startup_pod_embed(pod.get(), true);
        ASSERT_TRUE(pod->ant_info_rcv.ant_ok);
        load_epochs(leo(data + ".obs"));
    }

    const Table truth = read_csv(leo("dev21_truth_epochs.csv"), 1);
};

// --- runs ------------------------------------------------------------------------------------------------------------------

struct Arc {
    const char* config;
    const char* data;
    double spp;     // expected rms of the point position [m]
    double filter;  // and of the filter behind the first 20 epochs [m]
    double agree;   // with the independent rendering [m]
};

class PodEmbedRun : public PodEmbedSimulated, public testing::WithParamInterface<Arc> {};

TEST_P(PodEmbedRun, MeetsTruthAndIndependentRendering) {
    const Arc& p = GetParam();
    prepare(p.config, p.data);
    const Table predicted = read_csv(leo(std::string("predicted/") + p.data + "_zup_id.csv"));
    ASSERT_EQ(predicted.size(), static_cast<size_t>(g_num_obs_storage));
    const int nclk = gnssconfig.num_sys;
    Row spp, filter;
    for (int e = 0; e < g_num_obs_storage; ++e) {
        run(e);
        ASSERT_EQ(pod->sln_kine.status, SOL_OK);
        const double tag = epochs[e].epoch_time.time.sod;
        const Row& want = predicted.at(tag);
        const double* position = &truth.at(tag)[4];
        for (int c = 0; c < 3 + nclk; ++c) {
            const int from = c < 3 ? c : 3 + c;
            ASSERT_NEAR(pod->sln_kine.pos_vel_clk[from], want[1 + c], 1e-3) << tag;
            ASSERT_NEAR(pod->X[from], want[4 + nclk + c], p.agree) << tag;
        }
        spp.push_back(distance(pod->sln_kine.pos_vel_clk, position));
        if (e >= 20) filter.push_back(distance(pod->X, position));
        EXPECT_NEAR(gtimeSubSec(pod->time_now, {{59232, truth.at(tag)[3]}, tsGPST}), 0.0, 1e-8);
    }
    EXPECT_NEAR(rms(spp), p.spp, 0.01);
    EXPECT_NEAR(rms(filter), p.filter, 0.1 * p.filter);
}

INSTANTIATE_TEST_SUITE_P(Simulated, PodEmbedRun,
                         testing::Values(Arc{"config_gps.txt", "dev21_gps_clean", 1.516, 0.0076, 1e-3},
                                         Arc{"config_bds.txt", "dev21_bds_clean", 1.591, 0.0181, 1e-3},
                                         Arc{"config_gc.txt", "dev21_gc_clean", 1.381, 0.0116, 2e-3},
                                         Arc{"config_gps.txt", "dev21_gps_clean_windup", 1.516, 0.00057, 1e-3},
                                         Arc{"config_gps.txt", "dev21_gps_clean_slips", 1.516, 0.142, 1e-3},
                                         Arc{"config_gc.txt", "dev21_gc", 1.426, 0.059, 0.015}));

TEST_F(PodEmbed, RealReceiverDataWithPreciseProducts) {
    const auto dir = support::data_path("grace_b_2010208");
    LEOPOD_REQUIRE_DATA(dir / "predicted_00h12h.csv");
    initialize_global_eph_planet();  // the analytic sun
    initialize_global_earth_rotation_param();
    static EOPREC eop[MAXSIZE_EOP + 1];
    g_eop_storage = eop;
    g_eop_storage_size = 0;
    ASSERT_TRUE(load_eop_storage(support::data_path("eop/eopc04_IAU2000.62-now").string().data()));
    static EPHPREC_STORE prec;
    g_prec_storage = &prec;
    g_eph_selection = EPHOPT_PREC;
    for (const char* name : {"COD15941.EPH", "COD15942.EPH", "COD15943.EPH"}) {
        ASSERT_TRUE(load_ephemris_prec((dir / name).string().data()));
    }
    load_epochs((dir / "grcb2080_00h12h.10o").string());
    startup_pod_embed(pod.get(), true);
    const Table truth = read_csv(dir / "truth_00h12h.csv");
    support::LogRecorder log;
    Row spp, filter;
    double radial = 0.0;
    int mw = 0, gf = 0;
    for (int e = 0; e < g_num_obs_storage; ++e) {
        run(e);
        mw += log.count(ULOG_TRACE_LEVEL, "[cycle slip(MW)]");
        gf += log.count(ULOG_TRACE_LEVEL, "[cycle slip(GF)]");
        log.clear();
        if (pod->sln_kine.status != SOL_OK) continue;
        const double* t = &truth.at(epochs[e].epoch_time.time.sod)[1];
        spp.push_back(distance(pod->sln_kine.pos_vel_clk, t));
        filter.push_back(distance(pod->X, t));
        for (int c = 0; c < 3; ++c) radial += (pod->X[c] - t[c]) * t[c] / std::hypot(t[0], t[1], t[2]);
    }
    EXPECT_EQ(spp.size(), 4318u);
    EXPECT_EQ(mw, 699);
    EXPECT_EQ(gf, 365);
    EXPECT_NEAR(rms(spp), 4.24, 0.02);
    EXPECT_NEAR(rms(filter), 0.89, 0.01);
    EXPECT_NEAR(radial / static_cast<double>(filter.size()), 0.36, 0.01);
    EXPECT_NEAR(*std::max_element(filter.begin(), filter.end()), 3.80, 0.02);
}

TEST_F(PodEmbedSimulated, AllocationsOfARunningEpoch) {
    prepare("config_gc.txt", "dev21_gc_clean");
    run(0);
    const long before = allocations;
    for (int e = 1; e < 11; ++e) run(e);
    const double per_epoch = static_cast<double>(allocations - before) / 10.0;
    RecordProperty("allocations_per_epoch", std::to_string(per_epoch));
    if (kSeesMalloc) {
        EXPECT_NEAR(per_epoch, 81.0, 10.0);  // the figure of the guide
    }
}

TEST_F(PodEmbedSimulated, ArcsAndStoresFollowTheEpochs) {
    prepare("config_gps.txt", "dev21_gps_clean");
    pod->X[30] = pod->DX[30 * 39 + 30] = pod->DX[2 * 39 + 30] = 1.0;  // left over
    const int progress[16] = {-1, -1, -1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, -1, 1, 2};
    std::vector<GTime> tags;
    for (int e = 0; e < 16; ++e) {
        run(e);
        EXPECT_EQ(pod->orbit_integration_progress, progress[e]) << e;
        EXPECT_EQ(pod->num_orb_store, std::min(e + 1, 5));
        tags.push_back(pod->time_now);
        // below a full store one entry is missing: the first epoch is never kept
        for (int j = 0; j < 5; ++j) {
            const DATA_ORBIT& stored = pod->dataset_orbit[j];
            const bool held = j < e || j + e == 0;
            EXPECT_EQ(stored.epoch_gpst.sys, held ? tsGPST : UKNTS) << e << j;
            EXPECT_NEAR(held ? gtimeSubSec(stored.epoch_gpst, tags[e - j]) : 0.0, 0.0, 1e-9) << e << j;
        }
        EXPECT_DOUBLE_EQ(pod->dataset_clk[0].clk_offset[0], pod->X[6] / 299792458.0);
        EXPECT_EQ(pod->dataset_orbit[0].pos_ecf[2], pod->X[2]);
        for (int k = 7; k < 39; ++k) {  // one ambiguity a satellite, all else is cleaned up
            const bool active = k % 2 == 1 && k < 7 + 2 * pod->nsat_used;
            EXPECT_EQ(pod->X[k] != 0.0, active) << k;
            EXPECT_EQ(pod->DX[k * 39 + k] != 0.0, active) << k;
            EXPECT_EQ(pod->DX[2 * 39 + k] != 0.0, active) << k;
        }
    }

    // the last arc starts at 420 s from the two orbits before, tags 360 and 390 s
    const Table gcrs = read_csv(leo("dev21_truth_gcrs.csv"), 1);
    const Row &a = gcrs.at(360.0), &b = gcrs.at(420.0);
    for (int c = 2; c < 5; ++c) {
        const double middle = (a[c] + b[c]) / 2.0 + 60.0 / 8.0 * (a[c + 3] - b[c + 3]);  // cubic through both states
        EXPECT_NEAR(pod->state_satellite.pos_eci[c - 2], middle, 0.8);
        EXPECT_NEAR(pod->state_satellite.vel_eci[c - 2], (middle - a[c]) / 30.0, 0.03);
    }
    EXPECT_NEAR(gtimeSubSec(gtimeChangeTimeSystem(pod->state_satellite.utc_start, tsGPST), tags[13]), 0.0, 1e-9);

    // an epoch without a point position leaves everything but the buffer
    const std::vector<int> last(pod->satlist_satindex_last, pod->satlist_satindex_last + 15);
    const double x0 = pod->X[0];
    epochs[16].sat_num = 3;
    run(16);
    EXPECT_EQ(pod->sln_kine.status, SOL_SPP_LACK_SAT);
    EXPECT_NEAR(gtimeSubSec(pod->dataset_orbit[0].epoch_gpst, tags[15]), 0.0, 1e-9);
    EXPECT_EQ(pod->X[0], x0);
    EXPECT_EQ(pod->orbit_integration_progress, 2);
    EXPECT_TRUE(std::equal(last.begin(), last.end(), pod->satlist_satindex_last));
}

TEST_F(PodEmbedSimulated, SatellitesFromUnderTheMaskStartAnew) {
    prepare("config_gps.txt", "dev21_gps_clean");
    gnssconfig.ele_cutoff = 0.25;  // listed and flagged for many epochs before they rise
    for (int e = 0; e < g_num_obs_storage; ++e) {
        run(e);
        EXPECT_LT(distance(pod->X, &truth.at(30.0 * e)[4]), e < 20 ? 5.0 : 0.1) << e;
    }
}

// --- ambiguities -------------------------------------------------------------------------------------------------------------

class Transfer : public PodEmbed {
  protected:
    /// Last list G01 G02 G03 G05 with G05 cleaned up; now G03 (continuous), G01 (slip), G07 (new), G05 (from under the mask).
    void SetUp() override {
        PodEmbed::SetUp();
        startup_pod_embed(pod.get(), true);
        const int last[4] = {0, 1, 2, 4}, now[4] = {3, 1, 7, 5};
        std::copy_n(last, 4, pod->satlist_satindex_last);
        for (int j = 0; j < 4; ++j) {
            OBSDATA_SAT& sat = pod->obs_epoch[0].satobs[j];
            sat.satsys = GPS;
            sat.prn = now[j];
            sat.num_obs = 4;
            for (int k = 0; k < 4; ++k) {
                sat.obs_index_used[k] = k;
                sat.obsdata[k].freq = k < 2 ? L1 : L2;
            }
            sat.obsdata[0].value = sat.obsdata[2].value = 2e7;
            sat.obsdata[1].value = (2e7 + 11.0 * (j + 1)) / 299.792458 * 1575.42;
            sat.obsdata[3].value = (2e7 + 11.0 * (j + 1)) / 299.792458 * 1227.6;
            pod->satlist_used_in_obsepoch[j] = j;
            pod->satlist_satindex_now[j] = now[j] - 1;
            pod->state_sat_all[now[j] - 1].flag_slip[0] = j == 1;
        }
        pod->obs_epoch[0].sat_num = pod->nsat_used = pod->nsat_used_last = 4;
        const std::vector<int> slots = {0, 1, 2, 3, 4, 5, 6, 7, 9, 11};
        for (int r : slots) {
            pod->X[r] = 100.0 + r;
            for (int c : slots) DX(r, c) = old(r, c);
        }
    }
    double& DX(int r, int c) { return pod->DX[r * 39 + c]; }
    static double old(int r, int c) { return 10.0 * std::max(r, c) + std::min(r, c); }
};

TEST_F(Transfer, CarriesStateAndCovarianceToTheNewSlots) {
    support::LogRecorder log(ULOG_ERROR_LEVEL);
    get_initial_ambiguity_test(pod.get());
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "maxsize"), 0);
    const double amb[4] = {111.0, 22.0, 33.0, 44.0};  // continuous: the state of slot 11, others: phase minus code
    for (int j = 0; j < 4; ++j) {
        EXPECT_NEAR(pod->X[7 + 2 * j], amb[j], 1e-6) << j;
        EXPECT_EQ(pod->index_param_X[j], 7 + 2 * j);
    }
    EXPECT_EQ(pod->num_param, 4);
    for (int c = 0; c < 7; ++c) {
        EXPECT_EQ(pod->X[c], 100.0 + c);
        for (int r = 0; r < 7; ++r) EXPECT_EQ(DX(r, c), old(r, c));
        EXPECT_EQ(DX(7, c), old(11, c));  // G03
        EXPECT_EQ(DX(c, 7), old(11, c));
        EXPECT_EQ(DX(9, c), old(7, c));  // G01 keeps its cross-covariances in spite of the slip
        EXPECT_EQ(DX(c, 11), 0.0);
        EXPECT_EQ(DX(13, c), 0.0);
    }
    EXPECT_DOUBLE_EQ(DX(7, 7), old(11, 11) + 1e-08);
    EXPECT_DOUBLE_EQ(DX(7, 9), old(11, 7) + 1e-08);
    EXPECT_EQ(DX(7, 9), DX(9, 7));
    for (int k : {9, 11, 13}) EXPECT_EQ(DX(k, k), 900.0) << k;  // slip, new, cleaned up
    for (int k : {7, 9, 13}) EXPECT_TRUE(DX(k, 11) == 0.0 && DX(11, k) == 0.0) << k;
}

TEST_F(Transfer, AlternativesWriteRowsWithoutNoise) {
    DX(20, 20) = 5.0;
    get_initial_ambiguity(pod.get());
    EXPECT_EQ(DX(7, 9), old(11, 7));
    EXPECT_EQ(DX(3, 7), old(3, 7));  // no mirror element
    for (int k : {9, 11, 13}) EXPECT_EQ(DX(k, k), 900.0) << k;
    EXPECT_EQ(DX(20, 20), 0.0);  // above the last used ambiguity
    SetUp();
    get_initial_ambiguity_nomemory(pod.get());
    EXPECT_EQ(DX(7, 7), old(11, 11));
    for (int k : {9, 11, 13}) EXPECT_EQ(DX(k, k), 900.0) << k;
}

TEST_F(Transfer, StopsTheProcessOnInconsistentLists) {
    auto exits = [&](void (*stage)(RUNTIME_POD_EMBED*), const char* text) { EXPECT_STOP(stage(pod.get()), text); };
    EXPECT_EQ(get_index_param_pod_embed(param_AMB, GAL, 3, 0, pod->satlist_satindex_now), -1);  // not a free place
    pod->satlist_satindex_now[2] = 20;
    for (auto* transfer : {get_initial_ambiguity_test, get_initial_ambiguity, get_initial_ambiguity_nomemory})
        exits(transfer, "idx_amb=-1, sys=1, prn=%,satindex=20, stopping!");
    pod->nsat_used_last = 0;
    exits(get_initial_ambiguity_test, "get_initial_ambiguity_test\\(\\): idx_amb=-1, sys=1, prn=%,satindex=20");
    exits(get_initial_ambiguity, "get_initial_ambiguity\\(\\): idx_amb=-1, sys=1, prn=%,satindex=20");
    exits(get_initial_ambiguity_nomemory, "update_temperal_clock_solution\\(\\): idx_amb=-1, sys=1, prn=%,satindex=20");
    pod->nsat_used = 0;
    pod->sln_kine.status = SOL_ITER_EXCEED;
    exits(update_temperal_clock_solution, "kinematic solution status = 6\\)\nruntime_pod->num_param=0");
}

// --- start-up, buffer, output ------------------------------------------------------------------------------------------------

TEST_F(PodEmbed, StartUpInBothDeployments) {
    const ANT_INFO& antenna = pod->ant_info_rcv;
    pod->ant_info_rcv.ant_ok = true;
    pod->num_param = 5;
    startup_pod_embed(pod.get(), true);
    EXPECT_FALSE(antenna.ant_ok);  // not in the store
    EXPECT_TRUE(pod->state_sat_all[96].flag_slip[1] == 2 && pod->sln_orbit_interval == 300.0);
    EXPECT_TRUE(pod->num_param == 0 && pod->index_param_X[0] == -1);

    const long before = allocations;
    startup_pod_embed(pod.get(), false);
    EXPECT_EQ(allocations, before);
    EXPECT_EQ(gnssconfig.sys_used[0], BDS);
    EXPECT_EQ(antenna.pco[1][0], -0.4793);  // only the first component is set
    const double looks_down[9] = {1, 0, 0, 0, 1, 0, 0, 0, -1};
    EXPECT_TRUE(std::equal(looks_down, looks_down + 9, antenna.installation_matrix));

    pod->ant_info_rcv.pco[0][0] = 1.0;
    ANT_INFO one = {};
    ANT_INFO_STORE store = {&one, 1, 1};
    g_antenna_info_store = &store;
    startup_pod_embed(pod.get(), false);
    EXPECT_EQ(antenna.pco[0][0], 1.0);
}

TEST_F(PodEmbed, BufferHoldsTwoEpochsAndBoundsThem) {
    support::LogRecorder log;
    OBSDATA_EPOCH epoch = {};
    epoch.sat_num = 15, epoch.rcv = 10;
    EXPECT_TRUE(update_gnss_observation(&epoch, pod.get()) && log.messages().empty());
    for (epoch.rcv = 11; epoch.rcv <= 13; ++epoch.rcv) {
        epoch.sat_num = epoch.satobs[0].num_obs = 1000;
        EXPECT_TRUE(update_gnss_observation(&epoch, pod.get()));
        EXPECT_EQ(pod->obs_epoch[1].rcv, epoch.rcv - 1);
    }
    EXPECT_EQ(pod->obs_epoch[0].rcv, 13);
    EXPECT_EQ(pod->obs_epoch[0].sat_num, 15);
    EXPECT_EQ(pod->obs_epoch[0].satobs[0].num_obs, 10);
}

TEST_F(PodEmbed, AntennasOfTheSatellitesInUse) {
    ANT_INFO of_g02 = {};
    of_g02.idx_object = 1;
    of_g02.mjd_available[1] = 1e6;
    ANT_INFO_STORE store = {&of_g02, 1, 1};
    g_antenna_info_store = &store;
    OBSDATA_EPOCH epoch = {{{59232, 30.0}, tsGPST}, 0, OBS_OK, 3, {}};
    for (int i = 0; i < 3; ++i) {
        epoch.satobs[i].satsys = i == 1 ? BDS : GPS;
        epoch.satobs[i].prn = 2;
        epoch.satobs[i].flag_sat = i == 2 ? LOW_ELE : OBS_OK;
    }
    support::LogRecorder log;
    fill_ant_info_gnss(&epoch, &gnssconfig, pod->state_sat_all);
    EXPECT_EQ(pod->state_sat_all[1].ant_info, &of_g02);
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "get_gf_mw(): sys=2,prn=2,satindex=33, satsys(2) not in gnssconfig"));
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "!=OBS_OK"), 1);
}

TEST_F(PodEmbed, PrintsAnEpoch) {
    OBSDATA_EPOCH epoch = {{{59232, 30.0}, tsGPST}, 0, OBS_OK, 1, {}};
    OBSDATA_SAT& sat = epoch.satobs[0];
    sat.satsys = GPS;
    sat.prn = 12;
    sat.num_obs = 2;
    sat.obsdata[0].value = 20000000.0004;
    sat.obsdata[1].value = -1.5;
    char text[20000];
    output_observation_embed(&epoch, text);
    EXPECT_STREQ(text, ">>2021-01-18T00:00:30.000000000 1\nG12   20000000.000         -1.500 \n");
    sat.num_obs = 4000;
    for (OBSREC& rec : sat.obsdata) rec.value = 1e300;
    output_observation_embed(&epoch, text);
    EXPECT_EQ(std::strlen(std::strstr(text, "G12")), 1024u);
}

TEST_F(PodEmbed, StoresAroundTheEpochSeedTheFilter) {  // such as stay behind when a host goes back in time
    startup_pod_embed(pod.get(), true);
    for (int j = 0; j < 5; ++j) {
        DATA_ORBIT& orbit = pod->dataset_orbit[j];
        orbit.epoch_gpst = pod->dataset_clk[j].epoch_gpst = {{59232, 100.0 + 30.0 * j}, tsGPST};
        for (int c = 0; c < 3; ++c) orbit.pos_ecf[c] = 1e6 * c + 100.0 * (c + 1) * (30.0 * j - 45.0);
        pod->dataset_clk[j].clk_offset[0] = 1e-6 * j;
    }
    pod->time_now = {{59232, 145.0}, tsGPST};
    ASSERT_TRUE(get_initial_pos_vel_clk(pod.get()));
    for (int c = 0; c < 3; ++c) {
        EXPECT_NEAR(pod->X[c], 1e6 * c, 1e-6);
        EXPECT_NEAR(pod->X[3 + c], 100.0 * (c + 1), 1e-9);
        EXPECT_TRUE(pod->DX[40 * c] == 0.01 && pod->DX[40 * (3 + c)] == 0.0001);
    }
    EXPECT_NEAR(pod->X[6], 1.5e-6, 1e-18);  // seconds
    EXPECT_EQ(pod->num_param, 7);
}

TEST_F(PodEmbed, DynamicFilter) {
    pod->state_satellite.sec_since_start = -600.0;
    pod->state_satellite.pos_eci[1] = 7e6;
    std::iota(pod->state_satellite.vel_eci, pod->state_satellite.vel_eci + 3, 7501.0);
    for (int c = 3; c < 6; ++c) pod->DX_dyn[c * 906 + c] = 1.0;
    pod->X_dyn[7] = 1.0;
    pod->DX_dyn[1 * 906 + 1] = 300.0;
    pod->DX[1 * 39 + 1] = 100.0;
    EXPECT_TRUE(orbit_dynamic_filter(pod.get()));
    EXPECT_NEAR(pod->X_dyn[1], 7e6 * (1.0 - 0.75), 1e-3);
    EXPECT_NEAR(pod->DX_dyn[1 * 906 + 1], 75.0, 1e-9);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(pod->X_dyn[3 + c], 7501.0 + c);
}

}  // namespace
