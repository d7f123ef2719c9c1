/// \file gnss_satposition.cpp
/// GNSS satellites: broadcast navigation files and their evaluation, precise orbit and clock products, antenna data.
#include "gnss_satposition.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "common_function.h"
#include "mathlib.h"
#include "private/constants.h"
#include "private/instants.h"
#include "private/lines.h"
#include "private/numbers.h"
#include "private/report.h"
#include "private/text.h"

using namespace leopod;

EPHBRDC_STORE* g_brdc_storage = nullptr;
EPHBRDC_NOW g_eph_brdc_now = {};
EPHOPT g_eph_selection = EPHOPT_BRDC;
EPHPREC_STORE* g_prec_storage = nullptr;
ANT_INFO_STORE* g_antenna_info_store = nullptr;
double iono_brdc_GPS_A[4] = {}, iono_brdc_GPS_B[4] = {};
double iono_brdc_BDS_A[4] = {}, iono_brdc_BDS_B[4] = {};
double iono_brdc_GAL_I[3] = {};
double iono_brdc_QZS_A[4] = {}, iono_brdc_QZS_B[4] = {};

namespace {

constexpr double kHalfWeek = 302400.0;  ///< [s]
constexpr double kWeek = 604800.0;      ///< [s]
constexpr int kMaxSatIndexRow = 97;     ///< last row of the precise store

const char* printable(const char* name) { return name != nullptr ? name : ""; }

/// Truncates a number of a file to int; saturates, and takes what is not finite as 0.
int truncate_to_int(double value) { return std::isfinite(value) ? to_int(value) : 0; }

/// Keeps the fields of a date from a file inside what the calendar arithmetic can carry.
TimeYMD bounded_date(TimeYMD date) {
    for (int* field : {&date.year, &date.month, &date.day, &date.hour, &date.minute}) {
        *field = std::clamp(*field, -9999, 9999);
    }
    if (!(std::fabs(date.second) <= 1e6)) date.second = 0.0;
    return date;
}

/// satindex of a satellite; -1 for all that is negative and for numbers that no index can hold.
int satindex_of(sysGNSS sys, int prn) {
    if (prn < 0 || prn > 1000) return -1;
    const int index = satsysprn2index(sys, prn);
    return index < 0 ? -1 : index;
}

bool broadcast_store_present() {
    if (g_brdc_storage != nullptr) return true;
    report(ULOG_ERROR_LEVEL, "g_brdc_storage is not pointing to any memory!");
    return false;
}

}  // namespace

// --- broadcast navigation files --------------------------------------------------------------------------------------

namespace {

/// Place of the next broadcast record of each satellite.
struct NextRecord {
    int gps_v2[33], gps_v3[33], bds_v3[63];
};
NextRecord g_next_record{};  // settled: counts on for the whole process, version by version

/// The navigation file being read: line reader and the warnings already given.
struct NavigationSource {
    LineReader reader;
    bool row_warned = false;
};
NavigationSource g_navigation;

bool read_navigation_line(std::FILE* pf, char (&line)[kLineSize]) {
    take_file(g_navigation.reader, pf);
    return read_line(g_navigation.reader, line);
}

/// Version of a record's layout and its column positions.
struct RecordLayout {
    int version;
    std::size_t clock_start;  ///< first clock field of the first line
    std::size_t orbit_start;  ///< first field of the further lines
};
constexpr RecordLayout kLayoutV2 = {2, 22, 3};
constexpr RecordLayout kLayoutV3 = {3, 23, 4};
constexpr std::size_t kFieldWidth = 19;

/// The numbers of one record as the file gives them.
struct RawRecord {
    int prn;
    TimeYMD toc;
    double clock[3];
    double orbit[7][4];
    bool has_last_field;  ///< the eighth line reaches its second column
};

/// Satellite number and epoch of a first line; false unless all of them are there.
bool scan_first_line(const char* line, const RecordLayout& layout, int& prn, TimeYMD& toc) {
    if (layout.version == 3) {
        char letter = ' ';  // not looked at
        int second = 0;
        if (scan(line, "%c%2d %4d %2d %2d %2d %2d %2d", &letter, &prn, &toc.year, &toc.month, &toc.day, &toc.hour,
                 &toc.minute, &second) != 8) {
            return false;
        }
        toc.second = second;
        return true;
    }
    if (scan(line, "%2d %2d %2d %2d %2d %2d %3lf", &prn, &toc.year, &toc.month, &toc.day, &toc.hour, &toc.minute,
             &toc.second) != 7 ||
        !std::isfinite(toc.second)) {
        return false;
    }
    // settled: 0, 79, 80 and 99 stay as they are
    if (toc.year >= 81 && toc.year <= 98) {
        toc.year += 1900;
    } else if (toc.year >= 1 && toc.year <= 78) {
        toc.year += 2000;
    }
    return true;
}

/// Reads the numbers behind the epoch: the clock of the first line and seven further lines.
void read_numbers(char (&line_first)[kLineSize], std::FILE* pf, const RecordLayout& layout, RawRecord& raw) {
    std::size_t length = std::strlen(line_first);
    for (std::size_t k = 0; k < 3; ++k)
        raw.clock[k] = field_double(line_first, length, layout.clock_start + k * kFieldWidth, kFieldWidth);
    char other[kLineSize];
    auto* line = &line_first;
    auto* spare = &other;
    for (auto& row : raw.orbit) {
        // settled: at the end of the file the last line read serves for the rest of the record
        if (read_navigation_line(pf, *spare)) {
            std::swap(line, spare);
            length = g_navigation.reader.length;
        }
        replace_char(*line, length, 'D', 'E');
        if (layout.version == 2) replace_char(*line, length, 'd', 'E');
        for (std::size_t k = 0; k < 4; ++k)
            row[k] = field_double(*line, length, layout.orbit_start + k * kFieldWidth, kFieldWidth);
    }
    raw.has_last_field = length > 41;
}

/// The fields that stand at the same place in the records of both systems.
template <class Record>
void fill_common(const RawRecord& raw, Record& record) {
    const auto& orbit = raw.orbit;
    record.sv_clock_bias = raw.clock[0];
    record.sv_clock_drift = raw.clock[1];
    record.sv_clock_drift_rate = raw.clock[2];
    record.Crs = orbit[0][1];
    record.Delta_n = orbit[0][2];
    record.M0 = orbit[0][3];
    record.Cuc = orbit[1][0];
    record.e = orbit[1][1];
    record.Cus = orbit[1][2];
    record.sqrt_A = orbit[1][3];
    record.TOE = orbit[2][0];
    record.Cic = orbit[2][1];
    record.OMEGA0 = orbit[2][2];
    record.Cis = orbit[2][3];
    record.i0 = orbit[3][0];
    record.Crc = orbit[3][1];
    record.omega = orbit[3][2];
    record.OMEGA_dot = orbit[3][3];
    record.i_dot = orbit[4][0];
    record.Week = truncate_to_int(orbit[4][2]);
    record.sv_accuracy = orbit[5][0];
    record.sv_health = truncate_to_int(orbit[5][1]);
    record.transmission_msg_time = orbit[6][0];
}

void fill_record(const RawRecord& raw, EPHREC_GPS& record) {
    fill_common(raw, record);
    record.IODE = raw.orbit[0][0];
    record.L2_code = raw.orbit[4][1] != 0.0;
    record.L2_P = raw.orbit[4][3] != 0.0;
    record.TGD = raw.orbit[5][2];
    record.IODC = raw.orbit[5][3];
    if (raw.has_last_field) record.Fit_interval = raw.orbit[6][1];
}

void fill_record(const RawRecord& raw, EPHREC_BDS& record) {
    fill_common(raw, record);
    record.AODE = raw.orbit[0][0];
    record.TGD_B1_B3 = raw.orbit[5][2];
    record.TGD_B2_B3 = raw.orbit[5][3];
    if (raw.has_last_field) record.AODC = raw.orbit[6][1];
}

/// Reads one record into the next slot of its row. A record without a complete first line, outside the rows or
/// behind the end of its row is dropped; its further lines are left to the caller's loop, where none of them passes
/// for a first line.
template <class Record, int N>
bool read_record(const char* line_first, std::FILE* pf, const RecordLayout& layout, Record (*rows)[MAXEPH_BRDC],
                 int (&index_record)[N]) {
    if (line_first == nullptr || rows == nullptr) return false;
    char line[kLineSize] = {};
    copy_field(line_first, 0, sizeof line - 1, line);
    replace_char(line, 'D',
                 'E');  // settled: the first line takes D alone, those behind it in version 2 the small letter too
    RawRecord raw = {};
    if (!scan_first_line(line, layout, raw.prn, raw.toc) || raw.prn < 1 || raw.prn > N) return false;
    int& index = index_record[raw.prn - 1];
    if (index >= MAXEPH_BRDC) {
        warn_limit(g_navigation.row_warned, g_navigation.reader.name, MAXEPH_BRDC, "records of a satellite");
        return false;
    }
    Record& record = rows[raw.prn - 1][index];
    record.prn = raw.prn;
    record.TOC = raw.toc;
    read_numbers(line, pf, layout, raw);
    fill_record(raw, record);
    ++index;
    record.ok = true;
    return true;
}

/// Values behind or in front of a header label, `count` of them from field `first` on.
void read_coefficients(const Tokens& fields, int first, int count, double* out) {
    for (int i = 0; i < count; ++i) out[i] = to_double(fields, first + i);
}

void read_header_line_v20(char* line) {
    const bool alpha = contains(line, "ION ALPHA");
    if (!alpha && !contains(line, "ION BETA")) return;
    replace_char(line, 'D', 'E');
    Tokens fields;
    split(line, " ", fields, kMaxTokens, &g_navigation.reader);
    read_coefficients(fields, 0, 4, alpha ? iono_brdc_GPS_A : iono_brdc_GPS_B);
}

void read_header_line_v30(char* line) {
    if (!contains(line, "IONOSPHERIC CORR")) return;
    // settled: the replacement also turns the tags BDSA and BDSB into BESA and BESB, which match nothing below
    replace_char(line, 'D', 'E');
    Tokens fields;
    split(line, " ", fields, kMaxTokens, &g_navigation.reader);
    const struct {
        const char* tag;
        double* target;
        int count;
    } kinds[] = {{"GPSA", iono_brdc_GPS_A, 4},
                 {"GPSB", iono_brdc_GPS_B, 4},
                 {"GAL", iono_brdc_GAL_I, 3},
                 {"BDSA", iono_brdc_BDS_A, 4},
                 {"BDSB", iono_brdc_BDS_B, 4}};
    for (const auto& kind : kinds) {
        if (contains(fields.token[0], kind.tag)) {
            read_coefficients(fields, 1, kind.count, kind.target);
            return;
        }
    }
}

bool read_header(std::FILE* pf, void (*read_header_line)(char*)) {
    char line[kLineSize];
    while (read_navigation_line(pf, line)) {
        if (contains(line, "END OF HEADER")) return true;
        read_header_line(line);
    }
    return false;
}

}  // namespace

