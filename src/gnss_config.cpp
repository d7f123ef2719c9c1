/// \file gnss_config.cpp
/// Signal vocabulary, satellite identifiers, carrier frequencies, and the GNSS processing configuration.
#include "gnss_config.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common_function.h"
#include "private/constants.h"
#include "private/lines.h"
#include "private/report.h"
#include "private/text.h"

using namespace leopod;

GNSSCONFIG gnssconfig;

namespace {

constexpr int kFirstLeoIndex = 95;
constexpr int kFirstBdsIndex = 32;
constexpr int kStationIndex = 104;
constexpr int kIndexSpace = MAXSAT_GNSS + MAXNUM_STATION;
constexpr int kMaxBands = 3;    ///< distinct bands of a configured system
constexpr int kMaxFields = 30;  ///< fields of a configuration line

}  // namespace

// --- satellite identifiers -------------------------------------------------------------------------------------------

int satsysprn2index(sysGNSS sys, int prn) {
    long long index = -1;
    switch (sys) {
        case GPS:
            index = prn - 1LL;
            break;
        case BDS:
            index = prn + (kFirstBdsIndex - 1LL);
            break;
        case LEO:
            index = prn + (kFirstLeoIndex - 1LL);
            break;
        case STA:
            return kStationIndex;
        default:
            return -1;
    }
    // settled: no range test of prn, the ranges alias
    if (index < 0) return -1;
    if (index >= kIndexSpace) {
        // settled: the text shows the limit behind "sys=" and the system behind "prn="
        report(ULOG_ERROR_LEVEL, "satsysprn2index(): index[%d] > MAXSAT_GNSS + MAXNUM_STATION, sys=%d, prn=%d",
               static_cast<int>(index < INT_MAX ? index : INT_MAX), kIndexSpace, static_cast<int>(sys));
        return -1;
    }
    return static_cast<int>(index);
}

bool satindex2sysprn(int index, sysGNSS* sys, int* prn) {
    if (index >= MAXSAT_GNSS) {
        report(ULOG_ERROR_LEVEL, "satindex2sysprn(): satindex[%d] > MAXSAT_GNSS[%d]", index,
               static_cast<int>(MAXSAT_GNSS));
        *sys = UKNSYS;
        *prn = -1;
        return false;
    }
    if (index < 0) return false;
    if (index < kFirstBdsIndex) {
        *sys = GPS;
        *prn = index + 1;
    } else if (index < kFirstLeoIndex) {
        *sys = BDS;
        *prn = index - kFirstBdsIndex + 1;
    } else {
        *sys = LEO;
        *prn = index - kFirstLeoIndex + 1;
    }
    return true;
}

sysGNSS string2satsysprn(char* str_satsysprn, int* prn) {
    const char letter = str_satsysprn[0];
    *prn = letter != '\0' ? to_int(str_satsysprn + 1) : 0;
    if (*prn < 0) *prn = 0;
    switch (letter) {
        case 'G':
            return GPS;
        case 'C':
            return BDS;
        case 'E':
            return GAL;
        case 'R':
            return GLO;
        case 'L':
            return LEO;
        case 'T':
            return STA;
        default:
            return UKNSYS;
    }
}

void satsysprn2string(sysGNSS satsys, int prn, char* prn_str) {
    char letter = 'G';
    if (satsys == BDS) letter = 'C';
    if (satsys == GAL) letter = 'E';
    if (satsys == GLO) letter = 'R';
    if (satsys == LEO) letter = 'L';
    char text[16];
    std::snprintf(text, sizeof text, "%c%02d", letter, prn);
    copy_field(text, 0, 3, prn_str);  // the caller's buffer need not hold more
}

void sysGNSSAsString(sysGNSS sys, char* str) {
    // settled: a station has no name here
    constexpr const char* kNames[] = {"UKNSYS", "GPS", "BDS", "GAL", "GLO", "GEO", "LEO"};
    const char* const name = sys >= GPS && sys <= LEO ? kNames[sys] : kNames[UKNSYS];
    std::memcpy(str, name, std::strlen(name) + 1);
}

