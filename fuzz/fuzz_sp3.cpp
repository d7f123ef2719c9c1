/// \file fuzz_sp3.cpp
/// Any bytes as an SP3 file; then orbits and clocks inside and outside its span.
#include "gnss_satposition.h"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::InputFile file;
    static EPHPREC_STORE* store = static_cast<EPHPREC_STORE*>(std::calloc(1, sizeof(EPHPREC_STORE)));
    g_prec_storage = store;
    char* name = file.hold(data, size);
    fuzz::survives([&] { load_ephemris_prec(name); });
    for (int satellite = 0; satellite < 98; ++satellite) {
        double posvel[6] = {}, clk[2] = {};
        for (const double mjd : {59232.01, 59232.06, 59231.9}) {
            const GTime time = mjd2GTime(tsGPST, mjd);
            fuzz::survives([&] { compute_satposvel_prec(time, satellite, posvel); });
            fuzz::survives([&] { compute_satclk_prec(time, satellite, clk); });
        }
        store->idx_eph[satellite] = store->idx_clk[satellite] = 0;
    }
    return 0;
}
