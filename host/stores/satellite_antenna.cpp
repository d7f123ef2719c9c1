#include "stores/satellite_antenna.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <utility>

#include "attitude.h"
#include "earth_rotation_param.h"
#include "eph_planet.h"
#include "inputs/checks.h"
#include "inputs/open.h"
#include "inputs/positions.h"
#include "shared/earth.h"
#include "shared/error.h"
#include "stores/satellites.h"

namespace host {

namespace {

/// The antennas of a file, apart from those that the library itself looks at.
class Antennas {
  public:
    explicit Antennas(const std::string& file) {
        check_antex(file);
        if (!load_antenna_storage(loadable(file), &store_) || store_.num_antenna_info == 0)
            throw InputError(file + ": no antenna could be read from this ANTEX file");
    }
    ~Antennas() { std::free(store_.antenna_info_storage); }
    Antennas(const Antennas&) = delete;
    Antennas& operator=(const Antennas&) = delete;

    const ANT_INFO* find(int satindex, double mjd) const {
        for (int i = 0; i < store_.num_antenna_info; ++i) {
            const ANT_INFO& a = store_.antenna_info_storage[i];
            if (a.idx_object == satindex && a.mjd_available[0] <= mjd && mjd <= a.mjd_available[1]) return &a;
        }
        return nullptr;
    }

  private:
    ANT_INFO_STORE store_{};
};

/// Offset of the ionosphere-free phase centre in body axes [m]. False where the antenna lacks a band.
bool ionosphere_free_offset(const ANT_INFO& antenna, sysGNSS satsys, int prn, Vector3& offset) {
    const int system = get_gnssconfig_sys_index(satsys, &gnssconfig);
    if (system < 0) return false;
    double f[2];
    const double* pco[2] = {};
    for (int k = 0; k < 2; ++k) {
        const int slot = gnssconfig.obs_index_IF_phase[system][k];
        if (slot < 0 || slot >= MAXOBS_PER_SAT) return false;
        const OBSFREQ band = gnssconfig.obs_type_freq_code_used[system][slot].freq;
        f[k] = get_obs_frequency(satsys, band, prn);
        for (int row = 0; row < std::min<int>(antenna.freq_num, MAXNUM_FREQ); ++row) {
            if (antenna.freqs[row] == band) pco[k] = antenna.pco[row];
        }
        if (pco[k] == nullptr || !(f[k] > 0.0)) return false;
    }
    if (f[0] == f[1]) return false;
    const double a = f[0] * f[0] / (f[0] * f[0] - f[1] * f[1]);
    for (std::size_t i = 0; i < 3; ++i) offset[i] = a * pco[0][i] + (1.0 - a) * pco[1][i];
    return true;
}

/// The Sun, earth-fixed [m].
Vector3 sun_at(const GTime& gpst) {
    const GTime tt = gtimeChangeTimeSystem(gpst, tsTT);
    double state[6] = {};
    compute_planet_pos_vel(static_cast<double>(tt.time.mjd) + tt.time.sod / 86400.0 + kMjdToJd, EARTH, SUN, state);
    double inertial[3] = {1000.0 * state[0], 1000.0 * state[1], 1000.0 * state[2]};
    Vector3 fixed{};
    const double mjd = gtime2mjd(gtimeChangeTimeSystem(gpst, tsUTC));
    eci2ecf(mjd, getLeapSecond(mjd), inertial, nullptr, fixed.data(), nullptr);
    return fixed;
}

void move(EPHREC_PRE& record, const Vector3& offset, Vector3 sun) {
    double ex[3], ey[3], ez[3];
    attitude_yaw_steering(record.pos_ecf, nullptr, sun.data(), ex, ey, ez, nullptr);
    for (std::size_t i = 0; i < 3; ++i) record.pos_ecf[i] += offset[0] * ex[i] + offset[1] * ey[i] + offset[2] * ez[i];
}

/// What was moved.
struct AntennaShift {
    long positions = 0, satellites = 0;
    std::vector<std::string> without;  ///< satellites with orbits that the file lacks, whose orbits are set aside
};

AntennaShift move_all(const std::string& antex, EPHPREC_STORE& store) {
    const Antennas antennas(antex);
    AntennaShift shift;
    std::map<std::pair<long, double>, Vector3> suns;  // satellites share their epochs
    for (int sat = 0; sat < kFirstLeo; ++sat) {
        long count = 0;
        long orbits = 0;
        sysGNSS satsys = UKNSYS;
        int prn = 0;
        satindex2sysprn(sat, &satsys, &prn);
        for (int i = 0; i < std::min<int>(store.idx_eph[sat], MAXEPOCH_EPH_PRE); ++i) {
            EPHREC_PRE& record = store.eph_pre_all[sat][i];
            if (std::hypot(record.pos_ecf[0], record.pos_ecf[1], record.pos_ecf[2]) < 1e6) continue;
            ++orbits;
            const ANT_INFO* antenna = antennas.find(sat, gtime2mjd(record.time));
            Vector3 offset;
            if (antenna == nullptr || !ionosphere_free_offset(*antenna, satsys, prn, offset)) continue;
            const auto found = suns.try_emplace({record.time.time.mjd, record.time.time.sod});
            if (found.second) found.first->second = sun_at(record.time);
            move(record, offset, found.first->second);
            ++count;
        }
        if (orbits == 0 || get_gnssconfig_sys_index(satsys, &gnssconfig) < 0) continue;
        // Centres of mass do not mix with phase centres.
        if (count < orbits) store.idx_eph[sat] = 0;
        if (count == orbits) {
            shift.positions += count;
            ++shift.satellites;
        } else {
            shift.without.push_back(satellite_name(satsys, prn));
        }
    }
    return shift;
}

}  // namespace

void move_to_phase_centers(const std::string& antex, Environment& environment) {
    const AntennaShift shift = move_all(antex, environment.runtime->prec_storage);
    environment.files.push_back({"satellite antennas", antex,
                                 std::to_string(shift.positions) + " positions of " + std::to_string(shift.satellites) +
                                     " satellites moved to the phase centre"});
    if (shift.without.empty()) return;
    std::string names;
    for (const std::string& name : shift.without) names += " " + name;
    environment.files.push_back({"note", antex, "set aside, for want of an antenna in this file:" + names});
}

}  // namespace host
