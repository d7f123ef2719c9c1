/// \file motion.h
/// The motion of a satellite over an arc with its partials: the library's forces and variational equations, integrated piece by piece,
/// with empirical accelerations that are constant within their pieces.
#ifndef LEOPOD_HOST_MOTION_H
#define LEOPOD_HOST_MOTION_H

#include <Eigen/Dense>
#include <array>
#include <string>
#include <vector>

#include "stores/dynamics.h"

namespace host {

/// An empirical acceleration, one parameter a piece.
struct EmpiricalTerm {
    std::string kind;  ///< as the library names it: R0, A0, C0 (constant), RC, RS, AC, AS, CC, CS (once a revolution)
    double interval = 0;     ///< length of a piece [s]; 0: the whole arc
    double sigma = 0;        ///< a-priori standard deviation about zero [nm/s^2]; 0: free
    double correlation = 0;  ///< time constant of the correlation between pieces [s]; 0: independent
};

/// One parameter of the motion behind the six of the state.
struct EmpiricalParameter {
    std::size_t term;
    double start, end;  ///< [s]
};

/// The motion from `first` to `last`, seconds since an epoch. Parameters: position and velocity at `first` (GCRS, m and m/s), then the
/// accelerations [nm/s^2] in order of their beginning.
class Motion {
  public:
    using Parameters = Eigen::VectorXd;
    using Partials = Eigen::Matrix<double, 3, Eigen::Dynamic>;

    /// The configuration's forces serve; its empirical parameters are replaced by these.
    Motion(Dynamics& dynamics, const GTime& utc_start, double first, double last, std::vector<EmpiricalTerm> terms);

    std::size_t size() const { return 6 + parameters_.size(); }
    const std::vector<EmpiricalParameter>& empirical() const { return parameters_; }
    const std::vector<EmpiricalTerm>& terms() const { return terms_; }
    /// Another a-priori standard deviation of a term [nm/s^2].
    void set_sigma(std::size_t term, double sigma) { terms_[term].sigma = sigma; }
    double first() const { return first_; }
    double last() const { return last_; }

    /// Integrates from these parameters up to a time (all, if it lies behind the last). Throws EstimationFailure where the orbit leaves the space
    /// between the earth and the navigation satellites.
    void integrate(const Parameters& parameters, double until);
    /// Moves the motion by its partials, without a new integration.
    void move(const Parameters& correction);
    const Parameters& parameters() const { return values_; }
    /// Moved since the last integration.
    const Parameters& correction() const { return correction_; }

    /// Position and velocity (GCRS).
    void state_at(double t, Eigen::Vector3d& position, Eigen::Vector3d& velocity) const;

    /// Segments are the stretches in which no parameter begins or ends. Within one, the position depends on its own few numbers: the state
    /// at its start and the accelerations by kind.
    std::size_t segments() const { return segments_.size(); }
    std::size_t segment_of(double t) const;
    int local_size() const { return 6 + static_cast<int>(kinds_.size()); }
    /// Position by the local numbers of the segment: 3 x local_size().
    Partials local_partials(double t) const;
    /// Velocity by them.
    Partials local_velocity_partials(double t) const;
    /// The local numbers of a segment by the parameters that have begun: local_size() x begun(segment).
    const Eigen::MatrixXd& chain(std::size_t segment) const { return segments_[segment].chain; }
    int begun(std::size_t segment) const { return segments_[segment].begun; }

  private:
    struct Node {
        Eigen::Vector3d position, velocity, acceleration;
        Eigen::MatrixXd partials, rates;  ///< 6 x local_size, and their derivative
    };
    struct Segment {
        double start, end, step;
        int begun = 0;                          ///< parameters, the six of the state included
        std::vector<std::vector<int>> columns;  ///< by kind: the parameters that act
        std::vector<Node> nodes;
        Eigen::MatrixXd chain;
    };
    struct Place {
        const Node *before, *after;
        double u, h;  ///< part of the step, its length
        std::size_t segment;
    };
    void make_parameters();
    void make_segments();
    void prepare_configuration();
    void integrate_segment(Segment& segment, Eigen::Matrix<double, 6, 1>& state);
    Node node_at(double t, std::vector<double>& y) const;
    Place place_of(double t) const;
    Partials interpolate_partials(double t, int row) const;

    Dynamics& dynamics_;
    GTime utc_start_;
    double first_, last_;
    std::vector<EmpiricalTerm> terms_;
    std::vector<std::string> kinds_;
    std::vector<EmpiricalParameter> parameters_;
    std::vector<Segment> segments_;
    Parameters values_, correction_;
    std::size_t integrated_ = 0;  ///< segments
};

}  // namespace host

#endif
