#include "inputs/crinex.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <unordered_map>
#include <vector>

#include "shared/error.h"
#include "shared/unnamed_file.h"

namespace host {

namespace {

constexpr std::size_t kMaxLine = 1U << 16U;  ///< a line of 200 types takes 6 kB
constexpr int kMaxTypes = 200;
constexpr int kMaxOrder = 9;             ///< of differences, one digit
constexpr std::size_t kValueWidth = 14;  ///< F14.3
constexpr std::size_t kFieldWidth = 16;  ///< with its two flags
constexpr int kMaxHeaderLines = 100000;

/// Why an epoch can't be read.
struct Fault {
    const char* reason;
};
/// The file ends within an epoch.
struct Cut {};

/// Lines of a source, without their ends, read in blocks.
class LineReader {
  public:
    explicit LineReader(ByteSource& from) : from_(from), buffer_(kFileBlock + kMaxLine) {}

    /// The next line, which holds until the next call; false at the end. A line without an end of line is the last one. A longer line than
    /// any file has is cut.
    bool next(std::string_view& line) {
        if (again_) {
            again_ = false;
            line = line_;
            return true;
        }
        const char* end = find_end();
        if (end == nullptr && at_ == filled_) return false;
        ++number_;
        const char* const begin = buffer_.data() + at_;
        std::size_t size = end != nullptr ? static_cast<std::size_t>(end - begin) : filled_ - at_;
        at_ += size + (end != nullptr ? 1 : 0);
        is_whole_ = end != nullptr;
        if (size > 0 && begin[size - 1] == '\r') --size;
        line_ = line = std::string_view(begin, size);
        return true;
    }
    /// Gives the line once more.
    void again() { again_ = true; }
    long number() const { return number_; }
    /// False for a last line that lacks its end.
    bool is_whole() const { return is_whole_; }

  private:
    /// The end of the line that begins here; more is read where it isn't there yet.
    const char* find_end() {
        std::size_t from = at_;
        for (;;) {
            if (const void* end = std::memchr(buffer_.data() + from, '\n', filled_ - from); end != nullptr)
                return static_cast<const char*>(end);
            if (ended_ || filled_ - at_ >= kMaxLine) return nullptr;
            from = filled_ - at_;
            std::memmove(buffer_.data(), buffer_.data() + at_, filled_ - at_);
            filled_ -= at_;
            at_ = 0;
            const std::size_t n = from_.read(buffer_.data() + filled_, buffer_.size() - filled_);
            ended_ = n == 0;
            filled_ += n;
        }
    }

    ByteSource& from_;
    std::vector<char> buffer_;
    std::size_t at_ = 0, filled_ = 0;
    bool ended_ = false, again_ = false, is_whole_ = true;
    long number_ = 0;
    std::string_view line_;
};

/// Numbers that are written as differences of rising order. The arithmetic wraps around; what doesn't fit a field is found when written.
class Arc {
  public:
    void end() { order_ = -1; }
    bool runs() const { return order_ >= 0; }
    void start(int order, std::int64_t value) {
        order_ = order;
        level_ = 0;
        last_[0] = static_cast<std::uint64_t>(value);
    }
    std::int64_t go_on(std::int64_t difference) {
        if (level_ < order_) ++level_;
        last_[static_cast<std::size_t>(level_)] = static_cast<std::uint64_t>(difference);
        for (int i = level_; i > 0; --i) last_[static_cast<std::size_t>(i - 1)] += last_[static_cast<std::size_t>(i)];
        return value();
    }
    std::int64_t value() const { return static_cast<std::int64_t>(last_[0]); }

