#include "inputs/crd_lines.h"

#include "inputs/kinds.h"
#include "inputs/open.h"
#include "shared/error.h"

namespace host {

namespace {

constexpr std::size_t kNameEnd = 13;  ///< column of the blank behind the name in H2 and H3 of version 1

bool has_na(const std::string& line) { return crd_upper(line + " ").find(" NA ") != std::string::npos; }

}  // namespace

std::string crd_upper(std::string text) {
    for (char& c : text) c = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
    return text;
}

std::string cleaned_crd(std::string line) {
    for (char& c : line) {
        if (c == '\t' || c == '\r' || c == '\0') c = ' ';
    }
    line.erase(line.find_last_not_of(' ') + 1);
    line.erase(0, line.find_first_not_of(' '));
    return line;
}

std::string crd_identifier(const std::string& line) { return crd_upper(line.substr(0, line.find(' '))); }

bool crd_reads_by_tokens(const std::string& id, const std::string& line, bool has_fixed_columns) {
    const bool one_scan = id == "10" || id == "11" || id == "12" || id == "21" || id == "30";
    if (one_scan) return has_na(line);
    return has_fixed_columns && line.size() > kNameEnd && line[kNameEnd] != ' ';
}

std::ifstream open_crd(const std::string& name) {
    std::ifstream in = open_input(name, "laser ranging file");
    std::string line;
    while (std::getline(in, line)) {
        line = cleaned_crd(line);
        if (crd_identifier(line) != "H1") continue;
        rh1 r = unread<rh1>();
        read_h1(line.data(), &r);
        if (crd_upper(r.crd_literal) != "CRD") break;
        if (r.format_version != 1 && r.format_version != 2)
            throw InputError(name + ": version " +
                             (given(r.format_version)    ? std::to_string(r.format_version)
                              : marked(r.format_version) ? std::string("?")
                                                         : std::string("na")) +
                             " of this laser ranging file is not 1 or 2");
        in.clear();
        if (!in.seekg(0)) throw InputError(name + ": is no file that can be read twice");
        return in;
    }
    check_kind(name, "laser ranging file in the CRD format", {Kind::crd});
    throw InputError(name + ": is not a laser ranging file in the CRD format (no record H1 CRD)");
}

}  // namespace host
