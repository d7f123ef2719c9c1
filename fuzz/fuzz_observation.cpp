/// \file fuzz_observation.cpp
/// Any bytes as a RINEX observation file: read, matched, written.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <vector>

#include "gnss_observation.h"

namespace {
constexpr std::size_t kMaxInput = 32768;  // an epoch line has more than 26 characters
constexpr std::size_t kCapacity =
    kMaxInput / 26 + 3;  // so many epochs at most, an untouched one, and one past the last
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static std::vector<OBSDATA_EPOCH> store(kCapacity);
    if (size > kMaxInput) return 0;
    const int fd = memfd_create("observation", 0);
    if (fd < 0 || write(fd, data, size) != static_cast<ssize_t>(size)) return 0;
    char name[64];
    std::snprintf(name, sizeof name, "/proc/self/fd/%d", fd);

    store[0] = OBSDATA_EPOCH{};
    g_obs_storage = store.data();
    g_num_obs_storage = 0;
    const double sample_rate = size % 2 == 0 ? 0.0 : 30.0;
    if (load_observation_rinex(name, 1, sample_rate)) {
        OBSDATA_EPOCH& last = store[static_cast<std::size_t>(g_num_obs_storage) - 1];
        choose_observation(&last);
        char null_device[] = "/dev/null";
        write_rinex_observation(null_device, 1, 3.05, g_num_obs_storage, store.data());
    }
    close(fd);
    return 0;
}
