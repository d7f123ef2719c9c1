#include "outputs/oem.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <vector>

#include "earth_rotation_param.h"
#include "shared/error.h"
#include "shared/files.h"
#include "shared/times.h"

namespace host {

namespace {

constexpr const char* kRealisation = "ITRF2014";  ///< named where the option names none
constexpr double kGap = 1.5;                      ///< intervals from which on a block ends
constexpr int kDegree = 9;                        ///< of the interpolation that the spacing allows

std::string lower(std::string text) {
    for (char& c : text) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return text;
}

std::string creation_date() {
    // Builds that must be the same twice set the date.
    const char* const fixed = std::getenv("SOURCE_DATE_EPOCH");
    const std::time_t now = fixed != nullptr ? static_cast<std::time_t>(std::atoll(fixed)) : std::time(nullptr);
    return time_text({{40587 + static_cast<long>(now / 86400), static_cast<double>(now % 86400)}, tsUTC}, 0);
}

/// The covariance of an earth-fixed state in GCRS.
Covariance inertial_covariance(double mjd, const Covariance& fixed) {
    Covariance turn{};  // row by row what becomes of a unit of position or velocity
    for (std::size_t k = 0; k < 6; ++k) {
        std::array<double, 6> unit{};
        unit[k] = 1.0;
        ecf2eci(mjd, getLeapSecond(mjd), unit.data(), unit.data() + 3, turn[k].data(), turn[k].data() + 3);
    }
    Covariance result{};
    for (std::size_t i = 0; i < 36; ++i) {
        for (std::size_t j = 0; j < 36; ++j)
            result[i / 6][i % 6] += turn[j / 6][i / 6] * fixed[j / 6][j % 6] * turn[j % 6][i % 6];
    }
    return result;
}

/// States in GCRS, with the earth orientation that is loaded where they are not known in it.
States inertial_states(const std::string& file, const Ephemeris& ephemeris) {
    States states;
    ephemeris.fixed.each([&](TimedPosition state) {
        const double mjd = gtime2mjd(gtimeChangeTimeSystem(state.time, tsUTC));
        if (!ephemeris.inertial.empty()) {
            const TimedPosition known = ephemeris.inertial.at(states.size());
            state.position = known.position;
            state.velocity = known.velocity;
        } else {
            EOPREC eop{};
            if (!compute_eop(mjd, &eop))
                throw InputError(file + ": --oem-frame gcrf needs earth orientation (--eop) that covers " +
                                 time_text(state.time) + " GPST");
            Vector3 position = state.position;
            Vector3 velocity = state.velocity.value_or(Vector3{});
            Vector3 turned{};
            ecf2eci(mjd, getLeapSecond(mjd), position.data(), velocity.data(), state.position.data(), turned.data());
            if (state.velocity) state.velocity = turned;
        }
        if (state.covariance) state.covariance = inertial_covariance(mjd, *state.covariance);
        states.add(state);
    });
    return states;
}

/// A covariance of the velocity as well.
bool has_covariance(const TimedPosition& s) { return s.covariance && (*s.covariance)[5][5] > 0.0; }

/// States without a gap; those without a velocity do not count.
struct Block {
    std::size_t begin, end, count = 0;
    GTime first, last;
    bool covariances = false;
};

/// What stands in front of the states.
struct Layout {
    std::vector<Block> blocks;
    std::size_t count = 0;  ///< states with a velocity
    int decimals = 3;       ///< of the times: milliseconds where all lie on them, else nanoseconds

    Layout(const States& states, double interval) {
        std::size_t index = 0;
        states.each([&](const TimedPosition& s) {
            const std::size_t i = index++;
            if (!s.velocity) return;
            ++count;
            if (std::fabs(std::remainder(s.time.time.sod, 1e-3)) >= 1e-9) decimals = 9;
            if (blocks.empty() || gtimeSubSec(s.time, blocks.back().last) > kGap * interval)
                blocks.push_back({i, i, 0, s.time, s.time});
            Block& block = blocks.back();
            block.end = i + 1;
            ++block.count;
            block.last = s.time;
            block.covariances = block.covariances || has_covariance(s);
        });
    }
};

class Writer {
  public:
    Writer(const std::string& file, const OrbitOutputs& options, const Ephemeris& ephemeris)
        : out_(file), file_(file), options_(options), ephemeris_(ephemeris) {}

