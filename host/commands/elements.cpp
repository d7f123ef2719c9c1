// `leopod tle`: states of two-line element sets.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/summaries.h"
#include "inputs/kinds.h"
#include "inputs/open.h"
#include "inputs/positions.h"
#include "shared/console.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/times.h"
#include "stores/loading.h"
#include "stores/orientation.h"
#include "tle.h"

namespace host {

namespace {

struct ElementsOptions {
    std::vector<std::string> tle;
    std::string names;
    std::vector<std::string> numbers, objects;  ///< chosen by catalogue number, by name
    bool all = false;
    SpanOptions span;                        ///< in place of start and duration
    std::string start;                       ///< UTC; empty: the epoch of each element set
    double duration = 86400.0, step = 60.0;  ///< [s]
    std::string eop, eop_format = "auto";
    std::string out;  ///< "-" is standard output
    std::string summary;
    std::string log_level = "critical";
};

constexpr double kFirstMjd = 35839.0, kLastMjd = 72363.0;  ///< 1957 to 2056, the years of element sets
constexpr double kMaxDuration = 3653.0 * 86400.0;          ///< [s]
constexpr double kMaxRows = 1e8;
constexpr double kEarthRadius_km = 6378.135;  ///< of the model
constexpr double kFarthest_km = 1e6;          ///< height beyond which no orbit stays at the earth
constexpr double kDeepSpace_min = 225.0;      ///< period from which on the model lacks terms
constexpr double kLowPerigee_km = 220.0;      ///< height below which it leaves out terms of drag
constexpr double kOld_day = 14.0;             ///< age from which on the summary warns
constexpr std::size_t kListed = 20;           ///< objects that the summary shows one by one

/// Element sets as the library holds them.
struct Sets : tle_t {
    Sets() : tle_t{} {}
    ~Sets() { std::free(data); }
    Sets(const Sets&) = delete;
    Sets& operator=(const Sets&) = delete;
};

std::string lower(std::string text) {
    for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return text;
}

/// Catalogue number without leading blanks and zeros: " 5", "00005" and "5" are the same.
std::string plain_number(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" 0");
    return first == std::string::npos ? "0" : lower(text.substr(first));
}

std::string number_of(const tled_t& d) { return std::string(d.satno).erase(0, std::strspn(d.satno, " ")); }

/// Name without the "0 " that begins the name lines of three-line files, in lower case.
std::string plain_name(const std::string& text) { return lower(text.compare(0, 2, "0 ") == 0 ? text.substr(2) : text); }

bool matches(const std::string& name, const std::string& wanted) {
    const std::string key = plain_name(wanted);
    if (!key.empty() && key.back() == '*')
        return plain_name(name).compare(0, key.size() - 1, key, 0, key.size() - 1) == 0;
    return plain_name(name) == key;
}

/// Lines that look like element lines and have a wrong checksum; the library takes them for names. Throws where the file cannot be read.
long wrong_checksums(const std::string& file, const std::string& kind) {
    std::ifstream in = open_input(file, kind);
    long count = 0;
    for (std::string line; std::getline(in, line);) {
        const bool element = line.size() >= 69 && (line[0] == '1' || line[0] == '2') && line[1] == ' ';
        count += element && checksum(line.c_str()) == 0;
    }
    return count;
}

/// Shape of the mean orbit, after the model's own recovery of the semi-major axis.
struct Shape {
    double period_min, perigee_km, apogee_km;
};

Shape shape_of(const tled_t& d) {
    constexpr double kXke = 0.07436691613317, kCk2 = 5.41308e-4;
    const double n = d.n * 2.0 * M_PI / 1440.0;
    const double c = std::cos(d.inc * M_PI / 180.0);
    const double k = 1.5 * kCk2 * (3.0 * c * c - 1.0) / std::pow(1.0 - d.ecc * d.ecc, 1.5);
    const double a1 = std::pow(kXke / n, 2.0 / 3.0);
    const double d1 = k / (a1 * a1);
    const double a0 = a1 * (1.0 - d1 * (1.0 / 3.0 + d1 * (1.0 + 134.0 / 81.0 * d1)));
    const double a = a0 / (1.0 - k / (a0 * a0));
    return {1440.0 / d.n, (a * (1.0 - d.ecc) - 1.0) * kEarthRadius_km, (a * (1.0 + d.ecc) - 1.0) * kEarthRadius_km};
}

/// Elements that describe an orbit around the earth; a damaged line may not.
bool is_orbit(const tled_t& d) {
    const double mjd = gtime2mjd(d.epoch_mjd_utc);
    const Shape shape = shape_of(d);
    return mjd >= kFirstMjd && mjd < kLastMjd && shape.apogee_km > 0.0 && shape.apogee_km < kFarthest_km &&
           d.n < 20.0 && std::isfinite(d.bstar) && std::fabs(d.inc) <= 180.0 && std::isfinite(d.OMG) &&
           std::isfinite(d.omg) && std::isfinite(d.M);
}

/// Of each chosen object one set: the newest, or, with a start, the one whose epoch is nearest to it. In the order of the names.
std::vector<const tled_t*> choose(const ElementsOptions& o, const Sets& sets, const std::optional<GTime>& start) {
    std::map<std::string, const tled_t*> best;
    const auto worth = [&](const tled_t& d) {
        return start ? -std::fabs(gtimeSubSec(d.epoch_mjd_utc, *start)) : gtime2mjd(d.epoch_mjd_utc);
    };
    const bool any = o.all || (o.numbers.empty() && o.objects.empty());
    std::vector<bool> used(o.numbers.size() + o.objects.size(), false);
    for (int i = 0; i < sets.n; ++i) {
        const tled_t& d = sets.data[i];
        bool wanted = any;
        std::size_t k = 0;
        const auto note = [&](bool match) {
            wanted = wanted || match;
            used[k] = used[k] || match;
            ++k;
        };
        for (const std::string& number : o.numbers) note(plain_number(d.satno) == plain_number(number));
        for (const std::string& name : o.objects) note(matches(d.name, name));
        if (!wanted || !is_orbit(d)) continue;
        const tled_t*& kept = best[plain_number(d.satno)];
        if (kept == nullptr || worth(d) > worth(*kept)) kept = &d;
    }
    for (std::size_t k = 0; k < used.size(); ++k) {
        const bool number = k < o.numbers.size();
        if (!used[k])
            throw InputError((number ? "--satno " + o.numbers[k] : "--name " + o.objects[k - o.numbers.size()]) +
                             ": no element set of this object was read");
    }
    std::vector<const tled_t*> chosen;
    chosen.reserve(best.size());
    for (const auto& [number, set] : best) chosen.push_back(set);
    std::sort(chosen.begin(), chosen.end());  // the array is in the order of the names
    if (chosen.empty()) throw InputError("none of the chosen element sets describes an orbit");
    if (chosen.size() > 1 && !o.all && o.numbers.empty() && o.objects.empty()) {
        throw InputError(std::to_string(chosen.size()) + " objects were read: choose with --satno, --name or --all");
    }
    return chosen;
}

/// States of the chosen sets, written as they come, and what they were like.
class Table {
  public:
    explicit Table(std::FILE* out) : out_(out) {
        if (out_ != nullptr)
            std::fprintf(out_,
                         "epoch_utc,mjd_utc,sod_utc,satno,minutes,x_ecef_m,y_ecef_m,z_ecef_m,vx_ecef_mps,vy_ecef_mps,"
                         "vz_ecef_mps,x_teme_m,y_teme_m,z_teme_m,vx_teme_mps,vy_teme_mps,vz_teme_mps,pm_x_arcsec,"
                         "pm_y_arcsec,ut1_utc_s,lod_s,name\n");
    }

