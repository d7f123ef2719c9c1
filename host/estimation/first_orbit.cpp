#include "estimation/first_orbit.h"

#include <algorithm>
#include <cmath>

#include "estimation/failure.h"

namespace host {

namespace {

constexpr double kGrossCode = 30.0;  ///< residual of a code beside the others [m]

/// One point position by iterated least squares. False where it is not determined or does not converge.
bool solve_point(ObservedArc& arc, const SignalModel& model, ArcEpoch& epoch, Eigen::Vector3d& position) {
    constexpr int kIterations = 15;
    const int n = 3 + arc.systems;
    for (int iteration = 0; iteration < kIterations; ++iteration) {
        Eigen::MatrixXd N = Eigen::MatrixXd::Zero(n, n);
        Eigen::VectorXd b = Eigen::VectorXd::Zero(n);
        const ReceiverFrame frame = frame_of_point(position);
        int rows = 0;
        std::array<bool, 3> seen{};
        for (std::size_t i = epoch.first; i < epoch.first + epoch.count; ++i) {
            Link& link = arc.links[i];
            if (link.code_edit != Edit::kUsed) continue;
            if (!model.predict(epoch.received(), frame, link, false)) continue;
            const std::size_t s = static_cast<std::size_t>(link.system);
            const double omc = link.code_omc - epoch.clock[s];
            Eigen::VectorXd a = Eigen::VectorXd::Zero(n);
            a.head<3>() = -link.sight;
            a[3 + link.system] = 1.0;
            link.code_residual = omc;
            N += a * a.transpose();
            b += a * omc;
            seen[s] = true;
            ++rows;
        }
        int unknowns = 3;
        for (int s = 0; s < arc.systems; ++s) {
            if (seen[static_cast<std::size_t>(s)]) {
                ++unknowns;
            } else {
                N(3 + s, 3 + s) = 1.0;
            }
        }
        if (rows < unknowns) return false;
        const Eigen::LDLT<Eigen::MatrixXd> factor(N);
        if (factor.info() != Eigen::Success || factor.vectorD().minCoeff() < 1e-4) return false;
        const Eigen::VectorXd x = factor.solve(b);
        if (!x.allFinite() || x.norm() > 1e8) return false;
        position += x.head<3>();
        for (int s = 0; s < arc.systems; ++s) epoch.clock[static_cast<std::size_t>(s)] += x[3 + s];
        if (std::fabs(epoch.clock[0]) > 1e7) return false;
        if (x.head<3>().norm() < 1e-2) return position.norm() > 6.3e6 && position.norm() < 2.5e7;
    }
    return false;
}

/// The largest residual of the codes in use after a point position; its link.
std::size_t worst_code(const ObservedArc& arc, const ArcEpoch& epoch, double& size) {
    std::size_t worst = arc.links.size();
    size = 0.0;
    for (std::size_t i = epoch.first; i < epoch.first + epoch.count; ++i) {
        const Link& link = arc.links[i];
        if (link.code_edit != Edit::kUsed || !(std::fabs(link.code_residual) > size)) continue;
        size = std::fabs(link.code_residual);
        worst = i;
    }
    return worst;
}

Eigen::Matrix3d to_celestial(const SignalModel& model, double t, const Eigen::Vector3d& fixed) {
    return model.frame(t, fixed, Eigen::Vector3d(-fixed[1], fixed[0], 7000.0)).to_fixed.transpose();
}

/// State at a time from positions about it: a polynomial through each axis.
bool state_from_points(const ObservedArc& arc, const std::vector<EpochPosition>& points, double t,
                       Eigen::Matrix<double, 6, 1>& state) {
    constexpr double kTurn = 900.0;  // [s]
    constexpr int kTerms = 7;
    const double window_length = std::max(kTurn, 11.0 * arc.interval);
    std::vector<std::size_t> window;
    for (std::size_t i = 0; i < points.size(); ++i) {
        if (arc.epochs[points[i].epoch].received() < t + window_length) window.push_back(i);
    }
    if (window.size() < kTerms + 3) return false;
    Eigen::MatrixXd A(window.size(), kTerms);
    Eigen::MatrixXd y(window.size(), 3);
    for (std::size_t i = 0; i < window.size(); ++i) {
        const double x = (arc.epochs[points[window[i]].epoch].received() - t) / window_length;
        for (int k = 0; k < kTerms; ++k) A(static_cast<long>(i), k) = std::pow(x, k);
        y.row(static_cast<long>(i)) = points[window[i]].position.transpose();
    }
    const Eigen::MatrixXd c = A.colPivHouseholderQr().solve(y);
    state.head<3>() = c.row(0).transpose();
    state.tail<3>() = c.row(1).transpose() / window_length;
    return true;
}

/// One step towards the positions up to a time, weighted against outliers. Returns the median distance [m].
double step_to_points(Motion& motion, const ObservedArc& arc, const std::vector<EpochPosition>& points, double until) {
    const int n = static_cast<int>(motion.size());
    std::vector<double> distances;
    std::vector<std::pair<std::size_t, Eigen::Vector3d>> rows;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const double t = arc.epochs[points[i].epoch].received();
        if (t > until) break;
        Eigen::Vector3d r, v;
        motion.state_at(t, r, v);
        rows.emplace_back(i, points[i].position - r);
        distances.push_back(rows.back().second.norm());
    }
    if (distances.size() < 10) throw EstimationFailure("too few epochs have a position for a first orbit");
    std::nth_element(distances.begin(), distances.begin() + static_cast<long>(distances.size() / 2), distances.end());
    const double median = distances[distances.size() / 2];
    Eigen::MatrixXd N = Eigen::MatrixXd::Zero(n, n);
    Eigen::VectorXd b = Eigen::VectorXd::Zero(n);
    for (const auto& [i, omc] : rows) {
        const double t = arc.epochs[points[i].epoch].received();
        const std::size_t s = motion.segment_of(t);
        const Eigen::MatrixXd a = motion.local_partials(t) * motion.chain(s);
        const double weight = std::min(1.0, std::pow(3.0 * median / std::max(omc.norm(), 1e-3), 2));
        const int begun = motion.begun(s);
        N.topLeftCorner(begun, begun) += weight * a.transpose() * a;
        b.head(begun) += weight * a.transpose() * omc;
    }
    // The accelerations are held in bounds, and at zero where nothing asks for them.
    for (int i = 6; i < n; ++i) {
        const double weight = 1e-2 * static_cast<double>(rows.size()) / 1e4;
        N(i, i) += weight;
        b[i] -= weight * motion.parameters()[i];
    }
    Eigen::VectorXd scale(n);
    for (int i = 0; i < n; ++i) scale[i] = N(i, i) > 0.0 ? 1.0 / std::sqrt(N(i, i)) : 1.0;
    N = scale.asDiagonal() * N * scale.asDiagonal();
    const Eigen::VectorXd x = scale.asDiagonal() * N.ldlt().solve(scale.asDiagonal() * b);
    if (!x.allFinite()) throw EstimationFailure("no orbit goes through the positions from the codes");
    motion.move(x);
    return median;
}

}  // namespace

