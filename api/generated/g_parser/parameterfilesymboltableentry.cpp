// SPDX-License-Identifier: Apache-2.0
#include "steadywarp/tuning/parameterfilesymboltableentry.h"

#include "parameterlogging.hpp"
#include "steadywarp/tuning/parameterfilesymboltable.h"
#include "steadywarp/tuning/parametersetmanager.h"

namespace {

constexpr unsigned int kNameField = 32;
constexpr unsigned int kReservedField = 8;
constexpr uint32_t kNoMode = 0xFFFFFFFF;

// Reads the fields of one record in their order; after a short read the rest stays 0.
class FieldReader {
  public:
    FieldReader(unsigned char const* buffer, unsigned int length, unsigned int* pos,
                unsigned char alignment, IParameterLoggingAPI* logger)
        : m_buffer(buffer),
          m_length(length),
          m_pos(pos),
          m_alignment(alignment),
          m_logger(logger) {}

    template <typename T>
    void Read(T& value) {
        const auto size = static_cast<unsigned int>(sizeof value);
        if (Available(size)) {
            std::memcpy(&value, m_buffer + *m_pos, size);
            *m_pos += std::max<unsigned int>(m_alignment, size);
        }
    }
    void ReadName(char (&name)[ModuleData::kTypeSize]) {
        if (Available(kNameField)) {
            ParameterUtils::ReadString(name, m_buffer, m_length, m_pos, sizeof name, kNameField,
                                       m_alignment, m_logger);
        }
    }
    void Skip(unsigned int size) {
        if (Available(size)) {
            *m_pos += size;
        }
    }
    bool Good() const { return m_good; }

  private:
    bool Available(unsigned int size) {
        if (m_good && (m_buffer == nullptr || uint64_t{*m_pos} + size > m_length)) {
            PARAMETER_LOG_ERROR(
                m_logger, "Failed to read %lld bytes from binary file offset %d, length %d\n",
                static_cast<long long>(size), static_cast<int>(*m_pos), static_cast<int>(m_length));
            m_good = false;
        }
        return m_good;
    }

    unsigned char const* m_buffer;
    unsigned int m_length;
    unsigned int* m_pos;
    unsigned char m_alignment;
    IParameterLoggingAPI* m_logger;
    bool m_good = true;
};

}  // namespace

struct ParameterFileSymbolTableEntry::Record {
    char name[ModuleData::kTypeSize] = {};
    VersionUnion version;
    uint32_t modeId = 0;
    uint32_t dataOffset = 0;
    uint32_t dataSize = 0;
};

ParameterFileSymbolTableEntry::~ParameterFileSymbolTableEntry() {
    FreePayload();
    delete m_moduleData;
}

void ParameterFileSymbolTableEntry::FreePayload() {
    if (m_owner != nullptr) {
        std::free(const_cast<unsigned char*>(m_data));
    }
    m_data = nullptr;
    m_owner = nullptr;
    m_pos = 0;
    m_size = 0;
}

void ParameterFileSymbolTableEntry::Init(ParameterFileSymbolTable* table) {
    FreePayload();
    delete m_moduleData;
    m_moduleData = nullptr;
    m_outOfMemory = false;
    m_id = 0;
    m_duplicateId = 0;
    m_table = table;
    m_setManager = table != nullptr ? table->m_owner : nullptr;
}

void ParameterFileSymbolTableEntry::CopyFrom(const ParameterFileSymbolTableEntry& other) {
    Init(other.m_table);
    m_id = other.m_id;
    m_duplicateId = other.m_duplicateId;
    m_data = other.m_data;
    m_size = other.m_size;
}

IParameterLoggingAPI* ParameterFileSymbolTableEntry::GetLogger() const {
    return m_setManager;
}

ModuleData* ParameterFileSymbolTableEntry::TakeModuleData() {
    ModuleData* data = m_moduleData;
    m_moduleData = nullptr;
    return data;
}

bool ParameterFileSymbolTableEntry::ParseRecord(unsigned char const* buffer, unsigned int length,
                                                unsigned int* pos, bool isModule,
                                                unsigned char alignment, Record& record) {
    const VersionUnion& version = m_table->m_version;
    FieldReader reader(buffer, length, pos, alignment, m_setManager);
    reader.Read(m_id);
    if (isModule) {
        reader.ReadName(record.name);
        reader.Read(record.version);
        if (alignment == 1 && version < ParameterFileVersions::kPackedMin) {
            reader.Skip(kReservedField);
        }
        reader.Read(record.modeId);
    }
    reader.Read(record.dataOffset);
    reader.Read(record.dataSize);
    m_duplicateId = m_id;
    if (version > ParameterFileVersions::kPackedMin) {
        m_duplicateId = 0;
        reader.Read(m_duplicateId);
    }
    return reader.Good();
}

void ParameterFileSymbolTableEntry::CheckDuplicate(bool isModule) {
    const bool inModules = isModule || m_table->m_dataIsModule;
    const uint32_t count = inModules ? m_table->m_modules.count : m_table->m_data.count;
    if (m_duplicateId > count) {
        PARAMETER_LOG_ERROR(
            m_setManager, "Invalid DuplicateID value %u, should be less than %s table count: %u\n",
            m_duplicateId, inModules ? "module" : "data", count);
    }
}

