#include "estimation/weighted_fit.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <map>

#include "estimation/failure.h"
#include "estimation/first_state.h"
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
constexpr double kLoose =
    1e5;  ///< a-priori deviation of the accelerations, so that a piece without positions stays at zero [nm/s^2]
constexpr double kConverged = 0.001;  ///< root mean square of the corrections
constexpr int kFrozen = 5;            ///< from this iteration on an outlier stays one

struct Observation {
    double t = 0;
    std::size_t segment = 0;
    Matrix3d information = Matrix3d::Zero();  ///< without Huber's weight
    Vector3d residual = Vector3d::Zero();     ///< observed less computed [m]
    Motion::Partials partials;
    double weight = 1;     ///< of Huber's function; 0: left out
    double deviation = 0;  ///< length of the whitened residual
    bool outlier = false;
};

/// The fit in work.
class WeightedFit {
  public:
    WeightedFit(const FitPositions& positions, Dynamics& dynamics)
        : positions_(positions),
          dynamics_(dynamics),
          motion_(dynamics, positions.utc.front(), 0.0, last_epoch(), requests(*dynamics.config)) {}

    FitResult run() {
        prepare_observations();
        VectorXd x = VectorXd::Zero(static_cast<Eigen::Index>(motion_.size()));
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

  private:
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
        double gap = kShared;
        for (std::size_t i = 1; i < positions_.utc.size(); ++i)
            gap = std::min(gap, positions_.seconds(i) - positions_.seconds(i - 1));
        const double sharing = std::max(1.0, kShared / std::max(gap, 1e-3));
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

    bool is_used(std::size_t i) const { return positions_.aside.empty() || positions_.aside[i].empty(); }

    /// Integrates, solves and moves until the corrections are small.
    void iterate(VectorXd& x, double until, int most, std::vector<FitIteration>* history) {
        Progress progress("fitting");
        for (int k = 0; k < most; ++k) {
            motion_.integrate(x, until);
            compute(until);
            const VectorXd dx = solve(until, k >= kFrozen);
            x += dx;
            const double test = std::sqrt(dx.squaredNorm() / static_cast<double>(dx.size()));
            if (history != nullptr) {
                FitIteration iteration;
                iteration.number = k;
                rms(until, iteration.rms);
                iteration.test = test;
                history->push_back(iteration);
            }
            if (!(test >= kConverged)) return;
        }
    }

    void compute(double until) {
        for (Observation& o : observations_) {
            if (o.t > until) break;
            Vector3d position, velocity;
            motion_.state_at(o.t, position, velocity);
            const Vector3& observed = positions_.eci[static_cast<std::size_t>(&o - observations_.data())];
            o.residual = Vector3d(observed[0], observed[1], observed[2]) - position;
            o.segment = motion_.segment_of(o.t);
            o.partials = motion_.local_partials(o.t);
        }
    }

    /// Correction by weights that follow from the residuals it leaves.
    VectorXd solve(double until, bool frozen) {
        VectorXd dx = VectorXd::Zero(static_cast<Eigen::Index>(motion_.size()));
        for (int inner = 0; inner < 8; ++inner) {
            weigh(until, dx, frozen);
            dx = solve_once(until);
        }
        return dx;
    }

    Vector3d left(const Observation& o, const VectorXd& dx) const {
        const auto& chain = motion_.chain(o.segment);
        return o.residual - o.partials * (chain * dx.head(chain.cols()));
    }

    void weigh(double until, const VectorXd& dx, bool frozen) {
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
        const double scale = *middle / kMiddle;
        for (std::size_t i = 0; i < observations_.size() && observations_[i].t <= until; ++i) {
            Observation& o = observations_[i];
            if (!frozen) o.outlier = o.deviation > kOutlier * scale;
            o.weight = !is_used(i) || o.outlier        ? 0.0
                       : o.deviation <= kHuber * scale ? 1.0
                                                       : kHuber * scale / o.deviation;
        }
    }

    VectorXd solve_once(double until) {
        const Eigen::Index n = static_cast<Eigen::Index>(motion_.size());
        MatrixXd N = MatrixXd::Zero(n, n);
        VectorXd b = VectorXd::Zero(n);
        for (Eigen::Index i = 6; i < n; ++i) {
            N(i, i) = 1.0 / (kLoose * kLoose);
            b(i) = -motion_.parameters()(i) / (kLoose * kLoose);
        }
        for (std::size_t i = 0; i < observations_.size() && observations_[i].t <= until;) {
            const std::size_t segment = observations_[i].segment;
            const int local = motion_.local_size();
            MatrixXd N_local = MatrixXd::Zero(local, local);
            VectorXd b_local = VectorXd::Zero(local);
            for (; i < observations_.size() && observations_[i].t <= until && observations_[i].segment == segment;
                 ++i) {
                const Observation& o = observations_[i];
                if (o.weight == 0.0) continue;
                const Eigen::Matrix<double, Eigen::Dynamic, 3> weighted =
                    o.weight * o.partials.transpose() * o.information;
                N_local.noalias() += weighted * o.partials;
                b_local.noalias() += weighted * o.residual;
            }
            const auto& chain = motion_.chain(segment);
            const Eigen::Index begun = chain.cols();
            N.topLeftCorner(begun, begun).noalias() += chain.transpose() * (N_local * chain);
            b.head(begun).noalias() += chain.transpose() * b_local;
        }
        // Metres, metres a second and nm/s^2 side by side: to a unit diagonal.
        const VectorXd scale = N.diagonal().cwiseMax(1e-300).cwiseSqrt().cwiseInverse();
        const MatrixXd scaled = scale.asDiagonal() * N * scale.asDiagonal();
        const Eigen::LDLT<MatrixXd> factors(scaled);
        if (factors.info() != Eigen::Success) throw EstimationFailure("the equations have no solution");
        const VectorXd dx = scale.cwiseProduct(factors.solve(scale.cwiseProduct(b)));
        if (!dx.allFinite()) throw EstimationFailure("the equations have no solution");
        return dx;
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
        motion_.integrate(x, motion_.last());
        compute(motion_.last());
        for (const Observation& o : observations_) result.residuals.push_back(residual_of(o));
        rms(motion_.last(), result.rms);
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
};

}  // namespace

FitResult fit_with_weights(const FitPositions& positions, Dynamics& dynamics) {
    dynamics.config->emp_param_num_base = std::min(dynamics.config->emp_param_num_base, 20);
    return WeightedFit(positions, dynamics).run();
}

}  // namespace host
