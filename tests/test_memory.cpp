// Every allocation of a call fails in turn, alone and with all that follow. Nothing is thrown. The call either does without that memory
// and has the same result, or it says something, fails, and leaves its outputs and the open files as they were; or the process ends where
// the function's documentation says so.
#include <sys/wait.h>

#include <cmath>
#include <cstring>

#include "allocations.h"
#include "common_function.h"
#include "mathlib.h"
#include "observation_laser_ranging.h"
#include "orbit_fixture.h"
#include "pod_embed.h"
#include "readers.h"

namespace {

long s_left = -1;        ///< allocations ahead of the one that fails; negative: none does
bool s_lasting = false;  ///< and all behind it
bool s_failed = false;

}  // namespace

static bool allow_allocation() {
    if (s_left < 0 || s_left-- > 0) return true;
    s_left = s_lasting ? 0 : -1;
    s_failed = true;
    return false;
}

namespace {

std::size_t s_said = 0;  ///< what was logged
void listen(ulog_level_t level, char* text) {
    for (s_said = s_said * 31 + static_cast<std::size_t>(level); *text != '\0'; ++text) s_said = s_said * 31 + *text;
}

int open_files() {
    const std::filesystem::directory_iterator files("/proc/self/fd");
    return static_cast<int>(std::distance(begin(files), end(files)));
}

enum Result { kFailure, kSuccess, kNoResult };  ///< without a result the log tells a failure

struct Case {
    std::string name;
    std::function<void()> prepare;
    std::function<Result()> call;
    std::function<Values()> outputs;
    bool keeps = true;      ///< outputs stay as they were when the call fails
    bool may_stop = false;  ///< it ends the process, as documented
    int most = 1000;        ///< allocations that are gone through; with fewer the call is not made without a failure
};

enum Verdict { kUndisturbed, kGood, kThrew, kLeftFilesOpen, kWrongResult, kNoComplaint, kChangedOutputs };

/// One call whose allocation n fails.
Verdict attempt(const Case& c, long n, bool lasting, std::size_t good_said, const Values& good) {
    c.prepare();
    const Values before = c.outputs();
    const int files = open_files();
    s_said = 0;
    s_failed = false;
    s_lasting = lasting;
    Result result = kFailure;
    try {
        s_left = n;
        result = c.call();
        s_left = -1;
    } catch (...) {
        s_left = -1;
        return kThrew;
    }
    if (open_files() != files) return kLeftFilesOpen;
    const Values after = c.outputs();
    const bool same = after.size() == good.size() && std::equal(after.begin(), after.end(), good.begin());
    if (!s_failed) return result != kFailure && same && s_said == good_said ? kUndisturbed : kWrongResult;
    if (result == kSuccess || (result == kNoResult && s_said == good_said)) return same ? kGood : kWrongResult;
    if (s_said == good_said) return kNoComplaint;
    return c.keeps && after != before ? kChangedOutputs : kGood;
}

int s_attempts = 0;

void go_through(const Case& c) {
    std::size_t good_said = 0;
    Values good;
    if (c.most == 1000) {
        c.prepare();
        c.call();  // what is set up once in a process
        c.prepare();
        s_said = 0;
        EXPECT_NE(c.call(), kFailure) << c.name;
        good_said = s_said;
        good = c.outputs();
    }
    for (const bool lasting : {false, true}) {
        int verdict = kGood;
        for (int n = 0; n < c.most && verdict == kGood; ++n) {
            ++s_attempts;
            const pid_t child = c.may_stop ? fork() : -1;
            if (child <= 0) verdict = attempt(c, n, lasting, good_said, good);
            if (child == 0) _exit(verdict == kGood ? 0 : 100 + verdict);
            int status = 0;
            if (child > 0) waitpid(child, &status, 0);
            if (child > 0 && !(WIFEXITED(status) && WEXITSTATUS(status) <= 1))
                verdict = WIFEXITED(status) ? WEXITSTATUS(status) - 100 : kWrongResult;
            EXPECT_LE(verdict, kGood) << c.name << ", allocation " << n << (lasting ? " and all that follow" : "");
            EXPECT_LT(n, 999) << c.name << ": no end";
        }
    }
}

struct Memory : testing::Test {
    Memory() { ulog_subscribe(listen, ULOG_TRACE_LEVEL); }
    ~Memory() override {
        ulog_unsubscribe(listen);
        RecordProperty("attempts", s_attempts);
    }
};

// --- solvers -------------------------------------------------------------------------------------------------------------

constexpr int n = 20, m = 30;

/// Arguments of a solver, all of them outputs.
struct Arguments {
    double x[n], v[m], P[n * n], Q[n * n], H[m * n], R[m * m], t[80], q[20][3];

