/// \file reduced_dynamic.h
/// A reduced-dynamic orbit from the code and phase of a whole arc: first orbit, codes alone, screening of the phases, code and phase with
/// editing.
#ifndef LEOPOD_HOST_REDUCED_DYNAMIC_H
#define LEOPOD_HOST_REDUCED_DYNAMIC_H

#include <functional>

#include "estimation/batch.h"
#include "estimation/screening.h"
#include "estimation/signal_model.h"

namespace host {

struct NoiseOptions {
    double code = 0.3, phase = 0.003;                ///< of one observation on one band [m]
    double clock = 0;                                ///< of a satellite clock half-way between two tabulated ones [m]
    double broadcast_code = 0, broadcast_phase = 0;  ///< of broadcast ephemerides [m]
    double elevation_mask = 0;                       ///< [rad]
    bool by_elevation = false;                       ///< noise grows towards the horizon
};

struct EstimationOptions {
    SignalModelOptions signal;
    NoiseOptions noise;
    ScreeningOptions screening;
    bool adapt = true;         ///< a-priori sigmas of the accelerations in pieces grow to what the observations ask for
    double antenna_sigma = 0;  ///< a-priori standard deviation of the radial offset of the antenna [m]; 0: it is held
};

/// One solution on the way.
struct IterationReport {
    std::string what;
    double code_rms, phase_rms;  ///< of the used observations [m]
    long code_count, phase_count;
    double shift;  ///< largest change of a position [m]
};

struct EstimationReport {
    std::vector<IterationReport> iterations;
    ScreeningReport screening;
    BatchSolution solution;  ///< the last one
    bool converged = false;
    double loosened = 1;  ///< times that the a-priori sigmas of the accelerations in pieces became larger
    double strain =
        0;  ///< accelerations in pieces in the a-priori sigmas that were asked for, root mean square of the largest term
    double variance_factor =
        1;  ///< that the covariance was multiplied by: unit weight, and errors that neighbours in time share
    double antenna = 0;      ///< radial offset of the antenna, estimated on top of the given one [m]
    std::size_t points = 0;  ///< positions that the first orbit goes through
};

/// Estimates the motion. `note` is told what is going on. Throws EstimationFailure where the observations give no orbit.
EstimationReport estimate_orbit(Motion& motion, ObservedArc& arc, const EstimationOptions& options,
                                const std::function<void(const std::string&)>& note);

}  // namespace host

#endif
