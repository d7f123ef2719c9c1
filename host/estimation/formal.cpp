#include "estimation/formal.h"

#include <cmath>

namespace host {

namespace {

/// Phase residuals of a pass in their sigmas, by epoch of the usual spacing; NaN where there is none.
using Series = std::vector<double>;

std::vector<Series> phase_series(const ObservedArc& arc) {
    std::vector<Series> series(arc.passes.size());
    for (const Link& link : arc.links) {
        if (link.pass < 0 || link.phase_edit != Edit::kUsed || !std::isfinite(link.phase_residual)) continue;
        const std::size_t pass = static_cast<std::size_t>(link.pass);
        const double since = arc.epochs[link.epoch].time - arc.epochs[arc.passes[pass].first_epoch].time;
        const std::size_t place = static_cast<std::size_t>(std::max(0.0, std::round(since / arc.interval)));
        if (place >= series[pass].size()) series[pass].resize(place + 1, std::nan(""));
        series[pass][place] = link.phase_residual / link.phase_sigma;
    }
    return series;
}

/// Mean product of values so many epochs apart.
double mean_product(const std::vector<Series>& series, std::size_t lag) {
    double sum = 0.0, count = 0.0;
    for (const Series& s : series) {
        for (std::size_t i = lag; i < s.size(); ++i) {
            const double product = s[i] * s[i - lag];
            if (!std::isfinite(product)) continue;
            sum += product;
            count += 1.0;
        }
    }
    return count > 0.0 ? sum / count : 0.0;
}

}  // namespace

double correlation_factor(const ObservedArc& arc) {
    constexpr double kFaded = 0.05, kLongest = 1800.0;  // [s]
    const std::vector<Series> series = phase_series(arc);
    const double square = mean_product(series, 0);
    double factor = 1.0;
    if (!(square > 0.0)) return factor;
    for (std::size_t lag = 1; static_cast<double>(lag) * arc.interval <= kLongest; ++lag) {
        const double correlation = mean_product(series, lag) / square;
        if (correlation < kFaded) break;
        factor += 2.0 * correlation;
    }
    return factor;
}

Eigen::Matrix3d orbit_axes(const Eigen::Vector3d& position, const Eigen::Vector3d& velocity) {
    Eigen::Matrix3d axes;
    axes.row(0) = position.normalized();
    axes.row(2) = position.cross(velocity).normalized();
    axes.row(1) = axes.row(2).cross(axes.row(0));
    return axes;
}

std::vector<FormalError> formal_errors(const Motion& motion, const Eigen::MatrixXd& covariance,
                                       const std::vector<double>& times) {
    std::vector<FormalError> errors;
    std::size_t segment = motion.segments();
    Eigen::MatrixXd local;
    for (double t : times) {
        if (motion.segment_of(t) != segment) {
            segment = motion.segment_of(t);
            const int begun = motion.begun(segment);
            local = motion.chain(segment) * covariance.topLeftCorner(begun, begun) * motion.chain(segment).transpose();
        }
        Eigen::Vector3d position, velocity;
        motion.state_at(t, position, velocity);
        const Motion::Partials rows = orbit_axes(position, velocity) * motion.local_partials(t);
        errors.push_back((rows * local * rows.transpose()).diagonal().cwiseMax(0.0).cwiseSqrt());
    }
    return errors;
}

}  // namespace host
