/// Point position and zero-difference model: marks, failures, bounds, and single rows against geometry done by hand.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "common_function.h"
#include "earth_rotation_param.h"
#include "gnss_ppp.h"
#include "mathlib.h"
#include "pod_embed.h"
#include "support.h"

namespace {

RUNTIME_POD_EMBED pod;  // holds the built-in stores
OBSDATA_EPOCH epochs[512];

/// GPS by broadcast, with the measured attitude; the files are read once a process.
class PointPosition : public testing::Test {
  protected:
    void SetUp() override {
        static bool loaded = false;
        if (!loaded) startup_pod_embed(&pod, false);
        sysGNSS systems[1] = {GPS};
        set_gnssconfig_system(&gnssconfig, 1, systems);
        g_obs_storage = epochs;
        loaded = loaded || (load_ephemeris_brdc(support::arc21("arc.nav").data()) &&
                            load_attitude_quaternion(0, support::arc21("attitude.txt").data()) &&
                            load_observation_rinex(support::arc21("gps.obs").data(), 0, 0.0));
        ASSERT_TRUE(loaded);
        take(4);
        std::memset(&solution, 0xff, sizeof solution);
    }
    void take(int index) {
        epoch = epochs[index];
        choose_observation(&epoch);
    }
    STATUS_SOL solve() { return pseudorange_point_positioning(&epoch, antenna.ant_ok ? &antenna : nullptr, &solution); }

    OBSDATA_EPOCH epoch;
    ANT_INFO antenna = {};
    SOLUTION solution;
};

TEST_F(PointPosition, MasksInTheAntennaFrameOnlyOncePositionIsKnown) {
    ASSERT_EQ(solve(), SOL_OK);
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
    double normal[16] = {}, sum = 0.0;  // two ranges a satellite, all of weight 1
    for (const OBSDATA_SAT& sat : epoch.satobs) {
        if (&sat - epoch.satobs >= epoch.sat_num || sat.flag_sat != OBS_OK) continue;
        double row[4] = {0, 0, 0, 1};
        for (int c = 0; c < 3; ++c) row[c] = solution.pos_vel_clk[c] - sat.satpos_ecf[c];
        const double length = norm(3, row);
        for (int c = 0; c < 3; ++c) row[c] /= length;
        for (int k = 0; k < 16; ++k) normal[k] += 2.0 * row[k / 4] * row[k % 4];
    }
    ASSERT_EQ(matinv(normal, 4, 4), 0);
    for (int c = 0; c < 3; ++c) sum += normal[5 * c] * normal[5 * c];
    EXPECT_NEAR(solution.gdop, std::sqrt(sum), 1e-4 * solution.gdop);
    EXPECT_EQ(solution.nsat, all - masked);

    take(4);  // an antenna that looks down sees nobody in the fifth pass
    gnssconfig.ele_cutoff = 0.09;
    antenna.ant_ok = true;
    for (int i = 0; i < 3; ++i) antenna.installation_matrix[4 * i] = i < 2 ? 1.0 : -1.0;
    EXPECT_EQ(solve(), SOL_SPP_LACK_SAT);
    EXPECT_EQ(solution.nsat, 0);
}

TEST_F(PointPosition, FailsOnBadEpochsAndWithFewerThanFourSatellites) {
    EXPECT_EQ(pseudorange_point_positioning(nullptr, nullptr, &solution), SOL_OBS_BAD);
    epoch.flag_epoch = 1;
    EXPECT_EQ(solve(), SOL_OBS_BAD);
    take(4);
    epoch.sat_num = 3;
    EXPECT_EQ(solve(), SOL_SPP_LACK_SAT);

    take(4);  // four times the same satellite: the normal equations have no solution, which is not convergence
    for (int i = 1; i < 4; ++i) epoch.satobs[i] = epoch.satobs[0];
    epoch.sat_num = 4;
    EXPECT_NE(solve(), SOL_OK);
}

// The Sun's conversion and three axes in each of five passes.
TEST_F(PointPosition, ReportsEachConversionWithoutEarthOrientation) {
    const long records = std::exchange(g_eop_storage_size, 0);
    support::LogRecorder log;
    epoch.satobs[1].num_obs = epoch.satobs[2].num_obs = 11;
    ASSERT_EQ(solve(), SOL_OK);
    g_eop_storage_size = records;
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "eop_ok=false, using ZERO eop!"), 16);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, ": more than 10 records of a satellite, the excess is dropped"), 1);
}

