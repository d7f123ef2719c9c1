#include "inputs/csv.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "shared/error.h"

namespace host {

CsvReader::CsvReader(const std::string& file) : file_(file), in_(file) {
    if (!in_) throw InputError(file + ": cannot open this file");
    if (!next()) throw InputError(file + ": is empty or cannot be read");
    if (std::any_of(line_.begin(), line_.end(), [](char c) { return c >= 0 && c < ' ' && c != '\t' && c != '\r'; }))
        throw InputError(file + ": is not a text file");
    names_.assign(fields_.begin(), fields_.end());
    if (std::isfinite(number(0))) throw InputError(file + ": has no line with the names of its columns");
}

int CsvReader::find(const std::string& name) const {
    const auto found = std::find(names_.begin(), names_.end(), name);
    return found != names_.end() ? static_cast<int>(found - names_.begin()) : -1;
}

int CsvReader::require(const std::string& name, const std::string& hint) const {
    const int column = find(name);
    if (column >= 0) return column;
    std::string have;
    for (const std::string& n : names_) have += (have.empty() ? "" : ", ") + n;
    if (have.size() > 300) have.replace(300, std::string::npos, " ...");
    throw InputError(file_ + ": has no column " + name + " (it has " + have + "); " + hint);
}

bool CsvReader::next() {
    while (std::getline(in_, line_)) {
        split(fields_);
        if (!line_.empty() && line_[0] != '#' && !(fields_.size() == 1 && fields_[0].empty())) return true;
    }
    return false;
}

std::string_view CsvReader::text(int column) const {
    return column >= 0 && static_cast<std::size_t>(column) < fields_.size() ? fields_[static_cast<std::size_t>(column)]
                                                                            : std::string_view();
}

double CsvReader::number(int column) const {
    std::string_view field = text(column);
    if (!field.empty() && field[0] == '+') field.remove_prefix(1);
    double value = 0;
    const auto [end, error] = std::from_chars(field.data(), field.data() + field.size(), value);
    return error == std::errc() && end == field.data() + field.size() ? value : std::nan("");
}

void CsvReader::split(std::vector<std::string_view>& fields) const {
    fields.clear();
    const std::string_view line = line_;
    for (std::size_t at = 0; at <= line.size();) {
        const std::size_t end = std::min(line.find(',', at), line.size());
        std::string_view field = line.substr(at, end - at);
        while (!field.empty() && (field.front() == ' ' || field.front() == '\t')) field.remove_prefix(1);
        while (!field.empty() && (field.back() == ' ' || field.back() == '\t' || field.back() == '\r'))
            field.remove_suffix(1);
        fields.push_back(field);
        at = end + 1;
    }
}

}  // namespace host
