/// \file support.h
/// Bytes of the fuzzer as a file that a reader can open by name, and documented process ends as outcomes.
#ifndef LEOPOD_FUZZ_SUPPORT_H
#define LEOPOD_FUZZ_SUPPORT_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace fuzz {

/// Runs a reader. False where it ended the process as documented; any other status than 1 is a fault.
template <typename Reader>
bool survives(Reader reader) {
    try {
        reader();
        return true;
    } catch (const ProcessEnd& end) {
        if (end.status != 1) std::abort();
        return false;
    }
}

/// One file in memory, used again for each input; its name stays the same.
class InputFile {
  public:
    InputFile() : file_(memfd_create("fuzz", 0)) {
        if (file_ < 0) std::abort();
        std::snprintf(name_, sizeof name_, "/proc/self/fd/%d", file_);
    }
    ~InputFile() { close(file_); }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    char* hold(const std::string& text) {
        return hold(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    }

    /// Makes these bytes the content and returns the file's name.
    char* hold(const std::uint8_t* data, std::size_t size) {
        if (ftruncate(file_, 0) != 0 || pwrite(file_, data, size, 0) != static_cast<ssize_t>(size)) std::abort();
        return name_;
    }

  private:
    int file_;
    char name_[64];
};

}  // namespace fuzz

#endif
