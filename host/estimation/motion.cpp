#include "estimation/motion.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <set>

#include "estimation/failure.h"

namespace host {

namespace {

constexpr double kJoin = 1e-3;  ///< boundaries closer than this are one [s]

/// Quintic Hermite interpolation of a position and its derivative between two nodes, u from 0 to 1 of a step h.
struct Quintic {
    double p0, v0, a0, p1, v1, a1;  ///< weights
};
Quintic position_weights(double u, double h) {
    const double u2 = u * u, u3 = u2 * u, u4 = u3 * u, u5 = u4 * u;
    return {1 - 10 * u3 + 15 * u4 - 6 * u5,
            h * (u - 6 * u3 + 8 * u4 - 3 * u5),
            h * h * (0.5 * u2 - 1.5 * u3 + 1.5 * u4 - 0.5 * u5),
            10 * u3 - 15 * u4 + 6 * u5,
            h * (-4 * u3 + 7 * u4 - 3 * u5),
            h * h * (0.5 * u3 - u4 + 0.5 * u5)};
}
Quintic velocity_weights(double u, double h) {
    const double u2 = u * u, u3 = u2 * u, u4 = u3 * u;
    return {(-30 * u2 + 60 * u3 - 30 * u4) / h, 1 - 18 * u2 + 32 * u3 - 15 * u4, h * (u - 4.5 * u2 + 6 * u3 - 2.5 * u4),
            (30 * u2 - 60 * u3 + 30 * u4) / h,  -12 * u2 + 28 * u3 - 15 * u4,    h * (1.5 * u2 - 4 * u3 + 2.5 * u4)};
}

}  // namespace

Motion::Motion(Dynamics& dynamics, const GTime& utc_start, double first, double last, std::vector<EmpiricalTerm> terms)
    : dynamics_(dynamics), utc_start_(utc_start), first_(first), last_(last), terms_(std::move(terms)) {
    for (const EmpiricalTerm& term : terms_) {
        if (std::find(kinds_.begin(), kinds_.end(), term.kind) == kinds_.end()) kinds_.push_back(term.kind);
    }
    make_parameters();
    make_segments();
}

void Motion::make_parameters() {
    const double length = last_ - first_;
    for (std::size_t k = 0; k < terms_.size(); ++k) {
        const double interval = terms_[k].interval;
        // A remainder of less than half a piece belongs to the last one.
        const int count = interval > 0.0 ? std::max(1, static_cast<int>(std::lround(length / interval))) : 1;
        for (int i = 0; i < count; ++i) {
            const double start = first_ + i * interval;
            parameters_.push_back({k, start, i + 1 == count ? last_ : start + interval});
        }
    }
    std::stable_sort(
        parameters_.begin(), parameters_.end(),
        [](const EmpiricalParameter& a, const EmpiricalParameter& b) { return a.start < b.start - kJoin; });
}

void Motion::make_segments() {
    constexpr double kLongest = 900.0;  ///< of a segment [s]: the partials begin anew in each
    std::set<double> bounds{first_};
    for (const EmpiricalParameter& p : parameters_) bounds.insert(p.start);
    std::vector<double> starts;
    for (double b : bounds) {
        if (starts.empty() || b > starts.back() + kJoin) starts.push_back(b);
    }
    starts.push_back(last_);
    for (std::size_t i = 0; i + 1 < starts.size(); ++i) {
        const int parts = std::max(1, static_cast<int>(std::ceil((starts[i + 1] - starts[i]) / kLongest - 1e-6)));
        for (int j = 0; j < parts; ++j) {
            Segment s;
            const double length = (starts[i + 1] - starts[i]) / parts;
            s.start = starts[i] + j * length;
            s.end = j + 1 == parts ? starts[i + 1] : s.start + length;
            const double steps = std::max(1.0, std::ceil((s.end - s.start) / dynamics_.config->step_size - 1e-6));
            s.step = (s.end - s.start) / steps;
            s.begun = 6;
            s.columns.resize(kinds_.size());
            const double middle = 0.5 * (s.start + s.end);
            for (std::size_t c = 0; c < parameters_.size(); ++c) {
                const EmpiricalParameter& p = parameters_[c];
                if (p.start > middle) break;
                s.begun = static_cast<int>(6 + c) + 1;
                if (p.end < middle) continue;
                const auto kind = std::find(kinds_.begin(), kinds_.end(), terms_[p.term].kind);
                s.columns[static_cast<std::size_t>(kind - kinds_.begin())].push_back(static_cast<int>(6 + c));
            }
            segments_.push_back(std::move(s));
        }
    }
}

void Motion::prepare_configuration() {
    ORBIT_DYN_CONFIG& config = *dynamics_.config;
    const int count = static_cast<int>(kinds_.size());
    config.num_param_forcemodel = count;
    config.status_derivative = count > 0 ? 2 : 1;
    config.nstate = 42 + 6 * count;
    PARAM_FM_EMP& emp = config.force_model_emp_parameters;
    emp.fm = FM_EMP;
    emp.num = count;
    const double start = gtime2mjd(gtimeAddSec(utc_start_, first_));
    for (int k = 0; k < count; ++k) {
        std::snprintf(emp.param_name[k], sizeof emp.param_name[k], "EMP_000_%.8s",
                      kinds_[static_cast<std::size_t>(k)].c_str());
        emp.idx_global[k] = 6 + k;
        emp.param[k] = 0.0;
        emp.param_life[k][0] = start;
        emp.param_life[k][1] = start + 1e4;
    }
    const bool listed = std::find(config.force_model_used, config.force_model_used + config.num_force_models, FM_EMP) !=
                        config.force_model_used + config.num_force_models;
    if (count > 0 && !listed && config.num_force_models < 11)
        config.force_model_used[config.num_force_models++] = FM_EMP;
    g_orbitdyn_config = &config;
    g_satellite_state = dynamics_.state.get();
    dynamics_.state->utc_start = utc_start_;
    dynamics_.state->sec_since_start = 0.0;
}

Motion::Node Motion::node_at(double t, std::vector<double>& y) const {
    const int n = static_cast<int>(y.size());
    const int columns = local_size();
    std::vector<double> rate(y.size());
    orbit_derivative(n, t, y.data(), rate.data());
    Node node;
    node.position = Eigen::Map<const Eigen::Vector3d>(y.data());
    node.velocity = Eigen::Map<const Eigen::Vector3d>(y.data() + 3);
    node.acceleration = Eigen::Map<const Eigen::Vector3d>(rate.data() + 3);
    using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
    const auto gather = [columns](const std::vector<double>& flat) {
        Eigen::MatrixXd m(6, columns);
        m.leftCols(6) = Eigen::Map<const RowMajor>(flat.data() + 6, 6, 6);
        if (columns > 6) m.rightCols(columns - 6) = Eigen::Map<const RowMajor>(flat.data() + 42, 6, columns - 6);
        return m;
    };
    node.partials = gather(y);
    node.rates = gather(rate);
    return node;
}

void Motion::integrate_segment(Segment& s, Eigen::Matrix<double, 6, 1>& state) {
    ORBIT_DYN_CONFIG& config = *dynamics_.config;
    for (std::size_t k = 0; k < kinds_.size(); ++k) {
        double& value = config.force_model_emp_parameters.param[k];
        value = 0.0;
        for (int column : s.columns[k]) value += values_[column];
    }
    const int n = config.nstate;
    std::vector<double> y(static_cast<std::size_t>(n), 0.0);
    std::copy_n(state.data(), 6, y.begin());
    for (std::size_t i = 0; i < 6; ++i) y[6 + 7 * i] = 1.0;
    const int steps = static_cast<int>(std::lround((s.end - s.start) / s.step));
    s.nodes.clear();
    for (int i = 0; i <= steps; ++i) {
        const double t = s.start + i * s.step;
        if (i > 0) {
            double step = s.step;
            IntegrateTo(orbit_derivative, n, t - s.step, y.data(), &step, t, nullptr);  // fixed step
        }
        const double radius = std::sqrt(y[0] * y[0] + y[1] * y[1] + y[2] * y[2]);
        if (!(radius > 6.2e6 && radius < 1e9))
            throw EstimationFailure("the integrated orbit leaves the space about the earth");
        s.nodes.push_back(node_at(t, y));
    }
    std::copy_n(y.begin(), 6, state.data());
}

void Motion::integrate(const Parameters& parameters, double until) {
    values_ = parameters;
    correction_ = Parameters::Zero(parameters.size());
    prepare_configuration();
    Eigen::Matrix<double, 6, 1> state = values_.head<6>();
    Eigen::MatrixXd carried = Eigen::MatrixXd::Identity(6, 6);
    integrated_ = 0;
    for (Segment& s : segments_) {
        if (s.start > until) break;
        integrate_segment(s, state);
        s.chain = Eigen::MatrixXd::Zero(local_size(), s.begun);
        s.chain.topLeftCorner(6, carried.cols()) = carried;
        for (std::size_t k = 0; k < kinds_.size(); ++k) {
            for (int column : s.columns[k]) s.chain(static_cast<int>(6 + k), column) = 1.0;
        }
        carried = s.nodes.back().partials * s.chain;
        ++integrated_;
    }
}

void Motion::move(const Parameters& correction) {
    values_ += correction;
    correction_ += correction;
}

std::size_t Motion::segment_of(double t) const {
    std::size_t low = 0, high = std::max<std::size_t>(integrated_, 1);
    while (high - low > 1) {
        const std::size_t middle = (low + high) / 2;
        (segments_[middle].start <= t ? low : high) = middle;
    }
    return low;
}

Motion::Place Motion::place_of(double t) const {
    const std::size_t index = segment_of(t);
    const Segment& s = segments_[index];
    const double x = (t - s.start) / s.step;
    const std::size_t steps = s.nodes.size() - 1;
    const std::size_t i = static_cast<std::size_t>(std::clamp(std::floor(x), 0.0, static_cast<double>(steps - 1)));
    return {&s.nodes[i], &s.nodes[i + 1], x - static_cast<double>(i), s.step, index};
}

void Motion::state_at(double t, Eigen::Vector3d& position, Eigen::Vector3d& velocity) const {
    const Place p = place_of(t);
    const Node &a = *p.before, &b = *p.after;
    const auto combine = [&](const Quintic& w) -> Eigen::Vector3d {
        return w.p0 * a.position + w.v0 * a.velocity + w.a0 * a.acceleration + w.p1 * b.position + w.v1 * b.velocity +
               w.a1 * b.acceleration;
    };
    position = combine(position_weights(p.u, p.h));
    velocity = combine(velocity_weights(p.u, p.h));
    const Segment& s = segments_[p.segment];
    if (correction_.isZero(0.0)) return;
    const Eigen::VectorXd local = s.chain * correction_.head(s.begun);
    position += local_partials(t) * local;
    velocity += local_velocity_partials(t) * local;
}

Motion::Partials Motion::interpolate_partials(double t, int row) const {
    const Place p = place_of(t);
    const double u = p.u, u2 = u * u, u3 = u2 * u;
    const auto rows = [row](const Eigen::MatrixXd& m) { return m.middleRows<3>(row); };
    return (2 * u3 - 3 * u2 + 1) * rows(p.before->partials) + (u3 - 2 * u2 + u) * p.h * rows(p.before->rates) +
           (3 * u2 - 2 * u3) * rows(p.after->partials) + (u3 - u2) * p.h * rows(p.after->rates);
}

Motion::Partials Motion::local_partials(double t) const { return interpolate_partials(t, 0); }
Motion::Partials Motion::local_velocity_partials(double t) const { return interpolate_partials(t, 3); }

}  // namespace host
