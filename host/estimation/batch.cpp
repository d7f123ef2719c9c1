#include "estimation/batch.h"

#include <algorithm>
#include <cmath>

#include "estimation/failure.h"

namespace host {

namespace {

/// One used observation of an epoch: its weight, and the place of its ambiguity among those of the epoch (-1: none).
struct Row {
    const Link* link;
    double weight, omc;
    int ambiguity;
};

constexpr int kAntenna = -2;  ///< stands for the antenna's offset among the passes

/// Normal equations of one segment, in its local numbers and the ambiguities that occur in it.
class LocalNormals {
  public:
    explicit LocalNormals(int local) : local_(local), N_(Eigen::MatrixXd::Zero(local, local)), b_(local) {
        b_.setZero();
    }

    /// Place of a pass's ambiguity.
    int place(int pass) {
        const auto found = std::find(passes_.begin(), passes_.end(), pass);
        if (found != passes_.end()) return local_ + static_cast<int>(found - passes_.begin());
        passes_.push_back(pass);
        const int n = local_ + static_cast<int>(passes_.size());
        N_.conservativeResize(n, n);
        b_.conservativeResize(n);
        N_.row(n - 1).setZero();
        N_.col(n - 1).setZero();
        b_[n - 1] = 0.0;
        return n - 1;
    }

    /// Adds the rows of one epoch and one system, whose clock is eliminated. `radial`: direction of the antenna's offset; zero without one.
    void add(const std::vector<Row>& rows, const Motion::Partials& partials, const Eigen::Vector3d& radial) {
        const int antenna = radial.isZero(0.0) ? -1 : place(kAntenna);
        const int n = static_cast<int>(b_.size());
        Eigen::VectorXd sum = Eigen::VectorXd::Zero(n);
        double weight = 0.0, omc = 0.0;
        for (const Row& row : rows) {
            const Eigen::RowVectorXd a = -row.link->sight.transpose() * partials;
            N_.topLeftCorner(local_, local_).noalias() += row.weight * a.transpose() * a;
            b_.head(local_).noalias() += row.weight * row.omc * a.transpose();
            sum.head(local_).noalias() += row.weight * a.transpose();
            if (antenna >= 0) {
                const double up = -row.link->sight.dot(radial);
                add_single(row, antenna, up, a, sum);
                if (row.ambiguity >= 0) {
                    N_(row.ambiguity, antenna) += row.weight * up;
                    N_(antenna, row.ambiguity) += row.weight * up;
                }
            }
            weight += row.weight;
            omc += row.weight * row.omc;
            if (row.ambiguity >= 0) add_single(row, row.ambiguity, 1.0, a, sum);
        }
        N_.noalias() -= sum * sum.transpose() / weight;
        b_ -= sum * (omc / weight);
    }

    /// Adds this segment to the normal equations of the arc, whose lower triangle alone is kept: first the motion, then the ambiguities.
    void transfer(const Eigen::MatrixXd& chain, const std::vector<int>& column, int antenna, Eigen::MatrixXd& N,
                  Eigen::VectorXd& b) const {
        const int begun = static_cast<int>(chain.cols());
        const int count = static_cast<int>(passes_.size());
        const Eigen::MatrixXd half = N_.topLeftCorner(local_, local_) * chain;
        N.topLeftCorner(begun, begun).triangularView<Eigen::Lower>() += chain.transpose() * half;
        b.head(begun).noalias() += chain.transpose() * b_.head(local_);
        if (count == 0) return;
        const auto column_of = [&](int i) {
            const int pass = passes_[static_cast<std::size_t>(i)];
            return pass == kAntenna ? antenna : column[static_cast<std::size_t>(pass)];
        };
        const Eigen::MatrixXd cross = N_.bottomLeftCorner(count, local_) * chain;
        for (int i = 0; i < count; ++i) {
            const int row = column_of(i);
            N.row(row).head(begun) += cross.row(i);  // the lower triangle
            b[row] += b_[local_ + i];
            for (int j = 0; j < count; ++j) {
                if (column_of(j) <= row) N(row, column_of(j)) += N_(local_ + i, local_ + j);
            }
        }
    }

  private:
    /// A parameter beside the local numbers, with its coefficient.
    void add_single(const Row& row, int place, double coefficient, const Eigen::RowVectorXd& a, Eigen::VectorXd& sum) {
        const double w = row.weight * coefficient;
        N_.row(place).head(local_) += w * a;
        N_.col(place).head(local_) += w * a.transpose();
        N_(place, place) += w * coefficient;
        b_[place] += w * row.omc;
        sum[place] += w;
    }

