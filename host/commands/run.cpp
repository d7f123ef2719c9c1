#include "commands/run.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/run_antenna.h"
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
#include "stores/observation_stream.h"
#include "stores/plausible.h"
#include "stores/satellite_antenna.h"
#include "stores/satellites.h"

namespace host {

namespace {

/// What is kept of the epochs for the end of a run; nothing that isn't asked for.
struct Kept {
    std::vector<PositionError> point, filter;  ///< errors
    std::unique_ptr<KinematicStates> orbit;    ///< positions of the filter that go into an orbit file
    SatelliteFigure satellites;
};

/// True for a position of the filter that goes into an orbit file.
bool is_orbit(const RunEpoch& epoch) {
    const std::string status = epoch.filter_status;
    return epoch.solved && status != "FAR_FROM_POINT" && status != "NOT_FOR_GROUND";
}

TimedPosition position_of(const RunEpoch& epoch) {
    TimedPosition position{epoch.received, {epoch.filter[0], epoch.filter[1], epoch.filter[2]}};
    Covariance c{};
    for (std::size_t i = 0, k = 0; i < 3; ++i) {
        for (std::size_t j = i; j < 3; ++j) c[i][j] = c[j][i] = epoch.filter_covariance[k++];
    }
    if (c[0][0] > 0.0) position.covariance = c;
    return position;
}

/// Takes from an epoch what the options ask for.
class Keeper {
  public:
    Keeper(const RunOptions& options, const Truth* truth, const ArcOfEpochs& arc)
        : truth_(truth), first_(arc.first), satellites_(!options.plot.empty() && truth == nullptr) {
        if (options.orbit.wanted()) kept_.orbit = std::make_unique<KinematicStates>(arc.interval, options.round);
    }

    void add(const RunEpoch& e) {
        if (satellites_) {
            kept_.satellites.seconds.push_back(first_.time.sod + gtimeSubSec(e.tag, first_));
            kept_.satellites.count.push_back(e.satellites);
            kept_.satellites.dilution.push_back(e.solved ? e.gdop : std::nan(""));
        }
        if (kept_.orbit != nullptr && is_orbit(e)) kept_.orbit->add(position_of(e));
        // Both solutions are the position at the true receive time.
        PositionError error{};
        error.seconds = gtimeSubSec(e.tag, first_);
        if (truth_ == nullptr || !e.solved || !truth_->error_at(e.received, e.point, error)) return;
        kept_.point.push_back(error);
        truth_->error_at(e.received, e.filter, error);
        kept_.filter.push_back(error);
    }
    /// Behind the last epoch.
    Kept& end() {
        if (kept_.orbit != nullptr) kept_.orbit->end();
        return kept_;
    }

  private:
    const Truth* truth_;
    GTime first_;
    bool satellites_;
    Kept kept_;
};

/// The errors of a run against its reference.
struct ErrorsOfRun {
    std::string reference;  ///< what its file says about itself
    std::size_t rows = 0;   ///< of it
    bool at_rest = false;
    ErrorStatistics point, filter, settled;

