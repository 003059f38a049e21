// SPDX-License-Identifier: Apache-2.0
/// @file input.hpp
/// Reads values off the front of a fuzzer's input.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace steadywarp::fuzz {

/// Behind the end of the input every value is zero.
class Input {
  public:
    Input(const uint8_t* data, size_t size) : data_(data), left_(size) {}

    size_t Left() const { return left_; }

    template <typename T>
    T Get() {
        T value{};
        const size_t count = std::min(sizeof value, left_);
        std::memcpy(&value, data_, count);
        data_ += count;
        left_ -= count;
        return value;
    }
    uint32_t Below(uint32_t end) { return Get<uint16_t>() % end; }
    bool Flag() { return (Get<uint8_t>() & 1) != 0; }

    /// The next `count` bytes, or what is left.
    std::vector<uint8_t> Take(size_t count) {
        count = std::min(count, left_);
        const std::vector<uint8_t> bytes(data_, data_ + count);
        data_ += count;
        left_ -= count;
        return bytes;
    }

  private:
    const uint8_t* data_;
    size_t left_;
};

}  // namespace steadywarp::fuzz
