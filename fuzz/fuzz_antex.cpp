/// \file fuzz_antex.cpp
/// Any bytes as an ANTEX file; then searches in the store.
#include "gnss_satposition.h"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::InputFile file;
    char* name = file.hold(data, size);
    ANT_INFO_STORE antennas = {};
    fuzz::survives([&] { load_antenna_storage(name, &antennas); });
    g_antenna_info_store = &antennas;
    char receiver[] = "GRACE_C";
    fuzz::survives([&] { search_ant_info(4, nullptr, 59232.0); });
    fuzz::survives([&] { search_ant_info(-1, receiver, 59232.0); });
    g_antenna_info_store = nullptr;
    std::free(antennas.antenna_info_storage);
    return 0;
}
