/// \file summary.h
/// The summary of a command as JSON: filled by the command, written at its end. Nothing is printed.
#ifndef LEOPOD_HOST_SUMMARY_H
#define LEOPOD_HOST_SUMMARY_H

#include <cstdint>
#include <map>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <type_traits>
#include <vector>

#include "gtime.h"

namespace host {

/// Values stand under paths such as "epochs/solved"; a number in a path is a place of a list. Units stand in the names. A number that is not
/// finite becomes null.
class Summary {
  public:
    using Settings = std::vector<std::pair<std::string, std::vector<std::string>>>;

    struct Input {
        std::string option, file;
        std::string form;         ///< how it is packed; empty: plain
        std::uint64_t bytes = 0;  ///< of the expanded text
        std::string sha256;       ///< of the file as it was given
    };

    /// With an empty file name nothing is written.
    Summary(const std::string& command, const std::string& file, std::vector<Input> inputs, const Settings& settings);
    ~Summary();
    Summary(Summary&&) noexcept;

    void set(const std::string& path, const std::string& value);
    void set(const std::string& path, const char* value) { set(path, std::string(value)); }
    void set(const std::string& path, double value);
    void set(const std::string& path, bool value);
    template <typename Integer, typename = std::enable_if_t<std::is_integral_v<Integer>>>
    void set(const std::string& path, Integer value) {
        set_integer(path, static_cast<long long>(value));
    }
    void set(const std::string& path, const std::vector<double>& values);
    void set(const std::string& path, const std::map<std::string, long>& counts);
    /// A time as a text with its scale in the name: "span/first" becomes "span/first_gpst".
    void set_time(const std::string& path, const GTime& time, int decimals = 3);

    /// Writes it with the exit status and the inputs. Throws InputError when the file cannot be written.
    void write(int status);

  private:
    void set_integer(const std::string& path, long long value);

    std::string file_;
    std::vector<Input> inputs_;
    std::unique_ptr<nlohmann::ordered_json> json_;
};

}  // namespace host

#endif
