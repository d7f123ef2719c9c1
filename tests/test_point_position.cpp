/// Point position and zero-difference model: marks, failures, bounds, and single rows against geometry done by hand.
#include <cmath>
#include <cstring>
#include <utility>

#include "common_function.h"
#include "earth_rotation_param.h"
#include "eph_planet.h"
#include "gnss_ppp.h"
#include "pod_embed.h"
#include "support.h"

namespace {

constexpr double kC = 299792458.0;
EPHBRDC_STORE brdc;
OBSDATA_EPOCH epochs[512];
EOPREC eop[3];
EPH_HEADER_JPL jpl_header;
EPH_RECORD_JPL jpl_record[1];

std::string leo(const char* name) { return support::data_path(std::string("leo_sim/") + name).string(); }

/// GPS by broadcast, with the measured attitude; the files are read once a process.
class PointPosition : public testing::Test {
  protected:
    void SetUp() override {
        LEOPOD_REQUIRE_DATA(support::data_path("leo_sim/dev21_tgd0.nav"));
        static const bool loaded = load();
        ASSERT_TRUE(loaded);
        sysGNSS systems[1] = {GPS};
        set_gnssconfig_system(&gnssconfig, 1, systems);
        take(4);
        std::memset(&antenna, 0, sizeof antenna);
        std::memset(&solution, 0xff, sizeof solution);
    }
    static bool load() {
        g_brdc_storage = &brdc;
        g_obs_storage = epochs;
        initialize_global_eph_planet();
        load_eph_storage_default(&jpl_header, jpl_record);
        g_eph_header = &jpl_header;
        g_ephData_storage = jpl_record;
        initialize_global_earth_rotation_param();
        load_eops_default(eop, 3);
        sysGNSS systems[1] = {GPS};
        set_gnssconfig_system(&gnssconfig, 1, systems);
        return load_ephemeris_brdc(leo("dev21_tgd0.nav").data()) &&
               load_attitude_quaternion(0, leo("dev21_att_zup.txt").data()) &&
               load_observation_rinex(leo("dev21_gps_clean.obs").data(), 0, 0.0);
    }
    void take(int index) {
        epoch = epochs[index];
        choose_observation(&epoch);
    }
    STATUS_SOL solve() { return pseudorange_point_positioning(&epoch, nullptr, &solution); }

    OBSDATA_EPOCH epoch;
    ANT_INFO antenna;
    SOLUTION solution;
};

TEST_F(PointPosition, ReportsBadEpochsWithoutReadingThem) {
    support::LogRecorder log;
    EXPECT_EQ(pseudorange_point_positioning(nullptr, nullptr, &solution), SOL_OBS_BAD);
    EXPECT_STREQ(solution.msg, "obs_epoch pointer is NULL!");
    epoch.flag_epoch = 1;
    EXPECT_EQ(solve(), SOL_OBS_BAD);
    EXPECT_EQ(solution.status, SOL_OBS_BAD);
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "obs_epoch pointer is NULL!"));
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, "obs_epoch flag_epoch is not OBS_OK!"));
}

TEST_F(PointPosition, MasksInTheAntennaFrameOnlyOncePositionIsKnown) {
    ASSERT_EQ(solve(), SOL_OK);
    EXPECT_STREQ(solution.msg, "SUCCESS");
    EXPECT_EQ(solution.type, 'C');
    const int all = solution.nsat;
    const OBSDATA_EPOCH open = epoch;
    take(4);
    gnssconfig.ele_cutoff = 0.37;
    ASSERT_EQ(solve(), SOL_OK);
    int masked = 0;
    for (int i = 0; i < epoch.sat_num; ++i) {
        EXPECT_EQ(epoch.satobs[i].flag_sat == LOW_ELE, open.satobs[i].sat_azel[1] < 0.37) << i;
        masked += epoch.satobs[i].flag_sat == LOW_ELE;
    }
    EXPECT_GT(masked, 2);
    EXPECT_EQ(solution.nsat, all - masked);

    take(4);  // an antenna that looks down sees nobody in the fifth pass
    gnssconfig.ele_cutoff = 0.09;
    antenna.ant_ok = true;
    for (int i = 0; i < 3; ++i) antenna.installation_matrix[4 * i] = i < 2 ? 1.0 : -1.0;
    EXPECT_EQ(pseudorange_point_positioning(&epoch, &antenna, &solution), SOL_SPP_LACK_SAT);
    EXPECT_EQ(solution.nsat, 0);
}

