#include "commands/simulate_files.h"

#include <algorithm>
#include <array>
#include <cstdio>

#include "shared/earth.h"
#include "shared/files.h"
#include "shared/times.h"

namespace host {

namespace {

constexpr double kAttitudeStep = 30.0;  ///< of the quaternions [s]
constexpr int kAttitudeMargin = 6;      ///< quaternions beyond the ends of the arc, as far as the orbit goes

/// Calendar date of a tag, to the digits of RINEX.
TimeYMD rinex_date(long mjd_day, double seconds) { return calendar(time_at(mjd_day, seconds), 7); }

}  // namespace

void write_observations(const SimulateOptions& o, const Constellation& constellation, const Arc& arc) {
    OutputFile out(o.obs_out);
    const auto line = [&out](const std::string& content, const char* label) {
        std::fprintf(out, "%-60.60s%-20s\n", content.c_str(), label);
    };
    const auto time = [&arc](double tag) {
        const TimeYMD d = rinex_date(arc.mjd_day, tag);
        char text[64];
        std::snprintf(text, sizeof text, "%6d%6d%6d%6d%6d%13.7f     GPS", d.year, d.month, d.day, d.hour, d.minute,
                      d.second);
        return std::string(text);
    };
    line("     3.05           OBSERVATION DATA    M", "RINEX VERSION / TYPE");
    line("leopod simulate", "PGM / RUN BY / DATE");
    line("simulated: nothing in this file was measured", "COMMENT");
    line("SIMULATED", "MARKER NAME");
    line("SPACEBORNE", "MARKER TYPE");
    for (const auto& [system, signals] : arc.signals) {
        char text[16];
        std::snprintf(text, sizeof text, "%c  %3zu", signals.letter, signals.observables.size());
        std::string types = text;
        for (const Observable& observable : signals.observables) types += " " + observable.code;
        line(types, "SYS / # / OBS TYPES");
    }
    char interval[16];
    std::snprintf(interval, sizeof interval, "%10.3f", o.interval);
    line(interval, "INTERVAL");
    line(time(arc.epochs.front().tag), "TIME OF FIRST OBS");
    line(time(arc.epochs.back().tag), "TIME OF LAST OBS");
    line("", "END OF HEADER");
    for (const SimulatedEpoch& epoch : arc.epochs) {
        if (epoch.satellites.empty()) continue;
        const TimeYMD d = rinex_date(arc.mjd_day, epoch.tag);
        std::fprintf(out, "> %04d %02d %02d %02d %02d%11.7f  0%3zu\n", d.year, d.month, d.day, d.hour, d.minute,
                     d.second, epoch.satellites.size());
        for (const Measured& measured : epoch.satellites) {
            const Satellite& satellite = constellation.satellites()[measured.satellite];
            std::fprintf(out, "%s", satellite.name().c_str());
            const std::size_t count = arc.signals.at(satellite.system).observables.size();
            for (std::size_t k = 0; k < count; ++k)
                std::fprintf(out, k + 1 < count ? "%14.3f  " : "%14.3f", measured.value[k]);
            std::fprintf(out, "\n");
        }
    }
    out.close();
}

std::size_t write_attitude(const SimulateOptions& o, const ReceiverOrbit& orbit, const Arc& arc) {
    const double first = arc.epochs.front().tag;
    const double last = arc.epochs.back().tag;
    std::vector<double> times;
    const double begin = kAttitudeStep * (std::floor(first / kAttitudeStep) - kAttitudeMargin);
    const double end = last + (kAttitudeMargin + 1) * kAttitudeStep;
    for (int step = 0; begin + step * kAttitudeStep < end; ++step) {
        const double t = begin + step * kAttitudeStep;
        if (t >= orbit.first() - kTagSlack && t <= orbit.last() + kTagSlack) times.push_back(t);
    }
    times.push_back(first);
    times.push_back(last);
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end(), [](double a, double b) { return b - a < 1e-3; }), times.end());
    require(times.size() <= MAXSIZE_ATT_QUA, o.att_out + ": the arc is too long for one file of quaternions");

    Owned<ATT_QUATERNION> records = make_zeroed<ATT_QUATERNION>(times.size());
    std::array<double, 4> before{1.0, 0.0, 0.0, 0.0};
    for (std::size_t n = 0; n < times.size(); ++n) {
        const GTime gpst = time_at(arc.mjd_day, times[n]);
        const double mjd_utc = gtime2mjd(gtimeChangeTimeSystem(gpst, tsUTC));
        const std::array<Vector3, 3> rows = celestial_from_earth_fixed(mjd_utc, 32.184 + getLeapSecond(mjd_utc));
        const BodyAxes fixed = platform_axes(orbit.position(times[n]), orbit.velocity(times[n]), o.platform_z == "down",
                                             o.yaw * kDegToRad);
        const auto turn = [&rows](const Vector3& v) {
            return Vector3{dot(rows[0], v), dot(rows[1], v), dot(rows[2], v)};
        };
        std::array<double, 4> q = quaternion_of({turn(fixed.x), turn(fixed.y), turn(fixed.z)});
        // Of the two signs the one near the last record: readers interpolate the numbers.
        if (q[0] * before[0] + q[1] * before[1] + q[2] * before[2] + q[3] * before[3] < 0.0) {
            for (double& component : q) component = -component;
        }
        before = q;
        records.get()[n] = {gpst, {q[0], {q[1], q[2], q[3]}}, true};
    }
    write_by_name(o.att_out, [&](const std::string& file) {
        return write_att_quaternion_velmra(writable(file), records.get(), static_cast<int>(times.size()));
    });
    return times.size();
}

void write_truth(const SimulateOptions& o, const Arc& arc) {
    OutputFile out(o.truth_out);
    std::fprintf(out,
                 "epoch_gpst,mjd_gpst,sod_tag,clock_m,sod_rx,x_rx,y_rx,z_rx,vx_rx,vy_rx,vz_rx,x_tag,y_tag,z_tag,"
                 "satellites\n");
    for (const SimulatedEpoch& e : arc.epochs) {
        const GTime tag = time_at(arc.mjd_day, e.tag);
        std::fprintf(out, "%s,%s,%.4f,%s", time_text(tag).c_str(), mjd_sod_text(tag, 3).c_str(), kLight * e.clock,
                     seconds_text(gtimeAddSec(tag, -e.clock), rounded_mjd(tag, 3), 9).c_str());
        for (double x : e.position) std::fprintf(out, ",%.4f", x);
        for (double v : e.velocity) std::fprintf(out, ",%.6f", v);
        for (double x : e.position_at_tag) std::fprintf(out, ",%.4f", x);
        std::fprintf(out, ",%zu\n", e.satellites.size());
    }
    out.close();
}

void write_events(const SimulateOptions& o, const Arc& arc) {
    OutputFile out(o.events_out);
    std::fprintf(out, "event,epoch_gpst,mjd_gpst,sod_gpst,satellite,band,cycles,clock_s\n");
    for (const Event& e : arc.events) {
        const GTime tag = time_at(arc.mjd_day, e.tag);
        std::fprintf(out, "%s,%s,%s,", e.kind, time_text(tag).c_str(), mjd_sod_text(tag, 3).c_str());
        if (e.satellite.empty()) {
            std::fprintf(out, ",,,%.3f\n", e.value);
        } else {
            std::fprintf(out, "%s,L%d,%.0f,\n", e.satellite.c_str(), e.band, e.value);
        }
    }
    out.close();
}

}  // namespace host
