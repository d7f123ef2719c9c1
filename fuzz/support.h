/// \file support.h
/// Bytes of the fuzzer as a file that a reader can open by name.
#ifndef LEOPOD_FUZZ_SUPPORT_H
#define LEOPOD_FUZZ_SUPPORT_H

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace fuzz {

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
