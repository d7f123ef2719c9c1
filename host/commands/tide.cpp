// `leopod tide`: tidal displacement of a site.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/summaries.h"
#include "common_function.h"
#include "iers_function.h"
#include "inputs/blq.h"
#include "shared/console.h"
#include "shared/earth.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/times.h"
#include "stores/coverage.h"
#include "stores/dynamics.h"
#include "stores/orientation.h"
#include "stores/planets.h"

namespace host {

namespace {

struct TideOptions {
    std::vector<double> blh;  ///< geodetic latitude and longitude [degree], ellipsoidal height [m]
    std::vector<double> xyz;  ///< earth-fixed position [m]; one of the two is given
    std::string epoch, time_scale = "gpst";
    SpanOptions span;        ///< in place of epoch and duration
    double duration = 0.0;   ///< [s]
    double interval = 3600;  ///< [s]
    std::string blq, site;   ///< ocean loading file, and name of the site in it
    std::string eop, eop_format = "auto", jpl;
    std::string out, summary;
    std::string log_level = "critical";
};

/// A site on the GRS80/WGS84 ellipsoid.
struct Site {
    double xyz[3];  ///< [m]
    double blh[3];  ///< [rad, rad, m]
};

/// A displacement in both frames [m].
struct Displacement {
    Vector3 xyz{}, neu{};
};

enum Source { SOLID, OCEAN, TOTAL, SOURCES };

struct TidePoint {
    GTime gpst;
    Displacement displacement[SOURCES];
};

Site site_of(const TideOptions& o) {
    if (o.blh.empty() == o.xyz.empty()) throw InputError("the site is expected either by --blh or by --xyz");
    Site site{};
    if (o.xyz.empty()) {
        // Written so that not-a-number fails too.
        if (o.blh.size() != 3 || !(std::fabs(o.blh[0]) <= 90.0) || !(std::fabs(o.blh[1]) <= 360.0))
            throw InputError("--blh: latitude (-90 to 90) and longitude in degrees and a height in m are expected");
        const double blh[3] = {o.blh[0] * kDegToRad, o.blh[1] * kDegToRad, o.blh[2]};
        std::copy_n(blh, 3, site.blh);
        blh2ecef(site.blh, site.xyz, kSemiMajor, kFlattening);
    } else {
        if (o.xyz.size() != 3) throw InputError("--xyz: three numbers in m are expected");
        std::copy_n(o.xyz.data(), 3, site.xyz);
    }
    const double radius = std::hypot(site.xyz[0], site.xyz[1], site.xyz[2]);
    if (!(radius > 6.34e6 && radius < 6.4e6))
        throw InputError("the site is " + std::to_string(radius / 1000.0) +
                         " km from the earth's centre: one on the surface is expected");
    if (!o.xyz.empty()) ecef2blh(site.xyz, site.blh, kSemiMajor, kFlattening);
    return site;
}

Displacement from_xyz(const Site& site, const Vector3& xyz) {
    Site s = site;
    double dxyz[3] = {xyz[0], xyz[1], xyz[2]};
    double enu[3];
    xyz2enu(s.blh, dxyz, enu);
    return {xyz, {enu[1], enu[0], enu[2]}};
}

/// Geocentric position of a body in the frame of a rotation matrix [m].
Vector3 earth_fixed(PLANET_JPL body, const GTime& utc, const double* rotation, const std::string& planets) {
    const double tt_jd = gtime2mjd(gtimeChangeTimeSystem(utc, tsTT)) + kMjdToJd;
    double pv[6];
    if (!compute_planet_pos_vel(tt_jd, EARTH, body, pv))
        throw InputError("planets: " + planets + ": no Sun and Moon for " + time_text(utc) + " UTC");
    Vector3 position{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t k = 0; k < 3; ++k) position[i] += rotation[3 * i + k] * pv[k] * 1000.0;
    }
    return position;
}

Displacement solid_tide(const Site& site, const GTime& utc, const std::string& planets) {
    const double mjd = gtime2mjd(utc);
    const double leap = getLeapSecond(mjd);
    double rotation[9];
    double rate[9];
    compute_eci2ecf_matrix(mjd, leap, rotation, rate);
    Vector3 sun = earth_fixed(SUN, utc, rotation, planets);
    Vector3 moon = earth_fixed(MOON, utc, rotation, planets);
    const TimeYMD date = date_of(utc.time.mjd);
    Site s = site;
    Vector3 xyz{};
    DEHANTTIDEINEL(s.xyz, date.year, date.month, date.day, utc.time.sod / 3600.0, leap, sun.data(), moon.data(),
                   xyz.data());
    return from_xyz(site, xyz);
}

/// The library's loading takes whole seconds: the nearest one.
Displacement ocean_tide(const Site& site, OceanLoading& loading, const GTime& utc) {
    const GTime whole = gtimeAddSec(GTime{{utc.time.mjd, 0.0}, tsUTC}, std::round(utc.time.sod));
    const long second = std::lround(whole.time.sod);
    const long hour = second / 3600, minute = second / 60 % 60;
    const TimeYMD date = date_of(whole.time.mjd);
    double local[3];  // radial, south, west
    HARDISP(loading.table, date.year, MDAY(date.year, date.month) + date.day, static_cast<double>(hour),
            static_cast<double>(minute), static_cast<double>(second % 60), local);
    Site s = site;
    double enu[3] = {-local[2], -local[1], local[0]};
    double xyz[3];
    enu2xyz(s.blh, enu, xyz);
    return {{xyz[0], xyz[1], xyz[2]}, {enu[1], enu[0], enu[2]}};
}

void write_points(const std::string& file, const std::vector<TidePoint>& points, bool with_ocean) {
    OutputFile out(file);
    std::fprintf(out, "epoch_gpst,mjd_gpst,sod_gpst");
    for (const char* source : {"solid", "ocean", "total"}) {
        for (const char* axis : {"x_ecef", "y_ecef", "z_ecef", "north", "east", "up"})
            std::fprintf(out, ",%s_%s_m", source, axis);
    }
    std::fprintf(out, "\n");
    for (const TidePoint& p : points) {
        std::fprintf(out, "%s,%s", time_text(p.gpst).c_str(), mjd_sod_text(p.gpst, 9).c_str());
        for (int source = 0; source < SOURCES; ++source) {
            const bool given = source != OCEAN || with_ocean;
            for (const Vector3& values : {p.displacement[source].xyz, p.displacement[source].neu}) {
                for (double v : values) given ? std::fprintf(out, ",%.7f", v) : std::fprintf(out, ",");
            }
        }
        std::fprintf(out, "\n");
    }
    out.close();
}

/// Smallest and largest value of each component with their times; of one epoch its values.
void print_extremes(const std::vector<TidePoint>& points, bool with_ocean) {
    const char* sources[SOURCES] = {"solid tide", "ocean loading", "total"};
    const char* axes[3] = {"north", "east", "up"};
    const bool series = points.size() > 1;
    std::printf(series ? "smallest and largest displacement, GPST:\n" : "displacement:\n");
    for (int source = 0; source < SOURCES; ++source) {
        if (source != SOLID && !with_ocean) continue;
        for (std::size_t k = 0; k < 3; ++k) {
            const auto value = [&](const TidePoint& p) { return p.displacement[source].neu[k]; };
            const auto less = [&](const TidePoint& a, const TidePoint& b) { return value(a) < value(b); };
            const auto [low, high] = std::minmax_element(points.begin(), points.end(), less);
            std::printf("  %-14s %-5s  %+.4f m", k == 0 ? sources[source] : "", axes[k], value(*low));
            if (series)
                std::printf(" at %s, %+.4f m at %s", time_text(low->gpst, 0).c_str(), value(*high),
                            time_text(high->gpst, 0).c_str());
            std::printf("\n");
        }
    }
}

void summarise(const Site& site, const std::vector<TidePoint>& points, bool with_ocean, Summary& summary) {
    static const char* const sources[SOURCES] = {"solid_tide", "ocean_loading", "total"};
    static const char* const axes[3] = {"north", "east", "up"};
    summary.set("frame", "earth-fixed (ITRF), north, east, up of the ellipsoid");
    summary.set("time_scale", "GPST");
    summary.set("site/position_m", std::vector<double>(site.xyz, site.xyz + 3));
    summary.set("site/latitude_deg", site.blh[0] / kDegToRad);
    summary.set("site/longitude_deg", site.blh[1] / kDegToRad);
    summary.set("site/height_m", site.blh[2]);
    summary.set_time("span/first", points.front().gpst);
    summary.set_time("span/last", points.back().gpst);
    summary.set("epochs/count", points.size());
    for (int source = 0; source < SOURCES; ++source) {
        for (std::size_t k = 0; k < 3 && (source != OCEAN || with_ocean); ++k) {
            const auto value = [&](const TidePoint& p) { return p.displacement[source].neu[k]; };
            const auto [low, high] =
                std::minmax_element(points.begin(), points.end(),
                                    [&](const TidePoint& a, const TidePoint& b) { return value(a) < value(b); });
            const std::string path = "displacements/" + std::string(sources[source]) + "/" + axes[k];
            summary.set(path + "/smallest_m", value(*low));
            summary.set_time(path + "/smallest_at", low->gpst, 0);
            summary.set(path + "/largest_m", value(*high));
            summary.set_time(path + "/largest_at", high->gpst, 0);
        }
    }
}

FilePlan check_files(const TideOptions& o) {
    FilePlan plan;
    plan.in("--blq", o.blq).in("--eop", o.eop).in("--jpl", o.jpl);
    plan.out("--out", o.out).out("--summary", o.summary).check();
    return plan;
}

/// First epoch, of --epoch or --from; GPST.
GTime start_of(const TideOptions& o) {
    const TIMESYS scale = time_system(o.time_scale);
    if (!o.span.from.empty())
        return gtimeChangeTimeSystem(parse_date("--from", o.span.from, scale, 1973, 2099), tsGPST);
    if (o.epoch.empty()) throw InputError("--epoch or --from is required");
    return gtimeChangeTimeSystem(parse_epoch(o.epoch, scale), tsGPST);
}

/// The options with the length of the series up to its last epoch before --to, where that is given.
TideOptions with_duration(TideOptions o, const GTime& start) {
    const bool to = !o.span.to.empty();
    if (to) {
        const double length = ArcSpan({"", o.span.to}, start, time_system(o.time_scale)).length_from(start);
        o.duration = o.interval > 0.0 ? o.interval * std::floor(length / o.interval) : length;
    }
    if (!(o.duration >= 0.0) || o.duration > 400.0 * 86400.0)
        throw InputError(std::string(to ? "--to" : "--duration") + ": between 0 and 400 days in seconds is expected");
    return o;
}

void check_options(const TideOptions& o) {
    if (!(o.interval > 0.0) || o.duration / o.interval > 1e6)
        throw InputError("--interval: a positive number of seconds with at most a million epochs is expected");
    if (o.blq.empty() && !o.site.empty()) throw InputError("--site names a site of an ocean loading file (--blq)");
}

/// Earth orientation and planets of the span.
void prepare(const TideOptions& o, const GTime& start, Environment& environment) {
    const double mjd = gtime2mjd(start);
    load_earth_orientation(o.eop, o.eop_format, environment);
    load_planets(o.jpl, mjd, mjd + o.duration / 86400.0, environment);
    tabulate_analytic_planets(mjd, mjd + o.duration / 86400.0, environment);
}

/// Displacements at the epochs of the span; ocean loading where there is one.
std::vector<TidePoint> compute(const TideOptions& o, const Site& site, OceanLoading* loading, const GTime& start,
                               const Environment& environment) {
    std::vector<TidePoint> points;
    const long count = static_cast<long>(std::floor(o.duration / o.interval + 1e-9)) + 1;
    Progress progress("computing tides", static_cast<double>(count));
    for (long i = 0; i < count; ++i) {
        TidePoint p{};
        p.gpst = gtimeAddSec(start, static_cast<double>(i) * o.interval);
        const GTime utc = gtimeChangeTimeSystem(p.gpst, tsUTC);
        p.displacement[SOLID] = solid_tide(site, utc, environment.planet_source);
        if (loading != nullptr) p.displacement[OCEAN] = ocean_tide(site, *loading, utc);
        for (std::size_t k = 0; k < 3; ++k) {
            p.displacement[TOTAL].xyz[k] = p.displacement[SOLID].xyz[k] + p.displacement[OCEAN].xyz[k];
            p.displacement[TOTAL].neu[k] = p.displacement[SOLID].neu[k] + p.displacement[OCEAN].neu[k];
        }
        points.push_back(p);
        progress.done(static_cast<double>(i + 1));
    }
    return points;
}

void print(const Site& site, const std::string& ocean, const Environment& environment,
           const std::vector<TidePoint>& points) {
    std::printf("leopod tide: %s to %s GPST, %zu epochs\n", time_text(points.front().gpst).c_str(),
                time_text(points.back().gpst).c_str(), points.size());
    std::printf("site: %.4f %.4f %.4f m, earth-fixed; latitude %.6f, longitude %.6f degrees, height %.3f m\n",
                site.xyz[0], site.xyz[1], site.xyz[2], site.blh[0] / kDegToRad, site.blh[1] / kDegToRad, site.blh[2]);
    std::printf("earth orientation: %s\nplanets: %s\n", environment.eop_source.c_str(),
                environment.planet_source.c_str());
    std::printf("ocean loading: %s\n", ocean.empty() ? "none, no file is given" : ocean.c_str());
    print_extremes(points, !ocean.empty());
}

/// Computes the displacements and returns the exit status 0. Throws InputError.
int tide(const TideOptions& options) {
    const FilePlan plan = check_files(options);
    const Console console(options.log_level);
    const Site site = site_of(options);
    const GTime start = start_of(options);
    const TideOptions o = with_duration(options, start);
    check_options(o);
    const bool with_ocean = !o.blq.empty();
    OceanLoading loading{};
    if (with_ocean) loading = read_ocean_loading(o.blq, o.site);
    const std::string ocean = with_ocean ? "file " + o.blq + ", site " + loading.site : "";
    Environment environment;
    prepare(o, start, environment);
    for (const std::string& note : hold_models_against_arc(environment, start, gtimeAddSec(start, o.duration)))
        std::fprintf(stderr, "leopod tide: note: %s\n", note.c_str());
    const std::vector<TidePoint> points = compute(o, site, with_ocean ? &loading : nullptr, start, environment);
    print(site, ocean, environment, points);
    if (!o.out.empty()) write_points(o.out, points, with_ocean);
    say_written("displacements", o.out);
    Summary summary = begin_summary("tide", o.summary, plan);
    summarise(site, points, with_ocean, summary);
    summarise_environment(environment, start, summary);
    summary.set("ocean_loading", with_ocean ? ocean : "none");
    summary.write(0);
    return 0;
}

}  // namespace

