/// \file ulog.h
/// Publish/subscribe logger: all reporting of the library passes through it. Hosts subscribe; the library never does.
#ifndef LEOPOD_ULOG_H
#define LEOPOD_ULOG_H

#include "leopod_api.h"

LEOPOD_BEGIN_DECLS

/// Severities; compared numerically.
typedef enum ulog_level_t LEOPOD_ENUM_BASE {
    ULOG_TRACE_LEVEL = 100,
    ULOG_DEBUG_LEVEL = 101,
    ULOG_INFO_LEVEL = 102,
    ULOG_WARNING_LEVEL = 103,
    ULOG_ERROR_LEVEL = 104,
    ULOG_CRITICAL_LEVEL = 105,
    ULOG_ALWAYS_LEVEL = 106
} ulog_level_t;

/// Results of the subscription calls.
typedef enum ulog_err_t LEOPOD_ENUM_BASE {
    ULOG_ERR_NONE = 0,                  ///< done
    ULOG_ERR_SUBSCRIBERS_EXCEEDED = 1,  ///< all subscriber slots are in use
    ULOG_ERR_NOT_SUBSCRIBED = 2         ///< the function is not in the table
} ulog_err_t;

/// A subscriber: severity and text. The text is valid only during the call.
typedef void (*ulog_function_t)(ulog_level_t severity, char* msg);

/// One slot of the subscriber table.
typedef struct subscriber_t {
    ulog_function_t fn;      ///< null when the slot is free
    ulog_level_t threshold;  ///< lowest severity delivered
} subscriber_t;

/// Drops all subscribers. Not required before the first use.
void ulog_init(void);

/// Registers a function for messages at or above a severity; at most six at a time. Subscribing a function again only
/// changes its threshold. Functions are called in reverse order of their subscription.
/// \param fn         the subscriber; it must not log itself, since the text under delivery is shared.
///                   Null succeeds while a slot is free, and occupies nothing
/// \param threshold  lowest severity delivered
/// \return ULOG_ERR_NONE, or ULOG_ERR_SUBSCRIBERS_EXCEEDED when all slots are in use
ulog_err_t ulog_subscribe(ulog_function_t fn, ulog_level_t threshold);

/// Frees the slot of a function.
/// \param fn  the subscriber
/// \return ULOG_ERR_NONE, or ULOG_ERR_NOT_SUBSCRIBED when it is in no slot
ulog_err_t ulog_unsubscribe(ulog_function_t fn);

/// Name of a severity: "TRACE", "DEBUG", "INFO", "WARNING", "ERROR", "CRITICAL", "ALWAYS";
/// "UNKNOWN" for any other value.
/// \param severity  the level
/// \return a constant text
const char* ulog_level_name(ulog_level_t severity);

/// Formats a text and delivers it to every subscriber whose threshold is not above the severity. Texts are cut silently
/// to 2047 characters. Without subscribers the text is formatted and dropped. A single shared buffer: not re-entrant.
/// \param severity  level of the message; levels are compared as unsigned numbers
/// \param fmt       printf format, followed by its arguments; a "%" in a text from outside must be doubled
#ifdef __GNUC__
__attribute__((format(printf, 2, 3)))
#endif
void ulog_message(ulog_level_t severity, const char* fmt, ...);

/// A ready-made subscriber: prints "<local time> [<LEVEL>]: <text>" and a newline to standard output.
/// \param severity  level of the message
/// \param msg       its text
void my_console_logger(ulog_level_t severity, char* msg);

/// Placeholder of an output channel: formats the text and drops it. Nothing is printed or logged.
/// \param level  level of the message
/// \param msg    its text
void output_port(int level, char* msg);

LEOPOD_END_DECLS
#endif
