/// \file files.h
/// Text files that a host command reads and writes.
#ifndef LEOPOD_HOST_FILES_H
#define LEOPOD_HOST_FILES_H

#include <cstdio>
#include <fstream>
#include <string>

namespace host {

/// Opens a file for reading. Throws InputError, which says what the file should have been, where it is absent or a directory.
std::ifstream open_input(const std::string& name, const std::string& kind);

/// A field of a CSV, in quotes where it needs them.
std::string csv_text(const std::string& text);

/// A text file opened for writing; stands for its stream. Throws InputError with the file's name where it cannot be written.
class OutputFile {
  public:
    explicit OutputFile(const std::string& name);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    operator std::FILE*() const { return stream_; }
    /// Ends the writing; throws where the text did not reach the file.
    void close();

  private:
    std::string name_;
    std::FILE* stream_;
};

}  // namespace host

#endif
