// SPDX-License-Identifier: Apache-2.0
#include "symbolrecord.hpp"

#include <algorithm>

#include "parameterlogging.hpp"
#include "steadywarp/tuning/parameterfilesymboltable.h"

namespace {

constexpr unsigned int kNameField = 32;
constexpr unsigned int kReservedField = 8;
// No record is longer, whatever its format; where as much is left, no field needs a look.
constexpr unsigned int kLongestRecord = 80;

// Takes nothing by reference, so that a reader lives in registers.
[[gnu::noinline]] void ReportShortRead(IParameterLoggingAPI* logger, unsigned int size,
                                       unsigned int pos, unsigned int length) {
    PARAMETER_LOG_ERROR(logger, "Failed to read %lld bytes from binary file offset %d, length %d\n",
                        static_cast<long long>(size), static_cast<int>(pos),
                        static_cast<int>(length));
}

// Reads the fields of one record in their order; after a short read the rest stays 0.
class FieldReader {
  public:
    FieldReader(unsigned char const* buffer, unsigned int length, unsigned int pos,
                unsigned char alignment, IParameterLoggingAPI* logger)
        : m_buffer(buffer),
          m_length(length),
          m_pos(pos),
          m_alignment(alignment),
          m_whole(buffer != nullptr && uint64_t{pos} + kLongestRecord <= length),
          m_logger(logger) {}

    template <typename T>
    void Read(T& value) {
        if (Available(sizeof value)) {
            std::memcpy(&value, m_buffer + m_pos, sizeof value);
            m_pos += std::max<unsigned int>(m_alignment, sizeof value);
        }
    }
    // The width of the name is a multiple of every alignment.
    void ReadName(char* name) {
        if (Available(kNameField)) {
            std::memcpy(name, m_buffer + m_pos, kNameField);
            m_pos += kNameField;
        }
    }
    void Skip(unsigned int size) {
        if (Available(size)) {
            m_pos += size;
        }
    }
    unsigned int Position() const { return m_pos; }
    bool Good() const { return m_good; }

  private:
    bool Available(unsigned int size) {
        if (m_whole) {
            return true;
        }
        if (m_good && (m_buffer == nullptr || uint64_t{m_pos} + size > m_length)) {
            ReportShortRead(m_logger, size, m_pos, m_length);
            m_good = false;
        }
        return m_good;
    }

    unsigned char const* m_buffer;
    unsigned int m_length;
    unsigned int m_pos;
    unsigned char m_alignment;
    bool m_whole;
    bool m_good = true;
    IParameterLoggingAPI* m_logger;
};

// What stands behind the first nul of a name means nothing.
void ClearBehindText(char (&name)[ModuleData::kTypeSize]) {
    const size_t length = std::strlen(name);
    std::memset(name + length, 0, sizeof name - length);
}

}  // namespace

bool ReadSymbolRecord(SymbolRecordFormat const& format, unsigned char const* buffer,
                      unsigned int length, unsigned int* pos, IParameterLoggingAPI* logger,
                      SymbolRecord& record) {
    FieldReader reader(buffer, length, *pos, format.alignment, logger);
    reader.Read(record.id);
    if (format.isModule) {
        reader.ReadName(record.name);
        ClearBehindText(record.name);
        reader.Read(record.version);
        if (format.alignment == 1 && format.version < ParameterFileVersions::kPackedMin) {
            reader.Skip(kReservedField);
        }
        reader.Read(record.modeId);
    }
    reader.Read(record.dataOffset);
    reader.Read(record.dataSize);
    if (format.version > ParameterFileVersions::kPackedMin) {
        reader.Read(record.duplicateId);
    } else {
        record.duplicateId = record.id;
    }
    *pos = reader.Position();
    return reader.Good();
}
