/// \file exclusion.h
/// What the host does about an epoch that went wrong: the runtime as it was before, and the satellite that the others contradict.
#ifndef LEOPOD_HOST_EXCLUSION_H
#define LEOPOD_HOST_EXCLUSION_H

#include <cstddef>
#include <vector>

#include "pod_embed.h"

namespace host {

/// The runtime's state between two epochs: filter, tracking, stored orbits and clocks. The buffer of epochs isn't part of it.
class FilterState {
  public:
    void save(const RUNTIME_POD_EMBED& runtime);
    void restore(RUNTIME_POD_EMBED& runtime) const;

  private:
    std::vector<unsigned char> bytes_;
};

/// Position in an epoch of the one satellite without which the point position has usual residuals; -1 where none or several would do, or
/// where fewer than five and one a further system would be left.
/// \param epoch        as it is handed to the library
/// \param antenna      of the receiver
/// \param usual_sigma  largest residual that is usual [m]
int find_misfit(const OBSDATA_EPOCH& epoch, const ANT_INFO& antenna, double usual_sigma);

}  // namespace host

#endif
