#include "stores/plausible.h"

#include <algorithm>
#include <cmath>

#include "stores/satellites.h"

namespace host {

namespace {

bool within(double value, double low, double high) { return value >= low && value <= high; }

}  // namespace

void set_aside_impossible_observations(Environment& environment) {
    constexpr double kMinRange = 1e6, kMaxRange = 1e9;  ///< with a receiver clock of up to 3 s [m]
    constexpr double kMaxPhase = 1e10;                  ///< [cycle]
    for (int i = 0; i < g_num_obs_storage; ++i) {
        for (OBSDATA_SAT& sat : g_obs_storage[i].satobs) {
            for (OBSREC& rec : sat.obsdata) {
                const double size = std::fabs(rec.value);
                const bool possible = rec.type == RANGE ? within(size, kMinRange, kMaxRange) : size <= kMaxPhase;
                if (rec.value == 0.0 || possible) continue;
                rec.value = 0.0;
                ++environment.impossible;
            }
        }
    }
}

void set_aside_impossible_values(Environment& environment) {
    constexpr double kMinRadius = 1e7, kMaxRadius = 1e8;  ///< of an orbit [m]
    constexpr double kMaxClock = 1.0;                     ///< of a satellite [s]
    long& count = environment.impossible;
    const auto check_broadcast = [&](auto& rows) {
        for (auto& row : rows) {
            for (auto& record : row) {
                const bool possible = within(record.sqrt_A * record.sqrt_A, kMinRadius, kMaxRadius) &&
                                      within(record.e, 0.0, 0.99) && std::fabs(record.sv_clock_bias) <= kMaxClock &&
                                      std::fabs(record.sv_clock_drift) <= 1e-6 &&
                                      std::fabs(record.sv_clock_drift_rate) <= 1e-12;
                if (!record.ok || possible) continue;
                record.ok = false;
                ++count;
            }
        }
    };
    RUNTIME_POD_EMBED& runtime = *environment.runtime;
    check_broadcast(runtime.brdc_storage.eph_brdc_gps_all);
    check_broadcast(runtime.brdc_storage.eph_brdc_bds_all);
    for (int sat = 0; sat < kFirstLeo; ++sat) {
        for (int i = 0; i < runtime.prec_storage.idx_eph[sat]; ++i) {
            double* position = runtime.prec_storage.eph_pre_all[sat][i].pos_ecf;
            const double radius = std::hypot(position[0], position[1], position[2]);
            if (radius == 0.0 || within(radius, kMinRadius, kMaxRadius)) continue;
            std::fill_n(position, 3, 0.0);  // a gap of the product
            ++count;
        }
        for (int i = 0; i < runtime.prec_storage.idx_clk[sat]; ++i) {
            CLKREC_PRE& clock = runtime.prec_storage.clk_pre_all[sat][i];
            if (!clock.ok || std::fabs(clock.clk_offset) <= kMaxClock) continue;
            clock.ok = false;
            ++count;
        }
    }
}

}  // namespace host
