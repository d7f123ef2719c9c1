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
    const std::size_t first = joined.find_first_not_of(' ');
    return first == std::string::npos ? "" : joined.substr(first, joined.find_last_not_of(' ') - first + 1);
}

/// Position behind the literal (or character) that begins at `i`.
std::size_t behind_literal(const std::string& code, std::size_t i) {
    const char quote = code[i];
    for (++i; i < code.size() && code[i] != quote; ++i) i += code[i] == '\\';
    return i + 1;
}

bool is_literal(const std::string& code, std::size_t i) {
    return code[i] == '"' || (code[i] == '\'' && i > 0 && std::isdigit(static_cast<unsigned char>(code[i - 1])) == 0);
}

/// A source file with its comments blanked out.
std::string code_of(const Path& file) {
    std::string code = support::read_file(file);
    for (std::size_t i = 0; i < code.size();) {
        if (is_literal(code, i)) {
            i = behind_literal(code, i);
        } else if (code.compare(i, 2, "//") == 0) {
            while (i < code.size() && code[i] != '\n') code[i++] = ' ';
        } else {
            ++i;
        }
    }
    return code;
}

/// String literals of a piece of code, neighbours joined, escapes resolved, as a reader of the log sees them.
std::vector<std::string> literals(const std::string& code) {
    std::vector<std::string> all;
    std::size_t end = std::string::npos;
    for (std::size_t i = 0; i < code.size();) {
        if (!is_literal(code, i)) {
            ++i;
            continue;
        }
        const std::size_t next = behind_literal(code, i);
        std::string text = code.substr(i + 1, next - i - 2);
        text = std::regex_replace(text, std::regex(R"(\\n)"), " ");
        text = std::regex_replace(text, std::regex(R"(\\(.))"), "$1");
        const bool joined = end != std::string::npos && one_blank(code.substr(end, i - end)).empty();
        if (code[i] == '"' && joined) {
            all.back() += text;
        } else if (code[i] == '"') {
            all.push_back(text);
        }
        end = next;
        i = next;
    }
    for (std::string& text : all) text = one_blank(std::regex_replace(text, std::regex("%%"), "%"));
    return all;
}

struct Call {
    std::string function, arguments;
    std::size_t begin, end;
};

/// Calls of the listed functions, in order.
std::vector<Call> calls(const std::string& code, const std::string& functions) {
    std::vector<Call> found;
    const std::regex pattern("\\b(" + functions + ")\\(");
    for (std::sregex_iterator it(code.begin(), code.end(), pattern), last; it != last; ++it) {
        const auto open = static_cast<std::size_t>(it->position() + it->length());
        int depth = 1;
        std::size_t i = open;
        while (i < code.size() && depth > 0) {
            if (is_literal(code, i)) {
                i = behind_literal(code, i);
                continue;
            }
            depth += code[i] == '(' ? 1 : code[i] == ')' ? -1 : 0;
            ++i;
        }
        found.push_back({(*it)[1], code.substr(open, i - open - 1), static_cast<std::size_t>(it->position()), i});
    }
    return found;
}

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
    std::size_t at = 0;
    bool anywhere = false;
    for (std::size_t i = 0; i <= format.size();) {
        const std::size_t next = std::min(format.find("%s", i), format.size());
        const std::string piece = format.substr(i, next - i);
        const std::size_t found = anywhere                                     ? text.find(piece, at)
                                  : text.compare(at, piece.size(), piece) == 0 ? at
                                                                               : std::string::npos;
        if (found == std::string::npos) return false;
        at = found + piece.size();
        if (next == format.size()) return at == text.size() || (anywhere && piece.empty());
        anywhere = true;
        i = next + 2;
    }
    return false;
}

/// What the library can log at warning level or above: format and the names of its levels.
struct Message {
    std::string file, format, level;
};

/// Level of a call: "warning", "error", "critical", "always"; empty for the lower ones.
std::string level_of(const std::string& arguments) {
    for (const char* name : {"WARNING", "ERROR", "CRITICAL", "ALWAYS"}) {
        if (arguments.find(std::string("ULOG_") + name + "_LEVEL") == std::string::npos) continue;
        std::string level = name;
        std::transform(level.begin(), level.end(), level.begin(),
                       [](char c) { return static_cast<char>(std::tolower(c)); });
        return level;
    }
    return "";
}