TEST_F(PointPosition, MarksWhatItLeavesOut) {
    ASSERT_EQ(solve(), SOL_OK);
    const SOLUTION all = solution;
    take(4);
    epoch.satobs[0].satsys = GAL;  // no index
    epoch.satobs[1].satsys = BDS;  // not configured
    for (OBSREC& rec : epoch.satobs[2].obsdata) rec.value = rec.type == RANGE ? 0.0 : rec.value;
    epoch.satobs[3].prn = 4;  // without ephemeris
    epoch.satobs[4].num_obs_used = 0;
    epoch.satobs[5].obsdata[epoch.satobs[5].obs_index_used[2]].value = 0.0005;
    epoch.satobs[6].obs_index_used[0] = -1;
    OBSREC& marked = epoch.satobs[7].obsdata[epoch.satobs[7].obs_index_used[0]];
    marked.flag_obs = OBS_UKN;
    marked.value += 1000.0;
    ASSERT_EQ(solve(), SOL_OK);
    const int flags[4] = {SAT_UKN, SAT_NOT_USED, SAT_NOT_USED, SATPOS_ERROR};
    for (int i = 0; i < 4; ++i) EXPECT_EQ(epoch.satobs[i].flag_sat, flags[i]) << i;
    EXPECT_EQ(solution.nsat, all.nsat - 5);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(solution.pos_vel_clk[c], all.pos_vel_clk[c], 10.0);  // half the satellites

    take(4);  // infinite ranges are absent, also from the light time
    for (int i : {0, 1}) {
        for (OBSREC& rec : epoch.satobs[i].obsdata)
            rec.value = rec.type == RANGE && rec.freq != L2 ? HUGE_VAL : rec.value;
    }
    choose_observation(&epoch);
    ASSERT_EQ(solve(), SOL_OK);
    for (int c = 0; c < 3; ++c) EXPECT_NEAR(solution.pos_vel_clk[c], all.pos_vel_clk[c], 10.0);

    epoch.satobs[0].prn = 98;  // the first index behind the satellites
    epoch.satobs[0].flag_sat = OBS_OK;
    EXPECT_STOP(solve(), "spp:satindex\\[97\\]>=MAXSAT_GNSS\\[97\\], satsys=1,prn=98");
}

TEST_F(PointPosition, FlagsAGrossErrorBehindTheFifthPass) {
    const int jj = epoch.satobs[2].obs_index_used[0];
    epoch.satobs[2].obsdata[jj].value += 1000.0;
    gnssconfig.ele_cutoff = 0.2;  // satellites that leave in the fifth pass call for a sixth
    solve();
    for (int i = 0; i < epoch.sat_num; ++i) {
        for (int k = 0; k < epoch.satobs[i].num_obs; ++k) {
            EXPECT_EQ(epoch.satobs[i].obsdata[k].flag_obs == GROSS_ERROR, i == 2 && k == jj) << i << " " << k;
        }
    }
}

TEST_F(PointPosition,
       ModelOfAReceiverOnTheGround) {  // below the orbit; its ranges lack troposphere, ionosphere and group delay
    constexpr double kC = 299792458.0, kRe = 6378137.0, kFe = 1 / 298.257223563;
    ASSERT_EQ(solve(), SOL_OK);
    take(4);
    double blh[3], site[3], sat[6], clk[2], tgd, dry[2], wet[2];
    ecef2blh(solution.pos_vel_clk, blh, kRe, kFe);
    blh[2] = 100.0;
    blh2ecef(blh, site, kRe, kFe);
    const auto range = [&](const OBSDATA_SAT& from, double clock, double* to) {
        const double time = propagation_time_iterate(epoch.epoch_time, from.prn - 1, clock / kC, to, sat, clk, &tgd);
        return kC * (time - clk[0]) + clock + 7.2921151467e-05 * (sat[0] * to[1] - sat[1] * to[0]) / kC;
    };
    for (int i = 0; i < epoch.sat_num; ++i) {
        const double value = range(epoch.satobs[i], 0.0, site);
        for (OBSREC& rec : epoch.satobs[i].obsdata) rec.value = rec.type == RANGE ? value : rec.value;
    }
    EXPECT_EQ(propagation_time_iterate({{60000, 0.0}, tsGPST}, 0, 0.0, site, sat, clk, &tgd), 0.0);  // no record
    ASSERT_EQ(solve(), SOL_OK);
    const double mjd = gtime2mjd(epoch.epoch_time), sow = GTime2SOW(epoch.epoch_time).sow;
    ecef2blh(solution.pos_vel_clk, blh, kRe, kFe);
    int compared = 0;
    for (int i = 0; i < epoch.sat_num; ++i) {
        OBSDATA_SAT& from = epoch.satobs[i];
        if (from.flag_sat != OBS_OK) continue;
        const OBSREC& rec = from.obsdata[from.obs_index_used[0]];
        const double f = get_obs_frequency(GPS, rec.freq, 1);  // [MHz]
        const double model =
            range(from, solution.pos_vel_clk[6], solution.pos_vel_clk) +
            trop_delay(mjd, blh, from.sat_azel, dry, wet, 0.5) + get_tgd(GPS, from.prn, rec.freq, rec.code) +
            1e4 / (f * f) * Klobuchar_GPS_stec(iono_brdc_GPS_A, iono_brdc_GPS_B, sow, blh, from.sat_azel);
        EXPECT_NEAR(rec.residual, rec.value - model, 2e-3) << from.prn;
        ++compared;
    }
    EXPECT_GT(compared, 4);
}

