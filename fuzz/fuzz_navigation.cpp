/// \file fuzz_navigation.cpp
/// Any bytes as a RINEX navigation file; then the satellites at times around it.
/// The reader's row counters live as long as the process, so its source is taken in here and they start anew with each input.
#include "../src/gnss_satposition.cpp"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzz::InputFile file;
    static EPHBRDC_STORE* store = static_cast<EPHBRDC_STORE*>(std::calloc(1, sizeof(EPHBRDC_STORE)));
    g_brdc_storage = store;
    g_eph_selection = EPHOPT_BRDC;
    char* name = file.hold(data, size);
    fuzz::survives([&] { load_ephemeris_brdc(name); });
    for (int satellite = 0; satellite < 97; ++satellite) {
        double posvel[6] = {}, clk[2] = {}, tgd[4] = {};
        const GTime time = mjd2GTime(tsGPST, 59232.0 + 0.05 * (satellite % 3));
        fuzz::survives([&] { compute_satposvel(time, satellite, posvel, clk, tgd); });
    }
    // Only rows that were written need to be emptied.
    for (int i = 0; i < 33; ++i) {
        if (g_next_record.gps_v2[i] + g_next_record.gps_v3[i] > 0)
            std::memset(store->eph_brdc_gps_all[i], 0, sizeof store->eph_brdc_gps_all[i]);
    }
    for (int i = 0; i < 63; ++i) {
        if (g_next_record.bds_v3[i] > 0) std::memset(store->eph_brdc_bds_all[i], 0, sizeof store->eph_brdc_bds_all[i]);
    }
    g_next_record = NextRecord{};
    return 0;
}
