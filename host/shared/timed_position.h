/// \file timed_position.h
/// A position with its time: what files of orbits are read into and written from.
#ifndef LEOPOD_HOST_TIMED_POSITION_H
#define LEOPOD_HOST_TIMED_POSITION_H

#include <array>
#include <memory>
#include <optional>
#include <string>

#include "gtime.h"

namespace host {

using Vector3 = std::array<double, 3>;
using Covariance = std::array<std::array<double, 6>, 6>;  ///< of position and velocity, symmetric [m^2, m^2/s, m^2/s^2]

/// A value that most records don't have: it takes the room of a pointer there.
template <typename Value>
class Rare {
  public:
    Rare() = default;
    Rare(const Value& value) : value_(std::make_unique<Value>(value)) {}
    Rare(const Rare& other) : value_(other ? std::make_unique<Value>(*other) : nullptr) {}
    Rare(Rare&&) noexcept = default;
    ~Rare() = default;
    Rare& operator=(const Rare& other) {
        *this = Rare(other);
        return *this;
    }
    Rare& operator=(Rare&&) noexcept = default;
    explicit operator bool() const { return value_ != nullptr; }
    Value& operator*() { return *value_; }
    const Value& operator*() const { return *value_; }
    void reset() { value_.reset(); }

  private:
    std::unique_ptr<Value> value_;
};

struct TimedPosition {
    GTime time;
    Vector3 position;                      ///< [m]
    std::optional<Vector3> velocity = {};  ///< [m/s]
    Rare<Covariance> covariance = {};      ///< in the frame of the position
    std::string status = {};               ///< of a file of `leopod run`, what the position is worth; else empty
};

}  // namespace host

#endif