// --- observation codes and frequencies -------------------------------------------------------------------------------

namespace {

// Characters of the observation codes, in the order of the enumerations, from value 1 on.
constexpr char kTypeChars[] = "CLDS";
constexpr char kFreqChars[] = "123456789abcdefgh";
constexpr char kCodeChars[] = "ABCDEILMNPQSWXYZ";

/// Enumeration value of a character, 0 when it isn't one of them.
int value_of(const char* characters, char c) {
    const char* p = c != '\0' ? std::strchr(characters, c) : nullptr;
    return p != nullptr ? static_cast<int>(p - characters) + 1 : 0;
}

/// Character of an enumeration value.
char char_of(const char* characters, int value, char unknown) {
    return value >= 1 && value <= static_cast<int>(std::strlen(characters)) ? characters[value - 1] : unknown;
}

void warn_frequency(const char* obscode) {
    report(ULOG_WARNING_LEVEL, "WARNING: UNKNOWN gnss obs frequency %s\n", obscode);
}

/// Carrier frequencies [MHz] by system and band; 0: none. L1 and L2 of GLO depend on the channel.
constexpr double kFrequency[LEO + 1][K5 + 1] = {
    // -, L1, L2, L3, L4, L5, L6, L7, L8, L9, C1, C2, C3, K1, K2, K3, K4, K5
    {},                                                                                                    // UKNSYS
    {0, 1575.42, 1227.6, 0, 0, 1176.45},                                                                   // GPS
    {0, 1575.42, 1561.098, 0, 0, 1176.45, 1268.52, 1207.14, 1191.795},                                     // BDS
    {0, 1575.42, 0, 0, 0, 1176.45, 1278.75, 1207.14, 1191.795},                                            // GAL
    {0, 0, 0, 1202.025},                                                                                   // GLO
    {},                                                                                                    // GEO
    {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 5000.0, 7000.0, 10000.0, 12000.0, 25000.0, 40000.0, 50000.0, 70000.0},  // LEO
};

}  // namespace

void TYPE_FREQ_CODE_AsString(TYPE_FREQ_CODE tfc, char* str) {
    // settled: no terminator
    str[0] = char_of(kTypeChars, tfc.type, 'U');
    str[1] = char_of(kFreqChars, tfc.freq, 'u');
    str[2] = char_of(kCodeChars, tfc.code, 'U');
}

void obscode_conversion_v2(char* obscode, OBSTYPE* t, OBSFREQ* b, OBSCODE* c) {
    const char first = obscode[0];
    const char second = first != '\0' ? obscode[1] : '\0';
    if (const int type = first == 'P' ? static_cast<int>(RANGE) : value_of(kTypeChars, first); type != 0) {
        *t = static_cast<OBSTYPE>(type);
        *c = first == 'C' ? aC : aP;
    } else {
        report(ULOG_WARNING_LEVEL, "Warning: unkonwn obs type: %c in obscode_conversion_v2()\n", first);
    }
    if (const int freq = second == 'A' ? static_cast<int>(L1) : value_of(kFreqChars, second); freq != 0) {
        *b = static_cast<OBSFREQ>(freq);
    } else {
        warn_frequency(obscode);
    }
    if (second == 'A') *c = aC;
}

