#include "output.h"

#include <utility>

#include "error.h"

namespace host {

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
