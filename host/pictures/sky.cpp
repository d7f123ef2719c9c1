#include "pictures/sky.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "inputs/truth.h"
#include "pictures/page.h"
#include "pictures/track.h"
#include "shared/earth.h"
#include "shared/error.h"

namespace host {

namespace {

constexpr double kRadius = 310.0;
constexpr int kSkyWidth = 760;
constexpr double kLongestTracks = 7200.0;  ///< [s]

// --- layout --------------------------------------------------------------------------------------------------------------

/// The disk. Its rim lies at the horizon, or below it where a track goes there.
struct Disk {
    Pixel centre;
    double rim;  ///< [degree]
    Pixel at(double azimuth, double elevation) const {
        const double r = kRadius * (90.0 - elevation) / (90.0 - rim);
        return {centre.x + r * std::sin(azimuth * kDegToRad), centre.y - r * std::cos(azimuth * kDegToRad)};
    }
};

/// A satellite's way in pixels, and where its name stands.
struct Way {
    std::string name;
    Mark mark;
    std::vector<std::vector<Pixel>> pieces;
    std::vector<Pixel> ends;
    bool named = false;
    Pixel label{};
};

/// Rooms that names have taken.
class Rooms {
  public:
    static Box of(const Pixel& p, const std::string& name) {
        const double half = 0.5 * text_width(name, 11.0, true) + 1.0;
        return {p.x - half, p.y - 7.0, p.x + half, p.y + 7.0};
    }
    void take(const Pixel& p, const std::string& name) { taken_.push_back(of(p, name)); }
    bool is_free(const Pixel& p, const std::string& name) const {
        const Box box = of(p, name);
        return std::none_of(taken_.begin(), taken_.end(), [&](const Box& other) {
            return box.left < other.right && other.left < box.right && box.top < other.bottom && other.top < box.bottom;
        });
    }

