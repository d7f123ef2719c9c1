#include "shared/nearest.h"

#include <algorithm>
#include <cctype>
#include <numeric>

namespace host {

namespace {

char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }

/// Letters to insert, delete, replace or swap with the next one on the way from one text to the other.
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> before, row(b.size() + 1), next(b.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < a.size(); ++i) {
        next[0] = i + 1;
        for (std::size_t k = 0; k < b.size(); ++k) {
            const bool same = lower(a[i]) == lower(b[k]);
            next[k + 1] = std::min({row[k + 1] + 1, next[k] + 1, row[k] + (same ? 0 : 1)});
            if (i > 0 && k > 0 && lower(a[i]) == lower(b[k - 1]) && lower(a[i - 1]) == lower(b[k]))
                next[k + 1] = std::min(next[k + 1], before[k - 1] + 1);
        }
        before = row;
        row.swap(next);
    }
    return row.back();
}

}  // namespace

std::string nearest(const std::string& text, const std::vector<std::string>& known) {
    std::string best;
    std::size_t least = text.size();
    for (const std::string& word : known) {
        const std::size_t d = distance(text.substr(0, 64), word);
        if (d < least && d <= std::max<std::size_t>(1, word.size() / 3)) {
            least = d;
            best = word;
        }
    }
    return best;
}

std::string did_you_mean(const std::string& text, const std::vector<std::string>& known) {
    const std::string word = nearest(text, known);
    return word.empty() ? "" : "; did you mean " + word + "?";
}

std::string list_of(const std::vector<std::string>& words) {
    std::string list;
    for (std::size_t i = 0; i < words.size(); ++i)
        list += (i == 0 ? "" : i + 1 == words.size() ? " or " : ", ") + words[i];
    return list;
}

}  // namespace host
