#include "pictures/report_page.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>

#include "pictures/track.h"

namespace host {

namespace {

const char* const kStyle =
#include "report_css.inc"
    ;
const char* const kScript =
#include "report_js.inc"
    ;

/// Epochs in milliseconds of the day.
using Grid = std::vector<long long>;

long long milliseconds(double seconds) {
    constexpr double kMost = 1e12;  // more than 30 years
    return std::llround(1000.0 * std::clamp(seconds, -kMost, kMost));
}

Grid grid_of(const std::vector<const ReportSeries*>& series) {
    Grid grid;
    for (const ReportSeries* s : series) {
        for (double t : s->seconds) grid.push_back(milliseconds(t));
    }
    std::sort(grid.begin(), grid.end());
    grid.erase(std::unique(grid.begin(), grid.end()), grid.end());
    return grid;
}

/// Numbers of a list in the shortest form.
class Numbers {
  public:
    void add(long long value) { text_ += (text_.empty() ? "" : ",") + std::to_string(value); }
    std::string list() const { return "[" + text_ + "]"; }

  private:
    std::string text_;
};

/// The numbers of the charts: grids of epochs, each written once as steps, and series as pieces between their gaps.
class ChartData {
  public:
    explicit ChartData(const ReportPage& page) {
        for (std::size_t i = 0; i < page.charts.size(); ++i) add(page.charts[i], i);
        bool dated = false;
        for (const auto& [grid, index] : grids_)
            dated |= !grid.empty() && (grid.front() < 0 || grid.back() > 86400000) && page.day_mjd != 0;
        const long long origin = page.day_mjd != 0 ? (page.day_mjd - 40587) * 86400000LL : 0;
        std::vector<std::string> texts(grids_.size());
        for (const auto& [grid, index] : grids_) texts[index] = steps(grid);
        std::string all;
        for (const std::string& text : texts) all += (all.empty() ? "" : ",\n") + text;
        text_ = R"({"origin":)" + std::to_string(origin) + R"(,"dated":)" + (dated ? "true" : "false") +
                R"(,"grids":[)" + all + "],\n\"charts\":[" + charts_ + "]}";
    }
    const std::string& text() const { return text_; }

  private:
    static std::string steps(const Grid& grid) {
        Numbers numbers;
        long long last = 0;
        for (long long t : grid) {
            numbers.add(t - last);
            last = t;
        }
        return numbers.list();
    }

    std::size_t index_of(const Grid& grid) { return grids_.emplace(grid, grids_.size()).first->second; }

    /// A piece is its first place on the grid, its first value, and steps.
    static std::string pieces(const ReportChart& chart, const ReportSeries& s, const Grid& grid) {
        const double gap = chart.common ? 1e18 : 2500.0 * usual_step(s.seconds);
        std::string all;
        Numbers piece;
        bool open = false;
        std::size_t last_place = 0;
        long long last_value = 0;
        const auto close = [&] {
            if (open) all += (all.empty() ? "" : ",") + piece.list();
            open = false;
        };
        for (std::size_t i = 0; i < s.seconds.size(); ++i) {
            const long long t = milliseconds(s.seconds[i]);
            const double scaled = s.values[i] / chart.unit;
            const std::size_t place =
                static_cast<std::size_t>(std::lower_bound(grid.begin(), grid.end(), t) - grid.begin());
            const bool usable = std::isfinite(scaled) && std::fabs(scaled) < 1e15 && !(chart.log && s.values[i] <= 0.0);
            if (open && (!usable || place != last_place + 1 || static_cast<double>(t - grid[last_place]) > gap)) {
                if (usable && place == last_place) continue;  // two values of one epoch
                close();
            }
            if (!usable) continue;
            const long long value = std::llround(scaled);
            if (!open) {
                piece = Numbers();
                piece.add(static_cast<long long>(place));
                last_value = 0;
            }
            piece.add(value - last_value);
            open = true;
            last_value = value;
            last_place = place;
        }
        close();
        return "[" + all + "]";
    }

