/// \file text.cpp
/// Numbers and fields of a text, independent of the locale.
#include "private/text.h"

#include <algorithm>
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

const char* skip_blanks(const char* p) {
    while (is_blank(*p)) ++p;
    return p;
}

/// Powers of ten that a double holds exactly.
constexpr double kPowersOfTen[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                   1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
constexpr int kLargestPower = 22;

/// Powers of five behind them, as far as quotient_of_power goes.
constexpr std::uint64_t kFive23 = 11920928955078125;
constexpr std::uint64_t kPowersOfFive[] = {kFive23, 5 * kFive23, 25 * kFive23, 125 * kFive23};
constexpr int kLargestDivisor = 26;

/// The double nearest to a whole number, at most 2^53, over 10^power, power from 23 to 26: the integers' quotient has two bits at least
/// behind the 53 of a double, and its last bit also stands for the remainder.
[[gnu::noinline]] double quotient_of_power(std::uint64_t whole, int power) {
    if (whole == 0) return 0.0;
    using Wide = unsigned __int128;
    const int up = __builtin_clzll(whole);
    const Wide dividend = static_cast<Wide>(whole << up) << 53;
    const std::uint64_t divisor = kPowersOfFive[power - kLargestPower - 1];
    const auto quotient = static_cast<std::uint64_t>(dividend / divisor);
    const bool exact = static_cast<Wide>(quotient) * divisor == dividend;
    return std::ldexp(static_cast<double>(quotient | (exact ? 0U : 1U)), -53 - up - power);
}

#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
constexpr bool kWords = true;  ///< the first of eight characters is the lowest byte of their word
#else
constexpr bool kWords = false;
#endif

inline std::uint64_t word_at(const char* p) {
    std::uint64_t n;
    std::memcpy(&n, p, sizeof n);
    return n;
}

/// Decimal digits at the start of eight characters.
struct Digits {
    std::uint64_t word;  ///< digits as 0 to 9
    int count;

    explicit Digits(const char* p) : word(word_at(p) ^ '0' * kEachByte) {
        const std::uint64_t other = ((word + 0x76 * kEachByte) | word) & 0x80 * kEachByte;
        count = other != 0 ? __builtin_ctzll(other) / 8 : 8;
    }

    /// Appends them to the digits of a sum.
    std::uint64_t behind(std::uint64_t sum) const {
        constexpr static std::uint64_t kScale[] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};
        const int half = 4 * (8 - count);  // shifted to the upper end; zeros behind them count as leading digits
        std::uint64_t n = word << half << half;
        n = (n * 2561) >> 8 & 0x00ff00ff00ff00ff;
        n = (n * 6553601) >> 16 & 0x0000ffff0000ffff;
        n = n * 42949672960001 >> 32;
        return sum * kScale[count] + n;
    }
};

/// Reads the decimal digits from p on, at most `last`, into sum; `readable` bounds the memory behind them.
inline void read_digits(const char*& p, const char* last, const char* readable, std::uint64_t& sum) {
    while (kWords && last > p && readable - p >= 8) {
        Digits digits(p);
        if (digits.count > last - p) digits.count = static_cast<int>(last - p);
        sum = digits.behind(sum);
        p += digits.count;
        if (digits.count < 8) return;
    }
    for (; p < last && is_digit(*p); ++p) sum = 10 * sum + static_cast<std::uint64_t>(*p - '0');
}

/// A decimal point with less than eight digits before it and less than sixteen behind it; returns what stands behind all of them, or null.
constexpr std::ptrdiff_t kPointSpan = 32;  ///< readable characters
inline const char* read_around_point(const char* p, std::uint64_t& sum, int& digits, int& power) {
    const Digits before(p);
    p += before.count;
    if (*p != '.') return nullptr;
    ++p;
    const Digits behind(p);
    sum = behind.behind(before.behind(0));
    int count = behind.count;
    if (count == 8) {
        const Digits rest(p + 8);
        if (rest.count == 8) return nullptr;
        sum = rest.behind(sum);
        count += rest.count;
    }
    digits = before.count + count;
    power = -count;
    return p + count;
}

/// Digits on [first, last) with or without a point.
[[gnu::noinline]] const char* read_around_point(const char* first, const char* last, const char* readable,
                                                std::uint64_t& sum, int& digits, int& power) {
    const char* p = first;
    sum = 0;
    read_digits(p, last, readable, sum);
    digits = static_cast<int>(p - first);
    power = 0;
    if (p < last && *p == '.') {
        const char* const fraction = ++p;
        read_digits(p, last, readable, sum);
        power = static_cast<int>(fraction - p);
        digits -= power;
    }
    return p;
}

