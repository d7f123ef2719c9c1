/// \file eph_planet.cpp
/// Planetary ephemeris in the layout of the JPL Development Ephemerides.
#include "eph_planet.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "private/constants.h"
#include "private/lines.h"
#include "private/report.h"
#include "private/text.h"

using namespace leopod;

EPH_HEADER_JPL* g_eph_header = nullptr;
EPH_RECORD_JPL* g_ephData_storage = nullptr;
int g_num_eph_record = 0;
bool g_unit_km = true;
double PLANET_GM[18];
double pos_coef_chebyshev[17][18];
double vel_coef_chebyshev[17][18];

namespace {

constexpr int kRows = 17;  // rows of the index table
constexpr int kNameSize = 20;

void start_polynomials() {
    for (int row = 0; row < kRows; ++row) {
        pos_coef_chebyshev[row][0] = vel_coef_chebyshev[row][1] = 1.0;
        pos_coef_chebyshev[row][1] = vel_coef_chebyshev[row][0] = 0.0;
    }
}

}  // namespace

void initialize_global_eph_planet(void) {
    g_eph_header = nullptr;
    g_ephData_storage = nullptr;
    g_num_eph_record = 0;
    g_unit_km = true;
    std::fill(std::begin(PLANET_GM), std::end(PLANET_GM), 0.0);
    PLANET_GM[EARTH] = 398600.4415;
    PLANET_GM[MERCURY] = 22031.78;
    PLANET_GM[VENUS] = 324858.592;
    PLANET_GM[MARS] = 42828.375214;
    PLANET_GM[JUPITER] = 126712764.8;
    PLANET_GM[SATURN] = 37940585.2;
    PLANET_GM[URANUS] = 5794548.6;
    PLANET_GM[NEPTUNE] = 6836527.10058;
    PLANET_GM[PLUTO] = 977.0;
    PLANET_GM[MOON] = 4902.800066;
    PLANET_GM[SUN] = 132712440041.9394;
    std::memset(pos_coef_chebyshev, 0, sizeof pos_coef_chebyshev);
    std::memset(vel_coef_chebyshev, 0, sizeof vel_coef_chebyshev);
    start_polynomials();
}

namespace {

// Start, coefficients, sub-intervals of the built-in record, EARTH to TTmTDB.
constexpr int kBuiltinIpt[16][3] = {
    {1018, 0, 0}, {3, 14, 4},  {171, 10, 2}, {231, 13, 2}, {309, 11, 1}, {342, 8, 1},  {366, 7, 1},  {387, 6, 1},
    {405, 6, 1},  {423, 6, 1}, {441, 13, 8}, {753, 11, 2}, {819, 10, 4}, {899, 10, 4}, {1019, 0, 0}, {1019, 0, 0},
};

constexpr double kBuiltinRecord[] = {
#include "tables/eph_record_2459216.inc"
};
static_assert(std::size(kBuiltinRecord) == NUM_COEF_JPLEPH);

/// Covered dates from the first and the last of the records.
void set_covered_dates(EPH_HEADER_JPL* header, const EPH_RECORD_JPL* records, int last) {
    header->ss[0] = records[0].chebychev_coef[0];
    header->ss[1] = records[last].chebychev_coef[1];
}

}  // namespace

bool load_eph_header_default(EPH_HEADER_JPL* eph_header) {
    if (eph_header == nullptr) return false;
    eph_header->au = 149597870.7;
    eph_header->emrat = 81.30056833816509;
    eph_header->ss[0] = 0.0;
    eph_header->ss[1] = 0.0;
    eph_header->ss[2] = 32.0;
    std::memcpy(eph_header->ipt, kBuiltinIpt, sizeof kBuiltinIpt);
    return true;
}

bool load_eph_storage_default(EPH_HEADER_JPL* eph_header, EPH_RECORD_JPL* eph_storage) {
    if (eph_storage == nullptr || !load_eph_header_default(eph_header)) return false;
    eph_storage[0].index = 0;
    eph_storage[0].coef_num = NUM_COEF_JPLEPH;
    std::copy(std::begin(kBuiltinRecord), std::end(kBuiltinRecord), eph_storage[0].chebychev_coef);
    g_num_eph_record = 1;
    set_covered_dates(eph_header, eph_storage, g_num_eph_record - 1);
    return true;
}

// --- ephemeris file --------------------------------------------------------------------------------------------------

