#include "pictures/track.h"

#include <algorithm>
#include <cmath>

#include "inputs/truth.h"

namespace host {

std::vector<std::vector<Trail::Place>> cut(const std::vector<double>& seconds, const std::vector<Trail::Place>& places,
                                           double gap) {
    std::vector<std::vector<Trail::Place>> pieces;
    for (std::size_t i = 0; i < places.size(); ++i) {
        if (i == 0 || seconds[i] - seconds[i - 1] > gap) pieces.emplace_back();
        pieces.back().push_back(places[i]);
    }
    return pieces;
}

double usual_step(std::vector<double> seconds) {
    std::sort(seconds.begin(), seconds.end());
    seconds.erase(std::unique(seconds.begin(), seconds.end()), seconds.end());
    if (seconds.size() < 2) return 30.0;
    std::vector<double> steps;
    for (std::size_t i = 1; i < seconds.size(); ++i) steps.push_back(seconds[i] - seconds[i - 1]);
    return percentile(std::move(steps), 50.0);
}

std::vector<Pixel> thin_distance(const std::vector<Pixel>& points) {
    std::vector<Pixel> kept;
    for (std::size_t i = 0; i < points.size(); ++i) {
        const bool end = i + 1 == points.size();
        if (kept.empty() || end || std::hypot(points[i].x - kept.back().x, points[i].y - kept.back().y) >= 1.0)
            kept.push_back(points[i]);
    }
    return kept;
}

}  // namespace host
