/// \file fuzz_config.cpp
/// Configuration files: GNSS (first byte even) and dynamics (odd), with the parameters that they ask for.
#include <memory>

#include "gnss_observation.h"
#include "orbit_dynamics.h"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static fuzz::InputFile file;
    static const auto config = std::make_unique<ORBIT_DYN_CONFIG>();
    static const auto state = std::make_unique<STATE_SPACECRAFT>();
    if (size < 1) return 0;
    char* name = file.hold(data + 1, size - 1);
    if (data[0] % 2 == 0) {
        set_gnssconfig_from_file(name);
        OBSDATA_EPOCH epoch = {};
        epoch.sat_num = 1;
        epoch.satobs[0].satsys = GPS;
        epoch.satobs[0].prn = 7;
        choose_observation(&epoch);
    } else {
        *config = ORBIT_DYN_CONFIG{};
        readfile_orbitdynamics_config(name, config.get());
        // A span of one piece: more would end the process as documented.
        produce_force_model_params(59232.0, 59232.0, config.get(), state.get());
    }
    return 0;
}