namespace {

enum class Group { none, dates, names, values, index, data };

/// What the last file has left: a header whose dates ask for a record behind the last one is no reason to read there.
struct LoadedFile {
    const EPH_RECORD_JPL* records = nullptr;
    double ss[3] = {};
    int last = -1;
};
LoadedFile s_file;

struct GroupMarker {
    const char* text;
    Group group;
};
constexpr GroupMarker kMarkers[] = {{"GROUP   1030", Group::dates},
                                    {"GROUP   1040", Group::names},
                                    {"GROUP   1041", Group::values},
                                    {"GROUP   1050", Group::index},
                                    {"GROUP   1070", Group::data}};

/// Progress through one ephemeris file.
struct Reading {
    LineReader lines;
    EPH_HEADER_JPL* header;
    EPH_RECORD_JPL* records;
    Group group = Group::none;
    int names = 0, values = 0;  ///< constants read so far
    int column = 0;             ///< of the index table
    int record = -1;
    int coefficient = 0;  ///< next one of the record
    bool constants_warned = false, rows_warned = false, coefficients_warned = false;
};

constexpr std::size_t kCountLine = 7;  // a line up to this length, line feed included, is the count of constants

void read_names(Reading& r, const char* line) {
    if (std::strlen(line) <= kCountLine) {
        scan(line, "%d", &r.header->con_num);
        if (r.header->con_num > MAXNUM_CONSTANT_JPLEPH) {
            warn_limit(r.constants_warned, r.lines.name, MAXNUM_CONSTANT_JPLEPH, "constants");
            r.header->con_num = MAXNUM_CONSTANT_JPLEPH;
        }
        return;
    }
    Tokens tokens;
    split(line, " ", tokens, kMaxTokens, &r.lines);
    for (int i = 0; i < tokens.count && r.names < r.header->con_num; ++i) {
        copy_field(tokens.token[i], 0, kNameSize - 1, r.header->con_name[r.names++]);
    }
    if (r.names >= r.header->con_num) r.group = Group::none;
}

void read_values(Reading& r, char* line) {
    if (std::strlen(line) <= kCountLine) return;
    replace_char(line, 'D', 'E');
    Tokens tokens;
    split(line, " ", tokens, kMaxTokens, &r.lines);
    for (int i = 0; i < tokens.count && r.values < r.header->con_num; ++i) {
        r.header->con_val[r.values++] = to_double(tokens.token[i]);
    }
    if (r.values >= r.header->con_num) r.group = Group::none;
}

void read_index(Reading& r, const char* line) {
    Tokens tokens;
    split(line, " ", tokens, kMaxTokens, &r.lines);
    const int columns = std::min(tokens.count, kRows - 1);
    if (columns < tokens.count) warn_limit(r.rows_warned, r.lines.name, columns, "columns in GROUP 1050");
    r.header->ipt[EARTH][r.column] = 0;
    for (int i = 0; i < columns; ++i) {
        r.header->ipt[i + 1][r.column] = to_int(tokens.token[i]);
    }
    if (++r.column == 3) {
        r.column = 0;
        r.group = Group::none;
    }
}

/// Starts a record. False when the store is full.
bool start_record(Reading& r, const char* line) {
    if (r.record > MAXNUM_RECORD_JPLEPH - 1) {
        char text[] = "load_eph_storage_file(): index_record > MAXNUM_RECORD_JPLEPH\n";
        output_port(3, text);
        return false;
    }
    int index = 0, coef_num = 0;
    if (scan(line, "%d %d", &index, &coef_num) < 2) return true;  // neither header nor data
    if (coef_num > NUM_COEF_JPLEPH) {
        warn_limit(r.coefficients_warned, r.lines.name, NUM_COEF_JPLEPH, "coefficients in a record");
        coef_num = NUM_COEF_JPLEPH;
    }
    EPH_RECORD_JPL& record = r.records[++r.record];
    std::memset(&record, 0, sizeof record);  // a record cut short by the end of the file
    record.index = index;
    record.coef_num = coef_num;
    r.coefficient = 0;
    return true;
}

/// Coefficients of the record. The zeros that fill its last line belong to no coefficient.
void read_coefficients(Reading& r, char* line) {
    if (r.record < 0) return;
    EPH_RECORD_JPL& record = r.records[r.record];
    replace_char(line, 'D', 'E');
    Tokens tokens;
    split(line, " ", tokens, kMaxTokens, &r.lines);
    for (int i = 0; i < tokens.count && r.coefficient < record.coef_num; ++i) {
        record.chebychev_coef[r.coefficient++] = to_double(tokens.token[i]);
    }
}

/// One line of the file. False ends the reading.
bool read_ephemeris_line(Reading& r, char* line) {
    if (std::strlen(line) <= 2) return true;
    for (const GroupMarker& marker : kMarkers) {
        if (contains(line, marker.text)) {
            r.group = marker.group;
            return true;
        }
    }
    double* const ss = r.header->ss;
    switch (r.group) {
        case Group::none:
            break;
        case Group::dates:
            scan(line, "%lf %lf %lf", &ss[0], &ss[1], &ss[2]);
            r.group = Group::none;
            break;
        case Group::names:
            read_names(r, line);
            break;
        case Group::values:
            read_values(r, line);
            break;
        case Group::index:
            read_index(r, line);
            break;
        case Group::data:
            if (std::strchr(line, 'D') == nullptr) return start_record(r, line);
            read_coefficients(r, line);
            break;
    }
    return true;
}

}  // namespace

