// Every public header compiles on its own as C11 and as C++17, and so do all of them together.
#include <algorithm>

#include "support.h"

namespace {

const std::filesystem::path kSource = std::filesystem::path(LEOPOD_SOURCE_DIR) / "src";

std::vector<std::string> public_headers() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(kSource)) {
        if (entry.path().extension() == ".h" && entry.path().filename() != "internal.h" &&
            entry.path().filename() != "epoch_model.h") {
            names.push_back(entry.path().filename().string());
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

struct Language {
    const char* compiler;
    const char* options;
    const char* suffix;
};

/// Compiles a generated source; the compiler's report, empty when all is well.
std::string compile(const Language& language, const std::string& code) {
    const std::string source = support::write_temp(std::string("headers") + language.suffix, code);
    const std::string command = std::string(language.compiler) + " " + language.options + " -Wall -Wextra -Werror -I'" +
                                kSource.string() + "' -fsyntax-only '" + source + "' 2>&1";
    std::FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return "cannot run " + command;
    std::string report;
    for (int c = std::getc(pipe); c != EOF; c = std::getc(pipe)) report += static_cast<char>(c);
    if (pclose(pipe) != 0 && report.empty()) report = "failed: " + command;
    return report;
}

class Headers : public testing::TestWithParam<Language> {};

}  // namespace

TEST_P(Headers, CompileAloneAndTogether) {
    const std::string probe = std::string(GetParam().compiler) + " --version > /dev/null 2>&1";
    if (std::system(probe.c_str()) != 0) GTEST_SKIP() << "no compiler " << GetParam().compiler;
    const std::vector<std::string> headers = public_headers();
    ASSERT_GE(headers.size(), 20u);
    std::string all;
    for (const std::string& header : headers) {
        const std::string line = "#include \"" + header + "\"\n";
        EXPECT_EQ(compile(GetParam(), line + "int leopod_header_test;\n"), "") << header;
        all += line;
    }
    EXPECT_EQ(compile(GetParam(), all + all + "int leopod_header_test;\n"), "");
    // the check itself sees an error
    EXPECT_NE(compile(GetParam(), all + "leopod_no_such_type x;\n"), "");
}

#ifndef LEOPOD_TEST_CC
#define LEOPOD_TEST_CC "cc"
#define LEOPOD_TEST_CXX "c++"
#endif
INSTANTIATE_TEST_SUITE_P(Languages, Headers,
                         testing::Values(Language{LEOPOD_TEST_CC, "-std=c11 -pedantic", ".c"},
                                         Language{LEOPOD_TEST_CXX, "-std=c++17 -pedantic", ".cpp"}),
                         [](const auto& info) { return info.index == 0 ? "C11" : "Cxx17"; });
