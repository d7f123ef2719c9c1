/// \file internal.cpp
/// Private helpers: reports with text that never acts as a format, and locale-free reading of numbers, columns and tokens.
#include "internal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

namespace leopod {

namespace {

constexpr std::size_t kTextSize = 2048;  ///< the logger cuts at this size

unsigned long s_reports = 0;

/// Hands a finished text to the logger as its format, every '%' doubled.
void publish(ulog_level_t level, const char* text) {
    ++s_reports;
    char doubled[2 * kTextSize + 2];
    std::size_t n = 0;
    for (const char* p = text; *p != '\0' && n + 2 < sizeof doubled; ++p) {
        doubled[n++] = *p;
        if (*p == '%') doubled[n++] = '%';
    }
    doubled[n] = '\0';
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    ulog_message(level, doubled);
#pragma GCC diagnostic pop
}

const char* skip_blanks(const char* p) {
    while (is_blank(*p)) ++p;
    return p;
}

/// Powers of ten that a double holds exactly.
constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int kLargestPower = 22;

constexpr std::uint64_t kEachByte = 0x0101010101010101;

/// Reads the decimal digits from p on, at most `last`, into sum; `readable` bounds the memory behind them.
inline void read_digits(const char*& p, const char* last, const char* readable, std::uint64_t& sum) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    // Eight characters at a time: the digits are shifted to the upper end, zeros behind them count as leading digits.
    constexpr std::uint64_t kScale[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};
    while (last > p && readable - p >= 8) {
        std::uint64_t n;
        std::memcpy(&n, p, sizeof n);
        n ^= '0' * kEachByte;  // digits become 0 to 9
        const std::uint64_t other = ((n + 0x76 * kEachByte) | n) & 0x80 * kEachByte;
        std::ptrdiff_t count = other != 0 ? __builtin_ctzll(other) / 8 : 8;
        if (count > last - p) count = last - p;
        if (count == 0) return;
        n <<= 8 * (8 - count);
        n = (n * 2561) >> 8 & 0x00ff00ff00ff00ff;
        n = (n * 6553601) >> 16 & 0x0000ffff0000ffff;
        n = n * 42949672960001 >> 32;
        sum = sum * kScale[count] + n;
        p += count;
        if (count < 8) return;
    }
#endif
    for (; p < last && is_digit(*p); ++p) sum = 10 * sum + static_cast<std::uint64_t>(*p - '0');
}

/// Unsigned decimal number on [first, last) whose digits and power of ten both are exact doubles: one product or quotient then rounds as
/// every correct conversion does. Null for anything else, which from_chars reads.
const char* read_short_decimal(const char* first, const char* last, const char* readable, double& magnitude) {
    constexpr int kMaxDigits = 18;  // no overflow of the sum
    const char* p = first;
    std::uint64_t sum = 0;
    read_digits(p, last, readable, sum);
    std::ptrdiff_t digits = p - first;
    int power = 0;
    if (p < last && *p == '.') {
        const char* const fraction = ++p;
        read_digits(p, last, readable, sum);
        digits += p - fraction;
        power = static_cast<int>(fraction - p);
    }
    if (digits == 0 || digits > kMaxDigits || sum > (std::uint64_t{1} << 53)) return nullptr;
    if (p < last && (*p == 'e' || *p == 'E')) {
        const char* q = p + 1;
        bool negative = false;
        if (q < last && (*q == '+' || *q == '-')) negative = *q++ == '-';
        const char* const exponent_first = q;
        int exponent = 0;
        for (; q < last && is_digit(*q); ++q) {
            if (q - exponent_first > 3) return nullptr;
            exponent = 10 * exponent + (*q - '0');
        }
        if (q != exponent_first) {  // without digits the letter is no part of the number
            p = q;
            power += negative ? -exponent : exponent;
        }
    }
    if (power < -kLargestPower || power > kLargestPower) return nullptr;
    const double whole = static_cast<double>(sum);
    magnitude = power < 0 ? whole / kPowersOfTen[-power] : whole * kPowersOfTen[power];
    return p;
}

/// strtod (or strtold, by the type of value) in the C locale on [first, last); returns the first character not used, or first when there is
/// no number.
template <typename Real>
const char* read_real(const char* first, const char* last, const char* readable, Real& value) {
    const char* p = first;
    bool negative = false;
    if (p < last && (*p == '+' || *p == '-')) negative = *p++ == '-';
    if (p >= last || !(is_digit(*p) || *p == '.' || *p == 'i' || *p == 'I' || *p == 'n' || *p == 'N')) return first;
    Real magnitude = 0;
    if constexpr (std::is_same_v<Real, double>) {
        if (const char* end = read_short_decimal(p, last, readable, magnitude); end != nullptr) {
            value = negative ? -magnitude : magnitude;
            return end;
        }
    }
    const auto result = std::from_chars(p, last, magnitude, std::chars_format::general);
    if (result.ec != std::errc() && result.ec != std::errc::result_out_of_range) return first;
    if (result.ec == std::errc::result_out_of_range) {
        // from_chars does not say which end was passed: the sign of the exponent does, or, without one, the length of the integer part.
        const char* e = p;
        while (e < result.ptr && *e != 'e' && *e != 'E') ++e;
        bool small = false;
        if (e + 1 < result.ptr) {
            small = e[1] == '-';
        } else {
            const char* q = p;
            while (q < e && *q == '0') ++q;
            small = q < e && *q == '.';
        }
        magnitude = small ? Real(0) : std::numeric_limits<Real>::infinity();
    }
    value = negative ? -magnitude : magnitude;
    return result.ptr;
}

/// strtol, base 10, saturating at the limits of int, on [first, last); returns first when there is no number.
const char* read_int(const char* first, const char* last, int& value) {
    const char* p = first;
    bool negative = false;
    if (p < last && (*p == '+' || *p == '-')) negative = *p++ == '-';
    if (p >= last || !is_digit(*p)) return first;
    long long sum = 0;
    for (; p < last && is_digit(*p); ++p) {
        if (sum <= INT_MAX) sum = 10 * sum + (*p - '0');
    }
    if (negative) sum = -sum;
    value = sum > INT_MAX ? INT_MAX : sum < INT_MIN ? INT_MIN : static_cast<int>(sum);
    return p;
}

}  // namespace

