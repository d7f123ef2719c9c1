// Relative positioning: choice of common satellites, set-up of the state, and pairs of epochs end to end.
#include <algorithm>
#include <cstring>

#include "gnss_rtk.h"
#include "pod_embed.h"
#include "support.h"

namespace {

using support::LogRecorder;

RUNTIME_POD_EMBED pod;  // holds the built-in stores
OBSDATA_EPOCH epochs[722];

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
    EXPECT_EQ(choose(ref, ref), (Pairs{{0, 0}, {1, 1}, {2, 2}, {3, 3}}));
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
    EXPECT_EQ(choose(longer, ref), (Pairs{{0, 0}, {2, 2}, {3, 3}, {4, 1}}));
    const OBSDATA_EPOCH twice = make_epoch({{GPS, 3}, {GPS, 3}});
    EXPECT_EQ(choose(twice, twice), (Pairs{{0, 0}, {1, 0}}));
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, ""), 0);

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
    ref.satobs[4].sat_azel[1] = -0.1;
    choose(ref, rov);
    EXPECT_EQ(refsat[1], -1);
}

TEST_F(Rtk, SlotsOfTheState) {
    EXPECT_EQ(runtime_rtk.nx, runtime_rtk.idx_xs_amb + runtime_rtk.nx_amb);
    EXPECT_EQ(runtime_rtk.nx, 34);
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
    for (int r = 0; r < 41; ++r) {
        for (int c = 0; c < 41; ++c) {
            const bool touched = r == 40 || c == 40;
            ASSERT_EQ(runtime_rtk.P[r * 41 + c], r == c && touched ? 2.5 : touched ? 0.0 : 7.0) << r << " " << c;
        }
    }
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

// --- pairs of epochs, end to end -----------------------------------------------------------------------------------------

/// An epoch of a real or simulated receiver as rover, and its copy with longer ranges as reference.
class RtkPair : public Rtk {
  protected:
    static constexpr double kClock = 1234.5;  ///< by which the reference's ranges are longer [m]

    void load(const std::string& obs, const std::string& nav, int index) {
        startup_pod_embed(&pod, false);
        g_obs_storage = epochs;
        g_num_obs_storage = 0;
        ASSERT_TRUE(load_ephemeris_brdc(std::string(nav).data()));
        ASSERT_TRUE(load_observation_rinex(std::string(obs).data(), 0, 0.0));
        ASSERT_GT(g_num_obs_storage, index);
        rov = ref = epochs[index];
        for (OBSDATA_SAT& sat : ref.satobs) {
            for (OBSREC& rec : sat.obsdata) rec.value += rec.type == RANGE && rec.value != 0.0 ? kClock : 0.0;
        }
        log.clear();
    }
    void load_demo(int index = 2) {
        const std::string dir = (std::filesystem::path(LEOPOD_SOURCE_DIR) / "examples/data/").string();
        load(dir + "demo_bds.obs", dir + "demo_bds.nav", index);
    }
    STATUS_SOL solve() {
        choose_observation(&ref);
        choose_observation(&rov);
        return relative_positioning(&ref, &rov, &solution);
    }
    /// The pair solved, whatever the receiver.
    void expect_solved() {
        const double tolerance = 0.01;  // [m]: satellites move for the 4 us by which the reference's clock is late
        std::memset(&solution, 0x5a, sizeof solution);
        const SOLUTION untouched = solution;
        runtime_rtk.interval_sec = 30.0;
        runtime_rtk.X[0] = 1.0;
        ASSERT_EQ(solve(), SOL_OK);
        EXPECT_EQ(std::memcmp(&solution, &untouched, sizeof solution), 0);
        const SOLUTION &a = runtime_rtk.sln_ref, &b = runtime_rtk.sln_rov;
        ASSERT_EQ(a.status, SOL_OK);
        ASSERT_EQ(b.status, SOL_OK);
        EXPECT_NEAR(a.pos_vel_clk[6] - b.pos_vel_clk[6], kClock, tolerance);
        for (int c = 0; c < 3; ++c) {
            EXPECT_NEAR(a.pos_vel_clk[c], b.pos_vel_clk[c], tolerance) << c;
            EXPECT_EQ(runtime_rtk.X[c], b.pos_vel_clk[c]) << c;
            EXPECT_NE(runtime_rtk.X[c], a.pos_vel_clk[c]) << c;
            EXPECT_EQ(variance(c), gnssconfig.var_pos) << c;
        }
        int usable = 0, highest = 0;
        for (int i = 0; i < ref.sat_num; ++i) {
            const OBSDATA_SAT& sat = ref.satobs[i];
            if (sat.flag_sat != OBS_OK || sat.num_obs_used != 4) continue;
            const int satindex = satsysprn2index(sat.satsys, sat.prn);
            EXPECT_NEAR(
                runtime_rtk.runtime_state_ref[satindex].if_code[0] - runtime_rtk.runtime_state_rov[satindex].if_code[0],
                kClock, 1e-6);
            ASSERT_EQ(runtime_rtk.satlist_used_ref[usable], i);
            EXPECT_EQ(runtime_rtk.satlist_used_rov[usable], i);
            if (sat.sat_azel[1] >= ref.satobs[runtime_rtk.satlist_used_ref[highest]].sat_azel[1]) highest = usable;
            ++usable;
        }
        EXPECT_GE(usable, 6);
        EXPECT_EQ(runtime_rtk.nsat_used, usable);
        EXPECT_EQ(runtime_rtk.index_refsat[0], highest);
        EXPECT_EQ(log.count(ULOG_TRACE_LEVEL, "TRACE: update_"), 2);
    }

    OBSDATA_EPOCH ref, rov;
    SOLUTION solution;
};

TEST_F(RtkPair, LowOrbit) {
    load_demo();
    expect_solved();
    runtime_rtk.IF_combination = true;
    EXPECT_EQ(solve(), SOL_OK);
    EXPECT_EQ(log.count(ULOG_TRACE_LEVEL, "station obs missing"), 0);
}

TEST_F(RtkPair, GroundStation) {
    const std::string dir = support::data_path("gnss/ground_esbc_2020177/").string();
    LEOPOD_REQUIRE_DATA(std::filesystem::path(dir + "ESBC00DNK_R_20201770000_06H_30S_GO_trim.rnx"));
    load(dir + "ESBC00DNK_R_20201770000_06H_30S_GO_trim.rnx", dir + "ESBC00DNK_R_20201770000_01D_MN.rnx", 100);
    set_gnssconfig_from_file(
        support::write_temp("gps.cfg",
                            "+GNSS_SYS\nGPS 4 C1C L1C C2W L2W IF 0 2 1 3\n-GNSS_SYS\n+GENERAL_CONFIG\nELE_CUTOFF "
                            "10.0\nVAR_POS 900.0\n-GENERAL_CONFIG\n")
            .data());
    expect_solved();
    EXPECT_NEAR(runtime_rtk.X[0], 3582105.0, 20.0);
    EXPECT_NEAR(runtime_rtk.X[1], 532590.0, 20.0);
    EXPECT_NEAR(runtime_rtk.X[2], 5232755.0, 20.0);
}

TEST_F(RtkPair, ListsInDifferentOrderPairDifferentSatellites) {
    load_demo();
    std::copy(rov.satobs + 1, rov.satobs + rov.sat_num, rov.satobs);  // the rover lacks the first satellite
    --rov.sat_num;
    ASSERT_EQ(solve(), SOL_OK);
    EXPECT_EQ(runtime_rtk.nsat_used, rov.sat_num);
    for (int i = 0; i < runtime_rtk.nsat_used; ++i) {
        EXPECT_EQ(runtime_rtk.satlist_used_ref[i], i);
        EXPECT_EQ(runtime_rtk.satlist_used_rov[i], i);
        EXPECT_NE(ref.satobs[i].prn, rov.satobs[i].prn);
    }
}

TEST_F(RtkPair, FlaggedEpochsAndPairsWithoutCommonSatellite) {
    load_demo();
    const RUNTIME_RTK before = runtime_rtk;
    for (OBSDATA_EPOCH* epoch : {&ref, &rov}) {
        epoch->flag_epoch = 1;
        EXPECT_EQ(solve(), SOL_OBS_BAD);
        epoch->flag_epoch = OBS_OK;
    }
    EXPECT_EQ(std::memcmp(&before, &runtime_rtk, sizeof before), 0);

    for (int i = 0; i < 5; ++i) ref.satobs[i].flag_sat = LOW_ELE;  // five of ten for each
    for (int i = 5; i < rov.sat_num; ++i) rov.satobs[i].flag_sat = LOW_ELE;
    EXPECT_EQ(solve(), SOL_OK);
    EXPECT_EQ(runtime_rtk.nsat_used, -1);
    EXPECT_EQ(runtime_rtk.index_refsat[0], -1);
    EXPECT_EQ(log.count(ULOG_ERROR_LEVEL, "found 0 common sat"), 1);
    for (int c = 0; c < 3; ++c) EXPECT_EQ(runtime_rtk.X[c], runtime_rtk.sln_rov.pos_vel_clk[c]);
    compute_omc_sd_station(&ref, &rov);
}

}  // namespace
