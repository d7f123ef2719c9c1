#include "stores/inputs.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <set>

#include "earth_gravity.h"
#include "iau_function.h"
#include "shared/error.h"
#include "shared/files.h"

namespace host {

namespace {

constexpr double kFirstMjd = 41500.0;  ///< leap seconds begin in 1972: earlier dates would end the process

/// Calls a function with each line of a file until it returns false. Throws when the file cannot be read.
/// \param complete_only  leaves out a last line without a newline
void each_line(const std::string& name, const std::string& kind, const std::function<bool(const std::string&)>& use,
               bool complete_only = false) {
    std::ifstream in = open_input(name, kind);
    std::string line;
    while (std::getline(in, line)) {
        if (complete_only && in.eof()) return;
        if (!use(line)) return;
    }
}

bool holds(const std::string& line, const char* text, std::size_t from = 0) {
    return from <= line.size() && line.find(text, from) != std::string::npos;
}

char char_at(const std::string& line, std::size_t position) { return position < line.size() ? line[position] : '\0'; }

std::string first_line(const std::string& name, const std::string& kind) {
    std::string first;
    each_line(name, kind, [&](const std::string& line) {
        first = line;
        return false;
    });
    return first;
}

[[noreturn]] void wrong_kind(const std::string& name, const std::string& kind) {
    throw InputError(name + ": is not a " + kind);
}

/// Checks an observation file; returns an upper bound of its epochs.
std::size_t check_observation(const std::string& name) {
    const std::string kind = "RINEX observation file";
    std::size_t epochs = 0;
    std::string first;
    bool version3 = false;
    each_line(name, kind, [&](const std::string& line) {
        if (first.empty()) {
            first = line.empty() ? " " : line;
            version3 = std::atof(line.substr(0, 9).c_str()) >= 3.0;
        }
        epochs += version3 ? char_at(line, 0) == '>' : char_at(line, 3) == ' ' && line.size() > 20;
        return true;
    });
    if (char_at(first, 20) != 'O' && !holds(first, "OBSERVATION")) wrong_kind(name, kind);
    const double version = std::atof(first.substr(0, 9).c_str());
    if (!(version >= 2.0 && version < 5.0)) throw InputError(name + ": version of this " + kind + " is not 2, 3 or 4");
    return epochs;
}

void check_navigation(const std::string& name) {
    if (char_at(first_line(name, "RINEX navigation file"), 20) != 'N') wrong_kind(name, "RINEX navigation file");
}

void check_sp3(const std::string& name) {
    const std::string first = first_line(name, "SP3 file");
    if (char_at(first, 0) != '#' || char_at(first, 1) < 'a' || char_at(first, 1) > 'd') wrong_kind(name, "SP3 file");
}

void check_clock(const std::string& name) {
    const std::string kind = "RINEX clock file";
    bool first = true;
    bool in_data = false;
    long number = 0;
    each_line(
        name, kind,
        [&](const std::string& line) {
            ++number;
            if (first && char_at(line, 20) != 'C') wrong_kind(name, kind);
            first = false;
            in_data = in_data || holds(line, "END OF HEADER");
            if (in_data && line.compare(0, 2, "AS") == 0) {
                char satellite[8] = {};
                int values = 0;
                const int n = std::sscanf(line.c_str(), "%*s %7s %*s %*s %*s %*s %*s %*s %d", satellite, &values);
                const bool stored = satellite[0] != '\0' &&
                                    std::strchr("GCL", satellite[0]) != nullptr;  // the library passes over the others
                if (stored && (n != 2 || values < 1 || values > 2)) {
                    throw InputError(name + ": line " + std::to_string(number) + " of this " + kind +
                                     " has neither one nor two values");
                }
            }
            return true;
        },
        true);
    if (first) wrong_kind(name, kind);
}

void check_ephemerides(const InputOptions& options) {
    for (const std::string& name : options.nav) check_navigation(name);
    for (const std::string& name : options.sp3) check_sp3(name);
    for (const std::string& name : options.clk) check_clock(name);
    if (options.nav.empty() && options.sp3.empty()) throw InputError("no ephemeris file is given (--nav or --sp3)");
}

void check_antex(const std::string& name) {
    const std::string kind = "ANTEX file";
    bool first = true;
    each_line(name, kind, [&](const std::string& line) {
        if (first && !holds(line, "ANTEX VERSION", 60)) wrong_kind(name, kind);
        first = false;
        if (holds(line, "VALID FROM", 60) || holds(line, "VALID UNTIL", 60)) {
            TimeYMD date{};
            const int n = std::sscanf(line.substr(0, 43).c_str(), "%d %d %d %d %d %lf", &date.year, &date.month,
                                      &date.day, &date.hour, &date.minute, &date.second);
            if (n < 3 || date.year < 1970 || date.year > 9999)
                throw InputError(name + ": a validity date of this " + kind + " cannot be read");
        }
        return true;
    });
    if (first) wrong_kind(name, kind);
}

/// True for the mission's format, false for the library's own; throws for neither.
bool check_attitude(const std::string& name) {
    const std::string kind = "attitude quaternion file";
    bool mission = false;
    bool found = false;
    each_line(name, kind, [&](const std::string& line) {
        if (holds(line, "# End of YAML header")) mission = true;
        if (line.empty() || line[0] == '#') return true;
        double v[7];
        const int n =
            std::sscanf(line.c_str(), "%lf %lf %lf %lf %lf %lf %lf", v, v + 1, v + 2, v + 3, v + 4, v + 5, v + 6);
        if (mission) {
            char text[2][64];
            found = std::sscanf(line.c_str(), "%lf %63s %63s %lf %lf %lf %lf", v, text[0], text[1], v + 1, v + 2, v + 3,
                                v + 4) == 7;
            return false;
        }
        found = n == 5;
        return !found && n != 5 && line.find(':') != std::string::npos;  // header lines of a YAML head may stand first
    });
    if (!found) wrong_kind(name, kind);
    return mission;
}

/// Checks that a file holds a text which every file of its kind has.
void check_holds(const std::string& name, const std::string& kind, const char* text, const std::string& missing) {
    bool found = false;
    each_line(name, kind, [&](const std::string& line) {
        found = holds(line, text);
        return !found;
    });
    if (!found) wrong_kind(name, kind + missing);
}

void check_config(const std::string& name) {
    check_holds(name, "GNSS configuration file", "+GNSS_SYS", " (no +GNSS_SYS section)");
}

std::string span_text(double mjd_first, double mjd_last) {
    const auto date = [](double mjd) {
        char text[32];
        const TimeYMD d = GTime2YMD(mjd2GTime(tsUTC, mjd));
        std::snprintf(text, sizeof text, "%04d-%02d-%02d", d.year, d.month, d.day);
        return std::string(text);
    };
    return date(mjd_first) + " to " + date(mjd_last);
}

void load_observations(const InputOptions& options, Environment& environment) {
    std::size_t capacity = 2;
    for (const std::string& name : options.obs) capacity += check_observation(name);
    environment.observations = make_zeroed<OBSDATA_EPOCH>(capacity);
    g_obs_storage = environment.observations.get();
    g_num_obs_storage = 0;
    for (const std::string& name : options.obs) {
        const int before = g_num_obs_storage;
        if (!load_observation_rinex(writable(name), options.receiver, options.interval)) {
            throw InputError(name + ": this RINEX observation file could not be read");
        }
        environment.files.push_back({"observations", name, std::to_string(g_num_obs_storage - before) + " epochs"});
    }
    // An empty load leaves a count of one untouched record; such records are no epochs.
    const auto is_empty = [](const OBSDATA_EPOCH& e) { return e.epoch_time.sys == UKNTS; };
    OBSDATA_EPOCH* end = std::remove_if(g_obs_storage, g_obs_storage + g_num_obs_storage, is_empty);
    g_num_obs_storage = static_cast<int>(end - g_obs_storage);
    if (g_num_obs_storage == 0)
        throw InputError(options.obs.front() + ": no epoch could be read from the observation files");
    if (gtime2mjd(g_obs_storage[0].epoch_time) < kFirstMjd) {
        throw InputError(options.obs.front() + ": epochs before 1972 cannot be processed (no leap seconds)");
    }
}

/// Systems that the data hold and the library processes, in the order GPS, BDS.
std::vector<sysGNSS> systems_of_data() {
    std::set<sysGNSS> seen;
    for (int i = 0; i < g_num_obs_storage; ++i) {
        const OBSDATA_EPOCH& epoch = g_obs_storage[i];
        for (int k = 0; k < std::min<int>(epoch.sat_num, MAXSAT_EPOCH); ++k) {
            if (epoch.satobs[k].num_obs > 0) seen.insert(epoch.satobs[k].satsys);
        }
    }
    std::vector<sysGNSS> systems;
    for (sysGNSS system : {GPS, BDS}) {
        if (seen.count(system) != 0) systems.push_back(system);
    }
    if (systems.empty()) systems.push_back(GPS);
    return systems;
}

template <typename Row>
long count_ok(const Row& row) {
    long n = 0;
    for (const auto& records : row) {
        for (const auto& record : records) n += record.ok;
    }
    return n;
}

void load_ephemerides(const InputOptions& options, Environment& environment) {
    RUNTIME_POD_EMBED& runtime = *environment.runtime;
    g_brdc_storage = &runtime.brdc_storage;
    g_prec_storage = &runtime.prec_storage;
    for (const std::string& name : options.nav) {
        const long gps = count_ok(runtime.brdc_storage.eph_brdc_gps_all);
        const long bds = count_ok(runtime.brdc_storage.eph_brdc_bds_all);
        if (!load_ephemeris_brdc(writable(name)))
            throw InputError(name + ": this RINEX navigation file could not be read");
        environment.files.push_back(
            {"navigation", name,
             std::to_string(count_ok(runtime.brdc_storage.eph_brdc_gps_all) - gps) + " GPS and " +
                 std::to_string(count_ok(runtime.brdc_storage.eph_brdc_bds_all) - bds) + " BDS records"});
    }
    const auto total = [](const int(&counts)[98]) {
        long n = 0;
        for (int i = 0; i < MAXSAT_GNSS; ++i) n += counts[i];
        return n;
    };
    for (const std::string& name : options.sp3) {
        const long orbits = total(runtime.prec_storage.idx_eph);
        const long clocks = total(runtime.prec_storage.idx_clk);
        if (!load_ephemris_prec(writable(name))) throw InputError(name + ": this SP3 file could not be read");
        environment.files.push_back({"precise orbits", name,
                                     std::to_string(total(runtime.prec_storage.idx_eph) - orbits) + " positions and " +
                                         std::to_string(total(runtime.prec_storage.idx_clk) - clocks) + " clocks"});
    }
    for (const std::string& name : options.clk) {
        const long clocks = total(runtime.prec_storage.idx_clk);
        if (!load_clock_prec(writable(name), &runtime.prec_storage))
            throw InputError(name + ": this RINEX clock file could not be read");
        environment.files.push_back(
            {"precise clocks", name, std::to_string(total(runtime.prec_storage.idx_clk) - clocks) + " clocks"});
    }
}

/// Takes out values that no satellite can have, as a damaged file brings them: from ranges or clocks of 1e30 m the library would solve a
/// receive time outside its calendar, and end.
void set_aside_impossible_values(Environment& environment) {
    constexpr double kMinRange = 1e6, kMaxRange = 1e9;    ///< with a receiver clock of up to 3 s [m]
    constexpr double kMaxPhase = 1e10;                    ///< [cycle]
    constexpr double kMinRadius = 1e7, kMaxRadius = 1e8;  ///< of an orbit [m]
    constexpr double kMaxClock = 1.0;                     ///< of a satellite [s]
    const auto within = [](double value, double low, double high) { return value >= low && value <= high; };
    long count = 0;
    for (int i = 0; i < g_num_obs_storage; ++i) {
        for (OBSDATA_SAT& sat : g_obs_storage[i].satobs) {
            for (OBSREC& rec : sat.obsdata) {
                const double size = std::fabs(rec.value);
                const bool possible = rec.type == RANGE ? within(size, kMinRange, kMaxRange) : size <= kMaxPhase;
                if (rec.value == 0.0 || possible) continue;
                rec.value = 0.0;
                ++count;
            }
        }
    }
    const auto check_broadcast = [&](auto& rows) {
        for (auto& row : rows) {
            for (auto& record : row) {
                const bool possible = within(record.sqrt_A * record.sqrt_A, kMinRadius, kMaxRadius) &&
                                      within(record.e, 0.0, 0.99) && std::fabs(record.sv_clock_bias) <= kMaxClock &&
                                      std::fabs(record.sv_clock_drift) <= 1e-6 &&
                                      std::fabs(record.sv_clock_drift_rate) <= 1e-12;
                if (!record.ok || possible) continue;
                record.ok = false;
                ++count;
            }
        }
    };
    RUNTIME_POD_EMBED& runtime = *environment.runtime;
    check_broadcast(runtime.brdc_storage.eph_brdc_gps_all);
    check_broadcast(runtime.brdc_storage.eph_brdc_bds_all);
    constexpr int kFirstLeo = 95;  ///< low-earth-orbit satellites of a product are no transmitters
    for (int sat = 0; sat < kFirstLeo; ++sat) {
        for (int i = 0; i < runtime.prec_storage.idx_eph[sat]; ++i) {
            double* position = runtime.prec_storage.eph_pre_all[sat][i].pos_ecf;
            const double radius = std::hypot(position[0], position[1], position[2]);
            if (radius == 0.0 || within(radius, kMinRadius, kMaxRadius)) continue;
            std::fill_n(position, 3, 0.0);  // a gap of the product
            ++count;
        }
        for (int i = 0; i < runtime.prec_storage.idx_clk[sat]; ++i) {
            CLKREC_PRE& clock = runtime.prec_storage.clk_pre_all[sat][i];
            if (!clock.ok || std::fabs(clock.clk_offset) <= kMaxClock) continue;
            clock.ok = false;
            ++count;
        }
    }
    if (count > 0)
        environment.files.push_back(
            {"note", "all files", std::to_string(count) + " values that no satellite can have were set aside"});
}

void load_attitude(const InputOptions& options, Environment& environment) {
    // The epoch driver looks up object 0, the point position the receiver number: both get the files.
    std::vector<int> objects{0};
    if (options.receiver != 0) objects.push_back(options.receiver);
    for (const std::string& name : options.att) {
        const bool mission = check_attitude(name);
        int records = 0;
        for (int object : objects) {
            const bool ok =
                mission ? load_sca_grace(object, writable(name)) : load_attitude_quaternion(object, writable(name));
            if (!ok) throw InputError(name + ": this attitude quaternion file could not be loaded");
        }
        for (int i = 0; i < g_att_qua_storage.num_object; ++i) {
            if (g_att_qua_storage.idx_object[i] == 0) records = g_att_qua_storage.qua_num[i];
        }
        environment.files.push_back({"attitude", name, std::to_string(records) + " quaternions in all"});
    }
}

}  // namespace

void* zeroed(std::size_t count, std::size_t size) {
    void* memory = std::calloc(count, size);
    if (memory == nullptr) throw InputError("out of memory");
    return memory;
}

Environment::~Environment() {
    free_att_quaternion_store();
    g_antenna_info_store = nullptr;
    std::free(antennas.antenna_info_storage);
    g_obs_storage = nullptr;
    g_num_obs_storage = 0;
    g_eop_storage = nullptr;
    g_eop_storage_size = 0;
    g_brdc_storage = nullptr;
    g_prec_storage = nullptr;
    g_eph_header = nullptr;
    g_ephData_storage = nullptr;
    g_num_eph_record = 0;
}

void load_transmitters(const InputOptions& options, Environment& environment) {
    check_ephemerides(options);
    environment.runtime = make_zeroed<RUNTIME_POD_EMBED>();
    load_ephemerides(options, environment);
    set_aside_impossible_values(environment);
}

void load_configuration(const std::string& file, Environment& environment) {
    check_config(file);
    set_gnssconfig_from_file(writable(file));
    if (gnssconfig.num_sys < 1) throw InputError(file + ": this GNSS configuration file names no system");
    environment.files.push_back({"configuration", file, std::to_string(gnssconfig.num_sys) + " systems"});
}

void load_earth_orientation(const std::string& file, const std::string& format, Environment& environment) {
    initialize_global_earth_rotation_param();
    environment.eop_source = "none: UT1 = UTC, no polar motion";
    if (file.empty()) return;
    const std::string kind = "earth orientation file of format " + format;
    each_line(file, kind, [](const std::string&) { return false; });
    environment.eop = make_zeroed<EOPREC>(MAXSIZE_EOP + 1);
    g_eop_storage = environment.eop.get();
    bool ok = false;
    if (format == "c04") {
        ok = load_eop_storage(writable(file));
    } else if (format == "rapid") {
        ok = load_eop_storage_rapid(writable(file));
    } else if (format == "keyword") {
        ok = load_eop_storage_celestrack(writable(file));
        // This reader leaves the count to the caller.
        g_eop_storage_size = 0;
        while (g_eop_storage_size <= MAXSIZE_EOP && g_eop_storage[g_eop_storage_size].ok) ++g_eop_storage_size;
    } else {
        throw InputError("--eop-format " + format + ": one of c04, rapid, keyword is expected");
    }
    if (!ok || g_eop_storage_size == 0) wrong_kind(file, kind);
    const double first = g_eop_storage[0].mjd_utc;
    const double last = g_eop_storage[g_eop_storage_size - 1].mjd_utc;
    environment.files.push_back({"earth orientation", file, std::to_string(g_eop_storage_size) + " days"});
    environment.eop_source = format + " file " + file + ", " + span_text(first, last) + " UTC";
}

void load_planets(const std::string& file, double mjd_first, double mjd_last, Environment& environment) {
    initialize_global_eph_planet();
    environment.jpl_header = make_zeroed<EPH_HEADER_JPL>();
    environment.jpl_records = make_zeroed<EPH_RECORD_JPL>(MAXNUM_RECORD_JPLEPH + 1);
    EPH_HEADER_JPL* header = environment.jpl_header.get();
    EPH_RECORD_JPL* records = environment.jpl_records.get();
    std::string name;
    if (!file.empty()) {
        check_holds(file, "JPL ephemeris file", "GROUP   1030", " (ASCII header with groups)");
        if (!load_eph_storage_file(writable(file), header, records) || g_num_eph_record <= 0)
            wrong_kind(file, "JPL ephemeris file with records");
        environment.files.push_back({"planets", file, std::to_string(g_num_eph_record + 1) + " records"});
        name = "file " + file;
    } else {
        load_eph_storage_default(header, records);
        const double offset = 2400000.5;
        if (mjd_first + offset - 1.0 < header->ss[0] || mjd_last + offset + 1.0 > header->ss[1]) {
            initialize_global_eph_planet();
            environment.planet_source = "analytic series of Sun and Moon";
            return;
        }
        name = "built-in record";
    }
    g_eph_header = header;
    g_ephData_storage = records;
    environment.planet_source = name + ", " + span_text(header->ss[0] - 2400000.5, header->ss[1] - 2400000.5) + " TT";
}

namespace {

/// Chebyshev coefficients of a function of time over [start, start + length], `count` for each of three components, one after the other.
template <typename Function>
void fit_chebyshev(double start, double length, int count, Function position, double* coefficients) {
    std::vector<Vector3> values(static_cast<std::size_t>(count));
    for (int k = 0; k < count; ++k)
        values[static_cast<std::size_t>(k)] =
            position(start + 0.5 * length * (1.0 + std::cos(M_PI * (k + 0.5) / count)));
    for (int i = 0; i < 3; ++i) {
        for (int j = 0; j < count; ++j) {
            double sum = 0;
            for (int k = 0; k < count; ++k)
                sum += values[static_cast<std::size_t>(k)][static_cast<std::size_t>(i)] *
                       std::cos(M_PI * j * (k + 0.5) / count);
            coefficients[i * count + j] = (j == 0 ? 1.0 : 2.0) / count * sum;
        }
    }
}

/// Mean equator and equinox of date to GCRS: the analytic series know the longitudes of date.
Vector3 from_mean_of_date(double tt_jd, const Vector3& of_date) {
    double gamb, phib, psib, epsa;
    double rbp[3][3];
    iauPfw06(tt_jd, 0.0, &gamb, &phib, &psib, &epsa);
    iauFw2m(gamb, phib, psib, epsa, rbp);
    Vector3 gcrs{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t k = 0; k < 3; ++k) gcrs[i] += rbp[k][i] * of_date[k];
    }
    return gcrs;
}

}  // namespace