unsigned long reports_made() { return s_reports; }

void report(ulog_level_t level, const char* format, ...) {
    char text[kTextSize];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    publish(level, text);
}

void report_at(ulog_level_t level, const char* module, int line, const char* function, const char* format, ...) {
    char text[kTextSize];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    char located[kTextSize + 512];
    std::snprintf(located, sizeof located, "%.200s:%d:%.200s()<%s>", module, line, function, text);
    publish(level, located);
}

void Memory::complain() const { report(ULOG_ERROR_LEVEL, "%s(): no memory for %.0f bytes", function_, bytes_); }

double to_double(const char* text, const char** end) {
    const char* first = skip_blanks(text);
    double value = 0.0;
    const std::size_t length = std::strlen(first);
    const char* stop = read_real(first, first + length, first + length, value);
    if (end != nullptr) *end = stop == first ? text : stop;
    return value;
}

double to_double(const Tokens& tokens, int i) {
    if (i >= tokens.count) return 0.0;
    const char* const last = tokens.token[i] + tokens.length[i];
    const char* const first = skip_blanks(tokens.token[i]);
    double value = 0.0;
    read_real(first, last, tokens.text + sizeof tokens.text, value);
    return value;
}

int to_int(const char* text) {
    const char* first = skip_blanks(text);
    const char* last = first;
    if (*last == '+' || *last == '-') ++last;
    while (is_digit(*last)) ++last;
    int value = 0;
    read_int(first, last, value);
    return value;
}

