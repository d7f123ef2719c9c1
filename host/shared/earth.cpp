#include "shared/earth.h"

#include "common_function.h"

namespace host {

std::array<double, 3> geodetic(const double* position) {
    double xyz[3] = {position[0], position[1], position[2]};
    std::array<double, 3> blh{};
    ecef2blh(xyz, blh.data(), kSemiMajor, kFlattening);
    return blh;
}

}  // namespace host
