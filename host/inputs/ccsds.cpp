#include "inputs/ccsds.h"

#include <cmath>
#include <map>
#include <sstream>

#include "inputs/open.h"
#include "shared/earth.h"
#include "shared/error.h"
#include "shared/times.h"

namespace host {

namespace {

using Values = std::map<std::string, std::string>;

std::string trimmed(const std::string& text) {
    const std::size_t first = text.find_first_not_of(" \t\r");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// Lines of a message that say something.
class Message {
  public:
    Message(const std::string& file, const std::string& kind) : file_(file), kind_(kind), in_(open_input(file, kind)) {
        if (!next() || ccsds_kind(line_) != kind) fail("CCSDS_" + kind + "_VERS is expected first");
        const std::string version = value();
        if (version.empty() || version[0] < '1' || version[0] > '3') fail("its version " + version + " is not read");
    }
    /// The next line that is neither empty nor a comment; false at the end.
    bool next() {
        for (std::string line; std::getline(in_, line);) {
            ++number_;
            line_ = trimmed(line);
            if (!line_.empty() && line_.compare(0, 7, "COMMENT") != 0) return true;
        }
        line_.clear();
        return false;
    }
    const std::string& line() const { return line_; }
    bool has_key() const { return line_.find('=') != std::string::npos; }
    std::string key() const { return trimmed(line_.substr(0, line_.find('='))); }
    std::string value() const { return has_key() ? trimmed(line_.substr(line_.find('=') + 1)) : ""; }
    /// The fields of a line of numbers.
    std::vector<std::string> fields() const {
        std::istringstream in(line_);
        std::vector<std::string> all;
        for (std::string field; in >> field;) all.push_back(field);
        return all;
    }
    [[noreturn]] void fail(const std::string& what) const {
        throw InputError(file_ + ": line " + std::to_string(number_) + " of this " + kind_ + ": " + what);
    }

  private:
    std::string file_, kind_;
    std::ifstream in_;
    std::string line_;
    long number_ = 0;
};

/// What a block says about its states.
struct Frame {
    TIMESYS scale = tsGPST;
    bool inertial = false, mean_equator = false;  ///< EME2000 lies a frame bias beside GCRS
};

std::string required(const Message& m, const Values& values, const std::string& key) {
    const auto found = values.find(key);
    if (found == values.end() || found->second.empty()) m.fail("there is no " + key + " before it");
    return found->second;
}

Frame frame_of(const Message& m, const Values& values) {
    static const std::map<std::string, TIMESYS> scales = {
        {"GPS", tsGPST}, {"UTC", tsUTC}, {"TAI", tsTAI}, {"TT", tsTT}};
    Frame frame;
    const std::string scale = required(m, values, "TIME_SYSTEM");
    if (scales.count(scale) == 0) m.fail("TIME_SYSTEM " + scale + ": one of GPS, UTC, TAI, TT is expected");
    frame.scale = scales.at(scale);
    if (required(m, values, "CENTER_NAME") != "EARTH") m.fail("CENTER_NAME: EARTH is expected");
    const std::string name = required(m, values, "REF_FRAME");
    frame.mean_equator = name == "EME2000";
    frame.inertial = frame.mean_equator || name == "GCRF" || name == "ICRF";
    if (!frame.inertial && name.compare(0, 4, "ITRF") != 0)
        m.fail("REF_FRAME " + name + ": ITRF..., GCRF, ICRF or EME2000 is expected");
    return frame;
}

double number(const Message& m, const std::string& text) {
    double value = 0;
    if (!parse_number(text, value)) m.fail("'" + text.substr(0, 40) + "' is not a number");
    return value;
}

/// A time with a T between date and time of day, and perhaps a Z behind it.
GTime time_of(const Message& m, std::string text, TIMESYS scale) {
    if (!text.empty() && text.back() == 'Z') text.pop_back();
    GTime time{};
    std::string reason = "a time is expected";
    if (text.find('T') == std::string::npos || !read_time(text, scale, time, &reason))
        m.fail(text.substr(0, 40) + ": " + reason);
    if (!make_gpst(time)) m.fail(text.substr(0, 40) + ": leap seconds of UTC are known from July 1972 on");
    return time;
}

/// From the mean equator and equinox of J2000 to GCRS. Source: IERS Conventions (2010), chapter 5.
Vector3 without_frame_bias(const Vector3& v) {
    constexpr double kMas = kDegToRad / 3600e3;
    constexpr double kDa = -14.6 * kMas, kXi = -16.6170 * kMas, kEta = -6.8192 * kMas;
    return {v[0] - kDa * v[1] + kXi * v[2], kDa * v[0] + v[1] + kEta * v[2], -kXi * v[0] - kEta * v[1] + v[2]};
}

TimedPosition state_of(const Message& m, const Frame& frame, const GTime& time, const std::string* fields) {
    TimedPosition row{time, {}, Vector3{}};
    for (std::size_t k = 0; k < 3; ++k) {
        row.position[k] = 1000.0 * number(m, fields[k]);
        (*row.velocity)[k] = 1000.0 * number(m, fields[k + 3]);
    }
    if (frame.mean_equator) {
        row.position = without_frame_bias(row.position);
        row.velocity = without_frame_bias(*row.velocity);
    }
    return row;
}

Values read_metadata(Message& m) {
    Values values;
    while (m.next() && m.line() != "META_STOP") {
        if (!m.has_key()) m.fail("a keyword and its value are expected before META_STOP");
        values[m.key()] = m.value();
    }
    if (m.line().empty()) m.fail("META_STOP is missing");
    return values;
}

/// One matrix of a covariance block, behind its EPOCH.
Covariance read_matrix(Message& m) {
    Covariance c{};
    for (std::size_t i = 0; i < 6; ++i) {
        if (i > 0 && !m.next()) m.fail("a covariance ends early");
        const std::vector<std::string> fields = m.fields();
        if (fields.size() != i + 1) m.fail(std::to_string(i + 1) + " numbers of a covariance are expected");
        for (std::size_t k = 0; k <= i; ++k) c[i][k] = c[k][i] = 1e6 * number(m, fields[k]);
    }
    return c;
}

/// Covariances go to the states of their epochs where they are in the same frame.
void read_covariances(Message& m, const Frame& frame, const std::string& ref_frame, std::vector<TimedPosition>& rows,
                      long& unused) {
    GTime epoch{};
    std::string cov_frame = ref_frame;
    while (m.next() && m.line() != "COVARIANCE_STOP") {
        if (m.has_key()) {
            if (m.key() == "EPOCH") epoch = time_of(m, m.value(), frame.scale);
            if (m.key() == "COV_REF_FRAME") cov_frame = m.value();
            continue;
        }
        if (epoch.sys == UKNTS) m.fail("EPOCH is missing before a covariance");
        const Covariance c = read_matrix(m);
        bool used = false;
        for (TimedPosition& row : rows) {
            if (cov_frame != ref_frame || frame.mean_equator || !gtime_equal(row.time, epoch)) continue;
            row.covariance = c;
            used = true;
        }
        unused += !used;
    }
    if (m.line().empty()) m.fail("COVARIANCE_STOP is missing");
}

bool is_object(const Values& values, const std::string& wanted) {
    const auto has = [&](const char* key) { return values.count(key) != 0 && values.at(key) == wanted; };
    return has("OBJECT_NAME") || has("OBJECT_ID");
}

void describe(const Values& values, const Frame& frame, PositionFile& file) {
    file.satellite = values.count("OBJECT_NAME") != 0 ? values.at("OBJECT_NAME") : "";
    file.scale = frame.scale;
    file.scale_name = values.at("TIME_SYSTEM");
    file.inertial = frame.inertial;
    file.frame = values.at("REF_FRAME");
}

}  // namespace

std::string ccsds_kind(const std::string& line) {
    const std::size_t start = line.find_first_not_of(" \t\xef\xbb\xbf");
    if (start == std::string::npos) return "";
    const std::string key = line.substr(start, 14);
    if (key.size() < 14 || key.compare(0, 6, "CCSDS_") != 0 || key.compare(9, 5, "_VERS") != 0) return "";
    return key.substr(6, 3);
}

PositionFile read_oem(const std::string& file, const std::string& object, bool or_any) {
    Message m(file, "OEM");
    PositionFile result;
    result.form = "OEM";
    std::string wanted = object;
    std::map<std::string, long> others;
    long unused = 0;
    while (m.line() != "META_START") {
        if (!m.next()) m.fail("META_START is missing");
    }
    while (m.line() == "META_START") {
        const Values values = read_metadata(m);
        const Frame frame = frame_of(m, values);
        const std::string name = required(m, values, "OBJECT_NAME");
        if (wanted.empty()) wanted = name;
        const bool taken = is_object(values, wanted);
        if (taken && result.rows.empty()) describe(values, frame, result);
        if (taken && frame.inertial != result.inertial) m.fail("its blocks are in different frames");
        std::vector<TimedPosition> rows;
        while (m.next() && m.line() != "META_START") {
            if (m.line() == "COVARIANCE_START") {
                read_covariances(m, frame, values.at("REF_FRAME"), rows, unused);
                continue;
            }
            const std::vector<std::string> fields = m.fields();
            if (fields.size() != 7 && fields.size() != 10) m.fail("a time and a state are expected");
            rows.push_back(state_of(m, frame, time_of(m, fields[0], frame.scale), &fields[1]));
        }
        if (rows.empty()) m.fail("a block holds no state");
        if (taken) result.rows.insert(result.rows.end(), rows.begin(), rows.end());
        if (!taken) ++others[name];
    }
    if (result.rows.empty() && or_any && !object.empty()) return read_oem(file, "");
    if (result.rows.empty()) throw InputError(file + ": this OEM holds nothing of " + wanted);
    for (const auto& [name, count] : others)
        result.notes.push_back(std::to_string(count) + " blocks of " + name + " are left out");
    if (unused > 0)
        result.notes.push_back(std::to_string(unused) + " covariances in other axes or of other times are left out");
    return result;
}

PositionFile read_opm(const std::string& file) {
    Message m(file, "OPM");
    Values values;
    while (m.next()) {
        if (!m.has_key()) m.fail("a keyword and its value are expected");
        std::string value = m.value();
        if (const std::size_t unit = value.find('['); unit != std::string::npos) value = trimmed(value.substr(0, unit));
        values.emplace(m.key(), value);  // manoeuvres behind the state repeat theirs
    }
    const Frame frame = frame_of(m, values);
    std::string fields[6];
    const char* const keys[6] = {"X", "Y", "Z", "X_DOT", "Y_DOT", "Z_DOT"};
    for (int k = 0; k < 6; ++k) fields[k] = required(m, values, keys[k]);
    PositionFile result;
    result.form = "OPM";
    describe(values, frame, result);
    result.rows.push_back(state_of(m, frame, time_of(m, required(m, values, "EPOCH"), frame.scale), fields));
    if (values.count("MAN_EPOCH_IGNITION") != 0) result.notes.emplace_back("manoeuvres are left out");
    return result;
}

}  // namespace host