    void add(const tled_t& d, const GTime& utc, const EOPREC& eop) {
        const double minutes = gtimeSubSec(utc, d.epoch_mjd_utc) / 60.0;
        double teme[6];
        SGP4_STR3(minutes, &d, teme);
        const bool ok = std::all_of(teme, teme + 6, [](double x) { return std::isfinite(x); });
        const double radius = std::hypot(teme[0], teme[1], teme[2]);
        ++rows;
        states += ok;
        inside += ok && radius < kEarthRadius_km * 1000.0;
        without_orientation += !eop.ok;
        if (out_ == nullptr) return;
        std::fprintf(out_, "%s,%s,%s,%.9f", time_text(utc, 6).c_str(), mjd_sod_text(utc, 6).c_str(),
                     csv_text(number_of(d)).c_str(), minutes);
        if (ok) {
            double ecf[6];
            teme2ecef(gtime2mjd(utc), 0.0, eop.UT1mUTC, eop.pmX, eop.pmY, eop.LOD, eop.dOMEGA, teme, teme + 3, ecf,
                      ecf + 3);
            for (const double* state : {ecf, teme}) {
                for (int i = 0; i < 6; ++i) std::fprintf(out_, i < 3 ? ",%.4f" : ",%.7f", state[i]);
            }
        } else {
            std::fprintf(out_, ",,,,,,,,,,,,");
        }
        std::fprintf(out_, ",%.6f,%.6f,%.7f,%.7f,%s\n", eop.pmX, eop.pmY, eop.UT1mUTC, eop.LOD,
                     csv_text(d.name).c_str());
    }

