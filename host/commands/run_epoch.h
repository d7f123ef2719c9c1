/// \file run_epoch.h
/// One epoch of `leopod run`: handed to the library, judged, written as a row.
#ifndef LEOPOD_HOST_RUN_EPOCH_H
#define LEOPOD_HOST_RUN_EPOCH_H

#include <bitset>
#include <string>
#include <vector>

#include "pod_embed.h"
#include "shared/files.h"
#include "stores/coverage.h"
#include "stores/exclusion.h"
#include "stores/guard.h"
#include "stores/slips.h"
#include "stores/verdict.h"

namespace host {

/// What one epoch brought.
struct RunEpoch {
    GTime tag{};
    const char* status = "";
    bool without_attitude = false;  ///< quaternions are loaded, and none serve it
    bool processed = false;         ///< handed to the library
    bool solved = false;            ///< status OK
    bool under_mask = false;        ///< failed with satellites set aside as below the elevation mask
    int satellites = 0;
    double sigma = 0, gdop = 0;
    GTime received{};
    double point[3]{}, point_clock[3]{};    ///< [m]
    double filter[3]{}, filter_clock[3]{};  ///< [m]
    const char* filter_status = "";
    double filter_covariance[6]{};  ///< xx, xy, xz, yy, yz, zz [m^2]
    int ambiguities = 0;
    int tracked = 0;  ///< satellites whose phase was followed
    std::vector<SlipMark> slips;
    bool has_orbit = false;
    DATA_ORBIT newest{};
};

/// Name of a configured system.
std::string system_name(int index);

/// Hands epochs to the library in order of time and judges what comes back.
class EpochRunner {
  public:
    /// \param interval    of the epochs [s]
    /// \param sigma_code  of the observations [m]
    EpochRunner(RUNTIME_POD_EMBED& runtime, Guard& guard, double interval, double sigma_code)
        : runtime_(runtime),
          guard_(guard),
          sigma_code_(sigma_code),
          attitude_(runtime.index_object),
          filter_judge_(interval) {}
    RunEpoch process(OBSDATA_EPOCH& observations);

  private:
    void run(OBSDATA_EPOCH& observations, RunEpoch& epoch, PointPosition& point);
    int leave_out_suspects(OBSDATA_EPOCH& observations);
    bool without_misfit(OBSDATA_EPOCH& observations, RunEpoch& epoch, PointPosition& point);
    void take_solution(RunEpoch& epoch, const PointPosition& point);
    int carried_satellites();

    RUNTIME_POD_EMBED& runtime_;
    Guard& guard_;
    double sigma_code_;
    AttitudeGuard attitude_;
    PointJudge point_judge_;
    FilterJudge filter_judge_;
    Suspects suspects_;
    FilterState before_;                  ///< the epoch in work
    std::bitset<MAXSAT_GNSS> in_filter_;  ///< at the last solved epoch
};

/// The file of `--out`: one row an epoch; empty fields where an epoch was not solved. Frame and time scale stand in the column names.
class EpochTable {
  public:
    explicit EpochTable(const std::string& file);
    void add(const RunEpoch& epoch);
    void close() { out_.close(); }

  private:
    void add_solution(const RunEpoch& epoch);

    OutputFile out_;
    int systems_;
};

}  // namespace host

#endif
