#include "estimation/weighted_fit.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>
#include <memory>

#include "estimation/failure.h"
#include "estimation/first_state.h"
#include "estimation/formal.h"
#include "estimation/motion.h"
#include "shared/error.h"

namespace host {

namespace {

using Eigen::Matrix3d;
using Eigen::MatrixXd;
using Eigen::Vector3d;
using Eigen::VectorXd;

constexpr double kFloor = 0.1;     ///< what a covariance doesn't know of, by component [m]
constexpr double kShared = 900.0;  ///< positions closer than this share their errors: ambiguities last for a pass [s]
constexpr double kHuber = 2.0;     ///< of the scale: larger residuals weigh less
constexpr double kOutlier = 6.0;   ///< of the scale: larger ones are left out
constexpr double kMiddle = 0.888;  ///< median of the length of three normal numbers over the root of three
constexpr double kLoose = 1e5;     ///< a-priori deviation of the accelerations [nm/s^2]
constexpr double kStep =
    100.0;  ///< of an acceleration from one piece to the next, so that one that positions say little of stays near [nm/s^2]
constexpr double kConverged = 0.001;  ///< root mean square of the corrections
constexpr int kFrozen = 5;            ///< from this iteration on an outlier stays one

struct Observation {
    double t = 0;
    std::size_t segment = 0;
    Matrix3d information = Matrix3d::Zero();  ///< without Huber's weight
    Vector3d residual = Vector3d::Zero();     ///< observed less computed [m]
    Motion::Partials partials;
    Vector3d radial = Vector3d::Zero();
    double weight = 1;     ///< of Huber's function; 0: left out
    double deviation = 0;  ///< length of the whitened residual
    bool outlier = false;
};

/// The fit in work.
class WeightedFit {
    enum class Editing { kNone, kFree, kFrozen };

  public:
    WeightedFit(const FitPositions& positions, Dynamics& dynamics)
        : positions_(positions),
          dynamics_(dynamics),
          motion_(dynamics, positions.utc.front(), 0.0, last_epoch(), requests(*dynamics.config)) {}

    FitResult run() {
        prepare_observations();
        VectorXd x = VectorXd::Zero(parameters());
        if (!first_state(positions_, x.data(), x.data() + 3)) {
            std::copy(positions_.eci[0].begin(), positions_.eci[0].end(), x.data());
            first_velocity(positions_, x.data() + 3);
        }
        FitResult result;
        try {
            // A short arc first: what the first positions know of the velocity doesn't reach far.
            for (const double until : {5400.0, 14400.0}) {
                if (until < 0.7 * motion_.last()) iterate(x, until, 3, nullptr);
            }
            iterate(x, motion_.last(), kFitIterations, &result.iterations);
            finish(x, result);
        } catch (const EstimationFailure& e) {
            result.failure = e.what();
        }
        return result;
    }

    /// By the last equations, with the size of the residuals and what neighbours share of them. The orbit stays as it is.
    std::vector<Covariance> covariances(const std::vector<TrajectoryPoint>& points) const {
        const Eigen::Index n = factors_.rows();
        const double variance = scale_ * scale_ * correlation_factor(residual_series(), gap_);
        const MatrixXd inverse = factors_.solve(MatrixXd::Identity(n, n));
        const MatrixXd covariance = variance * unit_.asDiagonal() * inverse * unit_.asDiagonal();
        std::vector<double> times;
        times.reserve(points.size());
        for (const TrajectoryPoint& p : points) times.push_back(gtimeSubSec(p.utc, positions_.utc.front()));
        return state_covariances(motion_, covariance, positions_.utc.front(), times);
    }

  private:
    /// Whitened residuals of the positions that were used, by component.
    std::vector<Series> residual_series() const {
        std::vector<Series> series(3, Series(static_cast<std::size_t>(positions_.span() / gap_ + 1.5), std::nan("")));
        for (const Observation& o : observations_) {
            if (o.weight == 0.0) continue;
            const Vector3d whitened = o.information.llt().matrixU() * o.residual;
            const auto place = static_cast<std::size_t>(std::lround(o.t / gap_));
            for (int k = 0; k < 3; ++k) series[static_cast<std::size_t>(k)][place] = whitened(k);
        }
        return series;
    }

    double last_epoch() const {
        const double interval = dynamics_.config->output_interval;
        return std::ceil(positions_.span() / interval - 1e-9) * interval;
    }

