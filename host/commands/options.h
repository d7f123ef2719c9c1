/// \file options.h
/// Options that several commands share, each registered in one place.
#ifndef LEOPOD_HOST_OPTIONS_H
#define LEOPOD_HOST_OPTIONS_H

#include "commands/command.h"
#include "shared/files.h"
#include "stores/dynamics.h"

namespace host {

/// The files among them.
void plan_dynamics(const DynamicsOptions& options, FilePlan& plan);
/// Force models, gravity, earth orientation, planets, level of messages.
void add_dynamics(Command command, DynamicsOptions& options);

}  // namespace host

#endif