void tabulate_analytic_planets(double mjd_first, double mjd_last, Environment& environment) {
    if (g_num_eph_record != 0) return;
    constexpr double kOffset = 2400000.5;
    constexpr double kLength = 32.0;  ///< of a record [day]
    EPH_HEADER_JPL& header = *environment.jpl_header;
    EPH_RECORD_JPL* records = environment.jpl_records.get();
    header = EPH_HEADER_JPL{};
    load_eph_header_default(&header);
    // Series of three bodies; all others have none. The barycentre of Earth and Moon is placed so that the Earth rests at the origin.
    std::memset(header.ipt, 0, sizeof header.ipt);
    const int layout[3][4] = {{EM_BARY, 3, 13, 8}, {MOON, 315, 13, 8}, {SUN, 627, 11, 2}};
    header.ss[0] = std::floor(mjd_first) - 1.0 + kOffset;
    int count = 0;
    for (double start = header.ss[0]; start < mjd_last + 1.0 + kOffset && count < MAXNUM_RECORD_JPLEPH;
         start += kLength) {
        EPH_RECORD_JPL& record = records[count++];
        record.index = count;
        record.coef_num = NUM_COEF_JPLEPH;
        record.chebychev_coef[0] = start;
        record.chebychev_coef[1] = start + kLength;
        for (const auto& [body, first, terms, parts] : layout) {
            const double scale = body == EM_BARY ? 1e-3 / (header.emrat + 1.0) : 1e-3;
            for (int part = 0; part < parts; ++part) {
                const double length = kLength / parts;
                fit_chebyshev(
                    start + part * length, length, terms,
                    [&, body = body](double jd) {
                        Vector3 of_date{};
                        compute_pos_sun_moon_eci(jd - kOffset, body == SUN ? of_date.data() : nullptr,
                                                 body == SUN ? nullptr : of_date.data());
                        const Vector3 metres = from_mean_of_date(jd, of_date);
                        return Vector3{metres[0] * scale, metres[1] * scale, metres[2] * scale};
                    },
                    record.chebychev_coef + first - 1 + part * terms * 3);
            }
        }
    }
    for (const auto& row : layout) std::copy_n(row + 1, 3, header.ipt[row[0]]);
    header.ss[1] = records[count - 1].chebychev_coef[1];
    header.ss[2] = kLength;
    g_eph_header = &header;
    g_ephData_storage = records;
    g_num_eph_record = count;
}

