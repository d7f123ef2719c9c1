#include "commands/run_epoch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

#include "shared/times.h"
#include "stores/satellites.h"

namespace host {

namespace {

const char* status_name(STATUS_SOL status) {
    switch (status) {
        case SOL_OK:
            return "OK";
        case SOL_SPP_LACK_SAT:
            return "LACK_OF_SATELLITES";
        case SOL_ITER_EXCEED:
            return "NO_CONVERGENCE";
        case SOL_OBS_BAD:
            return "BAD_EPOCH";
        default:
            return "FAILED";
    }
}

constexpr double kUsualSigma = 0.3;  ///< of a code [m]

/// True if the satellite has a range in the point position.
bool in_point_position(const OBSDATA_SAT& sat) {
    const int system = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
    if (sat.flag_sat != OBS_OK || system < 0) return false;
    for (int k = 0; k < std::min<int>(gnssconfig.num_obs_freq_code[system], MAXOBS_PER_SAT); ++k) {
        const int place = sat.obs_index_used[k];
        if (place < 0 || place >= MAXOBS_PER_SAT) continue;
        const OBSREC& record = sat.obsdata[place];
        if (record.type == RANGE && record.flag_obs == OBS_OK) return true;
    }
    return false;
}

PointPosition point_position_of(const RUNTIME_POD_EMBED& runtime, double sigma_code) {
    PointPosition point;
    const SOLUTION& solution = runtime.sln_kine;
    point.time = runtime.time_now;
    std::copy_n(solution.pos_vel_clk, 3, point.position.begin());
    point.sigma = solution.sigma * sigma_code / kUsualSigma;  // the library weighs by 0.3 m
    point.dilution =
        std::sqrt(std::sqrt(3.0) * solution.gdop);  // at most: the library sums the squares of the variances
    std::array<bool, MAXNUM_SYS> systems{};
    const OBSDATA_EPOCH& epoch = runtime.obs_epoch[0];
    for (int i = 0; i < std::min<int>(epoch.sat_num, MAXSAT_EPOCH); ++i) {
        const OBSDATA_SAT& sat = epoch.satobs[i];
        if (!in_point_position(sat)) continue;
        ++point.satellites;
        point.has_clock = point.has_clock || sat.satsys == gnssconfig.sys_used[0];
        systems[static_cast<std::size_t>(get_gnssconfig_sys_index(sat.satsys, &gnssconfig))] = true;
        point.seen = point.seen && !behind_earth(point.position.data(), sat.satpos_ecf);
    }
    point.systems = static_cast<int>(std::count(systems.begin(), systems.end(), true));
    return point;
}

/// Hides the quaternions for an epoch that they don't serve: the library would take zeros outside of them, and its filter the last it had.
class NoAttitude {
  public:
    NoAttitude(const AttitudeGuard& guard, RUNTIME_POD_EMBED& runtime, RunEpoch& epoch)
        : objects_(g_att_qua_storage.num_object) {
        epoch.without_attitude = guard.loaded() && !guard.serves(epoch.tag);
        if (!epoch.without_attitude) return;
        g_att_qua_storage.num_object = 0;
        runtime.att_rcv = ATT_QUATERNION{};
    }
    ~NoAttitude() { g_att_qua_storage.num_object = objects_; }
    NoAttitude(const NoAttitude&) = delete;
    NoAttitude& operator=(const NoAttitude&) = delete;

