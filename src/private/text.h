/// \file text.h
/// Numbers, fields and tokens of a text. None of these depends on the locale, allocates ("%Lf" of hundreds of digits may), or reads
/// behind the terminator.
#ifndef LEOPOD_PRIVATE_TEXT_H
#define LEOPOD_PRIVATE_TEXT_H

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace leopod {

constexpr bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// A byte times this fills a word of eight.
constexpr std::uint64_t kEachByte = 0x0101010101010101;

/// Number at the start of a text, as atof reads it in the C locale (leading blanks, sign, inf and nan; no hexadecimal form).
/// 0 where there is none. A non-null `end` receives the first character not used.
double to_double(const char* text, const char** end = nullptr);

/// Integer at the start of a text, as atoi; saturates at the limits of int. 0 where there is none.
int to_int(const char* text);

/// sscanf for "%d", "%lf", "%Lf", "%c", "%s" with optional widths, "%*s", blanks and literal characters. "%s" needs a width and
/// an array of that width + 1. Returns the number of conversions stored; -1 when the text ends before the first one.
[[gnu::format(scanf, 2, 3)]] int scan(const char* text, const char* format, ...);

/// Copies the fixed columns [start, start + width) of a line into out (width + 1 characters), as far as the line has them.
void copy_field(const char* line, std::size_t start, std::size_t width, char* out);

/// Number in fixed columns of a line (width at most 63); 0 for a blank or missing field.
double field_double(const char* line, std::size_t start, std::size_t width);

/// The same for a line of known length.
double field_double(const char* line, std::size_t length, std::size_t start, std::size_t width);

/// Replaces every `from` of a line by `to`.
void replace_char(char* line, char from, char to);

/// The same for a line of known length.
void replace_char(char* line, std::size_t length, char from, char to);

/// True if a line holds the text at or behind a position.
bool contains(const char* line, const char* text, std::size_t from = 0);

constexpr int kLineSize = 1024;  ///< line buffer of every reader, terminator included

/// Tokens of one line: pointers into a private copy. At most kMaxTokens are kept; the excess is dropped with one warning a reader.
constexpr int kMaxTokens = 64;
constexpr std::size_t kTokenPadding = 16;  ///< zeros behind a line
struct Tokens {
    int count = 0;
    int filled = kMaxTokens;               ///< entries that may point elsewhere than to an empty text
    char* token[kMaxTokens];               ///< behind a split: entries from count on point to an empty text
    int length[kMaxTokens];                ///< of the tokens
    char text[kLineSize + kTokenPadding];  ///< the line, cut into its tokens
};

/// Number of token i, as to_double reads its text; 0 where there is none.
double to_double(const Tokens& tokens, int i);

/// Fields of a line between spaces, read one after the other where they stand. Behind the last one come empty texts and zeros.
class Fields {
  public:
    /// \param line    not changed while it is read
    /// \param length  of the line; a newline at its end is no part of a field
    /// \param known   at least length: characters of its memory that have been written
    Fields(const char* line, std::size_t length, std::size_t known)
        : next_(line),
          end_(line + length - (length != 0 && line[length - 1] == '\n' ? 1 : 0)),
          known_(line + (known > length ? known : length)) {}

    /// True where there is another field: start() is where it begins.
    bool more() {
        while (next_ < end_ && *next_ == ' ') ++next_;
        return next_ < end_;
    }
    const char* start() const { return next_; }
    int left() const;  ///< fields that follow; from within a field on, its rest is one

    /// True, and passed over, where the next field starts a text that stands there: fields and the spaces between them.
    bool skip(const char* text, std::size_t size);

    std::string_view text();
    double number();  ///< as to_double
    int whole();      ///< as to_int

  private:
    const char* end_of_field() const;

    const char *next_, *end_, *known_;
};

}  // namespace leopod

#endif
