#include "inputs/positions.h"

#include <algorithm>
#include <cmath>

#include "earth_rotation_param.h"
#include "inputs/ccsds.h"
#include "inputs/kinds.h"
#include "inputs/open.h"
#include "inputs/sp3.h"
#include "shared/error.h"
#include "shared/times.h"

namespace host {

namespace {

constexpr double kSameEpoch = 1e-6;    ///< [s]
constexpr double kSamePosition = 1.0;  ///< [m]

bool starts_with(const std::string& text, const std::string& start) {
    return text.compare(0, start.size(), start) == 0;
}

double apart(const Vector3& a, const Vector3& b) { return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]); }

bool ends_with(const std::string& text, const std::string& end) {
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

/// First column with exactly one of the names, else the first one that begins with the prefix; -1 without.
int find_column(const std::vector<std::string>& names, const std::vector<std::string>& exact,
                const std::string& prefix) {
    for (const std::string& wanted : exact) {
        const auto found = std::find(names.begin(), names.end(), wanted);
        if (found != names.end()) return static_cast<int>(found - names.begin());
    }
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (!prefix.empty() && starts_with(names[i], prefix)) return static_cast<int>(i);
    }
    return -1;
}

/// Places of the values in a row.
struct Places {
    int time = 0, mjd = -1;
    std::array<int, 3> axis{1, 2, 3};
    std::array<int, 3> rate{-1, -1, -1};
    int status = -1;
    std::array<int, 6> covariance{-1, -1, -1, -1, -1, -1};  ///< xx, xy, xz, yy, yz, zz
    bool time_is_mjd = false;
    std::optional<long> day;  ///< MJD of the date in the name of the column of seconds
};

/// What `leopod run` says of the solution that is taken.
void find_worth(const std::vector<std::string>& names, Places& places) {
    const std::size_t axis = static_cast<std::size_t>(places.axis[0]);
    const bool filter = axis < names.size() && starts_with(names[axis], "filter_");
    places.status = find_column(names, {filter ? "filter_status" : "status"}, "");
    if (!filter) return;
    static const char* const pairs[6] = {"xx", "xy", "xz", "yy", "yz", "zz"};
    for (std::size_t k = 0; k < 6; ++k)
        places.covariance[k] = find_column(names, {std::string("filter_cov_") + pairs[k] + "_m2"}, "");
}

/// Velocities stand under the name of their position with a v before it and another unit.
void find_rates(const std::vector<std::string>& names, Places& places) {
    Places found = places;
    for (std::size_t k = 0; k < 3; ++k) {
        std::string name = "v" + names[static_cast<std::size_t>(places.axis[k])];
        if (ends_with(name, "_m")) name += "ps";
        found.rate[k] = find_column(names, {name}, "");
    }
    if (std::all_of(found.rate.begin(), found.rate.end(), [](int place) { return place >= 0; })) places = found;
}

/// Cuts a date off a name such as sod_gpst_2010_07_27; none without.
std::optional<long> cut_date(std::string& name) {
    const std::size_t at = name.size() - std::min<std::size_t>(name.size(), 11);
    std::string date = name.substr(at);
    if (date.size() != 11 || date[0] != '_' || date[5] != '_' || date[8] != '_') return std::nullopt;
    date[5] = date[8] = '-';
    GTime time{};
    if (!read_time(date.substr(1) + "T00:00:00", tsGPST, time)) return std::nullopt;
    name.resize(at);
    return time.time.mjd;
}

Places places_of(const std::vector<std::string>& names, const CsvColumns& columns) {
    Places places;
    const char* prefixes[3] = {"x_", "y_", "z_"};
    bool all = true;
    for (std::size_t k = 0; k < 3; ++k) {
        const int found = find_column(names, columns.axis[k], prefixes[k]);
        if (found >= 0) places.axis[k] = found;
        all = all && found >= 0;
    }
    if (all) find_rates(names, places);
    if (all) find_worth(names, places);
    places.mjd = find_column(names, {}, "mjd");
    const int sod = find_column(names, columns.time, "sod");
    if (sod >= 0) {
        places.time = sod;
        std::string name = names[static_cast<std::size_t>(sod)];
        places.day = cut_date(name);
    } else if (places.mjd >= 0) {
        places.time = places.mjd;
        places.mjd = -1;
        places.time_is_mjd = true;
    }
    return places;
}

