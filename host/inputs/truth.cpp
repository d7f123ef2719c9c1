#include "inputs/truth.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "common_function.h"
#include "mathlib.h"
#include "shared/earth.h"
#include "shared/error.h"
#include "shared/times.h"

namespace host {

namespace {

constexpr double kSlack = 2e-3;  ///< a receiver clock may put the first and last epoch this far outside the rows [s]
constexpr int kWindow = 10;      ///< rows of an interpolation
constexpr double kLongestGap = 120.0;  ///< that is bridged [s]

}  // namespace

double PositionError::total() const {
    return std::sqrt(component[0] * component[0] + component[1] * component[1] + component[2] * component[2]);
}

Truth Truth::load(const std::string& file, const GTime& first, const std::string& satellite, bool inertial) {
    Truth truth;
    truth.origin_ = first;
    truth.origin_.time.sod = 0.0;
    double extent = 0;
    PositionRequest request;
    request.day_mjd = first.time.mjd;
    request.satellite = satellite;
    request.satellite_or_any = true;
    PositionFile positions = read_positions(file, request);
    truth.source_ = positions.text();
    make_earth_fixed(file, positions, inertial);
    const std::vector<TimedPosition>& rows = positions.rows;
    for (const TimedPosition& row : rows) {
        truth.seconds_.push_back(gtimeSubSec(row.time, truth.origin_));
        for (std::size_t k = 0; k < 3; ++k) {
            truth.position_[k].push_back(row.position[k]);
            extent = std::max(extent, std::fabs(row.position[k] - rows.front().position[k]));
        }
    }
    truth.at_rest_ = extent < 1000.0;
    return truth;
}

std::optional<Truth> Truth::of_arc(const std::string& file, const GTime& day, const GTime& first, const GTime& last,
                                   const std::string& satellite, bool inertial) {
    if (file.empty()) return std::nullopt;
    Truth truth = load(file, day, satellite, inertial);
    const GTime from = gtimeChangeTimeSystem(first, tsGPST), to = gtimeChangeTimeSystem(last, tsGPST);
    const double begin = gtimeSubSec(from, truth.origin_) - kLongestGap;
    const double end = gtimeSubSec(to, truth.origin_) + kLongestGap;
    const bool covers = truth.size() == 1 || std::any_of(truth.seconds_.begin(), truth.seconds_.end(),
                                                         [begin, end](double t) { return t >= begin && t <= end; });
    if (!covers)
        throw InputError(file + ": covers no epoch of the arc from " + time_text(from, 0) + " to " + time_text(to, 0));
    return truth;
}

bool Truth::state_at(const GTime& time, Vector3& position, Vector3& velocity) const {
    const std::size_t n = seconds_.size();
    if (n == 1) {
        for (std::size_t k = 0; k < 3; ++k) position[k] = position_[k][0];
        velocity = {};
        return true;
    }
    const double t = static_cast<double>(time.time.mjd - origin_.time.mjd) * 86400.0 + time.time.sod;
    if (t < seconds_.front() - kSlack || t > seconds_.back() + kSlack) return false;
    const std::size_t after =
        static_cast<std::size_t>(std::lower_bound(seconds_.begin(), seconds_.end(), t) - seconds_.begin());
    // The row itself serves where it is close; a gap of the reference is not bridged.
    const std::size_t right = std::min(std::max<std::size_t>(after, 1), n - 1);
    const double gap = seconds_[right] - seconds_[right - 1];
    const std::size_t window = std::min<std::size_t>(kWindow, n);
    const std::size_t first = std::min(right > window / 2 ? right - window / 2 : 0, n - window);
    const bool regular = seconds_[first + window - 1] - seconds_[first] < 1.5 * static_cast<double>(window - 1) * gap &&
                         gap <= kLongestGap;
    const std::size_t near = std::fabs(seconds_[right] - t) < std::fabs(seconds_[right - 1] - t) ? right : right - 1;
    const std::size_t from = regular ? first : near;
    const std::size_t count = regular ? window : 1;
    if (!regular && std::fabs(seconds_[near] - t) > kSlack) return false;
    // Lagrange in time from the window's centre; the velocity by a small central step of the same polynomial.
    double x[kWindow];
    double y[kWindow];
    const double step = 1e-3 * gap;
    for (std::size_t k = 0; k < 3; ++k) {
        for (std::size_t i = 0; i < count; ++i) {
            x[i] = seconds_[from + i] - t;
            y[i] = position_[k][from + i];
        }
        const int m = static_cast<int>(count);
        position[k] = interpolation_Lagrange(x, y, m, 0.0);
        velocity[k] =
            m > 1 ? (interpolation_Lagrange(x, y, m, step) - interpolation_Lagrange(x, y, m, -step)) / (2.0 * step)
                  : 0.0;
    }
    return true;
}

bool Truth::error_at(const GTime& time, const double* solved, PositionError& error) const {
    Vector3 position;
    Vector3 velocity;
    if (!state_at(time, position, velocity)) return false;
    double axes[9];  // rows: radial, along, cross, or east, north, up
    if (at_rest_) {
        xyz2enu_matrix(geodetic(position.data()).data(), axes);
    } else {
        // Along and cross by the inertial velocity.
        double v[3] = {velocity[0] - kEarthRate * position[1], velocity[1] + kEarthRate * position[0], velocity[2]};
        std::copy(position.begin(), position.end(), axes);
        normalize_vector(3, axes);
        crossproduct(3, 3, position.data(), v, axes + 6);
        normalize_vector(3, axes + 6);
        crossproduct(3, 3, axes + 6, axes, axes + 3);
    }
    for (std::size_t k = 0; k < 3; ++k) {
        error.component[k] = 0;
        for (std::size_t j = 0; j < 3; ++j) error.component[k] += axes[3 * k + j] * (solved[j] - position[j]);
    }
    return true;
}

double percentile(std::vector<double> values, double percent) {
    if (values.empty()) return 0.0;
    std::sort(values.begin(), values.end());
    const double rank = percent / 100.0 * static_cast<double>(values.size() - 1);
    const std::size_t below = static_cast<std::size_t>(rank);
    const std::size_t above = std::min(below + 1, values.size() - 1);
    return values[below] + (rank - static_cast<double>(below)) * (values[above] - values[below]);
}

ErrorStatistics statistics(const std::vector<PositionError>& errors, std::size_t skip) {
    ErrorStatistics s;
    if (errors.size() <= skip) return s;
    std::vector<double> totals;
    Vector3 squares{};
    double sum = 0;
    for (std::size_t i = skip; i < errors.size(); ++i) {
        const double total = errors[i].total();
        totals.push_back(total);
        sum += total * total;
        for (std::size_t k = 0; k < 3; ++k) s.mean[k] += errors[i].component[k];
    }
    s.count = totals.size();
    const double n = static_cast<double>(s.count);
    for (double& m : s.mean) m /= n;
    for (std::size_t i = skip; i < errors.size(); ++i) {
        for (std::size_t k = 0; k < 3; ++k) squares[k] += std::pow(errors[i].component[k] - s.mean[k], 2);
    }
    for (std::size_t k = 0; k < 3; ++k) s.deviation[k] = std::sqrt(squares[k] / n);
    s.rms = std::sqrt(sum / n);
    s.largest = *std::max_element(totals.begin(), totals.end());
    s.p95 = percentile(totals, 95.0);
    s.median = percentile(std::move(totals), 50.0);
    return s;
}

void print_statistics(const char* name, int width, const ErrorStatistics& s, bool at_rest) {
    if (s.count == 0) {
        std::printf("  %-*s no epoch to compare\n", width, name);
        return;
    }
    const char* axes[2][3] = {{"radial", "along", "cross"}, {"east", "north", "up"}};
    std::printf("  %-*s epochs %zu, 3D median %.3f, rms %.3f, 95 %% %.3f, largest %.3f m\n", width, name, s.count,
                s.median, s.rms, s.p95, s.largest);
    std::printf("  %-*s", width, "");
    for (std::size_t k = 0; k < 3; ++k)
        std::printf("%s%s %+.3f +- %.3f", k != 0 ? ", " : " ", axes[at_rest][k], s.mean[k], s.deviation[k]);
    std::printf(" m (mean +- standard deviation)\n");
}

}  // namespace host
