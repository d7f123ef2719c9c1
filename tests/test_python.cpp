// The Python package by its own tests, with the Python that has numpy.
#include "shell.h"

namespace {

using namespace support;

class Python : public testing::Test {
  protected:
    void SetUp() override {
        if (std::string(LEOPOD_SANITIZE) != "") GTEST_SKIP() << "an instrumented library cannot be loaded by Python";
        for (const char* candidate : {"/usr/bin/python3", "python3"}) {
            if (capture(std::string(candidate) + " -c 'import numpy'").status == 0) python_ = candidate;
            if (!python_.empty()) break;
        }
        if (python_.empty()) GTEST_SKIP() << "no Python with numpy";
    }
    /// Runs a file of tests/python; its skipped cases are told, its failures shown.
    void expect_passes(const std::string& file) {
        const Outcome o =
            capture("LEOPOD_FIELD_ORACLE='" LEOPOD_FIELD_ORACLE
                    "' PYTHONDONTWRITEBYTECODE=1 MPLBACKEND=Agg PYTHONPATH='" LEOPOD_BINARY_DIR "/python' " +
                    python_ + " '" LEOPOD_SOURCE_DIR "/tests/python/" + file + "'");
        EXPECT_EQ(o.status, 0) << o.text;
        EXPECT_NE(o.text.find("OK"), std::string::npos) << o.text;
    }
    std::string python_;
};

TEST_F(Python, RoutinesAgreeWithTheirOracles) { expect_passes("test_routines.py"); }

TEST_F(Python, CommandsGiveArraysErrorsAndTheExamplesFiles) { expect_passes("test_program.py"); }

TEST_F(Python, TypesAreRight) {
    if (capture("/usr/bin/mypy --version").status != 0) GTEST_SKIP() << "mypy is not installed";
    const Outcome o =
        capture("cd '" LEOPOD_SOURCE_DIR "/python' && /usr/bin/mypy --strict --cache-dir=/dev/null leopod");
    EXPECT_EQ(o.status, 0) << o.text;
}

}  // namespace
