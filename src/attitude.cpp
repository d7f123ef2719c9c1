/// \file attitude.cpp
/// Attitude laws, the store of platform quaternions, its readers and its writer.
#include "attitude.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "common_function.h"
#include "gnss_config.h"
#include "mathlib.h"
#include "private/constants.h"
#include "private/lines.h"
#include "private/print.h"
#include "private/report.h"
#include "private/text.h"

using namespace leopod;

ATT_QUERION_STORE g_att_qua_storage = {};

namespace {

constexpr int kNumHalf = 5;           ///< usable records wanted on each side of the closest one
constexpr int kWindowSize = 12;       ///< both sides, the two records where the walks stop
constexpr double kMinVector = 0.001;  ///< norm of the vector part of a usable record
constexpr double kMaxDays = 1e9;      ///< days from the origin; a file's time beyond it is no time
constexpr double kZeroNorm = 1e-9;

/// Slot of an object among those held, or -1. Slots never used hold the number 0 and are not searched.
int find_slot(int index_object) {
    for (int i = 0; i < g_att_qua_storage.num_object && i < MAXSIZE_ATT_OBJ; ++i) {
        if (g_att_qua_storage.idx_object[i] == index_object) return i;
    }
    return -1;
}

}  // namespace

// --- attitude laws ---------------------------------------------------------------------------------------------------

void attitude_yaw_steering(double* satpos, double*, double* sunpos, double* ex, double* ey, double* ez, double* ep) {
    double sun_direction[3];
    for (int i = 0; i < 3; ++i) {
        ez[i] = -satpos[i];
        sun_direction[i] = sunpos[i] - satpos[i];
    }
    normalize_vector(3, ez);
    normalize_vector(3, sun_direction);
    if (ep != nullptr) {
        for (int i = 0; i < 3; ++i) ep[i] = sun_direction[i];
    }
    crossproduct(3, 3, ez, sun_direction, ey);
    crossproduct(3, 3, ey, ez, ex);
    normalize_vector(3, ex);
    normalize_vector(3, ey);
}

void gnss_sat_attitude(int satindex, double* satpos, double* satvel, double* sunpos, double* ex, double* ey, double* ez,
                       double* ep) {
    sysGNSS satsys = UKNSYS;
    int prn = -1;
    satindex2sysprn(satindex, &satsys, &prn);
    if (satsys == BDS && prn < 6) {
        report(ULOG_WARNING_LEVEL, "BDS GEO satellite attitude not implemented!");
        return;
    }
    attitude_yaw_steering(satpos, satvel, sunpos, ex, ey, ez, ep);
}

double yaw_nominal_gps(double beta, double mu) {
    if (std::fabs(beta) < 1e-12 && std::fabs(mu) < 1e-12) return kPi;
    return std::atan2(-std::tan(beta), std::sin(mu)) + kPi;
}

int attitude_platform(int, GTime time_utc, double* position_platform_ecf, double*, double* position_platform_eci,
                      double* velocity_platform_eci, ATT_QUATERNION* att_qua, double* ex, double* ey, double* ez,
                      double*) {
    for (int i = 0; i < 3; ++i) {
        ex[i] = i == 0 ? 1.0 : 0.0;
        ey[i] = i == 1 ? 1.0 : 0.0;
        ez[i] = i == 2 ? 1.0 : 0.0;
    }
    int choice_qua = -1;
    int choice_norminal = -1;
    if (att_qua != nullptr && att_qua->ok) {
        double q[4] = {att_qua->qua.r, att_qua->qua.v[0], att_qua->qua.v[1], att_qua->qua.v[2]};
        const double ss = norm(4, q);
        choice_qua = std::fabs(ss) <= kZeroNorm ? 0 : 1;
    }
    if (position_platform_eci != nullptr && velocity_platform_eci != nullptr) {
        const bool zero = norm(3, position_platform_eci) <= kZeroNorm || norm(3, velocity_platform_eci) <= kZeroNorm;
        choice_norminal = zero ? 0 : 1;
    }
    if (position_platform_ecf != nullptr) {  // settled: a zero earth-fixed position rules out the inertial state too
        choice_norminal = norm(3, position_platform_ecf) <= kZeroNorm ? 0 : 2;
    }

    if (choice_qua == 1) {
        double R[9];
        quaternion2rotation(att_qua->qua, R);
        for (int i = 0; i < 3; ++i) {
            ex[i] = R[3 * i];
            ey[i] = R[3 * i + 1];
            ez[i] = R[3 * i + 2];
        }
        return 0;
    }
    if (choice_norminal == 2) {
        double blh[3];
        double E[9];
        ecef2blh(position_platform_ecf, blh, kWgs84SemiMajor, kWgs84Flattening);
        xyz2enu_matrix(blh, E);
        for (int i = 0; i < 3; ++i) {
            ex[i] = E[i];
            ey[i] = E[3 + i];
            ez[i] = E[6 + i];
        }
        return 1;
    }
    if (choice_norminal == 1) {
        eci2rtn(position_platform_eci, velocity_platform_eci, ez, ex, ey);
        return 0;
    }
    char epoch[kTimeText];
    gtime2str(time_utc, epoch);
    char locator[100];
    std::snprintf(locator, sizeof locator, "%s:%d:%s()<%s>", "attitude", 470, "attitude_platform", "attitude error");
    report(ULOG_WARNING_LEVEL, "%s, choice_qua=%d choice_normal=%d, epoch=%s", locator, choice_qua, choice_norminal,
           epoch);
    return -1;
}

