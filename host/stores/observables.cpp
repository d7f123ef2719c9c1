#include "stores/observables.h"

#include <algorithm>
#include <cstdio>
#include <set>
#include <sstream>

#include "shared/error.h"
#include "shared/printable.h"

namespace host {

namespace {

// In the order of preference. GPS: the codes that clocks refer to in full, then what most receivers track on the first band with the same
// phase, then code and phase of different tracking, the second band's civil codes, and the third band. BDS: the codes of all satellites, then
// those of the third generation.
const std::vector<CodeSet> kGps = {
    {"C1P", "L1P", "C2P", "L2P"}, {"C1W", "L1W", "C2W", "L2W"}, {"C1C", "L1C", "C2W", "L2W"},
    {"C1C", "L1C", "C2P", "L2P"}, {"C1C", "L1P", "C2P", "L2P"}, {"C1C", "L1C", "C2D", "L2D"},
    {"C1C", "L1C", "C2L", "L2L"}, {"C1C", "L1C", "C2X", "L2X"}, {"C1C", "L1C", "C2S", "L2S"},
    {"C1C", "L1C", "C2C", "L2C"}, {"C1W", "L1C", "C2W", "L2W"}, {"C1L", "L1L", "C2L", "L2L"},
    {"C1X", "L1X", "C2X", "L2X"}, {"C1C", "L1C", "C5Q", "L5Q"}, {"C1C", "L1C", "C5X", "L5X"},
    {"C1C", "L1C", "C5I", "L5I"}, {"C1L", "L1L", "C5Q", "L5Q"}};
const std::vector<CodeSet> kBds = {{"C2I", "L2I", "C6I", "L6I"}, {"C1P", "L1P", "C5P", "L5P"},
                                   {"C2I", "L2I", "C7I", "L7I"}, {"C2X", "L2X", "C6X", "L6X"},
                                   {"C2Q", "L2Q", "C6Q", "L6Q"}, {"C2X", "L2X", "C7X", "L7X"},
                                   {"C1X", "L1X", "C5X", "L5X"}, {"C1D", "L1D", "C5D", "L5D"},
                                   {"C1P", "L1P", "C6I", "L6I"}, {"C2I", "L2I", "C5P", "L5P"}};
constexpr double kNearlyAll = 0.9;  ///< of the best set's satellites

const std::vector<CodeSet>& preferences(sysGNSS system) { return system == BDS ? kBds : kGps; }

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);) parts.push_back(part);
    return parts;
}

/// In capitals and without blanks.
std::string plain(std::string text) {
    text.erase(std::remove(text.begin(), text.end(), ' '), text.end());
    for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    return text;
}

sysGNSS system_of(const std::string& name) {
    return name == "GPS" || name == "G" ? GPS : name == "BDS" || name == "C" ? BDS : UKNSYS;
}

bool is_code(const std::string& code, char type) {
    return code.size() == 3 && code[0] == type && code[1] >= '1' && code[1] <= '9' && code[2] >= 'A' && code[2] <= 'Z';
}

std::string join(const CodeSet& codes) { return codes[0] + " " + codes[1] + " " + codes[2] + " " + codes[3]; }

std::string percent(const Share& share) {
    char text[16];
    std::snprintf(text, sizeof text, "%.0f %%",
                  share.all > 0 ? 100.0 * static_cast<double>(share.complete) / static_cast<double>(share.all) : 0.0);
    return text;
}

}  // namespace

char letter_of(sysGNSS system) { return system == GPS ? 'G' : system == BDS ? 'C' : '?'; }

Observables read_codes(const std::string& given) {
    const std::string text = plain(given);
    const std::size_t colon = text.find(':');
    Observables observables;
    observables.system = system_of(text.substr(0, colon));
    const std::vector<std::string> codes =
        colon == std::string::npos ? std::vector<std::string>{} : split(text.substr(colon + 1), ',');
    const bool valid = observables.system != UKNSYS && codes.size() == 4 && is_code(codes[0], 'C') &&
                       is_code(codes[1], 'L') && is_code(codes[2], 'C') && is_code(codes[3], 'L') &&
                       codes[0][1] == codes[1][1] && codes[2][1] == codes[3][1] && codes[0][1] != codes[2][1];
    if (!valid)
        throw InputError(
            "--codes " + given +
            ": a text such as GPS:C1C,L1C,C2W,L2W is expected: GPS or BDS, code and phase of one band, code "
            "and phase of another");
    std::copy(codes.begin(), codes.end(), observables.codes.begin());
    return observables;
}

