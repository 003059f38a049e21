// SPDX-License-Identifier: Apache-2.0
/// @file random.hpp
/// A random generator whose bits are the same on every machine.
#pragma once

#include <cstdint>

namespace steadywarp::tool {

/// The splitmix64 sequence: a counter through a mixing function, period 2^64.
class Random {
  public:
    explicit Random(uint64_t seed) : state_(seed) {}

    /// Draw 64 bits.
    uint64_t next() {
        state_ += 0x9E3779B97F4A7C15u;
        uint64_t z = state_;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }

    /// Draw a number in [0, 1) with 53 random bits.
    double uniform() { return static_cast<double>(next() >> 11) * 0x1p-53; }

  private:
    uint64_t state_;
};

}  // namespace steadywarp::tool