  private:
    std::vector<Box> taken_;
};

std::vector<Trail> tracks_of(const SatelliteRowsByName& satellites, double gap) {
    std::vector<Trail> tracks;
    for (const auto& [name, rows] : satellites) {
        std::vector<double> seconds;
        std::vector<Trail::Place> places;
        for (std::size_t i = 0; i < rows.seconds.size(); ++i) {
            if (!std::isfinite(rows.azimuth[i]) || !std::isfinite(rows.elevation[i])) continue;
            seconds.push_back(rows.seconds[i]);
            places.push_back({rows.azimuth[i], rows.elevation[i]});
        }
        if (!places.empty()) tracks.push_back({name, colour(tracks.size()), cut(seconds, places, gap)});
    }
    return tracks;
}

double rim_of(const std::vector<Trail>& tracks) {
    double lowest = 0;
    for (const Trail& track : tracks) {
        for (const auto& piece : track.pieces) {
            for (const Trail::Place& place : piece) lowest = std::min(lowest, place.b);
        }
    }
    return 10.0 * std::floor(lowest / 10.0);
}

/// Where the axes turn far between two epochs, as over a pole, the way is an arc. Near the zenith it is not, though the azimuth turns there
/// too.
std::vector<Pixel> piece_of(const Disk& disk, const std::vector<Trail::Place>& piece) {
    constexpr double kFar = 25.0;
    std::vector<Pixel> points;
    for (std::size_t i = 0; i < piece.size(); ++i) {
        const Pixel here = disk.at(piece[i].a, piece[i].b);
        const Pixel last = i > 0 ? disk.at(piece[i - 1].a, piece[i - 1].b) : here;
        const double turn = i > 0 ? std::remainder(piece[i].a - piece[i - 1].a, 360.0) : 0.0;
        const bool arc = std::hypot(here.x - last.x, here.y - last.y) > kFar;
        const int parts = arc ? std::max(1, static_cast<int>(std::fabs(turn) / 3.0)) : 1;
        for (int k = 1; k < parts; ++k) {
            const double share = static_cast<double>(k) / parts;
            points.push_back(
                disk.at(piece[i - 1].a + share * turn, piece[i - 1].b + share * (piece[i].b - piece[i - 1].b)));
        }
        points.push_back(here);
    }
    return thin_distance(points);
}

/// The name stands beside the end of the longest piece, or where there is room along it.
Pixel label_place(const std::vector<Pixel>& longest, const std::string& name, const Rooms& rooms) {
    for (double share : {1.0, 0.0, 0.5, 0.75, 0.25, 0.9, 0.1, 0.62, 0.38}) {
        const std::size_t i = static_cast<std::size_t>(share * static_cast<double>(longest.size() - 1));
        Pixel p = longest[i];
        if (share == 0.0 || share == 1.0) {
            // Beyond the end, along the way.
            const std::size_t k = share > 0.5 ? (longest.size() > 6 ? longest.size() - 6 : 0)
                                              : std::min<std::size_t>(5, longest.size() - 1);
            const double dx = p.x - longest[k].x;
            const double dy = p.y - longest[k].y;
            const double length = std::hypot(dx, dy);
            p = length > 0.0 ? Pixel{p.x + 17.0 * dx / length, p.y + 12.0 * dy / length} : Pixel{p.x + 17.0, p.y};
        }
        if (rooms.is_free(p, name)) return p;
    }
    return longest.back();
}

Way way_of(const Disk& disk, const Trail& track, const Mark& mark, Rooms& rooms) {
    Way way{track.name, mark, {}, {}, false, {}};
    std::vector<Pixel> longest;
    for (const auto& piece : track.pieces) {
        std::vector<Pixel> points = piece_of(disk, piece);
        if (points.empty()) continue;
        way.ends.push_back(points.back());
        if (points.size() > longest.size()) longest = points;
        if (points.size() > 1) way.pieces.push_back(std::move(points));
    }
    if (longest.empty()) return way;
    way.named = true;
    way.label = label_place(longest, way.name, rooms);
    rooms.take(way.label, way.name);
    return way;
}

/// Directions along the rim, every 30 degrees.
Pixel direction_place(const Disk& disk, int azimuth) {
    return {disk.centre.x + (kRadius + 19) * std::sin(azimuth * kDegToRad),
            disk.centre.y - (kRadius + 15) * std::cos(azimuth * kDegToRad)};
}

std::vector<Way> ways_of(const Disk& disk, const std::vector<Trail>& tracks) {
    Rooms rooms;
    for (int e = 30; e < 90; e += 30) rooms.take(disk.at(15, e), "60");
    for (int a = 0; a < 360; a += 30) rooms.take(direction_place(disk, a), "360");
    std::vector<Way> ways;
    ways.reserve(tracks.size());
    for (const Trail& track : tracks) ways.push_back(way_of(disk, track, mark(ways.size()), rooms));
    return ways;
}

// --- drawing -------------------------------------------------------------------------------------------------------------

std::vector<Pixel> ring(const Disk& disk, double elevation) {
    std::vector<Pixel> points;
    for (int a = 0; a <= 360; a += 4) points.push_back(disk.at(a, elevation));
    return points;
}

void draw_disk(Canvas& canvas, const Disk& disk, bool compass) {
    canvas.begin("sky", "sky");
    if (disk.rim < 0.0) canvas.line(ring(disk, disk.rim), ink::frame, 1.2);
    for (int e = 0; e < 90; e += 15) canvas.line(ring(disk, e), e == 0 ? ink::frame : ink::grid, e == 0 ? 1.2 : 1.0);
    std::vector<std::vector<Pixel>> spokes;
    for (int a = 0; a < 180; a += 30) spokes.push_back({disk.at(a, disk.rim), disk.at(a + 180, disk.rim)});
    canvas.lines(std::move(spokes), ink::grid, 1.0);
    for (int a = 0; a < 360; a += 30) {
        static const char* points[] = {"N", "E", "S", "W"};
        const bool main = compass && a % 90 == 0;
        canvas.text(direction_place(disk, a), main ? points[a / 90] : std::to_string(a) + "\u00b0",
                    {main ? 15.0 : 12.0, main ? ink::text : ink::soft, Anchor::middle, main, false});
    }
    canvas.end();
}

void draw_elevations(Canvas& canvas, const Disk& disk) {
    for (int e = 30; e < 90; e += 30)
        canvas.text(disk.at(15, e), std::to_string(e) + "\u00b0", {11, ink::soft, Anchor::middle, false, false});
}

void draw_names(Canvas& canvas, const std::vector<Way>& ways) {
    for (const Way& way : ways) {
        if (!way.named) continue;
        const Box b = Rooms::of(way.label, way.name);
        canvas.fill({{b.left, b.top}, {b.right, b.top}, {b.right, b.bottom}, {b.left, b.bottom}}, ink::paper);
        canvas.text(way.label, way.name, {11, way.mark.colour, Anchor::middle, true, false});
    }
}

void draw_ways(Canvas& canvas, const Disk& disk, const std::vector<Trail>& tracks, bool compass) {
    draw_disk(canvas, disk, compass);
    std::vector<Way> ways = ways_of(disk, tracks);
    for (Way& way : ways) {
        canvas.begin("series", way.name);
        canvas.lines(std::move(way.pieces), way.mark.colour, 1.6);
        canvas.marks(std::move(way.ends), 2.8, way.mark);
        canvas.end();
    }
    draw_elevations(canvas, disk);
    draw_names(canvas, ways);
}

// --- density -------------------------------------------------------------------------------------------------------------

constexpr double kRing = 5.0;  ///< height of the cells [degree]
constexpr std::array<const char*, 7> kShades = {"#dcebf5", "#b9d7eb", "#8fbfde", "#5fa2cf",
                                                "#3583bb", "#155f9b", "#083f72"};

/// Cells of about the same part of the sky each, from the rim upwards.
class Cells {
  public:
    explicit Cells(double rim) : rim_(rim) {
        const long rings = std::lround((90.0 - rim) / kRing);
        for (long r = 0; r < rings; ++r) {
            const double around = 360.0 * std::cos((rim + (static_cast<double>(r) + 0.5) * kRing) * kDegToRad);
            counts_.emplace_back(std::max<std::size_t>(3, static_cast<std::size_t>(std::lround(around / kRing))));
        }
    }
    void add(double azimuth, double elevation) {
        const double ring = std::clamp((elevation - rim_) / kRing, 0.0, static_cast<double>(counts_.size()) - 1.0);
        std::vector<long>& cells = counts_[static_cast<std::size_t>(ring)];
        const double turn = azimuth / 360.0 - std::floor(azimuth / 360.0);
        ++cells[static_cast<std::size_t>(turn * static_cast<double>(cells.size())) % cells.size()];
    }
    /// Cells of each shade; darker ones have been seen more often.
    void draw(Canvas& canvas, const Disk& disk) const {
        const double most = static_cast<double>(most_shown());
        for (std::size_t r = 0; r < counts_.size(); ++r) {
            const double low = rim_ + kRing * static_cast<double>(r);
            const double wide = 360.0 / static_cast<double>(counts_[r].size());
            for (std::size_t c = 0; c < counts_[r].size(); ++c) {
                if (counts_[r][c] == 0) continue;
                const double share = std::min(1.0, static_cast<double>(counts_[r][c]) / most);
                const std::size_t shade = static_cast<std::size_t>(std::ceil(share * kShades.size())) - 1;
                canvas.fill(outline(disk, wide * static_cast<double>(c), wide, low), kShades[shade]);
            }
        }
    }
    /// The count of the darkest shade: a few cells may hold more, as those of a satellite at rest do.
    long most_shown() const {
        std::vector<double> counts;
        for (const auto& ring : counts_) {
            for (long count : ring) {
                if (count > 0) counts.push_back(static_cast<double>(count));
            }
        }
        return std::max(1L, std::lround(percentile(std::move(counts), 98.0)));
    }

