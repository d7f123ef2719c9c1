#include "estimation/formal.h"

namespace host {

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
