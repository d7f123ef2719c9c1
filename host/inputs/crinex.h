/// \file crinex.h
/// Compact RINEX, versions 1.0 and 3.0, expanded to the RINEX observation file that it was made from.
#ifndef LEOPOD_HOST_CRINEX_H
#define LEOPOD_HOST_CRINEX_H

#include <functional>
#include <string>
#include <string_view>

namespace host {

/// Bytes one after the other, such as those of a file or of what a compression holds.
class ByteSource {
  public:
    virtual ~ByteSource() = default;
    /// Reads up to `size` bytes; 0 at the end. Throws InputError where they can't be had.
    virtual std::size_t read(char* to, std::size_t size) = 0;
};

/// Takes bytes; may throw.
using ByteSink = std::function<void(const char* data, std::size_t size)>;

/// What an expansion met.
struct CrinexReport {
    long epochs = 0;
    long faults = 0;      ///< places from which on epochs are left out, up to the next that starts anew
    long line = 0;        ///< of the first fault
    std::string reason;   ///< of the first fault
    bool is_cut = false;  ///< the file ends within an epoch
};

/// True for the beginning of a Compact RINEX file.
bool is_crinex(std::string_view head);

/// Expands. An epoch that can't be read, or that the end of the file cuts, is left out. Throws InputError, without the file's name, for a
/// header that can't be read.
CrinexReport expand_crinex(ByteSource& from, const ByteSink& to);

}  // namespace host

#endif
