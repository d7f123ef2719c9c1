#include "inputs/config_check.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <utility>

#include "inputs/checks.h"
#include "inputs/kinds.h"
#include "shared/error.h"
#include "shared/nearest.h"

namespace host {

namespace {

constexpr std::size_t kLongestLine = 1023;  ///< what the library reads of a line
constexpr std::size_t kMostFaults = 12;     ///< shown; a file of another kind has one a line

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r");
    if (first == std::string::npos) return "";
    return text.substr(first, text.find_last_not_of(" \t\r") + 1 - first);
}

/// Text for a message: short, without control characters.
std::string shown(const std::string& text) {
    std::string s = text.substr(0, 80);
    std::replace_if(
        s.begin(), s.end(), [](unsigned char c) { return c < 32 || c == 127; }, '?');
    return s;
}

}  // namespace

bool whole_number(const std::string& text, long least, long most, long& value) {
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    return error == std::errc() && stop == end && value >= least && value <= most;
}

ConfigCheck::ConfigCheck(std::string file, std::string kind, std::vector<std::string> sections)
    : file_(std::move(file)), kind_(std::move(kind)), sections_(std::move(sections)) {}

bool ConfigCheck::take_marker(const ConfigLine& line, const std::string& raw) {
    for (const std::string& name : sections_) {
        for (const char sign : {'+', '-'}) {
            const std::string marker = sign + name;
            if (raw.find(marker) == std::string::npos) continue;
            if (line.text != marker) {
                fault(line, "a section's marker stands alone in its line");
            } else if (sign == '+' && !open_.empty()) {
                fault(line, "section " + open_ + " is still open (no -" + open_ + " before)");
            } else if (sign == '-' && open_ != name) {
                fault(line, "this section is not open");
            }
            open_ = sign == '+' ? name : "";
            first_section_ = first_section_ || name == sections_.front();
            return true;
        }
    }
    return false;
}

void ConfigCheck::read(const std::function<void(const ConfigLine&)>& use) {
    ConfigLine line;
    check_kind(file_, kind_ + " file", {Kind::gnss_config, Kind::dynamics_config});
    each_line(file_, kind_ + " file", [&](const std::string& raw) {
        ++line.number;
        if (!raw.empty() && (raw[0] == '*' || raw.compare(0, 2, "//") == 0)) return true;
        const std::size_t comment = raw.find("//");
        line.useful = raw.substr(0, comment);
        line.text = trimmed(line.useful);
        line.comment_behind =
            comment != std::string::npos && line.useful.find_last_not_of(" \t") + 1 == line.useful.size();
        if (raw.size() > kLongestLine) fault(line, "longer than 1023 characters");
        if (take_marker(line, raw)) return true;
        line.section = open_;
        line.fields.clear();
        std::istringstream stream(line.text);
        for (std::string field; stream >> field;) line.fields.push_back(field);
        if (!open_.empty()) {
            use(line);
        } else if (!line.text.empty()) {
            std::vector<std::string> begins, markers;
            for (const std::string& name : sections_) {
                begins.push_back("+" + name);
                markers.insert(markers.end(), {"+" + name, "-" + name});
            }
            fault(line, "outside of the sections (" + list_of(begins) + ")" + did_you_mean(line.text, markers));
        }
        return true;
    });
    if (!first_section_) {
        const Kind own = sections_.front() == "Force_Models" ? Kind::dynamics_config : Kind::gnss_config;
        wrong_kind(file_, kind_ + " file (no +" + sections_.front() + " section)", own);
    }
    if (!open_.empty()) fault("section " + open_ + " is not closed (no -" + open_ + ")");
}

void ConfigCheck::fault(const ConfigLine& line, const std::string& reason) {
    faults_.push_back(file_ + ", line " + std::to_string(line.number) + ": \"" + shown(line.text) +
                      "\" is not understood: " + reason);
}

void ConfigCheck::fault(const std::string& reason) { faults_.push_back(file_ + ": " + reason); }

void ConfigCheck::finish() const {
    if (faults_.empty()) return;
    std::string all;
    for (std::size_t i = 0; i < faults_.size() && i < kMostFaults; ++i) all += (i > 0 ? "\n" : "") + faults_[i];
    if (faults_.size() > kMostFaults)
        all += "\n" + file_ + ": and " + std::to_string(faults_.size() - kMostFaults) + " more";
    throw InputError(all);
}

}  // namespace host
