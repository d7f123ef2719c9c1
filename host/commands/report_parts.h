/// \file report_parts.h
/// Tables, charts and pictures of a report.
#ifndef LEOPOD_HOST_REPORT_PARTS_H
#define LEOPOD_HOST_REPORT_PARTS_H

#include "commands/report_content.h"
#include "pictures/report_page.h"

namespace host {

ReportTable counts_table(const std::string& title, const std::map<std::string, long>& counts);
ReportTable errors_table(const Content& content);
ReportTable residuals_table(const Content& content);

void add_errors(const Content& content, std::vector<ReportChart>& charts);
void add_satellite_residuals(const Content& content, std::vector<ReportChart>& charts);
void add_fit_residuals(const Content& content, std::vector<ReportChart>& charts);
void add_geometry(const Content& content, std::vector<ReportChart>& charts);
void add_clocks(const Content& content, std::vector<ReportChart>& charts);

/// In place of the charts.
std::vector<ReportPicture> still_pictures(const ReportOptions& options, Content& content);
std::vector<ReportPicture> sky_and_ground(const ReportOptions& options, const Content& content);

}  // namespace host

#endif
