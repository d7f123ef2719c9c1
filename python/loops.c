/* Loops over arrays for the Python package: one call of the library an element, without the cost of a call from Python. Times are a day
 * (MJD) and a second of day. Functions that can fail for an element mark it in `ok`. Dates before the leap seconds end the process in the
 * library; the package checks them before it comes here. */
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "earth_gravity.h"
#include "earth_rotation_param.h"
#include "eph_planet.h"
#include "gnss_config.h"
#include "gnss_satposition.h"
#include "gtime.h"
#include "iers_function.h"
#include "tle.h"
#include "ulog.h"

#define EXPORT __attribute__((visibility("default")))

/* --- messages ---------------------------------------------------------------------------------------------------------- */

static char last_text[1024];

static void keep_text(ulog_level_t level, char* text) {
    (void)level;
    snprintf(last_text, sizeof last_text, "%s", text);
}

/* The last text at warning level or above since the last call. */
EXPORT void loops_start(void) { ulog_subscribe(keep_text, ULOG_WARNING_LEVEL); }

EXPORT void loops_message(char* text, int size) {
    snprintf(text, (size_t)size, "%s", last_text);
    last_text[0] = '\0';
}

/* --- times ------------------------------------------------------------------------------------------------------------- */

EXPORT void loops_convert(long n, long* mjd, double* sod, int from, int to) {
    for (long i = 0; i < n; ++i) {
        GTime time = {{mjd[i], sod[i]}, (TIMESYS)from};
        time = gtimeChangeTimeSystem(time, (TIMESYS)to);
        mjd[i] = time.time.mjd;
        sod[i] = time.time.sod;
    }
}

EXPORT void loops_leap_seconds(long n, const double* mjd_utc, double* seconds) {
    for (long i = 0; i < n; ++i) seconds[i] = getLeapSecond(mjd_utc[i]);
}

/* --- frames ------------------------------------------------------------------------------------------------------------ */

EXPORT void loops_matrices(long n, const double* mjd_utc, double* rotation, double* rate) {
    for (long i = 0; i < n; ++i)
        compute_eci2ecf_matrix(mjd_utc[i], getLeapSecond(mjd_utc[i]), rotation + 9 * i, rate + 9 * i);
}

/* `velocity` and `velocity_out` may be null together. */
EXPORT void loops_turn(long n, const double* mjd_utc, double* position, double* velocity, double* position_out,
                       double* velocity_out, int to_celestial) {
    for (long i = 0; i < n; ++i) {
        double* v = velocity != NULL ? velocity + 3 * i : NULL;
        double* w = velocity_out != NULL ? velocity_out + 3 * i : NULL;
        const double leap = getLeapSecond(mjd_utc[i]);
        if (to_celestial) {
            ecf2eci(mjd_utc[i], leap, position + 3 * i, v, position_out + 3 * i, w);
        } else {
            eci2ecf(mjd_utc[i], leap, position + 3 * i, v, position_out + 3 * i, w);
        }
    }
}

/* Reads earth orientation of a format: 'c' C04, 'r' rapid, 'k' keyword, 'd' built-in. Returns the number of days. */
EXPORT long loops_orientation(char* file, int format) {
    static EOPREC* store = NULL;
    free(store);
    store = calloc(MAXSIZE_EOP + 1, sizeof *store);
    initialize_global_earth_rotation_param();
    if (store == NULL) return 0;
    if (format == 'd') {
        load_eops_default(store, 3);
        return g_eop_storage_size;
    }
    g_eop_storage = store;
    const bool ok = format == 'c'   ? load_eop_storage(file)
                    : format == 'r' ? load_eop_storage_rapid(file)
                                    : load_eop_storage_celestrack(file);
    if (format == 'k') {
        g_eop_storage_size = 0;
        while (g_eop_storage_size <= MAXSIZE_EOP && store[g_eop_storage_size].ok) ++g_eop_storage_size;
    }
    if (!ok || g_eop_storage_size == 0) initialize_global_earth_rotation_param();
    return g_eop_storage_size;
}

EXPORT void loops_orientation_span(double* first, double* last) {
    *first = g_eop_storage_size > 0 ? g_eop_storage[0].mjd_utc : 0.0;
    *last = g_eop_storage_size > 0 ? g_eop_storage[g_eop_storage_size - 1].mjd_utc : 0.0;
}

/* --- gravity ----------------------------------------------------------------------------------------------------------- */

/* The static field, complete to `degree`; `gradient` may be null. Acceleration and gradient use one and two rows of harmonics above. */
EXPORT void loops_gravity(long n, int degree, double* position, double* acceleration, double* gradient) {
    for (long i = 0; i < n; ++i) {
        double* at = position + 3 * i;
        generateVW(degree + 2, degree + 2, at);
        compute_acc_earth_gravity(degree, degree, at, acceleration + 3 * i);
        if (gradient != NULL) compute_dadr_earth_gravity(degree, degree, at, gradient + 9 * i);
    }
}

/* --- planets ----------------------------------------------------------------------------------------------------------- */

