// The installed tree as its users meet it: moved to another place, built against, run, and packed.
#include <regex>

#include "shell.h"

namespace {

using namespace support;

const std::string kSource = LEOPOD_SOURCE_DIR;
const std::string kBuild = LEOPOD_BINARY_DIR;
const std::string kCmake = "'" LEOPOD_CMAKE "' ";
const std::string kCompilers = " -DCMAKE_C_COMPILER='" LEOPOD_TEST_CC "' -DCMAKE_CXX_COMPILER='" LEOPOD_TEST_CXX "'";
const std::string kDemo = kSource + "/examples/data/demo_", kGround = " " + kDemo + "bds.obs " + kDemo + "bds.nav",
                  kEmbedded = " " + kDemo + "bds.nav " + kDemo + "att_zdown.txt " + kDemo + "bds.obs";

bool host_is_built() { return std::filesystem::exists(kBuild + "/host/leopod"); }

/// The tree is installed once, to a place that it leaves before it is used.
class Install : public testing::Test {
  protected:
    static void SetUpTestSuite() {
        installed_ = shell("'" LEOPOD_CMAKE "' --install '" + kBuild + "' --prefix \"$PWD/first\"\nmv first moved");
        built_tree_positions_ = shell("'" + kBuild + "/examples/ground_host'" + kGround);
    }
    void SetUp() override {
        if (std::string(LEOPOD_SANITIZE) != "") GTEST_SKIP() << "an instrumented build is not for installation";
        ASSERT_EQ(installed_.status, 0) << installed_.text;
    }
    static inline Outcome installed_, built_tree_positions_;
};

TEST_F(Install, ExamplesBuildThroughCmakeAndRun) {
    const Outcome built = shell(kCmake + "-S moved/share/doc/leopod/examples -B examples" + kCompilers + "\n" + kCmake +
                                "--build examples\n" + kCmake + "--build examples --target test\n" +
                                "ldd examples/ground_host | grep \"$PWD/moved/lib\"");
    EXPECT_EQ(built.status, 0) << built.text;
    EXPECT_NE(built.text.find("100% tests passed, 0 tests failed out of 2"), std::string::npos) << built.text;
    const Outcome positions = shell("examples/ground_host" + kGround);
    EXPECT_EQ(positions.status, 0);
    EXPECT_EQ(positions.text, built_tree_positions_.text);
}

TEST_F(Install, StaticLibraryServesACOnlyProjectAndVersionsAreChecked) {
    std::filesystem::create_directories(temp_dir() / "c_only");
    write_temp("c_only/CMakeLists.txt",
               "cmake_minimum_required(VERSION 3.20)\nproject(c_only LANGUAGES C)\n"
               "find_package(leopod ${WANTED} REQUIRED)\nadd_executable(host " +
                   kSource +
                   "/examples/embedded_host.c)\nset_property(TARGET host PROPERTY C_STANDARD 11)\n"
                   "target_link_libraries(host PRIVATE leopod::leopod_static)\n");
    const std::string configure =
        kCmake + "-S c_only -B c_build" + kCompilers + " -DCMAKE_PREFIX_PATH=\"$PWD/moved\" -DWANTED=";
    const Outcome good = shell(configure + LEOPOD_VERSION "\n" + kCmake + "--build c_build");
    ASSERT_EQ(good.status, 0) << good.text;
    EXPECT_NE(shell("ldd c_build/host | grep leopod").status, 0) << "it must not need the shared library";
    EXPECT_EQ(shell("c_build/host" + kEmbedded + " 2> /dev/null | wc -l").text, "122\n");  // a heading and 121 epochs
    const Outcome other = shell("rm -r c_build\n" + configure + "2");
    EXPECT_TRUE(other.status != 0 && other.text.find("considered but not accepted") != std::string::npos) << other.text;
}

TEST_F(Install, PkgConfigFindsTheMovedTree) {
    if (!has_command("pkg-config")) GTEST_SKIP() << "pkg-config is not installed";
    const std::string use = "export PKG_CONFIG_PATH=\"$(echo \"$PWD\"/moved/lib*/pkgconfig)\"\n";
    EXPECT_EQ(shell(use + "pkg-config --modversion leopod").text, LEOPOD_VERSION "\n");
    // Shared by path at run time; static as a whole.
    const std::string compile = "'" LEOPOD_TEST_CC "' -std=c11 '" + kSource + "/examples/embedded_host.c' ";
    const Outcome built = shell(use + compile + "$(pkg-config --cflags --libs leopod) -o pc_shared\n" + compile +
                                "-static $(pkg-config --static --cflags --libs leopod) -o pc_static");
    ASSERT_EQ(built.status, 0) << built.text;
    const Outcome shared =
        shell(use + "export LD_LIBRARY_PATH=\"$(pkg-config --variable=libdir leopod)\"\n./pc_shared" + kEmbedded);
    EXPECT_EQ(shared.status, 0) << shared.text;
    EXPECT_EQ(shell("./pc_static" + kEmbedded).text, shared.text);
}

TEST_F(Install, ProgramRunsFromAnywhereWithItsManual) {
    if (!host_is_built()) GTEST_SKIP() << "the host program is not built";
    EXPECT_TRUE(
        std::regex_match(shell("moved/bin/leopod --version").text,
                         std::regex("leopod " LEOPOD_VERSION "\ncommit: [^\n]+\ncompiler: [^\n]+\noptions: [^\n]+\n")));
    EXPECT_EQ(shell("ldd moved/bin/leopod | grep -c \"$PWD/moved/lib.*leopod.so\\|moved/bin/../lib.*leopod.so\"").text,
              "1\n");
    // Each subcommand, and those of the subcommands, has a section of the manual, and the page as many options as all helps.
    const Outcome missing = shell(
        "gunzip -c moved/share/man/man1/leopod.1.gz | tr -d '\\\\' > page\n"
        "names() { moved/bin/leopod $* --help | sed '1,/^Subcommands/d; /^Example/,$d' | awk '/^  [a-z]/ { print $1 "
        "}'; }\n"
        "for s in $(names); do echo $s; for t in $(names $s); do echo $s $t; done; done > commands\n"
        "while read c; do grep -q \"^.SS leopod $c$\" page || echo no $c; moved/bin/leopod $c --help; done < commands"
        " | tee all | grep '^no ' || true\n"
        "[ $(grep '^  -' all | grep -vc -e '--help') = $(grep -A 1 '^.TP' page | grep -c '^fB-') ] || echo options");
    EXPECT_EQ(missing.text, "");
    // A page and an example for each, and the configurations that they name.
    const Outcome own = shell(
        "for c in $(grep -v ' ' commands); do gunzip -c moved/share/man/man1/leopod-$c.1.gz | grep -q \"^leopod $c \" "
        "|| "
        "echo no page $c; done\n"
        "ls moved/share/leopod/fit_leo.cfg moved/share/leopod/docs/guide.md > /dev/null");
    EXPECT_EQ(own.text, "");
}

/// The Python package of a tree, with the program beside it: the solved epochs of the demo, and a routine of the library.
std::string python_in(const std::string& tree) {
    return shell(
               "PATH=/usr/bin:/bin PYTHONDONTWRITEBYTECODE=1 PYTHONPATH=" + tree +
               "/lib/python3/dist-packages /usr/bin/python3 -c \"import leopod\nr = leopod.run(embedded=True, obs='" +
               kDemo + "bds.obs', nav='" + kDemo + "bds.nav', att='" + kDemo +
               "att_zdown.txt')\nprint((r.table['status'] == 'OK').sum(), leopod.times.leap_seconds('2021-01-18')[0], "
               "leopod.program().startswith('$PWD/" +
               tree + "'))\"")
        .text;
}

TEST_F(Install, PythonPackageFindsTheLibraryAndTheProgram) {
    if (!host_is_built() || shell("/usr/bin/python3 -c 'import numpy'").status != 0) GTEST_SKIP() << "no numpy";
    EXPECT_EQ(python_in("moved"), "121 37.0 True\n");
}

TEST_F(Install, DebianPackagesUnpackAndRun) {
    for (const char* tool : {"cpack", "dpkg-deb", "dpkg-shlibdeps", "file"}) {
        if (!has_command(tool)) GTEST_SKIP() << tool << " is not installed";
    }
    const Outcome packed = shell("cd '" + kBuild + "' && cpack -G DEB -B \"$OLDPWD/packages\"");
    ASSERT_EQ(packed.status, 0) << packed.text;
    // The archives hold what `cmake --install` delivers, once each, the manual compressed, owned by root.
    const Outcome listing = shell(
        "cd packages; for p in *.deb; do dpkg-deb -c $p; done | awk '$1 !~ /^d/ { sub(/^\\.\\/usr\\//, \"\", $6); "
        "print $6 }'"
        " | grep -v changelog.Debian.gz | sort > ../packed; cd ../moved; find . ! -type d | sed 's/^..//' | sort"
        " > ../delivered; cd ..; diff packed delivered");
    EXPECT_EQ(listing.text, "");
    EXPECT_EQ(shell("cd packages; for p in *.deb; do dpkg-deb -c $p; done | grep -v ' root/root '").text, "");
    const std::string depends = shell("cd packages; for p in *.deb; do dpkg-deb -f $p Package Depends; done").text;
    EXPECT_NE(depends.find("Package: libleopod1\nDepends: libc6 (>="), std::string::npos) << depends;
    EXPECT_NE(depends.find("Package: libleopod-dev\nDepends: libleopod1 (= "), std::string::npos) << depends;
    EXPECT_EQ(shell("mkdir root; for p in packages/*.deb; do dpkg-deb -x $p root; done").text, "");
    if (!host_is_built()) return;
    EXPECT_NE(depends.find("Package: leopod\nDepends: libleopod1 (= "), std::string::npos) << depends;
    const Outcome run = shell("root/usr/bin/leopod run --embedded --obs " + kDemo + "bds.obs --nav " + kDemo +
                              "bds.nav --att " + kDemo + "att_zdown.txt");
    EXPECT_NE(run.text.find("epochs: 121, solved 121"), std::string::npos) << run.text;
    EXPECT_NE(depends.find("Package: python3-leopod\nDepends: libleopod1 (= "), std::string::npos) << depends;
    if (shell("/usr/bin/python3 -c 'import numpy'").status == 0) {
        EXPECT_EQ(python_in("root/usr"), "121 37.0 True\n");
    }
}

}  // namespace
