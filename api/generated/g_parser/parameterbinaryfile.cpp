// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <unistd.h>

#include <bit>
#include <cerrno>
#include <cinttypes>

#include "parameterlogging.hpp"
#include "platform/os_utils.hpp"
#include "steadywarp/tuning/parameterutils.h"

static_assert(std::endian::native == std::endian::little, "file and memory share their byte order");

namespace {

constexpr int kReadAttempts = 4;
constexpr size_t kMaxName = ParameterBinaryFile::kNameSize - 2;
constexpr unsigned int kCrcSize = 4;

bool SameTime(const struct timespec& a, const struct timespec& b) {
    return a.tv_sec == b.tv_sec && a.tv_nsec == b.tv_nsec;
}

// Only regular files: a pipe would block the camera, a directory opens and cannot be read.
FILE* OpenRegular(char const* name, struct stat* status) {
    const int descriptor = open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        return nullptr;
    }
    FILE* file = nullptr;
    if (fstat(descriptor, status) == 0) {
        if (S_ISREG(status->st_mode)) {
            file = fdopen(descriptor, "rb");
        } else {
            errno = EINVAL;
        }
    }
    if (file == nullptr) {
        const int reason = errno;
        close(descriptor);
        errno = reason;
    }
    return file;
}

}  // namespace

bool ParameterBinaryFile::ValidateCRC(unsigned char const* buffer, unsigned int length,
                                      IParameterLoggingAPI* logger) {
    if (buffer == nullptr || length < kCrcSize + 1) {
        PARAMETER_LOG_ERROR(logger, "Binary file CRC validation failed. Buffer too small\n");
        return false;
    }
    const uint32_t computed = ComputeCRC(buffer, length - kCrcSize);
    uint32_t stored = 0;
    std::memcpy(&stored, buffer + length - kCrcSize, sizeof stored);
    if (computed != stored) {
        PARAMETER_LOG_ERROR(logger,
                            "Binary file CRC validation failed. Expected: %8x, Actual: %8x\n",
                            computed, stored);
        return false;
    }
    return true;
}

ParameterBinaryFile::ParameterBinaryFile(char const* name, IParameterLoggingAPI* logger,
                                         bool validateCRC)
    : m_lock(logger), m_logger(logger) {
    if (name == nullptr) {
        PARAMETER_LOG_ERROR(logger, "ParameterBinaryFile constructor called with null file name\n");
        return;
    }
    const size_t length = std::strlen(name);
    if (length > kMaxName) {
        PARAMETER_LOG_ERROR(
            logger,
            "ParameterBinaryFile constructor file name length (%lld) exceeds max length: %d\n",
            static_cast<long long>(length), static_cast<int>(kNameSize - 1));
        return;
    }
    Zelm::OsUtils::StrLCpy(m_name, name, sizeof m_name);
    Reference(1);
    m_valid = m_file != nullptr;
    if (validateCRC && m_valid) {
        ValidateCRC();
    }
}

ParameterBinaryFile::~ParameterBinaryFile() {
    if (m_references > 1) {
        PARAMETER_LOG_ERROR(m_logger,
                            "ParameterBinaryFile deleted with outstanding references: %d\n",
                            m_references);
    }
    Close();
}

bool ParameterBinaryFile::AdoptStatus(const struct stat& status) {
    if (status.st_size > int64_t{UINT32_MAX}) {
        PARAMETER_LOG_ERROR(m_logger,
                            "ParameterBinaryFile::Open file is too large: %" PRId64
                            " bytes, file name: %s\n",
                            int64_t{status.st_size}, m_name);
        return false;
    }
    const bool known = m_valid;
    if (known && SameTime(status.st_mtim, m_modificationTime)) {
        return true;
    }
    m_length = static_cast<uint32_t>(status.st_size);
    m_modificationTime = status.st_mtim;
    if (known) {
        m_modified = true;
        PARAMETER_LOG_WARNING(m_logger, "ParameterBinaryFile::Open, file modified, must reload\n");
    }
    return true;
}

