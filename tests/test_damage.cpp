// Systematic damage: one good file of each format, damaged in every place in turn. Nothing crashes or hangs, and what a
// damaged line doesn't touch is kept.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <cstring>
#include <set>

#include "../host/blq.h"
#include "../host/csv.h"
#include "../host/error.h"
#include "../host/truth.h"
#include "formats.h"
#include "observation_laser_ranging.h"

namespace {

using support::Format;
using support::Kept;
using support::kFormats;

// --- readers of lines, and of the program ------------------------------------------------------------------------------

/// Result of a reader of lines.
template <auto read, typename Record>
int into_record(char* line) {
    static Record record;
    record = Record{};
    return read(line, &record);
}

Kept load_laser_ranging(char* name) {
    using Read = int (*)(char*);
    static constexpr std::pair<const char*, Read> kKinds[] = {
        {"H1", into_record<read_h1, rh1>},  {"H2", into_record<read_h2, rh2>},  {"H3", into_record<read_h3, rh3>},
        {"H4", into_record<read_h4, rh4>},  {"H5", into_record<read_h5, rh5>},  {"C0", into_record<read_c0, rc0>},
        {"C1", into_record<read_c1, rc1>},  {"C2", into_record<read_c2, rc2>},  {"C3", into_record<read_c3, rc3>},
        {"C4", into_record<read_c4, rc4>},  {"C5", into_record<read_c5, rc5>},  {"C6", into_record<read_c6, rc6>},
        {"C7", into_record<read_c7, rc7>},  {"10", into_record<read_10, rd10>}, {"11", into_record<read_11, rd11>},
        {"12", into_record<read_12, rd12>}, {"20", into_record<read_20, rd20>}, {"21", into_record<read_21, rd21>},
        {"30", into_record<read_30, rd30>}, {"40", into_record<read_40, rd40>}, {"41", into_record<read_41, rd40>},
        {"42", into_record<read_42, rd42>}, {"50", into_record<read_50, rd50>}, {"60", into_record<read_60, rd60>},
        {"91", into_record<read_9x, rd9x>}, {"00", into_record<read_00, rd00>},
    };
    format_version = 0;
    Kept kept;
    char line[1024];
    std::FILE* const file = std::filesystem::is_regular_file(name) ? std::fopen(name, "r") : nullptr;
    while (file != nullptr && std::fgets(line, sizeof line, file) != nullptr) {
        for (const auto& [id, read] : kKinds) {
            if (std::strncmp(line, id, 2) != 0) continue;
            ++kept.records;
            kept.sum = 0.5 * kept.sum + read(line);
        }
    }
    if (file != nullptr) std::fclose(file);
    return kept;
}

/// What a reader of the program keeps; nothing of a file that it refuses with a text.
Kept accepted(const std::function<Kept()>& read) {
    try {
        return read();
    } catch (const host::InputError& e) {
        EXPECT_GT(std::strlen(e.what()), 0u);
        return {};
    }
}

Kept load_truth(char* name) {
    return accepted([name] {
        const GTime first = mjd2GTime(tsGPST, 59232.0);
        const host::Truth truth = host::Truth::load(name, first);
        host::Vector3 position{}, velocity{};
        truth.state_at(gtimeAddSec(first, 615.0), position, velocity);
        return Kept{static_cast<int>(truth.size()), position[0] + velocity[1]};
    });
}

Kept load_columns(char* name) {
    return accepted([name] {
        Kept kept;
        host::CsvReader rows(name);
        for (const int x = rows.require("x_m", "?"); rows.next(); ++kept.records) kept.sum += rows.number(x);
        return kept;
    });
}

Kept load_ocean_loading(char* name) {
    return accepted([name] {
        const host::OceanLoading hill = host::read_ocean_loading(name, "hill,");
        return Kept{1, hill.table[0][0] + hill.table[5][10]};
    });
}

const Format kOtherFormats[] = {
    {"laser_ranging1.crd", 13, 1, false, load_laser_ranging},
    {"laser_ranging2.crd", 34, 1, false, load_laser_ranging},
    {"host_csv.csv", 20, 20, false, load_truth, true},
    {"host_csv.csv", 20, 20, false, load_columns, true},
    {"ocean_loading.blq", 1, 1, false, load_ocean_loading, true},
};

// --- damage ---------------------------------------------------------------------------------------------------------------

struct Damage {
    std::string what, text;
};

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size() - 1);
        lines.push_back(text.substr(at, end - at + 1));
        at = end + 1;
    }
    return lines;
}

std::string join(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line;
    return text;
}

std::vector<Damage> truncations(const std::string& good) {
    std::vector<Damage> all;
    // Long files are cut at every byte of their ends, and in steps of a prime between.
    for (std::size_t n = 0; n < good.size(); n += n < 2500 || n + 500 > good.size() ? 1 : 17)
        all.push_back({"cut to " + std::to_string(n), good.substr(0, n)});
    return all;
}

