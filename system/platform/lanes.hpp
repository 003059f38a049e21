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

/// sum += a * b in each lane, rounded once.
template <typename Vector>
[[gnu::always_inline]] inline void FusedAdd(Vector& sum, const Vector& a, const Vector& b) {
    constexpr int kLanes = static_cast<int>(sizeof(Vector) / sizeof(sum[0]));
    Vector result;
    for (int lane = 0; lane < kLanes; ++lane) {
        result[lane] = std::fma(a[lane], b[lane], sum[lane]);
    }
    sum = result;
}

#if defined(__x86_64__)
/// Whether the processor adds products in one step and has vectors of 32 bytes; chosen at load.
/// Only tests write it, to hold the forms of a kernel against each other.
inline bool g_has_fused_add =
    __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
#endif

}  // namespace platform