bool load_ephemeris_brdc(char* brdcfilename) {
    const File file = open_text(brdcfilename);
    if (!file) {
        report(ULOG_ERROR_LEVEL, "brdc file open failed! %s", printable(brdcfilename));
        return false;
    }
    std::FILE* pf = file.get();
    g_navigation = {{pf, brdcfilename}};
    read_in_blocks(g_navigation.reader);
    const auto read = [pf] {
        char line[kLineSize];
        if (!read_navigation_line(pf, line)) {
            report(ULOG_ERROR_LEVEL, "brdc ephemris nothing to read!");
            return false;
        }
        if (line[20] != 'N') {
            report(ULOG_ERROR_LEVEL, "current file is not BRDC ephemeris file!");
            return false;
        }
        const double version = field_double(line, 0, 9);
        if (version >= 2.0 && version < 3.0) {
            resolve_header_brdc_v20(pf);
            if (!broadcast_store_present()) return false;
            resolve_record_brdc_v20(pf, 'G');
        } else if (version >= 3.0) {
            resolve_header_brdc_v30(pf);
            if (!broadcast_store_present()) return false;
            resolve_record_brdc_v30(pf);
        }
        return true;
    };
    const bool done = read();
    take_file(g_navigation.reader, nullptr);
    g_navigation.reader.name = "";
    if (done) report(ULOG_INFO_LEVEL, "load_ephemeris_brdc[%s]", brdcfilename);
    return done;
}

bool resolve_header_brdc_v20(FILE* pf) { return read_header(pf, read_header_line_v20); }

bool resolve_header_brdc_v30(FILE* pf) { return read_header(pf, read_header_line_v30); }

void resolve_record_brdc_v20(FILE* pf, char brdc_xxx) {
    char line[kLineSize];
    while (read_navigation_line(pf, line)) {
        if (brdc_xxx == 'G') {
            resolve_brdc_record_gps_v2(line, pf);
        } else if (brdc_xxx == 'E') {
            resolve_brdc_record_gal(line, pf);
        }
    }
}

void resolve_record_brdc_v30(FILE* pf) {
    char line[kLineSize];
    while (read_navigation_line(pf, line)) {
        switch (line[0]) {
            case 'G':
                resolve_brdc_record_gps_v3(line, pf);
                break;
            case 'C':
                resolve_brdc_record_bds_v3(line, pf);
                break;
            case 'E':
                resolve_brdc_record_gal(line, pf);
                break;
            default:
                break;
        }
    }
}

bool resolve_brdc_record_gps_v2(char* line_first, FILE* pf) {
    auto* rows = g_brdc_storage != nullptr ? g_brdc_storage->eph_brdc_gps_all : nullptr;
    return read_record(line_first, pf, kLayoutV2, rows, g_next_record.gps_v2);
}

bool resolve_brdc_record_gps_v3(char* line_first, FILE* pf) {
    auto* rows = g_brdc_storage != nullptr ? g_brdc_storage->eph_brdc_gps_all : nullptr;
    return read_record(line_first, pf, kLayoutV3, rows, g_next_record.gps_v3);
}

bool resolve_brdc_record_bds_v3(char* line_first, FILE* pf) {
    auto* rows = g_brdc_storage != nullptr ? g_brdc_storage->eph_brdc_bds_all : nullptr;
    return read_record(line_first, pf, kLayoutV3, rows, g_next_record.bds_v3);
}

bool resolve_brdc_record_gal(char* /*line_first*/, FILE* /*pf*/) { return true; }

// --- broadcast orbit and clock ---------------------------------------------------------------------------------------

