/// \file first_state.h
/// A first state from positions alone, to begin an estimation with.
#ifndef LEOPOD_HOST_FIRST_STATE_H
#define LEOPOD_HOST_FIRST_STATE_H

#include "estimation/position_fit.h"

namespace host {

/// Velocity at the first position: the derivative of the polynomial through the first ones.
void first_velocity(const FitPositions& positions, double* velocity);

/// State at the first epoch from the first three positions, some minutes apart, that move as the Earth's gravity asks for. False where there
/// are none.
bool first_state(const FitPositions& positions, double* position, double* velocity);

}  // namespace host

#endif
