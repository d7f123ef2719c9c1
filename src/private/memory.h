/// \file memory.h
/// Memory that a function takes for its own work. Where there is none, the function says so once, leaves everything as it was and fails.
#ifndef LEOPOD_PRIVATE_MEMORY_H
#define LEOPOD_PRIVATE_MEMORY_H

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

namespace leopod {

/// Elements of a rows x cols block; negative counts are empty.
constexpr std::size_t area(int rows, int cols) {
    return rows > 0 && cols > 0 ? static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols) : 0;
}

/// The account of the arrays of one call.
class Memory {
  public:
    explicit Memory(const char* function) : function_(function) {}

    /// Zeroed array; null where there is no memory, and for no elements.
    template <typename T>
    std::unique_ptr<T[]> take(std::size_t count) {
        if (count == 0) return nullptr;
        constexpr std::size_t kMost = 80'000'000'000 / sizeof(T);
        std::unique_ptr<T[]> array(count <= kMost ? new (std::nothrow) T[count]() : nullptr);
        bytes_ += static_cast<double>(count) * sizeof(T);
        missing_ = missing_ || array == nullptr;
        return array;
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

    const char* function_;
    double bytes_ = 0.0;
    bool missing_ = false;
};

/// Zeroed array that knows its size.
template <typename T>
class Work {
  public:
    Work(Memory& memory, std::size_t count) : array_(memory.take<T>(count)), size_(count) {}
    T* data() const { return array_.get(); }
    T* begin() const { return data(); }
    T* end() const { return data() + size_; }
    T& operator[](std::size_t i) const { return array_[i]; }
    std::size_t size() const { return size_; }

  private:
    std::unique_ptr<T[]> array_;
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