namespace {

constexpr double kGmGps = 3.986005e14;               ///< [m^3/s^2], GPS and Galileo
constexpr double kGmBds = 3.986004418e14;            ///< [m^3/s^2]
constexpr double kOmegaEarthGps = 7.2921151467e-05;  ///< [rad/s], GPS and Galileo
constexpr double kOmegaEarthBds = 7.292115e-05;      ///< [rad/s]
constexpr int MAX_NUM_ITER_KEPLER = 20;

/// Entry of a satellite in a row of pointers; null outside the row.
template <class Record, int N>
Record* entry_in_use(Record* (&now)[N], int prn) {
    return prn >= 1 && prn <= N ? now[prn - 1] : nullptr;
}

/// Row of a satellite in the broadcast store; null outside it.
template <class Record, int N>
Record* store_row(Record (&rows)[N][MAXEPH_BRDC], int prn) {
    return prn >= 1 && prn <= N ? rows[prn - 1] : nullptr;
}

/// The record of a row that is nearest in time.
struct Nearest {
    int index = -1;
    double dt = 9999999.0;  ///< [s]
};

/// Searches a row (which may be null) among the records that are usable. closer(dt, least) compares with the least distance so far.
template <class Record, class Usable, class Closer>
Nearest nearest_record(Record* row, const TimeGNSS& now, Usable usable, Closer closer) {
    constexpr int kAtOnce = 10;  // most rows are empty in their larger part
    static_assert(MAXEPH_BRDC % kAtOnce == 0);
    int week = now.week;  // of the record before
    double weeks = 0.0;   // from there to now [s]
    Nearest nearest;
    for (int first = 0; row != nullptr && first < MAXEPH_BRDC; first += kAtOnce) {
        bool any = false;
        for (int i = first; i < first + kAtOnce; ++i) any |= row[i].ok;
        for (int i = first; any && i < first + kAtOnce; ++i) {
            if (!row[i].ok || !usable(row[i])) continue;
            if (row[i].Week != week) {
                week = row[i].Week;
                weeks = (static_cast<double>(now.week) - static_cast<double>(week)) * kDay * 7;
            }
            const double dt = std::fabs((now.sow - row[i].TOE) + weeks);
            if (closer(dt, nearest.dt)) nearest = {i, dt};
        }
    }
    return nearest;
}

/// Limits of GPS elements outside which a record is rejected for good, and of the issue of a healthy one.
constexpr double kRootAxisAbove = 2530.0, kRootAxisBelow = 8192.0;  // [m^0.5]
constexpr double kLargestEccentricity = 0.03;
constexpr double kLastToe = 604784.0;  // [s]
constexpr double kLastIssue = 1023.0;

bool plausible(const EPHREC_GPS& record) {
    if (record.sqrt_A <= kRootAxisAbove || record.sqrt_A >= kRootAxisBelow) return false;
    if (record.e < 0.0 || record.e > kLargestEccentricity) return false;
    return !(record.TOE < 0.0 || record.TOE > kLastToe);
}

/// 0 <= x <= limit by the order of their bits, which is that of positive numbers. False for -0 too.
bool surely_within(double x, double limit) {
    std::uint64_t bits_of_x, bits_of_limit;
    std::memcpy(&bits_of_x, &x, sizeof x);
    std::memcpy(&bits_of_limit, &limit, sizeof limit);
    return bits_of_x <= bits_of_limit;
}

/// A plausible and healthy record, as nearly all are: a quick test ahead of the others.
bool surely_usable(const EPHREC_GPS& record) {
    return surely_within(record.e, kLargestEccentricity) && surely_within(record.TOE, kLastToe) &&
           record.sqrt_A > kRootAxisAbove && record.sqrt_A < kRootAxisBelow && record.sv_health == 0 &&
           surely_within(record.IODE, kLastIssue);
}

/// Whether a record is usable. One that isn't plausible is rejected for good, one that isn't healthy is reported.
[[gnu::noinline, gnu::cold]] bool examine_and_report(EPHREC_GPS& record, int satindex) {
    if (!plausible(record)) {
        record.ok = false;
        return false;
    }
    if (record.sv_health == 0 && !(record.IODE < 0.0 || record.IODE > kLastIssue)) return true;
    report(ULOG_ERROR_LEVEL, "sat index: %d is not healthy (%d) !\n", satindex, record.sv_health);
    return false;
}

/// Sine and cosine of the eccentric anomaly, and its rate.
struct Eccentric {
    double sine = 0.0, cosine = 1.0;
    double rate = 0.0;
};

Eccentric eccentric_at(double E) {
    Eccentric eccentric;
    sine_cosine(E, eccentric.sine, eccentric.cosine);
    return eccentric;
}

/// Newton iteration of the GPS evaluation. Settled: the result is the input of the last pass, and 0 without a pass.
Eccentric solve_kepler_gps(double Mk, double e) {
    constexpr double threshold_KEPLER = 1e-13;
    double E = Mk;
    double Ek = 0.0;
    double s = 0.0, c = 1.0;
    for (int pass = 0; std::fabs(E - Ek) > threshold_KEPLER && pass < MAX_NUM_ITER_KEPLER; ++pass) {
        Ek = E;
        sine_cosine(E, s, c);
        E = E - (E - e * s - Mk) / (1.0 - e * c);
    }
    return {s, c, 0.0};
}

/// Newton iteration of BDS and Galileo: at most max_count + 1 passes; the result is the final value.
double solve_kepler(double Mk, double e, double threshold_KEPLER, int max_count) {
    double Ek = Mk;
    for (int count = 0;; ++count) {
        const double d = (Mk + e * std::sin(Ek) - Ek) / (1.0 - e * std::cos(Ek));
        Ek = Ek + d;
        if (std::fabs(d) < threshold_KEPLER || count >= max_count) return Ek;
    }
}

/// Position in the orbit at one eccentric anomaly.
struct Anomaly {
    Eccentric eccentric;
    double w;           ///< 1 - e cos E
    double vk, vk_dot;  ///< true anomaly
};

Anomaly anomaly_at(Eccentric eccentric, double e, double n, bool divide_by_w = false) {
    Anomaly a = {};
    const double sinE = eccentric.sine, cosE = eccentric.cosine;
    a.w = 1.0 - e * cosE;
    eccentric.rate = n / a.w;
    a.eccentric = eccentric;
    const double root = std::sqrt(1.0 - e * e);
    a.vk = divide_by_w ? std::atan2(root * sinE / a.w, (cosE - e) / a.w) : std::atan2(root * sinE, cosE - e);
    double sin_vk, cos_vk;
    sine_cosine(a.vk, sin_vk, cos_vk);
    // the quotient's limit at the perigee
    a.vk_dot = sin_vk == 0.0 ? n / a.w * root / a.w : (1.0 + e * cos_vk) * sinE * eccentric.rate / (sin_vk * a.w);
    return a;
}

/// Position and rates in the orbital plane, and its inclination.
struct OrbitalPlane {
    double xk, yk, xk_dot, yk_dot;
    double ik, ik_dot;
};

template <class Record>
OrbitalPlane orbital_plane(const Record& eph, const Anomaly& a, double A, double n, double tk) {
    const double Phik = a.vk + eph.omega;
    const double cos2p = std::cos(2.0 * Phik);
    const double sin2p = std::sin(2.0 * Phik);
    const double uk = Phik + eph.Cuc * cos2p + eph.Cus * sin2p;
    const double rk = A * a.w + eph.Crc * cos2p + eph.Crs * sin2p;

    OrbitalPlane plane = {};
    plane.ik = eph.i0 + eph.i_dot * tk + eph.Cic * cos2p + eph.Cis * sin2p;

    // settled: the rates take the angle 2 uk, not 2 Phik
    const double s = std::sin(2.0 * uk);
    const double q = std::cos(2.0 * uk);
    const double uk_dot = a.vk_dot + 2.0 * (eph.Cus * q - eph.Cuc * s) * a.vk_dot;
    const double rk_dot = A * eph.e * a.eccentric.sine * n / a.w + 2.0 * (eph.Crs * q - eph.Crc * s) * a.vk_dot;
    plane.ik_dot = eph.i_dot + 2.0 * (eph.Cis * q - eph.Cic * s) * a.vk_dot;

    const double cos_uk = std::cos(uk);
    const double sin_uk = std::sin(uk);
    plane.xk = rk * cos_uk;
    plane.yk = rk * sin_uk;
    plane.xk_dot = rk_dot * cos_uk - plane.yk * uk_dot;
    plane.yk_dot = rk_dot * sin_uk + plane.xk * uk_dot;
    return plane;
}

/// Orbital plane to earth-fixed position, node at the angle OMEGAk.
void position_at_node(const OrbitalPlane& p, double OMEGAk, double* pos) {
    const double cO = std::cos(OMEGAk), sO = std::sin(OMEGAk);
    const double ci = std::cos(p.ik), si = std::sin(p.ik);
    pos[0] = cO * p.xk - ci * p.yk * sO;
    pos[1] = sO * p.xk + cO * ci * p.yk;
    pos[2] = si * p.yk;
}

/// Earth-fixed position and velocity for a node that moves against the rotating earth.
template <class Record>
void earth_fixed(const Record& eph, const OrbitalPlane& p, double tk, double OMEGAe_dot, double* satposvel) {
    const double OMEGAk = (eph.OMEGA_dot - OMEGAe_dot) * tk + eph.OMEGA0 - OMEGAe_dot * eph.TOE;
    const double OMEGAk_dot = eph.OMEGA_dot - OMEGAe_dot;
    position_at_node(p, OMEGAk, satposvel);
    const double cO = std::cos(OMEGAk), sO = std::sin(OMEGAk);
    const double ci = std::cos(p.ik), si = std::sin(p.ik);
    const double a = p.xk_dot - ci * p.yk * OMEGAk_dot;
    const double b = ci * p.yk_dot + p.xk * OMEGAk_dot - si * p.yk * p.ik_dot;
    satposvel[3] = cO * a - sO * b;
    satposvel[4] = sO * a + cO * b;
    satposvel[5] = ci * p.yk * p.ik_dot + si * p.yk_dot;
}

/// Earth-fixed position of a BDS geostationary satellite, whose elements refer to a plane tilted by 5 degrees.
void earth_fixed_geo(const EPHREC_BDS& eph, const OrbitalPlane& plane, double tk, double* satposvel) {
    constexpr double SIN5 = -0.08715574274765836;
    constexpr double COS5 = 0.9961946980917455;
    double g[3];
    position_at_node(plane, eph.OMEGA_dot * tk + eph.OMEGA0 - kOmegaEarthBds * eph.TOE, g);
    const double p = kOmegaEarthBds * tk;
    const double sin_p = std::sin(p), cos_p = std::cos(p);
    satposvel[0] = g[0] * cos_p + g[1] * sin_p * COS5 + g[2] * sin_p * SIN5;
    satposvel[1] = -g[0] * sin_p + g[1] * cos_p * COS5 + g[2] * cos_p * SIN5;
    satposvel[2] = -g[1] * SIN5 + g[2] * COS5;
    for (int i = 3; i < 6; ++i) satposvel[i] = 0.0;  // settled: the velocity of a geostationary satellite is zero
}

Eccentric orbit_gps(const EPHREC_GPS& eph, double tk, double* satposvel) {
    const double A = eph.sqrt_A * eph.sqrt_A;
    const double n0 = std::sqrt(kGmGps) / A / eph.sqrt_A;
    const double n = eph.Delta_n + n0;
    const double Mk = n * tk + eph.M0;
    const Anomaly a = anomaly_at(solve_kepler_gps(Mk, eph.e), eph.e, n);
    earth_fixed(eph, orbital_plane(eph, a, A, n, tk), tk, kOmegaEarthGps, satposvel);
    return a.eccentric;
}

Eccentric orbit_bds(const EPHREC_BDS& eph, double tk, double* satposvel) {
    const double A = eph.sqrt_A * eph.sqrt_A;
    const double n0 = std::sqrt(kGmBds / A) / A;
    const double n = eph.Delta_n + n0;
    const double Mk = n * tk + eph.M0;
    const Anomaly a = anomaly_at(eccentric_at(solve_kepler(Mk, eph.e, 1e-13, MAX_NUM_ITER_KEPLER)), eph.e, n);
    const OrbitalPlane plane = orbital_plane(eph, a, A, n, tk);
    if (eph.prn <= 5) {  // settled: geostationary satellites with higher numbers are treated like the others
        earth_fixed_geo(eph, plane, tk, satposvel);
    } else {
        earth_fixed(eph, plane, tk, kOmegaEarthBds, satposvel);
    }
    return {a.eccentric.sine, a.eccentric.cosine, 0.0};  // settled: the clock drift of BDS has no relativistic part
}

Eccentric orbit_bds_v3(const EPHREC_BDS& eph, double tk, double* satposvel) {
    const double A_ref = eph.sat_type == 3 ? 27906100.0 : 42162200.0;
    const double A0 = A_ref + eph.delta_A;
    const double Ak = A0 + eph.A_dot * tk;
    const double n0 = std::sqrt(kGmBds / A0) / A0;
    const double delta_nA = eph.Delta_n + 0.5 * eph.Delta_n_dot * tk;
    const double nA = n0 + delta_nA;
    const double Mk = nA * tk + eph.M0;
    const Anomaly a = anomaly_at(eccentric_at(solve_kepler(Mk, eph.e, 1e-13, MAX_NUM_ITER_KEPLER)), eph.e, nA, true);
    earth_fixed(eph, orbital_plane(eph, a, Ak, nA, tk), tk, kOmegaEarthBds, satposvel);
    return {a.eccentric.sine, a.eccentric.cosine, 0.0};  // settled: as in the classic element set
}

Eccentric orbit_gal(const EPHREC_GAL& eph, double tk, double* satposvel) {
    constexpr int kNoLimit = 1000;  // far beyond convergence; only invalid elements come here
    const double A = eph.sqrt_A * eph.sqrt_A;
    const double n0 = std::sqrt(kGmGps / A) / A;
    const double n = eph.Delta_n + n0;
    const double Mk = n * tk + eph.M0;
    const Anomaly a = anomaly_at(eccentric_at(solve_kepler(Mk, eph.e, 1e-12, kNoLimit)), eph.e, n);
    earth_fixed(eph, orbital_plane(eph, a, A, n, tk), tk, kOmegaEarthGps, satposvel);
    return a.eccentric;
}

/// Seconds since TOE, brought into half a week; GPS has the bounds closed, the others open.
double wrapped_tk(double tk, bool closed) {
    if (tk > kHalfWeek || (closed && tk == kHalfWeek)) return tk - kWeek;
    if (tk < -kHalfWeek || (closed && tk == -kHalfWeek)) return tk + kWeek;
    return tk;
}

/// Orbit and clock of one record at a time in its system; either output may be null.
template <class Record>
void evaluate(const Record& eph, const GTime& time, TIMESYS ts, bool closed_week, double F,
              Eccentric (*orbit)(const Record&, double, double*), double* satposvel, double* satclk) {
    Eccentric eccentric;
    if (satposvel != nullptr) {
        const double tk = wrapped_tk(week_time(time).sow - eph.TOE, closed_week);
        eccentric = orbit(eph, tk, satposvel);
    }
    if (satclk == nullptr) return;
    const double tc = wrapped_tk(subtracted(time, YMD2GTime(eph.TOC, ts)), false);
    const double offset = eph.sv_clock_bias + eph.sv_clock_drift * tc + eph.sv_clock_drift_rate * (tc * tc);
    const double drift = eph.sv_clock_drift + 2.0 * eph.sv_clock_drift_rate * tc;
    const double offset_rel = F * eph.e * eph.sqrt_A * eccentric.sine;
    const double drift_rel = F * eph.e * eph.sqrt_A * eccentric.cosine * eccentric.rate;
    satclk[0] = offset + offset_rel;
    satclk[1] = drift + drift_rel;
}

double relativity_factor(double GM) { return -2.0 * std::sqrt(GM) / kSpeedOfLight / kSpeedOfLight; }

double evaluate_bds(int prn, GTime transmission_time, double* satposvel, double* satclk,
                    Eccentric (*orbit)(const EPHREC_BDS&, double, double*)) {
    const EPHREC_BDS* eph = entry_in_use(g_eph_brdc_now.eph_brdc_bds_now, prn);
    if (eph == nullptr) {
        report(ULOG_ERROR_LEVEL, "eph_brdc_now_bds is NULL, prn=%d", prn);
        return 0.0;
    }
    const GTime time = in_system(transmission_time, tsBDST);
    evaluate(*eph, time, tsBDST, false, relativity_factor(kGmBds), orbit, satposvel, satclk);
    return eph->TGD_B1_B3;
}

bool compute_brdc_gps(GTime transmission_time, int satindex, int prn, double* satposvel, double* satclk, double* tgd) {
    if (!choose_eph_gps_brdc(transmission_time, satindex)) {
        report(ULOG_ERROR_LEVEL, "choose_eph_gps_brdc() return false for sat_index = %d", satindex);
        return false;
    }
    const double delay = compute_satposvelclk_gps_brdc(prn, transmission_time, satposvel, satclk);
    if (tgd != nullptr) *tgd = delay;
    return true;
}

bool compute_brdc_bds(GTime transmission_time, int satindex, int prn, double* satposvel, double* satclk, double* tgd) {
    if (!choose_eph_bds_brdc(transmission_time, satindex)) {
        report(ULOG_ERROR_LEVEL, "choose_eph_bds_brdc() return false for sat_index = %d", satindex);
        return false;
    }
    const bool classic = g_eph_brdc_now.eph_brdc_bds_now[prn - 1]->sat_type == 0;
    const double delay = classic ? compute_satposvelclk_bds_brdc(prn, transmission_time, satposvel, satclk)
                                 : compute_satposvelclk_bds_brdc_v3(prn, transmission_time, satposvel, satclk);
    if (tgd != nullptr) *tgd = delay;
    return true;
}

/// Corrections of a real-time stream; nothing feeds them yet.
void add_rtcm_corrections(double* satposvel, double* satclk) {
    const double correction_posvel[6] = {};
    const double correction_clk[2] = {};
    for (int i = 0; satposvel != nullptr && i < 6; ++i) satposvel[i] += correction_posvel[i];
    for (int i = 0; satclk != nullptr && i < 2; ++i) satclk[i] += correction_clk[i];
}

}  // namespace

