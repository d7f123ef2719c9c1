#include "earth_rotation_param.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <iterator>

#include "iau_function.h"
#include "iers_function.h"
#include "keplerian_element.h"
#include "mathlib.h"
#include "private/constants.h"
#include "private/earth_rotation.h"
#include "private/lines.h"
#include "private/nutation.h"
#include "private/recent.h"
#include "private/report.h"
#include "private/text.h"

using namespace leopod;

EOPREC* g_eop_storage = nullptr;
long int g_eop_storage_size = 0;

namespace {

constexpr char kModule[] = "earth_rotation_param";  // for source locators
constexpr double eop_record_interval = 1.0 / 48.0;  // reach of the index in use [day]

}  // namespace

// --- store and readers -----------------------------------------------------------------------------------------------

namespace {

int eop_index_current = -1;  // index of the last record used, -1 for none

/// 17 to 19 January 2021, in the fixed columns of the rapid series.
// clang-format off
constexpr char eop_record_lines[][186] = {
    "21 117 59231.00 I  0.053040 0.000019  0.318728 0.000032  I-0.1717852 0.0000054 -0.2187 0.0041  I     0.256    0.312     0.054    0.150  0.052962  0.318726 -0.1718081     0.303     0.022",
    "21 118 59232.00 I  0.052519 0.000020  0.319453 0.000031  I-0.1715870 0.0000054 -0.1813 0.0036  I     0.234    0.312     0.098    0.150  0.052474  0.319502 -0.1715790     0.261     0.100",
    "21 119 59233.00 I  0.052578 0.000020  0.320015 0.000025  I-0.1714154 0.0000047 -0.1654 0.0036  I     0.218    0.217     0.132    0.191  0.052506  0.319950 -0.1714126     0.219     0.177"};
// clang-format on
static_assert(eop_record_lines[0][184] != 0 && eop_record_lines[1][184] != 0 && eop_record_lines[2][184] != 0);

/// Text columns pass through one buffer, copied without a terminator: unless it is cleared before each field, a field keeps
/// the tail of a wider one before it.
struct FieldBuffer {
    bool clear_each;
    char text[100] = {};

    double number(const char* line, std::size_t start, std::size_t width) {
        if (clear_each) std::memset(text, 0, sizeof text);
        std::memcpy(text, line + start, width);
        return to_double(text);
    }
};

/// Reads the fixed columns of the rapid series (columns counted from 0) from a line of at least 125 readable characters.
/// False at a line without polar motion, of which only the date is stored.
bool parse_fixed_columns(const char* line, FieldBuffer field, EOPREC& record) {
    constexpr double kMilli = 0.001;
    record.mjd_utc = field.number(line, 7, 8);
    const char ip1 = line[16];
    if (ip1 != 'I' && ip1 != 'P') return false;
    record.pmX = field.number(line, 18, 9);
    record.pmY = field.number(line, 37, 9);
    const char ip2 = line[57];
    record.UT1mUTC = field.number(line, 58, 10);
    record.LOD = field.number(line, 79, 7) * kMilli;
    const char ip3 = line[95];
    record.dX = field.number(line, 97, 9) * kMilli;
    record.dY = field.number(line, 116, 9) * kMilli;
    if (ip1 == 'I' && ip2 == 'I' && ip3 == 'I') record.type = 'F';
    if (ip1 == 'P' || ip2 == 'P') record.type = 'P';  // settled: other combinations keep what the record held
    record.ok = true;
    return true;
}

bool has_store(const EOPREC* store) {
    if (store == nullptr) report(ULOG_ERROR_LEVEL, "no earth orientation storage to read into");
    return store != nullptr;
}

/// Values a line must give: calendar date, MJD and five more. settled: an incomplete line is dropped.
constexpr int kLeastValues = 9;

/// Scans a C04 line into a record. False, and nothing stored, when it is incomplete.
bool scan_c04(const char* line, EOPREC& record) {
    EOPREC r = record;
    int year = 0, month = 0, day = 0;
    double sigma[6] = {};  // uncertainties, dropped
    const int n = scan(line, "%d %d %d %lf %lf %lf %lf %lf %lf %lf %lf %lf %lf %lf %lf %lf\n", &year, &month, &day,
                       &r.mjd_utc, &r.pmX, &r.pmY, &r.UT1mUTC, &r.LOD, &r.dX, &r.dY, &sigma[0], &sigma[1], &sigma[2],
                       &sigma[3], &sigma[4], &sigma[5]);
    if (n < kLeastValues) return false;
    record = r;
    return true;
}

/// The same for a data line of the keyword-framed file.
bool scan_keyword_framed(const char* line, EOPREC& record) {
    EOPREC r = record;
    int year = 0, month = 0, day = 0;
    double tai_minus_utc = 0.0;  // dropped
    const int n = scan(line, "%d %d %d %lf %lf %lf %lf %lf %lf %lf %lf %lf %lf\n", &year, &month, &day, &r.mjd_utc,
                       &r.pmX, &r.pmY, &r.UT1mUTC, &r.LOD, &r.dPsi, &r.dEpsilon, &r.dX, &r.dY, &tai_minus_utc);
    if (n < kLeastValues) return false;
    record = r;
    return true;
}

}  // namespace

