/// \file observation_stream.h
/// The epochs of all observation files in order of time, handed to the library's loader a window at a time.
#ifndef LEOPOD_HOST_OBSERVATION_STREAM_H
#define LEOPOD_HOST_OBSERVATION_STREAM_H

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "inputs/observations.h"
#include "shared/span.h"
#include "stores/environment.h"

namespace host {

/// What of the observations is taken, and how they are weighted.
struct StreamOptions {
    int receiver = 0;
    double interval = 0;                           ///< [s]; 0 takes every epoch
    std::optional<ArcSpan> span;                   ///< epochs outside are passed over
    double sigma_code = 0.3, sigma_phase = 0.002;  ///< [m]
};

/// The library gets each window as a version 3 file of the systems and types that are used, of at most ten types and fifteen satellites: the
/// configured observables and the ranges, and of more than fifteen satellites those with all configured observables and ephemerides first. Epochs of the
/// same time are taken once, from the file that has more satellites.
class ObservationStream {
  public:
    /// The library's configuration has to stand.
    ObservationStream(std::vector<ObservationScan> scans, const StreamOptions& options);
    ~ObservationStream();
    ObservationStream(const ObservationStream&) = delete;
    ObservationStream& operator=(const ObservationStream&) = delete;

    /// Loads the next epochs into the library's store. False at the end.
    bool next_window();

    long satellites_dropped() const { return satellites_dropped_; }
    /// Epochs that came again.
    long repeated() const { return repeated_; }

  private:
    class Source;

    static void check_same_receiver(const Source& a, const Source& b);
    Source* earliest();
    void append(const Source& source, std::string& text);
    void load(const std::string& text);
    std::string path() const;

    static constexpr std::size_t kWindow = 500;  ///< epochs

    StreamOptions options_;
    std::vector<ObservationScan> scans_;
    std::vector<std::unique_ptr<Source>> open_;
    std::size_t next_scan_ = 0;
    GTime last_{};
    ArcSpan days_{{}, {{}, tsGPST}, tsGPST};  ///< counts seconds from the first day on
    Owned<OBSDATA_EPOCH> store_;
    int descriptor_ = -1;
    long satellites_dropped_ = 0, repeated_ = 0;
    std::uint64_t before_[3] = {};  ///< satellites of the last epoch by system: those that go on are kept first
};

}  // namespace host

#endif
