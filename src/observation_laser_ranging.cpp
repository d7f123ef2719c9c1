/// \file observation_laser_ranging.cpp
/// Records of laser ranging files, line by line.
#include "observation_laser_ranging.h"

#include <cstring>

#include "private/memory.h"
#include "private/report.h"
#include "private/text.h"

using namespace leopod;

int format_version = 0;
int nstat = 0;

namespace {

constexpr int kTokens = 100;
constexpr int kTokenSize = 256;
constexpr int kConfigIds = 20;
constexpr int kClearedConfigIds = 10;
constexpr int kScannedText = 1024;  ///< buffer of a text in a scan; its width is kScannedText - 1
constexpr std::size_t kNameColumn = 3;
constexpr std::size_t kNameWidth = 10;
constexpr std::size_t kNumbersColumn = 14;
constexpr std::size_t kCommentColumn = 3;

/// The tokens of a line, with the count that the failed numbers lower.
struct TokenTable {
    Memory memory{"tokenize"};
    Work<char> rows{memory, kTokens* kTokenSize};
    int count = 0;

    explicit TokenTable(char* line) {
        char separators[] = " \n";
        if (!memory.missing()) count = tokenize(line, separators, kTokens, kTokenSize, rows.data());
    }
    char* row(int i) const { return rows.data() + i * kTokenSize; }
    int present() const { return count < 0 ? kTokens : count; }
};

int read_token(char* token, int& value) { return readi(token, &value); }
int read_token(char* token, double& value) { return readd(token, &value); }
int read_token(char* token, long double& value) { return readld(token, &value); }
template <std::size_t N>
int read_token(char* token, char (&text)[N]) {
    copy_field(token, 0, N - 1, text);
    return 1;
}

/// Reads the fields from token 1 on; each failed number lowers the count.
template <typename... Fields>
void read_fields(TokenTable& tokens, Fields&... fields) {
    if (!tokens.memory.complete()) return;
    int index = 0;
    int failed = 0;
    ((failed += read_token(tokens.row(++index), fields) < 0), ...);
    tokens.count -= failed;
}

/// A line of fields by tokens; its result.
template <typename... Fields>
int read_line_of(char* str, Fields&... fields) {
    TokenTable tokens(str);
    read_fields(tokens, fields...);
    return tokens.count + 1;
}

}  // namespace

// --- text and numbers ------------------------------------------------------------------------------------------------

namespace {

constexpr int kMissingInt = -10000000;
constexpr double kMissingReal = -1e+30;

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool is_alphanumeric(char c) {
    const char l = lower(c);
    return (l >= 'a' && l <= 'z') || (c >= '0' && c <= '9');
}

}  // namespace

int tokenize(char* str, char* separator, int rows, int cols, char* tokens) {
    int count = 0;
    char* p = str;
    for (;;) {
        p += std::strspn(p, separator);
        if (*p == '\0') return count;
        const std::size_t length = std::strcspn(p, separator);
        if (count < rows && cols > 0) {
            const auto width = static_cast<std::size_t>(cols);
            char* row = tokens + static_cast<std::size_t>(count) * width;
            const std::size_t kept = length < width ? length : width - 1;
            std::memcpy(row, p, kept);
            std::memset(row + kept, 0, width - kept);
        }
        p += length;
        if (*p != '\0') *p++ = '\0';
        if (++count >= rows) {
            // settled: despite its text nothing quits, the callers go on with the rows that there are
            report(ULOG_WARNING_LEVEL, "Too many tokens for array! Quitting!\n");
            return -1;
        }
    }
}

int readi(char* str, int* ival) {
    if (isna(str)) {
        *ival = kMissingInt;
        return 0;
    }
    return scan(str, "%d", ival) == 1 ? 1 : -1;
}

int readd(char* str, double* dval) {
    if (isna(str)) {
        *dval = kMissingReal;
        return 0;
    }
    return scan(str, "%lf", dval) == 1 ? 1 : -1;
}

int readld(char* str, long double* ldval) {
    if (isna(str)) {
        *ldval = kMissingReal;
        return 0;
    }
    return scan(str, "%Lf", ldval) == 1 ? 1 : -1;
}

bool isna(char* str) {
    char na[] = "na";
    return strcasecmp(str, na) == 0;
}

