// The installed tree as its users meet it: moved to another place, built against, run, and packed.
#include "shell.h"

namespace {

using namespace support;

const std::string kSource = LEOPOD_SOURCE_DIR;
const std::string kBuild = LEOPOD_BINARY_DIR;
const std::string kCmake = "'" LEOPOD_CMAKE "' ";
const std::string kCompilers = " -DCMAKE_PREFIX_PATH=\"$PWD/moved\" -DCMAKE_C_COMPILER='" LEOPOD_TEST_CC
                               "' -DCMAKE_CXX_COMPILER='" LEOPOD_TEST_CXX "'";
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
    const auto project = [](const std::string& version) {
        std::filesystem::create_directories(temp_dir() / "c_only");
        write_temp("c_only/CMakeLists.txt",
                   "cmake_minimum_required(VERSION 3.20)\nproject(c_only LANGUAGES C)\nfind_package(leopod " + version +
                       " REQUIRED)\nadd_executable(host " + kSource +
                       "/examples/embedded_host.c)\n"
                       "set_property(TARGET host PROPERTY C_STANDARD 11)\n"
                       "target_link_libraries(host PRIVATE leopod::leopod_static)\n");
        return shell("rm -rf c_build; " + kCmake + "-S c_only -B c_build" + kCompilers + " && " + kCmake +
                     "--build c_build");
    };
    const Outcome good = project(LEOPOD_VERSION);
    ASSERT_EQ(good.status, 0) << good.text;
    EXPECT_NE(shell("ldd c_build/host | grep leopod").status, 0) << "it must not need the shared library";
    const Outcome run = shell("c_build/host" + kEmbedded + " 2> /dev/null | wc -l");
    EXPECT_EQ(std::stoi(run.text), 122) << run.text;  // a heading and 121 epochs
    const Outcome other = project("2");
    EXPECT_NE(other.status, 0);
    EXPECT_NE(other.text.find("considered but not accepted"), std::string::npos) << other.text;
}

TEST_F(Install, PkgConfigFindsTheMovedTree) {
    if (!has_command("pkg-config")) GTEST_SKIP() << "pkg-config is not installed";
    const std::string use = "export PKG_CONFIG_PATH=\"$(echo \"$PWD\"/moved/lib*/pkgconfig)\"\n";
    EXPECT_EQ(shell(use + "pkg-config --modversion leopod").text, LEOPOD_VERSION "\n");
    // Shared by path at run time; static as a whole.
    const Outcome built =
        shell(use + "'" LEOPOD_TEST_CC "' -std=c11 '" + kSource +
              "/examples/embedded_host.c' $(pkg-config --cflags --libs leopod) -o pc_embedded\n'" LEOPOD_TEST_CXX
              "' -std=c++17 '" +
              kSource + "/examples/ground_host.cpp' $(pkg-config --cflags --libs leopod) -o pc_ground\n'" +
              LEOPOD_TEST_CC "' -static -std=c11 '" + kSource +
              "/examples/embedded_host.c' $(pkg-config --static --cflags --libs leopod) -o pc_static");
    ASSERT_EQ(built.status, 0) << built.text;
    const std::string library = use + "export LD_LIBRARY_PATH=\"$(pkg-config --variable=libdir leopod)\"\n";
    const Outcome shared = shell(library + "./pc_embedded" + kEmbedded);
    EXPECT_EQ(shared.status, 0) << shared.text;
    EXPECT_EQ(shell("./pc_static" + kEmbedded).text, shared.text);
    EXPECT_EQ(shell(library + "./pc_ground" + kGround).text, built_tree_positions_.text);
}

TEST_F(Install, ProgramRunsFromAnywhereWithItsManual) {
    if (!host_is_built()) GTEST_SKIP() << "the host program is not built";
    EXPECT_EQ(shell("moved/bin/leopod --version").text, "leopod " LEOPOD_VERSION "\n");
    EXPECT_EQ(shell("ldd moved/bin/leopod | grep -c \"$PWD/moved/lib.*leopod.so\\|moved/bin/../lib.*leopod.so\"").text,
              "1\n");
    // Each option of each subcommand, and of the subcommands of those, stands in its section of the manual.
    const Outcome missing = shell(
        "gunzip -c moved/share/man/man1/leopod.1.gz | tr -d '\\\\' > page\n"
        "names() { sed '1,/^Subcommands/d' | awk '/^  [a-z]/ { print $1 }'; }\n"
        "n=0\nfor s in $(moved/bin/leopod --help | names); do for t in '' $(moved/bin/leopod $s --help | grep Subc -A "
        "99 | names); do\n"
        "  moved/bin/leopod $s $t --help | grep -o '^  -[^ ]*' | tr -d ' ' | tr ',' '\\n' | sed 's/{false}//' > "
        "options\n"
        "  for o in $(grep -e '^--' options | grep -v -e '^--help$'); do\n"
        "    n=$((n + 1)); sed -n \"/^.SS leopod $s${t:+ $t}$/,/^.S[SH] /p\" page | grep -q -e \"$o\" || echo \"$s $t "
        "$o\"\n"
        "  done\ndone; done\n[ $n -ge 40 ] || echo \"only $n options\"");
    EXPECT_EQ(missing.text, "");
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
    EXPECT_EQ(run.status, 0) << run.text;
    EXPECT_NE(run.text.find("epochs: 121, solved 121"), std::string::npos) << run.text;
}

}  // namespace
