#include "stores/orientation.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <vector>

#include "inputs/checks.h"
#include "inputs/kinds.h"
#include "inputs/open.h"
#include "shared/error.h"
#include "shared/times.h"
#include "stores/environment.h"

namespace host {

namespace {

constexpr int kHeadLines = 14;  ///< the library passes over as many in a C04 file

const char* format_of(Kind kind) {
    return kind == Kind::eop_rapid ? "rapid" : kind == Kind::eop_keyword ? "keyword" : "c04";
}

/// The numbers at the start of a line.
std::vector<double> leading_numbers(const std::string& line) {
    std::vector<double> numbers;
    const char* at = line.c_str();
    for (char* end = nullptr; numbers.size() < 21; at = end) {
        const double value = std::strtod(at, &end);
        if (end == at) break;
        numbers.push_back(value);
    }
    return numbers;
}

bool is_date(const std::vector<double>& v, std::size_t mjd) {
    if (v.size() < mjd + 7 || !(v[0] >= 1900.0 && v[0] <= 2200.0)) return false;
    TimeYMD date{};
    date.year = static_cast<int>(v[0]);
    date.month = static_cast<int>(v[1]);
    date.day = static_cast<int>(v[2]);
    if (date.month < 1 || date.month > 12 || date.day < 1 || date.day > 31) return false;
    return std::fabs(gtime2mjd(YMD2GTime(date, tsUTC)) - std::floor(v[mjd])) < 0.5;
}

/// A line of the layout with hours (date, hour, MJD, x, y, UT1-UTC, dX, dY, rates of x and y, LOD, uncertainties) in the older one.
std::string without_hours(const std::vector<double>& v) {
    char text[256];
    const auto sigma = [&v](std::size_t i) { return i < v.size() ? v[i] : 0.0; };
    std::snprintf(text, sizeof text,
                  "%4.0f%4.0f%4.0f %11.5f%12.6f%12.6f%13.7f%13.7f%12.6f%12.6f%12.6f%12.6f%13.7f%13.7f%12.6f%12.6f",
                  v[0], v[1], v[2], v[4], v[5], v[6], v[7], v[12], v[8], v[9], sigma(13), sigma(14), sigma(15),
                  sigma(20), sigma(16), sigma(17));
    return text;
}

/// Lines of a C04 file from the first one with data on, in the older layout.
struct C04Lines {
    std::vector<std::string> lines;
    int head = 0;  ///< lines before
};

C04Lines read_c04(const std::string& file, const std::string& kind, bool with_hours) {
    C04Lines result;
    int number = 0;
    each_line(file, kind, [&](const std::string& line) {
        ++number;
        const std::vector<double> v = leading_numbers(line);
        const bool data = with_hours ? v.size() >= 13 && is_date(v, 4) : is_date(v, 3);
        if (data && result.lines.empty()) result.head = number - 1;
        if (with_hours && data) result.lines.push_back(without_hours(v));
        if (!with_hours && (data || !result.lines.empty())) result.lines.push_back(line);
        return true;
    });
    return result;
}

/// Loads lines of the older C04 layout through a file in memory with the head that the library expects.
bool load_c04_lines(const std::vector<std::string>& lines) {
    const int descriptor = memfd_create("leopod", MFD_CLOEXEC);
    if (descriptor < 0) return false;
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> memory(fdopen(descriptor, "w"), std::fclose);
    if (memory == nullptr) return false;
    for (int i = 0; i < kHeadLines; ++i) std::fputc('\n', memory.get());
    for (const std::string& line : lines) std::fprintf(memory.get(), "%s\n", line.c_str());
    std::fflush(memory.get());
    return load_eop_storage(writable("/proc/self/fd/" + std::to_string(descriptor)));
}

bool load_file(const std::string& file, const std::string& name, Kind kind) {
    if (kind == Kind::eop_rapid) return load_eop_storage_rapid(loadable(file));
    if (kind == Kind::eop_keyword) {
        const bool ok = load_eop_storage_celestrack(loadable(file));
        // This reader leaves the count to the caller.
        g_eop_storage_size = 0;
        while (g_eop_storage_size <= MAXSIZE_EOP && g_eop_storage[g_eop_storage_size].ok) ++g_eop_storage_size;
        return ok;
    }
    const C04Lines c04 = read_c04(file, name, kind == Kind::eop_c04_hour);
    if (kind == Kind::eop_c04 && c04.head == kHeadLines) return load_eop_storage(loadable(file));
    return load_c04_lines(c04.lines);
}

/// The library looks for a date by halving: days that don't rise would give it another one's values.
void check_order(const std::string& file) {
    for (long i = 1; i < g_eop_storage_size; ++i) {
        const double before = g_eop_storage[i - 1].mjd_utc, now = g_eop_storage[i].mjd_utc;
        if (now > before) continue;
        throw InputError(file + ": the dates of this earth orientation file don't rise: MJD " +
                         std::to_string(std::lround(now)) + " behind " + std::to_string(std::lround(before)));
    }
}

}  // namespace

void load_earth_orientation(const std::string& file, const std::string& format, Environment& environment) {
    initialize_global_earth_rotation_param();
    environment.eop_source = "none: UT1 = UTC, no polar motion";
    if (format != "auto" && format != "c04" && format != "rapid" && format != "keyword")
        throw InputError("--eop-format " + format + ": one of auto, c04, rapid, keyword is expected");
    if (file.empty()) return;
    const std::string name = "earth orientation file (C04, rapid or keyword)";
    const Kind kind = kind_of_file(file, name);
    if (kind != Kind::eop_c04 && kind != Kind::eop_c04_hour && kind != Kind::eop_rapid && kind != Kind::eop_keyword)
        wrong_kind(file, name);
    const std::string found = format_of(kind);
    if (format != "auto" && format != found)
        throw InputError(file + ": is an earth orientation file of format " + found + ", not " + format +
                         " (--eop-format)");
    environment.eop = make_zeroed<EOPREC>(MAXSIZE_EOP + 1);
    g_eop_storage = environment.eop.get();
    if (!load_file(file, name, kind) || g_eop_storage_size == 0) wrong_kind(file, name);
    check_order(file);
    const double first = g_eop_storage[0].mjd_utc;
    const double last = g_eop_storage[g_eop_storage_size - 1].mjd_utc;
    environment.files.push_back({"earth orientation", file, std::to_string(g_eop_storage_size) + " days"});
    environment.eop_source = found + " file " + file + ", " + date_span_text(first, last) + " UTC";
}

std::string orientation_shortcoming(double mjd_first, double mjd_last, const Environment& environment) {
    constexpr double kLongest = 1.5;  ///< between two records of a series [day]
    const std::string effect = "earth-fixed positions turn by up to 0.9 s, 400 m at the surface";
    if (g_eop_storage == nullptr || g_eop_storage_size == 0) return "NO EARTH ORIENTATION (--eop): " + effect;
    const double first = g_eop_storage[0].mjd_utc;
    const double last = g_eop_storage[g_eop_storage_size - 1].mjd_utc;
    const std::string spans = environment.eop_source + "; the arc is " + date_span_text(mjd_first, mjd_last);
    if (mjd_last < first || mjd_first > last || g_eop_storage_size < 3)
        throw InputError("THE EARTH ORIENTATION COVERS NOTHING OF THE ARC: " + spans);
    bool gap = false;
    for (long i = 1; i < g_eop_storage_size; ++i) {
        const double before = g_eop_storage[i - 1].mjd_utc, now = g_eop_storage[i].mjd_utc;
        gap = gap || (now - before > kLongest && before < mjd_last + 1.0 && now > mjd_first - 1.0);
    }
    if (gap) return "THE EARTH ORIENTATION LACKS DAYS OF THE ARC: " + spans;
    if (mjd_first < first || mjd_last > last)
        return "THE EARTH ORIENTATION COVERS PART OF THE ARC ONLY: " + spans + "; outside, " + effect;
    return "";
}

}  // namespace host
