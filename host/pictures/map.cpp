#include "pictures/map.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "common_function.h"
#include "pictures/page.h"
#include "pictures/track.h"
#include "shared/earth.h"

namespace host {

namespace {

/// Number of points, then longitude and latitude of each [0.1 degree]; one line after the other.
constexpr short kCoastlines[] = {
#include "pictures/coastlines.inc"
};
static_assert(std::size(kCoastlines) == 134 + 2 * 5121, "the table is whole");

// --- layout --------------------------------------------------------------------------------------------------------------

/// The frame of the map: 360 by 180 degrees.
struct Sheet {
    Box box;
    Pixel at(double longitude, double latitude) const {
        const double wide = box.right - box.left;
        return {box.left + (longitude + 180.0) / 360.0 * wide, box.top + (90.0 - latitude) / 360.0 * wide};
    }
};

/// A track in pixels, cut at the edges of the map.
struct Way {
    std::string name, colour;
    std::vector<std::vector<Pixel>> pieces, arrows;
    Pixel start{}, end{};
};

/// Over the edge of the map a way goes to one side, and on from the other.
std::vector<std::vector<Pixel>> pieces_of(const Sheet& sheet, const Trail& track) {
    std::vector<std::vector<Pixel>> pieces;
    for (const auto& piece : track.pieces) {
        std::vector<Pixel> points;
        for (std::size_t i = 0; i < piece.size(); ++i) {
            const Trail::Place& here = piece[i];
            if (i > 0 && std::fabs(here.a - piece[i - 1].a) > 180.0) {
                const Trail::Place& last = piece[i - 1];
                const double side = last.a > 0.0 ? 180.0 : -180.0;
                const double way = here.a + 2.0 * side - last.a;
                const double lat = way == 0.0 ? here.b : last.b + (here.b - last.b) * (side - last.a) / way;
                points.push_back(sheet.at(side, lat));
                pieces.push_back(thin_distance(points));
                points = {sheet.at(-side, lat)};
            }
            points.push_back(sheet.at(here.a, here.b));
        }
        pieces.push_back(thin_distance(points));
    }
    pieces.erase(std::remove_if(pieces.begin(), pieces.end(), [](const auto& p) { return p.empty(); }), pieces.end());
    return pieces;
}

/// A triangle with its tip ahead, in the direction of a unit vector.
std::vector<Pixel> arrow(const Pixel& tip, double ux, double uy) {
    return {{tip.x + 5 * ux, tip.y + 5 * uy},
            {tip.x - 4 * ux + 4.5 * uy, tip.y - 4 * uy - 4.5 * ux},
            {tip.x - 4 * ux - 4.5 * uy, tip.y - 4 * uy + 4.5 * ux}};
}

/// Arrows along the way; none on one that is short.
std::vector<std::vector<Pixel>> arrows_of(const Box& box, const std::vector<std::vector<Pixel>>& pieces) {
    double length = 0;
    for (const auto& piece : pieces) {
        for (std::size_t i = 1; i < piece.size(); ++i)
            length += std::hypot(piece[i].x - piece[i - 1].x, piece[i].y - piece[i - 1].y);
    }
    constexpr int kArrows = 7;
    std::vector<std::vector<Pixel>> arrows;
    double way = 0;
    double next = length / (2.0 * kArrows);
    for (const auto& piece : pieces) {
        for (std::size_t i = 1; i < piece.size(); ++i) {
            const double dx = piece[i].x - piece[i - 1].x;
            const double dy = piece[i].y - piece[i - 1].y;
            const double step = std::hypot(dx, dy);
            way += step;
            const bool inside = piece[i].x > box.left + 8 && piece[i].x < box.right - 8;
            if (way < next || step == 0.0 || length < 60.0 || !inside) continue;
            arrows.push_back(arrow(piece[i], dx / step, dy / step));
            next += length / kArrows;
        }
    }
    return arrows;
}

Way way_of(const Sheet& sheet, const Trail& track) {
    Way way{track.name, track.colour, pieces_of(sheet, track), {}, {}, {}};
    if (way.pieces.empty()) return way;
    way.start = way.pieces.front().front();
    way.end = way.pieces.back().back();
    way.arrows = arrows_of(sheet.box, way.pieces);
    return way;
}

std::vector<Trail> tracks_of(const MapFigure& f) {
    std::vector<Trail> tracks;
    for (const GroundTrack& ground : f.tracks) {
        std::vector<Trail::Place> places;
        for (std::size_t i = 0; i < ground.seconds.size(); ++i)
            places.push_back({ground.longitude[i], ground.latitude[i]});
        tracks.push_back(
            {ground.name, colour(tracks.size()), cut(ground.seconds, places, 5.0 * usual_step(ground.seconds))});
    }
    return tracks;
}

std::string longitude_text(int degrees) {
    return std::to_string(std::abs(degrees)) + "\u00b0" + (degrees % 180 == 0 ? "" : degrees < 0 ? " W" : " E");
}

std::string latitude_text(int degrees) {
    return std::to_string(std::abs(degrees)) + "\u00b0" + (degrees == 0 ? "" : degrees < 0 ? " S" : " N");
}

std::vector<std::vector<Pixel>> coastlines(const Sheet& sheet) {
    std::vector<std::vector<Pixel>> lines;
    for (std::size_t at = 0; at < std::size(kCoastlines);) {
        const std::size_t end = at + 1 + 2 * static_cast<std::size_t>(kCoastlines[at]);
        std::vector<Pixel> points;
        for (++at; at < end; at += 2) points.push_back(sheet.at(0.1 * kCoastlines[at], 0.1 * kCoastlines[at + 1]));
        lines.push_back(thin_distance(points));
    }
    return lines;
}

// --- drawing -------------------------------------------------------------------------------------------------------------

void draw_graticule(Canvas& canvas, const Sheet& sheet) {
    canvas.begin("graticule", "graticule");
    std::vector<std::vector<Pixel>> grid;
    for (int lon = -180; lon <= 180; lon += 30) {
        if (lon % 180 != 0) grid.push_back({sheet.at(lon, 90), sheet.at(lon, -90)});
        if (lon % 60 != 0) continue;
        canvas.text({sheet.at(lon, -90).x, sheet.box.bottom + 13}, longitude_text(lon),
                    {11.5, ink::text, Anchor::middle, false, false});
    }
    for (int lat = -90; lat <= 90; lat += 30) {
        if (std::abs(lat) < 90) grid.push_back({sheet.at(-180, lat), sheet.at(180, lat)});
        canvas.text({sheet.box.left - 7, sheet.at(0, lat).y}, latitude_text(lat),
                    {11.5, ink::text, Anchor::end, false, false});
    }
    canvas.lines(std::move(grid), ink::grid, 1.0);
    canvas.lines({{sheet.at(-180, 0), sheet.at(180, 0)}, {sheet.at(0, 90), sheet.at(0, -90)}}, ink::frame, 1.0);
    canvas.end();
}

void draw_way(Canvas& canvas, Way way) {
    canvas.begin("series", way.name);
    if (!way.pieces.empty()) {
        way.pieces.erase(
            std::remove_if(way.pieces.begin(), way.pieces.end(), [](const auto& p) { return p.size() < 2; }),
            way.pieces.end());
        canvas.lines(std::move(way.pieces), way.colour, 1.5);
        for (auto& arrow : way.arrows) canvas.fill(std::move(arrow), way.colour);
        canvas.dots({way.end}, 5.5, way.colour);
        canvas.dots({way.start}, 5.5, way.colour);
        canvas.dots({way.start}, 3.2, ink::paper);
    }
    canvas.end();
}

}  // namespace

void add_position(GroundTrack& track, double seconds, const Vector3& position) {
    const std::array<double, 3> blh = geodetic(position.data());
    track.seconds.push_back(seconds);
    track.longitude.push_back(blh[1] * kRadToDeg);
    track.latitude.push_back(blh[0] * kRadToDeg);
}

Canvas draw_map(const MapFigure& f) {
    const std::vector<Trail> tracks = tracks_of(f);
    std::vector<LegendEntry> entries;
    for (const Trail& track : tracks) {
        if (tracks.size() > 1) entries.push_back({shortened(track.name, 12.0, kNameWidth), {}, track.colour});
    }
    Span span;
    for (const GroundTrack& ground : f.tracks) span.add(ground.seconds);
    const Heading heading{
        title_or(f.options, "Ground track"), span_text(span.first, span.last, f.options.day_mjd) + "; from " + f.source,
        "Geodetic latitude and longitude (WGS 84). Open circle: start; full circle: end. Coastlines: Natural Earth."};
    const double legend = legend_width(entries);
    constexpr double kMapLeft = 60.0, kMapTop = 72.0;
    const double wide = kWidth - kMapLeft - kRight - (legend > 0.0 ? legend + 14.0 : 0.0);
    const double height = kMapTop + 0.5 * wide + 30.0 + caption_height(heading);
    const Sheet sheet{{kMapLeft, kMapTop, kMapLeft + wide, kMapTop + 0.5 * wide}};
    Canvas canvas(kWidth, static_cast<int>(std::lround(height)));
    draw_heading(canvas, heading, height);
    draw_graticule(canvas, sheet);
    canvas.begin("coast", "coastlines");
    canvas.lines(coastlines(sheet), ink::coast, 0.8);
    canvas.end();
    for (const Trail& track : tracks) draw_way(canvas, way_of(sheet, track));
    draw_frame(canvas, sheet.box);
    draw_legend(canvas, sheet.box.right + 14, sheet.box.top + 9, entries);
    return canvas;
}

}  // namespace host
