#include "estimation/tables.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>

#include "shared/earth.h"
#include "shared/files.h"
#include "shared/times.h"
#include "stores/satellites.h"

namespace host {

namespace {

const char* status_of(const Link& link) {
    switch (link.code_edit) {
        case Edit::kNoEphemeris:
            return "NO_EPHEMERIS";
        case Edit::kLowElevation:
            return "LOW_ELEVATION";
        case Edit::kUsed:
            return "OK";
        default:
            return "GROSS_ERROR";
    }
}

/// A run of epochs in which observations of a satellite take no part for one reason.
struct Stretch {
    std::size_t first, last;
    long count = 0;
    double largest = 0;
};

class EditTable {
  public:
    EditTable(const std::string& file, const ObservedArc& arc) : out_(file), arc_(arc) {
        std::fprintf(out_, "satellite,observation,reason,from_gpst,to_gpst,epochs,largest_residual_m\n");
    }
    ~EditTable() = default;

    void put(const Link& link, bool phase) {
        const Edit edit = phase ? link.phase_edit : link.code_edit;
        const double residual = std::fabs(phase ? link.phase_residual : link.code_residual);
        Stretch& s = open_[{link.satindex, phase}].first;
        Edit& last = open_[{link.satindex, phase}].second;
        const bool goes_on = s.count > 0 && last == edit && link.epoch - s.last <= 3;
        if (!goes_on) {
            end(link.satindex, phase);
            s = Stretch{link.epoch, link.epoch, 0, 0};
            last = edit;
        }
        if (edit == Edit::kUsed) return;
        s.last = link.epoch;
        ++s.count;
        if (std::isfinite(residual)) s.largest = std::max(s.largest, residual);
    }
    void close() {
        for (const auto& [key, stretch] : open_) end(key.first, key.second);
        for (const Pass& pass : arc_.passes) {
            if (std::strcmp(pass.why, "rise") == 0) continue;
            row(pass.satindex, "ambiguity", pass.why, pass.first_epoch, pass.last_epoch, static_cast<long>(pass.count),
                0.0);
        }
        out_.close();
    }

  private:
    void end(int satindex, bool phase) {
        auto& [s, edit] = open_[{satindex, phase}];
        if (s.count > 0) row(satindex, phase ? "phase" : "code", edit_name(edit), s.first, s.last, s.count, s.largest);
        s.count = 0;
    }
    void row(int satindex, const char* what, const char* why, std::size_t first, std::size_t last, long count,
             double largest) {
        sysGNSS satsys = UKNSYS;
        int prn = 0;
        satindex2sysprn(satindex, &satsys, &prn);
        std::fprintf(out_, "%s,%s,%s,%s,%s,%ld,%.4f\n", satellite_name(satsys, prn).c_str(), what, why,
                     time_text(arc_.epochs[first].tag).c_str(), time_text(arc_.epochs[last].tag).c_str(), count,
                     largest);
    }

