/// \file spans.h
/// From when to when a file reaches, and in what steps.
#ifndef LEOPOD_HOST_SPANS_H
#define LEOPOD_HOST_SPANS_H

#include <map>
#include <string>

#include "gtime.h"

namespace host {

/// Times of a file, in GPS time.
struct FileSpan {
    GTime first{}, last{};
    double interval = 0;  ///< most frequent step [s]; 0 where there is none
    bool clocks = false;  ///< holds satellite clocks
    bool cut = false;     ///< goes on behind the line that ends it, which nobody reads
    bool known() const { return first.sys != UKNTS; }
    void include(const GTime& time);
};

/// The step between times that comes most often.
class UsualStep {
  public:
    void add(double seconds);
    /// [s]; 0 without a step.
    double seconds() const;

  private:
    std::map<long, long> counts_;  ///< by the step [ms]
};

/// Throws InputError for a time system that isn't that of GPS: the library takes all times as GPS time.
FileSpan sp3_span(const std::string& name);
FileSpan clock_span(const std::string& name);
FileSpan attitude_span(const std::string& name, bool mission);

}  // namespace host

#endif