bool ParameterBinaryFile::Open(bool logFailure) {
    if (m_file != nullptr) {
        return true;
    }
    struct stat status = {};
    m_file = OpenRegular(m_name, &status);
    if (m_file == nullptr) {
        if (logFailure) {
            PARAMETER_LOG_ERROR(
                m_logger,
                "ParameterBinaryFile::Open failed to open file, errno: %d, file name: %s\n", errno,
                m_name);
        }
        return false;
    }
    if (!AdoptStatus(status)) {
        Close();
        return false;
    }
    return true;
}

void ParameterBinaryFile::Close() {
    if (m_file != nullptr) {
        std::fclose(m_file);
        m_file = nullptr;
    }
}

bool ParameterBinaryFile::CheckReadArguments(unsigned char const* value, unsigned int offset,
                                             unsigned int const* pos, unsigned long count) {
    char const* missing = m_file == nullptr  ? "null file"
                          : value == nullptr ? "null value"
                          : pos == nullptr   ? "null pos"
                          : m_length == 0    ? "a zero length file"
                                             : nullptr;
    if (missing != nullptr) {
        PARAMETER_LOG_ERROR(m_logger, "ParameterBinaryFile::Read called with %s\n", missing);
        return false;
    }
    const uint64_t start = uint64_t{offset} + *pos;
    if (count > m_length || start > m_length - count) {
        PARAMETER_LOG_ERROR(m_logger,
                            "ParameterBinaryFile::Read attempted to read past the end of the file, "
                            "offset: %u, pos: %u, count: %u, length: %u\n",
                            offset, *pos, static_cast<unsigned int>(count), m_length);
        return false;
    }
    return true;
}

bool ParameterBinaryFile::ReadOnce(unsigned char* value, unsigned int offset, unsigned int pos,
                                   unsigned long count) {
    if (m_file == nullptr) {
        return false;
    }
    const int result = fseeko(m_file, static_cast<off_t>(uint64_t{offset} + pos), SEEK_SET);
    if (result != 0) {
        PARAMETER_LOG_ERROR(m_logger,
                            "ParameterBinaryFile::Read fseek failed, ferror: %d, return value %d, "
                            "offset: %d\n",
                            std::ferror(m_file), result, static_cast<int>(offset + pos));
        return false;
    }
    ++m_reads;
    const size_t actual = std::fread(value, 1, count, m_file);
    if (actual != count) {
        PARAMETER_LOG_ERROR(m_logger,
                            "Read failed to read from file, ferror: %d, offset: %u, pos: %u, "
                            "requested: %lld, actual: %lld\n",
                            std::ferror(m_file), offset, pos, static_cast<long long>(count),
                            static_cast<long long>(actual));
        return false;
    }
    return true;
}

bool ParameterBinaryFile::Read(unsigned char* value, unsigned int offset, unsigned int* pos,
                               unsigned long count, unsigned char alignment) {
    const ParameterScopedLock lock(m_lock, false);
    if (!CheckReadArguments(value, offset, pos, count) || !m_valid || m_modified) {
        return false;
    }
    for (int attempt = 1; !ReadOnce(value, offset, *pos, count); ++attempt) {
        if (attempt == kReadAttempts) {
            return false;
        }
        PARAMETER_LOG_ERROR(m_logger, "ParameterBinaryFile::Read failed, retrying\n");
        Close();
        Open(true);
        if (m_modified) {
            return false;
        }
    }
    const unsigned int padding = alignment > 1 && count % alignment != 0
                                     ? static_cast<unsigned int>(alignment - count % alignment)
                                     : 0;
    // The count fits in the file; only the padding of a field at its very end could wrap.
    const uint64_t next = uint64_t{*pos} + count + padding;
    *pos = next > UINT32_MAX ? UINT32_MAX : static_cast<unsigned int>(next);
    return true;
}