std::vector<EpochPosition> solve_points(ObservedArc& arc, const SignalModel& model, std::size_t every) {
    std::vector<EpochPosition> points;
    Eigen::Vector3d last = Eigen::Vector3d::Zero();
    for (std::size_t e = 0; e < arc.epochs.size(); e += every) {
        ArcEpoch& epoch = arc.epochs[e];
        Eigen::Vector3d position = last;
        bool solved = false;
        for (int attempt = 0; attempt < 4; ++attempt) {
            solved = solve_point(arc, model, epoch, position);
            double size;
            const std::size_t worst = solved ? worst_code(arc, epoch, size) : arc.links.size();
            if (!solved || size < kGrossCode) break;
            arc.links[worst].code_edit = Edit::kOutlier;
            solved = false;
        }
        if (!solved) continue;
        last = position;
        points.push_back({e, to_celestial(model, epoch.received(), position) * position});
    }
    return points;
}

void fit_first_orbit(Motion& motion, const ObservedArc& arc, const std::vector<EpochPosition>& points) {
    Motion::Parameters start = Motion::Parameters::Zero(static_cast<long>(motion.size()));
    Eigen::Matrix<double, 6, 1> state;
    if (!state_from_points(arc, points, motion.first(), state))
        throw EstimationFailure("too few epochs at the start of the arc have a position for a first orbit");
    start.head<6>() = state;
    // A good turn first, then the whole arc.
    const double whole = motion.last();
    double until = std::min(whole, motion.first() + 6000.0);
    double median = 0.0;
    for (int iteration = 0; iteration < 8; ++iteration) {
        motion.integrate(start, until);
        const double before = step_to_points(motion, arc, points, until);
        start = motion.parameters();
        median = step_to_points(motion, arc, points, until);
        start = motion.parameters();
        const bool settled = before < 3.0 * median + 1.0 && before < 1e4;
        if (!settled) continue;
        if (until >= whole) break;
        until = whole;
    }
    constexpr double kFarthest = 200.0;
    if (!(median < kFarthest)) {
        throw EstimationFailure(
            "no orbit goes through the positions from the codes: their median distance from it is " +
            std::to_string(static_cast<long>(std::min(median, 1e9))) + " m");
    }
}

}  // namespace host
