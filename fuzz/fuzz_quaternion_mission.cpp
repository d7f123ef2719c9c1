/// \file fuzz_quaternion_mission.cpp
#include "quaternion.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::quaternion(data, size, read_att_quaternion_gfo);
    return 0;
}
