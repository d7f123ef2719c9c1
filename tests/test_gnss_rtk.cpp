// Relative positioning: choice of common satellites, set-up of the state, and pairs of epochs end to end.
#include <algorithm>
#include <cstring>
#include <numeric>

#include "gnss_rtk.h"
#include "pod_embed.h"
#include "support.h"

namespace {

using support::LogRecorder;

RUNTIME_POD_EMBED pod;  // holds the built-in stores
OBSDATA_EPOCH epochs[512];

struct Satellite {
    sysGNSS satsys;
    int prn;
    double elevation = 0.0;
};

/// An epoch with all configured observables of each satellite.
OBSDATA_EPOCH make_epoch(const std::vector<Satellite>& satellites) {
    OBSDATA_EPOCH epoch;
    initialize_obsdata_epoch(&epoch);
    epoch.flag_epoch = OBS_OK;
    for (const Satellite& satellite : satellites) {
        OBSDATA_SAT& sat = epoch.satobs[epoch.sat_num++];
        sat.satsys = satellite.satsys;
        sat.prn = satellite.prn;
        sat.sat_azel[1] = satellite.elevation;
        sat.flag_sat = OBS_OK;
        const int idx_sys = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
        for (int j = 0; idx_sys >= 0 && j < gnssconfig.num_obs_freq_code[idx_sys]; ++j) {
            const TYPE_FREQ_CODE& tfc = gnssconfig.obs_type_freq_code_used[idx_sys][j];
            sat.obsdata[sat.num_obs++] = {OBS_OK, tfc.freq, tfc.type, tfc.code, 0, 2.2e7, 0.3, 0.0};
        }
    }
    choose_observation(&epoch);
    return epoch;
}

class Rtk : public testing::Test {
  protected:
    void SetUp() override {
        runtime_rtk = {};
        EXPECT_TRUE(rtk_init());
        sysGNSS systems[2] = {GPS, BDS};
        set_gnssconfig_system(&gnssconfig, 2, systems);
    }
    using Pairs = std::vector<std::pair<int, int>>;
    /// Common satellites as pairs of positions: reference, rover.
    Pairs choose(OBSDATA_EPOCH ref, OBSDATA_EPOCH rov) {
        int list_ref[15], list_rov[15];
        count = choose_common_satellite(&ref, &rov, list_ref, list_rov, refsat);
        Pairs pairs;
        for (int i = 0; i < count; ++i) pairs.emplace_back(list_ref[i], list_rov[i]);
        return pairs;
    }
    double variance(int slot) { return runtime_rtk.P[slot * 42]; }