/// What the names of the columns say about time scale and frame.
void describe(const std::vector<std::string>& names, const Places& places, const std::string& file,
              PositionFile& result) {
    std::string time = names[static_cast<std::size_t>(places.time)];
    cut_date(time);
    const std::pair<const char*, TIMESYS> endings[] = {
        {"_utc", tsUTC}, {"_gpst", tsGPST}, {"_tai", tsTAI}, {"_tt", tsTT}};
    for (const auto& [ending, scale] : endings) {
        if (ends_with(time, ending)) result.scale = scale;
    }
    const std::size_t axis = static_cast<std::size_t>(places.axis[0]);
    const std::string x = axis < names.size() ? names[axis] : "";
    const auto says = [&](std::initializer_list<const char*> words) {
        return std::any_of(words.begin(), words.end(),
                           [&](const char* word) { return x.find(word) != std::string::npos; });
    };
    const bool inertial = says({"gcrs", "gcrf", "eci"});
    const bool fixed = says({"ecef", "itrs", "itrf"});
    if (ends_with(x, "_km")) throw InputError(file + ": column " + x + ": metres are expected");
    if (says({"teme"})) throw InputError(file + ": positions in TEME (" + x + ") are not taken");
    if ((inertial && !result.inertial) || (fixed && result.inertial))
        throw InputError(file + ": column " + x + (fixed ? " is earth-fixed, " : " is inertial, ") +
                         (fixed ? "inertial" : "earth-fixed") + " positions are asked for");
}

const char* scale_text(TIMESYS scale) {
    static const char* const names[] = {"unknown", "GPST", "GALT", "BDST", "UTC", "TAI", "TT"};
    return names[scale];
}

bool parse_time(const CsvReader& in, const Places& places, const PositionRequest& request, TIMESYS scale, GTime& time) {
    time.sys = scale;
    const std::string text(in.text(places.time));
    if (text.find(':') != std::string::npos) {
        if (!read_time(text, scale, time)) return false;
    } else {
        double value = 0;
        if (!parse_number(text, value) || std::fabs(value) > 1e9) return false;
        double mjd = static_cast<double>(places.day.value_or(request.day_mjd));
        if (places.mjd >= 0 && (!parse_number(in.text(places.mjd), mjd) || std::fabs(mjd) > 1e7)) return false;
        time.time = places.time_is_mjd ? mjd2TimeMJD(value) : timeMjdAddSec(mjd2TimeMJD(mjd), value);
    }
    return make_gpst(time);
}

/// Whether the line is a row; `empty` where it has no position.
bool parse_row(const CsvReader& in, const Places& places, const PositionRequest& request, TIMESYS scale,
               TimedPosition& row, bool& empty) {
    bool ok = parse_time(in, places, request, scale, row.time);
    empty = false;
    for (std::size_t k = 0; k < 3; ++k) {
        const std::string_view text = in.text(places.axis[k]);
        empty = empty || (text.empty() && places.axis[k] < in.columns());
        ok = ok && parse_number(text, row.position[k]);
    }
    Vector3 rate{};
    bool rates = places.rate[0] >= 0;
    for (std::size_t k = 0; k < 3 && rates; ++k) rates = parse_number(in.text(places.rate[k]), rate[k]);
    if (rates) row.velocity = rate;
    if (places.status >= 0) row.status = in.text(places.status);
    double c[6];
    bool known = places.covariance[0] >= 0;
    for (std::size_t k = 0; k < 6 && known; ++k) known = parse_number(in.text(places.covariance[k]), c[k]);
    if (known) {
        row.covariance = Covariance{};
        const double full[3][3] = {{c[0], c[1], c[2]}, {c[1], c[3], c[4]}, {c[2], c[4], c[5]}};
        for (std::size_t i = 0; i < 3; ++i) std::copy_n(full[i], 3, (*row.covariance)[i].begin());
    }
    return ok;
}

/// How many rows as long as this one the file may have; memory that isn't used in the end is none.
std::size_t rows_of(const std::string& file, const std::string& row) {
    constexpr std::uint64_t kMost = 1U << 20U;
    return static_cast<std::size_t>(std::min(kMost, InputFile::of(file).size() / (row.size() + 1) + 1));
}

PositionFile read_csv(const std::string& file, const PositionRequest& request) {
    CsvReader in(file, CsvReader::NAMES_OR_NUMBERS);
    PositionFile result;
    result.form = "CSV";
    result.scale = request.scale;
    result.inertial = request.inertial;
    Places places;
    bool head = true;
    long without = 0;
    do {
        TimedPosition row{};
        bool empty = false;
        if (parse_row(in, places, request, result.scale, row, empty)) {
            if (result.rows.empty()) result.rows.reserve(rows_of(file, in.line()));
            result.rows.push_back(std::move(row));
        } else if (head) {
            places = places_of(in.names(), request.columns);
            describe(in.names(), places, file, result);
        } else if (!empty) {
            throw InputError(file + ": a row of this file of positions cannot be read: line " +
                             std::to_string(in.line_number()) + ", " + in.line().substr(0, 100));
        }
        without += empty && !head;
        head = false;
    } while (in.next());
    if (without > 0) result.notes.push_back(std::to_string(without) + " rows without a position");
    if (result.rows.empty()) throw InputError(file + ": is not a file of positions (CSV: time, x, y, z in metres)");
    result.scale_name = scale_text(result.scale);
    result.frame = result.inertial ? "GCRS" : "earth-fixed";
    return result;
}

/// First line of a file that is not empty.
std::string head_of(const std::string& file) {
    std::ifstream in = open_input(file, "file of positions");
    std::string line;
    while (std::getline(in, line) && line.find_first_not_of(" \t\r") == std::string::npos) {
    }
    return line;
}

