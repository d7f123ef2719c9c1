/// \file unnamed_file.h
/// A file without a name, for what is needed once more than it is made.
#ifndef LEOPOD_HOST_UNNAMED_FILE_H
#define LEOPOD_HOST_UNNAMED_FILE_H

#include <cstdint>
#include <string>

namespace host {

constexpr std::size_t kFileBlock = 1U << 17U;  ///< bytes of a file that are read or written at once

/// In memory as long as it is short, else in the folder for temporary files. Throws InputError, without a name, where it cannot be kept.
class UnnamedFile {
  public:
    /// \param in_memory  from that many bytes on it is on disk
    explicit UnnamedFile(std::uint64_t in_memory);
    ~UnnamedFile();
    UnnamedFile(const UnnamedFile&) = delete;
    UnnamedFile& operator=(const UnnamedFile&) = delete;

    void add(const char* data, std::size_t size);
    std::uint64_t size() const { return size_; }
    /// Reads from a place on; the bytes that were there.
    std::size_t read(std::uint64_t place, char* to, std::size_t size) const;
    /// Opens it by name while it lives.
    std::string path() const;

  private:
    void write(const char* data, std::size_t size) const;
    void move_to_disk();

    int descriptor_;
    bool on_disk_ = false;
    std::uint64_t size_ = 0, in_memory_;
};

}  // namespace host

#endif
