/// \file gnss_observation.cpp
/// Epoch records, choice of satellites and observables, linear combinations, RINEX observation files, the observation store.
#include "gnss_observation.h"

#include <algorithm>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "private/lines.h"
#include "private/memory.h"
#include "private/numbers.h"
#include "private/print.h"
#include "private/report.h"
#include "private/text.h"

using namespace leopod;

OBSDATA_EPOCH* g_obs_storage = nullptr;
int g_num_obs_storage = 0;

namespace {

constexpr int kSatsOnLineV2 = 12;   // satellites on a line of a version 2 epoch
constexpr int kValuesOnLineV2 = 5;  // observations on a line of a version 2 satellite
constexpr int kTypesOnLineV3 = 13;  // types on a line of a version 3 header
constexpr int kFieldWidth = 16;     // value, loss-of-lock digit, signal-strength digit
constexpr int kValueWidth = 14;     // the value alone
constexpr int kLabelColumn = 60;    // labels of header lines
constexpr std::size_t kLabelWidth = 19;
constexpr std::size_t kHeaderSize = 10240;  // room for a written header
constexpr int kSystemRows = 4;              // systems of a written header: UKNSYS to GAL

// Numbers of entries that the fixed arrays really hold.
int satellites_in(const OBSDATA_EPOCH& epoch) { return clamp_count(epoch.sat_num, MAXSAT_EPOCH); }
int records_in(const OBSDATA_SAT& sat) { return clamp_count(sat.num_obs, MAXOBS_PER_SAT); }

}  // namespace

// --- epochs ----------------------------------------------------------------------------------------------------------

namespace {

/// Position of the last record of a satellite that is the wanted observable and holds a value; -1 without one.
int find_observable(const OBSDATA_SAT& sat, const TYPE_FREQ_CODE& wanted) {
    int found = -1;
    for (int k = 0; k < records_in(sat); ++k) {
        const OBSREC& rec = sat.obsdata[k];
        const bool same = rec.type == wanted.type && rec.freq == wanted.freq && rec.code == wanted.code;
        if (same && std::isfinite(rec.value) && std::fabs(rec.value) > 0.001) found = k;  // blank fields are 0
    }
    return found;
}

}  // namespace

void initialize_obsdata_epoch(OBSDATA_EPOCH* obsdata_eopch) {
    obsdata_eopch->rcv = -1;
    obsdata_eopch->flag_epoch = OBS_UKN;
    obsdata_eopch->sat_num = 0;
    obsdata_eopch->epoch_time = {};
    for (OBSDATA_SAT& sat : obsdata_eopch->satobs) {
        // settled: obs_index_used is left as it is, it means something only behind choose_observation
        static_assert(offsetof(OBSDATA_SAT, num_obs_used) ==
                      offsetof(OBSDATA_SAT, obs_index_used) + sizeof sat.obs_index_used);
        constexpr std::size_t kBehind = offsetof(OBSDATA_SAT, num_obs_used);
        clear(reinterpret_cast<char*>(&sat) + kBehind, sizeof sat - kBehind);
        sat.prn = -1;
        sat.satsys = UKNSYS;
        sat.num_obs = 0;
        sat.flag_sat = OBS_UKN;
    }
}

void choose_observation(OBSDATA_EPOCH* obsepoch) {
    for (int i = 0; i < satellites_in(*obsepoch); ++i) {
        OBSDATA_SAT& sat = obsepoch->satobs[i];
        const int sysindex = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
        if (sysindex == -1) continue;
        sat.num_obs_used = 0;
        const int num_wanted = clamp_count(gnssconfig.num_obs_freq_code[sysindex], MAXOBS_PER_SAT);
        for (int j = 0; j < num_wanted; ++j) {
            sat.obs_index_used[j] = find_observable(sat, gnssconfig.obs_type_freq_code_used[sysindex][j]);
            if (sat.obs_index_used[j] != -1) ++sat.num_obs_used;
        }
    }
}

int choose_satellite(OBSDATA_EPOCH* obsepoch, int* satlist_in_obsepoch, int* satlist_satindex) {
    int nsat = 0;
    for (int i = 0; i < satellites_in(*obsepoch); ++i) {
        const OBSDATA_SAT& sat = obsepoch->satobs[i];
        if (sat.flag_sat != OBS_OK) continue;
        const int satindex = satsysprn2index(sat.satsys, sat.prn);
        if (satindex == -1 || satindex >= MAXSAT_GNSS) {
            report(ULOG_WARNING_LEVEL, "choose_satellite(): satindex=%d, sys=%d, prn=%d", satindex, sat.satsys,
                   sat.prn);
            continue;
        }
        const int sysindex = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
        if (sysindex == -1) continue;
        if (gnssconfig.num_obs_freq_code[sysindex] != sat.num_obs_used) {
            report(ULOG_INFO_LEVEL,
                   "choose_satellite(), satsys=%d, prn=%d, num_obs_freq_code (%d) in gnssconfig != num_obs_used(%d) in "
                   "obsepoch!",
                   sat.satsys, sat.prn, gnssconfig.num_obs_freq_code[sysindex], sat.num_obs_used);
            continue;
        }
        satlist_in_obsepoch[nsat] = i;
        satlist_satindex[nsat] = satindex;
        ++nsat;
    }
    if (nsat == 0) {
        // settled: an epoch without usable satellites ends the process
        report(ULOG_ERROR_LEVEL, "choose_satellite(): available satellite number is %d! stopping!", nsat);
        std::exit(1);
    }
    return nsat;
}

