/// \file states.h
/// The states of an orbit in order of time, of any length.
#ifndef LEOPOD_HOST_STATES_H
#define LEOPOD_HOST_STATES_H

#include <functional>
#include <memory>
#include <vector>

#include "shared/timed_position.h"
#include "shared/unnamed_file.h"

namespace host {

/// Kept in a file without a name: a long arc needs no memory. Texts of the states are not kept. Throws InputError where that file can't be.
class States {
  public:
    States();
    void add(const TimedPosition& state);
    std::size_t size() const { return count_; }
    bool empty() const { return count_ == 0; }
    TimedPosition at(std::size_t index) const;
    /// Calls for each state from `begin` to the one before `end`.
    void each(std::size_t begin, std::size_t end, const std::function<void(const TimedPosition&)>& call) const;
    void each(const std::function<void(const TimedPosition&)>& call) const { each(0, count_, call); }

  private:
    struct Record;
    std::unique_ptr<UnnamedFile> file_;
    std::size_t count_ = 0;
};

/// Positions found epoch by epoch, added in order of time, get velocities: those of a polynomial through their neighbours. A gap, longer than
/// one and a half intervals, is not bridged; where fewer than five neighbours remain there is no velocity. With `round` the same
/// polynomial moves each position to the nearest whole second (or multiple of a shorter interval); those without neighbours are left out.
class KinematicStates {
  public:
    KinematicStates(double interval, bool round);
    void add(const TimedPosition& point);
    /// Behind the last position.
    void end();
    std::size_t positions() const { return positions_; }  ///< that were added
    States& states() { return states_; }

  private:
    void put(std::size_t index);

    double interval_;
    bool round_;
    std::size_t positions_ = 0, window_, next_ = 0;  ///< next_: of the points, the first without a state
    std::vector<TimedPosition> points_;              ///< the last ones behind a gap, as many as the window has
    States states_;
};

}  // namespace host

#endif
