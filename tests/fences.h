/// \file fences.h
/// Allocations of the process, those of the library by operator new among them, begin as no numbers and stand between fences of the same: what
/// is read beside them or before it is written shows in results, what is written beside them ends the process. Sanitizers see for themselves.
#ifndef LEOPOD_TESTS_FENCES_H
#define LEOPOD_TESTS_FENCES_H

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#ifndef __SANITIZE_ADDRESS__
namespace fences {

constexpr std::size_t kWidth = 16;

/// The size, half a fence, the memory, a fence.
[[gnu::noinline]] inline void* take(std::size_t size) {
    auto* const block = static_cast<unsigned char*>(std::malloc(size + 2 * kWidth));
    if (block == nullptr) return nullptr;
    std::memset(block, 0xff, size + 2 * kWidth);
    std::memcpy(block, &size, sizeof size);
    return block + kWidth;
}

[[gnu::noinline]] inline void give_back(void* memory) {
    if (memory == nullptr) return;
    auto* const block = static_cast<unsigned char*>(memory) - kWidth;
    std::size_t size;
    std::memcpy(&size, block, sizeof size);
    unsigned char whole[kWidth];
    std::memset(whole, 0xff, kWidth);
    if (std::memcmp(block + sizeof size, whole, kWidth - sizeof size) != 0 ||
        std::memcmp(block + kWidth + size, whole, kWidth) != 0) {
        std::fprintf(stderr, "written beside an allocation of %zu bytes\n", size);
        std::abort();
    }
    std::free(block);
}

}  // namespace fences

// The other forms come here.
void* operator new(std::size_t size) {
    void* const memory = fences::take(size);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { fences::give_back(memory); }
void operator delete(void* memory, std::size_t) noexcept { fences::give_back(memory); }
#endif

#endif