bool compute_satposvel(GTime transmission_time, int satindex, double* satposvel, double* satclk, double* tgd) {
    sysGNSS sys = UKNSYS;
    int prn = -1;
    if (!satindex2sysprn(satindex, &sys, &prn)) {
        report(ULOG_ERROR_LEVEL, "compute_satposvel(): satindex2sysprn() return false for sat_index = %d", satindex);
        return false;
    }
    if (g_eph_selection == EPHOPT_BRDC || g_eph_selection == EPHOPT_RTCM) {
        if (sys == GPS) {
            if (!compute_brdc_gps(transmission_time, satindex, prn, satposvel, satclk, tgd)) return false;
        } else if (sys == BDS) {
            if (!compute_brdc_bds(transmission_time, satindex, prn, satposvel, satclk, tgd)) return false;
        } else {
            return true;  // a low orbiter has no broadcast data: the outputs stay as they are
        }
        if (g_eph_selection == EPHOPT_RTCM) add_rtcm_corrections(satposvel, satclk);
    } else if (g_eph_selection == EPHOPT_PREC) {
        // settled: a failure of either product reaches neither the relativity term nor the caller
        compute_satposvel_prec(transmission_time, satindex, satposvel);
        compute_satclk_prec(transmission_time, satindex, satclk);
        if (satposvel != nullptr && satclk != nullptr) {
            const double* x = satposvel;
            const double* v = satposvel + 3;
            const double rel = -2.0 * (x[0] * v[0] + x[1] * v[1] + x[2] * v[2]) / kSpeedOfLight / kSpeedOfLight;
            satclk[0] += rel;
            satclk[1] += 0.0;
        }
        if (tgd != nullptr) *tgd = 0.0;
    }
    return true;
}