void add_tide(Command app, Action& action) {
    auto o = std::make_shared<TideOptions>();
    Command command = app.add_subcommand("tide", "Displacement of a site by the solid-Earth tide and ocean loading");
    command.add_option("--blh", o->blh, "site: latitude and longitude in degrees, ellipsoidal height in m").expected(3);
    command.add_option("--xyz", o->xyz, "site: earth-fixed position in m").expected(3);
    const Option epoch = command.add_option("--epoch", o->epoch, "first epoch, such as 2021-01-18T00:00:00");
    add_time_scale(command, o->time_scale, "its time scale");
    const Option duration =
        command.add_option("--duration", o->duration, "length of a series in seconds").capture_default_str();
    add_made_span(command, o->span, "that time scale", epoch, duration);
    command.add_option("--interval", o->interval, "its spacing in seconds").capture_default_str();
    command.add_option("--blq", o->blq, "ocean loading file (BLQ); without it the solid tide alone");
    command.add_option("--site", o->site, "name of the site in it; not needed where the file has one site");
    add_earth_orientation(command, o->eop, o->eop_format);
    add_planets(command, o->jpl);
    command.add_option("--out", o->out, "CSV of the displacements");
    add_summary(command, o->summary);
    add_log_level(command, o->log_level);
    command.callback([o, &action] { action = [o] { return tide(*o); }; });
}

}  // namespace host
