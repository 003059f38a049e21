// SPDX-License-Identifier: Apache-2.0
/// @file ring_buffer.hpp
/// A circular array of fixed capacity whose push overwrites the oldest entry.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>

#include "base/allocation.hpp"

namespace steadywarp {

/// Entries are numbered from the oldest (0) to the newest (size() - 1).
///
/// Memory is taken once, at construction. If there is none the capacity is 0, and pushes do
/// nothing: whoever builds one asks is_allocated().
template <typename T>
class RingBuffer {
  public:
    explicit RingBuffer(uint32_t capacity)
        : _data(capacity != 0 ? allocate_array<T>(capacity) : nullptr),
          _capacity(_data != nullptr ? capacity : 0) {
        clear();
    }

    bool is_allocated() const { return _capacity != 0; }
    uint32_t capacity() const { return _capacity; }
    uint32_t size() const { return _size; }
    bool is_empty() const { return _size == 0; }
    bool is_full() const { return _size == _capacity; }

    /// Forget all entries.
    void clear() {
        _size = 0;
        _first = 0;
        _last = _capacity - 1;
    }

    /// Append a copy of `value`.
    void push(const T& value) {
        if (T* slot = push_slot(); slot != nullptr) {
            *slot = value;
        }
    }

    /// Append an entry and give its slot, which still holds what was in it; NULL without memory.
    T* push_slot() {
        if (_capacity == 0) {
            return nullptr;
        }
        const bool was_full = is_full();
        _last = next(_last);
        if (was_full) {
            _first = next(_first);
        } else {
            ++_size;
        }
        return &_data[_last];
    }

    /// Append a copy of the newest entry. @return false if there is none.
    bool repeat_newest() {
        if (is_empty()) {
            return false;
        }
        // The slot that comes next may be the newest one itself, in a ring of one.
        const uint32_t source = _last;
        T* slot = push_slot();
        if (slot != &_data[source]) {
            *slot = _data[source];
        }
        return true;
    }

    /// Drop the oldest entry, if there is one.
    void pop_oldest() {
        if (_size != 0) {
            _first = next(_first);
            --_size;
        }
    }

    /// Entry `index`, counted from the oldest; `index` must be below size().
    T& operator[](uint32_t index) { return _data[slot_of(index)]; }
    const T& operator[](uint32_t index) const { return _data[slot_of(index)]; }

    T& oldest() { return _data[_first]; }
    const T& oldest() const { return _data[_first]; }
    T& newest() { return _data[_last]; }
    const T& newest() const { return _data[_last]; }

  private:
    uint32_t next(uint32_t slot) const { return slot + 1 < _capacity ? slot + 1 : 0; }

    uint32_t slot_of(uint32_t index) const {
        // Both are below the capacity, so one subtraction is the whole modulo.
        const uint64_t slot = uint64_t{_first} + index;
        return static_cast<uint32_t>(slot < _capacity ? slot : slot - _capacity);
    }

    std::unique_ptr<T[]> _data;
    uint32_t _capacity;
    uint32_t _size = 0;
    uint32_t _first = 0;
    uint32_t _last = 0;
};

}  // namespace steadywarp