    void add(const ReportChart& chart, std::size_t number) {
        std::vector<const ReportSeries*> all;
        for (const ReportSeries& s : chart.series) all.push_back(&s);
        const Grid common = chart.common ? grid_of(all) : Grid{};
        std::string series;
        for (const ReportSeries& s : chart.series) {
            const Grid grid = chart.common ? common : grid_of({&s});
            series += (series.empty() ? "" : ",\n") + std::string(R"({"name":)") + nlohmann::json(s.name).dump() +
                      R"(,"mark":)" + std::to_string(s.mark) + R"(,"grid":)" + std::to_string(index_of(grid)) +
                      R"(,"pieces":)" + pieces(chart, s, grid) + "}";
        }
        const nlohmann::ordered_json head = {{"id", "chart" + std::to_string(number)},
                                             {"title", chart.title},
                                             {"axis", chart.axis},
                                             {"unit", chart.unit},
                                             {"digits", chart.digits},
                                             {"group", chart.group},
                                             {"steps", chart.steps},
                                             {"zero", chart.zero},
                                             {"log", chart.log}};
        std::string text = head.dump();
        text.pop_back();
        charts_ += (charts_.empty() ? "" : ",\n") + text + R"(,"series":[)" + series + "]}";
    }

    std::map<Grid, std::size_t> grids_;
    std::string charts_, text_;
};

/// A text inside of a script element, whose end it must not hold.
std::string in_script(std::string text) {
    for (std::size_t at = 0; (at = text.find("</", at)) != std::string::npos; at += 3) text.insert(at + 1, "\\");
    return text;
}

std::string section(const std::string& id, const std::string& title, const std::string& text) {
    return R"(<section id=")" + id + R"("><h2>)" + title + "</h2>\n" + text + "</section>\n";
}

std::string pictures_of(const std::vector<ReportPicture>& pictures) {
    std::string text = R"(<div class="pictures">)"
                       "\n";
    for (const ReportPicture& picture : pictures)
        text += R"(<figure class="picture" style="margin:0" aria-label=")" + html(picture.title) + R"(">)" +
                picture.canvas.svg() + "</figure>\n";
    return text + "</div>\n";
}

/// Buttons for the time axis of all charts, and how to use it.
const char* const kTools = R"(<div class="tools" role="toolbar" aria-label="Time axis of all charts">
<button type="button" data-act="all">Whole span</button>
<button type="button" data-act="in" aria-label="Zoom in">+</button>
<button type="button" data-act="out" aria-label="Zoom out">&minus;</button>
<button type="button" data-act="left" aria-label="Earlier">&larr;</button>
<button type="button" data-act="right" aria-label="Later">&rarr;</button>
<button type="button" class="toggle" id="level" aria-pressed="false">Same scale of components</button>
<output id="reading" aria-live="polite"></output></div>
<p class="soft">Drag to zoom, Shift and drag to pan, double-click for the whole span. On a chart: + &minus; 0 zoom, &larr; &rarr;
read off, Shift &larr; &rarr; pan. A name switches its line on and off.</p>
<noscript><p class="error">The charts need scripts, which this browser does not run.</p></noscript>
)";

std::string charts_of(const ReportPage& page) {
    std::string text = kTools;
    for (std::size_t i = 0; i < page.charts.size(); ++i) {
        const ReportChart& chart = page.charts[i];
        text += R"(<div class="chart" id="chart)" + std::to_string(i) + R"("><div class="head"><h3>)" +
                html(chart.title) + R"(</h3></div><div class="keys"></div><div class="plot)" +
                (chart.series.size() > 6 ? " tall" : "") + R"(" role="img" aria-label=")" + html(chart.title) +
                R"("></div></div>)"
                "\n";
    }
    return text;
}