unsigned char* ParameterBinaryFile::Read(unsigned int offset, unsigned long count) {
    const ParameterScopedLock lock(m_lock, false);
    if (count == 0) {
        PARAMETER_LOG_ERROR(m_logger, "ParameterBinaryFile::Read called with 0 count\n");
        return nullptr;
    }
    if (!m_valid || m_modified) {
        return nullptr;
    }
    unsigned int pos = 0;
    unsigned char probe = 0;
    // Nothing is allocated for a length that the file does not have.
    if (!CheckReadArguments(&probe, offset, &pos, count)) {
        return nullptr;
    }
    auto* buffer = static_cast<unsigned char*>(std::malloc(count));
    if (buffer == nullptr) {
        PARAMETER_LOG_ERROR(m_logger,
                            "ParameterBinaryFile::Read failed, out of memory, errno: %d\n", errno);
        return nullptr;
    }
    if (!Read(buffer, offset, &pos, count, 1)) {
        std::free(buffer);
        return nullptr;
    }
    return buffer;
}

void ParameterBinaryFile::ValidateCRC() {
    const ParameterScopedLock lock(m_lock, false);
    m_crcValid = false;
    if (m_length == 0) {
        m_crcValid = ValidateCRC(nullptr, 0, m_logger);
        return;
    }
    unsigned char* image = Read(0, m_length);
    if (image != nullptr) {
        m_crcValid = ValidateCRC(image, m_length, m_logger);
        std::free(image);
    }
}

void ParameterBinaryFile::AddReferences(int adjust) {
    if (m_file == nullptr) {
        if (m_references != 0) {
            PARAMETER_LOG_ERROR(m_logger,
                                "FileReference Adjust: %d, RefCount: %d, Binary File was null when "
                                "file reference was %u\n",
                                adjust, m_references, static_cast<unsigned int>(m_references));
        }
        PARAMETER_LOG_DEBUG(m_logger, "FileReference Adjust: %d, RefCount: %u, opening the file\n",
                            adjust, static_cast<unsigned int>(m_references));
        if (!Open(false)) {
            PARAMETER_LOG_ERROR(m_logger,
                                "FileReference Adjust: %d, RefCount: %d, Failed to open binary "
                                "file '%s' errno: %d\n",
                                adjust, m_references, m_name, errno);
        }
    }
    m_references += adjust;
}

void ParameterBinaryFile::DropReferences(int adjust) {
    if (m_file == nullptr) {
        PARAMETER_LOG_WARNING(m_logger,
                              "FileReference Remove: %d, Ref Cnt: %d, Called when file was already "
                              "closed\n",
                              adjust, m_references);
        return;
    }
    if (m_references + adjust < 0) {
        PARAMETER_LOG_ERROR(m_logger,
                            "FileReference Adjust: %d, RefCount: %d, File Reference is less than "
                            "adjust amount\n",
                            adjust, m_references);
    }
    m_references += adjust;
    if (m_references <= 0) {
        PARAMETER_LOG_DEBUG(m_logger, "FileReference Adjust: %d, RefCount: %u, closing the file\n",
                            adjust, static_cast<unsigned int>(m_references));
        Close();
        m_references = 0;
    }
}

int ParameterBinaryFile::Reference(int adjust) {
    const ParameterScopedLock lock(m_lock, false);
    if (adjust > 0) {
        AddReferences(adjust);
    } else if (adjust < 0) {
        DropReferences(adjust);
    }
    return m_references;
}

bool ParameterBinaryFile::IsValid() {
    const ParameterScopedLock lock(m_lock, false);
    return m_valid;
}

bool ParameterBinaryFile::IsCRCValid() {
    const ParameterScopedLock lock(m_lock, false);
    return m_crcValid;
}

unsigned int ParameterBinaryFile::GetLength() {
    const ParameterScopedLock lock(m_lock, false);
    return m_length;
}

uint64_t ParameterBinaryFile::GetReadCount() {
    const ParameterScopedLock lock(m_lock, false);
    return m_reads;
}