TEST_F(PointPosition, ZeroDifferenceGivesTwoRowsASatellite) {  // the numbers are checked by the runs against truth
    ASSERT_EQ(solve(), SOL_OK);
    int in_epoch[15], list[15];
    const int nsat = choose_satellite(&epoch, in_epoch, list);
    PARAM_TYPE types[4] = {param_RX_POS_X, param_RX_POS_Y, param_RX_POS_Z, param_RX_GPS_CLK};
    int slots[4] = {0, 1, 2, 6};
    double X[39] = {}, sun[6] = {1e11, 1e11, 1e10};
    std::vector<double> h(30 * 39), v(30, -1.0), r(30 * 30);
    static SAT_STATE states[97];
    ATT_QUATERNION att = {};
    auto rows = [&](int nobs_max) {
        return compute_omc_zd_gnss(nsat, in_epoch, list, &epoch, sun, &att, &antenna, 4, types, slots,
                                   get_index_param_pod_embed, X, states, nobs_max, 39, h.data(), v.data(), r.data());
    };
    EXPECT_EQ(rows(30), 0);  // no position yet
    EXPECT_EQ(v[0], -1.0);
    std::copy_n(solution.pos_vel_clk, 7, X);
    EXPECT_EQ(rows(30), 2 * nsat);
    EXPECT_EQ(rows(2 * nsat - 1), 2 * nsat - 2);  // no half pairs
    const double v0 = v[0], v1 = v[1];
    antenna.mjd_available[1] = 99999.0;
    antenna.freqs[0] = L1;
    antenna.freqs[1] = L2;
    antenna.pco[0][1] = antenna.pco[1][1] = antenna.installation_matrix[4] = 1.0;
    rows(30);
    EXPECT_EQ(v[0], v0);  // the receiver's offset does not enter
    states[list[0]].ant_info = &antenna;
    rows(30);
    EXPECT_NEAR(v[1] - v1, v[0] - v0, 1e-6);  // the transmitter's does
    const double both = v[0] - v0, f1 = 1575.42 * 1575.42, f2 = 1227.6 * 1227.6;
    EXPECT_GT(std::fabs(both), 1e-4);
    antenna.pco[1][1] = 0.0;  // the first frequency alone, with its factor of the combination
    rows(30);
    EXPECT_NEAR((v[0] - v0) / both, f1 / (f1 - f2), 1e-4);
    epoch.satobs[in_epoch[0]].obsdata[3].value = 0.00005;
    EXPECT_EQ(rows(30), 2 * nsat - 2);
    gnssconfig.opt_IF[0] = 0;  // frequency by frequency: no rows, marked records are reported
    OBSDATA_SAT& second = epoch.satobs[in_epoch[1]];
    second.obsdata[second.obs_index_used[0]].flag_obs = GROSS_ERROR;
    support::LogRecorder log(ULOG_WARNING_LEVEL);
    EXPECT_EQ(rows(30), 0);
    EXPECT_EQ(log.count(ULOG_WARNING_LEVEL, "obsrec->flag_obs="), 1);
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

}  // namespace
