/// \file config_check.h
/// Configuration files, line by line before the library reads them: it passes over what it doesn't understand, so that a slip of the pen
/// would change the result without a word. Every line that would be lost, or taken as something else, is named.
#ifndef LEOPOD_HOST_CONFIG_CHECK_H
#define LEOPOD_HOST_CONFIG_CHECK_H

#include <functional>
#include <string>
#include <vector>

namespace host {

/// Checks a dynamics configuration; throws InputError with all faults, one a line.
void check_dynamics_config(const std::string& file);
/// The same for a GNSS configuration.
void check_gnss_config(const std::string& file);

/// One line of a section, without its comment.
struct ConfigLine {
    long number = 0;
    std::string useful;  ///< up to the comment, as it stands
    std::string text;    ///< the same without blanks around it
    std::string section;
    std::vector<std::string> fields;  ///< between blanks
    bool comment_behind = false;      ///< "//" directly behind the text, without a blank
};

/// Reads a file with sections "+NAME" to "-NAME" and collects its faults.
class ConfigCheck {
  public:
    /// \param kind      such as "dynamics configuration"
    /// \param sections  names without sign; the first one has to be there
    ConfigCheck(std::string file, std::string kind, std::vector<std::string> sections);

    /// Hands each line of a section to a function, empty ones too.
    void read(const std::function<void(const ConfigLine&)>& use);
    /// A fault of a line, with what would be understood.
    void fault(const ConfigLine& line, const std::string& reason);
    /// A fault of the file as a whole.
    void fault(const std::string& reason);
    /// Throws where there was any fault.
    void finish() const;

  private:
    bool take_marker(const ConfigLine& line, const std::string& raw);

    std::string file_, kind_;
    std::vector<std::string> sections_;
    std::string open_;
    bool first_section_ = false;
    std::vector<std::string> faults_;
};

/// A whole number within the limits, and nothing else.
bool whole_number(const std::string& text, long least, long most, long& value);

}  // namespace host

#endif