void remove_blanks(char* str, int slen) {
    const std::size_t held = std::strlen(str);
    const std::size_t length = slen <= 0                               ? 0
                               : static_cast<std::size_t>(slen) < held ? static_cast<std::size_t>(slen)
                                                                       : held;
    if (length == 0) return;
    if (is_alphanumeric(str[0])) {
        // settled: a name of two words is cut to its first
        for (std::size_t i = length - 1; i >= 1; --i) {
            if (str[i] == ' ') str[i] = '\0';
        }
        return;
    }
    std::size_t first = 0;
    while (first < length && str[first] == ' ') ++first;
    std::memmove(str, str + first, length - first);  // settled: trailing blanks stay
    str[length - first] = '\0';
}

int strcasecmp(char* str1, char* str2) {
    for (; *str1 != '\0' && lower(*str1) == lower(*str2); ++str1, ++str2) {
    }
    return static_cast<unsigned char>(lower(*str1)) - static_cast<unsigned char>(lower(*str2));
}

// --- header records --------------------------------------------------------------------------------------------------

namespace {

/// Name in the fixed columns of version 1.
void read_name(const char* str, char (&name)[kNameWidth + 1]) {
    copy_field(str, kNameColumn, kNameWidth, name);
    remove_blanks(name, static_cast<int>(std::strlen(name)));
}

const char* from_column(const char* str, std::size_t column) {
    const std::size_t length = std::strlen(str);
    return str + (column < length ? column : length);
}

}  // namespace

int read_h1(char* str, rh1* header) {
    const int result = read_line_of(str, header->crd_literal, header->format_version, header->prod_year,
                                    header->prod_mon, header->prod_day, header->prod_hour);
    if (header->format_version == 0) header->format_version = 1;
    format_version = header->format_version;
    return result;
}

int read_h2(char* str, rh2* header) {
    if (format_version == 1) {
        read_name(str, header->stn_name);
        return scan(from_column(str, kNumbersColumn), "%d %d %d %d", &header->cdp_pad_id, &header->cdp_sys_num,
                    &header->cdp_occ_num, &header->stn_timescale) +
               2;
    }
    if (format_version != 2) return 0;
    // settled: the count without the plus 1 of the others
    return read_line_of(str, header->stn_name, header->cdp_pad_id, header->cdp_sys_num, header->cdp_occ_num,
                        header->stn_timescale, header->stn_network) -
           1;
}

int read_h3(char* str, rh3* header) {
    if (format_version == 1) {
        read_name(str, header->target_name);
        return scan(from_column(str, kNumbersColumn), "%d %d %d %d %d", &header->ilrs_id, &header->sic, &header->norad,
                    &header->SC_timescale, &header->target_type) +
               2;
    }
    if (format_version != 2) return 0;
    return read_line_of(str, header->target_name, header->ilrs_id, header->sic, header->norad, header->SC_timescale,
                        header->target_class, header->target_loc);
}

int read_h4(char* str, rh4* header) {
    rh4& h = *header;
    return read_line_of(str, h.data_type, h.start_year, h.start_mon, h.start_day, h.start_hour, h.start_min,
                        h.start_sec, h.end_year, h.end_mon, h.end_day, h.end_hour, h.end_min, h.end_sec, h.data_release,
                        h.refraction_app_ind, h.CofM_app_ind, h.xcv_amp_app_ind, h.stn_sysdelay_app_ind,
                        h.SC_sysdelay_app_ind, h.range_type_ind, h.data_qual_alert_ind);
}

int read_h5(char* str, rh5* header) {
    return read_line_of(str, header->prediction_type, header->year_of_century, header->date_and_time,
                        header->prediction_provider, header->sequence_number);
}

int read_h8(char*) { return 0; }

int read_h9(char*) { return 0; }

// --- configuration records -------------------------------------------------------------------------------------------

int read_c0(char* str, rc0* config) {
    constexpr int first = 3;
    TokenTable tokens(str);
    if (!tokens.memory.complete()) return 1;
    const int present = tokens.present();
    read_fields(tokens, config->detail_type, config->xmit_wavelength);
    // settled: ten of the twenty rows are cleared
    std::memset(config->config_ids, 0, kClearedConfigIds * sizeof config->config_ids[0]);
    for (int i = 0; i < kConfigIds && first + i < present; ++i)
        read_token(tokens.row(first + i), config->config_ids[i]);
    bool warned = false;
    if (present > first + kConfigIds) warn_limit(warned, "C0 record", kConfigIds, "configuration identifiers");
    return tokens.count + 1;
}