bool load_eph_storage_file(char* eph_filename, EPH_HEADER_JPL* eph_header, EPH_RECORD_JPL* eph_data) {
    const File file = open_text(eph_filename);
    if (file == nullptr) {
        report(ULOG_CRITICAL_LEVEL, "jpl ephemeris file open failed!\n");
        return false;
    }
    Reading r{};
    r.lines.file = file.get();
    r.lines.name = eph_filename;
    read_in_blocks(r.lines);
    r.header = eph_header;
    r.records = eph_data;
    if (eph_header == nullptr || eph_data == nullptr) return false;
    eph_header->con_num = 0;
    char line[kLineSize];
    while (read_line(r.lines, line) && read_ephemeris_line(r, line)) {
    }

    g_num_eph_record = std::max(r.record, 0);  // settled: the number of records less one
    if (r.record < 0) {
        report(ULOG_ERROR_LEVEL, "load_eph_storage(): no record in %s", eph_filename);
        return false;
    }
    set_covered_dates(eph_header, eph_data, r.record);
    s_file.records = eph_data;
    std::copy_n(eph_header->ss, 3, s_file.ss);
    s_file.last = r.record;
    for (int i = 0; i < std::min(r.names, r.values); ++i) {
        if (std::strcmp(eph_header->con_name[i], "AU") == 0) eph_header->au = eph_header->con_val[i];
        if (std::strcmp(eph_header->con_name[i], "EMRAT") == 0) eph_header->emrat = eph_header->con_val[i];
    }
    report(ULOG_INFO_LEVEL, "load_eph_storage(): eph_filename=%s", eph_filename);
    return true;
}

// --- evaluation ------------------------------------------------------------------------------------------------------