    static std::vector<EmpiricalTerm> requests(const ORBIT_DYN_CONFIG& config) {
        std::vector<EmpiricalTerm> terms;
        for (int i = 0; i < config.emp_param_num_base; ++i) {
            EmpiricalTerm term;
            term.kind = config.emp_params_base[i].name_param;
            term.interval = config.emp_params_base[i].interval;
            terms.push_back(term);
        }
        return terms;
    }

    void prepare_observations() {
        for (std::size_t i = 1; i < positions_.utc.size(); ++i)
            gap_ = std::min(gap_, positions_.seconds(i) - positions_.seconds(i - 1));
        gap_ = std::max(gap_, 1e-3);
        const double sharing = std::max(1.0, kShared / gap_);
        for (std::size_t i = 0; i < positions_.utc.size(); ++i) {
            Observation o;
            o.t = positions_.seconds(i);
            Matrix3d covariance = kFloor * kFloor * Matrix3d::Identity();
            if (!positions_.covariance.empty())
                covariance +=
                    Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(positions_.covariance[i].data());
            o.information = covariance.inverse() / sharing;
            observations_.push_back(std::move(o));
        }
    }

    /// Those of the motion, and the radial offset of the positions behind them.
    Eigen::Index parameters() const { return static_cast<Eigen::Index>(motion_.size()) + 1; }

    bool estimates_offset() const { return positions_.offset_sigma > 0.0; }

    bool is_used(std::size_t i) const { return positions_.aside.empty() || positions_.aside[i].empty(); }

    /// Integrates, solves and moves until the corrections are small.
    void iterate(VectorXd& x, double until, int most, std::vector<FitIteration>* history) {
        Progress progress("fitting");
        for (int k = 0; k < most; ++k) {
            motion_.integrate(x.head(x.size() - 1), until);
            offset_ = x.tail<1>()(0);
            compute(until);
            // Beyond the reach of the orbit at hand every position looks like an outlier: none before the second iteration.
            const VectorXd dx = solve(until, k == 0 ? Editing::kNone : k < kFrozen ? Editing::kFree : Editing::kFrozen);
            x += dx;
            const double test = std::sqrt(dx.squaredNorm() / static_cast<double>(dx.size()));
            if (history != nullptr) {
                FitIteration iteration;
                iteration.number = k;
                rms(until, iteration.rms);
                iteration.test = test;
                history->push_back(iteration);
            }
            if (!(test >= kConverged) && (k > 0 || !has_outlier(until))) return;
        }
    }

    void compute(double until) {
        for (Observation& o : observations_) {
            if (o.t > until) break;
            Vector3d position, velocity;
            motion_.state_at(o.t, position, velocity);
            const Vector3& observed = positions_.eci[static_cast<std::size_t>(&o - observations_.data())];
            o.radial = position.normalized();
            o.residual = Vector3d(observed[0], observed[1], observed[2]) - position - offset_ * o.radial;
            o.segment = motion_.segment_of(o.t);
            o.partials = motion_.local_partials(o.t);
        }
    }

    /// Correction by weights that follow from the residuals it leaves.
    VectorXd solve(double until, Editing editing) {
        VectorXd dx = VectorXd::Zero(parameters());
        for (int inner = 0; inner < 8; ++inner) {
            weigh(until, dx, editing);
            dx = solve_once(until);
        }
        return dx;
    }

    Vector3d left(const Observation& o, const VectorXd& dx) const {
        const auto& chain = motion_.chain(o.segment);
        return o.residual - o.partials * (chain * dx.head(chain.cols())) - dx.tail<1>()(0) * o.radial;
    }

    void weigh(double until, const VectorXd& dx, Editing editing) {
        std::vector<double> deviations;
        for (std::size_t i = 0; i < observations_.size() && observations_[i].t <= until; ++i) {
            Observation& o = observations_[i];
            const Vector3d r = left(o, dx);
            o.deviation = std::sqrt(r.dot(o.information * r) / 3.0);
            if (is_used(i)) deviations.push_back(o.deviation);
        }
        if (deviations.empty()) throw EstimationFailure("no position is left to fit");
        const auto middle = deviations.begin() + static_cast<std::ptrdiff_t>(deviations.size() / 2);
        std::nth_element(deviations.begin(), middle, deviations.end());
        scale_ = *middle / kMiddle;
        for (std::size_t i = 0; i < observations_.size() && observations_[i].t <= until; ++i) {
            Observation& o = observations_[i];
            if (editing != Editing::kFrozen) o.outlier = editing == Editing::kFree && o.deviation > kOutlier * scale_;
            o.weight = !is_used(i) || o.outlier         ? 0.0
                       : o.deviation <= kHuber * scale_ ? 1.0
                                                        : kHuber * scale_ / o.deviation;
        }
    }