bool choose_eph_gps_brdc(GTime transmission_time, int satindex) {
    const GTime time = in_system(transmission_time, tsGPST);
    sysGNSS sys = UKNSYS;
    int prn = -1;
    if (!satindex2sysprn(satindex, &sys, &prn)) return false;
    if (!broadcast_store_present()) return false;
    const auto usable = [satindex](EPHREC_GPS& record) {
        return surely_usable(record) || examine_and_report(record, satindex);
    };
    // settled: a record exactly at its TOE is not taken
    const auto closer = [](double dt, double least) { return 0.0 < dt && dt < least; };
    EPHREC_GPS* row = store_row(g_brdc_storage->eph_brdc_gps_all, prn);
    const Nearest nearest = nearest_record(row, week_time(time), usable, closer);
    const bool found = nearest.dt < 7201.0;
    if (!found) {
        report(ULOG_WARNING_LEVEL, "gps brdc not found, satindex=%d dt_min=%lf index_eph=%d i=%d", satindex, nearest.dt,
               nearest.index, row != nullptr ? static_cast<int>(MAXEPH_BRDC) : 0);
    }
    if (row != nullptr) g_eph_brdc_now.eph_brdc_gps_now[prn - 1] = found ? row + nearest.index : nullptr;
    return found;
}

bool choose_eph_bds_brdc(GTime transmission_time, int satindex) {
    const GTime time = in_system(transmission_time, tsBDST);
    sysGNSS sys = UKNSYS;
    int prn = -1;
    if (!satindex2sysprn(satindex, &sys, &prn)) {
        report(ULOG_ERROR_LEVEL, "satindex2sysprn return false, satindex=%d", satindex);
        return false;
    }
    if (!broadcast_store_present()) return false;
    const auto usable = [satindex, prn](const EPHREC_BDS& record) {
        if (record.sv_health == 0 && !(record.AODE < 0.0 || record.AODE > 1023.0)) return true;
        report(ULOG_INFO_LEVEL, "satellite not healthy! satindex=%d prn=%d,sv_health=%d, iode=%d", satindex, prn,
               record.sv_health, truncate_to_int(record.AODE));
        return false;
    };
    const auto closer = [](double dt, double least) { return dt <= least; };  // of equal ones the later slot wins
    EPHREC_BDS* row = store_row(g_brdc_storage->eph_brdc_bds_all, prn);
    const Nearest nearest = nearest_record(row, week_time(time), usable, closer);
    const bool found = nearest.dt < 3601.0;
    if (!found) {
        report(ULOG_ERROR_LEVEL, "BDS brdc ephemeris not found! prn=%d, dt_min=%lf,index_eph=%d", prn, nearest.dt,
               nearest.index);
    }
    if (row != nullptr) g_eph_brdc_now.eph_brdc_bds_now[prn - 1] = found ? row + nearest.index : nullptr;
    return found;
}

double compute_satposvelclk_gps_brdc(int prn, GTime transmission_time, double* satposvel, double* satclk) {
    const GTime time = in_system(transmission_time, tsGPST);
    const EPHREC_GPS* eph = entry_in_use(g_eph_brdc_now.eph_brdc_gps_now, prn);
    if (eph == nullptr) {
        report(ULOG_ERROR_LEVEL, "compute_satposvelclk_gps_brdc(): eph pointer = NULL!");
        return 0.0;
    }
    if (satposvel != nullptr && eph->sqrt_A <= 0.0) return 0.0;
    evaluate(*eph, time, tsGPST, true, relativity_factor(kGmGps), orbit_gps, satposvel, satclk);
    return eph->TGD;
}

double compute_satposvelclk_bds_brdc(int prn, GTime transmission_time, double* satposvel, double* satclk) {
    return evaluate_bds(prn, transmission_time, satposvel, satclk, orbit_bds);
}

double compute_satposvelclk_bds_brdc_v3(int prn, GTime transmission_time, double* satposvel, double* satclk) {
    return evaluate_bds(prn, transmission_time, satposvel, satclk, orbit_bds_v3);
}

double compute_satposvelclk_gal_brdc(int prn, GTime transmission_time, double* satposvel, double* satclk) {
    const GTime time = in_system(transmission_time, tsGALT);
    const EPHREC_GAL* eph = entry_in_use(g_eph_brdc_now.eph_brdc_gal_now, prn);
    if (eph == nullptr) {
        report(ULOG_ERROR_LEVEL, "eph_brdc_now_gal is NULL, prn=%d", prn);
        return 0.0;
    }
    if (satposvel != nullptr && eph->sqrt_A <= 0.0) return 0.0;
    evaluate(*eph, time, tsGALT, false, -4.442807633e-10, orbit_gal, satposvel, satclk);
    return eph->BGD_E5a_E1;
}

// --- precise orbit and clock -----------------------------------------------------------------------------------------

namespace {

constexpr int kMaxOrbitPoints = 12;     ///< 5 forward and the end record, 5 backward and the end record
constexpr int kMaxClockPoints = 6;      ///< 2 and the end record on both sides
constexpr double kMinPosition = 0.001;  ///< [m]; shorter positions are gaps of the product

bool precise_store_present(const EPHPREC_STORE* store) {
    if (store != nullptr && g_prec_storage != nullptr) return true;
    report(ULOG_ERROR_LEVEL, "g_prec_storage is not pointing to any memory!");
    return false;
}

template <class Record>
int compare_time(const void* a, const void* b) {
    const GTime& ta = static_cast<const Record*>(a)->time;
    const GTime& tb = static_cast<const Record*>(b)->time;
    if ((ta.sys == UKNTS) != (tb.sys == UKNTS)) return ta.sys == UKNTS ? -1 : 1;
    const double d = (ta.time.sod - tb.time.sod) + static_cast<double>(ta.time.mjd - tb.time.mjd) * kDay;
    if (d < -1e-09) return -1;
    return d > 1e-09 ? 1 : 0;
}

/// Sorts a row by time; records of equal time keep their order. A row in order is left alone.
template <class Record>
void sort_row(Record* row, int count) {
    const auto before = [](const Record& a, const Record& b) { return compare_time<Record>(&a, &b) < 0; };
    for (int i = 1; i < count; ++i) {
        if (before(row[i], row[i - 1])) {
            std::stable_sort(row, row + count, before);
            return;
        }
    }
}

/// Keeps the first record of each time of a sorted row; an empty row stays empty.
template <class Record>
void remove_duplicates(Record* row, int& count) {
    const auto equal = [](const Record& kept, const Record& next) { return same_time(next.time, kept.time); };
    if (count > 0) count = static_cast<int>(std::unique(row, row + count, equal) - row);
}

template <class Record>
int find_closest(const Record* row, int nsize, const GTime& target) {
    if (row == nullptr || nsize <= 0) return -1;
    if (gtime_less(target, row[0].time)) return 0;
    if (gtime_greater(target, row[nsize - 1].time)) return nsize - 1;
    int s = 0, e = nsize - 1, m = 0;
    while (s <= e) {
        m = (s + e) / 2;
        const bool comparable = target.sys == row[m].time.sys;
        const double behind = comparable ? seconds_between(target, row[m].time) : 0.0;
        if (comparable && std::fabs(behind) <= kTimeTolerance) return m;
        if (comparable && behind < 0.0) {
            e = m - 1;
        } else {
            s = m + 1;
        }
    }
    return m;  // settled: a neighbour of the target, not always the nearer one
}

/// First and last record of an interpolation.
struct Window {
    int first, last;
};

/// Takes num_half usable records forward from idx, then what is left of 2 num_half backward from idx.
template <class Record, class Usable>
Window interpolation_window(Record* row, int nsize, int idx, int num_half, Usable usable) {
    Window window = {idx, idx};
    int count = 0;
    for (; count < num_half && window.last < nsize - 1; ++window.last) count += usable(row[window.last]);
    const int xhalf = 2 * num_half - count;
    count = 0;
    for (; count < xhalf && window.first > 0; --window.first) count += usable(row[window.first]);
    return window;
}

/// Records of an interpolation, with their times in seconds from the closest one.
template <class Record, int kMost>
struct Points {
    int count = 0;
    double t[kMost];
    Record* record[kMost];
    double target;  ///< time of the interpolation

