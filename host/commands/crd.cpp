// `leopod crd`: laser ranging files in, a summary and tables of their records out.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "commands/command.h"
#include "commands/options.h"
#include "commands/summaries.h"
#include "inputs/crd_lines.h"
#include "inputs/crd_records.h"
#include "inputs/crd_session.h"
#include "shared/console.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/printable.h"
#include "shared/span.h"

namespace host {

namespace {

struct CrdOptions {
    std::vector<std::string> files;
    std::string out;                   ///< directory of the tables; empty: none
    std::vector<std::string> records;  ///< kinds of records that are written; empty: all
    SpanOptions span;
    std::string summary;
    std::string log_level = "critical";
};

constexpr std::size_t kUnknownShown = 8;
constexpr int kEpochDecimals = 12;

/// A number of a header in words.
std::string shown(int value) { return given(value) ? std::to_string(value) : marked(value) ? "?" : "na"; }
template <std::size_t N>
std::string named(const char* const (&names)[N], int value) {
    return value >= 0 && value < static_cast<int>(N) ? names[value] : "type " + shown(value);
}

std::string list_of(const std::map<std::string, long>& counts) {
    std::string text;
    for (const auto& [name, count] : counts) add_part(text, name + " " + std::to_string(count));
    return text.empty() ? "none" : text;
}

/// Tables of the records, one file a kind; none without a directory.
class Tables {
  public:
    explicit Tables(const CrdOptions& o) : directory_(o.out), chosen_(o.records) {
        if (directory_.empty()) return;
        std::error_code error;
        std::filesystem::create_directories(directory_, error);
        if (error) throw InputError(directory_ + ": this directory cannot be made: " + error.message());
    }
    bool wants(const std::string& kind) const {
        return !directory_.empty() &&
               (chosen_.empty() || std::find(chosen_.begin(), chosen_.end(), kind) != chosen_.end());
    }
    bool has(const std::string& kind) const { return tables_.count(kind) != 0; }
    /// Writes a row; the first one of a kind makes its file, with this header.
    void write(const std::string& kind, const std::string& header, const std::string& row) {
        Table& table = tables_[kind];
        if (!table.file) {
            table.file = std::make_unique<OutputFile>((std::filesystem::path(directory_) / (kind + ".csv")).string());
            std::fprintf(*table.file, "%s\n", header.c_str());
        }
        std::fprintf(*table.file, "%s\n", row.c_str());
        ++table.rows;
    }
    void close() {
        std::string written;
        for (auto& [kind, table] : tables_) {
            table.file->close();
            written += " " + kind + ".csv " + std::to_string(table.rows);
        }
        if (!directory_.empty())
            std::printf("tables written to %s, with their rows:%s\n", directory_.c_str(), written.c_str());
    }

  private:
    struct Table {
        std::unique_ptr<OutputFile> file;
        long rows = 0;
    };
    std::string directory_;
    std::vector<std::string> chosen_;
    std::map<std::string, Table> tables_;
};

template <typename Record, typename = void>
constexpr bool has_time = false;
template <typename Record>
constexpr bool has_time<Record, std::void_t<decltype(Record::sec_of_day)>> = true;

class CrdReader {
  public:
    explicit CrdReader(const CrdOptions& options) : span_options_(options.span), tables_(options) {}

    void read(const std::string& file);
    void print() const;
    void summarise(Summary& summary) const;
    void write_tables();
    long data_records() const { return data_records_; }
    static std::vector<std::string> kinds() {
        std::vector<std::string> all{"sessions"};
        for (const auto& [kind, taker] : takers()) all.push_back(kind);
        return all;
    }
    static bool is_kind(const std::string& id) { return takers().count(id) != 0; }

  private:
    using Taker = void (CrdReader::*)(const std::string& id, std::string line);
    static const std::map<std::string, Taker>& takers();

    /// The session that is open; opens the next one.
    Session& session() {
        if (!open_) {
            sessions_.push_back(next_);
            sessions_.back().line = line_;
            open_ = true;
        }
        return sessions_.back();
    }
    std::size_t session_number() const { return sessions_.size() + (open_ ? 0 : 1); }

