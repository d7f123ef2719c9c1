#include "commands/command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "inputs/csv.h"
#include "shared/nearest.h"

namespace host {

namespace {

using Settings = std::vector<std::pair<std::string, std::vector<std::string>>>;

Settings chosen;                 ///< of the command line that was parsed last
std::vector<std::string> given;  ///< that command line

/// An argument as a shell takes it.
std::string argument(const std::string& text) {
    const std::string harmless = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:=,+@%";
    if (!text.empty() && text.find_first_not_of(harmless) == std::string::npos) return text;
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

void collect(const CLI::App& app, Settings& settings) {
    for (const CLI::App* sub : app.get_subcommands()) {
        for (const CLI::Option* option : sub->get_options()) {
            const std::vector<std::string> names = option->get_lnames();
            const std::string name = !names.empty() ? names.front() : option->get_name();
            if (name == "help") continue;
            if (option->count() > 0) {
                settings.emplace_back(name, option->results());
            } else if (!option->get_default_str().empty()) {
                settings.push_back({name, {option->get_default_str()}});
            }
        }
        collect(*sub, settings);
    }
}

/// Help without the values that the parser shows behind flags that take something away.
class PlainNames : public CLI::Formatter {
  public:
    std::string make_option_name(const CLI::Option* option, bool positional) const override {
        std::string name = CLI::Formatter::make_option_name(option, positional);
        const std::size_t value = name.find("{false}");
        return value == std::string::npos ? name : name.erase(value, 7);
    }
};

/// A number from the least one on; the parser's own checks take infinity and what is no number, and print limits of 300 digits.
CLI::Validator number_check(double least, bool least_too, const std::string& expected) {
    return CLI::Validator(
        [=](const std::string& text) {
            double value = 0;
            const bool ok = parse_number(text, value) && (least_too ? value >= least : value > least);
            return ok ? std::string() : text + " is given, " + expected + " is expected";
        },
        "");
}

CLI::Validator finite_check() { return number_check(-1e300, true, "a number"); }

std::vector<const CLI::App*> subcommands_of(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

/// What the parser leaves to guess: a command or an option that there isn't. Empty where all are known.
std::string unknown_argument(const CLI::App& app, int argc, char** argv) {
    const CLI::App* command = &app;
    std::string path;
    int i = 1;
    for (; !subcommands_of(*command).empty(); ++i) {
        std::vector<std::string> known;
        const CLI::App* next = nullptr;
        for (const CLI::App* sub : subcommands_of(*command)) {
            known.push_back(sub->get_name());
            if (i < argc && sub->get_name() == argv[i]) next = sub;
        }
        const std::string of = path.empty() ? "" : " of " + path;
        if (i >= argc) return "no command" + of + " is given; " + list_of(known) + " is expected";
        if (next == nullptr)
            return argv[i] + (" is no command" + of) + ", " + list_of(known) + " is expected" +
                   did_you_mean(argv[i], known);
        path += (path.empty() ? "" : " ") + next->get_name();
        command = next;
    }
    std::vector<std::string> known;
    for (const CLI::Option* option : command->get_options()) {
        for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
    }
    for (; i < argc; ++i) {
        const std::string name = std::string(argv[i]).substr(0, std::string(argv[i]).find('='));
        if (name.size() > 2 && name.compare(0, 2, "--") == 0 &&
            std::find(known.begin(), known.end(), name) == known.end())
            return path + " has no option " + name + did_you_mean(name, known);
    }
    return "";
}

}  // namespace

Option Option::required() {
    option_->required();
    return *this;
}

Option Option::capture_default_str() {
    option_->capture_default_str();
    return *this;
}

Option Option::expected(int count) {
    option_->expected(count);
    return *this;
}

Option Option::expected(int least, int most) {
    option_->expected(least, most);
    return *this;
}

Option Option::delimiter(char c) {
    option_->delimiter(c);
    return *this;
}

Option Option::excludes(const Option& other) {
    option_->excludes(other.option_);
    return *this;
}

Option Option::one_of(const std::vector<std::string>& values) {
    option_->check(CLI::IsMember(values));
    return *this;
}

Option Option::non_negative() {
    option_->check(number_check(0.0, true, "a number from 0 on").description("0 or more"));
    return *this;
}

Option Option::positive() {
    option_->check(number_check(0.0, false, "a number above 0").description("above 0"));
    return *this;
}

Command Command::add_subcommand(const std::string& name, const std::string& description) const {
    return Command(app_->add_subcommand(name, description));
}

void Command::require_subcommand() const { app_->require_subcommand(1); }

void Command::example(const std::string& subcommand, const std::string& text) const {
    app_->get_subcommand(subcommand)->footer("Example:\n  " + text);
}

void Command::callback(std::function<void()> chosen) const { app_->callback(std::move(chosen)); }

Option Command::add_option(const std::string& names, std::string& value, const std::string& help) const {
    return Option(app_->add_option(names, value, help));
}

Option Command::add_option(const std::string& names, double& value, const std::string& help) const {
    return Option(app_->add_option(names, value, help)->check(finite_check()));
}

Option Command::add_option(const std::string& names, int& value, const std::string& help) const {
    return Option(app_->add_option(names, value, help));
}

Option Command::add_option(const std::string& names, long& value, const std::string& help) const {
    return Option(app_->add_option(names, value, help));
}

Option Command::add_option(const std::string& names, std::uint64_t& value, const std::string& help) const {
    return Option(app_->add_option(names, value, help));
}

Option Command::add_option(const std::string& names, std::vector<std::string>& value, const std::string& help) const {
    return Option(app_->add_option(names, value, help));
}

Option Command::add_option(const std::string& names, std::vector<double>& value, const std::string& help) const {
    return Option(app_->add_option(names, value, help)->check(finite_check()));
}

Option Command::add_flag(const std::string& names, bool& value, const std::string& help) const {
    return Option(app_->add_flag(names, value, help));
}

CommandLine::CommandLine(const std::string& description, const std::string& version)
    : app_(std::make_unique<CLI::App>(description)) {
    app_->formatter(std::make_shared<PlainNames>());  // the commands inherit it
    app_->set_version_flag("--version", version);
    app_->require_subcommand(1);
}

CommandLine::~CommandLine() = default;

const Settings& CommandLine::settings() { return chosen; }

std::string CommandLine::text(const std::string& without) {
    std::string line = "leopod";
    for (std::size_t i = 0; i < given.size(); ++i) {
        if (!without.empty() && given[i] == without) {
            ++i;  // its value
        } else if (without.empty() || given[i].compare(0, without.size() + 1, without + "=") != 0) {
            line += " " + argument(given[i]);
        }
    }
    return line;
}

Command CommandLine::root() { return Command(app_.get()); }

bool CommandLine::parse(int argc, char** argv, int& status) {
    try {
        app_->parse(argc, argv);
        chosen.clear();
        collect(*app_, chosen);
        given.assign(argv + 1, argv + argc);
        return true;
    } catch (const CLI::ParseError& e) {
        if (e.get_exit_code() == 0) {
            status = app_->exit(e) == 0 ? 0 : 2;
            return false;
        }
        const std::string unknown = unknown_argument(*app_, argc, argv);
        std::fprintf(stderr, "leopod: %s\nRun with --help for more information.\n",
                     unknown.empty() ? e.what() : unknown.c_str());
        status = 2;
        return false;
    }
}

}  // namespace host
