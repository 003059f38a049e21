// SPDX-License-Identifier: Apache-2.0
/// @file fused.hpp
/// Products that are added and rounded once, also where the processor has no such step.
///
/// The C library's functions take up to a hundred times as long there. For single precision, in
/// double precision the product is exact and the sum is rounded once; narrowing rounds a second
/// time, which gives another float only where the sum was rounded to a value half way between two
/// floats, or below the normal ones. Such a sum is rounded to odd instead: an inexact one gets the
/// neighbour whose last bit is set, and stays on its own side of the half.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>

namespace platform {

/// What a sum of two doubles lacks; exact.
inline double SumError(double a, double b, double sum) {
    const double from_b = sum - a;
    return (a - (sum - from_b)) + (b - from_b);
}

/// The sum of two doubles rounded to odd, from the same sum rounded to the nearest.
inline double RoundSumToOdd(double a, double b, double sum) {
    const double error = SumError(a, b, sum);
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

/// As std::fma(), but without processor support: the product and its error are exact, and so are
/// their sums with c; all but the greatest part is rounded to odd before the last sum rounds once
/// (S. Boldo, G. Melquiond: Emulation of FMA and correctly rounded sums). What could over- or
/// underflow on the way is left to the C library.
inline double FusedInSteps(double a, double b, double c) {
    const auto is_within = [](double value, double least, double greatest) {
        return std::fabs(value) >= least && std::fabs(value) <= greatest;
    };
    const double product = a * b;
    if (a == 0.0 || b == 0.0) {
        return product + c;
    }
    if (!is_within(a, 0x1p-400, 0x1p400) || !is_within(b, 0x1p-400, 0x1p400) ||
        !(c == 0.0 || is_within(c, 0x1p-800, 0x1p800))) {
        return std::fma(a, b, c);
    }
    // Halves of 26 bits, whose products are exact.
    constexpr double kSplit = 0x1p27 + 1.0;
    const double a_high = kSplit * a - (kSplit * a - a);
    const double b_high = kSplit * b - (kSplit * b - b);
    const double a_low = a - a_high;
    const double b_low = b - b_high;
    const double product_error =
        ((a_high * b_high - product) + a_high * b_low + a_low * b_high) + a_low * b_low;

    const double low = c + product_error;
    const double low_error = SumError(c, product_error, low);
    const double high = product + low;
    const double high_error = SumError(product, low, high);
    const double rest = high_error + low_error;
    return high + RoundSumToOdd(high_error, low_error, rest);
}

#if defined(__x86_64__)
/// Whether the processor adds products in one step and has vectors of 32 bytes; chosen at load.
/// Only tests write it, to hold the forms of a kernel against each other.
inline bool g_has_fused_add =
    __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
#endif

/// a * b + c, rounded once.
inline float Fused(float a, float b, float c) {
#if defined(__x86_64__) && !defined(__FMA__)
    return FusedInSteps(a, b, c);
#else
    return std::fma(a, b, c);
#endif
}

/// The same. These steps are so many that a call is worth it where the processor has its own.
inline double Fused(double a, double b, double c) {
#if defined(__x86_64__) && !defined(__FMA__)
    return g_has_fused_add ? std::fma(a, b, c) : FusedInSteps(a, b, c);
#else
    return std::fma(a, b, c);
#endif
}

}  // namespace platform