void get_multipath_combination(double* phase, double* range, double* freq, double* MP) {
    const double a = (freq[0] / freq[1]) * (freq[0] / freq[1]);
    const double a1 = 2.0 / (a - 1.0);
    const double a2 = 2.0 * a / (a - 1.0);
    MP[0] = range[0] - (1.0 + a1) * phase[0] + a1 * phase[1];
    MP[1] = range[1] - a2 * phase[0] + (a2 - 1.0) * phase[1];
}

void get_ionosphere_free_combination(double* obs_phase, double* obs_range, double* freq_value, double* IF_combination,
                                     double* factor) {
    if (freq_value == nullptr) {
        report(ULOG_ERROR_LEVEL, "get_ionosphere_free_combination(): freq_value is NULL!");
        return;
    }
    const double f1_squared = freq_value[0] * freq_value[0];
    const double f2_squared = freq_value[1] * freq_value[1];
    const double factor1 = f1_squared / (f1_squared - f2_squared);
    const double factor2 = -f2_squared / (f1_squared - f2_squared);
    if (obs_phase != nullptr && obs_range != nullptr && IF_combination != nullptr) {
        IF_combination[0] = factor1 * obs_range[0] + factor2 * obs_range[1];
        IF_combination[1] = factor1 * obs_phase[0] + factor2 * obs_phase[1];
    }
    if (factor != nullptr) {
        factor[0] = factor1;
        factor[1] = factor2;
    }
}

// --- reading ---------------------------------------------------------------------------------------------------------