TEST_F(PointPosition, FailsWithFewerThanFourSatellites) {
    support::LogRecorder log;
    epoch.sat_num = 3;
    EXPECT_EQ(solve(), SOL_SPP_LACK_SAT);
    EXPECT_EQ(solution.nsat, 3);
    EXPECT_STREQ(solution.msg,
                 "epoch 2021-01-18T00:02:00.000000000 lack of valid satellite, ns = 3, nobs = 6, obs_epoch->sat_num=3");
    EXPECT_TRUE(log.has(ULOG_WARNING_LEVEL, solution.msg));

    take(4);  // four times the same satellite: the normal equations have no solution, which is not convergence
    for (int i = 1; i < 4; ++i) epoch.satobs[i] = epoch.satobs[0];
    epoch.sat_num = 4;
    EXPECT_NE(solve(), SOL_OK);
}

TEST_F(PointPosition, MarksWhatItLeavesOut) {
    support::LogRecorder log;
    ASSERT_EQ(solve(), SOL_OK);
    const int all = solution.nsat;
    take(4);
    epoch.satobs[0].satsys = GAL;  // no index
    epoch.satobs[1].satsys = BDS;  // not configured
    for (OBSREC& rec : epoch.satobs[2].obsdata) rec.value = rec.type == RANGE ? 0.0 : rec.value;
    epoch.satobs[3].prn = 4;  // without ephemeris
    epoch.satobs[4].num_obs_used = 0;
    epoch.satobs[5].obsdata[epoch.satobs[5].obs_index_used[2]].value = 0.0005;
    epoch.satobs[6].obs_index_used[0] = -1;
    epoch.satobs[7].obsdata[epoch.satobs[7].obs_index_used[0]].flag_obs = OBS_UKN;
    ASSERT_EQ(solve(), SOL_OK);
    EXPECT_EQ(epoch.satobs[0].flag_sat, SAT_UKN);
    EXPECT_EQ(epoch.satobs[1].flag_sat, SAT_NOT_USED);
    EXPECT_EQ(epoch.satobs[2].flag_sat, SAT_NOT_USED);
    EXPECT_EQ(epoch.satobs[3].flag_sat, SATPOS_ERROR);
    EXPECT_EQ(solution.nsat, all - 5);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "no pseudorange found, obs_time=2021-01-18T00:02:00.000000000, satinex="),
              1);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "SATPOS_ERROR, obs_time="), 1);
    EXPECT_GT(log.count(ULOG_WARNING_LEVEL, "num_obs_used = 0, this satellite is not used!"), 3);
    EXPECT_GT(log.count(ULOG_WARNING_LEVEL, "value_range is less than 0.001 m, freq=2,code=10"), 3);
    EXPECT_GT(log.count(ULOG_WARNING_LEVEL, "obsrec->flag_obs is not OBS_OK, iter=4\n"), 0);

    epoch.satobs[0].satsys = STA;
    epoch.satobs[0].flag_sat = OBS_OK;
    EXPECT_EXIT((ulog_subscribe(support::log_to_stderr, ULOG_ERROR_LEVEL), solve()), testing::ExitedWithCode(1),
                "spp:satindex\\[104\\]>=MAXSAT_GNSS\\[97\\], satsys=7,prn=");
}

TEST_F(PointPosition, FlagsAGrossErrorBehindTheFifthPass) {
    const int jj = epoch.satobs[2].obs_index_used[0];
    epoch.satobs[2].obsdata[jj].value += 1000.0;
    solve();  // converges before outliers are looked for
    EXPECT_EQ(epoch.satobs[2].obsdata[jj].flag_obs, OBS_OK);
    take(4);
    epoch.satobs[2].obsdata[jj].value += 1000.0;
    gnssconfig.ele_cutoff = 0.2;  // satellites that leave in the fifth pass call for a sixth
    solve();
    for (int i = 0; i < epoch.sat_num; ++i) {
        for (int k = 0; k < epoch.satobs[i].num_obs; ++k) {
            EXPECT_EQ(epoch.satobs[i].obsdata[k].flag_obs == GROSS_ERROR, i == 2 && k == jj) << i << " " << k;
        }
    }
}

TEST(ChiSquare, SolvesTheClosedFormOfEvenDegrees) {
    for (int n = 2; n <= 100; n += 2) {
        double low = 0.0, high = 200.0;
        while (high - low > 1e-6) {  // Q(x) = exp(-x/2) sum (x/2)^i / i!
            const double half = (low + high) / 4.0;
            double term = std::exp(-half), tail = 0.0;
            for (int i = 0; i < n / 2; term *= half / ++i) tail += term;
            (tail > 0.001 ? low : high) = 2.0 * half;
        }
        EXPECT_NEAR(chisqr[n - 1], low, low < 100.0 ? 0.0501 : 0.501) << n;
        EXPECT_LT(chisqr[n - 2], chisqr[n - 1]);
    }
}

