/// \file fuzz_tle_names.cpp
/// Name lists of element sets.
#include <cstring>

#include "support.h"
#include "tle.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static fuzz::InputFile file;
    tle_t sets{};
    tled_t set{};
    for (const char* number : {"90001", "   95", ""}) {
        std::strcpy(set.satno, number);
        std::strcpy(set.desig, number[0] == '9' ? "21900A" : "");
        add_data(&sets, &set);
    }
    tle_name_read(file.hold(data, size), &sets);
    for (int i = 0; i < sets.n; ++i) {
        if (std::memchr(sets.data[i].name, 0, sizeof sets.data[i].name) == nullptr) std::abort();
    }
    std::free(sets.data);
    return 0;
}
