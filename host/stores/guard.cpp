#include "stores/guard.h"

#include <algorithm>
#include <cmath>

#include "gnss_config.h"
#include "mathlib.h"
#include "stores/orbit_nodes.h"

namespace host {

namespace {

constexpr int kOrbitHalf = 5, kClockHalf = 2;  ///< records on either side that the library asks for
constexpr int kOrbitRecords = 2 * kOrbitHalf + 1;
constexpr double kShortestPosition = 0.001;  ///< shorter positions are gaps of the product [m]

bool usable(const EPHREC_PRE& record) {
    const double* p = record.pos_ecf;
    return p[0] * p[0] + p[1] * p[1] + p[2] * p[2] >= kShortestPosition * kShortestPosition;
}
bool usable(const CLKREC_PRE& record) { return record.ok; }

/// Seconds to the usable records that the library interpolates through, as its search finds the closest one; in order of time.
template <typename Record, int kHalf>
struct Window {
    std::array<double, 2 * kHalf + 2> seconds;
    int count = 0;

    Window(const Record* row, int size, int closest, const GTime& time) {
        int last = closest;
        int found = 0;
        for (; found < kHalf && last < size - 1; ++last) found += usable(row[last]);
        const int before = 2 * kHalf - found;
        int first = closest;
        for (found = 0; found < before && first > 0; --first) found += usable(row[first]);
        for (int i = first; i <= last && count < static_cast<int>(seconds.size()); ++i) {
            if (usable(row[i])) seconds[static_cast<std::size_t>(count++)] = gtimeSubSec(row[i].time, time);
        }
    }
    double at(int i) const { return seconds[static_cast<std::size_t>(i)]; }
    bool surrounds() const { return count > 0 && at(0) <= 0.0 && at(count - 1) >= 0.0; }
};

Lack orbit_lack(const GTime& time, int satindex, const GTime& start) {
    EPHREC_PRE* row = g_prec_storage->eph_pre_all[satindex];
    const int size = g_prec_storage->idx_eph[satindex];
    if (size <= 0) return Lack::kNoOrbit;
    const Window<EPHREC_PRE, kOrbitHalf> window(row, size, find_closest_eph_prec(row, size, time), time);
    const bool served =
        window.surrounds() && gtimeSubSec(time, start) >= 0.0 &&
        polynomial_error(window.seconds.data(), static_cast<std::size_t>(window.count)) <= kOrbitErrorLimit;
    return served ? Lack::kNone : Lack::kOrbitWindow;
}

Lack clock_lack(const GTime& time, int satindex, double gap) {
    CLKREC_PRE* row = g_prec_storage->clk_pre_all[satindex];
    const int size = g_prec_storage->idx_clk[satindex];
    if (std::none_of(row, row + size, [](const CLKREC_PRE& record) { return record.ok; })) return Lack::kNoClock;
    const Window<CLKREC_PRE, kClockHalf> window(row, size, find_closest_clk_prec(row, size, time), time);
    if (!window.surrounds()) return Lack::kClockGap;
    for (int i = 0; i < window.count; ++i) {
        if (window.at(i) == 0.0) return Lack::kNone;
        if (window.at(i) > 0.0) return i > 0 && window.at(i) - window.at(i - 1) <= gap ? Lack::kNone : Lack::kClockGap;
    }
    return Lack::kClockGap;
}

double age_of(const EPHREC_GPS& record) { return record.IODE; }
double age_of(const EPHREC_BDS& record) { return record.AODE; }

/// The records of a satellite as the library chooses among them: healthy, nearest in time.
template <typename Record>
Lack record_lack(const Record* row, const TimeGNSS& now, double limit) {
    Lack lack = Lack::kNoRecord;
    for (int i = 0; i < MAXEPH_BRDC; ++i) {
        const Record& record = row[i];
        if (!record.ok) continue;
        const double seconds = (now.sow - record.TOE) + 604800.0 * (now.week - record.Week);
        const bool healthy = record.sv_health == 0 && age_of(record) >= 0.0 && age_of(record) <= 1023.0;
        const bool near = std::fabs(seconds) < limit;
        if (healthy && near) return Lack::kNone;
        if (near) lack = Lack::kUnhealthy;
        if (healthy && lack == Lack::kNoRecord) lack = Lack::kOldRecord;
    }
    return lack;
}

Lack broadcast_lack(const GTime& time, sysGNSS system, int prn) {
    const EPHBRDC_STORE& store = *g_brdc_storage;
    if (system == GPS && prn >= 1 && prn <= 33)
        return record_lack(store.eph_brdc_gps_all[prn - 1], GTime2SOW(gtimeChangeTimeSystem(time, tsGPST)), kAgeGps);
    if (system == BDS && prn >= 1 && prn <= 64)
        return record_lack(store.eph_brdc_bds_all[prn - 1], GTime2SOW(gtimeChangeTimeSystem(time, tsBDST)), kAgeBds);
    return Lack::kNoRecord;
}

/// True for a satellite that the runtime would keep; it ends the process on an epoch without one.
bool takes_part(const OBSDATA_SAT& sat) {
    const int index = satsysprn2index(sat.satsys, sat.prn);
    const int system = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
    return sat.flag_sat == OBS_OK && index >= 0 && index < MAXSAT_GNSS && system >= 0 &&
           sat.num_obs_used == gnssconfig.num_obs_freq_code[system];
}

}  // namespace

const char* lack_text(Lack lack) {
    switch (lack) {
        case Lack::kNone:
            return "served";
        case Lack::kNoOrbit:
            return "no precise orbit";
        case Lack::kOrbitWindow:
            return "precise orbit doesn't surround the time";
        case Lack::kNoClock:
            return "no precise clock";
        case Lack::kClockGap:
            return "precise clock missing around the time";
        case Lack::kNoRecord:
            return "no broadcast record";
        case Lack::kUnhealthy:
            return "broadcast record unhealthy";
        case Lack::kOldRecord:
            return "broadcast record too old";
        case Lack::kMisfit:
            return "ranges contradict those of all others";
        case Lack::kSuspect:
            return "ranges contradicted those of all others shortly before";
    }
    return "";
}

Guard::Guard(EPHPREC_STORE& store, const GTime& arc_start, double clock_interval)
    : clock_gap_(kClockGapLimit * (clock_interval > 0.0 ? clock_interval : 900.0)) {
    for (int satindex = 0; satindex < MAXSAT_GNSS; ++satindex) {
        if (store.idx_eph[satindex] <= 0) continue;
        orbit_start_[static_cast<std::size_t>(satindex)] = store.eph_pre_all[satindex][0].time;
        lengthen(store, satindex, arc_start);
    }
}

void Guard::lengthen(EPHPREC_STORE& store, int satindex, const GTime& arc_start) {
    EPHREC_PRE* row = store.eph_pre_all[satindex];
    int& size = store.idx_eph[satindex];
    if (size < kOrbitRecords || size + kOrbitHalf > MAXEPOCH_EPH_PRE ||
        gtimeSubSec(arc_start, row[kOrbitHalf].time) > kSignalTime ||
        !std::all_of(row, row + kOrbitRecords, [](const EPHREC_PRE& r) { return usable(r); })) {
        return;
    }
    const double interval = gtimeSubSec(row[1].time, row[0].time);
    std::array<double, kOrbitRecords> seconds{};
    std::array<std::array<double, kOrbitRecords>, 3> position{};
    for (std::size_t i = 0; i < kOrbitRecords; ++i) {
        seconds[i] = gtimeSubSec(row[i].time, row[0].time);
        for (std::size_t k = 0; k < 3; ++k) position[k][i] = row[i].pos_ecf[k];
    }
    std::copy_backward(row, row + size, row + size + kOrbitHalf);
    size += kOrbitHalf;
    for (int i = 0; i < kOrbitHalf; ++i) {
        const double offset = interval * (i - kOrbitHalf);
        row[i] = row[kOrbitHalf];
        row[i].time = gtimeAddSec(row[kOrbitHalf].time, offset);
        for (std::size_t k = 0; k < 3; ++k)
            row[i].pos_ecf[k] = interpolation_Lagrange(seconds.data(), position[k].data(), kOrbitRecords, offset);
    }
}

Lack Guard::lack_of(const GTime& tag, int satindex) const {
    sysGNSS system = UKNSYS;
    int prn = -1;
    satindex2sysprn(satindex, &system, &prn);
    // The library evaluates at the tag, then at the transmission.
    for (const GTime& time : {tag, gtimeAddSec(tag, -kSignalTime)}) {
        Lack lack = Lack::kNone;
        if (g_eph_selection == EPHOPT_PREC) {
            lack = orbit_lack(time, satindex, orbit_start_[static_cast<std::size_t>(satindex)]);
            if (lack == Lack::kNone) lack = clock_lack(time, satindex, clock_gap_);
        } else {
            lack = broadcast_lack(time, system, prn);
        }
        if (lack != Lack::kNone) return lack;
    }
    return Lack::kNone;
}

Served Guard::set_aside(OBSDATA_EPOCH& epoch) {
    static OBSDATA_EPOCH copy;
    Served served;
    const int satellites = std::min<int>(epoch.sat_num, MAXSAT_EPOCH);
    for (int i = 0; i < satellites; ++i) {
        OBSDATA_SAT& sat = epoch.satobs[i];
        if (satsysprn2index(sat.satsys, sat.prn) >= MAXSAT_GNSS) sat.flag_sat = SAT_UKN;
    }
    copy = epoch;
    choose_observation(&copy);
    for (int i = 0; i < satellites; ++i) {
        if (!takes_part(copy.satobs[i])) continue;
        OBSDATA_SAT& sat = epoch.satobs[i];
        const Lack lack = lack_of(epoch.epoch_time, satsysprn2index(sat.satsys, sat.prn));
        if (lack == Lack::kNone) {
            ++served.usable;
            continue;
        }
        ++served.aside;
        count(sat, lack);
        if (g_eph_selection == EPHOPT_PREC) {
            sat.flag_sat = SATPOS_ERROR;
        } else {
            ++served.usable;  // the library rejects it by itself
        }
    }
    return served;
}

}  // namespace host
