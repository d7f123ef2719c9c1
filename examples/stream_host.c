/* A host for long arcs: observations are handed to the library an hour at a time, so that a month takes no more memory than an hour, and
 * satellites that the precise products do not serve are set aside first.
 *
 *   stream_host OBSERVATION ORBITS
 *
 * OBSERVATION is a RINEX observation file of version 3 in order of time, ORBITS an SP3 file that covers it; a longer arc loads the next
 * ORBITS at each midnight. */
#define _POSIX_C_SOURCE 200809L
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include "earth_gravity.h"
#include "pod_embed.h"
#include "ulog.h"

enum { WINDOW = 3600, LINE = 1024 }; /* most epochs of a window: an hour at 1 Hz; bytes of a line */

static void on_message(ulog_level_t level, char* text) { fprintf(stderr, "%s: %s\n", ulog_level_name(level), text); }

/* --- the stream: header and epochs of an hour become a file of their own, which the library loads --- */

typedef struct {
    FILE* source;
    char* header; /* all its lines: each window begins with them */
    size_t header_size;
    char line[LINE]; /* first line of the next epoch; empty at the end */
    char part[32];   /* name of the window's file */
} Stream;

static int open_stream(Stream* stream, const char* name) {
    memset(stream, 0, sizeof *stream);
    stream->source = fopen(name, "r");
    FILE* header = open_memstream(&stream->header, &stream->header_size);
    int whole = 0;
    while (stream->source != NULL && header != NULL && !whole && fgets(stream->line, LINE, stream->source) != NULL) {
        fputs(stream->line, header);
        whole = strstr(stream->line, "END OF HEADER") != NULL;
    }
    if (header != NULL) fclose(header);
    whole = whole && atof(stream->header) >= 3.0 && fgets(stream->line, LINE, stream->source) != NULL;
    strcpy(stream->part, "/tmp/window.XXXXXX");
    const int part = mkstemp(stream->part);
    if (part >= 0) close(part);
    return whole && part >= 0;
}

/* Puts the next epochs of one hour into g_obs_storage. Their number; 0 at the end, -1 on a failure. */
static int next_window(Stream* stream) {
    FILE* part = fopen(stream->part, "w");
    if (part == NULL) return -1;
    fwrite(stream->header, 1, stream->header_size, part);
    char hour[sizeof "> 2021 01 18 00"] = "";
    int count = 0;
    while (stream->line[0] != '\0') {
        if (stream->line[0] == '>') { /* a new epoch: does it still belong here? */
            if (count == 0) memcpy(hour, stream->line, sizeof hour - 1);
            if (count == WINDOW || strncmp(hour, stream->line, sizeof hour - 1) != 0) break;
            ++count;
        }
        fputs(stream->line, part);
        if (fgets(stream->line, LINE, stream->source) == NULL) stream->line[0] = '\0';
    }
    if (fclose(part) != 0) return -1;
    if (count == 0) return 0;
    memset(g_obs_storage, 0,
           ((size_t)g_num_obs_storage) * sizeof *g_obs_storage); /* the loader adds to what is there */
    g_num_obs_storage = 0;
    return load_observation_rinex(stream->part, 0, 0.0) ? g_num_obs_storage : -1;
}

static void close_stream(Stream* stream) {
    if (stream->source != NULL) fclose(stream->source);
    if (stream->part[0] != '\0') unlink(stream->part);
    free(stream->header);
}

/* --- the guard --- */

/* True if the products surround the signal's way to an epoch. They do not extrapolate: outside, in a gap, or without a clock the library goes
 * on with zeros. */
static int served(int index, GTime tag) {
    const double longest_window = 10000.0, longest_gap = 1900.0; /* products of 15 minutes [s] */
    EPHREC_PRE* orbits = g_prec_storage->eph_pre_all[index];
    CLKREC_PRE* clocks = g_prec_storage->clk_pre_all[index];
    const int num_orbits = g_prec_storage->idx_eph[index], num_clocks = g_prec_storage->idx_clk[index];
    for (int end = 0; end < 2; ++end) {
        const GTime time = end == 0 ? tag : gtimeAddSec(tag, -0.15);
        const int i = find_closest_eph_prec(orbits, num_orbits, time);
        int k = find_closest_clk_prec(clocks, num_clocks, time);
        if (i < 5 || i + 5 >= num_orbits || k < 0) return 0; /* the polynomial takes eleven records */
        if (gtimeSubSec(orbits[i + 5].time, orbits[i - 5].time) > longest_window) return 0;
        if (gtime_less(time, clocks[k].time)) --k;
        if (k < 0 || k + 1 >= num_clocks || gtimeSubSec(clocks[k + 1].time, clocks[k].time) > longest_gap) return 0;
    }
    return 1;
}

