// SPDX-License-Identifier: Apache-2.0
// Counts allocations of the whole process: what a program defines here, its shared libraries call.
#include <atomic>
#include <cerrno>
#include <cstddef>

#include "rounds.hpp"

namespace {
std::atomic<size_t> count{0};
}

extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t number, size_t size);
void* __libc_realloc(void* block, size_t size);
void* __libc_memalign(size_t alignment, size_t size);

void* malloc(size_t size) {
    ++count;
    return __libc_malloc(size);
}
void* calloc(size_t number, size_t size) {
    ++count;
    return __libc_calloc(number, size);
}
void* realloc(void* block, size_t size) {
    ++count;
    return __libc_realloc(block, size);
}
void* aligned_alloc(size_t alignment, size_t size) {
    ++count;
    return __libc_memalign(alignment, size);
}
int posix_memalign(void** block, size_t alignment, size_t size) {
    ++count;
    *block = __libc_memalign(alignment, size);
    return *block != nullptr ? 0 : ENOMEM;
}
}

namespace compare {

size_t AllocationCount() {
    return count;
}

}  // namespace compare
