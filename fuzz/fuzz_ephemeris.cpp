/// \file fuzz_ephemeris.cpp
/// Any bytes as a JPL ephemeris in ASCII; all pairs of bodies are asked for afterwards.
#include <vector>

#include "eph_planet.h"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::InputFile file;
    static EPH_HEADER_JPL header;
    static std::vector<EPH_RECORD_JPL> records(MAXNUM_RECORD_JPLEPH + 1);
    char* name = file.hold(data, size);
    initialize_global_eph_planet();
    header = EPH_HEADER_JPL{};
    g_eph_header = &header;
    g_ephData_storage = records.data();
    fuzz::survives([&] { load_eph_storage_file(name, &header, records.data()); });
    double pv[6];
    for (int centre = EARTH; centre <= TOTAL_PLANET; ++centre) {
        for (int target = EARTH; target <= TOTAL_PLANET; ++target) {
            compute_planet_pos_vel(header.ss[0] + 0.5 * header.ss[2], static_cast<PLANET_JPL>(centre),
                                   static_cast<PLANET_JPL>(target), pv);
        }
    }
    return 0;
}
