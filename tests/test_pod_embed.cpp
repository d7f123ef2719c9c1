/// Epoch driver: runs against known truth, stores, ambiguity transfer, exits.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <memory>
#include <utility>

#include "allocations.h"
#include "arc.h"
#include "host_support.h"
#include "pod_embed.h"

// Every allocation of the process is counted, those of the library included.
static long allocations = 0;
static bool allow_allocation() {
    ++allocations;
    return true;
}

namespace {

using support::epochs;

class PodEmbed : public testing::Test {
  protected:
    void SetUp() override { support::set_gps_alone(); }
    void TearDown() override { free_att_quaternion_store(); }
    void run(int index) { run_single_pod_embed(&epochs[index], pod.get()); }

    std::unique_ptr<RUNTIME_POD_EMBED> pod = std::make_unique<RUNTIME_POD_EMBED>();
};

/// Prepared environment of the simulated data: files are read once a process, the navigation file among them.
class PodEmbedSimulated : public PodEmbed {
  protected:
    void SetUp() override { support::start_arc(pod.get()); }
    void prepare(const std::string& data) {
        support::load_arc(pod.get(), data, data);
        ASSERT_TRUE(pod->ant_info_rcv.ant_ok);
    }

    const std::vector<support::Row> truth = support::read_csv(support::arc21("truth_epochs.csv"));  // as the epochs
};

// --- runs ------------------------------------------------------------------------------------------------------------------

// The point position's 16, and twice the Sun and three axes.
TEST_F(PodEmbedSimulated, ReportsEachConversionWithoutEarthOrientation) {
    prepare("gps");
    g_eop_storage_size = 0;
    const double last = std::exchange(g_eph_header->ss[1], 0.0);
    support::LogRecorder log;
    run(0);
    g_eph_header->ss[1] = last;
    ASSERT_EQ(pod->sln_kine.status, SOL_OK);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "eop_ok=false, using ZERO eop!"), 24);
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "Requested JED"), 3);
}

TEST_F(PodEmbedSimulated, AllocationsOfARunningEpoch) {
    prepare("both");
    run(0);
    const long before = allocations;
    for (int e = 1; e < 11; ++e) run(e);
    if (kSeesMalloc) {
        EXPECT_NEAR(static_cast<double>(allocations - before) / 10.0, 15.0, 3.0);  // as in the guide
    }
}

TEST_F(PodEmbedSimulated, ArcsAndStoresFollowTheEpochs) {
    prepare("gps");
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
    auto gcrs = support::read_rows(support::arc21("truth_gcrs.csv"));
    auto &a = gcrs.at(360.0), &b = gcrs.at(420.0);
    for (int c = 0; c < 3; ++c) {
        const std::string x(1, "xyz"[c]), v = "v" + x;
        const double middle = (a[x] + b[x]) / 2.0 + 60.0 / 8.0 * (a[v] - b[v]);  // cubic through both states
        EXPECT_NEAR(pod->state_satellite.pos_eci[c], middle, 0.8);
        EXPECT_NEAR(pod->state_satellite.vel_eci[c], (middle - a[x]) / 30.0, 0.03);
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
    prepare("gps");
    support::LogRecorder log(ULOG_INFO_LEVEL);
    gnssconfig.ele_cutoff = 0.25;  // listed and flagged for many epochs before they rise
    for (int e = 0; e < g_num_obs_storage; ++e) {
        run(e);
        const double* x = pod->X;
        const support::Row& t = truth[e];
        EXPECT_LT(std::hypot(x[0] - t.value("x_rx"), x[1] - t.value("y_rx"), x[2] - t.value("z_rx")),
                  e < 20 ? 5.0 : 0.1);
    }
    // both positions of each epoch
    EXPECT_EQ(log.count(ULOG_INFO_LEVEL, "spp: "), g_num_obs_storage);
    EXPECT_EQ(log.count(ULOG_INFO_LEVEL, "ppp: "), g_num_obs_storage);
    EXPECT_GT(log.count(ULOG_INFO_LEVEL, "satindex="), 4 * g_num_obs_storage);
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
    for (auto* transfer : {get_initial_ambiguity_test, get_initial_ambiguity, get_initial_ambiguity_nomemory}) {
        SetUp();
        DX(20, 20) = 5.0;
        support::LogRecorder log(ULOG_ERROR_LEVEL);
        transfer(pod.get());
        EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "maxsize"), 0);
        const bool of_the_runs = transfer == get_initial_ambiguity_test;
        const double noise = of_the_runs ? 1e-08 : 0.0;
        const double amb[4] = {111.0, 22.0, 33.0, 44.0};  // continuous: the state of slot 11, others: phase minus code
        for (int j = 0; j < 4; ++j) {
            EXPECT_NEAR(pod->X[7 + 2 * j], amb[j], 1e-6) << j;
            EXPECT_EQ(pod->index_param_X[j], 7 + 2 * j);
        }
        EXPECT_EQ(pod->num_param, 4);
        EXPECT_DOUBLE_EQ(DX(7, 7), old(11, 11) + noise);
        for (int k : {9, 11, 13}) EXPECT_EQ(DX(k, k), 900.0) << k;  // slip, new, cleaned up
        if (transfer != get_initial_ambiguity_nomemory) {
            EXPECT_DOUBLE_EQ(DX(7, 9), old(11, 7) + noise);  // kept in spite of the slip
        }
        if (transfer == get_initial_ambiguity) {
            EXPECT_EQ(DX(3, 7), old(3, 7));  // no mirror element
            EXPECT_EQ(DX(20, 20), 0.0);      // above the last used ambiguity
        }
        for (int k = 0; k < 49; ++k) EXPECT_EQ(DX(k / 7, k % 7), old(k / 7, k % 7)) << k;
        if (!of_the_runs) continue;
        for (int c = 0; c < 7; ++c) {
            EXPECT_TRUE(DX(7, c) == old(11, c) && DX(c, 7) == old(11, c));  // G03
            EXPECT_EQ(DX(9, c), old(7, c));                                 // G01
            EXPECT_TRUE(DX(c, 11) == 0.0 && DX(13, c) == 0.0);
        }
        EXPECT_EQ(DX(7, 9), DX(9, 7));
        for (int k : {7, 9, 13}) EXPECT_TRUE(DX(k, 11) == 0.0 && DX(11, k) == 0.0) << k;
    }
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
    pod->num_param = pod->nsat_used = 5;
    startup_pod_embed(pod.get(), true);
    EXPECT_FALSE(antenna.ant_ok);  // not in the store
    const int* slips = pod->state_sat_all[96].flag_slip;
    EXPECT_TRUE(slips[0] == 2 && slips[1] == 2 && pod->sln_orbit_interval == 300.0);
    EXPECT_TRUE(pod->num_param == 0 && pod->nsat_used == 0 && pod->index_param_X[0] == -1);

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
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, ": more than 1"), 6);  // 15 satellites, 10 records of a satellite
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
    const support::CommaLocale comma;
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

}  // namespace
