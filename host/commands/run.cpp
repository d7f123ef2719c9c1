#include "commands/run.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/run_epoch.h"
#include "commands/run_json.h"
#include "commands/run_summary.h"
#include "commands/summaries.h"
#include "inputs/truth.h"
#include "pictures/canvas.h"
#include "pictures/errors.h"
#include "pictures/satellites.h"
#include "shared/console.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/times.h"
#include "stores/coverage.h"
#include "stores/guard.h"
#include "stores/satellites.h"

namespace host {

namespace {

struct Errors {
    std::vector<PositionError> point, filter;
};

Errors compare(const std::vector<Epoch>& epochs, const Truth& truth) {
    Errors errors;
    const GTime& first = epochs.front().tag;
    for (const Epoch& e : epochs) {
        if (!e.solved) continue;
        PositionError error{};
        error.seconds = gtimeSubSec(e.tag, first);
        // Both solutions are the position at the true receive time.
        if (!truth.error_at(e.received, e.point, error)) continue;
        errors.point.push_back(error);
        truth.error_at(e.received, e.filter, error);
        errors.filter.push_back(error);
    }
    return errors;
}

/// The picture of a run. False where there is none.
bool write_plot(const std::string& file, const std::vector<Epoch>& epochs, const Errors& errors,
                const RunOptions& options, bool at_rest) {
    const GTime& first = epochs.front().tag;
    if (!options.truth.empty()) {
        ErrorFigure figure;
        figure.options = {"", first.time.mjd};
        figure.reference = std::filesystem::path(options.truth).filename().string();
        figure.at_rest = at_rest;
        figure.layout = {"solutions"};
        for (const auto& [name, list] : {std::pair{"Point position from pseudoranges", &errors.point},
                                         std::pair{"Carrier-phase filter", &errors.filter}}) {
            SolutionErrors s{name, {}, {}};
            for (const PositionError& e : *list) {
                s.seconds.push_back(first.time.sod + e.seconds);
                for (std::size_t k = 0; k < 3; ++k) s.component[k].push_back(e.component[k]);
            }
            figure.solutions.push_back(std::move(s));
        }
        return report_picture(file, [&] {
            if (errors.point.empty()) throw InputError(options.truth + ": covers no epoch that was solved");
            return draw_errors(figure);
        });
    }
    SatelliteFigure figure;
    figure.options = {"", first.time.mjd};
    figure.source = std::filesystem::path(options.inputs.obs.front()).filename().string() +
                    (options.inputs.obs.size() > 1 ? ", ..." : "");
    for (const Epoch& e : epochs) {
        figure.seconds.push_back(first.time.sod + gtimeSubSec(e.tag, first));
        figure.count.push_back(e.satellites);
        figure.dilution.push_back(e.solved ? e.gdop : std::nan(""));
    }
    return report_picture(file, [&] { return draw_satellites(figure); });
}

/// The files that a run writes as it goes.
struct Tables {
    std::unique_ptr<EpochTable> epochs;
    std::unique_ptr<SatelliteTable> satellites;

