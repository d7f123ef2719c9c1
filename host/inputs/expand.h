/// \file expand.h
/// What compressions hold: gzip, Unix compress, bzip2, xz, zstd, and zip with one file, told by content.
#ifndef LEOPOD_HOST_EXPAND_H
#define LEOPOD_HOST_EXPAND_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "inputs/crinex.h"

namespace host {

enum class Compression { none, gzip, compress, bzip2, xz, zstd, zip };

/// The compression of a file by its first bytes.
Compression compression_of(std::string_view head);
const char* name_of(Compression compression);

/// An expansion stops beyond kMaxExpanded bytes, and beyond kMaxRatio times the bytes read where it has more than kFreeExpanded: text of
/// this field shrinks to a tenth, what is made to fill a disk to a thousandth.
constexpr std::uint64_t kMaxExpanded = 8ULL << 30U;
constexpr std::uint64_t kMaxRatio = 250;
constexpr std::uint64_t kFreeExpanded = 64ULL << 20U;

/// Bytes that count themselves.
class CountedSource : public ByteSource {
  public:
    std::size_t read(char* to, std::size_t size) final;
    std::uint64_t count() const { return count_; }

  protected:
    virtual std::size_t fetch(char* to, std::size_t size) = 0;

  private:
    std::uint64_t count_ = 0;
};

/// What a compression holds, within the limits above. Damage, a cut stream and several files in one archive throw InputError, without the
/// file's name.
std::unique_ptr<ByteSource> expand(Compression compression, CountedSource& from);

}  // namespace host

#endif
