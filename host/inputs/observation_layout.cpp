#include "inputs/observation_layout.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "gnss_config.h"

namespace host {

namespace {

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

/// A value divided by a factor, with as many decimals as its columns hold.
void divide(char* value, int factor) {
    std::string_view text(value, kValueWidth);
    double number = 0.0;
    if (!take_number(text, number)) return;
    char quotient[64] = {};
    int decimals = 3 + static_cast<int>(std::lround(std::log10(factor)));
    do {
        std::snprintf(quotient, sizeof quotient, "%14.*f", decimals, number / factor);
    } while (quotient[kValueWidth] != '\0' && --decimals >= 0);
    std::copy_n(quotient, kValueWidth, value);
}

}  // namespace

std::string_view columns(std::string_view line, std::size_t first, std::size_t width) {
    return first < line.size() ? line.substr(first, width) : std::string_view();
}

int number_at(std::string_view line, std::size_t first, std::size_t width) {
    std::string_view text = columns(line, first, width);
    int value = 0;
    return take_number(text, value) && value >= 0 && value < 100000 ? value : -1;
}

bool has_label(const std::string& line, const char* label) { return line.find(label, 60) != std::string::npos; }

std::string_view ObservedSatellite::field(std::size_t type) const {
    const std::size_t first = type * kFieldWidth;
    return first < fields.size() ? std::string_view(fields).substr(first, kFieldWidth) : std::string_view();
}

std::uint64_t ObservedSatellite::mask(std::size_t types) const {
    std::uint64_t mask = 0;
    for (std::size_t k = 0; k < types; ++k) {
        const std::string_view value = field(k).substr(0, kValueWidth);
        // The last digits are the first to tell.
        if (std::any_of(value.rbegin(), value.rend(), [](char c) { return c >= '1' && c <= '9'; }))
            mask |= std::uint64_t{1} << k;
    }
    return mask;
}

void ObservationLayout::read(const std::string& line) {
    if (has_label(line, "# / TYPES OF OBSERV")) read_types_v2(line);
    if (has_label(line, "SYS / # / OBS TYPES")) read_types_v3(line);
    if (has_label(line, "SYS / SCALE FACTOR")) read_factors(line);
}

void ObservationLayout::read_types_v2(const std::string& line) {
    const int count = number_at(line, 0, 6);
    if (count >= 0) {
        types_v2_.clear();
        types_left_ = static_cast<std::size_t>(count);
    }
    for (std::size_t k = 0; k < 9 && types_left_ > 0; ++k, --types_left_) {
        std::string type(columns(line, 10 + 6 * k, 2));
        type.erase(std::remove(type.begin(), type.end(), ' '), type.end());
        if (types_v2_.size() < kMostTypes) types_v2_.push_back(type_of_v2(type));
    }
    for (const char system : std::string("GRECSJ")) layout_[system] = types_v2_;
}

void ObservationLayout::read_types_v3(const std::string& line) {
    const char letter = line[0];
    const int count = number_at(line, 3, 3);
    if (letter != ' ' && count >= 0) {
        system_ = letter;
        types_left_ = static_cast<std::size_t>(count);
        layout_[system_].clear();
    }
    for (std::size_t k = 0; k < 13 && types_left_ > 0; ++k, --types_left_) {
        if (layout_[system_].size() < kMostTypes) layout_[system_].emplace_back(columns(line, 7 + 4 * k, 3));
    }
}

/// "G  100  4 C1C L1C C2W L2W": without types the factor is that of all.
void ObservationLayout::read_factors(const std::string& line) {
    if (line[0] != ' ') {
        scaled_ = line[0];
        factor_ = std::max(1, number_at(line, 2, 4));
        factors_left_ = number_at(line, 8, 2);
        if (factors_left_ <= 0) factors_[scaled_] = {{"", factor_}};
    }
    for (std::size_t k = 0; k < 12 && factors_left_ > 0; ++k, --factors_left_)
        factors_[scaled_][std::string(columns(line, 11 + 4 * k, 3))] = factor_;
}

void ObservationLayout::take_in() {
    if (types_.empty()) types_ = layout_;
    for (const auto& [system, names] : layout_) {
        std::vector<std::string>& all = types_[system];
        for (const std::string& name : names) {
            if (all.size() < kMostTypes && std::count(all.begin(), all.end(), name) == 0) all.push_back(name);
        }
    }
    is_moved_ = layout_ != types_;
}

void ObservationLayout::apply(ObservedSatellite& satellite) const {
    if (!factors_.empty()) unscale(satellite);
    if (is_moved_) put_in_place(satellite);
}

void ObservationLayout::unscale(ObservedSatellite& satellite) const {
    const auto factors = factors_.find(satellite.system);
    const auto layout = layout_.find(satellite.system);
    if (factors == factors_.end() || layout == layout_.end()) return;
    for (std::size_t k = 0; k < layout->second.size() && satellite.fields.size() >= k * kFieldWidth + kValueWidth;
         ++k) {
        auto factor = factors->second.find(layout->second[k]);
        if (factor == factors->second.end()) factor = factors->second.find("");
        if (factor != factors->second.end() && factor->second > 1)
            divide(satellite.fields.data() + k * kFieldWidth, factor->second);
    }
}

void ObservationLayout::put_in_place(ObservedSatellite& satellite) const {
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

}  // namespace host
