// SPDX-License-Identifier: Apache-2.0
/// @file numeric.hpp
/// Casts that cut, and time arithmetic, with one result on every processor.
///
/// The language leaves a cast of a floating value that does not fit open, and processors differ.
/// Here such a value takes the nearest end of the range, and what is no number becomes 0.
#pragma once

#include <cstdint>
#include <limits>

namespace steadywarp {

/// Cut toward zero.
template <typename Integer>
constexpr Integer cut_to(double value) {
    // Both ends as doubles: the lower one is exact, the upper one is the first value too large.
    constexpr double kLowest = static_cast<double>(std::numeric_limits<Integer>::min());
    constexpr double kBeyond =
        2.0 * static_cast<double>(std::numeric_limits<Integer>::max() / 2 + 1);
    if (value != value) {
        return 0;
    }
    if (value <= kLowest) {
        return std::numeric_limits<Integer>::min();
    }
    return value >= kBeyond ? std::numeric_limits<Integer>::max() : static_cast<Integer>(value);
}

constexpr int32_t cut_to_i32(double value) {
    return cut_to<int32_t>(value);
}
constexpr uint32_t cut_to_u32(double value) {
    return cut_to<uint32_t>(value);
}
constexpr int64_t cut_to_i64(double value) {
    return cut_to<int64_t>(value);
}
constexpr uint64_t cut_to_u64(double value) {
    return cut_to<uint64_t>(value);
}

/// A time moved by a signed number of microseconds, as signed microseconds; wraps like the clock.
constexpr int64_t moved_us(uint64_t time_us, int64_t by_us) {
    return static_cast<int64_t>(time_us + static_cast<uint64_t>(by_us));
}

/// A signed time back on the clock; the clock has nothing before 0.
constexpr uint64_t clock_us(int64_t time_us) {
    return time_us > 0 ? static_cast<uint64_t>(time_us) : 0;
}

}  // namespace steadywarp