  private:
    int order_ = -1, level_ = 0;
    std::array<std::uint64_t, kMaxOrder + 1> last_{};
};

struct Satellite {
    long epoch = -1;  ///< the last one that has it
    std::vector<Arc> arcs;
    std::string flags;  ///< two characters a type
};

bool is_digit(char c) { return c >= '0' && c <= '9'; }

/// A whole number at the front of a text, which is shortened by it.
bool take_number(const char*& at, const char* end, std::int64_t& value) {
    const bool negative = at != end && *at == '-';
    const char* c = at + (negative ? 1 : 0);
    std::uint64_t n = 0;
    const char* const first = c;
    for (; c != end && is_digit(*c); ++c) n = 10 * n + static_cast<std::uint64_t>(*c - '0');
    if (c == first || c - first > 18) return false;
    value = negative ? -static_cast<std::int64_t>(n) : static_cast<std::int64_t>(n);
    at = c;
    return true;
}

/// A value of an arc at the front of a text: `n&v` starts it, a number goes on.
std::int64_t take_value(Arc& arc, const char*& at, const char* end) {
    std::int64_t value = 0;
    if (end - at > 1 && at[1] == '&') {
        if (!is_digit(*at)) throw Fault{"the order of an arc is no digit"};
        const int order = *at - '0';
        at += 2;
        if (!take_number(at, end, value)) throw Fault{"a number is expected"};
        arc.start(order, value);
        return value;
    }
    if (!take_number(at, end, value)) throw Fault{"a number is expected"};
    if (!arc.runs()) throw Fault{"a difference without a value before it"};
    return arc.go_on(value);
}

/// Applies a difference of texts: a blank keeps the character, & makes it a blank.
void apply(std::string& text, std::string_view difference) {
    if (difference.size() > text.size()) text.resize(difference.size(), ' ');
    for (std::size_t i = 0; i < difference.size(); ++i) {
        if (difference[i] != ' ') text[i] = difference[i] == '&' ? ' ' : difference[i];
    }
}

/// The digits of a number in front of a place, in pairs; `least` of them at least. Gives where they begin.
char* put_digits(std::uint64_t number, int least, char* at) {
    static constexpr auto kPairs = [] {
        std::array<char, 200> pairs{};
        for (std::size_t i = 0; i < 100; ++i) {
            pairs[2 * i] = static_cast<char>('0' + i / 10);
            pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
        }
        return pairs;
    }();
    char* const end = at;
    for (; number >= 10; number /= 100) {
        const std::size_t pair = 2 * static_cast<std::size_t>(number % 100);
        *--at = kPairs[pair + 1];
        *--at = kPairs[pair];
    }
    if (number > 0) *--at = static_cast<char>('0' + number);
    while (end - at < least) *--at = '0';
    return at;
}

/// Writes a whole number of units of the last decimal into a field; false where it is too long.
template <int decimals>
bool put_fixed(std::int64_t value, char* field, std::size_t width) {
    constexpr std::uint64_t kUnit = decimals == 3 ? 1000 : decimals == 9 ? 1000000000 : 1000000000000;
    static_assert(decimals == 3 || decimals == 9 || decimals == 12);
    const std::uint64_t size = value < 0 ? 0U - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value);
    char text[32];
    char* const end = text + sizeof text;
    char* at = put_digits(size % kUnit, decimals, end);
    *--at = '.';
    at = put_digits(size / kUnit, 1, at);
    if (value < 0) *--at = '-';
    const std::size_t length = static_cast<std::size_t>(end - at);
    if (length > width) return false;
    std::memset(field, ' ', width - length);
    std::memcpy(field + width - length, at, length);
    return true;
}

std::string_view field(std::string_view text, std::size_t from, std::size_t size) {
    return from < text.size() ? text.substr(from, size) : std::string_view();
}

/// A count in a few columns; -1 where there is none.
int count_of(std::string_view text) {
    int n = -1;
    for (const char c : text) {
        if (is_digit(c)) {
            n = 10 * (n < 0 ? 0 : n) + (c - '0');
        } else if (c != ' ') {
            return -1;
        }
    }
    return n;
}

bool has_label(std::string_view line, const char* label) { return field(line, 60, 20).find(label) == 0; }

/// Places in an epoch line, by the version.
struct Layout {
    bool version3;
    std::size_t flag, count, epoch_end, list, clock, clock_width;
};
constexpr Layout kVersion1{false, 28, 29, 32, 32, 68, 12};
constexpr Layout kVersion3{true, 31, 32, 35, 41, 41, 15};

class Expander {
  public:
    Expander(ByteSource& from, const ByteSink& to) : lines_(from), to_(to) {}

    CrinexReport run() {
        read_header();
        while (!ended_) {
            const std::size_t complete = out_.size();
            try {
                read_epoch();
            } catch (const Fault& fault) {
                out_.resize(complete);
                pass_over(fault.reason);
            } catch (const Cut&) {
                out_.resize(complete);
                report_.is_cut = ended_ = true;
            }
            if (out_.size() >= kFileBlock || ended_) {
                to_(out_.data(), out_.size());
                out_.clear();
            }
        }
        return report_;
    }

  private:
    void read_header() {
        std::string_view line;
        if (!lines_.next(line) || !is_crinex(line)) throw InputError("is not a Compact RINEX file");
        const char version =
            line.find_first_not_of(' ') != std::string_view::npos ? line[line.find_first_not_of(' ')] : ' ';
        if (version != '1' && version != '3') throw InputError("version of this Compact RINEX file is not 1.0 or 3.0");
        layout_ = version == '3' ? kVersion3 : kVersion1;
        if (!lines_.next(line)) throw InputError("this Compact RINEX file ends in its header");
        types_.fill(-1);
        for (int i = 0; i < kMaxHeaderLines && lines_.next(line); ++i) {
            note_types(line);
            copy(line);
            if (has_label(line, "END OF HEADER")) return;
        }
        throw InputError("this Compact RINEX file ends in its header");
    }

