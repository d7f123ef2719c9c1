/// \file lines.h
/// Lines of a file, and their tokens.
#ifndef LEOPOD_PRIVATE_LINES_H
#define LEOPOD_PRIVATE_LINES_H

#include <cstddef>
#include <cstdio>
#include <memory>

#include "private/text.h"

namespace leopod {

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

/// A file that closes itself.
using File = std::unique_ptr<std::FILE, CloseFile>;

/// Opens a file for reading. Null for a null name, for what cannot be opened, and for a directory. A named pipe without a writer
/// counts as an empty file.
File open_text(const char* name);

/// Opens a file for writing. Null for a null name and for what cannot be opened.
File create_text(const char* name);

/// Line reader of one file. An overlong line keeps its first 1023 characters; the rest is dropped with one warning a file.
struct LineReader {
    std::FILE* file = nullptr;
    const char* name = "";  ///< named in the warning
    bool warned = false;
    bool at_eof = false;                      ///< the last line ended at the end of the file, without a newline
    std::size_t length = 0;                   ///< characters of the last line, up to a null byte
    std::unique_ptr<char[]> block = nullptr;  ///< where the file is read in blocks: the one that lines come from
    std::size_t next = 0, filled = 0;         ///< its next character, and how many it holds
    bool has_null = false;                    ///< a null byte is among them
};

/// Reads in blocks from now on: for a file that nobody else reads from, at its start.
void read_in_blocks(LineReader& reader);

/// Takes a file of a caller, who may read from it in between; a file that is read in blocks stays so.
void take_file(LineReader& reader, std::FILE* file);

/// Reads the next line, newline kept (a null byte of the file ends the visible line). Behind a line of less than kZeroedColumns characters
/// zeros follow up to that column. False at the end of the file.
constexpr std::size_t kZeroedColumns = 128;
bool read_line(LineReader& reader, char (&line)[kLineSize]);

/// Splits a line at any of the separators (runs count as one), up to the first newline, into at most `limit` tokens.
/// `reader` (may be null) gives the name for the warning and remembers that it was given.
void split(const char* line, const char* separators, Tokens& tokens, int limit = kMaxTokens,
           LineReader* reader = nullptr);

}  // namespace leopod

#endif
