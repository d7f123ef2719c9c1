/// \file span.h
/// Part of an arc that a command is asked for: --from, --to and --interval, with one rule in all commands.
#ifndef LEOPOD_HOST_SPAN_H
#define LEOPOD_HOST_SPAN_H

#include <string>

#include "gtime.h"

namespace host {

struct SpanOptions {
    std::string from,
        to;  ///< second of the first day, or a time such as 2021-01-18T00:00:00; empty: the ends of the arc
    double interval = 0.0;  ///< [s]; 0 takes all
    bool given() const { return !from.empty() || !to.empty() || interval > 0.0; }
};

/// True within a hundredth of the interval, and 0.05 s, of its multiples, and without an interval.
bool on_grid(double seconds, double interval);

/// The half-open span from <= t < to. A receiver clock puts true receive times a little beside whole seconds: a time up to 0.05 s before a
/// whole second counts as on it, and with an interval one on its grid.
class ArcSpan {
  public:
    /// Options in the time scale of the file, whose first epoch this is. A first epoch within a second of midnight belongs to the day
    /// that begins. Throws InputError for a text that is no time.
    ArcSpan(const SpanOptions& options, const GTime& first, TIMESYS scale);

    bool has(const GTime& time) const;
    /// False where the time lies outside from and to.
    bool within(const GTime& time) const;
    /// Behind the end: no later time is in the span.
    bool over(const GTime& time) const;
    /// Where --from lies, which must be given; GPST.
    GTime begin() const;
    /// Seconds from a time on in which the span's last time lies; infinite without --to. Throws InputError where the span is over by then.
    double length_from(const GTime& start) const;
    /// Seconds since the first day began, in the scale of the file [s].
    double seconds(const GTime& time) const;

  private:
    double limit(const char* option, const std::string& text, double otherwise) const;

    GTime day_{};  ///< begin of the first day, GPST
    TIMESYS scale_;
    double from_, to_, interval_;  ///< [s] since then
};

/// True for a time of a table of GPST whose first day is this one.
bool in_span(const SpanOptions& options, const GTime& time, long day);

}  // namespace host

#endif
