#include "stores/clock_choice.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>

#include "inputs/checks.h"
#include "inputs/spans.h"
#include "shared/times.h"

namespace host {

namespace {

const char kKind[] = "RINEX clock file";

bool is_clock(const std::string& line) { return line.compare(0, 3, "AS ") == 0; }

void each_clock(const std::string& name, const std::function<void(const std::string&)>& use) {
    each_line(name, kKind, [&use](const std::string& line) {
        if (is_clock(line)) use(line);
        return true;
    });
}

std::string satellite_of(const std::string& line) { return line.substr(3, 4); }

GTime time_of_line(const std::string& line) {
    TimeYMD d{};
    const int n = std::sscanf(line.c_str(), "%*s %*s %d %d %d %d %d %lf", &d.year, &d.month, &d.day, &d.hour, &d.minute,
                              &d.second);
    return n == 6 && is_date(d.year, d.month, d.day) ? time_of(d, tsGPST) : GTime{{}, tsGPST};
}

long most(const std::map<std::string, long>& counts) {
    long most = 0;
    for (const auto& [satellite, count] : counts) most = std::max(most, count);
    return most;
}

}  // namespace

ClockChoice::ClockChoice(const std::vector<std::string>& names, const ArcOfEpochs& arc, int loaded)
    : arc_(arc), room_(std::max(1L, long{MAXEPOCH_CLK_PRE} - loaded)) {
    std::map<std::string, long> all, near;
    for (const std::string& name : names) each_clock(name, [&](const std::string& line) { ++all[satellite_of(line)]; });
    is_needed_ = arc.first.sys == tsGPST && most(all) > room_;
    if (!is_needed_) return;
    for (const std::string& name : names) {
        interval_ = std::max(interval_, clock_span(name).interval);
        each_clock(name, [&](const std::string& line) { near[satellite_of(line)] += is_near(time_of_line(line)); });
    }
    every_ = std::max(1L, (most(near) + room_ - 1) / room_);
}

std::string ClockChoice::text(const std::string& name, long& left_out) const {
    std::string text;
    left_out = 0;
    each_line(name, kKind, [&](const std::string& line) {
        const bool taken = !is_clock(line) || takes(time_of_line(line));
        left_out += !taken;
        if (taken) text += line + '\n';
        return true;
    });
    return text;
}

bool ClockChoice::is_near(const GTime& time) const {
    constexpr double kAround = 2.0 * 3600.0;  ///< [s]
    return gtimeSubSec(arc_.first, time) <= kAround && gtimeSubSec(time, arc_.last) <= kAround;
}

bool ClockChoice::takes(const GTime& time) const {
    const double step = static_cast<double>(every_) * interval_;
    return is_near(time) && (every_ == 1 || std::fabs(std::remainder(time.time.sod, step)) < 0.4 * interval_);
}

}  // namespace host
