#include "estimation/screening.h"

#include <algorithm>
#include <cmath>

namespace host {

namespace {

double median_of(std::vector<double>& values) {
    if (values.empty()) return 0.0;
    const auto middle = values.begin() + static_cast<long>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

/// Tracking of one satellite up to the present epoch.
struct Track {
    long last = -1;     ///< link
    double mean = 0;    ///< of the wide lane in this pass [cycle]
    double square = 0;  ///< sum of squared deviations
    long count = 0;
    double rate = 0;  ///< of the geometry-free phase [m/s]
    bool has_rate = false;
    int pass = -1;
};

bool usable(const Link& link) {
    return link.phase_edit != Edit::kNoEphemeris && link.phase_edit != Edit::kLowElevation;
}

/// Melbourne-Wuebbena against its mean in the pass.
bool wide_lane_jumps(const Track& track, const Link& link) {
    constexpr double kLeast = 1.5;  ///< [cycle]
    constexpr double kDeviations = 6.0;
    if (track.count < 4) return std::fabs(link.wide_lane - track.mean) > 4.0;
    const double deviation = std::sqrt(track.square / static_cast<double>(track.count - 1));
    return std::fabs(link.wide_lane - track.mean) > std::max(kLeast, kDeviations * deviation);
}

bool geometry_free_jumps(const Track& track, const Link& last, const Link& link, double step) {
    // The ionosphere may change by so much in a second, and its rate by so much over the step.
    constexpr double kLeast = 0.10, kRate = 0.02, kChange = 0.01;
    const double change = link.geometry_free - last.geometry_free;
    if (!track.has_rate) return std::fabs(change) > kLeast + kRate * step;
    return std::fabs(change - track.rate * step) > kLeast + kChange * step;
}

/// Links of an epoch whose phase jumps against the orbit since their last epoch; the receiver clock is the median change.
std::vector<char> orbit_jumps(const ObservedArc& arc, const ArcEpoch& epoch, const std::vector<Track>& tracks,
                              const ScreeningOptions& options) {
    std::vector<char> jumps(epoch.count, 0);
    // Satellites that share the epoch they come from share the change of the clock.
    std::map<std::pair<std::size_t, int>, std::vector<std::pair<std::size_t, double>>> groups;
    for (std::size_t k = 0; k < epoch.count; ++k) {
        const Link& link = arc.links[epoch.first + k];
        const Track& track = tracks[static_cast<std::size_t>(link.satindex)];
        if (!usable(link) || track.last < 0) continue;
        const Link& last = arc.links[static_cast<std::size_t>(track.last)];
        groups[{last.epoch, link.system}].push_back({k, link.phase_omc - last.phase_omc});
    }
    for (auto& [key, members] : groups) {
        std::vector<double> changes;
        for (const auto& m : members) changes.push_back(m.second);
        if (changes.size() < 2) continue;
        std::sort(changes.begin(), changes.end());
        // The densest half: of few satellites the median may lie between two clusters.
        const std::size_t half = changes.size() / 2 + 1;
        double best = 1e99, clock = 0.0;
        for (std::size_t i = 0; i + half <= changes.size(); ++i) {
            const double width = changes[i + half - 1] - changes[i];
            if (width >= best) continue;
            best = width;
            clock = 0.0;
            for (std::size_t j = i; j < i + half; ++j) clock += changes[j] / static_cast<double>(half);
        }
        for (const auto& [k, change] : members) jumps[k] = std::fabs(change - clock) > options.jump;
    }
    return jumps;
}

void follow(Track& track, const ObservedArc& arc, std::size_t index, bool begins) {
    const Link& link = arc.links[index];
    if (begins) {
        track = Track{};
    } else {
        const Link& last = arc.links[static_cast<std::size_t>(track.last)];
        const double step = arc.epochs[link.epoch].time - arc.epochs[last.epoch].time;
        track.rate = (link.geometry_free - last.geometry_free) / step;
        track.has_rate = true;
    }
    ++track.count;
    const double deviation = link.wide_lane - track.mean;
    track.mean += deviation / static_cast<double>(track.count);
    track.square += deviation * (link.wide_lane - track.mean);
    track.last = static_cast<long>(index);
}

/// What begins a pass at this link; null where the last one goes on.
const char* beginning(const ObservedArc& arc, const Track& track, const Link& link, bool jumps,
                      const ScreeningOptions& options) {
    if (track.last < 0) return "rise";
    const Link& last = arc.links[static_cast<std::size_t>(track.last)];
    const double step = arc.epochs[link.epoch].time - arc.epochs[last.epoch].time;
    const double longest = std::max(options.longest_gap, 2.5 * arc.interval);
    if (step > 1800.0) return "rise";
    if (step > longest) return "gap";
    if (wide_lane_jumps(track, link)) return "Melbourne-Wuebbena";
    if (geometry_free_jumps(track, last, link, step)) return "geometry-free";
    return jumps ? "jump against the orbit" : nullptr;
}

void drop_short_passes(ObservedArc& arc, const ScreeningOptions& options) {
    for (Link& link : arc.links) {
        if (link.pass < 0) continue;
        const Pass& pass = arc.passes[static_cast<std::size_t>(link.pass)];
        const double length = arc.epochs[pass.last_epoch].time - arc.epochs[pass.first_epoch].time;
        if (length < options.shortest_pass || pass.count < 4) link.phase_edit = Edit::kShortPass;
    }
}

}  // namespace

ScreeningReport find_passes(ObservedArc& arc, const ScreeningOptions& options) {
    ScreeningReport report;
    arc.passes.clear();
    std::vector<Track> tracks(MAXSAT_GNSS);
    for (std::size_t e = 0; e < arc.epochs.size(); ++e) {
        const ArcEpoch& epoch = arc.epochs[e];
        const std::vector<char> jumps = orbit_jumps(arc, epoch, tracks, options);
        for (std::size_t k = 0; k < epoch.count; ++k) {
            Link& link = arc.links[epoch.first + k];
            link.pass = -1;
            if (!usable(link)) continue;
            link.phase_edit = Edit::kUsed;
            Track& track = tracks[static_cast<std::size_t>(link.satindex)];
            const char* const why = beginning(arc, track, link, jumps[k] != 0, options);
            follow(track, arc, epoch.first + k, why != nullptr);
            if (why != nullptr) {
                ++report.passes[why];
                track.pass = static_cast<int>(arc.passes.size());
                arc.passes.push_back({link.satindex, link.prn, link.satsys, e, e, 0, why});
            }
            link.pass = track.pass;
            Pass& pass = arc.passes[static_cast<std::size_t>(link.pass)];
            pass.last_epoch = e;
            ++pass.count;
        }
    }
    drop_short_passes(arc, options);
    return report;
}

long edit_residuals(ObservedArc& arc, const ScreeningOptions& options, bool phase) {
    // The scale of each kind by the median of what has a residual, so that outliers do not hide each other.
    std::vector<double> code_sizes, phase_sizes;
    for (const Link& link : arc.links) {
        if (link.code_edit == Edit::kUsed && std::isfinite(link.code_residual))
            code_sizes.push_back(std::fabs(link.code_residual) / link.code_sigma);
        if (link.phase_edit == Edit::kUsed && std::isfinite(link.phase_residual))
            phase_sizes.push_back(std::fabs(link.phase_residual) / link.phase_sigma);
    }
    // Where the sigmas are generous, what stays well within them is no outlier: editing would creep into a motion that doesn't fit yet.
    constexpr double kLeast = 0.5;
    const double code_bound = options.bound * std::max(kLeast, 1.4826 * median_of(code_sizes));
    const double phase_bound = options.bound * std::max(kLeast, 1.4826 * median_of(phase_sizes));
    long changes = 0;
    const auto judge = [&changes](Edit& edit, double size, double bound) {
        if (edit != Edit::kUsed && edit != Edit::kOutlier) return;
        // Admitted again only well within the bound, so that nothing swings.
        const Edit now = !(size <= (edit == Edit::kUsed ? bound : 0.8 * bound)) ? Edit::kOutlier : Edit::kUsed;
        changes += now != edit;
        edit = now;
    };
    for (Link& link : arc.links) {
        judge(link.code_edit, std::fabs(link.code_residual) / link.code_sigma, code_bound);
        if (phase) judge(link.phase_edit, std::fabs(link.phase_residual) / link.phase_sigma, phase_bound);
    }
    return changes;
}

}  // namespace host
