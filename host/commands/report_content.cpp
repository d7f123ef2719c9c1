#include "commands/report_content.h"

#include <algorithm>
#include <fstream>

#include "inputs/csv.h"
#include "inputs/open.h"
#include "inputs/solutions.h"
#include "inputs/truth.h"
#include "shared/error.h"
#include "shared/printable.h"
#include "shared/times.h"

namespace host {

namespace {

void add_solution(const ReportOptions& o, const Source& source, Content& content) {
    Solution solution{source.label, read_positions(source, content.day)};
    if (content.day == 0) content.day = first_day(solution.rows);
    const auto outside = [&](const TimedPosition& row) { return !in_span(o.span, row.time, content.day); };
    solution.rows.erase(std::remove_if(solution.rows.begin(), solution.rows.end(), outside), solution.rows.end());
    if (solution.rows.empty()) throw InputError(source.file + ": has no positions in the span asked for");
    content.solutions.push_back(std::move(solution));
}

void read_epochs(const ReportOptions& o, Content& content) {
    const std::string& file = o.epochs;
    const char* hint = "the file of leopod run --out is expected";
    CsvReader in(file);
    const int mjd = in.require("mjd_gpst", hint);
    const int sod = in.require("sod_gpst", hint);
    const int status = in.require("status", hint);
    const int count = in.require("satellites", hint);
    const int dilution = in.require("gdop", hint);
    const int filter = in.find("filter_status");
    std::vector<int> clocks;
    for (const std::string& name : in.names()) {
        if (name.find("clock_") == std::string::npos) continue;
        clocks.push_back(in.find(name));
        content.epochs.clocks.push_back({name, {}});
    }
    Epochs& epochs = content.epochs;
    while (in.next()) {
        double seconds = 0;
        if (!row_seconds(o.span, in, mjd, sod, content.day, seconds)) continue;
        ++epochs.status[printable(std::string(in.text(status)))];
        if (filter >= 0 && !in.text(filter).empty()) ++epochs.filter[printable(std::string(in.text(filter)))];
        epochs.seconds.push_back(seconds);
        epochs.satellites.push_back(in.number(count));
        epochs.dilution.push_back(in.number(dilution));
        for (std::size_t i = 0; i < clocks.size(); ++i) epochs.clocks[i].second.push_back(in.number(clocks[i]));
    }
    if (epochs.seconds.empty())
        throw InputError(file + (o.span.given() ? ": has no rows in the span asked for" : ": has no rows"));
    for (const auto& [name, solution] : {std::pair{"point position", "point"}, std::pair{"filter", "filter"}})
        add_solution(o, {file, solution, name}, content);
}

void count_status(const ReportOptions& o, Content& content) {
    const char* hint = "the file of leopod run --satellites-out is expected";
    for (const std::string& file : o.satellites) {
        CsvReader in(file);
        const int status = in.require("status", hint);
        const int mjd = in.require("mjd_gpst", hint);
        const int sod = in.require("sod_gpst", hint);
        while (in.next()) {
            double seconds = 0;
            if (row_seconds(o.span, in, mjd, sod, content.day, seconds))
                ++content.satellite_status[printable(std::string(in.text(status)))];
        }
    }
}

void read_residuals(const ReportOptions& o, Content& content) {
    const char* hint = "the file of leopod fit --residuals is expected";
    for (const std::string& file : o.residuals) {
        CsvReader in(file);
        const int epoch = in.require("epoch_gpst", hint);
        const int columns[3] = {in.require("radial_m", hint), in.require("along_m", hint), in.require("cross_m", hint)};
        const int weight = in.find("weight");
        while (in.next()) {
            GTime time{};
            if (!read_time(std::string(in.text(epoch)), tsGPST, time)) continue;
            if (content.day == 0) content.day = gtimeAddSec(time, 1.0).time.mjd;
            if (!in_span(o.span, time, content.day)) continue;
            content.fit_seconds.push_back(seconds_of(time, content.day));
            content.fit_used.push_back(weight < 0 || in.number(weight) > 0.0);
            for (std::size_t k = 0; k < 3; ++k) content.fit_residuals[k].push_back(in.number(columns[k]));
        }
    }
    if (!o.residuals.empty() && content.fit_seconds.empty())
        throw InputError(o.residuals.front() +
                         (o.span.given() ? ": has no residuals in the span asked for" : ": has no residuals"));
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

/// The solution that others are compared with where there is no truth: its file and name.
std::pair<std::string, std::string> reference_solution(const ReportOptions& o) {
    if (!o.orbit.empty()) return {o.orbit, "reduced-dynamic orbit"};
    if (!o.fit.empty()) return {o.fit, "fitted orbit"};
    return {o.epochs, "point position"};
}

/// Errors against the truth; without one, differences from the best orbit, or of the filter from the point position.
void compare(const ReportOptions& o, Content& content) {
    if (content.solutions.empty()) return;
    const auto [file, name] = reference_solution(o);
    const std::string reference = !o.truth.empty() ? o.truth : file;
    GTime first = content.solutions.front().rows.front().time;
    first.time.mjd = content.day;
    first.time.sod = 0.0;
    const Truth truth = Truth::load(reference, first);
    content.errors.at_rest = truth.at_rest();
    content.errors.reference = base_name(reference);
    content.errors.layout = {"components"};
    content.errors_title = !o.truth.empty() ? "error" : "difference from the " + name;
    for (const Solution& solution : content.solutions) {
        if (o.truth.empty() && solution.name == name) continue;
        SolutionErrors errors = errors_of(solution, truth, content.day);
        if (!errors.seconds.empty()) content.errors.solutions.push_back(std::move(errors));
    }
    if (content.errors.solutions.empty() && !o.truth.empty())
        throw InputError(o.truth + ": covers no position of this report");
}

}  // namespace

double seconds_of(const GTime& time, long day) {
    return static_cast<double>(time.time.mjd - day) * 86400.0 + time.time.sod;
}

Content read_content(const ReportOptions& o) {
    Content content;
    if (!o.epochs.empty()) read_epochs(o, content);
    if (!o.satellites.empty()) {
        content.satellites = read_satellite_rows(o.satellites, false, o.span, content.day);
        count_status(o, content);
    }
    for (const auto& [file, name] : {std::pair{o.fit, "fitted orbit"}, std::pair{o.orbit, "reduced-dynamic orbit"}}) {
        if (!file.empty()) add_solution(o, {file, "", name}, content);
    }
    read_residuals(o, content);
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

}  // namespace host
