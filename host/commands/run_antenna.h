/// \file run_antenna.h
/// Positions of `leopod run` moved from the antenna to the centre of mass.
#ifndef LEOPOD_HOST_RUN_ANTENNA_H
#define LEOPOD_HOST_RUN_ANTENNA_H

#include <vector>

#include "commands/run_epoch.h"
#include "estimation/antenna_offset.h"

namespace host {

/// Epochs go in one by one and come out in the same order; the first of an arc waits for the next, which tells where it flies.
class CentreOfMass {
  public:
    explicit CentreOfMass(const AntennaOffset& antenna) : antenna_(antenna) {}

    std::vector<RunEpoch> take(RunEpoch epoch);
    /// Those that still wait at the end.
    std::vector<RunEpoch> rest();

  private:
    struct Place {
        GTime time;
        Eigen::Vector3d position;
    };
    bool move(RunEpoch& epoch, const Place& neighbour) const;

    const AntennaOffset& antenna_;
    std::vector<RunEpoch> waiting_;  ///< a solved epoch without a direction, and unsolved ones behind it
    Place last_{};
    bool has_last_ = false;
};

}  // namespace host

#endif
