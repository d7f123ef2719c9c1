/// \file summaries.h
/// What the summaries (printed and JSON) of several commands have in common.
#ifndef LEOPOD_HOST_SUMMARIES_H
#define LEOPOD_HOST_SUMMARIES_H

#include <string>
#include <vector>

#include "commands/command.h"
#include "estimation/laser_ranges.h"
#include "inputs/truth.h"
#include "outputs/summary.h"
#include "shared/messages.h"
#include "stores/dynamics.h"
#include "stores/environment.h"

namespace host {

void add_summary(Command command, std::string& file);

/// A summary with the settings of the command line and the files of the plan.
Summary begin_summary(const std::string& command, const std::string& file, const FilePlan& plan);

/// Prints a line for each file: kind, name, what it brought.
void print_files(const Environment& environment);
/// Files with what they brought, earth orientation, planets, and TAI-UTC at an epoch.
void summarise_environment(const Environment& environment, const GTime& epoch, Summary& summary);
/// Forces and integration.
void summarise_dynamics(const Dynamics& dynamics, Summary& summary);
/// Messages of the library, by what they mean.
void summarise_messages(const MessageCounts& messages, const std::vector<Routine>& routine, Summary& summary);
/// Statistics of errors under a path.
void summarise_errors(const std::string& path, const ErrorStatistics& statistics, bool at_rest, Summary& summary);

/// Laser residuals.
void summarise_laser(const LaserResult& result, Summary& summary);

}  // namespace host

#endif