std::string messages_of(const ReportPage& page) {
    if (page.messages.empty()) return "<p>The log has no messages.</p>\n";
    constexpr std::size_t kMost = 200;
    std::string text =
        R"(<div class="card"><table><tr><th class="n">count</th><th>level</th><th>message (the first of )"
        "those that differ by numbers alone)</th></tr>\n";
    for (std::size_t i = 0; i < std::min(kMost, page.messages.size()); ++i) {
        const ReportMessage& m = page.messages[i];
        text += R"(<tr><td class="n">)" + std::to_string(m.count) + R"(</td><td class=")" + m.level + R"(">)" +
                m.level + "</td><td>" + html(m.text) + "</td></tr>\n";
    }
    text += "</table></div>\n";
    if (page.messages.size() > kMost)
        text += "<p>" + std::to_string(page.messages.size() - kMost) + " more kinds of messages are not shown.</p>\n";
    return text;
}

std::string title_of(const nlohmann::ordered_json& summary) {
    const bool named = summary.is_object() && summary.contains("command") && summary["command"].is_string();
    return named ? "leopod " + summary["command"].get<std::string>() : "Summary";
}

std::string summary_of(const ReportPage& page) {
    std::string text = R"(<div class="flow">)"
                       "\n";
    for (const ReportTable& table : page.tables) text += html_table(table);
    text += "</div>\n";
    for (const nlohmann::ordered_json& summary : page.summaries)
        text += "<h3 class=\"command\">" + html(title_of(summary)) + "</h3>\n" + html_summary(summary);
    return text;
}

}  // namespace

ChartsLibrary charts_library(const std::string& directory) {
    ChartsLibrary library;
    for (const auto& [name, text] :
         {std::pair{"/dygraph.min.css", &library.style}, std::pair{"/dygraph.min.js", &library.script},
          std::pair{"/extras/synchronizer.js", &library.script}}) {
        std::ifstream in(directory + name, std::ios::binary);
        if (!in) return {};
        // Their source maps would be loaded from elsewhere.
        for (std::string line; std::getline(in, line);) {
            if (line.find("# sourceMappingURL") == std::string::npos) *text += line + "\n";
        }
    }
    return library;
}

std::string report_html(const ReportPage& page, const ChartsLibrary& library) {
    const bool drawn = !library.empty() && !page.charts.empty();
    std::vector<std::array<std::string, 3>> sections = {{"summary", "Summary", summary_of(page)}};
    if (!page.charts.empty()) {
        const std::string note =
            R"(<p class="soft">These pictures stand still: the library of the charts, dygraphs (Debian: )"
            "libjs-dygraphs), was "
            "not there when this page was made.</p>\n";
        sections.push_back({"charts", "Over time", drawn ? charts_of(page) : note + pictures_of(page.instead)});
    }
    if (!page.pictures.empty()) sections.push_back({"pictures", "Sky and ground", pictures_of(page.pictures)});
    if (page.has_log) sections.push_back({"messages", "Messages", messages_of(page)});
    std::string commands;
    for (const std::string& command : page.commands) commands += "<code>" + html(command) + "</code>";
    sections.push_back({"commands", "Commands", "<pre>" + commands + "</pre>\n"});

    std::string text =
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>" + html(page.title) +
        "</title>\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
        "<link rel=\"icon\" href=\"data:,\">\n<style>\n" +
        (drawn ? library.style : "") + kStyle + "</style>\n</head>\n<body>\n<header><h1>" + html(page.title) +
        R"(</h1><p class="soft">)" + html(page.subtitle) + R"(</p><nav aria-label="Parts of this page">)";
    for (const auto& [id, title, part] : sections) text += R"(<a href="#)" + id + R"(">)" + title + "</a>";
    text += "</nav></header>\n<main>\n";
    for (const auto& [id, title, part] : sections) text += section(id, title, part);
    text += "</main>\n<footer>Made by " + html(page.version) + ".</footer>\n";
    if (drawn) {
        text += R"(<script type="application/json" id="data">)" + in_script(ChartData(page).text()) +
                "</script>\n<script>\n" + library.script + "</script>\n<script>\n" + kScript + "</script>\n";
    }
    return text + "</body>\n</html>\n";
}

}  // namespace host
