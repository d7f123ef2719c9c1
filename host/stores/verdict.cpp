#include "stores/verdict.h"

#include <algorithm>
#include <cmath>

#include "common_function.h"
#include "shared/earth.h"

namespace host {

namespace {

constexpr std::size_t kMemory = 60;  ///< residuals of so many epochs make the median

double length(const Vector3& v) { return std::hypot(v[0], v[1], v[2]); }

double distance(const Vector3& a, const Vector3& b) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); }

/// Acceleration of free motion around a flattened Earth, in axes that turn with it.
Vector3 free_acceleration(const Vector3& p, const Vector3& v) {
    const Vector3 pull = flattened_pull(p.data());
    return {pull[0] + kEarthRate * (kEarthRate * p[0] + 2.0 * v[1]),
            pull[1] + kEarthRate * (kEarthRate * p[1] - 2.0 * v[0]), pull[2]};
}

bool neighbours(const PointPosition& a, const PointPosition& b) {
    const double seconds = gtimeSubSec(b.time, a.time);
    return seconds > 0.0 && seconds <= kNeighbourGap;
}

/// Position after some seconds of free motion, by one step of fourth order.
Vector3 fly(const Vector3& p, const Vector3& v, double seconds) {
    const auto ahead = [](const Vector3& x, const Vector3& rate, double t) {
        return Vector3{x[0] + rate[0] * t, x[1] + rate[1] * t, x[2] + rate[2] * t};
    };
    const double half = 0.5 * seconds;
    const Vector3 a1 = free_acceleration(p, v);
    const Vector3 v2 = ahead(v, a1, half);
    const Vector3 a2 = free_acceleration(ahead(p, v, half), v2);
    const Vector3 v3 = ahead(v, a2, half);
    const Vector3 a3 = free_acceleration(ahead(p, v2, half), v3);
    const Vector3 v4 = ahead(v, a3, seconds);
    Vector3 end{};
    for (std::size_t k = 0; k < 3; ++k) end[k] = p[k] + seconds / 6.0 * (v[k] + 2.0 * v2[k] + 2.0 * v3[k] + v4[k]);
    return end;
}

/// Distance of a position from where two before it lead: on a straight way, or in free motion.
double off_course(const PointPosition& a, const PointPosition& b, const PointPosition& now) {
    const double step = gtimeSubSec(b.time, a.time);
    const double ahead = gtimeSubSec(now.time, b.time);
    Vector3 v{};
    Vector3 straight{};
    for (std::size_t k = 0; k < 3; ++k) {
        v[k] = (b.position[k] - a.position[k]) / step;
        straight[k] = b.position[k] + v[k] * ahead;
    }
    // From the mean velocity to that with which a free motion came from the first one.
    for (int i = 0; i < 3; ++i) {
        const Vector3 back = fly(b.position, v, -step);
        for (std::size_t k = 0; k < 3; ++k) v[k] += (back[k] - a.position[k]) / step;
    }
    return std::min(distance(straight, now.position), distance(fly(b.position, v, ahead), now.position));
}

/// How far a position may be off the way of two others.
double allowance(const PointPosition& a, const PointPosition& b, const PointPosition& now) {
    const auto formal = [](const PointPosition& point) { return point.sigma * point.dilution; };
    const double step = gtimeSubSec(b.time, a.time);
    const double ahead = gtimeSubSec(now.time, b.time);
    const double stretch = ahead / step;
    return kNeighbourLimit + 3.0 * std::hypot(formal(now), (1.0 + stretch) * formal(b), stretch * formal(a)) +
           0.5 * kNeighbourBend * ahead * (ahead + step);
}

/// True if more satellites than unknowns stand behind a position.
bool redundant(const PointPosition& point) { return point.satellites > 3 + point.systems; }

enum class Course { kUnknown, kOn, kOff };

Course course(const std::deque<PointPosition>& before, const PointPosition& now) {
    if (before.size() < 2 || !neighbours(before[0], before[1]) || !neighbours(before[1], now)) return Course::kUnknown;
    const double limit = allowance(before[0], before[1], now);
    if (off_course(before[0], before[1], now) > limit) return Course::kOff;
    return limit <= kProofLimit || redundant(now) ? Course::kOn : Course::kUnknown;
}

}  // namespace