int scan(const char* text, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const char* p = text;
    int stored = 0;
    bool failed = false;
    for (const char* f = format; *f != '\0' && !failed;) {
        if (is_blank(*f)) {
            p = skip_blanks(p);
            ++f;
            continue;
        }
        if (*f != '%') {
            if (*p != *f) break;
            ++p;
            ++f;
            continue;
        }
        ++f;
        const bool skipped = *f == '*';
        if (skipped) ++f;
        std::size_t width = 0;
        while (is_digit(*f)) width = 10 * width + static_cast<std::size_t>(*f++ - '0');
        const bool extended = *f == 'L';
        if (extended || *f == 'l') ++f;
        const char kind = *f != '\0' ? *f++ : '\0';
        if (kind != 'c') p = skip_blanks(p);
        if (*p == '\0') {
            if (stored == 0) stored = -1;
            break;
        }
        const std::size_t length = width != 0 ? strnlen(p, width) : std::strlen(p);
        const char* last = p + length;
        if (skipped) {  // only "%*s"
            while (p < last && !is_blank(*p)) ++p;
            continue;
        }
        if (kind == 'd') {
            int value = 0;
            const char* stop = read_int(p, last, value);
            failed = stop == p;
            if (!failed) *va_arg(args, int*) = value;
            p = stop;
        } else if (kind == 'f' && extended) {
            long double value = 0;
            const char* stop = read_real(p, last, p + length, value);
            failed = stop == p;
            if (!failed) *va_arg(args, long double*) = value;
            p = stop;
        } else if (kind == 'f') {
            double value = 0.0;
            const char* stop = read_real(p, last, p + length, value);
            failed = stop == p;
            if (!failed) *va_arg(args, double*) = value;
            p = stop;
        } else if (kind == 'c') {
            *va_arg(args, char*) = *p++;
        } else {  // 's'
            char* out = va_arg(args, char*);
            while (p < last && !is_blank(*p)) *out++ = *p++;
            *out = '\0';
        }
        if (!failed) ++stored;
    }
    va_end(args);
    return stored;
}

void copy_field(const char* line, std::size_t start, std::size_t width, char* out) {
    const std::size_t length = std::strlen(line);
    std::size_t n = start < length ? length - start : 0;
    if (n > width) n = width;
    std::memcpy(out, line + (n != 0 ? start : 0), n);
    out[n] = '\0';
}

double field_double(const char* line, std::size_t start, std::size_t width) {
    return field_double(line, std::strlen(line), start, width);
}

double field_double(const char* line, std::size_t length, std::size_t start, std::size_t width) {
    if (start >= length) return 0.0;
    constexpr std::size_t kMaxWidth = 63;
    if (width > kMaxWidth) width = kMaxWidth;
    const char* first = line + start;
    const char* const last = first + (width < length - start ? width : length - start);
    while (first < last && is_blank(*first)) ++first;
    double value = 0.0;
    read_real(first, last, line + length, value);
    return value;
}

void replace_char(char* line, char from, char to) {
    for (; *line != '\0'; ++line) {
        if (*line == from) *line = to;
    }
}

void replace_char(char* line, std::size_t length, char from, char to) {
    char* const end = line + length;
    for (char* p = line; (p = static_cast<char*>(std::memchr(p, from, static_cast<std::size_t>(end - p)))) != nullptr;
         ++p)
        *p = to;
}

bool contains(const char* line, const char* text, std::size_t from) {
    return from <= std::strlen(line) && std::strstr(line + from, text) != nullptr;
}

std::FILE* open_text(const char* name) {
    if (name == nullptr) return nullptr;
    const int file = open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) return nullptr;
    struct stat info;
    if (fstat(file, &info) != 0 || S_ISDIR(info.st_mode)) {
        close(file);
        return nullptr;
    }
    fcntl(file, F_SETFL, fcntl(file, F_GETFL) & ~O_NONBLOCK);  // reading waits for a pipe's writer
    std::FILE* const stream = fdopen(file, "r");
    if (stream == nullptr) close(file);
    return stream;
}

namespace {

constexpr std::size_t kBlockSize = 65536;

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
    if (cut) warn_limit(reader.warned, reader.name, kLineSize - 1, "characters in a line");
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
            if (cut) warn_limit(reader.warned, reader.name, kLineSize - 1, "characters in a line");
            return true;
        }
        cut = true;
    }
    reader.at_eof = true;
    if (cut) warn_limit(reader.warned, reader.name, kLineSize - 1, "characters in a line");
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

void warn_limit(bool& warned, const char* file, int limit, const char* what) {
    if (warned) return;
    warned = true;
    report(ULOG_WARNING_LEVEL, "%s: more than %d %s, the excess is dropped", file, limit, what);
}

}  // namespace leopod
