/// \file fuzz_gravity.cpp
/// Gravity coefficient files, and the field that they give.
#include "earth_gravity.h"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static fuzz::InputFile file;
    char* name = file.hold(data, size);
    fuzz::survives([&] { load_earth_coef_EGM(name); });
    double position[3] = {6.8e6, 1e6, 1e5};
    double sun[3] = {1.4e11, 2e10, 1e10};
    double moon[3] = {3.6e8, 1e8, 2e7};
    double acceleration[3];
    double gradient[9];
    compute_acc_dadr_earth_gravity(120, 120, 59232.5, 37.0, position, sun, moon, acceleration, gradient);
    return 0;
}
