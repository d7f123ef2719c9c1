#include <algorithm>
#include <cstring>
#include <set>

#include "inputs/config_check.h"
#include "inputs/positions.h"
#include "shared/nearest.h"

namespace host {

namespace {

constexpr std::size_t kMostBands = 3;
constexpr long kMostObservables = 10;
const std::vector<std::string> kSystems = {"GPS", "BDS", "GAL"};
const std::vector<std::string> kKeys = {"ELE_CUTOFF", "HUBER_COEF", "HUBER_POWER", "THRES_MW_SLIP", "THRES_GF_SLIP",
                                        "VAR_POS",    "VAR_VEL",    "VAR_ACC",     "VAR_CLK"};

bool is_one_of(const std::string& word, const std::vector<std::string>& words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

bool is_observable(const std::string& code) {
    const auto within = [](char c, const char* letters) { return std::strchr(letters, c) != nullptr && c != '\0'; };
    return code.size() == 3 && within(code[0], "CLDS") && within(code[1], "123456789abcdefgh") &&
           within(code[2], "ABCDEILMNPQSWXYZ");
}

class GnssCheck {
  public:
    explicit GnssCheck(const std::string& file) : check_(file, "GNSS configuration", {"GNSS_SYS", "GENERAL_CONFIG"}) {}

    void run() {
        check_.read([this](const ConfigLine& line) {
            if (line.section == "GNSS_SYS") {
                take_system(line);
            } else {
                take_key(line);
            }
        });
        if (lines_ == 0) check_.fault("no system in section GNSS_SYS (" + list_of(kSystems) + ")");
        check_.finish();
    }

  private:
    /// What holds for a line of either section.
    bool plain(const ConfigLine& line) {
        if (line.text.find('\t') != std::string::npos) {
            check_.fault(line, "blanks are expected between the fields, not tabs");
        } else if (line.comment_behind) {
            check_.fault(line, "a blank is expected before the comment");
        } else {
            return true;
        }
        return false;
    }

    void take_system(const ConfigLine& line) {
        if (line.text.empty()) {
            check_.fault(line, "an empty line would count as a system; a comment begins with // in the first column");
            return;
        }
        ++lines_;
        if (!plain(line)) return;
        const std::string& name = line.fields[0];
        long count = 0;
        if (!is_one_of(name, kSystems)) {
            check_.fault(line, "a system is " + list_of(kSystems) + did_you_mean(name, kSystems));
        } else if (!seen_.insert(name).second) {
            check_.fault(line, "this system was given before");
        } else if (line.fields.size() < 2 || !whole_number(line.fields[1], 1, kMostObservables, count)) {
            check_.fault(line, "the number of observables is expected behind the system, 1 to 10");
        } else if (take_observables(line, static_cast<std::size_t>(count))) {
            take_combination(line, static_cast<std::size_t>(count));
        }
    }

    bool take_observables(const ConfigLine& line, std::size_t count) {
        std::set<char> bands;
        for (std::size_t i = 2; i < 2 + count; ++i) {
            if (i >= line.fields.size() || !is_observable(line.fields[i])) {
                check_.fault(line, std::to_string(count) + " observables of three characters are expected, such as " +
                                       "C1P or L2W" +
                                       (i < line.fields.size() ? ", not " + line.fields[i] : std::string()));
                return false;
            }
            bands.insert(line.fields[i][1]);
        }
        if (bands.size() > kMostBands) check_.fault(line, "observables of at most three bands are read");
        return bands.size() <= kMostBands;
    }

    /// The rest of a system's line: nothing, or IF and four positions.
    void take_combination(const ConfigLine& line, std::size_t count) {
        const std::size_t rest = 2 + count;
        if (line.fields.size() == rest) {
            // The reader keeps the fields that a line lacks from the line before.
            if (combined_) check_.fault(line, "a system without IF stands before those with it");
            return;
        }
        combined_ = true;
        bool ok = line.fields[rest] == "IF" && line.fields.size() == rest + 5;
        for (std::size_t i = 0; ok && i < 4; ++i) {
            long place = 0;
            ok = whole_number(line.fields[rest + 1 + i], 0, static_cast<long>(count) - 1, place) &&
                 line.fields[2 + static_cast<std::size_t>(place)][0] == (i < 2 ? 'C' : 'L');
        }
        if (!ok)
            check_.fault(line,
                         "behind the observables stands IF with four of their positions, counted from 0: two codes, "
                         "two phases, such as IF 0 2 1 3");
    }

    void take_key(const ConfigLine& line) {
        // The reader keeps the tail of a longer line behind a shorter one, and looks for keys in both.
        before_.replace(0, std::min(before_.size(), line.useful.size()), line.useful);
        if (line.text.empty() || !plain(line)) return;
        const std::string& key = line.fields[0];
        for (const std::string& other : kKeys) {
            if (key != other && before_.find(other) != std::string::npos && is_one_of(key, kKeys))
                check_.fault(line, "one key a line is expected, in the first column");
        }
        double value = 0;
        if (!is_one_of(key, kKeys)) {
            check_.fault(line, "a key is " + list_of(kKeys) + did_you_mean(key.substr(0, key.find('=')), kKeys));
        } else if (line.fields.size() != 2 || !parse_number(line.fields[1], value)) {
            check_.fault(line, "KEY NUMBER is expected, with a blank between them");
        } else if (!seen_.insert(key).second) {
            check_.fault(line, "this key was given before");
        } else if (key == "ELE_CUTOFF" ? !(value >= -90.0 && value <= 90.0) : !(value > 0.0 && value < 1e12)) {
            check_.fault(line,
                         key == "ELE_CUTOFF" ? "an elevation in degrees is expected" : "a positive number is expected");
        }
    }

    ConfigCheck check_;
    std::set<std::string> seen_;  ///< systems and keys given so far
    std::size_t lines_ = 0;       ///< of systems, understood or not
    std::string before_;          ///< the reader's line
    bool combined_ = false;       ///< a system with IF was read
};

}  // namespace

void check_gnss_config(const std::string& file) { GnssCheck(file).run(); }

}  // namespace host