void obscode_conversion_v3(char* obscode, OBSTYPE* t, OBSFREQ* b, OBSCODE* c) {
    const char first = obscode[0];
    const char second = first != '\0' ? obscode[1] : '\0';
    const char third = second != '\0' ? obscode[2] : '\0';
    if (const int type = value_of(kTypeChars, first); type != 0) {
        *t = static_cast<OBSTYPE>(type);
    } else {
        report(ULOG_WARNING_LEVEL, "WARNING: UNKNOWN gnss obs type %s\n", obscode);
    }
    if (const int freq = value_of(kFreqChars, second); freq != 0) {
        *b = static_cast<OBSFREQ>(freq);
    } else {
        warn_frequency(obscode);
    }
    if (const int code = third == ' ' ? static_cast<int>(aX) : value_of(kCodeChars, third); code != 0) {
        *c = static_cast<OBSCODE>(code);
    } else {
        report(ULOG_WARNING_LEVEL, "WARNING: UNKNOWN gnss obs code %s\n", obscode);
    }
}

double get_obs_frequency(sysGNSS satsys, OBSFREQ band, int prn) {
    if (satsys < GPS || satsys > LEO || satsys == GEO) {
        report(ULOG_WARNING_LEVEL, "Unrecognised satellite system: %d\n", static_cast<int>(satsys));
        return 0.0;
    }
    // settled: the divisor of the channel step is 6
    if (satsys == GLO && band == L1) return 1602.0 + static_cast<double>(9LL * prn) / 6.0;
    if (satsys == GLO && band == L2) return 1246.0 + static_cast<double>(7LL * prn) / 6.0;
    const double frequency = band >= L1 && band <= K5 ? kFrequency[satsys][band] : 0.0;
    if (frequency == 0.0) {
        // settled: the name is "GPS" for every system
        report(ULOG_WARNING_LEVEL, "%s%02d band %d can not find frequency value.\n", "GPS", prn,
               static_cast<int>(band));
    }
    return frequency;
}

// --- configuration ---------------------------------------------------------------------------------------------------