// A payload that does not lie whole inside the file is none: its reads fail like those of an
// empty one.
bool ParameterFileSymbolTableEntry::FetchPayload(ParameterBinaryFile* file, unsigned int dataOffset,
                                                 const Record& record) {
    unsigned char const* image = m_table->m_image;
    if (record.dataSize == 0 || (file == nullptr && image == nullptr)) {
        return true;
    }
    const uint64_t start = uint64_t{dataOffset} + record.dataOffset;
    if (start + record.dataSize > m_table->m_fileLength) {
        PARAMETER_LOG_ERROR(m_setManager,
                            "Failed to read %lld bytes from binary file offset %d, length %d\n",
                            static_cast<long long>(record.dataSize), static_cast<int>(start),
                            static_cast<int>(m_table->m_fileLength));
        return false;
    }
    if (file != nullptr) {
        m_data = file->Read(static_cast<unsigned int>(start), record.dataSize);
        m_owner = file->GetName();
        if (m_data == nullptr) {
            return false;
        }
    } else {
        m_data = image + start;
    }
    m_size = record.dataSize;
    return true;
}

bool ParameterFileSymbolTableEntry::Load(unsigned char const* buffer, char const*,
                                         ParameterBinaryFile* file, unsigned int length,
                                         unsigned int* pos, unsigned int dataOffset,
                                         IModeTable* modeTable, bool isModule,
                                         unsigned char alignment) {
    if (m_table == nullptr || pos == nullptr) {
        return false;
    }
    Record record;
    bool good = false;
    if (file != nullptr) {
        const bool inDataTable = !isModule && m_table->m_dataTableOffset != 0;
        const uint64_t start =
            uint64_t{*pos} + (inDataTable ? m_table->m_dataTableOffset : m_table->m_symbolOffset);
        const uint64_t left = start < m_table->m_fileLength ? m_table->m_fileLength - start : 0;
        // A short record at the very end of the file is read as far as the file goes.
        const auto size = static_cast<unsigned int>(
            std::min<uint64_t>(m_table->GetSymbolEntrySize(alignment), left));
        unsigned char* bytes =
            size > 0 ? file->Read(static_cast<unsigned int>(start), size) : nullptr;
        unsigned int consumed = 0;
        good = bytes != nullptr && ParseRecord(bytes, size, &consumed, isModule, alignment, record);
        std::free(bytes);
        *pos += consumed;
    } else {
        good = ParseRecord(buffer, length, pos, isModule, alignment, record);
    }
    CheckDuplicate(isModule);
    if (isModule && record.modeId != kNoMode) {
        m_moduleData = ModuleData::Make(m_id, m_duplicateId, modeTable, record.name, record.version,
                                        record.modeId, m_setManager, m_table);
        if (m_moduleData == nullptr) {
            PARAMETER_LOG_ERROR(m_setManager, "Failed to allocate ModuleData\n");
            m_outOfMemory = true;
            good = false;
        }
    }
    return FetchPayload(file, dataOffset, record) && good;
}

void ParameterFileSymbolTableEntry::ReportShortRead(size_t size) const {
    PARAMETER_LOG_ERROR(
        m_setManager, "Failed to read %lld bytes from binary file offset %d, length %d\n",
        static_cast<long long>(size), static_cast<int>(m_pos), static_cast<int>(m_size));
}

bool ParameterFileSymbolTableEntry::ReadBuffer(void* value, unsigned int count,
                                               unsigned char alignment) {
    return ParameterUtils::ReadBuffer(static_cast<unsigned char*>(value), m_data, m_size, &m_pos,
                                      count, alignment, m_setManager);
}

unsigned int ParameterFileSymbolTableEntry::ReadEnum(bool* ok, unsigned char alignment) {
    uint32_t value = 0;
    if (!ReadScalar(value, alignment)) {
        *ok = false;
        return 0;
    }
    return value;
}

bool ParameterFileSymbolTableEntry::ReadString(char** value, unsigned int count,
                                               unsigned char alignment) {
    constexpr unsigned int kLocation = __LINE__;  // one place, so one type of object
    DupObjInfo const* shared = GetDupObject(1, __FILE__, kLocation);
    if (shared != nullptr && shared->Object != nullptr) {
        *value = static_cast<char*>(shared->Object);
        m_pos = static_cast<uint32_t>(std::min<uint64_t>(uint64_t{m_pos} + count, UINT32_MAX));
        return true;
    }
    *value = ParameterUtils::ReadString(m_data, m_size, &m_pos, count, alignment);
    if (*value == nullptr) {
        PARAMETER_LOG_ERROR(m_setManager, "Failed to read or allocate a string of %u bytes\n",
                            count);
        return false;
    }
    SetDupObject(*value, 1, __FILE__, kLocation);
    return true;
}

DupObjInfo* ParameterFileSymbolTableEntry::GetDupObject(unsigned int count, char const* file,
                                                        unsigned int line) {
    return m_table != nullptr
               ? m_table->GetDupObject(m_moduleData != nullptr, m_id, count, file, line)
               : nullptr;
}

DupObjInfo* ParameterFileSymbolTableEntry::SetDupObject(void* object, unsigned int count,
                                                        char const* file, unsigned int line) {
    return m_table != nullptr
               ? m_table->SetDupObject(m_moduleData != nullptr, m_id, object, count, file, line)
               : nullptr;
}