void initialize_global_earth_rotation_param(void) {
    g_eop_storage_size = 0;
    g_eop_storage = nullptr;
    eop_index_current = -1;
}

void load_eops_default(EOPREC* ptr_eop_store, int nsize) {
    if (nsize > MAXSIZE_EOP) {
        report(ULOG_ERROR_LEVEL, "eop size[%d] is > MAXSIZE_EOP[%d]", nsize, MAXSIZE_EOP);
        return;
    }
    if (!has_store(ptr_eop_store)) return;
    EOPREC* record = ptr_eop_store;
    for (const auto& line : eop_record_lines) parse_fixed_columns(line, FieldBuffer{true}, *record++);
    g_eop_storage = ptr_eop_store;
    g_eop_storage_size = nsize;  // settled: the argument, not the number of lines
}

bool load_eop_storage_rapid(char* eopfilename) {
    const File file = open_text(eopfilename);
    if (file == nullptr) {
        report(ULOG_ERROR_LEVEL, "eopfilename[file=%s] open failed", eopfilename);
        return false;
    }
    if (!has_store(g_eop_storage)) return false;
    LineReader reader{file.get(), eopfilename};
    read_in_blocks(reader);
    char line[kLineSize];
    int irec = 0;
    while (read_line(reader, line)) {
        if (line[0] == '\n' || std::strlen(line) < 30) continue;
        if (irec > MAXSIZE_EOP) {
            report_at(ULOG_WARNING_LEVEL, kModule, __LINE__, __func__, "irec[%d] > MAXSIZE_EOP[%d]", irec, MAXSIZE_EOP);
            break;
        }
        // settled: the buffer is not cleared between fields, so LOD, dX and dY keep the last digits of UT1-UTC
        if (!parse_fixed_columns(line, FieldBuffer{false}, g_eop_storage[irec])) break;
        ++irec;
    }
    g_eop_storage_size = irec;
    report(ULOG_INFO_LEVEL, "load_eop_storage_rapid[%s], total record num=%d", eopfilename, irec);
    return true;
}

bool load_eop_storage(char* eopfilename) {
    const File file = open_text(eopfilename);
    if (file == nullptr) {
        report(ULOG_WARNING_LEVEL, "load_eop_storage() eopfilename %s open failed", eopfilename);
        return false;
    }
    if (!has_store(g_eop_storage)) return false;
    constexpr int kHeaderLines = 14;
    LineReader reader{file.get(), eopfilename};
    read_in_blocks(reader);
    char line[kLineSize];
    int irec = 0;
    for (int i = 0; i < kHeaderLines && read_line(reader, line); ++i) {
    }
    while (read_line(reader, line)) {
        if (line[0] == '\n' || std::strlen(line) < 70) continue;
        if (irec > MAXSIZE_EOP) {
            report(ULOG_WARNING_LEVEL, "WARNING: load_eop_storage(): irec (%d) > MAXSIZE_EOP", irec);
            break;
        }
        EOPREC& record = g_eop_storage[irec];
        if (!scan_c04(line, record)) continue;
        record.type = 'F';
        record.ok = true;
        ++irec;
    }
    g_eop_storage_size = irec;
    report(ULOG_INFO_LEVEL, "Total eop record number: %d", irec);
    return true;
}