std::vector<std::string> named(const char* axis, std::initializer_list<const char*> endings) {
    std::vector<std::string> names;
    for (const char* ending : endings) names.push_back(std::string(axis) + ending);
    return names;
}

}  // namespace

CsvColumns reference_columns() {
    CsvColumns c{{"sod_rx"}, {}};
    const char* names[3] = {"x", "y", "z"};
    for (std::size_t k = 0; k < 3; ++k) c.axis[k] = named(names[k], {"_rx", "_itrs", "_ecef_m", "_m", ""});
    return c;
}

CsvColumns solution_columns(const std::string& solution) {
    CsvColumns c{{"receive_sod_gpst"}, {}};
    const char* names[3] = {"x", "y", "z"};
    for (std::size_t k = 0; k < 3; ++k) {
        c.axis[k] = named(names[k], {"_ecef_m", "_m", ""});
        if (solution != "point") c.axis[k].insert(c.axis[k].begin(), "filter_" + c.axis[k].front());
    }
    return c;
}

CsvColumns inertial_columns() {
    CsvColumns c;
    const char* names[3] = {"x", "y", "z"};
    for (std::size_t k = 0; k < 3; ++k) c.axis[k] = named(names[k], {"_gcrs_m", "_gcrs", "_eci_m", "_eci", "_m", ""});
    return c;
}

std::string PositionFile::text() const {
    std::string all =
        form + (satellite.empty() ? "" : ", satellite " + satellite) + ", times " + scale_name + ", frame " + frame;
    for (const std::string& note : notes) all += "; " + note;
    return all;
}

PositionFile read_positions(const std::string& file, const PositionRequest& request) {
    check_kind(file, "file of positions", {Kind::csv, Kind::sp3, Kind::oem, Kind::opm});
    const std::string head = head_of(file);
    const std::string message = ccsds_kind(head);
    if (!message.empty() && message != "OEM")
        throw InputError(file + ": is a CCSDS " + message + " message; an ephemeris (OEM) is expected");
    PositionFile result = is_sp3_head(head)  ? read_sp3(file, request.satellite, request.satellite_or_any)
                          : message == "OEM" ? read_oem(file, request.satellite, request.satellite_or_any)
                                             : read_csv(file, request);
    std::vector<TimedPosition>& rows = result.rows;
    const auto earlier = [](const TimedPosition& a, const TimedPosition& b) { return gtime_less(a.time, b.time); };
    if (!std::is_sorted(rows.begin(), rows.end(), earlier)) std::stable_sort(rows.begin(), rows.end(), earlier);
    const auto twice = std::adjacent_find(rows.begin(), rows.end(), [](const TimedPosition& a, const TimedPosition& b) {
        return gtime_equal(a.time, b.time) && !(apart(a.position, b.position) <= kSamePosition);
    });
    if (twice != rows.end())
        throw InputError(file + ": has several positions at " + time_text(twice->time) + " GPST: of two satellites?");
    rows.erase(std::unique(rows.begin(), rows.end(),
                           [](const TimedPosition& a, const TimedPosition& b) { return gtime_equal(a.time, b.time); }),
               rows.end());
    return result;
}

PositionFile read_state(const std::string& file, const PositionRequest& request, const std::optional<GTime>& epoch) {
    const bool single = ccsds_kind(head_of(file)) == "OPM";
    PositionFile states = single ? read_opm(file) : read_positions(file, request);
    TimedPosition chosen = states.rows.front();
    if (epoch) {
        const GTime gpst = gtimeChangeTimeSystem(*epoch, tsGPST);
        const auto found = std::find_if(states.rows.begin(), states.rows.end(), [&](const TimedPosition& row) {
            return std::fabs(gtimeSubSec(row.time, gpst)) < kSameEpoch;
        });
        if (found == states.rows.end())
            throw InputError(file + ": has no state at " + time_text(gpst) + " GPST, its first is at " +
                             time_text(chosen.time) + ", its last at " + time_text(states.rows.back().time));
        chosen = *found;
    }
    if (!chosen.velocity) throw InputError(file + ": the state at " + time_text(chosen.time) + " GPST has no velocity");
    states.rows = {chosen};
    return states;
}

void make_earth_fixed(const std::string& file, PositionFile& positions, bool any) {
    if (!positions.inertial) return;
    for (TimedPosition& row : positions.rows) {
        const double mjd = gtime2mjd(gtimeChangeTimeSystem(row.time, tsUTC));
        EOPREC eop{};
        if (!any && !compute_eop(mjd, &eop))
            throw InputError(file + ": frame " + positions.frame + " needs earth orientation that covers " +
                             time_text(row.time) + " GPST");
        Vector3 position{};
        Vector3 velocity{};
        eci2ecf(mjd, getLeapSecond(mjd), row.position.data(), row.velocity ? row.velocity->data() : nullptr,
                position.data(), velocity.data());
        row.position = position;
        if (row.velocity) row.velocity = velocity;
        row.covariance.reset();
    }
    positions.inertial = false;
}

}  // namespace host