namespace {

/// Body of interp(). False, with nothing written, if the body has no series, the series does not lie within a record, or the
/// time does not lie within the series.
bool interpolate(PLANET_JPL planet, const double* coef_record, const double* t, int ncm, int ifl, double* posvel) {
    if (g_eph_header == nullptr || planet < 0 || planet >= kRows || ncm < 1) return false;
    const int start = g_eph_header->ipt[planet][0];
    const int ncf = g_eph_header->ipt[planet][1];
    const int na = g_eph_header->ipt[planet][2];
    if (ncf < 1 || ncf > MAXNUM_CHEBYSHEV_JPLEPH || start < 1 || start > NUM_COEF_JPLEPH || na < 1 ||
        na > NUM_COEF_JPLEPH || ncm > NUM_COEF_JPLEPH || start - 1LL + 1LL * na * ncf * ncm > NUM_COEF_JPLEPH) {
        return false;
    }
    if (!(t[0] >= 0.0 && t[0] <= 1.0)) return false;

    const double dt1 = std::trunc(t[0]);
    const double temp = t[0] * na;
    const int l = static_cast<int>(temp - dt1);
    if (l >= na) return false;
    const double tc = 2.0 * ((temp - std::trunc(temp)) + dt1) - 1.0;  // Chebyshev time [-1, 1]

    double* const P = pos_coef_chebyshev[planet];
    P[0] = 1.0;
    P[1] = tc;
    for (int i = 2; i < ncf; ++i) P[i] = 2.0 * tc * P[i - 1] - P[i - 2];
    const double* const series = coef_record + start - 1 + l * ncf * ncm;
    for (int i = 0; i < ncm; ++i) {
        double sum = 0.0;  // from high to low: the order sets the rounding
        for (int j = ncf - 1; j >= 0; --j) sum += series[i * ncf + j] * P[j];
        posvel[i] = sum;
    }
    if (ifl <= 1) return true;

    const double vfac = 2.0 * na / t[1];
    double* const Q = vel_coef_chebyshev[planet];
    Q[0] = 0.0;
    Q[1] = 1.0;
    Q[2] = 4.0 * tc;
    for (int i = 3; i < ncf; ++i) Q[i] = 2.0 * tc * Q[i - 1] + 2.0 * P[i - 1] - Q[i - 2];
    for (int i = 0; i < ncm; ++i) {
        double sum = 0.0;
        for (int j = ncf - 1; j > 0; --j) sum += series[i * ncf + j] * Q[j];
        posvel[ncm + i] = sum * vfac;
    }
    return true;
}

/// What one evaluation shares between its bodies.
struct Epoch {
    const double* coef;  ///< coefficients of the record
    double t[2];         ///< fraction of the record; its length in the velocity's unit of time
    double scale;        ///< from kilometres to the unit of the result
    double earth[6];     ///< barycentric Earth and Moon, if one of them is asked for
    double moon[6];
};

bool scaled_state(const Epoch& epoch, PLANET_JPL body, double* state) {
    if (!interpolate(body, epoch.coef, epoch.t, 3, 2, state)) return false;
    for (int i = 0; i < 6; ++i) state[i] *= epoch.scale;
    return true;
}

/// Barycentric Earth and Moon from the Earth-Moon barycentre and the geocentric Moon.
bool split_earth_moon(Epoch& epoch) {
    double em_bary[6];
    if (!scaled_state(epoch, EM_BARY, em_bary) || !scaled_state(epoch, MOON, epoch.moon)) return false;
    for (int i = 0; i < 6; ++i) {
        epoch.earth[i] = em_bary[i] - epoch.moon[i] / (g_eph_header->emrat + 1.0);
        epoch.moon[i] = epoch.moon[i] + epoch.earth[i];
    }
    return true;
}

bool barycentric_state(const Epoch& epoch, PLANET_JPL body, double* state) {
    if (body == EARTH || body == MOON) {
        std::copy_n(body == EARTH ? epoch.earth : epoch.moon, 6, state);
        return true;
    }
    return body != SOLAR_BARY && scaled_state(epoch, body, state);
}

/// Highest record number of the store in use. The count is not asked; a host may have made or extended the store itself.
int last_record() {
    const bool from_file =
        g_ephData_storage == s_file.records && std::equal(s_file.ss, s_file.ss + 3, g_eph_header->ss);
    return from_file ? s_file.last : static_cast<int>(MAXNUM_RECORD_JPLEPH);
}

/// Finds the record of a date and the place within it. False for a date that no loaded record covers.
bool locate(double tt_jd, Epoch& epoch) {
    const double* const ss = g_eph_header->ss;
    double ab[2], cd[2];
    split_double(tt_jd - 0.5, ab);
    split_double(0.0, cd);
    double a = ab[0] + cd[0] + 0.5;
    split_double(ab[1] + cd[1], cd);
    a = a + cd[0];
    const double d = cd[1];
    if (!(a + d >= ss[0] && a + d <= ss[1])) {
        report(ULOG_ERROR_LEVEL, "Requested JED (%lf) not within ephemeris limits (%lf -- %lf)\n", a + d, ss[0], ss[1]);
        return false;
    }
    const double quotient = (a - ss[0]) / ss[2];
    if (!(quotient >= 0.0 && quotient < 1e9)) return false;
    int nr = static_cast<int>(quotient);
    if (std::fabs(a - ss[1]) < 1e-6) nr -= 1;
    if (nr < 0 || nr > last_record()) return false;
    epoch.coef = g_ephData_storage[nr].chebychev_coef;
    epoch.t[0] = (d + (a - (nr * ss[2] + ss[0]))) / ss[2];
    epoch.t[1] = g_unit_km ? ss[2] * 86400 : ss[2];
    epoch.scale = g_unit_km ? 1.0 : 1.0 / g_eph_header->au;
    return true;
}

}  // namespace

