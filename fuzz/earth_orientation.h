/// \file earth_orientation.h
/// Any bytes as an earth orientation file of one of the three formats; the rotation of dates inside and outside follows.
#ifndef LEOPOD_FUZZ_EARTH_ORIENTATION_H
#define LEOPOD_FUZZ_EARTH_ORIENTATION_H

#include <algorithm>
#include <vector>

#include "earth_rotation_param.h"
#include "support.h"

namespace fuzz {

template <typename Load>
void earth_orientation(const std::uint8_t* data, std::size_t size, Load load) {
    static InputFile file;
    static std::vector<EOPREC> store(MAXSIZE_EOP + 1);
    char* name = file.hold(data, size);
    std::fill_n(store.begin(), 1000, EOPREC{});
    initialize_global_earth_rotation_param();
    g_eop_storage = store.data();
    survives([&] { load(name); });
    // The reader of the keyword-framed format leaves the count to its caller.
    while (g_eop_storage_size < 1000 && store[static_cast<std::size_t>(g_eop_storage_size)].ok) ++g_eop_storage_size;
    double M[9], V[9];
    if (g_eop_storage_size > 0) survives([&] { compute_eci2ecf_matrix(store[0].mjd_utc + 0.25, 37.0, M, V); });
    survives([&] { compute_eci2ecf_matrix(59232.5, 37.0, M, V); });
}

}  // namespace fuzz

#endif
