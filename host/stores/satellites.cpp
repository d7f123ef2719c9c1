#include "stores/satellites.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "common_function.h"
#include "shared/earth.h"
#include "shared/times.h"
#include "stores/loading.h"

namespace host {

namespace {

const char* flag_name(int flag) {
    switch (flag) {
        case OBS_OK:
            return "OK";
        case LOW_ELE:
            return "LOW_ELEVATION";
        case SATPOS_ERROR:
            return "NO_EPHEMERIS";
        case SAT_UKN:
            return "UNKNOWN_SATELLITE";
        default:
            return "NOT_USED";
    }
}

void put_angle(FILE* out, const double* azel, bool known) {
    if (known) {
        std::fprintf(out, ",%.4f,%.4f", azel[0] * kRadToDeg, azel[1] * kRadToDeg);
    } else {
        std::fprintf(out, ",,");
    }
}

/// Kinds of slip that were marked for a satellite, "NEW" at its first appearance.
std::string slip_text(const OBSDATA_SAT& sat, bool first, const std::vector<SlipMark>& slips) {
    if (first) return "NEW";
    bool kinds[2] = {};
    for (const SlipMark& slip : slips) {
        if (slip.satsys == sat.satsys && slip.prn == sat.prn) kinds[slip.melbourne_wuebbena ? 0 : 1] = true;
    }
    return std::string(kinds[0] ? "MW" : "") + (kinds[0] && kinds[1] ? "+" : "") + (kinds[1] ? "GF" : "");
}

bool is_placed(const OBSDATA_SAT& sat) {
    return std::hypot(sat.satpos_ecf[0], sat.satpos_ecf[1], sat.satpos_ecf[2]) > 1e6;
}

/// Rows of the epoch's satellites in the filter, in the filter's order; -1: not in it.
std::vector<int> filter_rows(const RUNTIME_POD_EMBED& runtime, bool solved) {
    const OBSDATA_EPOCH& epoch = runtime.obs_epoch[0];
    const int count = std::clamp<int>(epoch.sat_num, 0, MAXSAT_EPOCH);
    std::vector<int> row(static_cast<std::size_t>(count), -1);
    int rows = 0;
    for (int i = 0; solved && i < std::min<int>(runtime.nsat_used_last, MAXSAT_EPOCH); ++i) {
        const int place = runtime.satlist_used_in_obsepoch_last[i];
        if (place < 0 || place >= count || epoch.satobs[place].flag_sat != OBS_OK) continue;
        const int system = get_gnssconfig_sys_index(epoch.satobs[place].satsys, &gnssconfig);
        // Only the ionosphere-free pair makes rows.
        if (system >= 0 && gnssconfig.opt_IF[system] == 1) row[static_cast<std::size_t>(place)] = rows++;
    }
    return row;
}

/// The receiver, from which satellites have azimuth and elevation.
class Place {
  public:
    explicit Place(const double* position) {
        std::copy_n(position, 3, receiver_);
        blh_ = geodetic(position);
    }
    std::array<double, 2> direction(const OBSDATA_SAT& sat) {
        std::array<double, 2> local{};
        double sight[3];
        for (int c = 0; c < 3; ++c) sight[c] = sat.satpos_ecf[c] - receiver_[c];
        azel(blh_.data(), sight, local.data());
        return local;
    }

  private:
    double receiver_[3];
    std::array<double, 3> blh_{};
};

/// Ranges of a satellite in the point position, in the order of the configuration.
struct Ranges {
    std::string residual[2];
    bool gross = false, used = false;

    Ranges(const OBSDATA_SAT& sat, bool solved) {
        const int system = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
        int range = 0;
        for (int k = 0; system >= 0 && k < std::min<int>(gnssconfig.num_obs_freq_code[system], MAXOBS_PER_SAT); ++k) {
            if (gnssconfig.obs_type_freq_code_used[system][k].type != RANGE || range >= 2) continue;
            const int place = sat.obs_index_used[k];
            std::string& text = residual[range++];
            if (place < 0 || place >= MAXOBS_PER_SAT || sat.flag_sat != OBS_OK || !is_placed(sat)) continue;
            const OBSREC& record = sat.obsdata[place];
            gross = gross || record.flag_obs == GROSS_ERROR;
            if (!solved || record.flag_obs != OBS_OK) continue;
            char number[32];
            std::snprintf(number, sizeof number, "%.4f", record.residual);
            text = number;
            used = true;
        }
    }
};

}  // namespace

std::string satellite_name(int satsys, int prn) {
    char name[16] = {};
    satsysprn2string(static_cast<sysGNSS>(satsys), prn % 100, name);
    return name;
}

// After its update the filter reports the residuals of all its rows; the record does not keep them.
SatelliteTable::SatelliteTable(const std::string& file, Console& console)
    : out_(file), subscription_(console.subscribe(ULOG_DEBUG_LEVEL, [this](ulog_level_t level, const char* text) {
          read_filter_residuals(level, text, residuals_);
      })) {
    std::fprintf(
        out_,
        "epoch_gpst,mjd_gpst,sod_gpst,satellite,azimuth_deg,elevation_deg,antenna_azimuth_deg,antenna_elevation_"
        "deg,status,used_point,range1_residual_m,range2_residual_m,used_filter,slip,code_if_residual_m,"
        "phase_if_residual_m\n");
}

void SatelliteTable::add(const RUNTIME_POD_EMBED& runtime, bool solved, const std::vector<SlipMark>& slips) {
    const OBSDATA_EPOCH& epoch = runtime.obs_epoch[0];
    const std::vector<int> row = filter_rows(runtime, solved);
    const auto rows = static_cast<std::size_t>(std::count_if(row.begin(), row.end(), [](int r) { return r >= 0; }));
    const bool matched = residuals_.size() == 2 * rows;
    Place place(runtime.sln_kine.pos_vel_clk);
    const std::string tag = time_text(epoch.epoch_time) + "," + mjd_sod_text(epoch.epoch_time, 3);
    for (std::size_t i = 0; i < row.size(); ++i) {
        const OBSDATA_SAT& sat = epoch.satobs[i];
        const int satindex = satsysprn2index(sat.satsys, sat.prn);
        if (satindex < 0 || satindex >= MAXSAT_GNSS) continue;
        const bool directed = solved && is_placed(sat) && (sat.flag_sat == OBS_OK || sat.flag_sat == LOW_ELE);
        std::fprintf(out_, "%s,%s", tag.c_str(), satellite_name(sat.satsys, sat.prn).c_str());
        put_angle(out_, place.direction(sat).data(), directed);
        put_angle(out_, sat.sat_azel, directed);
        const Ranges ranges(sat, solved);
        std::fprintf(out_, ",%s,%d,%s,%s", ranges.gross ? "GROSS_ERROR" : flag_name(sat.flag_sat), ranges.used ? 1 : 0,
                     ranges.residual[0].c_str(), ranges.residual[1].c_str());
        const bool in_filter = row[i] >= 0;
        std::fprintf(out_, ",%d,%s", in_filter ? 1 : 0,
                     in_filter ? slip_text(sat, !seen_[satindex], slips).c_str() : "");
        if (in_filter && matched) {
            const std::size_t k = 2 * static_cast<std::size_t>(row[i]);
            std::fprintf(out_, ",%.5f,%.5f\n", residuals_[k], residuals_[k + 1]);
        } else {
            std::fprintf(out_, ",,\n");
        }
        seen_[satindex] = seen_[satindex] || in_filter;
    }
    residuals_.clear();
}

}  // namespace host
