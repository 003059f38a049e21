// SPDX-License-Identifier: Apache-2.0
/// @file memory.hpp
/// Zeroing allocation that gives NULL when memory is exhausted.
#pragma once

#include <cstddef>
#include <cstdint>

/// What a block is for; carried for an integrator's bookkeeping, not read here.
enum class ZelmMemoryType : uint32_t { kGeneral = 0, kParameter = 1 };

/// Allocate `size` zero bytes at an address that is a multiple of `alignment`.
///
/// @param alignment a power of two, or 0 for the alignment of any basic type.
/// @return NULL when memory is exhausted, `size` is 0 or `alignment` is no power of two.
/// Threads: any. Release with ZelmFree().
void* ZelmCalloc(size_t size, size_t alignment, ZelmMemoryType type);

/// Release a block of ZelmCalloc(); NULL is allowed.
void ZelmFree(void* block, ZelmMemoryType type);
