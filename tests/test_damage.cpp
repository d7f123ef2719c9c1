// Systematic damage: one good file of each format, damaged in every place in turn. Nothing crashes or hangs, and what a
// damaged line doesn't touch is kept.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <clocale>
#include <cmath>
#include <functional>
#include <memory>
#include <set>

#include "attitude.h"
#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "eph_planet.h"
#include "gnss_observation.h"
#include "gnss_satposition.h"
#include "orbit_dynamics.h"
#include "support.h"
#include "tle.h"

namespace {

/// What a reader kept of a file: a record count, and a sum over numbers of the records.
struct Kept {
    int records = 0;
    double sum = 0.0;
};

struct Format {
    const char* file;  ///< under tests/data
    int records;       ///< of the good file
    int shared;        ///< records that one line may take with it
    bool may_stop;     ///< damage may end the process, as documented
    Kept (*load)(char* name);
};

void PrintTo(const Format& format, std::ostream* out) { *out << format.file; }

Kept load_observation(char* name) {
    static std::vector<OBSDATA_EPOCH> store(20000);
    std::fill_n(store.begin(), 20, OBSDATA_EPOCH{});
    g_obs_storage = store.data();
    g_num_obs_storage = 0;
    load_observation_rinex(name, 1, 0.0);
    Kept kept;
    for (long i = 0; i < g_num_obs_storage; ++i) {
        const OBSDATA_EPOCH& epoch = store[static_cast<std::size_t>(i)];
        kept.records += epoch.sat_num;
        for (int s = 0; s < epoch.sat_num; ++s) kept.sum += epoch.satobs[s].obsdata[0].value;
    }
    return kept;
}

Kept load_navigation(char* name) {
    static const auto store = std::make_unique<EPHBRDC_STORE>();
    *store = EPHBRDC_STORE{};
    g_brdc_storage = store.get();
    load_ephemeris_brdc(name);
    Kept kept;
    for (const auto& row : store->eph_brdc_gps_all)
        for (const auto& record : row) kept.records += record.prn != 0, kept.sum += record.sqrt_A;
    for (const auto& row : store->eph_brdc_bds_all)
        for (const auto& record : row) kept.records += record.prn != 0, kept.sum += record.sqrt_A;
    return kept;
}

Kept precise(const std::function<void(EPHPREC_STORE*)>& load) {
    static EPHPREC_STORE* store = static_cast<EPHPREC_STORE*>(std::calloc(1, sizeof(EPHPREC_STORE)));
    std::fill_n(store->idx_eph, 98, 0);
    std::fill_n(store->idx_clk, 98, 0);
    g_prec_storage = store;
    load(store);
    Kept kept;
    for (int i = 0; i < 98; ++i) kept.records += std::max(store->idx_eph[i], store->idx_clk[i]);
    double posvel[6] = {};
    if (compute_satposvel_prec(mjd2GTime(tsGPST, 59232.05), 4, posvel)) kept.sum = posvel[0];
    return kept;
}
Kept load_sp3(char* name) {
    return precise([&](EPHPREC_STORE*) { load_ephemris_prec(name); });
}
Kept load_clock(char* name) {
    return precise([&](EPHPREC_STORE* store) { load_clock_prec(name, store); });
}

Kept load_antex(char* name) {
    ANT_INFO_STORE antennas{};
    load_antenna_storage(name, &antennas);
    Kept kept{antennas.num_antenna_info, 0.0};
    std::free(antennas.antenna_info_storage);
    return kept;
}

Kept load_gnss(char* name) {
    gnssconfig = GNSSCONFIG{};
    set_gnssconfig_from_file(name);
    return {gnssconfig.num_sys, gnssconfig.var_pos};
}

Kept load_dynamics(char* name) {
    static const auto config = std::make_unique<ORBIT_DYN_CONFIG>();
    *config = ORBIT_DYN_CONFIG{};
    readfile_orbitdynamics_config(name, config.get());
    return {config->emp_param_num_base, 0.0};
}

template <bool (*Load)(char*)>
Kept load_orientation(char* name) {
    static std::vector<EOPREC> store(MAXSIZE_EOP + 1);
    std::fill_n(store.begin(), 100, EOPREC{});
    initialize_global_earth_rotation_param();
    g_eop_storage = store.data();
    Load(name);
    Kept kept;
    for (int i = 0; i < 100; ++i) {
        const EOPREC& day = store[static_cast<std::size_t>(i)];
        kept.records += day.ok;
        if (day.ok) kept.sum += day.mjd_utc;
    }
    return kept;
}

Kept load_ephemeris(char* name) {
    static const auto header = std::make_unique<EPH_HEADER_JPL>();
    static std::vector<EPH_RECORD_JPL> records(MAXNUM_RECORD_JPLEPH + 1);
    initialize_global_eph_planet();
    *header = EPH_HEADER_JPL{};
    std::fill_n(records.begin(), 4, EPH_RECORD_JPL{});
    g_eph_header = header.get();
    g_ephData_storage = records.data();
    load_eph_storage_file(name, header.get(), records.data());
    double pv[6] = {};
    compute_planet_pos_vel(header->ss[0] + 10.0, EARTH, SUN, pv);
    return {g_num_eph_record, pv[0]};
}

Kept load_gravity(char* name) {
    load_earth_coef_EGM(name);
    double position[3] = {6.8e6, 1e6, 1e5}, sun[3] = {1.4e11, 2e10, 1e10}, moon[3] = {3.6e8, 1e8, 2e7};
    double acceleration[3], gradient[9];
    compute_acc_dadr_earth_gravity(6, 6, 59232.5, 37.0, position, sun, moon, acceleration, gradient);
    return {1, acceleration[0]};
}

template <int (*Read)(char*, ATT_QUATERNION*, int)>
Kept load_quaternion(char* name) {
    static std::vector<ATT_QUATERNION> records(MAXSIZE_ATT_QUA);
    const int count = Read(name, records.data(), 0);
    return {count, count > 0 ? records[0].qua.r : 0.0};
}

Kept load_elements(char* name) {
    tle_t sets{};
    tle_read(name, &sets);
    Kept kept{sets.n, 0.0};
    for (int i = 0; i < sets.n; ++i) kept.sum += sets.data[i].n;
    std::free(sets.data);
    return kept;
}

Kept load_element_names(char* name) {
    tle_t sets{};
    tle_read(support::test_file("tle.tle").c_str(), &sets);
    tle_name_read(name, &sets);
    Kept kept;
    for (int i = 0; i < sets.n; ++i) kept.records += std::string(sets.data[i].name).find("RENAMED") == 0;
    std::free(sets.data);
    return kept;
}

const Format kFormats[] = {
    {"observation2.obs", 12, 12, false, load_observation},
    {"observation3.rnx", 15, 15, false, load_observation},
    {"navigation2.nav", 3, 3, false, load_navigation},
    {"navigation3.rnx", 5, 5, false, load_navigation},
    {"sp3.sp3", 48, 4, true, load_sp3},
    {"clock.clk", 24, 24, true, load_clock},
    {"antex.atx", 3, 3, true, load_antex},
    {"gnss_config.cfg", 2, 2, true, load_gnss},
    {"dynamics_config.cfg", 5, 5, true, load_dynamics},
    {"eop_c04.txt", 6, 1, false, load_orientation<load_eop_storage>},
    {"eop_rapid.txt", 6, 1, false, load_orientation<load_eop_storage_rapid>},
    {"eop_keyword.txt", 6, 6, false, load_orientation<load_eop_storage_celestrack>},
    {"ephemeris.405", 2, 2, false, load_ephemeris},
    {"gravity.txt", 1, 1, false, load_gravity},
    {"quaternion.txt", 8, 1, false, load_quaternion<read_att_quaternion_velmar>},
    {"quaternion_mission.txt", 8, 8, false, load_quaternion<read_att_quaternion_gfo>},
    {"tle.tle", 13, 1, false, load_elements},
    {"tle_names.txt", 2, 1, false, load_element_names},
};

struct Damage {
    std::string what, text;
};

std::vector<std::string> lines_of(const std::string& text) {
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size() - 1);
        lines.push_back(text.substr(at, end - at + 1));
        at = end + 1;
    }
    return lines;
}

