// The guide: its way from a receiver's file to a fitted orbit, run as it stands there, and its links.
#include <cmath>
#include <cstdlib>
#include <regex>
#include <set>

#include "host_support.h"

namespace {

using Path = std::filesystem::path;
const Path kSource = LEOPOD_SOURCE_DIR;

/// Fenced blocks of a section of the guide with a label, joined.
std::string blocks(const std::string& heading, const std::string& label) {
    std::ifstream in(kSource / "docs/guide.md");
    std::string line, text;
    bool in_section = false, in_block = false;
    while (std::getline(in, line)) {
        if (line.rfind("## ", 0) == 0) in_section = line == "## " + heading;
        if (!in_section) continue;
        const bool fence = line.rfind("```", 0) == 0;
        if (in_block && !fence) text += line + "\n";
        if (fence) in_block = !in_block && line == "```" + label;
    }
    return text;
}

std::vector<std::string> words(const std::string& line) {
    std::vector<std::string> all;
    std::stringstream in(line);
    for (std::string word; in >> word;) all.push_back(word);
    return all;
}

/// True if a line of the output says the same as one of the guide, its numbers within two percent.
bool says(const std::vector<std::string>& output, const std::vector<std::string>& guide) {
    if (output.size() != guide.size()) return false;
    for (std::size_t i = 0; i < guide.size(); ++i) {
        char* end = nullptr;
        const double wanted = std::strtod(guide[i].c_str(), &end), found = std::strtod(output[i].c_str(), nullptr);
        const bool number = end != guide[i].c_str();
        if (number ? std::fabs(found - wanted) > 0.02 * std::fabs(wanted) : output[i] != guide[i]) return false;
    }
    return true;
}

TEST(Guide, FromAReceiversFileToAFittedOrbit) {
    if (!std::filesystem::exists(support::kProgram)) GTEST_SKIP() << "the host program is not built";
    const Path data = support::data_path("grace_b_2010208/grcb2080_00h12h.10o").parent_path().parent_path();
    LEOPOD_REQUIRE_DATA(data / "grace_b_2010208/grcb2080_00h12h.10o");
    LEOPOD_REQUIRE_DATA(data / "gravity/EGM2008.txt");
    const std::string heading = "From a receiver's file to a fitted orbit";
    std::string commands = blocks(heading, "sh");
    EXPECT_NE(commands.find("make demo\n"), std::string::npos);
    const std::string joined = std::regex_replace(commands, std::regex("\\\\\n"), "");
    EXPECT_LE(std::count(joined.begin(), joined.end(), '\n'), 10) << "ten commands at most";
    commands = std::regex_replace(commands, std::regex("make demo"), "true");  // the program is there

    // A checkout of links, in which build/ is the test's own.
    const Path root = support::temp_dir() / "checkout";
    std::filesystem::create_directories(root / "build");
    std::filesystem::create_directory_symlink(kSource / "examples", root / "examples");
    std::filesystem::create_directory_symlink(std::filesystem::absolute(LEOPOD_BINARY_DIR), root / "build/release");
    const std::string script =
        support::write_temp("guide.sh", "set -eu\ncd '" + root.string() + "'\nexport DATA='" +
                                            std::filesystem::absolute(data).string() + "'\n" + commands);
    FILE* pipe = popen(("bash '" + script + "' 2>&1").c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string output;
    for (int c = std::fgetc(pipe); c != EOF; c = std::fgetc(pipe)) output += static_cast<char>(c);
    ASSERT_EQ(pclose(pipe), 0) << output;

    // what the guide shows of the output
    std::vector<std::vector<std::string>> lines;
    std::stringstream in(output);
    for (std::string line; std::getline(in, line);) lines.push_back(words(line));
    std::stringstream shown(blocks(heading, "text"));
    int count = 0;
    for (std::string line; std::getline(shown, line); ++count) {
        const auto wanted = words(line);
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const auto& found) { return says(found, wanted); }))
            << "the guide shows \"" << line << "\", and the program prints\n"
            << output;
    }
    EXPECT_GE(count, 7);
    for (const char* file : {"epochs.csv", "satellites.svg", "residuals.svg", "orbit.sp3", "fit.csv", "errors.svg"})
        EXPECT_GT(std::filesystem::file_size(root / "build/grace" / file), 1000u) << file;
    EXPECT_EQ(support::read_rows((root / "build/grace/orbit.csv").string()).size(), 481u);
}

/// Anchor of a heading, as repository browsers make it.
std::string anchor(const std::string& heading) {
    std::string text;
    for (const char c : heading) {
        if (c == ' ' || c == '-') text += '-';
        if (std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_')
            text += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return text;
}

TEST(Guide, LinksOfAllPagesLead) {
    std::vector<std::string> pages = {"README.md", "examples/README.md", "examples/campaign/README.md"};
    for (const auto& entry : std::filesystem::directory_iterator(kSource / "docs")) {
        if (entry.path().extension() == ".md") pages.push_back("docs/" + entry.path().filename().string());
    }
    const std::regex link(R"(\]\(([^)#:\s]*)(#[^)]*)?\))");
    int count = 0;
    for (const std::string& page : pages) {
        const std::string text = support::read_file(kSource / page);
        for (std::sregex_iterator it(text.begin(), text.end(), link), last; it != last; ++it, ++count) {
            const Path target =
                (*it)[1].length() == 0 ? kSource / page : (kSource / page).parent_path() / (*it)[1].str();
            EXPECT_TRUE(std::filesystem::exists(target)) << page << ": " << it->str();
            if ((*it)[2].length() == 0) continue;
            std::set<std::string> anchors;
            std::stringstream in(support::read_file(target));
            bool in_block = false;
            for (std::string line; std::getline(in, line);) {
                if (line.rfind("```", 0) == 0) in_block = !in_block;
                const std::size_t blank = line.find(' ');
                if (!in_block && line[0] == '#' && blank != std::string::npos)
                    anchors.insert(anchor(line.substr(blank + 1)));
            }
            EXPECT_EQ(anchors.count((*it)[2].str().substr(1)), 1u) << page << ": " << it->str();
        }
    }
    EXPECT_GT(count, 60);
}

}  // namespace
