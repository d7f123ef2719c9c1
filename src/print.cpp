/// \file print.cpp
/// Formatted text with the numbers of the C locale.
#include "private/print.h"

#include <locale.h>

namespace leopod {

namespace {

/// The C locale in this thread while it lives.
class PlainLocale {
  public:
    PlainLocale() : before_(uselocale(plain())) {}
    ~PlainLocale() { uselocale(before_); }
    PlainLocale(const PlainLocale&) = delete;
    PlainLocale& operator=(const PlainLocale&) = delete;

  private:
    static locale_t plain() {
        static const locale_t locale = newlocale(LC_ALL_MASK, "C", nullptr);
        return locale;
    }
    locale_t before_;
};

}  // namespace

int print_list(char* text, std::size_t size, const char* format, va_list args) {
    const PlainLocale plain;
    return std::vsnprintf(text, size, format, args);
}

int print(char* text, std::size_t size, const char* format, ...) {
    va_list args;
    va_start(args, format);
    const int n = print_list(text, size, format, args);
    va_end(args);
    return n;
}

int print(std::FILE* file, const char* format, ...) {
    const PlainLocale plain;
    va_list args;
    va_start(args, format);
    const int n = std::vfprintf(file, format, args);
    va_end(args);
    return n;
}

}  // namespace leopod
