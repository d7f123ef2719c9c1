#include "inputs/laser_points.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "inputs/crd_lines.h"
#include "inputs/csv.h"
#include "shared/error.h"
#include "shared/printable.h"

namespace host {

namespace {

GTime time_of_epoch(const Epoch& epoch) { return GTime{{epoch.mjd, static_cast<double>(epoch.sec_of_day)}, tsUTC}; }

/// Collects the normal points of files, session by session.
class PointReader {
  public:
    void read(const std::string& file) {
        std::ifstream in = open_crd(file);
        file_ = file;
        line_ = 0;
        std::string raw;
        while (std::getline(in, raw)) {
            ++line_;
            const std::string line = cleaned_crd(raw);
            take(crd_identifier(line), line);
        }
        open_ = false;
    }
    std::vector<LaserSession> sessions;

  private:
    LaserSession& session() {
        if (!open_) {
            sessions.push_back({sessions.size() + 1, next_, {}, {}, 0});
            sessions.back().session.line = line_;
            open_ = true;
        }
        return sessions.back();
    }
    template <auto read, typename Record>
    static Record record(const std::string& id, const std::string& line) {
        bool by_tokens = false;
        return read_crd_record<read, Record>(id, line, by_tokens);
    }
    void take(const std::string& id, const std::string& line) {
        if (id == "H1") {
            begin_file(record<read_h1, rh1>(id, line));
        } else if (!supported_) {
            return;
        } else if (id == "H2" || id == "H3" || id == "H8" || id == "H9") {
            open_ = false;
            if (id == "H2") next_.station = record<read_h2, rh2>(id, line);
            if (id == "H3") next_.target = record<read_h3, rh3>(id, line);
        } else if (id == "H4") {
            if (open_ && sessions.back().session.header) open_ = false;
            session().session.set_header(record<read_h4, rh4>(id, line));
        } else if (id == "C0") {
            const rc0 r = record<read_c0, rc0>(id, line);
            wavelengths_.insert_or_assign(r.config_ids[0], given(r.xmit_wavelength) ? r.xmit_wavelength / 1000.0 : 0.0);
        } else if (id == "11") {
            take_point(record<read_11, rd11>(id, line));
        } else if (id == "20") {
            take_weather(record<read_20, rd20>(id, line));
        }
    }
    void begin_file(const rh1& r) {
        open_ = false;
        next_ = session_behind(r, file_);
        supported_ = is_supported(r);
        wavelengths_.clear();
    }
    /// By the configuration's name; a name that stands nowhere means the only one.
    double wavelength(const char* configuration) const {
        const auto found = wavelengths_.find(configuration);
        if (found != wavelengths_.end()) return found->second;
        return wavelengths_.size() == 1 ? wavelengths_.begin()->second : 0.0;
    }
    void take_point(const rd11& r) {
        LaserSession& s = session();
        const std::optional<Epoch> epoch =
            given(r.sec_of_day) ? s.session.date("11", r.sec_of_day) : std::optional<Epoch>{};
        if (!epoch || !given(r.time_of_flight) || r.time_of_flight <= 0.0L || r.epoch_event < 0 || r.epoch_event > 2) {
            ++s.unread;
            return;
        }
        s.points.push_back({*epoch, time_of_epoch(*epoch), r.epoch_event, static_cast<double>(r.time_of_flight),
                            wavelength(r.sysconfig_id)});
    }
    void take_weather(const rd20& r) {
        LaserSession& s = session();
        if (!given(r.sec_of_day) || !given(r.pressure) || !given(r.temperature) || !given(r.humidity)) return;
        if (!(r.pressure > 300.0 && r.pressure < 1200.0 && r.temperature > 180.0 && r.temperature < 340.0)) return;
        if (const std::optional<Epoch> epoch = s.session.date("20", r.sec_of_day))
            s.meteorology.push_back(
                {time_of_epoch(*epoch), r.pressure, r.temperature, std::clamp(r.humidity, 0.0, 100.0)});
    }