// --- lookup ----------------------------------------------------------------------------------------------------------

namespace {

double vector_norm(const ATT_QUATERNION& record) {
    double v[3] = {record.qua.v[0], record.qua.v[1], record.qua.v[2]};
    return norm(3, v);
}

/// Takes a time into the time system of a record. False where one of the two systems is unknown.
bool to_system_of(const ATT_QUATERNION& record, GTime& time) {
    time = gtimeChangeTimeSystem(time, record.time.sys);
    return time.sys == record.time.sys;
}

/// Records around a lookup time, abscissae in seconds from that time.
struct Window {
    int count = 0;
    double t[kWindowSize];
    double q[kWindowSize][4];
};

void fill_window(const ATT_QUATERNION* records, int nsize, int closest, GTime target, Window& window) {
    int i_end = closest;
    int num_up = 0;
    while (num_up < kNumHalf && i_end < nsize - 1) {
        if (vector_norm(records[i_end]) > kMinVector) ++num_up;
        ++i_end;
    }
    const int xhalf = 2 * kNumHalf - num_up;
    int i_start = closest;
    int num_down = 0;
    while (num_down < xhalf && i_start > 0) {
        if (vector_norm(records[i_start]) > kMinVector) ++num_down;
        --i_start;
    }
    for (int i = i_start; i <= i_end && window.count < kWindowSize; ++i) {
        if (!(vector_norm(records[i]) >= kMinVector)) continue;
        const TimeMJD difference = gtimeSub(records[i].time, target).time;
        const int n = window.count++;
        window.t[n] = static_cast<double>(difference.mjd) * kDay + difference.sod;
        window.q[n][0] = records[i].qua.r;
        std::copy_n(records[i].qua.v, 3, window.q[n] + 1);
    }
}

}  // namespace

int find_closest_att_quaternion(GTime time_target, int nsize, ATT_QUATERNION* quaternion_all) {
    if (quaternion_all == nullptr || nsize <= 0) return -1;
    if (!to_system_of(quaternion_all[0], time_target)) return -1;
    if (gtime_less(time_target, quaternion_all[0].time)) return 0;
    if (gtime_greater(time_target, quaternion_all[nsize - 1].time)) return nsize - 1;
    int low = 0;
    int high = nsize - 1;
    int mid = 0;
    while (low <= high) {
        mid = (low + high) / 2;
        if (gtime_equal(time_target, quaternion_all[mid].time)) return mid;
        if (gtime_less(time_target, quaternion_all[mid].time)) {
            high = mid - 1;
        } else {
            low = mid + 1;
        }
    }
    return mid;
}

bool get_att_quaternion(int idx_sat, GTime time_target, ATT_QUATERNION* qua_att) {
    if (idx_sat == -1 || g_att_qua_storage.num_object <= 0) return false;
    const int slot = find_slot(idx_sat);
    if (slot == -1) {
        report(ULOG_ERROR_LEVEL, "get_att_quaternion(): object index=%d is not in g_att_qua_storage!", idx_sat);
        return false;
    }
    ATT_QUATERNION* records = g_att_qua_storage.qua_all[slot];
    const int nsize = g_att_qua_storage.qua_num[slot];

    GTime target = time_target;
    const int idx = find_closest_att_quaternion(time_target, nsize, records);
    if (idx < 0 || !to_system_of(records[idx], target)) return false;

    Window window;
    fill_window(records, nsize, idx, target, window);
    if (window.count < 2) return false;
    if (qua_att == nullptr) return true;

    // settled: the results of the interpolation are not tested (outside the records the numbers are 0), and the quaternion is
    // not renormalised
    double value[4];
    interpolation_multip_dimension(window.count, 4, window.t, window.q[0], 0.0, value, nullptr);
    qua_att->time = time_target;
    qua_att->qua = {value[0], {value[1], value[2], value[3]}};
    qua_att->ok = true;
    return true;
}

