#include "inputs/kinds.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <vector>

#include "inputs/crinex.h"
#include "inputs/open.h"
#include "shared/error.h"
#include "shared/printable.h"

namespace host {

namespace {

constexpr std::size_t kLines = 400;  ///< looked at; the comments on top of earth orientation and gravity files are long

bool starts_with(std::string_view text, std::string_view start) { return text.substr(0, start.size()) == start; }
bool holds(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }

std::string_view columns(std::string_view line, std::size_t from, std::size_t size) {
    return from < line.size() ? line.substr(from, size) : std::string_view();
}

std::vector<std::string_view> lines_of(std::string_view head) {
    std::vector<std::string_view> lines;
    while (!head.empty() && lines.size() < kLines) {
        const std::size_t end = std::min(head.find('\n'), head.size());
        std::string_view line = head.substr(0, end);
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        lines.push_back(line);
        head.remove_prefix(std::min(end + 1, head.size()));
    }
    return lines;
}

std::vector<std::string_view> words_of(std::string_view line) {
    std::vector<std::string_view> words;
    for (std::size_t at = 0; (at = line.find_first_not_of(" \t", at)) != std::string_view::npos;) {
        const std::size_t end = std::min(line.find_first_of(" \t", at), line.size());
        words.push_back(line.substr(at, end - at));
        at = end;
    }
    return words;
}

/// A number, with an exponent of either letter; not-a-number for other texts.
double number_of(std::string_view word) {
    std::array<char, 64> text{};
    if (!word.empty() && word[0] == '+') word.remove_prefix(1);
    if (word.empty() || word.size() >= text.size()) return std::nan("");
    std::transform(word.begin(), word.end(), text.begin(), [](char c) { return c == 'D' || c == 'd' ? 'e' : c; });
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + word.size(), value);
    return error == std::errc() && end == text.data() + word.size() ? value : std::nan("");
}

bool is_whole(double value) { return value == std::floor(value) && std::fabs(value) < 1e6; }
bool is_year(double value) { return is_whole(value) && value >= 1890 && value <= 2200; }
bool is_mjd(double value) { return value >= 10000 && value <= 110000; }

/// Files whose first line says what they are.
Kind kind_of_label(std::string_view line) {
    const std::string_view label = columns(line, 60, 20);
    if (starts_with(label, "RINEX VERSION")) {
        const char type = columns(line, 20, 1).empty() ? ' ' : line[20];
        if (type == 'O' || holds(line, "OBSERVATION")) return Kind::rinex_observation;
        if (type == 'N') return Kind::rinex_navigation;
        if (type == 'G' || type == 'H' || type == 'L' || type == 'E') return Kind::rinex_navigation_other;
        if (type == 'C') return Kind::rinex_clock;
        if (type == 'M') return Kind::rinex_meteo;
    }
    if (is_crinex(line)) return Kind::rinex_observation;
    // Clock files from version 3.04 on have wider lines.
    if (holds(columns(line, 60, 60), "RINEX VERSION / TYPE") && holds(columns(line, 20, 10), "C"))
        return Kind::rinex_clock_wide;
    if (starts_with(label, "ANTEX VERSION")) return Kind::antex;
    if (line.size() > 20 && line[0] == '#' && line[1] >= 'a' && line[1] <= 'd' && (line[2] == 'P' || line[2] == 'V'))
        return Kind::sp3;
    return Kind::other;
}

/// Files that hold a certain text near their beginning.
Kind kind_of_mark(const std::vector<std::string_view>& lines) {
    for (const std::string_view line : lines) {
        const std::vector<std::string_view> words = words_of(line);
        if (words.empty()) continue;
        if (starts_with(words[0], "CCSDS_OEM_VERS")) return Kind::oem;
        if (starts_with(words[0], "CCSDS_OPM_VERS")) return Kind::opm;
        if (starts_with(words[0], "<oem") || starts_with(words[0], "<opm") || starts_with(words[0], "<ndm"))
            return Kind::ccsds_xml;
        if (starts_with(words[0], "+GNSS_SYS")) return Kind::gnss_config;
        if (starts_with(words[0], "+Force_Models")) return Kind::dynamics_config;
        if (starts_with(words[0], "KSIZE=") || (words[0] == "GROUP" && words.size() == 2 && words[1] == "1010"))
            return Kind::jpl;
        if (starts_with(words[0], "NUM_OBSERVED_POINTS")) return Kind::eop_keyword;
        if (starts_with(line, "# End of YAML header")) return Kind::attitude_mission;
        if (starts_with(words[0], "$$")) return Kind::blq;
        if ((words[0] == "H1" || words[0] == "h1") && words.size() > 1 && (words[1] == "CRD" || words[1] == "crd"))
            return Kind::crd;
        if (words[0] == "product_type" && words.size() > 1 && words[1] == "gravity_field") return Kind::gravity;
    }
    return Kind::other;
}

/// Two lines of elements by their decimal points.
bool are_elements(std::string_view one, std::string_view two) {
    return one.size() >= 68 && two.size() >= 68 && starts_with(one, "1 ") && starts_with(two, "2 ") && one[23] == '.' &&
           two[11] == '.' && two[20] == '.';
}

/// MJD with its decimals in columns 8 to 15, polar motion behind a letter.
bool is_rapid_line(std::string_view line) {
    return line.size() >= 68 && is_mjd(number_of(columns(line, 7, 8))) && line[12] == '.' &&
           (line[16] == 'I' || line[16] == 'P');
}

/// Files of numbers, by one line.
Kind kind_of_numbers(std::string_view line) {
    const std::vector<std::string_view> words = words_of(line);
    std::vector<double> v;
    v.reserve(words.size());
    for (const std::string_view word : words) v.push_back(number_of(word));
    const bool numbers = !v.empty() && std::all_of(v.begin(), v.end(), [](double x) { return std::isfinite(x); });
    if (is_rapid_line(line)) return Kind::eop_rapid;
    if (!numbers) {
        const bool coefficients = words.size() >= 5 && words[0] == "gfc";
        return coefficients ? Kind::gravity : Kind::other;
    }
    if (v.size() >= 12 && is_year(v[0]) && is_whole(v[1]) && is_whole(v[2]) && v[1] >= 1 && v[1] <= 12) {
        if (is_mjd(v[3])) return Kind::eop_c04;
        if (v[3] >= 0.0 && v[3] < 24.0 && is_mjd(v[4])) return Kind::eop_c04_hour;
    }
    if (v.size() == 5 && is_mjd(v[0]) &&
        std::fabs(std::sqrt(v[1] * v[1] + v[2] * v[2] + v[3] * v[3] + v[4] * v[4]) - 1.0) < 0.01)
        return Kind::attitude;
    if ((v.size() == 4 || v.size() == 6) && is_whole(v[0]) && is_whole(v[1]) && v[0] >= 0.0 && v[1] >= 0.0 &&
        v[1] <= v[0] && std::fabs(v[2]) <= 1.0 && std::fabs(v[3]) < 1e-2 && holds(words[2], "."))
        return Kind::gravity;
    return Kind::other;
}

bool is_binary(std::string_view head) { return head.find('\0') != std::string_view::npos; }

}  // namespace