double height_of(const double* position) { return geodetic(position)[2]; }

bool behind_earth(const double* receiver, const double* satellite) {
    double squares = 0, along = 0, radius = 0;
    for (int k = 0; k < 3; ++k) {
        const double sight = satellite[k] - receiver[k];
        squares += sight * sight;
        along -= sight * receiver[k];
        radius += receiver[k] * receiver[k];
    }
    if (squares <= 0.0 || along <= 0.0 || along >= squares) return false;  // the nearest point is an end
    return radius - along * along / squares < kSolidRadius * kSolidRadius;
}

double PointJudge::usual_sigma() const {
    if (sigmas_.empty()) return kLargestSigma;
    std::deque<double> sorted(sigmas_);
    std::sort(sorted.begin(), sorted.end());
    return std::min(kLargestSigma, std::max(kSmallSigma, kSigmaJump * sorted[sorted.size() / 2]));
}

const char* PointJudge::fault(const PointPosition& point) const {
    const double radius = length(point.position);
    if (point.satellites < 3 + point.systems) return "UNDETERMINED";
    if (!point.has_clock) return "NO_CLOCK";
    if (!(radius >= kLowestRadius && radius <= kHighestRadius) || !point.seen) return "IMPLAUSIBLE";
    if (!(point.sigma <= usual_sigma()) || !(point.sigma * point.dilution <= kLargestError)) return "POOR_FIT";
    // Among many that are refused a few fit by chance.
    if (refused_in_a_row_ >= kDoubt && (point.satellites < 5 + point.systems || point.sigma > 0.5 * usual_sigma()))
        return "UNVERIFIED";
    const Course way = course(accepted_, point);
    if (way == Course::kOff) {
        // Three that are on course with each other, with good residuals, are a new start.
        const bool good = redundant(point) && point.sigma <= 0.5 * usual_sigma();
        return good && course(refused_, point) == Course::kOn ? nullptr : "OFF_NEIGHBOURS";
    }
    if (way == Course::kOn || redundant(point)) return nullptr;
    // Nothing but the motion speaks for these: three in a row, near the Earth.
    return course(unverified_, point) == Course::kOn && radius <= kNearRadius ? nullptr : "UNVERIFIED";
}

void PointJudge::accept(const PointPosition& point) {
    const Course way = course(accepted_, point);
    if (way == Course::kOff) accepted_ = refused_;
    if (way == Course::kUnknown && !redundant(point)) accepted_ = unverified_;
    refused_in_a_row_ = 0;
    refused_.clear();
    unverified_.clear();
    accepted_.push_back(point);
    if (accepted_.size() > 2) accepted_.pop_front();
    sigmas_.push_back(point.sigma);
    if (sigmas_.size() > kMemory) sigmas_.pop_front();
}

void PointJudge::refuse(const PointPosition& point) {
    std::deque<PointPosition>& list = redundant(point) ? refused_ : unverified_;
    list.push_back(point);
    if (list.size() > 2) list.pop_front();
    if (!redundant(point)) return;
    ++refused_in_a_row_;
    // Residuals that stay large become usual.
    if (point.sigma > kLargestSigma) return;
    sigmas_.push_back(point.sigma);
    if (sigmas_.size() > kMemory) sigmas_.pop_front();
}

bool FilterJudge::pauses_before(const GTime& tag) const {
    return last_.sys != UKNTS && gtimeSubSec(tag, last_) > pause_;
}

const char* FilterJudge::status(const PointPosition& point, const double* filter, int carried) {
    const bool paused = last_.sys == UKNTS || gtimeSubSec(point.time, last_) > pause_;
    last_ = point.time;
    const bool restarted = paused || carried < 3 + point.systems;
    settled_ = restarted ? 0 : settled_ + 1;
    const Vector3 f{filter[0], filter[1], filter[2]};
    if (!(distance(f, point.position) <= kFilterLimit + 6.0 * point.sigma * point.dilution)) {
        settled_ = 0;
        return "FAR_FROM_POINT";
    }
    if (height_of(point.position.data()) < kAtmosphere) return "NOT_FOR_GROUND";
    if (restarted) return "RESTARTED";
    return settled_ < kSettling ? "SETTLING" : "OK";
}

}  // namespace host
