/// \file fuzz_tle.cpp
/// Element sets, and their states. A file is read as it stands, then with the checksums put right, since few changed lines have
/// one; the decoders also take the bytes as one line.
#include <algorithm>
#include <string>

#include "support.h"
#include "tle.h"

namespace {

/// The same bytes, each long line that begins with 1 or 2 closed by its checksum.
std::string with_checksums(std::string text) {
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        if (end - start >= 69 && (text[start] == '1' || text[start] == '2')) {
            for (char& digit = text[start + 68] = '0'; digit < '9'; ++digit) {
                if (checksum(text.substr(start, 69).c_str()) != 0) break;
            }
        }
        start = end + 1;
    }
    return text;
}

void use(const tled_t& set, int hours) {
    double rs[6], pos[3], vel[3];
    for (const double minutes : {0.0, -1440.0, 1e4 * hours}) SGP4_STR3(minutes, &set, rs);
    tle2xyz(&set, gtimeAddSec(set.epoch_mjd_utc, 3600.0 * hours), rs);
    teme2ecef(gtime2mjd(set.epoch_mjd_utc), 37.0, -0.2, 0.1 * hours, 0.3, 1e-3, 0.0, rs, rs + 3, pos, vel);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    if (std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();  // tle2xyz prints
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static fuzz::InputFile file;
    const std::string text(reinterpret_cast<const char*>(data), size);
    const int first = size > 0 ? data[0] : 0;
    const int second = size > 1 ? data[1] : 0;
    tle_t sets{};
    tle_read(file.hold(text), &sets);
    tle_read(file.hold(with_checksums(text)), &sets);
    for (int i = 0; i < sets.n && i < 8; ++i) use(sets.data[i], first);
    std::free(sets.data);

    tled_t set{};
    decode_line1(text.c_str(), &set);
    decode_line2(text.c_str(), &set);
    use(set, first);
    str2num(text.c_str(), first - 1, second - 1);
    checksum(text.c_str());
    std::string cut = text;
    chop(cut.data());
    return 0;
}