    double first() const { return t[0]; }
    double last() const { return t[count - 1]; }
    bool enclose() const { return !(target < first() || target > last()); }
};

/// Finds them in a row: `usable` tells which count for the extent of the window, `taken` which of the window are used. False without any.
template <class Record, int kMost, class Usable, class Taken>
bool find_points(Record* row, int nsize, const GTime& time, Usable usable, Taken taken, Points<Record, kMost>& points) {
    if (nsize <= 0) return false;
    const int closest = find_closest(row, nsize, time);
    const GTime origin = row[closest].time;
    const Window window = interpolation_window(row, nsize, closest, (kMost - 2) / 2, usable);
    for (int i = window.first; i <= window.last && points.count < kMost; ++i) {
        if (!taken(row[i])) continue;
        points.t[points.count] = subtracted(row[i].time, origin);
        points.record[points.count++] = &row[i];
    }
    if (points.count == 0) return false;
    points.target = subtracted(time, origin);
    return true;
}

/// Fields of a line that count.
constexpr int kMostFieldsSp3 = 20, kMostFieldsClock = 15;

/// A product file: its lines, and whether satellites behind the last row have been warned about.
struct ProductFile {
    LineReader lines;
    bool rows_warned = false;

    Fields fields(const char* line) const { return {line, lines.length, kZeroedColumns}; }
};

/// Warns where a line has more fields than its limit, of which some have been read.
void check_excess(Fields& fields, int read, int limit, LineReader& lines) {
    if (fields.more() && read + fields.left() > limit) warn_limit(lines.warned, lines.name, limit, "fields in a line");
}

/// One epoch line of an orbit file: calendar fields as numbers; GPS time whatever the header says.
GTime sp3_epoch(Fields fields, ProductFile& file) {
    fields.text();
    TimeYMD date = {};
    for (int* const part : {&date.year, &date.month, &date.day, &date.hour, &date.minute}) {
        *part = truncate_to_int(fields.number());
    }
    date.second = fields.number();
    check_excess(fields, 7, kMostFieldsSp3, file.lines);
    return YMD2GTime(bounded_date(date), tsGPST);
}

/// Date of a clock line, and the text that it was read from: a file repeats it for each satellite.
struct ClockDate {
    char text[64];
    std::size_t size = 0;
    GTime time = {};
};

GTime clock_epoch(Fields& fields, ClockDate& last) {
    if (last.size != 0 && fields.skip(last.text, last.size)) return last.time;
    const char* const first = fields.more() ? fields.start() : nullptr;
    TimeYMD date = {};
    for (int* const part : {&date.year, &date.month, &date.day, &date.hour, &date.minute}) *part = fields.whole();
    date.second = fields.number();
    last.time = YMD2GTime(bounded_date(date), tsGPST);
    const std::size_t size = fields.more() ? static_cast<std::size_t>(fields.start() - first) : 0;
    last.size = first != nullptr && size <= sizeof last.text ? size : 0;
    if (last.size != 0) std::memcpy(last.text, first, last.size);
    return last.time;
}

/// False, with a warning, when a row has no room for another clock record.
bool clock_row_has_room(int count) {
    if (count < MAXEPOCH_CLK_PRE) return true;
    report(ULOG_WARNING_LEVEL, "clk record number(%d) is larger than MAXEPOCH_CLK_PRE(%d)\n", count, MAXEPOCH_CLK_PRE);
    return false;
}

/// Satellite of a product line. -1 for satellites without an index and, with one warning a file, for those behind the last row.
int product_satellite(std::string_view text, ProductFile& file, sysGNSS& sys, int& prn) {
    prn = -1;
    if (text.empty()) return -1;
    char name[kLineSize];
    name[text.copy(name, kLineSize - 1)] = '\0';
    sys = string2satsysprn(name, &prn);
    const int first = satindex_of(sys, 1);
    if (first == -1 || prn == -1) return -1;
    if (sys != STA && first + (prn - 1LL) > kMaxSatIndexRow) {
        warn_limit(file.rows_warned, file.lines.name, kMaxSatIndexRow + 1, "satellites in the index");
        return -1;
    }
    const int satindex = satindex_of(sys, prn);
    return satindex > kMaxSatIndexRow ? -1 : satindex;
}

void append_clock(CLKREC_PRE& record, const GTime& time, sysGNSS sys, int prn, double offset, double drift) {
    record = {time, sys, prn, offset, drift, true};
}

/// One position line of an orbit file; false ends the reading because a row is full.
bool store_sp3_position(Fields fields, ProductFile& file, const GTime& time, EPHPREC_STORE& store) {
    sysGNSS sys = UKNSYS;
    int prn = -1;
    const int satindex = product_satellite(fields.text().substr(1), file, sys, prn);
    if (satindex == -1) {
        check_excess(fields, 1, kMostFieldsSp3, file.lines);
        return true;
    }
    double position[3];
    for (double& x : position) x = fields.number() * 1000.0;
    const bool has_clock = fields.more();
    const double clk = fields.number() * 1e-06;
    check_excess(fields, 5, kMostFieldsSp3, file.lines);

    int& num_eph = store.idx_eph[satindex];
    if (num_eph >= MAXEPOCH_EPH_PRE) {
        report(ULOG_WARNING_LEVEL, "sp3 record number(%d) is larger than MAXEPOCH_EPH_PRE(%d)\n", num_eph,
               MAXEPOCH_EPH_PRE);
        return false;
    }
    EPHREC_PRE& record = store.eph_pre_all[satindex][num_eph];
    record.ok = true;
    record.time = time;
    record.satsys = sys;
    record.prn = prn;
    std::copy_n(position, 3, record.pos_ecf);
    ++num_eph;

    if (!has_clock) return true;
    int& num_clk = store.idx_clk[satindex];
    if (!clock_row_has_room(num_clk)) return false;
    if (std::fabs(clk) < 0.09999899999999999) {  // without the bad-value marker 999999.999999
        append_clock(store.clk_pre_all[satindex][num_clk], time, sys, prn, clk, 0.0);
        ++num_clk;
    }
    return true;
}

/// One satellite line of a clock file; false ends the reading because a row is full.
bool store_clock_line(Fields fields, ProductFile& file, ClockDate& date, EPHPREC_STORE& store) {
    sysGNSS sys = UKNSYS;
    int prn = -1;
    fields.text();
    const int satindex = product_satellite(fields.text(), file, sys, prn);
    if (satindex == -1) {
        check_excess(fields, 2, kMostFieldsClock, file.lines);
        return true;
    }
    const GTime time = clock_epoch(fields, date);
    const int nn = fields.whole();
    const double clk_offset = fields.number();
    const double clk_drift = nn == 2 ? fields.number() : 0.0;  // settled: taken as drift as it stands
    check_excess(fields, nn == 2 ? 11 : 10, kMostFieldsClock, file.lines);
    if (nn != 1 && nn != 2) {
        report_at(ULOG_ERROR_LEVEL, "gnss_satposition", __LINE__, "load_clock_prec",
                  "nn=%d, format error for this clk file [%s]", nn, file.lines.name);
        report(ULOG_ERROR_LEVEL, "load_clock_prec() stopping");
        std::exit(1);
    }

    int& num_clk = g_prec_storage->idx_clk[satindex];  // settled: of g_prec_storage, whichever store is filled
    if (!clock_row_has_room(num_clk)) return false;
    if (std::fabs(clk_offset) < 99999.0) {
        append_clock(store.clk_pre_all[satindex][num_clk], time, sys, prn, clk_offset, clk_drift);
        ++num_clk;
    }
    return true;
}

}  // namespace