/// Unsigned decimal number on [first, last) whose digits and power of ten both are exact doubles: one product or quotient then rounds as
/// every correct conversion does. Null for anything else, which from_chars reads.
inline const char* read_short_decimal(const char* first, const char* last, const char* readable, double& magnitude) {
    constexpr int kMaxDigits = 18;  // no overflow of the sum
    const char* p = nullptr;
    std::uint64_t sum = 0;
    int digits = 0, power = 0;
    if (kWords && readable - first >= kPointSpan) p = read_around_point(first, sum, digits, power);
    if (p == nullptr || p > last) p = read_around_point(first, last, readable, sum, digits, power);
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
    if (power < -kLargestDivisor || power > kLargestPower) return nullptr;
    if (power < -kLargestPower) {
        magnitude = quotient_of_power(sum, -power);
        return p;
    }
    const double whole = static_cast<double>(sum);
    magnitude = power < 0 ? whole / kPowersOfTen[-power] : whole * kPowersOfTen[power];
    return p;
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

/// Power of ten of the first digit that is not 0 of an unsigned decimal number.
long long leading_power(const char* first, const char* last) {
    const char* const exponent = std::find_if(first, last, [](char c) { return c == 'e' || c == 'E'; });
    const char* const point = std::find(first, exponent, '.');
    const char* const digit = std::find_if(first, exponent, [](char c) { return c >= '1' && c <= '9'; });
    int power = 0;
    if (exponent != last) read_int(exponent + 1, last, power);
    return power + (point - digit) - (digit < point ? 1 : 0);
}

/// Unsigned number on [first, last) in any form; returns first when there is none.
template <typename Real>
[[gnu::noinline]] const char* read_magnitude(const char* first, const char* last, Real& magnitude) {
    if (!(is_digit(*first) || std::strchr(".iInN", *first) != nullptr)) return first;
    const auto result = std::from_chars(first, last, magnitude, std::chars_format::general);
    if (result.ec != std::errc() && result.ec != std::errc::result_out_of_range) return first;
    if (result.ec == std::errc::result_out_of_range) {
        // from_chars does not say which end was passed; the power of ten of the first digit that is not 0 does.
        magnitude = leading_power(first, result.ptr) < 0 ? Real(0) : std::numeric_limits<Real>::infinity();
    }
    return result.ptr;
}

/// strtod (or strtold, by the type of value) in the C locale on [first, last); returns the first character not used, or first when there is
/// no number.
template <typename Real>
inline const char* read_real(const char* first, const char* last, const char* readable, Real& value) {
    if (first >= last) return first;
    const bool negative = *first == '-';
    const char* const p = first + (negative || *first == '+' ? 1 : 0);  // without a branch: signs come as they like
    if (p >= last) return first;
    Real magnitude = 0;
    const char* end = nullptr;
    if constexpr (std::is_same_v<Real, double>) end = read_short_decimal(p, last, readable, magnitude);
    if (end == nullptr) end = read_magnitude(p, last, magnitude);
    if (end == p) return first;
    value = std::copysign(magnitude, negative ? Real(-1) : Real(1));
    return end;
}

/// One conversion of a format: "%d", "%12lf", "%*s".
struct Conversion {
    bool skipped = false;   ///< "*": nothing is stored
    bool extended = false;  ///< "L"
    std::size_t width = 0;  ///< 0: none
    char kind = '\0';
};

/// Reads the conversion behind a '%'; f is what follows it.
Conversion read_conversion(const char*& f) {
    Conversion c;
    c.skipped = *f == '*';
    if (c.skipped) ++f;
    while (is_digit(*f)) c.width = 10 * c.width + static_cast<std::size_t>(*f++ - '0');
    c.extended = *f == 'L';
    if (c.extended || *f == 'l') ++f;
    if (*f != '\0') c.kind = *f++;
    return c;
}

/// Stores a number from p on, which then stands behind it. False, and nothing stored, where there is none.
template <typename Number, typename Read>
bool store_number(const char*& p, Number* out, Read&& read) {
    Number value = 0;
    const char* const stop = read(value);
    if (stop == p) return false;
    *out = value;
    p = stop;
    return true;
}

struct Arguments {
    va_list list;
};

/// Stores what one conversion finds from p on, which then stands behind it. False where that is no number.
bool convert(const Conversion& c, const char*& p, Arguments& to) {
    const char* const last = p + (c.width != 0 ? strnlen(p, c.width) : std::strlen(p));
    const auto real = [&](auto& value) { return read_real(p, last, last, value); };
    switch (c.kind) {
        case 'd':
            return store_number(p, va_arg(to.list, int*), [&](int& value) { return read_int(p, last, value); });
        case 'f':
            return c.extended ? store_number(p, va_arg(to.list, long double*), real)
                              : store_number(p, va_arg(to.list, double*), real);
        case 'c':
            *va_arg(to.list, char*) = *p++;
            return true;
        default:  // 's'
            break;
    }
    char* out = c.skipped ? nullptr : va_arg(to.list, char*);
    for (; p < last && !is_blank(*p); ++p) {
        if (out != nullptr) *out++ = *p;
    }
    if (out != nullptr) *out = '\0';
    return true;
}

}  // namespace