    // What a header record means for the sessions: H2 and H3 hold for all that follow, H4 opens one.
    void note(const rh1& r) {
        open_ = false;
        next_ = session_behind(r, file_);
        supported_ = is_supported(r);
    }
    void note(const rh2& r) {
        open_ = false;
        next_.station = r;
    }
    void note(const rh3& r) {
        open_ = false;
        next_.target = r;
    }
    void note(const rh4& r) {
        if (open_ && sessions_.back().header) open_ = false;
        session().set_header(r);
    }
    template <typename Record>
    void note(const Record&) {}

    template <auto read, typename Record>
    void take(const std::string& id, std::string line);
    bool is_outside(const Session& session, const std::optional<Epoch>& epoch);

    SpanOptions span_options_;
    std::optional<ArcSpan> span_;  ///< from the first dated record on, whose session has the first day
    Tables tables_;
    std::vector<Session> sessions_;
    Session next_;  ///< what the session to come has of its file, station and target
    bool open_ = false;
    bool supported_ = false;  ///< behind an H1 of version 1 or 2
    std::string file_;
    long line_ = 0;
    std::size_t files_ = 0;
    long lines_ = 0, data_records_ = 0, failed_ = 0, undated_ = 0, by_tokens_ = 0, outside_ = 0;
    long blank_ = 0, user_ = 0, unsupported_ = 0;
    std::map<std::string, long> records_, unknown_;
};

/// True for a record that the span leaves out: dated, and outside of it.
bool CrdReader::is_outside(const Session& session, const std::optional<Epoch>& epoch) {
    if (!epoch || !span_options_.given()) return false;
    const auto utc = [](const Epoch& e) { return GTime{{e.mjd, static_cast<double>(e.sec_of_day)}, tsUTC}; };
    if (!span_) span_.emplace(span_options_, utc(session.start.value_or(*epoch)), tsUTC);
    return !span_->has(utc(*epoch));
}

/// Reads one record and counts, dates and writes it.
template <auto read, typename Record>
void CrdReader::take(const std::string& id, std::string line) {
    bool by_tokens = false;
    Record r = read_crd_record<read, Record>(id, std::move(line), by_tokens);
    by_tokens_ += by_tokens;
    note(r);
    std::optional<Epoch> epoch;
    if constexpr (has_time<Record>) {
        Session& s = session();
        if (given(r.sec_of_day)) epoch = s.date(id, r.sec_of_day);
        if (is_outside(s, epoch)) {
            ++outside_;
            return;
        }
    }

    std::string names;
    std::string values;
    long failed = 0;
    const bool wanted = tables_.wants(id);
    const bool first = wanted && !tables_.has(id);
    fields(r, [&](const char* name, auto& value, int of_version) {
        const bool is_read = of_version == 0 || of_version == format_version || id == "41";
        failed += is_read && marked(value);
        if (first) names += std::string(",") + name;
        if (wanted) values += "," + csv_text(value);
    });
    failed_ += failed;
    ++records_[id];
    const bool is_data = id[0] >= '1' && id[0] <= '6';
    std::string lead = "session,line";
    std::string place;
    if (is_data || id[0] == 'C' || id == "H4" || id == "H5") {
        Session& s = session();
        ++s.records[id];
        s.failed += failed;
        if (is_data) {
            ++data_records_;
            lead += ",station,pad_id,target,ilrs_id";
            if (wanted)
                place = "," + csv_text(s.station.stn_name) + "," + csv_text(s.station.cdp_pad_id) + "," +
                        csv_text(s.target.target_name) + "," + csv_text(s.target.ilrs_id);
        }
        if constexpr (has_time<Record>) {
            const bool is_range = id == "10" || id == "11";
            s.ranges += is_range;
            s.undated += !epoch;
            undated_ += !epoch;
            if (epoch && is_range && (!s.first || *epoch < *s.first)) s.first = epoch;
            if (epoch && is_range && (!s.last || *s.last < *epoch)) s.last = epoch;
            lead += ",epoch_utc,mjd_utc";
            if (wanted)
                place += epoch ? "," + epoch_text(*epoch, kEpochDecimals) + "," + std::to_string(epoch->mjd) : ",,";
        }
    }
    if (wanted)
        tables_.write(id, lead + names + ",failed_fields",
                      std::to_string(session_number()) + "," + std::to_string(line_) + place + values + "," +
                          std::to_string(failed));
}

const std::map<std::string, CrdReader::Taker>& CrdReader::takers() {
    static const std::map<std::string, Taker> all = {
        {"H1", &CrdReader::take<read_h1, rh1>},  {"H2", &CrdReader::take<read_h2, rh2>},
        {"H3", &CrdReader::take<read_h3, rh3>},  {"H4", &CrdReader::take<read_h4, rh4>},
        {"H5", &CrdReader::take<read_h5, rh5>},  {"C0", &CrdReader::take<read_c0, rc0>},
        {"C1", &CrdReader::take<read_c1, rc1>},  {"C2", &CrdReader::take<read_c2, rc2>},
        {"C3", &CrdReader::take<read_c3, rc3>},  {"C4", &CrdReader::take<read_c4, rc4>},
        {"C5", &CrdReader::take<read_c5, rc5>},  {"C6", &CrdReader::take<read_c6, rc6>},
        {"C7", &CrdReader::take<read_c7, rc7>},  {"10", &CrdReader::take<read_10, rd10>},
        {"11", &CrdReader::take<read_11, rd11>}, {"12", &CrdReader::take<read_12, rd12>},
        {"20", &CrdReader::take<read_20, rd20>}, {"21", &CrdReader::take<read_21, rd21>},
        {"30", &CrdReader::take<read_30, rd30>}, {"40", &CrdReader::take<read_40, rd40>},
        {"41", &CrdReader::take<read_41, rd40>}, {"42", &CrdReader::take<read_42, rd42>},
        {"50", &CrdReader::take<read_50, rd50>}, {"60", &CrdReader::take<read_60, rd60>},
        {"00", &CrdReader::take<read_00, rd00>}};
    return all;
}

void CrdReader::read(const std::string& file) {
    std::ifstream in = open_crd(file);
    file_ = file;
    ++files_;
    line_ = 0;
    open_ = false;
    supported_ = false;
    format_version = 0;
    std::string raw;
    while (std::getline(in, raw)) {
        ++line_;
        ++lines_;
        const std::string line = cleaned_crd(raw);
        if (line.empty()) {
            ++blank_;
            continue;
        }
        const std::string id = crd_identifier(line);
        const auto taker = takers().find(id);
        if (id == "H1" || id == "00") {
            (this->*taker->second)(id, line);
            if (id == "H1" && !supported_)
                std::fprintf(stderr, "leopod: %s: line %ld is not of version 1 or 2: left out up to the next H1\n",
                             file.c_str(), line_);
        } else if (!supported_) {
            ++unsupported_;
        } else if (taker != takers().end()) {
            (this->*taker->second)(id, line);
        } else if (id == "H8" || id == "H9") {
            ++records_[id];
            open_ = false;
        } else if (id.size() == 2 && id[0] == '9' && id[1] >= '0' && id[1] <= '9') {
            ++user_;
        } else {
            std::string shown_id = printable(id.substr(0, 10));
            if (unknown_.count(shown_id) == 0 && unknown_.size() >= kUnknownShown) shown_id = "others";
            ++unknown_[shown_id];
        }
    }
}

void print_session(std::size_t number, const Session& s) {
    static const char* const data_types[] = {"full rate", "normal points", "sampled engineering"};
    static const char* const range_types[] = {"no ranges", "one-way", "two-way", "received times alone",
                                              "mixed ranges"};
    const rh2& station = s.station;
    const rh3& target = s.target;
    const std::string network = station.stn_network[0] != '\0' ? ", " + printable(station.stn_network) : "";
    std::printf("  session %zu: %s %s, system %s, occupancy %s%s, time scale %s\n", number,
                printable(station.stn_name).c_str(), shown(station.cdp_pad_id).c_str(),
                shown(station.cdp_sys_num).c_str(), shown(station.cdp_occ_num).c_str(), network.c_str(),
                shown(station.stn_timescale).c_str());
    std::printf("    target: %s, ILRS %s, SIC %s, NORAD %s\n", printable(target.target_name).c_str(),
                shown(target.ilrs_id).c_str(), shown(target.sic).c_str(), shown(target.norad).c_str());
    if (s.header) {
        std::printf("    %s, %s, %s to %s (UTC), release %s\n", named(data_types, s.header->data_type).c_str(),
                    named(range_types, s.header->range_type_ind).c_str(),
                    s.start ? epoch_text(*s.start, 0).c_str() : "unknown",
                    s.end ? epoch_text(*s.end, 0).c_str() : "unknown", shown(s.header->data_release).c_str());
    } else {
        std::printf("    without H4: its records have no date\n");
    }
    std::printf("    ranges: %ld", s.ranges);
    if (s.first) std::printf(", %s to %s (UTC)", epoch_text(*s.first, 6).c_str(), epoch_text(*s.last, 6).c_str());
    std::printf("\n    records: %s\n", list_of(s.records).c_str());
    if (s.failed != 0) std::printf("    failed fields: %ld\n", s.failed);
    if (s.undated != 0) std::printf("    records without a date: %ld\n", s.undated);
}

void CrdReader::print() const {
    std::printf("leopod crd: files %zu, sessions %zu, lines %ld\n", files_, sessions_.size(), lines_);
    for (std::size_t i = 0; i < sessions_.size(); ++i) {
        if (i == 0 || sessions_[i].file != sessions_[i - 1].file)
            std::printf("%s: version %d\n", sessions_[i].file.c_str(), sessions_[i].version);
        print_session(i + 1, sessions_[i]);
    }
    std::printf("records: %s\n", list_of(records_).c_str());
    std::printf("failed fields: %ld\n", failed_);
    std::printf("records without a date: %ld\n", undated_);
    if (span_options_.given()) std::printf("records outside the span: %ld\n", outside_);
    if (by_tokens_ != 0) std::printf("lines of version 1 read by tokens: %ld\n", by_tokens_);
    std::printf("passed over: blank lines %ld, user-defined records %ld, unknown records %s\n", blank_, user_,
                list_of(unknown_).c_str());
    if (unsupported_ != 0) std::printf("lines outside versions 1 and 2: %ld\n", unsupported_);
}

void CrdReader::summarise(Summary& summary) const {
    summary.set("time_scale", "UTC");
    for (std::size_t i = 0; i < sessions_.size(); ++i) {
        const Session& s = sessions_[i];
        const std::string path = "sessions/" + std::to_string(i);
        summary.set(path + "/file", s.file);
        summary.set(path + "/version", s.version);
        summary.set(path + "/station", s.station.stn_name);
        summary.set(path + "/pad_id", shown(s.station.cdp_pad_id));
        summary.set(path + "/station_time_scale", shown(s.station.stn_timescale));
        summary.set(path + "/target", s.target.target_name);
        summary.set(path + "/ilrs_id", shown(s.target.ilrs_id));
        if (s.start) summary.set(path + "/start_utc", epoch_text(*s.start, 0));
        if (s.end) summary.set(path + "/end_utc", epoch_text(*s.end, 0));
        summary.set(path + "/ranges", s.ranges);
        if (s.first) summary.set(path + "/first_range_utc", epoch_text(*s.first, 6));
        if (s.last) summary.set(path + "/last_range_utc", epoch_text(*s.last, 6));
        summary.set(path + "/records", s.records);
        summary.set(path + "/failed_fields", s.failed);
        summary.set(path + "/undated_records", s.undated);
    }
    summary.set("files", files_);
    summary.set("lines/read", lines_);
    summary.set("lines/blank", blank_);
    summary.set("lines/by_tokens", by_tokens_);
    summary.set("lines/outside_versions", unsupported_);
    summary.set("records/counts", records_);
    summary.set("records/unknown", unknown_);
    summary.set("records/user_defined", user_);
    summary.set("records/data", data_records_);
    summary.set("records/undated", undated_);
    if (span_options_.given()) summary.set("records/outside_span", outside_);
    summary.set("records/failed_fields", failed_);
}

void CrdReader::write_tables() {
    for (std::size_t i = 0; i < sessions_.size() && tables_.wants("sessions"); ++i) {
        const Session& s = sessions_[i];
        const auto text = [](const std::optional<Epoch>& epoch, int decimals) {
            return epoch ? epoch_text(*epoch, decimals) : std::string();
        };
        tables_.write(
            "sessions",
            "session,file,line,version,station,pad_id,target,ilrs_id,sic,norad,data_type,start_utc,end_utc,ranges,"
            "first_range_utc,last_range_utc,failed_fields",
            std::to_string(i + 1) + "," + csv_text(s.file) + "," + std::to_string(s.line) + "," +
                std::to_string(s.version) + "," + csv_text(s.station.stn_name) + "," + csv_text(s.station.cdp_pad_id) +
                "," + csv_text(s.target.target_name) + "," + csv_text(s.target.ilrs_id) + "," + csv_text(s.target.sic) +
                "," + csv_text(s.target.norad) + "," + (s.header ? csv_text(s.header->data_type) : "") + "," +
                text(s.start, 0) + "," + text(s.end, 0) + "," + std::to_string(s.ranges) + "," +
                text(s.first, kEpochDecimals) + "," + text(s.last, kEpochDecimals) + "," + std::to_string(s.failed));
    }
    tables_.close();
}

/// The tables of all kinds are its outputs, as far as they are asked for.
FilePlan check_files(const CrdOptions& o) {
    FilePlan plan;
    plan.in("files", o.files);
    if (is_standard_output(o.out)) throw InputError("--out " + o.out + ": a directory is expected");
    for (const std::string& kind : o.out.empty() ? std::vector<std::string>{} : CrdReader::kinds()) {
        if (o.records.empty() || std::find(o.records.begin(), o.records.end(), kind) != o.records.end())
            plan.out("--out", (std::filesystem::path(o.out) / (kind + ".csv")).string());
    }
    plan.out("--summary", o.summary).check();
    return plan;
}

/// Reads the files and returns the exit status: 0, or 1 where they hold no data record. Throws InputError.
int crd(const CrdOptions& given_options) {
    CrdOptions options = given_options;
    Console console(options.log_level);
    for (std::string& kind : options.records) {
        kind = crd_upper(kind);
        if (!CrdReader::is_kind(kind))
            throw InputError("--records " + kind +
                             ": an identifier that is read is expected, such as 10, 11, C0, H4 or 00");
    }
    if (!options.records.empty() && options.out.empty())
        throw InputError("--records: a directory is expected as well (--out)");
    if (!options.records.empty()) options.records.emplace_back("sessions");
    const FilePlan plan = check_files(options);
    for (const std::string& file : options.files) open_crd(file);  // nothing is written where one of them can't be used
    CrdReader reader(options);
    {
        Progress progress("reading laser ranging files", static_cast<double>(options.files.size()));
        for (std::size_t i = 0; i < options.files.size(); ++i) {
            progress.done(static_cast<double>(i));
            reader.read(options.files[i]);
        }
    }
    reader.print();
    reader.write_tables();
    const int status = reader.data_records() > 0 ? 0 : 1;
    Summary summary = begin_summary("crd", options.summary, plan);
    reader.summarise(summary);
    summary.write(status);
    return status;
}

}  // namespace

void add_crd(Command app, Action& action) {
    auto o = std::make_shared<CrdOptions>();
    Command command = app.add_subcommand("crd", "Laser ranging files in, a summary and tables of their records out");
    command.add_option("files", o->files, "CRD files, version 1 or 2").required();
    add_span(command, o->span);
    add_summary(command, o->summary);
    command.add_option("--out", o->out, "directory for the records as CSV, one file a kind, and the list of sessions");
    command.add_option("--records", o->records, "kinds of records to write, such as 10,11,20; all without it")
        .delimiter(',');
    add_log_level(command, o->log_level);
    command.callback([o, &action] { action = [o] { return crd(*o); }; });
}

}  // namespace host