    long rows = 0, states = 0, inside = 0, without_orientation = 0;

  private:
    std::FILE* out_;
};

void print_objects(const std::vector<const tled_t*>& chosen, const std::optional<GTime>& start, double span) {
    long deep = 0;
    long low = 0;
    long old = 0;
    std::size_t shown = 0;
    for (const tled_t* d : chosen) {
        const Shape shape = shape_of(*d);
        const bool is_deep = shape.period_min > kDeepSpace_min;
        const bool is_low = shape.perigee_km < kLowPerigee_km;
        const double age = start ? gtimeSubSec(*start, d->epoch_mjd_utc) / 86400.0 : 0.0;
        const double last_age = age + span / 86400.0;
        deep += is_deep;
        low += is_low;
        old += std::max(std::fabs(age), std::fabs(last_age)) > kOld_day;
        if (++shown > kListed) continue;
        std::printf("  %5s %-24s epoch %s, age %.2f to %.2f days\n", number_of(*d).c_str(), d->name,
                    time_text(d->epoch_mjd_utc).c_str(), age, last_age);
        std::printf("        period %.2f min, perigee %.1f, apogee %.1f km, inclination %.2f degrees%s%s\n",
                    shape.period_min, shape.perigee_km, shape.apogee_km, d->inc, is_deep ? "; DEEP SPACE" : "",
                    is_low ? "; LOW PERIGEE" : "");
    }
    if (shown > kListed) std::printf("  and %zu more\n", shown - kListed);
    if (deep != 0) {
        std::printf(
            "warning: %ld with a period above %g min: the model has no deep-space terms, which leaves errors of "
            "tens of kilometres and more\n",
            deep, kDeepSpace_min);
    }
    if (low != 0) {
        std::printf("warning: %ld with a perigee below %g km: the model cuts drag to its linear terms there\n", low,
                    kLowPerigee_km);
    }
    if (old != 0) std::printf("warning: %ld asked for more than %g days from the epoch\n", old, kOld_day);
}

void summarise_objects(const std::vector<const tled_t*>& chosen, const std::optional<GTime>& start, double span,
                       Summary& summary) {
    for (std::size_t i = 0; i < chosen.size(); ++i) {
        const tled_t& d = *chosen[i];
        const Shape shape = shape_of(d);
        const std::string path = "objects/" + std::to_string(i);
        const double age = start ? gtimeSubSec(*start, d.epoch_mjd_utc) / 86400.0 : 0.0;
        summary.set(path + "/satno", number_of(d));
        summary.set(path + "/name", d.name);
        summary.set_time(path + "/epoch", d.epoch_mjd_utc);
        summary.set(path + "/first_age_days", age);
        summary.set(path + "/last_age_days", age + span / 86400.0);
        summary.set(path + "/period_min", shape.period_min);
        summary.set(path + "/perigee_km", shape.perigee_km);
        summary.set(path + "/apogee_km", shape.apogee_km);
        summary.set(path + "/inclination_deg", d.inc);
        summary.set(path + "/deep_space", shape.period_min > kDeepSpace_min);
        summary.set(path + "/low_perigee", shape.perigee_km < kLowPerigee_km);
    }
}

FilePlan check_files(const ElementsOptions& o) {
    FilePlan plan;
    plan.in("--tle", o.tle).in("--names", o.names).in("--eop", o.eop).out("--out", o.out).out("--summary", o.summary);
    plan.check();
    return plan;
}

void check_options(const ElementsOptions& o) {
    if (!(o.step >= 1e-3)) throw InputError("--step: at least 0.001 seconds is expected");
}

std::optional<GTime> start_of(const ElementsOptions& o) {
    const bool span = !o.span.from.empty();
    if (!span && o.start.empty()) return std::nullopt;
    return parse_date(span ? "--from" : "--start", span ? o.span.from : o.start, tsUTC, 1957, 2056);
}

/// From the first epoch to the last one that is asked for, at most [s].
double duration_of(const ElementsOptions& o, const std::optional<GTime>& start) {
    double duration = o.duration;
    if (!o.span.to.empty()) {
        if (!start) throw InputError("--to: --from or --start is expected with it");
        duration = ArcSpan({"", o.span.to}, *start, tsUTC).length_from(*start);
    }
    if (!(duration >= 0.0 && duration <= kMaxDuration))
        throw InputError(std::string(o.span.to.empty() ? "--duration" : "--to") +
                         ": between 0 and 3653 days in seconds is expected");
    return duration;
}

/// Reads all files of element sets. Returns the number of their lines with a wrong checksum.
long load_sets(const ElementsOptions& o, Sets& sets, Environment& environment) {
    long wrong = 0;
    for (const std::string& file : o.tle) {
        check_kind(file, "file of element sets", {Kind::tle});
        wrong += wrong_checksums(file, "file of element sets");
        const int before = sets.n;
        if (tle_read(loadable(file), &sets) == 0)
            throw InputError(file + ": this file of element sets could not be read");
        if (sets.n == before) throw InputError(file + ": holds no element set");
        environment.files.push_back({"elements", file, std::to_string(sets.n - before) + " sets"});
    }
    return wrong;
}

void load_names(const std::string& file, Console& console, Sets& sets, Environment& environment) {
    if (file.empty()) return;
    check_kind(file, "name list", {Kind::csv});
    wrong_checksums(file, "name list");
    long nameless = 0;
    const auto subscription = console.subscribe(
        ULOG_WARNING_LEVEL, [&](ulog_level_t, const char* text) { nameless += is_nameless_set(text); });
    if (tle_name_read(loadable(file), &sets) == 0) throw InputError(file + ": this name list could not be read");
    environment.files.push_back({"names", file, std::to_string(nameless) + " without an element set"});
}

/// States of all chosen sets, into the table.
void propagate_all(const ElementsOptions& o, const std::vector<const tled_t*>& chosen,
                   const std::optional<GTime>& start, long epochs, Table& table) {
    std::vector<EOPREC> orientation;
    Progress progress("propagating element sets", static_cast<double>(epochs) * static_cast<double>(chosen.size()));
    for (const tled_t* d : chosen) {
        const GTime first = start ? *start : d->epoch_mjd_utc;
        if (!start) orientation.clear();  // else that of the first object serves all
        for (long i = 0; i < epochs; ++i) {
            const GTime utc = gtimeAddSec(first, static_cast<double>(i) * o.step);
            if (orientation.size() <= static_cast<std::size_t>(i)) {
                EOPREC eop{};
                if (!compute_eop(gtime2mjd(utc), &eop)) eop = EOPREC{};
                orientation.push_back(eop);
            }
            table.add(*d, utc, orientation[static_cast<std::size_t>(i)]);
            progress.done(static_cast<double>(table.rows));
        }
    }
}

/// What was read, chosen and computed.
struct Work {
    Environment environment;
    Sets sets;
    long wrong = 0, unusable = 0;  ///< lines with a wrong checksum; sets that aren't an orbit
    std::optional<GTime> start;
    std::vector<const tled_t*> chosen;
    long epochs = 0;
    double span = 0.0;  ///< [s]
};

void print(const ElementsOptions& o, const Work& w, const Table& table) {
    std::printf("leopod tle: %d element sets, %zu objects chosen\n", w.sets.n, w.chosen.size());
    std::printf("frames: TEME and earth-fixed, metres; time scale: UTC\nfiles:\n");
    print_files(w.environment);
    if (w.wrong != 0)
        std::printf("warning: %ld element lines with a wrong checksum, their sets are left out\n", w.wrong);
    if (w.unusable != 0) std::printf("warning: %ld sets that don't describe an orbit are set aside\n", w.unusable);
    std::printf("earth orientation: %s\n", w.environment.eop_source.c_str());
    std::printf("span: %s, %.10g s in steps of %.10g s, %ld epochs\n",
                w.start ? ("from " + time_text(*w.start)).c_str() : "from the epoch of each set", w.span, o.step,
                w.epochs);
    print_objects(w.chosen, w.start, w.span);
    std::printf("states: %ld of %ld\n", table.states, table.rows);
    if (table.inside != 0)
        std::printf("warning: %ld states lie inside the earth: the orbit has decayed\n", table.inside);
    if (!o.eop.empty() && table.without_orientation != 0)
        std::printf("warning: %ld epochs outside the earth orientation have UT1 = UTC and no polar motion\n",
                    table.without_orientation);
}

void summarise(const ElementsOptions& o, const Work& w, const Table& table, Summary& summary) {
    summary.set("frame", "TEME and earth-fixed");
    summary.set("time_scale", "UTC");
    summary.set("sets/read", w.sets.n);
    summary.set("sets/wrong_checksum_lines", w.wrong);
    summary.set("sets/no_orbit", w.unusable);
    summary.set("span/length_s", w.span);
    summary.set("span/step_s", o.step);
    summary.set("epochs/count", w.epochs);
    summarise_environment(w.environment, w.chosen.front()->epoch_mjd_utc, summary);
    summarise_objects(w.chosen, w.start, w.span, summary);
    summary.set("states/count", table.states);
    summary.set("states/rows", table.rows);
    summary.set("states/inside_earth", table.inside);
    summary.set("states/without_earth_orientation", table.without_orientation);
}

/// Propagates the chosen objects and returns the exit status: 0 with at least one state, 1 with none. Throws InputError.
int propagate_elements(const ElementsOptions& o) {
    const FilePlan plan = check_files(o);
    Console console(o.log_level);
    check_options(o);
    Work w;
    w.start = start_of(o);
    const double duration = duration_of(o, w.start);
    w.wrong = load_sets(o, w.sets, w.environment);
    load_names(o.names, console, w.sets, w.environment);
    load_earth_orientation(o.eop, o.eop_format, w.environment);
    w.chosen = choose(o, w.sets, w.start);
    w.unusable = std::count_if(w.sets.data, w.sets.data + w.sets.n, [](const tled_t& d) { return !is_orbit(d); });
    w.epochs = static_cast<long>(std::floor(duration / o.step + 1e-9)) + 1;
    w.span = static_cast<double>(w.epochs - 1) * o.step;
    if (static_cast<double>(w.epochs) * static_cast<double>(w.chosen.size()) > kMaxRows)
        throw InputError("--step: more than a hundred million states are asked for");

    std::optional<OutputFile> file;
    if (!o.out.empty()) file.emplace(o.out);
    Table table(file ? static_cast<std::FILE*>(*file) : nullptr);
    propagate_all(o, w.chosen, w.start, w.epochs, table);
    if (file) file->close();
    print(o, w, table);
    say_written("states", o.out);
    const int status = table.states > 0 ? 0 : 1;
    Summary summary = begin_summary("tle", o.summary, plan);
    summarise(o, w, table, summary);
    summary.write(status);
    return status;
}

}  // namespace