    /// Numbers of types, in the header and in the records of an event.
    void note_types(std::string_view line) {
        int* types = nullptr;
        int count = -1;
        if (!layout_.version3 && has_label(line, "# / TYPES OF OBSERV")) {
            count = count_of(field(line, 0, 6));
            types = types_.data();
        } else if (layout_.version3 && has_label(line, "SYS / # / OBS TYPES") && line[0] >= 'A' && line[0] <= 'Z') {
            count = count_of(field(line, 3, 3));
            types = &types_[static_cast<std::size_t>(line[0] - 'A')];
        }
        if (types == nullptr || count < 0) return;
        if (count > kMaxTypes) throw InputError("more than 200 observation types in this Compact RINEX file");
        *types = count;
    }

    void copy(std::string_view line) {
        out_ += line;
        out_ += '\n';
    }

    std::string_view need_line() {
        std::string_view line;
        if (!lines_.next(line)) throw Cut{};
        return line;
    }

    bool starts_anew(std::string_view line) const { return !line.empty() && line[0] == (layout_.version3 ? '>' : '&'); }

    /// Leaves out what stands before the next epoch that starts anew.
    void pass_over(const char* reason) {
        if (report_.faults++ == 0) {
            report_.line = lines_.number();
            report_.reason = reason;
        }
        text_.clear();
        std::string_view line;
        while (lines_.next(line)) {
            if (!starts_anew(line)) continue;
            lines_.again();
            return;
        }
        ended_ = true;
    }

    void read_epoch() {
        std::string_view line;
        do {
            if (!lines_.next(line)) {
                ended_ = true;
                return;
            }
        } while (line.empty());
        if (is_crinex(line)) {  // one file behind another
            lines_.again();
            read_header();
            text_.clear();
            return;
        }
        const bool anew = starts_anew(line);
        if (anew) {
            text_ = line;
            if (!layout_.version3) text_[0] = ' ';
            ++epoch_;  // no satellite is of the epoch before
            clock_.end();
        } else {
            if (text_.empty()) throw Fault{"an epoch that starts anew is expected"};
            apply(text_, line);
        }
        text_.erase(text_.find_last_not_of(' ') + 1);
        if (text_.size() > kMaxLine) throw Fault{"the line is too long"};
        const std::string_view flag = field(text_, layout_.flag, 1);
        const int count = count_of(field(text_, layout_.count, 3));
        if (flag.empty() || count < 0) throw Fault{"this is no epoch"};
        if (flag[0] > '1') {
            read_event(count);
        } else {
            read_satellites(count);
        }
    }

    void read_event(int count) {
        copy(field(text_, 0, layout_.epoch_end));
        for (int i = 0; i < count; ++i) {
            const std::string_view line = need_line();
            note_types(line);
            copy(line);
        }
    }

    void read_satellites(int count) {
        const std::size_t end = layout_.list + 3 * static_cast<std::size_t>(count);
        if (text_.size() < end - (count > 0 ? 1 : 0) && count > 0) throw Fault{"the list of satellites is too short"};
        const std::string_view clock = need_line();
        char clock_text[16];
        std::size_t clock_size = 0;
        if (const std::size_t first = clock.find_first_not_of(' '); first != std::string_view::npos) {
            const char* at = clock.data() + first;
            const std::int64_t value = take_value(clock_, at, clock.data() + clock.size());
            clock_size = layout_.clock_width;
            const bool fits = layout_.version3 ? put_fixed<12>(value, clock_text, clock_size)
                                               : put_fixed<9>(value, clock_text, clock_size);
            if (!fits) throw Fault{"the clock is too large"};
        } else {
            clock_.end();
        }
        put_epoch_line(count, std::string_view(clock_text, clock_size));
        ++epoch_;
        for (int i = 0; i < count; ++i)
            read_satellite(std::string_view(text_).substr(layout_.list + 3U * static_cast<std::size_t>(i), 3));
        if (!lines_.is_whole()) throw Cut{};
        ++report_.epochs;
    }