namespace {

/// The file being read: its lines, and which limits have been warned about.
struct CurrentFile {
    LineReader lines = {nullptr, "observation file"};
    bool systems = false;
    bool types = false;
    bool satellites = false;
    bool dates = false;
};
CurrentFile current_file;

/// Part of a line from a column on; empty behind the end of the line.
const char* from_column(const char* line, std::size_t column) {
    return column < std::strlen(line) ? line + column : "";
}

// --- reading: headers ------------------------------------------------------------------------------------------------

void begin_header(FILE* pf) {
    take_file(current_file.lines, pf);
    current_file.systems = current_file.types = current_file.satellites = current_file.dates = false;
}

void warn_satellites() {
    warn_limit(current_file.satellites, current_file.lines.name, MAXSAT_EPOCH, "satellites in an epoch");
}

void warn_date() {
    if (current_file.dates) return;
    current_file.dates = true;
    report(ULOG_WARNING_LEVEL, "%s: epochs whose fields are no date are dropped", current_file.lines.name);
}

void warn_types() { warn_limit(current_file.types, current_file.lines.name, MAXOBS_PER_SAT, "observation types"); }

bool has_label(const char* line, const char* label) {
    char text[kLabelWidth + 1];
    copy_field(line, kLabelColumn, kLabelWidth, text);
    return contains(text, label);
}

/// Codes of one version 3 system, 13 on a line, starting in the given header line. Continuation lines hold only types above
/// the limit: they are consumed.
void read_types_v30(char (&line)[kLineSize], int count, TYPE_FREQ_CODE* types) {
    for (int i = 0; i < count; ++i) {
        if (i > 0 && i % kTypesOnLineV3 == 0 && !read_line(current_file.lines, line)) return;
        if (i >= MAXOBS_PER_SAT) {
            warn_types();
            continue;
        }
        char code[4] = {};
        scan(from_column(line, 4 * i + 7), "%3s ", code);
        obscode_conversion_v3(code, &types[i].type, &types[i].freq, &types[i].code);
    }
}

// --- reading: epochs -------------------------------------------------------------------------------------------------

/// Prepares a read of records. False, with a report, when there is nowhere to store them.
bool begin_records(FILE* pf, long int epoch_index) {
    take_file(current_file.lines, pf);
    if (g_obs_storage != nullptr && epoch_index >= 0) return true;
    report_at(ULOG_ERROR_LEVEL, "gnss_observation", __LINE__, __func__, "no observation storage to read into");
    return false;
}

/// Time tag of an epoch line. False when the line is no date, with a warning, or when the sampling rate leaves the epoch out.
bool epoch_wanted(TimeYMD date, double sample_rate, GTime& epoch_time) {
    if (date.year >= 80 && date.year <= 99) {
        date.year += 1900;
    } else if (date.year >= 0 && date.year <= 79) {
        date.year += 2000;
    }
    const bool is_date = date.year >= 0 && date.year <= 9999 && date.month >= 1 && date.month <= 12 && date.day >= 1 &&
                         date.day <= 31 && date.hour >= 0 && date.hour <= 24 && date.minute >= 0 && date.minute <= 60 &&
                         date.second >= 0.0 && date.second <= 61.0;
    if (!is_date) {
        warn_date();
        return false;
    }
    epoch_time = YMD2GTime(date, tsGPST);  // settled: GPS time whatever the header says
    if (!(std::fabs(sample_rate) > 1e-06)) return true;
    const double r = std::fmod(epoch_time.time.sod, sample_rate);
    return std::fabs(r) < 0.01 * sample_rate || std::fabs(r - sample_rate) < 0.01 * sample_rate;
}

/// Resets a record of the store and gives it its tag. Satellites above the limit are not counted.
OBSDATA_EPOCH& begin_epoch(long int epoch_index, int rcvno, GTime epoch_time, int sat_num) {
    OBSDATA_EPOCH& epoch = g_obs_storage[epoch_index];
    initialize_obsdata_epoch(&epoch);
    epoch.rcv = rcvno;
    epoch.epoch_time = epoch_time;
    epoch.flag_epoch = OBS_OK;
    epoch.sat_num = std::min<int>(sat_num, MAXSAT_EPOCH);
    return epoch;
}

/// Eight digits, the first in the lowest byte, as a number.
std::uint64_t eight_digits(std::uint64_t n) {
    n = (n * 2561) >> 8 & 0x00ff00ff00ff00ff;
    n = (n * 6553601) >> 16 & 0x0000ffff0000ffff;
    return n * 42949672960001 >> 32;
}

/// Blanks, digits, a point behind the tenth character and three digits: `whole` holds characters 0 to 7, `tail` characters 6 to 13. False
/// for every other form.
[[gnu::always_inline]] inline bool read_usual_form(std::uint64_t whole, std::uint64_t tail, double& value) {
    // '0' to '9' become 0 to 9, a blank 16; the point becomes 0
    whole ^= '0' * kEachByte;
    tail ^= '0' * kEachByte ^ std::uint64_t{'.' ^ '0'} << 32;
    tail &= 0xffffffffffff0000;
    const std::uint64_t blank = whole >> 4 & kEachByte;
    whole ^= blank << 4;
    const std::uint64_t mask = blank * 0xff;
    // a byte above 9, a blank behind a digit, no point
    const std::uint64_t wrong = (((whole + 0x76 * kEachByte) | whole) & 0x80 * kEachByte) | (whole & mask) |
                                (mask & (mask + 1)) | (((tail + 0x7676767f76760000) | tail) & 0x8080808080800000);
    if (wrong != 0) return false;
    tail = (tail & 0xffff0000) << 8 | (tail & 0xffffff0000000000);  // the digits close up
    // both are exact: the quotient is the nearest double
    value = static_cast<double>(100000 * eight_digits(whole) + eight_digits(tail)) / 1000.0;
    return true;
}

/// Number in a field of kValueWidth characters from a column of a line of known length; 0 for a blank or missing field.
double value_at(const char* line, std::size_t length, std::size_t column) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    if (column + kValueWidth <= length) {
        std::uint64_t whole;
        std::uint64_t tail;
        std::memcpy(&whole, line + column, sizeof whole);
        std::memcpy(&tail, line + column + kValueWidth - sizeof tail, sizeof tail);
        double value = 0.0;
        if (read_usual_form(whole, tail, value)) return value;
        const std::uint64_t filled = whole ^ ' ' * kEachByte;
        if (filled == 0) {
            if (tail == ' ' * kEachByte) return 0.0;
        } else if (const int shift = __builtin_ctzll(filled) / 8 * 8; (whole >> shift & 0xff) == '-') {
            // a digit follows the sign at once; behind the eighth character the form itself wants one
            const bool digit_follows = shift == 56 || (whole >> (shift + 8) & 0xff) != ' ';
            whole ^= std::uint64_t{'-' ^ ' '} << shift;
            if (digit_follows && read_usual_form(whole, tail, value)) return -value;
        }
    }
#endif
    return field_double(line, length, column, kValueWidth);
}

/// A record of an observable without its value.
OBSREC empty_record(const TYPE_FREQ_CODE& observable) {
    OBSREC rec = {};
    rec.flag_obs = OBS_OK;
    rec.type = observable.type;
    rec.freq = observable.freq;
    rec.code = observable.code;
    rec.sigma = observable.type == RANGE ? 0.3 : observable.type == PHASE ? 0.002 : 0.0;
    return rec;
}

void store_record(OBSREC& rec, const OBSREC& empty, double value, int lli) {
    rec = empty;
    rec.value = value;
    rec.LLI = lli;
}

/// Asks for the memory of a satellite in the next record of the store, which is reset when the lines of this one are read. The processor
/// passes over addresses behind the store.
void expect_next(const OBSDATA_SAT& sat) {
    constexpr std::size_t kCacheLine = 64;
    const char* const next = reinterpret_cast<const char*>(&sat) + sizeof(OBSDATA_EPOCH);
    for (std::size_t i = 0; i < sizeof sat; i += kCacheLine) __builtin_prefetch(next + i, 1);
}

// --- reading: version 2 ----------------------------------------------------------------------------------------------

/// One column for each observation of a version 2 file.
struct ColumnsV2 {
    int count;
    OBSREC empty[MAXOBS_PER_SAT];
};

/// Number of two characters, of which the first may be a blank; -1 for anything else.
int two_digits(const char* text) {
    const int tens = text[0] == ' ' ? 0 : text[0] - '0';
    const int ones = text[1] - '0';
    return tens >= 0 && tens <= 9 && ones >= 0 && ones <= 9 ? 10 * tens + ones : -1;
}

