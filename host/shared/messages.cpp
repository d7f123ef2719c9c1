#include "shared/messages.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "shared/printable.h"

namespace host {

bool read_filter_residuals(ulog_level_t level, const char* text, std::vector<double>& residuals) {
    static const char head[] = "residual[iter=";
    if (level != ULOG_DEBUG_LEVEL || std::strncmp(text, head, sizeof head - 1) != 0) return false;
    residuals.clear();
    const char* p = std::strchr(text, '\n');
    for (char* end = nullptr; p != nullptr; p = end) {
        const double value = std::strtod(p, &end);
        if (end == p) break;
        residuals.push_back(value);
    }
    return true;
}

bool read_fit(const char* text, FitMessage& m) {
    if (std::strcmp(text, "start orbit integration.") == 0) {
        m.kind = FitMessage::kStart;
    } else if (std::strncmp(text, "solve_lsq_normal_equation error", 31) == 0) {
        m.kind = FitMessage::kNoSolution;
    } else if (std::sscanf(text, "iteration number: %d", &m.number) == 1) {
        m.kind = FitMessage::kIteration;
    } else if (std::sscanf(text, "fit RMS[ARC] = %lf %lf %lf", &m.rms[0], &m.rms[1], &m.rms[2]) == 3) {
        m.kind = FitMessage::kRms;
    } else if (std::sscanf(text, "test_convergence[loss function]=%lf", &m.test) == 1) {
        m.kind = FitMessage::kTest;
    } else {
        return false;
    }
    return true;
}

bool is_nameless_set(const char* text) { return std::strncmp(text, "no tle data", 11) == 0; }

std::string folded(const char* text) {
    const auto digit = [](char c) { return c >= '0' && c <= '9'; };
    std::string result;
    for (const char* p = text; *p != '\0' && *p != '\n';) {
        if (digit(*p) || ((*p == '-' || *p == '+') && digit(p[1]))) {
            ++p;
            while (digit(*p) || (*p == '.' && digit(p[1]))) ++p;
            result += '#';
        } else {
            result += *p++;
        }
    }
    return result;
}

void MessageCounts::add(ulog_level_t level, const char* text) {
    std::string key = folded(text);
    if (groups_.size() >= kMostTexts && groups_.count(key) == 0) key = "(other texts)";
    Group& group = groups_[key];
    if (group.count++ == 0) group.first = text;
    group.level = std::max(group.level, level);
}

long MessageCounts::count_from(ulog_level_t level) const {
    long sum = 0;
    for (const auto& [text, group] : groups_) sum += group.level >= level ? group.count : 0;
    return sum;
}

SortedMessages MessageCounts::sorted(const std::vector<Routine>& routine) const {
    SortedMessages sorted;
    for (const auto& [text, group] : groups_) {
        const auto known = std::find_if(routine.begin(), routine.end(), [&text = text](const Routine& r) {
            return text.compare(0, std::strlen(r.text), r.text) == 0;
        });
        if (known != routine.end()) {
            sorted.routine[known->means] += group.count;
            sorted.routine_count += group.count;
        } else {
            sorted.others.push_back(
                {group.level, group.count, printable(group.first.substr(0, group.first.find('\n')))});
            sorted.others_count += group.count;
        }
    }
    std::sort(sorted.others.begin(), sorted.others.end(),
              [](const SortedMessages::Other& a, const SortedMessages::Other& b) { return a.count > b.count; });
    return sorted;
}

void MessageCounts::print(std::FILE* out, const std::vector<Routine>& routine) const {
    const SortedMessages messages = sorted(routine);
    std::fprintf(out, "messages of the library: %ld that can touch results, %ld routine", messages.others_count,
                 messages.routine_count);
    const char* separator = " (";
    for (const auto& [means, count] : messages.routine) {
        std::fprintf(out, "%s%s %ld", separator, means.c_str(), count);
        separator = ", ";
    }
    std::fprintf(out, "%s; --log-level warning shows them\n", messages.routine.empty() ? "" : ")");
    for (const SortedMessages::Other& other : messages.others)
        std::fprintf(out, "  %ld %s%s, such as \"%s\"\n", other.count, ulog_level_name(other.level),
                     other.count == 1 ? "" : "s", other.first.c_str());
}

}  // namespace host
