/// \file ulog.cpp
/// Publish/subscribe logger.
#include "ulog.h"

#include <cstdarg>
#include <cstdio>

#include "private/report.h"

namespace {

constexpr int kMaxSubscribers = 6;

subscriber_t s_subscribers[kMaxSubscribers];
char s_message[leopod::kMessageSize];  ///< the one text under delivery; subscribers get a pointer to it

bool takes(const subscriber_t& slot, ulog_level_t severity) {
    return slot.fn != nullptr && static_cast<unsigned>(slot.threshold) <= static_cast<unsigned>(severity);
}

}  // namespace

bool leopod::heard(ulog_level_t level) {
    for (const subscriber_t& slot : s_subscribers) {
        if (takes(slot, level)) return true;
    }
    return false;
}

void ulog_init(void) {
    for (subscriber_t& slot : s_subscribers) slot = subscriber_t{};
}

ulog_err_t ulog_subscribe(ulog_function_t fn, ulog_level_t threshold) {
    int candidate = -1;
    for (int i = 0; i < kMaxSubscribers; ++i) {
        if (s_subscribers[i].fn == fn) {  // settled: a null function matches the first free slot and occupies nothing
            s_subscribers[i].threshold = threshold;
            return ULOG_ERR_NONE;
        }
        // settled: the highest free slot is taken, so that delivery order is the reverse of subscription order
        if (s_subscribers[i].fn == nullptr) candidate = i;
    }
    if (candidate == -1) return ULOG_ERR_SUBSCRIBERS_EXCEEDED;
    s_subscribers[candidate].fn = fn;
    s_subscribers[candidate].threshold = threshold;
    return ULOG_ERR_NONE;
}

ulog_err_t ulog_unsubscribe(ulog_function_t fn) {
    for (subscriber_t& slot : s_subscribers) {
        if (slot.fn == fn) {
            slot.fn = nullptr;  // the threshold stays as it was
            return ULOG_ERR_NONE;
        }
    }
    return ULOG_ERR_NOT_SUBSCRIBED;
}

const char* ulog_level_name(ulog_level_t severity) {
    switch (severity) {
        case ULOG_TRACE_LEVEL:
            return "TRACE";
        case ULOG_DEBUG_LEVEL:
            return "DEBUG";
        case ULOG_INFO_LEVEL:
            return "INFO";
        case ULOG_WARNING_LEVEL:
            return "WARNING";
        case ULOG_ERROR_LEVEL:
            return "ERROR";
        case ULOG_CRITICAL_LEVEL:
            return "CRITICAL";
        case ULOG_ALWAYS_LEVEL:
            return "ALWAYS";
        default:
            return "UNKNOWN";
    }
}

void ulog_message(ulog_level_t severity, const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(s_message, sizeof s_message, fmt, args);
    va_end(args);
    for (const subscriber_t& slot : s_subscribers) {
        if (takes(slot, severity)) slot.fn(severity, s_message);
    }
}
