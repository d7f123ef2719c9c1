/// \file version.h
/// What was built, from what, and how.
#ifndef LEOPOD_HOST_VERSION_H
#define LEOPOD_HOST_VERSION_H

#include <string>

namespace host {

struct Version {
    std::string number, commit, compiler, options;
    /// Several lines for --version; the first one is "leopod 1.0.0".
    std::string text() const;
};
Version version();

}  // namespace host

#endif
