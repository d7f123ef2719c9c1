#include "stores/satellites.h"

#include <algorithm>
#include <cmath>

#include "common_function.h"
#include "shared/times.h"
#include "stores/loading.h"

namespace host {

namespace {

constexpr double kDegree = 180.0 / 3.14159265358979323846;

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
        std::fprintf(out, ",%.4f,%.4f", azel[0] * kDegree, azel[1] * kDegree);
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

}  // namespace

std::string satellite_name(int satsys, int prn) {
    char name[16] = {};
    satsysprn2string(static_cast<sysGNSS>(satsys), prn % 100, name);
    return name;
}

// After its update the filter reports the residuals of all its rows; the record does not keep them.
SatelliteTable::SatelliteTable(const std::string& file, Console& console)
    : out_(file), subscription_(console.subscribe([this](ulog_level_t level, const char* text) {
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
    const int count = std::min<int>(epoch.sat_num, MAXSAT_EPOCH);
    // Places of the epoch's satellites in the filter, in the order of its rows.
    int row[MAXSAT_EPOCH];
    std::fill_n(row, static_cast<int>(MAXSAT_EPOCH), -1);
    int rows = 0;
    for (int i = 0; solved && i < std::min<int>(runtime.nsat_used_last, MAXSAT_EPOCH); ++i) {
        const int place = runtime.satlist_used_in_obsepoch_last[i];
        if (place < 0 || place >= count || epoch.satobs[place].flag_sat != OBS_OK) continue;
        const int system = get_gnssconfig_sys_index(epoch.satobs[place].satsys, &gnssconfig);
        // Only the ionosphere-free pair makes rows.
        if (system >= 0 && gnssconfig.opt_IF[system] == 1) row[place] = rows++;
    }
    const bool matched = residuals_.size() == 2 * static_cast<std::size_t>(rows);

    double blh[3];
    double receiver[3] = {runtime.sln_kine.pos_vel_clk[0], runtime.sln_kine.pos_vel_clk[1],
                          runtime.sln_kine.pos_vel_clk[2]};
    ecef2blh(receiver, blh, 6378137.0, 0.0033528106647474805);
    const std::string tag = time_text(epoch.epoch_time) + "," + mjd_sod_text(epoch.epoch_time, 3);
    for (int i = 0; i < count; ++i) {
        const OBSDATA_SAT& sat = epoch.satobs[i];
        const int satindex = satsysprn2index(sat.satsys, sat.prn);
        if (satindex < 0 || satindex >= MAXSAT_GNSS) continue;
        const bool placed = std::hypot(sat.satpos_ecf[0], sat.satpos_ecf[1], sat.satpos_ecf[2]) > 1e6;
        const bool directed = solved && placed && (sat.flag_sat == OBS_OK || sat.flag_sat == LOW_ELE);
        double local[2] = {};
        double sight[3];
        for (int c = 0; c < 3; ++c) sight[c] = sat.satpos_ecf[c] - receiver[c];
        azel(blh, sight, local);
        std::fprintf(out_, "%s,%s", tag.c_str(), satellite_name(sat.satsys, sat.prn).c_str());
        put_angle(out_, local, directed);
        put_angle(out_, sat.sat_azel, directed);

        // Ranges of the point position, in the order of the configuration.
        std::string residuals[2];
        bool gross = false;
        bool in_point = false;
        const int system = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
        int range = 0;
        for (int k = 0; system >= 0 && k < std::min<int>(gnssconfig.num_obs_freq_code[system], MAXOBS_PER_SAT); ++k) {
            if (gnssconfig.obs_type_freq_code_used[system][k].type != RANGE || range >= 2) continue;
            const int place = sat.obs_index_used[k];
            std::string& text = residuals[range++];
            if (place < 0 || place >= MAXOBS_PER_SAT || sat.flag_sat != OBS_OK || !placed) continue;
            const OBSREC& record = sat.obsdata[place];
            gross = gross || record.flag_obs == GROSS_ERROR;
            if (!solved || record.flag_obs != OBS_OK) continue;
            char number[32];
            std::snprintf(number, sizeof number, "%.4f", record.residual);
            text = number;
            in_point = true;
        }
        std::fprintf(out_, ",%s,%d,%s,%s", gross ? "GROSS_ERROR" : flag_name(sat.flag_sat), in_point ? 1 : 0,
                     residuals[0].c_str(), residuals[1].c_str());
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
