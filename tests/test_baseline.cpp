// What the commands print and write, against a record of it: each baseline/NAME.sh is run in a directory of its own, baseline/NAME.txt
// is its record. A change of the program that is meant to change results, texts or pictures is seen in the record's differences:
// LEOPOD_RECORD=1 build/release/tests/test_baseline writes the records anew.
#include "host_support.h"

namespace {

using namespace support;

const std::filesystem::path kBaseline = std::string(LEOPOD_SOURCE_DIR) + "/tests/baseline";

std::vector<std::string> scripts() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(kBaseline))
        if (entry.path().extension() == ".sh") names.push_back(entry.path().stem());
    std::sort(names.begin(), names.end());
    return names;
}

/// A file as it goes into the record: of a long one the head, and then each 23rd line; summaries as a whole.
std::string excerpt(const std::filesystem::path& path) {
    const std::string text = read_file(path.string());
    const auto lines = path.extension() == ".json" ? 0 : std::count(text.begin(), text.end(), '\n');
    std::stringstream in(text);
    std::string line, kept;
    for (long k = 0; std::getline(in, line); ++k)
        if (lines <= 120 || k < 30 || k % 23 == 0) kept += line + "\n";
    return kept;
}

/// Without what depends on the place, the day, the machine and the version.
std::string settled(std::string text) {
    const std::pair<const char*, const char*> changes[] = {
        {"[0-9a-f]{64}", "DIGEST"},
        {"time: [0-9.]+ s, [0-9.]+ microseconds", "time: SOME s, SOME microseconds"},
        {"\"(total_s|epoch_us)\": [0-9.e-]+", "\"$1\": SOME"},
        {"\"(version|commit|compiler|options)\": \"[^\"]*\"", "\"$1\": \"OURS\""},
        {"20[0-9]{2}-[0-9]{2}-[0-9]{2}T[0-9:]{8}(\\.[0-9]+)?(?=Z?\"|\nORIGINATOR)", "TODAY"},
    };
    for (const auto& [pattern, word] : changes) text = std::regex_replace(text, std::regex(pattern), word);
    return text;
}

/// Runs a script on files of the repository; the files that it leaves in out/ belong to what it says.
std::string outcome(const std::string& name) {
    const std::filesystem::path work = temp_dir() / name;
    std::filesystem::create_directories(work / "out");
    const auto file = [](const std::string& path) { return "'" + path + "'"; };
    const Outcome o = capture("cd " + file(work) + " && PATH=" + file(std::filesystem::path(kProgram).parent_path()) +
                              ":$PATH LC_ALL=C bash -c 'ln -s " + std::string(LEOPOD_SOURCE_DIR) +
                              "/examples examples; ln -s " + std::string(LEOPOD_SOURCE_DIR) +
                              "/tests tests; leopod() { command leopod \"$@\" || echo \"status $?\"; }; . " +
                              (kBaseline / (name + ".sh")).string() + "'");
    std::string text = "# status " + std::to_string(o.status) + "\n" + o.text;
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(work / "out"))
        if (entry.is_regular_file()) files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    for (const auto& path : files) text += "# " + path.lexically_relative(work).string() + "\n" + excerpt(path);
    return settled(text);
}

/// How far a number may be off, for another processor's sines show in a filter that has just begun: 1.5 of its last decimal, nine
/// digits, a tenth of a millimetre. With an exponent, which variances have, two hundredths, or 3e-5 m2 and 3e-11 km2. Counts: nothing.
double tolerance(const std::string& a, const std::string& b) {
    if (const double size = std::fabs(std::stod(b)); b.find_first_of("eE") != b.npos)
        return std::max(0.02 * size, size > 1e-6 ? 3e-5 : 3e-11);
    const auto decimals = [](const std::string& s) { return s.find('.') == s.npos ? 0 : s.size() - s.find('.') - 1; };
    const auto shown = static_cast<double>(std::max(decimals(a), decimals(b)));
    return shown > 0.0 ? std::max({1.5 * std::pow(10.0, -shown), 1e-9 * std::fabs(std::stod(b)), 1e-4}) : 0.0;
}

bool same(const std::string& a, const std::string& b) {
    static const std::regex pattern("-?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][-+]?[0-9]+)?");
    const std::sregex_iterator end;
    std::size_t at_a = 0, at_b = 0;
    for (std::sregex_iterator i(a.begin(), a.end(), pattern), j(b.begin(), b.end(), pattern); i != end || j != end;
         ++i, ++j) {
        if (i == end || j == end || i->prefix() != j->prefix()) return false;
        const std::string x = i->str(), y = j->str();
        const double value = std::stod(x), other = std::stod(y);
        if (std::fabs(value - other) > tolerance(x, y) || (value == other && value != 0.0 && x != y)) return false;
        at_a = static_cast<std::size_t>(i->position()) + x.size();
        at_b = static_cast<std::size_t>(j->position()) + y.size();
    }
    return a.substr(at_a) == b.substr(at_b);
}

class Baseline : public testing::TestWithParam<std::string> {};

TEST_P(Baseline, IsWhatItWas) {
    if (!std::filesystem::exists(kProgram)) GTEST_SKIP() << "the host program is not built";
    const auto record = kBaseline / (GetParam() + ".txt");
    const std::string now = outcome(GetParam());
    if (std::getenv("LEOPOD_RECORD") != nullptr) {
        std::ofstream(record) << now;
        GTEST_SKIP() << "recorded";
    }
    std::stringstream found(now), wanted(read_file(record));
    std::string a, b;
    int differences = 0;
    while (true) {
        const bool more = static_cast<bool>(std::getline(found, a)),
                   expected = static_cast<bool>(std::getline(wanted, b));
        ASSERT_EQ(more, expected) << (more ? a : b);
        if (!more || differences == 10) break;
        const bool equal = same(a, b);
        differences += equal ? 0 : 1;
        EXPECT_TRUE(equal) << "was " << b << "\nis  " << a;
    }
}

INSTANTIATE_TEST_SUITE_P(Commands, Baseline, testing::ValuesIn(scripts()), [](const auto& info) { return info.param; });

}  // namespace