namespace {

/// The dual-frequency default of one system: range and phase on two bands, one code, ionosphere-free.
void set_default_observables(GNSSCONFIG& config, int isys, OBSFREQ second_band, OBSCODE code) {
    const TYPE_FREQ_CODE observables[4] = {
        {RANGE, L1, code}, {PHASE, L1, code}, {RANGE, second_band, code}, {PHASE, second_band, code}};
    std::memcpy(config.obs_type_freq_code_used[isys], observables, sizeof observables);
    config.num_obs_freq_code[isys] = 4;
    config.num_freq[isys] = 2;
    config.opt_IF[isys] = 1;
    for (int i = 0; i < 2; ++i) {
        config.obs_index_IF_code[isys][i] = 2 * i;
        config.obs_index_IF_phase[isys][i] = 2 * i + 1;
    }
}

/// State of one configuration file under reading.
struct ConfigReader {
    const char* name = "";
    bool in_systems = false;
    bool in_general = false;
    char work[kLineSize] = {};
    char field[kMaxFields][kLineSize] = {};
    // one warning for each limit
    LineReader fields_limit;
    bool systems_limit = false;
    bool observables_limit = false;
    bool bands_limit = false;
    bool pair_limit = false;
};

/// Opens or closes one section; true if the line was consumed as its opening marker.
bool section_marker(const char* line, const char* open_marker, const char* close_marker, bool& open) {
    if (!open && contains(line, open_marker)) {
        open = true;
        return true;
    }
    if (contains(line, close_marker)) open = false;
    return false;
}

/// Brings a line into the work buffer and the fields.
void take_line(ConfigReader& reader, const char* line, std::size_t length) {
    // settled: the copy adds no terminator and nothing is cleared, so that the tail of a longer line before stays
    // behind a shorter one, and the fields that a line lacks keep their text
    std::memcpy(reader.work, line, length);
    string_trim(reader.work);
    Tokens tokens;
    split(reader.work, " ", tokens, kMaxFields, &reader.fields_limit);
    for (int i = 0; i < tokens.count; ++i) {
        std::memcpy(reader.field[i], tokens.token[i], std::strlen(tokens.token[i]) + 1);
        string_trim(reader.field[i]);
    }
}

sysGNSS system_of(const char* name) {
    if (contains(name, "GPS")) return GPS;
    if (contains(name, "BDS")) return BDS;
    if (contains(name, "GAL")) return GAL;
    return UKNSYS;
}

/// Distinct bands among the observables of a system.
int count_bands(ConfigReader& reader, const TYPE_FREQ_CODE* observables, int n) {
    OBSFREQ bands[kMaxBands];
    int count = 0;
    for (int i = 0; i < n; ++i) {
        bool found = false;
        for (int k = 0; k < count; ++k) found = found || bands[k] == observables[i].freq;
        if (found) continue;
        if (count == kMaxBands) {
            warn_limit(reader.bands_limit, reader.name, kMaxBands, "bands of a system");
            break;
        }
        bands[count++] = observables[i].freq;
    }
    return count;
}

/// Two positions of the ionosphere-free pair; false when one lies outside the observables.
bool read_pair(const char (*field)[kLineSize], int* pair) {
    for (int i = 0; i < 2; ++i) {
        const int position = to_int(field[i]);
        if (position < 0 || position >= MAXOBS_PER_SAT) return false;
        pair[i] = position;
    }
    return true;
}

/// System name, count, codes, and optionally IF with the two positions of the codes and of the phases.
void read_system_line(ConfigReader& reader) {
    const int isys = gnssconfig.num_sys;
    if (isys >= MAXNUM_SYS) {
        warn_limit(reader.systems_limit, reader.name, MAXNUM_SYS, "systems");
        return;
    }
    int n = to_int(reader.field[1]);
    if (n < 0) n = 0;
    const int n_kept = n < MAXOBS_PER_SAT ? n : MAXOBS_PER_SAT;
    if (n > n_kept) {
        warn_limit(reader.observables_limit, reader.name, MAXOBS_PER_SAT, "observables of a system");
    }
    gnssconfig.opt_IF[isys] = 0;
    gnssconfig.sys_used[isys] = system_of(reader.field[0]);
    gnssconfig.num_obs_freq_code[isys] = n_kept;
    TYPE_FREQ_CODE* used = gnssconfig.obs_type_freq_code_used[isys];
    for (int i = 0; i < n_kept; ++i) {
        obscode_conversion_v3(reader.field[2 + i], &used[i].type, &used[i].freq, &used[i].code);
    }
    gnssconfig.num_freq[isys] = count_bands(reader, used, n_kept);
    if (n <= kMaxFields - 7 && contains(reader.field[n + 2], "IF")) {
        if (read_pair(&reader.field[n + 3], gnssconfig.obs_index_IF_code[isys]) &&
            read_pair(&reader.field[n + 5], gnssconfig.obs_index_IF_phase[isys])) {
            gnssconfig.opt_IF[isys] = 1;
        } else if (!reader.pair_limit) {
            reader.pair_limit = true;
            report(ULOG_WARNING_LEVEL, "%s: IF position outside 0 to %d, the combination is dropped", reader.name,
                   MAXOBS_PER_SAT - 1);
        }
    }
    ++gnssconfig.num_sys;
}

void read_general_line(const ConfigReader& reader) {
    const struct {
        const char* key;
        double* value;
        double unit;
    } settings[] = {
        {"ELE_CUTOFF", &gnssconfig.ele_cutoff, kDegToRad},
        {"HUBER_COEF", &gnssconfig.huber_param_spp[0], 1.0},
        {"HUBER_POWER", &gnssconfig.huber_param_spp[1], 1.0},
        {"THRES_MW_SLIP", &gnssconfig.thres_slip_mw, 1.0},
        {"THRES_GF_SLIP", &gnssconfig.thres_slip_gf, 1.0},
        {"VAR_POS", &gnssconfig.var_pos, 1.0},
        {"VAR_VEL", &gnssconfig.var_vel, 1.0},
        {"VAR_ACC", &gnssconfig.var_acc, 1.0},
        {"VAR_CLK", &gnssconfig.var_clk, 1.0},
    };
    for (const auto& setting : settings) {
        if (contains(reader.work, setting.key)) {
            *setting.value = to_double(reader.field[1]) * setting.unit;
        }
    }
}

void read_config_line(ConfigReader& reader, const char* line) {
    const char* comment = std::strstr(line, "//");
    if (line[0] == '*' || comment == line) return;
    const std::size_t length = comment != nullptr ? static_cast<std::size_t>(comment - line) : std::strlen(line);
    if (section_marker(line, "+GNSS_SYS", "-GNSS_SYS", reader.in_systems)) return;
    if (section_marker(line, "+GENERAL_CONFIG", "-GENERAL_CONFIG", reader.in_general)) return;
    if (!reader.in_systems && !reader.in_general) return;
    take_line(reader, line, length);
    if (reader.in_systems) read_system_line(reader);
    if (reader.in_general) read_general_line(reader);
}

}  // namespace

