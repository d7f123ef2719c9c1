/// \file fuzz_eop_c04.cpp
#include "earth_orientation.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::earth_orientation(data, size, load_eop_storage);
    return 0;
}
