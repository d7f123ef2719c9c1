#include "stores/coverage.h"

#include <algorithm>
#include <cstdio>
#include <map>

#include "shared/error.h"
#include "shared/times.h"
#include "stores/orientation.h"
#include "stores/planets.h"

namespace host {

namespace {

constexpr double kAttitudeGap = 300.0;  ///< and three intervals: the longest between two quaternions [s]
constexpr double kOrbitReach = 10.0;  ///< intervals that the interpolation of precise orbits reaches beyond its records

/// How far a kind of file serves beyond its first and last time [s].
double reach_of(const FileReport& file) {
    if (file.kind == "navigation") return 7200.0;
    if (file.kind == "precise orbits") return kOrbitReach * file.span.interval;
    if (file.kind == "precise clocks") return 2.0 * file.span.interval;
    return 0.0;
}

/// Seconds of the arc inside a span.
double seconds_within(const FileSpan& span, double reach, const GTime& first, const GTime& last) {
    const double begin = std::max(0.0, gtimeSubSec(span.first, first) - reach);
    const double end = std::min(gtimeSubSec(last, first), gtimeSubSec(span.last, first) + reach);
    return end - begin;
}

std::string span_text(const GTime& first, const GTime& last) {
    return time_text(first, 0) + " to " + time_text(last, 0);
}

/// Union of the files of a kind.
struct Union {
    FileSpan span;
    double reach = 0;
    std::string name;  ///< of the first file
    bool used = false;
};

}  // namespace

std::string coverage_text(const FileSpan& span, const GTime& first, const GTime& last) {
    const double length = std::max(gtimeSubSec(last, first), 1e-3);
    const double within = seconds_within(span, 0.0, first, last);
    std::string share = "all of the arc";
    if (within < 0.0) {
        share = "none of the arc";
    } else if (within < length - 1e-3) {
        char text[48];
        std::snprintf(text, sizeof text, "%.3g %% of the arc", std::min(99.9, 100.0 * within / length));
        share = text;
    }
    return span_text(span.first, span.last) + ", " + share;
}

std::vector<std::string> hold_models_against_arc(const Environment& environment, const GTime& first,
                                                 const GTime& last) {
    std::vector<std::string> notes;
    const double mjd_first = gtime2mjd(gtimeChangeTimeSystem(first, tsUTC));
    const double mjd_last = gtime2mjd(gtimeChangeTimeSystem(last, tsUTC));
    const auto given = [&environment](const char* kind) {
        return std::any_of(environment.files.begin(), environment.files.end(),
                           [kind](const FileReport& file) { return file.kind == kind; });
    };
    if (given("earth orientation")) notes.push_back(orientation_shortcoming(mjd_first, mjd_last, environment));
    if (given("planets")) notes.push_back(planet_shortcoming(mjd_first, mjd_last));
    notes.erase(std::remove(notes.begin(), notes.end(), ""), notes.end());
    return notes;
}

std::vector<std::string> hold_against_arc(Environment& environment, const GTime& first, const GTime& last) {
    std::vector<std::string> notes = hold_models_against_arc(environment, first, last);
    std::map<std::string, Union> kinds;
    const std::string arc = "; the arc is " + span_text(first, last);
    const bool precise = g_eph_selection == EPHOPT_PREC;
    for (FileReport& file : environment.files) {
        const bool serves = file.kind == "precise orbits" || file.kind == "precise clocks" || file.kind == "attitude" ||
                            (file.kind == "navigation" && !precise);
        if (!file.span.known() && serves)
            throw InputError(file.name + ": " + file.kind + ": " + "nothing that could serve (" + file.content + ")");
        if (!file.span.known()) continue;
        const std::string covered = coverage_text(file.span, first, last);
        file.content += ", " + covered;
        if (file.kind == "observations") continue;
        if (file.kind == "navigation" && precise) {
            file.content += ", ephemerides not used: precise products are loaded";
            continue;
        }
        if (file.span.cut) {
            file.content += ", nothing used behind its EOF line";
            notes.push_back(file.name + ": goes on behind its EOF line, and nothing of that is used");
        }
        const double reach = reach_of(file);
        Union& all = kinds[file.kind];
        if (all.name.empty()) all.name = file.name;
        all.span.include(file.span.first);
        all.span.include(file.span.last);
        all.reach = std::max(all.reach, reach);
        if (seconds_within(file.span, reach, first, last) < 0.0) {
            notes.push_back(file.name + ": " + covered + arc);
        } else {
            all.used = true;
            if (seconds_within(file.span, 0.0, first, last) < 0.0) file.content += " itself, its end serves it";
        }
    }
    for (const auto& [kind, all] : kinds) {
        // Positions serve between their first and last; records a while beyond.
        const double reach = kind == "navigation" ? all.reach : 0.0;
        const double within = seconds_within(all.span, reach, first, last);
        if (!all.used || within < 0.0) {
            throw InputError(all.name + ": " + kind + ": " + span_text(all.span.first, all.span.last) +
                             ", none of the arc" + arc);
        }
        if (within < gtimeSubSec(last, first) - 1e-3)
            notes.push_back(all.name + ": " + kind + ": " + coverage_text(all.span, first, last) + arc);
    }
    return notes;
}

AttitudeGuard::AttitudeGuard(int object) {
    for (int i = 0; i < g_att_qua_storage.num_object; ++i) {
        if (g_att_qua_storage.idx_object[i] == object) slot_ = i;
    }
    if (slot_ < 0) return;
    UsualStep steps;
    const ATT_QUATERNION* records = g_att_qua_storage.qua_all[slot_];
    for (int i = 1; i < g_att_qua_storage.qua_num[slot_]; ++i)
        steps.add(gtimeSubSec(records[i].time, records[i - 1].time));
    gap_ = std::max(kAttitudeGap, 3.05 * steps.seconds());
}

bool AttitudeGuard::serves(const GTime& time) const {
    const ATT_QUATERNION* records = g_att_qua_storage.qua_all[slot_];
    const ATT_QUATERNION* end = records + g_att_qua_storage.qua_num[slot_];
    // The library leaves quaternions without a vector part aside.
    const auto usable = [](const ATT_QUATERNION& q) {
        return q.qua.v[0] * q.qua.v[0] + q.qua.v[1] * q.qua.v[1] + q.qua.v[2] * q.qua.v[2] >= 1e-6;
    };
    const ATT_QUATERNION* after = std::lower_bound(
        records, end, time, [](const ATT_QUATERNION& q, const GTime& t) { return gtime_less(q.time, t); });
    while (after != end && !usable(*after)) ++after;
    if (after == end) return false;
    if (gtimeSubSec(after->time, time) == 0.0) return true;
    const ATT_QUATERNION* before = after;
    while (before != records && (!gtime_less(before->time, time) || !usable(*before))) --before;
    return gtime_less(before->time, time) && usable(*before) && gtimeSubSec(after->time, before->time) <= gap_;
}

}  // namespace host
