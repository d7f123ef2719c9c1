// The guide: its way from a receiver's file to a fitted orbit, run as it stands there.
#include "host_support.h"

namespace {

using Path = std::filesystem::path;
const Path kSource = LEOPOD_SOURCE_DIR;

/// True if a line of the output says the same as one of the guide, its numbers within two percent.
bool says(const std::string& output, const std::string& guide) {
    std::istringstream a(output), b(guide);
    std::string found, wanted;
    while (b >> wanted) {
        if (!(a >> found)) return false;
        char* end = nullptr;
        const double value = std::strtod(wanted.c_str(), &end), other = std::strtod(found.c_str(), nullptr);
        const bool number = end != wanted.c_str();
        if (number ? std::fabs(other - value) > 0.02 * std::fabs(value) : found != wanted) return false;
    }
    return !(a >> found);
}

TEST(Guide, FromAReceiversFileToAFittedOrbit) {
    if (!std::filesystem::exists(support::kProgram)) GTEST_SKIP() << "the host program is not built";
    const Path data = support::data_path("grace_b_2010208/grcb2080_00h12h.10o").parent_path().parent_path();
    LEOPOD_REQUIRE_DATA(data / "grace_b_2010208/grcb2080_00h12h.10o");
    LEOPOD_REQUIRE_DATA(data / "gravity/EGM2008.txt");
    auto page = support::fenced_blocks(kSource / "docs/guide.md", "From a receiver's file to a fitted orbit");
    std::string commands = page["sh"];
    commands = std::regex_replace(commands, std::regex("make demo"), "true");  // the program is there

    // A checkout of links, in which build/ is the test's own.
    const Path root = support::temp_dir() / "checkout";
    std::filesystem::create_directories(root / "build");
    std::filesystem::create_directory_symlink(kSource / "examples", root / "examples");
    std::filesystem::create_directory_symlink(std::filesystem::absolute(LEOPOD_BINARY_DIR), root / "build/release");
    const support::Outcome o = support::shell("cd '" + root.string() + "'\nexport DATA='" +
                                              std::filesystem::absolute(data).string() + "'\n" + commands);
    ASSERT_EQ(o.status, 0) << o.text;

    // what the guide shows of the output
    std::stringstream shown(page["text"]);
    int count = 0;
    for (std::string line; std::getline(shown, line); ++count) {
        bool found = false;
        std::stringstream in(o.text);
        for (std::string said; std::getline(in, said);) found = found || says(said, line);
        EXPECT_TRUE(found) << "the guide shows \"" << line << "\", and the program prints\n" << o.text;
    }
    EXPECT_GE(count, 7);
    for (const char* file : {"epochs.csv", "satellites.svg", "residuals.svg", "orbit.sp3", "fit.csv", "errors.svg"})
        EXPECT_GT(std::filesystem::file_size(root / "build/grace" / file), 1000u) << file;
    EXPECT_EQ(support::read_rows((root / "build/grace/orbit.csv").string()).size(), 1440u);
}

}  // namespace
