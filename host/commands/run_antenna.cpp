#include "commands/run_antenna.h"

#include <cmath>
#include <utility>

namespace host {

namespace {

/// Not solved after all.
void refuse(RunEpoch& epoch, const char* status) {
    epoch.solved = false;
    epoch.status = status;
    epoch.filter_status = "";
}

}  // namespace

/// True where the neighbour is near enough to tell a direction; an epoch that no attitude serves is refused.
bool CentreOfMass::move(RunEpoch& epoch, const Place& neighbour) const {
    const double step = gtimeSubSec(neighbour.time, epoch.received);
    if (antenna_.needs_direction() && !(step != 0.0 && std::fabs(step) <= kLongestDirection)) return false;
    if (!move_to_centre_of_mass(antenna_, epoch.received, neighbour.position, step, epoch.filter) ||
        !move_to_centre_of_mass(antenna_, epoch.received, neighbour.position, step, epoch.point))
        refuse(epoch, "NO_ATTITUDE");
    return true;
}

std::vector<RunEpoch> CentreOfMass::take(RunEpoch epoch) {
    if (antenna_.is_zero()) return {std::move(epoch)};
    if (!epoch.solved) {
        waiting_.push_back(std::move(epoch));
        return waiting_.front().solved ? std::vector<RunEpoch>{} : std::exchange(waiting_, {});
    }
    const Place here{epoch.received, Eigen::Map<const Eigen::Vector3d>(epoch.filter)};
    const bool moved = move(epoch, has_last_ ? last_ : here);
    last_ = here;
    has_last_ = true;
    std::vector<RunEpoch> ready = std::exchange(waiting_, {});
    if (!ready.empty() && !move(ready.front(), here)) refuse(ready.front(), "NO_DIRECTION");
    if (moved) {
        ready.push_back(std::move(epoch));
    } else {
        waiting_.push_back(std::move(epoch));
    }
    return ready;
}

std::vector<RunEpoch> CentreOfMass::rest() {
    if (!waiting_.empty() && waiting_.front().solved) refuse(waiting_.front(), "NO_DIRECTION");
    return std::exchange(waiting_, {});
}

}  // namespace host
