/// \file fuzz_earth_orientation.cpp
/// Earth orientation files: the first byte picks C04 (0), rapid (1) or keyword-framed (2). The rotation of a day of the store follows.
#include <vector>

#include "earth_rotation_param.h"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static fuzz::InputFile file;
    static std::vector<EOPREC> store(MAXSIZE_EOP + 1);
    if (size < 1) return 0;
    char* name = file.hold(data + 1, size - 1);
    for (std::size_t i = 0; i < 1000; ++i) store[i] = EOPREC{};
    initialize_global_earth_rotation_param();
    g_eop_storage = store.data();
    switch (data[0] % 3) {
        case 0:
            load_eop_storage(name);
            break;
        case 1:
            load_eop_storage_rapid(name);
            break;
        default:
            load_eop_storage_celestrack(name);
            while (g_eop_storage_size < 1000 && store[static_cast<std::size_t>(g_eop_storage_size)].ok)
                ++g_eop_storage_size;
    }
    double M[9];
    double V[9];
    if (g_eop_storage_size > 0) compute_eci2ecf_matrix(store[0].mjd_utc + 0.25, 37.0, M, V);
    compute_eci2ecf_matrix(59232.5, 37.0, M, V);
    return 0;
}