    ErrorsOfRun(const Truth& truth, const Kept& kept)
        : reference(truth.source()),
          rows(truth.size()),
          at_rest(truth.at_rest()),
          point(statistics(kept.point)),
          filter(statistics(kept.filter)),
          settled(statistics(kept.filter, kSettling)) {}
};

/// The picture of a run, made of what is kept, which goes into it. False where there is none.
bool write_plot(const RunOptions& options, const GTime& first, Kept& kept, bool at_rest) {
    if (!options.truth.empty()) {
        ErrorFigure figure;
        figure.options = {"", first.time.mjd};
        figure.reference = std::filesystem::path(options.truth).filename().string();
        figure.at_rest = at_rest;
        figure.layout = {"solutions"};
        const bool none = kept.point.empty();
        for (const auto& [name, list] : {std::pair{"Point position from pseudoranges", &kept.point},
                                         std::pair{"Carrier-phase filter", &kept.filter}}) {
            SolutionErrors s{name, {}, {}};
            s.seconds.reserve(list->size());
            for (std::vector<double>& component : s.component) component.reserve(list->size());
            for (const PositionError& e : *list) {
                s.seconds.push_back(first.time.sod + e.seconds);
                for (std::size_t k = 0; k < 3; ++k) s.component[k].push_back(e.component[k]);
            }
            *list = {};
            figure.solutions.push_back(std::move(s));
        }
        return report_picture(options.plot, [&] {
            if (none) throw InputError(options.truth + ": covers no epoch that was solved");
            return draw_errors(std::move(figure));
        });
    }
    SatelliteFigure figure = std::move(kept.satellites);
    figure.options = {"", first.time.mjd};
    figure.source = std::filesystem::path(options.inputs.obs.front()).filename().string() +
                    (options.inputs.obs.size() > 1 ? ", ..." : "");
    return report_picture(options.plot, [&] { return draw_satellites(figure); });
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
    void add_satellites(const RunEpoch& epoch, const RUNTIME_POD_EMBED& runtime) const {
        if (satellites != nullptr && epoch.processed) satellites->add(runtime, epoch.solved, epoch.slips);
    }
    void add(const RunEpoch& epoch) const {
        if (epochs != nullptr) epochs->add(epoch);
    }
    void close() const {
        if (epochs != nullptr) epochs->close();
        if (satellites != nullptr) satellites->close();
    }
};

void process_all(EpochRunner& runner, Environment& environment, const AntennaOffset& antenna, Tables& tables,
                 Totals& totals, Keeper& keeper) {
    CentreOfMass centre(antenna);
    const auto keep = [&](const std::vector<RunEpoch>& epochs) {
        for (const RunEpoch& epoch : epochs) {
            tables.add(epoch);
            totals.add(epoch);
            keeper.add(epoch);
        }
    };
    const auto start = std::chrono::steady_clock::now();
    Progress progress("processing epochs", static_cast<double>(environment.arc.epochs));
    while (environment.stream->next_window()) {
        set_aside_impossible_observations(environment);
        for (int i = 0; i < g_num_obs_storage; ++i) {
            const RunEpoch epoch = runner.process(g_obs_storage[i]);
            tables.add_satellites(epoch, *environment.runtime);
            keep(centre.take(epoch));
            progress.done(static_cast<double>(totals.epochs));
        }
    }
    keep(centre.rest());
    totals.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// What the files cover, before the work. Where they end it, what the observations hold is told all the same.
void tell_coverage(Environment& environment) {
    try {
        for (const std::string& note : hold_against_arc(environment, environment.arc.first, environment.arc.last))
            std::fprintf(stderr, "leopod run: note: %s\n", note.c_str());
    } catch (const InputError&) {
        print_signals(environment);
        throw;
    }
}

/// The reference positions, of which some have to lie in the arc.
std::unique_ptr<Truth> load_truth(const std::string& file, const ArcOfEpochs& arc) {
    if (file.empty()) return nullptr;
    auto truth = std::make_unique<Truth>(Truth::load(file, arc.first));
    Vector3 position;
    Vector3 velocity;
    const double step = std::max(arc.interval, 0.01);
    const long steps = static_cast<long>(gtimeSubSec(arc.last, arc.first) / step + 1e-6);
    for (long i = 0; i <= steps; ++i) {
        if (truth->state_at(gtimeAddSec(arc.first, static_cast<double>(i) * step), position, velocity)) return truth;
    }
    throw InputError(file + ": covers no epoch of the arc from " + time_text(arc.first, 0) + " to " +
                     time_text(arc.last, 0));
}

void print_errors(const RunOptions& options, const ErrorsOfRun& errors, bool on_ground) {
    constexpr int kNameWidth = 38;
    constexpr double kOtherOrbit = 1e4;  ///< [m]
    const std::string mark = on_ground ? " (not to be used)" : "";
    std::printf("errors against %s (%zu rows):\n", options.truth.c_str(), errors.rows);
    const double median = errors.point.median;
    if (median > kOtherOrbit)
        std::printf("note: the reference is %.0f km off: of another satellite, time or frame?\n", 1e-3 * median);
    print_statistics("point position", kNameWidth, errors.point, errors.at_rest);
    print_statistics(("filter" + mark).c_str(), kNameWidth, errors.filter, errors.at_rest);
    print_statistics(("filter after 20 epochs" + mark).c_str(), kNameWidth, errors.settled, errors.at_rest);
}

void summarise_errors(const ErrorsOfRun& errors, Summary& summary) {
    summary.set("errors/reference", errors.reference);
    summarise_errors("errors/point", errors.point, errors.at_rest, summary);
    summarise_errors("errors/filter", errors.filter, errors.at_rest, summary);
    summarise_errors("errors/filter_after_20_epochs", errors.settled, errors.at_rest, summary);
}

/// What went into the files of the orbit.
struct OrbitCounts {
    std::size_t positions = 0, written = 0, without_velocity = 0;
};

/// The filter's positions at the true receive times, or at whole seconds.
OrbitCounts write_orbit_files(const RunOptions& options, KinematicStates& kinematic, const AntennaOffset& antenna,
                              double interval) {
    OrbitCounts counts{kinematic.positions(), kinematic.states().size()};
    if (counts.written == 0) {
        std::printf(counts.positions == 0
                        ? "orbit not written: no position of the filter is worth it\n"
                        : "orbit not written: no position has neighbours that lead to whole seconds\n");
        return counts;
    }
    Ephemeris orbit;
    orbit.interval = interval;
    orbit.type = "KIN";
    orbit.data = "u+U";
    orbit.fixed = std::move(kinematic.states());
    orbit.comments = {
        "EARTH-FIXED POSITIONS OF A LOW-EARTH-ORBIT SATELLITE",
        "FROM CODE AND CARRIER PHASE, EPOCH BY EPOCH. TIME GPST.",
        options.round ? "INTERPOLATED FROM TRUE RECEIVE TIMES TO WHOLE SECONDS." : "AT TRUE RECEIVE TIMES.",
        "VELOCITIES BY A POLYNOMIAL THROUGH THE POSITIONS."};
    orbit.oem_comments = orbit.comments;
    orbit.oem_comments[0] = "POSITIONS OF A LOW-EARTH-ORBIT SATELLITE";
    orbit.oem_comments[1] = "FROM CODE AND CARRIER PHASE, EPOCH BY EPOCH.";
    orbit.oem_comments.emplace_back("COVARIANCES FORMAL, ERRORS OF NEIGHBOURS TAKEN AS INDEPENDENT.");
    if (!antenna.is_zero()) orbit.comments.front() = orbit.oem_comments.front() = antenna.comment();
    counts.without_velocity = write_orbit(options.orbit, orbit);
    if (options.round)
        std::printf("orbit at whole seconds: %zu of %zu positions, interpolated over the receiver clock\n",
                    counts.written, counts.positions);
    return counts;
}

FilePlan check_files(const RunOptions& o) {
    FilePlan plan;
    const InputOptions& in = o.inputs;
    plan_arc_inputs(in, plan);
    plan.in("--truth", o.truth).in("--sp3-antenna", o.sp3_antenna);
    if (!o.sp3_antenna.empty() && in.sp3.empty()) throw InputError("--sp3-antenna needs precise orbits (--sp3)");
    if (!o.sp3_antenna.empty() && !in.atx.empty())
        throw InputError("--sp3-antenna and --atx: the offsets of the satellites would enter twice");
    check_antenna(o.antenna, !in.att.empty());
    plan.out("--out", o.out).out("--satellites-out", o.satellites_out);
    plan_orbit_outputs(o.orbit, plan);
    plan.out("--plot", o.plot).out("--summary", o.summary).check();
    return plan;
}

/// Why the solved epochs are not to be trusted; empty where nothing speaks against them. Where many epochs fit no position, chance alone
/// lets some pass.
std::string doubt_about(const Totals& totals) {
    const auto poor = totals.failed.find("POOR_FIT");
    if (poor == totals.failed.end() || 4 * poor->second <= poor->second + totals.solved) return {};
    return "the ranges of " + std::to_string(poor->second) + " of " + std::to_string(totals.epochs) +
           " epochs fit no position: do times, observations and ephemerides belong together?";
}

}  // namespace

int run(const RunOptions& options) {
    const FilePlan plan = check_files(options);
    if (!options.plot.empty()) check_picture_name("--plot", options.plot);
    Console console(options.log_level);
    Environment environment;
    {
        const Progress progress("reading files");
        prepare_stream(options.inputs, environment);
    }
    const ArcOfEpochs& arc = environment.arc;
    tell_coverage(environment);
    std::unique_ptr<Truth> truth = load_truth(options.truth, arc);

    if (!options.sp3_antenna.empty()) move_to_phase_centers(options.sp3_antenna, environment);
    RUNTIME_POD_EMBED& runtime = *environment.runtime;
    Guard guard(runtime.prec_storage, arc.first, environment.clock_interval);
    EpochRunner runner(runtime, guard, arc.interval, options.inputs.sigma_code);
    Tables tables(options, console);
    Totals totals;
    Keeper keeper(options, truth.get(), arc);
    const AntennaOffset antenna(options.antenna);
    process_all(runner, environment, antenna, tables, totals, keeper);
    if (totals.epochs == 0)
        throw InputError(options.inputs.obs.front() +
                         ": no epoch between --from and --to, or at the interval that is asked for");
    tables.close();

    Kept& kept = keeper.end();
    std::optional<ErrorsOfRun> errors;
    if (truth != nullptr) errors.emplace(*truth, kept);
    truth.reset();
    print_summary(options, environment, totals, guard, console);
    if (!antenna.is_zero())
        std::printf("positions are those of the centre of mass; antenna: %s\n", antenna.text().c_str());
    if (errors) print_errors(options, *errors, totals.on_ground());
    say_written("epochs", options.out);
    say_written("satellites", options.satellites_out);
    OrbitCounts orbit;
    if (options.orbit.wanted()) orbit = write_orbit_files(options, *kept.orbit, antenna, arc.interval);
    const bool written = !options.orbit.wanted() || orbit.written > 0;
    const bool drawn = options.plot.empty() || write_plot(options, totals.first, kept, errors && errors->at_rest);
    const std::string doubt = doubt_about(totals);
    if (!doubt.empty()) std::fprintf(stderr, "leopod: %s: %s\n", options.inputs.obs.front().c_str(), doubt.c_str());
    const int status = totals.solved > 0 && drawn && written && doubt.empty() ? 0 : 1;
    Summary summary = begin_summary("run", options.summary, plan);
    summarise(options, environment, totals, guard, console, summary);
    if (!antenna.is_zero()) summary.set("antenna/offset", antenna.text());
    if (options.orbit.wanted()) {
        summary.set("orbit/positions", orbit.positions);
        summary.set("orbit/written", orbit.written);
        summary.set("orbit/without_velocity", orbit.without_velocity);
    }
    if (errors) summarise_errors(*errors, summary);
    summary.set("fault", doubt);
    summary.write(status);
    return status;
}

void add_run(Command app, Action& action) {
    auto o = std::make_shared<RunOptions>();
    Command command =
        app.add_subcommand("run", "Observation files in, an orbit out, epoch by epoch (earth-fixed, GPST)");
    add_arc_inputs(command, o->inputs).required();
    command.add_option("--atx", o->inputs.atx, "ANTEX antenna file; may be repeated");
    command.add_option(
        "--codes", o->inputs.codes,
        "observables of a system, such as GPS:C1C,L1C,C2W,L2W; may be repeated; without it what most satellites have");
    command.add_option("--systems", o->inputs.systems,
                       "GPS, BDS or GPS,BDS; without it those with observations and ephemerides");
    add_sigmas(command, o->inputs.sigma_code, o->inputs.sigma_phase);
    add_sp3_antenna(command, o->sp3_antenna);
    add_antenna(command, o->antenna, false);
    command.add_option("--receiver", o->inputs.receiver, "receiver number of the observations").capture_default_str();
    add_span(command, o->span, "epochs");
    command.add_flag("--embedded", o->inputs.embedded, "the embedded deployment: built-in tables, BeiDou alone");
    add_truth(command, o->truth, "; one row for a site at rest");
    command.add_option("--out", o->out, "CSV, one row per epoch");
    command.add_option("--satellites-out", o->satellites_out,
                       "CSV, one row per epoch and satellite: directions, residuals, slips");
    add_summary(command, o->summary);
    add_orbit_outputs(command, o->orbit, "the filtered positions");
    command.add_flag("--round", o->round, "these files at whole seconds, interpolated from the true receive times");
    command.add_option("--plot", o->plot, "SVG or PNG of the errors, or of the satellites without --truth");
    add_log_level(command, o->log_level);
    command.callback([o, &action] {
        o->inputs.from = o->span.from;
        o->inputs.to = o->span.to;
        o->inputs.interval = o->span.interval;
        action = [o] { return run(*o); };
    });
}

}  // namespace host
