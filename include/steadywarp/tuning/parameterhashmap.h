// SPDX-License-Identifier: Apache-2.0
/// @file parameterhashmap.h
/// Small look-up tables in the memory of a load.
#pragma once

#include <new>

#include "steadywarp/tuning/parameterpool.h"

/// Entries by a key, in the order of their coming.
///
/// An `Entry` is made of one pointer, copied as the map grows, and has room for a `uint32_t hash`.
/// A key has a `Hash()` and tells by `Matches(entry)` whether it is that of an entry. Neither map
/// nor entries need a destructor: they lie in a pool, which must outlive the map. Not safe for two
/// threads while one of them changes it.
template <typename Entry>
class ParameterHashMap {
  public:
    Entry* begin() const { return m_entries; }
    Entry* end() const { return m_entries + m_count; }
    bool Empty() const { return m_count == 0; }
    /// Forget all entries; their memory stays the pool's.
    void Clear() {
        m_count = 0;
        ClearIndex();
    }

    /// @return NULL if there is none.
    template <typename Key>
    Entry* Find(Key const& key) const {
        const uint32_t hash = key.Hash();
        uint32_t slot = hash & m_mask;
        Entry* entry = m_index[slot];
        while (entry != nullptr && (entry->hash != hash || !key.Matches(*entry))) {
            slot = (slot + 1) & m_mask;
            entry = m_index[slot];
        }
        return entry;
    }

    /// Append an entry; there must be none of its key. @return NULL if memory is exhausted.
    template <typename Key, typename Item>
    Entry* Add(ParameterPool& pool, Key const& key, Item* item) {
        if (m_count == m_capacity && !Grow(pool)) {
            return nullptr;
        }
        Entry* entry = new (m_entries + m_count) Entry(item);
        entry->hash = key.Hash();
        ++m_count;
        EnterInIndex(entry);
        return entry;
    }

  private:
    static constexpr uint32_t kFirstCapacity = 4;
    // The index of a map without entries, which is never written.
    static inline Entry* s_none = nullptr;

    void ClearIndex() { std::memset(m_index, 0, 2 * m_capacity * sizeof *m_index); }
    void EnterInIndex(Entry* entry) {
        uint32_t slot = entry->hash & m_mask;
        while (m_index[slot] != nullptr) {
            slot = (slot + 1) & m_mask;
        }
        m_index[slot] = entry;
    }
    bool Grow(ParameterPool& pool) {
        const uint32_t capacity = m_capacity == 0 ? kFirstCapacity : 2 * m_capacity;
        void* room = pool.Allocate(capacity * (sizeof(Entry) + 2 * sizeof(Entry*)));
        if (room == nullptr) {
            return false;
        }
        auto* entries = static_cast<Entry*>(room);
        for (uint32_t i = 0; i < m_count; ++i) {
            new (entries + i) Entry(m_entries[i]);
        }
        m_entries = entries;
        m_index = reinterpret_cast<Entry**>(entries + capacity);
        m_capacity = capacity;
        m_mask = 2 * capacity - 1;
        ClearIndex();
        for (Entry* entry = begin(); entry != end(); ++entry) {
            EnterInIndex(entry);
        }
        return true;
    }

    Entry* m_entries = nullptr;
    Entry** m_index = &s_none;  // two slots for each entry there is room for
    uint32_t m_mask = 0;        // of the slots
    uint32_t m_count = 0;
    uint32_t m_capacity = 0;
};