std::string join(const std::vector<std::string>& lines) {
    std::string text;
    for (const std::string& line : lines) text += line;
    return text;
}

std::vector<Damage> truncations(const std::string& good) {
    std::vector<Damage> all;
    // Long files are cut at every byte of their ends, and in steps of a prime between.
    for (std::size_t n = 0; n < good.size(); n += n < 2500 || n + 500 > good.size() ? 1 : 17)
        all.push_back({"cut to " + std::to_string(n), good.substr(0, n)});
    return all;
}

std::vector<Damage> whole_lines(const std::string& good) {
    std::vector<Damage> all;
    std::vector<std::string> lines = lines_of(good);
    const std::size_t step = lines.size() / 200 + 1;
    for (std::size_t i = 0; i < lines.size(); i += step) {
        std::vector<std::string> other = lines;
        other.erase(other.begin() + static_cast<long>(i));
        all.push_back({"line " + std::to_string(i) + " dropped", join(other)});
        other = lines;
        other.insert(other.begin() + static_cast<long>(i), lines[i]);
        all.push_back({"line " + std::to_string(i) + " doubled", join(other)});
    }
    return all;
}

std::vector<Damage> characters(const std::string& good) {
    std::vector<Damage> all;
    std::size_t digits = 0;
    for (std::size_t i = 0; i < good.size(); ++i) {
        if (std::isdigit(static_cast<unsigned char>(good[i])) == 0) continue;
        if (++digits > 1200 && digits % 13 != 0) continue;
        Damage damage{"letter at " + std::to_string(i), good};
        damage.text[i] = 'x';
        all.push_back(damage);
        damage.what = "null byte at " + std::to_string(i);
        damage.text[i] = '\0';
        if (digits % 3 == 0) all.push_back(damage);
    }
    return all;
}

