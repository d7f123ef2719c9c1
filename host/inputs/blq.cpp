#include "inputs/blq.h"

#include <strings.h>

#include <fstream>
#include <sstream>
#include <vector>

#include "inputs/kinds.h"
#include "inputs/open.h"
#include "inputs/positions.h"
#include "shared/error.h"

namespace host {

namespace {

constexpr std::size_t kRows = 6;
constexpr std::size_t kColumns = 11;

bool same_name(const std::string& a, const std::string& b) { return strcasecmp(a.c_str(), b.c_str()) == 0; }

std::vector<std::string> words_of(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

/// All tables of a file; one damaged row makes the file unusable.
std::vector<OceanLoading> read_all(const std::string& file) {
    check_kind(file, "ocean loading file", {Kind::blq});
    std::ifstream in = open_input(file, "ocean loading file");
    std::vector<OceanLoading> sites;
    std::size_t row = kRows;  // rows read of the last site
    long number = 0;
    const auto fail = [&](const std::string& what) {
        throw InputError(file + ": line " + std::to_string(number) + " of this ocean loading file: " + what);
    };
    for (std::string line; std::getline(in, line);) {
        ++number;
        const std::vector<std::string> words = words_of(line);
        if (words.empty() || words[0].compare(0, 2, "$$") == 0) continue;
        if (row == kRows) {
            double ignored = 0;
            if (words.size() == kColumns && parse_number(words[0], ignored))
                fail("the name of a site is expected, behind six rows of numbers");
            OceanLoading site{};
            for (const std::string& word : words) site.site += (site.site.empty() ? "" : " ") + word;
            sites.push_back(site);
            row = 0;
            continue;
        }
        double* values = sites.back().table[row];
        const std::string which = "row " + std::to_string(row + 1) + " of site " + sites.back().site.substr(0, 60);
        if (words.size() != kColumns)
            fail(which + " has " + std::to_string(words.size()) + " values where 11 are expected");
        for (std::size_t i = 0; i < kColumns; ++i) {
            if (!parse_number(words[i], values[i])) fail(which + ": " + words[i].substr(0, 60) + " is not a number");
        }
        ++row;
    }
    if (row != kRows)
        fail("the file ends behind " + std::to_string(row) + " of the 6 rows of site " +
             sites.back().site.substr(0, 60));
    if (sites.empty()) throw InputError(file + ": is not an ocean loading file (no site)");
    return sites;
}

}  // namespace

OceanLoading read_ocean_loading(const std::string& file, const std::string& site) {
    const std::vector<OceanLoading> sites = read_all(file);
    if (site.empty() && sites.size() == 1) return sites[0];
    for (const OceanLoading& candidate : sites) {
        if (same_name(candidate.site, site)) return candidate;
    }
    for (const OceanLoading& candidate : sites) {
        if (same_name(words_of(candidate.site)[0], site)) return candidate;
    }
    constexpr std::size_t kShown = 8;
    std::string names;
    for (std::size_t i = 0; i < sites.size() && i < kShown; ++i)
        names += (i != 0 ? ", " : "") + sites[i].site.substr(0, 60);
    if (sites.size() > kShown) names += " and " + std::to_string(sites.size() - kShown) + " more";
    throw InputError(
        file + (site.empty() ? ": --site must name one of its sites: " : ": has no site " + site + ", only ") + names);
}

}  // namespace host
