#include "inputs/open.h"

#include <fcntl.h>
#include <nettle/sha2.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <string_view>
#include <vector>

#include "inputs/expand.h"
#include "shared/error.h"
#include "shared/names.h"
#include "shared/printable.h"

namespace host {

namespace {

constexpr std::size_t kHead = 1U << 16U;
constexpr std::uint64_t kInMemory = 64ULL << 20U;  ///< a longer text is kept on disk

[[noreturn]] void fail(const std::string& what, int reason) { throw InputError(what + ": " + std::strerror(reason)); }

class Digest {
  public:
    Digest() { sha256_init(&context_); }
    void add(const char* data, std::size_t size) {
        sha256_update(&context_, size, reinterpret_cast<const std::uint8_t*>(data));
    }
    std::string text() {
        std::uint8_t bytes[SHA256_DIGEST_SIZE];
        sha256_digest(&context_, sizeof bytes, bytes);
        std::string text;
        for (const std::uint8_t byte : bytes) {
            char two[3];
            std::snprintf(two, sizeof two, "%02x", byte);
            text += two;
        }
        return text;
    }

  private:
    sha256_ctx context_{};
};

/// An open file; what can't be read again is digested on the way.
class FileSource : public CountedSource {
  public:
    FileSource(int descriptor, Digest* digest) : descriptor_(descriptor), digest_(digest) {}

  private:
    std::size_t fetch(char* to, std::size_t size) override {
        ssize_t n = 0;
        do {
            n = ::read(descriptor_, to, size);
        } while (n < 0 && errno == EINTR);
        if (n < 0) fail("cannot be read", errno);
        if (digest_ != nullptr) digest_->add(to, static_cast<std::size_t>(n));
        return static_cast<std::size_t>(n);
    }
    int descriptor_;
    Digest* digest_;
};

/// Reads until the buffer is full or the source ends.
std::string read_head(ByteSource& from) {
    std::string head(kHead, '\0');
    std::size_t filled = 0;
    while (filled < head.size()) {
        const std::size_t n = from.read(head.data() + filled, head.size() - filled);
        if (n == 0) break;
        filled += n;
    }
    head.resize(filled);
    return head;
}

/// A source whose first bytes have been looked at.
template <typename Base>
class HeadedSource : public Base {
  public:
    explicit HeadedSource(ByteSource& rest) : rest_(rest), head_(read_head(rest)) {}
    const std::string& head() const { return head_; }
    /// Passes over the mark of UTF-8 that some editors put in front of a text. True where there is one.
    bool pass_over_mark() {
        if (head_.compare(0, 3, "\xEF\xBB\xBF") != 0) return false;
        head_.erase(0, 3);
        return true;
    }

  protected:
    std::size_t take(char* to, std::size_t size) {
        if (at_ == head_.size()) return rest_.read(to, size);
        const std::size_t n = std::min(size, head_.size() - at_);
        std::memcpy(to, head_.data() + at_, n);
        at_ += n;
        return n;
    }

  private:
    ByteSource& rest_;
    std::string head_;
    std::size_t at_ = 0;
};
struct PackedSource : HeadedSource<CountedSource> {
    using HeadedSource::HeadedSource;
    std::size_t fetch(char* to, std::size_t size) override { return take(to, size); }
};
struct TextSource : HeadedSource<ByteSource> {
    using HeadedSource::HeadedSource;
    std::size_t read(char* to, std::size_t size) override {
        const std::size_t n = take(to, size);
        if (n > 0) last_ = to[n - 1];
        return n;
    }
    /// True where the last byte read, if any, ends a line.
    bool ends_a_line() const { return last_ == '\n'; }

  private:
    char last_ = '\n';
};

/// Device, number, size and time of change of a file.
FileStamp stamp_of(const struct stat& info) {
    return {info.st_dev, info.st_ino, static_cast<std::uint64_t>(info.st_size),
            static_cast<std::uint64_t>(info.st_mtim.tv_sec), static_cast<std::uint64_t>(info.st_mtim.tv_nsec)};
}

/// A tar archive by the mark in the head of its first file.
bool is_tar(const std::string& head) { return head.compare(std::min<std::size_t>(257, head.size()), 5, "ustar") == 0; }

/// Bytes that no text has, one in eight or more; with many beyond ASCII, one in sixteen.
bool is_binary(std::string_view text) {
    const auto odd = std::count_if(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) < ' ' && c != '\n' && c != '\r' && c != '\t' && c != '\f';
    });
    const auto beyond =
        std::count_if(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) > 126; });
    const auto share = [&text](auto count, std::size_t of) {
        return count > 0 && static_cast<std::size_t>(count) >= text.size() / of;
    };
    return share(odd, 8) || (share(odd, 16) && share(beyond, 4));
}

}  // namespace

InputFile::~InputFile() = default;

InputFile::InputFile(const std::string& name, const std::string& kind) : name_(name) {
    const int descriptor =
        name == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3) : open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) throw InputError(name + ": cannot open this " + kind + ": " + std::strerror(errno));
    try {
        take_in(descriptor, kind);
    } catch (const InputError& e) {
        ::close(descriptor);
        throw InputError(name + ": " + e.what());
    }
    ::close(descriptor);
}