void set_gnssconfig_system(GNSSCONFIG* config, int nsys, sysGNSS* systems) {
    if (nsys > MAXNUM_SYS) {
        bool warned = false;
        warn_limit(warned, "set_gnssconfig_system()", MAXNUM_SYS, "systems");
        nsys = MAXNUM_SYS;
    }
    for (int i = 0; i < nsys; ++i) {
        config->sys_used[i] = systems[i];
        if (systems[i] == GPS) set_default_observables(*config, i, L2, aP);
        if (systems[i] == GAL) set_default_observables(*config, i, L5, aC);
        if (systems[i] == BDS) set_default_observables(*config, i, L5, aP);
    }
    config->num_sys = nsys;
    config->ele_cutoff = 0.08726646259971647;  // 5 degrees
    config->huber_param_spp[0] = 2.5;
    config->huber_param_spp[1] = 3.5;
    config->thres_slip_mw = 0.3;
    config->thres_slip_gf = 0.05;
    config->var_pos = 900.0;
    config->var_vel = 100.0;
    config->var_acc = 100.0;
    config->var_clk = 900.0;
    config->var_ztd = 0.25;
    config->var_trop_gradient = 0.0001;
    config->var_dcb = 900.0;
    config->var_bias = 900.0;
    config->var_iono = 100.0;
}

void set_gnssconfig_from_file(char* configfile) {
    if (configfile == nullptr) {
        report_at(ULOG_ERROR_LEVEL, "gnss_config", __LINE__, __func__, "gnss config file is empty, stopping");
        return;
    }
    const File file = open_text(configfile);
    if (file == nullptr) {
        report(ULOG_ERROR_LEVEL, "gnssconfig file open failed, stopping");
        std::exit(1);
    }
    // settled: these differ from the defaults of set_gnssconfig_system; the mask, the slip thresholds and the Huber
    // parameters keep what the record held
    gnssconfig.num_sys = 0;
    gnssconfig.var_pos = 100.0;
    gnssconfig.var_vel = 100.0;
    gnssconfig.var_acc = 100.0;
    gnssconfig.var_clk = 100.0;
    gnssconfig.var_ztd = 0.25;
    gnssconfig.var_trop_gradient = 0.0001;
    gnssconfig.var_dcb = 900.0;
    gnssconfig.var_bias = 100.0;
    gnssconfig.var_iono = 100.0;

    ConfigReader reader;
    reader.name = configfile;
    reader.fields_limit.name = configfile;
    LineReader lines{file.get(), configfile};
    char line[kLineSize];
    while (read_line(lines, line)) read_config_line(reader, line);
    report(ULOG_INFO_LEVEL, "Reading gnssconfig=%s", configfile);
}

int get_gnssconfig_sys_index(sysGNSS sys, GNSSCONFIG* config) {
    for (int i = 0; i < config->num_sys; ++i) {
        if (config->sys_used[i] == sys) return i;
    }
    return -1;
}
