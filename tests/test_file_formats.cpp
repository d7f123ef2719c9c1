// The examples of docs/file_formats.md: each block is loaded by the reader of its format, or compared with what the
// program writes.
#include "host_support.h"
#include "readers.h"

namespace {

using namespace support;

const std::string kPage = LEOPOD_SOURCE_DIR "/docs/file_formats.md";

TEST(FileFormats, ReadersLoadTheirExamples) {
    const auto page = fenced_blocks(kPage);
    const struct {
        const char* label;
        Kept (*load)(char* name);
        int records;
        double sum, tolerance = 1e-9;
    } examples[] = {{"rinex-obs-2", load_observation, 2, 23147882.376 + 22026228.379},
                    {"rinex-obs-3", load_observation, 2, 23245803.390 + 23884900.568},
                    {"rinex-nav-2", load_navigation, 1, 5.153639490690e+03},
                    {"rinex-nav-3", load_navigation, 2, 5.153639490690e+03 + 5.282622454804e+03},
                    {"sp3", load_products<false>, 6, 0.0},
                    {"rinex-clk", load_products<true>, 4, 0.0},
                    {"antex", load_antex, 2, 0.0},
                    {"eop-c04", load_orientation<load_eop_storage>, 3, -0.1750 - 0.1752 - 0.1754},
                    {"eop-rapid", load_orientation<load_eop_storage_rapid>, 3, -0.1752 - 0.1754 - 0.1756},
                    {"eop-keyword", load_orientation<load_eop_storage_celestrack>, 3, -0.1752 - 0.1754 - 0.1756},
                    {"jpl", load_ephemeris, 1, 0.0},
                    {"gravity", load_gravity, 1, -8.356975, 5e-6},
                    {"quaternions", load_quaternion<read_att_quaternion_velmar>, 3, 1.0},
                    {"quaternions-mission", load_quaternion<read_att_quaternion_gfo>, 3, 0.995004165278026},
                    {"gnss-config", load_gnss, 2, 900.0},
                    {"dynamics-config", load_dynamics, 3, 60.0},
                    {"tle", load_elements, 2, 15.21345678 + 11.312}};
    std::filesystem::create_directory(temp_dir() / "testdata");
    std::filesystem::current_path(temp_dir());  // for the listing that the reader of a field writes
    for (const auto& e : examples) {
        SCOPED_TRACE(e.label);
        ASSERT_EQ(page.count(e.label), 1u) << "no example on the page";
        LogRecorder log(ULOG_WARNING_LEVEL);
        const Kept kept = e.load(write_temp(e.label, page.at(e.label)).data());
        EXPECT_EQ(kept.records, e.records);
        EXPECT_NEAR(kept.sum, e.sum, e.tolerance);
        for (const Message& message : log.messages()) ADD_FAILURE() << message.text;
    }
}

TEST(FileFormats, TheProgramReadsAndWritesItsExamples) {
    if (!std::filesystem::exists(kProgram)) GTEST_SKIP() << "the host program is not built";
    const auto page = fenced_blocks(kPage);
    const std::string dir = temp_dir().string() + "/", tests = test_file("").string();
    for (const char* label : {"blq", "csv-truth", "csv-site", "crd-1", "crd-2", "tle", "tle-names"})
        write_temp(label, page.at(label));
    const std::string dynamics = write_temp(
        "dynamics.cfg",
        "+Force_Models\nEarth_Gravity = YES 4\nEmpirical_Force = YES A0:3600\n-Force_Models\n+GENERAL_CONFIG\n"
        "Integration_Step_Size = 30\nIntegration_Output_Interval = 60\n-GENERAL_CONFIG\n");
    leopod_ok("run " + kDemoRun + kDemoAttitude + " --out " + dir + "epochs.csv --satellites-out " + dir +
              "satellites.csv --truth " + dir + "csv-site");
    leopod_ok("propagate --eop " + kDemo +
              "eop.txt --epoch 2021-01-18T00:00:00 --state -2970772.9 -4569798.7 4211847.6 1130.7 4741.5 5933.7 "
              "--duration 1800 "
              "--dynamics " +
              dynamics + " --out " + dir + "trajectory.csv --rows-out " + dir + "rows.csv --rows-interval 1");
    leopod_ok("fit --positions " + kDemo + "truth.csv --eop " + kDemo + "eop.txt --dynamics " + dynamics +
              " --residuals " + dir + "residuals.csv --parameters " + dir + "parameters.csv --history " + dir +
              "history.csv");
    leopod_ok("tide --blh 57.4 11.9 45 --epoch 2021-01-18T00:00:00 --blq " + dir + "blq --out " + dir + "tide.csv");
    leopod_ok("crd " + tests + "laser_ranging2.crd --out " + dir);
    leopod_ok("tle --all --tle " + tests + "tle.tle --out " + dir + "tle.csv");
    leopod_ok("simulate --orbit " + dir + "trajectory.csv --nav " + kDemo + "bds.nav --obs-out " + dir +
              "simulated.obs --truth-out " + dir + "simulate-truth.csv --events-out " + dir + "simulate-events.csv");
    leopod_ok("plot track --in " + dir + "csv-truth --out " + dir + "track.svg");
    const Outcome ranging = leopod_ok("crd " + dir + "crd-1 " + dir + "crd-2");
    // "-na" is neither a number nor missing
    EXPECT_TRUE(holds(ranging.text, "\nfailed fields: 1\n") && holds(ranging.text, "unknown records none"))
        << ranging.text;
    const Outcome names = leopod_ok("tle --all --tle " + dir + "tle --names " + dir + "tle-names");
    EXPECT_TRUE(holds(names.text, "90001 RENAMED-A ")) << names.text;

    for (const std::string name : {"epochs", "satellites", "trajectory", "residuals", "parameters", "history", "rows",
                                   "tide", "crd-10", "tle", "crd-sessions", "simulate-truth", "simulate-events"}) {
        SCOPED_TRACE(name);
        const std::string file = name.rfind("crd-", 0) == 0 ? name.substr(4) : name;
        std::stringstream example(page.at("csv-" + name)), now(read_file(dir + file + ".csv"));
        std::string line, header, last;
        std::getline(now, header);
        for (last = header; std::getline(now, line);) last = line;
        for (bool first = name != "rows"; std::getline(example, line); first = false) {
            EXPECT_TRUE(!first || line == header) << line << "\n" << header;
            EXPECT_EQ(csv_fields(line).size(), csv_fields(last).size()) << line;
        }
    }
}

}  // namespace
