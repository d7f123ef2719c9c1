/// \file clock_choice.h
/// Which epochs of clock files go to the library, whose rows hold 8640 of a satellite: those around the arc, thinned where they are still
/// too many.
#ifndef LEOPOD_HOST_CLOCK_CHOICE_H
#define LEOPOD_HOST_CLOCK_CHOICE_H

#include <string>
#include <vector>

#include "stores/environment.h"

namespace host {

class ClockChoice {
  public:
    /// \param loaded  records of a satellite that are in the rows already
    ClockChoice(const std::vector<std::string>& names, const ArcOfEpochs& arc, int loaded);

    /// False where everything has its place.
    bool is_needed() const { return is_needed_; }
    /// What of a file is taken.
    /// \param left_out  [out] records that are not
    std::string text(const std::string& name, long& left_out) const;

  private:
    bool is_near(const GTime& time) const;
    bool takes(const GTime& time) const;

    ArcOfEpochs arc_;
    long room_, every_ = 1;  ///< records that a row still takes; of so many epochs one is taken
    double interval_ = 0;    ///< of the files [s]
    bool is_needed_ = false;
};

}  // namespace host

#endif