/// Date and number of satellites of an epoch line " yy mm dd hh mm ss.sssssss  0 nn" that keeps the columns. False for every other form.
bool read_usual_epoch_v20(const char* line, std::size_t length, TimeYMD& date, int& sat_num) {
    if (length < 33) return false;
    for (const int column : {0, 3, 6, 9, 12, 15, 26, 27, 29}) {
        if (line[column] != ' ') return false;
    }
    date = {two_digits(line + 1),  two_digits(line + 4),  two_digits(line + 7),
            two_digits(line + 10), two_digits(line + 13), field_double(line, length, 15, 11)};
    sat_num = two_digits(line + 30);
    return date.year >= 0 && date.month >= 0 && date.day >= 0 && date.hour >= 0 && date.minute >= 0 &&
           two_digits(line + 16) >= 0 && line[18] == '.' && line[28] == '0' && sat_num > 0 && !is_digit(line[32]);
}

/// Epoch line of a version 2 file that opens an epoch to be kept.
bool is_epoch_v20(const char* line, double sample_rate, GTime& epoch_time, int& sat_num) {
    TimeYMD usual = {};
    if (read_usual_epoch_v20(line, current_file.lines.length, usual, sat_num)) {
        return epoch_wanted(usual, sample_rate, epoch_time);
    }
    if (std::strlen(line) <= 20 || line[3] != ' ') return false;
    int flag = 0;
    int count = 0;
    if (scan(from_column(line, 26), "%1d %2d", &flag, &count) != 2 || flag != 0 || count <= 0) return false;
    char text[27];
    copy_field(line, 0, 26, text);
    TimeYMD date = {};
    if (scan(text, "%d %d %d %d %d %lf", &date.year, &date.month, &date.day, &date.hour, &date.minute, &date.second) !=
        6) {
        if (std::isupper(static_cast<unsigned char>(*from_column(line, 32))) != 0)
            warn_date();  // a satellite stands there
        return false;
    }
    sat_num = count;
    return epoch_wanted(date, sample_rate, epoch_time);
}

/// Satellite list of a version 2 epoch: the given epoch line, then its continuation lines.
void read_satellite_list_v20(char (&line)[kLineSize], int sat_num, OBSDATA_EPOCH& epoch) {
    for (int i = 0; i < sat_num; ++i) {
        const int k = i % kSatsOnLineV2;
        if (i > 0 && k == 0 && !read_line(current_file.lines, line)) return;
        if (i >= MAXSAT_EPOCH) continue;
        const int column = 3 * k + 32;
        const int prn = two_digits(line + column + 1);
        if (prn >= 0 && (line[column] == ' ' || line[column] == 'G') &&
            column + 3 <= static_cast<int>(current_file.lines.length)) {
            epoch.satobs[i].satsys = GPS;
            epoch.satobs[i].prn = prn;
            continue;
        }
        char name[4] = {};
        copy_field(line, column, 3, name);
        if (name[0] == ' ') name[0] = 'G';
        replace_char(name, ' ', '0');
        epoch.satobs[i].satsys = string2satsysprn(name, &epoch.satobs[i].prn);
    }
}

/// Observation lines of one version 2 satellite.
void read_satellite_v20(const ColumnsV2& columns, OBSDATA_SAT& sat) {
    sat.flag_sat = OBS_OK;
    sat.num_obs = clamp_count(columns.count, MAXOBS_PER_SAT);
    const int whole = columns.count / kValuesOnLineV2;
    const int rest = columns.count % kValuesOnLineV2;
    expect_next(sat);
    char line[kLineSize];
    int index = 0;
    // settled: the line for the rest is read even when there is no rest, so that a count of 5 or 10 consumes a line too many
    for (int row = 0; row <= whole; ++row) {
        if (!read_line(current_file.lines, line)) return;
        const bool last = row == whole;
        const std::size_t visible = current_file.lines.length;
        const int length = static_cast<int>(visible);  // newline included
        for (int k = 0; k < (last ? rest : kValuesOnLineV2); ++k) {
            const int end = kFieldWidth * k + kValueWidth;
            // settled: the bound is closed on the rest line only; a field that is cut off does not raise the index, so that
            // later values move up against the columns
            if (!(end < length || (last && end == length))) continue;
            if (index >= MAXOBS_PER_SAT) {
                if (last) {
                    warn_types();
                } else {
                    report(ULOG_WARNING_LEVEL, "nobsnum(%d) >= MAXOBS_PER_SAT(%d)", index, MAXOBS_PER_SAT);
                }
                break;
            }
            const char digit = end < length ? line[end] : ' ';
            store_record(sat.obsdata[index], columns.empty[index], value_at(line, visible, kFieldWidth * k),
                         is_digit(digit) ? digit - '0' : 0);
            ++index;
        }
    }
}

// --- reading: version 3 ----------------------------------------------------------------------------------------------

/// The observation types of each system of a version 3 file.
struct ColumnsV3 {
    int nsys;
    const sysGNSS* system;
    const int* count;
    OBSREC empty[MAXNUM_SYS][MAXOBS_PER_SAT];
};

