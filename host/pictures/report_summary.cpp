#include "pictures/report_summary.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>

#include "inputs/positions.h"
#include "shared/messages.h"
#include "shared/printable.h"

namespace host {

namespace {

constexpr std::size_t kMostRows = 400;  ///< of a list in a summary
constexpr int kDeepest = 12;

bool is_number(const std::string& text) {
    double value = 0;
    return parse_number(text, value);
}

std::string cell(const std::string& text) {
    return std::string("<td") + (is_number(text) ? " class=\"n\">" : ">") + html(text) + "</td>";
}

using Json = nlohmann::ordered_json;

/// A number as it is read, not as it is kept.
std::string short_number(double value) {
    char text[64];
    std::snprintf(text, sizeof text, std::fabs(value) >= 1e4 && std::fabs(value) < 1e15 ? "%.0f" : "%.5g", value);
    return text;
}

std::string plain(const Json& value) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (value.is_number_float()) return short_number(value.get<double>());
    return value.is_null() ? "" : value.dump();
}

/// A name as words: "rms_along_m" becomes "rms along [m]". Names of satellites and statuses stay.
std::string words(std::string name) {
    if (name.find_first_not_of("abcdefghijklmnopqrstuvwxyz0123456789_") != std::string::npos) return name;
    static const std::map<std::string, std::string> units = {
        {"m", "m"}, {"s", "s"}, {"percent", "%"}, {"gpst", "GPST"}, {"bdst", "BDST"}, {"utc", "UTC"}, {"tt", "TT"}};
    const std::size_t last = name.rfind('_');
    const auto unit = last == std::string::npos ? units.end() : units.find(name.substr(last + 1));
    if (unit != units.end()) name.replace(last, std::string::npos, " [" + unit->second + "]");
    std::replace(name.begin(), name.end(), '_', ' ');
    return name;
}

/// The same at the begin of a line.
std::string title(const std::string& name) {
    std::string text = words(name);
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text;
}

bool says_nothing(const Json& value) {
    return value.empty() || (value.is_string() && value.get_ref<const std::string&>().empty());
}

/// A value that is told in one line: plain, or a list or object of plain ones.
bool is_flat(const Json& value) {
    return std::all_of(value.begin(), value.end(), [](const Json& item) { return item.is_primitive(); });
}

std::string flat(const Json& value) {
    if (value.is_primitive()) return html(plain(value));
    std::string text;
    std::size_t count = 0;
    for (const auto& item : value.items()) {
        if (++count > kMostRows) break;
        if (!text.empty()) text += ", ";
        if (value.is_object()) text += "<span class=\"soft\">" + html(words(item.key())) + "</span>&nbsp;";
        text += html(plain(item.value()));
    }
    if (value.size() > kMostRows) text += " and " + std::to_string(value.size() - kMostRows) + " more";
    return text;
}

std::string value_cell(const Json& value, bool number) {
    const std::string text = flat(value);
    return (number ? "<td class=\"n\">" : text.size() > 24 ? "<td class=\"long\">" : "<td>") + text + "</td>";
}

/// A list or object of objects that have the same flat members: a table.
bool is_table(const Json& list) {
    if (list.size() < (list.is_object() ? 2U : 1U)) return false;
    const Json& first = *list.begin();
    return std::all_of(list.begin(), list.end(), [&](const Json& row) {
        if (!row.is_object() || row.empty() || row.size() > 16 || row.size() != first.size()) return false;
        return std::all_of(row.items().begin(), row.items().end(),
                           [&](const auto& member) { return is_flat(member.value()) && first.contains(member.key()); });
    });
}

struct Cells {
    std::vector<std::string> heads;
    Json rows = Json::object();  ///< name of a row to its fields
};

/// With a row for each object, or for each member where these are more.
Cells cells_of(const Json& list) {
    const Json& first = *list.begin();
    const bool upright = list.is_object() && first.size() > list.size();
    Cells cells;
    std::size_t count = 0;
    for (const auto& [name, fields] : list.items()) {
        if (++count > kMostRows) break;
        if (upright) cells.heads.push_back(words(name));
        for (const auto& member : first.items()) {
            const std::string field = words(member.key());
            if (!upright && count == 1) cells.heads.push_back(field);
            cells.rows[upright ? field : name].push_back(fields[member.key()]);
        }
    }
    return cells;
}

std::string columns(const Json& list) {
    const bool named = list.is_object();
    const Cells cells = cells_of(list);
    std::string text = named ? "<table><tr><th></th>" : "<table><tr>";
    std::size_t column = 0;
    for (const std::string& head : cells.heads)
        text += (cells.rows.begin()->at(column++).is_number() ? "<th class=\"n\">" : "<th>") + html(head) + "</th>";
    text += "</tr>";
    for (const auto& [name, fields] : cells.rows.items()) {
        text += "<tr>" + (named ? "<th>" + html(name) + "</th>" : std::string());
        for (const Json& value : fields) text += value_cell(value, value.is_number());
        text += "</tr>";
    }
    if (list.size() > kMostRows) text += "<tr><td>and " + std::to_string(list.size() - kMostRows) + " more</td></tr>";
    text += "</table>";
    constexpr std::size_t kFolded = 12;
    const std::size_t count = cells.rows.size();
    return count <= kFolded ? text
                            : "<details><summary>" + std::to_string(count) + " rows</summary>" + text + "</details>";
}

std::string tree(const Json& value, int depth);

/// The flat members as a table; the others below it.
std::string members(const Json& object, int depth) {
    std::string pairs, rest;
    Json same = Json::object();
    for (const auto& member : object.items()) {
        if (member.value().is_object() && !member.value().empty() && is_flat(member.value()))
            same[member.key()] = member.value();
    }
    if (!is_table(same)) same = Json::object();
    constexpr std::size_t kInline = 6;
    for (const auto& [name, value] : object.items()) {
        if (same.contains(name) || says_nothing(value)) continue;
        if (is_flat(value) && !(value.is_object() && value.size() > kInline)) {
            pairs += "<tr><th>" + html(words(name)) + "</th>" + value_cell(value, false) + "</tr>";
        } else {
            rest += "<h4>" + html(title(name)) + "</h4>" + tree(value, depth + 1);
        }
    }
    return (pairs.empty() ? "" : "<table>" + pairs + "</table>") + (same.empty() ? "" : columns(same)) + rest;
}

std::string tree(const Json& value, int depth) {
    if (is_flat(value) && !value.is_object()) return flat(value);
    if (depth > kDeepest) return "\u2026";
    if (is_table(value)) return columns(value);
    if (value.is_object()) return members(value, depth);
    std::string text;
    std::size_t count = 0;
    for (const Json& item : value) {
        if (++count <= kMostRows) text += "<div>" + tree(item, depth + 1) + "</div>";
    }
    if (value.size() > kMostRows) text += " and " + std::to_string(value.size() - kMostRows) + " more";
    return text;
}

std::string card(const std::string& name, const Json& value) {
    return "<div class=\"card\"><h3>" + html(title(name)) + "</h3>" + tree(value, 0) + "</div>\n";
}

/// The members of an object as cards: lists are wide and come last.
std::string cards_of(const Json& object, const std::set<std::string>& apart) {
    Json general = Json::object();
    std::string narrow, wide;
    for (const auto& [name, value] : object.items()) {
        if (apart.count(name) != 0 || says_nothing(value)) continue;
        if (is_flat(value) && (!value.is_object() || value.size() <= 3)) {
            general[name] = value;
        } else {
            (value.is_array() ? wide : narrow) += card(name, value);
        }
    }
    const std::string first = general.empty() ? "" : card("general", general);
    return "<div class=\"flow\">\n" + first + narrow + "</div>\n" +
           (wide.empty() ? "" : "<div class=\"wide\">\n" + wide + "</div>\n");
}

}  // namespace

