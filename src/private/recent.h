/// \file recent.h
/// Values of a function of a date that were formed last.
#ifndef LEOPOD_PRIVATE_RECENT_H
#define LEOPOD_PRIVATE_RECENT_H

#include <cstddef>
#include <limits>

namespace leopod {

/// The last values of a pure function of a two-part date. The stages of an integration step, conversions there and back, and the
/// evaluations of an epoch ask for the same instants again: for the same date they get the same bits. A zero of either sign is the same date.
template <typename Value>
class Recent {
  public:
    constexpr Recent() {
        for (Date& date : dates_) date = {kNone, kNone};
    }

    /// The value at a date; form(value) where it isn't there.
    template <typename Form>
    const Value& of(double date1, double date2, const Form& form) {
        for (std::size_t i = 0; i < kKept; ++i) {
            if (dates_[i].part1 == date1 && dates_[i].part2 == date2) return values_[i];
        }
        next_ = (next_ + 1) % kKept;
        form(values_[next_]);
        dates_[next_] = {date1, date2};
        return values_[next_];
    }

  private:
    struct Date {
        double part1, part2;
    };
    static constexpr std::size_t kKept = 16;  // instants of a step of thirteen stages
    static constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

    Date dates_[kKept] = {};
    Value values_[kKept] = {};
    std::size_t next_ = 0;
};

}  // namespace leopod

#endif
