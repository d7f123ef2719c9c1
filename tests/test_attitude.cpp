// Attitude laws against geometry; quaternion files and the interpolated lookup.
#include <cmath>
#include <tuple>

#include "attitude.h"
#include "mathlib.h"
#include "support.h"

namespace {

constexpr double kPi = 3.14159265358979323846;
double ex[3], ey[3], ez[3];  // axes under test

char* text(const std::string& s) { return const_cast<char*>(s.c_str()); }
GTime gpst(double sod) { return gtimeAddSec(GTime{{58499, 0.0}, tsGPST}, sod); }
double dot(const double* a, const double* b) { return dotproduct(3, 3, a, b); }

/// Records of one a minute, half a turn about z a day.
std::string spin_file(int first, int last) {
    std::string content = "# a comment\n";
    char line[200];
    for (int i = first; i <= last; ++i) {
        const double half = kPi / 2 * i / 1440;
        std::snprintf(line, sizeof line, "%.12f %.15f 0 0 %.15f\n", 58499 + i / 1440.0, std::cos(half), std::sin(half));
        content += line;
    }
    return support::write_temp("spin", content);
}

/// Every test leaves an empty store.
class AttitudeStore : public testing::Test {
  protected:
    ~AttitudeStore() override { free_att_quaternion_store(); }
    ATT_QUATERNION attitude = {};
    ATT_QUATERNION* const& loaded = g_att_qua_storage.qua_all[0];
};

}  // namespace

TEST_F(AttitudeStore, LookupEdges) {
    EXPECT_FALSE(get_att_quaternion(0, gpst(0), &attitude));  // empty store
    ASSERT_TRUE(load_attitude_quaternion(0, text(spin_file(0, 20))));
    EXPECT_FALSE(get_att_quaternion(3, gpst(600), &attitude));
    EXPECT_FALSE(get_att_quaternion(0, GTime{{58499, 600.0}, UKNTS}, &attitude));
    EXPECT_TRUE(get_att_quaternion(0, gpst(610), nullptr));
    for (TIMESYS sys : {tsGPST, tsUTC, tsTT, tsBDST}) {
        ASSERT_TRUE(get_att_quaternion(0, gtimeChangeTimeSystem(gpst(610), sys), &attitude));
        EXPECT_EQ(attitude.time.sys, sys);
        EXPECT_NEAR(attitude.qua.v[2], std::sin(kPi / 2 * 610 / 86400), 1e-9);
    }
    ASSERT_TRUE(get_att_quaternion(0, gpst(-1), &attitude));  // outside: still true, with zeroed numbers
    EXPECT_TRUE(attitude.ok && attitude.qua.r == 0.0);

    // Five records on each side of the closest one that the search ends at; at the last records more of those before.
    for (int i = 0; i < 21; ++i) loaded[i].qua = {1.0, {0.0, 0.0, 1.0}};
    for (const auto& [sod, first, last] : {std::tuple{610.0, 6, 16}, {1090.0, 10, 20}, {70.0, 0, 7}}) {
        for (int i = 0; i < 21; ++i) {
            loaded[i].qua.r = 2.0;
            EXPECT_TRUE(get_att_quaternion(0, gpst(sod), &attitude));
            EXPECT_EQ(std::fabs(attitude.qua.r - 1.0) > 1e-9, i >= first && i <= last) << sod << ' ' << i;
            loaded[i].qua.r = 1.0;
        }
    }

    // Records with a small vector part leave the window; one usable record is not enough.
    for (int i = 0; i < 20; ++i) loaded[i].qua = {5.0, {0.0, 0.0, 0.0005}};
    EXPECT_FALSE(get_att_quaternion(0, gpst(1200), &attitude));
    loaded[19].qua.v[1] = 1.0;
    ASSERT_TRUE(get_att_quaternion(0, gpst(1170), &attitude));
    EXPECT_NEAR(attitude.qua.v[1], 0.5, 1e-6);
    for (int i = 0; i < 21; ++i) loaded[i].qua = {1.0, {0.0, 0.0, 0.001}};  // in the window, but never counted
    EXPECT_TRUE(get_att_quaternion(0, gpst(650), &attitude));
}

TEST_F(AttitudeStore, ReadersSkipWhatIsNoRecordAndStopAtTheEndOfTheArray) {
    static ATT_QUATERNION records[MAXSIZE_ATT_QUA];
    std::string name =
        support::write_temp("odd", "#c\n\n58499.5 0.1 0.2 0.3 0.4\n1e300 1 1 1 1\nnan 1\n 58500 x 7 7 7\n58501 1");
    ASSERT_EQ(read_att_quaternion_velmar(text(name), records, 0), 3);
    EXPECT_EQ(records[0].time.time.sod, 43200.0);
    EXPECT_EQ(records[0].qua.v[2], 0.4);
    EXPECT_TRUE(records[2].qua.r == 1.0 && records[2].qua.v[0] == 0.0 && records[2].qua.v[2] == 0.0);
    name = support::write_temp(
        "odd", "a:\n1 x 7 1 1 1 1\n# End of YAML header\n\n-43200.5 C 7 .1 .2 .3 .4\n#\n86400 C 7 1 2 3 4\n");
    ASSERT_EQ(read_att_quaternion_gfo(text(name), records, 0), 2);
    EXPECT_EQ(gtime2mjd(records[0].time), 51543 + 86399.5 / 86400);
    EXPECT_EQ(records[1].qua.v[0], 2.0);

    name = spin_file(1, 5);
    for (auto* read : {read_att_quaternion_velmar, read_att_quaternion_gfo})
        EXPECT_EQ(read(text(name), records, MAXSIZE_ATT_QUA - 2), 2);
}