TEST(ZeroDifference, RowsOfOneSatellite) {
    sysGNSS systems[2] = {GPS, BDS};
    set_gnssconfig_system(&gnssconfig, 2, systems);
    OBSDATA_EPOCH epoch;
    initialize_obsdata_epoch(&epoch);
    epoch.epoch_time = {{59232, 0.0}, tsGPST};
    epoch.flag_epoch = OBS_OK;
    epoch.sat_num = 1;
    OBSDATA_SAT& sat = epoch.satobs[0];
    sat.satsys = BDS;
    sat.prn = 20;
    sat.flag_sat = OBS_OK;
    sat.num_obs = 4;
    sat.satclk_offset = 1e-6;
    sat.sat_azel[1] = 1.0;
    const double satpos[3] = {15e6, 20e6, 5e6};
    std::memcpy(sat.satpos_ecf, satpos, sizeof satpos);
    const double f1 = 1575.42, f2 = 1176.45;
    const double value[4] = {2e7, 1e8, 2e7 + 7.0, 8e7};
    for (int k = 0; k < 4; ++k) {
        sat.obs_index_used[k] = k;
        sat.obsdata[k].freq = k < 2 ? L1 : L5;
        sat.obsdata[k].value = value[k];
        sat.obsdata[k].sigma = k % 2 == 0 ? 0.3 : 0.002;
    }
    int in_epoch[15] = {0};
    int list[15] = {40, 51};  // BDS 20 at the second place of the list
    std::swap(list[0], list[1]);
    double X[39] = {7e6, 0.0, 1e5};
    X[6] = 5.0;    // GPS clock, not this satellite's
    X[7] = 100.0;  // BDS clock
    X[8] = 3.0;    // its ambiguity
    PARAM_TYPE types[6] = {param_RX_POS_X,   param_RX_POS_Y,   param_RX_POS_Z,
                           param_RX_GPS_CLK, param_RX_BDS_CLK, param_AMB};
    int slots[6] = {0, 1, 2, 6, 7, 8};
    double sun[6] = {1e11, 1e11, 1e10};
    static SAT_STATE states[97];
    ATT_QUATERNION att = {};
    double h[4 * 39] = {}, v[4] = {}, r[16] = {};
    auto rows = [&](int nobs_max) {
        return compute_omc_zd_gnss(1, in_epoch, list, &epoch, sun, &att, nullptr, 6, types, slots,
                                   get_index_param_pod_embed, X, states, nobs_max, 39, h, v, r);
    };
    ASSERT_EQ(rows(4), 2);
    const double d[3] = {satpos[0] - X[0], satpos[1] - X[1], satpos[2] - X[2]};
    const double rho = std::hypot(d[0], d[1], d[2]);
    const double g1 = f1 * f1 / (f1 * f1 - f2 * f2), g2 = 1.0 - g1;
    const double model = rho + 7.2921151467e-05 * (satpos[0] * X[1] - satpos[1] * X[0]) / kC + X[7] - kC * 1e-6;
    EXPECT_NEAR(v[0], g1 * value[0] + g2 * value[2] - model, 1e-6);
    const double windup = states[51].phw * kC * 1e-6 * (g1 / f1 + g2 / f2);
    EXPECT_NE(states[51].phw, 0.0);
    EXPECT_NEAR(v[1], kC * 1e-6 * (g1 * value[1] / f1 + g2 * value[3] / f2) - model - windup - X[8], 1e-6);
    for (int s = 0; s < 2; ++s) {
        for (int c = 0; c < 39; ++c) {
            EXPECT_NEAR(h[s * 39 + c], c < 3 ? -d[c] / rho : c == 7 || (c == 8 && s == 1) ? 1.0 : 0.0, 1e-14);
        }
        const double sigma = s == 0 ? 0.3 : 0.002;
        EXPECT_NEAR(r[s * 4 + s], (g1 * g1 + g2 * g2) * sigma * sigma, 1e-12);
    }
    EXPECT_EQ(rows(1), 0);  // no room for a pair
    EXPECT_EQ(std::exchange(sat.obsdata[3].value, 0.00005), value[3]);
    EXPECT_EQ(rows(4), 0);  // one of four too small
    sat.obsdata[3].value = value[3];
    gnssconfig.opt_IF[1] = 0;
    EXPECT_EQ(rows(4), 0);  // frequency by frequency is inactive
    gnssconfig.opt_IF[1] = 1;
    X[0] = X[2] = 0.0;
    v[0] = -1.0;
    EXPECT_EQ(rows(4), 0);
    EXPECT_EQ(v[0], -1.0);
}

}  // namespace