/// Epoch line of a version 3 file that opens an epoch to be kept.
bool is_epoch_v30(const char* line, double sample_rate, GTime& epoch_time, int& sat_num) {
    if (line[0] != '>' || std::strlen(line) <= 20) return false;
    int flag = 0;
    int count = 0;
    if (scan(from_column(line, 31), "%d%3d", &flag, &count) != 2 || flag != 0 || count < 0) return false;
    char text[30];
    copy_field(line, 0, 29, text);
    TimeYMD date = {};
    if (scan(text, "> %4d %2d %2d %2d %2d %11lf", &date.year, &date.month, &date.day, &date.hour, &date.minute,
             &date.second) != 6) {
        warn_date();
        return false;
    }
    sat_num = count;
    return epoch_wanted(date, sample_rate, epoch_time);
}

/// Satellite lines of a version 3 epoch. Satellites of systems that the header does not list take no slot.
void read_satellites_v30(const ColumnsV3& columns, int sat_num, OBSDATA_EPOCH& epoch) {
    char line[kLineSize];
    OBSDATA_SAT excess = {};
    int nsat = 0;
    for (int i = 0; i < sat_num; ++i) {
        if (!read_line(current_file.lines, line)) return;
        OBSDATA_SAT& sat = nsat < MAXSAT_EPOCH ? epoch.satobs[nsat] : excess;
        expect_next(sat);
        char name[4] = {};
        const char* word = line;
        while (is_blank(*word)) ++word;
        for (int k = 0; k < 3 && word[k] != '\0' && !is_blank(word[k]); ++k) name[k] = word[k];
        sat.flag_sat = OBS_OK;
        sat.satsys = string2satsysprn(name, &sat.prn);
        const sysGNSS* known = std::find(columns.system, columns.system + columns.nsys, sat.satsys);
        const long row = known - columns.system;
        if (row == columns.nsys) continue;
        if (nsat == MAXSAT_EPOCH) warn_satellites();
        const int num_types = clamp_count(columns.count[row], MAXOBS_PER_SAT);
        const std::size_t length = current_file.lines.length;
        for (int j = 0; j < num_types; ++j) {
            // settled: the loss-of-lock digit is not read, and a blank field counts as a value of 0
            const double value = value_at(line, length, kFieldWidth * j + 3);
            store_record(sat.obsdata[j], columns.empty[row][j], value, 0);
            ++sat.num_obs;
        }
        if (nsat < MAXSAT_EPOCH) ++nsat;
    }
}

/// Header and body of the open file by its version; the next free index.
long int read_by_version(FILE* pf, double version, long int index, int rcvno, double sample_rate) {
    if (version >= 2.0 && version < 3.0) {
        OBSFREQ freq[MAXOBS_PER_SAT] = {};
        OBSTYPE type[MAXOBS_PER_SAT] = {};
        OBSCODE code[MAXOBS_PER_SAT] = {};
        const int num = resolve_rnx_header_v20(pf, freq, type, code);
        return resolve_rnx_record_v20(pf, index, rcvno, num, freq, type, code, sample_rate);
    }
    if (version >= 3.0) {
        sysGNSS system[MAXNUM_SYS] = {};
        int count[MAXNUM_SYS] = {};
        TYPE_FREQ_CODE types[MAXNUM_SYS][MAXOBS_PER_SAT] = {};
        const int nsys = resolve_rnx_header_v30(pf, system, count, types);
        return resolve_rnx_record_v30(pf, index, rcvno, nsys, system, count, types, sample_rate);
    }
    report(ULOG_ERROR_LEVEL, "unkonwn version (%lf) of the rinex file\n", version);
    return index;
}

}  // namespace

bool load_observation_rinex(char* filename_rinex, int rcvno, double sample_rate) {
    const char* name = filename_rinex != nullptr ? filename_rinex : "";
    const long int start = g_num_obs_storage;
    const File file = open_text(name);
    if (file == nullptr) {
        report(ULOG_WARNING_LEVEL, "rinex observation file (%s) open failed!\n", name);
        return false;
    }
    current_file = CurrentFile{{file.get(), name}};
    read_in_blocks(current_file.lines);
    char line[kLineSize];
    bool loaded = false;
    if (!read_line(current_file.lines, line)) {
        report(ULOG_WARNING_LEVEL, "rinex observation file nothing to read!\n");
    } else if (line[20] != 'O' && !contains(line, "OBSERVATION")) {
        report(ULOG_WARNING_LEVEL, "current file is not rinex observation file!\n");
    } else if (begin_records(file.get(), start)) {
        const long int obsnum = read_by_version(file.get(), field_double(line, 0, 9), start, rcvno, sample_rate);
        g_num_obs_storage = static_cast<int>(obsnum);
        g_num_obs_storage = remove_duplicate_gnss_observation(g_num_obs_storage, g_obs_storage);
        report(ULOG_INFO_LEVEL, "obsfile=%s, obsnum=%ld, g_num_obs_storage=%d", name, obsnum, g_num_obs_storage);
        loaded = true;
    }
    current_file = CurrentFile{};
    return loaded;
}

