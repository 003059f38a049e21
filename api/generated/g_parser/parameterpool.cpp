// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parameterpool.h"

#include <algorithm>
#include <new>

// GCC tells by a macro that the address sanitizer watches, Clang by a feature.
#if defined(__has_feature)
#define STEADYWARP_WATCHED __has_feature(address_sanitizer)
#elif defined(__SANITIZE_ADDRESS__)
#define STEADYWARP_WATCHED 1
#else
#define STEADYWARP_WATCHED 0
#endif

namespace {

// Under the sanitizer each piece has a block of its own, so that it knows where every piece ends.
constexpr size_t kFirstBlock = STEADYWARP_WATCHED ? 0 : size_t{1} << 12;
constexpr size_t kLargestBlock = STEADYWARP_WATCHED ? 0 : size_t{1} << 20;

}  // namespace

void* ParameterPool::AllocateBlock(size_t size) {
    if (size > SIZE_MAX / 2) {
        return nullptr;
    }
    const size_t piece = RoundUp(size);
    // Twice the last one, so that a large load takes few blocks and a small one little memory.
    const size_t wanted = std::clamp(2 * m_size, kFirstBlock, kLargestBlock);
    const size_t blockSize = std::max(wanted, sizeof(Block) + piece);
    void* room = std::malloc(blockSize);
    if (room == nullptr) {
        return nullptr;
    }
    m_block = new (room) Block{m_block, blockSize};
    m_size = blockSize;
    m_used = sizeof(Block) + piece;
    return m_block + 1;
}

void ParameterPool::Rewind(Mark const& mark) {
    while (m_block != mark.block) {
        Block* before = m_block->before;
        std::free(m_block);
        m_block = before;
    }
    m_size = m_block != nullptr ? m_block->size : 0;
    m_used = mark.used;
}
