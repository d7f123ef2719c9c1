#include "commands/summaries.h"

#include <cstdio>

#include "inputs/open.h"

namespace host {

namespace {

std::string place(const std::string& list, std::size_t index) { return list + "/" + std::to_string(index); }

}  // namespace

void add_summary(Command command, std::string& file) {
    command.add_option("--summary", file, "JSON of the summary, with settings and digests of the inputs");
}

Summary begin_summary(const std::string& command, const std::string& file, const FilePlan& plan) {
    std::vector<Summary::Input> inputs;
    for (const auto& [option, name] : plan.inputs()) {
        if (file.empty()) break;
        const InputFile& input = InputFile::of(name);
        inputs.push_back({option, name, input.form(), input.size(), input.digest()});
    }
    Summary summary(command, file, std::move(inputs), CommandLine::settings());
    summary.set("command_line", CommandLine::text());
    return summary;
}

void summarise_messages(const MessageCounts& messages, const std::vector<Routine>& routine, Summary& summary) {
    const long errors = messages.count_from(ULOG_ERROR_LEVEL);
    summary.set("messages/warnings", messages.count_from(ULOG_WARNING_LEVEL) - errors);
    summary.set("messages/errors", errors);
    const SortedMessages sorted = messages.sorted(routine);
    summary.set("messages/that_can_touch_results", sorted.others_count);
    for (std::size_t i = 0; i < sorted.others.size(); ++i) {
        summary.set(place("messages/others", i) + "/count", sorted.others[i].count);
        summary.set(place("messages/others", i) + "/first", sorted.others[i].first);
    }
    summary.set("messages/routine", sorted.routine);
}

void print_files(const Environment& environment) {
    for (const FileReport& file : environment.files)
        std::printf("  %-18s %s: %s\n", file.kind.c_str(), file.name.c_str(), file.content.c_str());
}

void summarise_environment(const Environment& environment, const GTime& epoch, Summary& summary) {
    for (std::size_t i = 0; i < environment.files.size(); ++i) {
        const FileReport& file = environment.files[i];
        summary.set(place("files", i) + "/kind", file.kind);
        summary.set(place("files", i) + "/file", file.name);
        summary.set(place("files", i) + "/content", file.content);
    }
    summary.set("impossible_values_set_aside", environment.impossible);
    if (!environment.eop_source.empty()) summary.set("earth_orientation", environment.eop_source);
    if (!environment.planet_source.empty()) summary.set("planets", environment.planet_source);
    const double mjd = gtime2mjd(gtimeChangeTimeSystem(epoch, tsUTC));
    if (mjd >= 41317.0) summary.set("tai_minus_utc_s", getLeapSecond(mjd));
}

void summarise_dynamics(const Dynamics& dynamics, Summary& summary) {
    const ORBIT_DYN_CONFIG& config = *dynamics.config;
    static const char* const names[] = {"unknown", "earth gravity", "third bodies",    "relativity",
                                        "unknown", "unknown",       "solar radiation", "earth radiation",
                                        "drag",    "ECOM",          "empirical"};
    for (int i = 0; i < config.num_force_models; ++i) {
        const int fm = config.force_model_used[i];
        summary.set(place("forces", static_cast<std::size_t>(i)), names[fm > 0 && fm <= FM_EMP ? fm : 0]);
        if (fm == FM_EarthGravity) summary.set("gravity/degree", config.norder_gravity);
        if (fm == FM_ThirdBody) summary.set("third_bodies", config.num_planets);
    }
    summary.set("gravity/source", dynamics.gravity_source);
    summary.set("integration/step_s", config.step_size);
    summary.set("integration/output_interval_s", config.output_interval);
}

void summarise_errors(const std::string& path, const ErrorStatistics& s, bool at_rest, Summary& summary) {
    static const char* const axes[2][3] = {{"radial", "along", "cross"}, {"east", "north", "up"}};
    summary.set(path + "/epochs", s.count);
    if (s.count == 0) return;
    summary.set(path + "/median_m", s.median);
    summary.set(path + "/rms_m", s.rms);
    summary.set(path + "/percentile_95_m", s.p95);
    summary.set(path + "/largest_m", s.largest);
    for (std::size_t k = 0; k < 3; ++k) {
        const std::string axis = path + "/" + axes[at_rest][k];
        summary.set(axis + "_mean_m", s.mean[k]);
        summary.set(axis + "_deviation_m", s.deviation[k]);
    }
}

void summarise_laser(const LaserResult& result, Summary& summary) {
    summary.set("laser/points", result.count);
    if (result.count == 0) return;
    summary.set("laser/mean_m", result.mean());
    summary.set("laser/rms_m", result.rms());
}

}  // namespace host