    Session next_;
    bool open_ = false, supported_ = false;
    std::string file_;
    long line_ = 0;
    std::map<std::string, double> wavelengths_;  ///< of configurations [um]
};

bool is_target(const rh3& r, const std::string& target) {
    const auto is = [&target](int number) { return given(number) && std::to_string(number) == target; };
    return crd_upper(r.target_name) == crd_upper(target) || is(r.ilrs_id) || is(r.norad);
}

void keep_target(std::vector<LaserSession>& sessions, const std::string& target, const std::string& file) {
    std::map<std::string, std::string> all;  // the number tells, names are written in many ways
    for (const LaserSession& s : sessions) {
        const rh3& r = s.session.target;
        all.emplace(given(r.ilrs_id) ? std::to_string(r.ilrs_id) : crd_upper(r.target_name), s.target());
    }
    std::string names;
    for (const auto& [key, name] : all) add_part(names, name);
    if (target.empty()) {
        if (all.size() > 1) throw InputError(file + ": has ranges to several targets (" + names + "): --crd-target");
        return;
    }
    const auto other = [&](const LaserSession& s) { return !is_target(s.session.target, target); };
    sessions.erase(std::remove_if(sessions.begin(), sessions.end(), other), sessions.end());
    if (sessions.empty())
        throw InputError(file + ": has no normal points to --crd-target " + target + ", only to " + names);
}

}  // namespace

std::string LaserSession::station() const {
    const rh2& s = session.station;
    return printable(s.stn_name) + (given(s.cdp_pad_id) ? " " + std::to_string(s.cdp_pad_id) : std::string());
}

std::string LaserSession::target() const { return printable(session.target.target_name); }

std::optional<Meteorology> LaserSession::weather(const GTime& time) const {
    if (meteorology.empty()) return std::nullopt;
    const auto after = std::find_if(meteorology.begin(), meteorology.end(),
                                    [&time](const Meteorology& m) { return gtimeSubSec(m.time, time) >= 0.0; });
    if (after == meteorology.begin()) return meteorology.front();
    if (after == meteorology.end()) return meteorology.back();
    const Meteorology &a = *(after - 1), &b = *after;
    const double length = gtimeSubSec(b.time, a.time);
    const double u = length > 0.0 ? gtimeSubSec(time, a.time) / length : 1.0;
    const auto between = [u](double from, double to) { return from + u * (to - from); };
    return Meteorology{time, between(a.pressure, b.pressure), between(a.temperature, b.temperature),
                       between(a.humidity, b.humidity)};
}

std::vector<LaserSession> read_laser_sessions(const std::vector<std::string>& files, const std::string& target) {
    PointReader reader;
    for (const std::string& file : files) reader.read(file);
    std::vector<LaserSession>& sessions = reader.sessions;
    const auto empty = [](const LaserSession& s) { return s.points.empty() && s.unread == 0; };
    sessions.erase(std::remove_if(sessions.begin(), sessions.end(), empty), sessions.end());
    if (sessions.empty()) throw InputError(files.front() + ": has no normal points (records 11)");
    keep_target(sessions, target, files.front());
    const auto earlier = [](const Meteorology& a, const Meteorology& b) { return gtimeSubSec(a.time, b.time) < 0.0; };
    for (LaserSession& s : sessions) std::stable_sort(s.meteorology.begin(), s.meteorology.end(), earlier);
    return std::move(reader.sessions);
}

Eigen::Vector3d LaserStation::at(double mjd) const {
    if (epoch == 0.0) return position;
    const double year = 2000.0 + (mjd - 51544.5) / 365.25;
    return position + (year - epoch) * velocity;
}

LaserStations::LaserStations(const std::string& file) {
    CsvReader csv(file);
    const std::string hint = "a list of stations has cdp or name, x_m, y_m, z_m";
    const int cdp = csv.find("cdp"), epoch = csv.find("epoch");
    const int name = cdp >= 0 ? csv.find("name") : csv.require("name", hint);
    const char* const axes[3] = {"x", "y", "z"};
    int place[3], rate[3];
    for (int k = 0; k < 3; ++k) {
        place[k] = csv.require(std::string(axes[k]) + "_m", hint);
        rate[k] = csv.find("v" + std::string(axes[k]) + "_mpy");
    }
    while (csv.next()) {
        const std::string where = file + ": line " + std::to_string(csv.line_number()) + ": ";
        LaserStation s;
        s.name = std::string(csv.text(name));
        if (!csv.text(cdp).empty()) {
            const double pad = csv.number(cdp);
            if (!(pad >= 0.0 && pad <= 1e6 && pad == std::floor(pad)))
                throw InputError(where + "cdp: a whole number is expected");
            s.pad = static_cast<int>(pad);
        }
        for (int k = 0; k < 3; ++k) {
            s.position[k] = csv.number(place[k]);
            s.velocity[k] = csv.text(rate[k]).empty() ? 0.0 : csv.number(rate[k]);
        }
        if (!csv.text(epoch).empty()) s.epoch = csv.number(epoch);
        check(where, s);
        stations_.push_back(s);
    }
    if (stations_.empty()) throw InputError(file + ": has no station");
}

void LaserStations::check(const std::string& where, const LaserStation& s) const {
    const double radius = s.position.norm();
    if (s.pad < 0 && s.name.empty()) throw InputError(where + "neither cdp nor name");
    if (!(radius > 6.34e6 && radius < 6.4e6)) throw InputError(where + "no position on the earth's surface in metres");
    if (!(s.velocity.norm() < 1.0)) throw InputError(where + "a velocity in metres a year is expected");
    if (s.epoch != 0.0 && !(s.epoch > 1950.0 && s.epoch < 2100.0))
        throw InputError(where + "epoch: a year with its fraction is expected, such as 2010.0");
    if (s.epoch == 0.0 && s.velocity.norm() > 0.0) throw InputError(where + "a velocity needs the epoch");
    for (const LaserStation& other : stations_) {
        if (s.pad == other.pad && (s.pad >= 0 || crd_upper(s.name) == crd_upper(other.name)))
            throw InputError(where + "this station stands above already");
    }
}

const LaserStation* LaserStations::find(const rh2& station) const {
    for (const LaserStation& s : stations_) {
        if (given(station.cdp_pad_id) && s.pad == station.cdp_pad_id) return &s;
    }
    for (const LaserStation& s : stations_) {
        if (s.pad < 0 && !s.name.empty() && crd_upper(s.name) == crd_upper(station.stn_name)) return &s;
    }
    return nullptr;
}

}  // namespace host