bool load_eop_storage_celestrack(char* eopall_filename) {
    const File file = open_text(eopall_filename);
    if (file == nullptr) {
        report(ULOG_ERROR_LEVEL, "load_eop_storage_celestrack(), eopfile[file=%s] open failed", eopall_filename);
        return false;
    }
    if (!has_store(g_eop_storage)) return false;
    LineReader reader{file.get(), eopall_filename};
    read_in_blocks(reader);
    char line[kLineSize];
    int irec = 0;
    bool observed = false;
    bool predicted = false;
    while (read_line(reader, line)) {
        if (line[0] == '#' || contains(line, "VERSION") || contains(line, "UPDATED")) continue;
        if (contains(line, "NUM_OBSERVED_POINTS") || contains(line, "NUM_PREDICTED_POINTS")) {
            char keyword[64];
            int count = 0;
            scan(line, "%63s %d", keyword, &count);  // settled: the count is read and not used
        } else if (contains(line, "BEGIN OBSERVED")) {
            observed = true;
        } else if (contains(line, "END OBSERVED")) {
            observed = false;
        } else if (contains(line, "BEGIN PREDICTED")) {
            predicted = true;
        } else if (contains(line, "END PREDICTED")) {
            predicted = false;
        } else if (observed || predicted) {
            EOPREC& record = g_eop_storage[irec];
            if (!scan_keyword_framed(line, record)) continue;
            record.type = observed ? 'F' : 'P';
            record.ok = true;
            if (++irec >= MAXSIZE_EOP) {
                report(ULOG_WARNING_LEVEL, "load_eop_storage_celestrack(): irec[%d] > MAXSIZE_EOP[%d]", irec,
                       MAXSIZE_EOP);
                break;
            }
        }
    }
    return true;  // settled: g_eop_storage_size is left to the caller
}

int search_eop_index(double mjd_utc) {
    if (g_eop_storage == nullptr || g_eop_storage_size < 1) return -1;
    const double first = g_eop_storage[0].mjd_utc;
    const double last = g_eop_storage[g_eop_storage_size - 1].mjd_utc;
    if (mjd_utc > last) {
        report(ULOG_WARNING_LEVEL,
               "Warning: search_eop: current time %f is larger than the upper time %f in EOP storage!\n", mjd_utc,
               last);
        return -1;
    }
    if (mjd_utc < first) {
        report(ULOG_WARNING_LEVEL,
               "Warning: search_eop: current time %f is less than the lower time %f in EOP storage!\n", mjd_utc, first);
        return -1;
    }
    long s = 0;
    long e = g_eop_storage_size - 1;
    while (s < e) {
        const long mid = (s + e) / 2;
        if (g_eop_storage[mid].mjd_utc < mjd_utc) {
            s = mid + 1;
        } else {
            e = mid;
        }
    }
    if (s < 1) s = 1;
    return static_cast<int>(s - 1);
}

namespace {

/// Of libration and ocean tides: x, y [microarcsecond], UT1 [microsecond], length of day [microsecond/day].
struct SubdailyCorrections {
    double libration_pm[2], libration_ut1, libration_lod;
    double tides[3];
};

constexpr double EOPREC::*kDailyFields[] = {&EOPREC::pmX, &EOPREC::pmY,  &EOPREC::UT1mUTC,  &EOPREC::LOD,   &EOPREC::dX,
                                            &EOPREC::dY,  &EOPREC::dPsi, &EOPREC::dEpsilon, &EOPREC::dOMEGA};
using DailyValues = double[std::size(kDailyFields)];

/// linear_fit of each field over the days from a date, at time t of the line.
void fit_line(const EOPREC* records, int count, double mjd_ref, double t, DailyValues& values) {
    double S = 0.0, Sxx = 0.0;
    DailyValues Sy = {}, Sxy = {};
    for (int i = 0; i < count; ++i) {
        const double x = records[i].mjd_utc - mjd_ref;
        S += x;
        Sxx += x * x;
        for (std::size_t k = 0; k < std::size(kDailyFields); ++k) {
            Sy[k] += records[i].*kDailyFields[k];
            Sxy[k] += x * records[i].*kDailyFields[k];
        }
    }
    const double det = count * Sxx - S * S;
    for (std::size_t k = 0; k < std::size(kDailyFields); ++k) {
        const double slope = (count * Sxy[k] - S * Sy[k]) / det;
        values[k] = (Sxx * Sy[k] - S * Sxy[k]) / det + slope * t;
    }
}

const SubdailyCorrections& subdaily_corrections(double mjd) {
    static thread_local Recent<SubdailyCorrections> recent;
    return recent.of(mjd, 0.0, [mjd](SubdailyCorrections& formed) {
        formed = {};
        libration(mjd, formed.libration_pm, formed.libration_ut1, formed.libration_lod);
        ORTHO_EOP(mjd, formed.tides);
    });
}

}  // namespace

