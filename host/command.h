/// \file command.h
/// The subcommands of the program: each registers its options and, when it was chosen, what is to be done.
#ifndef LEOPOD_HOST_COMMAND_H
#define LEOPOD_HOST_COMMAND_H

#include <functional>

namespace CLI {
class App;
}

namespace host {

/// Does the work of a parsed subcommand and returns the exit status; may throw InputError.
using Action = std::function<int()>;

void add_run(CLI::App& app, Action& action);
void add_fit(CLI::App& app, Action& action);
void add_propagate(CLI::App& app, Action& action);
void add_tide(CLI::App& app, Action& action);
void add_crd(CLI::App& app, Action& action);
void add_plot(CLI::App& app, Action& action);
void add_simulate(CLI::App& app, Action& action);

}  // namespace host

#endif