    int local_;
    std::vector<int> passes_;
    Eigen::MatrixXd N_;
    Eigen::VectorXd b_;
};

double inverse_square(double sigma) { return 1.0 / (sigma * sigma); }

bool uses_code(const Link& link) { return link.code_edit == Edit::kUsed; }
/// A phase in use has a pass.
bool uses_phase(const Link& link, bool phase) { return phase && link.phase_edit == Edit::kUsed; }

Eigen::Vector3d radial_at(const Motion& motion, double t) {
    Eigen::Vector3d position, velocity;
    motion.state_at(t, position, velocity);
    return position.normalized();
}

/// A-priori information: every acceleration about zero, its pieces a Gauss-Markov sequence where they are correlated.
void add_constraints(const Motion& motion, Eigen::MatrixXd& N, Eigen::VectorXd& b) {
    const auto& parameters = motion.empirical();
    std::vector<long> former(motion.terms().size(), -1);
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        const EmpiricalParameter& p = parameters[i];
        const EmpiricalTerm& term = motion.terms()[p.term];
        const long column = static_cast<long>(6 + i);
        const long last = former[p.term];
        former[p.term] = column;
        if (!(term.sigma > 0.0)) continue;
        const double value = motion.parameters()[column];
        const double m = last >= 0 && term.correlation > 0.0 ? std::exp(-term.interval / term.correlation) : 0.0;
        const double weight = inverse_square(term.sigma) / (1.0 - m * m);
        const double omc = -(value - (last >= 0 ? m * motion.parameters()[last] : 0.0));
        N(column, column) += weight;
        b[column] += weight * omc;
        if (last < 0 || m == 0.0) continue;
        N(last, last) += weight * m * m;
        N(column, last) -= weight * m;
        b[last] -= weight * m * omc;
    }
}

/// Columns of the ambiguities of the passes in use, behind the motion. Returns the number of all.
int number_ambiguities(const ObservedArc& arc, bool phase, int motion, std::vector<int>& column) {
    column.assign(arc.passes.size(), -1);
    int n = motion;
    for (const Link& link : arc.links) {
        if (!uses_phase(link, phase)) continue;
        int& c = column[static_cast<std::size_t>(link.pass)];
        if (c < 0) c = n++;
    }
    return n;
}

/// Rows of one system of an epoch; empty where they determine no more than their clock.
std::vector<Row> rows_of(const ObservedArc& arc, const ArcEpoch& epoch, int system, bool phase) {
    std::vector<Row> rows;
    for (std::size_t i = epoch.first; i < epoch.first + epoch.count; ++i) {
        const Link& link = arc.links[i];
        if (link.system != system) continue;
        if (uses_code(link)) rows.push_back({&link, inverse_square(link.code_sigma), link.code_omc, -1});
        if (uses_phase(link, phase))
            rows.push_back({&link, inverse_square(link.phase_sigma), link.phase_omc, link.pass});
    }
    return rows;
}

void accumulate(const Motion& motion, const ObservedArc& arc, bool phase, const std::vector<int>& column, int antenna,
                Eigen::MatrixXd& N, Eigen::VectorXd& b, BatchSolution& solution) {
    std::size_t e = 0;
    for (std::size_t s = 0; s < motion.segments(); ++s) {
        LocalNormals local(motion.local_size());
        for (;
             e < arc.epochs.size() && (s + 1 == motion.segments() || motion.segment_of(arc.epochs[e].received()) <= s);
             ++e) {
            const ArcEpoch& epoch = arc.epochs[e];
            if (epoch.received() > motion.last() + 1.0) continue;
            Motion::Partials partials;
            Eigen::Vector3d radial = Eigen::Vector3d::Zero();
            for (int system = 0; system < arc.systems; ++system) {
                std::vector<Row> rows = rows_of(arc, epoch, system, phase);
                if (rows.size() < 2) continue;
                if (partials.cols() == 0) {
                    partials = motion.local_partials(epoch.received());
                    if (antenna >= 0) radial = radial_at(motion, epoch.received());
                }
                for (Row& row : rows) {
                    ++(row.ambiguity < 0 ? solution.code_count : solution.phase_count);
                    if (row.ambiguity >= 0) row.ambiguity = local.place(row.ambiguity);
                }
                ++solution.unknowns;
                local.add(rows, partials, radial);
            }
        }
        if (motion.chain(s).cols() > 0) local.transfer(motion.chain(s), column, antenna, N, b);
    }
}

/// Residuals of all links, with the clock that the used ones of their epoch and system give. Returns the weighted squares of the used ones.
double find_residuals(const Motion& motion, ObservedArc& arc, bool phase, const BatchSolution& solution) {
    double squares = 0.0;
    std::vector<Eigen::VectorXd> local(motion.segments());
    for (ArcEpoch& epoch : arc.epochs) {
        const double t = epoch.received();
        if (t > motion.last() + 1.0) continue;
        const std::size_t s = motion.segment_of(t);
        if (local[s].size() == 0) local[s] = motion.chain(s) * solution.motion.head(motion.begun(s));
        Eigen::Vector3d shift = motion.local_partials(t) * local[s];
        if (solution.antenna != 0.0) shift += solution.antenna * radial_at(motion, t);
        for (int system = 0; system < arc.systems; ++system) {
            double weight = 0.0, sum = 0.0;
            for (const Row& row : rows_of(arc, epoch, system, phase)) {
                const double ambiguity =
                    row.ambiguity < 0 ? 0.0 : solution.ambiguity[static_cast<std::size_t>(row.ambiguity)];
                weight += row.weight;
                sum += row.weight * (row.omc + row.link->sight.dot(shift) - ambiguity);
            }
            const double clock = weight > 0.0 ? sum / weight : std::nan("");
            epoch.clock_correction[static_cast<std::size_t>(system)] = clock;
            for (std::size_t i = epoch.first; i < epoch.first + epoch.count; ++i) {
                Link& link = arc.links[i];
                if (link.system != system) continue;
                link.code_residual = link.code_omc + link.sight.dot(shift) - clock;
                const double ambiguity =
                    link.pass >= 0 ? solution.ambiguity[static_cast<std::size_t>(link.pass)] : std::nan("");
                link.phase_residual = link.phase_omc + link.sight.dot(shift) - clock - ambiguity;
                if (uses_code(link)) squares += std::pow(link.code_residual / link.code_sigma, 2);
                if (uses_phase(link, phase)) squares += std::pow(link.phase_residual / link.phase_sigma, 2);
            }
        }
    }
    return squares;
}

}  // namespace