bool compute_eop(double mjd_utc, EOPREC* eop) {
    constexpr int kRecords = 3;
    eop->ok = false;
    if (g_eop_storage == nullptr || g_eop_storage_size < kRecords || !std::isfinite(mjd_utc)) return false;
    if (eop_index_current == -1) {
        const int found = search_eop_index(mjd_utc);
        if (found == -1) return false;
        eop_index_current = found;
    }
    // The index may stem from a larger store.
    const auto within_store = [](long index) { return std::clamp(index, 0L, g_eop_storage_size - 1); };
    if (std::fabs(mjd_utc - g_eop_storage[within_store(eop_index_current)].mjd_utc) >= eop_record_interval) {
        const int found = search_eop_index(mjd_utc);
        if (found == -1) return false;
        eop_index_current = found;
    }
    const long index = within_store(eop_index_current);
    const long start = std::clamp(index - 1, 0L, g_eop_storage_size - kRecords);  // at the last record: the last three
    EOPREC* records = g_eop_storage + start;
    const double mjd_ref = g_eop_storage[index].mjd_utc;
    const double t = mjd_utc - mjd_ref;
    // settled: a straight line by least squares through three days, which does not pass through the daily values
    DailyValues values;
    fit_line(records, kRecords, mjd_ref, t, values);
    for (std::size_t k = 0; k < std::size(kDailyFields); ++k) eop->*kDailyFields[k] = values[k];
    eop->mjd_utc = mjd_utc;
    eop->ok = true;
    eop->type = 'C';

    // settled: the corrections take the UTC date, where the publications ask for TT
    constexpr double kMicro = 1e-6;
    const SubdailyCorrections& corrections = subdaily_corrections(mjd_utc);
    eop->pmX += (corrections.libration_pm[0] + corrections.tides[0]) * kMicro;
    eop->pmY += (corrections.libration_pm[1] + corrections.tides[1]) * kMicro;
    eop->UT1mUTC += (corrections.libration_ut1 + corrections.tides[2]) * kMicro;
    eop->LOD += corrections.libration_lod * kMicro;
    return true;
}

void mean_polar_motion(double mjd_UTC, double* pm_xy) {
    const double t = (mjd_UTC - 51544.5) / 365.25;  // [year]
    if (mjd_UTC < 55197.0) {
        pm_xy[0] = 55.974 + 1.8243 * t + 0.18413 * t * t + 0.007024 * t * t * t;
        pm_xy[1] = 346.346 + 1.7896 * t - 0.10729 * t * t - 0.000908 * t * t * t;
    } else {
        pm_xy[0] = 23.513 + 7.6141 * t;
        pm_xy[1] = 358.891 - 0.6287 * t;
    }
    pm_xy[0] *= 0.001;
    pm_xy[1] *= 0.001;
}

void geocentric(double* xyz, double* lat, double* lon) {
    const double x = xyz[0], y = xyz[1], z = xyz[2];
    const double r = std::sqrt(x * x + y * y + z * z);
    if (r < 1e-12) {
        *lat = 0.0;
        *lon = 0.0;
        return;
    }
    *lat = std::acos(z / r);  // settled: the colatitude
    const double p = std::sqrt(x * x + y * y);
    if (p >= 1e-11) {
        *lon = std::atan2(y, x);
        if (*lon < 0.0) *lon += 2.0 * kPi;
    } else {
        *lat = z > 0.0 ? kPi / 2.0 : -kPi / 2.0;  // settled: on the polar axis the latitude
        *lon = 0.0;
    }
}

