/// \file open.h
/// The one way in which the program opens what it reads: plain or compressed, Compact RINEX or not, a file, a pipe or standard input,
/// each read once, whatever reads it afterwards.
#ifndef LEOPOD_HOST_OPEN_H
#define LEOPOD_HOST_OPEN_H

#include <array>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "inputs/crinex.h"
#include "shared/unnamed_file.h"

namespace host {

using FileStamp = std::array<std::uint64_t, 5>;

class InputFile {
  public:
    /// The input of that name, opened where it is not yet. "-" is standard input. Throws InputError, which says what the file should have
    /// been, where it can't be opened or expanded.
    static const InputFile& of(const std::string& name, const std::string& kind = "file");

    /// As the user wrote it.
    const std::string& name() const { return name_; }
    /// A file with the expanded text that can be opened by name as often as wanted while the program lives.
    const std::string& path() const { return path_; }
    /// Bytes of that text.
    std::uint64_t size() const { return size_; }
    /// The first bytes of it, some 64 kB.
    const std::string& head() const { return head_; }
    /// SHA-256 of the file as it was given, in hexadecimal digits.
    const std::string& digest() const;
    /// How it is packed: "gzip", "Compact RINEX, gzip"; empty for plain text.
    const std::string& form() const { return form_; }

    ~InputFile();
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

  private:
    InputFile(const std::string& name, const std::string& kind);
    bool is_current() const;
    void take_in(int descriptor, const std::string& kind);
    void keep(ByteSource& text);
    void report(const CrinexReport& met) const;

    std::string name_, path_, head_, form_;
    std::uint64_t size_ = 0;
    mutable std::string digest_;
    bool is_file_ = false;                ///< can be opened again by its name
    FileStamp stamp_{};                   ///< of such a file: it may change
    std::unique_ptr<UnnamedFile> store_;  ///< where the text is kept; nothing for a file that serves as it is
};

/// Opens the expanded text of an input.
/// \param buffer  of the stream, which it has to outlive; null: a small one of its own
std::ifstream open_input(const std::string& name, const std::string& kind, std::vector<char>* buffer = nullptr);

/// Name under which a loader of the library opens an input; writable, though they only read it.
char* loadable(const std::string& name);

}  // namespace host

#endif