std::vector<Message> messages() {
    std::vector<Message> all;
    for (const Path& path : sources()) {
        const std::string file = path.filename().string();
        const std::string code = code_of(path);
        std::string said;  // text that stands in a buffer when "%s" is reported
        for (const Call& call :
             calls(code, "report|report_at|warn_limit|stop|reject|read_validity|solve_reduced|snprintf")) {
            const std::vector<std::string> texts = literals(call.arguments);
            if (call.function == "warn_limit") {
                // the file name may be a literal; the last one says what is limited
                if (!texts.empty() && call.arguments.find("what") == std::string::npos)
                    all.push_back({file, "%s: more than %d " + texts.back() + ", the excess is dropped", "warning"});
            } else if (call.function == "snprintf") {
                said = texts.empty() ? "" : texts.back();
            } else if (call.function == "report" || call.function == "report_at") {
                const std::string level = level_of(call.arguments);
                if (level.empty() || texts.empty()) continue;
                // report_at may have the names of module and function first
                std::string format = call.function == "report_at" ? texts.back() : texts[0];
                if (format == "%s" && call.arguments.find("->msg") != std::string::npos) format = said;
                if (format != "%s") all.push_back({file, format, level});
            } else if (!texts.empty()) {  // the text goes to a report in the function called
                all.push_back({file, texts[0] + (call.function == "reject" ? "%s" : ""), ""});
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
    for (const Message& message : logged) {
        bool found = false;
        for (const Row& row : known) {
            found =
                found || (is_instance(message.format, row.text) && row.second.find(message.level) != std::string::npos);
        }
        EXPECT_TRUE(found) << message.file << " logs at level " << message.level
                           << ", and docs/failures.md hasn't it: " << message.format;
    }
    // ... and nothing else
    for (const Row& row : rows(page.substr(0, page.find("\n## Ends of the process")))) {
        const bool logs = std::any_of(logged.begin(), logged.end(), [&row](const Message& message) {
            return is_instance(message.format, row.text) || (row.text.find("more than %d") != std::string::npos &&
                                                             message.format.find("more than") != std::string::npos);
        });
        EXPECT_TRUE(logs) << "docs/failures.md has a text that no module logs: " << row.text;
    }
}

TEST(Failures, EveryEndOfTheProcessStandsInItsTable) {
    const std::string page = support::read_file(kDocs / "failures.md");
    const std::size_t begin = page.find("\n## Ends of the process");
    ASSERT_NE(begin, std::string::npos);
    const std::vector<Row> known = rows(page.substr(begin, page.find("\n## Memory") - begin));
    std::set<std::string> seen;
    for (const Path& path : sources()) {
        const std::string code = code_of(path);
        std::string last;
        for (const Call& call : calls(code, "report|report_at|read_validity|exit|stop|stop_if_full")) {
            const std::vector<std::string> texts = literals(call.arguments);
            const std::size_t line = code.rfind('\n', call.begin) + 1;
            if (code.compare(line, 12, "[[noreturn]]") == 0) continue;  // a definition: its calls count
            if (call.function == "report" || call.function == "report_at") {
                last = texts.empty() ? last : texts[0];
                continue;
            }
            if (call.function == "read_validity" && texts.empty()) continue;
            const std::string text = texts.empty() ? last : texts[0];
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
        const std::string code = code_of(path);
        std::smatch match;
        EXPECT_FALSE(std::regex_search(code, match, other)) << path.filename() << ": " << match.str();
    }
}

// --- settled behaviour -------------------------------------------------------------------------------------------------------

/// Comments of a file that mark settled behaviour, each with the lines that continue it.
std::vector<std::string> settled_comments(const Path& file) {
    std::vector<std::string> all;
    std::ifstream in(file);
    std::string line;
    bool going_on = false;
    while (std::getline(in, line)) {
        const std::size_t slashes = line.find("//");
        const bool whole = slashes != std::string::npos && line.find_first_not_of(' ') == slashes;
        const std::string comment = slashes == std::string::npos ? "" : line.substr(slashes);
        if (comment.find("ettled") != std::string::npos) {
            all.push_back(comment);
            going_on = whole;
        } else if (going_on && whole) {
            all.back() += comment;
        } else {
            going_on = false;
        }
    }
    return all;
}

/// First five letters of the words of a text that say something.
std::set<std::string> stems(const std::string& text) {
    static const std::set<std::string> empty = {
        "settl", "that",  "which", "with", "from", "this", "than", "where", "what", "they", "their", "does", "have",
        "only",  "there", "into",  "also", "both", "the",  "and",  "not",   "are",  "for",  "its",   "has"};
    std::set<std::string> all;
    std::string word;
    for (const char c : text + " ") {
        if (std::isalnum(static_cast<unsigned char>(c)) != 0) {
            word += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
            continue;
        }
        const bool number = !word.empty() && std::isdigit(static_cast<unsigned char>(word[0])) != 0;
        if ((word.size() > 2 || number) && empty.count(word.substr(0, 5)) == 0) all.insert(word.substr(0, 5));
        word.clear();
    }
    return all;
}

/// Sections of docs/settled.md: heading to its lines.
std::map<std::string, std::vector<std::string>> settled_sections() {
    std::map<std::string, std::vector<std::string>> all;
    std::ifstream in(kDocs / "settled.md");
    std::string line;
    std::vector<std::string>* section = nullptr;
    while (std::getline(in, line)) {
        if (line.rfind("## ", 0) == 0) {
            section = &all[line];
        } else if (section != nullptr && line.rfind("- ", 0) == 0) {
            section->push_back(line);
        } else if (section != nullptr && line.rfind("  ", 0) == 0 && !section->empty()) {
            section->back() += " " + line;
        }
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

TEST(Settled, EveryLineSaysWhyItStays) {
    for (const auto& [heading, lines] : settled_sections()) {
        EXPECT_FALSE(lines.empty()) << heading;
        for (const std::string& line : lines)
            EXPECT_NE(line.find(" Why: "), std::string::npos) << heading << ": " << line;
    }
}

}  // namespace
