#include "stores/observation_stream.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "inputs/csv.h"
#include "shared/error.h"
#include "shared/names.h"
#include "shared/times.h"
#include "stores/observables.h"

namespace host {

namespace {

constexpr std::size_t kMostRecords = MAXOBS_PER_SAT;
constexpr std::size_t kLabelColumn = 60;

/// Columns of one system of a file that the library gets.
struct Columns {
    std::vector<std::size_t> kept;  ///< places of the types in the file, in its order
    std::uint64_t configured = 0;   ///< mask of the configured observables; all bits where the file lacks one
};

/// The configured observables, then ranges, then what comes, ten in all and in the order of the file: the first range gives the time of
/// transmission.
Columns choose_columns(sysGNSS system, const std::vector<std::string>& types) {
    Columns columns;
    const int index = get_gnssconfig_sys_index(system, &gnssconfig);
    std::vector<bool> keep(types.size(), false);
    std::size_t count = 0;
    const auto take = [&](std::size_t k) {
        if (keep[k] || count >= kMostRecords) return;
        keep[k] = true;
        ++count;
    };
    for (const std::string& code : configured_codes(index)) {
        const std::size_t at = static_cast<std::size_t>(std::find(types.begin(), types.end(), code) - types.begin());
        if (at < types.size()) take(at);
        columns.configured |= at < types.size() ? std::uint64_t{1} << at : ~std::uint64_t{0};
    }
    for (std::size_t k = 0; k < types.size(); ++k) {
        if (!types[k].empty() && types[k][0] == 'C') take(k);
    }
    for (std::size_t k = 0; k < types.size(); ++k) {
        if (!types[k].empty()) take(k);
    }
    for (std::size_t k = 0; k < types.size(); ++k) {
        if (keep[k]) columns.kept.push_back(k);
    }
    return columns;
}

int system_index(char letter) { return letter == 'G' ? 0 : letter == 'C' ? 1 : -1; }

/// False for a satellite of which no ephemeris is loaded.
bool has_ephemerides(const ObservedSatellite& satellite) {
    const sysGNSS system = satellite.system == 'G' ? GPS : BDS;
    if (g_eph_selection == EPHOPT_PREC) {
        const int index = satsysprn2index(system, satellite.prn);
        return index >= 0 && index < MAXSAT_GNSS && g_prec_storage->idx_eph[index] > 0;
    }
    const auto any = [&satellite](const auto& rows) {
        const std::size_t row = static_cast<std::size_t>(satellite.prn) - 1;
        return row < std::size(rows) &&
               std::any_of(std::begin(rows[row]), std::end(rows[row]), [](const auto& record) { return record.ok; });
    };
    return system == GPS ? any(g_brdc_storage->eph_brdc_gps_all) : any(g_brdc_storage->eph_brdc_bds_all);
}

void append_number(std::string& text, std::size_t value, std::size_t width) {
    std::string digits = std::to_string(value);
    text.append(width > digits.size() ? width - digits.size() : 0, ' ');
    text += digits;
}

}  // namespace

/// A file at its next epoch.
class ObservationStream::Source {
  public:
    explicit Source(const ObservationScan& scan) : name_(scan.name), in_order_(scan.in_order), reader_(scan.name) {
        for (const sysGNSS system : {GPS, BDS}) {
            const auto types = scan.types.find(letter_of(system));
            if (get_gnssconfig_sys_index(system, &gnssconfig) < 0) continue;
            if (types == scan.types.end() || scan.sets.count(letter_of(system)) == 0) continue;
            const auto at = static_cast<std::size_t>(system_index(letter_of(system)));
            types_[at] = types->second;
            columns_[at] = choose_columns(system, types->second);
        }
        if (!in_order_) sort();
        at_end_ = !advance();
    }

