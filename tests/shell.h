/// \file shell.h
/// Command lines of a test, and shell commands that are run in its own directory.
#ifndef LEOPOD_TESTS_SHELL_H
#define LEOPOD_TESTS_SHELL_H

#include <sys/wait.h>

#include <array>

#include "support.h"

namespace support {

struct Outcome {
    int status = -1;
    std::string text;  ///< standard output and standard error
};

/// Runs a command line and takes what it prints.
inline Outcome capture(const std::string& command) {
    Outcome outcome;
    FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return outcome;
    std::array<char, 4096> buffer{};
    while (std::fgets(buffer.data(), buffer.size(), pipe) != nullptr) outcome.text += buffer.data();
    const int raw = pclose(pipe);
    outcome.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    return outcome;
}

/// Runs commands in the test's directory until the first failure, without what the caller's environment says about compilers
/// and libraries.
inline Outcome shell(const std::string& commands) {
    return capture("bash '" +
                   write_temp("commands.sh",
                              "unset LD_LIBRARY_PATH PKG_CONFIG_PATH CFLAGS CXXFLAGS LDFLAGS DESTDIR\nset -eu\ncd '" +
                                  temp_dir().string() + "'\n" + commands + "\n") +
                   "'");
}

inline bool has_command(const std::string& name) { return shell("command -v " + name).status == 0; }

}  // namespace support

#endif