std::vector<Damage> whole_lines(const std::string& good) {
    std::vector<Damage> all;
    std::vector<std::string> lines = lines_of(good);
    const std::size_t step = lines.size() / 200 + 1;
    for (std::size_t i = 0; i < lines.size(); i += step) {
        std::vector<std::string> other = lines;
        other.erase(other.begin() + static_cast<long>(i));
        all.push_back({"line " + std::to_string(i) + " dropped", join(other)});
        other = lines;
        other.insert(other.begin() + static_cast<long>(i), lines[i]);
        all.push_back({"line " + std::to_string(i) + " doubled", join(other)});
    }
    return all;
}

std::vector<Damage> characters(const std::string& good) {
    std::vector<Damage> all;
    std::size_t digits = 0;
    for (std::size_t i = 0; i < good.size(); ++i) {
        if (std::isdigit(static_cast<unsigned char>(good[i])) == 0) continue;
        if (++digits > 1200 && digits % 13 != 0) continue;
        Damage damage{"letter at " + std::to_string(i), good};
        damage.text[i] = 'x';
        all.push_back(damage);
        damage.what = "null byte at " + std::to_string(i);
        damage.text[i] = '\0';
        if (digits % 3 == 0) all.push_back(damage);
    }
    return all;
}

std::vector<Damage> numbers(const std::string& good) {
    std::vector<Damage> all;
    const std::vector<std::string> lines = lines_of(good);
    const std::size_t step = lines.size() / 60 + 1;
    const std::string numeric = "+-.0123456789EeDd";
    for (const std::string number : {"1e400", "-1e400", "nan", "inf", "-inf", "-0", "99999999999999999999", "%s%n"}) {
        for (std::size_t i = 0; i < lines.size(); i += step) {
            // Each number of the line in turn, with the columns behind it kept where the new text is shorter.
            for (std::size_t at = 0; (at = lines[i].find_first_of("0123456789", at)) != std::string::npos;) {
                std::size_t end = std::min(lines[i].find_first_not_of(numeric, at), lines[i].size());
                std::string line = lines[i], text = number;
                if (text.size() < end - at) text.resize(end - at, ' ');
                line.replace(at, end - at, text);
                std::vector<std::string> other = lines;
                other[i] = line;
                all.push_back({number + " in line " + std::to_string(i), join(other)});
                at = end;
            }
        }
    }
    return all;
}

std::vector<Damage> whole_files(const std::string& good) {
    std::string crlf, nul = good;
    for (const char c : good) crlf += c == '\n' ? "\r\n" : std::string(1, c);
    std::string giant = good;
    giant.insert(good.size() / 2, std::string(1 << 20, '7'));
    return {{"carriage returns", crlf},
            {"byte-order mark", "\xEF\xBB\xBF" + good},
            {"a line of one megabyte first", std::string(1 << 20, 'x') + "\n" + good},
            {"a megabyte of digits within a line", giant},
            {"a megabyte of null bytes", good + std::string(1 << 20, '\0')},
            {"empty lines", "\n\n\n" + good},
            {"twice the file", good + good},
            {"no newline at the end", good.substr(0, good.size() - 1)},
            {"empty", ""}};
}

/// One of so many, where the environment says so: a machine that is emulated takes long for each.
std::vector<Damage> thinned(const std::vector<Damage>& all) {
    const char* const step = std::getenv("LEOPOD_DAMAGE_STEP");
    if (step == nullptr) return all;
    std::vector<Damage> some;
    for (std::size_t i = 0; i < all.size(); i += std::max(1, std::atoi(step))) some.push_back(all[i]);
    return some;
}

/// Loads every damaged text in children: a documented end costs one child, anything else than that or survival is a fault. A hang ends by the alarm.
struct Outcome {
    std::vector<int> records;  ///< -1 where the process ended as documented
};

