/// \file run_json.h
/// The summary of `leopod run` as JSON.
#ifndef LEOPOD_HOST_RUN_JSON_H
#define LEOPOD_HOST_RUN_JSON_H

#include "commands/run_summary.h"
#include "outputs/summary.h"

namespace host {

/// What print_summary prints.
void summarise(const RunOptions& options, const Environment& environment, const Totals& totals, const Guard& guard,
               const Console& console, Summary& summary);

}  // namespace host

#endif
