/// \file messages.h
/// The one reader of the library's messages: some say what no record keeps, the others are counted by what they say.
#ifndef LEOPOD_HOST_MESSAGES_H
#define LEOPOD_HOST_MESSAGES_H

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "ulog.h"

namespace host {

/// Residuals of all rows of the filter behind its update: code and phase of each satellite in turn [m].
bool read_filter_residuals(ulog_level_t level, const char* text, std::vector<double>& residuals);

/// What orbit_fit says on its way.
struct FitMessage {
    enum Kind {
        kStart,
        kIteration,
        kRms,
        kTest,
        kNoSolution
    } kind = kStart;  ///< kStart: an integration from the present state
    int number = 0;   ///< of the iteration that begins
    double rms[3]{};  ///< along, radial, cross [m]
    double test = 0;  ///< root mean square of the corrections
};
bool read_fit(const char* text, FitMessage& message);

/// An element set without a name in a list of names.
bool is_nameless_set(const char* text);

/// A text with each of its numbers as '#'.
std::string folded(const char* text);

/// Messages that mean nothing in the circumstances of a command.
struct Routine {
    const char* text;   ///< how their folded text begins
    std::string means;  ///< in plain words
};

/// Messages by what they mean.
struct SortedMessages {
    struct Other {
        ulog_level_t level;
        long count;
        std::string first;  ///< line of the first one
    };
    std::map<std::string, long> routine;  ///< by meaning
    std::vector<Other> others;            ///< that can touch results, the most frequent first
    long routine_count = 0, others_count = 0;
};

/// Messages from warnings on, grouped by their texts.
class MessageCounts {
  public:
    void add(ulog_level_t level, const char* text);
    /// Messages from a level on.
    long count_from(ulog_level_t level) const;
    SortedMessages sorted(const std::vector<Routine>& routine) const;
    /// Two lines, or one more for each text that isn't routine.
    void print(std::FILE* out, const std::vector<Routine>& routine) const;

  private:
    static constexpr std::size_t kMostTexts = 200;

    struct Group {
        ulog_level_t level = ULOG_WARNING_LEVEL;
        long count = 0;
        std::string first;  ///< as it came first
    };
    std::map<std::string, Group> groups_;  ///< by folded text
};

}  // namespace host

#endif