void InputFile::take_in(int descriptor, const std::string& kind) {
    struct stat info {};
    if (fstat(descriptor, &info) != 0) fail("cannot be read", errno);
    if (S_ISDIR(info.st_mode)) throw InputError("is a directory, not " + with_article(kind));
    is_file_ = S_ISREG(info.st_mode) && name_ != "-";
    if (is_file_) stamp_ = stamp_of(info);
    Digest digest;
    FileSource file(descriptor, is_file_ ? nullptr : &digest);
    PackedSource packed(file);
    const Compression compression = compression_of(packed.head());
    if (compression != Compression::none) form_ = name_of(compression);
    const std::unique_ptr<ByteSource> expanded =
        compression != Compression::none ? expand(compression, packed) : nullptr;
    TextSource text(expanded != nullptr ? *expanded : packed);
    const bool is_marked = text.pass_over_mark();
    head_ = text.head();
    if (expanded != nullptr && compression_of(head_) != Compression::none)
        throw InputError("holds one compression inside another");
    if (is_tar(head_)) throw InputError("is a tar archive, not " + with_article(kind));
    if (is_file_ && expanded == nullptr && !is_marked && !is_crinex(head_)) {
        path_ = name_;
        size_ = static_cast<std::uint64_t>(info.st_size);
        return;
    }
    if (is_binary(head_)) throw InputError("is a binary file, not " + with_article(kind));
    store_ = std::make_unique<UnnamedFile>(kInMemory);
    keep(text);
    if (!text.ends_a_line() && compression == Compression::compress)
        throw InputError("the Unix compress data end within a line: they are cut, or lack the end of the last line");
    std::vector<char> block(kFileBlock);
    while (packed.read(block.data(), block.size()) > 0) continue;  // what stands behind an archive
    if (!is_file_) digest_ = digest.text();
    size_ = store_->size();
    path_ = store_->path();
    show_path_as(path_, name_);
}

/// Puts the text into the store, Compact RINEX expanded; a compression is read, and so checked, to its end.
void InputFile::keep(ByteSource& text) {
    const bool compact = is_crinex(head_);
    const ByteSink sink = [this](const char* data, std::size_t size) {
        if (is_binary({data, size})) throw InputError("holds a text that goes over into binary data");
        if (head_.size() < kHead) head_.append(data, std::min(size, kHead - head_.size()));
        if (store_->size() + size > kMaxExpanded)
            throw InputError("has more than " + std::to_string(kMaxExpanded >> 30U) + " GiB");
        store_->add(data, size);
    };
    head_.clear();
    if (compact) {
        form_ = form_.empty() ? "Compact RINEX" : "Compact RINEX, " + form_;
        report(expand_crinex(text, sink));
    }
    std::vector<char> block(kFileBlock);
    for (std::size_t n = 0; (n = text.read(block.data(), block.size())) > 0;) {
        if (!compact) sink(block.data(), n);
    }
}

/// Says what of a Compact RINEX file is left out.
void InputFile::report(const CrinexReport& met) const {
    const std::string start = "leopod: " + printable(name_) + ": ";
    if (met.faults > 0)
        std::fprintf(stderr,
                     "%sline %ld of this Compact RINEX file: %s; epochs are left out up to the next that starts anew "
                     "(%ld %s)\n",
                     start.c_str(), met.line, met.reason.c_str(), met.faults, met.faults == 1 ? "place" : "places");
    if (met.is_cut)
        std::fprintf(stderr, "%sthis Compact RINEX file ends within an epoch, which is left out\n", start.c_str());
}

const std::string& InputFile::digest() const {
    if (!digest_.empty()) return digest_;
    std::ifstream in(name_, std::ios::binary);
    Digest digest;
    std::vector<char> block(kFileBlock);
    while (in.read(block.data(), static_cast<std::streamsize>(block.size())) || in.gcount() > 0)
        digest.add(block.data(), static_cast<std::size_t>(in.gcount()));
    return digest_ = digest.text();
}

/// False for a file that has changed.
bool InputFile::is_current() const {
    struct stat info {};
    return !is_file_ || (stat(name_.c_str(), &info) == 0 && stamp_ == stamp_of(info));
}

const InputFile& InputFile::of(const std::string& name, const std::string& kind) {
    static std::map<std::string, std::unique_ptr<InputFile>> opened;
    std::unique_ptr<InputFile>& file = opened[name];
    if (file == nullptr || !file->is_current()) {
        file.reset();
        file.reset(new InputFile(name, kind));
    }
    return *file;
}

std::ifstream open_input(const std::string& name, const std::string& kind, std::vector<char>* buffer) {
    const InputFile& file = InputFile::of(name, kind);
    std::ifstream in;
    if (buffer != nullptr) in.rdbuf()->pubsetbuf(buffer->data(), static_cast<std::streamsize>(buffer->size()));
    in.open(file.path(), std::ios::binary);
    if (!in) throw InputError(name + ": cannot open this " + kind + ": " + std::strerror(errno));
    return in;
}

char* loadable(const std::string& name) { return const_cast<char*>(InputFile::of(name).path().c_str()); }

}  // namespace host
