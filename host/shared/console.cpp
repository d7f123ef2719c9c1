#include "shared/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "shared/error.h"
#include "shared/names.h"

namespace host {

Console* Console::current_ = nullptr;

namespace {

std::mutex terminal;           ///< guards what follows
bool taken = false;            ///< an object has the line
bool over = false;             ///< the process ends
std::size_t columns_used = 0;  ///< of the line on the terminal

/// Blanks over the line; no control sequence but the return of the carriage, so that every terminal understands.
void erase_line() {
    if (columns_used == 0) return;
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(columns_used), "");
    std::fflush(stderr);
    columns_used = 0;
}

std::size_t terminal_columns() {
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

/// Minutes and seconds, with hours where there are any.
std::string clock_text(double seconds) {
    const long s = std::lround(seconds);
    char text[48];
    if (s < 3600) {
        std::snprintf(text, sizeof text, "%ld:%02ld", s / 60, s % 60);
    } else {
        std::snprintf(text, sizeof text, "%ld:%02ld:%02ld", s / 3600, s / 60 % 60, s % 60);
    }
    return text;
}

int threshold_of(const std::string& name) {
    static const char* names[] = {"trace", "debug", "info", "warning", "error", "critical", "off"};
    for (int i = 0; i < 7; ++i) {
        if (name == names[i]) return ULOG_TRACE_LEVEL + i + (i == 6 ? 1 : 0);
    }
    throw InputError("--log-level " + name + ": one of trace, debug, info, warning, error, critical, off is expected");
}

}  // namespace

Progress::Progress(std::string work, double total) : work_(std::move(work)), total_(total) {
    if (isatty(STDERR_FILENO) == 0) return;
    const std::lock_guard<std::mutex> lock(terminal);
    if (taken) return;
    static const bool registered = std::atexit([] {  // the library may end the process
                                       const std::lock_guard<std::mutex> guard(terminal);
                                       over = true;
                                       erase_line();
                                   }) == 0;
    static_cast<void>(registered);
    taken = true;
    ticker_ = std::thread([this] { tick(); });
}

Progress::~Progress() {
    if (!ticker_.joinable()) return;
    {
        const std::lock_guard<std::mutex> lock(terminal);
        ended_ = true;
        erase_line();
        taken = false;
    }
    end_.notify_one();
    ticker_.join();
}

void Progress::tick() {
    constexpr std::chrono::milliseconds kSilence(2000), kInterval(200);
    std::unique_lock<std::mutex> lock(terminal);
    if (end_.wait_for(lock, kSilence, [this] { return ended_; })) return;
    while (!over) {
        // The last column stays free: a character in it would break the line on some terminals.
        const std::string line = text().substr(0, terminal_columns() - 1);
        const std::size_t rest = columns_used > line.size() ? columns_used - line.size() : 0;
        std::fprintf(stderr, "\r%s%*s", line.c_str(), static_cast<int>(rest), "");
        std::fflush(stderr);
        columns_used = line.size();
        if (end_.wait_for(lock, kInterval, [this] { return ended_; })) return;
    }
}

std::string Progress::text() const {
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
    const double amount = done_.load(std::memory_order_relaxed);
    if (!(total_ > 0.0) || !(amount > 0.0)) return work_ + ", " + clock_text(elapsed);
    const double share = std::min(amount / total_, 1.0);
    char percent[16];
    std::snprintf(percent, sizeof percent, " %3.0f %%, ", std::floor(100.0 * share));
    return work_ + percent + clock_text(elapsed * (1.0 - share) / share) + " left";
}

void Progress::rename(const std::string& work) {
    const std::lock_guard<std::mutex> lock(terminal);
    work_ = work;
}

Console::Console(const std::string& level) : threshold_(threshold_of(level)) {
    current_ = this;
    listen(ULOG_ALWAYS_LEVEL, nullptr);
}

Console::~Console() {
    ulog_unsubscribe(&receive);
    current_ = nullptr;
}

void Console::receive(ulog_level_t level, char* raw) {
    const std::string named = std::strstr(raw, "/proc/") != nullptr ? with_shown_names(raw) : std::string();
    const char* const text = named.empty() ? raw : named.c_str();
    Console& self = *current_;
    if (level >= ULOG_WARNING_LEVEL && level <= ULOG_CRITICAL_LEVEL) self.messages_.add(level, text);
    if (self.listener_) self.listener_(level, text);
    if (level < self.threshold_) return;
    const std::lock_guard<std::mutex> lock(terminal);
    erase_line();
    const std::size_t length = std::strlen(text);
    std::fprintf(stderr, "%s: %s%s", ulog_level_name(level), text, length > 0 && text[length - 1] == '\n' ? "" : "\n");
}

void Console::listen(ulog_level_t level, Listener listener) {
    listener_ = std::move(listener);
    ulog_subscribe(&receive, static_cast<ulog_level_t>(std::min<int>({threshold_, level, ULOG_WARNING_LEVEL})));
}

}  // namespace host
