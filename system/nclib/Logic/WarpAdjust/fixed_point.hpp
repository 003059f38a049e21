// SPDX-License-Identifier: Apache-2.0
/// @file fixed_point.hpp
/// Positions on a grid in the fixed-point steps of the warp hardware.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "platform/fused.hpp"

namespace nclib {

/// How a coordinate becomes a cell of a grid and a fraction in it.
struct FixedPointFormat {
    float scale;            ///< steps per virtual unit
    int bits;               ///< bits of the fraction
    int32_t column_offset;  ///< column of the cell at the centre of the frame
    int32_t row_offset;     ///< row of the cell at the centre of the frame
};

/// Format of the chip at hand; `fine` for the grid of 51 rows. Ends the process if the version of
/// the warp hardware is unknown.
FixedPointFormat GetFixedPointFormat(bool fine);

/// One coordinate of a point on a grid.
struct FixedPointPosition {
    int32_t cell;       ///< may lie outside the grid
    uint32_t fraction;  ///< below 2^bits
};

/// Place a virtual coordinate on one axis. It saturates at the ends of 32 bits, on every
/// processor alike, and must not be NaN.
[[gnu::always_inline]] inline FixedPointPosition Locate(float coordinate,
                                                        const FixedPointFormat& format,
                                                        int32_t offset) {
    constexpr float kLimit = 2147483648.0f;
    const float steps = std::floor(platform::Fused(coordinate, format.scale, 0.5f));
    int32_t position;
    if (steps >= kLimit) {
        position = std::numeric_limits<int32_t>::max();
    } else if (steps < -kLimit) {
        position = std::numeric_limits<int32_t>::min();
    } else {
        position = static_cast<int32_t>(steps);
    }
    const uint32_t mask = (1u << format.bits) - 1;
    return {(position >> format.bits) + offset, static_cast<uint32_t>(position) & mask};
}

}  // namespace nclib