int read_c1(char* str, rc1* config) {
    return read_line_of(str, config->detail_type, config->laser_config_id, config->laser_type, config->prim_wavelength,
                        config->nom_fire_rate, config->pulse_energy, config->pulse_width, config->beam_div,
                        config->pulses_in_semitrain);
}

int read_c2(char* str, rc2* config) {
    TokenTable tokens(str);
    rc2& c = *config;
    const auto read = [&](auto&... further) {
        read_fields(tokens, c.detail_type, c.detector_config_id, c.detector_type, c.app_wavelength, c.qe, c.voltage,
                    c.dark_count, c.output_pulse_type, c.output_pulse_width, c.spectral_filter,
                    c.spectral_filter_xmission, c.spatial_filter, c.signal_proc, further...);
    };
    if (format_version == 2) {
        read(c.amp_gain, c.amp_bandwidth, c.amp_in_use);
    } else {
        read();
    }
    return tokens.count + 1;
}

int read_c3(char* str, rc3* config) {
    return read_line_of(str, config->detail_type, config->timing_config_id, config->time_source, config->freq_source,
                        config->timer, config->timer_serial_num, config->epoch_delay_corr);
}

int read_c4(char* str, rc4* config) {
    return read_line_of(str, config->detail_type, config->xponder_config_id, config->est_stn_utc_offset,
                        config->est_stn_osc_drift, config->est_xponder_utc_offset, config->est_xponder_osc_drift,
                        config->xponder_clock_ref_time, config->stn_off_drift_app_ind, config->SC_off_drift_app_ind,
                        config->SC_time_simplified_ind);
}

int read_c5(char* str, rc5* config) {
    return read_line_of(str, config->detail_type, config->software_config_id, config->tracking_software,
                        config->tracking_software_versions, config->processing_software,
                        config->processing_software_versions);
}

int read_c6(char* str, rc6* config) {
    return read_line_of(str, config->detail_type, config->met_config_id, config->pressure_sensor_manufacturer,
                        config->pressure_sensor_model, config->pressure_sensor_serial_num,
                        config->temperature_sensor_manufacturer, config->temperature_sensor_model,
                        config->temperature_sensor_serial_num, config->humidity_sensor_manufacturer,
                        config->humidity_sensor_model, config->humidity_sensor_serial_num);
}

int read_c7(char* str, rc7* config) {
    return read_line_of(str, config->detail_type, config->calconfig_id, config->target_name,
                        config->surveyed_target_dist, config->survey_error, config->other_fixed_delays,
                        config->pulse_energy, config->processing_software, config->processing_software_version);
}

// --- data records ----------------------------------------------------------------------------------------------------

namespace {

/// A calibration record with the fields behind those of all versions; its result.
template <typename... Fields>
int read_calibration(char* str, rd40& r, Fields&... further) {
    return read_line_of(str, r.sec_of_day, r.type_of_data, r.sysconfig_id, r.num_points_recorded, r.num_points_used,
                        r.one_way_target_dist, r.cal_sys_delay, r.cal_delay_shift, r.cal_rms, r.cal_skew,
                        r.cal_kurtosis, r.cal_PmM, r.cal_type_ind, r.cal_shift_type_ind, r.detector_channel,
                        further...);
}

/// A text that a scan may have reached.
template <std::size_t N>
void keep_text(const char (&scanned)[kScannedText], char (&text)[N]) {
    if (scanned[0] != '\0') copy_field(scanned, 0, N - 1, text);
}

}  // namespace

int read_10(char* str, rd10* record) {
    rd10& r = *record;
    if (format_version == 1) {
        char id[kScannedText] = "";
        const int n = scan(str, "%*s %Lf %Lf %1023s %d %d %d %d %d", &r.sec_of_day, &r.time_of_flight, id,
                           &r.epoch_event, &r.filter_flag, &r.detector_channel, &r.stop_number, &r.xcv_amp);
        keep_text(id, r.sysconfig_id);
        return n + 1;
    }
    if (format_version != 2) return 1;
    return read_line_of(str, r.sec_of_day, r.time_of_flight, r.sysconfig_id, r.epoch_event, r.filter_flag,
                        r.detector_channel, r.stop_number, r.xcv_amp, r.xmt_amp);
}

