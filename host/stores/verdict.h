/// \file verdict.h
/// What the solutions of an epoch are worth: the point position by itself and against its neighbours, the filter against the point position
/// and by its own past.
#ifndef LEOPOD_HOST_VERDICT_H
#define LEOPOD_HOST_VERDICT_H

#include <array>
#include <deque>

#include "inputs/positions.h"
#include "pod_embed.h"

namespace host {

// Limits of a point position that is worth it.
constexpr double kLowestRadius = 6.33e6;  ///< [m]
constexpr double kHighestRadius = 5.0e7;  ///< [m]
constexpr double kNearRadius = 9.4e6;     ///< of low orbits [m]
constexpr double kSolidRadius = 6.3e6;    ///< no ray goes through the Earth [m]
constexpr double kLargestSigma = 50.0;    ///< of the residuals [m]
constexpr double kLargestError = 60.0;    ///< formal, by residuals and geometry [m]
constexpr double kSigmaJump = 4.0;        ///< times the median of the epochs before, if above kSmallSigma
constexpr double kSmallSigma = 8.0;       ///< [m]
constexpr int kDoubt = 10;                ///< so many refused in a row make the next ones doubtful
constexpr double kNeighbourGap = 300.0;   ///< epochs further apart are no neighbours [s]
constexpr double kNeighbourLimit =
    30.0;  ///< off the way of two epochs before, beside three times what their noise makes of it [m]
constexpr double kNeighbourBend = 0.02;  ///< what the way can bend beside free motion [m/s^2]
constexpr double kProofLimit = 300.0;    ///< neighbours that allow more prove nothing [m]

// The filter.
constexpr int kSettling = 20;          ///< solved epochs after which its ambiguities have settled
constexpr double kFilterLimit = 30.0;  ///< and six formal errors of the point position between both solutions [m]
constexpr double kFilterGap = 60.0;    ///< and three intervals: a pause that a phase is not followed through [s]
constexpr double kAtmosphere = 100e3;  ///< height below which the troposphere it lacks can matter [m]

/// A point position as the library found it.
struct PointPosition {
    GTime time{};  ///< true receive time
    Vector3 position{};
    double sigma = 0;     ///< of its residuals, for codes of 0.3 m [m]
    double dilution = 0;  ///< of position
    int satellites = 0, systems = 0;
    bool has_clock = false;  ///< of the first configured system, which gives the receive time
    bool seen = true;        ///< no satellite stands behind the Earth
};

/// Judges positions in order of time.
class PointJudge {
  public:
    /// Null where the position is worth it, else the status of its row.
    const char* fault(const PointPosition& point) const;
    /// Residuals up to this size are usual at present [m].
    double usual_sigma() const;
    void accept(const PointPosition& point);
    void refuse(const PointPosition& point);

  private:
    std::deque<PointPosition> accepted_;    ///< the last two
    std::deque<PointPosition> refused_;     ///< the last two since then that more satellites than unknowns stand behind
    std::deque<PointPosition> unverified_;  ///< the others
    std::deque<double> sigmas_;
    int refused_in_a_row_ = 0;  ///< with more satellites than unknowns
};

/// Height above the mean Earth ellipsoid [m].
double height_of(const double* position);

/// True if the way between two points goes through the Earth.
bool behind_earth(const double* receiver, const double* satellite);

/// What the filter's part of an epoch is worth.
class FilterJudge {
  public:
    /// \param interval  of the epochs [s]
    explicit FilterJudge(double interval) : pause_(kFilterGap > 3.0 * interval ? kFilterGap : 3.0 * interval) {}
    /// \param point    the point position of the epoch
    /// \param filter   position of the filter [m]
    /// \param carried  satellites whose ambiguity goes on from the epoch before
    const char* status(const PointPosition& point, const double* filter, int carried);
    /// True if the filter has to start anew before an epoch, since no phase can be followed through the pause before it.
    bool pauses_before(const GTime& tag) const;

  private:
    double pause_;
    GTime last_{};
    int settled_ = 0;
};

}  // namespace host

#endif
