/// \file fuzz_sp3.cpp
/// Any bytes as an SP3 file.
#include "precise.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzz::read_precise(data, size, [](char* name, EPHPREC_STORE*) { load_ephemris_prec(name); });
}