std::vector<Damage> numbers(const std::string& good) {
    std::vector<Damage> all;
    const std::vector<std::string> lines = lines_of(good);
    const std::size_t step = lines.size() / 60 + 1;
    const std::string numeric = "+-.0123456789EeDd";
    for (const std::string number : {"1e400", "-1e400", "nan", "inf", "-inf", "-0", "99999999999999999999", "%s%n"}) {
        for (std::size_t i = 0; i < lines.size(); i += step) {
            // Each number of the line in turn, with the columns behind it kept where the new text is shorter.
            for (std::size_t at = 0; (at = lines[i].find_first_of("0123456789", at)) != std::string::npos;) {
                std::size_t end = std::min(lines[i].find_first_not_of(numeric, at), lines[i].size());
                std::string line = lines[i], text = number;
                if (text.size() < end - at) text.resize(end - at, ' ');
                line.replace(at, end - at, text);
                std::vector<std::string> other = lines;
                other[i] = line;
                all.push_back({number + " in line " + std::to_string(i), join(other)});
                at = end;
            }
        }
    }
    return all;
}

std::vector<Damage> whole_files(const std::string& good) {
    std::string crlf, nul = good;
    for (const char c : good) crlf += c == '\n' ? "\r\n" : std::string(1, c);
    std::string giant = good;
    giant.insert(good.size() / 2, std::string(1 << 20, '7'));
    return {{"carriage returns", crlf},
            {"byte-order mark", "\xEF\xBB\xBF" + good},
            {"a line of one megabyte first", std::string(1 << 20, 'x') + "\n" + good},
            {"a megabyte of digits within a line", giant},
            {"a megabyte of null bytes", good + std::string(1 << 20, '\0')},
            {"empty lines", "\n\n\n" + good},
            {"twice the file", good + good},
            {"no newline at the end", good.substr(0, good.size() - 1)},
            {"empty", ""}};
}

/// Loads every damaged text in children: a documented end costs one child, anything else than that or survival is a fault. A hang ends by the alarm.
struct Outcome {
    std::vector<int> records;  ///< -1 where the process ended as documented
};

Outcome load_all(const Format& format, const std::vector<Damage>& cases) {
    struct Shared {
        int next;
        int records[1];
    };
    const std::size_t bytes = sizeof(Shared) + cases.size() * sizeof(int);
    auto* shared =
        static_cast<Shared*>(mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    const std::string name = (support::temp_dir() / (std::string("damaged_") + format.file)).string();
    std::size_t next = 0;
    while (next < cases.size()) {
        const pid_t child = fork();
        if (child == 0) {
            for (std::size_t i = next; i < cases.size(); ++i) {
                shared->next = static_cast<int>(i);
                shared->records[i] = -1;
                std::ofstream(name, std::ios::binary) << cases[i].text;
                alarm(20);
                shared->records[i] = format.load(std::string(name).data()).records;
            }
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0) break;
        const auto at = static_cast<std::size_t>(shared->next);
        const bool documented = WIFEXITED(status) && WEXITSTATUS(status) == 1 && format.may_stop;
        EXPECT_TRUE(documented) << format.file << ", " << cases[at].what << ": "
                                << (WIFSIGNALED(status) ? "signal " : "status ")
                                << (WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status));
        if (!documented) break;
        next = at + 1;
    }
    Outcome outcome{{shared->records, shared->records + cases.size()}};
    munmap(shared, bytes);
    return outcome;
}

