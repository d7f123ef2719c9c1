#include "shared/unnamed_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

#include "shared/error.h"

namespace host {

namespace {

[[noreturn]] void fail(bool on_disk, int reason) {
    throw InputError(
        std::string(on_disk ? "cannot be kept among the temporary files: " : "cannot be kept in memory: ") +
        std::strerror(reason));
}

}  // namespace

UnnamedFile::UnnamedFile(std::uint64_t in_memory)
    : descriptor_(memfd_create("leopod", MFD_CLOEXEC)), in_memory_(in_memory) {
    if (descriptor_ < 0) fail(false, errno);
}

UnnamedFile::~UnnamedFile() { ::close(descriptor_); }

void UnnamedFile::add(const char* data, std::size_t size) {
    if (!on_disk_ && size_ + size > in_memory_) move_to_disk();
    size_ += size;
    write(data, size);
}

std::size_t UnnamedFile::read(std::uint64_t place, char* to, std::size_t size) const {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = pread(descriptor_, to + done, size - done, static_cast<off_t>(place + done));
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) fail(on_disk_, errno);
        if (n == 0) break;
        done += static_cast<std::size_t>(n);
    }
    return done;
}

std::string UnnamedFile::path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

void UnnamedFile::write(const char* data, std::size_t size) const {
    while (size > 0) {
        const ssize_t n = ::write(descriptor_, data, size);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) fail(on_disk_, errno);
        data += n;
        size -= static_cast<std::size_t>(n);
    }
}

void UnnamedFile::move_to_disk() {
    std::error_code error;
    std::string pattern = (std::filesystem::temp_directory_path(error) / "leopod-XXXXXX").string();
    const int file = mkostemp(pattern.data(), O_CLOEXEC);
    if (file < 0) fail(true, errno);
    unlink(pattern.c_str());
    const int memory = descriptor_;
    descriptor_ = file;
    on_disk_ = true;
    std::vector<char> block(kFileBlock);
    off_t at = 0;
    for (ssize_t n = 0; (n = pread(memory, block.data(), block.size(), at)) > 0; at += n)
        write(block.data(), static_cast<std::size_t>(n));
    ::close(memory);
}

}  // namespace host