// --- files -----------------------------------------------------------------------------------------------------------

namespace {

/// What the two file formats do differently.
struct FileFormat {
    const char* reader;  ///< name of the reading function, for its reports
    /// Fills a record from a line; false where the line holds none.
    bool (*parse)(const char* line, LineReader& file, bool& in_data, ATT_QUATERNION& record);
    void (*warn_full)(int count, int record_start);
};

/// Quaternion in four consecutive fields, at a time that is already there.
void set_quaternion(const Tokens& fields, int first, ATT_QUATERNION& record) {
    record.qua.r = to_double(fields, first);
    for (int i = 0; i < 3; ++i) record.qua.v[i] = to_double(fields, first + 1 + i);
    record.ok = true;
}

bool parse_library_line(const char* line, LineReader& file, bool&, ATT_QUATERNION& record) {
    if (line[0] == '#') return false;
    Tokens fields;
    split(line, " \r", fields, kMaxTokens, &file);
    const double mjd = to_double(fields, 0);
    if (fields.count == 0 || !(std::fabs(mjd) < kMaxDays)) return false;
    record.time = mjd2GTime(tsGPST, mjd);
    set_quaternion(fields, 1, record);
    return true;
}

bool parse_mission_line(const char* line, LineReader& file, bool& in_data, ATT_QUATERNION& record) {
    if (line[0] == '#' || contains(line, "# End of YAML header")) {
        in_data = true;
        return false;
    }
    if (!in_data) return false;
    Tokens fields;
    split(line, " \r", fields, kMaxTokens, &file);
    const double seconds = to_double(fields, 0);
    if (fields.count == 0 || !(std::fabs(seconds) < kMaxDays * kDay)) return false;
    const GTime origin = {{51544, 43200.0}, tsGPST};  // 2000-01-01 12:00:00
    record.time = gtimeAddSec(origin, seconds);
    set_quaternion(fields, 3, record);
    return true;
}

void warn_full_library(int count, int record_start) {
    // settled: the text names the other reader
    report(ULOG_WARNING_LEVEL,
           "read_att_quaternion_gfo() number of att quaternion records[%d] > MAXSIZE_ATT_QUA[%d], record_start=%d",
           count, MAXSIZE_ATT_QUA, record_start);
}

void warn_full_mission(int count, int record_start) {
    report(ULOG_WARNING_LEVEL, "read_att_quaternion_gfo() number of att quaternion records[%d] > MAXSIZE_ATT_QUA[%d]",
           record_start + count, MAXSIZE_ATT_QUA);
}

int read_records(const FileFormat& format, const char* filename, ATT_QUATERNION* qua_store, int record_start) {
    const File file = open_text(filename);
    if (file == nullptr) {
        report(ULOG_ERROR_LEVEL, "%s(): quaternion file %s open failed!", format.reader,
               filename != nullptr ? filename : "(null)");
        return 0;
    }
    LineReader reader{file.get(), filename};
    read_in_blocks(reader);
    char line[kLineSize];
    bool in_data = false;
    int count = 0;
    for (;;) {
        if (record_start + count > MAXSIZE_ATT_QUA - 1) {  // settled: a file that fills the array exactly warns too
            format.warn_full(count, record_start);
            break;
        }
        if (!read_line(reader, line)) break;
        if (format.parse(line, reader, in_data, qua_store[record_start + count])) ++count;
    }
    report(ULOG_INFO_LEVEL, "%s(): finish reading quaternion file %s", format.reader, filename);
    return count;
}

/// Loads a file into the slot of an object. Both loaders report as load_attitude_quaternion (settled).
bool load_object(int satindex, char* filename, int (*read)(char*, ATT_QUATERNION*, int)) {
    ATT_QUERION_STORE& store = g_att_qua_storage;
    if (filename == nullptr) {
        report(ULOG_WARNING_LEVEL, "load_attitude_quaternion(): quaternion_att_filename=NULL");
        return false;
    }
    if (store.num_object >= MAXSIZE_ATT_OBJ) {  // settled: also for an object that is held
        report(ULOG_WARNING_LEVEL,
               "load_attitude_quaternion(): g_att_qua_storage.num_object[%d] >= MAXSIZE_ATT_OBJ[%d]", store.num_object,
               MAXSIZE_ATT_OBJ);
        return false;
    }
    const int held = find_slot(satindex);
    if (held != -1) {
        store.qua_num[held] += read(filename, store.qua_all[held], store.qua_num[held]);
        return true;
    }
    const int slot = store.num_object;
    if (store.qua_all[slot] != nullptr) return true;  // settled: nothing is read
    store.qua_all[slot] = static_cast<ATT_QUATERNION*>(std::calloc(MAXSIZE_ATT_QUA, sizeof(ATT_QUATERNION)));
    if (store.qua_all[slot] == nullptr) {
        report(ULOG_ERROR_LEVEL, "load_attitude_quaternion(): no memory for %d records", MAXSIZE_ATT_QUA);
        return false;
    }
    store.qua_num[slot] = 0;
    store.qua_num[slot] = read(filename, store.qua_all[slot], 0);
    store.idx_object[slot] = satindex;
    ++store.num_object;
    return true;
}

}  // namespace

