/// \file fuzz_gnss_config.cpp
/// Any bytes as a GNSS configuration; then the choice of observables that it makes.
#include "gnss_observation.h"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::InputFile file;
    char* name = file.hold(data, size);
    fuzz::survives([&] {
        set_gnssconfig_from_file(name);
        OBSDATA_EPOCH epoch = {};
        epoch.sat_num = 2;
        epoch.satobs[0].satsys = GPS;
        epoch.satobs[0].prn = 7;
        epoch.satobs[1].satsys = BDS;
        epoch.satobs[1].prn = 9;
        choose_observation(&epoch);
    });
    return 0;
}
