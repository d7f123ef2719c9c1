// Systematic damage: one good file of each format, damaged in every place in turn. Nothing crashes or hangs, and what a
// damaged line doesn't touch is kept.
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <regex>

#include "crd_readers.h"
#include "inputs/blq.h"
#include "inputs/crinex.h"
#include "inputs/csv.h"
#include "inputs/truth.h"
#include "readers.h"
#include "shared/error.h"

namespace {

using namespace support;

// --- readers of lines, and of the program ------------------------------------------------------------------------------

Kept load_laser_ranging(char* name) {
    format_version = 0;
    Kept kept;
    std::string line;
    const auto take = [&](const char* id, auto reader) {
        if (line.compare(0, 2, id) != 0) return;
        static typename decltype(reader)::Record record;
        record = {};
        ++kept.records;
        kept.sum = 0.5 * kept.sum + reader.read(line.data(), &record);
    };
    for (std::ifstream file(name); std::getline(file, line);) {
        each_crd_reader(take);
        take("91", CrdReader<read_9x, rd9x>{});
    }
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

/// Bytes of a file in pieces.
class FileBytes : public host::ByteSource {
  public:
    explicit FileBytes(const char* name) : in_(name, std::ios::binary) {}
    std::size_t read(char* to, std::size_t size) override {
        in_.read(to, static_cast<std::streamsize>(std::min<std::size_t>(size, 977)));
        return static_cast<std::size_t>(in_.gcount());
    }

  private:
    std::ifstream in_;
};

Kept load_compact(char* name) {
    return accepted([name] {
        FileBytes bytes(name);
        std::string text;
        const host::CrinexReport report =
            host::expand_crinex(bytes, [&text](const char* data, std::size_t size) { text.append(data, size); });
        // Whatever the damage: whole lines, and each of them RINEX.
        EXPECT_TRUE(text.empty() || text.back() == '\n');
        std::filesystem::path twin = name;
        if (std::filesystem::exists(twin.replace_extension(".rnx"))) {
            EXPECT_EQ(text, read_file(twin)) << name;
        }
        return Kept{static_cast<int>(report.epochs), static_cast<double>(text.size())};
    });
}

const Format kOtherFormats[] = {
    {"crinex1.crx", 6, 6, false, load_compact, true},
    {"crinex3.crx", 6, 6, false, load_compact, true},
    {"laser_ranging1.crd", 13, 1, false, load_laser_ranging, true},
    {"laser_ranging2.crd", 34, 1, false, load_laser_ranging, true},
    {"host_csv.csv", 20, 20, false, load_truth, true},
    {"host_csv.csv", 20, 20, false, load_columns, true},
    {"ocean_loading.blq", 1, 1, false, load_ocean_loading, true},
};

// --- damage ---------------------------------------------------------------------------------------------------------------

struct Damage {
    std::string what, text;
};

/// The good text with something else in one place.
Damage changed(const std::string& good, const char* what, std::size_t at, std::size_t length, const std::string& by) {
    return {what + (" at " + std::to_string(at)), std::string(good).replace(at, length, by)};
}

/// First characters of the lines, every so many where there are more than `most`.
std::vector<std::size_t> lines_of(const std::string& good, std::size_t most) {
    std::vector<std::size_t> all = {0}, some;
    for (std::size_t i = 0; i + 1 < good.size(); ++i) {
        if (good[i] == '\n') all.push_back(i + 1);
    }
    for (std::size_t i = 0; i < all.size(); i += all.size() / most + 1) some.push_back(all[i]);
    return some;
}

std::vector<Damage> truncations(const std::string& good) {
    std::vector<Damage> all;
    // Long files are cut at every byte of their ends, and in steps of a prime between.
    for (std::size_t n = 0; n < good.size(); n += n < 2500 || n + 500 > good.size() ? 1 : 17)
        all.push_back(changed(good, "cut", n, std::string::npos, ""));
    return all;
}

std::vector<Damage> whole_lines(const std::string& good) {
    std::vector<Damage> all;
    for (const std::size_t at : lines_of(good, 200)) {
        const std::size_t length = std::min(good.find('\n', at), good.size() - 1) - at + 1;
        all.push_back(changed(good, "line dropped", at, length, ""));
        all.push_back(changed(good, "line doubled", at, 0, good.substr(at, length)));
    }
    return all;
}

std::vector<Damage> characters(const std::string& good) {
    std::vector<Damage> all;
    std::size_t digits = 0;
    for (std::size_t i = 0; i < good.size(); ++i) {
        if (std::isdigit(static_cast<unsigned char>(good[i])) == 0) continue;
        if (++digits > 1200 && digits % 13 != 0) continue;
        all.push_back(changed(good, "letter", i, 1, "x"));
        if (digits % 3 == 0) all.push_back(changed(good, "null byte", i, 1, std::string(1, '\0')));
    }
    return all;
}

std::vector<Damage> numbers(const std::string& good) {
    std::vector<Damage> all;
    for (const char* number : {"1e400", "-1e400", "nan", "inf", "-inf", "-0", "99999999999999999999", "%s%n"}) {
        for (const std::size_t line : lines_of(good, 60)) {
            // Each number of the line in turn, with the columns behind it kept where the new text is shorter.
            const std::size_t last = std::min(good.find('\n', line), good.size());
            for (std::size_t at = line; (at = good.find_first_of("0123456789", at)) < last;) {
                const std::size_t end = std::min(good.find_first_not_of("+-.0123456789EeDd", at), last);
                std::string text = number;
                if (text.size() < end - at) text.resize(end - at, ' ');
                all.push_back(changed(good, number, at, end - at, text));
                at = end;
            }
        }
    }
    return all;
}

std::vector<Damage> whole_files(const std::string& good) {
    const std::string crlf = std::regex_replace(good, std::regex("\n"), "\r\n"), digits(1 << 20, '7');
    return {{"carriage returns", crlf},
            {"byte-order mark", "\xEF\xBB\xBF" + good},
            {"a line of one megabyte first", std::string(1 << 20, 'x') + "\n" + good},
            {"a megabyte of digits within a line", std::string(good).insert(good.size() / 2, digits)},
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

/// Runs something in a child and says how that ended: "" well, else "status 1", "signal 11" or the like.
template <typename Work>
std::string end_of_child(Work work) {
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) return "signal " + std::to_string(WTERMSIG(status));
    return WEXITSTATUS(status) == 0 ? "" : "status " + std::to_string(WEXITSTATUS(status));
}

/// Loads every damaged text in children: a documented end costs one child, anything else than that or survival is a fault. A hang
/// ends by the alarm. Returns the records that each text left, -1 where the process ended.
std::vector<int> load_all(const Format& format, const std::vector<Damage>& cases) {
    const std::size_t bytes = (1 + cases.size()) * sizeof(int);
    auto* shared = static_cast<int*>(mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    int& now = shared[0];
    int* records = shared + 1;
    const std::string name = out(std::string("damaged_") + format.file);
    while (now < static_cast<int>(cases.size())) {
        const std::string end = end_of_child([&] {
            for (; now < static_cast<int>(cases.size()); ++now) {
                records[now] = -1;
                std::ofstream(name, std::ios::binary) << cases[static_cast<std::size_t>(now)].text;
                alarm(20);
                records[now] = format.load(std::string(name).data()).records;
            }
        });
        if (end.empty()) break;
        const bool documented = end == "status 1" && format.may_stop;
        EXPECT_TRUE(documented) << format.file << ", " << cases[static_cast<std::size_t>(now)].what << ": " << end;
        if (!documented) break;
        ++now;
    }
    const std::vector<int> all(records, records + cases.size());
    munmap(shared, bytes);
    return all;
}

class Damaged : public testing::TestWithParam<Format> {
  protected:
    const Format& format = GetParam();
    const std::string good = read_file(test_file(format.file));
};

TEST_P(Damaged, NothingCrashesAndTheRestIsKept) {
    // Kept in full: the good file, also a second time, and damage that takes nothing away.
    ASSERT_FALSE(good.empty());
    EXPECT_EQ(load_all(format, {{"good", good}, {"good again", good}}), std::vector<int>(2, format.records));

    std::size_t inputs = 0;
    for (const auto make : {truncations, characters, numbers}) inputs += load_all(format, thinned(make(good))).size();
    const std::vector<Damage> lines = thinned(whole_lines(good));
    const std::vector<int> records = load_all(format, lines);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (records[i] < 0) continue;
        EXPECT_LE(std::abs(records[i] - format.records), format.shared) << format.file << ", " << lines[i].what;
    }
    const std::vector<Damage> files = whole_files(good);
    EXPECT_EQ(load_all(format, files)[0], format.records) << files[0].what;
    RecordProperty("inputs", static_cast<int>(inputs + lines.size() + files.size()));  // docs/robustness.md
}

/// A directory, a pipe without a writer, an absent file, and a name that must not act as a format.
TEST_P(Damaged, NamesThatAreNoFiles) {
    const std::string directory = out("directory"), pipe = out("pipe"), odd = out("name%s%n%s");
    std::filesystem::create_directories(directory);
    mkfifo(pipe.c_str(), 0600);
    std::ofstream(odd) << good;
    for (const std::string& name : {directory, pipe, odd, odd + ".absent"}) {
        if (name == pipe && format.waits) continue;
        const std::string end = end_of_child([&] {
            LogRecorder log;
            alarm(20);
            if (format.load(std::string(name).data()).records != format.records && name == odd) _exit(2);
        });
        EXPECT_TRUE(end.empty() || (end == "status 1" && format.may_stop))
            << format.file << " as " << name << ": " << end;
    }
}

/// A decimal comma of the locale changes nothing. The writers' tests hold theirs.
TEST_P(Damaged, CommaLocale) {
    const std::string name = test_file(format.file);
    const double sum = format.load(std::string(name).data()).sum;
    const CommaLocale comma;
    if (!comma.made) GTEST_SKIP() << "no locale with a decimal comma can be made (package locales)";
    char text[8];
    std::snprintf(text, sizeof text, "%.1f", 0.5);
    EXPECT_STREQ(text, "0,5");
    const Kept kept = format.load(std::string(name).data());
    EXPECT_EQ(kept.records, format.records);
    EXPECT_EQ(kept.sum, sum);
}

INSTANTIATE_TEST_SUITE_P(Formats, Damaged, testing::ValuesIn(kFormats));
INSTANTIATE_TEST_SUITE_P(OtherFormats, Damaged, testing::ValuesIn(kOtherFormats));

}  // namespace