std::string html(const std::string& text) {
    std::string out;
    for (const char c : printable(text)) {
        if (c == '&') {
            out += "&amp;";
        } else if (c == '<') {
            out += "&lt;";
        } else if (c == '>') {
            out += "&gt;";
        } else if (c == '"') {
            out += "&quot;";
        } else {
            out += c;
        }
    }
    return out;
}

std::string html_table(const ReportTable& table) {
    std::string text = "<div class=\"card\"><h3>" + html(table.title) + "</h3><table>";
    if (!table.head.empty()) {
        text += "<tr>";
        for (std::size_t i = 0; i < table.head.size(); ++i)
            text += std::string(i > 0 ? "<th class=\"n\">" : "<th>") + html(table.head[i]) + "</th>";
        text += "</tr>";
    }
    for (const std::vector<std::string>& row : table.rows) {
        text += "<tr>";
        for (std::size_t i = 0; i < row.size(); ++i) text += i == 0 ? "<th>" + html(row[0]) + "</th>" : cell(row[i]);
        text += "</tr>";
    }
    return text + "</table></div>\n";
}

std::string html_summary(const nlohmann::ordered_json& summary) {
    if (!summary.is_object()) return card("", summary);
    Json background = Json::object();
    for (const char* name : {"settings", "program", "inputs"}) {
        if (summary.contains(name)) background[name] = summary[name];
    }
    const std::string folded = background.empty() ? ""
                                                  : "<details><summary>Settings and inputs</summary>\n" +
                                                        cards_of(background, {}) + "</details>\n";
    return cards_of(summary, {"layout_version", "command", "command_line", "settings", "program", "inputs"}) + folded;
}

std::vector<ReportMessage> group_messages(const std::vector<std::string>& lines) {
    std::vector<ReportMessage> messages;
    std::map<std::string, std::size_t> places;
    for (const std::string& line : lines) {
        if (line.empty()) continue;
        const auto [found, is_new] = places.emplace(folded(line.c_str()), messages.size());
        if (is_new) {
            ReportMessage message{0, "", line};
            for (const char* level : {"trace", "debug", "info", "warning", "error", "critical"}) {
                const std::string start = level + std::string(": ");
                std::string head = line.substr(0, start.size());
                std::transform(head.begin(), head.end(), head.begin(),
                               [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
                if (head == start) message = {0, level, line.substr(start.size())};
            }
            messages.push_back(std::move(message));
        }
        ++messages[found->second].count;
    }
    std::stable_sort(messages.begin(), messages.end(),
                     [](const ReportMessage& a, const ReportMessage& b) { return a.count > b.count; });
    return messages;
}

}  // namespace host
