// SPDX-License-Identifier: Apache-2.0
/// @file guard.hpp
/// The words with which the objects of an instance open and close, so that a pointer to anything
/// else, or to a half-built object, is recognized.
#pragma once

#include <bit>
#include <cstdint>

namespace steadywarp {

/// Eight characters as the word they are in memory.
constexpr uint64_t guard_word(const char (&text)[9]) {
    struct Bytes {
        char bytes[8];
    } bytes{};
    for (int i = 0; i < 8; ++i) {
        bytes.bytes[i] = text[i];
    }
    return std::bit_cast<uint64_t>(bytes);
}

inline constexpr uint64_t kStartGuard = guard_word("EIS3STRT");
inline constexpr uint64_t kEndGuard = guard_word("EIS3XEND");

}  // namespace steadywarp