/* Flags the satellites that must not be used and counts the others: the library ends the process on an epoch without one. */
static int usable(OBSDATA_EPOCH* epoch) {
    int count = 0;
    choose_observation(epoch);
    for (int i = 0; i < epoch->sat_num && i < MAXSAT_EPOCH; ++i) {
        OBSDATA_SAT* sat = &epoch->satobs[i];
        const int index = satsysprn2index(sat->satsys, sat->prn),
                  system = get_gnssconfig_sys_index(sat->satsys, &gnssconfig);
        const int known = index >= 0 && index < MAXSAT_GNSS;
        if (index >= MAXSAT_GNSS) sat->flag_sat = SAT_UKN; /* a number that no system has ends the process too */
        if (known && !served(index, epoch->epoch_time)) sat->flag_sat = SATPOS_ERROR;
        if (known && system >= 0 && sat->flag_sat == OBS_OK &&
            sat->num_obs_used == gnssconfig.num_obs_freq_code[system])
            ++count;
    }
    return count;
}

/* --- the arc --- */

/* GPS and BDS, as far as the first window holds them: the first system's clock sets the receive time. */
static void use_systems_of_data(void) {
    const sysGNSS known[2] = {GPS, BDS};
    sysGNSS systems[2];
    int count = 0;
    for (int s = 0; s < 2; ++s) {
        int found = 0;
        for (int i = 0; i < g_num_obs_storage; ++i) {
            for (int k = 0; k < MAXSAT_EPOCH; ++k) found = found || g_obs_storage[i].satobs[k].satsys == known[s];
        }
        if (found) systems[count++] = known[s];
    }
    set_gnssconfig_system(&gnssconfig, count, systems);
}

/* Epochs solved; -1 where a window could not be loaded. */
static int process(Stream* stream, RUNTIME_POD_EMBED* pod) {
    int solved = 0, loaded, started = 0;
    while ((loaded = next_window(stream)) > 0) {
        if (!started) {
            use_systems_of_data();
            startup_pod_embed(pod, true); /* once: the filter goes on from window to window */
        }
        started = 1;
        for (int i = 0; i < loaded; ++i) {
            if (g_obs_storage[i].epoch_time.sys == UKNTS || usable(&g_obs_storage[i]) == 0) continue;
            run_single_pod_embed(&g_obs_storage[i], pod);
            if (pod->sln_kine.status != SOL_OK) continue;
            char time[100];
            gtime2str(pod->time_now, time);
            printf("%s %14.4f %14.4f %14.4f %2d\n", time, pod->X[0], pod->X[1], pod->X[2], pod->nsat_used_last);
            ++solved;
        }
    }
    return loaded < 0 ? -1 : solved;
}

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: %s OBSERVATION ORBITS\n", argv[0]);
        return 2;
    }
    ulog_subscribe(on_message, ULOG_CRITICAL_LEVEL); /* lower it to see more */
    RUNTIME_POD_EMBED* pod = calloc(1, sizeof *pod);
    g_obs_storage = calloc(WINDOW + 2, sizeof *g_obs_storage); /* all the room that observations ever take */
    Stream stream;
    if (!open_stream(&stream, argv[1]) || access(argv[2], R_OK) != 0 || pod == NULL || g_obs_storage == NULL) {
        fprintf(stderr, "cannot read %s (RINEX 3) or %s, or no memory\n", argv[1], argv[2]);
        close_stream(&stream);
        free(g_obs_storage);
        free(pod);
        return 2;
    }
    g_brdc_storage = &pod->brdc_storage;
    g_prec_storage = &pod->prec_storage;
    initialize_global_earth_gravity();
    initialize_global_earth_rotation_param();
    initialize_global_eph_planet();
    int solved = -1;
    if (load_ephemris_prec(argv[2])) {
        printf("# GPST of reception, earth-fixed x, y, z [m], satellites\n");
        solved = process(&stream, pod);
    }
    close_stream(&stream);
    free(g_obs_storage);
    free(pod);
    return solved > 0 ? 0 : 1;
}