int read_11(char* str, rd11* record) {
    rd11& r = *record;
    if (format_version == 1) {
        char id[kScannedText] = "";
        const int n = scan(str, "%*s %Lf %Lf %1023s %d %lf %d %lf %lf %lf %lf %lf %d", &r.sec_of_day, &r.time_of_flight,
                           id, &r.epoch_event, &r.np_window_length, &r.num_ranges, &r.bin_rms, &r.bin_skew,
                           &r.bin_kurtosis, &r.bin_PmM, &r.return_rate, &r.detector_channel);
        keep_text(id, r.sysconfig_id);
        return n + 1;
    }
    if (format_version != 2) return 1;
    return read_line_of(str, r.sec_of_day, r.time_of_flight, r.sysconfig_id, r.epoch_event, r.np_window_length,
                        r.num_ranges, r.bin_rms, r.bin_skew, r.bin_kurtosis, r.bin_PmM, r.return_rate,
                        r.detector_channel, r.signal_to_noise);
}

int read_12(char* str, rd12* record) {
    rd12& r = *record;
    if (format_version == 1) {
        char id[kScannedText] = "";
        const int n = scan(str, "%*s %Lf %1023s %lf %lf %lf %lf", &r.sec_of_day, id, &r.refraction_corr,
                           &r.target_CofM_corr, &r.nd_value, &r.time_bias);
        keep_text(id, r.sysconfig_id);
        return n + 1;
    }
    if (format_version != 2) return 1;
    return read_line_of(str, r.sec_of_day, r.sysconfig_id, r.refraction_corr, r.target_CofM_corr, r.nd_value,
                        r.time_bias, r.range_rate);
}

int read_20(char* str, rd20* record) {
    return read_line_of(str, record->sec_of_day, record->pressure, record->temperature, record->humidity,
                        record->value_origin);
}

int read_21(char* str, rd21* record) {
    rd21& r = *record;
    if (format_version == 1) {
        char weather[kScannedText] = "";
        const int n = scan(str, "%*s %Lf %lf %lf %1023s %d %lf %d %d", &r.sec_of_day, &r.wind_speed, &r.wind_direction,
                           weather, &r.visibility, &r.sky_clarity, &r.atmospheric_seeing, &r.cloud_cover);
        keep_text(weather, r.weather_conditions);
        return n + 1;
    }
    if (format_version != 2) return 1;
    return read_line_of(str, r.sec_of_day, r.wind_speed, r.wind_direction, r.weather_conditions, r.visibility,
                        r.sky_clarity, r.atmospheric_seeing, r.cloud_cover, r.sky_temperature);
}

int read_30(char* str, rd30* record) {
    rd30& r = *record;
    if (format_version == 1) {
        return scan(str, "%*s %Lf %lf %lf %d %d %d", &r.sec_of_day, &r.azimuth, &r.elevation, &r.direction_ind,
                    &r.angle_origin_ind, &r.refraction_corr_ind) +
               1;
    }
    if (format_version != 2) return 1;
    return read_line_of(str, r.sec_of_day, r.azimuth, r.elevation, r.direction_ind, r.angle_origin_ind,
                        r.refraction_corr_ind, r.azimuth_rate, r.elevation_rate);
}

int read_41(char* str, rd40* record) {  // settled: all fields in either version
    return read_calibration(str, *record, record->cal_span, record->cal_return_rate);
}

int read_40(char* str, rd40* record) {
    return format_version == 2 ? read_41(str, record) : read_calibration(str, *record);
}

int read_42(char* str, rd42* record) {
    rd42& r = *record;
    return read_line_of(str, r.sec_of_day, r.time_of_flight, r.sysconfig_id, r.calconfig_id, r.other_variable_delays,
                        r.type_of_data, r.cal_type_ind, r.filter_flag, r.detector_channel, r.stop_number, r.cal_span,
                        r.xcv_amp, r.xmt_amp);
}

int read_50(char* str, rd50* record) {
    return read_line_of(str, record->sysconfig_id, record->sess_rms, record->sess_skew, record->sess_kurtosis,
                        record->sess_PmM, record->data_qual_ind);
}

int read_60(char* str, rd60* record) {
    char id[kScannedText] = "";
    const int n = scan(str, "%*s %1023s %d %d", id, &record->sys_change_ind, &record->sys_config_ind);
    keep_text(id, record->sysconfig_id);
    return n + 1;
}

int read_9x(char*, rd9x*) { return 0; }

int read_00(char* str, rd00* record) {
    constexpr std::size_t width = sizeof record->comment - 1;
    copy_field(str, kCommentColumn, width, record->comment);
    for (char& c : record->comment) {
        if (c == '\n' || c == '\r') c = '\0';
    }
    return 1;
}
