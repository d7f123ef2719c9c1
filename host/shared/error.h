/// \file error.h
/// The one way in which a host command gives up: a message and an exit status.
#ifndef LEOPOD_HOST_ERROR_H
#define LEOPOD_HOST_ERROR_H

#include <stdexcept>
#include <string>

namespace host {

/// A file or option that cannot be used; the command ends with status 2 and this message.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace host

#endif
