#include "inputs/spans.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "inputs/checks.h"
#include "shared/error.h"
#include "shared/times.h"

namespace host {

namespace {

/// Times in the order of a file.
class Steps {
  public:
    explicit Steps(FileSpan& span) : span_(span) {}
    void add(const TimeYMD& date) { add(time_of(date, tsGPST)); }
    void add(const GTime& time) {
        const double step = span_.known() ? gtimeSubSec(time, before_) : 0.0;
        if (step > 0.0) steps_.add(step);
        before_ = time;
        span_.include(time);
    }
    /// The span with its interval.
    const FileSpan& span() {
        span_.interval = steps_.seconds();
        return span_;
    }

  private:
    FileSpan& span_;
    GTime before_{};
    UsualStep steps_;
};

/// Reads a date behind the first characters of a line; false where it is none that the calendar can carry.
bool read_date(const char* text, TimeYMD& date) {
    return std::sscanf(text, "%d %d %d %d %d %lf", &date.year, &date.month, &date.day, &date.hour, &date.minute,
                       &date.second) == 6 &&
           date.year >= 1950 && date.year <= 2200 && is_date(date.year, date.month, date.day) && date.hour >= 0 &&
           date.hour <= 24 && date.minute >= 0 && date.minute < 60 && date.second >= 0.0 && date.second < 61.0;
}

/// The library takes every time as GPS time; Galileo and QZSS keep the same.
void check_time_system(const std::string& name, const std::string& kind, const std::string& system) {
    for (const char* same : {"GPS", "GAL", "QZS", "ccc", "   ", ""}) {
        if (system == same) return;
    }
    throw InputError(name + ": this " + kind + " has times in " + system + ", GPS time is needed");
}

}  // namespace

void UsualStep::add(double seconds) { ++counts_[std::lround(1000.0 * seconds)]; }

double UsualStep::seconds() const {
    const auto most = std::max_element(counts_.begin(), counts_.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; });
    return most != counts_.end() ? static_cast<double>(most->first) / 1000.0 : 0.0;
}

void FileSpan::include(const GTime& time) {
    if (!known() || gtime_less(time, first)) first = time;
    if (last.sys == UKNTS || gtime_greater(time, last)) last = time;
}

FileSpan sp3_span(const std::string& name) {
    FileSpan span;
    Steps steps(span);
    bool ended = false;
    bool named = false;
    each_line(name, "SP3 file", [&](const std::string& line) {
        TimeYMD date{};
        if (line.empty()) return true;
        ended = line.compare(0, 3, "EOF") == 0 || (ended && line[0] != '#');  // another file may stand behind this one
        span.cut = span.cut || (ended && line[0] == '*');
        if (ended) return !span.cut;
        if (line[0] == '#' && line[1] != '#') named = false;
        if (line.compare(0, 2, "%c") == 0 && !named && line.size() > 11) {
            named = true;
            check_time_system(name, "SP3 file", line.substr(9, 3));
        }
        if (line[0] == '*' && read_date(line.c_str() + 1, date)) steps.add(date);
        if (line[0] == 'P' && line.size() > 46 && !span.clocks) {
            const double clock = std::atof(line.c_str() + 46);
            span.clocks = clock != 0.0 && std::fabs(clock) < 99999.0;
        }
        return true;
    });
    return steps.span();
}

FileSpan clock_span(const std::string& name) {
    FileSpan span;
    Steps steps(span);
    std::string before;
    each_line(name, "RINEX clock file", [&](const std::string& line) {
        if (line.find("TIME SYSTEM ID", 60) != std::string::npos)
            check_time_system(name, "RINEX clock file", line.substr(line.find_first_not_of(' '), 3));
        int behind_name = 0;
        if (line.compare(0, 3, "AS ") != 0 || std::sscanf(line.c_str(), "%*s %*s%n", &behind_name) < 0) return true;
        const std::string text = line.substr(static_cast<std::size_t>(behind_name), 28);
        TimeYMD date{};
        if (text != before && read_date(text.c_str(), date)) steps.add(date);
        before = text;
        span.clocks = true;
        return true;
    });
    return steps.span();
}

FileSpan attitude_span(const std::string& name, bool mission) {
    FileSpan span;
    Steps steps(span);
    constexpr GTime kOrigin = {{51544, 43200.0}, tsGPST};  ///< of the mission's seconds
    each_line(name, "attitude quaternion file", [&](const std::string& line) {
        char* end = nullptr;
        const double number = std::strtod(line.c_str(), &end);
        if (end == line.c_str() || (*end != ' ' && *end != '\t')) return true;
        if (mission ? std::fabs(number) < 1e10 : number > 40000.0 && number < 90000.0)
            steps.add(mission ? gtimeAddSec(kOrigin, number) : mjd2GTime(tsGPST, number));
        return true;
    });
    return steps.span();
}

}  // namespace host