Outcome load_all(const Format& format, const std::vector<Damage>& cases) {
    struct Shared {
        int next;
        int records[1];
    };
    const std::size_t bytes = sizeof(Shared) + cases.size() * sizeof(int);
    auto* shared =
        static_cast<Shared*>(mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    const std::string name = (support::temp_dir() / (std::string("damaged_") + format.file)).string();
    std::size_t next = 0;
    while (next < cases.size()) {
        const pid_t child = fork();
        if (child == 0) {
            for (std::size_t i = next; i < cases.size(); ++i) {
                shared->next = static_cast<int>(i);
                shared->records[i] = -1;
                std::ofstream(name, std::ios::binary) << cases[i].text;
                alarm(20);
                shared->records[i] = format.load(std::string(name).data()).records;
            }
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0) break;
        const auto at = static_cast<std::size_t>(shared->next);
        const bool documented = WIFEXITED(status) && WEXITSTATUS(status) == 1 && format.may_stop;
        EXPECT_TRUE(documented) << format.file << ", " << cases[at].what << ": "
                                << (WIFSIGNALED(status) ? "signal " : "status ")
                                << (WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
        if (!documented) break;
        next = at + 1;
    }
    Outcome outcome{{shared->records, shared->records + cases.size()}};
    munmap(shared, bytes);
    return outcome;
}

class Damaged : public testing::TestWithParam<Format> {
  protected:
    const std::string good = support::read_file(support::test_file(GetParam().file));
};

TEST_P(Damaged, NothingCrashesAndTheRestIsKept) {
    const Format& format = GetParam();
    ASSERT_FALSE(good.empty());
    // Kept in full: the good file, and damage that takes nothing away.
    const Outcome intact = load_all(format, {{"good", good}, {"good again", good}});
    EXPECT_EQ(intact.records, std::vector<int>(2, format.records));

    std::size_t inputs = 0;
    for (const auto make : {truncations, characters, numbers})
        inputs += load_all(format, thinned(make(good))).records.size();
    const std::vector<Damage> lines = thinned(whole_lines(good));
    const Outcome outcome = load_all(format, lines);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (outcome.records[i] < 0) continue;
        EXPECT_GE(outcome.records[i], format.records - format.shared) << format.file << ", " << lines[i].what;
        EXPECT_LE(outcome.records[i], format.records + format.shared) << format.file << ", " << lines[i].what;
    }
    const std::vector<Damage> files = whole_files(good);
    const Outcome whole = load_all(format, files);
    EXPECT_EQ(whole.records[0], format.records) << files[0].what;
    RecordProperty("inputs", static_cast<int>(inputs + lines.size() + files.size()));  // docs/robustness.md
}

/// A directory, a pipe without a writer, an absent file, and a name that must not act as a format.
TEST_P(Damaged, NamesThatAreNoFiles) {
    const Format& format = GetParam();
    const std::string directory = (support::temp_dir() / "directory").string();
    const std::string pipe = (support::temp_dir() / "pipe").string();
    const std::string odd = (support::temp_dir() / "name%s%n%s").string();
    std::filesystem::create_directories(directory);
    mkfifo(pipe.c_str(), 0600);
    std::ofstream(odd) << good;
    for (const std::string& name : {directory, pipe, odd, odd + ".absent"}) {
        if (name == pipe && format.waits) continue;
        const pid_t child = fork();
        if (child == 0) {
            support::LogRecorder log;
            alarm(20);
            const Kept kept = format.load(std::string(name).data());
            _exit(name == odd && kept.records != format.records ? 2 : 0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && (WEXITSTATUS(status) == 0 || (WEXITSTATUS(status) == 1 && format.may_stop)))
            << format.file << " as " << name << ": " << status;
    }
}

/// Name of a locale with a decimal comma: an installed one, or one compiled here. Null without.
const char* comma_locale() {
    constexpr const char* kNames[] = {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE.utf8"};
    for (int attempt = 0; attempt < 2; ++attempt) {
        for (const char* name : kNames) {
            const bool there = std::setlocale(LC_ALL, name) != nullptr;
            std::setlocale(LC_ALL, "C");
            if (there) return name;
        }
        const std::string made = (support::temp_dir() / kNames[0]).string();
        if (std::system(("localedef -f UTF-8 -i de_DE --no-archive " + made + " >/dev/null 2>&1").c_str()) != 0) break;
        setenv("LOCPATH", support::temp_dir().c_str(), 1);
    }
    return nullptr;
}

/// A locale with a decimal comma changes nothing.
TEST_P(Damaged, CommaLocale) {
    const Format& format = GetParam();
    const char* found = comma_locale();
    if (found == nullptr) GTEST_SKIP() << "no locale with a decimal comma can be had (package locales)";
    std::setlocale(LC_ALL, found);
    char text[8];
    std::snprintf(text, sizeof text, "%.1f", 0.5);
    ASSERT_STREQ(text, "0,5");
    const std::string name = support::write_temp("comma", good);

    const Kept comma = format.load(std::string(name).data());
    std::setlocale(LC_ALL, "C");
    const Kept plain = format.load(std::string(name).data());
    EXPECT_EQ(comma.records, format.records);
    EXPECT_EQ(comma.sum, plain.sum);
}

INSTANTIATE_TEST_SUITE_P(Formats, Damaged, testing::ValuesIn(kFormats));
INSTANTIATE_TEST_SUITE_P(OtherFormats, Damaged, testing::ValuesIn(kOtherFormats));

}  // namespace