void prepare(const InputOptions& options, Environment& environment) {
    if (options.obs.empty()) throw InputError("no observation file is given (--obs)");
    if (options.embedded && (!options.eop.empty() || !options.jpl.empty() || !options.atx.empty())) {
        throw InputError("--embedded uses the built-in tables: --eop, --jpl and --atx do not go with it");
    }
    // All checks come before the first load: a bad file ends the run early and with its name.
    check_ephemerides(options);
    for (const std::string& name : options.atx) check_antex(name);
    if (!options.config.empty()) check_config(options.config);

    environment.runtime = make_zeroed<RUNTIME_POD_EMBED>();
    RUNTIME_POD_EMBED* runtime = environment.runtime.get();
    load_observations(options, environment);
    const double mjd_first = gtime2mjd(g_obs_storage[0].epoch_time);
    const double mjd_last = gtime2mjd(g_obs_storage[g_num_obs_storage - 1].epoch_time);

    if (options.embedded) {
        startup_pod_embed(runtime, false);
        environment.eop_source =
            "built-in, " + span_text(g_eop_storage[0].mjd_utc, g_eop_storage[g_eop_storage_size - 1].mjd_utc) + " UTC";
        environment.planet_source =
            "built-in record, " + span_text(g_eph_header->ss[0] - 2400000.5, g_eph_header->ss[1] - 2400000.5) + " TT";
    } else {
        initialize_global_earth_gravity();
        load_planets(options.jpl, mjd_first, mjd_last, environment);
        load_earth_orientation(options.eop, options.eop_format, environment);
        for (const std::string& name : options.atx) {
            g_antenna_info_store = &environment.antennas;
            const int before = environment.antennas.num_antenna_info;
            if (!load_antenna_storage(writable(name), &environment.antennas))
                throw InputError(name + ": this ANTEX file could not be read");
            environment.files.push_back(
                {"antennas", name, std::to_string(environment.antennas.num_antenna_info - before) + " antennas"});
        }
        std::vector<sysGNSS> systems = systems_of_data();
        set_gnssconfig_system(&gnssconfig, static_cast<int>(systems.size()), systems.data());
    }
    if (!options.config.empty()) load_configuration(options.config, environment);
    load_ephemerides(options, environment);
    set_aside_impossible_values(environment);
    load_attitude(options, environment);
    if (!options.embedded) startup_pod_embed(runtime, true);
}

