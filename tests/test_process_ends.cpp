// Documented ends of the process that no module's own test reaches, and how the program tells of one.
#include <sys/resource.h>

#include <climits>

#include "attitude.h"
#include "gnss_observation.h"
#include "gnss_ppp.h"
#include "gnss_satposition.h"
#include "host_support.h"

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kAddressSanitizer = true;
#else
constexpr bool kAddressSanitizer = false;
#endif

/// An antenna that is kept, with a validity line.
std::string antenna_file(const std::string& date, const char* label) {
    const auto line = [](std::string text, const std::string& name) {
        text.resize(60, ' ');
        return text + name + "\n";
    };
    return support::write_temp("antenna.atx", line("", "START OF ANTENNA") + line("GRACE_C", "TYPE / SERIAL NO") +
                                                  line(date, label) + line("   G01", "START OF FREQUENCY") +
                                                  line("   G01", "END OF FREQUENCY") + line("", "END OF ANTENNA"));
}

TEST(ProcessEnds, AntennaDatesAtTheOriginOfTheDayCount) {
    const struct {
        const char *date, *label, *text;
    } cases[] = {{"  1858    11    18     0     0    0.0000000", "VALID FROM", "^readatx: mjd_start error\n"},
                 {"  1858    11    18    23    59   59.0000000", "VALID UNTIL", "^readatx: mjd_end error\n"},
                 {"  1858    11    17    12     0    0.0000000", "VALID UNTIL", "^readatx: mjd_end error\n"}};
    for (const auto& c : cases) {
        ANT_INFO_STORE store = {};
        EXPECT_STOP(read_atx(antenna_file(c.date, c.label).data(), &store), c.text);
    }
    ANT_INFO_STORE store = {};
    EXPECT_TRUE(read_atx(antenna_file("  1858    11    19     0     0    0.0000000", "VALID FROM").data(), &store));
    EXPECT_EQ(store.num_antenna_info, 1);
    std::free(store.antenna_info_storage);
}

TEST(ProcessEnds, NoMemoryForAntennas) {
    if (kAddressSanitizer) GTEST_SKIP() << "the sanitizer's allocator ends the process itself";
    const std::string file = antenna_file("  2000     1     1     0     0    0.0000000", "VALID FROM");
    const auto load = [&file] {
        ulog_subscribe(support::log_to_stderr, ULOG_INFO_LEVEL);
        const rlimit limit = {1ul << 36, 1ul << 36};
        setrlimit(RLIMIT_AS, &limit);
        constexpr int kFull = 2000000000;  // the next sixteen take the store to 432 GB
        ANT_INFO_STORE store = {static_cast<ANT_INFO*>(std::calloc(1, sizeof(ANT_INFO))), kFull, kFull};
        read_atx(std::string(file).data(), &store);
    };
    EXPECT_EXIT(load(), testing::ExitedWithCode(1), "add new antenna information allocation memory error!");
}

TEST(ProcessEnds, TimesOfTwoSystemsAndTimesBeforeTheLeapSeconds) {
    const GTime gps = {{59232, 0.0}, tsGPST}, utc = {{59232, 600.0}, tsUTC};
    OBSDATA_EPOCH epoch = {};
    ATT_QUATERNION quaternions[2] = {{gps, {}, true}, {utc, {}, true}};
    SOLUTION solution = {};
    EXPECT_STOP(match_observation_storage(&epoch, 1, utc, 1.0), "^Time system not the same, cannot be SubSec!\n");
    EXPECT_STOP(find_closest_att_quaternion(gtimeAddSec(gps, 60.0), 2, quaternions),
                "^Time systems not the same, cannot be Substract!\n");
    epoch.epoch_time = {{41000, 0.0}, tsUTC};
    EXPECT_STOP(pseudorange_point_positioning(&epoch, nullptr, &solution),
                "exceed the limits of Leap second table.41498--47160.!\n");
}

// The program had ended silently with status 1 where the library stops on a request of the dynamics configuration.
TEST(ProcessEnds, TheProgramLooksFirst) {
    if (!std::filesystem::exists(support::kProgram)) GTEST_SKIP() << "the host program is not built";
    const std::string dynamics = support::write_temp(
        "fit.cfg",
        "+Force_Models\nEarth_Gravity = YES 4\nEmpirical_Force = YES A0:1\n-Force_Models\n+GENERAL_CONFIG\n"
        "Integration_Step_Size = 20\nIntegration_Output_Interval = 60\n-GENERAL_CONFIG\n");
    support::expect_refusals("fit", {{"--positions " + support::kDemo + "truth.csv --dynamics " + dynamics,
                                      "fewer than 800 are possible; longer pieces are needed"}});
}

}  // namespace
