// SPDX-License-Identifier: Apache-2.0
/// @file parameterpool.h
/// Memory for what comes and goes together with one load of a file.
#pragma once

#include "steadywarp/tuning/parametertypes.h"

/// Gives out pieces of a few growing blocks and takes all of them back at once.
///
/// A file holds thousands of records; with a heap block for each part of each of them a load would
/// mostly allocate. Not safe for two threads.
class STEADYWARP_API ParameterPool {
  public:
    /// A state to return to.
    struct Mark {
        void* block;
        size_t used;
    };

    ParameterPool() = default;
    ~ParameterPool() { Rewind({nullptr, 0}); }
    ParameterPool(const ParameterPool&) = delete;
    ParameterPool& operator=(const ParameterPool&) = delete;

    static constexpr size_t kAlignment = 8;  ///< enough for whatever a file holds

    /// Room for `size` bytes, aligned to `kAlignment`, with any content. @return NULL if memory is
    ///         exhausted.
    void* Allocate(size_t size) {
        const size_t rounded = RoundUp(size);
        if (rounded < size || rounded > m_size - m_used) {
            return AllocateBlock(size);
        }
        void* piece = reinterpret_cast<unsigned char*>(m_block) + m_used;
        m_used += rounded;
        return piece;
    }

    Mark GetMark() const { return {m_block, m_used}; }
    /// Give back everything that was allocated since the mark was taken. Runs no destructors.
    void Rewind(Mark const& mark);

  private:
    struct alignas(kAlignment) Block {
        Block* before;
        size_t size;
    };

    static constexpr size_t RoundUp(size_t size) {
        return (size + kAlignment - 1) & ~(kAlignment - 1);
    }
    void* AllocateBlock(size_t size);

    Block* m_block = nullptr;  // the newest
    size_t m_size = 0;         // bytes of it, its head included
    size_t m_used = 0;
};