    /// True where the last weights left an outlier in.
    bool has_outlier(double until) const {
        for (std::size_t i = 0; i < observations_.size() && observations_[i].t <= until; ++i) {
            if (is_used(i) && observations_[i].deviation > kOutlier * scale_) return true;
        }
        return false;
    }

    VectorXd solve_once(double until) {
        const Eigen::Index n = parameters(), offset = n - 1;
        MatrixXd N = MatrixXd::Zero(n, n);
        VectorXd b = VectorXd::Zero(n);
        constrain(N, b);
        for (std::size_t i = 0; i < observations_.size() && observations_[i].t <= until;) {
            const std::size_t segment = observations_[i].segment;
            const int local = motion_.local_size();
            MatrixXd N_local = MatrixXd::Zero(local, local);
            VectorXd b_local = VectorXd::Zero(local), offset_local = VectorXd::Zero(local);
            for (; i < observations_.size() && observations_[i].t <= until && observations_[i].segment == segment;
                 ++i) {
                const Observation& o = observations_[i];
                if (o.weight == 0.0) continue;
                const Eigen::Matrix<double, Eigen::Dynamic, 3> weighted =
                    o.weight * o.partials.transpose() * o.information;
                N_local.noalias() += weighted * o.partials;
                b_local.noalias() += weighted * o.residual;
                offset_local.noalias() += weighted * o.radial;
                N(offset, offset) += o.weight * o.radial.dot(o.information * o.radial);
                b(offset) += o.weight * o.radial.dot(o.information * o.residual);
            }
            const auto& chain = motion_.chain(segment);
            const Eigen::Index begun = chain.cols();
            N.topLeftCorner(begun, begun).noalias() += chain.transpose() * (N_local * chain);
            b.head(begun).noalias() += chain.transpose() * b_local;
            if (estimates_offset()) N.col(offset).head(begun) += chain.transpose() * offset_local;
        }
        if (estimates_offset()) {
            N.row(offset).head(offset) = N.col(offset).head(offset).transpose();
        } else {
            N(offset, offset) = 1.0;
            b(offset) = 0.0;
        }
        // Metres, metres a second and nm/s^2 side by side: to a unit diagonal.
        unit_ = N.diagonal().cwiseMax(1e-300).cwiseSqrt().cwiseInverse();
        const MatrixXd scaled = unit_.asDiagonal() * N * unit_.asDiagonal();
        factors_.compute(scaled);
        if (factors_.info() != Eigen::Success) throw EstimationFailure("the equations have no solution");
        VectorXd dx = unit_.cwiseProduct(factors_.solve(unit_.cwiseProduct(b)));
        offset_deviation_ = scale_ * unit_(offset) * std::sqrt(factors_.solve(VectorXd::Unit(n, offset))(offset));
        if (!dx.allFinite()) throw EstimationFailure("the equations have no solution");
        return dx;
    }

    /// A-priori information, in the units of the positions' residuals: an acceleration stays near the one of the piece before, the offset
    /// near zero.
    void constrain(MatrixXd& N, VectorXd& b) const {
        const double unit = std::max(scale_ * scale_, 1e-12);
        std::vector<Eigen::Index> former(motion_.terms().size(), -1);
        for (std::size_t k = 0; k < motion_.empirical().size(); ++k) {
            const Eigen::Index i = static_cast<Eigen::Index>(6 + k);
            Eigen::Index& before = former[motion_.empirical()[k].term];
            const double weight = unit / std::pow(before < 0 ? kLoose : kStep, 2);
            const double step = motion_.parameters()(i) - (before < 0 ? 0.0 : motion_.parameters()(before));
            N(i, i) += weight;
            b(i) -= weight * step;
            if (before >= 0) {
                N(before, before) += weight;
                N(i, before) -= weight;
                N(before, i) -= weight;
                b(before) += weight * step;
            }
            before = i;
        }
        if (!estimates_offset()) return;
        const double weight = unit / (positions_.offset_sigma * positions_.offset_sigma);
        N(parameters() - 1, parameters() - 1) += weight;
        b(parameters() - 1) -= weight * offset_;
    }

