/// \file files.h
/// Files that a command writes, and the check of all its files before the work.
#ifndef LEOPOD_HOST_FILES_H
#define LEOPOD_HOST_FILES_H

#include <sys/types.h>

#include <cstdio>
#include <functional>
#include <string>
#include <vector>

namespace host {

/// A field of a CSV, in quotes where it needs them.
std::string csv_text(const std::string& text);

/// True for a name that stands for standard output: "-", /dev/stdout and the like.
bool is_standard_output(const std::string& name);

/// A file being written; stands for its stream. It is written beside its place, under another name, and takes its place when it is
/// complete: a failure leaves the old file, and nothing else. Missing folders are made. Standard output ("-"), devices and pipes are
/// written directly. Throws InputError with the file's name and the reason where it cannot be written.
class OutputFile {
  public:
    explicit OutputFile(const std::string& name);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    operator std::FILE*() const { return stream_; }
    /// Ends the writing; throws where the text did not reach the file.
    void close();

    /// Removes what is unfinished: for the ends of the process that call no destructor. Safe in a signal handler.
    static void remove_unfinished();

  private:
    void open_beside();
    [[noreturn]] void fail(const std::string& what, int reason) const;

    std::string name_;        ///< as the user wrote it
    std::string place_;       ///< where the complete file goes; empty: written directly
    std::string unfinished_;  ///< its name until then
    std::FILE* stream_ = nullptr;
    struct Sink {
        int descriptor = -1;
        int error = 0;  ///< of the first write that failed
    } sink_;
    static ssize_t write(void* sink, const char* data, std::size_t size);

    OutputFile* next_ = nullptr;  ///< all that are unfinished
    static OutputFile* first_;
};

/// Writes an output by a function that takes the name of a file, such as one of the library or another program: false where it failed.
void write_by_name(const std::string& name, const std::function<bool(const std::string& file)>& write);

/// The files of a command, by its options. `check` is called before the work.
class FilePlan {
  public:
    FilePlan& in(const std::string& option, const std::string& name);
    FilePlan& in(const std::string& option, const std::vector<std::string>& names);
    FilePlan& out(const std::string& option, const std::string& name);

    /// Refuses, with InputError, an output that is one of the inputs, whatever its names, two outputs in one place, standard input twice,
    /// and outputs that cannot be written. With an output on standard output all that is printed goes to standard error from now on.
    void check() const;
    /// Options and names of the inputs.
    std::vector<std::pair<std::string, std::string>> inputs() const;

  private:
    struct File {
        std::string option, name;
    };
    void check_output(std::size_t index) const;
    std::vector<File> in_, out_;  ///< without those whose name is empty
};

/// Says that a file is written: what it holds, its name, and more behind it. Nothing without a name.
void say_written(const char* what, const std::string& file, const std::string& more = "");

/// Ends the writing of standard output; throws InputError where what was printed did not reach it.
void close_standard_output();

}  // namespace host

#endif
