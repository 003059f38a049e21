// SPDX-License-Identifier: Apache-2.0
/// @file lanes.hpp
/// Vectors of lanes, from which kernels are written.
///
/// Every lane goes through the steps that a single value would, in the same order, so that a kernel
/// gives the same bits on every machine. Vectors are passed by reference only: how they travel by
/// value depends on the machine. forms.inc compiles a kernel for more than one processor.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "platform/fused.hpp"
#if defined(__aarch64__)
#include <arm_neon.h>
#elif defined(__x86_64__)
#include <immintrin.h>
#endif

namespace platform {

using Float4 = float __attribute__((vector_size(16)));
using Double2 = double __attribute__((vector_size(16)));
using Double4 = double __attribute__((vector_size(32)));
using Int4 = int32_t __attribute__((vector_size(16)));
using Uint4 = uint32_t __attribute__((vector_size(16)));

// The same vector anywhere in memory, whatever lives there. (A copy by memcpy would go through the
// stack in pieces.)
template <typename Vector>
struct Anywhere {
    using type [[gnu::aligned(4), gnu::may_alias]] = Vector;
};

/// Read a vector from memory of any alignment from 4 bytes on.
template <typename Vector>
[[gnu::always_inline]] inline void LoadLanes(const void* from, Vector& to) {
    to = *static_cast<const typename Anywhere<Vector>::type*>(from);
}

template <typename Vector>
[[gnu::always_inline]] inline void StoreLanes(const Vector& from, void* to) {
    *static_cast<typename Anywhere<Vector>::type*>(to) = from;
}

/// Read two floats from each of two places.
[[gnu::always_inline]] inline void LoadPairs(const void* first, const void* second, Float4& to) {
    using Pair [[gnu::aligned(4), gnu::may_alias]] = int64_t;
    using Pairs = int64_t __attribute__((vector_size(16)));
    to = (Float4)Pairs{*static_cast<const Pair*>(first), *static_cast<const Pair*>(second)};
}

/// Whether all bits of all lanes are set.
[[gnu::always_inline]] inline bool AreAllSet(const Int4& mask) {
    using Halves = int64_t __attribute__((vector_size(16)));
    const Halves halves = (Halves)mask;
    return (halves[0] & halves[1]) == -1;
}

#if defined(__aarch64__)
/// sum += a * b in each lane, rounded once. By name: the compiler finds the instruction behind
/// std::fma() in a loop over lanes at times only.
[[gnu::always_inline]] inline void FusedAdd(Float4& sum, const Float4& a, const Float4& b) {
    sum = vfmaq_f32(sum, a, b);
}
#elif defined(__x86_64__)
[[gnu::always_inline]] inline void WidenLanes(const Float4& from, Double2 (&to)[2]) {
    using Float2 = float __attribute__((vector_size(8)));
    const Float2 lower = __builtin_shufflevector(from, from, 0, 1);
    const Float2 upper = __builtin_shufflevector(from, from, 2, 3);
    to[0] = __builtin_convertvector(lower, Double2);
    to[1] = __builtin_convertvector(upper, Double2);
}

/// As a cast to float of each.
[[gnu::always_inline]] inline void NarrowLanes(const Double2 (&from)[2], Float4& to) {
    using Float2 = float __attribute__((vector_size(8)));
    const Float2 lower = __builtin_convertvector(from[0], Float2);
    const Float2 upper = __builtin_convertvector(from[1], Float2);
    to = __builtin_shufflevector(lower, upper, 0, 1, 2, 3);
}

/// Whether narrowing a double to float may round twice; all bits of one of its words are set if so.
/// Neither infinity nor NaN does.
[[gnu::always_inline]] inline Int4 AreInDoubt(const Double2& values) {
    constexpr int32_t kDroppedBits = 0x1fffffff, kHalf = 0x10000000;
    constexpr int32_t kMagnitude = 0x7fffffff, kLeastNormal = 0x38100000;  // upper half of 2^-126
    constexpr int32_t kNever = std::numeric_limits<int32_t>::min();
    const Int4 words = (Int4)values & Int4{kDroppedBits, kMagnitude, kDroppedBits, kMagnitude};
    return (words == Int4{kHalf, kNever, kHalf, kNever}) |
           (words < Int4{kNever, kLeastNormal, kNever, kLeastNormal});
}

/// sum += a * b in each lane, rounded once, in the steps of FusedInSteps(). Where the processor has
/// a step for it, forms.inc takes that.
[[gnu::always_inline]] inline void FusedAddInSteps(Float4& sum, const Float4& a, const Float4& b) {
    Double2 products[2], addends[2], totals[2];
    WidenLanes(a, products);
    WidenLanes(b, totals);
    WidenLanes(sum, addends);
    for (int half = 0; half < 2; ++half) {
        products[half] *= totals[half];
        totals[half] = products[half] + addends[half];
    }
    if (!AreAllSet(~(AreInDoubt(totals[0]) | AreInDoubt(totals[1])))) [[unlikely]] {
        for (int half = 0; half < 2; ++half) {
            for (int lane = 0; lane < 2; ++lane) {
                totals[half][lane] =
                    RoundSumToOdd(products[half][lane], addends[half][lane], totals[half][lane]);
            }
        }
    }
    NarrowLanes(totals, sum);
}
#else
/// sum += a * b in each lane, rounded once.
[[gnu::always_inline]] inline void FusedAdd(Float4& sum, const Float4& a, const Float4& b) {
    for (int lane = 0; lane < 4; ++lane) {
        sum[lane] = std::fma(a[lane], b[lane], sum[lane]);
    }
}
#endif

}  // namespace platform