Kind kind_of(std::string_view head) {
    if (starts_with(head, "\xEF\xBB\xBF")) head.remove_prefix(3);
    const std::vector<std::string_view> lines = lines_of(head);
    const auto first =
        std::find_if(lines.begin(), lines.end(), [](std::string_view line) { return !words_of(line).empty(); });
    if (first == lines.end()) return Kind::empty;
    if (const Kind kind = kind_of_label(*first); kind != Kind::other) return kind;
    if (const Kind kind = kind_of_mark(lines); kind != Kind::other) return kind;
    if (is_binary(head)) return Kind::binary;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (i + 1 < lines.size() && are_elements(lines[i], lines[i + 1])) return Kind::tle;
        if (const Kind kind = kind_of_numbers(lines[i]); kind != Kind::other) return kind;
    }
    const auto row =
        std::find_if(first, lines.end(), [](std::string_view line) { return !line.empty() && line[0] != '#'; });
    if (row != lines.end() && std::count(row->begin(), row->end(), ',') >= 2) return Kind::csv;
    return Kind::other;
}

Kind kind_of_file(const std::string& name, const std::string& wanted) {
    return kind_of(InputFile::of(name, wanted).head());
}

std::string description_of(Kind kind) {
    switch (kind) {
        case Kind::other:
            return "";
        case Kind::empty:
            return "an empty file";
        case Kind::binary:
            return "a binary file";
        case Kind::rinex_observation:
            return "a RINEX observation file: --obs";
        case Kind::rinex_navigation:
            return "a RINEX navigation file: --nav";
        case Kind::rinex_navigation_other:
            return "a RINEX navigation file of another system than GPS, which is not read";
        case Kind::rinex_clock_wide:
            return "a RINEX clock file with the wide lines of version 3.04, which is not read";
        case Kind::rinex_clock:
            return "a RINEX clock file: --clk";
        case Kind::rinex_meteo:
            return "a RINEX file of meteorology, which nothing reads";
        case Kind::sp3:
            return "an SP3 file: --sp3 for the transmitters, --positions, --orbit or --truth for the receiver";
        case Kind::antex:
            return "an ANTEX file: --atx";
        case Kind::jpl:
            return "a JPL ephemeris: --jpl";
        case Kind::eop_c04_hour:
        case Kind::eop_c04:
        case Kind::eop_rapid:
        case Kind::eop_keyword:
            return "an earth orientation file: --eop";
        case Kind::gravity:
            return "a gravity coefficient file: --gravity";
        case Kind::attitude:
        case Kind::attitude_mission:
            return "an attitude quaternion file: --att";
        case Kind::tle:
            return "a file of two-line element sets: leopod tle";
        case Kind::crd:
            return "a laser ranging file: leopod crd";
        case Kind::blq:
            return "an ocean loading file: leopod tide --blq";
        case Kind::gnss_config:
            return "a GNSS configuration file: --config";
        case Kind::dynamics_config:
            return "a dynamics configuration file: --dynamics";
        case Kind::oem:
            return "an ephemeris message (OEM)";
        case Kind::opm:
            return "an orbit parameter message (OPM)";
        case Kind::ccsds_xml:
            return "an orbit message in XML: the keyword form is read";
        case Kind::csv:
            return "a CSV file: positions, truth and the files of other commands have this form";
    }
    return "";
}

void wrong_kind(const std::string& name, const std::string& wanted, Kind own) {
    const Kind kind = kind_of_file(name, wanted);
    const std::string is = description_of(kind);
    if (is.empty() || kind == own) throw InputError(name + ": is not " + with_article(wanted));
    throw InputError(name + ": is not " + with_article(wanted) + "; this is " + is);
}

void check_kind(const std::string& name, const std::string& wanted, std::initializer_list<Kind> kinds) {
    const Kind kind = kind_of_file(name, wanted);
    if (kind != Kind::other && std::find(kinds.begin(), kinds.end(), kind) == kinds.end()) wrong_kind(name, wanted);
}

}  // namespace host
