#include "commands/report.h"

#include <cstdio>
#include <memory>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/report_content.h"
#include "commands/report_parts.h"
#include "pictures/report_page.h"
#include "shared/console.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/version.h"

namespace host {

namespace {

/// The commands that made the files: as given, else as the summaries name them.
std::vector<std::string> commands_of(const ReportOptions& o, const std::vector<nlohmann::ordered_json>& summaries) {
    std::vector<std::string> commands = o.commands;
    for (const nlohmann::ordered_json& summary : summaries) {
        if (!o.commands.empty() || !summary.is_object() || !summary.contains("command_line")) continue;
        if (summary["command_line"].is_string()) commands.push_back(summary["command_line"].get<std::string>());
    }
    commands.push_back(CommandLine::text("--command"));
    return commands;
}

std::string subtitle_of(const Content& content) {
    Span span;
    span.add(content.epochs.seconds);
    span.add(content.fit_seconds);
    for (const auto& [name, rows] : content.satellites) span.add(rows.seconds);
    for (const Solution& solution : content.solutions) {
        for (const TimedPosition& row : solution.rows) span.add({seconds_of(row.time, content.day)});
    }
    return span_text(span.first, span.last, content.day);
}

std::vector<ReportTable> tables_of(const Content& content) {
    std::vector<ReportTable> tables;
    if (!content.epochs.status.empty()) tables.push_back(counts_table("Epochs", content.epochs.status));
    if (!content.epochs.filter.empty()) tables.push_back(counts_table("Filter", content.epochs.filter));
    if (!content.satellite_status.empty())
        tables.push_back(counts_table("Satellites, each epoch", content.satellite_status));
    if (!content.errors.solutions.empty()) tables.push_back(errors_table(content));
    if (ReportTable table = residuals_table(content); !table.rows.empty()) tables.push_back(std::move(table));
    return tables;
}

std::vector<ReportChart> charts_of(const Content& content) {
    std::vector<ReportChart> charts;
    add_errors(content, charts);
    add_satellite_residuals(content, charts);
    add_fit_residuals(content, charts);
    add_geometry(content, charts);
    add_clocks(content, charts);
    return charts;
}

ReportPage page_of(const ReportOptions& o, const Content& content) {
    ReportPage page;
    const bool fit_alone = o.epochs.empty() && o.orbit.empty() && !(o.fit.empty() && o.residuals.empty());
    page.title = !o.title.empty() ? o.title : fit_alone ? "Fitted orbit" : "Orbit determination";
    page.subtitle = subtitle_of(content);
    page.version = "leopod " + version().number;
    page.day_mjd = content.day;
    page.tables = tables_of(content);
    for (const std::string& file : o.summaries) page.summaries.push_back(read_summary(file));
    page.charts = charts_of(content);
    page.pictures = sky_and_ground(o, content);
    page.has_log = !o.log.empty();
    if (page.has_log) page.messages = group_messages(read_lines(o.log));
    page.commands = commands_of(o, page.summaries);
    return page;
}

}  // namespace

int report(const ReportOptions& o) {
    if (o.epochs.empty() && o.satellites.empty() && o.fit.empty() && o.orbit.empty() && o.residuals.empty())
        throw InputError("report: one of --in, --satellites, --fit, --orbit, --residuals is needed");
    FilePlan plan;
    plan.in("--in", o.epochs)
        .in("--satellites", o.satellites)
        .in("--fit", o.fit)
        .in("--orbit", o.orbit)
        .in("--residuals", o.residuals);
    plan.in("--truth", o.truth).in("--summary", o.summaries).in("--log", o.log).out("--out", o.out).check();
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
    say_written("report", o.out);
    return 0;
}

void add_report(Command app, Action& action) {
    auto o = std::make_shared<ReportOptions>();
    Command command =
        app.add_subcommand("report", "One page (HTML) of a run, of a run and its fit, or of an orbit, for the browser");
    command.add_option("--in", o->epochs, "CSV of run --out");
    command.add_option("--satellites", o->satellites, "CSV of run --satellites-out; may be repeated");
    command.add_option("--fit", o->fit, "CSV of fit --out");
    command.add_option("--orbit", o->orbit, "CSV of orbit --out");
    command.add_option("--residuals", o->residuals, "CSV of fit --residuals; may be repeated");
    command.add_option("--truth", o->truth, "CSV of reference positions, as in run");
    add_span(command, o->span, "rows");
    command.add_option("--summary", o->summaries, "JSON summary of a command; may be repeated");
    command.add_option("--log", o->log, "log of the library's messages (standard error of a command with --log-level)");
    command.add_option("--command", o->commands,
                       "a command that made these files, in place of those of the summaries; may be repeated");
    command.add_option("--title", o->title, "title of the page");
    command.add_option("--charts", o->charts, "directory of dygraphs, which draws the charts").capture_default_str();
    command.add_option("--out", o->out, "the page").required();
    command.callback([o, &action] { action = [o] { return report(*o); }; });
}

}  // namespace host