bool has_usable_satellite(const OBSDATA_EPOCH& epoch) {
    static OBSDATA_EPOCH copy;
    copy = epoch;
    choose_observation(&copy);
    for (int i = 0; i < std::min<int>(copy.sat_num, MAXSAT_EPOCH); ++i) {
        const OBSDATA_SAT& sat = copy.satobs[i];
        const int index = satsysprn2index(sat.satsys, sat.prn);
        const int system = get_gnssconfig_sys_index(sat.satsys, &gnssconfig);
        if (sat.flag_sat == OBS_OK && index >= 0 && index < MAXSAT_GNSS && system >= 0 &&
            sat.num_obs_used == gnssconfig.num_obs_freq_code[system]) {
            return true;
        }
    }
    return false;
}

std::string time_text(const GTime& time, int decimals) {
    // Rounded first, so that no text ever shows a second of sixty.
    const double unit = std::pow(10.0, decimals);
    GTime rounded = time;
    rounded.time.sod = 0.0;
    rounded = gtimeAddSec(rounded, std::round(time.time.sod * unit) / unit);
    const TimeYMD d = GTime2YMD(rounded);
    char text[96];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%0*.*f", d.year, d.month, d.day, d.hour, d.minute,
                  decimals > 0 ? decimals + 3 : 2, decimals, d.second);
    return text;
}

}  // namespace host