    bool at_end() const { return at_end_; }
    const std::string& name() const { return name_; }
    const ObservedEpoch& epoch() const { return epoch_; }
    bool takes(const ObservedSatellite& satellite) const {
        const int system = system_index(satellite.system);
        return system >= 0 && !columns_[static_cast<std::size_t>(system)].kept.empty();
    }
    /// Satellites of the epoch whose system is taken.
    std::size_t count() const {
        const auto end = epoch_.satellites.begin() + static_cast<long>(epoch_.count);
        return static_cast<std::size_t>(
            std::count_if(epoch_.satellites.begin(), end, [this](const auto& s) { return takes(s); }));
    }
    /// Range of a satellite by its code, 0 where there is none [m].
    double range(const ObservedSatellite& satellite, const std::string& code) const {
        const std::vector<std::string>& types = types_[static_cast<std::size_t>(system_index(satellite.system))];
        const auto at = static_cast<std::size_t>(std::find(types.begin(), types.end(), code) - types.begin());
        double value = 0.0;
        if (at >= types.size()) return value;
        std::string_view text = satellite.field(at).substr(0, 14);
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
        return parse_number(text, value) ? value : 0.0;
    }
    const std::vector<std::string>& types(std::size_t system) const { return types_[system]; }
    const Columns& columns(std::size_t system) const { return columns_[system]; }
    /// Goes to the next epoch; false at the end.
    bool advance() {
        if (in_order_) {
            at_end_ = !reader_.next(epoch_);
        } else {
            at_end_ = place_ >= sorted_.size();
            if (!at_end_) epoch_ = std::move(sorted_[place_++]);
        }
        return !at_end_;
    }

  private:
    /// A file whose times go back is held as a whole.
    void sort() {
        ObservedEpoch epoch;
        while (reader_.next(epoch)) {
            epoch.satellites.resize(epoch.count);
            sorted_.push_back(epoch);
        }
        std::stable_sort(sorted_.begin(), sorted_.end(),
                         [](const ObservedEpoch& a, const ObservedEpoch& b) { return gtime_less(a.time, b.time); });
    }

