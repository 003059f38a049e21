// SPDX-License-Identifier: Apache-2.0
/// @file lock_counter.hpp
/// Counts what a program locks. For programs that link lock_counter.cpp and wrap the functions that
/// it replaces.
#pragma once

#include <cstddef>

namespace steadywarp::test {

/// Mutexes and read-write locks taken, or tried, since the program's start.
size_t lock_count();

}  // namespace steadywarp::test