    void write(const States& states, const Layout& layout) {
        decimals_ = layout.decimals;
        std::fprintf(out_, "CCSDS_OEM_VERS = 2.0\n");
        const bool own = !ephemeris_.oem_comments.empty();
        for (const std::string& comment : own ? ephemeris_.oem_comments : ephemeris_.comments)
            std::fprintf(out_, "COMMENT %s\n", comment.c_str());
        std::fprintf(out_, "CREATION_DATE = %s\nORIGINATOR = LEOPOD\n", creation_date().c_str());
        for (const Block& block : layout.blocks) {
            write_metadata(block);
            write_states(states, block);
            if (block.covariances) write_covariances(states, block);
        }
        out_.close();
    }

  private:
    std::string time(const GTime& gpst) const {
        return time_text(gtimeChangeTimeSystem(gpst, options_.oem_time == "utc" ? tsUTC : tsGPST), decimals_);
    }

    void write_metadata(const Block& block) {
        const std::string& satellite = options_.satellite;
        const std::string name = !options_.object_name.empty() ? options_.object_name
                                 : !satellite.empty()          ? satellite
                                                               : "LEO SATELLITE";
        std::fprintf(out_, "\nMETA_START\n");
        if (lower(options_.oem_frame) == "itrf")
            std::fprintf(out_, "COMMENT The realisation of ITRF is that of the inputs.\n");
        std::fprintf(out_, "OBJECT_NAME = %s\nOBJECT_ID = %s\nCENTER_NAME = EARTH\n", name.c_str(),
                     options_.object_id.empty() ? "UNKNOWN" : options_.object_id.c_str());
        std::fprintf(out_, "REF_FRAME = %s\nTIME_SYSTEM = %s\n", oem_frame(options_.oem_frame).c_str(),
                     options_.oem_time == "utc" ? "UTC" : "GPS");
        std::fprintf(out_, "START_TIME = %s\nSTOP_TIME = %s\n", time(block.first).c_str(), time(block.last).c_str());
        const int degree = static_cast<int>(std::min<std::size_t>(kDegree, block.count - 1));
        if (degree > 0) std::fprintf(out_, "INTERPOLATION = LAGRANGE\nINTERPOLATION_DEGREE = %d\n", degree);
        std::fprintf(out_, "META_STOP\n");
    }

    void write_states(const States& states, const Block& block) {
        std::string before;
        states.each(block.begin, block.end, [&](const TimedPosition& s) {
            if (!s.velocity) return;
            const std::string text = time(s.time);
            if (text <= before)
                throw InputError(file_ + ": the times " + before + " and " + text +
                                 " do not rise; within a leap second --oem-time gps serves");
            before = text;
            std::fprintf(out_, "%s", text.c_str());
            for (double x : s.position) std::fprintf(out_, " %16.9f", x * 1e-3);
            for (double v : *s.velocity) std::fprintf(out_, " %15.11f", v * 1e-3);
            std::fprintf(out_, "\n");
        });
    }

    void write_covariances(const States& states, const Block& block) {
        std::fprintf(out_, "COVARIANCE_START\n");
        states.each(block.begin, block.end, [&](const TimedPosition& s) {
            if (!s.velocity || !has_covariance(s)) return;
            std::fprintf(out_, "EPOCH = %s\n", time(s.time).c_str());
            for (std::size_t row = 0; row < 6; ++row) {
                for (std::size_t k = 0; k <= row; ++k)
                    std::fprintf(out_, "%s%.9e", k != 0 ? " " : "", (*s.covariance)[row][k] * 1e-6);
                std::fprintf(out_, "\n");
            }
        });
        std::fprintf(out_, "COVARIANCE_STOP\n");
    }

    OutputFile out_;
    std::string file_;
    const OrbitOutputs& options_;
    const Ephemeris& ephemeris_;
    int decimals_ = 3;
};

}  // namespace

std::string oem_frame(const std::string& choice) {
    const std::string name = lower(choice);
    if (name == "gcrf") return "GCRF";
    if (name == "itrf") return kRealisation;
    const bool year = name.size() == 8 && name.compare(0, 4, "itrf") == 0 &&
                      name.find_first_not_of("0123456789", 4) == std::string::npos;
    if (!year) throw InputError("--oem-frame " + choice + ": itrf, gcrf or a realisation such as ITRF2014 is expected");
    return "ITRF" + name.substr(4);
}

std::size_t write_oem(const std::string& file, const OrbitOutputs& options, const Ephemeris& ephemeris) {
    const bool inertial = oem_frame(options.oem_frame) == "GCRF";
    const std::optional<States> turned = inertial ? std::optional(inertial_states(file, ephemeris)) : std::nullopt;
    const States& states = inertial ? *turned : ephemeris.fixed;
    const Layout layout(states, ephemeris.interval);
    if (layout.count == 0) throw InputError(file + ": no state to be written");
    Writer(file, options, ephemeris).write(states, layout);
    return states.size() - layout.count;
}

}  // namespace host
