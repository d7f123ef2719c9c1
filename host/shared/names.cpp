#include "shared/names.h"

#include <cctype>
#include <map>

namespace host {

namespace {

std::map<std::string, std::string>& shown_names() {
    // Never destroyed: the last message of a library that ends the process comes late.
    static auto* const names = new std::map<std::string, std::string>;
    return *names;
}

}  // namespace

void show_path_as(const std::string& path, const std::string& name) { shown_names()[path] = name; }

std::string with_shown_names(std::string text) {
    for (const auto& [path, name] : shown_names()) {
        for (std::size_t at = 0; (at = text.find(path, at)) != std::string::npos;) {
            const std::size_t end = at + path.size();
            // /proc/self/fd/1 is no part of /proc/self/fd/12.
            const bool whole = end == text.size() || std::isdigit(static_cast<unsigned char>(text[end])) == 0;
            if (whole) text.replace(at, path.size(), name);
            at += whole ? name.size() : path.size();
        }
    }
    return text;
}

}  // namespace host
