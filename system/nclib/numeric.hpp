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

/// As TruncateToInt32(), for values from 0 on; what is below gives 0.
constexpr uint32_t TruncateToUint32(double value) {
    if (!(value > 0.0)) {
        return 0;
    }
    return value >= 4294967295.0 ? std::numeric_limits<uint32_t>::max()
                                 : static_cast<uint32_t>(value);
}

}  // namespace nclib
