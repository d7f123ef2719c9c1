/// \file slips.h
/// Cycle slips that the library marks in an epoch.
#ifndef LEOPOD_HOST_SLIPS_H
#define LEOPOD_HOST_SLIPS_H

#include <array>
#include <vector>

#include "pod_embed.h"

namespace host {

/// One mark; a satellite may have both kinds in an epoch.
struct SlipMark {
    int satsys;
    int prn;
    bool melbourne_wuebbena;  ///< else geometry-free
};

/// The runtime keeps one flag for both kinds of a slip: which it was follows from its combinations before and behind an epoch.
class SlipWatch {
  public:
    explicit SlipWatch(const RUNTIME_POD_EMBED& runtime);
    /// Marks of the epoch that the runtime has taken since, in the order of its satellites.
    std::vector<SlipMark> marks(const RUNTIME_POD_EMBED& runtime) const;

  private:
    struct Combinations {
        double wide_lane, geometry_free;
    };
    std::array<Combinations, MAXSAT_GNSS> before_;
};

}  // namespace host

#endif
