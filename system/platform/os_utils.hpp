// SPDX-License-Identifier: Apache-2.0
/// @file os_utils.hpp
/// Bounded strings and the names of the running process and thread.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Zelm::OsUtils {

/// Copy `source` to `target` of `size` bytes, cut to fit, always ended with a zero byte.
/// @return the length of `source`; a value of `size` or more tells that it was cut.
size_t StrLCpy(char* target, const char* source, size_t size);

/// Append `source` to the string in `target` of `size` bytes, cut to fit.
/// @return the length that both would have together.
size_t StrLCat(char* target, const char* source, size_t size);

/// Compare at most `count` bytes without regard to the case of ASCII letters.
/// @return below 0, 0 or above 0 as `left` sorts before, with or behind `right`.
int StrNICmp(const char* left, const char* right, size_t count);

/// Tell the number of this process.
int32_t GetProcessID();
/// Tell the number of the calling thread.
int32_t GetThreadID();

}  // namespace Zelm::OsUtils
