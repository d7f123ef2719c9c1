/// \file fit_report.h
/// What `leopod fit` prints and writes.
#ifndef LEOPOD_HOST_FIT_REPORT_H
#define LEOPOD_HOST_FIT_REPORT_H

#include "commands/fit.h"
#include "estimation/position_fit.h"
#include "inputs/truth.h"
#include "outputs/summary.h"

namespace host {

/// What goes into the fit, printed before the work.
void print_fit_input(const FitOptions& options, const PositionFile& file, const FitPositions& positions,
                     const AntennaOffset& antenna, const Dynamics& dynamics);
/// Iterations, outcome and residuals. `doubt` is empty where the fit converged.
void print_fit_result(const FitResult& result, const std::string& doubt);
/// Errors against the reference of the options.
void print_fit_errors(const FitOptions& options, const Truth& truth, const FitResult& result, const PositionFile& file,
                      Summary& summary);
/// What the summary as JSON holds of them.
void summarise_fit(const PositionFile& file, const AntennaOffset& antenna, const Dynamics& dynamics,
                   const FitResult& result, const std::string& doubt, Summary& summary);
/// The files of the options. False where a picture failed.
bool write_fit(const FitOptions& options, const FitResult& result, const PositionFile& file,
               const AntennaOffset& antenna, Dynamics& dynamics);

}  // namespace host

#endif
