/// \file memory.h
/// Memory that a function takes for its own work. Where there is none, the function says so once, leaves everything as it was and fails.
#ifndef LEOPOD_PRIVATE_MEMORY_H
#define LEOPOD_PRIVATE_MEMORY_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

namespace leopod {

/// Elements of a rows x cols block; negative counts are empty.
constexpr std::size_t area(int rows, int cols) {
    return rows > 0 && cols > 0 ? static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols) : 0;
}

/// The account of the arrays of one call, which it outlives: small ones stand in it.
class Memory {
  public:
    explicit Memory(const char* function) : function_(function) {}
    Memory(const Memory&) = delete;
    Memory& operator=(const Memory&) = delete;

    /// Array, zeroed or not; null where there is no memory, and for no elements.
    template <typename T>
    std::unique_ptr<T[]> take(std::size_t count, bool zeroed = true) {
        if (count == 0) return nullptr;
        constexpr std::size_t kMost = 80'000'000'000 / sizeof(T);
        std::unique_ptr<T[]> array;
        if (count <= kMost) array.reset(zeroed ? new (std::nothrow) T[count]() : new (std::nothrow) T[count]);
        bytes_ += static_cast<double>(count) * sizeof(T);
        missing_ = missing_ || array == nullptr;
        return array;
    }

    /// Room for a small array within the account itself, which outlives it; null where it doesn't fit. Not zeroed.
    template <typename T>
    T* near(std::size_t count) {
        static_assert(std::is_trivial_v<T> && alignof(T) <= kStep);
        if (count > kRoom / sizeof(T)) return nullptr;
        const std::size_t size = (count * sizeof(T) + kStep - 1) / kStep * kStep;
        if (size > left_) return nullptr;
        left_ -= size;
        return reinterpret_cast<T*>(room_ + left_);
    }

    /// True where every array that was asked for is there: for callers with a message of their own.
    bool complete() const { return !missing_; }

    /// True, and reported as an error, where an array that was asked for is not there.
    bool missing() const {
        if (missing_) complain();
        return missing_;
    }

  private:
    void complain() const;

    static constexpr std::size_t kRoom = 4096, kStep = alignof(std::max_align_t);

    const char* function_;
    double bytes_ = 0.0;
    std::size_t left_ = kRoom;
    bool missing_ = false;
    alignas(kStep) unsigned char room_[kRoom];  // what a handful of unknowns needs, without the allocator
};

enum Contents { kZeros, kUnset };

/// Array that knows its size: zeroed, or left for the caller to fill.
template <typename T>
class Work {
  public:
    Work(Memory& memory, std::size_t count, Contents contents = kZeros) : data_(memory.near<T>(count)), size_(count) {
        if (data_ != nullptr) {
            if (contents == kZeros) std::memset(data_, 0, count * sizeof(T));
            return;
        }
        array_ = memory.take<T>(count, contents == kZeros);
        data_ = array_.get();
    }
    T* data() const { return data_; }
    T* begin() const { return data(); }
    T* end() const { return data() + size_; }
    T& operator[](std::size_t i) const { return data_[i]; }
    std::size_t size() const { return size_; }

  private:
    std::unique_ptr<T[]> array_;
    T* data_;
    std::size_t size_;
};

/// Zeroes memory through the C library. Where compilers know a size of some hundred bytes they write a string instruction instead, which
/// takes longer than the rest of a line.
inline void clear(void* memory, std::size_t size) {
    asm("" : "+r"(size));
    std::memset(memory, 0, size);
}

}  // namespace leopod

#endif
