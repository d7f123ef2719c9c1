/// \file report_page.h
/// A report as one page: text, tables, charts that can be zoomed, pictures. Nothing is loaded from elsewhere.
#ifndef LEOPOD_HOST_REPORT_PAGE_H
#define LEOPOD_HOST_REPORT_PAGE_H

#include <string>
#include <vector>

#include "pictures/canvas.h"
#include "pictures/report_summary.h"

namespace host {

struct ReportSeries {
    std::string name;
    std::size_t mark;  ///< chooses its colour and dashes
    std::vector<double> seconds, values;
};

struct ReportChart {
    std::string title, axis;
    double unit;        ///< to which values are rounded
    int digits;         ///< of values that are read off
    bool common;        ///< all series are taken at the same epochs, those that miss are gaps
    std::string group;  ///< charts of one group can share their scale; empty: of none
    bool steps = false, zero = false, log = false;
    std::vector<ReportSeries> series;
};

struct ReportPicture {
    std::string title;
    Canvas canvas;
};

struct ReportPage {
    std::string title, subtitle, version;
    long day_mjd = 0;  ///< day whose seconds the charts count; 0: not known
    std::vector<ReportTable> tables;
    std::vector<nlohmann::ordered_json> summaries;
    std::vector<ReportChart> charts;
    std::vector<ReportPicture> instead;   ///< of the charts where the library that draws them is missing
    std::vector<ReportPicture> pictures;  ///< always
    std::vector<ReportMessage> messages;
    bool has_log = false;
    std::vector<std::string> commands;
};

/// The library that draws the charts; empty where it is not there.
struct ChartsLibrary {
    std::string style, script;
    bool empty() const { return script.empty(); }
};
ChartsLibrary charts_library(const std::string& directory);

/// The text of the page; without the library's scripts it has the pictures instead of charts, and says so.
std::string report_html(const ReportPage& page, const ChartsLibrary& library);

}  // namespace host

#endif