    int count = 0;
    int refsat[3] = {};
    LogRecorder log;
};

TEST_F(Rtk, NumbersOfTheRoverComeFromTheReferenceRecordAtItsPosition) {
    const OBSDATA_EPOCH ref = make_epoch({{GPS, 3}, {GPS, 7}, {BDS, 7}, {GPS, 9}});
    // the rover's own numbers do not matter
    EXPECT_EQ(choose(ref, make_epoch({{GPS, 9}, {GPS, 3}, {BDS, 30}, {GPS, 20}})),
              (Pairs{{0, 0}, {1, 1}, {2, 2}, {3, 3}}));
    // its systems do: BDS 7 of the reference is found where the rover has a BDS satellite and the reference a number 7
    EXPECT_EQ(choose(ref, make_epoch({{GPS, 3}, {BDS, 1}, {GPS, 5}, {GPS, 9}})),
              (Pairs{{0, 0}, {1, 2}, {2, 1}, {3, 3}}));
    // behind the reference's last satellite there is no number
    OBSDATA_EPOCH longer = make_epoch({{GPS, 3}, {GPS, 7}, {BDS, 7}, {GPS, 9}, {GPS, 7}});
    longer.satobs[1].flag_sat = LOW_ELE;
    EXPECT_EQ(choose(ref, longer), (Pairs{{0, 0}, {2, 2}, {3, 3}}));
    const OBSDATA_EPOCH twice = make_epoch({{GPS, 3}, {GPS, 3}});
    EXPECT_EQ(choose(twice, twice), (Pairs{{0, 0}, {1, 0}}));

    EXPECT_EQ(choose(make_epoch({{GPS, 3}}), make_epoch({{BDS, 3}})), Pairs{});
    EXPECT_EQ(count, -1);
    EXPECT_TRUE(log.has(ULOG_ERROR_LEVEL, "ERROR: choose_common_satellite() found 0 common sat!\n"));
    EXPECT_EQ(std::count(refsat, refsat + 3, -1), 3);
    EXPECT_STOP(choose(ref, make_epoch({})), "available satellite number is 0! stopping!");
}

TEST_F(Rtk, ReferenceSatelliteIsTheHighestOfItsSystem) {
    const OBSDATA_EPOCH rov = make_epoch({{GPS, 1, 1.5}, {BDS, 2}, {GPS, 3}, {GPS, 4}, {BDS, 5}, {GPS, 6}});
    OBSDATA_EPOCH ref =
        make_epoch({{GPS, 1, 0.2}, {BDS, 2, 0.4}, {GPS, 3, 1.1}, {GPS, 4, 1.1}, {BDS, 5, 0.3}, {GPS, 6, 1.0}});
    choose(ref, rov);
    EXPECT_EQ(refsat[0], 3);  // of two equal ones the later; the rover's elevations do not enter
    EXPECT_EQ(refsat[1], 1);
    EXPECT_EQ(refsat[2], -1);
    ref.satobs[0].flag_sat = LOW_ELE;  // positions in the common list, not in the epoch
    ref.satobs[1].sat_azel[1] = -0.1;
    ref.satobs[4].sat_azel[1] = 0.0;
    choose(ref, rov);
    EXPECT_EQ(refsat[0], 2);
    EXPECT_EQ(refsat[1], 3);  // exactly at the horizon
}

TEST_F(Rtk, SlotsOfTheState) {
    EXPECT_TRUE(runtime_rtk.nx == 34 && runtime_rtk.idx_xs_amb + runtime_rtk.nx_amb == 34);
    std::vector<int> slots(20);
    for (int p = 0; p < 20; ++p) slots[p] = index_x(&runtime_rtk, static_cast<PARAM_TYPE>(p), 2, 1);
    // without clocks BDS and GAL count on from -1; the zenith delay stands at 18, ambiguities at 19 have none
    EXPECT_EQ(slots, (std::vector<int>{0, 1, 2, -1, -1, -1, -1, 0, 1, -1, -1, -1, -1, -1, -1, -1, -1, -1, 3, -1}));
    runtime_rtk.idx_xs_clk = 10;
    runtime_rtk.idx_xs_pos = 4;
    EXPECT_EQ(index_x(&runtime_rtk, param_RX_GAL_CLK, 0, 0), 12);
    EXPECT_EQ(index_x(&runtime_rtk, param_RX_POS_Y, 0, 0), 5);

    std::fill(std::begin(runtime_rtk.P), std::end(runtime_rtk.P), 7.0);
    initx(&runtime_rtk, 40, 1.5, 2.5);
    EXPECT_EQ(runtime_rtk.X[40], 1.5);
    EXPECT_EQ(variance(40), 2.5);
    EXPECT_EQ(std::accumulate(std::begin(runtime_rtk.P), std::end(runtime_rtk.P), 0.0), 40 * 40 * 7.0 + 2.5);
    EXPECT_EQ(std::count(std::begin(runtime_rtk.P), std::end(runtime_rtk.P), 7.0), 40 * 40);
    const RUNTIME_RTK before = runtime_rtk;
    initx(&runtime_rtk, -1, 9.0, 9.0);
    initx(&runtime_rtk, 41, 9.0, 9.0);
    EXPECT_EQ(std::memcmp(&before, &runtime_rtk, sizeof before), 0);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "initx()"), 2);
}

