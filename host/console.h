/// \file console.h
/// What the host shows: the library's messages from a level on, their counts, and progress on a terminal.
#ifndef LEOPOD_HOST_CONSOLE_H
#define LEOPOD_HOST_CONSOLE_H

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "ulog.h"

namespace host {

/// One cycle-slip mark that the library logged in an epoch.
struct SlipMark {
    int satsys;
    int prn;
    bool melbourne_wuebbena;  ///< else geometry-free
};

/// Subscribes to the library's messages: prints those from the threshold on, counts all, collects slip marks.
class Console {
  public:
    /// level: "trace", "debug", "info", "warning", "error", "critical" or "off".
    explicit Console(const std::string& level);
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    /// Progress line on a terminal; nothing elsewhere. An empty text clears it.
    void progress(const std::string& text);
    /// Slip marks since the last call.
    std::vector<SlipMark> take_slips();
    /// Hands every message to a function as well.
    void listen(std::function<void(ulog_level_t, const char*)> listener) { listener_ = std::move(listener); }
    /// Messages logged so far at a level.
    long count(ulog_level_t level) const { return counts_[static_cast<std::size_t>(level - ULOG_TRACE_LEVEL)]; }

  private:
    static void receive(ulog_level_t level, char* text);

    static Console* current_;
    int threshold_;
    bool terminal_;
    bool progress_shown_ = false;
    std::array<long, 7> counts_{};
    std::vector<SlipMark> slips_;
    std::function<void(ulog_level_t, const char*)> listener_;
};

}  // namespace host

#endif
