#include "commands/options.h"

namespace host {

void plan_dynamics(const DynamicsOptions& o, FilePlan& plan) {
    plan.in("--dynamics", o.dynamics).in("--gravity", o.gravity).in("--eop", o.eop).in("--jpl", o.jpl);
}

void add_dynamics(Command command, DynamicsOptions& o) {
    command.add_option("--dynamics", o.dynamics, "configuration file of the force models").required();
    command.add_option("--gravity", o.gravity,
                       "gravity coefficient file (degree, order, C, S); without it the built-in field of degree 30");
    command.add_option("--eop", o.eop, "earth orientation file");
    command.add_option("--eop-format", o.eop_format, "its format: c04, rapid or keyword").capture_default_str();
    command.add_option("--jpl", o.jpl, "JPL ephemeris, ASCII header and records in one file");
    command.add_option("--log-level", o.log_level, "library messages from this level on").capture_default_str();
}

}  // namespace host