BatchSolution solve_batch(const Motion& motion, ObservedArc& arc, const BatchOptions& options) {
    const int m = static_cast<int>(motion.size());
    std::vector<int> column;
    const int antenna = options.antenna_sigma > 0.0 ? m : -1;
    const int n = number_ambiguities(arc, options.phase, antenna < 0 ? m : m + 1, column);
    if (n > kMostParameters) {
        throw EstimationFailure("the arc asks for " + std::to_string(n) + " parameters, at most " +
                                std::to_string(kMostParameters) +
                                " can be estimated: a shorter arc or longer pieces are needed");
    }
    BatchSolution solution;
    Eigen::MatrixXd N = Eigen::MatrixXd::Zero(n, n);
    Eigen::VectorXd b = Eigen::VectorXd::Zero(n);
    accumulate(motion, arc, options.phase, column, antenna, N, b, solution);
    solution.unknowns += n;
    add_constraints(motion, N, b);
    if (antenna >= 0) {
        N(m, m) += inverse_square(options.antenna_sigma);
        b[m] -= inverse_square(options.antenna_sigma) * options.antenna_offset;
    }
    // Scaled to a unit diagonal; what nothing determines stays where it is.
    Eigen::VectorXd scale(n);
    for (int i = 0; i < n; ++i) {
        if (!(N(i, i) > 0.0)) N(i, i) = 1.0;
        scale[i] = 1.0 / std::sqrt(N(i, i));
    }
    N = scale.asDiagonal() * N * scale.asDiagonal();
    b = scale.asDiagonal() * b;
    for (int i = 0; i < n; ++i) N(i, i) += 1e-13;
    Eigen::LLT<Eigen::Ref<Eigen::MatrixXd>> factor(N);  // in place, of the lower triangle
    if (factor.info() != Eigen::Success) throw EstimationFailure("the observations do not determine the orbit");
    const Eigen::VectorXd x = scale.asDiagonal() * factor.solve(b);
    if (!x.allFinite()) throw EstimationFailure("the observations do not determine the orbit");
    solution.motion = x.head(m);
    if (antenna >= 0) solution.antenna = x[antenna];
    solution.ambiguity.assign(arc.passes.size(), std::nan(""));
    for (std::size_t p = 0; p < column.size(); ++p) {
        if (column[p] >= 0) solution.ambiguity[p] = x[column[p]];
    }
    if (options.covariance) {
        const Eigen::MatrixXd inverse = factor.solve(Eigen::MatrixXd::Identity(n, antenna < 0 ? m : m + 1));
        if (antenna >= 0) solution.antenna_deviation = scale[m] * std::sqrt(inverse(m, m));
        solution.covariance = scale.head(m).asDiagonal() * inverse.topLeftCorner(m, m) * scale.head(m).asDiagonal();
    }
    solution.weighted_squares = find_residuals(motion, arc, options.phase, solution);
    return solution;
}

void apply_clocks(ObservedArc& arc) {
    for (ArcEpoch& epoch : arc.epochs) {
        for (std::size_t system = 0; system < epoch.clock.size(); ++system) {
            const double correction = epoch.clock_correction[system];
            if (std::isfinite(correction)) epoch.clock[system] += correction;
        }
    }
}

}  // namespace host
