/// \file report.cpp
/// Messages to the logger, as texts that never act as a format.
#include "private/report.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>

#include "private/print.h"

namespace leopod {

namespace {

unsigned long s_reports = 0;

/// Hands a finished text to the logger as its format, every '%' doubled.
void publish(ulog_level_t level, const char (&text)[kMessageSize]) {
    char doubled[2 * kMessageSize];
    std::size_t n = 0;
    for (const char* p = text; *p != '\0'; ++p) {
        doubled[n++] = *p;
        if (*p == '%') doubled[n++] = '%';
    }
    doubled[n] = '\0';
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    ulog_message(level, doubled);
#pragma GCC diagnostic pop
}

/// Where a message comes from.
struct Place {
    const char* module;
    int line;
    const char* function;
};

/// Counts a report and, where somebody hears it, publishes its text, with its place where there is one.
[[gnu::format(printf, 3, 0)]] void publish(ulog_level_t level, const Place* place, const char* format, va_list args) {
    ++s_reports;
    if (!heard(level)) return;
    char text[kMessageSize];
    print_list(text, sizeof text, format, args);
    if (place == nullptr) return publish(level, text);
    char located[kMessageSize];
    print(located, sizeof located, "%.200s:%d:%.200s()<%s>", place->module, place->line, place->function, text);
    publish(level, located);
}

}  // namespace

void report(ulog_level_t level, const char* format, ...) {
    va_list args;
    va_start(args, format);
    publish(level, nullptr, format, args);
    va_end(args);
}

void report_at(ulog_level_t level, const char* module, int line, const char* function, const char* format, ...) {
    const Place place{module, line, function};
    va_list args;
    va_start(args, format);
    publish(level, &place, format, args);
    va_end(args);
}

unsigned long reports_made() { return s_reports; }

void warn_limit(bool& warned, const char* file, int limit, const char* what) {
    if (warned) return;
    warned = true;
    report(ULOG_WARNING_LEVEL, "%s: more than %d %s, the excess is dropped", file, limit, what);
}

}  // namespace leopod
