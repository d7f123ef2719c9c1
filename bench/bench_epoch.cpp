// The whole epoch loop for 9 and for 15 satellites against the parts that it cannot do without, each measured alone: the point position with
// its satellite positions, and one filter update. Then split by stage: a stage stands beside the whole epoch of the same run, and the ratio
// is its share.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstring>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "earth_gravity.h"
#include "mathlib.h"
#include "measure.h"
#include "pod_embed.h"

#ifdef HAVE_ERFA
#include <erfa.h>
#endif

namespace {

using bench::make_zeroed;
using bench::Owned;
using bench::processor_time;

enum Stage { kSelection, kAttitude, kPointPosition, kSlips, kAmbiguities, kModel, kFilter, kStores, kWhole, kStages };
constexpr std::array<const char*, kStages> kNames = {
    "selection", "attitude", "point position", "slips and combinations", "ambiguity transfer", "zero-difference model",
    "filter",    "stores",   "whole epoch"};
using Times = std::array<double, kStages>;  ///< [s]

Owned<RUNTIME_POD_EMBED> runtime = make_zeroed<RUNTIME_POD_EMBED>();
Owned<RUNTIME_POD_EMBED> loaded = make_zeroed<RUNTIME_POD_EMBED>();  ///< the runtime before its first epoch
Owned<OBSDATA_EPOCH> epochs = make_zeroed<OBSDATA_EPOCH>(400);
Owned<EOPREC> eops = make_zeroed<EOPREC>(3);
Owned<EPH_HEADER_JPL> header = make_zeroed<EPH_HEADER_JPL>();
Owned<EPH_RECORD_JPL> record = make_zeroed<EPH_RECORD_JPL>();

bool load() {
    initialize_global_earth_gravity();
    initialize_global_eph_planet();
    initialize_global_earth_rotation_param();
    load_eops_default(eops.get(), 3);
    load_eph_storage_default(header.get(), record.get());
    g_eph_header = header.get();
    g_ephData_storage = record.get();
    sysGNSS systems[2] = {GPS, BDS};
    set_gnssconfig_system(&gnssconfig, 2, systems);
    g_brdc_storage = &runtime->brdc_storage;
    g_obs_storage = epochs.get();
    const auto file = [](const char* name, const char* short_arc) {
        return bench::file_or(std::string("leo_sim/") + name, std::string("tests/arc21/") + short_arc);
    };
    const bool ok = load_ephemeris_brdc(file("dev21_tgd0.nav", "arc.nav").data()) &&
                    load_attitude_quaternion(0, file("dev21_att_zup.txt", "attitude.txt").data()) &&
                    load_observation_rinex(file("dev21_gc.obs", "both.obs").data(), 0, 0.0);
    *loaded = *runtime;
    return ok;
}

/// Every pass starts with no states of satellites left from the one before.
void start_pass() {
    *runtime = *loaded;
    startup_pod_embed(runtime.get(), true);
}

class Clock {
  public:
    explicit Clock(Times& times) : times_(times) {}
    void end(Stage stage) {
        const auto now = std::chrono::steady_clock::now();
        times_[stage] += std::chrono::duration<double>(now - last_).count();
        last_ = std::chrono::steady_clock::now();
    }