/* A JPL file, or with null the built-in record. Returns whether there is one, and its span. */
EXPORT int loops_ephemeris(char* file, double* first, double* last) {
    static EPH_HEADER_JPL* header = NULL;
    static EPH_RECORD_JPL* records = NULL;
    free(header);
    free(records);
    initialize_global_eph_planet();
    header = calloc(1, sizeof *header);
    records = calloc(MAXNUM_RECORD_JPLEPH + 1, sizeof *records);
    if (header == NULL || records == NULL) return 0;
    const bool ok =
        file != NULL ? load_eph_storage_file(file, header, records) : load_eph_storage_default(header, records);
    if (!ok || g_num_eph_record <= 0) {
        initialize_global_eph_planet();
        return 0;
    }
    g_eph_header = header;
    g_ephData_storage = records;
    *first = header->ss[0];
    *last = header->ss[1];
    return 1;
}

EXPORT void loops_planet(long n, const double* tt_jd, int centre, int target, double* state, unsigned char* ok) {
    for (long i = 0; i < n; ++i)
        ok[i] = compute_planet_pos_vel(tt_jd[i], (PLANET_JPL)centre, (PLANET_JPL)target, state + 6 * i);
}

/* --- satellites of the navigation systems ------------------------------------------------------------------------------ */

static EPHBRDC_STORE* broadcast = NULL;
static EPHPREC_STORE* precise = NULL;

/* Empties the stores. */
EXPORT int loops_products(void) {
    free(broadcast);
    free(precise);
    broadcast = calloc(1, sizeof *broadcast);
    precise = calloc(1, sizeof *precise);
    g_brdc_storage = broadcast;
    g_prec_storage = precise;
    memset(&g_eph_brdc_now, 0, sizeof g_eph_brdc_now);
    g_eph_selection = EPHOPT_BRDC;
    return broadcast != NULL && precise != NULL;
}

/* Reads a file: 'n' navigation, 's' SP3, 'c' clocks. */
EXPORT int loops_load(char* file, int kind) {
    return kind == 'n'   ? load_ephemeris_brdc(file)
           : kind == 's' ? load_ephemris_prec(file)
                         : load_clock_prec(file, g_prec_storage);
}

EXPORT int loops_index(char* name) {
    int number = -1;
    const sysGNSS system = string2satsysprn(name, &number);
    if (system != GPS && system != BDS && system != LEO) return -1;
    return satsysprn2index(system, number);
}

/* Earth-fixed position and velocity, clock offset and drift of one satellite at times of transmission in GPST. */
EXPORT void loops_satellite(long n, const long* mjd, const double* sod, int index, int use_precise, double* state,
                            double* clock, unsigned char* ok) {
    for (long i = 0; i < n; ++i) {
        const GTime time = {{mjd[i], sod[i]}, tsGPST};
        double* s = state + 6 * i;
        if (use_precise) {
            ok[i] = compute_satposvel_prec(time, index, s) && compute_satclk_prec(time, index, clock + 2 * i);
            if (ok[i]) {  /* the periodic relativistic term, as compute_satposvel adds it */
                const double c = 299792458.0;
                clock[2 * i] += -2.0 * (s[0] * s[3] + s[1] * s[4] + s[2] * s[5]) / c / c;
            }
        } else {
            ok[i] = compute_satposvel(time, index, s, clock + 2 * i, NULL);
        }
    }
}

/* --- two-line elements ------------------------------------------------------------------------------------------------- */

/* Decodes two lines; the epoch is a day and a second, UTC. Returns 0 for a wrong checksum, -1 for lines that don't go together. */
EXPORT int loops_tle(const char* line1, const char* line2, void* record, long* mjd, double* sod) {
    tled_t* set = record;
    if (!checksum(line1) || !checksum(line2)) return 0;
    memset(set, 0, sizeof *set);
    if (!decode_line1(line1, set) || !decode_line2(line2, set)) return -1;
    *mjd = set->epoch_mjd_utc.time.mjd;
    *sod = set->epoch_mjd_utc.time.sod;
    return 1;
}

EXPORT int loops_tle_size(void) { return (int)sizeof(tled_t); }

EXPORT void loops_sgp4(long n, const void* record, const double* minutes, double* state) {
    for (long i = 0; i < n; ++i) SGP4_STR3(minutes[i], record, state + 6 * i);
}

/* --- tides of a site --------------------------------------------------------------------------------------------------- */

EXPORT void loops_solid_tide(long n, double* site, const int* date, const double* hour, const double* leap, double* sun,
                             double* moon, double* displacement) {
    for (long i = 0; i < n; ++i)
        DEHANTTIDEINEL(site, date[3 * i], date[3 * i + 1], date[3 * i + 2], hour[i], leap[i], sun + 3 * i, moon + 3 * i,
                       displacement + 3 * i);
}

/* `date`: year, day of the year, hour, minute, second. */
EXPORT void loops_ocean_loading(long n, double* table, const double* date, double* displacement) {
    for (long i = 0; i < n; ++i) {
        const double* d = date + 5 * i;
        HARDISP((double(*)[11])table, d[0], d[1], d[2], d[3], d[4], displacement + 3 * i);
    }
}
