/// \file quaternion.h
/// Any bytes as a file of attitude quaternions of one of the two forms, behind an empty and behind a nearly full array; then a look-up.
#ifndef LEOPOD_FUZZ_QUATERNION_H
#define LEOPOD_FUZZ_QUATERNION_H

#include <vector>

#include "attitude.h"
#include "support.h"

namespace fuzz {

template <typename Read>
void quaternion(const std::uint8_t* data, std::size_t size, Read read) {
    static std::vector<ATT_QUATERNION> records(MAXSIZE_ATT_QUA);
    static InputFile file;
    char* name = file.hold(data, size);
    for (const int start : {0, MAXSIZE_ATT_QUA - 2}) {
        int count = 0;
        survives([&] { count = read(name, records.data(), start); });
        if (count < 2) continue;
        g_att_qua_storage = {false, {records.data() + start}, 1, {7}, {count}};
        ATT_QUATERNION attitude;
        const GTime time = gtimeAddSec(records[static_cast<std::size_t>(start + count / 2)].time, 0.5);
        survives([&] { get_att_quaternion(7, time, &attitude); });
        g_att_qua_storage = {};
    }
}

}  // namespace fuzz

#endif