    double* begin() { return reinterpret_cast<double*>(this); }
    double* end() { return reinterpret_cast<double*>(this + 1); }
    void fill() {
        double phase = 1.0;
        for (double& value : *this) value = std::sin(phase += 1.7);
        std::fill_n(R, m * m, 0.0);
        for (int i = 0; i < m; ++i) R[i * m + i] = 1.0;
        for (int i = 0; i < n; ++i) P[i * n + i] = Q[i * n + i] = 20.0 + i;
        for (int i = 0; i < 80; ++i) t[i] = i;
    }
} a;

/// Result of a function that returns this when it succeeds.
Result expect(int wanted, int returned) { return returned == wanted ? kSuccess : kFailure; }

TEST_F(Memory, Solvers) {
    static char text[] = "ab, cd", separators[] = ", ", rows[2][1024], hex[] = "0aFF1";
    static int indx[n];
    static double sign;
    const std::pair<const char*, Result (*)()> cases[] = {
        {"ludcmp", [] { return expect(0, ludcmp(a.P, n, n, indx, &sign)); }},
        {"matinv", [] { return expect(0, matinv(a.P, n - 1, n)); }},
        {"solve_lsq", [] { return expect(n, solve_lsq(a.H, a.v, m, n, a.x, a.Q)); }},
        {"solve_lsq_normal", [] { return expect(n, solve_lsq_normal(a.P, a.v, n, a.x, a.Q)); }},
        {"filter_", [] { return expect(0, filter_(a.x, a.P, a.H, a.v, a.R, n, m, a.t, a.Q)); }},
        {"kalman_filter", [] { return expect(0, kalman_filter(a.x, a.P, a.H, a.v, a.R, n, m)); }},
        {"filter_embed", [] { return expect(0, filter_embed(a.x, a.P, a.H, a.v, a.R, n, m, n, m)); }},
        {"kalman_filter_embed", [] { return expect(0, kalman_filter_embed(a.x, a.P, a.H, a.v, a.R, n, m)); }},
        {"smoother", [] { return expect(0, smoother(a.x, a.P, a.v, a.Q, n, a.t, a.R)); }},
        {"HelmertParameter_3D", [] { return HelmertParameter_3D(20, a.q, a.q, a.x), kNoResult; }},
        {"interpolation_Lagrange_Barycentric",
         [] { return expect(true, interpolation_Lagrange_Barycentric(a.t, a.H, 80, 0.5, a.x)); }},
        {"interpolation_multip_dimension",
         [] { return interpolation_multip_dimension(80, 3, a.t, a.H, 0.5, a.x, a.v), kNoResult; }},
        {"string_split", [] { return expect(2, string_split(text, separators, rows)); }},
        {"hex_str_to_byte", [] { return hex_str_to_byte(hex, 5, reinterpret_cast<unsigned char*>(rows)), kNoResult; }}};
    for (const auto& [name, call] : cases)
        go_through({name, [] { a.fill(); }, call, [] { return Values(a.begin(), a.end()); }});
}

// --- readers and writers -------------------------------------------------------------------------------------------------

TEST_F(Memory, ReadersOfAllFormats) {
    for (const support::Format& format : support::kFormats) {
        std::string name = support::test_file(format.file).string();
        support::Kept kept;
        go_through({format.file, [&] { kept = {}; }, [&] { return kept = format.load(name.data()), kNoResult; },
                    [&] {
                        return Values{static_cast<double>(kept.records), kept.sum};
                    },
                    false, format.may_stop});
    }
}

TEST_F(Memory, AttitudeObservationsAndLaserRanging) {
    std::string own = support::test_file("quaternion.txt").string();
    go_through({"load_attitude_quaternion", free_att_quaternion_store,
                [&] { return expect(true, load_attitude_quaternion(1, own.data())); },
                [] { return Values{static_cast<double>(g_att_qua_storage.num_object)}; }, false});
    free_att_quaternion_store();

    std::vector<OBSDATA_EPOCH> epochs(20);
    g_obs_storage = epochs.data();
    g_num_obs_storage = 0;
    load_observation_rinex(support::test_file("observation3.rnx").string().data(), 1, 0.0);
    std::string written = support::write_temp("written.rnx", "");
    go_through({"write_rinex_observation", [&] { std::filesystem::resize_file(written, 0); },
                [&] { return expect(true, write_rinex_observation(written.data(), 1, 3.05, 20, epochs.data())); },
                [&] { return Values{static_cast<double>(std::filesystem::file_size(written))}; }});

    char line[64];
    rc1 config = {};
    go_through({"read_c1", [&] { std::strcpy(line, "C1 0 las nd-yag 1064.0 10.0 30.0 200.0 20.0 1"), config = {}; },
                [&] { return expect(11, read_c1(line, &config)); }, [&] { return Values{config.prim_wavelength}; }});
}

// --- epochs and orbits -----------------------------------------------------------------------------------------------------

TEST_F(Memory, Epochs) {
    const auto demo = [](const char* file) {
        return (std::filesystem::path(LEOPOD_SOURCE_DIR) / "examples/data" / file).string();
    };
    const auto start = std::make_unique<RUNTIME_POD_EMBED>(), pod = std::make_unique<RUNTIME_POD_EMBED>();
    const auto brdc = std::make_unique<EPHBRDC_STORE>();
    std::vector<OBSDATA_EPOCH> epochs(400);
    g_brdc_storage = brdc.get();
    g_obs_storage = epochs.data();
    g_num_obs_storage = 0;
    sysGNSS systems[1] = {BDS};
    startup_pod_embed(start.get(), false);
    set_gnssconfig_system(&gnssconfig, 1, systems);
    g_eph_selection = EPHOPT_BRDC;
    ASSERT_TRUE(load_ephemeris_brdc(demo("demo_bds.nav").data()));
    ASSERT_TRUE(load_observation_rinex(demo("demo_bds.obs").data(), 0, 0.0));
    ASSERT_TRUE(load_attitude_quaternion(0, demo("demo_att_zdown.txt").data()));
    run_single_pod_embed(&epochs[0], start.get());
    ASSERT_EQ(start->sln_kine.status, SOL_OK);

    const auto prepare = [&] { *pod = *start; };
    const auto outputs = [&] {
        Values all(pod->X, pod->X + 39);
        all.insert(all.end(), pod->sln_kine.pos_vel_clk, pod->sln_kine.pos_vel_clk + 12);
        all.insert(all.end(), pod->DX, pod->DX + 39 * 39);
        all.insert(all.end(), pod->X_dyn, pod->X_dyn + 906);
        return all;
    };
    const auto position = [&] {
        return pseudorange_point_positioning(&pod->obs_epoch[0], &pod->ant_info_rcv, &pod->sln_kine);
    };
    go_through({"pseudorange_point_positioning", prepare, [&] { return expect(SOL_OK, position()); }, outputs, false});
    go_through({"run_single_pod_embed", prepare, [&] { return run_single_pod_embed(&epochs[1], pod.get()), kNoResult; },
                outputs, false});
    go_through({"pod_embed_solve_clk_offset", prepare,
                [&] { return expect(true, pod_embed_solve_clk_offset(nullptr, pod.get())); }, outputs, false});
    start->X_dyn[7] = start->DX_dyn[7 * 906 + 7] = 1.0;
    go_through(
        {"orbit_dynamic_filter", prepare, [&] { return expect(true, orbit_dynamic_filter(pod.get())); }, outputs});
}

struct Orbit : Dynamics {
    void TestBody() override {}
};

TEST_F(Memory, OrbitFit) {
    constexpr int count = 12;
    Orbit orbit;
    orbit.config->norder_gravity = 2;
    orbit.config->output_interval = 30.0;
    orbit.prepare({"A0"}, 86400.0, 540.0);
    const auto config = std::make_unique<ORBIT_DYN_CONFIG>(*orbit.config);
    const auto state = std::make_unique<STATE_SPACECRAFT>(*orbit.state);
    GTime epochs[count];
    double positions[count][3], y[6], step = 30.0;
    orbit.config->status_derivative = 0;
    convert_struct2ystate(6, orbit.config.get(), orbit.state.get(), y);
    for (int i = 0; i < count; ++i) {
        if (i > 0) IntegrateTo(orbit_derivative, 6, 45.0 * (i - 1), y, &step, 45.0 * i, nullptr);
        epochs[i] = gtimeAddSec(state->utc_start, 45.0 * i);
        std::copy_n(y, 3, positions[i]);
    }
    go_through({"orbit_fit",
                [&] {
                    *orbit.config = *config;
                    *orbit.state = *state;
                    orbit.state->pos_eci[0] += 10.0;
                },
                [&] {
                    return expect(true, orbit_fit(orbit.config.get(), orbit.state.get(), gtimeAddSec(epochs[0], 540.0),
                                                  count, epochs, positions, nullptr));
                },
                [&] { return Values(orbit.state->pos_eci, orbit.state->pos_eci + 3); }, false});
}

TEST_F(Memory, Drivers) {
    std::filesystem::current_path(support::temp_dir());
    std::string config = support::test_file("dynamics_config.cfg").string(), file = "orbit.txt";
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"test_orbit_simulation", [&] { test_orbit_simulation(config.data(), file.data()); }},
        {"test_orbit_fit", [] { test_orbit_fit(); }},
        {"test_orbit_integrate", [] { test_orbit_integrate(); }},
        {"tle_test", [] { tle_test(); }}};
    for (const auto& [name, call] : cases) {
        go_through({name, [] {}, [&c = call] { return c(), kNoResult; }, [] { return Values{}; }, true, false,
                    std::string(name) == "tle_test" ? 1 : 5});
    }
    EXPECT_FALSE(std::filesystem::exists(file));
}

}  // namespace
