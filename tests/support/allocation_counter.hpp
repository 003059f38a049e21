// SPDX-License-Identifier: Apache-2.0
/// @file allocation_counter.hpp
/// Counts every allocation of the program, and makes a chosen one fail. For programs that link
/// allocation_counter.cpp and wrap malloc, calloc, realloc, strdup and posix_memalign.
#pragma once

#include <cstddef>

namespace steadywarp::test {

/// Allocations since the program's start, by operator new or the C library's functions.
size_t allocation_count();

/// Make the n-th allocation by operator new from now on fail (1: the next); 0: none.
void fail_allocation(size_t n);

/// As fail_allocation(), for the C library's calloc.
void fail_c_allocation(size_t n);

/// As fail_allocation(), for every kind of allocation: operator new, malloc, calloc, realloc,
/// strdup, posix_memalign.
/// @return how many were left to go before the failure that was asked for last; 0: it came.
size_t fail_any_allocation(size_t n);

/// Blocks of operator new that are not released.
size_t live_blocks();

}  // namespace steadywarp::test
