/// \file lines.cpp
/// Lines of a file, and their tokens.
#include "private/lines.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstring>
#include <new>

#include "private/memory.h"
#include "private/report.h"

namespace leopod {

File open_text(const char* name) {
    if (name == nullptr) return nullptr;
    const int file = open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) return nullptr;
    struct stat info;
    if (fstat(file, &info) != 0 || S_ISDIR(info.st_mode)) {
        close(file);
        return nullptr;
    }
    fcntl(file, F_SETFL, fcntl(file, F_GETFL) & ~O_NONBLOCK);  // reading waits for a pipe's writer
    File stream(fdopen(file, "r"));
    if (stream == nullptr) close(file);
    return stream;
}

File create_text(const char* name) { return File(name != nullptr ? std::fopen(name, "w") : nullptr); }

namespace {

constexpr std::size_t kBlockSize = 65536;

void warn_cut(LineReader& reader, bool cut) {
    if (cut) warn_limit(reader.warned, reader.name, kLineSize - 1, "characters in a line");
}

/// read_line from blocks.
bool read_line_of_block(LineReader& reader, char (&line)[kLineSize]) {
    std::size_t n = 0;  // characters kept
    bool any = false;
    bool cut = false;
    bool ended = false;
    reader.length = kLineSize;
    while (!ended) {
        if (reader.next == reader.filled) {
            reader.next = 0;
            reader.filled = std::fread(reader.block.get(), 1, kBlockSize, reader.file);
            if (reader.filled == 0) break;
            reader.has_null = std::memchr(reader.block.get(), '\0', reader.filled) != nullptr;
        }
        any = true;
        const char* const part = reader.block.get() + reader.next;
        const std::size_t rest = reader.filled - reader.next;
        const auto* const newline = static_cast<const char*>(std::memchr(part, '\n', rest));
        ended = newline != nullptr;
        const std::size_t size = ended ? static_cast<std::size_t>(newline - part) + 1 : rest;
        const std::size_t room = kLineSize - 1 - n;
        const std::size_t kept = size < room ? size : room;
        std::memcpy(line + n, part, kept);
        if (reader.has_null && reader.length == kLineSize) {
            const auto* const null = static_cast<const char*>(std::memchr(part, '\0', kept));
            if (null != nullptr) reader.length = n + static_cast<std::size_t>(null - part);
        }
        n += kept;
        cut = cut || size - kept > (ended ? 1 : 0);
        reader.next += size;
    }
    if (ended) line[n - 1] = '\n';  // a cut line ends like any other
    if (reader.length > n) reader.length = n;
    clear(line + n, n < kZeroedColumns ? kZeroedColumns - n : 1);
    reader.at_eof = !ended;
    warn_cut(reader, cut);
    return any;
}

}  // namespace

void read_in_blocks(LineReader& reader) {
    reader.block.reset(new (std::nothrow) char[kBlockSize]);
    reader.next = reader.filled = 0;
}

void take_file(LineReader& reader, std::FILE* file) {
    if (reader.file == file) return;
    reader.file = file;
    reader.block.reset();
}

bool read_line(LineReader& reader, char (&line)[kLineSize]) {
    if (reader.block != nullptr) return read_line_of_block(reader, line);
    clear(line, kZeroedColumns);
    reader.at_eof = false;
    reader.length = 0;
    if (reader.file == nullptr) return false;
    line[kLineSize - 1] = 1;  // fgets overwrites it when it fills the buffer
    const bool any = std::fgets(line, kLineSize, reader.file) != nullptr;
    const bool filled = line[kLineSize - 1] == '\0';
    line[kLineSize - 1] = '\0';
    if (any) {
        reader.length = std::strlen(line);
        if (reader.length != 0 && line[reader.length - 1] == '\n') return true;
        // a null byte hides the newline, or there is none
        if (!filled && std::feof(reader.file) == 0 && std::ferror(reader.file) == 0) return true;
        if (filled && line[kLineSize - 2] == '\n') return true;
    }
    bool cut = false;
    for (int c = filled ? std::getc(reader.file) : EOF; c != EOF; c = std::getc(reader.file)) {
        if (c == '\n') {
            line[kLineSize - 2] = '\n';  // a cut line ends like any other
            warn_cut(reader, cut);
            return true;
        }
        cut = true;
    }
    reader.at_eof = true;
    warn_cut(reader, cut);
    return any;
}

void split(const char* line, const char* separators, Tokens& tokens, int limit, LineReader* reader) {
    static char empty[1] = {'\0'};
    empty[0] = '\0';
    enum : char { kToken, kSeparator, kEnd };
    char kind[256];
    clear(kind, sizeof kind);
    for (const char* p = separators; *p != '\0'; ++p) kind[static_cast<unsigned char>(*p)] = kSeparator;
    kind[0] = kind[static_cast<unsigned char>('\n')] = kEnd;
    bool low = true;  // all separators are blanks or control characters
    for (const char* p = separators; *p != '\0'; ++p) low = low && static_cast<unsigned char>(*p) <= ' ';
    const auto kind_of = [&kind](const char* p) { return kind[static_cast<unsigned char>(*p)]; };
    tokens.count = 0;
    if (limit > kMaxTokens) limit = kMaxTokens;
    const std::size_t length = strnlen(line, kLineSize - 1);
    std::memcpy(tokens.text, line, length);
    clear(tokens.text + length, kTokenPadding);
    const auto end_of_token = [&](char* p) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
        while (low) {  // to the next blank or control character in steps of eight
            std::uint64_t n;
            std::memcpy(&n, p, sizeof n);
            const std::uint64_t found = (n - 0x21 * kEachByte) & ~n & 0x80 * kEachByte;
            if (found == 0) {
                p += 8;
                continue;
            }
            p += __builtin_ctzll(found) / 8;
            if (kind_of(p) != kToken) return p;
            ++p;
        }
#endif
        while (kind_of(p) == kToken) ++p;
        return p;
    };
    for (char* p = tokens.text;;) {
        while (kind_of(p) == kSeparator) ++p;
        if (kind_of(p) == kEnd) break;
        if (tokens.count == limit) {
            bool quiet = false;
            warn_limit(reader != nullptr ? reader->warned : quiet, reader != nullptr ? reader->name : "", limit,
                       "fields in a line");
            break;
        }
        tokens.token[tokens.count++] = p;
        p = end_of_token(p);
        tokens.length[tokens.count - 1] = static_cast<int>(p - tokens.token[tokens.count - 1]);
        const bool ended = kind_of(p) == kEnd;
        *p = '\0';
        if (ended) break;
        ++p;
    }
    for (int i = tokens.count; i < tokens.filled; ++i) tokens.token[i] = empty;
    tokens.filled = tokens.count;
}

}  // namespace leopod