  private:
    static std::vector<Pixel> outline(const Disk& disk, double azimuth, double wide, double low) {
        std::vector<Pixel> points;
        const int parts = std::max(1, static_cast<int>(wide / 4.0));
        for (int k = 0; k <= parts; ++k) points.push_back(disk.at(azimuth + wide * k / parts, low));
        for (int k = parts; k >= 0; --k) points.push_back(disk.at(azimuth + wide * k / parts, low + kRing));
        return points;
    }

    double rim_;
    std::vector<std::vector<long>> counts_;
};

/// The shades with their counts, below the disk.
void draw_shades(Canvas& canvas, const Pixel& at, long most, const std::string& unit) {
    constexpr double kWide = 34.0, kHigh = 11.0;
    const double left = at.x - 0.5 * kWide * static_cast<double>(kShades.size());
    for (std::size_t i = 0; i < kShades.size(); ++i) {
        const double x = left + kWide * static_cast<double>(i);
        canvas.fill({{x, at.y}, {x + kWide, at.y}, {x + kWide, at.y + kHigh}, {x, at.y + kHigh}}, kShades[i]);
    }
    canvas.text({left - 8, at.y + 0.5 * kHigh}, "1", {11.5, ink::text, Anchor::end, false, false});
    canvas.text({left + kWide * static_cast<double>(kShades.size()) + 8, at.y + 0.5 * kHigh},
                std::to_string(most) + " and more " + unit, {11.5, ink::text, Anchor::start, false, false});
}

void draw_density(Canvas& canvas, const Disk& disk, const std::vector<Trail>& tracks, bool compass) {
    Cells cells(disk.rim);
    for (const Trail& track : tracks) {
        for (const auto& piece : track.pieces) {
            for (const Trail::Place& place : piece) cells.add(place.a, place.b);
        }
    }
    canvas.begin("density", "epochs of satellites");
    cells.draw(canvas, disk);
    canvas.end();
    draw_disk(canvas, disk, compass);
    draw_elevations(canvas, disk);
    draw_shades(canvas, {disk.centre.x, disk.centre.y + kRadius + 34.0}, cells.most_shown(), "epochs in a cell");
}

}  // namespace

Canvas draw_sky(const SkyFigure& f) {
    std::vector<double> all;
    for (const auto& [name, rows] : f.satellites) all.insert(all.end(), rows.seconds.begin(), rows.seconds.end());
    const std::vector<Trail> tracks = tracks_of(f.satellites, 2.5 * usual_step(all));
    if (tracks.empty()) throw InputError(f.source + ": no epoch was solved, so there are no directions");
    Span span;
    span.add(all);
    const bool density =
        f.style == SkyStyle::density || (f.style == SkyStyle::by_span && span.last - span.first > kLongestTracks);
    Heading heading;
    heading.title = title_or(f.options, "Sky plot");
    heading.subtitle = span_text(span.first, span.last, f.options.day_mjd) + "; from " + f.source;
    heading.caption = f.antenna ? "Azimuth from the antenna's y axis towards x, elevation above its plane."
                                : "Azimuth from north, elevation above the local horizon at the receiver.";
    heading.caption += density ? "\nShade: epochs with a satellite in the cell; cells are about alike in size."
                               : " Signs: ends of the passes.";
    const Disk disk{{0.5 * kSkyWidth, kTop + 32.0 + kRadius}, rim_of(tracks)};
    const double height = kTop + 2 * kRadius + 60.0 + (density ? 28.0 : 0.0) + caption_height(heading);
    Canvas canvas(kSkyWidth, static_cast<int>(std::lround(height)));
    draw_heading(canvas, heading, height);
    (density ? draw_density : draw_ways)(canvas, disk, tracks, !f.antenna);
    return canvas;
}

}  // namespace host
