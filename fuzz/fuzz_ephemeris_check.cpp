/// \file fuzz_ephemeris_check.cpp
/// Any bytes as a file of check values for the built-in ephemeris record.
#include <vector>

#include "eph_planet.h"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::InputFile file;
    static EPH_HEADER_JPL header;
    static std::vector<EPH_RECORD_JPL> records(1);
    initialize_global_eph_planet();
    g_eph_header = &header;
    g_ephData_storage = records.data();
    load_eph_storage_default(&header, records.data());
    fuzz::survives([&] { EphTest(file.hold(data, size)); });
    return 0;
}
