/// \file failure.h
/// An estimation that came to no good end.
#ifndef LEOPOD_HOST_FAILURE_H
#define LEOPOD_HOST_FAILURE_H

#include <stdexcept>

namespace host {

/// The observations gave no orbit; the command ends with status 1 and this reason.
struct EstimationFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace host

#endif
