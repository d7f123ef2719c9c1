// docs/failures.md against the library's sources: no text at warning level or above and no end of the process is missing
// there. docs/settled.md against the comments that mark settled behaviour.
#include <algorithm>
#include <map>
#include <regex>
#include <set>

#include "support.h"

namespace {

using Path = std::filesystem::path;
const Path kSource = Path(LEOPOD_SOURCE_DIR) / "src";
const Path kDocs = Path(LEOPOD_SOURCE_DIR) / "docs";

std::vector<Path> sources() {
    std::vector<Path> files;
    for (const auto& entry : std::filesystem::directory_iterator(kSource)) {
        if (entry.path().extension() == ".cpp") files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

std::string one_blank(const std::string& text) {
    const std::string joined = std::regex_replace(text, std::regex("\\s+"), " ");
    return std::regex_replace(joined, std::regex("^ | $"), "");
}

/// A source file without comments, its literals numbered: a text of the code holds "7" where the eighth one stands.
struct Code {
    std::string text;
    std::vector<std::string> literals;  ///< neighbours joined, escapes resolved, as a reader of the log sees them

    explicit Code(const Path& file) {
        const std::string all = support::read_file(file);
        const std::regex token(R"(("(?:[^"\\]|\\.)*"\s*)+|'(?:[^'\\]|\\.)'|//[^\n]*|[^"'/\n]+|[^])");
        const std::regex literal(R"x("((?:[^"\\]|\\.)*)")x"), newline(R"(\\n)"), escape(R"(\\(.))");
        for (std::sregex_iterator it(all.begin(), all.end(), token), last; it != last; ++it) {
            const std::string piece = it->str();
            if (piece[0] == '"') {
                text += "\"" + std::to_string(literals.size()) + "\"";
                std::string joined;
                for (std::sregex_iterator part(piece.begin(), piece.end(), literal); part != last; ++part)
                    joined += (*part)[1];
                joined = std::regex_replace(std::regex_replace(joined, newline, " "), escape, "$1");
                literals.push_back(one_blank(std::regex_replace(joined, std::regex("%%"), "%")));
            } else if (piece[0] != '\'' && piece.compare(0, 2, "//") != 0) {
                text += piece;
            }
        }
    }

    struct Call {
        std::string function, arguments;
        std::vector<std::string> texts;
        bool definition;  ///< of a function that does not return: the calls of it count
    };
    /// Calls of the listed functions, in order.
    std::vector<Call> calls(const std::string& functions) const {
        std::vector<Call> found;
        const std::regex pattern(R"((\[\[noreturn\]\][^\n]*)?\b()" + functions +
                                 R"()\(((?:[^()]|\((?:[^()]|\((?:[^()]|\([^()]*\))*\))*\))*)\))");
        const std::regex number("\"([0-9]+)\"");
        for (std::sregex_iterator it(text.begin(), text.end(), pattern), last; it != last; ++it) {
            Call call{(*it)[2], (*it)[3], {}, (*it)[1].matched};
            for (std::sregex_iterator n(call.arguments.begin(), call.arguments.end(), number); n != last; ++n)
                call.texts.push_back(literals[std::stoul((*n)[1])]);
            found.push_back(call);
        }
        return found;
    }
};

/// Rows of the tables of a page: the text in backticks that opens the row, and the cell behind it.
struct Row {
    std::string text, second;
};

std::vector<Row> rows(const std::string& page) {
    std::vector<Row> all;
    const std::regex pattern(R"(\n\| `([^`]+)`[^|]*\| ([^|]*)\|)");
    for (std::sregex_iterator it(page.begin(), page.end(), pattern), last; it != last; ++it) {
        all.push_back({one_blank((*it)[1]), (*it)[2]});
    }
    return all;
}

/// True if a text of the page is an instance of a format: "%s" stands for anything.
bool is_instance(const std::string& format, const std::string& text) {
    static std::map<std::string, std::regex> patterns;
    if (patterns.count(format) == 0) {
        const std::string plain = std::regex_replace(format, std::regex(R"([.^$|()\[\]{}*+?\\])"), R"(\$&)");
        patterns[format] = std::regex(std::regex_replace(plain, std::regex("%s"), ".*"));
    }
    return std::regex_match(text, patterns[format]);
}

/// What the library can log at warning level or above: format and the name of its level.
struct Message {
    std::string file, format, level;
};

/// Level of a call, as the page names it; empty for the lower ones.
std::string level_of(const std::string& arguments) {
    std::smatch match;
    if (!std::regex_search(arguments, match, std::regex("ULOG_(WARNING|ERROR|CRITICAL|ALWAYS)_LEVEL"))) return "";
    std::string level = match[1];
    for (char& c : level) c = static_cast<char>(std::tolower(c));
    return level;
}

std::vector<Message> messages() {
    std::vector<Message> all;
    for (const Path& path : sources()) {
        const std::string file = path.filename().string();
        std::string said;  // text that stands in a buffer when "%s" is reported
        for (const Code::Call& call :
             Code(path).calls("report|report_at|warn_limit|stop|reject|read_validity|solve_reduced|snprintf")) {
            if (call.texts.empty()) {
                if (call.function == "snprintf") said = "";
            } else if (call.function == "warn_limit") {
                // the file name may be a literal; the last one says what is limited
                if (call.arguments.find("what") == std::string::npos)
                    all.push_back(
                        {file, "%s: more than %d " + call.texts.back() + ", the excess is dropped", "warning"});
            } else if (call.function == "snprintf") {
                said = call.texts.back();
            } else if (call.function == "report" || call.function == "report_at") {
                // report_at may have the names of module and function first
                std::string format = call.function == "report_at" ? call.texts.back() : call.texts[0];
                const std::string level = level_of(call.arguments);
                if (format == "%s" && call.arguments.find("->msg") != std::string::npos) format = said;
                if (format != "%s" && !level.empty()) all.push_back({file, format, level});
            } else {  // the text goes to a report in the function called
                all.push_back({file, call.texts[0] + (call.function == "reject" ? "%s" : ""), ""});
            }
        }
    }
    return all;
}

TEST(Failures, EveryMessageStandsInTheReferenceWithItsLevel) {
    const std::string page = support::read_file(kDocs / "failures.md");
    const std::vector<Row> known = rows(page);
    const std::vector<Message> logged = messages();
    EXPECT_GT(logged.size(), 160u);
    for (const Message& m : logged) {
        EXPECT_TRUE(std::any_of(known.begin(), known.end(),
                                [&](const Row& row) {
                                    return is_instance(m.format, row.text) &&
                                           row.second.find(m.level) != std::string::npos;
                                }))
            << m.file << " logs at level " << m.level << ", and docs/failures.md hasn't it: " << m.format;
    }
    // ... and nothing else
    for (const Row& row : rows(page.substr(0, page.find("\n## Ends of the process")))) {
        const bool limit = row.text.find("more than %d") != std::string::npos;
        EXPECT_TRUE(std::any_of(logged.begin(), logged.end(),
                                [&](const Message& m) {
                                    return is_instance(m.format, row.text) ||
                                           (limit && m.format.find("more than") != std::string::npos);
                                }))
            << "docs/failures.md has a text that no module logs: " << row.text;
    }
}

TEST(Failures, EveryEndOfTheProcessStandsInItsTable) {
    const std::string page = support::read_file(kDocs / "failures.md");
    const std::size_t begin = page.find("\n## Ends of the process");
    ASSERT_NE(begin, std::string::npos);
    const std::vector<Row> known = rows(page.substr(begin, page.find("\n## Memory") - begin));
    std::set<std::string> seen;
    for (const Path& path : sources()) {
        std::string last;
        for (const Code::Call& call : Code(path).calls("report|report_at|read_validity|exit|stop|stop_if_full")) {
            if (call.definition) continue;
            if (call.function == "report" || call.function == "report_at") {
                last = call.texts.empty() ? last : call.texts[0];
                continue;
            }
            if (call.function == "read_validity" && call.texts.empty()) continue;
            const std::string text = call.texts.empty() ? last : call.texts[0];
            if (text == "%s") continue;  // in a function that is given the text
            seen.insert(text);
            EXPECT_TRUE(
                std::any_of(known.begin(), known.end(), [&](const Row& row) { return is_instance(text, row.text); }))
                << path.filename() << " ends the process, and the table hasn't it: " << text;
        }
    }
    for (const Row& row : known) {
        EXPECT_TRUE(
            std::any_of(seen.begin(), seen.end(), [&](const std::string& text) { return is_instance(text, row.text); }))
            << "no code ends the process with: " << row.text;
    }
}

// What would end the process in another way, or leave a function by an exception.
TEST(Failures, NothingElseEndsTheProcess) {
    const std::regex other(
        R"(\b(abort|terminate|quick_exit|_exit|_Exit|raise|kill|assert|longjmp|throw|rethrow_exception|stoi|stol|stod|stof)\s*\(|\bthrow\b|\.at\(|dynamic_cast|std::(vector|string|function|map|set|list|deque|regex)\b|make_(unique|shared)|[=(]\s*new [^(])");
    for (const Path& path : sources()) {
        const std::string code = Code(path).text;
        std::smatch match;
        EXPECT_FALSE(std::regex_search(code, match, other)) << path.filename() << ": " << match.str();
    }
}

// --- settled behaviour -------------------------------------------------------------------------------------------------------

/// All matches of a pattern.
std::vector<std::string> matches(const std::string& text, const std::string& pattern) {
    const std::regex regex(pattern);
    return {std::sregex_token_iterator(text.begin(), text.end(), regex), std::sregex_token_iterator()};
}

/// Comments of a file that mark settled behaviour, each with the lines that continue it.
std::vector<std::string> settled_comments(const Path& file) {
    return matches(support::read_file(file), R"(\n *//[^\n]*ettled[^\n]*(\n *//[^\n]*)*|//[^\n]*ettled[^\n]*)");
}

/// First five letters of the longer words of a text, and its numbers.
std::set<std::string> stems(const std::string& text) {
    std::set<std::string> all;
    for (std::string stem : matches(text, "[0-9][A-Za-z0-9]*|[A-Za-z][A-Za-z0-9]{2,}")) {
        for (char& c : stem) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        all.insert(stem.substr(0, 5));
    }
    // words that say nothing
    std::istringstream empty(
        "settl that which with from this than where what they their does have only there into also both the and not "
        "are "
        "for its has");
    for (std::string stem; empty >> stem;) all.erase(stem);
    return all;
}

/// Sections of docs/settled.md: heading to its items.
std::map<std::string, std::vector<std::string>> settled_sections() {
    std::map<std::string, std::vector<std::string>> all;
    const std::string page = support::read_file(kDocs / "settled.md");
    for (std::size_t at = page.find("\n## "), next; at != std::string::npos; at = next) {
        next = page.find("\n## ", at + 1);
        const std::string section = page.substr(at + 1, next == std::string::npos ? next : next - at - 1);
        all[section.substr(0, section.find('\n'))] = matches(section, "\n- [^\n]*(\n  [^\n]*)*");
    }
    return all;
}

TEST(Settled, EveryCommentHasALineInTheSectionOfItsModule) {
    const auto sections = settled_sections();
    int comments = 0;
    for (const Path& path : sources()) {
        const std::string module = path.stem().string();
        std::vector<std::string> lines;
        for (const auto& [heading, list] : sections) {
            if (std::regex_search(heading, std::regex("\\b" + module + "\\b")))
                lines.insert(lines.end(), list.begin(), list.end());
        }
        for (const std::string& comment : settled_comments(path)) {
            ++comments;
            const std::set<std::string> wanted = stems(comment);
            std::size_t best = 0;
            for (const std::string& line : lines) {
                std::size_t shared = 0;
                for (const std::string& stem : stems(line)) shared += wanted.count(stem);
                best = std::max(best, shared);
            }
            EXPECT_GE(best, std::min<std::size_t>(3, wanted.size()))
                << "no line of docs/settled.md in the section of " << module << " shares three words with: " << comment;
        }
    }
    EXPECT_GT(comments, 180);
}

}  // namespace
