/// \file fuzz_satposition.cpp
/// Bytes in, one reader: the first byte picks navigation (0), SP3 (1), clock (2) or ANTEX (3). What was read is then used.
#include <cstdlib>
#include <string>

#include "gnss_satposition.h"
#include "support.h"

namespace {

/// True for a clock file or antenna dates that end the process as documented.
bool ends_the_process(int reader, const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    if (reader == 3) return text.find("VALID") != std::string::npos && text.find("1858") != std::string::npos;
    if (reader != 2) return false;
    for (size_t at = text.find("AS"); at != std::string::npos; at = text.find("AS", at + 1)) {
        int nn = 0;
        char sat[16], rest[8];
        const std::string line = text.substr(at, text.find('\n', at) - at);
        if (std::sscanf(line.c_str(), "AS %15s %*s %*s %*s %*s %*s %*s %d%1s", sat, &nn, rest) < 2 ||
            (nn != 1 && nn != 2)) {
            return true;
        }
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static fuzz::InputFile file;
    static EPHBRDC_STORE* brdc = static_cast<EPHBRDC_STORE*>(std::calloc(1, sizeof(EPHBRDC_STORE)));
    static EPHPREC_STORE* prec = static_cast<EPHPREC_STORE*>(std::calloc(1, sizeof(EPHPREC_STORE)));
    g_brdc_storage = brdc;
    g_prec_storage = prec;
    if (size < 1) return 0;
    const int reader = data[0] % 4;
    if (ends_the_process(reader, data + 1, size - 1)) return 0;
    char* name = file.hold(data + 1, size - 1);

    const GTime time = mjd2GTime(tsGPST, 59025.5);
    double posvel[6] = {}, clk[2] = {};
    if (reader == 0) {
        load_ephemeris_brdc(name);
        g_eph_selection = EPHOPT_BRDC;
        for (int i = 0; i < 97; ++i) compute_satposvel(time, i, posvel, clk, nullptr);
        // The row counters live as long as the process: late inputs find full rows. Fork mode (-fork=1) starts afresh.
    } else if (reader == 3) {
        ANT_INFO_STORE antennas = {};
        load_antenna_storage(name, &antennas);
        g_antenna_info_store = &antennas;
        search_ant_info(3, nullptr, 59025.0);
        g_antenna_info_store = nullptr;
        std::free(antennas.antenna_info_storage);
    } else {
        if (reader == 1) {
            load_ephemris_prec(name);
        } else {
            load_clock_prec(name, prec);
        }
        for (int i = 0; i < 98; ++i) {
            compute_satposvel_prec(time, i, posvel);
            compute_satclk_prec(time, i, clk);
            prec->idx_eph[i] = prec->idx_clk[i] = 0;
        }
    }
    return 0;
}
