#include "estimation/formal.h"

#include <cmath>

#include "earth_rotation_param.h"

namespace host {

namespace {

/// Phase residuals of each pass in their sigmas, by epoch of the usual spacing.
std::vector<Series> phase_series(const ObservedArc& arc) {
    std::vector<Series> series(arc.passes.size());
    for (const Link& link : arc.links) {
        if (link.phase_edit != Edit::kUsed || !std::isfinite(link.phase_residual)) continue;
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

double correlation_factor(const std::vector<Series>& series, double interval) {
    constexpr double kFaded = 0.05, kLongest = 1800.0;  // [s]
    const double square = mean_product(series, 0);
    double factor = 1.0;
    if (!(square > 0.0)) return factor;
    for (std::size_t lag = 1; static_cast<double>(lag) * interval <= kLongest; ++lag) {
        const double correlation = mean_product(series, lag) / square;
        if (correlation < kFaded) break;
        factor += 2.0 * correlation;
    }
    return factor;
}

double correlation_factor(const ObservedArc& arc) { return correlation_factor(phase_series(arc), arc.interval); }

Eigen::Matrix3d orbit_axes(const Eigen::Vector3d& position, const Eigen::Vector3d& velocity) {
    Eigen::Matrix3d axes;
    axes.row(0) = position.normalized();
    axes.row(2) = position.cross(velocity).normalized();
    axes.row(1) = axes.row(2).cross(axes.row(0));
    return axes;
}

namespace {

/// Covariances of the local numbers of the segments, one after the other.
class LocalCovariance {
  public:
    LocalCovariance(const Motion& motion, const Eigen::MatrixXd& covariance)
        : motion_(motion), covariance_(covariance), segment_(motion.segments()) {}
    const Eigen::MatrixXd& at(double t) {
        if (motion_.segment_of(t) != segment_) {
            segment_ = motion_.segment_of(t);
            const int begun = motion_.begun(segment_);
            const Eigen::MatrixXd& chain = motion_.chain(segment_);
            local_ = chain * covariance_.topLeftCorner(begun, begun) * chain.transpose();
        }
        return local_;
    }

  private:
    const Motion& motion_;
    const Eigen::MatrixXd& covariance_;
    std::size_t segment_;
    Eigen::MatrixXd local_;
};

using Matrix6d = Eigen::Matrix<double, 6, 6>;

/// From an inertial to an earth-fixed state.
Matrix6d to_earth_fixed(const GTime& utc) {
    const double mjd = gtime2mjd(utc);
    Matrix6d turn;
    for (int k = 0; k < 6; ++k) {
        Eigen::Matrix<double, 6, 1> unit = Eigen::Matrix<double, 6, 1>::Unit(k), turned;
        eci2ecf(mjd, getLeapSecond(mjd), unit.data(), unit.data() + 3, turned.data(), turned.data() + 3);
        turn.col(k) = turned;
    }
    return turn;
}

}  // namespace

std::vector<Covariance> state_covariances(const Motion& motion, const Eigen::MatrixXd& covariance,
                                          const GTime& utc_start, const std::vector<double>& times) {
    std::vector<Covariance> all;
    LocalCovariance local(motion, covariance);
    for (double t : times) {
        Eigen::Matrix<double, 6, Eigen::Dynamic> rows(6, motion.local_size());
        rows << motion.local_partials(t), motion.local_velocity_partials(t);
        rows = to_earth_fixed(gtimeAddSec(utc_start, t)) * rows;
        const Matrix6d fixed = rows * local.at(t) * rows.transpose();
        Covariance c{};
        for (int i = 0; i < 36; ++i) c[static_cast<std::size_t>(i / 6)][static_cast<std::size_t>(i % 6)] = fixed(i);
        all.push_back(c);
    }
    return all;
}

std::vector<FormalError> formal_errors(const Motion& motion, const Eigen::MatrixXd& covariance,
                                       const std::vector<double>& times) {
    std::vector<FormalError> errors;
    LocalCovariance local(motion, covariance);
    for (double t : times) {
        Eigen::Vector3d position, velocity;
        motion.state_at(t, position, velocity);
        const Motion::Partials rows = orbit_axes(position, velocity) * motion.local_partials(t);
        errors.emplace_back((rows * local.at(t) * rows.transpose()).diagonal().cwiseMax(0.0).cwiseSqrt());
    }
    return errors;
}

}  // namespace host
