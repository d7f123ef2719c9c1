// Attitude quaternion files: the first byte picks the reader (bit 0) and a nearly full array (bit 1), the rest is the file.
#include <vector>

#include "attitude.h"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static std::vector<ATT_QUATERNION> records(MAXSIZE_ATT_QUA);
    static fuzz::InputFile file;
    if (size == 0) return 0;
    char* name = file.hold(data + 1, size - 1);
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
