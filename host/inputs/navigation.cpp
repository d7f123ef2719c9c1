#include "inputs/navigation.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include "inputs/observation_layout.h"
#include "inputs/open.h"
#include "shared/error.h"
#include "shared/printable.h"
#include "shared/times.h"

namespace host {

namespace {

const char kKind[] = "RINEX navigation file";
constexpr std::size_t kWidth = 19;    ///< of a number
constexpr std::size_t kFurther = 7;   ///< lines of a record behind its first
constexpr std::size_t kElements = 4;  ///< of them, that have to be full

/// Takes a number with an exponent of either letter. False for what is none; an empty one has no value.
bool read_number(std::string_view line, std::size_t first, double& value, std::size_t width = kWidth) {
    std::string text(columns(line, first, width));
    std::replace_if(
        text.begin(), text.end(), [](char c) { return c == 'D' || c == 'd'; }, 'e');
    text.erase(text.find_last_not_of(" \r") + 1);
    std::string_view rest = text;
    value = std::nan("");
    if (rest.find_first_not_of(' ') == std::string_view::npos) return true;
    return take_number(rest, value) && rest.empty();
}

}  // namespace

NavigationFile::NavigationFile(const std::string& name) : name_(name), in_(open_input(name, kKind)) {
    read_header();
    while (line()) {
        if (version_ >= 4.0 && line_[0] == '>') {
            read_message();
        } else if (starts_record()) {
            read_record();
        }
    }
    in_.close();
}

bool NavigationFile::line() {
    if (again_) {
        again_ = false;
        return true;
    }
    while (std::getline(in_, line_)) {
        if (!line_.empty() && line_.back() == '\r') line_.pop_back();
        if (!line_.empty() && !has_label(line_, "COMMENT")) return true;
        is_changed_ = is_changed_ || in_records_;  // the library would count this line
    }
    return false;
}

void NavigationFile::read_header() {
    while (line()) {
        if (header_.empty()) version_ = std::atof(line_.substr(0, 9).c_str());
        if (!(version_ >= 2.0 && version_ < 5.0))
            throw InputError(name_ + ": version of this " + kKind + " is not 2, 3 or 4");
        in_records_ = line_.find("END OF HEADER") != std::string::npos;
        if (in_records_) return;
        header_.push_back(line_);
    }
    throw InputError(name_ + ": the header of this " + std::string(kKind) + " has no end");
}

/// "> EPH G05 LNAV", "> ION C01 D1D2"
void NavigationFile::read_message() {
    std::istringstream in(line_);
    std::string mark, kind, satellite;
    in >> mark >> kind >> satellite >> message_;
    if (kind == "ION" && satellite[0] == 'G' && message_ == "LNAV" && ionosphere_.empty()) read_ionosphere();
    if (kind != "EPH") message_ = kind;
}

/// Eight coefficients behind the time of the message, three, four and one on a line.
void NavigationFile::read_ionosphere() {
    std::vector<double> values;
    for (std::size_t k = 0; k < 3 && line(); ++k) {
        again_ = line_[0] == '>';
        if (again_) return;
        for (std::size_t field = k == 0 ? 1 : 0; field < 4 && values.size() < 8; ++field) {
            values.emplace_back();
            if (!read_number(line_, 4 + kWidth * field, values.back()) || std::isnan(values.back())) return;
        }
    }
    if (values.size() == 8) ionosphere_ = values;
}

/// True for the first line of a record of any system.
bool NavigationFile::starts_record() const {
    const auto is_digit = [](char c) { return c >= '0' && c <= '9'; };
    if (line_.size() < 4) return false;
    if (version_ < 3.0) return line_[2] == ' ' && (line_[0] == ' ' || is_digit(line_[0])) && is_digit(line_[1]);
    return line_[0] >= 'A' && line_[0] <= 'Z' && (line_[1] == ' ' || is_digit(line_[1])) && is_digit(line_[2]) &&
           line_[3] == ' ';
}

/// A record of GPS or BeiDou with its further lines; of other systems and messages they pass for no first line.
void NavigationFile::read_record() {
    NavigationRecord record;
    record.system = version_ < 3.0 ? 'G' : line_[0];
    if (record.system != 'G' && record.system != 'C') return;
    if (!message_.empty() && message_ != "LNAV" && message_ != "D1" && message_ != "D2") {
        ++messages_[message_];
        return;
    }
    const bool dated = read_first_line(record);
    record.lines.push_back(line_);
    while (record.lines.size() <= kFurther && line()) {
        again_ = line_[0] == '>' || starts_record() || line_.compare(0, 3, "   ") != 0;
        if (again_) break;
        record.lines.push_back(line_);
    }
    for (std::string& record_line : record.lines) {
        // The library takes a small d for the end of a number.
        is_changed_ = is_changed_ || record_line.find('d') != std::string::npos;
        std::replace(record_line.begin(), record_line.end(), 'd', 'E');
    }
    if (dated && has_numbers(record)) {
        span_.include(record.epoch);
        records_.push_back(std::move(record));
    } else {
        ++damaged_;
    }
}

bool NavigationFile::read_first_line(NavigationRecord& record) const {
    const bool v2 = version_ < 3.0;
    record.prn = number_at(line_, v2 ? 0 : 1, 2);
    std::string_view text = columns(line_, v2 ? 2 : 3, 20);
    TimeYMD date{};
    for (int* part : {&date.year, &date.month, &date.day, &date.hour, &date.minute}) {
        if (!take_number(text, *part)) return false;
    }
    if (!take_number(text, date.second)) return false;
    if (v2) date.year = full_year(date.year);
    if (record.prn <= 0 || !is_date(date.year, date.month, date.day)) return false;
    record.epoch = time_of(date, tsGPST);
    return true;
}

/// All lines are there, what stands in them are numbers, and the clock, the elements and the week have values.
bool NavigationFile::has_numbers(const NavigationRecord& record) const {
    if (record.lines.size() != kFurther + 1) return false;
    const std::size_t start = version_ < 3.0 ? 3 : 4;
    double value = 0.0;
    for (std::size_t k = 0; k < record.lines.size(); ++k) {
        for (std::size_t field = k == 0 ? 1 : 0; field < 4; ++field) {
            if (!read_number(record.lines[k], start + kWidth * field, value)) return false;
            const bool needed = k <= kElements || (k == kElements + 1 && field == 2);
            if (needed && std::isnan(value)) return false;
        }
    }
    return true;
}

void NavigationFile::keep_around(const GTime& first, const GTime& last, double seconds) {
    const auto is_far = [&](const NavigationRecord& record) {
        return gtimeSubSec(first, record.epoch) > seconds || gtimeSubSec(record.epoch, last) > seconds;
    };
    const auto end = std::remove_if(records_.begin(), records_.end(), is_far);
    far_ += records_.end() - end;
    records_.erase(end, records_.end());
}

void NavigationFile::drop_repeated(std::set<std::string>& seen) {
    const auto came_before = [&seen](const NavigationRecord& record) { return !seen.insert(record.lines[0]).second; };
    const auto end = std::remove_if(records_.begin(), records_.end(), came_before);
    repeated_ += records_.end() - end;
    records_.erase(end, records_.end());
}

bool NavigationFile::has_short_years() const {
    const auto is_short = [](const NavigationRecord& record) {
        const int year = calendar(record.epoch, 0).year % 100;
        return year == 0 || year == 79 || year == 80 || year == 99;
    };
    return is_version_2() && std::any_of(records_.begin(), records_.end(), is_short);
}

void NavigationFile::turn_into_version_3() {
    if (!is_version_2()) return;
    for (const std::string& line : header_) {
        if (line.find("ION ALPHA") == std::string::npos && line.find("ION BETA") == std::string::npos) continue;
        for (std::size_t k = 0; k < 4; ++k) {
            double value = 0.0;
            read_number(line, 2 + 12 * k, value, 12);
            ionosphere_.push_back(std::isnan(value) ? 0.0 : value);
        }
    }
    ionosphere_.resize(ionosphere_.size() / 8 * 8);
    header_ = {"     3.04           N: GNSS NAV DATA    G: GPS              RINEX VERSION / TYPE"};
    for (NavigationRecord& record : records_) {
        const TimeYMD d = calendar(record.epoch, 0);
        char first[48];
        std::snprintf(first, sizeof first, "G%02d %4d %02d %02d %02d %02d %02.0f", record.prn % 100, d.year, d.month,
                      d.day, d.hour, d.minute, d.second);
        record.lines.front() = first + record.lines.front().substr(22);
        for (std::size_t k = 1; k < record.lines.size(); ++k) record.lines[k].insert(0, " ");
    }
    version_ = 3.04;
    is_changed_ = true;
}

std::string NavigationFile::text() const {
    std::string text;
    for (const std::string& header_line : header_) text += header_line + '\n';
    for (std::size_t k = 0; k < ionosphere_.size(); k += 4) {
        char coefficients[128];
        std::snprintf(coefficients, sizeof coefficients, "GPS%c %.12E %.12E %.12E %.12E IONOSPHERIC CORR\n",
                      k == 0 ? 'A' : 'B', ionosphere_[k], ionosphere_[k + 1], ionosphere_[k + 2], ionosphere_[k + 3]);
        text += coefficients;
    }
    text += std::string(60, ' ') + "END OF HEADER\n";
    for (const NavigationRecord& record : records_) {
        for (const std::string& record_line : record.lines) text += record_line + '\n';
    }
    return text;
}

std::string NavigationFile::left_out() const {
    std::string text;
    if (damaged_ > 0) add_part(text, std::to_string(damaged_) + " cut or damaged left out");
    for (const auto& [message, count] : messages_)
        add_part(text, std::to_string(count) + " of message " + message + " not read");
    if (repeated_ > 0) add_part(text, std::to_string(repeated_) + " that came before left out");
    if (far_ > 0) add_part(text, std::to_string(far_) + " far from the arc left out");
    return text;
}

}  // namespace host
