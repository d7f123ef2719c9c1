#include "commands/report.h"

#include <cstdio>
#include <memory>

#include "commands/command.h"
#include "commands/report_content.h"
#include "commands/report_parts.h"
#include "pictures/report_page.h"
#include "shared/console.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/version.h"

namespace host {

namespace {

/// An argument as a shell takes it.
std::string argument(const std::string& text) {
    const std::string harmless = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:=,+@%";
    if (!text.empty() && text.find_first_not_of(harmless) == std::string::npos) return text;
    std::string quoted = "'";
    for (const char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

/// This command as it was given.
std::string own_command(const ReportOptions& o) {
    std::string text = "leopod report";
    const auto add = [&](const char* name, const std::string& value) {
        if (!value.empty()) text += std::string(" ") + name + " " + argument(value);
    };
    add("--in", o.epochs);
    for (const std::string& file : o.satellites) add("--satellites", file);
    add("--fit", o.fit);
    for (const std::string& file : o.residuals) add("--residuals", file);
    add("--truth", o.truth);
    add("--summary", o.summary);
    add("--log", o.log);
    add("--out", o.out);
    return text;
}

/// The commands that a summary names, in whichever of these members.
void add_commands(const nlohmann::ordered_json& summary, std::vector<std::string>& commands) {
    for (const char* name : {"command", "commands", "command_line"}) {
        if (!summary.is_object() || !summary.contains(name)) continue;
        const nlohmann::ordered_json& value = summary[name];
        if (value.is_string()) commands.push_back(value.get<std::string>());
        if (!value.is_array()) continue;
        for (const auto& item : value) {
            if (item.is_string()) commands.push_back(item.get<std::string>());
        }
    }
}

ReportPage page_of(const ReportOptions& o, Content& content) {
    Span span;
    span.add(content.epochs.seconds);
    span.add(content.fit_seconds);
    for (const auto& [name, rows] : content.satellites) span.add(rows.seconds);
    for (const Solution& solution : content.solutions) {
        for (const TimedPosition& row : solution.rows) span.add({seconds_of(row.time, content.day)});
    }
    ReportPage page;
    page.title = o.title.empty() ? (o.epochs.empty() ? "Fitted orbit" : "Orbit determination") : o.title;
    page.subtitle = span_text(span.first, span.last, content.day);
    page.version = "leopod " + version().number;
    page.day_mjd = content.day;
    if (!content.epochs.status.empty()) page.tables.push_back(counts_table("Epochs", content.epochs.status));
    if (!content.satellite_status.empty())
        page.tables.push_back(counts_table("Satellites, each epoch", content.satellite_status));
    if (!content.errors.solutions.empty()) page.tables.push_back(errors_table(content));
    if (ReportTable table = residuals_table(content); !table.rows.empty()) page.tables.push_back(std::move(table));
    if (!o.summary.empty()) page.summary = read_summary(o.summary);
    add_errors(content, page.charts);
    add_satellite_residuals(content, page.charts);
    add_fit_residuals(content, page.charts);
    add_geometry(content, page.charts);
    add_clocks(content, page.charts);
    page.pictures = sky_and_ground(o, content);
    page.has_log = !o.log.empty();
    if (page.has_log) page.messages = group_messages(read_lines(o.log));
    add_commands(page.summary, page.commands);
    page.commands.insert(page.commands.end(), o.commands.begin(), o.commands.end());
    page.commands.push_back(own_command(o));
    return page;
}

}  // namespace

int report(const ReportOptions& o) {
    if (o.epochs.empty() && o.satellites.empty() && o.fit.empty() && o.residuals.empty())
        throw InputError("report: one of --in, --satellites, --fit, --residuals is needed");
    FilePlan plan;
    plan.in("--in", o.epochs).in("--satellites", o.satellites).in("--fit", o.fit).in("--residuals", o.residuals);
    plan.in("--truth", o.truth).in("--summary", o.summary).in("--log", o.log).out("--out", o.out).check();
    const ChartsLibrary library = charts_library(o.charts);
    std::string text;
    {
        const Progress progress("making " + o.out);
        Content content = read_content(o);
        ReportPage page = page_of(o, content);
        if (library.empty()) page.instead = still_pictures(o, content);
        text = report_html(page, library);
    }
    OutputFile out(o.out);
    std::fputs(text.c_str(), out);
    out.close();
    if (library.empty())
        std::printf("charts: still pictures; dygraphs (Debian: libjs-dygraphs) is not in %s\n", o.charts.c_str());
    std::printf("report written: %s\n", o.out.c_str());
    return 0;
}

void add_report(Command app, Action& action) {
    auto o = std::make_shared<ReportOptions>();
    Command command =
        app.add_subcommand("report", "One page (HTML) of a run, or of a run and its fit, to look at in a browser");
    command.add_option("--in", o->epochs, "CSV of run --out");
    command.add_option("--satellites", o->satellites, "CSV of run --satellites-out; may be repeated");
    command.add_option("--fit", o->fit, "CSV of fit --out");
    command.add_option("--residuals", o->residuals, "CSV of fit --residuals; may be repeated");
    command.add_option("--truth", o->truth, "CSV of reference positions, as in run");
    command.add_option("--summary", o->summary, "JSON summary of a command");
    command.add_option("--log", o->log, "log of the library's messages (standard error of a command with --log-level)");
    command.add_option("--command", o->commands, "a command that made these files, to be shown; may be repeated");
    command.add_option("--title", o->title, "title of the page");
    command.add_option("--charts", o->charts, "directory of dygraphs, which draws the charts").capture_default_str();
    command.add_option("--out", o->out, "the page").required();
    command.callback([o, &action] { action = [o] { return report(*o); }; });
}

}  // namespace host
