#include <algorithm>
#include <set>

#include "earth_gravity.h"
#include "inputs/config_check.h"
#include "inputs/positions.h"
#include "shared/nearest.h"

namespace host {

namespace {

const std::vector<std::string> kForces = {"Earth_Gravity",
                                          "Third_Body_Gravity",
                                          "General_Relativity",
                                          "Solar_Radiation_Pressure",
                                          "Earth_Radiation_Pressure",
                                          "Atmosphere_Drag",
                                          "Empirical_Force"};
const std::vector<std::string> kSettings = {"Integration_Step_Size", "Integration_Output_Interval",
                                            "spacecraft_state_mode"};
const std::vector<std::string> kTideWords = {"time_varying_gravity", "solid_earth_tide", "ocean_tide", "polar_tide"};
const std::vector<std::string> kBodies = {"SUN",  "MOON",   "JUPITER", "VENUS",   "MERCURY",
                                          "MARS", "SATURN", "URANUS",  "NEPTUNE", "PLUTO"};
const std::vector<std::string> kSurfaceModels = {"GRID", "BOXW", "SPHERE", "NO"};
const std::vector<std::string> kEmpirical = {"A0", "C0", "R0", "AC", "AS", "CC", "CS", "RC", "RS"};
const std::vector<std::string> kSurfaceParameters = {"Cr", "Cd"};

bool is_one_of(const std::string& word, const std::vector<std::string>& words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

class DynamicsCheck {
  public:
    explicit DynamicsCheck(const std::string& file)
        : check_(file, "dynamics configuration", {"Force_Models", "GENERAL_CONFIG"}) {}

    void run() {
        check_.read([this](const ConfigLine& line) { take(line); });
        if (keywords_.count("Earth_Gravity") == 0 && named_.count("Earth_Gravity") == 0)
            check_.fault("no Earth_Gravity among the forces: without it nothing moves on an orbit");
        for (const char* needed : {"Integration_Step_Size", "Integration_Output_Interval"}) {
            if (named_.count(needed) == 0) check_.fault(std::string("no ") + needed + " in section GENERAL_CONFIG");
        }
        check_.finish();
    }

  private:
    void take(const ConfigLine& line) {
        if (line.fields.empty()) return;
        const bool forces = line.section == "Force_Models";
        const std::vector<std::string>& known = forces ? kForces : kSettings;
        const std::string& word = line.fields[0];
        const std::size_t equal = word.find_first_of("=:");
        const std::string keyword = word.substr(0, equal);
        named_.insert(nearest(keyword, known));
        if (!is_one_of(keyword, known)) {
            const bool other = is_one_of(keyword, forces ? kSettings : kForces);
            check_.fault(line,
                         other ? std::string("it belongs into section ") + (forces ? "GENERAL_CONFIG" : "Force_Models")
                               : "a keyword of this section is " + list_of(known) + did_you_mean(keyword, known));
            return;
        }
        if (equal != std::string::npos || line.fields.size() < 3 || (line.fields[1] != "=" && line.fields[1] != ":")) {
            check_.fault(line, "KEYWORD = VALUE is expected, with blanks around the sign, such as \"" + keyword +
                                   (forces ? " = YES ...\"" : " = 30\""));
            return;
        }
        if (!keywords_.insert(keyword).second) {
            check_.fault(line, "this keyword was given before");
            return;
        }
        if (forces) {
            take_force(line, keyword);
        } else {
            take_setting(line, keyword);
        }
    }

    void take_force(const ConfigLine& line, const std::string& keyword) {
        const std::string& value = line.fields[2];
        const std::vector<std::string> arguments(line.fields.begin() + 3, line.fields.end());
        if (keyword == "Solar_Radiation_Pressure" || keyword == "Earth_Radiation_Pressure" ||
            keyword == "Atmosphere_Drag") {
            take_surface_force(line, value, arguments, keyword == "Earth_Radiation_Pressure" ? 0 : 1);
            return;
        }
        if (value != "YES" && value != "NO") {
            check_.fault(line, "YES or NO is expected behind " + keyword);
            return;
        }
        if (value == "NO") {
            if (keyword == "Earth_Gravity") keywords_.erase(keyword);
            if (keyword == "Earth_Gravity") named_.erase(keyword);
            return;
        }
        if (keyword == "Earth_Gravity") take_gravity(line, arguments);
        if (keyword == "Third_Body_Gravity") take_bodies(line, arguments);
        if (keyword == "General_Relativity" && !arguments.empty()) check_.fault(line, "nothing is expected behind YES");
        if (keyword == "Empirical_Force") take_empirical(line, arguments);
    }

    void take_gravity(const ConfigLine& line, const std::vector<std::string>& arguments) {
        long degree = 0;
        if (arguments.empty() || !whole_number(arguments[0], 2, MAXDEGREE_GRAVITY, degree))
            check_.fault(line, "the degree of the field is expected behind YES, 2 to " +
                                   std::to_string(static_cast<int>(MAXDEGREE_GRAVITY)));
        for (std::size_t i = 1; i < arguments.size(); ++i) {
            if (!is_one_of(arguments[i], kTideWords))
                check_.fault(line, "behind the degree stand " + list_of(kTideWords) + ", not " + arguments[i] +
                                       did_you_mean(arguments[i], kTideWords));
        }
    }

    void take_bodies(const ConfigLine& line, const std::vector<std::string>& arguments) {
        if (arguments.empty()) check_.fault(line, "no body is named: " + list_of(kBodies));
        std::set<std::string> seen;
        for (const std::string& word : arguments) {
            const bool known = std::any_of(kBodies.begin(), kBodies.end(), [&](const std::string& body) {
                return word == body || (word.size() >= 4 && body.compare(0, word.size(), word) == 0);
            });
            if (!known) {
                check_.fault(line, "bodies are words of capitals with blanks between them, " + list_of(kBodies) +
                                       ", not " + word + did_you_mean(word, kBodies));
            } else if (!seen.insert(word.substr(0, 4)).second) {
                check_.fault(line, word + " stands twice and would count twice");
            }
        }
    }

    void take_surface_force(const ConfigLine& line, const std::string& value, const std::vector<std::string>& arguments,
                            std::size_t most) {
        if (!is_one_of(value, kSurfaceModels)) {
            check_.fault(line, "GRID, BOXW, SPHERE or NO is expected" + did_you_mean(value, kSurfaceModels));
            return;
        }
        if (value == "NO") return;
        if (arguments.size() > most)
            check_.fault(line, most == 0 ? "nothing is expected behind the model"
                                         : "at most one parameter is expected behind the model");
        for (const std::string& request : arguments) take_request(line, request, kSurfaceParameters);
    }

    void take_empirical(const ConfigLine& line, const std::vector<std::string>& arguments) {
        if (arguments.empty()) check_.fault(line, "no parameter is named: NAME:SECONDS with " + list_of(kEmpirical));
        std::set<std::string> seen;
        for (const std::string& request : arguments) {
            const std::string name = take_request(line, request, kEmpirical);
            if (!name.empty() && !seen.insert(name).second) check_.fault(line, name + " stands twice");
        }
    }

    /// Name of a request NAME:SECONDS; empty for one that isn't understood.
    std::string take_request(const ConfigLine& line, const std::string& request,
                             const std::vector<std::string>& names) {
        const std::size_t colon = request.find(':');
        std::string name = request.substr(0, colon);
        double seconds = 0;
        if (!is_one_of(name, names)) {
            check_.fault(line, "a parameter is " + list_of(names) + ", not " + name + did_you_mean(name, names));
            return "";
        }
        if (colon == std::string::npos || colon + 1 == request.size() ||
            !parse_number(request.substr(colon + 1), seconds) || !(seconds > 0.0)) {
            check_.fault(line, name + " needs the length of its pieces in seconds, such as " + name + ":7200");
            return "";
        }
        return name;
    }

    void take_setting(const ConfigLine& line, const std::string& keyword) {
        double value = 0;
        const bool number = line.fields.size() == 3 && parse_number(line.fields[2], value);
        if (keyword == "spacecraft_state_mode") {
            if (!number || (value != 0.0 && value != 1.0 && value != 2.0)) check_.fault(line, "0, 1 or 2 is expected");
        } else if (!number || !(value > 0.0 && value <= 86400.0)) {
            check_.fault(line, "a positive number of seconds is expected, at most 86400");
        }
    }

    ConfigCheck check_;
    std::set<std::string> keywords_;  ///< given so far
    std::set<std::string> named_;     ///< given or nearly given, so that a slip is told once
};

}  // namespace

void check_dynamics_config(const std::string& file) { DynamicsCheck(file).run(); }

}  // namespace host
