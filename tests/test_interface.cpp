// The interface as binaries see it: exported names with their declarations, and the place of every field of every public record,
// against the committed lists. A change that is meant is announced by new lists: `make interface`.
#include "shell.h"

namespace {

const std::string kSource = LEOPOD_SOURCE_DIR;

TEST(Interface, IsThatOfTheCommittedLists) {
#if !defined(__x86_64__) || !defined(__linux__)
    GTEST_SKIP() << "the lists hold for x86-64 under Linux";
#endif
    for (const std::string tool : {"python3", "nm", "diff", LEOPOD_TEST_CXX}) {
        if (support::capture(tool + " --version").status != 0) GTEST_SKIP() << "no " << tool;
    }
    const std::string lists = support::out("lists");
    const support::Outcome listed =
        support::capture("CXX='" LEOPOD_TEST_CXX "' python3 '" + kSource +
                         "/scripts/list_interface' '" LEOPOD_BINARY_DIR "' '" + lists + "' '" + kSource + "/src'");
    ASSERT_EQ(listed.status, 0) << listed.text;
    const support::Outcome compared = support::capture("diff -rU1 '" + kSource + "/tests/interface' '" + lists + "'");
    EXPECT_EQ(compared.status, 0) << "The interface has changed. If that is meant: make interface\n" << compared.text;
}

}  // namespace
