/// \file command.h
/// The subcommands of the program: each registers its options and, when it was chosen, what is to be done. The parser of the options
/// stands behind these classes, in command.cpp alone.
#ifndef LEOPOD_HOST_COMMAND_H
#define LEOPOD_HOST_COMMAND_H

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace host {

/// Does the work of a parsed subcommand and returns the exit status; may throw InputError.
using Action = std::function<int()>;

/// One option; the calls add to it and can be chained.
class Option {
  public:
    explicit Option(CLI::Option* option) : option_(option) {}
    Option required();
    Option capture_default_str();  ///< the help shows the value that holds without the option
    Option expected(int count);    ///< that many values
    Option expected(int least, int most);
    Option delimiter(char c);  ///< values in one text, between these
    Option one_of(const std::vector<std::string>& values);
    Option non_negative();
    Option positive();
    Option excludes(const Option& other);  ///< one of them at most may be given

  private:
    CLI::Option* option_;
};

/// A command, or one of its subcommands. A vector takes every value of an option that may be repeated.
class Command {
  public:
    explicit Command(CLI::App* app) : app_(app) {}
    Command add_subcommand(const std::string& name, const std::string& description) const;
    void require_subcommand() const;
    /// An example of use, below the help of one of its subcommands.
    void example(const std::string& subcommand, const std::string& text) const;
    void callback(std::function<void()> chosen) const;
    Option add_option(const std::string& names, std::string& value, const std::string& help) const;
    Option add_option(const std::string& names, double& value, const std::string& help) const;
    Option add_option(const std::string& names, int& value, const std::string& help) const;
    Option add_option(const std::string& names, long& value, const std::string& help) const;
    Option add_option(const std::string& names, std::uint64_t& value, const std::string& help) const;
    Option add_option(const std::string& names, std::vector<std::string>& value, const std::string& help) const;
    Option add_option(const std::string& names, std::vector<double>& value, const std::string& help) const;
    /// A "!" in front of the name: given, the value becomes false.
    Option add_flag(const std::string& names, bool& value, const std::string& help) const;

  private:
    CLI::App* app_;
};

/// The arguments of the program.
class CommandLine {
  public:
    CommandLine(const std::string& description, const std::string& version);
    ~CommandLine();
    Command root();
    /// Parses; runs the callback of the command that was chosen. False, with the program's exit status, when the program ends with that.
    bool parse(int argc, char** argv, int& status);

    /// Options of the command that was chosen, with their values or defaults.
    static const std::vector<std::pair<std::string, std::vector<std::string>>>& settings();

    /// The command line that was parsed, as a shell takes it; an option may be left out.
    static std::string text(const std::string& without = "");

  private:
    std::unique_ptr<CLI::App> app_;
};

/// An example for each command.
void add_examples(Command root);
void add_run(Command app, Action& action);
void add_fit(Command app, Action& action);
void add_orbit(Command app, Action& action);
void add_propagate(Command app, Action& action);
void add_tide(Command app, Action& action);
void add_tle(Command app, Action& action);
void add_crd(Command app, Action& action);
void add_plot(Command app, Action& action);
void add_report(Command app, Action& action);
void add_simulate(Command app, Action& action);

}  // namespace host

#endif