bool load_ephemris_prec(char* precfilename) {
    if (precfilename == nullptr) return false;
    const File file = open_text(precfilename);
    if (!file) {
        report(ULOG_ERROR_LEVEL, "sp3 file %s open failed!\n", precfilename);
        std::exit(1);
    }
    if (!precise_store_present(g_prec_storage)) return false;
    ProductFile product{{file.get(), precfilename}};
    LineReader& reader = product.lines;
    read_in_blocks(reader);
    char line[kLineSize];
    GTime epoch = {};
    bool epoch_seen = false;
    while (read_line(reader, line) && !reader.at_eof) {  // settled: a last line without a newline is not used
        if (line[0] == '#' || line[0] == '%' || std::strncmp(line, "/*", 2) == 0) continue;
        if (std::string_view(line, reader.length).find("EOF") != std::string_view::npos) break;
        if (line[0] == '*') {
            epoch = sp3_epoch(product.fields(line), product);
            epoch_seen = true;
        } else if (line[0] == 'P' && epoch_seen) {
            if (!store_sp3_position(product.fields(line), product, epoch, *g_prec_storage)) break;
        }
    }
    sort_ephprec_storage(g_prec_storage);
    remove_duplicate_ephprec_storage(g_prec_storage);
    g_eph_selection = EPHOPT_PREC;
    report(ULOG_INFO_LEVEL, "load_ephemeris_prec[%s]", precfilename);
    return true;
}

bool load_clock_prec(char* clkfilename, EPHPREC_STORE* eph_prec) {
    if (clkfilename == nullptr || clkfilename[0] == '\0') return false;
    const File file = open_text(clkfilename);
    if (!file) return false;
    if (!precise_store_present(eph_prec)) return false;
    ProductFile product{{file.get(), clkfilename}};
    LineReader& reader = product.lines;
    read_in_blocks(reader);
    char line[kLineSize];
    ClockDate date;
    bool header_ended = false;
    while (read_line(reader, line) && !reader.at_eof) {  // settled: a last line without a newline is not used
        if (reader.length <= 1) continue;
        if (!header_ended) {
            header_ended = contains(line, "END OF HEADER");
            continue;
        }
        if (std::strncmp(line, "AS", 2) != 0) continue;
        if (!store_clock_line(product.fields(line), product, date, *eph_prec)) break;
    }
    sort_ephprec_storage(eph_prec);
    remove_duplicate_ephprec_storage(eph_prec);
    report(ULOG_INFO_LEVEL, "load_clock_prec[%s]", clkfilename);
    g_eph_selection = EPHOPT_PREC;
    return true;
}

int cmp_ephrec_pre(const void* a, const void* b) { return compare_time<EPHREC_PRE>(a, b); }

int cmp_clkrec_pre(const void* a, const void* b) { return compare_time<CLKREC_PRE>(a, b); }

void sort_ephprec_storage(EPHPREC_STORE* ephprec_store) {
    if (ephprec_store == nullptr) return;
    for (int i = 0; i < MAXSAT_GNSS; ++i) sort_row(ephprec_store->eph_pre_all[i], ephprec_store->idx_eph[i]);
    for (int i = 0; i < MAXSAT_GNSS; ++i) sort_row(ephprec_store->clk_pre_all[i], ephprec_store->idx_clk[i]);
}

void remove_duplicate_ephprec_storage(EPHPREC_STORE* ephprec_store) {
    if (ephprec_store == nullptr) return;
    for (int i = 0; i < MAXSAT_GNSS; ++i) remove_duplicates(ephprec_store->eph_pre_all[i], ephprec_store->idx_eph[i]);
    for (int i = 0; i < MAXSAT_GNSS; ++i) remove_duplicates(ephprec_store->clk_pre_all[i], ephprec_store->idx_clk[i]);
}

int find_closest_eph_prec(EPHREC_PRE* eph_all, int nsize, GTime time_target) {
    return find_closest(eph_all, nsize, time_target);
}

int find_closest_clk_prec(CLKREC_PRE* clk_all, int nsize, GTime time_target) {
    return find_closest(clk_all, nsize, time_target);
}

bool compute_satposvel_prec(GTime transmission_time, int satindex, double* satposvel) {
    if (satposvel == nullptr || satindex < 0 || satindex > kMaxSatIndexRow) return false;
    if (!precise_store_present(g_prec_storage)) return false;
    const auto length = [](const EPHREC_PRE& record) { return std::sqrt(dot3(record.pos_ecf, record.pos_ecf)); };
    const auto usable = [length](const EPHREC_PRE& record) { return length(record) > kMinPosition; };
    const auto taken = [length](const EPHREC_PRE& record) { return length(record) >= kMinPosition; };
    Points<EPHREC_PRE, kMaxOrbitPoints> points;
    if (!find_points(g_prec_storage->eph_pre_all[satindex], g_prec_storage->idx_eph[satindex], transmission_time,
                     usable, taken, points)) {
        return false;
    }
    if (!points.enclose()) {
        report(ULOG_WARNING_LEVEL, "compute_satposvel_prec cannot interpolate tt=%lf tdata[0]=%lf tdata[count-1]=%lf ",
               points.target, points.first(), points.last());
        return false;
    }
    constexpr int kColumns = 4;  // fill a register; the last one stays zero
    double xyz[kMaxOrbitPoints][kColumns] = {};
    for (int i = 0; i < points.count; ++i) std::copy_n(points.record[i]->pos_ecf, 3, xyz[i]);
    double value[kColumns], rate[kColumns];
    interpolation_multip_dimension(points.count, kColumns, points.t, xyz[0], points.target, value, rate);
    std::copy_n(value, 3, satposvel);
    std::copy_n(rate, 3, satposvel + 3);
    return true;
}

bool compute_satclk_prec(GTime transmission_time, int satindex, double* satclk) {
    if (satclk == nullptr || satindex < 0) return false;
    satclk[0] = satclk[1] = 0.0;
    if (satindex > kMaxSatIndexRow || !precise_store_present(g_prec_storage)) return false;
    const auto usable = [](const CLKREC_PRE& record) { return record.ok; };
    Points<CLKREC_PRE, kMaxClockPoints> points;
    if (!find_points(g_prec_storage->clk_pre_all[satindex], g_prec_storage->idx_clk[satindex], transmission_time,
                     usable, usable, points)) {
        return false;
    }
    if (!points.enclose()) {
        report(ULOG_WARNING_LEVEL, "compute_satclk_prec cannot interpolate tt=%lf tdata[0]=%lf tdata[count-1]=%lf",
               points.target, points.first(), points.last());
        return false;
    }
    double offset[kMaxClockPoints];
    for (int i = 0; i < points.count; ++i) offset[i] = points.record[i]->clk_offset;
    interpolation_Lagrange_Barycentric(points.t, offset, points.count, points.target, satclk);
    return true;
}

// --- antenna data ----------------------------------------------------------------------------------------------------

