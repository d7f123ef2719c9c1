/// \file exclusion.h
/// What the host does about an epoch that went wrong: the runtime as it was before, and the satellite that the others contradict.
#ifndef LEOPOD_HOST_EXCLUSION_H
#define LEOPOD_HOST_EXCLUSION_H

#include <cstddef>
#include <map>
#include <utility>
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

/// Satellites that the others contradicted a short while ago: where too few stand against them the next time, they would go unnoticed.
class Suspects {
  public:
    /// The satellite contradicted the others; it stays out for the longer the more often it did.
    void add(const OBSDATA_SAT& sat, const GTime& tag);
    bool holds(const OBSDATA_SAT& sat, const GTime& tag) const;

  private:
    struct Record {
        int times = 0;
        GTime last{};
    };
    std::map<std::pair<int, int>, Record> records_;  ///< by system and number
};

}  // namespace host

#endif