bool compute_planet_pos_vel(double tt_jd, PLANET_JPL ncent, PLANET_JPL ntarg, double* pv) {
    if (g_num_eph_record == 0) {
        if (ncent != EARTH || (ntarg != SUN && ntarg != MOON) || !std::isfinite(tt_jd)) return false;
        // settled: positions only, in metres whatever the unit switch says
        compute_pos_sun_moon_eci(tt_jd - kMjdToJd, ntarg == SUN ? pv : nullptr, ntarg == SUN ? nullptr : pv);
        return true;
    }
    static bool first_call = true;
    if (first_call) start_polynomials();
    first_call = false;
    if (ncent == ntarg || g_eph_header == nullptr || g_ephData_storage == nullptr) return false;

    Epoch epoch;
    if (!locate(tt_jd, epoch)) return false;
    if (ntarg == EARTH_NUTATION || ntarg == LUNAR_LIBRATION) {
        // settled: the nutations' row decides for both
        if (g_eph_header->ipt[EARTH_NUTATION][1] <= 0) return false;
        return interpolate(ntarg, epoch.coef, epoch.t, ntarg == EARTH_NUTATION ? 2 : 3, 2, pv);
    }
    const bool earth_or_moon = ncent == MOON || ntarg == MOON || ncent == EARTH || ntarg == EARTH;
    if (earth_or_moon && !split_earth_moon(epoch)) return false;

    double target[6], centre[6] = {};
    if (!barycentric_state(epoch, ntarg, target)) return false;
    if (ncent != SOLAR_BARY && !barycentric_state(epoch, ncent, centre)) return false;
    for (int i = 0; i < 6; ++i) pv[i] = target[i] - centre[i];
    return true;
}

void interp(PLANET_JPL planet, double* coef_record, double* t, int ncm, int ifl, double* posvel) {
    interpolate(planet, coef_record, t, ncm, ifl, posvel);
}

void split_double(double tt, double* fr) {
    fr[1] = std::modf(tt, &fr[0]);
    if (tt < 0 && fr[1] != 0.0) {
        fr[0] = fr[0] - 1.0;
        fr[1] = fr[1] + 1.0;
    }
}

void ast_args(double t, double* f) {
    // l, l', F, D, Omega: constant [degree], then powers of t [arcsecond]
    constexpr double kDelaunay[5][5] = {
        {134.96340251, 1717915923.2178, 31.8792, 0.051635, -0.0002447},
        {357.52910918, 129596581.0481, -0.5532, 0.000136, -1.149e-05},
        {93.27209062, 1739527262.8478, -12.7512, -0.001037, 4.17e-06},
        {297.85019547, 1602961601.209, -6.3706, 0.006593, -3.169e-05},
        {125.04455501, -6962890.2665, 7.4722, 0.007702, -5.939e-05},
    };
    const double t2 = t * t, t3 = t2 * t, t4 = t3 * t;
    for (int i = 0; i < 5; ++i) {
        const double* const c = kDelaunay[i];
        const double arcsec = 3600 * c[0] + c[1] * t + c[2] * t2 + c[3] * t3 + c[4] * t4;
        f[i] = std::fmod(arcsec * kArcsecToRad, 2 * kPi);
    }
}

// --- analytic Sun and Moon -------------------------------------------------------------------------------------------

namespace {

double sin_deg(double angle) { return std::sin(angle * kDegToRad); }
double cos_deg(double angle) { return std::cos(angle * kDegToRad); }

}  // namespace

void compute_pos_sun_moon_eci(double mjd_ut1, double* rsun_eci, double* rmoon_eci) {
    const double T = (mjd_ut1 - 51544.5) / 36525;
    double f[5];
    ast_args(T, f);
    const double eps = 23.439291 - 0.0130042 * T;  // obliquity [degree]
    const double sin_eps = sin_deg(eps), cos_eps = cos_deg(eps);

    if (rsun_eci != nullptr) {
        const double M = 357.5277233 + 35999.05034 * T;  // [degree]
        const double L = 280.46 + 36000.77 * T + 1.914666471 * sin_deg(M) + 0.019994643 * sin_deg(2 * M);
        const double r = (1.000140612 - 0.016708617 * cos_deg(M) - 0.000139589 * cos_deg(2 * M)) * 149597870000.0;
        rsun_eci[0] = r * cos_deg(L);
        rsun_eci[1] = r * cos_eps * sin_deg(L);
        rsun_eci[2] = r * sin_eps * sin_deg(L);
    }
    if (rmoon_eci != nullptr) {
        const double l = f[0], lp = f[1], F = f[2], D = f[3];  // [rad]
        const double L = 218.32 + 481267.883 * T + 6.29 * std::sin(l) - 1.27 * std::sin(l - 2 * D) +
                         0.66 * std::sin(2 * D) + 0.21 * std::sin(2 * l) - 0.19 * std::sin(lp) - 0.11 * std::sin(2 * F);
        const double b =
            5.13 * std::sin(F) + 0.28 * std::sin(l + F) - 0.28 * std::sin(F - l) - 0.17 * std::sin(F - 2 * D);
        const double p = 0.9508 + 0.0518 * std::cos(l) + 0.0095 * std::cos(l - 2 * D) + 0.0078 * std::cos(2 * D) +
                         0.0028 * std::cos(2 * l);
        const double r = kWgs84SemiMajor / sin_deg(p);
        const double cos_b = cos_deg(b), sin_b = sin_deg(b), cos_L = cos_deg(L), sin_L = sin_deg(L);
        rmoon_eci[0] = r * cos_b * cos_L;
        rmoon_eci[1] = r * (cos_eps * cos_b * sin_L - sin_eps * sin_b);
        rmoon_eci[2] = r * (cos_eps * sin_b + sin_eps * cos_b * sin_L);
    }
}