    std::string name_;
    bool in_order_;
    ObservationReader reader_;
    std::array<std::vector<std::string>, 2> types_;
    std::array<Columns, 2> columns_;
    std::vector<ObservedEpoch> sorted_;
    std::size_t place_ = 0;
    ObservedEpoch epoch_;
    bool at_end_ = false;
};

ObservationStream::ObservationStream(std::vector<ObservationScan> scans, const StreamOptions& options)
    : options_(options),
      scans_(std::move(scans)),
      store_(make_zeroed<OBSDATA_EPOCH>(kWindow + 2)),
      descriptor_(memfd_create("observations", MFD_CLOEXEC)) {
    if (descriptor_ < 0) throw InputError(std::string("observations: no memory: ") + std::strerror(errno));
    std::stable_sort(scans_.begin(), scans_.end(), [](const ObservationScan& a, const ObservationScan& b) {
        return a.epochs > 0 && (b.epochs == 0 || gtime_less(a.span.first, b.span.first));
    });
    while (!scans_.empty() && scans_.back().epochs == 0) scans_.pop_back();
    if (!scans_.empty()) days_ = ArcSpan({}, scans_.front().span.first, tsGPST);
    g_obs_storage = store_.get();
    g_num_obs_storage = 0;
    if (!scans_.empty()) show_path_as(path(), scans_.front().name + (scans_.size() > 1 ? ", ..." : ""));
}

std::string ObservationStream::path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

ObservationStream::~ObservationStream() {
    g_obs_storage = nullptr;
    g_num_obs_storage = 0;
    close(descriptor_);
}

/// Epochs of the same time have to be those of one receiver: satellites in common, with the same ranges.
void ObservationStream::check_same_receiver(const Source& a, const Source& b) {
    constexpr double kSame = 0.01;  ///< [m]
    const std::string at = " at " + time_text(a.epoch().time, 3);
    const std::string advice = ": files of two receivers, or of one in two parts? Give those of one, or join them";
    bool common = a.count() == 0 || b.count() == 0;
    for (std::size_t i = 0; i < a.epoch().count; ++i) {
        const ObservedSatellite& s = a.epoch().satellites[i];
        if (!a.takes(s)) continue;
        for (std::size_t j = 0; j < b.epoch().count; ++j) {
            const ObservedSatellite& t = b.epoch().satellites[j];
            if (s.system != t.system || s.prn != t.prn || !b.takes(t)) continue;
            common = true;
            for (const std::string& code : a.types(static_cast<std::size_t>(system_index(s.system)))) {
                if (code.empty() || code[0] != 'C') continue;
                const double one = a.range(s, code), two = b.range(t, code);
                if (one == 0.0 || two == 0.0 || std::fabs(one - two) <= kSame) continue;
                char text[96];
                std::snprintf(text, sizeof text, ": %s of %c%02d is %.3f m and %.3f m", code.c_str(), s.system, s.prn,
                              one, two);
                throw InputError(a.name() + " and " + b.name() + text + at + advice);
            }
        }
    }
    if (!common) throw InputError(a.name() + " and " + b.name() + ": no satellite in common" + at + advice);
}

/// The open file with the earliest epoch; files are opened when their time comes. Null at the end.
ObservationStream::Source* ObservationStream::earliest() {
    const auto find = [this] {
        Source* first = nullptr;
        for (const auto& source : open_) {
            if (first == nullptr || gtime_less(source->epoch().time, first->epoch().time) ||
                (gtime_equal(source->epoch().time, first->epoch().time) && source->count() > first->count())) {
                first = source.get();
            }
        }
        return first;
    };
    Source* first = find();
    while (next_scan_ < scans_.size() &&
           (first == nullptr || !gtime_greater(scans_[next_scan_].span.first, first->epoch().time))) {
        auto source = std::make_unique<Source>(scans_[next_scan_++]);
        if (!source->at_end()) open_.push_back(std::move(source));
        first = find();
    }
    return first;
}

bool ObservationStream::next_window() {
    // The types of a window are those of one file: another one starts a window of its own.
    std::string text;
    const Source* source_of_header = nullptr;
    std::size_t epochs = 0;
    while (epochs < kWindow) {
        Source* source = earliest();
        if (source == nullptr) break;
        const GTime time = source->epoch().time;
        if (options_.span && options_.span->over(time)) break;
        const bool twice = last_.sys != UKNTS && gtime_equal(time, last_);
        const bool wanted = on_grid(days_.seconds(time), options_.interval);
        repeated_ += wanted && twice;
        if (wanted && !twice && (!options_.span || options_.span->within(time))) {
            if (source_of_header != nullptr && source != source_of_header) break;
            source_of_header = source;
            for (const auto& other : open_) {
                if (other.get() != source && gtime_equal(other->epoch().time, time))
                    check_same_receiver(*source, *other);
            }
            append(*source, text);
            last_ = time;
            ++epochs;
        }
        if (!source->advance()) {
            open_.erase(
                std::find_if(open_.begin(), open_.end(), [source](const auto& s) { return s.get() == source; }));
            if (source == source_of_header) break;
        }
    }
    if (epochs == 0) return false;
    load(text);
    return true;
}

/// One epoch as text of version 3, behind the header where it is the first.
void ObservationStream::append(const Source& source, std::string& text) {
    if (text.empty()) {
        text = "     3.05           OBSERVATION DATA    M                   RINEX VERSION / TYPE\n";
        for (std::size_t k = 0; k < 2; ++k) {
            const std::vector<std::size_t>& kept = source.columns(k).kept;
            if (kept.empty()) continue;
            std::string line(1, "GC"[k]);
            append_number(line, kept.size(), 5);
            for (const std::size_t type : kept) line += " " + source.types(k)[type];
            line.resize(kLabelColumn, ' ');
            text += line + "SYS / # / OBS TYPES\n";
        }
        text += std::string(kLabelColumn, ' ') + "END OF HEADER\n";
    }
    const ObservedEpoch& epoch = source.epoch();
    // Whom to keep, the most useful first: all configured observables, ephemerides, and in the last epoch too; all of these; the others.
    std::vector<std::pair<int, std::size_t>> order;
    for (std::size_t i = 0; i < epoch.count; ++i) {
        const ObservedSatellite& satellite = epoch.satellites[i];
        const int system = system_index(satellite.system);
        if (system < 0 || source.columns(static_cast<std::size_t>(system)).kept.empty()) continue;
        const auto k = static_cast<std::size_t>(system);
        const std::uint64_t configured = source.columns(k).configured;
        const bool complete =
            (satellite.mask(source.types(k).size()) & configured) == configured && has_ephemerides(satellite);
        const bool goes_on = satellite.prn < 64 && (before_[k] >> satellite.prn & 1U) != 0;
        order.emplace_back(complete ? goes_on ? 0 : 1 : 2, i);
    }
    const std::size_t count = std::min<std::size_t>(order.size(), MAXSAT_EPOCH);
    std::stable_sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    satellites_dropped_ += std::count_if(order.begin() + static_cast<long>(count), order.end(),
                                         [](const auto& entry) { return entry.first < 2; });
    order.resize(count);
    std::sort(order.begin(), order.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    text += "> " + epoch.date + "  0";
    append_number(text, count, 3);
    text += '\n';
    std::fill(std::begin(before_), std::end(before_), 0);
    for (const auto& [rank, i] : order) {
        const ObservedSatellite& satellite = epoch.satellites[i];
        const auto k = static_cast<std::size_t>(system_index(satellite.system));
        if (rank < 2 && satellite.prn < 64) before_[k] |= std::uint64_t{1} << satellite.prn;
        text += satellite.system;
        text += static_cast<char>('0' + satellite.prn / 10 % 10);
        text += static_cast<char>('0' + satellite.prn % 10);
        for (const std::size_t type : source.columns(k).kept) {
            const std::string_view field = satellite.field(type);
            text += field;
            text.append(kFieldWidth - field.size(), ' ');
        }
        text += '\n';
    }
}

void ObservationStream::load(const std::string& text) {
    std::size_t done = 0;
    if (ftruncate(descriptor_, 0) != 0 || lseek(descriptor_, 0, SEEK_SET) != 0)
        throw InputError(std::string("observations: ") + std::strerror(errno));
    while (done < text.size()) {
        const ssize_t n = write(descriptor_, text.data() + done, text.size() - done);
        if (n <= 0) throw InputError(std::string("observations: no memory: ") + std::strerror(errno));
        done += static_cast<std::size_t>(n);
    }
    std::string name = path();
    g_num_obs_storage = 0;
    g_obs_storage[0].epoch_time.sys = UKNTS;
    if (!load_observation_rinex(name.data(), options_.receiver, 0.0))
        throw InputError("observations: could not be handed to the library");
    // An empty load leaves a count of one record that is none.
    const auto stale = [](const OBSDATA_EPOCH& e) { return e.epoch_time.sys == UKNTS; };
    OBSDATA_EPOCH* end = std::remove_if(g_obs_storage, g_obs_storage + g_num_obs_storage, stale);
    g_num_obs_storage = static_cast<int>(end - g_obs_storage);
    for (int i = 0; i < g_num_obs_storage; ++i) {
        for (OBSDATA_SAT& satellite : g_obs_storage[i].satobs) {
            for (OBSREC& record : satellite.obsdata) {
                if (record.type == RANGE && record.sigma > 0.0) record.sigma = options_.sigma_code;
                if (record.type == PHASE && record.sigma > 0.0) record.sigma = options_.sigma_phase;
            }
        }
    }
}

}  // namespace host