std::vector<sysGNSS> read_systems(const std::string& given) {
    const std::string text = plain(given);
    std::vector<sysGNSS> systems;
    const bool letters = text.find(',') == std::string::npos && text != "GPS" && text != "BDS";
    std::vector<std::string> names;
    if (letters) {
        for (const char c : text) names.emplace_back(1, c);
    } else {
        names = split(text, ',');
    }
    for (const std::string& name : names) {
        const sysGNSS system = system_of(name);
        if (system == UKNSYS || std::count(systems.begin(), systems.end(), system) != 0)
            throw InputError("--systems " + given + ": GPS, BDS or GPS,BDS is expected");
        systems.push_back(system);
    }
    if (systems.empty()) throw InputError("--systems: GPS, BDS or GPS,BDS is expected");
    return systems;
}

Share share_of(sysGNSS system, const std::vector<std::string>& codes, const std::vector<ObservationScan>& scans) {
    Share share;
    for (const ObservationScan& scan : scans) {
        const auto sets = scan.sets.find(letter_of(system));
        if (sets == scan.sets.end()) continue;
        const std::vector<std::string>& types = scan.types.at(letter_of(system));
        std::uint64_t wanted = 0;
        bool held = true;
        for (const std::string& code : codes) {
            const auto at = std::find(types.begin(), types.end(), code);
            held = held && at != types.end();
            if (held) wanted |= std::uint64_t{1} << (at - types.begin());
        }
        for (const auto& [mask, count] : sets->second) {
            share.all += count;
            if (held && (mask & wanted) == wanted) share.complete += count;
        }
    }
    return share;
}

CodeSet choose_codes(sysGNSS system, const std::vector<ObservationScan>& scans) {
    const std::vector<CodeSet>& sets = preferences(system);
    std::vector<long> complete;
    complete.reserve(sets.size());
    for (const CodeSet& set : sets) complete.push_back(share_of(system, {set.begin(), set.end()}, scans).complete);
    const long best = *std::max_element(complete.begin(), complete.end());
    if (best == 0) return system == BDS ? CodeSet{"C1P", "L1P", "C5P", "L5P"} : CodeSet{"C1P", "L1P", "C2P", "L2P"};
    std::size_t k = 0;
    while (static_cast<double>(complete[k]) < kNearlyAll * static_cast<double>(best)) ++k;
    return sets[k];
}

std::string observed_types(sysGNSS system, const std::vector<ObservationScan>& scans) {
    std::set<std::string> names;
    for (const ObservationScan& scan : scans) {
        const auto sets = scan.sets.find(letter_of(system));
        if (sets == scan.sets.end()) continue;
        const std::vector<std::string>& types = scan.types.at(letter_of(system));
        for (const auto& [mask, count] : sets->second) {
            for (std::size_t k = 0; k < types.size(); ++k) {
                if ((mask >> k & 1U) != 0) names.insert(types[k]);
            }
        }
    }
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : " ") + name;
    return text;
}

std::string other_signals(const std::vector<Observables>& taken, const std::vector<ObservationScan>& scans) {
    std::string text;
    const auto taken_of = [&taken](sysGNSS system) {
        return std::find_if(taken.begin(), taken.end(), [system](const Observables& o) { return o.system == system; });
    };
    for (const sysGNSS system : {GPS, BDS}) {
        for (const CodeSet& set : preferences(system)) {
            const auto used = taken_of(system);
            if (used != taken.end() && used->codes == set) continue;
            const Share share = share_of(system, {set.begin(), set.end()}, scans);
            if (share.complete > 0)
                add_part(text, std::string(system == GPS ? "GPS " : "BDS ") + join(set) + " (" + percent(share) +
                                   " of its satellites)");
        }
    }
    std::set<char> letters;
    for (const ObservationScan& scan : scans) {
        for (const auto& [letter, sets] : scan.sets) letters.insert(letter);
    }
    for (const auto& [letter, name] : {std::pair{'E', "Galileo"}, std::pair{'R', "GLONASS"}, std::pair{'J', "QZSS"},
                                       std::pair{'I', "NavIC"}, std::pair{'S', "SBAS"}}) {
        if (letters.count(letter) != 0) add_part(text, std::string(name) + " (not processed)");
    }
    return text;
}

void configure_codes(int index, const CodeSet& codes) {
    for (std::size_t k = 0; k < codes.size(); ++k) {
        std::string code = codes[k];
        TYPE_FREQ_CODE& observable = gnssconfig.obs_type_freq_code_used[index][k];
        obscode_conversion_v3(code.data(), &observable.type, &observable.freq, &observable.code);
    }
}

std::vector<std::string> configured_codes(int index) {
    std::vector<std::string> codes;
    for (int k = 0; k < std::min<int>(gnssconfig.num_obs_freq_code[index], 10); ++k) {
        char code[8] = {};
        TYPE_FREQ_CODE_AsString(gnssconfig.obs_type_freq_code_used[index][k], code);
        codes.emplace_back(code, 3);
    }
    return codes;
}

}  // namespace host
