// SPDX-License-Identifier: Apache-2.0
/// @file bicubic.hpp
/// Separable Catmull-Rom interpolation over 4x4 nodes, in the fixed-point steps of the warp
/// hardware.
///
/// Offsets between two nodes are fractions of `bits` bits. The kernel's first three weights come
/// from a table of 129 steps and are interpolated linearly between two of them; the fourth is never
/// formed. All arithmetic is single precision; where a product is added it is fused.
#pragma once

#include <array>
#include <cstdint>
#include <cstring>

#include "nclib/nclib_log.hpp"
#include "platform/fused.hpp"
#include "steadywarp/nclib.h"

/// Look up the first three kernel weights at the offset index/128; `index` is at most 128.
void getCoefsFromLut(uint32_t index, float* coefs);

/// Interpolate the first three kernel weights at the offset fraction/2^bits; `bits` is 7 or more,
/// `fraction` is below 2^bits.
void getInterpolatedCoefs(uint32_t fraction, int bits, float* coefs);

/// Interpolate between the inner four of 4x4 nodes.
///
/// @param nodes rows of columns; a fraction of 0 gives nodes[1][1].
void bicubicInterpolation(const NcLibWarpGridCoord (*nodes)[4], uint32_t fractionX,
                          uint32_t fractionY, int bits, NcLibWarpGridCoord* result);

namespace nclib {

inline constexpr uint32_t kCoefSteps = 128;
using Coefs = std::array<float, 3>;

/// Round numerator/64 to the nearest integer; no numerator of the table lies half way.
constexpr int32_t NearestOf64th(int32_t numerator) {
    return numerator >= 0 ? (numerator + 32) / 64 : -((-numerator + 32) / 64);
}

/// 65536 times the kernel weights at t = i/128, rounded to integers, for i in the lower half:
///   c0 = (-t^3 + 2t^2 - t)/2    ->  (-i^3 + 256 i^2 - 16384 i)/64
///   c1 = (3t^3 - 5t^2 + 2)/2    ->  (3i^3 - 640 i^2 + 64*65536)/64
///   c2 = (-3t^3 + 4t^2 + t)/2   ->  (-3i^3 + 512 i^2 + 16384 i)/64
constexpr std::array<int32_t, 3> CoefRow(int32_t i) {
    const int32_t i2 = i * i;
    const int32_t i3 = i2 * i;
    return {NearestOf64th(-i3 + 256 * i2 - 16384 * i), NearestOf64th(3 * i3 - 640 * i2 + 4194304),
            NearestOf64th(-3 * i3 + 512 * i2 + 16384 * i)};
}

/// Weights at index/128. The upper half mirrors the lower one, with the fourth weight in front.
constexpr Coefs CoefsAt(uint32_t index) {
    constexpr float kUnit = 65536.0f;
    if (index <= kCoefSteps / 2) {
        const auto row = CoefRow(static_cast<int32_t>(index));
        return {static_cast<float>(row[0]) / kUnit, static_cast<float>(row[1]) / kUnit,
                static_cast<float>(row[2]) / kUnit};
    }
    const auto row = CoefRow(static_cast<int32_t>(kCoefSteps - index));
    const int32_t fourth = 65536 - row[0] - row[1] - row[2];
    return {static_cast<float>(fourth) / kUnit, static_cast<float>(row[2]) / kUnit,
            static_cast<float>(row[1]) / kUnit};
}

inline constexpr std::array<Coefs, kCoefSteps + 1> kCoefLut = [] {
    std::array<Coefs, kCoefSteps + 1> lut{};
    for (uint32_t i = 0; i <= kCoefSteps; ++i) {
        lut[i] = CoefsAt(i);
    }
    return lut;
}();

/// As getInterpolatedCoefs(). For fractions of 11 and 12 bits every step here is exact: weights are
/// multiples of 2^-16 and the share a multiple of 2^-5, so fusing would change nothing.
[[gnu::always_inline]] inline Coefs InterpolatedCoefs(uint32_t fraction, int bits) {
    const int share_bits = bits - 7;
    const uint32_t index = fraction >> share_bits;
    const uint32_t share_mask = (1u << share_bits) - 1;
    const float share =
        static_cast<float>(fraction & share_mask) / static_cast<float>(1u << share_bits);
    const Coefs& low = kCoefLut[index];
    const Coefs& high = kCoefLut[index + 1];
    Coefs coefs{};
    for (size_t i = 0; i < 3; ++i) {
        coefs[i] = low[i] + (high[i] - low[i]) * share;
    }
    return coefs;
}

/// a3 + (a0-a3) c0 + (a1-a3) c1 + (a2-a3) c2, fused from the c0 term outward.
[[gnu::always_inline]] inline float Reduce(float a0, float a1, float a2, float a3, const Coefs& c) {
    using platform::Fused;
    return Fused(a2 - a3, c[2], Fused(a1 - a3, c[1], Fused(a0 - a3, c[0], a3)));
}

/// As bicubicInterpolation(), with the four rows anywhere in memory.
[[gnu::always_inline]] inline NcLibWarpGridCoord InterpolateRows(
    const std::array<const NcLibWarpGridCoord*, 4>& rows, const Coefs& across, const Coefs& down) {
    // x and y of four nodes side by side: eight lanes that go through the same steps.
    float node[4][8];
    for (size_t row = 0; row < 4; ++row) {
        std::memcpy(node[row], rows[row], sizeof node[row]);
    }
    float column[8];
    for (int lane = 0; lane < 8; ++lane) {
        column[lane] = Reduce(node[0][lane], node[1][lane], node[2][lane], node[3][lane], down);
    }
    return {Reduce(column[0], column[2], column[4], column[6], across),
            Reduce(column[1], column[3], column[5], column[7], across)};
}

}  // namespace nclib
