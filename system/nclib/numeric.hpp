// SPDX-License-Identifier: Apache-2.0
/// @file numeric.hpp
/// Conversions from floating point to whole numbers that have a value for every input.
#pragma once

#include <cstdint>
#include <limits>

namespace nclib {

/// Cut toward zero; NaN gives 0, and what does not fit gives the nearest value that does.
constexpr int32_t TruncateToInt32(double value) {
    if (!(value == value)) {
        return 0;
    }
    if (value >= 2147483647.0) {
        return std::numeric_limits<int32_t>::max();
    }
    if (value <= -2147483648.0) {
        return std::numeric_limits<int32_t>::min();
    }
    return static_cast<int32_t>(value);
}

}  // namespace nclib
