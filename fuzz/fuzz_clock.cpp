/// \file fuzz_clock.cpp
/// Any bytes as a RINEX clock file.
#include "precise.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return fuzz::read_precise(data, size, [](char* name, EPHPREC_STORE* store) { load_clock_prec(name, store); });
}
