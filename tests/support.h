/// \file support.h
/// Shared by the tests: a log recorder, paths of data sets, temporary files.
#ifndef LEOPOD_TESTS_SUPPORT_H
#define LEOPOD_TESTS_SUPPORT_H

#include <gtest/gtest.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "ulog.h"

namespace support {

struct Message {
    ulog_level_t level;
    std::string text;
};

/// Everything the library logged since the recorder was made, in order.
class LogRecorder {
  public:
    explicit LogRecorder(ulog_level_t threshold = ULOG_TRACE_LEVEL) {
        messages().clear();
        ulog_subscribe(&record, threshold);
    }
    ~LogRecorder() { ulog_unsubscribe(&record); }
    LogRecorder(const LogRecorder&) = delete;
    LogRecorder& operator=(const LogRecorder&) = delete;

    static std::vector<Message>& messages() {
        static std::vector<Message> all;
        return all;
    }
    /// Number of messages at a level that hold a text.
    int count(ulog_level_t level, const std::string& text) const {
        int n = 0;
        for (const Message& m : messages()) n += m.level == level && m.text.find(text) != std::string::npos;
        return n;
    }
    /// True if exactly this text was logged at this level.
    bool has(ulog_level_t level, const std::string& text) const {
        for (const Message& m : messages()) {
            if (m.level == level && m.text == text) return true;
        }
        return false;
    }
    void clear() { messages().clear(); }

  private:
    static void record(ulog_level_t level, char* msg) { messages().push_back({level, msg}); }
};

/// A subscriber for EXPECT_EXIT: prints every text to standard error.
inline void log_to_stderr(ulog_level_t, char* msg) { std::fprintf(stderr, "%s\n", msg); }

/// Path of a data set beside the checkout (environment variable LEOPOD_DATA overrides).
inline std::filesystem::path data_path(const std::string& name) {
    const char* dir = std::getenv("LEOPOD_DATA");
    return std::filesystem::path(dir != nullptr ? dir : LEOPOD_DATA_DIR) / name;
}

/// Path of a small file committed under tests/data.
inline std::filesystem::path test_file(const std::string& name) {
    return std::filesystem::path(LEOPOD_SOURCE_DIR) / "tests" / "data" / name;
}

/// A directory of this test process, removed at its end.
inline const std::filesystem::path& temp_dir() {
    struct Dir {
        std::filesystem::path path;
        pid_t owner = getpid();  ///< a death test's child must not remove it
        Dir() {
            std::string pattern = (std::filesystem::temp_directory_path() / "leopod_test_XXXXXX").string();
            path = mkdtemp(pattern.data()) != nullptr ? pattern : std::string(".");
        }
        ~Dir() {
            std::error_code ignored;
            if (path != "." && owner == getpid()) std::filesystem::remove_all(path, ignored);
        }
    };
    static Dir dir;
    return dir.path;
}

/// Path of a file in the test's directory.
inline std::string out(const std::string& name) { return (temp_dir() / name).string(); }

/// Writes a file into the temporary directory and returns its path.
inline std::string write_temp(const std::string& name, const std::string& content) {
    const std::filesystem::path path = temp_dir() / name;
    std::ofstream(path, std::ios::binary) << content;
    return path.string();
}

inline std::string read_file(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

/// Expands a file of the repository into the test's directory, where its path is given without ".gz".
inline std::string expanded(const std::string& packed) {
    const std::string path = out(std::filesystem::path(packed).filename());
    if (!std::filesystem::exists(path)) {
        EXPECT_EQ(std::system(("gzip -dc '" + packed + ".gz' > '" + path + "'").c_str()), 0) << packed;
    }
    return path;
}
/// A file of the excerpt of GRACE-B, and one of an arc of 2021 with known truth, named without ".gz".
inline std::string excerpt(const std::string& n) { return expanded(LEOPOD_SOURCE_DIR "/examples/data/grace_b/" + n); }
inline std::string arc21(const std::string& n) { return expanded(LEOPOD_SOURCE_DIR "/tests/arc21/" + n); }

/// A locale with a decimal comma, compiled here, in this process while it lives; nothing changes where none can be made (package locales).
class CommaLocale {
  public:
    const bool made;
    CommaLocale() : made(compiled() && std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr) {}
    ~CommaLocale() { std::setlocale(LC_ALL, "C"); }
    CommaLocale(const CommaLocale&) = delete;
    CommaLocale& operator=(const CommaLocale&) = delete;

  private:
    static bool compiled() {
        static const std::string command =
            "localedef -f UTF-8 -i de_DE --no-archive " + out("de_DE.UTF-8") + " >/dev/null 2>&1";
        static const bool done = std::system(command.c_str()) == 0;
        setenv("LOCPATH", temp_dir().c_str(), 1);
        return done;
    }
};

/// Fenced blocks of a page by label, those of one label joined; of one section alone where a heading is given.
inline std::map<std::string, std::string> fenced_blocks(const std::filesystem::path& page,
                                                        const std::string& heading = "") {
    std::map<std::string, std::string> all;
    std::ifstream in(page);
    std::string line, label;
    bool in_section = heading.empty(), in_block = false;
    while (std::getline(in, line)) {
        if (line.rfind("## ", 0) == 0 && !heading.empty()) in_section = line == "## " + heading;
        if (line.rfind("```", 0) == 0) {
            in_block = !in_block;
            label = line.substr(3);
        } else if (in_section && in_block) {
            all[label] += line + "\n";
        }
    }
    return all;
}

}  // namespace support

/// Skips the test with a message when a data set is not there.
#define LEOPOD_REQUIRE_DATA(path) \
    if (!std::filesystem::exists(path)) GTEST_SKIP() << "data set not present: " << (path).filename()

#endif

/// Expects a statement to end the process with status 1 and a log text.
#define EXPECT_STOP(statement, text)                                                                        \
    EXPECT_EXIT((ulog_subscribe(support::log_to_stderr, ULOG_WARNING_LEVEL), static_cast<void>(statement)), \
                testing::ExitedWithCode(1), text)