  private:
    Times& times_;
    std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

/// What the filter update of an epoch starts from.
struct FilterStart {
    OBSDATA_EPOCH epoch;
    std::array<double, MAXNUM_X> X;
    std::array<double, MAXNUM_X * MAXNUM_X> DX;
    std::array<int, MAXSAT_EPOCH> satellites, indices;
    std::array<PARAM_TYPE, MAXNUM_X> types;
    std::array<int, MAXNUM_X> slots;
    int nsat_used, num_param;
    GTime time_now;
    ATT_QUATERNION att_rcv;
};

/// The epochs before their point position, and before their filter update.
struct Starts {
    std::vector<OBSDATA_EPOCH> point;
    std::vector<FilterStart> filter;
};

FilterStart filter_start(const RUNTIME_POD_EMBED& pod) {
    FilterStart s{};
    s.epoch = pod.obs_epoch[0];
    std::copy_n(pod.X, MAXNUM_X, s.X.data());
    std::copy_n(pod.DX, MAXNUM_X * MAXNUM_X, s.DX.data());
    std::copy_n(pod.satlist_used_in_obsepoch, MAXSAT_EPOCH, s.satellites.data());
    std::copy_n(pod.satlist_satindex_now, MAXSAT_EPOCH, s.indices.data());
    std::copy_n(pod.param_list, MAXNUM_X, s.types.data());
    std::copy_n(pod.index_param_X, MAXNUM_X, s.slots.data());
    s.nsat_used = pod.nsat_used;
    s.num_param = pod.num_param;
    s.time_now = pod.time_now;
    s.att_rcv = pod.att_rcv;
    return s;
}

void restore(const FilterStart& s, RUNTIME_POD_EMBED& pod) {
    pod.obs_epoch[0] = s.epoch;
    std::copy_n(s.X.data(), MAXNUM_X, pod.X);
    std::copy_n(s.DX.data(), MAXNUM_X * MAXNUM_X, pod.DX);
    std::copy_n(s.satellites.data(), MAXSAT_EPOCH, pod.satlist_used_in_obsepoch);
    std::copy_n(s.indices.data(), MAXSAT_EPOCH, pod.satlist_satindex_now);
    std::copy_n(s.types.data(), MAXNUM_X, pod.param_list);
    std::copy_n(s.slots.data(), MAXNUM_X, pod.index_param_X);
    pod.nsat_used = s.nsat_used;
    pod.num_param = s.num_param;
    pod.time_now = s.time_now;
    pod.att_rcv = s.att_rcv;
}

/// The steps of run_single_pod_embed one by one, without its log texts.
bool run_by_stage(OBSDATA_EPOCH& epoch, std::vector<double>& H, std::vector<double>& R, std::vector<double>& V,
                  Times& times, Starts* starts = nullptr) {
    RUNTIME_POD_EMBED* pod = runtime.get();
    Clock clock(times);
    update_gnss_observation(&epoch, pod);
    OBSDATA_EPOCH* now = &pod->obs_epoch[0];
    choose_observation(now);
    pod->nsat_used = choose_satellite(now, pod->satlist_used_in_obsepoch, pod->satlist_satindex_now);
    clock.end(kSelection);
    get_att_quaternion(pod->index_object, now->epoch_time, &pod->att_rcv);
    clock.end(kAttitude);
    if (starts != nullptr) starts->point.push_back(*now);
    if (pseudorange_point_positioning(now, &pod->ant_info_rcv, &pod->sln_kine) != SOL_OK) return false;
    pod->time_now =
        gtimeChangeTimeSystem(gtimeAddSec(now->epoch_time, -pod->sln_kine.pos_vel_clk[6] / 299792458.0), tsGPST);
    clock.end(kPointPosition);
    get_gf_mw(now, &gnssconfig, pod->state_sat_all);
    clock.end(kSlips);
    update_temperal_clock_solution(pod);
    clock.end(kAmbiguities);
    if (starts != nullptr) starts->filter.push_back(filter_start(*pod));
    std::fill(H.begin(), H.end(), 0.0);
    std::fill(R.begin(), R.end(), 0.0);
    std::fill(V.begin(), V.end(), 0.0);
    update_measurement_clock_solution(pod, H.data(), R.data(), V.data(), 150, 39);
    clock.end(kModel);
    kalman_filter(pod->X, pod->DX, H.data(), V.data(), R.data(), 39, 150);
    clock.end(kFilter);
    update_measurement_clock_solution(pod, H.data(), R.data(), V.data(), 150, 39);
    clock.end(kModel);
    for (int i = 0; i < MAXNUM_X; ++i) {
        if (std::find(pod->index_param_X, pod->index_param_X + pod->num_param, i) !=
            pod->index_param_X + pod->num_param)
            continue;
        pod->X[i] = 0.0;
        for (int j = 0; j < MAXNUM_X; ++j) pod->DX[i * MAXNUM_X + j] = pod->DX[j * MAXNUM_X + i] = 0.0;
    }
    store_data_orbit(pod);
    store_data_clock(pod);
    pod->nsat_used_last = pod->nsat_used;
    std::copy_n(pod->satlist_satindex_now, 15, pod->satlist_satindex_last);
    std::fill_n(pod->satlist_satindex_now, 15, -1);
    std::fill_n(pod->index_param_X, 39, -1);
    pod->num_param = 0;
    clock.end(kStores);
    return true;
}

/// Seconds of each stage in an average epoch with so many satellites; the fastest of several passes.
Times measure(int satellites) {
    Times best;
    best.fill(1e9);
    std::vector<double> H(150 * 39), R(150 * 150), V(150);
    for (int pass = 0; pass < 5; ++pass) {
        Times times{};
        start_pass();
        for (int i = 0; i < g_num_obs_storage; ++i) {
            OBSDATA_EPOCH epoch = g_obs_storage[i];
            epoch.sat_num = std::min(epoch.sat_num, satellites);
            run_by_stage(epoch, H, R, V, times);
        }
        const double last_by_stage = runtime->dataset_orbit[0].pos_ecf[0];
        start_pass();
        const double start = processor_time();
        for (int i = 0; i < g_num_obs_storage; ++i) {
            OBSDATA_EPOCH epoch = g_obs_storage[i];
            epoch.sat_num = std::min(epoch.sat_num, satellites);
            run_single_pod_embed(&epoch, runtime.get());
        }
        times[kWhole] = processor_time() - start;
        if (runtime->dataset_orbit[0].pos_ecf[0] != last_by_stage)
            std::fprintf(stderr, "the two runs end in different positions\n");
        for (int s = 0; s < kStages; ++s) best[s] = std::min(best[s], times[s] / g_num_obs_storage);
    }
    return best;
}

OBSDATA_EPOCH observed(int i, int satellites) {
    OBSDATA_EPOCH epoch = g_obs_storage[i];
    epoch.sat_num = std::min(epoch.sat_num, satellites);
    return epoch;
}

/// Time of an average epoch of the whole loop, of run_single_pod_embed alone.
double whole_epoch(int satellites) {
    start_pass();
    double seconds = 0.0;
    for (int i = 0; i < g_num_obs_storage; ++i) {
        OBSDATA_EPOCH epoch = observed(i, satellites);
        const double start = processor_time();
        run_single_pod_embed(&epoch, runtime.get());
        seconds += processor_time() - start;
    }
    return seconds / g_num_obs_storage;
}

/// The parts of an average epoch, each run over all epochs by itself.
struct Parts {
    double positions = 0.0;  ///< satellite positions at the transmission times; within the point position
    double point = 0.0;      ///< point position
    double filter = 0.0;     ///< one evaluation of the model, one update
};

Parts parts_of_epoch(const Starts& starts) {
    RUNTIME_POD_EMBED* pod = runtime.get();
    static double H[30 * MAXNUM_X], R[30 * 30], V[30];
    Parts parts;
    for (const OBSDATA_EPOCH& from : starts.point) {
        OBSDATA_EPOCH epoch = from;
        double start = processor_time();
        benchmark::DoNotOptimize(pseudorange_point_positioning(&epoch, &pod->ant_info_rcv, &pod->sln_kine));
        parts.point += processor_time() - start;
        double station[3] = {}, posvel[6] = {}, clock[2] = {}, tgd = 0.0;
        start = processor_time();
        for (int i = 0; i < epoch.sat_num; ++i) {
            const OBSDATA_SAT& sat = epoch.satobs[i];
            if (sat.flag_sat != OBS_OK) continue;
            const int index = satsysprn2index(sat.satsys, sat.prn);
            benchmark::DoNotOptimize(propagation_time_use_range(epoch.epoch_time, index, sat.obsdata[0].value, station,
                                                                posvel, clock, &tgd));
        }
        parts.positions += processor_time() - start;
    }
    for (const FilterStart& from : starts.filter) {
        restore(from, *pod);
        std::fill(std::begin(H), std::end(H), 0.0);
        std::fill(std::begin(R), std::end(R), 0.0);
        const double start = processor_time();
        benchmark::DoNotOptimize(update_measurement_clock_solution(pod, H, R, V, 30, MAXNUM_X));
        benchmark::DoNotOptimize(kalman_filter(pod->X, pod->DX, H, V, R, MAXNUM_X, 30));
        parts.filter += processor_time() - start;
    }
    const double n = static_cast<double>(starts.point.size());
    return {parts.positions / n, parts.point / n, parts.filter / n};
}

/// The unit of a frame: one call of eraC2i06a, the fastest of several hundred; 0 without the library.
double frame_unit() {
    double best = 0.0;
#ifdef HAVE_ERFA
    for (int i = 0; i < 500; ++i) {
        double matrix[3][3];
        const auto start = std::chrono::steady_clock::now();
        eraC2i06a(2400000.5, 59232.0 + 0.001 * i, matrix);
        benchmark::DoNotOptimize(matrix);
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        best = i == 0 ? seconds : std::min(best, seconds);
    }
#endif
    return best;
}

void report_time(benchmark::State& state, double seconds) {
    for (auto _ : state) state.SetIterationTime(seconds);
}

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (!load()) {
        std::fprintf(stderr, "the simulated arc could not be read\n");
        return 1;
    }
    static std::array<Starts, 2> starts;
    int which = 0;
    for (int satellites : {9, 15}) {
        Starts* const own = &starts[static_cast<std::size_t>(which++)];
        Times unused{};
        std::vector<double> H(150 * 39), R(150 * 150), V(150);
        start_pass();
        for (int i = 0; i < g_num_obs_storage; ++i) {
            OBSDATA_EPOCH epoch = observed(i, satellites);
            run_by_stage(epoch, H, R, V, unused, own);
        }
        const auto add = [satellites](const char* name, const std::function<double()>& seconds) {
            benchmark::RegisterBenchmark(("epoch of " + std::to_string(satellites) + " satellites" + name).c_str(),
                                         [seconds](benchmark::State& st) {
                                             for (auto _ : st) st.SetIterationTime(seconds());
                                         })
                ->UseManualTime()
                ->Iterations(3)
                ->Unit(benchmark::kMicrosecond);
        };
        add(" against its parts alone/leopod", [satellites] { return whole_epoch(satellites); });
        add(" against its parts alone/limit", [own] {
            const Parts parts = parts_of_epoch(*own);
            return parts.point + parts.filter;
        });
        add(", satellite positions within the point position/leopod", [own] { return parts_of_epoch(*own).positions; });
        add(", satellite positions within the point position/limit", [own] { return parts_of_epoch(*own).point; });
    }
    const double unit = frame_unit();
    for (int satellites : {9, 15}) {
        const Times times = measure(satellites);
        for (const Stage stage : {kWhole, kModel}) {
            if (unit == 0.0) continue;
            const std::string name =
                "epoch of " + std::to_string(satellites) + " satellites, " + kNames[stage] + ", against eraC2i06a";
            for (const auto& [who, seconds] : {std::pair{"/leopod", times[stage]}, std::pair{"/peer", unit}}) {
                benchmark::RegisterBenchmark((name + who).c_str(),
                                             [s = seconds](benchmark::State& st) { report_time(st, s); })
                    ->UseManualTime()
                    ->Iterations(1)
                    ->Unit(benchmark::kMicrosecond);
            }
        }
        for (int s = 0; s < kStages; ++s) {
            const std::string name = "epoch of " + std::to_string(satellites) + " satellites, " + kNames[s];
            const double whole = times[kWhole];
            const double stage = times[s];
            benchmark::RegisterBenchmark((name + "/leopod").c_str(),
                                         [stage](benchmark::State& st) { report_time(st, stage); })
                ->UseManualTime()
                ->Iterations(1)
                ->Unit(benchmark::kMicrosecond);
            if (s == kWhole) continue;
            benchmark::RegisterBenchmark((name + "/whole").c_str(),
                                         [whole](benchmark::State& st) { report_time(st, whole); })
                ->UseManualTime()
                ->Iterations(1)
                ->Unit(benchmark::kMicrosecond);
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
