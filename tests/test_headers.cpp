// Every public header compiles on its own as C11 and as C++17, and so do all of them together.
#include "shell.h"

namespace {

const std::string kSource = LEOPOD_SOURCE_DIR "/src";

TEST(Headers, CompileAloneAndTogether) {
    std::string all;
    std::vector<std::string> sources;
    for (const auto& entry : std::filesystem::directory_iterator(kSource)) {
        const std::string name = entry.path().filename();
        if (entry.path().extension() != ".h") continue;
        sources.push_back("#include \"" + name + "\"\n");
        all += sources.back();
    }
    ASSERT_GE(sources.size(), 20u);
    sources.push_back(all + all);
    for (const auto& [compiler, file] :
         {std::pair{LEOPOD_TEST_CC " -std=c11", "headers.c"}, {LEOPOD_TEST_CXX " -std=c++17", "headers.cpp"}}) {
        const auto compile = [&, command = std::string(compiler), name = std::string(file)](const std::string& code) {
            return support::capture(command + " -pedantic -Wall -Wextra -Werror -fsyntax-only -I'" + kSource + "' '" +
                                    support::write_temp(name, code) + "'");
        };
        if (compile("int leopod_header_test;\n").status != 0) GTEST_SKIP() << "no compiler " << compiler;
        for (const std::string& source : sources) {
            const support::Outcome o = compile(source + "int leopod_header_test;\n");
            EXPECT_EQ(o.status, 0) << source << o.text;
        }
        // the check itself sees an error
        EXPECT_NE(compile(all + "leopod_no_such_type x;\n").status, 0);
    }
}

}  // namespace
