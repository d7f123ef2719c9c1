/// \file report.h
/// Messages to the logger.
#ifndef LEOPOD_PRIVATE_REPORT_H
#define LEOPOD_PRIVATE_REPORT_H

#include <cstddef>

#include "ulog.h"

namespace leopod {

constexpr std::size_t kMessageSize = 2048;  ///< the logger cuts a text at this size, terminator included

/// True where a subscriber takes messages of a level.
bool heard(ulog_level_t level);

/// Formats a text, where somebody hears it, and hands it to the logger. The finished text never acts as a format again.
[[gnu::format(printf, 2, 3)]] void report(ulog_level_t level, const char* format, ...);

/// The same with the source locator "%s:%d:%s()<%s>": module name, line, function, text.
[[gnu::format(printf, 5, 6)]] void report_at(ulog_level_t level, const char* module, int line, const char* function,
                                             const char* format, ...);

/// Reports made so far. What made none can be kept instead of being computed once more: nobody would hear of it.
unsigned long reports_made();

/// One warning a file when a fixed limit is exceeded: "%s: more than %d %s, the excess is dropped".
/// `warned` remembers that it was given.
void warn_limit(bool& warned, const char* file, int limit, const char* what);

}  // namespace leopod

#endif
