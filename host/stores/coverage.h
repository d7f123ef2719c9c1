/// \file coverage.h
/// The inputs of a run held against its arc.
#ifndef LEOPOD_HOST_COVERAGE_H
#define LEOPOD_HOST_COVERAGE_H

#include <string>
#include <vector>

#include "stores/environment.h"

namespace host {

/// A span of time and what part of an arc it covers, in words: "2010-07-27T00:00:00 to 2010-07-27T23:45:00, all of the arc".
std::string coverage_text(const FileSpan& span, const GTime& first, const GTime& last);

/// Earth orientation and planets of files against an arc. Throws InputError where they cover nothing of it.
/// \return notes: those that cover a part
std::vector<std::string> hold_models_against_arc(const Environment& environment, const GTime& first, const GTime& last);

/// Completes the reports of the files with their spans and what they cover of the arc. Throws InputError where no file of a kind serves any
/// of it, and where one holds nothing.
/// \return notes: files and kinds that cover nothing, or less than the arc
std::vector<std::string> hold_against_arc(Environment& environment, const GTime& first, const GTime& last);

/// Whether the loaded quaternions serve a time: records on both sides, no further apart than a gap that the interpolation bears.
class AttitudeGuard {
  public:
    explicit AttitudeGuard(int object);
    bool loaded() const { return slot_ >= 0; }
    bool serves(const GTime& time) const;

  private:
    int slot_ = -1;
    double gap_ = 0;  ///< longest [s]
};

}  // namespace host

#endif
