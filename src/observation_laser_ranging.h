/// \file observation_laser_ranging.h
/// Records of the Consolidated Laser Ranging Data format (CRD), versions 1 and 2: one function a record, a line in, a
/// record out. A host reads the file line by line and calls the function that the identifier at the line's start asks
/// for.
///
/// Most records are read by tokens, and their functions share these rules, to which the blocks below refer as "by
/// tokens":
/// - Blanks and newlines separate, nothing else does: cut a carriage return off first. The line is cut up in place.
/// - A number "na", in any letter case, gets the value of readi, readd or readld for it and counts as good. A number
///   that is missing or is none keeps what it held, and the result is lower by 1 for each.
/// - A text is cut to what its field holds; a missing one leaves it empty.
/// - The result is the number of tokens, identifier and unknown further tokens included, less the failed numbers, plus
///   1.
/// - 100 tokens and more count as -1 for that sum, with the warning of tokenize; the fields are read from the first
///   100.
/// - Without memory for the tokens nothing is read, the sum counts as 0, and an error is logged.
///
/// Units are those of the format. `sec_of_day` is the second of the day of the session's start, or of the day after it
/// once midnight has passed, in the station's time scale, a form of UTC.
/// Source: ILRS, Consolidated Laser Ranging Data Format (CRD), versions 1.01 and 2.01.
#ifndef LEOPOD_OBSERVATION_LASER_RANGING_H
#define LEOPOD_OBSERVATION_LASER_RANGING_H

#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

/// Version of the format, set by read_h1 for all later records. 0 at the start.
extern int format_version;

/// Part of the interface; no function uses it.
extern int nstat;

/// H1, format.
typedef struct rh1 {
    char crd_literal[4];  ///< "CRD", in either case
    int format_version;
    int prod_year, prod_mon, prod_day, prod_hour;  ///< production of the file
} rh1;

/// H2, station.
typedef struct rh2 {
    char stn_name[11];
    int cdp_pad_id;        ///< monument
    int cdp_sys_num;       ///< system
    int cdp_occ_num;       ///< occupancy
    int stn_timescale;     ///< 3 UTC (USNO), 4 UTC (GPS), 7 UTC (BIPM), 10 and above the station's UTC
    char stn_network[11];  ///< version 2
} rh2;

/// H3, target.
typedef struct rh3 {
    char target_name[11];
    int ilrs_id;
    int sic;
    int norad;
    int SC_timescale;  ///< 0 not used, 1 UTC, 2 the spacecraft's own
    int target_type;   ///< version 1
    int target_class;  ///< version 2
    int target_loc;    ///< version 2
} rh3;

/// H4, session.
typedef struct rh4 {
    int data_type;  ///< 0 full rate, 1 normal point, 2 sampled engineering
    int start_year, start_mon, start_day, start_hour, start_min, start_sec;
    int end_year, end_mon, end_day, end_hour, end_min, end_sec;
    int data_release;
    int refraction_app_ind;
    int CofM_app_ind;
    int xcv_amp_app_ind;
    int stn_sysdelay_app_ind;
    int SC_sysdelay_app_ind;
    int range_type_ind;  ///< 0 none, 1 one-way, 2 two-way, 3 received times alone, 4 mixed
    int data_qual_alert_ind;
} rh4;

/// H5, prediction.
typedef struct rh5 {
    int prediction_type;
    int year_of_century;
    char date_and_time[13];
    char prediction_provider[11];
    int sequence_number;
} rh5;

/// C0, system configuration.
typedef struct rc0 {
    int detail_type;          ///< an integer of the format in all of C0 to C7; 0 so far
    double xmit_wavelength;   ///< [nm]
    char config_ids[20][41];  ///< system configuration, then its components
} rc0;

/// C1, laser.
typedef struct rc1 {
    int detail_type;
    char laser_config_id[41];
    char laser_type[41];
    double prim_wavelength;  ///< [nm]
    double nom_fire_rate;    ///< [Hz]
    double pulse_energy;     ///< [mJ]
    double pulse_width;      ///< [ps]
    double beam_div;         ///< [arcsec]
    int pulses_in_semitrain;
} rc1;

