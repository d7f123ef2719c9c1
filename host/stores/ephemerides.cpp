#include "stores/ephemerides.h"

#include <algorithm>
#include <functional>
#include <map>
#include <numeric>
#include <set>

#include "inputs/checks.h"
#include "inputs/navigation.h"
#include "inputs/open.h"
#include "shared/error.h"
#include "shared/names.h"
#include "shared/times.h"
#include "shared/unnamed_file.h"
#include "stores/clock_choice.h"
#include "stores/orbit_nodes.h"
#include "stores/plausible.h"
#include "stores/satellites.h"

namespace host {

namespace {

template <typename Row>
long count_ok(const Row& row) {
    long n = 0;
    for (const auto& records : row) {
        for (const auto& record : records) n += record.ok;
    }
    return n;
}

template <typename Row>
void count_records(const Row& rows, std::vector<long>& counts) {
    for (const auto& row : rows)
        counts.push_back(std::count_if(std::begin(row), std::end(row), [](const auto& record) { return record.ok; }));
}

std::vector<long> records_by_satellite(const EPHBRDC_STORE& store) {
    std::vector<long> counts;
    count_records(store.eph_brdc_gps_all, counts);
    count_records(store.eph_brdc_bds_all, counts);
    return counts;
}

/// Times of the records behind the first ones of each satellite.
FileSpan records_span(const EPHBRDC_STORE& store, const std::vector<long>& before) {
    FileSpan span;
    auto first = before.begin();
    const auto include = [&](const auto& rows, TIMESYS system) {
        for (const auto& row : rows) {
            for (long i = *first++; i < MAXEPH_BRDC && row[i].ok; ++i)
                span.include(gtimeChangeTimeSystem(time_of(row[i].TOC, system), tsGPST));
        }
    };
    include(store.eph_brdc_gps_all, tsGPST);
    include(store.eph_brdc_bds_all, tsBDST);
    return span;
}

void add_product(FileReport report, Environment& environment) {
    if (report.span.clocks) environment.clock_interval = std::max(environment.clock_interval, report.span.interval);
    environment.files.push_back(std::move(report));
}

/// Of more records of a satellite than the library holds those around the arc are kept.
void keep_within_rows(std::vector<NavigationFile>& files, const ArcOfEpochs& arc) {
    constexpr double kAround = 4.0 * 3600.0;  ///< twice the age that a record may have [s]
    std::map<std::pair<char, int>, int> counts;
    for (const NavigationFile& file : files) {
        for (const NavigationRecord& record : file.records()) ++counts[{record.system, record.prn}];
    }
    const bool fit = std::all_of(counts.begin(), counts.end(), [](const auto& c) { return c.second <= MAXEPH_BRDC; });
    if (fit || arc.first.sys != tsGPST) return;
    std::set<std::string> seen;
    for (NavigationFile& file : files) {
        file.keep_around(arc.first, arc.last, kAround);
        file.drop_repeated(seen);
    }
}

/// The library counts the records of each version from the first row on, and leaves some years of version 2 short.
void take_one_version(std::vector<NavigationFile>& files) {
    const auto old = std::count_if(files.begin(), files.end(), [](const auto& file) { return file.is_version_2(); });
    const bool short_years = std::any_of(files.begin(), files.end(), [](const auto& f) { return f.has_short_years(); });
    if (!short_years && (old == 0 || old == static_cast<long>(files.size()))) return;
    for (NavigationFile& file : files) file.turn_into_version_3();
}

long total(const int (&counts)[98]) { return std::accumulate(counts, counts + MAXSAT_GNSS, 0L); }

bool load_text(const std::string& text, const std::string& name, const std::function<bool(char*)>& load) {
    UnnamedFile file(text.size() + 1);
    file.add(text.data(), text.size());
    show_path_as(file.path(), name);
    return load(writable(file.path()));
}

/// Hands the library a file, or what it can use of it.
bool load_records(const NavigationFile& file) {
    if (!file.is_changed()) return load_ephemeris_brdc(loadable(file.name()));
    return load_text(file.text(), file.name(), load_ephemeris_brdc);
}

void load_navigation(const std::vector<std::string>& names, Environment& environment) {
    std::vector<NavigationFile> files;
    files.reserve(names.size());
    for (const std::string& name : names) files.emplace_back(name);
    take_one_version(files);
    keep_within_rows(files, environment.arc);
    const EPHBRDC_STORE& store = environment.runtime->brdc_storage;
    for (const NavigationFile& file : files) {
        const std::vector<long> counts = records_by_satellite(store);
        const long gps = count_ok(store.eph_brdc_gps_all);
        const long bds = count_ok(store.eph_brdc_bds_all);
        if (!load_records(file)) throw InputError(file.name() + ": this RINEX navigation file could not be read");
        const FileSpan span = records_span(store, counts);
        const std::string left_out = file.left_out();
        environment.files.push_back({"navigation", file.name(),
                                     std::to_string(count_ok(store.eph_brdc_gps_all) - gps) + " GPS and " +
                                         std::to_string(count_ok(store.eph_brdc_bds_all) - bds) + " BDS records" +
                                         (left_out.empty() ? "" : ", " + left_out),
                                     span.known() ? span : file.span()});
    }
}

/// True for files that were put one behind the other, of which the library would read the first.
bool is_joined(const std::string& name) {
    bool ended = false, joined = false;
    each_line(name, "SP3 file", [&](const std::string& line) {
        ended = ended || line.compare(0, 3, "EOF") == 0;
        joined = ended && !line.empty() && line[0] == '#';
        return !joined;
    });
    return joined;
}

/// The first version names satellites of GPS by their number alone, as in "P  1": the library gets "PG01".
bool load_orbits(const std::string& name) {
    const bool first_version = InputFile::of(name).head().compare(0, 2, "#a") == 0;
    if (!first_version && !is_joined(name)) return load_ephemris_prec(loadable(name));
    std::string text;
    bool ended = false;
    each_line(name, "SP3 file", [&](const std::string& line) {
        ended = line.compare(0, 3, "EOF") == 0 || (ended && line[0] != '#');
        if (ended) return true;
        const bool unnamed = line.size() > 4 && line[0] == 'P' && line[1] == ' ';
        text += unnamed ? std::string("PG") + (line[2] == ' ' ? '0' : line[2]) + line.substr(3) : line;
        text += '\n';
        return true;
    });
    return load_text(text, name, load_ephemris_prec);
}

void load_clocks(const std::vector<std::string>& names, Environment& environment) {
    EPHPREC_STORE& store = environment.runtime->prec_storage;
    const ClockChoice choice(names, environment.arc, *std::max_element(store.idx_clk, store.idx_clk + MAXSAT_GNSS));
    const auto load = [&store](char* path) { return load_clock_prec(path, &store); };
    for (const std::string& name : names) {
        const long before = total(store.idx_clk);
        long left_out = 0;
        const bool loaded =
            choice.is_needed() ? load_text(choice.text(name, left_out), name, load) : load(loadable(name));
        if (!loaded) throw InputError(name + ": this RINEX clock file could not be read");
        std::string content = std::to_string(total(store.idx_clk) - before) + " clocks";
        if (left_out > 0)
            content += ", " + std::to_string(left_out) + " left out: a satellite's row holds " +
                       std::to_string(MAXEPOCH_CLK_PRE);
        add_product({"precise clocks", name, content, clock_span(name)}, environment);
    }
}

}  // namespace

void check_ephemerides(const InputOptions& options) {
    if (options.nav.empty() && options.sp3.empty()) throw InputError("no ephemeris file is given (--nav or --sp3)");
    if (!options.clk.empty() && options.sp3.empty()) throw InputError("--clk: clocks go with precise orbits (--sp3)");
    for (const std::string& name : options.nav) check_navigation(name);
    for (const std::string& name : options.sp3) check_sp3(name);
    for (const std::string& name : options.clk) check_clock(name);
}

bool has_ephemerides(sysGNSS system, const RUNTIME_POD_EMBED& runtime) {
    if (g_eph_selection == EPHOPT_PREC) {
        const int first = satsysprn2index(system, 1);
        const int* counts = runtime.prec_storage.idx_eph;
        const int end = system == GPS ? satsysprn2index(BDS, 1) : kFirstLeo;
        return std::any_of(counts + first, counts + end, [](int count) { return count > 0; });
    }
    return system == GPS ? count_ok(runtime.brdc_storage.eph_brdc_gps_all) > 0
                         : count_ok(runtime.brdc_storage.eph_brdc_bds_all) > 0;
}

void load_ephemerides(const InputOptions& options, Environment& environment) {
    RUNTIME_POD_EMBED& runtime = *environment.runtime;
    g_brdc_storage = &runtime.brdc_storage;
    g_prec_storage = &runtime.prec_storage;
    load_navigation(options.nav, environment);
    for (const std::string& name : options.sp3) {
        const long orbits = total(runtime.prec_storage.idx_eph);
        const long clocks = total(runtime.prec_storage.idx_clk);
        if (!load_orbits(name)) throw InputError(name + ": this SP3 file could not be read");
        add_product({"precise orbits", name,
                     std::to_string(total(runtime.prec_storage.idx_eph) - orbits) + " positions and " +
                         std::to_string(total(runtime.prec_storage.idx_clk) - clocks) + " clocks",
                     sp3_span(name)},
                    environment);
    }
    load_clocks(options.clk, environment);
}

void check_ephemeris_values(Environment& environment) {
    set_aside_impossible_values(environment);
    const std::string strays = set_aside_stray_positions(environment.runtime->prec_storage);
    if (strays.empty()) return;
    const auto last = std::find_if(environment.files.rbegin(), environment.files.rend(),
                                   [](const FileReport& file) { return file.kind == "precise orbits"; });
    if (last != environment.files.rend()) last->content += "; of all these files " + strays;
}

}  // namespace host
