#include "inputs/csv.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "inputs/kinds.h"
#include "inputs/open.h"
#include "shared/error.h"
#include "shared/printable.h"

namespace host {

std::vector<std::string_view> csv_fields(std::string_view line) {
    std::vector<std::string_view> fields;
    for (std::size_t at = 0; at <= line.size();) {
        at = std::min(line.find_first_not_of(" \t", at), line.size());
        const bool quoted = at < line.size() && line[at] == '"';
        std::size_t end = quoted ? line.find('"', at + 1) : at;
        while (quoted && end != std::string_view::npos && line.substr(end, 2) == "\"\"") end = line.find('"', end + 2);
        end = std::min(line.find(',', std::min(end, line.size())), line.size());
        std::string_view field = line.substr(at, end - at);
        while (!field.empty() && (field.back() == ' ' || field.back() == '\t' || field.back() == '\r'))
            field.remove_suffix(1);
        if (quoted && field.size() > 1 && field.back() == '"') field = field.substr(1, field.size() - 2);
        fields.push_back(field);
        at = end + 1;
    }
    return fields;
}

bool parse_number(std::string_view text, double& value) {
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    const char* const last = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), last, value);
    return error == std::errc() && end == last && std::isfinite(value);
}

CsvReader::CsvReader(const std::string& file, Head head) : file_(file), in_(open_input(file, "CSV file")) {
    if (!next()) throw InputError(file + ": is empty or cannot be read");
    if (std::any_of(line_.begin(), line_.end(), [](char c) { return c >= 0 && c < ' ' && c != '\t' && c != '\r'; }))
        throw InputError(file + ": is not a text file");
    names_.assign(fields_.begin(), fields_.end());
    if (head == NAMES && std::isfinite(number(0)))
        throw InputError(file + ": has no line with the names of its columns");
}

int CsvReader::find(const std::string& name) const {
    const auto found = std::find(names_.begin(), names_.end(), name);
    return found != names_.end() ? static_cast<int>(found - names_.begin()) : -1;
}

int CsvReader::require(const std::string& name, const std::string& hint) const {
    const int column = find(name);
    if (column >= 0) return column;
    check_kind(file_, "CSV file", {Kind::csv});
    std::string have;
    for (const std::string& n : names_) add_part(have, n);
    if (have.size() > 300) have.replace(300, std::string::npos, " ...");
    throw InputError(file_ + ": has no column " + name + " (it has " + have + "); " + hint);
}

bool CsvReader::next() {
    while (std::getline(in_, line_)) {
        ++line_number_;
        fields_ = csv_fields(line_);
        if (!line_.empty() && line_[0] != '#' && !(fields_.size() == 1 && fields_[0].empty())) return true;
    }
    return false;
}

std::string_view CsvReader::text(int column) const {
    return column >= 0 && static_cast<std::size_t>(column) < fields_.size() ? fields_[static_cast<std::size_t>(column)]
                                                                            : std::string_view();
}

double CsvReader::number(int column) const {
    double value = 0;
    return parse_number(text(column), value) ? value : std::nan("");
}

}  // namespace host
