// SPDX-License-Identifier: Apache-2.0
/// @file file_buffer.hpp
/// The buffered writer behind every file of a capture.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

namespace steadywarp {

/// A file whose lines are collected in memory and written when the buffer is nearly full.
class FileBuffer {
  public:
    /// Create ./data/vendor/camera/PREFIX_TYPE_NAME, overwriting it, with a buffer.
    ///
    /// @param buffer_size bytes; one of them is for the end of the text.
    /// @param status set to EIS_ERROR_CAPTURE_FILE or EIS_ERROR_NO_MEMORY, each behind a line in
    ///        the log; left as it is on success. After a failure print_line() only counts.
    FileBuffer(const char* prefix, uint32_t is_type, const char* file_name, uint32_t buffer_size,
               uint32_t& status);
    /// Writes what is left and closes.
    ~FileBuffer();
    FileBuffer(const FileBuffer&) = delete;
    FileBuffer& operator=(const FileBuffer&) = delete;

    /// Append by printf; a line is taken whole or not at all.
    ///
    /// When the buffer is more than nine tenths full afterwards, and when the line does not fit,
    /// all of it is written to the file. What the file does not take stays in the buffer.
    /// @return the number of failures, 0 or 1: the line was lost, or the file could not be written.
    uint32_t print_line(const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// Write what is in the buffer. @return the number of failures, 0 or 1.
    uint32_t flush_buffer();

    const char* path() const { return _path; }
    /// The part of path() behind the folder: PREFIX_TYPE_NAME.
    const char* name() const { return _name; }

  private:
    std::FILE* _file = nullptr;
    uint32_t _used = 0;
    uint32_t _capacity = 0;
    char _path[1024] = {};
    const char* _name = _path;
    std::unique_ptr<char[]> _buffer;
};

}  // namespace steadywarp