    /// Along, radial, cross of what was used.
    void rms(double until, double* values) const {
        double sum[3]{}, n = 0;
        for (const Observation& o : observations_) {
            if (o.t > until || o.weight == 0.0) continue;
            const FitResidual r = residual_of(o);
            sum[0] += r.along * r.along;
            sum[1] += r.radial * r.radial;
            sum[2] += r.cross * r.cross;
            n += 1.0;
        }
        for (int k = 0; k < 3; ++k) values[k] = n > 0 ? std::sqrt(sum[k] / n) : 0.0;
    }

    FitResidual residual_of(const Observation& o) const {
        const std::size_t i = static_cast<std::size_t>(&o - observations_.data());
        Vector3d r, v;
        motion_.state_at(o.t, r, v);
        const Vector3d radial = r.normalized(), cross = r.cross(v).normalized();
        FitResidual residual;
        residual.utc = positions_.utc[i];
        residual.seconds = o.t;
        residual.radial = o.residual.dot(radial);
        residual.cross = o.residual.dot(cross);
        residual.along = o.residual.dot(cross.cross(radial));
        residual.weight = o.weight;
        if (!is_used(i)) {
            residual.reason = positions_.aside[i];
        } else if (o.outlier) {
            residual.reason = "outlier";
        }
        return residual;
    }

    /// Residuals, parameters and orbit; the parameters go into the library's records, from which others integrate.
    void finish(const VectorXd& x, FitResult& result) {
        motion_.integrate(x.head(x.size() - 1), motion_.last());
        offset_ = x.tail<1>()(0);
        compute(motion_.last());
        for (const Observation& o : observations_) result.residuals.push_back(residual_of(o));
        rms(motion_.last(), result.rms);
        if (estimates_offset()) {
            result.offset = offset_;
            result.offset_deviation = offset_deviation_;
        }
        const double start = gtime2mjd(positions_.utc.front());
        PARAM_FM_EMP& emp = dynamics_.config->force_model_emp_parameters;
        emp.num = 0;
        std::map<std::string, int> pieces;
        for (std::size_t k = 0; k < motion_.empirical().size(); ++k) {
            const EmpiricalParameter& p = motion_.empirical()[k];
            const std::string& kind = motion_.terms()[p.term].kind;
            const std::size_t n = static_cast<std::size_t>(emp.num++);
            std::snprintf(emp.param_name[n], sizeof emp.param_name[n], "EMP_%03d_%.8s", pieces[kind]++, kind.c_str());
            emp.param[n] = x(static_cast<Eigen::Index>(6 + k));
            emp.param_life[n][0] = start + p.start / 86400.0;
            emp.param_life[n][1] = start + p.end / 86400.0;
            emp.idx_global[n] = static_cast<int>(6 + n);
            result.parameters.push_back({emp.param_name[n], emp.param[n], emp.param_life[n][0], emp.param_life[n][1]});
        }
        dynamics_.config->num_param_forcemodel = emp.num;
        result.orbit = integrate(dynamics_, positions_.utc.front(), x.data(), x.data() + 3, motion_.last() + 1e-6);
    }

    const FitPositions& positions_;
    Dynamics& dynamics_;
    Motion motion_;
    std::vector<Observation> observations_;
    double gap_ = kShared;                          ///< shortest between two positions [s]
    double scale_ = 1.0;                            ///< usual size of a whitened residual
    VectorXd unit_;                                 ///< of the parameters, which give the equations a unit diagonal
    Eigen::LDLT<MatrixXd> factors_;                 ///< of these equations
    double offset_ = 0.0, offset_deviation_ = 0.0;  ///< of the positions from the orbit, radial [m]
};

}  // namespace

FitResult fit_with_weights(const FitPositions& positions, Dynamics& dynamics) {
    const auto fit = std::make_shared<WeightedFit>(positions, dynamics);
    FitResult result = fit->run();
    result.covariances = [fit](const std::vector<TrajectoryPoint>& points) { return fit->covariances(points); };
    return result;
}

}  // namespace host
