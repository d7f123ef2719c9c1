/* The smallest host of the embedded deployment: one record in static memory, one call per epoch.
 *
 *   embedded_host NAVIGATION ATTITUDE OBSERVATION
 *
 * Flight software fills brdc_storage and the epochs from its receiver; here files stand in for both. BDS alone is processed. */
#include <stdio.h>
#include <stdlib.h>

#include "attitude.h"
#include "gnss_observation.h"
#include "pod_embed.h"
#include "ulog.h"

static RUNTIME_POD_EMBED pod; /* about 172 MB: never on the stack */

static void on_error(ulog_level_t level, char* text) { fprintf(stderr, "%s: %s\n", ulog_level_name(level), text); }

/* Room for all epochs of a file: the reader knows no bound, and an epoch takes at least 30 characters. */
static OBSDATA_EPOCH* room_for(const char* name) {
    FILE* file = fopen(name, "rb");
    long size = -1;
    if (file != NULL && fseek(file, 0, SEEK_END) == 0) size = ftell(file);
    if (file != NULL) fclose(file);
    return size < 0 ? NULL : calloc((size_t)size / 30 + 2, sizeof(OBSDATA_EPOCH));
}

/* Flags the satellites that no healthy record of the last or next hour serves and counts the others. The library ends the process on an epoch
 * without a usable satellite; a host in flight looks first. */
static int served(OBSDATA_EPOCH* epoch) {
    int count = 0;
    choose_observation(epoch);
    for (int i = 0; i < epoch->sat_num && i < MAXSAT_EPOCH; ++i) {
        OBSDATA_SAT* sat = &epoch->satobs[i];
        const TimeGNSS now = GTime2SOW(gtimeChangeTimeSystem(epoch->epoch_time, tsBDST));
        int found = 0;
        for (int k = 0; sat->satsys == BDS && sat->prn >= 1 && sat->prn <= 63 && k < MAXEPH_BRDC; ++k) {
            const EPHREC_BDS* record = &pod.brdc_storage.eph_brdc_bds_all[sat->prn - 1][k];
            const double age = now.sow - record->TOE + 604800.0 * (now.week - record->Week);
            if (record->ok && record->sv_health == 0 && age > -3601.0 && age < 3601.0) found = 1;
        }
        if (!found) sat->flag_sat = SATPOS_ERROR;
        if (found && sat->num_obs_used == gnssconfig.num_obs_freq_code[0]) ++count;
    }
    return count;
}

int main(int argc, char** argv) {
    if (argc != 4) {
        fprintf(stderr, "usage: %s NAVIGATION ATTITUDE OBSERVATION\n", argv[0]);
        return 2;
    }
    ulog_subscribe(on_error, ULOG_ERROR_LEVEL); /* a satellite that is new to the filter reports one line */

    startup_pod_embed(&pod, false); /* from here on brdc_storage is the broadcast store in use */
    if (!load_ephemeris_brdc(argv[1]) || !load_attitude_quaternion(pod.index_object, argv[2])) {
        fprintf(stderr, "cannot read %s or %s\n", argv[1], argv[2]);
        return 1;
    }
    OBSDATA_EPOCH* received = room_for(argv[3]);
    g_obs_storage = received;
    if (received == NULL || !load_observation_rinex(argv[3], pod.index_object, 30.0)) {
        fprintf(stderr, "cannot read %s\n", argv[3]);
        return 1;
    }

    printf("# second of day, x, y, z [m], receiver clock [m], satellites\n");
    int solved = 0;
    for (int i = 0; i < g_num_obs_storage; ++i) {
        if (served(&received[i]) < 4) continue;
        run_single_pod_embed(&received[i], &pod);
        if (pod.sln_kine.status != SOL_OK) continue;
        printf("%9.1f %14.4f %14.4f %14.4f %12.4f %2d\n", received[i].epoch_time.time.sod, pod.X[0], pod.X[1], pod.X[2],
               pod.X[6], pod.nsat_used);
        ++solved;
    }
    free_att_quaternion_store();
    free(received);
    return solved > 0 ? 0 : 1;
}