TEST_F(AttitudeStore, WriterRoundTripAndSlots) {
    ATT_QUATERNION out[3] = {{gpst(10), {0.5, {-0.5, 0.5, -0.5}}, true},
                             {gpst(20), {1.0, {0.0, 0.0, 0.0}}, false},
                             {gtimeChangeTimeSystem(gpst(30), tsUTC), {0.6, {0.0, 0.0, 0.8}}, true}};
    const std::string name = (support::temp_dir() / "written").string();
    const support::CommaLocale comma;
    ASSERT_TRUE(write_att_quaternion_velmra(text(name), out, 3));
    EXPECT_EQ(support::read_file(name).substr(0, 50), " 58499.000115741 0.50000000000000 -0.5000000000000");
    ASSERT_TRUE(load_attitude_quaternion(4, text(name)));
    ASSERT_TRUE(load_attitude_quaternion(4, text(name)));  // appended
    EXPECT_EQ(g_att_qua_storage.qua_num[0], 4);
    EXPECT_NEAR(gtimeSubSec(loaded[1].time, gpst(30)), 0.0, 5e-5);
    EXPECT_EQ(loaded[3].qua.v[2], 0.8);

    EXPECT_TRUE(load_sca_grace(0, text("/nonexistent")));  // takes its slot all the same
    EXPECT_TRUE(load_attitude_quaternion(1, text(name)));
    EXPECT_FALSE(load_attitude_quaternion(4, text(name)));
}

TEST(AttitudeLaw, YawSteering) {
    double sat[3] = {1.5e7, -1.8e7, 1.2e7}, vel[3] = {2500, 1000, -2600}, sun[3] = {1.1e11, 0.9e11, -0.4e11};
    double ep[3], t[3];
    gnss_sat_attitude(37, sat, vel, sun, ex, ey, ez, ep);  // BDS 6
    gnss_sat_attitude(36, vel, vel, sun, ex, ey, ez, ep);  // BDS 5: leaves the axes
    EXPECT_NEAR(dot(ez, sat), -norm(3, sat), 1e-6);
    EXPECT_NEAR(dot(ey, ep), 0.0, 1e-15);
    EXPECT_GT(dot(ex, ep), 0.0);  // x on the sunny side
    crossproduct(3, 3, ex, ey, t);
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(t[i], ez[i], 1e-15);

    // The nominal yaw angle turns x away from the sun: half a turn from these axes. Orbit in the xy plane, sun in the xz plane.
    EXPECT_EQ(yaw_nominal_gps(0.0, 1e-13), kPi);
    for (double beta : {-1.2, 0.02, 0.6}) {
        for (double mu : {-2.5, -0.3, 0.1, 1.0, 3.0}) {
            double r[3] = {-std::cos(mu), -std::sin(mu), 0}, v[3] = {std::sin(mu), -std::cos(mu), 0};
            double s[3] = {1e9 * std::cos(beta), 0, 1e9 * std::sin(beta)};
            attitude_yaw_steering(r, v, s, ex, ey, ez, nullptr);
            EXPECT_NEAR(std::remainder(yaw_nominal_gps(beta, mu) - kPi - std::atan2(-ex[2], dot(ex, v)), 2 * kPi), 0.0,
                        1e-8);
        }
    }
}

TEST(AttitudeLaw, PlatformTakesTheBestSourceThereIs) {
    double zero[3] = {}, ecf[3] = {0, 6.9e6, 0}, eci[3] = {6.9e6, 0, 0}, vel[3] = {0, 7600, 0};
    ATT_QUATERNION turn{gpst(0), {std::sqrt(0.5), {0, 0, std::sqrt(0.5)}}, true};  // a quarter turn about z
    auto platform = [&](double* p, double* r, double* v) {
        return attitude_platform(0, gpst(0), p, nullptr, r, v, &turn, ex, ey, ez, nullptr);
    };
    EXPECT_EQ(platform(ecf, eci, vel), 0);
    EXPECT_NEAR(ex[1] - ey[0] + ez[2], 3.0, 1e-14);
    turn.qua = {0, {0, 0, 0}};
    EXPECT_EQ(platform(ecf, eci, vel), 1);
    EXPECT_NEAR(-ex[0] + ey[2] + ez[1], 3.0, 1e-14);  // east, north, up
    EXPECT_EQ(platform(nullptr, eci, vel), 0);
    EXPECT_NEAR(-ex[1] + ey[2] - ez[0], 3.0, 1e-14);  // against the flight, orbit normal, down
    EXPECT_EQ(platform(zero, eci, vel), -1);
}