// --- celestial-terrestrial transformation ----------------------------------------------------------------------------

namespace {

/// pos_out = M pos_in and vel_out = M vel_in + V pos_in, as far as the arrays are there.
void transform(double* M, double* V, double* pos_in, double* vel_in, double* pos_out, double* vel_out) {
    if (pos_in != nullptr && pos_out != nullptr) matrixMultiply(3, 3, M, 1, pos_in, pos_out);
    if (pos_in != nullptr && vel_in != nullptr && pos_out != nullptr) {  // settled: asks for pos_out, not for vel_out
        double turned[3], spin[3];
        matrixMultiply(3, 3, M, 1, vel_in, turned);
        matrixMultiply(3, 3, V, 1, pos_in, spin);
        for (int i = 0; i < 3; ++i) vel_out[i] = turned[i] + spin[i];
    }
}

/// compute_eop; zeros, with a warning, where it has no answer.
bool orientation_or_zero(double mjd_utc, EOPREC& eop) {
    eop = {};
    if (compute_eop(mjd_utc, &eop)) return true;
    eop.pmX = eop.pmY = eop.UT1mUTC = eop.LOD = eop.dOMEGA = 0.0;
    report_at(ULOG_WARNING_LEVEL, kModule, __LINE__, "compute_eci2ecf_matrix", "eop_ok=false, using ZERO eop!");
    return false;
}

/// Body of compute_eci2ecf_matrix. False where the earth orientation is missing.
bool form_matrices(double mjd_utc, double leap_sec, double* pos_eci2ecf, double* vel_eci2ecf) {
    EOPREC eop;
    const bool oriented = orientation_or_zero(mjd_utc, eop);
    // settled: the model's celestial pole, without dX and dY
    compute_eci2ecf_rotation_precise(mjd_utc, leap_sec, eop.pmX, eop.pmY, eop.UT1mUTC, eop.LOD, eop.dOMEGA, pos_eci2ecf,
                                     vel_eci2ecf);
    return oriented;
}

}  // namespace

bool compute_eci2ecf_matrix(double mjd_utc, double leap_sec, double* pos_eci2ecf, double* vel_eci2ecf) {
    form_matrices(mjd_utc, leap_sec, pos_eci2ecf, vel_eci2ecf);
    return true;
}

void leopod::use_rotation(EarthRotation& rotation) {
    EOPREC eop;
    if (!rotation.ready) {
        rotation.oriented = form_matrices(rotation.mjd_utc, rotation.leapsec, rotation.matrix, rotation.rate);
        rotation.ready = true;
    } else if (!rotation.oriented) {
        orientation_or_zero(rotation.mjd_utc, eop);
    }
}

void leopod::turn_to_ecf(EarthRotation& rotation, double* pos_eci, double* vel_eci, double* pos_ecf, double* vel_ecf) {
    use_rotation(rotation);
    transform(rotation.matrix, rotation.rate, pos_eci, vel_eci, pos_ecf, vel_ecf);
}

void compute_eci2ecf_rotation_precise(double mjd_utc, double leapsec, double pmx, double pmy, double ut1mutc,
                                      double lod, double dOMEGA, double* pos_eci2ecf, double* vel_eci2ecf) {
    const double mjd_utc_I = std::trunc(mjd_utc);
    const double mjd_utc_F = mjd_utc - mjd_utc_I;
    const double jd_tt_I = mjd_utc_I + kMjdToJd;
    const double jd_tt_F = (leapsec + kTtMinusTai) / kDay + mjd_utc_F;
    const double jd_ut1_I = mjd_utc_I + kMjdToJd;
    const double jd_ut1_F = ut1mutc / kDay + mjd_utc_F;

    double rc2i[3][3];
    double rpom[3][3];
    double Rera[9];
    fast_celestial_to_intermediate(jd_tt_I, jd_tt_F, rc2i);
    const double era = iauEra00(jd_ut1_I, jd_ut1_F);
    Rz(era, Rera);
    const double sp = iauSp00(jd_tt_I, jd_tt_F);
    iauPom00(pmx * kArcsecToRad, pmy * kArcsecToRad, sp, rpom);

    const double era_rate = (72921151.467064 - lod * 0.843994809 * 1000.0) * 1e-12 + dOMEGA;  // [rad/s]
    const double s = std::sin(-era);
    const double c = std::cos(-era);
    double dRera[9] = {s * era_rate, c * era_rate, 0.0, -c * era_rate, s * era_rate, 0.0, 0.0, 0.0, 0.0};

    double product[9];
    matrixMultiply(3, 3, rpom[0], 3, Rera, product);
    matrixMultiply(3, 3, product, 3, rc2i[0], pos_eci2ecf);
    matrixMultiply(3, 3, rpom[0], 3, dRera, product);
    matrixMultiply(3, 3, product, 3, rc2i[0], vel_eci2ecf);
}

