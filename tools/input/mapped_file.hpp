// SPDX-License-Identifier: Apache-2.0
/// @file mapped_file.hpp
/// The text of a file that may be larger than one wants to hold in memory.
#pragma once

#include <string_view>
#include <utility>

#include "input/result.hpp"

namespace steadywarp::tool {

/// A regular file, mapped for reading as long as the object lives. It can be moved, not copied.
class MappedFile {
  public:
    /// Map a file; what is no regular file is a fault.
    static Result<MappedFile> open(const std::string& path);

    MappedFile() = default;
    ~MappedFile();
    MappedFile(MappedFile&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)), size_(std::exchange(other.size_, 0)) {}
    MappedFile& operator=(MappedFile&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(size_, other.size_);
        return *this;
    }
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;

    std::string_view text() const { return {static_cast<const char*>(data_), size_}; }

  private:
    void* data_ = nullptr;
    size_t size_ = 0;
};

}  // namespace steadywarp::tool