TEST_F(Rtk, PositionStartsAnewAndTheZenithDelayHasNoRound) {
    runtime_rtk.X[0] = 6e6;
    for (int i = 0; i < 12; ++i) runtime_rtk.sln_rov.pos_vel_clk[i] = 100.0 + i;
    update_position(&runtime_rtk);
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(runtime_rtk.X[i], i < 3 ? 100.0 + i : 0.0);
        EXPECT_EQ(variance(i), i < 3 ? gnssconfig.var_pos : 0.0);
    }
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, ""), 0);
    gnssconfig.var_pos = 0.1;  // three of these are a bit more than 0.3: the mean exceeds the variance by a rounding
    update_position(&runtime_rtk);
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL,
                        "WARNING: update_position(), var=0.100000 > gnssconfig.var_pos=0.100000\n, reset rtk position "
                        "due to large variance\n"));
    EXPECT_EQ(variance(0), 0.1);

    update_trop(&runtime_rtk, 30.0);  // from 3 to below 1
    EXPECT_EQ(runtime_rtk.X[3], 0.0);
    EXPECT_TRUE(log.has(ULOG_TRACE_LEVEL, "TRACE: update_trop()\n"));
    runtime_rtk.nx_trop = 6;
    runtime_rtk.X[4] = -0.0001;
    runtime_rtk.X[5] = 0.00009;
    initx(&runtime_rtk, 4, -0.0001, 0.5);
    runtime_rtk.P[4 * 41 + 5] = 0.25;
    update_trop(&runtime_rtk, 30.0);
    const double delay[4] = {0.15, -0.0001, 0.15, 0.0};
    const double grown[4] = {0.25, 0.5 + 0.25 * 30.0, 0.25, 0.0};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(runtime_rtk.X[3 + i], delay[i]) << i;
        EXPECT_EQ(variance(3 + i), grown[i]) << i;
    }
    EXPECT_EQ(runtime_rtk.P[4 * 41 + 5], 0.0);  // slot 5 was started
}

TEST_F(Rtk, AmbiguitiesReportMissingObservationsAndChangeNothing) {
    OBSDATA_EPOCH ref = make_epoch({{GPS, 3}, {GPS, 7}, {BDS, 7}, {GPS, 9}});
    OBSDATA_EPOCH rov = ref;
    runtime_rtk.nsat_used = 4;
    for (int i = 0; i < 4; ++i) runtime_rtk.satlist_used_ref[i] = runtime_rtk.satlist_used_rov[i] = i;
    ref.satobs[1].obsdata[3].value = 0.0005;
    rov.satobs[1].obsdata[0].value = 0.0;  // the reference is looked at first
    rov.satobs[2].obs_index_used[2] = -1;
    runtime_rtk.IF_combination = true;
    const RUNTIME_RTK before = runtime_rtk;
    update_ambiguity(&runtime_rtk, &ref, &rov);
    const std::vector<std::string> want = {
        "TRACE: update_ambiguity()\n",
        "TRACE: reference station obs missing, satsys=1 prn=7, L1=22000000.000000 L2=0.000500 P1=22000000.000000 "
        "P2=22000000.000000\n",
        "TRACE: rover station obs missing, satsys=2 prn=7, L1=22000000.000000 L2=22000000.000000 P1=22000000.000000 "
        "P2=0.000000\n"};
    std::vector<std::string> got;
    for (const support::Message& message : log.messages()) {
        if (message.level == ULOG_TRACE_LEVEL) got.push_back(message.text);
    }
    EXPECT_EQ(got, want);
    log.clear();
    runtime_rtk.IF_combination = false;
    update_ambiguity(&runtime_rtk, &ref, &rov);
    EXPECT_EQ(log.messages().size(), 1u);
    runtime_rtk.IF_combination = true;
    EXPECT_EQ(std::memcmp(&before, &runtime_rtk, sizeof before), 0);
}

TEST_F(Rtk, RecordsBeyondTheLimitsAreCutWithOneWarning) {
    OBSDATA_EPOCH full = make_epoch(std::vector<Satellite>(15, {GPS, 3}));
    const auto warnings = [&](auto&& call) {
        log.clear();
        call();
        return log.count(ULOG_WARNING_LEVEL, "");
    };
    const auto ambiguities = [&] { update_ambiguity(&runtime_rtk, &full, &full); };
    for (const bool combination : {false, true}) {
        runtime_rtk.IF_combination = combination;
        for (const int nsat : {-1, 15, 16, 1000000}) {
            runtime_rtk.nsat_used = nsat;
            EXPECT_EQ(warnings(ambiguities), nsat > 15) << nsat;
        }
        runtime_rtk.nsat_used = 3;
        runtime_rtk.satlist_used_ref[0] = 15;
        runtime_rtk.satlist_used_rov[1] = -1;
        EXPECT_EQ(warnings(ambiguities), 1);
        runtime_rtk.satlist_used_ref[0] = runtime_rtk.satlist_used_rov[1] = 0;
    }
    runtime_rtk.IF_combination = false;
    gnssconfig.num_freq[0] = 3;
    runtime_rtk.nsat_used = 15;
    EXPECT_EQ(warnings(ambiguities), 1);

    runtime_rtk.sln_rov.pos_vel_clk[11] = 4.0;
    runtime_rtk.idx_xs_pos = -3;
    runtime_rtk.nx_pos = 1000;
    EXPECT_EQ(warnings([] { update_position(&runtime_rtk); }), 1);
    EXPECT_EQ(runtime_rtk.X[11], 4.0);
    EXPECT_EQ(variance(12), 0.0);
    runtime_rtk.idx_xs_trop = -1;
    runtime_rtk.nx_trop = 42;
    EXPECT_EQ(warnings([] { update_trop(&runtime_rtk, 1.0); }), 1);
    EXPECT_EQ(runtime_rtk.X[40], 0.15);
    runtime_rtk.nx_trop = -5;
    EXPECT_EQ(warnings([] { update_trop(&runtime_rtk, 1.0); }), 0);
}

