/// \file gnss_simulator.cpp
/// Reserved entry points.
#include "gnss_simulator.h"

void simulate(void) {}
void read_waypoints(void) {}
void write_waypoints(void) {}
