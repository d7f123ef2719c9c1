#include "commands/command.h"

#include <CLI/CLI.hpp>

namespace host {

namespace {

using Settings = std::vector<std::pair<std::string, std::vector<std::string>>>;

Settings chosen;  ///< of the command line that was parsed last

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

Option Option::one_of(const std::vector<std::string>& values) {
    option_->check(CLI::IsMember(values));
    return *this;
}

Option Option::non_negative() {
    option_->check(CLI::NonNegativeNumber);
    return *this;
}

Option Option::positive() {
    option_->check(CLI::PositiveNumber);
    return *this;
}

Command Command::add_subcommand(const std::string& name, const std::string& description) const {
    return Command(app_->add_subcommand(name, description));
}

void Command::require_subcommand() const { app_->require_subcommand(1); }

void Command::callback(std::function<void()> chosen) const { app_->callback(std::move(chosen)); }

Option Command::add_option(const std::string& names, std::string& value, const std::string& help) const {
    return Option(app_->add_option(names, value, help));
}

Option Command::add_option(const std::string& names, double& value, const std::string& help) const {
    return Option(app_->add_option(names, value, help));
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
    return Option(app_->add_option(names, value, help));
}

Option Command::add_flag(const std::string& names, bool& value, const std::string& help) const {
    return Option(app_->add_flag(names, value, help));
}

CommandLine::CommandLine(const std::string& description, const std::string& version)
    : app_(std::make_unique<CLI::App>(description)) {
    app_->set_version_flag("--version", version);
    app_->require_subcommand(1);
}

CommandLine::~CommandLine() = default;

const Settings& CommandLine::settings() { return chosen; }

Command CommandLine::root() { return Command(app_.get()); }

bool CommandLine::parse(int argc, char** argv, int& status) {
    try {
        app_->parse(argc, argv);
        chosen.clear();
        collect(*app_, chosen);
        return true;
    } catch (const CLI::ParseError& e) {
        status = app_->exit(e) == 0 ? 0 : 2;
        return false;
    }
}

}  // namespace host
