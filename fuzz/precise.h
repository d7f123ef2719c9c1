/// \file precise.h
/// Any bytes as a file of precise orbits or clocks, by its reader; then orbits and clocks inside and outside its span.
#ifndef LEOPOD_FUZZ_PRECISE_H
#define LEOPOD_FUZZ_PRECISE_H

#include "gnss_satposition.h"
#include "support.h"

namespace fuzz {

template <typename Reader>
int read_precise(const std::uint8_t* data, std::size_t size, Reader reader) {
    static InputFile file;
    static EPHPREC_STORE* store = static_cast<EPHPREC_STORE*>(std::calloc(1, sizeof(EPHPREC_STORE)));
    g_prec_storage = store;
    char* name = file.hold(data, size);
    survives([&] { reader(name, store); });
    for (int satellite = 0; satellite < 98; ++satellite) {
        double posvel[6] = {}, clk[2] = {};
        for (const double mjd : {59232.01, 59232.06, 59231.9}) {
            const GTime time = mjd2GTime(tsGPST, mjd);
            survives([&] { compute_satposvel_prec(time, satellite, posvel); });
            survives([&] { compute_satclk_prec(time, satellite, clk); });
        }
        store->idx_eph[satellite] = store->idx_clk[satellite] = 0;
    }
    return 0;
}

}  // namespace fuzz

#endif