    Tables(const RunOptions& options, Console& console) {
        if (!options.out.empty()) epochs = std::make_unique<EpochTable>(options.out);
        if (!options.satellites_out.empty())
            satellites = std::make_unique<SatelliteTable>(options.satellites_out, console);
    }
    void add(const Epoch& epoch, const RUNTIME_POD_EMBED& runtime) {
        if (epochs != nullptr) epochs->add(epoch);
        if (satellites != nullptr && epoch.processed) satellites->add(runtime, epoch.solved, epoch.slips);
    }
    void close() {
        if (epochs != nullptr) epochs->close();
        if (satellites != nullptr) satellites->close();
    }
};

std::vector<Epoch> process_all(EpochRunner& runner, const RUNTIME_POD_EMBED& runtime, Tables& tables, Totals& totals) {
    std::vector<Epoch> epochs;
    epochs.reserve(static_cast<std::size_t>(g_num_obs_storage));
    const auto start = std::chrono::steady_clock::now();
    Progress progress("processing epochs", g_num_obs_storage);
    for (int i = 0; i < g_num_obs_storage; ++i) {
        epochs.push_back(runner.process(g_obs_storage[i]));
        tables.add(epochs.back(), runtime);
        totals.add(epochs.back());
        progress.done(i + 1);
    }
    totals.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return epochs;
}

/// Most frequent step of the first epochs [s].
double epoch_interval() {
    std::map<long, int> steps;
    for (int i = 1; i < std::min(g_num_obs_storage, 1000); ++i)
        ++steps[std::lround(1000.0 * gtimeSubSec(g_obs_storage[i].epoch_time, g_obs_storage[i - 1].epoch_time))];
    const auto less = [](const auto& a, const auto& b) { return a.second < b.second; };
    const auto most = std::max_element(steps.begin(), steps.end(), less);
    return most != steps.end() ? static_cast<double>(most->first) / 1000.0 : 0.0;
}

/// The reference positions, of which some have to lie in the arc.
std::unique_ptr<Truth> load_truth(const std::string& file) {
    if (file.empty()) return nullptr;
    const GTime& first = g_obs_storage[0].epoch_time;
    auto truth = std::make_unique<Truth>(Truth::load(file, first));
    Vector3 position;
    Vector3 velocity;
    for (int i = 0; i < g_num_obs_storage; ++i) {
        if (truth->state_at(g_obs_storage[i].epoch_time, position, velocity)) return truth;
    }
    throw InputError(file + ": covers no epoch of the arc from " + time_text(first, 0) + " to " +
                     time_text(g_obs_storage[g_num_obs_storage - 1].epoch_time, 0));
}

void print_errors(const RunOptions& options, const Errors& errors, const Truth& truth, bool on_ground) {
    constexpr int kNameWidth = 36;
    const std::string mark = on_ground ? " (not to be used)" : "";
    std::printf("errors against %s (%zu rows):\n", options.truth.c_str(), truth.size());
    print_statistics("point position", kNameWidth, statistics(errors.point), truth.at_rest());
    print_statistics(("filter" + mark).c_str(), kNameWidth, statistics(errors.filter), truth.at_rest());
    print_statistics("filter after 20 epochs", kNameWidth, statistics(errors.filter, kSettling), truth.at_rest());
}

/// True for a position of the filter that goes into an orbit file.
bool is_orbit(const Epoch& epoch) {
    const std::string status = epoch.filter_status;
    return epoch.solved && status != "FAR_FROM_POINT" && status != "NOT_FOR_GROUND";
}

/// The filter's positions at the true receive times, or at whole seconds.
void write_orbit_files(const RunOptions& options, const std::vector<Epoch>& epochs) {
    std::vector<TimedPosition> points;
    for (const Epoch& e : epochs) {
        if (is_orbit(e)) points.push_back({e.received, {e.filter[0], e.filter[1], e.filter[2]}});
    }
    if (points.empty()) {
        std::printf("orbit not written: no position of the filter is worth it\n");
        return;
    }
    Ephemeris orbit;
    orbit.interval = epoch_interval();
    orbit.type = "KIN";
    orbit.data = "u+U";
    orbit.fixed = kinematic_states(points, orbit.interval, options.round);
    orbit.comments = {
        "EARTH-FIXED POSITIONS OF A LOW-EARTH-ORBIT SATELLITE",
        "FROM CODE AND CARRIER PHASE, EPOCH BY EPOCH. TIME GPST.",
        options.round ? "INTERPOLATED FROM TRUE RECEIVE TIMES TO WHOLE SECONDS." : "AT TRUE RECEIVE TIMES.",
        "VELOCITIES BY A POLYNOMIAL THROUGH THE POSITIONS."};
    write_orbit(options.orbit, orbit);
    if (options.round)
        std::printf("orbit at whole seconds: %zu of %zu positions, interpolated over the receiver clock\n",
                    orbit.fixed.size(), points.size());
}

FilePlan check_files(const RunOptions& o) {
    FilePlan plan;
    const InputOptions& in = o.inputs;
    plan.in("--obs", in.obs).in("--nav", in.nav).in("--sp3", in.sp3).in("--clk", in.clk).in("--atx", in.atx);
    plan.in("--att", in.att).in("--eop", in.eop).in("--jpl", in.jpl).in("--config", in.config).in("--truth", o.truth);
    plan.out("--out", o.out).out("--satellites-out", o.satellites_out);
    plan_orbit_outputs(o.orbit, plan);
    plan.out("--plot", o.plot).out("--summary", o.summary).check();
    return plan;
}

}  // namespace

int run(const RunOptions& options) {
    const FilePlan plan = check_files(options);
    if (!options.plot.empty()) check_picture_name("--plot", options.plot);
    Console console(options.log_level);
    Environment environment;
    {
        const Progress progress("reading files");
        prepare(options.inputs, environment);
    }
    const GTime first = g_obs_storage[0].epoch_time, last = g_obs_storage[g_num_obs_storage - 1].epoch_time;
    for (const std::string& note : hold_against_arc(environment, first, last))
        std::fprintf(stderr, "leopod run: note: %s\n", note.c_str());
    const std::unique_ptr<Truth> truth = load_truth(options.truth);

    RUNTIME_POD_EMBED& runtime = *environment.runtime;
    Guard guard(runtime.prec_storage, g_obs_storage[0].epoch_time, environment.clock_interval);
    EpochRunner runner(runtime, guard, console, epoch_interval());
    Tables tables(options, console);
    Totals totals;
    const std::vector<Epoch> epochs = process_all(runner, runtime, tables, totals);
    tables.close();

    print_summary(options, environment, totals, guard, console);
    Errors errors;
    if (truth != nullptr) {
        errors = compare(epochs, *truth);
        print_errors(options, errors, *truth, totals.on_ground());
    }
    if (tables.epochs != nullptr) std::printf("epochs written: %s\n", options.out.c_str());
    if (tables.satellites != nullptr) std::printf("satellites written: %s\n", options.satellites_out.c_str());
    if (options.orbit.wanted()) write_orbit_files(options, epochs);
    const bool drawn =
        options.plot.empty() || write_plot(options.plot, epochs, errors, options, truth != nullptr && truth->at_rest());
    const int status = totals.solved > 0 && drawn ? 0 : 1;
    Summary summary = begin_summary("run", options.summary, plan);
    summarise(options, environment, totals, guard, console, summary);
    if (truth != nullptr) {
        summary.set("errors/reference", truth->source());
        summarise_errors("errors/point", statistics(errors.point), truth->at_rest(), summary);
        summarise_errors("errors/filter", statistics(errors.filter), truth->at_rest(), summary);
        summarise_errors("errors/filter_after_20_epochs", statistics(errors.filter, kSettling), truth->at_rest(),
                         summary);
    }
    summary.write(status);
    return status;
}

void add_run(Command app, Action& action) {
    auto o = std::make_shared<RunOptions>();
    Command command =
        app.add_subcommand("run", "Observation files in, an orbit out, epoch by epoch (earth-fixed, GPST)");
    command.add_option("--obs", o->inputs.obs, "RINEX observation file, version 2 or 3; may be repeated").required();
    command.add_option("--nav", o->inputs.nav, "RINEX navigation file; may be repeated");
    command.add_option("--sp3", o->inputs.sp3, "SP3 orbit file; may be repeated");
    command.add_option("--clk", o->inputs.clk, "RINEX clock file; may be repeated");
    command.add_option("--atx", o->inputs.atx, "ANTEX antenna file; may be repeated");
    command.add_option("--att", o->inputs.att,
                       "attitude quaternion file, the library's columns or the mission product; may be repeated");
    command.add_option("--eop", o->inputs.eop, "earth orientation file");
    command.add_option("--eop-format", o->inputs.eop_format, "its format: c04, rapid or keyword").capture_default_str();
    command.add_option("--jpl", o->inputs.jpl, "JPL ephemeris, ASCII header and records in one file");
    command.add_option("--config", o->inputs.config, "GNSS configuration file");
    command.add_option("--receiver", o->inputs.receiver, "receiver number of the observations").capture_default_str();
    command.add_option("--interval", o->inputs.interval, "sampling of the epochs in seconds; 0 takes all")
        .non_negative()
        .capture_default_str();
    command.add_flag("--embedded", o->inputs.embedded, "the embedded deployment: built-in tables, BeiDou alone");
    command.add_option(
        "--truth", o->truth,
        "file to compare with: CSV (GPST, x, y, z in metres, earth-fixed), SP3 or OEM; one row for a site at rest");
    command.add_option("--out", o->out, "CSV, one row per epoch");
    command.add_option("--satellites-out", o->satellites_out,
                       "CSV, one row per epoch and satellite: directions, residuals, slips");
    add_summary(command, o->summary);
    add_orbit_outputs(command, o->orbit, "the filtered positions");
    command.add_option("--satellite", o->orbit.satellite, "satellite of the SP3 file, such as L01");
    command.add_flag("--round", o->round, "these files at whole seconds, interpolated from the true receive times");
    command.add_option("--plot", o->plot, "SVG or PNG of the errors, or of the satellites without --truth");
    command
        .add_option("--log-level", o->log_level,
                    "library messages from this level on: trace, debug, info, warning, error, critical, off")
        .capture_default_str();
    command.callback([o, &action] { action = [o] { return run(*o); }; });
}

}  // namespace host
