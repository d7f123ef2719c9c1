// The interface as binaries see it: exported names with their declarations, and the place of every field of every public record,
// against the committed lists. A change that is meant is announced by new lists: `make interface`.
#include <sys/wait.h>

#include "support.h"

namespace {

const std::filesystem::path kSource = LEOPOD_SOURCE_DIR;

struct Outcome {
    int status;
    std::string text;  ///< standard output and standard error
};

Outcome run(const std::string& command) {
    Outcome result{-1, ""};
    std::FILE* pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr) return result;
    for (int c = std::getc(pipe); c != EOF; c = std::getc(pipe)) result.text += static_cast<char>(c);
    const int raw = pclose(pipe);
    result.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return result;
}

std::string quoted(const std::filesystem::path& path) { return "'" + path.string() + "'"; }

/// Lists of the built library with the headers of a directory.
Outcome list_interface(const std::filesystem::path& output, const std::filesystem::path& headers) {
    return run("CXX='" LEOPOD_TEST_CXX "' python3 " + quoted(kSource / "scripts/list_interface") +
               " '" LEOPOD_BINARY_DIR "' " + quoted(output) + " " + quoted(headers));
}

/// What differs from the committed list, as diff shows it.
std::string difference(const std::filesystem::path& output, const std::string& list) {
    return run("diff -U1 " + quoted(kSource / "tests/interface" / list) + " " + quoted(output / list)).text;
}

class Interface : public testing::Test {
  protected:
    void SetUp() override {
#if !defined(__x86_64__) || !defined(__linux__)
        GTEST_SKIP() << "the lists hold for x86-64 under Linux";
#endif
        for (const char* tool : {"python3", "nm", "diff", LEOPOD_TEST_CXX}) {
            if (run(std::string(tool) + " --version").status != 0) GTEST_SKIP() << "no " << tool;
        }
    }
    const std::filesystem::path out = support::temp_dir() / "lists";
};

}  // namespace

TEST_F(Interface, IsThatOfTheCommittedLists) {
    const Outcome listed = list_interface(out, kSource / "src");
    ASSERT_EQ(listed.status, 0) << listed.text;
    for (const char* list : {"symbols.txt", "records.txt"}) {
        EXPECT_EQ(difference(out, list), "") << "The interface has changed. If that is meant: make interface";
    }
}

TEST_F(Interface, ChangesShow) {
    const std::filesystem::path headers = support::temp_dir() / "headers";
    std::filesystem::copy(kSource / "src", headers, std::filesystem::copy_options::recursive);
    const auto edit = [&](const std::string& header, const std::string& from, const std::string& to) {
        std::string text = support::read_file(kSource / "src" / header);
        const std::size_t at = text.find(from);
        ASSERT_NE(at, std::string::npos) << from;
        std::ofstream(headers / header) << text.replace(at, from.size(), to);
    };
    edit("keplerian_element.h", "double r;     ///< scalar part\n    double v[3];", "double v[3];\n    double r;");
    edit("gtime.h", "LEOPOD_BEGIN_DECLS", "LEOPOD_BEGIN_DECLS\nvoid leopod_new(int (*grid)[3], double x);");
    edit("gnss_config.h", "SAT_EPOCH = 15", "SAT_EPOCH = 16");
    ASSERT_EQ(list_interface(out, headers).status, 0);
    const std::string symbols = difference(out, "symbols.txt"), records = difference(out, "records.txt");
    EXPECT_NE(symbols.find("+gtime.h  void leopod_new(int (*grid)[3], double x);  (not exported)"), std::string::npos)
        << symbols;
    for (const char* line : {"-         0          8  r  double", "+        24          8  r  double",
                             "-        15  MAXSAT_EPOCH", "+        16  MAXSAT_EPOCH"}) {
        EXPECT_NE(records.find(line), std::string::npos) << line << "\n" << records;
    }
    // a field that the lists could not show is an error, not a gap
    edit("keplerian_element.h", "double r; ", "struct { int a; } s; double r; ");
    EXPECT_NE(list_interface(out, headers).status, 0);
    edit("keplerian_element.h", "double r; ", "\n#define HIDDEN int hidden;\nHIDDEN double r; ");
    EXPECT_NE(list_interface(out, headers).status, 0);
}
