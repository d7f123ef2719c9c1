#include "inputs/spans.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>

#include "inputs/checks.h"
#include "shared/times.h"

namespace host {

namespace {

/// Steps of times in the order of a file.
class Steps {
  public:
    explicit Steps(FileSpan& span) : span_(span) {}
    void add(const TimeYMD& date) {
        const GTime time = time_of(date, tsGPST);
        const double step = span_.known() ? gtimeSubSec(time, before_) : 0.0;
        if (step > 0.0) ++counts_[std::lround(step * 1000.0)];
        before_ = time;
        span_.include(time);
        long most = 0;
        for (const auto& [milliseconds, count] : counts_) {
            if (count <= most) continue;
            most = count;
            span_.interval = static_cast<double>(milliseconds) / 1000.0;
        }
    }

  private:
    FileSpan& span_;
    GTime before_{};
    std::map<long, long> counts_;
};

/// Reads a date behind the first characters of a line; false where it is none that the calendar can carry.
bool read_date(const char* text, TimeYMD& date) {
    return std::sscanf(text, "%d %d %d %d %d %lf", &date.year, &date.month, &date.day, &date.hour, &date.minute,
                       &date.second) == 6 &&
           date.year >= 1950 && date.year <= 2200 && is_date(date.year, date.month, date.day) && date.hour >= 0 &&
           date.hour <= 24 && date.minute >= 0 && date.minute < 60 && date.second >= 0.0 && date.second < 61.0;
}

}  // namespace

void FileSpan::include(const GTime& time) {
    if (!known() || gtime_less(time, first)) first = time;
    if (last.sys == UKNTS || gtime_greater(time, last)) last = time;
}

FileSpan sp3_span(const std::string& name) {
    FileSpan span;
    Steps steps(span);
    each_line(name, "SP3 file", [&](const std::string& line) {
        TimeYMD date{};
        if (!line.empty() && line[0] == '*' && read_date(line.c_str() + 1, date)) steps.add(date);
        if (line.size() > 46 && line[0] == 'P' && !span.clocks) {
            const double clock = std::atof(line.c_str() + 46);
            span.clocks = clock != 0.0 && std::fabs(clock) < 99999.0;
        }
        return line.compare(0, 3, "EOF") != 0;
    });
    return span;
}

FileSpan clock_span(const std::string& name) {
    FileSpan span;
    Steps steps(span);
    std::string before;
    each_line(name, "RINEX clock file", [&](const std::string& line) {
        int behind_name = 0;
        if (line.compare(0, 3, "AS ") != 0 || std::sscanf(line.c_str(), "%*s %*s%n", &behind_name) < 0) return true;
        const std::string text = line.substr(static_cast<std::size_t>(behind_name), 28);
        TimeYMD date{};
        if (text != before && read_date(text.c_str(), date)) steps.add(date);
        before = text;
        span.clocks = true;
        return true;
    });
    return span;
}

}  // namespace host
