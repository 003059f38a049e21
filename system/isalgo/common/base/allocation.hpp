// SPDX-License-Identifier: Apache-2.0
/// @file allocation.hpp
/// Heap memory in the form that gives NULL when there is none.
#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace steadywarp {

/// Allocate `count` value-initialized elements; empty when memory is exhausted.
template <typename T>
std::unique_ptr<T[]> allocate_array(std::size_t count) {
    return std::unique_ptr<T[]>(new (std::nothrow) T[count]());
}

/// Construct one object on the heap; empty when memory is exhausted. The constructor may not throw.
template <typename T, typename... Arguments>
std::unique_ptr<T> allocate(Arguments&&... arguments) {
    return std::unique_ptr<T>(new (std::nothrow) T(static_cast<Arguments&&>(arguments)...));
}

}  // namespace steadywarp
