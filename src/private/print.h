/// \file print.h
/// Formatted text with the numbers of the C locale, whatever the host has set.
#ifndef LEOPOD_PRIVATE_PRINT_H
#define LEOPOD_PRIVATE_PRINT_H

#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace leopod {

/// snprintf.
[[gnu::format(printf, 3, 4)]] int print(char* text, std::size_t size, const char* format, ...);

/// vsnprintf.
[[gnu::format(printf, 3, 0)]] int print_list(char* text, std::size_t size, const char* format, va_list args);

/// fprintf.
[[gnu::format(printf, 2, 3)]] int print(std::FILE* file, const char* format, ...);

}  // namespace leopod

#endif