bool write_att_quaternion_velmra(char* quaternion_att_filename, ATT_QUATERNION* qua_store, int num_qua) {
    if (quaternion_att_filename == nullptr || quaternion_att_filename[0] == '\0') return false;
    File file = create_text(quaternion_att_filename);
    if (file == nullptr) {
        report(ULOG_ERROR_LEVEL, "write_att_quaternion_velmra(): quaternion file %s open failed!",
               quaternion_att_filename);
        return false;
    }
    if (qua_store == nullptr || num_qua <= 0) {  // settled: the file is left empty
        report(ULOG_ERROR_LEVEL, "write_att_quaternion_velmra(): quaternion data qua_store=%p is NULL or num_qua=%d ",
               static_cast<void*>(qua_store), num_qua);
        return false;
    }
    for (int i = 0; i < num_qua; ++i) {
        if (!qua_store[i].ok) continue;
        const QUATERNION& q = qua_store[i].qua;
        const double mjd = gtime2mjd(gtimeChangeTimeSystem(qua_store[i].time, tsGPST));
        print(file.get(), "%16.9lf %16.14lf %16.14lf %16.14lf %16.14lf\n", mjd, q.r, q.v[0], q.v[1], q.v[2]);
    }
    file.reset();
    report(ULOG_INFO_LEVEL, "write_att_quaternion_velmra(): finish writing velmar quaternion file %s",
           quaternion_att_filename);
    return true;
}

int read_att_quaternion_velmar(char* quaternion_att_filename, ATT_QUATERNION* qua_store, int record_start) {
    if (quaternion_att_filename == nullptr || quaternion_att_filename[0] == '\0') return 0;
    const FileFormat format = {"read_att_quaternion_velmar", parse_library_line, warn_full_library};
    return read_records(format, quaternion_att_filename, qua_store, record_start);
}

int read_att_quaternion_gfo(char* quaternion_att_filename, ATT_QUATERNION* qua_store, int record_start) {
    const FileFormat format = {"read_att_quaternion_gfo", parse_mission_line, warn_full_mission};
    return read_records(format, quaternion_att_filename, qua_store, record_start);
}

bool load_sca_grace(int satindex, char* quaternion_att_filename) {
    return load_object(satindex, quaternion_att_filename, read_att_quaternion_gfo);
}

bool load_attitude_quaternion(int satindex, char* quaternion_att_filename) {
    if (!load_object(satindex, quaternion_att_filename, read_att_quaternion_velmar)) return false;
    report(ULOG_INFO_LEVEL, "load_attitude_quaternion() velmar attitude file %s", quaternion_att_filename);
    return true;
}

void free_att_quaternion_store(void) {
    g_att_qua_storage.num_object = 0;
    for (int i = 0; i < MAXSIZE_ATT_OBJ; ++i) {
        std::free(g_att_qua_storage.qua_all[i]);
        g_att_qua_storage.qua_all[i] = nullptr;
        g_att_qua_storage.idx_object[i] = -1;
        g_att_qua_storage.qua_num[i] = 0;
    }
}