  private:
    int objects_;
};

int configured_systems() { return std::min<int>(gnssconfig.num_sys, MAXNUM_SYS); }

}  // namespace

std::string system_name(int index) {
    char name[16] = {};
    sysGNSSAsString(gnssconfig.sys_used[index], name);
    return name;
}

RunEpoch EpochRunner::process(OBSDATA_EPOCH& observations) {
    RunEpoch epoch;
    epoch.tag = observations.epoch_time;
    if (observations.flag_epoch != OBS_OK) {
        epoch.status = "BAD_EPOCH";
        return epoch;
    }
    Served served = guard_.set_aside(observations);
    const int suspects = leave_out_suspects(observations);
    served.usable -= suspects;
    served.aside += suspects;
    if (served.usable == 0) {
        epoch.status = served.aside > 0 ? "TOO_FEW_SERVED" : "NO_USABLE_SATELLITE";
        return epoch;
    }
    const NoAttitude hidden(attitude_, runtime_, epoch);
    if (filter_judge_.pauses_before(epoch.tag)) runtime_.nsat_used_last = 0;  // all ambiguities start anew
    before_.save(runtime_);
    PointPosition point;
    run(observations, epoch, point);
    if ((epoch.solved && point.sigma <= kSmallSigma) || without_misfit(observations, epoch, point)) {
        point_judge_.accept(point);
        take_solution(epoch, point);
    } else if (runtime_.sln_kine.status == SOL_SPP_LACK_SAT && served.aside > 0) {
        epoch.status = "TOO_FEW_SERVED";
    } else if (runtime_.sln_kine.status == SOL_SPP_LACK_SAT && epoch.without_attitude) {
        epoch.status = "NO_ATTITUDE";
    }
    if (!epoch.solved && !epoch.without_attitude) {
        const OBSDATA_EPOCH& seen = runtime_.obs_epoch[0];
        for (int i = 0; i < std::min<int>(seen.sat_num, MAXSAT_EPOCH); ++i)
            epoch.under_mask |= seen.satobs[i].flag_sat == LOW_ELE;
    }
    return epoch;
}

/// Hands the epoch to the library and judges the point position.
void EpochRunner::run(OBSDATA_EPOCH& observations, RunEpoch& epoch, PointPosition& point) {
    const SlipWatch watch(runtime_);
    run_single_pod_embed(&observations, &runtime_);
    epoch.processed = true;
    epoch.slips = watch.marks(runtime_);
    epoch.status = status_name(runtime_.sln_kine.status);
    epoch.satellites = runtime_.sln_kine.nsat;
    if (runtime_.sln_kine.status != SOL_OK) return;
    point = point_position_of(runtime_, sigma_code_);
    // With every range flagged the solver has nothing to correct and stays where it starts.
    const bool at_start = std::hypot(point.position[0], point.position[1], point.position[2]) < 1000.0;
    const char* fault = at_start ? "NO_POSITION" : point_judge_.fault(point);
    epoch.solved = fault == nullptr;
    if (!epoch.solved) epoch.status = fault;
}

int EpochRunner::leave_out_suspects(OBSDATA_EPOCH& observations) {
    int count = 0;
    for (int i = 0; i < std::min<int>(observations.sat_num, MAXSAT_EPOCH); ++i) {
        OBSDATA_SAT& sat = observations.satobs[i];
        if (sat.flag_sat != OBS_OK || !suspects_.holds(sat, observations.epoch_time)) continue;
        sat.flag_sat = SAT_NOT_USED;
        guard_.count(sat, Lack::kSuspect);
        ++count;
    }
    return count;
}

/// An epoch that went wrong must not move the filter. Where one satellite is to blame, the epoch is run again without it; so it is where the
/// residuals are large but usual.
bool EpochRunner::without_misfit(OBSDATA_EPOCH& observations, RunEpoch& epoch, PointPosition& point) {
    if (runtime_.sln_kine.status != SOL_OK) return false;
    const char* fault = epoch.status;
    const int place =
        find_misfit(observations, runtime_.ant_info_rcv, point_judge_.usual_sigma() * kUsualSigma / sigma_code_);
    if (place < 0 && epoch.solved) return true;
    before_.restore(runtime_);
    if (place >= 0) {
        OBSDATA_SAT& sat = observations.satobs[place];
        sat.flag_sat = SAT_NOT_USED;
        run(observations, epoch, point);
        if (epoch.solved) {
            guard_.count(sat, Lack::kMisfit);
            suspects_.add(sat, observations.epoch_time);
            return true;
        }
        before_.restore(runtime_);
    }
    point_judge_.refuse(point);
    epoch.status = fault;
    return false;
}

/// Satellites of the filter whose ambiguity goes on from the last epoch.
int EpochRunner::carried_satellites() {
    std::bitset<MAXSAT_GNSS> now;
    int carried = 0;
    for (int i = 0; i < std::min<int>(runtime_.nsat_used_last, MAXSAT_EPOCH); ++i) {
        const int place = runtime_.satlist_used_in_obsepoch_last[i];
        const int satindex = runtime_.satlist_satindex_last[i];
        if (place < 0 || place >= MAXSAT_EPOCH || satindex < 0 || satindex >= MAXSAT_GNSS) continue;
        if (runtime_.obs_epoch[0].satobs[place].flag_sat != OBS_OK) continue;
        now.set(static_cast<std::size_t>(satindex));
        carried +=
            in_filter_.test(static_cast<std::size_t>(satindex)) && runtime_.state_sat_all[satindex].flag_slip[0] == 0;
    }
    in_filter_ = now;
    return carried;
}

void EpochRunner::take_solution(RunEpoch& epoch, const PointPosition& point) {
    epoch.filter_status = filter_judge_.status(point, runtime_.X, carried_satellites());
    if (std::string(epoch.filter_status) == "FAR_FROM_POINT") runtime_.nsat_used_last = 0;  // to start anew
    const SOLUTION& solution = runtime_.sln_kine;
    epoch.sigma = solution.sigma;
    epoch.gdop = solution.gdop;
    epoch.received = point.time;
    std::copy_n(solution.pos_vel_clk, 3, epoch.point);
    std::copy_n(runtime_.X, 3, epoch.filter);
    for (int i = 0, k = 0; i < 3; ++i) {
        for (int j = i; j < 3; ++j) epoch.filter_covariance[k++] = runtime_.DX[i * MAXNUM_X + j];
    }
    const int systems = configured_systems();
    std::copy_n(solution.pos_vel_clk + 6, systems, epoch.point_clock);
    std::copy_n(runtime_.X + 6, systems, epoch.filter_clock);
    for (int i = 6 + systems; i < MAXNUM_X; ++i) epoch.ambiguities += runtime_.DX[i * MAXNUM_X + i] > 0.0;
    epoch.tracked = static_cast<int>(in_filter_.count());
    epoch.has_orbit = runtime_.num_orb_store > 0;
    if (epoch.has_orbit) epoch.newest = runtime_.dataset_orbit[0];
}

EpochTable::EpochTable(const std::string& file) : out_(file), systems_(configured_systems()) {
    std::fprintf(out_, "epoch_gpst,mjd_gpst,sod_gpst,status,x_ecef_m,y_ecef_m,z_ecef_m");
    for (int j = 0; j < systems_; ++j) std::fprintf(out_, ",clock_%s_m", system_name(j).c_str());
    std::fprintf(
        out_, ",satellites,sigma_m,gdop,receive_gpst,receive_sod_gpst,filter_x_ecef_m,filter_y_ecef_m,filter_z_ecef_m");
    for (int j = 0; j < systems_; ++j) std::fprintf(out_, ",filter_clock_%s_m", system_name(j).c_str());
    std::fprintf(
        out_,
        ",ambiguities,slips,stored_gpst,stored_x_ecef_m,stored_y_ecef_m,stored_z_ecef_m,filter_status"
        ",filter_cov_xx_m2,filter_cov_xy_m2,filter_cov_xz_m2,filter_cov_yy_m2,filter_cov_yz_m2,filter_cov_zz_m2\n");
}

void EpochTable::add(const RunEpoch& e) {
    std::fprintf(out_, "%s,%s,%s", time_text(e.tag).c_str(), mjd_sod_text(e.tag, 3).c_str(), e.status);
    if (e.solved) {
        add_solution(e);
    } else {
        for (int j = 0; j < 3 + systems_; ++j) std::fprintf(out_, ",");
        std::fprintf(out_, ",%d", e.satellites);
        for (int j = 0; j < 4 + 3 + systems_ + 6; ++j) std::fprintf(out_, ",");
    }
    std::fprintf(out_, ",%s", e.filter_status);
    for (const double c : e.filter_covariance) {
        if (e.solved) {
            std::fprintf(out_, ",%.4e", c);
        } else {
            std::fprintf(out_, ",");
        }
    }
    std::fprintf(out_, "\n");
}

void EpochTable::add_solution(const RunEpoch& e) {
    std::fprintf(out_, ",%.4f,%.4f,%.4f", e.point[0], e.point[1], e.point[2]);
    for (int j = 0; j < systems_; ++j) std::fprintf(out_, ",%.4f", e.point_clock[j]);
    std::fprintf(out_, ",%d,%.4f,%.4f,%s,%s", e.satellites, e.sigma, e.gdop, time_text(e.received, 9).c_str(),
                 seconds_text(e.received, rounded_mjd(e.tag, 3), 9).c_str());
    std::fprintf(out_, ",%.4f,%.4f,%.4f", e.filter[0], e.filter[1], e.filter[2]);
    for (int j = 0; j < systems_; ++j) std::fprintf(out_, ",%.4f", e.filter_clock[j]);
    std::fprintf(out_, ",%d,", e.ambiguities);
    for (std::size_t i = 0; i < e.slips.size(); ++i) {
        std::fprintf(out_, "%s%s:%s", i != 0 ? " " : "", satellite_name(e.slips[i].satsys, e.slips[i].prn).c_str(),
                     e.slips[i].melbourne_wuebbena ? "MW" : "GF");
    }
    if (e.has_orbit) {
        std::fprintf(out_, ",%s,%.4f,%.4f,%.4f", time_text(e.newest.epoch_gpst, 9).c_str(), e.newest.pos_ecf[0],
                     e.newest.pos_ecf[1], e.newest.pos_ecf[2]);
    } else {
        std::fprintf(out_, ",,,,");
    }
}

}  // namespace host