int resolve_rnx_header_v20(FILE* pf, OBSFREQ* obs_freq_header, OBSTYPE* obs_type_header, OBSCODE* obs_code_header) {
    if (pf == nullptr) return -1;
    begin_header(pf);
    char line[kLineSize];
    int total = 0;
    while (read_line(current_file.lines, line)) {
        if (has_label(line, "# / TYPES OF OBSERV")) {
            int count = 0;
            scan(line, "%6d", &count);
            count = std::max(count, 0);
            // settled: all codes come from this line; behind column 59 they are read from the label and warn
            const int kept = std::min(count, MAXOBS_PER_SAT - std::min<int>(total, MAXOBS_PER_SAT));
            for (int k = 0; k < kept; ++k) {
                char code[3] = {};
                scan(from_column(line, 6 * (k + 1) + 4), "%2s", code);
                obscode_conversion_v2(code, &obs_type_header[total + k], &obs_freq_header[total + k],
                                      &obs_code_header[total + k]);
            }
            if (kept < count) warn_types();
            total = count > INT_MAX - total ? INT_MAX : total + count;
        }
        if (contains(line, "END OF HEADER")) break;
    }
    return total;
}

int resolve_rnx_header_v30(FILE* pf, sysGNSS* sysall, int* numobs, TYPE_FREQ_CODE (*obs_type_freq_code)[10]) {
    if (pf == nullptr) return -1;
    begin_header(pf);
    char line[kLineSize];
    int nsys = 0;
    while (read_line(current_file.lines, line)) {
        if (has_label(line, "SYS / # / OBS TYPES")) {
            char letter = ' ';
            int count = 0;
            scan(line, "%c  %3d", &letter, &count);
            if (letter == 'G' || letter == 'C') {
                TYPE_FREQ_CODE excess[MAXOBS_PER_SAT] = {};
                const bool fits = nsys < MAXNUM_SYS;
                if (fits) {
                    sysall[nsys] = letter == 'G' ? GPS : BDS;
                    numobs[nsys] = clamp_count(count, MAXOBS_PER_SAT);
                } else {
                    warn_limit(current_file.systems, current_file.lines.name, MAXNUM_SYS, "systems");
                }
                read_types_v30(line, count, fits ? obs_type_freq_code[nsys] : excess);
                if (fits) ++nsys;
            } else if (letter == 'J') {
                report(ULOG_WARNING_LEVEL, "WARNING: QZSS not supported for now!\n");
            } else if (letter == 'I') {
                report(ULOG_WARNING_LEVEL, "WARNING: IRNSS not supported for now!\n");
            } else if (letter == 'S') {
                report(ULOG_WARNING_LEVEL, "WARNING: SBAS not supported for now!\n");
            } else {
                // settled: E, R and every other letter end the header, systems behind them are never seen
                report(ULOG_WARNING_LEVEL, "WARNING: UNKNOWN satellite system(%c)!\n", letter);
                return nsys;
            }
        }
        if (contains(line, "END OF HEADER")) break;
    }
    return nsys;
}

int resolve_rnx_record_v20(FILE* pf, long int epoch_index, int rcvno, int num_obs_code, OBSFREQ* obs_freq_header,
                           OBSTYPE* obs_type_header, OBSCODE* obs_code_header, double sample_rate) {
    if (pf == nullptr) return -1;
    if (!begin_records(pf, epoch_index)) return static_cast<int>(epoch_index);
    ColumnsV2 columns = {num_obs_code, {}};
    for (int k = 0; k < clamp_count(num_obs_code, MAXOBS_PER_SAT); ++k)
        columns.empty[k] = empty_record({obs_type_header[k], obs_freq_header[k], obs_code_header[k]});
    char line[kLineSize];
    GTime epoch_time;
    int sat_num = 0;
    while (read_line(current_file.lines, line)) {
        if (!is_epoch_v20(line, sample_rate, epoch_time, sat_num)) continue;
        OBSDATA_EPOCH& epoch = begin_epoch(epoch_index, rcvno, epoch_time, sat_num);
        if (sat_num > MAXSAT_EPOCH) warn_satellites();
        read_satellite_list_v20(line, sat_num, epoch);
        OBSDATA_SAT excess = {};
        for (int i = 0; i < sat_num; ++i) read_satellite_v20(columns, i < MAXSAT_EPOCH ? epoch.satobs[i] : excess);
        ++epoch_index;
    }
    return static_cast<int>(epoch_index);
}

int resolve_rnx_record_v30(FILE* pf, long int epoch_index, int rcvno, int nsys, sysGNSS* sysall, int* numobs,
                           TYPE_FREQ_CODE (*obs_type_freq_code)[10], double sample_rate) {
    if (pf == nullptr) return -1;
    if (!begin_records(pf, epoch_index)) return static_cast<int>(epoch_index);
    ColumnsV3 columns = {clamp_count(nsys, MAXNUM_SYS), sysall, numobs, {}};
    for (int row = 0; row < columns.nsys; ++row) {
        for (int j = 0; j < clamp_count(numobs[row], MAXOBS_PER_SAT); ++j)
            columns.empty[row][j] = empty_record(obs_type_freq_code[row][j]);
    }
    char line[kLineSize];
    GTime epoch_time;
    int sat_num = 0;
    while (read_line(current_file.lines, line)) {
        if (!is_epoch_v30(line, sample_rate, epoch_time, sat_num)) continue;
        read_satellites_v30(columns, sat_num, begin_epoch(epoch_index, rcvno, epoch_time, sat_num));
        ++epoch_index;
    }
    return static_cast<int>(epoch_index);
}

