/// \file truth.h
/// Reference positions from a file, and statistics of a solution's errors against them.
#ifndef LEOPOD_HOST_TRUTH_H
#define LEOPOD_HOST_TRUTH_H

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "gtime.h"
#include "inputs/positions.h"

namespace host {

/// An error against the reference: radial, along-track, cross-track, or east, north, up for a site at rest [m].
struct PositionError {
    double seconds;  ///< since the first epoch
    Vector3 component;
    double total() const;
};

/// Reference positions, earth-fixed, in GPST.
class Truth {
  public:
    /// A file of reference positions (CSV, SP3, OEM), of its satellite of that name; seconds of day without a date count from the day of
    /// `first`. One row, or rows within a kilometre: a site at rest. Inertial positions need earth orientation, unless what they serve
    /// is `inertial` as well. Throws InputError.
    static Truth load(const std::string& file, const GTime& first, const std::string& satellite = "",
                      bool inertial = false);

    /// What load() gives of a file, which may have no name: then there is none. Throws InputError where no row lies within two minutes of
    /// the arc from `first` to `last`. Seconds of day without a date count from `day`.
    static std::optional<Truth> of_arc(const std::string& file, const GTime& day, const GTime& first, const GTime& last,
                                       const std::string& satellite = "", bool inertial = false);

    /// Position and velocity at a time, by interpolation of neighbouring rows. False outside the rows or in a gap.
    bool state_at(const GTime& time, Vector3& position, Vector3& velocity) const;
    /// Error of an earth-fixed position at a time. False where there is no reference.
    bool error_at(const GTime& time, const double* position, PositionError& error) const;
    bool at_rest() const { return at_rest_; }
    std::size_t size() const { return seconds_.size(); }
    /// What the file says about itself.
    const std::string& source() const { return source_; }

  private:
    std::string source_;
    GTime origin_{};
    std::vector<double> seconds_;  ///< since origin_
    std::array<std::vector<double>, 3> position_;
    bool at_rest_ = false;
};

/// Statistics of errors: of the 3D length, and of each component.
struct ErrorStatistics {
    std::size_t count = 0;
    double median = 0, rms = 0, p95 = 0, largest = 0;
    Vector3 mean{}, deviation{};
};
ErrorStatistics statistics(const std::vector<PositionError>& errors, std::size_t skip = 0);

/// Prints two lines of statistics under a name, which takes `width` columns.
void print_statistics(const char* name, int width, const ErrorStatistics& s, bool at_rest);

/// A percentile (0 to 100) of values, linear between ranks. 0 without values.
double percentile(std::vector<double> values, double percent);

}  // namespace host

#endif
