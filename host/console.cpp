#include "console.h"

#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "error.h"

namespace host {

Console* Console::current_ = nullptr;

namespace {

int threshold_of(const std::string& name) {
    static const char* names[] = {"trace", "debug", "info", "warning", "error", "critical", "off"};
    for (int i = 0; i < 7; ++i) {
        if (name == names[i]) return ULOG_TRACE_LEVEL + i + (i == 6 ? 1 : 0);
    }
    throw InputError("--log-level " + name + ": one of trace, debug, info, warning, error, critical, off is expected");
}

}  // namespace

Console::Console(const std::string& level) : threshold_(threshold_of(level)), terminal_(isatty(STDERR_FILENO) != 0) {
    current_ = this;
    ulog_subscribe(&receive, ULOG_TRACE_LEVEL);
}

Console::~Console() {
    ulog_unsubscribe(&receive);
    progress("");
    current_ = nullptr;
}

void Console::receive(ulog_level_t level, char* text) {
    Console& self = *current_;
    if (level >= ULOG_TRACE_LEVEL && level <= ULOG_ALWAYS_LEVEL)
        ++self.counts_[static_cast<std::size_t>(level - ULOG_TRACE_LEVEL)];
    if (level == ULOG_TRACE_LEVEL) {
        const char* mark = std::strstr(text, "[cycle slip(");
        int satsys = 0;
        int prn = 0;
        if (mark != nullptr && std::sscanf(mark, "[cycle slip(%*2c)] satsys=%d,prn=%d", &satsys, &prn) == 2) {
            self.slips_.push_back({satsys, prn, mark[12] == 'M'});
        }
    }
    if (self.listener_) self.listener_(level, text);
    if (level < self.threshold_) return;
    self.progress("");
    const std::size_t length = std::strlen(text);
    std::fprintf(stderr, "%s: %s%s", ulog_level_name(level), text, length > 0 && text[length - 1] == '\n' ? "" : "\n");
}

void Console::progress(const std::string& text) {
    if (!terminal_ || (text.empty() && !progress_shown_)) return;
    std::fprintf(stderr, "\r\033[K%s", text.c_str());
    std::fflush(stderr);
    progress_shown_ = !text.empty();
}

std::vector<SlipMark> Console::take_slips() {
    std::vector<SlipMark> taken;
    taken.swap(slips_);
    return taken;
}

}  // namespace host