// --- the store -------------------------------------------------------------------------------------------------------

int cmp_sort_obsdata_epoch(const void* a, const void* b) {
    const GTime& ta = static_cast<const OBSDATA_EPOCH*>(a)->epoch_time;
    const GTime& tb = static_cast<const OBSDATA_EPOCH*>(b)->epoch_time;
    if ((ta.sys == UKNTS) != (tb.sys == UKNTS)) return ta.sys == UKNTS ? -1 : 1;
    if (gtime_less(ta, tb)) return -1;
    if (gtime_greater(ta, tb)) return 1;
    return 0;
}

void sort_observation_storage(OBSDATA_EPOCH* obs_list, size_t nsize) {
    if (obs_list == nullptr) {
        report(ULOG_ERROR_LEVEL, "obs_list is null pointer\n");
        return;
    }
    // A list in order, the usual one, is left alone: the records are large.
    const auto later = [](const OBSDATA_EPOCH& a, const OBSDATA_EPOCH& b) {
        return cmp_sort_obsdata_epoch(&a, &b) > 0;
    };
    if (std::adjacent_find(obs_list, obs_list + nsize, later) == obs_list + nsize) return;
    std::qsort(obs_list, nsize, sizeof(OBSDATA_EPOCH), &cmp_sort_obsdata_epoch);
}

int remove_duplicate_gnss_observation(int num_epoch, OBSDATA_EPOCH* obs_storage) {
    if (obs_storage == nullptr) num_epoch = 0;
    sort_observation_storage(obs_storage, static_cast<size_t>(std::max(num_epoch, 0)));
    int slow = 0;
    for (int fast = 1; fast < num_epoch; ++fast) {
        const GTime& kept = obs_storage[slow].epoch_time;
        const GTime& next = obs_storage[fast].epoch_time;
        // times of different systems cannot be compared, and count as different
        if (kept.sys == next.sys && gtime_equal(kept, next)) continue;
        ++slow;
        if (slow != fast) obs_storage[slow] = obs_storage[fast];
    }
    return slow + 1;  // settled: 1 for an empty array
}

int match_observation_storage(OBSDATA_EPOCH* obs_list, size_t nsize, GTime time_target, double threshold_sec) {
    if (obs_list == nullptr || nsize == 0) return -1;
    // settled: outside the array the end counts as a match, whatever the threshold
    if (gtime_less(time_target, obs_list[0].epoch_time)) return 0;
    if (gtime_greater(time_target, obs_list[nsize - 1].epoch_time)) return static_cast<int>(nsize) - 1;
    int s = 0;
    int e = static_cast<int>(nsize) - 1;
    int m = 0;
    while (s <= e) {
        m = static_cast<int>((s + e) / 2.0);
        const double d = gtimeSubSec(time_target, obs_list[m].epoch_time);
        if (std::fabs(d) <= threshold_sec) return m;
        if (d < -threshold_sec) {
            e = m - 1;
        } else if (d > threshold_sec) {
            s = m + 1;
        } else {
            return -1;  // not a number
        }
    }
    const double d = gtimeSubSec(time_target, obs_list[m].epoch_time);
    return std::fabs(d) <= threshold_sec ? m : -1;
}

OBSDATA_EPOCH* get_obs_epoch(int index, int rcvno) {
    // settled: the upper bound is closed and reaches one record past the last
    if (g_obs_storage == nullptr || index < 0 || index > g_num_obs_storage) return nullptr;
    return g_obs_storage[index].rcv == rcvno ? &g_obs_storage[index] : nullptr;
}

bool get_obs_record(int sat_idx_epoch, int obs_idx_obsdata, OBSDATA_EPOCH* obsepoch, OBSREC* /*obsrec*/) {
    // settled: it answers only whether the record is usable, obsrec is not written
    if (obsepoch->flag_epoch != OBS_OK) return false;
    if (sat_idx_epoch < 0 || sat_idx_epoch >= satellites_in(*obsepoch)) return false;
    const OBSDATA_SAT& sat = obsepoch->satobs[sat_idx_epoch];
    if (sat.flag_sat != OBS_OK) return false;
    if (obs_idx_obsdata < 0 || obs_idx_obsdata >= records_in(sat)) return false;
    return sat.obsdata[obs_idx_obsdata].flag_obs == OBS_OK;
}

// --- writing ---------------------------------------------------------------------------------------------------------