double to_double(const char* text, const char** end) {
    const char* first = skip_blanks(text);
    double value = 0.0;
    const std::size_t length = std::strlen(first);
    const char* stop = read_real(first, first + length, first + length, value);
    if (end != nullptr) *end = stop == first ? text : stop;
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
    Arguments to;
    va_start(to.list, format);
    const char* p = text;
    int stored = 0;
    for (const char* f = format; *f != '\0';) {
        if (is_blank(*f)) {
            p = skip_blanks(p);
            ++f;
            continue;
        }
        if (*f != '%') {
            if (*p++ != *f++) break;
            continue;
        }
        const Conversion c = read_conversion(++f);
        if (c.kind != 'c') p = skip_blanks(p);
        if (*p == '\0') {
            if (stored == 0) stored = -1;
            break;
        }
        if (!convert(c, p, to)) break;
        if (!c.skipped) ++stored;
    }
    va_end(to.list);
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

double to_double(const Tokens& tokens, int i) {
    if (i >= tokens.count) return 0.0;
    const char* const last = tokens.token[i] + tokens.length[i];
    const char* const first = skip_blanks(tokens.token[i]);
    double value = 0.0;
    read_real(first, last, tokens.text + sizeof tokens.text, value);
    return value;
}

const char* Fields::end_of_field() const {
    const char* p = next_;
    for (; kWords && end_ - p >= 8; p += 8) {
        const std::uint64_t n = word_at(p) ^ ' ' * kEachByte;
        const std::uint64_t spaces =
            (n - kEachByte) & ~n & 0x80 * kEachByte;  // the lowest mark is that of the first space
        if (spaces != 0) return p + __builtin_ctzll(spaces) / 8;
    }
    while (p < end_ && *p != ' ') ++p;
    return p;
}

int Fields::left() const {
    int count = 0;
    const char* p = next_;
    std::uint64_t before = 0;  // the mark of the last character
    for (; kWords && end_ - p >= 8; p += 8) {
        const std::uint64_t n = word_at(p) ^ ' ' * kEachByte;
        const std::uint64_t others = (((n & 0x7f * kEachByte) + 0x7f * kEachByte) | n) & 0x80 * kEachByte;
        const std::uint64_t starts = others & ~(others << 8 | before);
        count += static_cast<int>((starts >> 7) * kEachByte >> 56);
        before = others >> 56;
    }
    for (bool inside = before != 0; p < end_; ++p) {
        count += *p != ' ' && !inside ? 1 : 0;
        inside = *p != ' ';
    }
    return count;
}

bool Fields::skip(const char* text, std::size_t size) {
    if (!more() || static_cast<std::size_t>(end_ - next_) < size || std::memcmp(next_, text, size) != 0) return false;
    next_ += size;
    return true;
}

std::string_view Fields::text() {
    more();
    const char* const first = next_;
    next_ = end_of_field();
    return {first, static_cast<std::size_t>(next_ - first)};
}

double Fields::number() {
    more();
    while (next_ < end_ && *next_ != ' ' && is_blank(*next_)) ++next_;
    double value = 0.0;
    next_ = read_real(next_, end_, known_, value);
    next_ = end_of_field();
    return value;
}

int Fields::whole() {
    more();
    while (next_ < end_ && *next_ != ' ' && is_blank(*next_)) ++next_;
    int value = 0;
    next_ = read_int(next_, end_, value);
    next_ = end_of_field();
    return value;
}

}  // namespace leopod
