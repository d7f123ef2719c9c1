/// \file crd_records.h
/// Fields of the laser ranging records by name, and their values as text.
#ifndef LEOPOD_HOST_CRD_RECORDS_H
#define LEOPOD_HOST_CRD_RECORDS_H

#include <charconv>
#include <climits>
#include <cmath>
#include <limits>
#include <string>

#include "observation_laser_ranging.h"
#include "shared/files.h"

namespace host {

// Each visits a record's fields in their order: a name, the field, and the version that alone has it, or 0.
#define FIELD(name) visit(#name, r.name, 0)
#define FIELD_OF(version, name) visit(#name, r.name, version)
template <typename Visit>
void fields(rh1& r, Visit&& visit) {
    FIELD(crd_literal), FIELD(format_version), FIELD(prod_year), FIELD(prod_mon), FIELD(prod_day), FIELD(prod_hour);
}
template <typename Visit>
void fields(rh2& r, Visit&& visit) {
    FIELD(stn_name), FIELD(cdp_pad_id), FIELD(cdp_sys_num), FIELD(cdp_occ_num), FIELD(stn_timescale);
    FIELD_OF(2, stn_network);
}
template <typename Visit>
void fields(rh3& r, Visit&& visit) {
    FIELD(target_name), FIELD(ilrs_id), FIELD(sic), FIELD(norad), FIELD(SC_timescale), FIELD_OF(1, target_type);
    FIELD_OF(2, target_class), FIELD_OF(2, target_loc);
}
template <typename Visit>
void fields(rh4& r, Visit&& visit) {
    FIELD(data_type), FIELD(start_year), FIELD(start_mon), FIELD(start_day), FIELD(start_hour), FIELD(start_min);
    FIELD(start_sec), FIELD(end_year), FIELD(end_mon), FIELD(end_day), FIELD(end_hour), FIELD(end_min), FIELD(end_sec);
    FIELD(data_release), FIELD(refraction_app_ind), FIELD(CofM_app_ind), FIELD(xcv_amp_app_ind);
    FIELD(stn_sysdelay_app_ind), FIELD(SC_sysdelay_app_ind), FIELD(range_type_ind), FIELD(data_qual_alert_ind);
}
template <typename Visit>
void fields(rh5& r, Visit&& visit) {
    FIELD(prediction_type), FIELD(year_of_century), FIELD(date_and_time), FIELD(prediction_provider);
    FIELD(sequence_number);
}
template <typename Visit>
void fields(rc0& r, Visit&& visit) {
    FIELD(detail_type), FIELD(xmit_wavelength), FIELD(config_ids);
}
template <typename Visit>
void fields(rc1& r, Visit&& visit) {
    FIELD(detail_type), FIELD(laser_config_id), FIELD(laser_type), FIELD(prim_wavelength), FIELD(nom_fire_rate);
    FIELD(pulse_energy), FIELD(pulse_width), FIELD(beam_div), FIELD(pulses_in_semitrain);
}
template <typename Visit>
void fields(rc2& r, Visit&& visit) {
    FIELD(detail_type), FIELD(detector_config_id), FIELD(detector_type), FIELD(app_wavelength), FIELD(qe);
    FIELD(voltage), FIELD(dark_count), FIELD(output_pulse_type), FIELD(output_pulse_width), FIELD(spectral_filter);
    FIELD(spectral_filter_xmission), FIELD(spatial_filter), FIELD(signal_proc), FIELD_OF(2, amp_gain);
    FIELD_OF(2, amp_bandwidth), FIELD_OF(2, amp_in_use);
}
template <typename Visit>
void fields(rc3& r, Visit&& visit) {
    FIELD(detail_type), FIELD(timing_config_id), FIELD(time_source), FIELD(freq_source), FIELD(timer);
    FIELD(timer_serial_num), FIELD(epoch_delay_corr);
}
template <typename Visit>
void fields(rc4& r, Visit&& visit) {
    FIELD(detail_type), FIELD(xponder_config_id), FIELD(est_stn_utc_offset), FIELD(est_stn_osc_drift);
    FIELD(est_xponder_utc_offset), FIELD(est_xponder_osc_drift), FIELD(xponder_clock_ref_time);
    FIELD(stn_off_drift_app_ind), FIELD(SC_off_drift_app_ind), FIELD(SC_time_simplified_ind);
}
template <typename Visit>
void fields(rc5& r, Visit&& visit) {
    FIELD(detail_type), FIELD(software_config_id), FIELD(tracking_software), FIELD(tracking_software_versions);
    FIELD(processing_software), FIELD(processing_software_versions);
}
template <typename Visit>
void fields(rc6& r, Visit&& visit) {
    FIELD(detail_type), FIELD(met_config_id), FIELD(pressure_sensor_manufacturer), FIELD(pressure_sensor_model);
    FIELD(pressure_sensor_serial_num), FIELD(temperature_sensor_manufacturer), FIELD(temperature_sensor_model);
    FIELD(temperature_sensor_serial_num), FIELD(humidity_sensor_manufacturer), FIELD(humidity_sensor_model);
    FIELD(humidity_sensor_serial_num);
}
template <typename Visit>
void fields(rc7& r, Visit&& visit) {
    FIELD(detail_type), FIELD(calconfig_id), FIELD(target_name), FIELD(surveyed_target_dist), FIELD(survey_error);
    FIELD(other_fixed_delays), FIELD(pulse_energy), FIELD(processing_software), FIELD(processing_software_version);
}
template <typename Visit>
void fields(rd10& r, Visit&& visit) {
    FIELD(sec_of_day), FIELD(time_of_flight), FIELD(sysconfig_id), FIELD(epoch_event), FIELD(filter_flag);
    FIELD(detector_channel), FIELD(stop_number), FIELD(xcv_amp), FIELD_OF(2, xmt_amp);
}
template <typename Visit>
void fields(rd11& r, Visit&& visit) {
    FIELD(sec_of_day), FIELD(time_of_flight), FIELD(sysconfig_id), FIELD(epoch_event), FIELD(np_window_length);
    FIELD(num_ranges), FIELD(bin_rms), FIELD(bin_skew), FIELD(bin_kurtosis), FIELD(bin_PmM), FIELD(return_rate);
    FIELD(detector_channel), FIELD_OF(2, signal_to_noise);
}
template <typename Visit>
void fields(rd12& r, Visit&& visit) {
    FIELD(sec_of_day), FIELD(sysconfig_id), FIELD(refraction_corr), FIELD(target_CofM_corr), FIELD(nd_value);
    FIELD(time_bias), FIELD_OF(2, range_rate);
}
template <typename Visit>
void fields(rd20& r, Visit&& visit) {
    FIELD(sec_of_day), FIELD(pressure), FIELD(temperature), FIELD(humidity), FIELD(value_origin);
}
template <typename Visit>
void fields(rd21& r, Visit&& visit) {
    FIELD(sec_of_day), FIELD(wind_speed), FIELD(wind_direction), FIELD(weather_conditions), FIELD(visibility);
    FIELD(sky_clarity), FIELD(atmospheric_seeing), FIELD(cloud_cover), FIELD_OF(2, sky_temperature);
}
template <typename Visit>
void fields(rd30& r, Visit&& visit) {
    FIELD(sec_of_day), FIELD(azimuth), FIELD(elevation), FIELD(direction_ind), FIELD(angle_origin_ind);
    FIELD(refraction_corr_ind), FIELD_OF(2, azimuth_rate), FIELD_OF(2, elevation_rate);
}
template <typename Visit>
void fields(rd40& r, Visit&& visit) {
    FIELD(sec_of_day), FIELD(type_of_data), FIELD(sysconfig_id), FIELD(num_points_recorded), FIELD(num_points_used);
    FIELD(one_way_target_dist), FIELD(cal_sys_delay), FIELD(cal_delay_shift), FIELD(cal_rms), FIELD(cal_skew);
    FIELD(cal_kurtosis), FIELD(cal_PmM), FIELD(cal_type_ind), FIELD(cal_shift_type_ind), FIELD(detector_channel);
    FIELD_OF(2, cal_span), FIELD_OF(2, cal_return_rate);
}
template <typename Visit>
void fields(rd42& r, Visit&& visit) {
    FIELD(sec_of_day), FIELD(time_of_flight), FIELD(sysconfig_id), FIELD(calconfig_id), FIELD(other_variable_delays);
    FIELD(type_of_data), FIELD(cal_type_ind), FIELD(filter_flag), FIELD(detector_channel), FIELD(stop_number);
    FIELD(cal_span), FIELD(xcv_amp), FIELD(xmt_amp);
}
template <typename Visit>
void fields(rd50& r, Visit&& visit) {
    FIELD(sysconfig_id), FIELD(sess_rms), FIELD(sess_skew), FIELD(sess_kurtosis), FIELD(sess_PmM);
    FIELD(data_qual_ind);
}
template <typename Visit>
void fields(rd60& r, Visit&& visit) {
    FIELD(sysconfig_id), FIELD(sys_change_ind), FIELD(sys_config_ind);
}
template <typename Visit>
void fields(rd00& r, Visit&& visit) {
    FIELD(comment);
}
#undef FIELD
#undef FIELD_OF

// A field that a reader leaves alone keeps the mark that was put there before, and so shows that it failed.
constexpr int kMarkInt = INT_MIN;
inline void mark(int& value) { value = kMarkInt; }
inline void mark(double& value) { value = std::numeric_limits<double>::quiet_NaN(); }
inline void mark(long double& value) { value = std::numeric_limits<long double>::quiet_NaN(); }
template <std::size_t N>
void mark(char (&)[N]) {}  // an empty text
template <std::size_t N>
void mark(char (&)[N][41]) {}

template <typename Record>
Record unread() {
    Record r{};
    fields(r, [](const char*, auto& value, int) { mark(value); });
    return r;
}

inline bool marked(int value) { return value == kMarkInt; }
inline bool marked(double value) { return !std::isfinite(value); }
inline bool marked(long double value) { return !std::isfinite(value); }
template <std::size_t N>
bool marked(const char (&text)[N]) {
    return text[0] == '\0';
}
template <std::size_t N>
bool marked(const char (&)[N][41]) {
    return false;  // a list may be empty
}

inline bool given(int value) { return !marked(value) && value != -10000000; }
inline bool given(double value) { return !marked(value) && value != -1e+30; }
inline bool given(long double value) { return !marked(value) && value != -1e+30; }

/// Value as the field of a CSV, numbers with the fewest digits that give them back; empty for one that is "na" or
/// failed.
template <typename Number>
std::string csv_text(Number value) {
    if (!given(value)) return "";
    char text[64];
    const auto end = std::to_chars(text, text + sizeof text, value);
    return {text, end.ptr};
}
template <std::size_t N>
std::string csv_text(const char (&text)[N]) {
    return csv_text(std::string(text));
}
template <std::size_t N>
std::string csv_text(const char (&texts)[N][41]) {
    std::string all;
    for (const auto& text : texts) {
        if (text[0] != '\0') all += (all.empty() ? "" : " ") + std::string(text);
    }
    return csv_text(all);
}

}  // namespace host

#endif