void add_tle(Command app, Action& action) {
    auto o = std::make_shared<ElementsOptions>();
    Command command = app.add_subcommand("tle", "Two-line element sets in, states out");
    command.add_option("--tle", o->tle, "files of element sets, with or without name lines").required();
    command.add_option("--names", o->names, "list of names: name, catalogue number, designator");
    command.add_option("--satno", o->numbers, "catalogue numbers of the objects wanted");
    command.add_option("--name", o->objects, "names of the objects wanted; a * at the end takes all that begin so");
    command.add_flag("--all", o->all, "takes all objects");
    const Option start = command.add_option(
        "--start", o->start, "first epoch, UTC, such as 2021-01-18T00:00:00; without it the epoch of the set");
    const Option duration =
        command.add_option("--duration", o->duration, "length of the span in seconds").capture_default_str();
    add_made_span(command, o->span, "UTC", start, duration);
    command.add_option("--step,--interval", o->step, "spacing of the epochs in seconds").capture_default_str();
    add_earth_orientation(command, o->eop, o->eop_format,
                          "earth orientation file; without it UT1 = UTC and no polar motion");
    command.add_option("--out", o->out,
                       "CSV of the states; - writes them to standard output, the summary to standard error");
    add_summary(command, o->summary);
    add_log_level(command, o->log_level);
    command.callback([o, &action] { action = [o] { return propagate_elements(*o); }; });
}

}  // namespace host
