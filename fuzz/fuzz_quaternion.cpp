/// \file fuzz_quaternion.cpp
#include "quaternion.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    fuzz::quaternion(data, size, read_att_quaternion_velmar);
    return 0;
}
