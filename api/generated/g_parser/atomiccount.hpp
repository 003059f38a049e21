// SPDX-License-Identifier: Apache-2.0
/// @file atomiccount.hpp
/// Counts that several threads lower at a time.
#pragma once

#include <atomic>
#include <cstdint>

/// Take one away unless nothing is left. @return whether there was one to take.
inline bool DropOne(std::atomic<uint32_t>& count) {
    uint32_t left = count;
    while (left > 0 && !count.compare_exchange_weak(left, left - 1)) {
    }
    return left > 0;
}
