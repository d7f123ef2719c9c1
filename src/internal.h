/// \file internal.h
/// Private helpers shared by the modules; hidden in the built library. C++ only.
#ifndef LEOPOD_INTERNAL_H
#define LEOPOD_INTERNAL_H

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>

#include "ulog.h"

namespace leopod {

constexpr double kSpeedOfLight = 299792458.0;  ///< [m/s]
constexpr double kWgs84SemiMajor = 6378137.0;  ///< [m]
constexpr double kWgs84Flattening = 0.0033528106647474805;
constexpr double kPi = 3.14159265358979323846;
constexpr double kHalfPi = kPi / 2.0;
constexpr double kDay = 86400.0;        ///< [s]
constexpr std::size_t kTimeText = 100;  ///< room for the text of a time tag; gtime2str never needs more
constexpr int kLineSize = 1024;         ///< line buffer of every reader, terminator included

/// Number of entries that a fixed array of `limit` really holds.
constexpr int clamp_count(int value, int limit) { return value < 0 ? 0 : (value > limit ? limit : value); }

// --- reporting (ulog.cpp) ------------------------------------------------------------------------------------------------

/// Formats a text and hands it to the logger. The finished text never acts as a format again.
[[gnu::format(printf, 2, 3)]] void report(ulog_level_t level, const char* format, ...);

/// The same with the source locator "%s:%d:%s()<%s>": module name, line, function, text.
[[gnu::format(printf, 5, 6)]] void report_at(ulog_level_t level, const char* module, int line, const char* function,
                                             const char* format, ...);

/// Reports made so far. What made none can be kept instead of being computed once more: nobody would hear of it.
unsigned long reports_made();

// --- work arrays (internal.cpp) --------------------------------------------------------------------------------------------
// Memory that a function takes for its own work. Where there is none, the function says so once, leaves everything as it was and fails.

/// Zeroed array; null where there is no memory.
template <typename T>
std::unique_ptr<T[]> make_array(std::size_t count) {
    constexpr std::size_t kMost = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(T);
    return std::unique_ptr<T[]>(count <= kMost ? new (std::nothrow) T[count]() : nullptr);
}

/// The account of the arrays of one call.
class Memory {
  public:
    explicit Memory(const char* function) : function_(function) {}

    template <typename T>
    std::unique_ptr<T[]> take(std::size_t count) {
        if (count == 0) return nullptr;
        std::unique_ptr<T[]> array = make_array<T>(count);
        bytes_ += static_cast<double>(count) * sizeof(T);
        missing_ = missing_ || array == nullptr;
        return array;
    }

    /// True, and reported as an error, where an array that was asked for is not there.
    bool missing() const {
        if (missing_) complain();
        return missing_;
    }

  private:
    void complain() const;

    const char* function_;
    double bytes_ = 0.0;
    bool missing_ = false;
};

/// Zeroed array that knows its size.
template <typename T>
class Work {
  public:
    Work(Memory& memory, std::size_t count) : array_(memory.take<T>(count)), size_(count) {}
    T* data() const { return array_.get(); }
    T* begin() const { return data(); }
    T* end() const { return data() + size_; }
    T& operator[](std::size_t i) const { return array_[i]; }
    std::size_t size() const { return size_; }

