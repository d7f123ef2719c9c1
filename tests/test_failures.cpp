// docs/failures.md against the library's sources: no text at warning level or above and no end of the process is missing
// there, and none is there that no module has.
#include <algorithm>
#include <regex>

#include "support.h"

namespace {

const std::filesystem::path kRoot = LEOPOD_SOURCE_DIR;
const std::string kLiteral = R"x("(?:[^"\\]|\\.)*")x";

/// Source files without comments, characters and the heads of functions that end the process, whose calls count; by name.
std::map<std::string, std::string> sources() {
    std::map<std::string, std::string> all;
    for (const auto& entry : std::filesystem::directory_iterator(kRoot / "src")) {
        if (entry.path().extension() != ".cpp") continue;
        const std::regex other("(" + kLiteral + R"x()|'(?:[^'\\]|\\.)'|//[^\n]*|\[\[noreturn\]\][^\n]*)x");
        all[entry.path().filename()] = std::regex_replace(support::read_file(entry.path()), other, "$1");
    }
    return all;
}

std::string one_blank(const std::string& text) {
    const std::string joined = std::regex_replace(text, std::regex("\\s+"), " ");
    return std::regex_replace(joined, std::regex("^ | $"), "");
}

/// All matches of a pattern, or of a group in it.
std::vector<std::string> matches(const std::string& text, const std::string& pattern, int group = 0) {
    const std::regex regex(pattern);
    return {std::sregex_token_iterator(text.begin(), text.end(), regex, group), std::sregex_token_iterator()};
}

/// A literal as a reader of the log sees it.
std::string shown(std::string literal) {
    for (const auto& [from, to] :
         {std::pair{"\"\\s*\"|^\"|\"\\s*$", ""}, {R"(\\n)", " "}, {R"(\\(.))", "$1"}, {"%%", "%"}})
        literal = std::regex_replace(literal, std::regex(from), to);
    return one_blank(literal);
}

/// A call that reports, or that ends the process behind the report before it.
struct Call {
    std::string file, function;
    std::string level;  ///< as the page names it; empty where the function called has it
    std::string text;   ///< the format; empty where another call has it
};

std::vector<Call> calls() {
    std::vector<Call> all;
    const std::regex call(
        R"x(\b(report|report_at|warn_limit|snprintf(?=\(solt->msg)|reject|solve_reduced|read_validity|exit|stop)\()x"
        "((?:" +
        kLiteral + R"x(|[^";])*);)x");
    for (const auto& [file, code] : sources()) {
        for (std::sregex_iterator it(code.begin(), code.end(), call), last; it != last; ++it) {
            const std::string function = (*it)[1], arguments = (*it)[2];
            const auto texts = matches(arguments, "(?:" + kLiteral + "\\s*)+");
            const auto levels = matches(arguments, "ULOG_(\\w+)_LEVEL", 1);
            Call found{file, function, levels.empty() ? "" : levels[0], ""};
            for (char& c : found.level) c = static_cast<char>(std::tolower(c));
            // in front of the format may stand module and function, or the file
            const bool last_one = function == "report_at" || function == "warn_limit";
            if (!texts.empty() && arguments.find(", what)") == std::string::npos)
                found.text = shown(last_one ? texts.back() : texts.front());
            if (found.text == "%s") found.text = "";
            if (function == "warn_limit") found.text = "more than %d " + found.text;
            all.push_back(found);
        }
    }
    return all;
}

/// Rows of the tables of a page: the text in backticks that opens the row, and the cell behind it.
struct Row {
    std::string text, second;
};

std::vector<Row> rows(const std::string& page) {
    std::vector<Row> all;
    const std::regex pattern(R"(\n\| `([^`]+)`[^|]*\| ([^|]*)\|)");
    for (std::sregex_iterator it(page.begin(), page.end(), pattern), last; it != last; ++it)
        all.push_back({one_blank((*it)[1]), (*it)[2]});
    return all;
}

/// True if one of the rows is an instance of a call's format, "%s" standing for anything, and names its level.
bool any_row(const std::vector<Row>& rows, const Call& call) {
    const std::string plain = std::regex_replace(call.text, std::regex(R"([.^$|()\[\]{}*+?\\])"), R"(\$&)");
    std::string pattern = std::regex_replace(plain, std::regex("%s"), ".*");
    if (call.function == "reject") pattern += ".*";
    if (call.function == "warn_limit") pattern = "%s: " + pattern + ".*, the excess is dropped";
    const std::regex format(pattern);
    return std::any_of(rows.begin(), rows.end(), [&](const Row& row) {
        return std::regex_match(row.text, format) && row.second.find(call.level) != std::string::npos;
    });
}

TEST(Failures, EveryMessageStandsInTheReferenceWithItsLevel) {
    const std::string page = support::read_file(kRoot / "docs/failures.md");
    const std::vector<Row> known = rows(page);
    std::vector<Call> logged;
    for (const Call& call : calls()) {
        if (call.text.empty() || call.level == "info" || call.level == "debug" || call.level == "trace") continue;
        logged.push_back(call);
        const bool reported = call.function != "snprintf";  // a message of a solution may stay unsaid
        EXPECT_TRUE(!reported || any_row(known, call))
            << call.file << " logs at level " << call.level << ", and docs/failures.md hasn't it: " << call.text;
    }
    EXPECT_GT(logged.size(), 160u);
    // ... and nothing else
    for (const Row& row : rows(page.substr(0, page.find("\n## Ends of the process")))) {
        EXPECT_TRUE(std::any_of(logged.begin(), logged.end(), [&](const Call& call) { return any_row({row}, call); }))
            << "docs/failures.md has a text that no module logs: " << row.text;
    }
}

TEST(Failures, EveryEndOfTheProcessStandsInItsTable) {
    const std::string page = support::read_file(kRoot / "docs/failures.md");
    const std::size_t begin = page.find("\n## Ends of the process");
    ASSERT_NE(begin, std::string::npos);
    const std::vector<Row> known = rows(page.substr(begin, page.find("\n## Memory") - begin));
    std::vector<Call> ends;
    Call said;
    for (const Call& call : calls()) {
        if (call.function.find("report") == 0 || !call.text.empty()) said = call;
        if (call.function != "exit" && call.function != "stop" && call.function != "read_validity") continue;
        if (said.text.empty()) continue;  // in a function that is given the text
        ends.push_back(said);
        ends.back().level = "";
        EXPECT_TRUE(any_row(known, ends.back()))
            << call.file << " ends the process, and the table hasn't it: " << said.text;
    }
    for (const Row& row : known) {
        EXPECT_TRUE(std::any_of(ends.begin(), ends.end(), [&](const Call& call) { return any_row({row}, call); }))
            << "no code ends the process with: " << row.text;
    }
}

// What would end the process in another way, or leave a function by an exception.
TEST(Failures, NothingElseEndsTheProcess) {
    const std::regex other(
        R"(\b(abort|terminate|quick_exit|_exit|_Exit|raise|kill|assert|longjmp|throw|rethrow_exception|stoi|stol|stod|stof)\s*\(|\bthrow\b|\.at\(|dynamic_cast|std::(vector|string|function|map|set|list|deque|regex)\b|make_(unique|shared)|[=(]\s*new [^(])");
    for (const auto& [file, text] : sources()) {
        const std::string code = std::regex_replace(text, std::regex(kLiteral), "");
        std::smatch match;
        EXPECT_FALSE(std::regex_search(code, match, other)) << file << ": " << match.str();
    }
}

}  // namespace