/// C2, detector.
typedef struct rc2 {
    int detail_type;
    char detector_config_id[41];
    char detector_type[41];
    double app_wavelength;  ///< [nm]
    double qe;              ///< quantum efficiency [%]
    double voltage;         ///< [V]
    double dark_count;      ///< [kHz]
    char output_pulse_type[41];
    double output_pulse_width;        ///< [ps]
    double spectral_filter;           ///< [nm]
    double spectral_filter_xmission;  ///< [%]
    double spatial_filter;            ///< [arcsec]
    char signal_proc[41];
    double amp_gain;       ///< version 2
    double amp_bandwidth;  ///< version 2 [kHz]
    int amp_in_use;        ///< version 2
} rc2;

/// C3, timing.
typedef struct rc3 {
    int detail_type;
    char timing_config_id[41];
    char time_source[41];
    char freq_source[41];
    char timer[41];
    char timer_serial_num[41];
    double epoch_delay_corr;  ///< [us]
} rc3;

/// C4, transponder.
typedef struct rc4 {
    int detail_type;
    char xponder_config_id[41];
    long double est_stn_utc_offset;      ///< [ns]
    double est_stn_osc_drift;            ///< in parts of 1e15
    long double est_xponder_utc_offset;  ///< [ns]
    double est_xponder_osc_drift;        ///< in parts of 1e15
    long double xponder_clock_ref_time;  ///< [s]
    int stn_off_drift_app_ind;
    int SC_off_drift_app_ind;
    int SC_time_simplified_ind;
} rc4;

/// C5, software.
typedef struct rc5 {
    int detail_type;
    char software_config_id[41];
    char tracking_software[41];
    char tracking_software_versions[41];
    char processing_software[41];
    char processing_software_versions[41];
} rc5;

/// C6, meteorological instruments.
typedef struct rc6 {
    int detail_type;
    char met_config_id[41];
    char pressure_sensor_manufacturer[41];
    char pressure_sensor_model[41];
    char pressure_sensor_serial_num[41];
    char temperature_sensor_manufacturer[41];
    char temperature_sensor_model[41];
    char temperature_sensor_serial_num[41];
    char humidity_sensor_manufacturer[41];
    char humidity_sensor_model[41];
    char humidity_sensor_serial_num[41];
} rc6;

/// C7, calibration target.
typedef struct rc7 {
    int detail_type;
    char calconfig_id[41];
    char target_name[41];
    double surveyed_target_dist;  ///< [m]
    double survey_error;          ///< [mm]
    double other_fixed_delays;    ///< in the unit of the format
    double pulse_energy;          ///< in the unit of the format
    char processing_software[41];
    char processing_software_version[41];
} rc7;

/// 10, range: full rate or sampled.
typedef struct rd10 {
    long double sec_of_day;      ///< [s]
    long double time_of_flight;  ///< [s]
    char sysconfig_id[41];
    int epoch_event;  ///< two-way: 0 ground receive, 1 bounce, 2 ground transmit; 3 to 6 one-way
    int filter_flag;  ///< 0 unknown, 1 noise, 2 data
    int detector_channel;
    int stop_number;
    int xcv_amp;  ///< receive amplitude, a linear scale
    int xmt_amp;  ///< transmit amplitude; version 2
} rd10;

/// 11, range: normal point.
typedef struct rd11 {
    long double sec_of_day;      ///< [s]
    long double time_of_flight;  ///< [s]
    char sysconfig_id[41];
    int epoch_event;          ///< as in rd10
    double np_window_length;  ///< [s]
    int num_ranges;
    double bin_rms;  ///< [ps]
    double bin_skew;
    double bin_kurtosis;
    double bin_PmM;      ///< peak minus mean [ps]
    double return_rate;  ///< [%]; for the Moon signal to noise
    int detector_channel;
    double signal_to_noise;  ///< version 2
} rd11;

/// 12, supplement of a range.
typedef struct rd12 {
    long double sec_of_day;  ///< [s]
    char sysconfig_id[41];
    double refraction_corr;   ///< one-way [ps]
    double target_CofM_corr;  ///< one-way [m]
    double nd_value;          ///< neutral density filter
    double time_bias;         ///< [s]
    double range_rate;        ///< version 2 [m/s]
} rd12;

/// 20, meteorology.
typedef struct rd20 {
    long double sec_of_day;  ///< [s]
    double pressure;         ///< [mbar]
    double temperature;      ///< [K]
    double humidity;         ///< [%]
    int value_origin;        ///< 0 measured, 1 interpolated
} rd20;

