#include "inputs/expand.h"

#include <archive.h>
#include <archive_entry.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <vector>

#include "shared/error.h"
#include "shared/unnamed_file.h"

namespace host {

namespace {

/// Keeps an expansion within the limits.
class Limited : public ByteSource {
  public:
    explicit Limited(CountedSource& from) : from_(from) {}
    std::size_t read(char* to, std::size_t size) final {
        const std::size_t n = inflate_some(to, size);
        expanded_ += n;
        if (expanded_ > kMaxExpanded)
            throw InputError("expands to more than " + std::to_string(kMaxExpanded >> 30U) + " GiB");
        if (expanded_ > kFreeExpanded && expanded_ / kMaxRatio > from_.count())
            throw InputError("expands to more than " + std::to_string(kMaxRatio) +
                             " times its size: this holds no data");
        return n;
    }

  protected:
    virtual std::size_t inflate_some(char* to, std::size_t size) = 0;
    CountedSource& from_;

  private:
    std::uint64_t expanded_ = 0;
};

/// gzip by zlib, which checks sums and lengths. Members behind one another are one text, zeros behind the last one are padding.
class GzipSource : public Limited {
  public:
    explicit GzipSource(CountedSource& from) : Limited(from), block_(kFileBlock) {
        if (inflateInit2(&stream_, 15 + 16) != Z_OK) throw InputError("not enough memory for gzip");
    }
    ~GzipSource() override { inflateEnd(&stream_); }
    GzipSource(const GzipSource&) = delete;
    GzipSource& operator=(const GzipSource&) = delete;

  private:
    std::size_t inflate_some(char* to, std::size_t size) override {
        stream_.next_out = reinterpret_cast<Bytef*>(to);
        stream_.avail_out = static_cast<uInt>(std::min<std::size_t>(size, 1U << 30U));
        const uInt room = stream_.avail_out;
        while (stream_.avail_out > 0 && !ended_) {
            if (stream_.avail_in == 0 && !refill()) throw InputError("the gzip data are cut");
            const int status = inflate(&stream_, Z_NO_FLUSH);
            if (status == Z_STREAM_END) {
                ended_ = !next_member();
            } else if (status != Z_OK && status != Z_BUF_ERROR) {
                throw InputError(std::string("the gzip data are damaged: ") +
                                 (stream_.msg != nullptr ? stream_.msg : "no such code"));
            }
        }
        return room - stream_.avail_out;
    }
    bool refill() {
        stream_.next_in = reinterpret_cast<Bytef*>(block_.data());
        stream_.avail_in = static_cast<uInt>(from_.read(block_.data(), block_.size()));
        return stream_.avail_in > 0;
    }
    bool next_member() {
        for (;;) {
            if (stream_.avail_in == 0 && !refill()) return false;
            if (*stream_.next_in != 0) break;
            ++stream_.next_in;
            --stream_.avail_in;
        }
        inflateReset(&stream_);
        return true;
    }

    z_stream stream_{};
    std::vector<char> block_;
    bool ended_ = false;
};

/// The other compressions by libarchive.
class ArchiveSource : public Limited {
  public:
    ArchiveSource(Compression compression, CountedSource& from)
        : Limited(from), compression_(compression), block_(kFileBlock), archive_(archive_read_new()) {
        if (archive_ == nullptr) throw InputError("not enough memory for an archive");
        support();
        if (archive_read_open(archive_.get(), this, nullptr, &ArchiveSource::give, nullptr) != ARCHIVE_OK) fail();
        archive_entry* entry = nullptr;
        if (!next_file(entry)) {
            if (compression_ == Compression::zip) throw InputError("this zip archive holds no file");
            ended_ = true;
        }
        // The last of the filters is the file itself.
        if (archive_filter_count(archive_.get()) > 2) throw InputError("holds one compression inside another");
    }

  private:
    struct Freed {
        void operator()(archive* a) const { archive_read_free(a); }
    };
    void support() {
        switch (compression_) {
            case Compression::compress:
                archive_read_support_filter_compress(archive_.get());
                break;
            case Compression::bzip2:
                archive_read_support_filter_bzip2(archive_.get());
                break;
            case Compression::xz:
                archive_read_support_filter_xz(archive_.get());
                break;
            case Compression::zstd:
                archive_read_support_filter_zstd(archive_.get());
                break;
            default:
                archive_read_support_format_zip_streamable(archive_.get());
                return;
        }
        archive_read_support_format_raw(archive_.get());
    }
    std::size_t inflate_some(char* to, std::size_t size) override {
        if (ended_) return 0;
        const la_ssize_t n = archive_read_data(archive_.get(), to, size);
        if (n < 0) fail();
        if (n == 0) {
            ended_ = true;
            archive_entry* entry = nullptr;
            if (compression_ == Compression::zip && next_file(entry))
                throw InputError("this zip archive holds several files: one is expected");
        }
        return static_cast<std::size_t>(n);
    }
    /// Goes to the next file of an archive, over its folders.
    bool next_file(archive_entry*& entry) {
        for (;;) {
            const int status = archive_read_next_header(archive_.get(), &entry);
            if (status == ARCHIVE_EOF) return false;
            if (status != ARCHIVE_OK && status != ARCHIVE_WARN) fail();
            if (archive_entry_filetype(entry) != AE_IFDIR) return true;
        }
    }
    [[noreturn]] void fail() const {
        const char* reason = archive_error_string(archive_.get());
        throw InputError(std::string("the ") + name_of(compression_) +
                         " data are damaged or cut: " + (reason != nullptr ? reason : "no reason is given"));
    }
    static la_ssize_t give(archive* a, void* self, const void** data) {
        ArchiveSource& source = *static_cast<ArchiveSource*>(self);
        try {
            *data = source.block_.data();
            return static_cast<la_ssize_t>(source.from_.read(source.block_.data(), source.block_.size()));
        } catch (const InputError& e) {
            archive_set_error(a, EIO, "%s", e.what());
            return -1;
        }
    }

    Compression compression_;
    std::vector<char> block_;
    std::unique_ptr<archive, Freed> archive_;  ///< freed also where the head of the archive ends the constructor
    bool ended_ = false;
};

}  // namespace

Compression compression_of(std::string_view head) {
    const auto begins = [head](std::string_view magic) { return head.substr(0, magic.size()) == magic; };
    if (begins("\x1f\x8b")) return Compression::gzip;
    if (begins("\x1f\x9d")) return Compression::compress;
    if (begins("BZh") && head.size() > 3 && head[3] >= '1' && head[3] <= '9') return Compression::bzip2;
    if (begins(std::string_view("\xfd"
                                "7zXZ\0",
                                6)))
        return Compression::xz;
    if (begins("\x28\xb5\x2f\xfd")) return Compression::zstd;
    if (begins("PK\x03\x04") || begins("PK\x05\x06")) return Compression::zip;
    return Compression::none;
}

const char* name_of(Compression compression) {
    static const char* const kNames[] = {"plain", "gzip", "Unix compress", "bzip2", "xz", "zstd", "zip"};
    return kNames[static_cast<int>(compression)];
}

std::size_t CountedSource::read(char* to, std::size_t size) {
    const std::size_t n = fetch(to, size);
    count_ += n;
    return n;
}

std::unique_ptr<ByteSource> expand(Compression compression, CountedSource& from) {
    if (compression == Compression::gzip) return std::make_unique<GzipSource>(from);
    return std::make_unique<ArchiveSource>(compression, from);
}

}  // namespace host