// --- test file -------------------------------------------------------------------------------------------------------

namespace {

/// Body of a number in a JPL test file; TOTAL_PLANET for a number that no table knows.
PLANET_JPL body_of_number(int number) {
    switch (number) {
        case 3:
            return EARTH;
        case 13:
            return EM_BARY;
        case 12:
            return SOLAR_BARY;
        case 14:
            return EARTH_NUTATION;
        case 15:
            return LUNAR_LIBRATION;
        default:
            return number >= 0 && number < TOTAL_PLANET ? static_cast<PLANET_JPL>(number) : TOTAL_PLANET;
    }
}

/// One line of a test file.
struct TestRow {
    double jed;
    int target, centre, coordinate;
    double expected;
};

void log_test_row(int count, const TestRow& row, double computed, double difference) {
    report(ULOG_DEBUG_LEVEL, "%7d %10.1f %2d %2d %2d %25.13f %25.13f %13.5e\n", count, row.jed, row.target, row.centre,
           row.coordinate, row.expected, computed, difference);
}

/// Compares one line and logs it if it is the hundredth or differs.
void compare_test_row(TestRow& row, int count) {
    const bool angles = row.target == 14 || row.target == 15;
    const PLANET_JPL target = body_of_number(row.target);
    const PLANET_JPL centre = angles ? TOTAL_PLANET : body_of_number(row.centre);
    row.target = target;
    row.centre = centre;
    double pv[6] = {};
    compute_planet_pos_vel(row.jed, centre, target, pv);
    const double computed = pv[row.coordinate - 1];
    // settled: differences of the librations are taken as they are, without the scaling to the span of the test
    const double difference = std::fabs(computed - row.expected);
    if (count % 100 == 0) log_test_row(count, row, computed, difference);
    if (difference >= 1e-13) {
        report(ULOG_DEBUG_LEVEL, "*****  warning : next difference >= 1.0E-13  *****");
        log_test_row(count, row, computed, difference);
    }
}

}  // namespace

void EphTest(char* testfilename) {
    g_unit_km = false;
    const File file = open_text(testfilename);
    if (file == nullptr) {
        report(ULOG_WARNING_LEVEL, "Open the test file %s failed!\n", testfilename != nullptr ? testfilename : "");
        return;
    }
    report(ULOG_DEBUG_LEVEL, "line--jed--t# c# x# --jpl value---user value --- difference--\n");

    constexpr std::size_t kValues = 15;  // the values start in column 16
    char line[102];
    bool in_data = false;
    int count = 0;
    while (g_eph_header != nullptr && std::fgets(line, sizeof line, file.get()) != nullptr) {
        line[std::strcspn(line, "\n")] = '\0';
        if (!in_data) {
            in_data = std::strcmp(line, "EOT") == 0;
            continue;
        }
        TestRow row;
        if (std::strlen(line) <= kValues || scan(line + kValues, " %lf %d %d %d %lf", &row.jed, &row.target,
                                                 &row.centre, &row.coordinate, &row.expected) < 5) {
            continue;
        }
        if (row.coordinate < 1 || row.coordinate > 6 || row.jed < g_eph_header->ss[0]) continue;
        if (row.jed > g_eph_header->ss[1]) break;
        compare_test_row(row, ++count);
    }
}
