/// \file allocations.h
/// Every allocation of the process is put to the test that includes this, once: under a sanitizer, which keeps malloc for itself, those by
/// operator new alone.
#ifndef LEOPOD_TESTS_ALLOCATIONS_H
#define LEOPOD_TESTS_ALLOCATIONS_H

#include <cstdlib>
#include <new>

/// The test's own: false makes the allocation fail.
static bool allow_allocation();

#if defined(__SANITIZE_ADDRESS__) || defined(__clang__) || !defined(__GLIBC__)
constexpr bool kSeesMalloc = false;
static void* take_memory(std::size_t size) { return std::malloc(size); }
#else
#include <dlfcn.h>
constexpr bool kSeesMalloc = true;
/// The C library's function of a name.
template <typename Function>
static Function* original(const char* name) {
    static Function* const found = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
    return found;
}
static void* take_memory(std::size_t size) { return original<void*(std::size_t)>("malloc")(size); }
extern "C" void* malloc(std::size_t size) { return allow_allocation() ? take_memory(size) : nullptr; }
extern "C" void* calloc(std::size_t n, std::size_t size) {
    return allow_allocation() ? original<void*(std::size_t, std::size_t)>("calloc")(n, size) : nullptr;
}
extern "C" void* realloc(void* memory, std::size_t size) {
    return allow_allocation() ? original<void*(void*, std::size_t)>("realloc")(memory, size) : nullptr;
}
#endif

[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allow_allocation() ? take_memory(size != 0 ? size : 1) : nullptr;
}
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    return memory != nullptr ? memory : throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t& no) noexcept {
    return operator new(size, no);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

#endif
