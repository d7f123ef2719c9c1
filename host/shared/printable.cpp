#include "shared/printable.h"

namespace host {

std::size_t character_length(const std::string& text, std::size_t at) {
    const unsigned char c = static_cast<unsigned char>(text[at]);
    const std::size_t n = c < 0x80                ? 1
                          : c >= 0xF0 && c < 0xF5 ? 4
                          : c >= 0xE0 && c < 0xF0 ? 3
                          : c >= 0xC2 && c < 0xE0 ? 2
                                                  : 0;
    if (n == 0 || at + n > text.size()) return 0;
    for (std::size_t i = 1; i < n; ++i) {
        if ((static_cast<unsigned char>(text[at + i]) & 0xC0) != 0x80) return 0;
    }
    return n;
}

std::string printable(const std::string& text) {
    std::string out;
    for (std::size_t i = 0; i < text.size();) {
        const std::size_t n = character_length(text, i);
        if (n == 0 || (n == 1 && (static_cast<unsigned char>(text[i]) < 0x20 || text[i] == 0x7F))) {
            out += '?';
            ++i;
        } else {
            out.append(text, i, n);
            i += n;
        }
    }
    return out;
}

void add_part(std::string& list, const std::string& part) {
    if (!list.empty()) list += ", ";
    list += part;
}

std::string with_article(const std::string& what) {
    const bool vowel = what.find_first_of("AEIOaeio") == 0 || what.compare(0, 3, "SP3") == 0;
    return (vowel ? "an " : "a ") + what;
}

}  // namespace host
