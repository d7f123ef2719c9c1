/// \file report_summary.h
/// The text parts of a report's page: escapes, tables, a summary of any shape, messages grouped by their words.
#ifndef LEOPOD_HOST_REPORT_SUMMARY_H
#define LEOPOD_HOST_REPORT_SUMMARY_H

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace host {

struct ReportTable {
    std::string title;
    std::vector<std::string> head;
    std::vector<std::vector<std::string>> rows;
};

/// Messages of which only the numbers differ.
struct ReportMessage {
    long count;
    std::string level, text;  ///< of the first of them
};

/// A text as it may stand in a page.
std::string html(const std::string& text);

/// A table under its title; fields that are numbers stand at the right.
std::string html_table(const ReportTable& table);

/// The summary of a command, whatever its parts: objects and lists become tables, numbers are rounded. Settings and inputs are folded.
std::string html_summary(const nlohmann::ordered_json& summary);

/// Lines of a log ("warning: text"), the most frequent first.
std::vector<ReportMessage> group_messages(const std::vector<std::string>& lines);

}  // namespace host

#endif