/// 21, supplement of the meteorology.
typedef struct rd21 {
    long double sec_of_day;       ///< [s]
    double wind_speed;            ///< [m/s]
    double wind_direction;        ///< [degree]
    char weather_conditions[41];  ///< in words or as a code
    int visibility;               ///< [km]
    double sky_clarity;           ///< zenith extinction coefficient
    int atmospheric_seeing;       ///< [arcsec]
    int cloud_cover;              ///< [%]
    double sky_temperature;       ///< version 2 [K]
} rd21;

/// 30, pointing angles.
typedef struct rd30 {
    long double sec_of_day;  ///< [s]
    double azimuth;          ///< [degree]
    double elevation;        ///< [degree]
    int direction_ind;       ///< 0 transmit and receive, 1 transmit, 2 receive
    int angle_origin_ind;    ///< 0 unknown, 1 computed, 2 commanded, 3 measured
    int refraction_corr_ind;
    double azimuth_rate;    ///< version 2 [degree/s]
    double elevation_rate;  ///< version 2 [degree/s]
} rd30;

/// 40 and 41, calibration: of the session, and one measurement of it.
typedef struct rd40 {
    long double sec_of_day;  ///< [s]
    int type_of_data;
    char sysconfig_id[41];
    int num_points_recorded;
    int num_points_used;
    double one_way_target_dist;  ///< [m]
    double cal_sys_delay;        ///< [ps]
    double cal_delay_shift;      ///< [ps]
    double cal_rms;              ///< [ps]
    double cal_skew;
    double cal_kurtosis;
    double cal_PmM;  ///< peak minus mean [ps]
    int cal_type_ind;
    int cal_shift_type_ind;
    int detector_channel;
    int cal_span;            ///< version 2, and 41
    double cal_return_rate;  ///< version 2, and 41 [%]
} rd40;

/// 42, one shot of a calibration.
typedef struct rd42 {
    long double sec_of_day;      ///< [s]
    long double time_of_flight;  ///< [s]
    char sysconfig_id[41];
    char calconfig_id[41];
    double other_variable_delays;  ///< in the unit of the format
    int type_of_data;
    int cal_type_ind;
    int filter_flag;  ///< as in rd10
    int detector_channel;
    int stop_number;
    int cal_span;
    int xcv_amp;
    int xmt_amp;
} rd42;

/// 50, statistics of the session.
typedef struct rd50 {
    char sysconfig_id[41];
    double sess_rms;  ///< [ps]
    double sess_skew;
    double sess_kurtosis;
    double sess_PmM;  ///< peak minus mean [ps]
    int data_qual_ind;
} rd50;

/// 60, compatibility with older formats.
typedef struct rd60 {
    char sysconfig_id[41];
    int sys_change_ind;
    int sys_config_ind;
} rd60;

/// 9x, a user's own records: nothing is read.
typedef struct rd9x {
    char reserved;  ///< not used; a record needs a member
} rd9x;

/// 00, comment.
typedef struct rd00 {
    char comment[81];
} rd00;

// --- text and numbers ------------------------------------------------------------------------------------------------

/// Cuts a line into tokens, in place, and copies them into a table.
/// \param str        the line; every token's end in it is overwritten
/// \param separator  the separator characters; runs of them count as one
/// \param rows,cols  size of the table
/// \param tokens     [out] the table, row-major: one token a row, cut to cols - 1 characters, the rest of its row zero.
///                   Rows without a token are left as they are; nothing is written to a table without rows or columns
/// \return the number of tokens; -1 when it reaches `rows`: "Too many tokens for array! Quitting!\n" (warning), all
///         rows are filled then and the rest of the line is left alone
int tokenize(char* str, char* separator, int rows, int cols, char* tokens);

/// Reads an int as sscanf with "%d"; beyond the limits of int the limit.
/// \param str   the text
/// \param ival  [out] the value; -10000000 for "na"; as it was when there is none
/// \return 1 for a number, 0 for "na", -1 for neither
int readi(char* str, int* ival);

/// Reads a double as sscanf with "%lf", whatever the locale; no hexadecimal form.
/// \param str   the text
/// \param dval  [out] the value; -1e+30 for "na"; as it was when there is none
/// \return 1 for a number, 0 for "na", -1 for neither
int readd(char* str, double* dval);