class Damaged : public testing::TestWithParam<Format> {
  protected:
    const std::string good = support::read_file(support::test_file(GetParam().file));
};

TEST_P(Damaged, NothingCrashesAndTheRestIsKept) {
    const Format& format = GetParam();
    ASSERT_FALSE(good.empty());
    // Kept in full: the good file, and damage that takes nothing away.
    const Outcome intact = load_all(format, {{"good", good}, {"good again", good}});
    EXPECT_EQ(intact.records, std::vector<int>(2, format.records));

    for (const auto make : {truncations, characters, numbers}) load_all(format, make(good));
    const std::vector<Damage> lines = whole_lines(good);
    const Outcome outcome = load_all(format, lines);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (outcome.records[i] < 0) continue;
        EXPECT_GE(outcome.records[i], format.records - format.shared) << format.file << ", " << lines[i].what;
        EXPECT_LE(outcome.records[i], format.records + format.shared) << format.file << ", " << lines[i].what;
    }
    const std::vector<Damage> files = whole_files(good);
    const Outcome whole = load_all(format, files);
    EXPECT_EQ(whole.records[0], format.records) << files[0].what;
}

/// A directory, a pipe without a writer, an absent file, and a name that must not act as a format.
TEST_P(Damaged, NamesThatAreNoFiles) {
    const Format& format = GetParam();
    const std::string directory = (support::temp_dir() / "directory").string();
    const std::string pipe = (support::temp_dir() / "pipe").string();
    const std::string odd = (support::temp_dir() / "name%s%n%s").string();
    std::filesystem::create_directories(directory);
    mkfifo(pipe.c_str(), 0600);
    std::ofstream(odd) << good;
    for (const std::string& name : {directory, pipe, odd, odd + ".absent"}) {
        const pid_t child = fork();
        if (child == 0) {
            support::LogRecorder log;
            alarm(20);
            const Kept kept = format.load(std::string(name).data());
            _exit(name == odd && kept.records != format.records ? 2 : 0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && (WEXITSTATUS(status) == 0 || (WEXITSTATUS(status) == 1 && format.may_stop)))
            << format.file << " as " << name << ": " << status;
    }
}

/// Name of a locale with a decimal comma: an installed one, or one compiled here. Null without.
const char* comma_locale() {
    constexpr const char* kNames[] = {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE.utf8"};
    for (int attempt = 0; attempt < 2; ++attempt) {
        for (const char* name : kNames) {
            const bool there = std::setlocale(LC_ALL, name) != nullptr;
            std::setlocale(LC_ALL, "C");
            if (there) return name;
        }
        const std::string made = (support::temp_dir() / kNames[0]).string();
        if (std::system(("localedef -f UTF-8 -i de_DE --no-archive " + made + " >/dev/null 2>&1").c_str()) != 0) break;
        setenv("LOCPATH", support::temp_dir().c_str(), 1);
    }
    return nullptr;
}

/// A locale with a decimal comma changes nothing.
TEST_P(Damaged, CommaLocale) {
    const Format& format = GetParam();
    const char* found = comma_locale();
    if (found == nullptr) GTEST_SKIP() << "no locale with a decimal comma can be had (package locales)";
    std::setlocale(LC_ALL, found);
    char text[8];
    std::snprintf(text, sizeof text, "%.1f", 0.5);
    ASSERT_STREQ(text, "0,5");
    const std::string name = support::write_temp("comma", good);

    const Kept comma = format.load(std::string(name).data());
    std::setlocale(LC_ALL, "C");
    const Kept plain = format.load(std::string(name).data());
    EXPECT_EQ(comma.records, format.records);
    EXPECT_EQ(comma.sum, plain.sum);
}

INSTANTIATE_TEST_SUITE_P(Formats, Damaged, testing::ValuesIn(kFormats));

}  // namespace