// An epoch of the demo arc as rover, and its copy with longer ranges as reference.
TEST_F(Rtk, PairOfEpochsEndToEnd) {
    constexpr double kClock = 1234.5;    // by which the reference's ranges are longer [m]
    constexpr double kTolerance = 0.01;  // [m]: satellites move for the 4 us by which the reference's clock is late
    const std::string demo = std::string(LEOPOD_SOURCE_DIR) + "/examples/data/demo_bds";
    startup_pod_embed(&pod, false);
    g_obs_storage = epochs;
    g_num_obs_storage = 0;
    ASSERT_TRUE(load_ephemeris_brdc((demo + ".nav").data()) && load_observation_rinex((demo + ".obs").data(), 0, 0.0));
    OBSDATA_EPOCH rov = epochs[2], ref = rov;
    for (OBSDATA_SAT& sat : ref.satobs) {
        for (OBSREC& rec : sat.obsdata) rec.value += rec.type == RANGE && rec.value != 0.0 ? kClock : 0.0;
    }
    choose_observation(&ref);
    choose_observation(&rov);
    SOLUTION solution;
    std::memset(&solution, 0x5a, sizeof solution);
    const SOLUTION untouched = solution;
    const RUNTIME_RTK before = runtime_rtk;
    for (OBSDATA_EPOCH* epoch : {&ref, &rov}) {
        epoch->flag_epoch = 1;
        EXPECT_EQ(relative_positioning(&ref, &rov, &solution), SOL_OBS_BAD);
        epoch->flag_epoch = OBS_OK;
    }
    EXPECT_EQ(std::memcmp(&before, &runtime_rtk, sizeof before), 0);

    runtime_rtk.IF_combination = true;
    log.clear();
    ASSERT_EQ(relative_positioning(&ref, &rov, &solution), SOL_OK);
    EXPECT_EQ(std::memcmp(&solution, &untouched, sizeof solution), 0);
    const SOLUTION &a = runtime_rtk.sln_ref, &b = runtime_rtk.sln_rov;
    ASSERT_TRUE(a.status == SOL_OK && b.status == SOL_OK);
    EXPECT_NEAR(a.pos_vel_clk[6] - b.pos_vel_clk[6], kClock, kTolerance);
    for (int c = 0; c < 3; ++c) {
        EXPECT_NEAR(a.pos_vel_clk[c], b.pos_vel_clk[c], kTolerance) << c;
        EXPECT_EQ(runtime_rtk.X[c], b.pos_vel_clk[c]) << c;
        EXPECT_NE(runtime_rtk.X[c], a.pos_vel_clk[c]) << c;
    }
    EXPECT_GE(runtime_rtk.nsat_used, 6);
    for (int i = 0; i < runtime_rtk.nsat_used; ++i) {
        EXPECT_EQ(runtime_rtk.satlist_used_ref[i], runtime_rtk.satlist_used_rov[i]);
        const int satindex = satsysprn2index(BDS, ref.satobs[runtime_rtk.satlist_used_ref[i]].prn);
        const SAT_STATE *ref_state = runtime_rtk.runtime_state_ref, *rov_state = runtime_rtk.runtime_state_rov;
        EXPECT_NEAR(ref_state[satindex].if_code[0] - rov_state[satindex].if_code[0], kClock, 1e-6);
    }
    EXPECT_GE(runtime_rtk.index_refsat[0], 0);
    EXPECT_EQ(log.count(ULOG_TRACE_LEVEL, "TRACE: update_"), 2);
    EXPECT_EQ(log.count(ULOG_TRACE_LEVEL, "station obs missing"), 0);
    compute_omc_sd_station(&ref, &rov);
}

}  // namespace