/// Reads a long double as sscanf with "%Lf", whatever the locale; no hexadecimal form.
/// \param str    the text
/// \param ldval  [out] the value; for "na" the double -1e+30; as it was when there is none
/// \return 1 for a number, 0 for "na", -1 for neither
int readld(char* str, long double* ldval);

/// Looks for the mark of a missing value.
/// \param str  the text
/// \return true if it is "na", in any letter case, and nothing else
bool isna(char* str);

/// Cleans a name from fixed columns, in place. One that begins with a letter or digit is cut at its first blank; of any
/// other the leading blanks go, and the trailing ones stay.
/// \param str   the text with its terminator
/// \param slen  its length; more than that counts as the length, 0 and less does nothing
void remove_blanks(char* str, int slen);

// --- header records --------------------------------------------------------------------------------------------------

/// Reads H1 by tokens and sets the version for all later records.
/// \param str     the line
/// \param header  [out] the record; a version of 0 becomes 1. The global version is set to the record's, also where
///                that could not be read
/// \return as by tokens: 8 for a complete line
int read_h1(char* str, rh1* header);

/// Reads H2. Version 1: name in columns 3 to 12 (counted from 0), cleaned by remove_blanks, four numbers from column
/// 14. Version 2: by tokens. Another version: nothing.
/// \param str     the line
/// \param header  [out] the record; the network in version 2 alone
/// \return version 1: numbers scanned (-1 for a line that has none) plus 2, 6 for a complete line; version 2: as by
///         tokens without the plus 1, 7 for a complete line; another version: 0
int read_h2(char* str, rh2* header);

/// Reads H3. Version 1: name in columns 3 to 12 (counted from 0), cleaned by remove_blanks, five numbers from column
/// 14; a blank column among them moves the later ones up. Version 2: by tokens. Another version: nothing.
/// \param str     the line
/// \param header  [out] the record; the type in version 1 alone, class and location in version 2
/// \return version 1: numbers scanned (-1 for a line that has none) plus 2, 7 for a complete line; version 2: as by
///         tokens, 9 for a complete line; another version: 0
int read_h3(char* str, rh3* header);

/// Reads H4 by tokens.
/// \param str     the line
/// \param header  [out] the record
/// \return as by tokens: 23 for a complete line
int read_h4(char* str, rh4* header);

/// Reads H5 by tokens.
/// \param str     the line
/// \param header  [out] the record
/// \return as by tokens: 7 for a complete line
int read_h5(char* str, rh5* header);

/// H8, the end of a session: nothing to read.
/// \param str  the line
/// \return 0
int read_h8(char* str);

/// H9, the end of a file: nothing to read.
/// \param str  the line
/// \return 0
int read_h9(char* str);

// --- configuration records -------------------------------------------------------------------------------------------

/// Reads C0 by tokens. Of more than 20 identifiers the excess is dropped with a warning.
/// \param str     the line
/// \param config  [out] the record. Rows of `config_ids` from 10 on that the line doesn't fill keep what they held
/// \return as by tokens
int read_c0(char* str, rc0* config);

/// Reads C1 by tokens.
/// \param str     the line
/// \param config  [out] the record
/// \return as by tokens: 11 for a complete line
int read_c1(char* str, rc1* config);

/// Reads C2 by tokens.
/// \param str     the line
/// \param config  [out] the record; the amplifier in version 2 alone
/// \return as by tokens: 18 for a complete line of version 2, 15 for one of version 1
int read_c2(char* str, rc2* config);

/// Reads C3 by tokens.
/// \param str     the line
/// \param config  [out] the record
/// \return as by tokens: 9 for a complete line
int read_c3(char* str, rc3* config);

/// Reads C4 by tokens.
/// \param str     the line
/// \param config  [out] the record
/// \return as by tokens: 12 for a complete line
int read_c4(char* str, rc4* config);

/// Reads C5 by tokens.
/// \param str     the line
/// \param config  [out] the record
/// \return as by tokens: 8 for a complete line
int read_c5(char* str, rc5* config);

/// Reads C6 by tokens.
/// \param str     the line
/// \param config  [out] the record
/// \return as by tokens: 13 for a complete line
int read_c6(char* str, rc6* config);

/// Reads C7 by tokens.
/// \param str     the line
/// \param config  [out] the record
/// \return as by tokens: 11 for a complete line
int read_c7(char* str, rc7* config);

