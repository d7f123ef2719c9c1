/// \file fuzz_observation.cpp
/// Any bytes as a RINEX observation file: read, matched, written.
#include <vector>

#include "gnss_observation.h"
#include "support.h"

namespace {
constexpr std::size_t kMaxInput = 32768;  // an epoch line has more than 26 characters
constexpr std::size_t kCapacity =
    kMaxInput / 26 + 3;  // so many epochs at most, an untouched one, and one past the last
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static std::vector<OBSDATA_EPOCH> store(kCapacity);
    static fuzz::InputFile file;
    if (size > kMaxInput) return 0;
    char* name = file.hold(data, size);
    store[0] = OBSDATA_EPOCH{};
    g_obs_storage = store.data();
    g_num_obs_storage = 0;
    const double sample_rate = size % 2 == 0 ? 0.0 : 30.0;
    bool loaded = false;
    fuzz::survives([&] { loaded = load_observation_rinex(name, 1, sample_rate); });
    if (loaded) {
        OBSDATA_EPOCH& last = store[static_cast<std::size_t>(g_num_obs_storage) - 1];
        choose_observation(&last);
        char null_device[] = "/dev/null";
        write_rinex_observation(null_device, 1, 3.05, g_num_obs_storage, store.data());
    }
    return 0;
}
