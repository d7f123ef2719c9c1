#include "commands/report_parts.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "inputs/solutions.h"
#include "pictures/geometry.h"
#include "pictures/map.h"
#include "pictures/residuals.h"
#include "pictures/satellites.h"
#include "pictures/sky.h"
#include "shared/printable.h"

namespace host {

namespace {

std::string metres_text(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.4f", value);
    return std::isfinite(value) ? text : "";
}

/// "filter_clock_GPS_m" becomes "filter, GPS".
std::string clock_name(const std::string& column) {
    const std::string start = "clock_";
    const std::size_t at = column.find(start);
    std::string system = column.substr(at + start.size());
    if (system.size() > 2 && system.compare(system.size() - 2, 2, "_m") == 0) system.resize(system.size() - 2);
    return (at == 0 ? "point position, " : "filter, ") + printable(system);
}

}  // namespace

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
    add("phase", phase);
    add("code", code);
    for (std::size_t k = 0; k < 3; ++k) {
        std::vector<double> used;
        for (std::size_t i = 0; i < content.fit_used.size(); ++i) {
            if (content.fit_used[i]) used.push_back(content.fit_residuals[k][i]);
        }
        add(std::string("fit, ") + error_axes(false)[k].name, used);
    }
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
        chart.series.push_back({clock_name(name), chart.series.size(), content.epochs.seconds, values});
    if (!chart.series.empty()) charts.push_back(std::move(chart));
}
// --- pictures ------------------------------------------------------------------------------------------------------------

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
        pictures.push_back({"Residuals of the fit",
                            draw_fit_residuals({options, "from " + base_names(o.residuals), content.fit_seconds,
                                                content.fit_used, content.fit_residuals, 0})});
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
    map.source = base_name(!o.orbit.empty() ? o.orbit : !o.fit.empty() ? o.fit : o.epochs);
    if (!content.solutions.empty()) {  // the best one, which comes last: the others would lie below it
        const Solution& solution = content.solutions.back();
        map.tracks.push_back({solution.name, {}, {}, {}});
        for (const TimedPosition& row : solution.rows)
            add_position(map.tracks.back(), seconds_of(row.time, content.day), row.position);
    }
    if (!map.tracks.empty()) pictures.push_back({"Ground track", draw_map(map)});
    return pictures;
}

}  // namespace host
