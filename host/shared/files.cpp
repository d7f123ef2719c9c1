#include "shared/files.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "shared/error.h"

namespace host {

std::ifstream open_input(const std::string& name, const std::string& kind) {
    struct stat info {};
    if (stat(name.c_str(), &info) == 0 && S_ISDIR(info.st_mode))
        throw InputError(name + ": is a directory, not a " + kind);
    std::ifstream in(name, std::ios::binary);
    if (!in) throw InputError(name + ": cannot open this " + kind + ": " + std::strerror(errno));
    return in;
}

std::string csv_text(const std::string& text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char c : text) {
        if (c == '"') quoted += '"';
        quoted += c;
    }
    return quoted + '"';
}

OutputFile::OutputFile(const std::string& name) : name_(name), stream_(std::fopen(name.c_str(), "w")) {
    if (stream_ == nullptr) throw InputError(name + ": cannot be written");
}

OutputFile::~OutputFile() {
    if (stream_ != nullptr) std::fclose(stream_);
}

void OutputFile::close() {
    if (std::fclose(std::exchange(stream_, nullptr)) != 0)
        throw InputError(name_ + ": could not be written to its end");
}

}  // namespace host