void eci2ecf(double mjd_utc, double leap_sec, double* pos_eci, double* vel_eci, double* pos_ecf, double* vel_ecf) {
    double M[9], V[9];
    compute_eci2ecf_matrix(mjd_utc, leap_sec, M, V);
    transform(M, V, pos_eci, vel_eci, pos_ecf, vel_ecf);
}

void ecf2eci(double mjd_utc, double leap_sec, double* pos_ecf, double* vel_ecf, double* pos_eci, double* vel_eci) {
    double M[9], V[9], MT[9], VT[9];
    compute_eci2ecf_matrix(mjd_utc, leap_sec, M, V);
    matrixTranspose(3, 3, M, MT);
    matrixTranspose(3, 3, V, VT);
    transform(MT, VT, pos_ecf, vel_ecf, pos_eci, vel_eci);
}

// --- pole tide -------------------------------------------------------------------------------------------------------

namespace {

/// Offset of the pole from the mean pole, m1 = x - xp and m2 = -(y - yp) [arcsecond].
void pole_offset(double mjd_utc, double pmx, double pmy, double& m1, double& m2) {
    double pm_xy[2];
    mean_polar_motion(mjd_utc, pm_xy);
    m1 = pmx - pm_xy[0];
    m2 = pm_xy[1] - pmy;
}

}  // namespace

void correction_PoleTide_gravity(double mjd_utc, double eop_pmx, double eop_pmy, double* dC21, double* dS21) {
    double m1 = 0.0, m2 = 0.0;
    pole_offset(mjd_utc, eop_pmx, eop_pmy, m1, m2);
    *dC21 = 0.0;
    *dS21 = 0.0;
    // solid Earth, IERS Conventions (2010), section 6.4
    *dC21 += -1.333e-9 * (m1 + 0.0115 * m2);
    *dS21 += -1.333e-9 * (m2 - 0.0115 * m1);
    // ocean, section 6.5
    *dC21 += -2.1778e-10 * (m1 - 0.01724 * m2);
    *dS21 += -1.7232e-10 * (m2 - 0.03365 * m1);
}

void correction_PoleTide_position(double mjd_utc, double* eop_pmxy, double* xyz_ecf, double* disp_ecf) {
    double lat = 0.0, lon = 0.0, m1 = 0.0, m2 = 0.0;
    geocentric(xyz_ecf, &lat, &lon);
    pole_offset(mjd_utc, eop_pmxy[0], eop_pmxy[1], m1, m2);
    const double theta = lat;  // colatitude
    const double sinlat = std::sin(lat), coslat = std::cos(lat);
    const double sinlon = std::sin(lon), coslon = std::cos(lon);
    const double s_r = -33.0 * std::sin(2.0 * theta) * (m1 * coslon + m2 * sinlon) * 0.001;
    const double s_theta = -9.0 * std::cos(2.0 * theta) * (m1 * coslon + m2 * sinlon) * 0.001;
    // settled: the bracket passes through a cosine
    const double s_lambda = 9.0 * std::cos(theta) * std::cos(m1 * sinlon - m2 * coslon) * 0.001;
    // settled: rotated with the colatitude as if it were the latitude
    disp_ecf[0] = s_r * coslat * coslon - sinlon * s_lambda + s_theta * coslon * sinlat;
    disp_ecf[1] = s_r * coslat * sinlon + coslon * s_lambda + s_theta * sinlon * sinlat;
    disp_ecf[2] = s_r * sinlat - s_theta * coslat;
}