  private:
    std::unique_ptr<T[]> array_;
    std::size_t size_;
};

// --- text (common_function.cpp) ------------------------------------------------------------------------------------------
// None of these depends on the locale, allocates ("%Lf" of hundreds of digits may), or reads behind the terminator.

constexpr bool is_blank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// Number at the start of a text, as atof reads it in the C locale (leading blanks, sign, inf and nan; no hexadecimal form).
/// 0 where there is none. A non-null `end` receives the first character not used.
double to_double(const char* text, const char** end = nullptr);

/// Integer at the start of a text, as atoi; saturates at the limits of int. 0 where there is none.
int to_int(const char* text);

/// sscanf for "%d", "%lf", "%Lf", "%c", "%s" with optional widths, "%*s", blanks and literal characters. "%s" needs a width and
/// an array of that width + 1. Returns the number of conversions stored; -1 when the text ends before the first one.
int scan(const char* text, const char* format, ...);

/// Copies the fixed columns [start, start + width) of a line into out (width + 1 characters), as far as the line has them.
void copy_field(const char* line, std::size_t start, std::size_t width, char* out);

/// Number in fixed columns of a line (width at most 63); 0 for a blank or missing field.
double field_double(const char* line, std::size_t start, std::size_t width);

/// The same for a line of known length.
double field_double(const char* line, std::size_t length, std::size_t start, std::size_t width);

/// Zeroes memory through the C library. Where compilers know a size of some hundred bytes they write a string instruction instead, which
/// takes longer than the rest of a line.
inline void clear(void* memory, std::size_t size) {
    asm("" : "+r"(size));
    std::memset(memory, 0, size);
}

/// Replaces every `from` of a line by `to`.
void replace_char(char* line, char from, char to);

/// The same for a line of known length.
void replace_char(char* line, std::size_t length, char from, char to);

/// True if a line holds the text at or behind a position.
bool contains(const char* line, const char* text, std::size_t from = 0);

/// Opens a file for reading. Null for a null name, for what cannot be opened, and for a directory. A named pipe without a writer
/// counts as an empty file.
std::FILE* open_text(const char* name);

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

/// Splits a line at any of the separators (runs count as one), up to the first newline, into at most `limit` tokens.
/// `reader` (may be null) gives the name for the warning and remembers that it was given.
void split(const char* line, const char* separators, Tokens& tokens, int limit = kMaxTokens,
           LineReader* reader = nullptr);

/// One warning a file when a fixed limit is exceeded: "%s: more than %d %s, the excess is dropped".
/// `warned` remembers that it was given.
void warn_limit(bool& warned, const char* file, int limit, const char* what);

// --- vector registers ------------------------------------------------------------------------------------------------------
// A kernel is a lambda marked LEOPOD_KERNEL that works on Quads, four independent elements at a time. It is compiled for the baseline
// and, on x86-64, for AVX2 as well, and the processor chooses. All give the same bits: every element sees the same operations in the
// same order, and none is contracted.

using Quad [[gnu::vector_size(32)]] = double;
using QuadBits [[gnu::vector_size(32)]] = long long;
constexpr int kQuad = 4;

#define LEOPOD_KERNEL __attribute__((always_inline))

/// A Quad anywhere in an array of numbers.
struct [[gnu::packed, gnu::may_alias]] QuadInArray {
    Quad value;
};
LEOPOD_KERNEL inline Quad load(const double* p) { return reinterpret_cast<const QuadInArray*>(p)->value; }
LEOPOD_KERNEL inline void store(double* p, Quad value) { reinterpret_cast<QuadInArray*>(p)->value = value; }
LEOPOD_KERNEL inline Quad quad(double x) { return Quad{x, x, x, x}; }

#if defined(__clang__)
#define LEOPOD_SHUFFLE(a, b, i, j, k, l) __builtin_shufflevector(a, b, i, j, k, l)
#else
#define LEOPOD_SHUFFLE(a, b, i, j, k, l) __builtin_shuffle(a, b, QuadBits{i, j, k, l})
#endif

/// Columns of a 4 x 4 matrix from its rows.
LEOPOD_KERNEL inline void transpose(Quad a, Quad b, Quad c, Quad d, Quad (&column)[kQuad]) {
    const Quad ab02 = LEOPOD_SHUFFLE(a, b, 0, 4, 2, 6), ab13 = LEOPOD_SHUFFLE(a, b, 1, 5, 3, 7);
    const Quad cd02 = LEOPOD_SHUFFLE(c, d, 0, 4, 2, 6), cd13 = LEOPOD_SHUFFLE(c, d, 1, 5, 3, 7);
    column[0] = LEOPOD_SHUFFLE(ab02, cd02, 0, 1, 4, 5);
    column[1] = LEOPOD_SHUFFLE(ab13, cd13, 0, 1, 4, 5);
    column[2] = LEOPOD_SHUFFLE(ab02, cd02, 2, 3, 6, 7);
    column[3] = LEOPOD_SHUFFLE(ab13, cd13, 2, 3, 6, 7);
}

using Pair [[gnu::vector_size(16)]] = double;

struct [[gnu::packed, gnu::may_alias]] PairInArray {
    Pair value;
};
LEOPOD_KERNEL inline void store(double* p, Pair value) { reinterpret_cast<PairInArray*>(p)->value = value; }
LEOPOD_KERNEL inline void store(double* p, double value) { *p = value; }

LEOPOD_KERNEL inline double magnitude(double x) { return std::fabs(x); }
template <typename T>
LEOPOD_KERNEL inline T magnitude(T x) {
    using Bits [[gnu::vector_size(sizeof(T))]] = long long;
    return reinterpret_cast<T>(reinterpret_cast<Bits>(x) & std::numeric_limits<long long>::max());
}

/// One, two or four elements from p on.
template <typename T>
LEOPOD_KERNEL inline T load_as(const double* p) {
    if constexpr (std::is_same_v<T, Quad>) return load(p);
    if constexpr (std::is_same_v<T, Pair>) return reinterpret_cast<const PairInArray*>(p)->value;
    if constexpr (std::is_same_v<T, double>) return *p;
}

/// Calls body(T{}, j) for all j below n, T being Quad, then Pair, then double.
template <typename Body>
LEOPOD_KERNEL inline void for_all_elements(int n, const Body& body) {
    int j = 0;
    for (; j + kQuad <= n; j += kQuad) body(Quad{}, j);
    for (; j + 2 <= n; j += 2) body(Pair{}, j);
    for (; j < n; ++j) body(0.0, j);
}

/// Four sums that a loop carries along: in one wide register, or in two, where a Quad would go through memory from pass to pass.
template <bool wide>
struct FourSums {
    Quad sum = {};
    LEOPOD_KERNEL void set(Quad x) { sum = x; }
    LEOPOD_KERNEL void add(Quad x) { sum += x; }
    LEOPOD_KERNEL Quad value() const { return sum; }
};
template <>
struct FourSums<false> {
    Pair low = {}, high = {};
    LEOPOD_KERNEL void set(Quad x) {
        low = Pair{x[0], x[1]};
        high = Pair{x[2], x[3]};
    }
    LEOPOD_KERNEL void add(Quad x) {
        low += Pair{x[0], x[1]};
        high += Pair{x[2], x[3]};
    }
    LEOPOD_KERNEL Quad value() const { return Quad{low[0], low[1], high[0], high[1]}; }
};

#if defined(__x86_64__) && !defined(LEOPOD_BASELINE)
template <typename Kernel>
[[gnu::target("avx2"), gnu::noinline]] void run_avx2(const Kernel& kernel) {
    kernel(std::true_type{});
}
#endif

/// Runs a kernel; its argument, std::true_type or std::false_type, tells whether the registers are wide.
template <typename Kernel>
void run_widest(const Kernel& kernel) {
#if defined(__x86_64__) && !defined(LEOPOD_BASELINE)
    if (__builtin_cpu_supports("avx2")) return run_avx2(kernel);
#endif
    kernel(std::false_type{});
}

// --- solvers (mathlib.cpp) -------------------------------------------------------------------------------------------------

/// Result of the following where the memory is missing; the exported functions return -1 then, as for a singular system.
constexpr int kNoMemory = -2;

/// solve_lsq_normal.
int solve_normal(double* BTWB, double* BTWL, int n, double* x, double* Q);

/// kalman_filter.
int filter_active(double* x, double* P, double* H, double* v, double* R, int n, int m);

// --- signals (obs_processing.cpp) ---------------------------------------------------------------------------------------

/// Travel time of a signal between two positions, without the turn of the earth [s].
double signal_time(const double* satpos, const double* station_pos);

// --- angles and fundamental arguments (iau_function.cpp) -------------------------------------------------------------------

constexpr double kTwoPi = 6.283185307179586476925287;
constexpr double kArcsecToRad = 4.848136811095359935899141e-6;
constexpr double kArcsecInTurn = 1296000.0;
constexpr double kJdJ2000 = 2451545.0;  ///< Julian date of J2000.0
constexpr double kDaysInCentury = 36525.0;

/// Value of a polynomial by Horner's rule; c[0] is the constant.
template <std::size_t N>
constexpr double horner(const double (&c)[N], double t) {
    double sum = c[N - 1];
    for (std::size_t i = N - 1; i-- > 0;) sum = c[i] + t * sum;
    return sum;
}

/// fmod(x, 2 pi), the same bits, in a few nanoseconds up to 2^20 turns.
double fmod_two_pi(double x);

/// std::sin and std::cos of one angle, the same bits, with one reduction where the C library offers it.
inline void sine_cosine(double angle, double& s, double& c) {
#if defined(__GLIBC__)
    ::sincos(angle, &s, &c);
#else
    s = std::sin(angle);
    c = std::cos(angle);
#endif
}

/// Nutation angles of IAU 2000A [rad] as iauNut00a, and the celestial-to-intermediate matrix as iauC2i06a, with the terms' sines and
/// cosines from products instead of a pair of calls each: a sixth of the time, up to 5e-20 rad off in each angle.
void fast_nutation(double date1, double date2, double& dpsi, double& deps);
void fast_celestial_to_intermediate(double date1, double date2, double rc2i[3][3]);

/// Mean anomaly of the Sun and mean elongation of the Moon from the Sun with the five-decimal constants of MHB2000 and of
/// the IERS Conventions [rad]; t in Julian centuries of TT since J2000.0.
double mean_anomaly_sun_mhb(double t);
double mean_elongation_moon_mhb(double t);

/// Mean obliquity of the ecliptic, IAU 2006 [rad].
double mean_obliquity_2006(double t);

/// l, l', F, D, Om, L_Venus, L_Earth, pA after the IERS Conventions (2003) [rad]: arguments of the series for s and for the
/// equation of the equinoxes.
void cio_arguments(double t, double (&fa)[8]);

/// s sin(a) + c cos(a) with a the combination n of such arguments.
double cio_term(const int (&n)[8], double s, double c, const double (&fa)[8]);

}  // namespace leopod

#endif
