#include "inputs/observations.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>

#include "inputs/kinds.h"
#include "inputs/open.h"
#include "shared/error.h"
#include "shared/printable.h"
#include "shared/times.h"

namespace host {

namespace {

const char kKind[] = "RINEX observation file";
constexpr std::size_t kMostSatellites = 200;  ///< of an epoch
/// Appends a number, filled up on its left.
void append_number(std::string& text, int value, std::size_t width, char fill) {
    char digits[16];
    const auto size = static_cast<std::size_t>(std::to_chars(digits, digits + sizeof digits, value).ptr - digits);
    text.append(width > size ? width - size : 0, fill);
    text.append(digits, size);
}

/// Observations, those behind a power failure, and slips are given satellite by satellite.
bool has_satellites(int flag) { return flag == 0 || flag == 1 || flag == 6; }

/// False for a number that no satellite has; the library takes such a one for another system's.
bool is_known(const ObservedSatellite& satellite) {
    constexpr int kMostGps = 32, kMostBds = 63;
    return satellite.prn > 0 && (satellite.system != 'G' || satellite.prn <= kMostGps) &&
           (satellite.system != 'C' || satellite.prn <= kMostBds);
}

/// "3 lines", "1 line"
std::string count_of(long count, const char* thing) {
    return std::to_string(count) + " " + thing + (count == 1 ? "" : "s");
}

}  // namespace

std::string PassedOver::text() const {
    std::string text;
    if (events > 0) add_part(text, std::to_string(events) + " with an event left out");
    if (lines > 0) add_part(text, count_of(lines, "line") + " that can't be read left out");
    if (satellites > 0) add_part(text, count_of(satellites, "satellite") + " fewer than its epochs count");
    if (is_cut) add_part(text, "cut within its last epoch");
    return text;
}

ObservationReader::ObservationReader(const std::string& name)
    : name_(name), buffer_(kFileBlock), in_(open_input(name, kKind, &buffer_)) {
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

/// The first line of a header.
void ObservationReader::read_version() {
    version_ = std::atof(line_.substr(0, 9).c_str());
    if (!(version_ >= 2.0 && version_ < 5.0))
        throw InputError(name_ + ": version of this " + kKind + " is not 2, 3 or 4");
    system_ = line_.size() > 40 ? line_[40] : ' ';
}

void ObservationReader::read_header() {
    if (!line()) wrong_kind(name_, kKind);
    if (columns(line_, 20, 1) != "O" && line_.find("OBSERVATION") == std::string::npos) wrong_kind(name_, kKind);
    read_version();
    while (line()) {
        layout_.read(line_);
        if (has_label(line_, "TIME OF FIRST OBS")) read_time_system();
        if (line_.find("END OF HEADER") != std::string::npos) {
            layout_.take_in();
            return;
        }
    }
    throw InputError(name_ + ": the header of this " + std::string(kKind) + " has no end");
}

/// The program works in GPS time: the others are turned into it where that can be done. Files of one system need not name theirs.
void ObservationReader::read_time_system() {
    time_system_ = columns(line_, 48, 3);
    const bool unnamed = time_system_.find_first_not_of(' ') == std::string::npos;
    if (unnamed) time_system_ = system_ == 'C' ? "BDT" : system_ == 'R' ? "GLO" : "GPS";
    if (time_system_ == "GLO" || time_system_ == "UTC")
        throw InputError(name_ + ": this " + kKind + " has times in UTC, GPS time is needed");
    for (const char* known : {"GPS", "GAL", "QZS", "IRN", "BDT"}) {
        if (time_system_ == known) return;
    }
    throw InputError(name_ + ": the time system " + time_system_ + " of this " + kKind + " is not known");
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
    // Lines of values have digits there.
    if (!has_satellites(flag)) return v3 || (flag <= 5 && columns(line_, 26, 2) == "  ");
    if (!read_date(epoch)) return false;
    if (!v3) read_names_v2(count);
    return true;
}

bool ObservationReader::read_date(ObservedEpoch& epoch) {
    const bool v3 = version_ >= 3.0;
    if (!v3 && (line_[0] != ' ' || line_[3] != ' ')) return false;
    TimeYMD date{};
    std::string_view text = columns(line_, 1, v3 ? 28 : 25);
    for (int* part : {&date.year, &date.month, &date.day, &date.hour, &date.minute}) {
        if (!take_number(text, *part)) return false;
    }
    if (!take_number(text, date.second)) return false;
    if (!v3) date.year = full_year(date.year);
    if (!is_date(date.year, date.month, date.day) || date.hour < 0 || date.hour > 24 || date.minute < 0 ||
        date.minute > 60 || !(date.second >= 0.0 && date.second <= 61.0)) {
        return false;
    }
    set_time(date, columns(line_, v3 ? 18 : 15, 11), epoch);
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

/// False for a line at the end of the file that ends within a value.
bool ObservationReader::is_whole() const {
    if (!in_.eof()) return true;
    const std::size_t first = version_ >= 3.0 ? 3 : 0;
    const std::size_t end = line_.find_last_not_of(' ') + 1;
    const std::size_t rest = end > first ? (end - first) % kFieldWidth : 0;
    return rest == 0 || rest >= kValueWidth;
}

bool ObservationReader::read_satellite_v2(const std::array<char, 3>& name, ObservedSatellite& satellite) {
    satellite.system = name[0];
    satellite.prn = number_at({name.data(), name.size()}, 1, 2);
    satellite.fields.clear();
    for (std::size_t k = 0; k < layout_.count_v2(); k += 5) {
        if (!line() || !is_whole()) return false;
        satellite.fields.resize(k * kFieldWidth, ' ');
        satellite.fields.append(line_, 0, 5 * kFieldWidth);
    }
    return true;
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
    return is_whole();
}

void ObservationReader::read_satellites(std::size_t count, ObservedEpoch& epoch) {
    epoch.count = 0;
    for (std::size_t i = 0; i < count; ++i) {
        if (epoch.count == epoch.satellites.size()) epoch.satellites.emplace_back();
        ObservedSatellite& satellite = epoch.satellites[epoch.count];
        const bool read = version_ >= 3.0 ? read_satellite_v3(satellite)
                                          : i < names_.size() && read_satellite_v2(names_[i], satellite);
        if (!read) {
            passed_.is_cut = in_.eof() && !again_;
            if (!passed_.is_cut) passed_.satellites += static_cast<long>(count - i);
            return;
        }
        layout_.apply(satellite);
        const bool taken = is_known(satellite) && epoch.count < kMostSatellites;
        passed_.satellites += !taken;
        epoch.count += taken;
    }
}

/// An event whose lines may be of the header.
void ObservationReader::read_event(std::size_t lines) {
    ++passed_.events;
    for (std::size_t i = 0; i < lines && line(); ++i) layout_.read(line_);
    layout_.take_in();
}

/// A line between the epochs: files put one behind the other have another header there.
void ObservationReader::pass_over() {
    if (has_label(line_, "RINEX VERSION / TYPE")) {
        again_ = true;
        read_header();
        return;
    }
    const auto is_printed = [](char c) { return static_cast<unsigned char>(c) > ' '; };
    passed_.lines += std::any_of(line_.begin(), line_.end(), is_printed);
}

bool ObservationReader::next(ObservedEpoch& epoch) {
    int flag = 0;
    std::size_t count = 0;
    while (line()) {
        if (!read_epoch_line(epoch, flag, count)) {
            pass_over();
            continue;
        }
        if (!has_satellites(flag)) {
            read_event(count);
            continue;
        }
        read_satellites(count, epoch);
        if (flag == 0 && count > 0) return true;
        ++passed_.events;
    }
    return false;
}

ObservationScan scan_observations(const std::string& name) {
    ObservationScan scan;
    scan.name = name;
    ObservationReader reader(name);
    ObservedEpoch epoch;
    UsualStep steps;
    GTime before{};
    while (reader.next(epoch)) {
        ++scan.epochs;
        if (before.sys != UKNTS) {
            const double step = gtimeSubSec(epoch.time, before);
            scan.in_order = scan.in_order && step >= 0.0;
            steps.add(step);
        }
        before = epoch.time;
        scan.span.include(epoch.time);
        for (std::size_t i = 0; i < epoch.count; ++i) {
            const ObservedSatellite& satellite = epoch.satellites[i];
            const auto types = reader.types().find(satellite.system);
            if (types != reader.types().end()) ++scan.sets[satellite.system][satellite.mask(types->second.size())];
        }
    }
    scan.span.interval = steps.seconds();
    scan.types = reader.types();
    scan.passed_over = reader.passed_over();
    return scan;
}

}  // namespace host
