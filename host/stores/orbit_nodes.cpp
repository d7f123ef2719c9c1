#include "stores/orbit_nodes.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

#include "shared/times.h"
#include "stores/satellites.h"

namespace host {

namespace {

constexpr std::size_t kAround = 10;  ///< positions that a curve goes through
constexpr std::size_t kLeast = 3;    ///< of them on either side
constexpr std::size_t kMostTogether = 3;
constexpr double kBound = 20.0;  ///< [m]
constexpr double kSure = 1.0;    ///< error of a curve that a position is judged by [m]

struct Node {
    EPHREC_PRE* record;
    double off;  ///< from the curve [m]; zero where that can't be said
};

/// The usable positions of one satellite in order of time, and how far each lies off the curve through those around it.
class Row {
  public:
    Row(EPHREC_PRE* records, int size) {
        for (int i = 0; i < size; ++i) {
            const double* p = records[i].pos_ecf;
            if (p[0] != 0.0 || p[1] != 0.0 || p[2] != 0.0) nodes_.push_back({&records[i], 0.0});
        }
        for (std::size_t i = 0; i < nodes_.size(); ++i) look_at(i);
    }

    /// Takes out the farthest position while it is beyond the bound; those around it are then looked at anew. Where many close to each other
    /// would go the row has a jump, and stays as it is. Returns what went.
    std::vector<Node> clear() {
        std::vector<Node> strays;
        for (;;) {
            const auto worst = std::max_element(nodes_.begin(), nodes_.end(),
                                                [](const Node& a, const Node& b) { return a.off < b.off; });
            if (worst == nodes_.end() || worst->off <= kBound) break;
            strays.push_back(*worst);
            const std::size_t at = static_cast<std::size_t>(worst - nodes_.begin());
            nodes_.erase(worst);
            for (std::size_t i = at - std::min(at, kAround); i < std::min(at + kAround, nodes_.size()); ++i) look_at(i);
        }
        if (close_together(strays)) return {};
        for (const Node& stray : strays) std::fill_n(stray.record->pos_ecf, 3, 0.0);  // a gap of the product
        return strays;
    }

  private:
    static bool close_together(std::vector<Node>& strays) {
        std::sort(strays.begin(), strays.end(), [](const Node& a, const Node& b) { return a.record < b.record; });
        for (std::size_t i = kMostTogether; i < strays.size(); ++i)
            if (strays[i].record - strays[i - kMostTogether].record < static_cast<std::ptrdiff_t>(kAround)) return true;
        return false;
    }

    void look_at(std::size_t i) {
        Node& node = nodes_[i];
        node.off = 0.0;
        const std::size_t size = nodes_.size();
        if (size <= kAround || i < kLeast || i + kLeast >= size) return;
        // As many on either side as the ends leave.
        const std::size_t first = std::min(i - std::min(i, kAround / 2), size - kAround - 1);
        std::array<double, kAround> seconds;
        std::array<const EPHREC_PRE*, kAround> around;
        for (std::size_t k = 0; k < kAround; ++k) {
            around[k] = nodes_[first + k < i ? first + k : first + k + 1].record;
            seconds[k] = gtimeSubSec(around[k]->time, node.record->time);
        }
        take_spacing(seconds);
        if (error_ > kSure) return;
        double off[3];
        std::copy_n(node.record->pos_ecf, 3, off);
        for (std::size_t k = 0; k < kAround; ++k) {
            for (int axis = 0; axis < 3; ++axis) off[axis] -= weight_[k] * around[k]->pos_ecf[axis];
        }
        const double length = std::hypot(off[0], off[1], off[2]);
        if (std::isfinite(length)) node.off = length;  // not where two records share a time
    }

    /// Error and weights of the curve through positions at these times; most rows repeat their spacing.
    void take_spacing(const std::array<double, kAround>& seconds) {
        if (seconds == seconds_) return;
        seconds_ = seconds;
        error_ = polynomial_error(seconds.data(), kAround);
        for (std::size_t k = 0; k < kAround; ++k) {
            weight_[k] = 1.0;
            for (std::size_t j = 0; j < kAround; ++j)
                if (j != k) weight_[k] *= seconds[j] / (seconds[j] - seconds[k]);
        }
    }

    std::vector<Node> nodes_;
    std::array<double, kAround> seconds_{std::nan("")}, weight_{};  ///< nothing equals the first times
    double error_ = 0.0;
};

}  // namespace

double polynomial_error(const double* seconds, std::size_t count) {
    constexpr double kRadius = 2.66e7, kShare = 0.21, kRate = 2.19e-4;
    double bound = kRadius * kShare;
    for (std::size_t i = 0; i < count; ++i) bound *= kRate * std::fabs(seconds[i]) / static_cast<double>(i + 1);
    return bound;
}

std::string set_aside_stray_positions(EPHPREC_STORE& store) {
    long count = 0;
    double largest = 0.0;
    std::string where;
    for (int sat = 0; sat < kFirstLeo; ++sat) {
        Row row(store.eph_pre_all[sat], store.idx_eph[sat]);
        for (const Node& stray : row.clear()) {
            ++count;
            if (stray.off <= largest) continue;
            largest = stray.off;
            where = satellite_name(stray.record->satsys, stray.record->prn) + " at " + time_text(stray.record->time, 0);
        }
    }
    if (count == 0) return {};
    char text[160];
    std::snprintf(text, sizeof text,
                  "%ld positions left out that lie off the curve through those around them, the farthest %s, %.0f m",
                  count, where.c_str(), largest);
    return text;
}

}  // namespace host
