// SPDX-License-Identifier: Apache-2.0
/// @file orientation_history.hpp
/// The last orientations of a stream, newest first and side by side in memory.
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "base/allocation.hpp"
#include "base/vec3.hpp"
#include "platform/lanes.hpp"

namespace steadywarp {

/// Each entry is stored twice, a whole history apart, so that the newest ones are one run of memory
/// wherever the history begins: sums over them need no arithmetic of a ring.
class OrientationHistory {
  public:
    /// Orientations kept, frames.
    static constexpr uint32_t kCapacity = 240;

    /// Takes the memory; is_allocated() tells whether there was any. Nothing is pushed without.
    OrientationHistory() : _entries(allocate<Entries>()) {}

    bool is_allocated() const { return _entries != nullptr; }
    uint32_t size() const { return _size; }
    void clear() { _size = 0; }

    void push(const Vec3<double>& angles) {
        _newest = (_newest != 0 ? _newest : kCapacity) - 1;
        _size += _size < kCapacity ? 1 : 0;
        const platform::Float4 single = {static_cast<float>(angles.x), static_cast<float>(angles.y),
                                         static_cast<float>(angles.z), 0.0f};
        for (const uint32_t slot : {_newest, _newest + kCapacity}) {
            _entries->angles[slot] = {angles.x, angles.y, angles.z, 0.0};
            _entries->singles[slot] = single;
        }
    }

    /// x, y, z and 0 of the last size() orientations, newest first.
    using Lanes = std::array<double, 4>;
    const Lanes* angles() const { return &_entries->angles[_newest]; }
    /// The same in single precision.
    const platform::Float4* singles() const { return &_entries->singles[_newest]; }

  private:
    template <typename T>
    using Twice = std::array<T, 2 * kCapacity>;
    struct Entries {
        Twice<Lanes> angles{};
        Twice<platform::Float4> singles{};
    };

    std::unique_ptr<Entries> _entries;
    uint32_t _newest = 0;
    uint32_t _size = 0;
};

}  // namespace steadywarp
