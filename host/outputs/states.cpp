#include "outputs/states.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

#include "shared/error.h"

namespace host {

namespace {

constexpr std::uint64_t kInMemory = 4ULL << 20U;  ///< bytes of states that are not on disk
constexpr std::size_t kBlock = 64;                ///< states that are read at a time
constexpr std::size_t kLeastNeighbours = 5;
constexpr double kGap = 1.5;  ///< intervals

/// Points of the polynomial: few, since a derivative at an end makes noise larger, and as many as the curvature asks for.
std::size_t window_of(double interval) { return interval <= 15.0 ? 5 : interval <= 60.0 ? 7 : 9; }

/// Value and derivative at time 0 of the polynomial through some points.
void neville(std::vector<double> t, std::vector<double> p, double& value, double& rate) {
    std::vector<double> d(p.size(), 0.0);
    for (std::size_t level = 1; level < p.size(); ++level) {
        for (std::size_t i = 0; i + level < p.size(); ++i) {
            const double slope = 1.0 / (t[i + level] - t[i]);
            const double weight = -t[i] * slope;
            d[i] += slope * (p[i + 1] - p[i]) + weight * (d[i + 1] - d[i]);
            p[i] += weight * (p[i + 1] - p[i]);
        }
    }
    value = p[0];
    rate = d[0];
}

/// Covariance of such a value and rate, from those of the positions, whose errors are taken as independent.
Covariance covariance_of(const std::vector<TimedPosition>& points, const std::vector<double>& t) {
    Covariance c{};
    for (std::size_t i = 0; i < t.size(); ++i) {
        std::vector<double> unit(t.size(), 0.0);
        unit[i] = 1.0;
        std::array<double, 2> weight{};
        neville(t, unit, weight[0], weight[1]);
        const Covariance& own = *points[i].covariance;
        for (std::size_t row = 0; row < 6; ++row) {
            for (std::size_t k = 0; k < 6; ++k) c[row][k] += weight[row / 3] * weight[k / 3] * own[row % 3][k % 3];
        }
    }
    return c;
}

/// One of the points at its own or at another time.
TimedPosition state_at(const std::vector<TimedPosition>& points, const TimedPosition& point, const GTime& time) {
    TimedPosition state = point;
    state.time = time;
    state.velocity = Vector3{};
    std::vector<double> t(points.size());
    std::vector<double> p(points.size());
    for (std::size_t k = 0; k < 3; ++k) {
        for (std::size_t i = 0; i < points.size(); ++i) {
            t[i] = gtimeSubSec(points[i].time, time);
            p[i] = points[i].position[k];
        }
        neville(t, p, state.position[k], (*state.velocity)[k]);
    }
    if (std::all_of(points.begin(), points.end(),
                    [](const TimedPosition& q) { return static_cast<bool>(q.covariance); }))
        state.covariance = covariance_of(points, t);
    return state;
}

GTime rounded(const GTime& time, double interval) {
    const double unit = interval > 0.0 && interval < 1.0 ? interval : 1.0;
    GTime result = time;
    result.time.sod = std::round(time.time.sod / unit) * unit;
    TimeMjd_normalise(&result.time);
    return result;
}

}  // namespace

// --- kept states ---------------------------------------------------------------------------------------------------

struct States::Record {
    GTime time;
    bool has_velocity, has_covariance;
    Vector3 position, velocity;
    std::array<double, 21> covariance;  ///< lower triangle
};

States::States() : file_(std::make_unique<UnnamedFile>(kInMemory)) {}

void States::add(const TimedPosition& state) {
    static_assert(std::is_trivially_copyable_v<Record>);
    Record r{};
    r.time = state.time;
    r.position = state.position;
    r.has_velocity = state.velocity.has_value();
    if (r.has_velocity) r.velocity = *state.velocity;
    r.has_covariance = static_cast<bool>(state.covariance);
    for (std::size_t row = 0, n = 0; r.has_covariance && row < 6; ++row) {
        for (std::size_t k = 0; k <= row; ++k) r.covariance[n++] = (*state.covariance)[row][k];
    }
    file_->add(reinterpret_cast<const char*>(&r), sizeof r);
    ++count_;
}

TimedPosition States::at(std::size_t index) const {
    TimedPosition state{};
    each(index, index + 1, [&](const TimedPosition& s) { state = s; });
    return state;
}

void States::each(std::size_t begin, std::size_t end, const std::function<void(const TimedPosition&)>& call) const {
    std::vector<Record> block(std::min(kBlock, end - begin));
    for (std::size_t at = begin; at < end; at += block.size()) {
        const std::size_t n = std::min(block.size(), end - at);
        const std::size_t bytes = n * sizeof(Record);
        if (file_->read(at * sizeof(Record), reinterpret_cast<char*>(block.data()), bytes) != bytes)
            throw InputError("the states of the orbit, among the temporary files, were cut");
        for (std::size_t i = 0; i < n; ++i) {
            const Record& r = block[i];
            TimedPosition state{r.time, r.position};
            if (r.has_velocity) state.velocity = r.velocity;
            if (r.has_covariance) {
                Covariance c{};
                for (std::size_t row = 0, m = 0; row < 6; ++row) {
                    for (std::size_t k = 0; k <= row; ++k) c[row][k] = c[k][row] = r.covariance[m++];
                }
                state.covariance = c;
            }
            call(state);
        }
    }
}

// --- kinematic states ----------------------------------------------------------------------------------------------

KinematicStates::KinematicStates(double interval, bool round)
    : interval_(interval), round_(round), window_(window_of(interval)) {}

void KinematicStates::add(const TimedPosition& point) {
    if (!points_.empty() && gtimeSubSec(point.time, points_.back().time) > kGap * interval_) end();
    if (points_.size() == window_) {
        points_.erase(points_.begin());
        --next_;
    }
    points_.push_back(point);
    ++positions_;
    if (points_.size() < window_) return;
    while (next_ <= window_ / 2) put(next_++);
}

void KinematicStates::end() {
    while (next_ < points_.size()) put(next_++);
    points_.clear();
    next_ = 0;
}

/// The state of one of the points, by all of them.
void KinematicStates::put(std::size_t index) {
    const TimedPosition& point = points_[index];
    if (points_.size() < kLeastNeighbours) {
        if (!round_) states_.add(point);
        return;
    }
    TimedPosition state = state_at(points_, point, round_ ? rounded(point.time, interval_) : point.time);
    if (!round_) state.position = point.position;  // to the last bit
    states_.add(state);
}

}  // namespace host
