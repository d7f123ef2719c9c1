// What the program calls OK is right: ordinary mistakes, each with the status, the words and the figures that are to come of it.
#include "host_support.h"

namespace {

using namespace support;

/// In `options`: %T directory of the test, %E examples/, %D data sets, %G the GRACE-B half day.
struct Trial {
    const char* name;
    std::string options;
    int status;
    std::vector<std::string> words;  ///< all of them are told
    std::string figure;              ///< a number of the text, by a pattern...
    double most = 0;                 ///< ... that is not to exceed this
    std::string files;               ///< names of files and their contents: NAME<text>, one behind the other
};

std::string replace_all(std::string text, const std::string& from, const std::string& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

std::string resolve(std::string text) {
    text = replace_all(text, "%T", temp_dir().string());
    text = replace_all(text, "%E", std::string(LEOPOD_SOURCE_DIR) + "/examples");
    text = replace_all(text, "%G", "%D/grace_b_2010208");
    return replace_all(text, "%D", std::string(LEOPOD_DATA_DIR));
}

class Trust : public HostTest, public testing::WithParamInterface<Trial> {};

TEST_P(Trust, TellsWhatIsWrong) {
    const Trial& c = GetParam();
    if (holds(c.options, "%D") || holds(c.options, "%G")) LEOPOD_REQUIRE_DATA(std::filesystem::path(LEOPOD_DATA_DIR));
    for (std::size_t at = 0; at < c.files.size();) {
        const std::size_t open = c.files.find('<', at), close = c.files.find('>', open);
        write_temp(c.files.substr(at, open - at), c.files.substr(open + 1, close - open - 1));
        at = close + 1;
    }
    const Outcome o = leopod(resolve(c.options));
    EXPECT_EQ(o.status, c.status) << o.text;
    for (const std::string& word : c.words) EXPECT_TRUE(holds(o.text, word)) << word << "\n" << o.text;
    EXPECT_FALSE(holds(o.text, "ended by the library")) << o.text;
    if (!c.figure.empty()) {
        EXPECT_LE(number(o.text, c.figure), c.most) << o.text;
    }
}

std::string name_of(const testing::TestParamInfo<Trial>& info) { return info.param.name; }

// --- configuration files ---------------------------------------------------------------------------------------------

const std::string kSettings =
    "+GENERAL_CONFIG\nIntegration_Step_Size = 30\nIntegration_Output_Interval = 60\n-GENERAL_CONFIG\n";
const std::string kPropagate =
    "propagate --epoch 2021-01-18T00:00:00 --state 6878137 0 0 0 7000 3000 --frame eci --duration 2000 --dynamics ";

/// A propagation with these forces, which are not all understood.
Trial forces(const char* name, const std::string& lines, const std::vector<std::string>& words) {
    return {name,
            kPropagate + "%T/c.cfg",
            2,
            words,
            "",
            0,
            "c.cfg<+Force_Models\n" + lines + "\n-Force_Models\n" + kSettings + ">"};
}

/// A run with this configuration.
Trial systems(const char* name, const std::string& lines, const std::string& keys,
              const std::vector<std::string>& words) {
    return {name,
            "run --obs %E/data/demo_bds.obs --nav %E/data/demo_bds.nav --config %T/g.cfg",
            2,
            words,
            "",
            0,
            "g.cfg<+GNSS_SYS\n" + lines + "\n-GNSS_SYS\n+GENERAL_CONFIG\n" + keys + "\n-GENERAL_CONFIG\n>"};
}

INSTANTIATE_TEST_SUITE_P(
    Configurations, Trust,
    testing::Values(
        forces("GravityWithoutBlanks", "Earth_Gravity=YES 30", {"line 2", "\"Earth_Gravity=YES 30\"", "blanks"}),
        forces("GravityMistyped", "Earth_Gravty = YES 30", {"line 2", "did you mean Earth_Gravity?"}),
        forces("GravityBeyondTheLibrary", "Earth_Gravity = YES 200", {"2 to 120"}),
        forces("GravityWithoutDegree", "Earth_Gravity = YES solid_earth_tide", {"degree"}),
        forces("TideMistyped", "Earth_Gravity = YES 30 solid_tide", {"solid_earth_tide"}),
        forces("BodiesInSmallLetters", "Earth_Gravity = YES 30\nThird_Body_Gravity = YES Sun Moon",
               {"line 3", "did you mean SUN?", "did you mean MOON?"}),
        forces("BodiesInOneField", "Earth_Gravity = YES 30\nThird_Body_Gravity = YES SUN,MOON", {"SUN,MOON"}),
        forces("NoBody", "Earth_Gravity = YES 30\nThird_Body_Gravity = YES", {"no body"}),
        forces("ForceTwice", "Earth_Gravity = YES 30\nEarth_Gravity = YES 20", {"given before"}),
        forces("NoForce", "", {"no Earth_Gravity"}),
        forces("UnknownParameter", "Earth_Gravity = YES 30\nEmpirical_Force = YES X0:7200", {"A0", "not X0"}),
        forces("ParameterWithoutLength", "Earth_Gravity = YES 30\nEmpirical_Force = YES A0", {"A0:7200"}),
        forces("SettingAmongForces", "Earth_Gravity = YES 30\nspacecraft_state_mode = 2", {"GENERAL_CONFIG"}),
        systems("SystemInSmallLetters", "bds 4 C1P L1P C5P L5P IF 0 2 1 3", "", {"line 2", "did you mean BDS?"}),
        systems("CountBesideTheCodes", "BDS 4 C1P L1P C5P IF 0 2 1 3", "", {"4 observables"}),
        systems("PairOfAnotherKind", "BDS 4 C1P L1P C5P L5P IF 0 1 2 3", "", {"two codes, two phases"}),
        systems("NoSystem", "// BDS 4 C1P L1P C5P L5P IF 0 2 1 3", "", {"no system"}),
        systems("EmptyLineAsSystem", "BDS 4 C1P L1P C5P L5P IF 0 2 1 3\n", "", {"would count as a system"}),
        systems("KeyMistyped", "BDS 4 C1P L1P C5P L5P IF 0 2 1 3", "ELE_CUTOF 10",
                {"line 5", "did you mean ELE_CUTOFF?"}),
        systems("KeyWithoutBlank", "BDS 4 C1P L1P C5P L5P IF 0 2 1 3", "VAR_POS=400", {"did you mean VAR_POS?"}),
        systems("KeyWithoutValue", "BDS 4 C1P L1P C5P L5P IF 0 2 1 3", "VAR_POS", {"KEY NUMBER"})),
    name_of);

}  // namespace
