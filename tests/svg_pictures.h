/// \file svg_pictures.h
/// Pictures of the program read back from their files: series, texts, and values by the labels of the axes.
#ifndef LEOPOD_TESTS_SVG_PICTURES_H
#define LEOPOD_TESTS_SVG_PICTURES_H

#include "host_support.h"

namespace support {

struct Point {
    double x, y;
};

/// A panel, the sky or the map of an SVG file, read back. Pieces of a series are its lines, then its dots, of one point each.
struct Picture {
    std::map<std::string, std::vector<std::vector<Point>>> series;  ///< by name; coastlines too
    std::map<std::string, Point> texts;                             ///< the first of equal ones
};

/// Points of a path of absolute M, relative m and l and zero-length h.
inline std::vector<std::vector<Point>> points_of(const std::string& d) {
    static const std::regex pair("([Mml]?) *(-?[0-9.]+) *(-?[0-9.]+)(h0)?");
    std::vector<std::vector<Point>> pieces;
    Point at{0, 0};
    for (std::sregex_iterator it(d.begin(), d.end(), pair), end; it != end; ++it) {
        const std::string command = (*it)[1];
        if (command == "M") at = {0, 0};
        at = {at.x + std::stod((*it)[2]), at.y + std::stod((*it)[3])};
        if (command == "M" || command == "m") pieces.emplace_back();
        pieces.back().push_back(at);
    }
    return pieces;
}

/// What stands between two texts of a line; empty without them.
inline std::string between(const std::string& line, const std::string& before, const std::string& behind) {
    const std::size_t at = line.find(before);
    if (at == std::string::npos) return "";
    const std::size_t start = at + before.size();
    return line.substr(start, line.find(behind, start) - start);
}

/// The drawings of a file: its panels, or one for the whole where it has none.
inline std::vector<Picture> read_svg(const std::string& file) {
    std::vector<Picture> pictures(1);
    std::string group, name;
    std::stringstream in(read_file(file));
    EXPECT_TRUE(holds(in.str(), "</svg>")) << file;
    for (std::string line; std::getline(in, line);) {
        if (line.compare(0, 2, "<g") == 0) {
            group = between(line, "class=\"", "\"");
            name = between(line, "<title>", "</title>");
            if (group == "panel") pictures.emplace_back();
        } else if (line == "</g>") {
            group.clear();
        } else if (line.compare(0, 5, "<text") == 0) {
            const double size = std::stod(between(line, "font-size=\"", "\""));
            const std::string text = std::regex_replace(between(line, ">", "</text>"), std::regex("\u2212"), "-");
            pictures.back().texts.insert(
                {text,
                 {std::stod(between(line, " x=\"", "\"")), std::stod(between(line, " y=\"", "\"")) - 0.36 * size}});
        } else if ((group == "series" || group == "coast" || group == "graticule") && holds(line, " stroke=")) {
            auto& all = pictures.back().series[name];
            for (auto& piece : points_of(between(line, " d=\"", "\""))) all.push_back(std::move(piece));
        }
    }
    if (pictures.size() > 1) pictures.erase(pictures.begin());
    return pictures;
}

/// The value at a height of a panel, by its tick labels.
inline double value_at(const Picture& panel, double y) {
    std::vector<std::pair<double, double>> ticks;
    for (const auto& [text, at] : panel.texts) {
        if (const double v = to_number(text); !std::isnan(v)) ticks.emplace_back(at.y, v);
    }
    const auto [low, high] = std::minmax_element(ticks.begin(), ticks.end());
    if (low == high) return std::nan("");
    return low->second + (y - low->first) / (high->first - low->first) * (high->second - low->second);
}

}  // namespace support

#endif
