#include "inputs/observations.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "inputs/kinds.h"
#include "inputs/open.h"
#include "shared/error.h"
#include "shared/times.h"

namespace host {

namespace {

const char kKind[] = "RINEX observation file";
constexpr std::size_t kMostSatellites = 200;  ///< of an epoch
constexpr std::size_t kValueWidth = 14;

/// Columns of a line, as far as they are there.
std::string_view columns(std::string_view line, std::size_t first, std::size_t width) {
    return first < line.size() ? line.substr(first, width) : std::string_view();
}

bool has_label(const std::string& line, const char* label) { return line.find(label, 60) != std::string::npos; }

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

/// Takes the number at the start of a text, behind blanks; false where there is none.
template <typename Number>
bool take_number(std::string_view& text, Number& value) {
    while (!text.empty() && is_blank(text[0])) text.remove_prefix(1);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return error == std::errc();
}

/// A whole number of some columns; -1 where there is none.
int number_at(std::string_view line, std::size_t first, std::size_t width) {
    std::string_view text = columns(line, first, width);
    int value = 0;
    return take_number(text, value) && value >= 0 && value < 100000 ? value : -1;
}

/// Appends a number, filled up on its left.
void append_number(std::string& text, int value, std::size_t width, char fill) {
    char digits[16];
    const auto size = static_cast<std::size_t>(std::to_chars(digits, digits + sizeof digits, value).ptr - digits);
    text.append(width > size ? width - size : 0, fill);
    text.append(digits, size);
}

/// Observations, those behind a power failure, and slips are given satellite by satellite.
bool has_satellites(int flag) { return flag == 0 || flag == 1 || flag == 6; }

/// Version 2 names bands and codes together.
std::string type_of_v2(const std::string& type) {
    if (type.size() != 2) return "";
    if (type[1] == 'A') return std::string(1, type[0]) + "1C";
    if (type[0] == 'P') return std::string("C") + type[1] + "P";
    char text[3] = {type[0], type[1], '\0'};
    OBSTYPE kind{};
    OBSFREQ band{};
    OBSCODE code{};
    if (std::string("CLDS").find(type[0]) == std::string::npos || type[1] < '1' || type[1] > '9') return "";
    obscode_conversion_v2(text, &kind, &band, &code);
    char name[8] = {};
    TYPE_FREQ_CODE_AsString({kind, band, code}, name);
    return name;
}

}  // namespace

std::string_view ObservedSatellite::field(std::size_t type) const {
    const std::size_t first = type * kFieldWidth;
    return first < fields.size() ? std::string_view(fields).substr(first, kFieldWidth) : std::string_view();
}

std::uint64_t ObservedSatellite::mask(std::size_t types) const {
    std::uint64_t mask = 0;
    for (std::size_t k = 0; k < types; ++k) {
        const std::string_view value = field(k).substr(0, kValueWidth);
        if (std::any_of(value.begin(), value.end(), [](char c) { return c >= '1' && c <= '9'; }))
            mask |= std::uint64_t{1} << k;
    }
    return mask;
}

ObservationReader::ObservationReader(const std::string& name) : name_(name), in_(open_input(name, kKind)) {
    read_header();
}

bool ObservationReader::line() {
    if (again_) {
        again_ = false;
        return true;
    }
    if (!std::getline(in_, line_)) return false;
    if (!line_.empty() && line_.back() == '\r') line_.pop_back();
    return true;
}

void ObservationReader::read_header() {
    if (!line()) wrong_kind(name_, kKind);
    if (columns(line_, 20, 1) != "O" && line_.find("OBSERVATION") == std::string::npos) wrong_kind(name_, kKind);
    version_ = std::atof(line_.substr(0, 9).c_str());
    if (!(version_ >= 2.0 && version_ < 5.0))
        throw InputError(name_ + ": version of this " + kKind + " is not 2, 3 or 4");
    while (line()) {
        if (has_label(line_, "# / TYPES OF OBSERV")) read_types_v2();
        if (has_label(line_, "SYS / # / OBS TYPES")) read_types_v3();
        if (has_label(line_, "TIME OF FIRST OBS")) read_time_system();
        if (line_.find("END OF HEADER") != std::string::npos) {
            types_ = layout_;
            return;
        }
    }
    throw InputError(name_ + ": the header of this " + std::string(kKind) + " has no end");
}

void ObservationReader::read_types_v2() {
    const int count = number_at(line_, 0, 6);
    if (count >= 0) {
        types_v2_.clear();
        types_left_ = static_cast<std::size_t>(count);
    }
    for (std::size_t k = 0; k < 9 && types_left_ > 0; ++k, --types_left_) {
        std::string type(columns(line_, 10 + 6 * k, 2));
        type.erase(std::remove(type.begin(), type.end(), ' '), type.end());
        if (types_v2_.size() < kMostTypes) types_v2_.push_back(type_of_v2(type));
    }
    for (const char system : std::string("GRECSJ")) layout_[system] = types_v2_;
}

void ObservationReader::read_types_v3() {
    const char letter = line_[0];
    const int count = number_at(line_, 3, 3);
    if (letter != ' ' && count >= 0) {
        system_ = letter;
        types_left_ = static_cast<std::size_t>(count);
        layout_[system_].clear();
    }
    for (std::size_t k = 0; k < 13 && types_left_ > 0; ++k, --types_left_) {
        if (layout_[system_].size() < kMostTypes) layout_[system_].emplace_back(columns(line_, 7 + 4 * k, 3));
    }
}

/// The program works in GPS time: the others are turned into it where that can be done.
void ObservationReader::read_time_system() {
    time_system_ = columns(line_, 48, 3);
    if (time_system_ == "GLO" || time_system_ == "UTC") {
        throw InputError(name_ + ": this " + kKind + " has times in UTC, GPS time is needed");
    }
}

void ObservationReader::set_time(const TimeYMD& date, std::string_view second, ObservedEpoch& epoch) const {
    epoch.time = time_of(date, tsGPST);
    if (time_system_ == "BDT") {
        char text[48];
        epoch.time = gtimeAddSec(epoch.time, 14.0);
        const TimeYMD d = calendar(epoch.time, 7);
        std::snprintf(text, sizeof text, "%4d %02d %02d %02d %02d %10.7f", d.year, d.month, d.day, d.hour, d.minute,
                      d.second);
        epoch.date = text;
        return;
    }
    epoch.date.clear();
    append_number(epoch.date, date.year, 4, ' ');
    for (const int part : {date.month, date.day, date.hour, date.minute}) {
        epoch.date += ' ';
        append_number(epoch.date, part, 2, '0');
    }
    epoch.date += second;
}

/// True for a line that opens an epoch, whatever its flag.
bool ObservationReader::read_epoch_line(ObservedEpoch& epoch, int& flag, std::size_t& count) {
    const bool v3 = version_ >= 3.0;
    if (v3 ? line_.size() < 32 || line_[0] != '>' : line_.size() < 29) return false;
    const std::size_t flag_at = v3 ? 31 : 28;
    flag = number_at(line_, flag_at, 1);
    const int n = number_at(line_, flag_at + 1, 3);
    if (flag < 0 || n < 0) return false;
    count = static_cast<std::size_t>(n);
    if (!has_satellites(flag)) return true;
    if (!v3 && (line_[0] != ' ' || line_[3] != ' ')) return false;
    TimeYMD date{};
    std::string_view text = v3 ? columns(line_, 1, 28) : columns(line_, 0, 26);
    for (int* part : {&date.year, &date.month, &date.day, &date.hour, &date.minute}) {
        if (!take_number(text, *part)) return false;
    }
    if (!take_number(text, date.second)) return false;
    if (!v3) date.year += date.year < 80 ? 2000 : date.year < 100 ? 1900 : 0;
    if (!is_date(date.year, date.month, date.day) || date.hour < 0 || date.hour > 24 || date.minute < 0 ||
        date.minute > 60 || !(date.second >= 0.0 && date.second <= 61.0)) {
        return false;
    }
    set_time(date, columns(line_, v3 ? 18 : 15, 11), epoch);
    if (!v3) read_names_v2(count);
    return true;
}

void ObservationReader::read_names_v2(std::size_t count) {
    names_.clear();
    for (std::size_t i = 0; i < count; ++i) {
        if (i > 0 && i % 12 == 0 && !line()) return;
        const std::string_view text = columns(line_, 32 + 3 * (i % 12), 3);
        std::array<char, 3> name{' ', ' ', ' '};
        std::copy(text.begin(), text.end(), name.begin());
        if (name[0] == ' ') name[0] = 'G';
        names_.push_back(name);
    }
}

void ObservationReader::read_satellite_v2(const std::array<char, 3>& name, ObservedSatellite& satellite) {
    satellite.system = name[0];
    satellite.prn = number_at({name.data(), name.size()}, 1, 2);
    satellite.fields.clear();
    for (std::size_t k = 0; k < types_v2_.size(); k += 5) {
        if (!line()) return;
        satellite.fields.resize(k * kFieldWidth, ' ');
        satellite.fields.append(line_, 0, 5 * kFieldWidth);
    }
}

bool ObservationReader::read_satellite_v3(ObservedSatellite& satellite) {
    if (!line()) return false;
    if (!line_.empty() && line_[0] == '>') {
        again_ = true;
        return false;
    }
    satellite.system = line_.empty() ? ' ' : line_[0];
    satellite.prn = number_at(line_, 1, 2);
    satellite.fields.assign(line_, std::min<std::size_t>(3, line_.size()), std::string::npos);
    return true;
}

/// An event whose lines may be of the header: types that come anew are the last ones of their system, wherever they stand in the lines.
void ObservationReader::read_event(std::size_t lines) {
    ++events_;
    for (std::size_t i = 0; i < lines && line(); ++i) {
        if (has_label(line_, "# / TYPES OF OBSERV")) read_types_v2();
        if (has_label(line_, "SYS / # / OBS TYPES")) read_types_v3();
    }
    for (const auto& [system, names] : layout_) {
        std::vector<std::string>& all = types_[system];
        for (const std::string& name : names) {
            if (all.size() < kMostTypes && std::count(all.begin(), all.end(), name) == 0) all.push_back(name);
        }
    }
    is_moved_ = layout_ != types_;
}

/// Puts the fields where the types have their places.
void ObservationReader::put_in_place(ObservedSatellite& satellite) const {
    const auto layout = layout_.find(satellite.system);
    if (layout == layout_.end()) return;
    const std::vector<std::string>& all = types_.at(satellite.system);
    std::string fields(all.size() * kFieldWidth, ' ');
    for (std::size_t k = 0; k < layout->second.size(); ++k) {
        const auto place = std::find(all.begin(), all.end(), layout->second[k]);
        const std::string_view field = satellite.field(k);
        if (place != all.end())
            std::copy(field.begin(), field.end(), fields.begin() + (place - all.begin()) * long{kFieldWidth});
    }
    satellite.fields = fields;
}

bool ObservationReader::next(ObservedEpoch& epoch) {
    int flag = 0;
    std::size_t count = 0;
    while (line()) {
        if (!read_epoch_line(epoch, flag, count)) continue;
        if (has_satellites(flag)) {
            epoch.count = 0;
            for (std::size_t i = 0; i < count; ++i) {
                if (epoch.count == epoch.satellites.size()) epoch.satellites.emplace_back();
                ObservedSatellite& satellite = epoch.satellites[epoch.count];
                if (version_ >= 3.0) {
                    if (!read_satellite_v3(satellite)) break;
                } else {
                    if (i >= names_.size() || in_.eof()) break;
                    read_satellite_v2(names_[i], satellite);
                }
                if (is_moved_) put_in_place(satellite);
                epoch.count += satellite.prn > 0 && epoch.count < kMostSatellites;
            }
            if (flag == 0 && count > 0) return true;
            ++events_;
            continue;
        }
        read_event(count);
    }
    return false;
}

ObservationScan scan_observations(const std::string& name) {
    ObservationScan scan;
    scan.name = name;
    ObservationReader reader(name);
    ObservedEpoch epoch;
    std::map<long, long> steps;
    GTime before{};
    while (reader.next(epoch)) {
        ++scan.epochs;
        if (before.sys != UKNTS) {
            const double step = gtimeSubSec(epoch.time, before);
            scan.in_order = scan.in_order && step >= 0.0;
            ++steps[std::lround(1000.0 * step)];
        }
        before = epoch.time;
        scan.span.include(epoch.time);
        for (std::size_t i = 0; i < epoch.count; ++i) {
            const ObservedSatellite& satellite = epoch.satellites[i];
            const auto types = reader.types().find(satellite.system);
            if (types != reader.types().end()) ++scan.sets[satellite.system][satellite.mask(types->second.size())];
        }
    }
    const auto less = [](const auto& a, const auto& b) { return a.second < b.second; };
    const auto most = std::max_element(steps.begin(), steps.end(), less);
    if (most != steps.end()) scan.span.interval = static_cast<double>(most->first) / 1000.0;
    scan.types = reader.types();
    scan.events = reader.events();
    return scan;
}

}  // namespace host