    void put_epoch_line(int count, std::string_view clock) {
        const std::size_t line = out_.size();
        out_.append(text_, 0, layout_.epoch_end);
        constexpr int kPerLine = 12;
        if (!layout_.version3)
            out_.append(text_, layout_.list, 3U * static_cast<std::size_t>(std::min(count, kPerLine)));
        if (!clock.empty()) {
            out_.resize(line + layout_.clock, ' ');
            out_ += clock;
        }
        end_line(line);
        for (int i = kPerLine; i < count && !layout_.version3; i += kPerLine) {
            out_.append(layout_.list, ' ');
            out_.append(text_, layout_.list + 3U * static_cast<std::size_t>(i),
                        3U * static_cast<std::size_t>(std::min(count - i, kPerLine)));
            out_ += '\n';
        }
    }

    /// Cuts the blanks at the end of the line that begins here.
    void end_line(std::size_t begin) {
        std::size_t end = out_.size();
        while (end > begin && out_[end - 1] == ' ') --end;
        out_.resize(end);
        out_ += '\n';
    }

    /// Types of a satellite's system.
    int types_of(std::string_view name) const {
        const bool letter = name[0] >= 'A' && name[0] <= 'Z';
        if (!(letter || (name[0] == ' ' && !layout_.version3)) || !is_digit(name.back()) ||
            !(name.size() == 3 && (is_digit(name[1]) || name[1] == ' ')))
            throw Fault{"the list of satellites holds something else"};
        const int types = types_[layout_.version3 ? static_cast<std::size_t>(name[0] - 'A') : 0];
        if (types < 0) throw Fault{"the header has no observation types of a satellite's system"};
        return types;
    }

    /// What is kept of a satellite, emptied where it was not in the epoch before.
    Satellite& state_of(std::string_view name, std::size_t types) {
        const std::uint32_t key = static_cast<std::uint32_t>(static_cast<unsigned char>(name[0])) << 16U |
                                  static_cast<std::uint32_t>(static_cast<unsigned char>(name[1])) << 8U |
                                  static_cast<std::uint32_t>(static_cast<unsigned char>(name[2]));
        Satellite& s = satellites_[key];
        if (s.epoch != epoch_ - 1 || s.arcs.size() != types) {
            s.arcs.assign(types, Arc());
            s.flags.assign(2 * types, ' ');
        }
        s.epoch = epoch_;
        return s;
    }

    void read_satellite(std::string_view name) {
        const std::size_t types = static_cast<std::size_t>(types_of(name));
        const std::string_view line = need_line();
        Satellite& s = state_of(name, types);
        fields_.resize(types * kFieldWidth);
        const char* at = line.data();
        const char* const end = at + line.size();
        for (std::size_t i = 0; i < types; ++i) {
            char* const value = fields_.data() + i * kFieldWidth;
            if (at == end || *at == ' ') {
                s.arcs[i].end();
                std::memset(value, ' ', kValueWidth);
            } else if (!put_fixed<3>(take_value(s.arcs[i], at, end), value, kValueWidth)) {
                throw Fault{"a value is too large"};
            }
            if (at != end && *at++ != ' ') throw Fault{"a blank is expected between two values"};
        }
        const std::string_view flags(at, static_cast<std::size_t>(end - at));
        if (flags.size() > 2 * types) throw Fault{"a satellite has more flags than observation types"};
        apply(s.flags, flags);
        for (std::size_t i = 0; i < types; ++i)
            std::memcpy(fields_.data() + i * kFieldWidth + kValueWidth, s.flags.data() + 2 * i, 2);
        put_fields(name, types);
    }

    void put_fields(std::string_view name, std::size_t types) {
        const std::size_t per_line = layout_.version3 ? std::max<std::size_t>(types, 1) : 5;
        std::size_t i = 0;
        do {
            const std::size_t line = out_.size();
            if (layout_.version3) out_ += name;
            const std::size_t count = std::min(per_line, types - i);
            out_.append(fields_.data() + i * kFieldWidth, count * kFieldWidth);
            end_line(line);
            i += count;
        } while (i < types);
    }

    LineReader lines_;
    const ByteSink& to_;
    Layout layout_ = kVersion1;
    std::array<int, 26> types_{};  ///< observation types by the letter of the system; version 1: the first alone
    std::string text_;             ///< of the last epoch line; empty: the next one must start anew
    Arc clock_;
    std::unordered_map<std::uint32_t, Satellite> satellites_;
    std::vector<char> fields_;  ///< of a satellite: values and flags
    std::string out_;
    long epoch_ = 0;
    bool ended_ = false;
    CrinexReport report_;
};

}  // namespace

bool is_crinex(std::string_view head) { return field(head, 20, 20).find("COMPACT RINEX FORMAT") == 0; }

CrinexReport expand_crinex(ByteSource& from, const ByteSink& to) { return Expander(from, to).run(); }

}  // namespace host
