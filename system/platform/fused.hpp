// SPDX-License-Identifier: Apache-2.0
/// @file fused.hpp
/// Products that are added and rounded once, also where the processor has no such step.
///
/// The C library's function for single precision takes some hundred times as long there. In double
/// precision the product is exact and the sum is rounded once; narrowing rounds a second time,
/// which gives another float only where the sum was rounded to a value half way between two floats,
/// or below the normal ones. Such a sum is rounded to odd instead: an inexact one gets the
/// neighbour whose last bit is set, and stays on its own side of the half.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

namespace platform {

/// The sum of two doubles rounded to odd, from the same sum rounded to the nearest.
inline double RoundSumToOdd(double a, double b, double sum) {
    const double from_b = sum - a;
    const double error = (a - (sum - from_b)) + (b - from_b);
    const uint64_t bits = std::bit_cast<uint64_t>(sum);
    if ((error < 0.0 || error > 0.0) && (bits & 1) == 0) {
        return std::bit_cast<double>((error < 0.0) == (sum < 0.0) ? bits + 1 : bits - 1);
    }
    return sum;
}

/// As std::fma(), but without processor support.
inline float FusedInSteps(float a, float b, float c) {
    constexpr uint64_t kDroppedBits = 0x1fffffff;
    constexpr uint64_t kHalf = 0x10000000;
    const double product = static_cast<double>(a) * static_cast<double>(b);
    const double addend = static_cast<double>(c);
    const double sum = product + addend;
    const bool is_in_doubt =
        (std::bit_cast<uint64_t>(sum) & kDroppedBits) == kHalf || std::fabs(sum) < 0x1p-126;
    return static_cast<float>(is_in_doubt ? RoundSumToOdd(product, addend, sum) : sum);
}

/// a * b + c, rounded once.
inline float Fused(float a, float b, float c) {
#if defined(__x86_64__) && !defined(__FMA__)
    return FusedInSteps(a, b, c);
#else
    return std::fma(a, b, c);
#endif
}

}  // namespace platform
