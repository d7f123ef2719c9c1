// Attitude quaternion files: the first byte picks the reader (bit 0) and a nearly full array (bit 1), the rest is the file.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <vector>

#include "attitude.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static std::vector<ATT_QUATERNION> records(MAXSIZE_ATT_QUA);
    static const int file = memfd_create("fuzz_attitude", 0);
    if (size == 0 || file < 0) return 0;
    if (ftruncate(file, 0) != 0) return 0;
    if (pwrite(file, data + 1, size - 1, 0) != static_cast<ssize_t>(size - 1)) return 0;
    char name[64];
    std::snprintf(name, sizeof name, "/proc/self/fd/%d", file);

    const int start = (data[0] & 2) != 0 ? MAXSIZE_ATT_QUA - 2 : 0;
    const int count = (data[0] & 1) != 0 ? read_att_quaternion_gfo(name, records.data(), start)
                                         : read_att_quaternion_velmar(name, records.data(), start);
    if (count > 1) {
        g_att_qua_storage = {false, {records.data() + start}, 1, {7}, {count}};
        ATT_QUATERNION attitude;
        get_att_quaternion(7, gtimeAddSec(records[static_cast<size_t>(start + count / 2)].time, 0.5), &attitude);
        g_att_qua_storage = {};
    }
    return 0;
}
