#include "stores/loading.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "earth_gravity.h"
#include "inputs/checks.h"
#include "inputs/open.h"
#include "shared/earth.h"
#include "shared/error.h"
#include "shared/printable.h"
#include "shared/times.h"
#include "stores/attitudes.h"
#include "stores/environment.h"
#include "stores/ephemerides.h"
#include "stores/observables.h"
#include "stores/observation_stream.h"
#include "stores/orientation.h"
#include "stores/planets.h"
#include "stores/plausible.h"

namespace host {

namespace {

constexpr double kFirstMjd = 41500.0;  ///< leap seconds begin in 1972: earlier dates would end the process

std::vector<ObservationScan> scan_all(const InputOptions& options, Environment& environment) {
    std::vector<ObservationScan> scans;
    FileSpan span;
    ArcOfEpochs& arc = environment.arc;
    for (const std::string& name : options.obs) {
        scans.push_back(scan_observations(name));
        const ObservationScan& scan = scans.back();
        arc.epochs += scan.epochs;
        std::string content = std::to_string(scan.epochs) + " epochs";
        const std::string passed_over = scan.passed_over.text();
        if (!passed_over.empty()) content += ", " + passed_over;
        environment.files.push_back({"observations", name, content, scan.span});
        if (scan.epochs == 0) continue;
        span.include(scan.span.first);
        span.include(scan.span.last);
        if (arc.interval == 0.0) arc.interval = scan.span.interval;
    }
    if (arc.epochs == 0) throw InputError(options.obs.front() + ": no epoch could be read from the observation files");
    arc.first = span.first;
    arc.last = span.last;
    arc.interval = std::max(arc.interval, options.interval);
    if (gtime2mjd(arc.first) < kFirstMjd)
        throw InputError(options.obs.front() + ": epochs before 1972 cannot be processed (no leap seconds)");
    return scans;
}

/// Cuts the arc to what is asked for.
std::optional<ArcSpan> cut_arc(const InputOptions& options, ArcOfEpochs& arc) {
    if (options.from.empty() && options.to.empty()) return std::nullopt;
    const ArcSpan span({options.from, options.to, 0.0}, arc.first, tsGPST);
    const double step = arc.interval > 0.0 ? arc.interval : 1.0;
    const long count = std::lround(std::floor(gtimeSubSec(arc.last, arc.first) / step)) + 1;
    const GTime start = arc.first;
    arc.epochs = 0;
    for (long i = 0; i < count; ++i) {
        const GTime time = gtimeAddSec(start, static_cast<double>(i) * step);
        if (!span.within(time)) continue;
        if (arc.epochs++ == 0) arc.first = time;
        arc.last = time;
    }
    if (arc.epochs == 0) {
        throw InputError(options.obs.front() + ": no epoch between --from and --to" +
                         (options.interval > 0.0 ? " at that interval" : "") + "; the files hold " +
                         time_text(start, 0) + " to " + time_text(arc.last, 0));
    }
    return span;
}

/// Systems that are asked for, or those that both the observations and the ephemerides hold, in the order GPS, BDS.
std::vector<sysGNSS> choose_systems(const InputOptions& options, const std::vector<ObservationScan>& scans,
                                    const RUNTIME_POD_EMBED& runtime) {
    const auto observed = [&scans](sysGNSS system) { return share_of(system, {}, scans).all > 0; };
    std::vector<sysGNSS> systems;
    if (!options.systems.empty()) systems = read_systems(options.systems);
    for (const sysGNSS system : systems) {
        if (!observed(system))
            throw InputError("--systems " + options.systems +
                             ": the observation files have no satellite of one of them");
    }
    if (!systems.empty()) return systems;
    std::vector<sysGNSS> seen;
    for (const sysGNSS system : {GPS, BDS}) {
        if (!observed(system)) continue;
        seen.push_back(system);
        const CodeSet codes = choose_codes(system, scans);
        if (has_ephemerides(system, runtime) && share_of(system, {codes.begin(), codes.end()}, scans).complete > 0)
            systems.push_back(system);
    }
    if (systems.empty()) systems = seen;
    if (systems.empty()) systems.push_back(GPS);
    return systems;
}

/// The observables of --codes: of a system once, of one that is taken, and of some satellite.
std::vector<Observables> codes_by_hand(const InputOptions& options, const std::vector<sysGNSS>& systems,
                                       const std::vector<ObservationScan>& scans) {
    std::vector<Observables> given;
    for (const std::string& text : options.codes) {
        const Observables codes = read_codes(text);
        if (std::any_of(given.begin(), given.end(), [&](const Observables& o) { return o.system == codes.system; }))
            throw InputError("--codes " + text + ": this system has been given already");
        if (!options.systems.empty() && std::count(systems.begin(), systems.end(), codes.system) == 0)
            throw InputError("--codes " + text + ": --systems " + options.systems + " leaves this system out");
        if (share_of(codes.system, {codes.codes.begin(), codes.codes.end()}, scans).complete == 0)
            throw InputError("--codes " + text + ": no satellite has all of them; observed are " +
                             other_signals({}, scans));
        given.push_back(codes);
    }
    return given;
}

/// What is processed: by hand, or by what the files hold.
void choose_observables(const InputOptions& options, const std::vector<ObservationScan>& scans,
                        const RUNTIME_POD_EMBED& runtime) {
    std::vector<sysGNSS> systems = choose_systems(options, scans, runtime);
    const std::vector<Observables> given = codes_by_hand(options, systems, scans);
    if (options.systems.empty() && !given.empty()) {
        systems.clear();
        for (const Observables& o : given) systems.push_back(o.system);
    }
    set_gnssconfig_system(&gnssconfig, static_cast<int>(systems.size()), systems.data());
    for (std::size_t i = 0; i < systems.size(); ++i) {
        const auto by_hand =
            std::find_if(given.begin(), given.end(), [&](const Observables& o) { return o.system == systems[i]; });
        configure_codes(static_cast<int>(i), by_hand != given.end() ? by_hand->codes : choose_codes(systems[i], scans));
    }
}

/// Tells what the configured observables leave, and where they find nothing.
void hold_observables(const std::vector<ObservationScan>& scans, Environment& environment) {
    std::vector<Observables> taken;
    for (int j = 0; j < std::min<int>(gnssconfig.num_sys, MAXNUM_SYS); ++j) {
        const std::vector<std::string> codes = configured_codes(j);
        Observables observables;
        observables.system = gnssconfig.sys_used[j];
        if (codes.size() == 4) std::copy(codes.begin(), codes.end(), observables.codes.begin());
        taken.push_back(observables);
        const Share share = share_of(observables.system, codes, scans);
        environment.shares.push_back(
            share.all > 0 ? 100.0 * static_cast<double>(share.complete) / static_cast<double>(share.all) : 0.0);
        environment.observed_types.push_back(observed_types(observables.system, scans));
    }
    environment.other_signals = other_signals(taken, scans);
}

void load_antennas(const std::string& name, double mjd, Environment& environment) {
    ANT_INFO_STORE& store = environment.antennas;
    g_antenna_info_store = &store;
    const int before = store.num_antenna_info;
    if (!load_antenna_storage(loadable(name), &store)) throw InputError(name + ": this ANTEX file could not be read");
    const long valid = std::count_if(
        store.antenna_info_storage + before, store.antenna_info_storage + store.num_antenna_info,
        [mjd](const ANT_INFO& antenna) { return antenna.mjd_available[0] <= mjd && mjd <= antenna.mjd_available[1]; });
    if (valid == 0)
        throw InputError(name + ": none of the antennas of this ANTEX file is valid on " +
                         date_text(std::lround(std::floor(mjd))));
    environment.files.push_back({"antennas", name,
                                 std::to_string(store.num_antenna_info - before) + " antennas, " +
                                     std::to_string(valid) + " valid at the arc's start"});
}

}  // namespace

void load_attitude(const InputOptions& options, Environment& environment) {
    // The epoch driver looks up object 0, the point position the receiver number: both get the files.
    std::vector<int> objects{0};
    if (options.receiver != 0) objects.push_back(options.receiver);
    std::string names;
    for (const std::string& name : options.att) {
        add_part(names, name);
        const bool mission = check_attitude(name);
        int records = 0;
        for (int object : objects) {
            const bool ok =
                mission ? load_sca_grace(object, loadable(name)) : load_attitude_quaternion(object, loadable(name));
            if (!ok) throw InputError(name + ": this attitude quaternion file could not be loaded");
        }
        for (int i = 0; i < g_att_qua_storage.num_object; ++i) {
            if (g_att_qua_storage.idx_object[i] == 0) records = g_att_qua_storage.qua_num[i];
        }
        environment.files.push_back(
            {"attitude", name, std::to_string(records) + " quaternions in all", attitude_span(name, mission)});
    }
    const long out = tidy_attitudes(names);
    if (out > 0) environment.files.back().content += ", " + std::to_string(out) + " of them no rotations and left out";
}

void load_transmitters(const InputOptions& options, Environment& environment) {
    check_ephemerides(options);
    environment.runtime = make_zeroed<RUNTIME_POD_EMBED>();
    load_ephemerides(options, environment);
    check_ephemeris_values(environment);
}

void load_configuration(const std::string& file, Environment& environment) {
    check_config(file);
    set_gnssconfig_from_file(loadable(file));
    if (gnssconfig.num_sys < 1) throw InputError(file + ": this GNSS configuration file names no system");
    environment.files.push_back({"configuration", file, std::to_string(gnssconfig.num_sys) + " systems"});
}

namespace {

void check_options(const InputOptions& options) {
    if (options.obs.empty()) throw InputError("no observation file is given (--obs)");
    if (options.receiver < 0) throw InputError("--receiver: a number from 0 on is expected");
    if (options.embedded && (!options.eop.empty() || !options.jpl.empty() || !options.atx.empty())) {
        throw InputError("--embedded uses the built-in tables: --eop, --jpl and --atx do not go with it");
    }
    if ((options.embedded || !options.config.empty()) && (!options.codes.empty() || !options.systems.empty()))
        throw InputError("--codes and --systems do not go with --embedded or --config, which name the observables");
    // All checks come before the first load: a bad file ends the run early and with its name.
    check_ephemerides(options);
    for (const std::string& name : options.atx) check_antex(name);
    if (!options.config.empty()) check_config(options.config);
}

void start_embedded(Environment& environment) {
    startup_pod_embed(environment.runtime.get(), false);
    environment.eop_source =
        "built-in, " + date_span_text(g_eop_storage[0].mjd_utc, g_eop_storage[g_eop_storage_size - 1].mjd_utc) + " UTC";
    environment.planet_source =
        "built-in record, " + date_span_text(g_eph_header->ss[0] - kMjdToJd, g_eph_header->ss[1] - kMjdToJd) + " TT";
}

void load_models(const InputOptions& options, Environment& environment) {
    const double mjd_first = gtime2mjd(environment.arc.first);
    initialize_global_earth_gravity();
    load_planets(options.jpl, mjd_first, gtime2mjd(environment.arc.last), environment);
    load_earth_orientation(options.eop, options.eop_format, environment);
    for (const std::string& name : options.atx) load_antennas(name, mjd_first, environment);
}

}  // namespace

void prepare_stream(const InputOptions& options, Environment& environment) {
    check_options(options);
    environment.runtime = make_zeroed<RUNTIME_POD_EMBED>();
    std::vector<ObservationScan> scans = scan_all(options, environment);
    const std::optional<ArcSpan> span = cut_arc(options, environment.arc);
    if (options.embedded) {
        start_embedded(environment);
    } else {
        load_models(options, environment);
    }
    load_ephemerides(options, environment);
    check_ephemeris_values(environment);
    if (!options.embedded) choose_observables(options, scans, *environment.runtime);
    if (!options.config.empty()) load_configuration(options.config, environment);
    hold_observables(scans, environment);
    load_attitude(options, environment);
    if (!options.embedded) startup_pod_embed(environment.runtime.get(), true);
    environment.stream = std::make_unique<ObservationStream>(
        std::move(scans),
        StreamOptions{options.receiver, options.interval, span, options.sigma_code, options.sigma_phase});
}

void prepare(const InputOptions& options, Environment& environment) {
    prepare_stream(options, environment);
    environment.observations = make_zeroed<OBSDATA_EPOCH>(static_cast<std::size_t>(environment.arc.epochs) + 2);
    int count = 0;
    while (environment.stream->next_window()) {
        set_aside_impossible_observations(environment);
        std::copy_n(g_obs_storage, g_num_obs_storage, environment.observations.get() + count);
        count += g_num_obs_storage;
    }
    environment.stream.reset();
    if (count == 0) throw InputError(options.obs.front() + ": no epoch could be read from the observation files");
    g_obs_storage = environment.observations.get();
    g_num_obs_storage = count;
}

}  // namespace host
