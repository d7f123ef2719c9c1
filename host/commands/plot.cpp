// `leopod plot`: pictures of the CSV files that the other commands write.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "commands/command.h"
#include "commands/options.h"
#include "inputs/csv.h"
#include "inputs/satellite_rows.h"
#include "inputs/solutions.h"
#include "inputs/truth.h"
#include "pictures/canvas.h"
#include "pictures/errors.h"
#include "pictures/map.h"
#include "pictures/residuals.h"
#include "pictures/satellites.h"
#include "pictures/sky.h"
#include "shared/console.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/span.h"
#include "shared/times.h"

namespace host {

namespace {

struct PlotOptions {
    std::vector<std::string> in;
    std::string out, title, truth;
    std::string layout = "components", frame = "horizon", quantity = "filter", style = "auto";
    SpanOptions span;
    double limit = 0.0, limit_phase = 0;  ///< ends of the axes [m]; 0: those of the data
    bool log = false;
};

/// Seconds since the start of a day; false outside the span asked for.
bool seconds_in_span(const PlotOptions& o, const GTime& time, long day, double& seconds) {
    seconds = static_cast<double>(time.time.mjd - day) * 86400.0 + time.time.sod;
    return in_span(o.span, time, day);
}

Canvas plot_errors(const PlotOptions& o) {
    ErrorFigure figure;
    figure.options = {o.title, 0};
    figure.reference = base_name(o.truth);
    figure.log = o.log;
    figure.limit = o.limit;
    std::stringstream kinds(o.layout);
    for (std::string kind; std::getline(kinds, kind, ',');) {
        if (kind != "components" && kind != "solutions" && kind != "total")
            throw InputError("--layout " + o.layout +
                             ": of components, solutions, total one or more are expected, with commas");
        figure.layout.push_back(kind);
    }
    if (figure.layout.empty()) figure.layout = {"components"};
    std::unique_ptr<Truth> truth;
    long day = 0;
    for (const std::string& text : o.in) {
        const Source source = parse_source(text);
        const std::vector<TimedPosition> rows = read_positions(source, day);
        if (truth == nullptr) {
            day = first_day(rows);
            GTime first = rows.front().time;
            first.time.mjd = day;
            first.time.sod = 0.0;
            truth = std::make_unique<Truth>(Truth::load(o.truth, first));
            figure.at_rest = truth->at_rest();
            figure.options.day_mjd = day;
        }
        SolutionErrors s{source.label, {}, {}};
        for (const TimedPosition& row : rows) {
            double seconds = 0;
            PositionError error{};
            if (!seconds_in_span(o, row.time, day, seconds) || !truth->error_at(row.time, row.position.data(), error))
                continue;
            s.seconds.push_back(seconds);
            for (std::size_t k = 0; k < 3; ++k) s.component[k].push_back(error.component[k]);
        }
        if (s.seconds.empty()) {
            throw InputError(source.file + ": no position lies within the times of " + o.truth +
                             (o.span.given() ? " and of the span asked for" : ""));
        }
        figure.solutions.push_back(std::move(s));
    }
    return draw_errors(std::move(figure));
}

Canvas plot_residuals(const PlotOptions& o) {
    if (o.in.size() == 1) {
        CsvReader in(o.in[0]);
        if (in.has("along_m") && in.has("radial_m") && in.has("cross_m")) {
            const int columns[3] = {in.find("radial_m"), in.find("along_m"), in.find("cross_m")};
            const int epoch = in.require("epoch_gpst", "the file of leopod fit --residuals is expected");
            const int weight = in.find("weight");
            FitResidualFigure figure;
            figure.options = {o.title, 0};
            figure.source = "from " + base_name(o.in[0]);
            figure.limit = o.limit;
            while (in.next()) {
                GTime time{};
                if (!read_time(std::string(in.text(epoch)), tsGPST, time)) continue;
                if (figure.options.day_mjd == 0) figure.options.day_mjd = gtimeAddSec(time, 1.0).time.mjd;
                double seconds = 0;
                if (!seconds_in_span(o, time, figure.options.day_mjd, seconds)) continue;
                figure.seconds.push_back(seconds);
                figure.used.push_back(weight < 0 || in.number(weight) > 0.0);
                for (std::size_t k = 0; k < 3; ++k) figure.radial_along_cross[k].push_back(in.number(columns[k]));
            }
            if (figure.seconds.empty()) throw InputError(o.in[0] + ": has no rows in the span asked for");
            return draw_fit_residuals(figure);
        }
        in.require("satellite", "residuals are in the files of leopod run --satellites-out and leopod fit --residuals");
    }
    ResidualFigure figure;
    figure.options = {o.title, 0};
    figure.source = base_names(o.in);
    figure.point = o.quantity == "point";
    figure.elevation_note = o.frame == "antenna" ? "Elevation: above the plane of the antenna."
                                                 : "Elevation: above the local horizon at the receiver.";
    figure.limit_code = o.limit;
    figure.limit_phase = o.limit_phase;
    figure.satellites = read_satellite_rows(o.in, o.frame == "antenna", o.span, figure.options.day_mjd);
    return draw_residuals(figure);
}

Canvas plot_satellites(const PlotOptions& o) {
    SatelliteFigure figure;
    figure.options = {o.title, 0};
    figure.source = base_names(o.in);
    std::vector<std::string> tables;
    for (const std::string& file : o.in) {
        CsvReader in(file);
        if (in.has("satellite")) {
            tables.push_back(file);
            continue;
        }
        const char* hint = "the files of leopod run --out and --satellites-out are expected";
        const int mjd = in.require("mjd_gpst", hint);
        const int sod = in.require("sod_gpst", hint);
        const int count = in.require("satellites", hint);
        const int dilution = in.require("gdop", hint);
        while (in.next()) {
            double seconds = 0;
            if (!row_seconds(o.span, in, mjd, sod, figure.options.day_mjd, seconds)) continue;
            figure.seconds.push_back(seconds);
            figure.count.push_back(in.number(count));
            figure.dilution.push_back(in.number(dilution));
        }
        if (figure.seconds.empty()) throw InputError(file + ": has no rows in the span asked for");
    }
    if (!tables.empty()) figure.tracking = read_satellite_rows(tables, false, o.span, figure.options.day_mjd);
    return draw_satellites(figure);
}

Canvas plot_sky(const PlotOptions& o) {
    SkyFigure figure;
    figure.options = {o.title, 0};
    figure.source = base_names(o.in);
    figure.antenna = o.frame == "antenna";
    figure.style = o.style == "tracks"    ? SkyStyle::tracks
                   : o.style == "density" ? SkyStyle::density
                                          : SkyStyle::by_span;
    figure.satellites = read_satellite_rows(o.in, figure.antenna, o.span, figure.options.day_mjd);
    return draw_sky(figure);
}

Canvas plot_track(const PlotOptions& o) {
    MapFigure figure;
    figure.options = {o.title, 0};
    std::vector<std::string> files;
    long& day = figure.options.day_mjd;
    for (const std::string& text : o.in) {
        const Source source = parse_source(text);
        const std::vector<TimedPosition> rows = read_positions(source, day);
        if (day == 0) day = first_day(rows);
        GroundTrack track{source.label, {}, {}, {}};
        for (const TimedPosition& row : rows) {
            double seconds = 0;
            if (seconds_in_span(o, row.time, day, seconds)) add_position(track, seconds, row.position);
        }
        if (track.seconds.empty()) throw InputError(source.file + ": has no positions in the span asked for");
        files.push_back(source.file);
        figure.tracks.push_back(std::move(track));
    }
    figure.source = base_names(files);
    return draw_map(figure);
}

int save(const PlotOptions& o, Canvas (*draw)(const PlotOptions&)) {
    check_picture_name("--out", o.out);
    FilePlan plan;
    for (const std::string& text : o.in) plan.in("--in", parse_source(text).file);
    plan.in("--truth", o.truth).out("--out", o.out).check();
    {
        const Progress progress("drawing " + o.out);
        draw(o).save(o.out);
    }
    std::printf("plot: %s\n", o.out.c_str());
    return 0;
}

/// One kind of picture, with the options that all of them have.
std::pair<Command, std::shared_ptr<PlotOptions>> add_kind(Command plot, Action& action, const char* name,
                                                          const char* description, const char* in,
                                                          Canvas (*draw)(const PlotOptions&)) {
    auto o = std::make_shared<PlotOptions>();
    Command command = plot.add_subcommand(name, description);
    command.add_option("--in", o->in, in).required();
    command.add_option("--out", o->out, "the picture: .svg, or .png (drawn by gnuplot)").required();
    command.add_option("--title", o->title, "its title");
    add_span(command, o->span, "rows");
    command.callback([o, draw, &action] { action = [o, draw] { return save(*o, draw); }; });
    return {command, o};
}

}  // namespace

void add_plot(Command app, Action& action) {
    Command plot = app.add_subcommand("plot", "Pictures (SVG, PNG) of the CSV files that the other commands write");
    plot.require_subcommand();
    const auto kind = [&](const char* name, const char* description, const char* in,
                          Canvas (*draw)(const PlotOptions&)) {
        return add_kind(plot, action, name, description, in, draw);
    };
    const auto frame = [](Command command, const std::shared_ptr<PlotOptions>& o) {
        command.add_option("--frame", o->frame, "azimuth and elevation: horizon (local, from north) or antenna")
            .one_of({"horizon", "antenna"})
            .capture_default_str();
    };
    const auto limit = [](Command command, const char* name, double& value, const char* text) {
        command.add_option(name, value, text).positive();
    };
    const char* solutions =
        "CSV, SP3 or OEM file of positions; FILE:point or FILE:filter chooses of a file of run, =LABEL behind it names "
        "it; may be repeated";
    const char* satellites = "CSV of run --satellites-out; may be repeated";
    {
        const auto [command, o] =
            kind("errors", "Errors of one or more solutions against a truth", solutions, plot_errors);
        command.add_option("--truth", o->truth, "reference positions (CSV, SP3 or OEM), as in run").required();
        command
            .add_option("--layout", o->layout,
                        "panels from above, with commas: components (radial, along, cross), solutions, total (3D)")
            .capture_default_str();
        command.add_flag("--log", o->log, "logarithmic axes");
        limit(command, "--limit", o->limit, "end of the error axes in metres; without it that of the data");
    }
    {
        const auto [command, o] =
            kind("residuals", "Residuals over time and elevation",
                 "CSV of run --satellites-out (may be repeated), or of fit --residuals", plot_residuals);
        command.add_option("--of", o->quantity, "filter, or point: the ranges of the point position")
            .one_of({"filter", "point"})
            .capture_default_str();
        frame(command, o);
        limit(command, "--limit", o->limit, "end of the axes of codes and of a fit in metres");
        limit(command, "--limit-phase", o->limit_phase, "end of the axis of phases in metres");
    }
    kind("satellites", "Number of satellites and dilution over time; tracking by satellite",
         "CSV of run --out, of run --satellites-out, or both", plot_satellites);
    {
        const auto [command, o] =
            kind("sky", "Satellites over the sky: their tracks, or how often one stood where", satellites, plot_sky);
        frame(command, o);
        command.add_option("--style", o->style, "tracks, density, or auto: tracks up to two hours, density beyond")
            .one_of({"auto", "tracks", "density"})
            .capture_default_str();
    }
    kind("track", "Ground track on a map", solutions, plot_track);
}

}  // namespace host
