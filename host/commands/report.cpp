#include "commands/report.h"

#include <cmath>
#include <cstdio>
#include <memory>

#include "commands/command.h"
#include "inputs/csv.h"
#include "inputs/open.h"
#include "inputs/satellite_rows.h"
#include "inputs/solutions.h"
#include "inputs/truth.h"
#include "pictures/errors.h"
#include "pictures/geometry.h"
#include "pictures/map.h"
#include "pictures/report_page.h"
#include "pictures/residuals.h"
#include "pictures/satellites.h"
#include "pictures/sky.h"
#include "shared/console.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/printable.h"
#include "shared/times.h"
#include "shared/version.h"

namespace host {

namespace {

/// Positions of one solution.
struct Solution {
    std::string name;
    std::vector<TimedPosition> rows;
};

/// Columns of `run --out` over time, and its epochs by status.
struct Epochs {
    std::vector<double> seconds, satellites, dilution;
    std::vector<std::pair<std::string, std::vector<double>>> clocks;  ///< by column
    std::map<std::string, long> status;
};

/// What a page is made of.
struct Content {
    long day = 0;
    std::vector<Solution> solutions;
    Epochs epochs;
    SatelliteRowsByName satellites;
    std::map<std::string, long> satellite_status;
    std::vector<double> fit_seconds;
    std::array<std::vector<double>, 3> fit_residuals;  ///< radial, along, cross
    ErrorFigure errors;                                ///< empty without a reference
    std::string errors_title;
};

// --- reading -------------------------------------------------------------------------------------------------------------

void read_epochs(const std::string& file, Content& content) {
    const char* hint = "the file of leopod run --out is expected";
    CsvReader in(file);
    const int mjd = in.require("mjd_gpst", hint);
    const int sod = in.require("sod_gpst", hint);
    const int status = in.require("status", hint);
    const int count = in.require("satellites", hint);
    const int dilution = in.require("gdop", hint);
    std::vector<int> clocks;
    for (const std::string& name : in.names()) {
        if (name.find("clock_") == std::string::npos) continue;
        clocks.push_back(in.find(name));
        content.epochs.clocks.push_back({name, {}});
    }
    Epochs& epochs = content.epochs;
    while (in.next()) {
        double seconds = 0;
        if (!row_seconds({}, in, mjd, sod, content.day, seconds)) continue;
        ++epochs.status[printable(std::string(in.text(status)))];
        epochs.seconds.push_back(seconds);
        epochs.satellites.push_back(in.number(count));
        epochs.dilution.push_back(in.number(dilution));
        for (std::size_t i = 0; i < clocks.size(); ++i) epochs.clocks[i].second.push_back(in.number(clocks[i]));
    }
    if (epochs.seconds.empty()) throw InputError(file + ": has no rows");
    for (const auto& [name, solution] : {std::pair{"point position", "point"}, std::pair{"filter", "filter"}})
        content.solutions.push_back({name, read_positions({file, solution, name}, content.day)});
}

void count_status(const std::vector<std::string>& files, Content& content) {
    for (const std::string& file : files) {
        CsvReader in(file);
        const int status = in.require("status", "the file of leopod run --satellites-out is expected");
        while (in.next()) ++content.satellite_status[printable(std::string(in.text(status)))];
    }
}

void read_residuals(const std::vector<std::string>& files, Content& content) {
    const char* hint = "the file of leopod fit --residuals is expected";
    for (const std::string& file : files) {
        CsvReader in(file);
        const int epoch = in.require("epoch_gpst", hint);
        const int columns[3] = {in.require("radial_m", hint), in.require("along_m", hint), in.require("cross_m", hint)};
        while (in.next()) {
            GTime time{};
            if (!read_time(std::string(in.text(epoch)), tsGPST, time)) continue;
            if (content.day == 0) content.day = gtimeAddSec(time, 1.0).time.mjd;
            content.fit_seconds.push_back(static_cast<double>(time.time.mjd - content.day) * 86400.0 + time.time.sod);
            for (std::size_t k = 0; k < 3; ++k) content.fit_residuals[k].push_back(in.number(columns[k]));
        }
    }
    if (!files.empty() && content.fit_seconds.empty()) throw InputError(files.front() + ": has no residuals");
}

double seconds_of(const GTime& time, long day) {
    return static_cast<double>(time.time.mjd - day) * 86400.0 + time.time.sod;
}

SolutionErrors errors_of(const Solution& solution, const Truth& truth, long day) {
    SolutionErrors errors{solution.name, {}, {}};
    for (const TimedPosition& row : solution.rows) {
        PositionError error{};
        if (!truth.error_at(row.time, row.position.data(), error)) continue;
        errors.seconds.push_back(seconds_of(row.time, day));
        for (std::size_t k = 0; k < 3; ++k) errors.component[k].push_back(error.component[k]);
    }
    return errors;
}

/// Errors against the truth; without one, differences from the fitted orbit, or of the filter from the point position.
void compare(const ReportOptions& o, Content& content) {
    if (content.solutions.empty()) return;
    const std::string reference = !o.truth.empty() ? o.truth : !o.fit.empty() ? o.fit : o.epochs;
    GTime first = content.solutions.front().rows.front().time;
    first.time.mjd = content.day;
    first.time.sod = 0.0;
    const Truth truth = Truth::load(reference, first);
    content.errors.at_rest = truth.at_rest();
    content.errors.reference = base_name(reference);
    content.errors.layout = {"components"};
    content.errors_title = !o.truth.empty() ? "error"
                           : !o.fit.empty() ? "difference from the fitted orbit"
                                            : "difference from the point position";
    for (const Solution& solution : content.solutions) {
        const bool is_reference =
            o.truth.empty() && solution.name == (!o.fit.empty() ? "fitted orbit" : "point position");
        if (is_reference) continue;
        SolutionErrors errors = errors_of(solution, truth, content.day);
        if (!errors.seconds.empty()) content.errors.solutions.push_back(std::move(errors));
    }
    if (content.errors.solutions.empty() && !o.truth.empty())
        throw InputError(o.truth + ": covers no position of this report");
}

Content read_content(const ReportOptions& o) {
    Content content;
    if (!o.epochs.empty()) read_epochs(o.epochs, content);
    if (!o.satellites.empty()) {
        content.satellites = read_satellite_rows(o.satellites, false, {}, content.day);
        count_status(o.satellites, content);
    }
    if (!o.fit.empty()) {
        content.solutions.push_back({"fitted orbit", read_positions({o.fit, "", "fitted orbit"}, content.day)});
        if (content.day == 0) content.day = first_day(content.solutions.back().rows);
    }
    read_residuals(o.residuals, content);
    compare(o, content);
    return content;
}

nlohmann::ordered_json read_summary(const std::string& file) {
    std::ifstream in = open_input(file, "summary (JSON)");
    try {
        return nlohmann::ordered_json::parse(in);
    } catch (const nlohmann::ordered_json::exception&) {
        throw InputError(file + ": is not JSON; the file of --summary is expected");
    }
}

std::vector<std::string> read_lines(const std::string& file) {
    std::ifstream in = open_input(file, "log");
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) lines.push_back(printable(line));
    return lines;
}

// --- tables --------------------------------------------------------------------------------------------------------------

ReportTable counts_table(const std::string& title, const std::map<std::string, long>& counts) {
    long all = 0;
    for (const auto& [name, count] : counts) all += count;
    ReportTable table{title, {"status", "count", "%"}, {}};
    for (const auto& [name, count] : counts) {
        char share[32];
        std::snprintf(share, sizeof share, "%.2f", 100.0 * static_cast<double>(count) / static_cast<double>(all));
        table.rows.push_back({name, std::to_string(count), share});
    }
    return table;
}

std::string metres_text(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.4f", value);
    return std::isfinite(value) ? text : "";
}

ReportTable errors_table(const Content& content) {
    ReportTable table{"Rms of the " + content.errors_title + " [m], " + content.errors.reference, {"", "epochs"}, {}};
    for (int k = 0; k < 3; ++k) table.head.emplace_back(error_axes(content.errors.at_rest)[k].name);
    table.head.emplace_back("3D");
    for (const SolutionErrors& s : content.errors.solutions) {
        double all = 0;
        std::vector<std::string> row = {s.name, std::to_string(s.seconds.size())};
        for (const std::vector<double>& component : s.component) {
            row.push_back(metres_text(rms(component)));
            all += rms(component) * rms(component);
        }
        row.push_back(metres_text(std::sqrt(all)));
        table.rows.push_back(std::move(row));
    }
    return table;
}

ReportTable residuals_table(const Content& content) {
    ReportTable table{"Rms of the residuals [m]", {"", "values", "rms"}, {}};
    const auto add = [&](const std::string& name, const std::vector<double>& values) {
        const auto finite = std::count_if(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
        if (finite > 0) table.rows.push_back({name, std::to_string(finite), metres_text(rms(values))});
    };
    std::vector<double> phase, code;
    for (const auto& [name, rows] : content.satellites) {
        phase.insert(phase.end(), rows.phase.begin(), rows.phase.end());
        code.insert(code.end(), rows.code.begin(), rows.code.end());
    }
    add("phase, filter", phase);
    add("code, filter", code);
    for (std::size_t k = 0; k < 3; ++k) add(std::string("fit, ") + error_axes(false)[k].name, content.fit_residuals[k]);
    return table;
}

// --- charts --------------------------------------------------------------------------------------------------------------

void add_errors(const Content& content, std::vector<ReportChart>& charts) {
    const AxisName* axes = error_axes(content.errors.at_rest);
    for (std::size_t k = 0; k < 3 && !content.errors.solutions.empty(); ++k) {
        ReportChart chart{std::string(axes[k].title) + " " + content.errors_title,
                          "m",
                          0.001,
                          3,
                          false,
                          "errors",
                          false,
                          true,
                          false,
                          {}};
        std::size_t mark = content.errors.solutions.size() > 1 ? 5 : 0;  // the one below is light
        for (const SolutionErrors& s : content.errors.solutions) {
            chart.series.push_back({s.name, mark, s.seconds, s.component[k]});
            mark = mark == 5 ? 1 : mark + 1;
        }
        charts.push_back(std::move(chart));
    }
}

void add_satellite_residuals(const Content& content, std::vector<ReportChart>& charts) {
    if (content.satellites.empty()) return;
    ReportChart phase{"Residuals of the phase, by satellite", "mm", 0.1, 1, true, "", false, false, false, {}};
    ReportChart code{"Residuals of the code, by satellite", "m", 0.01, 2, true, "", false, false, false, {}};
    std::size_t mark = 0;
    for (const auto& [name, rows] : content.satellites) {
        const std::string label = printable(name);
        phase.series.push_back({label, mark, rows.seconds, scaled(rows.phase, {1000.0, "mm"})});
        code.series.push_back({label, mark++, rows.seconds, rows.code});
    }
    charts.push_back(std::move(phase));
    charts.push_back(std::move(code));
}

void add_fit_residuals(const Content& content, std::vector<ReportChart>& charts) {
    if (content.fit_seconds.empty()) return;
    ReportChart chart{"Residuals of the fit", "m", 0.0001, 4, true, "", false, false, false, {}};
    for (std::size_t k = 0; k < 3; ++k)
        chart.series.push_back({error_axes(false)[k].name, k, content.fit_seconds, content.fit_residuals[k]});
    charts.push_back(std::move(chart));
}

bool is_wide(const std::vector<double>& values) {
    double low = 1e300;
    double high = 0;
    for (double v : values) {
        if (std::isfinite(v) && v > 0.0) low = std::min(low, v);
        if (std::isfinite(v)) high = std::max(high, v);
    }
    return high > 20.0 * low;
}

void add_geometry(const Content& content, std::vector<ReportChart>& charts) {
    const Epochs& epochs = content.epochs;
    if (!epochs.seconds.empty()) {
        ReportChart count{"Satellites in the point position", "number", 1.0, 0, true, "", true, true, false, {}};
        count.series.push_back({"satellites", 0, epochs.seconds, epochs.satellites});
        charts.push_back(std::move(count));
    }
    const Geometry geometry = geometry_of(content.satellites);
    ReportChart dilution{"Dilution: GDOP of the directions, and the norm of the variances (column gdop)",
                         "",
                         0.001,
                         3,
                         true,
                         "",
                         false,
                         false,
                         false,
                         {}};
    dilution.log = is_wide(epochs.dilution) || is_wide(geometry.gdop);
    if (!geometry.seconds.empty()) dilution.series.push_back({"GDOP", 2, geometry.seconds, geometry.gdop});
    if (!epochs.seconds.empty()) dilution.series.push_back({"norm of variances", 1, epochs.seconds, epochs.dilution});
    if (!dilution.series.empty()) charts.push_back(std::move(dilution));
}

void add_clocks(const Content& content, std::vector<ReportChart>& charts) {
    ReportChart chart{"Receiver clock", "m", 0.001, 3, true, "", false, false, false, {}};
    for (const auto& [name, values] : content.epochs.clocks)
        chart.series.push_back({printable(name), chart.series.size(), content.epochs.seconds, values});
    if (!chart.series.empty()) charts.push_back(std::move(chart));
}

// --- pictures ------------------------------------------------------------------------------------------------------------

/// In place of the charts.
std::vector<ReportPicture> still_pictures(const ReportOptions& o, Content& content) {
    std::vector<ReportPicture> pictures;
    const FigureOptions options{"", content.day};
    if (!content.errors.solutions.empty()) {
        content.errors.options = options;
        pictures.push_back({"Errors", draw_errors(content.errors)});
    }
    if (!content.satellites.empty()) {
        ResidualFigure residuals;
        residuals.options = options;
        residuals.source = base_names(o.satellites);
        residuals.satellites = content.satellites;
        residuals.elevation_note = "Elevation: above the local horizon at the receiver.";
        pictures.push_back({"Residuals", draw_residuals(residuals)});
    }
    if (!content.fit_seconds.empty())
        pictures.push_back(
            {"Residuals of the fit", draw_fit_residuals({options, "from " + base_names(o.residuals),
                                                         content.fit_seconds, content.fit_residuals, 0})});
    if (!content.epochs.seconds.empty() || !content.satellites.empty()) {
        pictures.push_back(
            {"Satellites", draw_satellites({options, base_name(o.epochs.empty() ? o.satellites.front() : o.epochs),
                                            content.epochs.seconds, content.epochs.satellites, content.epochs.dilution,
                                            content.satellites})});
    }
    return pictures;
}

std::vector<ReportPicture> sky_and_ground(const ReportOptions& o, const Content& content) {
    std::vector<ReportPicture> pictures;
    const bool directed = std::any_of(content.satellites.begin(), content.satellites.end(), [](const auto& satellite) {
        return std::any_of(satellite.second.elevation.begin(), satellite.second.elevation.end(),
                           [](double e) { return std::isfinite(e); });
    });
    if (directed) {
        SkyFigure sky;
        sky.options.day_mjd = content.day;
        sky.source = base_names(o.satellites);
        sky.satellites = content.satellites;
        pictures.push_back({"Sky", draw_sky(sky)});
    }
    MapFigure map;
    map.options.day_mjd = content.day;
    map.source = o.epochs.empty() ? base_name(o.fit)
                 : o.fit.empty()  ? base_name(o.epochs)
                                  : base_names({o.epochs, o.fit});
    for (const Solution& solution : content.solutions) {
        if (solution.name == "point position") continue;  // it lies below the filter
        map.tracks.push_back({solution.name, {}, {}, {}});
        for (const TimedPosition& row : solution.rows)
            add_position(map.tracks.back(), seconds_of(row.time, content.day), row.position);
    }
    if (!map.tracks.empty()) pictures.push_back({"Ground track", draw_map(map)});
    return pictures;
}

// --- the page ------------------------------------------------------------------------------------------------------------

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
