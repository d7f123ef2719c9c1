/// \file report.h
/// `leopod report`: a run, or a run and its fit, as one page to look at.
#ifndef LEOPOD_HOST_REPORT_H
#define LEOPOD_HOST_REPORT_H

#include <string>
#include <vector>

#include "shared/span.h"

namespace host {

struct ReportOptions {
    std::string epochs, fit, orbit, truth, log, out, title;
    std::vector<std::string> satellites, residuals, summaries, commands;
    SpanOptions span;
    std::string charts = "/usr/share/javascript/dygraphs";  ///< directory of the charts' library
};

int report(const ReportOptions& options);

}  // namespace host

#endif
