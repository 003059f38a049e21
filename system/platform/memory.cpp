// SPDX-License-Identifier: Apache-2.0
#include "platform/memory.hpp"

#include <cstdlib>
#include <cstring>

void* ZelmCalloc(size_t size, size_t alignment, ZelmMemoryType) {
    if (size == 0 || (alignment & (alignment - 1)) != 0) {
        return nullptr;
    }
    if (alignment <= alignof(std::max_align_t)) {
        return std::calloc(1, size);
    }
    void* block = nullptr;
    if (posix_memalign(&block, alignment, size) != 0) {
        return nullptr;
    }
    std::memset(block, 0, size);
    return block;
}

void ZelmFree(void* block, ZelmMemoryType) {
    std::free(block);
}
