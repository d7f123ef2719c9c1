/// \file fuzz_dynamics_config.cpp
/// Any bytes as a configuration of the force models, and the parameters that it asks for.
#include <memory>

#include "orbit_dynamics.h"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::InputFile file;
    static const auto config = std::make_unique<ORBIT_DYN_CONFIG>();
    static const auto state = std::make_unique<STATE_SPACECRAFT>();
    char* name = file.hold(data, size);
    *config = ORBIT_DYN_CONFIG{};
    fuzz::survives([&] {
        readfile_orbitdynamics_config(name, config.get());
        produce_force_model_params(59232.0, 59232.5, config.get(), state.get());
    });
    return 0;
}
