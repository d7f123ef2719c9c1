/// \file observation_layout.h
/// Which observation stands where in the lines of a RINEX observation file, and by what it is multiplied.
#ifndef LEOPOD_HOST_OBSERVATION_LAYOUT_H
#define LEOPOD_HOST_OBSERVATION_LAYOUT_H

#include <charconv>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace host {

constexpr std::size_t kFieldWidth = 16;  ///< of an observation: value, loss of lock, signal strength
constexpr std::size_t kValueWidth = 14;  ///< of the value
constexpr std::size_t kMostTypes = 64;   ///< of a system; types behind them are left out

/// A satellite of an epoch. The fields stand one behind the other, 16 characters each; those at the end may be missing.
struct ObservedSatellite {
    char system = ' ';
    int prn = 0;
    std::string fields;

    std::string_view field(std::size_t type) const;
    /// One bit for each type that has a value.
    std::uint64_t mask(std::size_t types) const;
};

/// Columns of a line, as far as they are there.
std::string_view columns(std::string_view line, std::size_t first, std::size_t width);
/// Takes the number at the start of a text, behind blanks; false where there is none.
template <typename Number>
bool take_number(std::string_view& text, Number& value) {
    const auto is_blank = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    while (!text.empty() && is_blank(text[0])) text.remove_prefix(1);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return error == std::errc();
}
/// A whole number of some columns; -1 where there is none.
int number_at(std::string_view line, std::size_t first, std::size_t width);
/// True for a header line with that label.
bool has_label(const std::string& line, const char* label);

class ObservationLayout {
  public:
    /// Takes in a header line that concerns the layout; passes over the others.
    void read(const std::string& line);
    /// Ends some header lines. The first ones give the types; those that come anew later are the last ones of their system.
    void take_in();
    /// Names of the types of each system as version 3 has them, such as C1C; version 2 has the same for all systems.
    const std::map<char, std::vector<std::string>>& types() const { return types_; }
    /// Types of a version 2 file.
    std::size_t count_v2() const { return types_v2_.size(); }
    /// Puts the fields where the types have their places, in metres and cycles.
    void apply(ObservedSatellite& satellite) const;

  private:
    void read_types_v2(const std::string& line);
    void read_types_v3(const std::string& line);
    void read_factors(const std::string& line);
    void unscale(ObservedSatellite& satellite) const;
    void put_in_place(ObservedSatellite& satellite) const;

    std::map<char, std::vector<std::string>> types_;   ///< of the file
    std::map<char, std::vector<std::string>> layout_;  ///< in the lines at hand
    bool is_moved_ = false;                            ///< these differ
    char system_ = ' ';                                ///< of a list of types that goes on
    std::size_t types_left_ = 0;
    std::vector<std::string> types_v2_;
    std::map<char, std::map<std::string, int>> factors_;  ///< of types whose values are multiples; no name: all types
    char scaled_ = ' ';                                   ///< system of a list of such types that goes on
    int factor_ = 1, factors_left_ = 0;
};

}  // namespace host

#endif
