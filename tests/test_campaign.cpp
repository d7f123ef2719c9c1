// The campaign of examples/campaign on six small arcs: killed and resumed, and through the interface of a cluster, each time with
// the results of a campaign that nothing disturbed.
#include "host_support.h"

namespace {

using namespace support;

class Campaign : public testing::Test {
  protected:
    void SetUp() override {
        if (!has_command("snakemake")) GTEST_SKIP() << "snakemake is not installed";
        if (!std::filesystem::exists(kProgram)) GTEST_SKIP() << "the host program is not built";
    }
    /// A copy of the examples with the arcs cut, and commands that are run in it. `bin` comes first in the path.
    static Outcome run(const std::string& copy, const std::string& commands) {
        return shell("export HOME=\"$PWD/home\" PATH=\"$PWD/" + copy + "/bin:" + LEOPOD_BINARY_DIR +
                     "/host:$PATH\"\n"
                     "if [ ! -d " +
                     copy + " ]; then mkdir -p home " + copy + "/bin; cp -r '" LEOPOD_SOURCE_DIR "/examples' " + copy +
                     "; python3 " + copy + "/examples/campaign/make_arcs.py; mv data " + copy +
                     "/examples/campaign; fi\n"
                     "cd " +
                     copy + "/examples/campaign\n" + commands);
    }
    static void write_tool(const std::string& copy, const std::string& name, const std::string& text) {
        ASSERT_EQ(run(copy, "true").status, 0);
        const std::string file = write_temp(copy + "/bin/" + name, "#!/bin/sh\n" + text);
        std::filesystem::permissions(file, std::filesystem::perms::owner_all);
    }
    /// Compares all results byte for byte with those of an undisturbed campaign, but for the computing times.
    static void expect_undisturbed_results(const std::string& copy) {
        static const Outcome whole = run("whole", "snakemake --profile profiles/local");
        ASSERT_EQ(whole.status, 0) << whole.text;
        const Outcome difference =
            shell("for c in whole " + copy +
                  "; do rm -rf $c.results; cp -r $c/examples/campaign/results $c.results\n"
                  "  sed -i '/^time:/d' $c.results/*/*/leopod.log\n  sed -i '/\"total_s\"/d' "
                  "$c.results/*/*/summary.json\n  find $c.results -name '.snake*' -delete\ndone\n"
                  "[ $(find whole.results -type f | wc -l) = 29 ]\ndiff -r whole.results " +
                  copy + ".results");
        EXPECT_EQ(difference.status, 0) << difference.text;
    }
};

TEST_F(Campaign, KilledAndResumedItEndsWithTheSameResults) {
    // The fourth arc hangs with half a file written, until everything is killed; in the next start one arc is killed alone.
    write_tool("cut", "leopod",
               "echo \"$*\" >> calls\n"
               "case $(wc -l < calls) in 4) for last; do :; done; echo half > \"$(dirname \"$last\")/epochs.csv\"\n"
               "  touch hanging; sleep 600;; esac\n"
               "if rm one 2> /dev/null; then kill -9 $$; fi\n"
               "exec '" +
                   kProgram + "' \"$@\"\n");
    const Outcome killed =
        run("cut",
            "setsid snakemake --profile profiles/local > killed.log 2>&1 &\npid=$!\n"
            "trap 'kill -9 -- -$pid' EXIT\nn=0\n"
            "until [ -e hanging ]; do sleep 0.1; n=$((n + 1)); [ $n -lt 600 ]; done\nkill -9 -- -$pid\ntrap - EXIT\n"
            "wait $pid 2> /dev/null || echo finished $(find results -name status | wc -l) half $(grep -rlx half "
            "results | wc -l)");
    ASSERT_NE(killed.text.find(" half 1\n"), std::string::npos) << killed.text << run("cut", "cat killed.log").text;
    EXPECT_FALSE(std::filesystem::exists(temp_dir() / "cut/examples/campaign/results/summary.csv"));

    const Outcome lossy = run("cut", "touch one; snakemake --unlock && snakemake --profile profiles/local");
    EXPECT_EQ(lossy.status, 1) << lossy.text;
    EXPECT_EQ(run("cut", "grep -c not.finished$ results/summary.csv; wc -l < results/summary.csv").text, "1\n7\n");

    const Outcome good = run("cut", "snakemake --profile profiles/local");
    EXPECT_EQ(good.status, 0) << good.text;
    expect_undisturbed_results("cut");
    EXPECT_EQ(run("cut", "grep '^L02,2021018c,' results/summary.csv").text,
              "L02,2021018c,,,,,failed (2): leopod: data/L02_2021018c.obs: is not a RINEX observation file\n");
    // Finished arcs are not run again: six, the hanging one and perhaps its neighbour twice, the one killed alone twice.
    const int calls = std::stoi(run("cut", "wc -l < calls").text);
    EXPECT_GE(calls, 8);
    EXPECT_LE(calls, 9);
    // A repaired file brings its arc and the table up to date, and nothing else.
    const Outcome repaired =
        run("cut", "cp data/L01_2021018c.obs data/L02_2021018c.obs; snakemake --profile profiles/local");
    EXPECT_EQ(std::stoi(run("cut", "wc -l < calls").text), calls + 1) << repaired.text;
    EXPECT_EQ(run("cut", "grep -c ',ok$' results/summary.csv").text, "6\n") << repaired.text;
}

TEST_F(Campaign, TheSameFileRunsThroughACluster) {
    // A cluster of this machine: jobs get a number and run at once; the first one is lost to its time limit.
    write_tool("slurm", "sbatch",
               "echo \"$*\" >> submitted\nid=$(wc -l < submitted)\nfor script; do :; done\necho RUNNING > $id.state\n"
               "if [ $id = 1 ]; then echo TIMEOUT > $id.state; else\n"
               "  (if sh \"$script\"; then echo COMPLETED; else echo FAILED; fi > $id.state) > /dev/null 2>&1 &\nfi\n"
               "echo $id\n");
    write_tool("slurm", "sacct", "for a; do case $a in --jobs=*) cat ${a#--jobs=}.state;; esac; done\n");
    // The variable makes snakemake ask for the jobs every second.
    const Outcome o = run("slurm", "CI=true snakemake --profile profiles/slurm --latency-wait 5");
    ASSERT_EQ(o.status, 0) << o.text;
    expect_undisturbed_results("slurm");
    EXPECT_EQ(run("slurm", "wc -l < submitted").text, "7\n");
    EXPECT_EQ(run("slurm", "grep -c -e '--job-name=L0[12][.]2021018[abc] .*--mem=500 --time=30 ' submitted").text,
              "7\n");
}

}  // namespace
