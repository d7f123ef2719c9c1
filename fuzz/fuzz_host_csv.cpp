/// \file fuzz_host_csv.cpp
/// Any bytes as positions of the program, CSV, SP3 or CCSDS message: as reference, as a state, and as either solution of its own output.
#include "inputs/truth.h"
#include "shared/error.h"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::InputFile file;
    const std::string name = file.hold(data, size);
    for (const char* solution : {"filter", "point"}) {
        try {
            host::PositionRequest request;
            request.columns = host::solution_columns(solution);
            request.day_mjd = 59232;
            host::read_positions(name, request);
        } catch (const host::InputError&) {
        }
    }
    try {
        host::read_state(name, host::PositionRequest(), std::nullopt);
    } catch (const host::InputError&) {
    }
    try {
        const GTime first = mjd2GTime(tsGPST, 59232.0);
        const host::Truth truth = host::Truth::load(name, first);
        host::Vector3 position, velocity;
        for (const double seconds : {0.0, 61.5, 1000.25})
            truth.state_at(gtimeAddSec(first, seconds), position, velocity);
    } catch (const host::InputError&) {
    }
    return 0;
}
