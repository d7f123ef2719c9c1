#include "pictures/report_summary.h"

#include <algorithm>
#include <cstdlib>
#include <map>

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

std::string plain(const nlohmann::ordered_json& value) {
    if (value.is_string()) return value.get<std::string>();
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    return value.is_null() ? "" : value.dump();
}

std::string tree(const nlohmann::ordered_json& value, int depth);

/// A list of objects that have the same plain members: a table with a column each.
bool is_table(const nlohmann::ordered_json& list) {
    if (list.empty() || !list.front().is_object() || list.front().empty()) return false;
    return std::all_of(list.begin(), list.end(), [&](const auto& row) {
        if (!row.is_object() || row.size() > 12) return false;
        return std::all_of(row.items().begin(), row.items().end(), [&](const auto& member) {
            return member.value().is_primitive() && list.front().contains(member.key());
        });
    });
}

std::string columns(const nlohmann::ordered_json& list) {
    std::string text = "<table><tr>";
    for (const auto& member : list.front().items())
        text += (member.value().is_number() ? "<th class=\"n\">" : "<th>") + html(member.key()) + "</th>";
    text += "</tr>";
    std::size_t count = 0;
    for (const auto& row : list) {
        if (++count > kMostRows) break;
        text += "<tr>";
        for (const auto& member : list.front().items())
            text += cell(row.contains(member.key()) ? plain(row[member.key()]) : "");
        text += "</tr>";
    }
    if (list.size() > kMostRows) text += "<tr><td>and " + std::to_string(list.size() - kMostRows) + " more</td></tr>";
    return text + "</table>";
}

std::string list_of(const nlohmann::ordered_json& list, int depth) {
    const bool simple = std::all_of(list.begin(), list.end(), [](const auto& item) { return item.is_primitive(); });
    std::string text;
    std::size_t count = 0;
    for (const auto& item : list) {
        if (++count > kMostRows) break;
        if (simple) {
            text += (count > 1 ? ", " : "") + html(plain(item));
        } else {
            text += tree(item, depth + 1);
        }
    }
    if (list.size() > kMostRows) text += " and " + std::to_string(list.size() - kMostRows) + " more";
    return text;
}

std::string tree(const nlohmann::ordered_json& value, int depth) {
    if (value.is_primitive()) return html(plain(value));
    if (depth > kDeepest) return "\u2026";
    if (value.is_array()) return is_table(value) ? columns(value) : list_of(value, depth);
    std::string text = "<table>";
    for (const auto& member : value.items()) {
        text += "<tr><th>" + html(member.key()) + "</th>";
        text += member.value().is_primitive() ? cell(plain(member.value()))
                                              : "<td>" + tree(member.value(), depth + 1) + "</td>";
        text += "</tr>";
    }
    return text + "</table>";
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

std::string html_tree(const nlohmann::ordered_json& value) { return tree(value, 0); }

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
