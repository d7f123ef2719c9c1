/// \file fuzz_crinex.cpp
/// Any bytes as a Compact RINEX file, given in pieces: what comes out is text, and no longer than such a file can make it.
#include <algorithm>
#include <cstring>

#include "inputs/crinex.h"
#include "shared/error.h"
#include "support.h"

namespace {

class Bytes : public host::ByteSource {
  public:
    Bytes(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    std::size_t read(char* to, std::size_t size) override {
        const std::size_t n = std::min({size, size_, std::size_t{977}});
        std::memcpy(to, data_, n);
        data_ += n;
        size_ -= n;
        return n;
    }

  private:
    const std::uint8_t* data_;
    std::size_t size_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    std::size_t total = 0;
    try {
        const host::CrinexReport report =
            host::expand_crinex(bytes, [&total](const char*, std::size_t n) { total += n; });
        if (report.epochs < 0 || total > 4096 * (size + 1)) std::abort();
    } catch (const host::InputError&) {
    }
    return 0;
}