namespace {

/// Text that grows in a caller's buffer of kHeaderSize characters.
struct HeaderText {
    char* text;
    std::size_t used = 0;
};

[[gnu::format(printf, 2, 3)]] void append(HeaderText& header, const char* format, ...) {
    const std::size_t room = kHeaderSize - header.used;
    va_list args;
    va_start(args, format);
    const int n = print_list(header.text + header.used, room, format, args);
    va_end(args);
    if (n > 0) header.used += std::min(static_cast<std::size_t>(n), room - 1);
}

void append_types(HeaderText& header, int system, int count, const TYPE_FREQ_CODE (&types)[kTypesOnLineV3]) {
    if (count > kTypesOnLineV3) {
        // settled: the text says 14 and the test rejects 14
        report(ULOG_ERROR_LEVEL, "generate_rinex_header(): not support obs num[%d] > 14, satsys=%d", count, system);
        return;
    }
    constexpr char letters[kSystemRows + 1] = " GCE";
    char line[kLabelColumn + 1];
    int n = std::snprintf(line, sizeof line, "%c %3d  ", letters[system], count);
    for (int k = 0; k < count; ++k) {
        TYPE_FREQ_CODE_AsString(types[k], line + n);  // three characters, no terminator
        line[n + 3] = ' ';
        n += 4;
    }
    line[n] = '\0';
    append(header, "%-*sSYS / # / OBS TYPES\n", kLabelColumn, line);
}

/// Observation types of the systems of one epoch; a later satellite of a system overrides an earlier one.
void append_types_of_epoch(HeaderText& header, const OBSDATA_EPOCH& epoch) {
    int numobs[kSystemRows] = {};
    TYPE_FREQ_CODE types[kSystemRows][kTypesOnLineV3] = {};
    for (int i = 0; i < satellites_in(epoch); ++i) {
        const OBSDATA_SAT& sat = epoch.satobs[i];
        if (sat.satsys < UKNSYS || sat.satsys > GAL) continue;
        numobs[sat.satsys] = sat.num_obs;
        for (int k = 0; k < records_in(sat); ++k) {
            types[sat.satsys][k] = {sat.obsdata[k].type, sat.obsdata[k].freq, sat.obsdata[k].code};
        }
    }
    for (int i = 0; i < kSystemRows; ++i) {
        if (numobs[i] > 0) append_types(header, i, numobs[i], types[i]);
    }
}

void append_time(HeaderText& header, const OBSDATA_EPOCH& epoch, const char* label) {
    const TimeYMD t = GTime2YMD(epoch.epoch_time);
    append(header, "  %4d    %2d    %2d    %2d    %2d   %10.7f     GPS         %s \n", t.year, t.month, t.day, t.hour,
           t.minute, t.second, label);
}

void write_satellite(FILE* pf, const OBSDATA_SAT& sat) {
    char name[32];
    satsysprn2string(sat.satsys, sat.prn, name);
    std::fputs(name, pf);
    for (int k = 0; k < records_in(sat); ++k) {
        print(pf, "%14.3f%1d%1d", sat.obsdata[k].value, sat.obsdata[k].LLI, 0);
    }
    std::fputc('\n', pf);
}

}  // namespace

void generate_rinex_header(double /*version*/, int rcvno, int num_obs_storage, OBSDATA_EPOCH* obs_storage,
                           char* header_txt) {
    HeaderText header = {header_txt};
    append(header, "     3.05           OBSERVATION DATA    M                   RINEX VERSION / TYPE\n");
    char now[100];
    get_time_now(now);
    const TimeYMD t = GTime2YMD(str2gtime(now, tsUTC));
    append(header, "VELMAR              VELMAR-RNX          %04d%02d%02d %02d%02d%02d UTC PGM / RUN BY / DATE\n",
           t.year, t.month, t.day, t.hour, t.minute, static_cast<int>(t.second));
    append(header, "%2d                                                          MARKER NUMBER\n", rcvno);

    const OBSDATA_EPOCH* begin = obs_storage;
    const OBSDATA_EPOCH* end = obs_storage != nullptr ? obs_storage + std::max(num_obs_storage, 0) : obs_storage;
    const auto usable = [](const OBSDATA_EPOCH& epoch) { return epoch.flag_epoch == OBS_OK; };
    const OBSDATA_EPOCH* sample = std::find_if(begin + (end - begin) / 2, end, usable);
    if (sample != end) append_types_of_epoch(header, *sample);
    const OBSDATA_EPOCH* first = std::find_if(begin, end, usable);
    if (first != end) append_time(header, *first, "TIME OF FIRST OBS");
    if (begin != end) {
        const OBSDATA_EPOCH* last = end - 1;
        while (last != begin && !usable(*last)) --last;  // settled: stops at index 0 in any case
        append_time(header, *last, "TIME OF LAST OBS");
    }
    append(header, "                                                            END OF HEADER \n");
}

bool write_rinex_observation(char* filename_rinex, int rcvno, double version, int num_obs_storage,
                             OBSDATA_EPOCH* obs_storage) {
    char header[kHeaderSize];
    generate_rinex_header(version, rcvno, num_obs_storage, obs_storage, header);
    const char* name = filename_rinex != nullptr ? filename_rinex : "";
    const File file = create_text(name);
    if (file == nullptr) {
        report(ULOG_WARNING_LEVEL, "rinex file[%s] open failed!", name);
        return false;
    }
    FILE* pf = file.get();
    std::fputs(header, pf);
    const int num_epochs = obs_storage != nullptr ? num_obs_storage : 0;
    for (int n = 0; n < num_epochs; ++n) {
        const OBSDATA_EPOCH& epoch = obs_storage[n];
        if (epoch.flag_epoch != OBS_OK) continue;
        const TimeYMD t = GTime2YMD(epoch.epoch_time);
        const int sat_num = satellites_in(epoch);
        print(pf, "> %4d %02d %02d %02d %02d %11.7f %d %2d\n", t.year, t.month, t.day, t.hour, t.minute, t.second, 0,
              sat_num);
        for (int i = 0; i < sat_num; ++i) write_satellite(pf, epoch.satobs[i]);
    }
    return true;
}