namespace {

constexpr double kOpenEnd = 9999999.0;  ///< MJD of an open end of validity
constexpr std::size_t kLabel = 60;      ///< position of the label in a line

/// Frequency codes of the file. Settled: the bands of E06, C07 and C06 are this table's own choice.
const struct {
    const char* code;
    sysGNSS sys;
    OBSFREQ freq;
} kAntennaFrequencies[] = {{"G01", GPS, L1}, {"G02", GPS, L2}, {"G05", GPS, L5}, {"R01", GLO, L1}, {"R02", GLO, L2},
                           {"E01", GAL, L1}, {"E05", GAL, L5}, {"E07", GAL, L7}, {"E08", GAL, L8}, {"E06", GAL, L2},
                           {"C01", BDS, L1}, {"C02", BDS, L2}, {"C07", BDS, L2}, {"C06", BDS, L5}};

/// Position in the table of the first code that occurs in the first six characters of a line; -1 if none does.
int antenna_frequency(const char* line) {
    char text[7];
    copy_field(line, 0, 6, text);
    string_trim(text);
    int i = 0;
    for (const auto& frequency : kAntennaFrequencies) {
        if (contains(text, frequency.code)) return i;
        ++i;
    }
    return -1;
}

/// The antenna block being read.
struct AntennaBlock {
    ANT_INFO antenna;
    bool in_antenna = false;
    bool in_frequency = false;
    int frequency = -1;  ///< position in the table of the block being read
    int count = 0;       ///< frequencies kept
    double offset[3] = {};
    double mjd_start = 0.0;
    double mjd_end = kOpenEnd;
};

ANT_INFO antenna_template() {
    ANT_INFO antenna = {};
    antenna.ant_ok = true;
    matrix_identical(3, antenna.installation_matrix);
    return antenna;
}

void leave_frequency(AntennaBlock& block) {
    block.in_frequency = false;
    block.frequency = -1;
}

void start_antenna(AntennaBlock& block) {
    block.antenna = antenna_template();
    block.count = 0;
    block.in_antenna = true;
}

[[noreturn]] void stop_without_memory() {
    report(ULOG_INFO_LEVEL, "add new antenna information allocation memory error!");
    std::exit(1);
}

void end_antenna(AntennaBlock& block, ANT_INFO_STORE* store) {
    if (block.count > 0 && block.in_antenna) {
        block.antenna.freq_num = block.count;
        block.antenna.mjd_available[0] = block.mjd_start;
        block.antenna.mjd_available[1] = block.mjd_end;
        if (!add_antenna_into_storage(&block.antenna, store)) stop_without_memory();
    }
    block = AntennaBlock{block.antenna};
}

bool all_blank(const char* text, std::size_t first, std::size_t last) {
    const std::size_t length = std::strlen(text);
    for (std::size_t i = first; i <= last && i < length; ++i) {
        if (text[i] != ' ') return false;
    }
    return true;
}

void read_antenna_type(const char* line, ANT_INFO& antenna) {
    copy_field(line, 0, 20, antenna.ant_type);
    copy_field(line, 20, 20, antenna.ant_code);
    antenna.idx_object = -1;
    if (all_blank(antenna.ant_code, 3, 19) && !all_blank(antenna.ant_code, 0, 2)) {
        int prn = 0;
        const sysGNSS sys = string2satsysprn(antenna.ant_code, &prn);
        antenna.idx_object = satindex_of(sys, prn);
    }
}

/// Date of a validity line as MJD UTC; a date at the origin of the count ends the process.
double read_validity(const char* line, const char* error_text) {
    char text[44];
    copy_field(line, 0, 43, text);
    TimeYMD date = {};
    scan(text, "%d %d %d %d %d %lf", &date.year, &date.month, &date.day, &date.hour, &date.minute, &date.second);
    const double mjd = gtime2mjd(YMD2GTime(bounded_date(date), tsUTC));
    if (std::fabs(mjd) < 1.0) {
        report(ULOG_ERROR_LEVEL, "%s", error_text);
        std::exit(1);
    }
    return mjd;
}

void start_frequency(const char* line, AntennaBlock& block) {
    leave_frequency(block);
    const int frequency = antenna_frequency(line);
    if (frequency == -1 || block.count >= MAXNUM_FREQ) return;
    block.in_frequency = true;
    block.frequency = frequency;
    std::fill_n(block.offset, 3, 0.0);
}

void read_offset(const char* line, AntennaBlock& block) {
    char text[31];
    copy_field(line, 0, 30, text);
    scan(text, "%10lf%10lf%10lf", &block.offset[0], &block.offset[1], &block.offset[2]);
    for (double& component : block.offset) component *= 0.001;  // millimetres to metres
}

void end_frequency(AntennaBlock& block) {
    if (block.count < MAXNUM_FREQ) {
        const auto& frequency = kAntennaFrequencies[block.frequency];
        block.antenna.freqs[block.count] = frequency.freq;
        block.antenna.satsys[block.count] = frequency.sys;
        std::copy_n(block.offset, 3, block.antenna.pco[block.count]);
        ++block.count;
    } else {
        report(ULOG_ERROR_LEVEL, "readatx: frequency number exceed MAXNUM_FREQ!");
    }
    leave_frequency(block);
    std::fill_n(block.offset, 3, 0.0);
}

void read_antenna_line(const char* line, AntennaBlock& block, ANT_INFO_STORE* store) {
    // All labels hold capitals; the many rows of phase patterns hold none.
    const char* const rest = line + kLabel;
    if (std::none_of(rest, rest + std::strlen(rest), [](char c) { return c >= 'A' && c <= 'Z'; })) return;
    const auto label = [rest](const char* text) { return std::strstr(rest, text) != nullptr; };
    if (label("START OF ANTENNA")) {
        start_antenna(block);
    } else if (label("END OF ANTENNA")) {
        end_antenna(block, store);
    } else if (!block.in_antenna) {
        return;
    } else if (label("TYPE / SERIAL NO")) {
        read_antenna_type(line, block.antenna);
    } else if (label("VALID FROM")) {
        block.mjd_start = read_validity(line, "readatx: mjd_start error\n");
    } else if (label("VALID UNTIL")) {
        block.mjd_end = read_validity(line, "readatx: mjd_end error\n");
    } else if (label("START OF FREQUENCY")) {
        start_frequency(line, block);
    } else if (label("NORTH / EAST / UP")) {
        if (block.in_frequency && block.frequency != -1 && block.count < MAXNUM_FREQ) read_offset(line, block);
    } else if (label("END OF FREQUENCY")) {
        if (block.frequency != -1) end_frequency(block);
    }
}

}  // namespace

bool load_antenna_storage(char* antex_file, ANT_INFO_STORE* ant_info_store) {
    if (antex_file == nullptr) {
        antenna_GNSS_default();
        return true;
    }
    if (!read_atx(antex_file, ant_info_store)) {
        report(ULOG_WARNING_LEVEL, "load_antenna_storage()->read_atx() return false[%s]!", antex_file);
        return false;
    }
    return true;
}

void antenna_GNSS_default(void) {}

bool read_atx(char* atx_filename, ANT_INFO_STORE* ptr_antenna_info_store) {
    if (ptr_antenna_info_store == nullptr) {
        report(ULOG_ERROR_LEVEL, "ANT_INFO_STORE pointer is not pointing to any memory!");
        return false;
    }
    if (ptr_antenna_info_store->antenna_info_storage == nullptr) {
        constexpr int kFirstRoom = 10;
        void* memory = std::calloc(kFirstRoom, sizeof(ANT_INFO));
        if (memory == nullptr) stop_without_memory();
        *ptr_antenna_info_store = {static_cast<ANT_INFO*>(memory), 0, kFirstRoom};
    }
    const File file = open_text(atx_filename);
    if (!file) {
        report(ULOG_TRACE_LEVEL, "antex file open error: %s", printable(atx_filename));
        return false;
    }
    LineReader reader{file.get(), atx_filename};
    read_in_blocks(reader);
    AntennaBlock block{antenna_template()};
    char line[kLineSize];
    while (read_line(reader, line)) {
        if (std::strlen(line) < kLabel || contains(line, "COMMENT", kLabel)) continue;
        read_antenna_line(line, block, ptr_antenna_info_store);
    }
    report(ULOG_INFO_LEVEL, "read_atx(): atx_filename=%s", atx_filename);
    return true;
}

bool add_antenna_into_storage(ANT_INFO* ant_info, ANT_INFO_STORE* ptr_antenna_info_store) {
    if (ant_info == nullptr || ptr_antenna_info_store == nullptr) return false;
    ANT_INFO_STORE& store = *ptr_antenna_info_store;
    const ANT_INFO record = *ant_info;  // it may lie in the memory that moves
    if (store.num_antenna_info >= store.num_max_memory) {
        const int room = store.num_max_memory + 16;
        void* memory = std::realloc(store.antenna_info_storage, static_cast<std::size_t>(room) * sizeof(ANT_INFO));
        if (memory == nullptr) {
            report(ULOG_INFO_LEVEL, "add new antenna information allocation memory error!");
            return false;
        }
        store.antenna_info_storage = static_cast<ANT_INFO*>(memory);
        store.num_max_memory = room;
    }
    store.antenna_info_storage[store.num_antenna_info++] = record;
    return true;
}

ANT_INFO* search_ant_info(int sat_rcv_index, char* ant_type_code, double mjd_now) {
    const ANT_INFO_STORE* store = g_antenna_info_store;
    if (store == nullptr || store->antenna_info_storage == nullptr || store->num_antenna_info <= 0) return nullptr;
    if (ant_type_code == nullptr && sat_rcv_index == -1) return nullptr;
    for (int i = 0; i < store->num_antenna_info; ++i) {
        ANT_INFO& antenna = store->antenna_info_storage[i];
        const bool wanted =
            ant_type_code != nullptr ? contains(antenna.ant_type, ant_type_code) : antenna.idx_object == sat_rcv_index;
        if (wanted && antenna.mjd_available[0] <= mjd_now && mjd_now <= antenna.mjd_available[1]) return &antenna;
    }
    return nullptr;
}