// --- data records ----------------------------------------------------------------------------------------------------
// In version 1 the records 10, 11, 12, 21 and 30 are one scan that ends at the first field that fails, "na" included: the
// later fields keep what they held. The line is not changed then. In other versions than 1 and 2 these five keep all
// fields, and the result is 1.

/// Reads a range, full rate or sampled: a scan in version 1, by tokens in version 2.
/// \param str     the line
/// \param record  [out] the record; the transmit amplitude in version 2 alone
/// \return version 1: fields scanned (-1 for a line without fields) plus 1, 9 for a complete line; version 2: as by
///         tokens, 11
int read_10(char* str, rd10* record);

/// Reads a normal point: a scan in version 1, by tokens in version 2.
/// \param str     the line
/// \param record  [out] the record; signal to noise in version 2 alone
/// \return version 1: fields scanned (-1 for a line without fields) plus 1, 13 for a complete line; version 2: as by
///         tokens, 15
int read_11(char* str, rd11* record);

/// Reads the supplement of a range: a scan in version 1, by tokens in version 2.
/// \param str     the line
/// \param record  [out] the record; the range rate in version 2 alone
/// \return version 1: fields scanned (-1 for a line without fields) plus 1, 7 for a complete line; version 2: as by
///         tokens, 9
int read_12(char* str, rd12* record);

/// Reads meteorology by tokens.
/// \param str     the line
/// \param record  [out] the record
/// \return as by tokens: 7 for a complete line
int read_20(char* str, rd20* record);

/// Reads the supplement of meteorology: a scan in version 1, by tokens in version 2.
/// \param str     the line
/// \param record  [out] the record; the sky's temperature in version 2 alone
/// \return version 1: fields scanned (-1 for a line without fields) plus 1, 9 for a complete line; version 2: as by
///         tokens, 11
int read_21(char* str, rd21* record);

/// Reads pointing angles: a scan in version 1, by tokens in version 2.
/// \param str     the line
/// \param record  [out] the record; the rates in version 2 alone
/// \return version 1: fields scanned (-1 for a line without fields) plus 1, 7 for a complete line; version 2: as by
///         tokens, 10
int read_30(char* str, rd30* record);

/// Reads one measurement of a calibration by tokens: the fields of record 40, all of them in either version.
/// \param str     the line
/// \param record  [out] the record
/// \return as by tokens: 19 for a complete line
int read_41(char* str, rd40* record);

/// Reads the calibration of a session by tokens.
/// \param str     the line
/// \param record  [out] the record; span and return rate in version 2 alone, whatever the line holds
/// \return as by tokens: 19 for a complete line of version 2, 17 for one of version 1
int read_40(char* str, rd40* record);

/// Reads one shot of a calibration by tokens.
/// \param str     the line
/// \param record  [out] the record
/// \return as by tokens: 15 for a complete line
int read_42(char* str, rd42* record);

/// Reads the statistics of a session by tokens.
/// \param str     the line
/// \param record  [out] the record
/// \return as by tokens: 8 for a complete line
int read_50(char* str, rd50* record);

/// Reads a compatibility record by one scan that ends at the first field that fails.
/// \param str     the line, not changed
/// \param record  [out] the record
/// \return fields scanned (-1 for a line without fields) plus 1: 4 for a complete line
int read_60(char* str, rd60* record);

/// A user's own record: nothing is read.
/// \param str     the line
/// \param record  not changed
/// \return 0
int read_9x(char* str, rd9x* record);

/// Reads a comment: at most 80 characters from column 3 on (counted from 0), to the first newline or carriage return.
/// \param str     the line, not changed
/// \param record  [out] the record
/// \return 1
int read_00(char* str, rd00* record);

LEOPOD_END_DECLS

#ifdef __cplusplus
/// Compares two texts without regard to the case of the letters A to Z. The one function with C++ linkage: under the C
/// name it would replace the C library's function in the whole process. Texts of any length.
/// \param str1,str2  the texts
/// \return below, equal to or above 0, as strcmp of both in lower case
[[gnu::visibility("default")]] int strcasecmp(char* str1, char* str2);

// Beside the declaration of <strings.h>, for two constant texts, these leave no call with one constant text ambiguous.
inline int strcasecmp(char* str1, const char* str2) { return strcasecmp(str1, const_cast<char*>(str2)); }
inline int strcasecmp(const char* str1, char* str2) { return strcasecmp(const_cast<char*>(str1), str2); }
#endif

#endif
