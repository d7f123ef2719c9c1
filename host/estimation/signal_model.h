/// \file signal_model.h
/// What a receiver on a given orbit would measure: light time, earth rotation, relativity, antennas and wind-up, with the satellites of the
/// loaded files.
#ifndef LEOPOD_HOST_SIGNAL_MODEL_H
#define LEOPOD_HOST_SIGNAL_MODEL_H

#include <map>

#include "estimation/antenna_offset.h"
#include "estimation/observed_arc.h"

namespace host {

struct SignalModelOptions {
    AntennaOffset antenna;
    bool wind_up = true;
};

/// The frame of one instant: celestial to earth-fixed, Sun, and the receiver with its antenna axes, all earth-fixed.
struct ReceiverFrame {
    Eigen::Matrix3d to_fixed;
    Eigen::Vector3d position, velocity;  ///< of the antenna, earth-fixed [m, m/s]
    Eigen::Vector3d ex, ey, ez;          ///< of the antenna, ez away from the earth
    Eigen::Vector3d sun;                 ///< [m]
};

/// That of an earth-fixed position, without axes.
ReceiverFrame frame_of_point(const Eigen::Vector3d& position);

class SignalModel {
  public:
    SignalModel(const GTime& start, const SignalModelOptions& options) : start_(start), options_(options) {}

    /// The receiver at a time since the start of the arc, from its state in GCRS.
    ReceiverFrame frame(double t, const Eigen::Vector3d& position, const Eigen::Vector3d& velocity) const;

    /// Fills what the model says of a link that is received at t (sight, direction, code_omc and phase_omc for a receiver clock of zero,
    /// wind-up). False without an ephemeris.
    bool predict(double t, const ReceiverFrame& receiver, Link& link, bool with_phase) const;

    /// Moves the antenna up.
    void raise_antenna(double metres) { raised_ += metres; }
    /// Offset of the antenna from the centre of mass in GCRS.
    Eigen::Vector3d antenna_offset(double t, const Eigen::Vector3d& position, const Eigen::Vector3d& velocity) const;

  private:
    bool satellite(double t, const Link& link, double* position_velocity, double& clock, double& age,
                   double& gap) const;

    GTime start_;
    SignalModelOptions options_;
    double raised_ = 0;                                               ///< the antenna, above the given offset [m]
    mutable std::map<long, std::pair<double, Eigen::Vector3d>> sun_;  ///< inertial, by stretch of time
};

/// Usual spacing of the clocks in the loaded products [s]; 0 without any.
double clock_interval();

}  // namespace host

#endif
