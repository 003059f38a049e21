// SPDX-License-Identifier: Apache-2.0
/// @file sines.hpp
/// Sine and cosine with the same bits on every processor and beside every C library.
///
/// The C library promises no last bit, and takes the angles one by one. Here additions and products
/// alone, each rounded as IEEE 754 says, work out both functions of an angle up to pi / 4 in the
/// two lanes of a vector, and those of several angles side by side.
#pragma once

#include <cmath>

#include "platform/lanes.hpp"

namespace platform {

/// The greatest angle that is not left to the C library, radians: pi / 4.
inline constexpr double kGreatestSmallAngle = 0.7853981633974483;

/// Sine and cosine of an angle of at most kGreatestSmallAngle, in this order.
///
/// With b the lanes (x, 1) and k the lanes (1/6, 1/2), the latter to 13 bits, both functions are
///
///     b - b k x^2 - b x^2 (c0 + c1 x^2 + c2 x^4 + ...)
///
/// The second term takes up to a third of the first, so it must be exact: h, the first 13 bits of
/// x, has an exact h h h k. The rest of x goes with the third term, which is 20 times smaller.
///
/// The most that 17 million angles were from the true value is 0.567 units in the last place, near
/// pi / 4, and 0.504 up to 0.4 radians; `Sines.LieNearTheTrueValues` holds both.
[[gnu::always_inline]] inline void SmallSineAndCosine(const double& x, Double2& out) {
    using Bits2 = int64_t __attribute__((vector_size(16)));
    constexpr int64_t kFirst13Bits = -(int64_t{1} << 40);
    constexpr int64_t kSign = std::numeric_limits<int64_t>::min();
    constexpr Double2 k = {5461.0 / 32768.0, 0.5};
    // sin: (1/x^2 - sin(x)/x^3) - k, cos: (1/x^2 - cos(x)/x^2) - k, as polynomials in x^2 through
    // the Chebyshev nodes up to pi / 4; they are 0.008 units away.
    // clang-format off
    constexpr Double2 c[] = {
        //   sine                    cosine
        { 0x1.555555555554ep-17,  0.0                  },
        {-0x1.1111111111110p-7,  -0x1.5555555555555p-5 },
        { 0x1.a01a01a019938p-13,  0x1.6c16c16c16967p-10},
        {-0x1.71de3a5460946p-19, -0x1.a01a019f4eaf1p-16},
        { 0x1.ae645412c3273p-26,  0x1.27e4fa17d8c71p-22},
        {-0x1.61217f09bcb04p-33, -0x1.1eeb68e7eb073p-29},
        { 0x1.ab17d2facc8bdp-41,  0x1.907da2754caa9p-37},
    };
    // clang-format on
    const Double2 b = {x, 1.0};
    const Double2 b_h = (Double2)((Bits2)b & kFirst13Bits);
    const Double2 b_rest = b - b_h;
    const double h = b_h[0];
    const double square = x * x;
    const double square_rest = b_rest[0] * (x + h);
    const Double2 h_term = h * h * k;
    Double2 tail = c[6];
#pragma GCC unroll 6
    for (int i = 5; i >= 0; --i) {
        tail = tail * square + c[i];
    }
    const Double2 rest = b * (square_rest * k + square * tail) + b_rest * h_term;
    const Double2 taken = b_h * h_term;
    const Double2 sum = b - taken;
    const Double2 value = sum + (((b - sum) - taken) - rest);
    // The sine of -0 is -0.
    out = (Double2)((Bits2)value | ((Bits2)b & kSign));
}

/// The same for any angle; the C library's beyond kGreatestSmallAngle.
[[gnu::cold, gnu::noinline]] inline void SineAndCosine(const double& x, Double2& out) {
    if (std::fabs(x) <= kGreatestSmallAngle) {
        SmallSineAndCosine(x, out);
    } else {
        out = Double2{std::sin(x), std::cos(x)};
    }
}

/// Sines and cosines of three angles, radians. What an angle gets does not depend on the others.
[[gnu::always_inline]] inline void SinesAndCosines(const double (&angles)[3], Double2 (&out)[3]) {
    if (std::fabs(angles[0]) <= kGreatestSmallAngle &&
        std::fabs(angles[1]) <= kGreatestSmallAngle && std::fabs(angles[2]) <= kGreatestSmallAngle)
        [[likely]] {
        SmallSineAndCosine(angles[0], out[0]);
        SmallSineAndCosine(angles[1], out[1]);
        SmallSineAndCosine(angles[2], out[2]);
        return;
    }
    for (int i = 0; i < 3; ++i) {
        SineAndCosine(angles[i], out[i]);
    }
}

}  // namespace platform
