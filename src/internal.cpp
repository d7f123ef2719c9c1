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
#include <type_traits>

namespace leopod {

namespace {

constexpr std::size_t kTextSize = 2048;  ///< the logger cuts at this size

/// Hands a finished text to the logger as its format, every '%' doubled.
void publish(ulog_level_t level, const char* text) {
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

bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool is_digit(char c) { return c >= '0' && c <= '9'; }

const char* skip_blanks(const char* p) {
    while (is_blank(*p)) ++p;
    return p;
}

/// Powers of ten that a double holds exactly.
constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int kLargestPower = 22;

/// Unsigned decimal number on [first, last) whose digits and power of ten both are exact doubles: one product or quotient then rounds as
/// every correct conversion does. Null for anything else, which from_chars reads.
const char* read_short_decimal(const char* first, const char* last, double& magnitude) {
    constexpr int kMaxDigits = 18;  // no overflow of the sum
    const char* p = first;
    std::uint64_t sum = 0;
    for (; p < last && is_digit(*p); ++p) sum = 10 * sum + static_cast<std::uint64_t>(*p - '0');
    std::ptrdiff_t digits = p - first;
    int power = 0;
    if (p < last && *p == '.') {
        const char* const fraction = ++p;
        for (; p < last && is_digit(*p); ++p) sum = 10 * sum + static_cast<std::uint64_t>(*p - '0');
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
const char* read_real(const char* first, const char* last, Real& value) {
    const char* p = first;
    bool negative = false;
    if (p < last && (*p == '+' || *p == '-')) negative = *p++ == '-';
    if (p >= last || !(is_digit(*p) || *p == '.' || *p == 'i' || *p == 'I' || *p == 'n' || *p == 'N')) return first;
    Real magnitude = 0;
    if constexpr (std::is_same_v<Real, double>) {
        if (const char* end = read_short_decimal(p, last, magnitude); end != nullptr) {
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

double to_double(const char* text, const char** end) {
    const char* first = skip_blanks(text);
    double value = 0.0;
    const char* stop = read_real(first, first + std::strlen(first), value);
    if (end != nullptr) *end = stop == first ? text : stop;
    return value;
}

int to_int(const char* text) {
    const char* first = skip_blanks(text);
    int value = 0;
    read_int(first, first + std::strlen(first), value);
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
        const std::size_t length = std::strlen(p);
        const char* last = p + (width != 0 && width < length ? width : length);
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
            const char* stop = read_real(p, last, value);
            failed = stop == p;
            if (!failed) *va_arg(args, long double*) = value;
            p = stop;
        } else if (kind == 'f') {
            double value = 0.0;
            const char* stop = read_real(p, last, value);
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
    read_real(first, last, value);
    return value;
}

void replace_char(char* line, char from, char to) {
    for (; *line != '\0'; ++line) {
        if (*line == from) *line = to;
    }
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

bool read_line(LineReader& reader, char (&line)[kLineSize]) {
    std::memset(line, 0, sizeof line);
    reader.at_eof = false;
    if (reader.file == nullptr) return false;
    line[kLineSize - 1] = 1;  // fgets overwrites it when it fills the buffer
    const bool any = std::fgets(line, kLineSize, reader.file) != nullptr;
    const bool filled = line[kLineSize - 1] == '\0';
    line[kLineSize - 1] = '\0';
    if (std::memchr(line, '\n', kLineSize - 1) != nullptr) return any;  // the zeros behind the line hold none
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
    // at most two separators are compared, all others searched
    const char one = separators[0];
    const char two = one != '\0' && separators[1] != '\0' ? separators[1] : one;
    const char* const more = two != one && separators[2] != '\0' ? separators + 2 : "";
    const auto separates = [=](char c) {
        return c == one || c == two || (*more != '\0' && c != '\0' && std::strchr(more, c) != nullptr);
    };
    tokens.count = 0;
    if (limit > kMaxTokens) limit = kMaxTokens;
    const char* const last = line + kLineSize - 1;
    char* out = tokens.text;
    for (const char* p = line;;) {
        const auto ends = [&] { return p == last || *p == '\0' || *p == '\n'; };
        while (!ends() && separates(*p)) ++p;
        if (ends()) break;
        if (tokens.count == limit) {
            bool quiet = false;
            warn_limit(reader != nullptr ? reader->warned : quiet, reader != nullptr ? reader->name : "", limit,
                       "fields in a line");
            break;
        }
        tokens.token[tokens.count++] = out;
        while (!ends() && !separates(*p)) *out++ = *p++;
        *out++ = '\0';
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
