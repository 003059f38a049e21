// SPDX-License-Identifier: Apache-2.0
/// @file random.hpp
/// A generator with the same bits on every machine.
#pragma once

#include <cstdint>

namespace steadywarp::test {

/// splitmix64.
class Random {
  public:
    explicit Random(uint64_t seed) : _state(seed) {}

    uint64_t word() {
        uint64_t z = (_state += 0x9E3779B97F4A7C15u);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return z ^ (z >> 31);
    }
    uint32_t below(uint32_t n) { return static_cast<uint32_t>(word() % n); }
    bool once_in(uint32_t n) { return below(n) == 0; }
    double between(double low, double high) {
        return low + (high - low) * (static_cast<double>(word() >> 11) * 0x1p-53);
    }

  private:
    uint64_t _state;
};

}  // namespace steadywarp::test
