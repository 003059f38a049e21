// SPDX-License-Identifier: Apache-2.0
#include "capture/file_buffer.hpp"

#include <cstdarg>
#include <cstring>

#include "base/allocation.hpp"
#include "base/eis_log.hpp"
#include "capture/format/capture_files.hpp"

namespace steadywarp {
namespace {

constexpr const char* kFolder = "/data/vendor/camera/";

// Make "./data/vendor/camera/PREFIX_TYPE_NAME". Returns the length of the folder, 0 on failure.
size_t make_path(char (&path)[1024], const char* prefix, uint32_t is_type, const char* file_name) {
    const char* const word = type_word(is_type);
    const int folder = std::snprintf(path, sizeof path, "%s%s", ".", kFolder);
    if (word == nullptr || folder < 0) {
        return 0;
    }
    const size_t room = sizeof path - static_cast<size_t>(folder);
    const int name = std::snprintf(path + folder, room, "%s_%s_%s", prefix, word, file_name);
    return name < 0 || static_cast<size_t>(name) >= room ? 0 : static_cast<size_t>(folder);
}

}  // namespace

FileBuffer::FileBuffer(const char* prefix, uint32_t is_type, const char* file_name,
                       uint32_t buffer_size, uint32_t& status) {
    const size_t folder = make_path(_path, prefix, is_type, file_name);
    if (folder == 0) {
        EIS_ERR("IS0002", "Failed to generate file name");
        status = EIS_ERROR_CAPTURE_FILE;
        return;
    }
    _name = _path + folder;
    _file = std::fopen(_path, "wb");
    if (_file == nullptr) {
        EIS_ERR("IS0002", "Failed to open: %s", _path);
        status = EIS_ERROR_CAPTURE_FILE;
        return;
    }
    // The buffer is ours; a second one would only delay the news that the disk is full.
    std::setvbuf(_file, nullptr, _IONBF, 0);
    _buffer = allocate_array<char>(buffer_size);
    if (!_buffer) {
        EIS_ERR("IS0004", "Out of memory, failed to allocated buffer for file: %s", _path);
        status = EIS_ERROR_NO_MEMORY;
        return;
    }
    _capacity = buffer_size;
}

FileBuffer::~FileBuffer() {
    flush_buffer();
    if (_file != nullptr && std::fclose(_file) != 0) {
        EIS_ERR("IS0002", "Failed to write to: %s", _path);
    }
}

uint32_t FileBuffer::print_line(const char* format, ...) {
    uint32_t failed = 0;
    // A second round, into an emptied buffer, for a line that did not fit.
    for (int round = 0; round < 2; ++round) {
        const uint32_t room = _capacity > _used ? _capacity - 1 - _used : 0;
        va_list arguments;
        va_start(arguments, format);
        const int length = std::vsnprintf(_buffer ? _buffer.get() + _used : nullptr,
                                          _buffer ? room + 1 : 0, format, arguments);
        va_end(arguments);
        if (length >= 0 && static_cast<uint32_t>(length) <= room && _buffer) {
            _used += static_cast<uint32_t>(length);
            const bool is_nearly_full = _used * uint64_t{10} > _capacity * uint64_t{9};
            return is_nearly_full ? flush_buffer() : failed;
        }
        if (length < 0 || _used == 0 || round == 1) {
            break;
        }
        failed = flush_buffer();
    }
    EIS_ERR("IS0002", "failed to write line");
    return 1;
}

uint32_t FileBuffer::flush_buffer() {
    if (_used == 0) {
        return 0;
    }
    const size_t written = std::fwrite(_buffer.get(), 1, _used, _file);
    const bool is_short = written < _used;
    if (is_short) {
        EIS_ERR("IS0002", "Failed to write to: %s", _path);
        std::clearerr(_file);
        std::memmove(_buffer.get(), _buffer.get() + written, _used - written);
    }
    _used -= static_cast<uint32_t>(written);
    return is_short ? 1 : 0;
}

}  // namespace steadywarp
