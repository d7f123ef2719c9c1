#include "stores/environment.h"

#include "shared/error.h"
#include "stores/observation_stream.h"

namespace host {

void* zeroed(std::size_t count, std::size_t size) {
    void* memory = std::calloc(count, size);
    if (memory == nullptr) throw InputError("out of memory");
    return memory;
}

Environment::Environment() = default;

Environment::~Environment() {
    stream.reset();
    free_att_quaternion_store();
    g_antenna_info_store = nullptr;
    std::free(antennas.antenna_info_storage);
    g_obs_storage = nullptr;
    g_num_obs_storage = 0;
    g_eop_storage = nullptr;
    g_eop_storage_size = 0;
    g_brdc_storage = nullptr;
    g_prec_storage = nullptr;
    g_eph_header = nullptr;
    g_ephData_storage = nullptr;
    g_num_eph_record = 0;
}

}  // namespace host