    OutputFile out_;
    const ObservedArc& arc_;
    std::map<std::pair<int, bool>, std::pair<Stretch, Edit>> open_;
};

/// What began the pass at this link, in the words of `leopod run` where it has any.
const char* slip_text(const ObservedArc& arc, const Link& link) {
    if (link.pass < 0) return "";
    const Pass& pass = arc.passes[static_cast<std::size_t>(link.pass)];
    if (pass.first_epoch != link.epoch) return "";
    static const std::map<std::string, const char*> words = {{"Melbourne-Wuebbena", "MW"}, {"geometry-free", "GF"}};
    const auto found = words.find(pass.why);
    return found != words.end() ? found->second : std::strcmp(pass.why, "rise") == 0 ? "NEW" : "PHASE";
}

}  // namespace

void write_satellites(const std::string& file, const ObservedArc& arc) {
    OutputFile out(file);
    std::fprintf(out,
                 "epoch_gpst,mjd_gpst,sod_gpst,satellite,azimuth_deg,elevation_deg,antenna_azimuth_deg,"
                 "antenna_elevation_deg,status,used_point,range1_residual_m,range2_residual_m,used_filter,slip,"
                 "code_if_residual_m,phase_if_residual_m\n");
    for (const ArcEpoch& epoch : arc.epochs) {
        const std::string tag = time_text(epoch.tag);
        for (std::size_t i = epoch.first; i < epoch.first + epoch.count; ++i) {
            const Link& link = arc.links[i];
            std::fprintf(out, "%s,%ld,%.3f,%s", tag.c_str(), epoch.tag.time.mjd, epoch.tag.time.sod,
                         satellite_name(link.satsys, link.prn).c_str());
            if (link.code_edit == Edit::kNoEphemeris) {
                std::fprintf(out, ",,,,,NO_EPHEMERIS,0,,,0,,,\n");
                continue;
            }
            std::fprintf(out, ",%.4f,%.4f,%.4f,%.4f,%s,%d,,,%d,%s", link.azimuth * kRadToDeg,
                         link.elevation * kRadToDeg, link.antenna_azimuth * kRadToDeg,
                         link.antenna_elevation * kRadToDeg, status_of(link), link.code_edit == Edit::kUsed,
                         link.phase_edit == Edit::kUsed, slip_text(arc, link));
            for (double residual : {link.code_residual, link.phase_residual}) {
                if (std::isfinite(residual)) {
                    std::fprintf(out, ",%.5f", residual);
                } else {
                    std::fprintf(out, ",");
                }
            }
            std::fprintf(out, "\n");
        }
    }
    out.close();
}

void write_edits(const std::string& file, const ObservedArc& arc) {
    EditTable table(file, arc);
    for (const Link& link : arc.links) {
        table.put(link, false);
        table.put(link, true);
    }
    table.close();
}

void write_orbit_parameters(const std::string& file, const Motion& motion, const GTime& start,
                            const EstimationReport& report) {
    OutputFile out(file);
    std::fprintf(out, "name,value,unit,start_mjd_utc,end_mjd_utc,sigma\n");
    static const char* const state[] = {"PX", "PY", "PZ", "VX", "VY", "VZ"};
    const auto mjd = [&](double t) { return gtime2mjd(gtimeAddSec(start, t)); };
    for (long i = 0; i < static_cast<long>(motion.size()); ++i) {
        const double sigma = std::sqrt(std::max(0.0, report.solution.covariance(i, i)));
        if (i < 6) {
            std::fprintf(out, "%s,%.9f,%s,%.9f,%.9f,%.9f\n", state[i], motion.parameters()[i],
                         i < 3 ? "m (GCRS)" : "m/s (GCRS)", mjd(motion.first()), mjd(motion.first()), sigma);
            continue;
        }
        const EmpiricalParameter& p = motion.empirical()[static_cast<std::size_t>(i - 6)];
        std::fprintf(out, "%s,%.9f,1e-9 m/s^2,%.9f,%.9f,%.9f\n", motion.terms()[p.term].kind.c_str(),
                     motion.parameters()[i], mjd(p.start), mjd(p.end), sigma);
    }
    out.close();
}

void write_formal_errors(const std::string& file, const GTime& start, const std::vector<double>& times,
                         const std::vector<FormalError>& errors) {
    OutputFile out(file);
    std::fprintf(out, "epoch_gpst,mjd_gpst,sod_gpst,radial_sigma_m,along_sigma_m,cross_sigma_m\n");
    for (std::size_t i = 0; i < times.size(); ++i) {
        const GTime tag = gtimeAddSec(start, times[i]);
        std::fprintf(out, "%s,%ld,%.6f,%.5f,%.5f,%.5f\n", time_text(tag, 6).c_str(), tag.time.mjd, tag.time.sod,
                     errors[i][0], errors[i][1], errors[i][2]);
    }
    out.close();
}

}  // namespace host
